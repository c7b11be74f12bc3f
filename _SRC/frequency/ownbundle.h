/* ownbundle.h: rows of floats to the cells of a bundle and back. A bundle takes two rows a lane: the real parts of its
 * cells are the first half of the rows, the imaginary parts the second. Rows become lanes by transposing blocks of
 * eight by eight. */
#ifndef OWN_BUNDLE_H
#define OWN_BUNDLE_H

#include "ownfft.h"

/* Eight columns of a bundle's rows: block b holds rows 8 b to 8 b + 7. Before transposing v[b][i] is a row, after it a
 * column. */
template <class K> struct OwnBlocks {
    static constexpr int count = K::lanes / 4;
    static constexpr int rows = 8 * count;
    OwnEight::Raw v[count][8];

    void transpose()
    {
        for (auto& block : v) ownTransposeEight(block);
    }
    /* Column j, as the two halves of the rows. */
    typename K::Raw first(int j) const
    {
        if constexpr (count == 2) return v[0][j];
        else return ownLowFour(v[0][j]);
    }
    typename K::Raw second(int j) const
    {
        if constexpr (count == 2) return v[1][j];
        else return ownHighFour(v[0][j]);
    }
    void set(int j, typename K::Raw a, typename K::Raw b)
    {
        if constexpr (count == 2) v[0][j] = a, v[1][j] = b;
        else v[0][j] = ownJoinFours(a, b);
    }
};

/* place(x) = column x of the rows, for n columns. */
template <class K, class F>
[[gnu::always_inline]] static inline void ownBundleIn(const float* const* rows, ptrdiff_t n, F place)
{
    OwnBlocks<K> blocks;
    for (ptrdiff_t x = 0; x < n; x += 8) {
        const int count = (int)std::min<ptrdiff_t>(8, n - x);
        for (int i = 0; i < blocks.rows; ++i) {
            OwnEight::Raw& part = blocks.v[i >> 3][i & 7];
            if (count == 8) part = ownLoadEight(rows[i] + x);
            else part = OwnEight::Raw{}, memcpy(&part, rows[i] + x, count * sizeof(float));
        }
        blocks.transpose();
        for (int j = 0; j < count; ++j) *place(x + j) = {blocks.first(j), blocks.second(j)};
    }
}

/* The rows, nRows of them, from their columns: column x is cell(x). */
template <class K, class F>
[[gnu::always_inline]] static inline void ownBundleOut(float* const* rows, int nRows, ptrdiff_t n, F cell)
{
    OwnBlocks<K> blocks;
    for (ptrdiff_t x = 0; x < n; x += 8) {
        const int count = (int)std::min<ptrdiff_t>(8, n - x);
        for (int j = 0; j < 8; ++j) {
            const OwnCell<K> column = j < count ? cell(x + j) : OwnCell<K>{};
            blocks.set(j, column.re, column.im);
        }
        blocks.transpose();
        for (int i = 0; i < nRows; ++i) {
            const OwnEight::Raw part = blocks.v[i >> 3][i & 7];
            if (count == 8) ownStoreEight(rows[i] + x, part);
            else memcpy(rows[i] + x, &part, count * sizeof(float));
        }
    }
}

#endif
