/* ownboxdown.h: the extrema of neighbouring rows, sample by sample. */
#ifndef OWNBOXDOWN_H
#define OWNBOXDOWN_H

#include "ownbox.h"
#include "ownextremum.h"

/* All vectors of a row, at their bytes; the last one steps back into the one before it. */
template <class T, class F> static inline void ownStrips(ptrdiff_t n, F f)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    for (ptrdiff_t i = 0; i < n - lanes; i += lanes) f(i * size);
    f((n - lanes) * size);
}

/* Windows of `span` rows become windows of `side` rows; each step joins two, which may overlap. */
template <class E, int side, int span, int n> static inline void ownWiden(OwnVec<typename E::Sample>* x)
{
    constexpr int d = std::min(span, side - span);
#pragma GCC unroll 16
    for (int i = 0; i < n - d; ++i) x[i] = E::of(x[i], x[i + d]);
    if constexpr (span + d < side) ownWiden<E, side, span + d, n - d>(x);
}

/* A few rows of results of a low box, in registers. */
template <class E, int side, int nRows>
[[gnu::flatten]] static inline void ownDownLow(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t n)
{
    typedef typename E::Sample T;
    const uint8_t* from[nRows + side - 1];
    for (int i = 0; i < nRows + side - 1; ++i) from[i] = rows[i];
    ownStrips<T>(n, [=](ptrdiff_t at) {
        OwnVec<T> x[nRows + side - 1];
#pragma GCC unroll 16
        for (int i = 0; i < nRows + side - 1; ++i) x[i] = ownLoad<T>(from[i] + at);
        if constexpr (side > 1) ownWiden<E, side, 1, nRows + side - 1>(x);
#pragma GCC unroll 8
        for (int i = 0; i < nRows; ++i) ownStore(out + i * outStep + at, x[i]);
    });
}

/* A group of results of a higher box, van Herk and Gil-Werman: all windows of the group share the rows from its last
 * result's first row to its first result's last. To the rows above that core the windows reach by suffixes, which are
 * kept; below it the core grows by a row from result to result. */
template <class E, int nVecs>
static inline void ownDownHigh(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side,
                               ptrdiff_t group, ptrdiff_t at)
{
    typedef typename E::Sample T;
    typedef OwnVec<T> Vec;
    Vec suffix[OWN_BOX_MOST_ROWS][nVecs], x[nVecs], core[nVecs];
    const auto load = [at](const uint8_t* row, int k) { return ownLoad<T>(row + at + k * OWN_VEC_BYTES); };
    for (int k = 0; k < nVecs; ++k) suffix[group - 2][k] = x[k] = load(rows[group - 2], k);
    for (ptrdiff_t i = group - 3; i >= 0; --i)
        for (int k = 0; k < nVecs; ++k) suffix[i][k] = x[k] = E::of(x[k], load(rows[i], k));
    for (int k = 0; k < nVecs; ++k) core[k] = load(rows[group - 1], k);
    for (ptrdiff_t i = group; i < side; ++i)
        for (int k = 0; k < nVecs; ++k) core[k] = E::of(core[k], load(rows[i], k));
    out += at;
    for (ptrdiff_t i = 0; i < group - 1; ++i, out += outStep)
        for (int k = 0; k < nVecs; ++k) {
            ownStore(out + k * OWN_VEC_BYTES, E::of(core[k], suffix[i][k]));
            core[k] = E::of(core[k], load(rows[side + i], k));
        }
    for (int k = 0; k < nVecs; ++k) ownStore(out + k * OWN_VEC_BYTES, core[k]);
}

template <class E, int side>
static void ownDownLows(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t nRows, ptrdiff_t n)
{
    constexpr int few = side > 3 ? OWN_BOX_ROWS : OWN_BOX_ROWS / 2;
    for (ptrdiff_t y = 0; y < nRows; y += few) ownDownLow<E, side, few>(out + y * outStep, outStep, rows + y, n);
}

template <class E>
[[gnu::flatten]] static void ownDownHighs(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side,
                                          ptrdiff_t nRows, ptrdiff_t n)
{
    const ptrdiff_t most = std::min<ptrdiff_t>(side, OWN_BOX_MOST_ROWS) & -OWN_BOX_ROWS;
    const ptrdiff_t bytes = n * (ptrdiff_t)sizeof(typename E::Sample);
    for (ptrdiff_t y = 0, group; y < nRows; y += group) {
        group = std::min(most, nRows - y);
        const auto strip = [=](auto nVecs, ptrdiff_t at) {
            uint8_t* to = out + y * outStep;
            if (group == OWN_BOX_ROWS) ownDownHigh<E, nVecs>(to, outStep, rows + y, side, OWN_BOX_ROWS, at);
            else ownDownHigh<E, nVecs>(to, outStep, rows + y, side, group, at);
        };
        ptrdiff_t at = 0;
        for (; at + 2 * OWN_VEC_BYTES <= bytes; at += 2 * OWN_VEC_BYTES) strip(std::integral_constant<int, 2>(), at);
        for (; at + OWN_VEC_BYTES <= bytes; at += OWN_VEC_BYTES) strip(std::integral_constant<int, 1>(), at);
        if (at < bytes) strip(std::integral_constant<int, 1>(), bytes - OWN_VEC_BYTES);
    }
}

template <class E>
static void ownDownPlain(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                         ptrdiff_t n)
{
    typedef typename E::Sample T;
    for (ptrdiff_t y = 0; y < nRows; ++y) {
        memcpy(out + y * outStep, rows[y], (size_t)n * sizeof(T));
        for (ptrdiff_t i = 1; i < side; ++i)
            ownEach2<T, T>(out + y * outStep, out + y * outStep, rows[y + i], n, E::one);
    }
}

template <class E>
static void ownDown(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                    ptrdiff_t n)
{
    if (n < OwnVec<typename E::Sample>::lanes) return ownDownPlain<E>(out, outStep, rows, side, nRows, n);
    switch (side) {
    case 1: return ownDownLows<E, 1>(out, outStep, rows, nRows, n);
    case 2: return ownDownLows<E, 2>(out, outStep, rows, nRows, n);
    case 3: return ownDownLows<E, 3>(out, outStep, rows, nRows, n);
    case 4: return ownDownLows<E, 4>(out, outStep, rows, nRows, n);
    case 5: return ownDownLows<E, 5>(out, outStep, rows, nRows, n);
    case 6: return ownDownLows<E, 6>(out, outStep, rows, nRows, n);
    case 7: return ownDownLows<E, 7>(out, outStep, rows, nRows, n);
    }
    ownDownHighs<E>(out, outStep, rows, side, nRows, n);
}

#endif
