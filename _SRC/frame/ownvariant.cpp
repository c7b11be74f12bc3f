/* ownvariant: the instruction sets that the library's variant uses, as the compiler's own macros name them. The file
 * is compiled for the variant like all others, but holds data alone: nothing of it runs where the variant is lacking. */
#include "ownplat.h"

enum { OWN_EAX, OWN_EBX, OWN_ECX, OWN_EDX };
enum { OWN_STATE_NONE = 0, OWN_STATE_YMM = 0x06, OWN_STATE_ZMM = 0xe6 };

const OwnNeed ownVariant[] = {
#ifdef __SSE2__
    {"SSE2", 1, OWN_EDX, 26, OWN_STATE_NONE},
#endif
#ifdef __SSE3__
    {"SSE3", 1, OWN_ECX, 0, OWN_STATE_NONE},
#endif
#ifdef __SSSE3__
    {"SSSE3", 1, OWN_ECX, 9, OWN_STATE_NONE},
#endif
#ifdef __SSE4_1__
    {"SSE4.1", 1, OWN_ECX, 19, OWN_STATE_NONE},
#endif
#ifdef __SSE4_2__
    {"SSE4.2", 1, OWN_ECX, 20, OWN_STATE_NONE},
#endif
#ifdef __MOVBE__
    {"MOVBE", 1, OWN_ECX, 22, OWN_STATE_NONE},
#endif
#ifdef __POPCNT__
    {"POPCNT", 1, OWN_ECX, 23, OWN_STATE_NONE},
#endif
#ifdef __AVX__
    {"AVX", 1, OWN_ECX, 28, OWN_STATE_YMM},
#endif
#ifdef __F16C__
    {"F16C", 1, OWN_ECX, 29, OWN_STATE_YMM},
#endif
#ifdef __FMA__
    {"FMA", 1, OWN_ECX, 12, OWN_STATE_YMM},
#endif
#ifdef __LZCNT__
    {"LZCNT", 0x80000001u, OWN_ECX, 5, OWN_STATE_NONE},
#endif
#ifdef __BMI__
    {"BMI1", 7, OWN_EBX, 3, OWN_STATE_NONE},
#endif
#ifdef __BMI2__
    {"BMI2", 7, OWN_EBX, 8, OWN_STATE_NONE},
#endif
#ifdef __AVX2__
    {"AVX2", 7, OWN_EBX, 5, OWN_STATE_YMM},
#endif
#ifdef __AVX512F__
    {"AVX-512F", 7, OWN_EBX, 16, OWN_STATE_ZMM},
#endif
#ifdef __AVX512DQ__
    {"AVX-512DQ", 7, OWN_EBX, 17, OWN_STATE_ZMM},
#endif
#ifdef __AVX512IFMA__
    {"AVX-512IFMA", 7, OWN_EBX, 21, OWN_STATE_ZMM},
#endif
#ifdef __AVX512CD__
    {"AVX-512CD", 7, OWN_EBX, 28, OWN_STATE_ZMM},
#endif
#ifdef __AVX512BW__
    {"AVX-512BW", 7, OWN_EBX, 30, OWN_STATE_ZMM},
#endif
#ifdef __AVX512VL__
    {"AVX-512VL", 7, OWN_EBX, 31, OWN_STATE_ZMM},
#endif
#ifdef __AVX512VBMI__
    {"AVX-512VBMI", 7, OWN_ECX, 1, OWN_STATE_ZMM},
#endif
#ifdef __AVX512VBMI2__
    {"AVX-512VBMI2", 7, OWN_ECX, 6, OWN_STATE_ZMM},
#endif
#ifdef __GFNI__
    {"GFNI", 7, OWN_ECX, 8, OWN_STATE_NONE},
#endif
#ifdef __AVX512VNNI__
    {"AVX-512VNNI", 7, OWN_ECX, 11, OWN_STATE_ZMM},
#endif
#ifdef __AVX512BITALG__
    {"AVX-512BITALG", 7, OWN_ECX, 12, OWN_STATE_ZMM},
#endif
#ifdef __AVX512VPOPCNTDQ__
    {"AVX-512VPOPCNTDQ", 7, OWN_ECX, 14, OWN_STATE_ZMM},
#endif
    {nullptr, 0, 0, 0, 0},
};
