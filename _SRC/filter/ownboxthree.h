/* ownboxthree.h: the extrema of boxes of 3 x 3 samples, down and across in one step. */
#ifndef OWNBOXTHREE_H
#define OWNBOXTHREE_H

#include "ownboxacross.h"

/* The extrema down at a byte, for one or two rows of results. */
template <class E, int nRows> struct OwnThreeDown {
    typedef typename E::Sample T;
    OwnVec<T> row[nRows];
    OwnThreeDown(const uint8_t* const* rows, ptrdiff_t at)
    {
        const OwnVec<T> middle = E::of(ownLoad<T>(rows[1] + at), ownLoad<T>(rows[2] + at));
        row[0] = E::of(ownLoad<T>(rows[0] + at), middle);
        if constexpr (nRows > 1) row[1] = E::of(middle, ownLoad<T>(rows[3] + at));
    }
};

/* The extrema down of a pixel that the rows don't hold next to the others: in its last lanes at the left, in the first ones
 * at the right. */
template <class E, int pixel, int nRows> struct OwnThreeEnd {
    typedef typename E::Sample T;
    OwnVec<T> row[nRows];
    OwnThreeEnd(const uint8_t* const* rows, const OwnBoxEnds& ends, int side)
    {
        constexpr int size = (int)sizeof(T);
        T pixels[nRows + 2][pixel / size];
        for (int k = 0; k < nRows + 2; ++k)
            memcpy(pixels[k], ends.value[side] ? ends.value[side] : rows[k] + ends.at[side], pixel);
        for (int k = 0; k < nRows; ++k) {
            for (int i = 0; i < pixel / size; ++i)
                pixels[k][i] = E::one(pixels[k][i], E::one(pixels[k + 1][i], pixels[k + 2][i]));
            if constexpr (pixel == size) row[k] = ownSet<T>(pixels[k][0]);
            else {
                uint8_t bytes[OWN_VEC_BYTES] = {};
                memcpy(bytes + (side ? 0 : OWN_VEC_BYTES - pixel), pixels[k], pixel);
                row[k] = ownLoad<T>(bytes);
            }
        }
    }
};

/* Extrema down stay in registers, and windows are taken from two vectors of them, at the end of a row from the last ones that
 * it has. The rows that come next are asked for: between the end of one row and
 * the begin of another the processor does not look that far ahead. */
template <class E, int pixel, int nRows>
[[gnu::flatten]] static void ownThreeOf(uint8_t* const* out, const uint8_t* const* rows, ptrdiff_t bytes,
                                        const OwnBoxEnds* ends)
{
    typedef typename E::Sample T;
    typedef OwnThreeDown<E, nRows> Down;
    typedef OwnThreeEnd<E, pixel, nRows> End;
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const uint8_t *from[nRows + 2], *next[nRows]; /* at the first window; it may begin in front of the row */
    uint8_t* to[nRows];
    const ptrdiff_t begin = ends ? ends->first - pixel : 0;
    for (int k = 0; k < nRows + 2; ++k) from[k] = (const uint8_t*)((uintptr_t)rows[k] + begin);
    for (int k = 0; k < nRows; ++k) {
        to[k] = out[k];
        next[k] = (const uint8_t*)(2 * (uintptr_t)from[k + 2] - (uintptr_t)from[k + 2 - nRows]);
    }
    Down a(from, ends ? pixel : 0);
    if (ends) {
        const End left(rows, *ends, 0);
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) a.row[k] = ownAcrossBoth<step - pixel>(left.row[k], a.row[k]);
    }
    const auto store = [&](ptrdiff_t i, const Down& b) {
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) {
            const OwnVec<T> x = a.row[k], y = b.row[k];
            ownStore(to[k] + i, E::of(x, E::of(ownAcrossBoth<pixel>(x, y), ownAcrossBoth<2 * pixel>(x, y))));
        }
    };
    store(0, Down(from, step));
    ptrdiff_t i = ownStepToAligned<T>(to[0]);
    if (i < pixel) i = step;
    a = Down(from, i);
    for (; i < bytes - 2 * step; i += step) {
        for (int k = 0; k < nRows && (i & 63) < step; ++k) ownPrefetch<1, 0>((const void*)((uintptr_t)next[k] + i));
        const Down b(from, i + step);
        store(i, b);
        a = b;
    }
    a = Down(from, bytes - 2 * step);
    const Down x(from, bytes - step), z(from, bytes - step + (ends ? 1 : 2) * pixel);
    store(bytes - 2 * step, x);
    a = x;
    Down y = z; /* its first pixels are the last ones of the row */
    if (ends) {
        const End right(rows, *ends, 1);
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) y.row[k] = ownAcrossBoth<step - pixel>(z.row[k], right.row[k]);
    } else
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) y.row[k] = ownAcrossBoth<step - 2 * pixel>(z.row[k], z.row[k]);
    store(bytes - step, y);
}

template <class E, int unit>
static void ownThreeUnit(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n,
                         const OwnBoxEnds* ends)
{
    constexpr int size = (int)sizeof(typename E::Sample);
    if (nRows == 1) ownThreeOf<E, unit * size, 1>(out, rows, n * size, ends);
    else ownThreeOf<E, unit * size, 2>(out, rows, n * size, ends);
}

template <class E>
static bool ownThree(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n, ptrdiff_t unit,
                     const OwnBoxEnds* ends)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(typename E::Sample);
    if (n * size < 2 * OWN_VEC_BYTES + unit * size || 2 * unit * size >= OWN_VEC_BYTES) return false;
    switch (unit) {
    case 1: ownThreeUnit<E, 1>(out, rows, nRows, n, ends); return true;
    case 3:
        if constexpr (6 * size < OWN_VEC_BYTES) {
            ownThreeUnit<E, 3>(out, rows, nRows, n, ends);
            return true;
        }
    }
    return false;
}

#endif
