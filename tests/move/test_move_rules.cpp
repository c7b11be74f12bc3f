/* What is particular to moving, thresholds and norms: the order of their refusals, the stored status that gates a copy, the
 * depth that stays, the mask that is turned, and the order in which tiles are opened. */
#include "move/move_model.h"

#include <gtest/gtest.h>

namespace {

/* ---- Images to be spoiled -------------------------------------------------------------------------------------------- */

struct Images {
    explicit Images(uint32_t srcDepth, uint32_t dstDepth, int32_t nSrc = 1, int32_t nDst = 1)
        : random(1), src(spec(srcDepth, nSrc), random), dst(spec(dstDepth, nDst), random)
    {
    }

    static ImageSpec spec(uint32_t depth, int32_t nChannels)
    {
        ImageSpec made;
        made.depth = depth;
        made.nChannels = nChannels;
        return made;
    }
    TestImage& mask(TestImage& image)
    {
        return image.setMask(std::make_unique<TestImage>(spec(VEK_DEPTH_1U, 1), random));
    }
    Random random;
    TestImage src, dst;
    VekImage *a = &src.image, *b = &dst.image;
};

typedef std::function<void(Images&)> Step;

/* Faults in the order of the tests, each with what it alone makes the call report. */
struct Fault {
    Step spoil;
    std::string report;
};
struct Ladder {
    std::string name;
    uint32_t srcDepth, dstDepth;
    int32_t nSrc, nDst;
    Step call;
    std::vector<Fault> faults;

    Ladder& add(Step spoil, const std::string& report)
    {
        faults.push_back({std::move(spoil), report});
        return *this;
    }
};

static const std::string notImage = "(Incorrect Image)";

static Step srcDepth(uint32_t depth)
{
    return [=](Images& i) { i.a->depth = depth; };
}
static Step dstDepth(uint32_t depth)
{
    return [=](Images& i) { i.b->depth = depth; };
}
static void nothing(Images&) {}

static Ladder convertLadder()
{
    const std::string f = "-5 vekConvert(";
    Ladder ladder = {"vekConvert", 8, 16, 3, 3, [](Images& i) { vekConvert(i.a, i.b); }, {}};
    ladder.add([](Images& i) { i.a->align = 3; }, "-21 vekConvert" + notImage);
    ladder.add([](Images& i) { i.b->imageSize = 0; }, "-10 vekConvert" + notImage);
    ladder.add(srcDepth(32), f + "(srcImage->depth == 32))").add(dstDepth(32), f + "(dstImage->depth == 32))");
    ladder.add([](Images& i) { i.b->height = 9; }, f + "(srcImage->height != dstImage->height))");
    ladder.add([](Images& i) { i.b->width = 9; }, f + "(srcImage->width != dstImage->width))");
    return ladder.add([](Images& i) { i.b->nChannels = 2; }, f + "srcImage->nChannels != dstImage->nChannels)");
}

static Ladder bitsLadder(bool withRegion)
{
    const std::string f = "-5 vekConvert(";
    Ladder ladder = {"vekConvert to bits", 8, 1, 3, 1, [](Images& i) { vekConvert(i.a, i.b); }, {}};
    ladder.add([](Images& i) { i.b->width = 9; }, f + "(srcImage->width != dstImage->width))");
    if (withRegion) return ladder.add([](Images& i) { i.src.setRoi(0, 0, 0, 5, 5); }, f + "(srcImage->roi->coi == 0))");
    return ladder.add(nothing, f + "(srcImage->roi == 0))");
}

static Ladder fromBitsLadder()
{
    const std::string f = "-5 vekConvert(";
    Ladder ladder = {"vekConvert from bits", 1, 8, 1, 1, [](Images& i) { vekConvert(i.a, i.b); }, {}};
    ladder.add([](Images& i) { i.b->nChannels = 2; }, f + "srcImage->nChannels != dstImage->nChannels)");
    return ladder.add(nothing, f + "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth)))");
}

static Ladder greyLadder()
{
    const std::string f = "-5 vekBitonalToGray(";
    Ladder ladder = {"vekBitonalToGray", 1, 8, 1, 1, [](Images& i) { vekBitonalToGray(i.a, i.b, 0, 1); }, {}};
    ladder.add([](Images& i) { i.a->origin = 2; }, "-20 vekBitonalToGray" + notImage);
    ladder.add([](Images& i) { i.b->height = 9; }, f + "(srcImage->height != dstImage->height))");
    ladder.add([](Images& i) { i.b->width = 9; }, f + "(srcImage->width != dstImage->width))");
    ladder.add([](Images& i) { i.a->depth = 8, i.a->nChannels = 2; }, f + "(srcImage->nChannels != 1))");
    ladder.add(srcDepth(16), f + "(srcImage->depth != 1))").add(dstDepth(32), f + "(dstImage->depth == 32))");
    return ladder.add(dstDepth(1), f + "(dstImage->depth == 1))");
}

static Ladder mirrorLadder()
{
    Ladder ladder = {"vekMirror", 8, 8, 3, 3, [](Images& i) { vekMirror(i.a, i.b, 2); }, {}};
    ladder.add([](Images& i) { i.a->nChannels = 0; }, "-15 vekMirror" + notImage);
    ladder.add([](Images& i) { i.b = nullptr; }, "-9 vekMirror" + notImage);
    ladder.add(dstDepth(32), "-17 vekMirror(srcImage->depth = 32F)");
    ladder.add(srcDepth(32), "-17 vekMirror(srcImage->depth = 32F)");
    ladder.add(dstDepth(16), "-5 vekMirror((srcImage->depth!=dstImage->depth))");
    return ladder.add(nothing, "-5 vekMirror(((flipAxis>1)||(flipAxis<-1)))");
}

static Ladder mirrorBitsLadder()
{
    Ladder ladder = {"vekMirror, bits", 1, 1, 1, 1, [](Images& i) { vekMirror(i.a, i.b, 1); }, {}};
    ladder.add([](Images& i) { i.a->alphaChannel = 1; }, "-16 vekMirror(srcImage->alphaChannel)");
    return ladder.add([](Images& i) { i.b->alphaChannel = 1; }, "-16 vekMirror(dstImage->alphaChannel)");
}

static Ladder thresholdLadder()
{
    const std::string f = "-5 vekThreshold(";
    Ladder ladder = {"vekThreshold", 8, 8, 3, 3, [](Images& i) { vekThreshold(i.a, i.b, 256); }, {}};
    ladder.add([](Images& i) { i.a = nullptr; }, "-9 vekThreshold" + notImage);
    ladder.add([](Images& i) { i.b->align = 5; }, "-21 vekThreshold" + notImage);
    ladder.add(srcDepth(32), f + "(srcImage->depth == 32))").add(dstDepth(32), f + "(dstImage->depth == 32))");
    ladder.add([](Images& i) { i.b->dataOrder = 1; }, f + "((srcImage->dataOrder != dstImage->dataOrder)&& "
                                                          "((srcImage->nChannels != 1)&&(dstImage->nChannels != 1))))");
    ladder.add([](Images& i) { i.b->origin = 1; }, f + "(srcImage->origin != dstImage->origin))");
    ladder.add([](Images& i) { i.mask(i.src).image.origin = 1; },
               f + "(srcImage->origin != srcImage->maskROI->origin))");
    ladder.add([](Images& i) { i.mask(i.dst).image.origin = 1; },
               f + "(dstImage->origin != dstImage->maskROI->origin))");
    return ladder.add(nothing, f + "((srcImage->depth == 8) && (Threshold > 255)))");
}

static Ladder thresholdBitsLadder()
{
    Ladder ladder = {"vekThreshold, bits", 1, 1, 1, 1, [](Images& i) { vekThreshold(i.a, i.b, 0); }, {}};
    return ladder.add(nothing, "-5 vekThreshold((srcImage->depth == 1))");
}

static Ladder normLadder()
{
    Ladder ladder = {"vekNorm", 8, 8, 3, 3, [](Images& i) { EXPECT_EQ(vekNorm(i.a, i.b, 3), 0.0); }, {}};
    ladder.add([](Images& i) { i.a = nullptr; }, "-9 vekNorm" + notImage);
    ladder.add(srcDepth(32), "-17 vekNorm(srcImageA->depth=32F)")
        .add(dstDepth(32), "-17 vekNorm(srcImageA->depth=32F)");
    ladder.add([](Images& i) { i.b->dataOrder = 1; }, "-19 vekNorm(srcImageA->dataOrder!=srcImageB->dataOrder)");
    ladder.add([](Images& i) { i.b->align = 7; }, "-21 vekNorm" + notImage);
    ladder.add(dstDepth(16), "-5 vekNorm((srcImageA->depth!=srcImageB->depth))");
    return ladder.add(nothing, "-5 vekNorm(normType unknown)");
}

static Ladder setLadder()
{
    Ladder ladder = {"vekSet", 8, 8, 1, 1, [](Images& i) { vekSet(i.b, 1); }, {}};
    ladder.add([](Images& i) { i.b = nullptr; }, "-9 vekSet" + notImage);
    ladder.add([](Images& i) { i.b->width = 0; }, "-10 vekSet" + notImage);
    return ladder.add(dstDepth(32), "-17 vekSet(You should use vekSetFP for this image)");
}

static Ladder setFloatLadder()
{
    Ladder ladder = {"vekSetFP", 32, 32, 1, 1, [](Images& i) { vekSetFP(i.b, 1); }, {}};
    ladder.add([](Images& i) { i.b = nullptr; }, "-5 vekSetFP(dstImage==0)");
    ladder.add(dstDepth(8), "-17 vekSetFP(You should use vekSet for this image)");
    return ladder.add([](Images& i) { i.b->width = 0; }, "-10 vekSet" + notImage + "; -1 vekSetFP()");
}

/* Counts of channels that differ, whose test comes before any look at the regions. */
static Ladder countLadder(const std::string& func, Step call)
{
    Ladder ladder = {func, 8, 8, 3, 3, std::move(call), {}};
    return ladder.add([](Images& i) { i.dst.setRoi(2, 40, 0, 5, 5); }, "-15 " + func + "()");
}

static std::vector<Ladder> ladders()
{
    std::vector<Ladder> all;
    for (Ladder (*make)() : {convertLadder, fromBitsLadder, greyLadder, mirrorLadder, mirrorBitsLadder, thresholdLadder,
                             thresholdBitsLadder, normLadder, setLadder, setFloatLadder})
        all.push_back(make());
    for (const bool withRegion : {false, true}) all.push_back(bitsLadder(withRegion));
    all.push_back(countLadder("vekMirror", [](Images& i) { vekMirror(i.a, i.b, 0); }));
    all.push_back(countLadder("vekNorm", [](Images& i) { vekNorm(i.a, i.b, 9); }));
    return all;
}

TEST(MoveRefusals, comeInOrderAndChangeNothing)
{
    for (const Ladder& ladder : ladders())
        for (size_t first = 0; first < ladder.faults.size(); ++first)
            for (size_t second = first; second < ladder.faults.size(); ++second) {
                Images images(ladder.srcDepth, ladder.dstDepth, ladder.nSrc, ladder.nDst);
                ladder.faults[second].spoil(images);
                ladder.faults[first].spoil(images);
                const std::vector<uint8_t> before = images.dst.bytes();
                const int live = heapLive();
                Recorder recorder;
                ladder.call(images);
                EXPECT_EQ(recorder.text(), ladder.faults[first].report) << ladder.name << " " << first << " " << second;
                EXPECT_EQ(images.dst.bytes(), before) << ladder.name;
                EXPECT_EQ(heapLive(), live);
            }
}

/* Values out of range, by depth: the text, and none within the range. */
TEST(MoveRefusals, ofValuesOutOfRange)
{
    const struct {
        uint32_t depth;
        const char* name;
        int64_t low, high;
    } ranges[] = {{VEK_DEPTH_8S, "(0x80000000| 8)", -128, 127},
                  {VEK_DEPTH_8U, "8", 0, 255},
                  {VEK_DEPTH_16S, "(0x80000000|16)", -32768, 32767},
                  {VEK_DEPTH_16U, "16", 0, 65535},
                  {VEK_DEPTH_32S, "", INT32_MIN, INT32_MAX}};
    for (const auto& range : ranges)
        for (const int64_t value : {range.low - 1, range.low, range.high, range.high + 1}) {
            if (value != (int32_t)value) continue;
            const bool above = value > range.high, below = value < range.low;
            const std::string beyond = above   ? " > " + std::to_string(range.high) + "))"
                                       : below ? " < " + std::to_string(range.low) + "))"
                                               : "";
            const auto text = [&](const std::string& func, const std::string& image, const std::string& what) {
                if (beyond.empty()) return std::string();
                return "-5 " + func + "((" + "(" + image + "->depth == " + range.name + ") && (" + what + beyond + ")";
            };
            Images grey(VEK_DEPTH_1U, range.depth), levels(range.depth, range.depth);
            Recorder one;
            vekBitonalToGray(grey.a, grey.b, 0, (int32_t)value);
            EXPECT_EQ(one.text(), text("vekBitonalToGray", "dstImage", "OneScale"));
            Recorder zero;
            vekBitonalToGray(grey.a, grey.b, (int32_t)value, 0);
            EXPECT_EQ(zero.text(), text("vekBitonalToGray", "dstImage", "ZeroScale"));
            Recorder threshold;
            vekThreshold(levels.a, levels.b, (int32_t)value);
            EXPECT_EQ(threshold.text(), text("vekThreshold", "srcImage", "Threshold"));
        }
}

/* ---- Copying and exchanging: tests that go on, and the stored status -------------------------------------------------- */

typedef void MoveCall(VekImage* a, VekImage* b);
static void callCopy(VekImage* a, VekImage* b) { vekCopy(a, b); }
static const std::pair<std::string, MoveCall*> moveCalls[] = {{"vekCopy", callCopy}, {"vekExchange", vekExchange}};

TEST(MoveGates, allSoftTestsAreTold)
{
    for (const auto& [func, call] : moveCalls) {
        Images images(VEK_DEPTH_8U, VEK_DEPTH_16U, 3, 3);
        images.b->origin = 1;
        images.b->dataOrder = 1;
        const std::vector<uint8_t> before = images.dst.bytes();
        Recorder recorder;
        call(images.a, images.b);
        EXPECT_EQ(recorder.text(), "-5 " + func + "(srcImage->depth != dstImage->depth); -5 " + func +
                                       "(srcImage->origin != dstImage->origin); -5 " + func +
                                       "(srcImage->dataOrder != dstImage->dataOrder)");
        EXPECT_EQ(images.dst.bytes(), before);
    }
}

TEST(MoveGates, aNegativeStatusEndsTheCallSilently)
{
    for (const auto& [func, call] : moveCalls)
        for (const VekStatus status : {-5, 7, 0}) {
            Images images(VEK_DEPTH_8U, VEK_DEPTH_8U);
            const std::vector<uint8_t> before = images.dst.bytes(), source = images.src.bytes();
            Recorder recorder;
            vekSetErrStatus(status);
            call(images.a, images.b);
            EXPECT_EQ(recorder.text(), "");
            EXPECT_EQ(vekGetErrStatus(), status);
            EXPECT_EQ(images.dst.bytes(), status < 0 ? before : source) << func;
        }
}

/* A reporter that clears the status does not open the gate to images that differ. */
TEST(MoveGates, aClearedStatusDoesNotMixDepths)
{
    for (const auto& [func, call] : moveCalls) {
        Images images(VEK_DEPTH_8U, VEK_DEPTH_32S);
        const std::vector<uint8_t> before = images.dst.bytes();
        const VekReporter old = vekRedirectError([](VekStatus status, const char*, const char*, const char*, int32_t) {
            vekSetErrStatus(0);
            return status;
        });
        vekSetErrStatus(0);
        call(images.a, images.b);
        vekRedirectError(old);
        EXPECT_EQ(images.dst.bytes(), before) << func;
    }
}

/* Silent ends before the test of counts, and the test. */
TEST(MoveGates, channels)
{
    const struct {
        Step spoil;
        const char* text; /* after the function's name; empty: silent */
    } rows[] = {
        {[](Images& i) { i.src.setRoi(2, 0, 0, 9, 9); }, "(srcImage COI != dstImage COI)"},
        {[](Images& i) { i.src.setRoi(2, 99, 0, 9, 9); }, ""},                        /* no work */
        {[](Images& i) { i.a->alphaChannel = 3, i.src.setRoi(3, 0, 0, 9, 9); }, ""},  /* alpha is named */
        {[](Images& i) { i.a->alphaChannel = 3; }, "(srcImage COI != dstImage COI)"}, /* two and three */
        {[](Images& i) { i.b->nChannels = i.b->alphaChannel = 1; }, ""},              /* alpha is all */
    };
    for (const auto& [func, call] : moveCalls)
        for (const auto& row : rows) {
            Images images(VEK_DEPTH_8U, VEK_DEPTH_8U, 3, 3);
            row.spoil(images);
            const std::vector<uint8_t> before = images.dst.bytes();
            Recorder recorder;
            call(images.a, images.b);
            EXPECT_EQ(recorder.text(), *row.text ? "-24 " + func + row.text : "");
            EXPECT_EQ(images.dst.bytes(), before);
        }
}

TEST(MoveGates, theSameImageIsLeftAlone)
{
    Images images(VEK_DEPTH_8U, VEK_DEPTH_8U);
    Recorder recorder;
    const std::vector<uint8_t> before = images.dst.bytes();
    vekCopy(images.b, images.b);
    vekExchange(images.b, images.b);
    vekConvert(images.b, images.b);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(images.dst.bytes(), before);
}

/* A mask's own mask, and its alpha, play no part. */
TEST(MoveGates, masksOfMasksPlayNoPart)
{
    Images images(VEK_DEPTH_8U, VEK_DEPTH_8U);
    TestImage &first = images.mask(images.src), &second = images.mask(images.dst);
    memset(first.block.data, 0xFF, first.block.bytes);
    memset(second.block.data, 0xFF, second.block.bytes);
    memset(images.mask(second).block.data, 0, first.block.bytes);
    first.image.alphaChannel = 1;
    Recorder recorder;
    vekCopy(images.a, images.b);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(images.dst.bytes(), images.src.bytes());
}

/* Pixels that are larger than the scratch in which rows are turned. */
TEST(MoveGates, mirrorsPixelsOfAnySize)
{
    for (const uint32_t depth : {VEK_DEPTH_8U, VEK_DEPTH_32S})
        for (const int32_t nChannels : {256, 257, 5000})
            for (const int32_t flipAxis : {0, 1, -1}) {
                Images images(depth, depth, nChannels, nChannels);
                vekMirror(images.a, images.b, flipAxis);
                for (int32_t y = 0; y < 16; ++y)
                    for (int32_t x = 0; x < 16; ++x)
                        for (int32_t c = 0; c < nChannels; c += 255)
                            ASSERT_EQ(images.dst.get(x, y, c),
                                      images.src.get(flipAxis ? 15 - x : x, flipAxis != 1 ? 15 - y : y, c));
                vekMirror(images.a, images.a, flipAxis);
                ASSERT_EQ(images.src.bytes(), images.dst.bytes());
            }
}

/* Both images tiled 8 by 8 and 16 by 8, a rectangle of 13 by 10 from (5, 5) and (0, 0): each piece opens what it needs. */
struct Tiled : Images {
    Tiled(uint32_t srcDepth, uint32_t dstDepth)
        : Images(srcDepth, dstDepth), tiledSrc((src.setRoi(0, 5, 5, 9, 10), src), 8, 8), tiledDst(dst, 16, 8)
    {
    }
    TiledImage tiledSrc, tiledDst;
};

/* ---- Filling ------------------------------------------------------------------------------------------------------------ */

TEST(MoveFill, aStaleStatusIsToldAfterAGoodFill)
{
    Images bits(VEK_DEPTH_1U, VEK_DEPTH_1U), floats(VEK_DEPTH_32F, VEK_DEPTH_32F), bytes(VEK_DEPTH_8U, VEK_DEPTH_8U);
    TestImage& mask = bits.mask(bits.dst);
    const std::vector<uint8_t> maskBefore = mask.bytes();
    for (const int32_t value : {1, 0}) {
        Recorder recorder;
        vekSetErrStatus(-4);
        vekSet(bits.b, value);
        EXPECT_EQ(recorder.text(), "-1 vekSet()");
        for (int32_t x = 0; x < 16; ++x) EXPECT_TRUE(!mask.get(x, 3, 0) || bits.dst.get(x, 3, 0) == value) << x;
        EXPECT_EQ(mask.bytes(), maskBefore);
    }
    Recorder recorder;
    vekSetErrStatus(-4);
    vekSet(bytes.b, 300);
    EXPECT_EQ(recorder.text(), "");
    vekSetFP(floats.b, 1.5f);
    EXPECT_EQ(recorder.text(), "-1 vekSetFP()");
    EXPECT_EQ(vekGetErrStatus(), -4);
    EXPECT_EQ(floats.b->depth, VEK_DEPTH_32F);
    EXPECT_EQ(bytes.dst.get(2, 2, 0), 255);
    EXPECT_EQ(floats.dst.get(2, 2, 0), std::bit_cast<int32_t>(1.5f));
}

/* While vekSetFP fills, the header says 32S; then it says 32F again, when a reporter comes back and when it leaves by an
 * exception. */
VekImage* watched;
uint32_t depthSeen;
bool throws;

VekStatus watch(VekStatus status, const char*, const char*, const char*, int32_t)
{
    depthSeen = watched->depth;
    if (throws) throw status;
    return status;
}

TEST(MoveFill, theDepthComesBackWhateverAReporterDoes)
{
    Tiled images(VEK_DEPTH_32F, VEK_DEPTH_32F);
    images.b->height = 0; /* a header that is refused, and a tile that does not come */
    for (VekImage* image : {images.b, &images.tiledDst.image})
        for (const bool away : {false, true}) {
            watched = image;
            throws = away;
            images.tiledDst.failAt = (int)images.tiledDst.log.size();
            depthSeen = 0;
            const VekReporter old = vekRedirectError(watch);
            if (away) EXPECT_THROW(vekSetFP(image, 2), VekStatus);
            else vekSetFP(image, 2);
            vekRedirectError(old);
            vekSetErrStatus(0);
            EXPECT_EQ(depthSeen, VEK_DEPTH_32S);
            EXPECT_EQ(image->depth, VEK_DEPTH_32F);
        }
}

/* ---- Tiles ---------------------------------------------------------------------------------------------------------------- */

TEST(MoveTiles, eachPieceOpensAndReleasesItsTiles)
{
    Tiled images(VEK_DEPTH_8U, VEK_DEPTH_8U);
    Recorder recorder;
    vekCopy(&images.tiledSrc.image, &images.tiledDst.image);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(images.tiledSrc.logText(),
              "R 0,0; release 0,0; R 1,0; release 1,0; R 0,1; release 0,1; R 1,1; release 1,1; "
              "R 0,1; release 0,1; R 1,1; release 1,1");
    EXPECT_EQ(images.tiledDst.logText(),
              "W 0,0; release 0,0; W 0,0; release 0,0; W 0,0; release 0,0; W 0,0; release 0,0; "
              "W 0,1; release 0,1; W 0,1; release 0,1");
    images.tiledSrc.log.clear();
    vekExchange(&images.tiledSrc.image, &images.tiledDst.image);
    EXPECT_EQ(images.tiledSrc.logText().find("R "), std::string::npos);
    images.tiledDst.log.clear();
    images.tiledDst.image.roi = nullptr;
    vekSet(&images.tiledDst.image, 3);
    EXPECT_EQ(images.tiledDst.logText(), "W 0,0; release 0,0; W 0,1; release 0,1");
}

/* The n-th tile of either image is not delivered: one report, nothing more is opened or released. */
TEST(MoveTiles, whatDoesNotCome)
{
    const struct {
        std::string name;
        MoveCall* call;
        uint32_t srcDepth, dstDepth;
        std::string src, dst; /* the reports */
    } rows[] = {
        {"vekCopy", callCopy, 8, 8, "-2 vekCopy(Error get tile to read)", "-2 vekCopy(Error get tile to write)"},
        {"vekExchange", vekExchange, 8, 8, "-2 vekExchange(Error get tile to write)",
         "-2 vekExchange(Error get tile to write)"},
        {"vekSet", [](VekImage*, VekImage* b) { vekSet(b, 1); }, 8, 8, "", "-2 vekSet(Error get tile to write)"},
        {"vekSetFP", [](VekImage*, VekImage* b) { vekSetFP(b, 1); }, 32, 32, "",
         "-2 vekSet(Error get tile to write); -1 vekSetFP()"},
        {"vekConvert", [](VekImage* a, VekImage* b) { vekConvert(a, b); }, 8, 16,
         "-5 vekConvert((srcImage->tileInfo->tileData == ((void *)0)))",
         "-5 vekConvert((dstImage->tileInfo->tileData == ((void *)0)))"},
        {"vekBitonalToGray", [](VekImage* a, VekImage* b) { vekBitonalToGray(a, b, 3, 4); }, 1, 16,
         "-5 vekBitonalToGray((srcImage->tileInfo->tileData == ((void *)0)))",
         "-5 vekBitonalToGray((dstImage->tileInfo->tileData == ((void *)0)))"},
        {"vekMirror", [](VekImage* a, VekImage* b) { vekMirror(a, b, 0); }, 8, 8,
         "-5 vekMirror((srcImage->tileInfo->tileData == ((void *)0)))",
         "-5 vekMirror((dstImage->tileInfo->tileData == ((void *)0)))"},
        {"vekThreshold", [](VekImage* a, VekImage* b) { vekThreshold(a, b, 9); }, 8, 8,
         "-5 vekThreshold((srcImage->tileInfo->tileData == ((void*)(0))))",
         "-5 vekThreshold((dstImage->tileInfo->tileData == ((void*)(0))))"},
        {"vekNorm", [](VekImage* a, VekImage* b) { EXPECT_EQ(vekNorm(a, b, 1), 0.0); }, 8, 8, "-12 vekNorm( )",
         "-12 vekNorm( )"},
    };
    for (const auto& row : rows)
        for (const bool ofDst : {false, true})
            for (const int n : {0, 1}) {
                Tiled images(row.srcDepth, row.dstDepth);
                TiledImage& failing = ofDst ? images.tiledDst : images.tiledSrc;
                failing.failAt = n;
                const int live = heapLive();
                Recorder recorder;
                row.call(&images.tiledSrc.image, &images.tiledDst.image);
                const std::string& text = ofDst ? row.dst : row.src;
                EXPECT_EQ(recorder.text(), text) << row.name << ofDst << n;
                EXPECT_EQ(heapLive(), live) << row.name;
                EXPECT_EQ(images.b->depth, row.dstDepth);
                EXPECT_EQ(images.tiledDst.image.depth, row.dstDepth) << row.name;
                EXPECT_NE(text.empty(), failing.log.size() % 2 == 1) << row.name << failing.logText();
            }
    Tiled both(8, 16);
    both.tiledSrc.failAt = both.tiledDst.failAt = 0;
    Recorder recorder;
    vekConvert(&both.tiledSrc.image, &both.tiledDst.image);
    EXPECT_EQ(recorder.text(), "-5 vekConvert((dstImage->tileInfo->tileData == ((void *)0)))");
}

/* A mirror in place on tiles has read everything before it writes. */
TEST(MoveTiles, aMirrorInPlaceReadsFirst)
{
    Tiled images(VEK_DEPTH_8U, VEK_DEPTH_8U);
    Recorder recorder;
    vekMirror(&images.tiledDst.image, &images.tiledDst.image, 0);
    EXPECT_EQ(images.tiledDst.logText(),
              "R 0,0; release 0,0; R 0,1; release 0,1; W 0,0; release 0,0; W 0,1; release 0,1");
}

/* ---- Memory ------------------------------------------------------------------------------------------------------------------ */

/* Any allocation that fails: the report, nothing leaked; then without fault the call goes through. */
TEST(MoveMemory, failsCleanly)
{
    const struct {
        const char* name;
        MoveCall* call;
        bool tiled, inPlace;
        std::vector<std::string> reports; /* by the allocation that fails */
    } rows[] = {
        {"copy", callCopy, false, false, {"", "-12 vekAnd(Incorrect Image); -1 vekCopy()"}},
        {"copy tiles", callCopy, true, false, {"", "-12 vekAnd(Incorrect Image); -1 vekCopy()", "-1 vekCopy()"}},
        {"exchange",
         vekExchange,
         false,
         false,
         {"", "-12 vekAnd(Incorrect Image); -1 vekExchange()", "-4 vekExchange(Out of memory)"}},
        {"mirror",
         [](VekImage* a, VekImage* b) { vekMirror(a, b, 1); },
         true,
         false,
         {"-4 vekMirror(Out of memory)", "-4 vekMirror(Out of memory)", "-4 vekMirror(Out of memory)",
          "-4 vekMirror(Out of memory)"}},
        {"mirror in place",
         [](VekImage* a, VekImage*) { a->maskROI = nullptr, vekMirror(a, a, 1); },
         false,
         true,
         {""}},
        {"norm",
         [](VekImage* a, VekImage* b) { vekNorm(a, b, 1); },
         true,
         false,
         {"-9 vekNorm(Null pointer for mask)", "-9 vekNorm(Null pointer for mask)", "-9 vekNorm( )", "-12 vekNorm( )"}},
        {"threshold",
         [](VekImage* a, VekImage* b) { vekThreshold(a, b, 4); },
         false,
         false,
         {"-4 vekThreshold(Out of memory)", "-4 vekThreshold(Out of memory)"}},
    };
    for (const auto& row : rows)
        for (size_t n = 0; n <= row.reports.size(); ++n) {
            Images images(VEK_DEPTH_8U, VEK_DEPTH_8U);
            images.mask(images.src);
            images.mask(images.dst);
            TiledImage tiled(images.src, 8, 8);
            const std::vector<uint8_t> before = images.dst.bytes();
            const int live = heapLive();
            Recorder recorder;
            heapFailAfter((int)n);
            row.call(row.tiled ? &tiled.image : images.a, images.b);
            heapFailAfter(-1);
            if (n == row.reports.size()) { /* one more fails, if there is one, or none */
                EXPECT_TRUE(row.tiled || recorder.reports.empty()) << row.name << recorder.text();
                continue;
            }
            EXPECT_EQ(recorder.text(), row.reports[n]) << row.name << " " << n;
            EXPECT_EQ(heapLive(), live) << row.name;
            EXPECT_EQ(images.dst.bytes(), before) << row.name << " " << n;
        }
}

/* ---- Norms --------------------------------------------------------------------------------------------------------------------- */

TEST(NormRules, values)
{
    Images words(VEK_DEPTH_32S, VEK_DEPTH_32S);
    for (int32_t i = 0; i < 256; ++i) {
        setSample(*words.a, words.src.block.data, i % 16, i / 16, 0, INT32_MAX);
        setSample(*words.b, words.dst.block.data, i % 16, i / 16, 0, INT32_MIN);
    }
    Recorder recorder;
    EXPECT_EQ(vekNorm(words.a, words.b, NORM_MAX), 4294967295.0);
    EXPECT_EQ(vekNorm(words.a, words.b, NORM_SUM), 256 * 4294967295.0);
    EXPECT_EQ(vekNorm(words.a, words.b, NORM_ROOT_SQUARES), 16 * 4294967295.0);
    EXPECT_EQ(vekNorm(words.a, words.a, NORM_MAX), 0.0);
    EXPECT_EQ(vekNorm(words.a, words.a, NORM_REL_SUM), 0.0);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(vekNorm(words.a, nullptr, NORM_REL_MAX), 0.0);
    EXPECT_EQ(recorder.text(), "-5 vekNorm(normType unknown)");

    /* No pixel is left. */
    Recorder empty;
    words.src.setRoi(0, 99, 0, 4, 4);
    EXPECT_EQ(vekNorm(words.a, words.b, NORM_SUM), 0.0);
    EXPECT_EQ(empty.text(), "");
    EXPECT_EQ(vekNorm(words.a, words.b, NORM_REL_SUM), 0.0);
    EXPECT_EQ(empty.text(), "-5 vekNorm(Zero divided)");
}

} // namespace
