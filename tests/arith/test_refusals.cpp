/* The refusals of the point operations, in their order: of two faults the earlier test wins. Nothing is written, nothing
 * is leaked, whatever allocation fails. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

/* ---- The tables ------------------------------------------------------------------------------------------------------ */

/* Four images of 3 channels at a depth, to be spoiled. */
struct Images {
    explicit Images(uint32_t depth)
        : random(1), a(spec(depth), random), b(spec(depth), random), dst(spec(depth), random)
    {
    }

    static ImageSpec spec(uint32_t depth)
    {
        ImageSpec made;
        made.depth = depth;
        made.nChannels = depth == VEK_DEPTH_1U ? 1 : 3;
        return made;
    }
    Random random;
    TestImage a, b, dst;
    const VekImage *pa = &a.image, *pb = &b.image;
    VekImage* pd = &dst.image;
};

/* A fault, and what is reported of it when no earlier one is there. */
struct Fault {
    const char* name;
    std::function<void(Images&)> spoil;
    VekStatus status;
    std::string text;
};

typedef std::function<void(Images&)> Call;

/* An operation with its faults in the order of its tests. */
struct Ladder {
    std::string func;
    uint32_t depth;
    Call call;
    std::vector<Fault> faults;
};

static Fault headerFault(const char* name, std::function<void(Images&)> spoil, VekStatus status)
{
    return {name, std::move(spoil), status, "Incorrect Image"};
}

/* The tests of two headers that all operations on one image share. */
static void addHeaders2(Ladder& ladder, bool orders)
{
    std::vector<Fault>& faults = ladder.faults;
    faults.push_back(headerFault(
        "source's alpha", [](Images& i) { i.a.image.alphaChannel = 2; }, -18));
    faults.push_back(headerFault(
        "no destination", [](Images& i) { i.pd = nullptr; }, -9));
    faults.push_back({"depths", [](Images& i) { i.dst.image.depth = i.dst.image.depth == 16 ? 0x80000010u : 16; }, -5,
                      "(srcImage->depth != dstImage->depth)"});
    if (orders)
        faults.push_back({"orders", [](Images& i) { i.dst.image.dataOrder = 1; }, -5,
                          "(srcImage->dataOrder != dstImage->dataOrder)"});
}

static void addChannels2(Ladder& ladder)
{
    ladder.faults.push_back({"channels", [](Images& i) { i.dst.setRoi(2, 0, 0, 16, 16); }, -5, "(nChSrc != nChDst)"});
}

static Ladder constantLadder(const char* func, Call call, const char* floatText, bool orders)
{
    Ladder ladder = {func, VEK_DEPTH_8S, std::move(call), {}};
    if (floatText) {
        ladder.faults.push_back({"no source", [](Images& i) { i.pa = nullptr; }, -5, "srcImage==0"});
        ladder.faults.push_back({"floats", [](Images& i) { i.a.image.depth = VEK_DEPTH_32F; }, -5, floatText});
    } else {
        ladder.faults.push_back(headerFault(
            "no source", [](Images& i) { i.pa = nullptr; }, -9));
    }
    addHeaders2(ladder, orders);
    addChannels2(ladder);
    return ladder;
}

static Ladder pairLadder(const char* func, void (*call)(const VekImage*, const VekImage*, VekImage*), bool nullTest)
{
    Ladder ladder = {func, VEK_DEPTH_16S, [=](Images& i) { call(i.pa, i.pb, i.pd); }, {}};
    std::vector<Fault>& faults = ladder.faults;
    if (nullTest) faults.push_back({"no A", [](Images& i) { i.pa = nullptr; }, -5, "srcImageA==0"});
    else
        faults.push_back(headerFault(
            "no A", [](Images& i) { i.pa = nullptr; }, -9));
    faults.push_back(headerFault(
        "A's width", [](Images& i) { i.a.image.width = 0; }, -10));
    faults.push_back(headerFault(
        "B's order", [](Images& i) { i.b.image.dataOrder = 2; }, -19));
    faults.push_back(headerFault(
        "no destination", [](Images& i) { i.pd = nullptr; }, -9));
    faults.push_back(
        {"A's depth", [](Images& i) { i.a.image.depth = 16; }, -5, "(srcImageA->depth != dstImage->depth)"});
    faults.push_back(
        {"B's depth", [](Images& i) { i.b.image.depth = 16; }, -5, "(srcImageB->depth != dstImage->depth)"});
    faults.push_back(
        {"A's order", [](Images& i) { i.a.image.dataOrder = 1; }, -5, "(srcImageA->dataOrder != dstImage->dataOrder)"});
    faults.push_back(
        {"B's order", [](Images& i) { i.b.image.dataOrder = 1; }, -5, "(srcImageB->dataOrder != dstImage->dataOrder)"});
    faults.push_back({"A's channels", [](Images& i) { i.a.setRoi(1, 0, 0, 9, 9); }, -5, "(nChSrcA != nChDst)"});
    faults.push_back({"B's channels", [](Images& i) { i.b.setRoi(3, 0, 0, 9, 9); }, -5, "(nChSrcB != nChDst)"});
    return ladder;
}

static Ladder absLadder()
{
    Ladder ladder = {"vekAbs", VEK_DEPTH_8S, [](Images& i) { vekAbs(i.pa, i.pd); }, {}};
    ladder.faults.push_back(headerFault(
        "no source", [](Images& i) { i.pa = nullptr; }, -9));
    addHeaders2(ladder, true);
    ladder.faults.push_back({"channels", [](Images& i) { i.dst.image.nChannels = 2; }, -5, "(nChSrc != nChDst)"});
    ladder.faults.push_back(
        {"coi on one side", [](Images& i) { i.a.setRoi(2, 0, 0, 9, 9); }, -5, "(nChSrcCoi != nChDstCoi)"});
    return ladder;
}

static std::vector<Ladder> ladders()
{
    const char* const adds = "For processing depth 32F use function vekAddSFP";
    const char* const subs = "For processing depth 32F use function vekSubtractSFP";
    const char* const muls = "For processing depth 32F use function vekMultiplySFP";
    std::vector<Ladder> all = {
        pairLadder("vekAdd", vekAdd, true),
        pairLadder("vekSubtract", vekSubtract, false),
        pairLadder("vekMultiply", vekMultiply, true),
        pairLadder("vekAnd", vekAnd, false),
        pairLadder("vekOr", vekOr, false),
        pairLadder("vekXor", vekXor, false),
        constantLadder(
            "vekSubtractS", [](Images& i) { vekSubtractS(i.pa, i.pd, 3, 0); }, subs, false),
        constantLadder(
            "vekMultiplyS", [](Images& i) { vekMultiplyS(i.pa, i.pd, 3); }, muls, true),
        constantLadder(
            "vekAndS", [](Images& i) { vekAndS(i.pa, i.pd, 3); }, nullptr, true),
        constantLadder(
            "vekOrS", [](Images& i) { vekOrS(i.pa, i.pd, 3); }, nullptr, true),
        constantLadder(
            "vekXorS", [](Images& i) { vekXorS(i.pa, i.pd, 3); }, nullptr, true),
        constantLadder(
            "vekSquare", [](Images& i) { vekSquare(i.pa, i.pd); }, nullptr, true),
        absLadder(),
    };
    Ladder addS = constantLadder(
        "vekAddS", [](Images& i) { vekAddS(i.pa, i.pd, 3); }, adds, true);
    addS.depth = VEK_DEPTH_32S;
    all.push_back(addS);
    /* Not by name: the call is vekXorS. */
    all.push_back(constantLadder(
        "vekXorS", [](Images& i) { vekNot(i.pa, i.pd); }, nullptr, true));
    for (const bool left : {true, false}) {
        Ladder shift = {left ? "vekLShiftS" : "vekRShiftS",
                        VEK_DEPTH_8S,
                        [=](Images& i) { left ? vekLShiftS(i.pa, i.pd, 3) : vekRShiftS(i.pa, i.pd, 3); },
                        {}};
        shift.faults.push_back({"no source", [](Images& i) { i.pa = nullptr; }, -5, "srcImage==0"});
        addHeaders2(shift, true);
        addChannels2(shift);
        all.push_back(shift);
    }
    const struct {
        const char *func, *text;
        Call call;
    } floats[] = {
        {"vekAddSFP", "For processing this depth use function vekAddS", [](Images& i) { vekAddSFP(i.pa, i.pd, 1); }},
        {"vekSubtractSFP", "For processing this depth use function vekSubtractS",
         [](Images& i) { vekSubtractSFP(i.pa, i.pd, 1, 1); }},
        {"vekMultiplySFP", "For processing this depth use function vekMultiplyS",
         [](Images& i) { vekMultiplySFP(i.pa, i.pd, 1); }},
    };
    for (const auto& row : floats) {
        Ladder ladder = {row.func, VEK_DEPTH_32F, row.call, {}};
        ladder.faults.push_back({"no source", [](Images& i) { i.pa = nullptr; }, -5, "srcImage==0"});
        ladder.faults.push_back({"integers", [](Images& i) { i.a.image.depth = VEK_DEPTH_32S; }, -5, row.text});
        addHeaders2(ladder, true);
        addChannels2(ladder);
        all.push_back(ladder);
    }
    return all;
}

static std::string refusalOf(const Fault& fault, const std::string& func)
{
    return std::to_string(fault.status) + " " + func + "(" + fault.text + ")";
}

/* Runs a ladder's call with two of its faults (perhaps the same one twice) and holds the report against the earlier. */
static void climb(const Ladder& ladder, const Fault& early, const Fault& late)
{
    SCOPED_TRACE(ladder.func + ": " + early.name + ", " + late.name);
    Images images(ladder.depth);
    late.spoil(images);
    early.spoil(images);
    const std::vector<uint8_t> before = images.dst.bytes();
    const int live = heapLive();
    Recorder recorder;
    ladder.call(images);
    EXPECT_EQ(recorder.text(), refusalOf(early, ladder.func));
    EXPECT_EQ(vekGetErrStatus(), early.status);
    EXPECT_EQ(images.dst.bytes(), before);
    EXPECT_EQ(heapLive(), live);
}

/* Faults of one header field hide each other, so a pair must spoil different ones. */
static bool areApart(const Fault& early, const Fault& late)
{
    Images once(VEK_DEPTH_8S), twice(VEK_DEPTH_8S);
    const auto sameAfter = [](const Images& x, const Images& y) {
        const auto alike = [](const VekImage& i, const VekImage& j) {
            return i.depth == j.depth && i.dataOrder == j.dataOrder && i.alphaChannel == j.alphaChannel &&
                   i.width == j.width && i.nChannels == j.nChannels && !i.roi == !j.roi;
        };
        return !x.pa == !y.pa && !x.pd == !y.pd && alike(x.a.image, y.a.image) && alike(x.b.image, y.b.image) &&
               alike(x.dst.image, y.dst.image);
    };
    Images onlyEarly(VEK_DEPTH_8S);
    early.spoil(onlyEarly);
    late.spoil(twice);
    early.spoil(twice);
    return !sameAfter(onlyEarly, twice);
}

TEST(Refusals, comeInTheirOrder)
{
    for (const Ladder& ladder : ladders())
        for (size_t early = 0; early < ladder.faults.size(); ++early)
            for (size_t late = early; late < ladder.faults.size(); ++late)
                if (late == early || areApart(ladder.faults[early], ladder.faults[late]))
                    climb(ladder, ladder.faults[early], ladder.faults[late]);
}

/* Alpha on one side: the counts are then compared no more, but the alphas are, when the counts agree. */
TEST(Refusals, ofVekAbsOnAlpha)
{
    const struct {
        int32_t nChannels, coi;
        const char* report;
    } rows[] = {{3, 0, "-5 vekAbs((aChSrc != aChDst))"}, {3, 2, ""}, {2, 0, ""}, {2, 2, ""}};
    for (const auto& row : rows) {
        Images images(VEK_DEPTH_8S);
        images.a.image.alphaChannel = 3;
        images.dst.image.nChannels = row.nChannels;
        if (row.coi) images.a.setRoi(row.coi, 0, 0, 9, 9), images.dst.setRoi(row.coi, 0, 0, 9, 9);
        Recorder recorder;
        vekAbs(images.pa, images.pd);
        EXPECT_EQ(recorder.text(), row.report) << row.nChannels << " " << row.coi;
    }
}

/* ---- Routing: who reports ---------------------------------------------------------------------------------------------- */

TEST(Refusals, comeUnderTheNameOfTheOperationThatFails)
{
    const struct {
        uint32_t depth;
        Call call;
        const char* report;
    } rows[] = {
        {VEK_DEPTH_1U, [](Images& i) { vekAdd(i.pa, i.pb, nullptr); }, "-9 vekOr(Incorrect Image)"},
        {VEK_DEPTH_1U, [](Images& i) { vekMultiply(i.pa, nullptr, i.pd); }, "-9 vekAnd(Incorrect Image)"},
        {VEK_DEPTH_1U, [](Images& i) { vekAddS(i.pa, nullptr, 1); }, "-9 vekOrS(Incorrect Image)"},
        {VEK_DEPTH_16U, [](Images& i) { vekAddS(i.pa, nullptr, 1); }, "-9 vekSubtractS(Incorrect Image)"},
        {VEK_DEPTH_8U, [](Images& i) { vekAddS(i.pa, nullptr, 300); }, "-9 vekOrS(Incorrect Image)"},
        {VEK_DEPTH_16U, [](Images& i) { vekAddS(i.pa, nullptr, -70000); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_1U, [](Images& i) { vekSubtractS(i.pa, nullptr, 2, 0); }, "-9 vekXorS(Incorrect Image)"},
        {VEK_DEPTH_1U, [](Images& i) { vekSubtractS(i.pa, nullptr, 2, 1); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_8U, [](Images& i) { vekSubtractS(i.pa, nullptr, 510, 1); }, "-9 vekOrS(Incorrect Image)"},
        {VEK_DEPTH_8U, [](Images& i) { vekSubtractS(i.pa, nullptr, 509, 1); }, "-9 vekSubtractS(Incorrect Image)"},
        {VEK_DEPTH_1U, [](Images& i) { vekMultiplyS(i.pa, nullptr, 3); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_16U, [](Images& i) { vekMultiplyS(i.pa, nullptr, -4); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_8S, [](Images& i) { vekLShiftS(i.pa, nullptr, 0); }, "-9 vekXorS(Incorrect Image)"},
        {VEK_DEPTH_8S, [](Images& i) { vekLShiftS(i.pa, nullptr, 8); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_32F, [](Images& i) { vekLShiftS(i.pa, i.pd, 32); },
         "-5 vekAndS(This function does not support depth 32F)"},
        {VEK_DEPTH_8U, [](Images& i) { vekRShiftS(i.pa, nullptr, 8); }, "-9 vekAndS(Incorrect Image)"},
        {VEK_DEPTH_8S, [](Images& i) { vekRShiftS(i.pa, nullptr, 8); }, "-9 vekRShiftS(Incorrect Image)"},
        {VEK_DEPTH_8U, [](Images& i) { i.a.image.depth = 7, vekAddS(i.pa, i.pd, 8); }, "-17 vekAddS(Incorrect Image)"},
    };
    for (const auto& row : rows) {
        Images images(row.depth);
        Recorder recorder;
        row.call(images);
        EXPECT_EQ(recorder.text(), row.report);
    }
}

/* ---- After the merge of masks -------------------------------------------------------------------------------------------- */

static void maskBoth(Images& images, int32_t secondOffset)
{
    ImageSpec spec;
    spec.depth = VEK_DEPTH_1U;
    images.a.setMask(std::make_unique<TestImage>(spec, images.random));
    images.dst.setMask(std::make_unique<TestImage>(spec, images.random)).setRoi(0, secondOffset, 0, 16, 16);
}

TEST(Refusals, ofFloatsFollowTheMergeOfMasks)
{
    const std::pair<const char*, Call> calls[] = {
        {"vekAnd", [](Images& i) { vekAnd(i.pa, i.pb, i.pd); }},
        {"vekXor", [](Images& i) { vekXor(i.pa, i.pb, i.pd); }},
        {"vekOr", [](Images& i) { vekOr(i.pa, i.pb, i.pd); }},
        {"vekOrS", [](Images& i) { vekOrS(i.pa, i.pd, 1); }},
        {"vekLShiftS", [](Images& i) { vekLShiftS(i.pa, i.pd, 3); }},
        {"vekAbs", [](Images& i) { vekAbs(i.pa, i.pd); }},
        {"vekRShiftS", [](Images& i) { vekRShiftS(i.pa, i.pd, 3); }},
    };
    for (const auto& [func, call] : calls)
        for (const int32_t offset : {0, 16}) { /* masks that overlap, and masks that share nothing */
            Images images(VEK_DEPTH_32F);
            maskBoth(images, offset);
            const std::vector<uint8_t> before = images.dst.bytes();
            const int live = heapLive();
            Recorder recorder;
            call(images);
            const std::string refusal = std::string("-5 ") + func + "(This function does not support depth 32F)";
            EXPECT_EQ(recorder.text(), offset == 16 ? "" : refusal);
            EXPECT_EQ(images.dst.bytes(), before);
            EXPECT_EQ(heapLive(), live);
        }
}

TEST(Refusals, ofMemoryLeaveNothingBehind)
{
    const std::pair<const char*, Call> calls[] = {
        {"vekAdd", [](Images& i) { vekAdd(i.pa, i.pb, i.pd); }},
        {"vekMultiplyS", [](Images& i) { vekMultiplyS(i.pa, i.pd, 2); }},
        {"vekSquare", [](Images& i) { vekSquare(i.pa, i.pd); }},
        {"vekAbs", [](Images& i) { vekAbs(i.pa, i.pd); }},
    };
    for (const auto& [func, call] : calls)
        for (int n = 0; n <= 2; ++n) { /* the merged mask's header, its pixels, and none */
            Images images(VEK_DEPTH_8S);
            maskBoth(images, 3);
            const std::vector<uint8_t> before = images.dst.bytes();
            const int live = heapLive();
            Recorder recorder;
            heapFailAfter(n);
            call(images);
            heapFailAfter(-1);
            EXPECT_EQ(recorder.text(), n == 2 ? "" : std::string("-4 ") + func + "(Out of memory)") << n;
            EXPECT_EQ(images.dst.bytes() == before, n < 2) << func;
            EXPECT_EQ(heapLive(), live);
        }
}

/* ---- What is no failure -------------------------------------------------------------------------------------------------- */

TEST(Successes, leaveTheStoredStatusAlone)
{
    Images images(VEK_DEPTH_8S);
    Recorder recorder;
    vekSetErrStatus(-77);
    vekAdd(images.pa, images.pb, images.pd);
    vekNot(images.pa, images.pd);
    EXPECT_EQ(vekGetErrStatus(), -77);
    EXPECT_EQ(recorder.text(), "");
}

/* A one-channel image that is nothing but alpha has no channel to process. */
TEST(Successes, ofNoChannelAreSilent)
{
    Random random(3);
    ImageSpec spec;
    spec.hasAlpha = true;
    TestImage a(spec, random), dst(spec, random);
    const std::vector<uint8_t> before = dst.bytes();
    Recorder recorder;
    vekAddS(&a.image, &dst.image, 3);
    EXPECT_EQ(dst.bytes(), before);
    EXPECT_EQ(recorder.text(), "");
}

} // namespace
