/* vekcnv2d: two-dimensional convolution with up to ten kernels, whose results are merged pixel by pixel.
 *
 * sum(x, y) = the sum over i, j of S[i][j] src(x - anchorX + j, y - anchorY + i), S and the anchor as they are stored. */
#include "ownconv.h"
#include "ownkernel.h"

/* ---- Tests ------------------------------------------------------------------------------------------------------- */

static bool ownBadOffsets(const VekImage* image)
{
    const VekROI* roi = image->roi;
    return roi &&
           (roi->xOffset < 0 || roi->yOffset < 0 || roi->xOffset >= image->width || roi->yOffset >= image->height);
}

template <class Kernel>
static bool ownConvRefused(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage,
                           const Kernel* const* kernel, int32_t nKernels, int32_t combineMethod)
{
    OWN_REFUSE_HEADER(srcImage, true);
    OWN_REFUSE_HEADER(dstImage, true);
    OWN_FAIL_IF(ownBadOffsets(srcImage), VEK_StatusBadRoiOffset, "Bad ROI offsets", true);
    OWN_FAIL_IF(ownBadOffsets(dstImage), VEK_StatusBadRoiOffset, "Bad ROI offsets", true);
    OWN_REFUSE_IF(kernel==0, true);
    OWN_REFUSE_IF((nKernels<=0 || nKernels>10), true);
    OWN_REFUSE_TEXT_IF(nKernels > 1 && (combineMethod < COMBINE_ADD || combineMethod > COMBINE_LEAST),
                       "Inadmissible method", true);
    for (int32_t i = 0; i < nKernels; ++i) {
        OWN_REFUSE_IF(kernel[i]==0, true);
        OWN_REFUSE_TEXT_IF(ownBadKernel(kernel[i]), "Bad kernel structure", true);
    }
    OWN_REFUSE_TEXT_IF(srcImage->depth != dstImage->depth || srcImage->dataOrder != dstImage->dataOrder,
                       "Uncompatible images", true);
    return false;
}

/* ---- Channels ---------------------------------------------------------------------------------------------------- */

/* A coi on either image makes it one channel on both: the first, where there is no coi. */
struct OwnConvChannels {
    OwnChannels from, to;
    bool isNothing; /* nothing but alpha is chosen */
};

static bool ownOnlyAlpha(const VekImage* image)
{
    return image->alphaChannel > 0 && (image->nChannels == 1 || (image->roi && image->roi->coi == image->alphaChannel));
}

static OwnConvChannels ownConvChannels(const VekImage* srcImage, const VekImage* dstImage)
{
    OwnConvChannels channels = {ownChannels(srcImage), ownChannels(dstImage),
                                ownOnlyAlpha(srcImage) || ownOnlyAlpha(dstImage)};
    if (channels.from.single && !channels.to.single) channels.to = {0, 1, true};
    if (channels.to.single && !channels.from.single) channels.from = {0, 1, true};
    return channels;
}

/* ---- The call ---------------------------------------------------------------------------------------------------- */

/* The border constants, held to the range of an integer depth. */
static void ownClampBorders(int32_t* out, const VekImage* image)
{
    int32_t low = INT32_MIN, high = INT32_MAX;
    switch (image->depth) {
    case VEK_DEPTH_1U: low = 0, high = 1; break;
    case VEK_DEPTH_8U: low = 0, high = 255; break;
    case VEK_DEPTH_8S: low = -128, high = 127; break;
    case VEK_DEPTH_16U: low = 0, high = 65535; break;
    case VEK_DEPTH_16S: low = -32768, high = 32767; break;
    }
    for (int i = 0; i < 4; ++i) out[i] = std::clamp(image->borderConst[i], low, high);
}

/* One 8U kernel of 3 by 3 with sums of 16 bits is computed without any look at the combine method, on rows of one or of
 * three samples a pixel, with no mask. */
static bool ownIgnoresMethod(const OwnConvPlan& plan, const OwnConvSource& source, const VekImage* srcImage,
                             const VekImage* dstImage, bool singleChannel)
{
    if (plan.depth != VEK_DEPTH_8U || plan.nKernels != 1 || source.nCols != 3 || source.nRows != 3) return false;
    if (plan.kernel[0].accumClass != OWN_CLASS_16 || srcImage->maskROI || dstImage->maskROI) return false;
    if (singleChannel || srcImage->dataOrder != VEK_DATA_ORDER_PIXEL) return true;
    return srcImage->alphaChannel == 0 && dstImage->alphaChannel == 0 &&
           (srcImage->nChannels == 1 || srcImage->nChannels == 3);
}

static void ownConvolve(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage,
                        const OwnConvSource* source, int32_t nKernels, int32_t combineMethod)
{
    const OwnConvChannels channels = ownConvChannels(srcImage, dstImage);
    if (channels.isNothing || ownMaskedRegion(srcImage).width == 0 || ownMaskedRegion(dstImage).width == 0) return;
    OWN_REFUSE_TEXT_IF(channels.from.count != channels.to.count, "Uncompatible images");

    OwnConvPlan plan;
    const bool isPlanned = ownPlanConv(&plan, srcImage->depth, source, nKernels, combineMethod);
    OWN_FAIL_IF(!isPlanned, VEK_StatusNoMemory, "Allocation failure");
    if (ownIgnoresMethod(plan, source[0], srcImage, dstImage, channels.from.single)) plan.combineMethod = COMBINE_ADD;

    int32_t borderConst[4];
    ownClampBorders(borderConst, srcImage);
    OwnWindow window = {};
    window.srcImage = srcImage;
    window.dstImage = dstImage;
    window.from = channels.from;
    window.to = channels.to;
    window.left = plan.left;
    window.right = plan.right;
    window.top = plan.top;
    window.bottom = plan.bottom;
    window.borderConst = borderConst;
    window.stage = ownConvStage;
    window.k = &plan;
    window.inTwos = ownConvInTwos(plan);
    window.scratchBytes = plan.pointerBytes;
    window.scratchPerSample = 3 * OWN_SUM_BYTES;
    const OwnWindowEnd end = ownWindow(window);
    ownFree(plan.room);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
    OWN_REFUSE_TEXT_IF(end == OWN_WINDOW_NO_TILE, "(dstImage->tileInfo->tileData == ((void*)(0)))");
}

void vekConvolve2D(const VekImage* srcImage, VekImage* dstImage, VekConvKernel** kernel, int32_t nKernels,
                   int32_t combineMethod)
{
    OWN_FACE("vekConvolve2D", "vekcnv2d");
    if (ownConvRefused(face, srcImage, dstImage, kernel, nKernels, combineMethod)) return;
    OWN_REFUSE_TEXT_IF(srcImage->depth == VEK_DEPTH_32F, "32F images can be processed only with FP kernel");

    OwnConvSource source[OWN_MOST_KERNELS];
    for (int32_t i = 0; i < nKernels; ++i) {
        const VekConvKernel& k = *kernel[i];
        source[i] = {k.nCols, k.nRows, k.anchorX, k.anchorY, k.nShiftR, k.values, nullptr};
    }
    ownConvolve(face, srcImage, dstImage, source, nKernels, combineMethod);
}

void vekConvolve2DFP(const VekImage* srcImage, VekImage* dstImage, VekConvKernelFP** kernel, int32_t nKernels,
                     int32_t combineMethod)
{
    OWN_FACE("vekConvolve2DFP", "vekcnv2d");
    if (ownConvRefused(face, srcImage, dstImage, kernel, nKernels, combineMethod)) return;
    OWN_REFUSE_TEXT_IF(srcImage->depth != VEK_DEPTH_32F, "FP kernel can be used only for 32F images");

    OwnConvSource source[OWN_MOST_KERNELS];
    for (int32_t i = 0; i < nKernels; ++i) {
        const VekConvKernelFP& k = *kernel[i];
        source[i] = {k.nCols, k.nRows, k.anchorX, k.anchorY, 0, nullptr, k.values};
    }
    ownConvolve(face, srcImage, dstImage, source, nKernels, combineMethod);
}
