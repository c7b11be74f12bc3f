/* ownmove: the front of copying, filling and exchanging, and their masks. */
#include "ownmove.h"

/* ---- Tests --------------------------------------------------------------------------------------------------- */

/* A test that fails is told and the next one still runs; then a negative status, whoever left it, ends the call. */
bool ownMoveTests(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage)
{
    OWN_REFUSE_HEADER(srcImage, false);
    OWN_REFUSE_HEADER(dstImage, false);
    const bool oneChannel = srcImage->nChannels == 1 && dstImage->nChannels == 1;
    OWN_REPORT_IF(srcImage->depth != dstImage->depth);
    OWN_REPORT_IF(srcImage->origin != dstImage->origin);
    if (srcImage->depth != VEK_DEPTH_1U && !oneChannel) OWN_REPORT_IF(srcImage->dataOrder != dstImage->dataOrder);
    if (vekGetErrStatus() < 0 || srcImage == dstImage) return false;

    /* A reporter may have cleared the status; images that failed a test are left alone all the same. */
    return srcImage->depth == dstImage->depth && srcImage->origin == dstImage->origin &&
           (srcImage->depth == VEK_DEPTH_1U || oneChannel || srcImage->dataOrder == dstImage->dataOrder);
}

/* ---- Rectangle and channels ---------------------------------------------------------------------------------- */

static const VekImage* ownMaskOf(const OwnMove& move, int i)
{
    return i < move.nImages ? move.image[i]->maskROI : nullptr;
}

/* The regions, cut at their images' edges, and those of the masks, laid corner to corner. */
static void ownMoveRectangle(OwnMove* move)
{
    move->width = move->height = INT32_MAX;
    const auto take = [&](const VekROI& region) {
        move->width = std::min(move->width, region.width);
        move->height = std::min(move->height, region.height);
    };
    for (int i = 0; i < move->nImages; ++i) {
        const VekROI region = ownRegion(move->image[i]);
        move->x[i] = region.xOffset;
        move->y[i] = region.yOffset;
        take(region);
        if (ownMaskOf(*move, i)) take(ownRegion(ownMaskOf(*move, i)));
    }
}

/* Alpha can't be what is moved: neither as the only channel nor as the channel of interest. */
static bool ownMovesAlpha(const VekImage* image)
{
    if (!image->alphaChannel) return false;
    return image->nChannels == 1 || (image->roi && image->roi->coi == image->nChannels);
}

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* A mask as the operations of logic are to see it: all of its bits, whatever its own mask says. */
static VekImage ownPlainMask(const VekImage* mask)
{
    VekImage plain = *mask;
    plain.maskROI = nullptr;
    plain.alphaChannel = 0;
    return plain;
}

/* Two masks as one, of their common size. */
static bool ownMergeTwo(const OwnFace& face, const VekImage* maskA, const VekImage* maskB, OwnMove* move)
{
    const VekROI a = ownRegion(maskA), b = ownRegion(maskB);
    VekImage* merged = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G   ", VEK_DATA_ORDER_PLANE_WISE,
                                            maskA->origin, 4, std::min(a.width, b.width), std::min(a.height, b.height),
                                            nullptr, nullptr, nullptr, nullptr);
    if (!merged) return false;
    vekAllocateImage(merged, 0, 0);
    const VekImage plainA = ownPlainMask(maskA), plainB = ownPlainMask(maskB);
    vekAnd(&plainA, &plainB, merged);
    move->mask = move->merged = merged;
    if (vekGetErrStatus() >= 0) return true;
    ownFail(face, VEK_StatusBacktrace, "", __LINE__);
    ownEndMove(move);
    return false;
}

void ownEndMove(OwnMove* move) { vekDeallocate(move->merged, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }

bool ownBeginMove(const OwnFace& face, int nImages, const VekImage* const image[], OwnMove* move)
{
    *move = {};
    move->nImages = nImages;
    for (int i = 0; i < nImages; ++i) move->image[i] = image[i];
    ownMoveRectangle(move);
    if (move->width < 1 || move->height < 1) return false;
    for (int i = 0; i < nImages; ++i) {
        if (ownMovesAlpha(image[i])) return false;
        move->channels[i] = ownChannels(image[i]);
    }
    OWN_FAIL_IF(nImages > 1 && move->channels[0].count != move->channels[1].count, VEK_StatusBadCoi,
                "srcImage COI != dstImage COI", false);

    const VekImage *maskA = ownMaskOf(*move, 0), *maskB = ownMaskOf(*move, 1);
    if (maskA && maskB && maskA != maskB) return ownMergeTwo(face, maskA, maskB, move);
    move->mask = maskA ? maskA : maskB;
    return true;
}

bool ownCutMask(const OwnFace& face, const OwnMove& move, const OwnPieces& walk, OwnCutMask* cut)
{
    cut->block = nullptr;
    if (!move.mask) return true;
    const VekROI* roi = move.mask->roi;
    int32_t rowBytes = 0;
    cut->block = vekCopyRectBordered(move.mask, (roi ? roi->xOffset : 0) + walk.x, (roi ? roi->yOffset : 0) + walk.y,
                                     walk.nColumns, walk.nRows, &rowBytes);
    if (cut->block && vekGetErrStatus() >= 0) {
        const VekImage mask = ownPlainMask(move.mask);
        cut->header = ownHeaderOn(&mask, cut->block, walk.nColumns, walk.nRows, rowBytes);
        cut->header.imageSize = rowBytes * walk.nRows;
        return true;
    }
    ownFail(face, VEK_StatusBacktrace, "", __LINE__);
    ownFreeCut(cut);
    return false;
}

void ownFreeCut(OwnCutMask* cut)
{
    vekFree(cut->block);
    cut->block = nullptr;
}

/* ---- Moving samples ------------------------------------------------------------------------------------------ */

OwnPoint ownCopyPoint(const OwnMove& move, int from, int to)
{
    return ownCopyPoint(ownSampleBits(move.image[to]->depth), move.channels[from], move.channels[to]);
}
