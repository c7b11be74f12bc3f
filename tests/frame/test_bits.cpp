/* Runs of bits at any place of a byte: every rule of two bits, shifted, turned and under a mask, in rows of any length and
 * step, against one bit after the other. Blocks end or begin at a protected page. */
#include "frame/ownrow.h"
#include "support/support.h"

#include <gtest/gtest.h>

#include <stdlib.h>

namespace {

/* A run on bytes whose bits become bit 2a + b of the table k. */
void tableRun(void* out, const void* a, const void* b, ptrdiff_t n, const void* k)
{
    const int table = *(const int*)k;
    for (ptrdiff_t i = 0; i < n; ++i) {
        const int x = ((const uint8_t*)a)[i], y = b ? ((const uint8_t*)b)[i] : 0;
        int f = 0;
        for (int bit = 0; bit < 8; ++bit) f |= (table >> (2 * (x >> bit & 1) + (y >> bit & 1)) & 1) << bit;
        ((uint8_t*)out)[i] = (uint8_t)f;
    }
}

/* Rows of n bits in a block that holds them and nothing else. */
struct BitRows {
    BitRows(Random& random, ptrdiff_t n, ptrdiff_t height, bool isTurned)
        : turned(isTurned), first(draw(random, 0, 7)), bytes((first + n + 7) >> 3),
          pitch(bytes + (draw(random, 0, 2) ? draw(random, 0, 3) : 40)), upward(draw(random, 0, 3) == 0),
          block((size_t)((height - 1) * pitch + bytes), draw(random, 0, 1))
    {
        for (size_t i = 0; i < block.bytes; ++i) block.data[i] = (uint8_t)random();
        step = upward ? -pitch : pitch;
        row = block.data + (upward ? (height - 1) * pitch : 0);
        const ptrdiff_t place = turned ? first + n - 1 : first;
        at = {row + (place >> 3), (int)(place & 7), turned};
    }
    /* The place in the block, in bits, of bit i of row y. */
    ptrdiff_t place(ptrdiff_t n, ptrdiff_t y, ptrdiff_t i) const
    {
        return (row + y * step - block.data) * 8 + first + (turned ? n - 1 - i : i);
    }
    int get(ptrdiff_t place) const { return block.data[place >> 3] >> (7 - (place & 7)) & 1; }

    bool turned;
    int first;
    ptrdiff_t bytes, pitch;
    bool upward;
    GuardedBlock block;
    uint8_t* row;
    ptrdiff_t step;
    OwnBitsAt at;
};

void runBits(uint32_t seed)
{
    Random random(seed);
    const int most[] = {20, 300, 1200}, nSources = draw(random, 1, 2), table = draw(random, 0, 15);
    const ptrdiff_t n = draw(random, 1, most[draw(random, 0, 2)]), height = draw(random, 1, 20);
    const bool masked = draw(random, 0, 1);
    BitRows dst(random, n, height, false), a(random, n, height, draw(random, 0, 2) == 0), b(random, n, height, false),
        mask(random, n, height, false);
    std::vector<uint8_t> expected(dst.block.data, dst.block.data + dst.block.bytes);
    for (ptrdiff_t y = 0; y < height; ++y)
        for (ptrdiff_t i = 0; i < n; ++i) {
            if (masked && !mask.get(mask.place(n, y, i))) continue;
            const int x = a.get(a.place(n, y, i)), z = nSources > 1 ? b.get(b.place(n, y, i)) : 0;
            const ptrdiff_t place = dst.place(n, y, i);
            uint8_t& byte = expected[(size_t)(place >> 3)];
            byte = (uint8_t)((byte & ~(0x80 >> (place & 7))) | (table >> (2 * x + z) & 1) << (7 - (place & 7)));
        }
    OwnBitRun run = {dst.at,           n, ownBitRule(tableRun, &table), nSources, {a.at, b.at}, {}, dst.step,
                     {a.step, b.step}, 0};
    if (masked) run.mask = mask.at, run.maskStep = mask.step;
    ownPutBitRows(run, height);
    for (size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(dst.block.data[i], expected[i])
            << "seed " << seed << " byte " << i << " n=" << n << " height=" << height << " table=" << table
            << " sources=" << nSources << " masked=" << masked << " turned=" << a.turned;
}

TEST(BitRows, equalOneBitAfterTheOther)
{
    if (const char* seed = getenv("VEK_SEED")) return runBits((uint32_t)strtoul(seed, nullptr, 10));
    for (uint32_t seed = 1; seed <= 6000 && !HasFatalFailure(); ++seed) runBits(seed);
}

} // namespace
