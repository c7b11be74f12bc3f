/* ownbox.h: the extremum of a box, which is worked in two steps, down and across.
 *
 * Down: rows of one height become the extrema of `side` neighbouring rows each. Across: a row becomes the extrema of
 * `side` neighbouring pixels each, in a few passes, since the extremum of a window is that of smaller windows that cover
 * it. Both cost a sample about the same whatever the side. */
#ifndef OWNBOX_H
#define OWNBOX_H

#include "own.h"

/* Row i of out, i below nRows, is the extremum of rows[i] to rows[i + side - 1], sample by sample. nRows is a multiple of
 * OWN_BOX_ROWS. Of 1-bit rows n counts bytes. */
enum { OWN_BOX_ROWS = 8, OWN_BOX_MOST_ROWS = 64 };
typedef void OwnBoxDown(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                        ptrdiff_t n);

/* Where a pass across takes its samples: out[i] is the extremum of in[i + at[0]], in[i + at[1]], and so on. at[0] is the
 * least. Of 1-bit rows `at` counts bits. */
struct OwnReach {
    enum { MOST = 5, MOST_FILLED = 56 };
    int count;
    ptrdiff_t at[MOST];
    bool filled; /* of 1-bit rows: every place from at[0] to at[1], at most MOST_FILLED of them */
};

/* n samples; out may be in when at[0] is 0. Of 1-bit rows n counts bytes of out, and OWN_BITS_SPARE bytes behind the last
 * one that holds a bit of the result are read as well. */
enum { OWN_BITS_SPARE = 16 };
typedef void OwnBoxAcross(void* out, const void* in, const OwnReach& reach, ptrdiff_t n);

/* out[i] is the extremum of a[i] and b[i], i below n, of 1-bit rows a byte. out may be a or b. */
typedef void OwnBoxJoin(void* out, const void* a, const void* b, ptrdiff_t n);

/* Boxes of 3 x 3 in one step: out[k][i] is the extremum of rows[k] to rows[k + 2] at i, i + unit and i + 2 unit, k below
 * nRows, which is 1 or 2, i below n samples. The rows begin with the first pixel of a window; or, with ends, with its second
 * one, and end with the second one of the last window. Then the last pixel before left[k], and the first one at right[k],
 * are the extrema down of the pixels that are missing; there a vector can be read. False: n or unit is not served. */
struct OwnBoxEnds {
    const uint8_t *left[2], *right[2];
};
typedef bool OwnBoxThree(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n, ptrdiff_t unit,
                         const OwnBoxEnds* ends);

/* One row of extrema down: of rows[0] to rows[side - 1]. */
typedef void OwnBoxPile(void* out, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t n);

struct OwnBox {
    OwnBoxDown* down;
    OwnBoxAcross* across;
    OwnBoxJoin* join;
    OwnBoxPile* pile;
    OwnBoxDown* plainDown; /* what the others must equal, sample by sample */
    OwnBoxAcross* plainAcross;
    OwnBoxThree* three; /* null for bits */
    uint32_t neutral;   /* the sample that changes no extremum; a byte of bits of a 1-bit row */
};

/* By depth; 32F is not served. */
extern const OwnBox ownBoxMin[OWN_DEPTHS], ownBoxMax[OWN_DEPTHS];

/* The passes whose last one gives windows of `side` pixels, `unit` samples apart, or of bits. Each pass but the last may
 * work in place. */
struct OwnBoxPlan {
    enum { MOST = 32 };
    int count;
    OwnReach pass[MOST];
};
OwnBoxPlan ownBoxPlan(int64_t side, ptrdiff_t unit, bool bits);

#endif
