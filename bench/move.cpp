/* Movement, thresholds and norms: each operation at its depths, whole, with a region, under a mask, and on small images. */
#include "bench.h"

#include <algorithm>

typedef const VekImage* In;
typedef VekImage* Out;

/* What a call is measured with. */
enum MoveShape { WHOLE, REGION, RANDOM, BITS, SMALL, MOVE_SHAPES };
static const char* const moveShapeNames[MOVE_SHAPES] = {"whole", "region", "random", "bits", "small"};
enum {
    ANY_SHAPE = 1 << WHOLE | 1 << REGION | 1 << RANDOM | 1 << BITS | 1 << SMALL,
    ALL_OF_IT = 1 << WHOLE | 1 << SMALL
};

struct MoveBench {
    std::string name;
    uint32_t srcDepth, dstDepth;
    int32_t nChannels;
    int shapes;
    bool reduces; /* against a copy of the source's bytes */
    BenchCall call;
};

/* Bytes of the samples of width x height pixels. */
static size_t blockBytes(const VekImage* image, int64_t width, int64_t height)
{
    return (size_t)(width * height * image->nChannels * (image->depth & ~VEK_DEPTH_SIGN) / 8);
}

static void runMove(benchmark::State& state, const MoveBench& bench, MoveShape shape)
{
    const int32_t width = shape == SMALL ? 16 : 1920, height = shape == SMALL ? 16 : 1080;
    const int32_t nChannels = bench.srcDepth == VEK_DEPTH_1U ? 1 : bench.nChannels;
    const BenchImage a = benchImage(nChannels, bench.srcDepth, width, height);
    const BenchImage b = benchImage(nChannels, bench.srcDepth, width, height);
    const BenchImage dst = benchImage(bench.nChannels, bench.dstDepth, width, height);
    const BenchImage other = benchImage(bench.nChannels, bench.dstDepth, width, height);
    BenchImage mask;
    VekROI roi[2] = {{0, 300, 100, 1000, 800}, {0, 340, 140, 1000, 800}};
    if (shape == BITS) roi[0] = {0, 3, 0, width - 8, height}, roi[1] = {0, 5, 0, width - 8, height};
    if (shape == REGION || shape == BITS) a->roi = &roi[0], b->roi = dst->roi = &roi[1];
    if (shape == RANDOM) dst->maskROI = (mask = benchImage(1, VEK_DEPTH_1U, width, height)).get();
    if (shape == RANDOM && bench.reduces) b->maskROI = mask.get();
    const int64_t w = shape == REGION ? 1000 : width, h = shape == REGION ? 800 : height;
    const VekImage* counted = bench.reduces ? a.get() : dst.get();
    benchMeasure(
        state, [&] { bench.call(a.get(), b.get(), dst.get()); }, bench.reduces ? b->imageData : dst->imageData,
        bench.reduces ? a->imageData : other->imageData, blockBytes(counted, w, h), (double)w * (double)h);
}

static const std::pair<const char*, uint32_t> depths[] = {
    {"1U", VEK_DEPTH_1U},   {"8U", VEK_DEPTH_8U},   {"8S", VEK_DEPTH_8S},   {"16U", VEK_DEPTH_16U},
    {"16S", VEK_DEPTH_16S}, {"32S", VEK_DEPTH_32S}, {"32F", VEK_DEPTH_32F},
};

static std::vector<MoveBench> moveBenches()
{
    std::vector<MoveBench> all;
    const auto add = [&](const char* operation, const std::string& depth, uint32_t from, uint32_t to, int shapes,
                         bool reduces, const BenchCall& call) {
        all.push_back({operation + ("/" + depth), from, to, 1, shapes, reduces, call});
    };
    for (const auto& [name, depth] : depths) {
        const bool isFloat = depth == VEK_DEPTH_32F;
        add("vekCopy", name, depth, depth, ANY_SHAPE, false, [](In a, In, Out d) { vekCopy(a, d); });
        add("vekExchange", name, depth, depth, ANY_SHAPE, false, [](In a, In, Out d) { vekExchange((Out)a, d); });
        if (isFloat) {
            add("vekSetFP", name, depth, depth, ANY_SHAPE, false, [](In, In, Out d) { vekSetFP(d, 1.25f); });
            continue;
        }
        add("vekSet", name, depth, depth, ANY_SHAPE, false, [](In, In, Out d) { vekSet(d, 101); });
        for (const auto& [flip, axis] : {std::pair("rows", 0), std::pair("columns", 1), std::pair("both", -1)})
            add(("vekMirror-" + std::string(flip)).c_str(), name, depth, depth, ANY_SHAPE, false,
                [axis = axis](In a, In, Out d) { vekMirror(a, d, axis); });
        for (const auto& [kind, type] :
             {std::pair("max", NORM_MAX), std::pair("sum", NORM_SUM), std::pair("squares", NORM_ROOT_SQUARES)}) {
            add(("vekNorm-" + std::string(kind)).c_str(), name, depth, depth, ANY_SHAPE & ~(1 << RANDOM), true,
                [type = type](In a, In, Out) { vekNorm(a, nullptr, type); });
            add(("vekNorm-difference-" + std::string(kind)).c_str(), name, depth, depth, ANY_SHAPE, true,
                [type = type](In a, In b, Out) { vekNorm(a, b, type); });
        }
        if (depth == VEK_DEPTH_1U) continue;
        add("vekThreshold", name, depth, depth, ANY_SHAPE, false, [](In a, In, Out d) { vekThreshold(a, d, 100); });
        add("vekThreshold", name + std::string("-1U"), depth, VEK_DEPTH_1U, ANY_SHAPE, false,
            [](In a, In, Out d) { vekThreshold(a, d, 100); });
        add("vekBitonalToGray", name, VEK_DEPTH_1U, depth, ALL_OF_IT, false,
            [](In a, In, Out d) { vekBitonalToGray(a, d, 3, 100); });
        for (const auto& [toName, to] : depths)
            if (to != VEK_DEPTH_32F)
                add("vekConvert", name + std::string("-") + toName, depth, to, ALL_OF_IT, false,
                    [](In a, In, Out d) { vekConvert(a, d); });
    }
    /* Three channels, where pixels are more than samples. */
    all.push_back({"vekCopy/8U-3ch", VEK_DEPTH_8U, VEK_DEPTH_8U, 3, 1 << WHOLE | 1 << REGION, false,
                   [](In a, In, Out d) { vekCopy(a, d); }});
    all.push_back({"vekExchange/8U-3ch", VEK_DEPTH_8U, VEK_DEPTH_8U, 3, 1 << WHOLE | 1 << REGION, false,
                   [](In a, In, Out d) { vekExchange((Out)a, d); }});
    all.push_back({"vekBitonalToGray/8U-3ch", VEK_DEPTH_1U, VEK_DEPTH_8U, 3, 1 << WHOLE, false,
                   [](In a, In, Out d) { vekBitonalToGray(a, d, 3, 100); }});
    all.push_back({"vekMirror-columns/8U-3ch", VEK_DEPTH_8U, VEK_DEPTH_8U, 3, 1 << WHOLE | 1 << REGION, false,
                   [](In a, In, Out d) { vekMirror(a, d, 1); }});
    return all;
}

static const bool areRegistered = [] {
    for (const MoveBench& bench : moveBenches())
        for (int shape = 0; shape < MOVE_SHAPES; ++shape) {
            const bool bits = bench.srcDepth == VEK_DEPTH_1U && bench.dstDepth == VEK_DEPTH_1U;
            if (!(bench.shapes >> shape & 1) || (shape == BITS && !bits)) continue;
            benchmark::RegisterBenchmark(("move/" + bench.name + "/" + moveShapeNames[shape]).c_str(),
                                         [=](benchmark::State& state) { runMove(state, bench, (MoveShape)shape); })
                ->UseManualTime();
        }
    return true;
}();
