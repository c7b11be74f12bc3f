/* Warps, turns and other sizes, by interpolation; the destination is 1920 x 1080 or 4096 square. */
#include "bench.h"

namespace {

const struct {
    uint32_t depth;
    int32_t nChannels;
    const char* name;
} kinds[] = {{VEK_DEPTH_8U, 1, "8U"}, {VEK_DEPTH_8U, 3, "8Ux3"}, {VEK_DEPTH_16U, 1, "16U"}, {VEK_DEPTH_1U, 1, "1U"}};

const struct {
    int32_t width, height;
    const char* name;
} sizes[] = {{1920, 1080, "1920x1080"}, {4096, 4096, "4096"}};

const char* const modes[] = {"nearest", "linear", "cubic", "super"};

/* An operation from an image of srcWidth x srcHeight, as fractions of the destination. */
struct Geometry {
    const char* name;
    int32_t part, of; /* the source is part / of the destination's size; 0: turned */
    int nModes;       /* interpolations from nearest on */
    void (*call)(const VekImage* src, VekImage* dst, int32_t interpolate);
};

void rotate30(const VekImage* src, VekImage* dst, int32_t interpolate)
{
    double x = 0, y = 0;
    vekGetRotateShift(dst->width / 2, dst->height / 2, 30, &x, &y);
    vekRotate(src, dst, 30, x, y, interpolate);
}

void perspective(const VekImage* src, VekImage* dst, int32_t interpolate)
{
    const double w = dst->width, h = dst->height;
    const double quad[8] = {-0.05 * w, -0.05 * h, 1.04 * w, 0.1 * h, 0.94 * w, 1.02 * h, 0.03 * w, 1.1 * h};
    vekWarpPerspectiveQ(src, dst, quad, 0, interpolate);
}

void bilinear(const VekImage* src, VekImage* dst, int32_t interpolate)
{
    const double w = dst->width, h = dst->height;
    const double quad[8] = {-0.05 * w, -0.05 * h, 1.04 * w, 0.1 * h, 0.94 * w, 1.02 * h, 0.03 * w, 1.1 * h};
    vekWarpBilinearQ(src, dst, quad, 0, interpolate);
}

template <int32_t to, int32_t from> void resize(const VekImage* src, VekImage* dst, int32_t interpolate)
{
    vekResize(src, dst, to, from, to, from, interpolate);
}

template <int32_t to, int32_t from> void decimate(const VekImage* src, VekImage* dst, int32_t interpolate)
{
    vekDecimate(src, dst, to, from, to, from, interpolate);
}

const Geometry operations[] = {
    {"rotate30", 1, 1, 3, rotate30},
    {"perspective", 1, 1, 3, perspective},
    {"bilinear", 1, 1, 3, bilinear},
    {"quarterTurn", 0, 1, 1,
     [](const VekImage* a, VekImage* d, int32_t m) { vekRotate(a, d, 90, 0, a->width - 1, m); }},
    {"halfTurn", 1, 1, 1,
     [](const VekImage* a, VekImage* d, int32_t m) { vekRotate(a, d, 180, a->width - 1, a->height - 1, m); }},
    {"up2", 1, 2, 3, resize<2, 1>},
    {"up3by2", 2, 3, 3, resize<3, 2>},
    {"down1by2", 2, 1, 4, resize<1, 2>},
    {"down2by3", 3, 2, 4, resize<2, 3>},
    {"down1by7", 7, 1, 4, resize<1, 7>},
    {"decimate2by3", 3, 2, 4, decimate<2, 3>},
};

[[maybe_unused]] const bool areRegistered = [] {
    for (const auto& operation : operations)
        for (const auto& kind : kinds)
            for (const auto& size : sizes)
                for (int32_t mode = 0; mode < operation.nModes; ++mode) {
                    if (kind.depth == VEK_DEPTH_1U && mode > 0 && mode < 3) continue;
                    if (operation.part == 7 && size.width == 4096) continue; /* a source of 800 MB */
                    const std::string name = std::string("geometry/") + operation.name + "/" + kind.name + "/" +
                                             size.name + "/" + modes[mode];
                    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                        const BenchImage dst = benchImage(kind.nChannels, kind.depth, size.width, size.height);
                        const bool isTurned = operation.part == 0;
                        const int32_t width = isTurned ? size.height : size.width * operation.part / operation.of;
                        const int32_t height = isTurned ? size.width : size.height * operation.part / operation.of;
                        const BenchImage src = benchImage(kind.nChannels, kind.depth, width, height);
                        const BenchImage from = benchImage(kind.nChannels, kind.depth, size.width, size.height);
                        benchMeasure(
                            state, [&] { operation.call(src.get(), dst.get(), mode); }, dst->imageData, from->imageData,
                            (size_t)dst->imageSize, (double)size.width * size.height * kind.nChannels);
                    })->UseManualTime();
                }
    return true;
}();

} // namespace
