/* vekQuad: the two descriptions of a plane mapping, a matrix of coefficients and the quadrangle onto which it carries an
 * image's region, and the ways between them. */
#include "ownquad.h"

#include <math.h>

#include <numbers>

/* ---- From a matrix to the quadrangle, and to its bound ------------------------------------------------------- */

typedef OwnSpot OwnMapping(const double* coeffs, double x, double y);

/* The corners of the region, each through the mapping. */
static void ownQuadOf(const OwnFace& face, const VekImage* image, OwnMapping* map, const double* coeffs, double* quad)
{
    OwnRect rect;
    OWN_REFUSE_HEADER(image);
    OWN_REFUSE_TEXT_IF(!ownRoiRect(image, &rect), "Bad rect ROI");
    const OwnSpot corner[4] = {map(coeffs, rect.left, rect.top), map(coeffs, rect.right, rect.top),
                               map(coeffs, rect.right, rect.bottom), map(coeffs, rect.left, rect.bottom)};
    for (int i = 0; i < 4; ++i) {
        quad[2 * i] = corner[i].x;
        quad[2 * i + 1] = corner[i].y;
    }
}

void vekGetAffineQuad(const VekImage* image, const double coeffs[6], double quad[8])
{
    OWN_FACE("vekGetAffineQuad", "vekQuad");
    ownQuadOf(face, image, ownMapAffine, coeffs, quad);
}

void vekGetBilinearQuad(const VekImage* image, const double coeffs[8], double quad[8])
{
    OWN_FACE("vekGetBilinearQuad", "vekQuad");
    ownQuadOf(face, image, ownMapBilinear, coeffs, quad);
}

void vekGetPerspectiveQuad(const VekImage* image, const double coeffs[9], double quad[8])
{
    OWN_FACE("vekGetPerspectiveQuad", "vekQuad");
    ownQuadOf(face, image, ownMapPerspective, coeffs, quad);
}

/* The least and the greatest coordinates of the quadrangle that was just asked for. */
static void ownBoundOf(const OwnFace& face, const double quad[8], double rect[4])
{
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
    for (int axis = 0; axis < 2; ++axis) {
        rect[axis] = rect[2 + axis] = quad[axis];
        for (int i = axis + 2; i < 8; i += 2) {
            rect[axis] = std::min(rect[axis], quad[i]);
            rect[2 + axis] = std::max(rect[2 + axis], quad[i]);
        }
    }
}

void vekGetAffineBound(const VekImage* image, const double coeffs[6], double rect[4])
{
    OWN_FACE("vekGetAffineBound", "vekQuad");
    double quad[8] = {};
    vekGetAffineQuad(image, coeffs, quad);
    ownBoundOf(face, quad, rect);
}

void vekGetBilinearBound(const VekImage* image, const double coeffs[8], double rect[4])
{
    OWN_FACE("vekGetBilinearBound", "vekQuad");
    double quad[8] = {};
    vekGetBilinearQuad(image, coeffs, quad);
    ownBoundOf(face, quad, rect);
}

void vekGetPerspectiveBound(const VekImage* image, const double coeffs[9], double rect[4])
{
    OWN_FACE("vekGetPerspectiveBound", "vekQuad");
    double quad[8] = {};
    vekGetPerspectiveQuad(image, coeffs, quad);
    ownBoundOf(face, quad, rect);
}

/* ---- From the quadrangle to a matrix ------------------------------------------------------------------------- */

/* The tests that all quadrangles pass. False when one has been reported. */
static bool ownSoundQuad(const OwnFace& face, const double quad[8])
{
    const int shape = ownCheckQuad(quad);
    OWN_REFUSE_TEXT_IF(shape == OWN_QUAD_DEGENERATE, "Quadrangle is degenerate to triangle or length or point", false);
    OWN_REFUSE_TEXT_IF(shape == OWN_QUAD_CONCAVE, "Quadrangle is concave", false);
    return true;
}

/* The region, which has to have an area. False when a failure has been reported. */
static bool ownSoundRegion(const OwnFace& face, const VekImage* image, const char* degenerate, OwnRect* rect)
{
    OWN_REFUSE_TEXT_IF(!ownRoiRect(image, rect), "Bad rect ROI", false);
    OWN_REFUSE_TEXT_IF(rect->right - rect->left < 1 || rect->bottom - rect->top < 1, degenerate, false);
    return true;
}

static const char* const ownFlatRegion = "image Rectangle ROI is degenerate to length or point";

/* Opposite edges are parallel, within a tolerance that does not grow with them. */
static bool ownIsParallelogram(const double q[8])
{
    constexpr double tolerance = 1e-7;
    const double across = (q[6] - q[4]) * (q[3] - q[1]) - (q[7] - q[5]) * (q[2] - q[0]);
    const double down = (q[1] - q[7]) * (q[4] - q[2]) - (q[0] - q[6]) * (q[5] - q[3]);
    return fabs(across) <= tolerance && fabs(down) <= tolerance;
}

void vekGetAffineTransform(const VekImage* image, double coeffs[6], const double quad[8])
{
    OWN_FACE("vekGetAffineTransform", "vekQuad");
    OwnRect rect;
    OWN_REFUSE_HEADER(image);
    if (!ownSoundQuad(face, quad)) return;
    OWN_REFUSE_TEXT_IF(!ownIsParallelogram(quad), "Quadrangle is not parallelogram");
    if (!ownSoundRegion(face, image, "srcImage Rectangle ROI is degenerate to length or point", &rect)) return;
    ownAffineFromQuad(rect, quad, OWN_FORWARD, coeffs);
}

void vekGetBilinearTransform(const VekImage* image, double coeffs[8], const double quad[8])
{
    OWN_FACE("vekGetBilinearTransform", "vekQuad");
    OwnRect rect;
    OWN_REFUSE_HEADER(image);
    if (!ownSoundQuad(face, quad) || !ownSoundRegion(face, image, ownFlatRegion, &rect)) return;
    ownBilinearFromQuad(rect, quad, coeffs);
}

void vekGetPerspectiveTransform(const VekImage* image, double coeffs[9], const double quad[8])
{
    OWN_FACE("vekGetPerspectiveTransform", "vekQuad");
    OwnRect rect;
    OWN_REFUSE_HEADER(image);
    if (!ownSoundQuad(face, quad) || !ownSoundRegion(face, image, ownFlatRegion, &rect)) return;
    ownPerspectiveFromQuad(rect, quad, OWN_FORWARD, coeffs);
}

/* ---- Rotation about a point ---------------------------------------------------------------------------------- */

/* The centre stays where it is: shift = centre - rotated centre. */
void vekGetRotateShift(double xCenter, double yCenter, double angle, double* xShift, double* yShift)
{
    const double radians = angle * (1.0 / 180.0) * std::numbers::pi;
    const double c = cos(radians), s = sin(radians);
    *xShift = xCenter - xCenter * c - yCenter * s + *xShift;
    *yShift = xCenter * s + yCenter - c * yCenter + *yShift;
}
