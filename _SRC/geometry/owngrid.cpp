/* owngrid: the parts of a destination, and the source pixels that each of them needs. */
#include "owngrid.h"

bool ownPixelRect(const VekImage* image, OwnRect* rect)
{
    if (!ownRoiRect(image, rect)) return false;
    if (!image->tileInfo) rect->right = std::min(rect->right, ownWholeView(image).width - 1);
    return rect->left <= rect->right;
}

/* The whole image, or a block that is laid out like one, as a view moved to a pixel. */
static OwnView ownViewAt(const VekImage* image, const OwnRect& rect, int64_t x, int64_t y)
{
    OwnView view = ownWholeView(image);
    const int64_t xBits = x * view.pixelStep * view.sampleBits;
    view.data += y * view.rowStep + (ptrdiff_t)(xBits >> 3);
    view.bit = (int)(xBits & 7);
    view.width = rect.right - rect.left + 1;
    view.height = rect.bottom - rect.top + 1;
    return view;
}

/* A header over a block of pixels in the layout of the image. */
static VekImage ownBlockHeader(const VekImage* image, uint8_t* block, int32_t width, int32_t height, int32_t rowBytes)
{
    VekImage header = *image;
    header.roi = nullptr;
    header.tileInfo = nullptr;
    header.imageData = block;
    header.width = width;
    header.height = height;
    header.widthStep = rowBytes;
    return header;
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
    const VekImage tile = ownBlockHeader(image, image->tileInfo->tileData, grid->width, grid->height,
                                         ownTileRowBytes(image));
    grid->view = ownViewAt(&tile, part, part.left - (int64_t)grid->column * grid->width,
                           part.top - (int64_t)grid->row * grid->height);
    return true;
}

void ownClosePart(const OwnGrid* grid)
{
    const VekImage* image = grid->image;
    if (image->tileInfo) image->tileInfo->callBack(image, grid->column, grid->row, VEK_TILE_RELEASE);
}

/* ---- The source's windows ------------------------------------------------------------------------------------ */

/* Rows of `width` pixels, all planes, from one view to another. Bits of a row begin anywhere in a byte. */
static void ownCopyPart(const OwnView& from, const OwnView& to, int32_t nPlanes, int32_t width, int32_t height)
{
    for (int32_t plane = 0; plane < nPlanes; ++plane)
        for (int32_t y = 0; y < height; ++y) {
            const uint8_t* a = from.data + plane * from.channelStep + y * from.rowStep;
            uint8_t* out = to.data + plane * to.channelStep + y * to.rowStep;
            if (from.sampleBits > 1) {
                memcpy(out, a, (size_t)width * (size_t)from.pixelStep * (size_t)(from.sampleBits >> 3));
                continue;
            }
            for (int32_t x = 0; x < width; ++x) {
                const int32_t i = from.bit + x, j = to.bit + x;
                const int one = a[i >> 3] >> (7 - (i & 7)) & 1, place = 7 - (j & 7);
                out[j >> 3] = (uint8_t)((out[j >> 3] & ~(1 << place)) | one << place);
            }
        }
}

/* Copies what the rectangle has in the image's tiles. False when one is not delivered. */
static bool ownCopyTiles(const VekImage* image, const OwnRect& rect, const VekImage& block)
{
    OwnGrid grid = {image, rect, {}, image->tileInfo->width, image->tileInfo->height, 0, -1, {}};
    const int32_t rowBytes = ownTileRowBytes(image);
    const int32_t nPlanes = image->dataOrder == VEK_DATA_ORDER_PIXEL ? 1 : image->nChannels;
    while (ownNextPart(&grid)) {
        const OwnRect& part = grid.part;
        image->tileInfo->callBack(image, grid.column, grid.row, VEK_TILE_READ);
        if (!image->tileInfo->tileData) return false;
        const VekImage tile = ownBlockHeader(image, image->tileInfo->tileData, grid.width, grid.height, rowBytes);
        const OwnView from = ownViewAt(&tile, part, part.left - (int64_t)grid.column * grid.width,
                                       part.top - (int64_t)grid.row * grid.height);
        const OwnView to = ownViewAt(&block, part, part.left - rect.left, part.top - rect.top);
        ownCopyPart(from, to, nPlanes, from.width, from.height);
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
    const int64_t rowBytes = ownRowBytes(image, width), rows = ownRowCount(image, height);
    if (rowBytes > INT32_MAX || rows > PTRDIFF_MAX / 2 / rowBytes) return OWN_FETCH_NO_MEMORY;
    window->block = ownAlloc((size_t)(rows * rowBytes));
    if (!window->block) return OWN_FETCH_NO_MEMORY;
    const VekImage block = ownBlockHeader(image, (uint8_t*)window->block, width, height, (int32_t)rowBytes);
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
