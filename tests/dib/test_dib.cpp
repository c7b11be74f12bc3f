/* Bitmaps into images and back: kernels against their plain loops, and random pairs of headers against the model. */
#include "dib/dib_model.h"
#include "dib/owndibrow.h"
#include "ownsimd.h"

#include <gtest/gtest.h>

namespace {

/* ---- Kernels ------------------------------------------------------------------------------------------------------ */

const int formBits[OWN_FORMS] = {1, 4, 8, 16, 32, 1, 8, 16, 24, 48, 32, 64, 32};

OwnPixels randomSide(int form, Random& random, std::vector<uint8_t>* table)
{
    OwnPixels k = {};
    k.form = (OwnForm)form;
    k.nPlanes = std::array<int, 3>{1, 3, 4}[random() % 3];
    for (OwnField& field : k.field) {
        const int most = form == OWN_FORM_FIELDS16 ? 16 : 32;
        field.shift = draw(random, 0, most - 1);
        field.width = draw(random, 1, most - field.shift);
        field.mask = (uint32_t)((((uint64_t)1 << field.width) - 1) << field.shift);
    }
    table->resize(4 * (size_t)draw(random, 1, 300));
    for (uint8_t& byte : *table) byte = (uint8_t)random();
    ownLookUp(&k, table->data(), (int64_t)table->size() / 4, OWN_STEP_NONE);
    return k;
}

/* Each run around the vector's length, beside protected pages: planes and pixels as long as the run is. */
TEST(DibKernels, PackedEqualsPlain)
{
    Random random(3);
    for (int form = 0; form < OWN_FORMS; ++form)
        for (ptrdiff_t n = 1; n <= 3 * OWN_VEC_BYTES + 2; ++n) {
            std::vector<uint8_t> table;
            OwnPixels k = randomSide(form, random, &table);
            const bool isPlanes = form == OWN_FORM_PLANES8 || form == OWN_FORM_PLANES16;
            const size_t bytes = (size_t)(n * formBits[form] + 7) / 8;
            k.view.channelStep = (ptrdiff_t)bytes;
            GuardedBlock pixels(bytes * (isPlanes ? (size_t)k.nPlanes : 1));
            for (size_t i = 0; i < pixels.bytes; ++i) pixels.data[i] = (uint8_t)random();
            const std::vector<uint8_t> kept(pixels.data, pixels.data + pixels.bytes);
            std::vector<uint8_t> got[2][2];
            for (int plain = 0; plain < 2; ++plain) {
                GuardedBlock a((size_t)n), b((size_t)n), c((size_t)n), d((size_t)n);
                uint8_t* const plane[4] = {a.data, b.data, c.data, d.data};
                for (uint8_t* p : plane) memset(p, 7, (size_t)n);
                (plain ? ownFetchRows[form].plain : ownFetchRows[form].run)(plane, pixels.data, n, k);
                for (uint8_t* p : plane) got[plain][0].insert(got[plain][0].end(), p, p + n);
                Random same((uint32_t)n);
                for (uint8_t* p : plane)
                    for (ptrdiff_t i = 0; i < n; ++i) p[i] = (uint8_t)same();
                ownNearestOpen(&k.nearest, table.data(), (int64_t)table.size() / 4);
                (plain ? ownStoreRows[form].plain : ownStoreRows[form].run)(pixels.data, plane, n, k);
                ownNearestClose(&k.nearest);
                got[plain][1].assign(pixels.data, pixels.data + pixels.bytes);
                std::copy(kept.begin(), kept.end(), pixels.data);
            }
            ASSERT_EQ(got[0][0], got[1][0]) << "fetch " << form << " n=" << n;
            ASSERT_EQ(got[0][1], got[1][1]) << "store " << form << " n=" << n;
        }
}

/* ---- Conversions -------------------------------------------------------------------------------------------------- */

const char* const sequences[] = {"BGR", "RGB", "G", "GRAY", "BGRA", "RGBA"};

DibSpec randomDib(Random& random)
{
    DibSpec spec;
    const int bits[] = {1, 4, 8, 16, 24, 32};
    spec.bitCount = bits[random() % 6];
    spec.width = draw(random, 0, 15) ? draw(random, 1, 80) : draw(random, 1000, 2100);
    spec.height = draw(random, 1, 6) * (random() & 1 ? 1 : -1);
    if (spec.bitCount <= 8 && random() & 1) spec.used = (uint32_t)draw(random, 1, 300);
    if (spec.bitCount == 16 && random() & 1) spec.compression = 3;
    if (spec.bitCount == 32 && random() % 3) {
        spec.compression = 3;
        static const std::array<uint32_t, 3> masks[] = {{0xFF0000, 0xFF00, 0xFF},
                                                        {0xFF, 0xFF00, 0xFF000000},
                                                        {0x3FF00000, 0xFFC00, 0x3FF},
                                                        {0xF, 0xF0F0, 0x80000000}, /* with holes, up to the top */
                                                        {0xFFFFFFFF, 0x10000, 0x2}};
        spec.masks = masks[random() % 5];
    }
    return spec;
}

ImageSpec randomImage(Random& random, int32_t width, int32_t height)
{
    ImageSpec spec;
    const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_8U, VEK_DEPTH_16U};
    const int32_t channels[] = {1, 3, 4};
    spec.depth = depths[random() % 4];
    if (spec.depth != VEK_DEPTH_1U) spec.nChannels = channels[random() % 3];
    spec.hasAlpha = spec.nChannels == 4;
    spec.dataOrder = (int32_t)(random() & 1);
    spec.width = width;
    spec.height = height;
    spec.align = random() & 1 ? 4 : 8;
    return spec;
}

void turnImage(TestImage* image, Random& random)
{
    image->image.origin = (int32_t)(random() & 1);
    setSequence(&image->image, sequences[random() % 6]);
    if (random() % 4 == 0) memset(image->image.colorModel, 0, 4);
}

std::string described(const DibSpec& dib, const VekImage& image)
{
    return std::to_string(dib.bitCount) + " bits " + std::to_string(dib.width) + " x " + std::to_string(dib.height) +
           " compression " + std::to_string(dib.compression) + " used " + std::to_string(dib.used) + "; " +
           std::to_string(image.nChannels) + " of " + std::to_string(image.depth) + " " +
           std::string(image.channelSeq, 4) + " order " + std::to_string(image.dataOrder);
}

TEST(Dib, FromIsWhatTheModelSays)
{
    Random random(5);
    for (int round = 0; round < 3000; ++round) {
        const DibSpec spec = randomDib(random);
        TestDib dib(spec, random);
        TestImage image(
            randomImage(random, spec.width + draw(random, 0, 2), std::abs(spec.height) + draw(random, 0, 2)), random);
        turnImage(&image, random);
        const std::vector<uint8_t> expected = modelFromDib(dib.bytes(), image), kept = dib.bytes();
        image.image.widthStep = 1; /* is not looked at */
        Recorder recorder;
        if (round & 1) vekConvertFromDIB(dib.header(), &image.image);
        else {
            const size_t pixels = (size_t)(ownOpenDib(dib.header()).pixels - dib.block.data);
            GuardedBlock header(pixels), data(dib.block.bytes - pixels);
            memcpy(header.data, dib.block.data, pixels);
            memcpy(data.data, dib.block.data + pixels, data.bytes);
            const VekStatus status = vekConvertFromDIBSep((BITMAPINFOHEADER*)header.data, data.data, &image.image);
            ASSERT_EQ(status, 0);
        }
        ASSERT_EQ(recorder.text(), "") << described(spec, image.image);
        ASSERT_TRUE(image.bytes() == expected) << round << ": " << described(spec, image.image);
        ASSERT_TRUE(dib.bytes() == kept);
    }
}

TEST(Dib, ToIsWhatTheModelSays)
{
    Random random(6);
    for (int round = 0; round < 1500; ++round) {
        DibSpec spec = randomDib(random);
        TestDib dib(spec, random);
        TestImage image(randomImage(random, spec.width, std::abs(spec.height)), random);
        turnImage(&image, random);
        if (image.image.nChannels == 4) image.image.alphaChannel = 4;
        const std::vector<uint8_t> expected = modelToDib(image, dib.bytes()), kept = image.bytes();
        Recorder recorder;
        vekConvertToDIB(&image.image, dib.header(), 1, 0);
        ASSERT_EQ(recorder.text(), "") << described(spec, image.image);
        ASSERT_TRUE(dib.bytes() == expected) << round << ": " << described(spec, image.image);
        ASSERT_TRUE(image.bytes() == kept);
    }
}

/* A stream comes back as the pixels that went into it, through either function, with the rows of both kinds. */
TEST(Dib, RunLengthsComeBack)
{
    Random random(9);
    for (int round = 0; round < 60; ++round) {
        DibSpec spec;
        spec.bitCount = round & 1 ? 8 : 4;
        spec.compression = round & 1 ? 1 : 2;
        spec.width = draw(random, 30, 90);
        spec.height = draw(random, 3, 6);
        TestDib dib(spec, random), plain(spec, random);
        ImageSpec gray = randomImage(random, spec.width, spec.height);
        TestImage image(gray, random), back(gray, random), other(gray, random);
        turnImage(&image, random);
        back.image.origin = other.image.origin = image.image.origin;
        memcpy(back.image.channelSeq, image.image.channelSeq, 4);
        memcpy(other.image.channelSeq, image.image.channelSeq, 4);
        memset(image.block.data, gray.depth == VEK_DEPTH_1U ? 255 : draw(random, 0, 255), image.block.bytes);
        for (int i = 0; i < 2; ++i) image.block.data[random() % image.block.bytes] = (uint8_t)random();
        BITMAPINFOHEADER info = plain.info();
        info.biCompression = 0;
        memcpy(plain.block.data, dib.block.data, dib.block.bytes);
        plain.setInfo(info);
        Recorder recorder;
        vekConvertToDIB(&image.image, dib.header(), 1, 1);
        vekConvertToDIB(&image.image, plain.header(), 1, 1);
        ASSERT_EQ(dib.info().biCompression, spec.compression);
        ASSERT_LT(dib.info().biSizeImage, dib.block.bytes);
        memset(back.block.data, 0, back.block.bytes);
        memset(other.block.data, 0, back.block.bytes);
        if (round % 3) vekConvertFromDIB(dib.header(), &back.image);
        else vekConvertFromDIBSep(dib.header(), ownOpenDib(dib.header()).pixels, &back.image);
        vekConvertFromDIB(plain.header(), &other.image);
        ASSERT_EQ(recorder.text(), "");
        ASSERT_TRUE(back.bytes() == other.bytes()) << round;
    }
}

/* ---- Translation -------------------------------------------------------------------------------------------------- */

enum Palette { NO_PALETTE, RAMP, FALLING, COLOURS };

std::vector<uint32_t> paletteOf(Palette palette, uint32_t count)
{
    std::vector<uint32_t> entries;
    for (uint32_t i = 0; i < count && palette; ++i) {
        const uint32_t gray = count > 1 ? i * 255 / (count - 1) : 0;
        entries.push_back((palette == FALLING ? 255 - gray : gray) * 0x010101 + (palette == COLOURS && i == count - 1));
    }
    return entries;
}

TEST(Dib, TranslatesByTheHeader)
{
    const std::array<uint32_t, 3> bytes = {0xFF0000, 0xFF00, 0xFF};
    const struct {
        int bitCount;
        uint32_t compression, used;
        Palette palette;
        int32_t nChannels;
        uint32_t depth;
        const char* sequence;
        int32_t isClone;
    } rows[] = {
        {1, 0, 0, RAMP, 1, 1, "G", 0},           {1, 0, 2, FALLING, 3, 8, "BGR", 1},
        {1, 0, 1, RAMP, 3, 8, "BGR", 1},         {4, 0, 0, RAMP, 1, 8, "G", 1},
        {4, 0, 0, COLOURS, 3, 8, "BGR", 1},      {8, 0, 0, RAMP, 1, 8, "G", 0},
        {8, 0, 255, RAMP, 1, 8, "G", 0},         {8, 0, 255, COLOURS, 3, 8, "BGR", 1},
        {8, 1, 0, RAMP, 1, 8, "G", 1},           {8, 3, 300, RAMP, 1, 8, "G", 0},
        {16, 0, 0, NO_PALETTE, 3, 8, "BGR", 1},  {24, 0, 5, NO_PALETTE, 3, 8, "BGR", 0},
        {32, 0, 0, NO_PALETTE, 4, 8, "BGRA", 0}, {32, 3, 0, NO_PALETTE, 4, 8, "BGRA", 1},
    };
    Random random(8);
    for (const auto& row : rows)
        for (const int32_t height : {3, -3}) {
            if (row.compression == 1 && height < 0) continue;
            DibSpec spec = {row.bitCount, 17, height, row.compression, row.used, bytes, 64};
            TestDib dib(spec, random);
            const OwnDib parts = ownOpenDib(dib.header());
            dib.setTable(paletteOf(row.palette, (uint32_t)parts.count));
            static const uint8_t stream[] = {17, 200, 0, 0, 17, 9, 0, 0, 17, 77, 0, 1};
            if (row.compression == 1) memcpy(parts.pixels, stream, sizeof(stream));
            const std::string what = std::to_string(row.bitCount) + " used " + std::to_string(row.used);
            Recorder recorder;
            int32_t isClone = -1;
            VekImage* image = vekTranslateDIB(dib.header(), &isClone);
            ASSERT_TRUE(image) << what;
            EXPECT_EQ(recorder.text(), "") << what;
            char sequence[5] = {};
            memcpy(sequence, image->channelSeq, 4);
            EXPECT_EQ(sequence, std::string(row.sequence)) << what;
            EXPECT_EQ(std::string(image->colorModel, 4), row.nChannels == 1   ? "GRAY"
                                                         : row.nChannels == 4 ? "RGBA"
                                                                              : std::string("RGB\0", 4));
            EXPECT_EQ(isClone, row.isClone) << what;
            EXPECT_EQ(image->nChannels, row.nChannels) << what;
            EXPECT_EQ(image->alphaChannel, row.nChannels == 4 ? 4 : 0) << what;
            EXPECT_EQ(image->depth, row.depth) << what;
            EXPECT_EQ(image->dataOrder, row.isClone) << what;
            EXPECT_EQ(image->origin, height > 0) << what;
            EXPECT_EQ(image->width, 17);
            EXPECT_EQ(image->height, 3);
            if (row.isClone) {
                EXPECT_EQ(image->align, 8);
                ImageSpec same = {row.depth, row.nChannels, row.nChannels == 4, 1, 17, 3, 8};
                TestImage other(same, random);
                memset(other.block.data, 0, other.block.bytes);
                memcpy(other.image.channelSeq, image->channelSeq, 4);
                other.image.origin = image->origin;
                vekConvertFromDIB(dib.header(), &other.image);
                EXPECT_EQ(other.bytes(), std::vector<uint8_t>(image->imageData, image->imageData + image->imageSize))
                    << what;
            } else {
                const int32_t rowBytes = (int32_t)((17 * row.bitCount + 31) / 32 * 4);
                const bool even = rowBytes % 8 == 0 && ((uintptr_t)dib.header() + 4 * (uintptr_t)parts.count) % 8 == 0;
                EXPECT_EQ(image->align, even ? 8 : 4) << what;
                EXPECT_EQ(image->imageData, dib.block.data + 40 + 4 * parts.count) << what;
                EXPECT_EQ(image->widthStep, rowBytes) << what;
                EXPECT_EQ(image->imageSize, 3 * rowBytes) << what;
            }
            vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
        }
}

/* ---- What single cases say ---------------------------------------------------------------------------------------- */

TEST(Dib, GrayAndWordsByNumbers)
{
    Random random(1);
    TestDib dib({24, 1, 1, 0, 0, {}, 0}, random);
    const struct {
        uint8_t blue, green, red;
        int gray;
    } rows[] = {{255, 255, 255, 255}, {0, 0, 0, 0},    {255, 0, 0, 27},
                {0, 255, 0, 150},     {0, 0, 255, 76}, {10, 20, 30, 21}};
    for (const auto& row : rows) {
        const uint8_t pixel[3] = {row.blue, row.green, row.red};
        memcpy(dib.block.data + 40, pixel, 3);
        for (const uint32_t depth : {VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_1U}) {
            TestImage image({depth, 1, false, 0, 1, 1}, random);
            setSequence(&image.image, "G");
            vekConvertFromDIB(dib.header(), &image.image);
            EXPECT_EQ(image.get(0, 0, 0), depth == 8 ? row.gray : depth == 16 ? row.gray * 256 : row.gray >= 128);
        }
    }
    TestDib word({16, 1, 1, 0, 0, {}, 0}, random);
    const uint16_t white = 0x7FFF;
    memcpy(word.block.data + 40, &white, 2);
    TestImage image({VEK_DEPTH_8U, 3, false, 0, 1, 1}, random);
    setSequence(&image.image, "BGR");
    vekConvertFromDIB(word.header(), &image.image);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(image.get(0, 0, c), 248);
    memset(word.block.data + 40, 0, 2);
    vekConvertToDIB(&image.image, word.header(), 1, 0);
    EXPECT_EQ(memcmp(word.block.data + 40, &white, 2), 0);
}

/* 16-bit pictures are reduced before they are stored, unless their high bytes will do. */
TEST(Dib, DithersWords)
{
    Random random(4);
    ImageSpec spec = {VEK_DEPTH_16U, 1, false, 0, 40, 20};
    TestImage image(spec, random);
    memcpy(image.image.colorModel, "GRAY", 4);
    setSequence(&image.image, "G");
    for (int32_t y = 0; y < 20; ++y)
        for (int32_t x = 0; x < 40; ++x) setSample(image.image, image.block.data, x, y, 0, 26000);
    TestDib dib({8, 40, -20, 0, 0, {}, 0}, random);
    Recorder recorder;
    vekConvertToDIB(&image.image, dib.header(), 8, 1);
    EXPECT_EQ(recorder.text(), "");
    int64_t sum = 0;
    for (size_t i = 0; i < 800; ++i) {
        const int pixel = dib.block.data[40 + 1024 + i];
        ASSERT_TRUE(pixel == 0 || pixel == 127 || pixel == 128 || pixel == 255) << pixel;
        sum += pixel;
    }
    EXPECT_NEAR((double)sum / 800, 26000 / 256.0, 8);
    const int before = heapLive();
    vekSetErrStatus(5); /* any status that is stored ends the call there */
    const std::vector<uint8_t> kept = dib.bytes();
    vekConvertToDIB(&image.image, dib.header(), 8, 0);
    EXPECT_EQ(dib.bytes(), kept);
    EXPECT_EQ(heapLive(), before);
    EXPECT_EQ(recorder.text(), "");
    vekSetErrStatus(0);
    vekConvertToDIB(&image.image, dib.header(), 1, 0);
    EXPECT_EQ(dib.block.data[40 + 1024], 26000 / 256);
}

} // namespace
