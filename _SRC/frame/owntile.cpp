/* owntile: the walk of an operation over images whose pixels come tile by tile.
 *
 * The common rectangle is cut into bands of rows and these into pieces, at the next tile boundary of any image, so that
 * each piece lies within one tile of every image. A piece is given to the traversal under private headers without tiles.
 * Per band the tiles of an image are opened from left to right, at most one at a time. */
#include "own.h"

/* The tile of an image that is open now, and the pixels that it covers (half-open). */
struct OwnCursor {
    int32_t width, height;
    int32_t column, row, firstColumn;
    int64_t x1, y1;
};

/* One image on the walk. An image that another one stands for (the destination in place, or the first of two equal
 * sources) has no cursor of its own and takes the other's private header. */
struct OwnWalker {
    const VekImage* image;
    int standIn; /* index of the image whose header is used, its own as a rule */
    bool tiled;
    int32_t openMode;
    const char *missing, *kept; /* texts: tile not delivered, tileData not cleared on release */
    OwnCursor cursor;
    int64_t x, y, x1, y1; /* the next pixel, and the end of the rectangle */
    VekImage header;      /* the private header and its region */
    VekROI roi;
};

struct OwnTexts {
    const char *missing, *kept;
};
static const OwnTexts ownTexts2[2] = {
    {"(srcImage->tileInfo->tileData == ((void*)(0)))", "(srcImage->tileInfo->tileData != ((void*)(0)))"},
    {"(dstImage->tileInfo->tileData == ((void*)(0)))", "(dstImage->tileInfo->tileData != ((void*)(0)))"},
};
static const OwnTexts ownTexts3[3] = {
    {"(srcImageA->tileInfo->tileData == ((void*)(0)))", "(srcImageA->tileInfo->tileData != ((void*)(0)))"},
    {"(srcImageB->tileInfo->tileData == ((void*)(0)))", "(srcImageB->tileInfo->tileData != ((void*)(0)))"},
    {"(dstImage->tileInfo->tileData == ((void*)(0)))", "(dstImage->tileInfo->tileData != ((void*)(0)))"},
};

struct OwnWalk {
    const OwnPoint* point;
    int nImages;  /* the point's images */
    int nWalkers; /* and the mask, if there is one */
    OwnWalker walker[4];
};

/* ---- Set-up -------------------------------------------------------------------------------------------------- */

/* What a header's region leaves of its image on one axis; negative when the region lies beyond it. */
static int64_t ownExtent(int32_t offset, int32_t size, int32_t imageSize)
{
    return std::min<int64_t>(size, (int64_t)imageSize - offset);
}

/* Places the walker on its region and returns the region's width and height through the references. */
static void ownPlace(OwnWalker& w, const VekImage* image, int64_t& width, int64_t& height)
{
    const VekROI whole = {0, 0, 0, image->width, image->height};
    const VekROI& roi = image->roi ? *image->roi : whole;
    w.image = image;
    w.x = roi.xOffset;
    w.y = roi.yOffset;
    width = std::min(width, ownExtent(roi.xOffset, roi.width, image->width));
    height = std::min(height, ownExtent(roi.yOffset, roi.height, image->height));
    w.tiled = image->tileInfo != nullptr;
    w.header = *image;
    w.roi = {roi.coi, 0, 0, 0, 0};
    w.header.roi = &w.roi;
}

/* Puts the cursor on the tile of the walker's first pixel. False when the image has no such tile. */
static bool ownStartCursor(OwnWalker& w)
{
    const VekTileInfo& tile = *w.image->tileInfo;
    if (w.x >= w.image->width || w.y >= w.image->height) {
        const int64_t columns = ((int64_t)w.image->width + tile.width - 1) / tile.width;
        const int64_t rows = ((int64_t)w.image->height + tile.height - 1) / tile.height;
        if (w.x / tile.width >= columns || w.y / tile.height >= rows) return false;
    }
    const int32_t column = (int32_t)(w.x / tile.width), row = (int32_t)(w.y / tile.height);
    w.cursor = {tile.width, tile.height, column, row, column, 0, ((int64_t)row + 1) * tile.height};

    (void)ownTileHeader(w.image, &w.header);
    return true;
}

/* Which image stands for image i: a source that is the destination is the destination's, one that is an earlier source
 * is that one's. */
static int ownStandIn(const OwnPoint& point, int i)
{
    const int dst = point.nImages - 1;
    if (point.image[i] == point.image[dst]) return dst;
    for (int j = 0; j < i; ++j)
        if (point.image[j] == point.image[i]) return j;
    return i;
}

/* False when there is nothing to visit. */
static bool ownStartWalk(OwnWalk& walk, const OwnPoint& point, const VekImage* mask)
{
    const OwnTexts* texts = point.nImages == 2 ? ownTexts2 : ownTexts3;
    int64_t width = INT32_MAX, height = INT32_MAX;
    walk.point = &point;
    walk.nImages = walk.nWalkers = point.nImages;
    for (int i = 0; i < point.nImages; ++i) {
        OwnWalker& w = walk.walker[i];
        ownPlace(w, point.image[i], width, height);
        w.standIn = ownStandIn(point, i);
        w.openMode = i == point.nImages - 1 ? VEK_TILE_WRITE : VEK_TILE_READ;
        w.missing = point.missing ? point.missing[i] : texts[i].missing;
        w.kept = texts[i].kept;
    }
    if (mask) {
        OwnWalker& w = walk.walker[walk.nWalkers];
        ownPlace(w, mask, width, height);
        w.standIn = walk.nWalkers++;
    }
    if (height < 1) return false;
    for (int i = 0; i < walk.nWalkers; ++i) {
        OwnWalker& w = walk.walker[i];
        w.x1 = w.x + width;
        w.y1 = w.y + height;
        if (w.tiled && !ownStartCursor(w)) return false;
    }
    return true;
}

/* ---- Opening and releasing tiles ----------------------------------------------------------------------------- */

static bool ownOpen(const OwnWalk& walk, OwnWalker& w)
{
    OwnCursor& c = w.cursor;
    w.image->tileInfo->callBack(w.image, c.column, c.row, w.openMode);
    w.header.imageData = w.image->tileInfo->tileData;
    c.x1 = ((int64_t)c.column + 1) * c.width;
    const OwnFace& face = *walk.point->face;
    OWN_FAIL_IF(w.header.imageData == nullptr, walk.point->missingStatus, w.missing, false);
    return true;
}

static bool ownRelease(const OwnWalk& walk, const OwnWalker& w)
{
    w.image->tileInfo->callBack(w.image, w.cursor.column, w.cursor.row, VEK_TILE_RELEASE);
    const OwnFace& face = *walk.point->face;
    OWN_REFUSE_TEXT_IF(walk.point->clearedOnRelease && w.image->tileInfo->tileData != nullptr, w.kept, false);
    return true;
}

/* Opens the band's first tile of the image. */
static bool ownOpenBand(const OwnWalk& walk, OwnWalker& w)
{
    OwnCursor& c = w.cursor;
    if (w.y >= c.y1) {
        ++c.row;
        c.y1 += c.height;
    }
    c.column = c.firstColumn;
    return ownOpen(walk, w);
}

/* Goes on to the next tile to the right when the walker has left its tile. */
static bool ownNextTile(const OwnWalk& walk, OwnWalker& w, int64_t x)
{
    if (x < w.cursor.x1) return true;
    if (!ownRelease(walk, w)) return false;
    ++w.cursor.column;
    return ownOpen(walk, w);
}

/* ---- Bands and pieces ---------------------------------------------------------------------------------------- */

static void ownTraversePiece(OwnWalk& walk, int64_t xDone, int64_t width, int64_t height)
{
    const VekImage* image[4];
    for (int i = 0; i < walk.nWalkers; ++i) {
        OwnWalker& w = walk.walker[walk.walker[i].standIn];
        const int64_t xTile = w.tiled ? w.cursor.x1 - w.cursor.width : 0,
                      yTile = w.tiled ? w.cursor.y1 - w.cursor.height : 0;
        w.roi.xOffset = (int32_t)(w.x + xDone - xTile);
        w.roi.yOffset = (int32_t)(w.y - yTile);
        w.roi.width = (int32_t)width;
        w.roi.height = (int32_t)height;
        image[i] = &w.header;
    }
    const VekImage* mask = walk.nWalkers > walk.nImages ? image[walk.nImages] : nullptr;
    (walk.point->piece ? walk.point->piece : ownTraverse)(*walk.point, image, mask);
}

/* The pieces of one band, from left to right. */
static bool ownWalkBand(OwnWalk& walk, int64_t height)
{
    const int64_t total = walk.walker[0].x1 - walk.walker[0].x;
    for (int64_t done = 0; done < total;) {
        int64_t width = total - done;
        for (int i = 0; i < walk.nImages; ++i) {
            OwnWalker& w = walk.walker[i];
            if (w.standIn != i || !w.tiled) continue;
            if (!ownNextTile(walk, w, w.x + done)) return false;
            width = std::min(width, w.cursor.x1 - (w.x + done));
        }
        ownTraversePiece(walk, done, width, height);
        done += width;
    }
    return true;
}

bool ownTileWalk(const OwnPoint& point, const VekImage* mask)
{
    OwnWalk walk;
    if (!ownStartWalk(walk, point, mask)) return true;
    while (walk.walker[0].y < walk.walker[0].y1) {
        int64_t height = walk.walker[0].y1 - walk.walker[0].y;
        for (int i = 0; i < walk.nImages; ++i) {
            OwnWalker& w = walk.walker[i];
            if (w.standIn != i || !w.tiled) continue;
            if (!ownOpenBand(walk, w)) return false;
            height = std::min(height, w.cursor.y1 - w.y);
        }
        if (!ownWalkBand(walk, height)) return false;
        for (int i = 0; i < walk.nImages; ++i)
            if (walk.walker[i].standIn == i && walk.walker[i].tiled && !ownRelease(walk, walk.walker[i])) return false;
        for (int i = 0; i < walk.nWalkers; ++i) walk.walker[i].y += height;
    }
    return true;
}
