/* vekands: src AND a constant, bit by bit, at every integer depth. */
#include "own.h"
#include "ownsimd.h"

/* out = a & k. The constant is a pattern of 32 bits that holds for every byte position of a sample. */
template <int size> static void ownAndSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const OwnVec<T> pattern = ownSet<T>((T) * (const uint32_t*)k);
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return x & pattern; });
}
template <int size> static void ownAndSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const T pattern = (T) * (const uint32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return (T)(x & pattern); });
}

template <int size> static constexpr OwnRow ownAndSRow = {ownAndSRun<size>, ownAndSPlain<size>};

OWN_TABLE(ownAndSRows) = {
    /*  1U */ ownAndSRow<1>,
    /*  8U */ ownAndSRow<1>,
    /*  8S */ ownAndSRow<1>,
    /* 16U */ ownAndSRow<2>,
    /* 16S */ ownAndSRow<2>,
    /* 32S */ ownAndSRow<4>,
    /* 32F */ {},
};

void vekAndS(const VekImage* srcImage, VekImage* dstImage, uint32_t value)
{
    OWN_FACE("vekAndS", "vekands");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const uint32_t pattern = srcImage->depth == VEK_DEPTH_1U ? 0 - (value & 1) : value;
    ownPoint2(face, srcImage, dstImage, ownAndSRows, &pattern);
}
