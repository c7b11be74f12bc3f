/* ownblock: the cosine transform of a block of 8 by 8, unrolled, in single precision. A row is a vector, so a
 * transform of the columns is plain arithmetic; the block is transposed between the two directions. */
#include "owncosine.h"
#include "ownsimd.h"

typedef OwnEight::Raw Eight;

/* cos(k pi / 16). */
static constexpr float C1 = 0.98078528f, C2 = 0.92387953f, C3 = 0.83146961f, C4 = 0.70710678f, C5 = 0.55557023f,
                       C6 = 0.38268343f, C7 = 0.19509032f;

/* out[k] = sum over j of x[j] cos((2j + 1) k pi / 16): even outputs from sums of opposite inputs, odd from
 * differences. */
static inline void ownForwardEight(Eight* x)
{
    const Eight s0 = x[0] + x[7], s1 = x[1] + x[6], s2 = x[2] + x[5], s3 = x[3] + x[4];
    const Eight d0 = x[0] - x[7], d1 = x[1] - x[6], d2 = x[2] - x[5], d3 = x[3] - x[4];
    const Eight a = s0 + s3, b = s1 + s2, c = s0 - s3, d = s1 - s2;
    x[0] = a + b;
    x[4] = (a - b) * C4;
    x[2] = c * C2 + d * C6;
    x[6] = c * C6 - d * C2;
    x[1] = (d0 * C1 + d1 * C3) + (d2 * C5 + d3 * C7);
    x[3] = (d0 * C3 - d1 * C7) - (d2 * C1 + d3 * C5);
    x[5] = (d0 * C5 - d1 * C1) + (d2 * C7 + d3 * C3);
    x[7] = (d0 * C7 - d1 * C5) + (d2 * C3 - d3 * C1);
}

/* out[j] = sum over k of x[k] cos((2j + 1) k pi / 16): the transpose. */
static inline void ownInverseEight(Eight* x)
{
    const Eight a = x[0] + x[4] * C4, b = x[0] - x[4] * C4, c = x[2] * C2 + x[6] * C6, d = x[2] * C6 - x[6] * C2;
    const Eight e0 = a + c, e1 = b + d, e2 = b - d, e3 = a - c;
    const Eight o0 = (x[1] * C1 + x[3] * C3) + (x[5] * C5 + x[7] * C7);
    const Eight o1 = (x[1] * C3 - x[3] * C7) - (x[5] * C1 + x[7] * C5);
    const Eight o2 = (x[1] * C5 - x[3] * C1) + (x[5] * C7 + x[7] * C3);
    const Eight o3 = (x[1] * C7 - x[3] * C5) + (x[5] * C3 - x[7] * C1);
    x[0] = e0 + o0, x[7] = e0 - o0;
    x[1] = e1 + o1, x[6] = e1 - o1;
    x[2] = e2 + o2, x[5] = e2 - o2;
    x[3] = e3 + o3, x[4] = e3 - o3;
}

/* The factors of the whole: 1/8 for entry (0, 0), sqrt(2)/8 for its row and column, 1/4 elsewhere. */
static inline void ownScaleBlock(Eight* x)
{
    const float edge = 0.1767766952966369f, inner = 0.25f;
    x[0] = x[0] * Eight{0.125f, edge, edge, edge, edge, edge, edge, edge};
    for (int i = 1; i < 8; ++i) x[i] = x[i] * Eight{edge, inner, inner, inner, inner, inner, inner, inner};
}

void ownCosineBlock(bool isForward, const OwnPlane& src, const OwnPlane& dst)
{
    Eight x[8];
    for (int y = 0; y < 8; ++y) {
        if (src.slot == OWN_16S && src.pixelStep == 2) x[y] = ownLoadShorts(src.row(y));
        else {
            float line[8];
            ownReadReals[src.slot](line, src.row(y), src.pixelStep, 8);
            x[y] = ownLoadEight(line);
        }
    }
    if (!isForward) ownScaleBlock(x);
    for (int i = 0; i < 2; ++i) {
        if (isForward) ownForwardEight(x);
        else ownInverseEight(x);
        ownTransposeEight(x);
    }
    if (isForward) ownScaleBlock(x);
    for (int y = 0; y < 8; ++y) {
        if (dst.slot == OWN_16S && dst.pixelStep == 2) ownStoreShorts(dst.row(y), x[y]);
        else {
            float line[8];
            ownStoreEight(line, x[y]);
            ownWriteReals[dst.slot](dst.row(y), line, dst.pixelStep, 8);
        }
    }
}
