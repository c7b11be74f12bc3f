/* ownwhole.h: two images of one size, taken whole. Regions and masks play no part; where the origins differ the rows of the
 * destination run upward. */
#ifndef OWNWHOLE_H
#define OWNWHOLE_H

#include "own.h"

/* Takes the point's run over all pixels, with tiles or without. asBytes: 1-bit images are taken as rows of bytes. */
void ownTakeWhole(const OwnPoint& point, bool asBytes);

#endif
