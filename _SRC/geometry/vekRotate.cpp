/* vekRotate: rotation and shear, the convenient faces of the affine warp. */
#include "ownquarter.h"

#include <math.h>

#include <numbers>

static bool ownIsQuarter(double angle)
{
    constexpr double tolerance = 1e-7;
    return fabs(angle - 90) <= tolerance || fabs(angle - 180) <= tolerance || fabs(angle - 270) <= tolerance;
}

/* (x, y) goes to (c x + s y + xShift, -s x + c y + yShift). */
void vekRotate(const VekImage* srcImage, VekImage* dstImage, double angle, double xShift, double yShift,
               int32_t interpolate)
{
    OWN_FACE("vekRotate", "vekRotate");
    double a = angle - rint(angle * (1.0 / 360.0)) * 360.0;
    if (a < 0) a += 360.0;
    const bool tiled = (srcImage && srcImage->tileInfo) || (dstImage && dstImage->tileInfo);
    if (ownIsQuarter(a) && !tiled) return ownQuarterTurn(face, srcImage, dstImage, (int)rint(a + 0.1), xShift, yShift);
    const double radians = a * (1.0 / 180.0) * std::numbers::pi, c = cos(radians), s = sin(radians);
    double matrix[6] = {c, s, xShift, -s, c, yShift};
    if (ownIsQuarter(a)) {
        matrix[2] = floor(xShift);
        matrix[5] = floor(yShift);
    }
    vekWarpAffine(srcImage, dstImage, matrix, interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}

void vekShear(const VekImage* srcImage, VekImage* dstImage, double xShear, double yShear, double xShift, double yShift,
              int32_t interpolate)
{
    OWN_FACE("vekShear", "vekRotate");
    const double matrix[6] = {1.0, xShear, xShift, yShear, 1.0, yShift};
    vekWarpAffine(srcImage, dstImage, matrix, interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}
