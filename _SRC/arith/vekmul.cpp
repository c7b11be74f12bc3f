/* vekmul: A times B, sample by sample, held to the range of the depth. 32F: the single-precision product. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a * b). The product is exact in the wider type; the clamp is the only loss. */
template <class T> static T ownMulOne(T a, T b) { return ownClamp<T>((int64_t)a * b); }
static float ownMulOne(float a, float b) { return a * b; }

template <class T> static OwnVec<T> ownMulPack(OwnVec<T> a, OwnVec<T> b) { return ownMulSat(a, b); }
static OwnVec<float> ownMulPack(OwnVec<float> a, OwnVec<float> b) { return a * b; }

template <class T> static void ownMulRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<T>(out, a, b, n, [](OwnVec<T> x, OwnVec<T> y) { return ownMulPack(x, y); });
}
template <class T> static void ownMulPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<T, T>(out, a, b, n, [](T x, T y) { return ownMulOne(x, y); });
}

template <class T> static constexpr OwnRow ownMulRow = {ownMulRun<T>, ownMulPlain<T>};

OWN_TABLE(ownMulRows) = {
    /*  1U */ {}, /* vekAnd */
    /*  8U */ ownMulRow<uint8_t>,
    /*  8S */ ownMulRow<int8_t>,
    /* 16U */ ownMulRow<uint16_t>,
    /* 16S */ ownMulRow<int16_t>,
    /* 32S */ ownMulRow<int32_t>,
    /* 32F */ ownMulRow<float>,
};

void vekMultiply(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekMultiply", "vekmul");
    OWN_REFUSE_IF(srcImageA==0);
    if (srcImageA->depth == VEK_DEPTH_1U) return vekAnd(srcImageA, srcImageB, dstImage);
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownMulRows);
}
