/* operations: the table. A new operation of the library is one more row. */
#include "operations.h"

#include "spectra.h"

typedef const VekImage* In;
typedef VekImage* Out;
typedef const Numbers& N;

/* A filter that can't work in place, on a copy of its picture. */
typedef void (*RankFilter)(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t);
static void runRank(RankFilter filter, Out picture, N n)
{
    VekImage* copy = vekCloneImage(picture);
    if (!copy) return;
    const int32_t side = n.whole();
    filter(copy, picture, side, side, side / 2, side / 2);
    vekDeallocate(copy, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
}

/* clang-format off */
const Operation operations[] = {
    {"invert",   ONE_PICTURE,  0, "NOT src",           "invert",        [](In a, In, Out d, N) { vekNot(a, d); }},
    {"square",   ONE_PICTURE,  0, "src * src",         "square",        [](In a, In, Out d, N) { vekSquare(a, d); }},
    {"abs",      AS_SIGNED,    0, "|src|, src signed", "abs",           [](In a, In, Out d, N) { vekAbs(a, d); }},
    {"adds",     ONE_PICTURE,  1, "src + n",           "adds:60",       [](In a, In, Out d, N n) { vekAddS(a, d, n.whole()); }},
    {"subs",     ONE_PICTURE,  1, "src - n",           "subs:60",       [](In a, In, Out d, N n) { vekSubtractS(a, d, n.whole(), 0); }},
    {"rsubs",    ONE_PICTURE,  1, "n - src",           "rsubs:200",     [](In a, In, Out d, N n) { vekSubtractS(a, d, n.whole(), 1); }},
    {"muls",     ONE_PICTURE,  1, "src * n",           "muls:2",        [](In a, In, Out d, N n) { vekMultiplyS(a, d, n.whole()); }},
    {"ands",     ONE_PICTURE,  1, "src AND n",         "ands:0xC0",     [](In a, In, Out d, N n) { vekAndS(a, d, n.bits()); }},
    {"ors",      ONE_PICTURE,  1, "src OR n",          "ors:0x70",      [](In a, In, Out d, N n) { vekOrS(a, d, n.bits()); }},
    {"xors",     ONE_PICTURE,  1, "src XOR n",         "xors:0x80",     [](In a, In, Out d, N n) { vekXorS(a, d, n.bits()); }},
    {"lshifts",  ONE_PICTURE,  1, "src << n",          "lshifts:2",     [](In a, In, Out d, N n) { vekLShiftS(a, d, n.bits()); }},
    {"rshifts",  ONE_PICTURE,  1, "src >> n",          "rshifts:1",     [](In a, In, Out d, N n) { vekRShiftS(a, d, n.bits()); }},
    {"addsfp",   AS_FLOAT,     1, "src + n, in 32F",   "addsfp:-40.5",  [](In a, In, Out d, N n) { vekAddSFP(a, d, n.real()); }},
    {"subsfp",   AS_FLOAT,     1, "src - n, in 32F",   "subsfp:-40.5",  [](In a, In, Out d, N n) { vekSubtractSFP(a, d, n.real(), 0); }},
    {"rsubsfp",  AS_FLOAT,     1, "n - src, in 32F",   "rsubsfp:220.5", [](In a, In, Out d, N n) { vekSubtractSFP(a, d, n.real(), 1); }},
    {"mulsfp",   AS_FLOAT,     1, "src * n, in 32F",   "mulsfp:1.4",    [](In a, In, Out d, N n) { vekMultiplySFP(a, d, n.real()); }},
    {"add",      TWO_PICTURES, 0, "src + second",      "add",           [](In a, In b, Out d, N) { vekAdd(a, b, d); }},
    {"sub",      TWO_PICTURES, 0, "src - second",      "sub",           [](In a, In b, Out d, N) { vekSubtract(a, b, d); }},
    {"mul",      TWO_PICTURES, 0, "src * second",      "mul",           [](In a, In b, Out d, N) { vekMultiply(a, b, d); }},
    {"and",      TWO_PICTURES, 0, "src AND second",    "and",           [](In a, In b, Out d, N) { vekAnd(a, b, d); }},
    {"or",       TWO_PICTURES, 0, "src OR second",     "or",            [](In a, In b, Out d, N) { vekOr(a, b, d); }},
    {"xor",      TWO_PICTURES, 0, "src XOR second",    "xor",           [](In a, In b, Out d, N) { vekXor(a, b, d); }},
    {"spectrum", AS_FLOAT,     0, "log |spectrum|",    "spectrum",      [](In, In, Out d, N) { drawSpectrum(d); }},
    {"lowpass",  AS_FLOAT,     1, "below n waves",     "lowpass:12",    [](In, In, Out d, N n) { keepLowFrequencies(d, n.real()); }},
    {"max",      ONE_PICTURE,  1, "max of n x n",      "max:5",         [](In, In, Out d, N n) { runRank(vekMaxFilter, d, n); }},
    {"min",      ONE_PICTURE,  1, "min of n x n",      "min:5",         [](In, In, Out d, N n) { runRank(vekMinFilter, d, n); }},
    {"median",   ONE_PICTURE,  1, "median of n x n",   "median:7",      [](In, In, Out d, N n) { runRank(vekMedianFilter, d, n); }},
    {"erode",    ONE_PICTURE,  1, "min, side 2n + 1",  "erode:2",       [](In a, In, Out d, N n) { vekErode(a, d, n.whole()); }},
    {"dilate",   ONE_PICTURE,  1, "max, side 2n + 1",  "dilate:2",      [](In a, In, Out d, N n) { vekDilate(a, d, n.whole()); }},
    {"open",     ONE_PICTURE,  1, "erode, dilate",     "open:3",        [](In a, In, Out d, N n) { vekOpen(a, d, n.whole()); }},
    {"close",    ONE_PICTURE,  1, "dilate, erode",     "close:3",       [](In a, In, Out d, N n) { vekClose(a, d, n.whole()); }},
};
/* clang-format on */

const int nOperations = (int)(sizeof(operations) / sizeof(operations[0]));

const Operation* findOperation(const std::string& name)
{
    for (const Operation& operation : operations)
        if (name == operation.name) return &operation;
    return nullptr;
}
