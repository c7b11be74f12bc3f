/* ownextreme: the largest or smallest sample of a window, a row at a time: down the lines, then across.
 *
 * Down, van Herk and Gil-Werman: every nRows rows the window is a whole group of lines, and the extrema of its last 1, 2,
 * 3, ... lines are kept. Until the next group a window is the end of that group and the lines that have come since, whose
 * extremum grows line by line. So a row costs three extrema whatever the height. */
#include "ownrank.h"

/* What is kept from row to row. */
struct OwnStretch {
    int64_t since; /* lines that have come since the group was whole */
};

/* The stage's scratch: the group, and rows of lineSamples samples. */
struct OwnExtremeRows {
    OwnStretch* group;
    uint8_t* rows;
    ptrdiff_t rowBytes;
    uint8_t* down() const { return rows; }
    uint8_t* across() const { return rows + rowBytes; }
    uint8_t* come() const { return rows + 2 * rowBytes; }
    uint8_t* end(int64_t i) const { return rows + (3 + i) * rowBytes; } /* the extrema of lines i to the last */
};

enum { OWN_GROUP_BYTES = 64, OWN_FEW_ROWS = 6 };

static const uint8_t* ownDownLines(const OwnBox& box, const OwnRank& rank, const OwnExtremeRows& s,
                                   const uint8_t* const* rows, bool first, ptrdiff_t n, ptrdiff_t lineBytes)
{
    const int64_t nRows = rank.nRows;
    if (nRows == 1) return rows[0];
    if (nRows <= OWN_FEW_ROWS) {
        box.pile(s.down(), rows, (ptrdiff_t)nRows, n);
        return s.down();
    }
    if (first || ++s.group->since == nRows) {
        s.group->since = 0;
        box.join(s.end(nRows - 2), rows[nRows - 2], rows[nRows - 1], n);
        for (int64_t i = nRows - 3; i >= 0; --i) box.join(s.end(i), s.end(i + 1), rows[i], n);
        memcpy(s.end(nRows - 1), rows[nRows - 1], (size_t)lineBytes); /* the line itself may be gone by then */
        return s.end(0);
    }
    const int64_t since = s.group->since;
    if (since == 1) memcpy(s.come(), rows[nRows - 1], (size_t)lineBytes);
    else box.join(s.come(), s.come(), rows[nRows - 1], n);
    box.join(s.down(), s.end(since), s.come(), n);
    return s.down();
}

static void ownExtremeRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const OwnBox& box = (rank.largest ? ownBoxMax : ownBoxMin)[rank.slot];
    const bool bits = rank.slot == OWN_1U;
    const ptrdiff_t bytes = rank.slot <= OWN_8S ? 1 : rank.slot <= OWN_16S ? 2 : 4;
    const ptrdiff_t rowBytes = bits ? row.lineSamples >> 3 : row.lineSamples * bytes;
    const OwnExtremeRows s = {(OwnStretch*)row.scratch, row.scratch + OWN_GROUP_BYTES, rowBytes};

    /* Samples of 1-bit lines are bytes of bits here. */
    const auto length = [&](int64_t more) {
        const ptrdiff_t n = row.n + (ptrdiff_t)more * row.step;
        return bits ? (n + 7) >> 3 : n;
    };
    if (rank.nCols == 3 && rank.nRows == 3 && !bits) {
        uint8_t* to = (uint8_t*)out;
        if (box.three(&to, rows, 1, row.n, row.step, nullptr)) return;
    }
    const ptrdiff_t line = length(rank.nCols - 1);
    const uint8_t* in = ownDownLines(box, rank, s, rows, row.first, line, line * bytes);
    int64_t span = 1;
    for (int i = 0; i < rank.plan.count; ++i) {
        OwnReach reach = rank.plan.pass[i];
        span += reach.at[reach.count - 1];
        for (int k = 0; k < reach.count; ++k) reach.at[k] *= row.step;
        void* to = i == rank.plan.count - 1 ? out : s.across();
        box.across(to, in, reach, length(rank.nCols - span));
        in = s.across();
    }
}

void ownExtremeStage(OwnWindow& window, OwnRank& rank)
{
    rank.plan = ownBoxPlan(rank.nCols, 1, rank.slot == OWN_1U);
    const int64_t bytes = rank.slot <= OWN_8S ? 1 : rank.slot <= OWN_16S ? 2 : 4;
    window.stage = ownExtremeRow;
    window.asBits = true;
    window.scratchBytes = OWN_GROUP_BYTES;
    window.scratchPerSample = (rank.nRows > OWN_FEW_ROWS ? rank.nRows + 3 : 2) * bytes;
}
