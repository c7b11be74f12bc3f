/* The refusals of the colour conversions and the twist, in their order: of two faults the earlier test wins, and no pixel is
 * changed. */
#include "colour/colour_model.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

struct Pair {
    Pair(uint32_t srcDepth, int srcChannels, uint32_t dstDepth, int dstChannels)
        : random(1), src(spec(srcDepth, srcChannels), random), dst(spec(dstDepth, dstChannels), random)
    {
    }
    static ImageSpec spec(uint32_t depth, int nChannels)
    {
        ImageSpec made;
        made.depth = depth;
        made.nChannels = nChannels;
        return made;
    }
    Random random;
    TestImage src, dst;
    const VekImage* pSrc = &src.image;
    VekImage* pDst = &dst.image;
    VekColorTwist twist = {};
    const VekColorTwist* pTwist = &twist;
};

/* A fault, and what is reported of it when no earlier one is there. */
struct Fault {
    std::function<void(Pair&)> spoil;
    VekStatus status;
    const char* text;
    const char* file;
};
struct Ladder {
    const char* func;
    std::function<std::unique_ptr<Pair>()> make;
    std::function<void(Pair&)> call;
    std::vector<Fault> faults;
};

void checkLadder(const Ladder& ladder)
{
    const size_t n = ladder.faults.size();
    for (size_t first = 0; first < n; ++first)
        for (size_t second = first; second < n; ++second) {
            std::unique_ptr<Pair> pair = ladder.make();
            if (second != first) ladder.faults[second].spoil(*pair);
            ladder.faults[first].spoil(*pair);
            const std::vector<uint8_t> before = pair->dst.bytes();
            const Fault& fault = ladder.faults[first];
            Recorder recorder;
            ladder.call(*pair);
            EXPECT_EQ(recorder.text(), std::to_string(fault.status) + " " + ladder.func + "(" + fault.text + ")")
                << "faults " << first << " and " << second;
            if (recorder.reports.size() == 1) { EXPECT_EQ(recorder.reports[0].file, fault.file); }
            EXPECT_EQ(vekGetErrStatus(), fault.status);
            EXPECT_EQ(pair->dst.bytes(), before) << ladder.func << " has written, fault " << first;
        }
    std::unique_ptr<Pair> pair = ladder.make();
    const std::vector<uint8_t> before = pair->dst.bytes();
    Recorder recorder;
    ladder.call(*pair);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_NE(pair->dst.bytes(), before) << ladder.func << " without a fault";
}

#define SHAPES                                                                                                         \
    "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "                                \
    "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)"
#define SHAPES_OF_YUV                                                                                                  \
    "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || "                                                              \
    "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)"

/* The tests of two headers, which come first everywhere. */
std::vector<Fault> headerFaults(const char* file)
{
    return {{[](Pair& p) { p.pSrc = nullptr; }, -9, "Incorrect Image", file},
            {[](Pair& p) { p.src.image.origin = 2; }, -20, "Incorrect Image", file},
            {[](Pair& p) { p.pDst = nullptr; }, -9, "Incorrect Image", file},
            {[](Pair& p) { p.dst.image.imageData = nullptr; }, -12, "Incorrect Image", file}};
}
void add(std::vector<Fault>& faults, std::vector<Fault> more) { faults.insert(faults.end(), more.begin(), more.end()); }

/* ---- Models ---------------------------------------------------------------------------------------------------- */

struct Member {
    const char* func;
    void (*call)(const VekImage*, VekImage*);
    const char *model, *file, *badDepth; /* model null: from RGB */
    uint32_t srcDepth, dstDepth, unserved;
    bool yuv;
};

std::vector<Fault> modelFaults(const Member& m)
{
    std::vector<Fault> faults = headerFaults("owncolor");
    if (!m.model)
        add(faults, {{[](Pair& p) { nameImage(p.src.image, "CMYK", "RGB"); }, -5,
                      "colorModel must be RGB instead of CMYK ", "owncolor"},
                     {[](Pair& p) { nameImage(p.src.image, "RGB", "GRB"); }, -5,
                      "channelSeq must be RGB or BGR instead of GRB ", "owncolor"}});
    add(faults, {{[](Pair& p) { p.src.setRoi(0, 0, 0, 4, 4); }, -5, "src & dst roi must be NULL", "owncolor"},
                 {[](Pair& p) { p.dst.setRoi(0, 0, 0, 4, 4); }, -5, "src & dst roi must be NULL", "owncolor"}});
    const char* shapes = m.yuv ? SHAPES_OF_YUV : SHAPES;
    add(faults, {{[](Pair& p) { p.src.image.nChannels = 2; }, -5, shapes, "owncolor"},
                 {[](Pair& p) { p.dst.image.nChannels = 2; }, -5, shapes, "owncolor"},
                 {[](Pair& p) { p.dst.image.dataOrder = 1 - p.src.image.dataOrder; }, -5, shapes, "owncolor"},
                 {[](Pair& p) { p.dst.image.origin = 1; }, -5, shapes, "owncolor"}});
    if (m.yuv)
        faults.push_back(
            {[](Pair& p) { p.dst.image.depth = p.dst.image.depth == 16 ? 8 : 16; }, -5, m.badDepth, m.file});
    else faults.push_back({[](Pair& p) { p.dst.image.depth ^= VEK_DEPTH_SIGN; }, -5, SHAPES, "owncolor"});
    faults.push_back({[m](Pair& p) { p.src.image.depth = p.dst.image.depth = m.unserved; }, -5, m.badDepth, m.file});
    return faults;
}

TEST(ColourRefusals, Models)
{
    const char* const hues = "Error input depth. 32S,16U,8U are valid now";
    const char* const sums = "Error input depth. 32F, 32S ,16U,8U are valid now";
    const char* const yuvs = "Error input depth. 32F, 32S ,16S,8S are valid now";
    const char* const luvs = "Error input depth. 32F is valid now";
    const uint32_t u8 = VEK_DEPTH_8U, s8 = VEK_DEPTH_8S, f32 = VEK_DEPTH_32F;
    const Member members[] = {
        {"vekRGB2HSV", vekRGB2HSV, nullptr, "ownhsv", hues, u8, u8, s8, false},
        {"vekHSV2RGB", vekHSV2RGB, "HSV", "ownhsv", hues, u8, u8, s8, false},
        {"vekRGB2HLS", vekRGB2HLS, nullptr, "ownhls", hues, u8, u8, s8, false},
        {"vekHLS2RGB", vekHLS2RGB, "HLS", "ownhls", hues, u8, u8, s8, false},
        {"vekRGB2XYZ", vekRGB2XYZ, nullptr, "ownxyz", sums, u8, u8, s8, false},
        {"vekXYZ2RGB", vekXYZ2RGB, "XYZ", "ownxyz", sums, u8, u8, s8, false},
        {"vekRGB2YCrCb", vekRGB2YCrCb, nullptr, "ownycrcb", sums, u8, u8, s8, false},
        {"vekYCrCb2RGB", vekYCrCb2RGB, "YCr", "ownycrcb", sums, u8, u8, s8, false},
        {"vekRGB2YUV", vekRGB2YUV, nullptr, "ownyuv", yuvs, u8, s8, s8, true},
        {"vekYUV2RGB", vekYUV2RGB, "YUV", "ownyuv", yuvs, s8, u8, u8, true},
        {"vekYCC2RGB", vekYCC2RGB, "YCC", "ownycc", "Error input depth. 8U is valid now", u8, u8, s8, false},
        {"vekRGB2LUV", vekRGB2LUV, nullptr, "ownluv", luvs, f32, f32, VEK_DEPTH_32S, false},
        {"vekLUV2RGB", vekLUV2RGB, "LUV", "ownluv", luvs, f32, f32, VEK_DEPTH_32S, false},
    };
    for (const Member& m : members) {
        const std::string model = m.model ? std::string(m.model) + '\0' : "RGB ";
        const auto make = [=] {
            std::unique_ptr<Pair> pair(new Pair(m.srcDepth, 3, m.dstDepth, 3));
            nameImage(pair->src.image, model.c_str(), model.c_str());
            nameImage(pair->dst.image, "RGB", "BGR");
            return pair;
        };
        checkLadder({m.func, make, [m](Pair& p) { m.call(p.pSrc, p.pDst); }, modelFaults(m)});
        if (!m.model) continue;
        for (bool sequence : {false, true}) {
            const std::string text = std::string("src-> ") + (sequence ? "channelSeq" : "colorModel") + " must be " +
                                     m.model + " instead of abcd";
            std::unique_ptr<Pair> pair = make();
            memcpy(sequence ? pair->src.image.channelSeq : pair->src.image.colorModel, "abcd", 4);
            pair->src.setRoi(0, 0, 0, 1, 1);
            Recorder recorder;
            m.call(pair->pSrc, pair->pDst);
            EXPECT_EQ(recorder.text(), std::string("-5 ") + m.func + "(" + text + ")");
        }
    }
}

/* From RGB the model's name is written before a depth is refused, not before another refusal. */
TEST(ColourRefusals, NameBeforeDepth)
{
    for (bool badShape : {false, true}) {
        Pair pair(VEK_DEPTH_8S, 3, VEK_DEPTH_8S, 3);
        nameImage(pair.src.image, "RGB", "RGB");
        nameImage(pair.dst.image, "none", "none");
        if (badShape) pair.dst.image.origin = 1;
        Recorder recorder;
        vekRGB2HLS(pair.pSrc, pair.pDst);
        EXPECT_EQ(recorder.reports.size(), 1u);
        EXPECT_EQ(memcmp(pair.dst.image.colorModel, badShape ? "none" : "HLS", 4), 0);
        EXPECT_EQ(memcmp(pair.dst.image.channelSeq, badShape ? "none" : "HLS", 4), 0);
    }
}

/* ---- Gray ------------------------------------------------------------------------------------------------------ */

TEST(ColourRefusals, ColourToGray)
{
    std::vector<Fault> faults = headerFaults("owncolor");
    add(faults, {{[](Pair& p) { nameImage(p.src.image, "rgb", "RGB"); }, -5, "colorModel must be RGB instead of rgb ",
                  "owncolor"},
                 {[](Pair& p) { memcpy(p.src.image.channelSeq, "RBGA", 4); }, -5,
                  "channelSeq must be RGB or BGR instead of RBGA ", "owncolor"},
                 {[](Pair& p) { memcpy(p.dst.image.colorModel, "gray", 4); }, -5,
                  "colorModel must be GRAY instead of gray ", "owncolor"},
                 {[](Pair& p) { memcpy(p.dst.image.channelSeq, "AG  ", 4); }, -5,
                  "channelSeq must be G instead of AG   ", "owncolor"},
                 {[](Pair& p) {
                      p.dst.image.nChannels = 2;
                      p.dst.image.width = 8;
                  },
                  -5, "(dst-> dataOrder == VEK_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)", "owncolor"},
                 {[](Pair& p) { p.dst.image.origin = 1; }, -5, "src->origin != dst->origin", "owncolor"},
                 {[](Pair& p) { p.src.image.nChannels = 2; }, -5, "src->nChannels < 3", "owncolor"},
                 {[](Pair& p) { p.src.image.depth = VEK_DEPTH_8S; }, -5,
                  "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now", "Ownctog"}});
    const auto make = [] {
        std::unique_ptr<Pair> pair(new Pair(VEK_DEPTH_8U, 3, VEK_DEPTH_8U, 1));
        nameImage(pair->src.image, "RGB", "BGR");
        nameImage(pair->dst.image, "GRAY", "GRAY");
        return pair;
    };
    checkLadder({"vekColorToGray", make, [](Pair& p) { vekColorToGray(p.pSrc, p.pDst); }, faults});
}

TEST(ColourRefusals, GrayToColour)
{
    std::vector<Fault> faults = headerFaults("owncolor");
    add(faults, {{[](Pair& p) { nameImage(p.dst.image, "HSV", "RGB"); }, -5, "colorModel must be RGB instead of HSV ",
                  "owncolor"},
                 {[](Pair& p) { memcpy(p.dst.image.channelSeq, "GRB ", 4); }, -5,
                  "channelSeq must be RGB or BGR instead of GRB  ", "owncolor"},
                 {[](Pair& p) { memcpy(p.src.image.colorModel, "RGB ", 4); }, -5,
                  "colorModel must be GRAY instead of RGB  ", "owncolor"},
                 {[](Pair& p) { memcpy(p.src.image.channelSeq, "AG  ", 4); }, -5,
                  "channelSeq must be G instead of AG   ", "owncolor"},
                 {[](Pair& p) { p.src.image.depth = VEK_DEPTH_16U; }, -5,
                  "src-> depth != dst-> depth && src-> depth != 1U", "owncolor"},
                 {[](Pair& p) {
                      p.src.image.nChannels = 2;
                      p.src.image.width = 8;
                  },
                  -5, "(src-> dataOrder == VEK_DATA_ORDER_PIXEL) && (src-> nChannels != 1)", "owncolor"},
                 {[](Pair& p) { p.dst.image.origin = 1; }, -5, "(src->origin != dst->origin)", "owncolor"},
                 {[](Pair& p) { p.dst.image.nChannels = 2; }, -5, "dst->nChannels < 3", "owncolor"},
                 {[](Pair& p) { p.src.image.depth = p.dst.image.depth = VEK_DEPTH_8S; }, -5,
                  "Error input depth. 32S,16U,8U are valid now", "Owngtoc"}});
    const auto make = [] {
        std::unique_ptr<Pair> pair(new Pair(VEK_DEPTH_8U, 1, VEK_DEPTH_8U, 3));
        nameImage(pair->dst.image, "RGB", "RGB");
        nameImage(pair->src.image, "Gray", "G   ");
        return pair;
    };
    checkLadder({"vekGrayToColor", make, [](Pair& p) { vekGrayToColor(p.pSrc, p.pDst, 1, 1, 1); }, faults});

    Pair bits(VEK_DEPTH_1U, 1, VEK_DEPTH_16U, 3);
    nameImage(bits.dst.image, "RGB", "RGB");
    nameImage(bits.src.image, "GRAY", "G   ");
    Recorder recorder;
    vekGrayToColor(bits.pSrc, bits.pDst, 1, 1, 1);
    EXPECT_EQ(recorder.text(), "-5 vekGrayToColor(src-> depth == dst-> depth && dst-> depth != 8U)");
}

/* ---- Twist ----------------------------------------------------------------------------------------------------- */

/* Gives an image a mask of the other origin. */
void oddMask(Pair& p, TestImage& image)
{
    std::unique_ptr<TestImage> mask(new TestImage(Pair::spec(VEK_DEPTH_1U, 1), p.random));
    mask->image.origin = 1 - image.image.origin;
    image.setMask(std::move(mask));
}

void twoChannels(VekImage& image)
{
    image.nChannels = 2;
    if (image.alphaChannel) image.alphaChannel = 2;
}

TEST(ColourRefusals, Twist)
{
    const char* const file = "vektwist";
    std::vector<Fault> faults = headerFaults(file);
    add(faults, {{[](Pair& p) { p.pTwist = nullptr; }, -5, "cTwist==0", file},
                 {[](Pair& p) { twoChannels(p.src.image); }, -5, "(srcImage->nChannels < 3)", file},
                 {[](Pair& p) { p.src.image.alphaChannel = p.src.image.nChannels; }, -5,
                  "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))", file},
                 {[](Pair& p) { twoChannels(p.dst.image); }, -5, "(dstImage->nChannels < 3)", file},
                 {[](Pair& p) { p.dst.image.alphaChannel = p.dst.image.nChannels; }, -5,
                  "((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))", file},
                 {[](Pair& p) { p.dst.image.depth = VEK_DEPTH_16U; }, -5, "(srcImage->depth != dstImage->depth)", file},
                 {[](Pair& p) { p.src.image.depth = p.dst.image.depth = VEK_DEPTH_8S; }, -5,
                  "((srcImage->depth != 8) && (srcImage->depth != 16))", file},
                 {[](Pair& p) { p.dst.image.dataOrder = 1 - p.src.image.dataOrder; }, -5,
                  "(srcImage->dataOrder != dstImage->dataOrder)", file},
                 {[](Pair& p) { p.dst.image.origin = 1; }, -5, "(srcImage->origin != dstImage->origin)", file},
                 {[](Pair& p) { oddMask(p, p.src); }, -5, "(srcImage->origin != srcImage->maskROI->origin)", file},
                 {[](Pair& p) { oddMask(p, p.dst); }, -5, "(dstImage->origin != dstImage->maskROI->origin)", file}});
    const auto make = [] { return std::unique_ptr<Pair>(new Pair(VEK_DEPTH_8U, 3, VEK_DEPTH_8U, 3)); };
    checkLadder({"vekApplyColorTwist", make, [](Pair& p) { vekApplyColorTwist(p.pSrc, p.pDst, p.pTwist, 9); }, faults});
}

} // namespace
