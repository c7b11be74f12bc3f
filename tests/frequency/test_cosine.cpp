/* vekDCT2D against the sums that define it, over random headers; its refusals in order. */
#include "frequency/sums.h"

#include <gtest/gtest.h>

#include <math.h>

static const std::vector<uint32_t> depths = {VEK_DEPTH_8U, VEK_DEPTH_8S, VEK_DEPTH_16U, VEK_DEPTH_16S, VEK_DEPTH_32S};

static std::string check(const TestImage& src, TestImage& dst, int32_t flags)
{
    const Part from = partOf(src.image), to = partOf(dst.image);
    std::vector<Grid<Real>> expected;
    std::vector<Real> slack;
    for (size_t i = 0; i < to.channels.size() && from.width > 0 && from.height > 0; ++i) {
        const Grid<Real> in = readPart(src, from, from.channels[i], from.width, from.height);
        expected.push_back(cosineSums(in, flags & 1));
        Real squares = 0;
        for (const Real x : in.at) squares += x * x;
        slack.push_back(1e-6L * sqrtl(squares) + 1e-9L);
    }
    const std::vector<uint8_t> before = dst.bytes();
    Recorder recorder;
    vekDCT2D(&src.image, &dst.image, flags);
    if (!recorder.reports.empty()) return "reported " + recorder.text();
    return differenceFromGrids(dst, before, to, expected, slack);
}

TEST(Cosine, isTheSumOverRandomHeaders)
{
    for (uint32_t seed = 0; seed < 2000; ++seed) {
        Random random(seed);
        Draw draws = {random, seed % 8 == 0 ? 60 : 18};
        ImageSpec specs[2] = {draws.spec(depths), draws.spec(depths)};
        const bool hasCoi = draw(random, 0, 2) == 0;
        if (!hasCoi) specs[1].nChannels = specs[0].nChannels, specs[1].hasAlpha = specs[0].hasAlpha;
        for (ImageSpec& spec : specs) {
            spec.dataOrder = specs[0].dataOrder;
            spec.width += 3, spec.height += 3;
        }
        TestImage src(specs[0], random), dst(specs[1], random);
        fillTame(src, random, seed % 3 == 0 ? 100 : 30000);
        fillTame(dst, random, 100);
        int32_t w = draw(random, 1, std::min(specs[0].width, specs[1].width));
        int32_t h = draw(random, 1, std::min(specs[0].height, specs[1].height));
        if (seed % 5 == 0 && std::min({specs[0].width, specs[0].height, specs[1].width, specs[1].height}) >= 8)
            w = h = 8;
        for (TestImage* image : {&src, &dst}) {
            const int32_t nColours = image->image.nChannels - (image->image.alphaChannel != 0);
            image->setRoi(hasCoi ? draw(random, 1, nColours) : 0, draw(random, 0, image->image.width - w),
                          draw(random, 0, image->image.height - h), w, h);
        }
        const int32_t flags = draw(random, 1, 2) + 4 * draw(random, 0, 1) + 16 * draw(random, 0, 1);
        ASSERT_EQ(check(src, dst, flags), "") << "seed " << seed << ", " << w << " x " << h;
    }
}

/* Each pair of lengths once, so that the table of cosines is met filled for the other of the two. */
TEST(Cosine, isTheSumAtEveryLength)
{
    Random random(1);
    for (const auto& [w, h] :
         {std::pair(1, 1), std::pair(64, 16), std::pair(16, 64), std::pair(8, 64), std::pair(53, 8), std::pair(8, 53),
          std::pair(106, 53), std::pair(97, 2), std::pair(120, 60), std::pair(5, 1)})
        for (const int32_t direction : {1, 2}) {
            ImageSpec spec;
            spec.depth = VEK_DEPTH_16S;
            spec.width = w, spec.height = h;
            TestImage src(spec, random), dst(spec, random);
            fillTame(src, random, 2000);
            EXPECT_EQ(check(src, dst, direction), "") << w << " x " << h;
        }
}

/* A constant has all its energy in entry (0, 0), to the last level; and comes back. */
TEST(Cosine, constantAndBack)
{
    Random random(2);
    for (const int32_t size : {1, 2, 3, 5, 8, 16, 31, 64, 100}) {
        ImageSpec spec;
        spec.width = spec.height = size;
        TestImage src(spec, random), back(spec, random);
        spec.depth = VEK_DEPTH_32S;
        TestImage spectrum(spec, random);
        for (int32_t y = 0; y < size; ++y)
            for (int32_t x = 0; x < size; ++x) setSample(src.image, src.block.data, x, y, 0, 77);
        vekDCT2D(&src.image, &spectrum.image, 1);
        for (int32_t y = 0; y < size; ++y)
            for (int32_t x = 0; x < size; ++x) ASSERT_EQ(spectrum.get(x, y, 0), x + y == 0 ? 77 * size : 0) << size;
        vekDCT2D(&spectrum.image, &back.image, 2);
        for (int32_t y = 0; y < size; ++y)
            for (int32_t x = 0; x < size; ++x) ASSERT_EQ(back.get(x, y, 0), 77) << size;
    }
}

TEST(Cosine, holdsToTheRange)
{
    Random random(3);
    for (const int32_t size : {8, 16}) {
        ImageSpec spec;
        spec.width = spec.height = size;
        spec.depth = VEK_DEPTH_16S;
        TestImage src(spec, random), dst(spec, random);
        for (const auto& [value, result] : {std::pair(32000, 32767), std::pair(-32000, -32768)}) {
            for (int32_t y = 0; y < size; ++y)
                for (int32_t x = 0; x < size; ++x) setSample(src.image, src.block.data, x, y, 0, value);
            vekDCT2D(&src.image, &dst.image, 1);
            EXPECT_EQ(dst.get(0, 0, 0), result);
        }
    }
}

/* ---- Refusals -------------------------------------------------------------------------------------------------- */

struct Call {
    Random random{4};
    static ImageSpec spec()
    {
        ImageSpec made;
        made.nChannels = 3;
        return made;
    }
    TestImage a{spec(), random}, b{spec(), random};
    VekTileInfo tiles = {[](const VekImage*, int32_t, int32_t, int32_t) {}, nullptr, nullptr, 8, 8};
    const VekImage* src = &a.image;
    VekImage* dst = &b.image;
    int32_t flags = 1;
};

static const struct {
    VekStatus status;
    const char* text;
    void (*spoil)(Call&);
} faults[] = {
    {-5, "src==0", [](Call& c) { c.src = nullptr; }},
    {-5, "dst==0", [](Call& c) { c.dst = nullptr; }},
    {-10, "Incorrect Image", [](Call& c) { c.a.image.height = -1; }},
    {-20, "Incorrect Image", [](Call& c) { c.dst->origin = 2; }},
    {-5, "\nFunction does not support inplace operation", [](Call& c) { c.dst = &c.a.image; }},
    {-5, "\nImages with 1u depth are not processed",
     [](Call& c) {
         c.b.image.depth = 1, c.b.image.nChannels = 1, c.b.image.alphaChannel = 0, c.b.image.roi = nullptr;
     }},
    {-5, "\nImages with 32F depth are not processed, sorry", [](Call& c) { c.a.image.depth = 32; }},
    {-5, "\nBad combination of alpha, COI and number of channels",
     [](Call& c) { c.a.image.alphaChannel = c.a.image.nChannels = 1; }},
    {-5, "\nBad combination of alpha, COI and number of channels",
     [](Call& c) { c.b.image.alphaChannel = 3, c.b.setRoi(3, 0, 0, 16, 16); }},
    {-5, "Images are not compatible", [](Call& c) { c.b.image.dataOrder = 1; }},
    {-5, "Images are not compatible", [](Call& c) { c.b.setRoi(0, 0, 0, 9, 16); }},
    {-5, "Images are not compatible", [](Call& c) { c.a.setRoi(1, 0, 0, 16, 16); }},
    {-5, "Images are not compatible", [](Call& c) { c.a.image.imageData = nullptr, c.a.image.tileInfo = &c.tiles; }},
    {0, "", [](Call& c) { c.flags = 16; }},
    {0, "", [](Call& c) { c.flags = 3; }},
    {0, "", [](Call& c) { c.a.setRoi(0, 20, 0, 4, 4), c.b.setRoi(0, 0, 16, 4, 4); }},
};

TEST(Cosine, refusesInOrder)
{
    const int nFaults = (int)std::size(faults);
    for (int i = 0; i < nFaults; ++i)
        for (int j = i; j < nFaults; ++j) {
            if (j > i && (i >= 13 || (j == 15 && i > 8))) continue; /* silent ends; a region both spoil */
            Call call;
            const std::vector<uint8_t> before = call.b.bytes();
            faults[j].spoil(call);
            faults[i].spoil(call);
            Recorder recorder;
            vekDCT2D(call.src, call.dst, call.flags);
            std::string expected;
            if (faults[i].status) expected = std::to_string(faults[i].status) + " vekDCT2D(" + faults[i].text + ")";
            EXPECT_EQ(recorder.text(), expected) << i << " and " << j;
            EXPECT_EQ(call.b.bytes(), before);
        }
}
