/* ownscan.h: the pixels of a clipped quadrangle. */
#ifndef OWNSCAN_H
#define OWNSCAN_H

#include "ownquad.h"

/* Rows yMin .. yMax, with the first and the last column of each; none when left exceeds right. Empty: yMax below yMin. */
struct OwnSpans {
    int32_t yMin, yMax;
    int32_t *left, *right;
};

/* The pixels of the rectangle whose centres lie in the quadrangle, edges included. `orientation` is that of the corners.
 * False without memory. */
bool ownScanQuad(const double quad[8], int orientation, const OwnRect& rect, OwnSpans* spans);
void ownFreeSpans(OwnSpans* spans);

#endif
