/* Plane mappings: matrices, quadrangles, bounds, and the ways between them. */
#include "geometry/ownquad.h"
#include "support/support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

typedef std::vector<double> Doubles;

const double old = -77.25; /* what results hold before */

VekImage makeHeader(int32_t width, int32_t height)
{
    static uint8_t pixel;
    VekImage image = {};
    image.nChannels = 1;
    image.depth = VEK_DEPTH_8U;
    image.align = 4;
    image.width = width;
    image.height = height;
    image.widthStep = image.imageSize = 1 << 20;
    image.imageData = &pixel;
    return image;
}

/* The three kinds under one form. */
struct Kind {
    const char* name;
    size_t nCoeffs;
    void (*quad)(const VekImage*, const double*, double*);
    void (*bound)(const VekImage*, const double*, double*);
    void (*transform)(const VekImage*, double*, const double*);
    OwnSpot (*map)(const double*, double, double);
    Doubles coeffs;
} const kinds[] = {
    {"Affine",
     6,
     vekGetAffineQuad,
     vekGetAffineBound,
     vekGetAffineTransform,
     [](const double* c, double x, double y) {
         return OwnSpot{c[0] * x + c[1] * y + c[2], c[3] * x + c[4] * y + c[5]};
     },
     {1.5, -0.5, 3, 0.25, 2, -7}},
    {"Bilinear",
     8,
     vekGetBilinearQuad,
     vekGetBilinearBound,
     vekGetBilinearTransform,
     [](const double* c, double x, double y) {
         return OwnSpot{c[0] * x * y + c[1] * x + c[2] * y + c[3], c[4] * x * y + c[5] * x + c[6] * y + c[7]};
     },
     {0.01, 1.5, -0.5, 3, -0.005, 0.25, 2, -7}},
    {"Perspective",
     9,
     vekGetPerspectiveQuad,
     vekGetPerspectiveBound,
     vekGetPerspectiveTransform,
     [](const double* c, double x, double y) {
         const double w = c[6] * x + c[7] * y + c[8];
         return OwnSpot{(c[0] * x + c[1] * y + c[2]) / w, (c[3] * x + c[4] * y + c[5]) / w};
     },
     {1.5, -0.5, 3, 0.25, 2, -7, 0.001, -0.002, 1.125}},
};

/* Regions, and the part of an image of 40 by 30 that they leave. */
const struct {
    bool isSet;
    VekROI roi;
    double left, top, right, bottom;
} regions[] = {
    {false, {}, 0, 0, 39, 29},
    {true, {0, 5, 7, 12, 9}, 5, 7, 16, 15},
    {true, {0, 30, 20, 100, 100}, 30, 20, 39, 29},
    {true, {0, 3, 2, INT32_MAX, INT32_MAX}, 3, 2, 39, 29},
    {true, {0, 8, 2, 1, 20}, 8, 2, 8, 21},
};

void expectNear(const Doubles& a, const double* b, double tolerance)
{
    for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tolerance * (1 + std::fabs(a[i]))) << i;
}

TEST(Quad, cornersOfTheRegionAndTheirBox)
{
    for (const Kind& kind : kinds)
        for (const auto& region : regions) {
            SCOPED_TRACE(kind.name);
            VekImage image = makeHeader(40, 30);
            VekROI roi = region.roi;
            if (region.isSet) image.roi = &roi;
            double quad[9], rect[5];
            quad[8] = rect[4] = old;
            Recorder recorder;
            kind.quad(&image, kind.coeffs.data(), quad);
            kind.bound(&image, kind.coeffs.data(), rect);
            EXPECT_EQ(recorder.text(), "");
            const double x[4] = {region.left, region.right, region.right, region.left},
                         y[4] = {region.top, region.top, region.bottom, region.bottom};
            double box[4] = {1e300, 1e300, -1e300, -1e300};
            for (int i = 0; i < 4; ++i) {
                const OwnSpot spot = kind.map(kind.coeffs.data(), x[i], y[i]);
                EXPECT_EQ(quad[2 * i], spot.x);
                EXPECT_EQ(quad[2 * i + 1], spot.y);
                box[0] = std::min(box[0], spot.x), box[1] = std::min(box[1], spot.y);
                box[2] = std::max(box[2], spot.x), box[3] = std::max(box[3], spot.y);
            }
            for (int i = 0; i < 4; ++i) EXPECT_EQ(rect[i], box[i]);
            EXPECT_EQ(quad[8], old);
            EXPECT_EQ(rect[4], old);
        }
}

/* From a matrix to the quadrangle and back: the matrix again; a perspective one up to its scale. */
TEST(Quad, transformUndoesQuad)
{
    for (const Kind& kind : kinds)
        for (const auto& region : regions) {
            if (region.left == region.right) continue;
            SCOPED_TRACE(kind.name);
            VekImage image = makeHeader(40, 30);
            VekROI roi = region.roi;
            if (region.isSet) image.roi = &roi;
            double quad[8];
            Doubles back(10, old), expected = kind.coeffs;
            Recorder recorder;
            kind.quad(&image, kind.coeffs.data(), quad);
            kind.transform(&image, back.data(), quad);
            EXPECT_EQ(recorder.text(), "");
            if (kind.nCoeffs == 9) {
                const double first = back[6] * region.left + back[7] * region.top + back[8];
                EXPECT_NEAR(first, 1.0, 1e-12);
                const double w = expected[6] * region.left + expected[7] * region.top + expected[8];
                for (double& c : expected) c /= w;
            }
            expectNear(expected, back.data(), 1e-9);
            EXPECT_EQ(back[kind.nCoeffs], old);
        }
}

/* A quadrangle that runs the other way round is taken too: the matrix mirrors. */
TEST(Quad, bothOrientations)
{
    const double quads[2][8] = {{2, 3, 30, 3, 30, 20, 2, 20}, {30, 3, 2, 3, 2, 20, 30, 20}};
    for (const Kind& kind : kinds)
        for (int mirrored = 0; mirrored < 2; ++mirrored) {
            VekImage image = makeHeader(29, 18);
            Doubles c(9);
            kind.transform(&image, c.data(), quads[mirrored]);
            const OwnSpot spot = kind.map(c.data(), 4, 5);
            EXPECT_NEAR(spot.x, mirrored ? 26 : 6, 1e-9) << kind.name;
            EXPECT_NEAR(spot.y, 8, 1e-9) << kind.name;
            EXPECT_EQ(ownCheckQuad(quads[mirrored]), mirrored ? 0 : 1);
        }
}

/* The solvers' two directions are inverse to one another. */
TEST(Quad, inverseUndoesForward)
{
    const OwnRect rect = {3, 2, 41, 33};
    const double slanted[8] = {10, 5, 60, 9, 55, 50, 5, 46}, crooked[8] = {10, 5, 60, 9, 70, 50, 3, 40};
    double there[9], back[9];
    EXPECT_EQ(ownAffineFromQuad(rect, slanted, OWN_FORWARD, there),
              ownAffineFromQuad(rect, slanted, OWN_INVERSE, back));
    for (double x = 3; x <= 41; x += 19)
        for (double y = 2; y <= 33; y += 7) {
            const OwnSpot to = ownMapAffine(there, x, y), from = ownMapAffine(back, to.x, to.y);
            EXPECT_NEAR(from.x, x, 1e-9);
            EXPECT_NEAR(from.y, y, 1e-9);
        }
    EXPECT_EQ(ownPerspectiveFromQuad(rect, crooked, OWN_FORWARD, there), 1);
    EXPECT_EQ(ownPerspectiveFromQuad(rect, crooked, OWN_INVERSE, back), 1);
    for (double x = 3; x <= 41; x += 19)
        for (double y = 2; y <= 33; y += 7) {
            const OwnSpot to = ownMapPerspective(there, x, y), from = ownMapPerspective(back, to.x, to.y);
            EXPECT_NEAR(from.x, x, 1e-9);
            EXPECT_NEAR(from.y, y, 1e-9);
        }
}

/* Each form of the equation behind the inverse of a bilinear mapping, in both orientations. */
TEST(Quad, bilinearInverseInEachCase)
{
    const struct {
        OwnBilinearCase kind;
        double quad[8];
    } rows[] = {
        {OWN_BILINEAR_BOTH, {10, 5, 60, 9, 75, 50, 3, 40}},   {OWN_BILINEAR_BOTH, {60, 9, 10, 5, 3, 40, 75, 50}},
        {OWN_BILINEAR_ACROSS, {10, 5, 50, 5, 60, 45, 2, 45}}, {OWN_BILINEAR_ACROSS, {50, 5, 10, 5, 2, 45, 60, 45}},
        {OWN_BILINEAR_DOWN, {10, 5, 60, 2, 60, 45, 10, 38}},  {OWN_BILINEAR_DOWN, {60, 2, 10, 5, 10, 38, 60, 45}},
        {OWN_BILINEAR_NONE, {10, 5, 60, 9, 55, 50, 5, 46}},   {OWN_BILINEAR_NONE, {60, 9, 10, 5, 5, 46, 55, 50}},
    };
    for (const auto& row : rows) {
        const OwnRect rect = {0, 0, 38, 31};
        double there[8];
        OwnBilinearInverse inverse;
        ownBilinearFromQuad(rect, row.quad, there);
        const int orientation = ownInvertBilinear(38, 31, row.quad, &inverse);
        EXPECT_EQ(orientation, ownCheckQuad(row.quad));
        EXPECT_EQ(inverse.kind, row.kind);
        for (double x = 0; x <= 38; x += 9.5)
            for (double y = 0; y <= 31; y += 7.75) {
                const OwnSpot to = ownMapBilinear(there, x, y), from = ownMapInverse(inverse, to.x, to.y);
                EXPECT_NEAR(from.x, x, 1e-6) << row.kind;
                EXPECT_NEAR(from.y, y, 1e-6) << row.kind;
            }
    }
}

TEST(Quad, shapes)
{
    const struct {
        double quad[8];
        int shape;
    } rows[] = {
        {{0, 0, 1, 0, 1, 1, 0, 1}, 1},
        {{0, 0, 0, 1, 1, 1, 1, 0}, 0},
        {{0, 0, 9, 0, 9, 1e-12, 0, 1e-12}, 1},           /* as flat as you like */
        {{0, 0, 0, 0, 1, 1, 0, 1}, OWN_QUAD_DEGENERATE}, /* two corners in one */
        {{0, 0, 1, 0, 2, 0, 0, 1}, OWN_QUAD_DEGENERATE}, /* a triangle */
        {{5, 5, 5, 5, 5, 5, 5, 5}, OWN_QUAD_DEGENERATE},
        {{0, 0, 4, 0, 1, 1, 0, 4}, OWN_QUAD_CONCAVE},
        {{0, 0, 1, 1, 1, 0, 0, 1}, OWN_QUAD_CONCAVE}, /* crosses itself */
        {{NAN, 0, 1, 0, 1, 1, 0, 1}, OWN_QUAD_CONCAVE},
    };
    for (const auto& row : rows) EXPECT_EQ(ownCheckQuad(row.quad), row.shape) << row.quad[4];
}

/* Each fault alone and before the next one; results keep their bits. */
TEST(Quad, refusals)
{
    const double square[8] = {0, 0, 9, 0, 9, 9, 0, 9}, triangle[8] = {0, 0, 5, 0, 9, 0, 0, 9},
                 arrow[8] = {0, 0, 40, 0, 10, 10, 0, 40}, trapezium[8] = {0, 0, 9, 0, 12, 9, 0, 9};
    const struct {
        const char* fault;
        const double* quad;
        bool badHeader, outside, flat;
        const char* affine; /* and what the others say, when that differs */
        const char* others;
    } rows[] = {
        {"header", triangle, true, true, false, "-10 %(Incorrect Image)", nullptr},
        {"triangle", triangle, false, true, false, "-5 %(Quadrangle is degenerate to triangle or length or point)",
         nullptr},
        {"arrow", arrow, false, true, false, "-5 %(Quadrangle is concave)", nullptr},
        {"trapezium", trapezium, false, true, false, "-5 %(Quadrangle is not parallelogram)", "-5 %(Bad rect ROI)"},
        {"outside", square, false, true, true, "-5 %(Bad rect ROI)", nullptr},
        {"flat", square, false, false, true, "-5 %(srcImage Rectangle ROI is degenerate to length or point)",
         "-5 %(image Rectangle ROI is degenerate to length or point)"},
    };
    for (const Kind& kind : kinds)
        for (const auto& row : rows) {
            VekImage image = makeHeader(row.badHeader ? 0 : 40, 30);
            VekROI roi = {0, row.outside ? 40 : 2, 2, row.flat ? 1 : 4, 9};
            image.roi = &roi;
            Doubles coeffs(9, old);
            Recorder recorder;
            kind.transform(&image, coeffs.data(), row.quad);
            std::string expected = kind.nCoeffs == 6 || !row.others ? row.affine : row.others;
            expected.replace(expected.find('%'), 1, std::string("vekGet") + kind.name + "Transform");
            EXPECT_EQ(recorder.text(), expected) << row.fault;
            EXPECT_EQ(coeffs, Doubles(9, old));
        }
}

TEST(Quad, quadAndBoundRefusals)
{
    for (const Kind& kind : kinds)
        for (const bool badHeader : {true, false}) {
            VekImage image = makeHeader(badHeader ? 0 : 40, 30);
            VekROI roi = {0, 40, 0, 5, 5};
            image.roi = &roi;
            Doubles quad(8, old), rect(4, old);
            Recorder recorder;
            kind.quad(&image, kind.coeffs.data(), quad.data());
            kind.bound(&image, kind.coeffs.data(), rect.data());
            const std::string name = std::string("vekGet") + kind.name;
            const std::string inner = (badHeader ? "-10 " : "-5 ") + name + "Quad(" +
                                      (badHeader ? "Incorrect Image)" : "Bad rect ROI)");
            EXPECT_EQ(recorder.text(), inner + "; " + inner + "; -1 " + name + "Bound()");
            EXPECT_EQ(quad, Doubles(8, old));
            EXPECT_EQ(rect, Doubles(4, old));
        }
}

/* An old failure is a failure to the bound alone. */
TEST(Quad, oldStatus)
{
    for (const Kind& kind : kinds) {
        VekImage image = makeHeader(40, 30);
        double quad[8] = {old}, rect[4] = {old}, coeffs[9] = {old};
        Recorder recorder;
        vekSetErrStatus(VEK_StatusNoMemory);
        kind.quad(&image, kind.coeffs.data(), quad);
        kind.transform(&image, coeffs, quad);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_NE(quad[0], old);
        EXPECT_NE(coeffs[0], old);
        kind.bound(&image, kind.coeffs.data(), rect);
        EXPECT_EQ(recorder.text(), std::string("-1 vekGet") + kind.name + "Bound()");
        EXPECT_EQ(rect[0], old);
        EXPECT_EQ(vekGetErrStatus(), VEK_StatusNoMemory);
    }
}

/* The rotation by the shifts leaves the centre in place, and the shifts add up. */
TEST(Quad, rotateShift)
{
    for (double angle = -400; angle < 400; angle += 37.5) {
        double xShift = 0, yShift = 0;
        vekGetRotateShift(12.5, 31, angle, &xShift, &yShift);
        const double c = std::cos(angle * 3.14159265358979323846 / 180),
                     s = std::sin(angle * 3.14159265358979323846 / 180);
        EXPECT_NEAR(c * 12.5 + s * 31 + xShift, 12.5, 1e-9) << angle;
        EXPECT_NEAR(-s * 12.5 + c * 31 + yShift, 31, 1e-9) << angle;
        double x2 = 0, y2 = 0;
        vekGetRotateShift(12.5, 31, angle, &x2, &y2);
        vekGetRotateShift(12.5, 31, angle, &x2, &y2);
        EXPECT_NEAR(x2, 2 * xShift, 1e-9);
        EXPECT_NEAR(y2, 2 * yShift, 1e-9);
    }
}

} // namespace
