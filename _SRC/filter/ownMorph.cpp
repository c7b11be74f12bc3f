/* ownMorph: erosion, dilation, opening and closing by a square of 2 N + 1 pixels a side.
 *
 * erode: the smallest, dilate: the largest sample of the square around a pixel. Of the pixels around the rectangle only
 * the ring next to it is seen, repeated outward; a repeated sample changes no extremum that it is in already, so a window
 * is cut at the ring. open: erode, then dilate; close: the other way round. What lies outside the rectangle enters the
 * second pass as the source has it.
 *
 * A pass keeps its lines in a ring of its own and makes a batch of rows at a time: down the lines, then across. Two passes
 * are a chain: the lines of the second one are the rows of the first. */
#include "ownbox.h"

/* ---- A pass ---------------------------------------------------------------------------------------------------- */

/* Where the samples of a line and of the extrema down stand, counted in samples, of 1-bit images in bits. */
struct OwnBoxShape {
    int32_t width, height;       /* of the rectangle */
    int32_t xReach, yReach;      /* N, as far as there are pixels to be seen */
    int32_t batch;               /* rows made at a time */
    int32_t slots;               /* lines in the ring, a multiple of the batch */
    ptrdiff_t unit;              /* of a pixel */
    ptrdiff_t lead;              /* in front of the line in a row of extrema, so that windows can reach there */
    ptrdiff_t lineBytes, downBytes;
    int sampleBits;
    OwnBoxPlan plan;
};

struct OwnBoxPass {
    const OwnBox* box;
    OwnBoxPass* from;     /* the pass that makes the lines; null: they are read */
    int32_t filled;       /* lines that have come so far; line y is in slot y % slots */
    uint8_t* ring;        /* the lines */
    uint8_t* ends[2];     /* the line above the rectangle, and the one below it */
    uint8_t* down;        /* a batch of extrema down; what is not of a line is the neutral sample */
    uint8_t* across;      /* the same after some passes across */
    const uint8_t** rows; /* the lines that a batch looks at */
};

/* An operation at work on one image. */
struct OwnMorph {
    OwnLines lines;
    OwnBoxShape shape;
    int nPasses;
    OwnBoxPass pass[2];
    uint8_t* out; /* a batch of rows that can't be written straight away */
    ptrdiff_t outBytes;
    void* block;
};

static uint8_t* ownLine(const OwnBoxShape& shape, const OwnBoxPass& pass, int64_t y)
{
    if (y < 0) return pass.ends[0];
    if (y >= shape.height) return pass.ends[1];
    return pass.ring + y % shape.slots * shape.lineBytes;
}

/* Rows y to y + n - 1, at most a batch; the first sample or bit of each is that of pixel x. */
static void ownMakeRows(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n, int32_t x, uint8_t* out,
                        ptrdiff_t outStep)
{
    const bool bits = shape.sampleBits == 1;
    const ptrdiff_t bytes = shape.sampleBits >> 3, line = (shape.width + (ptrdiff_t)2) * shape.unit;
    const ptrdiff_t side = 2 * (ptrdiff_t)shape.yReach + 1;
    for (ptrdiff_t i = 0; i < side - 1 + shape.batch; ++i) pass.rows[i] = ownLine(shape, pass, y - shape.yReach + i);
    pass.box->down(pass.down + (bits ? shape.lead >> 3 : shape.lead * bytes), shape.downBytes, pass.rows, side,
                   shape.batch, bits ? (line + 7) >> 3 : line);

    /* All passes but the last take the batch as one run. Near the end of a row their windows mix it with the next one;
     * the last pass looks at no such window. */
    const uint8_t* in = pass.down;
    const int last = shape.plan.count - 1;
    const ptrdiff_t run = shape.batch * shape.downBytes / (bits ? 1 : bytes);
    for (int i = 0; i < last; ++i, in = pass.across) pass.box->across(pass.across, in, shape.plan.pass[i], run);

    OwnReach reach = shape.plan.pass[last];
    for (int k = 0; k < reach.count; ++k) reach.at[k] += shape.lead + (x + 1 - shape.xReach) * shape.unit;
    const ptrdiff_t row = bits ? (shape.width - x + (ptrdiff_t)7) >> 3 : shape.width * shape.unit;
    for (int32_t i = 0; i < n; ++i) pass.box->across(out + i * outStep, in + i * shape.downBytes, reach, row);
}

/* ---- Lines that come --------------------------------------------------------------------------------------------- */

static void ownPutBit(uint8_t* bits, ptrdiff_t i, uint32_t bit)
{
    bits[i >> 3] = (uint8_t)((bits[i >> 3] & ~(0x80 >> (i & 7))) | bit << (7 - (i & 7)));
}

/* Gives a line that a pass has made the source's pixels at both sides, and of bits the neutral ones behind them. */
static void ownTakeSides(const OwnBoxShape& shape, const OwnBoxPass& pass, const uint8_t* source, uint8_t* line)
{
    const ptrdiff_t end = (shape.width + (ptrdiff_t)1) * shape.unit;
    if (shape.sampleBits > 1) {
        const ptrdiff_t bytes = shape.sampleBits >> 3, pixelBytes = shape.unit * bytes;
        memcpy(line, source, (size_t)pixelBytes);
        memcpy(line + end * bytes, source + end * bytes, (size_t)pixelBytes);
        return;
    }
    ownPutBit(line, 0, source[0] >> 7);
    ownPutBit(line, end, source[end >> 3] >> (7 - (end & 7)) & 1);
    for (ptrdiff_t i = end + 1; i & 7; ++i) ownPutBit(line, i, pass.box->neutral & 1);
}

/* Lines up to `need`, whole batches at a time. */
static void ownFill(const OwnMorph& morph, OwnBoxPass& pass, int32_t plane, int32_t need)
{
    const OwnBoxShape& shape = morph.shape;
    while (pass.filled < need) {
        const int32_t y = pass.filled, n = std::min(shape.batch, shape.height - y);
        uint8_t* line = ownLine(shape, pass, y);
        if (!pass.from) ownReadLines(morph.lines, plane, y, n, line, shape.lineBytes);
        else {
            const bool bits = shape.sampleBits == 1;
            const ptrdiff_t side = bits ? 0 : shape.unit * (shape.sampleBits >> 3);
            ownFill(morph, *pass.from, plane, std::min<int32_t>(shape.height, y + n + shape.yReach));
            ownMakeRows(shape, *pass.from, y, n, bits ? -1 : 0, line + side, shape.lineBytes);
            for (int32_t i = 0; i < n; ++i)
                ownTakeSides(shape, pass, ownLine(shape, *pass.from, y + i), line + i * shape.lineBytes);
        }
        pass.filled += n;
    }
}

static void ownMorphPlane(OwnMorph& morph, int32_t plane)
{
    const OwnBoxShape& shape = morph.shape;
    for (int i = 0; i < morph.nPasses; ++i) {
        morph.pass[i].filled = 0;
        for (int end = 0; end < 2; ++end) ownReadEndLine(morph.lines, plane, end, morph.pass[i].ends[end]);
    }
    OwnBoxPass& pass = morph.pass[morph.nPasses - 1];
    for (int32_t y = 0, n; y < shape.height; y += n) {
        n = std::min(shape.batch, shape.height - y);
        ownFill(morph, pass, plane, std::min<int32_t>(shape.height, y + n + shape.yReach));
        ptrdiff_t widthStep;
        if (uint8_t* place = ownPlaceRows(morph.lines, plane, y, &widthStep))
            ownMakeRows(shape, pass, y, n, 0, place, widthStep);
        else {
            ownMakeRows(shape, pass, y, n, 0, morph.out, morph.outBytes);
            ownWriteRows(morph.lines, plane, y, n, morph.out, morph.outBytes);
        }
    }
}

/* ---- Room ---------------------------------------------------------------------------------------------------- */

enum { OWN_LOW_SIDE = 24, OWN_BATCH_BYTES = 8192 };

static ptrdiff_t ownRoundUp(ptrdiff_t n, ptrdiff_t unit) { return (n + unit - 1) / unit * unit; }

static OwnBoxShape ownMakeShape(const OwnLines& lines, int32_t nIterations)
{
    OwnBoxShape s = {};
    const bool bits = lines.sampleBits == 1;
    s.width = lines.width;
    s.height = lines.height;
    s.xReach = std::min(nIterations, s.width + 1);
    s.yReach = std::min(nIterations, s.height + 1);
    s.unit = lines.step;
    s.sampleBits = lines.sampleBits;
    s.lead = bits ? ownRoundUp(s.xReach, 8) : s.xReach * s.unit;
    const ptrdiff_t line = (s.width + (ptrdiff_t)2) * s.unit, all = s.lead + line + s.xReach * s.unit;
    s.lineBytes = ownRoundUp((line * s.sampleBits + 7) >> 3, 64);
    s.downBytes = ownRoundUp(((all * s.sampleBits + 7) >> 3) + 2, 64);
    s.plan = ownBoxPlan(2 * (int64_t)s.xReach + 1, s.unit, bits ? 3 : 4);

    /* More rows at a time where lines are short, and where the box is high. */
    s.batch = OWN_BOX_ROWS;
    while (s.batch < OWN_BOX_MOST_ROWS && s.batch < s.height &&
           (s.batch * s.lineBytes < OWN_BATCH_BYTES || (s.yReach > OWN_LOW_SIDE / 2 && s.batch < 2 * s.yReach)))
        s.batch *= 2;
    s.slots = (int32_t)ownRoundUp(2 * (ptrdiff_t)s.yReach + 2 * s.batch, s.batch);
    return s;
}

/* One block for everything, each part of it on a line of the cache. False when it is not to be had. */
static bool ownTakeRoom(OwnMorph& morph)
{
    const OwnBoxShape& s = morph.shape;
    const bool bits = s.sampleBits == 1;
    const ptrdiff_t row = ((s.width * s.unit * s.sampleBits + 7) >> 3) + 1;
    morph.outBytes = bits ? std::max(row, morph.lines.rowBytes) : row;

    const int64_t ringBytes = s.slots * (int64_t)s.lineBytes, downBytes = (s.batch + 1) * (int64_t)s.downBytes;
    const int64_t rowsBytes = ownRoundUp((2 * (ptrdiff_t)s.yReach + s.batch) * (ptrdiff_t)sizeof(uint8_t*), 64);
    const int64_t outBytes = ownRoundUp(s.batch * morph.outBytes, 64);
    const int64_t passBytes = ringBytes + 2 * s.lineBytes + 2 * downBytes + rowsBytes;
    const int64_t total = morph.nPasses * passBytes + outBytes;
    if (total > PTRDIFF_MAX) return false;
    uint8_t* p = (uint8_t*)ownAlloc((size_t)total);
    morph.block = p;
    if (!p) return false;
    for (int i = 0; i < morph.nPasses; ++i) {
        OwnBoxPass& pass = morph.pass[i];
        pass.ring = p;
        pass.ends[0] = pass.ring + ringBytes;
        pass.ends[1] = pass.ends[0] + s.lineBytes;
        pass.down = pass.ends[1] + s.lineBytes;
        pass.across = pass.down + downBytes;
        pass.rows = (const uint8_t**)(pass.across + downBytes);
        p += passBytes;

        /* The extremum of nothing is 0 or all ones. */
        const int fill = pass.box->neutral ? 0xFF : 0;
        memset(pass.down, fill, (size_t)downBytes);
        if (bits) memset(pass.ring, fill, (size_t)(ringBytes + 2 * s.lineBytes));
    }
    morph.out = p;
    return true;
}

/* ---- The four operations --------------------------------------------------------------------------------------- */

static int32_t ownCountOf(const VekImage* image) { return ownChannels(image).count; }
static int32_t ownCoiOf(const VekImage* image) { return image->roi ? image->roi->coi : 0; }

static void ownMorphology(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int32_t nIterations,
                          const OwnBox* first, const OwnBox* second)
{
    vekSetErrStatus(VEK_StatusOk);
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_TEXT_IF(nIterations <= 0, "Illegal number of of iterations");
    const int slot = ownSlot(srcImage->depth);
    OWN_REFUSE_TEXT_IF(slot != OWN_1U && slot != OWN_8U && slot != OWN_16U, "Illegal image depth");
    OWN_REFUSE_TEXT_IF(srcImage->depth != dstImage->depth, "SRC and DST depth are different");
    OWN_REFUSE_TEXT_IF(srcImage->dataOrder != dstImage->dataOrder, "SRC and DST order are different");
    OWN_REFUSE_TEXT_IF(srcImage->origin != dstImage->origin, "SRC and DST orign are different");
    OWN_REFUSE_TEXT_IF(ownCountOf(srcImage) != ownCountOf(dstImage), "SRC and DST number of channels are different");
    OWN_REFUSE_TEXT_IF(ownCoiOf(srcImage) != ownCoiOf(dstImage), "SRC and DST COI are different");

    OwnMorph morph = {};
    const OwnOpened opened = ownOpenLines(&morph.lines, srcImage, dstImage);
    if (opened == OWN_OPENED_NO_MEMORY) vekSetErrStatus(VEK_StatusNoMemory);
    if (opened != OWN_OPENED) return;
    morph.shape = ownMakeShape(morph.lines, nIterations);
    morph.nPasses = second ? 2 : 1;
    morph.pass[0].box = first + slot;
    morph.pass[1].box = second ? second + slot : nullptr;
    morph.pass[1].from = &morph.pass[0];
    if (!ownTakeRoom(morph)) {
        vekSetErrStatus(VEK_StatusNoMemory);
        return ownDropLines(&morph.lines);
    }
    for (int32_t plane = 0; plane < morph.lines.nPlanes; ++plane) ownMorphPlane(morph, plane);
    ownFree(morph.block);
    ownCloseLines(face, &morph.lines);
}

void vekErode(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekErode", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMin, nullptr);
}

void vekDilate(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekDilate", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMax, nullptr);
}

void vekOpen(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekOpen", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMin, ownBoxMax);
}

void vekClose(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekClose", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMax, ownBoxMin);
}
