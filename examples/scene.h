/* scene: pictures and letters that the example draws by itself. */
#ifndef SCENE_H
#define SCENE_H

#include "vek.h"

#include <memory>
#include <string>

/* An image that goes with its name: header and pixels are released when it ends. Pixels that the library did not
 * allocate stay with their owner. */
struct ReleaseImage {
    void operator()(VekImage* image) const { vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }
};
typedef std::unique_ptr<VekImage, ReleaseImage> Image;

/* A new image with pixels, all 0; null on failure. Three channels are blue, green, red. */
Image makeImage(int32_t nChannels, uint32_t depth, int32_t width, int32_t height);

/* A landscape in colour: sky, sun, hills, and balls in the three primary colours. */
Image drawScene(int32_t width, int32_t height);

/* The ring test pattern, the same in every channel. */
Image drawRings(int32_t nChannels, int32_t width, int32_t height);

/* 1-bit masks with a 1 in an ellipse, or on the black fields of a board. */
Image drawEllipse(int32_t width, int32_t height);
Image drawChecker(int32_t width, int32_t height);

/* Writes a text into an 8U image in white, its top left corner at (x, y), at most `width` pixels wide and then cut. The
 * letters are a mask. */
void drawText(VekImage* image, const std::string& text, int32_t x, int32_t y, int32_t width);

/* Copies a picture into another, its top left corner at (x, y). */
void pastePicture(const VekImage* picture, VekImage* sheet, int32_t x, int32_t y);

#endif
