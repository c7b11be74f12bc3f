/* ownhsv: RGB to hue, saturation, value, and back.
 *
 *   V = max, d = max - min, S = M d / V, with M the largest sample; hue in degrees, at 8 bits half of it */
#include "ownhue.h"

/* ---- To HSV ---------------------------------------------------------------------------------------------------- */

/* 32 and 16 bits, in double. Without saturation there is no hue. */
template <class T> static OwnPixel<T> ownHsvOf(T r, T g, T b)
{
    const OwnHueSpan span = ownSpan(r, g, b);
    const T s = span.most == 0 ? (T)0 : ownChopTo<T>(span.d * ownMostSample<T> / span.most);
    const T h = s == 0 ? (T)0 : ownChopTo<T>(ownHue(r, g, b, span.most, span.d));
    return {h, s, (T)span.most};
}

template <> OwnPixel<uint8_t> ownHsvOf(uint8_t r, uint8_t g, uint8_t b)
{
    const OwnHueSpan span = ownSpan(r, g, b);
    if (span.d == 0) return {0, 0, r};
    const int hue = (int)ownHue(r, g, b, span.most, span.d) >> 1;
    return {(uint8_t)hue, (uint8_t)(span.d * 255 / span.most), (uint8_t)span.most};
}

template <class T> static void ownRgbToHsvPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<T, T>(out, in, n, [](T r, T g, T b) { return ownHsvOf<T>(r, g, b); });
}
static void ownRgbToHsvRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [](OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b) {
        const auto v = ownMax(r, ownMax(g, b)), d = v - ownMin(r, ownMin(g, b));
        const auto two = ownHueAndRatio(r, g, b, v, d, v);
        return OwnTriple<int16_t>{two.lo, two.hi, v};
    });
}
template <class T> static void ownRgbToHsvLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int32_t> V;
    ownMapLong<T>(out, in, n, [](V r, V g, V b) {
        const OwnHueSpans span = ownSpan(r, g, b);
        const OwnReals ratio = ownToDouble(span.d) * ownMostSample<T> / ownToDouble(span.most);
        const V zero = {}, s = ownChopTo<T>(ratio) & ~ownEqual(span.most, zero);
        return OwnTriple<int32_t>{ownHue<T>(r, g, b, span.most, span.d) & ~ownEqual(s, zero), s, span.most};
    });
}

OWN_PLANE_TABLE(ownRgbToHsvRows) = {
    /*  1U */ {},
    /*  8U */ {ownRgbToHsvRun, ownRgbToHsvPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownRgbToHsvLongRun<uint16_t>, ownRgbToHsvPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownRgbToHsvLongRun<int32_t>, ownRgbToHsvPlain<int32_t>},
    /* 32F */ {},
};

/* ---- From HSV -------------------------------------------------------------------------------------------------- */

/* The six sectors of the circle of hues: what of v, p, q, t red, green and blue are. Sectors beyond count as the last. */
template <class T> static OwnPixel<T> ownOfSector(int32_t sector, T v, T p, T q, T t)
{
    switch (sector) {
    case 0: return {v, t, p};
    case 1: return {q, v, p};
    case 2: return {p, v, t};
    case 3: return {p, q, v};
    case 4: return {t, p, v};
    }
    return {v, p, q};
}

/* With f the place within the sector, from 0 to 1: p = (M - S) V / M, q = (M - f S) V / M, t = (M - (1 - f) S) V / M. */
template <class T> static OwnPixel<T> ownRgbOfHsv(T h, T s, T v)
{
    const double M = ownMostSample<T>, K = ownUnitSample<T>;
    if (s == 0) return {v, v, v};
    const double turn = h == 360 ? 0 : h * 0.01666666667;
    const int32_t sector = (int32_t)turn;
    const double f = turn - sector;
    return ownOfSector<T>(sector, v, ownChopTo<T>((M - s) * v * K), ownChopTo<T>((M - f * s) * v * K),
                          ownChopTo<T>((M - (1 - f) * s) * v * K));
}

/* 8 bits: the sector in 60 steps; a = S V / 256, and 34 / 2048 stands for 1 / 60. */
template <> OwnPixel<uint8_t> ownRgbOfHsv(uint8_t h, uint8_t s, uint8_t v)
{
    const int h2 = h == 180 ? 0 : h * 2, sector = h2 / 60, f = h2 % 60;
    const int a = (s * v) >> 8;
    return ownOfSector<uint8_t>(sector, v, (uint8_t)(v - a), (uint8_t)(v - ((a * f * 34) >> 11)),
                                (uint8_t)(v - (((60 - f) * a * 34) >> 11)));
}

template <class T> static void ownHsvToRgbPlain(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    ownEachPixel<T, T>(out, in, n, [](T h, T s, T v) { return ownRgbOfHsv<T>(h, s, v); });
}

/* By sector, of the lanes of one type: as ownOfSector. */
template <class T>
static inline OwnTriple<T> ownOfSectors(OwnVec<T> sector, OwnVec<T> v, OwnVec<T> p, OwnVec<T> q, OwnVec<T> t)
{
    const auto in = [=](int i) { return ownEqual(sector, ownSet((T)i)); };
    const OwnVec<T> in0 = in(0), in1 = in(1), in2 = in(2), in3 = in(3), in4 = in(4);
    return {ownSelect(in1, q, ownSelect(in2 | in3, p, ownSelect(in4, t, v))),
            ownSelect(in0, t, ownSelect(in1 | in2, v, ownSelect(in3, q, p))),
            ownSelect(in0 | in1, p, ownSelect(in2, t, ownSelect(in3 | in4, v, q)))};
}

/* The same in 16-bit lanes: h / 30 = h 2185 / 65536, and x 34 / 2048 = x 1088 / 65536. */
struct OwnHsvParts {
    OwnVec<int16_t> p, q, t, sector;
};
static inline OwnHsvParts ownHsvParts(OwnVec<uint16_t> h, OwnVec<uint16_t> s, OwnVec<uint16_t> v)
{
    const auto hue = h & ~ownEqual(h, ownSet<uint16_t>(180));
    const auto sector = ownMulHigh(hue, ownSet<uint16_t>(2185));
    const auto f = hue + hue - sector * ownSet<uint16_t>(60);
    const auto a = ownShiftRight(s * v, 8), scale = ownSet<uint16_t>(1088);
    const auto q = v - ownMulHigh(a * f, scale), t = v - ownMulHigh(a * (ownSet<uint16_t>(60) - f), scale);
    return {ownAs<int16_t>(v - a), ownAs<int16_t>(q), ownAs<int16_t>(t), ownAs<int16_t>(sector)};
}
static void ownHsvToRgbRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<uint8_t> V;
    ownMapPixels<uint8_t>(out, in, n, [](V h, V s, V v) {
        const auto h2 = ownUnpack(h), s2 = ownUnpack(s), v2 = ownUnpack(v);
        const OwnHsvParts lo = ownHsvParts(h2.lo, s2.lo, v2.lo), hi = ownHsvParts(h2.hi, s2.hi, v2.hi);
        const V p = ownPack<uint8_t>(lo.p, hi.p), q = ownPack<uint8_t>(lo.q, hi.q), t = ownPack<uint8_t>(lo.t, hi.t);
        const V sector = ownPack<uint8_t>(lo.sector, hi.sector);
        return ownOfSectors(sector, v, p, q, t);
    });
}
template <class T> static void ownHsvToRgbLongRun(void* const out[], const void* const in[], ptrdiff_t n, const void*)
{
    typedef OwnVec<int32_t> V;
    ownMapLong<T>(out, in, n, [](V h, V s, V v) {
        const double M = ownMostSample<T>, K = ownUnitSample<T>;
        const OwnReals turn = ownToDouble(h & ~ownEqual(h, ownSet<int32_t>(360))) * 0.01666666667;
        const V sector = ownChop(turn);
        const OwnReals f = turn - ownToDouble(sector), S = ownToDouble(s), W = ownToDouble(v);
        const V p = ownChopTo<T>((M - S) * W * K), q = ownChopTo<T>((M - f * S) * W * K),
                t = ownChopTo<T>((M - (1 - f) * S) * W * K), isGray = ownEqual(s, V{});
        const OwnTriple<int32_t> rgb = ownOfSectors(sector, v, p, q, t);
        return OwnTriple<int32_t>{ownSelect(isGray, v, rgb.a), ownSelect(isGray, v, rgb.b),
                                  ownSelect(isGray, v, rgb.c)};
    });
}

OWN_PLANE_TABLE(ownHsvToRgbRows) = {
    /*  1U */ {},
    /*  8U */ {ownHsvToRgbRun, ownHsvToRgbPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownHsvToRgbLongRun<uint16_t>, ownHsvToRgbPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {ownHsvToRgbLongRun<int32_t>, ownHsvToRgbPlain<int32_t>},
    /* 32F */ {},
};
