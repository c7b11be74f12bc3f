/* Moments: over random headers against sums in the stated lanes, and numbers worked out by hand. */
#include "support/parts.h"

#include <gtest/gtest.h>

#include <math.h>

namespace {

/* ---- What is stated -------------------------------------------------------------------------------------------------- */

Area workingArea(const TestImage& image)
{
    Area area = areaOf(image.image);
    if (image.mask) {
        area.width = std::min(area.width, areaOf(image.mask->image).width);
        area.height = std::min(area.height, areaOf(image.mask->image).height);
    }
    return area;
}

float sampleOf(const TestImage& image, int32_t x, int32_t y)
{
    if (!isThrough(image, x, y)) return 0;
    const VekROI* roi = image.image.roi;
    const int64_t sample = regionSample(image, x, y, roi && roi->coi ? roi->coi - 1 : 0);
    return image.image.depth == VEK_DEPTH_32F ? std::bit_cast<float>((uint32_t)sample) : (float)sample;
}

/* One row, or a tile's part of it: volatile, so that no sum or product is fused or kept in more precision. */
double rowSum(const TestImage& image, const Area& area, int32_t from, int32_t to, int32_t y, int m)
{
    volatile float lane[4] = {}, sum = 0;
    for (int32_t x = from; x < to; ++x) {
        volatile float p = sampleOf(image, x, y);
        for (int i = 0; i < m; ++i) p = p * (float)(area.x + x);
        lane[(x - from) % 4] = lane[(x - from) % 4] + p;
    }
    for (int i = 0; i < 4; ++i) sum = i ? sum + lane[i] : lane[0];
    return sum;
}

/* The end of the part that begins at `at` of the rectangle. */
int32_t partEnd(int32_t corner, int32_t at, int32_t end, int32_t tileSize)
{
    return tileSize ? std::min(end, (corner + at) / tileSize * tileSize + tileSize - corner) : end;
}

double statedMoment(const TestImage& image, int32_t tileWidth, int32_t tileHeight, int m, int n)
{
    const Area area = workingArea(image);
    volatile double moment = 0;
    for (int32_t y0 = 0, y1; y0 < area.height; y0 = y1) {
        y1 = partEnd(area.y, y0, area.height, tileHeight);
        for (int32_t x0 = 0, x1; x0 < area.width; x0 = x1) {
            x1 = partEnd(area.x, x0, area.width, tileWidth);
            for (int32_t y = y0; y < y1; ++y) {
                volatile double power = 1;
                for (int i = 0; i < n; ++i) power = power * (area.y + y);
                volatile double term = power * rowSum(image, area, x0, x1, y, m);
                moment = moment + term;
            }
        }
    }
    return moment;
}

bool isSame(double a, double b) { return a == b || (isnan(a) && isnan(b)); }

/* ---- Random headers -------------------------------------------------------------------------------------------------- */

void runSeed(uint32_t seed)
{
    Random random(seed);
    ImageSpec spec;
    const int slot = draw(random, 0, OWN_DEPTHS - 1);
    spec.depth = slotDepths[slot];
    spec.nChannels = slot == OWN_1U ? 1 : draw(random, 1, 4);
    spec.hasAlpha = slot != OWN_1U && draw(random, 0, 1);
    spec.dataOrder = draw(random, 0, 1);
    spec.width = draw(random, 1, draw(random, 0, 9) ? 70 : 4300);
    spec.height = draw(random, 1, spec.width > 100 ? 3 : 30);
    spec.moreStep = draw(random, 0, 1) * draw(random, 0, 9);
    spec.atEnd = draw(random, 0, 1);
    TestImage image(spec, random);
    if (spec.nChannels > 1 || draw(random, 0, 1))
        image.setRoi(spec.nChannels > 1 ? draw(random, 1, spec.nChannels) : 0, draw(random, 0, spec.width),
                     draw(random, 0, spec.height - 1), draw(random, 1, spec.width), draw(random, 1, spec.height));
    if (draw(random, 0, 1)) image.setMask(drawMask(image.image, random));
    std::unique_ptr<TiledImage> tiled;
    int32_t tileWidth = 0, tileHeight = 0;
    if (draw(random, 0, 2) == 0) {
        tileWidth = 8 * draw(random, 1, 3);
        tileHeight = 8 * draw(random, 1, 2);
        tiled = std::make_unique<TiledImage>(image, tileWidth, tileHeight);
    }
    const VekImage* header = tiled ? &tiled->image : &image.image;
    SCOPED_TRACE("seed " + std::to_string(seed) + " slot " + std::to_string(slot));

    const Area area = workingArea(image);
    const bool isEmpty = area.width < 1 || area.height < 1;
    const int live = heapLive();
    Recorder recorder;
    VekMomentState state;
    memset(state, 0x5A, sizeof(state));
    VekMomentState before;
    memcpy(before, state, sizeof(state));
    vekMoments(header, state);
    if (isEmpty) {
        ASSERT_EQ(memcmp(before, state, sizeof(state)), 0);
        ASSERT_EQ(vekCentralMoment(header, 2, 0), 0.0);
    }
    for (int m = 0; m < 4; ++m)
        for (int n = 0; n < 4; ++n) {
            if (m + n > 3) {
                ASSERT_EQ(memcmp(&before[m][n], &state[m][n], sizeof(VekMoment)), 0);
                continue;
            }
            const double stated = isEmpty ? 0.0 : statedMoment(image, tileWidth, tileHeight, m, n);
            const double one = vekSpatialMoment(header, m, n);
            ASSERT_TRUE(isSame(one, stated)) << m << n << ": " << one << ", not " << stated;
            if (isEmpty) continue;
            ASSERT_TRUE(isSame(vekGetSpatialMoment(state, m, n), stated))
                << m << n << ": " << state[m][n].value << ", not " << stated;
            const double unit = pow(area.width, m) * pow(area.height, n);
            ASSERT_TRUE(isSame(vekNormalizedSpatialMoment(header, m, n), stated / unit));
            ASSERT_NEAR(state[m][n].scale * unit, 1.0, 1e-15);
            ASSERT_TRUE(isSame(vekGetNormalizedSpatialMoment(state, m, n), stated * state[m][n].scale));
            ASSERT_TRUE(isSame(vekCentralMoment(header, m, n), vekGetCentralMoment(state, m, n)));
            ASSERT_TRUE(isSame(vekNormalizedCentralMoment(header, m, n), vekGetNormalizedCentralMoment(state, m, n)));
        }
    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(heapLive(), live);
    if (!tiled) return;
    ASSERT_FALSE(tiled->isOpen());
    ASSERT_EQ(tiled->logText().find("BAD"), std::string::npos) << tiled->logText();
}

TEST(Moments, RandomHeadersAsStated)
{
    for (uint32_t seed = 0; seed < 1000; ++seed) {
        runSeed(seed);
        if (HasFatalFailure()) return;
    }
}

/* ---- By hand --------------------------------------------------------------------------------------------------------- */

std::unique_ptr<TestImage> makeImage(int32_t width, int32_t height,
                                     const std::function<int(int32_t x, int32_t y)>& level)
{
    Random random(1);
    ImageSpec spec;
    spec.width = width;
    spec.height = height;
    auto image = std::make_unique<TestImage>(spec, random);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) setSample(image->image, image->block.data, x, y, 0, level(x, y));
    return image;
}

/* Small numbers, which floats hold exactly: the central moments are the sums about the centroid; those of order (1, 1) and
 * (0, 2), (2, 0) in any case, those of order three where they agree with the formula of the field. */
TEST(Moments, CentralOnesAreAboutTheCentroid)
{
    const auto image = makeImage(9, 7, [](int32_t x, int32_t y) { return (3 * x + 5 * y * x + 2) % 11; });
    VekMomentState state;
    vekMoments(&image->image, state);
    double mass = 0, u = 0, v = 0;
    for (int32_t y = 0; y < 7; ++y)
        for (int32_t x = 0; x < 9; ++x)
            mass += image->get(x, y, 0), u += x * image->get(x, y, 0), v += y * image->get(x, y, 0);
    u /= mass, v /= mass;
    const int orders[][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1}, {0, 2}, {3, 0}, {2, 1}, {1, 2}, {0, 3}};
    for (const auto& [m, n] : orders) {
        double about = 0;
        for (int32_t y = 0; y < 7; ++y)
            for (int32_t x = 0; x < 9; ++x) about += pow(x - u, m) * pow(y - v, n) * image->get(x, y, 0);
        EXPECT_NEAR(vekGetCentralMoment(state, m, n), about, 1e-9 * mass * 1000) << m << n;
        EXPECT_NEAR(vekGetNormalizedCentralMoment(state, m, n), about / pow(9, m) / pow(7, n), 1e-9 * mass) << m << n;
    }
}

TEST(Moments, Edges)
{
    const auto ones = makeImage(4, 4, [](int32_t, int32_t) { return 1; });
    EXPECT_EQ(vekSpatialMoment(&ones->image, 0, 0), 16);
    EXPECT_EQ(vekSpatialMoment(&ones->image, 1, 0), 24);
    EXPECT_EQ(vekSpatialMoment(&ones->image, 0, 1), 24);
    EXPECT_EQ(vekCentralMoment(&ones->image, 1, 1), 0);

    const auto zeroes = makeImage(8, 6, [](int32_t, int32_t) { return 0; });
    EXPECT_EQ(vekCentralMoment(&zeroes->image, 2, 0), 0);
    EXPECT_EQ(vekCentralMoment(&zeroes->image, 2, 1), 0);

    const auto one = makeImage(30, 40, [](int32_t x, int32_t y) { return x == 10 && y == 20; });
    one->setRoi(0, 10, 20, 5, 5);
    EXPECT_EQ(vekSpatialMoment(&one->image, 1, 2), 10 * 20 * 20);
}

TEST(Moments, Refusals)
{
    Random random(2);
    ImageSpec spec;
    spec.nChannels = 3;
    TestImage colour(spec, random);
    spec.nChannels = 1;
    TestImage gray(spec, random);
    VekMomentState state, before;
    memset(state, 1, sizeof(state));
    memcpy(before, state, sizeof(state));
    const auto reports = [](const std::function<double()>& call) {
        Recorder recorder;
        EXPECT_EQ(call(), 0.0);
        return recorder.text();
    };
    EXPECT_EQ(reports([&] { return vekMoments(nullptr, state), 0.0; }), "-9 vekMoments(Incorrect Image)");
    EXPECT_EQ(reports([&] { return vekMoments(&colour.image, state), 0.0; }),
              "-5 vekMoments(Only one channel can be proceed)");
    EXPECT_EQ(reports([&] { return vekCentralMoment(&colour.image, 2, 2); }),
              "-5 vekCentralMoment(Only one channel can be proceed)");
    struct Function {
        const char* name;
        double (*call)(const VekImage*, int32_t, int32_t);
    };
    for (const Function& f : {Function{"vekSpatialMoment", vekSpatialMoment},
                              {"vekNormalizedSpatialMoment", vekNormalizedSpatialMoment},
                              {"vekCentralMoment", vekCentralMoment},
                              {"vekNormalizedCentralMoment", vekNormalizedCentralMoment}}) {
        EXPECT_EQ(reports([&] { return f.call(&gray.image, 2, 2); }),
                  "-5 " + std::string(f.name) + "(Illegal order of moment)");
        EXPECT_EQ(reports([&] { return f.call(nullptr, 9, 0); }), "-9 " + std::string(f.name) + "(Incorrect Image)");
        TiledImage tiled(gray, 8, 8);
        tiled.failAt = 1;
        EXPECT_EQ(reports([&] { return f.call(&tiled.image, 1, 1); }),
                  "-5 " + std::string(f.name) + "((srcImage->tileInfo->tileData == ((void*)(0))))");
    }
    EXPECT_EQ(reports([&] { return vekGetSpatialMoment(state, -1, 2); }),
              "-5 vekGetSpatialMoment(Illegal order of moment)");
    EXPECT_EQ(reports([&] { return vekGetNormalizedSpatialMoment(state, 0, 4); }),
              "-5 vekGetNormalizedSpatialMoment(Illegal order of moment)");
    EXPECT_EQ(reports([&] { return vekGetCentralMoment(state, 3, 1); }),
              "-5 vekGetCentralMoment(Illegal order of moment)");
    EXPECT_EQ(reports([&] { return vekGetNormalizedCentralMoment(state, 4, 0); }),
              "-5 vekGetNormalizedCentralMoment(Illegal order of moment)");
    TiledImage tiled(gray, 8, 8);
    tiled.failAt = 2;
    EXPECT_EQ(reports([&] { return vekMoments(&tiled.image, state), 0.0; }),
              "-5 vekMoments((srcImage->tileInfo->tileData == ((void*)(0))))");
    EXPECT_EQ(memcmp(before, state, sizeof(state)), 0);
}

/* What the mask leaves out counts as nothing, whatever it is. */
TEST(Moments, MaskedNotANumber)
{
    Random random(3);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32F;
    TestImage image(spec, random);
    for (int32_t y = 0; y < 16; ++y)
        for (int32_t x = 0; x < 16; ++x)
            setSample(image.image, image.block.data, x, y, 0,
                      std::bit_cast<int32_t>(x % 2   ? 1.0f
                                             : y % 2 ? NAN
                                                     : INFINITY));
    ImageSpec bits;
    bits.depth = VEK_DEPTH_1U;
    TestImage& mask = image.setMask(std::make_unique<TestImage>(bits, random));
    memset(mask.block.data, 0x55, mask.block.bytes);
    EXPECT_EQ(vekSpatialMoment(&image.image, 0, 0), 128);
    EXPECT_EQ(vekSpatialMoment(&image.image, 1, 0), 16 * 64);
}

} // namespace
