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

/* The root of integers, to the nearest. Single precision will do: samples that integers are merged for have 8 bits, and up
 * to 2^16 a root's distance from the middle of two integers is far above its rounding. */
[[gnu::flatten]] static void ownRootWhole(void* merged, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<int32_t>::lanes;
    int32_t* m = (int32_t*)merged;
    for (ptrdiff_t i = 0; i < n; i += step) {
        const OwnVec<int32_t> positive = ownMax(ownLoad<int32_t>(m + i), OwnVec<int32_t>{});
        ownStore(m + i, ownNearest(ownSqrt(ownToFloat(positive))));
    }
}
[[gnu::flatten]] static void ownRootFloat(void* merged, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<float>::lanes;
    float* m = (float*)merged;
    for (ptrdiff_t i = 0; i < n; i += step) ownStore(m + i, ownSqrt(ownLoad<float>(m + i)));
}

/* ---- The stage --------------------------------------------------------------------------------------------------- */

static void ownConvOne(void* out, const uint8_t* const* rows, const OwnWindowRow& asked, const OwnConvPlan& plan)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    uint8_t *pointers = row.scratch, *sums = pointers + plan.pointerBytes;
    const OwnSum& sum = plan.kernel[0].sum;
    const bool isPlain = plan.combineMethod != COMBINE_SQUARES && plan.combineMethod != COMBINE_ROOT_OF_SQUARES;
    const int shift = std::min(plan.kernel[0].shift, 15);
    if (sum.kind == OWN_SUM_16 && (isPlain || shift))
        return ownSumRowToSamples(sum, plan.depth, rows, asked, out, OWN_END_SHIFT, shift, pointers);
    ownSumRow(sum, plan.depth, rows, row, sums, pointers);
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
        ownSumRow(sum, plan.depth, rows, row, sums, pointers);
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

void ownConvStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnConvPlan& plan = *(const OwnConvPlan*)row.k;
    if (plan.nKernels == 1) ownConvOne(out, rows, row, plan);
    else ownConvMany(out, rows, row, plan);
}
