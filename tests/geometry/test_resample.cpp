/* Zoom, resize, decimate: against their formulas, sample by sample; tiled against untiled; refusals. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

/* ---- The model ------------------------------------------------------------------------------------------------- */

struct Factors {
    int32_t xDst, xSrc, yDst, ySrc;
};

/* Region and channels of an image, as the operations take them. */
struct Part {
    int32_t x = 0, y = 0, width, height, channel = 0, count;

    explicit Part(const VekImage& image) : width(image.width), height(image.height)
    {
        count = image.nChannels - (image.alphaChannel != 0);
        if (!image.roi) return;
        x = image.roi->xOffset, y = image.roi->yOffset;
        width = std::min(image.roi->width, image.width - x);
        height = std::min(image.roi->height, image.height - y);
        if (image.roi->coi) channel = image.roi->coi - 1, count = 1;
    }
};

double almostFloor(double v) { return std::floor(v + 1e-5); }

int32_t usable(int32_t nDst, int32_t nSrc, double ratio)
{
    return almostFloor((nDst - 1) * ratio) > nSrc - 1 ? (int32_t)almostFloor(nSrc / ratio) : nDst;
}

/* Where a position lies on an axis: the sample below it, and the window and place of cubic. */
struct Place {
    int32_t i, base;
    double t;
};

Place placeOf(double p, int32_t i, int32_t offset, int32_t imageSize)
{
    const int32_t a = i + offset, last = imageSize - 1;
    Place place = {i, i, 0};
    if (a == last) place.base = i - 2;
    else if (a == 0) place.base = i + 1;
    else if (a == last - 1) place.base = i - 1;
    place.t = a == last ? 2.0 : p - place.base;
    return place;
}

double newton(const double r[4], double t)
{
    const double d1 = r[1] - r[0], d2 = r[2] - r[1] - d1, d3 = r[3] - 2 * r[2] + r[1] - d2;
    return r[0] + d1 * (t + 1) + d2 * t * (t + 1) / 2 + d3 * (t - 1) * t * (t + 1) / 6;
}

/* One call, worked out in the stated arithmetic. */
struct Model {
    const TestImage& src;
    const TestImage& dst;
    Factors f;
    int32_t interpolate;
    bool decimates; /* vekDecimate, not the resampler of vekZoom */
    double tolerance = 0;

    Part from{src.image}, to{dst.image};
    int32_t width = 0, height = 0;

    double sample(int32_t x, int32_t y, int32_t c) const
    {
        return (double)src.get(from.x + x, from.y + y, from.channel + c);
    }
    double most() const { return src.image.depth == VEK_DEPTH_8U ? 255 : src.image.depth == VEK_DEPTH_16U ? 65535 : 1; }

    void reduce()
    {
        const int32_t least = std::min(src.image.width, src.image.height);
        const bool whole = f.xSrc % f.xDst == 0 && f.ySrc % f.yDst == 0 && f.xDst <= f.xSrc && f.yDst <= f.ySrc;
        if (decimates) {
            if (least < 4 || (interpolate < 3 && (whole || src.image.depth == VEK_DEPTH_1U))) interpolate = 0;
        } else {
            if (src.image.depth == VEK_DEPTH_1U || least < 2 || whole) interpolate = 0;
            if (interpolate == 2 && least < 4) interpolate = 1;
        }
    }

    Place place(int32_t j, bool vertical) const
    {
        const int32_t size = vertical ? from.height : from.width, offset = vertical ? from.y : from.x;
        const int32_t imageSize = vertical ? src.image.height : src.image.width;
        const int32_t nSrc = vertical ? f.ySrc : f.xSrc, nDst = vertical ? f.yDst : f.xDst;
        double p = j * ((double)nSrc / nDst);
        if (decimates) p = (double)(j * ((int64_t)nSrc * 256 / nDst)) / 256;
        int32_t i = (int32_t)(decimates ? std::floor(p) : almostFloor(p));
        i = std::min(i, size - 1);
        Place result = placeOf(p, i, offset, imageSize);
        if (interpolate != 2) result.t = p - i;
        return result;
    }

    double linear(const Place& px, const Place& py, int32_t c) const
    {
        const int64_t one = decimates ? 256 : 16384;
        int32_t x = px.i, y = py.i;
        int64_t wx = (int64_t)(decimates ? px.t * 256 : almostFloor(px.t * 16384));
        int64_t wy = (int64_t)(decimates ? py.t * 256 : almostFloor(py.t * 16384));
        wx = std::clamp<int64_t>(wx, 0, one), wy = std::clamp<int64_t>(wy, 0, one);
        if (x == from.width - 1) wx = one, --x;
        if (y == from.height - 1) wy = one, --y;
        const auto at = [&](int32_t u, int32_t v) {
            return (int64_t)sample(std::clamp(u, 0, from.width - 1), std::clamp(v, 0, from.height - 1), c);
        };
        const bool bytes = src.image.depth == VEK_DEPTH_8U;
        const int across = decimates ? 0 : bytes ? 8 : 14, down = decimates ? 16 : bytes ? 20 : 14;
        const int64_t t0 = (at(x, y) * (one - wx) + at(x + 1, y) * wx) >> across;
        const int64_t t1 = (at(x, y + 1) * (one - wx) + at(x + 1, y + 1) * wx) >> across;
        return (double)((t0 * (one - wy) + t1 * wy + (decimates ? 32768 : 0)) >> down);
    }

    double cubic(const Place& px, const Place& py, int32_t c) const
    {
        double column[4];
        for (int v = 0; v < 4; ++v) {
            double row[4];
            for (int u = 0; u < 4; ++u) row[u] = sample(px.base - 1 + u, py.base - 1 + v, c);
            column[v] = newton(row, px.t);
        }
        return std::clamp(almostFloor(newton(column, py.t)), 0.0, most());
    }

    double super(int32_t jx, int32_t jy, int32_t c) const
    {
        const double xStep = (double)((int64_t)f.xSrc * 256 / f.xDst), yStep = (double)((int64_t)f.ySrc * 256 / f.yDst);
        const double x0 = jx * xStep, x1 = std::min(x0 + xStep, from.width * 256.0);
        const double y0 = jy * yStep, y1 = std::min(y0 + yStep, from.height * 256.0);
        double sum = 0;
        for (int32_t y = (int32_t)(y0 / 256); y * 256 < y1; ++y)
            for (int32_t x = (int32_t)(x0 / 256); x * 256 < x1; ++x)
                sum += sample(x, y, c) * (std::min(x1, x * 256.0 + 256) - std::max(x0, x * 256.0)) *
                       (std::min(y1, y * 256.0 + 256) - std::max(y0, y * 256.0));
        return std::floor(sum / ((x1 - x0) * (y1 - y0)) + 0.5);
    }

    /* How far the result may be from the model. */
    double value(int32_t jx, int32_t jy, int32_t c)
    {
        tolerance = interpolate == 2 ? 1 : 0;
        if (interpolate == 3) return super(jx, jy, c);
        const Place px = place(jx, false), py = place(jy, true);
        if (interpolate == 0) return sample(px.i, py.i, c);
        return interpolate == 1 ? linear(px, py, c) : cubic(px, py, c);
    }

    void resolve()
    {
        if (!decimates)
            for (const auto& [image, part] : {std::pair<const TestImage&, Part&>{src, from}, {dst, to}})
                if (image.image.maskROI) {
                    const Part mask(*image.image.maskROI);
                    part.width = std::min(part.width, mask.width), part.height = std::min(part.height, mask.height);
                }
        reduce();
        if (decimates) {
            const int64_t xStep = (int64_t)f.xSrc * 256 / f.xDst, yStep = (int64_t)f.ySrc * 256 / f.yDst;
            width = (int32_t)std::min<int64_t>(to.width, (from.width * 256LL + xStep - 1) / xStep);
            height = (int32_t)std::min<int64_t>(to.height, (from.height * 256LL + yStep - 1) / yStep);
        } else {
            width = usable(to.width, from.width, (double)f.xSrc / f.xDst);
            height = usable(to.height, from.height, (double)f.ySrc / f.yDst);
        }
    }

    /* The bit of a mask of the source where destination pixel (x, y) takes its sample. */
    bool passes(int32_t x, int32_t y) const
    {
        if (decimates) return true;
        if (const VekImage* mask = dst.image.maskROI) {
            const Part part(*mask);
            if (!getSample(*mask, mask->imageData, part.x + x, part.y + y, 0)) return false;
        }
        const VekImage* mask = src.image.maskROI;
        if (!mask) return true;
        const Part part(*mask);
        const double rx = std::max(1.0, std::rint(width * ((double)f.xSrc / f.xDst))) / width,
                     ry = std::max(1.0, std::rint(height * ((double)f.ySrc / f.yDst))) / height;
        if (x >= usable(width, part.width, rx) || y >= usable(height, part.height, ry)) return false;
        return getSample(*mask, mask->imageData, part.x + (int32_t)almostFloor(x * rx),
                         part.y + (int32_t)almostFloor(y * ry), 0) != 0;
    }

    /* The destination compared with what it should be, byte for byte where nothing is to be written. */
    void check(const std::vector<uint8_t>& before, const std::string& what)
    {
        resolve();
        std::vector<uint8_t> expected = before;
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x) {
                if (!passes(x, y)) continue;
                for (int32_t c = 0; c < to.count; ++c) {
                    const double want = value(x, y, c);
                    const int64_t got = dst.get(to.x + x, to.y + y, to.channel + c);
                    ASSERT_NEAR((double)got, want, tolerance) << what << " at " << x << "," << y << " channel " << c;
                    setSample(dst.image, expected.data(), to.x + x, to.y + y, to.channel + c, got);
                }
            }
        ASSERT_EQ(dst.bytes(), expected) << what << ": a byte outside";
    }
};

/* ---- Against the model ------------------------------------------------------------------------------------------- */

typedef void Operation(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t, int32_t);

struct Case {
    ImageSpec src, dst;
    Factors f;
    int32_t interpolate;
    bool regions, masks;

    std::string text() const
    {
        return "depth " + std::to_string(src.depth) + " channels " + std::to_string(src.nChannels) + " " +
               std::to_string(src.width) + "x" + std::to_string(src.height) + " to " + std::to_string(dst.width) + "x" +
               std::to_string(dst.height) + " by " + std::to_string(f.xDst) + "/" + std::to_string(f.xSrc) + " " +
               std::to_string(f.yDst) + "/" + std::to_string(f.ySrc) + " interpolate " + std::to_string(interpolate);
    }
};

const Factors ups[] = {{2, 1, 2, 1}, {3, 2, 3, 2}, {7, 5, 9, 4}, {1, 1, 3, 1}, {5, 1, 1, 1}, {13, 12, 31, 30}},
              downs[] = {{1, 2, 1, 2}, {2, 3, 2, 3}, {1, 7, 1, 7}, {3, 4, 2, 5},
                         {5, 6, 1, 3}, {1, 1, 4, 9}, {2, 5, 1, 1}, {1, 6, 1, 6}};

Case drawCase(Random& random, bool down, int maxSize)
{
    const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_8U, VEK_DEPTH_16U};
    Case k;
    k.f = down ? downs[random() % 8] : ups[random() % 6];
    k.src.depth = k.dst.depth = depths[random() % 4];
    const bool bits = k.src.depth == VEK_DEPTH_1U;
    k.src.nChannels = k.dst.nChannels = bits ? 1 : draw(random, 1, 4);
    k.src.dataOrder = k.dst.dataOrder = (int32_t)(random() % 2);
    if (!bits && k.src.nChannels > 1 && random() % 3 == 0) k.src.hasAlpha = k.dst.hasAlpha = true;
    k.src.width = draw(random, 1, maxSize), k.src.height = draw(random, 1, 12);
    k.dst.width = std::clamp((int32_t)((int64_t)k.src.width * k.f.xDst / k.f.xSrc) + draw(random, -3, 3), 1,
                             4 * maxSize);
    k.dst.height = std::clamp((int32_t)((int64_t)k.src.height * k.f.yDst / k.f.ySrc) + draw(random, -3, 3), 1, 50);
    k.src.moreStep = draw(random, 0, 1) * 8;
    k.src.atEnd = random() % 2, k.dst.atEnd = random() % 2;
    k.interpolate = draw(random, 0, 2);
    k.regions = random() % 2;
    k.masks = random() % 3 == 0;
    return k;
}

void drawRegion(TestImage& image, Random& random, int32_t coi)
{
    const int32_t x = draw(random, 0, image.image.width - 1), y = draw(random, 0, image.image.height - 1);
    image.setRoi(coi, x / 2, y / 3, draw(random, 1, image.image.width + 3), draw(random, 1, image.image.height + 3));
}

void drawMask(TestImage& image, Random& random)
{
    ImageSpec spec;
    spec.depth = VEK_DEPTH_1U;
    spec.width = image.image.width + draw(random, -2, 9), spec.height = image.image.height + draw(random, -1, 3);
    spec.width = std::max(spec.width, 1), spec.height = std::max(spec.height, 1);
    TestImage& mask = image.setMask(std::make_unique<TestImage>(spec, random));
    if (random() % 2) drawRegion(mask, random, 0);
}

void runCase(const Case& k, Random& random, Operation* operation, bool decimates)
{
    TestImage src(k.src, random), dst(k.dst, random);
    const int32_t coi = k.regions && random() % 3 == 0 ? draw(random, 1, k.src.nChannels - k.src.hasAlpha) : 0;
    if (k.regions) drawRegion(src, random, coi), drawRegion(dst, random, coi);
    if (k.masks && random() % 2) drawMask(src, random);
    if (k.masks && (!src.image.maskROI || random() % 2)) drawMask(dst, random);
    const std::vector<uint8_t> before = dst.bytes(), source = src.bytes();
    Recorder recorder;
    operation(&src.image, &dst.image, k.f.xDst, k.f.xSrc, k.f.yDst, k.f.ySrc, k.interpolate);
    ASSERT_EQ(recorder.text(), "") << k.text();
    ASSERT_EQ(src.bytes(), source);
    Model{src, dst, k.f, k.interpolate, decimates}.check(before, k.text());
}

TEST(Resample, zoomAgainstItsFormula)
{
    Random random(1);
    for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        runCase(drawCase(random, false, i % 5 ? 40 : 150), random, vekZoom, false);
    }
}

TEST(Resample, resizeAgainstItsFormula)
{
    Random random(2);
    for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        runCase(drawCase(random, i % 3 != 0, i % 5 ? 60 : 300), random, vekResize, false);
    }
}

TEST(Resample, decimateAgainstItsFormula)
{
    Random random(3);
    for (int i = 0; i < 2000 && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        Case k = drawCase(random, true, i % 5 ? 60 : 300);
        k.interpolate = draw(random, 0, 3);
        runCase(k, random, vekDecimate, true);
    }
}

/* ---- Properties ------------------------------------------------------------------------------------------------ */

void fillWith(TestImage& image, int64_t value)
{
    for (int32_t c = 0; c < image.image.nChannels; ++c)
        for (int32_t y = 0; y < image.image.height; ++y)
            for (int32_t x = 0; x < image.image.width; ++x) setSample(image.image, image.block.data, x, y, c, value);
}

/* A constant stays itself, whatever the factors and the interpolation. */
TEST(Resample, constants)
{
    Random random(4);
    for (const uint32_t depth : {VEK_DEPTH_8U, VEK_DEPTH_16U})
        for (int i = 0; i < 200; ++i) {
            ImageSpec spec = {depth, draw(random, 1, 3), false, 0, 70, 23};
            TestImage src(spec, random), dst(spec, random);
            const int64_t value = (int64_t)(random() % (depth == VEK_DEPTH_8U ? 256 : 65536));
            fillWith(src, value);
            fillWith(dst, value);
            const std::vector<uint8_t> expected = dst.bytes();
            const Factors f = i % 2 ? downs[i / 2 % 8] : ups[i % 6];
            Recorder recorder;
            if (i % 2) vekDecimate(&src.image, &dst.image, f.xDst, f.xSrc, f.yDst, f.ySrc, i / 2 % 4);
            else vekZoom(&src.image, &dst.image, f.xDst, f.xSrc, f.yDst, f.ySrc, i / 2 % 3);
            ASSERT_EQ(recorder.text(), "");
            ASSERT_EQ(dst.bytes(), expected) << depth << " " << value << " " << i;
        }
}

TEST(Resample, equalFactorsCopy)
{
    Random random(5);
    for (int32_t interpolate = 0; interpolate < 3; ++interpolate) {
        TestImage src({VEK_DEPTH_16U, 3, false, 0, 33, 9}, random), a({VEK_DEPTH_16U, 3, false, 0, 33, 9}, random),
            b({VEK_DEPTH_16U, 3, false, 0, 33, 9}, random);
        vekZoom(&src.image, &a.image, 4, 4, 9, 9, interpolate);
        vekDecimate(&src.image, &b.image, 4, 4, 9, 9, interpolate);
        for (int32_t y = 0; y < 9; ++y)
            for (int32_t x = 0; x < 99; ++x) {
                ASSERT_EQ(a.get(x / 3, y, x % 3), src.get(x / 3, y, x % 3));
                ASSERT_EQ(b.get(x / 3, y, x % 3), src.get(x / 3, y, x % 3));
            }
    }
}

/* Tiles on either side or both change nothing, and are opened once for each part of the destination, in turn. */
TEST(Resample, tiledIsUntiled)
{
    Random random(6);
    for (int i = 0; i < 600 && !testing::Test::HasFatalFailure(); ++i) {
        const int which = i % 3; /* zoom, resize, decimate */
        Case k = drawCase(random, which > 0, 90);
        if (which == 2) k.interpolate = draw(random, 0, 3);
        if (i % 4 == 0) k.src.width += 200, k.src.height += 140, k.dst.height += 150;
        TestImage src(k.src, random), whole(k.dst, random), tiled(k.dst, random);
        memcpy(tiled.block.data, whole.block.data, whole.block.bytes);
        if (k.regions) {
            drawRegion(src, random, 0);
            drawRegion(whole, random, 0);
            const VekROI& roi = *whole.image.roi;
            tiled.setRoi(0, roi.xOffset, roi.yOffset, roi.width, roi.height);
        }
        if (k.masks) {
            drawMask(whole, random);
            tiled.image.maskROI = whole.image.maskROI;
        }
        TiledImage srcTiles(src, 8 * draw(random, 1, 3), 8 * draw(random, 1, 2)),
            dstTiles(tiled, 8 * draw(random, 1, 5), 8 * draw(random, 1, 3));
        const int sides = draw(random, 1, 3);
        const VekImage* from = sides & 1 ? &srcTiles.image : &src.image;
        VekImage* to = sides & 2 ? &dstTiles.image : &tiled.image;
        Operation* const operation = which == 0 ? vekZoom : which == 1 ? vekResize : vekDecimate;
        Recorder recorder;
        operation(&src.image, &whole.image, k.f.xDst, k.f.xSrc, k.f.yDst, k.f.ySrc, k.interpolate);
        operation(from, to, k.f.xDst, k.f.xSrc, k.f.yDst, k.f.ySrc, k.interpolate);
        ASSERT_EQ(recorder.text(), "") << k.text();
        ASSERT_EQ(tiled.bytes(), whole.bytes()) << k.text();
        ASSERT_EQ(srcTiles.logText().find("BAD"), std::string::npos) << srcTiles.logText();
        ASSERT_EQ(dstTiles.logText().find("BAD"), std::string::npos) << dstTiles.logText();
        ASSERT_FALSE(srcTiles.isOpen() || dstTiles.isOpen());
    }
}

TEST(Resample, tileLog)
{
    Random random(7);
    TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 10}, random), dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
    TiledImage srcTiles(src, 8, 8), dstTiles(dst, 16, 16);
    src.setRoi(0, 0, 0, 8, 10);
    VekROI roi = {0, 0, 0, 8, 10};
    srcTiles.image.roi = &roi;
    Recorder recorder;
    vekZoom(&srcTiles.image, &dstTiles.image, 2, 1, 2, 1, VEK_INTER_NN);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_EQ(srcTiles.logText(), "R 0,0; release 0,0; R 0,1; release 0,1");
    EXPECT_EQ(dstTiles.logText(), "W 0,0; release 0,0; W 0,1; release 0,1");
}

TEST(Resample, missingTiles)
{
    Random random(8);
    const struct {
        Operation* operation;
        Factors f;
        bool source;
        const char* reports;
    } rows[] = {
        {vekZoom, {2, 1, 2, 1}, false, "-2 vekZoom(Error get tile to write)"},
        {vekZoom, {2, 1, 2, 1}, true, "-5 vekZoom((srcImage->tileInfo->tileData == ((void*)(0))))"},
        {vekResize, {2, 1, 2, 1}, false, "-2 vekResize(Error get tile to write); -1 vekResize()"},
        {vekDecimate, {2, 3, 2, 3}, false, "-3 vekDecimate(dstImage->tileInfo->callBack crash)"},
        {vekDecimate, {2, 3, 2, 3}, true, "-3 vekDecimate(srcImage->tileInfo->callBack crash)"},
    };
    for (const auto& row : rows)
        for (int32_t interpolate = 0; interpolate < 3; ++interpolate) {
            TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random),
                dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
            TiledImage srcTiles(src, 8, 8), dstTiles(dst, 8, 8);
            (row.source ? srcTiles : dstTiles).failAt = 1;
            const int live = heapLive();
            Recorder recorder;
            row.operation(&srcTiles.image, &dstTiles.image, row.f.xDst, row.f.xSrc, row.f.yDst, row.f.ySrc,
                          interpolate);
            EXPECT_EQ(recorder.text(), row.reports);
            EXPECT_EQ(heapLive(), live);
        }
}

/* Each allocation that fails in turn: one report, nothing lost. */
TEST(Resample, noMemory)
{
    Random random(9);
    for (int which = 0; which < 4; ++which)
        for (int n = 0; n < 20; ++n) {
            TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random),
                dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
            TiledImage tiles(src, 8, 8);
            if (which == 1) drawMask(src, random), drawMask(dst, random);
            const int live = heapLive();
            Recorder recorder;
            heapFailAfter(n);
            if (which < 2) vekZoom(&src.image, &dst.image, 2, 1, 2, 1, VEK_INTER_LINEAR);
            else if (which == 2) vekDecimate(&src.image, &dst.image, 2, 3, 2, 3, VEK_INTER_SUPER);
            else vekDecimate(&tiles.image, &dst.image, 2, 3, 2, 3, VEK_INTER_CUBIC);
            heapFailAfter(-1);
            EXPECT_EQ(heapLive(), live) << which << " " << n;
            if (recorder.reports.empty()) {
                EXPECT_GT(n, 1);
                break;
            }
            EXPECT_EQ(recorder.reports.back().status, VEK_StatusBacktrace);
            EXPECT_EQ(recorder.reports.back().context, "");
        }
}

/* ---- Refusals -------------------------------------------------------------------------------------------------- */

struct Arguments {
    TestImage &src, &dst;
    VekImage *a, *b;
    Factors f = {2, 2, 2, 2};
    int32_t interpolate = 1;
};

struct Refusal {
    const char* fault;
    void (*set)(Arguments& k);
    const char* reports;
};

void expectRefusals(Operation* operation, const char* name, const Refusal* rows, size_t nRows)
{
    Random random(10);
    for (size_t i = 0; i < nRows; ++i) {
        TestImage src({VEK_DEPTH_8U, 3, false, 0, 20, 20}, random), dst({VEK_DEPTH_8U, 3, false, 0, 20, 20}, random);
        Arguments k = {src, dst, &src.image, &dst.image};
        rows[i].set(k);
        const std::vector<uint8_t> before = dst.bytes();
        Recorder recorder;
        operation(k.a, k.b, k.f.xDst, k.f.xSrc, k.f.yDst, k.f.ySrc, k.interpolate);
        std::string expected = rows[i].reports;
        for (size_t at; (at = expected.find('%')) != std::string::npos;) expected.replace(at, 1, name);
        EXPECT_EQ(recorder.text(), expected) << rows[i].fault;
        EXPECT_EQ(dst.bytes(), before) << rows[i].fault;
    }
}

#define NOT_INTER                                                                                                      \
    "-5 %(interpolate != VEK_INTER_NN && interpolate != VEK_INTER_LINEAR && interpolate != VEK_INTER_CUBIC)"
#define NOT_DEPTH                                                                                                      \
    "-5 %(srcImage->depth != VEK_DEPTH_1U && srcImage->depth != VEK_DEPTH_8U && srcImage->depth != VEK_DEPTH_16U)"

TEST(Resample, zoomRefusals)
{
    const Refusal rows[] = {
        {"order", [](Arguments& k) { k.f.xDst = 1, k.a = nullptr; }, "-5 %(xDst < xSrc || yDst < ySrc)"},
        {"null", [](Arguments& k) { k.a = nullptr, k.b = nullptr; }, "-9 %(Incorrect Image)"},
        {"header", [](Arguments& k) { k.b->align = 3, k.interpolate = 9; }, "-21 %(Incorrect Image)"},
        {"all",
         [](Arguments& k) {
             k.a->depth = VEK_DEPTH_8S, k.b->dataOrder = 1, k.f = {0, 0, 0, 0}, k.interpolate = 3;
         },
         NOT_INTER "; -5 %(srcImage->depth != dstImage->depth); " NOT_DEPTH "; -5 %(srcImage->dataOrder != "
                   "dstImage->dataOrder); -5 %(xDst <= 0 || xSrc <= 0); -5 %(yDst <= 0 || ySrc <= 0)"},
        {"same", [](Arguments& k) { k.a = k.b; }, "-5 %(This function isn`t in-plase function)"},
        {"same, after others", [](Arguments& k) { k.a = k.b, k.interpolate = -1; }, NOT_INTER},
        {"counts", [](Arguments& k) { k.src.setRoi(1, 0, 0, 9, 9); }, "-2 %(srcImage COI != dstImage COI)"},
        {"alpha picked", [](Arguments& k) { k.b->alphaChannel = 3, k.dst.setRoi(3, 0, 0, 9, 9); }, ""},
        {"nothing left", [](Arguments& k) { k.src.setRoi(1, 20, 0, 9, 9); }, ""},
        {"alpha alone", [](Arguments& k) { k.a->nChannels = 1, k.a->alphaChannel = 1; }, ""},
    };
    expectRefusals(vekZoom, "vekZoom", rows, std::size(rows));
}

TEST(Resample, resizeRefusals)
{
    const Refusal rows[] = {
        {"super up", [](Arguments& k) { k.f.yDst = 3, k.interpolate = 3, k.a = nullptr; },
         "-5 %((interpolate == VEK_INTER_SUPER) && (xDst > xSrc || yDst > ySrc))"},
        {"super", [](Arguments& k) { k.interpolate = 3, k.f.xDst = 0; }, "-5 vekDecimate(xDst <= 0); -1 %()"},
        {"null", [](Arguments& k) { k.b = nullptr; }, "-9 %(Incorrect Image); -1 %()"},
        {"counts", [](Arguments& k) { k.src.setRoi(1, 0, 0, 9, 9); }, "-2 %(srcImage COI != dstImage COI); -1 %()"},
    };
    expectRefusals(vekResize, "vekResize", rows, std::size(rows));
}

#define NOT_SUPER "-5 %(interpolate != VEK_INTER_NN, VEK_INTER_LINEAR, VEK_INTER_CUBIC or VEK_INTER_SUPER)"

TEST(Resample, decimateRefusals)
{
    const Refusal rows[] = {
        {"null", [](Arguments& k) { k.a = nullptr, k.interpolate = 7; }, "-9 %(Incorrect Image)"},
        {"bad, then null", [](Arguments& k) { k.a->align = 3, k.b = nullptr; },
         "-21 %(Incorrect Image); -9 %(Incorrect Image)"},
        {"bad goes on", [](Arguments& k) { k.b->align = 3, k.interpolate = 4; }, "-21 %(Incorrect Image); " NOT_SUPER},
        {"same", [](Arguments& k) { k.a = k.b; }, "-5 %(srcImage == dstImage)"},
        {"all",
         [](Arguments& k) {
             k.a->depth = VEK_DEPTH_8S, k.a->origin = 1, k.b->dataOrder = 1, k.a->alphaChannel = 3;
             k.src.setRoi(3, 0, 0, 9, 9), k.f = {0, -1, 0, -1}, k.interpolate = -1;
         },
         "-5 %(srcImage->depth != dstImage->depth); -5 %(srcImage->origin != dstImage->origin); -5 "
         "%(srcImage->dataOrder "
         "!= dstImage->dataOrder); -5 %(nChannelsSrc == 0); -5 %(nChannelsSrc != nChannelsDst); " NOT_SUPER
         "; -5 %(xDst <= 0); -5 %(xSrc <= 0); -5 %(yDst <= 0); -5 %(ySrc <= 0); -5 %(xDst > xSrc); -5 %(yDst > ySrc)"},
        {"alpha alone", [](Arguments& k) { k.b->nChannels = k.b->alphaChannel = 1; },
         "-5 %(nChannelsDst == 0); -5 %(nChannelsSrc != nChannelsDst)"},
        {"up",
         [](Arguments& k) {
             k.f = {3, 2, 2, 2};
         },
         "-5 %(xDst > xSrc)"},
        {"depth", [](Arguments& k) { k.a->depth = k.b->depth = VEK_DEPTH_8S; }, "-5 %(srcImage->depth is wrong)"},
        {"depth, after others", [](Arguments& k) { k.a->depth = k.b->depth = VEK_DEPTH_8S, k.f.ySrc = 1; },
         "-5 %(yDst > ySrc)"},
        {"nothing left", [](Arguments& k) { k.src.setRoi(0, 20, 0, 9, 9); }, ""},
    };
    expectRefusals(vekDecimate, "vekDecimate", rows, std::size(rows));
}

/* An old failure ends the calls; silently, but for vekResize. */
TEST(Resample, oldStatus)
{
    Random random(11);
    TestImage src({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random), dst({VEK_DEPTH_8U, 1, false, 0, 20, 20}, random);
    const std::vector<uint8_t> before = dst.bytes();
    Recorder recorder;
    vekSetErrStatus(VEK_StatusNoMemory);
    vekZoom(&src.image, &dst.image, 2, 1, 2, 1, 0);
    vekDecimate(&src.image, &dst.image, 1, 2, 1, 2, 0);
    EXPECT_EQ(recorder.text(), "");
    vekResize(&src.image, &dst.image, 2, 1, 2, 1, 0);
    EXPECT_EQ(recorder.text(), "-1 vekResize()");
    EXPECT_EQ(dst.bytes(), before);
}

} // namespace
