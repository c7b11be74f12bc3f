#include "support/support.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

/* ---- Reports --------------------------------------------------------------------------------------------------- */

static thread_local Recorder* recorder;

static VekStatus record(VekStatus status, const char* func, const char* context, const char* file, int32_t line)
{
    recorder->reports.push_back({status, func ? func : "", context ? context : "<null>", file ? file : "", line});
    return status;
}

Recorder::Recorder() : previous(vekRedirectError(record)), outer(recorder)
{
    recorder = this;
    vekSetErrStatus(VEK_StatusOk);
}

Recorder::~Recorder()
{
    recorder = outer;
    vekRedirectError(previous);
}

std::string Recorder::text() const
{
    std::string out;
    for (const Report& report : reports)
        out += (out.empty() ? "" : "; ") + std::to_string(report.status) + " " + report.func + "(" + report.context +
               ")";
    return out;
}

/* ---- Memory beside protected pages --------------------------------------------------------------------------------- */

static uint8_t* takePages(size_t bytes)
{
#ifdef _WIN32
    return (uint8_t*)VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
#else
    void* pages = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : (uint8_t*)pages;
#endif
}

static bool openPages(uint8_t* pages, size_t bytes)
{
#ifdef _WIN32
    DWORD old;
    return VirtualProtect(pages, bytes, PAGE_READWRITE, &old);
#else
    return mprotect(pages, bytes, PROT_READ | PROT_WRITE) == 0;
#endif
}

static size_t pageSize()
{
#ifdef _WIN32
    return 4096;
#else
    return (size_t)sysconf(_SC_PAGESIZE);
#endif
}

GuardedBlock::GuardedBlock(size_t nBytes, bool atEnd) : bytes(nBytes)
{
    pageBytes = pageSize();
    const size_t inner = (nBytes + pageBytes - 1) / pageBytes * pageBytes;
    total = inner + 2 * pageBytes;
    pages = takePages(total);
    if (!pages || (inner && !openPages(pages + pageBytes, inner))) {
        fprintf(stderr, "tests: no pages to be had\n");
        abort();
    }
    data = pages + pageBytes + (atEnd ? inner - nBytes : 0);
}

GuardedBlock::~GuardedBlock()
{
#ifdef _WIN32
    VirtualFree(pages, 0, MEM_RELEASE);
#else
    munmap(pages, total);
#endif
}

/* ---- Images ---------------------------------------------------------------------------------------------------- */

int draw(Random& random, int low, int high)
{
    return (int)((uint32_t)low + (uint32_t)random() % ((uint32_t)high - (uint32_t)low + 1));
}

int64_t alignedRow(const ImageSpec& spec)
{
    const int64_t samples = spec.dataOrder == VEK_DATA_ORDER_PIXEL ? spec.nChannels : 1;
    const int64_t bits = spec.width * samples * (spec.depth & 0xFF), unit = 8 * spec.align;
    return (bits + unit - 1) / unit * spec.align;
}

static size_t blockBytes(const ImageSpec& spec)
{
    const int planes = spec.dataOrder == VEK_DATA_ORDER_PIXEL ? 1 : spec.nChannels;
    return (size_t)((alignedRow(spec) + spec.moreStep) * spec.height * planes);
}

/* No byte of a float image but those of infinities is 7F or FF, so no word of it is a NaN, wherever a row begins. */
static void fillRandom(const ImageSpec& spec, GuardedBlock& block, Random& random)
{
    for (size_t i = 0; i < block.bytes; ++i) block.data[i] = (uint8_t)random();
    if (spec.depth != VEK_DEPTH_32F) return;
    for (size_t i = 0; i < block.bytes; ++i)
        if ((block.data[i] & 0x7F) == 0x7F) block.data[i] ^= 0x15;
    for (size_t i = 0; i + 4 <= block.bytes; i += 4) {
        static const float special[] = {0.0f, -0.0f, INFINITY, -INFINITY, 1e-40f, 1.0f, -2.5f};
        const int kind = draw(random, 0, 30);
        const float value = kind < 7 ? special[kind] : (float)draw(random, -1000, 1000) / 8;
        if (kind < 20) memcpy(block.data + i, &value, 4);
    }
}

TestImage::TestImage(const ImageSpec& spec, Random& random) : image(), block(blockBytes(spec), spec.atEnd), roi()
{
    image.headerSize = sizeof(VekImage);
    image.nChannels = spec.nChannels;
    image.alphaChannel = spec.hasAlpha ? spec.nChannels : 0;
    image.depth = spec.depth;
    memcpy(image.colorModel, "RGBA", 4);
    memcpy(image.channelSeq, "BGRA", 4);
    image.dataOrder = spec.dataOrder;
    image.align = spec.align;
    image.width = spec.width;
    image.height = spec.height;
    image.widthStep = (int32_t)alignedRow(spec) + spec.moreStep;
    image.imageSize = (int32_t)block.bytes;
    image.imageData = block.data;
    fillRandom(spec, block, random);
}

void TestImage::setRoi(int32_t coi, int32_t x, int32_t y, int32_t width, int32_t height)
{
    roi = {coi, x, y, width, height};
    image.roi = &roi;
}

TestImage& TestImage::setMask(std::unique_ptr<TestImage> newMask)
{
    mask = std::move(newMask);
    image.maskROI = &mask->image;
    return *mask;
}

int64_t TestImage::get(int32_t x, int32_t y, int32_t channel) const
{
    return getSample(image, block.data, x, y, channel);
}

/* The bit number of a sample in its block. */
static int64_t bitPlace(const VekImage& image, int32_t x, int32_t y, int32_t channel)
{
    const int64_t bits = image.depth & 0xFF;
    if (image.dataOrder == VEK_DATA_ORDER_PIXEL)
        return 8 * (int64_t)y * image.widthStep + bits * ((int64_t)x * image.nChannels + channel);
    return 8 * ((int64_t)channel * image.height + y) * image.widthStep + bits * x;
}

int64_t getSample(const VekImage& image, const uint8_t* block, int32_t x, int32_t y, int32_t channel)
{
    const int64_t at = bitPlace(image, x, y, channel);
    const uint8_t* p = block + at / 8;
    switch (image.depth) {
    case VEK_DEPTH_1U: return p[0] >> (7 - at % 8) & 1;
    case VEK_DEPTH_8U: return p[0];
    case VEK_DEPTH_8S: return (int8_t)p[0];
    case VEK_DEPTH_16U: return p[0] | p[1] << 8;
    case VEK_DEPTH_16S: return (int16_t)(p[0] | p[1] << 8);
    }
    return (int32_t)((uint32_t)p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 | (uint32_t)p[3] << 24);
}

void setSample(const VekImage& image, uint8_t* block, int32_t x, int32_t y, int32_t channel, int64_t value)
{
    const int64_t at = bitPlace(image, x, y, channel);
    uint8_t* p = block + at / 8;
    if (image.depth == VEK_DEPTH_1U) {
        const int shift = 7 - (int)(at % 8);
        *p = (uint8_t)((*p & ~(1 << shift)) | (int)(value & 1) << shift);
        return;
    }
    for (uint32_t i = 0; i < (image.depth & 0xFF) / 8; ++i) p[i] = (uint8_t)(value >> 8 * i);
}

/* ---- Tiled images ------------------------------------------------------------------------------------------------ */

VekImage tileHeader(const VekImage& image, int32_t tileWidth, int32_t tileHeight)
{
    ImageSpec spec;
    spec.depth = image.depth;
    spec.nChannels = image.nChannels;
    spec.dataOrder = image.dataOrder;
    spec.align = image.align;
    spec.width = tileWidth;
    spec.height = tileHeight;
    VekImage tile = image;
    tile.roi = nullptr;
    tile.maskROI = nullptr;
    tile.tileInfo = nullptr;
    tile.imageData = nullptr;
    tile.width = tileWidth;
    tile.height = tileHeight;
    tile.widthStep = (int32_t)alignedRow(spec);
    tile.imageSize = (int32_t)blockBytes(spec);
    return tile;
}

TiledImage::TiledImage(TestImage& of, int32_t tileWidth, int32_t tileHeight)
    : image(of.image), pixels(of), info{callBack, this, nullptr, tileWidth, tileHeight},
      tile(tileHeader(of.image, tileWidth, tileHeight))
{
    image.tileInfo = &info;
    image.imageData = nullptr;
    image.imageSize = image.widthStep = -7; /* of a tiled image neither is looked at */
}

std::string TiledImage::logText() const
{
    std::string text;
    for (const std::string& entry : log) text += (text.empty() ? "" : "; ") + entry;
    return text;
}

void TiledImage::callBack(const VekImage* image, int32_t column, int32_t row, int32_t mode)
{
    TiledImage& self = *(TiledImage*)image->tileInfo->tileId;
    const std::string place = std::to_string(column) + "," + std::to_string(row);
    self.log.push_back((mode == VEK_TILE_READ ? "R " : mode == VEK_TILE_WRITE ? "W " : "release ") + place);
    if (image != &self.image) self.log.push_back("BAD: not the header that was passed");
    if (mode == VEK_TILE_RELEASE) self.release(column, row);
    else self.take(column, row, mode);
}

void TiledImage::take(int32_t column, int32_t row, int32_t mode)
{
    if (open) log.push_back("BAD: a tile is open");
    const bool exists = column >= 0 && row >= 0 && (int64_t)column * tile.width < image.width &&
                        (int64_t)row * tile.height < image.height;
    if (!exists) log.push_back("BAD: no such tile");
    open.reset();
    info.tileData = nullptr;
    if (nOpened++ == failAt || !exists) return;
    open = std::make_unique<GuardedBlock>((size_t)tile.imageSize, nOpened % 2 == 0);
    memset(open->data, TILE_FILL, open->bytes);
    openColumn = column;
    openRow = row;
    openMode = mode;
    move(column, row, true);
    info.tileData = open->data;
}

void TiledImage::release(int32_t column, int32_t row)
{
    if (!open || column != openColumn || row != openRow) log.push_back("BAD: this tile is not open");
    else if (openMode == VEK_TILE_WRITE) move(column, row, false);
    open.reset();
    if (clears) info.tileData = nullptr;
}

void TiledImage::move(int32_t column, int32_t row, bool toTile)
{
    const int32_t x0 = column * tile.width, y0 = row * tile.height;
    for (int32_t c = 0; c < image.nChannels; ++c)
        for (int32_t y = 0; y < tile.height && y0 + y < image.height; ++y)
            for (int32_t x = 0; x < tile.width && x0 + x < image.width; ++x) {
                if (toTile) setSample(tile, open->data, x, y, c, pixels.get(x0 + x, y0 + y, c));
                else
                    setSample(pixels.image, pixels.block.data, x0 + x, y0 + y, c, getSample(tile, open->data, x, y, c));
            }
}
