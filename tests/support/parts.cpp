#include "support/parts.h"

#include <algorithm>

const uint32_t slotDepths[OWN_DEPTHS] = {VEK_DEPTH_1U,  VEK_DEPTH_8U,  VEK_DEPTH_8S, VEK_DEPTH_16U,
                                         VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F};

int64_t heldToDepth(uint32_t depth, int64_t value)
{
    const int bits = (int)(depth & 0xFF);
    const bool isSigned = depth & VEK_DEPTH_SIGN;
    const int64_t low = isSigned ? -(INT64_C(1) << (bits - 1)) : 0;
    const int64_t high = (INT64_C(1) << (bits - isSigned)) - 1;
    return std::clamp(value, low, high);
}

Area areaOf(const VekImage& image, bool isTiled)
{
    const int64_t pixelBits = (int64_t)(image.depth & 0xFF) *
                              (image.dataOrder == VEK_DATA_ORDER_PIXEL ? image.nChannels : 1);
    const int64_t rowPixels = isTiled ? image.width
                                      : std::min<int64_t>(image.width, image.widthStep * INT64_C(8) / pixelBits);
    if (!image.roi) return {0, 0, rowPixels, image.height};
    const VekROI& roi = *image.roi;
    const int64_t width = std::min<int64_t>(roi.width, rowPixels - roi.xOffset);
    const int64_t height = std::min<int64_t>(roi.height, (int64_t)image.height - roi.yOffset);
    return {roi.xOffset, roi.yOffset, std::max<int64_t>(width, 0), std::max<int64_t>(height, 0)};
}

std::vector<int32_t> channelsOf(const VekImage& image)
{
    if (image.roi && image.roi->coi > 0) return {image.roi->coi - 1};
    std::vector<int32_t> channels;
    for (int32_t c = 0; c < image.nChannels; ++c)
        if (c + 1 != image.alphaChannel) channels.push_back(c);
    return channels;
}

int64_t regionSample(const TestImage& image, int64_t x, int64_t y, int32_t channel)
{
    const VekROI* roi = image.image.roi;
    return image.get((int32_t)((roi ? roi->xOffset : 0) + x), (int32_t)((roi ? roi->yOffset : 0) + y), channel);
}

bool isThrough(const TestImage& image, int64_t x, int64_t y)
{
    return !image.mask || regionSample(*image.mask, x, y, 0);
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

int32_t drawLength(Random& random)
{
    const int32_t size = draw(random, 1, draw(random, 0, 9) ? 40 : 150);
    return draw(random, 0, 3) ? size : (size + 7) / 8 * 8;
}

void drawRegion(TestImage& image, Random& random, int32_t coi, bool beginsInside)
{
    const int32_t width = image.image.width, height = image.image.height;
    const int where = beginsInside ? 9 : draw(random, 0, 9);
    if (where < 2) return image.setRoi(coi, 0, 0, width + draw(random, 0, 3), height);
    if (where == 2)
        return image.setRoi(coi, draw(random, 0, width + 9), draw(random, 0, height + 9), 1 + draw(random, 0, 40), 3);
    image.setRoi(coi, draw(random, 0, (width - 1) / 2), draw(random, 0, (height - 1) / 2), draw(random, 1, width + 2),
                 draw(random, 1, height + 2));
}

std::unique_ptr<TestImage> drawMask(const VekImage& image, Random& random, bool beginsInside)
{
    ImageSpec spec;
    spec.depth = VEK_DEPTH_1U;
    spec.width = std::max(image.width + draw(random, -3, 9), 1);
    spec.height = std::max(image.height + draw(random, -3, 9), 1);
    spec.dataOrder = draw(random, 0, 1);
    spec.moreStep = draw(random, -1, 1) * draw(random, 0, 3); /* a mask's row has at least 4 bytes */
    spec.atEnd = draw(random, 0, 1);
    auto mask = std::make_unique<TestImage>(spec, random);
    const int kind = draw(random, 0, 3);
    for (size_t i = 0; kind < 2 && i < mask->block.bytes; ++i) mask->block.data[i] = kind == 0 || i / 5 % 2 ? 0xFF : 0;
    if (draw(random, 0, 1)) drawRegion(*mask, random, 0, beginsInside);
    return mask;
}
