/* ownmatrix.h: weighted sums of three channels, the common part of XYZ, YUV, YCrCb and YCC. */
#ifndef OWNMATRIX_H
#define OWNMATRIX_H

#include "owncolor.h"

/* a x + b y + c z, from left to right, in single or double precision, of samples or of vectors of them. */
template <class T> static inline T ownSum(const T weights[3], T x, T y, T z)
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

#endif
