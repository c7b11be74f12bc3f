/* The kernels of moving and comparing whose samples differ in size from source to result, and those that end in numbers:
 * each packed run gives what the plain loop gives, at every length and start, beside protected pages. */
#include "support/support.h"

#include <gtest/gtest.h>

extern const OwnRow ownConvertRows8U[OWN_DEPTHS], ownConvertRows8S[OWN_DEPTHS], ownConvertRows16U[OWN_DEPTHS],
    ownConvertRows16S[OWN_DEPTHS], ownConvertRows32S[OWN_DEPTHS], ownThresholdRows8U[OWN_DEPTHS],
    ownThresholdRows8S[OWN_DEPTHS], ownThresholdRows16U[OWN_DEPTHS], ownThresholdRows16S[OWN_DEPTHS],
    ownThresholdRows32S[OWN_DEPTHS], ownGreyRows[OWN_DEPTHS], ownSetRows[OWN_DEPTHS];
extern const OwnReduceRow ownMostRows[OWN_DEPTHS], ownSumRows[OWN_DEPTHS], ownSquaresRows[OWN_DEPTHS];

namespace {

static const int sampleBits[OWN_DEPTHS] = {1, 8, 8, 16, 16, 32, 32};
static const char* const depthNames[OWN_DEPTHS] = {"1U", "8U", "8S", "16U", "16S", "32S", "32F"};

/* A constant: the threshold, the value, or the two levels, whose low bits are in every depth's range. */
struct Levels {
    int32_t words[2];
};
static const Levels constants[] = {{{0, 1}}, {{1, 0}}, {{100, 7}}, {{127, 127}}, {{5, 90}}};

static const struct {
    const char* name;
    const OwnRow* rows;
    int slot;           /* of the source */
    const char* served; /* by the destination's depth, in the order of the names above */
} tables[] = {
    {"convert", ownConvertRows8U, OWN_8U, "######."},
    {"convert", ownConvertRows8S, OWN_8S, "######."},
    {"convert", ownConvertRows16U, OWN_16U, "######."},
    {"convert", ownConvertRows16S, OWN_16S, "######."},
    {"convert", ownConvertRows32S, OWN_32S, "######."},
    {"threshold", ownThresholdRows8U, OWN_8U, "######."},
    {"threshold", ownThresholdRows8S, OWN_8S, "######."},
    {"threshold", ownThresholdRows16U, OWN_16U, "######."},
    {"threshold", ownThresholdRows16S, OWN_16S, "######."},
    {"threshold", ownThresholdRows32S, OWN_32S, "######."},
    {"grey", ownGreyRows, OWN_1U, ".#####."},
    {"set", ownSetRows, -1, "######."},
};

/* Bytes of n samples; of bits, the last byte's spare ones are not looked at. */
static size_t bytesOf(int slot, ptrdiff_t n) { return (size_t)(n * sampleBits[slot] + 7) / 8; }

static void dropSpareBits(int slot, ptrdiff_t n, uint8_t* out)
{
    if (slot == OWN_1U && n & 7) out[n >> 3] &= (uint8_t) ~(0xFF >> (n & 7));
}

/* Random bytes with long runs of ends of the ranges. */
static void fill(GuardedBlock& block, Random& random)
{
    const uint8_t ends[] = {0, 0xFF, 0x80, 0x7F, 0x64, 0x65};
    for (size_t i = 0; i < block.bytes; ++i)
        block.data[i] = draw(random, 0, 1) ? (uint8_t)random() : ends[draw(random, 0, 5)];
}

TEST(MoveKernels, packedRunsEqualThePlainLoops)
{
    enum { MOST = 200, ROOM = MOST * 4 + 64 };
    Random random(3);
    GuardedBlock in(ROOM), out(ROOM);
    for (const auto& table : tables)
        for (int slot = 0; slot < OWN_DEPTHS; ++slot) {
            ASSERT_EQ(table.rows[slot].run != nullptr, table.served[slot] == '#') << table.name << depthNames[slot];
            if (!table.rows[slot].run) continue;
            const bool bits = slot == OWN_1U && table.slot < 0; /* a fill of bits counts bytes */
            const int from = table.slot < 0 ? slot : table.slot;
            for (ptrdiff_t n = 0; n <= MOST; ++n) {
                fill(in, random);
                for (size_t start = 0; start < 64; start += 1 + (size_t)n % 3) {
                    const size_t inBytes = bits ? (size_t)n : bytesOf(from, n),
                                 outBytes = bits ? (size_t)n : bytesOf(slot, n);
                    uint8_t *a = in.data + ROOM - start - inBytes, *to = out.data + ROOM - start - outBytes;
                    memset(out.data, 0xA5, ROOM);
                    const Levels& k = constants[(size_t)draw(random, 0, 4)];
                    uint8_t plain[ROOM] = {};
                    table.rows[slot].plain(plain, a, nullptr, n, &k);
                    table.rows[slot].run(to, a, nullptr, n, &k);
                    if (!bits) dropSpareBits(slot, n, to), dropSpareBits(slot, n, plain);
                    ASSERT_EQ(memcmp(to, plain, outBytes), 0) << table.name << " " << depthNames[from] << " to "
                                                              << depthNames[slot] << " n=" << n << " start=" << start;
                    bool stray = false;
                    for (size_t i = 0; i < ROOM; ++i)
                        stray |= (out.data + i < to || out.data + i >= to + outBytes) && out.data[i] != 0xA5;
                    ASSERT_FALSE(stray);
                }
            }
        }
}

/* What a reduction leaves in its state: the largest, and two halves of a sum. */
struct State {
    uint64_t most, low, high;
    bool operator==(const State& other) const { return most == other.most && low == other.low && high == other.high; }
};

TEST(MoveKernels, packedReductionsEqualThePlainLoops)
{
    enum { MOST = 200, ROOM = MOST * 4 + 64 };
    const std::pair<const char*, const OwnReduceRow*> reductions[] = {
        {"most", ownMostRows}, {"sum", ownSumRows}, {"squares", ownSquaresRows}};
    Random random(4);
    GuardedBlock a(ROOM), b(ROOM);
    for (const auto& [name, rows] : reductions)
        for (int slot = 0; slot <= OWN_32S; ++slot)
            for (ptrdiff_t n = 1; n <= MOST; ++n) {
                fill(a, random);
                fill(b, random);
                for (size_t start = 0; start < 64; start += 1 + (size_t)n % 3)
                    for (const bool two : {false, true}) {
                        const size_t bytes = bytesOf(slot, n);
                        uint8_t *pa = a.data + ROOM - start - bytes, *pb = b.data + ROOM - start - bytes;
                        dropSpareBits(slot, n, pa), dropSpareBits(slot, n, pb);
                        const OwnSpan span = {pa, two ? pb : nullptr, n, 0, 0, 0, 0, 1};
                        State run = {}, plain = {};
                        rows[slot].plain(&plain, span);
                        rows[slot].run(&run, span);
                        ASSERT_TRUE(run == plain)
                            << name << " " << depthNames[slot] << " n=" << n << " start=" << start;
                    }
            }
}

/* Long runs of the largest differences, where a narrow sum would overflow. */
TEST(MoveKernels, longSumsDoNotOverflow)
{
    const size_t n = 5000000;
    const std::vector<uint8_t> zeros(n * 4, 0), ones(n * 4, 0xFF);
    const uint64_t most[OWN_32F] = {1, 255, 1, 65535, 1, 1};
    for (const int slot : {OWN_8U, OWN_8S, OWN_16U, OWN_16S, OWN_32S}) {
        const OwnSpan span = {zeros.data(), ones.data(), (ptrdiff_t)n, 0, 0, 0, 0, 1};
        State sum = {}, squares = {};
        ownSumRows[slot].run(&sum, span);
        ownSquaresRows[slot].run(&squares, span);
        EXPECT_EQ(sum.low, most[slot] * n) << depthNames[slot];
        EXPECT_EQ(squares.low + (squares.high << 32), most[slot] * most[slot] * n) << depthNames[slot];
    }
}

} // namespace
