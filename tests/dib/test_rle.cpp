/* The run-length codec: streams by hand, streams by chance against a plain decoder, what is packed against the rules and
 * through the decoder. All streams end at a protected page. */
#include "dib/ownrle.h"
#include "support/support.h"

#include <gtest/gtest.h>

namespace {

typedef std::vector<uint8_t> Bytes;
static const OwnFace face = {"vekConvertFromDIB", "vekdib"};

BITMAPINFOHEADER headerOf(int bits, int width, int height)
{
    BITMAPINFOHEADER dib = {};
    dib.biSize = 40;
    dib.biWidth = width;
    dib.biHeight = height;
    dib.biPlanes = 1;
    dib.biBitCount = (uint16_t)bits;
    dib.biCompression = bits == 8 ? OWN_DIB_RLE8 : OWN_DIB_RLE4;
    return dib;
}

size_t rowBytesOf(const BITMAPINFOHEADER& dib) { return (size_t)(dib.biWidth * dib.biBitCount + 31) / 32 * 4; }

/* The plain rows, or nothing and the report's text. */
struct Decoded {
    Bytes rows;
    std::string fault;
    bool operator==(const Decoded& other) const { return rows == other.rows && fault == other.fault; }
};

Decoded decode(const BITMAPINFOHEADER& dib, const Bytes& stream)
{
    GuardedBlock block(std::max<size_t>(stream.size() + stream.size() % 2, 2)); /* begins at an even address */
    std::copy(stream.begin(), stream.end(), block.data);
    const int live = heapLive();
    Recorder recorder;
    uint8_t* rows = ownDecompressDib(face, &dib, block.data);
    Decoded decoded;
    if (rows) decoded.rows.assign(rows, rows + rowBytesOf(dib) * (size_t)dib.biHeight);
    vekFree(rows);
    EXPECT_EQ(heapLive(), live);
    EXPECT_EQ(recorder.reports.size(), rows ? 0u : 1u);
    for (const Recorder::Report& report : recorder.reports) {
        EXPECT_EQ(report.func + " " + report.file, "vekConvertFromDIB ownrle");
        decoded.fault = std::to_string(report.status) + " " + report.context;
    }
    return decoded;
}

Decoded faultOf(int bits, const char* what)
{
    const std::string name = bits == 8 ? "BI_RLE8" : "BI_RLE4";
    return {{}, "-5 Incorrect format of " + name + " DIB (" + what + ")"};
}

/* ---- By hand --------------------------------------------------------------------------------------------------------- */

TEST(Rle, StreamsByHand)
{
    static const char *beyond = "mismatch biHeight or biWidth", *width = "mismatch biWidth",
                      *height = "mismatch biHeight", *delta = "bad Delta command";
    const struct {
        int bits, width, height;
        Bytes stream;
        const char* fault; /* or null: the first bytes of the rows are these */
        Bytes rows;
    } rows[] = {
        {8, 3, 2, {3, 7, 0, 0, 3, 8, 0, 0, 0, 1}, nullptr, {7, 7, 7, 0, 8, 8, 8, 0}},
        {8, 3, 2, {3, 7, 0, 0, 3, 8, 0, 1}, nullptr, {7, 7, 7, 0, 8, 8, 8, 0}}, /* no end of the last row */
        {8, 3, 2, {3, 7, 0, 0, 0, 1}, nullptr, {7, 7, 7, 0, 0, 0, 0, 0}},
        {8, 3, 2, {0, 1}, height, {}},
        {8, 3, 2, {2, 7, 0, 0}, width, {}},
        {8, 3, 2, {4, 7}, beyond, {}},
        {8, 3, 1, {3, 7, 0, 0, 1, 7}, beyond, {}},
        {8, 3, 1, {3, 7, 0, 0, 0, 0}, width, {}},
        {8, 3, 1, {1, 7, 0, 3}, beyond, {}}, /* refused before its pixels are read */
        {8, 3, 1, {0, 3, 1, 2, 3, 0, 0, 1}, nullptr, {1, 2, 3, 0}},
        {8, 4, 1, {0, 4, 1, 2, 3, 4, 0, 1}, nullptr, {1, 2, 3, 4}},
        {8, 5, 1, {1, 9, 0, 2, 0, 0, 1, 8, 0, 2, 2, 0, 1, 7, 0, 1}, nullptr, {9, 8, 0, 0, 7, 0, 0, 0}},
        {8, 5, 3, {1, 9, 0, 2, 1, 2, 1, 6, 0, 1}, nullptr, {9, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                            0, 0, 0, 0, 0, 0, 0, 0, 6, 0}},
        {8, 5, 3, {0, 2, 6, 0}, delta, {}},
        {8, 5, 3, {0, 2, 0, 4}, delta, {}},
        {8, 5, 3, {0, 2, 5, 3, 0, 1}, nullptr, {0, 0, 0}},
        {8, 5, 3, {0, 2, 4, 3, 0, 1}, nullptr, {0, 0, 0}},
        {8, 5, 3, {0, 2, 5, 3, 0, 0}, beyond, {}},
        {8, 5, 3, {0, 2, 5, 3, 0, 9}, beyond, {}},
        {8, 5, 3, {0, 2, 0, 3, 0, 3}, beyond, {}}, /* there is room in the row, but no such row */
        {8, 5, 3, {0, 2, 0, 3, 1, 9}, beyond, {}},
        {4, 3, 1, {3, 0x12, 0, 1}, nullptr, {0x12, 0x10}}, /* half of a pair is left */
        {4, 5, 1, {3, 0x12, 2, 0x34, 0, 1}, nullptr, {0x12, 0x13, 0x40}},
        {4, 5, 1, {1, 0x12, 4, 0x34, 0, 0, 0, 1}, nullptr, {0x13, 0x43, 0x40}},
        {4, 5, 1, {0, 5, 0x12, 0x34, 0x5F, 0, 0, 1}, nullptr, {0x12, 0x34, 0x50}},
        {4, 6, 1, {1, 0xA0, 0, 5, 0x12, 0x34, 0x5F, 0, 0, 1}, nullptr, {0xA1, 0x23, 0x45}},
        {4, 6, 2, {1, 0x90, 0, 2, 2, 1, 2, 0x78, 0, 1}, nullptr, {0x90, 0, 0, 0, 0, 0x07, 0x80}},
        {4, 6, 1, {7, 0x12}, beyond, {}},
        {4, 6, 1, {4, 0x12, 0, 3}, beyond, {}},
        {4, 6, 1, {4, 0x12, 0, 0}, width, {}},
        {4, 6, 2, {6, 0x12, 0, 2, 1, 0}, delta, {}},
        {4, 6, 2, {0, 1}, height, {}},
    };
    for (const auto& row : rows) {
        Decoded want = row.fault ? faultOf(row.bits, row.fault) : Decoded{row.rows, ""};
        const BITMAPINFOHEADER dib = headerOf(row.bits, row.width, row.height);
        if (!row.fault) want.rows.resize(rowBytesOf(dib) * (size_t)row.height);
        const Decoded got = decode(dib, row.stream);
        EXPECT_EQ(got.fault, want.fault) << &row - rows;
        EXPECT_EQ(got.rows, want.rows) << &row - rows;
    }
    EXPECT_EQ(decode(headerOf(8, 0, 1), {0, 1}), faultOf(8, beyond));
    EXPECT_EQ(decode(headerOf(4, 1, INT32_MIN), {0, 1}), faultOf(4, beyond));
    EXPECT_EQ(decode(headerOf(8, INT32_MAX, INT32_MAX), {}).fault,
              "-4 Not enough memory to decompress BI_RLE8 DIB at DIB");
}

/* ---- By chance --------------------------------------------------------------------------------------------------------- */

/* A decoder that sets one pixel after the other. */
Decoded plainDecode(const BITMAPINFOHEADER& dib, const Bytes& in)
{
    const bool isByte = dib.biBitCount == 8;
    const size_t rowBytes = rowBytesOf(dib);
    Bytes rows(rowBytes * (size_t)dib.biHeight);
    int x = 0, y = 0;
    for (size_t at = 0;;) {
        const int n = in[at], c = in[at + 1];
        at += 2;
        const auto set = [&](int value) {
            uint8_t& byte = rows[(size_t)y * rowBytes + (size_t)(isByte ? x : x / 2)];
            byte = (uint8_t)(isByte ? value : x % 2 ? (byte & 0xF0) | value : (byte & 0x0F) | value << 4);
            ++x;
        };
        const auto pixelOf = [&](int byte, int i) { return isByte ? byte : i % 2 ? byte & 15 : byte >> 4; };
        const int count = n ? n : c > 2 ? c : 0;
        if (count && (y == dib.biHeight || x + count > dib.biWidth))
            return faultOf(dib.biBitCount, "mismatch biHeight or biWidth");
        if (n) {
            for (int i = 0; i < n; ++i) set(pixelOf(c, i));
        } else if (c > 2) {
            for (int i = 0; i < c; ++i) set(pixelOf(in[at + (size_t)(isByte ? i : i / 2)], i));
            at += (size_t)(isByte ? c : (c + 1) / 2);
            at += at % 2;
        } else if (c == 0) {
            if (x != dib.biWidth) return faultOf(dib.biBitCount, "mismatch biWidth");
            x = 0;
            if (++y > dib.biHeight) return faultOf(dib.biBitCount, "mismatch biHeight or biWidth");
        } else if (c == 1) {
            if (y != dib.biHeight && y != dib.biHeight - 1) return faultOf(dib.biBitCount, "mismatch biHeight");
            return {rows, ""};
        } else {
            x += in[at];
            y += in[at + 1];
            at += 2;
            if (x > dib.biWidth || y > dib.biHeight) return faultOf(dib.biBitCount, "bad Delta command");
        }
    }
}

/* Commands that as a rule fit. */
Bytes drawStream(const BITMAPINFOHEADER& dib, Random& random)
{
    Bytes stream;
    const auto add = [&](int n, int c) { stream.insert(stream.end(), {(uint8_t)n, (uint8_t)c}); };
    for (int x = 0, y = 0; y < dib.biHeight;) {
        const int left = dib.biWidth - x + (draw(random, 0, 300) == 0), kind = draw(random, 0, 5);
        if (left <= 0) {
            add(0, 0);
            x = 0, ++y;
            if (draw(random, 0, 30) == 0) break;
        } else if (kind == 0 && draw(random, 0, 9) == 0) {
            const int dx = draw(random, 0, left), dy = draw(random, 0, 1);
            add(0, 2);
            add(dx, dy);
            x += dx, y += dy;
        } else if (kind < 3 && left > 2) {
            const int n = draw(random, 3, std::min(left, draw(random, 3, 255))), bytes = (n * dib.biBitCount + 7) / 8;
            add(0, n);
            for (int i = 0; i < bytes + bytes % 2; ++i) stream.push_back((uint8_t)random());
            x += n;
        } else {
            const int n = draw(random, 1, std::min(left, draw(random, 1, 255)));
            add(n, (int)(random() % 256));
            x += n;
        }
    }
    add(0, 1);
    return stream;
}

TEST(Rle, StreamsByChance)
{
    Random random(52);
    int nWhole = 0;
    for (int i = 0; i < 3000; ++i) {
        const BITMAPINFOHEADER dib = headerOf(draw(random, 0, 1) ? 8 : 4,
                                              draw(random, 1, draw(random, 0, 3) ? 40 : 700), draw(random, 1, 20));
        const Bytes stream = drawStream(dib, random);
        const Decoded want = plainDecode(dib, stream);
        nWhole += want.fault.empty();
        ASSERT_EQ(decode(dib, stream), want) << i << " " << want.fault;
    }
    EXPECT_GT(nWhole, 1000);
    EXPECT_LT(nWhole, 2990);
}

/* ---- Packing ------------------------------------------------------------------------------------------------------------- */

/* The stream of a row by its rules, command by command. */
void packByRules(Bytes& out, const uint8_t* row, int width)
{
    int x = 0;
    const auto add = [&](int n, int c) { out.insert(out.end(), {(uint8_t)n, (uint8_t)c}); };
    while (x < width - 3) {
        const int a = row[x], b = row[x + 1], c = row[x + 2], d = row[x + 3];
        if (a == b) {
            int n = 2;
            while (n < 255 && x + n < width && row[x + n] == a) ++n;
            add(n, a);
            x += n;
        } else if (b == c) {
            add(1, a);
            ++x;
        } else if (c == d) {
            add(1, a);
            add(1, b);
            x += 2;
        } else {
            const size_t at = out.size();
            out.insert(out.end(), {0, 0, (uint8_t)a, (uint8_t)b, (uint8_t)c});
            int n = 3;
            for (x += 3; x < width && n < 255; ++x, ++n) {
                if (x + 2 < width && row[x] == row[x + 1] && row[x] == row[x + 2]) break;
                out.push_back(row[x]);
            }
            out[at + 1] = (uint8_t)n;
            if (n % 2) out.push_back(0);
        }
    }
    for (; x < width; ++x) add(1, row[x]);
    add(0, 0);
}

/* A bitmap with its table in a block of its own. */
struct Bitmap {
    Bitmap(const BITMAPINFOHEADER& header, uint32_t entries)
        : block(40 + 4 * (size_t)(entries ? entries : 1u << header.biBitCount) +
                rowBytesOf(header) * (size_t)header.biHeight),
          dib((BITMAPINFOHEADER*)block.data)
    {
        *dib = header;
        dib->biClrUsed = entries;
        dib->biSizeImage = 77;
        size = rowBytesOf(header) * (size_t)header.biHeight;
        rows = block.data + block.bytes - size;
    }
    GuardedBlock block;
    BITMAPINFOHEADER* dib;
    uint8_t* rows;
    size_t size;
};

/* Pixels in runs, in pairs that repeat, and by chance. What lies beyond the rows' pixels is to play no part. */
void drawRows(Bitmap& bitmap, Random& random)
{
    const int chance = draw(random, 0, 9);
    for (size_t i = 0; i < bitmap.size;) {
        const size_t n = std::min<size_t>(bitmap.size - i, (size_t)draw(random, 1, draw(random, 0, 3) ? 9 : 600));
        const int kind = draw(random, 0, 9), value = draw(random, 0, 255), step = draw(random, 0, 2);
        for (size_t j = 0; j < n; ++j, ++i)
            bitmap.rows[i] = (uint8_t)(kind < chance ? random() : kind < 7 ? value : value + (int)(j % 2) * step);
    }
}

TEST(Rle, PackedRowsComeBack)
{
    Random random(53);
    int nPacked = 0;
    for (int i = 0; i < 2000; ++i) {
        const BITMAPINFOHEADER header = headerOf(draw(random, 0, 1) ? 8 : 4,
                                                 draw(random, 1, draw(random, 0, 3) ? 40 : 800), draw(random, 1, 12));
        Bitmap bitmap(header, (uint32_t)draw(random, 0, 3) * 50);
        drawRows(bitmap, random);
        const Bytes before(bitmap.rows, bitmap.rows + bitmap.size), table(bitmap.block.data + 40, bitmap.rows);
        const size_t rowBytes = rowBytesOf(header);
        const int live = heapLive();
        Recorder recorder;
        ASSERT_TRUE(ownCompressDib(face, bitmap.dib));
        ASSERT_EQ(recorder.text(), "");
        ASSERT_EQ(heapLive(), live);
        ASSERT_EQ(Bytes(bitmap.block.data + 40, bitmap.rows), table);

        Bytes byRules;
        for (int y = 0; header.biBitCount == 8 && y < header.biHeight; ++y)
            packByRules(byRules, &before[(size_t)y * rowBytes], header.biWidth);
        byRules.insert(byRules.end(), {0, 1});
        if (bitmap.dib->biCompression == OWN_DIB_PLAIN) {
            ASSERT_EQ(Bytes(bitmap.rows, bitmap.rows + bitmap.size), before);
            ASSERT_EQ(bitmap.dib->biSizeImage, 77u);
            ASSERT_TRUE(header.biBitCount == 4 || byRules.size() >= bitmap.size) << i;
            continue;
        }
        ++nPacked;
        ASSERT_LT(bitmap.dib->biSizeImage, bitmap.size);
        const Bytes stream(bitmap.rows, bitmap.rows + bitmap.dib->biSizeImage);
        ASSERT_TRUE(header.biBitCount == 4 || stream == byRules) << i;
        const Decoded back = decode(header, stream);
        ASSERT_EQ(back.fault, "") << i;
        for (int y = 0; y < header.biHeight; ++y)
            for (int x = 0; x < header.biWidth; ++x) {
                const size_t at = (size_t)y * rowBytes + (size_t)(x * header.biBitCount / 8);
                const int mask = header.biBitCount == 8 ? 255 : x % 2 ? 15 : 240;
                ASSERT_EQ(back.rows[at] & mask, before[at] & mask) << i << ": " << x << ", " << y;
            }
        Recorder second;
        uint8_t* rows = ownDecompressDib(face, bitmap.dib, nullptr); /* finds the stream behind the table */
        ASSERT_TRUE(rows);
        ASSERT_EQ(Bytes(rows, rows + bitmap.size), back.rows);
        vekFree(rows);
    }
    EXPECT_GT(nPacked, 300);
    EXPECT_LT(nPacked, 1900);
}

TEST(Rle, RunsAreAsLongAsTheyCanBe)
{
    const struct {
        int bits, width;
        Bytes stream;
    } rows[] = {{8, 300, {255, 0xAB, 45, 0xAB, 0, 0, 0, 1}},
                {8, 257, {255, 0xAB, 1, 0xAB, 1, 0xAB, 0, 0, 0, 1}},
                {4, 300, {255, 0xAB, 45, 0xBA, 0, 0, 0, 1}},
                {4, 255, {255, 0xAB, 0, 0, 0, 1}}};
    for (const auto& row : rows) {
        Bitmap bitmap(headerOf(row.bits, row.width, 1), 0);
        memset(bitmap.rows, 0xAB, bitmap.size);
        ASSERT_TRUE(ownCompressDib(face, bitmap.dib));
        EXPECT_EQ(Bytes(bitmap.rows, bitmap.rows + bitmap.dib->biSizeImage), row.stream)
            << row.bits << " " << row.width;
    }
}

TEST(Rle, ShortOfMemory)
{
    for (int bits : {4, 8}) {
        Bitmap bitmap(headerOf(bits, 64, 1), 0);
        memset(bitmap.rows, 1, bitmap.size);
        const Bytes before(bitmap.block.data, bitmap.block.data + bitmap.block.bytes);
        Recorder recorder;
        heapFailAfter(0);
        EXPECT_FALSE(ownCompressDib(face, bitmap.dib));
        EXPECT_EQ(ownDecompressDib(face, bitmap.dib, nullptr), nullptr);
        heapFailAfter(-1);
        const std::string name = bits == 8 ? "BI_RLE8" : "BI_RLE4";
        EXPECT_EQ(recorder.text(), "-4 vekConvertFromDIB(Not enough memory to compress DIB at " + name +
                                       " DIB); -4 vekConvertFromDIB(Not enough memory to decompress " + name +
                                       " DIB at DIB)");
        EXPECT_EQ(Bytes(bitmap.block.data, bitmap.block.data + bitmap.block.bytes), before);
    }
}

} // namespace
