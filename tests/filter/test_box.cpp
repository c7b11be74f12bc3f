/* The kernels of the extremum of a box: packed equals plain, for each depth, side and length, beside protected pages. */
#include "filter/ownbox.h"
#include "support/support.h"

#include <gtest/gtest.h>

static const int sampleBytes[OWN_DEPTHS] = {1, 1, 1, 2, 2, 4, 0};

/* Rows of random samples, each in a block that ends at a protected page. */
static std::vector<std::unique_ptr<GuardedBlock>> drawRows(Random& random, ptrdiff_t nRows, size_t bytes)
{
    std::vector<std::unique_ptr<GuardedBlock>> rows;
    for (ptrdiff_t i = 0; i < nRows; ++i) {
        rows.push_back(std::make_unique<GuardedBlock>(bytes));
        for (size_t k = 0; k < bytes; ++k) rows.back()->data[k] = (uint8_t)random();
    }
    return rows;
}

static void checkDown(const OwnBox& box, int bytes, ptrdiff_t side, ptrdiff_t nRows, ptrdiff_t n, Random& random)
{
    const size_t rowBytes = (size_t)(n * bytes);
    const auto blocks = drawRows(random, nRows + side - 1, rowBytes);
    std::vector<const uint8_t*> rows;
    for (const auto& block : blocks) rows.push_back(block->data);
    GuardedBlock packed(rowBytes * (size_t)nRows), plain(rowBytes * (size_t)nRows);
    box.down(packed.data, (ptrdiff_t)rowBytes, rows.data(), side, nRows, n);
    box.plainDown(plain.data, (ptrdiff_t)rowBytes, rows.data(), side, nRows, n);
    ASSERT_EQ(memcmp(packed.data, plain.data, packed.bytes), 0) << "side " << side << " rows " << nRows << " n " << n;
    GuardedBlock pile(rowBytes);
    box.pile(pile.data, rows.data(), side, n);
    ASSERT_EQ(memcmp(pile.data, plain.data, pile.bytes), 0) << "pile: side " << side << " n " << n;
}

TEST(Box, downEqualsPlain)
{
    Random random(1);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (int slot = 0; slot < OWN_32F; ++slot)
            for (ptrdiff_t side = 1; side <= 70; side += side < 18 ? 1 : 13)
                for (const ptrdiff_t nRows : {8, 24, 64})
                    for (const ptrdiff_t n : {1, 7, 31, 33, 97}) {
                        SCOPED_TRACE("slot " + std::to_string(slot));
                        checkDown(boxes[slot], sampleBytes[slot], side, nRows, n, random);
                        ASSERT_FALSE(HasFatalFailure());
                    }
}

TEST(Box, acrossEqualsPlain)
{
    Random random(2);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (int slot = 0; slot < OWN_32F; ++slot)
            for (ptrdiff_t n = 1; n <= 140; ++n)
                for (int count = 1; count <= OwnReach::MOST - (slot == OWN_1U); ++count)
                    for (const bool inPlace : {false, true}) {
                        OwnReach reach = {count, {}, false};
                        for (int k = 1; k < count; ++k) reach.at[k] = reach.at[k - 1] + draw(random, 1, 21);
                        const ptrdiff_t at = reach.at[count - 1];
                        const ptrdiff_t all = slot == OWN_1U ? n + (at >> 3) + OWN_BITS_SPARE : n + at;
                        const auto rows = drawRows(random, 1, (size_t)(all * sampleBytes[slot]));
                        GuardedBlock plain((size_t)(n * sampleBytes[slot])), packed(plain.bytes);
                        boxes[slot].plainAcross(plain.data, rows[0]->data, reach, n);
                        uint8_t* out = inPlace ? rows[0]->data : packed.data;
                        boxes[slot].across(out, rows[0]->data, reach, n);
                        ASSERT_EQ(memcmp(out, plain.data, plain.bytes), 0)
                            << "slot " << slot << " n " << n << " count " << count << " in place " << inPlace;
                    }
}

/* Extrema of 3 x 3 boxes in one step, with pixels that are missing at the ends of rows and without. */
static void checkThree(const OwnBox& box, int bytes, ptrdiff_t unit, int nRows, ptrdiff_t n, bool ends, Random& random)
{
    const size_t lineBytes = (size_t)((n + 2 * unit) * bytes), pixel = (size_t)(unit * bytes), vector = 64;
    const auto lines = drawRows(random, nRows + 2, lineBytes); /* with a pixel more at each end */
    const auto inner = drawRows(random, nRows + 2, lineBytes - 2 * pixel);
    const uint8_t *all[4], *rows[4];
    for (int i = 0; i < nRows + 2; ++i) {
        memcpy(inner[(size_t)i]->data, lines[(size_t)i]->data + pixel, inner[(size_t)i]->bytes);
        all[i] = lines[(size_t)i]->data;
        rows[i] = ends ? inner[(size_t)i]->data : all[i];
    }
    OwnReach reach = {3, {0, unit, 2 * unit}, false};
    GuardedBlock down(lineBytes), plain((size_t)(n * bytes));
    const auto sides = drawRows(random, 4, vector), out = drawRows(random, 2, (size_t)(n * bytes));
    OwnBoxEnds missing = {{sides[0]->data + vector, sides[1]->data + vector}, {sides[2]->data, sides[3]->data}};
    uint8_t* const to[2] = {out[0]->data, out[1]->data};
    for (int k = 0; k < nRows; ++k) {
        box.plainDown(down.data, 0, all + k, 3, 1, n + 2 * unit);
        memcpy(sides[(size_t)k]->data + vector - pixel, down.data, pixel);
        memcpy(sides[(size_t)k + 2]->data, down.data + lineBytes - pixel, pixel);
    }
    if (!box.three(to, rows, nRows, n, unit, ends ? &missing : nullptr)) {
        ASSERT_TRUE(n * bytes < 140 || (unit > 1 && bytes > 2)) << "not served: " << unit << " of " << n;
        return;
    }
    for (int k = 0; k < nRows; ++k) {
        box.plainDown(down.data, 0, all + k, 3, 1, n + 2 * unit);
        box.plainAcross(plain.data, down.data, reach, n);
        ASSERT_EQ(memcmp(to[k], plain.data, plain.bytes), 0)
            << "row " << k << " of " << nRows << " n " << n << " unit " << unit << " ends " << ends;
    }
}

TEST(Box, threeEqualsPlain)
{
    Random random(4);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (int slot = OWN_8U; slot < OWN_32F; ++slot)
            for (const ptrdiff_t unit : {1, 3})
                for (ptrdiff_t n = unit; n <= 210; n += unit)
                    for (const bool ends : {false, true}) {
                        SCOPED_TRACE("slot " + std::to_string(slot));
                        checkThree(boxes[slot], sampleBytes[slot], unit, 1 + (int)(n / unit % 2), n, ends, random);
                        ASSERT_FALSE(HasFatalFailure());
                    }
}

/* Every window of bits in one pass, from every bit of a byte on. */
TEST(Box, filledWindowsEqualPlain)
{
    Random random(3);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (ptrdiff_t first = 0; first < 8; ++first)
            for (ptrdiff_t side = 2; side <= OwnReach::MOST_FILLED; ++side)
                for (const ptrdiff_t n : {3, 32, 45, 100}) {
                    const OwnReach reach = {2, {first, first + side - 1}, true};
                    const auto row = drawRows(random, 1, (size_t)(n + (reach.at[1] >> 3) + OWN_BITS_SPARE));
                    for (size_t i = 0; i < row[0]->bytes; ++i) /* long runs, so that wide windows differ */
                        if (random() % 5) row[0]->data[i] = boxes == ownBoxMin ? 0xFF : 0;
                    GuardedBlock plain((size_t)n), packed((size_t)n);
                    boxes[OWN_1U].plainAcross(plain.data, row[0]->data, reach, n);
                    boxes[OWN_1U].across(packed.data, row[0]->data, reach, n);
                    ASSERT_EQ(memcmp(packed.data, plain.data, plain.bytes), 0)
                        << first << " side " << side << " n " << n;
                }
}

/* A plan's last pass covers each of `side` places, none beyond them, and no pass takes more than the kernels can. */
TEST(Box, plansCoverTheirWindow)
{
    for (const bool bits : {false, true})
        for (int64_t side = 1; side <= 700; ++side) {
            const ptrdiff_t unit = bits ? 1 : 3;
            const OwnBoxPlan plan = ownBoxPlan(side, unit, bits);
            std::vector<bool> window = {true};
            for (int i = 0; i < plan.count; ++i) {
                const OwnReach& reach = plan.pass[i];
                ASSERT_LE(reach.count, OwnReach::MOST - bits);
                std::vector<bool> wider(window.size() + (size_t)(reach.at[reach.count - 1] / unit));
                for (size_t j = 0; j < window.size(); ++j) {
                    for (int k = 0; window[j] && k < reach.count; ++k) wider[j + (size_t)(reach.at[k] / unit)] = true;
                    for (ptrdiff_t at = reach.at[0]; reach.filled && at < reach.at[1]; ++at)
                        wider[j + (size_t)at] = true;
                }
                if (reach.filled) { ASSERT_LT(reach.at[1] - reach.at[0], (ptrdiff_t)OwnReach::MOST_FILLED); }
                window = wider;
            }
            ASSERT_EQ(window, std::vector<bool>((size_t)side, true)) << "side " << side << " bits " << bits;
        }
}
