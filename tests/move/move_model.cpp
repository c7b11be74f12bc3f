#include "move/move_model.h"

#include <limits>

/* ---- The model ----------------------------------------------------------------------------------------------------- */

std::pair<int32_t, int32_t> sharedSize(const std::vector<Moved>& images)
{
    int64_t width = INT32_MAX, height = INT32_MAX;
    const auto narrow = [&](const Area& region) {
        width = std::min(width, region.width);
        height = std::min(height, region.height);
    };
    for (const Moved& image : images) {
        narrow(areaOf(image.pixels->image, image.isTiled));
        if (image.pixels->mask) narrow(areaOf(image.pixels->mask->image, false));
    }
    return {(int32_t)std::max<int64_t>(width, 0), (int32_t)std::max<int64_t>(height, 0)};
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

std::unique_ptr<TestImage> drawMoved(const DrawSpec& want, Random& random)
{
    ImageSpec spec;
    spec.depth = slotDepths[want.slot];
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
    if (coi || draw(random, 0, 1)) drawRegion(*image, random, coi);
    if (draw(random, 0, 2) == 0) image->setMask(drawMask(image->image, random));
    return image;
}
