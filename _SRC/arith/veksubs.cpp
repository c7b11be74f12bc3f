/* veksubs: src - value, or value - src, held to the range of the depth. */
#include "own.h"
#include "ownsimd.h"

/* The constant of the kernels. */
struct OwnSubS {
    int32_t value;
    bool flip;
};

/* out = clamp(a - k), flipped: clamp(k - a). */
template <class T> static void ownSubSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnSubS& c = *(const OwnSubS*)k;
    const int64_t value = c.value;
    if (c.flip) ownEach<T, T>(out, a, n, [=](T x) { return ownClamp<T>(value - x); });
    else ownEach<T, T>(out, a, n, [=](T x) { return ownClamp<T>(x - value); });
}

/* a - k = (a + p) - m with p = clamp(-k) and m = k + p: both fit the sample and act in one direction, so two saturating
 * steps lose nothing that the exact difference would keep. */
template <class T> static void ownSubSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnSubS& c = *(const OwnSubS*)k;
    /* k - a = NOT a - (NOT 0 - k), where NOT a is the mirror of a in its range and NOT 0 is that of 0. */
    const int32_t value = c.flip ? (int32_t)(T) ~(T)0 - c.value : c.value;
    const T more = ownClamp<T>(-(int64_t)value), less = (T)(value + more);
    const OwnVec<T> flip = ownSet((T)(c.flip ? -1 : 0)), plus = ownSet(more), minus = ownSet(less);
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return ownSubSat(ownAddSat(x ^ flip, plus), minus); });
}

template <class T> static constexpr OwnRow ownSubSRow = {ownSubSRun<T>, ownSubSPlain<T>};

/* 32S: the constant fits the sample, so one saturating step does. */
template <>
constexpr OwnRow ownSubSRow<int32_t> = {
    [](void* out, const void* a, const void*, ptrdiff_t n, const void* k) {
        const OwnSubS& c = *(const OwnSubS*)k;
        const OwnVec<int32_t> value = ownSet(c.value);
        if (c.flip) ownMap<int32_t>(out, a, n, [=](OwnVec<int32_t> x) { return ownSubSat(value, x); });
        else ownMap<int32_t>(out, a, n, [=](OwnVec<int32_t> x) { return ownSubSat(x, value); });
    },
    ownSubSPlain<int32_t>,
};

OWN_TABLE(ownSubSRows) = {
    /*  1U */ {}, /* vekXorS, vekAndS */
    /*  8U */ ownSubSRow<uint8_t>,
    /*  8S */ ownSubSRow<int8_t>,
    /* 16U */ ownSubSRow<uint16_t>,
    /* 16S */ ownSubSRow<int16_t>,
    /* 32S */ ownSubSRow<int32_t>,
    /* 32F */ {}, /* refused */
};

/* Narrow signed depths: a constant beyond this range saturates every sample, as the nearer end of it does. (Unsigned ones
 * come here within their range alone.) */
static int32_t ownSubSLimit(uint32_t depth, int32_t value, bool flip)
{
    if (depth != VEK_DEPTH_8S && depth != VEK_DEPTH_16S) return value;
    const int32_t most = (1 << ownSampleBits(depth)) - 1;
    return flip ? std::clamp(value, -most - 1, most - 1) : std::clamp(value, -most, most);
}

void vekSubtractS(const VekImage* srcImage, VekImage* dstImage, int32_t value, int32_t flip)
{
    OWN_FACE("vekSubtractS", "veksubs");
    OWN_REFUSE_IF(srcImage==0);
    OWN_REFUSE_TEXT_IF(srcImage->depth == VEK_DEPTH_32F, "For processing depth 32F use function vekSubtractSFP");
    if (srcImage->depth == VEK_DEPTH_1U) {
        /* src - 1 and 0 - src are 0; src - 0 is src; 1 - src is its inverse. */
        const bool one = value & 1;
        if (one == (flip != 0)) return vekXorS(srcImage, dstImage, one);
        return vekAndS(srcImage, dstImage, 0);
    }
    if (srcImage->depth == VEK_DEPTH_8U || srcImage->depth == VEK_DEPTH_16U) {
        const int32_t most = srcImage->depth == VEK_DEPTH_8U ? 255 : 65535;
        const bool allOnes = flip ? value >= 2 * most : value <= -most, allZero = flip ? value <= 0 : value >= most;
        if (allOnes) return vekOrS(srcImage, dstImage, 0xFFFFFFFFu);
        if (allZero) return vekAndS(srcImage, dstImage, 0);
    }
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((srcImage->depth != dstImage->depth)); /* the data orders may differ */
    const OwnSubS k = {ownSubSLimit(srcImage->depth, value, flip != 0), flip != 0};
    ownPoint2(face, srcImage, dstImage, ownSubSRows, &k);
}
