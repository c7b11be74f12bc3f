/* tones: operations on the distribution of levels, and pictures of what the library measures. */
#ifndef TONES_H
#define TONES_H

#include "vek.h"

/* Each level of each channel moved so that the levels in use are spread evenly. */
void equalizePicture(VekImage* picture);

/* Levels from low to high spread over all; those below become black, those above white. */
void stretchPicture(VekImage* picture, int32_t low, int32_t high);

/* The picture replaced by the histograms of its channels, each drawn in its own one. */
void drawHistogram(VekImage* picture);

/* In each channel the centre of mass, and the even ellipse that has the same moments of second order. */
void drawMoments(VekImage* picture);

#endif
