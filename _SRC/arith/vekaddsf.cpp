/* vekaddsf: src + value, 32F. */
#include "own.h"
#include "ownsimd.h"

/* out = a + k. The sum of two floats is exact enough in double that rounding it once more gives the single-precision
 * result, so single precision it is. */
static void ownAddSFPRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<float> value = ownSet(*(const float*)k);
    ownMap<float>(out, a, n, [=](OwnVec<float> x) { return x + value; });
}
static void ownAddSFPPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const double value = *(const float*)k;
    ownEach<float, float>(out, a, n, [=](float x) { return (float)(x + value); });
}

OWN_TABLE(ownAddSFPRows) = {{}, {}, {}, {}, {}, {}, /* 32F */ {ownAddSFPRun, ownAddSFPPlain}};

void vekAddSFP(const VekImage* srcImage, VekImage* dstImage, float value)
{
    OWN_FACE("vekAddSFP", "vekaddsf");
    OWN_REFUSE_IF(srcImage==0);
    OWN_REFUSE_TEXT_IF(srcImage->depth != VEK_DEPTH_32F, "For processing this depth use function vekAddS");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    ownPoint2(face, srcImage, dstImage, ownAddSFPRows, &value);
}
