/* model: what a point operation must leave in its destination, worked out sample by sample from the headers alone. It is
 * written apart from the library's frame, plain and slow. */
#ifndef TESTS_MODEL_H
#define TESTS_MODEL_H

#include "support/support.h"

#include <functional>

/* An image of an operation: its pixels, and the size of the tiles in which the operation gets them (0: it has none). */
struct ModelImage {
    TestImage* pixels;
    int32_t tileWidth = 0, tileHeight = 0;
};

/* One sample of the result, from one sample of each source (the second is 0 with one source). Integers as they are,
 * floats by their bits. `depth` is the destination's. */
typedef std::function<int64_t(uint32_t depth, int64_t a, int64_t b)> SampleFunc;

/* The bytes of the destination's block after the operation: the sources, then the destination. An image that stands
 * there twice is used in place. */
std::vector<uint8_t> modelPoint(const std::vector<ModelImage>& images, const SampleFunc& func);

/* The first difference of the destination's block from what it must be, as a text; empty: none. */
std::string differenceFrom(const std::vector<uint8_t>& expected, const TestImage& dst);

#endif
