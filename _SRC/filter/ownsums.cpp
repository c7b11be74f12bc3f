/* ownsums: weighted sums of a window's samples, each row in one go: a few vectors of sums stay in registers while all taps
 * are added to them. */
#include "ownsums.h"

#include "ownsimd.h"

/* ---- Sums -------------------------------------------------------------------------------------------------------- */

/* Samples of 8 and 16 bits come to the multiplier without, or with, a sign; the top bit is flipped where theirs is the
 * other way, and the sum's start makes up for it. */
template <class T, class As> static inline OwnVec<As> ownLoadAs(const uint8_t* p)
{
    static_assert(sizeof(T) == sizeof(As));
    if constexpr (std::is_signed_v<T> == std::is_signed_v<As>) return ownLoad<As>(p);
    else
        return ownLoad<As>(p) ^
               ownSet<As>(std::is_signed_v<As> ? std::numeric_limits<As>::min() : (As)(1 << (sizeof(T) * 8 - 1)));
}
template <class T, class As> static constexpr int32_t ownFlipped()
{
    return std::is_signed_v<T> == std::is_signed_v<As> ? 0
           : std::is_signed_v<As>                      ? 1 << (sizeof(T) * 8 - 1)
                                                       : -(1 << (sizeof(T) * 8 - 1));
}

/* 16 bits: pairs of bytes times pairs of signed bytes. `take` gets the place of the first sample and the sums of two
 * vectors of samples, each in two. */
template <class T, class F>
[[gnu::flatten]] static inline void ownEachSum16(const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                                                 int32_t start, ptrdiff_t n, F take)
{
    constexpr ptrdiff_t step = OwnVec<uint8_t>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 2 * step) {
        OwnVec<int16_t> s0 = ownSet((int16_t)start), s1 = s0, s2 = s0, s3 = s0;
        for (ptrdiff_t k = 0; k < nTaps; k += 2) {
            const uint8_t *p = at[k] + i, *q = at[k + 1] + i;
            const OwnVec<int8_t> w = ownAs<int8_t>(ownSet((int16_t)weights[k]));
            const OwnVec<uint8_t> a = ownLoadAs<T, uint8_t>(p), b = ownLoadAs<T, uint8_t>(q);
            const OwnVec<uint8_t> c = ownLoadAs<T, uint8_t>(p + step), d = ownLoadAs<T, uint8_t>(q + step);
            s0 = s0 + ownMulAddSat(ownZipLow(a, b), w);
            s1 = s1 + ownMulAddSat(ownZipHigh(a, b), w);
            s2 = s2 + ownMulAddSat(ownZipLow(c, d), w);
            s3 = s3 + ownMulAddSat(ownZipHigh(c, d), w);
        }
        take(i, s0, s1, s2, s3);
    }
}

template <class T>
static void ownSum16(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps, int32_t start,
                     ptrdiff_t n)
{
    typedef OwnVec<int16_t> V;
    int16_t* out = (int16_t*)sums;
    ownEachSum16<T>(at, weights, nTaps, start, n, [=](ptrdiff_t i, V s0, V s1, V s2, V s3) {
        ownStore(out + i, s0);
        ownStore(out + i + V::lanes, s1);
        ownStore(out + i + 2 * V::lanes, s2);
        ownStore(out + i + 3 * V::lanes, s3);
    });
}

/* The same as samples, after `end`. */
template <class T, class F>
static inline void ownSum16Ended(void* samples, const OwnSum& sum, const uint8_t* const* at, ptrdiff_t n, F end)
{
    typedef OwnVec<int16_t> V;
    T* out = (T*)samples;
    const ptrdiff_t room = (n + OWN_OUT_UNIT - 1) / OWN_OUT_UNIT * OWN_OUT_UNIT;
    ownEachSum16<T>(at, sum.weights, sum.nPlaces, sum.start, n, [=](ptrdiff_t i, V s0, V s1, V s2, V s3) {
        ownStore(out + i, ownPack<T>(end(s0), end(s1)));
        if (i + 2 * V::lanes < room) ownStore(out + i + 2 * V::lanes, ownPack<T>(end(s2), end(s3)));
    });
}

/* (sum + half - 1 + the quotient's last bit) >> bits: ties to even. */
template <class T, int bits>
static void ownSum16Even(void* samples, const OwnSum& sum, const uint8_t* const* at, ptrdiff_t n)
{
    const OwnVec<int16_t> below = ownSet((int16_t)((1 << bits >> 1) - 1)), last = ownSet((int16_t)1);
    ownSum16Ended<T>(samples, sum, at, n, [=](OwnVec<int16_t> s) {
        return ownShiftRight(s + below + (ownShiftRight(s, bits) & last), bits);
    });
}

template <class T>
static void ownSum16ToSamples(void* samples, const OwnSum& sum, const uint8_t* const* at, OwnSumEnd end, int shift,
                              ptrdiff_t n)
{
    typedef OwnVec<int16_t> V;
    const V half = ownSet((int16_t)(1 << shift >> 1));
    if (end == OWN_END_EVEN && shift == 4) ownSum16Even<T, 4>(samples, sum, at, n);
    else if (end == OWN_END_EVEN) ownSum16Even<T, 3>(samples, sum, at, n);
    else if (end == OWN_END_UP)
        ownSum16Ended<T>(samples, sum, at, n, [=](V s) { return ownShiftRight(s + half, shift); });
    else ownSum16Ended<T>(samples, sum, at, n, [=](V s) { return ownShiftRight(s, shift); });
}

/* 32 bits: pairs of 16-bit samples times pairs of 16-bit weights; bytes are widened first. */
template <class T>
[[gnu::flatten]] static void ownSum32(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                                      int32_t start, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<uint8_t>::lanes / (ptrdiff_t)sizeof(T), quarter = OwnVec<int32_t>::lanes;
    int32_t* out = (int32_t*)sums;
    for (ptrdiff_t i = 0; i < n; i += sizeof(T) == 1 ? step : 2 * step) {
        OwnVec<int32_t> s0 = ownSet(start), s1 = s0, s2 = s0, s3 = s0;
        for (ptrdiff_t k = 0; k < nTaps; k += 2) {
            const uint8_t *p = at[k] + i * (ptrdiff_t)sizeof(T), *q = at[k + 1] + i * (ptrdiff_t)sizeof(T);
            const OwnVec<int16_t> w = ownAs<int16_t>(ownSet((int32_t)weights[k]));
            if constexpr (sizeof(T) == 1) {
                const OwnVec<uint8_t> a = ownLoadAs<T, uint8_t>(p), b = ownLoadAs<T, uint8_t>(q);
                const OwnPair<uint16_t> low = ownUnpack(ownZipLow(a, b)), high = ownUnpack(ownZipHigh(a, b));
                s0 = s0 + ownMulAdd(ownAs<int16_t>(low.lo), w);
                s1 = s1 + ownMulAdd(ownAs<int16_t>(low.hi), w);
                s2 = s2 + ownMulAdd(ownAs<int16_t>(high.lo), w);
                s3 = s3 + ownMulAdd(ownAs<int16_t>(high.hi), w);
            } else {
                const OwnVec<int16_t> a = ownLoadAs<T, int16_t>(p), b = ownLoadAs<T, int16_t>(q);
                const OwnVec<int16_t> c = ownLoadAs<T, int16_t>(p + 2 * step), d = ownLoadAs<T, int16_t>(q + 2 * step);
                s0 = s0 + ownMulAdd(ownZipLow(a, b), w);
                s1 = s1 + ownMulAdd(ownZipHigh(a, b), w);
                s2 = s2 + ownMulAdd(ownZipLow(c, d), w);
                s3 = s3 + ownMulAdd(ownZipHigh(c, d), w);
            }
        }
        ownStore(out + i, s0);
        ownStore(out + i + quarter, s1);
        ownStore(out + i + 2 * quarter, s2);
        ownStore(out + i + 3 * quarter, s3);
    }
}

/* Four vectors of 32-bit lanes from samples of any type; of 16-bit ones two vectors of samples, of 32-bit ones four. */
template <class T> struct OwnFour32 {
    OwnVec<int32_t> v[4];
};
template <class T> static inline OwnFour32<T> ownWiden(const uint8_t* p)
{
    constexpr ptrdiff_t bytes = OWN_VEC_BYTES;
    if constexpr (sizeof(T) == 1) {
        const OwnPair<OwnWide<T>> wide = ownUnpack(ownLoad<T>(p));
        const auto low = ownUnpack(wide.lo), high = ownUnpack(wide.hi);
        return {{ownAs<int32_t>(low.lo), ownAs<int32_t>(low.hi), ownAs<int32_t>(high.lo), ownAs<int32_t>(high.hi)}};
    } else if constexpr (sizeof(T) == 2) {
        const auto low = ownUnpack(ownLoad<T>(p)), high = ownUnpack(ownLoad<T>(p + bytes));
        return {{ownAs<int32_t>(low.lo), ownAs<int32_t>(low.hi), ownAs<int32_t>(high.lo), ownAs<int32_t>(high.hi)}};
    } else {
        OwnFour32<T> r;
        for (int j = 0; j < 4; ++j) r.v[j] = ownLoad<int32_t>(p + j * bytes);
        return r;
    }
}

/* 32 bits that wrap, with weights of 32 bits. */
template <class T>
[[gnu::flatten]] static void ownSumWide(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                                        int32_t start, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<int32_t>::lanes;
    int32_t* out = (int32_t*)sums;
    for (ptrdiff_t i = 0; i < n; i += 4 * lanes) {
        OwnFour32<T> s;
        for (int j = 0; j < 4; ++j) s.v[j] = ownSet(start);
        for (ptrdiff_t k = 0; k < nTaps; ++k) {
            const OwnFour32<T> x = ownWiden<T>(at[k] + i * (ptrdiff_t)sizeof(T));
            const OwnVec<int32_t> w = ownSet((int32_t)weights[k]);
            for (int j = 0; j < 4; ++j) s.v[j] = s.v[j] + x.v[j] * w;
        }
        for (int j = 0; j < 4; ++j) ownStore(out + i + j * lanes, s.v[j]);
    }
}

/* Floats, rounded once after each tap. */
template <class T>
[[gnu::flatten]] static void ownSumFloat(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                                         int32_t, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<float>::lanes;
    float* out = (float*)sums;
    for (ptrdiff_t i = 0; i < n; i += 4 * lanes) {
        OwnVec<float> s[4] = {};
        for (ptrdiff_t k = 0; k < nTaps; ++k) {
            const OwnFour32<T> x = ownWiden<T>(at[k] + i * (ptrdiff_t)sizeof(T));
            const OwnVec<float> w = ownSet(std::bit_cast<float>(weights[k]));
            for (int j = 0; j < 4; ++j)
                s[j] = ownMulAddOnce(std::is_same_v<T, float> ? ownAs<float>(x.v[j]) : ownToFloat(x.v[j]), w, s[j]);
        }
        for (int j = 0; j < 4; ++j) ownStore(out + i + j * lanes, s[j]);
    }
}

/* By depth: sums of 16 bits; of 32 bits for weights of 16; for any weights; of floats. `from16`, `from32`: what one unit
 * of weight adds because of flipped samples. */
struct OwnSumForms {
    OwnSumRun *sum16, *sum32, *sumWide, *sumFloat;
    int32_t from16, from32;
};
static const OwnSumForms ownSumForms[OWN_DEPTHS] = {
    /*  1U */ {ownSum16<uint8_t>, ownSum32<uint8_t>, ownSumWide<uint8_t>, ownSumFloat<uint8_t>, 0, 0},
    /*  8U */ {ownSum16<uint8_t>, ownSum32<uint8_t>, ownSumWide<uint8_t>, ownSumFloat<uint8_t>, 0, 0},
    /*  8S */
    {ownSum16<int8_t>, ownSum32<int8_t>, ownSumWide<int8_t>, ownSumFloat<int8_t>, ownFlipped<int8_t, uint8_t>(),
     ownFlipped<int8_t, uint8_t>()},
    /* 16U */
    {nullptr, ownSum32<uint16_t>, ownSumWide<uint16_t>, ownSumFloat<uint16_t>, 0, ownFlipped<uint16_t, int16_t>()},
    /* 16S */ {nullptr, ownSum32<int16_t>, ownSumWide<int16_t>, ownSumFloat<int16_t>, 0, 0},
    /* 32S */ {nullptr, nullptr, ownSumWide<int32_t>, ownSumFloat<int32_t>, 0, 0},
    /* 32F */ {nullptr, nullptr, nullptr, ownSumFloat<float>, 0, 0},
};

/* ---- Making a sum ------------------------------------------------------------------------------------------------ */

/* A pair's second place when the number of taps is odd needs room too. */
int64_t ownSumRoom(int64_t nTaps) { return (nTaps + 1) * (int64_t)(sizeof(OwnTap) + sizeof(uint32_t)) / 8 * 8 + 16; }

int64_t ownSumPointers(int64_t nTaps) { return ((nTaps + 1) * (int64_t)sizeof(uint8_t*) + 63) / 64 * 64; }

void ownStartSum(OwnSum* sum, void* room, int64_t nTaps)
{
    *sum = {};
    sum->taps = (OwnTap*)room;
    sum->weights = (uint32_t*)(sum->taps + nTaps + 1);
}

static bool ownFits(const OwnSum& sum, int32_t low, int32_t high)
{
    bool fits = true;
    for (ptrdiff_t k = 0; k < sum.nTaps; ++k) fits = fits && sum.taps[k].weight >= low && sum.taps[k].weight <= high;
    return fits;
}

/* Whether pairs of products of bytes stay within 16 bits. A flipped sample goes up to 255. */
static bool ownPairsFit(const OwnSum& sum, int32_t sampleMax)
{
    if (!ownFits(sum, INT8_MIN, INT8_MAX)) return false;
    bool fits = true;
    for (ptrdiff_t k = 0; k < sum.nTaps; k += 2) {
        const int32_t w = sum.taps[k].weight, v = k + 1 < sum.nTaps ? sum.taps[k + 1].weight : 0;
        fits = fits && (std::max(w, 0) + std::max(v, 0)) * sampleMax <= INT16_MAX &&
               (std::min(w, 0) + std::min(v, 0)) * sampleMax >= INT16_MIN;
    }
    return fits;
}

/* Weights two by two, each in the low `bits` bits of its half; the place of a missing second tap is that of the first. */
static void ownPairWeights(OwnSum* sum, int bits)
{
    const uint32_t low = (1u << bits) - 1;
    if (sum->nTaps & 1) {
        sum->taps[sum->nTaps] = sum->taps[sum->nTaps - 1];
        sum->taps[sum->nTaps].weight = 0;
    }
    sum->nPlaces = (sum->nTaps + 1) / 2 * 2;
    for (ptrdiff_t k = 0; k < sum->nPlaces; k += 2)
        sum->weights[k] = ((uint32_t)sum->taps[k].weight & low) | ((uint32_t)sum->taps[k + 1].weight & low) << bits;
}

void ownFinishSum(OwnSum* sum, OwnSumKind kind, uint32_t depth, int32_t sampleMax)
{
    const OwnSumForms& forms = ownSumForms[ownSlot(depth)];
    uint32_t total = 0;
    for (ptrdiff_t k = 0; k < sum->nTaps; ++k) total += (uint32_t)sum->taps[k].weight;
    sum->kind = kind;
    sum->nPlaces = sum->nTaps;
    if (kind == OWN_SUM_FLOAT) {
        sum->run = forms.sumFloat;
        for (ptrdiff_t k = 0; k < sum->nTaps; ++k) sum->weights[k] = std::bit_cast<uint32_t>(sum->taps[k].real);
    } else if (kind == OWN_SUM_16 && forms.sum16 && ownPairsFit(*sum, forms.from16 ? 255 : sampleMax)) {
        sum->run = forms.sum16;
        sum->start = (int32_t)(total * (uint32_t)forms.from16);
        ownPairWeights(sum, 8);
    } else if (forms.sum32 && ownFits(*sum, INT16_MIN, INT16_MAX)) {
        sum->kind = OWN_SUM_32;
        sum->run = forms.sum32;
        sum->start = (int32_t)(total * (uint32_t)forms.from32);
        ownPairWeights(sum, 16);
    } else {
        sum->kind = OWN_SUM_32;
        sum->run = forms.sumWide;
        for (ptrdiff_t k = 0; k < sum->nTaps; ++k) sum->weights[k] = (uint32_t)sum->taps[k].weight;
    }
}

/* Where the samples of each tap begin. */
static const uint8_t** ownPlaces(const OwnSum& sum, uint32_t depth, const uint8_t* const* rows, const OwnWindowRow& row,
                                 uint8_t* pointers)
{
    const ptrdiff_t bytes = std::max(ownSampleBits(depth) >> 3, 1) * row.step;
    const uint8_t** at = (const uint8_t**)pointers;
    for (ptrdiff_t k = 0; k < sum.nPlaces; ++k) at[k] = rows[sum.taps[k].row] + sum.taps[k].column * bytes;
    return at;
}

void ownSumRow(const OwnSum& sum, uint32_t depth, const uint8_t* const* rows, const OwnWindowRow& row, void* sums,
               uint8_t* pointers)
{
    sum.run(sums, ownPlaces(sum, depth, rows, row, pointers), sum.weights, sum.nPlaces, sum.start, row.n);
}

void ownSumRowToSamples(const OwnSum& sum, uint32_t depth, const uint8_t* const* rows, const OwnWindowRow& row,
                        void* out, OwnSumEnd end, int shift, uint8_t* pointers)
{
    const uint8_t** at = ownPlaces(sum, depth, rows, row, pointers);
    if (depth == VEK_DEPTH_8S) ownSum16ToSamples<int8_t>(out, sum, at, end, shift, row.n);
    else ownSum16ToSamples<uint8_t>(out, sum, at, end, shift, row.n);
}

/* ---- Sums to samples --------------------------------------------------------------------------------------------- */

/* Integer lanes, four vectors of 32 bits or two of 16, to one vector of bytes. */
template <class T> static inline OwnVec<T> ownNarrowFour(const OwnVec<int32_t> v[4])
{
    return ownPack<T>(ownPack<int16_t>(v[0], v[1]), ownPack<int16_t>(v[2], v[3]));
}

template <class T> [[gnu::flatten]] static void ownTo8From16(void* out, const void* sums, int shift, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes;
    const int16_t* in = (const int16_t*)sums;
    for (ptrdiff_t i = 0; i < n; i += step)
        ownStore((T*)out + i, ownPack<T>(ownShiftRight(ownLoad<int16_t>(in + i), shift),
                                         ownShiftRight(ownLoad<int16_t>(in + i + step / 2), shift)));
}

/* 32-bit sums, or floats held to the range of T and rounded. */
static inline OwnVec<int32_t> ownWholeSum(const int32_t* sums, int shift, double, double)
{
    return ownShiftRight(ownLoad<int32_t>(sums), shift);
}
static inline OwnVec<int32_t> ownWholeSum(const float* sums, int, double low, double high)
{
    return ownNearest(ownMax(ownMin(ownLoad<float>(sums), ownSet((float)high)), ownSet((float)low)));
}

template <class T, class S>
[[gnu::flatten]] static void ownToSamples(void* out, const void* sums, int shift, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, lanes = OwnVec<int32_t>::lanes;
    constexpr double low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
    const S* in = (const S*)sums;
    for (ptrdiff_t i = 0; i < n; i += step) {
        OwnVec<int32_t> v[sizeof(T) == 1 ? 4 : 2];
        for (int j = 0; j < (int)(step / lanes); ++j) v[j] = ownWholeSum(in + i + j * lanes, shift, low, high);
        if constexpr (sizeof(T) == 1) ownStore((T*)out + i, ownNarrowFour<T>(v));
        else ownStore((T*)out + i, ownPack<T>(v[0], v[1]));
    }
}

/* 32S: the largest float below 2^31 is the last that is converted. */
[[gnu::flatten]] static void ownTo32SFromFloat(void* out, const void* sums, int, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<int32_t>::lanes;
    const float* in = (const float*)sums;
    const OwnVec<float> last = ownSet(2147483520.0f), least = ownSet(-2147483648.0f);
    for (ptrdiff_t i = 0; i < n; i += step) {
        const OwnVec<float> x = ownLoad<float>(in + i);
        const OwnVec<int32_t> over = ownAs<int32_t>(ownGreater(x, last));
        ownStore((int32_t*)out + i, ownSelect(over, ownSet<int32_t>(INT32_MAX), ownNearest(ownMax(x, least))));
    }
}

static void ownTo32S(void* out, const void* sums, int shift, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) ((int32_t*)out)[i] = ((const int32_t*)sums)[i] >> shift;
}
static void ownToFloats(void* out, const void* sums, int, ptrdiff_t n) { memcpy(out, sums, (size_t)n * sizeof(float)); }

typedef void OwnToSamples(void* out, const void* sums, int shift, ptrdiff_t n);
static OwnToSamples* const ownToSamplesRows[OWN_DEPTHS][3] = {
    /*  1U */ {ownTo8From16<uint8_t>, ownToSamples<uint8_t, int32_t>, ownToSamples<uint8_t, float>},
    /*  8U */ {ownTo8From16<uint8_t>, ownToSamples<uint8_t, int32_t>, ownToSamples<uint8_t, float>},
    /*  8S */ {ownTo8From16<int8_t>, ownToSamples<int8_t, int32_t>, ownToSamples<int8_t, float>},
    /* 16U */ {nullptr, ownToSamples<uint16_t, int32_t>, ownToSamples<uint16_t, float>},
    /* 16S */ {nullptr, ownToSamples<int16_t, int32_t>, ownToSamples<int16_t, float>},
    /* 32S */ {nullptr, ownTo32S, ownTo32SFromFloat},
    /* 32F */ {nullptr, nullptr, ownToFloats},
};

void ownSumsToSamples(void* out, const void* sums, OwnSumKind kind, int shift, uint32_t depth, ptrdiff_t n)
{
    ownToSamplesRows[ownSlot(depth)][kind](out, sums, std::min(shift, kind == OWN_SUM_16 ? 15 : 31), n);
}
