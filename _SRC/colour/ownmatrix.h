/* ownmatrix.h: weighted sums of three channels, the common part of XYZ, YUV, YCrCb and YCC. */
#ifndef OWNMATRIX_H
#define OWNMATRIX_H

#include "ownreal.h"

/* a x + b y + c z, from left to right, in single or double precision, of samples or of vectors of them. */
template <class T> static inline T ownSum(const T weights[3], T x, T y, T z)
{
    return weights[0] * x + weights[1] * y + weights[2] * z;
}
static inline OwnReals ownSum(const double weights[3], OwnReals x, OwnReals y, OwnReals z)
{
    return weights[0] * x + weights[1] * y + weights[2] * z;
}
static inline OwnVec<float> ownSum(const float weights[3], OwnVec<float> x, OwnVec<float> y, OwnVec<float> z)
{
    return ownSet(weights[0]) * x + ownSet(weights[1]) * y + ownSet(weights[2]) * z;
}

/* Three 16-bit lanes ready for weighted sums: the first two in turn, and the third in turn with `one`. */
struct OwnTurns {
    OwnPair<int16_t> xy, z1;
};
static inline OwnTurns ownTurns(OwnVec<int16_t> x, OwnVec<int16_t> y, OwnVec<int16_t> z, int16_t one = 1)
{
    return {ownZip(x, y), ownZip(z, ownSet(one))};
}

/* (a x + b y + c z + d one) >> shift, held to 16 bits. Each of the four factors has 16 bits. */
static inline OwnVec<int16_t> ownFixedSum(const OwnTurns& in, int a, int b, int c, int d, int shift)
{
    const OwnVec<int16_t> ab = ownTwoFactors(a, b), cd = ownTwoFactors(c, d);
    return ownPack<int16_t>(ownShiftRight(ownMulAdd(in.xy.lo, ab) + ownMulAdd(in.z1.lo, cd), shift),
                            ownShiftRight(ownMulAdd(in.xy.hi, ab) + ownMulAdd(in.z1.hi, cd), shift));
}

/* Sums of 16-bit samples. Less 32768, which is their top bit turned, they are signed lanes; the sums lose 32768 times the
 * factors' sum, which after a shift by 14 is twice the factors' sum and is added again. A factor beyond 16 bits loses 65536,
 * which after the shift is 4 times the sample. */
struct OwnTurns16 {
    OwnPair<int16_t> xy, z1;
    OwnPair<int32_t> x; /* the samples of the first channel, as they are */
};
static inline OwnVec<int16_t> ownTopTurned(OwnVec<uint16_t> x) { return ownAs<int16_t>(x ^ ownSet<uint16_t>(0x8000)); }
static inline OwnPair<int32_t> ownWords(OwnVec<uint16_t> x)
{
    const OwnPair<uint32_t> words = ownUnpack(x);
    return {ownAs<int32_t>(words.lo), ownAs<int32_t>(words.hi)};
}
static inline OwnTurns16 ownTurns16(OwnVec<uint16_t> x, OwnVec<uint16_t> y, OwnVec<uint16_t> z)
{
    return {ownZip(ownTopTurned(x), ownTopTurned(y)), ownZip(ownTopTurned(z), ownSet<int16_t>(1)), ownWords(x)};
}

/* ((a x + b y + c z + d) >> 14) + more, held to the range of T. Only a may pass 16 bits. */
template <class T> static inline OwnVec<T> ownFixedSum16(const OwnTurns16& in, int a, int b, int c, int d, int more = 0)
{
    const bool isLarge = a > INT16_MAX;
    const int less = isLarge ? a - 65536 : a;
    const OwnVec<int16_t> ab = ownTwoFactors(less, b), cd = ownTwoFactors(c, d);
    const OwnVec<int32_t> back = ownSet(2 * (less + b + c) + more);
    const auto half = [=](OwnVec<int16_t> xy, OwnVec<int16_t> z1, OwnVec<int32_t> x) {
        const auto sum = ownShiftRight(ownMulAdd(xy, ab) + ownMulAdd(z1, cd), 14) + back;
        return isLarge ? sum + ownShiftLeft(x, 2) : sum;
    };
    return ownPack<T>(half(in.xy.lo, in.z1.lo, in.x.lo), half(in.xy.hi, in.z1.hi, in.x.hi));
}

#endif
