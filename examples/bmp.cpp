/* bmp: a file is a header of 14 bytes, a record of 40 or more about the picture, a table, and the pixels. All sizes are the
 * file's own claims, so they are multiplied in 64 bits and held against its length before the library sees them. */
#include "bmp.h"

#include <stddef.h>
#include <stdio.h>

#include <algorithm>

enum { fileHeaderBytes = 14, infoHeaderBytes = 40, spareBytes = 1024 };

static uint32_t getBytes(const std::vector<uint8_t>& bytes, size_t at, int nBytes)
{
    uint32_t value = 0;
    for (int i = 0; i < nBytes; ++i) value |= (uint32_t)bytes[at + (size_t)i] << 8 * i;
    return value;
}

static void setBytes(std::vector<uint8_t>* bytes, size_t at, uint32_t value, int nBytes)
{
    for (int i = 0; i < nBytes; ++i) (*bytes)[at + (size_t)i] = (uint8_t)(value >> 8 * i);
}

static int64_t rowBytes(int64_t width, int bitCount) { return (width * bitCount + 31) / 32 * 4; }

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

/* ---- Reading ------------------------------------------------------------------------------------------------- */

/* How many entries the table has, or 3 masks. */
static uint32_t entryCount(int bitCount, uint32_t compression, uint32_t used)
{
    if (bitCount > 8) return compression == 3 && bitCount != 24 ? 3 : 0;
    return used ? used : 1u << bitCount;
}

static bool isKnownKind(const BmpFile& file)
{
    switch (file.compression) {
    case 0: return true;
    case 1: return file.bitCount == 8 && file.isBottomUp;
    case 2: return file.bitCount == 4 && file.isBottomUp;
    case 3: return file.bitCount == 16 || file.bitCount == 32;
    }
    return false;
}

std::string bmpRead(const std::string& path, BmpFile* file)
{
    *file = {};
    std::vector<uint8_t> bytes;
    if (!readAll(path, &bytes)) return "can't be read";
    const int64_t fileBytes = (int64_t)bytes.size();
    if (fileBytes < fileHeaderBytes + infoHeaderBytes) return "is too short for a bitmap file";
    if (bytes[0] != 'B' || bytes[1] != 'M') return "is not a bitmap file";

    const int64_t pixelsAt = getBytes(bytes, 10, 4), infoBytes = getBytes(bytes, 14, 4);
    const int64_t width = (int32_t)getBytes(bytes, 18, 4), height = (int32_t)getBytes(bytes, 22, 4);
    file->bitCount = (int)getBytes(bytes, 28, 2);
    file->compression = getBytes(bytes, 30, 4);
    file->isBottomUp = height > 0;
    const int bits[] = {1, 4, 8, 16, 24, 32};
    if (infoBytes < infoHeaderBytes || fileHeaderBytes + infoBytes > pixelsAt) return "has a header of a wrong size";
    if (std::find(std::begin(bits), std::end(bits), file->bitCount) == std::end(bits))
        return "has " + std::to_string(file->bitCount) + " bits a pixel";
    if (!isKnownKind(*file)) return "is coded in a way that does not go with its bits";
    if (width < 1 || height == 0 || height < -INT32_MAX) return "has a width or height that can't be";
    file->width = (int32_t)width;
    file->height = (int32_t)(height > 0 ? height : -height);

    file->nEntries = entryCount(file->bitCount, file->compression, getBytes(bytes, 46, 4));
    const bool isCoded = file->compression == 1 || file->compression == 2;
    const int64_t step = rowBytes(width, file->bitCount), tableBytes = 4 * (int64_t)file->nEntries;
    const int64_t tableAt = fileHeaderBytes + (file->compression == 3 ? (int64_t)infoHeaderBytes : infoBytes);
    if (pixelsAt > fileBytes || (!isCoded && step > (fileBytes - pixelsAt) / file->height))
        return "is shorter than its width and height say";
    if (step > INT32_MAX / 4 / file->height) return "is larger than an image can be";
    if (file->compression != 3 && tableBytes > pixelsAt - tableAt) return "has a palette that is cut short";
    if (tableBytes > fileBytes - tableAt) return "has masks that are cut short";

    const auto at = [&](int64_t place) { return bytes.begin() + (ptrdiff_t)place; };
    file->dib.assign(at(fileHeaderBytes), at(fileHeaderBytes + infoHeaderBytes));
    setBytes(&file->dib, 0, infoHeaderBytes, 4);
    file->dib.insert(file->dib.end(), at(tableAt), at(tableAt + tableBytes));
    file->pixelsAt = file->dib.size();
    file->dib.insert(file->dib.end(), at(pixelsAt), at(isCoded ? fileBytes : pixelsAt + step * file->height));
    /* A stream that does not end fails in these. */
    if (isCoded) file->dib.insert(file->dib.end(), spareBytes, 0);
    return "";
}

/* Silences the reporter while it lives: what fails is seen by the status. */
struct Quiet {
    int32_t mode = vekGetErrMode();
    Quiet() { vekSetErrMode(VEK_ErrorModeNoReport), vekSetErrStatus(VEK_StatusOk); }
    ~Quiet() { vekSetErrMode(mode); }
    bool hasFailed() const { return vekGetErrStatus() != VEK_StatusOk; }
};

static Image decode(BmpFile* file)
{
    Quiet quiet;
    int32_t isClone = 0;
    Image image(vekTranslateDIB(file->header(), &isClone));
    if (!image || quiet.hasFailed()) return nullptr;
    if (!isClone && image->depth == VEK_DEPTH_8U && image->nChannels != 4) return image;
    Image pixels = makeImage(image->nChannels == 1 ? 1 : 3, VEK_DEPTH_8U, image->width, image->height);
    if (!pixels) return nullptr;
    pixels->origin = image->origin;
    vekConvertFromDIB(file->header(), pixels.get());
    return quiet.hasFailed() ? nullptr : std::move(pixels);
}

/* Some programs code the padding of the rows, too: the picture is then the left part of a wider one. */
static Image decodePadded(BmpFile* file)
{
    const int32_t unit = 32 / file->bitCount, width = (file->width + unit - 1) / unit * unit;
    setBytes(&file->dib, 4, (uint32_t)width, 4);
    const Image wide = decode(file);
    setBytes(&file->dib, 4, (uint32_t)file->width, 4);
    if (!wide) return nullptr;
    Image image = makeImage(wide->nChannels, VEK_DEPTH_8U, file->width, file->height);
    if (!image) return image;
    image->origin = wide->origin;
    vekCopy(wide.get(), image.get());
    return image;
}

Image bmpImage(BmpFile* file)
{
    Image image = decode(file);
    const bool isCoded = file->compression == 1 || file->compression == 2;
    return image || !isCoded ? std::move(image) : decodePadded(file);
}

/* ---- Writing ------------------------------------------------------------------------------------------------- */

/* A kind of file: its bits and coding, the library's choice of a table for it. */
struct BmpKind {
    const char* name;
    int bitCount;
    uint32_t compression;
    int32_t palette; /* 1: the fixed one, 2: by median cut */
    bool isGrey, isDithered;
};
static const BmpKind kinds[] = {
    {"24", 24, 0, 0, false, false}, {"32", 32, 0, 0, false, false},  {"565", 16, 3, 0, false, false},
    {"8", 8, 0, 2, false, false},   {"8gray", 8, 0, 1, true, false}, {"rle8", 8, 1, 2, false, false},
    {"4", 4, 0, 2, false, false},   {"rle4", 4, 2, 2, false, false}, {"1", 1, 0, 1, true, true},
};

/* A bitmap without a picture, with room for the largest table. */
static std::vector<uint8_t> emptyDib(const VekImage* image, const BmpKind& kind)
{
    const bool bottomUp = image->origin == VEK_ORIGIN_BOTTOM_LEFT || kind.compression == 1 || kind.compression == 2;
    const size_t nEntries = entryCount(kind.bitCount, kind.compression, 0);
    std::vector<uint8_t> dib(infoHeaderBytes + 4 * nEntries +
                             (size_t)(rowBytes(image->width, kind.bitCount) * image->height));
    setBytes(&dib, 0, infoHeaderBytes, 4);
    setBytes(&dib, 4, (uint32_t)image->width, 4);
    setBytes(&dib, 8, (uint32_t)(bottomUp ? image->height : -image->height), 4);
    setBytes(&dib, 12, 1, 2);
    setBytes(&dib, 14, (uint32_t)kind.bitCount, 2);
    setBytes(&dib, 16, kind.compression, 4);
    for (const size_t at : {24, 28}) setBytes(&dib, at, 2835, 4); /* 72 dots an inch */
    const uint32_t masks[] = {0xF800, 0x07E0, 0x001F};
    for (size_t i = 0; i < 3 && kind.compression == 3; ++i) setBytes(&dib, infoHeaderBytes + 4 * i, masks[i], 4);
    return dib;
}

static void fillDib(const VekImage* image, const BmpKind& kind, std::vector<uint8_t>* dib)
{
    vekConvertToDIB(image, (struct tagBITMAPINFOHEADER*)dib->data(), 1, kind.palette);
}

/* The brightness as 16-bit samples, or as bytes, for kinds of file without colours. */
static Image greyPicture(const VekImage* image, uint32_t depth)
{
    std::vector<uint8_t> dib = emptyDib(image, kinds[0]);
    fillDib(image, kinds[0], &dib);
    Image grey = makeImage(1, depth, image->width, image->height);
    if (!grey) return grey;
    grey->origin = image->origin;
    vekConvertFromDIB((struct tagBITMAPINFOHEADER*)dib.data(), grey.get());
    return grey;
}

/* Black and white samples by error diffusion. */
static Image ditheredPicture(const VekImage* image)
{
    const Image grey = greyPicture(image, VEK_DEPTH_16U);
    Image dithered = makeImage(1, VEK_DEPTH_8U, image->width, image->height);
    if (!grey || !dithered) return nullptr;
    dithered->origin = image->origin;
    vekReduceBits(grey.get(), dithered.get(), 0, 8, 0);
    return dithered;
}

static std::string writeDib(const std::string& path, const std::vector<uint8_t>& dib)
{
    const uint32_t compression = getBytes(dib, 16, 4);
    const int bitCount = (int)getBytes(dib, 14, 2), height = (int32_t)getBytes(dib, 8, 4);
    const size_t pixelsAt = infoHeaderBytes + 4 * (size_t)entryCount(bitCount, compression, getBytes(dib, 32, 4));
    const size_t plain = (size_t)rowBytes((int32_t)getBytes(dib, 4, 4), bitCount) * (size_t)std::abs(height);
    const size_t pixelBytes = compression == 1 || compression == 2 ? getBytes(dib, 20, 4) : plain;

    std::vector<uint8_t> bytes(fileHeaderBytes);
    bytes[0] = 'B', bytes[1] = 'M';
    setBytes(&bytes, 2, (uint32_t)(fileHeaderBytes + pixelsAt + pixelBytes), 4);
    setBytes(&bytes, 10, (uint32_t)(fileHeaderBytes + pixelsAt), 4);
    bytes.insert(bytes.end(), dib.begin(), dib.begin() + (ptrdiff_t)(pixelsAt + pixelBytes));
    setBytes(&bytes, fileHeaderBytes + 20, (uint32_t)pixelBytes, 4);
    FILE* stream = fopen(path.c_str(), "wb");
    if (!stream) return "can't be written";
    const bool isWritten = fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    const bool isClosed = fclose(stream) == 0;
    return isWritten && isClosed ? "" : "can't be written";
}

std::string bmpWrite(const std::string& path, const VekImage* image, const std::string& kindName)
{
    if (image->depth != VEK_DEPTH_8U || (image->nChannels != 1 && image->nChannels != 3))
        return "is of a kind that is not written";
    const std::string name = !kindName.empty() ? kindName : image->nChannels == 1 ? "8gray" : "24";
    const BmpKind* kind = std::find_if(std::begin(kinds), std::end(kinds),
                                       [&](const BmpKind& k) { return name == k.name; });
    if (kind == std::end(kinds)) return "can't be written as \"" + name + "\"";
    Quiet quiet;
    Image made;
    if (kind->isDithered) made = ditheredPicture(image);
    else if (kind->isGrey && image->nChannels != 1) made = greyPicture(image, VEK_DEPTH_8U);
    std::vector<uint8_t> dib = emptyDib(image, *kind);
    if (!quiet.hasFailed()) fillDib(made ? made.get() : image, *kind, &dib);
    if (quiet.hasFailed()) return std::string("can't be written: ") + vekErrorStr(vekGetErrStatus());
    return writeDib(path, dib);
}
