#include "tones.h"

#include "scene.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

/* LevelTables of one bin a level, one for each channel of a picture. */
struct LevelTables {
    std::vector<int32_t> key, value;
    std::vector<VekLUT> tables;
    std::vector<VekLUT*> lut;

    explicit LevelTables(int32_t nChannels) : key(257), value(257 * (size_t)nChannels), tables((size_t)nChannels)
    {
        std::iota(key.begin(), key.end(), 0);
        for (VekLUT& table : tables) {
            table = {257, key.data(), value.data() + 257 * lut.size(), nullptr, 0};
            lut.push_back(&table);
        }
    }
};

/* Calls visit(channel, a header whose region names the channel) for each channel that the picture's region has. */
template <class F> static void eachChannel(VekImage* picture, F visit)
{
    VekImage view = *picture;
    VekROI roi = *picture->roi;
    view.roi = &roi;
    const int32_t only = roi.coi;
    for (roi.coi = only ? only : 1; roi.coi <= (only ? only : picture->nChannels); ++roi.coi) visit(roi.coi, view);
}

void equalizePicture(VekImage* picture)
{
    LevelTables tables(picture->nChannels);
    vekComputeHisto(picture, tables.lut.data());
    vekHistoEqualize(picture, picture, tables.lut.data());
}

void stretchPicture(VekImage* picture, int32_t low, int32_t high)
{
    LevelTables tables(picture->nChannels);
    for (size_t i = 0; i < tables.value.size(); ++i) {
        const int64_t level = ((int64_t)(i % 257) - low) * 255 / std::max<int64_t>((int64_t)high - low, 1);
        tables.value[i] = (int32_t)std::clamp<int64_t>(level, 0, 255);
    }
    vekContrastStretch(picture, picture, tables.lut.data());
}

void drawHistogram(VekImage* picture)
{
    const int32_t width = picture->roi->width, height = picture->roi->height;
    LevelTables tables(picture->nChannels);
    vekComputeHisto(picture, tables.lut.data());
    const Image chart = makeImage(picture->nChannels, VEK_DEPTH_8U, width, height);
    if (!chart) return (void)vekError(VEK_StatusNoMemory, "histogram", "no room for it", "vekdemo", 0);
    chart->origin = picture->origin;
    eachChannel(picture, [&](int32_t channel, VekImage& view) {
        const int32_t* count = tables.tables[(size_t)channel - 1].value;
        const int32_t most = std::max(1, *std::max_element(count, count + 256));
        VekROI bar = {channel, 0, 0, 1, 0};
        for (; bar.xOffset < width; ++bar.xOffset) {
            bar.height = (int32_t)((int64_t)count[(int64_t)bar.xOffset * 256 / width] * height / most);
            bar.yOffset = picture->origin == VEK_ORIGIN_TOP_LEFT ? height - bar.height : 0;
            chart->roi = &bar;
            if (bar.height) vekSet(chart.get(), 255);
        }
        VekROI whole = {channel, 0, 0, width, height};
        chart->roi = &whole;
        vekCopy(chart.get(), &view);
    });
    chart->roi = nullptr;
}

/* A mask of the pixels near the ellipse and near the two strokes of its centre. */
static Image drawSpread(const VekImage& view, VekMomentState state)
{
    const VekROI& roi = *view.roi;
    const double mass = vekGetSpatialMoment(state, 0, 0);
    const double u = vekGetSpatialMoment(state, 1, 0) / mass, v = vekGetSpatialMoment(state, 0, 1) / mass,
                 xx = vekGetCentralMoment(state, 2, 0) / mass, xy = vekGetCentralMoment(state, 1, 1) / mass,
                 yy = vekGetCentralMoment(state, 0, 2) / mass, area = std::sqrt(std::max(xx * yy - xy * xy, 1e-6));
    Image mask = makeImage(1, VEK_DEPTH_1U, roi.width, roi.height);
    for (int32_t y = 0; mask && y < roi.height; ++y)
        for (int32_t x = 0; x < roi.width; ++x) {
            const double dx = roi.xOffset + x - u, dy = roi.yOffset + y - v;
            const double r = std::sqrt((yy * dx * dx - 2 * xy * dx * dy + xx * dy * dy) / (area * area));
            const bool isCross = std::fabs(dx) + std::fabs(dy) < 10 && std::min(std::fabs(dx), std::fabs(dy)) < 1;
            if (isCross || std::fabs(r - 2) * std::sqrt(area) < 1.5)
                mask->imageData[y * (ptrdiff_t)mask->widthStep + x / 8] |= (uint8_t)(0x80 >> x % 8);
        }
    if (mask) mask->origin = view.origin;
    return mask;
}

void drawMoments(VekImage* picture)
{
    eachChannel(picture, [](int32_t, VekImage& view) {
        VekMomentState state = {};
        vekMoments(&view, state);
        if (!(vekGetSpatialMoment(state, 0, 0) > 0)) return;
        const Image mask = drawSpread(view, state);
        if (!mask) return (void)vekError(VEK_StatusNoMemory, "moments", "no room for it", "vekdemo", 0);
        if (view.maskROI) vekAnd(mask.get(), view.maskROI, mask.get());
        VekImage drawn = view;
        drawn.maskROI = mask.get();
        vekSet(&drawn, 255);
    });
}
