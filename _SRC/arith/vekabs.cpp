/* vekabs: the absolute value, not saturated. Unsigned depths: a copy. */
#include "own.h"
#include "ownsimd.h"

/* out = (a + s) XOR s with s the sign of a, in the sample's own width: the lowest value stays itself. */
template <class T> static void ownAbsRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownMap<T>(out, a, n, [](OwnVec<T> x) { return ownAbsWrap(x); });
}
template <class T> static void ownAbsPlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEach<T, T>(out, a, n, [](T x) { return (T)(x < 0 ? 0 - (std::make_unsigned_t<T>)x : x); });
}

template <class T> static constexpr OwnRow ownAbsRow = {ownAbsRun<T>, ownAbsPlain<T>};

OWN_TABLE(ownAbsRows) = {
    /*  1U */ ownCopyRow<1>,
    /*  8U */ ownCopyRow<1>,
    /*  8S */ ownAbsRow<int8_t>,
    /* 16U */ ownCopyRow<2>,
    /* 16S */ ownAbsRow<int16_t>,
    /* 32S */ ownAbsRow<int32_t>,
    /* 32F */ {},
};

/* A channel of interest that picks one of several. */
static bool ownPicksChannel(const VekImage* image)
{
    return image->roi && image->nChannels > 1 && image->roi->coi != 0;
}

void vekAbs(const VekImage* srcImage, VekImage* dstImage)
{
    OWN_FACE("vekAbs", "vekabs");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((srcImage->depth != dstImage->depth));
    OWN_REFUSE_IF((srcImage->dataOrder != dstImage->dataOrder));
    const int32_t nChSrc = srcImage->nChannels, nChDst = dstImage->nChannels;
    const int32_t aChSrc = srcImage->alphaChannel, aChDst = dstImage->alphaChannel;
    const bool nChSrcCoi = ownPicksChannel(srcImage), nChDstCoi = ownPicksChannel(dstImage);
    if ((aChSrc != 0) == (aChDst != 0)) OWN_REFUSE_IF((nChSrc != nChDst));
    OWN_REFUSE_IF((nChSrcCoi != nChDstCoi));
    if (!nChSrcCoi && nChSrc == nChDst) OWN_REFUSE_IF((aChSrc != aChDst));

    /* A callback must clear tileData on release, or the call ends there. */
    OwnPoint point = {&face,   2,   {srcImage, dstImage}, {ownChannels(srcImage), ownChannels(dstImage)}, nullptr,
                      nullptr, true};
    ownPointMasked(point, ownAbsRows);
}
