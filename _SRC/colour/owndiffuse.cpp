/* owndiffuse: error diffusion. From left to right, row by row, each sample becomes the nearer one of the two values about it
 * whose dropped bits are all zeros or all ones, and shares of its error go to samples that come later:
 *
 *     p = clamp(p + floor(error * share))     for each neighbour p in turn
 *
 * A sample is taken when it has got all of its shares, in the order of the samples that they come from. So a row needs, of
 * the rows above, no more than their errors. */
#include "ownbits.h"

/* ---- Shares -------------------------------------------------------------------------------------------------------- */

/* Of 4 and of 13 fractional bits, made 16. */
static constexpr OwnShares ownMakeShares(int shift, OwnShares w)
{
    for (int16_t* row : {w.above2, w.above})
        for (int i = 0; i < 5; ++i) row[i] = (int16_t)(row[i] << shift);
    for (int16_t& share : w.same) share = (int16_t)(share << shift);
    return w;
}
static const OwnShares ownFloydSteinberg = ownMakeShares(12, {{}, {0, 1, 5, 3, 0}, {0, 7}}),
                       ownJarvis = ownMakeShares(3,
                                                 {{171, 513, 855, 513, 171}, {513, 855, 1197, 855, 513}, {855, 1197}}),
                       ownStucki = ownMakeShares(3,
                                                 {{195, 390, 780, 390, 195}, {390, 780, 1560, 780, 390}, {780, 1560}});

const OwnShares* ownSharesOf(int32_t ditherType)
{
    return ditherType == 2 ? &ownFloydSteinberg : ditherType == 4 ? &ownJarvis : &ownStucki;
}

/* ---- One sample after the other ------------------------------------------------------------------------------------ */

/* p with the error's share. */
template <class T> static inline int ownGive(int p, int error, int share)
{
    return ownClamp<T>(p + (error * share >> 16));
}

template <class T> static void ownDiffuseRow(OwnBand& band, uint8_t* row)
{
    const OwnShares& shares = *band.shares;
    const int dropped = (int)band.dropped;
    int16_t *above2 = band.errors[0] - OWN_REACH, *above = band.errors[1] - OWN_REACH, *errors = band.errors[2];
    int same[2] = {0, 0};
    for (ptrdiff_t x = 0; x < band.n; ++x) {
        T sample;
        memcpy(&sample, row + x * band.stepBytes, sizeof(T));
        int p = sample;
        for (int i = 0; i < 5; ++i) p = ownGive<T>(p, above2[x + i], shares.above2[i]);
        for (int i = 0; i < 5; ++i) p = ownGive<T>(p, above[x + i], shares.above[i]);
        for (int i = 0; i < 2; ++i) p = ownGive<T>(p, same[i], shares.same[i]);
        const int low = p & dropped, error = low > dropped >> 1 ? low - dropped : low;
        sample = (T)(p - error);
        memcpy(row + x * band.stepBytes, &sample, sizeof(T));
        same[0] = same[1];
        same[1] = error;
        errors[x] = (int16_t)error;
    }
}

template <class T> static void ownDiffusePlain(OwnBand& band)
{
    for (int y = 0; y < band.nRows; ++y) {
        ownDiffuseRow<T>(band, band.samples + y * band.rowStep);
        std::rotate(band.errors, band.errors + 1, band.errors + 3);
    }
}

/* ---- A lane for each row ------------------------------------------------------------------------------------------- */

/* Each row runs OWN_LAG columns behind the row above it: at step t, lane r does column t - OWN_LAG * r. The errors that a
 * lane needs have then been known for three steps or more; those of the rows above are read one or two lanes further down.
 * Steps go in chunks that fit the first-level cache. */
enum {
    OWN_LAG = 5,
    OWN_STEPS = 64,
    OWN_PAST = 2 * OWN_LAG + OWN_REACH,
    OWN_LAST_BEGINS = OWN_LAG * (int)OWN_BAND_ROWS
};

struct alignas(64) OwnWave {
    enum { LANES = OWN_BAND_ROWS, STRIDE = LANES + 2 };
    uint16_t samples[OWN_STEPS][LANES];
    int16_t errors[OWN_PAST + OWN_STEPS][STRIDE]; /* lanes -2 and -1 are the rows above the band */
    OwnVec<int16_t> same[2];
};

/* The steps of a chunk at which a column lies in the row. */
struct OwnStepRange {
    ptrdiff_t first, end;
};
static OwnStepRange ownStepsOf(const OwnBand& band, ptrdiff_t t, ptrdiff_t nSteps, int lane)
{
    const ptrdiff_t x = t - OWN_LAG * (ptrdiff_t)lane;
    return {std::max<ptrdiff_t>(-x, 0), std::min(nSteps, band.n - x)};
}

/* Sample i of a chunk's lane, or where it would be. */
static inline uint8_t* ownLaneAt(const OwnBand& band, ptrdiff_t t, ptrdiff_t i, int lane)
{
    return band.samples + lane * band.rowStep + (t + i - OWN_LAG * lane) * band.stepBytes;
}

template <class T> static void ownTakeLanes(OwnWave& wave, const OwnBand& band, ptrdiff_t t, ptrdiff_t nSteps)
{
    for (int lane = 0; lane < band.nRows; ++lane) {
        const OwnStepRange steps = ownStepsOf(band, t, nSteps, lane);
        const uint8_t* p = ownLaneAt(band, t, steps.first, lane);
        for (ptrdiff_t i = steps.first; i < steps.end; ++i, p += band.stepBytes) {
            T sample;
            memcpy(&sample, p, sizeof(T));
            wave.samples[i][lane] = sample;
        }
    }
}
template <class T> static void ownPutLanes(const OwnWave& wave, const OwnBand& band, ptrdiff_t t, ptrdiff_t nSteps)
{
    for (int lane = 0; lane < band.nRows; ++lane) {
        const OwnStepRange steps = ownStepsOf(band, t, nSteps, lane);
        uint8_t* p = ownLaneAt(band, t, steps.first, lane);
        for (ptrdiff_t i = steps.first; i < steps.end; ++i, p += band.stepBytes) {
            const T sample = (T)wave.samples[i][lane];
            memcpy(p, &sample, sizeof(T));
        }
    }
}

/* Chunks of all lanes and steps whose samples lie side by side go eight steps at a time: of eight vectors, each with eight
 * steps of every eighth lane, the squares are transposed. Three zips do that. */
static void ownTransposeSquares(OwnVec<uint16_t> v[8])
{
    for (int stage = 0; stage < 3; ++stage) {
        OwnPair<uint16_t> pair[4];
        for (int i = 0; i < 4; ++i) pair[i] = {ownZipLow(v[i], v[i + 4]), ownZipHigh(v[i], v[i + 4])};
        for (int i = 0; i < 4; ++i) v[2 * i] = pair[i].lo, v[2 * i + 1] = pair[i].hi;
    }
}
template <class T> static void ownTakeSquares(OwnWave& wave, const OwnBand& band, ptrdiff_t t)
{
    for (ptrdiff_t i = 0; i < OWN_STEPS; i += 8) {
        T lines[8][OwnWave::LANES];
        for (int lane = 0; lane < OwnWave::LANES; ++lane)
            memcpy(&lines[lane % 8][lane & ~7], ownLaneAt(band, t, i, lane), 8 * sizeof(T));
        OwnVec<uint16_t> v[8];
        for (int j = 0; j < 8; ++j)
            if constexpr (sizeof(T) == 2) v[j] = ownLoad<uint16_t>(lines[j]);
            else v[j] = ownLoadWide<uint16_t, uint8_t>(lines[j]);
        ownTransposeSquares(v);
        for (int j = 0; j < 8; ++j) ownStore(wave.samples[i + j], v[j]);
    }
}
template <class T> static void ownPutSquares(const OwnWave& wave, const OwnBand& band, ptrdiff_t t)
{
    for (ptrdiff_t i = 0; i < OWN_STEPS; i += 8) {
        T lines[8][OwnWave::LANES];
        OwnVec<uint16_t> v[8];
        for (int j = 0; j < 8; ++j) v[j] = ownLoad<uint16_t>(wave.samples[i + j]);
        ownTransposeSquares(v);
        for (int j = 0; j < 8; j += sizeof(T) == 2 ? 1 : 2)
            if constexpr (sizeof(T) == 2) ownStore(lines[j], v[j]);
            else ownStore(lines[j], ownNarrow<uint8_t>(v[j], v[j + 1]));
        for (int lane = 0; lane < OwnWave::LANES; ++lane)
            memcpy(ownLaneAt(band, t, i, lane), &lines[lane % 8][lane & ~7], 8 * sizeof(T));
    }
}

/* The errors of the rows above for steps t + from to t + to - 1. */
static void ownTakeErrors(OwnWave& wave, const OwnBand& band, ptrdiff_t t, ptrdiff_t from, ptrdiff_t to)
{
    for (int row = 0; row < 2; ++row)
        for (ptrdiff_t i = from; i < to; ++i) {
            const ptrdiff_t x = t + i + OWN_LAG * (2 - row);
            wave.errors[OWN_PAST + i][row] = x >= 0 && x < band.n ? band.errors[row][x] : (int16_t)0;
        }
}

/* The errors of the band's last two rows take their place, column by column: columns to the left are no longer needed. */
static void ownPutErrors(const OwnWave& wave, OwnBand& band, ptrdiff_t t, ptrdiff_t nSteps)
{
    for (int row = 0; row < 2; ++row) {
        const int lane = band.nRows - 2 + row;
        const OwnStepRange steps = ownStepsOf(band, t, nSteps, lane);
        for (ptrdiff_t i = steps.first; i < steps.end; ++i)
            band.errors[row][t + i - OWN_LAG * lane] = wave.errors[OWN_PAST + i][2 + lane];
    }
}

/* Lanes of which the column at step t is not below 0. */
static OwnVec<int16_t> ownBegun(ptrdiff_t t)
{
    int16_t first[OwnWave::LANES];
    for (int lane = 0; lane < OwnWave::LANES; ++lane) first[lane] = (int16_t)(OWN_LAG * lane);
    return ownGreater(ownSet((int16_t)std::clamp<ptrdiff_t>(t + 1, 0, OWN_LAST_BEGINS)), ownLoad<int16_t>(first));
}

/* A sample in the upper bits of its lane, in place of 0 the lowest number: then saturation is the clamp. */
template <class T> static inline OwnVec<int16_t> ownRaise(OwnVec<uint16_t> p)
{
    return ownAs<int16_t>((sizeof(T) == 1 ? ownShiftLeft(p, 8) : p) ^ ownSet<uint16_t>(0x8000));
}
template <class T> static inline OwnVec<uint16_t> ownLower(OwnVec<int16_t> p)
{
    const OwnVec<uint16_t> raised = ownAs<uint16_t>(p) ^ ownSet<uint16_t>(0x8000);
    return sizeof(T) == 1 ? ownShiftRight(raised, 8) : raised;
}
template <class T> static inline OwnVec<int16_t> ownGive(OwnVec<int16_t> p, OwnVec<int16_t> error, int16_t share)
{
    const OwnVec<int16_t> part = ownMulHigh(error, ownSet(share));
    if constexpr (sizeof(T) == 2) return ownAddSat(p, part);
    else return ownAs<int16_t>(ownAddSat(ownAs<int8_t>(p), ownAs<int8_t>(ownShiftLeft(part, 8))));
}

template <class T, bool wide, bool atEnds>
static void ownStepLanes(OwnWave& wave, const OwnBand& band, ptrdiff_t t, ptrdiff_t nSteps)
{
    constexpr int stride = OwnWave::STRIDE, first = wide ? 0 : 1, end = wide ? 5 : 4;
    const OwnShares shares = *band.shares;
    const OwnVec<uint16_t> dropped = ownSet((uint16_t)band.dropped);
    const OwnVec<uint16_t> top = ownSet((uint16_t)(band.dropped - (band.dropped >> 1)));
    OwnVec<int16_t> same0 = wave.same[0], same1 = wave.same[1];
    for (ptrdiff_t i = 0; i < nSteps; ++i) {
        int16_t* errors = wave.errors[OWN_PAST + i] + 2;
        OwnVec<int16_t> p = ownRaise<T>(ownLoad<uint16_t>(wave.samples[i]));
        if constexpr (wide)
            for (int j = 0; j < 5; ++j)
                p = ownGive<T>(p, ownLoad<int16_t>(errors + (j - OWN_REACH - 2 * OWN_LAG) * stride - 2),
                               shares.above2[j]);
        for (int j = first; j < end; ++j)
            p = ownGive<T>(p, ownLoad<int16_t>(errors + (j - OWN_REACH - OWN_LAG) * stride - 1), shares.above[j]);
        if constexpr (wide) p = ownGive<T>(p, same0, shares.same[0]);
        p = ownGive<T>(p, same1, shares.same[1]);

        const OwnVec<uint16_t> sample = ownLower<T>(p), low = sample & dropped;
        OwnVec<uint16_t> error = low - (ownEqual(low & top, top) & dropped);
        ownStore(wave.samples[i], sample - error);
        if constexpr (atEnds) error = error & ownAs<uint16_t>(ownBegun(t + i) & ~ownBegun(t + i - band.n));
        ownStore(errors, error);
        same0 = same1;
        same1 = ownAs<int16_t>(error);
    }
    wave.same[0] = same0;
    wave.same[1] = same1;
}

template <class T, bool wide> static void ownDiffuseLanes(OwnBand& band)
{
    if (band.nRows == 1) return ownDiffusePlain<T>(band); /* the row above is then the last but one */
    OwnWave wave;
    memset(&wave, 0, sizeof(wave));
    const ptrdiff_t nSteps = band.n + OWN_LAG * (band.nRows - 1);
    ownTakeErrors(wave, band, 0, -OWN_PAST, 0);
    for (ptrdiff_t t = 0; t < nSteps; t += OWN_STEPS) {
        const ptrdiff_t n = std::min<ptrdiff_t>(OWN_STEPS, nSteps - t);
        const bool isInside = t >= OWN_LAST_BEGINS && t + OWN_STEPS <= band.n;
        const bool inSquares = isInside && band.nRows == OwnWave::LANES && band.stepBytes == (ptrdiff_t)sizeof(T);
        if (inSquares) ownTakeSquares<T>(wave, band, t);
        else ownTakeLanes<T>(wave, band, t, n);
        ownTakeErrors(wave, band, t, 0, n);
        if (isInside) ownStepLanes<T, wide, false>(wave, band, t, n);
        else ownStepLanes<T, wide, true>(wave, band, t, n);
        if (inSquares) ownPutSquares<T>(wave, band, t);
        else ownPutLanes<T>(wave, band, t, n);
        ownPutErrors(wave, band, t, n);
        memmove(wave.errors, wave.errors + n, sizeof(wave.errors[0]) * OWN_PAST);
    }
}

template <class T, bool wide> static constexpr OwnBandRow ownBandRow = {ownDiffuseLanes<T, wide>, ownDiffusePlain<T>};

const OwnBandRow ownNearRows[OWN_DEPTHS] = {
    /*  1U */ {},
    /*  8U */ ownBandRow<uint8_t, false>,
    /*  8S */ {},
    /* 16U */ ownBandRow<uint16_t, false>,
};
const OwnBandRow ownWideRows[OWN_DEPTHS] = {
    /*  1U */ {},
    /*  8U */ ownBandRow<uint8_t, true>,
    /*  8S */ {},
    /* 16U */ ownBandRow<uint16_t, true>,
};

/* ---- A picture ----------------------------------------------------------------------------------------------------- */

struct OwnDiffusion {
    const OwnShares* shares;
    const OwnBandRow* rows;
    uint32_t dropped;
    int nChannels;
    int16_t* errors[3][3]; /* of each channel */
};

OwnDiffusion* ownOpenDiffusion(int32_t ditherType, int nChannels, int32_t width, uint32_t dropped)
{
    const int64_t row = (int64_t)width + 2 * OWN_REACH, nErrors = 3 * nChannels * row;
    const int64_t bytes = (int64_t)sizeof(OwnDiffusion) + nErrors * (int64_t)sizeof(int16_t);
    OwnDiffusion* diffusion = bytes > PTRDIFF_MAX ? nullptr : (OwnDiffusion*)ownAlloc((size_t)bytes);
    if (!diffusion) return nullptr;
    *diffusion = {ownSharesOf(ditherType), ditherType == 2 ? ownNearRows : ownWideRows, dropped, nChannels, {}};
    int16_t* errors = (int16_t*)(diffusion + 1);
    memset(errors, 0, (size_t)nErrors * sizeof(int16_t));
    for (int c = 0; c < nChannels; ++c)
        for (int i = 0; i < 3; ++i, errors += row) diffusion->errors[c][i] = errors + OWN_REACH;
    return diffusion;
}

void ownDiffuse(OwnDiffusion* diffusion, const OwnView& view)
{
    const int bytes = view.sampleBits >> 3;
    OwnBand band = {};
    band.rowStep = view.rowStep;
    band.stepBytes = view.pixelStep * (ptrdiff_t)bytes;
    band.n = view.width;
    band.dropped = diffusion->dropped;
    band.shares = diffusion->shares;
    for (int32_t y = 0; y < view.height; y += OWN_BAND_ROWS)
        for (int c = 0; c < diffusion->nChannels; ++c) {
            band.samples = view.data + c * view.channelStep + y * view.rowStep;
            band.nRows = std::min<int32_t>(OWN_BAND_ROWS, view.height - y);
            std::copy_n(diffusion->errors[c], 3, band.errors);
            diffusion->rows[bytes == 1 ? OWN_8U : OWN_16U].run(band);
            std::copy_n(band.errors, 3, diffusion->errors[c]);
        }
}
