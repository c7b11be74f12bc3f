/* vekblur: the mean of a window: with s the sum of its n samples and r = 1 / n in double, s r, to the nearest integer, ties
 * to even.
 *
 * Each row is summed along itself once. Bytes have a stage of their own, in ownmean8, but for windows too large for it.
 * Integers: these sums are kept in a ring, and each column's sum is kept up by adding
 * the row that enters the window and subtracting the one that leaves it. Floats: nothing is subtracted, which would carry
 * an infinity, or what was lost by rounding, from window to window. Rows are taken in blocks as high as the window, so
 * that each window is the end of a block and the begin of the next. */
#include "ownblur.h"
#include "ownboxsum.h"

#include <fenv.h>

/* ---- Columns and means ------------------------------------------------------------------------------------------- */

/* One row further: column += entering - leaving, and the means of the columns' sums; whole vectors at a time. Columns are
 * kept in an order of the function's own. */
typedef void OwnTurn(void* out, void* columns, const void* entering, const void* leaving, ptrdiff_t n,
                     const OwnBlurPlan& plan);

/* One vector of means: in single precision where it is known to be enough, else in double. */
template <bool single> static inline OwnVec<int32_t> ownMeanOf(OwnVec<uint32_t> sums, const OwnBlurPlan& plan)
{
    const OwnVec<int32_t> s = ownAs<int32_t>(sums);
    if constexpr (single) return ownNearest(OwnVec<float>{ownToFloat(s).v * plan.rFloat});
    else {
        const OwnPair<double> wide = ownToDouble(s);
        return ownNearest(OwnPair<double>{{wide.lo.v * plan.r}, {wide.hi.v * plan.r}});
    }
}

/* 32-bit sums from 16-bit ones, S, along the rows of 8-bit samples; in the order of ownUnpack. */
template <class T, class S>
[[gnu::flatten]] static void ownTurnWide(void* out, void* columns, const void* entering, const void* leaving,
                                         ptrdiff_t n, const OwnBlurPlan& plan)
{
    constexpr ptrdiff_t lanes = OwnVec<S>::lanes, half = lanes / 2;
    uint32_t* column = (uint32_t*)columns;
    const auto turn = [&](ptrdiff_t at) {
        const auto in = ownUnpack(ownLoad<S>((const S*)entering + at)),
                   gone = ownUnpack(ownLoad<S>((const S*)leaving + at));
        const OwnVec<uint32_t> low = ownLoad<uint32_t>(column + at) + ownAs<uint32_t>(in.lo - gone.lo);
        const OwnVec<uint32_t> high = ownLoad<uint32_t>(column + at + half) + ownAs<uint32_t>(in.hi - gone.hi);
        ownStore(column + at, low);
        ownStore(column + at + half, high);
        return ownPack<int16_t>(ownMeanOf<false>(low, plan), ownMeanOf<false>(high, plan));
    };
    for (ptrdiff_t i = 0; i < n; i += 2 * lanes) {
        const OwnVec<int16_t> low = turn(i), high = turn(i + lanes);
        ownStore((T*)out + i, ownNarrow<T>(low, high));
    }
}

/* 32-bit sums all through. */
template <class T, bool single>
[[gnu::flatten]] static void ownTurn32(void* out, void* columns, const void* entering, const void* leaving, ptrdiff_t n,
                                       const OwnBlurPlan& plan)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, lanes = OwnVec<uint32_t>::lanes;
    uint32_t* column = (uint32_t*)columns;
    const auto turn = [&](ptrdiff_t at) {
        const OwnVec<uint32_t> s = ownLoad<uint32_t>(column + at) + ownLoad<uint32_t>((const uint32_t*)entering + at) -
                                   ownLoad<uint32_t>((const uint32_t*)leaving + at);
        ownStore(column + at, s);
        return ownMeanOf<single>(s, plan);
    };
    for (ptrdiff_t i = 0; i < n; i += step) {
        OwnVec<int32_t> mean[4];
        for (int j = 0; j < (int)(step / lanes); ++j) mean[j] = turn(i + j * lanes);
        if constexpr (sizeof(T) == 1)
            ownStore((T*)out + i,
                     ownNarrow<T>(ownNarrow<int16_t>(mean[0], mean[1]), ownNarrow<int16_t>(mean[2], mean[3])));
        else if constexpr (sizeof(T) == 2) ownStore((T*)out + i, ownNarrow<T>(mean[0], mean[1]));
        else ownStore((T*)out + i, mean[0]);
    }
}

/* ---- The row stage of integers ----------------------------------------------------------------------------------- */

/* S: sums along a row, C: sums of the window. The ring has one row more than the window: of zeros at first, then free. */
template <class T, class S, class C, OwnTurn* turn>
static void ownBlurStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnBlurPlan& plan = *(const OwnBlurPlan*)row.k;
    const int64_t ringRows = (int64_t)plan.nRows + 1;
    int64_t& place = *(int64_t*)row.scratch; /* of the row that enters */
    C* columns = (C*)(row.scratch + 64);
    S* levels = (S*)(columns + row.lineSamples);
    S* ring = levels + ownBoxLevels(plan.nCols) * row.lineSamples;
    if (row.first) {
        place = 0;
        memset(columns, 0, (size_t)row.lineSamples * sizeof(C));
        memset(ring, 0, (size_t)(ringRows * row.lineSamples) * sizeof(S));
    }
    const int64_t next = place + 1 < ringRows ? place + 1 : 0;
    S *entering = ring + place * row.lineSamples, *leaving = ring + next * row.lineSamples;
    ownBoxRow(entering, (const T*)rows[0], plan.nCols, row, levels);
    turn(out, columns, entering, leaving, row.n, plan);
    place = next;
}

/* ---- The row stage of floats ------------------------------------------------------------------------------------- */

static void ownAddDoubles(double* __restrict a, const double* __restrict b, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) a[i] += b[i];
}

/* The place of a row in its block is its number modulo the block's height. `begin` is the sum of the block's rows so far;
 * row j of `ends` is a row's sum until its block is full, then the sum of the block's rows from j on. Those of the block
 * before are overwritten one by one, just after their last use. */
struct OwnFloatBlur {
    int64_t* place; /* of the row that enters */
    double *begin, *levels, *ends;
};

static void ownEnterRow(const OwnFloatBlur& blur, const float* line, const OwnWindowRow& row, const OwnBlurPlan& plan)
{
    const ptrdiff_t n = (row.n + 63) / 64 * 64, step = row.lineSamples;
    double* entering = blur.ends + *blur.place * step;
    ownBoxRow(entering, line, plan.nCols, row, blur.levels);
    if (*blur.place == 0) memcpy(blur.begin, entering, (size_t)n * sizeof(double));
    else ownAddDoubles(blur.begin, entering, n);
    *blur.place = (*blur.place + 1) % plan.nRows;
    if (*blur.place == 0)
        for (int64_t j = plan.nRows - 2; j >= 0; --j)
            ownAddDoubles(blur.ends + j * step, blur.ends + (j + 1) * step, n);
}

static void ownBlurFloatStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnBlurPlan& plan = *(const OwnBlurPlan*)row.k;
    OwnFloatBlur blur;
    blur.place = (int64_t*)row.scratch;
    blur.begin = (double*)(row.scratch + 64);
    blur.levels = blur.begin + row.lineSamples;
    blur.ends = blur.levels + ownBoxLevels(plan.nCols) * row.lineSamples;
    if (row.first) *blur.place = 0;
    ownEnterRow(blur, (const float*)rows[0], row, plan);
    if (!row.isFull) return;

    /* The window is a whole block, or begins at the place that is filled next. */
    const double* begin = blur.begin;
    const double* end = *blur.place ? blur.ends + *blur.place * row.lineSamples : nullptr;
    if (end)
        ownEach2<float, double>(out, end, begin, row.n, [&](double a, double b) { return (float)((a + b) * plan.r); });
    else ownEach<float, double>(out, begin, row.n, [&](double a) { return (float)(a * plan.r); });
}

/* ---- The choice of a stage --------------------------------------------------------------------------------------- */

/* Bytes by quotients; sums of 16 bits along rows; of 32 bits, with means in single precision, and in double. */
struct OwnBlurForms {
    OwnWindowStage *bytes, *row16, *all32Single, *all32Double;
};
template <class T, class S>
constexpr OwnBlurForms ownBlurForms8 = {ownMean8Stage<T>, ownBlurStage<T, S, uint32_t, ownTurnWide<T, S>>,
                                        ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, true>>,
                                        ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, false>>};
template <class T>
constexpr OwnBlurForms ownBlurForms32 = {nullptr, nullptr, ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, true>>,
                                         ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, false>>};

static const OwnBlurForms ownBlurForms[OWN_DEPTHS] = {
    /*  1U */ ownBlurForms8<uint8_t, uint16_t>,
    /*  8U */ ownBlurForms8<uint8_t, uint16_t>,
    /*  8S */ ownBlurForms8<int8_t, int16_t>,
    /* 16U */ ownBlurForms32<uint16_t>,
    /* 16S */ ownBlurForms32<int16_t>,
    /* 32S */
    {nullptr, nullptr, nullptr, ownBlurStage<int32_t, uint32_t, uint32_t, ownTurn32<int32_t, false>>},
    /* 32F */ {nullptr, nullptr, nullptr, ownBlurFloatStage},
};

/* The stage, and with it the bytes of scratch for each sample of a line. */
static OwnWindowStage* ownPlanBlur(OwnBlurPlan* plan, uint32_t depth, int32_t nCols, int32_t nRows, int64_t* perSample)
{
    const int64_t n = (int64_t)nCols * nRows;
    *plan = {nCols, nRows, 1.0 / (double)n, (float)(1.0 / (double)n), 0, 0, 0, false};
    const OwnBlurForms& forms = ownBlurForms[ownSlot(depth)];
    const auto room = [=](int64_t sum, int64_t column) {
        return column + sum * (ownBoxLevels(nCols) + (int64_t)nRows + 1);
    };
    /* Odd n has no ties, and single precision errs by less than the distance of any s / n from the middle of two integers,
     * when s stays below 2^22. */
    const bool isSingle = n % 2 == 1 && n < (1 << 22) / (ownSampleBits(depth) > 8 ? 65535 : 255);
    if (depth == VEK_DEPTH_32F) return *perSample = room(8, 8), forms.all32Double;
    if (depth == VEK_DEPTH_32S) return *perSample = room(4, 4), forms.all32Double;
    if (forms.bytes && ownPlanMean8(plan)) return *perSample = ownMean8Room(*plan), forms.bytes;
    if (forms.row16 && nCols <= 255) return *perSample = room(2, 4), forms.row16;
    return *perSample = room(4, 4), isSingle ? forms.all32Single : forms.all32Double;
}

/* ---- The call ---------------------------------------------------------------------------------------------------- */

static bool ownBadAlpha(const VekImage* image)
{
    return image->alphaChannel < 0 || image->alphaChannel > image->nChannels;
}

void vekBlur(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
             int32_t anchorY)
{
    OWN_FACE("vekBlur", "veknlf");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((nRows<0||nCols<0));
    OWN_REFUSE_IF((anchorX<0||anchorY<0));
    if (nCols == 0 || nRows == 0) return vekCopy(srcImage, dstImage);
    OWN_REFUSE_IF((anchorX>=nCols||anchorY>=nRows));
    OWN_FAIL_IF(ownBadAlpha(srcImage) || ownBadAlpha(dstImage), VEK_StatusBadAlpha, "bad alpha channel's number");
    const OwnChannels from = ownChannels(srcImage), to = ownChannels(dstImage);
    OWN_FAIL_IF(from.count != to.count, VEK_StatusBadChannels, "bad channel's number");
    OWN_REFUSE_IF(srcImage->depth!=dstImage->depth);
    OWN_REFUSE_IF(srcImage->dataOrder!=dstImage->dataOrder);

    OwnBlurPlan plan;
    OwnWindow window = {};
    window.srcImage = srcImage;
    window.dstImage = dstImage;
    window.from = from;
    window.to = to;
    window.left = anchorX;
    window.right = nCols - 1 - anchorX;
    window.top = anchorY;
    window.bottom = nRows - 1 - anchorY;
    window.borderConst = srcImage->borderConst;
    window.k = &plan;
    window.scratchBytes = OWN_MEAN8_BYTES;
    window.oneByOne = true;
    const int rounding = fegetround();
    fesetround(FE_TONEAREST);
    window.stage = ownPlanBlur(&plan, srcImage->depth, nCols, nRows, &window.scratchPerSample);
    const OwnWindowEnd end = ownWindow(window);
    fesetround(rounding);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
    OWN_REFUSE_TEXT_IF(end == OWN_WINDOW_NO_TILE, "(dstImage->tileInfo->tileData == ((void*)(0)))");
}
