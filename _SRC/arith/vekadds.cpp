/* vekadds: src + value, held to the range of the depth. Narrow depths subtract the negated value. */
#include "own.h"
#include "ownsimd.h"

/* out = clamp(a + k). */
static void ownAddSRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<int32_t> value = ownSet(*(const int32_t*)k);
    ownMap<int32_t>(out, a, n, [=](OwnVec<int32_t> x) { return ownAddSat(x, value); });
}
static void ownAddSPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int64_t value = *(const int32_t*)k;
    ownEach<int32_t, int32_t>(out, a, n, [=](int32_t x) { return ownClamp<int32_t>(x + value); });
}

OWN_TABLE(ownAddSRows) = {
    /*  1U */ {}, /* vekOrS */
    /*  8U */ {}, /* vekSubtractS, up to 16S */
    /*  8S */ {},
    /* 16U */ {},
    /* 16S */ {},
    /* 32S */ {ownAddSRun, ownAddSPlain},
    /* 32F */ {}, /* refused */
};

void vekAddS(const VekImage* srcImage, VekImage* dstImage, int32_t value)
{
    OWN_FACE("vekAddS", "vekadds");
    OWN_REFUSE_IF(srcImage==0);
    switch (srcImage->depth) {
    case VEK_DEPTH_1U: return vekOrS(srcImage, dstImage, (uint32_t)value);
    case VEK_DEPTH_8U:
    case VEK_DEPTH_8S:
    case VEK_DEPTH_16U:
    case VEK_DEPTH_16S: return vekSubtractS(srcImage, dstImage, value < -65535 ? 65535 : -value, 0);
    case VEK_DEPTH_32F: OWN_REFUSE_TEXT_IF(true, "For processing depth 32F use function vekAddSFP");
    }
    OWN_REFUSE_HEADERS2(srcImage, dstImage);
    ownPoint2(face, srcImage, dstImage, ownAddSRows, &value);
}
