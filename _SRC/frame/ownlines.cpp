/* ownlines: the rows of a rectangle with the pixels around it, for operations that keep rows of their own and to which a
 * sample that comes twice is as good as once. Rows are read and written where they are, or copied by the traversal under
 * private headers. */
#include "own.h"

/* ---- Opening --------------------------------------------------------------------------------------------------- */

/* A private header on a block with a rectangle of the image. */
static bool ownCopyPart(OwnLines::Part& part, const VekImage* image, int32_t x, int32_t y, int32_t width,
                        int32_t height)
{
    part.image = ownHeaderOn(image, nullptr, width, height, 0);
    part.block = vekCopyRectBordered(image, x, y, width, height, &part.image.widthStep);
    part.image.imageData = (uint8_t*)part.block;
    part.roi = {0, 0, 0, width, height};
    return part.block != nullptr;
}

/* So many pixels of a margin, of which `inside` lie in the image, are not all seen closer by: beyond the image one, where
 * it is repeated there, otherwise as many as bring every pixel of the image. */
static int32_t ownMargin(int32_t pixels, int64_t inside, bool repeats, int64_t imagePixels)
{
    return (int32_t)std::min<int64_t>(pixels, inside + (repeats ? 1 : 2 * imagePixels));
}

static OwnMargins ownMargins(const OwnLines& lines, const VekImage* image, const VekROI& region, const OwnMargins& most)
{
    bool repeats = true;
    for (const int mode : image->borderMode) repeats = repeats && mode != VEK_BORDER_MIRROR && mode != VEK_BORDER_WRAP;
    const int64_t w = image->width, h = image->height, x = region.xOffset, y = region.yOffset;
    return {ownMargin(most.left, x, repeats, w), ownMargin(most.right, w - x - lines.width, repeats, w),
            ownMargin(most.top, y, repeats, h), ownMargin(most.bottom, h - y - lines.height, repeats, h)};
}

/* The lines of an end, in front of the rectangle or behind it. */
static int32_t ownEndCount(const OwnLines& lines, int end) { return end ? lines.margins.bottom : lines.margins.top; }

/* The source: straight, with its ends fetched before anything is written; or of a tiled image a copy that holds all. */
static bool ownOpenSource(OwnLines* lines, const VekImage* image, const VekROI& region)
{
    const OwnMargins& m = lines->margins;
    const int64_t x = (int64_t)region.xOffset - m.left, y = (int64_t)region.yOffset - m.top,
                  width = (int64_t)lines->width + m.left + m.right, height = (int64_t)lines->height + m.top + m.bottom;
    if (x < INT32_MIN || y < INT32_MIN || width > INT32_MAX || height > INT32_MAX) return false;
    if (image->tileInfo) {
        if (!ownCopyPart(lines->rows, image, (int32_t)x, (int32_t)y, (int32_t)width, (int32_t)height)) return false;
        for (int i = 0; i < 2; ++i) {
            lines->ends[i] = lines->rows;
            lines->ends[i].block = nullptr;
            lines->ends[i].roi = {0, 0, i ? m.top + lines->height : 0, (int32_t)width, ownEndCount(*lines, i)};
        }
        lines->rows.roi = {0, m.left, m.top, lines->width, lines->height};
        return true;
    }
    lines->rows.image = *image;
    lines->rows.image.maskROI = nullptr;
    lines->rows.roi = {0, region.xOffset, region.yOffset, lines->width, lines->height};
    for (int i = 0; i < 2; ++i) {
        const int64_t row = i ? (int64_t)region.yOffset + lines->height : y;
        const int32_t count = ownEndCount(*lines, i);
        if (count &&
            (row > INT32_MAX || !ownCopyPart(lines->ends[i], image, (int32_t)x, (int32_t)row, (int32_t)width, count)))
            return false;
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
    VekImage image = *dstImage;
    image.nChannels = std::max(lines->step, lines->nPlanes);
    image.alphaChannel = 0;
    lines->result.image = ownHeaderOnNew(&image, lines->width, lines->height);
    lines->result.block = lines->result.image.imageData;
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

OwnOpened ownOpenLines(OwnLines* lines, const VekImage* srcImage, const VekImage* dstImage, const OwnMargins& margins)
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
    lines->margins = ownMargins(*lines, srcImage, from, margins);
    if (!ownOpenSource(lines, srcImage, from) || (dstImage->tileInfo && !ownOpenResult(lines, dstImage))) {
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
    VekImage image = ownHeaderOn(&lines.rows.image, (void*)rows, width, roi->yOffset + roi->height, (int32_t)rowBytes);
    image.nChannels = lines.step;
    image.alphaChannel = 0;
    image.dataOrder = VEK_DATA_ORDER_PIXEL;
    image.roi = roi;
    return image;
}

static void ownCopyPixels(const OwnLines& lines, const VekImage& src, const OwnChannels& from, const VekImage& dst,
                          const OwnChannels& to, const VekImage* mask)
{
    const VekImage* const image[2] = {&src, &dst};
    ownTraverse(ownCopyPoint(lines.sampleBits, from, to), image, mask);
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

void ownReadEndLines(const OwnLines& lines, int32_t plane, int end, uint8_t* out, ptrdiff_t outStep)
{
    if (const int32_t count = ownEndCount(lines, end))
        ownReadPart(lines, lines.ends[end], plane, 0, count, 0, out, outStep);
}

/* ---- The pixels at the sides ------------------------------------------------------------------------------------ */

/* What a column beside the rectangle reads in the image's own rows. */
static OwnBeside ownBesideOf(const OwnLines& lines, int64_t column)
{
    uint32_t constant = 0;
    const int32_t x = lines.rows.roi.xOffset;
    const int64_t at = ownBorderColumn(&lines.rows.image, x + column, &constant);
    return {at >= 0 && at < ownWholeView(&lines.rows.image).width, at - x, constant};
}

/* The pixels of one column in n lines. */
static void ownReadColumn(const OwnLines& lines, int32_t column, int32_t plane, int32_t y, int32_t n, uint8_t* out,
                          ptrdiff_t outStep)
{
    const OwnBeside from = ownBesideOf(lines, column);
    const OwnView view = ownWholeView(&lines.rows.image);
    const int64_t x = from.inside ? lines.rows.roi.xOffset + from.column : 0;
    const int32_t pixel = lines.margins.left + column;
    const uint8_t* row = view.data + (lines.rows.roi.yOffset + (int64_t)y) * view.rowStep;
    if (lines.sampleBits == 1) {
        for (int32_t i = 0; i < n; ++i, row += view.rowStep, out += outStep) {
            const uint32_t bit = from.inside ? row[x >> 3] >> (7 - (x & 7)) : from.value;
            uint8_t& byte = out[pixel >> 3];
            byte = (uint8_t)((byte & ~(0x80 >> (pixel & 7))) | (bit & 1) << (7 - (pixel & 7)));
        }
        return;
    }
    const ptrdiff_t bytes = lines.sampleBits >> 3, pixelBytes = bytes * lines.step;
    const uint16_t half = (uint16_t)from.value;
    const uint8_t byte = (uint8_t)from.value;
    const void* value = bytes == 1 ? (const void*)&byte : bytes == 2 ? (const void*)&half : &from.value;
    out += pixel * pixelBytes;
    row += (lines.from.first + plane) * view.channelStep + (ptrdiff_t)x * view.pixelStep * bytes;
    for (int32_t i = 0; i < n; ++i, row += view.rowStep, out += outStep) {
        if (from.inside) memcpy(out, row, (size_t)pixelBytes);
        else
            for (ptrdiff_t k = 0; k < pixelBytes; k += bytes) memcpy(out + k, value, (size_t)bytes);
    }
}

void ownReadSides(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, uint8_t* out, ptrdiff_t outStep)
{
    for (int32_t i = 1; i <= lines.margins.left; ++i) ownReadColumn(lines, -i, plane, y, n, out, outStep);
    for (int32_t i = 0; i < lines.margins.right; ++i) ownReadColumn(lines, lines.width + i, plane, y, n, out, outStep);
}

void ownReadLines(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, uint8_t* out, ptrdiff_t outStep)
{
    ownReadPart(lines, lines.rows, plane, y, n, lines.margins.left, out, outStep);
    ownReadSides(lines, plane, y, n, out, outStep);
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

/* The rows of a region, when their pixels lie as those of lines do. */
static OwnRowsAt ownRowsOf(const OwnLines& lines, const VekImage* image, VekROI region, int32_t channel)
{
    VekImage header = *image;
    header.roi = &region;
    const OwnView view = ownView(&header);
    if (view.pixelStep != lines.step || view.width != region.width) return {};
    return {view.data + channel * view.channelStep, view.rowStep, view.bit};
}

OwnStraight ownStraightLines(const OwnLines& lines, int32_t plane)
{
    const VekImage& image = lines.rows.image;
    const OwnMargins& m = lines.margins;
    VekROI region = lines.rows.roi;
    if (!ownApart(&image, lines.dst)) return {};
    OwnStraight s = {};
    s.left = std::min(m.left, region.xOffset);
    s.right = std::min(m.right, std::max(ownWholeView(&image).width - region.xOffset - lines.width, 0));
    for (int i = 0; i < 2; ++i) {
        const int32_t missing = i ? m.right - s.right : m.left - s.left;
        if (missing > 1) return {};
        if (missing) s.beside[i] = ownBesideOf(lines, i ? (int64_t)lines.width + s.right : -(int64_t)s.left - 1);
        const int64_t column = s.beside[i].column;
        if (s.beside[i].inside && (column < -s.left || column >= (int64_t)lines.width + s.right)) return {};
    }
    region.xOffset -= s.left;
    region.width += s.left + s.right;
    s.rows = ownRowsOf(lines, &image, region, lines.from.first + plane);
    return s;
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

OwnRowsAt ownStraightRows(const OwnLines& lines, int32_t plane)
{
    VekROI region;
    OwnChannels to;
    const VekImage* image = ownTarget(lines, &region, &to);
    const bool spared = lines.mask.image || (lines.step > 1 && to.count < lines.step);
    if (spared && !lines.result.block) return {};
    region.width = lines.width;
    return ownRowsOf(lines, image, region, to.first + plane);
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

void ownCloseLines(const OwnFace& face, OwnLines* lines, const char* missing, VekStatus status)
{
    if (lines->result.block) {
        const char* const texts[2] = {missing, missing};
        OwnPoint point = ownCopyPoint(lines->sampleBits, {0, lines->from.count, false}, lines->to);
        point.face = &face;
        point.image[0] = &lines->result.image;
        point.image[1] = lines->dst;
        if (missing) point.missing = texts;
        point.missingStatus = status;
        lines->result.image.roi = &lines->result.roi;
        ownTileWalk(point, lines->mask.image);
    }
    ownDropLines(lines);
}
