/* ownzoom.h: the resampler behind vekZoom and vekResize. */
#ifndef OWNZOOM_H
#define OWNZOOM_H

#include "ownresample.h"

/* Reports when the test holds, with its text, and goes on. */
#define OWN_TELL_IF(test)                                                                                              \
    do {                                                                                                               \
        if (test) ownFail(face, VEK_StatusBadArg, #test, __LINE__);                                                    \
    } while (0)

/* Tests, then resamples; factors of any size. False when a failure has been reported, or an old one ended the call. */
bool ownResample(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc,
                 int32_t yDst, int32_t ySrc, int32_t interpolate);

#endif
