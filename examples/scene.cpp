#include "scene.h"

#include <math.h>
#include <stddef.h>

#include <algorithm>

Image makeImage(int32_t nChannels, uint32_t depth, int32_t width, int32_t height)
{
    const bool isGrey = nChannels == 1;
    Image image(vekCreateImageHeader(nChannels, 0, depth, isGrey ? "GRAY" : "RGB", isGrey ? "G\0\0" : "BGR",
                                     VEK_DATA_ORDER_PIXEL, VEK_ORIGIN_TOP_LEFT, 4, width, height, nullptr, nullptr,
                                     nullptr, nullptr));
    if (!image) return image;
    if (depth == VEK_DEPTH_32F) vekAllocateImageFP(image.get(), 1, 0);
    else vekAllocateImage(image.get(), 1, 0);
    if (!image->imageData) image.reset();
    return image;
}

/* ---- Pictures ------------------------------------------------------------------------------------------------ */

struct Colour {
    double red, green, blue;
};

static Colour blend(Colour a, Colour b, double t)
{
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t};
}

/* A ball of the unit disc, lit from the upper left. */
static Colour litBall(Colour colour, double x, double y)
{
    const double z = sqrt(1 - x * x - y * y), light = std::max(0.0, (z - x - y) / sqrt(3.0));
    return blend(blend({0, 0, 0}, colour, 0.25 + 0.75 * light), {1, 1, 1}, pow(light, 24));
}

/* The colour at (x, y), both from 0 to 1, y downward. */
static Colour sceneAt(double x, double y, double aspect)
{
    const struct {
        double x, y, radius;
        Colour colour;
    } balls[] = {
        {0.22, 0.74, 0.15, {0.9, 0.1, 0.1}}, {0.50, 0.78, 0.15, {0.1, 0.8, 0.2}}, {0.78, 0.74, 0.15, {0.1, 0.2, 0.9}}};
    for (const auto& ball : balls) {
        const double dx = (x - ball.x) * aspect / ball.radius, dy = (y - ball.y) / ball.radius;
        if (dx * dx + dy * dy < 1) return litBall(ball.colour, dx, dy);
    }
    const double nearHill = 0.62 + 0.06 * sin(9 * x + 1), farHill = 0.50 + 0.08 * sin(5 * x + 3);
    if (y > nearHill) return blend({0.45, 0.55, 0.20}, {0.20, 0.25, 0.08}, (y - nearHill) / (1 - nearHill));
    if (y > farHill) return blend({0.35, 0.50, 0.55}, {0.25, 0.38, 0.35}, (y - farHill) * 6);
    const double sun = hypot((x - 0.72) * aspect, y - 0.22);
    if (sun < 0.09) return {1, 0.95, 0.7};
    return blend({1, 0.9, 0.65}, blend({0.20, 0.40, 0.80}, {0.85, 0.90, 0.95}, y * 2), std::min(1.0, sun * 2));
}

Image drawScene(int32_t width, int32_t height)
{
    Image image = makeImage(3, VEK_DEPTH_8U, width, height);
    if (!image) return image;
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* pixel = image->imageData + y * (ptrdiff_t)image->widthStep;
        for (int32_t x = 0; x < width; ++x, pixel += 3) {
            const Colour colour = sceneAt((x + 0.5) / width, (y + 0.5) / height, (double)width / height);
            const double samples[3] = {colour.blue, colour.green, colour.red};
            for (int c = 0; c < 3; ++c) pixel[c] = (uint8_t)(255 * std::clamp(samples[c], 0.0, 1.0));
        }
    }
    return image;
}

Image drawRings(int32_t nChannels, int32_t width, int32_t height)
{
    const Image rings(vekCreateImageJaehne(VEK_DEPTH_8U, width, height));
    Image image = makeImage(nChannels, VEK_DEPTH_8U, width, height);
    if (!rings || !image) return nullptr;
    VekROI roi = {0, 0, 0, width, height};
    image->roi = &roi;
    for (roi.coi = 1; roi.coi <= nChannels; ++roi.coi) vekOrS(rings.get(), image.get(), 0);
    image->roi = nullptr;
    return image;
}

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* A mask with a 1 where the test holds. */
template <class Test> static Image drawMask(int32_t width, int32_t height, Test test)
{
    Image mask = makeImage(1, VEK_DEPTH_1U, width, height);
    if (!mask) return mask;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            if (test(x, y)) mask->imageData[y * (ptrdiff_t)mask->widthStep + x / 8] |= (uint8_t)(0x80 >> x % 8);
    return mask;
}

Image drawEllipse(int32_t width, int32_t height)
{
    return drawMask(width, height, [=](int32_t x, int32_t y) {
        const double dx = (x + 0.5) / width * 2 - 1, dy = (y + 0.5) / height * 2 - 1;
        return dx * dx + dy * dy < 1;
    });
}

Image drawChecker(int32_t width, int32_t height)
{
    const int32_t field = std::max(1, std::min(width, height) / 8);
    return drawMask(width, height, [=](int32_t x, int32_t y) { return (x / field + y / field) % 2 == 1; });
}

/* ---- Letters ------------------------------------------------------------------------------------------------- */

enum { letterWidth = 5, letterHeight = 7, letterStep = 6 };

/* Seven rows from the top, the low five bits of each from left to right. */
static const struct {
    char letter;
    uint8_t rows[letterHeight];
} letters[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x11, 0x1F, 0x11, 0x11}}, {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}}, {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}}, {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}}, {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}}, {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}}, {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}}, {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}}, {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}}, {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}}, {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}}, {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}}, {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
};

/* Whether a letter covers the place (x, y) of its box; small letters look like capitals, others are blank. */
static bool letterAt(char letter, int32_t x, int32_t y)
{
    if (letter >= 'a' && letter <= 'z') letter = (char)(letter - 'a' + 'A');
    for (const auto& row : letters)
        if (row.letter == letter) return x < letterWidth && (row.rows[y] >> (letterWidth - 1 - x) & 1);
    return false;
}

void drawText(VekImage* image, const std::string& text, int32_t x, int32_t y, int32_t width)
{
    const int32_t textWidth = (int32_t)text.size() * letterStep, scale = 2 * textWidth <= width ? 2 : 1;
    if (textWidth == 0) return;
    const Image mask = drawMask(scale * textWidth, scale * letterHeight, [&](int32_t i, int32_t j) {
        return letterAt(text[(size_t)(i / scale / letterStep)], i / scale % letterStep, j / scale);
    });
    if (!mask) return;
    VekROI roi = {0, x, y, width, scale * letterHeight};
    image->roi = &roi;
    image->maskROI = mask.get();
    vekOrS(image, image, 0xFF);
    image->roi = nullptr;
    image->maskROI = nullptr;
}

void pastePicture(const VekImage* picture, VekImage* sheet, int32_t x, int32_t y)
{
    VekROI roi = {0, x, y, picture->width, picture->height};
    sheet->roi = &roi;
    vekOrS(picture, sheet, 0);
    sheet->roi = nullptr;
}
