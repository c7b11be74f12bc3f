#include "colours.h"

#include "scene.h"

#include <algorithm>
#include <cmath>

/* Runs an operation that knows no regions from the whole picture to a second one, of which the picture's region, channel and
 * mask then say what is taken. */
template <class F> static void onWhole(VekImage* picture, F run)
{
    VekImage whole = *picture;
    whole.roi = nullptr;
    whole.maskROI = nullptr;
    const Image result = makeImage(picture->nChannels, picture->depth, picture->width, picture->height);
    if (!result) return (void)vekError(VEK_StatusNoMemory, "colours", "no room for a copy", "vekdemo", 0);
    result->origin = picture->origin;
    run(&whole, result.get());
    result->roi = picture->roi;
    vekCopy(result.get(), picture);
    result->roi = nullptr;
}

void turnHues(VekImage* picture, double degrees, double scale)
{
    onWhole(picture, [=](const VekImage* rgb, VekImage* result) {
        const Image hsv = makeImage(rgb->nChannels, rgb->depth, rgb->width, rgb->height);
        if (!hsv) return (void)vekError(VEK_StatusNoMemory, "colours", "no room for a copy", "vekdemo", 0);
        hsv->origin = rgb->origin;
        vekRGB2HSV(rgb, hsv.get());
        if (vekGetErrStatus() != VEK_StatusOk) return;
        const int32_t turn = (int32_t)std::lround(std::fmod(degrees, 360) / 2) +
                             180; /* a hue of 8 bits has 180 steps */
        for (int32_t y = 0; y < hsv->height; ++y)
            for (int32_t x = 0; x < hsv->width; ++x) {
                uint8_t* pixel = hsv->imageData + y * (ptrdiff_t)hsv->widthStep + 3 * x;
                pixel[0] = (uint8_t)((pixel[0] + turn) % 180);
                pixel[1] = (uint8_t)std::clamp(pixel[1] * scale, 0.0, 255.0);
            }
        vekHSV2RGB(hsv.get(), result);
    });
}

void takeColourOut(VekImage* picture)
{
    onWhole(picture, [](const VekImage* rgb, VekImage* result) {
        const Image gray = makeImage(1, rgb->depth, rgb->width, rgb->height);
        if (!gray) return (void)vekError(VEK_StatusNoMemory, "colours", "no room for a copy", "vekdemo", 0);
        gray->origin = rgb->origin;
        vekColorToGray(rgb, gray.get());
        if (vekGetErrStatus() == VEK_StatusOk) vekGrayToColor(gray.get(), result, 1, 1, 1);
    });
}

void showLumaAndChroma(VekImage* picture) { onWhole(picture, vekRGB2YCrCb); }

void twistColours(VekImage* picture, const std::vector<double>& rows)
{
    int32_t data[16] = {};
    for (size_t i = 0; i < 12; ++i) data[i] = (int32_t)std::lround(std::clamp(rows[i] * 256, -2e9, 2e9));
    VekColorTwist* map = vekCreateColorTwist(data, 8);
    if (!map) return;
    vekApplyColorTwist(picture, picture, map, 0);
    vekDeleteColorTwist(map);
}
