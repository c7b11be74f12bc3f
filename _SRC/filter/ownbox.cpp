/* ownbox: the kernels of the extremum of a box. */
#include "ownbox.h"

#include "ownsimd.h"

#include <array>

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

/* Bytes from p on, up to a vector of them, to the next vector that is stored fastest. */
template <class T> static inline ptrdiff_t ownStepToAligned(const void* p)
{
    const ptrdiff_t bytes = ownToAligned<T>(p) * (ptrdiff_t)sizeof(T);
    return bytes ? bytes : OWN_VEC_BYTES;
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
        T x = E::neutral, y;
        for (int k = 0; k < reach.count; ++k)
            for (int j = 0; j < reach.span; ++j) {
                memcpy(&y, (const char*)in + (i + reach.at[k] + j * reach.unit) * size, sizeof(T));
                x = E::one(x, y);
            }
        memcpy((char*)out + i * size, &x, sizeof(T));
    }
}

/* The extremum of the samples at all places. */
template <class E, int count> struct OwnAcrossFrom {
    typedef typename E::Sample T;
    const char* from[count];
    OwnAcrossFrom(const void* in, const OwnReach& reach, ptrdiff_t more)
    {
        for (int k = 0; k < count; ++k) from[k] = (const char*)in + (reach.at[k] + more) * (ptrdiff_t)sizeof(T);
    }
    OwnVec<T> at(ptrdiff_t i) const
    {
        OwnVec<T> x = ownLoad<T>(from[0] + i);
#pragma GCC unroll 4
        for (int k = 1; k < count; ++k) x = E::of(x, ownLoad<T>(from[k] + i));
        return x;
    }
};

template <class E, int count>
[[gnu::flatten]] static void ownAcrossOf(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    const OwnAcrossFrom<E, count> from(in, reach, 0);
    ownFromRow<typename E::Sample>(out, n, [=](ptrdiff_t i) { return from.at(i); });
}

/* Windows of `have` pixels that end at each sample become windows of `span` pixels; `before` keeps the windows of the
 * vector before, of each width. */
template <class E, int unit, int span, int have = 1>
static inline OwnVec<typename E::Sample> ownWidenAcross(OwnVec<typename E::Sample> x,
                                                        OwnVec<typename E::Sample>* before)
{
    if constexpr (have == span) return x;
    else {
        typedef typename E::Sample T;
        const OwnVec<T> wider = E::of(x, ownAcrossBoth<OWN_VEC_BYTES - have * unit*(int)sizeof(T)>(*before, x));
        *before = x;
        return ownWidenAcross<E, unit, span, 2 * have>(wider, before + 1);
    }
}

/* A window reaches no further back than the vector before. */
template <class E, int unit, int span>
static constexpr bool ownSpans = (span - 1) * unit*(int)sizeof(typename E::Sample) < OWN_VEC_BYTES;

/* Samples far apart are joined from memory, and what lies between them in registers. */
template <class E, int unit, int span, int count>
[[gnu::flatten]] static void ownAcrossSpan(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    typedef typename E::Sample T;
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const OwnAcrossFrom<E, count> from(in, reach, (span - 1) * unit);
    const ptrdiff_t bytes = n * (ptrdiff_t)sizeof(T);
    char* po = (char*)out;
    const auto begin = [&from](ptrdiff_t i, OwnVec<T>* before) {
        before[0] = before[1] = before[2] = from.at(i - step);
        ownWidenAcross<E, unit, span>(from.at(i - step), before);
    };
    OwnVec<T> before[3];
    begin(bytes - step, before);
    const OwnVec<T> last = ownWidenAcross<E, unit, span>(from.at(bytes - step), before);
    begin(0, before);
    ownStore(po, ownWidenAcross<E, unit, span>(from.at(0), before));
    ptrdiff_t i = ownStepToAligned<T>(po);
    begin(i, before);
    for (; i < bytes - step; i += step) ownStore(po + i, ownWidenAcross<E, unit, span>(from.at(i), before));
    ownStore(po + bytes - step, last);
}

template <class E, int unit, int span>
static void ownAcrossSpans(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    if constexpr (ownSpans<E, unit, span>) {
        switch (reach.count) {
        case 2: return ownAcrossSpan<E, unit, span, 2>(out, in, reach, n);
        case 3: return ownAcrossSpan<E, unit, span, 3>(out, in, reach, n);
        case 4: return ownAcrossSpan<E, unit, span, 4>(out, in, reach, n);
        }
    }
    ownAcrossPlain<E>(out, in, reach, n);
}

template <class E, int unit> static void ownAcrossUnit(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    switch (reach.span) {
    case 2: return ownAcrossSpans<E, unit, 2>(out, in, reach, n);
    case 4: return ownAcrossSpans<E, unit, 4>(out, in, reach, n);
    case 8: return ownAcrossSpans<E, unit, 8>(out, in, reach, n);
    }
}

template <class E> static int ownMostSpan(ptrdiff_t unit)
{
    if (unit == 1) return ownSpans<E, 1, 8> ? 8 : ownSpans<E, 1, 4> ? 4 : 2;
    if (unit == 3) return ownSpans<E, 3, 8> ? 8 : ownSpans<E, 3, 4> ? 4 : ownSpans<E, 3, 2> ? 2 : 1;
    return 1;
}

template <class E> static void ownAcross(void* out, const void* in, const OwnReach& reach, ptrdiff_t n)
{
    if (n < OwnVec<typename E::Sample>::lanes) return ownAcrossPlain<E>(out, in, reach, n);
    if (reach.span > 1) return (reach.unit == 1 ? ownAcrossUnit<E, 1> : ownAcrossUnit<E, 3>)(out, in, reach, n);
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

/* The extrema down of a pixel that the rows don't hold next to the others: in its last lanes at the left, in the first ones
 * at the right. */
template <class E, int pixel, int nRows> struct OwnThreeEnd {
    typedef typename E::Sample T;
    OwnVec<T> row[nRows];
    OwnThreeEnd(const uint8_t* const* rows, const OwnBoxEnds& ends, int side)
    {
        constexpr int size = (int)sizeof(T);
        T pixels[nRows + 2][pixel / size];
        for (int k = 0; k < nRows + 2; ++k)
            memcpy(pixels[k], ends.value[side] ? ends.value[side] : rows[k] + ends.at[side], pixel);
        for (int k = 0; k < nRows; ++k) {
            for (int i = 0; i < pixel / size; ++i)
                pixels[k][i] = E::one(pixels[k][i], E::one(pixels[k + 1][i], pixels[k + 2][i]));
            if constexpr (pixel == size) row[k] = ownSet<T>(pixels[k][0]);
            else {
                uint8_t bytes[OWN_VEC_BYTES] = {};
                memcpy(bytes + (side ? 0 : OWN_VEC_BYTES - pixel), pixels[k], pixel);
                row[k] = ownLoad<T>(bytes);
            }
        }
    }
};

/* Extrema down stay in registers, and windows are taken from two vectors of them, at the end of a row from the last ones that
 * it has. The rows that come next are asked for: between the end of one row and
 * the begin of another the processor does not look that far ahead. */
template <class E, int pixel, int nRows>
[[gnu::flatten]] static void ownThreeOf(uint8_t* const* out, const uint8_t* const* rows, ptrdiff_t bytes,
                                        const OwnBoxEnds* ends)
{
    typedef typename E::Sample T;
    typedef OwnThreeDown<E, nRows> Down;
    typedef OwnThreeEnd<E, pixel, nRows> End;
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const uint8_t *from[nRows + 2], *next[nRows]; /* at the first window; it may begin in front of the row */
    uint8_t* to[nRows];
    const ptrdiff_t begin = ends ? ends->first - pixel : 0;
    for (int k = 0; k < nRows + 2; ++k) from[k] = (const uint8_t*)((uintptr_t)rows[k] + begin);
    for (int k = 0; k < nRows; ++k) {
        to[k] = out[k];
        next[k] = (const uint8_t*)(2 * (uintptr_t)from[k + 2] - (uintptr_t)from[k + 2 - nRows]);
    }
    Down a(from, ends ? pixel : 0);
    if (ends) {
        const End left(rows, *ends, 0);
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) a.row[k] = ownAcrossBoth<step - pixel>(left.row[k], a.row[k]);
    }
    const auto store = [&](ptrdiff_t i, const Down& b) {
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) {
            const OwnVec<T> x = a.row[k], y = b.row[k];
            ownStore(to[k] + i, E::of(x, E::of(ownAcrossBoth<pixel>(x, y), ownAcrossBoth<2 * pixel>(x, y))));
        }
    };
    store(0, Down(from, step));
    ptrdiff_t i = ownStepToAligned<T>(to[0]);
    if (i < pixel) i = step;
    a = Down(from, i);
    for (; i < bytes - 2 * step; i += step) {
        for (int k = 0; k < nRows && (i & 63) < step; ++k) ownPrefetch<1, 0>((const void*)((uintptr_t)next[k] + i));
        const Down b(from, i + step);
        store(i, b);
        a = b;
    }
    a = Down(from, bytes - 2 * step);
    const Down x(from, bytes - step), z(from, bytes - step + (ends ? 1 : 2) * pixel);
    store(bytes - 2 * step, x);
    a = x;
    Down y = z; /* its first pixels are the last ones of the row */
    if (ends) {
        const End right(rows, *ends, 1);
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) y.row[k] = ownAcrossBoth<step - pixel>(z.row[k], right.row[k]);
    } else
#pragma GCC unroll 2
        for (int k = 0; k < nRows; ++k) y.row[k] = ownAcrossBoth<step - 2 * pixel>(z.row[k], z.row[k]);
    store(bytes - step, y);
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
        uint8_t x = E::neutral;
        for (int k = 0; k < reach.count; ++k)
            for (int j = 0; j < reach.span; ++j) x = E::one(x, byteAt(8 * i + reach.at[k] + j));
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
    const int left = (int)(reach.at[0] & 7), rest = reach.span - most;
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
    if (reach.span < 4) ownAcrossFilled<E, 2>(out, in, reach, n);
    else if (reach.span < 8) ownAcrossFilled<E, 4>(out, in, reach, n);
    else if (reach.span < 16) ownAcrossFilled<E, 8>(out, in, reach, n);
    else if (reach.span < 32) ownAcrossFilled<E, 16>(out, in, reach, n);
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
    if (reach.span > 1) return ownAcrossWindow<E>(out, in, reach, n);
    switch (reach.count) {
    case 1: return ownAcrossBitsOf<E, 1>(out, in, reach, n);
    case 2: return ownAcrossBitsOf<E, 2>(out, in, reach, n);
    case 3: return ownAcrossBitsOf<E, 3>(out, in, reach, n);
    case 4: return ownAcrossBitsOf<E, 4>(out, in, reach, n);
    }
}

/* ---- The plan of passes -------------------------------------------------------------------------------------- */

/* The least factor that takes a width to the side in so many passes. */
static int64_t ownRadix(int64_t width, int64_t side, int passes)
{
    for (int64_t radix = 2;; ++radix) {
        int64_t reached = width;
        for (int i = 0; i < passes && reached < side; ++i) reached *= radix;
        if (reached >= side) return radix;
    }
}

/* A pass more costs more than a sample more, up to four of them, or five if that is all. */
static int ownPasses(int64_t width, int64_t side)
{
    int passes = 1;
    for (int64_t reached = width * (width == 1 && side == 5 ? 5 : 4); reached < side; reached *= 4) ++passes;
    return passes;
}

/* The span of the first pass. Doubling one costs a little more than a sample from memory; further passes take up to four
 * windows each. */
static int ownFirstSpan(int64_t side, int mostSpan)
{
    int best = 1;
    int64_t bestCost = INT64_MAX;
    for (int span = 1, doubled = 0; span <= mostSpan; span *= 2, ++doubled) {
        const int64_t count = (side + span - 1) / span;
        const int64_t cost = count > 4 ? (count + 3) / 4 * 100 : 4 * doubled + 3 * count;
        if (span > 1 && count < 2) break;
        if (cost < bestCost) best = span, bestCost = cost;
    }
    return best;
}

OwnBoxPlan ownBoxPlan(int64_t side, ptrdiff_t unit, int mostSpan, bool bits)
{
    OwnBoxPlan plan = {};
    int64_t width = bits ? std::min<int64_t>(side, OwnReach::MOST_BITS) : ownFirstSpan(side, mostSpan);
    int span = (int)width;
    const auto add = [&](int64_t next) {
        OwnReach& pass = plan.pass[plan.count++];
        pass.span = span;
        pass.unit = unit;
        pass.count = (int)((next + width - 1) / width);
        for (int k = 0; k < pass.count; ++k) pass.at[k] = (ptrdiff_t)std::min(k * width, next - width) * unit;
        width = next;
        span = 1;
    };
    if (bits || side == 1) add(width); /* bits have all of a span from one place */
    while (width < side) add(std::min(side, width * ownRadix(width, side, ownPasses(width, side))));
    return plan;
}

/* ---- Tables -------------------------------------------------------------------------------------------------- */

/* The bytes of a sample. */
template <class T> static constexpr OwnBox ownWithNeutral(OwnBox box, T neutral)
{
    const auto bytes = std::bit_cast<std::array<uint8_t, sizeof(T)>>(neutral);
    for (size_t i = 0; i < sizeof(T); ++i) box.neutral[i] = bytes[i];
    return box;
}

template <class E>
static constexpr OwnBox ownBox = ownWithNeutral(
    OwnBox{ownDown<E>, ownAcross<E>, ownDownPlain<E>, ownAcrossPlain<E>, ownThree<E>, ownMostSpan<E>, {}}, E::neutral);
static int ownBitSpan(ptrdiff_t) { return OwnReach::MOST_BITS; }
template <class E>
static constexpr OwnBox ownBitBox = {ownDown<E>, ownAcrossBits<E>, ownDownPlain<E>, ownAcrossBitsPlain<E>,
                                     nullptr,    ownBitSpan,       {E::neutral}};

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
