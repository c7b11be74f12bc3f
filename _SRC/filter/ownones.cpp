/* ownones: the median of 1-bit samples, which is 1 where a window holds enough ones.
 *
 * Ones are counted bit-sliced: a row of numbers is a few planes, of the numbers' bits of weight 1, 2, 4, ..., and a vector
 * adds as many numbers as it has bits. Across, the counts of 1, 2, 4, ... neighbouring bits come from one another, and
 * make up any count. Down, a window gains the counts of the line that comes and loses those of the line that goes. Windows
 * count from the least number of ones that makes a 1, so the result is the sign. */
#include <bit>

#include "ownrank.h"
#include "ownsimd.h"

typedef OwnVec<uint64_t> OwnWords;

/* Numbers, 64 to a word, the first one in the top bit: those of ones among `span` bits each. */
struct OwnOnes {
    uint8_t* planes;
    ptrdiff_t planeBytes;
    int64_t span;
    int count() const { return (int)std::bit_width((uint64_t)span); }
    uint8_t* plane(int p) const { return planes + p * planeBytes; }
};

/* The bits of a plane from bit `at` on: words joined of two. */
struct OwnPlaneFrom {
    ptrdiff_t bytes;
    int left;
    explicit OwnPlaneFrom(int64_t at) : bytes((ptrdiff_t)(at / 64 * 8)), left((int)(at % 64)) {}
    OwnWords operator()(const uint8_t* p) const
    {
        const OwnWords a = ownLoad<uint64_t>(p + bytes), b = ownLoad<uint64_t>(p + bytes + 8);
        return ownShiftLeft(a, left) | ownShiftRight(ownShiftRight(b, 1), 63 - left);
    }
};

/* x + y + carry. */
static inline OwnWords ownSumOfBits(OwnWords x, OwnWords y, OwnWords& carry)
{
    const OwnWords differ = x ^ y, sum = differ ^ carry;
    carry = (x & y) | (differ & carry);
    return sum;
}

/* x - y - borrow. */
static inline OwnWords ownDifferenceOfBits(OwnWords x, OwnWords y, OwnWords& borrow)
{
    const OwnWords differ = x ^ y, left = differ ^ borrow;
    borrow = (y & ~x) | (borrow & ~differ);
    return left;
}

/* The counts of windows that begin with those of a, and go on with those of b, which are not wider. out may be either. */
static void ownJoinOnes(OwnOnes& out, const OwnOnes& a, const OwnOnes& b, ptrdiff_t lineBits)
{
    const OwnPlaneFrom behind(a.span);
    const OwnOnes sum = {out.planes, out.planeBytes, a.span + b.span};
    const int nSum = sum.count(), nA = a.count(), nB = b.count();
    const ptrdiff_t nBytes = (lineBits - (ptrdiff_t)sum.span + 8) / 8;
    for (ptrdiff_t i = 0; i < nBytes; i += OWN_VEC_BYTES) {
        OwnWords carry = {};
        for (int p = 0; p < nB; ++p)
            ownStore(sum.plane(p) + i, ownSumOfBits(ownLoad<uint64_t>(a.plane(p) + i), behind(b.plane(p) + i), carry));
        for (int p = nB; p < nA; ++p) {
            const OwnWords x = ownLoad<uint64_t>(a.plane(p) + i);
            ownStore(sum.plane(p) + i, x ^ carry);
            carry = x & carry;
        }
        if (nSum > nA) ownStore(sum.plane(nA) + i, carry);
    }
    out.span = sum.span;
}

/* The counts of nCols bits from each bit of a line on. */
static OwnOnes ownOnesAcross(OwnOnes power, OwnOnes rest, const uint8_t* bits, int64_t nCols, ptrdiff_t lineBits)
{
    for (ptrdiff_t i = 0; i * 8 < lineBits; i += OWN_VEC_BYTES) ownStore(power.planes + i, ownLoadBits(bits + i));
    for (power.span = 1;; ownJoinOnes(power, power, power, lineBits)) {
        if (nCols & power.span) ownJoinOnes(rest, power, rest, lineBits);
        if (2 * power.span > nCols) return rest;
    }
}

/* The stage's scratch: planes of powers (counts of 1, 2, 4, ... bits), of rests, of windows, and of lines, nRows times. */
struct OwnOnesPlan {
    int64_t nCols, nRows, least;
    int linePlanes, windowPlanes;
    explicit OwnOnesPlan(const OwnRank& rank)
        : nCols(rank.nCols), nRows(rank.nRows), least(nCols * nRows - rank.rank + 1),
          linePlanes((int)std::bit_width((uint64_t)nCols)),
          windowPlanes((int)std::bit_width((uint64_t)std::max(least - 1, nCols * nRows - least)) + 1)
    {
    }
    int64_t planes() const { return (nRows + 2) * linePlanes + windowPlanes; }
};

/* The windows' counts change by a line's, which take the place of those of the line that goes; their signs are stored. */
static void ownOnesDown(uint8_t* out, const OwnOnes& windows, int windowPlanes, uint8_t* gone, const OwnOnes& line,
                        ptrdiff_t nBytes)
{
    const int nLine = line.count();
    for (ptrdiff_t i = 0; i < nBytes; i += OWN_VEC_BYTES) {
        OwnWords carry = {}, borrow = {}, last = {};
        for (int p = 0; p < nLine; ++p) {
            uint8_t *sums = windows.plane(p) + i, *old = gone + p * line.planeBytes + i;
            const OwnWords come = ownLoad<uint64_t>(line.plane(p) + i);
            last = ownSumOfBits(ownLoad<uint64_t>(sums), come, carry);
            last = ownDifferenceOfBits(last, ownLoad<uint64_t>(old), borrow);
            ownStore(sums, last);
            ownStore(old, come);
        }
        for (int p = nLine; p < windowPlanes; ++p) {
            uint8_t* sums = windows.plane(p) + i;
            const OwnWords x = ownLoad<uint64_t>(sums), more = x ^ carry;
            carry = x & carry;
            last = more ^ borrow;
            borrow = borrow & ~more;
            ownStore(sums, last);
        }
        if (out) ownStore(out + i, ownBitsOrder(~last));
    }
}

static void ownOnesRow(void* out, const uint8_t* const* rows, const OwnWindowRow& row)
{
    const OwnOnesPlan plan(*(const OwnRank*)row.k);
    const ptrdiff_t planeBytes = row.lineSamples / 8 + OWN_LINE_SPARE;
    int64_t& turn = *(int64_t*)row.scratch;
    uint8_t* planes = row.scratch + OWN_OUT_UNIT;
    const OwnOnes power = {planes, planeBytes, 0}, rest = {power.plane(plan.linePlanes), planeBytes, 0},
                  windows = {rest.plane(plan.linePlanes), planeBytes, 0};
    uint8_t* lines = windows.plane(plan.windowPlanes);
    const ptrdiff_t lineStep = plan.linePlanes * planeBytes;
    if (row.first) {
        turn = 0;
        memset(lines, 0, (size_t)(plan.nRows * lineStep));
        for (int p = 0; p < plan.windowPlanes; ++p)
            memset(windows.plane(p), -plan.least >> p & 1 ? 0xFF : 0, (size_t)planeBytes);
    }
    const OwnOnes line = ownOnesAcross(power, rest, rows[0], plan.nCols, row.n + (ptrdiff_t)plan.nCols - 1);
    ownOnesDown(row.isFull ? (uint8_t*)out : nullptr, windows, plan.windowPlanes, lines + turn * lineStep, line,
                (row.n + 7) / 8);
    turn = (turn + 1) % plan.nRows;
}

bool ownOnesStage(OwnWindow& window, OwnRank& rank)
{
    if (rank.slot != OWN_1U) return false;
    const int64_t planes = OwnOnesPlan(rank).planes();
    window.stage = ownOnesRow;
    window.oneByOne = window.asBits = true;
    window.scratchPerSample = (planes + 7) / 8;
    window.scratchBytes = planes * OWN_LINE_SPARE + OWN_OUT_UNIT;
    return true;
}
