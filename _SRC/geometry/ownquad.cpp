/* ownquad: rectangles, quadrangles, and the coefficients of the mapping between the two. */
#include "ownquad.h"

#include <math.h>

/* ---- Rectangles ---------------------------------------------------------------------------------------------- */

bool ownRoiRect(const VekImage* image, OwnRect* rect)
{
    const VekROI region = ownHeaderRegion(image);
    *rect = {region.xOffset, region.yOffset, region.xOffset + region.width - 1, region.yOffset + region.height - 1};
    return region.width > 0;
}

/* ---- Quadrangles --------------------------------------------------------------------------------------------- */

/* The corners by name. */
struct OwnCorners {
    double x0, y0, x1, y1, x2, y2, x3, y3;
};
static OwnCorners ownCorners(const double q[8]) { return {q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]}; }

/* The cross product of the two edges that meet in each corner. Their signs agree in a convex quadrangle. */
int ownCheckQuad(const double quad[8])
{
    const auto [x0, y0, x1, y1, x2, y2, x3, y3] = ownCorners(quad);
    const double k3 = (x3 - x2) * (y0 - y3) - (x0 - x3) * (y3 - y2);
    const double k0 = (x0 - x3) * (y1 - y0) - (x1 - x0) * (y0 - y3);
    const double k1 = (y2 - y1) * (x1 - x0) - (x2 - x1) * (y1 - y0);
    const double k2 = (y3 - y2) * (x2 - x1) - (x3 - x2) * (y2 - y1);
    if (k0 == 0.0 || k1 == 0.0 || k2 == 0.0 || k3 == 0.0) return OWN_QUAD_DEGENERATE;
    if (k0 > 0 && k1 > 0 && k2 > 0 && k3 > 0) return 1;
    return k0 < 0 && k1 < 0 && k2 < 0 && k3 < 0 ? 0 : OWN_QUAD_CONCAVE;
}

/* ---- Mappings of a point ------------------------------------------------------------------------------------- */

OwnSpot ownMapAffine(const double c[6], double x, double y)
{
    return {c[0] * x + c[1] * y + c[2], c[3] * x + c[4] * y + c[5]};
}

OwnSpot ownMapBilinear(const double c[8], double x, double y)
{
    return {c[0] * x * y + c[1] * x + c[2] * y + c[3], c[4] * x * y + c[5] * x + c[6] * y + c[7]};
}

OwnSpot ownMapPerspective(const double c[9], double x, double y)
{
    const double w = c[6] * x + c[7] * y + c[8];
    return {(c[0] * x + c[1] * y + c[2]) / w, (c[3] * x + c[4] * y + c[5]) / w};
}

/* ---- Affine -------------------------------------------------------------------------------------------------- */

/* Three corners tell it; the fourth is taken to complete a parallelogram. */
int ownAffineFromQuad(const OwnRect& rect, const double quad[8], OwnDirection direction, double c[6])
{
    const auto [x0, y0, x1, y1, x2, y2, x3, y3] = ownCorners(quad);
    const double width = (double)((int64_t)rect.right - rect.left), height = (double)((int64_t)rect.bottom - rect.top);
    const double det = (x1 - x0) * (y2 - y1) - (x2 - x1) * (y1 - y0);
    if (direction == OWN_FORWARD) {
        const double rw = 1.0 / width, rh = 1.0 / height;
        c[0] = (x1 - x0) * rw;
        c[3] = (y1 - y0) * rw;
        c[1] = (x2 - x1) * rh;
        c[4] = (y2 - y1) * rh;
        c[2] = x0 - c[0] * rect.left - c[1] * rect.top;
        c[5] = y0 - c[3] * rect.left - c[4] * rect.top;
    } else {
        const double q = 1.0 / det;
        c[0] = (y2 - y1) * width * q;
        c[1] = (0 - (x2 - x1)) * width * q;
        c[3] = (0 - (y1 - y0)) * height * q;
        c[4] = (x1 - x0) * height * q;
        c[2] = rect.left - c[0] * x0 - c[1] * y0;
        c[5] = rect.top - c[3] * x0 - c[4] * y0;
    }
    return det > 0.0;
}

/* ---- Bilinear ------------------------------------------------------------------------------------------------ */

void ownBilinearFromQuad(const OwnRect& rect, const double quad[8], double c[8])
{
    const auto [x0, y0, x1, y1, x2, y2, x3, y3] = ownCorners(quad);
    const double left = rect.left, top = rect.top, right = rect.right, bottom = rect.bottom;
    const int64_t area = ((int64_t)rect.right - rect.left) * ((int64_t)rect.bottom - rect.top);
    const double r = 1.0 / (double)area;
    c[2] = ((x0 - x3) * (-right) - (x2 - x1) * left) * r;
    c[1] = ((x1 - x0) * bottom + (x3 - x2) * top) * r;
    c[0] = (0 - (x1 - x0) - (x3 - x2)) * r;
    c[3] = x0 - c[0] * left * top - c[1] * left - c[2] * top;
    c[6] = ((y0 - y3) * (-right) - (y2 - y1) * left) * r;
    c[5] = ((y1 - y0) * bottom + (y3 - y2) * top) * r;
    c[4] = (0 - (y1 - y0) - (y3 - y2)) * r;
    c[7] = y0 - c[4] * left * top - c[5] * left - c[6] * top;
}

/* The equation for X has the factors K1 and K2 of its two products; a factor that is nearly 0 takes its term along. */
int ownInvertBilinear(double width, double height, const double quad[8], OwnBilinearInverse* inverse)
{
    const auto [x0, y0, x1, y1, x2, y2, x3, y3] = ownCorners(quad);
    constexpr double tolerance = 1e-10;
    const double ux = x1 - x0, uy = y1 - y0, vx = x2 - x1, vy = y2 - y1;
    const double wx = x3 - x2, wy = y3 - y2, tx = x0 - x3, ty = y0 - y3;
    const double k1 = (0 - tx) * vy + vx * ty, k2 = (0 - ux) * wy + wx * uy, k3 = uy * tx - ux * ty;
    const double s = wy + uy, t = wx + ux;
    const double e = 1.0 / (k2 / width), g = 1.0 / ((k2 / width) * 2.0), f = 1.0 / (k1 / height), n = 1.0 / k3;
    const bool has1 = fabs(k1) > tolerance, has2 = fabs(k2) > tolerance;
    double(&d)[10] = inverse->d;
    d[0] = d[1] = d[2] = d[3] = 0;
    if (has1 && has2) {
        inverse->kind = OWN_BILINEAR_BOTH;
        d[0] = -s * g;
        d[1] = t * g;
        d[2] = g * (-k3) - (x0 * d[0] + y0 * d[1]);
        d[3] = (0 - k2 / width) / (k1 / height);
        d[4] = ty * width * e;
        d[5] = -s / (k1 / height);
        d[6] = (0 - tx) * width * e;
        d[7] = t / (k1 / height);
    } else if (has1) {
        inverse->kind = OWN_BILINEAR_ACROSS;
        d[0] = s;
        d[1] = -t;
        d[2] = k3 - (y0 * (-t) + s * x0);
        d[4] = (0 - ty) * width;
        d[5] = -s * f;
        d[6] = tx * width;
        d[7] = t * f;
    } else if (has2) {
        inverse->kind = OWN_BILINEAR_DOWN;
        d[0] = s;
        d[1] = -t;
        d[2] = (0 - k3) - (y0 * (-t) + s * x0);
        d[4] = -s * e;
        d[5] = uy * height;
        d[6] = t * e;
        d[7] = (0 - ux) * height;
    } else {
        inverse->kind = OWN_BILINEAR_NONE;
        d[4] = (0 - ty) * width * n;
        d[5] = (0 - uy) * height * n;
        d[6] = tx * width * n;
        d[7] = ux * height * n;
    }
    d[8] = 0 - (x0 * d[4] + y0 * d[6]);
    d[9] = 0 - (x0 * d[5] + y0 * d[7]);
    const int orientation = wx * ty - tx * wy > 0.0;
    inverse->plusRoot = orientation ? k2 > 0 : k2 < 0;
    return orientation;
}

OwnSpot ownMapInverse(const OwnBilinearInverse& inverse, double x, double y)
{
    const double* d = inverse.d;
    const double p = d[0] * x + d[1] * y + d[2], q = d[4] * x + d[6] * y + d[8], r = d[5] * x + d[7] * y + d[9];
    switch (inverse.kind) {
    case OWN_BILINEAR_BOTH: {
        const double root = sqrt(p * p - q), at = inverse.plusRoot ? p + root : p - root;
        return {at, d[3] * at + r};
    }
    case OWN_BILINEAR_ACROSS: return {q / p, r};
    case OWN_BILINEAR_DOWN: return {q, r / p};
    case OWN_BILINEAR_NONE: break;
    }
    return {q, r};
}

/* ---- Perspective --------------------------------------------------------------------------------------------- */

/* First the unit square's mapping, of which two denominators are left to solve, then the rectangle's. */
int ownPerspectiveFromQuad(const OwnRect& rect, const double quad[8], OwnDirection direction, double c[9])
{
    const auto [x0, y0, x1, y1, x2, y2, x3, y3] = ownCorners(quad);
    const double a = x2 - x1, b = y2 - y1, e = x0 - x3, f = y0 - y3, sx = a + e, sy = b + f;
    const double d = 1.0 / ((0 - a) * (y3 - y2) + (x3 - x2) * b);
    const double h = (b * sx - a * sy) * d;
    const double g = d * (sx * (y3 - y2) - sy * (x3 - x2));
    const double rw = 1.0 / (double)((int64_t)rect.right - rect.left);
    const double rh = 1.0 / (double)((int64_t)rect.bottom - rect.top);

    double m[9];
    m[0] = (x1 * g + (x1 - x0)) * rw;
    m[1] = ((0 - e) + x3 * h) * rh;
    m[3] = (y1 * g + (y1 - y0)) * rw;
    m[4] = rh * (y3 * h + (0 - f));
    m[6] = rw * g;
    m[7] = h * rh;
    m[2] = x0 - m[0] * rect.left - m[1] * rect.top;
    m[5] = y0 - m[3] * rect.left - m[4] * rect.top;
    m[8] = 1.0 - m[6] * rect.left - m[7] * rect.top;
    const int orientation = (x3 - x2) * (y0 - y3) - (x0 - x3) * (y3 - y2) > 0.0;
    if (direction == OWN_FORWARD) {
        memcpy(c, m, sizeof(m));
        return orientation;
    }
    c[0] = m[8] * m[4] - m[5] * m[7];
    c[1] = m[2] * m[7] - m[8] * m[1];
    c[2] = m[1] * m[5] - m[2] * m[4];
    c[3] = m[5] * m[6] - m[8] * m[3];
    c[4] = m[8] * m[0] - m[2] * m[6];
    c[5] = m[2] * m[3] - m[5] * m[0];
    c[6] = m[7] * m[3] - m[6] * m[4];
    c[7] = m[1] * m[6] - m[7] * m[0];
    c[8] = m[0] * m[4] - m[1] * m[3];
    return orientation;
}
