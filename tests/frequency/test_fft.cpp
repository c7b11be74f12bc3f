/* vekRealFft2D and vekCcsFft2D against the sums that define them, over random headers, flags and lengths; and their
 * refusals in order. */
#include "frequency/sums.h"

#include <gtest/gtest.h>

#include <functional>
#include <math.h>

namespace {

typedef void Transform(const VekImage*, VekImage*, int32_t);

static const std::vector<uint32_t> depths = {VEK_DEPTH_8U,  VEK_DEPTH_8S,  VEK_DEPTH_16U,
                                             VEK_DEPTH_16S, VEK_DEPTH_32S, VEK_DEPTH_32F};

/* ---- The model ------------------------------------------------------------------------------------------------- */

/* The result for one channel. */
static Grid<Real> transformed(const Grid<Real>& in, bool toPacked, int32_t flags)
{
    const int32_t w = in.width, h = in.height;
    const Real scale = (flags & 2) && !(flags & 4) ? 1.0L / w / h : 1.0L;
    Grid<Complex> whole(w, h);
    if (toPacked) std::copy(in.at.begin(), in.at.end(), whole.at.begin());
    else whole = unpackSpectrum(in);
    whole = fourierSums(whole, flags & 1 ? -1 : 1);
    Grid<Real> out(w, h);
    if (toPacked) out = packSpectrum(whole);
    else std::transform(whole.at.begin(), whole.at.end(), out.at.begin(), [](Complex x) { return x.real(); });
    for (Real& x : out.at) x *= scale;
    return out;
}

/* Which of the paths is to be taken. */
static bool inWholes(const VekImage& src, const VekImage& dst, int64_t area, int32_t flags)
{
    if (src.depth == VEK_DEPTH_32F || dst.depth == VEK_DEPTH_32F) return false;
    if (flags & 16) return true;
    if ((flags & 32) || src.depth == VEK_DEPTH_32S) return false;
    return area <= 128;
}

/* How far a result may be from the exact one. */
static Real slackOf(const Grid<Real>& in, const Grid<Real>& out, bool isWhole)
{
    Real sum = 0, squares = 0;
    for (const Real x : in.at) sum += fabsl(x);
    for (const Real x : out.at) squares += x * x;
    const Real norm = sqrtl(squares / (Real)out.at.size());
    const int stages = std::bit_width((uint32_t)in.width) + std::bit_width((uint32_t)in.height);
    return isWhole ? 2 + 2e-4L * stages * sum : 4e-6L * norm + 1e-30L;
}

/* One call on images as they are. */
static std::string check(Transform* transform, TestImage& src, TestImage& dst, int32_t flags)
{
    const bool toPacked = transform == vekRealFft2D;
    const Part from = partOf(src.image), to = partOf(dst.image);
    const int32_t w = std::min(from.width, to.width), h = std::min(from.height, to.height);
    std::vector<Grid<Real>> expected;
    std::vector<Real> slack;
    for (size_t i = 0; i < to.channels.size() && w > 0 && h > 0; ++i) {
        const Grid<Real> in = readPart(src, from, from.channels[i], w, h);
        expected.push_back(transformed(in, toPacked, flags));
        slack.push_back(slackOf(in, expected.back(), inWholes(src.image, dst.image, (int64_t)w * h, flags)));
    }
    const std::vector<uint8_t> before = dst.bytes();
    Recorder recorder;
    transform(&src.image, &dst.image, flags);
    if (!recorder.reports.empty()) return "reported " + recorder.text();
    return differenceFromGrids(dst, before, to, expected, slack);
}

TEST(Fft, isTheSumOverRandomHeaders)
{
    for (uint32_t seed = 0; seed < 3000; ++seed) {
        Random random(seed);
        Draw draws = {random, seed % 8 == 0 ? 60 : 17};
        const int32_t direction = draw(random, 1, 2), path = 16 * draw(random, 0, 2);
        const int32_t flags = direction + 4 * draw(random, 0, 1) + path + 64 * draw(random, 0, 1);
        ImageSpec specs[2] = {draws.spec(depths), draws.spec(depths)};
        const bool hasCoi = draw(random, 0, 2) == 0, inPlace = draw(random, 0, 4) == 0;
        if (!hasCoi) specs[1].nChannels = specs[0].nChannels, specs[1].hasAlpha = specs[0].hasAlpha;
        TestImage src(specs[0], random), dst(specs[1], random);
        fillTame(src, random, 1000);
        fillTame(dst, random, 1000);
        for (TestImage* image : {&src, &dst}) {
            const int32_t nColours = image->image.nChannels - (image->image.alphaChannel != 0);
            draws.roi(*image, hasCoi ? draw(random, 1, nColours) : 0);
        }
        Transform* transform = draw(random, 0, 1) ? vekRealFft2D : vekCcsFft2D;
        ASSERT_EQ(check(transform, src, inPlace ? src : dst, flags), "") << "seed " << seed;
    }
}

/* ---- Lengths --------------------------------------------------------------------------------------------------- */

/* The error of a 32F transform forth, and forth and back, root mean square and relative. */
static double errorOf(int32_t width, int32_t height, Random& random)
{
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32F;
    spec.width = width, spec.height = height;
    TestImage image(spec, random);
    fillTame(image, random, 1);
    const Part part = partOf(image.image);
    const Grid<Real> in = readPart(image, part, 0, width, height), exact = transformed(in, true, 1);
    const auto error = [&](const Grid<Real>& want) {
        const Grid<Real> got = readPart(image, part, 0, width, height);
        Real less = 0, all = 0;
        for (size_t i = 0; i < got.at.size(); ++i) {
            less += (got.at[i] - want.at[i]) * (got.at[i] - want.at[i]);
            all += want.at[i] * want.at[i];
        }
        return (double)sqrtl(less / all);
    };
    vekRealFft2D(&image.image, &image.image, 1);
    const double forth = error(exact);
    vekCcsFft2D(&image.image, &image.image, 2);
    return std::max(forth, error(in) / 2);
}

TEST(Fft, errorStaysBelow3e7AtEveryKindOfLength)
{
    Random random(1);
    std::vector<int32_t> lengths = {100, 127, 128, 210, 243, 255,  256,  257,  343,  499,  512,  625,
                                    641, 729, 960, 991, 997, 1000, 1024, 1080, 1331, 1920, 2039, 2048};
    for (int32_t n = 1; n <= 66; ++n) lengths.push_back(n);
    for (const int32_t n : lengths) {
        EXPECT_LT(errorOf(n, 1, random), 3e-7) << n << " x 1";
        EXPECT_LT(errorOf(2, n, random), 3e-7) << "2 x " << n;
        EXPECT_LT(errorOf(n, n <= 512 ? 3 : 2, random), 3e-7) << n << " x 3";
    }
    for (const int32_t n : {4093, 4096}) {
        EXPECT_LT(errorOf(n, 1, random), 3e-7) << n << " x 1";
        EXPECT_LT(errorOf(1, n, random), 3e-7) << "1 x " << n;
    }
}

/* More lengths than the cache has places for are no failure. */
TEST(Fft, servesManyLengths)
{
    Random random(2);
    for (int32_t n = 3; n < 100; ++n) {
        Recorder recorder;
        EXPECT_LT(errorOf(n, n % 7 + 2, random), 3e-7) << n;
        EXPECT_EQ(recorder.text(), "");
    }
}

/* ---- Single numbers -------------------------------------------------------------------------------------------- */

/* A row through a transform, in words. */
static std::string rowThrough(Transform* transform, const std::vector<int>& row, uint32_t depth, int32_t flags,
                              uint32_t srcDepth = VEK_DEPTH_16S)
{
    Random random(3);
    ImageSpec spec;
    spec.width = (int32_t)row.size(), spec.height = 1;
    spec.depth = srcDepth;
    TestImage src(spec, random);
    spec.depth = depth;
    TestImage dst(spec, random);
    for (int32_t x = 0; x < spec.width; ++x) setSample(src.image, src.block.data, x, 0, 0, row[x]);
    transform(&src.image, &dst.image, flags);
    std::string text;
    for (int32_t x = 0; x < spec.width; ++x)
        text += std::to_string((int64_t)numberAt(dst.image, dst.block.data, x, 0, 0)) + " ";
    return text;
}

TEST(Fft, smallNumbers)
{
    EXPECT_EQ(rowThrough(vekRealFft2D, {1, 2, 3, 4}, VEK_DEPTH_16S, 1), "10 -2 2 -2 ") << "Re 0, Re 1, Im 1, Re 2";
    EXPECT_EQ(rowThrough(vekRealFft2D, {1, 2, 3, 4}, VEK_DEPTH_16S, 2 + 4), "10 -2 -2 -2 ");
    EXPECT_EQ(rowThrough(vekRealFft2D, {1, 2, 3, 4}, VEK_DEPTH_8U, 1 + 32), "10 0 2 0 ") << "negative ones held to 0";
    EXPECT_EQ(rowThrough(vekRealFft2D, {5, 3}, VEK_DEPTH_16S, 1), "8 2 ");
    EXPECT_EQ(rowThrough(vekRealFft2D, {7}, VEK_DEPTH_16S, 2), "7 ");
    EXPECT_EQ(rowThrough(vekCcsFft2D, {10, -2, 2, -2}, VEK_DEPTH_16S, 2), "1 2 3 4 ");
    EXPECT_EQ(rowThrough(vekCcsFft2D, {10, -2, 2, -2}, VEK_DEPTH_16S, 1), "4 16 12 8 ") << "the sum, pairs twice";
}

TEST(Fft, wholeNumbersAreShiftedDownAndRealOnesChopped)
{
    EXPECT_EQ(rowThrough(vekRealFft2D, {-5, 0, 0, 0}, VEK_DEPTH_16S, 2 + 16), "-2 -2 0 -2 ") << "-1.25";
    EXPECT_EQ(rowThrough(vekRealFft2D, {-3, 0, 0, 0}, VEK_DEPTH_16S, 2 + 16), "0 0 0 0 ") << "-0.75";
    EXPECT_EQ(rowThrough(vekRealFft2D, {-5, 0, 0, 0}, VEK_DEPTH_16S, 2 + 32), "-1 -1 0 -1 ") << "-1.25";
    EXPECT_EQ(rowThrough(vekRealFft2D, {-5, 0, 0, 0}, VEK_DEPTH_16S, 2), "-2 -2 0 -2 ") << "small: whole numbers";
    EXPECT_EQ(rowThrough(vekRealFft2D, {-7, 0, 0}, VEK_DEPTH_16S, 2 + 16), "-3 -3 0 ") << "-2.33";
    EXPECT_EQ(rowThrough(vekRealFft2D, {-3, -7, 0, 0, 0, 0, 0, 0}, VEK_DEPTH_16S, 2 + 16), "-2 0 0 0 0 0 0 0 ")
        << "a row is shifted once: -0.99 is no unit";
}

/* The path shows in how -1.25 is stored: -2 by the shift, -1 by the chop. */
TEST(Fft, choosesThePathBySizeFlagAndDepth)
{
    const auto impulse = [](int32_t n) {
        std::vector<int> row((size_t)n);
        row[0] = -n * 5 / 4;
        return row;
    };
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(128), VEK_DEPTH_16S, 2).substr(0, 6), "-2 -2 ") << "128 pixels";
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(256), VEK_DEPTH_16S, 2).substr(0, 6), "-1 -1 ") << "more than 128";
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(256), VEK_DEPTH_16S, 2 + 16).substr(0, 6), "-2 -2 ");
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(128), VEK_DEPTH_16S, 2 + 32).substr(0, 6), "-1 -1 ");
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(8), VEK_DEPTH_16S, 2, VEK_DEPTH_32S).substr(0, 6), "-1 -1 ")
        << "from 32S";
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(8), VEK_DEPTH_16S, 2 + 16, VEK_DEPTH_32S).substr(0, 6), "-2 -2 ");
    EXPECT_EQ(rowThrough(vekRealFft2D, impulse(8), VEK_DEPTH_32S, 2).substr(0, 6), "-2 -2 ") << "to 32S";
}

TEST(Fft, holdsResultsToTheRange)
{
    const std::vector<int> high(64, 30000), low(64, -30000);
    for (const int32_t path : {16, 32}) {
        EXPECT_EQ(rowThrough(vekRealFft2D, high, VEK_DEPTH_16S, 1 + path).substr(0, 8), "32767 0 ");
        EXPECT_EQ(rowThrough(vekRealFft2D, low, VEK_DEPTH_16S, 1 + path).substr(0, 9), "-32768 0 ");
        EXPECT_EQ(rowThrough(vekRealFft2D, high, VEK_DEPTH_16U, 1 + path).substr(0, 8), "65535 0 ");
    }
    Random random(4);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32F;
    TestImage src(spec, random);
    spec.depth = VEK_DEPTH_32S;
    TestImage dst(spec, random);
    for (const auto& [value, stored] : {std::pair(2147483648.0f, INT32_MAX), std::pair(-3e9f, INT32_MIN)}) {
        fillTame(src, random, 0);
        setSample(src.image, src.block.data, 0, 0, 0, std::bit_cast<int32_t>(value));
        vekRealFft2D(&src.image, &dst.image, 1);
        EXPECT_EQ(dst.get(0, 0, 0), stored);
        EXPECT_EQ(dst.get(15, 0, 0), stored);
    }
}

/* What 64 bits could not hold goes through floating point though whole numbers were asked for. */
TEST(Fft, wholeNumbersDoNotOverflow)
{
    Random random(5);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32S;
    for (const int32_t size : {8, 64, 256}) {
        spec.width = spec.height = size;
        TestImage src(spec, random), dst(spec, random);
        for (int32_t y = 0; y < size; ++y)
            for (int32_t x = 0; x < size; ++x) setSample(src.image, src.block.data, x, y, 0, INT32_MIN);
        vekRealFft2D(&src.image, &dst.image, 2 + 16);
        EXPECT_NEAR((double)dst.get(0, 0, 0), -2147483648.0, 1) << size;
        EXPECT_NEAR((double)dst.get(5, 3, 0), 0, 1) << size;
    }
}

/* ---- Refusals -------------------------------------------------------------------------------------------------- */

struct Call {
    Random random{6};
    static ImageSpec spec()
    {
        ImageSpec made;
        made.nChannels = 3;
        return made;
    }
    TestImage a{spec(), random}, b{spec(), random};
    VekTileInfo tiles = {};
    const VekImage* src = &a.image;
    VekImage* dst = &b.image;
    int32_t flags = 1;
};

static void tile(Call& call, VekImage& image)
{
    vekSetTileInfo(
        &call.tiles, [](const VekImage*, int32_t, int32_t, int32_t) {}, nullptr, 8, 8);
    image.imageData = nullptr;
    image.tileInfo = &call.tiles;
}

/* In the order of the tests; an empty text is a silent end. */
static const struct {
    VekStatus status;
    const char* text;
    void (*spoil)(Call&);
} faults[] = {
    {-5, "(flags & 1) == 0 && (flags & 2 ) == 0", [](Call& c) { c.flags = 4; }},
    {-5, "(flags & 1) != 0 && (flags & 2 ) != 0", [](Call& c) { c.flags = 3; }},
    {-5, "(flags & 32) != 0 && (flags & 16 ) != 0", [](Call& c) { c.flags |= 48; }},
    {-5, "srcImage==0", [](Call& c) { c.src = nullptr; }},
    {-19, "Incorrect Image", [](Call& c) { c.a.image.dataOrder = 2; }},
    {-5, "srcImage->depth == 1", [](Call& c) { c.a.image.depth = 1, c.a.image.nChannels = 1; }},
    {-5, "srcImage->imageData == ((void*)(0))", [](Call& c) { tile(c, c.a.image); }},
    {-5, "dstImage==0", [](Call& c) { c.dst = nullptr; }},
    {-18, "Incorrect Image", [](Call& c) { c.b.image.alphaChannel = 2; }},
    {-5, "dstImage->depth == 1",
     [](Call& c) {
         c.b.image.depth = 1, c.b.image.nChannels = 1, c.b.image.alphaChannel = 0, c.b.image.roi = nullptr;
     }},
    {-5, "dstImage->imageData == ((void*)(0))", [](Call& c) { tile(c, c.b.image); }},
    {0, "", [](Call& c) { c.a.image.nChannels = c.a.image.alphaChannel = 1; }},
    {0, "", [](Call& c) { c.b.image.alphaChannel = c.b.image.nChannels = 3, c.b.setRoi(3, 0, 0, 9, 9); }},
    {-5, "dstImage->roi->coi > 0 && srcImage->roi == 0", [](Call& c) { c.b.setRoi(1, 0, 0, 9, 9); }},
    {-5, "dstImage->roi->coi > 0 && srcImage->roi->coi == 0",
     [](Call& c) { c.a.setRoi(0, 0, 0, 9, 9), c.b.setRoi(1, 0, 0, 9, 9); }},
    {-5, "srcImage->roi->coi > 0 && dstImage->roi == 0", [](Call& c) { c.a.setRoi(1, 0, 0, 9, 9); }},
    {-5, "srcImage->roi->coi > 0 && dstImage->roi->coi == 0",
     [](Call& c) { c.a.setRoi(1, 0, 0, 9, 9), c.b.setRoi(0, 0, 0, 9, 9); }},
    {-5,
     "(srcImage->nChannels - (srcImage->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))",
     [](Call& c) { c.b.image.nChannels = 1; }},
    {0, "", [](Call& c) { c.b.setRoi(0, 16, 3, 9, 9); }},
};

TEST(Fft, refusesInOrder)
{
    const int nFaults = (int)std::size(faults);
    for (const auto& [transform, name] :
         {std::pair(&vekRealFft2D, "vekRealFft2D"), std::pair(&vekCcsFft2D, "vekCcsFft2D")})
        for (int i = 0; i < nFaults; ++i)
            for (int j = i; j < nFaults; ++j) {
                if (j > i && i >= 13) continue; /* these spoil the same fields */
                Call call;
                const std::vector<uint8_t> before = call.b.bytes();
                faults[j].spoil(call);
                faults[i].spoil(call);
                Recorder recorder;
                transform(call.src, call.dst, call.flags);
                std::string expected;
                if (faults[i].status)
                    expected = std::to_string(faults[i].status) + " " + name + "(" + faults[i].text + ")";
                EXPECT_EQ(recorder.text(), expected) << i << " and " << j;
                EXPECT_EQ(call.b.bytes(), before);
            }
}

TEST(Fft, releaseLooksAtNothing)
{
    Recorder recorder;
    vekRealFft2D(nullptr, nullptr, 128);
    vekCcsFft2D(nullptr, nullptr, 128 + 3 + 48);
    EXPECT_EQ(recorder.text(), "");
}

} // namespace
