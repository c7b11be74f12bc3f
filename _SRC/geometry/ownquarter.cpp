/* ownquarter: translations and quarter turns, pixel by pixel the source's. */
#include "ownquarter.h"

#include "owntranspose.h"
#include "ownwarp.h"

#include <math.h>

/* ---- Shifts -------------------------------------------------------------------------------------------------- */

/* A shift in whole pixels. False when it is beyond 32 bits, where no images meet. */
static bool ownWholeShift(double shift, int64_t* whole)
{
    const double low = floor(shift);
    if (!(fabs(low) <= 2147483648.0)) return false;
    *whole = (int64_t)low;
    return true;
}

/* A rectangle whose edges may lie anywhere. */
struct OwnWideRect {
    int64_t left, top, right, bottom;
};

static bool ownMeet(const OwnWideRect& a, const OwnRect& b, OwnRect* both)
{
    if (a.left > b.right || a.right < b.left || a.top > b.bottom || a.bottom < b.top) return false;
    *both = {(int32_t)std::max<int64_t>(a.left, b.left), (int32_t)std::max<int64_t>(a.top, b.top),
             (int32_t)std::min<int64_t>(a.right, b.right), (int32_t)std::min<int64_t>(a.bottom, b.bottom)};
    return true;
}

/* ---- Translation ----------------------------------------------------------------------------------------------- */

static int32_t ownCoi(const VekImage* image) { return image->roi ? image->roi->coi : 0; }

/* A copy of what source and destination regions share after the shift. A tile's callback has to see the caller's own
 * header, so there the regions change for the length of the copy; other images are copied by private headers. */
static void ownTranslate(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, double xShift,
                         double yShift)
{
    OwnRect src, dst, both;
    int64_t x, y;
    if (!ownRoiRect(srcImage, &src) || !ownRoiRect(dstImage, &dst)) return;
    if (!ownWholeShift(xShift, &x) || !ownWholeShift(yShift, &y)) return;
    if (!ownMeet({src.left + x, src.top + y, src.right + x, src.bottom + y}, dst, &both)) return;
    const int32_t width = both.right - both.left + 1, height = both.bottom - both.top + 1;
    VekROI srcRoi = {ownCoi(srcImage), (int32_t)(both.left - x), (int32_t)(both.top - y), width, height};
    VekROI dstRoi = {ownCoi(dstImage), both.left, both.top, width, height};
    VekImage srcAlone = *srcImage, dstAlone = *dstImage;
    VekImage* const from = srcImage->tileInfo ? const_cast<VekImage*>(srcImage) : &srcAlone;
    VekImage* const to = dstImage->tileInfo ? dstImage : &dstAlone;
    VekROI *const srcBefore = srcImage->roi, *const dstBefore = dstImage->roi;
    from->roi = &srcRoi;
    to->roi = &dstRoi;
    vekCopy(from, to);
    from->roi = srcBefore;
    to->roi = dstBefore;
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}

/* ---- Which warps are exact --------------------------------------------------------------------------------------- */

static bool ownIsNear(double a, double b) { return fabs(a - b) <= 1e-7; }

bool ownWarpExactly(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const double c[6],
                    int32_t interpolate)
{
    const bool straight = ownIsNear(c[1], 0) && ownIsNear(c[3], 0), across = ownIsNear(c[0], 0) && ownIsNear(c[4], 0);
    if (straight && ownIsNear(c[0], 1) && ownIsNear(c[4], 1)) {
        ownTranslate(face, srcImage, dstImage, c[2], c[5]);
        return true;
    }
    if (srcImage->tileInfo || dstImage->tileInfo) return false;
    double angle;
    if (straight && ownIsNear(c[0], -1) && ownIsNear(c[4], -1)) angle = 180.0;
    else if (across && ownIsNear(c[1], 1) && ownIsNear(c[3], -1)) angle = 90.0;
    else if (across && ownIsNear(c[1], -1) && ownIsNear(c[3], 1)) angle = -90.0;
    else return false;
    vekRotate(srcImage, dstImage, angle, c[2], c[5], interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "", true);
    return true;
}

/* ---- Quarter turns ------------------------------------------------------------------------------------------------- */

/* Where the turned source lies in the destination: (x, y) goes to (xs + y, ys - x), (xs - x, ys - y), (xs - y, ys + x). */
static OwnWideRect ownTurnedRect(const OwnRect& r, int degrees, int64_t xs, int64_t ys)
{
    if (degrees == 90) return {xs + r.top, ys - r.right, xs + r.bottom, ys - r.left};
    if (degrees == 180) return {xs - r.right, ys - r.bottom, xs - r.left, ys - r.top};
    return {xs - r.bottom, ys + r.left, xs - r.top, ys + r.right};
}

/* The destination's rectangle `both` from the source, whose pixel (x, y) comes to its corner. A half turn is a copy from a
 * view whose rows run upward and backward; quarter turns are transpositions, by 90 degrees with the destination's rows
 * from the last one up, by 270 with the source's. */
static void ownTurnRect(const VekImage* srcImage, const VekImage* dstImage, const OwnChannels channels[2],
                        const OwnRect& both, int32_t x, int32_t y, int degrees)
{
    const int32_t width = both.right - both.left + 1, height = both.bottom - both.top + 1;
    const OwnView all = ownWholeView(srcImage);
    const OwnView dst = ownCrop(ownWholeView(dstImage), both.left, both.top, width, height);
    if (degrees == 180)
        ownCopyView(ownReversed(ownTurned(ownCrop(all, x - width + 1, y - height + 1, width, height))), dst,
                    channels[0], channels[1]);
    else if (degrees == 90) ownTranspose(ownCrop(all, x - height + 1, y, height, width), ownReversed(dst), channels);
    else ownTranspose(ownReversed(ownCrop(all, x, y - width + 1, height, width)), dst, channels);
}

void ownQuarterTurn(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int degrees, double xShift,
                    double yShift)
{
    if (!ownSoundWarp(face, srcImage, dstImage, 0)) return;
    OwnRect src, dst, both;
    OwnChannels channels[2];
    if (!ownPixelRect(srcImage, &src) || !ownPixelRect(dstImage, &dst)) return;
    if (!ownWarpChannels(srcImage, &channels[0]) || !ownWarpChannels(dstImage, &channels[1])) return;
    OWN_FAIL_IF(channels[0].count != channels[1].count, VEK_StatusBadCoi, "srcImage COI != dstImage COI");

    int64_t xs, ys;
    if (!ownWholeShift(xShift, &xs) || !ownWholeShift(yShift, &ys)) return;
    if (!ownMeet(ownTurnedRect(src, degrees, xs, ys), dst, &both)) return;
    const int64_t x = degrees == 90 ? ys - both.top : degrees == 180 ? xs - both.left : both.top - ys;
    const int64_t y = degrees == 90 ? both.left - xs : degrees == 180 ? ys - both.top : xs - both.left;
    ownTurnRect(srcImage, dstImage, channels, both, (int32_t)x, (int32_t)y, degrees);
}
