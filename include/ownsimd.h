/* ownsimd.h: the packed vocabulary, the only file that names an instruction set.
 *
 * OwnVec<T> is a vector of samples, 16, 32 or 64 bytes wide by the processor variant. The words are written once in the
 * compiler's vector types, which is the backend of every processor; where a processor has an instruction that compilers
 * don't find from that form, the word has a second body under that processor's macro. Each word says what a lane becomes;
 * all bodies of a word give the same lanes. Integer arithmetic wraps, unless a word says that it saturates. */
#ifndef OWNSIMD_H
#define OWNSIMD_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <limits>
#include <type_traits>

#if defined(__AVX512BW__) && defined(__AVX512VL__) && defined(__AVX512DQ__)
#define OWN_VEC_BYTES 64
#define OWN_X86(word) _mm512_##word
typedef long long OwnX86 __attribute__((vector_size(64)));
#elif defined(__AVX2__)
#define OWN_VEC_BYTES 32
#define OWN_X86(word) _mm256_##word
typedef long long OwnX86 __attribute__((vector_size(32)));
#elif defined(__SSE4_1__)
#define OWN_VEC_BYTES 16
#define OWN_X86(word) _mm_##word
typedef long long OwnX86 __attribute__((vector_size(16)));
#else
#define OWN_VEC_BYTES 16
#endif
#ifdef OWN_X86
#include <immintrin.h>
#endif

/* ---- Vectors ------------------------------------------------------------------------------------------------- */

template <class T> struct OwnVec {
    typedef T Raw __attribute__((vector_size(OWN_VEC_BYTES)));
    typedef T Loose __attribute__((vector_size(OWN_VEC_BYTES), aligned(1), may_alias)); /* anywhere in memory */
    static constexpr ptrdiff_t lanes = OWN_VEC_BYTES / (ptrdiff_t)sizeof(T);
    Raw v;
};

/* Two vectors that hold the lanes of one in a wider type. */
template <class T> struct OwnPair {
    OwnVec<T> lo, hi;
};

/* The same bits as lanes of another type. */
template <class T, class S> static inline OwnVec<T> ownAs(OwnVec<S> a) { return {(typename OwnVec<T>::Raw)a.v}; }

/* Integers of the same width without sign, in which sums wrap; floats stay floats. */
template <class T, bool isFloat = std::is_floating_point_v<T>> struct OwnWrap {
    typedef std::make_unsigned_t<T> Type;
};
template <class T> struct OwnWrap<T, true> {
    typedef T Type;
};
template <class T> using OwnWrapRaw = typename OwnVec<typename OwnWrap<T>::Type>::Raw;

#ifdef OWN_X86
template <class T> static inline OwnX86 ownX86(OwnVec<T> a) { return (OwnX86)a.v; }
template <class T, class X> static inline OwnVec<T> ownFromX86(X a) { return {(typename OwnVec<T>::Raw)a}; }
#endif

/* Loads and stores at any address. */
template <class T> static inline OwnVec<T> ownLoad(const void* p) { return {*(const typename OwnVec<T>::Loose*)p}; }
template <class T> static inline void ownStore(void* p, OwnVec<T> a) { *(typename OwnVec<T>::Loose*)p = a.v; }

/* n samples, fewer than a vector has; lanes from n on are 0 in a load and left out of a store. */
template <class T> static inline OwnVec<T> ownLoadPart(const void* p, ptrdiff_t n)
{
    OwnVec<T> r = {};
    memcpy(&r, p, (size_t)n * sizeof(T));
    return r;
}
template <class T> static inline void ownStorePart(void* p, OwnVec<T> a, ptrdiff_t n)
{
    memcpy(p, &a, (size_t)n * sizeof(T));
}

/* Every lane x. */
template <class T> static inline OwnVec<T> ownSet(T x)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, float>) return ownFromX86<T>(OWN_X86(set1_ps)(x));
    else if constexpr (std::is_same_v<T, double>) return ownFromX86<T>(OWN_X86(set1_pd)(x));
    else if constexpr (sizeof(T) == 1) return ownFromX86<T>(OWN_X86(set1_epi8)((char)x));
    else if constexpr (sizeof(T) == 2) return ownFromX86<T>(OWN_X86(set1_epi16)((short)x));
    else if constexpr (sizeof(T) == 4) return ownFromX86<T>(OWN_X86(set1_epi32)((int)x));
    else
#endif
    {
        OwnVec<T> r;
        for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) r.v[i] = x;
        return r;
    }
}

/* ---- Arithmetic and logic ------------------------------------------------------------------------------------ */

template <class T> static inline OwnVec<T> operator+(OwnVec<T> a, OwnVec<T> b)
{
    return {(typename OwnVec<T>::Raw)((OwnWrapRaw<T>)a.v + (OwnWrapRaw<T>)b.v)};
}
template <class T> static inline OwnVec<T> operator-(OwnVec<T> a, OwnVec<T> b)
{
    return {(typename OwnVec<T>::Raw)((OwnWrapRaw<T>)a.v - (OwnWrapRaw<T>)b.v)};
}
/* The low half of the product; not for 8-bit lanes. */
template <class T> static inline OwnVec<T> operator*(OwnVec<T> a, OwnVec<T> b)
{
    static_assert(sizeof(T) > 1);
    return {(typename OwnVec<T>::Raw)((OwnWrapRaw<T>)a.v * (OwnWrapRaw<T>)b.v)};
}
template <class T> static inline OwnVec<T> operator/(OwnVec<T> a, OwnVec<T> b)
{
    static_assert(std::is_floating_point_v<T>);
    return {a.v / b.v};
}
template <class T> static inline OwnVec<T> operator&(OwnVec<T> a, OwnVec<T> b)
{
    if constexpr (std::is_integral_v<T>) return {a.v & b.v};
    else return ownAs<T>(ownAs<int32_t>(a) & ownAs<int32_t>(b));
}
template <class T> static inline OwnVec<T> operator|(OwnVec<T> a, OwnVec<T> b)
{
    if constexpr (std::is_integral_v<T>) return {a.v | b.v};
    else return ownAs<T>(ownAs<int32_t>(a) | ownAs<int32_t>(b));
}
template <class T> static inline OwnVec<T> operator^(OwnVec<T> a, OwnVec<T> b)
{
    if constexpr (std::is_integral_v<T>) return {a.v ^ b.v};
    else return ownAs<T>(ownAs<int32_t>(a) ^ ownAs<int32_t>(b));
}
template <class T> static inline OwnVec<T> operator~(OwnVec<T> a) { return {~a.v}; }

/* Comparisons: a lane of all ones where it holds, of zeros elsewhere. */
template <class T> static inline OwnVec<T> ownEqual(OwnVec<T> a, OwnVec<T> b)
{
    return {(typename OwnVec<T>::Raw)(a.v == b.v)};
}
template <class T> static inline OwnVec<T> ownGreater(OwnVec<T> a, OwnVec<T> b)
{
    return {(typename OwnVec<T>::Raw)(a.v > b.v)};
}

/* a where the lane of mask is all ones, b where it is zero. */
template <class T, class M> static inline OwnVec<T> ownSelect(OwnVec<M> mask, OwnVec<T> a, OwnVec<T> b)
{
    static_assert(sizeof(T) == sizeof(M));
#if OWN_VEC_BYTES == 32
    return ownFromX86<T>(_mm256_blendv_epi8((__m256i)ownX86(b), (__m256i)ownX86(a), (__m256i)ownX86(mask)));
#else
    return ownAs<T>((ownAs<uint8_t>(mask) & ownAs<uint8_t>(a)) | (~ownAs<uint8_t>(mask) & ownAs<uint8_t>(b)));
#endif
}

/* The smaller, the larger of two lanes. Floats: b when either is not a number. */
template <class T> static inline OwnVec<T> ownMin(OwnVec<T> a, OwnVec<T> b)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>) return ownFromX86<T>(OWN_X86(min_epu8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int8_t>) return ownFromX86<T>(OWN_X86(min_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint16_t>) return ownFromX86<T>(OWN_X86(min_epu16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int16_t>) return ownFromX86<T>(OWN_X86(min_epi16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint32_t>) return ownFromX86<T>(OWN_X86(min_epu32)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int32_t>) return ownFromX86<T>(OWN_X86(min_epi32)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, float>) return ownFromX86<T>(OWN_X86(min_ps)(a.v, b.v));
    else
#endif
        return ownSelect(ownAs<typename OwnWrap<T>::Type>(ownGreater(b, a)), a, b);
}
template <class T> static inline OwnVec<T> ownMax(OwnVec<T> a, OwnVec<T> b)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>) return ownFromX86<T>(OWN_X86(max_epu8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int8_t>) return ownFromX86<T>(OWN_X86(max_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint16_t>) return ownFromX86<T>(OWN_X86(max_epu16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int16_t>) return ownFromX86<T>(OWN_X86(max_epi16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint32_t>) return ownFromX86<T>(OWN_X86(max_epu32)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int32_t>) return ownFromX86<T>(OWN_X86(max_epi32)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, float>) return ownFromX86<T>(OWN_X86(max_ps)(a.v, b.v));
    else
#endif
        return ownSelect(ownAs<typename OwnWrap<T>::Type>(ownGreater(a, b)), a, b);
}

/* Shifts of every lane by n bits, n below the lane's width: left, dropping high bits; right, by the sign of T. */
template <class T> static inline OwnVec<T> ownShiftLeft(OwnVec<T> a, int n)
{
#ifdef OWN_X86
    if constexpr (sizeof(T) == 1) return ownAs<T>(ownShiftLeft(ownAs<uint16_t>(a), n)) & ownSet<T>((T)(0xFF << n));
    else if constexpr (sizeof(T) == 2) return ownFromX86<T>(OWN_X86(sll_epi16)(ownX86(a), _mm_cvtsi32_si128(n)));
    else if constexpr (sizeof(T) == 4) return ownFromX86<T>(OWN_X86(sll_epi32)(ownX86(a), _mm_cvtsi32_si128(n)));
    else
#endif
        return {(typename OwnVec<T>::Raw)((OwnWrapRaw<T>)a.v << n)};
}
template <class T> static inline OwnVec<T> ownShiftRight(OwnVec<T> a, int n)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>)
        return ownAs<T>(ownShiftRight(ownAs<uint16_t>(a), n)) & ownSet<T>((T)(0xFF >> n));
    else if constexpr (std::is_same_v<T, int8_t>) {
        const OwnVec<T> sign = ownSet<T>((T)(0x80 >> n)); /* where the sign bit comes to stand: extend from there */
        return (ownAs<T>(ownShiftRight(ownAs<uint8_t>(a), n)) ^ sign) - sign;
    } else if constexpr (std::is_same_v<T, uint16_t>)
        return ownFromX86<T>(OWN_X86(srl_epi16)(ownX86(a), _mm_cvtsi32_si128(n)));
    else if constexpr (std::is_same_v<T, int16_t>)
        return ownFromX86<T>(OWN_X86(sra_epi16)(ownX86(a), _mm_cvtsi32_si128(n)));
    else if constexpr (std::is_same_v<T, uint32_t>)
        return ownFromX86<T>(OWN_X86(srl_epi32)(ownX86(a), _mm_cvtsi32_si128(n)));
    else if constexpr (std::is_same_v<T, int32_t>)
        return ownFromX86<T>(OWN_X86(sra_epi32)(ownX86(a), _mm_cvtsi32_si128(n)));
    else
#endif
        return {a.v >> n};
}

/* a + b, a - b, held to the range of the lane. */
template <class T> static inline OwnVec<T> ownAddSat(OwnVec<T> a, OwnVec<T> b)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>) return ownFromX86<T>(OWN_X86(adds_epu8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int8_t>) return ownFromX86<T>(OWN_X86(adds_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint16_t>) return ownFromX86<T>(OWN_X86(adds_epu16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int16_t>) return ownFromX86<T>(OWN_X86(adds_epi16)(ownX86(a), ownX86(b)));
    else
#endif
        if constexpr (std::is_unsigned_v<T>) {
        const OwnVec<T> r = a + b;
        return r | ownGreater(a, r);
    } else { /* the sum overflows where its sign differs from that of both terms: then a's sign, as the limit */
        const OwnVec<T> r = a + b;
        const int top = (int)sizeof(T) * 8 - 1;
        const OwnVec<T> limit = ownShiftRight(a, top) ^ ownSet(std::numeric_limits<T>::max());
        return ownSelect(ownShiftRight((r ^ a) & (r ^ b), top), limit, r);
    }
}
template <class T> static inline OwnVec<T> ownSubSat(OwnVec<T> a, OwnVec<T> b)
{
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>) return ownFromX86<T>(OWN_X86(subs_epu8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int8_t>) return ownFromX86<T>(OWN_X86(subs_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, uint16_t>) return ownFromX86<T>(OWN_X86(subs_epu16)(ownX86(a), ownX86(b)));
    else if constexpr (std::is_same_v<T, int16_t>) return ownFromX86<T>(OWN_X86(subs_epi16)(ownX86(a), ownX86(b)));
    else
#endif
        if constexpr (std::is_unsigned_v<T>) {
        return (a - b) & ~ownGreater(b, a);
    } else {
        const OwnVec<T> r = a - b;
        const int top = (int)sizeof(T) * 8 - 1;
        const OwnVec<T> limit = ownShiftRight(a, top) ^ ownSet(std::numeric_limits<T>::max());
        return ownSelect(ownShiftRight((a ^ b) & (a ^ r), top), limit, r);
    }
}

/* |a|, the lowest value staying itself. */
template <class T> static inline OwnVec<T> ownAbsWrap(OwnVec<T> a)
{
#ifdef OWN_X86
    if constexpr (sizeof(T) == 1) return ownFromX86<T>(OWN_X86(abs_epi8)(ownX86(a)));
    else if constexpr (sizeof(T) == 2) return ownFromX86<T>(OWN_X86(abs_epi16)(ownX86(a)));
    else return ownFromX86<T>(OWN_X86(abs_epi32)(ownX86(a)));
#else
    const OwnVec<T> sign = ownShiftRight(a, (int)sizeof(T) * 8 - 1);
    return (a + sign) ^ sign;
#endif
}

/* The high half of the product of 16-bit lanes. */
template <class T> static inline OwnVec<T> ownMulHigh(OwnVec<T> a, OwnVec<T> b)
{
    static_assert(sizeof(T) == 2);
#ifdef OWN_X86
    if constexpr (std::is_unsigned_v<T>) return ownFromX86<T>(OWN_X86(mulhi_epu16)(ownX86(a), ownX86(b)));
    else return ownFromX86<T>(OWN_X86(mulhi_epi16)(ownX86(a), ownX86(b)));
#else
    OwnVec<T> r;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) r.v[i] = (T)((int64_t)a.v[i] * b.v[i] >> 16);
    return r;
#endif
}

/* Sums of neighbouring products: lane i is a[2i] b[2i] + a[2i+1] b[2i+1]. */
static inline OwnVec<int32_t> ownMulAdd(OwnVec<int16_t> a, OwnVec<int16_t> b)
{
#ifdef OWN_X86
    return ownFromX86<int32_t>(OWN_X86(madd_epi16)(ownX86(a), ownX86(b)));
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i)
        r.v[i] = (int32_t)((uint32_t)(a.v[2 * i] * b.v[2 * i]) + (uint32_t)(a.v[2 * i + 1] * b.v[2 * i + 1]));
    return r;
#endif
}

/* The products of the low halves of 64-bit lanes. */
static inline OwnVec<uint64_t> ownMulEven(OwnVec<uint32_t> a, OwnVec<uint32_t> b)
{
#ifdef OWN_X86
    return ownFromX86<uint64_t>(OWN_X86(mul_epu32)(ownX86(a), ownX86(b)));
#else
    const OwnVec<uint64_t> low = ownSet<uint64_t>(0xFFFFFFFFu);
    return {(ownAs<uint64_t>(a) & low).v * (ownAs<uint64_t>(b) & low).v};
#endif
}

/* The product of signed 32-bit lanes, held to their range. */
static inline OwnVec<int32_t> ownMulSat(OwnVec<int32_t> a, OwnVec<int32_t> b)
{
    const OwnVec<int32_t> limit = ownShiftRight(a ^ b, 31) ^ ownSet<int32_t>(INT32_MAX);
#ifdef OWN_X86
    const OwnVec<uint64_t> even = ownFromX86<uint64_t>(OWN_X86(mul_epi32)(ownX86(a), ownX86(b)));
    const OwnVec<uint64_t> odd = ownFromX86<uint64_t>(
        OWN_X86(mul_epi32)(OWN_X86(srli_epi64)(ownX86(a), 32), OWN_X86(srli_epi64)(ownX86(b), 32)));
    const OwnVec<uint64_t> lowHalf = ownSet<uint64_t>(0xFFFFFFFFu);
    const OwnVec<int32_t> low = ownAs<int32_t>((even & lowHalf) | OwnVec<uint64_t>{odd.v << 32});
    const OwnVec<int32_t> high = ownAs<int32_t>(OwnVec<uint64_t>{even.v >> 32} | (odd & ~lowHalf));
    return ownSelect(ownEqual(high, ownShiftRight(low, 31)), low, limit);
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i) {
        const int64_t p = (int64_t)a.v[i] * b.v[i];
        r.v[i] = p == (int32_t)p ? (int32_t)p : limit.v[i];
    }
    return r;
#endif
}

/* ---- Wider and narrower -------------------------------------------------------------------------------------- */

/* The type of twice the width. */
template <class T> struct OwnWider;
template <> struct OwnWider<uint8_t> {
    typedef uint16_t Type;
};
template <> struct OwnWider<int8_t> {
    typedef int16_t Type;
};
template <> struct OwnWider<uint16_t> {
    typedef uint32_t Type;
};
template <> struct OwnWider<int16_t> {
    typedef int32_t Type;
};
template <class T> using OwnWide = typename OwnWider<T>::Type;

#ifdef OWN_X86
/* Interleaves lanes of a and b within each 16 bytes: the low, the high eight bytes of them. */
template <class T> static inline OwnVec<T> ownZipLow(OwnVec<T> a, OwnVec<T> b)
{
    if constexpr (sizeof(T) == 1) return ownFromX86<T>(OWN_X86(unpacklo_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (sizeof(T) == 2) return ownFromX86<T>(OWN_X86(unpacklo_epi16)(ownX86(a), ownX86(b)));
    else if constexpr (sizeof(T) == 4) return ownFromX86<T>(OWN_X86(unpacklo_epi32)(ownX86(a), ownX86(b)));
    else return ownFromX86<T>(OWN_X86(unpacklo_epi64)(ownX86(a), ownX86(b)));
}
template <class T> static inline OwnVec<T> ownZipHigh(OwnVec<T> a, OwnVec<T> b)
{
    if constexpr (sizeof(T) == 1) return ownFromX86<T>(OWN_X86(unpackhi_epi8)(ownX86(a), ownX86(b)));
    else if constexpr (sizeof(T) == 2) return ownFromX86<T>(OWN_X86(unpackhi_epi16)(ownX86(a), ownX86(b)));
    else if constexpr (sizeof(T) == 4) return ownFromX86<T>(OWN_X86(unpackhi_epi32)(ownX86(a), ownX86(b)));
    else return ownFromX86<T>(OWN_X86(unpackhi_epi64)(ownX86(a), ownX86(b)));
}
#endif

/* The lanes of a in the wider type, in an order of the backend's own that ownPack undoes. */
template <class T> static inline OwnPair<OwnWide<T>> ownUnpack(OwnVec<T> a)
{
    typedef OwnWide<T> W;
#ifdef OWN_X86
    const OwnVec<T> high = std::is_signed_v<T> ? ownGreater(OwnVec<T>{}, a) : OwnVec<T>{};
    return {ownAs<W>(ownZipLow(a, high)), ownAs<W>(ownZipHigh(a, high))};
#else
    OwnPair<W> r;
    for (ptrdiff_t i = 0; i < OwnVec<W>::lanes; ++i) {
        r.lo.v[i] = (W)a.v[i];
        r.hi.v[i] = (W)a.v[OwnVec<W>::lanes + i];
    }
    return r;
#endif
}

/* Lanes of the signed type of twice the width, held to the range of T and put back into one vector. */
template <class T, class W> static inline OwnVec<T> ownPack(OwnVec<W> lo, OwnVec<W> hi)
{
    static_assert(std::is_signed_v<W> && sizeof(W) == 2 * sizeof(T));
#ifdef OWN_X86
    if constexpr (std::is_same_v<T, uint8_t>) return ownFromX86<T>(OWN_X86(packus_epi16)(ownX86(lo), ownX86(hi)));
    else if constexpr (std::is_same_v<T, int8_t>) return ownFromX86<T>(OWN_X86(packs_epi16)(ownX86(lo), ownX86(hi)));
    else if constexpr (std::is_same_v<T, uint16_t>) return ownFromX86<T>(OWN_X86(packus_epi32)(ownX86(lo), ownX86(hi)));
    else return ownFromX86<T>(OWN_X86(packs_epi32)(ownX86(lo), ownX86(hi)));
#else
    constexpr W low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
    OwnVec<T> r;
    for (ptrdiff_t i = 0; i < OwnVec<W>::lanes; ++i) {
        r.v[i] = (T)(lo.v[i] < low ? low : lo.v[i] > high ? high : lo.v[i]);
        r.v[OwnVec<W>::lanes + i] = (T)(hi.v[i] < low ? low : hi.v[i] > high ? high : hi.v[i]);
    }
    return r;
#endif
}

/* As many samples of T from p on as a vector has lanes of W, in the wider type W. */
template <class W, class T> static inline OwnVec<W> ownLoadWide(const void* p)
{
    typedef T Part __attribute__((vector_size(OWN_VEC_BYTES / (sizeof(W) / sizeof(T))), aligned(1), may_alias));
    return {__builtin_convertvector(*(const Part*)p, typename OwnVec<W>::Raw)};
}

/* The lanes of lo, then those of hi, as lanes of half the width. Each is in the range of T already. */
template <class T, class W> static inline OwnVec<T> ownNarrow(OwnVec<W> lo, OwnVec<W> hi)
{
    const OwnVec<T> packed = ownPack<T>(ownAs<std::make_signed_t<W>>(lo), ownAs<std::make_signed_t<W>>(hi));
#if OWN_VEC_BYTES == 64
    return ownFromX86<T>(_mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), ownX86(packed)));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<T>(_mm256_permute4x64_epi64(ownX86(packed), 0xD8));
#else
    return packed;
#endif
}

/* a times b, held to the range of the lane. */
static inline OwnVec<uint8_t> ownMulSat(OwnVec<uint8_t> a, OwnVec<uint8_t> b)
{
    const OwnPair<uint16_t> x = ownUnpack(a), y = ownUnpack(b);
    const OwnVec<uint16_t> most = ownSet<uint16_t>(255);
    return ownPack<uint8_t>(ownAs<int16_t>(ownMin(x.lo * y.lo, most)), ownAs<int16_t>(ownMin(x.hi * y.hi, most)));
}
static inline OwnVec<int8_t> ownMulSat(OwnVec<int8_t> a, OwnVec<int8_t> b)
{
    const OwnPair<int16_t> x = ownUnpack(a), y = ownUnpack(b);
    return ownPack<int8_t>(x.lo * y.lo, x.hi * y.hi);
}
static inline OwnVec<uint16_t> ownMulSat(OwnVec<uint16_t> a, OwnVec<uint16_t> b)
{
    return (a * b) | ~ownEqual(ownMulHigh(a, b), OwnVec<uint16_t>{});
}
static inline OwnVec<int16_t> ownMulSat(OwnVec<int16_t> a, OwnVec<int16_t> b)
{
#ifdef OWN_X86
    const OwnVec<int16_t> low = a * b, high = ownMulHigh(a, b);
    return ownPack<int16_t>(ownAs<int32_t>(ownZipLow(low, high)), ownAs<int32_t>(ownZipHigh(low, high)));
#else
    const OwnPair<int32_t> x = ownUnpack(a), y = ownUnpack(b);
    return ownPack<int16_t>(x.lo * y.lo, x.hi * y.hi);
#endif
}

/* a p + a q, held to the range of the lane. */
static inline OwnVec<int16_t> ownMulSumSat(OwnVec<int16_t> a, OwnVec<int16_t> p, OwnVec<int16_t> q)
{
#ifdef OWN_X86
    const OwnVec<int16_t> low = ownZipLow(p, q), high = ownZipHigh(p, q);
    return ownPack<int16_t>(ownMulAdd(ownZipLow(a, a), low), ownMulAdd(ownZipHigh(a, a), high));
#else
    const OwnPair<int32_t> x = ownUnpack(a), y = ownUnpack(p), z = ownUnpack(q);
    return ownPack<int16_t>(x.lo * (y.lo + z.lo), x.hi * (y.hi + z.hi));
#endif
}

/* ---- Bytes to other places ------------------------------------------------------------------------------------ */

/* out[i] = in[place[i]] for sixteen bytes; no place is above 15. */
static inline void ownPlaceBytes(uint8_t* out, const uint8_t* in, const uint8_t* place)
{
#ifdef OWN_X86
    _mm_storeu_si128((__m128i*)out,
                     _mm_shuffle_epi8(_mm_loadu_si128((const __m128i*)in), _mm_loadu_si128((const __m128i*)place)));
#else
    uint8_t bytes[16];
    memcpy(bytes, in, 16);
    for (int i = 0; i < 16; ++i) out[i] = bytes[place[i]];
#endif
}

/* The lanes in the opposite order. */
static inline OwnVec<uint8_t> ownTurn(OwnVec<uint8_t> a)
{
#if OWN_VEC_BYTES == 64
    const __m128i turn = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i turned = _mm512_shuffle_epi8(ownX86(a), _mm512_broadcast_i32x4(turn));
    return ownFromX86<uint8_t>(_mm512_shuffle_i64x2(turned, turned, 0x1B));
#elif OWN_VEC_BYTES == 32
    const __m128i turn = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m256i turned = _mm256_shuffle_epi8((__m256i)ownX86(a), _mm256_broadcastsi128_si256(turn));
    return ownFromX86<uint8_t>(_mm256_permute4x64_epi64(turned, 0x4E));
#else
    OwnVec<uint8_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<uint8_t>::lanes; ++i) r.v[i] = a.v[OwnVec<uint8_t>::lanes - 1 - i];
    return r;
#endif
}

/* The bits of each byte in the opposite order: neighbours, then pairs, then halves change places. */
static inline OwnVec<uint8_t> ownTurnBitsOfBytes(OwnVec<uint8_t> a)
{
#if OWN_VEC_BYTES == 32
    const __m128i low = _mm_setr_epi8(0, (char)0x80, 0x40, (char)0xC0, 0x20, (char)0xA0, 0x60, (char)0xE0, 0x10,
                                      (char)0x90, 0x50, (char)0xD0, 0x30, (char)0xB0, 0x70, (char)0xF0);
    const __m128i high = _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
    const __m256i x = (__m256i)ownX86(a), nibble = _mm256_set1_epi8(15);
    return ownFromX86<uint8_t>(_mm256_or_si256(
        _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(low), _mm256_and_si256(x, nibble)),
        _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(high), _mm256_and_si256(_mm256_srli_epi16(x, 4), nibble))));
#else
    const auto change = [](OwnVec<uint8_t> x, int n, uint8_t mask) {
        const OwnVec<uint8_t> kept = ownSet(mask);
        return ownShiftLeft(x & kept, n) | (ownShiftRight(x, n) & kept);
    };
    return change(change(change(a, 1, 0x55), 2, 0x33), 4, 0x0F);
#endif
}

/* sum + the sums of eight lanes of a each. */
static inline OwnVec<uint64_t> ownAddBytes(OwnVec<uint64_t> sum, OwnVec<uint8_t> a)
{
#ifdef OWN_X86
    return sum + ownFromX86<uint64_t>(OWN_X86(sad_epu8)(ownX86(a), ownX86(OwnVec<uint8_t>{})));
#else
    for (ptrdiff_t i = 0; i < OwnVec<uint8_t>::lanes; ++i) sum.v[i >> 3] += a.v[i];
    return sum;
#endif
}

/* ---- Bits ---------------------------------------------------------------------------------------------------- */

/* One lane for each bit from the top bit of the first byte on: all ones for a 1, zeros for a 0. Reads lanes / 8 bytes
 * (lanes of fewer than eight: the high bits of one byte). */
template <class T> static inline OwnVec<T> ownBitLanes(const uint8_t* bits)
{
    typedef std::make_unsigned_t<T> U;
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
#if OWN_VEC_BYTES == 32
    if constexpr (sizeof(T) == 1) {
        int32_t word;
        memcpy(&word, bits, 4);
        const __m256i spread = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2,
                                                3, 3, 3, 3, 3, 3, 3, 3);
        const __m256i place = _mm256_set1_epi64x(0x0102040810204080);
        const __m256i hit = _mm256_and_si256(_mm256_shuffle_epi8(_mm256_set1_epi32(word), spread), place);
        return ownFromX86<T>(_mm256_cmpeq_epi8(hit, place));
    } else if constexpr (sizeof(T) == 2) {
        uint16_t word;
        memcpy(&word, bits, 2);
        const __m256i place = _mm256_setr_epi16(0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1, (short)0x8000, 0x4000, 0x2000,
                                                0x1000, 0x800, 0x400, 0x200, 0x100);
        return ownFromX86<T>(_mm256_cmpeq_epi16(_mm256_and_si256(_mm256_set1_epi16((short)word), place), place));
    } else {
        const __m256i place = _mm256_setr_epi32(0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1);
        return ownFromX86<T>(_mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(bits[0]), place), place));
    }
#else
    OwnVec<U> r;
    for (ptrdiff_t i = 0; i < lanes; ++i) r.v[i] = (U)(0 - (U)(bits[i >> 3] >> (7 - (i & 7)) & 1));
    return ownAs<T>(r);
#endif
    (void)lanes;
    (void)sizeof(U);
}

/* The top bits of all lanes, from the top bit of the first byte on. Writes lanes / 8 bytes. */
static inline void ownStoreSigns(uint8_t* bits, OwnVec<uint8_t> a)
{
#ifdef OWN_X86
    /* The processor puts the first lane lowest: turn each eight lanes around. */
    const __m128i turn = _mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
#if OWN_VEC_BYTES == 64
    const uint64_t word = _mm512_movepi8_mask(_mm512_shuffle_epi8(ownX86(a), _mm512_broadcast_i32x4(turn)));
#elif OWN_VEC_BYTES == 32
    const __m256i turned = _mm256_shuffle_epi8((__m256i)ownX86(a), _mm256_broadcastsi128_si256(turn));
    const uint32_t word = (uint32_t)_mm256_movemask_epi8(turned);
#else
    const uint16_t word = (uint16_t)_mm_movemask_epi8(_mm_shuffle_epi8((__m128i)ownX86(a), turn));
#endif
    memcpy(bits, &word, sizeof(word));
#else
    for (ptrdiff_t i = 0; i < OwnVec<uint8_t>::lanes; i += 8) {
        unsigned byte = 0;
        for (ptrdiff_t j = i; j < i + 8; ++j) byte = byte << 1 | a.v[j] >> 7;
        bits[i >> 3] = (uint8_t)byte;
    }
#endif
}

/* ---- Loops over runs ----------------------------------------------------------------------------------------- */

/* out[i] = f(a[i]), out[i] = f(a[i], b[i]), a vector at a time. out may be a or b: the last vector is computed before
 * the loop and stored after it, so that no sample is done twice. */
template <class T, class F> [[gnu::flatten]] static inline void ownMap(void* out, const void* a, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char* pa = (const char*)a;
    char* po = (char*)out;
    if (n < step) return ownStorePart(po, f(ownLoadPart<T>(pa, n)), n);
    const OwnVec<T> last = f(ownLoad<T>(pa + (n - step) * size));
    ptrdiff_t i = 0;
    for (; i < n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) ownStore(po + j * size, f(ownLoad<T>(pa + j * size)));
    for (; i < n - step; i += step) ownStore(po + i * size, f(ownLoad<T>(pa + i * size)));
    ownStore(po + (n - step) * size, last);
}
template <class T, class F>
[[gnu::flatten]] static inline void ownMap2(void* out, const void* a, const void* b, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char *pa = (const char*)a, *pb = (const char*)b;
    char* po = (char*)out;
    if (n < step) return ownStorePart(po, f(ownLoadPart<T>(pa, n), ownLoadPart<T>(pb, n)), n);
    const OwnVec<T> last = f(ownLoad<T>(pa + (n - step) * size), ownLoad<T>(pb + (n - step) * size));
    ptrdiff_t i = 0;
    for (; i < n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step)
            ownStore(po + j * size, f(ownLoad<T>(pa + j * size), ownLoad<T>(pb + j * size)));
    for (; i < n - step; i += step) ownStore(po + i * size, f(ownLoad<T>(pa + i * size), ownLoad<T>(pb + i * size)));
    ownStore(po + (n - step) * size, last);
}

/* out[i] = f of a[i], the samples of out being of another size; f makes a vector of out from the samples at p. out and a
 * must not overlap. */
template <class D, class S, class F>
[[gnu::flatten]] static inline void ownMapTo(void* out, const void* a, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<D>::lanes, from = (ptrdiff_t)sizeof(S), to = (ptrdiff_t)sizeof(D);
    const char* pa = (const char*)a;
    char* po = (char*)out;
    if (n < step) {
        char part[step * from] = {};
        memcpy(part, pa, (size_t)(n * from));
        return ownStorePart(po, f(part), n);
    }
    for (ptrdiff_t i = 0; i < n - step; i += step) ownStore(po + i * to, f(pa + i * from));
    ownStore(po + (n - step) * to, f(pa + (n - step) * from));
}

/* Bit i of out is whether f(a[i]) is all ones or zero. Of the last byte the spare bits are undefined. */
template <class S, class F>
[[gnu::flatten]] static inline void ownMapToBits(uint8_t* out, const void* a, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OWN_VEC_BYTES, size = (ptrdiff_t)sizeof(S), lanes = OwnVec<S>::lanes;
    typedef std::make_signed_t<S> I;
    const auto signs = [=](const char* p) {
        const auto part = [=](ptrdiff_t i) { return ownAs<I>(f(ownLoad<S>(p + i * lanes * size))); };
        if constexpr (size == 1) return ownAs<uint8_t>(part(0));
        else if constexpr (size == 2) return ownAs<uint8_t>(ownNarrow<int8_t>(part(0), part(1)));
        else
            return ownAs<uint8_t>(
                ownNarrow<int8_t>(ownNarrow<int16_t>(part(0), part(1)), ownNarrow<int16_t>(part(2), part(3))));
    };
    const char* pa = (const char*)a;
    ptrdiff_t i = 0;
    for (; i <= n - step; i += step) ownStoreSigns(out + (i >> 3), signs(pa + i * size));
    if (i == n) return;
    char part[step * size] = {};
    uint8_t bits[step / 8];
    memcpy(part, pa + i * size, (size_t)((n - i) * size));
    ownStoreSigns(bits, signs(part));
    memcpy(out + (i >> 3), bits, (size_t)((n - i + 7) >> 3));
}

/* out[i] = f(lane of bit i: all ones or zero). */
template <class D, class F>
[[gnu::flatten]] static inline void ownMapBits(void* out, const uint8_t* bits, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<D>::lanes < 8 ? 8 : OwnVec<D>::lanes, size = (ptrdiff_t)sizeof(D);
    char* po = (char*)out;
    const auto expand = [=](char* to, const uint8_t* from) {
        if constexpr (OwnVec<D>::lanes >= 8) ownStore(to, f(ownBitLanes<D>(from)));
        else {
            const uint8_t low = (uint8_t)(*from << 4);
            ownStore(to, f(ownBitLanes<D>(from)));
            ownStore(to + OWN_VEC_BYTES, f(ownBitLanes<D>(&low)));
        }
    };
    ptrdiff_t i = 0;
    for (; i <= n - step; i += step) expand(po + i * size, bits + (i >> 3));
    if (i == n) return;
    char part[step * size];
    uint8_t last[step / 8] = {};
    memcpy(last, bits + (i >> 3), (size_t)((n - i + 7) >> 3));
    expand(part, last);
    memcpy(po + i * size, part, (size_t)((n - i) * size));
}

#endif
