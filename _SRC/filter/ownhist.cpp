/* ownhist: the median of 8-bit samples by histograms of columns.
 *
 * Every column of lines has a histogram of its nRows samples, which changes by the line that comes and the line that goes.
 * The histogram of a window is the sum of its columns', and changes by a column that comes and one that goes; so a result
 * costs the same whatever the window. Counts are kept as sums from the lowest bin up, of the sixteen values of the high four
 * bits, and for each of these of the sixteen values of the low ones: the bin that reaches the rank is the number of sums
 * that don't, and all sixteen change at once. Of the low sums of a window only those are kept that medians fall into. */
#include "ownrank.h"
#include "ownsimd.h"

enum { OWN_BINS = 16 };

/* From the first of these on counts of columns leave a byte, counts of windows the sixteen bits of a signed number. */
static bool ownCountsFit(const OwnRank& rank) { return rank.nRows <= 255 && rank.nCols * rank.nRows <= 32767; }

/* Row v: the change of the sums when a sample comes into bin v; and when one comes into bin v and one leaves bin w. */
struct OwnSteps {
    alignas(16) uint8_t row[OWN_BINS][OWN_BINS], move[OWN_BINS][OWN_BINS][OWN_BINS];
    constexpr OwnSteps() : row(), move()
    {
        for (int v = 0; v < OWN_BINS; ++v)
            for (int bin = v; bin < OWN_BINS; ++bin) row[v][bin] = 1;
        for (int v = 0; v < OWN_BINS; ++v)
            for (int w = 0; w < OWN_BINS; ++w)
                for (int bin = 0; bin < OWN_BINS; ++bin) move[v][w][bin] = (uint8_t)(row[v][bin] - row[w][bin]);
    }
};
static constexpr OwnSteps ownSteps;

/* The columns' sums: by sample of the line the high ones, then for each high value the low ones. */
struct OwnColumns {
    uint8_t* high;
    uint8_t* low;
    ptrdiff_t lineSamples;
    uint8_t* highOf(ptrdiff_t i) const { return high + i * OWN_BINS; }
    uint8_t* lowOf(int v, ptrdiff_t i) const { return low + (v * lineSamples + i) * OWN_BINS; }
};

/* A line comes, and one goes (null: none). */
static void ownMoveLines(const OwnColumns& columns, const uint8_t* come, const uint8_t* gone, ptrdiff_t n, uint8_t flip)
{
    const ptrdiff_t plane = columns.lineSamples * OWN_BINS;
    uint8_t *high = columns.high, *low = columns.low;
    for (ptrdiff_t i = 0; i < n; ++i, high += OWN_BINS, low += OWN_BINS) {
        const int in = come[i] ^ flip;
        ownBinsStep(low + (in >> 4) * plane, ownSteps.row[in & 15], nullptr);
        if (!gone) ownBinsStep(high, ownSteps.row[in >> 4], nullptr);
        else {
            const int out = gone[i] ^ flip;
            ownBinsStep(low + (out >> 4) * plane, nullptr, ownSteps.row[out & 15]);
            ownBinsStep(high, ownSteps.move[in >> 4][out >> 4], nullptr);
        }
    }
}

/* The sums of a window whose first column's are at p. */
static inline OwnBins16 ownWindowSums(const uint8_t* p, ptrdiff_t step, ptrdiff_t span)
{
    OwnBins16 sums = {};
    for (ptrdiff_t c = 0; c < span; c += step) sums += ownBinsLoad(p + c * OWN_BINS);
    return sums;
}

/* The results of one channel, `step` samples apart. The low sums of two high values go along, those that medians were last
 * found in; mostly a row needs no others. */
static void ownSlide(uint8_t* out, const OwnColumns& columns, ptrdiff_t first, const OwnWindowRow& row, uint8_t flip)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t step = row.step, span = (ptrdiff_t)rank.nCols * step, n = row.n;
    const ptrdiff_t stepBytes = step * OWN_BINS, spanBytes = span * OWN_BINS;
    const int k = (int)rank.rank;
    int vA = -1, vB = -1; /* the two high values: none yet */
    bool inB = true;      /* where the last median was found */
    const uint8_t *p = columns.highOf(first), *pA = columns.lowOf(0, first), *pB = pA;
    OwnBins16 high = ownWindowSums(p, step, span), lowA = {}, lowB = {};
    for (ptrdiff_t i = first; i < n; i += step) {
        int below, unused;
        const int v = ownBinsBelow(high, k, &below);
        if (v != vA && v != vB) {
            if (inB) {
                vA = v;
                pA = columns.lowOf(v, i);
                lowA = ownWindowSums(pA, step, span);
            } else {
                vB = v;
                pB = columns.lowOf(v, i);
                lowB = ownWindowSums(pB, step, span);
            }
        }
        inB = v == vB;
        const int low = ownBinsBelow(ownBinsSelect(inB, lowB, lowA), k - below, &unused);
        out[i] = (uint8_t)((v << 4 | low) ^ flip);
        high += ownBinsLoad(p + spanBytes) - ownBinsLoad(p);
        lowA += ownBinsLoad(pA + spanBytes) - ownBinsLoad(pA);
        lowB += ownBinsLoad(pB + spanBytes) - ownBinsLoad(pB);
        p += stepBytes;
        pA += stepBytes;
        pB += stepBytes;
    }
}

template <uint8_t flip> static void ownColumnsRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t nRows = (ptrdiff_t)rank.nRows, line = row.n + (ptrdiff_t)(rank.nCols - 1) * row.step;
    const OwnColumns columns = {row.scratch, row.scratch + row.lineSamples * OWN_BINS, row.lineSamples};
    uint8_t* gone = columns.lowOf(OWN_BINS, 0); /* the line that was the first of the window before */
    if (row.first) {
        memset(row.scratch, 0, (size_t)row.lineSamples * OWN_BINS * (OWN_BINS + 1));
        for (ptrdiff_t r = 0; r < nRows; ++r) ownMoveLines(columns, rows[r], nullptr, line, flip);
    } else ownMoveLines(columns, rows[nRows - 1], gone, line, flip);
    memcpy(gone, rows[0], (size_t)line);
    for (ptrdiff_t channel = 0; channel < row.step; ++channel) ownSlide((uint8_t*)out, columns, channel, row, flip);
}

/* ---- The choice ----------------------------------------------------------------------------------------------------- */

bool ownHistogramStage(OwnWindow& window, const OwnRank& rank)
{
    if ((rank.slot != OWN_8U && rank.slot != OWN_8S) || ownHasFewSamples(rank) || !ownCountsFit(rank)) return false;
    /* Bins are in the order of values: of 8S the sample plus 128. */
    window.stage = rank.slot == OWN_8S ? ownColumnsRow<0x80> : ownColumnsRow<0>;
    window.scratchPerSample = OWN_BINS * (OWN_BINS + 1) + 1;
    return true;
}
