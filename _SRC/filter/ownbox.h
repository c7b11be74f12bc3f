/* ownbox.h: the extremum of a box, which is worked in two steps, down and across.
 *
 * Down: rows of one height become the extrema of `side` neighbouring rows each. Across: a row becomes the extrema of
 * `side` neighbouring pixels each, in one pass or a few, since the extremum of a window is that of smaller windows that
 * cover it. Both cost a sample about the same whatever the side. */
#ifndef OWNBOX_H
#define OWNBOX_H

#include "own.h"

/* ---- Kernels ----------------------------------------------------------------------------------------------------- */

/* Row i of out, i below nRows, is the extremum of rows[i] to rows[i + side - 1], sample by sample. nRows is a multiple of
 * OWN_BOX_ROWS. Of 1-bit rows n counts bytes. */
enum { OWN_BOX_ROWS = 8, OWN_BOX_MOST_ROWS = 64 };
typedef void OwnBoxDown(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                        ptrdiff_t n);

/* Where a pass across takes its samples: out[i] is the extremum of the windows of `span` pixels, `unit` samples apart, that
 * begin at in[i + at[0]], in[i + at[1]], and so on. at[0] is the least. Of 1-bit rows `at` counts bits. */
struct OwnReach {
    enum { MOST = 5, MOST_BITS = 56 }; /* places; the widest span of 1-bit rows, from one place */
    int count;
    ptrdiff_t at[MOST];
    int span;
    ptrdiff_t unit;
};

/* n samples; out may be in when at[0] is 0 and span 1. OWN_BOX_BEFORE bytes in front of in are read as well. Of 1-bit rows n counts
 * bytes of out, and OWN_BITS_SPARE bytes behind the last one that holds a bit of the result are read as well. */
enum { OWN_BOX_BEFORE = 64, OWN_BITS_SPARE = 16 };
typedef void OwnBoxAcross(void* out, const void* in, const OwnReach& reach, ptrdiff_t n);

/* Boxes of 3 x 3 in one step: out[k][i] is the extremum of rows[k] to rows[k + 2] at i, i + unit and i + 2 unit, k below
 * nRows, which is 1 or 2, i below n samples. The rows begin with the first pixel of a window; or, with ends, at `first`
 * bytes with its second one, and end with the second one of the last window. Then the first pixel of the first window, and
 * the last one of the last, are those at a byte of the rows, or a value that goes for all rows. False: n or unit is not
 * served. */
struct OwnBoxEnds {
    ptrdiff_t first, at[2];
    const uint8_t* value[2]; /* or null */
};
typedef bool OwnBoxThree(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n, ptrdiff_t unit,
                         const OwnBoxEnds* ends);

/* The widest span, a power of 2, that a pass across may have. */
typedef int OwnBoxSpan(ptrdiff_t unit);

struct OwnBox {
    OwnBoxDown* down;
    OwnBoxAcross* across;
    OwnBoxDown* plainDown; /* what the others must equal, sample by sample */
    OwnBoxAcross* plainAcross;
    OwnBoxThree* three; /* null for bits */
    OwnBoxSpan* mostSpan;
    uint8_t neutral[4]; /* the bytes of the sample that changes no extremum; a byte of bits of a 1-bit row */
};

/* By depth; 32F is not served. */
extern const OwnBox ownBoxMin[OWN_DEPTHS], ownBoxMax[OWN_DEPTHS];

/* The passes whose last one gives windows of `side` pixels, `unit` samples apart, or of bits. Passes between
 * the first one and the last may work in place. */
struct OwnBoxPlan {
    enum { MOST = 32 };
    int count;
    OwnReach pass[MOST];
};
OwnBoxPlan ownBoxPlan(int64_t side, ptrdiff_t unit, int mostSpan, bool bits);

/* ---- Boxes over images ------------------------------------------------------------------------------------------- */

/* The extremum of the box that reaches so far from each pixel, of one kind; then of another kind of what that gave. Pixels
 * further from the rectangle than `seen` count for nothing. */
struct OwnBoxes {
    const VekImage *srcImage, *dstImage; /* may be the same */
    OwnMargins reach, seen;
    const OwnBox* box[2];    /* tables by depth; the second may be null */
    const char* missing;     /* the report of a tile of the destination that is not delivered, */
    VekStatus missingStatus; /* as ownCloseLines has it */
};

/* The tests of the headers have passed, as for ownOpenLines. OWN_OPENED_NO_MEMORY: nothing is written, nor reported. */
OwnOpened ownRunBoxes(const OwnFace& face, const OwnBoxes& boxes);

#endif
