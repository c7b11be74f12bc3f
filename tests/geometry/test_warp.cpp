/* Warps: which pixels are written, and with what; exact routes as permutations; tiled against untiled; refusals. */
#include "geometry/ownspots.h"
#include "support/support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

/* ---- The model ------------------------------------------------------------------------------------------------- */

struct Point {
    double x, y;
};

/* Region and channels of an image, as the warps take them. */
struct Part {
    int32_t x = 0, y = 0, right, bottom, channel = 0, count;

    explicit Part(const VekImage& image) : right(image.width - 1), bottom(image.height - 1)
    {
        count = image.nChannels - (image.alphaChannel != 0);
        if (!image.roi) return;
        x = image.roi->xOffset, y = image.roi->yOffset;
        right = std::min(right, x + image.roi->width - 1), bottom = std::min(bottom, y + image.roi->height - 1);
        if (image.roi->coi) channel = image.roi->coi - 1, count = 1;
    }
};

double lagrange(const double c[4], double t)
{
    return c[1] + t * (c[2] - c[3] / 6 - c[0] / 3 - c[1] / 2) + t * t * ((c[0] + c[2]) / 2 - c[1]) +
           t * t * t * ((c[3] - c[0]) / 6 + (c[1] - c[2]) / 2);
}

struct Model {
    const TestImage& src;
    int32_t interpolate;
    bool fixedLinear; /* the affine one of bytes */

    int32_t least() const { return std::min(src.image.width, src.image.height); }
    int32_t kind() const
    {
        if (src.image.depth == VEK_DEPTH_1U || least() == 1) return 0;
        return interpolate == 2 && least() < 4 ? 1 : interpolate;
    }

    /* The value at an image position; `start`: the image position of the origin from which windows are counted. */
    double value(double X, double Y, int32_t x0, int32_t y0, int32_t c) const
    {
        const int32_t xLast = src.image.width - 1, yLast = src.image.height - 1;
        const auto at = [&](int32_t x, int32_t y) {
            return (double)src.get(std::clamp(x, 0, xLast), std::clamp(y, 0, yLast), c);
        };
        if (kind() == 0) return at((int32_t)std::lrint(X), (int32_t)std::lrint(Y));
        if (kind() == 1) {
            if (fixedLinear) { X = std::clamp(X, (double)x0, xLast - 1.0), Y = std::clamp(Y, (double)y0, yLast - 1.0); }
            const int32_t ix = std::clamp((int32_t)std::floor(X + 1e-9), 0, xLast - 1),
                          iy = std::clamp((int32_t)std::floor(Y + 1e-9), 0, yLast - 1);
            const double fx = X - ix, fy = Y - iy;
            const double top = at(ix, iy) + (at(ix + 1, iy) - at(ix, iy)) * fx,
                         bottom = at(ix, iy + 1) + (at(ix + 1, iy + 1) - at(ix, iy + 1)) * fx;
            return top + (bottom - top) * fy;
        }
        const auto start = [](double p, int32_t origin, int32_t last) {
            const int32_t i = (int32_t)std::floor(p + 1e-9) - origin, limit = last - origin;
            const int32_t base = i >= limit - 1 ? limit - 3 : i <= 0 ? 0 : i - 1;
            return std::min(base, limit - 3) + origin;
        };
        const int32_t bx = start(X, x0, xLast), by = start(Y, y0, yLast);
        double row[4];
        for (int r = 0; r < 4; ++r) {
            double s[4];
            for (int k = 0; k < 4; ++k) s[k] = at(bx + k, by + r);
            row[r] = lagrange(s, X - bx - 1);
        }
        return std::clamp(lagrange(row, Y - by - 1), 0.0, src.image.depth == VEK_DEPTH_8U ? 255.0 : 65535.0);
    }

    /* Whether a result is the model's, positions being known to a hair only. */
    bool agrees(int64_t got, double X, double Y, int32_t x0, int32_t y0, int32_t c, double hair) const
    {
        if (kind() == 0) {
            for (const double u : {-hair, hair})
                for (const double v : {-hair, hair})
                    if ((double)got == value(X + u, Y + v, x0, y0, c)) return true;
            return false;
        }
        const double allowed = src.image.depth == VEK_DEPTH_8U ? 1.5 : 4.0;
        double low = 1e9, high = -1e9;
        for (const double u : {-hair, 0.0, hair})
            for (const double v : {-hair, 0.0, hair}) {
                const double want = value(X + u, Y + v, x0, y0, c);
                low = std::min(low, want), high = std::max(high, want);
            }
        /* beyond the last pixels linear goes on, and its low bits are kept */
        const double turn = kind() == 1 && !fixedLinear ? (src.image.depth == VEK_DEPTH_8U ? 256 : 65536) : 1e9;
        const double around = std::round(((low + high) / 2 - (double)got) / turn) * turn;
        return (double)got + around >= low - allowed && (double)got + around <= high + allowed;
    }
};

/* Inside a convex quadrangle, by how much (negative: outside). */
double depthIn(const double q[8], double x, double y)
{
    double least = 1e9, area = 0;
    for (int i = 0; i < 8; i += 2) area += q[i] * q[(i + 3) % 8] - q[(i + 2) % 8] * q[i + 1];
    for (int i = 0; i < 8; i += 2) {
        const double ex = q[(i + 2) % 8] - q[i], ey = q[(i + 3) % 8] - q[i + 1];
        const double cross = ex * (y - q[i + 1]) - ey * (x - q[i]);
        least = std::min(least, (area > 0 ? cross : -cross) / std::hypot(ex, ey));
    }
    return least;
}

/* Solves a mapping for the point that it carries to (x, y), by Newton's method. */
Point invert(const std::function<Point(double, double)>& map, double x, double y, Point at)
{
    for (int i = 0; i < 60; ++i) {
        const Point p = map(at.x, at.y), px = map(at.x + 1e-4, at.y), py = map(at.x, at.y + 1e-4);
        const double a = (px.x - p.x) / 1e-4, b = (py.x - p.x) / 1e-4, c = (px.y - p.y) / 1e-4, d = (py.y - p.y) / 1e-4;
        const double det = a * d - b * c, rx = x - p.x, ry = y - p.y;
        at = {at.x + (d * rx - b * ry) / det, at.y + (a * ry - c * rx) / det};
    }
    return at;
}

/* ---- Cases ------------------------------------------------------------------------------------------------------- */

enum Kind { AFFINE, BILINEAR, PERSPECTIVE };

struct Case {
    ImageSpec src, dst;
    Kind kind;
    int32_t warpFlag, interpolate;
    double quad[8];
};

Case drawCase(Random& random)
{
    const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_8U, VEK_DEPTH_16U};
    Case k;
    k.src.depth = k.dst.depth = depths[random() % 4];
    const bool bits = k.src.depth == VEK_DEPTH_1U;
    k.src.nChannels = k.dst.nChannels = bits ? 1 : draw(random, 1, 4);
    k.src.dataOrder = k.dst.dataOrder = (int32_t)(random() % 2);
    if (!bits && k.src.nChannels > 1 && random() % 3 == 0) k.src.hasAlpha = k.dst.hasAlpha = true;
    k.src.width = draw(random, 2, 30), k.src.height = draw(random, 2, 30);
    k.dst.width = draw(random, 2, 60), k.dst.height = draw(random, 2, 40);
    k.src.atEnd = random() % 2, k.dst.atEnd = random() % 2;
    k.kind = (Kind)(random() % 3);
    k.warpFlag = k.kind == AFFINE ? 0 : (int32_t)(random() % 2);
    k.interpolate = draw(random, 0, 2);
    return k;
}

double real(Random& random, double low, double high)
{
    return low + (high - low) * (double)(random() % 100001) / 100000;
}

/* A convex quadrangle about an image of this size, turned either way; for affine a parallelogram. */
void drawQuad(Random& random, Case* k, int32_t width, int32_t height)
{
    for (;;) {
        const double size = std::max(width, height), angle = real(random, 0, 6.28), x = real(random, 0, width),
                     y = real(random, 0, height), mirror = random() % 2 ? 1 : -1;
        const double corner[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
        for (int i = 0; i < 4; ++i) {
            const double u = corner[i][0] * size * 0.4, v = corner[i][1] * size * 0.5 * mirror;
            const double jitter = k->kind == AFFINE ? 0 : size * 0.1;
            k->quad[2 * i] = x + std::cos(angle) * u + std::sin(angle) * v + real(random, -jitter, jitter);
            k->quad[2 * i + 1] = y - std::sin(angle) * u + std::cos(angle) * v + real(random, -jitter, jitter);
        }
        if (k->kind == BILINEAR && random() % 3 == 0) { /* the forms that lose a term */
            k->quad[4] = k->quad[2] + k->quad[6] - k->quad[0];
            k->quad[5] = k->quad[3] + k->quad[7] - k->quad[1];
        } else if (k->kind == BILINEAR && random() % 2) {
            k->quad[3] = k->quad[1];
            k->quad[5] = k->quad[7];
        }
        double cross[4];
        bool sound = true;
        for (int i = 0; i < 4; ++i) {
            const double* q = k->quad;
            const int a = 2 * i, b = (a + 2) % 8, c = (a + 4) % 8;
            cross[i] = (q[b] - q[a]) * (q[c + 1] - q[b + 1]) - (q[b + 1] - q[a + 1]) * (q[c] - q[b]);
            sound &= std::fabs(cross[i]) > 0.1 * size * size && (cross[i] > 0) == (cross[0] > 0);
        }
        if (sound) return;
    }
}

void call(const Case& k, const VekImage* src, VekImage* dst)
{
    if (k.kind == BILINEAR) return vekWarpBilinearQ(src, dst, k.quad, k.warpFlag, k.interpolate);
    if (k.kind == PERSPECTIVE) return vekWarpPerspectiveQ(src, dst, k.quad, k.warpFlag, k.interpolate);
    double coeffs[6];
    vekGetAffineTransform(src, coeffs, k.quad);
    if (vekGetErrStatus() == 0) vekWarpAffine(src, dst, coeffs, k.interpolate);
}

/* The mapping of a rectangle (0, 0, w, h) onto the quadrangle. */
std::function<Point(double, double)> mapping(const Case& k, double w, double h)
{
    VekImage header = {};
    static uint8_t pixel;
    header.nChannels = 1, header.depth = VEK_DEPTH_8U, header.align = 4, header.imageData = &pixel;
    header.width = (int32_t)w + 1, header.height = (int32_t)h + 1, header.widthStep = header.imageSize = 1 << 20;
    std::vector<double> c(9);
    if (k.kind == PERSPECTIVE) {
        vekGetPerspectiveTransform(&header, c.data(), k.quad);
        return [c](double x, double y) {
            const double z = c[6] * x + c[7] * y + c[8];
            return Point{(c[0] * x + c[1] * y + c[2]) / z, (c[3] * x + c[4] * y + c[5]) / z};
        };
    }
    vekGetBilinearTransform(&header, c.data(), k.quad); /* of a parallelogram it is affine */
    return [c](double x, double y) {
        return Point{c[0] * x * y + c[1] * x + c[2] * y + c[3], c[4] * x * y + c[5] * x + c[6] * y + c[7]};
    };
}

std::string textOfCase(const Case& k)
{
    return "kind " + std::to_string(k.kind) + " flag " + std::to_string(k.warpFlag) + " interpolate " +
           std::to_string(k.interpolate) + " depth " + std::to_string(k.src.depth) + " channels " +
           std::to_string(k.src.nChannels) + " order " + std::to_string(k.src.dataOrder) + " " +
           std::to_string(k.src.width) + "x" + std::to_string(k.src.height);
}

void checkCase(const Case& k, const TestImage& src, const TestImage& dst, const std::vector<uint8_t>& before)
{
    const Part from(src.image), to(dst.image);
    const Model model = {src, k.interpolate, k.kind == AFFINE && k.src.depth == VEK_DEPTH_8U};
    const double hair = k.src.depth == VEK_DEPTH_1U && k.kind == BILINEAR ? 0.06 : 0.003;
    const double width = from.right - from.x, height = from.bottom - from.y;
    const auto map = k.warpFlag ? mapping(k, to.right - to.x, to.bottom - to.y) : mapping(k, width, height);
    std::vector<uint8_t> outside = dst.bytes();
    for (int32_t y = 0; y < dst.image.height; ++y)
        for (int32_t x = 0; x < dst.image.width; ++x) {
            const bool inRegion = x >= to.x && x <= to.right && y >= to.y && y <= to.bottom;
            bool within = inRegion, doubtful = false;
            Point p = {0, 0};
            if (inRegion && k.warpFlag == 0) {
                const double depth = depthIn(k.quad, x, y);
                within = depth > 0, doubtful = std::fabs(depth) < 1e-6;
                if (within) p = invert(map, x, y, {width / 2, height / 2});
                p = {p.x + from.x, p.y + from.y};
            } else if (inRegion) {
                p = map(x - to.x, y - to.y);
                /* nearest: the rounded position lies in the region; else the one rounded down */
                const double shift = model.kind() == 0 ? 0 : 0.5;
                const double left = p.x - from.x - shift + 0.5, up = p.y - from.y - shift + 0.5;
                const double right = from.right + 1 - (p.x - shift + 0.5), down = from.bottom + 1 - (p.y - shift + 0.5);
                const double depth = std::min(std::min(left, up), std::min(right, down));
                within = depth > 0, doubtful = std::fabs(depth) < hair;
            }
            for (int32_t c = 0; c < dst.image.nChannels; ++c) {
                const bool takesPart = c >= to.channel && c < to.channel + to.count;
                const int64_t got = dst.get(x, y, c), old = getSample(dst.image, before.data(), x, y, c);
                const std::string where = textOfCase(k) + " at " + std::to_string(x) + "," + std::to_string(y);
                setSample(dst.image, outside.data(), x, y, c, old);
                if (doubtful) continue;
                if (!within || !takesPart) ASSERT_EQ(got, old) << where << ": to be left";
                else
                    ASSERT_TRUE(model.agrees(got, p.x, p.y, k.warpFlag ? 0 : from.x, k.warpFlag ? 0 : from.y,
                                             from.channel + c - to.channel, hair))
                        << where << ": " << got << " from " << p.x << "," << p.y << " expected "
                        << model.value(p.x, p.y, k.warpFlag ? 0 : from.x, k.warpFlag ? 0 : from.y,
                                       from.channel + c - to.channel);
            }
        }
    ASSERT_EQ(outside, before) << textOfCase(k) << ": a byte outside the pixels";
}

void drawRegion(TestImage& image, Random& random, int32_t coi, int32_t least)
{
    const int32_t x = draw(random, 0, image.image.width - least), y = draw(random, 0, image.image.height - least);
    image.setRoi(coi, x, y, draw(random, least, image.image.width + 2), draw(random, least, image.image.height + 2));
}

TEST(Warp, againstTheModel)
{
    Random random(1);
    for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        Case k = drawCase(random);
        if (i % 8 == 0) k.src.width += 70, k.dst.width += 200; /* several blocks in a row */
        TestImage src(k.src, random), dst(k.dst, random);
        if (random() % 2) {
            const int32_t coi = random() % 3 ? 0 : draw(random, 1, k.src.nChannels - k.src.hasAlpha);
            drawRegion(src, random, coi, 2), drawRegion(dst, random, coi, 2);
        }
        const VekImage& about = k.warpFlag ? src.image : dst.image;
        drawQuad(random, &k, about.width, about.height);
        const std::vector<uint8_t> before = dst.bytes(), source = src.bytes();
        Recorder recorder;
        call(k, &src.image, &dst.image);
        ASSERT_EQ(recorder.text(), "") << textOfCase(k);
        ASSERT_EQ(src.bytes(), source);
        checkCase(k, src, dst, before);
    }
}

/* The rectangle's own corners: every pixel comes from itself, and the last one is read to its last byte and no further. */
TEST(Warp, cornersOfTheSource)
{
    Random random(9);
    for (const uint32_t depth : {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U})
        for (int32_t nChannels = 1; nChannels <= (depth == VEK_DEPTH_1U ? 1 : 5); ++nChannels)
            for (int32_t width = 5; width <= 12; ++width)
                for (int32_t way = 0; way < 12; ++way) {
                    ImageSpec spec = {depth, nChannels, false, way / 6, width, 6};
                    spec.atEnd = true;
                    TestImage src(spec, random), dst(spec, random);
                    const double w = width - 1, quad[8] = {0, 0, w, 0, w, 5, 0, 5};
                    Recorder recorder;
                    if (way % 2) vekWarpBilinearQ(&src.image, &dst.image, quad, 1, way / 2 % 3);
                    else vekWarpPerspectiveQ(&src.image, &dst.image, quad, 1, way / 2 % 3);
                    ASSERT_EQ(recorder.text(), "");
                    for (int32_t i = 0; i < width * 6 * nChannels; ++i) {
                        const int32_t x = i / nChannels % width, y = i / nChannels / width, c = i % nChannels;
                        ASSERT_EQ(dst.get(x, y, c), src.get(x, y, c))
                            << depth << " " << nChannels << " " << width << " " << way;
                    }
                }
}

/* A tiled run writes the same pixels; nearest bytes of an affine warp may restart their steps within a hair. */
TEST(Warp, tiledIsUntiled)
{
    Random random(2);
    for (int i = 0; i < 600 && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        Case k = drawCase(random);
        if (i % 4 == 0) k.src.width += 150, k.dst.width += 140, k.dst.height += 130;
        TestImage src(k.src, random), whole(k.dst, random), tiled(k.dst, random);
        if (random() % 2) {
            drawRegion(src, random, 0, 2), drawRegion(whole, random, 0, 2);
            const VekROI& roi = *whole.image.roi;
            tiled.setRoi(0, roi.xOffset, roi.yOffset, roi.width, roi.height);
        }
        const VekImage& about = k.warpFlag ? src.image : whole.image;
        drawQuad(random, &k, about.width, about.height);
        memcpy(tiled.block.data, whole.block.data, whole.block.bytes);
        const std::vector<uint8_t> before = whole.bytes();
        TiledImage srcTiles(src, 8 * draw(random, 1, 3), 8 * draw(random, 1, 2)),
            dstTiles(tiled, 8 * draw(random, 1, 5), 8 * draw(random, 1, 3));
        const int sides = draw(random, 1, 3);
        Recorder recorder;
        call(k, &src.image, &whole.image);
        call(k, sides & 1 ? &srcTiles.image : &src.image, sides & 2 ? &dstTiles.image : &tiled.image);
        ASSERT_EQ(recorder.text(), "") << textOfCase(k);
        if (k.kind == AFFINE && k.src.depth == VEK_DEPTH_8U && k.interpolate == 0) checkCase(k, src, tiled, before);
        else ASSERT_EQ(tiled.bytes(), whole.bytes()) << textOfCase(k);
        ASSERT_EQ(srcTiles.logText().find("BAD"), std::string::npos) << srcTiles.logText();
        ASSERT_EQ(dstTiles.logText().find("BAD"), std::string::npos) << dstTiles.logText();
        ASSERT_FALSE(srcTiles.isOpen() || dstTiles.isOpen());
    }
}

/* Tiles of the destination of which no pixel is reached are not opened, whether the source has tiles or not. */
TEST(Warp, opensWhatItReaches)
{
    Random random(6);
    TestImage src({VEK_DEPTH_8U, 1, false, 0, 32, 32}, random), dst({VEK_DEPTH_8U, 1, false, 0, 64, 64}, random);
    TiledImage srcTiles(src, 16, 16);
    const double to[8] = {20, 20, 27, 20, 27, 27, 20, 27}, from[8] = {-300, -300, 40, -300, 40, 40, -300, 40};
    for (const VekImage* image : {&src.image, &srcTiles.image})
        for (int32_t warpFlag = 0; warpFlag < 2; ++warpFlag)
            for (int32_t interpolate = 0; interpolate < 3; ++interpolate)
                for (const auto warp : {vekWarpPerspectiveQ, vekWarpBilinearQ}) {
                    TiledImage dstTiles(dst, 16, 16);
                    Recorder recorder;
                    warp(image, &dstTiles.image, warpFlag ? from : to, warpFlag, interpolate);
                    EXPECT_EQ(recorder.text(), "");
                    EXPECT_EQ(dstTiles.logText(), warpFlag ? "W 3,3; release 3,3" : "W 1,1; release 1,1");
                }
}

/* Horizons, huge and odd coefficients: nothing but the region changes, and nothing beyond the pixels is read. */
TEST(Warp, anyCoefficients)
{
    Random random(3);
    const double odd[] = {0, 1, -1, 0.5, 1e-6, 1e6, -1e12, 1e300, -1e300, INFINITY, -INFINITY, NAN, 17.3};
    for (int i = 0; i < 4000; ++i) {
        Case k = drawCase(random);
        TestImage src(k.src, random), dst(k.dst, random);
        drawRegion(src, random, 0, 2), drawRegion(dst, random, 0, 2);
        const Part to(dst.image);
        std::vector<uint8_t> before = dst.bytes();
        TiledImage tiles(src, 8, 8);
        double coeffs[9];
        for (double& c : coeffs) c = odd[random() % 13] * (random() % 4 ? 1 : real(random, -2, 2));
        const VekImage* from = i % 3 ? &src.image : &tiles.image;
        Recorder recorder;
        if (k.kind == AFFINE) vekWarpAffine(from, &dst.image, coeffs, k.interpolate);
        else if (k.kind == BILINEAR) vekWarpBilinear(from, &dst.image, coeffs, k.warpFlag, k.interpolate);
        else vekWarpPerspective(from, &dst.image, coeffs, k.warpFlag, k.interpolate);
        for (int32_t c = 0; c < to.count; ++c)
            for (int32_t y = to.y; y <= to.bottom; ++y)
                for (int32_t x = to.x; x <= to.right; ++x)
                    setSample(dst.image, before.data(), x, y, c, dst.get(x, y, c));
        ASSERT_EQ(dst.bytes(), before) << textOfCase(k);
    }
}

/* Rows that are too short for the width: the pages around the blocks are the test. */
TEST(Geometry, readsNoFurtherThanTheRows)
{
    Random random(5);
    const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U};
    for (int i = 0; i < 4000; ++i) {
        const int32_t nChannels = i % 3 ? draw(random, 1, 4) : 1, order = draw(random, 0, 1);
        ImageSpec spec = {depths[i % 3], nChannels, false, order, draw(random, 2, 40), draw(random, 2, 9)};
        spec.atEnd = draw(random, 0, 1);
        TestImage dst(spec, random);
        spec.moreStep = -draw(random, 0, (int)alignedRow(spec) - 1);
        TestImage src(spec, random);
        const std::vector<uint8_t> before = src.bytes();
        const double quad[8] = {0, 0, spec.width - 1.0, 1, spec.width - 1.0, spec.height - 1.0, 0, spec.height - 1.0};
        const int32_t interpolate = draw(random, 0, 2), way = draw(random, 0, 4);
        Recorder recorder;
        if (way == 0) vekZoom(&src.image, &dst.image, 3, 2, 3, 2, interpolate);
        else if (way == 1) vekDecimate(&src.image, &dst.image, 2, 3, 2, 3, draw(random, 0, 3));
        else if (way == 2) vekRotate(&src.image, &dst.image, 30, 2, 2, interpolate);
        else vekWarpPerspectiveQ(&src.image, &dst.image, quad, way == 3, interpolate);
        ASSERT_EQ(src.bytes(), before);
    }
}

/* Sums that are taken together are those that are added one by one: through powers of two, ties, 0 and what is no number. */
TEST(Warp, floatSums)
{
    Random random(8);
    const float odd[] = {0, 0.5f, -1, 1e-30f, 3e38f, INFINITY, NAN, 16777216, 0x1.000002p0f};
    for (int i = 0; i < 200000; ++i) {
        const auto number = [&] {
            if (random() % 8 == 0) return odd[random() % 9];
            const float whole = (float)((int32_t)(random() % 4096) - 2048);
            return random() % 2 ? whole * 0x1p-12f
                                : std::ldexp(whole + (float)(random() % 65536) / 65536, (int)(random() % 30) - 20);
        };
        const float first = number(), step = number();
        float sums[4 * OWN_STRIDE], p = first;
        const float next = ownFloatSums(first, step, 4 * OWN_STRIDE, sums);
        for (const float sum : sums) {
            ASSERT_TRUE(sum == p || (std::isnan(sum) && std::isnan(p))) << first << " + n * " << step;
            p += step;
        }
        ASSERT_TRUE(next == p || (std::isnan(next) && std::isnan(p)));
    }
}

/* ---- Exact routes ------------------------------------------------------------------------------------------------ */

/* Every pixel of the destination against where it has to come from. */
void expectMoved(const TestImage& src, const TestImage& dst, const std::vector<uint8_t>& before, int degrees,
                 int32_t xs, int32_t ys, const std::string& what)
{
    const Part from(src.image), to(dst.image);
    std::vector<uint8_t> expected = before;
    for (int32_t y = to.y; y <= to.bottom; ++y)
        for (int32_t x = to.x; x <= to.right; ++x) {
            int32_t u = x - xs, v = y - ys;
            if (degrees == 90) u = ys - y, v = x - xs;
            else if (degrees == 180) u = xs - x, v = ys - y;
            else if (degrees == 270) u = y - ys, v = xs - x;
            if (u < from.x || u > from.right || v < from.y || v > from.bottom) continue;
            for (int32_t c = 0; c < to.count; ++c)
                setSample(dst.image, expected.data(), x, y, to.channel + c, src.get(u, v, from.channel + c));
        }
    ASSERT_EQ(dst.bytes(), expected) << what;
}

TEST(Warp, turnsAndShifts)
{
    Random random(4);
    for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i) {
        Case k = drawCase(random);
        k.src.width = draw(random, 1, 150), k.src.height = draw(random, 1, 90);
        k.dst.width = draw(random, 1, 150), k.dst.height = draw(random, 1, 90);
        if (i % 16 == 0) k.src.width += 550, k.dst.height += 550; /* more than a block of bits */
        TestImage src(k.src, random), dst(k.dst, random);
        if (random() % 2) {
            const int32_t coi = random() % 3 ? 0 : draw(random, 1, k.src.nChannels - k.src.hasAlpha);
            drawRegion(src, random, coi, 1), drawRegion(dst, random, coi, 1);
        }
        const int degrees = 90 * draw(random, 0, 3);
        const int32_t xs = draw(random, -40, 190), ys = draw(random, -40, 190);
        const double matrices[4][4] = {{1, 0, 0, 1}, {0, 1, -1, 0}, {-1, 0, 0, -1}, {0, -1, 1, 0}};
        const double* m = matrices[degrees / 90];
        const double coeffs[6] = {m[0] + 5e-8, m[1],        xs + real(random, 0, 0.99),
                                  m[2],        m[3] - 5e-8, ys + real(random, 0, 0.99)};
        const std::vector<uint8_t> before = dst.bytes();
        Recorder recorder;
        if (degrees && i % 2)
            vekRotate(&src.image, &dst.image, degrees + 360 * draw(random, -3, 3) + 5e-8, coeffs[2], coeffs[5], 99);
        else vekWarpAffine(&src.image, &dst.image, coeffs, 99);
        ASSERT_EQ(recorder.text(), "");
        expectMoved(src, dst, before, degrees, xs, ys, textOfCase(k) + " by " + std::to_string(degrees));
    }
}

/* A shift of tiled images is a copy; its callbacks see the caller's header, whose region comes back. */
TEST(Warp, tiledShift)
{
    Random random(5);
    TestImage src({VEK_DEPTH_8U, 3, false, 0, 40, 30}, random), dst({VEK_DEPTH_8U, 3, false, 0, 50, 35}, random);
    src.setRoi(0, 3, 2, 30, 25);
    TiledImage srcTiles(src, 16, 8), dstTiles(dst, 8, 16);
    const std::vector<uint8_t> before = dst.bytes();
    const VekROI* const roi = srcTiles.image.roi;
    const double coeffs[6] = {1, 0, 7.9, 0, 1, 4.2};
    Recorder recorder;
    vekWarpAffine(&srcTiles.image, &dstTiles.image, coeffs, 1);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(srcTiles.image.roi, roi);
    EXPECT_EQ(dstTiles.image.roi, nullptr);
    EXPECT_EQ(srcTiles.logText().find("BAD"), std::string::npos) << srcTiles.logText();
    expectMoved(src, dst, before, 0, 7, 4, "tiled shift");
}

/* A masked shift leaves what the mask spares; turns and warps take no notice of masks. */
TEST(Warp, masks)
{
    Random random(6);
    TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random), dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
    TestImage& mask = dst.setMask(std::make_unique<TestImage>(ImageSpec{VEK_DEPTH_1U, 1, false, 0, 20, 20}, random));
    memset(mask.block.data, 0, mask.block.bytes);
    const std::vector<uint8_t> before = dst.bytes();
    const double shift[6] = {1, 0, 2, 0, 1, 3};
    vekWarpAffine(&src.image, &dst.image, shift, 0);
    EXPECT_EQ(dst.bytes(), before);
    vekRotate(&src.image, &dst.image, 180, 19, 19, 0);
    expectMoved(src, dst, before, 180, 19, 19, "half turn");
}

TEST(Warp, rotationAboutTheCentre)
{
    Random random(7);
    TestImage src({VEK_DEPTH_16U, 1, false, 0, 31, 31}, random), dst({VEK_DEPTH_16U, 1, false, 0, 31, 31}, random);
    double xShift = 0, yShift = 0;
    vekGetRotateShift(15, 15, 30, &xShift, &yShift);
    vekRotate(&src.image, &dst.image, 30, xShift, yShift, 2);
    EXPECT_EQ(dst.get(15, 15, 0), src.get(15, 15, 0));
}

/* ---- Refusals -------------------------------------------------------------------------------------------------- */

struct Arguments {
    TestImage &src, &dst;
    VekImage *a, *b;
    double quad[8] = {2, 2, 30, 4, 28, 25, 1, 22};
    double c[9] = {0.9, 0.3, 1, -0.3, 0.9, 2, 0, 0, 1};
    int32_t warpFlag = 0, interpolate = 1;
};

struct Refusal {
    const char* fault;
    void (*set)(Arguments& k);
    const char* reports;
};

void expectRefusals(const std::function<void(Arguments&)>& operation, const char* name,
                    const std::vector<Refusal>& rows)
{
    Random random(8);
    for (const Refusal& row : rows) {
        TestImage src({VEK_DEPTH_8U, 3, false, 0, 20, 20}, random), dst({VEK_DEPTH_8U, 3, false, 0, 20, 20}, random);
        Arguments k = {src, dst, &src.image, &dst.image};
        row.set(k);
        const std::vector<uint8_t> before = dst.bytes();
        Recorder recorder;
        operation(k);
        std::string expected = row.reports;
        for (size_t at; (at = expected.find('%')) != std::string::npos;) expected.replace(at, 1, name);
        EXPECT_EQ(recorder.text(), expected) << name << " " << row.fault;
        EXPECT_EQ(dst.bytes(), before) << name << " " << row.fault;
    }
}

#define BAD_DEPTH "-5 %((srcImage->depth & VEK_DEPTH_SIGN) || (srcImage->depth == VEK_DEPTH_32F))"
#define DIFFER                                                                                                         \
    "-5 %(srcImage->depth != dstImage->depth); -5 %(srcImage->origin != dstImage->origin); "                           \
    "-5 %(srcImage->dataOrder != dstImage->dataOrder)"

const std::vector<Refusal> shared = {
    {"null", [](Arguments& k) { k.a = nullptr; }, "-9 %(Incorrect Image)"},
    {"null dst", [](Arguments& k) { k.b = nullptr, k.a->depth = VEK_DEPTH_8S; }, "-9 %(Incorrect Image)"},
    {"all", [](Arguments& k) { k.a->depth = VEK_DEPTH_8S, k.a->origin = 1, k.b->dataOrder = 1; },
     DIFFER "; " BAD_DEPTH},
    {"same", [](Arguments& k) { k.a = k.b; }, "-5 %(This function is not in-place function)"},
    {"float, same", [](Arguments& k) { k.a->depth = VEK_DEPTH_32F, k.b = k.a; },
     BAD_DEPTH "; -5 %(This function is not in-place function)"},
};

std::vector<Refusal> with(std::vector<Refusal> more)
{
    more.insert(more.begin(), shared.begin(), shared.end());
    return more;
}

TEST(Warp, refusalsOfQuadrangles)
{
    const auto rows = with({
        {"flag", [](Arguments& k) { k.warpFlag = 2, k.a = k.b; },
         "-5 %(warpFlag != 0 && warpFlag != 1); -5 %(This function is not in-place function)"},
        {"triangle", [](Arguments& k) { k.quad[2] = k.quad[0], k.quad[3] = k.quad[1], k.interpolate = 3; },
         "-5 %(Quadrangle is degenerate to triangle or length or point)"},
        {"concave", [](Arguments& k) { k.quad[4] = 3, k.quad[5] = 3, k.interpolate = 3; },
         "-5 %(Quadrangle is concave)"},
        {"interpolate", [](Arguments& k) { k.interpolate = 3, k.src.setRoi(0, 3, 3, 1, 9); },
         "-5 %(interpolate < 0 || interpolate > 2)"},
        {"flat source", [](Arguments& k) { k.src.setRoi(1, 3, 3, 1, 9); },
         "-5 %(srcImage Rectangle ROI is degenerate to length or point)"},
        {"flat destination", [](Arguments& k) { k.dst.setRoi(1, 3, 3, 9, 1), k.warpFlag = 1; },
         "-5 %(dstImage Rectangle ROI is degenerate to length or point)"},
        {"counts", [](Arguments& k) { k.src.setRoi(1, 0, 0, 9, 9); }, "-24 %(srcImage COI != dstImage COI)"},
        {"counts, flag 1", [](Arguments& k) { k.src.setRoi(1, 0, 0, 9, 9), k.warpFlag = 1; },
         "-24 %(srcImage COI != dstImage COI)"},
        {"alpha picked", [](Arguments& k) { k.a->alphaChannel = 3, k.src.setRoi(3, 0, 0, 9, 9); }, ""},
        {"outside", [](Arguments& k) { k.src.setRoi(1, 20, 0, 9, 9); }, ""},
    });
    expectRefusals([](Arguments& k) { vekWarpBilinearQ(k.a, k.b, k.quad, k.warpFlag, k.interpolate); },
                   "vekWarpBilinearQ", rows);
    expectRefusals([](Arguments& k) { vekWarpPerspectiveQ(k.a, k.b, k.quad, k.warpFlag, k.interpolate); },
                   "vekWarpPerspectiveQ", rows);
}

TEST(Warp, refusalsOfMatrices)
{
    expectRefusals(
        [](Arguments& k) { vekWarpPerspective(k.a, k.b, k.c, k.warpFlag, k.interpolate); }, "vekWarpPerspective",
        {
            {"null", [](Arguments& k) { k.a = nullptr; }, "-9 vekGetPerspectiveQuad(Incorrect Image); -1 %()"},
            {"null dst", [](Arguments& k) { k.b = nullptr; }, "-9 %Q(Incorrect Image); -1 %()"},
            {"null dst, flag", [](Arguments& k) { k.b = nullptr, k.warpFlag = 1; },
             "-9 vekGetPerspectiveQuad(Incorrect Image); -1 %()"},
            {"outside", [](Arguments& k) { k.src.setRoi(0, 20, 0, 9, 9); },
             "-5 vekGetPerspectiveQuad(Bad rect ROI); -1 %()"},
            {"flag", [](Arguments& k) { k.warpFlag = 5; }, "-5 %Q(warpFlag != 0 && warpFlag != 1); -1 %()"},
        });
}

TEST(Warp, refusalsOfAffine)
{
    expectRefusals(
        [](Arguments& k) { vekWarpAffine(k.a, k.b, k.c, k.interpolate); }, "vekWarpAffine",
        with({
            {"singular", [](Arguments& k) { k.c[0] = k.c[1] = k.c[3] = k.c[4] = 1, k.interpolate = 7; },
             "-5 %(Determinant of transform matrix == 0.0)"},
            {"outside", [](Arguments& k) { k.src.setRoi(0, 20, 0, 9, 9), k.interpolate = 7; },
             "-5 vekGetAffineQuad(Bad rect ROI); -1 %()"},
            {"interpolate", [](Arguments& k) { k.interpolate = -1; }, "-5 %(interpolate < 0 || interpolate > 2)"},
            {"shift outside",
             [](Arguments& k) { k.src.setRoi(0, 20, 0, 9, 9), k.c[0] = k.c[4] = 1, k.c[1] = k.c[3] = 0; }, ""},
            {"shift too far", [](Arguments& k) { k.c[0] = k.c[4] = 1, k.c[1] = k.c[3] = 0, k.c[2] = 1e12; }, ""},
            {"turn, counts",
             [](Arguments& k) { k.c[0] = k.c[4] = 0, k.c[1] = 1, k.c[3] = -1, k.src.setRoi(2, 0, 0, 9, 9); },
             "-24 vekRotate(srcImage COI != dstImage COI); -1 %()"},
        }));
    expectRefusals(
        [](Arguments& k) { vekRotate(k.a, k.b, 90, 0, 9, 77); }, "vekRotate",
        with({
            {"counts", [](Arguments& k) { k.src.setRoi(2, 0, 0, 9, 9); }, "-24 %(srcImage COI != dstImage COI)"},
            {"outside", [](Arguments& k) { k.src.setRoi(2, 20, 0, 9, 9); }, ""},
        }));
    expectRefusals(
        [](Arguments& k) { vekRotate(k.a, k.b, 30, 0, 9, 77); }, "vekRotate",
        {
            {"interpolate", [](Arguments&) {}, "-5 vekWarpAffine(interpolate < 0 || interpolate > 2); -1 %()"},
            {"null", [](Arguments& k) { k.a = k.b = nullptr; }, "-9 vekWarpAffine(Incorrect Image); -1 %()"},
        });
    expectRefusals(
        [](Arguments& k) { vekShear(k.a, k.b, 2, 0.5, 0, 0, 0); }, "vekShear",
        {
            {"singular", [](Arguments&) {}, "-5 vekWarpAffine(Determinant of transform matrix == 0.0); -1 %()"},
        });
}

/* An old failure: silent, but for the forms that call others. */
TEST(Warp, oldStatus)
{
    Random random(9);
    TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random), dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
    const std::vector<uint8_t> before = dst.bytes();
    const Arguments k = {src, dst, &src.image, &dst.image};
    Recorder recorder;
    vekSetErrStatus(VEK_StatusNoMemory);
    vekWarpAffine(k.a, k.b, k.c, 0);
    vekWarpBilinearQ(k.a, k.b, k.quad, 0, 0);
    vekRotate(k.a, k.b, 90, 0, 0, 0);
    EXPECT_EQ(recorder.text(), "");
    vekWarpPerspective(k.a, k.b, k.c, 0, 0);
    vekRotate(k.a, k.b, 20, 0, 0, 0);
    vekShear(k.a, k.b, 0.1, 0, 0, 0, 0);
    EXPECT_EQ(recorder.text(), "-1 vekWarpPerspective(); -1 vekRotate(); -1 vekShear()");
    EXPECT_EQ(dst.bytes(), before);
}

TEST(Warp, missingTilesAndMemory)
{
    Random random(10);
    for (int n = 0; n < 12; ++n)
        for (int fault = 0; fault < 3; ++fault) {
            TestImage src({VEK_DEPTH_8U, 1, false, 0, 40, 40}, random),
                dst({VEK_DEPTH_8U, 1, false, 0, 40, 40}, random);
            TiledImage srcTiles(src, 8, 8), dstTiles(dst, 16, 16);
            const double quad[8] = {2, 2, 30, 4, 28, 25, 1, 22};
            if (fault < 2) (fault ? srcTiles : dstTiles).failAt = n % 3;
            const int live = heapLive();
            Recorder recorder;
            if (fault == 2) heapFailAfter(n);
            vekWarpPerspectiveQ(&srcTiles.image, &dstTiles.image, quad, n % 2, n % 3);
            heapFailAfter(-1);
            EXPECT_EQ(heapLive(), live);
            const char* const reports[] = {"-2 vekWarpPerspectiveQ(Error get tile to write)",
                                           "-5 vekWarpPerspectiveQ((srcImage->tileInfo->tileData == ((void*)(0))))",
                                           "-1 vekWarpPerspectiveQ()"};
            if (fault < 2 || n == 0 || !recorder.reports.empty()) { EXPECT_EQ(recorder.text(), reports[fault]); }
        }
}

} // namespace
