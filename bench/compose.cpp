/* Compositions: the scaled multiplies, and each operator by arithmetic and depth, of four channels of which the last is
 * alpha. */
#include "bench.h"

typedef const VekImage* In;
typedef VekImage* Out;

enum ComposeShape { WHOLE, PLACE, RANDOM, SMALL, COMPOSE_SHAPES };
static const char* const composeShapeNames[COMPOSE_SHAPES] = {"whole", "place", "random", "small"};

struct ComposeBench {
    std::string name;
    uint32_t depth;
    int32_t nChannels;
    bool isPlanes;
    BenchCall call;
};

static BenchImage composeImage(const ComposeBench& bench, int32_t width, int32_t height)
{
    BenchImage image = benchImage(bench.nChannels, bench.depth, width, height);
    if (bench.nChannels == 4) image->alphaChannel = 4;
    if (bench.isPlanes) image->dataOrder = VEK_DATA_ORDER_PLANE_WISE, image->widthStep /= 4;
    return image;
}

static void runCompose(benchmark::State& state, const ComposeBench& bench, ComposeShape shape)
{
    const int32_t width = shape == SMALL ? 16 : 1920, height = shape == SMALL ? 16 : 1080;
    const BenchImage a = composeImage(bench, width, height), b = composeImage(bench, width, height),
                     dst = composeImage(bench, width, height);
    const BenchImage mask = benchImage(1, VEK_DEPTH_1U, width, height);
    if (shape == RANDOM) dst->maskROI = mask.get();
    const VekImage* first = shape == PLACE ? dst.get() : a.get();
    benchMeasure(
        state, [&] { bench.call(first, b.get(), dst.get()); }, dst->imageData, a->imageData, (size_t)dst->imageSize,
        (double)width * height * bench.nChannels);
}

static std::vector<ComposeBench> composeBenches()
{
    static const char* const operators[] = {"over", "in", "out", "atop", "xor", "plus"};
    static const struct {
        const char* name;
        int32_t alpha, isPremul, isDivided;
    } modes[] = {{"", -1, 1, 0}, {"-constant", 100, 1, 0}, {"-plain", -1, 0, 0}, {"-divide", -1, 1, 1}};
    std::vector<ComposeBench> all;
    for (const auto& [depthName, depth] : {std::pair("8U", VEK_DEPTH_8U), std::pair("16U", VEK_DEPTH_16U)}) {
        const auto add = [&, name = std::string("/") + depthName, depth = depth](
                             const std::string& operation, const char* kind, int32_t nChannels, const BenchCall& call) {
            all.push_back({operation + name + kind, depth, nChannels, kind == std::string("-planes"), call});
        };
        add("vekMultiplyScale", "", 1, [](In a, In b, Out d) { vekMultiplyScale(a, b, d); });
        add("vekMultiplySScale", "", 1, [](In a, In, Out d) { vekMultiplySScale(a, d, 101); });
        add("vekPreMultiplyAlpha", "-4ch", 4, [](In, In, Out d) { vekPreMultiplyAlpha(d, -1); });
        add("vekPreMultiplyAlpha-constant", "-4ch", 4, [](In, In, Out d) { vekPreMultiplyAlpha(d, 101); });
        for (const auto& mode : modes)
            for (int type = COMPOSITE_OVER; type <= COMPOSITE_PLUS; ++type)
                for (const char* kind : {"-4ch", "-planes"})
                    add("vekAlphaCompositeC-" + std::string(operators[type]) + mode.name, kind, 4,
                        [=](In a, In b, Out d) {
                            vekAlphaCompositeC(a, b, d, type, mode.alpha, mode.alpha, mode.isPremul, mode.isDivided);
                        });
        add("vekAlphaComposite-over-alpha", "-4ch", 4,
            [](In a, In b, Out d) { vekAlphaComposite(a, b, d, COMPOSITE_OVER, a, b, d, 1, 0); });
    }
    return all;
}

static const bool areRegistered = [] {
    for (const ComposeBench& bench : composeBenches())
        for (int shape = 0; shape < COMPOSE_SHAPES; ++shape)
            benchmark::RegisterBenchmark(
                ("compose/" + bench.name + "/" + composeShapeNames[shape]).c_str(),
                [=](benchmark::State& state) { runCompose(state, bench, (ComposeShape)shape); })
                ->UseManualTime();
    return true;
}();
