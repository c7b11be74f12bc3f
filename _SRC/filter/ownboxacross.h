/* ownboxacross.h: the extrema of neighbouring samples of a row. */
#ifndef OWNBOXACROSS_H
#define OWNBOXACROSS_H

#include "ownbox.h"
#include "ownextremum.h"

/* Bytes from p on, up to a vector of them, to the next vector that is stored fastest. */
template <class T> static inline ptrdiff_t ownStepToAligned(const void* p)
{
    const ptrdiff_t bytes = ownToAligned<T>(p) * (ptrdiff_t)sizeof(T);
    return bytes ? bytes : OWN_VEC_BYTES;
}

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

#endif
