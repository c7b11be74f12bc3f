/* The scaled multiplies and the compositing operators: on all pairs of bytes, as kernels against their plain loops, and over
 * random headers, held against a model that goes pixel by pixel. */
#include "compose/owncompose.h"
#include "ownsimd.h"
#include "support/parts.h"

#include <gtest/gtest.h>

#include <math.h>

namespace {

/* ---- What is stated ---------------------------------------------------------------------------------------------- */

int64_t mul(int64_t a, int64_t b, int bits) { return (a * b + (a * b >> bits) + 1) >> bits; }

int64_t statedFixed(int type, bool isPremul, int64_t a, int64_t b, int64_t aA, int64_t aB, int bits)
{
    const int64_t most = (1 << bits) - 1;
    if (!isPremul) a = mul(a, aA, bits), b = mul(b, aB, bits);
    switch (type) {
    case COMPOSITE_OVER: return std::min(a + b - mul(b, aA, bits), most);
    case COMPOSITE_IN: return mul(a, aB, bits);
    case COMPOSITE_OUT: return a - mul(aB, a, bits);
    case COMPOSITE_ATOP: return std::min(mul(a, aB, bits) + b - mul(b, aA, bits), most);
    case COMPOSITE_XOR: return std::min(a - mul(aB, a, bits) + b - mul(b, aA, bits), most);
    }
    return std::min(a + b, most);
}

int64_t statedAlpha(int type, int64_t aA, int64_t aB, int bits)
{
    const int64_t most = (1 << bits) - 1, m = mul(aA, aB, bits);
    const int64_t alpha[] = {aA + aB - m, m, aA - m, aB, aA + aB - 2 * m, aA + aB};
    return std::min(alpha[type], most);
}

/* The divided result in double, before it is rounded; negative where the alpha is too near the limit to tell. */
double exactDivided(int type, bool isPremul, double a, double b, double aA, double aB, int bits)
{
    const double most = (1 << bits) - 1, fa = aA / most, fb = aB / most;
    if (!isPremul) a *= fa, b *= fb;
    const double colour[] = {
        a + b * (1 - fa), a * fb, a * (1 - fb), a * fb + b * (1 - fa), a * (1 - fb) + b * (1 - fa), a + b};
    const double alpha[] = {fa + fb - fa * fb, fa * fb, fa * (1 - fb), fb, fa + fb - 2 * fa * fb, fa + fb};
    if (alpha[type] > 1e-7 && alpha[type] < 1e-4) return -1;
    return std::min(alpha[type] > 7e-6 ? colour[type] / alpha[type] : colour[type], most);
}

/* ---- Kernels ------------------------------------------------------------------------------------------------------ */

std::vector<std::pair<std::string, const OwnBlendKernel*>> allKernels()
{
    std::vector<std::pair<std::string, const OwnBlendKernel*>> kernels;
    for (int type = 0; type < OWN_COMPOSITES; ++type)
        for (int premul = 0; premul < 2; ++premul) {
            const std::string name = std::to_string(type) + " premul " + std::to_string(premul);
            kernels.push_back({"operator " + name, ownCompositeKernels[type][premul]});
            kernels.push_back({"divided " + name, ownDivideKernels[type][premul]});
        }
    kernels.push_back({"scale", ownScaleKernels});
    kernels.push_back({"scale by alpha", ownScaleAlphaKernels});
    return kernels;
}

/* Each run around the vector's length, at unaligned starts, apart and over its operands, with and without write lanes, with
 * operands that repeat, and with alphas in pixels of four. */
TEST(ComposeKernels, PackedEqualsPlain)
{
    enum { OUT, A, B, ALPHA_A, ALPHA_B, WRITE, RUNS };
    Random random(7);
    for (const auto& [name, kernel] : allKernels())
        for (int slot = 0; slot < OWN_BLEND_DEPTHS; ++slot)
            for (ptrdiff_t any = 0; any <= 3 * OWN_VEC_BYTES + 4; any += any < 9 ? 1 : 1 + draw(random, 0, 5))
                for (int over : {OUT, A, B, ALPHA_A}) {
                    const bool isFourth = draw(random, 0, 2) == 0, writes = isFourth || draw(random, 0, 1);
                    const ptrdiff_t n = isFourth ? any & ~3 : any;
                    const size_t size = slot == OWN_BLEND_8U ? 1 : 2, bytes = (size_t)n * size;
                    bool repeats[RUNS] = {};
                    for (int i : {ALPHA_A, ALPHA_B, WRITE}) repeats[i] = i != over && draw(random, 0, 1);
                    std::vector<std::unique_ptr<GuardedBlock>> run;
                    for (int i = 0; i < RUNS; ++i) {
                        const size_t all = repeats[i] ? OWN_VEC_BYTES : bytes, period = isFourth ? 4 * size : size;
                        run.push_back(std::make_unique<GuardedBlock>(all));
                        uint8_t* data = run[i]->data;
                        for (size_t k = 0; k < all; ++k) data[k] = (uint8_t)(draw(random, 0, 4) ? random() : 255);
                        for (size_t k = 0; k < all / size && i == WRITE; ++k)
                            memset(data + k * size, draw(random, 0, 1) ? 255 : 0, size);
                        for (size_t k = period; k < all && repeats[i]; ++k) data[k] = data[k - period];
                    }
                    std::vector<uint8_t> result[2];
                    for (int plain = 0; plain < 2; ++plain) {
                        std::vector<uint8_t> kept(run[over]->data, run[over]->data + bytes);
                        (plain ? kernel[slot].plain
                               : kernel[slot].run)({run[over]->data, run[A]->data, run[B]->data, run[ALPHA_A]->data,
                                                    run[ALPHA_B]->data, writes ? run[WRITE]->data : nullptr, n,
                                                    repeats[ALPHA_A], repeats[ALPHA_B], repeats[WRITE], isFourth});
                        result[plain].assign(run[over]->data, run[over]->data + bytes);
                        std::copy(kept.begin(), kept.end(), run[over]->data);
                    }
                    ASSERT_EQ(result[0], result[1]) << name << " slot " << slot << " n=" << n << " over " << over
                                                    << " fourth " << isFourth << " writes " << writes;
                }
}

/* ---- Numbers ------------------------------------------------------------------------------------------------------ */

std::unique_ptr<TestImage> makeImage(uint32_t depth, int32_t nChannels, bool hasAlpha, int32_t width, int32_t height)
{
    Random random(1);
    ImageSpec spec;
    spec.depth = depth;
    spec.nChannels = nChannels;
    spec.hasAlpha = hasAlpha;
    spec.width = width;
    spec.height = height;
    return std::make_unique<TestImage>(spec, random);
}

TEST(Scale, AllPairsOfBytes)
{
    const auto a = makeImage(VEK_DEPTH_8U, 1, false, 256, 256), b = makeImage(VEK_DEPTH_8U, 1, false, 256, 256),
               d = makeImage(VEK_DEPTH_8U, 1, false, 256, 256);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            setSample(a->image, a->block.data, x, y, 0, x);
            setSample(b->image, b->block.data, x, y, 0, y);
        }
    vekMultiplyScale(&a->image, &b->image, &d->image);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) ASSERT_EQ(d->get(x, y, 0), mul(x, y, 8)) << x << " " << y;
    for (const int value : {-5, 0, 1, 128, 255, 300}) {
        vekMultiplySScale(&a->image, &d->image, value);
        for (int x = 0; x < 256; ++x)
            ASSERT_EQ(d->get(x, 3, 0), mul(x, std::clamp(value, 0, 255), 8)) << x << " " << value;
    }
}

TEST(Scale, EdgesOf16Bits)
{
    std::vector<int64_t> edges;
    for (int64_t e : {0, 255, 256, 32767, 32768, 65280, 65535})
        for (int64_t near : {-2, -1, 0, 1, 2})
            if (e + near >= 0 && e + near <= 65535) edges.push_back(e + near);
    const int32_t n = (int32_t)edges.size();
    const auto a = makeImage(VEK_DEPTH_16U, 1, false, n, n), b = makeImage(VEK_DEPTH_16U, 1, false, n, n);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            setSample(a->image, a->block.data, x, y, 0, edges[(size_t)x]);
            setSample(b->image, b->block.data, x, y, 0, edges[(size_t)y]);
        }
    vekMultiplyScale(&a->image, &b->image, &b->image);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x)
            ASSERT_EQ(b->get(x, y, 0), mul(edges[(size_t)x], edges[(size_t)y], 16))
                << edges[(size_t)x] << " " << edges[(size_t)y];
}

/* The divided result lies next to the one worked out in double. */
TEST(Composite, DivisionIsNearExact)
{
    Random random(11);
    for (const int bits : {8, 16}) {
        const int most = (1 << bits) - 1;
        for (int i = 0; i < 60000; ++i) {
            const int type = draw(random, 0, 5), isPremul = draw(random, 0, 1);
            const auto sample = [&] { return draw(random, 0, 4) ? draw(random, 0, most) : draw(random, 0, 1) * most; };
            const uint16_t a = (uint16_t)sample(), b = (uint16_t)sample(), aA = (uint16_t)sample(),
                           aB = (uint16_t)sample();
            const uint8_t bytes[4] = {(uint8_t)a, (uint8_t)b, (uint8_t)aA, (uint8_t)aB};
            uint8_t out8 = 0;
            uint16_t out16 = 0;
            if (bits == 8)
                ownDivideKernels[type][isPremul][0].run({&out8, bytes, bytes + 1, bytes + 2, bytes + 3, nullptr, 1});
            else ownDivideKernels[type][isPremul][1].run({&out16, &a, &b, &aA, &aB, nullptr, 1});
            const double exact = exactDivided(type, isPremul, a, b, aA, aB, bits), got = bits == 8 ? out8 : out16;
            if (exact < 0) continue;
            /* Where the alpha is small single precision has lost some of it. */
            const double slack = 0.5 + (bits == 8 ? 0.001 : exact / 65535 * 4 + 0.02);
            ASSERT_LE(fabs(got - exact), std::max(slack, bits == 8 ? 0.51 : 1.0) + (type == COMPOSITE_XOR ? bits : 0))
                << type << " premul " << isPremul << ": " << a << " " << b << " alphas " << aA << " " << aB;
        }
    }
}

/* ---- The model ---------------------------------------------------------------------------------------------------- */

/* A call: numbers of images in a pool, -1 for none. */
struct Call {
    enum Kind { MULTIPLY, MULTIPLY_S, PREMULTIPLY, COMPOSITE_C, COMPOSITE } kind;
    int dst, a, b, alphaA = -1, alphaB = -1, alphaDst = -1;
    int32_t type, valueA, valueB, premul, divide;
};
typedef std::vector<std::unique_ptr<TestImage>> Pool;

/* What one sample becomes; dividing calls are only followed in whole, by the kernel that is tested above. */
int64_t statedSample(const Call& call, int slot, int64_t a, int64_t b, int64_t aA, int64_t aB)
{
    const int bits = slot == OWN_BLEND_8U ? 8 : 16;
    if (call.kind == Call::MULTIPLY) return mul(a, b, bits);
    if (call.kind == Call::MULTIPLY_S || call.kind == Call::PREMULTIPLY) return mul(a, aA, bits);
    if (!call.divide) return statedFixed(call.type, call.premul, a, b, aA, aB, bits);
    uint16_t in[4] = {(uint16_t)a, (uint16_t)b, (uint16_t)aA, (uint16_t)aB}, out = 0;
    for (uint16_t& x : in)
        if (slot == OWN_BLEND_8U) *(uint8_t*)&x = (uint8_t)x;
    ownDivideKernels[call.type][call.premul][slot].plain({&out, in, in + 1, in + 2, in + 3, nullptr, 1});
    return out;
}

/* The pool's bytes after the call. */
std::vector<std::vector<uint8_t>> model(const Call& call, const Pool& pool)
{
    std::vector<std::vector<uint8_t>> bytes;
    for (const auto& image : pool) bytes.push_back(image->bytes());
    std::vector<int> used = {call.dst, call.a};
    for (const int i : {call.b, call.alphaA, call.alphaB, call.alphaDst})
        if (i >= 0) used.push_back(i);
    int64_t width = INT32_MAX, height = INT32_MAX;
    for (const int i : used)
        for (const TestImage* each :
             {(const TestImage*)pool[(size_t)i].get(), (const TestImage*)pool[(size_t)i]->mask.get()})
            if (each) {
                width = std::min(width, areaOf(each->image).width);
                height = std::min(height, areaOf(each->image).height);
            }
    const auto get = [&](int i, int64_t x, int64_t y, int32_t channel) {
        return regionSample(*pool[(size_t)i], x, y, channel);
    };
    const auto set = [&](int i, int64_t x, int64_t y, int32_t channel, int64_t value) {
        const Area area = areaOf(pool[(size_t)i]->image);
        setSample(pool[(size_t)i]->image, bytes[(size_t)i].data(), (int32_t)(area.x + x), (int32_t)(area.y + y),
                  channel, value);
    };
    const auto alphaOf = [&](int i, int64_t x, int64_t y) {
        return get(i, x, y, std::max(pool[(size_t)i]->image.alphaChannel, 1) - 1);
    };
    const int slot = ownBlendSlot(&pool[(size_t)call.dst]->image), bits = slot ? 16 : 8;
    const int64_t most = (1 << bits) - 1;

    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) {
            bool isLet = true;
            for (const int i : used) isLet = isLet && isThrough(*pool[(size_t)i], x, y);
            if (!isLet) continue;
            int64_t aA = std::clamp<int64_t>(call.valueA, 0, most), aB = std::clamp<int64_t>(call.valueB, 0, most);
            if (call.kind == Call::COMPOSITE) {
                aA = alphaOf(call.alphaA >= 0 ? call.alphaA : call.a, x, y);
                aB = call.alphaB >= 0 ? alphaOf(call.alphaB, x, y) : most - aA;
            } else {
                if (call.valueA < 0 && call.kind >= Call::PREMULTIPLY) aA = alphaOf(call.a, x, y);
                if (call.valueB < 0 && call.kind == Call::COMPOSITE_C) aB = alphaOf(call.b, x, y);
            }
            const auto channels = [&](int i) { return channelsOf(pool[(size_t)i]->image); };
            const std::vector<int32_t> to = channels(call.dst), fromA = channels(call.a),
                                       fromB = channels(call.b >= 0 ? call.b : call.a);
            for (size_t c = 0; c < to.size(); ++c)
                set(call.dst, x, y, to[c],
                    statedSample(call, slot, get(call.a, x, y, fromA[c]), call.b >= 0 ? get(call.b, x, y, fromB[c]) : 0,
                                 aA, aB));
            if (call.alphaDst >= 0)
                set(call.alphaDst, x, y, pool[(size_t)call.alphaDst]->image.alphaChannel - 1,
                    statedAlpha(call.type, aA, aB, bits));
        }
    return bytes;
}

/* ---- Random headers ------------------------------------------------------------------------------------------------- */

/* An image of the pool: `nColours` of them, or with a channel of interest, or of any channels when it only brings alpha. */
std::unique_ptr<TestImage> drawImage(Random& random, uint32_t depth, int32_t nColours, bool hasCoi, int alpha,
                                     int32_t width, int32_t height)
{
    ImageSpec spec;
    spec.depth = depth;
    spec.hasAlpha = alpha < 0 ? draw(random, 0, 1) : alpha;
    spec.nChannels = nColours + spec.hasAlpha;
    spec.dataOrder = draw(random, 0, 3) == 0;
    spec.width = width + draw(random, 0, 3);
    spec.height = height + draw(random, 0, 3);
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 2) ? 0 : draw(random, 0, 9);
    spec.atEnd = draw(random, 0, 1);
    auto image = std::make_unique<TestImage>(spec, random);
    if (hasCoi) drawRegion(*image, random, draw(random, 1, nColours));
    else if (draw(random, 0, 1)) drawRegion(*image, random, 0);
    if (draw(random, 0, 3) == 0) image->setMask(drawMask(image->image, random));
    if (draw(random, 0, 2) == 0) /* long runs of the ends of the range */
        for (size_t i = 0; i < image->block.bytes; ++i)
            if (random() & 1) image->block.data[i] = random() & 1 ? 255 : 0;
    return image;
}

void run(const Call& call, const std::vector<VekImage*>& header)
{
    const auto at = [&](int i) { return i < 0 ? nullptr : header[(size_t)i]; };
    VekImage *d = at(call.dst), *a = at(call.a), *b = at(call.b);
    switch (call.kind) {
    case Call::MULTIPLY: return vekMultiplyScale(a, b, d);
    case Call::MULTIPLY_S: return vekMultiplySScale(a, d, call.valueA);
    case Call::PREMULTIPLY: return vekPreMultiplyAlpha(d, call.valueA);
    case Call::COMPOSITE_C:
        return vekAlphaCompositeC(a, b, d, call.type, call.valueA, call.valueB, call.premul, call.divide);
    case Call::COMPOSITE:
        return vekAlphaComposite(a, b, d, call.type, at(call.alphaA), at(call.alphaB), at(call.alphaDst), call.premul,
                                 call.divide);
    }
}

void runSeed(uint32_t seed)
{
    Random random(seed);
    Call call = {};
    call.kind = (Call::Kind)draw(random, 0, 4);
    const uint32_t depth = draw(random, 0, 1) ? VEK_DEPTH_8U : VEK_DEPTH_16U;
    const int32_t nColours = draw(random, 0, 9) ? draw(random, 1, 4) : draw(random, 5, 9);
    const bool hasCoi = draw(random, 0, 4) == 0, isTiled = draw(random, 0, 2) == 0;
    int32_t width = draw(random, 1, 40), height = draw(random, 1, 30);
    if (!isTiled && draw(random, 0, 9) == 0) width = draw(random, 200, 2300), height = 2;
    const bool ownA = draw(random, 0, 1), ownB = draw(random, 0, 1); /* alphas that the sources must have */
    call.type = draw(random, 0, 5);
    call.premul = draw(random, 0, 1);
    call.divide = draw(random, 0, 3) == 0;
    call.valueA = ownA ? -1 : draw(random, 0, 300);
    call.valueB = ownB ? -3 : draw(random, 0, 70000);

    Pool pool;
    const auto add = [&](int alpha) {
        pool.push_back(drawImage(random, depth, nColours, hasCoi, alpha, width, height));
        return (int)pool.size() - 1;
    };
    const bool readsOwn = call.kind == Call::COMPOSITE_C || call.kind == Call::COMPOSITE ||
                          call.kind == Call::PREMULTIPLY;
    call.a = add(ownA && readsOwn ? 1 : -1);
    call.b = call.kind == Call::MULTIPLY || call.kind >= Call::COMPOSITE_C
                 ? add(ownB && call.kind == Call::COMPOSITE_C ? 1 : -1)
                 : -1;
    call.dst = call.kind == Call::PREMULTIPLY || draw(random, 0, 4) == 0 ? call.a
               : call.b >= 0 && draw(random, 0, 4) == 0                  ? call.b
                                                                         : add(-1);
    if (call.kind == Call::COMPOSITE) {
        const auto drawAlpha = [&]() { return draw(random, 0, 3) ? add(-1) : draw(random, 0, 1) ? call.dst : call.b; };
        if (!ownA) call.alphaA = drawAlpha();
        if (!ownB) call.alphaB = drawAlpha();
        const auto hasAlpha = [&](int i) { return i >= 0 && pool[(size_t)i]->image.alphaChannel; };
        if (draw(random, 0, 1)) {
            const int other[] = {call.dst, call.a, call.alphaA, call.alphaB};
            const int same = other[draw(random, 0, 3)];
            call.alphaDst = draw(random, 0, 2) == 0 && hasAlpha(same) ? same : add(1);
        }
    }

    std::vector<std::unique_ptr<TiledImage>> tiled(pool.size());
    std::vector<VekImage*> header;
    std::string text = "seed " + std::to_string(seed) + " kind " + std::to_string(call.kind) + " type " +
                       std::to_string(call.type);
    for (size_t i = 0; i < pool.size(); ++i) {
        if (isTiled && draw(random, 0, 1))
            tiled[i] = std::make_unique<TiledImage>(*pool[i], 8 * draw(random, 1, 3), 8 * draw(random, 1, 2));
        header.push_back(tiled[i] ? &tiled[i]->image : &pool[i]->image);
    }
    SCOPED_TRACE(text);
    const std::vector<std::vector<uint8_t>> expected = model(call, pool);
    const int live = heapLive();
    Recorder recorder;
    run(call, header);
    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(heapLive(), live);
    for (size_t i = 0; i < pool.size(); ++i) {
        const std::vector<uint8_t> now = pool[i]->bytes();
        const auto differ = std::mismatch(now.begin(), now.end(), expected[i].begin());
        ASSERT_TRUE(differ.first == now.end())
            << "image " << i << " (dst " << call.dst << ") byte " << differ.first - now.begin() << ": "
            << (int)*differ.first << ", not " << (int)*differ.second;
        if (!tiled[i]) continue;
        ASSERT_FALSE(tiled[i]->isOpen()) << tiled[i]->logText();
        ASSERT_EQ(tiled[i]->logText().find("BAD"), std::string::npos) << tiled[i]->logText();
    }
}

TEST(Compose, RandomHeadersAsTheModel)
{
    for (uint32_t seed = 0; seed < 6000; ++seed) {
        runSeed(seed);
        if (HasFatalFailure()) return;
    }
}

/* ---- Tiles ----------------------------------------------------------------------------------------------------------- */

/* The grid is that of the first tiled image; another one whose tiles a block crosses is copied, a writer read and then
 * written back. */
TEST(Compose, BlocksOnTheFirstGrid)
{
    Random random(3);
    ImageSpec spec;
    spec.width = spec.height = 16;
    TestImage a(spec, random), d(spec, random);
    a.setRoi(0, 4, 0, 12, 8);
    d.setRoi(0, 0, 0, 12, 8);
    TiledImage tiledA(a, 8, 8), tiledD(d, 16, 16);
    vekMultiplySScale(&tiledA.image, &tiledD.image, 99);
    EXPECT_EQ(tiledD.logText(), "W 0,0; release 0,0");
    EXPECT_EQ(tiledA.logText(), "R 0,0; release 0,0; R 1,0; release 1,0");

    TestImage wide(spec, random), narrow(spec, random);
    narrow.setRoi(0, 4, 0, 12, 8);
    TiledImage grid(wide, 8, 8), crossed(narrow, 8, 16);
    VekImage* alphaDst = &crossed.image;
    alphaDst->alphaChannel = 1;
    vekAlphaComposite(&grid.image, &grid.image, &grid.image, COMPOSITE_PLUS, &grid.image, &grid.image, alphaDst, 1, 0);
    EXPECT_EQ(grid.logText(), "W 0,0; release 0,0; W 1,0; release 1,0");
    EXPECT_EQ(crossed.logText(), "R 0,0; release 0,0; R 1,0; release 1,0; W 0,0; release 0,0; W 1,0; release 1,0; "
                                 "W 1,0; release 1,0");
}

/* Whichever tile is not delivered: one report, all tiles released. */
TEST(Compose, MissingTiles)
{
    for (int which = 0; which < 3; ++which)
        for (int failAt = 0; failAt < 4; ++failAt) {
            Random random(5);
            ImageSpec spec;
            TestImage a(spec, random), b(spec, random), d(spec, random);
            b.setRoi(0, 3, 3, 13, 13);
            TiledImage tiled[3] = {{a, 8, 8}, {b, 8, 8}, {d, 8, 8}};
            tiled[which].failAt = failAt;
            const std::vector<uint8_t> before = d.bytes();
            const int live = heapLive();
            Recorder recorder;
            vekMultiplyScale(&tiled[0].image, &tiled[1].image, &tiled[2].image);
            EXPECT_EQ(recorder.text(), "-2 vekMultiplyScale(ERROR in Tiling callBack)");
            EXPECT_EQ(heapLive(), live);
            if (failAt == 0) { EXPECT_EQ(d.bytes(), before); }
            for (const TiledImage& each : tiled) {
                EXPECT_FALSE(each.isOpen());
                EXPECT_EQ(each.logText().find("BAD"), std::string::npos);
            }
        }
}

/* A mask's own mask plays no part, also where masks are merged. */
TEST(Compose, MasksOfMasks)
{
    std::vector<uint8_t> result[2];
    for (const bool isMasked : {false, true}) {
        Random random(4);
        TestImage a(ImageSpec(), random), d(ImageSpec(), random);
        a.setMask(drawMask(a.image, random));
        d.setMask(drawMask(d.image, random));
        if (isMasked) a.mask->setMask(drawMask(a.mask->image, random));
        vekMultiplySScale(&a.image, &d.image, 77);
        result[isMasked] = d.bytes();
    }
    EXPECT_EQ(result[0], result[1]);
}

/* Each allocation fails in turn: the stated report, nothing kept, no pixel of the failing block changed. */
TEST(Compose, ShortMemory)
{
    Random random(6);
    ImageSpec spec;
    TestImage a(spec, random), d(spec, random);
    a.setRoi(0, 3, 3, 13, 13);
    a.setMask(drawMask(a.image, random));
    d.setMask(drawMask(d.image, random));
    int nReports = 0;
    for (int n = 0; n < 20; ++n) {
        TiledImage tiledA(a, 8, 8), tiledD(d, 16, 16);
        const std::vector<uint8_t> before = d.bytes();
        const int live = heapLive();
        Recorder recorder;
        heapFailAfter(n);
        vekMultiplySScale(&tiledA.image, &tiledD.image, 77);
        heapFailAfter(-1);
        EXPECT_EQ(heapLive(), live);
        EXPECT_FALSE(tiledA.isOpen() || tiledD.isOpen());
        if (recorder.reports.empty()) break;
        ++nReports;
        EXPECT_EQ(recorder.text(), "-4 vekMultiplySScale(No working memory)");
        EXPECT_EQ(d.bytes(), before);
    }
    EXPECT_GE(nReports, 3); /* the mask's header and pixels, and the private copy */
}

/* ---- Refusals ------------------------------------------------------------------------------------------------------- */

struct Fault {
    const char *name, *reports;
    std::function<void(VekImage& a, VekImage& b, VekImage& d, VekImage& alpha)> make;
    int32_t type = 0, aA = -1, premul = 1, divide = 0;
};

TEST(Compose, Refusals)
{
    static VekROI coi2 = {2, 0, 0, 9, 9}, coi0 = {0, 0, 0, 9, 9}, coi4 = {4, 0, 0, 9, 9};
    typedef VekImage& I;
    const char* const badType =
        "-5 *(compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 && "
        "compositeType != 4 && compositeType != 5)";
    const Fault faults[] = {
        {"d header", "-17 *(Incorrect Image)", [](I, I, I d, I) { d.depth = 9; }},
        {"a header", "-10 *(Incorrect Image)", [](I a, I, I, I) { a.width = 0; }},
        {"b before depth", "-10 *(Incorrect Image)", [](I, I b, I d, I) { b.width = 0, d.depth = 32; }},
        {"alpha only ends", "", [](I a, I, I d, I) { a.roi = &coi4, d.depth = 32; }},
        {"d depth", "-5 *(dstImage->depth != 8 && dstImage->depth != 16)",
         [](I, I, I d, I) { d.depth = VEK_DEPTH_8S; }},
        {"a depth", "-5 *(srcImageA->depth != dstImage->depth)", [](I a, I, I, I) { a.depth = 16; }},
        {"b depth", "-5 *(srcImageB->depth != dstImage->depth)", [](I, I b, I, I) { b.depth = 16, b.roi = &coi2; }},
        {"coi d", "-5 *(dstImage->roi->coi > 0 && srcImageA->roi == 0)", [](I, I, I d, I) { d.roi = &coi2; }},
        {"coi d, a 0", "-5 *(dstImage->roi->coi > 0 && srcImageA->roi->coi == 0)",
         [](I a, I, I d, I) { d.roi = &coi2, a.roi = &coi0; }},
        {"coi a", "-5 *(srcImageA->roi->coi > 0 && dstImage->roi == 0)", [](I a, I, I, I) { a.roi = &coi2; }},
        {"coi a, d 0", "-5 *(srcImageA->roi->coi > 0 && dstImage->roi->coi == 0)",
         [](I a, I, I d, I) { a.roi = &coi2, d.roi = &coi0; }},
        {"coi b", "-5 *(srcImageB->roi->coi > 0 && dstImage->roi == 0)", [](I, I b, I, I) { b.roi = &coi2; }},
        {"coi d, b", "-5 *(dstImage->roi->coi > 0 && srcImageB->roi == 0)",
         [](I a, I, I d, I) { d.roi = a.roi = &coi2; }},
        {"count a",
         "-5 *((srcImageA->nChannels - (srcImageA->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0)))",
         [](I a, I b, I, I) { a.alphaChannel = b.alphaChannel = 0; }},
        {"count b",
         "-5 *((srcImageB->nChannels - (srcImageB->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0)))",
         [](I, I b, I, I) { b.alphaChannel = 0; }},
        {"no alpha", "-5 *(srcImageA->alphaChannel < 1)",
         [](I a, I b, I d, I) { a.alphaChannel = b.alphaChannel = d.alphaChannel = 0; }, 6},
        {"type", badType, [](I, I, I, I) {}, 6, -1, 2},
        {"negative type", badType, [](I, I, I, I) {}, -1},
        {"premul", "-5 *(premulAlpha != 0 && premulAlpha != 1)", [](I, I, I, I) {}, 0, -1, 2, 2},
        {"divide", "-5 *(divideMode != 0 && divideMode != 1)", [](I, I, I, I) {}, 0, -1, 1, -1},
        {"none", "", [](I, I, I, I) {}},
        {"alpha header", "-20 +(Incorrect Image)", [](I, I, I, I alpha) { alpha.origin = 7; }},
        {"alpha depth", "-5 +(alphaImageDst->depth != dstImage->depth)", [](I, I, I, I alpha) { alpha.depth = 16; }},
        {"alpha none", "-5 +(alphaImageDst->alphaChannel < 1)", [](I, I, I, I alpha) { alpha.alphaChannel = 0; }},
    };
    for (const Fault& fault : faults)
        for (const bool withImages : {false, true}) {
            SCOPED_TRACE(std::string(fault.name) + (withImages ? " with images" : ""));
            Random random(9);
            ImageSpec spec;
            spec.nChannels = 4;
            spec.hasAlpha = true;
            TestImage a(spec, random), b(spec, random), d(spec, random), alpha(spec, random);
            const std::vector<uint8_t> before = d.bytes();
            std::string expected = fault.reports;
            const bool isAlphas = expected.find('+') != std::string::npos;
            if (isAlphas && !withImages) continue;
            fault.make(a.image, b.image, d.image, alpha.image);
            Recorder recorder;
            if (withImages)
                vekAlphaComposite(&a.image, &b.image, &d.image, fault.type, nullptr, nullptr, &alpha.image,
                                  fault.premul, fault.divide);
            else vekAlphaCompositeC(&a.image, &b.image, &d.image, fault.type, fault.aA, 9, fault.premul, fault.divide);
            const size_t at = expected.find_first_of("*+");
            if (at != std::string::npos)
                expected.replace(at, 1, withImages ? "vekAlphaComposite" : "vekAlphaCompositeC");
            EXPECT_EQ(recorder.text(), expected);
            if (std::string(fault.name) != "none") { EXPECT_EQ(d.bytes(), before); }
        }
}

TEST(Compose, RefusalsOfTheMultiplies)
{
    Random random(9);
    ImageSpec spec;
    TestImage a(spec, random), d(spec, random);
    const auto reports = [](const std::function<void()>& call) {
        Recorder recorder;
        call();
        return recorder.text();
    };
    EXPECT_EQ(reports([&] { vekMultiplyScale(nullptr, nullptr, nullptr); }), "-5 vekMultiplyScale(dstImage==0)");
    EXPECT_EQ(reports([&] { vekMultiplyScale(&a.image, nullptr, &d.image); }), "-5 vekMultiplyScale(srcImageB==0)");
    EXPECT_EQ(reports([&] { vekMultiplySScale(nullptr, &d.image, 1); }), "-5 vekMultiplySScale(srcImage==0)");
    EXPECT_EQ(reports([&] { vekPreMultiplyAlpha(nullptr, 1); }), "-5 vekPreMultiplyAlpha(image==0)");
    EXPECT_EQ(reports([&] { vekPreMultiplyAlpha(&a.image, -1); }), "-5 vekPreMultiplyAlpha(image->alphaChannel < 1)");
    EXPECT_EQ(reports([&] { vekAlphaCompositeC(nullptr, nullptr, nullptr, 0, 0, 0, 0, 0); }),
              "-5 vekAlphaCompositeC(dstImage==0)");
    a.image.depth = VEK_DEPTH_16S;
    EXPECT_EQ(reports([&] { vekPreMultiplyAlpha(&a.image, -1); }),
              "-5 vekPreMultiplyAlpha(image->depth != 8 && image->depth != 16)");
    EXPECT_EQ(reports([&] { vekMultiplySScale(&a.image, &d.image, 1); }),
              "-5 vekMultiplySScale(srcImage->depth != dstImage->depth)");
}

} // namespace
