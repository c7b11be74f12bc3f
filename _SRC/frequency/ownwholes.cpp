/* ownwholes: real image and packed spectrum in whole numbers. Samples are taken times 64, so six bits of fraction live
 * in the work array between the passes; cosines and sines are 16-bit numbers of OWN_FFT_ONE. The numbers are held in
 * 64 bits, so that no sum or product of samples can overflow. It is meant for small images, and is kept simple. */
#include "ownspectrum.h"
#include "ownfft.h"

static constexpr int OWN_FRACTION_BITS = 6;
static constexpr int OWN_TABLE_BITS = 14;
static_assert(1 << OWN_TABLE_BITS == OWN_FFT_ONE);

bool ownSpectrumPrepare(const OwnSpectrum& spectrum, OwnSpectrumWholes* wholes)
{
    OwnFftCache* cache = spectrum.cache;
    const int64_t width = spectrum.width, height = spectrum.height, n = std::max(width, height);
    wholes->rowPlan = ownFftPlan(cache, spectrum.width, OWN_FFT_INTEGER);
    wholes->columnPlan = wholes->rowPlan ? ownFftPlan(cache, spectrum.height, OWN_FFT_INTEGER) : nullptr;
    if (!wholes->columnPlan) return false;
    wholes->line = (int64_t*)ownFftScratch(cache, OWN_FFT_LINES, 5 * n * (int64_t)sizeof(int64_t));
    if (!wholes->line) return false;
    wholes->work = (int64_t*)ownFftScratch(cache, OWN_FFT_WORK, width * height * (int64_t)sizeof(int64_t));
    return wholes->work != nullptr;
}

/* ---- One complex sequence -------------------------------------------------------------------------------------- */

/* The table of a length, with the sign of the exponent. */
struct OwnWholeTurns {
    const int16_t* fixed;
    int64_t sign;
    int64_t c(ptrdiff_t k) const { return fixed[2 * k]; }
    int64_t s(ptrdiff_t k) const { return sign * fixed[2 * k + 1]; }
};

/* A power of two: samples in bit-reversed order, then butterflies of two over ever wider spans. */
static void ownWholePower(const OwnWholeTurns& turns, ptrdiff_t n, int64_t* re, int64_t* im)
{
    for (ptrdiff_t i = 1, j = 0; i < n; ++i) {
        ptrdiff_t bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(re[i], re[j]), std::swap(im[i], im[j]);
    }
    for (ptrdiff_t half = 1; half < n; half *= 2)
        for (ptrdiff_t k = 0; k < half; ++k) {
            const int64_t c = turns.c(k * (n / half / 2)), s = turns.s(k * (n / half / 2));
            for (ptrdiff_t a = k; a < n; a += 2 * half) {
                const ptrdiff_t b = a + half;
                const int64_t x = (re[b] * c - im[b] * s) >> OWN_TABLE_BITS;
                const int64_t y = (re[b] * s + im[b] * c) >> OWN_TABLE_BITS;
                re[b] = re[a] - x;
                im[b] = im[a] - y;
                re[a] += x;
                im[a] += y;
            }
        }
}

/* Any length: the sums as they are stated. The index j k into the table is kept reduced by n. */
static void ownWholeSums(const OwnWholeTurns& turns, ptrdiff_t n, int64_t* re, int64_t* im, int64_t* outRe,
                         int64_t* outIm)
{
    for (ptrdiff_t k = 0; k < n; ++k) {
        int64_t x = 0, y = 0;
        for (ptrdiff_t j = 0, at = 0; j < n; ++j, at += at + k >= n ? k - n : k) {
            x += re[j] * turns.c(at) - im[j] * turns.s(at);
            y += re[j] * turns.s(at) + im[j] * turns.c(at);
        }
        outRe[k] = x >> OWN_TABLE_BITS;
        outIm[k] = y >> OWN_TABLE_BITS;
    }
    memcpy(re, outRe, n * sizeof(int64_t));
    memcpy(im, outIm, n * sizeof(int64_t));
}

static void ownWholeTransform(const OwnFftPlan* plan, bool isForward, int64_t* re, int64_t* im, int64_t* spare)
{
    const OwnWholeTurns turns = {plan->fixed, isForward ? -1 : 1};
    if (std::has_single_bit((uint32_t)plan->n)) ownWholePower(turns, plan->n, re, im);
    else ownWholeSums(turns, plan->n, re, im, spare, spare + plan->n);
}

/* ---- One pass -------------------------------------------------------------------------------------------------- */

/* How results of a pass are brought to size: by 1 / n when they are scaled, and by 1/64 in the last pass. */
struct OwnWholeScale {
    int shift;
    double factor; /* 1, or 1 / n for an n that is no power of two */

    OwnWholeScale(int32_t n, bool isScaled, bool isLast) : shift(isLast ? OWN_FRACTION_BITS : 0), factor(1)
    {
        if (!isScaled) return;
        if (std::has_single_bit((uint32_t)n)) shift += std::countr_zero((uint32_t)n);
        else factor = 1.0 / n;
    }
    /* The shift goes down to the next whole number, but a negative number of less than one becomes 0. */
    int64_t operator()(int64_t x) const
    {
        if (factor != 1) x = (int64_t)((double)x * factor);
        return x < 0 && -x < (int64_t)1 << shift ? 0 : x >> shift;
    }
};

/* A sequence of the work array, and what its pass needs. */
struct OwnWholePass {
    const OwnFftPlan* plan;
    bool isForward;
    OwnWholeScale scale;
    int64_t* line; /* 5 n: real and imaginary parts, room for the sums, a copy of packed values */
};

/* Real samples, step apart, to packed form or back, in place. */
static void ownWholeReal(const OwnWholePass& pass, bool toPacked, int64_t* x, ptrdiff_t step)
{
    const ptrdiff_t n = pass.plan->n;
    int64_t *re = pass.line, *im = re + n, *spare = im + n, *packed = spare + 2 * n;
    for (ptrdiff_t j = 0; j < n; ++j) packed[j] = x[j * step];
    for (ptrdiff_t j = 0; j < n; ++j) {
        const ptrdiff_t k = std::min(j, n - j);
        const int64_t part = k == 0 || 2 * k == n ? 0 : packed[2 * k];
        re[j] = toPacked ? packed[j] : packed[k == 0 ? 0 : 2 * k - 1];
        im[j] = toPacked ? 0 : j <= n / 2 ? part : -part;
    }
    ownWholeTransform(pass.plan, pass.isForward, re, im, spare);
    for (ptrdiff_t j = 0; j < n; ++j)
        x[j * step] = pass.scale(!toPacked ? re[j] : j > 0 && j % 2 == 0 ? im[j / 2] : re[(j + 1) / 2]);
}

/* A pair of columns. */
static void ownWholePair(const OwnWholePass& pass, int64_t* x, ptrdiff_t step)
{
    const ptrdiff_t n = pass.plan->n;
    int64_t *re = pass.line, *im = re + n;
    for (ptrdiff_t j = 0; j < n; ++j) re[j] = x[j * step], im[j] = x[j * step + 1];
    ownWholeTransform(pass.plan, pass.isForward, re, im, im + n);
    for (ptrdiff_t j = 0; j < n; ++j) x[j * step] = pass.scale(re[j]), x[j * step + 1] = pass.scale(im[j]);
}

void ownSpectrumRun(const OwnSpectrum& spectrum, const OwnSpectrumWholes& wholes, const OwnPlane& src,
                    const OwnPlane& dst)
{
    const ptrdiff_t width = spectrum.width, height = spectrum.height;
    const bool toPacked = spectrum.toPacked;
    int64_t* work = wholes.work;
    for (ptrdiff_t y = 0; y < height; ++y) ownReadWholes[src.slot](work + y * width, src.row(y), src.pixelStep, width);
    for (ptrdiff_t i = 0; i < width * height; ++i) work[i] *= 1 << OWN_FRACTION_BITS;

    /* The pass over a length of 1 changes nothing: a single row or column has its only shift in the other one. */
    const bool rowsAreLast = toPacked ? height == 1 : width > 1;
    const OwnWholePass rows = {wholes.rowPlan, spectrum.isForward,
                               OwnWholeScale(spectrum.width, spectrum.isScaled, rowsAreLast), wholes.line};
    const OwnWholePass columns = {wholes.columnPlan, spectrum.isForward,
                                  OwnWholeScale(spectrum.height, spectrum.isScaled, !rowsAreLast), wholes.line};
    const auto transformRows = [&] {
        for (ptrdiff_t y = 0; y < height; ++y) ownWholeReal(rows, toPacked, work + y * width, 1);
    };
    if (toPacked) transformRows();
    ownWholeReal(columns, toPacked, work, width);
    for (ptrdiff_t x = 1; x + 1 < width; x += 2) ownWholePair(columns, work + x, width);
    if (width % 2 == 0) ownWholeReal(columns, toPacked, work + width - 1, width);
    if (!toPacked) transformRows();

    for (ptrdiff_t y = 0; y < height; ++y) ownWriteWholes[dst.slot](dst.row(y), work + y * width, dst.pixelStep, width);
}
