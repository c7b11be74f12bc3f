/* owngrid: the parts of a destination, and the source pixels that each of them needs. */
#include "owngrid.h"

bool ownPixelRect(const VekImage* image, OwnRect* rect)
{
    if (!ownRoiRect(image, rect)) return false;
    if (!image->tileInfo) rect->right = std::min(rect->right, ownWholeView(image).width - 1);
    return rect->left <= rect->right;
}

const VekImage* ownHeldToRows(const VekImage* image, VekImage* held)
{
    if (image->tileInfo) return image;
    *held = *image;
    held->width = ownWholeView(image).width;
    return held->width > 0 ? held : nullptr;
}

/* As many pixels as a rectangle has, from (x, y) of the image on, or of a block that is laid out like one. */
static OwnView ownViewAt(const VekImage* image, const OwnRect& rect, int32_t x, int32_t y)
{
    return ownCrop(ownWholeView(image), x, y, rect.right - rect.left + 1, rect.bottom - rect.top + 1);
}

/* The part of the grid's tile that lies in the rectangle; the tile is open. */
static OwnView ownTilePart(const VekImage* image, const OwnGrid& grid)
{
    const VekImage tile = ownTileOf(image);
    return ownViewAt(&tile, grid.part, grid.part.left - grid.column * grid.width,
                     grid.part.top - grid.row * grid.height);
}

/* ---- The destination's parts --------------------------------------------------------------------------------- */

static constexpr int32_t OWN_PART_SIZE = 128;

OwnGrid ownGrid(const VekImage* dstImage, const OwnRect& rect, bool srcHasTiles)
{
    OwnGrid grid = {dstImage, rect, {}, 0, 0, 0, -1, {}};
    if (dstImage->tileInfo) {
        grid.width = dstImage->tileInfo->width;
        grid.height = dstImage->tileInfo->height;
    } else if (srcHasTiles) {
        grid.width = grid.height = OWN_PART_SIZE;
    } else {
        grid.width = dstImage->width;
        grid.height = dstImage->height;
    }
    return grid;
}

bool ownNextPart(OwnGrid* grid)
{
    const OwnRect& rect = grid->rect;
    if (grid->row < 0) {
        grid->row = rect.top / grid->height;
        grid->column = rect.left / grid->width;
    } else if ((++grid->column) > rect.right / grid->width) {
        grid->column = rect.left / grid->width;
        ++grid->row;
    }
    if (grid->row > rect.bottom / grid->height) return false;
    const int64_t x = (int64_t)grid->column * grid->width, y = (int64_t)grid->row * grid->height;
    grid->part.left = (int32_t)std::max<int64_t>(rect.left, x);
    grid->part.top = (int32_t)std::max<int64_t>(rect.top, y);
    grid->part.right = (int32_t)std::min<int64_t>(rect.right, x + grid->width - 1);
    grid->part.bottom = (int32_t)std::min<int64_t>(rect.bottom, y + grid->height - 1);
    return true;
}

bool ownOpenPart(OwnGrid* grid)
{
    const VekImage* image = grid->image;
    const OwnRect& part = grid->part;
    if (!image->tileInfo) {
        grid->view = ownViewAt(image, part, part.left, part.top);
        return true;
    }
    image->tileInfo->callBack(image, grid->column, grid->row, VEK_TILE_WRITE);
    if (!image->tileInfo->tileData) return false;
    grid->view = ownTilePart(image, *grid);
    return true;
}

void ownClosePart(const OwnGrid* grid)
{
    const VekImage* image = grid->image;
    if (image->tileInfo) image->tileInfo->callBack(image, grid->column, grid->row, VEK_TILE_RELEASE);
}

/* ---- The source's windows ------------------------------------------------------------------------------------ */

/* Copies what the rectangle has in the image's tiles. False when one is not delivered. */
static bool ownCopyTiles(const VekImage* image, const OwnRect& rect, const VekImage& block)
{
    OwnGrid grid = {image, rect, {}, image->tileInfo->width, image->tileInfo->height, 0, -1, {}};
    while (ownNextPart(&grid)) {
        const OwnRect& part = grid.part;
        image->tileInfo->callBack(image, grid.column, grid.row, VEK_TILE_READ);
        if (!image->tileInfo->tileData) return false;
        ownCopyView(ownTilePart(image, grid), ownViewAt(&block, part, part.left - rect.left, part.top - rect.top),
                    image->nChannels);
        image->tileInfo->callBack(image, grid.column, grid.row, VEK_TILE_RELEASE);
    }
    return true;
}

OwnFetch ownFetchPixels(const VekImage* image, const OwnRect& rect, OwnFetched* window)
{
    *window = {rect, {}, nullptr};
    if (!image->tileInfo) {
        window->view = ownViewAt(image, rect, rect.left, rect.top);
        return OWN_FETCHED;
    }
    const int32_t width = rect.right - rect.left + 1, height = rect.bottom - rect.top + 1;
    const VekImage block = ownHeaderOnNew(image, width, height);
    window->block = block.imageData;
    if (!window->block) return OWN_FETCH_NO_MEMORY;
    window->view = ownWholeView(&block);
    if (ownCopyTiles(image, rect, block)) return OWN_FETCHED;
    ownFreeFetched(window);
    return OWN_FETCH_NO_TILE;
}

void ownFreeFetched(OwnFetched* window)
{
    ownFree(window->block);
    window->block = nullptr;
}

/* ---- Both ---------------------------------------------------------------------------------------------------- */

bool ownOpenBoth(const OwnFace& face, const OwnTileTexts& texts, const VekImage* srcImage, const OwnRect& srcRect,
                 OwnFetched* window, OwnGrid* grid)
{
    const OwnFetch fetch = ownFetchPixels(srcImage, srcRect, window);
    OWN_FAIL_IF(fetch == OWN_FETCH_NO_TILE, texts.srcStatus, texts.srcText, false);
    OWN_FAIL_IF(fetch == OWN_FETCH_NO_MEMORY, VEK_StatusBacktrace, "", false);
    if (ownOpenPart(grid)) return true;
    ownFreeFetched(window);
    OWN_FAIL_IF(true, texts.dstStatus, texts.dstText, false);
    return true;
}

void ownCloseBoth(OwnFetched* window, const OwnGrid* grid)
{
    ownFreeFetched(window);
    ownClosePart(grid);
}
