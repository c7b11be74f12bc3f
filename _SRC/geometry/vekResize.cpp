/* vekResize: the source's region resampled by rational factors of either sense; super-sampling goes to vekDecimate. */
#include "ownzoom.h"

void vekResize(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst, int32_t ySrc,
               int32_t interpolate)
{
    OWN_FACE("vekResize", "vekResize");
    OWN_REFUSE_IF((interpolate == VEK_INTER_SUPER) && (xDst > xSrc || yDst > ySrc));
    if (interpolate == VEK_INTER_SUPER) vekDecimate(srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
    else ownResample(face, srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}
