/* colours: pictures through other colour models, in place. */
#ifndef COLOURS_H
#define COLOURS_H

#include "vek.h"

#include <vector>

/* Through HSV: hues turned by `degrees`, saturation times `scale`. */
void turnHues(VekImage* picture, double degrees, double scale);

/* Through one channel of gray. */
void takeColourOut(VekImage* picture);

/* Y, Cb and Cr shown as blue, green and red. */
void showLumaAndChroma(VekImage* picture);

/* A linear map of blue, green and red: three rows of three factors and an offset. */
void twistColours(VekImage* picture, const std::vector<double>& rows);

#endif
