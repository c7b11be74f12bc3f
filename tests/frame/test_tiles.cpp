/* The walk over tiled images: which tiles are opened, in which order, and what happens when one is not delivered. */
#include "support/support.h"

#include <gtest/gtest.h>

static ImageSpec grey(int32_t width, int32_t height, uint32_t depth = VEK_DEPTH_8U)
{
    ImageSpec spec;
    spec.depth = depth;
    spec.width = width;
    spec.height = height;
    return spec;
}

TEST(TileWalk, goesBandByBandFromLeftToRight)
{
    Random random(1);
    TestImage a(grey(32, 32), random), dst(grey(32, 32), random);
    a.setRoi(0, 5, 5, 10, 10);
    TiledImage tiled(a, 8, 8);
    Recorder recorder;
    vekXorS(&tiled.image, &dst.image, 0);
    EXPECT_EQ(tiled.logText(), "R 0,0; release 0,0; R 1,0; release 1,0; R 0,1; release 0,1; R 1,1; release 1,1");
    EXPECT_EQ(dst.get(0, 0, 0), a.get(5, 5, 0));
    EXPECT_EQ(dst.get(9, 9, 0), a.get(14, 14, 0));
    EXPECT_EQ(recorder.text(), "");
}

/* The bands end at the boundaries of either grid; a tile that spans bands is opened in each. */
TEST(TileWalk, cutsAtTheBoundariesOfAllImages)
{
    Random random(2);
    TestImage a(grey(20, 12), random), b(grey(20, 12), random), dst(grey(20, 12), random);
    TiledImage tiledA(a, 16, 8), tiledD(dst, 8, 16);
    Recorder recorder;
    vekAdd(&tiledA.image, &b.image, &tiledD.image);
    EXPECT_EQ(tiledA.logText(), "R 0,0; release 0,0; R 1,0; release 1,0; R 0,1; release 0,1; R 1,1; release 1,1");
    EXPECT_EQ(tiledD.logText(), "W 0,0; release 0,0; W 1,0; release 1,0; W 2,0; release 2,0; "
                                "W 0,0; release 0,0; W 1,0; release 1,0; W 2,0; release 2,0");
    EXPECT_EQ(recorder.text(), "");
}

TEST(TileWalk, opensAnImageOnceForAllItsParts)
{
    Random random(3);
    TestImage a(grey(9, 8), random), dst(grey(9, 8), random);
    {
        TiledImage tiled(dst, 8, 8);
        vekAdd(&tiled.image, &tiled.image, &tiled.image); /* in place: only written */
        EXPECT_EQ(tiled.logText(), "W 0,0; release 0,0; W 1,0; release 1,0");
    }
    TiledImage source(a, 8, 8), other(dst, 8, 8);
    vekAdd(&source.image, &source.image, &other.image); /* both sources: read once */
    EXPECT_EQ(source.logText(), "R 0,0; release 0,0; R 1,0; release 1,0");
}

/* ---- Tiles that are not delivered --------------------------------------------------------------------------------------- */

TEST(TileWalk, endsAtATileThatIsNotDelivered)
{
    const struct {
        bool isSource;
        int failAt;
        const char *text, *log;
    } rows[] = {
        {true, 0, "-5 vekXorS((srcImage->tileInfo->tileData == ((void*)(0))))", "R 0,0"},
        {true, 1, "-5 vekXorS((srcImage->tileInfo->tileData == ((void*)(0))))", "R 0,0; release 0,0; R 1,0"},
        {false, 2, "-5 vekXorS((dstImage->tileInfo->tileData == ((void*)(0))))",
         "W 0,0; release 0,0; W 1,0; release 1,0; W 0,1"},
    };
    for (const auto& row : rows) {
        Random random(4);
        TestImage a(grey(16, 16), random), dst(grey(16, 16), random);
        ImageSpec maskSpec = grey(16, 16, VEK_DEPTH_1U);
        a.setMask(std::make_unique<TestImage>(maskSpec, random));
        dst.setMask(std::make_unique<TestImage>(maskSpec, random));
        TiledImage tiledA(a, 8, 8), tiledD(dst, 8, 8);
        (row.isSource ? tiledA : tiledD).failAt = row.failAt;
        const int live = heapLive();
        Recorder recorder;
        vekXorS(&tiledA.image, &tiledD.image, 0xFF);
        EXPECT_EQ(recorder.text(), row.text);
        EXPECT_EQ((row.isSource ? tiledA : tiledD).logText(), row.log);
        EXPECT_EQ(heapLive(), live) << "the merged mask stays behind";
    }
    Random random(5);
    TestImage a(grey(16, 16), random), b(grey(16, 16), random), dst(grey(16, 16), random);
    TiledImage tiledB(b, 8, 8);
    tiledB.failAt = 0;
    Recorder recorder;
    vekAdd(&a.image, &tiledB.image, &dst.image);
    EXPECT_EQ(recorder.text(), "-5 vekAdd((srcImageB->tileInfo->tileData == ((void*)(0))))");
}

TEST(TileWalk, makesNoCallbackForARegionOutsideTheImage)
{
    for (const bool isBelow : {false, true}) {
        Random random(6);
        TestImage a(grey(16, 16), random), dst(grey(16, 16), random);
        a.setRoi(0, isBelow ? 0 : 24, isBelow ? 24 : 0, 8, 8);
        TiledImage tiledA(a, 8, 8), tiledD(dst, 8, 8);
        Recorder recorder;
        vekXorS(&tiledA.image, &tiledD.image, 0);
        EXPECT_EQ(tiledA.logText() + tiledD.logText(), "");
        EXPECT_EQ(recorder.text(), "");
    }
}

/* A region without columns whose first tile exists: the bands are walked, with no piece in them. */
TEST(TileWalk, opensTheTilesOfARegionWithoutColumns)
{
    Random random(7);
    TestImage a(grey(12, 12), random), dst(grey(12, 12), random);
    a.setRoi(0, 13, 0, 8, 12);
    TiledImage tiledA(a, 8, 8);
    const std::vector<uint8_t> before = dst.bytes();
    vekXorS(&tiledA.image, &dst.image, 0);
    EXPECT_EQ(tiledA.logText(), "R 1,0; release 1,0; R 1,1; release 1,1");
    EXPECT_EQ(dst.bytes(), before);
}

TEST(TileWalk, letsVekAbsAskForClearedTiles)
{
    Random random(8);
    TestImage a(grey(16, 8, VEK_DEPTH_8S), random), dst(grey(16, 8, VEK_DEPTH_8S), random);
    for (const bool isSource : {true, false}) {
        TiledImage tiledA(a, 8, 8), tiledD(dst, 8, 8);
        (isSource ? tiledA : tiledD).clears = false;
        Recorder recorder;
        vekAbs(&tiledA.image, &tiledD.image);
        EXPECT_EQ(recorder.text(), std::string("-5 vekAbs((") + (isSource ? "src" : "dst") +
                                       "Image->tileInfo->tileData != ((void*)(0))))");
        EXPECT_EQ(tiledA.log.size(), isSource ? 2u : 3u);
    }
    TiledImage kept(a, 8, 8);
    kept.clears = false;
    Recorder recorder;
    vekXorS(&kept.image, &dst.image, 1); /* no other operation asks this */
    EXPECT_EQ(recorder.text(), "");
}
