/* owndecim: super-sampling. Each destination pixel is the mean of the box of source samples that it covers, samples at the
 * box's edges counting by the part that lies in it; boxes at the region's end are cut there. */
#include "ownresample.h"

#include <numeric>

/* ---- Boxes --------------------------------------------------------------------------------------------------- */

/* What a box covers on one axis: samples first .. last, their weights in 1/256, and the sum of these. */
struct OwnBox {
    int32_t first, last;
    int32_t firstWeight, lastWeight; /* the same sample when first == last: then firstWeight counts */
    int64_t total;

    int32_t weight(int32_t i) const { return i == first ? firstWeight : i == last ? lastWeight : 256; }
};

static OwnBox ownBoxAt(int64_t j, int64_t step, int32_t size)
{
    const int64_t start = j * step, end = std::min(start + step, (int64_t)size * 256);
    OwnBox box;
    box.first = (int32_t)(start >> 8);
    box.last = (int32_t)((end - 1) >> 8);
    box.firstWeight = (int32_t)(std::min(end, ((int64_t)box.first + 1) * 256) - start);
    box.lastWeight = (int32_t)(end - (int64_t)box.last * 256);
    box.total = end - start;
    return box;
}

/* One axis of a run over a part. */
struct OwnBoxAxis {
    int64_t step;
    int32_t size;   /* samples of the region */
    int32_t jFirst; /* the part's first output */
    int32_t low;    /* the window's first sample in the region */

    OwnBox at(int32_t j) const { return ownBoxAt((int64_t)jFirst + j, step, size); }
};

/* ---- Any ratio ----------------------------------------------------------------------------------------------- */

/* Sums of columns: sums[i] = the rows of the box, weighted. A: wide enough for all of them. */
template <class T, class A>
static void ownSumRows(A* __restrict sums, const uint8_t* __restrict data, ptrdiff_t rowStep, const OwnBox& box,
                       int32_t low, ptrdiff_t n)
{
    std::fill(sums, sums + n, (A)0);
    for (int32_t y = box.first; y <= box.last; ++y) {
        const uint8_t* row = data + (y - low) * rowStep;
        const A weight = (A)box.weight(y);
        for (ptrdiff_t i = 0; i < n; ++i) {
            T sample;
            memcpy(&sample, row + i * (ptrdiff_t)sizeof(T), sizeof(T));
            sums[i] += sample * weight;
        }
    }
}

/* Columns `from` up to `to` of a row of the destination from sums of columns, `pixelStep` samples from pixel to pixel. */
template <class T, class A>
static void ownMeanColumns(uint8_t* out, const A* sums, const OwnBoxAxis& x, int64_t rowsTotal, ptrdiff_t pixelStep,
                           int32_t count, int32_t from, int32_t to)
{
    for (int32_t j = from; j < to; ++j) {
        const OwnBox box = x.at(j);
        const double perArea = 1.0 / ((double)box.total * (double)rowsTotal);
        for (int32_t c = 0; c < count; ++c) {
            uint64_t sum = 0;
            for (int32_t i = box.first; i <= box.last; ++i)
                sum += (uint64_t)sums[(i - x.low) * pixelStep + c] * (uint64_t)box.weight(i);
            const T mean = (T)((double)sum * perArea + 0.5);
            memcpy(out + ((ptrdiff_t)j * count + c) * (ptrdiff_t)sizeof(T), &mean, sizeof(T));
        }
    }
}

/* ---- Small ratios: two columns and four rows at most --------------------------------------------------------- */

/* The weights of both axes in units that divide them all; taps for the columns whose box is whole. */
struct OwnSmallBoxes {
    OwnRowPlan plan;
    int32_t xUnit, yUnit;
    int32_t nColumns; /* the columns that the plan serves */
};

static bool ownAreSmall(int64_t xStep, int64_t yStep, int sampleBytes)
{
    if (xStep > 2 * 256 || yStep > 3 * 256) return false;
    const int64_t xOne = xStep / std::gcd(xStep, (int64_t)256), yOne = yStep / std::gcd(yStep, (int64_t)256);
    const bool twoColumns = xStep % 128 ==
                            0; /* a box of 1.5 samples that starts at a half has two; others may have three */
    return twoColumns && xOne <= 127 && yOne <= 127 && (sampleBytes == 1 || xOne * yOne <= 64);
}

/* False without memory. */
static bool ownPlanSmall(OwnSmallBoxes* small, const OwnPartRun& run, const OwnBoxAxis& x, const OwnBoxAxis& y)
{
    small->xUnit = (int32_t)std::gcd(x.step, (int64_t)256);
    small->yUnit = (int32_t)std::gcd(y.step, (int64_t)256);
    small->nColumns = run.width;
    if (x.at(run.width - 1).total != x.step) --small->nColumns;
    if (small->nColumns == 0) return true;
    OwnTap* taps = (OwnTap*)ownAlloc((size_t)small->nColumns * sizeof(OwnTap));
    if (!taps) return false;
    for (int32_t j = 0; j < small->nColumns; ++j) {
        const OwnBox box = x.at(j);
        taps[j] = {box.first, box.last, box.first == box.last ? 0 : box.lastWeight / small->xUnit, 0};
    }
    OwnRowShape shape = ownShapeOf(run);
    shape.nColumns = small->nColumns;
    shape.one = (int)(x.step / small->xUnit);
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

static void ownSmallRow(uint8_t* out, const OwnSmallBoxes& small, OwnHeldRows* held, const uint8_t* data,
                        ptrdiff_t rowStep, const OwnBox& box, int32_t low)
{
    const void* rows[4];
    int32_t weights[4] = {};
    for (int k = 0; k < 4; ++k) {
        const int32_t y = std::min(box.first + k, box.last), slot = y & 3;
        uint8_t* row = held->rows + slot * held->rowBytes;
        if (held->held[slot] != y) ownRowAcross(row, data + (y - low) * rowStep, small.plan);
        held->held[slot] = y;
        rows[k] = row;
        if (box.first + k <= box.last) weights[k] = box.weight(y) / small.yUnit;
    }
    ownRowMean(out, rows, weights, (int32_t)(box.total / small.yUnit) * small.plan.one, small.plan);
}

/* ---- One part ------------------------------------------------------------------------------------------------ */

/* A plane, or all interleaved channels. */
template <class T, class A>
static void ownSuperPlane(const OwnPartRun& run, const OwnBoxAxis& x, const OwnBoxAxis& y, const OwnTarget& target,
                          const uint8_t* data, int32_t count, const OwnSmallBoxes* small, uint8_t* scratch)
{
    const OwnView& view = run.window->view;
    const ptrdiff_t nSums = (ptrdiff_t)view.width * view.pixelStep - (view.pixelStep - count);
    const ptrdiff_t sumBytes = (nSums * (ptrdiff_t)sizeof(A) + 63) & ~(ptrdiff_t)63;
    A* sums = (A*)scratch;
    OwnHeldRows held = {scratch + sumBytes, 0, {-1, -1, -1, -1}};
    if (small) held.rowBytes = (ownLaneRowBytes(small->plan) + 63) & ~(ptrdiff_t)63;
    uint8_t* aside = held.rows + 4 * held.rowBytes;
    const int32_t nSmall = small ? small->nColumns : 0;
    for (int32_t j = 0; j < run.height; ++j) {
        const OwnBox box = y.at(j);
        uint8_t* out = target.direct ? target.data + j * target.rowStep : aside;
        if (nSmall) ownSmallRow(out, *small, &held, data, view.rowStep, box, y.low);
        if (nSmall < run.width) {
            /* all columns, or the last one alone */
            const ptrdiff_t first = (ptrdiff_t)(x.at(nSmall).first - x.low) * view.pixelStep;
            ownSumRows<T, A>(sums + first, data + first * (ptrdiff_t)sizeof(T), view.rowStep, box, y.low,
                             nSums - first);
            ownMeanColumns<T, A>(out, sums, x, box.total, view.pixelStep, count, nSmall, run.width);
        }
        if (!target.direct) ownPutRow(target, aside, j);
    }
}

/* False without memory. */
template <class T, class A> static bool ownSuperPart(const OwnPartRun& run, const OwnBoxAxis& x, const OwnBoxAxis& y)
{
    const OwnResampling& job = *run.job;
    const OwnView& view = run.window->view;
    const bool planes = job.srcImage->dataOrder != VEK_DATA_ORDER_PIXEL;
    const int32_t count = planes ? 1 : job.srcChannels.count;
    OwnSmallBoxes small = {};
    const bool isSmall = ownAreSmall(x.step, y.step, (int)sizeof(T));
    if (isSmall && !ownPlanSmall(&small, run, x, y)) return false;
    const size_t scratchBytes = ((size_t)view.width * (size_t)view.pixelStep + 64) * sizeof(A) + 64 +
                                4 * ((size_t)ownLaneRowBytes(small.plan) + 64) +
                                (size_t)run.width * (size_t)count * sizeof(T);
    uint8_t* scratch = (uint8_t*)ownAlloc(scratchBytes);
    if (scratch)
        for (int32_t plane = 0; plane < (planes ? job.srcChannels.count : 1); ++plane)
            ownSuperPlane<T, A>(run, x, y, ownTargetOf(run, plane),
                                view.data + (job.srcChannels.first + plane) * view.channelStep, count,
                                isSmall ? &small : nullptr, scratch);
    ownFree(scratch);
    ownFreeRowPlan(&small.plan);
    return scratch != nullptr;
}

/* 1 bit: a 1 where at least half of the box is. */
static void ownSuperBits(const OwnPartRun& run, const OwnBoxAxis& x, const OwnBoxAxis& y)
{
    const OwnView &src = run.window->view, &dst = run.grid->view;
    for (int32_t j = 0; j < run.height; ++j) {
        const OwnBox down = y.at(j);
        uint8_t* out = dst.data + j * dst.rowStep;
        for (int32_t i = 0; i < run.width; ++i) {
            const OwnBox across = x.at(i);
            int64_t sum = 0;
            for (int32_t v = down.first; v <= down.last; ++v) {
                const uint8_t* row = src.data + (v - y.low) * src.rowStep;
                int64_t ones = 0;
                for (int32_t u = across.first; u <= across.last; ++u) {
                    const int32_t at = src.bit + u - x.low;
                    if (row[at >> 3] >> (7 - (at & 7)) & 1) ones += across.weight(u);
                }
                sum += ones * down.weight(v);
            }
            const int32_t at = dst.bit + i, place = 7 - (at & 7);
            const int one = 2 * sum >= across.total * down.total;
            out[at >> 3] = (uint8_t)((out[at >> 3] & ~(1 << place)) | one << place);
        }
    }
}

static bool ownSuperRun(const OwnPartRun& run, const OwnBoxAxis& x, const OwnBoxAxis& y)
{
    const int bits = run.window->view.sampleBits;
    const bool narrow = std::min<int64_t>(y.step, (int64_t)y.size * 256) < (bits == 8 ? 1 << 24 : 1 << 16);
    if (bits == 1) ownSuperBits(run, x, y);
    else if (bits == 8)
        return narrow ? ownSuperPart<uint8_t, uint32_t>(run, x, y) : ownSuperPart<uint8_t, uint64_t>(run, x, y);
    else return narrow ? ownSuperPart<uint16_t, uint32_t>(run, x, y) : ownSuperPart<uint16_t, uint64_t>(run, x, y);
    return true;
}

/* ---- All of it ----------------------------------------------------------------------------------------------- */

bool ownRunSuper(const OwnFace& face, const OwnTileTexts& texts, const OwnResampling& job, int64_t xStep, int64_t yStep)
{
    const OwnRect &src = job.srcRect, &dst = job.dstRect;
    OwnBoxAxis x = {xStep, src.right - src.left + 1, 0, 0}, y = {yStep, src.bottom - src.top + 1, 0, 0};
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
