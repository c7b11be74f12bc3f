/* vekmuls: src times value, held to the range of the depth. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a * k), exact before the clamp. */
template <class T> static void ownMulSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int64_t value = *(const int32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return ownClamp<T>(x * value); });
}

/* 8 bits: the product fits 16 bits, since k is within 0 .. 255 (8U) or -128 .. 128 (8S). */
template <class T> static void ownMulSRun8(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnWide<T> W;
    const OwnVec<W> value = ownSet((W) * (const int32_t*)k), most = ownSet((W)std::numeric_limits<T>::max());
    ownMap<T>(out, a, n, [=](OwnVec<T> x) {
        const OwnPair<W> wide = ownUnpack(x);
        return ownPack<T>(ownAs<int16_t>(ownMin(wide.lo * value, most)), ownAs<int16_t>(ownMin(wide.hi * value, most)));
    });
}

static void ownMulSRun16U(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<uint16_t> value = ownSet((uint16_t) * (const int32_t*)k);
    ownMap<uint16_t>(out, a, n, [=](OwnVec<uint16_t> x) { return ownMulSat(x, value); });
}

/* 16S: k is within -32768 .. 32768, and its upper end is no 16-bit number. a k = a p + a q with p + q = k. */
static void ownMulSRun16S(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int32_t value = *(const int32_t*)k, half = value / 2;
    const OwnVec<int16_t> p = ownSet((int16_t)half), q = ownSet((int16_t)(value - half));
    ownMap<int16_t>(out, a, n, [=](OwnVec<int16_t> x) { return ownMulSumSat(x, p, q); });
}

static void ownMulSRun32S(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<int32_t> value = ownSet(*(const int32_t*)k);
    ownMap<int32_t>(out, a, n, [=](OwnVec<int32_t> x) { return ownMulSat(x, value); });
}

OWN_TABLE(ownMulSRows) = {
    /*  1U */ {}, /* vekAndS */
    /*  8U */ {ownMulSRun8<uint8_t>, ownMulSPlain<uint8_t>},
    /*  8S */ {ownMulSRun8<int8_t>, ownMulSPlain<int8_t>},
    /* 16U */ {ownMulSRun16U, ownMulSPlain<uint16_t>},
    /* 16S */ {ownMulSRun16S, ownMulSPlain<int16_t>},
    /* 32S */ {ownMulSRun32S, ownMulSPlain<int32_t>},
    /* 32F */ {}, /* refused */
};

/* A constant beyond this range gives what the nearer end of it gives. */
static int32_t ownMulSLimit(uint32_t depth, int32_t value)
{
    switch (depth) {
    case VEK_DEPTH_8U: return std::min(value, 255);
    case VEK_DEPTH_8S: return std::clamp(value, -128, 128);
    case VEK_DEPTH_16U: return std::min(value, 65535);
    case VEK_DEPTH_16S: return std::clamp(value, -32768, 32768);
    }
    return value;
}

void vekMultiplyS(const VekImage* srcImage, VekImage* dstImage, int32_t value)
{
    OWN_FACE("vekMultiplyS", "vekmuls");
    OWN_REFUSE_IF(srcImage==0);
    OWN_REFUSE_TEXT_IF(srcImage->depth == VEK_DEPTH_32F, "For processing depth 32F use function vekMultiplySFP");
    if (srcImage->depth == VEK_DEPTH_1U) return vekAndS(srcImage, dstImage, (uint32_t)value);
    if ((srcImage->depth == VEK_DEPTH_8U || srcImage->depth == VEK_DEPTH_16U) && value <= 0)
        return vekAndS(srcImage, dstImage, 0);
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const int32_t k = ownMulSLimit(srcImage->depth, value);
    ownPoint2(face, srcImage, dstImage, ownMulSRows, &k);
}
