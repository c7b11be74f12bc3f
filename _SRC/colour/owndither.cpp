/* owndither: which channels a dither works on, and the ordered one: a matrix of thresholds says whether what lies below the
 * kept bits makes all of them ones. */
#include "ownbits.h"

int ownDitheredChannels(const VekImage* image)
{
    const auto named = [](const char name[4], const char* text, size_t n) { return memcmp(name, text, n) == 0; };
    const bool isRgb = named(image->colorModel, "RGB", 3) &&
                       (named(image->channelSeq, "RGB", 3) || named(image->channelSeq, "BGR", 3));
    if (isRgb) return std::min(image->nChannels, 3);
    const bool isGray = named(image->colorModel, "GRAY", 4) || named(image->colorModel, "Gray", 4);
    return isGray && image->channelSeq[0] == 'G' ? 1 : 0;
}

/* ---- Ordered ------------------------------------------------------------------------------------------------------- */

/* Thresholds of 12 bits by [column & 3][row & 3]. */
static const uint16_t ownThresholds[4][4] = {{0, 0x788, 0x1E2, 0x96A},
                                             {0xB4C, 0x3C4, 0xD2E, 0x5A6},
                                             {0x2D3, 0xA5B, 0xF1, 0x879},
                                             {0xE1F, 0x697, 0xC3D, 0x4B5}};

/* A row's thresholds, again and again from its first pixel on, and the bits that are dropped. */
struct OwnOrdered {
    int nPlanes;
    uint32_t dropped;
    uint16_t threshold[4];
};

/* out = (a & dropped) > threshold ? a | dropped : a & ~dropped. */
template <class T> static void ownOrderedPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnOrdered& ordered = *(const OwnOrdered*)k;
    const T dropped = (T)ordered.dropped;
    for (int c = 0; c < ordered.nPlanes; ++c) {
        ptrdiff_t i = 0;
        ownEach<T, T>(out[c], in[c], n, [&](T a) {
            return (T)((a & dropped) > ordered.threshold[i++ & 3] ? a | dropped : a & ~dropped);
        });
    }
}
template <class T> static void ownOrderedRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnOrdered& ordered = *(const OwnOrdered*)k;
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    T pattern[lanes];
    for (ptrdiff_t i = 0; i < lanes; ++i) pattern[i] = (T)ordered.threshold[i & 3];
    const OwnVec<T> threshold = ownLoad<T>(pattern), dropped = ownSet((T)ordered.dropped);
    for (int c = 0; c < ordered.nPlanes; ++c)
        for (ptrdiff_t i = 0; i < n; i += lanes) {
            const OwnVec<T> a = ownLoad<T>((const char*)in[c] + i * size);
            ownStore((char*)out[c] + i * size, (a & ~dropped) | (ownGreater(a & dropped, threshold) & dropped));
        }
}

template <class T> static constexpr OwnPlaneRow ownOrderedRow = {ownOrderedRun<T>, ownOrderedPlain<T>};

OWN_PLANE_TABLE(ownOrderedRows) = {
    /*  1U */ {},
    /*  8U */ ownOrderedRow<uint8_t>,
    /*  8S */ {},
    /* 16U */ ownOrderedRow<uint16_t>,
};

/* Every fourth row has the same thresholds. */
void ownDitherOrdered(const OwnView& view, int nChannels, int32_t levels, int64_t x, int64_t y)
{
    const int bits = view.sampleBits;
    for (int32_t row = 0; row < 4 && row < view.height; ++row) {
        OwnOrdered ordered = {nChannels, ownDroppedBits(bits, levels), {}};
        for (int i = 0; i < 4; ++i)
            ordered.threshold[i] = (uint16_t)((ownThresholds[(x + i) & 3][(y + row) & 3] << (bits - levels)) >> 12);
        OwnPlanePass pass = {};
        pass.src = {ownCrop(view, 0, row, view.width, 1), nChannels, {0, 1, 2}};
        pass.src.view.height = (view.height - row + 3) / 4;
        pass.src.view.rowStep *= 4;
        pass.dst = pass.src;
        pass.width = view.width;
        pass.height = pass.src.view.height;
        pass.run = ownOrderedRows[bits == 8 ? OWN_8U : OWN_16U].run;
        pass.k = &ordered;
        ownPlanePass(pass);
    }
}
