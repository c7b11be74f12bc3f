/* simd/convert.h: lanes to other widths, other places and other kinds of number. */
#ifndef OWN_SIMD_CONVERT_H
#define OWN_SIMD_CONVERT_H

#include "vector.h"

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

/* The low bytes of the lanes of even and odd in turn. */
static inline OwnVec<uint8_t> ownJoinBytes(OwnVec<int16_t> even, OwnVec<int16_t> odd)
{
#ifdef OWN_X86
    return ownAs<uint8_t>((even & ownSet<int16_t>(255)) | ownShiftLeft(odd, 8));
#else
    OwnVec<uint8_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<uint8_t>::lanes; ++i) r.v[i] = (uint8_t)(i & 1 ? odd.v[i / 2] : even.v[i / 2]);
    return r;
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

/* And back: rounded to the nearest float. */
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

/* Halves of a vector of 32-bit integers, as the processor leaves them, and the same by a function of one double. */
#if OWN_VEC_BYTES == 64
static inline OwnVec<int32_t> ownJoinHalves(__m256i lo, __m256i hi)
{
    return ownFromX86<int32_t>(_mm512_inserti32x8(_mm512_castsi256_si512(lo), hi, 1));
}
#elif OWN_VEC_BYTES == 32
static inline OwnVec<int32_t> ownJoinHalves(__m128i lo, __m128i hi)
{
    return ownFromX86<int32_t>(_mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1));
}
#elif defined(OWN_X86)
static inline OwnVec<int32_t> ownJoinHalves(__m128i lo, __m128i hi)
{
    return ownFromX86<int32_t>(_mm_unpacklo_epi64(lo, hi));
}
#else
template <class F> static inline OwnVec<int32_t> ownJoinHalves(OwnPair<double> a, F f)
{
    OwnVec<int32_t> r;
    for (ptrdiff_t i = 0; i < OwnVec<double>::lanes; ++i) {
        r.v[i] = ownWhole(f(a.lo.v[i]));
        r.v[OwnVec<double>::lanes + i] = ownWhole(f(a.hi.v[i]));
    }
    return r;
}
#endif

/* Doubles to 32-bit integers, toward zero or to nearest-even; what is out of their range gives the lowest integer. */
static inline OwnVec<int32_t> ownChop(OwnPair<double> a)
{
#ifdef OWN_X86
    return ownJoinHalves(OWN_X86(cvttpd_epi32)(a.lo.v), OWN_X86(cvttpd_epi32)(a.hi.v));
#else
    return ownJoinHalves(a, [](double x) { return __builtin_trunc(x); });
#endif
}
static inline OwnVec<int32_t> ownNearest(OwnPair<double> a)
{
#ifdef OWN_X86
    return ownJoinHalves(OWN_X86(cvtpd_epi32)(a.lo.v), OWN_X86(cvtpd_epi32)(a.hi.v));
#else
    return ownJoinHalves(a, [](double x) { return __builtin_rint(x); });
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

#endif
