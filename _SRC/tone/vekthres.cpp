/* vekthres: two levels, or bits, by a threshold. */
#include "own.h"
#include "ownsimd.h"

/* ---- Kernels ------------------------------------------------------------------------------------------------- */

/* out = a >= k ? the highest : the lowest value of the destination's depth. The constant is in the range of the source. */
template <class D, class S> static void ownLevelPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int32_t threshold = *(const int32_t*)k;
    ownEach<D, S>(out, a, n,
                  [=](S x) { return x >= threshold ? std::numeric_limits<D>::max() : std::numeric_limits<D>::min(); });
}

/* All ones and zero are the levels without sign; with it, they are these with the top bit turned. */
template <class T> static inline OwnVec<T> ownReaches(OwnVec<T> x, OwnVec<T> threshold)
{
    return ownEqual(ownMax(x, threshold), x);
}
template <class D, class S> static void ownLevelRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<S> threshold = ownSet((S) * (const int32_t*)k), lowest = ownSet((S)std::numeric_limits<D>::min());
    ownMap<S>(out, a, n, [=](OwnVec<S> x) { return ownReaches(x, threshold) ^ lowest; });
}

/* bit = a >= k. */
template <class S> static void ownReachesPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const int32_t threshold = *(const int32_t*)k;
    ownEachBit<S>(out, a, n, [=](S x) { return x >= threshold; });
}
template <class S> static void ownReachesRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnVec<S> threshold = ownSet((S) * (const int32_t*)k);
    ownMapToBits<S>((uint8_t*)out, a, n, [=](OwnVec<S> x) { return ownReaches(x, threshold); });
}

/* ---- Tables: a row for each depth of the destination, a table for each depth of the source --------------------- */

/* Packed where the depths agree in size. */
template <class D, class S> static constexpr OwnRow ownLevelRow()
{
    if constexpr (sizeof(D) == sizeof(S)) return {ownLevelRun<D, S>, ownLevelPlain<D, S>};
    else return {ownLevelPlain<D, S>, ownLevelPlain<D, S>};
}

#define OWN_THRESHOLD_TABLE(name, S)                                                                                   \
    OWN_TABLE(name) = {                                                                                                \
        /*  1U */ {ownReachesRun<S>, ownReachesPlain<S>},                                                              \
        /*  8U */ ownLevelRow<uint8_t, S>(),                                                                           \
        /*  8S */ ownLevelRow<int8_t, S>(),                                                                            \
        /* 16U */ ownLevelRow<uint16_t, S>(),                                                                          \
        /* 16S */ ownLevelRow<int16_t, S>(),                                                                           \
        /* 32S */ ownLevelRow<int32_t, S>(),                                                                           \
        /* 32F */ {},                                                                                                  \
    }
OWN_THRESHOLD_TABLE(ownThresholdRows8U, uint8_t);
OWN_THRESHOLD_TABLE(ownThresholdRows8S, int8_t);
OWN_THRESHOLD_TABLE(ownThresholdRows16U, uint16_t);
OWN_THRESHOLD_TABLE(ownThresholdRows16S, int16_t);
OWN_THRESHOLD_TABLE(ownThresholdRows32S, int32_t);

static const OwnRow* const ownThresholdTables[OWN_DEPTHS] = {
    nullptr, ownThresholdRows8U, ownThresholdRows8S, ownThresholdRows16U, ownThresholdRows16S, ownThresholdRows32S,
    nullptr,
};

/* ---- The function -------------------------------------------------------------------------------------------- */

/* Alpha can't be what is processed: neither as the only channel nor as the channel of interest. */
static bool ownTakesAlpha(const VekImage* image)
{
    return image->alphaChannel && (image->nChannels == 1 || (image->roi && image->roi->coi == image->nChannels));
}

void vekThreshold(const VekImage* srcImage, VekImage* dstImage, int32_t threshold)
{
    OWN_FACE("vekThreshold", "vekthres");
    const int32_t Threshold = threshold;
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((srcImage->depth == 32));
    OWN_REFUSE_IF((dstImage->depth == 32));
    OWN_REFUSE_IF((srcImage->depth == 1));
    OWN_REFUSE_IF(((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1))));
    OWN_REFUSE_IF((srcImage->origin != dstImage->origin));
    if (srcImage->maskROI) OWN_REFUSE_IF((srcImage->origin != srcImage->maskROI->origin));
    if (dstImage->maskROI) OWN_REFUSE_IF((dstImage->origin != dstImage->maskROI->origin));
    OWN_REFUSE_IF(((srcImage->depth == (0x80000000| 8)) && (Threshold > 127)));
    OWN_REFUSE_IF(((srcImage->depth == (0x80000000| 8)) && (Threshold < -128)));
    OWN_REFUSE_IF(((srcImage->depth == 8) && (Threshold > 255)));
    OWN_REFUSE_IF(((srcImage->depth == 8) && (Threshold < 0)));
    OWN_REFUSE_IF(((srcImage->depth == (0x80000000|16)) && (Threshold > 32767)));
    OWN_REFUSE_IF(((srcImage->depth == (0x80000000|16)) && (Threshold < -32768)));
    OWN_REFUSE_IF(((srcImage->depth == 16) && (Threshold > 65535)));
    OWN_REFUSE_IF(((srcImage->depth == 16) && (Threshold < 0)));
    if (ownTakesAlpha(srcImage) || ownTakesAlpha(dstImage)) return;

    OwnPoint point = {};
    point.face = &face;
    point.nImages = 2;
    point.image[0] = srcImage;
    point.image[1] = dstImage;
    point.channels[0] = ownChannels(srcImage);
    point.channels[1] = ownChannels(dstImage);
    point.k = &threshold;
    point.paddingKept = true;
    ownPointMasked(point, ownThresholdTables[ownSlot(srcImage->depth)]);
}
