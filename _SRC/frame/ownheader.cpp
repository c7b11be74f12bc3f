/* ownheader: private headers: over pixels in a block of their own, and over one tile. */
#include "own.h"

VekImage ownHeaderOn(const VekImage* image, void* pixels, int32_t width, int32_t height, int32_t rowBytes)
{
    VekImage header = *image;
    header.roi = nullptr;
    header.maskROI = nullptr;
    header.tileInfo = nullptr;
    header.width = width;
    header.height = height;
    header.widthStep = rowBytes;
    header.imageSize = 0; /* not to be taken as one block */
    header.imageData = (uint8_t*)pixels;
    return header;
}

VekImage ownHeaderOnNew(const VekImage* image, int64_t width, int64_t height)
{
    const int64_t rowBytes = ownRowBytes(image, width), nRows = ownRowCount(image, height);
    const bool fits = std::max({width, height, rowBytes}) <= INT32_MAX && nRows <= PTRDIFF_MAX / rowBytes;
    void* block = fits ? ownAlloc((size_t)(nRows * rowBytes)) : nullptr;
    return ownHeaderOn(image, block, (int32_t)width, (int32_t)height, (int32_t)rowBytes);
}

VekImage ownHeaderOnBand(const VekImage* image, int32_t width, int32_t height)
{
    constexpr int64_t bandBytes = 1 << 14;
    const int64_t bytes = ownRowCount(image, 1) * ownRowBytes(image, width);
    return ownHeaderOnNew(image, width, std::clamp<int64_t>(bandBytes / bytes, 1, height));
}

bool ownTileHeader(const VekImage* image, VekImage* header)
{
    const VekTileInfo& tile = *image->tileInfo;
    header->tileInfo = nullptr;
    header->width = tile.width;
    header->height = tile.height;
    header->widthStep = ownTileRowBytes(image);
    const int64_t nRows = ownRowCount(image, tile.height);
    const bool fits = header->widthStep > 0 && nRows <= INT32_MAX / header->widthStep;
    header->imageSize = fits ? (int32_t)(nRows * header->widthStep) : 0;
    return fits;
}

VekImage ownTileOf(const VekImage* image)
{
    VekImage header = ownHeaderOn(image, image->tileInfo->tileData, 0, 0, 0);
    (void)ownTileHeader(image, &header);
    return header;
}
