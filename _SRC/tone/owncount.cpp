/* owncount: histograms over all levels of a depth. */
#include "ownsimd.h"
#include "owntone.h"

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

static void ownCountRun16(void* state, const OwnSpan& span)
{
    uint32_t* counters = (uint32_t*)state;
    for (ptrdiff_t i = 0; i < span.n; ++i) {
        uint16_t level;
        memcpy(&level, (const char*)span.a + 2 * i, 2);
        ++counters[level];
    }
}

/* 8 bits. A counter that is raised must be stored before it can be raised again, so tables take turns: neighbouring samples
 * of one level then don't wait for each other. */
typedef uint32_t OwnCountTables[OWN_COUNT_TURNS][256];
static void ownCountPlain8(void* state, const OwnSpan& span)
{
    for (ptrdiff_t i = 0; i < span.n; ++i)
        ++(*(OwnCountTables*)state)[i % OWN_COUNT_TURNS][((const uint8_t*)span.a)[i]];
}

static inline void ownCountTurn(OwnCountTables& turn, const uint8_t* a, uint32_t times)
{
    uint64_t word;
    uint32_t rest;
    memcpy(&word, a, 8);
    memcpy(&rest, a + 8, 4);
    if (std::endian::native == std::endian::big) word = __builtin_bswap64(word), rest = __builtin_bswap32(rest);
    for (int i = 0; i < 8; ++i) turn[i][word >> 8 * i & 0xFF] += times;
    for (int i = 0; i < 4; ++i) turn[8 + i][rest >> 8 * i & 0xFF] += times;
}

/* Areas of one colour are counted at once: where each sample of a piece is the same as the one a turn before. */
static constexpr ptrdiff_t OWN_COUNT_PIECE = 8 * OWN_COUNT_TURNS;
static inline bool ownRepeats(const uint8_t* a)
{
    constexpr ptrdiff_t n = OWN_COUNT_PIECE - OWN_COUNT_TURNS;
    OwnVec<uint8_t> unlike = {};
    for (ptrdiff_t i = 0; i < n; i += OWN_VEC_BYTES) {
        const uint8_t* at = a + std::min(i, n - OWN_VEC_BYTES);
        unlike = unlike | (ownLoad<uint8_t>(at) ^ ownLoad<uint8_t>(at + OWN_COUNT_TURNS));
    }
    return ownIsZero(unlike);
}

static void ownCountRun8(void* state, const OwnSpan& span)
{
    OwnCountTables& turn = *(OwnCountTables*)state;
    const uint8_t* a = (const uint8_t*)span.a;
    ptrdiff_t i = 0;
    for (; i + OWN_COUNT_PIECE <= span.n; i += OWN_COUNT_PIECE)
        if (ownRepeats(a + i)) ownCountTurn(turn, a + i, OWN_COUNT_PIECE / OWN_COUNT_TURNS);
        else
            for (int j = 0; j < OWN_COUNT_PIECE; j += OWN_COUNT_TURNS) ownCountTurn(turn, a + i + j, 1);
    for (; i < span.n; ++i) ++turn[i % OWN_COUNT_TURNS][a[i]];
}

/* One channel of many 8-bit samples: neighbours are counted together, half as many stores, in a table for all pairs that the
 * second-level cache holds. Which of the two is the lower byte makes no difference, since both are counted. */
struct OwnPairs {
    uint32_t pair[1 << 16], single[256];
};
static void ownCountPairs(void* state, const OwnSpan& span)
{
    OwnPairs& pairs = *(OwnPairs*)state;
    const uint8_t* a = (const uint8_t*)span.a;
    ptrdiff_t i = 0;
    for (; i + OWN_COUNT_PIECE <= span.n; i += OWN_COUNT_PIECE)
        if (ownRepeats(a + i))
            for (int k = 0; k < OWN_COUNT_TURNS; ++k) pairs.single[a[i + k]] += OWN_COUNT_PIECE / OWN_COUNT_TURNS;
        else
            for (int j = 0; j < OWN_COUNT_PIECE; j += 8) {
                uint64_t word;
                memcpy(&word, a + i + j, 8);
                for (int bit = 0; bit < 64; bit += 16) ++pairs.pair[word >> bit & 0xFFFF];
            }
    for (; i < span.n; ++i) ++pairs.single[a[i]];
}

/* Bits. Spare ones of the last byte are 0. */
static void ownCountBits(void* state, const OwnSpan& span)
{
    uint32_t* counters = (uint32_t*)state;
    const uint8_t* a = (const uint8_t*)span.a;
    const ptrdiff_t bytes = (span.n + 7) >> 3;
    ptrdiff_t i = 0, ones = 0;
    const auto eight = [=](ptrdiff_t at) {
        uint64_t word;
        memcpy(&word, a + at, 8);
        return std::popcount(word);
    };
    for (; i + 32 <= bytes; i += 32) ones += (eight(i) + eight(i + 8)) + (eight(i + 16) + eight(i + 24));
    for (; i < bytes; ++i) ones += std::popcount(a[i]);
    counters[1] += (uint32_t)ones;
    counters[0] += (uint32_t)(span.n - ones);
}
static void ownCountBitsPlain(void* state, const OwnSpan& span)
{
    for (ptrdiff_t i = 0; i < span.n; ++i) ++((uint32_t*)state)[((const uint8_t*)span.a)[i >> 3] >> (7 - (i & 7)) & 1];
}

const OwnReduceRow ownCountRows[OWN_DEPTHS] = {
    /*  1U */ {ownCountBits, ownCountBitsPlain},
    /*  8U */ {ownCountRun8, ownCountPlain8},
    /*  8S */ {},
    /* 16U */ {ownCountRun16, ownCountRun16},
    /* 16S */ {},
    /* 32S */ {},
    /* 32F */ {},
};

/* Samples from which on the table of pairs is worth its clearing and its summing. */
static constexpr int64_t OWN_COUNT_PAIRS_FROM = 1 << 18;

/* ---- Images -------------------------------------------------------------------------------------------------- */

/* All channels of 8-bit pixels at once: table t has channel t % step. */
static void ownCountPixels(OwnReduction& reduction, const OwnChannels& channels, uint32_t* counters)
{
    OwnCountTables turn = {};
    const int32_t step = reduction.channels[0].count;
    reduction.state = turn;
    ownReduce(reduction);
    for (int32_t t = 0; t < OWN_COUNT_TURNS; ++t)
        for (int level = 0; level < 256 && t % step < channels.count; ++level)
            counters[t % step * 256 + level] += turn[t][level];
}

/* One channel in pairs. False when memory for the table is short. */
static bool ownCountInPairs(OwnReduction reduction, uint32_t* counters)
{
    OwnPairs* pairs = ownTables<OwnPairs>(1, 1);
    if (!pairs) return false;
    reduction.run = ownCountPairs;
    reduction.state = pairs;
    ownReduce(reduction);
    for (int high = 0; high < 256; ++high) {
        uint32_t sum = pairs->single[high];
        for (int low = 0; low < 256; ++low) {
            sum += pairs->pair[high << 8 | low];
            counters[low] += pairs->pair[high << 8 | low];
        }
        counters[high] += sum;
    }
    ownFree(pairs);
    return true;
}

/* An untiled image: its pixels whole, or one channel after the other. */
static void ownCountRegion(const VekImage* image, const OwnChannels& channels, uint32_t* counters)
{
    const int32_t nSamples = image->dataOrder == VEK_DATA_ORDER_PIXEL && !channels.single ? image->nChannels : 1;
    const bool isByte = image->depth == VEK_DEPTH_8U, isWhole = isByte && OWN_COUNT_TURNS % nSamples == 0;
    OwnReduction reduction = {};
    reduction.nImages = 1;
    reduction.image[0] = image;
    reduction.run = ownCountRows[ownSlot(image->depth)].run;
    if (isWhole && nSamples > 1) {
        reduction.channels[0] = {0, nSamples, false};
        return ownCountPixels(reduction, channels, counters);
    }
    const VekROI region = ownRegion(image);
    const bool inPairs = isByte && region.width * (int64_t)region.height >= OWN_COUNT_PAIRS_FROM;
    reduction.byChannel = true;
    for (int32_t c = 0; c < channels.count; ++c, counters += ownLevels(image)) {
        reduction.channels[0] = {channels.first + c, 1, channels.single};
        reduction.state = counters;
        if (inPairs && ownCountInPairs(reduction, counters)) continue;
        if (isByte) ownCountPixels(reduction, {0, 1, true}, counters);
        else ownReduce(reduction);
    }
}

bool ownCountImage(const OwnFace& face, const VekImage* srcImage, const OwnChannels& channels, uint32_t* counters)
{
    if (!srcImage->tileInfo) {
        ownCountRegion(srcImage, channels, counters);
        return true;
    }
    const VekROI region = ownRegion(srcImage);
    OwnPieces walk = {};
    walk.face = &face;
    walk.nParts = 1;
    walk.part[0] = {srcImage,      region.xOffset,   region.yOffset,          false,
                    VEK_TILE_READ, VEK_StatusFailed, "Error get tile to read"};
    walk.width = region.width;
    walk.height = region.height;
    while (ownOpenPiece(walk)) {
        ownCountRegion(&walk.header[0], channels, counters);
        ownClosePiece(walk);
    }
    return !walk.failed;
}
