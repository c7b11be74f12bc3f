/* vekor: A OR B, bit by bit, at every integer depth. */
#include "own.h"
#include "ownsimd.h"

/* out = a | b. Bits know no depth, so all samples are taken as bytes, `size` of them each. */
template <int size> static void ownOrRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<uint8_t>(out, a, b, n * size, [](OwnVec<uint8_t> x, OwnVec<uint8_t> y) { return x | y; });
}
template <int size> static void ownOrPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n * size, [](uint8_t x, uint8_t y) { return (uint8_t)(x | y); });
}

template <int size> static constexpr OwnRow ownOrRow = {ownOrRun<size>, ownOrPlain<size>};

OWN_TABLE(ownOrRows) = {
    /*  1U */ ownOrRow<1>,
    /*  8U */ ownOrRow<1>,
    /*  8S */ ownOrRow<1>,
    /* 16U */ ownOrRow<2>,
    /* 16S */ ownOrRow<2>,
    /* 32S */ ownOrRow<4>,
    /* 32F */ {},
};

void vekOr(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekOr", "vekor");
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownOrRows);
}
