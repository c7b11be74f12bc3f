/* ownwarprow: the row kernels of the warps: positions, and samples between samples. */
#include "ownwarp.h"

#include <math.h>

/* A block of a row. Positions become the index of a source pixel in the window and the place beyond it. */
enum { OWN_BLOCK = 256 };
struct OwnSpots {
    int n;
    int32_t x[OWN_BLOCK], y[OWN_BLOCK];
    bool skip[OWN_BLOCK]; /* with run.tests */
    double fx[OWN_BLOCK], fy[OWN_BLOCK];
    int32_t wx[OWN_BLOCK], wy[OWN_BLOCK]; /* fixed-point linear: 14 bits */
};

/* ---- Positions in floating point ------------------------------------------------------------------------------- */

/* c0 x + c1 y + c2 of columns x0, x0 + 1, ... */
static inline void ownLine(double* __restrict out, int n, double c0, double x0, double row)
{
    for (int i = 0; i < n; ++i) out[i] = c0 * (x0 + i) + row;
}

/* The exact inverse of a bilinear mapping, by the form that its equation has. */
static void ownPlaceInverse(const OwnBilinearInverse& inverse, double x0, double y, int n, double* X, double* Y)
{
    const double* d = inverse.d;
    double P[OWN_BLOCK], Q[OWN_BLOCK], R[OWN_BLOCK];
    ownLine(P, n, d[0], x0, d[1] * y + d[2]);
    ownLine(Q, n, d[4], x0, d[6] * y + d[8]);
    ownLine(R, n, d[5], x0, d[7] * y + d[9]);
    switch (inverse.kind) {
    case OWN_BILINEAR_BOTH: {
        const double sign = inverse.plusRoot ? 1 : -1;
        for (int i = 0; i < n; ++i) {
            X[i] = P[i] + sign * sqrt(P[i] * P[i] - Q[i]);
            Y[i] = d[3] * X[i] + R[i];
        }
        break;
    }
    case OWN_BILINEAR_ACROSS:
        for (int i = 0; i < n; ++i) X[i] = Q[i] / P[i], Y[i] = R[i];
        break;
    case OWN_BILINEAR_DOWN:
        for (int i = 0; i < n; ++i) X[i] = Q[i], Y[i] = R[i] / P[i];
        break;
    case OWN_BILINEAR_NONE:
        for (int i = 0; i < n; ++i) X[i] = Q[i], Y[i] = R[i];
    }
}

/* Source positions of n destination pixels of row y from column left on. */
static void ownPlace(const OwnWarpRun& run, int32_t yRow, int32_t left, int n, double* X, double* Y)
{
    const double* c = run.c;
    const double x0 = (double)left - run.xOrigin, y = (double)yRow - run.yOrigin;
    if (run.kind == OWN_WARP_AFFINE) {
        ownLine(X, n, c[0], x0, c[1] * y + c[2]);
        ownLine(Y, n, c[3], x0, c[4] * y + c[5]);
    } else if (run.kind == OWN_WARP_PERSPECTIVE) {
        const double u = c[1] * y + c[2], v = c[4] * y + c[5], w = c[7] * y + c[8];
        for (int i = 0; i < n; ++i) {
            const double x = x0 + i, inverse = 1.0 / (c[6] * x + w);
            X[i] = (c[0] * x + u) * inverse;
            Y[i] = (c[3] * x + v) * inverse;
        }
    } else if (run.forward) {
        ownLine(X, n, c[0] * y + c[1], x0, c[2] * y + c[3]);
        ownLine(Y, n, c[4] * y + c[5], x0, c[6] * y + c[7]);
    } else {
        ownPlaceInverse(run.inverse, x0, y, n, X, Y);
    }
}

/* ---- From positions to indices --------------------------------------------------------------------------------- */

/* Held to a range; what is no number becomes the low end. */
static inline double ownHold(double v, double low, double high) { return v > low ? (v < high ? v : high) : low; }

static constexpr double OWN_FAR = 1 << 30;

/* The index of each position, rounded: p + shift; also what lies outside the tested rectangle. */
static void ownIndices(const double* __restrict p, double shift, int n, int32_t* __restrict index)
{
    for (int i = 0; i < n; ++i) index[i] = (int32_t)rint(ownHold(p[i] + 1e-7 - shift, -OWN_FAR, OWN_FAR));
}

static void ownTest(const OwnWarpRun& run, OwnSpots* s)
{
    const OwnRect& in = run.inside;
    for (int i = 0; i < s->n; ++i)
        s->skip[i] = (s->x[i] < in.left) | (s->y[i] < in.top) | (s->x[i] > in.right) | (s->y[i] > in.bottom);
}

/* Into the window, and counted from its first pixel; reach: pixels that are read beyond the index. */
static void ownIntoWindow(int32_t* __restrict index, int n, int32_t low, int32_t high, int32_t reach)
{
    for (int i = 0; i < n; ++i) index[i] = std::clamp(index[i], low, std::max(low, high - reach)) - low;
}

/* Linear on one axis: the index below the position, but never the last, and how far the position lies beyond it. */
static void ownLinearAxis(const double* __restrict p, int32_t* __restrict index, double* __restrict f, int n,
                          int32_t limit, int32_t low, int32_t high)
{
    for (int i = 0; i < n; ++i) {
        int32_t at = index[i] < limit ? index[i] : limit - 1;
        at = std::clamp(at, low, std::max(low, high - 1));
        index[i] = at - low;
        f[i] = ownHold(p[i] - at, -8, 8);
    }
}

/* Cubic on one axis: the window of four starts one before, but stays in the image. */
static void ownCubicAxis(const double* __restrict p, int32_t* __restrict index, double* __restrict f, int n,
                         int32_t limit, int32_t low, int32_t high)
{
    for (int i = 0; i < n; ++i) {
        int32_t at = index[i] >= limit - 1 ? limit - 3 : index[i] <= 0 ? 0 : index[i] - 1;
        at = std::clamp(at, low, std::max(low, std::min(limit, high) - 3));
        index[i] = at - low;
        f[i] = ownHold(p[i] - at - 1.0, -8, 8);
    }
}

typedef void OwnStage(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s);

static void ownStageNearest(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    ownPlace(run, y, left, s->n, X, Y);
    ownIndices(X, 0, s->n, s->x);
    ownIndices(Y, 0, s->n, s->y);
    if (run.tests) ownTest(run, s);
    ownIntoWindow(s->x, s->n, run.xLow, run.xHigh, 0);
    ownIntoWindow(s->y, s->n, run.yLow, run.yHigh, 0);
}

static void ownStageLinear(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    ownPlace(run, y, left, s->n, X, Y);
    ownIndices(X, 0.5, s->n, s->x);
    ownIndices(Y, 0.5, s->n, s->y);
    if (run.tests) ownTest(run, s);
    ownLinearAxis(X, s->x, s->fx, s->n, run.xLimit, run.xLow, run.xHigh);
    ownLinearAxis(Y, s->y, s->fy, s->n, run.yLimit, run.yLow, run.yHigh);
}

static void ownStageCubic(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    ownPlace(run, y, left, s->n, X, Y);
    ownIndices(X, 0.5, s->n, s->x);
    ownIndices(Y, 0.5, s->n, s->y);
    if (run.tests) ownTest(run, s);
    ownCubicAxis(X, s->x, s->fx, s->n, run.xLimit, run.xLow, run.xHigh);
    ownCubicAxis(Y, s->y, s->fy, s->n, run.yLimit, run.yLow, run.yHigh);
}

/* ---- Positions in fixed point ---------------------------------------------------------------------------------- */

/* v in 16.16, to nearest-even; steps in 32 bits, starts in what sums of steps leave of 64. */
static int64_t ownFixedStep(double v) { return (int64_t)rint(ownHold(v * 65536, INT32_MIN, INT32_MAX)); }
static int64_t ownFixedStart(double v) { return (int64_t)rint(ownHold(v * 65536, -1e18, 1e18)); }

/* Positions from p on in steps, held to the window, counted from its first pixel. */
static void ownFixedIndices(int64_t p, int64_t step, int n, int32_t low, int32_t high, int32_t* __restrict index)
{
    p -= (int64_t)low << 16;
    const int64_t most = ((int64_t)high - low) << 16 | 65535;
    for (int i = 0; i < n; ++i) {
        const int64_t at = p + i * step;
        index[i] = (int32_t)((uint64_t)(at < 0 ? 0 : at > most ? most : at) >> 16);
    }
}

static int64_t ownAffineFixed(const double* c, int32_t yFirst, int32_t y, int32_t left)
{
    return ownFixedStart(c[1] * yFirst + c[2]) + ((int64_t)y - yFirst) * ownFixedStep(c[1]) + left * ownFixedStep(c[0]);
}

static void ownStageFixedNearest(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    const double* c = run.c;
    const int64_t X = ownAffineFixed(c, run.yFirst, y, left) + 32768,
                  Y = ownAffineFixed(c + 3, run.yFirst, y, left) + 32768;
    ownFixedIndices(X, ownFixedStep(c[0]), s->n, run.xLow, run.xHigh, s->x);
    ownFixedIndices(Y, ownFixedStep(c[3]), s->n, run.yLow, run.yHigh, s->y);
}

/* The two terms of a bilinear mapping stepped by second differences. */
static void ownPlaceBits(const OwnWarpRun& run, int32_t yRow, int32_t left, int n, int32_t* X, int32_t* Y)
{
    const int64_t y = (int64_t)yRow - run.yOrigin, x = (int64_t)left - run.xOrigin;
    for (int k = 0; k < 2; ++k) {
        const double* c = run.c + 4 * k;
        const int64_t step = std::clamp<int64_t>(ownFixedStep(c[1]) + y * ownFixedStep(c[0]), INT32_MIN, INT32_MAX);
        const int64_t at = ownFixedStart(c[3]) + 32768 + y * ownFixedStep(c[2]) + x * step;
        int32_t* index = k ? Y : X;
        for (int i = 0; i < n; ++i)
            index[i] = (int32_t)std::clamp<int64_t>((at + i * step) >> 16, INT32_MIN, INT32_MAX);
    }
}

static void ownStageBits(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    ownPlaceBits(run, y, left, s->n, s->x, s->y);
    if (run.tests) ownTest(run, s);
    ownIntoWindow(s->x, s->n, run.xLow, run.xHigh, 0);
    ownIntoWindow(s->y, s->n, run.yLow, run.yHigh, 0);
}

/* Linear: held to 0 and to the last pixel but one, where the place beyond it is 0. */
static void ownFixedAxis(int64_t p, int64_t step, int n, int32_t limit, int32_t low, int32_t high,
                         int32_t* __restrict index, int32_t* __restrict weight)
{
    const int64_t most = (int64_t)std::max(limit - 1, 0) << 16;
    for (int i = 0; i < n; ++i) {
        const int64_t at = p + i * step, held = at < 0 ? 0 : at > most ? most : at;
        index[i] = (int32_t)((uint64_t)held >> 16);
        weight[i] = (int32_t)((uint64_t)held & 65535) >> 2;
    }
    ownIntoWindow(index, n, low, high, 1);
}

static void ownStageFixedLinear(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    const double* c = run.c;
    const int64_t X = ownAffineFixed(c, run.yFirst, y, left), Y = ownAffineFixed(c + 3, run.yFirst, y, left);
    ownFixedAxis(X, ownFixedStep(c[0]), s->n, run.xLimit, run.xLow, run.xHigh, s->x, s->wx);
    ownFixedAxis(Y, ownFixedStep(c[3]), s->n, run.yLimit, run.yLow, run.yHigh, s->y, s->wy);
}

/* ---- Positions in single precision ------------------------------------------------------------------------------- */

/* Nearest of bytes: rounded steps added one after the other, from the row's first column on. */
struct OwnFloatWalk {
    float x, y, xStep, yStep;
};

static OwnFloatWalk ownFloatStart(const OwnWarpRun& run, int32_t y, int32_t left)
{
    const float* start = run.rowStarts + 2 * ((ptrdiff_t)y - run.yFirst);
    const float c0 = (float)run.c[0], c3 = (float)run.c[3];
    return {(float)left * c0 + start[0], (float)left * c3 + start[1], c0, c3};
}

void ownStartFloatRows(const OwnWarpRun& run, float* starts, int32_t nRows)
{
    const double* c = run.c;
    float x = (float)(c[1] * run.yFirst + c[2]), y = (float)(c[4] * run.yFirst + c[5]);
    for (int32_t i = 0; i < nRows; ++i) {
        starts[2 * (ptrdiff_t)i] = x;
        starts[2 * (ptrdiff_t)i + 1] = y;
        x += (float)c[1];
        y += (float)c[4];
    }
}

static void ownFloatIndices(OwnFloatWalk* walk, const OwnWarpRun& run, OwnSpots* s)
{
    const int n = s->n;
    const int32_t xLow = run.xLow, xHigh = run.xHigh, yLow = run.yLow, yHigh = run.yHigh;
    float X[OWN_BLOCK], Y[OWN_BLOCK];
    float x = walk->x, y = walk->y;
    const float xStep = walk->xStep, yStep = walk->yStep;
    for (int i = 0; i < n; ++i) {
        X[i] = x;
        Y[i] = y;
        x += xStep;
        y += yStep;
    }
    walk->x = x;
    walk->y = y;
    const float far = 1 << 30;
    for (int i = 0; i < n; ++i) {
        const float u = X[i] > -far ? (X[i] < far ? X[i] : far) : -far,
                    v = Y[i] > -far ? (Y[i] < far ? Y[i] : far) : -far;
        s->x[i] = std::clamp((int32_t)rintf(u), xLow, xHigh) - xLow;
        s->y[i] = std::clamp((int32_t)rintf(v), yLow, yHigh) - yLow;
    }
}

/* ---- Samples ------------------------------------------------------------------------------------------------- */

/* Results of a block to their channel of the destination. */
template <class T> static void ownPutBlock(const OwnWarpRun& run, const OwnSpots& s, const T* result, uint8_t* out)
{
    if (run.tests) {
        for (int i = 0; i < s.n; ++i)
            if (!s.skip[i]) memcpy(out + i * run.outPixelStep, result + i, sizeof(T));
    } else if (run.outPixelStep == sizeof(T)) {
        memcpy(out, result, (size_t)s.n * sizeof(T));
    } else {
        for (int i = 0; i < s.n; ++i) memcpy(out + i * run.outPixelStep, result + i, sizeof(T));
    }
}

template <class T> static inline T ownSample(const uint8_t* p)
{
    T sample;
    memcpy(&sample, p, sizeof(T));
    return sample;
}

/* The four samples around each position. */
template <class T> struct OwnFour4 {
    T s00[OWN_BLOCK], s01[OWN_BLOCK], s10[OWN_BLOCK], s11[OWN_BLOCK];
};
template <class T>
static inline void ownFetchFour(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, OwnFour4<T>* f)
{
    const int n = s.n;
    const ptrdiff_t rowStep = run.rowStep, pixelStep = run.pixelStep;
    for (int i = 0; i < n; ++i) {
        const uint8_t* p = data + s.y[i] * rowStep + s.x[i] * pixelStep;
        f->s00[i] = ownSample<T>(p);
        f->s01[i] = ownSample<T>(p + pixelStep);
        f->s10[i] = ownSample<T>(p + rowStep);
        f->s11[i] = ownSample<T>(p + rowStep + pixelStep);
    }
}

/* top = p00 + (p01 - p00) fx, bottom likewise, top + (bottom - top) fy, to nearest-even; the low bits are kept. */
template <class T>
static void ownBlendLinear(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, T* __restrict out)
{
    const int n = s.n;
    OwnFour4<T> f;
    ownFetchFour(run, s, data, &f);
    for (int i = 0; i < n; ++i) {
        const double top = f.s00[i] + (double)(f.s01[i] - f.s00[i]) * s.fx[i];
        const double bottom = f.s10[i] + (double)(f.s11[i] - f.s10[i]) * s.fx[i];
        out[i] = (T)(int32_t)rint(top + (bottom - top) * s.fy[i] + 1e-7);
    }
}

/* The same with weights of 14 bits, chopped: t = (p00 (16384 - fx) + p01 fx) >> 8, out = (t (16384 - fy) + u fy) >> 20. */
static void ownBlendFixed(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, uint8_t* __restrict out)
{
    const int n = s.n;
    OwnFour4<uint8_t> f;
    ownFetchFour(run, s, data, &f);
    for (int i = 0; i < n; ++i) {
        const int32_t t = (f.s00[i] * 16384 + (f.s01[i] - f.s00[i]) * s.wx[i]) >> 8;
        const int32_t u = (f.s10[i] * 16384 + (f.s11[i] - f.s10[i]) * s.wx[i]) >> 8;
        out[i] = (uint8_t)((t * 16384 + (u - t) * s.wy[i]) >> 20);
    }
}

/* The cubic through four samples (Lagrange), in single precision; t lies between the second and the third. */
static inline float ownLagrange(float c0, float c1, float c2, float c3, float t)
{
    const float a1 = c2 - c3 * (1.0f / 6) - c0 * (1.0f / 3) - c1 * 0.5f;
    const float a2 = (c0 + c2) * 0.5f - c1;
    const float a3 = (c3 - c0) * (1.0f / 6) + (c1 - c2) * 0.5f;
    return c1 + t * a1 + t * t * a2 + t * t * t * a3;
}

template <class T>
static void ownBlendCubic(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, T* __restrict out)
{
    const int n = s.n;
    const float most = std::numeric_limits<T>::max();
    T sample[4][4][OWN_BLOCK];
    for (int i = 0; i < n; ++i) {
        const uint8_t* p = data + s.y[i] * run.rowStep + s.x[i] * run.pixelStep;
        for (int r = 0; r < 4; ++r, p += run.rowStep)
            for (int k = 0; k < 4; ++k) sample[r][k][i] = ownSample<T>(p + k * run.pixelStep);
    }
    for (int i = 0; i < n; ++i) {
        const float t = (float)s.fx[i], u = (float)s.fy[i];
        float row[4];
        for (int r = 0; r < 4; ++r)
            row[r] = ownLagrange(sample[r][0][i], sample[r][1][i], sample[r][2][i], sample[r][3][i], t);
        const float v = rintf(ownLagrange(row[0], row[1], row[2], row[3], u));
        out[i] = (T)(int32_t)(v > 0 ? (v < most ? v : most) : 0);
    }
}

/* ---- Rows of interpolated samples -------------------------------------------------------------------------------- */

template <class T> using OwnBlendFunc = void(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, T* out);

template <class T, OwnStage stage, OwnBlendFunc<T> blend>
static void ownBlendRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    T result[OWN_BLOCK];
    uint8_t* out = run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep +
                   (left - (ptrdiff_t)run.xOut) * run.outPixelStep;
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        stage(run, y, (int32_t)x, &s);
        for (int32_t c = 0; c < run.count; ++c) {
            blend(run, s, run.data + c * run.channelStep, result);
            ownPutBlock(run, s, result, out + c * run.outChannelStep);
        }
    }
}

/* ---- Rows of copied pixels --------------------------------------------------------------------------------------- */

template <int unit>
static void ownCopyUnits(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, uint8_t* out)
{
    const int n = s.n;
    const ptrdiff_t rowStep = run.rowStep, pixelStep = run.pixelStep, outStep = run.outPixelStep;
    if (run.tests)
        for (int i = 0; i < n; ++i) {
            if (!s.skip[i]) memcpy(out + i * outStep, data + s.y[i] * rowStep + s.x[i] * pixelStep, unit);
        }
    else
        for (int i = 0; i < n; ++i) memcpy(out + i * outStep, data + s.y[i] * rowStep + s.x[i] * pixelStep, unit);
}

/* All channels of a block: whole pixels when they lie side by side. */
template <int sampleBytes> static void ownCopyBlock(const OwnWarpRun& run, const OwnSpots& s, uint8_t* out)
{
    const bool together = run.channelStep == sampleBytes && run.outChannelStep == sampleBytes;
    if (together && run.count == 3) return ownCopyUnits<3 * sampleBytes>(run, s, run.data, out);
    if (together && run.count == 4) return ownCopyUnits<4 * sampleBytes>(run, s, run.data, out);
    for (int32_t c = 0; c < run.count; ++c)
        ownCopyUnits<sampleBytes>(run, s, run.data + c * run.channelStep, out + c * run.outChannelStep);
}

template <int sampleBytes, OwnStage stage>
static void ownNearestRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    uint8_t* out = run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep +
                   (left - (ptrdiff_t)run.xOut) * run.outPixelStep;
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        stage(run, y, (int32_t)x, &s);
        ownCopyBlock<sampleBytes>(run, s, out);
    }
}

/* Bytes by steps in single precision. */
static void ownFloatRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    OwnFloatWalk walk = ownFloatStart(run, y, left);
    uint8_t* out = run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep +
                   (left - (ptrdiff_t)run.xOut) * run.outPixelStep;
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        ownFloatIndices(&walk, run, &s);
        ownCopyBlock<1>(run, s, out);
    }
}

/* Bits, a byte of the destination at a time. */
template <OwnStage stage> static void ownBitRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    uint8_t* row = run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep;
    int64_t at = run.outBit + ((int64_t)left - run.xOut);
    for (int64_t x = left; x <= right; x += s.n) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        stage(run, y, (int32_t)x, &s);
        if (!run.tests) memset(s.skip, 0, sizeof(s.skip));
        for (int i = 0; i < s.n;) {
            const int n = std::min(8 - (int)(at & 7), s.n - i), shift = 8 - (int)(at & 7) - n;
            int bits = 0, write = 0;
            for (int k = 0; k < n; ++k, ++i) {
                const uint32_t from = (uint32_t)(run.bit + s.x[i]);
                bits = bits << 1 | (run.data[s.y[i] * run.rowStep + (from >> 3)] >> (7 - (from & 7)) & 1);
                write = write << 1 | !s.skip[i];
            }
            row[at >> 3] = (uint8_t)((row[at >> 3] & ~(write << shift)) | (bits & write) << shift);
            at += n;
        }
    }
}

/* ---- The choice ---------------------------------------------------------------------------------------------- */

OwnWarpRow* ownChooseWarpRow(const OwnWarpRun& run, uint32_t depth, bool byPlanes, int32_t interpolate)
{
    const bool affine = run.kind == OWN_WARP_AFFINE;
    static constexpr OwnWarpRow* nearest[2] = {ownNearestRow<1, ownStageNearest>, ownNearestRow<2, ownStageNearest>};
    static constexpr OwnWarpRow* linear[2] = {ownBlendRow<uint8_t, ownStageLinear, ownBlendLinear<uint8_t>>,
                                              ownBlendRow<uint16_t, ownStageLinear, ownBlendLinear<uint16_t>>};
    static constexpr OwnWarpRow* cubic[2] = {ownBlendRow<uint8_t, ownStageCubic, ownBlendCubic<uint8_t>>,
                                             ownBlendRow<uint16_t, ownStageCubic, ownBlendCubic<uint16_t>>};
    if (depth == VEK_DEPTH_1U) {
        if (affine) return ownBitRow<ownStageFixedNearest>;
        return run.kind == OWN_WARP_BILINEAR && run.forward ? ownBitRow<ownStageBits> : ownBitRow<ownStageNearest>;
    }
    const int words = depth == VEK_DEPTH_16U;
    switch (interpolate) {
    case VEK_INTER_NN:
        if (affine && words) return ownNearestRow<2, ownStageFixedNearest>;
        if (affine) return byPlanes ? ownNearestRow<1, ownStageFixedNearest> : ownFloatRow;
        return nearest[words];
    case VEK_INTER_LINEAR:
        if (affine && !words) return ownBlendRow<uint8_t, ownStageFixedLinear, ownBlendFixed>;
        return linear[words];
    default: return cubic[words];
    }
}

/* ---- What a row comes from --------------------------------------------------------------------------------------- */

void ownReachOfRow(const OwnWarpRun& run, uint32_t depth, int32_t y, int32_t left, int32_t right, OwnRect* box)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    int32_t column[OWN_BLOCK], row[OWN_BLOCK];
    for (int64_t x = left; x <= right; x += OWN_BLOCK) {
        const int n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        if (depth == VEK_DEPTH_1U && run.kind == OWN_WARP_BILINEAR && run.forward) {
            ownPlaceBits(run, y, (int32_t)x, n, column, row);
        } else {
            ownPlace(run, y, (int32_t)x, n, X, Y);
            ownIndices(X, 0.5, n, column);
            ownIndices(Y, 0.5, n, row);
        }
        for (int i = 0; i < n; ++i) {
            const OwnRect& in = run.inside;
            if (run.tests &&
                (column[i] < in.left - 3 || row[i] < in.top - 3 || column[i] > in.right + 3 || row[i] > in.bottom + 3))
                continue;
            box->left = std::min(box->left, column[i]);
            box->right = std::max(box->right, column[i]);
            box->top = std::min(box->top, row[i]);
            box->bottom = std::max(box->bottom, row[i]);
        }
    }
}
