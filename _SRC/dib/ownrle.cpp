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

/* Behind the header and the table. */
static uint8_t* ownStreamOf(const BITMAPINFOHEADER* dib)
{
    const uint64_t entries = dib->biClrUsed ? dib->biClrUsed : (uint64_t)1 << dib->biBitCount;
    return (uint8_t*)dib + (size_t)(dib->biSize + 4 * entries);
}

static void* ownBlockOf(int64_t bytes) { return bytes > INT32_MAX ? nullptr : vekMalloc((int32_t)bytes); }

/* ---- Pixels of 4 bits -------------------------------------------------------------------------------------------- */

static inline int ownNibble(const uint8_t* row, int64_t x) { return row[x >> 1] >> (x & 1 ? 0 : 4) & 15; }
static inline void ownPutNibble(uint8_t* row, int64_t x, int value)
{
    uint8_t& both = row[x >> 1];
    both = (uint8_t)(x & 1 ? (both & 0xF0) | value : (both & 0x0F) | value << 4);
}

/* n pixels from pixel x on: the two of v in turn; and those that stand at p. */
static void ownPutPairs(uint8_t* row, int64_t x, int n, uint8_t v)
{
    if (x & 1) {
        ownPutNibble(row, x++, v >> 4);
        v = (uint8_t)(v << 4 | v >> 4);
        --n;
    }
    memset(row + (x >> 1), v, (size_t)(n >> 1));
    if (n & 1) ownPutNibble(row, x + n - 1, v >> 4);
}
static void ownPutNibbles(uint8_t* row, int64_t x, int n, const uint8_t* p)
{
    uint8_t* out = row + (x >> 1);
    if (!(x & 1)) memcpy(out, p, (size_t)(n >> 1));
    else
        for (int i = 0; i < n >> 1; ++i) {
            out[i] = (uint8_t)((out[i] & 0xF0) | p[i] >> 4);
            out[i + 1] = (uint8_t)(p[i] << 4);
        }
    if (n & 1) ownPutNibble(row, x + n - 1, p[n >> 1] >> 4);
}

/* ---- Streams to rows --------------------------------------------------------------------------------------------- */

template <int bits> static inline void ownPutRun(uint8_t* row, int64_t x, int n, uint8_t v)
{
    if constexpr (bits == 8) memset(row + x, v, (size_t)n);
    else ownPutPairs(row, x, n, v);
}
template <int bits> static inline void ownPutData(uint8_t* row, int64_t x, int n, const uint8_t* p)
{
    if constexpr (bits == 8) memcpy(row + x, p, (size_t)n);
    else ownPutNibbles(row, x, n, p);
}

/* Writes rows that are all 0 before. Null when the stream has come to its end, or what is wrong with it. */
template <int bits>
static const char* ownUnpack(uint8_t* rows, const uint8_t* in, int64_t width, int64_t height, int64_t rowBytes)
{
    const OwnRleTexts& texts = OwnRleKind<bits>::texts;
    int64_t x = 0, y = 0;
    for (;;) {
        const int n = in[0], c = in[1];
        if (n || c > 2) {
            const int count = n ? n : c;
            if (y >= height || x + count > width) return texts.beyond;
            if (n) ownPutRun<bits>(rows + y * rowBytes, x, n, (uint8_t)c);
            else ownPutData<bits>(rows + y * rowBytes, x, c, in + 2);
            x += count;
            in += 2;
            if (n) continue;
            in += (count * bits + 7) / 8;
            in += (uintptr_t)in & 1;
        } else if (c == 0) {
            if (x != width) return texts.width;
            x = 0;
            if (++y > height) return texts.beyond;
            in += 2;
        } else if (c == 1) {
            return y == height || y == height - 1 ? nullptr : texts.height;
        } else {
            x += in[2];
            y += in[3];
            if (x > width || y > height) return texts.delta;
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
    uint8_t* rows = (uint8_t*)ownBlockOf(bytes);
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
    if (!stream) stream = ownStreamOf(dib);
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

/* How many pixels from x on are equal to pixel x. */
static ptrdiff_t ownRunOf(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    ptrdiff_t i = x + 1;
    while (i < end && row[i] == row[x]) ++i;
    return i - x;
}

/* Where the first three equal pixels from x on begin, or end. */
static ptrdiff_t ownTripleFrom(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    while (x + 2 < end && !(row[x] == row[x + 1] && row[x] == row[x + 2])) ++x;
    return x + 2 < end ? x : end;
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
            memcpy(out, row + x, (size_t)n);
            out += n;
            if (n & 1) *out++ = 0;
            x += n;
        }
    }
    for (; x < width; ++x) out = ownPutCommand(out, 1, row[x]);
    return out;
}

/* How many pixels from x on repeat the two that stand there. */
static ptrdiff_t ownPairsOf(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    ptrdiff_t i = std::min(x + 2, end);
    while (i < end && ownNibble(row, i) == ownNibble(row, i - 2)) ++i;
    return i - x;
}

/* Where from x on two pixels are repeated, or end. */
static ptrdiff_t ownRepeatFrom(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    while (x < end && ownPairsOf(row, x, std::min(end, x + 4)) < 4) ++x;
    return x;
}

static int ownPairAt(const uint8_t* row, ptrdiff_t x, ptrdiff_t end)
{
    return ownNibble(row, x) << 4 | (x + 1 < end ? ownNibble(row, x + 1) : 0);
}

/* Runs of two pixels that are repeated; between these, pixels as they stand. */
static uint8_t* ownPackNibbles(uint8_t* out, const uint8_t* row, ptrdiff_t width)
{
    for (ptrdiff_t x = 0; x < width;) {
        const ptrdiff_t end = std::min<ptrdiff_t>(width, x + OWN_RLE_MOST), repeat = ownRepeatFrom(row, x, end);
        const ptrdiff_t n = repeat == x ? ownPairsOf(row, x, end) : repeat - x;
        if (repeat == x || n < 3) out = ownPutCommand(out, n, ownPairAt(row, x, x + n));
        else {
            out = ownPutCommand(out, 0, (int)n);
            for (ptrdiff_t i = 0; i < n; i += 2) *out++ = (uint8_t)ownPairAt(row, x + i, x + n);
            if ((n + 1) / 2 & 1) *out++ = 0;
        }
        x += n;
    }
    return out;
}

/* The stream's length; 0 when it would be no shorter than the plain rows. At most the commands of single pixels of one row
 * are written beyond that length. */
template <int bits>
static int64_t ownPack(uint8_t* stream, const uint8_t* rows, int64_t width, int64_t height, int64_t rowBytes)
{
    uint8_t* out = stream;
    const int64_t plain = rowBytes * height;
    for (int64_t y = 0; y < height; ++y) {
        const uint8_t* row = rows + y * rowBytes;
        out = bits == 8 ? ownPackBytes(out, row, (ptrdiff_t)width) : ownPackNibbles(out, row, (ptrdiff_t)width);
        out = ownPutCommand(out, 0, 0);
        if (out - stream >= plain) return 0;
    }
    out = ownPutCommand(out, 0, 1);
    return out - stream < plain ? out - stream : 0;
}

template <int bits> static bool ownCompress(const OwnFace& face, BITMAPINFOHEADER* dib)
{
    const int64_t width = dib->biWidth, rowBytes = ownDibRowBytes(width, bits), plain = rowBytes * dib->biHeight;
    uint8_t* stream = (uint8_t*)ownBlockOf(plain + 2 * width + 4);
    OWN_FAIL_IF(!stream, VEK_StatusNoMemory, OwnRleKind<bits>::texts.noMemoryToPack, false);
    uint8_t* rows = ownStreamOf(dib);
    const int64_t bytes = ownPack<bits>(stream, rows, width, dib->biHeight, rowBytes);
    if (bytes) {
        memcpy(rows, stream, (size_t)bytes);
        dib->biSizeImage = (uint32_t)bytes;
    } else dib->biCompression = OWN_DIB_PLAIN;
    vekFree(stream);
    return true;
}

bool ownCompressDib(const OwnFace& face, BITMAPINFOHEADER* dib)
{
    const OwnFace own = {face.func, "ownrle"};
    return dib->biCompression == OWN_DIB_RLE8 ? ownCompress<8>(own, dib) : ownCompress<4>(own, dib);
}
