/* vekadd: A + B, sample by sample, held to the range of the depth. 32F: the single-precision sum. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a + b). The sum is exact in the wider type; the clamp is the only loss. */
template <class T> static T ownAddOne(T a, T b) { return ownClamp<T>((int64_t)a + b); }
static float ownAddOne(float a, float b) { return a + b; }

template <class T> static OwnVec<T> ownAddPack(OwnVec<T> a, OwnVec<T> b) { return ownAddSat(a, b); }
static OwnVec<float> ownAddPack(OwnVec<float> a, OwnVec<float> b) { return a + b; }

template <class T> static void ownAddRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<T>(out, a, b, n, [](OwnVec<T> x, OwnVec<T> y) { return ownAddPack(x, y); });
}
template <class T> static void ownAddPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<T, T>(out, a, b, n, [](T x, T y) { return ownAddOne(x, y); });
}

template <class T> static constexpr OwnRow ownAddRow = {ownAddRun<T>, ownAddPlain<T>};

OWN_TABLE(ownAddRows) = {
    /*  1U */ {}, /* vekOr */
    /*  8U */ ownAddRow<uint8_t>,
    /*  8S */ ownAddRow<int8_t>,
    /* 16U */ ownAddRow<uint16_t>,
    /* 16S */ ownAddRow<int16_t>,
    /* 32S */ ownAddRow<int32_t>,
    /* 32F */ ownAddRow<float>,
};

void vekAdd(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekAdd", "vekadd");
    OWN_REFUSE_IF(srcImageA==0);
    if (srcImageA->depth == VEK_DEPTH_1U) return vekOr(srcImageA, srcImageB, dstImage);
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownAddRows);
}
