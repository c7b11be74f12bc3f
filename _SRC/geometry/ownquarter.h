/* ownquarter.h: warps that only move pixels: translations and quarter turns. */
#ifndef OWNQUARTER_H
#define OWNQUARTER_H

#include "own.h"

/* The tests that all warps share. `warpFlag` is 0 for forms without it. False when the call ends. */
bool ownSoundWarp(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, int32_t warpFlag);

/* Does an affine warp that is a translation, a half or a quarter turn by moving pixels. False for any other one. */
bool ownWarpExactly(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const double coeffs[6],
                    int32_t interpolate);

/* Turns by 90, 180 or 270 degrees, with the tests. */
void ownQuarterTurn(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int degrees, double xShift,
                    double yShift);

#endif
