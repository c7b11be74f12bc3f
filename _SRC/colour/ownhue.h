/* ownhue.h: what HSV and HLS share: hue, and saturation as a quotient. */
#ifndef OWNHUE_H
#define OWNHUE_H

#include "ownreal.h"

/* The largest and the smallest of three samples, and their difference, which wraps. */
struct OwnHueSpan {
    int32_t most, least, d;
};
static inline OwnHueSpan ownSpan(int32_t r, int32_t g, int32_t b)
{
    const int32_t most = std::max(r, std::max(g, b)), least = std::min(r, std::min(g, b));
    return {most, least, (int32_t)((uint32_t)most - (uint32_t)least)};
}

/* Hue in degrees, for d other than 0: 60 (g - b) / d around red, 120 further around green, 240 around blue, within 0 to
 * 360. Red wins a tie over green, and green over blue. The product with 60 wraps. */
static inline double ownHue(int32_t r, int32_t g, int32_t b, int32_t most, int32_t d)
{
    const int32_t x = r == most ? g : g == most ? b : r, y = r == most ? b : g == most ? r : g;
    const double base = r == most ? 0 : g == most ? 120 : 240;
    const double h = (int32_t)(((uint32_t)x - (uint32_t)y) * 60u) / (double)d + base;
    return h < 0 ? h + 360 : h;
}

/* Two quotients of whole numbers, chopped, in one division: with r = 1 / (d den), 255 d / den is 255 d * d r, and e / d is
 * e * den r. Half a unit is added to each numerator, which keeps an inexact product off the whole numbers. Lanes with d = 0
 * are undefined. d and den lie within 1 and 255, e within 0 and 15300. */
static inline void ownTwoQuotients(OwnVec<int32_t> d, OwnVec<int32_t> den, OwnVec<int32_t> e, OwnVec<int32_t>* ratio,
                                   OwnVec<int32_t>* turn)
{
    const OwnVec<float> fd = ownToFloat(d), fden = ownToFloat(den), half = ownSet(0.5f);
    const OwnVec<float> r = ownSet(1.0f) / (fd * fden);
    *ratio = ownChop((fd * ownSet(255.0f) + half) * (fd * r));
    *turn = ownChop((ownToFloat(e) + half) * (fden * r));
}

/* Of 8-bit samples in 16-bit lanes: half the hue, and 255 d / den; both 0 where d is 0.
 *   hue / 2 = floor(30 x / d) + base, with x / d from -1 to 1, and 180 more below 0; the quotient is taken of x + d, which
 *   isn't negative */
static inline OwnPair<int16_t> ownHueAndRatio(OwnVec<int16_t> r, OwnVec<int16_t> g, OwnVec<int16_t> b,
                                              OwnVec<int16_t> most, OwnVec<int16_t> d, OwnVec<int16_t> den)
{
    const auto isRed = ownEqual(r, most), isGreen = ownEqual(g, most);
    const auto x = ownSelect(isRed, g - b, ownSelect(isGreen, b - r, r - g));
    const auto base = ownSelect(isRed, ownSet<int16_t>(-30),
                                ownSelect(isGreen, ownSet<int16_t>(30), ownSet<int16_t>(90)));
    const auto e = (x + d) * ownSet<int16_t>(30);

    const auto d2 = ownUnpack(ownAs<uint16_t>(d)), den2 = ownUnpack(ownAs<uint16_t>(den)),
               e2 = ownUnpack(ownAs<uint16_t>(e));
    OwnPair<int32_t> ratio, turn;
    ownTwoQuotients(ownAs<int32_t>(d2.lo), ownAs<int32_t>(den2.lo), ownAs<int32_t>(e2.lo), &ratio.lo, &turn.lo);
    ownTwoQuotients(ownAs<int32_t>(d2.hi), ownAs<int32_t>(den2.hi), ownAs<int32_t>(e2.hi), &ratio.hi, &turn.hi);

    const OwnVec<int16_t> zero = {}, some = ownGreater(d, zero);
    const auto half = ownPack<int16_t>(turn.lo, turn.hi) + base;
    const auto hue = half + (ownGreater(zero, half) & ownSet<int16_t>(180));
    return {hue & some, ownPack<int16_t>(ratio.lo, ratio.hi) & some};
}

/* ---- 16 and 32 bits: vectors of 32-bit lanes, by the plain forms' steps in double -------------------------------- */

/* The largest sample of a depth, and its reciprocal as the inverse formulas have it. */
template <class T> static constexpr double ownMostSample = (double)std::numeric_limits<T>::max();
template <class T> static constexpr double ownUnitSample = sizeof(T) == 4 ? 4.656612875e-10 : 1.52590219e-05;

struct OwnHueSpans {
    OwnVec<int32_t> most, least, d;
};
static inline OwnHueSpans ownSpan(OwnVec<int32_t> r, OwnVec<int32_t> g, OwnVec<int32_t> b)
{
    const auto most = ownMax(r, ownMax(g, b)), least = ownMin(r, ownMin(g, b));
    return {most, least, most - least};
}

/* ownHue, chopped to T. */
template <class T>
static inline OwnVec<int32_t> ownHue(OwnVec<int32_t> r, OwnVec<int32_t> g, OwnVec<int32_t> b, OwnVec<int32_t> most,
                                     OwnVec<int32_t> d)
{
    const auto isRed = ownEqual(r, most), isGreen = ownEqual(g, most);
    const auto x = ownSelect(isRed, g, ownSelect(isGreen, b, r)), y = ownSelect(isRed, b, ownSelect(isGreen, r, g));
    const auto base = ~isRed & ownSelect(isGreen, ownSet<int32_t>(120), ownSet<int32_t>(240));
    const OwnReals h = ownToDouble((x - y) * ownSet<int32_t>(60)) / ownToDouble(d) + ownToDouble(base);
    return ownChopTo<T>(ownWhereBelow(h, 0, h + 360, h));
}

#endif
