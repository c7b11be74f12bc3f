/* ownspots.h: where the pixels of a row come from, block by block. */
#ifndef OWNSPOTS_H
#define OWNSPOTS_H

#include "ownwarp.h"

/* A block of a row. Pixels are taken by whole vectors: those beyond n are computed as if the row went on, and all of them lie
 * in the window. A stage fills in what its samples need. */
enum { OWN_BLOCK = 128 };
struct OwnSpots {
    int n;
    alignas(64) int32_t x[OWN_BLOCK], y[OWN_BLOCK]; /* the source pixel's index in the window */
    ptrdiff_t at[OWN_BLOCK];                        /* its bytes from the window's first pixel */
    uint8_t skip[OWN_BLOCK];                        /* with run.tests: all ones where the pixel keeps its value */
    double fx[OWN_BLOCK], fy[OWN_BLOCK];            /* linear: how far the position lies beyond the index */
    float tx[OWN_BLOCK], ty[OWN_BLOCK];             /* cubic: the place between the second sample and the third */
    int32_t wx[OWN_BLOCK], wy[OWN_BLOCK];           /* fixed point: 16384 - w and w, of 14 bits, in one lane */
};

/* Places pixels left .. left + s->n - 1 of row y. */
typedef void OwnStage(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s);

OwnStage ownStageNearest, ownStageLinear, ownStageCubic; /* in floating point */
OwnStage ownStageFixedNearest, ownStageFixedLinear;      /* affine, in 16.16 */
OwnStage ownStageBits;                                   /* bilinear bits by the rectangle, in 16.16 */

/* Affine, nearest of bytes: rounded steps of single precision added one after the other, from the row's first column on. */
struct OwnFloatWalk {
    float x, y, xStep, yStep;
};
OwnFloatWalk ownFloatStart(const OwnWarpRun& run, int32_t y, int32_t left);
void ownStageFloat(OwnFloatWalk* walk, const OwnWarpRun& run, OwnSpots* s);

/* Sums p, p + step, (p + step) + step, ..., each rounded, n of them, a multiple of OWN_STRIDE; returns the next one. */
enum { OWN_STRIDE = 32 };
float ownFloatSums(float p, float step, int n, float* out);

/* Fills in `at`; of bits, the byte, and the bit in it. */
void ownAddressPixels(const OwnWarpRun& run, OwnSpots* s);
void ownAddressBits(const OwnWarpRun& run, OwnSpots* s, uint8_t* bit);

/* Asks for the pixels of a later block of the same columns. */
void ownFetchAhead(const OwnWarpRun& run, int32_t y, int32_t left, const OwnSpots& s);

#endif
