/* Bit reduction against a model that goes pixel by pixel as the definition has it: every pair of depths, both orders, noise,
 * each dither, tiles or none; refusals; the kernels' packed runs against their plain loops. */
#include "colour/ownbits.h"
#include "support/support.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

/* ---- The model ------------------------------------------------------------------------------------------------------- */

struct Numbers {
    int first[1024], third[1024];
};

Numbers drawNumbers(uint32_t& state)
{
    const auto next = [&] { return (int)((state = state * 214013u + 2531011u) >> 16 & 0x7FFF); };
    Numbers numbers;
    for (int& n : numbers.first) n = next() & 0x3FF;
    for (int& n : numbers.third) n = next() & 0x3FF;
    return numbers;
}

int64_t withNoise(int64_t s, int from, int to, int j, int a, int b)
{
    const int64_t steps = ((2 * j * a + 512) >> 10) - j;
    if (from < 32) {
        const int bits = from == 8 ? 4 : 8;
        const int64_t step = 1 << bits, most = (1 << from) - 1;
        if (s >= most + 1 - step) return s;
        const int64_t n = steps * step, t = (b * (step + 1)) >> 10 < (s & (step - 1)) ? s : s + step;
        return (n + t > most ? t : n + t) & most;
    }
    if (to == 1) {
        double v = (double)s;
        if (2147483647.0 * b / 1024 >= v) v += 2147483647.0;
        v += (2 * j * (a / 1024.0) + 0.5 - j) * 2147483647.0;
        return v < -2147483648.0 || v > 2147483647.0 ? s : (int64_t)v;
    }
    const int64_t low = to == 16 ? 0xFFFF : 0xFFFFFF, n = steps * (low + 1);
    if (s >= 0x7FFFFFFF - low) return s;
    if (n + s >= 0 && n + s <= INT32_MAX) return n + s;
    return (s & low) > (b * (low + 2)) >> 10 ? s : s + low;
}

int64_t lowered(int64_t s, int from, int to)
{
    if (to == 1) return s > (from == 8 ? 127 : from == 16 ? 32767 : 0);
    return from == 32 ? (s >> (32 - to)) + (1 << (to - 1)) : s >> 8;
}

struct Share {
    int dx, dy, weight;
};
const std::vector<Share>& sharesOf(int ditherType)
{
    static const std::vector<Share> floyd = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}},
                                    jarvis = {{1, 0, 1197}, {2, 0, 855}, {-2, 1, 513}, {-1, 1, 855},
                                              {0, 1, 1197}, {1, 1, 855}, {2, 1, 513},  {-2, 2, 171},
                                              {-1, 2, 513}, {0, 2, 855}, {1, 2, 513},  {2, 2, 171}},
                                    stucki = {{1, 0, 1560}, {2, 0, 780}, {-2, 1, 390}, {-1, 1, 780},
                                              {0, 1, 1560}, {1, 1, 780}, {2, 1, 390},  {-2, 2, 195},
                                              {-1, 2, 390}, {0, 2, 780}, {1, 2, 390},  {2, 2, 195}};
    return ditherType == 2 ? floyd : ditherType == 4 ? jarvis : stucki;
}

/* One case: the images' headers, tiles of the destination, arguments. */
struct Case {
    const VekImage *src, *dst; /* without tiles */
    int32_t tileWidth, tileHeight;
    int tileStep; /* samples of a tile's row, for the ordered dither */
    int jitter, dither, levels;
};

void diffuse(const Case& c, uint8_t* block, int channel, int mask)
{
    const int shift = c.dither == 2 ? 4 : 13;
    for (int32_t y = 0; y < c.dst->height; ++y)
        for (int32_t x = 0; x < c.dst->width; ++x) {
            const int v = (int)getSample(*c.dst, block, x, y, channel);
            const int result = (v & mask) > mask >> 1 ? (v & ~mask) + mask : v & ~mask;
            setSample(*c.dst, block, x, y, channel, result);
            for (const Share& share : sharesOf(c.dither)) {
                const int32_t toX = x + share.dx, toY = y + share.dy;
                if (toX < 0 || toX >= c.dst->width || toY >= c.dst->height) continue;
                const int64_t p = getSample(*c.dst, block, toX, toY, channel);
                const int64_t sum = ((int64_t)(v - result) * share.weight + (p << shift)) >> shift;
                setSample(*c.dst, block, toX, toY, channel, std::clamp<int64_t>(sum, 0, (1 << c.dst->depth) - 1));
            }
        }
}

void model(const Case& c, const uint8_t* srcBlock, uint8_t* block, uint32_t seed)
{
    static const int matrix[16] = {0,     0x788, 0x1E2, 0x96A, 0xB4C, 0x3C4, 0xD2E, 0x5A6,
                                   0x2D3, 0xA5B, 0xF1,  0x879, 0xE1F, 0x697, 0xC3D, 0x4B5};
    const VekImage &src = *c.src, &dst = *c.dst;
    const int from = (int)(src.depth & 0xFF), to = (int)dst.depth;
    const Numbers numbers = drawNumbers(seed);
    const int levels = c.levels < 0 ? 0 : c.levels > to ? to >> 1 : c.levels;
    const int mask = std::max((to == 8 ? 255 : 65535) >> levels, 1);
    const bool isGray = dst.channelSeq[0] == 'G';
    for (int32_t y = 0; y < std::min(src.height, dst.height); ++y)
        for (int32_t x = 0; x < std::min(src.width, dst.width); ++x)
            for (int32_t channel = 0; channel < dst.nChannels; ++channel) {
                int64_t s = getSample(src, srcBlock, x, y, channel);
                const int tx = x % c.tileWidth, ty = y % c.tileHeight;
                const int at = dst.dataOrder == VEK_DATA_ORDER_PIXEL ? tx * dst.nChannels + channel : tx;
                const int a = numbers.first[(ty + 4 * at + numbers.third[ty & 1023]) & 1023];
                const int b = numbers.first[(at + 4 * ty + numbers.third[at & 1023]) & 1023];
                if (c.jitter) s = withNoise(s, from, to, c.jitter, a, b);
                int64_t v = lowered(s, from, to);
                if (c.dither == 16 && channel < (isGray ? 1 : 3)) {
                    const int column = x / c.tileWidth * c.tileStep + tx;
                    const int t = (matrix[(column & 3) * 4 + (y & 3)] << (to - levels)) >> 12;
                    v = (v & ~mask) + ((v & mask) > t ? mask : 0);
                }
                setSample(dst, block, x, y, channel, v);
            }
    if (c.dither == 2 || c.dither == 4 || c.dither == 8)
        for (int channel = 0; channel < (isGray ? 1 : 3); ++channel) diffuse(c, block, channel, mask);
}

/* ---- Against the model ------------------------------------------------------------------------------------------------- */

void nameChannels(VekImage& image, bool gray)
{
    memcpy(image.colorModel, gray ? "GRAY" : "RGB", 4);
    memcpy(image.channelSeq, gray ? "G\0\0" : "BGR", 4);
}

const struct {
    uint32_t from, to;
} pairs[] = {{VEK_DEPTH_8U, VEK_DEPTH_1U},  {VEK_DEPTH_16U, VEK_DEPTH_8U}, {VEK_DEPTH_16U, VEK_DEPTH_1U},
             {VEK_DEPTH_32S, VEK_DEPTH_8U}, {VEK_DEPTH_32S, VEK_DEPTH_1U}, {VEK_DEPTH_32S, VEK_DEPTH_16U}};

TEST(Bits, EveryStageOnAnyImage)
{
    Random random(62);
    for (int i = 0; i < 1500; ++i) {
        const auto& pair = pairs[draw(random, 0, 5)];
        ImageSpec spec;
        spec.depth = pair.to;
        spec.nChannels = pair.to == VEK_DEPTH_1U ? 1 : draw(random, 1, 4);
        spec.dataOrder = draw(random, 0, 1);
        spec.width = draw(random, 0, 3) ? draw(random, 1, 40) : draw(random, 60, 200);
        spec.height = draw(random, 1, 40);
        if (draw(random, 0, 50) == 0)
            spec.width = draw(random, 1, 4), spec.height = draw(random, 1, 1200); /* beyond the tables */
        if (draw(random, 0, 50) == 0) spec.width = draw(random, 1, 1200), spec.height = draw(random, 1, 4);
        spec.align = draw(random, 0, 1) ? 4 : 8;
        spec.moreStep = draw(random, 0, 1) * 8;
        TestImage dst(spec, random);
        spec.depth = pair.from;
        const int dither = pair.to == VEK_DEPTH_1U ? 1 : 1 << draw(random, 0, 4);
        const int jitter = draw(random, 0, 1) ? 0 : draw(random, 1, 8);
        spec.width += draw(random, 0, 2); /* a smaller source would be continued by its border */
        spec.height += draw(random, 0, 2);
        TestImage src(spec, random);
        for (TestImage* image : {&src, &dst}) nameChannels(image->image, dst.image.nChannels < 3);

        const bool srcTiled = draw(random, 0, 3) == 0, dstTiled = draw(random, 0, 2) == 0;
        const auto drawSize = [&] { return 8 * draw(random, 1, 5); };
        const int tileWidth = drawSize(), tileHeight = drawSize();
        TiledImage srcTiles(src, drawSize(), drawSize()), dstTiles(dst, tileWidth, tileHeight);
        Case c = {&src.image, &dst.image, INT32_MAX, INT32_MAX, 0, jitter, dither, draw(random, -1, 20)};
        if (dstTiled) {
            const VekImage tile = tileHeader(dst.image, tileWidth, tileHeight);
            c.tileWidth = tileWidth, c.tileHeight = tileHeight;
            c.tileStep = tile.widthStep / (pair.to == VEK_DEPTH_16U ? 2 : 1);
        }
        std::vector<uint8_t> want = dst.bytes();
        model(c, src.block.data, want.data(), vekGetThreadContext()->noise);
        Recorder recorder;
        vekReduceBits(srcTiled ? &srcTiles.image : &src.image, dstTiled ? &dstTiles.image : &dst.image, jitter, dither,
                      c.levels);
        ASSERT_EQ(recorder.text(), "") << i;
        for (const TiledImage* tiles : {&srcTiles, &dstTiles}) {
            ASSERT_FALSE(tiles->isOpen()) << i;
            ASSERT_EQ(tiles->logText().find("BAD"), std::string::npos) << i << ": " << tiles->logText();
        }
        ASSERT_EQ(dst.bytes(), want) << i << ": " << pair.from << " to " << pair.to << ", " << dst.image.nChannels
                                     << " channels, order " << dst.image.dataOrder << ", " << dst.image.width << " x "
                                     << dst.image.height << ", noise " << jitter << ", dither " << dither << ", levels "
                                     << c.levels << (dstTiled ? ", tiled" : "") << (srcTiled ? ", source tiled" : "");
    }
}

/* The smaller area where samples are only converted; all of dst, with the source's border, where there is more to do. */
TEST(Bits, OfImagesOfOtherSizes)
{
    Random random(63);
    ImageSpec spec;
    spec.width = 9, spec.height = 7;
    TestImage dst(spec, random);
    spec.depth = VEK_DEPTH_16U, spec.width = 5, spec.height = 4;
    TestImage src(spec, random);
    for (TestImage* image : {&src, &dst}) nameChannels(image->image, true);
    src.image.borderMode[0] = src.image.borderMode[1] = src.image.borderMode[2] = src.image.borderMode[3] = 0;
    for (int32_t& value : src.image.borderConst) value = 0x7F00;
    std::vector<uint8_t> want = dst.bytes();
    for (int dither : {1, 16}) {
        for (int32_t y = 0; y < 7; ++y)
            for (int32_t x = 0; x < 9; ++x) {
                const bool inside = x < 5 && y < 4;
                if (inside || dither == 16)
                    setSample(dst.image, want.data(), x, y, 0, inside ? src.get(x, y, 0) >> 8 : 0x7F);
            }
        Recorder recorder;
        vekReduceBits(&src.image, &dst.image, 0, dither, 8); /* keeps every value: 1 bit above a threshold of 0 */
        EXPECT_EQ(recorder.text(), "");
        EXPECT_EQ(dst.bytes(), want) << dither;
    }
}

TEST(Bits, EachThreadHasItsNoise)
{
    std::thread([] {
        Random random(64);
        ImageSpec spec;
        TestImage dst(spec, random), again(spec, random);
        spec.depth = VEK_DEPTH_16U;
        TestImage src(spec, random);
        EXPECT_EQ(vekGetThreadContext()->noise, 1u);
        uint32_t state = 1;
        drawNumbers(state);
        vekReduceBits(&src.image, &dst.image, 4, 1, 0);
        EXPECT_EQ(vekGetThreadContext()->noise, state);
        vekReduceBits(&src.image, &again.image, 4, 1, 0);
        EXPECT_NE(dst.bytes(), again.bytes());
        vekReduceBits(&src.image, &again.image, 0, 1, 0);
        drawNumbers(state);
        EXPECT_EQ(vekGetThreadContext()->noise, state);
    }).join();
}

/* ---- Refusals ------------------------------------------------------------------------------------------------------- */

TEST(Bits, Refusals)
{
    struct Fault {
        std::function<void(VekImage& src, VekImage& dst)> spoil;
        int jitter, dither;
        const char* report;
    };
    static const char
        *shapes = "-5 vekReduceBits((src->nChannels != dst->nChannels)||(src->dataOrder != dst->dataOrder)||"
                  "(src->origin != dst->origin))",
        *names = "-5 vekReduceBits(colorModel, (channelSeq)  must be RGB,(RGB,BGR) or GRAY,(G) when dithering "
                 "mode is set on)";
    static VekROI roi = {0, 0, 0, 4, 4};
    /* In their order; each is tried with those behind it, too. */
    const std::vector<Fault> faults = {
        {[](VekImage&, VekImage&) {}, 9, 0, "-5 vekReduceBits((jitterType<0)||( jitterType >= 9))"},
        {[](VekImage& src, VekImage&) { src.align = 5; }, 0, 0, "-21 vekReduceBits(Incorrect Image)"},
        {[](VekImage&, VekImage& dst) { dst.origin = 2; }, 0, 0, "-20 vekReduceBits(Incorrect Image)"},
        {[](VekImage&, VekImage& dst) { dst.roi = &roi; }, 0, 0, "-5 vekReduceBits(src & dst roi must be NULL)"},
        {[](VekImage& src, VekImage&) { src.dataOrder = VEK_DATA_ORDER_PLANE_WISE; }, 0, 0, shapes},
        {[](VekImage& src, VekImage&) { memcpy(src.colorModel, "HSV", 4); }, 0, 2, names},
        {[](VekImage& src, VekImage&) { memcpy(src.channelSeq, "B", 2); }, 0, 3, names},
        {[](VekImage& src, VekImage&) { src.depth = VEK_DEPTH_8U; }, 0, 16,
         "-5 ownReduceBits(Error out depth. 8U to 1U conversion is valid now)"},
        {[](VekImage& src, VekImage&) { src.depth = VEK_DEPTH_16S; }, 2, 1,
         "-5 ownjitter_rect(Error input depth. 32S,16U,8U input is valid now)"},
        {[](VekImage&, VekImage&) {}, 0, 3, "-5 own_dither_rect(errDitherOption)"},
    };
    for (size_t first = 0; first < faults.size(); ++first)
        for (size_t second = first; second < std::min(faults.size(), first < 7 ? faults.size() : first + 1); ++second) {
            Random random(65);
            ImageSpec spec;
            TestImage dst(spec, random);
            spec.depth = VEK_DEPTH_16U;
            TestImage src(spec, random);
            for (TestImage* image : {&src, &dst}) nameChannels(image->image, true);
            faults[second].spoil(src.image, dst.image);
            faults[first].spoil(src.image, dst.image);
            const Fault& fault = faults[first];
            const int dither = fault.dither ? fault.dither : faults[second].dither ? faults[second].dither : 1;
            const std::vector<uint8_t> before = dst.bytes();
            Recorder recorder;
            vekReduceBits(&src.image, &dst.image, fault.jitter ? fault.jitter : faults[second].jitter, dither, 1);
            EXPECT_EQ(recorder.text(), fault.report) << first << " and " << second;
            ASSERT_FALSE(recorder.reports.empty());
            EXPECT_EQ(recorder.reports[0].file, "vekcolor");
            const bool isReduced = first + 1 == faults.size();
            EXPECT_EQ(dst.bytes() == before, !isReduced) << first;
        }
}

/* Refusals on tiles, and what of the walk is then done. 12 x 12 pixels in tiles of 8 x 8. */
TEST(Bits, RefusalsOnTiles)
{
    struct Row {
        uint32_t from, to;
        int dither, failAt;
        const char *report, *log;
        bool isBoth = false; /* the destination is the source too */
    };
    static const char *walk = "W 0,0; release 0,0; W 1,0; release 1,0; W 0,1; release 0,1; W 1,1; release 1,1",
                      *bad = "-5 ownReduceBits(Error out depth. 8U to 1U conversion is valid now)";
    const std::string four = std::string(bad) + "; " + bad + "; " + bad + "; " + bad;
    const Row rows[] = {
        {VEK_DEPTH_8U, VEK_DEPTH_8U, 1, -1, four.c_str(), walk},
        {VEK_DEPTH_8U, VEK_DEPTH_8U, 1, -1, four.c_str(), walk, true},
        {VEK_DEPTH_8U, VEK_DEPTH_8U, 8, -1, four.c_str(), walk},
        {VEK_DEPTH_8U, VEK_DEPTH_8U, 16, -1, four.c_str(), walk},
        {VEK_DEPTH_16U, VEK_DEPTH_1U, 8, -1, "-5 own_dither_tiled_errprop(errDepthForDithering)", walk},
        {VEK_DEPTH_16U, VEK_DEPTH_8U, 8, -1, "", walk},
        {VEK_DEPTH_16U, VEK_DEPTH_8U, 1, 1, "", "W 0,0; release 0,0; W 1,0"},
        {VEK_DEPTH_16U, VEK_DEPTH_8U, 2, 2, "", "W 0,0; release 0,0; W 1,0; release 1,0; W 0,1"},
    };
    for (const Row& row : rows) {
        Random random(66);
        ImageSpec spec;
        spec.width = spec.height = 12;
        spec.depth = row.to;
        TestImage dst(spec, random);
        spec.depth = row.from;
        TestImage src(spec, random);
        for (TestImage* image : {&src, &dst}) nameChannels(image->image, true);
        TiledImage tiles(dst, 8, 8);
        tiles.failAt = row.failAt;
        Recorder recorder;
        vekReduceBits(row.isBoth ? &tiles.image : &src.image, &tiles.image, 0, row.dither, 1);
        EXPECT_EQ(recorder.text(), row.report);
        EXPECT_EQ(tiles.logText(), row.log);
    }
}

TEST(Bits, ShortOfMemory)
{
    for (const bool tiled : {false, true})
        for (int jitter : {0, 3})
            for (int dither : {1, 2, 8, 16})
                for (int n = 0, failed = 1; failed; ++n) {
                    Random random(67);
                    ImageSpec spec;
                    TestImage dst(spec, random);
                    spec.depth = VEK_DEPTH_16U;
                    TestImage src(spec, random);
                    for (TestImage* image : {&src, &dst}) nameChannels(image->image, true);
                    TiledImage srcTiles(src, 8, 8), dstTiles(dst, 8, 8);
                    const int live = heapLive();
                    Recorder recorder;
                    heapFailAfter(n);
                    vekReduceBits(&srcTiles.image, tiled ? &dstTiles.image : &dst.image, jitter, dither, 1);
                    heapFailAfter(-1);
                    EXPECT_EQ(heapLive(), live);
                    failed = !recorder.reports.empty();
                    for (const Recorder::Report& report : recorder.reports)
                        EXPECT_EQ(report.context, "Out of memory") << report.status;
                    ASSERT_LT(n, 100);
                }
}

/* ---- Kernels ---------------------------------------------------------------------------------------------------------- */

template <class S> void checkRuns(const OwnRow* rows, Random& random)
{
    for (int slot : {OWN_1U, OWN_8U, OWN_16U}) {
        if (!rows[slot].run) continue;
        const ptrdiff_t bits = slot == OWN_1U ? 1 : slot == OWN_8U ? 8 : 16;
        for (ptrdiff_t n = 0; n < 150; ++n) {
            GuardedBlock in((size_t)std::max<ptrdiff_t>(n, 1) * sizeof(S));
            GuardedBlock out((size_t)std::max<ptrdiff_t>((n * bits + 7) / 8, 1));
            for (size_t i = 0; i < in.bytes; ++i) in.data[i] = (uint8_t)(draw(random, 0, 2) ? random() : 0x7F + i % 2);
            std::vector<uint8_t> plain(out.bytes);
            rows[slot].plain(plain.data(), in.data, nullptr, n, nullptr);
            rows[slot].run(out.data, in.data, nullptr, n, nullptr);
            for (ptrdiff_t i = 0; i < n * bits; ++i)
                ASSERT_EQ(out.data[i / 8] >> (7 - i % 8) & 1, plain[(size_t)i / 8] >> (7 - i % 8) & 1)
                    << slot << " " << n;
        }
    }
}

TEST(Bits, PackedRunsEqualThePlainLoops)
{
    Random random(68);
    checkRuns<uint8_t>(ownReduceRows8U, random);
    checkRuns<uint16_t>(ownReduceRows16U, random);
    checkRuns<int32_t>(ownReduceRows32S, random);
}

/* Bands of every height, one below the other: samples and the errors left over. */
TEST(Bits, BandsEqualThePlainLoops)
{
    Random random(69);
    for (int i = 0; i < 600; ++i) {
        const int slot = draw(random, 0, 1) ? OWN_8U : OWN_16U, bits = slot == OWN_8U ? 8 : 16;
        const int ditherType = 2 << draw(random, 0, 2), step = draw(random, 1, 3);
        const ptrdiff_t n = draw(random, 0, 2) ? draw(random, 1, 300) : draw(random, 1, 8);
        const OwnBandRow& row = (ditherType == 2 ? ownNearRows : ownWideRows)[slot];
        const ptrdiff_t rowBytes = n * step * bits / 8;
        std::vector<int16_t> errors[2] = {std::vector<int16_t>(3 * (size_t)(n + 4)), {}};
        for (int y = 0; y < 2; ++y)
            for (ptrdiff_t x = 0; x < n; ++x)
                errors[0][(size_t)(y * (n + 4) + 2 + x)] = (int16_t)draw(random, -(1 << (bits - 1)) + 1,
                                                                         (1 << (bits - 1)) - 1);
        errors[1] = errors[0];
        OwnBand band[2];
        for (int k = 0; k < 2; ++k) {
            band[k] = {nullptr, rowBytes, step * bits / 8, 0, n, {}, 0, ownSharesOf(ditherType)};
            for (int r = 0; r < 3; ++r) band[k].errors[r] = errors[k].data() + r * (n + 4) + 2;
            band[k].dropped = ownDroppedBits(bits, i % (bits + 1));
        }
        for (int part = 0; part < 3; ++part) {
            const int nRows = draw(random, 0, 1) ? (int)OWN_BAND_ROWS : draw(random, 1, OWN_BAND_ROWS);
            GuardedBlock one((size_t)(nRows * rowBytes)), two((size_t)(nRows * rowBytes));
            for (size_t j = 0; j < one.bytes; ++j) one.data[j] = two.data[j] = (uint8_t)random();
            band[0].samples = one.data, band[1].samples = two.data;
            band[0].nRows = band[1].nRows = nRows;
            row.run(band[0]);
            row.plain(band[1]);
            ASSERT_EQ(memcmp(one.data, two.data, one.bytes), 0)
                << slot << " " << ditherType << " " << n << " x " << nRows;
            for (int r = 0; r < 2; ++r)
                ASSERT_EQ(memcmp(band[0].errors[r] - 2, band[1].errors[r] - 2, (size_t)(n + 4) * 2), 0)
                    << slot << " " << ditherType << " " << n << " x " << nRows << " row " << r;
        }
    }
}

} // namespace
