/* ownplane: samples of every depth as numbers, and back. */
#include "ownplane.h"

/* The step is a constant where samples lie side by side, so that the compiler packs the loop. */
template <class T, class N, class F>
[[gnu::always_inline]] static inline void ownReadEach(N* out, const uint8_t* in, ptrdiff_t step, ptrdiff_t n, F f)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        T x;
        memcpy(&x, in + i * step, sizeof(T));
        out[i] = f(x);
    }
}
template <class T, class N, class F>
[[gnu::always_inline]] static inline void ownWriteEach(uint8_t* out, const N* in, ptrdiff_t step, ptrdiff_t n, F f)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        const T x = f(in[i]);
        memcpy(out + i * step, &x, sizeof(T));
    }
}

template <class T, class N> static void ownReadAs(N* out, const uint8_t* in, ptrdiff_t step, ptrdiff_t n)
{
    const auto widen = [](T x) { return (N)x; };
    if (step == (ptrdiff_t)sizeof(T)) ownReadEach<T>(out, in, (ptrdiff_t)sizeof(T), n, widen);
    else ownReadEach<T>(out, in, step, n, widen);
}

/* Held to the range, then chopped; 32S, whose largest value is no float, takes it from 2^31 on. What is no number gives
 * the lowest value. */
template <class T> static inline T ownChop(float x)
{
    constexpr float low = (float)std::numeric_limits<T>::min();
    if constexpr (sizeof(T) == 4) {
        if (x >= 2147483648.0f) return std::numeric_limits<T>::max();
        return (T)(x > low ? x : low);
    } else {
        constexpr float high = (float)std::numeric_limits<T>::max();
        const float raised = x > low ? x : low;
        return (T)(int32_t)(raised < high ? raised : high);
    }
}
template <> inline float ownChop(float x) { return x; }

template <class T> static void ownWriteReal(uint8_t* out, const float* in, ptrdiff_t step, ptrdiff_t n)
{
    if (step == (ptrdiff_t)sizeof(T)) ownWriteEach<T>(out, in, (ptrdiff_t)sizeof(T), n, ownChop<T>);
    else ownWriteEach<T>(out, in, step, n, ownChop<T>);
}
template <class T> static void ownWriteWhole(uint8_t* out, const int64_t* in, ptrdiff_t step, ptrdiff_t n)
{
    ownWriteEach<T>(out, in, step, n, ownClamp<T, int64_t>);
}

OwnReadReals* const ownReadReals[OWN_DEPTHS] = {
    /*  1U */ nullptr,
    /*  8U */ ownReadAs<uint8_t, float>,
    /*  8S */ ownReadAs<int8_t, float>,
    /* 16U */ ownReadAs<uint16_t, float>,
    /* 16S */ ownReadAs<int16_t, float>,
    /* 32S */ ownReadAs<int32_t, float>,
    /* 32F */ ownReadAs<float, float>,
};
OwnWriteReals* const ownWriteReals[OWN_DEPTHS] = {
    /*  1U */ nullptr,
    /*  8U */ ownWriteReal<uint8_t>,
    /*  8S */ ownWriteReal<int8_t>,
    /* 16U */ ownWriteReal<uint16_t>,
    /* 16S */ ownWriteReal<int16_t>,
    /* 32S */ ownWriteReal<int32_t>,
    /* 32F */ ownWriteReal<float>,
};
OwnReadWholes* const ownReadWholes[OWN_DEPTHS] = {
    /*  1U */ nullptr,
    /*  8U */ ownReadAs<uint8_t, int64_t>,
    /*  8S */ ownReadAs<int8_t, int64_t>,
    /* 16U */ ownReadAs<uint16_t, int64_t>,
    /* 16S */ ownReadAs<int16_t, int64_t>,
    /* 32S */ ownReadAs<int32_t, int64_t>,
    /* 32F */ nullptr,
};
OwnWriteWholes* const ownWriteWholes[OWN_DEPTHS] = {
    /*  1U */ nullptr,
    /*  8U */ ownWriteWhole<uint8_t>,
    /*  8S */ ownWriteWhole<int8_t>,
    /* 16U */ ownWriteWhole<uint16_t>,
    /* 16S */ ownWriteWhole<int16_t>,
    /* 32S */ ownWriteWhole<int32_t>,
    /* 32F */ nullptr,
};
