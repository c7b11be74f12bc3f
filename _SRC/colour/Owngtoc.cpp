/* Owngtoc: gray to colour, out = (sample * weight) >> shift with a weight for each of red, green and blue. A bit is a sample
 * of 255 or 0. */
#include "owncolor.h"

/* The plane of one channel. */
template <class D, class S, class F>
static inline void ownEachColour(void* const out[], const void* const in[], ptrdiff_t n, const void* k, F f)
{
    const OwnGrayWeights& weights = *(const OwnGrayWeights*)k;
    for (int c = 0; c < 3; ++c)
        ownEach<D, S>(out[c], in[0], n, [=, w = weights.of[c], s = weights.shift](S x) { return (D)f(x, w, s); });
}
template <class T> static void ownColourPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    ownEachColour<T, T>(out, in, n, k, [](T x, int32_t w, int s) { return (int64_t)x * w >> s; });
}

/* 32 bits: ((low 16 bits * w) >> 15) + w * high 16 bits * 2 is (x * w) >> 15, of which the low 32 bits are kept. */
static void ownColourLongPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    ownEachColour<int32_t, int32_t>(out, in, n, k, [](int32_t x, int32_t w, int) { return (int64_t)x * w >> 15; });
}

static void ownColourBitsPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnGrayWeights& weights = *(const OwnGrayWeights*)k;
    for (int c = 0; c < 3; ++c) {
        const uint8_t set = (uint8_t)(weights.of[c] * 255 >> weights.shift);
        for (ptrdiff_t i = 0; i < n; ++i)
            ((uint8_t*)out[c])[i] = ((const uint8_t*)in[0])[i >> 3] >> (7 - (i & 7)) & 1 ? set : 0;
    }
}

/* 8 bits: of the product the bits 8 to 15 are kept, so its low 16 bits do. */
static void ownColourByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnGrayWeights& weights = *(const OwnGrayWeights*)k;
    constexpr ptrdiff_t lanes = OwnVec<uint8_t>::lanes;
    OwnVec<uint16_t> w[3];
    for (int c = 0; c < 3; ++c) w[c] = ownSet((uint16_t)weights.of[c]);
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const auto x = ownUnpack(ownLoad<uint8_t>((const char*)in[0] + i));
        for (int c = 0; c < 3; ++c) {
            const auto lo = ownShiftRight(x.lo * w[c], 8), hi = ownShiftRight(x.hi * w[c], 8);
            ownStore((char*)out[c] + i, ownPack<uint8_t>(ownAs<int16_t>(lo), ownAs<int16_t>(hi)));
        }
    }
}

/* 16 bits: both halves of the product, shifted together. */
static void ownColourShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnGrayWeights& weights = *(const OwnGrayWeights*)k;
    const int shift = weights.shift;
    for (int c = 0; c < 3; ++c) {
        const OwnVec<uint16_t> w = ownSet((uint16_t)weights.of[c]);
        ownMap<uint16_t>(out[c], in[0], n, [=](OwnVec<uint16_t> x) {
            return ownShiftLeft(ownMulHigh(x, w), 16 - shift) | ownShiftRight(x * w, shift);
        });
    }
}

static void ownColourBitsRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnGrayWeights& weights = *(const OwnGrayWeights*)k;
    constexpr ptrdiff_t lanes = OwnVec<uint8_t>::lanes;
    for (int c = 0; c < 3; ++c) {
        const OwnVec<uint8_t> set = ownSet((uint8_t)(weights.of[c] * 255 >> weights.shift));
        for (ptrdiff_t i = 0; i < n; i += lanes)
            ownStore((char*)out[c] + i, ownBitLanes<uint8_t>((const uint8_t*)in[0] + (i >> 3)) & set);
    }
}

OWN_PLANE_TABLE(ownGrayToColorRows) = {
    /*  1U */ {ownColourBitsRun, ownColourBitsPlain},
    /*  8U */ {ownColourByteRun, ownColourPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownColourShortRun, ownColourPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownColourLongPlain, ownColourLongPlain},
    /* 32F */ {},
};
