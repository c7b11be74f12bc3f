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
    ptrdiff_t pixel() const { return bits() ? 1 : bytes(unit); } /* bytes of a pixel at the side */
};

struct OwnBoxPass {
    const OwnBox* box;
    const OwnBox* sideBox;           /* for pixels at the sides, which are bytes of bits */
    OwnBoxPass* from;                /* the pass that makes the lines; null: they are read */
    int32_t filled;                  /* lines that have come so far; line y is in slot y % slots */
    uint8_t* ring;                   /* the lines */
    uint8_t* ends[2];                /* the line above the rectangle, and the one below it */
    uint8_t* down;                   /* a batch of extrema down; what is not of a line is the neutral sample */
    uint8_t* across;                 /* the same after some passes across */
    const uint8_t** rows;            /* the lines that a batch looks at */
    OwnStraight straight;            /* row 0 in the source; without data lines are in the ring */
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

/* Bits of a row, from bit `from` to the end of its byte or up to it: neutral but for the one next to the row. */
static void ownSealBits(uint8_t* row, ptrdiff_t at, bool isLeft, uint32_t bit, int neutral)
{
    const uint8_t place = (uint8_t)(0x80 >> (at & 7));
    const uint8_t mask = (uint8_t)(isLeft ? 0xFF << (7 - (at & 7)) : 0xFF >> (at & 7));
    row[at >> 3] = (uint8_t)((row[at >> 3] & ~mask) | (neutral & mask & ~place) | (bit ? place : 0));
}

/* The pixels at the sides of n rows of extrema down whose samples come straight from the source. */
static void ownSealRows(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n)
{
    uint8_t* row = pass.down;
    const ptrdiff_t pixel = shape.pixel(), left = shape.lead + pass.straight.bit - 1, right = left + shape.width + 1;
    const int neutral = ownNeutralByte(pass);
    for (int32_t i = 0; i < n; ++i, row += shape.downBytes) {
        const uint8_t *a = pass.sideDown[0] + (y + i) * pixel, *b = pass.sideDown[1] + (y + i) * pixel;
        if (shape.bits()) {
            ownSealBits(row, left, true, *a, neutral);
            ownSealBits(row, right, false, *b, neutral);
        } else {
            memcpy(row + shape.bytes(shape.lead), a, (size_t)pixel);
            memcpy(row + shape.bytes(shape.lead) + (shape.width + (ptrdiff_t)1) * pixel, b, (size_t)pixel);
        }
    }
}

/* The lines that a batch from row y on looks at: in the ring from pixel -1 on, in the source from pixel 0. */
static void ownLookAt(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y)
{
    const ptrdiff_t count = 2 * (ptrdiff_t)shape.yReach + shape.batch;
    const int64_t top = (int64_t)y - shape.yReach;
    if (!pass.straight.data) {
        for (ptrdiff_t i = 0; i < count; ++i) pass.rows[i] = ownLine(shape, pass, top + i);
        return;
    }
    const ptrdiff_t pixel = shape.pixel(); /* in the ends pixel -1 comes first, of bits in a byte of its own */
    for (ptrdiff_t i = 0; i < count; ++i)
        pass.rows[i] = top + i < 0               ? pass.ends[0] + pixel
                       : top + i >= shape.height ? pass.ends[1] + pixel
                                                 : pass.straight.data + (top + i) * pass.straight.widthStep;
}

/* A batch of extrema down, from row y on. Pixel 0 is the one behind the lead, that at the left comes before it; bits that
 * come straight from the source keep their place in a byte. */
static void ownMakeDown(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n)
{
    const ptrdiff_t side = 2 * (ptrdiff_t)shape.yReach + 1, pixel = shape.pixel();
    const ptrdiff_t line = (shape.width + (ptrdiff_t)2) * shape.unit;
    uint8_t* down = pass.down + shape.bytes(shape.lead);
    if (!pass.straight.data)
        return pass.box->down(down, shape.downBytes, pass.rows, side, shape.batch,
                              shape.bits() ? (line + 7) >> 3 : line);
    if (shape.bits())
        pass.box->down(down, shape.downBytes, pass.rows, side, shape.batch, (pass.straight.bit + shape.width + 7) >> 3);
    else pass.box->down(down + pixel, shape.downBytes, pass.rows, side, shape.batch, shape.width * shape.unit);
    ownSealRows(shape, pass, y, n);
}

/* Rows y to y + n - 1 where N is 1, in one step. False: not in this one. */
template <class Out>
static bool ownMakeThree(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n, Out out)
{
    if (shape.bits() || shape.xReach != 1 || shape.yReach != 1) return false;
    const ptrdiff_t pixel = shape.pixel();
    for (int32_t i = 0; i < n; i += 2) {
        const int nRows = std::min(n - i, 2);
        uint8_t* const to[2] = {out(i), out(i + nRows - 1)};
        OwnBoxEnds ends;
        for (int k = 0; k < 2 && pass.straight.data; ++k) {
            ends.left[k] = pass.sideDown[0] + (y + i + k + (ptrdiff_t)1) * pixel;
            ends.right[k] = pass.sideDown[1] + (y + i + k) * pixel;
        }
        if (!pass.box->three(to, pass.rows + i, nRows, shape.width * shape.unit, shape.unit,
                             pass.straight.data ? &ends : nullptr))
            return false;
    }
    return true;
}

/* Rows y to y + n - 1, at most a batch, each to its line of `out`; the first sample or bit written is that of pixel x. */
template <class Out>
static void ownMakeRows(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n, int32_t x, Out out)
{
    ownLookAt(shape, pass, y);
    if (ownMakeThree(shape, pass, y, n, out)) return;
    ownMakeDown(shape, pass, y, n);

    /* All passes but the last take the batch as one run. Near the end of a row their windows mix it with the next one;
     * the last pass looks at no such window. */
    const uint8_t* in = pass.down;
    const int last = shape.plan.count - 1;
    const ptrdiff_t run = n * shape.downBytes / (shape.bits() ? 1 : shape.sampleBits >> 3);
    for (int i = 0; i < last; ++i, in = pass.across) pass.box->across(pass.across, in, shape.plan.pass[i], run);

    const ptrdiff_t first = shape.bits() && pass.straight.data ? pass.straight.bit : shape.unit; /* pixel 0 */
    OwnReach reach = shape.plan.pass[last];
    for (int k = 0; k < reach.count; ++k) reach.at[k] += shape.lead + first + (x - shape.xReach) * shape.unit;
    const ptrdiff_t row = shape.bits() ? (shape.width - x + (ptrdiff_t)7) >> 3 : shape.width * shape.unit;
    for (int32_t i = 0; i < n; ++i) pass.box->across(out(i), in + i * shape.downBytes, reach, row);
}

/* ---- Lines that come --------------------------------------------------------------------------------------------- */

/* Gives line y, which the pass before has made, the source's pixels at both sides, and of bits the neutral ones behind. */
static void ownTakeSides(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y)
{
    const OwnBoxPass& from = *pass.from;
    uint8_t* line = ownLine(shape, pass, y);
    const uint8_t* source = from.straight.data ? nullptr : ownLine(shape, from, y);
    const ptrdiff_t end = (shape.width + (ptrdiff_t)1) * shape.unit, pixel = shape.pixel();
    const uint8_t *a = from.sides[0] + y * pixel, *b = from.sides[1] + y * pixel;
    if (!shape.bits()) {
        memcpy(line, source ? source : a, (size_t)pixel);
        memcpy(line + shape.bytes(end), source ? source + shape.bytes(end) : b, (size_t)pixel);
        return;
    }
    ownSealBits(line, 0, true, source ? source[0] >> 7 : *a, 0);
    ownSealBits(line, end, false, source ? source[end >> 3] >> (7 - (end & 7)) & 1 : *b, ownNeutralByte(pass));
}

/* Lines up to `need`. */
static void ownFill(const OwnMorph& morph, OwnBoxPass& pass, int32_t plane, int32_t need)
{
    const OwnBoxShape& shape = morph.shape;
    while (!pass.straight.data && pass.filled < need) {
        const int32_t y = pass.filled;
        int32_t n = std::min(shape.batch, need - y);
        if (!pass.from) {
            n = std::min(need - y, shape.slots - y % shape.slots);
            ownReadLines(morph.lines, plane, y, n, ownLine(shape, pass, y), shape.lineBytes);
        } else {
            ownFill(morph, *pass.from, plane, (int32_t)std::min<int64_t>(shape.height, (int64_t)y + n + shape.yReach));
            const ptrdiff_t first = shape.bits() ? 0 : shape.pixel(); /* a line of bits is made from pixel -1 on */
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
    const ptrdiff_t n = (shape.height + 2 + (ptrdiff_t)2 * shape.yReach) * shape.unit;
    memset(pass.sideDown[side], ownNeutralByte(pass), (size_t)(2 * n * (pixel / shape.unit)));
    memcpy(column + pixel, pass.sides[side], (size_t)(shape.height * pixel));
    if (shape.bits()) {
        const ptrdiff_t at = pass.straight.bit + 7 + (side ? shape.width + (ptrdiff_t)1 : 0);
        for (int i = 0; i < 2; ++i) column[i ? end : 0] = pass.ends[i][at >> 3] >> (7 - (at & 7)) & 1;
    } else {
        const ptrdiff_t at = side ? (shape.width + (ptrdiff_t)1) * pixel : 0;
        memcpy(column, pass.ends[0] + at, (size_t)pixel);
        memcpy(column + end, pass.ends[1] + at, (size_t)pixel);
    }

    const OwnBoxPlan plan = ownBoxPlan(2 * (int64_t)shape.yReach + 1, shape.unit, false);
    for (int i = 0; i < plan.count; ++i) {
        OwnReach reach = plan.pass[i];
        if (i == plan.count - 1)
            for (int k = 0; k < reach.count; ++k) reach.at[k] += shape.unit; /* the window of row 0 begins at -yReach */
        pass.sideBox->across(pass.sideDown[side], pass.sideDown[side], reach,
                             i < plan.count - 1 ? n : shape.height * shape.unit);
    }
}

static void ownStartPlane(OwnMorph& morph, int32_t plane)
{
    const OwnBoxShape& shape = morph.shape;
    for (int i = 0; i < morph.nPasses; ++i) {
        OwnBoxPass& pass = morph.pass[i];
        pass.filled = 0;
        if (i == 0) pass.straight = ownStraightLines(morph.lines, plane);
        const int32_t at = shape.bits() && pass.straight.data ? pass.straight.bit + 7 : 0;
        for (int end = 0; end < 2; ++end) ownReadEndLine(morph.lines, plane, end, pass.ends[end], at);
    }
    OwnBoxPass& pass = morph.pass[0];
    for (int side = 0; pass.straight.data && side < 2; ++side) {
        ownReadSideColumn(morph.lines, plane, side, pass.sides[side]);
        ownMakeSideDown(morph, pass, side);
    }
}

/* Rows of bits are made whole bytes at a time; the bits around them are put back. */
static void ownMakeBitRows(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n,
                           const OwnStraight& to)
{
    const ptrdiff_t last = (to.bit + shape.width - 1) >> 3;
    const uint8_t head = (uint8_t)(0xFF >> to.bit), tail = (uint8_t)(0xFF << (7 - ((to.bit + shape.width - 1) & 7)));
    uint8_t* out = to.data + y * to.widthStep;
    uint8_t kept[OWN_BOX_MOST_ROWS][2];
    for (int32_t i = 0; i < n; ++i) {
        kept[i][0] = out[i * to.widthStep];
        kept[i][1] = out[i * to.widthStep + last];
    }
    ownMakeRows(shape, pass, y, n, -to.bit, [&](int32_t i) { return out + i * to.widthStep; });
    for (int32_t i = 0; i < n; ++i) {
        uint8_t &first = out[i * to.widthStep], &end = out[i * to.widthStep + last];
        first = (uint8_t)((first & head) | (kept[i][0] & ~head));
        end = (uint8_t)((end & tail) | (kept[i][1] & ~tail));
    }
}

static void ownMorphPlane(OwnMorph& morph, int32_t plane)
{
    const OwnBoxShape& shape = morph.shape;
    ownStartPlane(morph, plane);
    OwnBoxPass& pass = morph.pass[morph.nPasses - 1];
    const OwnStraight to = ownStraightRows(morph.lines, plane);
    for (int32_t y = 0, n; y < shape.height; y += n) {
        n = std::min(shape.batch, shape.height - y);
        ownFill(morph, pass, plane, (int32_t)std::min<int64_t>(shape.height, (int64_t)y + n + shape.yReach));
        if (to.data && shape.bits()) ownMakeBitRows(shape, pass, y, n, to);
        else {
            uint8_t* out = to.data ? to.data + y * to.widthStep : morph.out;
            const ptrdiff_t step = to.data ? to.widthStep : morph.outBytes;
            ownMakeRows(shape, pass, y, n, 0, [&](int32_t i) { return out + i * step; });
            if (!to.data) ownWriteRows(morph.lines, plane, y, n, out, step);
        }
    }
}

/* ---- Room ---------------------------------------------------------------------------------------------------- */

enum { OWN_LOW_REACH = 12, OWN_BATCH_BYTES = 8192, OWN_SIDE_SPARE = 64 };

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
    s.lead = s.bits() ? ownRoundUp(s.xReach + 8, 512)
                      : ownRoundUp((s.xReach + (int64_t)1) * s.unit, 64) - s.unit; /* pixel 0 begins a cache line */
    const ptrdiff_t line = (s.width + (ptrdiff_t)2) * s.unit, all = s.lead + line + 7 + s.xReach * s.unit;
    s.lineBytes = ownRoundUp(((line * s.sampleBits + 7) >> 3) + 2, 64);
    s.downBytes = ownRoundUp(((all * s.sampleBits + 7) >> 3) + OWN_BITS_SPARE, 64);
    s.plan = ownBoxPlan(2 * (int64_t)s.xReach + 1, s.unit, s.bits());

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
    const int64_t columnBytes = (s.height + 2 + 2 * (int64_t)s.yReach) * s.pixel();
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
            room.take(OWN_SIDE_SPARE);
            pass.sideDown[side] = room.take(2 * columnBytes + OWN_SIDE_SPARE);
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
    morph.pass[0].sideBox = slot == OWN_1U ? first + OWN_8U : first + slot;
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
