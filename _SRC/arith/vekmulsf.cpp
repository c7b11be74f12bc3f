/* vekmulsf: src times value, 32F. */
#include "own.h"
#include "ownsimd.h"

/* out = a * k. The product of two floats is exact enough in double that rounding it once more gives the single-precision
 * result, so single precision it is. */
static void ownMulSFPRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<float> value = ownSet(*(const float*)k);
    ownMap<float>(out, a, n, [=](OwnVec<float> x) { return x * value; });
}
static void ownMulSFPPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const double value = *(const float*)k;
    ownEach<float, float>(out, a, n, [=](float x) { return (float)(x * value); });
}

OWN_TABLE(ownMulSFPRows) = {{}, {}, {}, {}, {}, {}, /* 32F */ {ownMulSFPRun, ownMulSFPPlain}};

void vekMultiplySFP(const VekImage* srcImage, VekImage* dstImage, float value)
{
    OWN_FACE("vekMultiplySFP", "vekmulsf");
    OWN_REFUSE_IF(srcImage==0);
    OWN_REFUSE_TEXT_IF(srcImage->depth != VEK_DEPTH_32F, "For processing this depth use function vekMultiplyS");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    ownPoint2(face, srcImage, dstImage, ownMulSFPRows, &value);
}
