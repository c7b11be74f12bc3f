/* ownzoom.h: the resampler behind vekZoom and vekResize. */
#ifndef OWNZOOM_H
#define OWNZOOM_H

#include "ownresample.h"

/* Tests, then resamples; factors of any size. False when a failure has been reported, or an old one ended the call. */
bool ownResample(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc,
                 int32_t yDst, int32_t ySrc, int32_t interpolate);

#endif
