#include "bench.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <vector>

enum { largeWidth = 1920, largeHeight = 1080, smallSize = 16 };

/* ---- Images -------------------------------------------------------------------------------------------------- */

static void stopUnless(bool test, const char* text)
{
    if (test) return;
    fprintf(stderr, "bench: %s\n", text);
    exit(1);
}

/* Random bytes, or floats; from 64 KiB on they repeat. */
static void fillRandom(VekImage* image)
{
    const int32_t nBytes = image->imageSize, nRandom = std::min<int32_t>(nBytes, 1 << 16);
    uint8_t* out = image->imageData;
    std::minstd_rand random(7);
    if (image->depth == VEK_DEPTH_32F) {
        std::uniform_real_distribution<float> samples(0.5f, 1.5f);
        std::generate((float*)out, (float*)out + nRandom / 4, [&] { return samples(random); });
    } else {
        std::generate(out, out + nRandom, [&] { return (uint8_t)(random() >> 8); });
    }
    for (int32_t i = nRandom; i < nBytes; i += nRandom) memcpy(out + i, out, (size_t)std::min(nRandom, nBytes - i));
}

BenchImage benchImage(int32_t nChannels, uint32_t depth, int32_t width, int32_t height)
{
    const bool isGrey = nChannels == 1;
    BenchImage image(vekCreateImageHeader(nChannels, 0, depth, isGrey ? "GRAY" : "RGB ", isGrey ? "G   " : "BGR ",
                                          VEK_DATA_ORDER_PIXEL, VEK_ORIGIN_TOP_LEFT, 8, width, height, nullptr, nullptr,
                                          nullptr, nullptr));
    stopUnless(image != nullptr, "no memory");
    if (depth == VEK_DEPTH_32F) vekAllocateImageFP(image.get(), 0, 0);
    else vekAllocateImage(image.get(), 0, 0);
    stopUnless(image->imageData != nullptr, "no memory");
    fillRandom(image.get());
    return image;
}

/* The half plane above the diagonal from the lower left. */
static BenchImage halfMask(int32_t width, int32_t height)
{
    BenchImage mask = benchImage(1, VEK_DEPTH_1U, width, height);
    memset(mask->imageData, 0, (size_t)mask->imageSize);
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width * (height - y) / height; ++x)
            mask->imageData[y * mask->widthStep + x / 8] |= (uint8_t)(0x80 >> x % 8);
    return mask;
}

/* ---- Measuring ----------------------------------------------------------------------------------------------- */

typedef std::chrono::steady_clock Clock;

static double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void benchMeasure(benchmark::State& state, const std::function<void()>& call, void* to, const void* from, size_t nBytes,
                  double nSamples)
{
    vekSetErrMode(VEK_ErrorModeNoReport);
    vekSetErrStatus(VEK_StatusOk);
    const int nCalls = (int)std::max<size_t>(1, (1 << 17) / nBytes);
    double bestCall = 1e9, bestCopy = 1e9;
    for (auto _ : state) {
        (void)_;
        Clock::time_point start = Clock::now();
        for (int i = 0; i < nCalls; ++i) {
            memcpy(to, from, nBytes);
            benchmark::ClobberMemory();
        }
        bestCopy = std::min(bestCopy, secondsSince(start) / nCalls);
        start = Clock::now();
        for (int i = 0; i < nCalls; ++i) call();
        const double seconds = secondsSince(start) / nCalls;
        bestCall = std::min(bestCall, seconds);
        state.SetIterationTime(seconds * nCalls);
    }
    if (vekGetErrStatus() != VEK_StatusOk) state.SkipWithError(vekErrorStr(vekGetErrStatus()));
    state.counters["ns"] = bestCall * 1e9;
    state.counters["samples/s"] = nSamples / bestCall;
    state.counters["ratio"] = bestCall / bestCopy;
}

/* ---- Point operations ---------------------------------------------------------------------------------------- */

enum Shape { WHOLE, PLACE, CHANNEL, HALF, RANDOM, BITS, SMALL, SHAPES };
static const char* const shapeNames[SHAPES] = {"whole", "place", "channel", "half", "random", "bits", "small"};

static void runPoint(benchmark::State& state, Shape shape, int nSources, uint32_t depth, const BenchCall& call)
{
    const int32_t nChannels = shape == CHANNEL ? 3 : 1;
    const int32_t width = shape == SMALL ? smallSize : largeWidth, height = shape == SMALL ? smallSize : largeHeight;
    const BenchImage a = benchImage(nChannels, depth, width, height), b = benchImage(nChannels, depth, width, height);
    const BenchImage dst = benchImage(nChannels, depth, width, height);
    BenchImage mask;
    VekROI channel = {2, 0, 0, width, height};
    VekROI bits[3] = {{0, 3, 0, width - 8, height}, {0, 5, 0, width - 8, height}, {0, 1, 0, width - 8, height}};
    if (shape == CHANNEL) a->roi = b->roi = dst->roi = &channel;
    if (shape == BITS) a->roi = &bits[0], b->roi = &bits[1], dst->roi = &bits[2];
    if (shape == HALF) mask = halfMask(width, height);
    if (shape == RANDOM) mask = benchImage(1, VEK_DEPTH_1U, width, height);
    dst->maskROI = mask.get();
    const VekImage* src = shape == PLACE ? dst.get() : a.get();
    const VekImage* second = nSources == 2 ? b.get() : nullptr;
    benchMeasure(
        state, [&] { call(src, second, dst.get()); }, dst->imageData, a->imageData, (size_t)dst->imageSize,
        (double)width * height);
}

static std::string depthName(uint32_t depth)
{
    return std::to_string(depth & ~VEK_DEPTH_SIGN) + (depth & VEK_DEPTH_SIGN   ? "S"
                                                      : depth == VEK_DEPTH_32F ? "F"
                                                                               : "U");
}

void benchPoint(const char* family, const char* operation, int nSources, const std::vector<uint32_t>& depths,
                const BenchCall& call)
{
    for (const uint32_t depth : depths)
        for (int shape = 0; shape < SHAPES; ++shape) {
            if (depth == VEK_DEPTH_1U ? shape == CHANNEL : shape == BITS) continue;
            const std::string name = std::string(family) + "/" + operation + "/" + depthName(depth) + "/" +
                                     shapeNames[shape];
            benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                runPoint(state, (Shape)shape, nSources, depth, call);
            })->UseManualTime();
        }
}
