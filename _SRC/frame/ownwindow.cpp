/* ownwindow: the neighbourhood driver. It takes a row stage over every pixel of an operation's rectangle.
 *
 * The rows that a window needs are fetched into lines, each once: with the pixels that the window reaches beyond the
 * rectangle, real ones where the image has them, and by the image's border settings outside of it; bits as bytes. The lines
 * turn in a ring by pointer. So a stage sees neither borders nor channels, and a source that is the destination has been
 * read before its rows are overwritten. Results go straight to the destination where nothing of the row is spared,
 * otherwise a few rows at a time through the traversal, which knows masks, channels and bit positions.
 *
 * Destination tiles are visited row by row, each once; the image whose tiles are both read and written is copied first. */
#include "own.h"

enum { OWN_ROWS_TOGETHER = 8 }; /* results that go through the traversal at once */

/* ---- The work of a call ---------------------------------------------------------------------------------------- */

/* One block of scratch, dealt out piece by piece. Without a block the pieces are only counted. */
struct OwnCarver {
    uint8_t* block;
    int64_t used;
};

static uint8_t* ownCarve(OwnCarver& carver, int64_t bytes)
{
    const int64_t at = carver.used;
    carver.used += (bytes + 63) / 64 * 64;
    return carver.block ? carver.block + at : nullptr;
}

/* A pixel of a line beside the image: where its like lies in the image's row, or a constant. */
struct OwnSidePixel {
    ptrdiff_t at; /* in the line, in bytes */
    ptrdiff_t from;
    const uint8_t* constant; /* or null */
};

struct OwnWork {
    const OwnWindow* window;
    const VekImage* mask;
    const VekImage* source; /* what lines are fetched from: the source, or a copy of it */
    int64_t x, y;           /* its pixel under the rectangle's corner */
    int32_t width, height;
    int sampleBits;
    int lineSampleBytes;   /* bytes of a sample in a line, 0 for bits */
    int32_t step, nPasses; /* whole pixels in one pass, or one channel in each */
    bool inPlace;          /* lines must be read before rows are written */

    int64_t nLines, nBelow;
    int64_t nKept; /* lines of the ring: all, or the newest alone */
    ptrdiff_t lineBytes, lineSamples, outBytes;
    uint8_t *below, *bits, *out, *scratch;
    uint8_t** rows;      /* the ring's lines twice over, so that any turn of it is a run of pointers */
    OwnSidePixel* sides; /* one for each pixel that a window reaches beyond the rectangle */
    uint8_t* constants;  /* pixels of the left and of the right border's constant */
    void *ring, *copy;   /* the blocks to free */
    VekImage copyHeader;
};

/* A rectangle of results in one plain image: the destination or one of its tiles. x, y: its corner in the whole. */
struct OwnWindowPatch {
    VekImage dst;
    int32_t xDst, yDst;
    int32_t x, y, width, height;
};

static void ownMeasure(OwnWork& work)
{
    const OwnWindow& window = *work.window;
    const VekROI from = ownRegion(window.srcImage), to = ownRegion(window.dstImage);
    work.width = std::min(from.width, to.width);
    work.height = std::min(from.height, to.height);
    if (work.mask) {
        const OwnView mask = ownView(work.mask);
        work.width = std::min(work.width, mask.width);
        work.height = std::min(work.height, mask.height);
    }
    work.source = window.srcImage;
    work.x = from.xOffset;
    work.y = from.yOffset;
    work.inPlace = window.srcImage == window.dstImage;
    work.sampleBits = ownSampleBits(window.srcImage->depth);
    work.lineSampleBytes = work.sampleBits > 1 ? work.sampleBits >> 3 : !window.asBits;

    const VekImage &src = *window.srcImage, &dst = *window.dstImage;
    const bool wholePixels = src.dataOrder == VEK_DATA_ORDER_PIXEL && dst.dataOrder == VEK_DATA_ORDER_PIXEL &&
                             src.nChannels == dst.nChannels && !window.from.single && !window.to.single;
    work.step = wholePixels ? src.nChannels : 1;
    work.nPasses = wholePixels ? 1 : std::min(window.from.count, window.to.count);
}

/* ---- Scratch --------------------------------------------------------------------------------------------------- */

/* Bytes of n samples as lines hold them. */
static int64_t ownLineRoom(const OwnWork& work, int64_t n)
{
    return work.lineSampleBytes ? n * work.lineSampleBytes : (n + 7) / 8;
}

static void ownDealScratch(OwnWork& work, OwnCarver& carver, int64_t mostPixels)
{
    const OwnWindow& window = *work.window;
    const int64_t linePixels = mostPixels + window.left + window.right, samples = linePixels * work.step;
    const int64_t lineBytes = (ownLineRoom(work, samples + OWN_LINE_SPARE) + OWN_LINE_SPARE + 63) / 64 * 64;
    const int64_t outBytes = (ownLineRoom(work, mostPixels * work.step) + OWN_OUT_UNIT - 1) / OWN_OUT_UNIT *
                             OWN_OUT_UNIT;
    work.lineBytes = (ptrdiff_t)lineBytes;
    work.outBytes = (ptrdiff_t)outBytes;
    work.lineSamples = (ptrdiff_t)((samples + OWN_LINE_SPARE + 63) / 64 * 64);
    uint8_t* lines = ownCarve(carver, work.nKept * lineBytes + 64);
    work.below = ownCarve(carver, work.nBelow * lineBytes);
    work.bits = ownCarve(carver, linePixels / 8 + 64);
    work.out = ownCarve(carver, OWN_ROWS_TOGETHER * outBytes);
    work.rows = (uint8_t**)ownCarve(carver, 2 * work.nKept * (int64_t)sizeof(uint8_t*));
    work.sides = (OwnSidePixel*)ownCarve(carver, ((int64_t)window.left + window.right) * (int64_t)sizeof(OwnSidePixel));
    work.constants = ownCarve(carver, 2 * work.step * (int64_t)sizeof(uint32_t));
    work.scratch = ownCarve(carver, window.scratchBytes + window.scratchPerSample * work.lineSamples);
    if (!lines) return;

    /* The pixels of the rectangle begin at a multiple of 64 bytes, as most rows of images do. */
    memset(lines, 0, (size_t)(work.nKept * lineBytes + 64));
    lines += -(int64_t)window.left * work.step * work.lineSampleBytes & 63;
    for (int64_t i = 0; i < 2 * work.nKept; ++i) work.rows[i] = lines + i % work.nKept * lineBytes;
}

static bool ownTakeScratch(OwnWork& work)
{
    const OwnWindow& window = *work.window;
    const int64_t mostPixels = window.dstImage->tileInfo ? std::min(work.width, window.dstImage->tileInfo->width)
                                                         : work.width;
    work.nLines = (int64_t)window.top + window.bottom + 1;
    work.nKept = window.oneByOne ? 1 : work.nLines + window.inTwos;
    const int64_t end = work.y + work.height + window.bottom;
    work.nBelow = work.inPlace ? std::max<int64_t>(end - work.source->height, 0) : 0;

    /* Far beyond any memory the products below would overflow. */
    const double bytes = (double)(mostPixels + window.left + window.right + OWN_LINE_SPARE) * work.step *
                         (4.0 * (double)(work.nKept + work.nBelow + 10) + (double)window.scratchPerSample);
    if (bytes > (double)(PTRDIFF_MAX / 4)) return false;

    OwnCarver carver = {nullptr, 0};
    ownDealScratch(work, carver, mostPixels);
    if (carver.used > PTRDIFF_MAX / 2 || work.outBytes > INT32_MAX) return false;
    work.ring = ownAlloc((size_t)carver.used);
    if (!work.ring) return false;
    carver = {(uint8_t*)work.ring, 0};
    ownDealScratch(work, carver, mostPixels);
    return true;
}

/* The image whose tiles are to be read and written: a copy with the margins around the rectangle. */
static bool ownCopySource(OwnWork& work)
{
    const OwnWindow& window = *work.window;
    const int64_t width = (int64_t)work.width + window.left + window.right,
                  height = (int64_t)work.height + window.top + window.bottom, x = work.x - window.left,
                  y = work.y - window.top;
    VekImage& copy = work.copyHeader;
    copy = ownHeaderOnNew(window.srcImage, width, height);
    work.copy = copy.imageData;
    if (!work.copy) return false;
    const int64_t rows = ownRowCount(&copy, height);
    const bool planes = copy.dataOrder != VEK_DATA_ORDER_PIXEL;
    for (int64_t i = 0; i < rows; ++i)
        ownFetchPixels(window.srcImage, window.borderConst, planes ? (int32_t)(i / height) : 0,
                       planes ? 1 : copy.nChannels, x, y + i % height, width,
                       copy.imageData + i * (ptrdiff_t)copy.widthStep);
    work.source = &copy;
    work.x = window.left;
    work.y = window.top;
    work.inPlace = false;
    return true;
}

/* ---- Lines ----------------------------------------------------------------------------------------------------- */

/* The low bytes of a value. */
static void ownStoreSample(uint8_t* out, uint32_t value, int nBytes)
{
    const uint8_t byte = (uint8_t)value;
    const uint16_t half = (uint16_t)value;
    memcpy(out, nBytes == 1 ? &byte : nBytes == 2 ? (const void*)&half : &value, (size_t)nBytes);
}

/* Bits to bytes of 0 and 1. */
static void ownBitsToBytes(uint8_t* out, const uint8_t* bits, ptrdiff_t n)
{
    ptrdiff_t i = 0;
    for (; i + 8 <= n; i += 8) {
        /* The eight copies of the byte, each shifted so that its own bit is the lowest; the top bit comes to the lowest
         * byte. */
        const uint64_t spread = ((bits[i >> 3] * 0x8040201008040201u) >> 7) & 0x0101010101010101u;
        const uint64_t bytes = std::endian::native == std::endian::little ? spread : __builtin_bswap64(spread);
        memcpy(out + i, &bytes, 8);
    }
    for (; i < n; ++i) out[i] = bits[i >> 3] >> (7 - (i & 7)) & 1;
}

/* Bytes above 0 to bits of 1, in the bytes' own place: each byte of bits is written when its eight bytes are read. */
static void ownBytesToBits(uint8_t* row, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; i += 8) {
        int bits = 0;
        for (ptrdiff_t j = i; j < std::min(i + 8, n); ++j) bits |= (row[j] > 0) << (7 - (j & 7));
        row[i >> 3] = (uint8_t)bits;
    }
}

/* The source's row under row y of the whole rectangle, which may be outside of it. */
static void ownFetchLine(const OwnWork& work, const OwnWindowPatch& patch, int32_t pass, int64_t y, uint8_t* line)
{
    const OwnWindow& window = *work.window;
    const int64_t x = work.x + patch.x - window.left, count = (int64_t)patch.width + window.left + window.right;
    const int32_t first = work.step > 1 ? 0 : window.from.first + pass;
    const bool unpacked = work.sampleBits == 1 && work.lineSampleBytes;
    ownFetchPixels(work.source, window.borderConst, first, work.step, x, work.y + y, count,
                   unpacked ? work.bits : line);
    if (unpacked) ownBitsToBytes(line, work.bits, (ptrdiff_t)count);
}

/* What the lines of a patch have in common, found out once: those of rows in the image are its own pixels, and beside it
 * others of the same row, or constants. */
struct OwnPlainLines {
    bool serves;
    const uint8_t* row;            /* the image's row 0 from the line's first pixel in the image on */
    ptrdiff_t rowStep, at, nBytes; /* where that pixel lies in the line; what is copied from there on */
    ptrdiff_t unit;                /* bytes of a pixel */
    ptrdiff_t nSides;
};

static OwnPlainLines ownPlanLines(const OwnWork& work, const OwnWindowPatch& patch, int32_t pass)
{
    const OwnWindow& window = *work.window;
    VekImage image = *work.source;
    OwnPlainLines plain = {};
    if (image.tileInfo || work.sampleBits == 1) return plain;
    if (window.left < 0 || window.right < 0) return plain; /* a window beside its pixel leaves the image altogether */
    const OwnView view = ownWholeView(&image);
    if (view.pixelStep != work.step || view.width != image.width) return plain;

    const int64_t x = work.x + patch.x - window.left, end = x + window.left + patch.width + window.right;
    const int64_t first = std::max<int64_t>(x, 0), last = std::min<int64_t>(end, image.width);
    plain.serves = true;
    plain.unit = (ptrdiff_t)work.step * work.lineSampleBytes;
    plain.row = view.data + (work.step > 1 ? 0 : (window.from.first + pass) * view.channelStep) + first * plain.unit;
    plain.rowStep = view.rowStep;
    plain.at = (first - x) * plain.unit;
    plain.nBytes = (last - first) * plain.unit;

    memcpy(image.borderConst, window.borderConst, sizeof(image.borderConst));
    for (int side = 0; side < 2; ++side)
        for (int64_t i = side ? last : x; i < (side ? end : first); ++i) {
            uint32_t value = 0;
            const int64_t column = ownBorderColumn(&image, i, &value);
            uint8_t* constant = work.constants + side * plain.unit;
            for (int32_t k = 0; column < 0 && k < work.step; ++k)
                ownStoreSample(constant + k * work.lineSampleBytes, value, work.lineSampleBytes);
            work.sides[plain.nSides++] = {(i - x) * plain.unit, (column - first) * plain.unit,
                                          column < 0 ? constant : nullptr};
        }
    return plain;
}

static inline void ownCopyPixel(uint8_t* out, const uint8_t* from, ptrdiff_t unit)
{
    switch (unit) {
    case 1: *out = *from; return;
    case 2: memcpy(out, from, 2); return;
    case 3: memcpy(out, from, 3); return;
    case 4: memcpy(out, from, 4); return;
    }
    memcpy(out, from, (size_t)unit);
}

/* Row y of the image. */
static void ownFetchPlain(const OwnWork& work, const OwnPlainLines& plain, int64_t y, uint8_t* line)
{
    const uint8_t* row = plain.row + y * plain.rowStep;
    memcpy(line + plain.at, row, (size_t)plain.nBytes);
    for (ptrdiff_t i = 0; i < plain.nSides; ++i) {
        const OwnSidePixel& side = work.sides[i];
        ownCopyPixel(line + side.at, side.constant ? side.constant : row + side.from, plain.unit);
    }
}

/* ---- Results --------------------------------------------------------------------------------------------------- */

/* Rows y to y + n - 1 of the patch, from the rows of work.out. */
static void ownStoreRows(const OwnWork& work, const OwnWindowPatch& patch, int32_t pass, int32_t y, int32_t n)
{
    const OwnWindow& window = *work.window;
    VekROI from = {0, 0, 0, patch.width, n}, to = {0, patch.xDst, patch.yDst + y, patch.width, n}, shade;
    VekImage result = ownHeaderOn(&patch.dst, work.out, patch.width, n, (int32_t)work.outBytes);
    VekImage dst = patch.dst, mask;
    result.nChannels = work.step;
    result.alphaChannel = 0;
    result.dataOrder = VEK_DATA_ORDER_PIXEL;
    result.roi = &from;
    dst.roi = &to;
    if (work.mask) {
        mask = *work.mask;
        shade = mask.roi ? *mask.roi : VekROI{0, 0, 0, mask.width, mask.height};
        shade = {0, shade.xOffset + patch.x, shade.yOffset + patch.y + y, patch.width, n};
        mask.roi = &shade;
    }
    const bool whole = work.step > 1;
    const OwnPoint point = ownCopyPoint(work.sampleBits, {0, whole ? window.to.count : 1, false},
                                        {whole ? 0 : window.to.first + pass, whole ? window.to.count : 1, false});
    const VekImage* const image[2] = {&result, &dst};
    ownTraverse(point, image, work.mask ? &mask : nullptr);
}

/* Where the stage may write row 0 of the patch itself, null where something of the rows is spared. */
static uint8_t* ownStraight(const OwnWork& work, const OwnWindowPatch& patch, int32_t pass)
{
    VekImage dst = patch.dst;
    VekROI roi = {0, patch.xDst, patch.yDst, patch.width, patch.height};
    dst.roi = &roi;
    const OwnView view = ownView(&dst);
    const int64_t bytes = (int64_t)patch.width * work.step * (work.sampleBits >> 3);
    if (work.mask || work.sampleBits == 1 || view.pixelStep != work.step || bytes % OWN_OUT_UNIT) return nullptr;
    if (work.step > 1 && work.window->to.count < work.step) return nullptr;
    return view.data + (work.step > 1 ? 0 : (work.window->to.first + pass) * view.channelStep);
}

/* ---- Passes and patches ---------------------------------------------------------------------------------------- */

/* One pass over a patch. Line i of it is the source's row i - top. */
static void ownRunPass(const OwnWork& work, const OwnWindowPatch& patch, int32_t pass)
{
    const OwnWindow& window = *work.window;
    const int64_t above = (int64_t)patch.y - window.top, belowFrom = work.source->height - work.y - above;
    const ptrdiff_t n = (ptrdiff_t)patch.width * work.step;
    for (int64_t i = 0; i < work.nBelow; ++i)
        ownFetchLine(work, patch, pass, above + belowFrom + i, work.below + i * work.lineBytes);
    const OwnPlainLines plain = ownPlanLines(work, patch, pass);
    int64_t newest = work.nKept - 1; /* the ring's place of the line that came last */
    const auto fetch = [&](int64_t i) {
        newest = newest + 1 < work.nKept ? newest + 1 : 0;
        uint8_t* line = work.rows[newest];
        const int64_t y = work.y + above + i;
        if (work.nBelow && i >= belowFrom)
            memcpy(line, work.below + (i - belowFrom) * work.lineBytes, (size_t)work.lineBytes);
        else if (plain.serves && y >= 0 && y < work.source->height) ownFetchPlain(work, plain, y, line);
        else ownFetchLine(work, patch, pass, above + i, line);
    };
    OwnWindowRow row = {n, work.step, work.lineSamples, true, false, 1, 0, work.scratch, window.k};
    for (int64_t i = 0; i < work.nLines - 1; ++i) {
        fetch(i);
        if (!window.oneByOne) continue;
        window.stage(work.out, work.rows, row);
        row.first = false;
    }

    row.isFull = true;
    uint8_t* straight = ownStraight(work, patch, pass);
    row.outStep = straight ? patch.dst.widthStep : work.outBytes;
    for (int32_t y = 0; y < patch.height; y += row.nRows, row.first = false) {
        row.nRows = window.inTwos && y + 1 < patch.height ? 2 : 1;
        for (int32_t i = 0; i < row.nRows; ++i) fetch(y + i + work.nLines - 1);
        const int32_t place = y % OWN_ROWS_TOGETHER;
        uint8_t* out = straight ? straight + y * row.outStep : work.out + place * row.outStep;
        const int64_t nNeeded = window.oneByOne ? 1 : work.nLines + row.nRows - 1;
        window.stage(out, work.rows + newest + 1 + work.nKept - nNeeded, row);
        if (straight) continue;
        const int32_t last = place + row.nRows - 1;
        for (int32_t i = place; i <= last && work.sampleBits == 1 && work.lineSampleBytes; ++i)
            ownBytesToBits(work.out + i * work.outBytes, n);
        if (last == OWN_ROWS_TOGETHER - 1 || y + row.nRows == patch.height)
            ownStoreRows(work, patch, pass, y - place, last + 1);
    }
}

static void ownRunPatch(const OwnWork& work, const OwnWindowPatch& patch)
{
    for (int32_t pass = 0; pass < work.nPasses; ++pass) ownRunPass(work, patch, pass);
}

/* ---- Tiles of the destination ---------------------------------------------------------------------------------- */

/* The part of the tile at a column and row that lies in the rectangle, under a private header. */
static OwnWindowPatch ownTilePatch(const OwnWork& work, const VekROI& to, int64_t column, int64_t row)
{
    const VekImage& image = *work.window->dstImage;
    const VekTileInfo& info = *image.tileInfo;
    const int64_t xTile = column * info.width, yTile = row * info.height;
    const int64_t x0 = std::max<int64_t>(xTile, to.xOffset), y0 = std::max<int64_t>(yTile, to.yOffset);
    const int64_t x1 = std::min<int64_t>(xTile + info.width, (int64_t)to.xOffset + work.width),
                  y1 = std::min<int64_t>(yTile + info.height, (int64_t)to.yOffset + work.height);
    OwnWindowPatch patch = {};
    patch.dst = ownTileOf(&image);
    patch.xDst = (int32_t)(x0 - xTile);
    patch.yDst = (int32_t)(y0 - yTile);
    patch.x = (int32_t)(x0 - to.xOffset);
    patch.y = (int32_t)(y0 - to.yOffset);
    patch.width = (int32_t)(x1 - x0);
    patch.height = (int32_t)(y1 - y0);
    return patch;
}

static OwnWindowEnd ownRunTiles(const OwnWork& work)
{
    const VekImage* image = work.window->dstImage;
    const VekTileInfo& info = *image->tileInfo;
    const VekROI to = ownRegion(image);
    const int64_t columnEnd = ((int64_t)to.xOffset + work.width - 1) / info.width,
                  rowEnd = ((int64_t)to.yOffset + work.height - 1) / info.height;
    for (int64_t row = to.yOffset / info.height; row <= rowEnd; ++row)
        for (int64_t column = to.xOffset / info.width; column <= columnEnd; ++column) {
            info.callBack(image, (int32_t)column, (int32_t)row, VEK_TILE_WRITE);
            if (!info.tileData) return OWN_WINDOW_NO_TILE;
            ownRunPatch(work, ownTilePatch(work, to, column, row));
            info.callBack(image, (int32_t)column, (int32_t)row, VEK_TILE_RELEASE);
        }
    return OWN_WINDOW_DONE;
}

/* ---- The call -------------------------------------------------------------------------------------------------- */

static OwnWindowEnd ownRunWork(OwnWork& work)
{
    const VekImage* dst = work.window->dstImage;
    if (dst->tileInfo && ownTileRowBytes(dst) == 0) return OWN_WINDOW_NO_MEMORY;
    if (work.inPlace && work.source->tileInfo && !ownCopySource(work)) return OWN_WINDOW_NO_MEMORY;
    if (!ownTakeScratch(work)) return OWN_WINDOW_NO_MEMORY;
    if (dst->tileInfo) return ownRunTiles(work);

    const VekROI to = ownRegion(dst);
    ownRunPatch(work, {*dst, to.xOffset, to.yOffset, 0, 0, work.width, work.height});
    return OWN_WINDOW_DONE;
}

OwnWindowEnd ownWindow(const OwnWindow& window)
{
    if (window.from.count < 1 || window.to.count < 1) return OWN_WINDOW_DONE;
    const VekImage* const image[2] = {window.srcImage, window.dstImage};
    OwnMask mask;
    const OwnMerge merge = ownMergeMasks(image, 2, &mask);
    if (merge != OWN_MERGED) return merge == OWN_MERGE_EMPTY ? OWN_WINDOW_DONE : OWN_WINDOW_NO_MEMORY;

    OwnWork work = {};
    work.window = &window;
    work.mask = mask.image;
    ownMeasure(work);
    const OwnWindowEnd end = work.width < 1 || work.height < 1 ? OWN_WINDOW_DONE : ownRunWork(work);
    ownFree(work.ring);
    ownFree(work.copy);
    ownReleaseMask(&mask);
    return end;
}
