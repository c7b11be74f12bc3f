/* ownorder: the median by the order of the samples of a patch, for depths of which histograms would be too large.
 *
 * A patch is a tile of results with the samples that their windows reach. Its samples are sorted once, by digits, and each
 * gets its place in that order. Then a set of samples is a row of bits: the set of a window changes by the set of a column
 * that comes and that of one that goes, a vector of places at a time, and that of a column by a place that comes and one
 * that goes. The median is the bit that as many bits lie below as its rank says; it is followed from word to word, and how
 * many samples are below a word changes by what a comparison finds in the two columns.
 *
 * Results come as many rows at a time as a tile has; so the lines of a patch are asked for, and rows are handed out. */
#include <bit>

#include "ownrank.h"
#include "ownsimd.h"

/* ---- The patch ---------------------------------------------------------------------------------------------------- */

enum { OWN_TILE_SIDE = 32, OWN_MOST_PLACES = 32767, OWN_DIGIT = 256 };

/* Sizes; columns of places are whole vectors apart, since a place is found by column. */
struct OwnPatch {
    ptrdiff_t nCols, nRows, tileRows, lines, columnPlaces, mostPlaces, setBytes;
    explicit OwnPatch(const OwnRank& rank)
        : nCols((ptrdiff_t)rank.nCols), nRows((ptrdiff_t)rank.nRows), tileRows((ptrdiff_t)rank.tileRows),
          lines(nRows + tileRows - 1), columnPlaces((lines + 63) / 32 * 32), mostPlaces(columns() * columnPlaces),
          setBytes((columns() * lines + 511) / 512 * 64)
    {
    }
    ptrdiff_t columns() const { return OWN_TILE_SIDE + nCols - 1; }
};

/* The scratch of a patch: its places by column, its samples in order, the sets of its columns and of a window, and what
 * sorting needs. */
template <class T> struct OwnPlaces {
    typedef std::make_unsigned_t<T> U;
    typedef std::conditional_t<sizeof(T) == 2, uint32_t, uint64_t>
        Entry; /* a sample, and above it where its place goes */
    static constexpr int bits = 8 * sizeof(T), digits = sizeof(T);
    static constexpr U flip = std::is_signed_v<T> ? (U)((U)1 << (bits - 1)) : 0; /* turns values' order into bits' */

    const OwnPatch& patch;
    uint32_t count[digits][OWN_DIGIT];
    uint16_t* places;
    T* values;
    uint8_t *columnSets, *window;
    Entry* entries[2];

    static int64_t bytes(const OwnPatch& p)
    {
        return p.mostPlaces * (int64_t)(sizeof(uint16_t) + sizeof(T) + 2 * sizeof(Entry)) +
               p.setBytes * (p.columns() + 1);
    }
    OwnPlaces(const OwnPatch& p, uint8_t* scratch) : patch(p)
    {
        columnSets = scratch;
        window = columnSets + p.columns() * p.setBytes;
        entries[0] = (Entry*)(window + p.setBytes);
        entries[1] = entries[0] + p.mostPlaces;
        values = (T*)(entries[1] + p.mostPlaces);
        places = (uint16_t*)(values + p.mostPlaces);
    }
    uint8_t* setOf(ptrdiff_t column) const { return columnSets + column * patch.setBytes; }
    uint16_t* placesOf(ptrdiff_t column) const { return places + column * patch.columnPlaces; }

    /* Samples to places, by digits from the lowest on. */
    void sort(const uint8_t* const* rows, ptrdiff_t at, ptrdiff_t step, ptrdiff_t nColumns)
    {
        const auto each = [&](auto f) {
            for (ptrdiff_t r = 0; r < patch.lines; ++r) {
                const U* line = (const U*)rows[r] + at;
                for (ptrdiff_t c = 0; c < nColumns; ++c) f((U)(line[c * step] ^ flip), c * patch.columnPlaces + r);
            }
        };
        memset(count, 0, sizeof(count));
        each([&](U sample, ptrdiff_t) {
            for (int d = 0; d < digits; ++d) ++count[d][sample >> 8 * d & (OWN_DIGIT - 1)];
        });
        for (int d = 0; d < digits; ++d) {
            uint32_t from = 0;
            for (uint32_t& n : count[d]) n = (from += n) - n;
        }
        each([&](U sample, ptrdiff_t to) {
            entries[0][count[0][sample & (OWN_DIGIT - 1)]++] = (Entry)sample | (Entry)to << bits;
        });
        const ptrdiff_t n = patch.lines * nColumns;
        for (int d = 1; d < digits - 1; ++d) {
            const Entry* from = entries[(d - 1) & 1];
            for (ptrdiff_t i = 0; i < n; ++i) entries[d & 1][count[d][from[i] >> 8 * d & (OWN_DIGIT - 1)]++] = from[i];
        }
        const Entry* from = entries[digits & 1];
        for (ptrdiff_t i = 0; i < n; ++i) {
            const ptrdiff_t place = count[digits - 1][(U)from[i] >> (bits - 8)]++;
            values[place] = (T)((U)from[i] ^ flip);
            places[from[i] >> bits] = (uint16_t)place;
        }
    }
};

/* ---- Sets of places ------------------------------------------------------------------------------------------------- */

static inline void ownTurnPlace(uint8_t* set, uint16_t place)
{
    ((uint64_t*)set)[place >> 6] ^= (uint64_t)1 << (place & 63);
}

/* a changes by what is in one of both. */
static inline void ownTurnSets(uint8_t* a, const uint8_t* come, const uint8_t* gone, ptrdiff_t nBytes)
{
    for (ptrdiff_t i = 0; i < nBytes; i += OWN_VEC_BYTES)
        ownStore(a + i, ownLoad<uint64_t>(a + i) ^ ownLoad<uint64_t>(come + i) ^ ownLoad<uint64_t>(gone + i));
}

/* By how many more of n places from `come` on than of those from `gone` on are below an end. */
static inline ptrdiff_t ownMoreBelow(const uint16_t* come, const uint16_t* gone, ptrdiff_t n, ptrdiff_t end)
{
    typedef OwnVec<int16_t> V;
    constexpr ptrdiff_t lanes = V::lanes;
    const V ends = ownSet((int16_t)end);
    const auto more = [=](ptrdiff_t i) {
        return ownGreater(ends, ownLoad<int16_t>(gone + i)) - ownGreater(ends, ownLoad<int16_t>(come + i));
    };
    V sum = {};
    ptrdiff_t i = 0;
    for (; i + lanes <= n; i += lanes) sum = sum + more(i);
    if (i < n) sum = sum + (more(i) & ownFirstLanes<int16_t>(n - i));
    return ownTotal(ownMulAdd(sum, ownSet((int16_t)1)));
}

/* ---- The row -------------------------------------------------------------------------------------------------------- */

/* One row of a tile, from the sets of its columns. */
template <class T>
static void ownOrderedRow(T* out, const OwnPlaces<T>& order, ptrdiff_t y, ptrdiff_t nResults, ptrdiff_t step,
                          ptrdiff_t target)
{
    const OwnPatch& patch = order.patch;
    const uint64_t* words = (const uint64_t*)order.window;
    for (ptrdiff_t i = 0; i < patch.setBytes; i += OWN_VEC_BYTES) {
        OwnVec<uint64_t> all = {};
        for (ptrdiff_t c = 0; c < patch.nCols; ++c) all = all | ownLoad<uint64_t>(order.setOf(c) + i);
        ownStore(order.window + i, all);
    }
    ptrdiff_t word = 0, below = 0; /* samples below the word */
    for (ptrdiff_t x = 0;; ++x) {
        while (below > target) below -= std::popcount(words[--word]);
        for (int n; below + (n = std::popcount(words[word])) <= target; ++word) below += n;
        out[x * step] = order.values[word * 64 + ownNthOne(words[word], (int)(target - below))];
        if (x == nResults - 1) return;
        ownTurnSets(order.window, order.setOf(x + patch.nCols), order.setOf(x), patch.setBytes);
        below += ownMoreBelow(order.placesOf(x + patch.nCols) + y, order.placesOf(x) + y, patch.nRows, word * 64);
    }
}

/* A tile of results, rows of rowSamples. */
template <class T>
static void ownOrderedTile(T* out, ptrdiff_t rowSamples, OwnPlaces<T>& order, const uint8_t* const* rows, ptrdiff_t at,
                           ptrdiff_t step, ptrdiff_t nResults, ptrdiff_t target)
{
    const OwnPatch& patch = order.patch;
    const ptrdiff_t nColumns = nResults + patch.nCols - 1;
    order.sort(rows, at, step, nColumns);
    memset(order.columnSets, 0, (size_t)(nColumns * patch.setBytes));
    for (ptrdiff_t c = 0; c < nColumns; ++c)
        for (ptrdiff_t r = 0; r < patch.nRows; ++r) ownTurnPlace(order.setOf(c), order.placesOf(c)[r]);
    for (ptrdiff_t y = 0;; ++y) {
        ownOrderedRow(out + y * rowSamples + at, order, y, nResults, step, target);
        if (y == patch.tileRows - 1) return;
        for (ptrdiff_t c = 0; c < nColumns; ++c) {
            ownTurnPlace(order.setOf(c), order.placesOf(c)[y]);
            ownTurnPlace(order.setOf(c), order.placesOf(c)[y + patch.nRows]);
        }
    }
}

template <class T> static void ownOrderRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnRank& rank = *(const OwnRank*)row.k;
    const OwnPatch patch(rank);
    int64_t& turn = *(int64_t*)row.scratch;
    uint8_t* scratch = row.scratch + 64;
    T* results = (T*)(scratch + (OwnPlaces<T>::bytes(patch) + 63) / 64 * 64);
    if (row.first) turn = 0;
    if (turn == 0) {
        OwnPlaces<T> order(patch, scratch);
        const ptrdiff_t tile = OWN_TILE_SIDE * row.step;
        for (ptrdiff_t x = 0; x < row.n; x += tile)
            for (ptrdiff_t at = x; at < x + row.step; ++at)
                ownOrderedTile(results, row.lineSamples, order, rows, at, row.step,
                               std::min(row.n - x, tile) / row.step, (ptrdiff_t)rank.rank - 1);
    }
    memcpy(out, results + turn * row.lineSamples, (size_t)row.n * sizeof(T));
    turn = (turn + 1) % patch.tileRows;
}

/* ---- The choice ----------------------------------------------------------------------------------------------------- */

template <class T> static void ownTakeOrder(OwnWindow& window, const OwnPatch& patch)
{
    window.stage = ownOrderRow<T>;
    window.bottom += (int32_t)patch.tileRows - 1;
    window.scratchBytes = 128 + OwnPlaces<T>::bytes(patch);
    window.scratchPerSample = (int64_t)(patch.tileRows * (ptrdiff_t)sizeof(T));
}

bool ownOrderStage(OwnWindow& window, OwnRank& rank)
{
    if (rank.slot < OWN_16U || ownHasFewSamples(rank) || rank.nCols * rank.nRows > OWN_MOST_PLACES) return false;
    const VekImage* dst = window.dstImage;
    rank.tileRows = std::min(dst->tileInfo ? dst->tileInfo->height : dst->height, (int32_t)OWN_TILE_SIDE);
    const OwnPatch patch(rank);
    if (patch.mostPlaces > OWN_MOST_PLACES) return false;
    switch (rank.slot) {
    case OWN_16U: ownTakeOrder<uint16_t>(window, patch); return true;
    case OWN_16S: ownTakeOrder<int16_t>(window, patch); return true;
    case OWN_32S: ownTakeOrder<int32_t>(window, patch); return true;
    }
    return false;
}
