/* hostile: see hostile.h. */
#include "hostile.h"

#include <math.h>

/* Overlap gives any pixels, but no harm. The sanitizer calls every overlapping copy an error. */
#if defined(__SANITIZE_ADDRESS__) || defined(__has_feature)
enum { MAY_OVERLAP = 0 };
#else
enum { MAY_OVERLAP = 1 };
#endif

/* ---- Pixels and tiles ------------------------------------------------------------------------------------------------ */

HostilePixels::HostilePixels(size_t bytes, bool atEnd, uint32_t seed) : block(bytes, atEnd)
{
    static const uint8_t all[] = {0, 0xFF, 0x7F, 0x80};
    for (size_t i = 0; i < bytes; ++i) {
        seed = seed * 1664525 + 1013904223;
        block.data[i] = seed % 64 < 4 ? all[seed % 4] : (uint8_t)(seed >> 24);
    }
    before.assign(block.data, block.data + bytes);
}

enum { MOST_TILES = 400, MOST_CALLS = 2000000 };
static const double mostBytes = 1 << 18;

void HostileImage::callBack(const VekImage* image, int32_t column, int32_t row, int32_t mode)
{
    HostileImage& self = *(HostileImage*)image->tileInfo->tileId;
    FUZZ_EXPECT(image == &self.image);
    FUZZ_EXPECT(++self.nCalls < MOST_CALLS);
    if (mode == VEK_TILE_RELEASE) {
        FUZZ_EXPECT(self.failed || (self.open && column == self.column && row == self.row));
        return self.release();
    }
    FUZZ_EXPECT(mode == VEK_TILE_READ || mode == VEK_TILE_WRITE);
    FUZZ_EXPECT(column >= 0 && row >= 0 && (int64_t)column * self.tile.width < image->width &&
                (int64_t)row * self.tile.height < image->height);
    FUZZ_EXPECT(self.failed || !self.open);
    self.column = column;
    self.row = row;
    self.mode = mode;
    self.take();
}

void HostileImage::take()
{
    open.reset();
    tile.tileData = nullptr;
    if (spoilsStatus) vekSetErrStatus(-7);
    const double bytes = image.nChannels > 64
                             ? 0
                             : (double)ownRowBytes(&image, tile.width) * (double)ownRowCount(&image, tile.height);
    if (++nOpened > failsAt || image.nChannels > 64 || !(bytes >= 0 && bytes < mostBytes)) {
        failed = true;
        return;
    }
    open = std::make_unique<HostilePixels>((size_t)bytes, nOpened % 2, (uint32_t)nOpened);
    tile.tileData = open->block.data;
}

void HostileImage::release()
{
    if (open && mode == VEK_TILE_READ) FUZZ_EXPECT(open->isSame());
    open.reset();
    if (!keepsPointer) tile.tileData = nullptr;
}

void Hostile::check()
{
    bool failed =
        false; /* a tile that does not come leaves others open; for vekAbs, one that is still there after its release */
    for (const auto& made : images) failed |= made->failed || made->keepsPointer;
    for (const auto& made : images) {
        FUZZ_EXPECT(!made->open || failed);
        if (!made->isWritten) FUZZ_EXPECT(memcmp(&made->image, &made->before, sizeof(VekImage)) == 0);
        if (made->image.rawImageData) vekDeallocateImage(&made->image); /* of the library's own, for an image without */
        if (made->pixels && !made->pixels->isWritten) FUZZ_EXPECT(made->pixels->isSame());
    }
}

/* ---- Numbers --------------------------------------------------------------------------------------------------------- */

int32_t Hostile::number()
{
    static const int32_t special[] = {-1,    -2,     -3,     -128,  127,       128,       255,           256,
                                      32767, -32768, 0x8000, 65535, INT32_MAX, INT32_MIN, INT32_MAX / 2, -65536};
    const int kind = in.byte();
    if (kind < 90) return kind % 3;
    if (kind < 170) return kind % 12;
    if (kind < 200) return in.byte();
    if (isCalm) return kind % 4;
    if (kind < 248) return special[kind % 16];
    return (int32_t)((uint32_t)in.word() << 16 | (uint32_t)in.word());
}

double Hostile::real()
{
    static const double special[] = {0.0,   -0.0,         INFINITY, -INFINITY, NAN,  1e300, -1e300, 1e-300,
                                     1e-40, 2147483648.0, -1e10,    0.5,       1e19, 90.0,  180,    -45};
    const int kind = in.byte();
    if (kind < 190) return (kind % 64 - 24) / 4.0;
    if (kind < 230) return special[kind % 16];
    return ldexp(in.word() - 32768, in.byte() % 128 - 64);
}

/* Mostly a quadrangle, or a mapping that leaves things nearly as they are. */
double* Hostile::reals(int count)
{
    double* items = place<double>(count);
    const int kind = in.byte(), size = 1 + in.byte() % 40;
    for (int i = 0; i < count; ++i) {
        const bool isCorner = kind & 1, isOne = isCorner ? 0xB4 >> i & 1 : count == 8 ? i == 1 || i == 6 : i % 4 == 0;
        items[i] = isOne ? isCorner ? size : 1 : 0;
    }
    for (int n = kind >> 1 & 3; n > 0 && kind & 24; --n) items[in.byte() % count] += real();
    if (kind >= 230 && !isCalm)
        for (int i = 0; i < count; ++i) items[i] = real();
    return items;
}

/* ---- Images ---------------------------------------------------------------------------------------------------------- */

VekROI Hostile::region(int32_t width, int32_t height)
{
    VekROI roi = {in.byte() % 4 ? 0 : 1 + in.byte() % (isCalm ? 1 : 4), 0, 0, width, height};
    const int kind = in.byte();
    if (kind & 1) roi.xOffset = in.byte() % (std::clamp(width, 1, 200) + 2);
    if (kind & 2) roi.yOffset = in.byte() % (std::clamp(height, 1, 200) + 2);
    if (kind & 4) roi.width = 1 + in.byte();
    if (kind & 8) roi.height = 1 + in.byte();
    if (kind >> 4 == 15 && !isCalm) (&roi.coi)[in.byte() % 5] = number();
    return roi;
}

void Hostile::drawFields(VekImage& image)
{
    static const uint32_t depths[] = {1, 8, 16, 32, VEK_DEPTH_8S, VEK_DEPTH_16S, VEK_DEPTH_32S, 8, 16};
    static const int32_t channels[] = {1, 3, 4, 3, 1, 2, 5};
    image.depth = depths[in.byte() % 9];
    if (isCalm && hints.depth) image.depth = hints.depth;
    image.nChannels = image.depth == VEK_DEPTH_1U ? 1 : channels[in.byte() % 7];
    image.alphaChannel = oneIn(3) ? image.nChannels : 0;
    if (isCalm && hints.nChannels && image.depth != 1) image.nChannels = hints.nChannels, image.alphaChannel = 0;
    image.dataOrder = in.byte() & 1;
    image.origin = oneIn(4);
    image.align = oneIn(2) ? 4 : 8;
    image.width = 1 + in.byte() % 40;
    image.height = 1 + in.byte() % 24;
}

/* One field in a way that a header may not be, or must not be taken for large. */
void Hostile::drawFault(VekImage& image)
{
    switch (in.byte() % 12) {
    case 0: image.nChannels = number(); break;
    case 1: image.alphaChannel = number(); break;
    case 2: image.depth = (uint32_t)number(); break;
    case 3: image.dataOrder = number(); break;
    case 4: image.origin = number(); break;
    case 5: image.align = number(); break;
    case 6: image.width = number(); break;
    case 7: image.height = number(); break;
    case 8: image.headerSize = number(); break;
    case 9: image.nChannels = image.alphaChannel = number(); break;
    case 10: image.width = 1 + in.byte(); break;
    default: image.height = 1 + in.byte();
    }
}

/* A block that holds what the header says. Where that is too much for a test, or at times, rows are shorter than their
 * width, and an image has fewer rows. */
void Hostile::drawPixels(HostileImage& made)
{
    VekImage& image = made.image;
    if (isPacked && image.width > 300) image.width = 300;
    if (isPacked && image.nChannels > 5) image.nChannels = 5;
    const int64_t samples = image.dataOrder ? 1 : image.nChannels, bits = (int64_t)(image.depth & 63);
    const int64_t unit = 8 * (int64_t)std::clamp(image.align, 1, 64);
    const double rowBits = (double)image.width * (double)samples * (double)bits;
    int64_t row = rowBits < 1               ? 0
                  : rowBits > 8 * mostBytes ? 1 + in.byte()
                                            : ((int64_t)rowBits + unit - 1) / unit * (unit / 8);
    if (!isPacked && oneIn(3)) row = strange(8) ? 1 + in.byte() % 16 : row + in.byte() % 12;
    int64_t planes = image.dataOrder ? std::max(image.nChannels, 1) : 1;
    if (planes > 64) planes = image.nChannels = 3;
    if (row * planes * std::max(image.height, 0) > (int64_t)mostBytes)
        image.height = (int32_t)std::max<int64_t>(1, (int64_t)mostBytes / (row * planes));
    const int64_t bytes = row * planes * std::max(image.height, 0);
    image.widthStep = (int32_t)row;
    image.imageSize = strange(30) ? std::min((int32_t)bytes, number()) : (int32_t)bytes;
    const int kind = in.byte();
    if (kind < 24 && !isCalm && !images.empty() && MAY_OVERLAP) { /* over the pixels of another image */
        made.pixels = images[(size_t)kind % images.size()]->pixels;
        if (made.pixels && made.pixels->block.bytes >= (size_t)bytes) {
            const size_t spare = made.pixels->block.bytes - (size_t)bytes;
            image.imageData = made.pixels->block.data + (spare ? (size_t)in.word() % spare : 0);
            return;
        }
    }
    made.pixels = std::make_shared<HostilePixels>((size_t)bytes, kind % 2, (uint32_t)kind);
    image.imageData = made.pixels->block.data;
}

void Hostile::drawTiles(HostileImage& made)
{
    const int kind = in.byte();
    made.tile = {HostileImage::callBack, &made, nullptr, 8 * (1 + (kind & 3)), 8 * (1 + (kind >> 2 & 3))};
    if (kind >= 240 && !isCalm) made.tile.width = number();
    if (kind >= 248 && !isCalm) made.tile.callBack = nullptr;
    made.failsAt = strange(4) ? in.byte() % 8 : MOST_TILES;
    made.keepsPointer = strange(4);
    made.spoilsStatus = strange(12);
    made.image.tileInfo = &made.tile;
    made.image.widthStep = number();
    made.image.imageSize = number();
    if (oneIn(3) && made.image.width > 0 && made.image.width < 99) made.image.width *= 3;
}

/* A 1-bit image of any size, at times with faults, or any other image there is. */
VekImage* Hostile::drawMask()
{
    const int kind = in.byte();
    if (kind < 20 && !isCalm && !images.empty()) return &images[(size_t)kind % images.size()]->image;
    images.push_back(std::make_unique<HostileImage>());
    HostileImage& mask = *images.back();
    drawFields(mask.image);
    mask.image.depth = VEK_DEPTH_1U;
    mask.image.nChannels = 1;
    mask.image.alphaChannel = 0;
    if (strange(16)) drawFault(mask.image);
    drawPixels(mask);
    if (oneIn(2))
        *(mask.image.roi = &mask.roi) = region(mask.image.width, mask.image.height), mask.roi.coi = strange(9);
    if (strange(12)) mask.image.maskROI = oneIn(3) ? &mask.image : drawMask();
    mask.before = mask.image;
    return &mask.image;
}

/* The first image is as it comes; the others are mostly like it. */
VekImage* Hostile::image(bool isWritten)
{
    static const char models[][5] = {"RGB ", "GRAY", "HSV ", "HLS ", "XYZ ", "YUV ", "YCr ", "YCC ", "LUV "};
    static const char sequences[][5] = {"RGB ", "BGR", "G   ", "RGBA", "BGRA", "BGR", "RGB", "G", "GRAY"};
    const int kind = in.byte();
    if (kind < 4 && !isCalm) return nullptr;
    if (kind < 24 && !images.empty()) {
        HostileImage& again = *images[(size_t)kind % images.size()];
        again.isWritten |= isWritten;
        if (again.pixels) again.pixels->isWritten |= isWritten;
        return &again.image;
    }
    const VekImage* first = images.empty() ? nullptr : &images[0]->image;
    images.push_back(std::make_unique<HostileImage>());
    HostileImage& made = *images.back();
    VekImage& image = made.image;
    drawFields(image);
    if (first && kind < 240) {
        const VekImage own = image;
        image = *first;
        image.roi = nullptr, image.maskROI = nullptr, image.tileInfo = nullptr, image.imageData = nullptr;
        if (kind & 1) image.width = own.width, image.height = own.height;
        if (hints.otherDepth || (kind >> 1 & 15) == 15) image.depth = own.depth;
        if (hints.otherDepth && own.depth == VEK_DEPTH_1U) image.nChannels = 1, image.alphaChannel = 0;
        if ((kind >> 1 & 15) == 14) image.nChannels = own.nChannels, image.alphaChannel = own.alphaChannel;
        if ((kind >> 1 & 15) == 13) image.dataOrder = own.dataOrder, image.origin = own.origin;
        if ((kind >> 1 & 15) == 12) image.align = own.align;
        if ((kind >> 1 & 15) == 11) image.depth ^= VEK_DEPTH_SIGN;
    }
    image.headerSize = sizeof(VekImage);
    const int names = in.byte();
    memcpy(image.colorModel, names % 8 == 7 ? models[in.byte() % 9] : first ? hints.to : hints.from, 4);
    memcpy(image.channelSeq,
           isPacked || names % 8 == 6   ? sequences[in.byte() % 9]
           : image.colorModel[0] == 'G' ? "G   "
                                        : image.colorModel,
           4);
    for (int n = strange(12) ? 1 + in.byte() % 2 : 0; n > 0; --n) drawFault(image);
    for (int i = 0; i < 4; ++i)
        image.borderMode[i] = strange(12) ? number() : in.byte() & 3, image.borderConst[i] = number();
    const bool isTiled = !(hints.isBare && isCalm) && oneIn(4);
    if (isTiled) drawTiles(made);
    if (!isTiled || strange(60)) drawPixels(made);
    if (hints.isBare ? isCalm || oneIn(2) : strange(60)) image.imageData = nullptr;
    if (!(hints.isWhole && isCalm) && oneIn(2)) *(image.roi = &made.roi) = region(image.width, image.height);
    if (oneIn(4)) image.maskROI = drawMask();
    made.before = image;
    made.isWritten = isWritten;
    if (made.pixels) made.pixels->isWritten |= isWritten;
    return &image;
}

/* ---- Tables of tone, bitmaps ------------------------------------------------------------------------------------------- */

VekLUT** Hostile::tables()
{
    int32_t most = 8; /* the channels after the first of these have none */
    for (const auto& made : images) most = std::max(most, made->roi.coi);
    if (strange(60) || most > 1 << 16) return nullptr;
    VekLUT** luts = place<VekLUT*>(most + 1);
    for (int k = 0; k < most; ++k) {
        if (k > 1) luts[k] = k > 7 || strange(60) ? nullptr : luts[k % 2];
        if (k > 1) continue;
        VekLUT lut = {};
        lut.num = strange(30) ? number() : 2 + in.byte() % 20;
        const int64_t n = std::clamp(lut.num, 1, 300);
        lut.num = (int32_t)std::min<int64_t>(lut.num, n);
        const int32_t range = oneIn(2) ? 256 : isCalm || oneIn(2) ? 65536 : number(), from = strange(4) ? number() : 0;
        lut.key = place<int32_t>(n);
        for (int64_t i = 0; i < n; ++i)
            lut.key[i] = (int32_t)(from + (range - (int64_t)from) * i / std::max<int64_t>(n - 1, 1));
        if (strange(12)) lut.key[in.byte() % n] = number();
        lut.value = placeNumbers<int32_t>(std::max<int64_t>(n - 1, 1));
        lut.factor = placeNumbers<int32_t>(std::max<int64_t>(n - 1, 1));
        lut.interpolated = oneIn(2);
        if (!lut.interpolated && oneIn(3)) lut.factor = nullptr;
        if (strange(40)) lut.key = nullptr;
        if (strange(40)) lut.value = nullptr;
        luts[k] = placed(lut);
    }
    return luts;
}

uint8_t* Hostile::bitmap(BITMAPINFOHEADER info, size_t* pixelsAt, size_t* nBytes)
{
    const size_t most = info.biBitCount <= 8 ? (size_t)4 << info.biBitCount : 0;
    const size_t table = std::max(most, fuzzTableBytes(ownOpenDib(&info)));
    const bool isStream = info.biCompression == OWN_DIB_RLE8 || info.biCompression == OWN_DIB_RLE4;
    *pixelsAt = sizeof(info) + fuzzTableBytes(ownOpenDib(&info));
    *nBytes = sizeof(info) + table + (isStream ? 2 * (in.size / 2) + 300 : 0) + fuzzPixelBytes(info);
    uint8_t* block = place<uint8_t>((int64_t)*nBytes);
    memcpy(block, &info, sizeof(info));
    for (size_t i = sizeof(info); i < *nBytes; ++i)
        block[i] = in.size && i < *nBytes - 300 ? in.data[i % in.size] : isStream ? (uint8_t)((i - *pixelsAt) & 1) : 0;
    return block;
}
