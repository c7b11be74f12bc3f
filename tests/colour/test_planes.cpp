/* Every row of the colour models' tables: the packed run gives, bit for bit, what the plain loop gives, of samples that are
 * drawn among the limits of ranges, sectors and signs as often as anywhere. */
#include "support/support.h"

#include "colour/owncolor.h"

#include <gtest/gtest.h>

namespace {

struct PlaneTable {
    const char* name;
    const OwnPlaneRow* rows;
    int from, nRows; /* the source's slot, and how many rows there are; from -1: by the row */
};

const PlaneTable planeTables[] = {
    {"RgbToHsv", ownRgbToHsvRows, -1, OWN_DEPTHS},
    {"HsvToRgb", ownHsvToRgbRows, -1, OWN_DEPTHS},
    {"RgbToHls", ownRgbToHlsRows, -1, OWN_DEPTHS},
    {"HlsToRgb", ownHlsToRgbRows, -1, OWN_DEPTHS},
    {"RgbToXyz", ownRgbToXyzRows, -1, OWN_DEPTHS},
    {"XyzToRgb", ownXyzToRgbRows, -1, OWN_DEPTHS},
    {"RgbToYuv", ownRgbToYuvRows, -1, OWN_DEPTHS},
    {"YuvToRgb", ownYuvToRgbRows, -1, OWN_DEPTHS},
    {"YuvToRgbUnequal", ownYuvToRgbUnequalRows, -1, OWN_DEPTHS},
    {"RgbToYCr", ownRgbToYCrRows, -1, OWN_DEPTHS},
    {"YCrToRgb", ownYCrToRgbRows, -1, OWN_DEPTHS},
    {"YccToRgb", ownYccToRgbRows, -1, OWN_DEPTHS},
    {"RgbToLuv", ownRgbToLuvRows, -1, OWN_DEPTHS},
    {"LuvToRgb", ownLuvToRgbRows, -1, OWN_DEPTHS},
    {"GrayToColor", ownGrayToColorRows, -1, OWN_DEPTHS},
    {"ColorToGray of 8U", ownColorToGrayRows[OWN_8U], OWN_8U, OWN_DEPTHS},
    {"ColorToGray of 16U", ownColorToGrayRows[OWN_16U], OWN_16U, OWN_DEPTHS},
    {"ColorToGray of 32S", ownColorToGrayRows[OWN_32S], OWN_32S, OWN_DEPTHS},
    {"ColorToGray in planes", &ownColorToGrayPlaneRow, OWN_16U, 1},
    {"ColorToGray at the end", &ownColorToGrayLastRow, OWN_16U, 1},
};

enum { MOST = 4096, MOST_BYTES = 4 * MOST };
typedef std::vector<uint8_t> PlaneBytes;

/* The bits of a sample of any depth. */
uint32_t drawSample(Random& random, int slot)
{
    static const uint32_t limits[] = {0,      1,          59,         60,        119,        120,   180,
                                      239,    240,        241,        360,       32767,      32768, 65535,
                                      0x8000, 0x3FFFFFFF, 0x40000000, INT32_MAX, 0x80000000, ~0u};
    static const float reals[] = {0, -0.0f, 1, -1, 0.00329f, 1e-5f, 100, -900, 1e30f, NAN, INFINITY};
    const int32_t kind = draw(random, 0, 3);
    if (slot == OWN_32F) {
        const float x = kind ? (float)draw(random, 0, 1000) / 1000 : reals[draw(random, 0, 10)];
        return std::bit_cast<uint32_t>(x);
    }
    return kind == 0 ? limits[draw(random, 0, 19)] : kind == 1 ? (uint32_t)draw(random, 0, 360) : (uint32_t)random();
}

PlaneBytes drawPlane(Random& random, int slot)
{
    const size_t size = slot >= OWN_32S ? 4 : slot >= OWN_16U ? 2 : 1;
    PlaneBytes plane(MOST_BYTES);
    for (size_t i = 0; i < plane.size(); i += size) {
        const uint32_t bits = drawSample(random, slot);
        memcpy(&plane[i], &bits, size);
    }
    return plane;
}

/* The planes that a run makes of others. */
PlaneBytes runPlanes(OwnPlaneRun* run, const PlaneBytes in[3], ptrdiff_t n, const void* k)
{
    PlaneBytes all(3 * MOST_BYTES);
    const void* const from[3] = {in[0].data(), in[1].data(), in[2].data()};
    void* const to[3] = {&all[0], &all[MOST_BYTES], &all[2 * MOST_BYTES]};
    run(to, from, n, k);
    for (size_t i = 0; i < all.size(); i += 4) { /* what is no number has many forms */
        float x;
        memcpy(&x, &all[i], 4);
        if (x != x) memset(&all[i], 0xEE, 4);
    }
    return all;
}

TEST(PlaneKernels, PackedEqualPlain)
{
    int nRows = 0;
    for (const PlaneTable& table : planeTables)
        for (int i = 0; i < table.nRows; ++i) {
            const OwnPlaneRow& row = table.rows[i];
            ASSERT_EQ(!row.run, !row.plain) << table.name << " " << i;
            if (!row.run) continue;
            ++nRows;
            const int slot = table.from < 0 ? i : table.from;
            Random random((unsigned)slot);
            for (ptrdiff_t n = OWN_VEC_BYTES; n <= MOST; n *= 4) {
                const int32_t low = slot == OWN_32S ? -40000 : 0;
                const OwnGrayWeights k = {{draw(random, low, 65535), draw(random, low, 65535), 3},
                                          slot <= OWN_8U    ? 8
                                          : slot == OWN_16U ? draw(random, 1, 15)
                                                            : 15};
                const PlaneBytes in[3] = {drawPlane(random, slot), drawPlane(random, slot), drawPlane(random, slot)};
                const PlaneBytes is = runPlanes(row.run, in, n, &k), want = runPlanes(row.plain, in, n, &k);
                const ptrdiff_t at = std::mismatch(is.begin(), is.end(), want.begin()).first - is.begin();
                ASSERT_TRUE(is == want) << table.name << " row " << i << ", n " << n << ": plane " << at / MOST_BYTES
                                        << ", byte " << at % MOST_BYTES;
            }
        }
    EXPECT_GT(nRows, 50);
}

} // namespace
