/* ownwarprow: the row kernels of the warps: samples of the pixels that positions mean, and samples between samples. */
#include "ownspots.h"

#include "ownsimd.h"

static constexpr int OWN_WORDS = (int)OwnVec<int32_t>::lanes; /* pixels that are blended at a time */

/* ---- Results to their places ------------------------------------------------------------------------------------- */

/* Results of a block to their channel of the destination. */
template <class T> static void ownPutBlock(const OwnWarpRun& run, const OwnSpots& s, const T* result, uint8_t* out)
{
    if (run.tests) {
        for (int i = 0; i < s.n; ++i)
            if (!s.skip[i]) memcpy(out + i * run.outPixelStep, result + i, sizeof(T));
    } else if (run.outPixelStep == sizeof(T)) {
        memcpy(out, result, (size_t)s.n * sizeof(T));
    } else {
        for (int i = 0; i < s.n; ++i) memcpy(out + i * run.outPixelStep, result + i, sizeof(T));
    }
}

/* Where a run's pixel stands. */
static uint8_t* ownOutAt(const OwnWarpRun& run, int32_t y, int32_t left)
{
    return run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep + (left - (ptrdiff_t)run.xOut) * run.outPixelStep;
}

/* ---- Neighbourhoods ------------------------------------------------------------------------------------------------ */

/* The samples around the pixels of a block, side x side of each, as they lie in words of memory: word w of row r of all
 * pixels, then the next. A row of pixels that lie close together comes in one piece, all channels, the last word ending
 * with its last sample; otherwise each sample has a word of its own, and one channel is fetched at a time. */
enum { OWN_PATCH_WORDS = 8 };
struct OwnPatch {
    alignas(64) uint32_t word[4][OWN_PATCH_WORDS][OWN_BLOCK];
};

struct OwnPatchPlan {
    int side, sampleBytes;
    bool together;
    int nWords;
    ptrdiff_t offset[OWN_PATCH_WORDS]; /* of a word from the pixel */
    ptrdiff_t rowStep, pixelStep;
};

static OwnPatchPlan ownPlanPatch(const OwnWarpRun& run, int side, int sampleBytes)
{
    const ptrdiff_t bytes = (side - 1) * run.pixelStep + run.count * sampleBytes;
    OwnPatchPlan plan = {side, sampleBytes, false, side, {}, run.rowStep, run.pixelStep};
    plan.together = (run.count == 1 || run.channelStep == sampleBytes) && bytes >= 4 && bytes <= 4 * OWN_PATCH_WORDS &&
                    run.pixelStep <= 2 * run.count * sampleBytes;
    if (plan.together) plan.nWords = bytes > 24 ? OWN_PATCH_WORDS : (int)((bytes + 3) / 4);
    for (int w = 0; w < plan.nWords; ++w)
        plan.offset[w] = plan.together ? std::min<ptrdiff_t>(4 * w, bytes - 4) : w * run.pixelStep;
    return plan;
}

template <int nWords, int side, class Word>
static void ownFetchWords(OwnPatch* patch, const OwnPatchPlan& plan, const OwnSpots& s, const uint8_t* data, int n)
{
    const uint8_t* from[side][nWords];
    for (int r = 0; r < side; ++r)
        for (int w = 0; w < nWords; ++w) from[r][w] = data + r * plan.rowStep + plan.offset[w];
#pragma GCC unroll 4
    for (int i = 0; i < n; ++i) {
        const ptrdiff_t at = s.at[i];
        for (int r = 0; r < side; ++r)
            for (int w = 0; w < nWords; ++w) {
                Word word;
                memcpy(&word, from[r][w] + at, sizeof(Word));
                patch->word[r][w][i] = word;
            }
    }
}

/* Two neighbours of bytes, as the two low bytes of a word. */
static void ownFetchPairs(OwnPatch* patch, const OwnPatchPlan& plan, const OwnSpots& s, const uint8_t* data, int n)
{
    const uint8_t* below = data + plan.rowStep;
#pragma GCC unroll 4
    for (int i = 0; i < n; ++i) {
        uint16_t top, bottom;
        memcpy(&top, data + s.at[i], 2);
        memcpy(&bottom, below + s.at[i], 2);
        patch->word[0][0][i] = top;
        patch->word[1][0][i] = bottom;
    }
}

template <int side>
static void ownFetchTogether(OwnPatch* patch, const OwnPatchPlan& plan, const OwnSpots& s, const uint8_t* data, int n)
{
    switch (plan.nWords) {
    case 1: return ownFetchWords<1, side, uint32_t>(patch, plan, s, data, n);
    case 2: return ownFetchWords<2, side, uint32_t>(patch, plan, s, data, n);
    case 3: return ownFetchWords<3, side, uint32_t>(patch, plan, s, data, n);
    case 4: return ownFetchWords<4, side, uint32_t>(patch, plan, s, data, n);
    case 5: return ownFetchWords<5, side, uint32_t>(patch, plan, s, data, n);
    case 6: return ownFetchWords<6, side, uint32_t>(patch, plan, s, data, n);
    default: return ownFetchWords<8, side, uint32_t>(patch, plan, s, data, n);
    }
}

/* The samples of one channel in a patch: word[k], moved down by shift[k] bits, of column k. */
struct OwnTaps {
    const OwnPatch* patch;
    int word[4], shift[4];
    uint32_t mask;

    OwnVec<int32_t> at(int row, int k, int i) const
    {
        const OwnVec<uint32_t> v = ownLoad<uint32_t>(patch->word[row][word[k]] + i);
        return ownAs<int32_t>(ownShiftRight(v, shift[k]) & ownSet(mask));
    }
};

static OwnTaps ownTapsOf(const OwnPatch* patch, const OwnPatchPlan& plan, int32_t channel)
{
    OwnTaps taps = {patch, {}, {}, plan.sampleBytes == 1 ? 0xFFu : 0xFFFFu};
    for (int k = 0; k < plan.side; ++k) {
        const ptrdiff_t byte = k * plan.pixelStep + channel * plan.sampleBytes;
        taps.word[k] = plan.together ? (int)std::min<ptrdiff_t>(byte / 4, plan.nWords - 1) : k;
        if (plan.together) taps.shift[k] = 8 * (int)(byte - plan.offset[taps.word[k]]);
        if (plan.together && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
            taps.shift[k] = 32 - 8 * plan.sampleBytes - taps.shift[k];
    }
    return taps;
}

/* ---- Blends ---------------------------------------------------------------------------------------------------------- */

/* A blend makes OWN_WORDS pixels from i on, of which the low bits are kept. */

/* top = p00 + (p01 - p00) fx, bottom likewise, top + (bottom - top) fy, to nearest-even; the low bits are kept. */
struct OwnBlendLinear {
    static constexpr int side = 2;
    static OwnVec<double> mix(OwnVec<double> a, OwnVec<double> difference, OwnVec<double> f)
    {
        return a + difference * f;
    }
    static OwnVec<int32_t> pixels(const OwnTaps& taps, const OwnSpots& s, int i, float)
    {
        constexpr int half = (int)OwnVec<double>::lanes;
        const OwnVec<int32_t> p00 = taps.at(0, 0, i), p10 = taps.at(1, 0, i);
        const OwnPair<double> a = ownToDouble(p00), b = ownToDouble(taps.at(0, 1, i) - p00);
        const OwnPair<double> c = ownToDouble(p10), d = ownToDouble(taps.at(1, 1, i) - p10);
        const auto part = [&](OwnVec<double> p, OwnVec<double> q, OwnVec<double> u, OwnVec<double> v, int at) {
            const OwnVec<double> fx = ownLoad<double>(s.fx + at), fy = ownLoad<double>(s.fy + at);
            const OwnVec<double> top = mix(p, q, fx), bottom = mix(u, v, fx);
            return mix(top, bottom - top, fy) + ownSet(1e-7);
        };
        return ownNearest(OwnPair<double>{part(a.lo, b.lo, c.lo, d.lo, i), part(a.hi, b.hi, c.hi, d.hi, i + half)});
    }
};

/* The same with weights of 14 bits, chopped: t = (p00 (16384 - fx) + p01 fx) >> 8, out = (t (16384 - fy) + u fy) >> 20. */
struct OwnBlendFixed {
    static constexpr int side = 2;
    static OwnVec<int32_t> pixels(const OwnTaps& taps, const OwnSpots& s, int i, float)
    {
        const OwnVec<int16_t> wx = ownAs<int16_t>(ownLoad<int32_t>(s.wx + i)),
                              wy = ownAs<int16_t>(ownLoad<int32_t>(s.wy + i));
        const auto across = [&](int row) {
            const OwnVec<int32_t> pair = taps.at(row, 0, i) | ownShiftLeft(taps.at(row, 1, i), 16);
            return ownShiftRight(ownMulAdd(ownAs<int16_t>(pair), wx), 8);
        };
        const OwnVec<int32_t> down = across(0) | ownShiftLeft(across(1), 16);
        return ownShiftRight(ownMulAdd(ownAs<int16_t>(down), wy), 20);
    }
};

/* The cubic through four samples (Lagrange), in single precision; t lies between the second and the third. Rounded to
 * nearest-even and held to the range. */
struct OwnBlendCubic {
    static constexpr int side = 4;
    typedef OwnVec<float> V;
    static V curve(V c0, V c1, V c2, V c3, V t, V t2, V t3)
    {
        const V sixth = ownSet(1.0f / 6), third = ownSet(1.0f / 3), half = ownSet(0.5f);
        const V a1 = c2 - c3 * sixth - c0 * third - c1 * half;
        const V a2 = (c0 + c2) * half - c1;
        const V a3 = (c3 - c0) * sixth + (c1 - c2) * half;
        return c1 + t * a1 + t2 * a2 + t3 * a3;
    }
    static OwnVec<int32_t> pixels(const OwnTaps& taps, const OwnSpots& s, int i, float most)
    {
        const V t = ownLoad<float>(s.tx + i), u = ownLoad<float>(s.ty + i), t2 = t * t, t3 = t2 * t, u2 = u * u;
        V row[4];
        for (int r = 0; r < 4; ++r)
            row[r] = curve(ownToFloat(taps.at(r, 0, i)), ownToFloat(taps.at(r, 1, i)), ownToFloat(taps.at(r, 2, i)),
                           ownToFloat(taps.at(r, 3, i)), t, t2, t3);
        const V v = curve(row[0], row[1], row[2], row[3], u, u2, u2 * u);
        return ownNearest(ownMin(ownMax(v, V{}), ownSet(most)));
    }
};

/* ---- Rows of interpolated samples -------------------------------------------------------------------------------- */

template <class T, class Blend>
[[gnu::flatten]] static void ownBlendBlock(T* result, const OwnTaps& taps, const OwnSpots& s)
{
    const float most = std::numeric_limits<T>::max();
    const OwnVec<int32_t> low = ownSet((int32_t)std::numeric_limits<T>::max());
    const auto pixels = [&](int i) { return Blend::pixels(taps, s, i, most) & low; };
    constexpr int step = OWN_WORDS;
    for (int i = 0; i < s.n; i += (int)OwnVec<T>::lanes) {
        if constexpr (sizeof(T) == 1)
            ownStore(result + i, ownNarrow<T>(ownNarrow<int16_t>(pixels(i), pixels(i + step)),
                                              ownNarrow<int16_t>(pixels(i + 2 * step), pixels(i + 3 * step))));
        else ownStore(result + i, ownNarrow<T>(pixels(i), pixels(i + step)));
    }
}

template <class T, OwnStage stage, class Blend>
static void ownBlendRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    constexpr int side = Blend::side;
    const OwnPatchPlan plan = ownPlanPatch(run, side, (int)sizeof(T));
    const bool arePairs = sizeof(T) == 1 && side == 2 && run.count == 1 && run.pixelStep == 1;
    OwnSpots s;
    OwnPatch patch;
    alignas(64) T result[OWN_BLOCK];
    uint8_t* out = ownOutAt(run, y, left);
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        stage(run, y, (int32_t)x, &s);
        ownAddressPixels(run, &s);
        ownFetchAhead(run, y, (int32_t)x, s);
        const int n = (s.n + OWN_VEC_BYTES - 1) & -OWN_VEC_BYTES;
        if (plan.together) ownFetchTogether<side>(&patch, plan, s, run.data, n);
        for (int32_t c = 0; c < run.count; ++c) {
            OwnTaps taps = ownTapsOf(&patch, plan, c);
            if (arePairs) {
                ownFetchPairs(&patch, plan, s, run.data, n);
                taps.word[1] = 0;
                taps.shift[1] = 8;
                if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) std::swap(taps.shift[0], taps.shift[1]);
            } else if (!plan.together) {
                ownFetchWords<side, side, T>(&patch, plan, s, run.data + c * run.channelStep, n);
            }
            ownBlendBlock<T, Blend>(result, taps, s);
            ownPutBlock(run, s, result, out + c * run.outChannelStep);
        }
    }
}

/* ---- Rows of copied pixels --------------------------------------------------------------------------------------- */

template <int unit>
static void ownCopyUnits(const OwnWarpRun& run, const OwnSpots& s, const uint8_t* data, uint8_t* out)
{
    const int n = s.n;
    const ptrdiff_t outStep = run.outPixelStep;
    if (run.tests) {
        for (int i = 0; i < n; ++i)
            if (!s.skip[i]) memcpy(out + i * outStep, data + s.at[i], unit);
    } else if (outStep == unit) {
#pragma GCC unroll 4
        for (int i = 0; i < n; ++i) memcpy(out + i * unit, data + s.at[i], unit);
    } else {
        for (int i = 0; i < n; ++i) memcpy(out + i * outStep, data + s.at[i], unit);
    }
}

/* All channels of a block: whole pixels when they lie side by side. */
template <int sampleBytes> static void ownCopyBlock(const OwnWarpRun& run, const OwnSpots& s, uint8_t* out)
{
    const bool together = run.channelStep == sampleBytes && run.outChannelStep == sampleBytes;
    if (together && run.count == 3) return ownCopyUnits<3 * sampleBytes>(run, s, run.data, out);
    if (together && run.count == 4) return ownCopyUnits<4 * sampleBytes>(run, s, run.data, out);
    for (int32_t c = 0; c < run.count; ++c)
        ownCopyUnits<sampleBytes>(run, s, run.data + c * run.channelStep, out + c * run.outChannelStep);
}

template <int sampleBytes, OwnStage stage>
static void ownNearestRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    uint8_t* out = ownOutAt(run, y, left);
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        stage(run, y, (int32_t)x, &s);
        ownAddressPixels(run, &s);
        ownFetchAhead(run, y, (int32_t)x, s);
        ownCopyBlock<sampleBytes>(run, s, out);
    }
}

/* Bytes by steps in single precision. */
static void ownFloatRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    OwnFloatWalk walk = ownFloatStart(run, y, left);
    uint8_t* out = ownOutAt(run, y, left);
    for (int64_t x = left; x <= right; x += s.n, out += s.n * run.outPixelStep) {
        s.n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        ownStageFloat(&walk, run, &s);
        ownAddressPixels(run, &s);
        ownFetchAhead(run, y, (int32_t)x, s);
        ownCopyBlock<1>(run, s, out);
    }
}

/* ---- Rows of bits -------------------------------------------------------------------------------------------------- */

/* The bits of a block's pixels, as bytes of all ones or zeros. */
[[gnu::flatten]] static void ownFetchBits(uint8_t* ones, const OwnWarpRun& run, OwnSpots* s)
{
    alignas(64) uint8_t place[OWN_BLOCK];
    ownAddressBits(run, s, place);
#pragma GCC unroll 4
    for (int i = 0; i < s->n; ++i) ones[i] = run.data[s->at[i]];
    for (int i = 0; i < s->n; i += OWN_VEC_BYTES) {
        const OwnVec<uint8_t> bit = ownLoad<uint8_t>(place + i);
        ownStore(ones + i, ownEqual(ownLoad<uint8_t>(ones + i) & bit, bit));
    }
}

/* Blocks begin with a byte of the destination: the first one with pixels before the row's first, which aren't written. */
template <OwnStage stage> static void ownBitRow(const OwnWarpRun& run, int32_t y, int32_t left, int32_t right)
{
    OwnSpots s;
    alignas(64) uint8_t ones[OWN_BLOCK], bits[OWN_BLOCK / 8], write[OWN_BLOCK / 8];
    const int64_t at = run.outBit + ((int64_t)left - run.xOut);
    uint8_t* out = run.out + (y - (ptrdiff_t)run.yOut) * run.outRowStep + (at >> 3);
    const int64_t first = (int64_t)left - (at & 7);
    for (int64_t x = first; x <= right; x += OWN_BLOCK, out += OWN_BLOCK / 8) {
        const int n = (int)std::min<int64_t>(OWN_BLOCK, right - x + 1);
        s.n = (n + OWN_VEC_BYTES - 1) & -OWN_VEC_BYTES;
        stage(run, y, (int32_t)x, &s);
        ownFetchBits(ones, run, &s);
        if (!run.tests) memset(s.skip, 0, sizeof(s.skip));
        if (x < left) memset(s.skip, 0xFF, (size_t)(left - x));
        memset(s.skip + n, 0xFF, (size_t)(s.n - n));
        ownMapToBits<uint8_t>(bits, ones, s.n, [](OwnVec<uint8_t> v) { return v; });
        ownMapToBits<uint8_t>(write, s.skip, s.n, [](OwnVec<uint8_t> v) { return ~v; });
        for (int i = 0; i < (n + 7) / 8; ++i) out[i] = (uint8_t)((out[i] & ~write[i]) | (bits[i] & write[i]));
    }
}

/* ---- The choice ---------------------------------------------------------------------------------------------- */

OwnWarpRow* ownChooseWarpRow(const OwnWarpRun& run, uint32_t depth, bool byPlanes, int32_t interpolate)
{
    const bool affine = run.kind == OWN_WARP_AFFINE;
    static constexpr OwnWarpRow* nearest[2] = {ownNearestRow<1, ownStageNearest>, ownNearestRow<2, ownStageNearest>};
    static constexpr OwnWarpRow* linear[2] = {ownBlendRow<uint8_t, ownStageLinear, OwnBlendLinear>,
                                              ownBlendRow<uint16_t, ownStageLinear, OwnBlendLinear>};
    static constexpr OwnWarpRow* cubic[2] = {ownBlendRow<uint8_t, ownStageCubic, OwnBlendCubic>,
                                             ownBlendRow<uint16_t, ownStageCubic, OwnBlendCubic>};
    if (depth == VEK_DEPTH_1U) {
        if (affine) return ownBitRow<ownStageFixedNearest>;
        return run.kind == OWN_WARP_BILINEAR && run.forward ? ownBitRow<ownStageBits> : ownBitRow<ownStageNearest>;
    }
    const int words = depth == VEK_DEPTH_16U;
    switch (interpolate) {
    case VEK_INTER_NN:
        if (affine && words) return ownNearestRow<2, ownStageFixedNearest>;
        if (affine) return byPlanes ? ownNearestRow<1, ownStageFixedNearest> : ownFloatRow;
        return nearest[words];
    case VEK_INTER_LINEAR:
        if (affine && !words) return ownBlendRow<uint8_t, ownStageFixedLinear, OwnBlendFixed>;
        return linear[words];
    default: return cubic[words];
    }
}
