/* owngrid.h: tiles for operations that bring pixels from one place to another.
 *
 * The rectangle that is written is visited part by part, each within one tile of the destination; what a part needs of the
 * source is fetched as one rectangle. Images without tiles go through the same two records: one part, no copy. */
#ifndef OWNGRID_H
#define OWNGRID_H

#include "ownquad.h"

/* The region's rectangle, less what the rows of an image without tiles are too short for. */
bool ownPixelRect(const VekImage* image, OwnRect* rect);

/* An image as far as its rows reach: where they are too short for its width, a private header of what they hold. Null when
 * they hold no pixel. */
const VekImage* ownHeldToRows(const VekImage* image, VekImage* held);

/* What the operation says when a tile's callback delivers nothing. */
struct OwnTileTexts {
    VekStatus srcStatus;
    const char* srcText;
    VekStatus dstStatus;
    const char* dstText;
};

/* The parts of a rectangle, row by row. A destination without tiles is one part, or, when its source has tiles, is cut
 * into parts of 128 x 128 for the source's sake. */
struct OwnGrid {
    const VekImage* image;
    OwnRect rect; /* all of it, in image coordinates */
    OwnRect part; /* the part now visited */
    int32_t width, height, column, row;
    OwnView view; /* the open part: data at its first pixel */
};

OwnGrid ownGrid(const VekImage* dstImage, const OwnRect& rect, bool srcHasTiles);
bool ownNextPart(OwnGrid* grid);

/* Gives the grid's view its pixels. False when the tile is not to be had. */
bool ownOpenPart(OwnGrid* grid);
void ownClosePart(const OwnGrid* grid);

/* Pixels of a rectangle of an image, all channels: in place, or as a copy when they come by tiles. */
struct OwnFetched {
    OwnRect rect;
    OwnView view; /* data at the rectangle's first pixel; width and height are the rectangle's */
    void* block;
};

/* Each tile is opened once, row by row. On failure nothing is held. */
enum OwnFetch { OWN_FETCHED, OWN_FETCH_NO_TILE, OWN_FETCH_NO_MEMORY };
OwnFetch ownFetchPixels(const VekImage* srcImage, const OwnRect& rect, OwnFetched* window);
void ownFreeFetched(OwnFetched* window);

/* Fetches for the grid's part and opens it; what fails is reported, and false returned with nothing held. */
bool ownOpenBoth(const OwnFace& face, const OwnTileTexts& texts, const VekImage* srcImage, const OwnRect& srcRect,
                 OwnFetched* window, OwnGrid* grid);
void ownCloseBoth(OwnFetched* window, const OwnGrid* grid);

#endif
