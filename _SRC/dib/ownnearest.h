/* ownnearest.h: the entry of a colour table that is nearest to a pixel: the smallest sum of the squared differences of
 * blue, green and red, the first entry of equals. */
#ifndef OWNNEAREST_H
#define OWNNEAREST_H

#include "own.h"

/* The plain walk over a table of four bytes an entry; 0 for an empty one. */
int64_t ownNearestEntry(const uint8_t* table, int64_t count, int blue, int green, int red);

/* A table made ready for many pixels. Without memory, or with very many entries, each pixel takes the plain walk. */
struct OwnNearest {
    const uint8_t* table;
    int64_t count;
    struct OwnNearestCells* cells; /* or null */
};
void ownNearestOpen(OwnNearest* nearest, const uint8_t* table, int64_t count);
void ownNearestClose(OwnNearest* nearest);

/* The low bytes of the indices of n pixels. */
void ownNearestRun(const OwnNearest& nearest, uint8_t* out, const uint8_t* blue, const uint8_t* green,
                   const uint8_t* red, ptrdiff_t n);
void ownNearestPlain(const OwnNearest& nearest, uint8_t* out, const uint8_t* blue, const uint8_t* green,
                     const uint8_t* red, ptrdiff_t n);

#endif
