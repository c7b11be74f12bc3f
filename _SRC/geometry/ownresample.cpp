/* ownresample: a resolved resampling run over its images: tiles, planes, rows, masks. */
#include "ownresample.h"

#include "ownsimd.h"

/* ---- Finished rows into the destination ------------------------------------------------------------------------ */

template <int unitBytes>
static void ownPutUnits(const OwnTarget& target, uint8_t* out, const uint8_t* row, const uint8_t* mask)
{
    const ptrdiff_t unit = unitBytes ? unitBytes : target.unitBytes;
    for (int32_t x = 0; x < target.width; ++x) {
        const int64_t i = target.maskBit + x;
        if (!mask || mask[i >> 3] >> (7 - (i & 7)) & 1)
            memcpy(out + x * target.pixelBytes, row + x * unit, (size_t)unit);
    }
}

void ownPutRow(const OwnTarget& target, const uint8_t* row, int32_t y)
{
    uint8_t* out = target.data + y * target.rowStep;
    const uint8_t* mask = target.maskData ? target.maskData + y * target.maskStep : nullptr;
    switch (target.unitBytes) {
    case 1: return ownPutUnits<1>(target, out, row, mask);
    case 2: return ownPutUnits<2>(target, out, row, mask);
    case 3: return ownPutUnits<3>(target, out, row, mask);
    case 4: return ownPutUnits<4>(target, out, row, mask);
    default: return ownPutUnits<0>(target, out, row, mask);
    }
}

void ownPutBits(const OwnPartRun& run, uint8_t* bits, int32_t y)
{
    const OwnResampling& job = *run.job;
    const OwnGrid& grid = *run.grid;
    const OwnChannels bit = {0, 1, false};
    const OwnView src = {bits, 0, 1, run.width, 1, 1, 0, 0}, dst = ownCrop(grid.view, 0, y, run.width, 1);
    if (!job.mask) return ownCopyView(src, dst, bit, bit);
    const OwnView mask = ownCrop(ownView(job.mask), grid.part.left - job.dstRect.left,
                                 grid.part.top - job.dstRect.top + y, run.width, 1);
    ownCopyView(src, dst, bit, bit, &mask);
}

/* ---- One part ------------------------------------------------------------------------------------------------ */

/* What of the source the taps of n columns (or rows) need, in the region's columns. */
static void ownReach(const OwnAxisTap* taps, int32_t n, OwnMix blend, int32_t* low, int32_t* high)
{
    *low = INT32_MAX;
    *high = INT32_MIN;
    for (int32_t j = 0; j < n; ++j) {
        *low = std::min(*low, taps[j].first);
        *high = std::max(*high, blend == OWN_BLEND_CUBIC ? taps[j].first + 3 : std::max(taps[j].first, taps[j].second));
    }
}

OwnTarget ownTargetOf(const OwnPartRun& run, int32_t plane)
{
    const OwnResampling& job = *run.job;
    const OwnView& view = run.grid->view;
    const bool planes = job.dstImage->dataOrder != VEK_DATA_ORDER_PIXEL;
    const int sampleBytes = view.sampleBits >> 3;
    OwnTarget target = {};
    target.data = view.data + (job.dstChannels.first + plane) * view.channelStep;
    target.rowStep = view.rowStep;
    target.pixelBytes = view.pixelStep * (ptrdiff_t)sampleBytes;
    target.unitBytes = (planes ? 1 : job.dstChannels.count) * (ptrdiff_t)sampleBytes;
    target.width = run.width;
    if (job.mask) {
        const OwnView mask = ownView(job.mask);
        const int64_t x = run.grid->part.left - job.dstRect.left, y = run.grid->part.top - job.dstRect.top;
        target.maskData = mask.data + y * mask.rowStep;
        target.maskStep = mask.rowStep;
        target.maskBit = mask.bit + x;
    }
    target.direct = !job.mask && target.unitBytes == target.pixelBytes;
    return target;
}

/* The row that the horizontal pass made of a source row; made now unless it is still there. */
struct OwnRowCache {
    uint8_t* rows;
    ptrdiff_t rowBytes;
    int32_t held[4];
    int nRows;
};

static const void* ownCachedRow(OwnRowCache* cache, const uint8_t* data, ptrdiff_t rowStep, int32_t y,
                                const OwnRowPlan& plan)
{
    const int slot = y & (cache->nRows - 1);
    uint8_t* row = cache->rows + slot * cache->rowBytes;
    if (cache->held[slot] != y) ownRowAcross(row, data + y * rowStep, plan);
    cache->held[slot] = y;
    return row;
}

/* One plane, or all interleaved channels: `data` is the window's first sample, window rows counting from region row yFirst. */
static void ownResamplePlane(const OwnPartRun& run, const OwnRowPlan& plan, const OwnTarget& target,
                             const uint8_t* data, int32_t yFirst, uint8_t* scratch)
{
    const OwnMix blend = run.job->blend;
    const ptrdiff_t rowStep = run.window->view.rowStep, rowBytes = target.width * target.unitBytes;
    const ptrdiff_t laneBytes = (ownLaneRowBytes(plan) + 63) & ~(ptrdiff_t)63;
    OwnRowCache cache = {scratch, laneBytes, {-1, -1, -1, -1}, blend == OWN_BLEND_CUBIC ? 4 : 2};
    uint8_t* aside = scratch + (blend == OWN_BLEND_NEAREST ? 0 : cache.nRows * laneBytes);
    int32_t heldRow = -1;
    for (int32_t y = 0; y < run.height; ++y) {
        const OwnAxisTap& tap = run.yTaps[y];
        const int32_t first = tap.first - yFirst, second = tap.second - yFirst;
        uint8_t* out = target.direct ? target.data + y * target.rowStep : aside;
        if (blend == OWN_BLEND_NEAREST) {
            if (heldRow != first) ownRowAcross(out, data + first * rowStep, plan);
            else if (target.direct) memcpy(out, out - target.rowStep, (size_t)rowBytes);
            heldRow = first;
        } else {
            const void* rows[4];
            if (blend == OWN_BLEND_CUBIC) {
                for (int k = 0; k < 4; ++k) rows[k] = ownCachedRow(&cache, data, rowStep, first + k, plan);
            } else {
                rows[0] = rows[1] = ownCachedRow(&cache, data, rowStep, first, plan);
                if (tap.weight) rows[1] = ownCachedRow(&cache, data, rowStep, second, plan);
            }
            ownRowDown(out, rows, tap, plan);
        }
        if (!target.direct) ownPutRow(target, aside, y);
    }
}

OwnRowShape ownShapeOf(const OwnPartRun& run)
{
    const OwnResampling& job = *run.job;
    const OwnView& view = run.window->view;
    const OwnRect& rect = run.window->rect;
    const bool planes = job.srcImage->dataOrder != VEK_DATA_ORDER_PIXEL, inPlace = !run.window->block;
    const ptrdiff_t sampleBytes = view.sampleBits >> 3;
    OwnRowShape shape = {};
    shape.nColumns = run.width;
    shape.count = planes ? 1 : job.srcChannels.count;
    shape.xFirst = rect.left - job.srcRect.left;
    shape.sampleBytes = (int)sampleBytes;
    shape.pixelBytes = view.pixelStep * sampleBytes;
    shape.channelBytes = sampleBytes;

    /* rows in place may be read from end to end; they are given from the first channel that takes part on */
    const ptrdiff_t skipped = planes ? 0 : job.srcChannels.first * sampleBytes;
    const ptrdiff_t before = inPlace ? rect.left : 0,
                    after = inPlace ? ownWholeView(job.srcImage).width - before : view.width;
    shape.rowStart = -before * shape.pixelBytes - skipped;
    shape.rowEnd = after * shape.pixelBytes - skipped;
    return shape;
}

/* The part's pixels of 8 or 16 bits. False without memory. */
static bool ownResamplePart(const OwnPartRun& run)
{
    const OwnResampling& job = *run.job;
    const OwnView& view = run.window->view;
    const bool planes = job.srcImage->dataOrder != VEK_DATA_ORDER_PIXEL;
    const OwnRowShape shape = ownShapeOf(run);
    OwnRowPlan plan;
    if (!ownMakeRowPlan(&plan, job.blend, run.xTaps, shape)) return false;
    const ptrdiff_t laneBytes = (ownLaneRowBytes(plan) + 63) & ~(ptrdiff_t)63;
    const int nRows = job.blend == OWN_BLEND_NEAREST ? 0 : job.blend == OWN_BLEND_CUBIC ? 4 : 2;
    uint8_t* scratch = (uint8_t*)ownAlloc(
        (size_t)(nRows * laneBytes + (ptrdiff_t)run.width * shape.count * shape.sampleBytes));
    if (scratch)
        for (int32_t plane = 0; plane < (planes ? job.srcChannels.count : 1); ++plane)
            ownResamplePlane(run, plan, ownTargetOf(run, plane),
                             view.data + (job.srcChannels.first + plane) * view.channelStep,
                             run.window->rect.top - job.srcRect.top, scratch);
    ownFree(scratch);
    ownFreeRowPlan(&plan);
    return scratch != nullptr;
}

/* The part's pixels of 1 bit: each takes the nearest, as a byte. Rows of one source row are alike. False without memory. */
static bool ownResampleBits(const OwnPartRun& run)
{
    const OwnView& src = run.window->view;
    const OwnRect& region = run.job->srcRect;
    const int32_t xFirst = run.window->rect.left - region.left, yFirst = run.window->rect.top - region.top;
    const ptrdiff_t nBits = (ptrdiff_t)src.bit + src.width;
    const OwnRowShape shape = {run.width, 1, xFirst, 1, 0, 1, 1, -(ptrdiff_t)src.bit, src.width};
    OwnRowPlan plan;
    if (!ownMakeRowPlan(&plan, OWN_BLEND_NEAREST, run.xTaps, shape)) return false;
    uint8_t* bytes = (uint8_t*)ownAlloc((size_t)nBits + 2 * (size_t)run.width);
    if (bytes) {
        uint8_t *picked = bytes + nBits, *row = picked + run.width;
        int32_t held = -1;
        for (int32_t y = 0; y < run.height; ++y) {
            const int32_t first = run.yTaps[y].first - yFirst;
            if (first != held) {
                ownMapBits<uint8_t>(bytes, src.data + first * src.rowStep, nBits, [](OwnVec<uint8_t> v) { return v; });
                ownRowAcross(picked, bytes + src.bit, plan);
                ownMapToBits<uint8_t>(row, picked, run.width, [](OwnVec<uint8_t> v) { return v; });
                held = first;
            }
            ownPutBits(run, row, y);
        }
    }
    ownFree(bytes);
    ownFreeRowPlan(&plan);
    return bytes != nullptr;
}

/* ---- All of it ----------------------------------------------------------------------------------------------- */

bool ownRunResampling(const OwnFace& face, const OwnTileTexts& texts, const OwnResampling& job)
{
    OwnGrid grid = ownGrid(job.dstImage, job.dstRect, job.srcImage->tileInfo != nullptr);
    while (ownNextPart(&grid)) {
        OwnFetched window;
        OwnRect need;
        OwnPartRun run = {&job,
                          &window,
                          &grid,
                          job.xTaps + (grid.part.left - job.dstRect.left),
                          job.yTaps + (grid.part.top - job.dstRect.top),
                          grid.part.right - grid.part.left + 1,
                          grid.part.bottom - grid.part.top + 1};
        ownReach(run.xTaps, run.width, job.blend, &need.left, &need.right);
        ownReach(run.yTaps, run.height, job.blend, &need.top, &need.bottom);
        need = {need.left + job.srcRect.left, need.top + job.srcRect.top, need.right + job.srcRect.left,
                need.bottom + job.srcRect.top};
        if (!ownOpenBoth(face, texts, job.srcImage, need, &window, &grid)) return false;
        const bool done = window.view.sampleBits == 1 ? ownResampleBits(run) : ownResamplePart(run);
        ownCloseBoth(&window, &grid);
        OWN_FAIL_IF(!done, VEK_StatusBacktrace, "", false);
    }
    return true;
}
