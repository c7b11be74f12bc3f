#include "arith/point_table.h"

const char* const slotNames[OWN_DEPTHS] = {"1U", "8U", "8S", "16U", "16S", "32S", "32F"};

int64_t heldTo(int slot, int64_t value) { return heldToDepth(slotDepths[slot], value); }

typedef int64_t L;
typedef std::vector<PointOperation> Rows;
typedef const VekImage* In;
typedef VekImage* Out;

static int bitsOfSlot(int slot) { return (int)(slotDepths[slot] & 0xFF); }
static bool isSigned(int slot) { return slotDepths[slot] & VEK_DEPTH_SIGN; }

static std::string inBrackets(std::string text) { return text.insert(0, 1, '(').append(1, ')'); }

/* An operation on two images: what it does to integers, to floats (null: not served) and to bits. */
static void addTwo(Rows& rows, const char* name, void (*call)(In, In, Out), L (*exact)(L, L),
                   float (*single)(float, float), L (*bits)(L, L))
{
    const SampleFunc func = [=](uint32_t depth, L a, L b) {
        if (depth == VEK_DEPTH_32F) return bitsOf(single(floatOf(a), floatOf(b)));
        return depth == VEK_DEPTH_1U ? bits(a, b) : heldTo(ownSlot(depth), exact(a, b));
    };
    rows.push_back({name, 2, single ? (unsigned)ALL_DEPTHS : (unsigned)INTEGERS, call, func});
}

/* An operation on one image. */
static PointOperation& addOne(Rows& rows, const std::string& name, unsigned slots, std::function<void(In, Out)> call,
                              std::function<L(int slot, L a)> func)
{
    rows.push_back({name, 1, slots, [=](In a, In, Out d) { call(a, d); },
                    [=](uint32_t depth, L a, L) { return func(ownSlot(depth), a); }});
    return rows.back();
}

/* At these depths vekSubtractS does not become another operation, and then any data orders go together. */
static unsigned ownKernelsOfSubtractS(int32_t v, bool flip)
{
    unsigned slots = 1 << OWN_8S | 1 << OWN_16S | 1 << OWN_32S;
    if (flip ? v > 0 && v < 2 * 255 : v > -255 && v < 255) slots |= 1 << OWN_8U;
    if (flip ? v > 0 && v < 2 * 65535 : v > -65535 && v < 65535) slots |= 1 << OWN_16U;
    return slots;
}

static void addIntegerConstants(Rows& rows, int32_t v)
{
    const std::string text = inBrackets(std::to_string(v));
    const uint32_t u = (uint32_t)v;
    const auto addS = [=](int slot, L a) { return slot == OWN_1U ? a | (v & 1) : heldTo(slot, a + v); };
    const auto mulS = [=](int slot, L a) { return slot == OWN_1U ? a & v : heldTo(slot, a * v); };
    addOne(
        rows, "vekAddS" + text, INTEGERS, [=](In a, Out d) { vekAddS(a, d, v); }, addS);
    addOne(
        rows, "vekMultiplyS" + text, INTEGERS, [=](In a, Out d) { vekMultiplyS(a, d, v); }, mulS);
    for (const bool flip : {false, true}) {
        const auto subS = [=](int slot, L a) {
            const L value = slot == OWN_1U ? v & 1 : v;
            return heldTo(slot, flip ? value - a : a - value);
        };
        const auto call = [=](In a, Out d) { vekSubtractS(a, d, v, flip); };
        addOne(rows, (flip ? "vekSubtractS flip" : "vekSubtractS") + text, INTEGERS, call, subS)
            .anyOrder = ownKernelsOfSubtractS(v, flip);
    }
    const auto andS = [=](int, L a) { return a & v; };
    const auto orS = [=](int, L a) { return a | v; };
    addOne(
        rows, "vekAndS" + text, INTEGERS, [=](In a, Out d) { vekAndS(a, d, u); }, andS);
    addOne(
        rows, "vekOrS" + text, INTEGERS, [=](In a, Out d) { vekOrS(a, d, u); }, orS);
    const auto xorS = [=](int, L a) { return a ^ v; };
    addOne(
        rows, "vekXorS" + text, INTEGERS, [=](In a, Out d) { vekXorS(a, d, u); }, xorS);
}

static void addShifts(Rows& rows, uint32_t n)
{
    const std::string text = inBrackets(std::to_string(n));
    const auto left = [=](int slot, L a) { return n >= (uint32_t)bitsOfSlot(slot) ? 0 : (L)((uint64_t)a << n); };
    const auto right = [=](int slot, L a) {
        const uint32_t bits = (uint32_t)bitsOfSlot(slot);
        return n < bits ? a >> n : isSigned(slot) ? a >> (bits - 1) : 0;
    };
    addOne(
        rows, "vekLShiftS" + text, INTEGERS, [=](In a, Out d) { vekLShiftS(a, d, n); }, left);
    addOne(
        rows, "vekRShiftS" + text, INTEGERS, [=](In a, Out d) { vekRShiftS(a, d, n); }, right);
}

/* In double, and rounded once. */
static void addFloatConstants(Rows& rows, float v)
{
    const std::string text = inBrackets(std::to_string(v));
    const auto add = [=](int, L a) { return bitsOf((float)((double)floatOf(a) + v)); };
    const auto mul = [=](int, L a) { return bitsOf((float)((double)floatOf(a) * v)); };
    const auto sub = [=](int, L a) { return bitsOf((float)((double)floatOf(a) - v)); };
    const auto flipped = [=](int, L a) { return bitsOf((float)(v - (double)floatOf(a))); };
    addOne(
        rows, "vekAddSFP" + text, FLOATS, [=](In a, Out d) { vekAddSFP(a, d, v); }, add);
    addOne(
        rows, "vekMultiplySFP" + text, FLOATS, [=](In a, Out d) { vekMultiplySFP(a, d, v); }, mul);
    addOne(
        rows, "vekSubtractSFP" + text, FLOATS, [=](In a, Out d) { vekSubtractSFP(a, d, v, 0); }, sub);
    addOne(
        rows, "vekSubtractSFP flip" + text, FLOATS, [=](In a, Out d) { vekSubtractSFP(a, d, v, 1); }, flipped);
}

static Rows makeRows()
{
    Rows rows;
    const auto bitAnd = [](L a, L b) { return a & b; };
    const auto bitOr = [](L a, L b) { return a | b; };
    const auto bitXor = [](L a, L b) { return a ^ b; };
    const auto bitAndNot = [](L a, L b) { return a & ~b; };
    const auto plus = [](auto a, auto b) { return a + b; };
    const auto minus = [](auto a, auto b) { return a - b; };
    const auto times = [](auto a, auto b) { return a * b; };
    addTwo(rows, "vekAdd", vekAdd, plus, plus, bitOr);
    addTwo(rows, "vekSubtract", vekSubtract, minus, minus, bitAndNot);
    addTwo(rows, "vekMultiply", vekMultiply, times, times, bitAnd);
    addTwo(rows, "vekAnd", vekAnd, bitAnd, nullptr, bitAnd);
    addTwo(rows, "vekOr", vekOr, bitOr, nullptr, bitOr);
    addTwo(rows, "vekXor", vekXor, bitXor, nullptr, bitXor);
    for (const int32_t v : {0,     1,      -1,    2,      5,      -77,    127,    128,       254,      255,
                            -255,  256,    300,   -300,   509,    510,    32767,  32768,     -32768,   -40000,
                            65535, -65535, 65536, -65536, 131069, 131070, -70000, INT32_MAX, INT32_MIN})
        addIntegerConstants(rows, v);
    for (const uint32_t n : {0u, 1u, 3u, 7u, 8u, 15u, 16u, 31u, 32u, 100u, 0xFFFFFFFFu}) addShifts(rows, n);
    for (const float v : {0.0f, 1.5f, -3.25f, 1e30f}) addFloatConstants(rows, v);
    const auto square = [](int slot, L a) {
        return slot == OWN_32F ? bitsOf(floatOf(a) * floatOf(a)) : heldTo(slot, a * a);
    };
    addOne(rows, "vekSquare", ALL_DEPTHS, vekSquare, square);
    addOne(rows, "vekNot", INTEGERS, vekNot, [](int, L a) { return ~a; });
    addOne(rows, "vekAbs", INTEGERS, vekAbs, [](int, L a) { return a < 0 ? -a : a; });
    return rows;
}

const std::vector<PointOperation>& pointOperations()
{
    static const Rows rows = makeRows();
    return rows;
}
