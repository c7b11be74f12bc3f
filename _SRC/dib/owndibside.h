/* owndibside.h: a bitmap, and an image, as sides between which pixels are moved. */
#ifndef OWNDIBSIDE_H
#define OWNDIBSIDE_H

#include "owndib.h"
#include "owndibrow.h"

/* A bitmap's pixels at `pixels`, the picture's top row first; what its indices mean is not set. A negative height counts
 * as none. OWN_SIDE_NO_MASK: a mask is 0. */
enum OwnSideEnd { OWN_SIDE_SET, OWN_SIDE_NO_FORM, OWN_SIDE_NO_MASK };
OwnSideEnd ownDibSide(const OwnDib& dib, uint8_t* pixels, OwnPixels* side);
extern const char* const ownNoMaskText;

/* The first `height` stored rows of an image, the picture's top row first. False when it is not of a kind that goes into
 * bitmaps. */
bool ownImageSide(const VekImage* image, int32_t height, OwnPixels* side);

#endif
