#include "filter/linear_model.h"

#include <math.h>

#include <bit>

/* ---- Ranges ------------------------------------------------------------------------------------------------------ */

static float realOf(int64_t bits) { return std::bit_cast<float>((uint32_t)bits); }
static int64_t bitsOf(float value) { return std::bit_cast<int32_t>(value); }

static double lowest(uint32_t depth)
{
    if (!(depth & VEK_DEPTH_SIGN)) return 0;
    return -ldexp(1, (int)(depth & 0xFF) - 1);
}
static double highest(uint32_t depth) { return ldexp(1, (int)(depth & 0xFF) - (depth & VEK_DEPTH_SIGN ? 1 : 0)) - 1; }

/* A whole number as a sample: held to the range; of 1-bit samples, whether it is above 0. */
static int64_t asSample(double value, uint32_t depth)
{
    if (depth == VEK_DEPTH_1U) return value > 0;
    return (int64_t)fmin(fmax(value, lowest(depth)), highest(depth));
}

/* ---- Convolution ------------------------------------------------------------------------------------------------- */

ModelWindow windowOf(const std::vector<ModelKernel>& kernels)
{
    int32_t left = 0, right = 0, above = 0, below = 0;
    for (const ModelKernel& k : kernels) { /* K[r][c] meets the pixel anchorX - c to the right, anchorY - r below */
        right = std::max(right, k.anchorX);
        left = std::max(left, k.nCols - 1 - k.anchorX);
        below = std::max(below, k.anchorY);
        above = std::max(above, k.nRows - 1 - k.anchorY);
    }
    return {left + 1 + right, above + 1 + below, left, above};
}

int classOf(const ModelKernel& kernel, uint32_t depth)
{
    if (depth == VEK_DEPTH_32S || depth == VEK_DEPTH_32F) return 2;
    const double lo = lowest(depth), hi = highest(depth);
    double least = 0, most = 0;
    bool small = true, products = true;
    for (const double v : kernel.values) {
        if (v > 0) most += v * hi, least += v * lo;
        if (v < 0) most += v * lo, least += v * hi;
        if (v < -32768 || v > 32767) small = false;
        for (const double p : {v * lo, v * hi})
            if (p < -32768 || p > 32767) products = false;
    }
    if (least > -32768 && most < 32767 && small && products) return 0;
    return least > -2147483648.0 && most < 2147483647.0 && small ? 1 : 2;
}

/* The sum of a class: an exact integer, or a float that is rounded after each tap. Taps in stored order are those of the
 * kernel from its end to its begin, and so the window's samples from left to right and from top to bottom. */
static double sumOf(const Samples& samples, const ModelWindow& w, uint32_t depth, const ModelKernel& k, int accumClass)
{
    double whole = 0;
    float real = 0;
    for (int32_t r = k.nRows - 1; r >= 0; --r)
        for (int32_t c = k.nCols - 1; c >= 0; --c) {
            const size_t at = (size_t)((w.anchorY + k.anchorY - r) * w.nCols + w.anchorX + k.anchorX - c);
            const size_t i = (size_t)(r * k.nCols + c);
            const float weight = k.reals.empty() ? (float)k.values[i] : k.reals[i];
            if (weight == 0) continue;
            const float x = depth == VEK_DEPTH_32F ? realOf(samples[at]) : (float)samples[at];
            /* Whole products have up to 62 bits, as a long double can have. */
            if (accumClass == 2 && k.reals.empty())
                real = (float)((long double)real + (long double)k.values[i] * (long double)samples[at]);
            else if (accumClass == 2) real = fmaf(weight, x, real);
            else whole += (double)k.values[i] * (double)samples[at];
        }
    return accumClass == 2 ? real : whole;
}

static double shifted(double sum, int32_t shift, int accumClass)
{
    shift = std::min(std::max(shift, 0), 31);
    if (shift == 0) return sum;
    if (accumClass == 2) sum = fmin(fmax(nearbyint(sum), -2147483648.0), 2147483647.0);
    const int32_t moved = (int32_t)sum >> shift;
    return accumClass == 2 ? (float)moved : moved;
}

/* The low bits of a whole number, by the sign. */
static double cut(double value, int bits)
{
    const double span = ldexp(1, bits), rest = value - floor(value / span) * span;
    return rest >= span / 2 ? rest - span : rest;
}

static double oneResult(double sum, int32_t shift, int accumClass, int32_t method)
{
    if (shift > 0) return shifted(sum, shift, accumClass);
    if (method == COMBINE_SQUARES) {
        if (accumClass == 2) return (float)(sum * sum);
        return accumClass == 0 ? cut(sum * sum, 16)
                               : (double)(int32_t)((uint32_t)(int32_t)sum * (uint32_t)(int32_t)sum);
    }
    return method == COMBINE_ROOT_OF_SQUARES ? fabs(sum) : sum;
}

/* Merged values are integers that wrap in 32 bits, or floats. */
static double merged(const std::vector<double>& results, int32_t method, bool isFloat)
{
    const auto kept = [=](double value) { return isFloat ? (double)(float)value : cut(value, 32); };
    const bool squares = method == COMBINE_SQUARES || method == COMBINE_ROOT_OF_SQUARES;
    double sum = 0;
    for (size_t i = 0; i < results.size(); ++i) {
        const double v = results[i];
        if (squares) sum = kept(sum + v * v);
        else if (i == 0) sum = kept(v);
        else if (method == COMBINE_ADD) sum = kept(sum + kept(v));
        else sum = method == COMBINE_GREATEST ? fmax(sum, kept(v)) : fmin(sum, kept(v));
    }
    if (method != COMBINE_ROOT_OF_SQUARES) return sum;
    return isFloat ? (double)sqrtf((float)sum) : nearbyint(sqrt(sum));
}

int64_t convolved(const Samples& samples, const ModelWindow& window, uint32_t depth,
                  const std::vector<ModelKernel>& kernels, int32_t method, bool noMethod)
{
    double result;
    if (kernels.size() == 1) {
        const int accumClass = classOf(kernels[0], depth);
        const double sum = sumOf(samples, window, depth, kernels[0], accumClass);
        result = oneResult(sum, kernels[0].nShiftR, accumClass, noMethod ? COMBINE_ADD : method);
    } else {
        std::vector<double> results;
        bool isFloat = false;
        for (const ModelKernel& k : kernels) {
            const int accumClass = classOf(k, depth);
            results.push_back(shifted(sumOf(samples, window, depth, k, accumClass), k.nShiftR, accumClass));
            isFloat = isFloat || accumClass > 0;
        }
        result = merged(results, method, isFloat);
    }
    return depth == VEK_DEPTH_32F ? bitsOf((float)result) : asSample(nearbyint(result), depth);
}

/* ---- Separable convolution --------------------------------------------------------------------------------------- */

int64_t convolvedSep(const Samples& samples, uint32_t depth, const ModelKernel& x, const ModelKernel& y)
{
    uint32_t sum = 0;
    for (size_t r = 0; r < y.values.size(); ++r) {
        uint32_t along = 0;
        for (size_t c = 0; c < x.values.size(); ++c)
            along += (uint32_t)x.values[x.values.size() - 1 - c] * (uint32_t)samples[r * x.values.size() + c];
        sum += (uint32_t)y.values[y.values.size() - 1 - r] * along;
    }
    const int64_t shift = (int64_t)x.nShiftR + y.nShiftR;
    return asSample((int32_t)sum >> std::min<int64_t>(std::max<int64_t>(shift, 0), 31), depth);
}

/* ---- Blur -------------------------------------------------------------------------------------------------------- */

int64_t blurred(const Samples& samples, uint32_t depth)
{
    const double r = 1.0 / (double)samples.size();
    if (depth == VEK_DEPTH_32F) {
        double sum = 0;
        for (const int64_t s : samples) sum += realOf(s);
        return bitsOf((float)(sum * r));
    }
    uint32_t sum = 0;
    for (const int64_t s : samples) sum += (uint32_t)s;
    return (int64_t)nearbyint((int32_t)sum * r);
}

/* ---- Fixed filters ----------------------------------------------------------------------------------------------- */

int32_t fixedSize(int32_t filter) { return filter == 5 || filter == 7 || filter == 9 ? 5 : 3; }

/* From the distances to the centre, and from differences for the filters with a direction. */
static int weightAt(int32_t filter, int x, int y)
{
    const int near = abs(x) + abs(y), far = std::max(abs(x), abs(y));
    switch (filter) {
    case 0: return -x;
    case 1: return -y;
    case 2: return -x * (2 - abs(y));
    case 3: return -y * (2 - abs(x));
    case 6: return (2 - abs(x)) * (2 - abs(y));
    case 9: return far == 0 ? 24 : -1;
    case 10: return far == 0 ? 16 : -1;
    case 5: return far == 0 ? 20 : near == 1 ? 6 : far == 1 ? 0 : near == 2 ? -4 : near == 3 ? -3 : -1;
    case 7: return far == 0 ? 127 : near == 1 ? 52 : far == 1 ? 31 : near == 2 ? 12 : near == 3 ? 7 : 2;
    }
    return far == 0 ? 8 : -1;
}

static double dividedBy(int32_t filter, double sum, uint32_t depth)
{
    if (filter == 6 && depth == VEK_DEPTH_1U) return sum > 7;
    if (filter == 6) return nearbyint(sum / 16);
    if (filter == 10) return nearbyint(sum / 8);
    return filter == 7 ? floor((2 * sum + 571) / 1142) : sum;
}

int64_t fixedFiltered(const Samples& samples, uint32_t depth, int32_t filter)
{
    const int32_t size = fixedSize(filter);
    double sum = 0;
    float real = 0;
    for (int32_t i = 0; i < size * size; ++i) {
        const int weight = weightAt(filter, i % size - size / 2, i / size - size / 2);
        if (weight == 0) continue;
        const float x = depth == VEK_DEPTH_32F ? realOf(samples[(size_t)i]) : (float)samples[(size_t)i];
        real = fmaf((float)((double)weight / (filter == 7 ? 571 : 1)), x, real);
        sum += weight * (double)samples[(size_t)i];
    }
    if (depth == VEK_DEPTH_32F) return bitsOf(filter == 6 ? real / 16 : filter == 10 ? real / 8 : real);
    if (depth == VEK_DEPTH_32S && filter == 7) return asSample(nearbyint(real), depth);
    return asSample(dividedBy(filter, sum, depth), depth);
}
