/* ownbits: samples of fewer bits: the high ones, or whether a sample lies above the middle of its range. */
#include "ownbits.h"

/* ---- High bits: 8U and 16U of wider samples, 32S shifted to begin with 0 ---------------------------------------- */

template <class S> static inline uint32_t ownFromZero(S x)
{
    return std::is_signed_v<S> ? (uint32_t)x ^ 0x80000000u : x;
}

/* out = a >> (bits of S - bits of D). */
template <class D, class S> static void ownHighPlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEach<D, S>(out, a, n, [](S x) { return (D)(ownFromZero(x) >> 8 * (sizeof(S) - sizeof(D))); });
}
template <class D, class S> static void ownHighRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    typedef std::make_unsigned_t<S> U;
    const auto high = [](const char* p, int i) {
        const OwnVec<U> x = ownLoad<U>(p + i * OWN_VEC_BYTES);
        return ownShiftRight(std::is_signed_v<S> ? x ^ ownSet((U)0x80000000u) : x, 8 * (int)(sizeof(S) - sizeof(D)));
    };
    ownMapTo<D, S>(out, a, n, [=](const char* p) {
        if constexpr (sizeof(S) == 2 * sizeof(D)) return ownNarrow<D>(high(p, 0), high(p, 1));
        else
            return ownNarrow<D>(ownNarrow<uint16_t>(high(p, 0), high(p, 1)),
                                ownNarrow<uint16_t>(high(p, 2), high(p, 3)));
    });
}

/* ---- Bits -------------------------------------------------------------------------------------------------------- */

/* bit = a above the middle: above 127, 32767, 0. */
template <class S> static void ownAbovePlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEachBit<S>(out, a, n, [](S x) { return std::is_signed_v<S> ? x > 0 : x > std::numeric_limits<S>::max() / 2; });
}
template <class S> static void ownAboveRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    typedef std::make_signed_t<S> I;
    ownMapToBits<S>((uint8_t*)out, a, n, [](OwnVec<S> x) {
        const OwnVec<I> zero = {};
        return std::is_signed_v<S> ? ownGreater(ownAs<I>(x), zero) : ownGreater(zero, ownAs<I>(x));
    });
}

/* ---- Tables ------------------------------------------------------------------------------------------------------ */

template <class D, class S> static constexpr OwnRow ownHighRow = {ownHighRun<D, S>, ownHighPlain<D, S>};
template <class S> static constexpr OwnRow ownAboveRow = {ownAboveRun<S>, ownAbovePlain<S>};

OWN_TABLE(ownReduceRows8U) = {
    /*  1U */ ownAboveRow<uint8_t>,
};
OWN_TABLE(ownReduceRows16U) = {
    /*  1U */ ownAboveRow<uint16_t>,
    /*  8U */ ownHighRow<uint8_t, uint16_t>,
};
OWN_TABLE(ownReduceRows32S) = {
    /*  1U */ ownAboveRow<int32_t>,
    /*  8U */ ownHighRow<uint8_t, int32_t>,
    /*  8S */ {},
    /* 16U */ ownHighRow<uint16_t, int32_t>,
};

static const OwnRow* ownReduceRows(uint32_t srcDepth)
{
    return srcDepth == VEK_DEPTH_8U    ? ownReduceRows8U
           : srcDepth == VEK_DEPTH_16U ? ownReduceRows16U
           : srcDepth == VEK_DEPTH_32S ? ownReduceRows32S
                                       : nullptr;
}

OwnRun* ownReduceRun(uint32_t srcDepth, uint32_t dstDepth)
{
    const OwnRow* rows = ownReduceRows(srcDepth);
    return rows ? rows[ownSlot(dstDepth)].run : nullptr;
}

bool ownRefuseDepths(const OwnFace& face, uint32_t srcDepth)
{
    const char* text = srcDepth == VEK_DEPTH_8U    ? "Error out depth. 8U to 1U conversion is valid now"
                       : srcDepth == VEK_DEPTH_16U ? "Error out depth. 16U to 8U,1U conversion is valid now"
                       : srcDepth == VEK_DEPTH_32S ? "Error out depth. 32S to 16U,8U,1U conversion is valid now"
                                                   : "Error input depth. 32S,16U,8U input is valid now";
    ownFail(face, VEK_StatusBadArg, text, __LINE__);
    return false;
}
