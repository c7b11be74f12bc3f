/* dib_model: bitmaps in memory for the tests, and what the conversions must make of them, pixel by pixel, written apart
 * from the library and slow. */
#ifndef TESTS_DIB_MODEL_H
#define TESTS_DIB_MODEL_H

#include "dib/owndib.h"
#include "support/support.h"

#include <array>

struct DibSpec {
    int bitCount = 24;
    int32_t width = 5, height = 4; /* height as biHeight */
    uint32_t compression = 0, used = 0;
    std::array<uint32_t, 3> masks = {0xF800, 0x07E0, 0x001F}; /* of compression 3 */
    size_t spare = 0;                                         /* bytes behind the pixels */
};

/* A bitmap of random pixels and table that ends at a protected page. */
class TestDib {
public:
    TestDib(const DibSpec& spec, Random& random);
    TestDib(const TestDib&) = delete;

    BITMAPINFOHEADER* header() { return (BITMAPINFOHEADER*)block.data; }
    BITMAPINFOHEADER info() const;
    void setInfo(const BITMAPINFOHEADER& info);
    void setTable(const std::vector<uint32_t>& entries); /* 0xRRGGBB each */
    std::vector<uint8_t> bytes() const { return std::vector<uint8_t>(block.data, block.data + block.bytes); }

    GuardedBlock block;
};

void setSequence(VekImage* image, const char* sequence);

/* The image's block after its pixels came from a bitmap, of which `bytes` are the bytes. */
std::vector<uint8_t> modelFromDib(const std::vector<uint8_t>& bytes, const TestImage& image);

/* The bitmap's bytes after the image's pixels went there, its table being in place. */
std::vector<uint8_t> modelToDib(const TestImage& image, std::vector<uint8_t> bytes);

/* The table that median cut makes, 0xRRGGBB each; empty where it fails. */
std::vector<uint32_t> modelMedianCut(const TestImage& image, int bitCount);

#endif
