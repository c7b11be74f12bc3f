/* vekdecim: the source's region made smaller by rational factors. Positions are kept in 1/256 of a sample. */
#include "ownzoom.h"

/* The channels that take part; none when the channel of interest is not among them. */
static int32_t ownDecimateCount(const VekImage* image)
{
    const int32_t count = image->nChannels - (image->alphaChannel != 0);
    if (!image->roi || image->roi->coi <= 0) return count;
    return image->roi->coi > count ? 0 : 1;
}

static const OwnTileTexts ownDecimateTexts = {VEK_StatusInternal, "srcImage->tileInfo->callBack crash",
                                              VEK_StatusInternal, "dstImage->tileInfo->callBack crash"};

/* As many destination samples as the scaled source reaches. */
static int32_t ownReached(int32_t nDst, int32_t nSrc, int64_t step)
{
    return (int32_t)std::min<int64_t>(nDst, ((int64_t)nSrc * 256 + step - 1) / step);
}

/* With tables. */
static void ownDecimateByTaps(const OwnFace& face, OwnResampling& job, int64_t xStep, int64_t yStep)
{
    const OwnRect &src = job.srcRect, &dst = job.dstRect;
    const OwnAxisSpan x = {dst.right - dst.left + 1, src.right - src.left + 1, src.left, job.srcImage->width};
    const OwnAxisSpan y = {dst.bottom - dst.top + 1, src.bottom - src.top + 1, src.top, job.srcImage->height};
    OwnAxisTap* taps = (OwnAxisTap*)ownAlloc(((size_t)x.n + (size_t)y.n) * sizeof(OwnAxisTap));
    OWN_FAIL_IF(!taps, VEK_StatusBacktrace, "");
    ownTabulateFixed(taps, job.blend, x, xStep);
    ownTabulateFixed(taps + x.n, job.blend, y, yStep);
    job.xTaps = taps;
    job.yTaps = taps + x.n;
    ownRunResampling(face, ownDecimateTexts, job);
    ownFree(taps);
}

/* Interpolation needs samples between which to interpolate. */
static int32_t ownDecimateKind(const VekImage* srcImage, int32_t interpolate, bool isWhole)
{
    if (srcImage->width < 4 || srcImage->height < 4) return VEK_INTER_NN;
    if (interpolate == VEK_INTER_SUPER) return interpolate;
    return isWhole || srcImage->depth == VEK_DEPTH_1U ? (int32_t)VEK_INTER_NN : interpolate;
}

void vekDecimate(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst, int32_t ySrc,
                 int32_t interpolate)
{
    OWN_FACE("vekDecimate", "vekdecim");
    for (const VekImage* image : {srcImage, (const VekImage*)dstImage}) {
        const VekStatus badHeader = vekCheckImageHeader(image);
        if (badHeader) ownFail(face, badHeader, "Incorrect Image", __LINE__);
        if (!image) return;
    }
    OWN_REPORT_IF(srcImage == dstImage);
    OWN_REPORT_IF(srcImage->depth != dstImage->depth);
    OWN_REPORT_IF(srcImage->origin != dstImage->origin);
    OWN_REPORT_IF(srcImage->dataOrder != dstImage->dataOrder);
    const int32_t nChannelsSrc = ownDecimateCount(srcImage), nChannelsDst = ownDecimateCount(dstImage);
    OWN_REPORT_IF(nChannelsSrc == 0);
    OWN_REPORT_IF(nChannelsDst == 0);
    OWN_REPORT_IF(nChannelsSrc != nChannelsDst);
    if (interpolate < VEK_INTER_NN || interpolate > VEK_INTER_SUPER)
        ownFail(face, VEK_StatusBadArg,
                "interpolate != VEK_INTER_NN, VEK_INTER_LINEAR, VEK_INTER_CUBIC or VEK_INTER_SUPER", __LINE__);
    OWN_REPORT_IF(xDst <= 0);
    OWN_REPORT_IF(xSrc <= 0);
    OWN_REPORT_IF(yDst <= 0);
    OWN_REPORT_IF(ySrc <= 0);
    OWN_REPORT_IF(xDst > xSrc);
    OWN_REPORT_IF(yDst > ySrc);
    if (vekGetErrStatus() < 0) return;
    OWN_REFUSE_TEXT_IF(srcImage->depth != VEK_DEPTH_1U && srcImage->depth != VEK_DEPTH_8U && srcImage->depth != VEK_DEPTH_16U,
                       "srcImage->depth is wrong");

    VekImage held;
    srcImage = ownHeldToRows(srcImage, &held);
    if (!srcImage) return;
    OwnResampling job = {};
    job.srcImage = srcImage;
    job.dstImage = dstImage;
    job.srcChannels = ownChannels(srcImage);
    job.dstChannels = ownChannels(dstImage);
    if (!ownPixelRect(srcImage, &job.srcRect) || !ownPixelRect(dstImage, &job.dstRect)) return;
    OwnRect &src = job.srcRect, &dst = job.dstRect;
    const int64_t xStep = (int64_t)xSrc * 256 / xDst, yStep = (int64_t)ySrc * 256 / yDst;
    dst.right = dst.left + ownReached(dst.right - dst.left + 1, src.right - src.left + 1, xStep) - 1;
    dst.bottom = dst.top + ownReached(dst.bottom - dst.top + 1, src.bottom - src.top + 1, yStep) - 1;

    switch (ownDecimateKind(srcImage, interpolate, xSrc % xDst == 0 && ySrc % yDst == 0)) {
    case VEK_INTER_NN: job.blend = OWN_BLEND_NEAREST; break;
    case VEK_INTER_LINEAR: job.blend = OWN_BLEND_HALF_UP; break;
    case VEK_INTER_CUBIC: job.blend = OWN_BLEND_CUBIC; break;
    case VEK_INTER_SUPER: ownRunSuper(face, ownDecimateTexts, job, xStep, yStep); return;
    default: ownFail(face, VEK_StatusBadArg, "interpolate is wrong", __LINE__); return;
    }
    ownDecimateByTaps(face, job, xStep, yStep);
}
