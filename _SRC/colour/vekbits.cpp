/* vekbits: fewer bits. The stages (lower depth, with or without noise; dither) and the way over the tiles of the destination,
 * each of which goes through the stages by itself. Only error diffusion goes on from tile to tile: there a row of tiles is
 * put together first. */
#include "ownbits.h"

/* What one call does. */
struct OwnReducing {
    const OwnFace* face;
    const VekImage *srcImage, *dstImage;
    const OwnNoise* noise; /* or null */
    int32_t ditherType, levels;
    int nDithered; /* channels */
};

static bool ownIsDiffusion(int32_t ditherType) { return ditherType == 2 || ditherType == 4 || ditherType == 8; }

/* ---- Lower depth ------------------------------------------------------------------------------------------------- */

/* One row after the other: its samples with noise into a line, and from there to the destination. */
static bool ownTakeNoisyRows(const OwnReducing& reducing, const OwnPoint& point, OwnView src, OwnView dst)
{
    const int32_t width = std::min(src.width, dst.width), height = std::min(src.height, dst.height);
    const int32_t nPlanes = src.pixelStep == 1 ? point.channels[0].count : 1;
    const int64_t nSamples = (int64_t)width * src.pixelStep, bytes = nSamples * (src.sampleBits >> 3);
    uint8_t* line = bytes > PTRDIFF_MAX ? nullptr : (uint8_t*)ownAlloc((size_t)bytes);
    const OwnFace& face = *reducing.face;
    OWN_FAIL_IF(!line, VEK_StatusNoMemory, "Out of memory", false);

    OwnPoint row = point;
    row.channels[0].count = row.channels[1].count = point.channels[0].count / nPlanes;
    OwnRun* addNoise = ownNoiseRun(reducing.srcImage->depth, reducing.dstImage->depth);
    for (int32_t plane = 0; plane < nPlanes; ++plane) {
        for (int32_t y = 0; y < height; ++y) {
            const OwnNoiseRow place = {reducing.noise, y};
            OwnView view[2] = {ownCrop(src, 0, y, width, 1), ownCrop(dst, 0, y, width, 1)};
            addNoise(line, view[0].data, nullptr, (ptrdiff_t)nSamples, &place);
            view[0].data = line;
            ownTraverseViews(row, view, nullptr);
        }
        src.data += src.channelStep;
        dst.data += dst.channelStep;
    }
    ownFree(line);
    return true;
}

/* Whether the depths are served. False after a report. */
static bool ownServesDepths(const OwnReducing& reducing)
{
    const OwnFace face = {reducing.noise ? "ownjitter_rect" : "ownReduceBits", reducing.face->file};
    const uint32_t depth = reducing.srcImage->depth;
    return ownReduceRun(depth, reducing.dstImage->depth) || ownRefuseDepths(face, depth);
}

/* The common area of two views in the destination's depth. False after a report. */
static bool ownTakeLower(const OwnReducing& reducing, const OwnView& src, const OwnView& dst)
{
    if (!ownServesDepths(reducing)) return false;
    OwnPoint point = {};
    point.nImages = 2;
    point.channels[0] = point.channels[1] = {0, reducing.dstImage->nChannels, false};
    point.run = ownReduceRun(reducing.srcImage->depth, reducing.dstImage->depth);
    if (reducing.noise) return ownTakeNoisyRows(reducing, point, src, dst);
    const OwnView view[2] = {src, dst};
    ownTraverseViews(point, view, nullptr);
    return true;
}

/* The same with the source's pixels from (x, y) on, as many as dst has. Where these do not lie in the source as they are
 * wanted they are brought into a block. An image that is the destination too is refused before a tile of it is opened again. */
static bool ownTakeSource(const OwnReducing& reducing, int32_t x, int32_t y, const OwnView& dst)
{
    if (!ownServesDepths(reducing)) return false;
    const VekImage& image = *reducing.srcImage;
    if (!image.tileInfo) {
        const OwnView all = ownWholeView(&image);
        if (x <= all.width - dst.width && y <= all.height - dst.height)
            return ownTakeLower(reducing, ownCrop(all, x, y, dst.width, dst.height), dst);
    }
    int32_t rowBytes = 0;
    void* block = vekCopyRectBordered(&image, x, y, dst.width, dst.height, &rowBytes);
    const OwnFace& face = *reducing.face;
    OWN_FAIL_IF(!block, VEK_StatusNoMemory, "Out of memory", false);
    const VekImage source = ownHeaderOn(&image, block, dst.width, dst.height, rowBytes);
    const bool taken = ownTakeLower(reducing, ownWholeView(&source), dst);
    vekFree(block);
    return taken;
}

/* ---- Dither ------------------------------------------------------------------------------------------------------ */

/* Reports what no dither works on. */
static bool ownRefuseDither(const OwnFace& face, const OwnReducing& reducing)
{
    const uint32_t depth = reducing.dstImage->depth;
    OWN_REFUSE_TEXT_IF(depth != VEK_DEPTH_8U && depth != VEK_DEPTH_16U, "errDepthForDithering", true);
    OWN_REFUSE_TEXT_IF(!ownIsDiffusion(reducing.ditherType) && reducing.ditherType != 16, "errDitherOption", true);
    return false;
}

static OwnDiffusion* ownBeginDiffusion(const OwnReducing& reducing)
{
    const VekImage& dst = *reducing.dstImage;
    const uint32_t dropped = ownDroppedBits(ownSampleBits(dst.depth), reducing.levels);
    return ownOpenDiffusion(reducing.ditherType, reducing.nDithered, dst.width, dropped);
}

/* One tile of the destination, or all of it, by itself. An image of other channels than gray or colour stays. */
static void ownDitherTile(const OwnReducing& reducing, const OwnView& view, int64_t xThreshold, int64_t yThreshold)
{
    OwnFace face = {"own_dither_rect", reducing.face->file};
    if (ownRefuseDither(face, reducing) || reducing.nDithered == 0) return;
    face = *reducing.face;
    if (reducing.ditherType == 16) {
        const bool done = ownDitherOrdered(view, reducing.nDithered, reducing.levels, xThreshold, yThreshold);
        OWN_FAIL_IF(!done, VEK_StatusNoMemory, "Out of memory");
        return;
    }
    OwnDiffusion* diffusion = ownBeginDiffusion(reducing);
    OWN_FAIL_IF(!diffusion, VEK_StatusNoMemory, "Out of memory");
    ownDiffuse(diffusion, view);
    ownFree(diffusion);
}

/* ---- Tiles ------------------------------------------------------------------------------------------------------- */

/* A tile that is open: its pixels that lie in the image, and their place. */
struct OwnReducedTile {
    OwnView view;
    int32_t x, y;
    int64_t xThreshold;
};

/* Opens each tile of the destination's row, from left to right; false when one did not come. */
template <class F> static bool ownEachTile(const VekImage* dst, int32_t row, F work)
{
    const VekTileInfo& info = *dst->tileInfo;
    const int64_t stepSamples = ownTileRowBytes(dst) / std::max(ownSampleBits(dst->depth) >> 3, 1);
    for (int32_t column = 0; column <= (dst->width - 1) / info.width; ++column) {
        info.callBack(dst, column, row, VEK_TILE_WRITE);
        if (!info.tileData) return false;
        const VekImage header = ownTileOf(dst);
        OwnReducedTile tile = {ownWholeView(&header), column * info.width, row * info.height, column * stepSamples};
        tile.view.width = std::min(tile.view.width, dst->width - tile.x);
        tile.view.height = std::min(tile.view.height, dst->height - tile.y);
        work(tile);
        info.callBack(dst, column, row, VEK_TILE_RELEASE);
    }
    return true;
}

static int32_t ownTileRowCount(const VekImage* image) { return (image->height - 1) / image->tileInfo->height + 1; }

/* Each tile by itself. */
static void ownReduceTiles(const OwnReducing& reducing, bool dithers)
{
    const auto reduce = [&](const OwnReducedTile& tile) {
        if (ownTakeSource(reducing, tile.x, tile.y, tile.view) && dithers)
            ownDitherTile(reducing, tile.view, tile.xThreshold, tile.y);
    };
    const int32_t nRows = ownTileRowCount(reducing.dstImage);
    for (int32_t row = 0; row < nRows; ++row)
        if (!ownEachTile(reducing.dstImage, row, reduce)) return;
}

/* ---- Error diffusion over tiles ---------------------------------------------------------------------------------- */

/* A row of tiles is reduced into a block as wide as the image, tile by tile, goes through the diffusion, and is brought to
 * the tiles. */
static void ownDiffuseTileRows(const OwnReducing& reducing, OwnDiffusion* diffusion, const VekImage& band)
{
    const VekImage* dst = reducing.dstImage;
    const VekTileInfo& info = *dst->tileInfo;
    const int32_t nRows = ownTileRowCount(dst);
    for (int32_t row = 0; row < nRows; ++row) {
        const int32_t y = row * info.height, height = std::min(info.height, dst->height - y);
        const OwnView all = ownCrop(ownWholeView(&band), 0, 0, dst->width, height);
        for (int32_t x = 0; x < dst->width; x += std::min(info.width, dst->width - x))
            if (!ownTakeSource(reducing, x, y, ownCrop(all, x, 0, std::min(info.width, dst->width - x), height)))
                return;
        ownDiffuse(diffusion, all);
        const bool stored = ownEachTile(dst, row, [&](const OwnReducedTile& tile) {
            ownCopyView(ownCrop(all, tile.x, 0, tile.view.width, height), tile.view, dst->nChannels);
        });
        if (!stored) return;
    }
}

static void ownReduceDiffused(const OwnReducing& reducing)
{
    const VekImage* dst = reducing.dstImage;
    const VekImage band = ownHeaderOnNew(dst, dst->width, dst->tileInfo->height);
    OwnDiffusion* diffusion = band.imageData ? ownBeginDiffusion(reducing) : nullptr;
    if (diffusion) ownDiffuseTileRows(reducing, diffusion, band);
    else ownFail(*reducing.face, VEK_StatusNoMemory, "Out of memory", __LINE__);
    ownFree(diffusion);
    ownFree(band.imageData);
}

/* Where the row of tiles can't come to be, or is not dithered, each tile is reduced by itself. */
static void ownReduceDiffusedTiles(const OwnReducing& reducing)
{
    const OwnFace face = {"own_dither_tiled_errprop", reducing.face->file};
    const uint32_t depth = reducing.dstImage->depth;
    const bool served = ownReduceRun(reducing.srcImage->depth, depth) != nullptr;
    if (served && depth != VEK_DEPTH_1U && reducing.nDithered > 0) return ownReduceDiffused(reducing);
    ownReduceTiles(reducing, false);
    if (served) (void)ownRefuseDither(face, reducing);
}

/* ---- The function ------------------------------------------------------------------------------------------------ */

static void ownReduceImage(const OwnReducing& reducing)
{
    const VekImage *src = reducing.srcImage, *dst = reducing.dstImage;
    const bool dithers = reducing.ditherType != 1;
    if (dst->tileInfo && ownIsDiffusion(reducing.ditherType)) return ownReduceDiffusedTiles(reducing);
    if (dst->tileInfo) return ownReduceTiles(reducing, dithers);
    const OwnView view = ownWholeView(dst);
    if (!src->tileInfo && !dithers && !reducing.noise) (void)ownTakeLower(reducing, ownWholeView(src), view);
    else if (ownTakeSource(reducing, 0, 0, view) && dithers) ownDitherTile(reducing, view, 0, 0);
}

void vekReduceBits(const VekImage* srcImage, VekImage* dstImage, int32_t jitterType, int32_t ditherType, int32_t levels)
{
    OWN_FACE("vekReduceBits", "vekcolor");
    OWN_REFUSE_IF((jitterType<0)||( jitterType >= 9));
    if (ownRefuseColourImages(face, srcImage, dstImage)) return;
    OWN_REFUSE_TEXT_IF(srcImage->roi || dstImage->roi, "src & dst roi must be NULL");
    OWN_REFUSE_TEXT_IF(srcImage->nChannels != dstImage->nChannels || srcImage->dataOrder != dstImage->dataOrder ||
                           srcImage->origin != dstImage->origin,
                       "(src->nChannels != dst->nChannels)||(src->dataOrder != dst->dataOrder)||"
                       "(src->origin != dst->origin)");
    OWN_REFUSE_TEXT_IF(ditherType != 1 && ownDitheredChannels(srcImage) == 0,
                       "colorModel, (channelSeq)  must be RGB,(RGB,BGR) or GRAY,(G) when dithering mode is set on");

    const int bits = ownSampleBits(dstImage->depth);
    OwnNoise noise;
    if (jitterType) ownMakeNoise(&noise, jitterType);
    ownReduceImage({&face, srcImage, dstImage, jitterType ? &noise : nullptr, ditherType,
                    levels > bits ? bits >> 1 : std::max(levels, 0), ownDitheredChannels(dstImage)});
}
