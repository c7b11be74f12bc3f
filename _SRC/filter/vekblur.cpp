/* vekblur: the mean of a window: with s the sum of its n samples and r = 1 / n in double, s r, to the nearest integer, ties
 * to even.
 *
 * Each row is summed along itself once. Integers: these sums are kept in a ring, and each column's sum is kept up by adding
 * the row that enters the window and subtracting the one that leaves it. Floats: nothing is subtracted, which would carry
 * an infinity, or what was lost by rounding, from window to window. Rows are taken in blocks as high as the window, so
 * that each window is the end of a block and the begin of the next. */
#include "ownboxsum.h"

#include <fenv.h>

/* ---- The plan ---------------------------------------------------------------------------------------------------- */

struct OwnBlurPlan {
    int32_t nCols, nRows;
    double r;
    float rFloat;
    uint16_t factor; /* s / n is (s + n / 2) factor >> 16 >> shift, for 8-bit samples and odd n */
    int shift;
    int32_t n;
};

/* ---- Columns and means ------------------------------------------------------------------------------------------- */

/* One row further: column += entering - leaving, and the means of the columns' sums; whole vectors at a time. Columns are
 * kept in an order of the function's own. */
typedef void OwnTurn(void* out, void* columns, const void* entering, const void* leaving, ptrdiff_t n,
                     const OwnBlurPlan& plan);

/* 16-bit sums of 8-bit samples. Signed samples are counted from -128 on. */
template <class T>
[[gnu::flatten]] static void ownTurn16(void* out, void* columns, const void* entering, const void* leaving, ptrdiff_t n,
                                       const OwnBlurPlan& plan)
{
    constexpr ptrdiff_t lanes = OwnVec<uint16_t>::lanes;
    constexpr bool isSigned = std::is_signed_v<T>;
    uint16_t* column = (uint16_t*)columns;
    const OwnVec<uint16_t> half = ownSet((uint16_t)(plan.n / 2 + (isSigned ? 128 * plan.n : 0)));
    const OwnVec<uint16_t> factor = ownSet(plan.factor);
    const OwnVec<uint8_t> flip = ownSet((uint8_t)(isSigned ? 128 : 0));
    const auto turn = [&](ptrdiff_t at) {
        const OwnVec<uint16_t> s = ownLoad<uint16_t>(column + at) + ownLoad<uint16_t>((const uint16_t*)entering + at) -
                                   ownLoad<uint16_t>((const uint16_t*)leaving + at);
        ownStore(column + at, s);
        return ownAs<int16_t>(ownShiftRight(ownMulHigh(s + half, factor), plan.shift));
    };
    for (ptrdiff_t i = 0; i < n; i += 2 * lanes) {
        const OwnVec<int16_t> low = turn(i), high = turn(i + lanes);
        ownStore((uint8_t*)out + i, ownNarrow<uint8_t>(low, high) ^ flip);
    }
}

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
template <class T, class S, bool single>
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
        return ownPack<int16_t>(ownMeanOf<single>(low, plan), ownMeanOf<single>(high, plan));
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
    float* means = (float*)out;
    for (ptrdiff_t i = 0; i < row.n; ++i) means[i] = (float)((end ? end[i] + begin[i] : begin[i]) * plan.r);
}

/* ---- The choice of a stage --------------------------------------------------------------------------------------- */

/* Sums of 16 bits along rows and in the window; of 16 along rows alone; of 32 bits, with means in single precision, and in
 * double. */
struct OwnBlurForms {
    OwnWindowStage *all16, *row16Single, *row16Double, *all32Single, *all32Double;
};
template <class T, class S>
constexpr OwnBlurForms ownBlurForms8 = {
    ownBlurStage<T, S, uint16_t, ownTurn16<T>>, ownBlurStage<T, S, uint32_t, ownTurnWide<T, S, true>>,
    ownBlurStage<T, S, uint32_t, ownTurnWide<T, S, false>>, ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, true>>,
    ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, false>>};
template <class T>
constexpr OwnBlurForms ownBlurForms32 = {nullptr, nullptr, nullptr,
                                         ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, true>>,
                                         ownBlurStage<T, uint32_t, uint32_t, ownTurn32<T, false>>};

static const OwnBlurForms ownBlurForms[OWN_DEPTHS] = {
    /*  1U */ ownBlurForms8<uint8_t, uint16_t>,
    /*  8U */ ownBlurForms8<uint8_t, uint16_t>,
    /*  8S */ ownBlurForms8<int8_t, int16_t>,
    /* 16U */ ownBlurForms32<uint16_t>,
    /* 16S */ ownBlurForms32<int16_t>,
    /* 32S */
    {nullptr, nullptr, nullptr, nullptr, ownBlurStage<int32_t, uint32_t, uint32_t, ownTurn32<int32_t, false>>},
    /* 32F */ {nullptr, nullptr, nullptr, nullptr, ownBlurFloatStage},
};

/* The quotient's error stays below its distance from the next integer when 256 (factor n - 2^(16 + shift)) is below the
 * factor. */
static bool ownPlanFactor(OwnBlurPlan* plan, int64_t n)
{
    if (n % 2 == 0 || n > 255 || n == 1) return false;
    plan->shift = (int)std::bit_width((uint32_t)n) - 1;
    const int64_t scale = (int64_t)1 << (16 + plan->shift), factor = (scale + n - 1) / n;
    plan->factor = (uint16_t)factor;
    return 256 * (factor * n - scale) < factor;
}

/* The stage, and with it the bytes of scratch for each sample of a line. */
static OwnWindowStage* ownPlanBlur(OwnBlurPlan* plan, uint32_t depth, int32_t nCols, int32_t nRows, int64_t* perSample)
{
    const int64_t n = (int64_t)nCols * nRows;
    *plan = {nCols, nRows, 1.0 / (double)n, (float)(1.0 / (double)n), 0, 0, (int32_t)std::min<int64_t>(n, INT32_MAX)};
    const OwnBlurForms& forms = ownBlurForms[ownSlot(depth)];
    const auto room = [=](int64_t sum, int64_t column) {
        return column + sum * (ownBoxLevels(nCols) + (int64_t)nRows + 1);
    };
    /* Odd n has no ties, and single precision errs by less than the distance of any s / n from the middle of two integers,
     * when s stays below 2^22. */
    const bool isSingle = n % 2 == 1 && n * (ownSampleBits(depth) > 8 ? 65535 : 255) < 1 << 22;
    if (depth == VEK_DEPTH_32F) return *perSample = room(8, 8), forms.all32Double;
    if (depth == VEK_DEPTH_32S) return *perSample = room(4, 4), forms.all32Double;
    if (forms.all16 && nCols <= 255) {
        if (ownPlanFactor(plan, n)) return *perSample = room(2, 2), forms.all16;
        return *perSample = room(2, 4), isSingle ? forms.row16Single : forms.row16Double;
    }
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
    window.stage = ownPlanBlur(&plan, srcImage->depth, nCols, nRows, &window.scratchPerSample);
    window.k = &plan;
    window.scratchBytes = 64;
    window.oneByOne = true;
    const int rounding = fegetround();
    fesetround(FE_TONEAREST);
    const OwnWindowEnd end = ownWindow(window);
    fesetround(rounding);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
    OWN_REFUSE_TEXT_IF(end == OWN_WINDOW_NO_TILE, "(dstImage->tileInfo->tileData == ((void*)(0)))");
}
