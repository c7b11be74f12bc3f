/* vekbitnl: a 1-bit image as two grey levels. */
#include "ownsimd.h"
#include "ownwhole.h"

/* The levels, in the range of the destination. */
struct OwnLevels {
    int32_t zero, one;
};

/* out = bit ? one : zero. */
template <class D> static void ownGreyPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnLevels& levels = *(const OwnLevels*)k;
    const uint8_t* bits = (const uint8_t*)a;
    for (ptrdiff_t i = 0; i < n; ++i) {
        const D x = (D)(bits[i >> 3] >> (7 - (i & 7)) & 1 ? levels.one : levels.zero);
        memcpy((char*)out + i * (ptrdiff_t)sizeof(D), &x, sizeof(D));
    }
}
template <class D> static void ownGreyRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnLevels& levels = *(const OwnLevels*)k;
    const OwnVec<D> zero = ownSet((D)levels.zero), change = ownSet((D)(levels.zero ^ levels.one));
    ownMapBits<D>(out, (const uint8_t*)a, n, [=](OwnVec<D> bit) { return zero ^ (bit & change); });
}

template <class D> static constexpr OwnRow ownGreyRow = {ownGreyRun<D>, ownGreyPlain<D>};

OWN_TABLE(ownGreyRows) = {
    /*  1U */ {}, /* refused */
    /*  8U */ ownGreyRow<uint8_t>,
    /*  8S */ ownGreyRow<int8_t>,
    /* 16U */ ownGreyRow<uint16_t>,
    /* 16S */ ownGreyRow<int16_t>,
    /* 32S */ ownGreyRow<int32_t>,
    /* 32F */ {}, /* refused */
};

void vekBitonalToGray(const VekImage* srcImage, VekImage* dstImage, int32_t ZeroScale, int32_t OneScale)
{
    OWN_FACE("vekBitonalToGray", "vekbitnl");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((srcImage->height != dstImage->height));
    OWN_REFUSE_IF((srcImage->width != dstImage->width));
    OWN_REFUSE_IF((srcImage->nChannels != 1));
    OWN_REFUSE_IF((srcImage->depth != 1));
    OWN_REFUSE_IF((dstImage->depth == 32));
    OWN_REFUSE_IF((dstImage->depth == 1));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000| 8)) && (ZeroScale > 127)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000| 8)) && (ZeroScale < -128)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000| 8)) && (OneScale > 127)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000| 8)) && (OneScale < -128)));
    OWN_REFUSE_IF(((dstImage->depth == 8) && (ZeroScale > 255)));
    OWN_REFUSE_IF(((dstImage->depth == 8) && (ZeroScale < 0)));
    OWN_REFUSE_IF(((dstImage->depth == 8) && (OneScale > 255)));
    OWN_REFUSE_IF(((dstImage->depth == 8) && (OneScale < 0)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000|16)) && (ZeroScale > 32767)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000|16)) && (ZeroScale < -32768)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000|16)) && (OneScale > 32767)));
    OWN_REFUSE_IF(((dstImage->depth == (0x80000000|16)) && (OneScale < -32768)));
    OWN_REFUSE_IF(((dstImage->depth == 16) && (ZeroScale > 65535)));
    OWN_REFUSE_IF(((dstImage->depth == 16) && (ZeroScale < 0)));
    OWN_REFUSE_IF(((dstImage->depth == 16) && (OneScale > 65535)));
    OWN_REFUSE_IF(((dstImage->depth == 16) && (OneScale < 0)));

    const OwnLevels levels = {ZeroScale, OneScale};
    OwnPoint point = {};
    point.face = &face;
    point.nImages = 2;
    point.image[0] = srcImage;
    point.image[1] = dstImage;
    point.channels[0] = {0, 1, false};
    point.channels[1] = {0, dstImage->nChannels, false}; /* all, alpha too */
    point.fromOne = true;
    point.run = ownGreyRows[ownSlot(dstImage->depth)].run;
    point.k = &levels;
    ownTakeWhole(point, false);
}
