/* bmp: bitmap files of 24 bits, and of 8 bits with a grey palette, as images of the library. */
#ifndef BMP_H
#define BMP_H

#include "vek.h"

#include <string>
#include <vector>

/* A file's bytes, and where its pixels are in them. */
struct BmpFile {
    std::vector<uint8_t> bytes;
    size_t pixelsAt;
    int32_t nChannels; /* 3 for 24 bits, 1 for 8 */
    int32_t width, height;
    bool isBottomUp; /* the first row in the file is the lowest of the picture */
};

/* Reads and examines a file. Returns the empty text, or a sentence that says what is wrong with the file. */
std::string bmpRead(const std::string& path, BmpFile* file);

/* The file's rows as an image: no pixel is copied, so an operation on it changes file->bytes, which must outlive it.
 * To be released by vekDeallocateHeader; null on failure. */
VekImage* bmpImage(BmpFile* file);

/* Writes a VEK_DEPTH_8U image of one channel, or of three in the order blue, green, red. Returns the empty text, or what
 * went wrong. */
std::string bmpWrite(const std::string& path, const VekImage* image);

#endif
