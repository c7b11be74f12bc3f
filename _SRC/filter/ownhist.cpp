/* ownhist: the median of 8-bit samples by histograms of columns.
 *
 * Every column of lines has a histogram of its nRows samples, which changes by the line that comes and the line that goes.
 * The histogram of a window is the sum of its columns', and changes by a column that comes and one that goes; so a result
 * costs the same whatever the window. Counts are kept as sums of all lower bins, of the sixteen values of the high four
 * bits, and for each of these of the sixteen values of the low ones: all sixteen change at once, and of the sums of a window,
 * less its rank, the last negative one is the median's. Of the low sums of a window only those are kept that medians fall
 * into. */
#include "ownrank.h"
#include "ownsimd.h"

enum { OWN_BINS = 16, OWN_COLUMN_BYTES = OWN_BINS * (1 + OWN_BINS) };

/* Row v: what a sample in bin v adds to the sums. */
struct OwnAbove {
    alignas(16) uint8_t row[OWN_BINS][OWN_BINS];
    constexpr OwnAbove() : row()
    {
        for (int v = 0; v < OWN_BINS; ++v)
            for (int bin = v + 1; bin < OWN_BINS; ++bin) row[v][bin] = 1;
    }
};
static constexpr OwnAbove ownAbove;

/* A column's sums: the high ones, then for each high value the low ones. */
static inline uint8_t* ownLowOf(uint8_t* column, int high) { return column + OWN_BINS * (1 + high); }

/* A line comes, and one goes (null: none). */
static void ownMoveLines(uint8_t* column, const uint8_t* come, const uint8_t* gone, ptrdiff_t n, uint8_t flip)
{
    for (ptrdiff_t i = 0; i < n; ++i, column += OWN_COLUMN_BYTES) {
        const int in = come[i] ^ flip;
        ownBinsStep(ownLowOf(column, in >> 4), ownAbove.row[in & 15], nullptr);
        if (!gone) ownBinsStep(column, ownAbove.row[in >> 4], nullptr);
        else {
            const int out = gone[i] ^ flip;
            ownBinsStep(ownLowOf(column, out >> 4), nullptr, ownAbove.row[out & 15]);
            ownBinsStep(column, ownAbove.row[in >> 4], ownAbove.row[out >> 4]);
        }
    }
}

/* The sums of columns from `first` on, `stepBytes` apart. */
template <class U> static OwnBins<U> ownWindowSums(const uint8_t* first, ptrdiff_t stepBytes, ptrdiff_t spanBytes)
{
    OwnBins<U> sums = {};
    for (ptrdiff_t c = 0; c < spanBytes; c += stepBytes) sums.v += ownBinsLoad<U>(first + c).v;
    return sums;
}

/* A column comes to those from `first` on, which goes. */
template <class U> static inline void ownMoveSums(OwnBins<U>& sums, const uint8_t* first, ptrdiff_t spanBytes)
{
    sums.v += ownBinsLoad<U>(first + spanBytes).v - ownBinsLoad<U>(first).v;
}

/* The results of one channel, `step` samples apart. The low sums of two high values go along, those that medians were last
 * found in; mostly a row needs no others. Which of the two a median is in changes too often for a branch. */
template <class U>
static void ownSlide(uint8_t* out, uint8_t* column, const OwnWindowRow& row, const OwnRank& rank, uint8_t flip)
{
    const ptrdiff_t step = row.step, n = row.n;
    const ptrdiff_t stepBytes = step * OWN_COLUMN_BYTES, spanBytes = stepBytes * (ptrdiff_t)rank.nCols;
    OwnBins<U> high = ownWindowSums<U>(column, stepBytes, spanBytes);
    high.v -= (U)rank.rank;
    int vA = ownBinsLastNegative(high), vB = vA; /* the two high values, */
    bool inB = true;                             /* and where the last median was found */
    OwnBins<U> lowA = ownWindowSums<U>(ownLowOf(column, vA), stepBytes, spanBytes), lowB = lowA;
    for (ptrdiff_t i = 0; i < n; i += step, column += stepBytes) {
        const int v = ownBinsLastNegative(high);
        if (__builtin_expect(v != vA && v != vB, 0)) {
            const OwnBins<U> low = ownWindowSums<U>(ownLowOf(column, v), stepBytes, spanBytes);
            if (inB) {
                vA = v;
                lowA = low;
            } else {
                vB = v;
                lowB = low;
            }
        }
        inB = v != vA;
        const U below = high.v[v]; /* less the rank */
        const int a = ownBinsLastNegative<U>({lowA.v + below}), b = ownBinsLastNegative<U>({lowB.v + below});
        out[i] = (uint8_t)((v << 4 | (a ^ ((a ^ b) & -(int)inB))) ^ flip);
        ownMoveSums(high, column, spanBytes);
        ownMoveSums(lowA, ownLowOf(column, vA), spanBytes);
        ownMoveSums(lowB, ownLowOf(column, vB), spanBytes);
    }
}

template <class U, uint8_t flip>
static void ownColumnsRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t nRows = (ptrdiff_t)rank.nRows, line = row.n + (ptrdiff_t)(rank.nCols - 1) * row.step;
    uint8_t *columns = row.scratch,
            *gone = columns + row.lineSamples * OWN_COLUMN_BYTES; /* the last window's first line */
    if (row.first) {
        memset(columns, 0, (size_t)row.lineSamples * OWN_COLUMN_BYTES);
        for (ptrdiff_t r = 0; r < nRows; ++r) ownMoveLines(columns, rows[r], nullptr, line, flip);
    } else ownMoveLines(columns, rows[nRows - 1], gone, line, flip);
    memcpy(gone, rows[0], (size_t)line);
    for (ptrdiff_t channel = 0; channel < row.step; ++channel)
        ownSlide<U>((uint8_t*)out + channel, columns + channel * OWN_COLUMN_BYTES, row, rank, flip);
}

/* ---- The choice ----------------------------------------------------------------------------------------------------- */

template <uint8_t flip> static OwnWindowStage* ownColumnsStage(const OwnRank& rank)
{
    return rank.nCols * rank.nRows <= 255 ? ownColumnsRow<uint8_t, flip> : ownColumnsRow<uint16_t, flip>;
}

/* Counts of columns are bytes, counts of windows signed numbers of 16 bits. */
bool ownHistogramStage(OwnWindow& window, OwnRank& rank)
{
    if ((rank.slot != OWN_8U && rank.slot != OWN_8S) || ownHasFewSamples(rank)) return false;
    if (rank.nRows > 255 || rank.nCols * rank.nRows > 32767) return false;
    /* Bins are in the order of values: of 8S the sample plus 128. */
    window.stage = rank.slot == OWN_8S ? ownColumnsStage<0x80>(rank) : ownColumnsStage<0>(rank);
    window.scratchPerSample = OWN_COLUMN_BYTES + 1;
    return true;
}
