/* vekmirr: an image mirrored in its rows, its columns, or both. A view whose rows run upward or backward is the mirror; what
 * remains is a copy from that view, or for bits under a mask an AND of it with the mask. */
#include "own.h"

/* ---- The mirror ---------------------------------------------------------------------------------------------- */

/* flipAxis 0 reverses the rows, 1 the columns, -1 both. */
static OwnView ownMirrored(OwnView view, int32_t flipAxis)
{
    if (flipAxis != 1) view = ownReversed(view);
    return flipAxis != 0 ? ownTurned(view) : view;
}

/* One call's rectangle. Views are laid corner to corner and all of its size. */
struct OwnMirror {
    const OwnFace* face;
    int32_t flipAxis, width, height;
    OwnChannels channels[2];
};

/* out = a AND b: under a mask a bit of the result is set only where the source's bit and the mask's are. */
static void ownAndMask(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n, [](uint8_t x, uint8_t y) { return (uint8_t)(x & y); });
}

/* dst = src under the mask (null: none), pixel for pixel. */
static void ownPutMirrored(const OwnMirror& mirror, const OwnView& src, const OwnView* mask, const OwnView& dst)
{
    if (dst.sampleBits > 1 || !mask) return ownCopyView(src, dst, mirror.channels[0], mirror.channels[1], mask);
    OwnPoint point = {};
    point.nImages = 3;
    point.channels[0] = mirror.channels[0];
    point.channels[1] = {0, 1, false};
    point.channels[2] = mirror.channels[1];
    point.run = ownAndMask;
    const OwnView view[3] = {src, *mask, dst};
    ownTraverseViews(point, view, nullptr);
}

/* ---- In place ------------------------------------------------------------------------------------------------ */

/* Bands of rows from above and from below change places, or a band takes its own, each turned as the axis says. The middle
 * row of an odd height takes its own place. Without scratch nothing is done. */
static void ownMirrorInPlace(const OwnMirror& mirror, const OwnView& all, const VekImage* image)
{
    const VekImage header = ownHeaderOnBand(image, mirror.width, mirror.height);
    if (!header.imageData) return;
    const OwnView kept = ownWholeView(&header);
    const auto put = [&](const OwnView& src, const OwnView& dst) {
        ownCopyView(src, dst, mirror.channels[0], mirror.channels[1]);
    };
    for (int32_t y = 0, nRows; y < mirror.height; y += nRows) {
        const int32_t left = mirror.flipAxis == 1 ? mirror.height - y : mirror.height - 2 * y;
        if (left < 1) break;
        nRows = std::min(header.height, mirror.flipAxis == 1 ? left : std::max(left / 2, 1));
        const int32_t other = mirror.flipAxis == 1 ? y : mirror.height - y - nRows;
        const OwnView upper = ownCrop(all, 0, y, mirror.width, nRows),
                      lower = ownCrop(all, 0, other, mirror.width, nRows),
                      band = ownCrop(kept, 0, 0, mirror.width, nRows);
        put(upper, band);
        if (other > y) put(ownMirrored(lower, mirror.flipAxis), upper);
        put(ownMirrored(band, mirror.flipAxis), lower);
    }
    ownFree(header.imageData);
}

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* The mask of the result: that of the source mirrored, that of the destination, or where both are set. The mirrored one is a
 * new image. False when memory is short. */
static bool ownMirrorMask(const OwnMirror& mirror, const VekImage* ofSrc, const VekImage* ofDst, VekImage** owned,
                          OwnView* mask)
{
    *owned = nullptr;
    if (ofDst) *mask = ownCrop(ownView(ofDst), 0, 0, mirror.width, mirror.height);
    if (!ofSrc) return true;
    *owned = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G   ", VEK_DATA_ORDER_PLANE_WISE, ofSrc->origin, 8,
                                  mirror.width, mirror.height, nullptr, nullptr, nullptr, nullptr);
    if (!*owned) return false;
    vekAllocateImage(*owned, 0, 0);
    if (!(*owned)->imageData) {
        vekDeallocateHeader(*owned);
        return false;
    }
    OwnMirror bits = mirror;
    bits.channels[0] = bits.channels[1] = {0, 1, false};
    const OwnView result = ownWholeView(*owned);
    const OwnView from = ownMirrored(ownCrop(ownView(ofSrc), 0, 0, mirror.width, mirror.height), mirror.flipAxis);
    ownPutMirrored(bits, from, ofDst ? mask : nullptr, result);
    *mask = result;
    return true;
}

/* ---- Tiles --------------------------------------------------------------------------------------------------- */

/* The source's rectangle, or a copy of it: of a tiled source, and where the source is the destination. */
static bool ownMirrorSource(const OwnMirror& mirror, const VekImage* srcImage, bool inPlace, VekImage** staged,
                            OwnView* view)
{
    const VekROI region = ownRegion(srcImage);
    *staged = nullptr;
    if (!inPlace && !srcImage->tileInfo) {
        *view = ownCrop(ownView(srcImage), 0, 0, mirror.width, mirror.height);
        return true;
    }
    const OwnFace& face = *mirror.face;
    const OwnPart part = {srcImage,
                          region.xOffset,
                          region.yOffset,
                          false,
                          VEK_TILE_READ,
                          VEK_StatusBadArg,
                          "(srcImage->tileInfo->tileData == ((void *)0))"};
    const OwnStaged result = ownStage(part, face, mirror.width, mirror.height, staged);
    const bool noMemory = result == OWN_STAGE_NO_HEADER || result == OWN_STAGE_NO_PIXELS;
    OWN_FAIL_IF(noMemory && !inPlace, VEK_StatusNoMemory, "Out of memory", false);
    if (result != OWN_STAGED) return false;
    *view = ownWholeView(*staged);
    return true;
}

/* The destination piece by piece; each takes its part of the mirrored view. */
static void ownMirrorPieces(const OwnMirror& mirror, const OwnView& mirrored, const OwnView* mask,
                            const VekImage* dstImage)
{
    const VekROI region = ownRegion(dstImage);
    OwnPieces walk = {};
    walk.face = mirror.face;
    walk.nParts = 1;
    walk.part[0] = {dstImage,
                    region.xOffset,
                    region.yOffset,
                    false,
                    VEK_TILE_WRITE,
                    VEK_StatusBadArg,
                    "(dstImage->tileInfo->tileData == ((void *)0))"};
    walk.width = mirror.width;
    walk.height = mirror.height;
    while (ownOpenPiece(walk)) {
        const auto part = [&](const OwnView& view) { return ownCrop(view, walk.x, walk.y, walk.nColumns, walk.nRows); };
        const OwnView partOfMask = mask ? part(*mask) : OwnView{};
        ownPutMirrored(mirror, part(mirrored), mask ? &partOfMask : nullptr, ownView(&walk.header[0]));
        ownClosePiece(walk);
    }
}

/* ---- The function -------------------------------------------------------------------------------------------- */

/* The size of the rectangle that the regions of both images and of their masks share. */
static void ownMirrorRectangle(const VekImage* srcImage, const VekImage* dstImage, OwnMirror* mirror)
{
    mirror->width = mirror->height = INT32_MAX;
    for (const VekImage* image :
         {srcImage, (const VekImage*)srcImage->maskROI, dstImage, (const VekImage*)dstImage->maskROI}) {
        if (!image) continue;
        const VekROI region = ownRegion(image);
        mirror->width = std::min(mirror->width, region.width);
        mirror->height = std::min(mirror->height, region.height);
    }
}

void vekMirror(const VekImage* srcImage, VekImage* dstImage, int32_t flipAxis)
{
    OWN_FACE("vekMirror", "vekmirr");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_FAIL_IF(srcImage->depth == VEK_DEPTH_32F || dstImage->depth == VEK_DEPTH_32F, VEK_StatusBadDepth,
                "srcImage->depth = 32F");
    OWN_REFUSE_IF((srcImage->depth!=dstImage->depth));
    OWN_REFUSE_IF(((flipAxis>1)||(flipAxis<-1)));
    /* What else could be wrong with alphaChannel and coi, the header's own test has seen to. */
    const bool bits = srcImage->depth == VEK_DEPTH_1U;
    OWN_FAIL_IF(bits && srcImage->alphaChannel, VEK_StatusBad1uChannels, "srcImage->alphaChannel");
    OWN_FAIL_IF(bits && dstImage->alphaChannel, VEK_StatusBad1uChannels, "dstImage->alphaChannel");
    OwnMirror mirror = {&face, flipAxis, 0, 0, {ownChannels(srcImage), ownChannels(dstImage)}};
    OWN_FAIL_IF(mirror.channels[0].count != mirror.channels[1].count, VEK_StatusBadChannels, "");

    ownMirrorRectangle(srcImage, dstImage, &mirror);
    if (mirror.width < 1 || mirror.height < 1) return;
    const bool inPlace = srcImage == dstImage, masked = srcImage->maskROI || dstImage->maskROI;
    if (inPlace && !masked && !srcImage->tileInfo) {
        const OwnView all = ownCrop(ownView(srcImage), 0, 0, mirror.width, mirror.height);
        return ownMirrorInPlace(mirror, all, srcImage);
    }
    VekImage *ownedMask, *staged;
    OwnView mask, src;
    OWN_FAIL_IF(!ownMirrorMask(mirror, srcImage->maskROI, dstImage->maskROI, &ownedMask, &mask), VEK_StatusNoMemory,
                "Out of memory");
    if (ownMirrorSource(mirror, srcImage, inPlace, &staged, &src)) {
        ownMirrorPieces(mirror, ownMirrored(src, flipAxis), masked ? &mask : nullptr, dstImage);
        ownReleaseStaged(staged);
    }
    ownReleaseStaged(ownedMask);
}
