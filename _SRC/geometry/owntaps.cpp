/* owntaps: the tables of the resamplers: for each destination column or row the source samples that it takes. */
#include "ownresample.h"

#include <math.h>

/* The part of a position below which it is an integer, for positions that fall short of one by rounding. */
static double ownFloorAlmost(double v) { return rint(v + 1e-5 - 0.5); }

/* Weights are of the second sample; the last sample is taken from the pair that ends there. */
static OwnAxisTap ownLinearTap(const OwnAxisSpan& span, int32_t i, int32_t weight, int32_t one)
{
    if (span.size == 1) return {0, 0, 0, 0};
    if (i == span.size - 1) return {i - 1, i, one, 0};
    return {i, i + 1, std::clamp(weight, 0, one), 0};
}

/* The window stays in the image: at its first and last samples the place t moves out of the middle instead. */
static OwnAxisTap ownCubicTap(const OwnAxisSpan& span, int32_t i, double p)
{
    const int32_t a = i + span.offset, last = span.imageSize - 1;
    const int32_t base = a == last ? i - 2 : a == 0 ? i + 1 : a == last - 1 ? i - 1 : i;
    return {base - 1, 0, 0, a == last ? 2.0f : (float)(p - base)};
}

void ownTabulate(OwnAxisTap* taps, OwnMix blend, const OwnAxisSpan& span, double ratio)
{
    for (int32_t j = 0; j < span.n; ++j) {
        const double p = j * ratio, whole = ownFloorAlmost(p);
        const int32_t i = (int32_t)std::clamp(whole, 0.0, (double)(span.size - 1));
        if (blend == OWN_BLEND_NEAREST) taps[j] = {i, i, 0, 0};
        else if (blend == OWN_BLEND_CUBIC) taps[j] = ownCubicTap(span, i, p);
        else taps[j] = ownLinearTap(span, i, (int32_t)ownFloorAlmost(std::min(p - i, 1.0) * 16384), 16384);
    }
}

void ownTabulateFixed(OwnAxisTap* taps, OwnMix blend, const OwnAxisSpan& span, int64_t step)
{
    for (int32_t j = 0; j < span.n; ++j) {
        const int64_t p = j * step;
        const int32_t i = (int32_t)std::min<int64_t>(p >> 8, span.size - 1), fraction = (int32_t)(p & 255);
        if (blend == OWN_BLEND_NEAREST) taps[j] = {i, i, 0, 0};
        else if (blend == OWN_BLEND_CUBIC) taps[j] = ownCubicTap(span, i, (double)p / 256);
        else taps[j] = ownLinearTap(span, i, fraction, 256);
    }
}
