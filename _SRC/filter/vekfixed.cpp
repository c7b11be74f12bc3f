/* vekfixed: eleven built-in filters of 3 by 3 and 5 by 5, each a weighted sum of the window that is stored as it is, or
 * divided. The kernels stand below as they lie on the image. */
#include "ownsums.h"

#include "ownsimd.h"

/* ---- The filters ------------------------------------------------------------------------------------------------- */

enum OwnFixedEnd { OWN_FIXED_PLAIN, OWN_FIXED_BY_16, OWN_FIXED_BY_571, OWN_FIXED_BY_8 };

struct OwnFixedFilter {
    int32_t size;
    OwnFixedEnd end;
    int8_t weights[25];
};

static const OwnFixedFilter ownFixedFilters[11] = {
    /*  0 */ {3, OWN_FIXED_PLAIN, {1, 0, -1, 1, 0, -1, 1, 0, -1}},
    /*  1 */ {3, OWN_FIXED_PLAIN, {1, 1, 1, 0, 0, 0, -1, -1, -1}},
    /*  2 */ {3, OWN_FIXED_PLAIN, {1, 0, -1, 2, 0, -2, 1, 0, -1}},
    /*  3 */ {3, OWN_FIXED_PLAIN, {1, 2, 1, 0, 0, 0, -1, -2, -1}},
    /*  4 */ {3, OWN_FIXED_PLAIN, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    /*  5 */ {5, OWN_FIXED_PLAIN, {-1, -3, -4, -3, -1, -3, 0,  6,  0,  -3, -4, 6, 20,
                                   6,  -4, -3, 0,  6,  0,  -3, -1, -3, -4, -3, -1}},
    /*  6 */ {3, OWN_FIXED_BY_16, {1, 2, 1, 2, 4, 2, 1, 2, 1}},
    /*  7 */ {5, OWN_FIXED_BY_571, {2,  7,  12, 7,  2,  7,  31, 52, 31, 7,  12, 52, 127,
                                    52, 12, 7,  31, 52, 31, 7,  2,  7,  12, 7,  2}},
    /*  8 */ {3, OWN_FIXED_PLAIN, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    /*  9 */ {5, OWN_FIXED_PLAIN, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24,
                                   -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    /* 10 */ {3, OWN_FIXED_BY_8, {-1, -1, -1, -1, 16, -1, -1, -1, -1}},
};

/* The weights of filter 7 over 571, as floats. */
static float ownOver571(int32_t weight)
{
    switch (weight) {
    case 2: return 0.0035026269033551216f;
    case 7: return 0.012259194627404213f;
    case 12: return 0.02101576142013073f;
    case 31: return 0.05429071933031082f;
    case 52: return 0.09106829762458801f;
    }
    return 0.22241681814193726f;
}

/* ---- From sums to results ---------------------------------------------------------------------------------------- */

/* The power of two that a filter divides by; 16-bit sums are divided on their way to samples. */
static int ownFixedBits(OwnFixedEnd end) { return end == OWN_FIXED_BY_16 ? 4 : end == OWN_FIXED_BY_8 ? 3 : 0; }

/* sum / 2^bits to the nearest, ties to even: (sum + half - 1 + the quotient's last bit) >> bits. */
[[gnu::flatten]] static void ownDivideEven(int32_t* sums, int bits, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes;
    const OwnVec<int32_t> half = ownSet((1 << bits >> 1) - 1), lowest = ownSet<int32_t>(1);
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const OwnVec<int32_t> s = ownLoad<int32_t>(sums + i);
        ownStore(sums + i, ownShiftRight(s + half + (ownShiftRight(s, bits) & lowest), bits));
    }
}
static void ownDivideEven64(int64_t* sums, int bits, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) sums[i] = (sums[i] + (1 << bits >> 1) - 1 + ((sums[i] >> bits) & 1)) >> bits;
}

/* sum / 571 to the nearest; there are no ties, and double is far more than exact enough. */
[[gnu::flatten]] static void ownDivide571(int32_t* sums, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes;
    const OwnVec<double> r = ownSet(1.0 / 571);
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const OwnPair<double> s = ownToDouble(ownLoad<int32_t>(sums + i));
        ownStore(sums + i, ownNearest(OwnPair<double>{{s.lo.v * r.v}, {s.hi.v * r.v}}));
    }
}

static void ownScaleFloats(float* sums, float scale, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) sums[i] *= scale;
}

/* ---- The plan and the row stages --------------------------------------------------------------------------------- */

struct OwnFixedPlan {
    uint32_t depth;
    OwnFixedEnd end;
    OwnSum sum;
    int64_t pointerBytes;
    alignas(8) uint8_t room[ownSumRoom(25)];
};

static void ownEndSums(uint8_t* sums, const OwnFixedPlan& plan, ptrdiff_t n)
{
    const int bits = ownFixedBits(plan.end);
    if (plan.sum.kind == OWN_SUM_FLOAT) {
        if (bits)
            ownScaleFloats((float*)sums, 1.0f / (float)(1 << bits), n); /* those of filter 7 are divided already */
    } else if (bits) ownDivideEven((int32_t*)sums, bits, n);
    else if (plan.end == OWN_FIXED_BY_571) ownDivide571((int32_t*)sums, n);
}

static void ownFixedStage(void* out, const uint8_t* const* rows, const OwnWindowRow& asked)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    const OwnFixedPlan& plan = *(const OwnFixedPlan*)row.k;
    uint8_t *pointers = row.scratch, *sums = pointers + plan.pointerBytes;
    const int bits = ownFixedBits(plan.end);
    if (plan.sum.arePairs && plan.end != OWN_FIXED_BY_571) {
        /* Of bits filter 6 sets those that have half of the weights, filter 10 those above 0. */
        const bool isEven = bits && plan.depth != VEK_DEPTH_1U;
        return ownSumRowToSamples(plan.sum, rows, asked, out,
                                  {isEven ? (1 << bits >> 1) - 1 : 1 << bits >> 1, isEven, bits}, pointers);
    }
    ownSumRow(plan.sum, rows, row, sums, pointers);
    ownEndSums(sums, plan, row.n);
    ownSumsToSamples(out, sums, plan.sum.kind, 0, plan.depth, asked.n);
}

/* Filter 7 on 8-bit samples: divided in single precision, which is exact enough for 8 bits. */
template <class T>
[[gnu::flatten]] static void ownFixedStage571(void* out, const uint8_t* const* rows, const OwnWindowRow& asked)
{
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes;
    const OwnWindowRow row = ownWholeBlocks(asked);
    const OwnFixedPlan& plan = *(const OwnFixedPlan*)row.k;
    uint8_t* pointers = row.scratch;
    const int32_t* sums = (int32_t*)(pointers + plan.pointerBytes);
    ownSumRow(plan.sum, rows, row, (void*)sums, pointers);
    const OwnVec<float> r = ownSet(1.0f / 571);
    const auto mean = [=](ptrdiff_t i) { return ownNearest(ownToFloat(ownLoad<int32_t>(sums + i)) * r); };
    for (ptrdiff_t i = 0; i < asked.n; i += 4 * lanes)
        ownStore((T*)out + i, ownPack<T>(ownPack<int16_t>(mean(i), mean(i + lanes)),
                                         ownPack<int16_t>(mean(i + 2 * lanes), mean(i + 3 * lanes))));
}

/* 32S: sums of 64 bits, saturated at the end. */
static void ownFixedStage32S(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnFixedPlan& plan = *(const OwnFixedPlan*)row.k;
    int64_t* __restrict sums = (int64_t*)row.scratch;
    memset(sums, 0, (size_t)row.n * sizeof(int64_t));
    for (ptrdiff_t k = 0; k < plan.sum.nTaps; ++k) {
        const OwnTap& tap = plan.sum.taps[k];
        const int32_t* __restrict in = (const int32_t*)rows[tap.row] + tap.column * row.step;
        for (ptrdiff_t i = 0; i < row.n; ++i) sums[i] += (int64_t)tap.weight * in[i];
    }
    if (plan.end != OWN_FIXED_PLAIN) ownDivideEven64(sums, ownFixedBits(plan.end), row.n);
    ownEach<int32_t, int64_t>(out, sums, row.n, [](int64_t sum) { return ownClamp<int32_t>(sum); });
}

static void ownPlanFixed(OwnFixedPlan* plan, uint32_t depth, uint32_t filter)
{
    const OwnFixedFilter& fixed = ownFixedFilters[filter];
    const bool over571 = fixed.end == OWN_FIXED_BY_571;
    plan->depth = depth;
    plan->end = fixed.end;
    plan->pointerBytes = ownSumPointers(25);
    ownStartSum(&plan->sum, plan->room, 25);
    for (int32_t i = 0; i < fixed.size * fixed.size; ++i) {
        const int32_t weight = fixed.weights[i];
        if (weight)
            plan->sum.taps[plan->sum.nTaps++] = {i / fixed.size, i % fixed.size, weight,
                                                 over571 ? ownOver571(weight) : (float)weight};
    }
    const bool isFloat = depth == VEK_DEPTH_32F || (depth == VEK_DEPTH_32S && over571);
    const bool fits16 = ownSampleBits(depth) <= 8 && !over571;
    ownFinishSum(&plan->sum,
                 isFloat  ? OWN_SUM_FLOAT
                 : fits16 ? OWN_SUM_16
                          : OWN_SUM_32,
                 depth, depth == VEK_DEPTH_1U ? 1 : 255);
}

static OwnWindowStage* ownStageOf(const OwnFixedPlan& plan)
{
    if (plan.depth == VEK_DEPTH_32S && plan.sum.kind != OWN_SUM_FLOAT) return ownFixedStage32S;
    if (plan.end != OWN_FIXED_BY_571 || ownSampleBits(plan.depth) > 8) return ownFixedStage;
    return plan.depth == VEK_DEPTH_8S ? ownFixedStage571<int8_t> : ownFixedStage571<uint8_t>;
}

/* ---- The call ---------------------------------------------------------------------------------------------------- */

static bool ownFixedRefused(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage)
{
    OWN_REFUSE_HEADER(srcImage, true);
    OWN_REFUSE_HEADER(dstImage, true);
    OWN_REFUSE_IF((srcImage==dstImage), true);
    OWN_REFUSE_IF(srcImage->depth!=dstImage->depth, true);
    OWN_REFUSE_IF(srcImage->nChannels!=dstImage->nChannels, true);
    OWN_REFUSE_IF(srcImage->alphaChannel!=dstImage->alphaChannel, true);
    OWN_REFUSE_IF((srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels), true);
    if (srcImage->depth != VEK_DEPTH_1U) OWN_REFUSE_IF(srcImage->dataOrder!=dstImage->dataOrder, true);
    /* The last test is told, but what ends the call is the stored status. */
    if (ownChannels(srcImage).count != ownChannels(dstImage).count)
        ownFail(face, VEK_StatusBadArg, "Number of interset channel input and output Image is not equal.", __LINE__);
    return vekGetErrStatus() < 0;
}

int32_t vekFixedFilter(const VekImage* srcImage, VekImage* dstImage, int32_t filter)
{
    OWN_FACE("vekFixedFilter", "veknlf");
    if (ownFixedRefused(face, srcImage, dstImage)) return -1;
    const OwnChannels from = ownChannels(srcImage), to = ownChannels(dstImage);
    if (from.count < 1 || to.count < 1) return 0;
    OWN_REFUSE_TEXT_IF((uint32_t)filter > 10, "Unknow filter.", -1);

    OwnFixedPlan plan;
    ownPlanFixed(&plan, srcImage->depth, (uint32_t)filter);
    OwnWindow window = {};
    window.srcImage = srcImage;
    window.dstImage = dstImage;
    window.from = from;
    window.to = to;
    window.left = window.right = window.top = window.bottom = ownFixedFilters[filter].size / 2;
    window.borderConst = srcImage->borderConst;
    window.stage = ownStageOf(plan);
    window.k = &plan;
    window.scratchBytes = plan.pointerBytes;
    window.scratchPerSample = sizeof(int64_t);
    const OwnWindowEnd end = ownWindow(window);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure", -1);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_TILE, VEK_StatusFailed, "Error get tile to write", -1);
    return 0;
}
