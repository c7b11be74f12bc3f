/* ownrow: the traversal. It takes one row kernel over every pixel of an operation's rectangle.
 *
 * The rectangle is cut into runs, as long as the headers allow, fastest first:
 *   whole buffer   images that are taken whole and laid out alike: one run over the block
 *   whole rows     samples that lie side by side in every image: one run a row, straight from source to destination, or
 *                  one for all rows where these follow each other without a gap
 *   spared         the same, but a mask, alpha or a channel of interest spares some samples: the kernel works into scratch
 *                  in the first-level cache, and what the write bits select of it is stored
 *   turned         a source whose rows run backward is turned into scratch, pixel by pixel
 *   strided        channels that lie differently in the images: one channel at a time, gathered, computed, scattered
 *   bits           1-bit images: the kernel's rule is carried out in one pass, in which the sources' bits are shifted to the
 *                  destination's place */
#include "ownrow.h"
#include "ownsimd.h"

#include <stdlib.h>

/* ---- Scratch ------------------------------------------------------------------------------------------------- */

/* Samples of the largest pixel that is turned as a whole: a chunk holds some of them. */
enum { OWN_MOST_TURNED = OWN_CHUNK_BYTES / 16 };

/* What one chunk of a row needs, on the stack: operands and result in the first-level cache, and write bits. */
struct alignas(64) OwnScratch {
    uint8_t in[2][OWN_CHUNK_BYTES];
    uint8_t out[OWN_CHUNK_BYTES];
    uint8_t pixelBits[OWN_CHUNK_BYTES / 8 + 8];
    uint8_t writeBits[OWN_CHUNK_BYTES];
};

/* ---- Bits ---------------------------------------------------------------------------------------------------- */

OwnSpread ownMakeSpread(int step, const OwnChannels& channels)
{
    const uint32_t pattern = ((1u << channels.count) - 1) << (step - channels.first - channels.count);
    OwnSpread spread;
    spread.step = step;
    for (uint32_t bits = 0; bits < 16; ++bits) {
        uint32_t out = 0;
        for (int pixel = 3; pixel >= 0; --pixel)
            out = (uint32_t)((uint64_t)out << step) | (bits >> pixel & 1 ? pattern : 0);
        spread.nibble[bits] = out;
    }
    return spread;
}

void ownSpreadBits(uint8_t* out, const OwnSpread& spread, const uint8_t* pixelBits, ptrdiff_t nPixels)
{
    const int step = spread.step;
    for (ptrdiff_t i = 0; i < (nPixels + 7) >> 3; ++i) {
        const uint64_t high = spread.nibble[pixelBits[i] >> 4], low = spread.nibble[pixelBits[i] & 15];
        const uint64_t bits = (high << 4 * step | low) << (64 - 8 * step);
        const uint64_t bytes = std::endian::native == std::endian::little ? __builtin_bswap64(bits) : bits;
        memcpy(out + i * step, &bytes, 8);
    }
}

/* ---- Storing some of a run ----------------------------------------------------------------------------------- */

/* dst = write ? result : dst, sample by sample. Words of the write bits that are all 0 or all 1 are not looked at
 * closer. */
template <class T> static void ownStoreSamples(void* dst, const void* result, const uint8_t* writeBits, ptrdiff_t n)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T), lanes = OwnVec<T>::lanes;
    char* out = (char*)dst;
    const char* in = (const char*)result;
    ptrdiff_t i = 0;
    for (; lanes >= 8 && i + 64 <= n; i += 64) {
        uint64_t word;
        memcpy(&word, writeBits + (i >> 3), 8);
        if (word == 0) continue;
        if (word == ~(uint64_t)0) {
            memcpy(out + i * size, in + i * size, 64 * size);
            continue;
        }
        for (ptrdiff_t j = i; j < i + 64; j += lanes)
            ownStore(out + j * size, ownSelect(ownBitLanes<T>(writeBits + (j >> 3)), ownLoad<T>(in + j * size),
                                               ownLoad<T>(out + j * size)));
    }
    for (; i < n; ++i)
        if (writeBits[i >> 3] >> (7 - (i & 7)) & 1) memcpy(out + i * size, in + i * size, size);
}

/* ---- Strided samples ----------------------------------------------------------------------------------------- */

template <class T> static void ownGatherRun(void* out, const uint8_t* src, ptrdiff_t stepBytes, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) memcpy((char*)out + i * (ptrdiff_t)sizeof(T), src + i * stepBytes, sizeof(T));
}
template <class T> static void ownScatterRun(uint8_t* dst, ptrdiff_t stepBytes, const void* result, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i)
        memcpy(dst + i * stepBytes, (const char*)result + i * (ptrdiff_t)sizeof(T), sizeof(T));
}

void ownGather(void* out, const uint8_t* src, ptrdiff_t stepBytes, int bytes, ptrdiff_t n)
{
    if (bytes == 1) ownGatherRun<uint8_t>(out, src, stepBytes, n);
    else if (bytes == 2) ownGatherRun<uint16_t>(out, src, stepBytes, n);
    else ownGatherRun<uint32_t>(out, src, stepBytes, n);
}
static void ownScatter(uint8_t* dst, ptrdiff_t stepBytes, int bytes, const void* result, ptrdiff_t n)
{
    if (bytes == 1) ownScatterRun<uint8_t>(dst, stepBytes, result, n);
    else if (bytes == 2) ownScatterRun<uint16_t>(dst, stepBytes, result, n);
    else ownScatterRun<uint32_t>(dst, stepBytes, result, n);
}
void ownStoreSome(void* dst, const void* result, int bytes, const uint8_t* writeBits, ptrdiff_t n)
{
    if (bytes == 1) ownStoreSamples<uint8_t>(dst, result, writeBits, n);
    else if (bytes == 2) ownStoreSamples<uint16_t>(dst, result, writeBits, n);
    else ownStoreSamples<uint32_t>(dst, result, writeBits, n);
}

/* The rule of a copy. */
static constexpr OwnBitRule ownCopiedBits = {0, 0xFF, 0, 0};

/* ---- A pass: rows of samples, one kernel --------------------------------------------------------------------- */

/* One image's samples in the current row. */
struct OwnSide {
    uint8_t* row; /* the byte of the first sample */
    int bit;      /* 1-bit: its place in the byte */
    int sampleBits;
    ptrdiff_t stepBytes; /* from a sample to the next; the sample's own size when they lie side by side */
    ptrdiff_t rowStep;
    int turned; /* samples of a pixel of a row that runs backward, or 0; then `row` is its last pixel in memory */

    int bytes() const { return sampleBits >> 3; }
    bool strided() const { return stepBytes != bytes(); }
};

struct OwnPass {
    OwnRun* run;
    const void* k;
    bool copies;   /* the result of a sample lies in the source already */
    bool straight; /* rows must go straight */
    int nSources;
    OwnSide src[2], dst;
    const OwnView* mask; /* null: none */
    bool spared;         /* some samples keep their values: spread, and the mask, say which */
    OwnSpread spread;
    int step;           /* samples of a pixel, where rows are taken as whole pixels; otherwise 1 */
    ptrdiff_t nSamples; /* in a row */
};

/* The bits from bit x of a row on. */
static OwnBitsAt ownBitsOf(const OwnSide& side, ptrdiff_t x)
{
    const ptrdiff_t at = side.turned ? side.bit - x : side.bit + x;
    return {side.row + (at >> 3), (int)(at & 7), side.turned != 0};
}

/* Whether samples can be read where they lie, bits from the top bit of a byte on. */
static bool ownInPlace(const OwnSide& side, ptrdiff_t x)
{
    return !side.turned && (side.sampleBits == 1 ? ((side.bit + x) & 7) == 0 : !side.strided());
}

/* n samples from sample x of the row on, side by side. */
static void ownBring(uint8_t* out, const OwnSide& side, ptrdiff_t x, ptrdiff_t n)
{
    if (side.sampleBits == 1) {
        const OwnBitsAt bits = ownBitsOf(side, x);
        return ownAlignBits(out, 0, bits.byte, bits.bit, n);
    }
    if (!side.turned) return ownGather(out, side.row + x * side.stepBytes, side.stepBytes, side.bytes(), n);
    const int pixelBytes = side.turned * side.bytes();
    ownTurnPixels(out, side.row - (x + n - side.turned) * side.bytes(), pixelBytes, n / side.turned);
}

/* Where the kernel may read n samples from sample x of the row on: in place, or brought into scratch. */
static const void* ownFetch(const OwnSide& side, ptrdiff_t x, ptrdiff_t n, uint8_t* scratch)
{
    if (ownInPlace(side, x))
        return side.sampleBits == 1 ? side.row + ((side.bit + x) >> 3) : side.row + x * side.stepBytes;
    ownBring(scratch, side, x, n);
    return scratch;
}

/* The write bits of n samples from sample x of row y on; null when all are written. */
static const uint8_t* ownWriteBits(const OwnPass& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n, OwnScratch& s)
{
    const int step = pass.spared ? pass.step : 1;
    if (pass.mask) {
        const ptrdiff_t at = pass.mask->bit + x / step;
        ownAlignBits(s.pixelBits, 0, pass.mask->data + y * pass.mask->rowStep + (at >> 3), (int)(at & 7), n / step);
    }
    if (step == 1) return pass.mask ? s.pixelBits : nullptr;
    if (!pass.mask) {
        if (x > 0 || y > 0) return s.writeBits; /* every chunk begins with a pixel: the bits of the first one hold */
        memset(s.pixelBits, 0xFF, (size_t)(n / step + 7) / 8);
    }
    ownSpreadBits(s.writeBits, pass.spread, s.pixelBits, n / step);
    return s.writeBits;
}

/* A chunk of row y, n samples from sample x on. */
static void ownRunChunk(const OwnPass& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n, OwnScratch& s)
{
    const uint8_t* writeBits = ownWriteBits(pass, x, y, n, s);
    const OwnShare share = writeBits ? ownShareOf(writeBits, n) : OWN_ALL;
    if (share == OWN_NONE) return;
    const OwnSide& dst = pass.dst;
    if (pass.copies && share == OWN_ALL && dst.sampleBits > 1 && !dst.strided() && !ownInPlace(pass.src[0], x))
        return ownBring(dst.row + x * dst.stepBytes, pass.src[0], x, n);
    const void* a = ownFetch(pass.src[0], x, n, s.in[0]);
    const void* b = pass.nSources > 1 ? ownFetch(pass.src[1], x, n, s.in[1]) : nullptr;
    if (dst.sampleBits == 1) {
        pass.run(s.out, a, b, n, pass.k);
        const uint8_t* write = share == OWN_ALL ? nullptr : writeBits;
        return ownPutBits({ownBitsOf(dst, x), n, ownCopiedBits, 1, {{s.out, 0, false}}, {write, 0, false}, 0, {}, 0});
    }
    uint8_t* out = dst.row + x * dst.stepBytes;
    if (share == OWN_ALL && !dst.strided()) return pass.run(out, a, b, n, pass.k);
    const void* result = pass.copies ? a : s.out;
    if (!pass.copies) pass.run(s.out, a, b, n, pass.k);
    if (!dst.strided()) return ownStoreSome(out, result, dst.bytes(), writeBits, n);
    if (share == OWN_SOME) {
        ownGather(s.in[1], out, dst.stepBytes, dst.bytes(), n);
        ownStoreSome(s.in[1], result, dst.bytes(), writeBits, n);
        return ownScatter(out, dst.stepBytes, dst.bytes(), s.in[1], n);
    }
    ownScatter(out, dst.stepBytes, dst.bytes(), result, n);
}

/* ---- Rows of bits --------------------------------------------------------------------------------------------- */

/* The mask from row y on. */
static void ownSetBitMask(OwnBitRun& run, const OwnPass& pass, ptrdiff_t y)
{
    if (!pass.mask) return;
    run.mask = {pass.mask->data + y * pass.mask->rowStep, pass.mask->bit, false};
    run.maskStep = pass.mask->rowStep;
}

static void ownRunBits(const OwnPass& pass, ptrdiff_t height)
{
    const OwnBitRule rule = pass.copies ? ownCopiedBits : ownBitRule(pass.run, pass.k);
    OwnBitRun run = {ownBitsOf(pass.dst, 0), pass.nSamples, rule, pass.nSources, {}, {}, pass.dst.rowStep, {}, 0};
    for (int i = 0; i < pass.nSources; ++i) {
        run.source[i] = ownBitsOf(pass.src[i], 0);
        run.sourceStep[i] = pass.src[i].rowStep;
    }
    ownSetBitMask(run, pass, 0);
    ownPutBitRows(run, height);
}

/* ---- Rows ---------------------------------------------------------------------------------------------------- */

static bool ownAllBits(const OwnPass& pass)
{
    bool bits = pass.dst.sampleBits == 1;
    for (int i = 0; i < pass.nSources; ++i) bits = bits && pass.src[i].sampleBits == 1;
    return bits;
}

/* Whether the kernel can read the sources' rows where they lie, */
static bool ownReadsStraight(const OwnPass& pass)
{
    bool straight = true;
    for (int i = 0; i < pass.nSources; ++i)
        straight = straight && pass.src[i].sampleBits > 1 && ownInPlace(pass.src[i], 0);
    return straight;
}

/* and whether it can write its rows straight to their places. */
static bool ownWritesStraight(const OwnPass& pass)
{
    if (pass.mask || pass.spared) return false;
    return pass.dst.sampleBits == 1 ? pass.dst.bit == 0 && pass.nSamples % 8 == 0 : !pass.dst.strided();
}

/* How many samples a chunk has: whole pixels, whole bytes of bits, as many as the scratch holds. */
static ptrdiff_t ownChunkSamples(const OwnPass& pass)
{
    int bytes = std::max(pass.dst.bytes(), 1);
    for (int i = 0; i < pass.nSources; ++i) bytes = std::max(bytes, pass.src[i].bytes());
    const ptrdiff_t samples = OWN_CHUNK_BYTES / bytes - 64;
    return samples - samples % std::max(pass.step, 1);
}

static void ownSkipRows(OwnPass& pass, ptrdiff_t nRows)
{
    for (int i = 0; i < pass.nSources; ++i) pass.src[i].row += nRows * pass.src[i].rowStep;
    pass.dst.row += nRows * pass.dst.rowStep;
}

static void ownRunSamples(OwnPass pass, ptrdiff_t height)
{
    OwnScratch scratch;
    const ptrdiff_t chunk = ownChunkSamples(pass);
    for (ptrdiff_t y = 0; y < height; ++y, ownSkipRows(pass, 1))
        for (ptrdiff_t x = 0; x < pass.nSamples; x += chunk)
            ownRunChunk(pass, x, y, std::min(chunk, pass.nSamples - x), scratch);
}

/* Whether each row follows the one before without a gap, in all images. */
static bool ownAbutting(const OwnPass& pass)
{
    bool abutting = pass.nSamples * pass.dst.sampleBits == pass.dst.rowStep * 8;
    for (int i = 0; i < pass.nSources; ++i)
        abutting = abutting && pass.nSamples * pass.src[i].sampleBits == pass.src[i].rowStep * 8;
    return abutting;
}

/* Samples to bits: rows of bits in scratch, from there to their places. */
static void ownRunToBits(OwnPass pass, ptrdiff_t height)
{
    alignas(64) uint8_t bits[OWN_CHUNK_BYTES];
    const ptrdiff_t rowBytes = (pass.nSamples + 7) >> 3, together = OWN_CHUNK_BYTES / rowBytes;
    for (ptrdiff_t y = 0, nRows; y < height; y += nRows) {
        nRows = std::min(together, height - y);
        OwnBitRun run = {ownBitsOf(pass.dst, 0),
                         pass.nSamples,
                         ownCopiedBits,
                         1,
                         {{bits, 0, false}},
                         {},
                         pass.dst.rowStep,
                         {rowBytes, 0},
                         0};
        ownSetBitMask(run, pass, y);
        for (ptrdiff_t i = 0; i < nRows; ++i, ownSkipRows(pass, 1))
            pass.run(bits + i * rowBytes, pass.src[0].row, pass.nSources > 1 ? pass.src[1].row : nullptr, pass.nSamples,
                     pass.k);
        ownPutBitRows(run, nRows);
    }
}

/* Whole rows of bits that begin and end with a byte, as rows of bytes. */
static void ownTakeBytes(OwnPass& pass)
{
    bool bytes = !pass.mask && pass.nSamples % 8 == 0 && pass.dst.bit == 0;
    for (int i = 0; i < pass.nSources; ++i) bytes = bytes && pass.src[i].bit == 0 && !pass.src[i].turned;
    if (!bytes) return;
    pass.nSamples /= 8;
    for (OwnSide* side : {&pass.src[0], &pass.src[1], &pass.dst}) {
        side->sampleBits = 8;
        side->stepBytes = 1;
    }
}

/* Rows that do not go straight: through scratch, or as bits. */
static void ownRunAround(const OwnPass& pass, ptrdiff_t height)
{
    if (ownAllBits(pass)) return ownRunBits(pass, height);
    const bool toBits = pass.dst.sampleBits == 1 && pass.nSamples <= 8 * OWN_CHUNK_BYTES;
    return toBits && ownReadsStraight(pass) ? ownRunToBits(pass, height) : ownRunSamples(pass, height);
}

/* Asks for the begin of the next rows of the sources, which the processor can't foresee. */
static inline void ownAskForRows(const OwnPass& pass)
{
    enum { BEGIN = 256, LINE = 64 };
    if (pass.nSamples * pass.dst.sampleBits < 8 * BEGIN) return;
    for (int i = 0; i < pass.nSources; ++i)
        for (int at = 0; at < BEGIN; at += LINE)
            __builtin_prefetch(
                (const void*)((uintptr_t)pass.src[i].row + (uintptr_t)pass.src[i].rowStep + (uintptr_t)at));
}

/* False: nothing is done, since rows must go straight and can't. */
static bool ownRunRows(OwnPass pass, ptrdiff_t height)
{
    if (ownAllBits(pass)) ownTakeBytes(pass);
    if (!ownReadsStraight(pass) || !ownWritesStraight(pass)) {
        if (!pass.straight) ownRunAround(pass, height);
        return !pass.straight;
    }
    if (ownAbutting(pass)) {
        pass.nSamples *= height;
        height = 1;
    }
    for (ptrdiff_t y = 0; y < height; ++y, ownSkipRows(pass, 1)) {
        if (height > 1) ownAskForRows(pass);
        pass.run(pass.dst.row, pass.src[0].row, pass.nSources > 1 ? pass.src[1].row : nullptr, pass.nSamples, pass.k);
    }
    return true;
}

/* ---- From headers to passes ---------------------------------------------------------------------------------- */

/* Whether an image is taken whole, and its rows follow each other as samples do. */
static bool ownWhole(const VekImage* image)
{
    const int64_t nRows = ownRowCount(image, image->height);
    if (image->widthStep & (std::max(ownSampleBits(image->depth) >> 3, 1) - 1)) return false;
    if (image->alphaChannel || nRows > INT32_MAX || image->imageSize != nRows * image->widthStep) return false;
    const VekROI* roi = image->roi;
    return !roi || (roi->xOffset == 0 && roi->yOffset == 0 && roi->width >= image->width &&
                    roi->height >= image->height && (roi->coi == 0 || (roi->coi == 1 && image->nChannels == 1)));
}

/* Whether the images can be taken as one block each: whole, without alpha, and laid out alike. */
static bool ownOneBlock(const VekImage* const image[], int nImages)
{
    const VekImage& dst = *image[nImages - 1];
    for (int i = 0; i < nImages; ++i) {
        const VekImage& other = *image[i];
        if (!ownWhole(&other) || other.height != dst.height || other.width != dst.width ||
            other.imageSize != dst.imageSize || other.align != dst.align ||
            ownSampleBits(other.depth) != ownSampleBits(dst.depth))
            return false;
    }
    return true;
}

/* The samples of one channel of a view, from its first row on. */
static OwnSide ownSide(const OwnView& view, int32_t channel)
{
    const int bytes = view.sampleBits >> 3;
    return {view.data + channel * view.channelStep, view.bit,     view.sampleBits,
            view.pixelStep * (ptrdiff_t)bytes,      view.rowStep, view.pixelStep == -1};
}

/* Whether the channels that take part lie at the same places of a pixel in all images. */
static bool ownLaidAlike(const OwnPoint& point, const OwnView* view)
{
    for (int i = 1; i < point.nImages; ++i)
        if (std::abs(view[i].pixelStep) != std::abs(view[0].pixelStep) ||
            point.channels[i].first != point.channels[0].first || point.channels[i].count != point.channels[0].count)
            return false;
    return std::abs(view[0].pixelStep) > 1;
}

/* Whole pixels of the images: every sample of the row is computed, and those of other channels are spared. */
static bool ownTakePixels(const OwnPoint& point, const OwnView* view, OwnPass& pass, int32_t width, int32_t height)
{
    const int step = std::abs(view[0].pixelStep);
    const int last = point.nImages - 1;
    for (int i = 0; i <= last; ++i) {
        OwnSide& side = i == last ? pass.dst : pass.src[i];
        side = ownSide(view[i], 0);
        side.stepBytes = side.bytes();
        if (view[i].pixelStep < 0) side.turned = step;
    }
    pass.step = step;
    pass.nSamples = (ptrdiff_t)width * step;
    pass.spared = pass.mask || point.channels[0].count < step;
    if (pass.spared) pass.spread = ownMakeSpread(step, point.channels[0]);
    return ownRunRows(pass, height);
}

/* Whether each bit gives all samples of a pixel. Spread, these bits are what the run takes. */
static bool ownSpreads(const OwnPoint& point, const OwnView view[])
{
    const int step = view[1].pixelStep;
    return point.fromOne && view[0].sampleBits == 1 && step > 1 && step <= OWN_WIDE_STEP &&
           point.channels[1].count == step;
}
static void ownTakeSpread(const OwnPoint& point, const OwnView view[], int32_t width, int32_t height)
{
    const int step = view[1].pixelStep, bytes = view[1].sampleBits >> 3;
    const OwnSpread spread = ownMakeSpread(step, {0, step, false});
    const ptrdiff_t chunk = (OWN_CHUNK_BYTES - 64) / step * 8;
    OwnScratch s;
    for (ptrdiff_t y = 0; y < height; ++y)
        for (ptrdiff_t x = 0, n; x < width; x += n) {
            n = std::min(chunk, width - x);
            const ptrdiff_t at = view[0].bit + x;
            ownAlignBits(s.in[0], 0, view[0].data + y * view[0].rowStep + (at >> 3), (int)(at & 7), n);
            ownSpreadBits(s.writeBits, spread, s.in[0], n);
            point.run(view[1].data + y * view[1].rowStep + x * step * bytes, s.writeBits, nullptr, n * step, point.k);
        }
}

/* One channel after the other. */
static bool ownTakeChannels(const OwnPoint& point, const OwnView* view, OwnPass& pass, int32_t width, int32_t height)
{
    const int last = point.nImages - 1;
    int32_t count = point.channels[last].count;
    for (int i = 0; i < last && !point.fromOne; ++i) count = std::min(count, point.channels[i].count);
    pass.nSamples = width;
    pass.step = 1;
    for (int32_t c = 0; c < count; ++c) {
        for (int i = 0; i <= last; ++i)
            (i == last ? pass.dst
                       : pass.src[i]) = ownSide(view[i], point.channels[i].first + (point.fromOne && i < last ? 0 : c));
        if (!ownRunRows(pass, height)) return false;
    }
    return true;
}

static bool ownTakeViews(const OwnPoint& point, const OwnView view[], const OwnView* mask, bool straight)
{
    const int last = point.nImages - 1;
    int32_t width = mask ? mask->width : INT32_MAX, height = mask ? mask->height : INT32_MAX;
    for (int i = 0; i <= last; ++i) {
        width = std::min(width, view[i].width);
        height = std::min(height, view[i].height);
    }
    if (width == 0 || height == 0) return true;

    OwnPass pass = {};
    pass.run = point.run;
    pass.k = point.k;
    pass.copies = point.copies;
    pass.straight = straight;
    pass.nSources = last;
    pass.mask = mask;
    if (ownSpreads(point, view)) {
        ownTakeSpread(point, view, width, height);
        return true;
    }
    const int step = std::abs(view[0].pixelStep);
    const bool wholeRows = !mask && point.channels[0].count == step &&
                           (view[0].pixelStep > 0 || step <= OWN_MOST_TURNED);
    if (ownLaidAlike(point, view) && (wholeRows || step <= OWN_WIDE_STEP))
        return ownTakePixels(point, view, pass, width, height);
    return ownTakeChannels(point, view, pass, width, height);
}

void ownTraverseViews(const OwnPoint& point, const OwnView view[], const OwnView* mask)
{
    (void)ownTakeViews(point, view, mask, false);
}

/* The images' views, and that of the mask. */
struct OwnViews {
    OwnView image[3], mask;
};
static OwnViews ownViews(const OwnPoint& point, const VekImage* const image[], const VekImage* mask)
{
    OwnViews views;
    for (int i = 0; i < point.nImages; ++i) views.image[i] = ownView(image[i]);
    if (mask) views.mask = ownView(mask);
    return views;
}

void ownTraverse(const OwnPoint& point, const VekImage* const image[], const VekImage* mask)
{
    const int last = point.nImages - 1;
    if (!mask && !point.paddingKept && ownOneBlock(image, point.nImages)) {
        const int bytes = std::max(ownSampleBits(image[last]->depth) >> 3, 1);
        return point.run(image[last]->imageData, image[0]->imageData, last > 1 ? image[1]->imageData : nullptr,
                         image[last]->imageSize / bytes, point.k);
    }
    const OwnViews views = ownViews(point, image, mask);
    ownTraverseViews(point, views.image, mask ? &views.mask : nullptr);
}

bool ownTraverseStraight(const OwnPoint& point, const VekImage* const image[], const VekImage* mask)
{
    const OwnViews views = ownViews(point, image, mask);
    return ownTakeViews(point, views.image, mask ? &views.mask : nullptr, true);
}
