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
    if constexpr (std::is_signed_v<T> == std::is_signed_v<As>) return ownKeep(ownLoad<As>(p));
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

/* Calls block.at<vectors>(i) for blocks of `most` vectors of `lanes` sums each, then of `least`, over n sums. */
template <int most, int least, class F> static inline void ownEachBlock(ptrdiff_t lanes, ptrdiff_t n, F block)
{
    ptrdiff_t i = 0;
    for (; i <= n - most * lanes; i += most * lanes) block(i, std::integral_constant<int, most>());
    for (; i < n; i += least * lanes) block(i, std::integral_constant<int, least>());
}

/* The two halves of the sums of a vector of samples, in the order of ownUnpack. `take` gets the place of the first sample
 * and these. */
template <class S> using OwnHalves = OwnPair<S>;

/* Sums of pairs of products: of bytes in 16 bits, of 16-bit samples in 32. M is the sample as the multiplier takes it. */
static inline OwnVec<int16_t> ownMulPairs(OwnVec<uint8_t> a, uint32_t weights)
{
    return ownMulAddSat(a, ownAs<int8_t>(ownSet((int32_t)weights)));
}
static inline OwnVec<int32_t> ownMulPairs(OwnVec<int16_t> a, uint32_t weights)
{
    return ownMulAdd(a, ownAs<int16_t>(ownSet((int32_t)weights)));
}
template <class T> using OwnFactor = std::conditional_t<sizeof(T) == 1, uint8_t, int16_t>;
template <class T> using OwnPairSum = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;

/* Adds two taps at a time, whose samples are brought side by side, from place k on: all of them, or a group. Returns the
 * place behind it. */
template <class T, int vectors, bool isGroup>
static inline ptrdiff_t ownAddPairs(OwnHalves<OwnPairSum<T>>* s, const uint8_t* const* at, const uint32_t* weights,
                                    ptrdiff_t k, ptrdiff_t nPlaces, ptrdiff_t offset)
{
    typedef OwnFactor<T> M;
    for (; k < nPlaces && (!isGroup || at[k]); k += 2) {
        const uint8_t *p = at[k] + offset, *q = at[k + 1] + offset;
        const uint32_t w = weights[k];
        for (int j = 0; j < vectors; ++j) {
            const OwnVec<M> a = ownLoadAs<T, M>(p + j * OWN_VEC_BYTES), b = ownLoadAs<T, M>(q + j * OWN_VEC_BYTES);
            s[j].lo = s[j].lo + ownMulPairs(ownZipLow(a, b), w);
            s[j].hi = s[j].hi + ownMulPairs(ownZipHigh(a, b), w);
        }
    }
    return k;
}

/* The same of taps side by side in a row of one channel, which are pairs as they lie. Those that begin at a sample with an
 * even number give the sums of even number, and by other weights those of odd number. */
template <class T, int vectors, bool isGroup>
static inline ptrdiff_t ownAddAlong(OwnHalves<OwnPairSum<T>>* s, const uint8_t* const* at, const uint32_t* weights,
                                    ptrdiff_t k, ptrdiff_t nPlaces, ptrdiff_t offset)
{
    typedef OwnFactor<T> M;
    OwnVec<OwnPairSum<T>> even[vectors], odd[vectors];
    for (int j = 0; j < vectors; ++j) even[j] = s[j].lo, odd[j] = s[j].lo;
    for (; k < nPlaces && (!isGroup || at[k]); ++k) {
        const uint8_t* p = at[k] + offset;
        const uint32_t w = weights[2 * k], v = weights[2 * k + 1];
        for (int j = 0; j < vectors; ++j) {
            const OwnVec<M> a = ownLoadAs<T, M>(p + j * OWN_VEC_BYTES);
            even[j] = even[j] + ownMulPairs(a, w);
            odd[j] = odd[j] + ownMulPairs(a, v);
        }
    }
    for (int j = 0; j < vectors; ++j) s[j] = {ownZipLow(even[j], odd[j]), ownZipHigh(even[j], odd[j])};
    return k;
}

/* Either, for sums that begin with a number. */
template <class T, bool along, int vectors, bool isGroup>
static inline ptrdiff_t ownAddEither(OwnHalves<OwnPairSum<T>>* s, int32_t start, const uint8_t* const* at,
                                     const uint32_t* weights, ptrdiff_t k, ptrdiff_t nPlaces, ptrdiff_t offset)
{
    for (int j = 0; j < vectors; ++j) s[j].lo = s[j].hi = ownSet((OwnPairSum<T>)start);
    if constexpr (along) return ownAddAlong<T, vectors, isGroup>(s, at, weights, k, nPlaces, offset);
    else return ownAddPairs<T, vectors, isGroup>(s, at, weights, k, nPlaces, offset);
}

template <class T, bool along, class F>
[[gnu::flatten]] static inline void ownEachPairs(const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nPlaces,
                                                 int32_t start, ptrdiff_t n, F take)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    ownEachBlock<4, 64 / OWN_VEC_BYTES>(lanes, n, [=](ptrdiff_t i, auto vectors) {
        OwnHalves<OwnPairSum<T>> s[vectors];
        ownAddEither<T, along, vectors, false>(s, start, at, weights, 0, nPlaces, i * (ptrdiff_t)sizeof(T));
        for (int j = 0; j < vectors; ++j) take(i + j * lanes, s[j]);
    });
}

/* A row of sums. */
template <class T, bool along>
static void ownSumPairs(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nPlaces, int32_t start,
                        ptrdiff_t n)
{
    typedef OwnPairSum<T> S;
    S* out = (S*)sums;
    const auto store = [=](ptrdiff_t i, OwnHalves<S> s) {
        ownStore(out + i, s.lo);
        ownStore(out + i + OwnVec<S>::lanes, s.hi);
    };
    ownEachPairs<T, along>(at, weights, nPlaces, start, n, store);
}

/* The same as samples: (s + bias + ((s >> shift) & last)) >> shift, held to the range of T. */
template <class T, bool along, bool rounds>
static void ownPairsToSamples(void* samples, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nPlaces,
                              int32_t start, const OwnSumEnd& end, ptrdiff_t n)
{
    typedef OwnPairSum<T> S;
    typedef OwnVec<S> V;
    T* out = (T*)samples;
    const V bias = ownSet((S)end.bias), last = ownSet((S)end.last);
    const int shift = end.shift;
    const auto ended = [=](V s) {
        if constexpr (rounds) s = s + bias + (ownShiftRight(s, shift) & last);
        return ownShiftRight(s, shift);
    };
    const auto store = [=](ptrdiff_t i, OwnHalves<S> s) { ownStore(out + i, ownPack<T>(ended(s.lo), ended(s.hi))); };
    ownEachPairs<T, along>(at, weights, nPlaces, start, n, store);
}

/* Sums of 32 bits of bytes: those of each group are made in 16 bits. */
template <class T, bool along>
[[gnu::flatten]] static void ownSumGroups(void* sums, const uint8_t* const* at, const uint32_t* weights,
                                          ptrdiff_t nPlaces, int32_t start, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, quarter = OwnVec<int32_t>::lanes;
    constexpr int vectors = 64 / OWN_VEC_BYTES;
    int32_t* out = (int32_t*)sums;
    for (ptrdiff_t i = 0; i < n; i += vectors * lanes) {
        OwnVec<int32_t> total[vectors][4];
        for (auto& four : total)
            for (auto& v : four) v = ownSet(start);
        for (ptrdiff_t k = 0; k < nPlaces;) {
            OwnHalves<int16_t> s[vectors];
            const int32_t first = (int32_t)weights[along ? 2 * k : k];
            k = ownAddEither<T, along, vectors, true>(s, first, at, weights, k + (along ? 1 : 2), nPlaces, i);
            for (int j = 0; j < vectors; ++j) {
                const auto low = ownUnpack(ownAs<uint16_t>(s[j].lo)), high = ownUnpack(ownAs<uint16_t>(s[j].hi));
                total[j][0] = total[j][0] + ownAs<int32_t>(low.lo);
                total[j][1] = total[j][1] + ownAs<int32_t>(low.hi);
                total[j][2] = total[j][2] + ownAs<int32_t>(high.lo);
                total[j][3] = total[j][3] + ownAs<int32_t>(high.hi);
            }
        }
        for (int j = 0; j < vectors; ++j)
            for (int q = 0; q < 4; ++q) ownStore(out + i + j * lanes + q * quarter, total[j][q]);
    }
}

/* Sums of 32 bits of bytes, for weights of 16 bits. */
template <class T>
[[gnu::flatten]] static void ownSumWidened(void* sums, const uint8_t* const* at, const uint32_t* weights,
                                           ptrdiff_t nTaps, int32_t start, ptrdiff_t n)
{
    constexpr ptrdiff_t step = OwnVec<uint8_t>::lanes, quarter = OwnVec<int32_t>::lanes;
    int32_t* out = (int32_t*)sums;
    for (ptrdiff_t i = 0; i < n; i += step) {
        OwnVec<int32_t> s0 = ownSet(start), s1 = s0, s2 = s0, s3 = s0;
        for (ptrdiff_t k = 0; k < nTaps; k += 2) {
            const OwnVec<uint8_t> a = ownLoadAs<T, uint8_t>(at[k] + i), b = ownLoadAs<T, uint8_t>(at[k + 1] + i);
            const OwnPair<uint16_t> low = ownUnpack(ownZipLow(a, b)), high = ownUnpack(ownZipHigh(a, b));
            s0 = s0 + ownMulPairs(ownAs<int16_t>(low.lo), weights[k]);
            s1 = s1 + ownMulPairs(ownAs<int16_t>(low.hi), weights[k]);
            s2 = s2 + ownMulPairs(ownAs<int16_t>(high.lo), weights[k]);
            s3 = s3 + ownMulPairs(ownAs<int16_t>(high.hi), weights[k]);
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

/* Floats, rounded once after each tap. Each vector of samples becomes as many vectors of sums as they take. */
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
            for (int j = 0; j < 4; ++j) s[j] = ownMulAddOnce(ownToFloat(x.v[j]), w, s[j]);
        }
        for (int j = 0; j < 4; ++j) ownStore(out + i + j * lanes, s[j]);
    }
}
template <>
[[gnu::flatten]] void ownSumFloat<float>(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps,
                                         int32_t, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<float>::lanes;
    float* out = (float*)sums;
    ownEachBlock<8, 64 / OWN_VEC_BYTES>(lanes, n, [=](ptrdiff_t i, auto vectors) {
        OwnVec<float> s[vectors] = {};
        for (ptrdiff_t k = 0; k < nTaps; ++k) {
            const float* p = (const float*)at[k] + i;
            const OwnVec<float> w = ownSet(std::bit_cast<float>(weights[k]));
            for (int j = 0; j < vectors; ++j) s[j] = ownMulAddOnce(ownLoad<float>(p + j * lanes), w, s[j]);
        }
        for (int j = 0; j < vectors; ++j) ownStore(out + i + j * lanes, s[j]);
    });
}

/* s + w x, rounded once; s is a sum of such products. */
static inline float ownAddWhole(float s, int32_t w, int32_t x)
{
    const int64_t product = (int64_t)w * x;
    int64_t sum;
    if (__builtin_fabsf(s) < 0x1p63f && !__builtin_add_overflow((int64_t)s, product, &sum)) return (float)sum;
    /* From 2^62 on: in units of 2^32, of which s is some, and a bit that tells whether there is more. */
    const int64_t high = (int64_t)(s * 0x1p-32f) + (product >> 32);
    return (float)(high * 2 + ((uint32_t)product != 0)) * 0x1p31f;
}

/* Floats again, of whole samples by whole weights of which one or the other is no float. */
template <class T>
static void ownSumWhole(void* sums, const uint8_t* const* at, const uint32_t* weights, ptrdiff_t nTaps, int32_t,
                        ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<float>::lanes;
    for (ptrdiff_t i = 0; i < n; i += 4 * lanes) {
        float* s = (float*)sums + i;
        memset(s, 0, 4 * lanes * sizeof(float));
        for (ptrdiff_t k = 0; k < nTaps; ++k) {
            const OwnFour32<T> x = ownWiden<T>(at[k] + i * (ptrdiff_t)sizeof(T));
            for (ptrdiff_t j = 0; j < 4 * lanes; ++j)
                s[j] = ownAddWhole(s[j], (int32_t)weights[k], x.v[j / lanes].v[j % lanes]);
        }
    }
}

/* The same where no sum has more than 53 bits before it is rounded: a double holds it. */
enum { OWN_MOST_TOTAL = 1 << 20 };
[[gnu::flatten]] static void ownSumInDoubles(void* sums, const uint8_t* const* at, const uint32_t* weights,
                                             ptrdiff_t nTaps, int32_t, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<float>::lanes;
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        OwnVec<float> s = {};
        for (ptrdiff_t k = 0; k < nTaps; ++k) {
            const OwnPair<double> x = ownToDouble(ownLoad<int32_t>((const int32_t*)at[k] + i)), sum = ownToDouble(s);
            const OwnVec<double> w = ownSet((double)(int32_t)weights[k]);
            s = ownToFloat(OwnPair<double>{sum.lo + x.lo * w, sum.hi + x.hi * w});
        }
        ownStore((float*)sums + i, s);
    }
}

/* Adds to a row of sums, or to two, what a line gives them: `count` taps that lie `apart` samples apart. */
template <int vectors, class... Sum>
static inline void ownAddTaps(const float* line, ptrdiff_t apart, int32_t count, const Sum&... sum)
{
    for (int32_t c = 0; c < count; ++c, line += apart)
        for (int j = 0; j < vectors; ++j) {
            const OwnVec<float> x = ownKeep(ownLoad<float>(line + j * OwnVec<float>::lanes));
            ((sum.s[j] = ownMulAddOnce(x, ownSet(sum.weights[c]), sum.s[j])), ...);
        }
}

/* Two rows of sums together, so that a vector of samples is loaded once for both. Each has its taps in their order. */
struct OwnRowOfTwo {
    OwnVec<float>* s;
    const float* weights;
};
[[gnu::flatten]] static void ownSumTwo(float* out, float* second, const uint8_t* const* rows, const float* weights,
                                       int32_t nRows, int32_t nCols, ptrdiff_t apart, ptrdiff_t offset, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<float>::lanes;
    ownEachBlock<4, 64 / OWN_VEC_BYTES>(lanes, n, [=](ptrdiff_t i, auto vectors) {
        OwnVec<float> s[vectors] = {}, t[vectors] = {};
        const auto line = [=](int32_t y) { return (const float*)rows[y] + offset + i; };
        const auto row = [=](int32_t y) { return weights + y * (ptrdiff_t)nCols; };
        ownAddTaps<vectors>(line(0), apart, nCols, OwnRowOfTwo{s, row(0)});
        for (int32_t y = 1; y < nRows; ++y)
            ownAddTaps<vectors>(line(y), apart, nCols, OwnRowOfTwo{s, row(y)}, OwnRowOfTwo{t, row(y - 1)});
        ownAddTaps<vectors>(line(nRows), apart, nCols, OwnRowOfTwo{t, row(nRows - 1)});
        for (int j = 0; j < vectors; ++j) {
            ownStore(out + i + j * lanes, s[j]);
            ownStore(second + i + j * lanes, t[j]);
        }
    });
}

/* What a row of pairs can be taken by: its sums, or samples at once, with and without a bias; sums of groups. */
struct OwnPairForms {
    OwnSumRun* sums;
    OwnSumToSamples *shifted, *rounded;
    OwnSumRun* groups;
};
template <class T, bool along> constexpr OwnSumRun* ownGroupsOf()
{
    if constexpr (sizeof(T) == 1) return ownSumGroups<T, along>;
    else return nullptr;
}
template <class T, bool along>
constexpr OwnPairForms ownPairForms = {ownSumPairs<T, along>, ownPairsToSamples<T, along, false>,
                                       ownPairsToSamples<T, along, true>, ownGroupsOf<T, along>()};

/* By depth: pairs of taps that lie anywhere, and side by side; of 8-bit samples they give sums of 16 bits, of 16-bit
 * samples sums of 32. 32 bits from bytes; from anything, with any weights; floats, by float weights and by whole ones.
 * `from`: what one unit of weight adds because of flipped samples. */
struct OwnSumForms {
    OwnPairForms pairs, along;
    OwnSumRun *widened, *wide, *real, *whole;
    int32_t from;
};
template <class T>
constexpr OwnSumForms ownSumFormsOf = {
    ownPairForms<T, false>, ownPairForms<T, true>,        nullptr, ownSumWide<T>, ownSumFloat<T>,
    ownSumWhole<T>,         ownFlipped<T, OwnFactor<T>>()};
template <class T>
constexpr OwnSumForms ownSumForms8 = {
    ownPairForms<T, false>, ownPairForms<T, true>,        ownSumWidened<T>, ownSumWide<T>, ownSumFloat<T>,
    ownSumWhole<T>,         ownFlipped<T, OwnFactor<T>>()};
static const OwnSumForms ownSumForms[OWN_DEPTHS] = {
    /*  1U */ ownSumForms8<uint8_t>,
    /*  8U */ ownSumForms8<uint8_t>,
    /*  8S */ ownSumForms8<int8_t>,
    /* 16U */ ownSumFormsOf<uint16_t>,
    /* 16S */ ownSumFormsOf<int16_t>,
    /* 32S */ {{}, {}, nullptr, ownSumWide<int32_t>, ownSumFloat<int32_t>, ownSumWhole<int32_t>, 0},
    /* 32F */ {{}, {}, nullptr, nullptr, ownSumFloat<float>, nullptr, 0},
};

/* ---- Making a sum ------------------------------------------------------------------------------------------------ */

int64_t ownSumPointers(int64_t nTaps) { return (ownMostBesides(nTaps) * (int64_t)sizeof(uint8_t*) + 63) / 64 * 64; }

void ownStartSum(OwnSum* sum, void* room, int64_t nTaps)
{
    const int64_t most = ownMostPlaces(nTaps), mostBesides = ownMostBesides(nTaps);
    *sum = {};
    sum->taps = (OwnTap*)room;
    sum->places.at = sum->taps + nTaps;
    sum->besides.at = sum->places.at + most;
    sum->places.weights = (uint32_t*)(sum->besides.at + mostBesides);
    sum->besides.weights = sum->places.weights + most;
}

static bool ownFits(const OwnSum& sum, int32_t low, int32_t high)
{
    bool fits = true;
    for (ptrdiff_t k = 0; k < sum.nTaps; ++k) fits = fits && sum.taps[k].weight >= low && sum.taps[k].weight <= high;
    return fits;
}

/* Where sums of products of bytes end: each tap on the sample that takes it furthest. */
struct OwnReach {
    int32_t least, largest;
};
static OwnReach ownReachOf(OwnReach from, const int32_t pair[2], int32_t sampleMax)
{
    for (int i = 0; i < 2; ++i) (pair[i] < 0 ? from.least : from.largest) += pair[i] * sampleMax;
    return from;
}

/* Places as they are put down: samples of bytes up to sampleMax; those of 16 bits have none, and are put down as they are.
 * With groups a new one begins where the sums, counted from the least that they can be, would leave 16 bits. */
struct OwnPutting {
    OwnPlaces* places;
    int32_t sampleMax;
    bool inGroups;
    int nWords;       /* of weights: two go with one place, one with two */
    ptrdiff_t header; /* the place where the group is introduced */
    OwnReach reach[2];
};

/* Two weights of 8 bits, twice; or of 16 bits. */
static uint32_t ownPairOf(const int32_t pair[2], bool areBytes)
{
    const uint32_t a = (uint32_t)pair[0], b = (uint32_t)pair[1];
    return areBytes ? ((a & 0xFF) | (b & 0xFF) << 8) * 0x10001u : (a & 0xFFFF) | b << 16;
}

static void ownPut(OwnPutting& putting, const OwnTap& first, const OwnTap& second, uint32_t weights, uint32_t others)
{
    OwnPlaces& places = *putting.places;
    places.weights[putting.nWords * places.n] = weights;
    if (putting.nWords == 2) places.weights[2 * places.n + 1] = others;
    places.at[places.n++] = first;
    if (putting.nWords == 1) places.at[places.n++] = second;
}

/* Brings the group's header up to date for a place that is to come into it, or begins a group. */
static void ownPrepareGroup(OwnPutting& putting, const int32_t weights[2][2])
{
    OwnPlaces& places = *putting.places;
    const auto leastOf = [](const OwnReach* reach) { return std::min(reach[0].least, reach[1].least); };
    const auto reaching = [&](OwnReach* reach) {
        for (int word = 0; word < 2; ++word)
            reach[word] = ownReachOf(putting.reach[word], weights[word], putting.sampleMax);
        return std::max(reach[0].largest, reach[1].largest) - leastOf(reach) <= UINT16_MAX;
    };
    OwnReach reach[2];
    const bool stays = reaching(reach);
    if (places.n == 0 || !stays) {
        const OwnTap header = {-1, 0, 0, 0};
        putting.header = places.n;
        ownPut(putting, header, header, 0, 0);
        putting.reach[0] = putting.reach[1] = {};
        (void)reaching(reach);
    }
    places.start += leastOf(reach) - leastOf(putting.reach);
    places.weights[putting.nWords * putting.header] = (uint32_t)-leastOf(reach);
    putting.reach[0] = reach[0];
    putting.reach[1] = reach[1];
}

static void ownPutPlace(OwnPutting& putting, const OwnTap& first, const OwnTap& second, const int32_t weights[2][2])
{
    const bool areBytes = putting.sampleMax > 0;
    if (putting.inGroups) ownPrepareGroup(putting, weights);
    ownPut(putting, first, second, ownPairOf(weights[0], areBytes), ownPairOf(weights[1], areBytes));
}

/* The same; of bytes, whose products in pairs must not leave 16 bits, in two halves where they would. */
static void ownPutPair(OwnPutting& putting, const OwnTap& first, const OwnTap& second, const int32_t weights[2][2])
{
    bool fits = true;
    for (int word = 0; word < 2; ++word) {
        const OwnReach reach = ownReachOf({}, weights[word], putting.sampleMax);
        fits = fits && reach.least >= INT16_MIN && reach.largest <= INT16_MAX;
    }
    if (fits) return ownPutPlace(putting, first, second, weights);
    int32_t half[2][2], rest[2][2];
    for (int i = 0; i < 4; ++i) {
        half[i / 2][i % 2] = weights[i / 2][i % 2] / 2;
        rest[i / 2][i % 2] = weights[i / 2][i % 2] - half[i / 2][i % 2];
    }
    ownPutPlace(putting, first, second, half);
    ownPutPlace(putting, first, second, rest);
}

/* Taps two by two; the place of a missing second tap is that of the first. */
static void ownPlanPairs(OwnSum* sum, int32_t sampleMax, bool inGroups)
{
    OwnPutting putting = {&sum->places, sampleMax, inGroups, 1, 0, {}};
    for (ptrdiff_t k = 0; k < sum->nTaps; k += 2) {
        const bool isLast = k + 1 == sum->nTaps;
        const OwnTap &first = sum->taps[k], &second = sum->taps[isLast ? k : k + 1];
        const int32_t weights[2][2] = {{first.weight, isLast ? 0 : second.weight}, {}};
        ownPutPair(putting, first, second, weights);
    }
}

/* The weight of the tap at a column of the row of taps that begins at tap k; 0 where there is none. */
static int32_t ownWeightAt(const OwnSum& sum, ptrdiff_t k, int32_t column)
{
    const int32_t row = sum.taps[k].row;
    for (; k < sum.nTaps && sum.taps[k].row == row; ++k)
        if (sum.taps[k].column == column) return sum.taps[k].weight;
    return 0;
}

/* Taps two by two as they lie in their rows; taps of a row come with rising columns. */
static void ownPlanBesides(OwnSum* sum, int32_t sampleMax, bool inGroups)
{
    OwnPutting putting = {&sum->besides, sampleMax, inGroups, 2, 0, {}};
    ptrdiff_t k = 0;
    while (k < sum->nTaps) {
        ptrdiff_t end = k + 1;
        while (end < sum->nTaps && sum->taps[end].row == sum->taps[k].row &&
               sum->taps[end].column > sum->taps[end - 1].column)
            ++end;
        const OwnTap& first = sum->taps[k];
        for (int32_t x = first.column; x <= sum->taps[end - 1].column + 1; x += 2) {
            const int32_t before = x > first.column ? ownWeightAt(*sum, k, x - 1) : 0, here = ownWeightAt(*sum, k, x),
                          behind = ownWeightAt(*sum, k, x + 1);
            const int32_t weights[2][2] = {{here, behind}, {before, here}};
            const OwnTap tap = {first.row, x, 0, 0};
            if (before || here || behind) ownPutPair(putting, tap, tap, weights);
        }
        k = end;
    }
}

/* The taps as they are. */
static void ownPlanSingles(OwnSum* sum, bool areReal)
{
    for (ptrdiff_t k = 0; k < sum->nTaps; ++k) {
        sum->places.at[k] = sum->taps[k];
        sum->places.weights[k] = areReal ? std::bit_cast<uint32_t>(sum->taps[k].real) : (uint32_t)sum->taps[k].weight;
    }
    sum->places.n = sum->nTaps;
}

/* The taps of a row, if all rows have the same, without gaps. */
static int32_t ownDenseTaps(const OwnSum& sum)
{
    if (sum.nTaps == 0) return 0;
    const OwnTap &first = sum.taps[0], &last = sum.taps[sum.nTaps - 1];
    const int64_t nCols = (int64_t)last.column - first.column + 1, nRows = (int64_t)last.row - first.row + 1;
    if (nCols < 1 || nCols * nRows != sum.nTaps) return 0;
    for (ptrdiff_t k = 0; k < sum.nTaps; ++k)
        if (sum.taps[k].row != first.row + k / nCols || sum.taps[k].column != first.column + k % nCols) return 0;
    return (int32_t)nCols;
}

/* Floats: by whole weights where the taps have these and products of floats would not be theirs. */
static void ownFinishFloats(OwnSum* sum, const OwnSumForms& forms)
{
    bool areWhole = forms.whole, areFloats = ownSampleBits(sum->depth) <= 16;
    int64_t total = 0;
    for (ptrdiff_t k = 0; k < sum->nTaps; ++k) {
        const OwnTap& tap = sum->taps[k];
        areWhole = areWhole && tap.real == (float)tap.weight;
        areFloats = areFloats && (double)tap.real == tap.weight;
        total += std::abs((int64_t)tap.weight);
    }
    const bool byWhole = areWhole && !areFloats;
    sum->kind = OWN_SUM_FLOAT;
    sum->run = !byWhole                                                     ? forms.real
               : ownSampleBits(sum->depth) == 32 && total <= OWN_MOST_TOTAL ? ownSumInDoubles
                                                                            : forms.whole;
    ownPlanSingles(sum, !byWhole);
    sum->nDense = ownDenseTaps(*sum);
}

void ownFinishSum(OwnSum* sum, OwnSumKind kind, uint32_t depth, int32_t sampleMax)
{
    const OwnSumForms& forms = ownSumForms[ownSlot(depth)];
    const bool areBytes = ownSampleBits(depth) <= 8, isNarrow = ownFits(*sum, INT8_MIN, INT8_MAX),
               isShort = ownFits(*sum, INT16_MIN, INT16_MAX);
    uint32_t total = 0;
    for (ptrdiff_t k = 0; k < sum->nTaps; ++k) total += (uint32_t)sum->taps[k].weight;
    sum->depth = depth;
    sum->kind = areBytes && isNarrow && kind == OWN_SUM_16 ? OWN_SUM_16 : OWN_SUM_32;
    if (kind == OWN_SUM_FLOAT) ownFinishFloats(sum, forms);
    else if (forms.pairs.sums && (areBytes ? isNarrow : isShort)) {
        /* A flipped sample goes up to 255. */
        const int32_t most = areBytes ? (forms.from ? 255 : sampleMax) : 0;
        sum->areGroups = areBytes && kind != OWN_SUM_16;
        sum->arePairs = !sum->areGroups;
        sum->places.start = sum->besides.start = (int32_t)(total * (uint32_t)forms.from);
        ownPlanPairs(sum, most, sum->areGroups);
        ownPlanBesides(sum, most, sum->areGroups);
    } else if (forms.widened && isShort) {
        sum->run = forms.widened;
        sum->places.start = (int32_t)(total * (uint32_t)(depth == VEK_DEPTH_8S ? -128 : 0));
        ownPlanPairs(sum, 0, false);
    } else {
        sum->run = forms.wide;
        ownPlanSingles(sum, false);
    }
}

/* ---- Taking a sum ------------------------------------------------------------------------------------------------ */

/* How a row's pairs are taken, with where the samples of each place begin. */
struct OwnTaking {
    const OwnPairForms* forms;
    const uint8_t** at;
    const uint32_t* weights;
    ptrdiff_t nPlaces;
    int32_t start;
};

/* Words for a vector of samples: six, or with 16-bit ones that are flipped eight, for two taps that are brought side by
 * side; four, or five, for a place where they lie so. */
static OwnTaking ownTake(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, uint8_t* pointers)
{
    const OwnSumForms& forms = ownSumForms[ownSlot(sum.depth)];
    const bool beside = sum.besides.n && row.step == 1 && 4 * sum.besides.n <= 3 * sum.places.n;
    const OwnPlaces& places = beside ? sum.besides : sum.places;
    const ptrdiff_t bytes = std::max(ownSampleBits(sum.depth) >> 3, 1) * row.step;
    OwnTaking taking = {beside ? &forms.along : &forms.pairs, (const uint8_t**)pointers, places.weights, places.n,
                        places.start};
    for (ptrdiff_t k = 0; k < places.n; ++k)
        taking.at[k] = places.at[k].row < 0 ? nullptr : rows[places.at[k].row] + places.at[k].column * bytes;
    return taking;
}

void ownSumRow(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* sums, uint8_t* pointers)
{
    const OwnTaking taking = ownTake(sum, rows, row, pointers);
    OwnSumRun* run = sum.arePairs ? taking.forms->sums : sum.areGroups ? taking.forms->groups : sum.run;
    run(sums, taking.at, taking.weights, taking.nPlaces, taking.start, row.n);
}

void ownSumRowToSamples(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* out,
                        const OwnSumEnd& end, uint8_t* pointers)
{
    const OwnTaking taking = ownTake(sum, rows, row, pointers);
    OwnSumToSamples* run = end.bias || end.last ? taking.forms->rounded : taking.forms->shifted;
    run(out, taking.at, taking.weights, taking.nPlaces, taking.start, end, row.n);
}

void ownSumTwoRows(const OwnSum& sum, const uint8_t* const* rows, const OwnWindowRow& row, void* sums)
{
    const OwnTap& first = sum.taps[0];
    ownSumTwo((float*)sums, (float*)((uint8_t*)sums + row.outStep), rows + first.row, (const float*)sum.places.weights,
              (int32_t)(sum.nTaps / sum.nDense), sum.nDense, row.step, first.column * row.step, row.n);
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
    ownEach<int32_t, int32_t>(out, sums, n, [=](int32_t s) { return s >> shift; });
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
