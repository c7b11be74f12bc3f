/* Convolution, separable convolution, blur and the fixed filters: by the window's side, at three depths, with one and with
 * three channels; and on pictures too large for a cache. */
#include "bench.h"

typedef const VekImage* In;
typedef VekImage* Out;

/* Coefficients without any pattern that a kernel could profit from; their sums fit 16 bits at 8U up to 7 by 7. */
static int32_t coefficient(int32_t i) { return (i * 7 + 3) % 11 - 4; }

struct ReleaseKernel {
    void operator()(VekConvKernel* kernel) const { vekDeleteConvKernel(kernel); }
    void operator()(VekConvKernelFP* kernel) const { vekDeleteConvKernelFP(kernel); }
};
typedef std::unique_ptr<VekConvKernel, ReleaseKernel> Kernel;
typedef std::unique_ptr<VekConvKernelFP, ReleaseKernel> KernelFP;

static Kernel kernelOf(int32_t nCols, int32_t nRows, int32_t shift)
{
    std::vector<int32_t> values;
    for (int32_t i = 0; i < nCols * nRows; ++i) values.push_back(coefficient(i));
    return Kernel(vekCreateConvKernel(nCols, nRows, nCols / 2, nRows / 2, values.data(), shift));
}

static void convolve(In a, Out d, int32_t side)
{
    if (a->depth == VEK_DEPTH_32F) {
        std::vector<float> values;
        for (int32_t i = 0; i < side * side; ++i) values.push_back(0.1f * (float)coefficient(i));
        const KernelFP made(vekCreateConvKernelFP(side, side, side / 2, side / 2, values.data()));
        VekConvKernelFP* kernel = made.get();
        return vekConvolve2DFP(a, d, &kernel, 1, COMBINE_ADD);
    }
    const Kernel made = kernelOf(side, side, 4);
    VekConvKernel* kernel = made.get();
    vekConvolve2D(a, d, &kernel, 1, COMBINE_ADD);
}

static void gradient(In a, Out d, int32_t)
{
    const int32_t across[9] = {1, 0, -1, 2, 0, -2, 1, 0, -1}, down[9] = {1, 2, 1, 0, 0, 0, -1, -2, -1};
    const Kernel x(vekCreateConvKernel(3, 3, 1, 1, across, 0)), y(vekCreateConvKernel(3, 3, 1, 1, down, 0));
    VekConvKernel* kernel[2] = {x.get(), y.get()};
    vekConvolve2D(a, d, kernel, 2, COMBINE_ROOT_OF_SQUARES);
}

static void separable(In a, Out d, int32_t side)
{
    const Kernel x = kernelOf(side, 1, 3), y = kernelOf(1, side, 3);
    vekConvolveSep2D(a, d, x.get(), y.get());
}

static void blur(In a, Out d, int32_t side) { vekBlur(a, d, side, side, side / 2, side / 2); }
static void fixedFilter(In a, Out d, int32_t filter) { vekFixedFilter(a, d, filter); }

static const std::vector<uint32_t> integers = {VEK_DEPTH_8U, VEK_DEPTH_16U};
static const std::vector<uint32_t> numbers = {VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_32F};

static const struct {
    const char* name;
    const std::vector<int32_t> sizes; /* the window's side, or the filter's number */
    const std::vector<uint32_t>& depths;
    void (*call)(In, Out, int32_t);
} operations[] = {
    {"vekConvolve2D", {3, 5, 7, 15, 31}, numbers, convolve},
    {"vekConvolve2D-gradient", {3}, integers, gradient},
    {"vekConvolveSep2D", {3, 5, 7, 15, 31}, integers, separable},
    {"vekBlur", {3, 5, 7, 15, 31}, numbers, blur},
    {"vekFixedFilter", {0, 2, 4, 5, 6, 7, 9, 10}, numbers, fixedFilter},
};

static const struct {
    const char* name;
    int32_t nChannels, width, height;
} pictures[] = {{"1ch", 1, 1920, 1080}, {"3ch", 3, 1920, 1080}, {"1ch 4096", 1, 4096, 4096}};

static const bool areRegistered = [] {
    for (const auto& row : operations)
        for (const uint32_t depth : row.depths)
            for (const int32_t size : row.sizes)
                for (const auto& picture : pictures) {
                    const std::string name = std::string("linear/") + row.name + "/" + std::to_string(depth & 63) +
                                             (depth == VEK_DEPTH_32F ? "F/" : "U/") + std::to_string(size) + "/" +
                                             picture.name;
                    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                        const BenchImage a = benchImage(picture.nChannels, depth, picture.width, picture.height);
                        const BenchImage dst = benchImage(picture.nChannels, depth, picture.width, picture.height);
                        benchMeasure(
                            state, [&] { row.call(a.get(), dst.get(), size); }, dst->imageData, a->imageData,
                            (size_t)dst->imageSize, (double)picture.width * picture.height * picture.nChannels);
                    })->UseManualTime();
                }
    return true;
}();
