/* ownMorph: erosion, dilation, opening and closing by a square of 2 N + 1 pixels a side.
 *
 * erode: the smallest, dilate: the largest sample of the square around a pixel. Of the pixels around the rectangle only
 * the ring next to it is seen, repeated outward; a repeated sample changes no extremum that it is in already, so a window
 * is cut at the ring. open: erode, then dilate; close: the other way round. What lies outside the rectangle enters the
 * second pass as the source has it.
 *
 * A pass makes a batch of rows at a time: down its lines, then across. It keeps as many lines as its windows are high in
 * a ring of its own, unless they can be read where they are. Two passes are a chain: the lines of the second one are the
 * rows of the first. */
#include "ownbox.h"

/* ---- A pass ---------------------------------------------------------------------------------------------------- */

/* The measures of a plane, counted in samples, of 1-bit images in bits. */
struct OwnBoxShape {
    int32_t width, height;  /* of the rectangle */
    int32_t xReach, yReach; /* N, as far as there are pixels to be seen */
    int32_t batch;          /* rows made at a time */
    int32_t slots;          /* lines in the ring */
    int sampleBits;
    ptrdiff_t unit; /* of a pixel */
    ptrdiff_t lead; /* in front of the line in a row of extrema, so that windows can reach there */
    ptrdiff_t lineBytes, downBytes;
    OwnBoxPlan plan;

    bool bits() const { return sampleBits == 1; }
    ptrdiff_t bytes(ptrdiff_t n) const { return bits() ? n >> 3 : n * (sampleBits >> 3); }
    ptrdiff_t pixel() const { return bytes(unit); }
};

struct OwnBoxPass {
    const OwnBox* box;
    OwnBoxPass* from;        /* the pass that makes the lines; null: they are read */
    int32_t filled;          /* lines that have come so far; line y is in slot y % slots */
    uint8_t* ring;           /* the lines */
    uint8_t* ends[2];        /* the line above the rectangle, and the one below it */
    uint8_t* down;           /* a batch of extrema down; what is not of a line is the neutral sample */
    uint8_t* across;         /* the same after some passes across */
    const uint8_t** rows;    /* the lines that a batch looks at */
    const uint8_t* straight; /* pixel 0 of line 0 in the source; null: lines are in the ring */
    ptrdiff_t straightStep;
    uint8_t *sides[2], *sideDown[2]; /* with it: the pixels at the lines' sides, and their extrema down */
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

/* The extremum of nothing, 0 or all ones. */
static int ownNeutralByte(const OwnBoxPass& pass) { return pass.box->neutral ? 0xFF : 0; }

static uint8_t* ownLine(const OwnBoxShape& shape, const OwnBoxPass& pass, int64_t y)
{
    if (y < 0) return pass.ends[0];
    if (y >= shape.height) return pass.ends[1];
    return pass.ring + y % shape.slots * shape.lineBytes;
}

/* A batch of extrema down, from row y on. */
static void ownMakeDown(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n)
{
    const ptrdiff_t side = 2 * (ptrdiff_t)shape.yReach + 1, count = side - 1 + shape.batch;
    const ptrdiff_t line = (shape.width + (ptrdiff_t)2) * shape.unit;
    uint8_t* down = pass.down + shape.bytes(shape.lead);
    const int64_t top = (int64_t)y - shape.yReach;
    if (!pass.straight) {
        for (ptrdiff_t i = 0; i < count; ++i) pass.rows[i] = ownLine(shape, pass, top + i);
        return pass.box->down(down, shape.downBytes, pass.rows, side, shape.batch,
                              shape.bits() ? (line + 7) >> 3 : line);
    }
    const ptrdiff_t pixel = shape.pixel();
    for (ptrdiff_t i = 0; i < count; ++i)
        pass.rows[i] = top + i < 0               ? pass.ends[0] + pixel
                       : top + i >= shape.height ? pass.ends[1] + pixel
                                                 : pass.straight + (top + i) * pass.straightStep;
    pass.box->down(down + pixel, shape.downBytes, pass.rows, side, shape.batch, shape.width * shape.unit);
    for (int32_t i = 0; i < n; ++i, down += shape.downBytes) {
        memcpy(down, pass.sideDown[0] + (y + i) * pixel, (size_t)pixel);
        memcpy(down + (shape.width + (ptrdiff_t)1) * pixel, pass.sideDown[1] + (y + i) * pixel, (size_t)pixel);
    }
}

/* Rows y to y + n - 1, at most a batch, each to its line of `out`; the first sample or bit written is that of pixel x. */
template <class Out>
static void ownMakeRows(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n, int32_t x, Out out)
{
    ownMakeDown(shape, pass, y, n);

    /* All passes but the last take the batch as one run. Near the end of a row their windows mix it with the next one;
     * the last pass looks at no such window. */
    const uint8_t* in = pass.down;
    const int last = shape.plan.count - 1;
    const ptrdiff_t run = n * shape.downBytes / (shape.bits() ? 1 : shape.sampleBits >> 3);
    for (int i = 0; i < last; ++i, in = pass.across) pass.box->across(pass.across, in, shape.plan.pass[i], run);

    OwnReach reach = shape.plan.pass[last];
    for (int k = 0; k < reach.count; ++k) reach.at[k] += shape.lead + (x + 1 - shape.xReach) * shape.unit;
    const ptrdiff_t row = shape.bits() ? (shape.width - x + (ptrdiff_t)7) >> 3 : shape.width * shape.unit;
    for (int32_t i = 0; i < n; ++i) pass.box->across(out(i), in + i * shape.downBytes, reach, row);
}

/* ---- Lines that come --------------------------------------------------------------------------------------------- */

static void ownPutBit(uint8_t* bits, ptrdiff_t i, uint32_t bit)
{
    bits[i >> 3] = (uint8_t)((bits[i >> 3] & ~(0x80 >> (i & 7))) | bit << (7 - (i & 7)));
}

/* Gives line y, which the pass before has made, the source's pixels at both sides, and of bits the neutral ones behind. */
static void ownTakeSides(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y)
{
    const OwnBoxPass& from = *pass.from;
    uint8_t* line = ownLine(shape, pass, y);
    const uint8_t* source = from.straight ? nullptr : ownLine(shape, from, y);
    const ptrdiff_t end = (shape.width + (ptrdiff_t)1) * shape.unit, pixel = shape.pixel();
    if (!shape.bits()) {
        memcpy(line, source ? source : from.sides[0] + y * pixel, (size_t)pixel);
        memcpy(line + shape.bytes(end), source ? source + shape.bytes(end) : from.sides[1] + y * pixel, (size_t)pixel);
        return;
    }
    ownPutBit(line, 0, source[0] >> 7);
    ownPutBit(line, end, source[end >> 3] >> (7 - (end & 7)) & 1);
    for (ptrdiff_t i = end + 1; i & 7; ++i) ownPutBit(line, i, pass.box->neutral & 1);
}

/* Lines up to `need`. */
static void ownFill(const OwnMorph& morph, OwnBoxPass& pass, int32_t plane, int32_t need)
{
    const OwnBoxShape& shape = morph.shape;
    while (!pass.straight && pass.filled < need) {
        const int32_t y = pass.filled;
        int32_t n = std::min(shape.batch, need - y);
        if (!pass.from) {
            n = std::min(need - y, shape.slots - y % shape.slots);
            ownReadLines(morph.lines, plane, y, n, ownLine(shape, pass, y), shape.lineBytes);
        } else {
            ownFill(morph, *pass.from, plane, (int32_t)std::min<int64_t>(shape.height, (int64_t)y + n + shape.yReach));
            const ptrdiff_t first = shape.pixel(); /* of bits 0: the line is made from pixel -1 on */
            ownMakeRows(shape, *pass.from, y, n, shape.bits() ? -1 : 0,
                        [&](int32_t i) { return ownLine(shape, pass, y + i) + first; });
            for (int32_t i = 0; i < n; ++i) ownTakeSides(shape, pass, y + i);
        }
        pass.filled += n;
    }
}

/* The extrema down a column of pixels at the side, as those across a row. */
static void ownMakeSideDown(const OwnMorph& morph, OwnBoxPass& pass, int side)
{
    const OwnBoxShape& shape = morph.shape;
    const ptrdiff_t pixel = shape.pixel(), end = (shape.height + (ptrdiff_t)1) * pixel;
    uint8_t* column = pass.sideDown[side] + shape.yReach * pixel;
    const ptrdiff_t atEnd = side ? (shape.width + (ptrdiff_t)1) * pixel : 0;
    const ptrdiff_t n = (shape.height + 2 + (ptrdiff_t)2 * shape.yReach) * shape.unit;
    memset(pass.sideDown[side], ownNeutralByte(pass), (size_t)(2 * shape.bytes(n)));
    memcpy(column, pass.ends[0] + atEnd, (size_t)pixel);
    memcpy(column + pixel, pass.sides[side], (size_t)(shape.height * pixel));
    memcpy(column + end, pass.ends[1] + atEnd, (size_t)pixel);

    const OwnBoxPlan plan = ownBoxPlan(2 * (int64_t)shape.yReach + 1, shape.unit, 4);
    for (int i = 0; i < plan.count; ++i) {
        OwnReach reach = plan.pass[i];
        if (i == plan.count - 1)
            for (int k = 0; k < reach.count; ++k) reach.at[k] += shape.unit; /* the window of row 0 begins at -yReach */
        pass.box->across(pass.sideDown[side], pass.sideDown[side], reach,
                         i < plan.count - 1 ? n : shape.height * shape.unit);
    }
}

static void ownStartPlane(OwnMorph& morph, int32_t plane)
{
    for (int i = 0; i < morph.nPasses; ++i) {
        morph.pass[i].filled = 0;
        for (int end = 0; end < 2; ++end) ownReadEndLine(morph.lines, plane, end, morph.pass[i].ends[end]);
    }
    OwnBoxPass& pass = morph.pass[0];
    pass.straight = ownStraightLines(morph.lines, plane, &pass.straightStep);
    if (!pass.straight) return;
    for (int side = 0; side < 2; ++side) {
        ownReadSideColumn(morph.lines, plane, side, pass.sides[side]);
        ownMakeSideDown(morph, pass, side);
    }
}

static void ownMorphPlane(OwnMorph& morph, int32_t plane)
{
    const OwnBoxShape& shape = morph.shape;
    ownStartPlane(morph, plane);
    OwnBoxPass& pass = morph.pass[morph.nPasses - 1];
    ptrdiff_t widthStep = morph.outBytes;
    uint8_t* place = ownPlaceRows(morph.lines, plane, &widthStep);
    for (int32_t y = 0, n; y < shape.height; y += n) {
        n = std::min(shape.batch, shape.height - y);
        ownFill(morph, pass, plane, (int32_t)std::min<int64_t>(shape.height, (int64_t)y + n + shape.yReach));
        uint8_t* out = place ? place + y * widthStep : morph.out;
        ownMakeRows(shape, pass, y, n, 0, [&](int32_t i) { return out + i * widthStep; });
        if (!place) ownWriteRows(morph.lines, plane, y, n, out, widthStep);
    }
}

/* ---- Room ---------------------------------------------------------------------------------------------------- */

enum { OWN_LOW_REACH = 12, OWN_BATCH_BYTES = 8192 };

static int64_t ownRoundUp(int64_t n, int64_t unit) { return (n + unit - 1) / unit * unit; }

static OwnBoxShape ownMakeShape(const OwnLines& lines, int32_t nIterations)
{
    OwnBoxShape s = {};
    s.width = lines.width;
    s.height = lines.height;
    s.xReach = std::min(nIterations, s.width + 1);
    s.yReach = std::min(nIterations, s.height + 1);
    s.unit = lines.step;
    s.sampleBits = lines.sampleBits;
    s.lead = s.bits() ? ownRoundUp(s.xReach, 8) : s.xReach * s.unit;
    const ptrdiff_t line = (s.width + (ptrdiff_t)2) * s.unit, all = s.lead + line + s.xReach * s.unit;
    s.lineBytes = ownRoundUp((line * s.sampleBits + 7) >> 3, 64);
    s.downBytes = ownRoundUp(((all * s.sampleBits + 7) >> 3) + 2, 64);
    s.plan = ownBoxPlan(2 * (int64_t)s.xReach + 1, s.unit, s.bits() ? 3 : 4);

    /* More rows at a time where lines are short, and where the box is high. */
    s.batch = OWN_BOX_ROWS;
    while (s.batch < OWN_BOX_MOST_ROWS && s.batch < s.height &&
           (2 * s.batch * s.lineBytes < OWN_BATCH_BYTES || (s.yReach > OWN_LOW_REACH && s.batch < 2 * s.yReach)))
        s.batch *= 2;
    s.slots = 2 * s.yReach + s.batch;
    return s;
}

/* Takes parts of one block, each from the begin of a cache line on; at first only adds them up. */
struct OwnRoom {
    uint8_t* next;
    int64_t total;
    uint8_t* take(int64_t bytes)
    {
        uint8_t* part = next;
        bytes = ownRoundUp(bytes, 64);
        total += bytes;
        if (next) next += bytes;
        return part;
    }
};

static void ownShareRoom(OwnMorph& morph, OwnRoom& room)
{
    const OwnBoxShape& s = morph.shape;
    const int64_t columnBytes = s.bits() ? 0 : (s.height + 2 + 2 * (int64_t)s.yReach) * s.pixel();
    for (int i = 0; i < morph.nPasses; ++i) {
        OwnBoxPass& pass = morph.pass[i];
        const auto filled = [&](int64_t bytes) {
            uint8_t* part = room.take(bytes);
            return part ? (uint8_t*)memset(part, ownNeutralByte(pass), (size_t)bytes) : nullptr;
        };
        pass.down = filled((s.batch + 1) * (int64_t)s.downBytes);
        pass.across = filled((s.batch + 1) * (int64_t)s.downBytes);
        for (uint8_t*& end : pass.ends) end = filled(s.lineBytes);
        pass.ring = s.bits() ? filled(s.slots * (int64_t)s.lineBytes) : room.take(s.slots * (int64_t)s.lineBytes);
        pass.rows = (const uint8_t**)room.take((2 * (int64_t)s.yReach + s.batch) * (int64_t)sizeof(uint8_t*));
        for (int side = 0; side < 2 && i == 0; ++side) {
            pass.sides[side] = room.take(columnBytes);
            pass.sideDown[side] = room.take(2 * columnBytes);
        }
    }
    morph.out = room.take(s.batch * (int64_t)morph.outBytes);
}

static bool ownTakeRoom(OwnMorph& morph)
{
    const OwnBoxShape& s = morph.shape;
    const ptrdiff_t row = ((s.width * s.unit * s.sampleBits + 7) >> 3) + 1;
    morph.outBytes = s.bits() ? std::max(row, morph.lines.rowBytes) : row;
    OwnRoom room = {};
    ownShareRoom(morph, room);
    if (room.total > PTRDIFF_MAX) return false;
    morph.block = ownAlloc((size_t)room.total);
    if (!morph.block) return false;
    room = {(uint8_t*)morph.block, 0};
    ownShareRoom(morph, room);
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
