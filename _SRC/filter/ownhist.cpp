/* ownhist: the median of 8-bit samples by histograms of columns.
 *
 * Every column of lines has a histogram of its nRows samples, which changes by the line that comes and the line that goes.
 * The histogram of a window is the sum of its columns', and changes by a column that comes and one that goes; so a result
 * costs the same whatever the window. Counts are kept as sums from the lowest bin up, of the sixteen values of the high four
 * bits, and for each of these of the sixteen values of the low ones: the bin that reaches the rank is the number of sums
 * that don't, and all sixteen change at once. Of the low sums of a window only those that a median falls into are brought
 * up to date, when it does. */
#include "ownrank.h"
#include "ownsimd.h"

enum { OWN_BINS = 16, OWN_FEW_SAMPLES = 40 };

/* From the first of these on counts of columns leave a byte, counts of windows the sixteen bits of a signed number. */
static bool ownCountsFit(const OwnRank& rank) { return rank.nRows <= 255 && rank.nCols * rank.nRows <= 32767; }

/* Row v: the change of the sums when a sample comes into bin v. */
struct OwnSteps {
    alignas(16) uint8_t row[OWN_BINS][OWN_BINS];
    constexpr OwnSteps() : row()
    {
        for (int v = 0; v < OWN_BINS; ++v)
            for (int bin = v; bin < OWN_BINS; ++bin) row[v][bin] = 1;
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

static void ownTakeLine(const OwnColumns& columns, const uint8_t* line, ptrdiff_t n, uint8_t flip)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        const int value = line[i] ^ flip, v = value >> 4;
        ownBinsStep(columns.highOf(i), ownSteps.row[v], nullptr);
        ownBinsStep(columns.lowOf(v, i), ownSteps.row[value & 15], nullptr);
    }
}

static void ownDropLine(const OwnColumns& columns, const uint8_t* line, ptrdiff_t n, uint8_t flip)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        const int value = line[i] ^ flip, v = value >> 4;
        ownBinsStep(columns.highOf(i), nullptr, ownSteps.row[v]);
        ownBinsStep(columns.lowOf(v, i), nullptr, ownSteps.row[value & 15]);
    }
}

/* The low sums of a window as it was at result `at`. */
struct OwnLow {
    OwnBins16 sums;
    ptrdiff_t at;
};

/* Brings low sums to result i: step by step, or anew when that is shorter. */
static inline void ownCatchUp(OwnLow& low, const uint8_t* column, ptrdiff_t i, ptrdiff_t step, ptrdiff_t span)
{
    if (low.at < 0 || i - low.at > span / 2) {
        low.sums = OwnBins16{};
        for (ptrdiff_t c = 0; c < span; c += step) low.sums = ownBinsAdd(low.sums, column + (i + c) * OWN_BINS);
    } else {
        for (ptrdiff_t x = low.at; x < i; x += step)
            low.sums = ownBinsMove(low.sums, column + (x + span) * OWN_BINS, column + x * OWN_BINS);
    }
    low.at = i;
}

/* The results of one channel, `step` samples apart. */
static void ownSlide(uint8_t* out, const OwnColumns& columns, ptrdiff_t first, const OwnWindowRow& row, uint8_t flip)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t step = row.step, span = (ptrdiff_t)rank.nCols * step;
    const int k = (int)rank.rank;
    OwnLow low[OWN_BINS];
    for (OwnLow& l : low) l.at = -1;
    OwnBins16 high = {};
    for (ptrdiff_t c = 0; c < span; c += step) high = ownBinsAdd(high, columns.highOf(first + c));
    for (ptrdiff_t i = first; i < row.n; i += step) {
        int below;
        const int v = ownBinsBelow(high, k, &below);
        OwnLow& l = low[v];
        if (l.at != i) ownCatchUp(l, columns.lowOf(v, 0), i, step, span);
        int unused;
        out[i] = (uint8_t)((v << 4 | ownBinsBelow(l.sums, k - below, &unused)) ^ flip);
        high = ownBinsMove(high, columns.highOf(i + span), columns.highOf(i));
    }
}

template <uint8_t flip> static void ownColumnsRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t nRows = (ptrdiff_t)rank.nRows, line = row.n + (ptrdiff_t)(rank.nCols - 1) * row.step;
    const OwnColumns columns = {row.scratch, row.scratch + row.lineSamples * OWN_BINS, row.lineSamples};
    if (row.first) {
        memset(row.scratch, 0, (size_t)row.lineSamples * OWN_BINS * (OWN_BINS + 1));
        for (ptrdiff_t r = 0; r < nRows - 1; ++r) ownTakeLine(columns, rows[r], line, flip);
    }
    ownTakeLine(columns, rows[nRows - 1], line, flip);
    for (ptrdiff_t channel = 0; channel < row.step; ++channel) ownSlide((uint8_t*)out, columns, channel, row, flip);
    ownDropLine(columns, rows[0], line, flip);
}

/* ---- Windows beyond these counts ------------------------------------------------------------------------------------ */

/* One histogram for the row, which changes by a column of samples that comes and one that goes; `below` counts the samples
 * under the bin of the median. */
template <uint8_t flip> static void ownSlidingRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t step = row.step, span = (ptrdiff_t)rank.nCols * step;
    for (ptrdiff_t channel = 0; channel < step; ++channel) {
        int64_t count[256] = {}, below = 0;
        int median = 0;
        const auto change = [&](ptrdiff_t x, int by) {
            for (int64_t r = 0; r < rank.nRows; ++r) {
                const int value = rows[r][x] ^ flip;
                count[value] += by;
                if (value < median) below += by;
            }
        };
        for (ptrdiff_t x = channel; x < channel + span - step; x += step) change(x, 1);
        for (ptrdiff_t i = channel; i < row.n; i += step) {
            change(i + span - step, 1);
            while (below >= rank.rank) below -= count[--median];
            while (below + count[median] < rank.rank) below += count[median++];
            ((uint8_t*)out)[i] = (uint8_t)(median ^ flip);
            change(i, -1);
        }
    }
}

/* ---- The choice ----------------------------------------------------------------------------------------------------- */

bool ownHistogramPays(const OwnRank& rank)
{
    return (rank.slot == OWN_8U || rank.slot == OWN_8S) && rank.nCols * rank.nRows > OWN_FEW_SAMPLES;
}

void ownHistogramStage(OwnWindow& window, const OwnRank& rank)
{
    const bool isSigned = rank.slot == OWN_8S; /* bins in the order of values: the sample plus 128 */
    if (!ownCountsFit(rank)) {
        window.stage = isSigned ? ownSlidingRow<0x80> : ownSlidingRow<0>;
        return;
    }
    window.stage = isSigned ? ownColumnsRow<0x80> : ownColumnsRow<0>;
    window.scratchPerSample = OWN_BINS * (OWN_BINS + 1);
}
