/* Histograms, stretching and equalising: the runs against their plain loops, and the operations over random headers against
 * what is stated, sample by sample. */
#include "ownsimd.h"
#include "support/parts.h"
#include "tone/owntone.h"

#include <gtest/gtest.h>

namespace {

/* ---- Runs ---------------------------------------------------------------------------------------------------------- */

TEST(ToneKernels, MapEqualsPlain)
{
    Random random(3);
    std::vector<uint16_t> map(65536);
    for (uint16_t& level : map) level = (uint16_t)random();
    for (const int slot : {OWN_8U, OWN_16U})
        for (ptrdiff_t n = 0; n <= 7 * OWN_VEC_BYTES + 1; ++n) {
            const size_t bytes = (size_t)n * (slot == OWN_8U ? 1 : 2);
            GuardedBlock in(bytes), out(bytes), plain(bytes);
            for (size_t i = 0; i < bytes; ++i) in.data[i] = (uint8_t)random();
            ownMapRows[slot].plain(plain.data, in.data, nullptr, n, map.data());
            ownMapRows[slot].run(out.data, in.data, nullptr, n, map.data());
            ASSERT_EQ(memcmp(out.data, plain.data, bytes), 0) << slot << " n=" << n;
            ownMapRows[slot].run(in.data, in.data, nullptr, n, map.data());
            ASSERT_EQ(memcmp(in.data, plain.data, bytes), 0) << slot << " in place n=" << n;
        }
}

TEST(ToneKernels, MapOfPixelsEqualsPlain)
{
    Random random(5);
    std::vector<uint16_t> maps(8 * 65536);
    for (uint16_t& level : maps) level = (uint16_t)random();
    for (const int slot : {OWN_8U, OWN_16U})
        for (int32_t step = 2; step <= 8; ++step)
            for (int32_t nMaps : {step - 1, step})
                for (ptrdiff_t nPixels = 0; nPixels < 300; nPixels += nPixels < 20 ? 1 : 31) {
                    const size_t bytes = (size_t)(nPixels * step) * (slot == OWN_8U ? 1 : 2);
                    GuardedBlock in(bytes), plain(bytes);
                    for (size_t i = 0; i < bytes; ++i) in.data[i] = (uint8_t)random();
                    const OwnPixelMaps k = {maps.data(), step, nMaps};
                    ownMapPixelRows[slot].plain(plain.data, in.data, nullptr, nPixels * step, &k);
                    ownMapPixelRows[slot].run(in.data, in.data, nullptr, nPixels * step, &k);
                    ASSERT_EQ(memcmp(in.data, plain.data, bytes), 0) << slot << " step " << step << " maps " << nMaps;
                }
}

/* Random samples, one level alone, and a pattern that a turn of the tables repeats. */
TEST(ToneKernels, CountEqualsPlain)
{
    Random random(4);
    for (const int slot : {OWN_1U, OWN_8U, OWN_16U})
        for (ptrdiff_t n = 0; n <= 700; n += n < 270 ? 1 : 37) {
            const size_t bytes = slot == OWN_1U ? (size_t)(n + 7) / 8 : (size_t)n * (slot == OWN_8U ? 1 : 2);
            GuardedBlock in(bytes);
            for (size_t i = 0; i < bytes; ++i)
                in.data[i] = n % 3 && i >= OWN_COUNT_TURNS ? (n % 3 == 1 ? in.data[i - OWN_COUNT_TURNS] : 77)
                                                           : (uint8_t)random();
            if (slot == OWN_1U && n % 8) in.data[bytes - 1] &= (uint8_t)(0xFF00 >> n % 8);
            std::vector<uint32_t> run(65536, 5), plain(65536, 5);
            const OwnSpan span = {in.data, nullptr, n, 0, 0, 0, 0, 1};
            ownCountRows[slot].run(run.data(), span);
            ownCountRows[slot].plain(plain.data(), span);
            ASSERT_EQ(run, plain) << slot << " n=" << n;
        }
}

/* ---- What is stated -------------------------------------------------------------------------------------------------- */

/* A table with its own arrays. */
struct Table {
    std::vector<int32_t> key, value, factor;
    VekLUT lut;

    Table(const std::vector<int32_t>& keys, Random& random, bool isCount, bool isLine) : key(keys), lut()
    {
        for (size_t i = 0; i < key.size(); ++i) {
            value.push_back(isCount ? draw(random, 0, 3000) : draw(random, -9, 70000));
            factor.push_back(draw(random, -3, 5));
        }
        lut = {(int32_t)key.size(), key.data(), value.data(), isLine ? factor.data() : nullptr, isLine ? 7 : 0};
    }
    int binOf(int64_t g) const
    {
        for (size_t i = 0; i + 1 < key.size(); ++i)
            if (g >= key[i] && g < key[i + 1]) return (int)i;
        return -1;
    }
};

std::vector<int32_t> drawKeys(Random& random, int32_t levels)
{
    std::vector<int32_t> keys = {draw(random, 0, 1) ? 0 : draw(random, 0, levels)};
    for (int n = draw(random, 1, 9); n; --n)
        keys.push_back(draw(random, 0, 2) ? draw(random, keys.back(), levels) : keys.back());
    if (draw(random, 0, 1)) keys.push_back(levels);
    return keys;
}

std::vector<int64_t> stretchMap(const Table& table, int32_t levels)
{
    std::vector<int64_t> map;
    for (int64_t g = 0; g < levels; ++g) {
        const int i = table.binOf(g);
        map.push_back(i < 0 ? g
                            : (table.value[(size_t)i] +
                               (table.lut.interpolated ? (g - table.key[(size_t)i]) * table.factor[(size_t)i] : 0)) &
                                  (levels - 1));
    }
    return map;
}

/* Empty when the bins hold nothing. */
std::vector<int64_t> equalMap(const Table& table, int32_t levels)
{
    std::vector<int64_t> spread((size_t)levels), map;
    for (size_t i = 0; i + 1 < table.key.size(); ++i) {
        const int32_t n = table.key[i + 1] - table.key[i];
        for (int32_t k = 0; k < n; ++k)
            spread[(size_t)(table.key[i] + k)] = table.value[i] / n + (k == n - 1 ? table.value[i] % n : 0);
    }
    int64_t total = 0, sum = 0;
    for (const int64_t count : spread) total += count;
    for (int32_t g = 0; g < levels && total; ++g) {
        sum += spread[(size_t)g];
        map.push_back(levels == 256 ? sum * 255 / total : (int64_t)((double)sum * 65535.0 / (double)total));
    }
    return map;
}

/* ---- Random headers -------------------------------------------------------------------------------------------------- */

std::unique_ptr<TestImage> drawImage(Random& random, uint32_t depth, int32_t nColours, bool hasCoi, int32_t dataOrder)
{
    ImageSpec spec;
    spec.depth = depth;
    spec.hasAlpha = depth != VEK_DEPTH_1U && draw(random, 0, 1);
    spec.nChannels = nColours + spec.hasAlpha;
    spec.dataOrder = dataOrder;
    spec.width = draw(random, 1, draw(random, 0, 5) ? 40 : 500);
    spec.height = draw(random, 1, 20);
    spec.moreStep = draw(random, 0, 1) * draw(random, 0, 9);
    spec.atEnd = draw(random, 0, 1);
    auto image = std::make_unique<TestImage>(spec, random);
    if (hasCoi || draw(random, 0, 1))
        image->setRoi(hasCoi ? draw(random, 1, spec.nChannels) : 0, draw(random, 0, spec.width),
                      draw(random, 0, spec.height / 2), draw(random, 1, spec.width), draw(random, 1, spec.height));
    if (draw(random, 0, 2) == 0) image->setMask(drawMask(image->image, random));
    return image;
}

/* dst = maps[src], of each channel its own. */
std::vector<uint8_t> mapped(const TestImage& src, const TestImage& dst, const std::vector<std::vector<int64_t>>& maps)
{
    std::vector<uint8_t> bytes = dst.bytes();
    const Area from = areaOf(src.image), to = areaOf(dst.image);
    int64_t width = std::min(from.width, to.width), height = std::min(from.height, to.height);
    for (const TestImage* one : {&src, &dst})
        if (one->mask) {
            width = std::min(width, areaOf(one->mask->image).width);
            height = std::min(height, areaOf(one->mask->image).height);
        }
    const std::vector<int32_t> fromChannels = channelsOf(src.image), toChannels = channelsOf(dst.image);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            bool isLet = true;
            for (const TestImage* one : {&src, &dst}) isLet = isLet && isThrough(*one, x, y);
            for (size_t c = 0; c < toChannels.size() && isLet; ++c)
                setSample(dst.image, bytes.data(), to.x + x, to.y + y, toChannels[c],
                          maps[c][(size_t)src.get(from.x + x, from.y + y, fromChannels[c])]);
        }
    return bytes;
}

/* The bins' counts of the source, its levels mapped or (no map) as they are. */
std::vector<int32_t> countedBins(const TestImage& src, int32_t channel, const Table& table,
                                 const std::vector<int64_t>& map)
{
    std::vector<int32_t> counts(table.key.size());
    counts.back() = table.value.back();
    const Area area = areaOf(src.image);
    for (int32_t y = 0; y < area.height; ++y)
        for (int32_t x = 0; x < area.width; ++x) {
            const int64_t level = src.get(area.x + x, area.y + y, channel);
            const int i = table.binOf(map.empty() ? level : map[(size_t)level]);
            if (i >= 0) ++counts[(size_t)i];
        }
    return counts;
}

enum { HISTO, STRETCH, EQUALIZE };

void runSeed(uint32_t seed)
{
    Random random(seed);
    const int kind = draw(random, 0, 2);
    const uint32_t depths[] = {VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_1U};
    const uint32_t depth = depths[draw(random, 0, kind == HISTO ? 2 : 1)];
    const int32_t levels = depth == VEK_DEPTH_1U ? 2 : 1 << depth, dataOrder = draw(random, 0, 1);
    const int32_t nColours = depth == VEK_DEPTH_1U ? 1 : draw(random, 1, depth == VEK_DEPTH_8U ? 4 : 2);
    const bool hasCoi = draw(random, 0, 3) == 0, isInPlace = draw(random, 0, 3) == 0;
    const auto src = drawImage(random, depth, nColours, hasCoi, dataOrder),
               apart = drawImage(random, depth, nColours, hasCoi, dataOrder);
    TestImage& dst = isInPlace ? *src : *apart;
    std::unique_ptr<TiledImage> tiledSrc, tiledDst;
    if (draw(random, 0, 2) == 0) tiledSrc = std::make_unique<TiledImage>(*src, 8 * draw(random, 1, 2), 8);
    if (!isInPlace && draw(random, 0, 2) == 0) tiledDst = std::make_unique<TiledImage>(dst, 8, 8 * draw(random, 1, 2));
    VekImage* srcImage = tiledSrc ? &tiledSrc->image : &src->image;
    VekImage* dstImage = isInPlace ? srcImage : tiledDst ? &tiledDst->image : &dst.image;

    const std::vector<int32_t> channels = channelsOf(src->image);
    std::vector<std::unique_ptr<Table>> tables;
    std::vector<VekLUT*> lut((size_t)src->image.nChannels, nullptr);
    for (const int32_t c : channels) {
        tables.push_back(
            std::make_unique<Table>(drawKeys(random, levels), random, kind != STRETCH, draw(random, 0, 1)));
        lut[(size_t)(hasCoi ? c : (int32_t)tables.size() - 1)] = &tables.back()->lut;
    }
    std::vector<std::vector<int64_t>> maps;
    for (const auto& table : tables)
        maps.push_back(kind == STRETCH    ? stretchMap(*table, levels)
                       : kind == EQUALIZE ? equalMap(*table, levels)
                                          : std::vector<int64_t>());
    const bool isEmpty = kind == EQUALIZE &&
                         std::any_of(maps.begin(), maps.end(), [](const auto& map) { return map.empty(); });
    const std::vector<uint8_t> expected = kind == HISTO || isEmpty ? dst.bytes() : mapped(*src, dst, maps);
    std::vector<std::vector<int32_t>> values;
    for (size_t c = 0; c < tables.size(); ++c)
        values.push_back(kind == STRETCH || isEmpty ? tables[c]->value
                                                    : countedBins(*src, channels[c], *tables[c], maps[c]));

    const int live = heapLive();
    Recorder recorder;
    if (kind == HISTO) vekComputeHisto(srcImage, lut.data());
    else (kind == STRETCH ? vekContrastStretch : vekHistoEqualize)(srcImage, dstImage, lut.data());
    SCOPED_TRACE("seed " + std::to_string(seed) + " kind " + std::to_string(kind) + " depth " + std::to_string(depth));
    ASSERT_EQ(recorder.text(), isEmpty ? "-3 vekHistoEqualize(All values in histogram are zeroes)" : "");
    ASSERT_EQ(heapLive(), live);
    ASSERT_EQ(dst.bytes(), expected);
    for (size_t c = 0; c < tables.size(); ++c) ASSERT_EQ(tables[c]->value, values[c]) << "channel " << c;
    for (const TiledImage* tiled : {tiledSrc.get(), tiledDst.get()}) {
        if (!tiled) continue;
        ASSERT_FALSE(tiled->isOpen());
        ASSERT_EQ(tiled->logText().find("BAD"), std::string::npos) << tiled->logText();
        if (isInPlace && kind == STRETCH) {
            ASSERT_EQ(tiled->logText().find("R "), std::string::npos) << tiled->logText();
        }
    }
}

TEST(Tone, RandomHeadersAsStated)
{
    for (uint32_t seed = 0; seed < 1500; ++seed) {
        runSeed(seed);
        if (HasFatalFailure()) return;
    }
}

/* ---- Failures ---------------------------------------------------------------------------------------------------------- */

struct Fixture {
    Random random{8};
    ImageSpec spec;
    TestImage src{spec, random}, dst{spec, random};
    Table table{{0, 10, 256}, random, true, false};
    VekLUT* lut[1] = {&table.lut};

    std::string reports(const std::function<void(VekImage*, VekImage*, VekLUT**)>& call)
    {
        const std::vector<uint8_t> before = dst.bytes();
        const std::vector<int32_t> values = table.value;
        Recorder recorder;
        call(&src.image, &dst.image, lut);
        EXPECT_EQ(dst.bytes(), before);
        EXPECT_EQ(table.value, values);
        return recorder.text();
    }
};

TEST(Tone, Refusals)
{
    struct Fault {
        const char* reports;
        std::function<void(Fixture&)> make;
    };
    const Fault faults[] = {
        {"-5 *(lut[k]==0)", [](Fixture& f) { f.lut[0] = nullptr; }},
        {"-5 *(lut[k]->key==0)", [](Fixture& f) { f.table.lut.key = nullptr, f.table.lut.value = nullptr; }},
        {"-5 *(lut[k]->value==0)", [](Fixture& f) { f.table.lut.value = nullptr, f.table.lut.num = 1; }},
        {"-5 *(lut[k]->num < 2)", [](Fixture& f) { f.table.lut.num = 1, f.table.key[0] = -1; }},
        {"-5 *(lut[k]->key[0] < 0)", [](Fixture& f) { f.table.key[0] = -1, f.table.key[2] = 257; }},
        {"-5 *(lut[k]->key[lut[k]->num-1] > histSize)", [](Fixture& f) { f.table.key[2] = 257, f.table.key[0] = 11; }},
        {"-5 *(lut[k]->key[i] > lut[k]->key[i+1])", [](Fixture& f) { f.table.key[0] = 11; }},
        {"-18 *(Incorrect Image)", [](Fixture& f) { f.src.image.alphaChannel = 5, f.lut[0] = nullptr; }},
    };
    for (const Fault& fault : faults)
        for (const char* name : {"vekComputeHisto", "vekContrastStretch", "vekHistoEqualize"}) {
            Fixture f;
            fault.make(f);
            const std::string call = name;
            const std::string reports = f.reports([&](VekImage* src, VekImage* dst, VekLUT** lut) {
                if (call == "vekComputeHisto") vekComputeHisto(src, lut);
                else (call == "vekContrastStretch" ? vekContrastStretch : vekHistoEqualize)(src, dst, lut);
            });
            std::string expected = fault.reports;
            expected.replace(expected.find('*'), 1, call);
            EXPECT_EQ(reports, expected);
        }
}

/* Faults that are all told. */
TEST(Tone, SeveralReports)
{
    Fixture f;
    f.src.image.depth = VEK_DEPTH_8S;
    EXPECT_EQ(f.reports([](VekImage* src, VekImage*, VekLUT**) { vekComputeHisto(src, nullptr); }),
              "-5 vekComputeHisto(lut==0); "
              "-5 vekComputeHisto((srcImage->depth & VEK_DEPTH_SIGN) || (srcImage->depth == VEK_DEPTH_32F))");
    f.dst.image.origin = f.dst.image.dataOrder = 1;
    EXPECT_EQ(f.reports([](VekImage* src, VekImage* dst, VekLUT**) { vekHistoEqualize(src, dst, nullptr); }),
              "-5 vekHistoEqualize(srcImage->depth != dstImage->depth); -5 vekHistoEqualize(srcImage->origin != "
              "dstImage->origin); "
              "-5 vekHistoEqualize(srcImage->dataOrder != dstImage->dataOrder); "
              "-5 vekHistoEqualize(srcImage->depth != VEK_DEPTH_8U && srcImage->depth != VEK_DEPTH_16U); -5 "
              "vekHistoEqualize(lut==0)");
    Fixture g;
    g.src.image.nChannels = 2, g.src.image.width = 8;
    EXPECT_EQ(g.reports([](VekImage* src, VekImage* dst, VekLUT** lut) { vekContrastStretch(src, dst, lut); }),
              "-24 vekContrastStretch(srcImage COI != dstImage COI)");
}

TEST(Tone, MissingTiles)
{
    Fixture f;
    TiledImage src(f.src, 8, 8), dst(f.dst, 8, 8);
    const auto fail = [&](int srcAt, int dstAt) {
        src.failAt = srcAt, dst.failAt = dstAt;
        return [&](VekImage*, VekImage*, VekLUT** lut) { vekHistoEqualize(&src.image, &dst.image, lut); };
    };
    src.failAt = 1;
    EXPECT_EQ(f.reports([&](VekImage*, VekImage*, VekLUT** lut) { vekComputeHisto(&src.image, lut); }),
              "-2 vekComputeHisto(Error get tile to read); -1 vekComputeHisto()");
    EXPECT_EQ(f.reports(fail(2, -1)), "-2 vekHistoEqualize(Error get tile to read); -1 vekHistoEqualize()");
    EXPECT_EQ(f.reports(fail(7, -1)), "-2 vekHistoEqualize(Error get tile to read)");
    EXPECT_EQ(f.reports(fail(-1, 0)), "-2 vekHistoEqualize(Error get tile to write)");
}

TEST(Tone, ShortMemory)
{
    for (int n = 0; n < 3; ++n) {
        Fixture f;
        const int live = heapLive();
        heapFailAfter(n);
        const std::string reports = f.reports(
            [](VekImage* src, VekImage* dst, VekLUT** lut) { vekHistoEqualize(src, dst, lut); });
        heapFailAfter(-1);
        EXPECT_EQ(reports, "-4 vekHistoEqualize()");
        EXPECT_EQ(heapLive(), live);
    }
}

/* Enough samples to be counted in pairs, in rows of an odd length and with flat parts; without memory for the pairs, too. */
TEST(Tone, LargePictures)
{
    for (const bool isShort : {false, true}) {
        Random random(6);
        ImageSpec spec;
        spec.width = 1201;
        spec.height = 301;
        spec.nChannels = 2;
        spec.dataOrder = VEK_DATA_ORDER_PLANE_WISE;
        TestImage image(spec, random);
        memset(image.block.data + 5000, 33, 40000);
        image.setRoi(0, 3, 1, 1195, 299);
        std::vector<int32_t> stated[2] = {std::vector<int32_t>(256), std::vector<int32_t>(256)};
        for (int c = 0; c < 2; ++c)
            for (int32_t y = 1; y < 300; ++y)
                for (int32_t x = 3; x < 1198; ++x) ++stated[c][(size_t)image.get(x, y, c)];
        std::vector<int32_t> key(257), value[2] = {std::vector<int32_t>(257), std::vector<int32_t>(257)};
        for (int32_t i = 0; i <= 256; ++i) key[(size_t)i] = i;
        VekLUT table[2] = {{257, key.data(), value[0].data(), nullptr, 0},
                           {257, key.data(), value[1].data(), nullptr, 0}};
        VekLUT* lut[2] = {&table[0], &table[1]};
        const int live = heapLive();
        Recorder recorder;
        heapFailAfter(isShort ? 1 : -1);
        vekComputeHisto(&image.image, lut);
        heapFailAfter(-1);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_EQ(heapLive(), live);
        for (int c = 0; c < 2; ++c) {
            value[c].pop_back();
            EXPECT_EQ(value[c], stated[c]) << "channel " << c << " short " << isShort;
        }
    }
}

} // namespace
