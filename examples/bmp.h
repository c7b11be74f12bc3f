/* bmp: bitmap files of every kind as images of the library, and back. */
#ifndef BMP_H
#define BMP_H

#include "scene.h"

#include <string>
#include <vector>

/* A file as one block in memory that the library takes: a header of 40 bytes, the table or masks, the pixels. */
struct BmpFile {
    std::vector<uint8_t> dib;
    size_t pixelsAt;
    int32_t width, height;
    int bitCount;
    uint32_t compression, nEntries;
    bool isBottomUp; /* the first row in the file is the lowest of the picture */

    struct tagBITMAPINFOHEADER* header() { return (struct tagBITMAPINFOHEADER*)dib.data(); }
};

/* Reads and examines a file. Returns the empty text, or a sentence that says what is wrong with the file. */
std::string bmpRead(const std::string& path, BmpFile* file);

/* The file as an 8U or 1U image in pixel order, of one channel when it is grey. Of 24 bits and 8 grey ones no pixel is
 * copied: an operation on the image changes file->dib, which must outlive it. Null on failure. */
Image bmpImage(BmpFile* file);

/* Writes an 8U image of one channel, or of three in the order blue, green, red.
 *   kind     "24", "32", "565", "8" and "4" (colours chosen by median cut), "8gray", "rle8" and "rle4" (the same,
 *            run-length coded), "1" (dithered to black and white); empty: "24", or "8gray" for one channel
 *   returns  the empty text, or what went wrong */
std::string bmpWrite(const std::string& path, const VekImage* image, const std::string& kind = "");

#endif
