/* Spectra: the Fourier and cosine transforms by size, their first call with its tables apart from later ones, the
 * product of spectra, and the error by length. Transforms are held against a memcpy of four bytes a sample. */
#include "bench.h"

#include <math.h>

#include <complex>
#include <random>

typedef std::pair<int32_t, int32_t> Size;
static const Size sizes[] = {{256, 256},   {512, 512},   {1000, 1000}, {997, 991},
                             {1024, 1024}, {1920, 1080}, {2048, 2048}};

static std::string sizeName(const Size& size) { return std::to_string(size.first) + "x" + std::to_string(size.second); }

static void add(const std::string& name, const std::function<void(benchmark::State&)>& run)
{
    benchmark::RegisterBenchmark(("frequency/" + name).c_str(), run)->UseManualTime();
}

/* A call on images of two depths, beside a copy of floats. */
typedef std::function<void(VekImage* a, VekImage* b)> Call;

static void runTransform(benchmark::State& state, const Size& size, uint32_t aDepth, uint32_t bDepth, const Call& call)
{
    const BenchImage a = benchImage(1, aDepth, size.first, size.second),
                     b = benchImage(1, bDepth, size.first, size.second);
    const BenchImage from = benchImage(1, VEK_DEPTH_32F, size.first, size.second);
    const BenchImage to = benchImage(1, VEK_DEPTH_32F, size.first, size.second);
    const double nSamples = (double)size.first * size.second;
    benchMeasure(
        state, [&] { call(a.get(), b.get()); }, to->imageData, from->imageData, (size_t)nSamples * 4, nSamples);
}

/* ---- Fourier --------------------------------------------------------------------------------------------------- */

static void addFourier(uint32_t depth, const std::string& depthName, const Size& size)
{
    const std::string shape = depthName + "/" + sizeName(size);
    add("vekRealFft2D/" + shape, [=](benchmark::State& state) {
        runTransform(state, size, depth, VEK_DEPTH_32F,
                     [](VekImage* a, VekImage* b) { vekRealFft2D(a, b, VEK_FFT_FORWARD); });
    });
    add("vekCcsFft2D/" + shape, [=](benchmark::State& state) {
        runTransform(state, size, depth, VEK_DEPTH_32F,
                     [](VekImage* a, VekImage* b) { vekCcsFft2D(b, a, VEK_FFT_INVERSE); });
    });
    add("vekRealFft2D-first/" + shape, [=](benchmark::State& state) {
        runTransform(state, size, depth, VEK_DEPTH_32F, [](VekImage* a, VekImage* b) {
            vekRealFft2D(nullptr, nullptr, VEK_FFT_RELEASE);
            vekRealFft2D(a, b, VEK_FFT_FORWARD);
        });
    });
}

static void runProduct(benchmark::State& state, const Size& size)
{
    const BenchImage third = benchImage(1, VEK_DEPTH_32F, size.first, size.second);
    runTransform(state, size, VEK_DEPTH_32F, VEK_DEPTH_32F,
                 [&](VekImage* a, VekImage* b) { vekMpyRCPack2D(a, b, third.get()); });
}

/* ---- Cosine ---------------------------------------------------------------------------------------------------- */

/* Every block of 8 by 8 in a picture, a call each. */
static void runBlocks(benchmark::State& state, int32_t direction)
{
    const Size size = {1024, 1024};
    runTransform(state, size, VEK_DEPTH_16S, VEK_DEPTH_16S, [=](VekImage* a, VekImage* b) {
        VekROI roi = {0, 0, 0, 8, 8};
        a->roi = b->roi = &roi;
        for (roi.yOffset = 0; roi.yOffset < size.second; roi.yOffset += 8)
            for (roi.xOffset = 0; roi.xOffset < size.first; roi.xOffset += 8) vekDCT2D(a, b, direction);
        a->roi = b->roi = nullptr;
    });
}

static void addCosine(const Size& size)
{
    for (const auto& [name, direction] :
         {std::pair("vekDCT2D", VEK_DCT_FORWARD), std::pair("vekDCT2D-inverse", VEK_DCT_INVERSE)}) {
        const int32_t flags = direction;
        add(std::string(name) + "/16S/" + sizeName(size), [=](benchmark::State& state) {
            runTransform(state, size, VEK_DEPTH_16S, VEK_DEPTH_16S,
                         [=](VekImage* a, VekImage* b) { vekDCT2D(a, b, flags); });
        });
    }
}

/* ---- Error ----------------------------------------------------------------------------------------------------- */

/* Root mean square of the difference from the sums in long double, relative: of a row of n random numbers. */
static double errorOf(int32_t n, const float* in, const float* packed)
{
    const long double step = 2 * 3.14159265358979323846264338327950288L / n;
    std::vector<std::complex<long double>> roots((size_t)n);
    for (int32_t k = 0; k < n; ++k) roots[k] = {cosl(step * k), -sinl(step * k)};
    long double less = 0, all = 0;
    for (int32_t k = 0; k <= n / 2; ++k) {
        std::complex<long double> sum = 0;
        for (int64_t j = 0; j < n; ++j) sum += (long double)in[j] * roots[j * k % n];
        const std::complex<long double> got = {packed[k ? 2 * k - 1 : 0], k && 2 * k < n ? packed[2 * k] : 0};
        less += std::norm(got - sum);
        all += std::norm(sum);
    }
    return (double)sqrtl(less / all);
}

static void runError(benchmark::State& state, int32_t n)
{
    runTransform(state, {n, 1}, VEK_DEPTH_32F, VEK_DEPTH_32F,
                 [](VekImage* a, VekImage* b) { vekRealFft2D(a, b, VEK_FFT_FORWARD); });
    const BenchImage in = benchImage(1, VEK_DEPTH_32F, n, 1), out = benchImage(1, VEK_DEPTH_32F, n, 1);
    vekSubtractSFP(in.get(), in.get(), 1, 0); /* without the mean, which would outweigh all else */
    vekRealFft2D(in.get(), out.get(), VEK_FFT_FORWARD);
    state.counters["error"] = errorOf(n, (const float*)in->imageData, (const float*)out->imageData);
}

static const bool areRegistered = [] {
    for (const Size& size : sizes) {
        addFourier(VEK_DEPTH_32F, "32F", size);
        addFourier(VEK_DEPTH_8U, "8U", size);
        add("vekMpyRCPack2D/32F/" + sizeName(size), [=](benchmark::State& state) { runProduct(state, size); });
    }
    for (const Size& size : {Size(500, 500), Size(512, 512), Size(1080, 1920)}) addCosine(size);
    add("vekDCT2D-blocks/16S/8x8", [](benchmark::State& state) { runBlocks(state, VEK_DCT_FORWARD); });
    add("vekDCT2D-blocks-inverse/16S/8x8", [](benchmark::State& state) { runBlocks(state, VEK_DCT_INVERSE); });
    for (const int32_t n : {2,   3,   5,   8,    16,   49,   59,   64,   100,  127,  128, 256,
                            512, 729, 997, 1000, 1024, 1080, 1920, 2048, 3125, 4093, 4096})
        add("error/32F/" + std::to_string(n), [=](benchmark::State& state) { runError(state, n); });
    return true;
}();
