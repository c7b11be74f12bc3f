/* The conversions between colour models: every 8-bit pixel against the formulas; and over random headers, in pixel and plane
 * order, with tiles on either side, what each byte of the destination's block must be. */
#include "colour/colour_model.h"

#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>
#include <thread>

namespace {

/* ---- All pixels of 8 bits ---------------------------------------------------------------------------------------- */

/* The first of pixels i to n - 1 that isn't what the formula gives, or nothing. */
std::string firstWrong(const Conversion& conversion, const uint8_t* in, const uint8_t* out, size_t i, size_t n)
{
    const bool isSigned = conversion.srcDepth == VEK_DEPTH_8S;
    for (; i < n; ++i) {
        Triple pixel;
        for (int c = 0; c < 3; ++c) pixel.v[c] = isSigned ? (int8_t)in[3 * i + c] : in[3 * i + c];
        const Triple want = conversion.formula(pixel, true);
        for (int c = 0; c < 3; ++c)
            if (out[3 * i + c] != (uint8_t)(int)want.v[c])
                return "pixel " + std::to_string(i * EVERY_NTH) + ", sample " + std::to_string(c) + ": " +
                       std::to_string(out[3 * i + c]) + ", not " + std::to_string(want.v[c]);
    }
    return "";
}

/* Packed code must give the formulas' results for every pixel. */
TEST(Conversions, EveryPixelOf8Bits)
{
    EveryPixel in;
    std::vector<uint8_t> out(in.samples.size());
    int nDone = 0;
    for (int k = 0; k < nConversions; ++k) {
        const Conversion& conversion = conversions[k];
        if ((conversion.srcDepth & 63) != 8) continue;
        ++nDone;
        const VekImage src = headerOn(in.samples, conversion.srcDepth, 3,
                                      four(conversion.toRgb ? conversion.model : "RGB").c_str());
        VekImage dst = headerOn(out, conversion.dstDepth, 3, "RGB");
        Recorder recorder;
        conversion.call(&src, &dst);
        ASSERT_EQ(recorder.text(), "") << conversion.name;
        const auto check = [&](size_t i, size_t n) {
            return firstWrong(conversion, in.samples.data(), out.data(), i, n);
        };
        std::string wrong[2];
        std::thread second([&] { wrong[1] = check(in.size() / 2, in.size()); });
        wrong[0] = check(0, in.size() / 2);
        second.join();
        ASSERT_EQ(wrong[0] + wrong[1], "") << conversion.name;
    }
    EXPECT_EQ(nDone, 11);
}

/* ---- Any headers ------------------------------------------------------------------------------------------------ */

/* Samples of the range that the model has a meaning for, and some beyond; half of the pixels from few values, so that ties
 * and grays occur. */
void fillPixels(TestImage& image, Random& random, bool luv)
{
    const uint32_t depth = image.image.depth;
    const int64_t few[] = {0,   1,   60,  120,   180,   240,   300,        360,
                           127, 128, 255, 32767, 32768, 65535, 0x3FFFFFFF, 0x7FFFFFFF};
    for (int32_t y = 0; y < image.image.height; ++y)
        for (int32_t x = 0; x < image.image.width; ++x)
            for (int32_t c = 0; c < image.image.nChannels; ++c) {
                int64_t bits = draw(random, 0, 1) ? few[draw(random, 0, 15)] : draw(random, 0, INT32_MAX);
                if (depth == VEK_DEPTH_32F) {
                    const double value = draw(random, 0, 7) ? draw(random, 0, 1000) / 1000.0 : draw(random, -900, 900);
                    bits = sampleBitsOf(depth, luv ? (c ? value : value * 100) : value);
                } else if (depth & VEK_DEPTH_SIGN && draw(random, 0, 1) && (depth & 63) < 32) bits = -bits;
                setSample(image.image, image.block.data, x, y, c, bits);
            }
}

/* Which channel is red, green, blue. */
void rgbPlaces(const VekImage& image, int32_t place[3])
{
    const bool redFirst = image.channelSeq[0] == 'R';
    place[0] = redFirst ? 0 : 2;
    place[1] = 1;
    place[2] = redFirst ? 2 : 0;
    if (image.dataOrder == VEK_DATA_ORDER_PIXEL) return;
    const std::string letters(image.channelSeq, (size_t)std::min(image.nChannels, 4));
    if (letters.find('R') == letters.npos || letters.find('G') == letters.npos || letters.find('B') == letters.npos)
        return;
    for (int c = 0; c < 3; ++c) place[c] = (int32_t)letters.rfind("RGB"[c]);
}

/* A float's distance in units in the last place. */
int64_t ulpsBetween(int64_t a, int64_t b)
{
    const auto order = [](int64_t bits) { return bits & 0x80000000 ? -(bits & 0x7FFFFFFF) : bits; };
    return llabs(order(a) - order(b));
}

struct Case {
    const Conversion* conversion;
    int order, srcChannels;
    int32_t width[2], height[2]; /* of source and destination */
    int tiles;                   /* bit 0: source, bit 1: destination */
    std::string name() const
    {
        return std::string(conversion->name) + " order=" + std::to_string(order) +
               " channels=" + std::to_string(srcChannels) + " " + std::to_string(width[0]) + "x" +
               std::to_string(height[0]) + " to " + std::to_string(width[1]) + "x" + std::to_string(height[1]) +
               " tiles=" + std::to_string(tiles);
    }
};

void checkCase(const Case& t, Random& random)
{
    const Conversion& conversion = *t.conversion;
    ImageSpec spec;
    spec.dataOrder = t.order;
    spec.atEnd = draw(random, 0, 1);
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = 4 * draw(random, 0, 2);
    spec.depth = conversion.srcDepth;
    spec.nChannels = t.srcChannels;
    spec.width = t.width[0];
    spec.height = t.height[0];
    TestImage src(spec, random);
    spec.depth = conversion.dstDepth;
    spec.nChannels = 3;
    spec.width = t.width[1];
    spec.height = t.height[1];
    TestImage dst(spec, random);
    fillPixels(src, random, !strcmp(conversion.model, "LUV") && conversion.toRgb);

    const char* const rgbs[] = {"RGB", "BGR"};
    const char* const any[] = {"RGB", "BGR", "GBR", "BRG", "HSV", "R--"};
    const std::string model = four(conversion.model);
    if (conversion.toRgb) {
        nameImage(src.image, model.c_str(), model.c_str());
        nameImage(dst.image, "any", any[draw(random, 0, 5)]);
    } else nameImage(src.image, "RGB", rgbs[draw(random, 0, 1)]);
    for (int32_t& mode : src.image.borderMode) mode = draw(random, 0, 3);
    for (int32_t& constant : src.image.borderConst) constant = draw(random, 0, 100);

    const int32_t identity[3] = {0, 1, 2};
    int32_t rgb[3];
    rgbPlaces(conversion.toRgb ? dst.image : src.image, rgb);
    const int32_t* from = conversion.toRgb ? identity : rgb;
    const int32_t* to = conversion.toRgb ? rgb : identity;
    const bool equalSteps = t.order != VEK_DATA_ORDER_PIXEL || t.srcChannels == 3;
    std::vector<uint8_t> want = dst.bytes();
    const int32_t width = t.tiles ? t.width[1] : std::min(t.width[0], t.width[1]);
    const int32_t height = t.tiles ? t.height[1] : std::min(t.height[0], t.height[1]);

    TiledImage tiledSrc(src, 8 * draw(random, 1, 3), 8 * draw(random, 1, 2)), tiledDst(dst, 16, 8);
    VekImage* dstImage = t.tiles & 2 ? &tiledDst.image : &dst.image;
    memcpy(dstImage->colorModel, dst.image.colorModel, 4);
    memcpy(dstImage->channelSeq, dst.image.channelSeq, 4);
    std::vector<Triple> expected;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            Triple pixel, in;
            for (int c = 0; c < 3; ++c) {
                const bool inside = x < t.width[0] && y < t.height[0];
                const int64_t bits = inside ? src.get(x, y, from[c])
                                            : vekGetPixelBordered(&src.image, x, y, from[c] + 1);
                in.v[c] = sampleValue(conversion.srcDepth, bits);
            }
            pixel = conversion.formula(in, equalSteps);
            for (int c = 0; c < 3; ++c)
                setSample(dst.image, want.data(), x, y, to[c], sampleBitsOf(conversion.dstDepth, pixel.v[c]));
        }

    Recorder recorder;
    conversion.call(t.tiles & 1 ? &tiledSrc.image : &src.image, dstImage);
    ASSERT_EQ(recorder.text(), "");
    if (!conversion.toRgb) {
        ASSERT_EQ(std::string(dstImage->colorModel, 4), model);
        ASSERT_EQ(std::string(dstImage->channelSeq, 4), model);
    }
    for (const std::string& line : tiledDst.log) ASSERT_EQ(line.find("BAD"), line.npos) << tiledDst.logText();
    for (const std::string& line : tiledSrc.log) ASSERT_EQ(line.find("BAD"), line.npos) << tiledSrc.logText();
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) {
                const int64_t is = getSample(dst.image, dst.block.data, x, y, c);
                const int64_t wanted = getSample(dst.image, want.data(), x, y, c);
                if (conversion.ulps) ASSERT_LE(ulpsBetween(is, wanted), conversion.ulps) << x << "," << y << " " << c;
                else ASSERT_EQ(is, wanted) << "x=" << x << " y=" << y << " channel=" << c;
                setSample(dst.image, want.data(), x, y, c, is);
            }
    ASSERT_EQ(dst.bytes(), want) << "around the pixels";
}

TEST(Conversions, EqualTheFormulasOverAnyHeaders)
{
    for (int seed = 0; seed < 25; ++seed)
        for (int k = 0; k < nConversions; ++k) {
            Random random((unsigned)(seed * 1000 + k));
            Case t = {&conversions[k], draw(random, 0, 1), draw(random, 3, 5), {}, {}, draw(random, 0, 3)};
            for (int i = 0; i < 2; ++i) {
                t.width[i] = draw(random, 0, 9) ? draw(random, 1, 70) : draw(random, 500, 1100);
                t.height[i] = draw(random, 1, 12);
            }
            checkCase(t, random);
            if (testing::Test::HasFatalFailure()) FAIL() << "seed " << seed << ": " << t.name();
        }
}

/* ---- In place, round trips, single cases -------------------------------------------------------------------------- */

/* The source may be the destination: the result is that of two images. */
TEST(Conversions, InPlace)
{
    for (int k = 0; k < nConversions; ++k)
        for (int order : {0, 1})
            for (bool tiled : {false, true}) {
                const Conversion& conversion = conversions[k];
                if (conversion.srcDepth != conversion.dstDepth) continue;
                Random random((unsigned)k);
                ImageSpec spec;
                spec.depth = conversion.srcDepth;
                spec.nChannels = 3;
                spec.dataOrder = order;
                spec.width = 84; /* no padding at any depth */
                spec.height = 9;
                TestImage src(spec, random), dst(spec, random);
                fillPixels(src, random, false);
                const std::string model = conversion.toRgb ? four(conversion.model) : four("BGR");
                nameImage(src.image, conversion.toRgb ? model.c_str() : "RGB", model.c_str());
                nameImage(dst.image, "RGB", conversion.toRgb ? model.c_str() : "RGB");
                Recorder recorder;
                conversion.call(&src.image, &dst.image);
                TiledImage tiles(src, 16, 8);
                VekImage* image = tiled ? &tiles.image : &src.image;
                conversion.call(image, image);
                ASSERT_EQ(recorder.text(), "");
                for (const std::string& line : tiles.log) ASSERT_NE(line[0], 'R') << "a tile is not read in place";
                ASSERT_EQ(src.bytes(), dst.bytes()) << conversion.name << " order " << order << " tiled " << tiled;
            }
}

const Conversion& find(const char* name)
{
    return *std::find_if(conversions, conversions + nConversions,
                         [&](const Conversion& conversion) { return !strcmp(conversion.name, name); });
}

/* RGB to a model and back comes near the begin: within hues of two degrees, weights of 14 bits, a Z that is clamped. */
TEST(Conversions, ThereAndBack)
{
    const struct {
        const char *there, *back;
        double most;
    } trips[] = {{"vekRGB2HSV 8U", "vekHSV2RGB 8U", 12},    {"vekRGB2HSV 16U", "vekHSV2RGB 16U", 1200},
                 {"vekRGB2HLS 8U", "vekHLS2RGB 8U", 12},    {"vekRGB2HLS 16U", "vekHLS2RGB 16U", 1200},
                 {"vekRGB2XYZ 8U", "vekXYZ2RGB 8U", 24},    {"vekRGB2XYZ 16U", "vekXYZ2RGB 16U", 6000},
                 {"vekRGB2YCrCb 8U", "vekYCrCb2RGB 8U", 4}, {"vekRGB2YCrCb 16U", "vekYCrCb2RGB 16U", 8}};
    for (const auto& trip : trips) {
        const Conversion &there = find(trip.there), &back = find(trip.back);
        Random random(7);
        ImageSpec spec;
        spec.depth = there.srcDepth;
        spec.nChannels = 3;
        spec.width = 50;
        spec.height = 40;
        TestImage rgb(spec, random), model(spec, random), result(spec, random);
        nameImage(rgb.image, "RGB", "RGB");
        nameImage(result.image, "RGB", "RGB");
        Recorder recorder;
        there.call(&rgb.image, &model.image);
        back.call(&model.image, &result.image);
        ASSERT_EQ(recorder.text(), "");
        double worst = 0;
        for (int32_t y = 0; y < 40; ++y)
            for (int32_t x = 0; x < 50; ++x)
                for (int c = 0; c < 3; ++c)
                    worst = std::max(worst, fabs((double)(rgb.get(x, y, c) - result.get(x, y, c))));
        EXPECT_LE(worst, trip.most) << there.name;
        EXPECT_GT(worst, 0) << there.name << " loses nothing";
    }
}

/* A tile of the destination that does not come ends its row, the first of a row the walk; memory that does not come is
 * reported for its tile only. */
TEST(Conversions, TilesThatDoNotCome)
{
    Random random(3);
    ImageSpec spec;
    spec.nChannels = 3;
    spec.width = 40;
    spec.height = 16;
    TestImage src(spec, random), dst(spec, random);
    nameImage(src.image, "RGB", "RGB");
    {
        TiledImage tiles(dst, 16, 8);
        tiles.failAt = 1;
        Recorder recorder;
        vekRGB2HSV(&src.image, &tiles.image);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_EQ(tiles.logText(),
                  "W 0,0; release 0,0; W 1,0; W 0,1; release 0,1; W 1,1; release 1,1; W 2,1; release 2,1");
    }
    {
        TiledImage tiles(dst, 16, 8);
        tiles.failAt = 0;
        Recorder recorder;
        vekRGB2HSV(&src.image, &tiles.image);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_EQ(tiles.logText(), "W 0,0");
    }
    TiledImage tiles(dst, 32, 16);
    Recorder recorder;
    const int live = heapLive();
    heapFailAfter(1);
    vekRGB2HSV(&src.image, &tiles.image);
    heapFailAfter(-1);
    EXPECT_EQ(recorder.text(), "-4 vekRGB2HSV(Out of memory)");
    EXPECT_EQ(heapLive(), live);
    EXPECT_EQ(tiles.logText(), "W 0,0; release 0,0; W 1,0; release 1,0");
}

/* Roots of the smallest and the largest luminances, and a gray one. */
TEST(Conversions, LightnessOverAllMagnitudes)
{
    for (int exponent = -8; exponent < 120; ++exponent)
        for (double part : {1.0, 1.3, 1.7, 1.999}) {
            Random random(1);
            ImageSpec spec;
            spec.depth = VEK_DEPTH_32F;
            spec.nChannels = 3;
            spec.width = spec.height = 1;
            TestImage src(spec, random), dst(spec, random);
            nameImage(src.image, "RGB", "RGB");
            Triple in;
            for (int c = 0; c < 3; ++c) {
                in.v[c] = (float)ldexp(part, exponent);
                setSample(src.image, src.block.data, 0, 0, c, sampleBitsOf(VEK_DEPTH_32F, in.v[c]));
            }
            vekRGB2LUV(&src.image, &dst.image);
            const Triple want = conversions[nConversions - 2].formula(in, true);
            const int64_t bits = sampleBitsOf(VEK_DEPTH_32F, want.v[0]);
            EXPECT_LE(ulpsBetween(dst.get(0, 0, 0), bits), 1) << in.v[0];
        }
}

} // namespace
