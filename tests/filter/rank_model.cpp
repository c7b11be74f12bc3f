#include "filter/rank_model.h"

#include "support/parts.h"

#include <algorithm>

/* ---- What takes part ------------------------------------------------------------------------------------------- */

SharedArea::SharedArea(const VekImage& srcImage, const VekImage& dstImage)
    : src(&srcImage), dst(&dstImage), srcChannels(channelsOf(srcImage)), dstChannels(channelsOf(dstImage))
{
    const Area from = areaOf(*src), to = areaOf(*dst);
    int64_t w = std::min(from.width, to.width), h = std::min(from.height, to.height);
    for (const VekImage* mask : {src->maskROI, dst->maskROI}) {
        if (!mask) continue;
        w = std::min(w, areaOf(*mask).width);
        h = std::min(h, areaOf(*mask).height);
    }
    width = (int32_t)w, height = (int32_t)h;
    xSrc = (int32_t)from.x, ySrc = (int32_t)from.y;
    xDst = (int32_t)to.x, yDst = (int32_t)to.y;
}

bool SharedArea::through(int32_t x, int32_t y) const
{
    for (const VekImage* mask : {src->maskROI, dst->maskROI}) {
        if (!mask) continue;
        const Area area = areaOf(*mask);
        if (!getSample(*mask, mask->imageData, (int32_t)area.x + x, (int32_t)area.y + y, 0)) return false;
    }
    return true;
}

/* ---- Borders --------------------------------------------------------------------------------------------------- */

/* A coordinate brought into 0 to n - 1 by steps. */
static int64_t inside(int64_t c, int64_t n, int mode)
{
    while (c < 0 || c >= n) {
        if (mode == VEK_BORDER_EDGE) c = c < 0 ? 0 : n - 1;
        else if (mode == VEK_BORDER_WRAP) c += c < 0 ? n : -n;
        else c = c < 0 ? -c - 1 : 2 * n - 1 - c;
    }
    return c;
}

int64_t borderedSample(const VekImage& image, const uint8_t* block, int64_t x, int64_t y, int32_t c)
{
    const int side = y < 0 ? 0 : y >= image.height ? 1 : x < 0 ? 2 : x >= image.width ? 3 : -1;
    const int mode = side < 0 ? VEK_BORDER_EDGE : image.borderMode[side];
    if (mode == VEK_BORDER_FIXED) {
        const int64_t constant = image.borderConst[side];
        switch (image.depth) {
        case VEK_DEPTH_1U: return constant & 1;
        case VEK_DEPTH_8U: return (uint8_t)constant;
        case VEK_DEPTH_8S: return (int8_t)constant;
        case VEK_DEPTH_16U: return (uint16_t)constant;
        case VEK_DEPTH_16S: return (int16_t)constant;
        }
        return constant;
    }
    return getSample(image, block, (int32_t)inside(x, image.width, mode), (int32_t)inside(y, image.height, mode), c);
}

/* ---- Windows ---------------------------------------------------------------------------------------------------- */

int64_t rankOf(std::vector<int64_t> samples, size_t rank)
{
    std::sort(samples.begin(), samples.end());
    return samples[rank - 1];
}

void modelWindow(const SharedArea& area, const uint8_t* srcBlock, uint8_t* dstBlock, const ModelWindow& window,
                 const std::function<int64_t(const std::vector<int64_t>&)>& pick)
{
    std::vector<int64_t> samples;
    for (size_t c = 0; c < area.srcChannels.size(); ++c)
        for (int32_t y = 0; y < area.height; ++y)
            for (int32_t x = 0; x < area.width; ++x) {
                if (!area.through(x, y)) continue;
                samples.clear();
                for (int32_t j = 0; j < window.nRows; ++j)
                    for (int32_t i = 0; i < window.nCols; ++i)
                        samples.push_back(borderedSample(*area.src, srcBlock, area.xSrc + x - window.anchorX + i,
                                                         area.ySrc + y - window.anchorY + j, area.srcChannels[c]));
                setSample(*area.dst, dstBlock, area.xDst + x, area.yDst + y, area.dstChannels[c], pick(samples));
            }
}

/* ---- Morphology ------------------------------------------------------------------------------------------------- */

/* The rectangle with its ring, from (-1, -1) on. */
struct Ringed {
    int32_t width, height;
    std::vector<int64_t> samples;
    int64_t& at(int32_t x, int32_t y) { return samples[(size_t)(y + 1) * (size_t)(width + 2) + (size_t)(x + 1)]; }
};

/* Inside the rectangle the extremum of the square; a place beyond the ring has the sample of the ring next to it. */
static Ringed passOver(Ringed& in, int32_t n, bool largest)
{
    Ringed out = in;
    for (int32_t y = 0; y < in.height; ++y)
        for (int32_t x = 0; x < in.width; ++x)
            for (int32_t j = y - n; j <= y + n; ++j)
                for (int32_t i = x - n; i <= x + n; ++i) {
                    const int64_t other = in.at(std::clamp(i, -1, in.width), std::clamp(j, -1, in.height));
                    int64_t& most = out.at(x, y);
                    most = largest ? std::max(most, other) : std::min(most, other);
                }
    return out;
}

void modelMorphology(const SharedArea& area, const uint8_t* srcBlock, uint8_t* dstBlock, int32_t nIterations,
                     const std::vector<bool>& passes)
{
    if (area.width < 1 || area.height < 1) return;
    for (size_t c = 0; c < area.srcChannels.size(); ++c) {
        Ringed plane = {area.width, area.height,
                        std::vector<int64_t>((size_t)(area.width + 2) * (size_t)(area.height + 2))};
        for (int32_t y = -1; y <= area.height; ++y)
            for (int32_t x = -1; x <= area.width; ++x)
                plane.at(x, y) = borderedSample(*area.src, srcBlock, area.xSrc + x, area.ySrc + y, area.srcChannels[c]);
        for (const bool largest : passes) plane = passOver(plane, nIterations, largest);
        for (int32_t y = 0; y < area.height; ++y)
            for (int32_t x = 0; x < area.width; ++x)
                if (area.through(x, y))
                    setSample(*area.dst, dstBlock, area.xDst + x, area.yDst + y, area.dstChannels[c], plane.at(x, y));
    }
}
