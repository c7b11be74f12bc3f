/* ownrle: run-length coded bitmaps of 8 and of 4 bits, to plain rows and back. Commands of a stream:
 *
 *     n v          n pixels of v; of 4 bits, of the two pixels of v in turn
 *     0 0          the row ends, 0 1 the picture
 *     0 2 dx dy    on by dx columns and dy rows
 *     0 n ...      n pixels, 3 or more, as they stand; their bytes end at an even address
 *
 * Streams are taken for hostile: what a command writes is tested before it is written, and no more of the stream is read than
 * the command in hand. */
#include "ownrle.h"

#include "ownsimd.h"

struct OwnRleTexts {
    const char *noMemory, *beyond, *width, *height, *delta, *noMemoryToPack;
};

template <int bits> struct OwnRleKind;
template <> struct OwnRleKind<8> {
    static constexpr OwnRleTexts texts = {"Not enough memory to decompress BI_RLE8 DIB at DIB",
                                          "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)",
                                          "Incorrect format of BI_RLE8 DIB (mismatch biWidth)",
                                          "Incorrect format of BI_RLE8 DIB (mismatch biHeight)",
                                          "Incorrect format of BI_RLE8 DIB (bad Delta command)",
                                          "Not enough memory to compress DIB at BI_RLE8 DIB"};
};
template <> struct OwnRleKind<4> {
    static constexpr OwnRleTexts texts = {"Not enough memory to decompress BI_RLE4 DIB at DIB",
                                          "Incorrect format of BI_RLE4 DIB (mismatch biHeight or biWidth)",
                                          "Incorrect format of BI_RLE4 DIB (mismatch biWidth)",
                                          "Incorrect format of BI_RLE4 DIB (mismatch biHeight)",
                                          "Incorrect format of BI_RLE4 DIB (bad Delta command)",
                                          "Not enough memory to compress DIB at BI_RLE4 DIB"};
};

/* Null for a block that no count of 32 bits can name, too. */
static uint8_t* ownBlockOf(int64_t bytes) { return bytes > INT32_MAX ? nullptr : (uint8_t*)vekMalloc((int32_t)bytes); }

/* ---- Streams to rows --------------------------------------------------------------------------------------------- */

/* Commands are short as a rule. So they may write some bytes beyond their pixels: these belong to pixels that come later, or
 * to nobody. Where pixels are left out, such bytes become 0 again. */
enum { OWN_RLE_SPARE = 16 };

/* v for n bytes. */
static inline void ownFill(uint8_t* out, int v, ptrdiff_t n)
{
    const uint64_t eight = (uint64_t)v * 0x0101010101010101u;
    memcpy(out, &eight, 8);
    memcpy(out + 8, &eight, 8);
    if (n > OWN_RLE_SPARE) memset(out + OWN_RLE_SPARE, v, (size_t)(n - OWN_RLE_SPARE));
}

/* n bytes, and none read beyond them: short ones as two words that overlap. */
static inline void ownCopy(uint8_t* out, const uint8_t* p, ptrdiff_t n)
{
    if (n > 16) memcpy(out, p, (size_t)n);
    else if (n >= 8) {
        memcpy(out, p, 8);
        memcpy(out + n - 8, p + n - 8, 8);
    } else if (n >= 4) {
        memcpy(out, p, 4);
        memcpy(out + n - 4, p + n - 4, 4);
    } else
        for (ptrdiff_t i = 0; i < n; ++i) out[i] = p[i];
}

/* What the two kinds do with a row, from pixel x on: n pixels of v, n that stand at p, and zeros for what has been written
 * beyond it. */
template <int bits> struct OwnRleRow;
template <> struct OwnRleRow<8> {
    static void run(uint8_t* row, int64_t x, int n, int v) { ownFill(row + x, v, n); }
    static void data(uint8_t* row, int64_t x, int n, const uint8_t* p) { ownCopy(row + x, p, n); }
    static void clear(uint8_t* row, int64_t x) { ownFill(row + x, 0, OWN_RLE_SPARE); }
};
template <> struct OwnRleRow<4> {
    static void putLow(uint8_t* out, int v) { *out = (uint8_t)((*out & 0xF0) | v); }
    static void run(uint8_t* row, int64_t x, int n, int v)
    {
        uint8_t* out = row + (x >> 1);
        if (x & 1) {
            putLow(out++, v >> 4);
            v = (v << 4 | v >> 4) & 0xFF;
            --n;
        }
        ownFill(out, v, (n + 1) >> 1);
    }
    static void data(uint8_t* row, int64_t x, int n, const uint8_t* p)
    {
        uint8_t* out = row + (x >> 1);
        if (!(x & 1)) return ownCopy(out, p, (n + 1) >> 1);
        for (int i = 0; i < (n + 1) >> 1; ++i) {
            putLow(out + i, p[i] >> 4);
            out[i + 1] = (uint8_t)(p[i] << 4);
        }
    }
    static void clear(uint8_t* row, int64_t x)
    {
        if (x & 1) row[x++ >> 1] &= 0xF0;
        ownFill(row + (x >> 1), 0, OWN_RLE_SPARE);
    }
};

/* Writes rows that are all 0 before, with room for OWN_RLE_SPARE bytes behind them. Null when the stream has come to its end,
 * or what is wrong with it. */
template <int bits>
static const char* ownUnpack(uint8_t* rows, const uint8_t* in, int64_t width, int64_t height, int64_t rowBytes)
{
    typedef OwnRleRow<bits> Row;
    const OwnRleTexts& texts = OwnRleKind<bits>::texts;
    uint8_t* row = rows;
    int64_t x = 0, y = 0;
    for (;;) {
        const int n = in[0], c = in[1];
        if (n) {
            if (y >= height || x + n > width) return texts.beyond;
            Row::run(row, x, n, c);
            x += n;
            in += 2;
        } else if (c > 2) {
            if (y >= height || x + c > width) return texts.beyond;
            Row::data(row, x, c, in + 2);
            x += c;
            in += 2 + (c * bits + 7) / 8;
            in += (uintptr_t)in & 1;
        } else if (c == 0) {
            if (x != width) return texts.width;
            if (y >= height) return texts.beyond;
            Row::clear(row, x);
            x = 0;
            ++y;
            row += rowBytes;
            in += 2;
        } else {
            if (y < height) Row::clear(row, x);
            if (c == 1) return y == height || y == height - 1 ? nullptr : texts.height;
            if (x + in[2] > width || y + in[3] > height) return texts.delta;
            x += in[2];
            y += in[3];
            row += in[3] * rowBytes;
            in += 4;
        }
    }
}

template <int bits>
static uint8_t* ownDecompress(const OwnFace& face, const BITMAPINFOHEADER* dib, const uint8_t* stream)
{
    const OwnRleTexts& texts = OwnRleKind<bits>::texts;
    OWN_REFUSE_TEXT_IF(dib->biWidth < 1 || dib->biHeight < 1, texts.beyond, nullptr);
    const int64_t rowBytes = ownDibRowBytes(dib->biWidth, bits), bytes = rowBytes * dib->biHeight;
    uint8_t* rows = ownBlockOf(bytes + OWN_RLE_SPARE);
    OWN_FAIL_IF(!rows, VEK_StatusNoMemory, texts.noMemory, nullptr);
    memset(rows, 0, (size_t)bytes);
    const char* fault = ownUnpack<bits>(rows, stream, dib->biWidth, dib->biHeight, rowBytes);
    if (!fault) return rows;
    vekFree(rows);
    ownFail(face, VEK_StatusBadArg, fault, __LINE__);
    return nullptr;
}

uint8_t* ownDecompressDib(const OwnFace& face, const BITMAPINFOHEADER* dib, const uint8_t* stream)
{
    const OwnFace own = {face.func, "ownrle"};
    if (!stream) stream = ownOpenDib(dib).pixels;
    return dib->biCompression == OWN_DIB_RLE8 ? ownDecompress<8>(own, dib, stream) : ownDecompress<4>(own, dib, stream);
}

/* ---- Rows to streams --------------------------------------------------------------------------------------------- */

enum { OWN_RLE_MOST = 255 };

static inline uint8_t* ownPutCommand(uint8_t* out, ptrdiff_t n, int v)
{
    out[0] = (uint8_t)n;
    out[1] = (uint8_t)v;
    return out + 2;
}

/* n bytes of `most`; up to OWN_COPIED bytes are copied at once, where there are so many. */
enum { OWN_COPIED = 32 };
static inline void ownCopyWide(uint8_t* out, const uint8_t* p, ptrdiff_t n, ptrdiff_t most)
{
    if (most < OWN_COPIED) return (void)memcpy(out, p, (size_t)n);
    memcpy(out, p, OWN_COPIED);
    if (n > OWN_COPIED) memcpy(out + OWN_COPIED, p + OWN_COPIED, (size_t)(n - OWN_COPIED));
}

/* The first i from x on where holds(row + i), or end; holdsAll tells it of a vector of places at once, and both read up to
 * `ahead` bytes more than the place itself, all of them before `end`. */
template <class H, class A>
static inline ptrdiff_t ownSeek(const uint8_t* row, ptrdiff_t x, ptrdiff_t end, ptrdiff_t ahead, H holds, A holdsAll)
{
    ptrdiff_t i = x;
    for (; i + ahead + OWN_VEC_BYTES <= end; i += OWN_VEC_BYTES) {
        uint8_t signs[OWN_VEC_BYTES / 8];
        uint64_t word = 0;
        ownStoreSigns(signs, holdsAll(row + i));
        memcpy(&word, signs, sizeof(signs));
        if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
        if (word) return i + __builtin_clzll(word);
    }
    for (; i + ahead < end; ++i)
        if (holds(row + i)) return i;
    return end;
}

static inline OwnVec<uint8_t> ownAt(const uint8_t* p) { return ownLoad<uint8_t>(p); }

/* How many pixels from x on are equal to pixel x. */
static ptrdiff_t ownRunOf(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    const auto differs = [](const uint8_t* p) { return p[0] != p[-1]; };
    const auto differ = [](const uint8_t* p) { return ~ownEqual(ownAt(p), ownAt(p - 1)); };
    return ownSeek(row, x + 1, end, 0, differs, differ) - x;
}

/* Where the first three equal pixels from x on begin, or end. */
static ptrdiff_t ownTripleFrom(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    const auto begins = [](const uint8_t* p) { return p[0] == p[1] && p[0] == p[2]; };
    const auto begin = [](const uint8_t* p) {
        return ownEqual(ownAt(p), ownAt(p + 1)) & ownEqual(ownAt(p), ownAt(p + 2));
    };
    return ownSeek(row, x, end, 2, begins, begin);
}

/* Four pixels decide what comes: a run where two are equal; single pixels up to a run that is near; else pixels as they
 * stand, up to three equal ones. */
static uint8_t* ownPackBytes(uint8_t* out, const uint8_t* row, ptrdiff_t width)
{
    ptrdiff_t x = 0;
    while (x < width - 3) {
        const uint8_t a = row[x], b = row[x + 1], c = row[x + 2], d = row[x + 3];
        if (a == b) {
            const ptrdiff_t n = ownRunOf(row, x, std::min<ptrdiff_t>(width, x + OWN_RLE_MOST));
            out = ownPutCommand(out, n, a);
            x += n;
        } else if (b == c) {
            out = ownPutCommand(out, 1, a);
            x += 1;
        } else if (c == d) {
            out = ownPutCommand(ownPutCommand(out, 1, a), 1, b);
            x += 2;
        } else {
            const ptrdiff_t n = std::min<ptrdiff_t>(
                ownTripleFrom(row, x + 3, std::min<ptrdiff_t>(width, x + OWN_RLE_MOST + 2)) - x, OWN_RLE_MOST);
            out = ownPutCommand(out, 0, (int)n);
            ownCopyWide(out, row + x, n, width - x);
            out += n;
            if (n & 1) *out++ = 0;
            x += n;
        }
    }
    for (; x < width; ++x) out = ownPutCommand(out, 1, row[x]);
    return out;
}

/* Of rows with a byte for each pixel of 4 bits: how many pixels from x on repeat the two that stand there; where from x on
 * two pixels are repeated, or end. */
static ptrdiff_t ownPairsOf(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    const auto differs = [](const uint8_t* p) { return p[0] != p[-2]; };
    const auto differ = [](const uint8_t* p) { return ~ownEqual(ownAt(p), ownAt(p - 2)); };
    return ownSeek(row, std::min(x + 2, end), end, 0, differs, differ) - x;
}
static ptrdiff_t ownRepeatFrom(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    const auto begins = [](const uint8_t* p) { return p[0] == p[2] && p[1] == p[3]; };
    const auto begin = [](const uint8_t* p) {
        return ownEqual(ownAt(p), ownAt(p + 2)) & ownEqual(ownAt(p + 1), ownAt(p + 3));
    };
    return ownSeek(row, x, end, 3, begins, begin);
}

/* Runs of two pixels that are repeated; between these, pixels as they stand. A zero follows the row. */
static uint8_t* ownPackNibbles(uint8_t* out, const uint8_t* row, ptrdiff_t width)
{
    for (ptrdiff_t x = 0; x < width;) {
        const ptrdiff_t end = std::min<ptrdiff_t>(width, x + OWN_RLE_MOST), repeat = ownRepeatFrom(row, x, end);
        const ptrdiff_t n = repeat == x ? ownPairsOf(row, x, end) : repeat - x;
        if (repeat == x || n < 3) out = ownPutCommand(out, n, row[x] << 4 | row[x + 1]);
        else {
            out = ownPutCommand(out, 0, (int)n);
            for (ptrdiff_t i = x; i < x + n; i += 2) *out++ = (uint8_t)(row[i] << 4 | row[i + 1]);
            if ((n + 1) / 2 & 1) *out++ = 0;
        }
        x += n;
    }
    return out;
}

static uint8_t* ownPackPairs(uint8_t* out, const uint8_t* row, ptrdiff_t width, uint8_t* pixels)
{
    for (ptrdiff_t i = 0; i < (width + 1) / 2; ++i) {
        pixels[2 * i] = row[i] >> 4;
        pixels[2 * i + 1] = row[i] & 15;
    }
    pixels[width] = 0;
    return ownPackNibbles(out, pixels, width);
}

/* The stream's length; 0 when it would be no shorter than the plain rows. At most the commands of single pixels of one row
 * are written beyond that length. `pixels` has room for those of a row of 4 bits. */
template <int bits>
static int64_t ownPack(uint8_t* stream, const uint8_t* rows, int64_t width, int64_t height, int64_t rowBytes,
                       uint8_t* pixels)
{
    uint8_t* out = stream;
    const int64_t plain = rowBytes * height;
    for (int64_t y = 0; y < height; ++y) {
        const uint8_t* row = rows + y * rowBytes;
        out = bits == 8 ? ownPackBytes(out, row, (ptrdiff_t)width) : ownPackPairs(out, row, (ptrdiff_t)width, pixels);
        out = ownPutCommand(out, 0, 0);
        if (out - stream >= plain) return 0;
    }
    out = ownPutCommand(out, 0, 1);
    return out - stream < plain ? out - stream : 0;
}

template <int bits> static bool ownCompress(const OwnFace& face, OwnDib& dib)
{
    const int64_t width = dib.info.biWidth, height = dib.info.biHeight;
    const int64_t rowBytes = ownDibRowBytes(width, bits), plain = rowBytes * height;
    uint8_t* pixels = ownBlockOf(width + 2 + plain + 2 * width + 4 + OWN_COPIED);
    OWN_FAIL_IF(!pixels, VEK_StatusNoMemory, OwnRleKind<bits>::texts.noMemoryToPack, false);
    uint8_t* stream = pixels + width + 2;
    const int64_t bytes = ownPack<bits>(stream, dib.pixels, width, height, rowBytes, pixels);
    if (bytes) {
        memcpy(dib.pixels, stream, (size_t)bytes);
        dib.info.biSizeImage = (uint32_t)bytes;
    } else dib.info.biCompression = OWN_DIB_PLAIN;
    vekFree(pixels);
    return true;
}

bool ownCompressDib(const OwnFace& face, BITMAPINFOHEADER* dib)
{
    const OwnFace own = {face.func, "ownrle"};
    OwnDib parts = ownOpenDib(dib);
    const bool isDone = parts.info.biCompression == OWN_DIB_RLE8 ? ownCompress<8>(own, parts)
                                                                 : ownCompress<4>(own, parts);
    if (isDone) memcpy((void*)dib, &parts.info, sizeof(parts.info));
    return isDone;
}
