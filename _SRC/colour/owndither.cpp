/* owndither: which channels a dither works on, and the ordered one: a matrix of thresholds says whether what lies below the
 * kept bits makes all of them ones. */
#include "ownbits.h"

int ownDitheredChannels(const VekImage* image)
{
    const auto named = [](const char name[4], const char* text, size_t n) { return memcmp(name, text, n) == 0; };
    const bool isRgb = named(image->colorModel, "RGB", 3) &&
                       (named(image->channelSeq, "RGB", 3) || named(image->channelSeq, "BGR", 3));
    if (isRgb) return std::min(image->nChannels, 3);
    const bool isGray = named(image->colorModel, "GRAY", 4) || named(image->colorModel, "Gray", 4);
    return isGray && image->channelSeq[0] == 'G' ? 1 : 0;
}

/* ---- Ordered ------------------------------------------------------------------------------------------------------- */

/* Thresholds of 12 bits by [column & 3][row & 3]. */
static const uint16_t ownThresholds[4][4] = {{0, 0x788, 0x1E2, 0x96A},
                                             {0xB4C, 0x3C4, 0xD2E, 0x5A6},
                                             {0x2D3, 0xA5B, 0xF1, 0x879},
                                             {0xE1F, 0x697, 0xC3D, 0x4B5}};

/* out = (a & dropped) > b ? a | dropped : a & ~dropped, b being the sample's threshold. */
template <class T> static void ownOrderedPlain(void* out, const void* a, const void* b, ptrdiff_t n, const void* k)
{
    const T dropped = (T) * (const uint32_t*)k;
    ownEach2<T, T>(out, a, b, n, [=](T x, T t) { return (T)((x & dropped) > t ? x | dropped : x & ~dropped); });
}
template <class T> static void ownOrderedRun(void* out, const void* a, const void* b, ptrdiff_t n, const void* k)
{
    const OwnVec<T> dropped = ownSet((T) * (const uint32_t*)k);
    ownMap2<T>(out, a, b, n,
               [=](OwnVec<T> x, OwnVec<T> t) { return (x & ~dropped) | (ownGreater(x & dropped, t) & dropped); });
}

template <class T> static constexpr OwnRow ownOrderedRow = {ownOrderedRun<T>, ownOrderedPlain<T>};

OWN_TABLE(ownOrderedRows) = {
    /*  1U */ {},
    /*  8U */ ownOrderedRow<uint8_t>,
    /*  8S */ {},
    /* 16U */ ownOrderedRow<uint16_t>,
};

/* A row of thresholds in samples of the view's size, from the matrix' column x on. */
static void ownPutThresholds(uint8_t* line, const OwnView& view, const uint16_t column[4][4], int64_t x, int64_t y,
                             int shift)
{
    const int bytes = view.sampleBits >> 3;
    for (int64_t i = 0; i < (int64_t)view.width * view.pixelStep; ++i) {
        const uint32_t threshold = ((uint32_t)column[(x + i / view.pixelStep) & 3][y & 3] << shift) >> 12;
        if (bytes == 1) line[i] = (uint8_t)threshold;
        else ((uint16_t*)line)[i] = (uint16_t)threshold;
    }
}

/* The thresholds go with the samples as a second image, all rows of which are one: that of every fourth row of the view. */
bool ownDitherOrdered(const OwnView& view, int nChannels, int32_t levels, int64_t x, int64_t y)
{
    const int64_t nBytes = (int64_t)view.width * view.pixelStep * (view.sampleBits >> 3);
    uint8_t* line = nBytes > PTRDIFF_MAX ? nullptr : (uint8_t*)ownAlloc((size_t)nBytes);
    if (!line) return false;
    const uint32_t dropped = ownDroppedBits(view.sampleBits, levels);
    OwnPoint point = {};
    point.nImages = 3;
    for (OwnChannels& channels : point.channels) channels = {0, nChannels, false};
    point.run = ownOrderedRows[view.sampleBits == 8 ? OWN_8U : OWN_16U].run;
    point.k = &dropped;
    for (int32_t row = 0; row < 4 && row < view.height; ++row) {
        ownPutThresholds(line, view, ownThresholds, x, y + row, view.sampleBits - levels);
        OwnView rows = ownCrop(view, 0, row, view.width, 1), thresholds = view;
        rows.height = (view.height - row + 3) / 4;
        rows.rowStep *= 4;
        thresholds.data = line;
        thresholds.rowStep = thresholds.channelStep = 0;
        const OwnView views[3] = {rows, thresholds, rows};
        ownTraverseViews(point, views, nullptr);
    }
    ownFree(line);
    return true;
}
