/* ownblur.h: the plan of a blur, and the stage for bytes. */
#ifndef OWNBLUR_H
#define OWNBLUR_H

#include "own.h"

struct OwnBlurPlan {
    int32_t nCols, nRows;
    double r; /* 1 / n, with n pixels in the window */
    float rFloat;
    int16_t twiceN, factor; /* of means of bytes: see ownmean8 */
    int shift;
    bool hasTies;
};

/* Whether the stage for bytes serves, with what it needs in the plan. The plan's other fields are set, and rounding is to
 * nearest. */
bool ownPlanMean8(OwnBlurPlan* plan);

/* Its scratch: bytes, and bytes for each sample of a line. */
enum { OWN_MEAN8_BYTES = 1024 };
int64_t ownMean8Room(const OwnBlurPlan& plan);

/* T: uint8_t, or int8_t. */
template <class T> void ownMean8Stage(void* out, const uint8_t* const* rows, const OwnWindowRow& row);
extern template void ownMean8Stage<uint8_t>(void*, const uint8_t* const*, const OwnWindowRow&);
extern template void ownMean8Stage<int8_t>(void*, const uint8_t* const*, const OwnWindowRow&);

#endif
