/* owncosine.h: the cosine transform of one channel,
 *
 *   X[u, v] = f(u, W) f(v, H) * sum over x, y of s[x, y] cos((2x + 1) u pi / 2W) cos((2y + 1) v pi / 2H)
 *
 * with f(0, n) = sqrt(1 / n) and f(k, n) = sqrt(2 / n) beyond, so that it is orthonormal and its inverse is its
 * transpose. */
#ifndef OWN_COSINE_H
#define OWN_COSINE_H

#include "ownplane.h"

struct OwnCosine {
    int32_t width, height;
    bool isForward;
    VekThreadContext* context; /* whose tables are used */
};

/* What the channels need, taken before the first of them is begun. */
struct OwnCosineTables {
    const struct OwnFftPlan *rowPlan, *columnPlan;
    void *work, *cells;
    float* lines;
};
bool ownCosinePrepare(const OwnCosine& cosine, OwnCosineTables* tables);
void ownCosineRun(const OwnCosine& cosine, const OwnCosineTables& tables, const OwnPlane& src, const OwnPlane& dst);

/* A block of 8 by 8, without tables. */
void ownCosineBlock(bool isForward, const OwnPlane& src, const OwnPlane& dst);

#endif
