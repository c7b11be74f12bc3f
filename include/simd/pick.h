/* simd/pick.h: bytes picked by place. */
#ifndef OWN_SIMD_PICK_H
#define OWN_SIMD_PICK_H

#include "lanes.h"

/* ---- Bytes picked by place --------------------------------------------------------------------------------------- */

/* Within each 16 bytes: byte i becomes the byte at the place that the low four bits of place[i] name, or 0 when its top bit
 * is set. */
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

/* The sum of the lanes. */
static inline int32_t ownTotal(OwnVec<int32_t> a)
{
#if OWN_VEC_BYTES == 32
    const __m256i v = (__m256i)ownX86(a);
    __m128i m = _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    m = _mm_add_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_add_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
#else
    int32_t total = 0;
    for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i) total += a.v[i];
    return total;
#endif
}

/* The first n lanes all ones, zeros behind. */
template <class T> static inline OwnVec<T> ownFirstLanes(ptrdiff_t n)
{
    OwnVec<T> place;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) place.v[i] = (T)i;
    return ownGreater(ownSet((T)n), place);
}

#endif
