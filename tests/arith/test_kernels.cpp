/* Every row of every table of kernels: the packed run gives, bit for bit, what the plain loop gives; at every length and
 * start, apart and in place, beside protected pages. A new table is one line here. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <math.h>

/* ---- Tables ---------------------------------------------------------------------------------------------------- */

extern const OwnRow ownAddRows[OWN_DEPTHS], ownSubRows[OWN_DEPTHS], ownMulRows[OWN_DEPTHS], ownAndRows[OWN_DEPTHS],
    ownOrRows[OWN_DEPTHS], ownXorRows[OWN_DEPTHS], ownAddSRows[OWN_DEPTHS], ownSubSRows[OWN_DEPTHS],
    ownMulSRows[OWN_DEPTHS], ownAndSRows[OWN_DEPTHS], ownOrSRows[OWN_DEPTHS], ownXorSRows[OWN_DEPTHS],
    ownLShiftSRows[OWN_DEPTHS], ownRShiftSRows[OWN_DEPTHS], ownSquareRows[OWN_DEPTHS], ownAbsRows[OWN_DEPTHS],
    ownAddSFPRows[OWN_DEPTHS], ownSubSFPRows[OWN_DEPTHS], ownMulSFPRows[OWN_DEPTHS];

/* A kernel's constant: two words, as the kernels take them. */
struct Constant {
    int32_t words[2];
};
typedef std::vector<Constant> Constants;

static Constants noConstant(int) { return {{}}; }
static Constants anyInteger(int) { return {{{0}}, {{1}}, {{-1}}, {{INT32_MAX}}, {{INT32_MIN}}, {{-1234567}}}; }
static Constants pattern(int) { return {{{0}}, {{-1}}, {{0x5A3C96E1}}}; }
static Constants shift(int slot)
{
    Constants all;
    const int bits[] = {8, 8, 8, 16, 16, 32, 0};
    for (int i = 1; i < bits[slot]; ++i) all.push_back({{i}});
    return all;
}
static Constants oneFloat(int)
{
    Constants all;
    for (float value : {0.0f, 1.0f, -2.625f, 3e38f, 1e-38f}) all.push_back({{std::bit_cast<int32_t>(value)}});
    return all;
}

/* Differences: the constant within the range that the face holds it to, then the flip as a byte. */
static Constants difference(int slot)
{
    const int32_t k[] = {0,    1,     -1,     100,   -100,   254,   255,    -255,  256,
                         -256, 30000, -30000, 65534, -65535, 65535, 100000, -70000};
    const int most[] = {0, 255, 255, 65535, 65535};
    Constants all;
    for (int32_t flip : {0, 1})
        for (int32_t value : k) {
            bool fits = slot == OWN_32S;
            if (slot == OWN_8U || slot == OWN_16U)
                fits = flip ? value > 0 && value < 2 * most[slot] : value > -most[slot] && value < most[slot];
            if (slot == OWN_8S || slot == OWN_16S) fits = value >= -most[slot] - flip && value <= most[slot] - flip;
            int32_t flipWord = 0;
            *(uint8_t*)&flipWord = (uint8_t)flip;
            if (fits) all.push_back({{value, flipWord}});
        }
    if (slot == OWN_32S) all.push_back({{INT32_MIN, 0}});
    return all;
}

static Constants oneWithFlip(int slot)
{
    Constants all;
    for (uint8_t flip : {0, 1})
        for (Constant k : oneFloat(slot)) {
            memcpy(&k.words[1], &flip, 1);
            all.push_back(k);
        }
    return all;
}

/* Factors within the range that the face holds them to. */
static Constants factor(int slot)
{
    switch (slot) {
    case OWN_8U: return {{{1}}, {{2}}, {{37}}, {{255}}};
    case OWN_8S: return {{{0}}, {{1}}, {{-1}}, {{3}}, {{-3}}, {{127}}, {{128}}, {{-128}}};
    case OWN_16U: return {{{1}}, {{2}}, {{257}}, {{32768}}, {{65535}}};
    case OWN_16S: return {{{0}}, {{1}}, {{-1}}, {{5}}, {{-300}}, {{32767}}, {{32768}}, {{-32768}}};
    }
    return {{{0}}, {{1}}, {{-1}}, {{7}}, {{-46341}}, {{INT32_MAX}}, {{INT32_MIN}}};
}

static const struct Table {
    const char* name;
    const OwnRow* rows;
    int nSources;
    Constants (*constants)(int slot);
    const char* served; /* by depth, as the depths' names below */
} tables[] = {
    {"vekAdd", ownAddRows, 2, noConstant, ".######"},
    {"vekSubtract", ownSubRows, 2, noConstant, "#######"},
    {"vekMultiply", ownMulRows, 2, noConstant, ".######"},
    {"vekAnd", ownAndRows, 2, noConstant, "######."},
    {"vekOr", ownOrRows, 2, noConstant, "######."},
    {"vekXor", ownXorRows, 2, noConstant, "######."},
    {"vekAddS", ownAddSRows, 1, anyInteger, ".....#."},
    {"vekSubtractS", ownSubSRows, 1, difference, ".#####."},
    {"vekMultiplyS", ownMulSRows, 1, factor, ".#####."},
    {"vekAndS", ownAndSRows, 1, pattern, "######."},
    {"vekOrS", ownOrSRows, 1, pattern, "######."},
    {"vekXorS", ownXorSRows, 1, pattern, "######."},
    {"vekLShiftS", ownLShiftSRows, 1, shift, ".#####."},
    {"vekRShiftS", ownRShiftSRows, 1, shift, ".#####."},
    {"vekSquare", ownSquareRows, 1, noConstant, "#######"},
    {"vekAbs", ownAbsRows, 1, noConstant, "######."},
    {"vekAddSFP", ownAddSFPRows, 1, oneFloat, "......#"},
    {"vekSubtractSFP", ownSubSFPRows, 1, oneWithFlip, "......#"},
    {"vekMultiplySFP", ownMulSFPRows, 1, oneFloat, "......#"},
};

/* ---- Runs ------------------------------------------------------------------------------------------------------ */

static const char* const depthNames[OWN_DEPTHS] = {"1U", "8U", "8S", "16U", "16S", "32S", "32F"};
static const ptrdiff_t sampleBytes[OWN_DEPTHS] = {1, 1, 1, 2, 2, 4, 4};

enum Place { APART, OVER_A, OVER_B };
static const char* const placeNames[] = {"apart", "over A", "over B"};

/* Longest run in bytes, and room for every start before it. */
enum { MOST_BYTES = 3 * 64 + 4, MOST_START = 64 };

/* A pool of samples from which runs are taken, with the ends of the ranges among them; floats without NaN. */
typedef std::vector<uint8_t> Pool;

static Pool makePool(int slot)
{
    static const uint32_t ends[] = {0,          0xFFFFFFFF, 0x80808080, 0x7F7F7F7F,
                                    0x80000000, 0x7FFFFFFF, 0x80008000, 0x7FFF7FFF};
    static const float floats[] = {0.0f, -0.0f, INFINITY, -INFINITY, 1e-40f, 3e38f, 1.0f};
    Random random(7);
    Pool pool(20011 * 4);
    for (size_t i = 0; i < pool.size(); i += (size_t)sampleBytes[slot]) {
        uint32_t word = draw(random, 0, 3) ? (uint32_t)random() : ends[draw(random, 0, 7)];
        if (slot == OWN_32F) {
            const int kind = draw(random, 0, 20);
            word = std::bit_cast<uint32_t>(kind < 7 ? floats[kind] : (float)draw(random, -100000, 100000) / 64);
        }
        memcpy(&pool[i], &word, (size_t)sampleBytes[slot]);
    }
    return pool;
}

/* Different runs for different numbers. */
static void takeSamples(const Pool& pool, uint32_t number, uint8_t* out, ptrdiff_t bytes)
{
    memcpy(out, &pool[number * 2654435761u % ((pool.size() - MOST_BYTES) / 4) * 4], (size_t)bytes);
}

/* Three blocks that end at a protected page. A run of n bytes and a start s lies in the last n + s bytes of its block (the
 * start counts from the end: then all addresses within 64 bytes occur, and s = 0 ends at the page). */
struct Blocks {
    GuardedBlock a{MOST_BYTES + MOST_START}, b{MOST_BYTES + MOST_START}, out{MOST_BYTES + MOST_START};
};

struct Run {
    const Table* table;
    int slot;
    Constant k;
    ptrdiff_t n;
    int start;
    Place place;
};

/* What the run makes wrong, as one line; empty: nothing. */
static std::string failureOf(const Run& run, Blocks& blocks, const Pool& pool, uint32_t number)
{
    const OwnRow& row = run.table->rows[run.slot];
    const ptrdiff_t bytes = run.n * sampleBytes[run.slot];
    const auto begin = [&](const GuardedBlock& block) { return block.data + block.bytes - run.start - bytes; };
    uint8_t *a = begin(blocks.a), *b = begin(blocks.b);
    uint8_t* out = run.place == APART ? begin(blocks.out) : run.place == OVER_A ? a : b;
    takeSamples(pool, number, a, bytes);
    takeSamples(pool, number + 0x9E3779B9, b, bytes);
    GuardedBlock& outBlock = run.place == APART ? blocks.out : run.place == OVER_A ? blocks.a : blocks.b;
    memset(outBlock.data, 0xA5, (size_t)(out - outBlock.data));
    memset(out + bytes, 0xA5, (size_t)run.start);

    uint8_t plain[MOST_BYTES];
    const void* second = run.table->nSources == 2 ? b : nullptr;
    row.plain(plain, a, second, run.n, &run.k);
    row.run(out, a, second, run.n, &run.k);

    ptrdiff_t at = -1;
    for (ptrdiff_t i = 0; i < bytes && at < 0; ++i)
        if (out[i] != plain[i]) at = i;
    bool stray = false;
    for (uint8_t* p = outBlock.data; p < outBlock.data + outBlock.bytes; ++p)
        if ((p < out || p >= out + bytes) && *p != 0xA5) stray = true;
    if (at < 0 && !stray) return "";
    char text[200];
    snprintf(text, sizeof(text), "%s %s k=%d,%d n=%d start=%d %s: byte %d is %02X, not %02X%s", run.table->name,
             depthNames[run.slot], run.k.words[0], run.k.words[1], (int)run.n, run.start, placeNames[run.place],
             (int)at, at < 0 ? 0 : out[at], at < 0 ? 0 : plain[at],
             stray ? "; and bytes around the run have changed" : "");
    return text;
}

static void testRow(const Table& table, int slot, Blocks& blocks)
{
    const Pool pool = makePool(slot);
    const Constants constants = table.constants(slot);
    ASSERT_FALSE(constants.empty()) << table.name << " " << depthNames[slot];
    uint32_t number = 0;
    int nFailures = 0;
    for (ptrdiff_t n = 0; n * sampleBytes[slot] < MOST_BYTES; ++n)
        for (int start = 0; start < MOST_START; ++start)
            for (Place place : {APART, OVER_A, OVER_B}) {
                if (place == OVER_B && table.nSources == 1) continue;
                /* All constants at each length; at one length and start one of them. */
                const Constant& k = constants[(++number * 2654435761u >> 16) % constants.size()];
                const std::string failure = failureOf({&table, slot, k, n, start, place}, blocks, pool, number);
                if (!failure.empty() && ++nFailures <= 5) ADD_FAILURE() << failure;
            }
    EXPECT_EQ(nFailures, 0) << "runs of " << table.name << " " << depthNames[slot];
}

TEST(Kernels, packedRunsEqualThePlainLoops)
{
    Blocks blocks;
    for (const Table& table : tables)
        for (int slot = 0; slot < OWN_DEPTHS; ++slot) {
            const OwnRow& row = table.rows[slot];
            const bool served = table.served[slot] == '#';
            EXPECT_EQ(row.run != nullptr, served) << table.name << " " << depthNames[slot];
            EXPECT_EQ(row.plain != nullptr, served) << table.name << " " << depthNames[slot];
            if (row.run && row.plain) testRow(table, slot, blocks);
        }
}
