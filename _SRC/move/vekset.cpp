/* vekset: one value for every sample of a region. */
#include "ownmove.h"
#include "ownwhile.h"
#include "ownsimd.h"

/* ---- The fill ------------------------------------------------------------------------------------------------ */

/* out = k, whatever a is. */
template <class T> static void ownSetRun(void* out, const void*, const void*, ptrdiff_t n, const void* k)
{
    const T value = (T) * (const int32_t*)k;
    if constexpr (sizeof(T) == 1) memset(out, value, (size_t)n);
    else ownFill(out, value, n);
}
template <class T> static void ownSetPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const T value = (T) * (const int32_t*)k;
    ownEach<T, T>(out, a, n, [=](T) { return value; });
}
template <class T> static constexpr OwnRow ownSetRow = {ownSetRun<T>, ownSetPlain<T>};

/* The constant is the value as 32 bits; for bits it is 0 or -1. */
OWN_TABLE(ownSetRows) = {
    /*  1U */ ownSetRow<uint8_t>,
    /*  8U */ ownSetRow<uint8_t>,
    /*  8S */ ownSetRow<uint8_t>,
    /* 16U */ ownSetRow<uint16_t>,
    /* 16S */ ownSetRow<uint16_t>,
    /* 32S */ ownSetRow<uint32_t>,
    /* 32F */ {}, /* vekSetFP, as 32S */
};

static int32_t ownSetLimit(uint32_t depth, int32_t value)
{
    switch (depth) {
    case VEK_DEPTH_1U: return std::clamp(value, 0, 1);
    case VEK_DEPTH_8U: return std::clamp(value, 0, 255);
    case VEK_DEPTH_8S: return std::clamp(value, -128, 127);
    case VEK_DEPTH_16U: return std::clamp(value, 0, 65535);
    case VEK_DEPTH_16S: return std::clamp(value, -32768, 32767);
    }
    return value;
}

static void ownSetSamples(const OwnMove& move, const VekImage* dstImage, int32_t value)
{
    const int32_t k = dstImage->depth == VEK_DEPTH_1U ? -value : value;
    OwnPoint point = ownCopyPoint(move, 0, 0);
    point.run = ownSetRows[ownSlot(dstImage->depth)].run;
    point.k = &k;
    point.copies = false;
    const VekImage* image[2] = {dstImage, dstImage};
    ownTraverse(point, image, move.mask);
}

/* ---- Bits under a mask --------------------------------------------------------------------------------------- */

/* A header as the operations of logic are to see it: its region as it stands, no mask, and no block to be taken whole, so
 * that the padding of rows stays as it is. */
static VekImage ownBitsAlone(const VekImage* image)
{
    VekImage alone = *image;
    alone.maskROI = nullptr;
    alone.alphaChannel = 0;
    alone.imageSize = alone.imageSize == 1 ? 2 : 1;
    return alone;
}

/* 1: dst OR mask. 0: dst AND the mask inverted, which is turned and turned back. */
static void ownSetBits(const OwnFace& face, const OwnMove& move, const VekImage* dstImage, int32_t value)
{
    VekImage dst = ownBitsAlone(dstImage), mask = ownBitsAlone(move.mask);
    if (value) vekOr(&dst, &mask, &dst);
    else {
        vekXorS(&mask, &mask, 1);
        vekAnd(&dst, &mask, &dst);
        vekXorS(&mask, &mask, 1);
    }
    if (vekGetErrStatus() < 0) ownFail(face, VEK_StatusBacktrace, "", __LINE__);
}

/* ---- Tiles --------------------------------------------------------------------------------------------------- */

/* vekSet is called again on each piece, under private headers. */
static void ownSetPieces(const OwnFace& face, const OwnMove& move, int32_t value)
{
    OwnPieces walk = {};
    walk.face = &face;
    walk.nParts = 1;
    walk.part[0] = {
        move.image[0], move.x[0], move.y[0], false, VEK_TILE_WRITE, VEK_StatusFailed, "Error get tile to write"};
    walk.width = move.width;
    walk.height = move.height;
    VekImage mask = move.mask ? *move.mask : VekImage{};
    const VekROI region = move.mask ? ownRegion(move.mask) : VekROI{};
    while (ownOpenPiece(walk)) {
        VekROI part = {0, region.xOffset + walk.x, region.yOffset + walk.y, walk.nColumns, walk.nRows};
        mask.roi = &part;
        walk.header[0].maskROI = move.mask ? &mask : nullptr;
        vekSet(&walk.header[0], value);
        ownClosePiece(walk);
    }
}

/* ---- The two functions --------------------------------------------------------------------------------------- */

void vekSet(VekImage* dstImage, int32_t fillValue)
{
    OWN_FACE("vekSet", "vekSCE");
    OWN_REFUSE_HEADER(dstImage);
    OWN_FAIL_IF(dstImage->depth == VEK_DEPTH_32F, VEK_StatusBadDepth, "You should use vekSetFP for this image");
    OwnMove move;
    const VekImage* image[1] = {dstImage};
    const int32_t value = ownSetLimit(dstImage->depth, fillValue);
    if (!ownBeginMove(face, 1, image, &move)) return;
    if (move.isTiled()) return ownSetPieces(face, move, value);
    if (dstImage->depth == VEK_DEPTH_1U && move.mask) return ownSetBits(face, move, dstImage, value);
    ownSetSamples(move, dstImage, value);
}

struct OwnFloatFill {
    const OwnFace& face;
    float value;
};

/* The float's bits, as an integer. */
static void ownSetFloat(VekImage* dstImage, const void* fillValue)
{
    const OwnFace& face = ((const OwnFloatFill*)fillValue)->face;
    vekSet(dstImage, std::bit_cast<int32_t>(((const OwnFloatFill*)fillValue)->value));
    if (vekGetErrStatus() < 0) ownFail(face, VEK_StatusBacktrace, "", __LINE__);
}

void vekSetFP(VekImage* dstImage, float fillValue)
{
    OWN_FACE("vekSetFP", "vekSCE");
    OWN_REFUSE_IF(dstImage==0);
    OWN_FAIL_IF(dstImage->depth != VEK_DEPTH_32F, VEK_StatusBadDepth, "You should use vekSet for this image");
    const OwnFloatFill fill = {face, fillValue};
    ownWithDepth(dstImage, VEK_DEPTH_32S, ownSetFloat, &fill);
}
