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

static void checkAcross(const OwnBox& box, int bytes, const OwnReach& reach, ptrdiff_t n, bool bits, Random& random)
{
    const ptrdiff_t end = reach.at[reach.count - 1] + (reach.span - 1) * reach.unit;
    const ptrdiff_t all = (bits ? n + (end >> 3) + OWN_BITS_SPARE : n + end) * bytes;
    const auto rows = drawRows(random, 1, (size_t)(OWN_BOX_BEFORE + all));
    uint8_t* in = rows[0]->data + OWN_BOX_BEFORE;
    for (ptrdiff_t i = 0; i < all && reach.span > 1; ++i) /* long runs, so that wide windows differ */
        if (random() % 5) in[i] = *box.neutral;
    GuardedBlock plain((size_t)(n * bytes)), packed(plain.bytes);
    box.plainAcross(plain.data, in, reach, n);
    box.across(packed.data, in, reach, n);
    ASSERT_EQ(memcmp(packed.data, plain.data, plain.bytes), 0);
    if (reach.at[0] > 0 || reach.span > 1) return;
    box.across(in, in, reach, n);
    ASSERT_EQ(memcmp(in, plain.data, plain.bytes), 0) << "in place";
}

TEST(Box, acrossEqualsPlain)
{
    Random random(2);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (int slot = 0; slot < OWN_32F; ++slot)
            for (const ptrdiff_t unit : {1, 2, 3})
                for (int span = 1; span <= (slot == OWN_1U ? 1 : boxes[slot].mostSpan(unit)); span *= 2)
                    for (ptrdiff_t n = 1; n <= 140; ++n)
                        for (int count = 1 + (span > 1); count <= OwnReach::MOST - (slot == OWN_1U || span > 1);
                             ++count) {
                            OwnReach reach = {count, {draw(random, 0, 1)}, span, unit};
                            for (int k = 1; k < count; ++k) reach.at[k] = reach.at[k - 1] + draw(random, 1, 21);
                            SCOPED_TRACE("slot " + std::to_string(slot) + " n " + std::to_string(n) + " count " +
                                         std::to_string(count) + " span " + std::to_string(span));
                            checkAcross(boxes[slot], sampleBytes[slot], reach, n, slot == OWN_1U, random);
                            ASSERT_FALSE(HasFatalFailure());
                        }
}

/* Every window of bits in one pass, from every bit of a byte on. */
TEST(Box, spansOfBitsEqualPlain)
{
    Random random(3);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (ptrdiff_t first = 0; first < 8; ++first)
            for (int span = 2; span <= OwnReach::MOST_BITS; ++span)
                for (const ptrdiff_t n : {3, 32, 45, 100}) {
                    SCOPED_TRACE(std::to_string(first) + " span " + std::to_string(span) + " n " + std::to_string(n));
                    checkAcross(boxes[OWN_1U], 1, {1, {first}, span, 1}, n, true, random);
                    ASSERT_FALSE(HasFatalFailure());
                }
}

/* Extrema of 3 x 3 boxes in one step, with pixels that are missing at the ends of rows and without. */
static void checkThree(const OwnBox& box, int bytes, ptrdiff_t unit, int nRows, ptrdiff_t n, bool ends, Random& random)
{
    const size_t lineBytes = (size_t)((n + 2 * unit) * bytes), pixel = (size_t)(unit * bytes);
    const auto lines = drawRows(random, nRows + 2, lineBytes); /* with a pixel more at each end */
    const auto inner = drawRows(random, nRows + 2, lineBytes - 2 * pixel);
    const uint8_t *all[4], *rows[4];
    for (int i = 0; i < nRows + 2; ++i) {
        memcpy(inner[(size_t)i]->data, lines[(size_t)i]->data + pixel, inner[(size_t)i]->bytes);
        all[i] = lines[(size_t)i]->data;
        rows[i] = ends ? inner[(size_t)i]->data : all[i];
    }
    const OwnReach reach = {3, {0, unit, 2 * unit}, 1, unit};
    GuardedBlock down(lineBytes), plain((size_t)(n * bytes));
    const auto values = drawRows(random, 2, pixel), out = drawRows(random, 2, (size_t)(n * bytes));
    uint8_t* const to[2] = {out[0]->data, out[1]->data};
    OwnBoxEnds missing = {0, {}, {}};
    for (int side = 0; side < 2 && ends; ++side) { /* a pixel of the rows, or a value */
        missing.at[side] = (ptrdiff_t)pixel * draw(random, 0, (int)(n / unit) - 1);
        if (draw(random, 0, 1)) missing.value[side] = values[(size_t)side]->data;
        for (int i = 0; i < nRows + 2; ++i)
            memcpy(lines[(size_t)i]->data + (side ? lineBytes - pixel : 0),
                   missing.value[side] ? missing.value[side] : inner[(size_t)i]->data + missing.at[side], pixel);
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

/* A plan's last pass covers each of `side` places, none beyond them, and no pass takes more than the kernels can. */
TEST(Box, plansCoverTheirWindow)
{
    for (const int mostSpan : {1, 2, 4, 8, (int)OwnReach::MOST_BITS})
        for (int64_t side = 1; side <= 700; ++side) {
            const bool bits = mostSpan == OwnReach::MOST_BITS;
            const ptrdiff_t unit = bits ? 1 : 3;
            const OwnBoxPlan plan = ownBoxPlan(side, unit, mostSpan, bits);
            std::vector<bool> window = {true};
            for (int i = 0; i < plan.count; ++i) {
                const OwnReach& reach = plan.pass[i];
                ASSERT_LE(reach.count, OwnReach::MOST - (bits || reach.span > 1));
                ASSERT_LE(reach.span, mostSpan);
                std::vector<bool> wider(window.size() + (size_t)(reach.at[reach.count - 1] / unit + reach.span - 1));
                for (size_t j = 0; j < window.size(); ++j)
                    for (int k = 0; window[j] && k < reach.count * reach.span; ++k)
                        wider[j + (size_t)(reach.at[k / reach.span] / unit + k % reach.span)] = true;
                window = wider;
            }
            ASSERT_EQ(window, std::vector<bool>((size_t)side, true)) << "side " << side << " span " << mostSpan;
        }
}
