/* ownspots: positions, by the kind of mapping and its arithmetic, and the source pixels that they mean. */
#include "ownspots.h"

#include "ownsimd.h"

#include <math.h>

static_assert(OWN_BLOCK % OWN_VEC_BYTES == 0);

/* Pixels go by as many as a vector of bytes has lanes; positions by as many as one of 32 bits has. */
static int ownWholeBlock(int n) { return (n + OWN_VEC_BYTES - 1) & -OWN_VEC_BYTES; }
static constexpr int OWN_LANES = (int)OwnVec<int32_t>::lanes, OWN_HALF = (int)OwnVec<double>::lanes;

/* ---- Positions in floating point ------------------------------------------------------------------------------- */

/* X, Y = place(x) for columns x0, x0 + 1, ..., which doubles count exactly. */
template <class F> static inline void ownPlaceColumns(double x0, int n, double* X, double* Y, F place)
{
    static const double ramp[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    OwnVec<double> x = ownSet(x0) + ownLoad<double>(ramp);
    for (int i = 0; i < n; i += OWN_HALF, x = x + ownSet((double)OWN_HALF)) {
        const OwnPair<double> spot = place(x);
        ownStore(X + i, spot.lo);
        ownStore(Y + i, spot.hi);
    }
}

/* c0 x + row. */
struct OwnLinear {
    OwnVec<double> step, row;
    OwnLinear(double c0, double r) : step(ownSet(c0)), row(ownSet(r)) {}
    OwnVec<double> operator()(OwnVec<double> x) const { return step * x + row; }
};

/* The exact inverse of a bilinear mapping, by the form that its equation has. */
[[gnu::flatten]] static void ownPlaceInverse(const OwnBilinearInverse& inverse, double x0, double y, int n, double* X,
                                             double* Y)
{
    const double* d = inverse.d;
    const OwnLinear P(d[0], d[1] * y + d[2]), Q(d[4], d[6] * y + d[8]), R(d[5], d[7] * y + d[9]);
    const OwnVec<double> sign = ownSet(inverse.plusRoot ? 1.0 : -1.0), d3 = ownSet(d[3]);
    typedef OwnVec<double> V;
    typedef OwnPair<double> Spot;
    switch (inverse.kind) {
    case OWN_BILINEAR_BOTH:
        return ownPlaceColumns(x0, n, X, Y, [=](V x) {
            const V p = P(x), u = p + sign * ownSqrt(p * p - Q(x));
            return Spot{u, d3 * u + R(x)};
        });
    case OWN_BILINEAR_ACROSS: return ownPlaceColumns(x0, n, X, Y, [=](V x) { return Spot{Q(x) / P(x), R(x)}; });
    case OWN_BILINEAR_DOWN: return ownPlaceColumns(x0, n, X, Y, [=](V x) { return Spot{Q(x), R(x) / P(x)}; });
    case OWN_BILINEAR_NONE: return ownPlaceColumns(x0, n, X, Y, [=](V x) { return Spot{Q(x), R(x)}; });
    }
}

/* Source positions of n destination pixels (whole vectors) of row y from column left on. */
[[gnu::flatten]] static void ownPlace(const OwnWarpRun& run, int32_t yRow, int32_t left, int n, double* X, double* Y)
{
    const double* c = run.c;
    const double x0 = (double)left - run.xOrigin, y = (double)yRow - run.yOrigin;
    typedef OwnVec<double> V;
    if (run.kind == OWN_WARP_PERSPECTIVE) {
        const OwnLinear u(c[0], c[1] * y + c[2]), v(c[3], c[4] * y + c[5]), w(c[6], c[7] * y + c[8]);
        return ownPlaceColumns(x0, n, X, Y, [=](V x) {
            const V inverse = ownSet(1.0) / w(x);
            return OwnPair<double>{u(x) * inverse, v(x) * inverse};
        });
    }
    if (run.kind == OWN_WARP_BILINEAR && !run.forward) return ownPlaceInverse(run.inverse, x0, y, n, X, Y);
    const bool affine = run.kind == OWN_WARP_AFFINE;
    const OwnLinear u = affine ? OwnLinear(c[0], c[1] * y + c[2]) : OwnLinear(c[0] * y + c[1], c[2] * y + c[3]);
    const OwnLinear v = affine ? OwnLinear(c[3], c[4] * y + c[5]) : OwnLinear(c[4] * y + c[5], c[6] * y + c[7]);
    ownPlaceColumns(x0, n, X, Y, [=](V x) { return OwnPair<double>{u(x), v(x)}; });
}

/* ---- From positions to indices --------------------------------------------------------------------------------- */

/* Held to a range; what is no number becomes the low end. */
static inline double ownHold(double v, double low, double high) { return v > low ? (v < high ? v : high) : low; }
static inline OwnVec<double> ownHold(OwnVec<double> v, double low, double high)
{
    return ownMin(ownMax(v, ownSet(low)), ownSet(high));
}
static inline OwnVec<int32_t> ownHold(OwnVec<int32_t> v, int32_t low, int32_t high)
{
    return ownMin(ownMax(v, ownSet(low)), ownSet(high));
}

/* The indices of positions, rounded: p + 1e-7 - shift. */
static inline OwnVec<int32_t> ownIndexAt(const double* p, double shift)
{
    constexpr double far = 1 << 30;
    const auto half = [=](int i) { return ownHold(ownLoad<double>(p + i) + ownSet(1e-7) - ownSet(shift), -far, far); };
    return ownNearest(OwnPair<double>{half(0), half(OWN_HALF)});
}

[[gnu::flatten]] static void ownIndices(const double* p, double shift, int n, int32_t* index)
{
    for (int i = 0; i < n; i += OWN_LANES) ownStore(index + i, ownIndexAt(p + i, shift));
}

static void ownTest(const OwnWarpRun& run, OwnSpots* s, int n)
{
    const OwnRect& in = run.inside;
    for (int i = 0; i < n; ++i) {
        const bool out = (s->x[i] < in.left) | (s->y[i] < in.top) | (s->x[i] > in.right) | (s->y[i] > in.bottom);
        s->skip[i] = (uint8_t)-out;
    }
}

/* Into the window, and counted from its first pixel; reach: pixels that are read beyond the index. */
[[gnu::flatten]] static void ownIntoWindow(int32_t* index, int n, int32_t low, int32_t high, int32_t reach)
{
    high = std::max(low, high - reach);
    for (int i = 0; i < n; i += OWN_LANES)
        ownStore(index + i, ownHold(ownLoad<int32_t>(index + i), low, high) - ownSet(low));
}

/* The distance of positions from indices. */
static inline OwnPair<double> ownBeyond(const double* p, OwnVec<int32_t> at, double more)
{
    const OwnPair<double> index = ownToDouble(at);
    return {ownHold(ownLoad<double>(p) - index.lo - ownSet(more), -8, 8),
            ownHold(ownLoad<double>(p + OWN_HALF) - index.hi - ownSet(more), -8, 8)};
}

/* Linear on one axis: the index below the position, but never the last, and how far the position lies beyond it. */
[[gnu::flatten]] static void ownLinearAxis(const double* p, int32_t* index, double* f, int n, int32_t limit,
                                           int32_t low, int32_t high)
{
    high = std::max(low, high - 1);
    for (int i = 0; i < n; i += OWN_LANES) {
        const OwnVec<int32_t> below = ownMin(ownLoad<int32_t>(index + i), ownSet(limit - 1));
        const OwnVec<int32_t> at = ownHold(below, low, high);
        const OwnPair<double> beyond = ownBeyond(p + i, at, 0);
        ownStore(index + i, at - ownSet(low));
        ownStore(f + i, beyond.lo);
        ownStore(f + i + OWN_HALF, beyond.hi);
    }
}

/* Cubic on one axis: the window of four starts one before, but stays in the image. */
[[gnu::flatten]] static void ownCubicAxis(const double* p, int32_t* index, float* t, int n, int32_t limit, int32_t low,
                                          int32_t high)
{
    high = std::max(low, std::min(limit, high) - 3);
    for (int i = 0; i < n; i += OWN_LANES) {
        const OwnVec<int32_t> v = ownLoad<int32_t>(index + i), before = ownMax(v - ownSet(1), OwnVec<int32_t>{});
        const OwnVec<int32_t> start = ownSelect(ownGreater(v, ownSet(limit - 2)), ownSet(limit - 3), before);
        const OwnVec<int32_t> at = ownHold(start, low, high);
        ownStore(index + i, at - ownSet(low));
        ownStore(t + i, ownToFloat(ownBeyond(p + i, at, 1.0)));
    }
}

/* ---- Stages ---------------------------------------------------------------------------------------------------- */

/* Positions, and the indices of them; shift: 0 to the nearest, 1/2 to the one below. */
static int ownPlaceBlock(const OwnWarpRun& run, int32_t y, int32_t left, double shift, OwnSpots* s, double* X,
                         double* Y)
{
    const int n = ownWholeBlock(s->n);
    ownPlace(run, y, left, n, X, Y);
    ownIndices(X, shift, n, s->x);
    ownIndices(Y, shift, n, s->y);
    if (run.tests) ownTest(run, s, n);
    return n;
}

void ownStageNearest(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    const int n = ownPlaceBlock(run, y, left, 0, s, X, Y);
    ownIntoWindow(s->x, n, run.xLow, run.xHigh, 0);
    ownIntoWindow(s->y, n, run.yLow, run.yHigh, 0);
}

void ownStageLinear(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    const int n = ownPlaceBlock(run, y, left, 0.5, s, X, Y);
    ownLinearAxis(X, s->x, s->fx, n, run.xLimit, run.xLow, run.xHigh);
    ownLinearAxis(Y, s->y, s->fy, n, run.yLimit, run.yLow, run.yHigh);
}

void ownStageCubic(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    const int n = ownPlaceBlock(run, y, left, 0.5, s, X, Y);
    ownCubicAxis(X, s->x, s->tx, n, run.xLimit, run.xLow, run.xHigh);
    ownCubicAxis(Y, s->y, s->ty, n, run.yLimit, run.yLow, run.yHigh);
}

/* ---- Positions in fixed point ---------------------------------------------------------------------------------- */

/* v in 16.16, to nearest-even; steps in 32 bits, starts in what sums of steps leave of 64. */
static int64_t ownFixedStep(double v) { return (int64_t)rint(ownHold(v * 65536, INT32_MIN, INT32_MAX)); }
static int64_t ownFixedStart(double v) { return (int64_t)rint(ownHold(v * 65536, -1e18, 1e18)); }

static int64_t ownAffineFixed(const double* c, int32_t yFirst, int32_t y, int32_t left)
{
    return ownFixedStart(c[1] * yFirst + c[2]) + ((int64_t)y - yFirst) * ownFixedStep(c[1]) + left * ownFixedStep(c[0]);
}

/* f(i, positions p, p + step, ... from lane i on, each held to 0 .. most). By vectors where all of them have 32 bits. */
template <class F> static inline void ownEachFixed(int64_t p, int64_t step, int n, int64_t most, F f)
{
    const int64_t last = p + (n - 1) * step;
    const auto fits = [](int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; };
    if (fits(p) && fits(last) && fits(most)) {
        int32_t first[OWN_LANES];
        for (int i = 0; i < OWN_LANES; ++i) first[i] = (int32_t)(p + i * step);
        OwnVec<int32_t> at = ownLoad<int32_t>(first);
        for (int i = 0; i < n; i += OWN_LANES, at = at + ownSet((int32_t)(uint32_t)(OWN_LANES * step)))
            f(i, ownHold(at, 0, (int32_t)most), ownShiftRight(ownHold(at, 0, (int32_t)most), 16));
        return;
    }
    for (int i = 0; i < n; i += OWN_LANES) {
        int32_t fraction[OWN_LANES], whole[OWN_LANES];
        for (int k = 0; k < OWN_LANES; ++k) {
            const int64_t at = std::clamp<int64_t>(p + (i + k) * step, 0, most);
            fraction[k] = (int32_t)(at & 65535);
            whole[k] = (int32_t)(at >> 16);
        }
        f(i, ownLoad<int32_t>(fraction), ownLoad<int32_t>(whole));
    }
}

/* Nearest: held to the window, counted from its first pixel. */
[[gnu::flatten]] static void ownFixedIndices(int64_t p, int64_t step, int n, int32_t low, int32_t high, int32_t* index)
{
    ownEachFixed(p - ((int64_t)low << 16), step, n, ((int64_t)high - low) << 16 | 65535,
                 [=](int i, OwnVec<int32_t>, OwnVec<int32_t> whole) { ownStore(index + i, whole); });
}

void ownStageFixedNearest(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    const int n = ownWholeBlock(s->n);
    const double* c = run.c;
    const int64_t X = ownAffineFixed(c, run.yFirst, y, left) + 32768,
                  Y = ownAffineFixed(c + 3, run.yFirst, y, left) + 32768;
    ownFixedIndices(X, ownFixedStep(c[0]), n, run.xLow, run.xHigh, s->x);
    ownFixedIndices(Y, ownFixedStep(c[3]), n, run.yLow, run.yHigh, s->y);
}

/* Linear: held to 0 and to the last pixel but one, where the place beyond it is 0. */
[[gnu::flatten]] static void ownFixedAxis(int64_t p, int64_t step, int n, int32_t limit, int32_t low, int32_t high,
                                          int32_t* index, int32_t* weights)
{
    high = std::max(low, high - 1);
    ownEachFixed(p, step, n, (int64_t)std::max(limit - 1, 0) << 16,
                 [=](int i, OwnVec<int32_t> at, OwnVec<int32_t> whole) {
                     const OwnVec<int32_t> w = ownShiftRight(at & ownSet(65535), 2);
                     ownStore(index + i, ownHold(whole, low, high) - ownSet(low));
                     ownStore(weights + i, ownSet(16384) + ownShiftLeft(w, 16) - w);
                 });
}

void ownStageFixedLinear(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    const int n = ownWholeBlock(s->n);
    const double* c = run.c;
    const int64_t X = ownAffineFixed(c, run.yFirst, y, left), Y = ownAffineFixed(c + 3, run.yFirst, y, left);
    ownFixedAxis(X, ownFixedStep(c[0]), n, run.xLimit, run.xLow, run.xHigh, s->x, s->wx);
    ownFixedAxis(Y, ownFixedStep(c[3]), n, run.yLimit, run.yLow, run.yHigh, s->y, s->wy);
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

void ownStageBits(const OwnWarpRun& run, int32_t y, int32_t left, OwnSpots* s)
{
    const int n = ownWholeBlock(s->n);
    ownPlaceBits(run, y, left, n, s->x, s->y);
    if (run.tests) ownTest(run, s, n);
    ownIntoWindow(s->x, n, run.xLow, run.xHigh, 0);
    ownIntoWindow(s->y, n, run.yLow, run.yHigh, 0);
}

/* ---- Positions in single precision ------------------------------------------------------------------------------- */

OwnFloatWalk ownFloatStart(const OwnWarpRun& run, int32_t y, int32_t left)
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

/* Whether two finite numbers lie between the same two powers of two, and on the same side of 0. */
static bool ownSameScale(float a, float b)
{
    const uint32_t x = std::bit_cast<uint32_t>(a), y = std::bit_cast<uint32_t>(b), exponent = 0x7F800000;
    return ((x ^ y) & ~0x7FFFFFu) == 0 && (x & exponent) != exponent;
}

static_assert(OWN_STRIDE % OWN_LANES == 0);

/* Between two powers of two all numbers are multiples of one unit. So each sum there adds the step rounded to the unit, the
 * same every time; but for a tie, which goes to the even sum: all that follow are even then, and add the same again. Where
 * the third sum adds what the fourth one does, sums are the second one and multiples of that, exactly. */
[[gnu::flatten]] float ownFloatSums(float p, float step, int n, float* out)
{
    static const float ramp[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    for (int i = 0; i < n; i += OWN_STRIDE) {
        const float second = p + step, third = second + step, each = third - second;
        const float last = second + each * (OWN_STRIDE - 1);
        if (ownSameScale(second, last) && third + step - third == each) {
            const OwnVec<float> from = ownSet(second), by = ownSet(each);
            for (int k = 0; k < OWN_STRIDE; k += OWN_LANES)
                ownStore(out + i + k, from + by * (ownLoad<float>(ramp) + ownSet((float)(k - 1))));
            out[i] = p;
            p = last;
        } else
            for (int k = 0; k < OWN_STRIDE; ++k, p += step) out[i + k] = p;
    }
    return p;
}

/* Rounded, held to the window, counted from its first pixel. */
[[gnu::flatten]] static void ownFloatIndices(const float* p, int n, int32_t low, int32_t high, int32_t* index)
{
    const OwnVec<float> far = ownSet((float)(1 << 30));
    for (int i = 0; i < n; i += OWN_LANES) {
        const OwnVec<float> v = ownMin(ownMax(ownLoad<float>(p + i), OwnVec<float>{} - far), far);
        ownStore(index + i, ownHold(ownNearest(v), low, high) - ownSet(low));
    }
}

void ownStageFloat(OwnFloatWalk* walk, const OwnWarpRun& run, OwnSpots* s)
{
    const int n = (s->n + OWN_STRIDE - 1) & -OWN_STRIDE;
    alignas(64) float X[OWN_BLOCK], Y[OWN_BLOCK];
    walk->x = ownFloatSums(walk->x, walk->xStep, n, X);
    walk->y = ownFloatSums(walk->y, walk->yStep, n, Y);
    ownFloatIndices(X, n, run.xLow, run.xHigh, s->x);
    ownFloatIndices(Y, n, run.yLow, run.yHigh, s->y);
}

/* ---- Where the pixels lie ----------------------------------------------------------------------------------------- */

void ownAddressPixels(const OwnWarpRun& run, OwnSpots* s)
{
    const int n = ownWholeBlock(s->n);
    const int32_t rowStep = (int32_t)run.rowStep, pixelStep = (int32_t)run.pixelStep;
    for (int i = 0; i < n; ++i) s->at[i] = (ptrdiff_t)((int64_t)s->y[i] * rowStep + (int64_t)s->x[i] * pixelStep);
}

[[gnu::flatten]] void ownAddressBits(const OwnWarpRun& run, OwnSpots* s, uint8_t* bit)
{
    static const uint8_t places[16] = {0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1};
    const int n = ownWholeBlock(s->n);
    const int32_t rowStep = (int32_t)run.rowStep;
    const uint32_t first = (uint32_t)run.bit;
    for (int i = 0; i < n; ++i)
        s->at[i] = (ptrdiff_t)((int64_t)s->y[i] * rowStep + (int64_t)(((uint32_t)s->x[i] + first) >> 3));
    const auto part = [&](int i) { return (ownLoad<int32_t>(s->x + i) + ownSet(run.bit)) & ownSet(7); };
    for (int i = 0; i < n; i += OWN_VEC_BYTES) {
        const OwnVec<uint8_t> place = ownNarrow<uint8_t>(
            ownNarrow<int16_t>(part(i), part(i + OWN_LANES)),
            ownNarrow<int16_t>(part(i + 2 * OWN_LANES), part(i + 3 * OWN_LANES)));
        ownStore(bit + i, ownPickBytes(ownRepeat16(places), place));
    }
}

/* Lines of the source are met in no order that a processor foresees, one for the first time every few dozen pixels. What
 * the block some rows further down will need is asked for now: it lies apart by what its first pixel does. */
void ownFetchAhead(const OwnWarpRun& run, int32_t y, int32_t left, const OwnSpots& s)
{
    constexpr int32_t nRows = 4;
    double X[OWN_HALF], Y[OWN_HALF];
    ownPlace(run, y + nRows, left, OWN_HALF, X, Y);
    const auto index = [](double p, int32_t low, int32_t high) { return (ptrdiff_t)ownHold(p, low, high) - low; };
    const ptrdiff_t at = index(Y[0], run.yLow, run.yHigh) * run.rowStep +
                         index(X[0], run.xLow, run.xHigh) * run.pixelStep;
    const uintptr_t from = (uintptr_t)run.data + (uintptr_t)(at - s.at[0]);
#pragma GCC unroll 4
    for (int i = 0; i < s.n; i += 2) __builtin_prefetch((const void*)(from + (uintptr_t)s.at[i]));
}

/* ---- What a row comes from --------------------------------------------------------------------------------------- */

void ownReachOfRow(const OwnWarpRun& run, uint32_t depth, int32_t y, int32_t left, int32_t right, OwnRect* box)
{
    double X[OWN_BLOCK], Y[OWN_BLOCK];
    int32_t column[OWN_BLOCK], row[OWN_BLOCK];
    for (int64_t x = left; x <= right; x += OWN_BLOCK) {
        const int n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1), whole = ownWholeBlock(n);
        if (depth == VEK_DEPTH_1U && run.kind == OWN_WARP_BILINEAR && run.forward) {
            ownPlaceBits(run, y, (int32_t)x, n, column, row);
        } else {
            ownPlace(run, y, (int32_t)x, whole, X, Y);
            ownIndices(X, 0.5, whole, column);
            ownIndices(Y, 0.5, whole, row);
        }
        for (int i = 0; i < n; ++i) {
            const OwnRect& in = run.inside; /* the nearest pixel may be the next one */
            if (run.tests &&
                (column[i] < in.left - 1 || row[i] < in.top - 1 || column[i] > in.right || row[i] > in.bottom))
                continue;
            box->left = std::min(box->left, column[i]);
            box->right = std::max(box->right, column[i]);
            box->top = std::min(box->top, row[i]);
            box->bottom = std::max(box->bottom, row[i]);
        }
    }
}
