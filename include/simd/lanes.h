/* simd/lanes.h: vectors of a fixed number of lanes, whatever the processor, and sums of sixteen bins. */
#ifndef OWN_SIMD_LANES_H
#define OWN_SIMD_LANES_H

#include "bits.h"

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

/* Sixteen numbers that wrap, of 8 or 16 bits, whatever the width of a vector. */
template <class U> struct OwnBins {
    typedef U Raw __attribute__((vector_size(16 * sizeof(U))));
    Raw v;
};
typedef uint8_t OwnBinBytes __attribute__((vector_size(16)));
typedef uint8_t OwnBinBytesLoose __attribute__((vector_size(16), aligned(1), may_alias));

/* Sixteen bytes in memory. */
template <class U> static inline OwnBins<U> ownBinsLoad(const uint8_t* p)
{
    if constexpr (sizeof(U) == 1) return {*(const OwnBinBytesLoose*)p};
    else {
#ifdef __AVX2__
        return {(typename OwnBins<U>::Raw)_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p))};
#else
        return {__builtin_convertvector(*(const OwnBinBytesLoose*)p, typename OwnBins<U>::Raw)};
#endif
    }
}

/* The sixteen bytes at `bins` plus those at `come`, less those at `gone`; null: none. */
static inline void ownBinsStep(uint8_t* bins, const uint8_t* come, const uint8_t* gone)
{
    OwnBinBytes x = *(const OwnBinBytesLoose*)bins;
    if (come) x += *(const OwnBinBytesLoose*)come;
    if (gone) x -= *(const OwnBinBytesLoose*)gone;
    *(OwnBinBytesLoose*)bins = x;
}

/* Of lanes that rise as signed numbers, the first one being negative: the last negative one. */
template <class U> static inline int ownBinsLastNegative(OwnBins<U> a)
{
#ifdef OWN_X86
    if constexpr (sizeof(U) == 1) return __builtin_popcount((unsigned)_mm_movemask_epi8((__m128i)a.v)) - 1;
#endif
#ifdef __AVX2__
    if constexpr (sizeof(U) == 2)
        return (__builtin_popcount((unsigned)_mm256_movemask_epi8(_mm256_srai_epi16((__m256i)a.v, 15))) >> 1) - 1;
#endif
    int last = -1;
    for (int i = 0; i < 16; ++i) last += (std::make_signed_t<U>)a.v[i] < 0;
    return last;
}

#endif
