/* ownconvrow: one row of a convolution: a row of sums for each kernel, shifted; with several kernels merged into one row;
 * and brought to samples. */
#include "ownconv.h"

#include <math.h>

#include "ownsimd.h"

/* ---- Shifts ------------------------------------------------------------------------------------------------------ */

/* sum >> shift, by its sign. Floats are rounded to the nearest 32-bit integer for it, held to its range. */
static int32_t ownShiftSum(int32_t sum, int shift) { return sum >> shift; }
static float ownShiftSum(float sum, int shift)
{
    const float whole = rintf(sum);
    const int32_t held = whole >= 2147483648.0f ? INT32_MAX : whole >= -2147483648.0f ? (int32_t)whole : INT32_MIN;
    return (float)(held >> shift);
}

/* ---- Loops over sums --------------------------------------------------------------------------------------------- */

template <class S, class F> static void ownEachSum(void* sums, ptrdiff_t n, F f)
{
    S* s = (S*)sums;
    for (ptrdiff_t i = 0; i < n; ++i) s[i] = f(s[i]);
}
template <class M, class S, class F> static void ownMergeEach(void* merged, const void* sums, ptrdiff_t n, F f)
{
    M* __restrict m = (M*)merged;
    const S* __restrict s = (const S*)sums;
    for (ptrdiff_t i = 0; i < n; ++i) m[i] = f(m[i], s[i]);
}

/* ---- One kernel -------------------------------------------------------------------------------------------------- */

/* The square, in as many bits as the class has; in double for floats. */
static int32_t ownSquare(int32_t v) { return (int32_t)((uint32_t)v * (uint32_t)v); }
static int16_t ownSquare(int16_t v) { return (int16_t)(v * v); }
static float ownSquare(float v) { return (float)((double)v * v); }
static int32_t ownMagnitude(int32_t v) { return v < 0 ? (int32_t)(0u - (uint32_t)v) : v; }
static int16_t ownMagnitude(int16_t v) { return (int16_t)(v < 0 ? -v : v); }
static float ownMagnitude(float v) { return fabsf(v); }

/* What a combine method does to one kernel's sums. A class of 16 bits may have sums of 32; its values fit 16. */
template <class S> static void ownCombineOne(void* sums, ptrdiff_t n, const OwnConvPlan& plan)
{
    if (plan.combineMethod == COMBINE_SQUARES && plan.kernel[0].accumClass == OWN_CLASS_16)
        ownEachSum<S>(sums, n, [](S v) { return (S)ownSquare((int16_t)v); });
    else if (plan.combineMethod == COMBINE_SQUARES) ownEachSum<S>(sums, n, [](S v) { return ownSquare(v); });
    else if (plan.combineMethod == COMBINE_ROOT_OF_SQUARES) ownEachSum<S>(sums, n, [](S v) { return ownMagnitude(v); });
}

/* Integers are shifted on their way to samples. */
static void ownFinishOne(void* sums, ptrdiff_t n, const OwnConvPlan& plan)
{
    const int shift = plan.kernel[0].shift;
    const OwnSumKind kind = plan.kernel[0].sum.kind;
    if (shift && kind == OWN_SUM_FLOAT) ownEachSum<float>(sums, n, [=](float v) { return ownShiftSum(v, shift); });
    else if (shift) return;
    else if (kind == OWN_SUM_16) ownCombineOne<int16_t>(sums, n, plan);
    else if (kind == OWN_SUM_32) ownCombineOne<int32_t>(sums, n, plan);
    else ownCombineOne<float>(sums, n, plan);
}

/* ---- Several kernels --------------------------------------------------------------------------------------------- */

/* One step of merging: m is the merged value so far. Integers wrap; floats are squared and added in double, and rounded
 * after each step. */
template <class M, class S> static M ownAddSquare(M m, S v)
{
    if constexpr (std::is_same_v<M, float>) return (float)((double)m + (double)v * (double)v);
    else return (int32_t)((uint32_t)m + (uint32_t)v * (uint32_t)v);
}
static int32_t ownAddSum(int32_t m, int32_t v) { return (int32_t)((uint32_t)m + (uint32_t)v); }
static float ownAddSum(float m, float v) { return m + v; }

/* The sums of one kernel, of type S, into the merged row. */
template <class M, class S>
static void ownMergeSums(void* merged, const void* sums, ptrdiff_t n, int32_t method, int shift, bool first)
{
    const bool squares = method == COMBINE_SQUARES || method == COMBINE_ROOT_OF_SQUARES;
    const auto merge = [=](auto f) {
        if (shift) ownMergeEach<M, S>(merged, sums, n, [=](M m, S v) { return f(m, ownShiftSum(v, shift)); });
        else ownMergeEach<M, S>(merged, sums, n, f);
    };
    if (squares && first) merge([](M, S v) { return ownAddSquare((M)0, v); });
    else if (squares) merge([](M m, S v) { return ownAddSquare(m, v); });
    else if (first) merge([](M, S v) { return (M)v; });
    else if (method == COMBINE_ADD) merge([](M m, S v) { return ownAddSum(m, (M)v); });
    else if (method == COMBINE_GREATEST) merge([](M m, S v) { return (M)v > m ? (M)v : m; });
    else merge([](M m, S v) { return (M)v < m ? (M)v : m; });
}

/* 16-bit sums in 32 bits, where sums of 32 bits would lie. */
[[gnu::flatten]] static void ownWidenSums(void* out, const void* sums, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<int16_t>::lanes;
    int32_t* wide = (int32_t*)out;
    for (ptrdiff_t i = 0; i < n; i += step) {
        const OwnPair<int32_t> pair = ownUnpack(ownLoad<int16_t>((const int16_t*)sums + i));
        ownStore(wide + i, pair.lo);
        ownStore(wide + i + step / 2, pair.hi);
    }
}

template <class M>
static void ownMergeKernel(void* merged, const void* sums, ptrdiff_t n, const OwnConvPlan& plan, int32_t i)
{
    const OwnConvKernelPlan& kernel = plan.kernel[i];
    const int32_t method = plan.combineMethod;
    if (kernel.sum.kind != OWN_SUM_FLOAT) ownMergeSums<M, int32_t>(merged, sums, n, method, kernel.shift, i == 0);
    else if constexpr (std::is_same_v<M, float>) ownMergeSums<M, float>(merged, sums, n, method, kernel.shift, i == 0);
}

/* The root of integers, to the nearest. Samples that integers are merged for have 8 bits, so what is above 2^16 comes to
 * their limit in any case. */
[[gnu::flatten]] static void ownRootWhole(void* merged, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<int32_t>::lanes;
    int32_t* m = (int32_t*)merged;
    for (ptrdiff_t i = 0; i < n; i += step)
        ownStore(m + i, ownNearestRoot(ownMax(ownLoad<int32_t>(m + i), OwnVec<int32_t>{})));
}
[[gnu::flatten]] static void ownRootFloat(void* merged, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<float>::lanes;
    float* m = (float*)merged;
    for (ptrdiff_t i = 0; i < n; i += step) ownStore(m + i, ownSqrt(ownLoad<float>(m + i)));
}

/* ---- Two kernels' squares --------------------------------------------------------------------------------------- */

/* Samples from two rows of 16-bit sums: the sum of their squares, or its root. */
template <class T, bool root>
[[gnu::flatten]] static void ownSquaresToSamples(void* out, const void* sums, const void* others, int shift,
                                                 int otherShift, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int16_t>::lanes;
    const auto merged = [=](ptrdiff_t i) {
        const OwnVec<int16_t> a = ownShiftRight(ownLoad<int16_t>((const int16_t*)sums + i), shift),
                              b = ownShiftRight(ownLoad<int16_t>((const int16_t*)others + i), otherShift);
        const OwnVec<int16_t> low = ownZipLow(a, b), high = ownZipHigh(a, b);
        const OwnVec<int32_t> s = ownMulAdd(low, low), r = ownMulAdd(high, high);
        return root ? ownPack<int16_t>(ownNearestRoot(s), ownNearestRoot(r)) : ownPack<int16_t>(s, r);
    };
    for (ptrdiff_t i = 0; i < n; i += 2 * lanes) ownStore((T*)out + i, ownPack<T>(merged(i), merged(i + lanes)));
}

/* Whether that is all there is to do. */
static bool ownIsSquares(const OwnConvPlan& plan)
{
    return plan.nKernels == 2 && plan.kernel[0].sum.kind == OWN_SUM_16 && plan.kernel[1].sum.kind == OWN_SUM_16 &&
           (plan.combineMethod == COMBINE_SQUARES || plan.combineMethod == COMBINE_ROOT_OF_SQUARES);
}

static void ownConvSquares(void* out, const uint8_t* const* rows, const OwnWindowRow& asked, const OwnConvPlan& plan)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    uint8_t *pointers = row.scratch, *sums = pointers + plan.pointerBytes,
            *others = sums + OWN_SUM_BYTES * row.lineSamples;
    ownSumRow(plan.kernel[0].sum, rows, row, sums, pointers);
    ownSumRow(plan.kernel[1].sum, rows, row, others, pointers);
    const bool root = plan.combineMethod == COMBINE_ROOT_OF_SQUARES;
    const auto run = plan.depth == VEK_DEPTH_8S
                         ? (root ? ownSquaresToSamples<int8_t, true> : ownSquaresToSamples<int8_t, false>)
                         : (root ? ownSquaresToSamples<uint8_t, true> : ownSquaresToSamples<uint8_t, false>);
    run(out, sums, others, std::min(plan.kernel[0].shift, 15), std::min(plan.kernel[1].shift, 15), asked.n);
}

/* ---- The stage --------------------------------------------------------------------------------------------------- */

/* Whether there is one kernel, whose sums are not squared. */
static bool ownIsPlain(const OwnConvPlan& plan)
{
    return plan.nKernels == 1 && plan.combineMethod != COMBINE_SQUARES && plan.combineMethod != COMBINE_ROOT_OF_SQUARES;
}

static void ownConvOne(void* out, const uint8_t* const* rows, const OwnWindowRow& asked, const OwnConvPlan& plan)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    uint8_t *pointers = row.scratch, *sums = pointers + plan.pointerBytes;
    const OwnSum& sum = plan.kernel[0].sum;
    const bool isPlain = ownIsPlain(plan);
    const int shift = std::min(plan.kernel[0].shift, sum.kind == OWN_SUM_16 ? 15 : 31);
    if (sum.arePairs && (isPlain || shift)) return ownSumRowToSamples(sum, rows, asked, out, {0, 0, shift}, pointers);
    if (plan.depth == VEK_DEPTH_32F && isPlain) return ownSumRow(sum, rows, asked, out, pointers);
    ownSumRow(sum, rows, row, sums, pointers);
    ownFinishOne(sums, row.n, plan);
    ownSumsToSamples(out, sums, sum.kind, plan.kernel[0].shift, plan.depth, asked.n);
}

static void ownConvMany(void* out, const uint8_t* const* rows, const OwnWindowRow& asked, const OwnConvPlan& plan)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    uint8_t *pointers = row.scratch, *sums = pointers + plan.pointerBytes;
    uint8_t *wide = sums + OWN_SUM_BYTES * row.lineSamples, *merged = wide + OWN_SUM_BYTES * row.lineSamples;
    for (int32_t i = 0; i < plan.nKernels; ++i) {
        const OwnSum& sum = plan.kernel[i].sum;
        const bool widens = sum.kind == OWN_SUM_16;
        ownSumRow(sum, rows, row, sums, pointers);
        if (widens) ownWidenSums(wide, sums, row.n);
        if (plan.floatMerge) ownMergeKernel<float>(merged, widens ? wide : sums, row.n, plan, i);
        else ownMergeKernel<int32_t>(merged, widens ? wide : sums, row.n, plan, i);
    }
    if (plan.combineMethod == COMBINE_ROOT_OF_SQUARES) {
        if (plan.floatMerge) ownRootFloat(merged, row.n);
        else ownRootWhole(merged, row.n);
    }
    ownSumsToSamples(out, merged, plan.floatMerge ? OWN_SUM_FLOAT : OWN_SUM_32, 0, plan.depth, asked.n);
}

bool ownConvInTwos(const OwnConvPlan& plan)
{
    return plan.depth == VEK_DEPTH_32F && ownIsPlain(plan) && plan.kernel[0].sum.nDense > 0;
}

void ownConvStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnConvPlan& plan = *(const OwnConvPlan*)row.k;
    if (row.nRows == 2) ownSumTwoRows(plan.kernel[0].sum, rows, row, out);
    else if (plan.nKernels == 1) ownConvOne(out, rows, row, plan);
    else if (ownIsSquares(plan)) ownConvSquares(out, rows, row, plan);
    else ownConvMany(out, rows, row, plan);
}
