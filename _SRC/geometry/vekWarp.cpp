/* vekWarp: the affine, bilinear and perspective warps. */
#include "ownquarter.h"
#include "ownwarp.h"

#include <math.h>

/* ---- Tests --------------------------------------------------------------------------------------------------- */

bool ownSoundWarp(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, int32_t warpFlag)
{
    OWN_REFUSE_HEADER(srcImage, false);
    OWN_REFUSE_HEADER(dstImage, false);
    OWN_REPORT_IF(srcImage->depth != dstImage->depth);
    OWN_REPORT_IF(srcImage->origin != dstImage->origin);
    if (srcImage->depth != VEK_DEPTH_1U && !(srcImage->nChannels == 1 && dstImage->nChannels == 1))
        OWN_REPORT_IF(srcImage->dataOrder != dstImage->dataOrder);
    OWN_REPORT_IF((srcImage->depth & VEK_DEPTH_SIGN) || (srcImage->depth == VEK_DEPTH_32F));
    OWN_REPORT_IF(warpFlag != 0 && warpFlag != 1);
    if (srcImage == dstImage) ownFail(face, VEK_StatusBadArg, "This function is not in-place function", __LINE__);
    return vekGetErrStatus() >= 0;
}

/* ---- Affine -------------------------------------------------------------------------------------------------- */

void vekWarpAffine(const VekImage* srcImage, VekImage* dstImage, const double coeffs[6], int32_t interpolate)
{
    OWN_FACE("vekWarpAffine", "vekWarp");
    if (!ownSoundWarp(face, srcImage, dstImage, 0)) return;
    const double determinant = coeffs[0] * coeffs[4] - coeffs[1] * coeffs[3];
    OWN_REFUSE_TEXT_IF(fabs(determinant) <= 1e-7, "Determinant of transform matrix == 0.0");
    if (ownWarpExactly(face, srcImage, dstImage, coeffs, interpolate)) return;

    double quad[8];
    vekGetAffineQuad(srcImage, coeffs, quad);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
    OWN_REFUSE_TEXT_IF((uint32_t)interpolate > VEK_INTER_CUBIC, "interpolate < 0 || interpolate > 2");
    ownWarpToQuad(face, srcImage, dstImage, quad, interpolate, OWN_WARP_AFFINE);
}

/* ---- By a quadrangle ------------------------------------------------------------------------------------------- */

static void ownWarpQ(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const double quad[8],
                     int32_t warpFlag, int32_t interpolate, OwnWarpKind kind)
{
    if (!ownSoundWarp(face, srcImage, dstImage, warpFlag)) return;
    const int shape = ownCheckQuad(quad);
    OWN_REFUSE_TEXT_IF(shape == OWN_QUAD_DEGENERATE, "Quadrangle is degenerate to triangle or length or point");
    OWN_REFUSE_TEXT_IF(shape == OWN_QUAD_CONCAVE, "Quadrangle is concave");
    OWN_REFUSE_TEXT_IF((uint32_t)interpolate > VEK_INTER_CUBIC, "interpolate < 0 || interpolate > 2");
    if (warpFlag) ownWarpFromQuad(face, srcImage, dstImage, quad, interpolate, kind);
    else ownWarpToQuad(face, srcImage, dstImage, quad, interpolate, kind);
}

void vekWarpBilinearQ(const VekImage* srcImage, VekImage* dstImage, const double quad[8], int32_t warpFlag,
                      int32_t interpolate)
{
    OWN_FACE("vekWarpBilinearQ", "vekWarp");
    ownWarpQ(face, srcImage, dstImage, quad, warpFlag, interpolate, OWN_WARP_BILINEAR);
}

void vekWarpPerspectiveQ(const VekImage* srcImage, VekImage* dstImage, const double quad[8], int32_t warpFlag,
                         int32_t interpolate)
{
    OWN_FACE("vekWarpPerspectiveQ", "vekWarp");
    ownWarpQ(face, srcImage, dstImage, quad, warpFlag, interpolate, OWN_WARP_PERSPECTIVE);
}

/* ---- By a matrix ------------------------------------------------------------------------------------------------- */

void vekWarpBilinear(const VekImage* srcImage, VekImage* dstImage, const double coeffs[8], int32_t warpFlag,
                     int32_t interpolate)
{
    OWN_FACE("vekWarpBilinear", "vekWarp");
    double quad[8];
    vekGetBilinearQuad(warpFlag ? dstImage : srcImage, coeffs, quad);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
    vekWarpBilinearQ(srcImage, dstImage, quad, warpFlag, interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}

void vekWarpPerspective(const VekImage* srcImage, VekImage* dstImage, const double coeffs[9], int32_t warpFlag,
                        int32_t interpolate)
{
    OWN_FACE("vekWarpPerspective", "vekWarp");
    double quad[8];
    vekGetPerspectiveQuad(warpFlag ? dstImage : srcImage, coeffs, quad);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
    vekWarpPerspectiveQ(srcImage, dstImage, quad, warpFlag, interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}
