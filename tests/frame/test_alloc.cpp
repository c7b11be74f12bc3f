/* Memory, image records, the test of headers, clones. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/* ---- Reports ------------------------------------------------------------------------------------------------- */

struct Report {
    VekStatus status;
    std::string func, context, file;
    int32_t line;
    bool operator==(const Report&) const = default;
};
static std::vector<Report> reports;

static void PrintTo(const Report& r, std::ostream* out)
{
    *out << r.status << " " << r.func << " \"" << r.context << "\" " << r.file << ":" << r.line;
}

static VekStatus keepReport(VekStatus status, const char* func, const char* context, const char* file, int32_t line)
{
    reports.push_back({status, func, context, file, line});
    return status;
}

/* Each test starts without reports and status, and ends with as many blocks as it began. */
struct AllocTest : testing::Test {
    VekReporter before = nullptr;
    int liveBefore = 0;

    void SetUp() override
    {
        before = vekRedirectError(keepReport);
        vekSetErrStatus(0);
        reports.clear();
        reports.shrink_to_fit();
        liveBefore = heapLive();
    }
    void TearDown() override
    {
        heapFailAfter(-1);
        EXPECT_EQ(heapLive(), liveBefore);
        vekRedirectError(before);
        vekSetErrStatus(0);
    }
    void expectReports(const std::vector<Report>& expected)
    {
        EXPECT_EQ(reports, expected);
        reports.clear();
    }
};

/* ---- Aligned memory ------------------------------------------------------------------------------------------ */

static const struct {
    const char* name;
    void* (*make)(int32_t);
    size_t itemBytes;
} makers[] = {
    {"vekMalloc", [](int32_t n) -> void* { return vekMalloc(n); }, 1},
    {"vekwMalloc", [](int32_t n) -> void* { return vekwMalloc(n); }, 2},
    {"vekiMalloc", [](int32_t n) -> void* { return vekiMalloc(n); }, 4},
    {"veksMalloc", [](int32_t n) -> void* { return veksMalloc(n); }, 4},
    {"vekdMalloc", [](int32_t n) -> void* { return vekdMalloc(n); }, 8},
};

/* A sanitizer sees a write beyond the block, and the heap a pointer below it that was lost. */
TEST_F(AllocTest, blocksAreAlignedAndPadded)
{
    for (const auto& maker : makers)
        for (int32_t count = 0; count < 70; ++count) {
            uint8_t* block = (uint8_t*)maker.make(count);
            ASSERT_NE(block, nullptr) << maker.name << count;
            EXPECT_EQ((uintptr_t)block % 32, 0u) << maker.name << count;
            memset(block, 0xa5, (size_t)count * maker.itemBytes + 33);
            vekFree(block);
        }
    vekFree(nullptr);
    for (size_t bytes = 0; bytes < 200; ++bytes) {
        void* block = ownAlloc(bytes);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ((uintptr_t)block % 64, 0u);
        memset(block, 0xa5, bytes);
        ownFree(block);
    }
    ownFree(nullptr);
}

TEST_F(AllocTest, refusedBlocksAreNullAndSilent)
{
    for (const auto& maker : makers) {
        for (const int32_t count : {-1, -100, INT32_MIN}) EXPECT_EQ(maker.make(count), nullptr) << maker.name << count;
        heapFailAfter(0);
        EXPECT_EQ(maker.make(10), nullptr) << maker.name;
        heapFailAfter(-1);
    }
    EXPECT_EQ(ownAlloc(SIZE_MAX), nullptr);
    EXPECT_EQ(ownAlloc(SIZE_MAX - 63), nullptr);
    heapFailAfter(0);
    EXPECT_EQ(ownAlloc(10), nullptr);
    EXPECT_EQ(vekCreateROI(0, 0, 0, 1, 1), nullptr);
    EXPECT_EQ(vekCreateTileInfo(nullptr, nullptr, 8, 8), nullptr);
    EXPECT_EQ(vekGetErrStatus(), 0);
    expectReports({});
}

/* ---- Headers ------------------------------------------------------------------------------------------------- */

/* The arguments of vekCreateImageHeader. */
struct Arguments {
    int32_t nChannels = 3, alphaChannel = 0;
    uint32_t depth = VEK_DEPTH_8U;
    const char *colorModel = "RGB", *channelSeq = "BGR";
    int32_t dataOrder = 0, origin = 0, align = 4, width = 5, height = 2;
    VekROI* roi = nullptr;
    VekImage* maskROI = nullptr;
    void* imageId = nullptr;
    VekTileInfo* tileInfo = nullptr;

    VekImage* make() const
    {
        return vekCreateImageHeader(nChannels, alphaChannel, depth, colorModel, channelSeq, dataOrder, origin, align,
                                    width, height, roi, maskROI, imageId, tileInfo);
    }
};

static constexpr int32_t ALL_PARTS = VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI | VEK_IMAGE_TILE |
                                     VEK_IMAGE_MASK;

static uint8_t maskBytes[4];
static void noTile(const VekImage*, int32_t, int32_t, int32_t) {}
static VekTileInfo soundTile = {noTile, nullptr, nullptr, 8, 8};

/* A 1-bit image with pixels of its own; sound with the first values. */
static VekImage makeMask(uint32_t depth = VEK_DEPTH_1U, int32_t nChannels = 1, int32_t widthStep = 4,
                         VekTileInfo* tileInfo = nullptr, VekImage* maskROI = nullptr)
{
    VekImage mask = {};
    mask.nChannels = nChannels;
    mask.depth = depth;
    mask.align = mask.imageSize = 4;
    mask.width = 8;
    mask.height = 1;
    mask.widthStep = widthStep;
    mask.imageData = maskBytes;
    mask.tileInfo = tileInfo;
    mask.maskROI = maskROI;
    return mask;
}
static VekImage deepMask = makeMask(VEK_DEPTH_8U), wideMask = makeMask(VEK_DEPTH_1U, 2);
static VekImage flatMask = makeMask(VEK_DEPTH_1U, 1, 0), tiledMask = makeMask(VEK_DEPTH_1U, 1, 4, &soundTile);
static VekImage maskOfFlat = makeMask(VEK_DEPTH_1U, 1, 4, nullptr, &flatMask);

/* The faults of the fields that vekCreateImageHeader tests, in the order of its tests. Of two faults the earlier wins. */
static const struct {
    VekStatus status;
    void (*spoil)(Arguments&);
} badArguments[] = {
    {-10, [](Arguments& a) { a.height = 0; }},
    {-10, [](Arguments& a) { a.width = -1; }},
    {-15, [](Arguments& a) { a.nChannels = 0; }},
    {-16, [](Arguments& a) { a.depth = VEK_DEPTH_1U, a.nChannels = 3; }},
    {-14, [](Arguments& a) { a.colorModel = nullptr; }},
    {-14, [](Arguments& a) { a.channelSeq = nullptr; }},
    {-17, [](Arguments& a) { a.depth = 7; }},
    {-17, [](Arguments& a) { a.depth = VEK_DEPTH_SIGN | 1; }},
    {-17, [](Arguments& a) { a.depth = 0; }},
    {-18, [](Arguments& a) { a.alphaChannel = 2; }},
    {-18, [](Arguments& a) { a.alphaChannel = -1; }},
    {-19, [](Arguments& a) { a.dataOrder = 2; }},
    {-19, [](Arguments& a) { a.dataOrder = -1; }},
    {-20, [](Arguments& a) { a.origin = 2; }},
    {-20, [](Arguments& a) { a.origin = -1; }},
    {-21, [](Arguments& a) { a.align = 0; }},
    {-21, [](Arguments& a) { a.align = 16; }},
    {-117, [](Arguments& a) { a.maskROI = &deepMask; }},
    {-26, [](Arguments& a) { a.maskROI = &tiledMask; }},
    {-116, [](Arguments& a) { a.maskROI = &wideMask; }},
    {-113, [](Arguments& a) { a.maskROI = &flatMask; }},
    {-213, [](Arguments& a) { a.maskROI = &maskOfFlat; }},
};

TEST_F(AllocTest, headerMakerRefusesInOrder)
{
    for (const auto& later : badArguments)
        for (const auto& earlier : badArguments) {
            if (&earlier > &later) continue;
            Arguments arguments;
            later.spoil(arguments);
            earlier.spoil(arguments);
            EXPECT_EQ(arguments.make(), nullptr);
            EXPECT_EQ(vekGetErrStatus(), earlier.status);
            expectReports({{earlier.status, "vekCreateImageHeader", "Incorrect data-ins", "vekalloc", 148}});
        }
}

TEST_F(AllocTest, rowsAreRoundedUpToAlign)
{
    const struct {
        int32_t nChannels;
        uint32_t depth;
        int32_t dataOrder, align, width, height, widthStep, imageSize;
    } table[] = {
        {1, VEK_DEPTH_1U, 0, 4, 9, 1, 4, 4},
        {1, VEK_DEPTH_1U, 0, 4, 33, 3, 8, 24},
        {3, VEK_DEPTH_8U, 0, 8, 5, 2, 16, 32},
        {3, VEK_DEPTH_8U, 1, 8, 5, 2, 8, 48},
        {4, VEK_DEPTH_16S, 0, 8, 1, 1, 8, 8},
        {4, VEK_DEPTH_32S, 1, 4, 3, 7, 12, 336},
        {1, VEK_DEPTH_32F, 0, 8, 3, 5, 16, 80},
        {1, VEK_DEPTH_8S, 0, 4, INT32_MAX - 3, 1, INT32_MAX - 3, INT32_MAX - 3},
        {65536, VEK_DEPTH_8U, 0, 4, 1, 2, 65536, 131072},
    };
    for (const auto& row : table) {
        Arguments a;
        a.nChannels = row.nChannels, a.depth = row.depth, a.dataOrder = row.dataOrder;
        a.align = row.align, a.width = row.width, a.height = row.height;
        VekImage* image = a.make();
        ASSERT_NE(image, nullptr) << row.width;
        EXPECT_EQ(image->widthStep, row.widthStep) << row.width;
        EXPECT_EQ(image->imageSize, row.imageSize) << row.width;
        vekDeallocateHeader(image);
    }
    expectReports({});
}

/* Products that pass 2147483647 bytes, some of them 64 bits as well. */
TEST_F(AllocTest, sizesBeyondTheHeaderAreRefused)
{
    const int32_t most = INT32_MAX;
    const struct {
        int32_t nChannels;
        uint32_t depth;
        int32_t dataOrder, width, height;
    } table[] = {
        {1, VEK_DEPTH_8U, 0, most, 1},        {1, VEK_DEPTH_8U, 0, most - 2, 1},  {3, VEK_DEPTH_8U, 0, most, 1},
        {most, VEK_DEPTH_32F, 0, most, most}, {most, VEK_DEPTH_8U, 1, 1, most},   {most, VEK_DEPTH_32S, 1, most, most},
        {1, VEK_DEPTH_1U, 0, most, 9},        {1, VEK_DEPTH_16U, 0, 1, most},     {536870912, VEK_DEPTH_8U, 1, 1, 1},
        {65536, VEK_DEPTH_8U, 0, 32768, 1},   {1, VEK_DEPTH_8U, 0, 46344, 46344}, {1, VEK_DEPTH_8U, 0, 65536, 65536},
    };
    Arguments sound;
    sound.nChannels = 1;
    VekImage* image = sound.make();
    ASSERT_NE(image, nullptr);
    for (const auto& row : table) {
        Arguments a;
        a.nChannels = row.nChannels, a.depth = row.depth, a.dataOrder = row.dataOrder;
        a.width = row.width, a.height = row.height;
        EXPECT_EQ(a.make(), nullptr) << row.width;
        expectReports({{-10, "vekCreateImageHeader", "Incorrect data-ins", "vekalloc", 148}});

        const bool isFloat = row.depth == VEK_DEPTH_32F;
        image->nChannels = row.nChannels, image->depth = row.depth, image->dataOrder = row.dataOrder;
        image->width = row.width, image->height = row.height;
        if (isFloat) vekAllocateImageFP(image, 0, 0);
        else vekAllocateImage(image, 0, 0);
        EXPECT_EQ(image->imageData, nullptr);
        expectReports({{-10, isFloat ? "vekAllocateImageFP" : "vekAllocateImage", "Incorrect data-ins", "vekalloc",
                        isFloat ? 334 : 269}});
        EXPECT_EQ(image->widthStep, 8) << "changed by a refusal";
    }
    vekDeallocateHeader(image);
}

TEST_F(AllocTest, headerHoldsItsArguments)
{
    VekROI roi = {9, -1, -1, 0, 0};
    VekImage mask = makeMask();
    VekTileInfo tile = {nullptr, nullptr, nullptr, 1, 1};
    Arguments a;
    a.alphaChannel = 3, a.dataOrder = 1, a.origin = 1, a.align = 8;
    a.roi = &roi, a.maskROI = &mask, a.imageId = &a, a.tileInfo = &tile;
    a.colorModel = "HSV", a.channelSeq = "VSHx";
    VekImage* image = a.make();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->headerSize, (int32_t)sizeof(VekImage));
    EXPECT_EQ(image->headerId, 0);
    EXPECT_EQ(image->nChannels, 3);
    EXPECT_EQ(image->alphaChannel, 3);
    EXPECT_EQ(image->depth, VEK_DEPTH_8U);
    EXPECT_EQ(memcmp(image->colorModel, "HSV", 4), 0);
    EXPECT_EQ(memcmp(image->channelSeq, "VSHx", 4), 0);
    EXPECT_TRUE(image->dataOrder == 1 && image->origin == 1 && image->align == 8);
    EXPECT_TRUE(image->width == 5 && image->height == 2);
    EXPECT_TRUE(image->roi == &roi && image->maskROI == &mask && image->imageId == &a && image->tileInfo == &tile);
    EXPECT_TRUE(!image->imageData && !image->rawImageData);
    for (int side = 0; side < 4; ++side) EXPECT_TRUE(!image->borderMode[side] && !image->borderConst[side]);
    vekDeallocateHeader(image);
    heapFailAfter(0);
    EXPECT_EQ(a.make(), nullptr);
    EXPECT_EQ(vekGetErrStatus(), 0);
    expectReports({});
}

/* ---- The test of headers ------------------------------------------------------------------------------------- */

struct Subject {
    uint8_t data[64] = {};
    VekROI roi = {0, 0, 0, 1, 1};
    VekTileInfo tile = soundTile;
    VekImage image = {};

    Subject()
    {
        image.nChannels = 3;
        image.depth = VEK_DEPTH_8U;
        image.align = 4;
        image.width = 5;
        image.height = 2;
        image.widthStep = 16;
        image.imageSize = 32;
        image.imageData = data;
        image.roi = &roi;
    }
    Subject(const Subject&) = delete;
    void makeTiled()
    {
        image.tileInfo = &tile;
        image.imageData = nullptr;
        image.widthStep = image.imageSize = 0;
    }
};

/* In the order of the tests. Tile faults need a tiled image, the others are tried on both kinds where they can be. */
static const struct {
    VekStatus status;
    enum { ANY, PLAIN, TILED } kind;
    void (*spoil)(Subject&);
} badHeaders[] = {
    {-12, badHeaders->PLAIN, [](Subject& s) { s.image.imageData = nullptr, s.image.tileInfo = nullptr; }},
    {-12, badHeaders->PLAIN, [](Subject& s) { s.image.tileInfo = &s.tile; }},
    {-10, badHeaders->PLAIN, [](Subject& s) { s.image.imageSize = 0; }},
    {-13, badHeaders->PLAIN, [](Subject& s) { s.image.widthStep = 0; }},
    {-10, badHeaders->ANY, [](Subject& s) { s.image.width = 0; }},
    {-10, badHeaders->ANY, [](Subject& s) { s.image.height = INT32_MIN; }},
    {-15, badHeaders->ANY, [](Subject& s) { s.image.nChannels = 0; }},
    {-16, badHeaders->ANY, [](Subject& s) { s.image.depth = VEK_DEPTH_1U, s.image.nChannels = 2; }},
    {-17, badHeaders->ANY, [](Subject& s) { s.image.depth = 64; }},
    {-17, badHeaders->ANY, [](Subject& s) { s.image.depth = 0xffffffffu; }},
    {-18, badHeaders->ANY, [](Subject& s) { s.image.alphaChannel = 1; }},
    {-19, badHeaders->ANY, [](Subject& s) { s.image.dataOrder = -1; }},
    {-20, badHeaders->ANY, [](Subject& s) { s.image.origin = 2; }},
    {-21, badHeaders->ANY, [](Subject& s) { s.image.align = 2; }},
    {-117, badHeaders->ANY, [](Subject& s) { s.image.maskROI = &deepMask; }},
    {-26, badHeaders->ANY, [](Subject& s) { s.image.maskROI = &tiledMask; }},
    {-116, badHeaders->ANY, [](Subject& s) { s.image.maskROI = &wideMask; }},
    {-213, badHeaders->ANY, [](Subject& s) { s.image.maskROI = &maskOfFlat; }},
    {-22, badHeaders->TILED, [](Subject& s) { s.tile.callBack = nullptr; }},
    {-23, badHeaders->TILED, [](Subject& s) { s.tile.width = -8; }},
    {-23, badHeaders->TILED, [](Subject& s) { s.tile.height = 0; }},
    {-23, badHeaders->TILED, [](Subject& s) { s.tile.width = 12; }},
    {-23, badHeaders->TILED, [](Subject& s) { s.tile.height = 9; }},
    {-24, badHeaders->ANY, [](Subject& s) { s.roi.coi = -1; }},
    {-24, badHeaders->ANY, [](Subject& s) { s.roi.coi = 4; }},
    {-25, badHeaders->ANY, [](Subject& s) { s.roi.height = 0; }},
    {-25, badHeaders->ANY, [](Subject& s) { s.roi.width = 0; }},
    {-11, badHeaders->ANY, [](Subject& s) { s.roi.xOffset = -1; }},
    {-11, badHeaders->ANY, [](Subject& s) { s.roi.yOffset = INT32_MIN; }},
};

TEST_F(AllocTest, checkFindsTheFirstFault)
{
    int nTried = 0;
    for (const bool tiled : {false, true})
        for (const auto& later : badHeaders)
            for (const auto& earlier : badHeaders) {
                const auto unfit = tiled ? badHeaders->PLAIN : badHeaders->TILED;
                if (&earlier > &later || earlier.kind == unfit || later.kind == unfit) continue;
                Subject subject;
                if (tiled) subject.makeTiled();
                later.spoil(subject);
                earlier.spoil(subject);
                EXPECT_EQ(vekCheckImageHeader(&subject.image), earlier.status)
                    << (&earlier - badHeaders) << " and " << (&later - badHeaders) << (tiled ? " tiled" : "");
                EXPECT_EQ(vekGetErrStatus(), earlier.status);
                ++nTried;
            }
    EXPECT_EQ(nTried, 24 * 25 / 2 + 25 * 26 / 2);
    vekSetErrStatus(0);
    EXPECT_EQ(vekCheckImageHeader(nullptr), -9);
    EXPECT_EQ(vekGetErrStatus(), -9);
    expectReports({});
}

TEST_F(AllocTest, soundHeadersPass)
{
    vekSetErrStatus(-77);
    for (const uint32_t depth :
         {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_8S, VEK_DEPTH_16U, VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F})
        for (const bool tiled : {false, true}) {
            Subject subject;
            if (tiled) subject.makeTiled();
            VekImage mask = makeMask();
            subject.image.depth = depth;
            subject.image.nChannels = subject.image.alphaChannel = depth == VEK_DEPTH_1U ? 1 : 4;
            subject.image.maskROI = &mask;
            subject.roi = {subject.image.nChannels, INT32_MAX, 1000, INT32_MAX, 7};
            EXPECT_EQ(vekCheckImageHeader(&subject.image), 0) << depth;
            EXPECT_EQ(vekGetErrStatus(), -77) << "a success leaves the status";
        }
}

TEST_F(AllocTest, ringsOfMasksEnd)
{
    VekImage a = makeMask(), b = makeMask();
    a.maskROI = &b;
    b.maskROI = &a;
    EXPECT_EQ(vekCheckImageHeader(&a), 0);
    b.maskROI = &b;
    EXPECT_EQ(vekCheckImageHeader(&a), 0);
    b.align = 5;
    EXPECT_EQ(vekCheckImageHeader(&a), -121);
}

TEST_F(AllocTest, tileRowBytes)
{
    Subject subject;
    EXPECT_EQ(ownTileRowBytes(nullptr), 0);
    EXPECT_EQ(ownTileRowBytes(&subject.image), 0) << "without tiles";
    subject.makeTiled();
    subject.tile.width = 24;
    EXPECT_EQ(ownTileRowBytes(&subject.image), 72);
    subject.image.dataOrder = VEK_DATA_ORDER_PLANE_WISE;
    subject.image.align = 8;
    subject.tile.width = 16;
    EXPECT_EQ(ownTileRowBytes(&subject.image), 16);
    subject.image.nChannels = 1;
    subject.image.depth = VEK_DEPTH_1U;
    EXPECT_EQ(ownTileRowBytes(&subject.image), 8);
    subject.image.depth = VEK_DEPTH_32F;
    subject.tile.width = 0x7ffffff8;
    EXPECT_EQ(ownTileRowBytes(&subject.image), 0) << "too large for a header";
    subject.tile.width = 12;
    EXPECT_EQ(ownTileRowBytes(&subject.image), 0) << "no sound header";
    EXPECT_EQ(vekGetErrStatus(), 0);
}

/* ---- Pixels -------------------------------------------------------------------------------------------------- */

TEST_F(AllocTest, pixelsAreFilledWithTheSample)
{
    const struct {
        uint32_t depth;
        int32_t value;
        std::vector<uint8_t> bytes;
    } table[] = {
        {VEK_DEPTH_1U, 3, {0xff}},
        {VEK_DEPTH_1U, 2, {0}},
        {VEK_DEPTH_8U, 0x1a5, {0xa5}},
        {VEK_DEPTH_8S, -2, {0xfe}},
        {VEK_DEPTH_16U, 0x51234, {0x34, 0x12}},
        {VEK_DEPTH_16S, -2, {0xfe, 0xff}},
        {VEK_DEPTH_32S, -1, {0xff}},
        {VEK_DEPTH_32S, 0x12345678, {0x78, 0x56, 0x34, 0x12}},
        {VEK_DEPTH_32F, 0, {0x00, 0x00, 0xc0, 0xbf}}, /* -1.5 */
    };
    for (const auto& row : table)
        for (const int32_t align : {4, 8})
            for (const int32_t doFill : {1, -1, 0}) {
                Arguments a;
                a.nChannels = 1, a.depth = row.depth, a.align = align, a.width = 5, a.height = 3;
                VekImage* image = a.make();
                ASSERT_NE(image, nullptr);
                const int32_t widthStep = image->widthStep, imageSize = image->imageSize;
                image->widthStep = image->imageSize = -1;
                if (row.depth == VEK_DEPTH_32F) vekAllocateImageFP(image, doFill, -1.5f);
                else vekAllocateImage(image, doFill, row.value);
                ASSERT_NE(image->imageData, nullptr);
                EXPECT_EQ(image->widthStep, widthStep);
                EXPECT_EQ(image->imageSize, imageSize);
                EXPECT_EQ((uintptr_t)image->imageData % (uintptr_t)align, 0u);
                EXPECT_TRUE(image->imageData - image->rawImageData >= 0 &&
                            image->imageData - image->rawImageData < align);
                if (!doFill) memset(image->imageData, 0, (size_t)imageSize);
                for (size_t i = 0; doFill && i < (size_t)imageSize; ++i)
                    ASSERT_EQ(image->imageData[i], row.bytes[i % row.bytes.size()]) << row.depth << " byte " << i;
                vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
            }
    expectReports({});
}

TEST_F(AllocTest, pixelMakersRefuseInOrder)
{
    const struct {
        const char* func;
        void (*make)(VekImage*);
        uint32_t depth, wrongDepth;
        const char* wrongText;
        int32_t line;
    } functions[] = {
        {"vekAllocateImage", [](VekImage* i) { vekAllocateImage(i, 0, 0); }, VEK_DEPTH_8U, VEK_DEPTH_32F,
         "( image->depth == 32 )", 256},
        {"vekAllocateImageFP", [](VekImage* i) { vekAllocateImageFP(i, 0, 0); }, VEK_DEPTH_32F, VEK_DEPTH_8U,
         "( image->depth != 32 )", 321},
    };
    for (const auto& f : functions) {
        Subject subject;
        VekImage& image = subject.image;
        image.depth = f.wrongDepth;
        image.tileInfo = &subject.tile;
        f.make(nullptr);
        expectReports({{-5, f.func, "( image == ((void *)0) )", "vekalloc", f.line}});
        f.make(&image);
        expectReports({{-5, f.func, "( image->imageData != ((void *)0) )", "vekalloc", f.line + 1}});
        image.imageData = nullptr;
        f.make(&image);
        expectReports({{-5, f.func, "( image->tileInfo != ((void *)0) )", "vekalloc", f.line + 2}});
        image.tileInfo = nullptr;
        f.make(&image);
        expectReports({{-5, f.func, f.wrongText, "vekalloc", f.line + 3}});
        for (const auto& bad : badHeaders) {
            Subject spoiled;
            bad.spoil(spoiled);
            const VekStatus status = bad.status;
            const bool tested = bad.kind == badHeaders->ANY && status != -24 && status != -25 && status != -11;
            if (!tested || (status == -16 || status == -17) == (f.depth == VEK_DEPTH_32F)) continue;
            spoiled.image.imageData = nullptr;
            if (spoiled.image.depth == VEK_DEPTH_8U) spoiled.image.depth = f.depth;
            f.make(&spoiled.image);
            expectReports({{status, f.func, "Incorrect data-ins", "vekalloc", f.line + 13}});
            EXPECT_TRUE(!spoiled.image.imageData && spoiled.image.widthStep == 16 && spoiled.image.imageSize == 32);
        }
        vekSetErrStatus(0);
        image.depth = f.depth;
        image.roi = nullptr;
        heapFailAfter(0);
        f.make(&image);
        heapFailAfter(-1);
        EXPECT_TRUE(!image.imageData && !image.rawImageData);
        EXPECT_EQ(vekGetErrStatus(), 0);
        f.make(&image);
        EXPECT_NE(image.imageData, nullptr);
        f.make(&image);
        expectReports({{-5, f.func, "( image->imageData != ((void *)0) )", "vekalloc", f.line + 1}});
        vekDeallocateImage(&image);
        EXPECT_TRUE(!image.imageData && !image.rawImageData);
    }
}

/* ---- Release ------------------------------------------------------------------------------------------------- */

/* An image with all parts, and a mask with all parts that has a mask itself. */
static VekImage* wholeImage(VekImage* innerMask)
{
    Arguments a;
    a.nChannels = 1, a.depth = VEK_DEPTH_1U;
    VekImage* mask = a.make();
    vekAllocateImage(mask, 1, 1);
    mask->roi = vekCreateROI(0, 0, 0, 1, 1);
    mask->maskROI = innerMask;
    a.maskROI = mask;
    VekImage* image = a.make();
    vekAllocateImage(image, 1, 1);
    image->roi = vekCreateROI(0, 0, 0, 1, 1);
    image->tileInfo = vekCreateTileInfo(noTile, nullptr, 8, 8);
    return image;
}

TEST_F(AllocTest, deallocateTakesWhatItsFlagsSay)
{
    for (int32_t flags = 0; flags < 32; ++flags) {
        VekImage inner = makeMask();
        VekImage* image = wholeImage(&inner);
        const VekImage whole = *image;
        EXPECT_EQ(heapLive(), liveBefore + 7);
        const int32_t kept = flags & ~VEK_IMAGE_HEADER;
        vekDeallocate(image, kept);
        EXPECT_EQ(image->roi, kept & VEK_IMAGE_ROI ? nullptr : whole.roi);
        EXPECT_EQ(image->tileInfo, kept & VEK_IMAGE_TILE ? nullptr : whole.tileInfo);
        EXPECT_EQ(image->imageData, kept & VEK_IMAGE_DATA ? nullptr : whole.imageData);
        EXPECT_EQ(image->rawImageData, kept & VEK_IMAGE_DATA ? nullptr : whole.rawImageData);
        EXPECT_EQ(image->maskROI, kept & VEK_IMAGE_MASK ? nullptr : whole.maskROI);
        const int nFreed = !!(kept & VEK_IMAGE_ROI) + !!(kept & VEK_IMAGE_TILE) + !!(kept & VEK_IMAGE_DATA) +
                           3 * !!(kept & VEK_IMAGE_MASK);
        EXPECT_EQ(heapLive(), liveBefore + 7 - nFreed) << flags;
        vekDeallocate(image, ALL_PARTS);
        EXPECT_EQ(heapLive(), liveBefore) << "some parts at once, some before";
        EXPECT_EQ(inner.imageData, maskBytes) << "the mask's own mask stays";
    }
    vekDeallocate(nullptr, ALL_PARTS);
    vekDeallocateHeader(nullptr);
}

TEST_F(AllocTest, pixelsOfTheCallerStay)
{
    Subject subject;
    vekDeallocate(&subject.image, VEK_IMAGE_DATA);
    EXPECT_EQ(subject.image.imageData, subject.data);
    vekDeallocateImage(&subject.image);
    EXPECT_EQ(subject.image.imageData, nullptr);
    vekDeallocateImage(nullptr);
}

TEST_F(AllocTest, regionsTilesAndBorders)
{
    VekROI* roi = vekCreateROI(-1, -2, -3, -4, -5);
    ASSERT_NE(roi, nullptr);
    EXPECT_TRUE(roi->coi == -1 && roi->xOffset == -2 && roi->yOffset == -3 && roi->width == -4 && roi->height == -5);
    vekSetROI(roi, 1, 2, 3, 4, 5);
    EXPECT_TRUE(roi->coi == 1 && roi->xOffset == 2 && roi->yOffset == 3 && roi->width == 4 && roi->height == 5);
    vekSetROI(nullptr, 1, 2, 3, 4, 5);
    vekDeleteROI(roi);
    vekDeleteROI(nullptr);

    VekTileInfo* tile = vekCreateTileInfo(noTile, &reports, 3, -4);
    ASSERT_NE(tile, nullptr);
    EXPECT_TRUE(tile->callBack == noTile && tile->tileId == &reports && tile->width == 3 && tile->height == -4);
    EXPECT_EQ(tile->tileData, nullptr);
    tile->tileData = maskBytes;
    vekSetTileInfo(tile, nullptr, nullptr, 8, 16);
    EXPECT_TRUE(!tile->callBack && !tile->tileId && !tile->tileData && tile->width == 8 && tile->height == 16);
    vekSetTileInfo(nullptr, noTile, nullptr, 8, 16);
    vekDeleteTileInfo(tile);
    vekDeleteTileInfo(nullptr);

    for (int32_t sides = 0; sides < 64; ++sides) {
        VekImage image = {};
        vekSetBorderMode(&image, 77, sides, -9);
        for (int side = 0; side < 4; ++side) {
            EXPECT_EQ(image.borderMode[side], sides >> side & 1 ? 77 : 0) << sides;
            EXPECT_EQ(image.borderConst[side], sides >> side & 1 ? -9 : 0) << sides;
        }
    }
    vekSetBorderMode(nullptr, 1, 15, 0);
}

/* ---- Clones -------------------------------------------------------------------------------------------------- */

/* A header of the caller's own rows, each widthStep bytes, all bytes different from their neighbours. */
TEST_F(AllocTest, clonesHaveTheSamplesInRowsOfTheirOwn)
{
    for (const uint32_t depth : {VEK_DEPTH_8U, VEK_DEPTH_32F})
        for (const int32_t dataOrder : {0, 1})
            for (const int32_t moreBytes : {0, 1, 8, 100}) {
                Arguments a;
                a.depth = depth, a.dataOrder = dataOrder, a.alphaChannel = 3, a.origin = 1;
                VekImage* like = a.make();
                ASSERT_NE(like, nullptr);
                VekImage image = *like;
                vekDeallocateHeader(like);
                const int32_t ownStep = image.widthStep, nRows = dataOrder ? 6 : 2;
                std::vector<uint8_t> rows((size_t)((ownStep + moreBytes) * nRows));
                for (size_t i = 0; i < rows.size(); ++i) rows[i] = (uint8_t)(i * 7 + i / 251);
                VekROI roi = {1, 1, 0, 2, 1};
                VekImage mask = makeMask();
                image.imageData = rows.data();
                image.widthStep += moreBytes;
                image.imageSize = (int32_t)rows.size();
                image.headerSize = 12;
                image.headerId = 34;
                image.roi = &roi;
                image.maskROI = &mask;
                image.imageId = &a;
                vekSetBorderMode(&image, VEK_BORDER_WRAP, VEK_SIDE_LEFT, 5);

                VekImage* clone = vekCloneImage(&image);
                ASSERT_NE(clone, nullptr);
                VekImage expected = image;
                expected.headerSize = (int32_t)sizeof(VekImage);
                expected.headerId = 0;
                expected.maskROI = nullptr;
                expected.imageId = nullptr;
                expected.roi = clone->roi;
                expected.imageData = clone->imageData;
                expected.rawImageData = clone->rawImageData;
                expected.widthStep = ownStep;
                expected.imageSize = ownStep * nRows;
                EXPECT_EQ(memcmp(clone, &expected, offsetof(VekImage, rawImageData) + sizeof(void*)), 0);
                ASSERT_TRUE(clone->roi && clone->roi != &roi && clone->imageData && clone->rawImageData);
                EXPECT_EQ(memcmp(clone->roi, &roi, sizeof(roi)), 0);
                for (int32_t y = 0; y < nRows; ++y)
                    EXPECT_EQ(
                        memcmp(clone->imageData + y * ownStep, &rows[(size_t)(y * image.widthStep)], (size_t)ownStep),
                        0)
                        << "row " << y << " of widthStep " << image.widthStep;
                vekDeallocate(clone, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
            }
    expectReports({});
}

/* Rows shorter than their samples ask: what is there is copied, what is not is not read. */
TEST_F(AllocTest, clonesReadNoMoreThanTheRowsHold)
{
    std::vector<uint8_t> rows(2 * 3, 9);
    Subject subject;
    subject.image.imageData = rows.data();
    subject.image.widthStep = 3;
    subject.image.imageSize = INT32_MAX;
    VekImage* clone = vekCloneImage(&subject.image);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(memcmp(clone->imageData, rows.data(), 3), 0);
    EXPECT_EQ(memcmp(clone->imageData + clone->widthStep, rows.data(), 3), 0);
    vekDeallocate(clone, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
}

TEST_F(AllocTest, clonesOfTiledImagesAreUntiled)
{
    Subject subject;
    subject.makeTiled();
    VekImage* clone = vekCloneImage(&subject.image);
    ASSERT_NE(clone, nullptr);
    EXPECT_TRUE(clone->imageData && !clone->tileInfo);
    EXPECT_EQ(clone->imageSize, 32);
    vekDeallocate(clone, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
}

TEST_F(AllocTest, clonesFailCleanly)
{
    Subject subject;
    const struct {
        const char* text;
        int32_t line;
    } table[] = {{"Not enough memory to allocate header for clone image", 57},
                 {"Not enough memory to allocate roi for clone image", 75},
                 {"Not enough memory to allocate imageData for clone image", 88}};
    for (int n = 0; n < 3; ++n) {
        vekSetErrStatus(0);
        heapFailAfter(n);
        EXPECT_EQ(vekCloneImage(&subject.image), nullptr);
        heapFailAfter(-1);
        EXPECT_EQ(vekGetErrStatus(), -4);
        expectReports({{-4, "vekCloneImage", table[n].text, "vekClone", table[n].line}});
        EXPECT_EQ(heapLive(), liveBefore);
    }
    EXPECT_EQ(subject.image.roi, &subject.roi);
    EXPECT_EQ(vekCloneImage(nullptr), nullptr);
    expectReports({{-9, "vekCloneImage", "Incorrect Image", "vekClone", 37}});
    subject.roi.coi = 9;
    EXPECT_EQ(vekCloneImage(&subject.image), nullptr);
    expectReports({{-24, "vekCloneImage", "Incorrect Image", "vekClone", 37}});

    /* A tiled image may be larger than one block can be. */
    Subject large;
    large.makeTiled();
    large.image.width = large.image.height = 100000;
    EXPECT_EQ(vekCloneImage(&large.image), nullptr);
    expectReports({{-10, "vekCreateImageHeader", "Incorrect data-ins", "vekalloc", 148},
                   {-4, "vekCloneImage", table[0].text, "vekClone", 57}});
}
