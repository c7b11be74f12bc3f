/* owndecim: super-sampling. Each destination pixel is the mean of the box of source samples that it covers, samples at the
 * box's edges counting by the part that lies in it; boxes at the region's end are cut there. */
#include "owncell.h"
#include "ownresample.h"
#include "ownsimd.h"

#include <numeric>

/* ---- Boxes --------------------------------------------------------------------------------------------------- */

/* One axis of a run over a part. */
struct OwnCellAxis {
    int64_t step;
    int32_t size;   /* samples of the region */
    int32_t unit;   /* of weights, in 1/256 */
    int32_t jFirst; /* the part's first output */
    int32_t low;    /* the window's first sample in the region */

    OwnCellAxis(int64_t boxStep, int32_t nSamples)
        : step(boxStep), size(nSamples), unit((int32_t)std::gcd(boxStep, (int64_t)256)), jFirst(0), low(0)
    {
    }
    int64_t mostTotal() const { return std::min(step, (int64_t)size * 256) / unit; }
    bool isWhole() const { return step % 256 == 0; }
    int32_t side() const { return (int32_t)(step >> 8); }

    /* The box of output j of the part. */
    OwnCell at(int32_t j) const
    {
        const int64_t start = ((int64_t)jFirst + j) * step, end = std::min(start + step, (int64_t)size * 256);
        OwnCell box;
        box.first = (int32_t)(start >> 8);
        box.last = (int32_t)((end - 1) >> 8);
        box.firstWeight = (int32_t)(std::min(end, ((int64_t)box.first + 1) * 256) - start) / unit;
        box.lastWeight = box.first == box.last ? 0 : (int32_t)(end - (int64_t)box.last * 256) / unit;
        box.one = 256 / unit;
        box.total = (end - start) / unit;
        return box;
    }
    bool isCut(int32_t j) const { return at(j).total * unit != step; }
};

/* ---- A sample and a half in a row, three in a column at most ------------------------------------------------- */

/* Taps for the columns whose box is whole. */
struct OwnSmallCells {
    OwnRowPlan plan;
    int32_t nColumns; /* the columns that the plan serves */
};

/* Boxes of 1.5 samples lie on two; others may lie on three. Sums and their means are exact in 32 bits. */
static bool ownAreSmall(const OwnCellAxis& x, const OwnCellAxis& y, int sampleBits)
{
    if (x.step != 384 || y.step > 3 * 256 || sampleBits == 1) return false;
    return x.step / x.unit * (y.step / y.unit) <= (sampleBits == 8 ? 3 * 127 : 30);
}

/* False without memory. */
static bool ownPlanSmall(OwnSmallCells* small, const OwnPartRun& run, const OwnCellAxis& x)
{
    small->nColumns = run.width - x.isCut(run.width - 1);
    if (small->nColumns == 0) return true;
    OwnAxisTap* taps = (OwnAxisTap*)ownAlloc((size_t)small->nColumns * sizeof(OwnAxisTap));
    if (!taps) return false;
    for (int32_t j = 0; j < small->nColumns; ++j) {
        const OwnCell box = x.at(j);
        taps[j] = {box.first, box.last, box.lastWeight, 0};
    }
    OwnRowShape shape = ownShapeOf(run);
    shape.nColumns = small->nColumns;
    shape.one = (int)(x.step / x.unit);
    const bool done = ownMakeRowPlan(&small->plan, OWN_BLEND_SUPER, taps, shape);
    ownFree(taps);
    return done;
}

/* One row of the destination; rows across are kept in `held`, four of them. */
struct OwnHeldRows {
    uint8_t* rows;
    ptrdiff_t rowBytes;
    int32_t held[4];
};

static void ownSmallRow(uint8_t* out, const OwnSmallCells& small, OwnHeldRows* held, const uint8_t* data,
                        ptrdiff_t rowStep, const OwnCell& box, int32_t low)
{
    const void* rows[4];
    int32_t weights[4] = {};
    for (int k = 0; k < 4; ++k) {
        const int32_t y = std::min(box.first + k, box.last), slot = y & 3;
        uint8_t* row = held->rows + slot * held->rowBytes;
        if (held->held[slot] != y) ownRowAcross(row, data + (y - low) * rowStep, small.plan);
        held->held[slot] = y;
        rows[k] = row;
        if (box.first + k <= box.last) weights[k] = box.weight(y);
    }
    ownRowMean(out, rows, weights, (int32_t)box.total * small.plan.one, small.plan);
}

/* ---- One part ------------------------------------------------------------------------------------------------ */

/* What a part's rows are made with. */
struct OwnSuperPart {
    const OwnPartRun* run;
    const OwnCellAxis *x, *y;
    const OwnCellKernels* kernels;
    OwnSmallCells small; /* nColumns 0: not used */
    OwnHeldRows held;
    OwnCellRow row;
    OwnCell* boxes; /* of all columns, from the window's first sample on */
    void* sums;
    ptrdiff_t nSums;
    int32_t nSquares; /* columns of whole boxes of whole samples */
    uint8_t* aside;
};

/* Kernels whose sums don't overflow, and whether they take the boxes of a row together. */
static void ownChooseCells(OwnSuperPart* part)
{
    const int bits = part->run->window->view.sampleBits;
    const int64_t most = ((int64_t)1 << bits) - 1, column = most * part->y->mostTotal();
    const OwnCellKernels* kernels = ownCellKernels[bits >> 3];
    part->kernels = bits < 16 && column < 1 << 16 ? &kernels[0] : column < (int64_t)1 << 32 ? &kernels[1] : &kernels[2];
    if (!part->x->isWhole()) return;
    const auto serves = [&](const OwnCellKernels& k) {
        return column < (int64_t)1 << 31 && column * part->x->side() < k.squareLimit;
    };
    if (part->kernels == &kernels[0] && !serves(kernels[0]) && serves(kernels[1])) part->kernels = &kernels[1];
    if (serves(*part->kernels)) part->nSquares = part->run->width - part->x->isCut(part->run->width - 1);
}

/* One row of the destination's plane, or of all interleaved channels. */
static void ownSuperRow(OwnSuperPart& part, uint8_t* out, const uint8_t* data, int32_t j)
{
    const OwnPartRun& run = *part.run;
    const ptrdiff_t rowStep = run.window->view.rowStep, sampleBits = run.window->view.sampleBits;
    const OwnCell box = part.y->at(j);
    if (part.small.nColumns) ownSmallRow(out, part.small, &part.held, data, rowStep, box, part.y->low);
    if (part.small.nColumns == run.width) return;
    /* all columns, or the last one alone */
    const ptrdiff_t from = part.small.nColumns ? part.boxes[part.small.nColumns].first * part.row.pixelStep : 0;
    part.kernels->sumRows((uint8_t*)part.sums + from * part.kernels->sumBytes,
                          data + (box.first - part.y->low) * rowStep + from * (sampleBits >> 3), rowStep, box,
                          part.nSums - from);
    part.row.rowsTotal = box.total;
    if (part.nSquares) part.kernels->meanSquares(out, part.row, part.x->side(), part.nSquares);
    part.kernels->meanBoxes(out, part.row, std::max(part.nSquares, part.small.nColumns), run.width);
}

/* Lays the part's scratch out in one block; its size when there is none yet. */
static size_t ownLayOut(OwnSuperPart* part, uint8_t* block)
{
    const OwnPartRun& run = *part->run;
    const size_t width = (size_t)run.width;
    const size_t sumBytes = ((size_t)part->nSums + OWN_CELL_SPARE +
                             (size_t)(part->nSquares ? part->x->side() : 0) * (size_t)part->row.pixelStep) *
                            (size_t)part->kernels->sumBytes;
    part->held.rowBytes = part->small.nColumns ? ownLaneRowBytes(part->small.plan) : 0;
    size_t at = 0;
    const auto take = [&](size_t bytes) {
        uint8_t* p = block ? block + at : nullptr;
        at += (bytes + 63) & ~(size_t)63;
        return p;
    };
    part->boxes = (OwnCell*)take(width * sizeof(OwnCell));
    part->sums = take(sumBytes);
    part->row.windows = take(part->nSquares ? sumBytes : 0);
    part->row.picked = take(part->nSquares ? sumBytes : 0);
    part->held.rowBytes = (part->held.rowBytes + 63) & ~(ptrdiff_t)63;
    part->held.rows = take(4 * (size_t)part->held.rowBytes);
    part->aside = take(width * (size_t)part->row.count * (size_t)part->kernels->outBytes + OWN_CELL_SPARE);
    return at;
}

/* A plane, or all interleaved channels. */
static void ownSuperPlane(OwnSuperPart& part, int32_t plane)
{
    const OwnPartRun& run = *part.run;
    const OwnView& view = run.window->view;
    const uint8_t* data = view.data + (run.job->srcChannels.first + plane) * view.channelStep;
    const OwnTarget target = ownTargetOf(run, plane);
    for (int32_t& row : part.held.held) row = -1;
    for (int32_t j = 0; j < run.height; ++j) {
        const bool isDirect = target.direct && view.sampleBits > 1;
        ownSuperRow(part, isDirect ? target.data + j * target.rowStep : part.aside, data, j);
        if (view.sampleBits == 1) {
            ownMapToBits<uint8_t>(part.aside, part.aside, run.width, [](OwnVec<uint8_t> v) { return v; });
            ownPutBits(run, part.aside, j);
        } else if (!isDirect) ownPutRow(target, part.aside, j);
    }
}

/* False without memory. */
static bool ownSuperRun(const OwnPartRun& run, const OwnCellAxis& x, const OwnCellAxis& y)
{
    const OwnResampling& job = *run.job;
    const OwnView& view = run.window->view;
    const bool planes = job.srcImage->dataOrder != VEK_DATA_ORDER_PIXEL;
    const int lead = view.bit; /* bits before the window's first one in its byte count as samples */
    OwnSuperPart part = {};
    part.run = &run;
    part.x = &x;
    part.y = &y;
    part.row.count = planes ? 1 : job.srcChannels.count;
    part.row.pixelStep = view.pixelStep;
    part.nSums = ((ptrdiff_t)view.width + lead) * view.pixelStep - (view.pixelStep - part.row.count);
    ownChooseCells(&part);
    if (ownAreSmall(x, y, view.sampleBits) && !ownPlanSmall(&part.small, run, x)) return false;
    uint8_t* block = (uint8_t*)ownAlloc(ownLayOut(&part, nullptr));
    if (block) {
        ownLayOut(&part, block);
        for (int32_t j = 0; j < run.width; ++j) {
            part.boxes[j] = x.at(j);
            part.boxes[j].first -= x.low;
            part.boxes[j].last -= x.low;
        }
        part.row.boxes = part.boxes;
        part.row.sums = (uint8_t*)part.sums + lead * part.kernels->sumBytes;
        for (int32_t plane = 0; plane < (planes ? job.srcChannels.count : 1); ++plane) ownSuperPlane(part, plane);
    }
    ownFree(block);
    ownFreeRowPlan(&part.small.plan);
    return block != nullptr;
}

/* ---- All of it ----------------------------------------------------------------------------------------------- */

bool ownRunSuper(const OwnFace& face, const OwnTileTexts& texts, const OwnResampling& job, int64_t xStep, int64_t yStep)
{
    const OwnRect &src = job.srcRect, &dst = job.dstRect;
    OwnCellAxis x(xStep, src.right - src.left + 1), y(yStep, src.bottom - src.top + 1);
    OwnGrid grid = ownGrid(job.dstImage, dst, job.srcImage->tileInfo != nullptr);
    while (ownNextPart(&grid)) {
        OwnFetched window;
        const OwnPartRun run = {&job,
                                &window,
                                &grid,
                                nullptr,
                                nullptr,
                                grid.part.right - grid.part.left + 1,
                                grid.part.bottom - grid.part.top + 1};
        x.jFirst = grid.part.left - dst.left;
        y.jFirst = grid.part.top - dst.top;
        x.low = x.at(0).first;
        y.low = y.at(0).first;
        const OwnRect need = {src.left + x.low, src.top + y.low, src.left + x.at(run.width - 1).last,
                              src.top + y.at(run.height - 1).last};
        if (!ownOpenBoth(face, texts, job.srcImage, need, &window, &grid)) return false;
        const bool done = ownSuperRun(run, x, y);
        ownCloseBoth(&window, &grid);
        OWN_FAIL_IF(!done, VEK_StatusBacktrace, "", false);
    }
    return true;
}
