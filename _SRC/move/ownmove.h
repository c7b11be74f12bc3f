/* ownmove.h: what copying, filling and exchanging share and no other family has: a front that goes on after a failed test and
 * then asks the stored status, channels without alpha, and a mask that is cut for each piece of a tiled image. */
#ifndef OWNMOVE_H
#define OWNMOVE_H

#include "own.h"

/* What a call moves, once its tests have passed. */
struct OwnMove {
    int nImages;
    const VekImage* image[2];
    int32_t x[2], y[2]; /* the corner of each region */
    int32_t width, height;
    OwnChannels channels[2];
    const VekImage* mask; /* null: none */
    VekImage* merged;     /* a mask that ownEndMove frees, or null */

    bool isTiled() const { return image[0]->tileInfo || (nImages > 1 && image[1]->tileInfo); }
};

/* The tests of two images that are copied or exchanged. False: the call ends here. */
bool ownMoveTests(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage);

/* The common rectangle, the channels and the mask of one or two images. False: the call ends here. Otherwise ownEndMove
 * must follow. */
bool ownBeginMove(const OwnFace& face, int nImages, const VekImage* const image[], OwnMove* move);
void ownEndMove(OwnMove* move);

/* The point operation that copies samples from image `from` to image `to` of a move. */
OwnPoint ownCopyPoint(const OwnMove& move, int from, int to);

/* The mask's part that goes with a piece, as an image of its own on a new block. False, and a back-trace report, when it
 * can't be had or the stored status is negative. With no mask there is nothing to cut. To be freed by ownFreeCut. */
struct OwnCutMask {
    VekImage header;
    void* block;

    VekImage* image() { return block ? &header : nullptr; }
};
bool ownCutMask(const OwnFace& face, const OwnMove& move, const OwnPieces& walk, OwnCutMask* cut);
void ownFreeCut(OwnCutMask* cut);

#endif
