/* ownfftpass: the complex transform of a bundle. A pass of radix p takes steps * p * blocks cells, input j of step i in
 * block b standing at in[i + steps * (j + p * b)], and leaves output j at out[i + steps * (b + blocks * j)], turned:
 * so the result comes out in order without a permutation of its own (the scheme of Stockham). Lanes never meet, and
 * the number of lanes changes no result. */
#include "ownfft.h"

template <class K> static inline OwnCell<K> operator+(OwnCell<K> a, OwnCell<K> b) { return {a.re + b.re, a.im + b.im}; }
template <class K> static inline OwnCell<K> operator-(OwnCell<K> a, OwnCell<K> b) { return {a.re - b.re, a.im - b.im}; }
/* a times a real number. */
template <class K> static inline OwnCell<K> ownScale(OwnCell<K> a, typename K::Real x) { return {a.re * x, a.im * x}; }
/* a times c + i s. */
template <class K> static inline OwnCell<K> ownTurn(OwnCell<K> a, typename K::Real c, typename K::Real s)
{
    return {a.re * c - a.im * s, a.re * s + a.im * c};
}
/* a - i b, a + i b. */
template <class K> static inline OwnCell<K> ownLessI(OwnCell<K> a, OwnCell<K> b) { return {a.re + b.im, a.im - b.re}; }
template <class K> static inline OwnCell<K> ownPlusI(OwnCell<K> a, OwnCell<K> b) { return {a.re - b.im, a.im + b.re}; }

/* ---- Butterflies: the transform of p cells, in place ------------------------------------------------------------ */

template <class K> static inline void ownButterfly2(OwnCell<K>* x)
{
    const OwnCell<K> a = x[0];
    x[0] = a + x[1];
    x[1] = a - x[1];
}

template <class K> static inline void ownButterfly4(OwnCell<K>* x)
{
    const OwnCell<K> a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
    x[0] = a + c;
    x[1] = ownLessI(b, d);
    x[2] = a - c;
    x[3] = ownPlusI(b, d);
}

/* Two fours, of the even and of the odd inputs, these turned by eighths of the circle. */
template <class K> static inline void ownButterfly8(OwnCell<K>* x)
{
    const typename K::Real half = (typename K::Real)0.70710678118654752440;
    OwnCell<K> even[4] = {x[0], x[2], x[4], x[6]}, odd[4] = {x[1], x[3], x[5], x[7]};
    ownButterfly4(even);
    ownButterfly4(odd);
    const OwnCell<K> a = {(odd[1].re + odd[1].im) * half, (odd[1].im - odd[1].re) * half};
    const OwnCell<K> b = {(odd[3].im - odd[3].re) * half, (odd[3].re + odd[3].im) * half}; /* less its sign */
    x[0] = even[0] + odd[0];
    x[4] = even[0] - odd[0];
    x[1] = even[1] + a;
    x[5] = even[1] - a;
    x[2] = ownLessI(even[2], odd[2]);
    x[6] = ownPlusI(even[2], odd[2]);
    x[3] = {even[3].re + b.re, even[3].im - b.im};
    x[7] = {even[3].re - b.re, even[3].im + b.im};
}

/* Odd p: with the sums and differences of inputs j and p - j, outputs k and p - k are u -+ i v, where
 * u = x0 + sum of cos(2 pi j k / p) (x[j] + x[p - j]), v = sum of sin(2 pi j k / p) (x[j] - x[p - j]). */
template <class K, int p>
[[gnu::always_inline]] static inline void ownButterflyOdd(OwnCell<K>* x, const double (&c)[p], const double (&s)[p])
{
    typedef typename K::Real R;
    OwnCell<K> sum[p / 2], less[p / 2];
#pragma GCC unroll 4
    for (int j = 1; j <= p / 2; ++j) {
        sum[j - 1] = x[j] + x[p - j];
        less[j - 1] = x[j] - x[p - j];
    }
    const OwnCell<K> first = x[0];
#pragma GCC unroll 4
    for (int j = 0; j < p / 2; ++j) x[0] = x[0] + sum[j];
#pragma GCC unroll 4
    for (int k = 1; k <= p / 2; ++k) {
        OwnCell<K> u = first + ownScale(sum[0], (R)c[k]), v = ownScale(less[0], (R)s[k]);
#pragma GCC unroll 4
        for (int j = 2; j <= p / 2; ++j) {
            u = u + ownScale(sum[j - 1], (R)c[j * k % p]);
            v = v + ownScale(less[j - 1], (R)s[j * k % p]);
        }
        x[k] = ownLessI(u, v);
        x[p - k] = ownPlusI(u, v);
    }
}

/* cos and sin of 2 pi k / p. */
constexpr double ownC3[3] = {1, -0.5, -0.5};
constexpr double ownS3[3] = {0, 0.86602540378443864676, -0.86602540378443864676};
constexpr double ownC5[5] = {1, 0.30901699437494742410, -0.80901699437494742410, -0.80901699437494742410,
                             0.30901699437494742410};
constexpr double ownS5[5] = {0, 0.95105651629515357212, 0.58778525229247312917, -0.58778525229247312917,
                             -0.95105651629515357212};
constexpr double ownC7[7] = {1,
                             0.62348980185873353053,
                             -0.22252093395631440429,
                             -0.90096886790241912624,
                             -0.90096886790241912624,
                             -0.22252093395631440429,
                             0.62348980185873353053};
constexpr double ownS7[7] = {0,
                             0.78183148246802980871,
                             0.97492791218182360702,
                             0.43388373911755812048,
                             -0.43388373911755812048,
                             -0.97492791218182360702,
                             -0.78183148246802980871};

template <class K, int p> [[gnu::always_inline]] static inline void ownButterfly(OwnCell<K>* x)
{
    if constexpr (p == 2) ownButterfly2(x);
    else if constexpr (p == 4) ownButterfly4(x);
    else if constexpr (p == 8) ownButterfly8(x);
    else if constexpr (p == 3) ownButterflyOdd<K, 3>(x, ownC3, ownS3);
    else if constexpr (p == 5) ownButterflyOdd<K, 5>(x, ownC5, ownS5);
    else ownButterflyOdd<K, 7>(x, ownC7, ownS7);
}

/* ---- Passes ---------------------------------------------------------------------------------------------------- */

/* One step of one block: inputs stepIn cells apart, outputs stepOut. */
template <class K, int p, bool turned>
[[gnu::always_inline]] static inline void ownStep(const OwnCell<K>* in, ptrdiff_t stepIn, OwnCell<K>* out,
                                                  ptrdiff_t stepOut, const typename K::Real* turns)
{
    OwnCell<K> x[p];
#pragma GCC unroll 8
    for (int j = 0; j < p; ++j) x[j] = in[j * stepIn];
    ownButterfly<K, p>(x);
    out[0] = x[0];
#pragma GCC unroll 8
    for (int j = 1; j < p; ++j) out[j * stepOut] = turned ? ownTurn(x[j], turns[2 * j - 2], turns[2 * j - 1]) : x[j];
}

template <class K, int p>
static void ownPass(const OwnCell<K>* in, OwnCell<K>* out, ptrdiff_t steps, ptrdiff_t blocks,
                    const typename K::Real* turns)
{
    const ptrdiff_t total = steps * blocks;
    if (steps == 1) { /* the last pass turns nothing */
        for (ptrdiff_t b = 0; b < blocks; ++b) ownStep<K, p, false>(in + p * b, 1, out + b, total, turns);
        return;
    }
    for (ptrdiff_t b = 0; b < blocks; ++b)
        for (ptrdiff_t i = 0; i < steps; ++i)
            ownStep<K, p, true>(in + i + steps * p * b, steps, out + i + steps * b, total, turns + 2 * (p - 1) * i);
}

/* The same for a prime p that has no butterfly of its own. */
template <class K>
static void ownPassPrime(const OwnCell<K>* in, OwnCell<K>* out, ptrdiff_t steps, ptrdiff_t blocks,
                         const typename K::Real* turns, const typename K::Real* roots, int p)
{
    typedef typename K::Real R;
    const ptrdiff_t total = steps * blocks;
    OwnCell<K> sum[OWN_FFT_PRIMES / 2], less[OWN_FFT_PRIMES / 2];
    for (ptrdiff_t b = 0; b < blocks; ++b)
        for (ptrdiff_t i = 0; i < steps; ++i) {
            const OwnCell<K>* from = in + i + steps * p * b;
            OwnCell<K>* to = out + i + steps * b;
            const R* turn = turns + 2 * (p - 1) * i;
            const OwnCell<K> first = from[0];
            OwnCell<K> all = first;
            for (int j = 1; j <= p / 2; ++j) {
                const OwnCell<K> a = from[j * steps], c = from[(p - j) * steps];
                sum[j - 1] = a + c;
                less[j - 1] = a - c;
                all = all + sum[j - 1];
            }
            to[0] = all;
            for (int k = 1; k <= p / 2; ++k) {
                OwnCell<K> u = first, v = {};
                int at = 0; /* j k, reduced by p */
                for (int j = 0; j < p / 2; ++j) {
                    at += at + k >= p ? k - p : k;
                    u = u + ownScale(sum[j], roots[2 * at]);
                    v = v + ownScale(less[j], roots[2 * at + 1]);
                }
                to[total * k] = ownTurn(ownLessI(u, v), turn[2 * k - 2], turn[2 * k - 1]);
                to[total * (p - k)] = ownTurn(ownPlusI(u, v), turn[2 * (p - k) - 2], turn[2 * (p - k) - 1]);
            }
        }
}

/* All passes of a plan, between out and spare in turn so that the last one writes out. The first pass leaves each
 * step's outputs where its inputs were, so when the number of passes is odd it goes to out itself. */
template <class K>
static void ownPasses(const OwnFftPlan* plan, const OwnCell<K>* in, OwnCell<K>* out, OwnCell<K>* spare)
{
    typedef typename K::Real R;
    ptrdiff_t steps = (ptrdiff_t)plan->m, blocks = 1;
    if (plan->nPasses == 0) *out = *in;
    for (int i = 0; i < plan->nPasses; ++i) {
        const int p = plan->radix[i];
        const R* turns = (const R*)plan->turns[i];
        OwnCell<K>* to = (plan->nPasses - i) % 2 == 1 ? out : spare;
        steps /= p;
        switch (p) {
        case 2: ownPass<K, 2>(in, to, steps, blocks, turns); break;
        case 3: ownPass<K, 3>(in, to, steps, blocks, turns); break;
        case 4: ownPass<K, 4>(in, to, steps, blocks, turns); break;
        case 5: ownPass<K, 5>(in, to, steps, blocks, turns); break;
        case 7: ownPass<K, 7>(in, to, steps, blocks, turns); break;
        case 8: ownPass<K, 8>(in, to, steps, blocks, turns); break;
        default: ownPassPrime<K>(in, to, steps, blocks, turns, (const R*)plan->roots[i], p);
        }
        blocks *= p;
        in = to;
    }
}

/* ---- Convolution ----------------------------------------------------------------------------------------------- */

/* See ownFillChirp. The way back is the forward transform with the parts of every cell exchanged. */
template <class K>
static void ownConvolve(const OwnFftPlan* plan, const OwnCell<K>* in, OwnCell<K>* out, OwnCell<K>* spare)
{
    OwnCell<K>* line = spare + plan->m;
    const double *chirp = plan->chirp, *kernel = plan->kernel;
    for (ptrdiff_t j = 0; j < plan->n; ++j) line[j] = ownTurn(in[j], chirp[2 * j], -chirp[2 * j + 1]);
    for (ptrdiff_t j = plan->n; j < plan->m; ++j) line[j] = OwnCell<K>{};
    ownPasses(plan, line, line, spare);
    for (ptrdiff_t j = 0; j < plan->m; ++j) {
        const OwnCell<K> x = ownTurn(line[j], kernel[2 * j], kernel[2 * j + 1]);
        line[j] = {x.im, x.re};
    }
    ownPasses(plan, line, line, spare);
    for (ptrdiff_t k = 0; k < plan->n; ++k)
        out[k] = ownTurn(OwnCell<K>{line[k].im, line[k].re}, chirp[2 * k], -chirp[2 * k + 1]);
}

template <class K> void ownFftRun(const OwnFftPlan* plan, const OwnCell<K>* in, OwnCell<K>* out, OwnCell<K>* spare)
{
    if constexpr (std::is_same_v<typename K::Real, double>)
        if (plan->chirp) return ownConvolve(plan, in, out, spare);
    ownPasses(plan, in, out, spare);
}

template void ownFftRun(const OwnFftPlan*, const OwnCell<OwnEight>*, OwnCell<OwnEight>*, OwnCell<OwnEight>*);
template void ownFftRun(const OwnFftPlan*, const OwnCell<OwnFour>*, OwnCell<OwnFour>*, OwnCell<OwnFour>*);
template void ownFftRun(const OwnFftPlan*, const OwnCell<OwnLanes<float, 1>>*, OwnCell<OwnLanes<float, 1>>*,
                        OwnCell<OwnLanes<float, 1>>*);
template void ownFftRun(const OwnFftPlan*, const OwnCell<OwnLanes<double, 1>>*, OwnCell<OwnLanes<double, 1>>*,
                        OwnCell<OwnLanes<double, 1>>*);
