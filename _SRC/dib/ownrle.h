/* ownrle.h: run-length coded bitmaps. */
#ifndef OWNRLE_H
#define OWNRLE_H

#include "owndib.h"

/* The pixels of a bitmap of compression OWN_DIB_RLE8 or OWN_DIB_RLE4 in a new block from vekMalloc, plain, in rows of
 * ownDibRowBytes(biWidth, 8 or 4) bytes, the stream's first line (the bottom row) first. Pixels that the stream leaves out
 * are 0. The stream lies behind the header and its table when `stream` is null.
 *   returns  null after a report under the face's function; also for a biWidth or biHeight below 1 */
uint8_t* ownDecompressDib(const OwnFace& face, const BITMAPINFOHEADER* dib, const uint8_t* stream);

/* Replaces the plain pixels behind the header and its table by a stream of the kind that biCompression says, and sets
 * biSizeImage to its length. Where no stream is shorter than the plain rows, biCompression becomes OWN_DIB_PLAIN and all
 * else stays. The header has passed its tests: biWidth and biHeight are above 0.
 *   returns  false after a report under the face's function (no memory); the bitmap is then as it was */
bool ownCompressDib(const OwnFace& face, BITMAPINFOHEADER* dib);

#endif
