/* Colour models, gray and twists, of 1920 x 1080 pixels: every conversion at each of its depths, in pixel order and in plane
 * order; from pixels of four samples, as `rgba`; and 16 x 16 pixels, as `small`. */
#include "bench.h"

#include <string.h>

typedef void (*ColourCall)(const VekImage* src, VekImage* dst);

struct ColourBench {
    std::string name;
    const char *srcModel, *dstModel;
    uint32_t srcDepth, dstDepth;
    int32_t srcChannels, dstChannels;
    ColourCall call;
};

enum ColourShape { PIXEL, PLANE, RGBA, SMALL, COLOUR_SHAPES };
static const char* const shapeNames[COLOUR_SHAPES] = {"pixel", "plane", "rgba", "small"};

static BenchImage colourImage(const char* model, uint32_t depth, int32_t nChannels, ColourShape shape)
{
    const int32_t width = shape == SMALL ? 16 : 1920, height = shape == SMALL ? 16 : 1080;
    BenchImage image = benchImage(nChannels, depth, width, height);
    memcpy(image->colorModel, model, 4);
    memcpy(image->channelSeq, strcmp(model, "RGB") ? model : "BGR", 4);
    if (shape == PLANE) { /* the same bytes, read in another order */
        image->dataOrder = VEK_DATA_ORDER_PLANE_WISE;
        image->widthStep /= nChannels;
    }
    return image;
}

static void runColour(benchmark::State& state, const ColourBench& bench, ColourShape shape)
{
    const bool four = shape == RGBA, isTwist = !strcmp(bench.srcModel, bench.dstModel);
    const int32_t srcChannels = four && bench.srcChannels == 3 ? 4 : bench.srcChannels;
    const int32_t dstChannels = four && (isTwist || bench.srcChannels == 1) ? 4 : bench.dstChannels;
    const BenchImage src = colourImage(bench.srcModel, bench.srcDepth, srcChannels, shape);
    const BenchImage dst = colourImage(bench.dstModel, bench.dstDepth, dstChannels, shape);
    const BenchImage from = colourImage(bench.dstModel, bench.dstDepth, dstChannels, shape);
    benchMeasure(
        state, [&] { bench.call(src.get(), dst.get()); }, dst->imageData, from->imageData, (size_t)dst->imageSize,
        (double)src->width * src->height);
}

static const struct Depth {
    const char* name;
    uint32_t bits;
} u8 = {"8U", VEK_DEPTH_8U}, u16 = {"16U", VEK_DEPTH_16U}, s32 = {"32S", VEK_DEPTH_32S}, f32 = {"32F", VEK_DEPTH_32F};

/* A map of the colours that mixes all of them; its scale chooses between integers and floating point. */
template <int32_t scale, int32_t mostFactor> static void twist(const VekImage* src, VekImage* dst)
{
    VekColorTwist map = {};
    const int32_t parts[12] = {100, 20, 8, 50, -10, 110, 28, -30, 12, -40, 90, 300};
    for (int i = 0; i < 12; ++i) map.data[i] = parts[i] * mostFactor / 128;
    map.scalingValue = scale;
    vekApplyColorTwist(src, dst, &map, 3);
}

static std::vector<ColourBench> colourBenches()
{
    std::vector<ColourBench> all;
    const auto models = [&](const char* name, const char* from, const char* to, std::vector<Depth> depths,
                            ColourCall call) {
        for (const Depth& depth : depths)
            all.push_back({std::string(name) + "/" + depth.name, from, to, depth.bits, depth.bits, 3, 3, call});
    };
    models("vekRGB2HSV", "RGB", "HSV", {u8, u16, s32}, vekRGB2HSV);
    models("vekHSV2RGB", "HSV", "RGB", {u8, u16, s32}, vekHSV2RGB);
    models("vekRGB2HLS", "RGB", "HLS", {u8, u16, s32}, vekRGB2HLS);
    models("vekHLS2RGB", "HLS", "RGB", {u8, u16, s32}, vekHLS2RGB);
    models("vekRGB2XYZ", "RGB", "XYZ", {u8, u16, s32, f32}, vekRGB2XYZ);
    models("vekXYZ2RGB", "XYZ", "RGB", {u8, u16, s32, f32}, vekXYZ2RGB);
    models("vekRGB2YCrCb", "RGB", "YCr", {u8, u16, s32, f32}, vekRGB2YCrCb);
    models("vekYCrCb2RGB", "YCr", "RGB", {u8, u16, s32, f32}, vekYCrCb2RGB);
    models("vekRGB2YUV", "RGB", "YUV", {u8, u16, s32, f32}, vekRGB2YUV);
    models("vekYUV2RGB", "YUV", "RGB", {{"8S", VEK_DEPTH_8S}, {"16S", VEK_DEPTH_16S}, s32, f32}, vekYUV2RGB);
    models("vekYCC2RGB", "YCC", "RGB", {u8}, vekYCC2RGB);
    models("vekRGB2LUV", "RGB", "LUV", {f32}, vekRGB2LUV);
    models("vekLUV2RGB", "LUV", "RGB", {f32}, vekLUV2RGB);
    models("vekApplyColorTwist-fixed", "RGB", "RGB", {u8, u16}, twist<7, 128>);
    models("vekApplyColorTwist-bytes", "RGB", "RGB", {u8}, twist<6, 64>); /* factors of 6 bits */
    models("vekApplyColorTwist-general", "RGB", "RGB", {u8, u16}, twist<20, 1 << 20>);
    for (ColourBench& bench : all) { /* YUV is signed at 8 and 16 bits, RGB is not */
        if (bench.call == vekRGB2YUV && bench.srcDepth <= 16) bench.dstDepth |= VEK_DEPTH_SIGN;
        if (bench.call == vekYUV2RGB && (bench.srcDepth & 63) <= 16) bench.dstDepth &= ~VEK_DEPTH_SIGN;
    }

    for (const Depth& from : {u8, u16, s32})
        for (const Depth& to : {Depth{"1U", VEK_DEPTH_1U}, u8, u16})
            all.push_back({std::string("vekColorToGray/") + from.name + "-" + to.name, "RGB", "GRAY", from.bits,
                           to.bits, 3, 1, vekColorToGray});
    for (const Depth& depth : {Depth{"1U", VEK_DEPTH_1U}, u8, u16, s32})
        all.push_back({std::string("vekGrayToColor/") + depth.name, "GRAY", "RGB", depth.bits,
                       depth.bits == VEK_DEPTH_1U ? VEK_DEPTH_8U : depth.bits, 1, 3,
                       [](const VekImage* a, VekImage* d) { vekGrayToColor(a, d, 0.3f, 0.6f, 0.1f); }});
    return all;
}

static const bool areRegistered = [] {
    for (const ColourBench& bench : colourBenches())
        for (int shape = 0; shape < COLOUR_SHAPES; ++shape)
            benchmark::RegisterBenchmark(("colour/" + bench.name + "/" + shapeNames[shape]).c_str(),
                                         [=](benchmark::State& state) { runColour(state, bench, (ColourShape)shape); })
                ->UseManualTime();
    return true;
}();
