/* warps: pictures turned, bent and scaled in place: from a copy, onto black. */
#ifndef WARPS_H
#define WARPS_H

#include "vek.h"

#include <vector>

/* Anticlockwise about the picture's middle. */
void turnPicture(VekImage* picture, double degrees);

/* By the six coefficients of an affine matrix. */
void warpPicture(VekImage* picture, const std::vector<double>& coeffs);

/* Onto a quadrangle of eight coordinates, in perspective. */
void bendPicture(VekImage* picture, const std::vector<double>& quad);

/* To width x height pixels; mode 0 nearest, 1 linear, 2 cubic, 3 means of areas. */
void resizePicture(VekImage* picture, int32_t width, int32_t height, int32_t mode);

#endif
