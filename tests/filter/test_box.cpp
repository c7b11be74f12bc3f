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

TEST(Box, acrossEqualsPlain)
{
    Random random(2);
    for (const OwnBox* boxes : {ownBoxMin, ownBoxMax})
        for (int slot = 0; slot < OWN_32F; ++slot)
            for (ptrdiff_t n = 1; n <= 140; ++n)
                for (int count = 1; count <= OwnReach::MOST - (slot == OWN_1U); ++count)
                    for (const bool inPlace : {false, true}) {
                        OwnReach reach = {count, {}};
                        for (int k = 1; k < count; ++k) reach.at[k] = reach.at[k - 1] + draw(random, 1, 21);
                        const ptrdiff_t at = reach.at[count - 1];
                        const ptrdiff_t all = slot == OWN_1U ? n + (at >> 3) + 1 : n + at;
                        const auto rows = drawRows(random, 1, (size_t)(all * sampleBytes[slot]));
                        GuardedBlock plain((size_t)(n * sampleBytes[slot])), packed(plain.bytes);
                        boxes[slot].plainAcross(plain.data, rows[0]->data, reach, n);
                        uint8_t* out = inPlace ? rows[0]->data : packed.data;
                        boxes[slot].across(out, rows[0]->data, reach, n);
                        ASSERT_EQ(memcmp(out, plain.data, plain.bytes), 0)
                            << "slot " << slot << " n " << n << " count " << count << " in place " << inPlace;
                    }
}

/* A plan's last pass covers each of `side` places, none beyond them, and no pass takes more than the kernels can. */
TEST(Box, plansCoverTheirWindow)
{
    for (int radix = 2; radix <= 4; ++radix)
        for (int64_t side = 1; side <= 700; ++side) {
            const OwnBoxPlan plan = ownBoxPlan(side, 3, radix);
            std::vector<bool> window = {true};
            for (int i = 0; i < plan.count; ++i) {
                const OwnReach& reach = plan.pass[i];
                ASSERT_LE(reach.count, OwnReach::MOST);
                std::vector<bool> wider(window.size() + (size_t)reach.at[reach.count - 1] / 3);
                for (int k = 0; k < reach.count; ++k)
                    for (size_t j = 0; j < window.size(); ++j)
                        if (window[j]) wider[j + (size_t)reach.at[k] / 3] = true;
                window = wider;
            }
            ASSERT_EQ(window, std::vector<bool>((size_t)side, true)) << "side " << side << " radix " << radix;
        }
}
