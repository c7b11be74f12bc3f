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

/* ---- The parts of a bitmap ------------------------------------------------------------------------------------ */

/* A bitmap taken apart. The header is a copy, since the caller's may lie at any address. */
struct OwnDib {
    BITMAPINFOHEADER info;
    uint8_t* table; /* entries of blue, green, red, reserved; or masks of red, green, blue */
    int64_t count;  /* of them */
    uint8_t* pixels;
};
OwnDib ownOpenDib(const BITMAPINFOHEADER* dib);

/* More entries than any count of bits can tell apart; so many are believed. */
enum : int64_t { OWN_DIB_MOST_ENTRIES = 65536 };
static inline bool ownDibHasIndices(const OwnDib& dib)
{
    return dib.info.biBitCount == 1 || dib.info.biBitCount == 4 || dib.info.biBitCount == 8;
}

/* The tests of a header, without that of biSize and with it; false after a report. */
bool ownDibPasses(const OwnFace& face, const BITMAPINFOHEADER* dib);
bool ownSizedDibPasses(const OwnFace& face, const BITMAPINFOHEADER* dib);

/* Whether all entries are grays that rise evenly from black to white. */
bool ownDibIsGray(const OwnDib& dib);

/* The height as it counts rows; the lowest integer stays what it is. */
static inline int32_t ownDibHeight(const BITMAPINFOHEADER& info)
{
    return info.biHeight < -INT32_MAX ? info.biHeight : info.biHeight < 0 ? -info.biHeight : info.biHeight;
}

/* Reports an end that has no text of its own, unless a failure is stored. */
void ownDibEnd(const OwnFace& face);

/* The four bytes of channelSeq. */
enum OwnSequence { OWN_SEQ_GRAY, OWN_SEQ_BGR, OWN_SEQ_RGB, OWN_SEQ_OTHER };
OwnSequence ownSequence(const VekImage* image);

/* ---- Reading, and tables ---------------------------------------------------------------------------------------- */

/* A bitmap's pixels into an image whose fields and whose header's fields have passed their tests. Returns 0, or after the
 * reports what vekConvertFromDIBSep returns. */
VekStatus ownReadDib(const OwnFace& face, const OwnDib& dib, VekImage* image);

/* Writes a fixed table where the count is 2, 16 or 256. */
void ownFixedTable(const OwnDib& dib, bool isGray);

/* Writes a table by median cut of the image, and biClrUsed. False when that can't be; the bitmap is then as it was. */
bool ownMedianCut(BITMAPINFOHEADER* dib, const VekImage* image);

#endif
