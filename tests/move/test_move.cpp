/* Moving, converting, mirroring, thresholding and comparing over random headers, held against the naive model. */
#include "move/move_model.h"

#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>

namespace {

/* ---- One call ------------------------------------------------------------------------------------------------------ */

/* Two images of a call, with tiles or without, and what must be in them after it. */
struct Pair {
    Random& random;
    std::unique_ptr<TestImage> src, dst;
    std::unique_ptr<TiledImage> tiledSrc, tiledDst;
    bool inPlace = false;

    Moved from() const { return inPlace ? to() : Moved{src.get(), tiledSrc != nullptr}; }
    Moved to() const { return {dst.get(), tiledDst != nullptr}; }
    VekImage* a() const { return inPlace ? b() : tiledSrc ? &tiledSrc->image : &src->image; }
    VekImage* b() const { return tiledDst ? &tiledDst->image : &dst->image; }

    void tile()
    {
        if (draw(random, 0, 2)) return;
        const auto make = [&](TestImage& image) {
            return std::make_unique<TiledImage>(image, 8 * draw(random, 1, 3), 8 * draw(random, 1, 2));
        };
        const int which = draw(random, 1, 3);
        if (which & 1) tiledSrc = make(*src);
        if (which & 2) tiledDst = make(*dst);
    }
};

/* What the call must make of the two images' bytes. */
typedef std::pair<std::vector<uint8_t>, std::vector<uint8_t>> Expected;

struct MoveOperation {
    const char* name;
    /* Draws the images, says what is expected, and gives the call. */
    std::function<std::function<void()>(Pair&, Expected&)> set;
};

static DrawSpec drawSpec(Random& random, int lastSlot)
{
    DrawSpec spec = {draw(random, 0, lastSlot), 1, draw(random, 0, 1)};
    spec.nColours = spec.slot == OWN_1U ? 1 : draw(random, 1, 4);
    if (spec.slot != OWN_1U && draw(random, 0, 19) == 0) spec.nColours = 11;
    return spec;
}

static void drawBoth(Pair& pair, DrawSpec spec)
{
    if (draw(pair.random, 0, 1)) spec.width = drawLength(pair.random), spec.height = drawLength(pair.random);
    pair.src = drawMoved(spec, pair.random);
    pair.dst = drawMoved(spec, pair.random);
    pair.tile();
}

static const MoveOperation operations[] = {
    {"vekCopy",
     [](Pair& p, Expected& expected) {
         drawBoth(p, drawSpec(p.random, OWN_32F));
         expected.second = naiveMove(p.from(), p.to(), {});
         return [&] { vekCopy(p.a(), p.b()); };
     }},
    {"vekExchange",
     [](Pair& p, Expected& expected) {
         drawBoth(p, drawSpec(p.random, OWN_32F));
         expected = {naiveMove(p.to(), p.from(), {}), naiveMove(p.from(), p.to(), {})};
         return [&] { vekExchange(p.a(), p.b()); };
     }},
    {"vekSet",
     [](Pair& p, Expected& expected) {
         drawBoth(p, drawSpec(p.random, OWN_32S));
         const int32_t values[] = {0, 1, -1, 255, 300, -129, 70000, -70000, INT32_MAX, INT32_MIN};
         const int32_t value = values[draw(p.random, 0, 9)];
         const uint32_t depth = p.dst->image.depth;
         expected.second = naiveMove(p.to(), p.to(), {2, false, [=](int64_t) { return heldToDepth(depth, value); }});
         return [&p, value] { vekSet(p.b(), value); };
     }},
    {"vekSetFP",
     [](Pair& p, Expected& expected) {
         DrawSpec spec = drawSpec(p.random, OWN_32F);
         spec.slot = OWN_32F;
         drawBoth(p, spec);
         const float value = (float)draw(p.random, -9, 9) / 8;
         expected.second = naiveMove(p.to(), p.to(),
                                     {2, false, [=](int64_t) { return std::bit_cast<int32_t>(value); }});
         return [&p, value] { vekSetFP(p.b(), value); };
     }},
    {"vekConvert",
     [](Pair& p, Expected& expected) {
         const bool toBits = draw(p.random, 0, 3) == 0;
         DrawSpec spec = drawSpec(p.random, OWN_32S);
         spec.isPlain = true;
         spec.dataOrder = -1;
         spec.width = drawLength(p.random), spec.height = drawLength(p.random);
         if (toBits) spec.slot = draw(p.random, OWN_8U, OWN_32S);
         p.src = drawMoved(spec, p.random);
         int32_t channel = -1;
         if (toBits) {
             channel = spec.nColours == 1 && draw(p.random, 0, 1) ? 0 : draw(p.random, 0, spec.nColours - 1);
             if (spec.nColours > 1 || channel) p.src->setRoi(channel + 1, 1, 2, 3, 4);
             spec.nColours = 1;
         }
         if (spec.slot != OWN_1U) spec.slot = toBits ? (int)OWN_1U : draw(p.random, OWN_8U, OWN_32S);
         p.dst = drawMoved(spec, p.random);
         p.src->image.origin = draw(p.random, 0, 1);
         p.dst->image.origin = draw(p.random, 0, 1);
         /* Samples near the ends of the ranges of narrower depths. */
         if (p.src->image.depth == VEK_DEPTH_32S)
             for (size_t i = 0; i + 4 <= p.src->block.bytes; i += 4) {
                 const int32_t value = draw(p.random, -70000, 70000) >> draw(p.random, 0, 10);
                 if (draw(p.random, 0, 3)) memcpy(p.src->block.data + i, &value, 4);
             }
         p.tile();
         const uint32_t depth = p.dst->image.depth;
         expected.second = naiveWhole(*p.src, *p.dst, channel,
                                      [=](int64_t a) { return toBits ? a > 0 : heldToDepth(depth, a); });
         /* Whole bytes come from the source, be it a tile; a destination's tile brings back pixels alone. */
         if (depth == VEK_DEPTH_1U && !toBits && !p.tiledDst)
             for (int32_t y = 0; y < p.dst->image.height; ++y) {
                 const int32_t row = p.src->image.origin == p.dst->image.origin ? y : p.dst->image.height - 1 - y;
                 for (int32_t x = spec.width; x & 7; ++x)
                     setSample(p.dst->image, expected.second.data(), x, y, 0,
                               p.tiledSrc ? TILE_FILL >> (7 - (x & 7)) : p.src->get(x, row, 0));
             }
         return [&] { vekConvert(p.a(), p.b()); };
     }},
    {"vekBitonalToGray",
     [](Pair& p, Expected& expected) {
         DrawSpec spec = {OWN_1U, 1, draw(p.random, 0, 1)};
         spec.isPlain = true;
         spec.width = drawLength(p.random), spec.height = drawLength(p.random);
         p.src = drawMoved(spec, p.random);
         spec.slot = draw(p.random, OWN_8U, OWN_32S);
         spec.nColours = draw(p.random, 1, 4);
         p.dst = drawMoved(spec, p.random);
         p.src->image.origin = draw(p.random, 0, 1);
         p.dst->image.alphaChannel = draw(p.random, 0, 1) * spec.nColours;
         p.tile();
         const uint32_t depth = p.dst->image.depth;
         const int32_t zero = (int32_t)heldToDepth(depth, (int32_t)p.random()),
                       one = (int32_t)heldToDepth(depth, draw(p.random, -100, 100));
         expected.second = naiveWhole(*p.src, *p.dst, 0, [=](int64_t bit) { return bit ? one : zero; });
         return [&p, zero, one] { vekBitonalToGray(p.a(), p.b(), zero, one); };
     }},
    {"vekMirror",
     [](Pair& p, Expected& expected) {
         DrawSpec spec = drawSpec(p.random, OWN_32S);
         spec.dataOrder = -1;
         spec.picksAlpha = true;
         drawBoth(p, spec);
         p.inPlace = draw(p.random, 0, 2) == 0;
         const int axis = draw(p.random, -1, 1);
         expected.second = naiveMove(p.from(), p.to(), {axis, spec.slot == OWN_1U});
         return [&p, axis] { vekMirror(p.a(), p.b(), axis); };
     }},
    {"vekThreshold",
     [](Pair& p, Expected& expected) {
         DrawSpec spec = drawSpec(p.random, OWN_32S);
         spec.slot = draw(p.random, OWN_8U, OWN_32S);
         if (draw(p.random, 0, 1)) spec.width = drawLength(p.random), spec.height = drawLength(p.random);
         p.src = drawMoved(spec, p.random);
         if (draw(p.random, 0, 1)) spec.slot = draw(p.random, OWN_1U, OWN_32S);
         if (spec.slot == OWN_1U || draw(p.random, 0, 3) == 0) spec.nColours = 1;
         p.dst = drawMoved(spec, p.random);
         p.inPlace = spec.slot != OWN_1U && draw(p.random, 0, 3) == 0;
         if (draw(p.random, 0, 1)) p.tile();
         const uint32_t srcDepth = p.from().pixels->image.depth, depth = p.dst->image.depth;
         const int32_t t = (int32_t)heldToDepth(srcDepth, (int32_t)p.random() >> draw(p.random, 0, 31));
         expected.second = naiveMove(p.from(), p.to(), {2, false, [=](int64_t a) {
                                                            return heldToDepth(depth, a >= t ? INT64_MAX : INT64_MIN);
                                                        }});
         return [&p, t] { vekThreshold(p.a(), p.b(), t); };
     }},
};

static void runSeed(uint32_t seed)
{
    Random random(seed);
    const MoveOperation& op = operations[random() % std::size(operations)];
    Pair pair = {random, nullptr, nullptr, nullptr, nullptr};
    Expected expected;
    const std::function<void()> call = op.set(pair, expected);
    if (expected.first.empty()) expected.first = pair.src->bytes();
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + op.name + (pair.inPlace ? " in place" : "") + "\n  src " +
                 (pair.tiledSrc ? "tiled " : "") + headerText(pair.src->image) + "\n  dst " +
                 (pair.tiledDst ? "tiled " : "") + headerText(pair.dst->image));
    std::vector<uint8_t> masks[2];
    for (int i = 0; i < 2; ++i)
        if (const TestImage* mask = (i ? pair.dst : pair.src)->mask.get()) masks[i] = mask->bytes();

    const int live = heapLive();
    Recorder recorder;
    call();
    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(heapLive(), live);
    ASSERT_EQ(differenceFrom(expected.first, *pair.src), "") << "source";
    ASSERT_EQ(differenceFrom(expected.second, *pair.dst), "");
    for (int i = 0; i < 2; ++i)
        if (const TestImage* mask = (i ? pair.dst : pair.src)->mask.get()) { ASSERT_EQ(mask->bytes(), masks[i]); }
    for (const TiledImage* tiled : {pair.tiledSrc.get(), pair.tiledDst.get()}) {
        if (!tiled) continue;
        ASSERT_FALSE(tiled->isOpen()) << tiled->logText();
        ASSERT_EQ(tiled->logText().find("BAD"), std::string::npos) << tiled->logText();
    }
}

/* VEK_SEED=45 in the environment runs that call alone. */
TEST(Movement, equalsTheNaiveModel)
{
    if (const char* seed = getenv("VEK_SEED")) return runSeed((uint32_t)strtoul(seed, nullptr, 10));
    for (uint32_t seed = 1; seed <= 20000 && !HasFatalFailure(); ++seed) runSeed(seed);
}

/* ---- Norms ----------------------------------------------------------------------------------------------------------- */

struct Sums {
    long double most = 0, sum = 0, squares = 0;

    void add(int64_t d)
    {
        const long double size = (long double)(d < 0 ? -d : d);
        most = std::max(most, size);
        sum += size;
        squares += size * size;
    }
    double norm(int32_t kind) const
    {
        return (double)(kind == NORM_MAX ? most : kind == NORM_SUM ? sum : sqrtl(squares));
    }
};

static void runNorm(uint32_t seed)
{
    Random random(seed);
    DrawSpec spec = drawSpec(random, OWN_32S);
    spec.picksAlpha = true;
    Pair pair = {random, nullptr, nullptr, nullptr, nullptr};
    drawBoth(pair, spec);
    if (draw(random, 0, 9) == 0) memset(pair.dst->block.data, 0, pair.dst->block.bytes);
    const bool two = draw(random, 0, 2);
    const int32_t kinds[] = {NORM_MAX, NORM_SUM, NORM_ROOT_SQUARES};
    const int32_t kind = kinds[draw(random, 0, 2)];
    const bool relative = two && draw(random, 0, 1);

    std::vector<Moved> images = {pair.from()};
    if (two) images.push_back(pair.to());
    const auto [width, height] = sharedSize(images);
    const std::vector<int32_t> a = channelsOf(pair.src->image), b = channelsOf(pair.dst->image);
    Sums difference, second;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (size_t c = 0; c < a.size() && (!two || c < b.size()); ++c) {
                if (!isThrough(*pair.src, x, y) || (two && !isThrough(*pair.dst, x, y))) continue;
                const int64_t sample = regionSample(*pair.src, x, y, a[c]);
                const int64_t other = two ? regionSample(*pair.dst, x, y, b[c]) : 0;
                difference.add(sample - other);
                second.add(other);
            }
    SCOPED_TRACE("seed " + std::to_string(seed) + " kind " + std::to_string(kind) + "\n  A " +
                 headerText(pair.src->image) + "\n  B " + headerText(pair.dst->image));
    const int live = heapLive();
    Recorder recorder;
    const double norm = vekNorm(pair.a(), two ? pair.b() : nullptr, kind | (relative ? 8 : 0));
    ASSERT_EQ(heapLive(), live);
    if (relative && second.norm(kind) == 0) {
        ASSERT_EQ(recorder.text(), "-5 vekNorm(Zero divided)");
        ASSERT_EQ(norm, 0.0);
        return;
    }
    ASSERT_EQ(recorder.text(), "");
    const double expected = difference.norm(kind) / (relative ? second.norm(kind) : 1);
    if (kind == NORM_ROOT_SQUARES) ASSERT_NEAR(norm, expected, expected * 1e-15);
    else ASSERT_EQ(norm, expected);
}

TEST(Norms, equalTheNaiveModel)
{
    if (const char* seed = getenv("VEK_SEED")) return runNorm((uint32_t)strtoul(seed, nullptr, 10));
    for (uint32_t seed = 1; seed <= 8000 && !HasFatalFailure(); ++seed) runNorm(seed);
}

} // namespace
