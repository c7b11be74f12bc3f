#include "move/move_model.h"

#include <limits>

const uint32_t moveDepths[OWN_DEPTHS] = {VEK_DEPTH_1U,  VEK_DEPTH_8U,  VEK_DEPTH_8S, VEK_DEPTH_16U,
                                         VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F};

int64_t heldToDepth(uint32_t depth, int64_t value)
{
    const int bits = (int)(depth & 0xFF);
    const bool isSigned = depth & VEK_DEPTH_SIGN;
    const int64_t low = isSigned ? -(INT64_C(1) << (bits - 1)) : 0;
    const int64_t high = (INT64_C(1) << (bits - isSigned)) - 1;
    return std::clamp(value, low, high);
}

/* ---- The model ----------------------------------------------------------------------------------------------------- */

/* A region's first pixel and size; a row is no longer than its bytes. */
struct Region {
    int32_t x, y;
    int64_t width, height;
};

static Region regionOf(const VekImage& image, bool isTiled)
{
    const int64_t pixelBits = (int64_t)(image.depth & 0xFF) * (image.dataOrder == 0 ? image.nChannels : 1);
    const int64_t width = isTiled ? image.width
                                  : std::min<int64_t>(image.width, image.widthStep * INT64_C(8) / pixelBits);
    const VekROI roi = image.roi ? *image.roi : VekROI{0, 0, 0, image.width, image.height};
    return {roi.xOffset, roi.yOffset, std::min<int64_t>(roi.width, width - roi.xOffset),
            std::min<int64_t>(roi.height, (int64_t)image.height - roi.yOffset)};
}

std::pair<int32_t, int32_t> sharedSize(const std::vector<Moved>& images)
{
    int64_t width = INT32_MAX, height = INT32_MAX;
    const auto narrow = [&](const Region& region) {
        width = std::min(width, region.width);
        height = std::min(height, region.height);
    };
    for (const Moved& image : images) {
        narrow(regionOf(image.pixels->image, image.isTiled));
        if (image.pixels->mask) narrow(regionOf(image.pixels->mask->image, false));
    }
    return {(int32_t)std::max<int64_t>(width, 0), (int32_t)std::max<int64_t>(height, 0)};
}

std::vector<int32_t> channelsOf(const VekImage& image)
{
    if (image.roi && image.roi->coi > 0) return {image.roi->coi - 1};
    std::vector<int32_t> channels;
    for (int32_t c = 0; c < image.nChannels; ++c)
        if (c + 1 != image.alphaChannel) channels.push_back(c);
    return channels;
}

int64_t regionSample(const TestImage& image, int32_t x, int32_t y, int32_t channel)
{
    const VekROI* roi = image.image.roi;
    return image.get((roi ? roi->xOffset : 0) + x, (roi ? roi->yOffset : 0) + y, channel);
}

bool isThrough(const TestImage& image, int32_t x, int32_t y)
{
    return !image.mask || regionSample(*image.mask, x, y, 0);
}

std::vector<uint8_t> naiveMove(const Moved& src, const Moved& dst, const MoveRule& rule)
{
    std::vector<uint8_t> block = dst.pixels->bytes();
    const auto [width, height] = sharedSize({src, dst});
    const std::vector<int32_t> from = channelsOf(src.pixels->image), to = channelsOf(dst.pixels->image);
    const VekROI* roi = dst.pixels->image.roi;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const int32_t xSrc = rule.flipAxis == 1 || rule.flipAxis == -1 ? width - 1 - x : x;
            const int32_t ySrc = rule.flipAxis == 0 || rule.flipAxis == -1 ? height - 1 - y : y;
            const bool through = isThrough(*src.pixels, xSrc, ySrc) && isThrough(*dst.pixels, x, y);
            for (size_t c = 0; c < std::min(from.size(), to.size()); ++c) {
                if (!through && !rule.maskClears) continue;
                const int64_t value = through ? rule.sample(regionSample(*src.pixels, xSrc, ySrc, from[c])) : 0;
                setSample(dst.pixels->image, block.data(), (roi ? roi->xOffset : 0) + x, (roi ? roi->yOffset : 0) + y,
                          to[c], value);
            }
        }
    return block;
}

std::vector<uint8_t> naiveWhole(const TestImage& src, const TestImage& dst, int32_t channel,
                                const std::function<int64_t(int64_t)>& sample)
{
    std::vector<uint8_t> block = dst.bytes();
    const VekImage& image = dst.image;
    for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.width; ++x)
            for (int32_t c = 0; c < image.nChannels; ++c) {
                const int32_t row = src.image.origin == image.origin ? y : image.height - 1 - y;
                setSample(image, block.data(), x, y, c, sample(src.get(x, row, channel < 0 ? c : channel)));
            }
    return block;
}

/* ---- Random images ----------------------------------------------------------------------------------------------- */

int32_t drawLength(Random& random)
{
    const int32_t size = draw(random, 1, draw(random, 0, 9) ? 40 : 150);
    return draw(random, 0, 3) ? size : (size + 7) / 8 * 8;
}

static void drawRegion(TestImage& image, int32_t coi, Random& random)
{
    const int32_t width = image.image.width, height = image.image.height;
    const int where = draw(random, 0, 9);
    if (where < 2) return image.setRoi(coi, 0, 0, width + draw(random, 0, 3), height);
    if (where == 2)
        return image.setRoi(coi, draw(random, 0, width + 9), draw(random, 0, height + 9), 1 + draw(random, 0, 40), 3);
    const int32_t x = draw(random, 0, (width - 1) / 2), y = draw(random, 0, (height - 1) / 2);
    image.setRoi(coi, x, y, draw(random, 1, width), draw(random, 1, height));
}

static std::unique_ptr<TestImage> drawMask(Random& random)
{
    ImageSpec spec;
    spec.depth = VEK_DEPTH_1U;
    spec.width = draw(random, 1, 90);
    spec.height = draw(random, 1, 60);
    spec.dataOrder = draw(random, 0, 1);
    spec.atEnd = draw(random, 0, 1);
    auto mask = std::make_unique<TestImage>(spec, random);
    const int kind = draw(random, 0, 3); /* all ones, long runs, or half of the bits */
    for (size_t i = 0; kind < 2 && i < mask->block.bytes; ++i) mask->block.data[i] = kind == 0 || i / 5 % 2 ? 0xFF : 0;
    if (draw(random, 0, 1)) drawRegion(*mask, 0, random);
    return mask;
}

std::unique_ptr<TestImage> drawMoved(const DrawSpec& want, Random& random)
{
    ImageSpec spec;
    spec.depth = moveDepths[want.slot];
    spec.dataOrder = want.dataOrder < 0 ? draw(random, 0, 1) : want.dataOrder;
    spec.width = want.width ? want.width : drawLength(random);
    spec.height = want.height ? want.height : drawLength(random);
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 2) ? 0 : draw(random, 0, 9);
    spec.atEnd = draw(random, 0, 1);
    int32_t coi = 0;
    if (want.slot != OWN_1U && !want.isPlain) {
        if (want.nColours == 1 && draw(random, 0, 1)) {
            spec.nChannels = draw(random, 1, 12);
            spec.hasAlpha = spec.nChannels > 1 && draw(random, 0, 1);
            coi = draw(random, 1, spec.nChannels - (spec.hasAlpha && !want.picksAlpha));
        } else {
            spec.hasAlpha = draw(random, 0, 3) == 0;
            spec.nChannels = want.nColours + spec.hasAlpha;
        }
    } else if (want.isPlain) spec.nChannels = want.nColours;
    auto image = std::make_unique<TestImage>(spec, random);
    if (want.isPlain) return image;
    if (coi || draw(random, 0, 1)) drawRegion(*image, coi, random);
    if (draw(random, 0, 2) == 0) image->setMask(drawMask(random));
    return image;
}

std::string headerText(const VekImage& image)
{
    std::string text = std::to_string(image.depth & 0xFF) + (image.depth & VEK_DEPTH_SIGN ? "S " : " ") +
                       std::to_string(image.nChannels) + "ch a" + std::to_string(image.alphaChannel) + " order" +
                       std::to_string(image.dataOrder) + " origin" + std::to_string(image.origin) + " " +
                       std::to_string(image.width) + "x" + std::to_string(image.height) + " step" +
                       std::to_string(image.widthStep);
    if (const VekROI* roi = image.roi)
        text += " roi(" + std::to_string(roi->coi) + ": " + std::to_string(roi->xOffset) + "," +
                std::to_string(roi->yOffset) + " " + std::to_string(roi->width) + "x" + std::to_string(roi->height) +
                ")";
    if (image.maskROI) text += " mask[" + headerText(*image.maskROI) + "]";
    return text;
}
