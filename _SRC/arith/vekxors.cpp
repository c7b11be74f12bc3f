/* vekxors: src XOR a constant, bit by bit, at every integer depth; vekNot is the constant of all ones. */
#include "own.h"
#include "ownsimd.h"

/* out = a ^ k. The constant is a pattern of 32 bits that holds for every byte position of a sample. */
template <int size> static void ownXorSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const OwnVec<T> pattern = ownSet<T>((T) * (const uint32_t*)k);
    ownMap<T>(out, a, n, [=](OwnVec<T> x) { return x ^ pattern; });
}
template <int size> static void ownXorSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    typedef OwnUnsigned<size> T;
    const T pattern = (T) * (const uint32_t*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return (T)(x ^ pattern); });
}

template <int size> static constexpr OwnRow ownXorSRow = {ownXorSRun<size>, ownXorSPlain<size>};

OWN_TABLE(ownXorSRows) = {
    /*  1U */ ownXorSRow<1>,
    /*  8U */ ownXorSRow<1>,
    /*  8S */ ownXorSRow<1>,
    /* 16U */ ownXorSRow<2>,
    /* 16S */ ownXorSRow<2>,
    /* 32S */ ownXorSRow<4>,
    /* 32F */ {},
};

void vekXorS(const VekImage* srcImage, VekImage* dstImage, uint32_t value)
{
    OWN_FACE("vekXorS", "vekxors");
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    const uint32_t pattern = srcImage->depth == VEK_DEPTH_1U ? 0 - (value & 1) : value;
    ownPoint2(face, srcImage, dstImage, ownXorSRows, &pattern);
}

/* All bits inverted. */
void vekNot(const VekImage* srcImage, VekImage* dstImage) { vekXorS(srcImage, dstImage, 0xFFFFFFFFu); }
