/* vekxor: A XOR B, bit by bit, at every integer depth. */
#include "own.h"
#include "ownsimd.h"

/* out = a ^ b. Bits know no depth, so all samples are taken as bytes, `size` of them each. */
template <int size> static void ownXorRun(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownMap2<uint8_t>(out, a, b, n * size, [](OwnVec<uint8_t> x, OwnVec<uint8_t> y) { return x ^ y; });
}
template <int size> static void ownXorPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void*)
{
    ownEach2<uint8_t, uint8_t>(out, a, b, n * size, [](uint8_t x, uint8_t y) { return (uint8_t)(x ^ y); });
}

template <int size> static constexpr OwnRow ownXorRow = {ownXorRun<size>, ownXorPlain<size>};

OWN_TABLE(ownXorRows) = {
    /*  1U */ ownXorRow<1>,
    /*  8U */ ownXorRow<1>,
    /*  8S */ ownXorRow<1>,
    /* 16U */ ownXorRow<2>,
    /* 16S */ ownXorRow<2>,
    /* 32S */ ownXorRow<4>,
    /* 32F */ {},
};

void vekXor(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekXor", "vekxor");
    OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage);
    ownPoint3(face, srcImageA, srcImageB, dstImage, ownXorRows);
}
