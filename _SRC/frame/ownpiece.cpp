/* ownpiece: a rectangle of one or two images piece by piece, for the operations that open each tile for one piece alone: those
 * that call themselves on private headers, and those that turn the rows around. */
#include "own.h"

/* ---- The walk ------------------------------------------------------------------------------------------------ */

/* The image's row that goes with the walk's row y. */
static int64_t ownRowOf(const OwnPieces& walk, const OwnPart& part, int64_t y)
{
    return part.reversed ? (int64_t)part.y + walk.height - 1 - y : part.y + y;
}

/* Cuts the piece at the next tile boundary of one image. */
static void ownCutPiece(OwnPieces& walk, const OwnPart& part)
{
    const VekTileInfo* tile = part.image->tileInfo;
    if (!tile) return;
    const int64_t row = ownRowOf(walk, part, walk.y) % tile->height;
    const int64_t columns = tile->width - ((int64_t)part.x + walk.x) % tile->width;
    walk.nColumns = (int32_t)std::min<int64_t>(walk.nColumns, columns);
    walk.nRows = (int32_t)std::min<int64_t>(walk.nRows, part.reversed ? row + 1 : tile->height - row);
}

/* Places the private header of one image on the piece, over the image's own pixels or over those of the tile. */
static void ownPlacePart(OwnPieces& walk, int i)
{
    const OwnPart& part = walk.part[i];
    const VekTileInfo* tile = part.image->tileInfo;
    const int64_t x = (int64_t)part.x + walk.x;
    const int64_t y = ownRowOf(walk, part, part.reversed ? walk.y + walk.nRows - 1 : walk.y);
    VekImage& header = walk.header[i];
    header = *part.image;
    header.roi = &walk.roi[i];
    header.maskROI = nullptr;
    walk.roi[i] = {part.image->roi ? part.image->roi->coi : 0, (int32_t)(tile ? x % tile->width : x),
                   (int32_t)(tile ? y % tile->height : y), walk.nColumns, walk.nRows};
    if (tile) (void)ownTileHeader(part.image, &header);
}

/* Calls for the tile that the private header is placed on. */
static void ownCallTile(const OwnPieces& walk, int i, int mode)
{
    const OwnPart& part = walk.part[i];
    const VekTileInfo* tile = part.image->tileInfo;
    const int64_t column = ((int64_t)part.x + walk.x) / tile->width, row = ownRowOf(walk, part, walk.y) / tile->height;
    tile->callBack(part.image, (int32_t)column, (int32_t)row, mode);
}

static bool ownOpenPart(OwnPieces& walk, int i)
{
    const OwnPart& part = walk.part[i];
    ownPlacePart(walk, i);
    if (!part.image->tileInfo) return true;
    ownCallTile(walk, i, part.mode);
    walk.header[i].imageData = part.image->tileInfo->tileData;
    if (walk.header[i].imageData) return true;
    walk.failed = true;
    if (part.missing) ownFail(*walk.face, part.status, part.missing, __LINE__);
    return false;
}

bool ownOpenPiece(OwnPieces& walk)
{
    if (walk.failed || walk.width < 1 || walk.y >= walk.height) return false;
    walk.nColumns = walk.width - walk.x;
    walk.nRows = walk.height - walk.y;
    for (int i = 0; i < walk.nParts; ++i) ownCutPiece(walk, walk.part[i]);
    for (int i = 0; i < walk.nParts; ++i)
        if (!ownOpenPart(walk, walk.opensFirst ? walk.nParts - 1 - i : i)) return false;
    return true;
}

void ownClosePiece(OwnPieces& walk)
{
    for (int i = 0; i < walk.nParts; ++i)
        if (walk.part[i].image->tileInfo) ownCallTile(walk, i, VEK_TILE_RELEASE);
    walk.x += walk.nColumns;
    if (walk.x < walk.width) return;
    walk.x = 0;
    walk.y += walk.nRows;
}

/* ---- Staged images ------------------------------------------------------------------------------------------- */

void ownReleaseStaged(VekImage* staged) { vekDeallocate(staged, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }

/* Brings the rectangle into the staged image. */
static bool ownFillStaged(const OwnPart& part, const OwnFace& face, VekImage* staged)
{
    OwnPart to = {staged, 0, 0, false, VEK_TILE_WRITE, VEK_StatusOk, nullptr};
    OwnPieces walk = {&face, 2, {part, to}, 0, staged->width, staged->height, false, 0, 0, 0, 0, {}, {}};
    while (ownOpenPiece(walk)) {
        ownCopyView(ownView(&walk.header[0]), ownView(&walk.header[1]), staged->nChannels);
        ownClosePiece(walk);
    }
    return !walk.failed;
}

OwnStaged ownStage(const OwnPart& part, const OwnFace& face, int32_t width, int32_t height, VekImage** staged)
{
    const VekImage& image = *part.image;
    *staged = vekCreateImageHeader(image.nChannels, image.alphaChannel, image.depth, image.colorModel, image.channelSeq,
                                   image.dataOrder, image.origin, image.align, width, height, nullptr, nullptr, nullptr,
                                   nullptr);
    if (!*staged) return OWN_STAGE_NO_HEADER;
    vekAllocateImage(*staged, 0, 0);
    const OwnStaged result = !(*staged)->imageData                 ? OWN_STAGE_NO_PIXELS
                             : !ownFillStaged(part, face, *staged) ? OWN_STAGE_NO_TILE
                                                                   : OWN_STAGED;
    if (result == OWN_STAGED) return result;
    ownReleaseStaged(*staged);
    *staged = nullptr;
    return result;
}
