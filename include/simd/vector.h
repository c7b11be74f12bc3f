/* simd/vector.h: vectors of samples: loading and storing, arithmetic and logic. */
#ifndef OWN_SIMD_VECTOR_H
#define OWN_SIMD_VECTOR_H

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

/* The same lanes, in a register from here on. Otherwise a compiler may load what is used twice in a loop at each use. */
template <class T> static inline OwnVec<T> ownKeep(OwnVec<T> a)
{
#ifdef OWN_X86
    asm("" : "+x"(a.v));
#endif
    return a;
}

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

/* Asks for the lines of `nBytes` bytes that lie `ahead` bytes ahead of p in a stream, whether or not they are there. For
 * loops that read or write in bursts, between which the processor's own prefetch falls behind. */
template <int nBytes, int ahead = 1536> static inline void ownPrefetch(const void* p)
{
    for (int i = 0; i < nBytes; i += 64) __builtin_prefetch((const void*)((uintptr_t)p + ahead + i));
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

/* Whether no bit is set. */
static inline bool ownIsZero(OwnVec<uint8_t> a)
{
#if OWN_VEC_BYTES == 64
    return _mm512_test_epi64_mask(ownX86(a), ownX86(a)) == 0;
#elif OWN_VEC_BYTES == 32
    return _mm256_testz_si256(ownX86(a), ownX86(a));
#elif defined(OWN_X86)
    return _mm_testz_si128(ownX86(a), ownX86(a));
#else
    const OwnVec<uint64_t> words = ownAs<uint64_t>(a);
    return (words.v[0] | words.v[1]) == 0;
#endif
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

/* a where the top bit of the byte of mask is set, b where it is not. */
static inline OwnVec<uint8_t> ownSelectTop(OwnVec<uint8_t> mask, OwnVec<uint8_t> a, OwnVec<uint8_t> b)
{
#if OWN_VEC_BYTES == 64
    return ownFromX86<uint8_t>(_mm512_mask_blend_epi8(_mm512_movepi8_mask(ownX86(mask)), ownX86(b), ownX86(a)));
#elif defined(OWN_X86)
    return ownFromX86<uint8_t>(OWN_X86(blendv_epi8)(ownX86(b), ownX86(a), ownX86(mask)));
#else
    return ownSelect(ownGreater(OwnVec<int8_t>{}, ownAs<int8_t>(mask)), a, b);
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
    else if constexpr (std::is_same_v<T, double>) return ownFromX86<T>(OWN_X86(min_pd)(a.v, b.v));
    else
#endif
        return ownSelect(ownGreater(b, a), a, b);
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
    else if constexpr (std::is_same_v<T, double>) return ownFromX86<T>(OWN_X86(max_pd)(a.v, b.v));
    else
#endif
        return ownSelect(ownGreater(a, b), a, b);
}

/* Shifts of every lane by n bits, n below the lane's width: left, dropping high bits; right, by the sign of T. */
template <class T> static inline OwnVec<T> ownShiftLeft(OwnVec<T> a, int n)
{
#ifdef OWN_X86
    if (sizeof(T) > 1 && __builtin_constant_p(n)) return {(typename OwnVec<T>::Raw)((OwnWrapRaw<T>)a.v << n)};
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
    if (sizeof(T) > 1 && __builtin_constant_p(n)) return {a.v >> n};
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

/* Sums of neighbouring products of bytes and signed bytes, held to 16 bits: lane i is a[2i] b[2i] + a[2i+1] b[2i+1]. */
static inline OwnVec<int16_t> ownMulAddSat(OwnVec<uint8_t> a, OwnVec<int8_t> b)
{
#ifdef OWN_X86
    return ownFromX86<int16_t>(OWN_X86(maddubs_epi16)(ownX86(a), ownX86(b)));
#else
    OwnVec<int16_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<int16_t>::lanes; ++i) {
        const int sum = a.v[2 * i] * b.v[2 * i] + a.v[2 * i + 1] * b.v[2 * i + 1];
        r.v[i] = (int16_t)(sum < INT16_MIN ? INT16_MIN : sum > INT16_MAX ? INT16_MAX : sum);
    }
    return r;
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

#endif
