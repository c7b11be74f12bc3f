/* ownextremum.h: the larger and the smaller of two, of samples and of bits. */
#ifndef OWNEXTREMUM_H
#define OWNEXTREMUM_H

#include "own.h"
#include "ownsimd.h"

/* A sample type, its extremum of two, and the value that is no extremum of anything. */
template <class T> struct OwnLeast {
    typedef T Sample;
    static OwnVec<T> of(OwnVec<T> a, OwnVec<T> b) { return ownMin(a, b); }
    static T one(T a, T b) { return a < b ? a : b; }
    static constexpr T neutral = std::numeric_limits<T>::max();
};
template <class T> struct OwnMost {
    typedef T Sample;
    static OwnVec<T> of(OwnVec<T> a, OwnVec<T> b) { return ownMax(a, b); }
    static T one(T a, T b) { return a > b ? a : b; }
    static constexpr T neutral = std::numeric_limits<T>::min();
};
/* Eight bits to a sample: the smaller bit is the AND, the larger one the OR. */
struct OwnAllBits {
    typedef uint8_t Sample;
    static OwnVec<uint8_t> of(OwnVec<uint8_t> a, OwnVec<uint8_t> b) { return a & b; }
    static OwnVec<uint64_t> of64(OwnVec<uint64_t> a, OwnVec<uint64_t> b) { return a & b; }
    static uint8_t one(uint8_t a, uint8_t b) { return a & b; }
    static constexpr uint8_t neutral = 0xFF;
};
struct OwnAnyBit {
    typedef uint8_t Sample;
    static OwnVec<uint8_t> of(OwnVec<uint8_t> a, OwnVec<uint8_t> b) { return a | b; }
    static OwnVec<uint64_t> of64(OwnVec<uint64_t> a, OwnVec<uint64_t> b) { return a | b; }
    static uint8_t one(uint8_t a, uint8_t b) { return a | b; }
    static constexpr uint8_t neutral = 0;
};

#endif
