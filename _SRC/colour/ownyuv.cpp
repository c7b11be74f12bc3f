/* ownyuv: RGB to luma and two differences, and back. RGB is unsigned, YUV signed.
 *
 *   Y = 0.299 R + 0.587 G + 0.114 B, U = B - Y, V = R - Y
 *   R = Y + V, G = Y - 0.509 V - 0.194 U, B = Y + U */
#include "ownmatrix.h"

template <class R> static constexpr R ownLuma[3] = {(R)0.299, (R)0.587, (R)0.114};

/* ---- To YUV ---------------------------------------------------------------------------------------------------- */

static void ownRgbToYuvFloatPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float r, float g, float b) {
        const float y = ownSum(ownLuma<float>, r, g, b);
        return OwnPixel<float>{y, b - y, r - y};
    });
}
static void ownRgbToYuvFloatRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapPixels<float>(out, in, n, [](OwnVec<float> r, OwnVec<float> g, OwnVec<float> b) {
        const auto y = ownSum(ownLuma<float>, r, g, b);
        return OwnTriple<float>{y, b - y, r - y};
    });
}

/* The differences are those of the luma before it is chopped. */
struct OwnRgbToYuvLong {
    template <class N> static auto of(N r, N g, N b)
    {
        const N y = ownSum(ownLuma<double>, r, g, b);
        return ownThree(ownChopTo<int32_t>(y), ownChopTo<int32_t>(b - y), ownChopTo<int32_t>(r - y));
    }
};

/* 16 and 8 bits: Y = (4899 R + 9617 G + 1868 B) >> 14, which must fit a signed sample, so bright pixels are held to half
 * the range; the differences are those of the luma before that. */
template <class S, class D>
static void ownRgbToYuvFixedPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<D, S>(out, in, n, [](int32_t r, int32_t g, int32_t b) {
        const int32_t y = (4899 * r + 9617 * g + 1868 * b) >> 14;
        return OwnPixel<D>{ownClamp<D>(y), ownClamp<D>(b - y), ownClamp<D>(r - y)};
    });
}
static void ownRgbToYuvRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<int8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b) {
        const auto y = ownFixedSum(ownTurns(r, g, b), 4899, 9617, 1868, 0, 14);
        return OwnTriple<int16_t>{y, b - y, r - y};
    });
}

/* 16 bits: a difference of samples that lose 32768 both is the same. */
static void ownRgbToYuvShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    ownMapPixels<uint16_t>(out, in, n, [](V r, V g, V b) {
        const V y = ownFixedSum16<uint16_t>(ownTurns16(r, g, b), 4899, 9617, 1868, 0);
        const OwnVec<int16_t> turned = ownTopTurned(y);
        return OwnTriple<uint16_t>{ownMin(y, ownSet<uint16_t>(INT16_MAX)),
                                   ownAs<uint16_t>(ownSubSat(ownTopTurned(b), turned)),
                                   ownAs<uint16_t>(ownSubSat(ownTopTurned(r), turned))};
    });
}

OWN_PLANE_TABLE(ownRgbToYuvRows) = {
    /*  1U */ {},
    /*  8U */ {ownRgbToYuvRun, ownRgbToYuvFixedPlain<uint8_t, int8_t>},
    /*  8S */ {},
    /* 16U */ {ownRgbToYuvShortRun, ownRgbToYuvFixedPlain<uint16_t, int16_t>},
    /* 16S */ {},
    /* 32S */ {ownLongRun<OwnRgbToYuvLong>, ownLongPlain<OwnRgbToYuvLong>},
    /* 32F */ {ownRgbToYuvFloatRun, ownRgbToYuvFloatPlain},
};

/* ---- From YUV -------------------------------------------------------------------------------------------------- */

static void ownYuvToRgbFloatPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float y, float u, float v) {
        return OwnPixel<float>{y + v, y - 0.509f * v - 0.194f * u, y + u};
    });
}
static void ownYuvToRgbFloatRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapPixels<float>(out, in, n, [](OwnVec<float> y, OwnVec<float> u, OwnVec<float> v) {
        return OwnTriple<float>{y + v, y - ownSet(0.509f) * v - ownSet(0.194f) * u, y + u};
    });
}

/* In double. Pixels of as many channels in the source as in the destination are computed with the constants of single
 * precision. */
template <class Constant> struct OwnYuvToRgbLong {
    template <class N> static auto of(N y, N u, N v)
    {
        const N green = y - (double)(Constant)0.509 * v - (double)(Constant)0.194 * u + 0.5;
        return ownThree(ownChopAbove0<int32_t>(y + v), ownChopAbove0<int32_t>(green), ownChopAbove0<int32_t>(y + u));
    }
};

/* 16 and 8 bits: G = Y - ((8340 V + 3179 U) >> 14). Nothing passes the upper end of an unsigned sample. */
template <class S, class D>
static void ownYuvToRgbFixedPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<D, S>(out, in, n, [](int32_t y, int32_t u, int32_t v) {
        const int32_t green = y - ((8340 * v + 3179 * u) >> 14);
        return OwnPixel<D>{(D)std::max(y + v, 0), (D)std::max(green, 0), (D)std::max(y + u, 0)};
    });
}
static void ownYuvToRgbRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, int8_t>(out, in, n, [](OwnVec<int16_t> y, OwnVec<int16_t> u, OwnVec<int16_t> v) {
        const OwnPair<int16_t> vu = ownZip(v, u);
        const OwnVec<int16_t> weights = ownTwoFactors(8340, 3179);
        const auto less = ownPack<int16_t>(ownShiftRight(ownMulAdd(vu.lo, weights), 14),
                                           ownShiftRight(ownMulAdd(vu.hi, weights), 14));
        return OwnTriple<int16_t>{y + v, y - less, y + u};
    });
}

static void ownYuvToRgbShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int16_t> V;
    ownMapPixels<int16_t>(out, in, n, [](V y, V u, V v) {
        const OwnPair<int16_t> vu = ownZip(v, u);
        const OwnVec<int16_t> weights = ownTwoFactors(8340, 3179);
        const OwnPair<int32_t> luma = ownUnpack(y), more[2] = {ownUnpack(v), ownUnpack(u)};
        const auto add = [&](OwnPair<int32_t> x) {
            return ownAs<int16_t>(ownPack<uint16_t>(luma.lo + x.lo, luma.hi + x.hi));
        };
        const auto green = ownPack<uint16_t>(luma.lo - ownShiftRight(ownMulAdd(vu.lo, weights), 14),
                                             luma.hi - ownShiftRight(ownMulAdd(vu.hi, weights), 14));
        return OwnTriple<int16_t>{add(more[0]), ownAs<int16_t>(green), add(more[1])};
    });
}

OWN_PLANE_TABLE(ownYuvToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {},
    /*  8S */ {ownYuvToRgbRun, ownYuvToRgbFixedPlain<int8_t, uint8_t>},
    /* 16U */ {},
    /* 16S */ {ownYuvToRgbShortRun, ownYuvToRgbFixedPlain<int16_t, uint16_t>},
    /* 32S */ {ownLongRun<OwnYuvToRgbLong<float>>, ownLongPlain<OwnYuvToRgbLong<float>>},
    /* 32F */ {ownYuvToRgbFloatRun, ownYuvToRgbFloatPlain},
};
OWN_PLANE_TABLE(ownYuvToRgbUnequalRows) = {
    /*  1U */ {},
    /*  8U */ {},
    /*  8S */ {ownYuvToRgbRun, ownYuvToRgbFixedPlain<int8_t, uint8_t>},
    /* 16U */ {},
    /* 16S */ {ownYuvToRgbShortRun, ownYuvToRgbFixedPlain<int16_t, uint16_t>},
    /* 32S */ {ownLongRun<OwnYuvToRgbLong<double>>, ownLongPlain<OwnYuvToRgbLong<double>>},
    /* 32F */ {ownYuvToRgbFloatRun, ownYuvToRgbFloatPlain},
};
