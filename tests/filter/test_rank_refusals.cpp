/* The refusals of the rank filters and the morphology, in their order: of two faults the earlier test wins. Nothing is
 * written, nothing is leaked, whatever allocation fails and whatever tile is missing. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

/* A call with everything that may be wrong about it. */
struct Args {
    Args() : random(1), src(spec(), random), other(spec(), random) {}

    static ImageSpec spec()
    {
        ImageSpec made;
        made.nChannels = 3;
        return made;
    }
    Random random;
    TestImage src, other;
    const VekImage* pSrc = &src.image;
    VekImage* pDst = &other.image;
    int32_t nCols = 3, nRows = 3, anchorX = 1, anchorY = 1, nIterations = 1;
};

struct Fault {
    const char* name;
    std::function<void(Args&)> spoil;
    VekStatus status;
    const char* text;
};

static const std::vector<Fault> rankFaults = {
    {"no source", [](Args& a) { a.pSrc = nullptr; }, -9, "Incorrect Image"},
    {"no destination", [](Args& a) { a.pDst = nullptr; }, -9, "Incorrect Image"},
    {"anchor beyond", [](Args& a) { a.anchorX = a.nCols; }, -5, "(anchorX>=nCols)||(anchorX<0)"},
    {"anchor negative", [](Args& a) { a.anchorY = -1; }, -5, "(anchorY>=nRows)||(anchorY<0)"},
    {"no rows", [](Args& a) { a.nRows = 0, a.anchorY = 0; }, -5, "(anchorY>=nRows)||(anchorY<0)"},
    {"in place", [](Args& a) { a.pDst = &a.src.image; }, -5, "(srcImage==dstImage)"},
    {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "srcImage->depth!=dstImage->depth"},
    {"floats", [](Args& a) { a.src.image.depth = a.other.image.depth = 32; }, -5, "srcImage->depth==32"},
    {"channels", [](Args& a) { a.src.image.nChannels = 2; }, -5, "srcImage->nChannels!=dstImage->nChannels"},
    {"alpha", [](Args& a) { a.other.image.alphaChannel = 3; }, -5, "srcImage->alphaChannel!=dstImage->alphaChannel"},
    {"order", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "srcImage->dataOrder!=dstImage->dataOrder"},
    {"coi", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9); }, -5,
     "Number of interset channel input and output Image is not equal."},
};

static const std::vector<Fault> morphologyFaults = {
    {"source's align", [](Args& a) { a.src.image.align = 3; }, -21, "Incorrect Image"},
    {"no destination", [](Args& a) { a.pDst = nullptr; }, -9, "Incorrect Image"},
    {"no iterations", [](Args& a) { a.nIterations = 0; }, -5, "Illegal number of of iterations"},
    {"depth", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "Illegal image depth"},
    {"depths", [](Args& a) { a.other.image.depth = VEK_DEPTH_16U; }, -5, "SRC and DST depth are different"},
    {"order", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "SRC and DST order are different"},
    {"origin", [](Args& a) { a.other.image.origin = 1; }, -5, "SRC and DST orign are different"},
    {"coi and none", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9), a.other.image.roi = nullptr; }, -5,
     "SRC and DST number of channels are different"},
    {"cois", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9), a.other.setRoi(1, 0, 0, 9, 9); }, -5,
     "SRC and DST COI are different"},
};

struct Filter {
    const char* func;
    std::function<void(Args&)> call;
    const std::vector<Fault>* faults;
};

template <void (*call)(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t)> static void callRank(Args& a)
{
    call(a.pSrc, a.pDst, a.nCols, a.nRows, a.anchorX, a.anchorY);
}
template <void (*call)(const VekImage*, VekImage*, int32_t)> static void callMorphology(Args& a)
{
    call(a.pSrc, a.pDst, a.nIterations);
}

static const Filter filters[] = {
    {"vekMaxFilter", callRank<vekMaxFilter>, &rankFaults},
    {"vekMinFilter", callRank<vekMinFilter>, &rankFaults},
    {"vekMedianFilter", callRank<vekMedianFilter>, &rankFaults},
    {"vekErode", callMorphology<vekErode>, &morphologyFaults},
    {"vekDilate", callMorphology<vekDilate>, &morphologyFaults},
    {"vekOpen", callMorphology<vekOpen>, &morphologyFaults},
    {"vekClose", callMorphology<vekClose>, &morphologyFaults},
};

static std::string reportOf(const Filter& filter, VekStatus status, const char* text)
{
    return std::to_string(status) + " " + filter.func + "(" + text + ")";
}

TEST(NeighbourRefusals, theEarlierTestWins)
{
    for (const Filter& filter : filters)
        for (size_t i = 0; i < filter.faults->size(); ++i)
            for (size_t j = i; j < filter.faults->size(); ++j) {
                const Fault &first = (*filter.faults)[i], &second = (*filter.faults)[j];
                SCOPED_TRACE(std::string(filter.func) + ": " + first.name + ", " + second.name);
                Args args;
                second.spoil(args);
                first.spoil(args);
                const std::vector<uint8_t> before = args.other.bytes();
                Recorder recorder;
                filter.call(args);
                ASSERT_EQ(recorder.reports.size(), 1u) << recorder.text();
                EXPECT_EQ(recorder.reports[0].status, first.status);
                EXPECT_EQ(recorder.reports[0].context, first.text);
                EXPECT_EQ(recorder.reports[0].func, filter.func);
                EXPECT_EQ(vekGetErrStatus(), first.status);
                EXPECT_EQ(args.other.bytes(), before);
            }
}

/* Rank filters do nothing, silently, under a status that is negative already; morphology clears it first. */
TEST(NeighbourRefusals, statusBefore)
{
    for (const Filter& filter : filters) {
        SCOPED_TRACE(filter.func);
        const bool isRank = filter.faults == &rankFaults;
        Args args;
        const std::vector<uint8_t> before = args.other.bytes();
        Recorder recorder;
        vekSetErrStatus(-3);
        filter.call(args);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_EQ(vekGetErrStatus(), isRank ? -3 : 0);
        EXPECT_EQ(args.other.bytes() == before, isRank);
    }
}

/* Whatever allocation fails: nothing written, all released. Rank filters report it, morphology only stores it. */
TEST(NeighbourRefusals, noMemory)
{
    for (const Filter& filter : filters)
        for (int tiled = 0; tiled < 2; ++tiled)
            for (int n = 0, done = 0; !done; ++n) {
                SCOPED_TRACE(std::string(filter.func) + " allocation " + std::to_string(n) + (tiled ? " tiled" : ""));
                Args args;
                ImageSpec bits;
                bits.depth = VEK_DEPTH_1U;
                args.src.setMask(std::make_unique<TestImage>(bits, args.random));
                args.other.setMask(std::make_unique<TestImage>(bits, args.random));
                TiledImage srcTiles(args.src, 8, 8), dstTiles(args.other, 8, 16);
                if (tiled) args.pSrc = &srcTiles.image, args.pDst = &dstTiles.image;
                const std::vector<uint8_t> before = args.other.bytes();
                Recorder recorder;
                const int live = heapLive();
                vekSetErrStatus(0);
                heapFailAfter(n);
                filter.call(args);
                heapFailAfter(-1);
                EXPECT_EQ(heapLive(), live);
                done = vekGetErrStatus() == 0;
                ASSERT_LT(n, 20);
                if (done) continue;
                EXPECT_EQ(vekGetErrStatus(), VEK_StatusNoMemory);
                EXPECT_EQ(args.other.bytes(), before);
                const bool isRank = filter.faults == &rankFaults;
                EXPECT_EQ(recorder.text(), isRank ? reportOf(filter, -4, "Allocation failure") : "");
            }
}

/* A tile of the destination that is not delivered ends the call; what was written stays. */
TEST(NeighbourRefusals, missingTile)
{
    for (const Filter& filter : filters) {
        SCOPED_TRACE(filter.func);
        Args args;
        TiledImage tiles(args.other, 8, 8);
        tiles.failAt = 2;
        args.pDst = &tiles.image;
        const int live = heapLive();
        Recorder recorder;
        filter.call(args);
        EXPECT_EQ(heapLive(), live);
        const bool isRank = filter.faults == &rankFaults;
        EXPECT_EQ(recorder.text(), isRank ? reportOf(filter, -2, "Error get tile to write")
                                          : reportOf(filter, -5, "(dstImage->tileInfo->tileData == ((void*)(0)))"));
        EXPECT_EQ(tiles.logText(), "W 0,0; release 0,0; W 1,0; release 1,0; W 0,1");
    }
}

} // namespace
