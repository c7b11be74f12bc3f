/* ownycc: luma and two chromas of the photographic scale to RGB, 8 bits. A weighted sum gives an index into a curve of 362
 * values; the last one, which every larger sum has too, is 0. */
#include "ownmatrix.h"

static constexpr int OWN_YCC_LAST = 361; /* the last index */

static constexpr uint8_t ownYccCurve[OWN_YCC_LAST + 1] = {
    0,   1,   1,   2,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  16,  17,  18,  19,  20,
    22,  23,  24,  25,  26,  28,  29,  30,  31,  33,  34,  35,  36,  38,  39,  40,  41,  43,  44,  45,  47,  48,  49,
    51,  52,  53,  55,  56,  57,  59,  60,  61,  63,  64,  65,  67,  68,  70,  71,  72,  74,  75,  76,  78,  79,  81,
    82,  83,  85,  86,  88,  89,  91,  92,  93,  95,  96,  98,  99,  101, 102, 103, 105, 106, 108, 109, 111, 112, 113,
    115, 116, 118, 119, 121, 122, 123, 125, 126, 128, 129, 130, 132, 133, 134, 136, 137, 138, 140, 141, 142, 144, 145,
    146, 148, 149, 150, 152, 153, 154, 155, 157, 158, 159, 160, 162, 163, 164, 165, 166, 168, 169, 170, 171, 172, 174,
    175, 176, 177, 178, 179, 180, 182, 183, 184, 185, 186, 187, 188, 189, 190, 191, 192, 194, 195, 196, 197, 198, 199,
    200, 201, 202, 203, 204, 204, 205, 206, 207, 208, 209, 210, 211, 212, 213, 213, 214, 215, 216, 217, 217, 218, 219,
    220, 221, 221, 222, 223, 223, 224, 225, 225, 226, 227, 227, 228, 229, 229, 230, 230, 231, 231, 232, 233, 233, 234,
    234, 235, 235, 236, 236, 236, 237, 237, 238, 238, 238, 239, 239, 240, 240, 240, 241, 241, 241, 242, 242, 242, 242,
    243, 243, 243, 244, 244, 244, 244, 245, 245, 245, 245, 245, 246, 246, 246, 246, 246, 247, 247, 247, 247, 247, 247,
    248, 248, 248, 248, 248, 248, 249, 249, 249, 249, 249, 249, 249, 249, 249, 250, 250, 250, 250, 250, 250, 250, 250,
    250, 250, 251, 251, 251, 251, 251, 251, 251, 251, 251, 251, 251, 251, 251, 251, 252, 252, 252, 252, 252, 252, 252,
    252, 252, 252, 252, 252, 252, 252, 252, 252, 252, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253,
    253, 253, 253, 253, 253, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0};

/* The three indices. */
static void ownYccToRgbPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<uint8_t, uint8_t>(out, in, n, [](int32_t y, int32_t c1, int32_t c2) {
        const int32_t r = (22256 * y + 29844 * c2 + 4088627) >> 14;
        const int32_t g = (22256 * y + 7050 * c1 - 15190 * c2 - 3180790) >> 14;
        const int32_t b = (22256 * y + 36338 * c1 + 5668700) >> 14;
        return OwnPixel<uint8_t>{ownYccCurve[std::min<int32_t>(r, OWN_YCC_LAST)],
                                 ownYccCurve[std::clamp<int32_t>(g, 0, OWN_YCC_LAST)],
                                 ownYccCurve[std::min<int32_t>(b, OWN_YCC_LAST)]};
    });
}

/* The index of a sum of three products, in 16-bit lanes of an order that two of them share with the bytes. */
static inline OwnVec<int16_t> ownYccIndex(const OwnTurns& in, int a, int b, int c, int32_t offset)
{
    const OwnVec<int16_t> ab = ownTwoFactors(a, b), c0 = ownTwoFactors(c, 0);
    const OwnVec<int32_t> more = ownSet(offset);
    return ownPack<int16_t>(ownShiftRight(ownMulAdd(in.xy.lo, ab) + ownMulAdd(in.z1.lo, c0) + more, 14),
                            ownShiftRight(ownMulAdd(in.xy.hi, ab) + ownMulAdd(in.z1.hi, c0) + more, 14));
}

/* From OWN_YCC_BRIGHT on the curve rises by one here and there. These places are counted, which gives its values without
 * looking them up; the indices of red and blue lie in that part, and what of green's does not fits a byte. */
static constexpr int OWN_YCC_BRIGHT = 249, OWN_YCC_MOST_STEPS = 16;

struct OwnYccSteps {
    int n;
    int8_t at[OWN_YCC_MOST_STEPS]; /* less OWN_YCC_BRIGHT */
};
static constexpr OwnYccSteps ownFindSteps()
{
    OwnYccSteps steps = {};
    for (int i = OWN_YCC_BRIGHT + 1; i < OWN_YCC_LAST; ++i)
        for (int value = ownYccCurve[i - 1]; value < ownYccCurve[i]; ++value)
            steps.at[steps.n++] = (int8_t)(i - OWN_YCC_BRIGHT);
    return steps;
}
static constexpr OwnYccSteps ownYccSteps = ownFindSteps();

/* The curve at OWN_YCC_BRIGHT + x, for x from `first` to the last one. */
template <int first> static inline OwnVec<uint8_t> ownBrightCurve(OwnVec<int8_t> x)
{
    OwnVec<uint8_t> value = ownSet(ownYccCurve[OWN_YCC_BRIGHT + first]);
    for (int i = 0; i < ownYccSteps.n; ++i)
        if (ownYccSteps.at[i] > first)
            value = value - ownAs<uint8_t>(ownGreater(x, ownSet((int8_t)(ownYccSteps.at[i] - 1))));
    return value & ~ownAs<uint8_t>(ownEqual(x, ownSet((int8_t)(OWN_YCC_LAST - OWN_YCC_BRIGHT))));
}

/* Indices less OWN_YCC_BRIGHT, as bytes. */
static inline OwnVec<int8_t> ownBrightIndex(OwnVec<int16_t> lo, OwnVec<int16_t> hi)
{
    const auto last = ownSet<int16_t>(OWN_YCC_LAST), bright = ownSet<int16_t>(OWN_YCC_BRIGHT);
    return ownPack<int8_t>(ownMin(lo, last) - bright, ownMin(hi, last) - bright);
}

/* A vector of pixels at a time. 36338 loses 65536, which is 4 after the shift. */
static void ownYccToRgbRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    enum { RED, GREEN, BLUE };
    constexpr int blueFrom = 345 - OWN_YCC_BRIGHT;
    constexpr ptrdiff_t lanes = OwnVec<uint8_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const auto y = ownUnpack(ownLoad<uint8_t>((const char*)in[0] + i));
        const auto c1 = ownUnpack(ownLoad<uint8_t>((const char*)in[1] + i));
        const auto c2 = ownUnpack(ownLoad<uint8_t>((const char*)in[2] + i));
        OwnVec<int16_t> index[3][2];
        for (int half = 0; half < 2; ++half) {
            const auto first = ownAs<int16_t>(half ? c1.hi : c1.lo);
            const OwnTurns turns = ownTurns(ownAs<int16_t>(half ? y.hi : y.lo), first,
                                            ownAs<int16_t>(half ? c2.hi : c2.lo));
            index[RED][half] = ownYccIndex(turns, 22256, 0, 29844, 4088627);
            index[GREEN][half] = ownYccIndex(turns, 22256, 7050, -15190, -3180790);
            index[BLUE][half] = ownYccIndex(turns, 22256, 36338 - 65536, 0, 5668700) + ownShiftLeft(first, 2);
        }
        ownStore((char*)out[0] + i, ownBrightCurve<0>(ownBrightIndex(index[RED][0], index[RED][1])));
        ownStore((char*)out[2] + i, ownBrightCurve<blueFrom>(ownBrightIndex(index[BLUE][0], index[BLUE][1])));

        alignas(64) uint8_t dark[lanes], value[lanes];
        ownStore(dark, ownPack<uint8_t>(index[GREEN][0], index[GREEN][1]));
        for (ptrdiff_t j = 0; j < lanes; ++j) value[j] = ownYccCurve[dark[j]];
        const auto x = ownBrightIndex(index[GREEN][0], index[GREEN][1]);
        ownStore((char*)out[1] + i,
                 ownSelect(ownGreater(x, OwnVec<int8_t>{}), ownBrightCurve<0>(x), ownLoad<uint8_t>(value)));
    }
}

OWN_PLANE_TABLE(ownYccToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {ownYccToRgbRun, ownYccToRgbPlain},
};
