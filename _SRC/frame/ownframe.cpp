/* ownframe: from an operation's arguments to its pixels. Where a region lies, which masks count, and the three steps that
 * every point operation takes after its own tests: channels, masks, and the row of its table. */
#include "own.h"

/* ---- Regions ------------------------------------------------------------------------------------------------- */

/* A region's extent on one axis: what of [offset, offset + size) the image has, never below 0. */
static int32_t ownClip(int32_t offset, int32_t size, int32_t imageSize)
{
    return offset >= imageSize ? 0 : std::min(size, imageSize - offset);
}

static OwnView ownViewOf(const VekImage* image, const VekROI* roi)
{
    const bool planes = image->dataOrder != VEK_DATA_ORDER_PIXEL;
    const int32_t x = roi ? roi->xOffset : 0, y = roi ? roi->yOffset : 0;

    OwnView view;
    view.sampleBits = ownSampleBits(image->depth);
    view.pixelStep = planes ? 1 : image->nChannels;
    view.rowStep = image->widthStep;
    view.channelStep = planes ? image->height * (ptrdiff_t)image->widthStep : view.sampleBits >> 3;
    view.height = ownClip(y, roi ? roi->height : image->height, image->height);

    const int64_t pixelBits = (int64_t)view.sampleBits * view.pixelStep;
    const int64_t rowBits = (int64_t)image->widthStep * 8;
    const bool holdsAll = ownRowBits(image, image->width) <= rowBits;
    const int32_t rowPixels = holdsAll ? image->width : (int32_t)(rowBits / pixelBits);
    view.width = ownClip(x, roi ? roi->width : image->width, rowPixels);
    if (view.width < 1 || view.height < 1) view.width = view.height = 0;

    const int64_t xBits = view.width ? x * pixelBits : 0;
    view.data = view.width ? image->imageData + y * (ptrdiff_t)image->widthStep + (ptrdiff_t)(xBits >> 3)
                           : image->imageData;
    view.bit = (int)(xBits & 7);
    return view;
}

OwnView ownView(const VekImage* image) { return ownViewOf(image, image->roi); }

OwnView ownWholeView(const VekImage* image) { return ownViewOf(image, nullptr); }

/* Moves a view to another pixel as its first. */
static void ownMoveView(OwnView& view, int64_t x, int64_t y)
{
    const int64_t bits = view.bit + x * view.pixelStep * view.sampleBits;
    view.data += (ptrdiff_t)(y * view.rowStep + (bits >> 3));
    view.bit = (int)(bits & 7);
}

OwnView ownCrop(OwnView view, int32_t x, int32_t y, int32_t width, int32_t height)
{
    ownMoveView(view, x, y);
    view.width = width;
    view.height = height;
    return view;
}

OwnView ownReversed(OwnView view)
{
    if (view.height) ownMoveView(view, 0, view.height - 1);
    view.rowStep = -view.rowStep;
    return view;
}

OwnView ownTurned(OwnView view)
{
    if (view.width) ownMoveView(view, view.width - 1, 0);
    view.pixelStep = -view.pixelStep;
    return view;
}

VekROI ownHeaderRegion(const VekImage* image)
{
    VekROI region = image->roi ? *image->roi : VekROI{0, 0, 0, image->width, image->height};
    region.width = ownClip(region.xOffset, region.width, image->width);
    region.height = ownClip(region.yOffset, region.height, image->height);
    if (region.width < 1 || region.height < 1) region.width = region.height = 0;
    return region;
}

VekROI ownRegion(const VekImage* image)
{
    if (image->tileInfo) return ownHeaderRegion(image);
    VekROI region = image->roi ? *image->roi : VekROI{};
    const OwnView view = ownView(image);
    region.width = view.width;
    region.height = view.height;
    return region;
}

VekROI ownMaskedRegion(const VekImage* image)
{
    VekROI region = ownRegion(image);
    if (image->maskROI) {
        const VekROI mask = ownRegion(image->maskROI);
        region.width = std::min(region.width, mask.width);
        region.height = std::min(region.height, mask.height);
    }
    return region;
}

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* out = a AND b, byte by byte. */
static void ownAndBytes(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n, [](uint8_t x, uint8_t y) { return (uint8_t)(x & y); });
}

/* A 1-bit image of the masks' common size; its pixels are the AND of the regions of all masks. */
static VekImage* ownAndMasks(const VekImage* const mask[], int nMasks, int32_t width, int32_t height)
{
    VekImage* merged = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G   ", VEK_DATA_ORDER_PLANE_WISE,
                                            mask[0]->origin, 8, width, height, nullptr, nullptr, nullptr, nullptr);
    if (!merged) return nullptr;
    vekAllocateImage(merged, 0, 0);
    if (!merged->imageData) {
        vekDeallocate(merged, VEK_IMAGE_HEADER);
        return nullptr;
    }
    OwnPoint point = {};
    point.nImages = 3;
    point.run = ownAndBytes;
    for (OwnChannels& channels : point.channels) channels = {0, 1, false};
    const VekImage* image[3] = {mask[0], mask[1], merged};
    ownTraverse(point, image, nullptr);
    image[0] = merged;
    for (int i = 2; i < nMasks; ++i) {
        image[1] = mask[i];
        ownTraverse(point, image, nullptr);
    }
    return merged;
}

OwnMerge ownMergeMasks(const VekImage* const image[], int nImages, OwnMask* mask)
{
    const VekImage* found[3];
    int nMasks = 0;
    for (int i = 0; i < nImages; ++i)
        if (image[i]->maskROI) found[nMasks++] = image[i]->maskROI;

    *mask = {nMasks ? found[0] : nullptr, nullptr};
    if (nMasks < 2) return OWN_MERGED;

    int32_t width = INT32_MAX, height = INT32_MAX;
    for (int i = 0; i < nMasks; ++i) {
        const OwnView view = ownView(found[i]);
        width = std::min(width, view.width);
        height = std::min(height, view.height);
    }
    if (width == 0 || height == 0) return OWN_MERGE_EMPTY;
    mask->image = mask->owned = ownAndMasks(found, nMasks, width, height);
    return mask->owned ? OWN_MERGED : OWN_MERGE_NO_MEMORY;
}

void ownReleaseMask(OwnMask* mask) { vekDeallocate(mask->owned, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }

/* ---- Point operations ---------------------------------------------------------------------------------------- */

/* Over all pixels, with tiles or without. */
static void ownRunPoint(const OwnPoint& point, const VekImage* mask)
{
    for (int i = 0; i < point.nImages; ++i)
        if (point.image[i]->tileInfo) return (void)ownTileWalk(point, mask);
    ownTraverse(point, point.image, mask);
}

void ownPointMasked(OwnPoint& point, const OwnRow* rows)
{
    const OwnFace& face = *point.face;
    OwnMask mask;
    const OwnMerge merge = ownMergeMasks(point.image, point.nImages, &mask);
    if (merge == OWN_MERGE_EMPTY) return;
    OWN_FAIL_IF(merge == OWN_MERGE_NO_MEMORY, VEK_StatusNoMemory, "Out of memory");

    point.run = rows[ownSlot(point.image[point.nImages - 1]->depth)].run;
    if (!point.run) ownFail(face, VEK_StatusBadArg, "This function does not support depth 32F", __LINE__);
    else if (point.channels[point.nImages - 1].count > 0) ownRunPoint(point, mask.image);
    ownReleaseMask(&mask);
}

void ownPoint2(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const OwnRow* rows,
               const void* k)
{
    OwnPoint point = {&face, 2,    {srcImage, dstImage}, {ownChannels(srcImage), ownChannels(dstImage)}, nullptr,
                      k,     false};
    const int32_t nChSrc = point.channels[0].count, nChDst = point.channels[1].count;
    OWN_REFUSE_IF((nChSrc != nChDst));
    ownPointMasked(point, rows);
}

void ownPoint3(const OwnFace& face, const VekImage* srcImageA, const VekImage* srcImageB, const VekImage* dstImage,
               const OwnRow* rows)
{
    OwnPoint point = {&face,
                      3,
                      {srcImageA, srcImageB, dstImage},
                      {ownChannels(srcImageA), ownChannels(srcImageB), ownChannels(dstImage)},
                      nullptr,
                      nullptr,
                      false};
    const int32_t nChSrcA = point.channels[0].count, nChSrcB = point.channels[1].count,
                  nChDst = point.channels[2].count;
    OWN_REFUSE_IF((nChSrcA != nChDst));
    OWN_REFUSE_IF((nChSrcB != nChDst));
    ownPointMasked(point, rows);
}
