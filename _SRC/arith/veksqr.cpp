/* veksqr: src times src, held to the range of the depth. 1U: a copy. 32F: the single-precision product. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a * a), exact before the clamp. */
template <class T> static T ownSquareOne(T a) { return ownClamp<T>((int64_t)a * a); }
static float ownSquareOne(float a) { return a * a; }

template <class T> static OwnVec<T> ownSquarePack(OwnVec<T> a) { return ownMulSat(a, a); }
static OwnVec<float> ownSquarePack(OwnVec<float> a) { return a * a; }

template <class T> static void ownSquareRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownMap<T>(out, a, n, [](OwnVec<T> x) { return ownSquarePack(x); });
}
template <class T> static void ownSquarePlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEach<T, T>(out, a, n, [](T x) { return ownSquareOne(x); });
}

template <class T> static constexpr OwnRow ownSquareRow = {ownSquareRun<T>, ownSquarePlain<T>};

OWN_TABLE(ownSquareRows) = {
    /*  1U */ ownCopyRow<1>,
    /*  8U */ ownSquareRow<uint8_t>,
    /*  8S */ ownSquareRow<int8_t>,
    /* 16U */ ownSquareRow<uint16_t>,
    /* 16S */ ownSquareRow<int16_t>,
    /* 32S */ ownSquareRow<int32_t>,
    /* 32F */ ownSquareRow<float>,
};

void vekSquare(const VekImage* srcImage, VekImage* dstImage)
{
    OWN_FACE("vekSquare", "veksqr");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    ownPoint2(face, srcImage, dstImage, ownSquareRows);
}
