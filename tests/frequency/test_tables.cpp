/* What a thread keeps for transforms: taken once, released by flag and at the thread's end, and what happens when
 * memory is short. */
#include "frequency/sums.h"

#include <gtest/gtest.h>

#include <thread>

struct Pictures {
    Random random{1};
    static ImageSpec spec(uint32_t depth, int32_t width, int32_t height)
    {
        ImageSpec made;
        made.depth = depth;
        made.nChannels = 2;
        made.width = width, made.height = height;
        return made;
    }
    Pictures(uint32_t depth, int32_t w, int32_t h) : src(spec(depth, w, h), random), dst(spec(depth, w, h), random)
    {
        fillTame(src, random, 50);
        fillTame(dst, random, 50);
    }
    TestImage src, dst;
};

/* Every transform, and the flag that releases its tables. */
static const struct {
    const char* name;
    void (*call)(const VekImage*, VekImage*, int32_t);
    uint32_t depth;
    int32_t flags, release;
} transforms[] = {
    {"vekRealFft2D", vekRealFft2D, VEK_DEPTH_32F, 1, 128},
    {"vekCcsFft2D", vekCcsFft2D, VEK_DEPTH_32F, 2, 128},
    {"vekRealFft2D", vekRealFft2D, VEK_DEPTH_16S, 1 + 16, 128},
    {"vekDCT2D", vekDCT2D, VEK_DEPTH_16S, 1, 8},
};

static const std::pair<int32_t, int32_t> sizes[] = {{16, 32}, {12, 10}, {53, 16}, {9, 1}, {1, 59}};

static void releaseAll()
{
    vekRealFft2D(nullptr, nullptr, 128);
    vekDCT2D(nullptr, nullptr, 8);
}

TEST(Tables, areKeptUntilReleased)
{
    for (const auto& row : transforms)
        for (const auto& [w, h] : sizes) {
            releaseAll();
            Pictures pictures(row.depth, w, h);
            const int before = heapLive();
            row.call(&pictures.src.image, &pictures.dst.image, row.flags);
            const int kept = heapLive();
            EXPECT_GT(kept, before) << row.name;
            heapFailAfter(0); /* nothing more is taken */
            Recorder recorder;
            row.call(&pictures.src.image, &pictures.dst.image, row.flags);
            heapFailAfter(-1);
            EXPECT_EQ(recorder.text(), "");
            EXPECT_EQ(heapLive(), kept) << row.name;
            row.call(nullptr, nullptr, row.release);
            EXPECT_EQ(heapLive(), before) << row.name;
        }
}

/* Whichever allocation fails, the tables are released and all is tried once more. When that fails too the destination
 * is as it was. */
TEST(Tables, areTriedForTwice)
{
    for (const auto& row : transforms)
        for (const auto& [w, h] : sizes) {
            releaseAll();
            Pictures pictures(row.depth, w, h);
            const std::vector<uint8_t> before = pictures.dst.bytes();
            const int live = heapLive();
            int n = 0;
            for (;; ++n) {
                Recorder recorder;
                heapFailAfter(n);
                row.call(&pictures.src.image, &pictures.dst.image, row.flags);
                heapFailAfter(-1);
                if (recorder.reports.empty()) break;
                ASSERT_EQ(recorder.text(), std::string("-4 ") + row.name + "(No working memory)") << n;
                ASSERT_EQ(pictures.dst.bytes(), before) << n;
                row.call(nullptr, nullptr, row.release);
                ASSERT_EQ(heapLive(), live) << n;
            }
            EXPECT_GE(n, 3) << row.name;
            EXPECT_NE(pictures.dst.bytes(), before);
        }
    releaseAll();
}

/* Other lengths' tables make room for the ones that are needed. */
TEST(Tables, giveWay)
{
    releaseAll();
    Recorder recorder;
    for (int32_t n = 3; n < 120; n += 2)
        for (const auto& row : transforms) {
            Pictures pictures(row.depth, n, 2);
            row.call(&pictures.src.image, &pictures.dst.image, row.flags);
        }
    EXPECT_EQ(recorder.text(), "");
    releaseAll();
}

/* Each thread has its own, gone with it; all get the same result. */
TEST(Tables, belongToTheirThread)
{
    releaseAll();
    const int before = heapLive();
    for (const auto& row : transforms) {
        Pictures pictures(row.depth, 24, 20);
        row.call(&pictures.src.image, &pictures.dst.image, row.flags);
        const std::vector<uint8_t> expected = pictures.dst.bytes();
        releaseAll();
        std::vector<std::unique_ptr<Pictures>> own;
        for (int i = 0; i < 8; ++i) own.push_back(std::make_unique<Pictures>(row.depth, 24, 20));
        std::vector<std::thread> threads;
        for (auto& mine : own)
            threads.emplace_back([&mine, &row] {
                for (int i = 0; i < 20; ++i) row.call(&mine->src.image, &mine->dst.image, row.flags);
            });
        for (std::thread& thread : threads) thread.join();
        for (auto& mine : own) EXPECT_EQ(mine->dst.bytes(), expected);
    }
    EXPECT_EQ(heapLive(), before);
}
