/* ownwarp.h: the warp engine. Destination pixels are visited, in a quadrangle or in a rectangle, and each is pulled from
 * where a mapping says that it comes from.
 *
 * A row of pixels goes through two stages in blocks: positions, by the kind of mapping and its arithmetic, and samples, by
 * depth and interpolation. Both are chosen before the first row. */
#ifndef OWNWARP_H
#define OWNWARP_H

#include "owngrid.h"

enum OwnWarpKind { OWN_WARP_AFFINE, OWN_WARP_BILINEAR, OWN_WARP_PERSPECTIVE };

/* The two engines; tests have passed. The quadrangle lies in the destination and is the source's region there, or it lies
 * in the source and is the destination's region there. Reports under the face's name. */
void ownWarpToQuad(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const double quad[8],
                   int32_t interpolate, OwnWarpKind kind);
void ownWarpFromQuad(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const double quad[8],
                     int32_t interpolate, OwnWarpKind kind);

/* Channels of a warp: false when the image has no view (the alpha channel picked, or alone). Alpha is left out. */
bool ownWarpChannels(const VekImage* image, OwnChannels* channels);

/* Whether channels go by planes: one-channel pairs are taken pixel by pixel whatever their order. */
static inline bool ownGoesByPlanes(const VekImage* srcImage, const VekImage* dstImage)
{
    return srcImage->dataOrder != VEK_DATA_ORDER_PIXEL && !(srcImage->nChannels == 1 && dstImage->nChannels == 1);
}

/* ---- Rows ---------------------------------------------------------------------------------------------------- */

/* A run of a warp over one part of the destination. Positions are counted from an origin in the source (its region's first
 * pixel, or the image's); the window holds indices xLow .. xHigh, yLow .. yHigh of them. */
struct OwnWarpRun {
    /* the mapping */
    OwnWarpKind kind;
    bool forward; /* bilinear: by its coefficients, not by its inverse */
    double c[9];
    OwnBilinearInverse inverse;
    int32_t xOrigin, yOrigin; /* the destination pixel that the mapping calls (0, 0) */
    int32_t yFirst;           /* first row of all: where row sums begin */
    const float* rowStarts;   /* nearest of bytes: X and Y of column 0 of each row */

    /* the source */
    const uint8_t* data; /* the window's first pixel, first channel */
    int bit;
    ptrdiff_t rowStep, pixelStep, channelStep; /* bytes */
    int32_t xLow, xHigh, yLow, yHigh;
    int32_t xLimit, yLimit; /* the image's last column and row */
    bool tests;             /* pixels whose index lies outside `inside` keep their values */
    OwnRect inside;

    /* the destination */
    uint8_t* out; /* the part's first pixel, first channel */
    int outBit;
    ptrdiff_t outRowStep, outPixelStep, outChannelStep;
    int32_t xOut, yOut; /* the part's first pixel, in image coordinates */
    int32_t count;      /* channels */
};

/* Row y of the destination image, columns left .. right. */
typedef void OwnWarpRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right);

/* The row kernel for a depth and an interpolation. */
OwnWarpRow* ownChooseWarpRow(const OwnWarpRun& run, uint32_t depth, bool byPlanes, int32_t interpolate);

/* The starts of rows that the steps in single precision go by: pairs, from run.yFirst on. */
void ownStartFloatRows(const OwnWarpRun& run, float* starts, int32_t nRows);

/* Enlarges the box of source indices (already in `box`) by what columns left .. right of row y come from. */
void ownReachOfRow(const OwnWarpRun& run, uint32_t depth, int32_t y, int32_t left, int32_t right, OwnRect* box);

#endif
