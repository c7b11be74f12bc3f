/* ownbox: the kernels of the extremum of a box. */
#include "ownbox.h"

#include "ownsimd.h"

/* ---- The four extrema ---------------------------------------------------------------------------------------- */

/* A sample type, its extremum of two, and the value that is no extremum of anything. */
template <class T> struct OwnLeast {
    typedef T Sample;
    static OwnVec<T> of(OwnVec<T> a, OwnVec<T> b) { return ownMin(a, b); }
    static T one(T a, T b) { return a < b ? a : b; }
    static constexpr T neutral = std::numeric_limits<T>::max();
};
template <class T> struct OwnMost {
    typedef T Sample;
    static OwnVec<T> of(OwnVec<T> a, OwnVec<T> b) { return ownMax(a, b); }
    static T one(T a, T b) { return a > b ? a : b; }
    static constexpr T neutral = std::numeric_limits<T>::min();
};
/* Eight bits to a sample: the smaller bit is the AND, the larger one the OR. */
struct OwnAllBits {
    typedef uint8_t Sample;
    static OwnVec<uint8_t> of(OwnVec<uint8_t> a, OwnVec<uint8_t> b) { return a & b; }
    static OwnVec<uint64_t> of64(OwnVec<uint64_t> a, OwnVec<uint64_t> b) { return a & b; }
    static uint8_t one(uint8_t a, uint8_t b) { return a & b; }
    static constexpr uint8_t neutral = 0xFF;
};
struct OwnAnyBit {
    typedef uint8_t Sample;
    static OwnVec<uint8_t> of(OwnVec<uint8_t> a, OwnVec<uint8_t> b) { return a | b; }
    static OwnVec<uint64_t> of64(OwnVec<uint64_t> a, OwnVec<uint64_t> b) { return a | b; }
    static uint8_t one(uint8_t a, uint8_t b) { return a | b; }
    static constexpr uint8_t neutral = 0;
};

/* ---- Down ---------------------------------------------------------------------------------------------------- */

/* All vectors of a row, at their bytes; the last one steps back into the one before it. */
template <class T, class F> static inline void ownStrips(ptrdiff_t n, F f)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    for (ptrdiff_t i = 0; i < n - lanes; i += lanes) f(i * size);
    f((n - lanes) * size);
}

/* Windows of `span` rows become windows of `side` rows; each step joins two, which may overlap. */
template <class E, int side, int span, int n> static inline void ownWiden(OwnVec<typename E::Sample>* x)
{
    constexpr int d = std::min(span, side - span);
#pragma GCC unroll 16
    for (int i = 0; i < n - d; ++i) x[i] = E::of(x[i], x[i + d]);
    if constexpr (span + d < side) ownWiden<E, side, span + d, n - d>(x);
}

/* A few rows of results of a low box, in registers. */
template <class E, int side, int nRows>
[[gnu::flatten]] static inline void ownDownLow(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t n)
{
    typedef typename E::Sample T;
    const uint8_t* from[nRows + side - 1];
    for (int i = 0; i < nRows + side - 1; ++i) from[i] = rows[i];
    ownStrips<T>(n, [=](ptrdiff_t at) {
        OwnVec<T> x[nRows + side - 1];
#pragma GCC unroll 16
        for (int i = 0; i < nRows + side - 1; ++i) x[i] = ownLoad<T>(from[i] + at);
        if constexpr (side > 1) ownWiden<E, side, 1, nRows + side - 1>(x);
#pragma GCC unroll 8
        for (int i = 0; i < nRows; ++i) ownStore(out + i * outStep + at, x[i]);
    });
}

/* A group of results of a higher box, van Herk and Gil-Werman: all windows of the group share the rows from its last
 * result's first row to its first result's last. To the rows above that core the windows reach by suffixes, which are
 * kept; below it the core grows by a row from result to result. */
template <class E, int nVecs>
static inline void ownDownHigh(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side,
                               ptrdiff_t group, ptrdiff_t at)
{
    typedef typename E::Sample T;
    typedef OwnVec<T> Vec;
    Vec suffix[OWN_BOX_MOST_ROWS][nVecs], x[nVecs], core[nVecs];
    const auto load = [at](const uint8_t* row, int k) { return ownLoad<T>(row + at + k * OWN_VEC_BYTES); };
    for (int k = 0; k < nVecs; ++k) suffix[group - 2][k] = x[k] = load(rows[group - 2], k);
    for (ptrdiff_t i = group - 3; i >= 0; --i)
        for (int k = 0; k < nVecs; ++k) suffix[i][k] = x[k] = E::of(x[k], load(rows[i], k));
    for (int k = 0; k < nVecs; ++k) core[k] = load(rows[group - 1], k);
    for (ptrdiff_t i = group; i < side; ++i)
        for (int k = 0; k < nVecs; ++k) core[k] = E::of(core[k], load(rows[i], k));
    out += at;
    for (ptrdiff_t i = 0; i < group - 1; ++i, out += outStep)
        for (int k = 0; k < nVecs; ++k) {
            ownStore(out + k * OWN_VEC_BYTES, E::of(core[k], suffix[i][k]));
            core[k] = E::of(core[k], load(rows[side + i], k));
        }
    for (int k = 0; k < nVecs; ++k) ownStore(out + k * OWN_VEC_BYTES, core[k]);
}

template <class E, int side>
static void ownDownLows(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t nRows, ptrdiff_t n)
{
    constexpr int few = side > 3 ? OWN_BOX_ROWS : OWN_BOX_ROWS / 2;
    for (ptrdiff_t y = 0; y < nRows; y += few) ownDownLow<E, side, few>(out + y * outStep, outStep, rows + y, n);
}

template <class E>
[[gnu::flatten]] static void ownDownHighs(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side,
                                          ptrdiff_t nRows, ptrdiff_t n)
{
    const ptrdiff_t most = std::min<ptrdiff_t>(side, OWN_BOX_MOST_ROWS) & -OWN_BOX_ROWS;
    const ptrdiff_t bytes = n * (ptrdiff_t)sizeof(typename E::Sample);
    for (ptrdiff_t y = 0, group; y < nRows; y += group) {
        group = std::min(most, nRows - y);
        const auto strip = [=](auto nVecs, ptrdiff_t at) {
            uint8_t* to = out + y * outStep;
            if (group == OWN_BOX_ROWS) ownDownHigh<E, nVecs>(to, outStep, rows + y, side, OWN_BOX_ROWS, at);
            else ownDownHigh<E, nVecs>(to, outStep, rows + y, side, group, at);
        };
        ptrdiff_t at = 0;
        for (; at + 2 * OWN_VEC_BYTES <= bytes; at += 2 * OWN_VEC_BYTES) strip(std::integral_constant<int, 2>(), at);
        for (; at + OWN_VEC_BYTES <= bytes; at += OWN_VEC_BYTES) strip(std::integral_constant<int, 1>(), at);
        if (at < bytes) strip(std::integral_constant<int, 1>(), bytes - OWN_VEC_BYTES);
    }
}

template <class E>
static void ownDownPlain(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                         ptrdiff_t n)
{
    typedef typename E::Sample T;
    for (ptrdiff_t y = 0; y < nRows; ++y) {
        memcpy(out + y * outStep, rows[y], (size_t)n * sizeof(T));
        for (ptrdiff_t i = 1; i < side; ++i)
            ownEach2<T, T>(out + y * outStep, out + y * outStep, rows[y + i], n, E::one);
    }
}

template <class E>
static void ownDown(uint8_t* out, ptrdiff_t outStep, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t nRows,
                    ptrdiff_t n)
{
    if (n < OwnVec<typename E::Sample>::lanes) return ownDownPlain<E>(out, outStep, rows, side, nRows, n);
    switch (side) {
    case 1: return ownDownLows<E, 1>(out, outStep, rows, nRows, n);
    case 2: return ownDownLows<E, 2>(out, outStep, rows, nRows, n);
    case 3: return ownDownLows<E, 3>(out, outStep, rows, nRows, n);
    case 4: return ownDownLows<E, 4>(out, outStep, rows, nRows, n);
    case 5: return ownDownLows<E, 5>(out, outStep, rows, nRows, n);
    case 6: return ownDownLows<E, 6>(out, outStep, rows, nRows, n);
    case 7: return ownDownLows<E, 7>(out, outStep, rows, nRows, n);
    }
    ownDownHighs<E>(out, outStep, rows, side, nRows, n);
}

template <class E> static void ownPile(void* out, const uint8_t* const* rows, ptrdiff_t side, ptrdiff_t n)
{
    typedef typename E::Sample T;
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const ptrdiff_t bytes = n * (ptrdiff_t)sizeof(T);
    if (bytes < 2 * step) return ownDownPlain<E>((uint8_t*)out, 0, rows, side, 1, n);
    for (ptrdiff_t i = 0;; i = std::min(i + 2 * step, bytes - 2 * step)) {
        OwnVec<T> x = ownLoad<T>(rows[0] + i), y = ownLoad<T>(rows[0] + i + step);
        for (ptrdiff_t r = 1; r < side; ++r) {
            x = E::of(x, ownLoad<T>(rows[r] + i));
            y = E::of(y, ownLoad<T>(rows[r] + i + step));
        }
        ownStore((char*)out + i, x);
        ownStore((char*)out + i + step, y);
        if (i == bytes - 2 * step) return;
    }
}

/* ---- Across -------------------------------------------------------------------------------------------------- */

/* out[i] = f(i) for n samples, i in bytes; the last vector is computed before the loop and stored after it. */
template <class T, class F> [[gnu::flatten]] static inline void ownFromRow(void* out, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T), step = OWN_VEC_BYTES;
    char* po = (char*)out;
    const ptrdiff_t bytes = n * size;
    const OwnVec<T> last = f(bytes - step);
    ptrdiff_t i = 0;
    for (; i < bytes - 2 * step; i += 2 * step) {
        const OwnVec<T> x = f(i), y = f(i + step);
        ownStore(po + i, x);
        ownStore(po + i + step, y);
    }
    for (; i < bytes - step; i += step) ownStore(po + i, f(i));
    ownStore(po + bytes - step, last);
}

template <class E> static void ownAcrossPlain(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    typedef typename E::Sample T;
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T);
    for (ptrdiff_t i = 0; i < n; ++i) {
        T x, y;
        memcpy(&x, (const char*)in + (i + reach.at[0]) * size, sizeof(T));
        for (int k = 1; k < reach.count; ++k) {
            memcpy(&y, (const char*)in + (i + reach.at[k]) * size, sizeof(T));
            x = E::one(x, y);
        }
        memcpy((char*)out + i * size, &x, sizeof(T));
    }
}

template <class E, int count>
[[gnu::flatten]] static void ownAcrossOf(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    typedef typename E::Sample T;
    const char* from[count];
    for (int k = 0; k < count; ++k) from[k] = (const char*)in + reach.at[k] * (ptrdiff_t)sizeof(T);
    ownFromRow<T>(out, n, [=](ptrdiff_t i) {
        OwnVec<T> x = ownLoad<T>(from[0] + i);
        for (int k = 1; k < count; ++k) x = E::of(x, ownLoad<T>(from[k] + i));
        return x;
    });
}

template <class E> static void ownAcross(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    if (n < OwnVec<typename E::Sample>::lanes) return ownAcrossPlain<E>(out, in, reach, n);
    switch (reach.count) {
    case 1: return ownAcrossOf<E, 1>(out, in, reach, n);
    case 2: return ownAcrossOf<E, 2>(out, in, reach, n);
    case 3: return ownAcrossOf<E, 3>(out, in, reach, n);
    case 4: return ownAcrossOf<E, 4>(out, in, reach, n);
    case 5: return ownAcrossOf<E, 5>(out, in, reach, n);
    }
}

/* ---- Three by three ---------------------------------------------------------------------------------------------- */

/* The extrema down at a byte, for one or two rows of results. */
template <class E, int nRows> struct OwnThreeDown {
    typedef typename E::Sample T;
    OwnVec<T> row[nRows];
    OwnThreeDown(const uint8_t* const* rows, ptrdiff_t at)
    {
        const OwnVec<T> middle = E::of(ownLoad<T>(rows[1] + at), ownLoad<T>(rows[2] + at));
        row[0] = E::of(ownLoad<T>(rows[0] + at), middle);
        if constexpr (nRows > 1) row[1] = E::of(middle, ownLoad<T>(rows[3] + at));
    }
};

/* Extrema down stay in registers, and windows are taken from two vectors of them. The last two vectors of a row are made on
 * their own, so that nothing beyond the rows is read. */
template <class E, int pixel, int nRows>
[[gnu::flatten]] static void ownThreeOf(uint8_t* const* out, const uint8_t* const* rows, ptrdiff_t bytes,
                                        const OwnBoxEnds* ends)
{
    typedef typename E::Sample T;
    typedef OwnThreeDown<E, nRows> Down;
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const ptrdiff_t first = ends ? -pixel : 0, end = bytes + first; /* of windows, in the rows */
    Down a(rows, 0);
    if (ends)
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k)
            a.row[k] = ownAcrossBoth<step - pixel>(ownLoad<T>(ends->left[k] - step), a.row[k]);
    for (ptrdiff_t i = 0; i < bytes - 2 * step; i += step) {
        const Down b(rows, first + i + step);
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) {
            const OwnVec<T> x = a.row[k], y = b.row[k];
            ownStore(out[k] + i, E::of(x, E::of(ownAcrossBoth<pixel>(x, y), ownAcrossBoth<2 * pixel>(x, y))));
        }
        a = b;
    }
    const Down p(rows, end - 2 * step), q(rows, end - 2 * step + pixel), r(rows, end - 2 * step + 2 * pixel);
    const Down x(rows, end - step), y(rows, end - step + pixel), z(rows, bytes - step + (ends ? 0 : 2 * pixel));
#pragma GCC unroll 2
    for (int k = 0; k < nRows; ++k) {
        const OwnVec<T> last = ends ? ownAcrossBoth<pixel>(z.row[k], ownLoad<T>(ends->right[k])) : z.row[k];
        ownStore(out[k] + bytes - 2 * step, E::of(p.row[k], E::of(q.row[k], r.row[k])));
        ownStore(out[k] + bytes - step, E::of(x.row[k], E::of(y.row[k], last)));
    }
}

template <class E, int unit>
static void ownThreeUnit(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n,
                         const OwnBoxEnds* ends)
{
    constexpr int size = (int)sizeof(typename E::Sample);
    if (nRows == 1) ownThreeOf<E, unit * size, 1>(out, rows, n * size, ends);
    else ownThreeOf<E, unit * size, 2>(out, rows, n * size, ends);
}

template <class E>
static bool ownThree(uint8_t* const* out, const uint8_t* const* rows, int nRows, ptrdiff_t n, ptrdiff_t unit,
                     const OwnBoxEnds* ends)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(typename E::Sample);
    if (n * size < 2 * OWN_VEC_BYTES + unit * size || 2 * unit * size >= OWN_VEC_BYTES) return false;
    switch (unit) {
    case 1: ownThreeUnit<E, 1>(out, rows, nRows, n, ends); return true;
    case 3:
        if constexpr (6 * size < OWN_VEC_BYTES) {
            ownThreeUnit<E, 3>(out, rows, nRows, n, ends);
            return true;
        }
    }
    return false;
}

/* ---- Across, bit by bit -------------------------------------------------------------------------------------- */

template <class E> static void ownAcrossBitsPlain(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    const auto byteAt = [in](ptrdiff_t bit) {
        const uint8_t* p = (const uint8_t*)in + (bit >> 3);
        return (uint8_t)((p[0] << 8 | p[1]) >> (8 - (bit & 7)));
    };
    for (ptrdiff_t i = 0; i < n; ++i) {
        uint8_t x = byteAt(8 * i + reach.at[0]);
        for (int k = 1; k < reach.count; ++k) x = E::one(x, byteAt(8 * i + reach.at[k]));
        for (ptrdiff_t at = reach.at[0] + 1; reach.filled && at < reach.at[1]; ++at) x = E::one(x, byteAt(8 * i + at));
        ((uint8_t*)out)[i] = x;
    }
}

static inline OwnVec<uint64_t> ownShiftBits(OwnVec<uint64_t> a, OwnVec<uint64_t> b, int n)
{
    return ownShiftLeft(a, n) | ownShiftRight(ownShiftRight(b, 63 - n), 1); /* n may be 0 */
}

/* Windows of `span` bits become windows of `most` bits, from each bit of a on; b holds the bits behind a. */
template <class E, int span, int most> static inline void ownWidenBits(OwnVec<uint64_t>& a, OwnVec<uint64_t>& b)
{
    if constexpr (span < most) {
        a = E::of64(a, ownShiftLeft(a, span) | ownShiftRight(b, 64 - span));
        b = E::of64(b, ownShiftLeft(b, span));
        ownWidenBits<E, 2 * span, most>(a, b);
    }
}

/* All bits of a window, `most` to 2 most - 1 of them: 128 bits hold them from any bit of a byte on. */
template <class E, int most>
[[gnu::flatten]] static void ownAcrossFilled(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    const uint8_t* from = (const uint8_t*)in + (reach.at[0] >> 3);
    const int left = (int)(reach.at[0] & 7), rest = (int)(reach.at[1] - reach.at[0]) + 1 - most;
    ownFromRow<uint8_t>(out, n, [=](ptrdiff_t i) {
        OwnVec<uint64_t> a = ownLoadBits(from + i), b = ownLoadBits(from + i + 8);
        a = ownShiftBits(a, b, left);
        b = ownShiftLeft(b, left);
        ownWidenBits<E, 1, most>(a, b);
        return ownAs<uint8_t>(ownBitsOrder(E::of64(a, ownShiftBits(a, b, rest))));
    });
}

template <class E> static void ownAcrossWindow(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    const ptrdiff_t side = reach.at[1] - reach.at[0] + 1;
    if (side < 4) ownAcrossFilled<E, 2>(out, in, reach, n);
    else if (side < 8) ownAcrossFilled<E, 4>(out, in, reach, n);
    else if (side < 16) ownAcrossFilled<E, 8>(out, in, reach, n);
    else if (side < 32) ownAcrossFilled<E, 16>(out, in, reach, n);
    else ownAcrossFilled<E, 32>(out, in, reach, n);
}

/* A row of bits seen from bit `at` on: bytes joined of two, shifted in pairs; the bits that cross from byte to byte are
 * those that the mask drops. */
struct OwnBitsFrom {
    const uint8_t* bytes;
    int left;
    OwnVec<uint8_t> upper;
    OwnBitsFrom(const void* in, ptrdiff_t at)
        : bytes((const uint8_t*)in + (at >> 3)), left((int)(at & 7)), upper(ownSet((uint8_t)(0xFF << left)))
    {
    }
    OwnVec<uint8_t> load(ptrdiff_t i) const
    {
        const OwnVec<uint8_t> high = ownAs<uint8_t>(ownShiftLeft(ownLoad<uint16_t>(bytes + i), left));
        const OwnVec<uint8_t> low = ownAs<uint8_t>(ownShiftRight(ownLoad<uint16_t>(bytes + i + 1), 8 - left));
        return (high & upper) | (low & ~upper);
    }
};

template <class E, int count>
[[gnu::flatten]] static void ownAcrossBitsOf(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    const OwnBitsFrom from[4] = {{in, reach.at[0]},
                                 {in, reach.at[count > 1 ? 1 : 0]},
                                 {in, reach.at[count > 2 ? 2 : 0]},
                                 {in, reach.at[count > 3 ? 3 : 0]}};
    ownFromRow<uint8_t>(out, n, [=](ptrdiff_t i) {
        OwnVec<uint8_t> x = from[0].load(i);
        for (int k = 1; k < count; ++k) x = E::of(x, from[k].load(i));
        return x;
    });
}

template <class E> static void ownAcrossBits(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    if (n < OWN_VEC_BYTES || reach.count > 4) return ownAcrossBitsPlain<E>(out, in, reach, n);
    if (reach.filled) return ownAcrossWindow<E>(out, in, reach, n);
    switch (reach.count) {
    case 1: return ownAcrossBitsOf<E, 1>(out, in, reach, n);
    case 2: return ownAcrossBitsOf<E, 2>(out, in, reach, n);
    case 3: return ownAcrossBitsOf<E, 3>(out, in, reach, n);
    case 4: return ownAcrossBitsOf<E, 4>(out, in, reach, n);
    }
}

template <class E> static void ownJoin(void* out, const void* a, const void* b, ptrdiff_t n)
{
    typedef typename E::Sample T;
    ownMap2<T>(out, a, b, n, [](OwnVec<T> x, OwnVec<T> y) { return E::of(x, y); });
}

/* ---- The plan of passes -------------------------------------------------------------------------------------- */

/* The least factor that takes a span to the side in so many passes. */
static int64_t ownRadix(int64_t span, int64_t side, int passes)
{
    for (int64_t radix = 2;; ++radix) {
        int64_t reached = span;
        for (int i = 0; i < passes && reached < side; ++i) reached *= radix;
        if (reached >= side) return radix;
    }
}

/* A pass more costs more than a sample more, up to four of them, or five if that is all. */
static int ownPasses(int64_t span, int64_t side)
{
    int passes = 1;
    for (int64_t reached = span * (span == 1 && side == 5 ? 5 : 4); reached < side; reached *= 4) ++passes;
    return passes;
}

OwnBoxPlan ownBoxPlan(int64_t side, ptrdiff_t unit, bool bits)
{
    OwnBoxPlan plan = {};
    int64_t span = 1;
    do {
        OwnReach& pass = plan.pass[plan.count++];
        pass.filled = bits && span == 1 && side > 1;
        const int64_t radix = pass.filled ? (int64_t)OwnReach::MOST_FILLED
                                          : ownRadix(span, side, ownPasses(span, side));
        const int64_t next = std::min(side, span * radix);
        pass.count = pass.filled ? 2 : (int)((next + span - 1) / span);
        for (int k = 0; k < pass.count; ++k)
            pass.at[k] = (ptrdiff_t)(pass.filled ? k * (next - 1) : std::min(k * span, next - span)) * unit;
        span = next;
    } while (span < side);
    return plan;
}

/* ---- Tables -------------------------------------------------------------------------------------------------- */

template <class E>
static constexpr OwnBox ownBox = {ownDown<E>,      ownAcross<E>,      ownJoin<E>,  ownPile<E>,
                                  ownDownPlain<E>, ownAcrossPlain<E>, ownThree<E>, (uint32_t)E::neutral};
template <class E>
static constexpr OwnBox ownBitBox = {ownDown<E>,      ownAcrossBits<E>,      ownJoin<E>, ownPile<E>,
                                     ownDownPlain<E>, ownAcrossBitsPlain<E>, nullptr,    E::neutral};

const OwnBox ownBoxMin[OWN_DEPTHS] = {
    /*  1U */ ownBitBox<OwnAllBits>,
    /*  8U */ ownBox<OwnLeast<uint8_t>>,
    /*  8S */ ownBox<OwnLeast<int8_t>>,
    /* 16U */ ownBox<OwnLeast<uint16_t>>,
    /* 16S */ ownBox<OwnLeast<int16_t>>,
    /* 32S */ ownBox<OwnLeast<int32_t>>,
    /* 32F */ {},
};
const OwnBox ownBoxMax[OWN_DEPTHS] = {
    /*  1U */ ownBitBox<OwnAnyBit>,
    /*  8U */ ownBox<OwnMost<uint8_t>>,
    /*  8S */ ownBox<OwnMost<int8_t>>,
    /* 16U */ ownBox<OwnMost<uint16_t>>,
    /* 16S */ ownBox<OwnMost<int16_t>>,
    /* 32S */ ownBox<OwnMost<int32_t>>,
    /* 32F */ {},
};
