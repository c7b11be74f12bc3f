/* ownxyz: RGB to CIE X, Y, Z, and back, by a matrix. At 8 and 16 bits its weights are integers of 14 fractional bits, and a
 * sum is (sum + 8192) >> 14. */
#include "ownmatrix.h"

template <class R> struct OwnXyzWeights {
    static constexpr R to[3][3] = {{(R)0.412453, (R)0.35758, (R)0.180423},
                                   {(R)0.212671, (R)0.71516, (R)0.072169},
                                   {(R)0.019334, (R)0.119193, (R)0.950227}};
    static constexpr R from[3][3] = {{(R)3.240479, (R)-1.53715, (R)-0.498535},
                                     {(R)-0.969256, (R)1.875992, (R)0.041556},
                                     {(R)0.055648, (R)-0.204043, (R)1.057311}};
};
typedef const int64_t OwnFixedWeights[3][3];
static constexpr OwnFixedWeights ownToFixed = {{6758, 5859, 2956}, {3484, 11717, 1182}, {317, 1953, 15569}};
static constexpr OwnFixedWeights ownFromFixed = {{53092, -25185, -8168}, {-15880, 30736, 681}, {912, -3343, 17323}};

/* ---- Plain ----------------------------------------------------------------------------------------------------- */

/* 32F: single precision, no clamp. 32S: double, clamped to 0 and the largest sample, chopped. */
template <bool inverse>
static void ownXyzFloatPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float x, float y, float z) {
        const auto& m = inverse ? OwnXyzWeights<float>::from : OwnXyzWeights<float>::to;
        return OwnPixel<float>{ownSum(m[0], x, y, z), ownSum(m[1], x, y, z), ownSum(m[2], x, y, z)};
    });
}
template <bool inverse> struct OwnXyzLong {
    template <class N> static auto of(N x, N y, N z)
    {
        const auto& m = inverse ? OwnXyzWeights<double>::from : OwnXyzWeights<double>::to;
        return ownThree(ownChopAbove0<int32_t>(ownSum(m[0], x, y, z)), ownChopAbove0<int32_t>(ownSum(m[1], x, y, z)),
                        ownChopAbove0<int32_t>(ownSum(m[2], x, y, z)));
    }
};

/* 8 and 16 bits, held to the range of the sample: of the sums to XYZ only Z can pass it. */
template <class T, bool inverse>
static void ownXyzFixedPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef std::conditional_t<sizeof(T) == 1, int32_t, int64_t> Wide;
    ownEachPixel<T, T>(out, in, n, [](Wide x, Wide y, Wide z) {
        const auto& m = inverse ? ownFromFixed : ownToFixed;
        const auto sum = [&](const int64_t* w) {
            return ownClamp<T>(((Wide)w[0] * x + (Wide)w[1] * y + (Wide)w[2] * z + 8192) >> 14);
        };
        return OwnPixel<T>{sum(m[0]), sum(m[1]), sum(m[2])};
    });
}

/* ---- Packed ---------------------------------------------------------------------------------------------------- */

template <bool inverse> static void ownXyzFloatRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapPixels<float>(out, in, n, [](OwnVec<float> x, OwnVec<float> y, OwnVec<float> z) {
        const auto& m = inverse ? OwnXyzWeights<float>::from : OwnXyzWeights<float>::to;
        return OwnTriple<float>{ownSum(m[0], x, y, z), ownSum(m[1], x, y, z), ownSum(m[2], x, y, z)};
    });
}

static void ownRgbToXyzRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b) {
        const OwnTurns rgb = ownTurns(r, g, b);
        const auto row = [&](const int64_t* w) { return ownFixedSum(rgb, (int)w[0], (int)w[1], (int)w[2], 8192, 14); };
        return OwnTriple<int16_t>{row(ownToFixed[0]), row(ownToFixed[1]), row(ownToFixed[2])};
    });
}

/* Weights beyond 16 bits lose 65536, which is 4 after the shift. */
static void ownXyzToRgbRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> x, OwnVec<int16_t> y, OwnVec<int16_t> z) {
        const OwnTurns xyz = ownTurns(x, y, z);
        const auto row = [&](const int64_t* w) {
            return ownFixedSum(xyz, (int)(w[0] > 32767 ? w[0] - 65536 : w[0]), (int)w[1], (int)w[2], 8192, 14);
        };
        return OwnTriple<int16_t>{row(ownFromFixed[0]) + ownShiftLeft(x, 2), row(ownFromFixed[1]),
                                  row(ownFromFixed[2])};
    });
}

/* 16 bits. The sums, of signed samples, stay within 32 bits. */
template <bool inverse> static void ownXyzShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    ownMapPixels<uint16_t>(out, in, n, [](V x, V y, V z) {
        const OwnTurns16 xyz = ownTurns16(x, y, z);
        const auto row = [&](const int64_t* w) {
            return ownFixedSum16<uint16_t>(xyz, (int)w[0], (int)w[1], (int)w[2], 8192);
        };
        const auto& m = inverse ? ownFromFixed : ownToFixed;
        return OwnTriple<uint16_t>{row(m[0]), row(m[1]), row(m[2])};
    });
}

OWN_PLANE_TABLE(ownRgbToXyzRows) = {
    /*  1U */ {},
    /*  8U */ {ownRgbToXyzRun, ownXyzFixedPlain<uint8_t, false>},
    /*  8S */ {},
    /* 16U */ {ownXyzShortRun<false>, ownXyzFixedPlain<uint16_t, false>},
    /* 16S */ {},
    /* 32S */ {ownLongRun<OwnXyzLong<false>>, ownLongPlain<OwnXyzLong<false>>},
    /* 32F */ {ownXyzFloatRun<false>, ownXyzFloatPlain<false>},
};
OWN_PLANE_TABLE(ownXyzToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {ownXyzToRgbRun, ownXyzFixedPlain<uint8_t, true>},
    /*  8S */ {},
    /* 16U */ {ownXyzShortRun<true>, ownXyzFixedPlain<uint16_t, true>},
    /* 16S */ {},
    /* 32S */ {ownLongRun<OwnXyzLong<true>>, ownLongPlain<OwnXyzLong<true>>},
    /* 32F */ {ownXyzFloatRun<true>, ownXyzFloatPlain<true>},
};
