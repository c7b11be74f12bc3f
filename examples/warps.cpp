#include "warps.h"

#include <functional>

/* Runs an operation from a copy of the picture onto the picture made black. */
static void ontoBlack(VekImage* picture, const std::function<void(const VekImage* copy)>& run)
{
    VekImage* copy = vekCloneImage(picture);
    if (!copy) return;
    vekSet(picture, 0);
    run(copy);
    vekDeallocate(copy, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
}

void turnPicture(VekImage* picture, double degrees)
{
    ontoBlack(picture, [=](const VekImage* copy) {
        double xShift = 0, yShift = 0;
        vekGetRotateShift((picture->width - 1) / 2.0, (picture->height - 1) / 2.0, degrees, &xShift, &yShift);
        vekRotate(copy, picture, degrees, xShift, yShift, VEK_INTER_CUBIC);
    });
}

void warpPicture(VekImage* picture, const std::vector<double>& coeffs)
{
    ontoBlack(picture, [&](const VekImage* copy) { vekWarpAffine(copy, picture, coeffs.data(), VEK_INTER_LINEAR); });
}

void bendPicture(VekImage* picture, const std::vector<double>& quad)
{
    ontoBlack(picture,
              [&](const VekImage* copy) { vekWarpPerspectiveQ(copy, picture, quad.data(), 0, VEK_INTER_CUBIC); });
}

void resizePicture(VekImage* picture, int32_t width, int32_t height, int32_t mode)
{
    ontoBlack(picture, [=](const VekImage* copy) {
        const VekROI* roi = copy->roi;
        vekResize(copy, picture, width, roi ? roi->width : copy->width, height, roi ? roi->height : copy->height, mode);
    });
}
