#include "dib/dib_model.h"

#include <functional>

/* ---- Bitmaps ------------------------------------------------------------------------------------------------------ */

static int64_t entryCount(const BITMAPINFOHEADER& info)
{
    const bool indexed = info.biBitCount <= 8;
    if (indexed) return info.biClrUsed ? info.biClrUsed : 1 << info.biBitCount;
    return info.biBitCount != 24 && info.biCompression == 3 ? 3 : 0;
}

static int64_t rowBytesOf(const BITMAPINFOHEADER& info)
{
    return (((int64_t)info.biWidth * info.biBitCount + 31) & ~31) >> 3;
}

static BITMAPINFOHEADER infoOf(const DibSpec& spec)
{
    BITMAPINFOHEADER info = {};
    info.biSize = 40;
    info.biWidth = spec.width;
    info.biHeight = spec.height;
    info.biPlanes = 1;
    info.biBitCount = (uint16_t)spec.bitCount;
    info.biCompression = spec.compression;
    info.biClrUsed = spec.used;
    return info;
}

TestDib::TestDib(const DibSpec& spec, Random& random)
    : block((size_t)(40 + 4 * entryCount(infoOf(spec)) + rowBytesOf(infoOf(spec)) * std::abs(spec.height)) + spec.spare)
{
    for (size_t i = 0; i < block.bytes; ++i) block.data[i] = (uint8_t)random();
    setInfo(infoOf(spec));
    if (spec.compression == 3) memcpy(block.data + 40, spec.masks.data(), 12);
}

BITMAPINFOHEADER TestDib::info() const
{
    BITMAPINFOHEADER info;
    memcpy(&info, block.data, sizeof(info));
    return info;
}

void TestDib::setInfo(const BITMAPINFOHEADER& info) { memcpy(block.data, &info, sizeof(info)); }

void TestDib::setTable(const std::vector<uint32_t>& entries)
{
    if (!entries.empty()) memcpy(block.data + 40, entries.data(), 4 * entries.size());
}

void setSequence(VekImage* image, const char* sequence)
{
    memset(image->channelSeq, 0, 4);
    memcpy(image->channelSeq, sequence, std::min<size_t>(strlen(sequence), 4));
}

/* ---- Pixels ------------------------------------------------------------------------------------------------------- */

typedef std::array<uint32_t, 4> Pixel; /* blue, green, red, alpha */

struct Triple {
    uint32_t mask = 0;
    int shift = 0, width = 0;
    explicit Triple(uint32_t bits) : mask(bits)
    {
        while (!(mask >> shift & 1)) ++shift;
        while (shift + width < 32 && mask >> (shift + width) & 1) ++width;
    }
};

static std::vector<Triple> triplesOf(const uint8_t* dib, const BITMAPINFOHEADER& info)
{
    uint32_t masks[3] = {0x7C00, 0x3E0, 0x1F};
    if (info.biCompression == 3) memcpy(masks, dib + 40, 12);
    else if (info.biBitCount == 32) masks[0] = 0xFF0000, masks[1] = 0xFF00, masks[2] = 0xFF;
    std::vector<Triple> triples;
    for (int c = 2; c >= 0; --c) triples.push_back(Triple(info.biBitCount == 16 ? masks[c] & 0xFFFF : masks[c]));
    if (info.biBitCount == 16) return triples;
    const Triple &b = triples[0], &g = triples[1], &r = triples[2];
    Triple top = g.shift > b.shift ? g : b;
    if (r.shift > top.shift) top = r;
    const int t = (top.shift + top.width) & 31;
    Triple alpha(0xFFFFFFFFu >> t << t);
    if (info.biCompression == 0) alpha.mask = 0xFF000000, alpha.shift = 8, alpha.width = 8;
    triples.push_back(alpha);
    return triples;
}

/* The first byte of a row of the picture, and the row's number in memory. */
static size_t rowPlace(const BITMAPINFOHEADER& info, int64_t y)
{
    const int64_t row = info.biHeight > 0 ? info.biHeight - 1 - y : y;
    return (size_t)(40 + 4 * entryCount(info) + row * rowBytesOf(info));
}

static Pixel dibPixel(const uint8_t* dib, const BITMAPINFOHEADER& info, int64_t x, int64_t y)
{
    const int bits = info.biBitCount;
    const uint8_t *row = dib + rowPlace(info, y), *at = row + x * bits / 8;
    Pixel pixel = {};
    if (bits <= 8) {
        const int index = *at >> (8 - bits - x * bits % 8) & ((1 << bits) - 1);
        if (index < entryCount(info))
            for (int c = 0; c < 4; ++c) pixel[(size_t)c] = dib[40 + 4 * index + c];
        return pixel;
    }
    if (bits == 24) return {at[0], at[1], at[2], 0};
    uint32_t value = 0;
    memcpy(&value, at, (size_t)bits / 8);
    const std::vector<Triple> triples = triplesOf(dib, info);
    for (size_t c = 0; c < triples.size(); ++c) {
        const uint32_t field = (value & triples[c].mask) >> triples[c].shift;
        const int width = triples[c].width;
        pixel[c] = (width >= 8 ? field >> (width - 8) : field << (8 - width)) & 255;
    }
    return pixel;
}

static int64_t storedRow(const VekImage& image, int64_t rows, int64_t y) { return image.origin ? rows - 1 - y : y; }

std::vector<uint8_t> modelFromDib(const std::vector<uint8_t>& bytes, const TestImage& test)
{
    BITMAPINFOHEADER info;
    memcpy(&info, bytes.data(), sizeof(info));
    const VekImage& image = test.image;
    std::vector<uint8_t> out = test.bytes();
    const int64_t rows = std::abs(info.biHeight);
    for (int64_t y = 0; y < rows; ++y)
        for (int64_t x = 0; x < info.biWidth; ++x) {
            Pixel p = dibPixel(bytes.data(), info, x, y);
            if (image.channelSeq[0] == 'G') p[2] = (p[0] * 28 + p[1] * 151 + p[2] * 77) >> 8;
            if (image.channelSeq[0] == 'R') std::swap(p[0], p[2]);
            for (int c = 0; c < image.nChannels; ++c) {
                const uint32_t value = p[image.nChannels == 1 ? 2 : (size_t)c];
                setSample(image, out.data(), (int32_t)x, (int32_t)storedRow(image, rows, y), c,
                          image.depth == 1   ? value >= 128
                          : image.depth == 8 ? value
                                             : value * 256);
            }
        }
    return out;
}

static int64_t nearestEntry(const uint8_t* table, int64_t count, const Pixel& p)
{
    int64_t best = 0, least = 0x7FFFFFFF;
    for (int64_t i = 0; i < count; ++i) {
        int64_t distance = 0;
        for (size_t c = 0; c < 3; ++c) {
            const int64_t d = (int64_t)table[4 * i + (int64_t)c] - p[c];
            distance += d * d;
        }
        if (distance < least) least = distance, best = i;
    }
    return best;
}

static void storePixel(uint8_t* dib, const BITMAPINFOHEADER& info, int64_t x, int64_t y, const Pixel& p)
{
    const int bits = info.biBitCount;
    uint8_t* at = dib + rowPlace(info, y) + x * bits / 8;
    uint32_t value = 0;
    if (bits <= 8) {
        const int64_t index = nearestEntry(dib + 40, entryCount(info), p);
        const int shift = (int)(8 - bits - x * bits % 8), mask = (1 << bits) - 1;
        const int stored = bits == 1 ? (index & 255) != 0 : (int)index & mask;
        *at = (uint8_t)((*at & ~(mask << shift)) | stored << shift);
        return;
    }
    if (bits == 24) value = p[0] | p[1] << 8 | p[2] << 16;
    else {
        const std::vector<Triple> triples = triplesOf(dib, info);
        for (size_t c = 0; c < triples.size(); ++c) {
            const int lift = bits == 16 ? triples[c].width - 8 : 0;
            value |= (lift >= 0 ? p[c] << lift : p[c] >> -lift) << triples[c].shift & triples[c].mask;
        }
    }
    memcpy(at, &value, (size_t)bits / 8);
}

static Pixel imagePixel(const TestImage& test, int32_t x, int32_t row)
{
    const VekImage& image = test.image;
    const auto sample = [&](int c) {
        const int64_t s = test.get(x, row, c);
        return (uint32_t)(image.depth == 1 ? s * 255 : image.depth == 8 ? s : s >> 8);
    };
    Pixel p = {sample(0), 0, 0, 0};
    for (int c = 1; c < 4; ++c)
        p[(size_t)c] = image.nChannels == 1 ? (c < 3 ? p[0] : 0) : c < image.nChannels ? sample(c) : 0;
    return p;
}

std::vector<uint8_t> modelToDib(const TestImage& test, std::vector<uint8_t> bytes)
{
    const VekImage& image = test.image;
    BITMAPINFOHEADER info;
    memcpy(&info, bytes.data(), sizeof(info));
    for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.width; ++x) {
            Pixel p = imagePixel(test, x, (int32_t)storedRow(image, image.height, y));
            if (image.channelSeq[0] == 'G') p = {p[2], p[2], p[2], 0};
            if (image.channelSeq[0] == 'R') std::swap(p[0], p[2]);
            storePixel(bytes.data(), info, x, y, p);
        }
    return bytes;
}

/* ---- Median cut --------------------------------------------------------------------------------------------------- */

/* Boxes as lists of pixels' cells: slow, and without any sums. A cell is red, green, blue of 6 bits, or three times a gray. */
typedef std::array<int, 3> Cell;
struct Box {
    std::vector<Cell> pixels;
    bool isClosed = false;
    int lo(size_t axis) const
    {
        return bound(axis, [](int a, int b) { return a < b; });
    }
    int hi(size_t axis) const
    {
        return bound(axis, [](int a, int b) { return a > b; });
    }
    bool isCell() const { return lo(0) == hi(0) && lo(1) == hi(1) && lo(2) == hi(2); }

private:
    int bound(size_t axis, const std::function<bool(int, int)>& before) const
    {
        int best = pixels[0][axis];
        for (const Cell& cell : pixels)
            if (before(cell[axis], best)) best = cell[axis];
        return best;
    }
};

static size_t longestAxis(const Box& box)
{
    const int r = box.hi(0) - box.lo(0), g = box.hi(1) - box.lo(1), b = box.hi(2) - box.lo(2);
    return r >= g && r >= b ? 0 : g >= b ? 1 : 2;
}

static Box splitBox(Box* box, bool isGray)
{
    const size_t axis = longestAxis(*box);
    const int64_t half = (int64_t)box->pixels.size() >> 1;
    int64_t sum = 0, before = 0;
    int i = box->lo(axis) - 1;
    while (sum <= half) {
        ++i;
        before = sum;
        for (const Cell& cell : box->pixels) sum += cell[axis] == i;
    }
    if (sum - half > half - before) --i;
    Box upper, lower;
    for (const Cell& cell : box->pixels) (cell[axis] > i ? upper : lower).pixels.push_back(cell);
    lower.isClosed = lower.isCell();
    upper.isClosed = upper.isCell() || (!isGray && lower.isClosed);
    *box = lower;
    return upper;
}

std::vector<uint32_t> modelMedianCut(const TestImage& test, int bitCount)
{
    const VekImage& image = test.image;
    const bool isGray = image.nChannels == 1;
    const size_t wanted = (size_t)1 << bitCount;
    if (image.depth == 1) return {0, 0xFFFFFF};
    if (!isGray && image.channelSeq[0] == 'G') return {};
    std::vector<Box> boxes(1);
    for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.width; ++x) {
            Pixel p = imagePixel(test, x, y);
            if (image.channelSeq[0] == 'R') std::swap(p[0], p[2]);
            const int shift = isGray ? 0 : 2;
            boxes[0].pixels.push_back({(int)p[2] >> shift, (int)p[1] >> shift, (int)p[0] >> shift});
        }
    const int scale = isGray ? 1 : 4;
    std::vector<Cell> cells = boxes[0].pixels;
    std::sort(cells.begin(), cells.end(),
              [](const Cell& a, const Cell& b) { return std::tie(a[2], a[1], a[0]) < std::tie(b[2], b[1], b[0]); });
    cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
    std::vector<uint32_t> table;
    if (cells.size() <= wanted) {
        for (const Cell& c : cells) table.push_back((uint32_t)(c[0] * scale << 16 | c[1] * scale << 8 | c[2] * scale));
        return table;
    }
    for (size_t before = 0; boxes.size() < wanted && boxes.size() != before;) {
        before = boxes.size();
        for (size_t i = 0; i < before && boxes.size() < wanted; ++i)
            if (!boxes[i].isClosed) boxes.push_back(splitBox(&boxes[i], isGray));
    }
    for (const Box& box : boxes) {
        uint64_t sum[3] = {};
        for (const Cell& cell : box.pixels)
            for (size_t c = 0; c < 3; ++c) sum[c] += (uint64_t)(cell[c] * scale);
        const uint64_t n = box.pixels.size();
        table.push_back((uint32_t)(sum[0] / n << 16 | sum[1] / n << 8 | sum[2] / n));
    }
    return table;
}
