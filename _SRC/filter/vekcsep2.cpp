/* vekcsep2: separable convolution. Each row of the source is convolved along itself once, into a ring of rows of sums; each
 * row of results is the weighted sum of the ring's rows, shifted once by both kernels' shifts. All sums wrap in 32 bits.
 *
 * Where no sum along a row can leave 16 bits, and no weight of the column, sums of neighbouring rows are brought side by
 * side, so that they can be multiplied two by two: the ring holds pairs, each made once. */
#include "ownsums.h"

#include "ownsimd.h"

/* ---- The plan ---------------------------------------------------------------------------------------------------- */

struct OwnSepPlan {
    uint32_t depth;
    int shift;
    int32_t nRows;
    OwnSum alongRow;
    OwnSum alongColumn; /* of rows of 32-bit sums, as if they were samples; not used with pairs */
    bool hasPairs;
    uint32_t*
        pairWeights; /* of two rows, for every second row of the window; an odd last row is the second of its pair */
    int64_t nPairs;
    int64_t pointerBytes, turnBytes, ringRows; /* of the row stage's scratch */
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

/* The weights of a column of 16-bit sums, two by two. False when some weight has more bits. */
static bool ownPlanPairs(OwnSepPlan* plan, const int32_t* values, int32_t n)
{
    const auto half = [](int32_t value) { return (uint32_t)value & 0xFFFF; };
    for (int32_t i = 0; i < n; ++i)
        if (values[i] != (int16_t)values[i]) return false;
    for (int32_t i = 0; i + 1 < n; i += 2)
        plan->pairWeights[plan->nPairs++] = half(values[i]) | half(values[i + 1]) << 16;
    if (n & 1) plan->pairWeights[plan->nPairs++] = half(values[n - 1]) << 16;
    return true;
}

static bool ownPlanSep(OwnSepPlan* plan, uint32_t depth, const VekConvKernel& x, const VekConvKernel& y)
{
    *plan = {};
    plan->depth = depth;
    plan->nRows = y.nRows;
    plan->shift = (int)std::clamp<int64_t>((int64_t)x.nShiftR + y.nShiftR, 0, 31);
    const int64_t roomX = ownSumRoom(x.nCols), roomY = ownSumRoom(y.nRows);
    const int64_t bytes = roomX + roomY + ((int64_t)y.nRows + 1) / 2 * (int64_t)sizeof(uint32_t);
    plan->room = bytes > PTRDIFF_MAX ? nullptr : ownAlloc((size_t)bytes);
    if (!plan->room) return false;
    plan->pairWeights = (uint32_t*)((uint8_t*)plan->room + roomX + roomY);

    const bool fits16 = ownSumsFit16(x.values, x.nCols, depth);
    const int32_t sampleMax = depth == VEK_DEPTH_1U ? 1 : 255;
    ownStartSum(&plan->alongRow, plan->room, x.nCols);
    ownSepTaps(&plan->alongRow, x.values, x.nCols, false);
    ownFinishSum(&plan->alongRow, fits16 ? OWN_SUM_16 : OWN_SUM_32, depth, sampleMax);
    plan->hasPairs = plan->alongRow.kind == OWN_SUM_16 && ownPlanPairs(plan, y.values, y.nRows);
    if (plan->alongRow.kind == OWN_SUM_16 && !plan->hasPairs) {
        ownStartSum(&plan->alongRow, plan->room, x.nCols);
        ownSepTaps(&plan->alongRow, x.values, x.nCols, false);
        ownFinishSum(&plan->alongRow, OWN_SUM_32, depth, sampleMax);
    }
    ownStartSum(&plan->alongColumn, (uint8_t*)plan->room + roomX, y.nRows);
    ownSepTaps(&plan->alongColumn, y.values, y.nRows, true);
    ownFinishSum(&plan->alongColumn, OWN_SUM_32, VEK_DEPTH_32S, 0);

    plan->pointerBytes = ownSumPointers(std::max(x.nCols, y.nRows));
    plan->ringRows = plan->hasPairs ? std::max(y.nRows - 1, 1) : y.nRows;
    plan->turnBytes = 64 + (2 * plan->ringRows * (int64_t)sizeof(uint8_t*) + 63) / 64 * 64;
    return true;
}

/* ---- The row stage ----------------------------------------------------------------------------------------------- */

/* The ring in the stage's scratch. Its rows stand twice in the table, so that any turn is a run of pointers. */
struct OwnSepRing {
    int64_t* turn; /* the place of the newest row */
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
    ring.lineBytes = OWN_SUM_BYTES * row.lineSamples;
    return ring;
}

/* One row further, or the ring's start. The row behind the newest is the oldest. */
static void ownTurnRing(OwnSepRing& ring, int64_t nRows, bool first)
{
    *ring.turn = first || *ring.turn + 1 == nRows ? 0 : *ring.turn + 1;
    for (int64_t i = 0; first && i < 2 * nRows; ++i) ring.rows[i] = ring.lines + i % nRows * ring.lineBytes;
}

/* Two rows of 16-bit sums side by side, each pair in 32 bits: in the order of ownUnpack once more. */
[[gnu::flatten]] static void ownPairRows(void* pairs, const void* above, const void* row, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int16_t>::lanes;
    uint32_t* out = (uint32_t*)pairs;
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        const OwnVec<int16_t> a = ownLoad<int16_t>((const int16_t*)above + i),
                              b = ownLoad<int16_t>((const int16_t*)row + i);
        ownStore(out + i, ownZipLow(a, b));
        ownStore(out + i + lanes / 2, ownZipHigh(a, b));
    }
}

/* Samples from pairs of rows: pairs[2 k] holds rows 2 k and 2 k + 1. The last pair of an odd number of rows begins one row
 * earlier. */
template <class T>
[[gnu::flatten]] static void ownColumnOfPairs(void* samples, const uint8_t* const* pairs, const OwnSepPlan& plan,
                                              ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes;
    T* out = (T*)samples;
    const int64_t last = plan.nPairs - 1, lastRow = plan.nRows & 1 ? std::max(plan.nRows - 2, 0) : 2 * last;
    for (ptrdiff_t i = 0; i < n; i += OWN_OUT_UNIT) {
        OwnVec<int32_t> s[OWN_OUT_UNIT / lanes] = {};
        for (int64_t k = 0; k <= last; ++k) {
            const int16_t* p = (const int16_t*)pairs[k == last ? lastRow : 2 * k] + 2 * i;
            const OwnVec<int16_t> w = ownAs<int16_t>(ownSet((int32_t)plan.pairWeights[k]));
            for (int j = 0; j < OWN_OUT_UNIT / lanes; ++j)
                s[j] = s[j] + ownMulAdd(w, ownLoad<int16_t>(p + 2 * lanes * j));
        }
        for (int j = 0; j < OWN_OUT_UNIT / lanes; j += 4) {
            const auto two = [&](int at) {
                return ownPack<int16_t>(ownShiftRight(s[at], plan.shift), ownShiftRight(s[at + 1], plan.shift));
            };
            ownStore(out + i + j * lanes, ownPack<T>(two(j), two(j + 2)));
        }
    }
}

/* The stage with a ring of pairs. The newest row of sums, and the one above it, lie where the other stage has its sums. */
static void ownSepPairsStage(void* out, const uint8_t* const* rows, const OwnWindowRow& asked)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    const OwnSepPlan& plan = *(const OwnSepPlan*)row.k;
    OwnSepRing ring = ownSepRingOf(plan, row);
    ownTurnRing(ring, plan.ringRows, row.first);
    int64_t& odd = ring.turn[1]; /* in which of the two the newest row is */
    odd = row.first || !odd;
    int16_t *newest = (int16_t*)ring.sums + odd * row.lineSamples,
            *above = (int16_t*)ring.sums + (plan.nRows > 1 ? !odd : odd) * row.lineSamples;
    ownSumRow(plan.alongRow, rows, row, newest, ring.pointers);
    if (!row.first || plan.nRows == 1) ownPairRows((uint8_t*)ring.rows[*ring.turn], above, newest, row.n);
    if (!row.isFull) return;
    const auto column = plan.depth == VEK_DEPTH_8S ? ownColumnOfPairs<int8_t> : ownColumnOfPairs<uint8_t>;
    column(out, ring.rows + *ring.turn + 1, plan, asked.n);
}

static void ownSepStage(void* out, const uint8_t* const* rows, const OwnWindowRow& asked)
{
    const OwnWindowRow row = ownWholeBlocks(asked);
    const OwnSepPlan& plan = *(const OwnSepPlan*)row.k;
    OwnSepRing ring = ownSepRingOf(plan, row);
    ownTurnRing(ring, plan.ringRows, row.first);
    ownSumRow(plan.alongRow, rows, row, (uint8_t*)ring.rows[*ring.turn], ring.pointers);
    if (!row.isFull) return;
    ownSumRow(plan.alongColumn, ring.rows + *ring.turn + 1, row, ring.sums, ring.pointers);
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
    window.stage = plan.hasPairs ? ownSepPairsStage : ownSepStage;
    window.k = &plan;
    window.oneByOne = true;
    window.scratchBytes = plan.turnBytes + plan.pointerBytes;
    window.scratchPerSample = OWN_SUM_BYTES * (1 + plan.ringRows);
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
    OWN_REFUSE_IF(Xkernel->values==0);
    OWN_REFUSE_IF(Ykernel->values==0);
    if (vekGetErrStatus() < 0) return;
    ownConvolveSep(face, srcImage, dstImage, *Xkernel, *Ykernel);
}
