/* veklshs: src shifted left by value bits. */
#include "own.h"
#include "ownsimd.h"

/* out = a << k; high bits are dropped, so the sign of the depth makes no difference. */
template <class T> static void ownLShiftSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int bits = *(const int32_t*)k;
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return ownShiftLeft(x, bits); });
}
template <class T> static void ownLShiftSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int bits = *(const int32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return (T)((uint32_t)x << bits); });
}

template <class T> static constexpr OwnRow ownLShiftSRow = {ownLShiftSRun<T>, ownLShiftSPlain<T>};

OWN_TABLE(ownLShiftSRows) = {
    /*  1U */ {}, /* vekXorS, vekAndS */
    /*  8U */ ownLShiftSRow<uint8_t>,
    /*  8S */ ownLShiftSRow<uint8_t>,
    /* 16U */ ownLShiftSRow<uint16_t>,
    /* 16S */ ownLShiftSRow<uint16_t>,
    /* 32S */ ownLShiftSRow<uint32_t>,
    /* 32F */ {},
};

void vekLShiftS(const VekImage* srcImage, VekImage* dstImage, uint32_t value)
{
    OWN_FACE("vekLShiftS", "veklshs");
    OWN_REFUSE_IF(srcImage==0);
    if (value == 0) return vekXorS(srcImage, dstImage, 0);
    if (value >= (uint32_t)ownSampleBits(srcImage->depth)) return vekAndS(srcImage, dstImage, 0);
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const int32_t bits = (int32_t)value;
    ownPoint2(face, srcImage, dstImage, ownLShiftSRows, &bits);
}
