/* The colour twist: both paths against their rules over random maps, headers, regions, masks and tiles; where one path ends
 * and the other begins; refusals. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>

namespace {

int64_t hold(int64_t x, int64_t low, int64_t high) { return x < low ? low : x > high ? high : x; }

/* Whether a map is computed in integers. */
bool isSmall(const VekColorTwist& t, const VekImage& src, const VekImage& dst, int64_t offset)
{
    const bool bytes = src.depth == 8;
    if (src.nChannels != dst.nChannels || src.nChannels > 4 || t.scalingValue > 15) return false;
    if (offset != hold(offset, bytes ? -128 : -32768, bytes ? 127 : 32767)) return false;
    for (int i = 0; i < 12; ++i)
        if (t.data[i] != hold(t.data[i], -32768, 32767)) return false;
    for (int r = 0; r < 3; ++r) {
        int64_t sum = 0;
        for (int c = 0; c < 3; ++c) sum += llabs(t.data[(bytes ? 0 : 4 * r) + c]);
        sum += llabs(t.data[4 * r + 3] / (bytes ? 256 : 65536));
        const int64_t most = t.scalingValue < 2 ? 32766 : 32767 - (1 << (t.scalingValue - 1));
        if (sum >= (bytes ? 0x7FFFFF : most)) return false;
    }
    return true;
}

/* Channel r of a twisted pixel. */
int64_t twisted(const VekColorTwist& t, bool isSmall, uint32_t depth, int64_t offset, int r, const int64_t c[3])
{
    const int32_t* m = t.data + 4 * r;
    const int64_t most = depth == 8 ? 255 : 65535, sum = m[0] * c[0] + m[1] * c[1] + m[2] * c[2] + m[3];
    if (isSmall && depth == 8) return hold(hold(sum >> t.scalingValue, -32768, 32767) + offset, 0, 255);
    if (isSmall) return hold(hold(sum >> t.scalingValue, 0, 65535) + offset, 0, 65535);
    const double scale = t.scalingValue == 31 ? 1 / 4.656612873e-10 : ldexp(1, t.scalingValue);
    const int64_t v = (int64_t)trunc((double)sum / scale);
    if (offset >= most) return most;
    if (offset <= -most) return 0;
    return hold(v, std::max<int64_t>(0, -offset), std::min(most, most - offset)) + offset;
}

VekColorTwist drawTwist(Random& random)
{
    VekColorTwist t = {};
    t.scalingValue = draw(random, 0, 3) ? draw(random, 0, 15) : draw(random, 16, 31);
    const int32_t size = draw(random, 0, 4) == 0   ? 50
                         : draw(random, 0, 3) == 0 ? INT32_MAX
                         : draw(random, 0, 1)      ? 32767
                                                   : 9000;
    for (int32_t& x : t.data) x = draw(random, -size, size);
    if (draw(random, 0, 1))
        for (int i = 0; i < 12; ++i) t.data[i] /= 1 << std::min(15, 30 - t.scalingValue / 2);
    if (draw(random, 0, 1)) /* near an identity */
        for (int r = 0; r < 3; ++r) t.data[4 * r + r] = 1 << std::min(t.scalingValue, 14);
    return t;
}

/* One call, against the rules; `small` counts the calls in integers. */
void checkTwist(unsigned seed, int* small)
{
    Random random(seed);
    ImageSpec spec;
    spec.depth = draw(random, 0, 1) ? 8 : 16;
    spec.dataOrder = draw(random, 0, 1);
    spec.nChannels = draw(random, 3, 4);
    const int tiles = draw(random, 0, 3) ? 0 : draw(random, 1, 3);
    const bool inPlace = draw(random, 0, 3) == 0;
    const auto makeImage = [&] {
        if (draw(random, 0, 1)) spec.nChannels = draw(random, 3, 5);
        spec.hasAlpha = spec.nChannels > 3 && draw(random, 0, 1);
        spec.width = draw(random, 1, 90);
        spec.height = draw(random, 1, 9);
        spec.moreStep = 4 * draw(random, 0, 1);
        std::unique_ptr<TestImage> image(new TestImage(spec, random));
        if (draw(random, 0, 1))
            image->setRoi(draw(random, 0, 3), draw(random, 0, 20), draw(random, 0, 4), draw(random, 1, 80),
                          draw(random, 1, 9));
        if (draw(random, 0, 2) == 0) {
            ImageSpec bits;
            bits.depth = VEK_DEPTH_1U;
            bits.width = draw(random, 20, 100);
            bits.height = draw(random, 3, 9);
            std::unique_ptr<TestImage> mask(new TestImage(bits, random));
            mask->setRoi(0, draw(random, 0, 9), draw(random, 0, 1), 100, 9);
            image->setMask(std::move(mask));
        }
        return image;
    };
    std::unique_ptr<TestImage> srcOwned = makeImage(), dst = makeImage();
    TestImage& src = inPlace ? *dst : *srcOwned;
    const VekColorTwist t = drawTwist(random);
    const int32_t offset = draw(random, 0, 3) ? draw(random, -130, 130) : draw(random, -70000, 70000);
    const bool isInteger = isSmall(t, src.image, dst->image, offset);
    *small += isInteger;

    struct Rect {
        int32_t x, y, width, height;
    };
    const auto rectOf = [](const VekImage& image) -> Rect {
        if (!image.roi) return {0, 0, image.width, image.height};
        const VekROI& roi = *image.roi;
        return {roi.xOffset, roi.yOffset, std::max(std::min(roi.width, image.width - roi.xOffset), 0),
                std::max(std::min(roi.height, image.height - roi.yOffset), 0)};
    };
    const Rect from = rectOf(src.image), to = rectOf(dst->image);
    int32_t width = std::min(from.width, to.width), height = std::min(from.height, to.height);
    std::vector<TestImage*> masks;
    if (src.mask) masks.push_back(src.mask.get());
    if (!inPlace && dst->mask) masks.push_back(dst->mask.get());
    for (TestImage* mask : masks) {
        width = std::min(width, rectOf(mask->image).width);
        height = std::min(height, rectOf(mask->image).height);
    }
    std::vector<uint8_t> want = dst->bytes();
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            bool write = true;
            for (TestImage* mask : masks) {
                const Rect at = rectOf(mask->image);
                write = write && mask->get(at.x + x, at.y + y, 0);
            }
            int64_t in[3];
            for (int c = 0; c < 3; ++c) in[c] = src.get(from.x + x, from.y + y, c);
            for (int r = 0; r < 3 && write; ++r)
                setSample(dst->image, want.data(), to.x + x, to.y + y, r,
                          twisted(t, isInteger, spec.depth, offset, r, in));
        }

    TiledImage tiledSrc(src, 8 * draw(random, 1, 4), 8), tiledDst(*dst, 8 * draw(random, 1, 4), 8);
    Recorder recorder;
    const int live = heapLive();
    VekImage* out = tiles & 2 ? &tiledDst.image : &dst->image;
    vekApplyColorTwist(inPlace ? out : tiles & 1 ? &tiledSrc.image : &src.image, out, &t, offset);
    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(heapLive(), live);
    for (const std::string& line : tiledDst.log) ASSERT_EQ(line.find("BAD"), line.npos) << tiledDst.logText();
    ASSERT_EQ(dst->bytes(), want) << (isInteger ? "in integers" : "in double") << ", depth " << spec.depth << ", "
                                  << width << "x" << height << ", tiles " << tiles << ", scale " << t.scalingValue;
}

TEST(Twist, EqualsItsRulesOverAnyHeaders)
{
    int small = 0;
    const int nSeeds = 4000;
    for (int seed = 0; seed < nSeeds; ++seed) {
        checkTwist((unsigned)seed, &small);
        if (testing::Test::HasFatalFailure()) FAIL() << "seed " << seed;
    }
    EXPECT_GT(small, nSeeds / 8);
    EXPECT_LT(small, nSeeds * 7 / 8);
}

/* An image whose three channels run through all samples, twisted. */
struct Strip {
    explicit Strip(uint32_t depth)
    {
        spec.depth = depth;
        spec.nChannels = 3;
        spec.width = depth == 8 ? 256 : 4096;
        spec.height = depth == 8 ? 1 : 16;
        Random random(1);
        image.reset(new TestImage(spec, random));
        for (int32_t i = 0; i < spec.width * spec.height; ++i)
            for (int c = 0; c < 3; ++c)
                setSample(image->image, image->block.data, i % spec.width, i / spec.width, c, i);
    }
    int64_t at(int32_t i, int c) const { return image->get(i % spec.width, i / spec.width, c); }
    int32_t size() const { return spec.width * spec.height; }
    ImageSpec spec;
    std::unique_ptr<TestImage> image;
};

VekColorTwist diagonal(int32_t factor, int32_t scale)
{
    VekColorTwist t = {};
    t.scalingValue = scale;
    for (int r = 0; r < 3; ++r) t.data[5 * r] = factor;
    return t;
}

TEST(Twist, IdentityAtEverySample)
{
    for (uint32_t depth : {8u, 16u})
        for (int scale = 0; scale < 31; ++scale) {
            Strip strip(depth);
            const VekColorTwist t = diagonal(1 << scale, scale);
            vekApplyColorTwist(&strip.image->image, &strip.image->image, &t, 0);
            for (int32_t i = 0; i < strip.size(); ++i) ASSERT_EQ(strip.at(i, i % 3), i) << depth << " scale " << scale;
        }
}

TEST(Twist, LargeOffsetsAndHugeSums)
{
    const struct {
        int32_t factor, scale, offset, want;
    } cases[] = {{256, 8, 255, 255},     {256, 8, 70000, 255}, {256, 8, -255, 0},    {256, 8, -300, 0},
                 {INT32_MAX, 0, 0, 255}, {INT32_MIN, 0, 0, 0}, {INT32_MIN, 0, 7, 7}, {INT32_MAX, 0, -7, 248}};
    for (const auto& c : cases) {
        Strip strip(8);
        const VekColorTwist t = diagonal(c.factor, c.scale);
        vekApplyColorTwist(&strip.image->image, &strip.image->image, &t, c.offset);
        for (int32_t i = 1; i < 256; ++i) ASSERT_EQ(strip.at(i, 1), c.want) << c.factor << " offset " << c.offset;
    }
}

/* Of a negative sum the integer path keeps the sign until offset is added, the other one does not. */
TEST(Twist, PathsMeetAtTheirLimits)
{
    for (int32_t offset : {-129, -128, 127, 128}) {
        Strip strip(8);
        VekColorTwist t = diagonal(-16, 4);
        vekApplyColorTwist(&strip.image->image, &strip.image->image, &t, offset);
        const bool integer = offset >= -128 && offset <= 127;
        for (int32_t i = 0; i < 256; ++i)
            ASSERT_EQ(strip.at(i, 0), integer ? hold(offset - i, 0, 255) : std::max(offset, 0))
                << offset << " of " << i;
    }
}

/* Sums just within 16 bits, and just beyond. */
TEST(Twist, ShortSums)
{
    for (int32_t more : {-130, -129, -128, -127, 0, 126, 127, 128, 129})
        for (int32_t large : {127, 128, -127, -128})
            for (int32_t scale : {0, 3, 7, 15})
                for (int32_t offset : {-4, 0, 5}) {
                    Strip strip(8);
                    VekColorTwist t = {{large, large > 0 ? 1 : -1, 0, more, 60, -60, 8, -more, 0, 0, large, more},
                                       scale};
                    vekApplyColorTwist(&strip.image->image, &strip.image->image, &t, offset);
                    for (int32_t i = 0; i < 256; ++i)
                        for (int r = 0; r < 3; ++r) {
                            const int64_t in[3] = {i, i, i};
                            ASSERT_EQ(strip.at(i, r), twisted(t, true, 8, offset, r, in))
                                << large << " " << more << " " << i;
                        }
                }
}

/* ---- The record, and refusals ------------------------------------------------------------------------------------- */

TEST(Twist, Record)
{
    int32_t data[16];
    for (int i = 0; i < 16; ++i) data[i] = 100 - i;
    Recorder recorder;
    VekColorTwist* t = vekCreateColorTwist(data, 31);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(memcmp(t->data, data, sizeof(data)), 0);
    EXPECT_EQ(t->scalingValue, 31);
    EXPECT_EQ(recorder.text(), "");
    vekSetColorTwist(nullptr, nullptr, -1);
    vekSetColorTwist(t, nullptr, 32);
    vekSetColorTwist(t, data, -1);
    vekSetColorTwist(t, data + 1, 32);
    EXPECT_EQ(vekCreateColorTwist(nullptr, -1), nullptr);
    EXPECT_EQ(vekCreateColorTwist(data, -1), nullptr);
    EXPECT_EQ(vekCreateColorTwist(data, 32), nullptr);
    heapFailAfter(0);
    EXPECT_EQ(vekCreateColorTwist(data, 3), nullptr);
    heapFailAfter(-1);
    EXPECT_EQ(
        recorder.text(),
        "-5 vekSetColorTwist(cTwist==0); -5 vekSetColorTwist((data == 0)); -5 vekSetColorTwist((scalingValue < 0)); "
        "-5 vekSetColorTwist((scalingValue > 31)); -5 vekCreateColorTwist((data == 0)); "
        "-5 vekCreateColorTwist((scalingValue < 0)); -5 vekCreateColorTwist((scalingValue > 31)); "
        "-4 vekCreateColorTwist(Out of memory)");
    EXPECT_EQ(memcmp(t->data, data, sizeof(data)), 0) << "a refusal changes nothing";
    data[15] = 7;
    vekSetColorTwist(t, data, 4);
    EXPECT_EQ(memcmp(t->data, data, sizeof(data)), 0);
    EXPECT_EQ(t->scalingValue, 4);
    const int live = heapLive();
    vekDeleteColorTwist(t);
    EXPECT_EQ(heapLive(), live - 1);
    vekDeleteColorTwist(nullptr);
}

/* A tile that does not come ends the call; masks that can't be merged are reported. */
TEST(Twist, TilesAndMasksThatDoNotCome)
{
    Random random(2);
    ImageSpec spec;
    spec.nChannels = 3;
    spec.width = 32;
    TestImage src(spec, random), dst(spec, random);
    const VekColorTwist t = diagonal(200, 8);
    for (bool source : {true, false}) {
        TiledImage tiledSrc(src, 16, 16), tiledDst(dst, 16, 16);
        (source ? tiledSrc : tiledDst).failAt = 1;
        Recorder recorder;
        vekApplyColorTwist(&tiledSrc.image, &tiledDst.image, &t, 0);
        EXPECT_EQ(recorder.text(), source ? "-5 vekApplyColorTwist((srcImage->tileInfo->tileData == ((void *)0)))"
                                          : "-5 vekApplyColorTwist((dstImage->tileInfo->tileData == ((void *)0)))");
    }
    for (TestImage* image : {&src, &dst}) {
        ImageSpec bits;
        bits.depth = VEK_DEPTH_1U;
        image->setMask(std::unique_ptr<TestImage>(new TestImage(bits, random)));
    }
    for (int n = 0; n < 2; ++n) {
        const std::vector<uint8_t> before = dst.bytes();
        const int live = heapLive();
        Recorder recorder;
        heapFailAfter(n);
        vekApplyColorTwist(&src.image, &dst.image, &t, 0);
        heapFailAfter(-1);
        EXPECT_EQ(recorder.text(), "-5 vekApplyColorTwist((msk == ((void *)0)))");
        EXPECT_EQ(heapLive(), live);
        EXPECT_EQ(dst.bytes(), before);
    }
}

} // namespace
