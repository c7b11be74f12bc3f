/* rank_model: the filters of ranks and the morphology, worked out pixel by pixel from the headers alone: every sample of
 * every window is fetched by itself. */
#ifndef TESTS_RANK_MODEL_H
#define TESTS_RANK_MODEL_H

#include "support/support.h"

#include <functional>

/* The rectangle that both images and their masks share, the masks' say on its pixels, and the channels that take part. */
struct SharedArea {
    SharedArea(const VekImage& src, const VekImage& dst);
    bool through(int32_t x, int32_t y) const;

    const VekImage *src, *dst;
    int32_t width, height, xSrc, ySrc, xDst, yDst;
    std::vector<int32_t> srcChannels, dstChannels;
};

/* Sample (x, y) of channel c from 0, inside the image or by its border settings. */
int64_t borderedSample(const VekImage& image, const uint8_t* block, int64_t x, int64_t y, int32_t c);

/* The sample of a rank, from 1 in ascending order, among some. */
int64_t rankOf(std::vector<int64_t> samples, size_t rank);

/* What a filter with a window leaves in dstBlock, made from srcBlock. pick: the result of the window's samples. */
struct ModelWindow {
    int32_t nCols, nRows, anchorX, anchorY;
};
void modelWindow(const SharedArea& area, const uint8_t* srcBlock, uint8_t* dstBlock, const ModelWindow& window,
                 const std::function<int64_t(const std::vector<int64_t>&)>& pick);

/* The same for morphology with one or two passes, the largest sample taken (true), or the smallest. */
void modelMorphology(const SharedArea& area, const uint8_t* srcBlock, uint8_t* dstBlock, int32_t nIterations,
                     const std::vector<bool>& passes);

#endif
