/* owncolor.h: what the colour models share. The interface of the family's frame, and loops over pixels as planes. */
#ifndef OWNCOLOR_H
#define OWNCOLOR_H

#include "own.h"
#include "ownsimd.h"

/* ---- The frame ------------------------------------------------------------------------------------------------- */

/* A conversion between RGB and a model. Rows are chosen by the depth of the source. */
struct OwnModel {
    const char* func; /* the exported function */
    const char* file; /* the model's module, which refuses depths */
    const char* name; /* of the model, as headers have it */
    const OwnPlaneRow* rows;
    const OwnPlaneRow* unequalRows; /* for pixels of more channels in the source than in the destination */
    const char* badDepth;
    bool sameDepth; /* the headers' depths must agree; otherwise only their bits */
};

void ownRgbToModel(const OwnModel& model, const VekImage* srcImage, VekImage* dstImage);
void ownModelToRgb(const OwnModel& model, const VekImage* srcImage, VekImage* dstImage);

/* The pieces of it that the gray pair is made of. Those that test return true when they have refused. */
bool ownRefuseColourImages(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage);
bool ownRefuseNotRgb(const OwnFace& face, const VekImage* image);
bool ownRefuseNotGray(const OwnFace& face, const VekImage* image);

/* Channels of an image in the order of a run's planes. */
struct OwnPlaneChannels {
    int nPlanes;
    int32_t channel[3];
};
OwnPlaneChannels ownRgbChannels(const VekImage* image);

/* A run over the common area of two images, or over all tiles of the destination. lastRun, if there is one, computes the
 * last pixel of rows of odd length. */
struct OwnColourPass {
    const VekImage *srcImage, *dstImage;
    OwnPlaneChannels src, dst;
    OwnPlaneRun *run, *lastRun;
    const void* k;
};
void ownColourPass(const OwnFace& face, const OwnColourPass& pass);

/* ---- Tables ---------------------------------------------------------------------------------------------------- */

#define OWN_PLANE_TABLE(name)                                                                                          \
    extern const OwnPlaneRow name[OWN_DEPTHS];                                                                         \
    const OwnPlaneRow name[OWN_DEPTHS]

extern const OwnPlaneRow ownRgbToHsvRows[OWN_DEPTHS], ownHsvToRgbRows[OWN_DEPTHS];
extern const OwnPlaneRow ownRgbToHlsRows[OWN_DEPTHS], ownHlsToRgbRows[OWN_DEPTHS];
extern const OwnPlaneRow ownRgbToXyzRows[OWN_DEPTHS], ownXyzToRgbRows[OWN_DEPTHS];
extern const OwnPlaneRow ownRgbToYuvRows[OWN_DEPTHS], ownYuvToRgbRows[OWN_DEPTHS], ownYuvToRgbUnequalRows[OWN_DEPTHS];
extern const OwnPlaneRow ownRgbToYCrRows[OWN_DEPTHS], ownYCrToRgbRows[OWN_DEPTHS];
extern const OwnPlaneRow ownYccToRgbRows[OWN_DEPTHS];
extern const OwnPlaneRow ownRgbToLuvRows[OWN_DEPTHS], ownLuvToRgbRows[OWN_DEPTHS];

/* By the depths of the colour and of the gray image. */
extern const OwnPlaneRow ownColorToGrayRows[OWN_DEPTHS][OWN_DEPTHS], ownColorToGrayPlaneRow, ownColorToGrayLastRow;
extern const OwnPlaneRow ownGrayToColorRows[OWN_DEPTHS];

/* The constant of ownGrayToColorRows. */
struct OwnGrayWeights {
    int32_t of[3]; /* of red, green, blue */
    int shift;
};

/* ---- Loops over pixels ----------------------------------------------------------------------------------------- */

/* Three samples of one pixel. */
template <class T> struct OwnPixel {
    T a, b, c;
};

/* The plain loop: out = f(a, b, c). Planes may lie at any address; those of the result lie apart from the others. */
template <class D, class S, class F>
[[gnu::flatten]] static inline void ownEachPixel(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t from = (ptrdiff_t)sizeof(S), to = (ptrdiff_t)sizeof(D);
    const char* __restrict a = (const char*)in[0], * __restrict b = (const char*)in[1], * __restrict c = (const char*)in[2];
    char* __restrict x = (char*)out[0], * __restrict y = (char*)out[1], * __restrict z = (char*)out[2];
    for (ptrdiff_t i = 0; i < n; ++i) {
        S s[3];
        memcpy(&s[0], a + i * from, sizeof(S));
        memcpy(&s[1], b + i * from, sizeof(S));
        memcpy(&s[2], c + i * from, sizeof(S));
        const OwnPixel<D> p = f(s[0], s[1], s[2]);
        memcpy(x + i * to, &p.a, sizeof(D));
        memcpy(y + i * to, &p.b, sizeof(D));
        memcpy(z + i * to, &p.c, sizeof(D));
    }
}

/* The packed loop. f takes and gives vectors of as many pixels as T has lanes. */
template <class T, class F>
[[gnu::flatten]] static inline void ownMapPixels(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char *a = (const char*)in[0], *b = (const char*)in[1], *c = (const char*)in[2];
    char *x = (char*)out[0], *y = (char*)out[1], *z = (char*)out[2];
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const OwnTriple<T> p = f(ownLoad<T>(a + i * size), ownLoad<T>(b + i * size), ownLoad<T>(c + i * size));
        ownStore(x + i * size, p.a);
        ownStore(y + i * size, p.b);
        ownStore(z + i * size, p.c);
    }
}

/* The same for bytes, of which f takes and gives 16-bit lanes. S is the type of the samples, D that of the result, to the
 * range of which f's lanes are held. */
template <class D, class S, class F>
[[gnu::flatten]] static inline void ownMapBytes(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    ownMapPixels<uint8_t>(out, in, n, [f](OwnVec<uint8_t> a, OwnVec<uint8_t> b, OwnVec<uint8_t> c) {
        const auto x = ownUnpack(ownAs<S>(a)), y = ownUnpack(ownAs<S>(b)), z = ownUnpack(ownAs<S>(c));
        const OwnTriple<int16_t> lo = f(ownAs<int16_t>(x.lo), ownAs<int16_t>(y.lo), ownAs<int16_t>(z.lo));
        const OwnTriple<int16_t> hi = f(ownAs<int16_t>(x.hi), ownAs<int16_t>(y.hi), ownAs<int16_t>(z.hi));
        return OwnTriple<uint8_t>{ownAs<uint8_t>(ownPack<D>(lo.a, hi.a)), ownAs<uint8_t>(ownPack<D>(lo.b, hi.b)),
                                  ownAs<uint8_t>(ownPack<D>(lo.c, hi.c))};
    });
}

/* ---- Numbers --------------------------------------------------------------------------------------------------- */

/* Held to the range of T, then chopped; the lowest value for what is no number. */
template <class T> static inline T ownChopTo(double value)
{
    constexpr double low = (double)std::numeric_limits<T>::min(), high = (double)std::numeric_limits<T>::max();
    return (T)(value > low ? value < high ? value : high : low);
}

/* The same with the lower limit 0. */
template <class T> static inline T ownChopAbove0(double value) { return ownChopTo<T>(value > 0 ? value : 0); }

/* Two 16-bit factors, for ownMulAdd with the lanes of an ownZip. */
static inline OwnVec<int16_t> ownTwoFactors(int first, int second)
{
    const int16_t two[2] = {(int16_t)first, (int16_t)second};
    int32_t both;
    memcpy(&both, two, sizeof(both));
    return ownAs<int16_t>(ownSet(both));
}

/* Two 8-bit factors, for ownMulAddSat with the lanes of an ownZip. */
static inline OwnVec<int8_t> ownTwoByteFactors(int first, int second)
{
    const int8_t two[2] = {(int8_t)first, (int8_t)second};
    uint16_t both;
    memcpy(&both, two, sizeof(both));
    return ownAs<int8_t>(ownSet(both));
}

#endif
