/* ownhls: RGB to hue, lightness, saturation, and back.
 *
 *   s = max + min, d = max - min, L = s / 2; S = M d / s in the dark half, M d / (2 M - s) in the light one */
#include "ownhue.h"

/* ---- To HLS ---------------------------------------------------------------------------------------------------- */

/* 16 bits, in double. */
static OwnPixel<uint16_t> ownHlsOf(uint16_t r, uint16_t g, uint16_t b)
{
    const OwnHueSpan span = ownSpan(r, g, b);
    const int32_t s = span.most + span.least;
    if (span.d == 0) return {0, (uint16_t)(s >> 1), 0};
    const double ratio = 65535.0 * span.d / (s < 65536 ? s : 131070 - s);
    return {ownChopTo<uint16_t>(ownHue(r, g, b, span.most, span.d)), (uint16_t)(s >> 1), ownChopTo<uint16_t>(ratio)};
}

/* 32 bits: the sum wraps, and as a signed number it never is in the light half. */
static OwnPixel<int32_t> ownHlsOf(int32_t r, int32_t g, int32_t b)
{
    const OwnHueSpan span = ownSpan(r, g, b);
    const int32_t s = (int32_t)((uint32_t)span.most + (uint32_t)span.least);
    if (span.d == 0) return {0, s >> 1, 0};
    return {ownChopTo<int32_t>(ownHue(r, g, b, span.most, span.d)), s >> 1,
            ownChopTo<int32_t>(2147483647.0 * span.d / s)};
}

static OwnPixel<uint8_t> ownHlsOf(uint8_t r, uint8_t g, uint8_t b)
{
    const OwnHueSpan span = ownSpan(r, g, b);
    const int32_t s = span.most + span.least;
    if (span.d == 0) return {0, (uint8_t)(s >> 1), 0};
    const int hue = (int)ownHue(r, g, b, span.most, span.d) >> 1;
    return {(uint8_t)hue, (uint8_t)(s >> 1), (uint8_t)(255 * span.d / (s < 256 ? s : 510 - s))};
}

template <class T> static void ownRgbToHlsPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<T, T>(out, in, n, [](T r, T g, T b) { return ownHlsOf(r, g, b); });
}
static void ownRgbToHlsRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b) {
        const auto most = ownMax(r, ownMax(g, b)), least = ownMin(r, ownMin(g, b)), s = most + least;
        const auto two = ownHueAndRatio(r, g, b, most, most - least, ownMin(s, ownSet<int16_t>(510) - s));
        return OwnTriple<int16_t>{two.lo, ownShiftRight(s, 1), two.hi};
    });
}
template <class T> static void ownRgbToHlsLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int32_t> V;
    ownMapLong<T>(out, in, n, [](V r, V g, V b) {
        const OwnHueSpans span = ownSpan(r, g, b);
        const V s = span.most + span.least, isGray = ownEqual(span.d, V{});
        const V den = sizeof(T) == 4 ? s : ownMin(s, ownSet<int32_t>(131070) - s);
        const V ratio = ownChopTo<T>(ownMostSample<T> * ownToDouble(span.d) / ownToDouble(den));
        return OwnTriple<int32_t>{ownHue<T>(r, g, b, span.most, span.d) & ~isGray, ownShiftRight(s, 1),
                                  ratio & ~isGray};
    });
}

OWN_PLANE_TABLE(ownRgbToHlsRows) = {
    /*  1U */ {},
    /*  8U */ {ownRgbToHlsRun, ownRgbToHlsPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownRgbToHlsLongRun<uint16_t>, ownRgbToHlsPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownRgbToHlsLongRun<int32_t>, ownRgbToHlsPlain<int32_t>},
    /* 32F */ {},
};

/* ---- From HLS -------------------------------------------------------------------------------------------------- */

/* Each channel lies on a ramp over its own hue x: up from m1 to m2 within 60 degrees, m2 for 120 degrees, down within 60,
 * and m1 for the rest. */
static double ownRamp(double m1, double m2, int32_t x)
{
    if (x < 60) return m1 + (m2 - m1) * x * 0.0166666667;
    if (x < 180) return m2;
    if (x < 240) return m1 + (m2 - m1) * (240 - x) * 0.0166666667;
    return m1;
}

static OwnPixel<int32_t> ownRgbOfHls(int32_t h, int32_t l, int32_t s)
{
    const double K = 4.656612875e-10, L = l, S = s;
    if (s == 0) return {l, l, l};
    const double m2 = l < 0x40000000 ? L + S * L * K : (L - L * S * K) + S;
    const double m1 = (int32_t)((uint32_t)l * 2) - m2;
    return {ownChopTo<int32_t>(ownRamp(m1, m2, h <= 240 ? h + 120 : h - 240)), ownChopTo<int32_t>(ownRamp(m1, m2, h)),
            ownChopTo<int32_t>(ownRamp(m1, m2, h < 120 ? h + 240 : h - 120))};
}

static int32_t ownTurn(int32_t h) { return h < 0 ? h + 360 : h > 360 ? h - 360 : h; }

static OwnPixel<uint16_t> ownRgbOfHls(uint16_t h, uint16_t l, uint16_t s)
{
    const double K = 1.52590219e-05, L = l, S = s;
    if (s == 0) return {l, l, l};
    const double m2 = l < 32768 ? L + L * S * K : (L - L * S * K) + S;
    const double m1 = 2 * l - m2;
    return {ownChopTo<uint16_t>(ownRamp(m1, m2, ownTurn(h + 120))), ownChopTo<uint16_t>(ownRamp(m1, m2, ownTurn(h))),
            ownChopTo<uint16_t>(ownRamp(m1, m2, ownTurn(h - 120)))};
}

/* 8 bits: a = L S / 255 nearly, and c is the ramp's slope of 13 fractional bits. */
static uint8_t ownByteRamp(int m1, int m2, int c, int x)
{
    if (x < 60) return (uint8_t)(m1 + ((c * x) >> 13));
    if (x < 180) return (uint8_t)m2;
    if (x < 240) return (uint8_t)(m1 + ((c * (240 - x)) >> 13));
    return (uint8_t)m1;
}
static OwnPixel<uint8_t> ownRgbOfHls(uint8_t h, uint8_t l, uint8_t s)
{
    const int h2 = h * 2, a = (l * s * 258) >> 16;
    const int m2 = l < 128 ? l + a : s + l - a, m1 = 2 * l - m2, c = (m2 - l) * 2 * 137;
    return {ownByteRamp(m1, m2, c, h2 <= 240 ? h2 + 120 : h2 - 240), ownByteRamp(m1, m2, c, h2),
            ownByteRamp(m1, m2, c, h2 < 120 ? h2 + 240 : h2 - 120)};
}

template <class T> static void ownHlsToRgbPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<T, T>(out, in, n, [](T h, T l, T s) { return ownRgbOfHls(h, l, s); });
}

/* The ramp in 16-bit lanes: c w / 8192, with w = min(x, 240 - x) held to 0 and 60. At 60 it comes to m2 - m1 for every c
 * that occurs. The slope reaches 34798, so it counts as unsigned. */
static inline OwnVec<int16_t> ownPackedRamp(OwnVec<int16_t> m1, OwnVec<int16_t> c, OwnVec<int16_t> x)
{
    const auto w = ownMin(ownMax(ownMin(x, ownSet<int16_t>(240) - x), OwnVec<int16_t>{}), ownSet<int16_t>(60));
    return m1 + ownAs<int16_t>(ownMulHigh(ownAs<uint16_t>(c), ownAs<uint16_t>(ownShiftLeft(w, 3))));
}
static void ownHlsToRgbRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> h, OwnVec<int16_t> l, OwnVec<int16_t> s) {
        const auto a = ownAs<int16_t>(ownMulHigh(ownAs<uint16_t>(l * s), ownSet<uint16_t>(258)));
        const auto rise = ownSelect(ownGreater(ownSet<int16_t>(128), l), a, s - a); /* m2 - l */
        const auto m1 = l - rise, c = rise * ownSet<int16_t>(274);
        const auto green = h + h;
        const auto red = green + ownSelect(ownGreater(green, ownSet<int16_t>(240)), ownSet<int16_t>(-240),
                                           ownSet<int16_t>(120));
        const auto blue = green + ownSelect(ownGreater(ownSet<int16_t>(120), green), ownSet<int16_t>(240),
                                            ownSet<int16_t>(-120));
        return OwnTriple<int16_t>{ownPackedRamp(m1, c, red), ownPackedRamp(m1, c, green), ownPackedRamp(m1, c, blue)};
    });
}
/* 16 and 32 bits: the hues of red, green and blue, ramps in double, and of these what each hue wants. */
template <class T> static inline OwnTriple<int32_t> ownHuesOf(OwnVec<int32_t> h)
{
    typedef OwnVec<int32_t> V;
    const auto set = [](int32_t x) { return ownSet(x); };
    if constexpr (sizeof(T) == 4)
        return {h + ownSelect(ownGreater(h, set(240)), set(-240), set(120)), h,
                h + ownSelect(ownGreater(set(120), h), set(240), set(-120))};
    const auto turn = [=](V x) { return x + (ownGreater(V{}, x) & set(360)) - (ownGreater(x, set(360)) & set(360)); };
    return {turn(h + set(120)), turn(h), turn(h - set(120))};
}
template <class T> static void ownHlsToRgbLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int32_t> V;
    ownMapLong<T>(out, in, n, [](V h, V l, V s) {
        const OwnReals L = ownToDouble(l), S = ownToDouble(s), a = L * S * ownUnitSample<T>;
        const OwnReals m2 = ownWhereBelow(L, sizeof(T) == 4 ? 1073741824.0 : 32768.0, L + a, L - a + S);
        const OwnReals m1 = ownToDouble(l + l) - m2, rise = m2 - m1;
        const V top = ownChopTo<T>(m2), bottom = ownChopTo<T>(m1), isGray = ownEqual(s, V{});
        const auto ramp = [=](V x) {
            const V up = ownGreater(ownSet<int32_t>(60), x), w = ownSelect(up, x, ownSet<int32_t>(240) - x);
            const V slope = ownChopTo<T>(m1 + rise * ownToDouble(w) * 0.0166666667);
            const V isTop = ownGreater(ownSet<int32_t>(180), x) & ~up, isBottom = ownGreater(x, ownSet<int32_t>(239));
            return ownSelect(isGray, l, ownSelect(isTop, top, ownSelect(isBottom, bottom, slope)));
        };
        const OwnTriple<int32_t> hues = ownHuesOf<T>(h);
        return OwnTriple<int32_t>{ramp(hues.a), ramp(hues.b), ramp(hues.c)};
    });
}

OWN_PLANE_TABLE(ownHlsToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {ownHlsToRgbRun, ownHlsToRgbPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownHlsToRgbLongRun<uint16_t>, ownHlsToRgbPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownHlsToRgbLongRun<int32_t>, ownHlsToRgbPlain<int32_t>},
    /* 32F */ {},
};
