/* ownnoise: noise that hides the steps of fewer bits. A sample is moved by up to `amplitude` steps of the lower depth, and
 * what lies below a step is rounded up or down by chance. The two numbers of a place come from tables. */
#include "ownbits.h"

/* ---- The tables -------------------------------------------------------------------------------------------------- */

/* The next of the generator's numbers of 15 bits. */
static uint32_t ownDraw(uint32_t& state)
{
    state = state * 214013u + 2531011u;
    return state >> 16 & 0x7FFF;
}

void ownMakeNoise(OwnNoise* noise, int amplitude)
{
    uint32_t& state = vekGetThreadContext()->noise;
    noise->amplitude = amplitude;
    for (uint16_t& number : noise->number) number = (uint16_t)(ownDraw(state) & 0x3FF);
    for (uint16_t& offset : noise->offset) offset = (uint16_t)(ownDraw(state) & 0x3FF);
}

/* ---- Samples ----------------------------------------------------------------------------------------------------- */

/* A number from -amplitude to amplitude, made from one of 10 bits. */
static inline int ownSteps(int amplitude, int a) { return ((2 * amplitude * a + 512) >> 10) - amplitude; }

/* 8U and 16U, for a lower depth in steps of 16 or 256. Samples of the highest step stay. */
template <class T, int stepBits> static inline T ownNoisyLow(T s, int amplitude, int a, int b)
{
    constexpr int most = std::numeric_limits<T>::max(), step = 1 << stepBits;
    if (s >= most + 1 - step) return s;
    const int n = ownSteps(amplitude, a) * step;
    const int t = s + ((b * (step + 1)) >> 10 < (s & (step - 1)) ? 0 : step);
    return (T)(n + t > most ? t : n + t);
}

/* 32S, for a depth that keeps the bits from stepBits on. The chance shows only where the moved sample leaves the range. */
template <int stepBits> static inline int32_t ownNoisyLong(int32_t s, int amplitude, int a, int b)
{
    constexpr int32_t low = (1 << stepBits) - 1;
    if (s >= INT32_MAX - low) return s;
    const int64_t moved = (int64_t)ownSteps(amplitude, a) * (1 << stepBits) + s;
    if (moved >= 0 && moved <= INT32_MAX) return (int32_t)moved;
    return (s & low) <= b * ((int64_t)low + 2) >> 10 ? s + low : s;
}

/* 32S, for bits: in fractions of the range. */
static inline int32_t ownNoisySign(int32_t s, int amplitude, int a, int b)
{
    constexpr double range = INT32_MAX, unit = 1.0 / 1024;
    double v = s;
    if (range * (b * unit) >= s) v += range;
    v += (2 * amplitude * (a * unit) + 0.5 - amplitude) * range;
    return v >= (double)INT32_MIN && v <= range ? (int32_t)v : s;
}

/* ---- Rows -------------------------------------------------------------------------------------------------------- */

/* out[x] = f(a[x], amplitude, the two numbers of place (x, y)). */
template <class T, T (*f)(T s, int amplitude, int a, int b)>
static void ownNoisyRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnNoiseRow& row = *(const OwnNoiseRow*)k;
    const OwnNoise& noise = *row.noise;
    const auto number = [&](int64_t i) { return (int)noise.number[i & 1023]; };
    const int64_t start = row.y + noise.offset[row.y & 1023];
    int64_t x = 0;
    ownEach<T, T>(out, a, n, [&](T s) {
        const T noisy = f(s, noise.amplitude, number(start + 4 * x), number(x + 4 * row.y + noise.offset[x & 1023]));
        ++x;
        return noisy;
    });
}

OwnRun* ownNoiseRun(uint32_t srcDepth, uint32_t dstDepth)
{
    if (srcDepth == VEK_DEPTH_8U) return ownNoisyRun<uint8_t, ownNoisyLow<uint8_t, 4>>;
    if (srcDepth == VEK_DEPTH_16U) return ownNoisyRun<uint16_t, ownNoisyLow<uint16_t, 8>>;
    if (dstDepth == VEK_DEPTH_16U) return ownNoisyRun<int32_t, ownNoisyLong<16>>;
    return dstDepth == VEK_DEPTH_8U ? ownNoisyRun<int32_t, ownNoisyLong<24>> : ownNoisyRun<int32_t, ownNoisySign>;
}
