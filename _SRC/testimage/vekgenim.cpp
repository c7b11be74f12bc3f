/* vekgenim: synthetic test images. */
#include "own.h"

#include <math.h>

/* v = sin(r2 * 2 pi / (4 height)): a wave over the squared radius, so its frequency rises with the radius. It is formed in
 * the widest type that the platform has. */
static long double ownRing(int64_t dx, int64_t dy, int32_t height)
{
    const int64_t r2 = dx * dx + dy * dy;
    return sinl((long double)r2 * 6.283185307179586 / (4 * (int64_t)height));
}

template <class T> static void ownPut(uint8_t* row, int32_t x, T sample)
{
    memcpy(row + x * (ptrdiff_t)sizeof(T), &sample, sizeof(T));
}

/* The sample of v at column x of a row, scaled to the range of the depth and chopped. */
static void ownPutRing(int slot, uint8_t* row, int32_t x, long double v)
{
    switch (slot) {
    case OWN_1U: row[x >> 3] |= (uint8_t)((int)((v + 1) * 0.99999) << (7 - (x & 7))); break;
    case OWN_8U: ownPut(row, x, (uint8_t)((v + 1) * 127.99999)); break;
    case OWN_8S: ownPut(row, x, (int8_t)(v * 127.99999)); break;
    case OWN_16U: ownPut(row, x, (uint16_t)((v + 1) * 32767.99999)); break;
    case OWN_16S: ownPut(row, x, (int16_t)(v * 32767.99999)); break;
    case OWN_32S: ownPut(row, x, (int32_t)(v * 2147483647.99999)); break;
    case OWN_32F: ownPut(row, x, (float)((v + 1) * 0.49999)); break;
    }
}

VekImage* vekCreateImageJaehne(int32_t depth, int32_t width, int32_t height)
{
    OWN_FACE("vekCreateImageJaehne", "vekgenim");
    const int slot = ownSlot((uint32_t)depth);
    OWN_FAIL_IF(height <= 0 || width <= 0, VEK_StatusBadImageSize, vekErrorStr(VEK_StatusBadImageSize), nullptr);
    OWN_FAIL_IF(slot < 0, VEK_StatusBadDepth, vekErrorStr(VEK_StatusBadDepth), nullptr);

    VekImage* image = vekCreateImageHeader(1, 0, (uint32_t)depth, "GRAY", "GRAY", VEK_DATA_ORDER_PIXEL,
                                           VEK_ORIGIN_TOP_LEFT, 4, width, height, nullptr, nullptr, nullptr, nullptr);
    OWN_FAIL_IF(!image, VEK_StatusNoMemory, "Not enough memory to allocate header for ImageJaehne", nullptr);
    if (slot == OWN_32F) vekAllocateImageFP(image, 1, 0);
    else vekAllocateImage(image, 1, 0);
    if (!image->imageData) {
        vekDeallocate(image, VEK_IMAGE_HEADER);
        ownFail(face, VEK_StatusNoMemory, "Not enough memory to allocate imageData for ImageJaehne", __LINE__);
        return nullptr;
    }
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* row = image->imageData + y * (ptrdiff_t)image->widthStep;
        for (int32_t x = 0; x < width; ++x) ownPutRing(slot, row, x, ownRing(x - width / 2, y - height / 2, height));
    }
    return image;
}
