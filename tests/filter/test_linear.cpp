/* Convolution, separable convolution, blur and the fixed filters over random headers, held against the naive model:
 * depths, orders, regions with real neighbours, borders by side, windows larger than the image, channels of interest,
 * alpha, masks, tiles, in place. */
#include "filter/linear_model.h"
#include "filter/ownblur.h"
#include "filter/pair.h"

#include <gtest/gtest.h>

#include <fenv.h>
#include <math.h>

#include <algorithm>

/* ---- Random images ------------------------------------------------------------------------------------------------ */

/* Samples at random, or limits among small ones; of 32 bits such that sums stay finite and no number. */
static void spice(TestImage& image, Random& random)
{
    uint8_t* data = image.block.data;
    const int kind = draw(random, 0, 3);
    if (image.image.depth == VEK_DEPTH_32F)
        for (size_t i = 0; i + 4 <= image.block.bytes; i += 4) {
            const float value = kind == 3 ? ldexpf((float)draw(random, -999, 999), draw(random, -40, 40))
                                          : (float)draw(random, -999999, 999999) / 64;
            memcpy(data + i, &value, 4);
        }
    else
        for (size_t i = 0; kind < 2 && i < image.block.bytes; ++i)
            data[i] = kind ? (uint8_t)-draw(random, 0, 1) : (uint8_t)(data[i] & 0x83);
}

/* Regions begin inside the image: convolution refuses others. */
static std::unique_ptr<TestImage> drawImage(ImageSpec spec, Random& random, bool sameSize)
{
    if (!sameSize) {
        spec.width = draw(random, 1, 45);
        spec.height = draw(random, 1, 30);
    }
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 1) * 4 * draw(random, 0, 3);
    spec.atEnd = draw(random, 0, 1);
    auto image = std::make_unique<TestImage>(spec, random);
    spice(*image, random);
    for (int side = 0; side < 4; ++side)
        vekSetBorderMode(&image->image, draw(random, 0, 3), 1 << side,
                         draw(random, 0, 1) ? draw(random, -70000, 70000) : draw(random, -2, 200));
    if (draw(random, 0, 2)) drawRegion(*image, random, 0, true);
    if (draw(random, 0, 3) == 0) image->setMask(drawMask(image->image, random, true));
    return image;
}

enum CoiRule { COI_BOTH, COI_ANY };

/* Every so often a pair has long rows. */
static bool isLong(uint32_t seed) { return seed % 100 == 0; }

static FilterPair drawPair(Random& random, uint32_t seed, uint32_t depth, bool mayBeInPlace, CoiRule rule)
{
    ImageSpec spec;
    spec.depth = depth;
    spec.nChannels = depth == VEK_DEPTH_1U ? 1 : isLong(seed) ? 4 : draw(random, 1, 4);
    spec.hasAlpha = spec.nChannels > 1 && draw(random, 0, 3) == 0;
    spec.dataOrder = draw(random, 0, 1);
    spec.width = draw(random, 1, draw(random, 0, 9) ? 45 : 200);
    spec.height = draw(random, 1, 30);
    if (isLong(seed)) spec.width = draw(random, 700, 2400), spec.height = draw(random, 1, 9);

    FilterPair pair;
    pair.src = drawImage(spec, random, true);
    if (!mayBeInPlace || draw(random, 0, 2)) pair.other = drawImage(spec, random, isLong(seed) || draw(random, 0, 1));
    VekROI *from = pair.src->image.roi, *to = pair.dst().image.roi;
    const int32_t most = spec.nChannels - (rule == COI_ANY && spec.hasAlpha);
    if (draw(random, 0, 2) == 0 && from && to) {
        from->coi = draw(random, 1, most);
        to->coi = pair.other ? draw(random, 1, most) : from->coi;
        if (rule == COI_ANY && draw(random, 0, 1) && pair.other) (draw(random, 0, 1) ? from : to)->coi = 0;
    }
    pair.drawTiles(random, !isLong(seed));
    return pair;
}

/* ---- The model over all pixels ------------------------------------------------------------------------------------ */

/* The area of a convolution: a coi on one image takes the first channel of the other. */
static SharedArea sharedArea(FilterPair& pair)
{
    SharedArea area(pair.src->image, pair.dst().image);
    const auto hasCoi = [](const VekImage& image) { return image.roi && image.roi->coi > 0; };
    const bool from = hasCoi(pair.src->image), to = hasCoi(pair.dst().image);
    if (from && !to) area.dstChannels = {0};
    if (to && !from) area.srcChannels = {0};
    return area;
}

/* Expects what pick makes of each window. clamped: border constants are held to the range, not cut to it. */
static void expectWindow(FilterPair& pair, const ModelWindow& window, bool clamped,
                         const std::function<int64_t(const Samples&)>& pick)
{
    SharedArea area = sharedArea(pair);
    VekImage header = pair.src->image;
    for (int32_t& constant : header.borderConst) {
        const int bits = (int)(header.depth & 0xFF);
        const bool isSigned = header.depth & VEK_DEPTH_SIGN;
        const int64_t wide = constant, high = ((int64_t)1 << (bits - isSigned)) - 1, low = isSigned ? -high - 1 : 0;
        if (header.depth == VEK_DEPTH_32F) constant = std::bit_cast<int32_t>((float)constant);
        else if (clamped && bits < 32) constant = (int32_t)std::clamp(wide, low, high);
    }
    area.src = &header;
    modelWindow(area, pair.srcBytes.data(), pair.expected.data(), window, pick);
}

/* ---- Random kernels ------------------------------------------------------------------------------------------------ */

/* Coefficients from which all accumulator classes come, with many 0, 1 and -1 among them. */
static ModelKernel drawKernel(Random& random, uint32_t depth)
{
    ModelKernel k = {draw(random, 1, 7), draw(random, 1, 7), 0, 0, {}, {}, 0};
    if (draw(random, 0, 2) == 0) k.nCols = k.nRows = 3;
    k.anchorX = draw(random, 0, k.nCols - 1);
    k.anchorY = draw(random, 0, k.nRows - 1);
    static const int32_t spans[] = {1, 3, 30, 130, 5000, 70000, INT32_MAX / 2};
    const int32_t span = spans[draw(random, 0, 6)];
    for (int32_t i = 0; i < k.nCols * k.nRows; ++i) {
        const int32_t value = draw(random, 0, 2) ? draw(random, -span, span) : draw(random, -1, 1);
        if (depth == VEK_DEPTH_32F) k.reals.push_back((float)value / 16);
        else k.values.push_back(value);
    }
    if (depth != VEK_DEPTH_32F && draw(random, 0, 1)) k.nShiftR = draw(random, -2, draw(random, 0, 3) ? 9 : 40);
    return k;
}

namespace {

/* Kernel records of both kinds, released at the end. */
struct Kernels {
    explicit Kernels(const std::vector<ModelKernel>& kernels)
    {
        for (const ModelKernel& k : kernels)
            if (k.reals.empty())
                whole.push_back(
                    vekCreateConvKernel(k.nCols, k.nRows, k.anchorX, k.anchorY, k.values.data(), k.nShiftR));
            else real.push_back(vekCreateConvKernelFP(k.nCols, k.nRows, k.anchorX, k.anchorY, k.reals.data()));
    }
    ~Kernels()
    {
        for (VekConvKernel* k : whole) vekDeleteConvKernel(k);
        for (VekConvKernelFP* k : real) vekDeleteConvKernelFP(k);
    }
    Kernels(const Kernels&) = delete;
    std::vector<VekConvKernel*> whole;
    std::vector<VekConvKernelFP*> real;
};

} // namespace

/* ---- Convolution --------------------------------------------------------------------------------------------------- */

/* One 8U kernel of 3 by 3 without masks: the combine method is not looked at. */
static bool hasNoMethod(FilterPair& pair, const std::vector<ModelKernel>& kernels)
{
    const VekImage &s = pair.src->image, &d = pair.dst().image;
    if (s.depth != VEK_DEPTH_8U || kernels.size() != 1 || kernels[0].nCols != 3 || kernels[0].nRows != 3) return false;
    if (classOf(kernels[0], s.depth) != 0 || s.maskROI || d.maskROI) return false;
    const bool single = sharedArea(pair).srcChannels.size() == 1 && (s.roi || d.roi) &&
                        ((s.roi && s.roi->coi) || (d.roi && d.roi->coi));
    return single || s.dataOrder == VEK_DATA_ORDER_PLANE_WISE ||
           (!s.alphaChannel && !d.alphaChannel && (s.nChannels == 1 || s.nChannels == 3));
}

static void runConvolution(FilterPair& pair, const std::vector<ModelKernel>& models, int32_t method)
{
    const uint32_t depth = pair.src->image.depth;
    const ModelWindow window = windowOf(models);
    const bool noMethod = hasNoMethod(pair, models);
    expectWindow(pair, window, true,
                 [&](const Samples& s) { return convolved(s, window, depth, models, method, noMethod); });
    Kernels kernels(models);
    const int32_t n = (int32_t)models.size();
    pair.check([&] {
        if (depth == VEK_DEPTH_32F) vekConvolve2DFP(pair.srcHeader(), pair.dstHeader(), kernels.real.data(), n, method);
        else vekConvolve2D(pair.srcHeader(), pair.dstHeader(), kernels.whole.data(), n, method);
    });
}

TEST(Convolution, equalsTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 4000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const uint32_t depth = slotDepths[draw(random, 0, 6)];
        FilterPair pair = drawPair(random, seed, depth, true, COI_ANY);
        std::vector<ModelKernel> kernels;
        const int32_t n = draw(random, 0, 2) ? 1 : draw(random, 2, 4), method = draw(random, 0, 4);
        for (int32_t i = 0; i < n; ++i) kernels.push_back(drawKernel(random, depth));
        std::string text = "seed " + std::to_string(seed) + ": " + pair.text() + " method " + std::to_string(method);
        for (const ModelKernel& k : kernels)
            text += ", " + std::to_string(k.nCols) + "x" + std::to_string(k.nRows) + " class " +
                    std::to_string(classOf(k, depth)) + " >> " + std::to_string(k.nShiftR);
        SCOPED_TRACE(text);
        /* A root of integers that have wrapped below 0 is not defined. */
        if (method == COMBINE_ROOT_OF_SQUARES && n > 2 && depth != VEK_DEPTH_32F) continue;
        runConvolution(pair, kernels, method);
    }
}

/* Sums beyond 2^63 that come back: each is rounded once, and what is lost by it is the same everywhere. */
TEST(Convolution, largeSumsOfWholeProducts)
{
    Random random(1);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32S;
    spec.height = 1;
    TestImage src(spec, random), dst(spec, random);
    for (int32_t x = 0; x < spec.width; ++x) setSample(src.image, src.block.data, x, 0, 0, INT32_MIN);
    vekSetBorderMode(&src.image, VEK_BORDER_EDGE, 15, 0);
    const int32_t values[] = {1, INT32_MAX, INT32_MAX, 1, INT32_MIN, INT32_MIN}; /* the last one comes first */
    VekConvKernel* kernel = vekCreateConvKernel(6, 1, 0, 0, values, 0);
    vekConvolve2D(&src.image, &dst.image, &kernel, 1, COMBINE_ADD);
    for (int32_t x = 0; x < spec.width; ++x) EXPECT_EQ(dst.get(x, 0, 0), 0);
    vekDeleteConvKernel(kernel);
}

/* Of all pairs of bytes side by side. */
TEST(Convolution, rootsOfSquares)
{
    Random random(3);
    ImageSpec spec;
    spec.width = 512;
    spec.height = 256;
    TestImage src(spec, random), dst(spec, random);
    for (int i = 0; i < 512 * 256; ++i) src.block.data[i] = (uint8_t)(i & 1 ? i >> 1 : i >> 9);
    const ModelKernel here = {1, 1, 0, 0, {1}, {}, 0}, right = {2, 1, 1, 0, {1, 0}, {}, 0};
    Kernels kernels({here, right});
    vekConvolve2D(&src.image, &dst.image, kernels.whole.data(), 2, COMBINE_ROOT_OF_SQUARES);
    for (int i = 0; i < 512 * 256; i += 2) {
        const double root = nearbyint(sqrt((double)(i >> 9) * (i >> 9) + (double)(i >> 1 & 255) * (i >> 1 & 255)));
        ASSERT_EQ(dst.block.data[i], fmin(root, 255)) << (i >> 9) << " and " << (i >> 1 & 255);
    }
}

/* ---- Separable convolution, blur, fixed filters ---------------------------------------------------------------------- */

TEST(SeparableConvolution, equalsTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 3000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const uint32_t depth = slotDepths[draw(random, 0, 5)];
        FilterPair pair = drawPair(random, seed, depth, false, COI_BOTH);
        ModelKernel x = drawKernel(random, depth), y = drawKernel(random, depth);
        if (draw(random, 0, 9) == 0) x.nCols = draw(random, 8, 31), y.nRows = draw(random, 8, 31);
        x.nRows = y.nCols = 1;
        x.anchorY = y.anchorX = 0;
        x.values.resize((size_t)x.nCols, draw(random, -3, 3));
        y.values.resize((size_t)y.nRows, draw(random, -3, 3));
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + pair.text() + " " + std::to_string(x.nCols) + "+" +
                     std::to_string(y.nRows));
        const ModelWindow window = {x.nCols, y.nRows, x.nCols - 1 - x.anchorX, y.nRows - 1 - y.anchorY};
        expectWindow(pair, window, false, [&](const Samples& s) { return convolvedSep(s, depth, x, y); });
        Kernels kernels({x, y});
        pair.check([&] { vekConvolveSep2D(pair.srcHeader(), pair.dstHeader(), kernels.whole[0], kernels.whole[1]); });
    }
}

/* The anchors of a kernel record are not tested here; one far away gives a window beside its pixel. */
TEST(SeparableConvolution, windowsBesideTheirPixel)
{
    int32_t one = 1;
    const int32_t anchors[][2] = {{-40, 0}, {40, 0}, {-3, 2}, {3, -3}, {0, 40}, {0, -40}};
    for (const auto& [anchorX, anchorY] : anchors) {
        Random random(1);
        ImageSpec spec;
        TestImage src(spec, random), dst(spec, random);
        vekSetBorderMode(&src.image, VEK_BORDER_EDGE, 15, 0);
        const VekConvKernel x = {1, 1, anchorX, 0, &one, 0}, y = {1, 1, 0, anchorY, &one, 0};
        vekConvolveSep2D(&src.image, &dst.image, &x, &y);
        for (int32_t row = 0; row < spec.height; ++row)
            for (int32_t column = 0; column < spec.width; ++column)
                ASSERT_EQ(dst.get(column, row, 0), src.get(std::clamp(column - anchorX, 0, spec.width - 1),
                                                           std::clamp(row - anchorY, 0, spec.height - 1), 0))
                    << anchorX << "," << anchorY;
    }
}

static void runBlur(FilterPair& pair, const ModelWindow& w)
{
    const uint32_t depth = pair.src->image.depth;
    expectWindow(pair, w, false, [=](const Samples& s) { return blurred(s, depth); });
    pair.check([&] { vekBlur(pair.srcHeader(), pair.dstHeader(), w.nCols, w.nRows, w.anchorX, w.anchorY); }, 1);
}

TEST(Blur, equalsTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 3000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const uint32_t depth = slotDepths[draw(random, 0, 6)];
        FilterPair pair = drawPair(random, seed, depth, true, COI_BOTH);
        ModelWindow w = {draw(random, 1, 9), draw(random, 1, 9), 0, 0};
        if (draw(random, 0, 9) == 0) (draw(random, 0, 1) ? w.nCols : w.nRows) = draw(random, 1, 40);
        if (depth == VEK_DEPTH_32F) w.nCols = std::min(w.nCols, 6), w.nRows = std::min(w.nRows, 6);
        w.anchorX = draw(random, 0, w.nCols - 1);
        w.anchorY = draw(random, 0, w.nRows - 1);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + std::to_string(w.nCols) + "x" + std::to_string(w.nRows) +
                     " " + pair.text());
        if (depth == VEK_DEPTH_32F) /* sums that double holds exactly */
            for (size_t i = 0; i + 4 <= pair.src->block.bytes; i += 4) {
                const float value = (float)draw(random, -99999, 99999) / 32;
                memcpy(pair.src->block.data + i, &value, 4);
            }
        pair.srcBytes = pair.src->bytes();
        pair.expected = pair.dst().bytes();
        runBlur(pair, w);
    }
}

/* Sums have 16 or 32 bits, means come by factors, singles or doubles, all by the window's size and parity. */
TEST(Blur, largeWindowsOfExtremeSamples)
{
    const ModelWindow windows[] = {{15, 15, 7, 7}, {15, 17, 0, 3},  {16, 16, 8, 8},  {31, 31, 15, 15},
                                   {257, 1, 9, 0}, {255, 1, 9, 0},  {1, 255, 0, 9},  {300, 300, 1, 99},
                                   {3, 85, 1, 1},  {6, 2, 5, 1},    {64, 64, 1, 63}, {101, 99, 3, 0},
                                   {2, 1, 0, 0},   {129, 131, 9, 9}};
    for (const uint32_t depth : {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_8S, VEK_DEPTH_16U, VEK_DEPTH_16S, VEK_DEPTH_32S})
        for (const ModelWindow& w : windows) {
            SCOPED_TRACE("depth " + std::to_string(depth & 0xFF) + " " + std::to_string(w.nCols) + "x" +
                         std::to_string(w.nRows));
            Random random(depth + (uint32_t)w.nCols);
            ImageSpec spec;
            spec.depth = depth;
            spec.width = 30;
            spec.height = 3;
            if (depth != VEK_DEPTH_1U) spec.nChannels = 1 + (int32_t)(&w - windows) % 5;
            spec.width /= spec.nChannels;
            FilterPair pair;
            pair.src = std::make_unique<TestImage>(spec, random);
            pair.other = std::make_unique<TestImage>(spec, random);
            for (size_t i = 0; i < pair.src->block.bytes; ++i)
                if (i % 7) pair.src->block.data[i] = depth & VEK_DEPTH_SIGN ? 0x7F + (draw(random, 0, 9) == 0) : 0xFF;
            vekSetBorderMode(&pair.src->image, VEK_BORDER_MIRROR, 15, 0);
            pair.srcBytes = pair.src->bytes();
            pair.expected = pair.other->bytes();
            runBlur(pair, w);
        }
}

/* The factor of a window of bytes gives the floor of every quotient that a row can need. */
TEST(Blur, quotientsOfBytes)
{
    for (int32_t nCols = 1; nCols < 65; ++nCols)
        for (int32_t nRows = 1; nRows < 300; ++nRows) {
            OwnBlurPlan plan = {};
            plan.nCols = nCols, plan.nRows = nRows;
            plan.r = 1.0 / (nCols * nRows);
            if (!ownPlanMean8(&plan)) continue;
            const int32_t twiceN = 2 * nCols * nRows, most = 510 * nCols;
            ASSERT_EQ(plan.twiceN, twiceN);
            for (int32_t left = 1 - most; left < twiceN + most; left += 2)
                ASSERT_EQ(left * plan.factor >> 16 >> plan.shift, (left + 1000 * twiceN) / twiceN - 1000)
                    << left << " of " << nCols << "x" << nRows;
        }
}

/* The call rounds to nearest whatever the rounding in force, which it leaves as it was. */
TEST(Blur, keepsTheRounding)
{
    Random random(5);
    ImageSpec spec;
    FilterPair pair;
    pair.src = std::make_unique<TestImage>(spec, random);
    pair.other = std::make_unique<TestImage>(spec, random);
    pair.srcBytes = pair.src->bytes();
    pair.expected = pair.other->bytes();
    const ModelWindow w = {4, 2, 1, 1};
    expectWindow(pair, w, false, [](const Samples& s) { return blurred(s, VEK_DEPTH_8U); });
    pair.check([&] {
        fesetround(FE_UPWARD);
        vekBlur(&pair.src->image, &pair.other->image, w.nCols, w.nRows, w.anchorX, w.anchorY);
        EXPECT_EQ(fegetround(), FE_UPWARD);
        fesetround(FE_TONEAREST);
    });
}

/* A window that an infinity has left is as if it had never been there. */
TEST(Blur, forgetsInfinities)
{
    Random random(1);
    ImageSpec spec;
    spec.depth = VEK_DEPTH_32F;
    TestImage src(spec, random), dst(spec, random);
    for (int i = 0; i < 256; ++i) ((float*)src.block.data)[i] = i == 5 * 16 + 5 ? INFINITY : 1.0f;
    vekSetBorderMode(&src.image, VEK_BORDER_EDGE, 15, 0);
    vekBlur(&src.image, &dst.image, 3, 3, 1, 1);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            EXPECT_EQ(((float*)dst.block.data)[y * 16 + x], abs(x - 5) <= 1 && abs(y - 5) <= 1 ? INFINITY : 1.0f);
}

TEST(FixedFilter, equalsTheNaiveModel)
{
    for (uint32_t seed = 1; seed <= 3000 && !HasFatalFailure(); ++seed) {
        Random random(seed);
        const uint32_t depth = slotDepths[draw(random, 0, 6)];
        FilterPair pair = drawPair(random, seed, depth, false, COI_BOTH);
        const int32_t filter = draw(random, 0, 10), size = fixedSize(filter);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": filter " + std::to_string(filter) + " " + pair.text());
        const ModelWindow w = {size, size, size / 2, size / 2};
        expectWindow(pair, w, false, [=](const Samples& s) { return fixedFiltered(s, depth, filter); });
        int32_t result = 1;
        pair.check([&] { result = vekFixedFilter(pair.srcHeader(), pair.dstHeader(), filter); }, 4);
        EXPECT_EQ(result, 0);
    }
}

/* ---- Kernel records ------------------------------------------------------------------------------------------------- */

TEST(ConvKernel, isReadBackAsItWasMade)
{
    const int8_t given[6] = {1, -2, 3, -4, 5, -128};
    const float reals[6] = {0.5f, -1, 2, 3, 4, 5};
    VekConvKernel* kernel = vekCreateConvKernelChar(3, 2, 0, 1, given, -7);
    VekConvKernelFP* real = vekCreateConvKernelFP(3, 2, 2, 0, reals);
    ASSERT_TRUE(kernel && real);
    EXPECT_EQ(kernel->anchorX, 2);
    EXPECT_EQ(kernel->anchorY, 0);
    EXPECT_EQ(kernel->values[0], -128);

    int32_t nCols, nRows, x, y, shift, wide[6], *toWide = wide;
    int8_t narrow[6], *toNarrow = narrow;
    float single[6], *toSingle = single;
    vekSetErrStatus(VEK_StatusOk);
    vekGetConvKernel(kernel, &nCols, &nRows, &x, &y, &toWide, &shift);
    EXPECT_EQ(std::vector<int32_t>({nCols, nRows, x, y, shift}), std::vector<int32_t>({3, 2, 0, 1, -7}));
    EXPECT_TRUE(std::equal(given, given + 6, wide));
    kernel->values[5] = 0x1234; /* the first one given */
    vekGetConvKernelChar(kernel, &nCols, &nRows, &x, &y, &toNarrow, &shift);
    EXPECT_EQ(narrow[0], 0x34);
    EXPECT_TRUE(std::equal(given + 1, given + 6, narrow + 1));
    vekGetConvKernelFP(real, &nCols, &nRows, &x, &y, &toSingle);
    EXPECT_EQ(x, 2);
    EXPECT_EQ(y, 0);
    EXPECT_TRUE(std::equal(reals, reals + 6, single));
    vekDeleteConvKernel(kernel);
    vekDeleteConvKernelFP(real);
}
