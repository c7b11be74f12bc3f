/* vekshfts: src shifted right by value bits. */
#include "own.h"
#include "ownsimd.h"

/* out = a >> k, the vacated bits being copies of the sign for signed depths and 0 for unsigned ones. */
template <class T> static void ownRShiftSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int bits = *(const int32_t*)k;
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return ownShiftRight(x, bits); });
}
template <class T> static void ownRShiftSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int bits = *(const int32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return (T)(x >> bits); });
}

template <class T> static constexpr OwnRow ownRShiftSRow = {ownRShiftSRun<T>, ownRShiftSPlain<T>};

OWN_TABLE(ownRShiftSRows) = {
    /*  1U */ {}, /* vekXorS, vekAndS */
    /*  8U */ ownRShiftSRow<uint8_t>,
    /*  8S */ ownRShiftSRow<int8_t>,
    /* 16U */ ownRShiftSRow<uint16_t>,
    /* 16S */ ownRShiftSRow<int16_t>,
    /* 32S */ ownRShiftSRow<int32_t>,
    /* 32F */ {},
};

void vekRShiftS(const VekImage* srcImage, VekImage* dstImage, uint32_t value)
{
    OWN_FACE("vekRShiftS", "vekshfts");
    OWN_REFUSE_IF(srcImage==0);
    if (value == 0) return vekXorS(srcImage, dstImage, 0);
    const uint32_t sampleBits = (uint32_t)ownSampleBits(srcImage->depth);
    if (value >= sampleBits && !(srcImage->depth & VEK_DEPTH_SIGN)) return vekAndS(srcImage, dstImage, 0);
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const int32_t bits = (int32_t)std::min(value, sampleBits - 1); /* beyond it every sample is its sign */
    ownPoint2(face, srcImage, dstImage, ownRShiftSRows, &bits);
}
