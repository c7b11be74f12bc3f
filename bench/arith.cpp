/* Arithmetic and logic: every operation at each depth that it serves. */
#include "bench.h"

typedef const VekImage* In;
typedef VekImage* Out;

static const std::vector<uint32_t> integers = {VEK_DEPTH_8U,  VEK_DEPTH_8S,  VEK_DEPTH_16U,
                                               VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_1U};
static const std::vector<uint32_t> numbers = {VEK_DEPTH_8U,  VEK_DEPTH_8S,  VEK_DEPTH_16U, VEK_DEPTH_16S,
                                              VEK_DEPTH_32S, VEK_DEPTH_32F, VEK_DEPTH_1U};
static const std::vector<uint32_t> floats = {VEK_DEPTH_32F};

static const struct {
    const char* name;
    int nSources;
    const std::vector<uint32_t>& depths;
    void (*call)(In a, In b, Out d);
} operations[] = {
    {"vekAdd", 2, numbers, vekAdd},
    {"vekSubtract", 2, numbers, vekSubtract},
    {"vekMultiply", 2, numbers, vekMultiply},
    {"vekAnd", 2, integers, vekAnd},
    {"vekOr", 2, integers, vekOr},
    {"vekXor", 2, integers, vekXor},
    {"vekAddS", 1, integers, [](In a, In, Out d) { vekAddS(a, d, 41); }},
    {"vekSubtractS", 1, integers, [](In a, In, Out d) { vekSubtractS(a, d, 41, 0); }},
    {"vekSubtractS-flip", 1, integers, [](In a, In, Out d) { vekSubtractS(a, d, 101, 1); }},
    {"vekMultiplyS", 1, integers, [](In a, In, Out d) { vekMultiplyS(a, d, 3); }},
    {"vekAndS", 1, integers, [](In a, In, Out d) { vekAndS(a, d, 0x5A5A5A5B); }},
    {"vekOrS", 1, integers, [](In a, In, Out d) { vekOrS(a, d, 0x5A5A5A5B); }},
    {"vekXorS", 1, integers, [](In a, In, Out d) { vekXorS(a, d, 0x5A5A5A5B); }},
    {"vekLShiftS", 1, integers, [](In a, In, Out d) { vekLShiftS(a, d, 3); }},
    {"vekRShiftS", 1, integers, [](In a, In, Out d) { vekRShiftS(a, d, 3); }},
    {"vekNot", 1, integers, [](In a, In, Out d) { vekNot(a, d); }},
    {"vekSquare", 1, numbers, [](In a, In, Out d) { vekSquare(a, d); }},
    {"vekAbs", 1, integers, [](In a, In, Out d) { vekAbs(a, d); }},
    {"vekAddSFP", 1, floats, [](In a, In, Out d) { vekAddSFP(a, d, 1.5f); }},
    {"vekSubtractSFP", 1, floats, [](In a, In, Out d) { vekSubtractSFP(a, d, 1.5f, 0); }},
    {"vekSubtractSFP-flip", 1, floats, [](In a, In, Out d) { vekSubtractSFP(a, d, 1.5f, 1); }},
    {"vekMultiplySFP", 1, floats, [](In a, In, Out d) { vekMultiplySFP(a, d, 1.5f); }},
};

static const bool areRegistered = [] {
    for (const auto& row : operations) benchPoint("arith", row.name, row.nSources, row.depths, row.call);
    return true;
}();
