/* veksub: A - B, sample by sample, held to the range of the depth. 1U: A AND NOT B. 32F: the single-precision difference. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a - b). The difference is exact in the wider type; the clamp is the only loss. */
template <class T> static T ownSubOne(T a, T b) { return ownClamp<T>((int64_t)a - b); }
static float ownSubOne(float a, float b) { return a - b; }

template <class T> static OwnVec<T> ownSubPack(OwnVec<T> a, OwnVec<T> b) { return ownSubSat(a, b); }
static OwnVec<float> ownSubPack(OwnVec<float> a, OwnVec<float> b) { return a - b; }

template <class T> static void ownSubRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<T>(out, a, b, n, [](OwnVec<T> x, OwnVec<T> y) { return ownSubPack(x, y); });
}
template <class T> static void ownSubPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<T, T>(out, a, b, n, [](T x, T y) { return ownSubOne(x, y); });
}

/* out = a AND NOT b: what 0 and 1 give when the difference is held to 0 and 1. */
static void ownSubBitsRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<uint8_t>(out, a, b, n, [](OwnVec<uint8_t> x, OwnVec<uint8_t> y) { return x & ~y; });
}
static void ownSubBitsPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n, [](uint8_t x, uint8_t y) { return (uint8_t)(x & ~y); });
}

template <class T> static constexpr OwnRow ownSubRow = {ownSubRun<T>, ownSubPlain<T>};

OWN_TABLE(ownSubRows) = {
    /*  1U */ {ownSubBitsRun, ownSubBitsPlain},
    /*  8U */ ownSubRow<uint8_t>,
    /*  8S */ ownSubRow<int8_t>,
    /* 16U */ ownSubRow<uint16_t>,
    /* 16S */ ownSubRow<int16_t>,
    /* 32S */ ownSubRow<int32_t>,
    /* 32F */ ownSubRow<float>,
};

void vekSubtract(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekSubtract", "veksub");
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownSubRows);
}
