/* ownmedian: the sample of a given rank in a window, without histograms. Networks of minima and maxima for 3 x 3 and 5 x 5,
 * a search bit by bit for other windows. */
#include "ownrank.h"
#include "ownsimd.h"

/* ---- Networks ------------------------------------------------------------------------------------------------- */

/* a and b in ascending order. */
template <class V> static inline void ownOrder(V& a, V& b)
{
    const V low = ownMin(a, b);
    b = ownMax(a, b);
    a = low;
}

template <class V> static inline V ownMiddle(V a, V b, V c) { return ownMax(ownMin(a, b), ownMin(ownMax(a, b), c)); }

/* Five in ascending order, in nine steps. */
template <class V> static inline void ownOrder5(V* x)
{
    ownOrder(x[0], x[1]);
    ownOrder(x[3], x[4]);
    ownOrder(x[2], x[4]);
    ownOrder(x[2], x[3]);
    ownOrder(x[1], x[4]);
    ownOrder(x[0], x[3]);
    ownOrder(x[0], x[2]);
    ownOrder(x[1], x[3]);
    ownOrder(x[1], x[2]);
}

/* Brings the least of n to x[0] and the largest to x[n - 1]. */
template <int n, class V> static inline void ownEnds(V* x)
{
#pragma GCC unroll 8
    for (int i = 0; i < n / 2; ++i) ownOrder(x[i], x[n - 1 - i]);
#pragma GCC unroll 8
    for (int i = 1; i < (n + 1) / 2; ++i) ownOrder(x[0], x[i]);
#pragma GCC unroll 8
    for (int i = n / 2; i < n - 1; ++i) ownOrder(x[i], x[n - 1]);
}

/* The middle one of x[0 .. n - 1] and more[0 .. n - 4]: whatever is least or largest of more than half of them is not the
 * middle, so two are dropped for each that comes. */
template <int n, class V> static inline V ownMiddleOf(V* x, const V* more)
{
    if constexpr (n == 3) return ownMiddle(x[0], x[1], x[2]);
    else {
        ownEnds<n>(x);
        x[0] = more[0];
        return ownMiddleOf<n - 1>(x, more + 1);
    }
}

/* The columns of the window, each in ascending order, lie as rows s[0] (the least) and on. Of nine, ordered by columns, the
 * median is the middle one of the largest least, the middle middle and the least largest. */
template <class T> static inline OwnVec<T> ownMedian3(const T* const* s, ptrdiff_t i, ptrdiff_t step)
{
    typedef OwnVec<T> V;
    const auto at = [=](int r, int c) { return ownLoad<T>(s[r] + i + c * step); };
    const V least = ownMax(ownMax(at(0, 0), at(0, 1)), at(0, 2));
    const V most = ownMin(ownMin(at(2, 0), at(2, 1)), at(2, 2));
    return ownMiddle(least, ownMiddle(at(1, 0), at(1, 1), at(1, 2)), most);
}

/* When the rows are ordered too, the columns stay so; then sample (r, c) has at least (r + 1)(c + 1) samples not above it
 * and (5 - r)(5 - c) not below it. Where either is more than 13 it is not the median, or another of its value is. Thirteen
 * remain, as many having gone below as above, and the median is the middle one of these. */
template <class T> static inline OwnVec<T> ownMedian5(const T* const* s, ptrdiff_t i, ptrdiff_t step)
{
    typedef OwnVec<T> V;
    V x[5][5];
#pragma GCC unroll 5
    for (int r = 0; r < 5; ++r) {
#pragma GCC unroll 5
        for (int c = 0; c < 5; ++c) x[r][c] = ownLoad<T>(s[r] + i + c * step);
        ownOrder5(x[r]);
    }
    /* Of the eight in the first three rows the least and the largest are among the rows' first and last. */
    V least = x[0][3], low = x[1][2], l2 = x[2][1], most = x[2][3], high = x[1][4], h2 = x[0][4];
    ownOrder(least, low);
    ownOrder(least, l2);
    ownOrder(high, most);
    ownOrder(h2, most);
    V y[7] = {low, l2, x[1][3], x[2][2], high, h2, x[3][0]};
    const V more[4] = {x[3][1], x[3][2], x[4][0], x[4][1]};
    return ownMiddleOf<7>(y, more);
}

/* The stage: columns are ordered once for all windows that they are in, into scratch. */
template <class T, int side>
[[gnu::flatten]] static void ownNetworkRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    T* s[side];
    for (int r = 0; r < side; ++r) s[r] = (T*)row.scratch + r * row.lineSamples;
    const ptrdiff_t line = row.n + (side - 1) * row.step + lanes; /* and what the last result's vector reads beyond */
    for (ptrdiff_t i = 0; i < line; i += lanes) {
        OwnVec<T> x[side];
#pragma GCC unroll 5
        for (int r = 0; r < side; ++r) x[r] = ownLoad<T>((const T*)rows[r] + i);
        if constexpr (side == 3) {
            ownOrder(x[0], x[1]);
            ownOrder(x[1], x[2]);
            ownOrder(x[0], x[1]);
        } else ownOrder5(x);
#pragma GCC unroll 5
        for (int r = 0; r < side; ++r) ownStore(s[r] + i, x[r]);
    }
    for (ptrdiff_t i = 0; i < row.n; i += lanes)
        if constexpr (side == 3) ownStore((T*)out + i, ownMedian3<T>(s, i, row.step));
        else ownStore((T*)out + i, ownMedian5<T>(s, i, row.step));
}

/* ---- Bit by bit ------------------------------------------------------------------------------------------------- */

/* The sample of rank k is the largest value that fewer than k samples lie below. It is found from its top bit down; `top`
 * turns the order of values, which signed lanes compare by, into that of bits. */
template <class S>
static constexpr std::make_unsigned_t<S> ownTopBit = (std::make_unsigned_t<S>)1 << (sizeof(S) * 8 - 1);

/* One result, with counts of any size. */
template <class T> static T ownSearchOne(const uint8_t* const* rows, ptrdiff_t at, ptrdiff_t step, const OwnRank& rank)
{
    typedef std::make_unsigned_t<T> U;
    constexpr U flip = std::is_signed_v<T> ? ownTopBit<T> : 0;
    U found = 0;
    for (U bit = ownTopBit<T>; bit; bit >>= 1) {
        const T trial = (T)((found | bit) ^ flip);
        int64_t below = 0;
        for (int64_t r = 0; r < rank.nRows; ++r)
            for (int64_t c = 0; c < rank.nCols; ++c) below += ((const T*)rows[r])[at + (ptrdiff_t)c * step] < trial;
        if (below < rank.rank) found |= bit;
    }
    return (T)(found ^ flip);
}

/* Whether lanes can count a window's samples. */
template <class T> static bool ownCountsFitLanes(const OwnRank& rank)
{
    return rank.nRows * rank.nCols <= (int64_t)std::numeric_limits<std::make_unsigned_t<T>>::max();
}

/* A few vectors of results. */
template <class S, int count>
[[gnu::flatten]] static inline void ownSearch(uint8_t* out, const uint8_t* const* rows, ptrdiff_t at, ptrdiff_t step,
                                              const OwnRank& rank, std::make_unsigned_t<S> flip)
{
    typedef std::make_unsigned_t<S> U;
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes;
    const ptrdiff_t nRows = (ptrdiff_t)rank.nRows, nCols = (ptrdiff_t)rank.nCols;
    const OwnVec<U> most = ownSet((U)(rank.rank - 1)), top = ownSet(ownTopBit<S>);
    OwnVec<U> found[count] = {};
    for (U bit = ownTopBit<S>; bit; bit >>= 1) {
        OwnVec<S> trial[count];
        OwnVec<U> below[count] = {};
        for (int j = 0; j < count; ++j) trial[j] = ownAs<S>((found[j] | ownSet(bit)) ^ top);
        for (ptrdiff_t r = 0; r < nRows; ++r) {
            const S* taps = (const S*)rows[r] + at;
            for (ptrdiff_t c = 0; c < nCols; ++c, taps += step)
                for (int j = 0; j < count; ++j)
                    below[j] = below[j] - ownAs<U>(ownGreater(trial[j], ownLoad<S>(taps + j * lanes)));
        }
        for (int j = 0; j < count; ++j)
            found[j] = found[j] | (ownSet(bit) & ownEqual(ownMin(below[j], most), below[j]));
    }
    for (int j = 0; j < count; ++j) ownStore(out + j * OWN_VEC_BYTES, found[j] ^ ownSet(flip));
}

static int64_t ownPointerRoom(const OwnRank& rank) { return (rank.nRows * (int64_t)sizeof(uint8_t*) + 63) / 64 * 64; }

/* Lines of unsigned samples as signed ones in the same order, in scratch. */
template <class S>
static void ownSignedLines(const uint8_t** signedRows, uint8_t* lines, const uint8_t* const* rows, const OwnRank& rank,
                           const OwnWindowRow& row)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(S);
    const ptrdiff_t line = (row.n + (ptrdiff_t)(rank.nCols - 1) * row.step + OwnVec<S>::lanes) * size;
    const OwnVec<std::make_unsigned_t<S>> top = ownSet(ownTopBit<S>);
    for (ptrdiff_t r = 0; r < (ptrdiff_t)rank.nRows; ++r, lines += row.lineSamples * size) {
        signedRows[r] = lines;
        for (ptrdiff_t i = 0; i < line; i += OWN_VEC_BYTES)
            ownStore(lines + i, ownLoad<std::make_unsigned_t<S>>(rows[r] + i) ^ top);
    }
}

template <class T> static void ownSearchRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    typedef std::make_signed_t<T> S;
    const OwnRank& rank = *(const OwnRank*)row.k;
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    constexpr std::make_unsigned_t<T> flip = std::is_signed_v<T> ? ownTopBit<T> : 0;
    uint8_t* to = (uint8_t*)out;
    if (ownCountsFitLanes<T>(rank)) {
        if (!std::is_signed_v<T>) {
            const uint8_t** signedRows = (const uint8_t**)row.scratch;
            ownSignedLines<S>(signedRows, row.scratch + ownPointerRoom(rank), rows, rank, row);
            rows = signedRows;
        }
        ptrdiff_t i = 0;
        for (; i + 4 * lanes <= row.n; i += 4 * lanes) ownSearch<S, 4>(to + i * size, rows, i, row.step, rank, flip);
        for (; i < row.n; i += lanes) ownSearch<S, 1>(to + i * size, rows, i, row.step, rank, flip);
        return;
    }
    for (ptrdiff_t i = 0; i < row.n; ++i) {
        const T found = ownSearchOne<T>(rows, i, row.step, rank);
        memcpy(to + i * size, &found, sizeof(T));
    }
}

/* ---- The choice --------------------------------------------------------------------------------------------------- */

struct OwnMedianStages {
    OwnWindowStage *network3, *network5, *other;
    int sampleBytes;
};
template <class T>
static constexpr OwnMedianStages ownMedianStages = {ownNetworkRow<T, 3>, ownNetworkRow<T, 5>, ownSearchRow<T>,
                                                    sizeof(T)};

static const OwnMedianStages ownMedians[OWN_DEPTHS] = {
    /*  1U */ {}, /* ownOnesStage */
    /*  8U */ ownMedianStages<uint8_t>,
    /*  8S */ ownMedianStages<int8_t>,
    /* 16U */ ownMedianStages<uint16_t>,
    /* 16S */ ownMedianStages<int16_t>,
    /* 32S */ ownMedianStages<int32_t>,
    /* 32F */ {},
};

void ownMedianStage(OwnWindow& window, const OwnRank& rank)
{
    const OwnMedianStages& stages = ownMedians[rank.slot];
    const bool square3 = rank.nCols == 3 && rank.nRows == 3, square5 = rank.nCols == 5 && rank.nRows == 5;
    window.stage = square3 ? stages.network3 : square5 ? stages.network5 : stages.other;
    window.scratchPerSample = rank.nRows * stages.sampleBytes;
    window.scratchBytes = ownPointerRoom(rank);
}
