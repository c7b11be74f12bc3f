/* vekdct2d: the orthonormal two-dimensional cosine transform of a whole region, and its inverse. owncosine.h has the
 * formula. */
#include "owncosine.h"

#include "../frame/ownthread.h"

static void ownCosineRelease(VekThreadContext* context)
{
    ownDctReleaseBlocks(context);
    ownDctReleaseTable(context);
    ownDctReleasePlans(context);
}

static bool ownIsBadAlpha(const VekImage* image)
{
    return image->alphaChannel != 0 && image->alphaChannel != image->nChannels;
}

/* Nothing but alpha would be transformed. */
static bool ownIsBadCombination(const VekImage* image)
{
    if (image->alphaChannel == 0) return false;
    return image->nChannels == 1 || (image->roi && image->roi->coi == image->nChannels);
}

/* Alike in the size of the clipped regions, the order of data and the number of channels; and with pixels in one
 * block. */
static bool ownFits(const VekImage* src, const VekImage* dst)
{
    if (src->tileInfo || dst->tileInfo) return false;
    const OwnView a = ownView(src), b = ownView(dst);
    return a.width == b.width && a.height == b.height && src->dataOrder == dst->dataOrder &&
           ownChannels(src).count == ownChannels(dst).count;
}

/* The channels, one by one; false when memory is short, and then nothing is written. */
static bool ownTransformChannels(const OwnCosine& cosine, const VekImage* src, const VekImage* dst)
{
    const bool isBlock = cosine.width == 8 && cosine.height == 8;
    OwnCosineTables tables = {};
    if (!isBlock && !ownCosinePrepare(cosine, &tables)) return false;
    const OwnView srcView = ownView(src), dstView = ownView(dst);
    const OwnChannels srcChannels = ownChannels(src), dstChannels = ownChannels(dst);
    for (int32_t i = 0; i < srcChannels.count; ++i) {
        const OwnPlane in = ownPlane(src, srcView, srcChannels.first + i);
        const OwnPlane out = ownPlane(dst, dstView, dstChannels.first + i);
        if (isBlock) ownCosineBlock(cosine.isForward, in, out);
        else ownCosineRun(cosine, tables, in, out);
    }
    return true;
}

void vekDCT2D(const VekImage* src, VekImage* dst, int32_t flags)
{
    OWN_FACE("vekDCT2D", "vekdct2d");
    if (flags & VEK_DCT_RELEASE) return ownCosineRelease(vekGetThreadContext());
    OWN_REFUSE_IF(src==0);
    OWN_REFUSE_IF(dst==0);
    OWN_REFUSE_HEADER(src);
    OWN_REFUSE_HEADER(dst);
    OWN_REFUSE_TEXT_IF(src == dst, "\nFunction does not support inplace operation");
    OWN_REFUSE_TEXT_IF(src->depth == VEK_DEPTH_1U || dst->depth == VEK_DEPTH_1U,
                       "\nImages with 1u depth are not processed");
    OWN_REFUSE_TEXT_IF(src->depth == VEK_DEPTH_32F || dst->depth == VEK_DEPTH_32F,
                       "\nImages with 32F depth are not processed, sorry");
    OWN_REFUSE_TEXT_IF(ownIsBadAlpha(src) || ownIsBadAlpha(dst),
                       "\nAlpha channel may be 0 or equal to number of channels");
    OWN_REFUSE_TEXT_IF(ownIsBadCombination(src) || ownIsBadCombination(dst),
                       "\nBad combination of alpha, COI and number of channels");
    OWN_REFUSE_TEXT_IF(!ownFits(src, dst), "Images are not compatible");

    const int32_t direction = flags & (VEK_DCT_FORWARD | VEK_DCT_INVERSE);
    if (direction != VEK_DCT_FORWARD && direction != VEK_DCT_INVERSE) return;
    const OwnView view = ownView(src);
    if (view.width == 0) return;
    const OwnCosine cosine = {view.width, view.height, direction == VEK_DCT_FORWARD, vekGetThreadContext()};
    if (ownTransformChannels(cosine, src, dst)) return;
    ownCosineRelease(cosine.context); /* tables of other lengths may be what stands in the way */
    if (ownTransformChannels(cosine, src, dst)) return;
    ownFail(face, VEK_StatusNoMemory, "No working memory", __LINE__);
}
