/* vekcsep2: separable convolution. Each row of the source is convolved along itself once, into a ring of rows of sums; each
 * row of results is the weighted sum of the ring's rows, shifted once by both kernels' shifts. All sums wrap in 32 bits.
 *
 * Where no sum along a row can leave 16 bits, the ring has 16-bit sums, and its rows are multiplied two by two. */
#include "ownsums.h"

#include "ownsimd.h"

/* ---- The plan ---------------------------------------------------------------------------------------------------- */

struct OwnSepPlan {
    uint32_t depth;
    int shift;
    int32_t nRows;
    OwnSum alongRow, alongColumn; /* the second on rows of sums, as if they were samples of 16 or 32 bits */
    uint32_t columnDepth;
    int64_t pointerBytes, ringBytesPerSample, turnBytes; /* of the row stage's scratch */
    void* room;
};

/* Whether every sum of these coefficients, and of any of them, on samples of a depth fits 16 bits. */
static bool ownSumsFit16(const int32_t* values, int32_t n, uint32_t depth)
{
    int64_t least = 0, largest = 0;
    const int64_t low = depth == VEK_DEPTH_8S ? -128 : 0, high = depth == VEK_DEPTH_1U   ? 1
                                                                 : depth == VEK_DEPTH_8S ? 127
                                                                                         : 255;
    if (ownSampleBits(depth) > 8) return false;
    for (int32_t i = 0; i < n; ++i) {
        least += std::min(values[i] * low, values[i] * high);
        largest += std::max(values[i] * low, values[i] * high);
    }
    return least >= INT16_MIN && largest <= INT16_MAX;
}

/* The non-zero ones of n coefficients as taps along a row, or along a column. */
static void ownSepTaps(OwnSum* sum, const int32_t* values, int32_t n, bool alongColumn)
{
    for (int32_t i = 0; i < n; ++i)
        if (values[i]) sum->taps[sum->nTaps++] = {alongColumn ? i : 0, alongColumn ? 0 : i, values[i], 0};
}

static bool ownPlanSep(OwnSepPlan* plan, uint32_t depth, const VekConvKernel& x, const VekConvKernel& y)
{
    *plan = {};
    plan->depth = depth;
    plan->nRows = y.nRows;
    plan->shift = (int)std::clamp<int64_t>((int64_t)x.nShiftR + y.nShiftR, 0, 31);
    const int64_t bytes = ownSumRoom(x.nCols) + ownSumRoom(y.nRows);
    plan->room = bytes > PTRDIFF_MAX ? nullptr : ownAlloc((size_t)bytes);
    if (!plan->room) return false;

    ownStartSum(&plan->alongRow, plan->room, x.nCols);
    ownSepTaps(&plan->alongRow, x.values, x.nCols, false);
    const bool fits16 = ownSumsFit16(x.values, x.nCols, depth);
    ownFinishSum(&plan->alongRow, fits16 ? OWN_SUM_16 : OWN_SUM_32, depth, depth == VEK_DEPTH_1U ? 1 : 255);

    plan->columnDepth = plan->alongRow.kind == OWN_SUM_16 ? VEK_DEPTH_16S : VEK_DEPTH_32S;
    ownStartSum(&plan->alongColumn, (uint8_t*)plan->room + ownSumRoom(x.nCols), y.nRows);
    ownSepTaps(&plan->alongColumn, y.values, y.nRows, true);
    ownFinishSum(&plan->alongColumn, OWN_SUM_32, plan->columnDepth, 0);

    plan->pointerBytes = ownSumPointers(std::max(x.nCols, y.nRows));
    plan->turnBytes = 64 + (2 * (int64_t)y.nRows * (int64_t)sizeof(uint8_t*) + 63) / 64 * 64;
    plan->ringBytesPerSample = ownSampleBits(plan->columnDepth) / 8;
    return true;
}

/* ---- The row stage ----------------------------------------------------------------------------------------------- */

/* The ring in the stage's scratch. Its rows stand twice in the table, so that any turn is a run of pointers. */
struct OwnSepRing {
    int64_t* turn; /* the place of the window's top row */
    const uint8_t** rows;
    uint8_t *pointers, *sums, *lines;
    ptrdiff_t lineBytes;
};

static OwnSepRing ownSepRingOf(const OwnSepPlan& plan, const OwnWindowRow& row)
{
    OwnSepRing ring;
    ring.turn = (int64_t*)row.scratch;
    ring.rows = (const uint8_t**)(row.scratch + 64);
    ring.pointers = row.scratch + plan.turnBytes;
    ring.sums = ring.pointers + plan.pointerBytes;
    ring.lines = ring.sums + OWN_SUM_BYTES * row.lineSamples;
    ring.lineBytes = (ptrdiff_t)plan.ringBytesPerSample * row.lineSamples;
    return ring;
}

static void ownStartRing(OwnSepRing& ring, int32_t nRows)
{
    *ring.turn = 0;
    for (int32_t i = 0; i < 2 * nRows; ++i) ring.rows[i] = ring.lines + i % nRows * ring.lineBytes;
}

static void ownSepStage(void* out, const uint8_t* const* rows, const OwnWindowRow& asked)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    const OwnSepPlan& plan = *(const OwnSepPlan*)row.k;
    OwnSepRing ring = ownSepRingOf(plan, row);
    const int32_t nRows = plan.nRows;
    if (row.first) ownStartRing(ring, nRows);
    else *ring.turn = (*ring.turn + 1) % nRows;
    for (int32_t i = row.first ? 0 : nRows - 1; i < nRows; ++i) {
        uint8_t* line = (uint8_t*)ring.rows[*ring.turn + i];
        ownSumRow(plan.alongRow, plan.depth, rows + i, row, line, ring.pointers);
    }
    ownSumRow(plan.alongColumn, plan.columnDepth, ring.rows + *ring.turn, row, ring.sums, ring.pointers);
    ownSumsToSamples(out, ring.sums, OWN_SUM_32, plan.shift, plan.depth, asked.n);
}

/* ---- The call ---------------------------------------------------------------------------------------------------- */

static bool ownHasCoi(const VekImage* image) { return image->roi && image->roi->coi > 0; }

static void ownConvolveSep(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage,
                           const VekConvKernel& x, const VekConvKernel& y)
{
    OWN_REFUSE_TEXT_IF(srcImage->depth == VEK_DEPTH_32F, "Unknown srcImage->depth");
    const int64_t right = (int64_t)x.nCols - x.anchorX - 1, bottom = (int64_t)y.nRows - y.anchorY - 1;
    OwnSepPlan plan;
    const bool isPlanned = right <= INT32_MAX && bottom <= INT32_MAX && ownPlanSep(&plan, srcImage->depth, x, y);
    OWN_FAIL_IF(!isPlanned, VEK_StatusNoMemory, "Allocation failure");

    OwnWindow window = {};
    window.srcImage = srcImage;
    window.dstImage = dstImage;
    window.from = ownChannels(srcImage);
    window.to = ownChannels(dstImage);
    window.left = x.anchorX;
    window.right = (int32_t)right;
    window.top = y.anchorY;
    window.bottom = (int32_t)bottom;
    window.borderConst = srcImage->borderConst;
    window.stage = ownSepStage;
    window.k = &plan;
    window.scratchBytes = plan.turnBytes + plan.pointerBytes;
    window.scratchPerSample = OWN_SUM_BYTES + plan.ringBytesPerSample * plan.nRows;
    const OwnWindowEnd end = ownWindow(window);
    ownFree(plan.room);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
    OWN_REFUSE_TEXT_IF(end == OWN_WINDOW_NO_TILE, "(dstImage->tileInfo->tileData == ((void*)(0)))");
}

void vekConvolveSep2D(const VekImage* srcImage, VekImage* dstImage, const VekConvKernel* Xkernel,
                      const VekConvKernel* Ykernel)
{
    OWN_FACE("vekConvolveSep2D", "vekcsep2");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF(Xkernel==0);
    if (!Ykernel) ownFail(face, VEK_StatusBadArg, "Ykernel==0", __LINE__);
    if (vekGetErrStatus() < 0 || !Ykernel) return;
    OWN_REFUSE_IF(srcImage->depth != dstImage->depth);
    OWN_REFUSE_IF(srcImage->origin != dstImage->origin);
    OWN_REFUSE_IF(srcImage->dataOrder != dstImage->dataOrder);
    const int32_t nCsrc = srcImage->nChannels - (srcImage->alphaChannel > 0),
                  nCdst = dstImage->nChannels - (dstImage->alphaChannel > 0);
    OWN_REFUSE_IF(nCsrc != nCdst);
    const bool coiSrc = ownHasCoi(srcImage), coiDst = ownHasCoi(dstImage);
    OWN_REFUSE_TEXT_IF((srcImage->nChannels > 1 && coiSrc && !coiDst) || (coiDst && !coiSrc),
                       "nChannels in srcImage ROI != nChannels in dstImage ROI");
    OWN_REFUSE_IF(Xkernel->nCols <= 0);
    OWN_REFUSE_IF(Ykernel->nRows <= 0);
    if (vekGetErrStatus() < 0) return;
    ownConvolveSep(face, srcImage, dstImage, *Xkernel, *Ykernel);
}
