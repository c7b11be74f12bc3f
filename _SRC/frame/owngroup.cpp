/* owngroup: the walk of several images together.
 *
 * The rectangle is cut into blocks on the grid of the first tiled image. For each block every member gets a view, which is
 * a header without tiles: on the image's own pixels, on the one tile that the block lies in, or on a private copy that is
 * read tile by tile. When the work is done, writers' copies go back the way they came, and tiles are released. */
#include "own.h"

void ownGroupBegin(OwnGroup* group)
{
    group->count = 0;
    group->width = group->height = INT32_MAX;
    group->status = VEK_StatusOk;
}

int ownGroupAdd(OwnGroup* group, const VekImage* image, int32_t access)
{
    if (!image) return 0;
    for (int i = 0; i < group->count; ++i) {
        OwnMember& member = group->member[i];
        if (member.image != image) continue;
        member.access = std::max(member.access, access);
        return i + 1;
    }
    OwnMember& member = group->member[group->count++];
    member.image = image;
    member.access = access;
    const VekROI region = ownRegion(image);
    member.x = region.xOffset;
    member.y = region.yOffset;
    member.copy = nullptr;
    member.isOpen = false;
    group->width = std::min(group->width, region.width);
    group->height = std::min(group->height, region.height);
    return group->count;
}

/* ---- Tiles --------------------------------------------------------------------------------------------------- */

/* A block of the rectangle. */
struct OwnBlock {
    int32_t x, y, width, height;
};

static bool ownGroupFail(OwnGroup& group, VekStatus status)
{
    group.status = status;
    return false;
}

static bool ownOpenTile(OwnGroup& group, OwnMember& member, int32_t column, int32_t row, int32_t mode)
{
    member.image->tileInfo->callBack(member.image, column, row, mode);
    if (!member.image->tileInfo->tileData) return ownGroupFail(group, VEK_StatusFailed);
    member.column = column;
    member.row = row;
    member.isOpen = true;
    return true;
}

static void ownReleaseTile(OwnMember& member)
{
    if (!member.isOpen) return;
    member.image->tileInfo->callBack(member.image, member.column, member.row, VEK_TILE_RELEASE);
    member.isOpen = false;
}

/* The private copy's pixels from all tiles that the block touches (VEK_TILE_READ), or back to them (VEK_TILE_WRITE). */
static bool ownMoveBlock(OwnGroup& group, OwnMember& member, const OwnBlock& block, int32_t mode)
{
    VekImage tile = *member.image, part = member.header;
    VekROI inTile = {}, inPart = {};
    tile.roi = &inTile;
    part.roi = &inPart;
    if (!ownTileHeader(member.image, &tile)) return ownGroupFail(group, VEK_StatusBacktrace);
    const int32_t x0 = member.x + block.x, y0 = member.y + block.y;
    for (int32_t y = y0, height; y < y0 + block.height; y += height) {
        inTile.yOffset = y % tile.height;
        height = std::min(tile.height - inTile.yOffset, y0 + block.height - y);
        for (int32_t x = x0, width; x < x0 + block.width; x += width) {
            inTile.xOffset = x % tile.width;
            width = std::min(tile.width - inTile.xOffset, x0 + block.width - x);
            inTile.width = inPart.width = width;
            inTile.height = inPart.height = height;
            inPart.xOffset = x - x0;
            inPart.yOffset = y - y0;
            if (!ownOpenTile(group, member, x / tile.width, y / tile.height, mode)) return false;
            tile.imageData = member.image->tileInfo->tileData;
            const bool reads = mode == VEK_TILE_READ;
            ownCopyView(ownView(reads ? &tile : &part), ownView(reads ? &part : &tile), tile.nChannels);
            ownReleaseTile(member);
        }
    }
    return true;
}

/* ---- Views --------------------------------------------------------------------------------------------------- */

/* A private image of the block's size. */
static bool ownShowCopy(OwnGroup& group, OwnMember& member, const OwnBlock& block)
{
    VekImage& header = member.header;
    header = ownHeaderOnNew(&header, block.width, block.height);
    header.roi = &member.roi;
    member.copy = header.imageData;
    if (!member.copy) return ownGroupFail(group, VEK_StatusNoMemory);
    member.roi.xOffset = member.roi.yOffset = 0;
    return ownMoveBlock(group, member, block, VEK_TILE_READ);
}

/* A view straight on the tile in which the whole block lies. */
static bool ownShowTile(OwnGroup& group, OwnMember& member)
{
    if (!ownTileHeader(member.image, &member.header)) return ownGroupFail(group, VEK_StatusBacktrace);
    const int32_t column = member.roi.xOffset / member.header.width, row = member.roi.yOffset / member.header.height;
    if (!ownOpenTile(group, member, column, row, member.access)) return false;
    member.header.imageData = member.image->tileInfo->tileData;
    member.roi.xOffset %= member.header.width;
    member.roi.yOffset %= member.header.height;
    return true;
}

static bool ownShow(OwnGroup& group, OwnMember& member, const OwnBlock& block)
{
    const VekImage* image = member.image;
    member.header = *image;
    member.header.roi = &member.roi;
    member.roi = {image->roi ? image->roi->coi : 0, member.x + block.x, member.y + block.y, block.width, block.height};
    const VekTileInfo* tile = image->tileInfo;
    if (!tile) return true;
    const VekROI& roi = member.roi;
    const bool oneTile = roi.xOffset / tile->width == (roi.xOffset + block.width - 1) / tile->width &&
                         roi.yOffset / tile->height == (roi.yOffset + block.height - 1) / tile->height;
    return oneTile ? ownShowTile(group, member) : ownShowCopy(group, member, block);
}

/* Ends the views. What has been written goes back, unless the walk has failed. */
static void ownHide(OwnGroup& group, const OwnBlock& block)
{
    for (int i = 0; i < group.count; ++i) {
        OwnMember& member = group.member[i];
        if (member.copy && member.access == VEK_TILE_WRITE && !group.status)
            (void)ownMoveBlock(group, member, block, VEK_TILE_WRITE);
        ownReleaseTile(member);
        ownFree(member.copy);
        member.copy = nullptr;
    }
}

/* ---- The walk ------------------------------------------------------------------------------------------------ */

/* The block's end on one axis: the next line of the grid behind it, or the end of the rectangle. */
static int32_t ownBlockEnd(int32_t from, int32_t end, int32_t corner, int32_t tileSize)
{
    if (!tileSize) return end;
    return (int32_t)std::min<int64_t>(end, from + (int64_t)tileSize - (corner + from) % tileSize);
}

VekStatus ownGroupWalk(OwnGroup* group, OwnGroupWork* work, const void* k)
{
    const OwnMember* grid = nullptr;
    for (int i = group->count - 1; i >= 0; --i)
        if (group->member[i].image->tileInfo) grid = &group->member[i];
    const VekTileInfo none = {}, &tile = grid ? *grid->image->tileInfo : none;
    const int32_t xGrid = grid ? grid->x : 0, yGrid = grid ? grid->y : 0;

    for (int32_t y = 0, yEnd; y < group->height; y = yEnd) {
        yEnd = ownBlockEnd(y, group->height, yGrid, tile.height);
        for (int32_t x = 0, xEnd; x < group->width; x = xEnd) {
            xEnd = ownBlockEnd(x, group->width, xGrid, tile.width);
            const OwnBlock block = {x, y, xEnd - x, yEnd - y};
            for (int i = 0; i < group->count && !group->status; ++i) (void)ownShow(*group, group->member[i], block);
            if (!group->status) work(*group, k);
            ownHide(*group, block);
            if (group->status) return group->status;
        }
    }
    return VEK_StatusOk;
}
