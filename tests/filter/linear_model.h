/* linear_model: convolution, separable convolution, blur and the fixed filters, each worked out from the samples of one
 * pixel's window, in the order of its rows. Samples and results are integers, or the bits of floats. */
#ifndef TESTS_LINEAR_MODEL_H
#define TESTS_LINEAR_MODEL_H

#include "filter/rank_model.h"

typedef std::vector<int64_t> Samples;

/* A kernel as it is given at creation. */
struct ModelKernel {
    int32_t nCols, nRows, anchorX, anchorY;
    std::vector<int32_t> values; /* or: */
    std::vector<float> reals;
    int32_t nShiftR;
};

/* The window that holds all kernels around a pixel. */
ModelWindow windowOf(const std::vector<ModelKernel>& kernels);

/* 0, 1, 2: sums of 16 bits, of 32 bits, of floats. */
int classOf(const ModelKernel& kernel, uint32_t depth);

/* What the convolution of a window is; noMethod: one kernel whose combine method plays no part. */
int64_t convolved(const Samples& samples, const ModelWindow& window, uint32_t depth,
                  const std::vector<ModelKernel>& kernels, int32_t method, bool noMethod);

/* x: one row, y: one column. */
int64_t convolvedSep(const Samples& samples, uint32_t depth, const ModelKernel& x, const ModelKernel& y);

int64_t blurred(const Samples& samples, uint32_t depth);

/* The window is 3 by 3 or 5 by 5, as fixedSize says. */
int32_t fixedSize(int32_t filter);
int64_t fixedFiltered(const Samples& samples, uint32_t depth, int32_t filter);

#endif
