/* Ranks and morphology, by the side of their window, on which the cost should hardly depend: whole images of 1920 x 1080, and
 * such as are too large for a cache. */
#include "bench.h"

static const struct {
    uint32_t depth;
    int32_t nChannels;
    int32_t width, height;
    const char *name, *more;
} kinds[] = {
    {VEK_DEPTH_8U, 1, 1920, 1080, "8U", ""},      {VEK_DEPTH_8U, 3, 1920, 1080, "8Ux3", ""},
    {VEK_DEPTH_16U, 1, 1920, 1080, "16U", ""},    {VEK_DEPTH_16U, 3, 1920, 1080, "16Ux3", ""},
    {VEK_DEPTH_32S, 1, 1920, 1080, "32S", ""},    {VEK_DEPTH_1U, 1, 1920, 1080, "1U", ""},
    {VEK_DEPTH_8U, 1, 4096, 4096, "8U", "/4096"},
};

typedef void (*SideCall)(const VekImage* src, VekImage* dst, int32_t side);

template <void (*call)(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t)>
static void callRank(const VekImage* src, VekImage* dst, int32_t side)
{
    call(src, dst, side, side, side / 2, side / 2);
}
template <void (*call)(const VekImage*, VekImage*, int32_t)>
static void callMorphology(const VekImage* src, VekImage* dst, int32_t side)
{
    call(src, dst, side / 2);
}

static const struct {
    const char* name;
    SideCall call;
    bool isMorphology;
} filters[] = {
    {"vekMaxFilter", callRank<vekMaxFilter>, false},       {"vekMinFilter", callRank<vekMinFilter>, false},
    {"vekMedianFilter", callRank<vekMedianFilter>, false}, {"vekErode", callMorphology<vekErode>, true},
    {"vekDilate", callMorphology<vekDilate>, true},        {"vekOpen", callMorphology<vekOpen>, true},
    {"vekClose", callMorphology<vekClose>, true},
};

static const bool areRegistered = [] {
    for (const auto& filter : filters)
        for (const auto& kind : kinds)
            for (const int32_t side : {3, 5, 7, 9, 11, 15, 31}) {
                if (filter.isMorphology && kind.depth == VEK_DEPTH_32S) continue;
                const std::string name = std::string("rank/") + filter.name + "/" + kind.name + "/" +
                                         std::to_string(side) + kind.more;
                benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                    const BenchImage src = benchImage(kind.nChannels, kind.depth, kind.width, kind.height);
                    const BenchImage dst = benchImage(kind.nChannels, kind.depth, kind.width, kind.height);
                    benchMeasure(
                        state, [&] { filter.call(src.get(), dst.get(), side); }, dst->imageData, src->imageData,
                        (size_t)dst->imageSize, (double)kind.width * kind.height * kind.nChannels);
                })->UseManualTime();
            }
    return true;
}();
