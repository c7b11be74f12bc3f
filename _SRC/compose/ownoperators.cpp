/* ownoperators: the arithmetic of compositions, a run at a time: the scaled multiply, the operators on premultiplied and on
 * plain colour, and the same with a division by the result's alpha. */
#include "owncompose.h"
#include "ownsimd.h"

/* ---- Words for single samples, as the packed ones have them ------------------------------------------------------ */

/* The product of fractions; the highest value is 1. */
static uint8_t ownMulScaled(uint8_t a, uint8_t b)
{
    const uint32_t x = (uint32_t)a * b;
    return (uint8_t)((x + (x >> 8) + 1) >> 8);
}
static uint16_t ownMulScaled(uint16_t a, uint16_t b)
{
    const uint32_t x = (uint32_t)a * b;
    return (uint16_t)((x + (x >> 16) + 1) >> 16);
}
template <class T> static T ownAddSat(T a, T b) { return ownClamp<T>((int32_t)a + b); }
template <class T> static T ownLess(T a, T b) { return (T)(a - b); }
template <class T> static OwnVec<T> ownLess(OwnVec<T> a, OwnVec<T> b) { return a - b; }

/* ---- The operators ------------------------------------------------------------------------------------------- */

/* Which operands an operator reads. */
static constexpr bool ownReadsB(int type) { return type != COMPOSITE_IN && type != COMPOSITE_OUT; }
static constexpr bool ownReadsAlphaA(int type)
{
    return type == COMPOSITE_OVER || type == COMPOSITE_ATOP || type == COMPOSITE_XOR;
}
static constexpr bool ownReadsAlphaB(int type) { return type != COMPOSITE_OVER && type != COMPOSITE_PLUS; }

/* Premultiplied a and b. What the multiply takes from a sample is never more than the sample. */
template <int type, class V> static inline V ownOperator(V a, V b, V alphaA, V alphaB)
{
    if constexpr (type == COMPOSITE_OVER) return ownAddSat(a, ownLess(b, ownMulScaled(b, alphaA)));
    else if constexpr (type == COMPOSITE_IN) return ownMulScaled(a, alphaB);
    else if constexpr (type == COMPOSITE_OUT) return ownLess(a, ownMulScaled(alphaB, a));
    else if constexpr (type == COMPOSITE_ATOP)
        return ownAddSat(ownMulScaled(a, alphaB), ownLess(b, ownMulScaled(b, alphaA)));
    else if constexpr (type == COMPOSITE_XOR)
        return ownAddSat(ownLess(a, ownMulScaled(alphaB, a)), ownLess(b, ownMulScaled(b, alphaA)));
    else return ownAddSat(a, b);
}

template <int type, bool isPremul> struct OwnComposite {
    static constexpr bool readsB = ownReadsB(type);
    static constexpr bool readsAlphaA = ownReadsAlphaA(type) || !isPremul;
    static constexpr bool readsAlphaB = ownReadsAlphaB(type) || (!isPremul && readsB);

    template <class V> static V of(V a, V b, V alphaA, V alphaB)
    {
        if constexpr (!isPremul) a = ownMulScaled(a, alphaA);
        if constexpr (!isPremul && readsB) b = ownMulScaled(b, alphaB);
        return ownOperator<type>(a, b, alphaA, alphaB);
    }
};

struct OwnScale {
    static constexpr bool readsB = true, readsAlphaA = false, readsAlphaB = false;
    template <class V> static V of(V a, V b, V, V) { return ownMulScaled(a, b); }
};
struct OwnScaleAlpha {
    static constexpr bool readsB = false, readsAlphaA = true, readsAlphaB = false;
    template <class V> static V of(V a, V, V alphaA, V) { return ownMulScaled(a, alphaA); }
};

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

/* One vector of results, from sample i on; n below 0: a whole one, otherwise its first n samples. */
template <class T, class F, bool isWritten>
[[gnu::always_inline]] static inline OwnVec<T> ownBlendVec(const OwnBlendRow& row, ptrdiff_t i, ptrdiff_t n = -1)
{
    const auto load = [=](const void* p) {
        const char* at = (const char*)p + i * (ptrdiff_t)sizeof(T);
        return n < 0 ? ownLoad<T>(at) : ownLoadPart<T>(at, n);
    };
    OwnVec<T> b = {}, alphaA = {}, alphaB = {};
    if constexpr (F::readsB) b = load(row.b);
    if constexpr (F::readsAlphaA) alphaA = load(row.alphaA);
    if constexpr (F::readsAlphaB) alphaB = load(row.alphaB);
    const OwnVec<T> result = F::of(load(row.a), b, alphaA, alphaB);
    if constexpr (isWritten) return ownSelect(load(row.write), result, load(row.out));
    else return result;
}

/* A vector at a time. The last one is computed before the loop and stored after it, as out may be an operand. */
template <class T, class F, bool isWritten> [[gnu::flatten]] static void ownBlendLoop(const OwnBlendRow& row)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const OwnBlendRow r = row; /* its pointers in registers: the stores can't change them */
    char* out = (char*)r.out;
    if (r.n < step) return ownStorePart(out, ownBlendVec<T, F, isWritten>(r, 0, r.n), r.n);
    const OwnVec<T> last = ownBlendVec<T, F, isWritten>(r, r.n - step);
    for (ptrdiff_t i = 0; i < r.n - step; i += step) ownStore(out + i * size, ownBlendVec<T, F, isWritten>(r, i));
    ownStore(out + (r.n - step) * size, last);
}

template <class T, class F> static void ownBlendPacked(const OwnBlendRow& row)
{
    if (row.write) ownBlendLoop<T, F, true>(row);
    else ownBlendLoop<T, F, false>(row);
}

/* Sample i of a run that is read; 0 of one that is not. */
template <class T, bool isRead> static inline T ownAt(const void* run, ptrdiff_t i)
{
    T x = 0;
    if constexpr (isRead) memcpy(&x, (const char*)run + i * (ptrdiff_t)sizeof(T), sizeof(T));
    return x;
}

/* Stores the samples that are written. */
template <class T> static inline void ownPut(const OwnBlendRow& row, ptrdiff_t i, T value)
{
    if (!row.write || ownAt<T, true>(row.write, i))
        memcpy((char*)row.out + i * (ptrdiff_t)sizeof(T), &value, sizeof(T));
}

template <class T, class F> static void ownBlendPlain(const OwnBlendRow& row)
{
    for (ptrdiff_t i = 0; i < row.n; ++i)
        ownPut<T>(row, i,
                  F::of(ownAt<T, true>(row.a, i), ownAt<T, F::readsB>(row.b, i),
                        ownAt<T, F::readsAlphaA>(row.alphaA, i), ownAt<T, F::readsAlphaB>(row.alphaB, i)));
}

/* ---- With a division --------------------------------------------------------------------------------------------- */

/* A constant; the smaller of two; one of two by a comparison: for single floats and for vectors of them. */
template <class V> static inline V ownReal(float x);
template <> inline float ownReal(float x) { return x; }
template <> inline OwnVec<float> ownReal(float x) { return ownSet(x); }
static inline float ownMin(float a, float b) { return a < b ? a : b; }
static inline float ownIfGreater(float x, float y, float a, float b) { return x > y ? a : b; }
static inline OwnVec<float> ownIfGreater(OwnVec<float> x, OwnVec<float> y, OwnVec<float> a, OwnVec<float> b)
{
    return ownSelect(ownGreater(x, y), a, b);
}

/* The operators on real numbers, for colour; with the alphas in the place of a and b, for the result's alpha. */
template <int type, class V> static inline V ownRealOperator(V a, V b, V fa, V fb)
{
    const V one = ownReal<V>(1);
    if constexpr (type == COMPOSITE_OVER) return a + b * (one - fa);
    else if constexpr (type == COMPOSITE_IN) return a * fb;
    else if constexpr (type == COMPOSITE_OUT) return a * (one - fb);
    else if constexpr (type == COMPOSITE_ATOP) return a * fb + b * (one - fa);
    else if constexpr (type == COMPOSITE_XOR) return a * (one - fb) + b * (one - fa);
    else return a + b;
}
template <int type, class V> static inline V ownRealAlpha(V fa, V fb)
{
    if constexpr (type == COMPOSITE_OVER) return fa + fb - fa * fb;
    else if constexpr (type == COMPOSITE_IN) return fa * fb;
    else if constexpr (type == COMPOSITE_OUT) return fa - fb * fa;
    else if constexpr (type == COMPOSITE_ATOP) return fb;
    else if constexpr (type == COMPOSITE_XOR) return fa + fb - ownReal<V>(2) * (fa * fb);
    else return fa + fb;
}

/* The colour over the result's alpha, plus 2^23: that leaves the rounded number in the float's low bits. */
template <int type, bool isPremul, class V> static inline V ownDivideOf(V a, V b, V fa, V fb, float most)
{
    const V value = isPremul ? ownRealOperator<type>(a, b, fa, fb) : ownRealOperator<type>(a * fa, b * fb, fa, fb);
    const V alpha = ownRealAlpha<type>(fa, fb), held = ownMin(value / alpha, ownReal<V>(most));
    return ownIfGreater(alpha, ownReal<V>(7.689351e-06f), held, value) + ownReal<V>(8388608.0f);
}

/* The rounded number of such a float, held to the range. */
template <class T> static inline T ownRounded(uint32_t bits)
{
    return (T)std::min<uint32_t>(bits & 0x7FFFFF, std::numeric_limits<T>::max());
}

template <class T> static constexpr float ownWhole = std::numeric_limits<T>::max();

template <class T, int type, bool isPremul> static void ownDividePlain(const OwnBlendRow& row)
{
    constexpr float unit = 1 / ownWhole<T>;
    for (ptrdiff_t i = 0; i < row.n; ++i) {
        const float a = ownAt<T, true>(row.a, i), b = ownAt<T, ownReadsB(type)>(row.b, i),
                    fa = ownAt<T, true>(row.alphaA, i) * unit, fb = ownAt<T, true>(row.alphaB, i) * unit;
        const float sum = ownDivideOf<type, isPremul>(a, b, fa, fb, ownWhole<T>);
        ownPut<T>(row, i, ownRounded<T>(std::bit_cast<uint32_t>(sum)));
    }
}

/* Packed it goes in pieces: samples to floats, the arithmetic, floats to samples. */
enum { OWN_PIECE = 256 };

template <class T> static void ownToFloats(float* out, const void* run, ptrdiff_t from, ptrdiff_t n, float unit)
{
    T in[OWN_PIECE];
    memcpy(in, (const char*)run + from * (ptrdiff_t)sizeof(T), (size_t)n * sizeof(T));
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = in[i] * unit;
}

template <class T>
static void ownStoreRounded(const OwnBlendRow& row, ptrdiff_t from, ptrdiff_t n, const uint32_t* sums)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T);
    T result[OWN_PIECE];
    for (ptrdiff_t i = 0; i < n; ++i) result[i] = ownRounded<T>(sums[i]);
    char* out = (char*)row.out + from * size;
    if (row.write) {
        T kept[OWN_PIECE], write[OWN_PIECE];
        memcpy(kept, out, (size_t)(n * size));
        memcpy(write, (const char*)row.write + from * size, (size_t)(n * size));
        for (ptrdiff_t i = 0; i < n; ++i) result[i] = (T)((result[i] & write[i]) | (kept[i] & ~write[i]));
    }
    memcpy(out, result, (size_t)(n * size));
}

template <class T, int type, bool isPremul> [[gnu::flatten]] static void ownDivideRun(const OwnBlendRow& row)
{
    constexpr float unit = 1 / ownWhole<T>;
    alignas(64) float a[OWN_PIECE] = {}, b[OWN_PIECE] = {}, fa[OWN_PIECE] = {}, fb[OWN_PIECE] = {};
    alignas(64) uint32_t sums[OWN_PIECE];
    for (ptrdiff_t x = 0; x < row.n; x += OWN_PIECE) {
        const ptrdiff_t n = std::min<ptrdiff_t>(OWN_PIECE, row.n - x);
        ownToFloats<T>(a, row.a, x, n, 1);
        if (ownReadsB(type)) ownToFloats<T>(b, row.b, x, n, 1);
        ownToFloats<T>(fa, row.alphaA, x, n, unit);
        ownToFloats<T>(fb, row.alphaB, x, n, unit);
        for (ptrdiff_t i = 0; i < n; i += OwnVec<float>::lanes)
            ownStore(sums + i,
                     ownDivideOf<type, isPremul>(ownLoad<float>(a + i), ownLoad<float>(b + i), ownLoad<float>(fa + i),
                                                 ownLoad<float>(fb + i), ownWhole<T>));
        ownStoreRounded<T>(row, x, n, sums);
    }
}

/* ---- The tables ---------------------------------------------------------------------------------------------- */

template <class T, class F> static constexpr OwnBlendKernel ownKernel = {ownBlendPacked<T, F>, ownBlendPlain<T, F>};
template <class T, int type, bool isPremul>
static constexpr OwnBlendKernel ownDivideKernel = {ownDivideRun<T, type, isPremul>, ownDividePlain<T, type, isPremul>};

#define OWN_COMPOSITE(type)                                                                                            \
    {                                                                                                                  \
        {ownKernel<uint8_t, OwnComposite<type, false>>, ownKernel<uint16_t, OwnComposite<type, false>>},               \
            {ownKernel<uint8_t, OwnComposite<type, true>>, ownKernel<uint16_t, OwnComposite<type, true>>},             \
    }
#define OWN_DIVIDE(type)                                                                                               \
    {                                                                                                                  \
        {ownDivideKernel<uint8_t, type, false>, ownDivideKernel<uint16_t, type, false>},                               \
            {ownDivideKernel<uint8_t, type, true>, ownDivideKernel<uint16_t, type, true>},                             \
    }

const OwnBlendKernel ownCompositeKernels[OWN_COMPOSITES][2][OWN_BLEND_DEPTHS] = {
    OWN_COMPOSITE(COMPOSITE_OVER), OWN_COMPOSITE(COMPOSITE_IN),  OWN_COMPOSITE(COMPOSITE_OUT),
    OWN_COMPOSITE(COMPOSITE_ATOP), OWN_COMPOSITE(COMPOSITE_XOR), OWN_COMPOSITE(COMPOSITE_PLUS),
};
const OwnBlendKernel ownDivideKernels[OWN_COMPOSITES][2][OWN_BLEND_DEPTHS] = {
    OWN_DIVIDE(COMPOSITE_OVER), OWN_DIVIDE(COMPOSITE_IN),  OWN_DIVIDE(COMPOSITE_OUT),
    OWN_DIVIDE(COMPOSITE_ATOP), OWN_DIVIDE(COMPOSITE_XOR), OWN_DIVIDE(COMPOSITE_PLUS),
};
const OwnBlendKernel ownScaleKernels[OWN_BLEND_DEPTHS] = {ownKernel<uint8_t, OwnScale>, ownKernel<uint16_t, OwnScale>};
const OwnBlendKernel ownScaleAlphaKernels[OWN_BLEND_DEPTHS] = {ownKernel<uint8_t, OwnScaleAlpha>,
                                                               ownKernel<uint16_t, OwnScaleAlpha>};

bool ownUsesAlphaA(int32_t compositeType, int32_t premulAlpha, int32_t divideMode)
{
    return divideMode || !premulAlpha || ownReadsAlphaA(compositeType);
}
bool ownUsesAlphaB(int32_t compositeType, int32_t premulAlpha, int32_t divideMode)
{
    return divideMode || (!premulAlpha && ownReadsB(compositeType)) || ownReadsAlphaB(compositeType);
}
