/* ownboxsum.h: sums of `width` neighbouring pixels of a row.
 *
 * Integers wrap: a sum is the difference of two running sums of the row, whatever the width. Few are added one by one.
 * Floats, and pixels of many samples, take a number of steps that grows with the logarithm of the width: sums of two, four,
 * eight ... pixels, and at the end a sum of those that together make up the width. */
#ifndef OWNBOXSUM_H
#define OWNBOXSUM_H

#include "own.h"
#include "ownsimd.h"

/* The levels of sums: level k holds sums of 2^k pixels. The highest that is made still fits the width twice. */
static inline int ownBoxLevels(int32_t width) { return width < 8 ? 1 : (int)std::bit_width((uint32_t)width / 2); }

/* Level 0: the samples themselves, in the type of the sums. */
template <class S, class T> static void ownBoxWiden(S* __restrict out, const T* __restrict in, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = (S)in[i];
}

/* The next level from sums that lie `apart` samples apart. */
template <class S> static void ownBoxDouble(S* __restrict out, const S* __restrict in, ptrdiff_t apart, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = (S)(in[i] + in[i + apart]);
}

/* Sums of terms that lie anywhere, whole vectors at a time. */
template <class S> [[gnu::flatten]] static void ownBoxTerms(S* out, const S* const* term, int nTerms, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * lanes) {
        OwnVec<S> a = ownLoad<S>(term[0] + i), b = ownLoad<S>(term[0] + i + lanes);
        for (int k = 1; k < nTerms; ++k) {
            a = a + ownLoad<S>(term[k] + i);
            b = b + ownLoad<S>(term[k] + i + lanes);
        }
        ownStore(out + i, a);
        ownStore(out + i + lanes, b);
    }
}

/* The sums by levels of sums. */
template <class S, class T>
static void ownBoxByLevels(S* out, const T* line, int32_t width, const OwnWindowRow& row, S* levels)
{
    const ptrdiff_t n = (row.n + 63) / 64 * 64, step = row.step;
    const int nLevels = ownBoxLevels(width);
    ownBoxWiden(levels, line, n + (width - 1) * step);
    for (int k = 1; k < nLevels; ++k)
        ownBoxDouble(levels + k * row.lineSamples, levels + (k - 1) * row.lineSamples, step << (k - 1),
                     n + (width - ((ptrdiff_t)1 << k)) * step);

    /* From the left end of the window on: the widest sums, as often as they fit, then narrower ones. At most seven of
     * one pixel, or three of the highest level and one of each other. */
    const S* term[40];
    int nTerms = 0;
    ptrdiff_t done = 0;
    for (int k = nLevels - 1; k >= 0; --k)
        for (; width - done >= (ptrdiff_t)1 << k; done += (ptrdiff_t)1 << k)
            term[nTerms++] = levels + k * row.lineSamples + done * step;
    ownBoxTerms(out, term, nTerms, n);
}

/* A vector of samples in the type of the sums. */
template <class S, class T> static inline OwnVec<S> ownBoxLoad(const T* p)
{
    if constexpr (sizeof(S) == sizeof(T)) return ownLoad<S>(p);
    else return ownLoadWide<S, T>(p);
}

/* The sums one by one. */
template <class S, class T>
[[gnu::flatten]] static void ownBoxOfFew(S* out, const T* line, int32_t width, const OwnWindowRow& row)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes;
    for (ptrdiff_t i = 0; i < row.n; i += 4 * lanes) {
        OwnVec<S> s[4];
        for (int j = 0; j < 4; ++j) s[j] = ownBoxLoad<S>(line + i + j * lanes);
        for (int32_t c = 1; c < width; ++c)
            for (int j = 0; j < 4; ++j) s[j] = s[j] + ownBoxLoad<S>(line + i + j * lanes + c * row.step);
        for (int j = 0; j < 4; ++j) ownStore(out + i + j * lanes, s[j]);
    }
}

/* The sums as differences: running[i + step] = line[i] + line[i - step] + ... */
template <int step, class S, class T>
[[gnu::flatten]] static void ownBoxByRunning(S* out, const T* line, int32_t width, const OwnWindowRow& row, S* running)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes;
    const ptrdiff_t n = (row.n + 63) / 64 * 64, reach = width * (ptrdiff_t)step;
    OwnVec<S> before = {};
    ownStore(running, before);
    for (ptrdiff_t i = 0; i < n + reach - step; i += lanes)
        ownStore(running + step + i, ownRunningSum<step>(ownBoxLoad<S>(line + i), before));
    for (ptrdiff_t i = 0; i < n; i += lanes)
        ownStore(out + i, ownLoad<S>(running + reach + i) - ownLoad<S>(running + i));
}

/* out[i] = the sum over c below width of line[i + c step], for n samples, rounded up to whole blocks. levels: rows of
 * lineSamples, ownBoxLevels of them. */
template <class S, class T>
static void ownBoxRow(S* out, const T* line, int32_t width, const OwnWindowRow& row, S* levels)
{
    if constexpr (std::is_integral_v<S>) {
        if (width < 6) return ownBoxOfFew(out, line, width, row);
        switch (row.step) {
        case 1: return ownBoxByRunning<1>(out, line, width, row, levels);
        case 2: return ownBoxByRunning<2>(out, line, width, row, levels);
        case 3: return ownBoxByRunning<3>(out, line, width, row, levels);
        case 4: return ownBoxByRunning<4>(out, line, width, row, levels);
        }
    }
    ownBoxByLevels(out, line, width, row, levels);
}

#endif
