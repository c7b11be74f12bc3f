/* fuzz_dib: bitmaps and images of an input, each in a block that is as long as its header says and not a byte longer. */
#ifndef TESTS_FUZZ_DIB_H
#define TESTS_FUZZ_DIB_H

#include "dib/owndib.h"
#include "fuzz.h"

#include <stdlib.h>

#include <memory>

struct FuzzFree {
    void operator()(void* block) const { free(block); }
};
typedef std::unique_ptr<uint8_t, FuzzFree> FuzzBlock;
inline FuzzBlock fuzzBlock(size_t bytes) { return FuzzBlock((uint8_t*)malloc(bytes ? bytes : 1)); }

enum : int64_t { FUZZ_MOST_BYTES = 1 << 20 };

/* The header as it comes, but for three fields that are mostly right. */
inline BITMAPINFOHEADER fuzzHeader(FuzzReader& in)
{
    BITMAPINFOHEADER info = {};
    const int kind = in.byte();
    info.biSize = kind & 64 ? (uint32_t)in.byte() : 40;
    info.biPlanes = kind & 128 ? (uint16_t)in.byte() : 1;
    const int bits[] = {1, 4, 8, 16, 24, 32, in.byte(), 8};
    info.biBitCount = (uint16_t)bits[kind & 7];
    info.biCompression = (uint32_t)(kind >> 3 & 7);
    const auto extent = [&] {
        const int value = in.word();
        return value < 0xFF00 ? (int32_t)(int16_t)value % 50 : value & 1 ? INT32_MIN : INT32_MAX - (value & 255);
    };
    info.biWidth = extent();
    info.biHeight = extent();
    info.biClrUsed = (uint32_t)in.word();
    if (info.biClrUsed > 0xFFF0) info.biClrUsed *= 0xFFFFFF;
    else if (info.biClrUsed > 0xFF00) info.biClrUsed = 0;
    else if (info.biClrUsed > 0x200) info.biClrUsed &= 0xFF;
    return info;
}

/* Bytes of the table and, 0 where they are too many for a test, of the pixels. */
inline size_t fuzzTableBytes(const OwnDib& dib) { return dib.count > OWN_DIB_MOST_ENTRIES ? 0 : 4 * (size_t)dib.count; }
inline size_t fuzzPixelBytes(const BITMAPINFOHEADER& info)
{
    const int64_t height = info.biHeight < 0 ? -(int64_t)info.biHeight : info.biHeight;
    const int64_t row = info.biWidth > 0 ? ownDibRowBytes(info.biWidth, info.biBitCount) : 0;
    return height && row > FUZZ_MOST_BYTES / height ? 0 : (size_t)(row * height);
}

/* An image's header, not always sound, and its pixels. */
struct FuzzImage {
    VekImage image = {};
    FuzzBlock block;

    explicit FuzzImage(FuzzReader& in)
    {
        static const uint32_t depths[] = {1, 8, 8, 16, 16, 32, VEK_DEPTH_8S, 7};
        static const char sequences[][5] = {"BGR", "RGB", "G", "GRAY", "BGRA", "RGBA", "HSV", "BGR "};
        const int kind = in.byte(), form = in.byte(), fault = in.byte();
        image.headerSize = sizeof(image);
        image.nChannels = kind & 3 ? (kind & 3) == 3 ? 4 : kind & 2 ? 3 : 1 : fault & 7;
        image.depth = depths[kind >> 2 & 7];
        image.alphaChannel = image.nChannels == 4 && form & 64 ? 4 : fault >> 3 & 1;
        image.dataOrder = form & 1;
        image.origin = form >> 1 & 1;
        image.align = form & 4 ? 4 : 8;
        memcpy(image.channelSeq, sequences[form >> 3 & 7], 4);
        memcpy(image.colorModel, image.nChannels == 1 ? "GRAY" : "RGBA", 4);
        image.width = in.byte() % 70;
        image.height = in.byte() % 70;
        if (fault >> 4 == 15) image.align = image.origin = 3;
        const int64_t row = ownRowBytes(&image, image.width), bytes = row * ownRowCount(&image, image.height);
        block = fuzzBlock((size_t)bytes);
        for (int64_t i = 0; i < bytes; ++i) block.get()[i] = (uint8_t)(i * 37 ^ (i >> 3) * fault);
        image.imageData = block.get();
        image.widthStep = (int32_t)row;
        image.imageSize = (int32_t)bytes;
    }
};

#endif
