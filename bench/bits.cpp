/* Bit reduction: each pair of depths, noise, each dither, of gray and of colour; and the run-length codec by itself, of 8 and
 * of 4 bits, against the bytes of the plain rows. */
#include "bench.h"
#include "dib/ownrle.h"

#include <string.h>

namespace {

struct ReduceBench {
    std::string name;
    uint32_t from, to;
    int32_t nChannels;
    int32_t jitter, dither, levels;
};

void runReduce(benchmark::State& state, const ReduceBench& bench)
{
    const BenchImage src = benchImage(bench.nChannels, bench.from, 1920, 1080);
    const BenchImage dst = benchImage(bench.nChannels, bench.to, 1920, 1080);
    const BenchImage other = benchImage(bench.nChannels, bench.to, 1920, 1080);
    benchMeasure(
        state, [&] { vekReduceBits(src.get(), dst.get(), bench.jitter, bench.dither, bench.levels); }, dst->imageData,
        other->imageData, (size_t)dst->imageSize, 1920.0 * 1080 * bench.nChannels);
}

/* A bitmap of the bits: gradients with weak noise, and flat parts. */
struct RleBench {
    enum { WIDTH = 1920, HEIGHT = 1080, HEAD = 40 + 4 * 256 };
    explicit RleBench(int bits, int noise)
        : block(HEAD + (size_t)rowBytes(bits) * HEIGHT), plain((size_t)rowBytes(bits) * HEIGHT)
    {
        BITMAPINFOHEADER* dib = header();
        *dib = {40, WIDTH, HEIGHT, 1, (uint16_t)bits, 0, 0, 0, 0, 256, 0};
        dib->biCompression = bits == 8 ? OWN_DIB_RLE8 : OWN_DIB_RLE4;
        uint32_t random = 1;
        for (size_t i = 0; i < plain.size(); ++i) {
            const size_t x = i % (size_t)rowBytes(bits), y = i / (size_t)rowBytes(bits);
            random = random * 1664525 + 1013904223;
            const bool isFlat = (x / 100 + y / 100) % 4 == 0;
            plain[i] = (uint8_t)((x + y) / 16 + (isFlat || !noise ? 0 : (random >> 24) % (uint32_t)noise));
        }
        refill();
    }
    static int rowBytes(int bits) { return WIDTH * bits / 8; }
    BITMAPINFOHEADER* header() { return (BITMAPINFOHEADER*)block.data(); }
    void refill() { memcpy(block.data() + HEAD, plain.data(), plain.size()); }

    std::vector<uint8_t> block, plain;
};

void runRle(benchmark::State& state, int bits, bool packs, int noise)
{
    static const OwnFace face = {"bench", "bench"};
    RleBench bench(bits, noise);
    const uint32_t kind = bench.header()->biCompression;
    if (!packs && (!ownCompressDib(face, bench.header()) || bench.header()->biCompression != kind))
        return state.SkipWithError("the stream is no shorter");
    uint8_t* plain = bench.block.data() + RleBench::HEAD;
    std::vector<uint8_t> other(bench.plain);
    benchMeasure(
        state,
        [&] {
            bench.header()->biCompression = kind;
            if (packs) ownCompressDib(face, bench.header());
            else vekFree(ownDecompressDib(face, bench.header(), nullptr));
        },
        packs ? plain : other.data(), bench.plain.data(), bench.plain.size(), 1920.0 * 1080);
}

const std::pair<const char*, uint32_t> depths[] = {{"1U", VEK_DEPTH_1U},
                                                   {"8U", VEK_DEPTH_8U},
                                                   {"16U", VEK_DEPTH_16U},
                                                   {"32S", VEK_DEPTH_32S}};

const bool areRegistered = [] {
    std::vector<ReduceBench> all;
    for (int from = 1; from < 4; ++from)
        for (int to = 0; to < from; ++to) {
            const std::string name = std::string(depths[from].first) + "-" + depths[to].first;
            if (name == "32S-16U" || depths[to].second != VEK_DEPTH_16U)
                for (int jitter : {0, 4})
                    all.push_back({(jitter ? "noise/" : "convert/") + name, depths[from].second, depths[to].second, 1,
                                   jitter, 1, 0});
        }
    for (const auto& [name, dither] :
         {std::pair("floyd", 2), std::pair("jarvis", 4), std::pair("stucki", 8), std::pair("ordered", 16)})
        for (const int32_t nChannels : {1, 3})
            for (const int to : {1, 2})
                all.push_back({std::string(name) + "/" + depths[to].first + (nChannels == 3 ? "-3ch" : ""),
                               depths[to + 1].second, depths[to].second, nChannels, 0, dither, 1});
    for (const ReduceBench& bench : all)
        benchmark::RegisterBenchmark(("bits/vekReduceBits-" + bench.name).c_str(), [=](benchmark::State& state) {
            runReduce(state, bench);
        })->UseManualTime();
    for (const int bits : {8, 4})
        for (const bool packs : {false, true})
            for (const int noise : {0, 2, 16}) {
                if (!packs && noise == 16) continue; /* stays plain */
                const std::string name = std::string("bits/rle-") + (packs ? "encode/" : "decode/") +
                                         std::to_string(bits) + "/" +
                                         (noise == 0   ? "flat"
                                          : noise == 2 ? "weak"
                                                       : "noisy");
                benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                    runRle(state, bits, packs, noise);
                })->UseManualTime();
            }
    return true;
}();

} // namespace
