/* own.h: what the modules share. The face's tests, the frame's interface, and small helpers.
 *
 * An exported function tests its arguments and picks a row kernel; the frame finds the pixels; the kernel turns runs of
 * samples into runs of samples. docs/architecture.md tells the whole road of a call. */
#ifndef OWN_H
#define OWN_H

#include "vek.h"

#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <type_traits>

static_assert(sizeof(VekImage) == (sizeof(void*) == 8 ? 144 : 112), "the record's layout is part of the interface");

/* ---- Refusals: an exported function's ordered tests, each with its text ---------------------------------------- */

/* Whose failure is reported: the exported function, and the module it stands in. */
struct OwnFace {
    const char* func;
    const char* file;
};

#define OWN_FACE(func, file) [[maybe_unused]] static constexpr OwnFace face = {func, file}

/* Reports a failure under the face's name. */
static inline void ownFail(const OwnFace& face, VekStatus status, const char* text, int line)
{
    (void)vekError(status, face.func, text, face.file, line);
}

/* Each reports and returns when its test holds; a function with a result names it as the last argument. The text of
 * OWN_REFUSE_IF is the test, letter for letter. */
#define OWN_FAIL_IF(test, status, text, ...)                                                                           \
    do {                                                                                                               \
        if (test) {                                                                                                    \
            ownFail(face, status, text, __LINE__);                                                                     \
            return __VA_ARGS__;                                                                                        \
        }                                                                                                              \
    } while (0)
#define OWN_REFUSE_IF(test, ...) OWN_FAIL_IF(test, VEK_StatusBadArg, #test, __VA_ARGS__)
#define OWN_REFUSE_TEXT_IF(test, text, ...) OWN_FAIL_IF(test, VEK_StatusBadArg, text, __VA_ARGS__)
#define OWN_REFUSE_HEADER(image, ...)                                                                                  \
    do {                                                                                                               \
        if (const VekStatus badHeader = vekCheckImageHeader(image)) {                                                  \
            ownFail(face, badHeader, "Incorrect Image", __LINE__);                                                     \
            return __VA_ARGS__;                                                                                        \
        }                                                                                                              \
    } while (0)

/* The tests of a point operation's headers. 1-bit images have one channel, so their data order says nothing. */
#define OWN_REFUSE_HEADERS2(srcImage, dstImage)                                                                        \
    do {                                                                                                               \
        OWN_REFUSE_HEADER(srcImage);                                                                                   \
        OWN_REFUSE_HEADER(dstImage);                                                                                   \
        OWN_REFUSE_IF((srcImage->depth != dstImage->depth));                                                           \
        if (srcImage->depth != VEK_DEPTH_1U) OWN_REFUSE_IF((srcImage->dataOrder != dstImage->dataOrder));              \
    } while (0)
#define OWN_REFUSE_HEADERS3(srcImageA, srcImageB, dstImage)                                                            \
    do {                                                                                                               \
        OWN_REFUSE_HEADER(srcImageA);                                                                                  \
        OWN_REFUSE_HEADER(srcImageB);                                                                                  \
        OWN_REFUSE_HEADER(dstImage);                                                                                   \
        OWN_REFUSE_IF((srcImageA->depth != dstImage->depth));                                                          \
        OWN_REFUSE_IF((srcImageB->depth != dstImage->depth));                                                          \
        if (dstImage->depth == VEK_DEPTH_1U) break;                                                                    \
        OWN_REFUSE_IF((srcImageA->dataOrder != dstImage->dataOrder));                                                  \
        OWN_REFUSE_IF((srcImageB->dataOrder != dstImage->dataOrder));                                                  \
    } while (0)

/* ---- The calling thread -------------------------------------------------------------------------------------- */

/* Tables of the Fourier transform by the power of two of the length; their contents are the transform's business. */
struct OwnFftCache {
    int32_t words[5][32];
    void* tables[9][32];
    int32_t extra[3];
};

struct VekThreadContext {
    VekStatus status;
    int32_t mode;
    VekReporter reporter;
    int32_t dctTableKey; /* -1 at creation, 0 once released */
    void* dctTable;      /* from vekMalloc, as all of the caches */
    int32_t dctPlanCount;
    void** dctPlans;
    int32_t dctBlockCount;
    void** dctBlocks;
    OwnFftCache fftCache;
};

/* The calling thread's record, made at its first call. Never null: without memory for it the process ends. */
VekThreadContext* vekGetThreadContext();

/* Makes, and releases with its caches, a record. Null when memory is short. */
VekThreadContext* ownThreadCreate();
void ownThreadDestroy(VekThreadContext* context);

/* ---- Memory -------------------------------------------------------------------------------------------------- */

/* The plain allocator: all memory of the library comes from here. */
void* ownPlainAlloc(size_t bytes);
void ownPlainFree(void* block);

/* Scratch of any size, aligned to 64 bytes; null when memory is short. Freed by ownFree. */
void* ownAlloc(size_t bytes);
void ownFree(void* block);

/* ---- Depths and rows ----------------------------------------------------------------------------------------- */

/* The order of depths in every table of kernels. */
enum OwnSlot { OWN_1U, OWN_8U, OWN_8S, OWN_16U, OWN_16S, OWN_32S, OWN_32F, OWN_DEPTHS };

/* The depth's place in a table, -1 for a value that is no depth. */
static inline int ownSlot(uint32_t depth)
{
    switch (depth) {
    case VEK_DEPTH_1U: return OWN_1U;
    case VEK_DEPTH_8U: return OWN_8U;
    case VEK_DEPTH_8S: return OWN_8S;
    case VEK_DEPTH_16U: return OWN_16U;
    case VEK_DEPTH_16S: return OWN_16S;
    case VEK_DEPTH_32S: return OWN_32S;
    case VEK_DEPTH_32F: return OWN_32F;
    }
    return -1;
}

static inline int ownSampleBits(uint32_t depth) { return (int)(depth & ~VEK_DEPTH_SIGN); }

/* Bytes of a row of `width` pixels, rounded up to the header's align. */
static inline int64_t ownRowBytes(const VekImage* image, int64_t width)
{
    const int64_t bits = width * ownSampleBits(image->depth) *
                         (image->dataOrder == VEK_DATA_ORDER_PIXEL ? image->nChannels : 1);
    const int64_t unit = 8 * (int64_t)image->align;
    return (bits + unit - 1) / unit * image->align;
}

/* Rows of all planes of an image `height` pixels high. */
static inline int64_t ownRowCount(const VekImage* image, int64_t height)
{
    return height * (image->dataOrder == VEK_DATA_ORDER_PIXEL ? 1 : image->nChannels);
}

/* Bytes of a row of one tile; 0 for an image without tiles, or one whose tiles are too large for a header. */
int32_t ownTileRowBytes(const VekImage* image);

/* ---- Numbers ------------------------------------------------------------------------------------------------- */

/* The range of a depth: clamp, then chop toward zero. */
template <class T, class W> static inline T ownClamp(W value)
{
    constexpr W low = (W)std::numeric_limits<T>::min(), high = (W)std::numeric_limits<T>::max();
    return (T)(value < low ? low : value > high ? high : value);
}

/* The unsigned type of a number of bytes. */
template <int bytes>
using OwnUnsigned = std::conditional_t<bytes == 1, uint8_t, std::conditional_t<bytes == 2, uint16_t, uint32_t>>;

/* ---- Where pixels are ---------------------------------------------------------------------------------------- */

/* The clipped region of an image: the one record through which pixels are reached. No row is taken to be longer than
 * the header's widthStep, whatever its width says. */
struct OwnView {
    uint8_t* data; /* the byte with the region's first sample, channel 0 */
    int bit;       /* 1-bit images: the place of that sample in its byte, 0 is the top bit */
    int sampleBits;
    int32_t width, height; /* in pixels; 0 when there is nothing */
    int32_t pixelStep;     /* samples from a pixel to the next in its row */
    ptrdiff_t rowStep;     /* bytes from a row to the next */
    ptrdiff_t channelStep; /* bytes from a channel of a pixel to the next channel */
};

OwnView ownView(const VekImage* image);

/* The same for the whole image, whatever its region. */
OwnView ownWholeView(const VekImage* image);

/* The channels that take part: all but alpha, or the channel of interest. */
struct OwnChannels {
    int32_t first, count;
    bool single; /* chosen by a coi above 0 */
};

static inline OwnChannels ownChannels(const VekImage* image)
{
    if (image->roi && image->roi->coi > 0) return {image->roi->coi - 1, 1, true};
    return {0, image->nChannels - (image->alphaChannel > 0), false};
}

/* ---- Row kernels --------------------------------------------------------------------------------------------- */

/* A run: out[i] = f(a[i], b[i]) for n samples in a row. b is null with one source; k is the operation's constant, in
 * whatever form its face and kernel agree on. out may be a or b. Samples need no alignment. When all images are 1-bit
 * the run is given whole bytes, and n counts them. */
typedef void OwnRun(void* out, const void* a, const void* b, ptrdiff_t n, const void* k);

/* A row of a table: the run, and the plain loop that it must equal, bit for bit. An empty row: not served. */
struct OwnRow {
    OwnRun* run;
    OwnRun* plain;
};

/* A table of rows by depth, visible to the tests. */
#define OWN_TABLE(name)                                                                                                \
    extern const OwnRow name[OWN_DEPTHS];                                                                              \
    const OwnRow name[OWN_DEPTHS]

/* The plain loops. Samples are moved by memcpy, since rows may lie at any address. */
template <class D, class S, class F> static inline void ownEach(void* out, const void* a, ptrdiff_t n, F f)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        S x;
        memcpy(&x, (const char*)a + i * (ptrdiff_t)sizeof(S), sizeof(S));
        const D y = f(x);
        memcpy((char*)out + i * (ptrdiff_t)sizeof(D), &y, sizeof(D));
    }
}
template <class D, class S, class F>
static inline void ownEach2(void* out, const void* a, const void* b, ptrdiff_t n, F f)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        S x, y;
        memcpy(&x, (const char*)a + i * (ptrdiff_t)sizeof(S), sizeof(S));
        memcpy(&y, (const char*)b + i * (ptrdiff_t)sizeof(S), sizeof(S));
        const D z = f(x, y);
        memcpy((char*)out + i * (ptrdiff_t)sizeof(D), &z, sizeof(D));
    }
}

/* A copy: what an operation without arithmetic on a depth does there. Samples of `size` bytes. */
template <int size> static inline void ownCopyRun(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    if (out != a) memcpy(out, a, (size_t)n * size);
}
template <int size> static inline void ownCopyPlain(void* out, const void* a, const void*, ptrdiff_t n, const void*)
{
    ownEach<uint8_t, uint8_t>(out, a, n * size, [](uint8_t x) { return x; });
}
template <int size> constexpr OwnRow ownCopyRow = {ownCopyRun<size>, ownCopyPlain<size>};

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* The masks of an operation's images merged into one. */
struct OwnMask {
    const VekImage* image; /* null: no mask */
    VekImage* owned;       /* what ownReleaseMask frees, or null */
};

enum OwnMerge { OWN_MERGED, OWN_MERGE_EMPTY, OWN_MERGE_NO_MEMORY };

OwnMerge ownMergeMasks(const VekImage* const image[], int nImages, OwnMask* mask);
void ownReleaseMask(OwnMask* mask);

/* Brings n bits that begin at bit `from` of src to bit `to` of out; 0 is the top bit of the first byte. The other bits of
 * out's first and last byte are undefined. Only bytes that hold some of the bits are read. */
void ownAlignBits(uint8_t* out, int to, const uint8_t* src, int from, ptrdiff_t n);

/* dst = write ? result : dst for n samples of `bytes` bytes side by side, a write bit each. */
void ownStoreSome(void* dst, const void* result, int bytes, const uint8_t* writeBits, ptrdiff_t n);

/* ---- Point operations ---------------------------------------------------------------------------------------- */

/* A point operation whose tests have passed: one run, to be taken over all pixels of its images. */
struct OwnPoint {
    const OwnFace* face;
    int nImages;              /* 2 or 3 */
    const VekImage* image[3]; /* the sources, then the destination */
    OwnChannels channels[3];
    OwnRun* run;
    const void* k;
    bool clearedOnRelease; /* a callback must clear tileData when it takes a tile back */

    /* Where an operation differs from the others: what is done with a piece of a tile walk, instead of ownTraverse, and the
     * texts for a tile that was not delivered, one an image. */
    void (*piece)(const OwnPoint& point, const VekImage* const image[], const VekImage* mask) = nullptr;
    const char* const* missing = nullptr;
};

/* dst = f(src), dst = f(A, B): the channel tests, the merge of masks, the choice of the row by the destination's depth,
 * and the way over all pixels, with tiles or without. Reports under the face's name. */
void ownPoint2(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const OwnRow* rows,
               const void* k = nullptr);
void ownPoint3(const OwnFace& face, const VekImage* srcImageA, const VekImage* srcImageB, const VekImage* dstImage,
               const OwnRow* rows);

/* The part of them that follows the channel tests. */
void ownPointMasked(OwnPoint& point, const OwnRow* rows);

/* Every pixel of untiled images (or of the private headers of one piece of a tile walk). */
void ownTraverse(const OwnPoint& point, const VekImage* const image[], const VekImage* mask);

/* ---- Whole pixels as planes ------------------------------------------------------------------------------------ */

/* A run over whole pixels: in[c] and out[c] are n samples of channel c side by side, at any address. n is a multiple of a
 * vector's bytes, and what lies beyond the pixels asked for is computed too, from any samples whatever. 1-bit samples come
 * and go as bits, from the top bit of the first byte on. out does not overlap in. */
typedef void OwnPlaneRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k);

/* A row of a table: the run, and the plain loop that it must equal, bit for bit. An empty row: not served. */
struct OwnPlaneRow {
    OwnPlaneRun* run;
    OwnPlaneRun* plain;
};

/* One image of the pass: plane c of the run is channel channel[c] of the view. A 1-bit view begins at the top of a byte. */
struct OwnPlaneSide {
    OwnView view;
    int nPlanes; /* 1 or 3 */
    int32_t channel[3];
};

/* A pass over width x height pixels. The two images may be the same one. Other channels of the destination keep their
 * values, and where the mask has a 0, all of them. */
struct OwnPlanePass {
    OwnPlaneSide src, dst;
    int32_t width, height;
    const OwnView* mask; /* null: none */
    OwnPlaneRun* run;
    const void* k;
};
void ownPlanePass(const OwnPlanePass& pass);

/* ---- Tiles --------------------------------------------------------------------------------------------------- */

/* Visits the common rectangle of the point's images piece by piece, with private headers, and traverses each piece. */
void ownTileWalk(const OwnPoint& point, const VekImage* mask);

/* ---- Borders ------------------------------------------------------------------------------------------------- */

/* A new block from vekMalloc with a rectangle of the image, all channels, in its depth and data order, pixels outside
 * the image by its border settings. Rows are rowBytes long, planes height rows. Null for a null image, a depth, dataOrder
 * or align that a header can't have, a width or height below 1, and when memory is short. */
void* vekCopyRectBordered(const VekImage* image, int32_t x, int32_t y, int32_t width, int32_t height,
                          int32_t* rowBytes);

#endif
