/* The rank filters and the morphology over random headers, held against the naive model: depths, orders, regions with real
 * neighbours, borders by side, windows larger than the image, channels of interest, alpha, masks, tiles, in place. */
#include "filter/pair.h"

#include <gtest/gtest.h>

#include <algorithm>

static const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U,  VEK_DEPTH_16U,
                                  VEK_DEPTH_8S, VEK_DEPTH_16S, VEK_DEPTH_32S}; /* morphology: the first three */

/* ---- Random images ------------------------------------------------------------------------------------------------ */

static std::unique_ptr<TestImage> drawImage(ImageSpec spec, Random& random, bool sameSize)
{
    if (!sameSize) {
        spec.width = draw(random, 1, 45);
        spec.height = draw(random, 1, 30);
    }
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 1) * draw(random, 0, 7);
    spec.atEnd = draw(random, 0, 1);
    auto image = std::make_unique<TestImage>(spec, random);
    const int few = draw(random, 0, 2); /* as they are, a few values, or rarely anything but 0 */
    for (size_t i = 0; few && i < image->block.bytes; ++i)
        image->block.data[i] &= few == 1 ? 0x83 : (uint8_t)(random() & random() & random());
    const int mode = draw(random, 0, 7); /* on all sides, or one on each */
    for (int side = 0; side < 4; ++side)
        vekSetBorderMode(&image->image, mode < 4 ? mode : draw(random, 0, 3), 1 << side,
                         draw(random, 0, 1) ? (int)random() : 100);
    if (draw(random, 0, 2)) drawRegion(*image, random, 0);
    if (draw(random, 0, 3) == 0) image->setMask(drawMask(image->image, random));
    return image;
}

static FilterPair drawPair(Random& random, uint32_t depth, bool mayBeInPlace, bool sameCoi)
{
    ImageSpec spec;
    spec.depth = depth;
    spec.nChannels = depth == VEK_DEPTH_1U ? 1 : draw(random, 1, 4);
    spec.hasAlpha = spec.nChannels > 1 && draw(random, 0, 3) == 0;
    spec.dataOrder = draw(random, 0, 1);
    const int big = draw(random, 0, 9) == 0;
    spec.width = draw(random, 1, big ? 200 : 45);
    spec.height = draw(random, 1, 30);

    FilterPair pair;
    pair.src = drawImage(spec, random, true);
    if (!mayBeInPlace || draw(random, 0, 2)) pair.other = drawImage(spec, random, draw(random, 0, 1));
    if (draw(random, 0, 2) == 0 && pair.src->image.roi && pair.dst().image.roi) {
        pair.src->image.roi->coi = draw(random, 1, spec.nChannels);
        pair.dst().image.roi->coi = sameCoi || !pair.other ? pair.src->image.roi->coi : draw(random, 1, spec.nChannels);
    }
    pair.drawTiles(random, true);
    return pair;
}

/* ---- Ranks -------------------------------------------------------------------------------------------------------- */

struct RankFilter {
    const char* name;
    void (*call)(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t);
    size_t (*rank)(size_t n);
};
static const RankFilter rankFilters[] = {
    {"vekMinFilter", vekMinFilter, [](size_t) { return (size_t)1; }},
    {"vekMaxFilter", vekMaxFilter, [](size_t n) { return n; }},
    {"vekMedianFilter", vekMedianFilter, [](size_t n) { return n / 2 + 1; }},
};

static ModelWindow drawWindow(Random& random)
{
    ModelWindow window = {draw(random, 1, 8), draw(random, 1, 8), 0, 0};
    const int kind = draw(random, 0, 9);
    if (kind < 4) window.nCols = window.nRows = kind < 2 ? 3 : 5;
    if (kind == 4) window.nCols = draw(random, 1, 40);
    if (kind == 5) window.nRows = draw(random, 1, 40);
    window.anchorX = draw(random, 0, window.nCols - 1);
    window.anchorY = draw(random, 0, window.nRows - 1);
    return window;
}

static void runRank(const RankFilter& filter, FilterPair& pair, const ModelWindow& w)
{
    modelWindow(SharedArea(pair.src->image, pair.dst().image), pair.srcBytes.data(), pair.expected.data(), w,
                [&](const std::vector<int64_t>& s) { return rankOf(s, filter.rank(s.size())); });
    pair.check([&] { filter.call(pair.srcHeader(), pair.dstHeader(), w.nCols, w.nRows, w.anchorX, w.anchorY); });
}

TEST(RankFilters, equalTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 5000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const RankFilter& filter = rankFilters[draw(random, 0, 2)];
        FilterPair pair = drawPair(random, depths[draw(random, 0, 5)], false, false);
        const ModelWindow w = drawWindow(random);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + filter.name + " " + std::to_string(w.nCols) + "x" +
                     std::to_string(w.nRows) + " at " + std::to_string(w.anchorX) + "," + std::to_string(w.anchorY) +
                     " " + pair.text());
        runRank(filter, pair, w);
    }
}

/* The median has methods of its own by the size of the window and the range of its counts. */
TEST(RankFilters, medianOfLargeWindows)
{
    const struct {
        ModelWindow window;
        int32_t width, height, nChannels;
    } cases[] = {{{7, 7, 3, 3}, 400, 3, 2},  {{9, 9, 4, 0}, 400, 3, 3},     {{11, 11, 0, 5}, 400, 2, 2},
                 {{5, 5, 2, 2}, 4, 3, 70},   {{9, 3, 0, 0}, 30, 2, 2},      {{3, 9, 2, 8}, 30, 2, 2},
                 {{13, 9, 6, 4}, 70, 35, 2}, {{31, 31, 15, 15}, 40, 3, 1},  {{200, 2, 99, 1}, 30, 2, 2},
                 {{2, 300, 1, 9}, 30, 2, 2}, {{180, 190, 4, 180}, 30, 2, 2}};
    for (const uint32_t depth : depths)
        for (const auto& [w, width, height, nChannels] : cases) {
            SCOPED_TRACE("depth " + std::to_string(depth) + " " + std::to_string(w.nCols) + "x" +
                         std::to_string(w.nRows));
            Random random(depth + (uint32_t)w.nCols);
            ImageSpec spec;
            spec.depth = depth;
            spec.nChannels = depth == VEK_DEPTH_1U ? 1 : nChannels;
            spec.width = width;
            spec.height = height;
            FilterPair pair;
            pair.src = std::make_unique<TestImage>(spec, random);
            pair.other = std::make_unique<TestImage>(spec, random);
            vekSetBorderMode(&pair.src->image, VEK_BORDER_MIRROR, 15, 0);
            pair.srcBytes = pair.src->bytes();
            pair.expected = pair.other->bytes();
            runRank(rankFilters[2], pair, w);
        }
}

/* Windows that go far beyond the image see all of it; no more is fetched than their samples can differ in. */
TEST(RankFilters, extremaOfEndlessWindows)
{
    for (const int mode : {VEK_BORDER_FIXED, VEK_BORDER_EDGE, VEK_BORDER_MIRROR, VEK_BORDER_WRAP})
        for (const bool largest : {false, true}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + (largest ? " largest" : " smallest"));
            Random random(1);
            TestImage src(ImageSpec{}, random), dst(ImageSpec{}, random);
            vekSetBorderMode(&src.image, mode, 15, largest ? 255 : 0);
            std::vector<int64_t> samples;
            for (int32_t i = 0; i < 256; ++i)
                samples.push_back(getSample(src.image, src.block.data, i % 16, i / 16, 0));
            if (mode == VEK_BORDER_FIXED) samples.push_back(largest ? 255 : 0);
            const int64_t expected = rankOf(samples, largest ? samples.size() : 1);
            const int32_t far = INT32_MAX;
            (largest ? vekMaxFilter : vekMinFilter)(&src.image, &dst.image, far, far, far / 2, far / 2);
            for (int32_t i = 0; i < 256; ++i)
                ASSERT_EQ(getSample(dst.image, dst.block.data, i % 16, i / 16, 0), expected) << i;
        }
}

/* ---- Morphology --------------------------------------------------------------------------------------------------- */

struct Morphology {
    const char* name;
    void (*call)(const VekImage*, VekImage*, int32_t);
    std::vector<bool> largest;
};
static const Morphology morphologies[] = {
    {"vekErode", vekErode, {false}},
    {"vekDilate", vekDilate, {true}},
    {"vekOpen", vekOpen, {false, true}},
    {"vekClose", vekClose, {true, false}},
};

TEST(Morphology, equalsTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 4000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const Morphology& morphology = morphologies[draw(random, 0, 3)];
        FilterPair pair = drawPair(random, depths[draw(random, 0, 2)], true, true);
        const int32_t n = draw(random, 0, 9) ? draw(random, 1, 6) : draw(random, 7, 20);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + morphology.name + " " + std::to_string(n) + " " +
                     pair.text());
        if (n > 6 && pair.src->image.width > 45) continue;
        modelMorphology(SharedArea(pair.src->image, pair.dst().image), pair.srcBytes.data(), pair.expected.data(), n,
                        morphology.largest);
        pair.check([&] {
            vekSetErrStatus(-77); /* a success clears it */
            morphology.call(pair.srcHeader(), pair.dstHeader(), n);
        });
    }
}

/* Boxes so large that lines are made in batches of many rows; the pixels around a region two or more away don't count. */
TEST(Morphology, seesOnlyTheRingAroundARegion)
{
    for (const uint32_t depth : {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U})
        for (const Morphology& morphology : morphologies)
            for (const int32_t n : {1, 5, 13, 30, INT32_MAX}) {
                SCOPED_TRACE(std::string(morphology.name) + " " + std::to_string(depth) + " " + std::to_string(n));
                Random random(depth);
                ImageSpec spec;
                spec.depth = depth;
                spec.width = 50;
                spec.height = 90;
                FilterPair pair;
                pair.src = std::make_unique<TestImage>(spec, random);
                pair.src->setRoi(0, 11, 9, 28, 75);
                for (int32_t y = 0; y < 90; ++y)
                    for (int32_t x = 0; x < 50; ++x)
                        if (x < 10 || x > 39 || y < 8 || y > 84)
                            setSample(pair.src->image, pair.src->block.data, x, y, 0, (x + y) & 1 ? 0 : -1);
                pair.srcBytes = pair.src->bytes();
                pair.expected = pair.srcBytes;
                modelMorphology(SharedArea(pair.src->image, pair.src->image), pair.srcBytes.data(),
                                pair.expected.data(), std::min(n, 80), morphology.largest);
                pair.check([&] { morphology.call(&pair.src->image, &pair.src->image, n); });
            }
}
