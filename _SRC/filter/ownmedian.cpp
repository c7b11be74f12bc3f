/* ownmedian: the sample of a given rank in any window, by a search bit by bit. */
#include "ownrank.h"
#include "ownsimd.h"

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

struct OwnSearch {
    OwnWindowStage* stage;
    int sampleBytes;
};
template <class T> static constexpr OwnSearch ownSearchOf = {ownSearchRow<T>, sizeof(T)};

static const OwnSearch ownSearches[OWN_DEPTHS] = {
    /*  1U */ {}, /* ownOnesStage */
    /*  8U */ ownSearchOf<uint8_t>,
    /*  8S */ ownSearchOf<int8_t>,
    /* 16U */ ownSearchOf<uint16_t>,
    /* 16S */ ownSearchOf<int16_t>,
    /* 32S */ ownSearchOf<int32_t>,
    /* 32F */ {},
};

bool ownSearchStage(OwnWindow& window, OwnRank& rank)
{
    window.stage = ownSearches[rank.slot].stage;
    window.scratchPerSample = rank.nRows * ownSearches[rank.slot].sampleBytes;
    window.scratchBytes = ownPointerRoom(rank);
    return window.stage;
}
