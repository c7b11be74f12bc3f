/* The words that take pixels apart and put them together, and those between integers and floating point, against plain
 * loops at every start of a vector. */
#include "ownsimd.h"

#include <gtest/gtest.h>

#include <math.h>

#include <vector>

template <class T> class Channels : public testing::Test {
};
typedef testing::Types<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, float> SampleTypes;
TYPED_TEST_SUITE(Channels, SampleTypes, );

/* Samples that all differ, as far as the type can tell. */
template <class T> static std::vector<T> pixels(int nChannels)
{
    std::vector<T> samples((size_t)(nChannels * OwnVec<T>::lanes));
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = (T)(i * 201 + 7);
    return samples;
}

/* The pixels in a block of their own size, so that a sanitizer sees a read or write beyond them, `start` bytes from the
 * begin of it. */
template <class T> static std::vector<char> placed(const std::vector<T>& samples, size_t start)
{
    std::vector<char> block(start + samples.size() * sizeof(T));
    memcpy(block.data() + start, samples.data(), samples.size() * sizeof(T));
    return block;
}

TYPED_TEST(Channels, OfThreeSamples)
{
    typedef TypeParam T;
    const std::vector<T> samples = pixels<T>(3);
    for (size_t start = 0; start < 5; ++start) {
        const std::vector<char> block = placed(samples, start);
        const OwnTriple<T> x = ownLoad3<T>(block.data() + start);
        for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
            ASSERT_EQ(x.a.v[i], samples[3 * i]) << i;
            ASSERT_EQ(x.b.v[i], samples[3 * i + 1]) << i;
            ASSERT_EQ(x.c.v[i], samples[3 * i + 2]) << i;
        }
        std::vector<char> back(block.size());
        memcpy(back.data(), block.data(), start);
        ownStore3(back.data() + start, x.a, x.b, x.c);
        ASSERT_EQ(back, block);
    }
}

TYPED_TEST(Channels, OfFourSamples)
{
    typedef TypeParam T;
    const std::vector<T> samples = pixels<T>(4);
    for (size_t start = 0; start < 5; ++start) {
        const std::vector<char> block = placed(samples, start);
        const OwnQuad<T> x = ownLoad4<T>(block.data() + start);
        for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) {
            ASSERT_EQ(x.a.v[i], samples[4 * i]) << i;
            ASSERT_EQ(x.b.v[i], samples[4 * i + 1]) << i;
            ASSERT_EQ(x.c.v[i], samples[4 * i + 2]) << i;
            ASSERT_EQ(x.d.v[i], samples[4 * i + 3]) << i;
        }
        std::vector<char> back(block.size());
        memcpy(back.data(), block.data(), start);
        ownStore4(back.data() + start, x.a, x.b, x.c, x.d);
        ASSERT_EQ(back, block);
    }
}

/* Numbers around every step of rounding, and beyond the range of an integer. */
static const double numbers[] = {0.0,       0.49,     0.5,       0.51,         1.5,           2.5,
                                 -0.5,      -1.5,     -2.51,     1e6,          -1e6,          255.999,
                                 8388607.5, 16777217, -16777219, 2147483520.0, -2147483648.0, 2147483648.0,
                                 -3e9,      1e30,     -1e30,     INFINITY,     -INFINITY,     NAN};

static int32_t wholeOf(double x) { return x >= -2147483648.0 && x < 2147483648.0 ? (int32_t)x : INT32_MIN; }

TEST(Conversion, FloatsAndDoubles)
{
    for (double number : numbers)
        for (ptrdiff_t lane = 0; lane < OwnVec<float>::lanes; ++lane) {
            OwnVec<float> a = ownSet(3.75f);
            a.v[lane] = (float)number;
            const OwnPair<double> wide = ownToDouble(a);
            const OwnVec<int32_t> nearest = ownNearest(a), chopped = ownChop(a), choppedWide = ownChop(wide);
            const OwnVec<float> back = ownToFloat(wide);
            for (ptrdiff_t i = 0; i < OwnVec<float>::lanes; ++i) {
                const float x = i == lane ? (float)number : 3.75f;
                ASSERT_EQ(nearest.v[i], wholeOf(rint((double)x))) << x;
                ASSERT_EQ(chopped.v[i], wholeOf(trunc((double)x))) << x;
                ASSERT_EQ(choppedWide.v[i], wholeOf(trunc((double)x))) << x;
                ASSERT_EQ(memcmp((const char*)&back + 4 * i, &x, 4), 0) << x;
            }
        }
}

TEST(Conversion, Integers)
{
    const int32_t integers[] = {0, 1, -1, 16777217, -16777219, INT32_MAX, INT32_MIN, 123456789};
    for (int32_t integer : integers)
        for (ptrdiff_t lane = 0; lane < OwnVec<int32_t>::lanes; ++lane) {
            OwnVec<int32_t> a = ownSet(-5);
            a.v[lane] = integer;
            const OwnVec<float> narrow = ownToFloat(a);
            const OwnPair<double> wide = ownToDouble(a);
            const OwnVec<int32_t> back = ownChop(wide);
            for (ptrdiff_t i = 0; i < OwnVec<int32_t>::lanes; ++i) {
                ASSERT_EQ(narrow.v[i], (float)(i == lane ? integer : -5));
                ASSERT_EQ(back.v[i], i == lane ? integer : -5);
            }
        }
}
