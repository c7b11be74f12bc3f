/* bench: the support for measuring point operations. Each is timed in turn with a memcpy of the destination's bytes,
 * call for call, so that both see the same machine; what counts is the best time of either.
 *
 * Names are family/operation/depth/shape. Counters: ns, the time of a call; samples/s; ratio, to the memcpy. */
#ifndef BENCH_H
#define BENCH_H

#include "vek.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/* An image that releases itself, filled with random samples; floats lie between 0.5 and 1.5. */
struct BenchRelease {
    void operator()(VekImage* image) const { vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }
};
typedef std::unique_ptr<VekImage, BenchRelease> BenchImage;
BenchImage benchImage(int32_t nChannels, uint32_t depth, int32_t width, int32_t height);

/* Times a call against a copy of nBytes from one block to another. The copy comes before each call, so an operation in
 * place on `to` finds the bytes of `from`. */
void benchMeasure(benchmark::State& state, const std::function<void()>& call, void* to, const void* from, size_t nBytes,
                  double nSamples);

/* An operation on one source (b is null) or two. */
typedef std::function<void(const VekImage* a, const VekImage* b, VekImage* dst)> BenchCall;

/* Registers an operation of images that agree in depth, at each of the depths, in all shapes:
 *   whole     1920 x 1080, apart              random  masked, every other bit by chance
 *   place     the same, over the source       bits    1-bit only: three different places in a byte
 *   channel   one of three channels           small   16 x 16
 *   half      masked, a slanting half plane */
void benchPoint(const char* family, const char* operation, int nSources, const std::vector<uint32_t>& depths,
                const BenchCall& call);

#endif
