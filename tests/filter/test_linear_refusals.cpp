/* The refusals of the linear filters and of kernel records, in their order: of two faults the earlier test wins. Nothing
 * is written, nothing is leaked, whatever allocation fails and whatever tile is missing. */
#include "support/support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

/* ---- Calls with everything that may be wrong about them ------------------------------------------------------------- */

struct Args {
    Args() : random(1), src(spec(), random), other(spec(), random)
    {
        whole = vekCreateConvKernel(3, 3, 1, 1, ones, 0);
        tall = vekCreateConvKernel(1, 3, 0, 1, ones, 0);
        real = vekCreateConvKernelFP(3, 3, 1, 1, halves);
        kernels[0] = kernels[1] = whole;
        reals[0] = reals[1] = real;
        x = whole;
        y = tall;
    }
    ~Args()
    {
        for (VekConvKernel* kernel : {whole, tall}) vekDeleteConvKernel(kernel);
        vekDeleteConvKernelFP(real);
    }
    Args(const Args&) = delete;
    static ImageSpec spec()
    {
        ImageSpec made;
        made.nChannels = 3;
        return made;
    }
    static constexpr int32_t ones[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    static constexpr float halves[9] = {0.5f, 0.5f, 0.5f, 0.5f};

    Random random;
    TestImage src, other;
    const VekImage* pSrc = &src.image;
    VekImage* pDst = &other.image;
    VekConvKernel *whole, *tall, *kernels[2], **pKernels = kernels;
    VekConvKernelFP *real, *reals[2], **pReals = reals;
    const VekConvKernel *x, *y;
    VekConvKernel bad = {0, 1, 0, 0, nullptr, 0}, flat = {1, 0, 0, 0, nullptr, 0};
    VekConvKernel hollow = {3, 3, 1, 1, nullptr, 0};
    VekConvKernelFP badReal = {1, 1, 0, 1, nullptr};
    int32_t nKernels = 2, method = COMBINE_ADD, nCols = 3, nRows = 3, anchorX = 1, anchorY = 1, filter = 6;
};

struct Fault {
    const char* name;
    std::function<void(Args&)> spoil;
    VekStatus status;
    const char* text;
};
struct Filter {
    const char* func;
    std::function<void(Args&)> call;
    std::vector<Fault> faults; /* in the order of the tests; a later one does not undo an earlier one */
    VekStatus noTile;
    const char* noTileText;
};

static const char* const noTileText = "(dstImage->tileInfo->tileData == ((void*)(0)))";

static const Fault noSource = {"no source", [](Args& a) { a.pSrc = nullptr; }, -9, "Incorrect Image"};
static const Fault badAlign = {"destination's align", [](Args& a) { a.pDst->align = 3; }, -21, "Incorrect Image"};

static const std::vector<Filter> filters = {
    {"vekConvolve2D",
     [](Args& a) { vekConvolve2D(a.pSrc, a.pDst, a.pKernels, a.nKernels, a.method); },
     {noSource,
      badAlign,
      {"source's region", [](Args& a) { a.src.setRoi(0, 16, 0, 5, 5); }, -11, "Bad ROI offsets"},
      {"destination's region", [](Args& a) { a.other.setRoi(0, 0, 16, 5, 5); }, -11, "Bad ROI offsets"},
      {"no kernels", [](Args& a) { a.pKernels = nullptr; }, -5, "kernel==0"},
      {"too many", [](Args& a) { a.nKernels = 11; }, -5, "(nKernels<=0 || nKernels>10)"},
      {"none", [](Args& a) { a.nKernels = 0; }, -5, "(nKernels<=0 || nKernels>10)"},
      {"method", [](Args& a) { a.nKernels = 2, a.method = 5; }, -5, "Inadmissible method"},
      {"a kernel", [](Args& a) { a.kernels[1] = nullptr; }, -5, "kernel[i]==0"},
      {"bad kernel", [](Args& a) { a.kernels[1] = &a.bad; }, -5, "Bad kernel structure"},
      {"hollow kernel", [](Args& a) { a.kernels[1] = &a.hollow; }, -5, "Bad kernel structure"},
      {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "Uncompatible images"},
      {"orders", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "Uncompatible images"},
      {"floats", [](Args& a) { a.src.image.depth = a.other.image.depth = 32; }, -5,
       "32F images can be processed only with FP kernel"},
      {"channels", [](Args& a) { a.src.image.nChannels = 2; }, -5, "Uncompatible images"}},
     -5,
     noTileText},
    {"vekConvolve2DFP",
     [](Args& a) { vekConvolve2DFP(a.pSrc, a.pDst, a.pReals, a.nKernels, a.method); },
     {noSource,
      badAlign,
      {"no kernels", [](Args& a) { a.pReals = nullptr; }, -5, "kernel==0"},
      {"none", [](Args& a) { a.nKernels = -1; }, -5, "(nKernels<=0 || nKernels>10)"},
      {"method", [](Args& a) { a.nKernels = 2, a.method = -1; }, -5, "Inadmissible method"},
      {"a kernel", [](Args& a) { a.reals[0] = nullptr; }, -5, "kernel[i]==0"},
      {"bad kernel", [](Args& a) { a.reals[0] = &a.badReal; }, -5, "Bad kernel structure"},
      {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "Uncompatible images"},
      {"integers", [](Args& a) { a.src.image.depth = a.other.image.depth = VEK_DEPTH_8U; }, -5,
       "FP kernel can be used only for 32F images"}},
     0,
     nullptr},
    {"vekConvolveSep2D",
     [](Args& a) { vekConvolveSep2D(a.pSrc, a.pDst, a.x, a.y); },
     {noSource,
      badAlign,
      {"no X", [](Args& a) { a.x = nullptr; }, -5, "Xkernel==0"},
      {"no Y", [](Args& a) { a.y = nullptr; }, -5, "Ykernel==0"},
      {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "srcImage->depth != dstImage->depth"},
      {"origins", [](Args& a) { a.src.image.origin = 1; }, -5, "srcImage->origin != dstImage->origin"},
      {"orders", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "srcImage->dataOrder != dstImage->dataOrder"},
      {"channels", [](Args& a) { a.src.image.alphaChannel = 3; }, -5, "nCsrc != nCdst"},
      {"coi", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9); }, -5,
       "nChannels in srcImage ROI != nChannels in dstImage ROI"},
      {"columns", [](Args& a) { a.x = &a.bad; }, -5, "Xkernel->nCols <= 0"},
      {"rows", [](Args& a) { a.y = &a.flat; }, -5, "Ykernel->nRows <= 0"},
      {"no X values", [](Args& a) { a.x = a.x == a.whole ? &a.hollow : a.x; }, -5, "Xkernel->values==0"},
      {"no Y values", [](Args& a) { a.y = a.y == a.tall ? &a.hollow : a.y; }, -5, "Ykernel->values==0"},
      {"floats", [](Args& a) { a.src.image.depth = a.other.image.depth = 32; }, -5, "Unknown srcImage->depth"}},
     -5,
     noTileText},
    {"vekBlur",
     [](Args& a) { vekBlur(a.pSrc, a.pDst, a.nCols, a.nRows, a.anchorX, a.anchorY); },
     {noSource,
      badAlign,
      {"size", [](Args& a) { a.nCols = -1; }, -5, "(nRows<0||nCols<0)"},
      {"anchor below 0", [](Args& a) { a.anchorY = -1; }, -5, "(anchorX<0||anchorY<0)"},
      {"anchor beyond", [](Args& a) { a.anchorX = 3; }, -5, "(anchorX>=nCols||anchorY>=nRows)"},
      {"channels", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9); }, -15, "bad channel's number"},
      {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "srcImage->depth!=dstImage->depth"},
      {"orders", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "srcImage->dataOrder!=dstImage->dataOrder"}},
     -5,
     noTileText},
    {"vekFixedFilter",
     [](Args& a) {
         const int32_t result = vekFixedFilter(a.pSrc, a.pDst, a.filter);
         EXPECT_EQ(result, vekGetErrStatus() < 0 ? -1 : 0);
     },
     {noSource,
      badAlign,
      {"in place", [](Args& a) { a.pDst = &a.src.image; }, -5, "(srcImage==dstImage)"},
      {"depths", [](Args& a) { a.src.image.depth = VEK_DEPTH_8S; }, -5, "srcImage->depth!=dstImage->depth"},
      {"channels", [](Args& a) { a.src.image.nChannels = 2; }, -5, "srcImage->nChannels!=dstImage->nChannels"},
      {"alpha", [](Args& a) { a.other.image.alphaChannel = 3; }, -5, "srcImage->alphaChannel!=dstImage->alphaChannel"},
      {"orders", [](Args& a) { a.src.image.dataOrder = 1; }, -5, "srcImage->dataOrder!=dstImage->dataOrder"},
      {"coi", [](Args& a) { a.src.setRoi(2, 0, 0, 9, 9); }, -5,
       "Number of interset channel input and output Image is not equal."},
      {"filter", [](Args& a) { a.filter = 11; }, -5, "Unknow filter."}},
     -2,
     "Error get tile to write"},
};

} // namespace

static std::string reportOf(const Filter& filter, VekStatus status, const char* text)
{
    return std::to_string(status) + " " + filter.func + "(" + text + ")";
}

/* Runs a call with faults, which must be refused by the first of them. */
static void expectRefusal(const Filter& filter, const Fault& first, const Fault* second)
{
    Args args;
    if (second) second->spoil(args);
    first.spoil(args);
    const std::vector<uint8_t> src = args.src.bytes(), other = args.other.bytes();
    const int live = heapLive();
    Recorder recorder;
    filter.call(args);
    EXPECT_EQ(recorder.text(), reportOf(filter, first.status, first.text));
    EXPECT_EQ(vekGetErrStatus(), first.status);
    EXPECT_TRUE(args.src.bytes() == src && args.other.bytes() == other);
    EXPECT_EQ(heapLive(), live);
}

TEST(LinearRefusals, inTheirOrder)
{
    for (const Filter& filter : filters)
        for (size_t i = 0; i < filter.faults.size(); ++i)
            for (size_t j = i; j < filter.faults.size(); ++j) {
                SCOPED_TRACE(std::string(filter.func) + ": " + filter.faults[i].name + " before " +
                             filter.faults[j].name);
                expectRefusal(filter, filter.faults[i], j > i ? &filter.faults[j] : nullptr);
            }
}

/* ---- Memory and tiles ------------------------------------------------------------------------------------------------ */

/* As many allocations as a call makes may fail, each in turn; then it succeeds. */
TEST(LinearRefusals, withoutMemory)
{
    for (const Filter& filter : filters)
        for (int kind = 0; kind < 3; ++kind) {
            SCOPED_TRACE(std::string(filter.func) + (kind == 0   ? ""
                                                     : kind == 1 ? " with masks"
                                                                 : " on tiles in place"));
            int nFailed = 0;
            for (int n = 0; n < 20; ++n) {
                Args args;
                if (std::string(filter.func) == "vekConvolve2DFP") args.src.image.depth = args.other.image.depth = 32;
                if (args.src.image.depth == 32) args.src.setRoi(0, 0, 0, 3, 9), args.other.setRoi(0, 0, 0, 3, 9);
                for (TestImage* image : {&args.src, &args.other})
                    if (kind == 1) {
                        ImageSpec spec;
                        spec.depth = VEK_DEPTH_1U;
                        image->setMask(std::make_unique<TestImage>(spec, args.random));
                    }
                TiledImage tiles(args.src, 8, 8);
                if (kind == 2 && std::string(filter.func) != "vekFixedFilter" && args.src.image.depth != 32)
                    args.pSrc = args.pDst = &tiles.image;
                const std::vector<uint8_t> src = args.src.bytes(), other = args.other.bytes();
                const int live = heapLive();
                Recorder recorder;
                heapFailAfter(n);
                filter.call(args);
                heapFailAfter(-1);
                EXPECT_EQ(heapLive(), live);
                EXPECT_FALSE(tiles.isOpen());
                if (vekGetErrStatus() == VEK_StatusOk) break;
                ++nFailed;
                EXPECT_EQ(recorder.text(), reportOf(filter, VEK_StatusNoMemory, "Allocation failure"));
                EXPECT_TRUE(args.src.bytes() == src && args.other.bytes() == other);
            }
            EXPECT_GE(nFailed, kind == 1 ? 2 : 1);
            EXPECT_LT(nFailed, 20);
        }
}

TEST(LinearRefusals, withoutATile)
{
    for (const Filter& filter : filters) {
        if (!filter.noTileText) continue;
        Args args;
        TiledImage tiles(args.other, 8, 8);
        tiles.failAt = 2;
        args.pDst = &tiles.image;
        const int live = heapLive();
        Recorder recorder;
        filter.call(args);
        EXPECT_EQ(recorder.text(), reportOf(filter, filter.noTile, filter.noTileText));
        EXPECT_EQ(tiles.logText(), "W 0,0; release 0,0; W 1,0; release 1,0; W 0,1") << filter.func;
        EXPECT_EQ(heapLive(), live);
    }
}

/* ---- What ends silently --------------------------------------------------------------------------------------------- */

TEST(LinearRefusals, nothingToDo)
{
    for (const bool onSource : {true, false}) { /* a coi on alpha, before the counts are compared */
        Args args;
        args.src.image.alphaChannel = args.other.image.alphaChannel = 3;
        (onSource ? args.src : args.other).setRoi(3, 0, 0, 9, 9);
        const std::vector<uint8_t> before = args.other.bytes();
        Recorder recorder;
        vekConvolve2D(args.pSrc, args.pDst, args.pKernels, 1, 99);
        EXPECT_EQ(recorder.text(), "");
        EXPECT_TRUE(args.other.bytes() == before);
    }
    for (const bool onSource : {true, false}) { /* an empty rectangle, likewise */
        Args args;
        ImageSpec bits;
        bits.depth = VEK_DEPTH_1U;
        TestImage mask(bits, args.random);
        mask.setRoi(0, 99, 0, 4, 4);
        (onSource ? args.src : args.other).image.maskROI = &mask.image;
        args.other.image.nChannels = 2;
        Recorder recorder;
        vekConvolve2D(args.pSrc, args.pDst, args.pKernels, 1, 99);
        EXPECT_EQ(recorder.text(), "");
    }
    Args args; /* all alpha: success, whatever the filter's number */
    for (TestImage* image : {&args.src, &args.other}) image->image.nChannels = image->image.alphaChannel = 1;
    Recorder recorder;
    EXPECT_EQ(vekFixedFilter(args.pSrc, args.pDst, 99), 0);
    EXPECT_EQ(recorder.text(), "");
}

TEST(LinearRefusals, aStaleStatusEndsSome)
{
    Args args;
    const std::vector<uint8_t> before = args.other.bytes();
    Recorder recorder;
    vekSetErrStatus(-77);
    vekConvolveSep2D(args.pSrc, args.pDst, args.x, args.y);
    EXPECT_EQ(vekFixedFilter(args.pSrc, args.pDst, 6), -1);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_TRUE(args.other.bytes() == before);
    vekSetErrStatus(0);
    vekConvolveSep2D(args.pSrc, args.pDst, args.x, args.y);
    EXPECT_FALSE(args.other.bytes() == before);
}

TEST(LinearRefusals, aBlurWithoutPixelsIsACopy)
{
    Args args;
    Recorder recorder;
    vekBlur(args.pSrc, args.pDst, 0, 5, 7, 7);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_TRUE(args.other.bytes() == args.src.bytes());
}

/* ---- Kernel records -------------------------------------------------------------------------------------------------- */

TEST(ConvKernel, refusesBadArguments)
{
    const int32_t values[4] = {1, 2, 3, 4};
    Recorder recorder;
    EXPECT_EQ(vekCreateConvKernel(0, 2, 0, 0, nullptr, 0), nullptr);
    EXPECT_EQ(vekCreateConvKernel(0, 2, 9, 0, values, 0), nullptr);
    EXPECT_EQ(vekCreateConvKernel(2, 2, 2, 0, values, 0), nullptr);
    EXPECT_EQ(vekCreateConvKernelFP(2, 2, 0, -1, Args::halves), nullptr);
    vekDeleteConvKernel(nullptr);
    VekConvKernelFP empty = {1, 1, 0, 0, nullptr};
    vekDeleteConvKernelFP(&empty);
    EXPECT_EQ(recorder.text(), "-5 vekCreateConvKernel((values == 0)); -5 vekCreateConvKernel((nRows<=0 || nCols<=0)); "
                               "-5 vekCreateConvKernel((anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)); "
                               "-5 vekCreateConvKernelFP((anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)); "
                               "-5 vekDeleteConvKernel(kernel==0); -5 vekDeleteConvKernelFP(kernel->values==0)");
    for (int n = 0; n < 2; ++n) {
        const int live = heapLive();
        Recorder inner;
        heapFailAfter(n);
        EXPECT_EQ(vekCreateConvKernel(2, 2, 0, 0, values, 0), nullptr);
        heapFailAfter(-1);
        EXPECT_EQ(inner.text(), "-4 vekCreateConvKernel(Allocation failure)");
        EXPECT_EQ(heapLive(), live);
    }
}

TEST(ConvKernel, isReadBackWholeOrNotAtAll)
{
    Args args;
    int32_t a = 7, b = 7, c = 7, d = 7, e = 7, values[9] = {7}, *to = values;
    const auto unread = [&] { return a == 7 && b == 7 && c == 7 && d == 7 && e == 7 && values[0] == 7; };
    const auto read = [&](VekConvKernel* kernel, int32_t* nCols, int32_t* nRows, int32_t* x, int32_t** v,
                          int32_t* shift) {
        Recorder recorder;
        vekGetConvKernel(kernel, nCols, nRows, x, &d, v, shift);
        EXPECT_TRUE(unread());
        return recorder.text();
    };
    const std::string func = "-5 vekGetConvKernel";
    EXPECT_EQ(read(nullptr, nullptr, &b, &c, &to, &e), func + "(kernel==0)");
    EXPECT_EQ(read(&args.bad, nullptr, &b, &c, &to, &e), func + "(ownBadKernel((OwnConvKernel*)kernel))");
    EXPECT_EQ(read(&args.hollow, &a, &b, &c, &to, &e), func + "(ownBadKernel((OwnConvKernel*)kernel))");
    EXPECT_EQ(read(args.whole, nullptr, nullptr, nullptr, &to, &e), func + "(nRows==0); " + func + "(nCols==0)");
    EXPECT_EQ(read(args.whole, &a, &b, nullptr, nullptr, &e), func + "(anchorX==0)");
    EXPECT_EQ(read(args.whole, &a, &b, &c, nullptr, nullptr), func + "(values==0)");
    EXPECT_EQ(read(args.whole, &a, &b, &c, &to, nullptr), func + "(nShiftR==0)");
    Recorder recorder;
    vekSetErrStatus(-3);
    vekGetConvKernel(args.whole, &a, &b, &c, &d, &to, &e);
    EXPECT_EQ(recorder.text(), "");
    EXPECT_TRUE(unread());
}
