/* ownbitrow: runs of bits that begin anywhere in a byte, brought to another place, joined and stored in one pass.
 *
 * Byte i of a result is made of two neighbouring bytes of a source, v[i - back] and v[i - back + 1], shifted by the distance
 * of the two places in their bytes. Of a run that goes backward, v are its bytes from the first one down, each turned. */
#include "ownrow.h"
#include "ownsimd.h"

#include <stdlib.h>

enum { OWN_BIT_VEC = OWN_VEC_BYTES };
typedef OwnVec<uint8_t> OwnBytes;

/* Bits of a where mask has ones, of b elsewhere. */
static inline OwnBytes ownSelectBits(OwnBytes mask, OwnBytes a, OwnBytes b) { return (a & mask) | (b & ~mask); }

/* ---- Sources ------------------------------------------------------------------------------------------------- */

/* A source as the result at its place sees it. */
struct OwnBitLane {
    const uint8_t* first; /* the byte of v[0] */
    ptrdiff_t nBytes;     /* how many bytes hold some of the bits */
    int back, left;
    bool turned;
};

static OwnBitLane ownBitLane(const OwnBitsAt& src, int to, ptrdiff_t n)
{
    const int from = src.turned ? 7 - src.bit : src.bit;
    return {src.byte, (from + n + 7) >> 3, from < to, (from - to) & 7, src.turned};
}

/* Byte i of the result; bits that the source does not have are 0. */
static uint8_t ownByteAt(const OwnBitLane& lane, ptrdiff_t i)
{
    const auto v = [&](ptrdiff_t j) -> int {
        if (j < 0 || j >= lane.nBytes) return 0;
        return lane.turned ? ownTurnByte(lane.first[-j]) : lane.first[j];
    };
    return (uint8_t)((v(i - lane.back) << 8 | v(i - lane.back + 1)) << lane.left >> 8);
}

/* `high` moved up by `left`, the places that this frees filled from the top of `low`; turned bytes move the other way. Shifted
 * in pairs of bytes; what crosses from byte to byte is what the mask takes from the other. */
static auto ownMovedUp(int left)
{
    const OwnBytes upper = ownSet((uint8_t)(0xFF << left));
    return [=](OwnBytes high, OwnBytes low) {
        return ownSelectBits(upper, ownAs<uint8_t>(ownShiftLeft(ownAs<uint16_t>(high), left)),
                             ownAs<uint8_t>(ownShiftRight(ownAs<uint16_t>(low), 8 - left)));
    };
}
static auto ownMovedDown(int left)
{
    const OwnBytes lower = ownSet((uint8_t)(0xFF >> left));
    return [=](OwnBytes high, OwnBytes low) {
        return ownSelectBits(lower, ownAs<uint8_t>(ownShiftRight(ownAs<uint16_t>(high), left)),
                             ownAs<uint8_t>(ownShiftLeft(ownAs<uint16_t>(low), 8 - left)));
    };
}

/* The vectors of a lane, from byte i of the result on; p is the lane's first byte. */
static auto ownAlignedBytes(const OwnBitLane&)
{
    return [](const uint8_t* p, ptrdiff_t i) { return ownLoad<uint8_t>(p + i); };
}
static auto ownMovedBytes(const OwnBitLane& lane)
{
    return [back = lane.back, up = ownMovedUp(lane.left)](const uint8_t* p, ptrdiff_t i) {
        return up(ownLoad<uint8_t>(p + i - back), ownLoad<uint8_t>(p + i - back + 1));
    };
}
static auto ownTurnedBytes(const OwnBitLane& lane)
{
    return [ahead = lane.back - (OWN_BIT_VEC - 1), down = ownMovedDown(lane.left)](const uint8_t* p, ptrdiff_t i) {
        return ownTurnBitsOfBytes(ownTurn(down(ownLoad<uint8_t>(p + ahead - i), ownLoad<uint8_t>(p + ahead - i - 1))));
    };
}

/* ---- The result ----------------------------------------------------------------------------------------------- */

OwnBitRule ownBitRule(OwnRun* run, const void* k)
{
    const uint8_t a = 0x33, b = 0x55; /* the four cases, from bit 3 down */
    uint8_t f = 0;
    run(&f, &a, &b, 1, k);
    const auto byte = [](int bit) { return (uint8_t)(bit & 1 ? 0xFF : 0); };
    return {byte(f >> 3), byte(f >> 3 ^ f >> 1), byte(f >> 3 ^ f >> 2), byte(f >> 3 ^ f >> 2 ^ f >> 1 ^ f)};
}

/* All lanes of a run. */
struct OwnBitLanes {
    int nSources;
    bool masked;
    OwnBitLane source[2], mask;
    OwnBitRule rule;
};

static OwnBitLanes ownBitLanes(const OwnBitRun& run)
{
    OwnBitLanes lanes = {run.nSources, run.mask.byte != nullptr, {}, {}, run.rule};
    for (int i = 0; i < run.nSources; ++i) lanes.source[i] = ownBitLane(run.source[i], run.dst.bit, run.n);
    if (lanes.masked) lanes.mask = ownBitLane(run.mask, run.dst.bit, run.n);
    return lanes;
}

/* Byte i of the destination: by the rule where the bits of `write`, and of the mask, are set. */
static void ownStoreByte(const OwnBitLanes& lanes, uint8_t* out, ptrdiff_t i, uint8_t write)
{
    const OwnBitRule& rule = lanes.rule;
    const int x = ownByteAt(lanes.source[0], i), y = lanes.nSources > 1 ? ownByteAt(lanes.source[1], i) : 0;
    const int f = rule.none ^ (x & rule.a) ^ (y & (rule.b ^ (x & rule.both)));
    if (lanes.masked) write &= ownByteAt(lanes.mask, i);
    out[i] = (uint8_t)((out[i] & ~write) | (f & write));
}

/* Where a row is. */
struct OwnBitPlace {
    uint8_t* out;
    const uint8_t *a, *b, *m;
};

/* Gives `with` the function that makes vector i of the result of the row at a place. */
template <class A, class B, class M, class With>
[[gnu::flatten]] static inline void ownJoined(const OwnBitLanes& lanes, A a, B b, M m, With with)
{
    const OwnBitRule& rule = lanes.rule;
    const OwnBytes none = ownSet(rule.none), onlyA = ownSet(rule.a), onlyB = ownSet(rule.b), both = ownSet(rule.both);
    const auto one = [=](const OwnBitPlace& at, ptrdiff_t i) { return none ^ (a(at.a, i) & onlyA); };
    const auto two = [=](const OwnBitPlace& at, ptrdiff_t i) {
        const OwnBytes x = a(at.a, i);
        return none ^ (x & onlyA) ^ (b(at.b, i) & (onlyB ^ (x & both)));
    };
    const auto under = [=](auto f) {
        return [=](const OwnBitPlace& at, ptrdiff_t i) {
            return ownSelectBits(m(at.m, i), f(at, i), ownLoad<uint8_t>(at.out + i));
        };
    };
    if (lanes.nSources == 1) return lanes.masked ? with(under(one)) : with(one);
    return lanes.masked ? with(under(two)) : with(two);
}
template <class With> static inline void ownJoinLanes(const OwnBitLanes& lanes, With with)
{
    const OwnBitLane &a = lanes.source[0], &b = lanes.source[1], &m = lanes.mask;
    if (a.turned) return ownJoined(lanes, ownTurnedBytes(a), ownMovedBytes(b), ownMovedBytes(m), with);
    if ((a.left | b.left | m.left) == 0)
        return ownJoined(lanes, ownAlignedBytes(a), ownAlignedBytes(b), ownAlignedBytes(m), with);
    ownJoined(lanes, ownMovedBytes(a), ownMovedBytes(b), ownMovedBytes(m), with);
}

/* Which bits of the first and of the last byte are the run's. */
struct OwnBitEnds {
    ptrdiff_t nBytes;
    uint8_t head, tail;
};
static OwnBitEnds ownBitEnds(const OwnBitRun& run)
{
    const ptrdiff_t nBytes = (run.dst.bit + run.n + 7) >> 3;
    return {nBytes, (uint8_t)(0xFF >> run.dst.bit), (uint8_t)(0xFF << (nBytes * 8 - run.dst.bit - run.n))};
}

/* ---- A run ---------------------------------------------------------------------------------------------------- */

/* Bytes from to end - 1, a vector and more. The last vector is computed before others are stored, as in every such loop. */
template <class F> static inline void ownPutInner(OwnBitPlace at, ptrdiff_t from, ptrdiff_t end, F f)
{
    const OwnBytes last = f(at, end - OWN_BIT_VEC);
    for (ptrdiff_t i = from; i < end - OWN_BIT_VEC; i += OWN_BIT_VEC) ownStore(at.out + i, f(at, i));
    ownStore(at.out + end - OWN_BIT_VEC, last);
}

/* A run that reads nothing beside it. In between the ends all bits of a byte are the run's, and so are the bytes that they
 * come from. */
void ownPutBits(const OwnBitRun& run)
{
    const OwnBitLanes lanes = ownBitLanes(run);
    const OwnBitEnds ends = ownBitEnds(run);
    const ptrdiff_t last = ends.nBytes - 1;
    uint8_t* out = (uint8_t*)run.dst.byte;
    if (last == 0) return ownStoreByte(lanes, out, 0, ends.head & ends.tail);
    ownStoreByte(lanes, out, 0, ends.head);
    const OwnBitPlace at = {out, lanes.source[0].first, lanes.source[1].first, lanes.mask.first};
    if (last <= OWN_BIT_VEC)
        for (ptrdiff_t i = 1; i < last; ++i) ownStoreByte(lanes, out, i, 0xFF);
    else ownJoinLanes(lanes, [=](auto f) { ownPutInner(at, 1, last, f); });
    ownStoreByte(lanes, out, last, ends.tail);
}

/* ---- Rows ------------------------------------------------------------------------------------------------------ */

/* Ones but for the bits of one byte. */
static OwnBytes ownEndVector(ptrdiff_t place, uint8_t bits)
{
    uint8_t write[OWN_BIT_VEC];
    memset(write, 0xFF, sizeof(write));
    write[place] = bits;
    return ownLoad<uint8_t>(write);
}

/* Bytes to the next row. */
struct OwnBitSteps {
    ptrdiff_t out, a, b, m;
};
static inline void ownNextRow(OwnBitPlace& at, const OwnBitSteps& steps)
{
    at.out += steps.out;
    at.a += steps.a;
    at.b += steps.b;
    at.m += steps.m;
}

/* Rows of a vector and more: both ends are vectors of which some bits are kept. */
template <class F>
static inline void ownPutWide(OwnBitPlace at, OwnBitSteps steps, OwnBitEnds ends, ptrdiff_t nRows, F f)
{
    const ptrdiff_t last = ends.nBytes - OWN_BIT_VEC;
    OwnBytes head = ownEndVector(0, ends.head), tail = ownEndVector(OWN_BIT_VEC - 1, ends.tail);
    if (last == 0) head = tail = head & tail;
    for (ptrdiff_t y = 0; y < nRows; ++y, ownNextRow(at, steps)) {
        const OwnBytes first = ownSelectBits(head, f(at, 0), ownLoad<uint8_t>(at.out));
        const OwnBytes end = ownSelectBits(tail, f(at, last), ownLoad<uint8_t>(at.out + last));
        for (ptrdiff_t i = OWN_BIT_VEC; i < last; i += OWN_BIT_VEC) ownStore(at.out + i, f(at, i));
        ownStore(at.out, first);
        ownStore(at.out + last, end);
    }
}

/* Rows of less than a vector. */
template <class F>
static inline void ownPutNarrow(OwnBitPlace at, OwnBitSteps steps, OwnBitEnds ends, ptrdiff_t nRows, F f)
{
    const OwnBytes write = ownEndVector(0, ends.head) & ownEndVector(ends.nBytes - 1, ends.tail);
    for (ptrdiff_t y = 0; y < nRows; ++y, ownNextRow(at, steps))
        ownStorePart(at.out, ownSelectBits(write, f(at, 0), ownLoad<uint8_t>(at.out)), ends.nBytes);
}

/* How many rows at either end of the rectangle to go one by one, so that the others find a byte before them, and a vector
 * and a byte from their first one on, in the rectangle's other rows. */
static ptrdiff_t ownBitEdge(const OwnBitRun& run, ptrdiff_t nBytes)
{
    if (nBytes >= OWN_BIT_VEC) return 1;
    ptrdiff_t step = std::abs(run.step);
    for (int i = 0; i < run.nSources; ++i) step = std::min(step, std::abs(run.sourceStep[i]));
    if (run.mask.byte) step = std::min(step, std::abs(run.maskStep));
    return step ? (OWN_BIT_VEC + step) / step : PTRDIFF_MAX;
}

static OwnBitRun ownBitRow(OwnBitRun run, ptrdiff_t y)
{
    run.dst.byte += y * run.step;
    for (int i = 0; i < run.nSources; ++i) run.source[i].byte += y * run.sourceStep[i];
    if (run.mask.byte) run.mask.byte += y * run.maskStep;
    return run;
}

void ownPutBitRows(const OwnBitRun& run, ptrdiff_t height)
{
    const OwnBitEnds ends = ownBitEnds(run);
    const ptrdiff_t edge = std::min(ownBitEdge(run, ends.nBytes), height), nInner = height - 2 * edge;
    for (ptrdiff_t y = 0; y < edge; ++y) ownPutBits(ownBitRow(run, y));
    for (ptrdiff_t y = std::max(edge, height - edge); y < height; ++y) ownPutBits(ownBitRow(run, y));
    if (nInner < 1) return;
    const OwnBitLanes lanes = ownBitLanes(ownBitRow(run, edge));
    const OwnBitPlace at = {(uint8_t*)run.dst.byte + edge * run.step, lanes.source[0].first, lanes.source[1].first,
                            lanes.mask.first};
    const OwnBitSteps steps = {run.step, run.sourceStep[0], run.nSources > 1 ? run.sourceStep[1] : 0,
                               run.mask.byte ? run.maskStep : 0};
    ownJoinLanes(lanes, [=](auto f) {
        if (ends.nBytes < OWN_BIT_VEC) ownPutNarrow(at, steps, ends, nInner, f);
        else ownPutWide(at, steps, ends, nInner, f);
    });
}

/* ---- One source ----------------------------------------------------------------------------------------------- */

void ownAlignBits(uint8_t* out, int to, const uint8_t* src, int from, ptrdiff_t n)
{
    const ptrdiff_t outBytes = (to + n + 7) >> 3, srcBytes = (from + n + 7) >> 3;
    const int left = (from - to) & 7;
    if (left == 0) {
        memcpy(out, src, (size_t)outBytes);
        return;
    }
    const ptrdiff_t back = from < to;
    if (back) out[0] = (uint8_t)(src[0] >> (8 - left));
    const ptrdiff_t whole = std::min(outBytes, srcBytes - 1 + back);
    if (whole > back) ownMap2<uint8_t>(out + back, src, src + 1, whole - back, ownMovedUp(left));
    if (whole < outBytes) out[outBytes - 1] = (uint8_t)(src[outBytes - 1 - back] << left);
}

OwnShare ownShareOf(const uint8_t* bits, ptrdiff_t n)
{
    const ptrdiff_t bytes = n >> 3;
    const uint8_t spare = (uint8_t)(0xFF >> (n & 7)), first = bytes ? bits[0] : (uint8_t)(bits[0] & ~spare ? 0xFF : 0);
    if (first != 0 && first != 0xFF) return OWN_SOME;
    if (bytes && memcmp(bits, bits + 1, (size_t)bytes - 1) != 0) return OWN_SOME;
    if (n & 7 && ((bits[bytes] ^ first) & (uint8_t)~spare)) return OWN_SOME;
    return first ? OWN_ALL : OWN_NONE;
}
