/* ownnetwork: the median of small squares by networks of minima and maxima. */
#include "ownrank.h"
#include "ownsimd.h"

/* f(0), f(1), ..., f(n - 1), each with a constant: vectors in arrays stay in registers only so. */
template <int n, class F> [[gnu::always_inline]] static inline void ownUnroll(F f)
{
    [&]<int... i>(std::integer_sequence<int, i...>) __attribute__((always_inline))
    {
        (f(std::integral_constant<int, i>()), ...);
    }
    (std::make_integer_sequence<int, n>());
}

/* Vectors of samples, in ascending order lane by lane. */
template <class T, int n> struct OwnSorted {
    OwnVec<T> x[n > 0 ? n : 1];
};

/* Every other one, from the first or the second on. */
template <int from, class T, int n>
[[gnu::always_inline]] static inline OwnSorted<T, (n + 1 - from) / 2> ownEveryOther(const OwnSorted<T, n>& a)
{
    OwnSorted<T, (n + 1 - from) / 2> r;
    ownUnroll<(n + 1 - from) / 2>([&](auto i) __attribute__((always_inline)) { r.x[i] = a.x[2 * i + from]; });
    return r;
}

/* Two lists become one: their odd places by themselves, their even ones, and then each of these finds its place beside one
 * of the others. What isn't used of the result isn't computed. */
template <class T, int m, int n>
[[gnu::always_inline]] static inline OwnSorted<T, m + n> ownMerge(const OwnSorted<T, m>& a, const OwnSorted<T, n>& b)
{
    if constexpr (m == 0) return b;
    else if constexpr (n == 0) return a;
    else if constexpr (m == 1 && n == 1) return {{ownMin(a.x[0], b.x[0]), ownMax(a.x[0], b.x[0])}};
    else {
        constexpr int nEven = (m + 1) / 2 + (n + 1) / 2, nOdd = m / 2 + n / 2, nPairs = nOdd < nEven ? nOdd : nEven - 1;
        const OwnSorted<T, nEven> even = ownMerge(ownEveryOther<0>(a), ownEveryOther<0>(b));
        const OwnSorted<T, nOdd> odd = ownMerge(ownEveryOther<1>(a), ownEveryOther<1>(b));
        OwnSorted<T, m + n> r;
        r.x[0] = even.x[0];
        ownUnroll<nPairs>([&](auto i) __attribute__((always_inline)) {
            r.x[2 * i + 1] = ownMin(odd.x[i], even.x[i + 1]);
            r.x[2 * i + 2] = ownMax(odd.x[i], even.x[i + 1]);
        });
        if constexpr (nOdd == nEven) r.x[m + n - 1] = odd.x[nOdd - 1];
        if constexpr (nOdd == nEven - 2) r.x[m + n - 1] = even.x[nEven - 1];
        return r;
    }
}

/* The n samples from p on, `step` apart, in order. */
template <class T, int n>
[[gnu::always_inline]] static inline OwnSorted<T, n> ownSorted(const uint8_t* const* rows, ptrdiff_t i)
{
    if constexpr (n == 1) return {{ownKeep(ownLoad<T>((const T*)rows[0] + i))}};
    else return ownMerge(ownSorted<T, n / 2>(rows, i), ownSorted<T, n - n / 2>(rows + n / 2, i));
}

/* Of a list of n, when `more` samples are yet to come to it, those that may be the middle one in the end. */
template <int more, class T, int n> [[gnu::always_inline]] static inline auto ownKeepMiddle(const OwnSorted<T, n>& a)
{
    constexpr int kept = n < more + 1 ? n : more + 1;
    OwnSorted<T, kept> r;
    ownUnroll<kept>([&](auto i) __attribute__((always_inline)) { r.x[i] = a.x[i + (n - kept) / 2]; });
    return r;
}

/* The middle one of both lists: the largest that has n others below it for certain. */
template <class T, int n>
[[gnu::always_inline]] static inline OwnVec<T> ownMiddle(const OwnSorted<T, n + 1>& a, const OwnSorted<T, n>& b)
{
    OwnVec<T> middle = a.x[0];
    ownUnroll<n>([&](auto i)
                     __attribute__((always_inline)) { middle = ownMax(middle, ownMin(a.x[i + 1], b.x[n - 1 - i])); });
    return middle;
}

/* Rows of lists in scratch, a list for each sample of a part of a line; so few that they stay in the first-level cache. */
enum { OWN_LIST_BYTES = 384 };
template <class T> static constexpr ptrdiff_t ownListSamples = OWN_LIST_BYTES / (ptrdiff_t)sizeof(T);

/* The results of a part, in whole vectors. */
template <class T> static ptrdiff_t ownListResults(ptrdiff_t side, ptrdiff_t step)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    return (ownListSamples<T> - (side - 1) * step) / lanes * lanes - lanes;
}

template <class T, int n> struct OwnLists {
    T* first;
    OwnSorted<T, n> at(ptrdiff_t i) const
    {
        OwnSorted<T, n> r;
        ownUnroll<n>([&](auto k)
                         __attribute__((always_inline)) { r.x[k] = ownLoad<T>(first + k * ownListSamples<T> + i); });
        return r;
    }
    void put(ptrdiff_t i, const OwnSorted<T, n>& a) const
    {
        ownUnroll<n>([&](auto k)
                         __attribute__((always_inline)) { ownStore(first + k * ownListSamples<T> + i, a.x[k]); });
    }
};

/* Columns of the window are ordered once for all windows that they are in; so are pairs of columns, and fours, from which
 * the window's median is made. */
template <class T, int side> struct OwnColumnLists {
    static constexpr int all = side * side, nFour = 4 * side < all - 4 * side + 1 ? 4 * side : all - 4 * side + 1;
    static constexpr int rows = 3 * side + nFour;
    static constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    OwnLists<T, side> one;
    OwnLists<T, 2 * side> two;
    OwnLists<T, nFour> four;
    ptrdiff_t step;

    [[gnu::flatten]] void makeOnes(const uint8_t* const* lines, ptrdiff_t at, ptrdiff_t n) const
    {
        for (ptrdiff_t i = 0; i < n; i += lanes) one.put(i, ownSorted<T, side>(lines, at + i));
    }
    [[gnu::flatten]] void makeTwos(ptrdiff_t n) const
    {
        for (ptrdiff_t i = 0; i < n; i += lanes) two.put(i, ownMerge(one.at(i), one.at(i + step)));
    }
    [[gnu::always_inline]] OwnSorted<T, nFour> fourAt(ptrdiff_t i) const
    {
        return ownKeepMiddle<all - 4 * side>(ownMerge(two.at(i), two.at(i + 2 * step)));
    }
    [[gnu::flatten]] void makeFours(ptrdiff_t n) const
    {
        for (ptrdiff_t i = 0; i < n; i += lanes) four.put(i, fourAt(i));
    }
    /* The fours, the pair that the columns don't make up a four of, the last column. */
    OwnVec<T> median(ptrdiff_t i) const
    {
        const OwnSorted<T, side> last = one.at(i + (side - 1) * step);
        if constexpr (side == 5) return ownMiddle<T, 5>(fourAt(i), last);
        else if constexpr (side == 7)
            return ownMiddle<T, 7>(ownKeepMiddle<7>(ownMerge(fourAt(i), two.at(i + 4 * step))), last);
        else if constexpr (side == 9)
            return ownMiddle<T, 9>(ownKeepMiddle<9>(ownMerge(four.at(i), four.at(i + 4 * step))), last);
        else {
            const auto eight = ownKeepMiddle<33>(ownMerge(four.at(i), four.at(i + 4 * step)));
            return ownMiddle<T, 11>(ownKeepMiddle<11>(ownMerge(eight, two.at(i + 8 * step))), last);
        }
    }
    [[gnu::flatten]] void makeMedians(T* out, ptrdiff_t n) const
    {
        for (ptrdiff_t i = 0; i < n; i += lanes) ownStore(out + i, median(i));
    }
};

template <class T, int side> static void ownListsRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    typedef OwnColumnLists<T, side> Lists;
    const ptrdiff_t most = ownListResults<T>(side, row.step);
    T* s = (T*)row.scratch;
    const Lists lists = {{s}, {s + side * ownListSamples<T>}, {s + 3 * side * ownListSamples<T>}, row.step};
    for (ptrdiff_t at = 0; at < row.n; at += most) {
        const ptrdiff_t n = std::min(row.n - at, most);
        lists.makeOnes(rows, at, n + (side - 1) * row.step);
        lists.makeTwos(n + (side - 2) * row.step);
        if (side > 8) lists.makeFours(n + (side - 4) * row.step);
        lists.makeMedians((T*)out + at, n);
    }
}

template <class V> static inline V ownMiddle(V a, V b, V c) { return ownMax(ownMin(a, b), ownMin(ownMax(a, b), c)); }

/* Of nine, ordered by columns, the median is the middle one of the largest least, the middle middle and the least largest. */
template <class T>
[[gnu::always_inline]] static inline OwnVec<T> ownMiddleOfNine(const OwnSorted<T, 3>& a, const OwnSorted<T, 3>& b,
                                                               const OwnSorted<T, 3>& c)
{
    const OwnVec<T> least = ownMax(ownMax(a.x[0], b.x[0]), c.x[0]), most = ownMin(ownMin(a.x[2], b.x[2]), c.x[2]);
    return ownMiddle(least, ownMiddle(a.x[1], b.x[1], c.x[1]), most);
}

/* One row or two, whose windows have the second and the third line in common. */
template <class T, int nRows>
[[gnu::flatten]] static void ownNineRows(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const uint8_t* const line[4] = {rows[0], rows[1], rows[2], rows[nRows + 1]};
    T* const to[2] = {(T*)out, (T*)((uint8_t*)out + row.outStep)};
    const ptrdiff_t n = row.n, step = row.step;
    for (ptrdiff_t i = 0; i < n; i += OwnVec<T>::lanes) {
        OwnSorted<T, 3> column[nRows][3];
        ownUnroll<3>([&](auto c) __attribute__((always_inline)) {
            const OwnSorted<T, 2> both = ownSorted<T, 2>(line + 1, i + c * step);
            ownUnroll<nRows>([&](auto r) __attribute__((always_inline)) {
                column[r][c] = ownMerge(both, ownSorted<T, 1>(line + 3 * r, i + c * step));
            });
        });
        ownUnroll<nRows>([&](auto r) __attribute__((always_inline)) {
            ownStore(to[r] + i, ownMiddleOfNine(column[r][0], column[r][1], column[r][2]));
        });
    }
}
template <class T> static void ownNineStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    (row.nRows == 2 ? ownNineRows<T, 2> : ownNineRows<T, 1>)(out, rows, row);
}

/* ---- The choice --------------------------------------------------------------------------------------------------- */

struct OwnNetworks {
    OwnWindowStage* square[6]; /* of 1, 3, 5, 7, 9, 11 columns and rows */
    ptrdiff_t (*results)(ptrdiff_t side, ptrdiff_t step);
};
template <class T>
static constexpr OwnNetworks ownNetworksOf = {
    {nullptr, ownNineStage<T>, ownListsRow<T, 5>, ownListsRow<T, 7>, ownListsRow<T, 9>, ownListsRow<T, 11>},
    ownListResults<T>};

static const OwnNetworks ownNetworks[OWN_DEPTHS] = {
    /*  1U */ {}, /* ownOnesStage */
    /*  8U */ ownNetworksOf<uint8_t>,
    /*  8S */ ownNetworksOf<int8_t>,
    /* 16U */ ownNetworksOf<uint16_t>,
    /* 16S */ ownNetworksOf<int16_t>,
    /* 32S */ ownNetworksOf<int32_t>,
    /* 32F */ {},
};

bool ownNetworkStage(OwnWindow& window, OwnRank& rank)
{
    const OwnNetworks& networks = ownNetworks[rank.slot];
    if (rank.nCols != rank.nRows || rank.nCols % 2 == 0 || rank.nCols < 3 || rank.nCols > 11) return false;
    if (networks.results((ptrdiff_t)rank.nCols, window.srcImage->nChannels) <= 0)
        return false; /* of very many channels */
    window.stage = networks.square[rank.nCols / 2];
    window.inTwos = rank.nCols == 3;
    window.scratchBytes = 7 * rank.nCols * OWN_LIST_BYTES;
    return true;
}
