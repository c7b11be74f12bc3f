/* ownquad.h: rectangles, quadrangles, and the mappings between them. What the geometry modules share of plane geometry;
 * nothing here touches a pixel. */
#ifndef OWNQUAD_H
#define OWNQUAD_H

#include "own.h"

/* A rectangle of pixels, all four edges inclusive. */
struct OwnRect {
    int32_t left, top, right, bottom;
};

/* The part of an image's region that lies in the image, in image coordinates. False when there is none. */
bool ownRoiRect(const VekImage* image, OwnRect* rect);

/* The sense in which a quadrangle's corners run: 1 or 0; or why it is none. */
enum { OWN_QUAD_DEGENERATE = -5, OWN_QUAD_CONCAVE = -4 };
int ownCheckQuad(const double quad[8]);

/* A point carried through a mapping. Affine: 2 x 3 coefficients; bilinear: 2 x 4; perspective: 3 x 3. */
struct OwnSpot {
    double x, y;
};
OwnSpot ownMapAffine(const double c[6], double x, double y);
OwnSpot ownMapBilinear(const double c[8], double x, double y);
OwnSpot ownMapPerspective(const double c[9], double x, double y);

/* The mapping that carries the rectangle's corners (top-left, top-right, bottom-right, bottom-left) to the quadrangle's,
 * or, inverse, the way back; both are known to be sound. An inverse perspective matrix is the adjugate, not divided by
 * the determinant. The affine and the perspective one return the orientation, 1 or 0. */
enum OwnDirection { OWN_FORWARD, OWN_INVERSE };
int ownAffineFromQuad(const OwnRect& rect, const double quad[8], OwnDirection direction, double c[6]);
int ownPerspectiveFromQuad(const OwnRect& rect, const double quad[8], OwnDirection direction, double c[9]);
void ownBilinearFromQuad(const OwnRect& rect, const double quad[8], double c[8]);

/* The inverse of a bilinear mapping is no bilinear mapping: each point solves a quadratic equation, which may have lost
 * its square, its cross or both terms. With P, Q, R linear in the point:
 *   P = d0 x + d1 y + d2,  Q = d4 x + d6 y + d8,  R = d5 x + d7 y + d9
 *   OWN_BILINEAR_BOTH    X = P + root or P - root, root = sqrt(P P - Q);  Y = d3 X + R
 *   OWN_BILINEAR_ACROSS  X = Q / P, Y = R
 *   OWN_BILINEAR_DOWN    X = Q, Y = R / P
 *   OWN_BILINEAR_NONE    X = Q, Y = R */
enum OwnBilinearCase { OWN_BILINEAR_BOTH, OWN_BILINEAR_ACROSS, OWN_BILINEAR_DOWN, OWN_BILINEAR_NONE };
struct OwnBilinearInverse {
    OwnBilinearCase kind;
    bool plusRoot;
    double d[10];
};

/* Of the rectangle (0, 0, width, height) in units between pixel centres. Returns the orientation. */
int ownInvertBilinear(double width, double height, const double quad[8], OwnBilinearInverse* inverse);
OwnSpot ownMapInverse(const OwnBilinearInverse& inverse, double x, double y);

#endif
