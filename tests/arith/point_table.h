/* point_table: every point operation, a row for each of its constants: how it is called, and what it does to one sample. */
#ifndef TESTS_POINT_TABLE_H
#define TESTS_POINT_TABLE_H

#include "support/model.h"
#include "support/parts.h"

struct PointOperation {
    std::string name;
    int nSources;
    unsigned slots; /* a bit for each depth that is served */
    std::function<void(const VekImage* a, const VekImage* b, VekImage* dst)> call;
    SampleFunc func;
    unsigned anyOrder = 0; /* a bit for each depth at which the images' data orders may differ */
};

const std::vector<PointOperation>& pointOperations();

enum { ALL_DEPTHS = 0x7F, INTEGERS = 0x3F, FLOATS = 0x40 };

/* The value held to the range of an integer depth. */
int64_t heldTo(int slot, int64_t value);

static inline float floatOf(int64_t bits) { return std::bit_cast<float>((uint32_t)bits); }
static inline int64_t bitsOf(float value) { return (int64_t)std::bit_cast<uint32_t>(value); }

extern const char* const slotNames[OWN_DEPTHS];

#endif
