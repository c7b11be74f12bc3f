/* Ownctog: colour to gray, a weighted sum of red, green and blue: 54, 183, 18 of 8 fractional bits, or 109, 366, 37 of 9. Bits
 * are set above the middle of the range. */
#include "ownmatrix.h"

/* out = f(r, g, b), a sample of a type of its own. */
template <class D, class S, class F>
[[gnu::flatten]] static inline void ownEachGray(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t from = (ptrdiff_t)sizeof(S), to = (ptrdiff_t)sizeof(D);
    const char* __restrict a = (const char*)in[0], * __restrict b = (const char*)in[1], * __restrict c = (const char*)in[2];
    char* __restrict x = (char*)out[0];
    for (ptrdiff_t i = 0; i < n; ++i) {
        S s[3];
        memcpy(&s[0], a + i * from, sizeof(S));
        memcpy(&s[1], b + i * from, sizeof(S));
        memcpy(&s[2], c + i * from, sizeof(S));
        const D gray = f(s[0], s[1], s[2]);
        memcpy(x + i * to, &gray, sizeof(D));
    }
}

/* A bit for each pixel for which f holds, eight to a byte. */
template <class S, class F>
[[gnu::flatten]] static inline void ownEachGrayBit(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t part = OWN_VEC_BYTES;
    uint8_t flags[part];
    void* const flagPlane[1] = {flags};
    for (ptrdiff_t i = 0; i < n; i += part) {
        const ptrdiff_t at = i * (ptrdiff_t)sizeof(S);
        const void* const from[3] = {(const char*)in[0] + at, (const char*)in[1] + at, (const char*)in[2] + at};
        ownEachGray<uint8_t, S>(flagPlane, from, part, [f](S r, S g, S b) { return (uint8_t)(f(r, g, b) ? 1 : 0); });
        for (ptrdiff_t j = 0; j < part; j += 8) {
            unsigned bits = 0;
            for (int k = 0; k < 8; ++k) bits = bits << 1 | flags[j + k];
            ((uint8_t*)out[0])[(i + j) >> 3] = (uint8_t)bits;
        }
    }
}

/* The packed loops: f gives a vector of grays of the samples' width, within the range of D; of bits, the lanes' signs. */
template <class S, class F> static inline auto ownGrayLanes(const void* const in[], F f)
{
    return [=](ptrdiff_t i) {
        const ptrdiff_t at = i * (ptrdiff_t)sizeof(S);
        return f(ownLoad<S>((const char*)in[0] + at), ownLoad<S>((const char*)in[1] + at),
                 ownLoad<S>((const char*)in[2] + at));
    };
}
template <class D, class S, class F>
[[gnu::flatten]] static inline void ownMapGray(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes, size = (ptrdiff_t)sizeof(D);
    const auto gray = ownGrayLanes<S>(in, f);
    char* to = (char*)out[0];
    for (ptrdiff_t i = 0; i < n; i += OwnVec<D>::lanes) {
        if constexpr (sizeof(D) == sizeof(S)) ownStore(to + i * size, ownAs<D>(gray(i)));
        else if constexpr (2 * sizeof(D) == sizeof(S)) ownStore(to + i * size, ownNarrow<D>(gray(i), gray(i + lanes)));
        else
            ownStore(to + i * size, ownNarrow<D>(ownNarrow<int16_t>(gray(i), gray(i + lanes)),
                                                 ownNarrow<int16_t>(gray(i + 2 * lanes), gray(i + 3 * lanes))));
    }
}
template <class S, class F>
[[gnu::flatten]] static inline void ownMapGrayBits(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes;
    const auto gray = ownGrayLanes<S>(in, f);
    const auto signs = [=](ptrdiff_t i) {
        if constexpr (sizeof(S) == 1) return gray(i);
        else if constexpr (sizeof(S) == 2) return ownNarrow<int8_t>(gray(i), gray(i + lanes));
        else
            return ownNarrow<int8_t>(ownNarrow<int16_t>(gray(i), gray(i + lanes)),
                                     ownNarrow<int16_t>(gray(i + 2 * lanes), gray(i + 3 * lanes)));
    };
    for (ptrdiff_t i = 0; i < n; i += OWN_VEC_BYTES)
        ownStoreSigns((uint8_t*)out[0] + (i >> 3), ownAs<uint8_t>(signs(i)));
}

/* ---- 8 and 16 bits --------------------------------------------------------------------------------------------- */

static int32_t ownGraySum(int32_t r, int32_t g, int32_t b) { return 54 * r + 183 * g + 18 * b; }

template <class D, class S, int shift>
static void ownGrayPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachGray<D, S>(out, in, n, [](S r, S g, S b) { return (D)(ownGraySum(r, g, b) >> shift); });
}
template <class S> static void ownGrayBitsPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    constexpr int32_t middle = std::numeric_limits<S>::max() / 2;
    ownEachGrayBit<S>(out, in, n, [](S r, S g, S b) { return ownGraySum(r, g, b) >> 8 > middle; });
}

/* 8 bits: green's weight is shared out, 54 R + 74 G and 109 G + 18 B, so that each sum fits a signed 16-bit lane. Both
 * together fit an unsigned one. */
static inline OwnVec<uint8_t> ownGrayOfBytes(OwnVec<uint8_t> r, OwnVec<uint8_t> g, OwnVec<uint8_t> b)
{
    const OwnVec<int8_t> rgWeights = ownTwoByteFactors(54, 74), gbWeights = ownTwoByteFactors(109, 18);
    const auto sum = [=](OwnVec<uint8_t> rg, OwnVec<uint8_t> gb) {
        const auto weighted = ownMulAddSat(rg, rgWeights) + ownMulAddSat(gb, gbWeights);
        return ownAs<int16_t>(ownShiftRight(ownAs<uint16_t>(weighted), 8));
    };
    const auto rg = ownZip(r, g), gb = ownZip(g, b);
    return ownPack<uint8_t>(sum(rg.lo, gb.lo), sum(rg.hi, gb.hi));
}
static void ownGrayByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapGray<uint8_t, uint8_t>(out, in, n, ownGrayOfBytes);
}
static void ownGrayByteBitsRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapGrayBits<uint8_t>(out, in, n, ownGrayOfBytes); /* above 127 the top bit is set */
}
static void ownGrayByteShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    for (ptrdiff_t i = 0; i < n; i += V::lanes) {
        const auto weighted = [=](int c, uint16_t weight) {
            return ownLoadWide<uint16_t, uint8_t>((const char*)in[c] + i) * ownSet(weight);
        };
        ownStore((char*)out[0] + 2 * i, weighted(0, 54) + weighted(1, 183) + weighted(2, 18));
    }
}

/* 16 bits: samples less 32768 are signed, and their sums lack 255 times that. */
template <int shift>
static inline OwnVec<uint16_t> ownGrayOfShorts(OwnVec<uint16_t> r, OwnVec<uint16_t> g, OwnVec<uint16_t> b)
{
    const OwnPair<int16_t> rg = ownZip(ownTopTurned(r), ownTopTurned(g)),
                           b0 = ownZip(ownTopTurned(b), OwnVec<int16_t>{});
    const OwnVec<int16_t> rgWeights = ownTwoFactors(54, 183), bWeights = ownTwoFactors(18, 0);
    const OwnVec<int32_t> back = ownSet(255 * 32768);
    return ownPack<uint16_t>(ownShiftRight(ownMulAdd(rg.lo, rgWeights) + ownMulAdd(b0.lo, bWeights) + back, shift),
                             ownShiftRight(ownMulAdd(rg.hi, rgWeights) + ownMulAdd(b0.hi, bWeights) + back, shift));
}
template <class D, int shift>
static void ownGrayShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapGray<D, uint16_t>(out, in, n, ownGrayOfShorts<shift>);
}
static void ownGrayShortBitsRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapGrayBits<uint16_t>(out, in, n, ownGrayOfShorts<8>); /* above 32767 the top bit is set */
}

/* 16 bits to 8 in planes: each product loses its low 16 bits by itself. The last sample of rows of odd length is exact. */
static void ownGrayHighPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachGray<uint8_t, uint16_t>(out, in, n, [](uint32_t r, uint32_t g, uint32_t b) {
        return (uint8_t)(((r * 109 >> 16) + (g * 366 >> 16) + (b * 37 >> 16)) >> 1);
    });
}
static void ownGrayHighRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint16_t> V;
    ownMapGray<uint8_t, uint16_t>(out, in, n, [](V r, V g, V b) {
        const auto high = [](V x, uint16_t weight) { return ownMulHigh(x, ownSet(weight)); };
        return ownShiftRight(high(r, 109) + high(g, 366) + high(b, 37), 1);
    });
}
static void ownGrayExactPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachGray<uint8_t, uint16_t>(
        out, in, n, [](uint32_t r, uint32_t g, uint32_t b) { return (uint8_t)((r * 109 + g * 366 + b * 37) >> 17); });
}

/* ---- 32 bits --------------------------------------------------------------------------------------------------- */

/* The sum of the upper bits, from bit `low` on. */
static int32_t ownGrayLongSum(int low, int32_t r, int32_t g, int32_t b)
{
    return 109 * (r >> low) + 366 * (g >> low) + 37 * (b >> low);
}
template <class D, int shift>
static void ownGrayLongPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachGray<D, int32_t>(out, in, n,
                            [](int32_t r, int32_t g, int32_t b) { return (D)(ownGrayLongSum(11, r, g, b) >> shift); });
}
static void ownGrayLongBitsPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachGrayBit<int32_t>(out, in, n,
                            [](int32_t r, int32_t g, int32_t b) { return ownGrayLongSum(10, r, g, b) > 0x1FFFFFFF; });
}

typedef OwnVec<int32_t> OwnGrayLongs;
template <int low> static inline OwnGrayLongs ownGrayOfLongs(OwnGrayLongs r, OwnGrayLongs g, OwnGrayLongs b)
{
    const auto weighted = [](OwnGrayLongs x, int weight) { return ownShiftRight(x, low) * ownSet(weight); };
    return weighted(r, 109) + weighted(g, 366) + weighted(b, 37);
}
template <class D, int shift>
static void ownGrayLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnGrayLongs V;
    ownMapGray<D, int32_t>(out, in, n, [](V r, V g, V b) {
        return ownShiftRight(ownGrayOfLongs<11>(r, g, b), shift) & ownSet<int32_t>(std::numeric_limits<D>::max());
    });
}
static void ownGrayLongBitsRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnGrayLongs V;
    ownMapGrayBits<int32_t>(
        out, in, n, [](V r, V g, V b) { return ownGreater(ownGrayOfLongs<10>(r, g, b), ownSet<int32_t>(0x1FFFFFFF)); });
}

/* ---- Tables ---------------------------------------------------------------------------------------------------- */

/* Rows: the depth of the colour image. Columns: gray of 1U, 8U, 8S, 16U. */
extern const OwnPlaneRow ownColorToGrayRows[OWN_DEPTHS][OWN_DEPTHS];
const OwnPlaneRow ownColorToGrayRows[OWN_DEPTHS][OWN_DEPTHS] = {
    /*  1U */ {},
    /*  8U */
    {{ownGrayByteBitsRun, ownGrayBitsPlain<uint8_t>},
     {ownGrayByteRun, ownGrayPlain<uint8_t, uint8_t, 8>},
     {},
     {ownGrayByteShortRun, ownGrayPlain<uint16_t, uint8_t, 0>}},
    /*  8S */ {},
    /* 16U */
    {{ownGrayShortBitsRun, ownGrayBitsPlain<uint16_t>},
     {ownGrayShortRun<uint8_t, 16>, ownGrayPlain<uint8_t, uint16_t, 16>},
     {},
     {ownGrayShortRun<uint16_t, 8>, ownGrayPlain<uint16_t, uint16_t, 8>}},
    /* 16S */ {},
    /* 32S */
    {{ownGrayLongBitsRun, ownGrayLongBitsPlain},
     {ownGrayLongRun<uint8_t, 21>, ownGrayLongPlain<uint8_t, 21>},
     {},
     {ownGrayLongRun<uint16_t, 13>, ownGrayLongPlain<uint16_t, 13>}},
    /* 32F */ {},
};
extern const OwnPlaneRow ownColorToGrayPlaneRow, ownColorToGrayLastRow;
const OwnPlaneRow ownColorToGrayPlaneRow = {ownGrayHighRun, ownGrayHighPlain};
const OwnPlaneRow ownColorToGrayLastRow = {ownGrayExactPlain, ownGrayExactPlain}; /* a pixel a row */
