/* vekSCE: copying and exchanging the pixels of two images. Filling stands in vekset. */
#include "ownmove.h"
#include "ownsimd.h"

/* ---- Tiles --------------------------------------------------------------------------------------------------- */

/* An operation on two images piece by piece: it is called again on each piece, under private headers and with its part of
 * the mask. */
static void ownMovePieces(const OwnFace& face, const OwnMove& move, int mode, const char* missing,
                          void (*call)(VekImage*, VekImage*))
{
    OwnPieces walk = {};
    walk.face = &face;
    walk.nParts = 2;
    walk.part[0] = {move.image[0], move.x[0], move.y[0], false, mode, VEK_StatusFailed, missing};
    walk.part[1] = {
        move.image[1], move.x[1], move.y[1], false, VEK_TILE_WRITE, VEK_StatusFailed, "Error get tile to write"};
    walk.width = move.width;
    walk.height = move.height;
    while (ownOpenPiece(walk)) {
        OwnCutMask cut;
        const bool isCut = ownCutMask(face, move, walk, &cut);
        walk.header[1].maskROI = cut.image();
        if (isCut) call(&walk.header[0], &walk.header[1]);
        ownFreeCut(&cut);
        ownClosePiece(walk);
        if (!isCut) return;
    }
}

/* ---- Copying ------------------------------------------------------------------------------------------------- */

void vekCopy(const VekImage* srcImage, VekImage* dstImage)
{
    OWN_FACE("vekCopy", "vekSCE");
    OwnMove move;
    const VekImage* image[2] = {srcImage, dstImage};
    if (!ownMoveTests(face, srcImage, dstImage) || !ownBeginMove(face, 2, image, &move)) return;
    if (move.isTiled())
        ownMovePieces(face, move, VEK_TILE_READ, "Error get tile to read",
                      [](VekImage* a, VekImage* b) { vekCopy(a, b); });
    else ownTraverse(ownCopyPoint(move, 0, 1), image, move.mask);
    ownEndMove(&move);
}

/* ---- Exchanging ---------------------------------------------------------------------------------------------- */

/* Both runs change places. */
static void ownSwapRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    ownSwap(out, (void*)a, n * *(const ptrdiff_t*)k);
}

/* Images whose samples lie alike, without a mask, in one go. False: they don't. */
static bool ownExchangeStraight(const OwnMove& move)
{
    const ptrdiff_t bytes = std::max(ownSampleBits(move.image[0]->depth) >> 3, 1);
    OwnPoint point = ownCopyPoint(move, 0, 1);
    point.run = ownSwapRun;
    point.k = &bytes;
    point.copies = false;
    return ownTraverseStraight(point, move.image, move.mask);
}

/* ---- Exchanging through a band ------------------------------------------------------------------------------- */

/* Rows of A that are kept while those of B take their place. */
struct OwnMovedBand {
    VekImage header;
    VekROI roi;
};

static bool ownMakeBand(const OwnMove& move, OwnMovedBand* band)
{
    band->header = ownHeaderOnBand(move.image[0], move.width, move.height);
    band->header.roi = &band->roi;
    return band->header.imageData != nullptr;
}

/* A to the band, B to A, the band to B, some rows at a time. */
static void ownExchangeRows(const OwnMove& move, OwnMovedBand& band)
{
    OwnPoint points[3] = {ownCopyPoint(move, 0, 0), ownCopyPoint(move, 1, 0), ownCopyPoint(move, 0, 1)};
    if (move.image[0]->nChannels <= 4)
        points[0].channels[0] = points[0].channels[1] = {0, move.image[0]->nChannels,
                                                         false}; /* whole pixels are faster */
    VekImage a = *move.image[0], b = *move.image[1], mask = move.mask ? *move.mask : VekImage{};
    VekROI roiA = {0, move.x[0], 0, move.width, 0}, roiB = {0, move.x[1], 0, move.width, 0}, roiMask = {};
    a.roi = &roiA;
    b.roi = &roiB;
    if (move.mask) roiMask = ownRegion(move.mask);
    const int32_t yMask = roiMask.yOffset;
    mask.roi = &roiMask;
    const VekImage* under = move.mask ? &mask : nullptr;
    for (int32_t y = 0; y < move.height; y += band.header.height) {
        const int32_t nRows = std::min(band.header.height, move.height - y);
        roiA.yOffset = move.y[0] + y;
        roiB.yOffset = move.y[1] + y;
        roiMask.yOffset = yMask + y;
        roiA.height = roiB.height = roiMask.height = nRows;
        band.roi = {0, 0, 0, move.width, nRows};
        const VekImage *keep[2] = {&a, &band.header}, *fill[2] = {&b, &a}, *bring[2] = {&band.header, &b};
        ownTraverse(points[0], keep, nullptr);
        ownTraverse(points[1], fill, under);
        ownTraverse(points[2], bring, under);
    }
}

void vekExchange(VekImage* imageA, VekImage* imageB)
{
    OWN_FACE("vekExchange", "vekSCE");
    OwnMove move;
    const VekImage* image[2] = {imageA, imageB};
    if (!ownMoveTests(face, imageA, imageB) || !ownBeginMove(face, 2, image, &move)) return;
    OwnMovedBand band;
    if (move.isTiled()) ownMovePieces(face, move, VEK_TILE_WRITE, "Error get tile to write", vekExchange);
    else if (ownExchangeStraight(move)) return ownEndMove(&move);
    else if (!ownMakeBand(move, &band)) ownFail(face, VEK_StatusNoMemory, "Out of memory", __LINE__);
    else {
        ownExchangeRows(move, band);
        ownFree(band.header.imageData);
    }
    ownEndMove(&move);
}
