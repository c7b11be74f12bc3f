/* Colour tables: the nearest entry, the fixed tables, and median cut against boxes that are lists of pixels. */
#include "dib/dib_model.h"
#include "dib/ownnearest.h"

#include <gtest/gtest.h>

namespace {

/* Tables of every size, spread and crowded, with equal entries; all colours on a grid, and those near the entries. */
TEST(Nearest, IsThePlainWalk)
{
    Random random(2);
    for (const int64_t count : {1, 2, 3, 7, 8, 9, 16, 17, 100, 255, 256, 257, 300, 1000, 4096, 5000})
        for (const int spread : {1, 3, 60, 256}) {
            std::vector<uint8_t> table((size_t)(4 * count)), colours[3];
            const int base = draw(random, 0, 256 - spread);
            for (uint8_t& byte : table) byte = (uint8_t)(base + draw(random, 0, spread - 1));
            const int nColours = count > 300 ? 600 : 3000;
            for (int i = 0; i < nColours; ++i) {
                const size_t entry = 4 * (random() % (uint32_t)count);
                for (size_t c = 0; c < 3; ++c)
                    colours[c].push_back((uint8_t)(i & 1 ? random() : (uint32_t)table[entry + c] + random() % 9 - 4));
            }
            OwnNearest nearest;
            ownNearestOpen(&nearest, table.data(), count);
            EXPECT_EQ(nearest.cells != nullptr, count <= 4096);
            std::vector<uint8_t> got((size_t)nColours), expected((size_t)nColours);
            ownNearestRun(nearest, got.data(), colours[0].data(), colours[1].data(), colours[2].data(), nColours);
            ownNearestPlain(nearest, expected.data(), colours[0].data(), colours[1].data(), colours[2].data(),
                            nColours);
            ownNearestClose(&nearest);
            ASSERT_EQ(got, expected) << count << " spread " << spread;
        }
}

/* So many cells are touched that they must be given up and made anew. */
TEST(Nearest, OutlivesItsRoom)
{
    Random random(12);
    std::vector<uint8_t> table(4 * 2000), b, g, r;
    for (uint8_t& byte : table) byte = (uint8_t)(random() % 3 ? 120 + random() % 16 : random());
    for (int i = 0; i < 32768; ++i) {
        b.push_back((uint8_t)(i << 3));
        g.push_back((uint8_t)(i >> 2 & 0xF8));
        r.push_back((uint8_t)(i >> 7 & 0xF8));
    }
    OwnNearest nearest;
    ownNearestOpen(&nearest, table.data(), 2000);
    std::vector<uint8_t> got(b.size());
    for (int twice = 0; twice < 2; ++twice)
        ownNearestRun(nearest, got.data(), b.data(), g.data(), r.data(), (ptrdiff_t)b.size());
    ownNearestClose(&nearest);
    for (size_t i = 0; i < b.size(); i += 7)
        ASSERT_EQ(got[i], (uint8_t)ownNearestEntry(table.data(), 2000, b[i], g[i], r[i])) << i;
}

TEST(Nearest, FirstOfEqualsAndNone)
{
    const uint8_t table[] = {10, 0, 0, 9, 0, 10, 0, 9, 10, 0, 0, 9};
    EXPECT_EQ(ownNearestEntry(table, 3, 0, 0, 0), 0);
    EXPECT_EQ(ownNearestEntry(table, 3, 0, 1, 0), 1);
    EXPECT_EQ(ownNearestEntry(table, 0, 0, 1, 0), 0);
}

/* ---- Fixed tables ------------------------------------------------------------------------------------------------- */

std::vector<uint32_t> tableOf(const TestDib& dib, size_t count)
{
    std::vector<uint32_t> entries(count);
    memcpy(entries.data(), dib.block.data + 40, 4 * count);
    return entries;
}

std::vector<uint32_t> fixedTable(int bitCount, uint32_t used, int32_t nChannels)
{
    Random random(3);
    TestDib dib({bitCount, 8, 2, 0, used, {}, 1024}, random);
    TestImage image({VEK_DEPTH_8U, nChannels, false, 0, 8, 2}, random);
    setSequence(&image.image, "BGR");
    const size_t count = used ? used : (size_t)1 << bitCount;
    const std::vector<uint32_t> before = tableOf(dib, count);
    vekConvertToDIB(&image.image, dib.header(), 1, 1);
    const std::vector<uint32_t> after = tableOf(dib, count);
    return after == before ? std::vector<uint32_t>() : after;
}

TEST(Palette, FixedTables)
{
    const std::vector<uint32_t> two = {0, 0xFFFFFF},
                                sixteen = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                           0x008080, 0x808080, 0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00,
                                           0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
    EXPECT_EQ(fixedTable(1, 0, 3), two);
    EXPECT_EQ(fixedTable(8, 2, 1), two);
    EXPECT_EQ(fixedTable(4, 0, 3), sixteen);
    EXPECT_EQ(fixedTable(8, 100, 3).size(), 0u);
    std::vector<uint32_t> grays16, grays, cube = fixedTable(8, 0, 3);
    for (uint32_t i = 0; i < 16; ++i) grays16.push_back(i * 0x111111);
    for (uint32_t i = 0; i < 256; ++i) grays.push_back(i * 0x010101);
    EXPECT_EQ(fixedTable(4, 16, 1), grays16);
    EXPECT_EQ(fixedTable(8, 0, 1), grays);
    ASSERT_EQ(cube.size(), 256u);
    EXPECT_EQ(cube[0], 0u);
    EXPECT_EQ(cube[1], 64u);
    EXPECT_EQ(cube[4], 0x2000u);
    EXPECT_EQ(cube[0x20], 0x200000u);
    EXPECT_EQ(cube[0xDA], 0xC0C080u);
    EXPECT_EQ(cube[255], 0xFFFFFFu);
}

/* ---- Median cut --------------------------------------------------------------------------------------------------- */

/* Pixels around some colours, so that cells, ties and single-cell boxes are common. */
void crowd(TestImage* image, Random& random)
{
    const int nCentres = draw(random, 1, 40), spread = std::array<int, 4>{0, 3, 12, 80}[random() % 4];
    std::vector<std::array<int, 4>> centres((size_t)nCentres);
    for (auto& centre : centres)
        for (int& sample : centre) sample = draw(random, 0, 255);
    for (int32_t y = 0; y < image->image.height; ++y)
        for (int32_t x = 0; x < image->image.width; ++x) {
            const auto& centre = centres[random() % (uint32_t)draw(random, 1, nCentres)];
            for (int c = 0; c < image->image.nChannels; ++c) {
                const int sample = std::clamp(centre[(size_t)c] + draw(random, -spread, spread), 0, 255);
                setSample(image->image, image->block.data, x, y, c,
                          image->image.depth == 16 ? sample << 8 | (int)(random() & 255) : sample);
            }
        }
}

TEST(Palette, MedianCutIsWhatTheModelSays)
{
    Random random(7);
    int nShort = 0;
    for (int round = 0; round < 400; ++round) {
        const int bitCount = std::array<int, 3>{1, 4, 8}[random() % 3];
        const int32_t width = draw(random, 1, 40), height = draw(random, 1, 40);
        ImageSpec spec;
        spec.depth = random() % 3 ? VEK_DEPTH_8U : VEK_DEPTH_16U;
        spec.nChannels = std::array<int, 3>{1, 3, 4}[random() % 3];
        if (random() % 20 == 0) spec.depth = VEK_DEPTH_1U, spec.nChannels = 1;
        spec.hasAlpha = spec.nChannels == 4;
        spec.dataOrder = (int32_t)(random() & 1);
        spec.width = width;
        spec.height = height;
        spec.align = random() & 1 ? 4 : 8;
        TestImage image(spec, random);
        setSequence(&image.image, spec.nChannels == 1 ? "G" : random() & 1 ? "BGR" : "RGBA");
        if (spec.depth != VEK_DEPTH_1U) crowd(&image, random);
        TestDib dib({bitCount, width, height, 0, 0, {}, 0}, random);
        const std::vector<uint32_t> expected = modelMedianCut(image, bitCount);
        Recorder recorder;
        vekConvertToDIB(&image.image, dib.header(), 1, 2);
        ASSERT_EQ(recorder.text(), "");
        ASSERT_EQ(dib.info().biClrUsed, expected.size()) << round;
        ASSERT_EQ(tableOf(dib, expected.size()), expected) << round << ": " << bitCount << " bits";
        nShort += expected.size() < (size_t)1 << bitCount;
        std::vector<uint8_t> stored = dib.bytes();
        std::vector<uint8_t> again = modelToDib(image, stored);
        EXPECT_TRUE(stored == again) << "pixels behind the new table, " << round;
    }
    EXPECT_GT(nShort, 20);
}

/* One cell beside a crowd of others closes them all: the cut ends before the table is full. */
TEST(Palette, MedianCutMayEndEarly)
{
    Random random(1);
    TestImage image({VEK_DEPTH_8U, 3, false, 0, 100, 1}, random);
    setSequence(&image.image, "BGR");
    for (int32_t x = 0; x < 100; ++x)
        for (int c = 0; c < 3; ++c)
            setSample(image.image, image.block.data, x, 0, c, x < 60 ? 0 : c == 1 ? 3 * x - 80 : 100);
    TestDib dib({4, 100, 1, 0, 0, {}, 0}, random);
    vekConvertToDIB(&image.image, dib.header(), 1, 2);
    EXPECT_EQ(dib.info().biClrUsed, modelMedianCut(image, 4).size());
    EXPECT_EQ(dib.info().biClrUsed, 2u);
}

TEST(Palette, MedianCutRefusals)
{
    Random random(1);
    for (const char* sequence : {"HSV", "G", "BGR "}) {
        TestImage image({VEK_DEPTH_8U, 3, false, 0, 8, 8}, random);
        setSequence(&image.image, sequence);
        TestDib dib({8, 8, 8, 0, 77, {}, 1024}, random);
        const std::vector<uint8_t> before = dib.bytes();
        Recorder recorder;
        vekConvertToDIB(&image.image, dib.header(), 1, 2);
        EXPECT_EQ(recorder.text(), "-3 vekConvertToDIB(Error of creating medcut palette)") << sequence;
        EXPECT_EQ(dib.bytes(), before);
    }
    for (int n = 0; n < 2; ++n) { /* without memory for the cells, for the boxes */
        TestImage image({VEK_DEPTH_8U, 3, false, 0, 64, 64}, random);
        setSequence(&image.image, "RGB");
        TestDib dib({8, 64, 64, 0, 0, {}, 0}, random);
        const std::vector<uint8_t> before = dib.bytes();
        const int live = heapLive();
        Recorder recorder;
        heapFailAfter(n);
        vekConvertToDIB(&image.image, dib.header(), 1, 2);
        heapFailAfter(-1);
        EXPECT_EQ(recorder.text(), "-3 vekConvertToDIB(Error of creating medcut palette)");
        EXPECT_EQ(dib.bytes(), before);
        EXPECT_EQ(heapLive(), live);
    }
}

} // namespace
