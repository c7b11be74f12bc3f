/* ownycrcb: RGB to luma, blue difference and red difference, in this order, and back. The differences are scaled to the range
 * of the sample around its middle. */
#include "ownmatrix.h"

/* ---- To YCrCb -------------------------------------------------------------------------------------------------- */

/* 32F, for values from 0 to 1: not clamped. */
static void ownRgbToYCrFloatPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float r, float g, float b) {
        return OwnPixel<float>{0.299f * r + 0.587f * g + 0.114f * b,
                               -0.16873591f * r - 0.33126399f * g + 0.5f * b + 0.5f,
                               0.5f * r - 0.41868758f * g - 0.081312411f * b + 0.5f};
    });
}
static void ownRgbToYCrFloatRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<float> V;
    ownMapPixels<float>(out, in, n, [](V r, V g, V b) {
        const V half = ownSet(0.5f);
        const V y = ownSet(0.299f) * r + ownSet(0.587f) * g + ownSet(0.114f) * b;
        const V cb = ownSet(-0.16873591f) * r - ownSet(0.33126399f) * g + half * b + half;
        return OwnTriple<float>{y, cb, half * r - ownSet(0.41868758f) * g - ownSet(0.081312411f) * b + half};
    });
}

/* 32S: in double, chopped. */
struct OwnRgbToYCrLong {
    template <class N> static auto of(N r, N g, N b)
    {
        const double middle = 1073741823;
        return ownThree(ownChopTo<int32_t>(0.299 * r + 0.587 * g + 0.114 * b),
                        ownChopTo<int32_t>(-0.1687359 * r - 0.331264 * g + 0.5 * b + middle),
                        ownChopTo<int32_t>(0.5 * r - 0.41868759 * g - 0.08131241 * b + middle));
    }
};

/* 16 bits: weights of 14 fractional bits. */
static void ownRgbToYCrShortPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<uint16_t, uint16_t>(out, in, n, [](int32_t r, int32_t g, int32_t b) {
        return OwnPixel<uint16_t>{(uint16_t)((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
                                  (uint16_t)((0x20000000 - 2765 * r - 5427 * g + 8192 * b) >> 14),
                                  (uint16_t)((8192 * r - 6860 * g + 0x20000000 - 1332 * b) >> 14)};
    });
}

static void ownRgbToYCrShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    ownMapPixels<uint16_t>(out, in, n, [](V r, V g, V b) {
        const OwnTurns16 rgb = ownTurns16(r, g, b);
        return OwnTriple<uint16_t>{ownFixedSum16<uint16_t>(rgb, 4899, 9617, 1868, 8192),
                                   ownFixedSum16<uint16_t>(rgb, -2765, -5427, 8192, 0, 32768),
                                   ownFixedSum16<uint16_t>(rgb, 8192, -6860, -1332, 0, 32768)};
    });
}

/* 8 bits: the differences are taken from the luma. 0x200000 >> 14 is 128, and x 9246 >> 14 is 4 x 9246 >> 16. */
static void ownRgbToYCrBytePlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<uint8_t, uint8_t>(out, in, n, [](int32_t r, int32_t g, int32_t b) {
        const int32_t y = (4898 * r + 9617 * g + 1867 * b + 8192) >> 14;
        return OwnPixel<uint8_t>{(uint8_t)y, (uint8_t)(((b - y) * 9246 + 0x200000) >> 14),
                                 (uint8_t)(((r - y) * 11686 + 0x200000) >> 14)};
    });
}
static void ownRgbToYCrByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b) {
        const auto y = ownFixedSum(ownTurns(r, g, b), 4898, 9617, 1867, 8192, 14), middle = ownSet<int16_t>(128);
        return OwnTriple<int16_t>{y, ownMulHigh(ownShiftLeft(b - y, 2), ownSet<int16_t>(9246)) + middle,
                                  ownMulHigh(ownShiftLeft(r - y, 2), ownSet<int16_t>(11686)) + middle};
    });
}

OWN_PLANE_TABLE(ownRgbToYCrRows) = {
    /*  1U */ {},
    /*  8U */ {ownRgbToYCrByteRun, ownRgbToYCrBytePlain},
    /*  8S */ {},
    /* 16U */ {ownRgbToYCrShortRun, ownRgbToYCrShortPlain},
    /* 16S */ {},
    /* 32S */ {ownLongRun<OwnRgbToYCrLong>, ownLongPlain<OwnRgbToYCrLong>},
    /* 32F */ {ownRgbToYCrFloatRun, ownRgbToYCrFloatPlain},
};

/* ---- From YCrCb ------------------------------------------------------------------------------------------------ */

/* 32F: held to 0 from below only. */
static float ownAbove0(float x) { return x < 0 ? 0 : x; }

static void ownYCrToRgbFloatPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float y, float cb, float cr) {
        return OwnPixel<float>{ownAbove0(1.402f * cr + y - 0.701f),
                               ownAbove0(y - 0.3441363f * cb - 0.7141363f * cr + 0.5291363f),
                               ownAbove0(1.772f * cb + y - 0.886f)};
    });
}
static void ownYCrToRgbFloatRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<float> V;
    ownMapPixels<float>(out, in, n, [](V y, V cb, V cr) {
        const V r = ownSet(1.402f) * cr + y - ownSet(0.701f);
        const V g = y - ownSet(0.3441363f) * cb - ownSet(0.7141363f) * cr + ownSet(0.5291363f);
        const V b = ownSet(1.772f) * cb + y - ownSet(0.886f);
        return OwnTriple<float>{ownMax(V{}, r), ownMax(V{}, g), ownMax(V{}, b)}; /* what is no number stays */
    });
}

/* 32S: in double, clamped to 0 and the largest sample, chopped. */
struct OwnYCrToRgbLong {
    template <class N> static auto of(N y, N cb, N cr)
    {
        const N g = y - 0.3441362862 * cb - 0.7141362862 * cr + 1136311521.6488118 + 0.5;
        return ownThree(ownChopAbove0<int32_t>(1.402 * cr + y - 1505386036.547 + 0.5), ownChopAbove0<int32_t>(g),
                        ownChopAbove0<int32_t>(1.772 * cb + y - 1902670511.242 + 0.5));
    }
};

/* 16 and 8 bits: weights of 14 fractional bits, the offsets bring the middle of the differences to 0. */
struct OwnYCrOffsets {
    int32_t red, green, blue;
};
template <class T>
static constexpr OwnYCrOffsets ownYCrOffsets = sizeof(T) == 1 ? OwnYCrOffsets{-2928675, -2210595, -3701580}
                                                              : OwnYCrOffsets{-752669475, -568122915, -951306060};

template <class T>
static void ownYCrToRgbFixedPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<T, T>(out, in, n, [](int32_t y, int32_t cb, int32_t cr) {
        constexpr OwnYCrOffsets offset = ownYCrOffsets<T>;
        return OwnPixel<T>{ownClamp<T>(y + ((22970 * cr + offset.red) >> 14)),
                           ownClamp<T>(y - ((5638 * cb + 11700 * cr + offset.green) >> 14)),
                           ownClamp<T>(y + ((29032 * cb + offset.blue) >> 14))};
    });
}

/* (a x + b y + offset) >> 14 of two channels in turn. */
static inline OwnVec<int16_t> ownDifference(OwnPair<int16_t> xy, int a, int b, int32_t offset)
{
    const OwnVec<int16_t> ab = ownTwoFactors(a, b);
    const OwnVec<int32_t> more = ownSet(offset);
    return ownPack<int16_t>(ownShiftRight(ownMulAdd(xy.lo, ab) + more, 14),
                            ownShiftRight(ownMulAdd(xy.hi, ab) + more, 14));
}
static void ownYCrToRgbByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> y, OwnVec<int16_t> cb, OwnVec<int16_t> cr) {
        constexpr OwnYCrOffsets offset = ownYCrOffsets<uint8_t>;
        const OwnPair<int16_t> both = ownZip(cb, cr);
        return OwnTriple<int16_t>{y + ownDifference(both, 0, 22970, offset.red),
                                  y - ownDifference(both, 5638, 11700, offset.green),
                                  y + ownDifference(both, 29032, 0, offset.blue)};
    });
}

/* 16 bits: the differences are taken less 32768, so their middle comes near 0. */
static void ownYCrToRgbShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    ownMapPixels<uint16_t>(out, in, n, [](V y, V cb, V cr) {
        constexpr OwnYCrOffsets offset = ownYCrOffsets<uint16_t>;
        const OwnPair<int16_t> both = ownZip(ownTopTurned(cb), ownTopTurned(cr));
        const OwnPair<int32_t> luma = ownWords(y);
        const auto add = [&](int a, int b, int32_t more, bool isLess) {
            const OwnVec<int16_t> ab = ownTwoFactors(a, b);
            const OwnVec<int32_t> back = ownSet(more + 32768 * (a + b));
            const auto lo = ownShiftRight(ownMulAdd(both.lo, ab) + back, 14),
                       hi = ownShiftRight(ownMulAdd(both.hi, ab) + back, 14);
            return isLess ? ownPack<uint16_t>(luma.lo - lo, luma.hi - hi)
                          : ownPack<uint16_t>(luma.lo + lo, luma.hi + hi);
        };
        return OwnTriple<uint16_t>{add(0, 22970, offset.red, false), add(5638, 11700, offset.green, true),
                                   add(29032, 0, offset.blue, false)};
    });
}

OWN_PLANE_TABLE(ownYCrToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {ownYCrToRgbByteRun, ownYCrToRgbFixedPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownYCrToRgbShortRun, ownYCrToRgbFixedPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownLongRun<OwnYCrToRgbLong>, ownLongPlain<OwnYCrToRgbLong>},
    /* 32F */ {ownYCrToRgbFloatRun, ownYCrToRgbFloatPlain},
};
