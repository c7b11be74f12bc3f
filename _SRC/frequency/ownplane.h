/* ownplane.h: one channel of a region as transforms see it: rows of numbers in, rows of numbers out. */
#ifndef OWN_PLANE_H
#define OWN_PLANE_H

#include "own.h"

struct OwnPlane {
    uint8_t* data;
    ptrdiff_t rowStep, pixelStep; /* in bytes */
    int slot;                     /* the depth's */
    uint8_t* row(ptrdiff_t y) const { return data + y * rowStep; }
    /* Rows that can be taken as arrays of floats where they stand. */
    bool isFloatRun() const
    {
        return slot == OWN_32F && pixelStep == (ptrdiff_t)sizeof(float) &&
               ((uintptr_t)data | (uintptr_t)rowStep) % 4 == 0;
    }
};

static inline OwnPlane ownPlane(const VekImage* image, const OwnView& view, int32_t channel)
{
    return {view.data + channel * view.channelStep, view.rowStep, view.pixelStep * (ptrdiff_t)(view.sampleBits >> 3),
            ownSlot(image->depth)};
}

/* n samples of a depth, stepBytes apart, as floats or as integers; and back: held to the range of the depth, then
 * chopped toward zero. 32F takes and gives the float as it is, and has no integers; 1U has neither. */
typedef void OwnReadReals(float* out, const uint8_t* in, ptrdiff_t stepBytes, ptrdiff_t n);
typedef void OwnWriteReals(uint8_t* out, const float* in, ptrdiff_t stepBytes, ptrdiff_t n);
typedef void OwnReadWholes(int64_t* out, const uint8_t* in, ptrdiff_t stepBytes, ptrdiff_t n);
typedef void OwnWriteWholes(uint8_t* out, const int64_t* in, ptrdiff_t stepBytes, ptrdiff_t n);
extern OwnReadReals* const ownReadReals[OWN_DEPTHS];
extern OwnWriteReals* const ownWriteReals[OWN_DEPTHS];
extern OwnReadWholes* const ownReadWholes[OWN_DEPTHS];
extern OwnWriteWholes* const ownWriteWholes[OWN_DEPTHS];

/* Row y as floats: in place where it is a run of floats, otherwise read into `line`. */
static inline const float* ownPlaneRow(const OwnPlane& plane, ptrdiff_t y, float* line, ptrdiff_t n)
{
    if (plane.isFloatRun()) return (const float*)plane.row(y);
    ownReadReals[plane.slot](line, plane.row(y), plane.pixelStep, n);
    return line;
}

#endif
