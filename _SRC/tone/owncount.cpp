/* owncount: histograms over all levels of a depth. */
#include "ownsimd.h"
#include "owntone.h"

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

template <class T> static void ownCountPlain(void* state, const OwnSpan& span)
{
    uint32_t* counters = (uint32_t*)state;
    for (ptrdiff_t i = 0; i < span.n; ++i) {
        T level;
        memcpy(&level, (const char*)span.a + i * (ptrdiff_t)sizeof(T), sizeof(T));
        ++counters[level];
    }
}

/* 8 bits. A counter that is raised must be stored before it can be raised again, so eight tables take turns: neighbouring
 * samples of one level then don't wait for each other. */
static void ownCountRun8(void* state, const OwnSpan& span)
{
    uint32_t(*turn)[256] = (uint32_t(*)[256])state;
    const uint8_t* a = (const uint8_t*)span.a;
    ptrdiff_t i = 0;
    for (; i + 8 <= span.n; i += 8) {
        uint64_t word;
        memcpy(&word, a + i, 8);
        ++turn[0][word & 0xFF];
        ++turn[1][word >> 8 & 0xFF];
        ++turn[2][word >> 16 & 0xFF];
        ++turn[3][word >> 24 & 0xFF];
        ++turn[4][word >> 32 & 0xFF];
        ++turn[5][word >> 40 & 0xFF];
        ++turn[6][word >> 48 & 0xFF];
        ++turn[7][word >> 56];
    }
    for (; i < span.n; ++i) ++turn[0][a[i]];
}

/* Bits. Spare ones of the last byte are 0. */
static void ownCountBits(void* state, const OwnSpan& span)
{
    uint32_t* counters = (uint32_t*)state;
    const uint8_t* a = (const uint8_t*)span.a;
    const ptrdiff_t bytes = (span.n + 7) >> 3;
    ptrdiff_t i = 0, ones = 0;
    for (; i + 8 <= bytes; i += 8) {
        uint64_t word;
        memcpy(&word, a + i, 8);
        ones += std::popcount(word);
    }
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
    /*  8U */ {ownCountRun8, ownCountPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownCountPlain<uint16_t>, ownCountPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {},
    /* 32F */ {},
};

/* ---- Images -------------------------------------------------------------------------------------------------- */

/* One channel. What eight tables have counted in turns is added up. */
static void ownCountChannel(OwnReduction& reduction, uint32_t* counters)
{
    reduction.state = counters;
    if (reduction.image[0]->depth != VEK_DEPTH_8U) return ownReduce(reduction);
    uint32_t turn[OWN_COUNT_TURNS][256] = {};
    reduction.state = turn;
    ownReduce(reduction);
    for (const uint32_t* table : turn)
        for (int level = 0; level < 256; ++level) counters[level] += table[level];
}

/* An untiled image, one channel after the other. */
static void ownCountRegion(const VekImage* image, const OwnChannels& channels, uint32_t* counters)
{
    OwnReduction reduction = {};
    reduction.nImages = 1;
    reduction.image[0] = image;
    reduction.byChannel = true;
    reduction.run = ownCountRows[ownSlot(image->depth)].run;
    for (int32_t c = 0; c < channels.count; ++c) {
        reduction.channels[0] = {channels.first + c, 1, channels.single};
        ownCountChannel(reduction, counters + c * (ptrdiff_t)ownLevels(image));
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
