/* simd/runs.h: loops over runs. */
#ifndef OWN_SIMD_RUNS_H
#define OWN_SIMD_RUNS_H

#include "pick.h"

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
