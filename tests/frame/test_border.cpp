/* Pixels outside the image: each by the map of coordinates; rows and rectangles sample by sample equal to it. */
#include "support/support.h"

#include <gtest/gtest.h>

/* ---- The map, step by step ------------------------------------------------------------------------------------------- */

static int32_t mirrored(int32_t c, int32_t n)
{
    for (;;) {
        if (c < 0) c = -c - 1;
        else if (c >= n) c = 2 * n - 1 - c;
        else return c;
    }
}
static int32_t wrapped(int32_t c, int32_t n)
{
    while (c < 0) c += n;
    while (c >= n) c -= n;
    return c;
}

/* What a pixel reads; a 32F constant is the float's bits. */
static int64_t modelPixel(const TestImage& test, int32_t x, int32_t y, int32_t channel)
{
    const VekImage& image = test.image;
    const bool above = y < 0, below = y >= image.height, left = x < 0, right = x >= image.width;
    if (!above && !below && !left && !right) return test.get(x, y, channel);
    const int side = above ? 0 : below ? 1 : left ? 2 : 3;
    switch (image.borderMode[side]) {
    case VEK_BORDER_EDGE:
        return test.get(std::clamp(x, 0, image.width - 1), std::clamp(y, 0, image.height - 1), channel);
    case VEK_BORDER_MIRROR: return test.get(mirrored(x, image.width), mirrored(y, image.height), channel);
    case VEK_BORDER_WRAP: return test.get(wrapped(x, image.width), wrapped(y, image.height), channel);
    }
    if (image.depth == VEK_DEPTH_32F) return (int32_t)std::bit_cast<uint32_t>((float)image.borderConst[side]);
    return image.borderConst[side];
}

/* ---- Random images ----------------------------------------------------------------------------------------------------- */

static const uint32_t depths[] = {VEK_DEPTH_1U,  VEK_DEPTH_8U,  VEK_DEPTH_8S, VEK_DEPTH_16U,
                                  VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F};

static ImageSpec drawSpec(Random& random)
{
    ImageSpec spec;
    spec.depth = depths[draw(random, 0, 6)];
    spec.nChannels = spec.depth == VEK_DEPTH_1U ? 1 : draw(random, 1, 4);
    spec.dataOrder = draw(random, 0, 1);
    spec.width = draw(random, 1, 19);
    spec.height = draw(random, 1, 9);
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 3);
    return spec;
}

static void drawBorders(TestImage& test, Random& random)
{
    for (int side = 0; side < 4; ++side)
        vekSetBorderMode(&test.image, draw(random, 0, 4), 1 << side, draw(random, -300, 70000)); /* 4 acts as 0 */
}

/* The sample as it stands in memory: the value's low bits. */
static int64_t lowBits(uint32_t depth, int64_t value)
{
    const int bits = (int)(depth & 0xFF);
    return bits == 32 ? (int32_t)value : value & ((INT64_C(1) << bits) - 1);
}

TEST(Borders, yieldEachPixelByTheMap)
{
    for (uint32_t seed = 1; seed <= 1500; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        TestImage test(drawSpec(random), random);
        drawBorders(test, random);
        TiledImage tiled(test, 8 * draw(random, 1, 2), 8);
        const VekImage* image = draw(random, 0, 1) ? &test.image : &tiled.image;
        const int32_t n = image->nChannels, channel = draw(random, 1, n);
        for (int i = 0; i < 12; ++i) {
            const int32_t x = draw(random, -60, 80), y = draw(random, -30, 40);
            ASSERT_EQ(vekGetPixelBordered(image, x, y, channel), modelPixel(test, x, y, channel - 1)) << x << "," << y;
        }

        /* A row of one channel, with guarded space for just its samples. */
        const int32_t bits = (int32_t)(image->depth & 0xFF), x = draw(random, -60, 40), y = draw(random, -30, 40);
        const int32_t count = draw(random, 1, 90);
        GuardedBlock row((size_t)((count * bits + 7) / 8));
        vekGetRowBordered(image, x, y, channel, row.data, count);
        VekImage rowImage = *image;
        rowImage.nChannels = rowImage.height = 1;
        for (int32_t i = 0; i < count; ++i)
            ASSERT_EQ(lowBits(image->depth, getSample(rowImage, row.data, i, 0, 0)),
                      lowBits(image->depth, modelPixel(test, x + i, y, channel - 1)))
                << "row from " << x << "," << y << " [" << i << "]";

        /* A rectangle with all channels. */
        VekImage rect = *image;
        rect.width = draw(random, 1, 50);
        rect.height = draw(random, 1, 30);
        uint8_t* block = (uint8_t*)vekCopyRectBordered(image, x, y, rect.width, rect.height, &rect.widthStep);
        ASSERT_TRUE(block);
        for (int32_t j = 0; j < rect.height; ++j)
            for (int32_t i = 0; i < rect.width; ++i)
                for (int32_t c = 0; c < n; ++c)
                    ASSERT_EQ(lowBits(rect.depth, getSample(rect, block, i, j, c)),
                              lowBits(rect.depth, modelPixel(test, x + i, y + j, c)))
                        << "rect from " << x << "," << y << " [" << i << "," << j << "," << c << "]";
        vekFree(block);
        ASSERT_EQ(tiled.logText().find("BAD"), std::string::npos) << tiled.logText();
        ASSERT_FALSE(tiled.isOpen());
    }
}

/* The side of a corner is its top or bottom side. */
TEST(Borders, giveCornersToTopAndBottom)
{
    Random random(1);
    TestImage test(ImageSpec(), random);
    vekSetBorderMode(&test.image, VEK_BORDER_FIXED, VEK_SIDE_TOP, 11);
    vekSetBorderMode(&test.image, VEK_BORDER_FIXED, VEK_SIDE_BOTTOM, 22);
    vekSetBorderMode(&test.image, VEK_BORDER_EDGE, VEK_SIDE_LEFT | VEK_SIDE_RIGHT, 0);
    const struct {
        int32_t x, y;
        int64_t value;
    } rows[] = {{-1, -1, 11},
                {16, -1, 11},
                {5, -1, 11},
                {-1, 16, 22},
                {16, 99, 22},
                {-1, 5, test.get(0, 5, 0)},
                {16, 5, test.get(15, 5, 0)}};
    for (const auto& row : rows)
        EXPECT_EQ(vekGetPixelBordered(&test.image, row.x, row.y, 1), row.value) << row.x << "," << row.y;
}

/* Far coordinates take no longer than near ones, and the integers' ends are as good as any. */
TEST(Borders, reachAnyCoordinate)
{
    Random random(2);
    TestImage test(ImageSpec(), random);
    for (const int mode : {VEK_BORDER_FIXED, VEK_BORDER_EDGE, VEK_BORDER_MIRROR, VEK_BORDER_WRAP}) {
        vekSetBorderMode(&test.image, mode, 15, 7);
        const int64_t far = vekGetPixelBordered(&test.image, INT32_MIN, INT32_MAX, 1);
        const int64_t wanted[] = {7, test.get(0, 15, 0), test.get(0, 0, 0), test.get(0, 15, 0)};
        EXPECT_EQ(far, wanted[mode]);
        uint8_t row[40];
        vekGetRowBordered(&test.image, INT32_MAX - 10, INT32_MIN, 1, row, 40);
        for (int i = 0; i < 11; ++i)
            EXPECT_EQ(row[i], vekGetPixelBordered(&test.image, INT32_MAX - 10 + i, INT32_MIN, 1));
    }
}

TEST(Borders, refuseWhatCannotBeFetched)
{
    Random random(3);
    TestImage test(ImageSpec(), random);
    int32_t rowBytes = -1;
    EXPECT_FALSE(vekCopyRectBordered(nullptr, 0, 0, 4, 4, &rowBytes));
    EXPECT_FALSE(vekCopyRectBordered(&test.image, 0, 0, 0, 4, &rowBytes));
    EXPECT_FALSE(vekCopyRectBordered(&test.image, 0, 0, 4, -1, &rowBytes));
    EXPECT_FALSE(vekCopyRectBordered(&test.image, 0, 0, INT32_MAX, INT32_MAX, &rowBytes));
    for (int32_t VekImage::*field : {&VekImage::align, &VekImage::dataOrder}) {
        VekImage bad = test.image;
        bad.*field = 3;
        EXPECT_FALSE(vekCopyRectBordered(&bad, 0, 0, 4, 4, &rowBytes));
    }
    VekImage wide = test.image;
    wide.nChannels = 1 << 30;
    for (const uint32_t depth : {VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_32S}) {
        wide.depth = depth;
        EXPECT_FALSE(vekCopyRectBordered(&wide, 0, 0, 1 << 30, 1, &rowBytes)); /* no 64-bit number of bits */
    }
    TiledImage tiled(test, 8, 8);
    tiled.image.tileInfo->width = 0;
    EXPECT_EQ(vekGetPixelBordered(&tiled.image, 3, 3, 1), 0);
    EXPECT_EQ(tiled.logText(), "");
    heapFailAfter(0);
    EXPECT_FALSE(vekCopyRectBordered(&test.image, 0, 0, 4, 4, &rowBytes));
    heapFailAfter(-1);
    EXPECT_EQ(rowBytes, -1);
}

/* A tile that is not delivered reads 0 and is released all the same. */
TEST(Borders, readNothingFromATileThatIsNotDelivered)
{
    Random random(4);
    TestImage test(ImageSpec(), random);
    TiledImage tiled(test, 8, 8);
    tiled.failAt = 0;
    EXPECT_EQ(vekGetPixelBordered(&tiled.image, 3, 3, 1), 0);
    EXPECT_EQ(vekGetPixelBordered(&tiled.image, 3, 3, 1), test.get(3, 3, 0));
}
