/* vekors: src OR a constant, bit by bit, at every integer depth. */
#include "own.h"
#include "ownsimd.h"

/* out = a | k. The constant is a pattern of 32 bits that holds for every byte position of a sample. */
template <int size> static void ownOrSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const OwnVec<T> pattern = ownSet<T>((T) * (const uint32_t*)k);
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return x | pattern; });
}
template <int size> static void ownOrSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const T pattern = (T) * (const uint32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return (T)(x | pattern); });
}

template <int size> static constexpr OwnRow ownOrSRow = {ownOrSRun<size>, ownOrSPlain<size>};

OWN_TABLE(ownOrSRows) = {
    /*  1U */ ownOrSRow<1>,
    /*  8U */ ownOrSRow<1>,
    /*  8S */ ownOrSRow<1>,
    /* 16U */ ownOrSRow<2>,
    /* 16S */ ownOrSRow<2>,
    /* 32S */ ownOrSRow<4>,
    /* 32F */ {},
};

void vekOrS(const VekImage* srcImage, VekImage* dstImage, uint32_t value)
{
    OWN_FACE("vekOrS", "vekors");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const uint32_t pattern = srcImage->depth == VEK_DEPTH_1U ? 0 - (value & 1) : value;
    ownPoint2(face, srcImage, dstImage, ownOrSRows, &pattern);
}
