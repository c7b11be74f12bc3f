/* ownluv: RGB to CIE L, U, V, and back; 32F, computed in double and rounded once.
 *
 *   L = 116 (Y / 0.329)^(1/3) - 16, U = 13 L (u - u0), V = 13 L (v - v0)
 *   with u = 4 X / (X + 15 Y + 3 Z), v = 9 Y / (X + 15 Y + 3 Z); L, U, V are 0 for Y up to 0.00329 */
#include "ownmatrix.h"

static constexpr double ownLuvTo[3][3] = {{0.412453, 0.35758, 0.180423},
                                          {0.212671, 0.71516, 0.072169},
                                          {0.019334, 0.119193, 0.950227}};
static constexpr double ownLuvFrom[3][3] = {{3.240479, -1.53715, -0.498535},
                                            {-0.969256, 1.875992, 0.041556},
                                            {0.055648, -0.204043, 1.057311}};
static constexpr double ownU0 = 0.19783001, ownV0 = 0.46831998, ownDarkest = 0.00329;

/* ---- The numbers of a kernel: a double, or a vector of them ------------------------------------------------------ */

typedef OwnVec<double> OwnDoubles;

template <class N> static inline N ownNumber(double x);
template <> inline double ownNumber<double>(double x) { return x; }
template <> inline OwnDoubles ownNumber<OwnDoubles>(double x) { return ownSet(x); }

/* A number's bits above the lower 32, from a + bits / 3: what a cube root begins with. And those bits as a number. */
static inline double ownRootGuess(double x)
{
    const uint64_t high = std::bit_cast<uint64_t>(x) >> 32;
    return std::bit_cast<double>(((high * 0x55555556u >> 32) + 715094163u) << 32);
}
static inline double ownHighBits(double x) { return (double)(std::bit_cast<uint64_t>(x) >> 32); }
static inline OwnDoubles ownRootGuess(OwnDoubles x)
{
    const OwnVec<uint64_t> high = {ownAs<uint64_t>(x).v >> 32},
                           third = {(high * ownSet<uint64_t>(0x55555556u)).v >> 32};
    return ownAs<double>(OwnVec<uint64_t>{(third + ownSet<uint64_t>(715094163u)).v << 32});
}
static inline OwnDoubles ownHighBits(OwnDoubles x)
{
    /* As the low bits of 2^52 + bits. */
    const OwnVec<uint64_t> high = {ownAs<uint64_t>(x).v >> 32}, exponent = ownSet<uint64_t>(0x4330000000000000u);
    return ownAs<double>(high | exponent) - ownSet(4503599627370496.0);
}

/* a where x > limit, else 0. */
static inline double ownWhereAbove(double x, double limit, double a) { return x > limit ? a : 0; }
static inline OwnDoubles ownWhereAbove(OwnDoubles x, double limit, OwnDoubles a)
{
    return ownSelect(ownGreater(x, ownSet(limit)), a, OwnDoubles{});
}

/* ---- To LUV ---------------------------------------------------------------------------------------------------- */

/* x^0.3333333433, for normal x > 0. The cube root by two steps of third order from a guess that is 5 in a hundred off: the
 * error becomes 1e-4, then less than 1e-12. The rest of the power, x^e with e = 1e-8, is 1 + e ln x, where the bits of x
 * give ln x well enough. */
template <class N> static inline N ownCubeRoot(N x)
{
    const auto number = ownNumber<N>;
    N root = ownRootGuess(x);
    for (int step = 0; step < 2; ++step) {
        const N cube = root * root * root;
        root = root * ((cube + x + x) / (cube + cube + x));
    }
    const double e = 0.3333333433 - 1.0 / 3, ln2 = 0.693147180559945;
    const N ln = ownHighBits(x) * number(ln2 / 1048576) - number(ln2 * (1023 - 0.043));
    return root + root * ln * number(e);
}

template <class N> struct OwnThree {
    N a, b, c;
};
template <class N> static inline N ownRow(const double w[3], N x, N y, N z)
{
    return ownNumber<N>(w[0]) * x + ownNumber<N>(w[1]) * y + ownNumber<N>(w[2]) * z;
}

template <class N> static inline OwnThree<N> ownLuvOf(N red, N green, N blue)
{
    const auto number = ownNumber<N>;
    const N x = ownRow(ownLuvTo[0], red, green, blue), y = ownRow(ownLuvTo[1], red, green, blue),
            z = ownRow(ownLuvTo[2], red, green, blue);
    const N l = ownCubeRoot(y * number(3.039513678)) * number(116) - number(16);
    const N r = number(1) / (number(3) * z + number(15) * y + x), l13 = number(13) * l;
    const N u = (number(4) * x * r - number(ownU0)) * l13, v = (number(9) * y * r - number(ownV0)) * l13;
    return {ownWhereAbove(y, ownDarkest, l), ownWhereAbove(y, ownDarkest, u), ownWhereAbove(y, ownDarkest, v)};
}

/* ---- From LUV -------------------------------------------------------------------------------------------------- */

/* l, or the smallest divisor when its magnitude is below that. */
static inline double ownDivisor(double l) { return l < 9.999999747e-06 && l > -9.999999747e-06 ? 9.9999997e-06 : l; }
static inline OwnDoubles ownDivisor(OwnDoubles l)
{
    const OwnDoubles limit = ownSet(9.999999747e-06);
    return ownSelect(ownGreater(limit, l) & ownGreater(l, ownSet(-9.999999747e-06)), ownSet(9.9999997e-06), l);
}

static inline double ownNotBelow0(double x) { return x < 0 ? 0 : x; }
static inline OwnDoubles ownNotBelow0(OwnDoubles x) { return ownMax(OwnDoubles{}, x); } /* what is no number stays */

template <class N> static inline OwnThree<N> ownRgbOfLuv(N l, N u, N v)
{
    const auto number = ownNumber<N>;
    const N root = (number(16) + l) * number(0.0086206896);
    const N y = root * root * root * number(0.329);
    const N r = number(1) / (number(13) * ownDivisor(l));
    const N u1 = u * r + number(ownU0), v1 = v * r + number(ownV0);
    const N x = number(9) * y * u1 / (number(4) * v1);
    const N z = (number(4) / (number(3) * u1) - number(0.33333299)) * x - number(5) * y;
    return {ownNotBelow0(ownRow(ownLuvFrom[0], x, y, z)), ownNotBelow0(ownRow(ownLuvFrom[1], x, y, z)),
            ownNotBelow0(ownRow(ownLuvFrom[2], x, y, z))};
}

/* ---- Rows ------------------------------------------------------------------------------------------------------ */

template <bool inverse> static void ownLuvPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<float, float>(out, in, n, [](float a, float b, float c) {
        const OwnThree<double> p = inverse ? ownRgbOfLuv<double>(a, b, c) : ownLuvOf<double>(a, b, c);
        return OwnPixel<float>{(float)p.a, (float)p.b, (float)p.c};
    });
}
template <bool inverse> static void ownLuvRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapPixels<float>(out, in, n, [](OwnVec<float> a, OwnVec<float> b, OwnVec<float> c) {
        const OwnPair<double> x = ownToDouble(a), y = ownToDouble(b), z = ownToDouble(c);
        const OwnThree<OwnDoubles> lo = inverse ? ownRgbOfLuv(x.lo, y.lo, z.lo) : ownLuvOf(x.lo, y.lo, z.lo);
        const OwnThree<OwnDoubles> hi = inverse ? ownRgbOfLuv(x.hi, y.hi, z.hi) : ownLuvOf(x.hi, y.hi, z.hi);
        return OwnTriple<float>{ownToFloat({lo.a, hi.a}), ownToFloat({lo.b, hi.b}), ownToFloat({lo.c, hi.c})};
    });
}

OWN_PLANE_TABLE(ownRgbToLuvRows) = {{}, {}, {}, {}, {}, {}, /* 32F */ {ownLuvRun<false>, ownLuvPlain<false>}};
OWN_PLANE_TABLE(ownLuvToRgbRows) = {{}, {}, {}, {}, {}, {}, /* 32F */ {ownLuvRun<true>, ownLuvPlain<true>}};
