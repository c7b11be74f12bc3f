/* vek.h: the public interface of VEK, an image-processing library. C99 and C++.
 *
 * The caller owns all pixels and describes them by a plain record, VekImage. Every operation reads and
 * writes pixels where that record says they are, and touches nothing else.
 *
 * What all image operations share
 * -------------------------------
 * Results. Operations return nothing, unless their text says otherwise. A failure is stored as the
 *   calling thread's status (vekGetErrStatus) and then told to the thread's reporter (vekRedirectError).
 *   A success leaves the stored status as it was: clear it with vekSetErrStatus(0) before a call whose
 *   outcome matters. Every refusal comes before the first pixel is written.
 *
 * [T] The tests of a point operation, in this order; the first that fails ends the call:
 *   - the header of each image, sources first (vekCheckImageHeader): its status, "Incorrect Image";
 *   - -5 "(srcImage->depth != dstImage->depth)"          (with two sources: srcImageA, then srcImageB);
 *   - -5 "(srcImage->dataOrder != dstImage->dataOrder)"  (likewise);
 *   - -5 "(nChSrc != nChDst)"                            (with two sources: nChSrcA, then nChSrcB);
 *   - -4 "Out of memory" when several masks cannot be merged.
 *   Sizes, origin, align, colorModel and channelSeq are not compared; row 0 is the first row in memory.
 *
 * [W] What a point operation writes:
 *   - Rectangle. The regions (roi) of the images are laid corner to corner at their top-left; what all of
 *     them share is processed. A region that lies partly outside its image is clipped, one that lies
 *     wholly outside gives no work and no failure.
 *   - Channels. All channels but alpha; with roi->coi above 0 that channel alone, which may be the alpha
 *     channel. The two sides may name different channels; their counts must agree.
 *   - Masks. A pixel is processed where the mask (maskROI) of every image has a 1, mask regions being
 *     laid on the rectangle corner to corner too. Masks that share no pixel end the call silently.
 *   - Padding of the rows and all samples outside the rectangle keep their values, with one exception:
 *     without masks and alpha, when all images agree in width, height, imageSize and align, are taken whole,
 *     and widthStep is a whole number of samples, imageSize bytes are one run, and dst's padding goes with it.
 *   - In place. A source may be the destination (the same header). Other overlap is not supported.
 *
 * Tiles. An image whose pixels come by callback (tileInfo) is visited tile by tile, with at most one of
 *   its tiles open at a time. A tile that is not delivered: -5
 *   "(srcImage->tileInfo->tileData == ((void*)(0)))" (or srcImageA, srcImageB, dstImage), the call ends,
 *   open tiles are not released, and the pixels written so far stay.
 *
 * Threads. Status, error mode and reporter belong to the calling thread. Threads may work on different
 *   images at once; the library starts no thread and takes no lock.
 */
#ifndef VEK_H
#define VEK_H

#include <stdint.h>

#if defined(_WIN32) && defined(VEK_BUILD)
#define VEK_API __declspec(dllexport)
#elif defined(_WIN32) && !defined(VEK_STATIC)
#define VEK_API __declspec(dllimport)
#elif defined(__GNUC__)
#define VEK_API __attribute__((visibility("default")))
#else
#define VEK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status and reporting ------------------------------------------------------------------------ */

/* 0 for no error, negative otherwise. */
typedef int32_t VekStatus;

enum {
    VEK_StatusOk = 0,
    VEK_StatusBacktrace = -1, /* passes on the failure of an inner call; never stored */
    VEK_StatusFailed = -2,    /* a failure without a code of its own, as of a tile callback */
    VEK_StatusInternal = -3,  /* a state that cannot occur */
    VEK_StatusNoMemory = -4,  /* scratch or a result could not be allocated */
    VEK_StatusBadArg = -5,    /* an argument failed its test; the context is the text of the test */
    VEK_StatusUnsupported = -6,
    VEK_StatusNoConvergence = -7,
    VEK_StatusAutotrace = -8,  /* traces a call; never stored */
    VEK_StatusNullHeader = -9, /* from here on: what vekCheckImageHeader found */
    VEK_StatusBadImageSize = -10,
    VEK_StatusBadRoiOffset = -11,
    VEK_StatusBadDataPointers = -12,
    VEK_StatusBadWidthStep = -13,
    VEK_StatusBadColorModel = -14,
    VEK_StatusBadChannels = -15,
    VEK_StatusBad1uChannels = -16,
    VEK_StatusBadDepth = -17,
    VEK_StatusBadAlpha = -18,
    VEK_StatusBadDataOrder = -19,
    VEK_StatusBadOrigin = -20,
    VEK_StatusBadAlign = -21,
    VEK_StatusNullCallback = -22,
    VEK_StatusBadTileSize = -23,
    VEK_StatusBadCoi = -24,
    VEK_StatusBadRoiSize = -25,
    VEK_StatusTiledMask = -26 /* a mask image has tiles */
    /* The same failures of a mask image: the code minus 100 (-110 to -125). */
};

/* Error modes: what the reporters do with a failure. */
enum {
    VEK_ErrorModeLeaf = 0,    /* report at the place of the error; the application is to end */
    VEK_ErrorModeParent = 1,  /* report; the caller may go on */
    VEK_ErrorModeNoReport = 2 /* report nothing */
};

/* A reporter is told of each failure, on the thread that ran the operation.
 *   status    what failed
 *   funcName  the exported function, or null
 *   context   what was wrong, as a rule the text of the failed test; or null
 *   file      the library's module, or null
 *   line      a line in it, or 0
 *   returns   what vekError is to return: the library's own reporters return status */
typedef VekStatus (*VekReporter)(VekStatus status, const char* funcName, const char* context, const char* file,
                                 int32_t line);

/* vekGetErrStatus, vekSetErrStatus: the calling thread's stored status; any value may be stored. A failure
 * overwrites it, a success does not. */
VEK_API VekStatus vekGetErrStatus(void);
VEK_API void vekSetErrStatus(VekStatus status);

/* vekGetErrMode, vekSetErrMode: the calling thread's error mode (VEK_ErrorModeLeaf at first). Any value may be
 * stored; values other than the three named ones make vekGuiBoxReport silent. */
VEK_API int32_t vekGetErrMode(void);
VEK_API void vekSetErrMode(int32_t mode);

/* vekRedirectError: installs the calling thread's reporter.
 *   reporter  the new reporter; null installs vekGuiBoxReport, which every thread starts with
 *   returns   the reporter that was installed before */
VEK_API VekReporter vekRedirectError(VekReporter reporter);

/* vekError: raises a failure, as the library itself does. A status other than -1 and -8 is stored; then, unless
 * status is 0, the thread's reporter gets the five arguments unchanged.
 *   returns   what the reporter returned; 0 for status 0 */
VEK_API VekStatus vekError(VekStatus status, const char* funcName, const char* context, const char* file, int32_t line);

/* vekErrorStr: the text of a status, "Unknown error or status code" for one without a text.
 *   returns   constant storage, valid as long as the library is loaded */
VEK_API const char* vekErrorStr(VekStatus status);

/* vekNulDevReport: the silent reporter. In mode VEK_ErrorModeLeaf it ends the process with exit code 1. */
VEK_API VekStatus vekNulDevReport(VekStatus status, const char* funcName, const char* context, const char* file,
                                  int32_t line);

/* vekStdErrReport: writes the failure to the standard error stream; nothing in mode VEK_ErrorModeNoReport. In mode
 * VEK_ErrorModeLeaf it then ends the process with exit code 1. */
VEK_API VekStatus vekStdErrReport(VekStatus status, const char* funcName, const char* context, const char* file,
                                  int32_t line);

/* vekGuiBoxReport: the default reporter. Asks in a message box whether to go on, in mode VEK_ErrorModeLeaf (Terminate
 * the application?) and VEK_ErrorModeParent (Continue?); the answer may end the process with exit code 1. Shows
 * nothing in other modes. Where there are no message boxes the controlling terminal is asked, when there is one and
 * the process is in its foreground; otherwise the message goes to the standard error stream and the call returns. */
VEK_API VekStatus vekGuiBoxReport(VekStatus status, const char* funcName, const char* context, const char* file,
                                  int32_t line);

/* What the loaded module is. */
typedef struct VekLibVersion {
    int32_t majorVersion;    /* of the interface */
    int32_t minorVersion;    /* rises when something is added */
    int32_t buildNumber;     /* rises when something is mended */
    const char* moduleName;  /* a file name: "vekA6.dll" on every platform */
    const char* versionText; /* the version in words */
    const char* buildTag;    /* the version and date in brackets */
    const char* buildDate;   /* as the compiler writes dates */
    const char* moduleKind;  /* "DLL" */
} VekLibVersion;

/* vekGetLibVersion: the version of the library. Constant; never null. */
VEK_API const VekLibVersion* vekGetLibVersion(void);

/* ---- Image records ------------------------------------------------------------------------------- */

/* Depth: the bits of a sample, and the sign bit for signed integers. 32 without sign is floating point. */
#define VEK_DEPTH_SIGN 0x80000000u
#define VEK_DEPTH_1U 1u
#define VEK_DEPTH_8U 8u
#define VEK_DEPTH_16U 16u
#define VEK_DEPTH_32F 32u
#define VEK_DEPTH_8S (VEK_DEPTH_SIGN | 8u)
#define VEK_DEPTH_16S (VEK_DEPTH_SIGN | 16u)
#define VEK_DEPTH_32S (VEK_DEPTH_SIGN | 32u)

enum { VEK_DATA_ORDER_PIXEL = 0, VEK_DATA_ORDER_PLANE_WISE = 1 };
enum { VEK_ORIGIN_TOP_LEFT = 0, VEK_ORIGIN_BOTTOM_LEFT = 1 };

/* Border modes: what a pixel outside the image reads. */
enum {
    VEK_BORDER_FIXED = 0,  /* the side's constant */
    VEK_BORDER_EDGE = 1,   /* the nearest pixel of the image */
    VEK_BORDER_MIRROR = 2, /* the image mirrored at its edge, the edge pixel repeated */
    VEK_BORDER_WRAP = 3    /* the image repeated periodically */
};

/* Sides, for vekSetBorderMode. A corner belongs to its top or bottom side. */
enum { VEK_SIDE_TOP = 1, VEK_SIDE_BOTTOM = 2, VEK_SIDE_LEFT = 4, VEK_SIDE_RIGHT = 8 };

/* Parts of an image, for vekDeallocate. */
enum { VEK_IMAGE_HEADER = 1, VEK_IMAGE_DATA = 2, VEK_IMAGE_ROI = 4, VEK_IMAGE_TILE = 8, VEK_IMAGE_MASK = 16 };

typedef struct VekImage VekImage;

/* Region of interest. Offsets and sizes in pixels; the first row in memory is row 0. */
typedef struct VekROI {
    int32_t coi;     /* channel of interest from 1; 0 for all channels */
    int32_t xOffset; /* the leftmost column */
    int32_t yOffset; /* the first row */
    int32_t width;   /* columns */
    int32_t height;  /* rows */
} VekROI;

/* A tile callback delivers or takes back one tile of an image, on the calling thread. It gets the header that the
 * caller passed to the operation, the tile's column and row from 0, and a mode:
 *   VEK_TILE_READ     store the tile's pixels in image->tileInfo->tileData (null: not to be had)
 *   VEK_TILE_WRITE    the same, for a tile that will be changed
 *   VEK_TILE_RELEASE  take it back; after a write, save it
 * A tile is laid out like an image of the tile's width and height with the header's depth, channels, data order and
 * align. The callback may call the library for other images; it must not change the header. */
enum { VEK_TILE_READ = 1, VEK_TILE_WRITE = 2, VEK_TILE_RELEASE = 4 };
typedef void (*VekTileFunc)(const VekImage* image, int32_t column, int32_t row, int32_t mode);

/* The tiles of an image. */
typedef struct VekTileInfo {
    VekTileFunc callBack; /* delivers a tile, and takes it back */
    void* tileId;         /* the caller's; never read */
    uint8_t* tileData;    /* the tile now held */
    int32_t width;        /* of a tile, in pixels; a multiple of 8 */
    int32_t height;       /* of a tile, the same */
} VekTileInfo;

/* Pixel (x, y) of channel c from 0 is sample x * nChannels + c of row y (pixel order), or sample x of row
 * c * height + y (plane order); a row begins widthStep bytes after the one before. 1-bit images hold eight pixels in
 * a byte, the leftmost in the top bit. Pixels may lie at any address and rows at any widthStep. */
struct VekImage {
    int32_t headerSize;     /* sizeof(VekImage) */
    int32_t headerId;       /* 0 */
    int32_t nChannels;      /* at least 1; 1 for VEK_DEPTH_1U */
    int32_t alphaChannel;   /* 0 for none, otherwise nChannels */
    uint32_t depth;         /* VEK_DEPTH_... */
    char colorModel[4];     /* "RGB", "GRAY", ...; not terminated */
    char channelSeq[4];     /* "BGR", "GRAY", ...; not terminated */
    int32_t dataOrder;      /* VEK_DATA_ORDER_... */
    int32_t origin;         /* VEK_ORIGIN_...: which end of the picture row 0 is */
    int32_t align;          /* of rows, in bytes: 4 or 8 */
    int32_t width;          /* in pixels */
    int32_t height;         /* in rows, of each plane */
    VekROI* roi;            /* null for the whole image */
    VekImage* maskROI;      /* a 1-bit image, or null */
    void* imageId;          /* the caller's; never read */
    VekTileInfo* tileInfo;  /* null for an image that holds its pixels in one block */
    int32_t imageSize;      /* bytes of pixels, padding included */
    uint8_t* imageData;     /* the first row; null for a tiled image */
    int32_t widthStep;      /* bytes from a row to the next */
    int32_t borderMode[4];  /* top, bottom, left, right */
    int32_t borderConst[4]; /* of the same sides, for VEK_BORDER_FIXED */
    uint8_t* rawImageData;  /* the block to free, null when the library did not allocate it */
};

/* ---- Memory -------------------------------------------------------------------------------------- */

/* vekMalloc, vekwMalloc, vekiMalloc, veksMalloc, vekdMalloc: a block for a count of bytes, 16-bit, 32-bit (integer or
 * float) or 64-bit items, aligned to 32 bytes, contents undefined; at least 33 bytes follow it. A count of 0 gives a
 * block too. To be freed by vekFree.
 *   returns   null for a negative count and when memory is short; no status is stored, nothing is reported */
VEK_API void* vekMalloc(int32_t length);
VEK_API int16_t* vekwMalloc(int32_t count);
VEK_API int32_t* vekiMalloc(int32_t count);
VEK_API float* veksMalloc(int32_t count);
VEK_API double* vekdMalloc(int32_t count);

/* vekFree: frees a block of the functions above; null is ignored. */
VEK_API void vekFree(void* block);

/* ---- Creating, checking and releasing images ----------------------------------------------------- */

/* vekCreateImageHeader: a new image record without pixels.
 *   nChannels       at least 1; exactly 1 for VEK_DEPTH_1U
 *   alphaChannel    0, or nChannels
 *   colorModel, channelSeq  four characters each, copied; shorter names are padded by the caller
 *   align           4 or 8; widthStep is the row's bytes rounded up to it
 *   roi, maskROI, imageId, tileInfo  stored as given, not copied; may be null. Of these only maskROI is examined
 *   returns         the record, to be released by vekDeallocate; null on failure
 *   refuses         all with "Incorrect data-ins": -10 a width or height below 1; -15; -16; -14 a null name; -17;
 *                   -18; -19; -20; -21; -117 a mask that is not 1-bit; -26 a tiled mask; the mask's own header status
 *                   minus 100; -10 a widthStep or imageSize beyond 2147483647. When memory is short: null, no report */
VEK_API VekImage* vekCreateImageHeader(int32_t nChannels, int32_t alphaChannel, uint32_t depth, const char* colorModel,
                                       const char* channelSeq, int32_t dataOrder, int32_t origin, int32_t align,
                                       int32_t width, int32_t height, VekROI* roi, VekImage* maskROI, void* imageId,
                                       VekTileInfo* tileInfo);

/* vekAllocateImage (all depths but 32F), vekAllocateImageFP (32F): gives an image its pixels; widthStep and imageSize
 * are computed afresh.
 *   doFill      not 0: fill the block, padding included, with fillValue (its low bits for narrow depths)
 *   on failure  imageData stays null; when memory is short there is no report
 *   refuses     -5 "( image == ((void *)0) )"; -5 "( image->imageData != ((void *)0) )";
 *               -5 "( image->tileInfo != ((void *)0) )"; -5 "( image->depth == 32 )", for the float function
 *               "( image->depth != 32 )"; then as vekCreateImageHeader */
VEK_API void vekAllocateImage(VekImage* image, int32_t doFill, int32_t fillValue);
VEK_API void vekAllocateImageFP(VekImage* image, int32_t doFill, float fillValue);

/* vekDeallocateImage: frees the pixels that the library allocated, and clears imageData in any case. Null is ignored. */
VEK_API void vekDeallocateImage(VekImage* image);

/* vekDeallocateHeader: frees the record alone; the same as vekDeallocate(image, VEK_IMAGE_HEADER). */
VEK_API void vekDeallocateHeader(VekImage* image);

/* vekDeallocate: frees parts of an image. Null is ignored.
 *   flags  a sum of VEK_IMAGE_ROI, VEK_IMAGE_MASK (the mask with its header, pixels, ROI and tile record, but not the
 *          mask's own mask), VEK_IMAGE_TILE, VEK_IMAGE_DATA (only pixels that the library allocated), VEK_IMAGE_HEADER */
VEK_API void vekDeallocate(VekImage* image, int32_t flags);

/* vekCloneImage: a new image with the source's fields, a copy of its ROI and of its pixels, and no mask, tile record or
 * id. The clone of a tiled image has pixels of its own with undefined contents.
 *   returns  the clone, to be released by vekDeallocate(clone, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI); null
 *            on failure
 *   refuses  the header's status, "Incorrect Image"; -4 "Not enough memory to allocate header for clone image", "... roi
 *            for clone image", "... imageData for clone image" */
VEK_API VekImage* vekCloneImage(const VekImage* image);

/* vekCheckImageHeader: the validity test that every operation begins with. The first of these that fails gives the
 * status, which is stored; nothing is reported:
 *   -9 null; -12 not exactly one of imageData and tileInfo; without tiles: -10 imageSize, -13 widthStep below 1;
 *   -10 width or height below 1; -15 nChannels below 1; -16 more than one 1-bit channel; -17 depth; -18 alphaChannel;
 *   -19 dataOrder; -20 origin; -21 align; of a mask: -117 not 1-bit, -26 tiled, its own header's status minus 100;
 *   of tiles: -22 no callback, -23 a size below 1 or no multiple of 8; of a region: -24 coi negative or above nChannels,
 *   -25 a size below 1, -11 a negative offset.
 *   returns  0, or the status. A region that lies outside the image passes. */
VEK_API VekStatus vekCheckImageHeader(const VekImage* image);

/* vekCreateROI, vekSetROI, vekDeleteROI: region records. Nothing is examined; vekCreateROI returns null when memory is
 * short; vekSetROI and vekDeleteROI ignore null. */
VEK_API VekROI* vekCreateROI(int32_t coi, int32_t xOffset, int32_t yOffset, int32_t width, int32_t height);
VEK_API void vekSetROI(VekROI* roi, int32_t coi, int32_t xOffset, int32_t yOffset, int32_t width, int32_t height);
VEK_API void vekDeleteROI(VekROI* roi);

/* vekCreateTileInfo, vekSetTileInfo, vekDeleteTileInfo: tile records; tileData starts as null. Nothing is examined;
 * vekCreateTileInfo returns null when memory is short; the others ignore null. */
VEK_API VekTileInfo* vekCreateTileInfo(VekTileFunc callBack, void* tileId, int32_t width, int32_t height);
VEK_API void vekSetTileInfo(VekTileInfo* tileInfo, VekTileFunc callBack, void* tileId, int32_t width, int32_t height);
VEK_API void vekDeleteTileInfo(VekTileInfo* tileInfo);

/* vekSetBorderMode: how pixels outside the image are read on the sides named. Null is ignored, nothing is examined; a
 * mode outside the four acts as VEK_BORDER_FIXED.
 *   sides     a sum of VEK_SIDE_TOP, VEK_SIDE_BOTTOM, VEK_SIDE_LEFT, VEK_SIDE_RIGHT
 *   constant  what VEK_BORDER_FIXED reads, as a sample value */
VEK_API void vekSetBorderMode(VekImage* image, int32_t mode, int32_t sides, int32_t constant);

/* vekGetPixelBordered: one sample of an image, inside it or outside by its border settings. Tiled images are read
 * through their callback. The image must be valid.
 *   x, y     any pixel position in the whole image (regions play no part)
 *   channel  from 1
 *   returns  the sample, widened to 32 bits by its sign; of a 32F image the bits of the float */
VEK_API int32_t vekGetPixelBordered(const VekImage* image, int32_t x, int32_t y, int32_t channel);

/* vekGetRowBordered: count samples of row y from column x on, as vekGetPixelBordered gives each of them.
 *   buffer   count samples of the image's own type; 1-bit samples from the top bit of the first byte on, the last
 *            byte's spare bits untouched */
VEK_API void vekGetRowBordered(const VekImage* image, int32_t x, int32_t y, int32_t channel, void* buffer,
                               int32_t count);

/* ---- Arithmetic and logic: an image and a constant ----------------------------------------------- */

/* vekAddS: dst = src + value, clamped to the range of the depth.
 *   srcImage, dstImage  same depth and data order; may be the same image
 *   value               any 32-bit integer
 *   depths              8U 8S 16U 16S (as vekSubtractS with -value, which then reports), 32S; 1U as vekOrS
 *   writes              [W]
 *   refuses             -5 "srcImage==0"; -5 "For processing depth 32F use function vekAddSFP"; then [T] */
VEK_API void vekAddS(const VekImage* srcImage, VekImage* dstImage, int32_t value);

/* vekSubtractS: dst = src - value, or value - src, clamped to the range of the depth.
 *   srcImage, dstImage  same depth; the data orders may differ; may be the same image
 *   value               any 32-bit integer
 *   flip                0 for src - value, otherwise value - src
 *   depths              1U (the low bit of value counts; as vekXorS and vekAndS), 8U 8S 16U 16S 32S
 *   writes              [W]
 *   refuses             -5 "srcImage==0"; -5 "For processing depth 32F use function vekSubtractSFP"; then [T] without
 *                       the test of data orders. A constant that makes all of an unsigned result 0 or all ones goes to
 *                       vekAndS or vekOrS, whose tests then hold */
VEK_API void vekSubtractS(const VekImage* srcImage, VekImage* dstImage, int32_t value, int32_t flip);

/* vekMultiplyS: dst = src * value, clamped to the range of the depth.
 *   srcImage, dstImage  same depth and data order; may be the same image
 *   value               any 32-bit integer
 *   depths              1U (as vekAndS), 8U 8S 16U 16S, 32S (the product in double, then clamped and chopped)
 *   writes              [W]
 *   refuses             -5 "srcImage==0"; -5 "For processing depth 32F use function vekMultiplySFP"; then [T] */
VEK_API void vekMultiplyS(const VekImage* srcImage, VekImage* dstImage, int32_t value);

/* vekAndS, vekOrS, vekXorS: dst = src AND, OR, XOR value, bit by bit.
 *   srcImage, dstImage  same depth and data order (1U: any order); may be the same image
 *   value               its low bits, as many as a sample has
 *   depths              1U 8U 8S 16U 16S 32S
 *   writes              [W]
 *   refuses             [T] (1U without the test of data orders); -5 "This function does not support depth 32F" */
VEK_API void vekAndS(const VekImage* srcImage, VekImage* dstImage, uint32_t value);
VEK_API void vekOrS(const VekImage* srcImage, VekImage* dstImage, uint32_t value);
VEK_API void vekXorS(const VekImage* srcImage, VekImage* dstImage, uint32_t value);

/* vekLShiftS: dst = src << value, high bits dropped. vekRShiftS: dst = src >> value, by the sign for signed depths.
 *   srcImage, dstImage  same depth and data order; may be the same image
 *   value               bits; as many as the sample has, or more: 0 (vekRShiftS on signed depths: 0 or -1 by the sign)
 *   depths              1U 8U 8S 16U 16S 32S
 *   writes              [W]
 *   refuses             -5 "srcImage==0"; [T]; -5 "This function does not support depth 32F". A shift by 0 is done by
 *                       vekXorS, one that clears all by vekAndS; their tests then hold, under their names */
VEK_API void vekLShiftS(const VekImage* srcImage, VekImage* dstImage, uint32_t value);
VEK_API void vekRShiftS(const VekImage* srcImage, VekImage* dstImage, uint32_t value);

/* vekAddSFP, vekSubtractSFP, vekMultiplySFP: dst = src + value; src - value, or value - src with flip not 0;
 * src * value. Computed in double and rounded once, not clamped: infinities and NaN pass.
 *   srcImage, dstImage  32F, same data order; may be the same image
 *   writes              [W]
 *   refuses             -5 "srcImage==0"; -5 "For processing this depth use function vekAddS" (vekSubtractS,
 *                       vekMultiplyS); then [T] */
VEK_API void vekAddSFP(const VekImage* srcImage, VekImage* dstImage, float value);
VEK_API void vekSubtractSFP(const VekImage* srcImage, VekImage* dstImage, float value, int32_t flip);
VEK_API void vekMultiplySFP(const VekImage* srcImage, VekImage* dstImage, float value);

/* ---- Arithmetic and logic: two images ------------------------------------------------------------ */

/* vekAdd, vekSubtract, vekMultiply: dst = A + B, A - B, A * B, clamped to the range of the depth; 32F in single
 * precision, not clamped; 32S products in double, then clamped and chopped.
 *   srcImageA, srcImageB, dstImage  same depth and data order (vekSubtract on 1U: any order); dst may be A or B
 *   depths   1U (vekAdd as vekOr, vekMultiply as vekAnd, vekSubtract A AND NOT B), 8U 8S 16U 16S 32S 32F
 *   writes   [W]
 *   refuses  -5 "srcImageA==0" (not vekSubtract); then [T] */
VEK_API void vekAdd(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);
VEK_API void vekSubtract(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);
VEK_API void vekMultiply(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);

/* vekAnd, vekOr, vekXor: dst = A AND B, A OR B, A XOR B, bit by bit.
 *   srcImageA, srcImageB, dstImage  same depth and data order (1U: any order); dst may be A or B
 *   depths   1U 8U 8S 16U 16S 32S
 *   writes   [W]
 *   refuses  [T] (1U without the test of data orders); -5 "This function does not support depth 32F" */
VEK_API void vekAnd(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);
VEK_API void vekOr(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);
VEK_API void vekXor(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);

/* ---- Arithmetic and logic: one image ------------------------------------------------------------- */

/* vekNot: dst = NOT src, every bit inverted. It is vekXorS(srcImage, dstImage, -1), and reports under that name.
 *   depths   1U 8U 8S 16U 16S 32S */
VEK_API void vekNot(const VekImage* srcImage, VekImage* dstImage);

/* vekSquare: dst = src * src, clamped to the range of the depth; 32F in single precision, not clamped; 1U a copy.
 *   srcImage, dstImage  same depth and data order (1U: any order); may be the same image
 *   depths   1U 8U 8S 16U 16S 32S 32F
 *   writes   [W]
 *   refuses  [T] */
VEK_API void vekSquare(const VekImage* srcImage, VekImage* dstImage);

/* vekAbs: dst = |src|, not clamped: the lowest value of a signed depth stays itself. Unsigned depths: a copy.
 *   srcImage, dstImage  same depth and data order; may be the same image. A coi above 0 on an image of several channels
 *            needs one on the other image too, which then has several channels as well. Where only one image has alpha the
 *            counts are not compared, and the smaller one is processed
 *   depths   1U 8U 8S 16U 16S 32S
 *   writes   [W]
 *   tiles    the callback must clear tileData on VEK_TILE_RELEASE
 *   refuses  the headers, -5 depth and data order as in [T]; -5 "(nChSrc != nChDst)", on nChannels, when both images or
 *            neither have alpha; -5 "(nChSrcCoi != nChDstCoi)"; -5 "(aChSrc != aChDst)"; -4 "Out of memory";
 *            -5 "This function does not support depth 32F";
 *            -5 "(srcImage->tileInfo->tileData != ((void*)(0)))" or dstImage, after a release */
VEK_API void vekAbs(const VekImage* srcImage, VekImage* dstImage);

/* ---- Movement ------------------------------------------------------------------------------------ */

/* vekCopy: dst = src. vekExchange: A and B change places.
 *   srcImage, dstImage  same depth, origin and, with several channels, data order; the same image: nothing is done
 *   depths   1U 8U 8S 16U 16S 32S 32F
 *   writes   [W], but row padding never. Alpha can't be the channel that is moved: a coi that names it, or one channel
 *            that is alpha, ends the call silently. vekExchange writes both images
 *   refuses  the headers, as in [T]; then each of -5 "srcImage->depth != dstImage->depth", "srcImage->origin !=
 *            dstImage->origin", "srcImage->dataOrder != dstImage->dataOrder" (not for 1U, nor for two images of one
 *            channel) that fails is reported; then, silently, whenever the thread's stored status is negative, whatever
 *            left it; -24 "srcImage COI != dstImage COI"; -1 "" with merged or cut masks, when memory is short.
 *            Tiles not delivered: -2 "Error get tile to read", "Error get tile to write". vekExchange calls both images
 *            by srcImage and dstImage, and needs scratch: -4 "Out of memory" */
VEK_API void vekCopy(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekExchange(VekImage* imageA, VekImage* imageB);

/* vekSet, vekSetFP: every sample of the region takes one value, held to the range of the depth.
 *   dstImage   its own mask counts; under a mask a 1U region takes the value where the mask is 1, by vekOr or vekAnd, whose
 *              tests then hold; while vekSetFP works its depth is 32S, which a reporter that leaves by longjmp leaves so
 *   fillValue  any value
 *   depths     1U 8U 8S 16U 16S 32S; vekSetFP 32F
 *   writes     as vekCopy
 *   refuses    the header; -17 "You should use vekSetFP for this image". vekSetFP: -5 "dstImage==0"; -17 "You should use
 *              vekSet for this image"; then as vekSet, under its name. A negative status after the fill is reported as
 *              -1 "" by vekSetFP, and by vekSet for 1U under a mask, even when an earlier call left it.
 *              A tile not delivered: -2 "Error get tile to write" */
VEK_API void vekSet(VekImage* dstImage, int32_t fillValue);
VEK_API void vekSetFP(VekImage* dstImage, float fillValue);

/* vekConvert: dst = src, held to the range of dst's depth, without scaling. To 1U: a bit is set where the sample is above 0.
 *   srcImage, dstImage  same width and height; data orders may differ; where the origins differ the rows are reversed; the
 *            same image: nothing is done
 *   depths   8U 8S 16U 16S 32S to each of these, and to 1U (of several channels by src's coi); 1U to 1U
 *   writes   the whole image, all channels with alpha; regions and masks play no part. Between 1U images whole bytes move
 *   refuses  the headers; -5 "(srcImage->depth == 32)"; "(dstImage->depth == 32)"; "(srcImage->height !=
 *            dstImage->height)"; "(srcImage->width != dstImage->width)"; to 1U, with several channels "(srcImage->roi == 0)",
 *            "(srcImage->roi->coi == 0)"; otherwise "srcImage->nChannels != dstImage->nChannels",
 *            "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))"; tiles not delivered: -5
 *            "(dstImage->tileInfo->tileData == ((void *)0))", srcImage */
VEK_API void vekConvert(const VekImage* srcImage, VekImage* dstImage);

/* vekBitonalToGray: dst = src ? OneScale : ZeroScale, in every channel.
 *   srcImage, dstImage   1U of one channel; same width and height; where the origins differ the rows are reversed
 *   ZeroScale, OneScale  within the range of dst's depth
 *   depths   1U to 8U 8S 16U 16S 32S
 *   writes   the whole image, all channels with alpha; regions and masks play no part
 *   refuses  the headers; -5 for sizes as vekConvert; "(srcImage->nChannels != 1)"; "(srcImage->depth != 1)";
 *            "(dstImage->depth == 32)"; "(dstImage->depth == 1)"; scales out of range, as
 *            "((dstImage->depth == 8) && (ZeroScale > 255))"; tiles as vekConvert */
VEK_API void vekBitonalToGray(const VekImage* srcImage, VekImage* dstImage, int32_t ZeroScale, int32_t OneScale);

/* vekMirror: dst = src with its rows reversed (flipAxis 0), its columns (1), or both (-1).
 *   srcImage, dstImage  same depth; may be the same image
 *   depths   1U 8U 8S 16U 16S 32S
 *   writes   [W], but row padding never, and in 1U a bit whose mask is 0 is cleared. The mask of src goes with src's
 *            pixels, that of dst with dst's
 *   refuses  the headers; -17 "srcImage->depth = 32F"; -5 "(srcImage->depth!=dstImage->depth)";
 *            "((flipAxis>1)||(flipAxis<-1))"; -16 "srcImage->alphaChannel", "dstImage->alphaChannel" of 1U; -15 "" where
 *            the counts of channels differ; -4 "Out of memory", but none in place; tiles as vekConvert */
VEK_API void vekMirror(const VekImage* srcImage, VekImage* dstImage, int32_t flipAxis);

/* ---- Compositing --------------------------------------------------------------------------------- */

/* Samples stand for fractions: the highest value of the depth is 1. m(a, b) is the product in that sense, without a
 * division: (x + (x >> n) + 1) >> n, where x = a * b and n is 8 or 16; m(highest, b) is b.
 *
 * These functions differ from [W] and [T] in this: data order and origin are not compared, each image is read and written
 * by its own; padding is never written; a call on an image that has nothing but alpha, or whose coi is its alpha channel,
 * does nothing; blocks of tiled images are laid on the tiles of the first tiled image, destination first, and a block of
 * another image that touches several tiles goes through a private copy. Their refusals, in this order:
 *   - each image, destination first: -5 "dstImage==0"; its header's status, "Incorrect Image";
 *     -5 "dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels" (so for each by its name);
 *   - -5 "dstImage->depth != 8 && dstImage->depth != 16"; -5 "srcImage->depth != dstImage->depth";
 *   - a coi on one side alone: -5 "dstImage->roi->coi > 0 && srcImage->roi == 0" and its three siblings; without a coi
 *     -5 on the channel counts less alpha;
 *   - -4 "No working memory", -1 "Bad masks for images" when several masks cannot be merged;
 *   - later: -2 "ERROR in Tiling callBack" for a tile that is not delivered, and nothing stays open; -4 "No working
 *     memory" and -3 "Internal tiling error" for the private copies. Blocks before the failure stay written. */

/* vekMultiplyScale: dst = m(A, B). vekMultiplySScale: dst = m(src, value).
 *   srcImage, dstImage  same depth; may be the same image
 *   value               held to 0 .. 255, 0 .. 65535
 *   depths   8U 16U */
VEK_API void vekMultiplyScale(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage);
VEK_API void vekMultiplySScale(const VekImage* srcImage, VekImage* dstImage, int32_t value);

/* vekPreMultiplyAlpha: colour = m(colour, alpha), in place; the alpha channel keeps its value.
 *   alphaValue  0 or more: a constant alpha, held to the depth's range; negative: the pixel's own alpha
 *   depths   8U 16U
 *   refuses  as above, under the name image; -5 "image->depth != 8 && image->depth != 16"; with a negative alphaValue
 *            -5 "image->alphaChannel < 1" */
VEK_API void vekPreMultiplyAlpha(VekImage* image, int32_t alphaValue);

/* The operators, for premultiplied A and B; sums are held to the range of the depth. The alpha of the result is the same
 * formula with the alphas in the place of A and B.
 *   over   A + B - m(B, aA)              atop  m(A, aB) + B - m(B, aA)
 *   in     m(A, aB)                      xor   A - m(aB, A) + B - m(B, aA)
 *   out    A - m(aB, A)                  plus  A + B */
enum {
    COMPOSITE_OVER = 0,
    COMPOSITE_IN = 1,
    COMPOSITE_OUT = 2,
    COMPOSITE_ATOP = 3,
    COMPOSITE_XOR = 4,
    COMPOSITE_PLUS = 5
};

/* vekAlphaCompositeC, vekAlphaComposite: dst = A operator B, colour by colour; the alpha channel of dst keeps its value.
 *   srcImageA, srcImageB, dstImage  same depth; dst may be A or B
 *   compositeType  one of the six operators
 *   aA, aB         constant alphas, held to the depth's range; negative: the source's own alpha channel
 *   alphaImageA    an image with A's alpha in its alpha channel, or in its first one if it has none; null: A's own
 *   alphaImageB    the same for B; null: what aA leaves of the whole
 *   alphaImageDst  gets the alpha of the result in its alpha channel; may be null. It may be any of the others
 *   premulAlpha    1: A and B are premultiplied; 0: they are multiplied by their alphas first
 *   divideMode     0: as computed, without a division; 1: computed in single precision and divided by the result's alpha,
 *                  where that is above 7.689351e-06, rounded to nearest
 *   depths   8U 16U
 *   writes   the rectangle that all regions share, those of alpha images included; masks of alpha images count
 *   refuses  as above for dstImage, srcImageA, srcImageB; where an alpha is read from a source -5
 *            "srcImageA->alphaChannel < 1"; for each alpha image its header, its alphaChannel,
 *            -5 "alphaImageA->depth != dstImage->depth"; -5 "alphaImageDst->alphaChannel < 1"; -5 "compositeType != 0 &&
 *            compositeType != 1 && ..."; -5 "premulAlpha != 0 && premulAlpha != 1"; -5 "divideMode != 0 && divideMode != 1"
 *   source   T. Porter, T. Duff, Compositing Digital Images, 1984 */
VEK_API void vekAlphaCompositeC(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage,
                                int32_t compositeType, int32_t aA, int32_t aB, int32_t premulAlpha, int32_t divideMode);
VEK_API void vekAlphaComposite(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage,
                               int32_t compositeType, const VekImage* alphaImageA, const VekImage* alphaImageB,
                               VekImage* alphaImageDst, int32_t premulAlpha, int32_t divideMode);

/* ---- Bitmaps ------------------------------------------------------------------------------------- */

/* The header of a device-independent bitmap in memory, fields in the processor's order of bytes. On Windows it is the
 * system's own record, of <windows.h>; elsewhere it is this one. */
#ifdef _WIN32
struct tagBITMAPINFOHEADER;
#else
typedef struct tagBITMAPINFOHEADER {
    uint32_t biSize;         /* 40: from here to the colour table */
    int32_t biWidth;         /* in pixels */
    int32_t biHeight;        /* above 0: the first row in memory is the bottom row; below 0: the top row */
    uint16_t biPlanes;       /* 1 */
    uint16_t biBitCount;     /* 1, 4, 8, 16, 24, 32 */
    uint32_t biCompression;  /* 0 none, 1 run lengths of bytes, 2 of 4-bit pixels, 3 masks of fields */
    uint32_t biSizeImage;    /* bytes of the stream that vekConvertToDIB wrote; never read */
    int32_t biXPelsPerMeter; /* never read */
    int32_t biYPelsPerMeter; /* never read */
    uint32_t biClrUsed;      /* entries of the colour table; 0: as many as biBitCount can tell apart */
    uint32_t biClrImportant; /* never read */
} BITMAPINFOHEADER;
#endif

/* A bitmap in memory is one block: the header, a table, the pixels. The table begins biSize bytes behind the header's start
 * and has four bytes an entry: blue, green, red, reserved. Its count of entries:
 *   1, 4, 8 bits      biClrUsed, or 2, 16, 256 when that is 0. More than 256 are legal up to 65536; beyond that the bitmap is
 *                     refused. A pixel whose index has no entry is (0, 0, 0, 0)
 *   16, 32 bits       none; with biCompression 3 the masks of red, green and blue, of which none may be 0
 *   24 bits           none, whatever biClrUsed says
 * The pixels follow the table. A row takes ((biWidth * biBitCount + 31) & ~31) / 8 bytes; biSizeImage is never read.
 *   16 bits   red, green, blue of 5 bits each from bit 14 down, or by the masks (the low 16 bits of each)
 *   32 bits   blue, green, red and a byte without meaning (written as 0), or by the masks; then what lies above the highest
 *             field is alpha, and where nothing does, alpha is the whole pixel
 *   A field that is read keeps its high 8 bits, or is shifted up to 8 without repeating its high bits: 31 of 5 bits is 248.
 *   One that is written gets the byte shifted to its width (16 bits), or the byte at its lowest bit (32 bits).
 * A table is gray when it has more than one entry, and red, green and blue of entry i are i * 255 / (count - 1).
 *
 * Of an image these functions see neither region, channel of interest, mask nor tiles. Its rows lie as far apart as width,
 * depth, nChannels, dataOrder and align say, whatever widthStep says. channelSeq is compared in all its four bytes: "G",
 * "GRAY", "BGR", "BGRA", "RGB", "RGBA", short ones padded with zero bytes. The picture stays upright between any biHeight
 * and any origin. Sources and destinations must not overlap. */

/* vekTranslateDIB: an image that shows a bitmap: on the bitmap's own pixels where they can serve, else on a converted copy.
 *   dib        the bitmap; as long as the image shares its pixels, it must outlive the image
 *   cloneData  out: 1 when the image has pixels of its own, 0 when it shares the bitmap's
 *   returns    the image, to be released by vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); null on failure.
 *              Shared, in pixel order: 1 bit gray ("G", 1U), 8 bits gray without compression ("G", 8U), 24 bits ("BGR", 8U),
 *              32 bits without masks ("BGRA", 8U, alpha channel 4). Copied, in plane order: 4 and 8 bits gray ("G", 8U),
 *              32 bits with masks ("BGRA"), and all else ("BGR"). origin is bottom-left for a biHeight of 0 or more. A copy
 *              is made by vekConvertFromDIB; when that fails, or a negative status was stored before, it is black.
 *   refuses    -5 "( dib == ((void *)0) )"; "( cloneData == ((void *)0) )";
 *              "( dib->biSize != sizeof(BITMAPINFOHEADER) )"; then [D]; "dib->biBitCount is bad";
 *              "(dib->biClrUsed > 65536)"; -4 "Not enough memory to allocate header for destination image" (also for a size
 *              that vekCreateImageHeader refuses); -4 "Not enough memory to allocate data for destination image"
 *
 * [D] The tests of a bitmap's header, all -5: "(dib->biPlanes != 1)"; "(dib->biCompression != 0) && (dib->biCompression != 1)
 *     && (dib->biCompression != 2) && (dib->biCompression != 3)"; "(dib->biBitCount != 8) && (dib->biCompression == 1)";
 *     "(dib->biBitCount != 4) && (dib->biCompression == 2)"; "(dib->biHeight < 0) && ( (dib->biCompression == 1) ||
 *     (dib->biCompression == 2) )". */
VEK_API VekImage* vekTranslateDIB(struct tagBITMAPINFOHEADER* dib, int32_t* cloneData);

/* vekConvertFromDIB, vekConvertFromDIBSep: a bitmap's pixels into an image, each through blue, green, red and alpha (the
 * reserved byte of its entry; 0 for 16 and 24 bits).
 *   dib        the bitmap; the second function has the header with its table, and the pixels or the stream apart
 *   image      not smaller than the bitmap, which is placed at the first stored row and column; what lies beside it keeps
 *              its value. When imageData is null, pixels are allocated, black. nChannels 1 (1U 8U 16U), 3, 4 (8U 16U);
 *              bytes are stored as byte * 256 at 16U, as byte >= 128 at 1U
 *   channels   "BGR(A)": blue, green, red, alpha; "RGB(A)": red, green, blue, alpha; "G", "GRAY": one channel is
 *              (blue * 28 + green * 151 + red * 77) >> 8, of three and four the third is that, the others blue, green, alpha.
 *              An image of one channel takes red of "BGR(A)", blue of "RGB(A)"
 *   nothing is copied and nothing reported for a biHeight of 0, a biWidth below 1, and a biHeight of -2147483648
 *   returns    (vekConvertFromDIBSep) 0 or a status, which is not always the one that was reported
 *   refuses    -5 "dib==0", "image==0" (told before the image's absence ends the call). vekConvertFromDIB returns silently
 *              when a negative status is stored. Then -5 "( image->alphaChannel < 0 )"; "( image->nChannels <
 *              image->alphaChannel )"; "( (image->dataOrder != 0) && (image->dataOrder != 1) )"; "( (image->origin != 0 ) &&
 *              (image->origin != 1 ) )"; "( (image->align != 4 ) && (image->align != 8 ) )"; "(image->height <= 0)";
 *              "(image->width <= 0)"; "(image->imageSize <= 0)"; "(image->widthStep <= 0)";
 *              "(dib->biSize != sizeof(BITMAPINFOHEADER))"; [D]; -10 "Image size is too small"; -5
 *              "(dib->biClrUsed > 65536)"; -5 "(red == 0 || green == 0 || blue == 0)" for the masks; -14 "image->channelSeq
 *              unsupport"; -4 "Not enough memory to allocate data for destination image"; -3 "Impossible to decompress RLE
 *              DIB" after the decoder's own report; -3 "" for other bit counts, channels and depths. The decoder's reports
 *              (of 4 bits, BI_RLE4): -4 "Not enough memory to decompress BI_RLE8 DIB at DIB"; -5 "Incorrect format of
 *              BI_RLE8 DIB (mismatch biHeight or biWidth)" for pixels beyond the picture, "(mismatch biWidth)" for a row
 *              that ends too early, "(mismatch biHeight)" for a picture that does, "(bad Delta command)".
 *              vekConvertFromDIBSep has the same tests with these texts: "( ((void *)0) == dibHeader )", dibData, image;
 *              "( (image->origin != 0) && (image->origin != 1) )", align likewise; dibHeader in place of dib; the third of
 *              [D] as "( ( dibHeader->biCompression != 0 ) && ... )". It returns -9 for a null image, the status that
 *              vekCheckImageHeader has for the fault of an image, -5 for one of the header, -4, and -3 for all others */
VEK_API void vekConvertFromDIB(const struct tagBITMAPINFOHEADER* dib, VekImage* image);
VEK_API VekStatus vekConvertFromDIBSep(const struct tagBITMAPINFOHEADER* dibHeader, const void* dibData,
                                       VekImage* image);

/* vekConvertToDIB: an image into a bitmap of the same size that the caller has laid out.
 *   image              nChannels 1 (1U 8U 16U), 3, or 4 with alphaChannel 4 (8U 16U), with pixels, without tiles
 *   dib                header, table and pixels, with room for 2, 16 or 256 entries at 1, 4, 8 bits when paletteConversion is
 *                      2, and for the plain pixels in any case; where the table ends, the pixels begin, and vekConvertToDIB
 *                      moves that place when it changes biClrUsed
 *   dither             for 16U: 1 takes the high bytes; 8 reduces the image by error diffusion (vekReduceBits) first, and
 *                      ends silently when a status other than 0 is stored then
 *   paletteConversion  for 1, 4, 8 bits: 0 uses the table that is there; 1 writes a fixed table of 2, 16 or 256 entries (for
 *                      other counts the table stays), gray for one channel; 2 chooses the table by median cut of the image,
 *                      and sets biClrUsed
 *   channels           "G", "GRAY": red, green and blue are the third of blue, green, red, and alpha is 0; "BGR(A)", "RGB(A)"
 *                      as they say
 *   indices            the entry with the smallest sum of squared differences of blue, green, red, the first of equals; its
 *                      low bits are stored, at 1 bit whether the low 8 bits are not 0
 *   biCompression      1, 2: the plain rows are replaced by a stream when that is shorter, and biSizeImage is set; else
 *                      biCompression becomes 0. Without memory for the stream: -4 "Not enough memory to compress DIB at
 *                      BI_RLE8 DIB" (BI_RLE4), the rows stay plain, and biCompression what it was
 *   refuses            the header's status, "Incorrect Image"; -5 "dib==0"; "(image->nChannels <= 0 || image->nChannels >
 *                      4)"; "(image->depth & 0x80000000)"; "(image->alphaChannel != 0 && image->alphaChannel != 4)";
 *                      "(image->nChannels != 4)"; "(image->nChannels != 3 && image->nChannels != 1)"; "(image->width !=
 *                      dib->biWidth || image->height != abs(dib->biHeight))"; "(dib->biSize != sizeof(BITMAPINFOHEADER))";
 *                      [D]; "(dither != 8 && dither != 1 )"; "(paletteConversion != 0 && paletteConversion != 1 &&
 *                      paletteConversion != 2 )"; -3 "" for an image with tiles; -5 "(dib->biClrUsed > 65536)"; -3 "Error of
 *                      creating medcut palette", also when memory is short; -4 "Not enough memory to allocate header for
 *                      temporal image"; -3 "" for other depths; -14 "image->channelSeq unsupport"; -5 "dib->biBitCount is
 *                      bad"; -5 "(red == 0 || green == 0 || blue == 0)" */
VEK_API void vekConvertToDIB(const VekImage* image, struct tagBITMAPINFOHEADER* dib, int32_t dither,
                             int32_t paletteConversion);

/* ---- Colour models ------------------------------------------------------------------------------- */

/* What the conversions share. A header's colorModel tells the model by three letters, and channelSeq the order: "RGB" or
 * "BGR". In pixel order the first letter tells whether red or blue comes first; in plane order the letters of channelSeq
 * name the planes. Channels of the other models, in their stored order:
 *   "HSV" hue, saturation, value      "YCr" luma, blue difference, red difference
 *   "HLS" hue, lightness, saturation  "YCC" luma, two chromas
 *   "XYZ" X, Y, Z                     "LUV" L, U, V
 *   "YUV" luma, blue - luma, red - luma
 * From RGB a conversion writes the model's name into colorModel and channelSeq of dst, before it tests the depth. To RGB it
 * writes no header, and the channelSeq of dst tells the order.
 *   srcImage  at least three channels; those from the fourth on are left out
 *   dstImage  exactly three channels; depth, data order and origin of srcImage; may be srcImage. Its size may differ: the
 *             common area at the top left is converted. No regions; masks and coi play no part
 *   tiles     every tile of dst in turn; of a smaller src, border settings answer outside it. A tile that is not delivered
 *             ends its row, the first of a row ends the call; nothing is reported
 *   refuses   the headers, src first; then, -5, with the offending name in place of "...":
 *             from RGB "colorModel must be RGB instead of ... ", "channelSeq must be RGB or BGR instead of ... ";
 *             to RGB "src-> colorModel must be HSV instead of ..." (or the other model), "src-> channelSeq must be HSV
 *             instead of ..."; "src & dst roi must be NULL"; "(src->nChannels < 3 ) || (dst->nChannels != 3 ) ||
 *             (src->depth != dst->depth) || (src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)"; the depth,
 *             "Error input depth. ... are valid now". -4 "Out of memory" for a tile, and on to the next */

/* vekRGB2HSV, vekHSV2RGB: V = max, S = M (max - min) / max with M the largest sample, H in degrees from 0 to 359; at 8U half
 * of it. Gray has H = S = 0. Chopped. The inverse at 8U is in integers.
 *   depths  8U 16U 32S */
VEK_API void vekRGB2HSV(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekHSV2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekRGB2HLS, vekHLS2RGB: L = (max + min) / 2, S = M (max - min) / (max + min), above the middle M (max - min) / (2 M - max -
 * min), H as in HSV. At 32S the sum wraps: L of two large samples is wrong.
 *   depths  8U 16U 32S */
VEK_API void vekRGB2HLS(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekHLS2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekRGB2XYZ, vekXYZ2RGB: CIE XYZ by matrix (X = 0.412453 R + 0.35758 G + 0.180423 B, ...). 32F is not clamped; 32S is
 * computed in double, 8U and 16U with weights of 14 fractional bits, rounded; these are clamped to 0 and the largest sample.
 *   depths  8U 16U 32S 32F */
VEK_API void vekRGB2XYZ(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekXYZ2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekRGB2YUV, vekYUV2RGB: Y = 0.299 R + 0.587 G + 0.114 B, U = B - Y, V = R - Y. RGB is unsigned, YUV signed: 8U and 16U
 * become 8S and 16S, clamped, so that Y above 127 (32767) is cut there. Back: R = Y + V, G = Y - 0.509 V - 0.194 U, B = Y + U,
 * raised to 0 but for 32F.
 *   depths   from RGB 8U 16U 32S 32F, to RGB 8S 16S 32S 32F; dst of as many bits
 *   refuses  as above, the text of the shapes without the depths */
VEK_API void vekRGB2YUV(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekYUV2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekRGB2YCrCb, vekYCrCb2RGB: luma, and differences scaled to the sample's range around its middle (32F: values from 0 to 1,
 * middle 0.5). The blue difference comes before the red one. To RGB the result is clamped; 32F at 0 only.
 *   depths  8U 16U 32S 32F */
VEK_API void vekRGB2YCrCb(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekYCrCb2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekYCC2RGB: the photographic luma and chromas to RGB, through a curve of 362 entries. What lies above the curve is 0.
 *   depths  8U */
VEK_API void vekYCC2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekRGB2LUV, vekLUV2RGB: CIE LUV of RGB from 0 to 1; L from 0 to 100. L = U = V = 0 below a luminance of 0.00329. To RGB the
 * result is raised to 0, with no upper limit.
 *   depths  32F */
VEK_API void vekRGB2LUV(const VekImage* srcImage, VekImage* dstImage);
VEK_API void vekLUV2RGB(const VekImage* srcImage, VekImage* dstImage);

/* vekColorToGray: a weighted sum of red, green and blue (about 0.21, 0.71, 0.07), chopped; a 1-bit pixel is set above the
 * middle of the range.
 *   srcImage  "RGB", at least three channels; regions play no part
 *   dstImage  "GRAY" or "Gray", channelSeq "G"; one channel in pixel order, in plane order the first plane is written
 *   depths    8U 16U 32S, each to 1U 8U 16U. 16U to 8U in plane order may differ by one from that in pixel order
 *   refuses   the headers; -5: the tests of "RGB" above for src; "colorModel must be GRAY instead of ... ", "channelSeq must
 *             be G instead of ... "; "(dst-> dataOrder == VEK_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)"; "src->origin !=
 *             dst->origin"; "src->nChannels < 3"; "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now" */
VEK_API void vekColorToGray(const VekImage* srcImage, VekImage* dstImage);

/* vekGrayToColor: red = src * FractR, green = src * FractG, blue = src * FractB, with fractions of 15 bits (8U: 8 bits),
 * chopped, not clamped. Three fractions of 0 stand for the weights of vekColorToGray.
 *   srcImage  "GRAY" or "Gray", channelSeq "G"; one channel in pixel order, in plane order the first plane is read
 *   dstImage  "RGB", at least three channels, of which three are written
 *   depths    8U 16U 32S to the same; 1U to 8U
 *   refuses   the headers; -5: the tests of "RGB" for dst and of "GRAY" for src; "src-> depth != dst-> depth && src-> depth !=
 *             1U"; "src-> depth == dst-> depth && dst-> depth != 8U"; "(src-> dataOrder == VEK_DATA_ORDER_PIXEL) && (src->
 *             nChannels != 1)"; "(src->origin != dst->origin)"; "dst->nChannels < 3"; "Error input depth. 32S,16U,8U are valid
 *             now" */
VEK_API void vekGrayToColor(const VekImage* srcImage, VekImage* dstImage, float FractR, float FractG, float FractB);

/* ---- Fewer bits ---------------------------------------------------------------------------------- */

/* vekReduceBits: an image of lower depth, with noise against visible steps, and with fewer levels. First samples are
 * converted: to 1U, a sample above the middle of its range gives 1; else the high bits are kept. Then each sample of dst
 * becomes the nearer of the two values about it that have `levels` high bits and, below these, all zeros or all ones: the
 * error goes to samples not yet visited, or a matrix of thresholds decides.
 *   depths      8U to 1U; 16U to 8U, 1U; 32S to 16U, 8U, 1U
 *   dstImage    as many channels as srcImage, the same dataOrder and origin; the smaller of the two sizes is converted, or,
 *               where there is noise or a dither or a tile, all of dst, srcImage being continued by its border
 *   jitterType  0 to 8: amplitude of the noise, 0 none. Each call with noise moves the thread's generator on, so the next
 *               has other noise. Samples near 0 that noise would bring below it come out bright
 *   ditherType  1 none; error diffusion after 2 Floyd and Steinberg, 4 Jarvis, Judice and Ninke, 8 Stucki; 16 ordered, with
 *               a 4 by 4 matrix. Of "GRAY" the first channel, of "RGB" three channels, each for itself
 *   levels      0 to the bits of dst: 0 gives black and white; below 0 is 0, above the bits is half of them
 *   writes      all channels, also alpha; regions are refused, masks and channels of interest play no part
 *   refuses     -5 "(jitterType<0)||( jitterType >= 9)"; the headers; -5: "null_image_pointer"; "null_data_pointer"; "src & dst
 *               roi must be NULL"; "(src->nChannels != dst->nChannels)||(src->dataOrder != dst->dataOrder)||(src->origin !=
 *               dst->origin)"; "colorModel, (channelSeq)  must be RGB,(RGB,BGR) or GRAY,(G) when dithering mode is set on";
 *               then, tile by tile, "Error input depth. 32S,16U,8U input is valid now"; "Error out depth. ... conversion is
 *               valid now"; "errDepthForDithering" for a dst of 1U under a dither; "errDitherOption"; -4 "Out of memory" */
VEK_API void vekReduceBits(const VekImage* srcImage, VekImage* dstImage, int32_t jitterType, int32_t ditherType,
                           int32_t levels);

/* ---- Colour twist -------------------------------------------------------------------------------- */

/* A linear map of three channels with an offset, in integers. Row r is data[4 r] to data[4 r + 2], the factors of the source's
 * channels, and data[4 r + 3], the offset; rows 0 to 2 give the destination's channels, row 3 is not used. A value stands for
 * data[i] / 2^scalingValue. */
typedef struct VekColorTwist {
    int32_t data[16];     /* four rows of four */
    int32_t scalingValue; /* 0 to 31 */
} VekColorTwist;

/* vekCreateColorTwist: a new twist, to be released by vekDeleteColorTwist; vekSetColorTwist: other values for one.
 *   data     16 integers, copied
 *   returns  null on failure
 *   refuses  -5 "cTwist==0" (vekSetColorTwist), "(data == 0)", "(scalingValue < 0)", "(scalingValue > 31)"; -4 "Out of memory" */
VEK_API VekColorTwist* vekCreateColorTwist(const int32_t* data, int32_t scalingValue);
VEK_API void vekSetColorTwist(VekColorTwist* cTwist, const int32_t* data, int32_t scalingValue);

/* vekDeleteColorTwist: releases a twist; null is ignored. */
VEK_API void vekDeleteColorTwist(VekColorTwist* cTwist);

/* vekApplyColorTwist: dst = map(src) + offset, for the first three channels of each pixel, clamped. Small maps (coefficients
 * of 16 bits, of which at 16U the magnitudes of a row's three factors come to less than 32767 - 2^(scalingValue - 1), or 32766
 * for a scalingValue of 0; scalingValue up to 15, an offset within half the range, equal channel counts up to 4) are computed
 * in integers and rounded down: at 8U the sum is then held to 16 bits, offset added, and the result clamped. All others are
 * computed in double, clamped to the range, chopped, and offset added with a clamp.
 *   srcImage, dstImage  same depth, data order and origin; at least three channels; may be the same image
 *   depths   8U 16U
 *   writes   [W], always the first three channels: coi plays no part; padding is spared
 *   refuses  the headers; -5: "cTwist==0"; "(srcImage->nChannels < 3)";
 *            "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))",
 *            "((srcImage->alphaChannel != 0) && (srcImage->alphaChannel < srcImage->nChannels))"; the same three of dstImage;
 *            "(srcImage->depth != dstImage->depth)"; "((srcImage->depth != 8) && (srcImage->depth != 16))"; "(srcImage->dataOrder
 *            != dstImage->dataOrder)"; "(srcImage->origin != dstImage->origin)"; "(srcImage->origin !=
 *            srcImage->maskROI->origin)", the same of dstImage; "(msk == ((void *)0))" when masks cannot be merged;
 *            "(srcImage->tileInfo->tileData == ((void *)0))" or dstImage */
VEK_API void vekApplyColorTwist(const VekImage* srcImage, VekImage* dstImage, const VekColorTwist* cTwist,
                                int32_t offset);

/* ---- Tone ---------------------------------------------------------------------------------------- */

/* vekThreshold: dst = src >= threshold ? the highest value of dst's depth : the lowest; for 1U a bit that is set or cleared.
 *   srcImage, dstImage  same origin and, with several channels each, data order; may be the same image
 *   threshold  within the range of src's depth
 *   depths     8U 8S 16U 16S 32S, to the same depth, to 1U or to any of them
 *   writes     as vekCopy; of differing counts of channels the smaller counts
 *   refuses    the headers; -5 "(srcImage->depth == 32)"; "(dstImage->depth == 32)"; "(srcImage->depth == 1)";
 *              "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))";
 *              "(srcImage->origin != dstImage->origin)"; "(srcImage->origin != srcImage->maskROI->origin)", dstImage;
 *              out of range, as "((srcImage->depth == 8) && (Threshold > 255))"; -4 "Out of memory" as in [T] */
VEK_API void vekThreshold(const VekImage* srcImage, VekImage* dstImage, int32_t threshold);

/* A table of one channel. Bin i holds the levels from key[i] on, below key[i + 1]. */
typedef struct VekLUT {
    int32_t num;          /* of keys, at least 2; the bins are one fewer */
    int32_t* key;         /* rising, from 0 to the number of levels (2, 256, 65536); equal keys make an empty bin */
    int32_t* value;       /* of a bin: its count, or its level in a map */
    int32_t* factor;      /* of a bin: the slope of a line; may be null when interpolated is 0 */
    int32_t interpolated; /* 0: a bin maps to its value; otherwise along a line */
} VekLUT;

/* The three operations on tone take an array of tables, one for each channel that takes part, from lut[0] on; with a coi
 * (of the source) lut[coi - 1] alone is looked at. The tests of the tables, for each channel in turn, all -5: "lut[k]==0";
 * "lut[k]->key==0"; "lut[k]->value==0"; "lut[k]->num < 2"; "lut[k]->key[0] < 0";
 * "lut[k]->key[lut[k]->num-1] > histSize"; "lut[k]->key[i] > lut[k]->key[i+1]". */

/* vekComputeHisto: value[i] of each table = the samples of the region whose level lies in bin i. A mask plays no part.
 *   depths   1U 8U 16U
 *   refuses  the header's status, "Incorrect Image"; -5 "lut==0" and -5 "(srcImage->depth & VEK_DEPTH_SIGN) ||
 *            (srcImage->depth == VEK_DEPTH_32F)", both told; the tests of the tables; -4 "" when memory is short;
 *            -2 "Error get tile to read", followed by -1 "" */
VEK_API void vekComputeHisto(const VekImage* srcImage, VekLUT** lut);

/* vekContrastStretch: dst = value[i], or (src - key[i]) * factor[i] + value[i] cut to the low bits of the depth, where i is
 * the sample's bin; levels outside all bins stay themselves.
 *   srcImage, dstImage  same depth, origin and data order; may be the same image
 *   depths   8U 16U
 *   writes   [W], but never padding
 *   refuses  the headers; -5 "srcImage->depth != dstImage->depth", "srcImage->origin != dstImage->origin",
 *            "srcImage->dataOrder != dstImage->dataOrder", "srcImage->depth != VEK_DEPTH_8U && srcImage->depth !=
 *            VEK_DEPTH_16U", "lut==0", all that hold; -24 "srcImage COI != dstImage COI" for differing channel counts; the
 *            tests of the tables; -4 "", -1 "" when memory is short; -2 "Error get tile to read", "Error get tile to write" */
VEK_API void vekContrastStretch(const VekImage* srcImage, VekImage* dstImage, VekLUT** lut);

/* vekHistoEqualize: a map that makes the distribution in the tables even: level g becomes the highest level times the
 * share that the levels up to g have of all counts. A bin's count is spread evenly over its levels. On return the tables
 * hold the histogram of the result, as the source's samples and the map give it.
 *   lut      counts by bins, as vekComputeHisto leaves them
 *   srcImage, dstImage, depths, writes  as vekContrastStretch
 *   refuses  as vekContrastStretch; -2 "Error get tile to read", followed by -1 "", when the source can't be counted;
 *            -3 "All values in histogram are zeroes" */
VEK_API void vekHistoEqualize(const VekImage* srcImage, VekImage* dstImage, VekLUT** lut);

/* ---- Filters: convolution ------------------------------------------------------------------------ */

/* A convolution kernel. The coefficients are stored rotated by 180 degrees, index i holding the given index
 * nCols nRows - 1 - i, and the anchor with them: anchorX is nCols - 1 - the given column, anchorY alike. */
typedef struct VekConvKernel {
    int32_t nCols;   /* width */
    int32_t nRows;   /* height */
    int32_t anchorX; /* the stored column that falls on the pixel */
    int32_t anchorY; /* the stored row that falls on the pixel */
    int32_t* values; /* nCols nRows coefficients, row by row */
    int32_t nShiftR; /* bits by which each sum is shifted right, by its sign; below 0 as 0 */
} VekConvKernel;

/* The same with floats for coefficients, and without a shift. */
typedef struct VekConvKernelFP {
    int32_t nCols;   /* width */
    int32_t nRows;   /* height */
    int32_t anchorX; /* the stored column that falls on the pixel */
    int32_t anchorY; /* the stored row that falls on the pixel */
    float* values;   /* nCols nRows coefficients, row by row */
} VekConvKernelFP;

/* How the results v1 .. vn of several kernels become one. */
enum {
    COMBINE_ADD = 0,             /* v1 + ... + vn */
    COMBINE_SQUARES = 1,         /* v1 v1 + ... + vn vn */
    COMBINE_ROOT_OF_SQUARES = 2, /* the square root of that */
    COMBINE_GREATEST = 3,
    COMBINE_LEAST = 4
};

/* vekCreateConvKernel, vekCreateConvKernelChar, vekCreateConvKernelFP: a new kernel from coefficients in rows from top
 * to bottom, of 32-bit integers, 8-bit integers, floats.
 *   anchorX, anchorY  the coefficient that falls on the pixel itself, from 0
 *   nShiftR  stored as it is
 *   returns  the kernel, to be released by vekDeleteConvKernel (vekDeleteConvKernelFP); null on failure
 *   refuses  -5 "(values == 0)"; -5 "(nRows<=0 || nCols<=0)"; -5 "(anchorX<0 ||anchorY<0 ||nRows<=anchorY ||
 *            nCols<=anchorX)", in one line; -4 "Allocation failure" */
VEK_API VekConvKernel* vekCreateConvKernel(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                           const int32_t* values, int32_t nShiftR);
VEK_API VekConvKernel* vekCreateConvKernelChar(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                               const int8_t* values, int32_t nShiftR);
VEK_API VekConvKernelFP* vekCreateConvKernelFP(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                               const float* values);

/* vekGetConvKernel, vekGetConvKernelChar, vekGetConvKernelFP: what the kernel was made of, unrotated. Nothing is written
 * unless everything is; a negative stored status, whatever left it there, ends the call silently.
 *   values   the caller's pointer to its own array, which gets nCols nRows coefficients (Char: their low 8 bits)
 *   refuses  -5 "kernel==0"; -5 "ownBadKernel((OwnConvKernel*)kernel)"; -5 "nRows==0" and "nCols==0", both when both are;
 *            -5 "anchorX==0" and "anchorY==0"; -5 "values==0"; -5 "nShiftR==0" */
VEK_API void vekGetConvKernel(const VekConvKernel* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX,
                              int32_t* anchorY, int32_t** values, int32_t* nShiftR);
VEK_API void vekGetConvKernelChar(const VekConvKernel* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX,
                                  int32_t* anchorY, int8_t** values, int32_t* nShiftR);
VEK_API void vekGetConvKernelFP(const VekConvKernelFP* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX,
                                int32_t* anchorY, float** values);

/* vekDeleteConvKernel, vekDeleteConvKernelFP: frees a kernel and its coefficients.
 *   refuses  -5 "kernel==0"; -5 "kernel->values==0", the record being left as it is */
VEK_API void vekDeleteConvKernel(VekConvKernel* kernel);
VEK_API void vekDeleteConvKernelFP(VekConvKernelFP* kernel);

/* vekConvolve2D, vekConvolve2DFP: dst(x, y) = the sum over r, c of K[r][c] src(x + anchorX - c, y + anchorY - r), with the
 * kernel as it was given at creation (a true convolution: the kernel is mirrored), shifted right by nShiftR, by its sign,
 * and held to the range of the depth; of several kernels, these results merged. 32F is neither rounded nor held.
 *   srcImage, dstImage  same depth and data order; may be the same image
 *   kernel, nKernels    1 to 10 kernels
 *   combineMethod       COMBINE_*, tested with several kernels only. With one kernel whose nShiftR is 0 the sum is squared by
 *            COMBINE_SQUARES and made positive by COMBINE_ROOT_OF_SQUARES (not in the 3 by 3 case below)
 *   sums     in 16 bits where no sum can leave them, else in 32 bits with coefficients of 16, else in floats that are
 *            rounded once after each coefficient; squares of one kernel's sum are cut to the width of the sum. Several
 *            kernels merge in 32-bit integers that wrap when all sums have 16 bits, otherwise in floats
 *   3 by 3   one 8U kernel of 3 by 3 with sums of 16 bits, without masks, on images of one or three channels without alpha,
 *            on planes and on a coi: combineMethod plays no part
 *   1U       a result above 0 is 1
 *   borders  real pixels as far as the image reaches, whatever the region; then by the source's border settings, with the
 *            constants held to the range of the depth
 *   writes   [W], without its one run over whole blocks. A coi on one image only reads or writes channel 1 of the other;
 *            a coi on the alpha channel ends the call silently
 *   depths   1U 8U 8S 16U 16S 32S; vekConvolve2DFP 32F
 *   refuses  the headers; -11 "Bad ROI offsets"; -5 "kernel==0"; -5 "(nKernels<=0 || nKernels>10)"; -5 "Inadmissible
 *            method"; -5 "kernel[i]==0"; -5 "Bad kernel structure"; -5 "Uncompatible images" on depth, data order, and later
 *            channels; -5 "32F images can be processed only with FP kernel" ("FP kernel can be used only for 32F
 *            images"); -4 "Allocation failure"; -5 "(dstImage->tileInfo->tileData == ((void*)(0)))" */
VEK_API void vekConvolve2D(const VekImage* srcImage, VekImage* dstImage, VekConvKernel** kernel, int32_t nKernels,
                           int32_t combineMethod);
VEK_API void vekConvolve2DFP(const VekImage* srcImage, VekImage* dstImage, VekConvKernelFP** kernel, int32_t nKernels,
                             int32_t combineMethod);

/* vekConvolveSep2D: convolves the rows with the first row of Xkernel and the columns with the first column's worth of
 * Ykernel: dst = (the sum over i of Y[i] (the sum over j of X[j] src)) >> the shifts of both, held to the range of the
 * depth. Sums have 32 bits and wrap; the shift comes once, at the end.
 *   srcImage, dstImage  same depth, origin and data order; in place is not supported
 *   Xkernel  its nCols, anchorX, nShiftR and its first nCols stored coefficients count
 *   Ykernel  its nRows, anchorY, nShiftR and its first nRows stored coefficients count
 *   shift    the sum of both; above 31 as 31, below 0 as 0
 *   1U, borders  as vekConvolve2D, the border constants by their low bits
 *   writes   [W], without its one run over whole blocks
 *   depths   1U 8U 8S 16U 16S 32S
 *   refuses  the headers; -5 "Xkernel==0"; -5 "Ykernel==0"; after it a negative stored status ends the call, whatever left
 *            it there; -5 "srcImage->depth != dstImage->depth"; -5 "srcImage->origin != dstImage->origin";
 *            -5 "srcImage->dataOrder != dstImage->dataOrder"; -5 "nCsrc != nCdst"; -5 "nChannels in srcImage ROI !=
 *            nChannels in dstImage ROI", for a coi on one side; -5 "Xkernel->nCols <= 0"; -5 "Ykernel->nRows <= 0";
 *            -5 "Xkernel->values==0", "Ykernel->values==0"; -5 "Unknown srcImage->depth" (32F); -4 "Allocation failure";
 *            -5 "(dstImage->tileInfo->tileData == ((void*)(0)))" */
VEK_API void vekConvolveSep2D(const VekImage* srcImage, VekImage* dstImage, const VekConvKernel* Xkernel,
                              const VekConvKernel* Ykernel);

/* ---- Filters: blur and fixed filters ------------------------------------------------------------- */

/* vekBlur: the mean of a window of nCols by nRows pixels, rounded to the nearest integer, ties to even; 32F not rounded.
 * The window of a pixel begins anchorX columns to its left and anchorY rows above it.
 *   srcImage, dstImage  same depth and data order; may be the same image
 *   nCols, nRows        0 for either: a copy by vekCopy, whose tests then hold
 *   1U       the mean of the bits: a tie gives 0
 *   32S      the sum wraps in 32 bits
 *   cost     independent of the window's size
 *   borders, writes  as vekConvolveSep2D
 *   depths   1U 8U 8S 16U 16S 32S 32F
 *   refuses  the headers; -5 "(nRows<0||nCols<0)"; -5 "(anchorX<0||anchorY<0)"; -5 "(anchorX>=nCols||anchorY>=nRows)";
 *            -18 "bad alpha channel's number"; -15 "bad channel's number"; -5 "srcImage->depth!=dstImage->depth";
 *            -5 "srcImage->dataOrder!=dstImage->dataOrder"; -4 "Allocation failure";
 *            -5 "(dstImage->tileInfo->tileData == ((void*)(0)))" */
VEK_API void vekBlur(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                     int32_t anchorY);

/* vekFixedFilter: one of eleven built-in filters, centred on the pixel; kernels are given as they lie on the image.
 *   srcImage, dstImage  different images of same depth, nChannels, alphaChannel, data order (1U: any order)
 *   filter   0  left column minus right column, 3 by 3, weights 1 1 1     1  the same, top row minus bottom row
 *            2  left column minus right column, weights 1 2 1             3  the same, top row minus bottom row
 *            4  8 in the centre of -1s, 3 by 3                            8  the same as 4
 *            5  -1 -3 -4 -3 -1 / -3 0 6 0 -3 / -4 6 20 6 -4 / and mirrored
 *            9  24 in the centre of -1s, 5 by 5
 *            6  1 2 1 / 2 4 2 / 1 2 1, over 16, ties to even
 *            7  2 7 12 7 2 / 7 31 52 31 7 / 12 52 127 52 12 / and mirrored, over 571
 *            10 16 in the centre of -1s, 3 by 3, over 8, ties to even
 *   results  held to the range of the depth; 32F not; 1U: above 0 is 1 (filter 6: from 8 of 16)
 *   borders, writes  as vekConvolveSep2D
 *   depths   1U 8U 8S 16U 16S 32S 32F
 *   returns  0; -1 after a failure
 *   refuses  the headers; -5 "(srcImage==dstImage)"; -5 "srcImage->depth!=dstImage->depth";
 *            -5 "srcImage->nChannels!=dstImage->nChannels"; -5 "srcImage->alphaChannel!=dstImage->alphaChannel";
 *            -5 "srcImage->dataOrder!=dstImage->dataOrder"; -5 "Number of interset channel input and output Image is not
 *            equal."; then a negative stored status ends the call, whatever left it there; -5 "Unknow filter.";
 *            -4 "Allocation failure"; -2 "Error get tile to write" */
VEK_API int32_t vekFixedFilter(const VekImage* srcImage, VekImage* dstImage, int32_t filter);

/* ---- Filters: ranks ------------------------------------------------------------------------------ */

/* vekMaxFilter, vekMinFilter, vekMedianFilter: dst = the largest, smallest, middle sample of the window of nCols by nRows
 * pixels that begins anchorX columns left of the pixel and anchorY rows above it (it is not rotated). The median is the
 * sample of rank nCols nRows / 2 + 1 in ascending order: of an even number the upper one of the middle two.
 *   srcImage, dstImage  same depth, nChannels, alphaChannel and data order (1U: any order); not the same image
 *   nCols, nRows        at least 1; anchorX in 0 to nCols - 1, anchorY in 0 to nRows - 1
 *   depths              1U 8U 8S 16U 16S 32S
 *   borders             real pixels around the region as far as the image goes, then the source's border settings
 *   writes              [W], padding always spared; of tiled destinations each tile once, row by row
 *   refuses             the headers; -5 "(anchorX>=nCols)||(anchorX<0)"; "(anchorY>=nRows)||(anchorY<0)";
 *                       "(srcImage==dstImage)"; "srcImage->depth!=dstImage->depth"; "srcImage->depth==32";
 *                       "srcImage->nChannels!=dstImage->nChannels"; "srcImage->alphaChannel!=dstImage->alphaChannel";
 *                       "(srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels)";
 *                       "srcImage->dataOrder!=dstImage->dataOrder"; "Number of interset channel input and output Image is
 *                       not equal.", counting 1 under a coi, otherwise all but alpha. Nothing is done, silently, while the
 *                       stored status is negative. -4 "Allocation failure"; -2 "Error get tile to write" */
VEK_API void vekMaxFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                          int32_t anchorY);
VEK_API void vekMinFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                          int32_t anchorY);
VEK_API void vekMedianFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows,
                             int32_t anchorX, int32_t anchorY);

/* ---- Filters: morphology ------------------------------------------------------------------------- */

/* vekErode, vekDilate: dst = the smallest, the largest sample of the square of 2 nIterations + 1 pixels a side around each
 * pixel. vekOpen erodes, then dilates; vekClose dilates, then erodes; their second pass sees the result of the first inside
 * the rectangle and the source around it.
 *   srcImage, dstImage  same depth, data order, origin and coi; may be the same image
 *   nIterations         above 0; the cost hardly depends on it
 *   depths              1U 8U 16U
 *   borders             around the rectangle one pixel is read on every side, a real one or by the source's border
 *                       settings, and repeated outward
 *   writes              [W], padding always spared; of tiled destinations each tile once, row by row
 *   refuses             the status is set to 0 first. The headers; -5 "Illegal number of of iterations"; "Illegal image
 *                       depth"; "SRC and DST depth are different"; "SRC and DST order are different"; "SRC and DST orign
 *                       are different"; "SRC and DST number of channels are different"; "SRC and DST COI are different".
 *                       Short of memory: status -4, no report, nothing written */
VEK_API void vekErode(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations);
VEK_API void vekDilate(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations);
VEK_API void vekOpen(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations);
VEK_API void vekClose(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations);

/* ---- Statistics ---------------------------------------------------------------------------------- */

/* Norms: of the samples' absolute values, or of the differences of two images. */
enum {
    NORM_MAX = 1,          /* the largest */
    NORM_SUM = 2,          /* the sum */
    NORM_ROOT_SQUARES = 4, /* the square root of the sum of squares */
    NORM_REL_MAX = 9,      /* the same of A - B, divided by that of B */
    NORM_REL_SUM = 10,
    NORM_REL_ROOT_SQUARES = 12
};

/* vekNorm: one norm over all samples of A, or of A - B, that take part.
 *   srcImageA, srcImageB  same depth and data order; srcImageB may be null, then the relative norms are refused
 *   depths   1U (differing bits count 1), 8U 8S 16U 16S 32S
 *   reads    the rectangle, channels and pixels that [W] names; of masked pixels neither A nor B counts
 *   returns  the norm; 0.0 where no pixel is left, and after a refusal
 *   refuses  the header of A; -17 "srcImageA->depth=32F"; -19 "srcImageA->dataOrder!=srcImageB->dataOrder"; the header of B;
 *            -5 "(srcImageA->depth!=srcImageB->depth)"; -5 "normType unknown"; -15 "" where the counts of channels differ;
 *            -9 "Null pointer for mask" when masks can't be merged; -9 or -12 " " when a tiled image can't be read;
 *            -5 "Zero divided" when the norm of B is 0 */
VEK_API double vekNorm(const VekImage* srcImageA, const VekImage* srcImageB, int32_t normType);

/* One spatial moment, and what normalizes it: 1 / (width^m height^n) of the working rectangle. */
typedef struct VekMoment {
    double scale; /* the normalizing factor */
    double value; /* the moment itself */
} VekMoment;

/* Moments by the powers [m] of x and [n] of y; only those with m + n of at most 3 are written or read. */
typedef VekMoment VekMomentState[4][4];

/* vekMoments: the ten moments up to order 3, the sums of x^m y^n p over the pixels p of the region that its mask lets through.
 * x and y count from the image's corner, not from the region's. Sums along a row are kept in single precision.
 *   image    one channel, or a coi; an alpha channel counts as a channel
 *   state    the caller's; an empty rectangle and every failure leave it as it was
 *   depths   all seven; 1U samples are 0 and 1
 *   refuses  the header's status, "Incorrect Image"; -5 "Only one channel can be proceed"; for a tile that is not delivered
 *            -5 "(srcImage->tileInfo->tileData == ((void*)(0)))" */
VEK_API void vekMoments(const VekImage* image, VekMomentState state);

/* vekGetSpatialMoment, vekGetCentralMoment: a moment of a filled state, counted from the corner, from the centroid (that
 * of an image without mass is the middle of its rectangle); vekGetNormalizedSpatialMoment and vekGetNormalizedCentralMoment:
 * the same times its scale.
 *   m, n     powers of x and y, together at most 3
 *   refuses  -5 "Illegal order of moment", and returns 0 */
VEK_API double vekGetSpatialMoment(VekMomentState state, int32_t m, int32_t n);
VEK_API double vekGetNormalizedSpatialMoment(VekMomentState state, int32_t m, int32_t n);
VEK_API double vekGetCentralMoment(VekMomentState state, int32_t m, int32_t n);
VEK_API double vekGetNormalizedCentralMoment(VekMomentState state, int32_t m, int32_t n);

/* vekSpatialMoment, vekNormalizedSpatialMoment, vekCentralMoment, vekNormalizedCentralMoment: the same straight from an
 * image; the first two compute no other moment.
 *   returns  the moment; 0 for an empty rectangle and after a failure
 *   refuses  as vekMoments; then -5 "Illegal order of moment" */
VEK_API double vekSpatialMoment(const VekImage* image, int32_t m, int32_t n);
VEK_API double vekNormalizedSpatialMoment(const VekImage* image, int32_t m, int32_t n);
VEK_API double vekCentralMoment(const VekImage* image, int32_t m, int32_t n);
VEK_API double vekNormalizedCentralMoment(const VekImage* image, int32_t m, int32_t n);

/* ---- Geometry: plane mappings -------------------------------------------------------------------- */

/* A mapping carries a source point (x, y) to a result point (x', y'). It is described by a matrix of coefficients, row by
 * row, or by the quadrangle onto which it carries the image's region:
 *   affine, coeffs[6]       x' = c0 x + c1 y + c2                       y' = c3 x + c4 y + c5
 *   bilinear, coeffs[8]     x' = c0 x y + c1 x + c2 y + c3              y' = c4 x y + c5 x + c6 y + c7
 *   perspective, coeffs[9]  x' = (c0 x + c1 y + c2) / (c6 x + c7 y + c8)   y' = (c3 x + c4 y + c5) / (same)
 *   quad[8]  x0, y0, ... x3, y3: where the region's top-left, top-right, bottom-right and bottom-left pixel come to lie
 *   rect[4]  least x, least y, greatest x, greatest y
 * Points are pixel centres: the region's corners are its first and last columns and rows, in the coordinates of the image,
 * and only what lies in the image counts. Images are consulted for header and region alone. An array that is null is not
 * refused. On failure the result keeps its values. */

/* vekGetAffineQuad, vekGetBilinearQuad, vekGetPerspectiveQuad: quad = the region's corners, each through the mapping. A
 * matrix without an inverse and a denominator of 0 are not refused.
 *   refuses  the header, "Incorrect Image"; -5 "Bad rect ROI", a region outside the image */
VEK_API void vekGetAffineQuad(const VekImage* image, const double coeffs[6], double quad[8]);
VEK_API void vekGetBilinearQuad(const VekImage* image, const double coeffs[8], double quad[8]);
VEK_API void vekGetPerspectiveQuad(const VekImage* image, const double coeffs[9], double quad[8]);

/* vekGetAffineBound, vekGetBilinearBound, vekGetPerspectiveBound: rect = the bounding box of that quadrangle, not rounded.
 *   refuses  as the Quad operation, under its name; then -1 "". A negative status from before the call counts as a
 *            failure too */
VEK_API void vekGetAffineBound(const VekImage* image, const double coeffs[6], double rect[4]);
VEK_API void vekGetBilinearBound(const VekImage* image, const double coeffs[8], double rect[4]);
VEK_API void vekGetPerspectiveBound(const VekImage* image, const double coeffs[9], double rect[4]);

/* vekGetAffineTransform, vekGetBilinearTransform, vekGetPerspectiveTransform: coeffs = the matrix that carries the region
 * onto the quadrangle, which may run either way round. The perspective one has the denominator 1 at the region's first
 * pixel.
 *   refuses  the header, "Incorrect Image"; -5 "Quadrangle is degenerate to triangle or length or point";
 *            -5 "Quadrangle is concave"; affine: -5 "Quadrangle is not parallelogram", cross products of opposite edges
 *            above 1e-7; -5 "Bad rect ROI"; a region one pixel wide or high: -5 "srcImage Rectangle ROI is degenerate to
 *            length or point", for the other two "image Rectangle ROI is degenerate to length or point" */
VEK_API void vekGetAffineTransform(const VekImage* image, double coeffs[6], const double quad[8]);
VEK_API void vekGetBilinearTransform(const VekImage* image, double coeffs[8], const double quad[8]);
VEK_API void vekGetPerspectiveTransform(const VekImage* image, double coeffs[9], const double quad[8]);

/* vekGetRotateShift: adds to xShift and yShift what makes vekRotate by `angle` degrees turn about (xCenter, yCenter). The
 * caller sets them to 0 first for that alone. Cannot fail. */
VEK_API void vekGetRotateShift(double xCenter, double yCenter, double angle, double* xShift, double* yShift);

/* ---- Geometry: warps ----------------------------------------------------------------------------- */

/* How a sample between samples is found. */
enum {
    VEK_INTER_NN = 0,     /* the nearest sample (resampling: the one before) */
    VEK_INTER_LINEAR = 1, /* between two on each axis */
    VEK_INTER_CUBIC = 2,  /* the cubic polynomial through four on each axis */
    VEK_INTER_SUPER = 3   /* the mean of the area that a smaller pixel covers */
};

/* vekWarpAffine, vekWarpBilinear, vekWarpPerspective (by a matrix), vekWarpBilinearQ, vekWarpPerspectiveQ (by a quadrangle):
 * each destination pixel is pulled from where the mapping says that it comes from; what the mapping does not reach keeps its
 * values.
 *   srcImage, dstImage  different headers, same depth, origin and data order (not compared for 1U and between images of one
 *            channel). Tiles on either side
 *   coeffs, quad  as above, in image coordinates. Affine matrices that only shift, or turn by 90, 180 or 270 degrees (the
 *            turns without tiles), move pixels unchanged; shifts are rounded down
 *   warpFlag  0: the mapping carries the source's region to the quadrangle, whose pixels in the destination's region are
 *            written; 1: it carries the destination's region to the quadrangle in the source, and pixels that come from
 *            outside the source's region are left
 *   interpolate  0 to 2; for 1U, and images one pixel wide or high, nearest; cubic for images below 4 becomes linear.
 *            Neighbours are those of the image, also beside the region. Linear rounds to nearest, and chops for the affine
 *            warp of 8U; cubic is held to the depth's range
 *   depths   1U 8U 16U
 *   writes   all channels but alpha, or the channel of interest, which must not be alpha (else nothing). Masks count for
 *            shifts alone
 *   tiles    a source tile that is not delivered: -5 "(srcImage->tileInfo->tileData == ((void*)(0)))"; a destination's:
 *            -2 "Error get tile to write"
 *   refuses  the headers, "Incorrect Image"; then all of these that hold, -5: "srcImage->depth != dstImage->depth",
 *            "srcImage->origin != dstImage->origin", "srcImage->dataOrder != dstImage->dataOrder",
 *            "(srcImage->depth & VEK_DEPTH_SIGN) || (srcImage->depth == VEK_DEPTH_32F)", "warpFlag != 0 && warpFlag != 1",
 *            "This function is not in-place function"; a negative status, an old one too, then ends the call. Affine: -5
 *            "Determinant of transform matrix == 0.0". Quadrangles: -5 "Quadrangle is degenerate to triangle or length or
 *            point", "Quadrangle is concave". Then -5 "interpolate < 0 || interpolate > 2"; -5 "srcImage Rectangle ROI is
 *            degenerate to length or point" (dstImage with warpFlag 1); -24 "srcImage COI != dstImage COI"; -1 "" when
 *            memory is short. The bilinear and perspective forms by a matrix are vekGetBilinearQuad, vekGetPerspectiveQuad
 *            (of dstImage with warpFlag 1) and the Q form, and add -1 "" when either failed */
VEK_API void vekWarpAffine(const VekImage* srcImage, VekImage* dstImage, const double coeffs[6], int32_t interpolate);
VEK_API void vekWarpBilinear(const VekImage* srcImage, VekImage* dstImage, const double coeffs[8], int32_t warpFlag,
                             int32_t interpolate);
VEK_API void vekWarpBilinearQ(const VekImage* srcImage, VekImage* dstImage, const double quad[8], int32_t warpFlag,
                              int32_t interpolate);
VEK_API void vekWarpPerspective(const VekImage* srcImage, VekImage* dstImage, const double coeffs[9], int32_t warpFlag,
                                int32_t interpolate);
VEK_API void vekWarpPerspectiveQ(const VekImage* srcImage, VekImage* dstImage, const double quad[8], int32_t warpFlag,
                                 int32_t interpolate);

/* vekRotate: the affine warp by (c, s, xShift; -s, c, yShift) with c and s of `angle` in degrees: anticlockwise on the
 * screen about the image's first pixel; vekGetRotateShift gives the shifts for another centre. Multiples of 90 degrees
 * (but 0) move pixels unchanged, and ignore interpolate, unless an image has tiles.
 *   refuses  quarter turns: as vekWarpAffine, under this name; others: vekWarpAffine's, then -1 "" */
VEK_API void vekRotate(const VekImage* srcImage, VekImage* dstImage, double angle, double xShift, double yShift,
                       int32_t interpolate);

/* vekShear: the affine warp by (1, xShear, xShift; yShear, 1, yShift).
 *   refuses  vekWarpAffine's, then -1 "" */
VEK_API void vekShear(const VekImage* srcImage, VekImage* dstImage, double xShear, double yShear, double xShift,
                      double yShift, int32_t interpolate);

/* ---- Geometry: other sizes ----------------------------------------------------------------------- */

/* vekZoom, vekResize: the source's region scaled by xDst / xSrc and yDst / ySrc into the destination's region, from their
 * top-left pixels on. Destination pixel j lies at source position j * xSrc / xDst. vekZoom enlarges; vekResize does both,
 * and hands VEK_INTER_SUPER to vekDecimate.
 *   srcImage, dstImage  different headers, same depth and data order
 *   interpolate  0 to 2, vekResize 0 to 3; with fewer than 4 columns or rows in the source image cubic becomes linear, with
 *            fewer than 2, for 1U, and where both factors are whole-number decimations, it becomes nearest. Linear and
 *            cubic chop. Cubic reads pixels of the image beside the region, linear does not
 *   depths   1U 8U 16U
 *   writes   as far as the source reaches, at most the destination's region; channels as in [W], but a coi that names the
 *            alpha channel, or an image of alpha alone, ends the call silently. A mask lowers its image's region to its own
 *            region's size; the source's mask is scaled with the source, and both decide
 *   tiles    the destination tile by tile, fetching what each needs; a source tile that is not delivered:
 *            -5 "(srcImage->tileInfo->tileData == ((void*)(0)))", a destination's: -2 "Error get tile to write"
 *   refuses  vekZoom: -5 "xDst < xSrc || yDst < ySrc"; vekResize: -5 "(interpolate == VEK_INTER_SUPER) &&
 *            (xDst > xSrc || yDst > ySrc)"; then the headers, "Incorrect Image"; then all of these that hold, -5:
 *            "interpolate != VEK_INTER_NN && interpolate != VEK_INTER_LINEAR && interpolate != VEK_INTER_CUBIC",
 *            "srcImage->depth != dstImage->depth", "srcImage->depth != VEK_DEPTH_1U && srcImage->depth != VEK_DEPTH_8U
 *            && srcImage->depth != VEK_DEPTH_16U", "srcImage->dataOrder != dstImage->dataOrder", "xDst <= 0 || xSrc <= 0",
 *            "yDst <= 0 || ySrc <= 0"; a negative status, an old one too, then ends the call;
 *            -5 "This function isn`t in-plase function"; -2 "srcImage COI != dstImage COI"; -1 "" when memory is short.
 *            vekResize adds -1 "" when the status is negative at the end */
VEK_API void vekZoom(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst,
                     int32_t ySrc, int32_t interpolate);
VEK_API void vekResize(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst,
                       int32_t ySrc, int32_t interpolate);

/* vekDecimate: the same for smaller images, with positions in steps of 256 xSrc / xDst (chopped) 1/256 of a sample, linear
 * rounded half up once, and super-sampling: the mean of the box of samples that a pixel covers, cut at the region's end.
 * Masks play no part.
 *   srcImage, dstImage  different headers, same depth, origin and data order
 *   interpolate  0 to 3; nearest for a source image below 4 columns or rows, and, but for super-sampling, where both
 *            factors are whole numbers, and for 1U
 *   depths   1U 8U 16U
 *   writes   as far as the scaled source reaches, at most the destination's region; channels as in [W]
 *   refuses  null headers, -9 "Incorrect Image"; then all of these that hold: the headers, "Incorrect Image"; -5
 *            "srcImage == dstImage", "srcImage->depth != dstImage->depth", "srcImage->origin != dstImage->origin",
 *            "srcImage->dataOrder != dstImage->dataOrder", "nChannelsSrc == 0", "nChannelsDst == 0",
 *            "nChannelsSrc != nChannelsDst", "interpolate != VEK_INTER_NN, VEK_INTER_LINEAR, VEK_INTER_CUBIC or
 *            VEK_INTER_SUPER", "xDst <= 0", "xSrc <= 0", "yDst <= 0", "ySrc <= 0", "xDst > xSrc", "yDst > ySrc"; a
 *            negative status, an old one too, then ends the call; -5 "srcImage->depth is wrong"; a tile that is not
 *            delivered: -3 "srcImage->tileInfo->callBack crash", "dstImage->tileInfo->callBack crash"; -1 "" when memory
 *            is short */
VEK_API void vekDecimate(const VekImage* srcImage, VekImage* dstImage, int32_t xDst, int32_t xSrc, int32_t yDst,
                         int32_t ySrc, int32_t interpolate);

/* ---- Spectra ------------------------------------------------------------------------------------- */

/* A packed spectrum (RCPack2D) is a W by H image that holds the spectrum X of a real W by H image, half of which says
 * all, since X[W - u, H - v] is the conjugate of X[u, v].
 *   A real sequence of n samples is packed as Re 0, Re 1, Im 1, Re 2, Im 2, ..., and for an even n at the end Re n/2.
 *   An image is packed along its rows; then column 0 and, for an even W, column W - 1, which hold real numbers, are
 *   packed along the column, and each pair of columns (2k - 1, 2k) between them is a complex sequence, real parts in
 *   the odd column. So X[u, v] for 0 < u < W/2 stands in row v, columns 2u - 1 and 2u; X[0, v] for 0 < v < H/2 in
 *   column 0, rows 2v - 1 and 2v; X[0, 0] at (0, 0). Zero frequency is at the corner, not in the centre. */
enum {
    VEK_FFT_FORWARD = 1,  /* the kernel exp(-2 pi i (u x / W + v y / H)) */
    VEK_FFT_INVERSE = 2,  /* the kernel exp(+2 pi i (u x / W + v y / H)), the result times 1 / (W H) */
    VEK_FFT_UNSCALED = 4, /* leaves out that factor */
    VEK_FFT_INTEGER = 16, /* in integers, 6 bits of fraction, 14-bit tables, where both images are integers that fit */
    VEK_FFT_FLOAT = 32,   /* in floating point; without 16 and 32: integers up to 128 pixels, except from 32S */
    VEK_FFT_RELEASE = 128 /* releases the calling thread's tables and does nothing else; images may be null */
};

/* vekRealFft2D: a real image to its packed spectrum. vekCcsFft2D: a packed spectrum to the real image, as the sum over
 * the whole spectrum. Forward through the first and inverse through the second gives the image back.
 *   srcImage, dstImage  any depths but 1U, any data orders; may be the same image. The regions (roi) are laid corner to
 *            corner, W and H are what they share; masks and tiles play no part. Any W and H: products of small primes
 *            are fastest. Single precision for powers of two, double for other lengths
 *   flags    a sum of VEK_FFT_...; exactly one of FORWARD and INVERSE, at most one of INTEGER and FLOAT
 *   writes   the channels but alpha, or that of the coi, which both images have or neither; integer results are held to
 *            the range of the depth and chopped, 32F takes them as they are
 *   refuses  -5 with the text of the test: flags, then each image (null, its header, 1U, tiles), then coi and channel
 *            counts; -4 "No working memory". Images with nothing but alpha to transform, and regions that share
 *            nothing, end the call silently
 *   memory   tables and scratch are kept for the thread until VEK_FFT_RELEASE or its end: about 4 bytes a pixel
 *            (8 in integers) and 20 to 80 a sample of each length */
VEK_API void vekRealFft2D(const VekImage* srcImage, VekImage* dstImage, int32_t flags);
VEK_API void vekCcsFft2D(const VekImage* srcImage, VekImage* dstImage, int32_t flags);

/* vekMpyRCPack2D: dst = A * B, two packed spectra multiplied as complex numbers: the spectrum of a cyclic convolution.
 *   srcA, srcB, dst  same depth, data orders may differ, no tiles; dst may be A or B, A may be B
 *   depths   8S 16S 32S, rounded to nearest and held to the range, 32F; computed in double
 *   writes   what the regions share, whose size says where the parts of an element lie; channels as above
 *   refuses  the headers; -5 "srcA->imageData == ((void*)(0))" (srcB, dst) for tiles; -5 "srcA->depth || srcB->depth ==
 *            8U||16U||1U"; -5 "(srcA->depth != srcB->depth)"; -5 "(srcA->depth != dst->depth)"; -5 and an empty text
 *            when channel counts differ */
VEK_API void vekMpyRCPack2D(const VekImage* srcA, const VekImage* srcB, VekImage* dst);

enum {
    VEK_DCT_FORWARD = 1,
    VEK_DCT_INVERSE = 2,
    VEK_DCT_RELEASE = 8, /* releases the calling thread's tables and does nothing else; images may be null */
    VEK_DCT_FAST = 16    /* for two whole 16S images in plane order; changes no result */
};

/* vekDCT2D: the orthonormal cosine transform of a whole region, and its inverse:
 *   X[u, v] = f(u, W) f(v, H) * sum of s[x, y] cos((2x + 1) u pi / 2W) cos((2y + 1) v pi / 2H),
 * with f(0, n) = sqrt(1 / n) and f(k, n) = sqrt(2 / n) beyond. There is no blocking: for a codec's blocks call it with
 * regions of 8 by 8, which have code of their own.
 *   src, dst  two images without tiles, any depths but 1U and 32F, same data order; regions (roi) of one size, and as
 *             many channels on both sides. Masks play no part
 *   flags     a sum of VEK_DCT_...; neither or both of FORWARD and INVERSE: nothing is done
 *   writes    the channels but alpha, or that of the coi; held to the range of the depth, then chopped toward zero
 *   refuses   -5 "src==0"; -5 "dst==0"; the headers; -5 and a text of its own for one image as both, 1U, 32F, alpha,
 *             "Images are not compatible"; -4 "No working memory"
 *   memory    tables and scratch are kept for the thread until VEK_DCT_RELEASE or its end, about 4 bytes a pixel */
VEK_API void vekDCT2D(const VekImage* src, VekImage* dst, int32_t flags);

/* ---- Test images --------------------------------------------------------------------------------- */

/* vekCreateImageJaehne: a new one-channel image of rings, sin(r^2 * 2 pi / (4 height)) around its centre, whose
 * frequency rises with the radius; filters and resamplers show on it what they do to every frequency.
 *   depth    any of the seven; width, height in pixels
 *   returns  the image, to be released by vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA); null on failure
 *   refuses  -10 and -17 with their own texts; -4 "Not enough memory to allocate header for ImageJaehne",
 *            "Not enough memory to allocate imageData for ImageJaehne"
 *   source   B. Jaehne, Digital Image Processing: the ring test pattern */
VEK_API VekImage* vekCreateImageJaehne(int32_t depth, int32_t width, int32_t height);

#ifdef __cplusplus
}
#endif
#endif
