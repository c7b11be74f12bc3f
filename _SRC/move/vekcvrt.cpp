/* vekcvrt: samples of one integer depth to another, held to its range, and samples to bits. */
#include "ownsimd.h"
#include "ownwhole.h"

/* ---- Samples ------------------------------------------------------------------------------------------------- */

/* out = clamp(a). */
template <class D, class S> static void ownConvertPlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEach<D, S>(out, a, n, [](S x) { return ownClamp<D>((int64_t)x); });
}

/* The same within S, for the limits of D that samples of S can pass. */
template <class D, class W, class S> static inline OwnVec<W> ownHold(OwnVec<W> x)
{
    typedef std::numeric_limits<D> To;
    typedef std::numeric_limits<S> From;
    if constexpr ((int64_t)From::min() < (int64_t)To::min()) x = ownMax(x, ownSet((W)To::min()));
    if constexpr ((int64_t)From::max() > (int64_t)To::max()) x = ownMin(x, ownSet((W)To::max()));
    return x;
}

/* An integer of the size of D with the sign of S. */
template <class D, class S>
using OwnSignOf = std::conditional_t<std::is_signed_v<S>, std::make_signed_t<D>, std::make_unsigned_t<D>>;

/* First held, then narrowed; or first widened by the sign, then held. */
template <class D, class S> static void ownConvertRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    typedef OwnSignOf<D, S> W;
    const auto load = [](const char* p, int i) { return ownHold<D, S, S>(ownLoad<S>(p + i * OWN_VEC_BYTES)); };
    if constexpr (sizeof(D) == sizeof(S)) ownMap<S>(out, a, n, [](OwnVec<S> x) { return ownHold<D, S, S>(x); });
    else if constexpr (sizeof(D) > sizeof(S))
        ownMapTo<D, S>(out, a, n, [](const char* p) { return ownAs<D>(ownHold<D, W, S>(ownLoadWide<W, S>(p))); });
    else if constexpr (sizeof(S) == 2 * sizeof(D))
        ownMapTo<D, S>(out, a, n, [=](const char* p) { return ownNarrow<D>(load(p, 0), load(p, 1)); });
    else
        ownMapTo<D, S>(out, a, n, [=](const char* p) {
            return ownNarrow<D>(ownNarrow<int16_t>(load(p, 0), load(p, 1)), ownNarrow<int16_t>(load(p, 2), load(p, 3)));
        });
}

template <class D, class S> static constexpr OwnRow ownConvertRow = {ownConvertRun<D, S>, ownConvertPlain<D, S>};

/* ---- To bits ------------------------------------------------------------------------------------------------- */

/* bit = a > 0; without sign that is a != 0. */
template <class S> static void ownNonZeroPlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEachBit<S>(out, a, n, [](S x) { return x > 0; });
}
template <class S> static void ownNonZeroRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownMapToBits<S>((uint8_t*)out, a, n, [](OwnVec<S> x) {
        if constexpr (std::is_signed_v<S>) return ownGreater(x, OwnVec<S>{});
        else return ~ownEqual(x, OwnVec<S>{});
    });
}

template <class S> static constexpr OwnRow ownNonZeroRow = {ownNonZeroRun<S>, ownNonZeroPlain<S>};

/* ---- Tables: a row for each depth of the destination, a table for each depth of the source --------------------- */

#define OWN_CONVERT_TABLE(name, S)                                                                                     \
    OWN_TABLE(name) = {                                                                                                \
        /*  1U */ ownNonZeroRow<S>,                                                                                    \
        /*  8U */ ownConvertRow<uint8_t, S>,                                                                           \
        /*  8S */ ownConvertRow<int8_t, S>,                                                                            \
        /* 16U */ ownConvertRow<uint16_t, S>,                                                                          \
        /* 16S */ ownConvertRow<int16_t, S>,                                                                           \
        /* 32S */ ownConvertRow<int32_t, S>,                                                                           \
        /* 32F */ {},                                                                                                  \
    }
OWN_CONVERT_TABLE(ownConvertRows8U, uint8_t);
OWN_CONVERT_TABLE(ownConvertRows8S, int8_t);
OWN_CONVERT_TABLE(ownConvertRows16U, uint16_t);
OWN_CONVERT_TABLE(ownConvertRows16S, int16_t);
OWN_CONVERT_TABLE(ownConvertRows32S, int32_t);

static const OwnRow* const ownConvertTables[OWN_DEPTHS] = {
    /*  1U */ ownCopyRows, /* from bits to bits, as bytes */
    /*  8U */ ownConvertRows8U,
    /*  8S */ ownConvertRows8S,
    /* 16U */ ownConvertRows16U,
    /* 16S */ ownConvertRows16S,
    /* 32S */ ownConvertRows32S,
    /* 32F */ nullptr,
};

/* ---- The function -------------------------------------------------------------------------------------------- */

void vekConvert(const VekImage* srcImage, VekImage* dstImage)
{
    OWN_FACE("vekConvert", "vekcvrt");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    if (srcImage == dstImage) return;
    OWN_REFUSE_IF((srcImage->depth == 32));
    OWN_REFUSE_IF((dstImage->depth == 32));
    OWN_REFUSE_IF((srcImage->height != dstImage->height));
    OWN_REFUSE_IF((srcImage->width != dstImage->width));
    const bool toBits = dstImage->depth == VEK_DEPTH_1U && srcImage->depth != VEK_DEPTH_1U;
    if (toBits && srcImage->nChannels > 1) {
        OWN_REFUSE_IF((srcImage->roi == 0));
        OWN_REFUSE_IF((srcImage->roi->coi == 0));
    }
    if (!toBits) {
        OWN_REFUSE_IF(srcImage->nChannels != dstImage->nChannels);
        OWN_REFUSE_IF(((srcImage->depth == 1) && (srcImage->depth != dstImage->depth)));
    }

    /* All channels, alpha among them; to bits, the channel of interest. */
    OwnPoint point = {};
    point.face = &face;
    point.nImages = 2;
    point.image[0] = srcImage;
    point.image[1] = dstImage;
    point.channels[0] = point.channels[1] = {0, dstImage->nChannels, false};
    if (toBits && srcImage->roi && srcImage->roi->coi > 0) point.channels[0].first = srcImage->roi->coi - 1;
    point.run = ownConvertTables[ownSlot(srcImage->depth)][ownSlot(dstImage->depth)].run;
    point.copies = srcImage->depth == dstImage->depth;
    ownTakeWhole(point, srcImage->depth == VEK_DEPTH_1U);
}
