/* owndib.h: the bitmap in memory, as the modules of this folder see it. */
#ifndef OWNDIB_H
#define OWNDIB_H

#include "own.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
#endif

static_assert(sizeof(BITMAPINFOHEADER) == 40, "the record's layout is part of the interface");

/* biCompression. */
enum { OWN_DIB_PLAIN = 0, OWN_DIB_RLE8 = 1, OWN_DIB_RLE4 = 2, OWN_DIB_FIELDS = 3 };

/* Bytes of a row of `width` pixels, a multiple of 4. */
static inline int64_t ownDibRowBytes(int64_t width, int bitCount) { return (width * bitCount + 31) / 32 * 4; }

#endif
