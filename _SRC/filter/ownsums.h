/* ownsums.h: weighted sums of a window's samples, and sums turned into samples.
 *
 * A row of sums lies in the order in which ownUnpack widens a vector of samples, once for sums of 16 bits and down to 32
 * bits for the others; steps on single sums need not know it, and ownSumsToSamples brings the samples back in order. Rows
 * of 16 and of 32 bits meet only after ownUnpack. */
#ifndef OWNSUMS_H
#define OWNSUMS_H

#include "own.h"

enum OwnSumKind { OWN_SUM_16, OWN_SUM_32, OWN_SUM_FLOAT };

/* Room for a row of sums of any kind, for each of lineSamples. */
enum { OWN_SUM_BYTES = 4 };

/* A tap: its place in the window, counted from the corner, and its weight. */
struct OwnTap {
    int32_t row, column;
    int32_t weight;
    float real; /* of kind OWN_SUM_FLOAT */
};

/* sums[i] = start + the sum of a run of taps. at[k]: where the samples of tap k for sum 0 begin. weights: as the kind of
 * the function wants them. */
typedef void OwnSumRun(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps, int32_t start,
                       ptrdiff_t n);

/* How integer sums become samples at once, without a row of sums between: (s + bias + ((s >> shift) & last)) >> shift, held
 * to the range of the depth. With bias 2^shift / 2 - 1 and last 1 that is the nearest to s / 2^shift, ties to even. */
struct OwnSumEnd {
    int32_t bias, last;
    int shift;
};
typedef void OwnSumToSamples(void* samples, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                             int32_t start, const OwnSumEnd& end, ptrdiff_t n);

/* What is multiplied at a time: tap by tap, or two taps, whose places follow each other; or two that lie side by side,
 * whose place is that of the first, with two words of weights. */
struct OwnPlaces {
    ptrdiff_t n;
    OwnTap* at; /* row -1: a group follows, whose sums begin with the weight that stands here */
    uint32_t* weights;
    int32_t start; /* of sums, beside those */
};

/* One weighted sum of samples of a depth. Taps whose weight is 0 are left out by its maker, and come row by row. */
struct OwnSum {
    OwnSumKind kind;
    uint32_t depth;
    bool arePairs;  /* taps are multiplied two by two: then ownSumRowToSamples serves */
    bool areGroups; /* so are they, in groups whose sums have 16 bits and make one of 32 */
    OwnSumRun* run; /* otherwise */
    ptrdiff_t nTaps;
    OwnTap* taps;
    OwnPlaces places, besides; /* besides: side by side; none where that is no use */
    int32_t nDense;            /* the taps of a row where each row has all of them; otherwise 0 */
};

/* The row with its samples rounded up to whole blocks of that order: steps on single sums take all of a block. */
static inline OwnWindowRow ownWholeBlocks(OwnWindowRow row)
{
    row.n = (row.n + 63) / 64 * 64;
    return row;
}

/* Places of the two kinds: each tap has one, or is in two that lie side by side; any may be halved, and a group may begin
 * at each. */
constexpr int64_t ownMostPlaces(int64_t nTaps) { return 4 * (nTaps + 1); }
constexpr int64_t ownMostBesides(int64_t nTaps) { return 4 * (2 * nTaps + 1); }

/* Bytes that a sum of nTaps taps needs beside its record, a multiple of 8. */
constexpr int64_t ownSumRoom(int64_t nTaps)
{
    const int64_t most = ownMostPlaces(nTaps), mostBesides = ownMostBesides(nTaps);
    return ((nTaps + most + mostBesides) * (int64_t)sizeof(OwnTap) +
            (most + 2 * mostBesides) * (int64_t)sizeof(uint32_t) + 7) /
           8 * 8;
}

/* Bytes of the stage's scratch in which ownSumRow keeps its pointers, a multiple of 64. */
int64_t ownSumPointers(int64_t nTaps);

/* Lays a sum out in `room`; its taps are then to be stored, and finished by ownFinishSum. */
void ownStartSum(OwnSum* sum, void* room, int64_t nTaps);

/* Chooses the run for taps that are stored. OWN_SUM_16 is asked for where all sums, of whatever taps, fit 16 bits; the
 * kind becomes OWN_SUM_32 where no run keeps to 16 bits. OWN_SUM_32 wraps. sampleMax: the largest magnitude of a sample. */
void ownFinishSum(OwnSum* sum, OwnSumKind kind, uint32_t depth, int32_t sampleMax);

/* A row of samples straight from the lines of a window, for a sum of pairs; shift is below the bits of a sum. */
void ownSumRowToSamples(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* out,
                        const OwnSumEnd& end, uint8_t* pointers);

/* A row of sums from the lines of a window. Those of 32F are written in units of OWN_OUT_UNIT, others in whole blocks. */
void ownSumRow(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* sums, uint8_t* pointers);

/* Two rows of a dense sum of 32F, from one line more, the second outStep bytes behind the first. */
void ownSumTwoRows(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* sums);

/* Sums to samples of a depth: integers shifted right, by their sign, floats rounded to nearest-even, and held to its range;
 * 32F as they are. Writes whole vectors. */
void ownSumsToSamples(void* out, const void* sums, OwnSumKind kind, int shift, uint32_t depth, ptrdiff_t n);

#endif
