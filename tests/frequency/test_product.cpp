/* vekMpyRCPack2D against products of unpacked spectra; packed runs against plain ones; refusals in order. */
#include "frequency/sums.h"

#include <gtest/gtest.h>

#include <math.h>

namespace {

static const std::vector<uint32_t> depths = {VEK_DEPTH_8S, VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F};

/* What a depth makes of a product. */
static Real rounded(uint32_t depth, Real x) { return depth == VEK_DEPTH_32F ? (float)x : stored(depth, rintl(x)); }

TEST(Product, isComplexOverRandomHeaders)
{
    for (uint32_t seed = 0; seed < 3000; ++seed) {
        Random random(seed);
        Draw draws = {random, 40};
        ImageSpec specs[3] = {draws.spec(depths), draws.spec(depths), draws.spec(depths)};
        const bool hasCoi = draw(random, 0, 2) == 0;
        for (ImageSpec& spec : specs) {
            spec.depth = specs[0].depth;
            if (!hasCoi) spec.nChannels = specs[0].nChannels, spec.hasAlpha = specs[0].hasAlpha;
        }
        TestImage images[3] = {{specs[0], random}, {specs[1], random}, {specs[2], random}};
        const double size = specs[0].depth == VEK_DEPTH_32S ? 60000 : draw(random, 0, 1) ? 11 : 300;
        for (TestImage& image : images) {
            fillTame(image, random, size);
            draws.roi(image, hasCoi ? draw(random, 1, image.image.nChannels) : 0);
        }
        const TestImage &a = images[0], &b = images[draw(random, 0, 1)];
        TestImage& dst = images[draw(random, 0, 2)];

        const Part from = partOf(a.image), by = partOf(b.image), to = partOf(dst.image);
        const int32_t w = std::min({from.width, by.width, to.width}), h = std::min({from.height, by.height, to.height});
        std::vector<Grid<Real>> expected;
        for (size_t i = 0; i < to.channels.size() && w > 0 && h > 0; ++i) {
            Grid<Complex> x = unpackSpectrum(readPart(a, from, from.channels[i], w, h));
            const Grid<Complex> y = unpackSpectrum(readPart(b, by, by.channels[i], w, h));
            for (size_t k = 0; k < x.at.size(); ++k) x.at[k] *= y.at[k];
            expected.push_back(packSpectrum(x));
            for (Real& number : expected.back().at) number = rounded(dst.image.depth, number);
        }
        /* In 32F the double that is rounded may be off in its last place. */
        const Real slack = dst.image.depth == VEK_DEPTH_32F ? 2 * size * size * 1e-7 : 0;
        const std::vector<uint8_t> before = dst.bytes();
        Recorder recorder;
        vekMpyRCPack2D(&a.image, &b.image, &dst.image);
        ASSERT_EQ(recorder.text(), "");
        ASSERT_EQ(differenceFromGrids(dst, before, to, expected, std::vector<Real>(expected.size(), slack)), "")
            << "seed " << seed;
    }
}

/* Two factors as 1 x 1 images: entry 0 is real. */
static int64_t realProduct(uint32_t depth, int64_t a, int64_t b)
{
    Random random(1);
    ImageSpec spec;
    spec.depth = depth;
    spec.width = spec.height = 1;
    TestImage x(spec, random), y(spec, random);
    setSample(x.image, x.block.data, 0, 0, 0, a);
    setSample(y.image, y.block.data, 0, 0, 0, b);
    vekMpyRCPack2D(&x.image, &y.image, &y.image);
    return y.get(0, 0, 0);
}

TEST(Product, holdsToTheRange)
{
    EXPECT_EQ(realProduct(VEK_DEPTH_8S, 100, 2), 127);
    EXPECT_EQ(realProduct(VEK_DEPTH_8S, -128, 2), -128);
    EXPECT_EQ(realProduct(VEK_DEPTH_16S, 300, 300), 32767);
    EXPECT_EQ(realProduct(VEK_DEPTH_16S, 300, -300), -32768);
    EXPECT_EQ(realProduct(VEK_DEPTH_32S, INT32_MIN, INT32_MIN), INT32_MAX);
    EXPECT_EQ(realProduct(VEK_DEPTH_32S, INT32_MIN, INT32_MAX), INT32_MIN);
    EXPECT_EQ(realProduct(VEK_DEPTH_32S, 46341, -46340), -2147441940);
}

/* The product of spectra is the spectrum of the cyclic convolution: an impulse beside the corner shifts. */
TEST(Product, convolvesCyclically)
{
    Random random(2);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32F;
    spec.width = 12, spec.height = 9;
    TestImage picture(spec, random), impulse(spec, random);
    fillTame(picture, random, 100);
    fillTame(impulse, random, 0);
    setSample(impulse.image, impulse.block.data, 2, 1, 0, std::bit_cast<int32_t>(1.0f));
    const Grid<Real> before = readPart(picture, partOf(picture.image), 0, 12, 9);
    vekRealFft2D(&picture.image, &picture.image, 1);
    vekRealFft2D(&impulse.image, &impulse.image, 1);
    vekMpyRCPack2D(&picture.image, &impulse.image, &picture.image);
    vekCcsFft2D(&picture.image, &picture.image, 2);
    const Grid<Real> after = readPart(picture, partOf(picture.image), 0, 12, 9);
    for (int32_t y = 0; y < 9; ++y)
        for (int32_t x = 0; x < 12; ++x)
            EXPECT_NEAR((double)after((x + 2) % 12, (y + 1) % 9), (double)before(x, y), 1e-4);
}

struct Images {
    Random random{3};
    static ImageSpec spec()
    {
        ImageSpec made;
        made.depth = VEK_DEPTH_16S;
        made.nChannels = 2;
        return made;
    }
    TestImage a{spec(), random}, b{spec(), random}, dst{spec(), random};
    VekTileInfo tiles = {[](const VekImage*, int32_t, int32_t, int32_t) {}, nullptr, nullptr, 8, 8};
    void tile(VekImage& image)
    {
        image.imageData = nullptr;
        image.tileInfo = &tiles;
    }
};

static const struct {
    VekStatus status;
    const char* text;
    void (*spoil)(Images&);
} faults[] = {
    {-18, "Incorrect Image", [](Images& i) { i.a.image.alphaChannel = 1; }},
    {-10, "Incorrect Image", [](Images& i) { i.b.image.width = 0; }},
    {-24, "Incorrect Image", [](Images& i) { i.dst.setRoi(3, 0, 0, 4, 4); }},
    {-5, "srcA->imageData == ((void*)(0))", [](Images& i) { i.tile(i.a.image); }},
    {-5, "srcB->imageData == ((void*)(0))", [](Images& i) { i.tile(i.b.image); }},
    {-5, "dst->imageData == ((void*)(0))", [](Images& i) { i.tile(i.dst.image); }},
    {-5, "srcA->depth || srcB->depth == 8U||16U||1U", [](Images& i) { i.b.image.depth = VEK_DEPTH_16U; }},
    {-5, "(srcA->depth != srcB->depth)", [](Images& i) { i.b.image.depth = VEK_DEPTH_8S; }},
    {-5, "(srcA->depth != dst->depth)", [](Images& i) { i.dst.image.depth = VEK_DEPTH_8U; }},
    {-5, "", [](Images& i) { i.dst.image.nChannels = 1; }},
};

TEST(Product, refusesInOrder)
{
    for (size_t i = 0; i < std::size(faults); ++i)
        for (size_t j = i; j < std::size(faults); ++j) {
            Images images;
            const std::vector<uint8_t> before = images.dst.bytes();
            faults[j].spoil(images);
            faults[i].spoil(images);
            Recorder recorder;
            vekMpyRCPack2D(&images.a.image, &images.b.image, &images.dst.image);
            EXPECT_EQ(recorder.text(), std::to_string(faults[i].status) + " vekMpyRCPack2D(" + faults[i].text + ")");
            EXPECT_EQ(images.dst.bytes(), before);
        }
    for (const uint32_t depth : {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U}) {
        Images images;
        for (TestImage* image : {&images.a, &images.b, &images.dst})
            image->image.depth = depth, image->image.nChannels = 1;
        Recorder recorder;
        vekMpyRCPack2D(&images.a.image, &images.b.image, &images.dst.image);
        EXPECT_EQ(recorder.text(), "-5 vekMpyRCPack2D(srcA->depth || srcB->depth == 8U||16U||1U)");
    }
}

} // namespace
