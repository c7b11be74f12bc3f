/* simd/channels.h: pixels taken apart into planes, and put together. */
#ifndef OWN_SIMD_CHANNELS_H
#define OWN_SIMD_CHANNELS_H

#include "convert.h"

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

#endif
