/* Colour to gray and back: every pair of depths, orders of channels and data, widths beside a vector, tiles, and the row ends
 * that planes of 16 bits have. */
#include "colour/colour_model.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

/* The gray sample of a pixel; `last`: of the last pixel of a row. */
int64_t grayOf(uint32_t from, uint32_t to, bool planes, bool last, int64_t r, int64_t g, int64_t b)
{
    const int64_t sum = 54 * r + 183 * g + 18 * b, fine = 109 * r + 366 * g + 37 * b;
    if (from == VEK_DEPTH_32S) {
        const int64_t high = 109 * (r >> 11) + 366 * (g >> 11) + 37 * (b >> 11);
        if (to == VEK_DEPTH_1U) return 109 * (r >> 10) + 366 * (g >> 10) + 37 * (b >> 10) > 0x1FFFFFFF;
        return to == VEK_DEPTH_8U ? high >> 21 & 255 : high >> 13 & 65535;
    }
    if (to == VEK_DEPTH_1U) return (sum >> 8) > (from == VEK_DEPTH_8U ? 127 : 32767);
    if (from == VEK_DEPTH_8U) return to == VEK_DEPTH_8U ? sum >> 8 : sum;
    if (to == VEK_DEPTH_16U) return sum >> 8;
    if (!planes) return sum >> 16;
    return last ? fine >> 17 : ((109 * r >> 16) + (366 * g >> 16) + (37 * b >> 16)) >> 1;
}

const int32_t widths[] = {1, 2, 3, 7, 8, 31, 32, 33, 45, 70, 515, 1025};

TEST(Gray, OfColour)
{
    const uint32_t froms[] = {VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_32S};
    const uint32_t tos[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U};
    for (uint32_t from : froms)
        for (uint32_t to : tos)
            for (int order : {0, 1})
                for (int nChannels : {3, 4, 6})
                    for (int red : {0, 2})
                        for (int32_t width : widths) {
                            Random random((unsigned)width);
                            ImageSpec spec;
                            spec.depth = from;
                            spec.nChannels = nChannels;
                            spec.dataOrder = order;
                            spec.width = width;
                            spec.height = 3;
                            TestImage src(spec, random);
                            spec.depth = to;
                            spec.nChannels = 1;
                            spec.dataOrder = draw(random, 0, 1);
                            TestImage dst(spec, random);
                            src.setRoi(1, 1, 1, 1, 1); /* plays no part */
                            nameImage(src.image, "RGBA", red ? "BGRA" : "RGBA");
                            nameImage(dst.image, random() % 2 ? "GRAY" : "Gray", "G   ");
                            std::vector<uint8_t> want = dst.bytes();
                            const bool swapped = red && !(from == VEK_DEPTH_32S && to == VEK_DEPTH_1U && order == 0);
                            for (int32_t y = 0; y < 3; ++y)
                                for (int32_t x = 0; x < width; ++x) {
                                    const int64_t r = src.get(x, y, swapped ? 2 : 0),
                                                  b = src.get(x, y, swapped ? 0 : 2);
                                    const bool last = x == width - 1 && width % 2 != 0;
                                    setSample(dst.image, want.data(), x, y, 0,
                                              grayOf(from, to, order == 1, last, r, src.get(x, y, 1), b));
                                }
                            Recorder recorder;
                            vekColorToGray(&src.image, &dst.image);
                            ASSERT_EQ(recorder.text(), "");
                            ASSERT_EQ(dst.bytes(), want) << from << " to " << to << " order " << order << " channels "
                                                         << nChannels << " red " << red << " width " << width;
                        }
}

TEST(Gray, OfEveryPixelOf8Bits)
{
    EveryPixel in;
    std::vector<uint8_t> out(in.size());
    const VekImage src = headerOn(in.samples, VEK_DEPTH_8U, 3, "RGB");
    VekImage dst = headerOn(out, VEK_DEPTH_8U, 1, "GRAY");
    Recorder recorder;
    vekColorToGray(&src, &dst);
    ASSERT_EQ(recorder.text(), "");
    for (size_t i = 0; i < out.size(); ++i)
        ASSERT_EQ(out[i], (54 * in.samples[3 * i] + 183 * in.samples[3 * i + 1] + 18 * in.samples[3 * i + 2]) >> 8)
            << i;
}

/* What the fractions come to for a depth. */
struct Weights {
    int64_t of[3];
    int shift;
};
Weights weightsOf(uint32_t depth, const float fractions[3])
{
    Weights k = {{}, depth == VEK_DEPTH_8U ? 8 : 15};
    bool none = true;
    for (int c = 0; c < 3; ++c) {
        k.of[c] = (int64_t)((1 << k.shift) * (double)fractions[c]);
        none = none && (k.of[c] & 65535) == 0;
        if (depth != VEK_DEPTH_32S) k.of[c] &= 65535;
    }
    if (none && depth == VEK_DEPTH_32S) return {{6968, 23434, 2364}, 15};
    if (none && depth == VEK_DEPTH_16U) return {{109, 366, 37}, 9};
    if (none) return {{54, 183, 18}, 8};
    return k;
}

TEST(Gray, ToColour)
{
    const struct {
        uint32_t from, to;
    } depths[] = {{VEK_DEPTH_8U, VEK_DEPTH_8U},
                  {VEK_DEPTH_16U, VEK_DEPTH_16U},
                  {VEK_DEPTH_32S, VEK_DEPTH_32S},
                  {VEK_DEPTH_1U, VEK_DEPTH_8U}};
    const float fractions[][3] = {{0, 0, 0},       {1, 0, 0},           {0.299f, 0.587f, 0.114f},
                                  {1, 1, 1},       {1.75f, 0.5f, 1.9f}, {2, 2, 2},
                                  {256, 0, 65536}, {-0.5f, 0.25f, 1},   {0.001f, 0, 0.002f}};
    for (const auto& depth : depths)
        for (const auto& fraction : fractions)
            for (int order : {0, 1})
                for (int nChannels : {3, 4, 5})
                    for (int32_t width : widths) {
                        Random random((unsigned)width);
                        ImageSpec spec;
                        spec.depth = depth.from;
                        spec.dataOrder = draw(random, 0, 1);
                        spec.width = width;
                        spec.height = 2;
                        TestImage src(spec, random);
                        spec.depth = depth.to;
                        spec.nChannels = nChannels;
                        spec.dataOrder = order;
                        TestImage dst(spec, random);
                        const bool redFirst = draw(random, 0, 1);
                        nameImage(src.image, "GRAY", "GRAY");
                        nameImage(dst.image, "RGB", redFirst ? "RGB" : "BGR");
                        const Weights k = weightsOf(depth.to, fraction);
                        std::vector<uint8_t> want = dst.bytes();
                        for (int32_t y = 0; y < 2; ++y)
                            for (int32_t x = 0; x < width; ++x)
                                for (int c = 0; c < 3; ++c) {
                                    int64_t sample = src.get(x, y, 0);
                                    if (depth.from == VEK_DEPTH_1U) sample *= 255;
                                    const uint64_t bits = (uint64_t)(sample * k.of[c] >> k.shift);
                                    setSample(dst.image, want.data(), x, y, redFirst ? c : 2 - c,
                                              (int64_t)(bits & (0xFFFFFFFFu >> (32 - (depth.to & 63)))));
                                }
                        Recorder recorder;
                        vekGrayToColor(&src.image, &dst.image, fraction[0], fraction[1], fraction[2]);
                        ASSERT_EQ(recorder.text(), "");
                        ASSERT_EQ(dst.bytes(), want)
                            << depth.from << " order " << order << " channels " << nChannels << " width " << width
                            << " fractions " << fraction[0] << " " << fraction[1] << " " << fraction[2];
                    }
}

/* With tiles on either side, bits too. */
TEST(Gray, Tiled)
{
    for (uint32_t to : {VEK_DEPTH_1U, VEK_DEPTH_8U})
        for (int tiles = 1; tiles < 4; ++tiles)
            for (int order : {0, 1}) {
                Random random(5);
                ImageSpec spec;
                spec.depth = VEK_DEPTH_16U;
                spec.nChannels = 3;
                spec.dataOrder = order;
                spec.width = 43; /* of odd length, as the last tile; the others have even ones */
                spec.height = 11;
                TestImage src(spec, random);
                spec.nChannels = 1;
                spec.depth = to;
                TestImage dst(spec, random), plain(spec, random);
                nameImage(src.image, "RGB", "BGR");
                for (TestImage* image : {&dst, &plain}) nameImage(image->image, "GRAY", "G   ");
                memcpy(plain.block.data, dst.block.data, dst.block.bytes);
                TiledImage tiledSrc(src, 8, 8), tiledDst(dst, 16, 8);
                nameImage(tiledSrc.image, "RGB", "BGR");
                Recorder recorder;
                vekColorToGray(&src.image, &plain.image);
                vekColorToGray(tiles & 1 ? &tiledSrc.image : &src.image, tiles & 2 ? &tiledDst.image : &dst.image);
                ASSERT_EQ(recorder.text(), "");
                ASSERT_EQ(dst.bytes(), plain.bytes()) << to << " tiles " << tiles << " order " << order;
            }
}

} // namespace
