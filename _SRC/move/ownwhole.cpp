/* ownwhole: the walk over two whole images of one size. */
#include "ownwhole.h"

void ownTakeWhole(const OwnPoint& point, bool asBytes)
{
    const VekImage *srcImage = point.image[0], *dstImage = point.image[1];
    const bool reversed = srcImage->origin != dstImage->origin;
    OwnPieces walk = {};
    walk.face = point.face;
    walk.nParts = 2;
    walk.part[0] = {
        srcImage, 0, 0, false, VEK_TILE_READ, VEK_StatusBadArg, "(srcImage->tileInfo->tileData == ((void *)0))"};
    walk.part[1] = {
        dstImage, 0, 0, reversed, VEK_TILE_WRITE, VEK_StatusBadArg, "(dstImage->tileInfo->tileData == ((void *)0))"};
    walk.opensFirst = 1;
    walk.width = dstImage->width;
    walk.height = dstImage->height;
    while (ownOpenPiece(walk)) {
        OwnView view[2] = {ownView(&walk.header[0]), ownView(&walk.header[1])};
        if (asBytes) view[0] = ownBytesOf(view[0]), view[1] = ownBytesOf(view[1]);
        if (reversed) view[1] = ownReversed(view[1]);
        ownTraverseViews(point, view, nullptr);
        ownClosePiece(walk);
    }
}
