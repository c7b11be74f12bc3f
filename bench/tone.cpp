/* Tone and moments. What only reads its image is measured against a memcpy of the image. A histogram's speed hangs on
 * the picture: in `natural` neighbours are alike and noisy, in `constant` all samples are the same, in `whole` random. */
#include "bench.h"

#include <math.h>
#include <string.h>

#include <functional>

enum ToneShape { WHOLE, NATURAL, CONSTANT, PLACE, RANDOM, SMALL, TONE_SHAPES };
static const char* const toneShapeNames[TONE_SHAPES] = {"whole", "natural", "constant", "place", "random", "small"};

/* A bin for every level, for each of three channels. */
struct ToneLuts {
    std::vector<int32_t> key, value, factor;
    VekLUT lut[3];
    VekLUT* of[3];

    explicit ToneLuts(int32_t levels) : key((size_t)levels + 1), value(key.size() * 3), factor(key.size(), 1)
    {
        for (int32_t i = 0; i <= levels; ++i) key[(size_t)i] = i;
        for (size_t i = 0; i < value.size(); ++i) value[i] = (int32_t)(i * 7919 % (size_t)levels);
        for (int c = 0; c < 3; ++c) {
            lut[c] = {levels + 1, key.data(), value.data() + key.size() * (size_t)c, factor.data(), 0};
            of[c] = &lut[c];
        }
    }
};

typedef std::function<void(const VekImage* src, VekImage* dst, ToneLuts& luts)> ToneCall;

struct ToneBench {
    std::string name;
    uint32_t depth;
    int32_t nChannels;
    int shapes;
    ToneCall call;
};

template <class T> static void fillNatural(VekImage* image)
{
    const int32_t n = image->widthStep / (int32_t)sizeof(T), step = image->nChannels;
    uint32_t noise = 1;
    for (int32_t y = 0; y < image->height; ++y)
        for (int32_t i = 0; i < n; ++i) {
            noise = noise * 1664525 + 1013904223;
            const double x = i / step, wave = sin(x / 190 + i % step) * cos(y / 140.0) + sin((x + y) / 57) / 3;
            const double level = (0.5 + 0.3 * wave) * 255 + (noise >> 24) / 64.0;
            ((T*)(image->imageData + (ptrdiff_t)y * image->widthStep))[i] = (T)(level * (sizeof(T) == 2 ? 256 : 1));
        }
}

static void fillPicture(VekImage* image, ToneShape shape)
{
    if (shape == CONSTANT) memset(image->imageData, 0x55, (size_t)image->imageSize);
    if (shape == NATURAL && image->depth == VEK_DEPTH_8U) fillNatural<uint8_t>(image);
    if (shape == NATURAL && image->depth == VEK_DEPTH_16U) fillNatural<uint16_t>(image);
}

static void runTone(benchmark::State& state, const ToneBench& bench, ToneShape shape)
{
    const int32_t width = shape == SMALL ? 16 : 1920, height = shape == SMALL ? 16 : 1080;
    const BenchImage src = benchImage(bench.nChannels, bench.depth, width, height);
    const BenchImage dst = benchImage(bench.nChannels, bench.depth, width, height);
    const BenchImage mask = benchImage(1, VEK_DEPTH_1U, width, height);
    if (shape == RANDOM) src->maskROI = mask.get();
    fillPicture(src.get(), shape);
    ToneLuts luts(bench.depth == VEK_DEPTH_1U ? 2 : bench.depth == VEK_DEPTH_8U ? 256 : 65536);
    VekImage* from = shape == PLACE ? dst.get() : src.get();
    benchMeasure(
        state, [&] { bench.call(from, dst.get(), luts); }, dst->imageData, src->imageData, (size_t)src->imageSize,
        (double)width * height * bench.nChannels);
}

static std::vector<ToneBench> toneBenches()
{
    const int counted = 1 << WHOLE | 1 << NATURAL | 1 << CONSTANT | 1 << SMALL,
              mapped = 1 << WHOLE | 1 << NATURAL | 1 << PLACE | 1 << RANDOM | 1 << SMALL,
              summed = 1 << WHOLE | 1 << RANDOM | 1 << SMALL;
    const ToneCall count = [](const VekImage* src, VekImage*, ToneLuts& luts) { vekComputeHisto(src, luts.of); };
    const ToneCall map = [](const VekImage* src, VekImage* dst, ToneLuts& luts) {
        vekContrastStretch(src, dst, luts.of);
    };
    const ToneCall equalise = [](const VekImage* src, VekImage* dst, ToneLuts& luts) {
        vekHistoEqualize(src, dst, luts.of);
    };
    const ToneCall moments = [](const VekImage* src, VekImage*, ToneLuts&) {
        VekMomentState state;
        vekMoments(src, state);
        benchmark::DoNotOptimize(state);
    };
    const ToneCall moment = [](const VekImage* src, VekImage*, ToneLuts&) {
        benchmark::DoNotOptimize(vekSpatialMoment(src, 1, 1));
    };
    std::vector<ToneBench> all = {{"vekComputeHisto/1U", VEK_DEPTH_1U, 1, 1 << WHOLE | 1 << SMALL, count}};
    for (const auto& [name, depth, nChannels] :
         {std::tuple("8U", VEK_DEPTH_8U, 1), std::tuple("8U-3ch", VEK_DEPTH_8U, 3), std::tuple("16U", VEK_DEPTH_16U, 1),
          std::tuple("16U-3ch", VEK_DEPTH_16U, 3)}) {
        all.push_back({"vekComputeHisto/" + std::string(name), depth, nChannels, counted, count});
        all.push_back({"vekContrastStretch/" + std::string(name), depth, nChannels, mapped, map});
        all.push_back({"vekHistoEqualize/" + std::string(name), depth, nChannels, 1 << NATURAL | 1 << SMALL, equalise});
    }
    for (const auto& [name, depth] :
         {std::pair("1U", VEK_DEPTH_1U), std::pair("8U", VEK_DEPTH_8U), std::pair("8S", VEK_DEPTH_8S),
          std::pair("16U", VEK_DEPTH_16U), std::pair("16S", VEK_DEPTH_16S), std::pair("32S", VEK_DEPTH_32S),
          std::pair("32F", VEK_DEPTH_32F)}) {
        all.push_back({"vekMoments/" + std::string(name), depth, 1, summed, moments});
        all.push_back({"vekSpatialMoment-11/" + std::string(name), depth, 1, 1 << WHOLE, moment});
    }
    return all;
}

static const bool areRegistered = [] {
    for (const ToneBench& bench : toneBenches())
        for (int shape = 0; shape < TONE_SHAPES; ++shape) {
            if (!(bench.shapes >> shape & 1)) continue;
            const std::string family = bench.name.find("Moment") == std::string::npos ? "tone/" : "stats/";
            benchmark::RegisterBenchmark((family + bench.name + "/" + toneShapeNames[shape]).c_str(),
                                         [=](benchmark::State& state) { runTone(state, bench, (ToneShape)shape); })
                ->UseManualTime();
        }
    return true;
}();
