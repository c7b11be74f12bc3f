/* vekborde: pixels of an image by any coordinates, those outside it by its border settings.
 *
 * One map brings a coordinate into the image; a row is cut at multiples of the image's width, so that each piece lies on
 * one side and is copied forward, backward, or filled. Tiled images are read through their callback. */
#include "own.h"

/* ---- The map of coordinates ---------------------------------------------------------------------------------- */

enum { OWN_ABOVE = VEK_SIDE_TOP, OWN_BELOW = VEK_SIDE_BOTTOM, OWN_LEFT = VEK_SIDE_LEFT, OWN_RIGHT = VEK_SIDE_RIGHT };

static int ownPositionCode(const VekImage* image, int64_t x, int64_t y)
{
    return (y < 0                ? OWN_ABOVE
            : y >= image->height ? OWN_BELOW
                                 : 0) |
           (x < 0               ? OWN_LEFT
            : x >= image->width ? OWN_RIGHT
                                : 0);
}

/* The index of a position code's side: a corner belongs to its top or bottom side. */
static int ownSideIndex(int code) { return code & OWN_ABOVE ? 0 : code & OWN_BELOW ? 1 : code & OWN_LEFT ? 2 : 3; }

static int ownBorderMode(const VekImage* image, int code)
{
    const int mode = image->borderMode[ownSideIndex(code)];
    return mode < VEK_BORDER_FIXED || mode > VEK_BORDER_WRAP ? VEK_BORDER_FIXED : mode;
}

/* c modulo n, from 0 to n - 1. Most coordinates are in the image or right beside it, and need no division. */
static int64_t ownPhase(int64_t c, int64_t n)
{
    if (c >= -n && c < 2 * n) return c < 0 ? c + n : c < n ? c : c - n;
    return (c % n + n) % n;
}

/* A coordinate outside [0, n) brought inside. Mirrored it runs down and up again with the period 2n. */
static int64_t ownInside(int64_t c, int64_t n, int mode)
{
    if (c >= 0 && c < n) return c;
    if (mode == VEK_BORDER_EDGE) return c < 0 ? 0 : n - 1;
    const int64_t period = mode == VEK_BORDER_MIRROR ? 2 * n : n, r = ownPhase(c, period);
    return r < n ? r : period - 1 - r;
}

/* ---- Real pixels --------------------------------------------------------------------------------------------- */

/* What a fetch takes of each pixel: `samples` neighbouring samples from `channel` (from 0) on; and the constants of the
 * borders. */
struct OwnTake {
    int32_t channel, samples;
    const int32_t* borderConst;
};

/* `count` pixels, each of `samples` samples of the value's low bits, into the buffer from pixel `at` on. */
static void ownFillPixels(int sampleBits, int32_t samples, uint32_t value, int64_t count, uint8_t* buffer, int64_t at)
{
    if (sampleBits == 1) {
        const int64_t end = at + count;
        for (int64_t i = at; i < end; ++i) {
            if (!(i & 7) && end - i >= 8) { /* whole bytes together */
                const int64_t bytes = (end - i) >> 3;
                memset(buffer + (i >> 3), value & 1 ? 0xFF : 0, (size_t)bytes);
                if ((i += bytes * 8) == end) return;
            }
            buffer[i >> 3] = (uint8_t)((buffer[i >> 3] & ~(0x80 >> (i & 7))) | (value & 1) << (7 - (i & 7)));
        }
        return;
    }
    const int bytes = sampleBits >> 3;
    const uint16_t half = (uint16_t)value;
    uint8_t* out = buffer + at * samples * bytes;
    for (int64_t i = 0; i < count * samples; ++i, out += bytes) {
        if (bytes == 1) *out = (uint8_t)value;
        else if (bytes == 2) memcpy(out, &half, 2);
        else memcpy(out, &value, 4);
    }
}

/* Bits from bit x of a row to bit `at` of the buffer: single ones up to a byte of the buffer, then whole bytes. */
static void ownCopyBits(const uint8_t* row, int64_t x, int64_t count, uint8_t* buffer, int64_t at)
{
    const auto copyTo = [&](int64_t end) {
        for (; at < end; ++at, ++x, --count) {
            const int bit = row[x >> 3] >> (7 - (x & 7)) & 1;
            buffer[at >> 3] = (uint8_t)((buffer[at >> 3] & ~(0x80 >> (at & 7))) | bit << (7 - (at & 7)));
        }
    };
    copyTo(std::min(at + count, (at + 7) / 8 * 8));
    const int64_t bytes = count / 8;
    const int left = (int)(x & 7);
    const uint8_t* from = row + (x >> 3);
    uint8_t* out = buffer + (at >> 3);
    if (left == 0) memcpy(out, from, (size_t)bytes);
    else
        for (int64_t i = 0; i < bytes; ++i) out[i] = (uint8_t)(from[i] << left | from[i + 1] >> (8 - left));
    x += 8 * bytes;
    at += 8 * bytes;
    count -= 8 * bytes;
    copyTo(at + count);
}

/* One sample of each pixel. */
template <class T> static void ownPickSamples(uint8_t* out, const uint8_t* row, ptrdiff_t step, int64_t count)
{
    for (int64_t i = 0; i < count; ++i) memcpy(out + i * (int64_t)sizeof(T), row + i * step, sizeof(T));
}

/* Copies `count` pixels of one row of a view's image into the buffer from pixel `at` of it on, columns rising or
 * falling. What a row is too short for reads 0. */
static void ownCopyPixels(const OwnView& view, const OwnTake& take, int64_t x, int64_t y, int64_t count, bool backward,
                          uint8_t* buffer, int64_t at)
{
    if (view.sampleBits == 1) {
        const uint8_t* row = view.data + y * view.rowStep;
        if (!backward && x + count <= view.width) return ownCopyBits(row, x, count, buffer, at);
        for (int64_t i = 0; i < count; ++i, ++at) {
            const int64_t from = backward ? x - i : x + i;
            const int bit = from < view.width ? row[from >> 3] >> (7 - (from & 7)) & 1 : 0;
            buffer[at >> 3] = (uint8_t)((buffer[at >> 3] & ~(0x80 >> (at & 7))) | bit << (7 - (at & 7)));
        }
        return;
    }
    const ptrdiff_t bytes = view.sampleBits >> 3, unit = bytes * take.samples, step = bytes * view.pixelStep;
    const uint8_t* row = view.data + y * view.rowStep + take.channel * view.channelStep;
    uint8_t* out = buffer + at * unit;
    if (!backward && unit == step && x + count <= view.width) {
        memcpy(out, row + x * step, (size_t)(count * unit));
        return;
    }
    if (!backward && take.samples == 1 && x + count <= view.width) {
        if (bytes == 1) return ownPickSamples<uint8_t>(out, row + x * step, step, count);
        if (bytes == 2) return ownPickSamples<uint16_t>(out, row + x * step, step, count);
        return ownPickSamples<uint32_t>(out, row + x * step, step, count);
    }
    for (int64_t i = 0; i < count; ++i, out += unit) {
        const int64_t from = backward ? x - i : x + i;
        if (from < view.width) memcpy(out, row + from * step, (size_t)unit);
        else memset(out, 0, (size_t)unit);
    }
}

/* The view of the tile that holds a pixel of a tiled image, opened for reading. A tile that is not delivered has an empty
 * view. */
static OwnView ownOpenTile(const VekImage* image, int64_t x, int64_t y)
{
    const VekTileInfo& info = *image->tileInfo;
    info.callBack(image, (int32_t)(x / info.width), (int32_t)(y / info.height), VEK_TILE_READ);
    const VekImage tile = ownTileOf(image);
    OwnView view = ownWholeView(&tile);
    if (!tile.imageData) view.width = 0;
    return view;
}

/* The same as ownCopyPixels for any image; the run lies inside it. Tiles are visited in the order of the copy; the pixels
 * of one that is not delivered read 0. */
static void ownReadPixels(const VekImage* image, const OwnTake& take, int64_t x, int64_t y, int64_t count,
                          bool backward, uint8_t* buffer, int64_t at)
{
    if (!image->tileInfo) return ownCopyPixels(ownWholeView(image), take, x, y, count, backward, buffer, at);
    const VekTileInfo& info = *image->tileInfo;
    while (count > 0) {
        const int64_t column = x / info.width, row = y / info.height, xTile = x - column * info.width;
        const int64_t n = std::min(count, backward ? xTile + 1 : info.width - xTile);
        const OwnView tile = ownOpenTile(image, x, y);
        if (tile.width) ownCopyPixels(tile, take, xTile, y - row * info.height, n, backward, buffer, at);
        else ownFillPixels(tile.sampleBits, take.samples, 0, n, buffer, at);
        info.callBack(image, (int32_t)column, (int32_t)row, VEK_TILE_RELEASE);
        x += backward ? -n : n;
        at += n;
        count -= n;
    }
}

/* ---- Rows with borders --------------------------------------------------------------------------------------- */

/* A border's constant as a sample: cut to the sample's low bits; for 32F the float of the number. */
static uint32_t ownBorderSample(const VekImage* image, const int32_t* borderConst, int code)
{
    const int32_t constant = borderConst[ownSideIndex(code)];
    if (image->depth == VEK_DEPTH_32F) return std::bit_cast<uint32_t>((float)constant);
    return (uint32_t)constant;
}

int64_t ownBorderColumn(const VekImage* image, int64_t x, uint32_t* constant)
{
    const int code = ownPositionCode(image, x, 0), mode = code ? ownBorderMode(image, code) : VEK_BORDER_EDGE;
    if (mode != VEK_BORDER_FIXED) return ownInside(x, image->width, mode);
    *constant = ownBorderSample(image, image->borderConst, code);
    return -1;
}

/* The pixel already in the buffer at `at`, repeated behind itself. */
static void ownRepeatPixel(int sampleBits, int32_t samples, int64_t count, uint8_t* buffer, int64_t at)
{
    if (sampleBits == 1) return ownFillPixels(1, 1, buffer[at >> 3] >> (7 - (at & 7)) & 1, count - 1, buffer, at + 1);
    const ptrdiff_t unit = (sampleBits >> 3) * (ptrdiff_t)samples;
    for (int64_t i = 1; i < count; ++i) memcpy(buffer + (at + i) * unit, buffer + at * unit, (size_t)unit);
}

/* Pixels of one row, from (x, y) on, to the buffer's start. */
static void ownFetchRow(const VekImage* image, const OwnTake& take, int64_t x, int64_t y, int64_t count,
                        uint8_t* buffer)
{
    const int bits = ownSampleBits(image->depth);
    const int64_t width = image->width;
    for (int64_t at = 0; at < count;) {
        const int code = ownPositionCode(image, x, y);
        const int64_t phase = ownPhase(x, width); /* pieces end at multiples of the width */
        const int64_t n = std::min(count - at, width - phase);
        const int mode = code ? ownBorderMode(image, code) : VEK_BORDER_WRAP;
        const int64_t yIn = ownInside(y, image->height, mode), xIn = ownInside(x, width, mode);
        const bool beside = code & (OWN_LEFT | OWN_RIGHT);
        if (mode == VEK_BORDER_FIXED)
            ownFillPixels(bits, take.samples, ownBorderSample(image, take.borderConst, code), n, buffer, at);
        else if (mode == VEK_BORDER_EDGE && beside) {
            ownReadPixels(image, take, xIn, yIn, 1, false, buffer, at);
            ownRepeatPixel(bits, take.samples, n, buffer, at);
        } else {
            const bool backward = mode == VEK_BORDER_MIRROR && (x - phase) / width % 2 != 0;
            ownReadPixels(image, take, xIn, yIn, n, backward, buffer, at);
        }
        x += n;
        at += n;
    }
}

/* Whether an image has pixels that a fetch may look at; the headers of tiled images are sound. */
static bool ownReadable(const VekImage* image)
{
    return image && (image->imageData || image->tileInfo) && image->width > 0 && image->height > 0 &&
           image->nChannels > 0 && ownSlot(image->depth) >= 0 && (!image->tileInfo || ownTileRowBytes(image) > 0);
}

/* ---- The three fetches --------------------------------------------------------------------------------------- */

int32_t vekGetPixelBordered(const VekImage* image, int32_t x, int32_t y, int32_t channel)
{
    if (!ownReadable(image) || channel < 1 || channel > image->nChannels) return 0;
    const int code = ownPositionCode(image, x, y);
    if (code && ownBorderMode(image, code) == VEK_BORDER_FIXED && image->depth != VEK_DEPTH_32F)
        return image->borderConst[ownSideIndex(code)];

    uint32_t sample = 0;
    uint8_t buffer[4] = {};
    ownFetchRow(image, {channel - 1, 1, image->borderConst}, x, y, 1, buffer);
    memcpy(&sample, buffer, 4);
    switch (ownSlot(image->depth)) {
    case OWN_1U: return buffer[0] >> 7;
    case OWN_8U: return buffer[0];
    case OWN_8S: return (int8_t)buffer[0];
    case OWN_16U: {
        uint16_t wide;
        memcpy(&wide, buffer, 2);
        return wide;
    }
    case OWN_16S: {
        int16_t wide;
        memcpy(&wide, buffer, 2);
        return wide;
    }
    }
    return (int32_t)sample;
}

void ownFetchPixels(const VekImage* image, const int32_t* borderConst, int32_t first, int32_t samples, int64_t x,
                    int64_t y, int64_t count, void* buffer)
{
    ownFetchRow(image, {first, samples, borderConst}, x, y, count, (uint8_t*)buffer);
}

void vekGetRowBordered(const VekImage* image, int32_t x, int32_t y, int32_t channel, void* buffer, int32_t count)
{
    if (!ownReadable(image) || channel < 1 || channel > image->nChannels || !buffer) return;
    ownFetchRow(image, {channel - 1, 1, image->borderConst}, x, y, count, (uint8_t*)buffer);
}

void* vekCopyRectBordered(const VekImage* image, int32_t x, int32_t y, int32_t width, int32_t height, int32_t* rowBytes)
{
    if (!ownReadable(image) || width < 1 || height < 1) return nullptr;
    if (image->dataOrder != VEK_DATA_ORDER_PIXEL && image->dataOrder != VEK_DATA_ORDER_PLANE_WISE) return nullptr;
    if (image->align != 4 && image->align != 8) return nullptr;

    const int64_t row = ownRowBytes(image, width), rows = ownRowCount(image, height);
    if (row > INT32_MAX || rows > (INT32_MAX - 16) / row) return nullptr;
    const size_t blockBytes = (size_t)(rows * row + 16);
    uint8_t* block = (uint8_t*)vekMalloc((int32_t)blockBytes);
    if (!block) return nullptr;
    if (image->depth == VEK_DEPTH_1U) memset(block, 0, blockBytes);

    const bool pixelOrder = image->dataOrder == VEK_DATA_ORDER_PIXEL;
    for (int64_t i = 0; i < rows; ++i) {
        const OwnTake take = pixelOrder ? OwnTake{0, image->nChannels, image->borderConst}
                                        : OwnTake{(int32_t)(i / height), 1, image->borderConst};
        ownFetchRow(image, take, x, y + i % height, width, block + i * row);
    }
    *rowBytes = (int32_t)row;
    return block;
}
