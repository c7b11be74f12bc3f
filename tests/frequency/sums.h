/* sums: the transforms as they are defined, in long double, and the way from images to numbers and back, written apart
 * from the library. */
#ifndef TESTS_SUMS_H
#define TESTS_SUMS_H

#include "support/support.h"

#include <complex>

typedef long double Real;
typedef std::complex<Real> Complex;

/* A rectangle of numbers, row after row. */
template <class T> struct Grid {
    int32_t width, height;
    std::vector<T> at;
    Grid(int32_t w, int32_t h) : width(w), height(h), at((size_t)w * h) {}
    T& operator()(int32_t x, int32_t y) { return at[(size_t)y * width + x]; }
    T operator()(int32_t x, int32_t y) const { return at[(size_t)y * width + x]; }
};

/* out[u, v] = sum of in[x, y] exp(sign 2 pi i (u x / W + v y / H)). */
Grid<Complex> fourierSums(const Grid<Complex>& in, int sign);

/* The packed half of a spectrum, and the whole of a packed one. */
Grid<Real> packSpectrum(const Grid<Complex>& whole);
Grid<Complex> unpackSpectrum(const Grid<Real>& packed);

/* The orthonormal cosine transform, and its transpose. */
Grid<Real> cosineSums(const Grid<Real>& in, bool isForward);

/* What of an image takes part: the clipped region, and the channels. */
struct Part {
    int32_t x, y, width, height;
    std::vector<int32_t> channels;
};
Part partOf(const VekImage& image);

/* A sample as the number it is. */
Real numberAt(const VekImage& image, const uint8_t* block, int32_t x, int32_t y, int32_t channel);

/* One channel of the top-left width by height of a part. */
Grid<Real> readPart(const TestImage& image, const Part& part, int32_t channel, int32_t width, int32_t height);

/* What a depth makes of a number: held to its range, then chopped. */
Real stored(uint32_t depth, Real x);

/* Fills with numbers of a size that suits the depth and leaves room for sums, or with whole bytes at random. */
void fillTame(TestImage& image, Random& random, double size);

/* Expects of an image what it was before, but for `expected` in the given channels of a part's top left, each within
 * its slack before it is stored. Returns the first difference as a text. */
std::string differenceFromGrids(const TestImage& image, const std::vector<uint8_t>& before, const Part& part,
                                const std::vector<Grid<Real>>& expected, const std::vector<Real>& slack);

/* Random headers for a transform of up to `most` by `most`. */
struct Draw {
    Random& random;
    int32_t most;
    ImageSpec spec(const std::vector<uint32_t>& depths);
    void roi(TestImage& image, int32_t coi);
};

#endif
