/* ownresrow: the row kernels of resampling.
 *
 * The horizontal pass meets each source row with the same columns, so what it has to pick is laid down once: where sixteen
 * bytes of lanes find their taps within 16 or 32 bytes of the row, as a shuffle of them, and always lane by lane. Lanes lie
 * in the order in which the vertical pass packs wide lanes into samples, so nothing has to be put in order between the two. */
#include "ownresample.h"
#include "ownsimd.h"

/* ---- The order of lanes -------------------------------------------------------------------------------------- */

enum { OWN_CHUNK = 16 };                              /* bytes of a shuffle */
static constexpr int OWN_CHUNKS = OWN_VEC_BYTES / 16; /* shuffles in a vector */

/* Samples are computed in groups of two vectors, whose shuffles take turns: shuffle q of vector v holds the outputs of run
 * 2q + v. In a run come the 8 (bytes) or 4 (words) outputs of one shuffle. */
static int ownRunLength(int sampleBytes) { return 8 / sampleBytes; }
static ptrdiff_t ownGroupLength(int sampleBytes) { return 2 * OWN_CHUNKS * ownRunLength(sampleBytes); }

/* The output that stands in a lane of 32 bits. */
static ptrdiff_t ownOutputOfLane(ptrdiff_t lane, int sampleBytes)
{
    const ptrdiff_t group = ownGroupLength(sampleBytes), run = ownRunLength(sampleBytes), quads = run / 4;
    const ptrdiff_t inGroup = lane % group, vector = inGroup / (4 * OWN_CHUNKS); /* of 32-bit lanes */
    const ptrdiff_t v = vector / quads, quad = vector % quads;
    const ptrdiff_t q = inGroup % (4 * OWN_CHUNKS) / 4, e = inGroup % 4;
    return lane / group * group + (2 * q + v) * run + quad * 4 + e;
}

/* The first output of a shuffle, shuffles being counted vector by vector. */
static ptrdiff_t ownOutputOfChunk(ptrdiff_t chunk, int sampleBytes)
{
    const ptrdiff_t perGroup = 2 * OWN_CHUNKS, inGroup = chunk % perGroup;
    const ptrdiff_t v = inGroup / OWN_CHUNKS, q = inGroup % OWN_CHUNKS;
    return chunk / perGroup * ownGroupLength(sampleBytes) + (2 * q + v) * ownRunLength(sampleBytes);
}

/* ---- Plans --------------------------------------------------------------------------------------------------- */

/* Byte offset of an output's tap k in the source row. Outputs beyond the last one repeat it. */
struct OwnPicker {
    const OwnAxisTap* taps;
    const OwnRowShape* shape;
    OwnMix blend;

    const OwnAxisTap& tap(ptrdiff_t output) const
    {
        const ptrdiff_t n = (ptrdiff_t)shape->nColumns * shape->count;
        return taps[std::min(output, n - 1) / shape->count];
    }
    int32_t offset(ptrdiff_t output, int k) const
    {
        const ptrdiff_t n = (ptrdiff_t)shape->nColumns * shape->count;
        const ptrdiff_t c = std::min(output, n - 1) % shape->count;
        const OwnAxisTap& at = tap(output);
        const int32_t column = blend == OWN_BLEND_CUBIC ? at.first + k : k ? at.second : at.first;
        return (int32_t)((column - shape->xFirst) * shape->pixelBytes + c * shape->channelBytes);
    }
};

/* The byte offset of each byte that a shuffle picks: nearest: a byte of an output's sample; linear: pairs of samples;
 * cubic: all first samples, then all second ones (half 0), the third and fourth (half 1). */
static int32_t ownPickedByte(const OwnPicker& pick, int sampleBytes, ptrdiff_t chunk, int byte, int half)
{
    if (pick.blend == OWN_BLEND_NEAREST) {
        const ptrdiff_t at = chunk * OWN_CHUNK + byte;
        return pick.offset(at / sampleBytes, 0) + (int32_t)(at % sampleBytes);
    }
    const int sample = byte / sampleBytes, run = ownRunLength(sampleBytes);
    const ptrdiff_t first = ownOutputOfChunk(chunk, sampleBytes);
    if (pick.blend == OWN_BLEND_CUBIC)
        return pick.offset(first + sample % run, 2 * half + sample / run) + byte % sampleBytes;
    return pick.offset(first + sample / 2, sample % 2) + byte % sampleBytes;
}

/* Where the shuffles load, and what they pick there. False when one would have to look further than 32 bytes. */
static bool ownPlanShuffles(OwnRowPlan* plan, const OwnPicker& pick, ptrdiff_t nChunks)
{
    const OwnRowShape& shape = *pick.shape;
    const int halves = plan->blend == OWN_BLEND_CUBIC ? 2 : 1;
    const int64_t lastLoad = shape.rowEnd - OWN_CHUNK;
    if (lastLoad < shape.rowStart) return false;
    plan->wide = false;
    for (ptrdiff_t chunk = 0; chunk < nChunks; ++chunk) {
        int32_t low = INT32_MAX;
        for (int half = 0; half < halves; ++half)
            for (int i = 0; i < OWN_CHUNK; ++i)
                low = std::min(low, ownPickedByte(pick, plan->sampleBytes, chunk, i, half));
        const int32_t base = (int32_t)std::min<int64_t>(low, lastLoad);
        const int32_t base2 = (int32_t)std::min<int64_t>((int64_t)base + OWN_CHUNK, lastLoad);
        plan->base[chunk] = base;
        plan->base2[chunk] = base2;
        for (int half = 0; half < halves; ++half)
            for (int i = 0; i < OWN_CHUNK; ++i) {
                const int64_t at = ownPickedByte(pick, plan->sampleBytes, chunk, i, half);
                uint8_t &place = plan->places[half * plan->halfBytes + chunk * OWN_CHUNK + i],
                        &place2 = plan->places2[half * plan->halfBytes + chunk * OWN_CHUNK + i];
                place = place2 = 0x80; /* picks a 0 */
                if (at - base < OWN_CHUNK) place = (uint8_t)(at - base);
                else if (at - base2 < OWN_CHUNK) place2 = (uint8_t)(at - base2), plan->wide = true;
                else return false;
            }
    }
    return true;
}

/* The polynomial through four samples by differences d1, d2, d3 (Newton): their factors at the place t. */
static void ownCubicFactors(float t, float* c1, float* c2, float* c3)
{
    *c1 = t + 1;
    *c2 = t * (t + 1) * 0.5f;
    *c3 = (t - 1) * t * (t + 1) * (1.0f / 3) * 0.5f;
}

static void ownPlanLane(OwnRowPlan* plan, const OwnPicker& pick, ptrdiff_t lane)
{
    const ptrdiff_t output = ownOutputOfLane(lane, plan->sampleBytes);
    const OwnAxisTap& tap = pick.tap(output);
    plan->at[lane] = pick.offset(output, 0);
    if (plan->blend == OWN_BLEND_CUBIC) {
        ownCubicFactors(tap.t, &plan->c1[lane], &plan->c2[lane], &plan->c3[lane]);
        return;
    }
    const int32_t one = plan->one;
    plan->next[lane] = pick.offset(output, 1);
    plan->weights[2 * lane] = (int16_t)(one - tap.weight);
    plan->weights[2 * lane + 1] = (int16_t)tap.weight;
}

bool ownMakeRowPlan(OwnRowPlan* plan, OwnMix blend, const OwnAxisTap* taps, const OwnRowShape& shape)
{
    const OwnPicker pick = {taps, &shape, blend};
    const ptrdiff_t outputs = (ptrdiff_t)shape.nColumns * shape.count;
    const bool nearest = blend == OWN_BLEND_NEAREST;
    *plan = {};
    plan->blend = blend;
    plan->sampleBytes = shape.sampleBytes;
    plan->one = blend == OWN_BLEND_LINEAR ? 16384 : blend == OWN_BLEND_HALF_UP ? 256 : shape.one;
    plan->farther = (int32_t)shape.pixelBytes;
    plan->n = nearest ? outputs * shape.sampleBytes : outputs;
    const ptrdiff_t group = nearest ? OWN_VEC_BYTES : ownGroupLength(shape.sampleBytes);
    plan->lanes = (plan->n + group - 1) / group * group;
    const ptrdiff_t nChunks = nearest ? plan->lanes / OWN_CHUNK : plan->lanes / ownRunLength(shape.sampleBytes);
    const size_t lanes = (size_t)plan->lanes, chunks = (size_t)nChunks;

    /* per lane: two offsets, and a pair of weights or three factors; per shuffle: two bases and up to four picks */
    uint8_t* p = (uint8_t*)ownAlloc(lanes * 20 + chunks * (8 + 4 * OWN_CHUNK) + 64);
    if (!p) return false;
    plan->block = p;
    plan->places = p;
    plan->places2 = p += chunks * 2 * OWN_CHUNK;
    plan->weights = (int16_t*)(p += chunks * 2 * OWN_CHUNK);
    plan->c1 = (float*)p;
    plan->c2 = plan->c1 + lanes;
    plan->c3 = plan->c2 + lanes;
    plan->at = (int32_t*)(plan->c3 + lanes);
    plan->next = plan->at + lanes;
    plan->base = plan->next + lanes;
    plan->base2 = plan->base + chunks;

    if (nearest)
        for (ptrdiff_t i = 0; i < plan->lanes; ++i) {
            const ptrdiff_t byte = std::min(i, plan->n - 1);
            plan->at[i] = pick.offset(byte / shape.sampleBytes, 0) + (int32_t)(byte % shape.sampleBytes);
        }
    else
        for (ptrdiff_t lane = 0; lane < plan->lanes; ++lane) ownPlanLane(plan, pick, lane);
    plan->halfBytes = nChunks * OWN_CHUNK;
    plan->packed = ownPlanShuffles(plan, pick, nChunks);
    return true;
}

void ownFreeRowPlan(OwnRowPlan* plan) { ownFree(plan->block); }

ptrdiff_t ownLaneRowBytes(const OwnRowPlan& plan)
{
    const bool halfWords = plan.blend == OWN_BLEND_LINEAR || (plan.blend != OWN_BLEND_CUBIC && plan.sampleBytes == 1);
    return plan.lanes * (halfWords ? 2 : 4);
}

/* ---- Across: nearest ----------------------------------------------------------------------------------------- */

/* The vector of a plan's shuffle number `chunk` and those that follow, half 0 or 1. */
template <bool wide>
static inline OwnVec<uint8_t> ownPick(const uint8_t* row, const OwnRowPlan& plan, ptrdiff_t chunk, ptrdiff_t places)
{
    OwnVec<uint8_t> v = ownPickBytes(ownLoadChunks(row, plan.base + chunk), ownLoad<uint8_t>(plan.places + places));
    if constexpr (wide)
        v = v | ownPickBytes(ownLoadChunks(row, plan.base2 + chunk), ownLoad<uint8_t>(plan.places2 + places));
    return v;
}

template <bool wide> static void ownNearestPacked(uint8_t* out, const uint8_t* row, const OwnRowPlan& plan)
{
    ptrdiff_t i = 0;
    for (; i <= plan.n - OWN_VEC_BYTES; i += OWN_VEC_BYTES)
        ownStore(out + i, ownPick<wide>(row, plan, i / OWN_CHUNK, i));
    if (i < plan.n) ownStorePart(out + i, ownPick<wide>(row, plan, i / OWN_CHUNK, i), plan.n - i);
}

/* Taps too far apart for shuffles: sample by sample. */
static void ownNearestPlain(uint8_t* out, const uint8_t* row, const OwnRowPlan& plan)
{
    if (plan.sampleBytes == 1)
        for (ptrdiff_t i = 0; i < plan.n; ++i) out[i] = row[plan.at[i]];
    else
        for (ptrdiff_t i = 0; i < plan.n; i += 2) memcpy(out + i, row + plan.at[i], 2);
}

/* ---- Across: linear ------------------------------------------------------------------------------------------ */

/* The steps of the two linear blends. 16-bit samples are moved down by 32768 to be signed, which the sums carry along.
 *   LINEAR 8U:   across t = (a (16384 - w) + b w) >> 8,   down (t (16384 - w) + u w) >> 20
 *   LINEAR 16U:  across t = (a (16384 - w) + b w) >> 14,  down the same
 *   HALF_UP 8U:  across t = a (256 - f) + b f - 32768,    down (t (256 - f) + u f + 32768 * 257) >> 16
 *   HALF_UP 16U: across t = a (256 - f) + b f,            down (t (256 - f) + u f + 32768) >> 16, in 32 bits
 *   SUPER:       across t = a v + b w; 16U: less 32768 (v + w) */
template <class T, OwnMix blend> struct OwnSteps;
template <> struct OwnSteps<uint8_t, OWN_BLEND_LINEAR> {
    typedef int16_t Row;
    static constexpr int acrossShift = 8, downShift = 20, acrossAdd = 0, downAdd = 0;
};
template <> struct OwnSteps<uint16_t, OWN_BLEND_LINEAR> {
    typedef int16_t Row;
    static constexpr int acrossShift = 14, downShift = 14, acrossAdd = 0, downAdd = 0;
};
template <> struct OwnSteps<uint8_t, OWN_BLEND_HALF_UP> {
    typedef int16_t Row;
    static constexpr int acrossShift = 0, downShift = 16, acrossAdd = -32768, downAdd = 32768 * 257;
};
template <> struct OwnSteps<uint16_t, OWN_BLEND_HALF_UP> {
    typedef int32_t Row;
    static constexpr int acrossShift = 0, downShift = 16, acrossAdd = 32768 * 256, downAdd = 32768;
};

template <> struct OwnSteps<uint8_t, OWN_BLEND_SUPER> {
    typedef int16_t Row;
    static constexpr int acrossShift = 0, acrossAdd = 0;
};
template <> struct OwnSteps<uint16_t, OWN_BLEND_SUPER> {
    typedef int32_t Row;
    static constexpr int acrossShift = 0, acrossAdd = 0;
};

/* Pairs of samples as signed words, which weights multiply: the first and the second half of a shuffle's outputs. */
template <class S> static inline OwnVec<int32_t> ownAcrossSum(OwnVec<int16_t> pairs, const int16_t* weights)
{
    const OwnVec<int32_t> sum = ownMulAdd(pairs, ownLoad<int16_t>(weights));
    if constexpr (S::acrossShift != 0) return ownShiftRight(sum, S::acrossShift);
    else return sum + ownSet<int32_t>(S::acrossAdd);
}

template <class T, OwnMix blend, bool wide>
[[gnu::flatten]] static void ownLinearPacked(void* out, const uint8_t* row, const OwnRowPlan& plan)
{
    typedef OwnSteps<T, blend> S;
    const ptrdiff_t group = 2 * OWN_CHUNKS * 8 / (ptrdiff_t)sizeof(T), step = OwnVec<int16_t>::lanes;
    int16_t* words = (int16_t*)out;
    const int16_t* weights = plan.weights;
    for (ptrdiff_t i = 0, chunk = 0; i < plan.lanes; i += group, chunk += 2 * OWN_CHUNKS) {
        const OwnVec<uint8_t> a = ownPick<wide>(row, plan, chunk, chunk * OWN_CHUNK);
        const OwnVec<uint8_t> b = ownPick<wide>(row, plan, chunk + OWN_CHUNKS, (chunk + OWN_CHUNKS) * OWN_CHUNK);
        if constexpr (sizeof(T) == 1) {
            for (const OwnVec<uint8_t>& v : {a, b}) {
                const OwnPair<uint16_t> pairs = ownUnpack(v);
                const OwnVec<int32_t> low = ownAcrossSum<S>(ownAs<int16_t>(pairs.lo), weights);
                const OwnVec<int32_t> high = ownAcrossSum<S>(ownAs<int16_t>(pairs.hi), weights + step);
                ownStore(words, ownPack<int16_t>(low, high));
                weights += 2 * step;
                words += step;
            }
        } else {
            const OwnVec<int16_t> flip = ownSet<int16_t>(INT16_MIN);
            const OwnVec<int32_t> low = ownAcrossSum<S>(ownAs<int16_t>(a) ^ flip, weights);
            const OwnVec<int32_t> high = ownAcrossSum<S>(ownAs<int16_t>(b) ^ flip, weights + step);
            weights += 2 * step;
            if constexpr (sizeof(typename S::Row) == 2) {
                ownStore(words, ownPack<int16_t>(low, high));
                words += step;
            } else {
                ownStore(words, low);
                ownStore(words + step, high);
                words += 2 * step;
            }
        }
    }
}

/* The place of a 32-bit lane among packed words: packing puts the two vectors' chunks in turn. */
static inline ptrdiff_t ownWordOfLane(ptrdiff_t lane)
{
    const ptrdiff_t pair = 8 * OWN_CHUNKS, in = lane % pair, v = in / (4 * OWN_CHUNKS), q = in % (4 * OWN_CHUNKS) / 4;
    return lane / pair * pair + q * 8 + v * 4 + in % 4;
}

template <class T, OwnMix blend> static void ownLinearPlain(void* out, const uint8_t* row, const OwnRowPlan& plan)
{
    typedef OwnSteps<T, blend> S;
    typedef typename S::Row Row;
    constexpr int32_t bias = sizeof(T) == 2 ? 32768 : 0;
    for (ptrdiff_t i = 0; i < plan.lanes; ++i) {
        T a, b;
        memcpy(&a, row + plan.at[i], sizeof(T));
        memcpy(&b, row + plan.next[i], sizeof(T));
        const int32_t sum = (a - bias) * plan.weights[2 * i] + (b - bias) * plan.weights[2 * i + 1];
        const ptrdiff_t place = sizeof(Row) == 2 ? ownWordOfLane(i) : i;
        ((Row*)out)[place] = (Row)((sum >> S::acrossShift) + S::acrossAdd);
    }
}

/* ---- Across: cubic ------------------------------------------------------------------------------------------- */

/* Samples in wide lanes as floats. */
static inline OwnVec<float> ownFloats(OwnVec<uint32_t> a) { return ownToFloat(ownAs<int32_t>(a)); }

/* Four samples by differences: C0 + d1 c1 + d2 c2 + d3 c3, in single precision. F: a float or a vector of them. */
template <class F> static inline F ownNewton(F r0, F r1, F r2, F r3, F c1, F c2, F c3)
{
    const F d1 = r1 - r0, d2 = r2 - r1 - d1, d3 = r3 - r2 - r2 + r1 - d2;
    return r0 + d1 * c1 + d2 * c2 + d3 * c3;
}

template <bool wide>
[[gnu::flatten]] static void ownCubicPacked8(float* out, const uint8_t* row, const OwnRowPlan& plan)
{
    const ptrdiff_t step = OwnVec<float>::lanes;
    ptrdiff_t i = 0;
    for (ptrdiff_t chunk = 0; i < plan.lanes; chunk += OWN_CHUNKS) {
        const ptrdiff_t places = chunk * OWN_CHUNK;
        const OwnVec<uint8_t> half[2] = {ownPick<wide>(row, plan, chunk, places),
                                         ownPick<wide>(row, plan, chunk, places + plan.halfBytes)};
        const OwnPair<uint16_t> s01 = ownUnpack(half[0]), s23 = ownUnpack(half[1]);
        const OwnPair<uint32_t> s0 = ownUnpack(s01.lo), s1 = ownUnpack(s01.hi), s2 = ownUnpack(s23.lo),
                                s3 = ownUnpack(s23.hi);
        ownStore(out + i,
                 ownNewton(ownFloats(s0.lo), ownFloats(s1.lo), ownFloats(s2.lo), ownFloats(s3.lo),
                           ownLoad<float>(plan.c1 + i), ownLoad<float>(plan.c2 + i), ownLoad<float>(plan.c3 + i)));
        i += step;
        ownStore(out + i,
                 ownNewton(ownFloats(s0.hi), ownFloats(s1.hi), ownFloats(s2.hi), ownFloats(s3.hi),
                           ownLoad<float>(plan.c1 + i), ownLoad<float>(plan.c2 + i), ownLoad<float>(plan.c3 + i)));
        i += step;
    }
}

template <bool wide>
[[gnu::flatten]] static void ownCubicPacked16(float* out, const uint8_t* row, const OwnRowPlan& plan)
{
    const ptrdiff_t step = OwnVec<float>::lanes;
    for (ptrdiff_t i = 0, chunk = 0; i < plan.lanes; i += step, chunk += OWN_CHUNKS) {
        const ptrdiff_t places = chunk * OWN_CHUNK;
        const OwnVec<uint8_t> half[2] = {ownPick<wide>(row, plan, chunk, places),
                                         ownPick<wide>(row, plan, chunk, places + plan.halfBytes)};
        const OwnPair<uint32_t> s01 = ownUnpack(ownAs<uint16_t>(half[0])), s23 = ownUnpack(ownAs<uint16_t>(half[1]));
        ownStore(out + i,
                 ownNewton(ownFloats(s01.lo), ownFloats(s01.hi), ownFloats(s23.lo), ownFloats(s23.hi),
                           ownLoad<float>(plan.c1 + i), ownLoad<float>(plan.c2 + i), ownLoad<float>(plan.c3 + i)));
    }
}

template <class T> static void ownCubicPlain(float* out, const uint8_t* row, const OwnRowPlan& plan)
{
    for (ptrdiff_t i = 0; i < plan.lanes; ++i) {
        T s[4];
        for (int k = 0; k < 4; ++k) memcpy(&s[k], row + plan.at[i] + k * (ptrdiff_t)plan.farther, sizeof(T));
        out[i] = ownNewton<float>(s[0], s[1], s[2], s[3], plan.c1[i], plan.c2[i], plan.c3[i]);
    }
}

/* ---- Across: the choice -------------------------------------------------------------------------------------- */

template <class T, OwnMix blend> static void ownLinearAcross(void* out, const uint8_t* row, const OwnRowPlan& plan)
{
    if (!plan.packed) ownLinearPlain<T, blend>(out, row, plan);
    else if (plan.wide) ownLinearPacked<T, blend, true>(out, row, plan);
    else ownLinearPacked<T, blend, false>(out, row, plan);
}

void ownRowAcross(void* out, const uint8_t* row, const OwnRowPlan& plan)
{
    const bool bytes = plan.sampleBytes == 1;
    switch (plan.blend) {
    case OWN_BLEND_NEAREST:
        if (!plan.packed) ownNearestPlain((uint8_t*)out, row, plan);
        else if (plan.wide) ownNearestPacked<true>((uint8_t*)out, row, plan);
        else ownNearestPacked<false>((uint8_t*)out, row, plan);
        break;
    case OWN_BLEND_LINEAR:
        if (bytes) ownLinearAcross<uint8_t, OWN_BLEND_LINEAR>(out, row, plan);
        else ownLinearAcross<uint16_t, OWN_BLEND_LINEAR>(out, row, plan);
        break;
    case OWN_BLEND_HALF_UP:
        if (bytes) ownLinearAcross<uint8_t, OWN_BLEND_HALF_UP>(out, row, plan);
        else ownLinearAcross<uint16_t, OWN_BLEND_HALF_UP>(out, row, plan);
        break;
    case OWN_BLEND_SUPER:
        if (bytes) ownLinearAcross<uint8_t, OWN_BLEND_SUPER>(out, row, plan);
        else ownLinearAcross<uint16_t, OWN_BLEND_SUPER>(out, row, plan);
        break;
    default:
        if (!plan.packed)
            bytes ? ownCubicPlain<uint8_t>((float*)out, row, plan) : ownCubicPlain<uint16_t>((float*)out, row, plan);
        else if (plan.wide)
            bytes ? ownCubicPacked8<true>((float*)out, row, plan) : ownCubicPacked16<true>((float*)out, row, plan);
        else bytes ? ownCubicPacked8<false>((float*)out, row, plan) : ownCubicPacked16<false>((float*)out, row, plan);
    }
}

/* ---- Down ---------------------------------------------------------------------------------------------------- */

/* Stores a vector of samples, or what of it is left. */
template <class T> static inline void ownStoreUpTo(T* out, OwnVec<T> v, ptrdiff_t left)
{
    if (left >= OwnVec<T>::lanes) ownStore(out, v);
    else ownStorePart(out, v, left);
}

/* Words of two rows weighted: in the words' own order. */
template <class S>
static inline OwnVec<int16_t> ownDownWords(const int16_t* a, const int16_t* b, OwnVec<int16_t> weights)
{
    const OwnVec<int16_t> x = ownLoad<int16_t>(a), y = ownLoad<int16_t>(b);
    const OwnPair<int16_t> pairs = ownZip(x, y);
    OwnVec<int32_t> low = ownMulAdd(pairs.lo, weights), high = ownMulAdd(pairs.hi, weights);
    if constexpr (S::downAdd != 0) {
        low = low + ownSet<int32_t>(S::downAdd);
        high = high + ownSet<int32_t>(S::downAdd);
    }
    return ownPack<int16_t>(ownShiftRight(low, S::downShift), ownShiftRight(high, S::downShift));
}

/* Both weights in every 32 bits. */
static inline OwnVec<int16_t> ownWeightPairs(int32_t one, int32_t weight)
{
    return ownAs<int16_t>(ownSet<uint32_t>((uint32_t)(one - weight) | (uint32_t)weight << 16));
}

template <class S>
[[gnu::flatten]] static void ownDown8(uint8_t* out, const int16_t* a, const int16_t* b, int32_t one, int32_t weight,
                                      ptrdiff_t n)
{
    const OwnVec<int16_t> weights = ownWeightPairs(one, weight);
    const ptrdiff_t step = OwnVec<int16_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * step) {
        const OwnVec<int16_t> low = ownDownWords<S>(a + i, b + i, weights);
        const OwnVec<int16_t> high = ownDownWords<S>(a + i + step, b + i + step, weights);
        ownStoreUpTo(out + i, ownPack<uint8_t>(low, high), n - i);
    }
}

template <class S>
[[gnu::flatten]] static void ownDown16(uint16_t* out, const int16_t* a, const int16_t* b, int32_t weight, ptrdiff_t n)
{
    const OwnVec<int16_t> weights = ownWeightPairs(16384, weight);
    const OwnVec<uint16_t> flip = ownSet<uint16_t>(0x8000);
    for (ptrdiff_t i = 0; i < n; i += OwnVec<int16_t>::lanes)
        ownStoreUpTo(out + i, ownAs<uint16_t>(ownDownWords<S>(a + i, b + i, weights)) ^ flip, n - i);
}

[[gnu::flatten]] static void ownDownHalfUp16(uint16_t* out, const int32_t* a, const int32_t* b, int32_t weight,
                                             ptrdiff_t n)
{
    const OwnVec<uint32_t> w0 = ownSet((uint32_t)(256 - weight)), w1 = ownSet((uint32_t)weight),
                           half = ownSet<uint32_t>(32768);
    const ptrdiff_t step = OwnVec<int32_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * step) {
        OwnVec<int32_t> r[2];
        for (int k = 0; k < 2; ++k) {
            const OwnVec<uint32_t> x = ownLoad<uint32_t>(a + i + k * step), y = ownLoad<uint32_t>(b + i + k * step);
            r[k] = ownAs<int32_t>(ownShiftRight(x * w0 + y * w1 + half, 16));
        }
        ownStoreUpTo(out + i, ownPack<uint16_t>(r[0], r[1]), n - i);
    }
}

/* Chopped, a hair above: a value that falls short of an integer by rounding counts as that integer. */
[[gnu::flatten]] static inline OwnVec<int32_t> ownDownCubic(const float* const r[4], ptrdiff_t i, OwnVec<float> c1,
                                                            OwnVec<float> c2, OwnVec<float> c3, OwnVec<float> most)
{
    const OwnVec<float> v = ownNewton(ownLoad<float>(r[0] + i), ownLoad<float>(r[1] + i), ownLoad<float>(r[2] + i),
                                      ownLoad<float>(r[3] + i), c1, c2, c3);
    return ownChop(ownMin(ownMax(v + ownSet(1e-5f), OwnVec<float>{}), most));
}

template <class T> [[gnu::flatten]] static void ownCubicDown(T* out, const void* const rows[4], float t, ptrdiff_t n)
{
    const float* r[4] = {(const float*)rows[0], (const float*)rows[1], (const float*)rows[2], (const float*)rows[3]};
    float f1, f2, f3;
    ownCubicFactors(t, &f1, &f2, &f3);
    const OwnVec<float> c1 = ownSet(f1), c2 = ownSet(f2), c3 = ownSet(f3);
    const OwnVec<float> most = ownSet((float)std::numeric_limits<T>::max());
    const ptrdiff_t step = OwnVec<float>::lanes;
    if constexpr (sizeof(T) == 1)
        for (ptrdiff_t i = 0; i < n; i += 4 * step) {
            const OwnVec<int16_t> low = ownPack<int16_t>(ownDownCubic(r, i, c1, c2, c3, most),
                                                         ownDownCubic(r, i + step, c1, c2, c3, most));
            const OwnVec<int16_t> high = ownPack<int16_t>(ownDownCubic(r, i + 2 * step, c1, c2, c3, most),
                                                          ownDownCubic(r, i + 3 * step, c1, c2, c3, most));
            ownStoreUpTo(out + i, ownPack<uint8_t>(low, high), n - i);
        }
    else
        for (ptrdiff_t i = 0; i < n; i += 2 * step)
            ownStoreUpTo(
                out + i,
                ownPack<uint16_t>(ownDownCubic(r, i, c1, c2, c3, most), ownDownCubic(r, i + step, c1, c2, c3, most)),
                n - i);
}

void ownRowDown(void* out, const void* const rows[4], const OwnAxisTap& tap, const OwnRowPlan& plan)
{
    const int16_t *a = (const int16_t*)rows[0], *b = (const int16_t*)rows[1];
    const ptrdiff_t n = plan.n;
    const bool bytes = plan.sampleBytes == 1;
    if (plan.blend == OWN_BLEND_CUBIC) {
        if (bytes) ownCubicDown((uint8_t*)out, rows, tap.t, n);
        else ownCubicDown((uint16_t*)out, rows, tap.t, n);
    } else if (plan.blend == OWN_BLEND_LINEAR) {
        if (bytes) ownDown8<OwnSteps<uint8_t, OWN_BLEND_LINEAR>>((uint8_t*)out, a, b, 16384, tap.weight, n);
        else ownDown16<OwnSteps<uint16_t, OWN_BLEND_LINEAR>>((uint16_t*)out, a, b, tap.weight, n);
    } else {
        if (bytes) ownDown8<OwnSteps<uint8_t, OWN_BLEND_HALF_UP>>((uint8_t*)out, a, b, 256, tap.weight, n);
        else ownDownHalfUp16((uint16_t*)out, (const int32_t*)a, (const int32_t*)b, tap.weight, n);
    }
}

/* ---- Means --------------------------------------------------------------------------------------------------- */

/* Sums as means: times 1 / area, rounded half up. A quarter more brings no mean to the next half, and none falls short. */
static inline OwnVec<int32_t> ownMeanOf(OwnVec<int32_t> sum, OwnVec<float> perArea)
{
    return ownChop((ownToFloat(sum) + ownSet(0.25f)) * perArea + ownSet(0.5f));
}

/* Bytes: the rows in pairs, words with their weights. */
[[gnu::flatten]] static void ownMean8(uint8_t* out, const void* const rows[4], const int32_t weights[4], float perArea,
                                      ptrdiff_t n)
{
    const OwnVec<float> scale = ownSet(perArea);
    const OwnVec<int16_t> w01 = ownWeightPairs(weights[0] + weights[1], weights[1]),
                          w23 = ownWeightPairs(weights[2] + weights[3], weights[3]);
    const int16_t *a = (const int16_t*)rows[0], *b = (const int16_t*)rows[1], *c = (const int16_t*)rows[2],
                  *d = (const int16_t*)rows[3];
    const bool four = weights[2] != 0;
    const ptrdiff_t step = OwnVec<int16_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * step) {
        OwnVec<int16_t> mean[2];
        for (int k = 0; k < 2; ++k) {
            const ptrdiff_t at = i + k * step;
            const OwnVec<int16_t> x = ownLoad<int16_t>(a + at), y = ownLoad<int16_t>(b + at);
            const OwnPair<int16_t> ab = ownZip(x, y);
            OwnVec<int32_t> low = ownMulAdd(ab.lo, w01), high = ownMulAdd(ab.hi, w01);
            if (four) {
                const OwnVec<int16_t> z = ownLoad<int16_t>(c + at), t = ownLoad<int16_t>(d + at);
                const OwnPair<int16_t> cd = ownZip(z, t);
                low = low + ownMulAdd(cd.lo, w23);
                high = high + ownMulAdd(cd.hi, w23);
            }
            mean[k] = ownPack<int16_t>(ownMeanOf(low, scale), ownMeanOf(high, scale));
        }
        ownStoreUpTo(out + i, ownPack<uint8_t>(mean[0], mean[1]), n - i);
    }
}

/* Words: their sums lack 32768 times the area. */
[[gnu::flatten]] static void ownMean16(uint16_t* out, const void* const rows[4], const int32_t weights[4], int32_t area,
                                       ptrdiff_t n)
{
    const OwnVec<float> scale = ownSet(1.0f / (float)area);
    const OwnVec<int32_t> lacking = ownSet<int32_t>(32768 * area);
    const ptrdiff_t step = OwnVec<int32_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * step) {
        OwnVec<int32_t> mean[2];
        for (int k = 0; k < 2; ++k) {
            OwnVec<int32_t> sum = lacking;
            for (int row = 0; row < 4 && weights[row]; ++row)
                sum = sum + ownLoad<int32_t>((const int32_t*)rows[row] + i + k * step) * ownSet(weights[row]);
            mean[k] = ownMeanOf(sum, scale);
        }
        ownStoreUpTo(out + i, ownPack<uint16_t>(mean[0], mean[1]), n - i);
    }
}

void ownRowMean(void* out, const void* const rows[4], const int32_t weights[4], int32_t area, const OwnRowPlan& plan)
{
    if (plan.sampleBytes == 1) ownMean8((uint8_t*)out, rows, weights, 1.0f / (float)area, plan.n);
    else ownMean16((uint16_t*)out, rows, weights, area, plan.n);
}
