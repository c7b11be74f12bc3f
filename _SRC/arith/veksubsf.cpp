/* veksubsf: src - value, or value - src, 32F. */
#include "own.h"
#include "ownsimd.h"

/* The constant of the kernels. */
struct OwnSubSFP {
    float value;
    bool flip;
};

/* out = a - k, flipped: k - a. The difference of two floats is exact enough in double that rounding it once more gives the
 * single-precision result, so single precision it is. */
static void ownSubSFPRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnSubSFP& c = *(const OwnSubSFP*)k;
    const OwnVec<float> value = ownSet(c.value);
    if (c.flip) ownMap<float>(out, a, n, [=](OwnVec<float> x) { return value - x; });
    else ownMap<float>(out, a, n, [=](OwnVec<float> x) { return x - value; });
}
static void ownSubSFPPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnSubSFP& c = *(const OwnSubSFP*)k;
    const double value = c.value;
    if (c.flip) ownEach<float, float>(out, a, n, [=](float x) { return (float)(value - x); });
    else ownEach<float, float>(out, a, n, [=](float x) { return (float)(x - value); });
}

OWN_TABLE(ownSubSFPRows) = {{}, {}, {}, {}, {}, {}, /* 32F */ {ownSubSFPRun, ownSubSFPPlain}};

void vekSubtractSFP(const VekImage* srcImage, VekImage* dstImage, float value, int32_t flip)
{
    OWN_FACE("vekSubtractSFP", "veksubsf");
    OWN_REFUSE_IF(srcImage==0);
    OWN_REFUSE_TEXT_IF(srcImage->depth != VEK_DEPTH_32F, "For processing this depth use function vekSubtractS");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const OwnSubSFP k = {value, flip != 0};
    ownPoint2(face, srcImage, dstImage, ownSubSFPRows, &k);
}
