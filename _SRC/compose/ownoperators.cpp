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
    static constexpr bool isDear = false, readsB = ownReadsB(type);
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
    static constexpr bool isDear = false, readsB = true, readsAlphaA = false, readsAlphaB = false;
    template <class V> static V of(V a, V b, V, V) { return ownMulScaled(a, b); }
};
struct OwnScaleAlpha {
    static constexpr bool isDear = false, readsB = false, readsAlphaA = true, readsAlphaB = false;
    template <class V> static V of(V a, V, V alphaA, V) { return ownMulScaled(a, alphaA); }
};

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
template <class T> static inline T ownRounded(float x)
{
    return (T)std::min<uint32_t>(std::bit_cast<uint32_t>(x) & 0x7FFFFF, std::numeric_limits<T>::max());
}
template <class T> static inline OwnVec<int32_t> ownRounded(OwnVec<float> x)
{
    return ownMin(ownAs<int32_t>(x) & ownSet<int32_t>(0x7FFFFF), ownSet<int32_t>(std::numeric_limits<T>::max()));
}

/* Samples as floats, in vectors that ownFromReals puts together again. */
template <class T> struct OwnReals {
    OwnVec<float> v[4 / sizeof(T)];
};
static inline OwnReals<uint16_t> ownToReals(OwnVec<uint16_t> a)
{
    const OwnPair<uint32_t> x = ownUnpack(a);
    return {ownToFloat(ownAs<int32_t>(x.lo)), ownToFloat(ownAs<int32_t>(x.hi))};
}
static inline OwnReals<uint8_t> ownToReals(OwnVec<uint8_t> a)
{
    const OwnPair<uint16_t> x = ownUnpack(a);
    const OwnReals<uint16_t> lo = ownToReals(x.lo), hi = ownToReals(x.hi);
    return {lo.v[0], lo.v[1], hi.v[0], hi.v[1]};
}
static inline OwnVec<uint16_t> ownFromReals(const OwnReals<uint16_t>& x)
{
    return ownPack<uint16_t>(ownRounded<uint16_t>(x.v[0]), ownRounded<uint16_t>(x.v[1]));
}
static inline OwnVec<uint8_t> ownFromReals(const OwnReals<uint8_t>& x)
{
    return ownPack<uint8_t>(ownPack<int16_t>(ownRounded<uint8_t>(x.v[0]), ownRounded<uint8_t>(x.v[1])),
                            ownPack<int16_t>(ownRounded<uint8_t>(x.v[2]), ownRounded<uint8_t>(x.v[3])));
}

template <int type, bool isPremul> struct OwnDivide {
    static constexpr bool isDear = true, readsB = ownReadsB(type), readsAlphaA = true, readsAlphaB = true;

    template <class T> static T of(T a, T b, T alphaA, T alphaB)
    {
        constexpr float most = std::numeric_limits<T>::max(), unit = 1 / most;
        return ownRounded<T>(ownDivideOf<type, isPremul>((float)a, (float)b, alphaA * unit, alphaB * unit, most));
    }
    template <class T> static OwnVec<T> of(OwnVec<T> a, OwnVec<T> b, OwnVec<T> alphaA, OwnVec<T> alphaB)
    {
        constexpr float most = std::numeric_limits<T>::max();
        const OwnVec<float> unit = ownSet(1 / most);
        OwnReals<T> x = ownToReals(a);
        const OwnReals<T> y = ownToReals(b), fa = ownToReals(alphaA), fb = ownToReals(alphaB);
        for (size_t i = 0; i < 4 / sizeof(T); ++i)
            x.v[i] = ownDivideOf<type, isPremul>(x.v[i], y.v[i], fa.v[i] * unit, fb.v[i] * unit, most);
        return ownFromReals(x);
    }
};

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

/* Operands that are one vector for all of a run, loaded before it. */
template <class T> struct OwnBlendKept {
    OwnVec<T> alphaA, alphaB, write;
};
template <class T, class F> static inline OwnBlendKept<T> ownBlendKeep(const OwnBlendRow& row)
{
    OwnBlendKept<T> kept = {};
    if constexpr (F::readsAlphaA) kept.alphaA = ownLoad<T>(row.alphaA);
    if constexpr (F::readsAlphaB) kept.alphaB = ownLoad<T>(row.alphaB);
    if (row.write) kept.write = ownLoad<T>(row.write);
    return kept;
}

/* One vector of results, from sample i on; n below 0: a whole one, otherwise its first n samples. */
template <class T, class F>
[[gnu::always_inline]] static inline OwnVec<T> ownBlendVec(const OwnBlendRow& row, ptrdiff_t i, ptrdiff_t n,
                                                           bool isWritten, bool isFourth,
                                                           const OwnBlendKept<T>* kept = nullptr)
{
    const auto load = [=](const void* p, bool repeats) {
        const char* at = (const char*)p + (repeats ? 0 : i * (ptrdiff_t)sizeof(T));
        return n < 0 ? ownLoad<T>(at) : ownLoadPart<T>(at, n);
    };
    const auto alpha = [=](const void* p, bool repeats) {
        return isFourth ? ownLastOfFour(load(p, repeats)) : load(p, repeats);
    };
    OwnVec<T> b = {}, alphaA = {}, alphaB = {};
    if constexpr (F::readsB) b = load(row.b, false);
    if constexpr (F::readsAlphaA) alphaA = kept ? kept->alphaA : alpha(row.alphaA, row.repeatsA);
    if constexpr (F::readsAlphaB) alphaB = kept ? kept->alphaB : alpha(row.alphaB, row.repeatsB);
    const OwnVec<T> result = F::of(load(row.a, false), b, alphaA, alphaB);
    if (!isWritten) return result;
    return ownSelect(kept ? kept->write : load(row.write, row.repeatsWrite), result, load(row.out, false));
}

/* A vector at a time. The last one is computed before the loop and stored after it, as out may be an operand. */
template <class T, class F, bool isWritten, bool isFourth, bool isKept>
[[gnu::flatten]] static void ownBlendLoop(const OwnBlendRow& row)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const OwnBlendRow r = row; /* its pointers in registers: the stores can't change them */
    const OwnBlendKept<T> kept = isKept ? ownBlendKeep<T, F>(r) : OwnBlendKept<T>{};
    const auto at = [&](ptrdiff_t i, ptrdiff_t n) {
        return ownBlendVec<T, F>(r, i, n, isWritten, isFourth, isKept ? &kept : nullptr);
    };
    char* out = (char*)r.out;
    if (r.n < step) return ownStorePart(out, at(0, r.n), r.n);
    const OwnVec<T> last = at(r.n - step, -1);
    for (ptrdiff_t i = 0; i < r.n - step; i += step) ownStore(out + i * size, at(i, -1));
    ownStore(out + (r.n - step) * size, last);
}

/* Functions of many instructions stand there once, for all kinds of rows. */
template <class T, class F> [[gnu::flatten]] static void ownBlendDear(const OwnBlendRow& row)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes;
    const OwnBlendRow r = row;
    for (ptrdiff_t i = 0; i < r.n; i += step) {
        const ptrdiff_t n = std::min(step, r.n - i);
        const OwnVec<T> result = ownBlendVec<T, F>(r, i, n < step ? n : -1, r.write, r.isFourth);
        if (n == step) ownStore((T*)r.out + i, result);
        else ownStorePart((T*)r.out + i, result, n);
    }
}

template <class T, class F> static void ownBlendPacked(const OwnBlendRow& row)
{
    [[maybe_unused]] const bool isKept = (!F::readsAlphaA || row.repeatsA) && (!F::readsAlphaB || row.repeatsB);
    if constexpr (F::isDear) ownBlendDear<T, F>(row);
    else if (row.isFourth) ownBlendLoop<T, F, true, true, false>(row);
    else if (row.write && row.repeatsWrite && isKept) ownBlendLoop<T, F, true, false, true>(row);
    else if (row.write) ownBlendLoop<T, F, true, false, false>(row);
    else if (isKept) ownBlendLoop<T, F, false, false, true>(row);
    else ownBlendLoop<T, F, false, false, false>(row);
}

/* Sample i of a run that is read, or of the vector that repeats; 0 of one that is not read. */
template <class T, bool isRead> static inline T ownAt(const void* run, ptrdiff_t i, bool repeats = false)
{
    T x = 0;
    if (repeats) i %= OwnVec<T>::lanes;
    if constexpr (isRead) memcpy(&x, (const char*)run + i * (ptrdiff_t)sizeof(T), sizeof(T));
    return x;
}

template <class T, class F> static void ownBlendPlain(const OwnBlendRow& row)
{
    for (ptrdiff_t i = 0; i < row.n; ++i) {
        const ptrdiff_t alpha = row.isFourth ? i | 3 : i;
        const T result = F::of(ownAt<T, true>(row.a, i), ownAt<T, F::readsB>(row.b, i),
                               ownAt<T, F::readsAlphaA>(row.alphaA, alpha, row.repeatsA),
                               ownAt<T, F::readsAlphaB>(row.alphaB, alpha, row.repeatsB));
        if (!row.write || ownAt<T, true>(row.write, i, row.repeatsWrite))
            memcpy((char*)row.out + i * (ptrdiff_t)sizeof(T), &result, sizeof(T));
    }
}

/* ---- The tables ---------------------------------------------------------------------------------------------- */

template <class T, class F> static constexpr OwnBlendKernel ownKernel = {ownBlendPacked<T, F>, ownBlendPlain<T, F>};

#define OWN_COMPOSITE(type)                                                                                            \
    {                                                                                                                  \
        {ownKernel<uint8_t, OwnComposite<type, false>>, ownKernel<uint16_t, OwnComposite<type, false>>},               \
            {ownKernel<uint8_t, OwnComposite<type, true>>, ownKernel<uint16_t, OwnComposite<type, true>>},             \
    }
#define OWN_DIVIDE(type)                                                                                               \
    {                                                                                                                  \
        {ownKernel<uint8_t, OwnDivide<type, false>>, ownKernel<uint16_t, OwnDivide<type, false>>},                     \
            {ownKernel<uint8_t, OwnDivide<type, true>>, ownKernel<uint16_t, OwnDivide<type, true>>},                   \
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
