/* support: what the tests share. A heap that fails, a reporter that records, pixels beside protected pages, images of any
 * kind, and tiled images whose callback keeps a log. */
#ifndef TESTS_SUPPORT_H
#define TESTS_SUPPORT_H

#include "own.h"

#include <memory>
#include <random>
#include <string>
#include <vector>

/* ---- The plain allocator in the tests ---------------------------------------------------------------------------- */

/* After n more allocations all fail, until called again; a negative n: none fails. */
void heapFailAfter(int n);

/* Allocations of more bytes fail. */
void heapFailAbove(size_t bytes);

/* Blocks that are allocated now. */
int heapLive();

/* ---- Reports --------------------------------------------------------------------------------------------------- */

/* Records the reports of this thread while it lives, with a cleared status at the begin; then the thread's reporter is
 * what it was before. */
class Recorder {
public:
    struct Report {
        VekStatus status;
        std::string func, context, file;
        int32_t line;
    };

    Recorder();
    ~Recorder();
    Recorder(const Recorder&) = delete;

    /* The reports as one text, for comparison and for failure messages: "status func(context); ...". */
    std::string text() const;

    std::vector<Report> reports;

private:
    VekReporter previous;
    Recorder* outer;
};

/* ---- Memory beside protected pages --------------------------------------------------------------------------------- */

/* A block of which the first byte follows, or the last one precedes, a page that can't be touched. */
class GuardedBlock {
public:
    explicit GuardedBlock(size_t bytes, bool atEnd = true);
    ~GuardedBlock();
    GuardedBlock(const GuardedBlock&) = delete;

    uint8_t* data;
    size_t bytes;

private:
    uint8_t* pages;
    size_t pageBytes, total;
};

/* ---- Images ---------------------------------------------------------------------------------------------------- */

typedef std::mt19937 Random;

/* A number from low to high, both included. */
int draw(Random& random, int low, int high);

struct ImageSpec {
    uint32_t depth = VEK_DEPTH_8U;
    int32_t nChannels = 1;
    bool hasAlpha = false;
    int32_t dataOrder = VEK_DATA_ORDER_PIXEL;
    int32_t width = 16, height = 16;
    int32_t align = 4;
    int32_t moreStep = 0; /* bytes that widthStep has beyond the aligned row, or lacks */
    bool atEnd = true;    /* the pixels end at a protected page, or begin behind one */
};

/* Bytes of a row, rounded up to the align. */
int64_t alignedRow(const ImageSpec& spec);

/* An image whose pixels, all rows of widthStep bytes of all planes, lie beside a protected page; filled with random
 * samples. Floats are of all sizes, with zeros, tiny numbers and infinities, but no NaN: then a NaN in a result is the
 * processor's own, and results can be compared bit by bit. The image owns its region and mask. */
class TestImage {
public:
    TestImage(const ImageSpec& spec, Random& random);
    TestImage(const TestImage&) = delete;

    void setRoi(int32_t coi, int32_t x, int32_t y, int32_t width, int32_t height);
    TestImage& setMask(std::unique_ptr<TestImage> newMask);
    std::vector<uint8_t> bytes() const { return std::vector<uint8_t>(block.data, block.data + block.bytes); }

    /* One sample of the whole image, as the integer it is or as the bits of its float. */
    int64_t get(int32_t x, int32_t y, int32_t channel) const;

    VekImage image;
    std::unique_ptr<TestImage> mask;
    GuardedBlock block;

private:
    VekROI roi;
};

/* Reads and writes one sample in a block that is laid out as the header says. */
int64_t getSample(const VekImage& image, const uint8_t* block, int32_t x, int32_t y, int32_t channel);
void setSample(const VekImage& image, uint8_t* block, int32_t x, int32_t y, int32_t channel, int64_t value);

/* ---- Tiled images ------------------------------------------------------------------------------------------------ */

/* What a tile holds where the image has no pixels: its padding, and what lies beyond the image's edge. */
enum { TILE_FILL = 0xA5 };

/* The header of one tile of an image, without region, mask and pixels. */
VekImage tileHeader(const VekImage& image, int32_t tileWidth, int32_t tileHeight);

/* A header with tiles over the pixels of a TestImage, with its region and mask. Each opened tile is a block of its own
 * beside a protected page, filled from the pixels and, after VEK_TILE_WRITE, brought back to them on release. */
class TiledImage {
public:
    TiledImage(TestImage& pixels, int32_t tileWidth, int32_t tileHeight);
    TiledImage(const TiledImage&) = delete;

    VekImage image;
    std::vector<std::string> log; /* "R 0,1", "W 2,0", "release 0,1"; breaches of the protocol begin with "BAD" */
    int failAt = -1;              /* which opening, from 0, leaves tileData null */
    bool clears = true;           /* tileData becomes null on release */

    std::string logText() const;
    bool isOpen() const { return open != nullptr; }

private:
    static void callBack(const VekImage* image, int32_t column, int32_t row, int32_t mode);
    void take(int32_t column, int32_t row, int32_t mode);
    void release(int32_t column, int32_t row);
    void move(int32_t column, int32_t row, bool toTile);

    TestImage& pixels;
    VekTileInfo info;
    VekImage tile; /* the header of one tile */
    std::unique_ptr<GuardedBlock> open;
    int32_t openColumn = 0, openRow = 0, openMode = 0;
    int nOpened = 0;
};

#endif
