/* What the conversions of bitmaps refuse: the order and the texts of the tests, hostile headers, short memory. Nothing may
 * have been written by then. */
#include "dib/dib_model.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

/* One fault of the header or of the image, in the order of the tests; the text in front of the names that differ. */
struct Fault {
    void (*spoil)(BITMAPINFOHEADER* info, VekImage* image);
    const char *from, *sep;
    VekStatus returned;
};

#define SPOIL(change) [](BITMAPINFOHEADER* info, VekImage* image) { (void)info, (void)image, change; }

const Fault imageFaults[] = {
    {SPOIL(image->alphaChannel = -1), "( image->alphaChannel < 0 )", nullptr, -18},
    {SPOIL(image->alphaChannel = 9), "( image->nChannels < image->alphaChannel )", nullptr, -18},
    {SPOIL(image->dataOrder = 2), "( (image->dataOrder != 0) && (image->dataOrder != 1) )", nullptr, -19},
    {SPOIL(image->origin = -1), "( (image->origin != 0 ) && (image->origin != 1 ) )",
     "( (image->origin != 0) && (image->origin != 1) )", -20},
    {SPOIL(image->align = 16), "( (image->align != 4 ) && (image->align != 8 ) )",
     "( (image->align != 4) && (image->align != 8) )", -21},
    {SPOIL(image->height = 0), "(image->height <= 0)", nullptr, -10},
    {SPOIL(image->width = INT32_MIN), "(image->width <= 0)", nullptr, -10},
    {SPOIL(image->imageSize = 0), "(image->imageSize <= 0)", nullptr, -10},
    {SPOIL(image->widthStep = 0), "(image->widthStep <= 0)", nullptr, -13},
};
const Fault headerFaults[] = {
    {SPOIL(info->biSize = 108), "(dib->biSize != sizeof(BITMAPINFOHEADER))",
     "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", -5},
    {SPOIL(info->biPlanes = 3), "(dib->biPlanes != 1)", "(dibHeader->biPlanes != 1)", -5},
    {SPOIL(info->biCompression = 4),
     "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)",
     "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( dibHeader->biCompression != 2 ) && "
     "( "
     "dibHeader->biCompression != 3 ) )",
     -5},
    {SPOIL(info->biCompression = 1), "(dib->biBitCount != 8) && (dib->biCompression == 1)",
     "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)", -5},
    {SPOIL((info->biCompression = 2, info->biBitCount = 8)), "(dib->biBitCount != 4) && (dib->biCompression == 2)",
     "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)", -5},
    {SPOIL((info->biCompression = 1, info->biBitCount = 8, info->biHeight = -4)),
     "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )",
     "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == 2) )", -5},
};
/* After these: the status of the report, and where two may come, that of both. */
const struct Late {
    void (*spoil)(BITMAPINFOHEADER* info, VekImage* image);
    const char* report;
} lateFaults[] = {
    {SPOIL(--image->width), "-10 %s(Image size is too small)"},
    {SPOIL((info->biBitCount = 8, info->biClrUsed = 65537)), "-5 %s((dib->biClrUsed > 65536))"},
    {SPOIL(info->biBitCount = 2), "-3 %s()"},
    {SPOIL(info->biBitCount = 0), "-3 %s()"},
    {SPOIL(setSequence(image, "HSV")), "-14 %s(image->channelSeq unsupport)"},
    {SPOIL(setSequence(image, "BGR ")), "-14 %s(image->channelSeq unsupport)"},
    {SPOIL(image->depth = VEK_DEPTH_8S), "-3 %s()"},
    {SPOIL(image->depth = VEK_DEPTH_32F), "-3 %s()"},
    {SPOIL(image->depth = VEK_DEPTH_1U), "-3 %s()"},
    {SPOIL(image->nChannels = 2), "-3 %s()"},
    {SPOIL(image->nChannels = 0), "-3 %s()"},
};

std::string named(std::string report, const char* func)
{
    const size_t at = report.find("%s");
    return report.replace(at, 2, func);
}

/* Sets up a 24-bit bitmap and an image that take each other, spoils both, and calls. */
struct Scene {
    Scene() : random(1), dib({24, 6, 4, 0, 0, {}, 2048}, random), image({VEK_DEPTH_8U, 3, false, 0, 6, 4}, random)
    {
        setSequence(&image.image, "BGR");
        info = dib.info();
    }
    std::string call(bool apart)
    {
        dib.setInfo(info);
        const std::vector<uint8_t> kept = image.bytes();
        Recorder recorder;
        if (apart) returned = vekConvertFromDIBSep(dib.header(), dib.block.data + 40, &image.image);
        else vekConvertFromDIB(dib.header(), &image.image);
        EXPECT_EQ(image.bytes(), kept);
        return recorder.text();
    }

    Random random;
    TestDib dib;
    TestImage image;
    BITMAPINFOHEADER info;
    VekStatus returned = 0;
};

TEST(DibRefusals, FromInOrder)
{
    std::vector<Fault> faults(std::begin(imageFaults), std::end(imageFaults));
    faults.insert(faults.end(), std::begin(headerFaults), std::end(headerFaults));
    for (const bool apart : {false, true}) {
        const char* func = apart ? "vekConvertFromDIBSep" : "vekConvertFromDIB";
        for (size_t i = 0; i < faults.size(); ++i) {
            Scene scene;
            for (const Late& late : lateFaults) late.spoil(&scene.info, &scene.image.image);
            for (size_t later = faults.size(); later-- > i;)
                if (later == i || later >= std::size(imageFaults)) faults[later].spoil(&scene.info, &scene.image.image);
            /* Faults of the compression exclude each other: only the one in question is left. */
            if (i > std::size(imageFaults)) scene.info.biSize = 40;
            if (i >= std::size(imageFaults)) {
                Scene fresh;
                scene.info = fresh.info;
                faults[i].spoil(&scene.info, &scene.image.image);
                --scene.image.image.width;
            }
            const std::string text = apart && faults[i].sep ? faults[i].sep : faults[i].from;
            EXPECT_EQ(scene.call(apart), "-5 " + std::string(func) + "(" + text + ")");
            EXPECT_EQ(scene.returned, apart ? faults[i].returned : 0) << text;
        }
        for (size_t i = 0; i < std::size(lateFaults); ++i) {
            Scene scene;
            lateFaults[i].spoil(&scene.info, &scene.image.image);
            EXPECT_EQ(scene.call(apart), named(lateFaults[i].report, func));
            EXPECT_EQ(scene.returned, apart ? -3 : 0);
        }
    }
}

TEST(DibRefusals, MasksOfZero)
{
    Random random(2);
    for (const int bitCount : {16, 32})
        for (size_t which = 0; which < 3; ++which) {
            DibSpec spec = {bitCount, 6, 4, 3, 0, {0xF800, 0x7E0, 0x1F}, 0};
            spec.masks[which] = bitCount == 16 ? 0xFFFF0000 : 0;
            TestDib dib(spec, random);
            Scene scene;
            const std::vector<uint8_t> kept = scene.image.bytes(), bytes = dib.bytes();
            Recorder recorder;
            EXPECT_EQ(vekConvertFromDIBSep(dib.header(), dib.block.data + 52, &scene.image.image), -3);
            vekSetErrStatus(0);
            vekConvertFromDIB(dib.header(), &scene.image.image);
            vekConvertToDIB(&scene.image.image, dib.header(), 1, 0);
            EXPECT_EQ(recorder.text(), "-5 vekConvertFromDIBSep((red == 0 || green == 0 || blue == 0)); -5 "
                                       "vekConvertFromDIB((red == 0 || green == 0 || blue == 0)); -5 "
                                       "vekConvertToDIB((red == 0 || green == 0 || blue == 0))");
            EXPECT_EQ(scene.image.bytes(), kept);
            EXPECT_EQ(dib.bytes(), bytes);
        }
}

/* Null arguments, and the stored status, which silences one function and not the other. */
VekStatus clearStatus(VekStatus status, const char*, const char*, const char*, int32_t)
{
    vekSetErrStatus(0);
    return status;
}

TEST(DibRefusals, NullsAndStoredStatus)
{
    Scene scene;
    const std::vector<uint8_t> kept = scene.image.bytes();
    {
        Recorder recorder;
        vekConvertFromDIB(nullptr, nullptr);
        vekConvertFromDIB(scene.dib.header(), nullptr);
        vekConvertToDIB(&scene.image.image, nullptr, 1, 0);
        EXPECT_EQ(vekConvertFromDIBSep(nullptr, nullptr, nullptr), -5);
        EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), nullptr, nullptr), -5);
        EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), "", nullptr), -9);
        EXPECT_EQ(recorder.text(), "-5 vekConvertFromDIB(dib==0); -5 vekConvertFromDIB(image==0); -5 "
                                   "vekConvertToDIB(dib==0); -5 vekConvertFromDIBSep(( ((void *)0) == dibHeader )); -5 "
                                   "vekConvertFromDIBSep(( ((void *)0) == dibData )); -5 "
                                   "vekConvertFromDIBSep(( ((void *)0) == image ))");
    }
    {
        Recorder recorder;
        vekRedirectError(clearStatus);
        vekConvertFromDIB(scene.dib.header(), nullptr); /* ends there all the same */
        EXPECT_EQ(vekGetErrStatus(), 0);
    }
    Recorder recorder;
    vekSetErrStatus(-7);
    vekConvertFromDIB(scene.dib.header(), &scene.image.image);
    EXPECT_EQ(scene.image.bytes(), kept);
    int32_t isClone = 0;
    TestDib colours({8, 8, 2, 0, 0, {}, 0}, scene.random);
    VekImage* image = vekTranslateDIB(colours.header(), &isClone);
    ASSERT_TRUE(image);
    for (int32_t i = 0; i < image->imageSize; ++i) ASSERT_EQ(image->imageData[i], 0) << "the heap's contents";
    vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), scene.dib.block.data + 40, &scene.image.image), 0);
    EXPECT_NE(scene.image.bytes(), kept);
}

/* An end without a text of its own reports -3, unless a failure is stored already. */
TEST(DibRefusals, EndsWithoutText)
{
    Scene scene;
    scene.info.biBitCount = 2;
    scene.dib.setInfo(scene.info);
    Recorder recorder;
    vekSetErrStatus(-9);
    EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), scene.dib.block.data + 40, &scene.image.image), -3);
    EXPECT_EQ(recorder.text(), "");
    vekSetErrStatus(9);
    EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), scene.dib.block.data + 40, &scene.image.image), -3);
    EXPECT_EQ(recorder.text(), "-3 vekConvertFromDIBSep()");
}

/* Sizes that can't be: nothing is copied, allocated or reported. */
TEST(DibRefusals, NothingToCopy)
{
    for (const auto& [width, height] : {std::pair(0, 4), std::pair(-6, 4), std::pair(INT32_MIN, 4), std::pair(6, 0),
                                        std::pair(6, INT32_MIN), std::pair(INT32_MIN, INT32_MIN)})
        for (const uint32_t compression : {0u, 1u}) {
            if (compression && height < 0) continue;
            Scene scene;
            scene.info.biWidth = width;
            scene.info.biHeight = height;
            scene.info.biCompression = compression;
            if (compression) scene.info.biBitCount = 8;
            EXPECT_EQ(scene.call(false), "") << width << " x " << height;
            EXPECT_EQ(scene.call(true), "");
            EXPECT_EQ(scene.returned, 0);
            Recorder recorder;
            int32_t isClone;
            EXPECT_FALSE(vekTranslateDIB(scene.dib.header(), &isClone));
            EXPECT_EQ(recorder.text(),
                      "-10 vekCreateImageHeader(Incorrect data-ins); -4 vekTranslateDIB(Not enough memory to "
                      "allocate header for destination image)");
            vekConvertToDIB(&scene.image.image, scene.dib.header(), 1, 0);
            EXPECT_EQ(recorder.reports.back().context,
                      "(image->width != dib->biWidth || image->height != abs(dib->biHeight))");
        }
}

TEST(DibRefusals, Translate)
{
    const struct {
        void (*spoil)(BITMAPINFOHEADER* info, VekImage* image);
        const char* report;
    } rows[] = {
        {SPOIL(info->biSize = 12), "-5 vekTranslateDIB(( dib->biSize != sizeof(BITMAPINFOHEADER) ))"},
        {SPOIL((info->biPlanes = 0, info->biBitCount = 5)), "-5 vekTranslateDIB((dib->biPlanes != 1))"},
        {SPOIL((info->biCompression = 2, info->biBitCount = 5)),
         "-5 vekTranslateDIB((dib->biBitCount != 4) && (dib->biCompression == 2))"},
        {SPOIL(info->biBitCount = 5), "-5 vekTranslateDIB(dib->biBitCount is bad)"},
        {SPOIL((info->biBitCount = 1, info->biClrUsed = 0xFFFFFFFF)), "-5 vekTranslateDIB((dib->biClrUsed > 65536))"},
        {SPOIL((info->biWidth = INT32_MAX, info->biHeight = -INT32_MAX)),
         "-10 vekCreateImageHeader(Incorrect data-ins); -4 vekTranslateDIB(Not enough memory to allocate header for "
         "destination image)"},
    };
    for (const auto& row : rows) {
        Scene scene;
        row.spoil(&scene.info, nullptr);
        scene.dib.setInfo(scene.info);
        Recorder recorder;
        int32_t isClone = 0;
        EXPECT_FALSE(vekTranslateDIB(scene.dib.header(), &isClone));
        EXPECT_EQ(recorder.text(), row.report);
    }
    Scene scene;
    Recorder recorder;
    EXPECT_FALSE(vekTranslateDIB(nullptr, nullptr));
    EXPECT_FALSE(vekTranslateDIB(scene.dib.header(), nullptr));
    EXPECT_EQ(recorder.text(),
              "-5 vekTranslateDIB(( dib == ((void *)0) )); -5 vekTranslateDIB(( cloneData == ((void *)0) ))");
}

/* The faults of vekConvertToDIB from the last test to the first: each hides the ones after it. */
TEST(DibRefusals, ToInOrder)
{
    VekTileInfo tiles = {[](const VekImage*, int32_t, int32_t, int32_t) {}, nullptr, nullptr, 8, 8};
    struct Arguments {
        BITMAPINFOHEADER info;
        VekImage image;
        int32_t dither = 1, palette = 0;
    };
    const struct {
        std::function<void(Arguments&)> spoil;
        const char* report;
    } rows[] = {
        {[](Arguments& a) { a.image.align = 5; }, "-21 %s(Incorrect Image)"},
        {[](Arguments& a) { a.image.nChannels = 5; }, "-5 %s((image->nChannels <= 0 || image->nChannels > 4))"},
        {[](Arguments& a) { a.image.depth |= VEK_DEPTH_SIGN; }, "-5 %s((image->depth & 0x80000000))"},
        {[](Arguments& a) { a.image.alphaChannel = a.image.nChannels; },
         "-5 %s((image->alphaChannel != 0 && image->alphaChannel != 4))"},
        {[](Arguments& a) { a.image.nChannels = 2; }, "-5 %s((image->nChannels != 3 && image->nChannels != 1))"},
        {[](Arguments& a) { ++a.image.width; },
         "-5 %s((image->width != dib->biWidth || image->height != abs(dib->biHeight)))"},
        {[](Arguments& a) { a.info.biSize = 64; }, "-5 %s((dib->biSize != sizeof(BITMAPINFOHEADER)))"},
        {[](Arguments& a) { a.info.biPlanes = 2; }, "-5 %s((dib->biPlanes != 1))"},
        {[](Arguments& a) { a.info.biCompression = 1; }, "-5 %s((dib->biBitCount != 8) && (dib->biCompression == 1))"},
        {[](Arguments& a) { a.dither = 2; }, "-5 %s((dither != 8 && dither != 1 ))"},
        {[](Arguments& a) { a.palette = 3; },
         "-5 %s((paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 ))"},
        {[&](Arguments& a) { a.image.imageData = nullptr, a.image.tileInfo = &tiles; }, "-3 %s()"},
        {[](Arguments& a) { a.image.depth = VEK_DEPTH_32F; }, "-3 %s()"},
        {[](Arguments& a) { setSequence(&a.image, "HSV"); }, "-14 %s(image->channelSeq unsupport)"},
        {[](Arguments& a) { a.info.biBitCount = 7; }, "-5 %s(dib->biBitCount is bad)"},
    };
    const size_t nRows = std::size(rows);
    for (size_t i = 0; i < nRows; ++i) {
        Scene scene;
        Arguments a = {scene.info, scene.image.image};
        const bool isStructural = i >= 1 && i <= 4; /* these change what the later ones are about */
        for (size_t later = nRows; later-- > i;)
            if (later == i || (later > 4 && !isStructural && later != 11 && later != 12)) rows[later].spoil(a);
        scene.dib.setInfo(a.info);
        const std::vector<uint8_t> kept = scene.dib.bytes();
        Recorder recorder;
        vekConvertToDIB(&a.image, scene.dib.header(), a.dither, a.palette);
        EXPECT_EQ(recorder.text(), named(rows[i].report, "vekConvertToDIB")) << i;
        EXPECT_EQ(scene.dib.bytes(), kept);
    }
    Scene scene;
    Recorder recorder;
    scene.image.image.alphaChannel = 4;
    scene.image.image.nChannels = 4;
    scene.info.biBitCount = 8;
    scene.info.biClrUsed = 70000;
    scene.dib.setInfo(scene.info);
    vekConvertToDIB(&scene.image.image, scene.dib.header(), 1, 2);
    vekConvertToDIB(nullptr, scene.dib.header(), 1, 2);
    EXPECT_EQ(recorder.text(), "-5 vekConvertToDIB((dib->biClrUsed > 65536)); -9 vekConvertToDIB(Incorrect Image)");
}

/* ---- Memory ------------------------------------------------------------------------------------------------------- */

TEST(DibRefusals, ShortMemory)
{
    Random random(3);
    const std::string noData = "Not enough memory to allocate data for destination image";
    TestDib dib({8, 6, 4, 0, 0, {}, 0}, random);
    int32_t isClone;
    const int live = heapLive();
    for (int n = 0; n < 3; ++n) {
        Recorder recorder;
        heapFailAfter(n);
        VekImage* image = vekTranslateDIB(dib.header(), &isClone);
        heapFailAfter(-1);
        EXPECT_EQ(image != nullptr, n == 2);
        EXPECT_EQ(recorder.text(),
                  n == 0   ? "-4 vekTranslateDIB(Not enough memory to allocate header for destination image)"
                  : n == 1 ? "-4 vekTranslateDIB(" + noData + ")"
                           : "");
        vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
        EXPECT_EQ(heapLive(), live);
    }
    Scene scene;
    VekImage image = scene.image.image;
    image.imageData = nullptr;
    Recorder recorder;
    heapFailAfter(0);
    EXPECT_EQ(vekConvertFromDIBSep(scene.dib.header(), scene.dib.block.data + 40, &image), -4);
    vekSetErrStatus(0);
    vekConvertFromDIB(scene.dib.header(), &image);
    heapFailAfter(-1);
    EXPECT_EQ(recorder.text(), "-4 vekConvertFromDIBSep(" + noData + "); -4 vekConvertFromDIB(" + noData + ")");
    vekSetErrStatus(0);
    vekConvertFromDIB(scene.dib.header(), &image);
    ASSERT_TRUE(image.imageData);
    memset(scene.image.block.data, 0, scene.image.block.bytes);
    vekConvertFromDIB(scene.dib.header(), &scene.image.image);
    EXPECT_EQ(scene.image.bytes(), std::vector<uint8_t>(image.imageData, image.imageData + image.imageSize));
    vekDeallocateImage(&image);
    EXPECT_EQ(heapLive(), live);

    /* The search for the nearest entry goes on without memory, only slower. */
    const std::vector<uint8_t> expected = modelToDib(scene.image, dib.bytes());
    heapFailAfter(0);
    vekConvertToDIB(&scene.image.image, dib.header(), 1, 0);
    heapFailAfter(-1);
    EXPECT_EQ(dib.bytes(), expected);
}

TEST(DibRefusals, StreamsThatFail)
{
    Random random(3);
    TestDib dib({8, 6, 4, 1, 0, {}, 0}, random);
    Scene scene;
    const std::vector<uint8_t> kept = scene.image.bytes();
    static const uint8_t stream[] = {7, 1, 7, 1, 0, 1};
    memcpy(dib.block.data + 40 + 1024, stream, sizeof(stream));
    Recorder recorder;
    vekConvertFromDIB(dib.header(), &scene.image.image);
    EXPECT_EQ(vekConvertFromDIBSep(dib.header(), stream, &scene.image.image), -3);
    const std::string bad = "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)",
                      after = "Impossible to decompress RLE DIB";
    EXPECT_EQ(recorder.text(), "-5 vekConvertFromDIB(" + bad + "); -3 vekConvertFromDIB(" + after +
                                   "); -5 vekConvertFromDIBSep(" + bad + "); -3 vekConvertFromDIBSep(" + after + ")");
    EXPECT_EQ(scene.image.bytes(), kept);
}

} // namespace
