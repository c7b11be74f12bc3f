/* ownfftplan: the tables of a length, built once a thread and length. A length is taken apart into factors 8, 4, 2, 3,
 * 5, 7 and larger primes up to OWN_FFT_PRIMES, a pass each. What remains beyond them makes the whole length a
 * convolution. */
#include "ownfft.h"

#include <math.h>

/* ---- Roots of one ---------------------------------------------------------------------------------------------- */

/* The angle is brought into the first eighth of the circle in whole numbers, where sine and cosine are at their
 * best. */
void ownFftRoot(int64_t k, int64_t n, double* c, double* s)
{
    int64_t a = 8 * k; /* in parts of the circle of 8 n */
    const bool below = a > 4 * n;
    if (below) a = 8 * n - a;
    const bool left = a > 2 * n;
    if (left) a = 4 * n - a;
    const bool steep = a > n;
    if (steep) a = 2 * n - a;
    const double t = 0.78539816339744830962 * (double)a / (double)n;
    const double x = steep ? sin(t) : cos(t), y = steep ? cos(t) : sin(t);
    *c = left ? -x : x;
    *s = below ? -y : y;
}

/* ---- Factors --------------------------------------------------------------------------------------------------- */

/* The factors of n in the order of the passes; what is left over, 1 when n is done. */
static int64_t ownFactors(int64_t n, int32_t* radix, int32_t* nPasses)
{
    int count = 0;
    int twos = std::countr_zero((uint64_t)n);
    n >>= twos;
    for (; twos >= 5 || twos == 3; twos -= 3) radix[count++] = 8;
    for (; twos >= 2; twos -= 2) radix[count++] = 4;
    if (twos == 1) radix[count++] = 2;
    for (int32_t p = 3; p <= OWN_FFT_PRIMES; p += 2)
        while (n % p == 0) radix[count++] = p, n /= p;
    *nPasses = count;
    return n;
}

/* The length of the convolution that gives n results: at least 2 n - 1, with factors 2, 3 and 5 alone. */
static int64_t ownConvolutionLength(int64_t n)
{
    for (int64_t m = (2 * n + 2) / 4 * 4;; m += 4) {
        int64_t left = m;
        for (const int p : {2, 3, 5})
            while (left % p == 0) left /= p;
        if (left == 1) return m;
    }
}

/* ---- Tables ---------------------------------------------------------------------------------------------------- */

/* Pieces of one block, each at a multiple of 64 bytes; without a block they are only counted. */
struct OwnParcels {
    char* block;
    int64_t used;
    template <class T> T* take(int64_t count)
    {
        T* piece = block ? (T*)(block + used) : nullptr;
        used += (count * (int64_t)sizeof(T) + 63) / 64 * 64;
        return piece;
    }
};

/* The turns of one pass: after the butterflies of step i, output j is turned by exp(-2 pi i i j / (radix * steps)). */
template <class R> static void ownFillTurns(R* turns, int32_t radix, int64_t steps)
{
    for (int64_t i = 0; i < steps; ++i)
        for (int32_t j = 1; j < radix; ++j) {
            double c, s;
            ownFftRoot(i * j, radix * steps, &c, &s);
            *turns++ = (R)c;
            *turns++ = (R)-s;
        }
}

template <class R> static void ownFillRoots(R* roots, int64_t n)
{
    for (int64_t k = 0; k < n; ++k) {
        double c, s;
        ownFftRoot(k, n, &c, &s);
        roots[2 * k] = (R)c;
        roots[2 * k + 1] = (R)s;
    }
}

template <class R> static void ownTakePasses(OwnParcels* pieces, OwnFftPlan* plan)
{
    int64_t steps = plan->m;
    for (int32_t i = 0; i < plan->nPasses; ++i) {
        const int32_t p = plan->radix[i];
        steps /= p;
        R* turns = pieces->take<R>(2 * (p - 1) * steps);
        R* roots = p > 8 ? pieces->take<R>(2 * p) : nullptr;
        plan->turns[i] = turns;
        plan->roots[i] = roots;
        if (turns) ownFillTurns(turns, p, steps);
        if (roots) ownFillRoots(roots, p);
    }
}

/* 16384 times cosine and sine, chopped toward zero. */
static void ownFillFixed(int16_t* fixed, int64_t n)
{
    for (int64_t k = 0; k < n; ++k) {
        double c, s;
        ownFftRoot(k, n, &c, &s);
        fixed[2 * k] = (int16_t)(OWN_FFT_ONE * c);
        fixed[2 * k + 1] = (int16_t)(OWN_FFT_ONE * s);
    }
}

/* With b[j] = exp(pi i j j / n), since 2 j k = j j + k k - (k - j)(k - j):
 *   X[k] = conj b[k] * sum over j of (x[j] conj b[j]) b[k - j],
 * a convolution, which is a product of transforms over any length of at least 2 n - 1. j j is reduced by the period 2 n
 * in whole numbers. */
static void ownFillChirp(double* chirp, int64_t n)
{
    int64_t square = 0;
    for (int64_t j = 0; j < n; ++j) {
        ownFftRoot(square, 2 * n, &chirp[2 * j], &chirp[2 * j + 1]);
        square = (square + 2 * j + 1) % (2 * n);
    }
}

/* The transform of b over m, divided by m for the way back. */
static void ownFillKernel(const OwnFftPlan* plan, double* kernel, OwnCell<OwnLanes<double, 1>>* spare)
{
    typedef OwnCell<OwnLanes<double, 1>> Cell;
    Cell* cells = spare + ownFftSpareCells(plan);
    for (int64_t j = 0; j < plan->m; ++j) cells[j] = {0, 0};
    for (int64_t j = 0; j < plan->n; ++j) {
        const Cell b = {plan->chirp[2 * j] / (double)plan->m, plan->chirp[2 * j + 1] / (double)plan->m};
        cells[j] = b;
        if (j) cells[plan->m - j] = b;
    }
    OwnFftPlan passes = *plan; /* the same without the convolution */
    passes.n = (int32_t)plan->m;
    passes.chirp = nullptr;
    ownFftRun(&passes, cells, cells, spare);
    for (int64_t j = 0; j < plan->m; ++j) {
        kernel[2 * j] = cells[j].re;
        kernel[2 * j + 1] = cells[j].im;
    }
}

/* ---- Plans ----------------------------------------------------------------------------------------------------- */

/* Lays the plan's tables out and, with a block, fills all but the kernel. Returns the bytes of the block. */
static int64_t ownLayPlan(OwnFftPlan* plan, char* block)
{
    OwnParcels pieces = {block, 0};
    pieces.take<OwnFftPlan>(1);
    if (plan->kind == OWN_FFT_INTEGER) {
        int16_t* fixed = pieces.take<int16_t>(2 * (int64_t)plan->n);
        plan->fixed = fixed;
        if (fixed) ownFillFixed(fixed, plan->n);
        return pieces.used;
    }
    plan->m = plan->n;
    const bool isConvolution = ownFactors(plan->n, plan->radix, &plan->nPasses) != 1;
    if (isConvolution) {
        plan->m = ownConvolutionLength(plan->n);
        ownFactors(plan->m, plan->radix, &plan->nPasses);
        double* chirp = pieces.take<double>(2 * (int64_t)plan->n);
        plan->chirp = chirp;
        plan->kernel = pieces.take<double>(2 * plan->m);
        if (chirp) ownFillChirp(chirp, plan->n);
    }
    if (plan->kind == OWN_FFT_SINGLE) ownTakePasses<float>(&pieces, plan);
    else ownTakePasses<double>(&pieces, plan);
    return pieces.used;
}

static void* ownAlloc64(int64_t bytes) { return (uint64_t)bytes > PTRDIFF_MAX ? nullptr : ownAlloc((size_t)bytes); }

OwnFftPlan* ownFftMake(int32_t n, OwnFftKind kind)
{
    typedef OwnCell<OwnLanes<double, 1>> Cell;
    OwnFftPlan sketch = {};
    sketch.n = n;
    sketch.kind = kind;
    sketch.bytes = ownLayPlan(&sketch, nullptr);

    OwnFftPlan* plan = (OwnFftPlan*)ownAlloc64(sketch.bytes);
    if (!plan) return nullptr;
    *plan = sketch;
    ownLayPlan(plan, (char*)plan);
    if (!plan->chirp) return plan;

    Cell* spare = (Cell*)ownAlloc64((ownFftSpareCells(plan) + plan->m) * (int64_t)sizeof(Cell));
    if (!spare) {
        ownFree(plan);
        return nullptr;
    }
    ownFillKernel(plan, (double*)plan->kernel, spare);
    ownFree(spare);
    return plan;
}

/* ---- What a thread keeps --------------------------------------------------------------------------------------- */

/* The rows of the cache: plans of powers of two by exponent, then the others in the order they came; scratch. */
enum { OWN_CACHE_POWERS, OWN_CACHE_FIXED_POWERS, OWN_CACHE_OTHERS, OWN_CACHE_SCRATCH };

const OwnFftPlan* ownFftPlan(OwnFftCache* cache, int32_t n, OwnFftKind kind)
{
    void** place;
    if (std::has_single_bit((uint32_t)n)) {
        const int row = kind == OWN_FFT_INTEGER ? OWN_CACHE_FIXED_POWERS : OWN_CACHE_POWERS;
        place = &cache->tables[row][std::countr_zero((uint32_t)n)];
    } else {
        place = cache->tables[OWN_CACHE_OTHERS];
        void** const end = place + 32;
        while (*place && (((OwnFftPlan*)*place)->n != n || ((OwnFftPlan*)*place)->kind != kind))
            if (++place == end) return nullptr;
    }
    if (!*place) *place = ownFftMake(n, kind);
    return (OwnFftPlan*)*place;
}

/* A kept block begins with its size, and 64 bytes on with what is given out. */
int64_t ownKeptBytes(const void* kept)
{
    int64_t bytes = 0;
    if (kept) memcpy(&bytes, kept, sizeof(bytes));
    return bytes;
}

void* ownKeptBlock(void** place, int64_t bytes)
{
    if (!*place || ownKeptBytes(*place) < bytes) {
        ownFree(*place);
        *place = bytes > PTRDIFF_MAX - 64 ? nullptr : ownAlloc64(bytes + 64);
        if (!*place) return nullptr;
        memcpy(*place, &bytes, sizeof(bytes));
    }
    return (char*)*place + 64;
}

void* ownFftScratch(OwnFftCache* cache, OwnFftScratch which, int64_t bytes)
{
    return ownKeptBlock(&cache->tables[OWN_CACHE_SCRATCH][which], bytes);
}
