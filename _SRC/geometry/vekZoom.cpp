/* vekZoom: the source's region enlarged by rational factors. The resampler that it shares with vekResize stands here too. */
#include "ownzoom.h"

#include <math.h>

/* ---- Which pixels -------------------------------------------------------------------------------------------- */

static bool ownHasAlphaAlone(const VekImage* image) { return image->alphaChannel && image->nChannels == 1; }
static bool ownPicksAlpha(const VekImage* image)
{
    return image->roi && image->roi->coi && image->roi->coi == image->alphaChannel;
}

/* The region's rectangle, held to the size of the image's mask. */
static bool ownMaskedRect(const VekImage* image, OwnRect* rect)
{
    const VekROI region = ownMaskedRegion(image);
    *rect = {region.xOffset, region.yOffset, region.xOffset + region.width - 1, region.yOffset + region.height - 1};
    return region.width > 0 && region.height > 0;
}

/* Rounds down, but for a value that falls short of an integer by rounding. */
static double ownAlmostFloor(double v) { return rint(v + 1e-5 - 0.5); }

/* As many destination samples as the source reaches. */
static int32_t ownUsable(int32_t nDst, int32_t nSrc, double ratio)
{
    if (ownAlmostFloor((nDst - 1) * ratio) <= nSrc - 1) return nDst;
    return (int32_t)std::min<double>(ownAlmostFloor(nSrc / ratio), nDst);
}

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* A record without a mask of its own. */
static VekImage ownAlone(const VekImage* mask)
{
    VekImage alone = *mask;
    alone.maskROI = nullptr;
    return alone;
}

/* The source's mask at the destination's size. Null when that failed. */
static VekImage* ownZoomedMask(const OwnFace& face, const VekImage* srcMask, int32_t width, int32_t height,
                               double xRatio, double yRatio)
{
    VekImage* mask = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G   ", srcMask->dataOrder, srcMask->origin, 8,
                                          width, height, nullptr, nullptr, nullptr, nullptr);
    if (!mask) return nullptr;
    vekAllocateImage(mask, 1, 0);
    const VekImage alone = ownAlone(srcMask);
    const double xSrc = std::clamp(rint(width * xRatio), 1.0, (double)INT32_MAX),
                 ySrc = std::clamp(rint(height * yRatio), 1.0, (double)INT32_MAX);
    if (mask->imageData && ownResample(face, &alone, mask, width, (int32_t)xSrc, height, (int32_t)ySrc, VEK_INTER_NN))
        return mask;
    vekDeallocate(mask, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    return nullptr;
}

/* What decides on the destination's pixels: the source's mask, the destination's, or both. False when that failed. */
static bool ownZoomMasks(const OwnFace& face, const OwnResampling& job, double xRatio, double yRatio, OwnMask* mask)
{
    const VekImage *srcMask = job.srcImage->maskROI, *dstMask = job.dstImage->maskROI;
    *mask = {dstMask, nullptr};
    if (!srcMask) return true;
    const OwnRect& rect = job.dstRect;
    mask->owned = ownZoomedMask(face, srcMask, rect.right - rect.left + 1, rect.bottom - rect.top + 1, xRatio, yRatio);
    if (!mask->owned) return false;
    mask->image = mask->owned;
    if (!dstMask) return true;
    const VekImage alone = ownAlone(dstMask);
    vekAnd(mask->owned, &alone, mask->owned);
    if (vekGetErrStatus() >= 0) return true;
    ownReleaseMask(mask);
    return false;
}

/* ---- The resampler ------------------------------------------------------------------------------------------- */

/* Interpolation needs samples between which to interpolate; a whole-number decimation needs none. */
static OwnMix ownZoomBlend(const VekImage* srcImage, int32_t xDst, int32_t xSrc, int32_t yDst, int32_t ySrc,
                           int32_t interpolate)
{
    const int32_t least = std::min(srcImage->width, srcImage->height);
    if (srcImage->depth == VEK_DEPTH_1U || least < 2 || interpolate == VEK_INTER_NN) return OWN_BLEND_NEAREST;
    if (xDst <= xSrc && yDst <= ySrc && xSrc % xDst == 0 && ySrc % yDst == 0) return OWN_BLEND_NEAREST;
    return interpolate == VEK_INTER_CUBIC && least >= 4 ? OWN_BLEND_CUBIC : OWN_BLEND_LINEAR;
}

static const OwnTileTexts ownZoomTexts = {VEK_StatusBadArg, "(srcImage->tileInfo->tileData == ((void*)(0)))",
                                          VEK_StatusFailed, "Error get tile to write"};

/* With tables. False when a failure has been reported. */
static bool ownTabulateAndRun(const OwnFace& face, OwnResampling& job, double xRatio, double yRatio)
{
    const OwnRect &src = job.srcRect, &dst = job.dstRect;
    const OwnAxisSpan x = {dst.right - dst.left + 1, src.right - src.left + 1, src.left, job.srcImage->width};
    const OwnAxisSpan y = {dst.bottom - dst.top + 1, src.bottom - src.top + 1, src.top, job.srcImage->height};
    OwnAxisTap* taps = (OwnAxisTap*)ownAlloc(((size_t)x.n + (size_t)y.n) * sizeof(OwnAxisTap));
    OWN_FAIL_IF(!taps, VEK_StatusBacktrace, "", false);
    ownTabulate(taps, job.blend, x, xRatio);
    ownTabulate(taps + x.n, job.blend, y, yRatio);
    job.xTaps = taps;
    job.yTaps = taps + x.n;
    const bool done = ownRunResampling(face, ownZoomTexts, job);
    ownFree(taps);
    return done;
}

bool ownResample(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc,
                 int32_t yDst, int32_t ySrc, int32_t interpolate)
{
    const double xRatio = (double)xSrc / xDst, yRatio = (double)ySrc / yDst;
    OWN_REFUSE_HEADER(srcImage, false);
    OWN_REFUSE_HEADER(dstImage, false);
    OWN_REPORT_IF(interpolate != VEK_INTER_NN && interpolate != VEK_INTER_LINEAR && interpolate != VEK_INTER_CUBIC);
    OWN_REPORT_IF(srcImage->depth != dstImage->depth);
    OWN_REPORT_IF(srcImage->depth != VEK_DEPTH_1U && srcImage->depth != VEK_DEPTH_8U && srcImage->depth != VEK_DEPTH_16U);
    OWN_REPORT_IF(srcImage->dataOrder != dstImage->dataOrder);
    OWN_REPORT_IF(xDst <= 0 || xSrc <= 0);
    OWN_REPORT_IF(yDst <= 0 || ySrc <= 0);
    if (vekGetErrStatus() < 0) return false;
    OWN_REFUSE_TEXT_IF(srcImage == dstImage, "This function isn`t in-plase function", false);

    VekImage held;
    srcImage = ownHeldToRows(srcImage, &held);
    if (!srcImage) return true;
    OwnResampling job = {};
    job.srcImage = srcImage;
    job.dstImage = dstImage;
    job.blend = ownZoomBlend(srcImage, xDst, xSrc, yDst, ySrc, interpolate);
    if (ownHasAlphaAlone(srcImage) || ownHasAlphaAlone(dstImage)) return true;
    if (!ownMaskedRect(srcImage, &job.srcRect) || !ownMaskedRect(dstImage, &job.dstRect)) return true;
    OwnRect &src = job.srcRect, &dst = job.dstRect;
    const int32_t width = ownUsable(dst.right - dst.left + 1, src.right - src.left + 1, xRatio);
    const int32_t height = ownUsable(dst.bottom - dst.top + 1, src.bottom - src.top + 1, yRatio);
    if (width < 1 || height < 1 || ownPicksAlpha(srcImage) || ownPicksAlpha(dstImage)) return true;
    dst.right = dst.left + width - 1;
    dst.bottom = dst.top + height - 1;
    job.srcChannels = ownChannels(srcImage);
    job.dstChannels = ownChannels(dstImage);
    OWN_FAIL_IF(job.srcChannels.count != job.dstChannels.count, VEK_StatusFailed, "srcImage COI != dstImage COI", false);

    OwnMask mask;
    OWN_FAIL_IF(!ownZoomMasks(face, job, xRatio, yRatio, &mask), VEK_StatusBacktrace, "", false);
    job.mask = mask.image;
    const bool done = ownTabulateAndRun(face, job, xRatio, yRatio);
    ownReleaseMask(&mask);
    return done;
}

void vekZoom(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst, int32_t ySrc,
             int32_t interpolate)
{
    OWN_FACE("vekZoom", "vekZoom");
    OWN_REFUSE_IF(xDst < xSrc || yDst < ySrc);
    ownResample(face, srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
}
