/* bmp: a file is a header of 14 bytes, a record of 40 or more about the picture, a palette, and rows that are padded to
 * 4 bytes. All sizes are the file's own claims, so they are multiplied in 64 bits and held against its length. */
#include "bmp.h"

#include <stddef.h>
#include <stdio.h>

enum { fileHeaderBytes = 14, infoHeaderBytes = 40, greys = 256 };

static uint32_t getBytes(const BmpFile& file, size_t at, int nBytes)
{
    uint32_t value = 0;
    for (int i = 0; i < nBytes; ++i) value |= (uint32_t)file.bytes[at + i] << 8 * i;
    return value;
}

static void putBytes(std::vector<uint8_t>* bytes, uint32_t value, int nBytes)
{
    for (int i = 0; i < nBytes; ++i) bytes->push_back((uint8_t)(value >> 8 * i));
}

static int64_t rowBytes(int64_t width, int nChannels) { return (width * nChannels + 3) / 4 * 4; }

static bool readAll(const std::string& path, std::vector<uint8_t>* bytes)
{
    FILE* stream = fopen(path.c_str(), "rb");
    if (!stream) return false;
    uint8_t piece[1 << 16];
    while (const size_t n = fread(piece, 1, sizeof(piece), stream)) bytes->insert(bytes->end(), piece, piece + n);
    const bool isRead = !ferror(stream);
    fclose(stream);
    return isRead;
}

/* Whether entry i of the palette is the grey i: then the bytes of the rows are the brightness. */
static bool isGreyPalette(const BmpFile& file, size_t at, size_t end)
{
    if (at > end || end - at < 4 * greys) return false;
    for (uint32_t i = 0; i < greys; ++i)
        if (getBytes(file, at + 4 * i, 3) != i * 0x010101) return false;
    return true;
}

std::string bmpRead(const std::string& path, BmpFile* file)
{
    *file = {};
    if (!readAll(path, &file->bytes)) return "can't be read";
    const int64_t fileBytes = (int64_t)file->bytes.size();
    if (fileBytes < fileHeaderBytes + infoHeaderBytes) return "is too short for a bitmap file";
    if (file->bytes[0] != 'B' || file->bytes[1] != 'M') return "is not a bitmap file";

    const int64_t pixelsAt = getBytes(*file, 10, 4), infoBytes = getBytes(*file, 14, 4);
    const int64_t width = (int32_t)getBytes(*file, 18, 4), height = (int32_t)getBytes(*file, 22, 4);
    const uint32_t nBits = getBytes(*file, 28, 2), compression = getBytes(*file, 30, 4);
    if (infoBytes < infoHeaderBytes || fileHeaderBytes + infoBytes > pixelsAt) return "has a header of a wrong size";
    if (nBits != 24 && nBits != 8) return "has " + std::to_string(nBits) + " bits a pixel; 24 and 8 are read";
    if (compression != 0) return "is compressed";
    if (width < 1 || height == 0 || height < -INT32_MAX) return "has a width or height that can't be";

    file->nChannels = (int32_t)nBits / 8;
    file->width = (int32_t)width;
    file->isBottomUp = height > 0;
    file->height = (int32_t)(height > 0 ? height : -height);
    file->pixelsAt = (size_t)pixelsAt;
    if (pixelsAt > fileBytes || rowBytes(width, file->nChannels) > (fileBytes - pixelsAt) / file->height)
        return "is shorter than its width and height say";
    if (rowBytes(width, file->nChannels) * file->height > INT32_MAX) return "is larger than an image can be";
    const size_t paletteAt = (size_t)(fileHeaderBytes + infoBytes);
    if (nBits == 8 && !isGreyPalette(*file, paletteAt, file->pixelsAt)) return "has a palette that is not all greys";
    return "";
}

VekImage* bmpImage(BmpFile* file)
{
    const bool isGrey = file->nChannels == 1;
    VekImage* image = vekCreateImageHeader(file->nChannels, 0, VEK_DEPTH_8U, isGrey ? "GRAY" : "RGB ",
                                           isGrey ? "G   " : "BGR ", VEK_DATA_ORDER_PIXEL,
                                           file->isBottomUp ? VEK_ORIGIN_BOTTOM_LEFT : VEK_ORIGIN_TOP_LEFT, 4,
                                           file->width, file->height, nullptr, nullptr, nullptr, nullptr);
    if (image) image->imageData = file->bytes.data() + file->pixelsAt;
    return image;
}

std::string bmpWrite(const std::string& path, const VekImage* image)
{
    const int nChannels = image->nChannels;
    if (image->depth != VEK_DEPTH_8U || (nChannels != 1 && nChannels != 3)) return "is of a kind that is not written";
    const bool isBottomUp = image->origin == VEK_ORIGIN_BOTTOM_LEFT;
    const size_t paletteBytes = nChannels == 1 ? 4 * greys : 0, step = (size_t)rowBytes(image->width, nChannels);
    const size_t pixelsAt = fileHeaderBytes + infoHeaderBytes + paletteBytes, pixelBytes = step * (size_t)image->height;

    std::vector<uint8_t> bytes = {'B', 'M'};
    bytes.reserve(pixelsAt + pixelBytes);
    putBytes(&bytes, (uint32_t)(pixelsAt + pixelBytes), 4);
    putBytes(&bytes, 0, 4);
    putBytes(&bytes, (uint32_t)pixelsAt, 4);
    putBytes(&bytes, infoHeaderBytes, 4);
    putBytes(&bytes, (uint32_t)image->width, 4);
    putBytes(&bytes, (uint32_t)(isBottomUp ? image->height : -image->height), 4);
    putBytes(&bytes, 1, 2);
    putBytes(&bytes, 8 * (uint32_t)nChannels, 2);
    putBytes(&bytes, 0, 4);
    putBytes(&bytes, (uint32_t)pixelBytes, 4);
    for (int i = 0; i < 2; ++i) putBytes(&bytes, 2835, 4); /* 72 dots an inch */
    for (int i = 0; i < 2; ++i) putBytes(&bytes, nChannels == 1 ? greys : 0, 4);
    for (uint32_t i = 0; i < paletteBytes / 4; ++i) putBytes(&bytes, i * 0x010101, 4);
    for (ptrdiff_t y = 0; y < image->height; ++y) {
        const uint8_t* row = image->imageData + y * image->widthStep;
        bytes.insert(bytes.end(), row, row + (ptrdiff_t)image->width * nChannels);
        bytes.resize(pixelsAt + (size_t)(y + 1) * step);
    }

    FILE* stream = fopen(path.c_str(), "wb");
    if (!stream) return "can't be written";
    const bool isWritten = fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    const bool isClosed = fclose(stream) == 0;
    return isWritten && isClosed ? "" : "can't be written";
}
