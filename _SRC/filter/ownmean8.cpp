/* ownmean8: the mean of a window of bytes, to the nearest integer, ties to even, in lanes of 16 bits alone.
 *
 * With s the sum of a window's n samples, the mean is q and r what is left: s + n / 2 = q n + r, and r below n. From a row
 * to the next the sum changes by d, the difference of two sums along rows: r + d is divided by n anew, and q grows by the
 * quotient. That never has more than 16 bits, however large the sum is. Kept is 2 r + 1, an odd number, and sums along rows
 * are doubled: then a quotient by 2 n is at least 1 / 2n away from an integer, and the product with a factor of 16 bits
 * gives its floor.
 *
 * Samples at even and at odd places of a row lie in lanes of their own, as pairs of bytes have them. Few pixels are added up
 * pair by pair; sums of many are differences of running sums, which wrap. Signed samples are counted from -128 on. */
#include "ownblur.h"

#include <math.h>

#include "ownboxsum.h"

/* ---- The plan ---------------------------------------------------------------------------------------------------- */

/* Whether the product of each sum that lies between two means with 1 / n goes to the even one, as the tie does; of signed
 * samples, too. */
static bool ownTiesAreEven(int64_t n, double r)
{
    for (int64_t k = -128; k < 256; ++k)
        if ((int64_t)rint((double)(n * k + n / 2) * r) != k + (k & 1)) return false;
    return true;
}

bool ownPlanMean8(OwnBlurPlan* plan)
{
    /* 2 r + 1 and the doubled difference have 16 bits. */
    const int64_t n = (int64_t)plan->nCols * plan->nRows;
    if (n < 2 || n + 255 * (int64_t)plan->nCols > INT16_MAX / 2) return false;
    plan->hasTies = n % 2 == 0;
    if (plan->hasTies && !ownTiesAreEven(n, plan->r)) return false;

    /* The factor is the nearest to 2^(16 + shift) / 2n, and errs by less than 1 / 2n for each of 2^(16 + shift). */
    plan->shift = (int)std::bit_width((uint32_t)n - 1) - 1;
    plan->twiceN = (int16_t)(2 * n);
    plan->factor = (int16_t)((((int64_t)1 << (16 + plan->shift)) + n) / (2 * n));
    return true;
}

/* ---- Sums of few ------------------------------------------------------------------------------------------------- */

/* Where the pairs of bytes lie that a sum is made of, and what becomes of them in the sums for even and for odd places. */
enum { OWN_MOST_FEW = 5 };
struct OwnFewBytes {
    int nPairs;
    ptrdiff_t offset[OWN_MOST_FEW];
    int32_t even[OWN_MOST_FEW], odd[OWN_MOST_FEW]; /* weights of a pair, twice */
};

/* Neighbours in a row of one channel are pairs as they lie; of other pixels one byte of a pair is used at a time. False:
 * they are too many. */
static bool ownPlanFew(OwnFewBytes* few, int32_t width, ptrdiff_t step)
{
    const auto twice = [=](int32_t c, int32_t next) {
        const auto weight = [=](int32_t column) { return column >= 0 && column < width ? 2 : 0; };
        return (weight(c) | weight(next) << 8) * 0x10001;
    };
    few->nPairs = step == 1 ? width / 2 + 1 : width;
    if (few->nPairs > OWN_MOST_FEW) return false;
    for (int k = 0; k < few->nPairs; ++k) {
        few->offset[k] = step == 1 ? 2 * k : k * step;
        few->even[k] = step == 1 ? twice(2 * k, 2 * k + 1) : twice(k, -1);
        few->odd[k] = step == 1 ? twice(2 * k - 1, 2 * k) : twice(-1, k);
    }
    return true;
}

/* ---- Running sums ------------------------------------------------------------------------------------------------ */

/* A row's running sums, twice: sums[p & 1][p >> 1] is twice the sample at place p and those a number of steps before it. In
 * front of each are zeros. */
struct OwnByteSums {
    int16_t* sums[2];
};
static const int16_t* ownSumAt(const OwnByteSums& running, ptrdiff_t place)
{
    return running.sums[place & 1] + (place >> 1);
}
enum { OWN_BYTE_ZEROS = 64 };

/* Twice the samples at even, at odd places, or both. */
static inline OwnVec<int16_t> ownTwice(OwnVec<uint8_t> a, int16_t weights)
{
    return ownMulAddSat(a, ownAs<int8_t>(ownSet(weights)));
}
enum : int16_t { OWN_TWICE_EVEN = 0x0002, OWN_TWICE_ODD = 0x0200, OWN_TWICE_BOTH = 0x0202 };

/* Of two samples an odd step apart one is at an even place, the other at an odd one: running sums of the two at even
 * places, to which samples at odd ones are added. With an even step either kind is by itself. */
template <int step, class T>
[[gnu::flatten]] static void ownRunBytes(const OwnByteSums& out, const uint8_t* line, ptrdiff_t n)
{
    constexpr uint8_t zero = std::is_signed_v<T> ? 128 : 0;
    const OwnVec<uint8_t> flip = ownSet(zero);
    uint8_t head[2 * OWN_VEC_BYTES];
    memset(head, zero, OWN_VEC_BYTES);
    memcpy(head + OWN_VEC_BYTES, line, OWN_VEC_BYTES);
    OwnVec<int16_t> beforeEven = {}, beforeOdd = {}, lastEven = {};
    for (ptrdiff_t i = 0; i < n; i += OWN_VEC_BYTES) {
        const uint8_t* p = i ? line + i : head + OWN_VEC_BYTES;
        const OwnVec<uint8_t> x = ownLoad<uint8_t>(p) ^ flip;
        OwnVec<int16_t> even, odd = ownTwice(x, OWN_TWICE_ODD);
        if constexpr (step % 2) {
            const OwnVec<uint8_t> y = ownLoad<uint8_t>(p - step) ^ flip;
            if constexpr (step == 1) even = ownTwice(y, OWN_TWICE_BOTH);
            else even = ownTwice(x, OWN_TWICE_EVEN) + ownTwice(y, OWN_TWICE_EVEN);
            even = ownRunningSum<step>(even, beforeEven);
            if constexpr (step == 1) odd = odd + even;
            else odd = odd + ownAcrossBoth<OWN_VEC_BYTES - (step - 1)>(lastEven, even);
            lastEven = even;
        } else {
            even = ownRunningSum<step / 2>(ownTwice(x, OWN_TWICE_EVEN), beforeEven);
            odd = ownRunningSum<step / 2>(odd, beforeOdd);
        }
        ownStore(out.sums[0] + i / 2, even);
        ownStore(out.sums[1] + i / 2, odd);
    }
}

/* ---- Means ------------------------------------------------------------------------------------------------------- */

/* The stage's scratch. `leaving`: the row of the ring that leaves the window, which makes room for the one that enters. */
struct OwnMean8State {
    int64_t* place; /* of the row that leaves */
    int16_t *left, *leaving, *ring, *levels;
    uint8_t* means;
};

/* Means of one row from the sums of the row that enters, two vectors of lanes at a time, of which `join` makes one. */
template <class T, bool hasTies, class Sums, class Join>
[[gnu::flatten]] static inline void ownTurnMeans(uint8_t* out, const OwnMean8State& state, ptrdiff_t n,
                                                 const OwnBlurPlan& plan, Sums sums, Join join)
{
    typedef OwnVec<int16_t> V;
    const V factor = ownSet(plan.factor), twiceN = ownSet(plan.twiceN), one = ownSet<int16_t>(1);
    const OwnVec<uint8_t> flip = ownSet<uint8_t>(std::is_signed_v<T> ? 128 : 0);
    const int shift = plan.shift;
    V tie[2];
    const auto turn = [&](V sum, ptrdiff_t at, int half) {
        const V left = ownLoad<int16_t>(state.left + at) + sum - ownLoad<int16_t>(state.leaving + at);
        const V quotient = ownShiftRight(ownMulHigh(left, factor), shift), rest = left - quotient * twiceN;
        ownStore(state.leaving + at, sum);
        ownStore(state.left + at, rest);
        if constexpr (hasTies) tie[half] = ownEqual(rest, one) & one;
        return quotient;
    };
    for (ptrdiff_t i = 0; i < n; i += OWN_VEC_BYTES) {
        const OwnPair<int16_t> sum = sums(i);
        const V low = turn(sum.lo, i, 0), high = turn(sum.hi, i + V::lanes, 1);
        OwnVec<uint8_t> mean = ownLoad<uint8_t>(state.means + i) + join(low, high);
        ownStore(state.means + i, mean);
        if constexpr (hasTies) mean = mean - (mean & join(tie[0], tie[1]));
        ownStore(out + i, mean ^ flip);
    }
}

/* ---- The row stage ----------------------------------------------------------------------------------------------- */

template <class T, class Sums, class Join>
static void ownTurnEither(void* out, const OwnMean8State& state, ptrdiff_t n, const OwnBlurPlan& plan, Sums sums,
                          Join join)
{
    if (plan.hasTies) ownTurnMeans<T, true>((uint8_t*)out, state, n, plan, sums, join);
    else ownTurnMeans<T, false>((uint8_t*)out, state, n, plan, sums, join);
}

template <class T, int step>
static void ownMeansByRunning(void* out, const uint8_t* line, const OwnMean8State& state, const OwnWindowRow& row,
                              const OwnBlurPlan& plan)
{
    const ptrdiff_t reach = (plan.nCols - 1) * (ptrdiff_t)step, whole = (row.n + OWN_VEC_BYTES - 1) & -OWN_VEC_BYTES;
    const OwnByteSums running = {
        {state.levels + OWN_BYTE_ZEROS, state.levels + 2 * OWN_BYTE_ZEROS + row.lineSamples / 2}};
    if (row.first)
        for (int16_t* sums : running.sums) memset(sums - OWN_BYTE_ZEROS, 0, OWN_BYTE_ZEROS * sizeof(int16_t));
    ownRunBytes<step, T>(running, line, whole + reach + 1);

    const int16_t *even = ownSumAt(running, reach), *evenLess = ownSumAt(running, -step),
                  *odd = ownSumAt(running, reach + 1), *oddLess = ownSumAt(running, 1 - step);
    const auto sums = [=](ptrdiff_t i) {
        return OwnPair<int16_t>{ownLoad<int16_t>(even + i / 2) - ownLoad<int16_t>(evenLess + i / 2),
                                ownLoad<int16_t>(odd + i / 2) - ownLoad<int16_t>(oddLess + i / 2)};
    };
    ownTurnEither<T>(out, state, row.n, plan, sums, [](auto a, auto b) { return ownJoinBytes(a, b); });
}

template <class T, int nPairs>
static void ownMeansOfFew(void* out, const uint8_t* line, const OwnMean8State& state, const OwnWindowRow& row,
                          const OwnBlurPlan& plan, const OwnFewBytes& few)
{
    const OwnVec<uint8_t> flip = ownSet<uint8_t>(std::is_signed_v<T> ? 128 : 0);
    const uint8_t* from[nPairs];
    OwnVec<int8_t> even[nPairs], odd[nPairs];
    for (int k = 0; k < nPairs; ++k) {
        from[k] = line + few.offset[k];
        even[k] = ownAs<int8_t>(ownSet(few.even[k]));
        odd[k] = ownAs<int8_t>(ownSet(few.odd[k]));
    }
    const auto sums = [=](ptrdiff_t i) {
        OwnPair<int16_t> sum = {};
        for (int k = 0; k < nPairs; ++k) {
            const OwnVec<uint8_t> x = ownLoad<uint8_t>(from[k] + i) ^ flip;
            sum = {sum.lo + ownMulAddSat(x, even[k]), sum.hi + ownMulAddSat(x, odd[k])};
        }
        return sum;
    };
    ownTurnEither<T>(out, state, row.n, plan, sums, [](auto a, auto b) { return ownJoinBytes(a, b); });
}

/* Pixels of many samples: the sums of the row in order, from levels of sums. */
template <class T>
static void ownMeansByLevels(void* out, const uint8_t* line, const OwnMean8State& state, const OwnWindowRow& row,
                             const OwnBlurPlan& plan)
{
    int16_t* row16 = state.levels;
    ownBoxByLevels(row16, (const T*)line, plan.nCols, row, row16 + row.lineSamples);
    const OwnVec<int16_t> up = ownSet((int16_t)(std::is_signed_v<T> ? 128 * plan.nCols : 0)),
                          byte = ownSet<int16_t>(255);
    const auto sums = [=](ptrdiff_t i) {
        const auto a = ownLoad<int16_t>(row16 + i) + up, b = ownLoad<int16_t>(row16 + i + OwnVec<int16_t>::lanes) + up;
        return OwnPair<int16_t>{a + a, b + b};
    };
    ownTurnEither<T>(out, state, row.n, plan, sums,
                     [=](auto a, auto b) { return ownNarrow<uint8_t>(a & byte, b & byte); });
}

int64_t ownMean8Room(const OwnBlurPlan& plan)
{
    return sizeof(uint8_t) + (2 + plan.nRows + (int64_t)ownBoxLevels(plan.nCols)) * (int64_t)sizeof(int16_t);
}

template <class T> void ownMean8Stage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnBlurPlan& plan = *(const OwnBlurPlan*)row.k;
    OwnMean8State state;
    state.place = (int64_t*)row.scratch;
    state.left = (int16_t*)(row.scratch + 64);
    state.ring = state.left + row.lineSamples;
    state.means = (uint8_t*)(state.ring + plan.nRows * row.lineSamples);
    state.levels = (int16_t*)(state.means + row.lineSamples);
    if (row.first) { /* all sums are 0: the means, too, and r is n / 2 */
        *state.place = 0;
        std::fill(state.left, state.left + row.lineSamples, (int16_t)(plan.twiceN / 4 * 2 + 1));
        memset(state.ring, 0, (size_t)(plan.nRows * row.lineSamples) * sizeof(int16_t));
        memset(state.means, 0, (size_t)row.lineSamples);
    }
    state.leaving = state.ring + *state.place * row.lineSamples;
    *state.place = *state.place + 1 < plan.nRows ? *state.place + 1 : 0;
    OwnFewBytes few;
    if (ownPlanFew(&few, plan.nCols, row.step)) switch (few.nPairs) {
        case 1: return ownMeansOfFew<T, 1>(out, rows[0], state, row, plan, few);
        case 2: return ownMeansOfFew<T, 2>(out, rows[0], state, row, plan, few);
        case 3: return ownMeansOfFew<T, 3>(out, rows[0], state, row, plan, few);
        case 4: return ownMeansOfFew<T, 4>(out, rows[0], state, row, plan, few);
        case 5: return ownMeansOfFew<T, 5>(out, rows[0], state, row, plan, few);
        }
    switch (row.step) {
    case 1: return ownMeansByRunning<T, 1>(out, rows[0], state, row, plan);
    case 2: return ownMeansByRunning<T, 2>(out, rows[0], state, row, plan);
    case 3: return ownMeansByRunning<T, 3>(out, rows[0], state, row, plan);
    case 4: return ownMeansByRunning<T, 4>(out, rows[0], state, row, plan);
    }
    ownMeansByLevels<T>(out, rows[0], state, row, plan);
}
template void ownMean8Stage<uint8_t>(void*, const uint8_t* const*, const OwnWindowRow&);
template void ownMean8Stage<int8_t>(void*, const uint8_t* const*, const OwnWindowRow&);
