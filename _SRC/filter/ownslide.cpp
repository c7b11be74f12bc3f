/* ownslide: the median of 8- and 16-bit samples by one histogram that slides along a row, for windows whose counts histograms
 * of columns can't hold, and for depths of which they would be too large.
 *
 * From a result to the next one a column of samples goes and one comes: a result costs its window's height. The median is
 * followed from bin to bin, from group to group of sixteen where it goes far. */
#include "ownrank.h"

enum { OWN_GROUP = 32 };

/* The window's histogram, and where its median is. */
struct OwnSlide {
    uint32_t *bins, *groups;
    size_t below; /* samples in bins under the median's */
    size_t median;

    void come(size_t bin)
    {
        ++bins[bin];
        ++groups[bin / OWN_GROUP];
        below += bin < median;
    }
    void go(size_t bin)
    {
        --bins[bin];
        --groups[bin / OWN_GROUP];
        below -= bin < median;
    }
    /* The first bin up to which there are `rank` samples; there are so many in all. Down or up: to the end of the group, by
     * groups, to the bin. */
    void seek(size_t rank)
    {
        size_t m = median, n = below;
        for (; n >= rank && m % OWN_GROUP; n -= bins[m]) --m;
        if (n >= rank) {
            size_t g = m / OWN_GROUP;
            for (; n - groups[g - 1] >= rank; --g) n -= groups[g - 1];
            for (m = g * OWN_GROUP; n >= rank; n -= bins[m]) --m;
        }
        for (; n + bins[m] < rank && m % OWN_GROUP; ++m) n += bins[m];
        if (m % OWN_GROUP == 0) {
            size_t g = m / OWN_GROUP;
            for (; n + groups[g] < rank; ++g) n += groups[g];
            for (m = g * OWN_GROUP; n + bins[m] < rank; ++m) n += bins[m];
        }
        median = m;
        below = n;
    }
};

/* `flip` turns the order of T's bits into that of its values. */
template <class T> struct OwnSlideBins {
    typedef std::make_unsigned_t<T> U;
    static constexpr size_t count = (size_t)1 << 8 * sizeof(T), flip = std::is_signed_v<T> ? count / 2 : 0;
    static constexpr size_t bytes = (count + count / OWN_GROUP) * sizeof(uint32_t);
    static size_t of(const uint8_t* line, ptrdiff_t i) { return ((const U*)line)[i] ^ flip; }
};

template <class T> static void ownSlideRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    typedef OwnSlideBins<T> Bins;
    const OwnRank& rank = *(const OwnRank*)row.k;
    const ptrdiff_t step = row.step, span = (ptrdiff_t)rank.nCols * step, nRows = (ptrdiff_t)rank.nRows;
    OwnSlide slide = {(uint32_t*)row.scratch, (uint32_t*)row.scratch + Bins::count, 0, Bins::count / 2};
    if (row.first) memset(row.scratch, 0, Bins::bytes); /* each row leaves it empty */
    for (ptrdiff_t channel = 0; channel < step; ++channel) {
        for (ptrdiff_t i = channel; i < channel + span; i += step)
            for (ptrdiff_t r = 0; r < nRows; ++r) slide.come(Bins::of(rows[r], i));
        ptrdiff_t i = channel;
        for (;; i += step) {
            slide.seek((size_t)rank.rank);
            const auto median = (typename Bins::U)(slide.median ^ Bins::flip);
            memcpy((uint8_t*)out + i * (ptrdiff_t)sizeof(T), &median, sizeof(T));
            if (i + step >= row.n) break;
            for (ptrdiff_t r = 0; r < nRows; ++r) {
                slide.go(Bins::of(rows[r], i));
                slide.come(Bins::of(rows[r], i + span));
            }
        }
        for (ptrdiff_t end = i + span; i < end; i += step)
            for (ptrdiff_t r = 0; r < nRows; ++r) slide.go(Bins::of(rows[r], i));
    }
}

/* ---- The choice ----------------------------------------------------------------------------------------------------- */

template <class T> static bool ownTakeSlide(OwnWindow& window)
{
    window.stage = ownSlideRow<T>;
    window.scratchBytes = OwnSlideBins<T>::bytes;
    return true;
}

bool ownSlidingStage(OwnWindow& window, OwnRank& rank)
{
    if (ownHasFewSamples(rank) || rank.nCols * rank.nRows > (int64_t)std::numeric_limits<uint32_t>::max()) return false;
    switch (rank.slot) {
    case OWN_8U: return ownTakeSlide<uint8_t>(window);
    case OWN_8S: return ownTakeSlide<int8_t>(window);
    case OWN_16U: return ownTakeSlide<uint16_t>(window);
    case OWN_16S: return ownTakeSlide<int16_t>(window);
    }
    return false;
}
