/* owncompose: the masks of a composition, its walk, and how their failures are told. */
#include "owncompose.h"

OwnAlpha ownConstantAlpha(const VekImage* dstImage, int32_t value)
{
    const int32_t most = dstImage->depth == VEK_DEPTH_8U ? UINT8_MAX : UINT16_MAX;
    return {true, 0, 0, (uint32_t)std::clamp(value, 0, most)};
}

OwnAlpha ownImageAlpha(OwnGroup* group, const VekImage* image)
{
    return {true, ownGroupAdd(group, image, VEK_TILE_READ), std::max(image->alphaChannel - 1, 0), 0};
}

/* The AND of two masks in a third, whatever their own masks say; false when that failed, which has been reported. A status
 * from before the call is no failure of it, and is there again afterwards. */
static bool ownAndMask(const VekImage* maskA, const VekImage* maskB, VekImage* merged)
{
    const VekStatus before = vekGetErrStatus();
    VekImage a = *maskA, b = *maskB;
    a.maskROI = b.maskROI = nullptr;
    vekSetErrStatus(VEK_StatusOk);
    vekAnd(&a, &b, merged);
    if (vekGetErrStatus() != VEK_StatusOk) return false;
    vekSetErrStatus(before);
    return true;
}

/* A 1-bit image of the rectangle's size, all 0; null when memory is short. */
static VekImage* ownEmptyMask(const OwnGroup& group)
{
    VekImage* mask = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G   ", VEK_DATA_ORDER_PLANE_WISE,
                                          VEK_ORIGIN_TOP_LEFT, 8, group.width, group.height, nullptr, nullptr, nullptr,
                                          nullptr);
    if (!mask) return nullptr;
    vekAllocateImage(mask, 1, 0);
    if (mask->imageData) return mask;
    vekDeallocate(mask, VEK_IMAGE_HEADER);
    return nullptr;
}

/* The one mask of an operation: one that is there, or all of them merged. */
static bool ownMergeAll(const OwnFace& face, const OwnGroup& group, const VekImage* const masks[], int nMasks,
                        OwnMask* mask)
{
    *mask = {nMasks ? masks[0] : nullptr, nullptr};
    if (nMasks < 2) return true;
    VekImage* merged = mask->owned = ownEmptyMask(group);
    OWN_FAIL_IF(!merged, VEK_StatusNoMemory, "No working memory", false);
    mask->image = merged;
    for (int i = 1; i < nMasks; ++i)
        OWN_FAIL_IF(!ownAndMask(i == 1 ? masks[0] : merged, masks[i], merged), VEK_StatusBacktrace,
                    "Bad masks for images", false);
    return true;
}

static void ownReportWalk(const OwnFace& face, VekStatus status)
{
    OWN_FAIL_IF(status == VEK_StatusFailed, VEK_StatusFailed, "ERROR in Tiling callBack");
    OWN_FAIL_IF(status == VEK_StatusNoMemory, VEK_StatusNoMemory, "No working memory");
    OWN_FAIL_IF(status != VEK_StatusOk, VEK_StatusInternal, "Internal tiling error");
}

void ownCompose(const OwnFace& face, OwnGroup* group, OwnBlend* blend)
{
    const VekImage* masks[OWN_GROUP_MOST];
    int nMasks = 0;
    for (int i = 0; i < group->count; ++i)
        if (const VekImage* mask = group->member[i].image->maskROI) masks[nMasks++] = mask;
    for (int imask = 0; imask < nMasks; ++imask) {
        OWN_REFUSE_IF(masks[imask]==0);
        OWN_REFUSE_HEADER(masks[imask]);
        OWN_REFUSE_IF(masks[imask]->alphaChannel > 0 && masks[imask]->alphaChannel != masks[imask]->nChannels);
    }
    for (int i = 0; i < nMasks; ++i) {
        const OwnView view = ownView(masks[i]);
        group->width = std::min(group->width, view.width);
        group->height = std::min(group->height, view.height);
    }
    if (group->width < 1 || group->height < 1) return;

    OwnMask mask;
    if (ownMergeAll(face, *group, masks, nMasks, &mask)) {
        blend->mask = ownGroupAdd(group, mask.image, VEK_TILE_READ);
        ownReportWalk(face, ownGroupWalk(group, ownBlendBlock, blend));
    }
    ownReleaseMask(&mask);
}
