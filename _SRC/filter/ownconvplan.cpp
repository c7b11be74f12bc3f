/* ownconvplan: how a convolution is to be computed: each kernel's accumulator class and its taps, and the window that holds
 * all kernels. */
#include "ownconv.h"

struct OwnRange {
    double low, high;
};

/* The range of the samples of the depths that sums of integers are proved for. */
static OwnRange ownRangeOf(uint32_t depth)
{
    switch (depth) {
    case VEK_DEPTH_1U: return {0, 1};
    case VEK_DEPTH_8U: return {0, 255};
    case VEK_DEPTH_8S: return {-128, 127};
    case VEK_DEPTH_16U: return {0, 65535};
    }
    return {-32768, 32767};
}

/* The narrowest class. Least and largest sum: each coefficient on the sample that takes it furthest. */
static OwnConvClass ownClassOf(const OwnConvSource& source, uint32_t depth)
{
    if (depth == VEK_DEPTH_32S || depth == VEK_DEPTH_32F) return OWN_CLASS_FLOAT;
    const OwnRange range = ownRangeOf(depth);
    double least = 0, largest = 0;
    bool short16 = true, products16 = true;
    for (int64_t i = 0; i < (int64_t)source.nCols * source.nRows; ++i) {
        const double v = source.values[i], atLow = v * range.low, atHigh = v * range.high;
        largest += std::max(atLow, atHigh);
        least += std::min(atLow, atHigh);
        short16 = short16 && v >= -32768 && v <= 32767;
        products16 = products16 && std::min(atLow, atHigh) >= -32768 && std::max(atLow, atHigh) <= 32767;
    }
    if (least > -32768 && largest < 32767 && short16 && products16) return OWN_CLASS_16;
    if (least > -2147483648.0 && largest < 2147483647.0 && short16) return OWN_CLASS_32;
    return OWN_CLASS_FLOAT;
}

/* The taps of a kernel whose anchor falls on the window's own pixel, in stored order. */
static void ownPlanTaps(OwnConvKernelPlan* kernel, const OwnConvPlan& plan, const OwnConvSource& source)
{
    const int32_t x0 = plan.left - source.anchorX, y0 = plan.top - source.anchorY;
    OwnSum& sum = kernel->sum;
    for (int32_t y = 0; y < source.nRows; ++y)
        for (int32_t x = 0; x < source.nCols; ++x) {
            const int64_t i = (int64_t)y * source.nCols + x;
            const OwnTap tap = {y0 + y, x0 + x, source.values ? source.values[i] : 0,
                                source.values ? (float)source.values[i] : source.reals[i]};
            if (tap.real != 0) sum.taps[sum.nTaps++] = tap;
        }
    static constexpr OwnSumKind kinds[3] = {OWN_SUM_16, OWN_SUM_32, OWN_SUM_FLOAT};
    ownFinishSum(&sum, kinds[kernel->accumClass], plan.depth, plan.depth == VEK_DEPTH_1U ? 1 : 255);
}

/* Margins: the furthest that any kernel reaches on each side. */
static void ownPlanMargins(OwnConvPlan* plan, const OwnConvSource* source)
{
    for (int32_t i = 0; i < plan->nKernels; ++i) {
        plan->left = std::max(plan->left, source[i].anchorX);
        plan->top = std::max(plan->top, source[i].anchorY);
        plan->right = std::max(plan->right, source[i].nCols - source[i].anchorX - 1);
        plan->bottom = std::max(plan->bottom, source[i].nRows - source[i].anchorY - 1);
    }
}

bool ownPlanConv(OwnConvPlan* plan, uint32_t depth, const OwnConvSource* source, int32_t nKernels,
                 int32_t combineMethod)
{
    *plan = {};
    plan->depth = depth;
    plan->nKernels = nKernels;
    plan->combineMethod = combineMethod;
    ownPlanMargins(plan, source);

    int64_t bytes = 0;
    for (int32_t i = 0; i < nKernels; ++i) {
        const int64_t nTaps = (int64_t)source[i].nCols * source[i].nRows;
        if (nTaps > PTRDIFF_MAX / 512) return false;
        bytes += ownSumRoom(nTaps);
        plan->pointerBytes = std::max(plan->pointerBytes, ownSumPointers(nTaps));
    }
    plan->room = bytes > PTRDIFF_MAX ? nullptr : ownAlloc((size_t)bytes);
    if (!plan->room) return false;

    uint8_t* room = (uint8_t*)plan->room;
    for (int32_t i = 0; i < nKernels; ++i) {
        const int64_t nTaps = (int64_t)source[i].nCols * source[i].nRows;
        OwnConvKernelPlan& kernel = plan->kernel[i];
        kernel.accumClass = ownClassOf(source[i], depth);
        kernel.shift = std::clamp(source[i].nShiftR, 0, 31);
        ownStartSum(&kernel.sum, room, nTaps);
        room += ownSumRoom(nTaps);
        ownPlanTaps(&kernel, *plan, source[i]);
        plan->floatMerge = plan->floatMerge || kernel.accumClass != OWN_CLASS_16;
    }
    return true;
}
