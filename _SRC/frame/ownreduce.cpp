/* ownreduce: from images to numbers. The samples of a rectangle are given to a run as spans, as long as the headers and the
 * mask allow: all rows at once, a row, or a chunk of one whose unselected samples are blanked in scratch. */
#include "ownrow.h"
#include "ownsimd.h"

#include <stdlib.h>

/* ---- Scratch and state --------------------------------------------------------------------------------------- */

struct alignas(64) OwnReduceScratch {
    uint8_t in[2][OWN_CHUNK_BYTES];
    uint8_t pixelBits[OWN_CHUNK_BYTES + 8];
    uint8_t sampleBits[OWN_CHUNK_BYTES + 8];
};

/* Rows of samples: whole pixels, or those of one channel. */
struct OwnSource {
    const uint8_t* row;
    int bit;
    ptrdiff_t stepBytes, rowStep;
};
struct OwnRows {
    const OwnReduction* reduction;
    OwnSource source[2];
    const OwnView* mask;
    int sampleBits;
    int step;  /* samples of a pixel in the row */
    bool some; /* of a pixel's samples some don't take part */
    OwnSpread spread;
    int32_t channel;
    int32_t width, height; /* in pixels */

    int bytes() const { return sampleBits >> 3; }
    bool strided(int i) const { return sampleBits > 1 && source[i].stepBytes != bytes(); }
};

/* ---- Chunks -------------------------------------------------------------------------------------------------- */

/* out = selected ? in : 0. */
template <class T> static void ownKeep(uint8_t* out, const uint8_t* in, const uint8_t* bits, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    ptrdiff_t i = 0;
    for (; lanes >= 8 && i <= n - lanes; i += lanes)
        ownStore(out + i * size, ownLoad<T>(in + i * size) & ownBitLanes<T>(bits + (i >> 3)));
    for (; i < n; ++i) {
        T x = 0;
        if (bits[i >> 3] >> (7 - (i & 7)) & 1) memcpy(&x, in + i * size, sizeof(T));
        memcpy(out + i * size, &x, sizeof(T));
    }
}

/* Where n samples of one image are from pixel x of row y on, side by side and blanked by the bits (null: none). */
static const void* ownSamples(const OwnRows& rows, int i, int32_t x, int32_t y, ptrdiff_t n, const uint8_t* bits,
                              uint8_t* scratch)
{
    const OwnSource& source = rows.source[i];
    const uint8_t* in = source.row + y * source.rowStep;
    if (rows.sampleBits == 1) {
        const ptrdiff_t at = (ptrdiff_t)source.bit + x;
        ownAlignBits(scratch, 0, in + (at >> 3), (int)(at & 7), n);
        for (ptrdiff_t j = 0; bits && j < (n + 7) >> 3; ++j) scratch[j] &= bits[j];
        if (n & 7) scratch[n >> 3] &= (uint8_t) ~(0xFF >> (n & 7));
        return scratch;
    }
    in += x * (ptrdiff_t)rows.step * source.stepBytes;
    if (rows.strided(i)) {
        ownGather(scratch, in, source.stepBytes, rows.bytes(), n);
        in = scratch;
    }
    if (!bits) return in;
    if (rows.bytes() == 1) ownKeep<uint8_t>(scratch, in, bits, n);
    else if (rows.bytes() == 2) ownKeep<uint16_t>(scratch, in, bits, n);
    else ownKeep<uint32_t>(scratch, in, bits, n);
    return scratch;
}

static ptrdiff_t ownCountBits(const uint8_t* bits, ptrdiff_t n)
{
    ptrdiff_t count = 0;
    for (ptrdiff_t i = 0; i < n >> 3; ++i) count += std::popcount(bits[i]);
    return n & 7 ? count + std::popcount((uint8_t)(bits[n >> 3] & ~(0xFF >> (n & 7)))) : count;
}

/* Which samples of nPixels pixels are selected; null: all. */
static const uint8_t* ownSelected(const OwnRows& rows, int32_t x, int32_t y, ptrdiff_t nPixels, OwnReduceScratch& s)
{
    if (rows.mask) {
        const ptrdiff_t at = (ptrdiff_t)rows.mask->bit + x;
        ownAlignBits(s.pixelBits, 0, rows.mask->data + y * rows.mask->rowStep + (at >> 3), (int)(at & 7), nPixels);
        if (rows.step == 1) return s.pixelBits;
    } else {
        if (!rows.some) return nullptr;
        memset(s.pixelBits, 0xFF, (size_t)(nPixels + 7) >> 3);
    }
    ownSpreadBits(s.sampleBits, rows.spread, s.pixelBits, nPixels);
    return s.sampleBits;
}

static void ownReduceChunk(const OwnRows& rows, int32_t x, int32_t y, int32_t nPixels, OwnReduceScratch& s)
{
    const ptrdiff_t n = (ptrdiff_t)nPixels * rows.step;
    const uint8_t* bits = ownSelected(rows, x, y, nPixels, s);
    const OwnShare share = bits ? ownShareOf(bits, n) : OWN_ALL;
    if (share == OWN_NONE) return;
    if (share == OWN_ALL) bits = nullptr;
    const OwnReduction& reduction = *rows.reduction;
    OwnSpan span = {nullptr, nullptr, n, bits ? n - ownCountBits(bits, n) : 0, x, y, rows.channel, rows.step};
    span.a = ownSamples(rows, 0, x, y, n, bits, s.in[0]);
    if (reduction.nImages > 1) span.b = ownSamples(rows, 1, x, y, n, bits, s.in[1]);
    reduction.run(reduction.state, span);
}

/* ---- Rows ---------------------------------------------------------------------------------------------------- */

/* Whether the run may read the rows where they lie. */
static bool ownReadsStraight(const OwnRows& rows)
{
    const bool bits = rows.sampleBits == 1;
    bool straight = !rows.mask && !rows.some && (!bits || rows.width % 8 == 0);
    for (int i = 0; i < rows.reduction->nImages; ++i)
        straight = straight && (bits ? rows.source[i].bit == 0 : !rows.strided(i));
    return straight;
}

/* Rows that lie straight: one span each, or one for all where they follow each other without a gap, or go as a block. */
static void ownReduceStraight(const OwnRows& rows)
{
    const OwnReduction& reduction = *rows.reduction;
    const ptrdiff_t n = (ptrdiff_t)rows.width * rows.step;
    if (reduction.inBlocks)
        return reduction.run(reduction.state, {rows.source[0].row, nullptr, n, 0, 0, 0, rows.channel, rows.step,
                                               rows.height, rows.source[0].rowStep});
    bool abutting = !reduction.byRow;
    for (int i = 0; i < reduction.nImages; ++i)
        abutting = abutting && rows.source[i].rowStep * 8 == n * rows.sampleBits;
    for (int32_t y = 0; y < rows.height; ++y) {
        OwnSpan span = {nullptr, nullptr, abutting ? n * rows.height : n, 0, 0, y, rows.channel, rows.step};
        span.a = rows.source[0].row + y * rows.source[0].rowStep;
        if (reduction.nImages > 1) span.b = rows.source[1].row + y * rows.source[1].rowStep;
        reduction.run(reduction.state, span);
        if (abutting) return;
    }
}

static void ownReduceRows(const OwnRows& rows)
{
    if (ownReadsStraight(rows)) return ownReduceStraight(rows);
    OwnReduceScratch scratch;
    const int32_t perPixel = rows.step * std::max(rows.bytes(), 1);
    const int32_t chunk = rows.sampleBits == 1 ? 8 * (OWN_CHUNK_BYTES - 8) : (OWN_CHUNK_BYTES - 64) / perPixel & ~7;
    for (int32_t y = 0; y < rows.height; ++y)
        for (int32_t x = 0; x < rows.width;) {
            const int32_t nPixels = std::min(chunk, rows.width - x);
            ownReduceChunk(rows, x, y, nPixels, scratch);
            x += nPixels;
        }
}

/* ---- From headers to rows ------------------------------------------------------------------------------------- */

/* Whether whole pixels can be taken: the channels lie alike, and few others lie between them. */
static bool ownTakesPixels(const OwnReduction& reduction, const OwnView* view)
{
    const int step = view[0].pixelStep;
    const OwnChannels& channels = reduction.channels[0];
    if (reduction.byChannel || step == 1) return false;
    if (reduction.nImages > 1 && (view[1].pixelStep != step || reduction.channels[1].first != channels.first))
        return false;
    return step <= OWN_WIDE_STEP || (channels.count == step && !reduction.mask);
}

void ownReduce(const OwnReduction& reduction)
{
    OwnView view[2], mask;
    OwnRows rows = {};
    rows.reduction = &reduction;
    rows.width = rows.height = INT32_MAX;
    const auto take = [&](const OwnView& some) {
        rows.width = std::min(rows.width, some.width);
        rows.height = std::min(rows.height, some.height);
    };
    for (int i = 0; i < reduction.nImages; ++i) take(view[i] = ownView(reduction.image[i]));
    if (reduction.mask) take(mask = ownView(reduction.mask));
    if (rows.width == 0 || rows.height == 0) return;
    rows.mask = reduction.mask ? &mask : nullptr;
    rows.sampleBits = view[0].sampleBits;

    const auto source = [&](int i, int32_t channel, ptrdiff_t step) {
        rows.source[i] = {view[i].data + channel * view[i].channelStep, view[i].bit, step * rows.bytes(),
                          view[i].rowStep};
    };
    const OwnChannels& channels = reduction.channels[0];
    if (ownTakesPixels(reduction, view)) {
        for (int i = 0; i < reduction.nImages; ++i) source(i, 0, 1);
        rows.step = view[0].pixelStep;
        rows.channel = -1;
        rows.some = channels.count < rows.step;
        if (rows.step <= OWN_WIDE_STEP) rows.spread = ownMakeSpread(rows.step, channels);
        return channels.count > 0 ? ownReduceRows(rows) : (void)0;
    }
    rows.step = 1;
    for (rows.channel = 0; rows.channel < channels.count; ++rows.channel) {
        for (int i = 0; i < reduction.nImages; ++i)
            source(i, reduction.channels[i].first + rows.channel, view[i].pixelStep);
        ownReduceRows(rows);
    }
}
