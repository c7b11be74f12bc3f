/* vekMpy2D: the product of two packed spectra, element by element in the complex sense,
 *   (a + i b)(c + i d) = (a c - b d) + i (a d + b c),
 * in 64-bit floats, each product rounded; integer results are rounded to nearest and held to the range of the depth.
 * ownspectrum.h tells where the parts of an element lie. */
#include "ownplane.h"
#include "ownsimd.h"

#include <math.h>

/* ---- Elements -------------------------------------------------------------------------------------------------- */

template <class T> static inline T ownPut(double x)
{
    if constexpr (std::is_same_v<T, float>) return (float)x;
    else {
        constexpr double low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
        return (T)lrint(x < low ? low : x > high ? high : x);
    }
}

template <class T> static inline double ownGet(const uint8_t* p)
{
    T x;
    memcpy(&x, p, sizeof(T));
    return x;
}
template <class T> static inline void ownSetAt(uint8_t* p, double x)
{
    const T y = ownPut<T>(x);
    memcpy(p, &y, sizeof(T));
}

template <class T> static void ownRealProduct(uint8_t* out, const uint8_t* a, const uint8_t* b)
{
    ownSetAt<T>(out, ownGet<T>(a) * ownGet<T>(b));
}

/* The two parts of each element lie a number of bytes apart, of its own in each image. Both are read before one is
 * written. */
template <class T>
[[gnu::always_inline]] static inline void ownPairProduct(uint8_t* out, const uint8_t* a, const uint8_t* b,
                                                         ptrdiff_t outStep, ptrdiff_t aStep, ptrdiff_t bStep)
{
    const double aRe = ownGet<T>(a), aIm = ownGet<T>(a + aStep), bRe = ownGet<T>(b), bIm = ownGet<T>(b + bStep);
    ownSetAt<T>(out, aRe * bRe - aIm * bIm);
    ownSetAt<T>(out + outStep, aRe * bIm + aIm * bRe);
}

/* ---- Rows of pairs --------------------------------------------------------------------------------------------- */

struct OwnProductSteps {
    ptrdiff_t out, a, b; /* bytes from a sample to the next in its row */
};

template <class T>
static void ownPairsPlain(uint8_t* out, const uint8_t* a, const uint8_t* b, const OwnProductSteps& step, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i)
        ownPairProduct<T>(out + 2 * i * step.out, a + 2 * i * step.a, b + 2 * i * step.b, step.out, step.a, step.b);
}

/* Two elements, as doubles: the products with the real parts of b, less or plus those with its imaginary parts. */
static inline OwnFour::Raw ownTwoProducts(OwnFour::Raw a, OwnFour::Raw b)
{
    const OwnFour::Raw x = a * __builtin_shufflevector(b, b, 0, 0, 2, 2);
    const OwnFour::Raw y = __builtin_shufflevector(a, a, 1, 0, 3, 2) * __builtin_shufflevector(b, b, 1, 1, 3, 3);
    return __builtin_shufflevector(x - y, x + y, 0, 5, 2, 7);
}
static void ownPairsFloat(uint8_t* out, const uint8_t* a, const uint8_t* b, const OwnProductSteps& step, ptrdiff_t n)
{
    const ptrdiff_t size = sizeof(float);
    ptrdiff_t i = 0;
    if (step.out == size && step.a == size && step.b == size)
        for (; i + 2 <= n; i += 2)
            ownStoreFour(out + 8 * i, ownTwoProducts(ownLoadFour(a + 8 * i), ownLoadFour(b + 8 * i)));
    ownPairsPlain<float>(out + 2 * i * step.out, a + 2 * i * step.a, b + 2 * i * step.b, step, n - i);
}

/* ---- Depths ---------------------------------------------------------------------------------------------------- */

typedef void OwnPairsRun(uint8_t* out, const uint8_t* a, const uint8_t* b, const OwnProductSteps& step, ptrdiff_t n);

/* The run of pairs along a row, the plain loop that it must equal, and a single real product. */
struct OwnProductRow {
    OwnPairsRun *run, *plain;
    void (*real)(uint8_t* out, const uint8_t* a, const uint8_t* b);
    void (*pair)(uint8_t* out, const uint8_t* a, const uint8_t* b, ptrdiff_t outStep, ptrdiff_t aStep, ptrdiff_t bStep);
};
template <class T>
constexpr OwnProductRow ownProductRow = {ownPairsPlain<T>, ownPairsPlain<T>, ownRealProduct<T>, ownPairProduct<T>};

extern const OwnProductRow ownProductRows[OWN_DEPTHS];
const OwnProductRow ownProductRows[OWN_DEPTHS] = {
    /*  1U */ {},
    /*  8U */ {}, /* a spectrum has signed values */
    /*  8S */ ownProductRow<int8_t>,
    /* 16U */ {},
    /* 16S */ ownProductRow<int16_t>,
    /* 32S */ ownProductRow<int32_t>,
    /* 32F */ {ownPairsFloat, ownPairsPlain<float>, ownRealProduct<float>, ownPairProduct<float>},
};

/* ---- One channel ----------------------------------------------------------------------------------------------- */

/* The planes of a channel, and the kinds of entries that the packed layout has. */
struct OwnProduct {
    const OwnProductRow& row;
    OwnPlane out, a, b;

    void real(ptrdiff_t x, ptrdiff_t y) const
    {
        row.real(out.row(y) + x * out.pixelStep, a.row(y) + x * a.pixelStep, b.row(y) + x * b.pixelStep);
    }
    /* Real part in row y, imaginary part in the row below. */
    void upright(ptrdiff_t x, ptrdiff_t y) const
    {
        row.pair(out.row(y) + x * out.pixelStep, a.row(y) + x * a.pixelStep, b.row(y) + x * b.pixelStep, out.rowStep,
                 a.rowStep, b.rowStep);
    }
    /* n pairs along row y, from column 1 on. */
    void pairs(ptrdiff_t y, ptrdiff_t n) const
    {
        const OwnProductSteps step = {out.pixelStep, a.pixelStep, b.pixelStep};
        row.run(out.row(y) + step.out, a.row(y) + step.a, b.row(y) + step.b, step, n);
    }
};

static void ownProductPlane(const OwnProduct& product, ptrdiff_t width, ptrdiff_t height)
{
    for (ptrdiff_t y = 0; y < height; ++y) {
        const bool isReal = y == 0 || (y == height - 1 && height % 2 == 0);
        for (const ptrdiff_t x : {(ptrdiff_t)0, width - 1}) {
            if (x > 0 && width % 2 != 0) break; /* the last column of an odd width belongs to a pair */
            if (isReal) product.real(x, y);
            else if (y % 2 == 1) product.upright(x, y);
            if (width == 1) break;
        }
        product.pairs(y, (width - 1) / 2);
    }
}

void vekMpyRCPack2D(const VekImage* srcA, const VekImage* srcB, VekImage* dst)
{
    OWN_FACE("vekMpyRCPack2D", "vekMpy2D");
    OWN_REFUSE_HEADER(srcA);
    OWN_REFUSE_HEADER(srcB);
    OWN_REFUSE_HEADER(dst);
    OWN_REFUSE_IF(srcA->imageData == ((void*)(0)));
    OWN_REFUSE_IF(srcB->imageData == ((void*)(0)));
    OWN_REFUSE_IF(dst->imageData == ((void*)(0)));
    OWN_REFUSE_TEXT_IF(!ownProductRows[ownSlot(srcA->depth)].run || !ownProductRows[ownSlot(srcB->depth)].run,
                       "srcA->depth || srcB->depth == 8U||16U||1U");
    OWN_REFUSE_IF((srcA->depth != srcB->depth));
    OWN_REFUSE_IF((srcA->depth != dst->depth));
    OWN_REFUSE_TEXT_IF(srcA->alphaChannel != 0 && srcA->alphaChannel != srcA->nChannels, "srcA->alphaChannel");
    OWN_REFUSE_TEXT_IF(srcB->alphaChannel != 0 && srcB->alphaChannel != srcB->nChannels, "srcB->alphaChannel");
    OWN_REFUSE_TEXT_IF(dst->alphaChannel != 0 && dst->alphaChannel != dst->nChannels, "dst->alphaChannel");
    OWN_REFUSE_TEXT_IF(srcA->roi && (srcA->roi->coi < 0 || srcA->roi->coi > srcA->nChannels), "srcA-roi->coi");
    OWN_REFUSE_TEXT_IF(srcB->roi && (srcB->roi->coi < 0 || srcB->roi->coi > srcB->nChannels), "srcB-roi->coi");
    OWN_REFUSE_TEXT_IF(dst->roi && (dst->roi->coi < 0 || dst->roi->coi > dst->nChannels), "dst-roi->coi");
    const OwnChannels aChannels = ownChannels(srcA), bChannels = ownChannels(srcB), channels = ownChannels(dst);
    OWN_REFUSE_TEXT_IF(aChannels.count != channels.count || bChannels.count != channels.count, "");

    const OwnView a = ownView(srcA), b = ownView(srcB), out = ownView(dst);
    const int32_t width = std::min({a.width, b.width, out.width}), height = std::min({a.height, b.height, out.height});
    if (width == 0 || height == 0) return;
    for (int32_t i = 0; i < channels.count; ++i) {
        const OwnProduct product = {ownProductRows[ownSlot(dst->depth)], ownPlane(dst, out, channels.first + i),
                                    ownPlane(srcA, a, aChannels.first + i), ownPlane(srcB, b, bChannels.first + i)};
        ownProductPlane(product, width, height);
    }
}
