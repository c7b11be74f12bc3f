/* spectra: what the example does with the spectrum of a picture. Both work on the region of a 32F image, each channel
 * by itself (or the region's channel alone), in place; a mask plays no part. */
#ifndef SPECTRA_H
#define SPECTRA_H

#include "vek.h"

/* The logarithm of the magnitudes, from 0 to 255, zero frequency in the centre. */
void drawSpectrum(VekImage* image);

/* A soft low-pass: a frequency of f waves over the region keeps exp(-f f / (2 r r)) of itself. */
void keepLowFrequencies(VekImage* image, float r);

#endif
