/* ownspectrum: real image and packed spectrum, in floating point.
 *
 * Rows go two to a lane: the transform Z of a + i b gives both, A[k] = (Z[k] + conj Z[n - k]) / 2 and
 * B[k] = (Z[k] - conj Z[n - k]) / 2i, at any length and without tables. Between the passes a spectrum lies in groups of
 * eight pairs of columns, each group row after row, a cell a row: so the rows' pass writes whole cache lines, and a
 * group is a bundle of the columns' pass as it stands. Group 0 holds the real columns, lane 0 the first and lane 1,
 * for an even width, the last; group g holds pairs 8 g - 7 to 8 g. For the exponent's plus sign the parts of every
 * cell of the work array are exchanged. */
#include "ownspectrum.h"
#include "ownbundle.h"

typedef OwnEight::Raw Eight;
typedef OwnCell<OwnEight> WorkCell;

static constexpr int OWN_BUNDLE_ROWS = 16; /* of the widest bundle */
static constexpr int OWN_STRIP_GROUPS = 4; /* groups that are transformed, and then written, together */

/* ---- Sizes ----------------------------------------------------------------------------------------------------- */

static int64_t ownRoundUp(int64_t n, int64_t unit) { return (n + unit - 1) / unit * unit; }

/* Cells of a group: whole bundles of rows. A multiple of 4096 bytes is avoided, since then the same row of all groups
 * would compete for the same few lines of a cache. */
static int64_t ownGroupCells(const OwnSpectrum& spectrum)
{
    const int64_t cells = ownRoundUp(spectrum.height, OWN_BUNDLE_ROWS);
    return cells % 64 == 0 ? cells + OWN_BUNDLE_ROWS : cells;
}

static int32_t ownPairs(const OwnSpectrum& spectrum) { return (spectrum.width - 1) / 2; }
static int64_t ownGroups(const OwnSpectrum& spectrum) { return 1 + (ownPairs(spectrum) + (int64_t)7) / 8; }

/* Floats of a line buffer. */
static int64_t ownLineFloats(const OwnSpectrum& spectrum) { return ownRoundUp(spectrum.width, 16); }

static bool ownIsLine(const OwnSpectrum& spectrum) { return spectrum.width == 1 || spectrum.height == 1; }

bool ownSpectrumPrepare(const OwnSpectrum& spectrum, OwnSpectrumReals* reals)
{
    const int32_t width = spectrum.width, height = spectrum.height;
    OwnFftCache* cache = spectrum.cache;
    reals->rowPlan = ownFftPlan(cache, width, ownFftKindOf(width));
    reals->columnPlan = reals->rowPlan ? ownFftPlan(cache, height, ownFftKindOf(height)) : nullptr;
    if (!reals->columnPlan) return false;

    const int64_t n = std::max(width, height);
    const int64_t spare = std::max(ownFftSpareCells(reals->rowPlan), ownFftSpareCells(reals->columnPlan));
    const int64_t cellBytes = ownIsLine(spectrum) ? 2 * sizeof(double) : sizeof(WorkCell);
    reals->cells = ownFftScratch(cache, OWN_FFT_CELLS, (2 * n + spare) * cellBytes);
    if (!reals->cells) return false;
    const int64_t lineFloats = ownIsLine(spectrum) ? n : (OWN_BUNDLE_ROWS + 1) * ownLineFloats(spectrum) + height;
    reals->lines = (float*)ownFftScratch(cache, OWN_FFT_LINES, lineFloats * (int64_t)sizeof(float));
    if (!reals->lines) return false;
    if (ownIsLine(spectrum)) return true;
    const int64_t workCells = ownGroups(spectrum) * ownGroupCells(spectrum);
    reals->work = ownFftScratch(cache, OWN_FFT_WORK, workCells * (int64_t)sizeof(WorkCell));
    return reals->work != nullptr;
}

/* ---- One channel ----------------------------------------------------------------------------------------------- */

/* The names that the steps below share. */
struct OwnSpectrumPass {
    const OwnSpectrum& spectrum;
    const OwnSpectrumReals& reals;
    const OwnPlane &src, &dst;
    const ptrdiff_t width = spectrum.width, height = spectrum.height, pairs = ownPairs(spectrum);
    const ptrdiff_t groups = (ptrdiff_t)ownGroups(spectrum), groupCells = (ptrdiff_t)ownGroupCells(spectrum);
    const bool isEven = spectrum.width % 2 == 0;
    const int re = spectrum.isForward ? 0 : 1, im = 1 - re; /* the parts of a cell of the work array */
    const double scale = spectrum.isScaled ? 1.0 / ((double)spectrum.width * spectrum.height) : 1.0;

    WorkCell* group(ptrdiff_t g) const { return (WorkCell*)reals.work + g * groupCells; }
    float* line(ptrdiff_t i) const { return reals.lines + i * ownLineFloats(spectrum); }
    Eight& part(WorkCell& cell, int which) const { return which ? cell.im : cell.re; }
};

/* ---- Rows to work and back ------------------------------------------------------------------------------------- */

/* Rows y to y + nRows of the source as floats; those beyond the last are zero. */
static void ownSourceRows(const OwnSpectrumPass& pass, ptrdiff_t y, int nRows, const float** rows)
{
    for (int i = 0; i < nRows; ++i) {
        if (y + i < pass.height) rows[i] = ownPlaneRow(pass.src, y + i, pass.line(i), pass.width);
        else rows[i] = (float*)memset(pass.line(OWN_BUNDLE_ROWS), 0, pass.width * sizeof(float));
    }
}

/* Stores eight columns of a bundle's spectra, real and imaginary parts, as rows y and on of a group. */
template <class K>
static inline void ownStoreGroup(const OwnSpectrumPass& pass, WorkCell* rows, OwnBlocks<K>& re, OwnBlocks<K>& im)
{
    re.transpose();
    im.transpose();
    for (int i = 0; i < re.rows; ++i) {
        pass.part(rows[i], pass.re) = re.v[i >> 3][i & 7];
        pass.part(rows[i], pass.im) = im.v[i >> 3][i & 7];
    }
}
template <class K>
static inline void ownLoadGroup(const OwnSpectrumPass& pass, WorkCell* rows, OwnBlocks<K>& re, OwnBlocks<K>& im)
{
    for (int i = 0; i < re.rows; ++i) {
        re.v[i >> 3][i & 7] = pass.part(rows[i], pass.re);
        im.v[i >> 3][i & 7] = pass.part(rows[i], pass.im);
    }
    re.transpose();
    im.transpose();
}

/* Takes the spectra of the rows apart into the groups. The sign of the exponent is that of the imaginary parts. */
template <class K> static void ownSplitRows(const OwnSpectrumPass& pass, ptrdiff_t y, const OwnCell<K>* z)
{
    typedef typename K::Real R;
    const R half = (R)(pass.scale / 2), halfIm = pass.spectrum.isForward ? half : -half;
    const ptrdiff_t n = pass.width;
    OwnBlocks<K> re = {}, im = {};
    re.set(0, z[0].re * (R)pass.scale, z[0].im * (R)pass.scale);
    if (pass.isEven) re.set(1, z[n / 2].re * (R)pass.scale, z[n / 2].im * (R)pass.scale);
    ownStoreGroup<K>(pass, pass.group(0) + y, re, im);
    for (ptrdiff_t g = 1; g < pass.groups; ++g) {
        for (int j = 0; j < 8; ++j) {
            const ptrdiff_t k = 8 * g - 7 + j;
            OwnCell<K> a = {}, b = {};
            if (k <= pass.pairs) a = z[k], b = z[n - k];
            re.set(j, (a.re + b.re) * half, (a.im + b.im) * half);
            im.set(j, (a.im - b.im) * halfIm, (b.re - a.re) * halfIm);
        }
        ownStoreGroup<K>(pass, pass.group(g) + y, re, im);
    }
}

/* The opposite: Z[k] = A[k] + i B[k], Z[n - k] = conj A[k] + i conj B[k]. For the exponent's plus sign they change
 * places. */
template <class K> static void ownJoinRows(const OwnSpectrumPass& pass, ptrdiff_t y, OwnCell<K>* z)
{
    typedef typename K::Real R;
    const R scale = (R)pass.scale;
    const ptrdiff_t n = pass.width;
    OwnBlocks<K> re, im;
    ownLoadGroup<K>(pass, pass.group(0) + y, re, im);
    z[0] = {re.first(0) * scale, re.second(0) * scale};
    if (pass.isEven) z[n / 2] = {re.first(1) * scale, re.second(1) * scale};
    for (ptrdiff_t g = 1; g < pass.groups; ++g) {
        ownLoadGroup<K>(pass, pass.group(g) + y, re, im);
        const int count = (int)std::min<ptrdiff_t>(8, pass.pairs - (8 * g - 8));
        for (int j = 0; j < count; ++j) {
            const ptrdiff_t k = 8 * g - 7 + j, at = pass.spectrum.isForward ? k : n - k;
            const OwnCell<K> a = {re.first(j) * scale, im.first(j) * scale},
                             b = {re.second(j) * scale, im.second(j) * scale};
            z[at] = {a.re - b.im, a.im + b.re};
            z[n - at] = {a.re + b.im, b.re - a.im};
        }
    }
}

template <class K> static void ownRowsToWork(const OwnSpectrumPass& pass)
{
    OwnCell<K>*cells = (OwnCell<K>*)pass.reals.cells, *spare = cells + pass.width;
    const float* rows[OWN_BUNDLE_ROWS];
    for (ptrdiff_t y = 0; y < pass.height; y += OwnBlocks<K>::rows) {
        ownSourceRows(pass, y, OwnBlocks<K>::rows, rows);
        ownBundleIn<K>(rows, pass.width, [=](ptrdiff_t x) { return cells + x; });
        ownFftRun(pass.reals.rowPlan, cells, cells, spare);
        ownSplitRows(pass, y, cells);
    }
}

template <class K> static void ownWorkToRows(const OwnSpectrumPass& pass)
{
    OwnCell<K>*cells = (OwnCell<K>*)pass.reals.cells, *spare = cells + pass.width;
    const bool isDirect = pass.dst.isFloatRun();
    float* rows[OWN_BUNDLE_ROWS];
    for (ptrdiff_t y = 0; y < pass.height; y += OwnBlocks<K>::rows) {
        const int nRows = (int)std::min<ptrdiff_t>(OwnBlocks<K>::rows, pass.height - y);
        for (int i = 0; i < nRows; ++i) rows[i] = isDirect ? (float*)pass.dst.row(y + i) : pass.line(i);
        ownJoinRows(pass, y, cells);
        ownFftRun(pass.reals.rowPlan, cells, cells, spare);
        ownBundleOut<K>(rows, nRows, pass.width, [=](ptrdiff_t x) { return cells[x]; });
        for (int i = 0; i < nRows && !isDirect; ++i)
            ownWriteReals[pass.dst.slot](pass.dst.row(y + i), rows[i], pass.dst.pixelStep, pass.width);
    }
}

/* ---- Columns --------------------------------------------------------------------------------------------------- */

/* The columns of a group, where they stand. */
static void ownColumns(const OwnSpectrumPass& pass, WorkCell* group)
{
    const OwnFftPlan* plan = pass.reals.columnPlan;
    if (plan->kind == OWN_FFT_SINGLE) return ownFftRun(plan, group, group, (WorkCell*)pass.reals.cells);

    OwnCell<OwnFour>*low = (OwnCell<OwnFour>*)pass.reals.cells, *high = low + pass.height, *spare = high + pass.height;
    for (ptrdiff_t y = 0; y < pass.height; ++y) {
        low[y] = {ownLowFour(group[y].re), ownLowFour(group[y].im)};
        high[y] = {ownHighFour(group[y].re), ownHighFour(group[y].im)};
    }
    ownFftRun(plan, low, low, spare);
    ownFftRun(plan, high, high, spare);
    for (ptrdiff_t y = 0; y < pass.height; ++y)
        group[y] = {ownJoinFours(low[y].re, high[y].re), ownJoinFours(low[y].im, high[y].im)};
}

/* The real columns, whose spectra are conjugate symmetrical: the first half in packed form, as columns of the
 * destination. */
static void ownWriteRealColumns(const OwnSpectrumPass& pass)
{
    WorkCell* group = pass.group(0);
    float* column = pass.line(OWN_BUNDLE_ROWS + 1);
    for (int lane = 0; lane < 1 + pass.isEven; ++lane) {
        for (ptrdiff_t y = 0; y < pass.height; ++y)
            column[y] = pass.part(group[(y + 1) / 2], y > 0 && y % 2 == 0 ? pass.im : pass.re)[lane];
        uint8_t* at = pass.dst.row(0) + (lane ? pass.width - 1 : 0) * pass.dst.pixelStep;
        ownWriteReals[pass.dst.slot](at, column, pass.dst.rowStep, pass.height);
    }
}

/* The opposite: the packed columns, which stand in the real parts of group 0, expanded into whole spectra. */
static void ownExpandRealColumns(const OwnSpectrumPass& pass)
{
    WorkCell* group = pass.group(0);
    Eight* packed = (Eight*)pass.reals.cells;
    const ptrdiff_t n = pass.height;
    for (ptrdiff_t y = 0; y < n; ++y) packed[y] = pass.part(group[y], pass.re);
    for (ptrdiff_t y = 0; y < n; ++y) {
        const ptrdiff_t k = std::min(y, n - y); /* the half that is stored */
        const Eight im = k == 0 || 2 * k == n ? Eight{} : packed[2 * k];
        pass.part(group[y], pass.re) = packed[k == 0 ? 0 : 2 * k - 1];
        pass.part(group[y], pass.im) = y <= n / 2 ? im : -im;
    }
}

/* ---- Work to packed rows and back ------------------------------------------------------------------------------ */

/* Pairs of columns of some groups, from 1 on, as rows of the destination. */
static void ownWriteStrip(const OwnSpectrumPass& pass, ptrdiff_t first, ptrdiff_t end)
{
    const ptrdiff_t x = 16 * first - 15, n = std::min(2 * pass.pairs + 1, 16 * end - 15) - x;
    const bool isDirect = pass.dst.isFloatRun();
    for (ptrdiff_t y = 0; y < pass.height; ++y) {
        float line[16 * OWN_STRIP_GROUPS];
        uint8_t* at = pass.dst.row(y) + x * pass.dst.pixelStep;
        for (ptrdiff_t g = first; g < end; ++g) {
            WorkCell& cell = pass.group(g)[y];
            const ptrdiff_t i = 16 * (g - first);
            float* out = isDirect && n - i >= 16 ? (float*)at + i : line + i;
            Eight a, b;
            ownInterleaveEight(pass.part(cell, pass.re), pass.part(cell, pass.im), &a, &b);
            ownStoreEight(out, a);
            ownStoreEight(out + 8, b);
        }
        const ptrdiff_t done = isDirect ? n / 16 * 16 : 0;
        if (done < n)
            ownWriteReals[pass.dst.slot](at + done * pass.dst.pixelStep, line + done, pass.dst.pixelStep, n - done);
    }
}

/* The packed source into the groups, real columns still packed. */
static void ownPackedToWork(const OwnSpectrumPass& pass)
{
    const float* rows[OWN_BUNDLE_ROWS];
    for (ptrdiff_t y = 0; y < pass.height; y += OWN_BUNDLE_ROWS) {
        ownSourceRows(pass, y, OWN_BUNDLE_ROWS, rows);
        for (int i = 0; i < OWN_BUNDLE_ROWS; ++i) {
            WorkCell& cell = pass.group(0)[y + i];
            pass.part(cell, pass.re) = Eight{rows[i][0], pass.isEven ? rows[i][pass.width - 1] : 0.0f};
            pass.part(cell, pass.im) = Eight{};
        }
        for (ptrdiff_t g = 1; g < pass.groups; ++g) {
            const ptrdiff_t x = 16 * g - 15, n = std::min<ptrdiff_t>(16, 2 * pass.pairs + 1 - x);
            for (int i = 0; i < OWN_BUNDLE_ROWS; ++i) {
                float line[16] = {};
                const float* in = n == 16 ? rows[i] + x : (float*)memcpy(line, rows[i] + x, n * sizeof(float));
                WorkCell& cell = pass.group(g)[y + i];
                ownDeinterleaveEight(ownLoadEight(in), ownLoadEight(in + 8), &pass.part(cell, pass.re),
                                     &pass.part(cell, pass.im));
            }
        }
    }
}

/* ---- One row or one column ------------------------------------------------------------------------------------- */

/* A single sequence, its samples stepBytes apart. */
template <class R>
static void ownLine(const OwnSpectrumPass& pass, const OwnFftPlan* plan, ptrdiff_t srcStep, ptrdiff_t dstStep)
{
    typedef OwnCell<OwnLanes<R, 1>> Cell;
    const ptrdiff_t n = plan->n;
    const R scale = (R)pass.scale, scaleIm = pass.spectrum.isForward ? scale : -scale;
    float* line = pass.reals.lines;
    Cell* cells = (Cell*)pass.reals.cells;
    ownReadReals[pass.src.slot](line, pass.src.row(0), srcStep, n);

    if (pass.spectrum.toPacked)
        for (ptrdiff_t j = 0; j < n; ++j) cells[j] = {line[j], 0};
    else {
        cells[0] = {line[0], 0};
        if (n % 2 == 0) cells[n / 2] = {line[n - 1], 0};
        for (ptrdiff_t k = 1; k <= (n - 1) / 2; ++k) {
            const R re = line[2 * k - 1], im = pass.spectrum.isForward ? line[2 * k] : -line[2 * k];
            cells[k] = {re, im};
            cells[n - k] = {re, -im};
        }
    }
    ownFftRun(plan, cells, cells, cells + n);
    if (pass.spectrum.toPacked)
        for (ptrdiff_t j = 0; j < n; ++j)
            line[j] = (float)(j > 0 && j % 2 == 0 ? cells[j / 2].im * scaleIm : cells[(j + 1) / 2].re * scale);
    else
        for (ptrdiff_t j = 0; j < n; ++j) line[j] = (float)(cells[j].re * scale);
    ownWriteReals[pass.dst.slot](pass.dst.row(0), line, dstStep, n);
}

/* ---- The channel ----------------------------------------------------------------------------------------------- */

void ownSpectrumRun(const OwnSpectrum& spectrum, const OwnSpectrumReals& reals, const OwnPlane& src,
                    const OwnPlane& dst)
{
    const OwnSpectrumPass pass = {spectrum, reals, src, dst};
    if (ownIsLine(spectrum)) {
        const bool isRow = pass.height == 1;
        const OwnFftPlan* plan = isRow ? reals.rowPlan : reals.columnPlan;
        const ptrdiff_t srcStep = isRow ? src.pixelStep : src.rowStep, dstStep = isRow ? dst.pixelStep : dst.rowStep;
        if (plan->kind == OWN_FFT_SINGLE) return ownLine<float>(pass, plan, srcStep, dstStep);
        return ownLine<double>(pass, plan, srcStep, dstStep);
    }
    const bool isSingle = reals.rowPlan->kind == OWN_FFT_SINGLE;
    if (spectrum.toPacked) {
        if (isSingle) ownRowsToWork<OwnEight>(pass);
        else ownRowsToWork<OwnFour>(pass);
        ownColumns(pass, pass.group(0));
        ownWriteRealColumns(pass);
        for (ptrdiff_t g = 1; g < pass.groups; g += OWN_STRIP_GROUPS) {
            const ptrdiff_t end = std::min(g + OWN_STRIP_GROUPS, pass.groups);
            for (ptrdiff_t i = g; i < end; ++i) ownColumns(pass, pass.group(i));
            ownWriteStrip(pass, g, end);
        }
    } else {
        ownPackedToWork(pass);
        ownExpandRealColumns(pass);
        for (ptrdiff_t g = 0; g < pass.groups; ++g) ownColumns(pass, pass.group(g));
        if (isSingle) ownWorkToRows<OwnEight>(pass);
        else ownWorkToRows<OwnFour>(pass);
    }
}
