/* ownspectrum.h: the transform of one channel between a real image and its packed spectrum, in floating point and in
 * whole numbers.
 *
 * The packed form of a real sequence of n samples, with X[k] = Re k + i Im k: Re 0, Re 1, Im 1, Re 2, Im 2, ..., and
 * for an even n at the end Re n/2. An image is packed along its rows; then column 0 and, for an even width, the last
 * one are real sequences and are packed along the column, and each pair of columns between them is a complex
 * sequence. */
#ifndef OWN_SPECTRUM_H
#define OWN_SPECTRUM_H

#include "ownplane.h"

/* What to do, for all channels. */
struct OwnSpectrum {
    int32_t width, height;
    bool toPacked;  /* real to packed; otherwise packed to real */
    bool isForward; /* the exponent's sign is minus */
    bool isScaled;  /* by 1 / (width height) */
    OwnFftCache* cache;
};

/* Takes whatever the channels need from the cache, before the first of them is begun; false when memory is short. Both
 * paths then transform a channel from src to dst, which may be one plane. */
struct OwnSpectrumReals {
    const struct OwnFftPlan *rowPlan, *columnPlan;
    void *work, *cells;
    float* lines;
};
bool ownSpectrumPrepare(const OwnSpectrum& spectrum, OwnSpectrumReals* reals);
void ownSpectrumRun(const OwnSpectrum& spectrum, const OwnSpectrumReals& reals, const OwnPlane& src,
                    const OwnPlane& dst);

struct OwnSpectrumWholes {
    const struct OwnFftPlan *rowPlan, *columnPlan;
    int64_t *work, *line;
};
bool ownSpectrumPrepare(const OwnSpectrum& spectrum, OwnSpectrumWholes* wholes);
void ownSpectrumRun(const OwnSpectrum& spectrum, const OwnSpectrumWholes& wholes, const OwnPlane& src,
                    const OwnPlane& dst);

#endif
