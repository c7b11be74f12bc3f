/* ownboxrun: the extremum of a box around every pixel of a rectangle; or that of such extrema, in two passes.
 *
 * Of the pixels around the rectangle as many are seen as the caller says; a window is cut there. What lies outside the
 * rectangle enters the second pass as the source has it.
 *
 * A pass makes a batch of rows at a time: down its lines, then across. Lines that lie whole in the source are read there;
 * the others come into a ring, of as many as windows are high. Two passes are a chain: the lines of the second one are
 * the rows of the first. */
#include "ownbox.h"

/* ---- A pass ---------------------------------------------------------------------------------------------------- */

/* The measures of a plane, counted in samples, of 1-bit images in bits. */
struct OwnBoxShape {
    int32_t width, height; /* of the rectangle */
    OwnMargins seen;       /* pixels around it, which lines have too */
    OwnMargins reach;      /* of the box from its pixel, as far as there are pixels to be seen */
    int32_t batch;         /* rows made at a time */
    int32_t slots;         /* lines in the ring */
    int sampleBits;
    ptrdiff_t unit; /* of a pixel */
    ptrdiff_t lead; /* in front of the line in a row of extrema, so that windows can reach there */
    ptrdiff_t lineBytes, downBytes;
    OwnBoxPlan plan;

    bool bits() const { return sampleBits == 1; }
    ptrdiff_t bytes(ptrdiff_t n) const { return bits() ? n >> 3 : n * (sampleBits >> 3); }
    ptrdiff_t line() const { return (seen.left + (ptrdiff_t)width + seen.right) * unit; }
    int64_t high() const { return (int64_t)reach.top + reach.bottom + 1; }
    int64_t wide() const { return (int64_t)reach.left + reach.right + 1; }
};

struct OwnBoxPass {
    const OwnBox* box;
    OwnBoxPass* from;     /* the pass that makes the lines; null: they are read */
    int32_t filled;       /* lines that have come so far; line y is in slot y % slots */
    uint8_t* ring;        /* the lines */
    uint8_t* ends[2];     /* those above the rectangle, and those below it */
    uint8_t* down;        /* a batch of extrema down; what is not of a line is the neutral sample */
    uint8_t* across;      /* the same after some passes across */
    const uint8_t** rows; /* the lines that a batch looks at */
    OwnStraight straight; /* the source's rows */
    uint8_t* beside[2];   /* with it: the pixels at the sides that no row holds */
    bool isStraight;      /* the batch is made of them */
};

/* An operation at work on one image. */
struct OwnBoxWork {
    OwnLines lines;
    OwnBoxShape shape;
    int nPasses;
    OwnBoxPass pass[2];
    uint8_t* out; /* a batch of rows that can't be written straight away */
    ptrdiff_t outBytes;
    void* block;
};

/* The extremum of nothing. */
static void ownFillNeutral(const OwnBoxShape& shape, const OwnBoxPass& pass, uint8_t* out, int64_t bytes)
{
    int64_t done = std::min<int64_t>(bytes, std::max(shape.sampleBits >> 3, 1));
    memcpy(out, pass.box->neutral, (size_t)done);
    for (int64_t n; done < bytes; done += n) {
        n = std::min(done, bytes - done);
        memcpy(out + done, out, (size_t)n);
    }
}

static uint8_t* ownLine(const OwnBoxShape& shape, const OwnBoxPass& pass, int64_t y)
{
    if (y < 0) return pass.ends[0] + (y + shape.seen.top) * shape.lineBytes;
    if (y >= shape.height) return pass.ends[1] + (y - shape.height) * shape.lineBytes;
    return pass.ring + y % shape.slots * shape.lineBytes;
}

/* How many rows the pass makes from row y on, at most n: all of them from the source's rows, or none. */
static int32_t ownBatch(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t y, int32_t n)
{
    const int32_t end = shape.height - shape.reach.bottom;
    n = std::min(n, shape.batch);
    if (!pass.straight.rows.data) return n;
    return y < shape.reach.top ? std::min(n, shape.reach.top - y) : y < end ? std::min(n, end - y) : n;
}

/* The lines that rows y to y + n - 1 look at, those of the source from the first pixel on that a row holds. The kernels
 * make some rows more, of no matter which lines. */
static void ownLookAt(const OwnBoxShape& shape, OwnBoxPass& pass, int32_t y, int32_t n)
{
    const int64_t first = -(int64_t)shape.seen.top, last = (int64_t)shape.height - 1 + shape.seen.bottom;
    const int64_t top = (int64_t)y - shape.reach.top, bottom = (int64_t)y + n - 1 + shape.reach.bottom;
    pass.isStraight = pass.straight.rows.data && top >= 0 && bottom < shape.height;
    for (int64_t i = 0; i < shape.high() + shape.batch - 1; ++i) {
        const int64_t at = std::min(top + i, bottom);
        pass.rows[i] = pass.isStraight ? pass.straight.rows.row(at)
                                       : ownLine(shape, pass, std::max(first, std::min(at, last)));
    }
}

/* ---- Down ------------------------------------------------------------------------------------------------------- */

/* Bits of a row, from bit `at` to the end of its byte or up to it: neutral but for that one. */
static void ownSealBits(uint8_t* row, ptrdiff_t at, bool isLeft, int bit, int neutral)
{
    const uint8_t place = (uint8_t)(0x80 >> (at & 7));
    const uint8_t mask = (uint8_t)(isLeft ? 0xFF << (7 - (at & 7)) : 0xFF >> (at & 7));
    row[at >> 3] = (uint8_t)((row[at >> 3] & ~mask) | (neutral & mask & ~place) | (bit & 1 ? place : 0));
}

/* Where pixel 0 is in a row of extrema down. Bits that come straight from the source keep their place in a byte. */
static ptrdiff_t ownPixel0(const OwnBoxShape& shape, const OwnBoxPass& pass)
{
    if (shape.bits() && pass.isStraight) return shape.lead + pass.straight.rows.bit + pass.straight.left;
    return shape.lead + shape.seen.left * shape.unit;
}

/* The pixels at a side that the source's rows don't hold: each is another one of its row, in extrema too. */
static void ownSealSide(const OwnBoxShape& shape, const OwnBoxPass& pass, int side, int32_t n)
{
    const OwnStraight& s = pass.straight;
    const OwnBeside from = s.beside[side];
    const bool isMissing = side ? s.right < shape.seen.right : s.left < shape.seen.left;
    const ptrdiff_t pixel0 = ownPixel0(shape, pass), source = pixel0 + (ptrdiff_t)from.column * shape.unit;
    const ptrdiff_t at = pixel0 + (side ? shape.width + s.right : -s.left - 1) * shape.unit;
    uint8_t* row = pass.down;
    if (shape.bits()) {
        const int neutral = *pass.box->neutral, value = isMissing ? (int)from.value : neutral;
        const bool isInside = isMissing && from.inside;
        for (int32_t i = 0; i < n; ++i, row += shape.downBytes)
            ownSealBits(row, at, side == 0, isInside ? row[source >> 3] >> (7 - (source & 7)) : value, neutral);
    } else if (isMissing) {
        const ptrdiff_t to = shape.bytes(at), in = shape.bytes(source), pixel = shape.bytes(shape.unit);
        for (int32_t i = 0; i < n; ++i, row += shape.downBytes)
            memcpy(row + to, from.inside ? row + in : pass.beside[side], (size_t)pixel);
    }
}

/* Extrema down, of a batch of which n rows are wanted. */
static void ownMakeDown(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t n)
{
    const OwnStraight& s = pass.straight;
    ptrdiff_t first = shape.lead, count = shape.line();
    if (pass.isStraight) {
        count = (s.left + (ptrdiff_t)shape.width + s.right) * shape.unit + (shape.bits() ? s.rows.bit : 0);
        if (!shape.bits()) first += (shape.seen.left - s.left) * shape.unit;
    }
    const ptrdiff_t nRows = (n + OWN_BOX_ROWS - 1) / OWN_BOX_ROWS * OWN_BOX_ROWS;
    pass.box->down(pass.down + shape.bytes(first), shape.downBytes, pass.rows, (ptrdiff_t)shape.high(), nRows,
                   shape.bits() ? (count + 7) >> 3 : count);
    for (int side = 0; side < 2 && pass.isStraight; ++side) ownSealSide(shape, pass, side, n);
}

/* ---- Rows ------------------------------------------------------------------------------------------------------- */

/* Rows of boxes of 3 x 3 in one step. False: not these. */
template <class Out> static bool ownMakeThree(const OwnBoxShape& shape, const OwnBoxPass& pass, int32_t n, Out out)
{
    const OwnMargins &r = shape.reach, &seen = shape.seen;
    if (shape.bits() || r.left != 1 || r.right != 1 || r.top != 1 || r.bottom != 1) return false;
    if (seen.left != 1 || seen.right != 1) return false;

    const OwnStraight& s = pass.straight;
    const ptrdiff_t pixel = shape.bytes(shape.unit);
    OwnBoxEnds ends = {s.left * pixel, {0, (s.left + (ptrdiff_t)shape.width) * pixel}, {}};
    const bool areMissing = pass.isStraight && s.left + s.right < 2;
    for (int side = 0; side < 2 && areMissing; ++side) {
        if (side ? s.right : s.left) continue;
        ends.at[side] = (s.left + (ptrdiff_t)s.beside[side].column) * pixel;
        if (!s.beside[side].inside) ends.value[side] = pass.beside[side];
    }
    for (int32_t i = 0; i < n; i += 2) {
        const int nRows = std::min(n - i, 2);
        uint8_t* const to[2] = {out(i), out(i + nRows - 1)};
        if (!pass.box->three(to, pass.rows + i, nRows, shape.width * shape.unit, shape.unit,
                             areMissing ? &ends : nullptr))
            return false;
    }
    return true;
}

/* Rows y to y + n - 1, at most a batch, each to its line of `out`; the first sample or bit written is that of pixel x. */
template <class Out>
static void ownMakeRows(const OwnBoxShape& shape, OwnBoxPass& pass, int32_t y, int32_t n, int32_t x, Out out)
{
    const bool wasStraight = pass.isStraight;
    ownLookAt(shape, pass, y, n);
    if (ownMakeThree(shape, pass, n, out)) return;
    if (shape.bits() && wasStraight != pass.isStraight) { /* bits have another place then */
        ownFillNeutral(shape, pass, pass.down, (shape.batch + 1) * (int64_t)shape.downBytes);
    }
    ownMakeDown(shape, pass, n);

    /* All passes but the last take the batch as one run. Near the end of a row their windows mix it with the next one;
     * the last pass looks at no such window. */
    const uint8_t* in = pass.down;
    const int last = shape.plan.count - 1;
    const ptrdiff_t run = n * shape.downBytes / (shape.bits() ? 1 : shape.sampleBits >> 3);
    for (int i = 0; i < last; ++i, in = pass.across) pass.box->across(pass.across, in, shape.plan.pass[i], run);

    OwnReach reach = shape.plan.pass[last];
    for (int k = 0; k < reach.count; ++k) reach.at[k] += ownPixel0(shape, pass) + (x - shape.reach.left) * shape.unit;
    const ptrdiff_t row = shape.bits() ? (shape.width - x + (ptrdiff_t)7) >> 3 : shape.width * shape.unit;
    for (int32_t i = 0; i < n; ++i) pass.box->across(out(i), in + i * shape.downBytes, reach, row);
}

/* ---- Lines that come --------------------------------------------------------------------------------------------- */

static void ownFill(const OwnBoxWork& work, OwnBoxPass& pass, int32_t plane, int32_t y, int32_t n);

/* Lines y to y + n - 1 from the pass before, with the source's pixels at their sides, and the bits behind neutral. */
static void ownTakeRows(const OwnBoxWork& work, OwnBoxPass& pass, int32_t plane, int32_t y, int32_t n)
{
    const OwnBoxShape& shape = work.shape;
    ownFill(work, *pass.from, plane, y, n);
    const ptrdiff_t first = shape.bits() ? 0 : shape.bytes(shape.seen.left * shape.unit);
    ownMakeRows(shape, *pass.from, y, n, shape.bits() ? -shape.seen.left : 0,
                [&](int32_t i) { return ownLine(shape, pass, y + i) + first; });
    for (int32_t i = 0, count; i < n; i += count) {
        count = std::min(n - i, shape.slots - (y + i) % shape.slots);
        ownReadSides(work.lines, plane, y + i, count, ownLine(shape, pass, y + i), shape.lineBytes);
    }
    const ptrdiff_t end = shape.line();
    for (int32_t i = 0; i < n && shape.bits() && (end & 7); ++i) {
        uint8_t& byte = ownLine(shape, pass, y + i)[end >> 3];
        byte = (uint8_t)((byte & ~(0xFF >> (end & 7))) | (*pass.box->neutral & 0xFF >> (end & 7)));
    }
}

/* The lines that rows y to y + n - 1 look at. */
static void ownFill(const OwnBoxWork& work, OwnBoxPass& pass, int32_t plane, int32_t y, int32_t n)
{
    const OwnBoxShape& shape = work.shape;
    const int64_t top = (int64_t)y - shape.reach.top;
    const int64_t end = std::min<int64_t>(shape.height, (int64_t)y + n + shape.reach.bottom);
    if (pass.straight.rows.data && top >= 0 && (int64_t)y + n + shape.reach.bottom <= shape.height) return;
    pass.filled = (int32_t)std::max<int64_t>(pass.filled, top);
    for (int32_t count; pass.filled < end; pass.filled += count) {
        const int32_t from = pass.filled, most = (int32_t)(end - from);
        count = pass.from ? ownBatch(shape, *pass.from, from, most) : std::min(most, shape.slots - from % shape.slots);
        if (pass.from) ownTakeRows(work, pass, plane, from, count);
        else ownReadLines(work.lines, plane, from, count, ownLine(shape, pass, from), shape.lineBytes);
    }
}

static void ownStartPlane(OwnBoxWork& work, int32_t plane)
{
    const OwnBoxShape& shape = work.shape;
    const int size = shape.sampleBits >> 3;
    for (int i = 0; i < work.nPasses; ++i) {
        OwnBoxPass& pass = work.pass[i];
        pass.filled = 0;
        if (i == 0) pass.straight = ownStraightLines(work.lines, plane);
        for (int end = 0; end < 2; ++end) {
            ownReadEndLines(work.lines, plane, end, pass.ends[end], shape.lineBytes);
            const uint32_t value = pass.straight.beside[end].value;
            for (ptrdiff_t k = 0; k < shape.unit && size; ++k) {
                const uint16_t half = (uint16_t)value;
                const uint8_t byte = (uint8_t)value;
                memcpy(pass.beside[end] + k * size,
                       size == 1   ? (const void*)&byte
                       : size == 2 ? &half
                                   : (const void*)&value,
                       (size_t)size);
            }
        }
    }
}

/* ---- Planes ------------------------------------------------------------------------------------------------------ */

/* Rows of bits are made whole bytes at a time; the bits around them are put back. */
static void ownMakeBitRows(const OwnBoxShape& shape, OwnBoxPass& pass, int32_t y, int32_t n, const OwnRowsAt& to)
{
    const ptrdiff_t last = (to.bit + shape.width - 1) >> 3;
    const uint8_t head = (uint8_t)(0xFF >> to.bit), tail = (uint8_t)(0xFF << (7 - ((to.bit + shape.width - 1) & 7)));
    uint8_t kept[OWN_BOX_MOST_ROWS][2];
    for (int32_t i = 0; i < n; ++i) {
        kept[i][0] = to.row(y + i)[0];
        kept[i][1] = to.row(y + i)[last];
    }
    ownMakeRows(shape, pass, y, n, -to.bit, [&](int32_t i) { return to.row(y + i); });
    for (int32_t i = 0; i < n; ++i) {
        uint8_t &first = to.row(y + i)[0], &end = to.row(y + i)[last];
        first = (uint8_t)((first & head) | (kept[i][0] & ~head));
        end = (uint8_t)((end & tail) | (kept[i][1] & ~tail));
    }
}

static void ownBoxPlane(OwnBoxWork& work, int32_t plane)
{
    const OwnBoxShape& shape = work.shape;
    ownStartPlane(work, plane);
    OwnBoxPass& pass = work.pass[work.nPasses - 1];
    const OwnRowsAt to = ownStraightRows(work.lines, plane), kept = {work.out, work.outBytes, 0};
    for (int32_t y = 0, n; y < shape.height; y += n) {
        n = ownBatch(shape, pass, y, shape.height - y);
        ownFill(work, pass, plane, y, n);
        if (to.data && shape.bits()) ownMakeBitRows(shape, pass, y, n, to);
        else ownMakeRows(shape, pass, y, n, 0, [&](int32_t i) { return to.data ? to.row(y + i) : kept.row(i); });
        if (!to.data) ownWriteRows(work.lines, plane, y, n, kept.data, kept.step);
    }
}

/* ---- Room ---------------------------------------------------------------------------------------------------- */

enum { OWN_LOW_BOX = 25, OWN_BATCH_BYTES = 8192 };

static int64_t ownRoundUp(int64_t n, int64_t unit) { return (n + unit - 1) / unit * unit; }

static OwnBoxShape ownMakeShape(const OwnLines& lines, const OwnMargins& window, const OwnBox& box)
{
    OwnBoxShape s = {};
    const OwnMargins& m = s.seen = lines.margins;
    s.width = lines.width;
    s.height = lines.height;
    const auto reach = [](int32_t far, int32_t size, int32_t margin) {
        return (int32_t)std::min<int64_t>(far, (int64_t)size - 1 + margin);
    };
    s.reach = {reach(window.left, s.width, m.left), reach(window.right, s.width, m.right),
               reach(window.top, s.height, m.top), reach(window.bottom, s.height, m.bottom)};
    s.unit = lines.step;
    s.sampleBits = lines.sampleBits;

    /* Pixel 0 begins a cache line. */
    s.lead = s.bits() ? ownRoundUp(s.reach.left + (int64_t)8, 512)
                      : ownRoundUp(s.reach.left * (int64_t)s.unit, 64) + OWN_BOX_BEFORE - m.left * s.unit;
    const int64_t all = s.lead + s.line() + 7 + s.reach.right * (int64_t)s.unit;
    s.lineBytes = (ptrdiff_t)ownRoundUp(((s.line() * s.sampleBits + 7) >> 3) + 2, 64);
    s.downBytes = (ptrdiff_t)ownRoundUp(((all * s.sampleBits + 7) >> 3) + OWN_BITS_SPARE, 64);
    s.plan = ownBoxPlan(s.wide(), s.unit, box.mostSpan(s.unit), s.bits());

    /* More rows at a time where lines are short, and where the box is high. */
    s.batch = OWN_BOX_ROWS;
    while (s.batch < OWN_BOX_MOST_ROWS && s.batch < s.height &&
           (2 * s.batch * s.lineBytes < OWN_BATCH_BYTES || (s.high() > OWN_LOW_BOX && s.batch < s.high() - 1)))
        s.batch *= 2;
    s.slots = (int32_t)s.high() - 1 + s.batch;
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

static void ownShareRoom(OwnBoxWork& work, OwnRoom& room)
{
    const OwnBoxShape& s = work.shape;
    for (int i = 0; i < work.nPasses; ++i) {
        OwnBoxPass& pass = work.pass[i];
        const auto filled = [&](int64_t bytes) {
            uint8_t* part = room.take(bytes);
            if (part) ownFillNeutral(s, pass, part, bytes);
            return part;
        };
        room.take(OWN_BOX_BEFORE);
        pass.down = filled((s.batch + 1) * (int64_t)s.downBytes);
        pass.across = s.plan.count > 1 ? filled((s.batch + 1) * (int64_t)s.downBytes) : nullptr;
        pass.ends[0] = filled(s.seen.top * (int64_t)s.lineBytes);
        pass.ends[1] = filled(s.seen.bottom * (int64_t)s.lineBytes);
        pass.ring = s.bits() ? filled(s.slots * (int64_t)s.lineBytes) : room.take(s.slots * (int64_t)s.lineBytes);
        pass.rows = (const uint8_t**)room.take((s.high() + s.batch) * (int64_t)sizeof(uint8_t*));
        for (uint8_t*& pixel : pass.beside) pixel = room.take(s.bytes(s.unit));
    }
    work.out = room.take(s.batch * (int64_t)work.outBytes);
}

static bool ownTakeRoom(OwnBoxWork& work)
{
    const OwnBoxShape& s = work.shape;
    const ptrdiff_t row = ((s.width * s.unit * s.sampleBits + 7) >> 3) + 1;
    work.outBytes = s.bits() ? std::max(row, work.lines.rowBytes) : row;
    OwnRoom room = {};
    ownShareRoom(work, room);
    if (room.total > PTRDIFF_MAX) return false;
    work.block = ownAlloc((size_t)room.total);
    if (!work.block) return false;
    room = {(uint8_t*)work.block, 0};
    ownShareRoom(work, room);
    return true;
}

/* ---- The call ---------------------------------------------------------------------------------------------------- */

OwnOpened ownRunBoxes(const OwnFace& face, const OwnBoxes& boxes)
{
    OwnBoxWork work = {};
    const OwnOpened opened = ownOpenLines(&work.lines, boxes.srcImage, boxes.dstImage, boxes.seen);
    if (opened != OWN_OPENED) return opened;
    const int slot = ownSlot(boxes.srcImage->depth);
    work.shape = ownMakeShape(work.lines, boxes.reach, boxes.box[0][slot]);
    work.nPasses = boxes.box[1] ? 2 : 1;
    for (int i = 0; i < work.nPasses; ++i) work.pass[i].box = boxes.box[i] + slot;
    work.pass[1].from = &work.pass[0];
    if (!ownTakeRoom(work)) {
        ownDropLines(&work.lines);
        return OWN_OPENED_NO_MEMORY;
    }
    for (int32_t plane = 0; plane < work.lines.nPlanes; ++plane) ownBoxPlane(work, plane);
    ownFree(work.block);
    ownCloseLines(face, &work.lines, boxes.missing, boxes.missingStatus);
    return OWN_OPENED;
}
