/* owncosine: the cosine transform of any size, by way of the complex one.
 *
 * With the even samples first and the odd ones after them in reverse, v = x0 x2 x4 ... x5 x3 x1, the transform V of v
 * gives X[k] = Re(exp(-i pi k / 2n) V[k]), and X[n - k] = -Im of the same. Two sequences a, b go together as a + i b
 * (as in ownspectrum), in double at every length: results are chopped, so an error of the last place could cost a
 * whole level. For the same reason sums stay unscaled until the end: those of whole numbers are whole. Between the
 * passes samples lie as floats in groups of eight columns, row after row. */
#include "owncosine.h"
#include "ownbundle.h"

#include "../frame/ownthread.h"

typedef OwnEight::Raw Eight;
typedef OwnFour::Raw Four;
typedef OwnCell<OwnFour> Cell;

static constexpr int OWN_BUNDLE = 8;       /* sequences, four real parts and four imaginary */
static constexpr int OWN_STRIP_GROUPS = 8; /* groups that are written together */
static constexpr double OWN_ROOT2 = 1.41421356237309504880;

/* ---- What a thread keeps --------------------------------------------------------------------------------------- */

static constexpr int OWN_PLANS = 32;
enum { OWN_WORK, OWN_CELLS, OWN_LINES, OWN_BLOCKS };

/* An array of null pointers, once. */
static bool ownHaveArray(void*** array, int count)
{
    if (*array) return true;
    *array = (void**)ownAlloc(count * sizeof(void*));
    if (*array) std::fill_n(*array, count, nullptr);
    return *array != nullptr;
}

static const OwnFftPlan* ownFindPlan(const VekThreadContext* context, int32_t n)
{
    for (int32_t i = 0; i < context->dctPlanCount; ++i)
        if (((OwnFftPlan*)context->dctPlans[i])->n == n) return (OwnFftPlan*)context->dctPlans[i];
    return nullptr;
}

static const OwnFftPlan* ownCosinePlan(VekThreadContext* context, int32_t n)
{
    if (const OwnFftPlan* found = ownFindPlan(context, n)) return found;
    if (!ownHaveArray(&context->dctPlans, OWN_PLANS) || context->dctPlanCount == OWN_PLANS) return nullptr;
    OwnFftPlan* plan = ownFftMake(n, OWN_FFT_DOUBLE);
    if (plan) context->dctPlans[context->dctPlanCount++] = plan;
    return plan;
}

/* The quarter circle for a length: cos(k pi / 2n) and sin(k pi / 2n). A table serves all lengths that divide its
 * own. */
struct OwnQuarter {
    const double* table;
    ptrdiff_t n, step; /* the table's length, and how many times it is the one asked for */
    double c(ptrdiff_t k) const { return table[k * step]; }
    double s(ptrdiff_t k) const { return table[n - k * step]; }
};

static int64_t ownQuarterBytes(int64_t n) { return (n + 1) * (int64_t)sizeof(double); }

/* The thread's table holds the cosines of one length, and says by its key, four times the length, of which. A larger
 * block forgets them. */
static bool ownHaveTable(VekThreadContext* context, int64_t n)
{
    if (n > INT32_MAX / 4) return false;
    if (ownKeptBytes(context->dctTable) < ownQuarterBytes(n)) context->dctTableKey = 0;
    return ownKeptBlock(&context->dctTable, ownQuarterBytes(n)) != nullptr;
}

/* There is room: the table is filled anew when it does not hold the length. */
static OwnQuarter ownQuarter(VekThreadContext* context, int32_t n)
{
    double* table = (double*)ownKeptBlock(&context->dctTable, ownQuarterBytes(n));
    if (context->dctTableKey < 4 || context->dctTableKey / 4 % n != 0) {
        for (ptrdiff_t k = 0; k <= n; ++k) {
            double s;
            ownFftRoot(k, 4 * (int64_t)n, &table[k], &s);
        }
        context->dctTableKey = 4 * n;
    }
    return {table, context->dctTableKey / 4, context->dctTableKey / 4 / n};
}

/* ---- Sizes ----------------------------------------------------------------------------------------------------- */

static int64_t ownRoundUp(int64_t n, int64_t unit) { return (n + unit - 1) / unit * unit; }

/* Rows of a group; see ownspectrum for the odd multiple. */
static int64_t ownGroupRows(const OwnCosine& cosine)
{
    const int64_t rows = ownRoundUp(cosine.height, OWN_BUNDLE);
    return rows % 64 == 0 ? rows + OWN_BUNDLE : rows;
}
static int64_t ownGroups(const OwnCosine& cosine) { return (cosine.width + (int64_t)7) / 8; }
static int64_t ownLineFloats(const OwnCosine& cosine) { return ownRoundUp(cosine.width, 16); }

bool ownCosinePrepare(const OwnCosine& cosine, OwnCosineTables* tables)
{
    VekThreadContext* context = cosine.context;
    const int64_t n = std::max(cosine.width, cosine.height);
    tables->rowPlan = ownCosinePlan(context, cosine.width);
    tables->columnPlan = tables->rowPlan ? ownCosinePlan(context, cosine.height) : nullptr;
    if (!tables->columnPlan) return false;
    const int64_t spare = std::max(ownFftSpareCells(tables->rowPlan), ownFftSpareCells(tables->columnPlan));

    if (!ownHaveTable(context, n) || !ownHaveArray(&context->dctBlocks, OWN_BLOCKS)) return false;
    context->dctBlockCount = OWN_BLOCKS;
    tables->work = ownKeptBlock(&context->dctBlocks[OWN_WORK],
                                ownGroups(cosine) * ownGroupRows(cosine) * (int64_t)sizeof(Eight));
    tables->cells = ownKeptBlock(&context->dctBlocks[OWN_CELLS], (n + spare) * (int64_t)sizeof(Cell));
    tables->lines = (float*)ownKeptBlock(&context->dctBlocks[OWN_LINES],
                                         (OWN_BUNDLE + 1) * ownLineFloats(cosine) * (int64_t)sizeof(float));
    return tables->work && tables->cells && tables->lines;
}

/* ---- A bundle -------------------------------------------------------------------------------------------------- */

/* Where sample x goes: even ones first, odd ones from the end. */
static inline ptrdiff_t ownPlace(ptrdiff_t x, ptrdiff_t n) { return x % 2 == 0 ? x / 2 : n - (x + 1) / 2; }

/* From V to X, in place, two sequences a cell. */
static void ownTurnForward(const OwnQuarter& quarter, ptrdiff_t n, Cell* z)
{
    for (ptrdiff_t k = 1; k < n - k; ++k) {
        const double c = quarter.c(k) / 2, s = quarter.s(k) / 2;
        const Cell v = z[k], w = z[n - k];
        const Four aRe = v.re + w.re, aIm = v.im - w.im, bRe = v.im + w.im, bIm = w.re - v.re;
        z[k] = {aRe * c + aIm * s, bRe * c + bIm * s};
        z[n - k] = {aRe * s - aIm * c, bRe * s - bIm * c};
    }
    if (n % 2 == 0) z[n / 2] = {z[n / 2].re * (OWN_ROOT2 / 2), z[n / 2].im * (OWN_ROOT2 / 2)};
}

/* From X to V, each in the place of its opposite, which makes the transform an inverse one. */
static void ownTurnInverse(const OwnQuarter& quarter, ptrdiff_t n, Cell* z)
{
    for (ptrdiff_t k = 1; k < n - k; ++k) {
        const double c = quarter.c(k) / 2, s = quarter.s(k) / 2;
        const Cell x = z[k], y = z[n - k];
        const Four aRe = x.re * c + y.re * s, aIm = x.re * s - y.re * c;
        const Four bRe = x.im * c + y.im * s, bIm = x.im * s - y.im * c;
        z[n - k] = {aRe - bIm, aIm + bRe};
        z[k] = {aRe + bIm, bRe - aIm};
    }
    if (n % 2 == 0) z[n / 2] = {z[n / 2].re * (OWN_ROOT2 / 2), z[n / 2].im * (OWN_ROOT2 / 2)};
}

/* ---- Passes ---------------------------------------------------------------------------------------------------- */

struct OwnCosinePass {
    const OwnCosine& cosine;
    const OwnCosineTables& tables;
    const OwnPlane &src, &dst;
    const ptrdiff_t width = cosine.width, height = cosine.height;
    const ptrdiff_t groups = (ptrdiff_t)ownGroups(cosine), groupRows = (ptrdiff_t)ownGroupRows(cosine);
    Cell* const cells = (Cell*)tables.cells;
    const double scale = 1.0 / __builtin_sqrt((double)cosine.width * cosine.height);

    Eight* group(ptrdiff_t g) const { return (Eight*)tables.work + g * groupRows; }
    float* line(ptrdiff_t i) const { return tables.lines + i * ownLineFloats(cosine); }
};

/* The factors of eight neighbouring sequences, the first of which may be number 0: in entry 0 and in the others. */
struct OwnFactors {
    Four first[2], rest[2];
    OwnFactors(double s, bool hasZero)
    {
        for (int i = 0; i < 2; ++i) {
            first[i] = Four{} + s * OWN_ROOT2;
            rest[i] = Four{} + s * 2;
        }
        if (!hasZero) return;
        first[0][0] = s;
        rest[0][0] = s * OWN_ROOT2;
    }
    Cell times(const Cell& x, ptrdiff_t k) const
    {
        return k == 0 ? Cell{x.re * first[0], x.im * first[1]} : Cell{x.re * rest[0], x.im * rest[1]};
    }
};

static void ownSourceRows(const OwnCosinePass& pass, ptrdiff_t y, const float** rows)
{
    for (int i = 0; i < OWN_BUNDLE; ++i) {
        if (y + i < pass.height) rows[i] = ownPlaneRow(pass.src, y + i, pass.line(i), pass.width);
        else rows[i] = (float*)memset(pass.line(OWN_BUNDLE), 0, pass.width * sizeof(float));
    }
}

static void ownRowsPass(const OwnCosinePass& pass)
{
    const OwnQuarter quarter = ownQuarter(pass.cosine.context, pass.cosine.width);
    const ptrdiff_t n = pass.width;
    const bool isForward = pass.cosine.isForward;
    Cell* cells = pass.cells;
    const float* rows[OWN_BUNDLE];
    for (ptrdiff_t y = 0; y < pass.height; y += OWN_BUNDLE) {
        ownSourceRows(pass, y, rows);
        if (isForward) ownBundleIn<OwnFour>(rows, n, [=](ptrdiff_t x) { return cells + ownPlace(x, n); });
        else {
            const OwnFactors factors(pass.scale, y == 0);
            ownBundleIn<OwnFour>(rows, n, [=](ptrdiff_t x) { return cells + x; });
            for (ptrdiff_t x = 0; x < n; ++x) cells[x] = factors.times(cells[x], x);
            ownTurnInverse(quarter, n, cells);
        }
        ownFftRun(pass.tables.rowPlan, cells, cells, cells + n);
        if (isForward) ownTurnForward(quarter, n, cells);
        for (ptrdiff_t g = 0; g < pass.groups; ++g) {
            OwnBlocks<OwnFour> blocks = {};
            const int count = (int)std::min<ptrdiff_t>(8, n - 8 * g);
            for (int j = 0; j < count; ++j) {
                const Cell& cell = cells[isForward ? 8 * g + j : ownPlace(8 * g + j, n)];
                blocks.set(j, cell.re, cell.im);
            }
            blocks.transpose();
            for (int i = 0; i < OWN_BUNDLE; ++i) pass.group(g)[y + i] = blocks.v[0][i];
        }
    }
}

/* A group of eight columns, where they stand. */
static void ownColumnsPass(const OwnCosinePass& pass, const OwnQuarter& quarter, ptrdiff_t g)
{
    const ptrdiff_t n = pass.height;
    const bool isForward = pass.cosine.isForward;
    const OwnFactors factors(pass.scale, g == 0);
    Cell* cells = pass.cells;
    Eight* group = pass.group(g);
    for (ptrdiff_t y = 0; y < n; ++y)
        cells[isForward ? ownPlace(y, n) : y] = {ownLowFour(group[y]), ownHighFour(group[y])};
    if (!isForward) ownTurnInverse(quarter, n, cells);
    ownFftRun(pass.tables.columnPlan, cells, cells, cells + n);
    if (isForward) ownTurnForward(quarter, n, cells);
    for (ptrdiff_t y = 0; y < n; ++y) {
        const Cell cell = isForward ? factors.times(cells[y], y) : cells[ownPlace(y, n)];
        group[y] = ownJoinFours(cell.re, cell.im);
    }
}

/* The columns of some groups, as rows of the destination. */
static void ownWriteStrip(const OwnCosinePass& pass, ptrdiff_t first, ptrdiff_t end)
{
    const ptrdiff_t n = std::min(pass.width, 8 * end) - 8 * first;
    for (ptrdiff_t y = 0; y < pass.height; ++y) {
        float line[8 * OWN_STRIP_GROUPS];
        for (ptrdiff_t g = first; g < end; ++g) ownStoreEight(line + 8 * (g - first), pass.group(g)[y]);
        ownWriteReals[pass.dst.slot](pass.dst.row(y) + 8 * first * pass.dst.pixelStep, line, pass.dst.pixelStep, n);
    }
}

void ownCosineRun(const OwnCosine& cosine, const OwnCosineTables& tables, const OwnPlane& src, const OwnPlane& dst)
{
    const OwnCosinePass pass = {cosine, tables, src, dst};
    ownRowsPass(pass);
    const OwnQuarter quarter = ownQuarter(cosine.context, cosine.height);
    for (ptrdiff_t g = 0; g < pass.groups; g += OWN_STRIP_GROUPS) {
        const ptrdiff_t end = std::min(g + OWN_STRIP_GROUPS, pass.groups);
        for (ptrdiff_t i = g; i < end; ++i) ownColumnsPass(pass, quarter, i);
        ownWriteStrip(pass, g, end);
    }
}
