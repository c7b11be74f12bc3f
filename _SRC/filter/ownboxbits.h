/* ownboxbits.h: the extrema of neighbouring bits of a row. */
#ifndef OWNBOXBITS_H
#define OWNBOXBITS_H

#include "ownboxacross.h"

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

#endif
