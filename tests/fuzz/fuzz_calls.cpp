/* Any exported function, with arguments that nobody would pass: the function's number, how many allocations succeed, the status
 * that is stored, then what its arguments are made of. A call may refuse, and pixels may come out any way; but it must not
 * touch what it was not given, keep memory, keep a tile, or run without end. */
#include "hostile.h"

#include <math.h>

#include <fstream>
#include <set>
#include <string>
#include <tuple>

/* ---- Arguments by type ----------------------------------------------------------------------------------------------- */

template <class T> static T make(Hostile& h);
template <> int32_t make(Hostile& h) { return h.number(); }
template <> uint32_t make(Hostile& h) { return (uint32_t)h.number(); }
template <> double make(Hostile& h) { return h.real(); }
template <> float make(Hostile& h)
{
    const double value = h.real();
    return fabs(value) > 1e30 ? value > 0 ? INFINITY : -INFINITY : (float)value;
}
template <> VekImage* make(Hostile& h) { return h.image(true); }
template <> const VekImage* make(Hostile& h) { return h.image(false); }
template <> VekConvKernel* make(Hostile& h) { return h.kernel<VekConvKernel, int32_t>(); }
template <> VekConvKernelFP* make(Hostile& h) { return h.kernel<VekConvKernelFP, float>(); }
template <> const VekConvKernel* make(Hostile& h) { return make<VekConvKernel*>(h); }
template <> const VekConvKernelFP* make(Hostile& h) { return make<VekConvKernelFP*>(h); }
template <class K> static K** makeKernels(Hostile& h)
{
    if (h.strange(60)) return nullptr;
    K** kernels = h.place<K*>(10);
    for (int i = 0; i < 10; ++i) kernels[i] = i < 3 ? make<K*>(h) : kernels[i % 3];
    return kernels;
}
template <> VekConvKernel** make(Hostile& h) { return makeKernels<VekConvKernel>(h); }
template <> VekConvKernelFP** make(Hostile& h) { return makeKernels<VekConvKernelFP>(h); }
template <> VekLUT** make(Hostile& h) { return h.tables(); }
template <> VekColorTwist* make(Hostile& h)
{
    if (h.strange(40)) return nullptr;
    VekColorTwist twist = {};
    for (int32_t& factor : twist.data) factor = h.number();
    twist.scalingValue = h.strange(20) ? h.number() : h.in.byte() % 32;
    return h.placed(twist);
}
template <> const VekColorTwist* make(Hostile& h) { return make<VekColorTwist*>(h); }
template <> VekROI* make(Hostile& h) { return h.oneIn(8) ? nullptr : h.placed(h.region(20, 20)); }
template <> VekTileInfo* make(Hostile& h) { return h.oneIn(2) ? nullptr : h.placed(VekTileInfo{}); }
template <> VekTileFunc make(Hostile& h) { return h.oneIn(8) ? nullptr : HostileImage::callBack; }
template <> const char* make(Hostile& h) { return h.oneIn(4) ? nullptr : h.oneIn(4) ? "%s%n" : "GRAY"; }
template <> void* make(Hostile& h) { return &h; }
template <> VekMoment (*make(Hostile& h))[4]
{
    VekMoment* state = h.place<VekMoment>(16);
    for (int i = 0; i < 16; ++i) state[i] = {h.real(), h.real()};
    return (VekMoment(*)[4])state;
}
template <> const double* make(Hostile& h) { return h.reals(h.hints.nIn); }
template <> double* make(Hostile& h) { return h.place<double>(h.hints.nOut); }
template <> int32_t* make(Hostile& h) { return h.strange(20) ? nullptr : h.place<int32_t>(1); }
template <> const int32_t* make(Hostile& h) { return h.strange(20) ? nullptr : h.placeNumbers<int32_t>(16); }

/* What a call gave. */
static void take(int32_t) {}
static void take(double) {}
static void take(const char* text) { FUZZ_EXPECT(strlen(text) > 0); }
static void take(const VekLibVersion* version) { FUZZ_EXPECT(version->moduleName); }
static void take(void* block) { vekFree(block); }
static void take(VekImage* image) { vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); }
template <class K> static void dropKernel(K* kernel, void (*deleteKernel)(K*))
{
    if (kernel) deleteKernel(kernel);
}
static void take(VekConvKernel* kernel) { dropKernel(kernel, vekDeleteConvKernel); }
static void take(VekConvKernelFP* kernel) { dropKernel(kernel, vekDeleteConvKernelFP); }

/* The call with one argument after the other made by its type. */
template <class R, class... A> static void callWith(Hostile& h, R (*function)(A...))
{
    const std::tuple<A...> arguments{make<A>(h)...};
    if constexpr (std::is_void_v<R>) std::apply(function, arguments);
    else take(std::apply(function, arguments));
}

/* ---- Calls whose arguments hang together ----------------------------------------------------------------------------- */

static VekImage* headerAlone()
{
    return vekCreateImageHeader(1, 0, 1, "GRAY", "G   ", 0, 0, 4, 9, 3, nullptr, nullptr, nullptr, nullptr);
}

/* A header with the fields of another; of its names four characters are there. */
static void callCreateHeader(Hostile& h)
{
    const VekImage* like = h.image(false);
    const VekImage fields = like ? *like : VekImage{};
    const char *model = (const char*)h.placed(std::bit_cast<uint32_t>(fields.colorModel)),
               *sequence = (const char*)h.placed(std::bit_cast<uint32_t>(fields.channelSeq));
    take(vekCreateImageHeader(fields.nChannels, fields.alphaChannel, fields.depth, h.strange(20) ? nullptr : model,
                              h.strange(20) ? nullptr : sequence, fields.dataOrder, fields.origin, fields.align,
                              fields.width, fields.height, fields.roi, fields.maskROI, &h, fields.tileInfo));
}

/* An image that is the library's own, in all its parts, or lacks some; then some of them given back, and then the others. */
static void callDeallocate(Hostile& h, void (*deallocate)(VekImage* image, int32_t flags))
{
    const int kind = h.in.byte(), flags = h.in.byte();
    VekImage* mask = kind & 1 ? headerAlone() : nullptr;
    VekROI* roi = kind & 2 ? vekCreateROI(0, 0, 0, 1, 1) : nullptr;
    VekTileInfo* tile = kind & 4 ? vekCreateTileInfo(HostileImage::callBack, &h, 8, 8) : nullptr;
    VekImage* image = kind & 128 ? nullptr
                                 : vekCreateImageHeader(3, 0, 8, "RGB ", "BGR ", 1, 0, 8, 9, 7, roi, mask, &h, tile);
    if (!image) {
        vekDeallocate(mask, VEK_IMAGE_HEADER);
        vekDeleteROI(roi);
        vekDeleteTileInfo(tile);
        return deallocate(nullptr, flags);
    }
    if (kind & 8) vekAllocateImage(image, 1, kind);
    if (kind & 8 && mask) vekAllocateImage(mask, 0, 0);
    deallocate(image, flags & ~VEK_IMAGE_HEADER);
    vekDeallocate(image, 31);
}

/* Coefficients as many as the sizes say. */
template <class T, class Create> static void callCreateKernel(Hostile& h, Create create)
{
    const int32_t nCols = h.number(), nRows = h.number(), anchorX = h.number(), anchorY = h.number();
    const int64_t count = (int64_t)nCols * nRows;
    if (count > 1 << 16 && count < INT64_C(1) << 31) return;
    take(create(nCols, nRows, anchorX, anchorY,
                h.strange(20) ? nullptr : h.placeNumbers<T>(nCols > 0 && nRows > 0 && count <= 1 << 16 ? count : 0)));
}

template <class K, class T, class Get> static void callGetKernel(Hostile& h, Get get)
{
    const K* kernel = make<const K*>(h);
    int32_t* places[] = {make<int32_t*>(h), make<int32_t*>(h), make<int32_t*>(h), make<int32_t*>(h), make<int32_t*>(h)};
    T** values = h.place<T*>(1);
    *values = h.place<T>(kernel && kernel->values ? (int64_t)std::max(kernel->nCols, 0) * std::max(kernel->nRows, 0)
                                                  : 0);
    if (h.strange(20)) values = nullptr;
    get(kernel, places, values);
}

static void callRow(Hostile& h)
{
    const VekImage* image = h.image(false);
    const int32_t x = h.number(), y = h.number(), channel = h.number(), count = h.number();
    if (!image || count > 1 << 16) return;
    const int64_t bits = (int64_t)std::max(count, 0) * ownSampleBits(image->depth);
    vekGetRowBordered(image, x, y, channel,
                      h.strange(20) ? nullptr : h.place<uint8_t>(std::clamp<int64_t>((bits + 7) / 8, 0, 1 << 20)),
                      count);
}

/* A bitmap and an image whose rows lie as its header says; mostly of one size. */
static void callBitmap(Hostile& h, void (*call)(Hostile& h, BITMAPINFOHEADER* dib, uint8_t* pixels, VekImage* image))
{
    static const uint32_t depths[] = {VEK_DEPTH_1U, VEK_DEPTH_8U, VEK_DEPTH_16U, VEK_DEPTH_8U};
    h.isPacked = h.hints.isWhole = true;
    h.hints.depth = depths[h.in.byte() & 3];
    h.hints.nChannels = h.oneIn(2) ? 3 : 1;
    VekImage* image = h.image(true);
    BITMAPINFOHEADER info = fuzzHeader(h.in);
    if (image && h.in.byte() & 3)
        info.biWidth = image->width, info.biHeight = h.oneIn(2) || image->height < 0 ? image->height : -image->height;
    if (std::abs((int64_t)info.biHeight) > 300) info.biHeight = 300;
    if (h.isCalm) {
        info.biSize = sizeof(info);
        info.biPlanes = 1;
        info.biCompression &= info.biBitCount == 8 ? 1 : info.biBitCount == 4 ? 2 : info.biBitCount > 8 ? 3 : 0;
        if (info.biBitCount > 8 && info.biCompression) info.biCompression = 3;
        if (info.biBitCount < 16 && info.biCompression) info.biHeight = std::abs(info.biHeight);
    }
    size_t pixelsAt, nBytes;
    uint8_t* dib = h.bitmap(info, &pixelsAt, &nBytes);
    const int32_t header = h.strange(60), none = h.strange(60);
    call(h, header ? nullptr : (BITMAPINFOHEADER*)dib, none ? nullptr : dib + pixelsAt, image);
}

/* ---- The functions --------------------------------------------------------------------------------------------------- */

struct HostileCall {
    const char* name;
    void (*call)(Hostile& h);
    HostileHints hints = {};
};

static constexpr HostileHints otherDepth = {.isWhole = true, .otherDepth = true}, floats = {.depth = VEK_DEPTH_32F};
static constexpr HostileHints colours(const char* from, const char* to = "RGB ", bool otherDepth = false,
                                      uint32_t depth = 0)
{
    return {.from = from, .to = to, .isWhole = true, .otherDepth = otherDepth, .nChannels = 3, .depth = depth};
}
static constexpr HostileHints arrays(int nIn, int nOut) { return {.nIn = nIn, .nOut = nOut}; }

#define CALL(function) #function, [](Hostile & h) { callWith(h, function); }
#define CALL_AS(function, ...) #function, [](Hostile & h) { __VA_ARGS__; }

static const HostileCall calls[] = {
    {CALL(vekGetErrStatus)},
    {CALL(vekSetErrStatus)},
    {CALL(vekGetErrMode)},
    {CALL(vekSetErrMode)},
    {CALL_AS(vekRedirectError, vekRedirectError(vekRedirectError(h.oneIn(2) ? nullptr : vekNulDevReport)))},
    {CALL(vekError)},
    {CALL(vekErrorStr)},
    {CALL(vekNulDevReport)},
    {CALL(vekStdErrReport)},
    {CALL(vekGuiBoxReport)},
    {CALL(vekGetLibVersion)},
    {CALL(vekMalloc)},
    {CALL(vekwMalloc)},
    {CALL(vekiMalloc)},
    {CALL(veksMalloc)},
    {CALL(vekdMalloc)},
    {CALL_AS(vekFree, vekFree(h.oneIn(4) ? nullptr : vekMalloc(h.in.byte())))},
    {CALL_AS(vekCreateImageHeader, callCreateHeader(h))},
    {CALL(vekAllocateImage), {.isBare = true}},
    {CALL(vekAllocateImageFP), {.depth = VEK_DEPTH_32F, .isBare = true}},
    {CALL_AS(vekDeallocateImage, callDeallocate(h, [](VekImage* image, int32_t) { vekDeallocateImage(image); }))},
    {CALL_AS(vekDeallocateHeader, vekDeallocateHeader(h.oneIn(4) ? nullptr : headerAlone()))},
    {CALL_AS(vekDeallocate, callDeallocate(h, vekDeallocate))},
    {CALL_AS(vekCloneImage,
             vekDeallocate(vekCloneImage(h.image(false)), VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI))},
    {CALL(vekCheckImageHeader)},
    {CALL(vekCreateROI)},
    {CALL(vekSetROI)},
    {CALL_AS(vekDeleteROI, vekDeleteROI(vekCreateROI(1, 2, 3, 4, h.number())))},
    {CALL(vekCreateTileInfo)},
    {CALL(vekSetTileInfo)},
    {CALL_AS(vekDeleteTileInfo, vekDeleteTileInfo(vekCreateTileInfo(nullptr, nullptr, h.number(), h.number())))},
    {CALL(vekSetBorderMode)},
    {CALL(vekGetPixelBordered)},
    {CALL_AS(vekGetRowBordered, callRow(h))},
    {CALL(vekAddS)},
    {CALL(vekSubtractS)},
    {CALL(vekMultiplyS)},
    {CALL(vekAndS)},
    {CALL(vekOrS)},
    {CALL(vekXorS)},
    {CALL(vekLShiftS)},
    {CALL(vekRShiftS)},
    {CALL(vekAddSFP), floats},
    {CALL(vekSubtractSFP), floats},
    {CALL(vekMultiplySFP), floats},
    {CALL(vekAdd)},
    {CALL(vekSubtract)},
    {CALL(vekMultiply)},
    {CALL(vekAnd)},
    {CALL(vekOr)},
    {CALL(vekXor)},
    {CALL(vekNot)},
    {CALL(vekSquare)},
    {CALL(vekAbs)},
    {CALL(vekCopy)},
    {CALL(vekExchange)},
    {CALL(vekSet)},
    {CALL(vekSetFP), floats},
    {CALL(vekConvert), otherDepth},
    {CALL(vekBitonalToGray), otherDepth},
    {CALL(vekMirror)},
    {CALL(vekMultiplyScale)},
    {CALL(vekMultiplySScale)},
    {CALL(vekPreMultiplyAlpha)},
    {CALL(vekAlphaCompositeC)},
    {CALL(vekAlphaComposite)},
    {CALL_AS(vekTranslateDIB, callBitmap(h, [](Hostile& h, BITMAPINFOHEADER* dib, uint8_t*,
                                               VekImage*) { take(vekTranslateDIB(dib, make<int32_t*>(h))); }))},
    {CALL_AS(vekConvertFromDIB, callBitmap(h, [](Hostile&, BITMAPINFOHEADER* dib, uint8_t*,
                                                 VekImage* image) { vekConvertFromDIB(dib, image); }))},
    {CALL_AS(vekConvertFromDIBSep, callBitmap(h, [](Hostile&, BITMAPINFOHEADER* dib, uint8_t* pixels,
                                                    VekImage* image) { vekConvertFromDIBSep(dib, pixels, image); }))},
    {CALL_AS(vekConvertToDIB, callBitmap(h,
                                         [](Hostile& h, BITMAPINFOHEADER* dib, uint8_t*, VekImage* image) {
                                             vekConvertToDIB(image, dib, h.oneIn(2) ? 8 : h.number(), h.number() % 4);
                                         }))},
    {CALL(vekRGB2HSV), colours("RGB ")},
    {CALL(vekHSV2RGB), colours("HSV ")},
    {CALL(vekRGB2HLS), colours("RGB ")},
    {CALL(vekHLS2RGB), colours("HLS ")},
    {CALL(vekRGB2XYZ), colours("RGB ")},
    {CALL(vekXYZ2RGB), colours("XYZ ")},
    {CALL(vekRGB2YUV), colours("RGB ", "RGB ", true)},
    {CALL(vekYUV2RGB), colours("YUV ", "RGB ", true)},
    {CALL(vekRGB2YCrCb), colours("RGB ")},
    {CALL(vekYCrCb2RGB), colours("YCr ")},
    {CALL(vekYCC2RGB), colours("YCC ", "RGB ", false, 8)},
    {CALL(vekRGB2LUV), colours("RGB ", "RGB ", false, 32)},
    {CALL(vekLUV2RGB), colours("LUV ", "RGB ", false, 32)},
    {CALL(vekColorToGray), colours("RGB ", "GRAY", true)},
    {CALL(vekGrayToColor), colours("GRAY")},
    {CALL(vekReduceBits), otherDepth},
    {CALL_AS(vekCreateColorTwist, vekDeleteColorTwist(vekCreateColorTwist(make<const int32_t*>(h), h.number())))},
    {CALL(vekSetColorTwist)},
    {CALL_AS(vekDeleteColorTwist, const int32_t data[16] = {};
             vekDeleteColorTwist(h.oneIn(9) ? nullptr : vekCreateColorTwist(data, 1)))},
    {CALL(vekApplyColorTwist)},
    {CALL(vekThreshold), otherDepth},
    {CALL(vekComputeHisto)},
    {CALL(vekContrastStretch)},
    {CALL(vekHistoEqualize)},
    {CALL_AS(vekCreateConvKernel,
             callCreateKernel<int32_t>(h, [](auto... a) { return vekCreateConvKernel(a..., 1); }))},
    {CALL_AS(vekCreateConvKernelChar,
             callCreateKernel<int8_t>(h, [](auto... a) { return vekCreateConvKernelChar(a..., -1); }))},
    {CALL_AS(vekCreateConvKernelFP, callCreateKernel<float>(h, [](auto... a) { return vekCreateConvKernelFP(a...); }))},
    {CALL_AS(vekGetConvKernel, callGetKernel<VekConvKernel, int32_t>(h,
                                                                     [](auto kernel, auto p, auto values) {
                                                                         vekGetConvKernel(kernel, p[0], p[1], p[2],
                                                                                          p[3], values, p[4]);
                                                                     }))},
    {CALL_AS(vekGetConvKernelChar, callGetKernel<VekConvKernel, int8_t>(h,
                                                                        [](auto kernel, auto p, auto values) {
                                                                            vekGetConvKernelChar(kernel, p[0], p[1],
                                                                                                 p[2], p[3], values,
                                                                                                 p[4]);
                                                                        }))},
    {CALL_AS(vekGetConvKernelFP, callGetKernel<VekConvKernelFP, float>(h,
                                                                       [](auto kernel, auto p, auto values) {
                                                                           vekGetConvKernelFP(kernel, p[0], p[1], p[2],
                                                                                              p[3], values);
                                                                       }))},
    {CALL_AS(vekDeleteConvKernel, vekDeleteConvKernel(nullptr);
             callCreateKernel<int32_t>(h, [](auto... a) { return vekCreateConvKernel(a..., 1); }))},
    {CALL_AS(vekDeleteConvKernelFP, vekDeleteConvKernelFP(nullptr); callCreateKernel<float>(h, vekCreateConvKernelFP))},
    {CALL(vekConvolve2D)},
    {CALL(vekConvolve2DFP), floats},
    {CALL(vekConvolveSep2D)},
    {CALL(vekBlur)},
    {CALL(vekFixedFilter)},
    {CALL(vekMaxFilter)},
    {CALL(vekMinFilter)},
    {CALL(vekMedianFilter)},
    {CALL(vekErode)},
    {CALL(vekDilate)},
    {CALL(vekOpen)},
    {CALL(vekClose)},
    {CALL(vekNorm)},
    {CALL(vekMoments)},
    {CALL(vekGetSpatialMoment)},
    {CALL(vekGetNormalizedSpatialMoment)},
    {CALL(vekGetCentralMoment)},
    {CALL(vekGetNormalizedCentralMoment)},
    {CALL(vekSpatialMoment)},
    {CALL(vekNormalizedSpatialMoment)},
    {CALL(vekCentralMoment)},
    {CALL(vekNormalizedCentralMoment)},
    {CALL(vekGetAffineQuad), arrays(6, 8)},
    {CALL(vekGetBilinearQuad), arrays(8, 8)},
    {CALL(vekGetPerspectiveQuad), arrays(9, 8)},
    {CALL(vekGetAffineBound), arrays(6, 4)},
    {CALL(vekGetBilinearBound), arrays(8, 4)},
    {CALL(vekGetPerspectiveBound), arrays(9, 4)},
    {CALL(vekGetAffineTransform), arrays(8, 6)},
    {CALL(vekGetBilinearTransform), arrays(8, 8)},
    {CALL(vekGetPerspectiveTransform), arrays(8, 9)},
    {CALL(vekGetRotateShift), arrays(0, 1)},
    {CALL(vekWarpAffine), arrays(6, 0)},
    {CALL(vekWarpBilinear), arrays(8, 0)},
    {CALL(vekWarpBilinearQ), arrays(8, 0)},
    {CALL(vekWarpPerspective), arrays(9, 0)},
    {CALL(vekWarpPerspectiveQ), arrays(8, 0)},
    {CALL(vekRotate)},
    {CALL(vekShear)},
    {CALL(vekZoom)},
    {CALL(vekResize)},
    {CALL(vekDecimate)},
    {CALL(vekRealFft2D)},
    {CALL(vekCcsFft2D)},
    {CALL(vekMpyRCPack2D), floats},
    {CALL(vekDCT2D)},
    {CALL(vekCreateImageJaehne)},
};

/* ---- The target ------------------------------------------------------------------------------------------------------ */

enum { MOST_HEAP_BYTES = 1 << 20, SEEDS_A_CALL = 40 };

/* Looks at all that a reporter is told. */
static VekStatus hear(VekStatus status, const char* func, const char* context, const char* file, int32_t line)
{
    volatile size_t length = (func ? strlen(func) : 0) + (context ? strlen(context) : 0) + (file ? strlen(file) : 0);
    return length || line ? status : 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzReader in = {data, size};
    const HostileCall& call = calls[(size_t)in.byte() % std::size(calls)];
    const int nAllocations = in.byte(), status = in.byte();
    heapFailAbove(MOST_HEAP_BYTES);
    vekRedirectError(hear);
    vekSetErrMode(VEK_ErrorModeNoReport);
    vekSetErrStatus(status < 30 ? -status : 0);
    const int live = heapLive();
    heapFailAfter(nAllocations < 160 ? -1 : nAllocations % 24);
    {
        Hostile h(in, call.hints);
        call.call(h);
        h.check();
    }
    heapFailAfter(-1);
    vekRealFft2D(nullptr, nullptr, VEK_FFT_RELEASE);
    vekDCT2D(nullptr, nullptr, VEK_DCT_RELEASE);
    FUZZ_EXPECT(heapLive() == live);
    return 0;
}

/* Every exported function stands in the table once. */
static void expectAllCalls()
{
    std::ifstream list(VEK_EXPORTS);
    std::multiset<std::string> exported, called;
    for (std::string name; list >> name;) exported.insert(name);
    for (const HostileCall& call : calls) called.insert(call.name);
    FUZZ_EXPECT(exported == called);
}

std::vector<FuzzBytes> fuzzSeeds()
{
    expectAllCalls();
    std::vector<FuzzBytes> seeds;
    std::mt19937 random(149);
    for (size_t k = 0; k < std::size(calls); ++k)
        for (int n = 0; n < SEEDS_A_CALL; ++n) {
            FuzzBytes seed(260);
            for (uint8_t& byte : seed) byte = (uint8_t)random();
            seed[0] = (uint8_t)k;
            seeds.push_back(seed);
        }
    return seeds;
}
