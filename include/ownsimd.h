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

/* Asks for the lines of `nBytes` bytes that lie a while ahead of p in a stream, whether or not they are there. For loops
 * that read or write in bursts, between which the processor's own prefetch falls behind. */
template <int nBytes> static inline void ownPrefetch(const void* p)
{
    for (int i = 0; i < nBytes; i += 64) __builtin_prefetch((const void*)((uintptr_t)p + 1536 + i));
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
/* Interleaves lanes of a and b within each 16 bytes: the low, the high eight bytes of them. (Other backends: of the whole
 * vector. In any case the lanes of the one word, then those of the other, come in the order of ownUnpack.) */
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
#else
template <class T> static inline OwnVec<T> ownZipLow(OwnVec<T> a, OwnVec<T> b)
{
    OwnVec<T> r;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) r.v[i] = i & 1 ? b.v[i / 2] : a.v[i / 2];
    return r;
}
template <class T> static inline OwnVec<T> ownZipHigh(OwnVec<T> a, OwnVec<T> b)
{
    OwnVec<T> r;
    for (ptrdiff_t i = 0, half = OwnVec<T>::lanes / 2; i < 2 * half; ++i)
        r.v[i] = i & 1 ? b.v[half + i / 2] : a.v[half + i / 2];
    return r;
}
#endif

/* Lanes of a and b in turn, in an order of the backend's own that ownPack of what is made of neighbours undoes. */
template <class T> static inline OwnPair<T> ownZip(OwnVec<T> a, OwnVec<T> b)
{
#ifdef OWN_X86
    return {ownZipLow(a, b), ownZipHigh(a, b)};
#else
    constexpr ptrdiff_t half = OwnVec<T>::lanes / 2;
    OwnPair<T> r;
    for (ptrdiff_t i = 0; i < half; ++i) {
        r.lo.v[2 * i] = a.v[i];
        r.lo.v[2 * i + 1] = b.v[i];
        r.hi.v[2 * i] = a.v[half + i];
        r.hi.v[2 * i + 1] = b.v[half + i];
    }
    return r;
#endif
}

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
#if OWN_VEC_BYTES == 32
    /* compilers widen halves and join them */
    const auto half = [=] { return _mm_loadu_si128((const __m128i*)p); };
    if constexpr (sizeof(T) == 1 && sizeof(W) == 2)
        return ownFromX86<W>(std::is_signed_v<T> ? _mm256_cvtepi8_epi16(half()) : _mm256_cvtepu8_epi16(half()));
    else if constexpr (sizeof(T) == 2 && sizeof(W) == 4 && std::is_integral_v<W>)
        return ownFromX86<W>(std::is_signed_v<T> ? _mm256_cvtepi16_epi32(half()) : _mm256_cvtepu16_epi32(half()));
    else if constexpr (std::is_same_v<T, uint8_t> && sizeof(W) == 4 && std::is_integral_v<W>)
        return ownFromX86<W>(_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)p)));
#endif
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

/* ---- Integers and floating point ------------------------------------------------------------------------------- */

/* 32-bit integers as floats, rounded to nearest-even. */
static inline OwnVec<float> ownToFloat(OwnVec<int32_t> a)
{
#ifdef OWN_X86
    return ownFromX86<float>(OWN_X86(cvtepi32_ps)(ownX86(a)));
#else
    return {__builtin_convertvector(a.v, OwnVec<float>::Raw)};
#endif
}

#ifndef OWN_X86
/* A number without a fraction as an integer; beyond the range, and for what is no number, the lowest one. */
static inline int32_t ownWhole(double a) { return a >= -2147483648.0 && a <= 2147483647.0 ? (int32_t)a : INT32_MIN; }
#endif

/* Floats to 32-bit integers: to nearest-even by the rounding in force, or toward zero. Numbers beyond the range, and what
 * is no number, give the lowest integer. */
static inline OwnVec<int32_t> ownNearest(OwnVec<float> a)
{
#ifdef OWN_X86
    return ownFromX86<int32_t>(OWN_X86(cvtps_epi32)(a.v));
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i) r.v[i] = ownWhole(__builtin_rintf(a.v[i]));
    return r;
#endif
}
static inline OwnVec<int32_t> ownChop(OwnVec<float> a)
{
#ifdef OWN_X86
    return ownFromX86<int32_t>(OWN_X86(cvttps_epi32)(a.v));
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i) r.v[i] = ownWhole(__builtin_truncf(a.v[i]));
    return r;
#endif
}

/* The lower and the upper half of the lanes as doubles. */
static inline OwnPair<double> ownToDouble(OwnVec<int32_t> a)
{
    OwnPair<double> r;
#if OWN_VEC_BYTES == 64
    r.lo.v = _mm512_cvtepi32_pd(_mm512_castsi512_si256((__m512i)ownX86(a)));
    r.hi.v = _mm512_cvtepi32_pd(_mm512_extracti32x8_epi32((__m512i)ownX86(a), 1));
#elif OWN_VEC_BYTES == 32
    r.lo.v = _mm256_cvtepi32_pd(_mm256_castsi256_si128((__m256i)ownX86(a)));
    r.hi.v = _mm256_cvtepi32_pd(_mm256_extracti128_si256((__m256i)ownX86(a), 1));
#elif defined(OWN_X86)
    r.lo.v = _mm_cvtepi32_pd((__m128i)ownX86(a));
    r.hi.v = _mm_cvtepi32_pd(_mm_unpackhi_epi64((__m128i)ownX86(a), (__m128i)ownX86(a)));
#else
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.lo.v[i] = a.v[i];
        r.hi.v[i] = a.v[OwnVec<double>::lanes + i];
    }
#endif
    return r;
}
static inline OwnPair<double> ownToDouble(OwnVec<float> a)
{
    OwnPair<double> r;
#if OWN_VEC_BYTES == 64
    r.lo.v = _mm512_cvtps_pd(_mm512_castps512_ps256(a.v));
    r.hi.v = _mm512_cvtps_pd(_mm512_extractf32x8_ps(a.v, 1));
#elif OWN_VEC_BYTES == 32
    r.lo.v = _mm256_cvtps_pd(_mm256_castps256_ps128(a.v));
    r.hi.v = _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1));
#elif defined(OWN_X86)
    r.lo.v = _mm_cvtps_pd(a.v);
    r.hi.v = _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v));
#else
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.lo.v[i] = a.v[i];
        r.hi.v[i] = a.v[OwnVec<double>::lanes + i];
    }
#endif
    return r;
}

/* And back: rounded to the nearest float; toward zero, as above. */
static inline OwnVec<float> ownToFloat(OwnPair<double> a)
{
#if OWN_VEC_BYTES == 64
    return {_mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(a.lo.v)), _mm512_cvtpd_ps(a.hi.v), 1)};
#elif OWN_VEC_BYTES == 32
    return {_mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(a.lo.v)), _mm256_cvtpd_ps(a.hi.v), 1)};
#elif defined(OWN_X86)
    return {_mm_movelh_ps(_mm_cvtpd_ps(a.lo.v), _mm_cvtpd_ps(a.hi.v))};
#else
    OwnVec<float> r;
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.v[i] = (float)a.lo.v[i];
        r.v[OwnVec<double>::lanes + i] = (float)a.hi.v[i];
    }
    return r;
#endif
}
static inline OwnVec<int32_t> ownChop(OwnPair<double> a)
{
#if OWN_VEC_BYTES == 64
    return ownFromX86<int32_t>(
        _mm512_inserti32x8(_mm512_castsi256_si512(_mm512_cvttpd_epi32(a.lo.v)), _mm512_cvttpd_epi32(a.hi.v), 1));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<int32_t>(
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(a.lo.v)), _mm256_cvttpd_epi32(a.hi.v), 1));
#elif defined(OWN_X86)
    return ownFromX86<int32_t>(_mm_unpacklo_epi64(_mm_cvttpd_epi32(a.lo.v), _mm_cvttpd_epi32(a.hi.v)));
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.v[i] = ownWhole(__builtin_trunc(a.lo.v[i]));
        r.v[OwnVec<double>::lanes + i] = ownWhole(__builtin_trunc(a.hi.v[i]));
    }
    return r;
#endif
}

/* ---- Channels: pixels taken apart and put together --------------------------------------------------------------- */

/* The channels of as many pixels as a vector has lanes. */
template <class T> struct OwnTriple {
    OwnVec<T> a, b, c;
};
template <class T> struct OwnQuad {
    OwnVec<T> a, b, c, d;
};

/* A vector's 16-byte parts, which lie `step` bytes apart in memory; of stores that overlap the later part stays. */
static inline OwnVec<uint8_t> ownLoadParts(const void* from, ptrdiff_t step)
{
    const char* p = (const char*)from;
#if OWN_VEC_BYTES == 64
    __m512i r = _mm512_castsi128_si512(_mm_loadu_si128((const __m128i_u*)p));
    r = _mm512_inserti32x4(r, _mm_loadu_si128((const __m128i_u*)(p + step)), 1);
    r = _mm512_inserti32x4(r, _mm_loadu_si128((const __m128i_u*)(p + 2 * step)), 2);
    return ownFromX86<uint8_t>(_mm512_inserti32x4(r, _mm_loadu_si128((const __m128i_u*)(p + 3 * step)), 3));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<uint8_t>(_mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i_u*)p)),
                                                       _mm_loadu_si128((const __m128i_u*)(p + step)), 1));
#else
    (void)step;
    return ownLoad<uint8_t>(p);
#endif
}
static inline void ownStoreParts(void* to, ptrdiff_t step, OwnVec<uint8_t> a)
{
    char* p = (char*)to;
#if OWN_VEC_BYTES == 64
    const __m512i v = (__m512i)ownX86(a);
    _mm_storeu_si128((__m128i_u*)p, _mm512_castsi512_si128(v));
    _mm_storeu_si128((__m128i_u*)(p + step), _mm512_extracti32x4_epi32(v, 1));
    _mm_storeu_si128((__m128i_u*)(p + 2 * step), _mm512_extracti32x4_epi32(v, 2));
    _mm_storeu_si128((__m128i_u*)(p + 3 * step), _mm512_extracti32x4_epi32(v, 3));
#elif OWN_VEC_BYTES == 32
    const __m256i v = (__m256i)ownX86(a);
    _mm_storeu_si128((__m128i_u*)p, _mm256_castsi256_si128(v));
    _mm_storeu_si128((__m128i_u*)(p + step), _mm256_extracti128_si256(v, 1));
#else
    (void)step;
    ownStore(p, a);
#endif
}

#ifdef OWN_X86
/* Bytes of each 16-byte part in another order: byte i is the order[i]-th of its part, 0 where that is 0x80. */
struct OwnOrder {
    uint8_t of[16];
};
static inline OwnVec<uint8_t> ownShuffle(OwnVec<uint8_t> a, const OwnOrder& order)
{
    const __m128i parts = _mm_loadu_si128((const __m128i_u*)order.of);
#if OWN_VEC_BYTES == 64
    return ownFromX86<uint8_t>(_mm512_shuffle_epi8((__m512i)ownX86(a), _mm512_broadcast_i32x4(parts)));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<uint8_t>(_mm256_shuffle_epi8((__m256i)ownX86(a), _mm256_broadcastsi128_si256(parts)));
#else
    return ownFromX86<uint8_t>(_mm_shuffle_epi8((__m128i)ownX86(a), parts));
#endif
}

/* The orders that take channel `channel` out of 16-byte part `part` of three, and that put it there. */
template <int size> static constexpr OwnOrder ownTakeOrder(int channel, int part)
{
    OwnOrder order = {};
    for (int i = 0; i < 16; ++i) {
        const int from = (i / size * 3 + channel) * size + i % size;
        order.of[i] = (uint8_t)(from / 16 == part ? from % 16 : 0x80);
    }
    return order;
}
template <int size> static constexpr OwnOrder ownPutOrder(int channel, int part)
{
    OwnOrder order = {};
    for (int i = 0; i < 16; ++i) {
        const int sample = (16 * part + i) / size;
        order.of[i] = (uint8_t)(sample % 3 == channel ? sample / 3 * size + i % size : 0x80);
    }
    return order;
}

/* One channel from three parts; one part from three channels. */
template <class T, int channel>
static inline OwnVec<T> ownTakeChannel(OwnVec<uint8_t> p, OwnVec<uint8_t> q, OwnVec<uint8_t> r)
{
    constexpr int size = (int)sizeof(T);
    static constexpr OwnOrder order[3] = {ownTakeOrder<size>(channel, 0), ownTakeOrder<size>(channel, 1),
                                          ownTakeOrder<size>(channel, 2)};
    return ownAs<T>(ownShuffle(p, order[0]) | ownShuffle(q, order[1]) | ownShuffle(r, order[2]));
}
template <class T, int part> static inline OwnVec<uint8_t> ownPutChannels(OwnVec<T> a, OwnVec<T> b, OwnVec<T> c)
{
    constexpr int size = (int)sizeof(T);
    static constexpr OwnOrder order[3] = {ownPutOrder<size>(0, part), ownPutOrder<size>(1, part),
                                          ownPutOrder<size>(2, part)};
    return ownShuffle(ownAs<uint8_t>(a), order[0]) | ownShuffle(ownAs<uint8_t>(b), order[1]) |
           ownShuffle(ownAs<uint8_t>(c), order[2]);
}

/* The orders that bring the samples of each channel in 16 bytes together, four bytes a channel, and back. */
template <int size> static constexpr OwnOrder ownGroupOrder()
{
    OwnOrder order = {};
    for (int i = 0; i < 16; ++i) order.of[i] = (uint8_t)((i % 4 / size * 4 + i / 4) * size + i % size);
    return order;
}
template <int size> static constexpr OwnOrder ownUngroupOrder()
{
    OwnOrder order = {};
    for (int i = 0; i < 16; ++i) order.of[ownGroupOrder<size>().of[i]] = (uint8_t)i;
    return order;
}

/* Rows of four 32-bit lanes become columns, in each 16-byte part. */
static inline OwnQuad<uint32_t> ownTransposeParts(OwnQuad<uint32_t> x)
{
    const OwnVec<uint64_t> p = ownAs<uint64_t>(ownZipLow(x.a, x.b)), q = ownAs<uint64_t>(ownZipHigh(x.a, x.b));
    const OwnVec<uint64_t> r = ownAs<uint64_t>(ownZipLow(x.c, x.d)), s = ownAs<uint64_t>(ownZipHigh(x.c, x.d));
    return {ownAs<uint32_t>(ownZipLow(p, r)), ownAs<uint32_t>(ownZipHigh(p, r)), ownAs<uint32_t>(ownZipLow(q, s)),
            ownAs<uint32_t>(ownZipHigh(q, s))};
}
#endif

/* Pixels of three samples (four): lane i of a, b, c (and d) is the first, second, third (fourth) sample of pixel i. Reads
 * and writes as many pixels as there are lanes, at any address. */
template <class T> static inline OwnTriple<T> ownLoad3(const void* pixels)
{
#ifdef OWN_X86
    const char* in = (const char*)pixels;
    const OwnVec<uint8_t> p = ownLoadParts(in, 48), q = ownLoadParts(in + 16, 48), r = ownLoadParts(in + 32, 48);
    return {ownTakeChannel<T, 0>(p, q, r), ownTakeChannel<T, 1>(p, q, r), ownTakeChannel<T, 2>(p, q, r)};
#else
    T in[3 * OwnVec<T>::lanes];
    memcpy(in, pixels, sizeof(in));
    OwnTriple<T> x;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
        x.a.v[i] = in[3 * i];
        x.b.v[i] = in[3 * i + 1];
        x.c.v[i] = in[3 * i + 2];
    }
    return x;
#endif
}
template <class T> static inline void ownStore3(void* pixels, OwnVec<T> a, OwnVec<T> b, OwnVec<T> c)
{
#ifdef OWN_X86
    char* out = (char*)pixels;
    ownStoreParts(out, 48, ownPutChannels<T, 0>(a, b, c));
    ownStoreParts(out + 16, 48, ownPutChannels<T, 1>(a, b, c));
    ownStoreParts(out + 32, 48, ownPutChannels<T, 2>(a, b, c));
#else
    T out[3 * OwnVec<T>::lanes];
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
        out[3 * i] = a.v[i];
        out[3 * i + 1] = b.v[i];
        out[3 * i + 2] = c.v[i];
    }
    memcpy(pixels, out, sizeof(out));
#endif
}
template <class T> static inline OwnQuad<T> ownLoad4(const void* pixels)
{
#ifdef OWN_X86
    const char* in = (const char*)pixels;
    OwnVec<uint8_t> p = ownLoadParts(in, 64), q = ownLoadParts(in + 16, 64), r = ownLoadParts(in + 32, 64),
                    s = ownLoadParts(in + 48, 64);
    if constexpr (sizeof(T) < 4) {
        static constexpr OwnOrder order = ownGroupOrder<(int)sizeof(T)>();
        p = ownShuffle(p, order);
        q = ownShuffle(q, order);
        r = ownShuffle(r, order);
        s = ownShuffle(s, order);
    }
    const OwnQuad<uint32_t> x = ownTransposeParts(
        {ownAs<uint32_t>(p), ownAs<uint32_t>(q), ownAs<uint32_t>(r), ownAs<uint32_t>(s)});
    return {ownAs<T>(x.a), ownAs<T>(x.b), ownAs<T>(x.c), ownAs<T>(x.d)};
#else
    T in[4 * OwnVec<T>::lanes];
    memcpy(in, pixels, sizeof(in));
    OwnQuad<T> x;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
        x.a.v[i] = in[4 * i];
        x.b.v[i] = in[4 * i + 1];
        x.c.v[i] = in[4 * i + 2];
        x.d.v[i] = in[4 * i + 3];
    }
    return x;
#endif
}
template <class T> static inline void ownStore4(void* pixels, OwnVec<T> a, OwnVec<T> b, OwnVec<T> c, OwnVec<T> d)
{
#ifdef OWN_X86
    const OwnQuad<uint32_t> x = ownTransposeParts(
        {ownAs<uint32_t>(a), ownAs<uint32_t>(b), ownAs<uint32_t>(c), ownAs<uint32_t>(d)});
    OwnVec<uint8_t> p = ownAs<uint8_t>(x.a), q = ownAs<uint8_t>(x.b), r = ownAs<uint8_t>(x.c), s = ownAs<uint8_t>(x.d);
    if constexpr (sizeof(T) < 4) {
        static constexpr OwnOrder order = ownUngroupOrder<(int)sizeof(T)>();
        p = ownShuffle(p, order);
        q = ownShuffle(q, order);
        r = ownShuffle(r, order);
        s = ownShuffle(s, order);
    }
    char* out = (char*)pixels;
    ownStoreParts(out, 64, p);
    ownStoreParts(out + 16, 64, q);
    ownStoreParts(out + 32, 64, r);
    ownStoreParts(out + 48, 64, s);
#else
    T out[4 * OwnVec<T>::lanes];
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
        out[4 * i] = a.v[i];
        out[4 * i + 1] = b.v[i];
        out[4 * i + 2] = c.v[i];
        out[4 * i + 3] = d.v[i];
    }
    memcpy(pixels, out, sizeof(out));
#endif
}

/* Doubles to 32-bit integers, to nearest-even; what is out of their range gives the lowest integer. */
static inline OwnVec<int32_t> ownNearest(OwnPair<double> a)
{
#if OWN_VEC_BYTES == 64
    return ownFromX86<int32_t>(
        _mm512_inserti32x8(_mm512_castsi256_si512(_mm512_cvtpd_epi32(a.lo.v)), _mm512_cvtpd_epi32(a.hi.v), 1));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<int32_t>(
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvtpd_epi32(a.lo.v)), _mm256_cvtpd_epi32(a.hi.v), 1));
#elif defined(OWN_X86)
    return ownFromX86<int32_t>(_mm_unpacklo_epi64(_mm_cvtpd_epi32(a.lo.v), _mm_cvtpd_epi32(a.hi.v)));
#else
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.v[i] = ownWhole(__builtin_rint(a.lo.v[i]));
        r.v[OwnVec<double>::lanes + i] = ownWhole(__builtin_rint(a.hi.v[i]));
    }
    return r;
#endif
}

/* The square root, rounded to nearest. */
static inline OwnVec<float> ownSqrt(OwnVec<float> a)
{
#ifdef OWN_X86
    return {OWN_X86(sqrt_ps)(a.v)};
#else
    OwnVec<float> r;
    for (ptrdiff_t i = 0; i < OwnVec<float>::lanes; ++i) r.v[i] = __builtin_sqrtf(a.v[i]);
    return r;
#endif
}

static inline OwnVec<double> ownSqrt(OwnVec<double> a)
{
#ifdef OWN_X86
    return {OWN_X86(sqrt_pd)(a.v)};
#else
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) a.v[i] = __builtin_sqrt(a.v[i]);
    return a;
#endif
}

/* The root of integers from 0 to 2^17, to the nearest; of greater ones it may be the integer beside it. */
static inline OwnVec<int32_t> ownNearestRoot(OwnVec<int32_t> a)
{
#if OWN_VEC_BYTES == 32
    /* One step from the processor's estimate errs by less than 1 / 10000 here, while an integer's root is at least
     * 1 / 3000 away from the middle of two integers. */
    const OwnVec<float> x = ownToFloat(a), estimate = {_mm256_rsqrt_ps(ownMax(x, ownSet(1.0f)).v)};
    const OwnVec<float> root = {x.v * estimate.v};
    return ownNearest(OwnVec<float>{root.v + (x.v - root.v * root.v) * (estimate.v * ownSet(0.5f).v)});
#else
    return ownNearest(ownSqrt(ownToFloat(a)));
#endif
}

/* ---- Running sums -------------------------------------------------------------------------------------------- */

/* Lane i becomes lane i - n of a; the first n become 0. */
template <int n, class T> static inline OwnVec<T> ownLanesUp(OwnVec<T> a)
{
    constexpr int bytes = n * (int)sizeof(T);
#if OWN_VEC_BYTES == 32
    const __m256i low = _mm256_permute2x128_si256(ownX86(a), ownX86(a), 0x08); /* zeros, the low half */
    if constexpr (bytes == 16) return ownFromX86<T>(low);
    else if constexpr (bytes > 16) return ownFromX86<T>(_mm256_slli_si256(low, bytes - 16));
    else return ownFromX86<T>(_mm256_alignr_epi8(ownX86(a), low, 16 - bytes));
#else
    OwnVec<T> r = {};
    memcpy((char*)&r + bytes, &a, sizeof(r) - bytes);
    return r;
#endif
}

#if OWN_VEC_BYTES == 32
/* An order of lanes within each half of a vector: lane i becomes lane from(i) of its half. */
template <class T> struct OwnHalfOrder {
    alignas(32) uint8_t place[32];
    template <class F> constexpr OwnHalfOrder(F from) : place()
    {
        for (int i = 0; i < 32; ++i)
            place[i] = (uint8_t)(from(i / (int)sizeof(T)) * (int)sizeof(T) + i % (int)sizeof(T));
    }
    OwnVec<T> pick(__m256i a) const
    {
        return ownFromX86<T>(_mm256_shuffle_epi8(a, _mm256_load_si256((const __m256i*)place)));
    }
};
#endif

/* The last n lanes in turn: lane i becomes lane lanes - n + i % n. */
template <int n, class T> static inline OwnVec<T> ownRepeatLast(OwnVec<T> a)
{
    constexpr int lanes = (int)OwnVec<T>::lanes;
#if OWN_VEC_BYTES == 32
    static constexpr OwnHalfOrder<T> order([](int i) { return lanes / 2 - n + i % n; });
    return order.pick(_mm256_permute4x64_epi64(ownX86(a), 0xEE));
#else
    OwnVec<T> r;
    for (int i = 0; i < lanes; ++i) r.v[i] = a.v[lanes - n + i % n];
    return r;
#endif
}

/* The same of a vector whose lanes repeat after n. */
template <int n, class T> static inline OwnVec<T> ownRepeatOn(OwnVec<T> a)
{
    constexpr int lanes = (int)OwnVec<T>::lanes;
    if constexpr (lanes % n == 0) return a;
#if OWN_VEC_BYTES == 32
    else {
        static constexpr OwnHalfOrder<T> order([](int i) {
            int from = 0; /* a lane of the half that has the wanted one's place in the repetition */
            while ((from + i / (lanes / 2) * (lanes / 2)) % n != (lanes - n + i % n) % n) ++from;
            return from;
        });
        return order.pick(ownX86(a));
    }
#else
    else return ownRepeatLast<n>(a);
#endif
}

/* Lane i becomes a[i] + a[i - n] + a[i - 2 n] + ..., over the vectors that came before, too: `before` is theirs, at first
 * zeros. n lanes have 16 bytes at most. */
template <int n, class T> static inline OwnVec<T> ownRunningSum(OwnVec<T> a, OwnVec<T>& before)
{
    constexpr int lanes = (int)OwnVec<T>::lanes;
#if OWN_VEC_BYTES == 32
    if constexpr (lanes / 2 % n == 0) { /* each half by itself, which needs fewer steps across them */
        constexpr int bytes = n * (int)sizeof(T);
        static constexpr OwnHalfOrder<T> last([](int i) { return lanes / 2 - n + i % n; });
        if constexpr (bytes < 16) a = a + ownFromX86<T>(_mm256_slli_si256(ownX86(a), bytes));
        if constexpr (2 * bytes < 16) a = a + ownFromX86<T>(_mm256_slli_si256(ownX86(a), 2 * bytes));
        if constexpr (4 * bytes < 16) a = a + ownFromX86<T>(_mm256_slli_si256(ownX86(a), 4 * bytes));
        if constexpr (8 * bytes < 16) a = a + ownFromX86<T>(_mm256_slli_si256(ownX86(a), 8 * bytes));
        const OwnVec<T> halves = last.pick(ownX86(a));
        const OwnVec<T> r = a + ownFromX86<T>(_mm256_permute2x128_si256(ownX86(halves), ownX86(halves), 0x08)) + before;
        before = before + (halves + ownFromX86<T>(_mm256_permute4x64_epi64(ownX86(halves), 0x4E)));
        return r;
    }
#endif
    a = a + ownLanesUp<n>(a);
    if constexpr (2 * n < lanes) a = a + ownLanesUp<2 * n>(a);
    if constexpr (4 * n < lanes) a = a + ownLanesUp<4 * n>(a);
    if constexpr (8 * n < lanes) a = a + ownLanesUp<8 * n>(a);
    if constexpr (16 * n < lanes) a = a + ownLanesUp<16 * n>(a);
    const OwnVec<T> r = a + before;
    before = ownRepeatLast<n>(a) + ownRepeatOn<n>(before);
    return r;
}

/* ---- Sums of products ---------------------------------------------------------------------------------------- */

/* a b + c, rounded once. */
static inline float ownMulAddOnce(float a, float b, float c)
{
#ifdef __FMA__
    return __builtin_fmaf(a, b, c);
#else
    /* The product is exact in double. Its sum with c is rounded to odd: the last bit is set where the sum was not exact,
     * so that the step to float sees on which side of a tie the true sum lies. */
    const double p = (double)a * b, s = p + c, back = s - p, lost = (p - (s - back)) + (c - back);
    uint64_t bits;
    memcpy(&bits, &s, 8);
    if (lost != 0 && s - s == 0 && !(bits & 1)) {
        bits += (lost > 0) == (s > 0) ? 1 : -1;
        double odd;
        memcpy(&odd, &bits, 8);
        return (float)odd;
    }
    return (float)s;
#endif
}
static inline OwnVec<float> ownMulAddOnce(OwnVec<float> a, OwnVec<float> b, OwnVec<float> c)
{
#if defined(__FMA__) && defined(OWN_X86)
    return {OWN_X86(fmadd_ps)(a.v, b.v, c.v)};
#else
    OwnVec<float> r;
    for (ptrdiff_t i = 0; i < OwnVec<float>::lanes; ++i) r.v[i] = ownMulAddOnce(a.v[i], b.v[i], c.v[i]);
    return r;
#endif
}

/* The sixteen bytes from p on, as often as a vector has room for them. */
static inline OwnVec<uint8_t> ownRepeat16(const void* p)
{
#if OWN_VEC_BYTES == 64
    return ownFromX86<uint8_t>(_mm512_broadcast_i32x4(_mm_loadu_si128((const __m128i*)p)));
#elif OWN_VEC_BYTES == 32
    return ownFromX86<uint8_t>(_mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)p)));
#else
    return ownLoad<uint8_t>(p);
#endif
}

/* In each sixteen lanes: of a's lanes the one that the low four bits of place name; 0 where place is negative. */
static inline OwnVec<uint8_t> ownPick16(OwnVec<uint8_t> a, OwnVec<int8_t> place)
{
#ifdef OWN_X86
    return ownFromX86<uint8_t>(OWN_X86(shuffle_epi8)(ownX86(a), ownX86(place)));
#else
    OwnVec<uint8_t> r;
    for (ptrdiff_t i = 0; i < OWN_VEC_BYTES; ++i)
        r.v[i] = place.v[i] < 0 ? 0 : a.v[(i & ~(ptrdiff_t)15) + (place.v[i] & 15)];
    return r;
#endif
}

/* A vector of the bytes of a and then b, from byte `from` on. */
template <int from, class T> static inline OwnVec<T> ownAcrossBoth(OwnVec<T> a, OwnVec<T> b)
{
    static_assert(from > 0 && from < OWN_VEC_BYTES);
#if OWN_VEC_BYTES == 32
    const __m256i middle = _mm256_permute2x128_si256(ownX86(a), ownX86(b), 0x21);
    if constexpr (from < 16) return ownFromX86<T>(_mm256_alignr_epi8(middle, ownX86(a), from));
    else return ownFromX86<T>(_mm256_alignr_epi8(ownX86(b), middle, from - 16));
#else
    uint8_t both[2 * OWN_VEC_BYTES];
    ownStore(both, a);
    ownStore(both + OWN_VEC_BYTES, b);
    return ownLoad<T>(both + from);
#endif
}

/* ---- Fractions of the whole ---------------------------------------------------------------------------------- */

/* a times b, where the highest value stands for 1: (x + (x >> n) + 1) >> n, with x = a * b and n the bits of a sample.
 * 8 bits: the same as (x + 1) * 257 >> 16, since x never reaches 65535. 16 bits: the high half of x, and the carry of
 * low + high + 1. */
static inline OwnVec<uint8_t> ownMulScaled(OwnVec<uint8_t> a, OwnVec<uint8_t> b)
{
    const OwnPair<uint16_t> x = ownUnpack(a), y = ownUnpack(b);
    const OwnVec<uint16_t> one = ownSet<uint16_t>(1), factor = ownSet<uint16_t>(257);
    return ownPack<uint8_t>(ownAs<int16_t>(ownMulHigh(x.lo * y.lo + one, factor)),
                            ownAs<int16_t>(ownMulHigh(x.hi * y.hi + one, factor)));
}
static inline OwnVec<uint16_t> ownMulScaled(OwnVec<uint16_t> a, OwnVec<uint16_t> b)
{
    const OwnVec<uint16_t> high = ownMulHigh(a, b), low = a * b;
    return high - ownEqual(ownMax(low, ~high), low);
}

/* In each four lanes the last of them, four times. */
template <class T> static inline OwnVec<T> ownLastOfFour(OwnVec<T> a)
{
    static_assert(sizeof(T) < 4);
#ifdef OWN_X86
    if constexpr (sizeof(T) == 2)
        return ownFromX86<T>(OWN_X86(shufflelo_epi16)(OWN_X86(shufflehi_epi16)(ownX86(a), 0xFF), 0xFF));
    else {
        static constexpr OwnOrder order = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
        return ownAs<T>(ownShuffle(ownAs<uint8_t>(a), order));
    }
#else
    OwnVec<T> r;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) r.v[i] = a.v[i | 3];
    return r;
#endif
}

/* ---- Four lanes of floats -------------------------------------------------------------------------------------- */

/* Exactly four, on every processor, or four from each of two rows: for sums whose order is stated by fours. */
template <int n> struct OwnRowLanes {
    typedef float Raw __attribute__((vector_size(4 * n)));
    Raw v;
};
typedef OwnRowLanes<4> OwnLane4;
typedef OwnRowLanes<8> OwnLane8;

template <int n> static inline OwnRowLanes<n> operator+(OwnRowLanes<n> a, OwnRowLanes<n> b) { return {a.v + b.v}; }
template <int n> static inline OwnRowLanes<n> operator*(OwnRowLanes<n> a, OwnRowLanes<n> b) { return {a.v * b.v}; }

/* Four samples as floats, rounded to nearest where a float can't hold them; the same of two rows side by side. */
template <class T> static inline OwnLane4 ownLoadLanes(const T* p)
{
#ifdef __SSE4_1__
    if constexpr (sizeof(T) == 1) {
        int32_t bytes;
        memcpy(&bytes, p, 4);
        const __m128i x = _mm_cvtsi32_si128(bytes);
        return {(OwnLane4::Raw)_mm_cvtepi32_ps(std::is_signed_v<T> ? _mm_cvtepi8_epi32(x) : _mm_cvtepu8_epi32(x))};
    } else if constexpr (sizeof(T) == 2) {
        const __m128i x = _mm_loadl_epi64((const __m128i*)p);
        return {(OwnLane4::Raw)_mm_cvtepi32_ps(std::is_signed_v<T> ? _mm_cvtepi16_epi32(x) : _mm_cvtepu16_epi32(x))};
    } else
#endif
    {
        typedef T Four __attribute__((vector_size(4 * sizeof(T)), aligned(1), may_alias));
        return {__builtin_convertvector(*(const Four*)p, OwnLane4::Raw)};
    }
}
template <class T> static inline OwnLane8 ownLoadLanes(const T* p, const T* q)
{
#ifdef __AVX2__
    if constexpr (sizeof(T) == 1) {
        int32_t upper, lower;
        memcpy(&upper, p, 4);
        memcpy(&lower, q, 4);
        const __m128i x = _mm_insert_epi32(_mm_cvtsi32_si128(upper), lower, 1);
        return {
            (OwnLane8::Raw)_mm256_cvtepi32_ps(std::is_signed_v<T> ? _mm256_cvtepi8_epi32(x) : _mm256_cvtepu8_epi32(x))};
    } else if constexpr (sizeof(T) == 2) {
        const __m128i x = _mm_unpacklo_epi64(_mm_loadl_epi64((const __m128i*)p), _mm_loadl_epi64((const __m128i*)q));
        return {(OwnLane8::Raw)_mm256_cvtepi32_ps(std::is_signed_v<T> ? _mm256_cvtepi16_epi32(x)
                                                                      : _mm256_cvtepu16_epi32(x))};
    } else
#endif
    {
        typedef T Four __attribute__((vector_size(4 * sizeof(T)), aligned(1), may_alias));
        const Four upper = *(const Four*)p, lower = *(const Four*)q;
        return {__builtin_convertvector(__builtin_shufflevector(upper, lower, 0, 1, 2, 3, 4, 5, 6, 7), OwnLane8::Raw)};
    }
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

/* ---- Eight floats, four doubles, whatever the processor ------------------------------------------------------- */

/* What a kernel computes with when its algorithm fixes the number of lanes: transforms take a sequence a lane. Raw is
 * used with the plain operators; a vector and a number make the number a vector. One lane is the plain twin. */
template <class T, int n> struct OwnLanes {
    typedef T Real;
    typedef T Raw __attribute__((vector_size(n * sizeof(T))));
    typedef T Loose __attribute__((vector_size(n * sizeof(T)), aligned(1), may_alias)); /* anywhere in memory */
    static constexpr int lanes = n;
};
template <class T> struct OwnLanes<T, 1> {
    typedef T Real;
    typedef T Raw;
    static constexpr int lanes = 1;
};
typedef OwnLanes<float, 8> OwnEight;
typedef OwnLanes<double, 4> OwnFour;

static inline OwnEight::Raw ownLoadEight(const void* p) { return *(const OwnEight::Loose*)p; }
static inline void ownStoreEight(void* p, OwnEight::Raw a) { *(OwnEight::Loose*)p = a; }

/* The lower and the upper four as doubles, and back, rounded to nearest. Compilers convert two at a time from the
 * generic form. */
static inline OwnFour::Raw ownLowFour(OwnEight::Raw a)
{
#ifdef __AVX__
    return (OwnFour::Raw)_mm256_cvtps_pd(_mm256_castps256_ps128((__m256)a));
#else
    return __builtin_convertvector(__builtin_shufflevector(a, a, 0, 1, 2, 3), OwnFour::Raw);
#endif
}
static inline OwnFour::Raw ownHighFour(OwnEight::Raw a)
{
#ifdef __AVX__
    return (OwnFour::Raw)_mm256_cvtps_pd(_mm256_extractf128_ps((__m256)a, 1));
#else
    return __builtin_convertvector(__builtin_shufflevector(a, a, 4, 5, 6, 7), OwnFour::Raw);
#endif
}
static inline OwnEight::Raw ownJoinFours(OwnFour::Raw low, OwnFour::Raw high)
{
#ifdef __AVX__
    return (OwnEight::Raw)_mm256_set_m128(_mm256_cvtpd_ps((__m256d)high), _mm256_cvtpd_ps((__m256d)low));
#else
    typedef OwnLanes<float, 4>::Raw Half;
    return __builtin_shufflevector(__builtin_convertvector(low, Half), __builtin_convertvector(high, Half), 0, 1, 2, 3,
                                   4, 5, 6, 7);
#endif
}

/* Four floats in memory, as doubles. */
static inline OwnFour::Raw ownLoadFour(const void* p)
{
#ifdef __AVX__
    return (OwnFour::Raw)_mm256_cvtps_pd(_mm_loadu_ps((const float*)p));
#else
    return __builtin_convertvector(*(const OwnLanes<float, 4>::Loose*)p, OwnFour::Raw);
#endif
}
static inline void ownStoreFour(void* p, OwnFour::Raw a)
{
#ifdef __AVX__
    _mm_storeu_ps((float*)p, _mm256_cvtpd_ps((__m256d)a));
#else
    *(OwnLanes<float, 4>::Loose*)p = __builtin_convertvector(a, OwnLanes<float, 4>::Raw);
#endif
}

/* Eight 16-bit samples in memory, as floats; and back: held to their range, then chopped. */
static inline OwnEight::Raw ownLoadShorts(const void* p)
{
#ifdef __AVX2__
    return (OwnEight::Raw)_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i*)p)));
#else
    return __builtin_convertvector(*(const OwnLanes<int16_t, 8>::Loose*)p, OwnEight::Raw);
#endif
}
static inline void ownStoreShorts(void* p, OwnEight::Raw a)
{
#ifdef __AVX2__
    const __m256 raised = _mm256_max_ps((__m256)a, _mm256_set1_ps(-32768));
    const __m256i chopped = _mm256_cvttps_epi32(_mm256_min_ps(raised, _mm256_set1_ps(32767)));
    const __m128i low = _mm256_castsi256_si128(chopped), high = _mm256_extracti128_si256(chopped, 1);
    _mm_storeu_si128((__m128i*)p, _mm_packs_epi32(low, high));
#else
    int16_t r[8];
    for (int i = 0; i < 8; ++i) r[i] = (int16_t)(a[i] < -32768 ? -32768 : a[i] > 32767 ? 32767 : a[i]);
    memcpy(p, r, sizeof(r));
#endif
}

/* a0 b0 a1 b1 ..., in two vectors; and back. */
static inline void ownInterleaveEight(OwnEight::Raw a, OwnEight::Raw b, OwnEight::Raw* first, OwnEight::Raw* second)
{
    const OwnEight::Raw low = __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
    const OwnEight::Raw high = __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
    *first = __builtin_shufflevector(low, high, 0, 1, 2, 3, 8, 9, 10, 11);
    *second = __builtin_shufflevector(low, high, 4, 5, 6, 7, 12, 13, 14, 15);
}
static inline void ownDeinterleaveEight(OwnEight::Raw first, OwnEight::Raw second, OwnEight::Raw* a, OwnEight::Raw* b)
{
    const OwnEight::Raw low = __builtin_shufflevector(first, second, 0, 1, 2, 3, 8, 9, 10, 11);
    const OwnEight::Raw high = __builtin_shufflevector(first, second, 4, 5, 6, 7, 12, 13, 14, 15);
    const OwnEight::Raw even = __builtin_shufflevector(low, high, 0, 2, 8, 10, 4, 6, 12, 14);
    const OwnEight::Raw odd = __builtin_shufflevector(low, high, 1, 3, 9, 11, 5, 7, 13, 15);
    *a = even;
    *b = odd;
}

/* Rows become columns, in place. */
static inline void ownTransposeEight(OwnEight::Raw v[8])
{
    OwnEight::Raw a[8], b[8];
    for (int i = 0; i < 8; i += 4) { /* pairs of neighbouring rows, then fours */
        a[i] = __builtin_shufflevector(v[i], v[i + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        a[i + 1] = __builtin_shufflevector(v[i], v[i + 1], 2, 10, 3, 11, 6, 14, 7, 15);
        a[i + 2] = __builtin_shufflevector(v[i + 2], v[i + 3], 0, 8, 1, 9, 4, 12, 5, 13);
        a[i + 3] = __builtin_shufflevector(v[i + 2], v[i + 3], 2, 10, 3, 11, 6, 14, 7, 15);
        b[i] = __builtin_shufflevector(a[i], a[i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        b[i + 1] = __builtin_shufflevector(a[i], a[i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
        b[i + 2] = __builtin_shufflevector(a[i + 1], a[i + 3], 0, 1, 8, 9, 4, 5, 12, 13);
        b[i + 3] = __builtin_shufflevector(a[i + 1], a[i + 3], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int i = 0; i < 4; ++i) { /* and the halves */
        v[i] = __builtin_shufflevector(b[i], b[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        v[i + 4] = __builtin_shufflevector(b[i], b[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

/* The bytes of each lane in the opposite order. */
static inline OwnVec<uint64_t> ownSwapBytes(OwnVec<uint64_t> a)
{
#if OWN_VEC_BYTES == 32
    const __m256i order = _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0,
                                           15, 14, 13, 12, 11, 10, 9, 8);
    return ownFromX86<uint64_t>(_mm256_shuffle_epi8(ownX86(a), order));
#else
    for (ptrdiff_t i = 0; i < OwnVec<uint64_t>::lanes; ++i) a.v[i] = __builtin_bswap64(a.v[i]);
    return a;
#endif
}

/* 64 bits in each lane, the first bit of memory on top; and as they lie in memory. */
static inline OwnVec<uint64_t> ownBitsOrder(OwnVec<uint64_t> a)
{
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ownSwapBytes(a) : a;
}
static inline OwnVec<uint64_t> ownLoadBits(const void* p) { return ownBitsOrder(ownLoad<uint64_t>(p)); }

/* ---- Sums of sixteen bins ------------------------------------------------------------------------------------ */

/* Sixteen counts, whatever the width of a vector; those of one column are bytes in memory. */
typedef uint16_t OwnBins16 __attribute__((vector_size(32)));
typedef uint8_t OwnBins8 __attribute__((vector_size(16)));
typedef uint8_t OwnBins8Loose __attribute__((vector_size(16), aligned(1), may_alias));

static inline OwnBins16 ownBinsLoad(const uint8_t* p)
{
#if OWN_VEC_BYTES == 32
    return (OwnBins16)_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p));
#else
    return __builtin_convertvector(*(const OwnBins8Loose*)p, OwnBins16);
#endif
}

/* a if it holds, otherwise b, without a branch. */
static inline OwnBins16 ownBinsSelect(bool holds, OwnBins16 a, OwnBins16 b)
{
    const OwnBins16 mask = OwnBins16{} - (uint16_t)holds;
    return (a & mask) | (b & ~mask);
}

/* The bytes at `sums` plus those at `come`, or less those at `gone`; null: none. */
static inline void ownBinsStep(uint8_t* sums, const uint8_t* come, const uint8_t* gone)
{
    OwnBins8 x = *(const OwnBins8Loose*)sums;
    if (come) x += *(const OwnBins8Loose*)come;
    if (gone) x -= *(const OwnBins8Loose*)gone;
    *(OwnBins8Loose*)sums = x;
}

/* Of sums that rise: how many are below k (k and the sums below 32768), and the last one of these, 0 if there is none. */
static inline int ownBinsBelow(OwnBins16 sums, int k, int* last)
{
    uint16_t from[17];
    from[0] = 0;
    typedef OwnBins16 Loose __attribute__((aligned(1), may_alias));
    *(Loose*)(from + 1) = sums;
#if OWN_VEC_BYTES == 32
    const __m256i less = _mm256_cmpgt_epi16(_mm256_set1_epi16((short)k), (__m256i)sums);
    const int n = __builtin_popcount((unsigned)_mm256_movemask_epi8(less)) >> 1;
#else
    int n = 0;
    for (int i = 1; i <= 16; ++i) n += from[i] < k;
#endif
    *last = from[n];
    return n;
}

/* ---- Bytes picked by place --------------------------------------------------------------------------------------- */

/* Within each 16 bytes: byte i becomes the byte at place[i] of them, 0 when the top bit of place[i] is set; places are
 * below 16 otherwise. */
static inline OwnVec<uint8_t> ownPickBytes(OwnVec<uint8_t> a, OwnVec<uint8_t> place)
{
#ifdef OWN_X86
    return ownFromX86<uint8_t>(OWN_X86(shuffle_epi8)(ownX86(a), ownX86(place)));
#else
    OwnVec<uint8_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<uint8_t>::lanes; ++i)
        r.v[i] = place.v[i] & 0x80 ? 0 : a.v[(i & ~15) + (place.v[i] & 15)];
    return r;
#endif
}

/* Each 16 bytes of the vector from an address of their own: p + at[0], p + at[1], ... */
static inline OwnVec<uint8_t> ownLoadChunks(const uint8_t* p, const int32_t* at)
{
#if OWN_VEC_BYTES == 32
    const __m128i low = _mm_loadu_si128((const __m128i*)(p + at[0])),
                  high = _mm_loadu_si128((const __m128i*)(p + at[1]));
    return ownFromX86<uint8_t>(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1));
#else
    OwnVec<uint8_t> r;
    for (ptrdiff_t i = 0; i < OWN_VEC_BYTES / 16; ++i) memcpy((uint8_t*)&r + 16 * i, p + at[i], 16);
    return r;
#endif
}

/* The lowest of the lanes. */
static inline int32_t ownLowest(OwnVec<int32_t> a)
{
#ifdef OWN_X86
#if OWN_VEC_BYTES == 64
    return _mm512_reduce_min_epi32((__m512i)ownX86(a));
#else
#if OWN_VEC_BYTES == 32
    const __m256i v = (__m256i)ownX86(a);
    __m128i m = _mm_min_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
#else
    __m128i m = (__m128i)ownX86(a);
#endif
    m = _mm_min_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_min_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
#endif
#else
    int32_t lowest = a.v[0];
    for (ptrdiff_t i = 1; i < OwnVec<int32_t>::lanes; ++i) lowest = a.v[i] < lowest ? a.v[i] : lowest;
    return lowest;
#endif
}

/* ---- Loops over runs ----------------------------------------------------------------------------------------- */

/* out[i] = x. Long runs are left to the processor's block fill, which does not read first what was there. */
template <class T> static inline void ownFill(void* out, T x, ptrdiff_t n)
{
    static_assert(sizeof(T) <= 4);
    ptrdiff_t bytes = n * (ptrdiff_t)sizeof(T);
    char* p = (char*)out;
    const OwnVec<T> all = ownSet(x);
#ifdef OWN_X86
    if (bytes >= 1024) { /* words of the machine, aligned but for the first one */
        size_t word;
        memcpy(&word, &all, sizeof(word));
        const ptrdiff_t head = (ptrdiff_t)(-(uintptr_t)p & 63) / (ptrdiff_t)sizeof(T) * (ptrdiff_t)sizeof(T);
        for (ptrdiff_t i = 0; i < 64; i += OWN_VEC_BYTES) ownStore(p + i, all);
        p += head, bytes -= head;
        size_t count = (size_t)bytes / sizeof(word);
        bytes -= (ptrdiff_t)(count * sizeof(word));
        if constexpr (sizeof(word) == 8) __asm__ volatile("rep stosq" : "+D"(p), "+c"(count) : "a"(word) : "memory");
        else __asm__ volatile("rep stosl" : "+D"(p), "+c"(count) : "a"(word) : "memory");
        memcpy(p, &all, (size_t)bytes);
        return;
    }
#endif
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    if (bytes < step) return (void)memcpy(p, &all, (size_t)bytes);
    for (ptrdiff_t i = 0; i < bytes - step; i += step) ownStore(p + i, all);
    ownStore(p + bytes - step, all);
}

/* The bytes of two runs that are apart, or the same, change places. */
static inline void ownSwap(void* a, void* b, ptrdiff_t nBytes)
{
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    char *p = (char*)a, *q = (char*)b;
    ptrdiff_t i = 0;
    const auto swap = [=](ptrdiff_t at) {
        const OwnVec<uint8_t> x = ownLoad<uint8_t>(p + at), y = ownLoad<uint8_t>(q + at);
        ownStore(p + at, y);
        ownStore(q + at, x);
    };
    for (; i <= nBytes - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) swap(j);
    for (; i <= nBytes - step; i += step) swap(i);
    for (; i < nBytes; ++i) {
        const char x = p[i];
        p[i] = q[i];
        q[i] = x;
    }
}

/* How many samples from p on, less than a vector of them, to an aligned one: vectors that cross a line of the cache are stored
 * in twice the time. 0 where samples lie so that there is none. */
template <class T> static inline ptrdiff_t ownToAligned(const void* p)
{
    const uintptr_t bytes = -(uintptr_t)p & (OWN_VEC_BYTES - 1);
    return bytes % sizeof(T) ? 0 : (ptrdiff_t)(bytes / sizeof(T));
}

/* out[i] = f(a[i]), out[i] = f(a[i], b[i]), a vector at a time. out may be a or b: the first and the last vector are computed
 * before the loop and stored after it, so that no sample is done twice. */
template <class T, class F> [[gnu::flatten]] static inline void ownMap(void* out, const void* a, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char* pa = (const char*)a;
    char* po = (char*)out;
    if (n < step) return ownStorePart(po, f(ownLoadPart<T>(pa, n)), n);
    const OwnVec<T> first = f(ownLoad<T>(pa)), last = f(ownLoad<T>(pa + (n - step) * size));
    ptrdiff_t i = ownToAligned<T>(po);
    for (; i < n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) ownStore(po + j * size, f(ownLoad<T>(pa + j * size)));
    for (; i < n - step; i += step) ownStore(po + i * size, f(ownLoad<T>(pa + i * size)));
    ownStore(po, first);
    ownStore(po + (n - step) * size, last);
}
template <class T, class F>
[[gnu::flatten]] static inline void ownMap2(void* out, const void* a, const void* b, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char *pa = (const char*)a, *pb = (const char*)b;
    char* po = (char*)out;
    if (n < step) return ownStorePart(po, f(ownLoadPart<T>(pa, n), ownLoadPart<T>(pb, n)), n);
    const auto at = [=](ptrdiff_t i) { return f(ownLoad<T>(pa + i * size), ownLoad<T>(pb + i * size)); };
    const OwnVec<T> first = at(0), last = at(n - step);
    ptrdiff_t i = ownToAligned<T>(po);
    for (; i < n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) ownStore(po + j * size, at(j));
    for (; i < n - step; i += step) ownStore(po + i * size, at(i));
    ownStore(po, first);
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
    ownStore(po, f(pa));
    ptrdiff_t i = ownToAligned<D>(po);
    for (; i < n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) ownStore(po + j * to, f(pa + j * from));
    for (; i < n - step; i += step) ownStore(po + i * to, f(pa + i * from));
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
    for (; i <= n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) ownStoreSigns(out + (j >> 3), signs(pa + j * size));
    for (; i <= n - step; i += step) ownStoreSigns(out + (i >> 3), signs(pa + i * size));
    if (i == n) return;
    uint8_t bits[8] = {};
    if (n < step) {
        char part[step * size] = {};
        memcpy(part, pa, (size_t)(n * size));
        ownStoreSigns(bits, signs(part));
        return (void)memcpy(out, bits, (size_t)((n + 7) >> 3));
    }
    /* The bits of the last vector, of which the first ones are stored already. */
    ownStoreSigns(bits, signs(pa + (n - step) * size));
    uint64_t word = 0;
    for (const uint8_t byte : bits) word = word << 8 | byte;
    for (word <<= step - (n - i); i < n; i += 8, word <<= 8) out[i >> 3] = (uint8_t)(word >> 56);
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
    for (; i <= n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) expand(po + j * size, bits + (j >> 3));
    for (; i <= n - step; i += step) expand(po + i * size, bits + (i >> 3));
    if (i == n) return;
    char part[step * size];
    uint8_t last[step / 8] = {};
    memcpy(last, bits + (i >> 3), (size_t)((n - i + 7) >> 3));
    expand(part, last);
    memcpy(po + i * size, part, (size_t)((n - i) * size));
}

#endif
