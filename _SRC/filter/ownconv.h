/* ownconv.h: the plan of a convolution with up to ten kernels, and its row stage. */
#ifndef OWNCONV_H
#define OWNCONV_H

#include "ownsums.h"

enum { OWN_MOST_KERNELS = 10 };

/* Accumulator classes: the narrowest arithmetic that no sum of a kernel leaves. */
enum OwnConvClass { OWN_CLASS_16, OWN_CLASS_32, OWN_CLASS_FLOAT };

/* A kernel of either kind; one of the arrays is null. */
struct OwnConvSource {
    int32_t nCols, nRows, anchorX, anchorY, nShiftR;
    const int32_t* values;
    const float* reals;
};

struct OwnConvKernelPlan {
    OwnConvClass accumClass;
    int32_t shift; /* of integer sums: below 32 */
    OwnSum sum;
};

struct OwnConvPlan {
    uint32_t depth;
    int32_t nKernels, combineMethod;
    bool floatMerge; /* merged sums are floats: some kernel's class is not OWN_CLASS_16 */
    int32_t left, right, top, bottom;
    int64_t pointerBytes; /* of the row stage's scratch */
    OwnConvKernelPlan kernel[OWN_MOST_KERNELS];
    void* room;
};

/* False when memory is short. Released by ownFree(plan->room). */
bool ownPlanConv(OwnConvPlan* plan, uint32_t depth, const OwnConvSource* source, int32_t nKernels,
                 int32_t combineMethod);

/* The row stage; k is the plan. Its scratch: pointerBytes, and 3 OWN_SUM_BYTES for each sample. */
bool ownConvInTwos(const OwnConvPlan& plan); /* as the window wants to know */
void ownConvStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row);

#endif
