/* The networks of medians, on lines, scratch and results beside protected pages: no sanitizer goes through their code. */
#include "filter/ownrank.h"
#include "support/parts.h"

#include <gtest/gtest.h>

#include <algorithm>

template <class T> static void checkNetwork(int slot, int32_t side, int32_t step, ptrdiff_t n)
{
    constexpr ptrdiff_t size = sizeof(T);
    VekImage image = {};
    image.nChannels = step;
    OwnWindow window = {};
    window.srcImage = window.dstImage = &image;
    OwnRank rank = {side, side, side * side / 2 + 1, slot};
    ASSERT_TRUE(ownNetworkStage(window, rank));

    Random random((uint32_t)(side * 100 + step));
    const int nResults = window.inTwos ? 2 : 1;
    const ptrdiff_t samples = n + (side - 1) * step, lineSamples = (samples + OWN_LINE_SPARE + 63) / 64 * 64;
    std::vector<std::unique_ptr<GuardedBlock>> lines;
    std::vector<const uint8_t*> rows;
    for (int32_t r = 0; r < side + nResults - 1; ++r) {
        lines.push_back(std::make_unique<GuardedBlock>((size_t)(samples * size + OWN_LINE_SPARE)));
        std::generate(lines.back()->data, lines.back()->data + lines.back()->bytes, [&] { return (uint8_t)random(); });
        rows.push_back(lines.back()->data);
    }
    const ptrdiff_t outBytes = (n * size + OWN_OUT_UNIT - 1) / OWN_OUT_UNIT * OWN_OUT_UNIT;
    GuardedBlock out((size_t)(nResults * outBytes)),
        scratch((size_t)(window.scratchBytes + window.scratchPerSample * lineSamples + 63) / 64 * 64);
    window.stage(out.data, rows.data(), {n, step, lineSamples, true, true, nResults, outBytes, scratch.data, &rank});

    for (int y = 0; y < nResults; ++y)
        for (ptrdiff_t i = 0; i < n; ++i) {
            std::vector<T> taps;
            for (int32_t r = 0; r < side; ++r)
                for (int32_t c = 0; c < side; ++c) {
                    T tap;
                    memcpy(&tap, rows[(size_t)(y + r)] + (i + c * step) * size, sizeof(T));
                    taps.push_back(tap);
                }
            const auto middle = taps.begin() + side * side / 2;
            std::nth_element(taps.begin(), middle, taps.end());
            ASSERT_EQ(memcmp(out.data + y * outBytes + i * size, &*middle, sizeof(T)), 0) << "row " << y << " at " << i;
        }
}

TEST(Networks, keepToTheirLinesAndScratch)
{
    for (const int32_t side : {3, 5, 7, 9, 11})
        for (const int32_t step : {1, 3})
            for (const ptrdiff_t n : {step, 33 * step, 450 * step}) {
                SCOPED_TRACE(std::to_string(side) + " step " + std::to_string(step) + " n " + std::to_string(n));
                checkNetwork<uint8_t>(OWN_8U, side, step, n);
                checkNetwork<int8_t>(OWN_8S, side, step, n);
                checkNetwork<uint16_t>(OWN_16U, side, step, n);
                checkNetwork<int16_t>(OWN_16S, side, step, n);
                checkNetwork<int32_t>(OWN_32S, side, step, n);
            }
}
