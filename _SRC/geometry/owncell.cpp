/* owncell: the row kernels of super-sampling. The rows of a box are added first, for all columns; then its columns. */
#include "owncell.h"

#include "own.h"
#include "ownsimd.h"

/* A 1-bit sample, among the types of samples. */
struct OwnCellBit {};

/* ---- Rows ------------------------------------------------------------------------------------------------------ */

/* As many samples as a vector of A has lanes. */
template <class T, class A> static inline OwnVec<A> ownCellSamples(const uint8_t* row, ptrdiff_t i)
{
    if constexpr (std::is_same_v<T, OwnCellBit>) return ownBitLanes<A>(row + (i >> 3)) & ownSet<A>(1);
    else return ownLoadWide<A, T>(row + i * (ptrdiff_t)sizeof(T));
}

template <class T, class A> static inline A ownCellSample(const uint8_t* row, ptrdiff_t i)
{
    if constexpr (std::is_same_v<T, OwnCellBit>) return row[i >> 3] >> (7 - (i & 7)) & 1;
    else {
        T sample;
        memcpy(&sample, row + i * (ptrdiff_t)sizeof(T), sizeof(T));
        return sample;
    }
}

/* nVectors vectors of sums from i on. */
template <class T, class A, int nVectors, bool weighted>
static inline void ownSumStrip(A* sums, const uint8_t* data, ptrdiff_t rowStep, const OwnCell& box, ptrdiff_t i)
{
    constexpr ptrdiff_t lanes = OwnVec<A>::lanes;
    OwnVec<A> sum[nVectors] = {};
    for (int32_t y = box.first; y <= box.last; ++y, data += rowStep) {
        const OwnVec<A> weight = ownSet<A>((A)box.weight(y));
        for (int k = 0; k < nVectors; ++k) {
            const OwnVec<A> v = ownCellSamples<T, A>(data, i + k * lanes);
            if constexpr (weighted) sum[k] = sum[k] + v * weight;
            else sum[k] = sum[k] + v;
        }
    }
    for (int k = 0; k < nVectors; ++k) ownStore(sums + i + k * lanes, sum[k]);
}

/* Whole vectors of sums; returns how many sums that are. The last vector of bits would be read beyond the row. */
template <class T, class A, bool weighted>
[[gnu::flatten]] static ptrdiff_t ownSumStrips(A* sums, const uint8_t* data, ptrdiff_t rowStep, const OwnCell& box,
                                               ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<A>::lanes, wide = 4 * lanes;
    ptrdiff_t i = 0;
    for (; i <= n - wide; i += wide) ownSumStrip<T, A, 4, weighted>(sums, data, rowStep, box, i);
    for (; i <= n - lanes; i += lanes) ownSumStrip<T, A, 1, weighted>(sums, data, rowStep, box, i);
    return i;
}

template <class T, class A>
static void ownSumCellRows(void* out, const uint8_t* data, ptrdiff_t rowStep, const OwnCell& box, ptrdiff_t n)
{
    A* const sums = (A*)out;
    const bool weighted = box.firstWeight != 1 || (box.last > box.first && (box.lastWeight != 1 || box.one != 1));
    ptrdiff_t i = 0;
    if constexpr (sizeof(A) < 8)
        i = weighted ? ownSumStrips<T, A, true>(sums, data, rowStep, box, n)
                     : ownSumStrips<T, A, false>(sums, data, rowStep, box, n);
    std::fill(sums + i, sums + n, (A)0);
    for (int32_t y = box.first; y <= box.last; ++y, data += rowStep)
        for (ptrdiff_t k = i; k < n; ++k) sums[k] = (A)(sums[k] + ownCellSample<T, A>(data, k) * (A)box.weight(y));
}

/* ---- Boxes of any width ---------------------------------------------------------------------------------------- */

/* The mean of a box, rounded half up. Means are multiples of 1 / area, and so none of sum + 1/4 parts lies where rounding
 * of the quotient could reach the half: the result is exact. */
template <class T> struct OwnCellMean {
    typedef T Result;
    double perArea;
    explicit OwnCellMean(int64_t area) : perArea(1.0 / (double)area) {}
    Result operator()(int64_t sum) const { return (T)(int32_t)(((double)sum + 0.25) * perArea + 0.5); }
};
template <> struct OwnCellMean<OwnCellBit> {
    typedef uint8_t Result;
    int64_t area;
    explicit OwnCellMean(int64_t boxArea) : area(boxArea) {}
    Result operator()(int64_t sum) const { return 2 * sum >= area ? 0xFF : 0; }
};

template <class T, class A> static void ownMeanCells(void* out, const OwnCellRow& row, int32_t from, int32_t to)
{
    typedef typename OwnCellMean<T>::Result Result;
    OwnCellMean<T> mean(1);
    int64_t total = -1;
    uint8_t* p = (uint8_t*)out + from * (ptrdiff_t)row.count * (ptrdiff_t)sizeof(Result);
    for (int32_t j = from; j < to; ++j) {
        const OwnCell& box = row.boxes[j];
        if (box.total != total) mean = OwnCellMean<T>((total = box.total) * row.rowsTotal);
        const A* const sums = (const A*)row.sums;
        const A *first = sums + box.first * row.pixelStep, *last = sums + box.last * row.pixelStep;
        for (int32_t c = 0; c < row.count; ++c, ++first, ++last, p += sizeof(Result)) {
            int64_t inner = 0;
            for (const A* s = first + row.pixelStep; s < last; s += row.pixelStep) inner += (int64_t)*s;
            const Result result = mean((int64_t)*first * box.firstWeight + inner * box.one +
                                       (int64_t)*last * box.lastWeight);
            memcpy(p, &result, sizeof(Result));
        }
    }
}

/* ---- Boxes of whole samples ------------------------------------------------------------------------------------- */

/* out[i] = the sum of `side` of the n sums from i on, `step` apart, by doubling: of 7 those of 2 and 1, then of 6 and 1.
 * Sums beyond the last box's own are of no meaning. */
template <class A>
[[gnu::flatten]] static const A* ownSumWindows(A* out, const A* sums, int32_t side, ptrdiff_t step, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<A>::lanes;
    const A* from = sums;
    int32_t have = 1;
    for (int32_t bit = (int32_t)std::bit_floor((uint32_t)side) >> 1; bit; bit >>= 1) {
        const A *half = from + have * step, *more = sums + 2 * have * step;
        const bool isOdd = side & bit;
        for (ptrdiff_t i = 0; i < n; i += lanes) {
            OwnVec<A> v = ownLoad<A>(from + i) + ownLoad<A>(half + i);
            if (isOdd) v = v + ownLoad<A>(more + i);
            ownStore(out + i, v);
        }
        have = 2 * have + isOdd;
        from = out;
    }
    return from;
}

/* Neighbours added. */
[[gnu::flatten]] static void ownSumPairs(uint16_t* out, const uint16_t* sums, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<uint32_t>::lanes;
    const auto pairs = [=](ptrdiff_t i) {
        const OwnVec<uint32_t> v = ownLoad<uint32_t>(sums + 2 * i);
        return (v & ownSet<uint32_t>(0xFFFF)) + ownShiftRight(v, 16);
    };
    for (ptrdiff_t i = 0; i < n; i += 2 * lanes) ownStore(out + i, ownNarrow<uint16_t>(pairs(i), pairs(i + lanes)));
}

/* Four vectors of 32-bit lanes (of words two) as samples; from the same formula, which floats hold for bytes. */
template <class T, class A> static inline OwnVec<int32_t> ownMeanLanes(const A* sums, float perArea)
{
    const OwnVec<int32_t> sum = ownAs<int32_t>(ownLoadWide<uint32_t, A>(sums));
    return ownChop((ownToFloat(sum) + ownSet(0.25f)) * ownSet(perArea) + ownSet(0.5f));
}
template <class T, class A> static inline OwnVec<int32_t> ownMeanLanes(const A* sums, double perArea)
{
    const OwnPair<double> sum = ownToDouble(ownAs<int32_t>(ownLoadWide<uint32_t, A>(sums)));
    const OwnVec<double> quarter = ownSet(0.25), scale = ownSet(perArea), half = ownSet(0.5);
    return ownChop(OwnPair<double>{(sum.lo + quarter) * scale + half, (sum.hi + quarter) * scale + half});
}

/* n means. Works on whole vectors, and stores as much of the last one as there is. */
template <class T, class A>
[[gnu::flatten]] static void ownMeanSums(void* out, const A* sums, int64_t area, ptrdiff_t n)
{
    typedef std::conditional_t<std::is_same_v<T, OwnCellBit>, uint8_t, T> Result;
    typedef std::conditional_t<sizeof(Result) == 1, float, double> Real;
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes, step = OwnVec<Result>::lanes;
    const Real perArea = (Real)(1.0 / (double)area);
    const int32_t below = (int32_t)((area + 1) / 2) - 1;
    const auto part = [=](ptrdiff_t i) {
        if constexpr (std::is_same_v<T, OwnCellBit>)
            return ownGreater(ownAs<int32_t>(ownLoadWide<uint32_t, A>(sums + i)), ownSet(below));
        else return ownMeanLanes<T>(sums + i, perArea);
    };
    for (ptrdiff_t i = 0; i < n; i += step) {
        OwnVec<Result> v;
        if constexpr (sizeof(Result) == 2) v = ownNarrow<Result>(part(i), part(i + lanes));
        else if constexpr (std::is_same_v<T, OwnCellBit>)
            v = ownAs<Result>(ownNarrow<int8_t>(ownNarrow<int16_t>(part(i), part(i + lanes)),
                                                ownNarrow<int16_t>(part(i + 2 * lanes), part(i + 3 * lanes))));
        else
            v = ownNarrow<Result>(ownNarrow<int16_t>(part(i), part(i + lanes)),
                                  ownNarrow<int16_t>(part(i + 2 * lanes), part(i + 3 * lanes)));
        uint8_t* to = (uint8_t*)out + i * (ptrdiff_t)sizeof(Result);
        if (n - i >= step) ownStore(to, v);
        else ownStorePart(to, v, n - i);
    }
}

/* Every side-th pixel; step: sums from one of them to the next. */
template <class A, int count> static void ownPickUnits(A* out, const A* sums, ptrdiff_t step, int32_t nColumns)
{
#pragma GCC unroll 4
    for (ptrdiff_t j = 0; j < nColumns; ++j) memcpy(out + j * count, sums + j * step, count * sizeof(A));
}
template <class A> static void ownPickPixels(A* out, const A* sums, ptrdiff_t step, int32_t count, int32_t nColumns)
{
    switch (count) {
    case 1: return ownPickUnits<A, 1>(out, sums, step, nColumns);
    case 3: return ownPickUnits<A, 3>(out, sums, step, nColumns);
    case 4: return ownPickUnits<A, 4>(out, sums, step, nColumns);
    default:
        for (ptrdiff_t j = 0; j < nColumns; ++j) memcpy(out + j * count, sums + j * step, (size_t)count * sizeof(A));
    }
}

template <class T, class A> static void ownMeanSquares(void* out, const OwnCellRow& row, int32_t side, int32_t nColumns)
{
    const ptrdiff_t n = (ptrdiff_t)nColumns * row.count, step = row.pixelStep;
    const A* sums = (const A*)row.sums;
    A* const picked = (A*)row.picked;
    if constexpr (sizeof(A) == 2)
        if (side == 2 && step == 1) {
            ownSumPairs(picked, sums, n);
            return ownMeanSums<T>(out, picked, 2 * row.rowsTotal, n);
        }
    if (side > 1)
        sums = ownSumWindows((A*)row.windows, sums, side, step, ((ptrdiff_t)nColumns * side - 1) * step + row.count);
    if (side > 1 || step != row.count) {
        ownPickPixels(picked, sums, side * step, row.count, nColumns);
        sums = picked;
    }
    ownMeanSums<T>(out, sums, side * row.rowsTotal, n);
}

/* ---- The table ------------------------------------------------------------------------------------------------- */

template <class T, class A> static constexpr OwnCellKernels ownCells()
{
    constexpr int outBytes = (int)sizeof(typename OwnCellMean<T>::Result);
    OwnCellKernels kernels = {(int)sizeof(A), outBytes, ownSumCellRows<T, A>, ownMeanCells<T, A>, nullptr, 0};
    if constexpr (sizeof(A) < 8) {
        kernels.meanSquares = ownMeanSquares<T, A>;
        kernels.squareLimit = sizeof(A) == 2 ? 1 << 16 : std::is_same_v<T, uint8_t> ? 1 << 22 : INT32_MAX;
    }
    return kernels;
}

const OwnCellKernels ownCellKernels[3][3] = {
    /*  1U */ {ownCells<OwnCellBit, uint16_t>(), ownCells<OwnCellBit, uint32_t>(), ownCells<OwnCellBit, uint64_t>()},
    /*  8U */ {ownCells<uint8_t, uint16_t>(), ownCells<uint8_t, uint32_t>(), ownCells<uint8_t, uint64_t>()},
    /* 16U */ {{}, ownCells<uint16_t, uint32_t>(), ownCells<uint16_t, uint64_t>()},
};
