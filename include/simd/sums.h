/* simd/sums.h: running sums, sums of products, fractions of the whole. */
#ifndef OWN_SIMD_SUMS_H
#define OWN_SIMD_SUMS_H

#include "channels.h"

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

#endif
