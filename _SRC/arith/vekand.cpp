/* vekand: A AND B, bit by bit, at every integer depth. */
#include "own.h"
#include "ownsimd.h"

/* out = a & b. Bits know no depth, so all samples are taken as bytes, `size` of them each. */
template <int size> static void ownAndRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<uint8_t>(out, a, b, n * size, [](OwnVec<uint8_t> x, OwnVec<uint8_t> y) { return x & y; });
}
template <int size> static void ownAndPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n * size, [](uint8_t x, uint8_t y) { return (uint8_t)(x & y); });
}

template <int size> static constexpr OwnRow ownAndRow = {ownAndRun<size>, ownAndPlain<size>};

OWN_TABLE(ownAndRows) = {
    /*  1U */ ownAndRow<1>,
    /*  8U */ ownAndRow<1>,
    /*  8S */ ownAndRow<1>,
    /* 16U */ ownAndRow<2>,
    /* 16S */ ownAndRow<2>,
    /* 32S */ ownAndRow<4>,
    /* 32F */ {},
};

void vekAnd(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekAnd", "vekand");
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownAndRows);
}
