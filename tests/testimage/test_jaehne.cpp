#include "arith/point_table.h"

#include <gtest/gtest.h>

#include <math.h>

/* The wave's value of a pixel, and the sample that it makes. */
static double ring(int32_t x, int32_t y, int32_t width, int32_t height)
{
    const double dx = x - width / 2, dy = y - height / 2;
    return sin((dx * dx + dy * dy) * 6.283185307179586 / (4.0 * height));
}

static double scaled(int slot, double v)
{
    switch (slot) {
    case OWN_1U: return (v + 1) * 0.99999;
    case OWN_8U: return (v + 1) * 127.99999;
    case OWN_8S: return v * 127.99999;
    case OWN_16U: return (v + 1) * 32767.99999;
    case OWN_16S: return v * 32767.99999;
    case OWN_32S: return v * 2147483647.99999;
    }
    return (v + 1) * 0.49999;
}

TEST(Jaehne, isTheWaveOverTheSquaredRadius)
{
    for (int slot = 0; slot < OWN_DEPTHS; ++slot)
        for (const auto& [width, height] : {std::pair(1, 1), std::pair(37, 21), std::pair(8, 40)}) {
            VekImage* image = vekCreateImageJaehne((int32_t)slotDepths[slot], width, height);
            ASSERT_TRUE(image);
            for (int32_t y = 0; y < height; ++y)
                for (int32_t x = 0; x < width; ++x) {
                    const int64_t sample = getSample(*image, image->imageData, x, y, 0);
                    const double exact = scaled(slot, ring(x, y, width, height));
                    /* Where rounding decides between two neighbours either will do. */
                    const double slack = slot == OWN_32S ? 2 : 1e-7,
                                 value = slot == OWN_32F ? floatOf(sample) : (double)sample;
                    const bool isNear = slot == OWN_32F ? fabs(value - exact) < 1e-6 : fabs(value - exact) < 1 + slack;
                    ASSERT_TRUE(isNear) << slotNames[slot] << " " << x << "," << y;
                    const bool isSure = slot != OWN_32S && slot != OWN_32F && fabs(exact - round(exact)) > 1e-6;
                    if (isSure) { ASSERT_EQ(value, trunc(exact)) << slotNames[slot] << " " << x << "," << y; }
                }
            vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
        }
}

TEST(Jaehne, hasTheHeaderOfAPlainGreyImage)
{
    VekImage* image = vekCreateImageJaehne((int32_t)VEK_DEPTH_8U, 9, 5);
    ASSERT_TRUE(image);
    EXPECT_EQ(vekCheckImageHeader(image), 0);
    EXPECT_EQ(memcmp(image->colorModel, "GRAY", 4) | memcmp(image->channelSeq, "GRAY", 4), 0);
    EXPECT_EQ(image->widthStep, 12);
    EXPECT_EQ(image->imageData[2 * 12 + 4], 127);
    EXPECT_EQ(image->imageData[9] | image->imageData[10] | image->imageData[11], 0) << "padding is filled with 0";
    vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
}

TEST(Jaehne, refusesInOrder)
{
    const struct {
        uint32_t depth;
        int32_t width, height;
        int failAfter;
        const char* report;
    } rows[] = {
        {7, 0, 5, 0, "-10 vekCreateImageJaehne(Incorrect image size)"},
        {8, 5, -1, 0, "-10 vekCreateImageJaehne(Incorrect image size)"},
        {7, 5, 5, 0, "-17 vekCreateImageJaehne(Incorrect depth value in the image header)"},
        {8, 5, 5, 0, "-4 vekCreateImageJaehne(Not enough memory to allocate header for ImageJaehne)"},
        {8, 5, 5, 1, "-4 vekCreateImageJaehne(Not enough memory to allocate imageData for ImageJaehne)"},
        {32, 5, 5, 1, "-4 vekCreateImageJaehne(Not enough memory to allocate imageData for ImageJaehne)"},
    };
    const int live = heapLive();
    for (const auto& row : rows) {
        Recorder recorder;
        heapFailAfter(row.failAfter);
        EXPECT_FALSE(vekCreateImageJaehne((int32_t)row.depth, row.width, row.height));
        heapFailAfter(-1);
        EXPECT_EQ(recorder.text(), row.report);
        EXPECT_EQ(heapLive(), live);
    }
}
