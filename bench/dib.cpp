/* Bitmaps: each direction and count of bits, into pixels and planes; the choice of a table, and of entries of a given one.
 * The picture is smooth with grain, as photographs are. */
#include "bench.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <random>

#ifdef _WIN32
#define NOMINMAX
#include <windows.h>
#endif

namespace {

constexpr int32_t WIDTH = 1920, HEIGHT = 1080;

/* A bitmap in memory, with a table of `nEntries`. */
struct BenchDib {
    std::vector<uint32_t> words; /* aligned */
    size_t pixelsAt, pixelBytes;

    BITMAPINFOHEADER* header() { return (BITMAPINFOHEADER*)words.data(); }
    uint8_t* pixels() { return (uint8_t*)words.data() + pixelsAt; }
};

BenchDib makeDib(int bitCount, uint32_t compression)
{
    BenchDib dib;
    const size_t nEntries = bitCount <= 8 ? (size_t)1 << bitCount : compression == 3 ? 3 : 0;
    dib.pixelsAt = 40 + 4 * nEntries;
    dib.pixelBytes = (size_t)(WIDTH * bitCount + 31) / 32 * 4 * HEIGHT;
    dib.words.resize((dib.pixelsAt + dib.pixelBytes) / 4);
    BITMAPINFOHEADER info = {};
    info.biSize = 40;
    info.biWidth = WIDTH;
    info.biHeight = HEIGHT;
    info.biPlanes = 1;
    info.biBitCount = (uint16_t)bitCount;
    info.biCompression = compression;
    memcpy(dib.words.data(), &info, sizeof(info));
    const uint32_t masks565[3] = {0xF800, 0x7E0, 0x1F}, masks10[3] = {0x3FF00000, 0xFFC00, 0x3FF};
    if (compression == 3) memcpy(&dib.words[10], bitCount == 16 ? masks565 : masks10, 12);
    return dib;
}

/* Hills of colour in which a channel says much about the others, and grain. */
void drawPicture(VekImage* image)
{
    std::minstd_rand random(5);
    const bool isGray = image->nChannels == 1, isPlanes = image->dataOrder == VEK_DATA_ORDER_PLANE_WISE;
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            const double light = 110 + 60 * sin(x * 0.004) * cos(y * 0.006) + 40 * sin((x + 2 * y) * 0.013);
            const double warm = 40 * sin(x * 0.002 + y * 0.003) + 15 * cos(x * 0.021 - y * 0.017);
            const double colours[4] = {light - warm, light, light + warm, 255};
            for (int c = 0; c < image->nChannels; ++c) {
                const double grain = (double)(random() >> 8 & 15) - 8;
                const size_t row = (size_t)image->widthStep * (size_t)(y + (isPlanes ? c * HEIGHT : 0));
                image->imageData[row + (size_t)(isPlanes ? x : x * image->nChannels + c)] = (uint8_t)std::clamp(
                    colours[isGray ? 1 : c] + grain, 0.0, 255.0);
            }
        }
}

BenchImage makePicture(int32_t nChannels, bool isPlanes)
{
    const char *model = nChannels == 1 ? "GRAY" : "RGB", *sequence = nChannels == 1 ? "G\0\0" : "BGR";
    BenchImage image(vekCreateImageHeader(nChannels, nChannels == 4 ? 4 : 0, VEK_DEPTH_8U, model,
                                          nChannels == 4 ? "BGRA" : sequence, isPlanes, VEK_ORIGIN_TOP_LEFT, 4, WIDTH,
                                          HEIGHT, nullptr, nullptr, nullptr, nullptr));
    vekAllocateImage(image.get(), 0, 0);
    drawPicture(image.get());
    return image;
}

/* A kind of bitmap, and what is on the other side. */
struct DibBench {
    const char* name;
    int bitCount;
    uint32_t compression;
    int32_t nChannels;
    bool isPlanes;
    int palette; /* paletteConversion that fills the bitmap, and that is measured on the way out */
};
const DibBench benches[] = {
    {"1bit/3ch", 1, 0, 3, false, 1},     {"4bit/3ch", 4, 0, 3, false, 1},      {"8bit/3ch", 8, 0, 3, false, 1},
    {"8bit/planes", 8, 0, 3, true, 1},   {"8bit-gray/1ch", 8, 0, 1, false, 1}, {"555/3ch", 16, 0, 3, false, 0},
    {"565/3ch", 16, 3, 3, false, 0},     {"565/planes", 16, 3, 3, true, 0},    {"24bit/3ch", 24, 0, 3, false, 0},
    {"24bit/planes", 24, 0, 3, true, 0}, {"24bit/gray", 24, 0, 1, false, 0},   {"24bit/4ch", 24, 0, 4, false, 0},
    {"32bit/3ch", 32, 0, 3, false, 0},   {"32bit/4ch", 32, 0, 4, false, 0},    {"32bit-fields/3ch", 32, 3, 3, false, 0},
    {"8bit-rle/3ch", 8, 1, 3, false, 1},
};

size_t imageBytes(const VekImage* image) { return (size_t)image->imageSize; }

void runFrom(benchmark::State& state, const DibBench& bench)
{
    BenchDib dib = makeDib(bench.bitCount, bench.compression);
    const BenchImage image = makePicture(bench.nChannels, bench.isPlanes),
                     copy = makePicture(bench.nChannels, bench.isPlanes);
    vekConvertToDIB(image.get(), dib.header(), 1, bench.palette);
    benchMeasure(
        state, [&] { vekConvertFromDIB(dib.header(), image.get()); }, image->imageData, copy->imageData,
        imageBytes(image.get()), (double)WIDTH * HEIGHT);
}

/* What the picture becomes in the bitmap; with palette 2 the table is part of the work. */
void runTo(benchmark::State& state, const DibBench& bench, int palette)
{
    BenchDib dib = makeDib(bench.bitCount, bench.compression), copy = makeDib(bench.bitCount, bench.compression);
    const BenchImage image = makePicture(bench.nChannels, bench.isPlanes);
    vekConvertToDIB(image.get(), dib.header(), 1, bench.palette);
    benchMeasure(
        state, [&] { vekConvertToDIB(image.get(), dib.header(), 1, palette); }, dib.pixels(), copy.pixels(),
        dib.pixelBytes, (double)WIDTH * HEIGHT);
}

const bool areRegistered = [] {
    for (const DibBench& bench : benches) {
        const std::string name = bench.name;
        benchmark::RegisterBenchmark(("dib/from/" + name).c_str(), [=](benchmark::State& state) {
            runFrom(state, bench);
        })->UseManualTime();
        benchmark::RegisterBenchmark(("dib/to/" + name).c_str(), [=](benchmark::State& state) {
            runTo(state, bench, 0);
        })->UseManualTime();
    }
    static const DibBench given = {"", 8, 0, 3, false, 2};
    benchmark::RegisterBenchmark("dib/nearest/8bit", [](benchmark::State& state) {
        runTo(state, given, 0);
    })->UseManualTime();
    benchmark::RegisterBenchmark("dib/median-cut/8bit", [](benchmark::State& state) {
        runTo(state, given, 2);
    })->UseManualTime();
    return true;
}();

} // namespace
