/* simd/bits.h: bits to lanes and back. */
#ifndef OWN_SIMD_BITS_H
#define OWN_SIMD_BITS_H

#include "sums.h"

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

/* The place of the n-th 1 of a word, from 0 and from the lowest bit on; the word has more than n of them. */
static inline int ownNthOne(uint64_t word, int n)
{
#if defined(__BMI2__) && defined(__x86_64__)
    return (int)_tzcnt_u64(_pdep_u64((uint64_t)1 << n, word));
#else
    for (; n > 0; --n) word &= word - 1;
    return __builtin_ctzll(word);
#endif
}

#endif
