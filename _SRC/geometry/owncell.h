/* owncell.h: the row kernels of super-sampling: boxes of samples become their means, rounded half up. */
#ifndef OWNCELL_H
#define OWNCELL_H

#include <stddef.h>
#include <stdint.h>

/* What a box covers on one axis: samples first .. last, their weights in units that divide all of them, and the sum of
 * these. A box of one sample has its weight as firstWeight, and lastWeight is 0. */
struct OwnCell {
    int32_t first, last;
    int32_t firstWeight, lastWeight, one; /* one: of a sample between the two */
    int64_t total;

    int32_t weight(int32_t i) const { return i == first ? firstWeight : i == last ? lastWeight : one; }
};

/* A row of boxes over sums of columns. */
struct OwnCellRow {
    const void* sums;
    const OwnCell* boxes; /* of the destination's columns, samples counted from the first sum */
    ptrdiff_t pixelStep;  /* sums from a pixel to the next */
    int32_t count;        /* channels */
    int64_t rowsTotal;    /* the weight of a sum */
    void *windows,
        *picked; /* scratch of meanSquares, as many sums each; OWN_CELL_SPARE and `side` pixels can be read and
                             * written beyond, of sums too */
};
enum { OWN_CELL_SPARE = 64 };

/* The kernels for samples of 1 bit (results: bytes of all ones where half of the box or more is 1, otherwise of zeros), 8
 * and 16 bits, by the bits of a sum: 16, 32, 64. */
struct OwnCellKernels {
    int sumBytes, outBytes;

    /* sums[i] = the rows of a box, weighted; `data` is the first of them. Bits begin with the top bit of the first byte. */
    void (*sumRows)(void* sums, const uint8_t* data, ptrdiff_t rowStep, const OwnCell& box, ptrdiff_t n);

    /* Columns from .. to - 1 of a row of results, `count` samples each. */
    void (*meanBoxes)(void* out, const OwnCellRow& row, int32_t from, int32_t to);

    /* The first columns, whose boxes are `side` whole samples wide, of weight 1. Null, or for boxes whose sums stay below
     * squareLimit. */
    void (*meanSquares)(void* out, const OwnCellRow& row, int32_t side, int32_t nColumns);
    int64_t squareLimit;
};
extern const OwnCellKernels ownCellKernels[3][3];

#endif
