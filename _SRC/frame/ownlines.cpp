/* ownlines: the rows of a rectangle with one pixel more on every side, for operations that need a ring around their
 * rectangle and keep rows of their own. Reading and writing are copies by the traversal, under private headers. */
#include "own.h"

/* Samples are copied as they are. */
static OwnRun* ownCopyOf(const OwnLines& lines) { return ownCopyRows[ownSlot(lines.dst->depth)].run; }

/* ---- Opening --------------------------------------------------------------------------------------------------- */

/* A private header on a block with a rectangle of the image. */
static bool ownCopyPart(OwnLines::Part& part, const VekImage* image, int32_t x, int32_t y, int32_t width,
                        int32_t height)
{
    part.image = *image;
    part.image.tileInfo = nullptr;
    part.image.maskROI = nullptr;
    part.image.width = width;
    part.image.height = height;
    part.block = vekCopyRectBordered(image, x, y, width, height, &part.image.widthStep);
    part.image.imageData = (uint8_t*)part.block;
    part.roi = {0, 0, 0, width, height};
    return part.block != nullptr;
}

/* What column x, beside the image or in it, reads in the image's own rows. */
static OwnLines::Side ownSideOf(const VekImage* image, int64_t x)
{
    const OwnView view = ownWholeView(image);
    uint32_t constant = 0;
    const int64_t column = ownBorderColumn(image, x, &constant);
    return {column >= 0 && column < view.width, column, constant};
}

/* The source: straight, with its ends fetched before anything is written; or of a tiled image a copy that holds all. */
static bool ownOpenSource(OwnLines* lines, const VekImage* image, const VekROI& region)
{
    const int32_t x = region.xOffset - 1, y = region.yOffset - 1, width = lines->width + 2;
    if (image->tileInfo) {
        if (lines->height > INT32_MAX - 2 || !ownCopyPart(lines->rows, image, x, y, width, lines->height + 2))
            return false;
        for (int i = 0; i < 2; ++i) {
            lines->ends[i] = lines->rows;
            lines->ends[i].block = nullptr;
            lines->ends[i].roi = {0, 0, i * (lines->height + 1), width, 1};
            lines->sides[i] = {true, i * (int64_t)(width - 1), 0};
        }
        lines->rows.roi = {0, 1, 1, lines->width, lines->height};
        return true;
    }
    lines->rows.image = *image;
    lines->rows.image.maskROI = nullptr;
    lines->rows.roi = {0, region.xOffset, region.yOffset, lines->width, lines->height};
    for (int i = 0; i < 2; ++i) {
        lines->sides[i] = ownSideOf(image, i ? (int64_t)region.xOffset + lines->width : x);
        const int64_t row = i ? (int64_t)region.yOffset + lines->height : y;
        if (!ownCopyPart(lines->ends[i], image, x, (int32_t)row, width, 1)) return false;
    }
    return true;
}

/* Whether the pixels of a line are those of the image with all their channels, alpha too. */
static bool ownWholePixels(const VekImage* image, const OwnChannels& channels)
{
    return image->dataOrder == VEK_DATA_ORDER_PIXEL && !channels.single;
}

/* Room for all results of a tiled destination, laid out as the lines are. */
static bool ownOpenResult(OwnLines* lines, const VekImage* dstImage)
{
    VekImage& image = lines->result.image;
    image = *dstImage;
    image.tileInfo = nullptr;
    image.maskROI = nullptr;
    image.nChannels = std::max(lines->step, lines->nPlanes);
    image.alphaChannel = 0;
    image.width = lines->width;
    image.height = lines->height;
    image.imageSize = 0;
    const int64_t step = ownRowBytes(&image, image.width), rows = ownRowCount(&image, image.height);
    if (step > INT32_MAX || rows > PTRDIFF_MAX / step) return false;
    image.widthStep = (int32_t)step;
    lines->result.block = ownAlloc((size_t)(rows * step));
    image.imageData = (uint8_t*)lines->result.block;
    lines->result.roi = {0, 0, 0, lines->width, lines->height};
    return lines->result.block != nullptr;
}

void ownDropLines(OwnLines* lines)
{
    vekFree(lines->rows.block);
    for (OwnLines::Part& end : lines->ends) vekFree(end.block);
    ownFree(lines->result.block);
    ownReleaseMask(&lines->mask);
}

OwnOpened ownOpenLines(OwnLines* lines, const VekImage* srcImage, const VekImage* dstImage)
{
    *lines = {};
    lines->dst = dstImage;
    lines->from = ownChannels(srcImage);
    lines->to = ownChannels(dstImage);
    if (lines->from.count < 1) return OWN_OPENED_EMPTY;

    const VekImage* const image[2] = {srcImage, dstImage};
    const OwnMerge merge = ownMergeMasks(image, 2, &lines->mask);
    if (merge == OWN_MERGE_NO_MEMORY) return OWN_OPENED_NO_MEMORY;
    if (merge == OWN_MERGE_EMPTY) return OWN_OPENED_EMPTY;

    const VekROI from = ownRegion(srcImage), to = ownRegion(dstImage);
    lines->width = std::min(from.width, to.width);
    lines->height = std::min(from.height, to.height);
    if (lines->mask.image) {
        const OwnView mask = ownView(lines->mask.image);
        lines->width = std::min(lines->width, mask.width);
        lines->height = std::min(lines->height, mask.height);
    }
    if (lines->width < 1 || lines->height < 1) {
        ownReleaseMask(&lines->mask);
        return OWN_OPENED_EMPTY;
    }
    const bool wholePixels = ownWholePixels(srcImage, lines->from);
    lines->step = wholePixels ? srcImage->nChannels : 1;
    lines->nPlanes = wholePixels ? 1 : lines->from.count;
    lines->sampleBits = ownSampleBits(srcImage->depth);
    if (lines->width > INT32_MAX - 2 || !ownOpenSource(lines, srcImage, from) ||
        (dstImage->tileInfo && !ownOpenResult(lines, dstImage))) {
        ownDropLines(lines);
        return OWN_OPENED_NO_MEMORY;
    }
    lines->rowBytes = dstImage->tileInfo ? lines->result.image.widthStep : dstImage->widthStep;
    return OWN_OPENED;
}

/* ---- Copies by the traversal ------------------------------------------------------------------------------------ */

/* A private header on n rows of line samples. */
static VekImage ownRowsHeader(const OwnLines& lines, const uint8_t* rows, ptrdiff_t rowBytes, int32_t width,
                              VekROI* roi)
{
    VekImage image = lines.rows.image;
    image.nChannels = lines.step;
    image.alphaChannel = 0;
    image.dataOrder = VEK_DATA_ORDER_PIXEL;
    image.width = width;
    image.height = roi->yOffset + roi->height;
    image.widthStep = (int32_t)rowBytes;
    image.imageSize = 0; /* not to be taken as one block */
    image.imageData = (uint8_t*)rows;
    image.roi = roi;
    return image;
}

static void ownCopyPixels(const OwnLines& lines, const VekImage& src, const OwnChannels& from, const VekImage& dst,
                          const OwnChannels& to, const VekImage* mask)
{
    OwnPoint point = {};
    point.nImages = 2;
    point.channels[0] = from;
    point.channels[1] = to;
    point.run = ownCopyOf(lines);
    const VekImage* const image[2] = {&src, &dst};
    ownTraverse(point, image, mask);
}

/* The source's channels that a line of a plane has. */
static OwnChannels ownLineChannels(const OwnLines& lines, int32_t plane)
{
    return {lines.from.first + plane, lines.step, lines.from.single};
}

static void ownReadPart(const OwnLines& lines, const OwnLines::Part& part, int32_t plane, int32_t y, int32_t n,
                        int32_t x, uint8_t* out, ptrdiff_t outStep)
{
    VekROI from = {0, part.roi.xOffset, part.roi.yOffset + y, part.roi.width, n}, to = {0, x, 0, part.roi.width, n};
    VekImage src = part.image;
    src.roi = &from;
    const VekImage dst = ownRowsHeader(lines, out, outStep, x + part.roi.width, &to);
    ownCopyPixels(lines, src, ownLineChannels(lines, plane), dst, {0, lines.step, false}, nullptr);
}

void ownReadEndLine(const OwnLines& lines, int32_t plane, int end, uint8_t* out, int32_t at)
{
    const int64_t bits = ((int64_t)lines.width + 2 + at) * lines.step * lines.sampleBits;
    ownReadPart(lines, lines.ends[end], plane, 0, 1, at, out, (ptrdiff_t)((bits + 7) / 8));
}

/* ---- The pixels at the sides ------------------------------------------------------------------------------------ */

static void ownReadSide(const OwnLines& lines, const OwnLines::Side& side, int32_t plane, int32_t y, int32_t n,
                        int32_t pixel, uint8_t* out, ptrdiff_t outStep)
{
    const OwnView view = ownWholeView(&lines.rows.image);
    const uint8_t* row = view.data + (lines.rows.roi.yOffset + y) * view.rowStep;
    if (lines.sampleBits == 1) {
        for (int32_t i = 0; i < n; ++i, row += view.rowStep, out += outStep) {
            const uint32_t bit = side.inside ? row[side.column >> 3] >> (7 - (side.column & 7)) : side.value;
            uint8_t& byte = out[pixel >> 3];
            byte = (uint8_t)((byte & ~(0x80 >> (pixel & 7))) | (bit & 1) << (7 - (pixel & 7)));
        }
        return;
    }
    const ptrdiff_t bytes = lines.sampleBits >> 3, pixelBytes = bytes * lines.step;
    const uint16_t half = (uint16_t)side.value;
    const uint8_t byte = (uint8_t)side.value;
    const void* value = bytes == 1 ? (const void*)&byte : bytes == 2 ? (const void*)&half : &side.value;
    out += pixel * pixelBytes;
    row += (lines.from.first + plane) * view.channelStep + (ptrdiff_t)side.column * view.pixelStep * bytes;
    for (int32_t i = 0; i < n; ++i, row += view.rowStep, out += outStep) {
        if (side.inside) memcpy(out, row, (size_t)pixelBytes);
        else
            for (ptrdiff_t k = 0; k < pixelBytes; k += bytes) memcpy(out + k, value, (size_t)bytes);
    }
}

void ownReadLines(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, uint8_t* out, ptrdiff_t outStep)
{
    ownReadPart(lines, lines.rows, plane, y, n, 1, out, outStep);
    ownReadSide(lines, lines.sides[0], plane, y, n, 0, out, outStep);
    ownReadSide(lines, lines.sides[1], plane, y, n, lines.width + 1, out, outStep);
}

void ownReadSideColumn(const OwnLines& lines, int32_t plane, int side, uint8_t* out)
{
    const OwnLines::Side& from = lines.sides[side];
    if (lines.sampleBits > 1)
        return ownReadSide(lines, from, plane, 0, lines.height, 0, out,
                           (lines.sampleBits >> 3) * (ptrdiff_t)lines.step);
    const OwnView view = ownWholeView(&lines.rows.image);
    const uint8_t* row = view.data + lines.rows.roi.yOffset * view.rowStep;
    for (int32_t y = 0; y < lines.height; ++y, row += view.rowStep)
        out[y] = (from.inside ? row[from.column >> 3] >> (7 - (from.column & 7)) : from.value) & 1;
}

/* ---- Where the samples are --------------------------------------------------------------------------------------- */

/* Whether the images hold their pixels in blocks that lie apart. */
static bool ownApart(const VekImage* a, const VekImage* b)
{
    if (a->tileInfo || b->tileInfo) return true;
    const uintptr_t p = (uintptr_t)a->imageData, q = (uintptr_t)b->imageData;
    const int64_t aBytes = ownRowCount(a, a->height) * a->widthStep, bBytes = ownRowCount(b, b->height) * b->widthStep;
    return p < q ? (uint64_t)(q - p) >= (uint64_t)aBytes : (uint64_t)(p - q) >= (uint64_t)bBytes;
}

static OwnStraight ownStraight(const OwnLines& lines, const VekImage* image, VekROI region, int32_t channel)
{
    VekImage header = *image;
    header.roi = &region;
    const OwnView view = ownView(&header);
    if (view.pixelStep != lines.step) return {};
    return {view.data + channel * view.channelStep, view.rowStep, view.bit};
}

OwnStraight ownStraightLines(const OwnLines& lines, int32_t plane)
{
    if (!ownApart(&lines.rows.image, lines.dst)) return {};
    return ownStraight(lines, &lines.rows.image, lines.rows.roi, lines.from.first + plane);
}

/* ---- Writing --------------------------------------------------------------------------------------------------- */

/* The header that rows are written to, and the channels of it: the destination, or what is kept of a tiled one. */
static const VekImage* ownTarget(const OwnLines& lines, VekROI* region, OwnChannels* to)
{
    if (lines.result.block) {
        *region = lines.result.roi;
        *to = {0, lines.from.count, false};
        return &lines.result.image;
    }
    *region = ownRegion(lines.dst);
    region->coi = 0;
    *to = lines.to;
    return lines.dst;
}

OwnStraight ownStraightRows(const OwnLines& lines, int32_t plane)
{
    VekROI region;
    OwnChannels to;
    const VekImage* image = ownTarget(lines, &region, &to);
    const bool spared = lines.mask.image || (lines.step > 1 && to.count < lines.step);
    if (spared && !lines.result.block) return {};
    return ownStraight(lines, image, region, to.first + plane);
}

void ownWriteRows(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, const uint8_t* rows, ptrdiff_t rowBytes)
{
    VekROI region, from = {0, 0, 0, lines.width, n}, shade;
    OwnChannels to;
    VekImage dst = *ownTarget(lines, &region, &to), mask;
    const VekImage src = ownRowsHeader(lines, rows, rowBytes, lines.width, &from);
    const int32_t count = lines.step > 1 ? lines.from.count : 1;
    region.yOffset += y;
    region.width = lines.width;
    region.height = n;
    dst.roi = &region;
    const bool masked = lines.mask.image && !lines.result.block;
    if (masked) {
        mask = *lines.mask.image;
        shade = ownRegion(&mask);
        shade.yOffset += y;
        shade.height = n;
        mask.roi = &shade;
    }
    ownCopyPixels(lines, src, {0, count, false}, dst, {to.first + plane, count, false}, masked ? &mask : nullptr);
}

void ownCloseLines(const OwnFace& face, OwnLines* lines)
{
    if (lines->result.block) {
        OwnPoint point = {&face, 2, {&lines->result.image, lines->dst}, {}, ownCopyOf(*lines), nullptr, false};
        lines->result.image.roi = &lines->result.roi;
        point.channels[0] = {0, lines->from.count, false};
        point.channels[1] = lines->to;
        ownTileWalk(point, lines->mask.image);
    }
    ownDropLines(lines);
}
