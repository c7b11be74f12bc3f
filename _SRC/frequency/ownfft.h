/* ownfft.h: the complex transform of one length, its tables, and the blocks that a thread keeps for transforms.
 *
 *   X[k] = sum over j of x[j] exp(-2 pi i j k / n)
 *
 * Transforms are taken a bundle at a time, one sequence to a lane, so an element is a cell of a vector of real parts
 * and one of imaginary parts, and no transform ever shuffles lanes. The other sign of the exponent is the same
 * transform with the two parts of every cell exchanged on the way in and out. */
#ifndef OWN_FFT_H
#define OWN_FFT_H

#include "own.h"
#include "ownsimd.h"

/* ---- Plans --------------------------------------------------------------------------------------------------- */

/* What a plan computes in: floats, doubles, or integers with tables of 16-bit fixed point. Powers of two go in single
 * precision, as precise as 32-bit results need; of other lengths an error no larger than that of a direct sum in double
 * is asked, so they go in double. */
enum OwnFftKind { OWN_FFT_SINGLE, OWN_FFT_DOUBLE, OWN_FFT_INTEGER };

static inline OwnFftKind ownFftKindOf(int32_t n)
{
    return std::has_single_bit((uint32_t)n) ? OWN_FFT_SINGLE : OWN_FFT_DOUBLE;
}

static constexpr int OWN_FFT_PASSES = 32; /* enough for any 32-bit length */
static constexpr int OWN_FFT_PRIMES = 47; /* the largest factor that has a pass; beyond it a convolution is faster */
static constexpr int32_t OWN_FFT_ONE = 16384; /* 1 in the integer tables */

/* All that a length needs, in one block with its tables. */
struct OwnFftPlan {
    int32_t n;
    OwnFftKind kind;
    int64_t m; /* the length its passes transform: n, or that of the convolution */
    int32_t nPasses;
    int32_t radix[OWN_FFT_PASSES];
    const void* turns[OWN_FFT_PASSES]; /* of each pass: cosines and sines, for each step the radix - 1 of them */
    const void* roots[OWN_FFT_PASSES]; /* of a pass of a larger prime p: cosines and sines of 2 pi k / p */
    const double* chirp;               /* n cosines and sines of pi j j / n; null when n has small factors only */
    const double* kernel;              /* the transform of the chirp that the sequence is convolved with, over m */
    const int16_t* fixed;              /* n cosines and sines of 2 pi k / n, times OWN_FFT_ONE, chopped */
    int64_t bytes;                     /* of the block */
};

/* A new plan, to be freed by ownFree; null when memory is short. */
OwnFftPlan* ownFftMake(int32_t n, OwnFftKind kind);

/* cos and sin of 2 pi k / n, 0 <= k <= n, right to the last place or nearly so. */
void ownFftRoot(int64_t k, int64_t n, double* c, double* s);

/* ---- What a thread keeps --------------------------------------------------------------------------------------- */

/* The plan of a length in the thread's cache, made when it is new. Null when memory is short, and when the places for
 * lengths that are no powers of two are taken. */
const OwnFftPlan* ownFftPlan(OwnFftCache* cache, int32_t n, OwnFftKind kind);

enum OwnFftScratch { OWN_FFT_WORK, OWN_FFT_CELLS, OWN_FFT_LINES };

/* A scratch block, kept from call to call, aligned to 64 bytes, of at least so many. Null when memory is short. */
void* ownFftScratch(OwnFftCache* cache, OwnFftScratch which, int64_t bytes);

/* The same for any place that a block is kept in; a kept block is freed by ownFree. */
void* ownKeptBlock(void** place, int64_t bytes);
int64_t ownKeptBytes(const void* kept);

/* ---- The transform --------------------------------------------------------------------------------------------- */

template <class K> struct OwnCell {
    typename K::Raw re, im;
};

/* The number of cells of spare memory that a transform of this plan needs. */
static inline int64_t ownFftSpareCells(const OwnFftPlan* plan) { return (plan->chirp ? 2 : 1) * plan->m; }

/* out = the transforms of in, n cells each; in may be out, spare is neither. K: OwnEight or OwnLanes<float, 1> for
 * plans of kind OWN_FFT_SINGLE, OwnFour or OwnLanes<double, 1> for OWN_FFT_DOUBLE. */
template <class K> void ownFftRun(const OwnFftPlan* plan, const OwnCell<K>* in, OwnCell<K>* out, OwnCell<K>* spare);

#endif
