/* ownreal.h: formulas in double precision, written once for a pixel and for a vector of them. N stands for a double, or for
 * OwnReals, which are the 32-bit lanes of a vector as doubles; constants are doubles in both. */
#ifndef OWNREAL_H
#define OWNREAL_H

#include "owncolor.h"

typedef OwnPair<double> OwnReals;

static inline OwnReals ownReals(double x) { return {ownSet(x), ownSet(x)}; }

static inline OwnReals operator+(OwnReals a, OwnReals b) { return {a.lo + b.lo, a.hi + b.hi}; }
static inline OwnReals operator-(OwnReals a, OwnReals b) { return {a.lo - b.lo, a.hi - b.hi}; }
static inline OwnReals operator*(OwnReals a, OwnReals b) { return {a.lo * b.lo, a.hi * b.hi}; }
static inline OwnReals operator/(OwnReals a, OwnReals b) { return {a.lo / b.lo, a.hi / b.hi}; }
static inline OwnReals operator+(OwnReals a, double b) { return a + ownReals(b); }
static inline OwnReals operator-(OwnReals a, double b) { return a - ownReals(b); }
static inline OwnReals operator-(double a, OwnReals b) { return ownReals(a) - b; }
static inline OwnReals operator*(OwnReals a, double b) { return a * ownReals(b); }
static inline OwnReals operator*(double a, OwnReals b) { return ownReals(a) * b; }

/* a where x < limit, else b. */
static inline double ownWhereBelow(double x, double limit, double a, double b) { return x < limit ? a : b; }
static inline OwnReals ownWhereBelow(OwnReals x, double limit, OwnReals a, OwnReals b)
{
    const OwnVec<double> most = ownSet(limit);
    return {ownSelect(ownGreater(most, x.lo), a.lo, b.lo), ownSelect(ownGreater(most, x.hi), a.hi, b.hi)};
}

/* ownChopTo and ownChopAbove0 of a vector. */
static inline OwnVec<int32_t> ownChopWithin(OwnReals x, double low, double high)
{
    const OwnVec<double> least = ownSet(low), most = ownSet(high);
    return ownChop(OwnReals{ownMin(ownMax(x.lo, least), most), ownMin(ownMax(x.hi, least), most)});
}
template <class T> static inline OwnVec<int32_t> ownChopTo(OwnReals x)
{
    return ownChopWithin(x, (double)std::numeric_limits<T>::min(), (double)std::numeric_limits<T>::max());
}
template <class T> static inline OwnVec<int32_t> ownChopAbove0(OwnReals x)
{
    return ownChopWithin(x, 0, (double)std::numeric_limits<T>::max());
}

/* The runs of 32S of a formula F: three N to an ownThree of whole numbers. */
template <class X> static inline OwnPixel<X> ownThree(X a, X b, X c) { return {a, b, c}; }

template <class F> static void ownLongPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<int32_t, int32_t>(out, in, n, [](double a, double b, double c) { return F::of(a, b, c); });
}
template <class F> static void ownLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int32_t> V;
    ownMapPixels<int32_t>(out, in, n, [](V a, V b, V c) {
        const OwnPixel<V> p = F::of(ownToDouble(a), ownToDouble(b), ownToDouble(c));
        return OwnTriple<int32_t>{p.a, p.b, p.c};
    });
}

/* The packed run of 32S or 16U whose f takes and gives 32-bit lanes; at 16U it gives 0 to 65535. */
template <class T, class F>
[[gnu::flatten]] static inline void ownMapLong(void* const out[], const void* const in[], ptrdiff_t n, F f)
{
    ownMapPixels<T>(out, in, n, [f](OwnVec<T> a, OwnVec<T> b, OwnVec<T> c) {
        if constexpr (sizeof(T) == 4) return f(a, b, c);
        else {
            const auto x = ownUnpack(a), y = ownUnpack(b), z = ownUnpack(c);
            const auto lo = f(ownAs<int32_t>(x.lo), ownAs<int32_t>(y.lo), ownAs<int32_t>(z.lo));
            const auto hi = f(ownAs<int32_t>(x.hi), ownAs<int32_t>(y.hi), ownAs<int32_t>(z.hi));
            return OwnTriple<T>{ownPack<T>(lo.a, hi.a), ownPack<T>(lo.b, hi.b), ownPack<T>(lo.c, hi.c)};
        }
    });
}

#endif
