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
/* Reports as OWN_REFUSE_IF does, and goes on. */
#define OWN_REPORT_IF(test)                                                                                            \
    do {                                                                                                               \
        if (test) ownFail(face, VEK_StatusBadArg, #test, __LINE__);                                                    \
    } while (0)
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

/* What the Fourier transform keeps: tables of powers of two by exponent, of other lengths, and scratch. Each of them is
 * one block of ownAlloc; what is in it is the transform's business. */
struct OwnFftCache {
    void* tables[4][32];
};

struct VekThreadContext {
    VekStatus status;
    int32_t mode;
    VekReporter reporter;
    int32_t dctTableKey; /* four times the table's length; -1 at creation, 0 once released */
    void* dctTable;      /* from ownAlloc, as all of the caches */
    int32_t dctPlanCount;
    void** dctPlans; /* a plan a length */
    int32_t dctBlockCount;
    void** dctBlocks; /* scratch */
    OwnFftCache fftCache;
    uint32_t noise; /* the state of the generator of noise; 1 at creation */
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

/* Bits of a row of `width` pixels. Of a row far longer than a header can say, which no product would hold: 4 GB. */
static inline int64_t ownRowBits(const VekImage* image, int64_t width)
{
    constexpr int64_t most = (int64_t)1 << 35;
    const int64_t pixelBits = (int64_t)ownSampleBits(image->depth) *
                              (image->dataOrder == VEK_DATA_ORDER_PIXEL ? image->nChannels : 1);
    return pixelBits > UINT32_MAX && width > most / pixelBits ? most : width * pixelBits;
}

/* The same in bytes, rounded up to the header's align. */
static inline int64_t ownRowBytes(const VekImage* image, int64_t width)
{
    const int64_t unit = 8 * (int64_t)image->align;
    return (ownRowBits(image, width) + unit - 1) / unit * image->align;
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
    int32_t pixelStep;     /* samples from a pixel to the next in its row; negative: the row runs backward */
    ptrdiff_t rowStep;     /* bytes from a row to the next */
    ptrdiff_t channelStep; /* bytes from a channel of a pixel to the next channel */
};

OwnView ownView(const VekImage* image);

/* The same for the whole image, whatever its region. */
OwnView ownWholeView(const VekImage* image);

/* An image's region, clipped, whether it has tiles or not. Empty: width and height are 0. */
VekROI ownRegion(const VekImage* image);

/* The same, held to the size of the image's mask. */
VekROI ownMaskedRegion(const VekImage* image);

/* An image's region by width and height alone: of an image that may have no pixels. */
VekROI ownHeaderRegion(const VekImage* image);

/* A private header: on pixels that are laid out like the image's, without region, mask and tiles. */
VekImage ownHeaderOn(const VekImage* image, void* pixels, int32_t width, int32_t height, int32_t rowBytes);

/* The same on a new block, which ownFree takes back; its imageData is null when memory is short. A band has as many of
 * `height` rows, one at least, as stay in the first-level cache while others take their place. */
VekImage ownHeaderOnNew(const VekImage* image, int64_t width, int64_t height);
VekImage ownHeaderOnBand(const VekImage* image, int32_t width, int32_t height);

/* The same on the tile that is open; its imageData is null when the tile was not delivered. */
VekImage ownTileOf(const VekImage* image);

/* Makes of a tiled image's header that of one tile, still without pixels. False when no header can describe it. */
bool ownTileHeader(const VekImage* image, VekImage* header);

/* A rectangle of a view that lies within it. */
OwnView ownCrop(OwnView view, int32_t x, int32_t y, int32_t width, int32_t height);

/* The same pixels, from the last row up; each row from its last pixel back. */
OwnView ownReversed(OwnView view);
OwnView ownTurned(OwnView view);

/* Rows of bits that begin with a byte, as rows of bytes; the spare bits of the last byte belong to them. */
static inline OwnView ownBytesOf(OwnView view)
{
    view.sampleBits = 8;
    view.width = (int32_t)(((int64_t)view.width + 7) >> 3);
    return view;
}

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

/* Bit i of out, from the top bit of the first byte on, is f(a[i]); spare bits of the last byte are 0. */
template <class S, class F> static inline void ownEachBit(void* out, const void* a, ptrdiff_t n, F f)
{
    uint8_t* bits = (uint8_t*)out;
    memset(bits, 0, (size_t)(n + 7) >> 3);
    for (ptrdiff_t i = 0; i < n; ++i) {
        S x;
        memcpy(&x, (const char*)a + i * (ptrdiff_t)sizeof(S), sizeof(S));
        if (f(x)) bits[i >> 3] |= (uint8_t)(0x80 >> (i & 7));
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

/* The copy at every depth. */
extern const OwnRow ownCopyRows[OWN_DEPTHS];

/* ---- Masks --------------------------------------------------------------------------------------------------- */

/* The masks of an operation's images merged into one. */
struct OwnMask {
    const VekImage* image; /* null: no mask */
    VekImage* owned;       /* what ownReleaseMask frees, or null */
};

enum OwnMerge { OWN_MERGED, OWN_MERGE_EMPTY, OWN_MERGE_NO_MEMORY };

OwnMerge ownMergeMasks(const VekImage* const image[], int nImages, OwnMask* mask);
void ownReleaseMask(OwnMask* mask);

/* ---- Point operations ---------------------------------------------------------------------------------------- */

/* A point operation whose tests have passed: one run, to be taken over all pixels of its images. */
struct OwnPoint {
    const OwnFace* face;
    int nImages;              /* 2 or 3 */
    const VekImage* image[3]; /* the sources, then the destination */
    OwnChannels channels[3];
    OwnRun* run;
    const void* k;
    bool clearedOnRelease;    /* a callback must clear tileData when it takes a tile back */
    bool paddingKept = false; /* whole images are taken row by row too */
    bool copies = false;      /* the run is a copy */
    bool fromOne = false;     /* one channel of the source gives every channel of the destination */

    /* Where an operation differs from the others: what is done with a piece of a tile walk, instead of ownTraverse; the
     * texts for a tile that was not delivered, one an image, and the status. */
    void (*piece)(const OwnPoint& point, const VekImage* const image[], const VekImage* mask) = nullptr;
    const char* const* missing = nullptr;
    VekStatus missingStatus = VEK_StatusBadArg;
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

/* The same for pixels that are found already, one view an image. Rows may run upward; those of the first source also
 * backward. */
void ownTraverseViews(const OwnPoint& point, const OwnView view[], const OwnView* mask);

/* A traversal that brings samples from one place to another as they are, with nothing between the rows; and the traversal
 * of two views of equally many pixels, of some channels, or of all. */
OwnPoint ownCopyPoint(int sampleBits, const OwnChannels& from, const OwnChannels& to);
void ownCopyView(const OwnView& src, const OwnView& dst, const OwnChannels& from, const OwnChannels& to,
                 const OwnView* mask = nullptr);
void ownCopyView(const OwnView& src, const OwnView& dst, int32_t nChannels);

/* The same for a run that writes to its source, too, and so must be given the images' own samples. False: they don't lie side
 * by side in all images, or a mask spares some of them, and nothing is done. */
bool ownTraverseStraight(const OwnPoint& point, const VekImage* const image[], const VekImage* mask);

/* ---- Reductions ---------------------------------------------------------------------------------------------- */

/* Some samples of one image, or of two that are taken together. Those that are not selected, by the mask or as those of a
 * channel that does not take part, read 0 in both. Bits begin with the top bit of the first byte; spare ones read 0. */
struct OwnSpan {
    const void *a, *b;  /* b is null with one image */
    ptrdiff_t n;        /* samples, or bits */
    ptrdiff_t nSkipped; /* how many of them are not selected */
    int32_t x, y;       /* the first sample's pixel, counted from the rectangle's corner */
    int32_t channel;   /* of all samples, counted from the first that takes part; -1: whole pixels follow each other, */
    int32_t step;      /* so many samples each */
    int32_t nRows = 1; /* of n samples each, rowStep bytes apart: above 1 only where the reduction takes blocks */
    ptrdiff_t rowStep = 0;
};
typedef void OwnReduceRun(void* state, const OwnSpan& span);

/* A row of a table of reductions: the packed run, and the plain loop that it must equal. */
struct OwnReduceRow {
    OwnReduceRun* run;
    OwnReduceRun* plain;
};

/* A reduction over the rectangle that the regions of untiled images and the mask share, laid corner to corner. */
struct OwnReduction {
    int nImages; /* 1 or 2, of one depth and data order */
    const VekImage* image[2];
    OwnChannels channels[2]; /* equally many */
    const VekImage* mask;    /* null: none */
    bool byChannel;          /* no span has samples of several channels */
    bool byRow;              /* no span goes beyond its row */
    OwnReduceRun* run;
    void* state;
    bool inBlocks = false; /* byRow, one image: all rows that are read as they lie are one span */
};

/* Gives all samples of the rectangle to the run; stretches of which no sample is selected are left out. */
void ownReduce(const OwnReduction& reduction);

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

/* Visits the common rectangle of the point's images piece by piece, with private headers, and traverses each piece. False
 * when a tile did not come, which has been reported. */
bool ownTileWalk(const OwnPoint& point, const VekImage* mask);

/* ---- Pieces -------------------------------------------------------------------------------------------------- */

/* One image of a walk by pieces: the corner of its rectangle, how its tiles are opened, and what is reported when one does
 * not come (a null text: nothing). */
struct OwnPart {
    const VekImage* image;
    int32_t x, y;
    bool reversed; /* goes with the others from the rectangle's last row up */
    int mode;
    VekStatus status;
    const char* missing;
};

/* A rectangle of one or two images in pieces, each within one tile of every image: in rows of tiles, then from left to
 * right. Each piece opens the tiles that it needs and releases them, the first part's first. The fields up to `height` are
 * the caller's:
 *     while (ownOpenPiece(walk)) { ...; ownClosePiece(walk); } */
struct OwnPieces {
    const OwnFace* face;
    int nParts;
    OwnPart part[2];
    int opensFirst; /* which part's tile is opened first */
    int32_t width, height;

    bool failed;             /* a tile did not come */
    int32_t x, y;            /* the piece within the rectangle, */
    int32_t nColumns, nRows; /* its size, */
    VekImage header[2];      /* and private headers without tiles and masks, whose region is the piece */
    VekROI roi[2];
};

bool ownOpenPiece(OwnPieces& walk);
void ownClosePiece(OwnPieces& walk);

/* A new image, without region, mask and tiles, that holds a rectangle of an integer image, all channels. To be released
 * by ownReleaseStaged. */
enum OwnStaged { OWN_STAGED, OWN_STAGE_NO_HEADER, OWN_STAGE_NO_PIXELS, OWN_STAGE_NO_TILE };
OwnStaged ownStage(const OwnPart& part, const OwnFace& face, int32_t width, int32_t height, VekImage** staged);
void ownReleaseStaged(VekImage* staged);

/* ---- Groups of images ---------------------------------------------------------------------------------------- */

/* Several images walked together, block by block, for operations of more images than a point operation has. Their regions
 * are laid corner to corner. Where an image is tiled, blocks end on the grid of the first tiled one; an image of which a
 * block touches several tiles is shown through a private copy of the block, which a writer gets back tile by tile. So at
 * most one tile of an image is open at any time. Tiled images have samples of whole bytes. */
enum { OWN_GROUP_MOST = 7 };

/* One image of a group: how it is used, and the view of the current block. */
struct OwnMember {
    const VekImage* image;
    int32_t access;  /* VEK_TILE_READ, VEK_TILE_WRITE: a writer is read, too */
    int32_t x, y;    /* the corner of its region */
    VekImage header; /* the view: a header without tiles, whose region is the block */
    VekROI roi;
    void* copy;          /* the block's private pixels, or null */
    int32_t column, row; /* the tile that is open */
    bool isOpen;
};

struct OwnGroup {
    int count;
    int32_t width, height; /* the rectangle: what all regions share */
    OwnMember member[OWN_GROUP_MOST];
    VekStatus status; /* of the walk: 0; -2 no tile; -4 no memory; -1 a tile that no header can describe */
};

void ownGroupBegin(OwnGroup* group);

/* Adds an image, or raises its access when it is there already, and cuts the rectangle by its region. The number to ask
 * for it by, from 1; 0 for a null image. */
int ownGroupAdd(OwnGroup* group, const VekImage* image, int32_t access);

/* The view of a member in the current block; null for number 0. */
static inline const VekImage* ownGroupView(const OwnGroup& group, int number)
{
    return number ? &group.member[number - 1].header : nullptr;
}

/* Calls `work` once for each block, with all views in place. The first failure ends the walk, and is the status that
 * is returned; the block is not worked on, and nothing stays open. */
typedef void OwnGroupWork(const OwnGroup& group, const void* k);
VekStatus ownGroupWalk(OwnGroup* group, OwnGroupWork* work, const void* k);

/* ---- Compositions -------------------------------------------------------------------------------------------- */

/* A run of a composition: out[i] = f(a[i], b[i], alphaA[i], alphaB[i]) for n samples; where write is given, out keeps its
 * value at the samples of which it has zeros (elsewhere it has ones in all bits). What f does not use may be null. out may
 * be any of the others. Samples need no alignment.
 *
 * An operand that repeats is one vector of lanes, which goes for all of the run; the period of what it holds divides n. */
struct OwnBlendRow {
    void* out;
    const void *a, *b, *alphaA, *alphaB, *write;
    ptrdiff_t n;
    bool repeatsA = false, repeatsB = false, repeatsWrite = false; /* alphaA, alphaB, write */
    bool isFourth =
        false; /* the alphas stand in pixels of four samples, whose last goes for all four; write is given */
};
typedef void OwnBlendRun(const OwnBlendRow& row);

/* Where an alpha comes from: a channel of a member, or, for member 0, a constant. */
struct OwnAlpha {
    bool isUsed;
    int member;
    int32_t channel; /* from 0 */
    uint32_t constant;
};

/* A composition of images of depth 8U or 16U. */
struct OwnBlend {
    int dst, a, b; /* numbers in the group; b may be 0 */
    int mask;      /* or 0 */
    OwnAlpha alphaA, alphaB;
    bool complementB; /* alphaB is what alphaA leaves of the whole */
    OwnBlendRun* run;
    int alphaDst; /* or 0; alphaRun gets the alphas as a and b, and as alphaA and alphaB */
    int32_t alphaDstChannel;
    OwnBlendRun* alphaRun;
};

/* Every pixel of the group's current block: an OwnGroupWork whose k is the OwnBlend. */
void ownBlendBlock(const OwnGroup& group, const void* k);

/* ---- Borders ------------------------------------------------------------------------------------------------- */

/* A new block from vekMalloc with a rectangle of the image, all channels, in its depth and data order, pixels outside
 * the image by its border settings. Rows are rowBytes long, planes height rows. Null for a null image, a depth, dataOrder
 * or align that a header can't have, a width or height below 1, and when memory is short. */
void* vekCopyRectBordered(const VekImage* image, int32_t x, int32_t y, int32_t width, int32_t height,
                          int32_t* rowBytes);

/* `count` pixels of row y from column x on, inside the image or by its border modes and these constants, to the buffer's
 * start: of each pixel `samples` neighbouring samples from channel `first` (from 0) on. 1-bit pixels come from the top bit
 * of the first byte on. */
void ownFetchPixels(const VekImage* image, const int32_t* borderConst, int32_t first, int32_t samples, int64_t x,
                    int64_t y, int64_t count, void* buffer);

/* The column that a column beside the image, or in it, reads in the image's own rows; -1 where it reads the side's
 * constant. */
int64_t ownBorderColumn(const VekImage* image, int64_t x, uint32_t* constant);

/* ---- Lines --------------------------------------------------------------------------------------------------- */

/* Pixels around a rectangle. */
struct OwnMargins {
    int32_t left, right, top, bottom;
};

/* The rectangle of an operation that reads whole rows with margins. A line is such a row: pixels -left to
 * width + right - 1, `step` samples each, from the top bit of its first byte on. The rectangle is gone over nPlanes times.
 * Where the source is the destination, each line must be read before its row is written. */
struct OwnLines {
    int32_t width, height; /* in pixels */
    int32_t step;          /* samples of a pixel */
    int32_t nPlanes;
    int sampleBits;
    OwnMargins margins; /* as far as their pixels are not all seen closer by */
    ptrdiff_t rowBytes; /* rows to be written go fastest when they lie so far apart */

    struct Part { /* a private header on pixels that a line is made of */
        VekImage image;
        VekROI roi;
        void* block; /* owned */
    };
    Part rows, ends[2]; /* the rectangle, and the lines above and below it */
    OwnChannels from, to;
    OwnMask mask;
    const VekImage* dst;
    Part result; /* of a tiled destination: all of the rectangle */
};

enum OwnOpened { OWN_OPENED, OWN_OPENED_EMPTY, OWN_OPENED_NO_MEMORY };

/* The tests of the headers have passed, and both images have equally many channels and the same data order. Unless it
 * returns OWN_OPENED there is nothing to close. */
OwnOpened ownOpenLines(OwnLines* lines, const VekImage* srcImage, const VekImage* dstImage, const OwnMargins& margins);

/* Lines y to y + n - 1 of a plane, all of them rows of the rectangle, to `out`, outStep bytes apart. Of 1-bit lines no
 * other bit is written. ownReadSides: their margins alone. */
void ownReadLines(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, uint8_t* out, ptrdiff_t outStep);
void ownReadSides(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, uint8_t* out, ptrdiff_t outStep);

/* The lines above the rectangle (end 0), or those below it (end 1). */
void ownReadEndLines(const OwnLines& lines, int32_t plane, int end, uint8_t* out, ptrdiff_t outStep);

/* Rows of samples where they are: row 0 begins with `bit` of the byte at data. Without data there are none. */
struct OwnRowsAt {
    uint8_t* data;
    ptrdiff_t step; /* bytes from a row to the next */
    int bit;
    uint8_t* row(int64_t y) const { return data + (ptrdiff_t)y * step; }
};

/* Where a pixel beside the rows takes its samples from in each of them. */
struct OwnBeside {
    bool inside;    /* from the pixel of this column, */
    int64_t column; /* counted from the rectangle's, */
    uint32_t value; /* or they have this value */
};

/* The source's rows, when they may be read while others are written. They begin `left` pixels in front of the rectangle
 * and end `right` pixels behind it; at most one pixel of the margin is missing at each side. */
struct OwnStraight {
    OwnRowsAt rows;
    int32_t left, right;
    OwnBeside beside[2]; /* the pixel missing at the left, and the one at the right */
};
OwnStraight ownStraightLines(const OwnLines& lines, int32_t plane);

/* The destination's, when rows may be written straight away, pixel 0 first. Otherwise they go through ownWriteRows. */
OwnRowsAt ownStraightRows(const OwnLines& lines, int32_t plane);

/* Rows y to y + n - 1 of a plane, pixels 0 to width - 1, from `rows`, under the mask. */
void ownWriteRows(const OwnLines& lines, int32_t plane, int32_t y, int32_t n, const uint8_t* rows, ptrdiff_t rowBytes);

/* Releases everything; ownCloseLines first stores what a tiled destination is still due, and reports a tile of it that is
 * not delivered: with a text and its status, or as other operations do. */
void ownDropLines(OwnLines* lines);
void ownCloseLines(const OwnFace& face, OwnLines* lines, const char* missing = nullptr,
                   VekStatus status = VEK_StatusBadArg);

/* ---- Neighbourhoods ------------------------------------------------------------------------------------------ */

/* How far the lines of a window can be read beyond their last sample, and the unit that the room for results is rounded
 * up to: stages go in steps of whole vectors, without tails. In bytes. */
enum { OWN_LINE_SPARE = 128, OWN_OUT_UNIT = 64 };

/* What a row stage is told of its row. */
struct OwnWindowRow {
    ptrdiff_t n;           /* samples of the result */
    ptrdiff_t step;        /* samples from a pixel to its right neighbour: so far apart lie the taps of a sample */
    ptrdiff_t lineSamples; /* n + (left + right) * step, and at least OWN_LINE_SPARE more; a multiple of 64 */
    bool first;            /* the call before was not for the row above: running sums begin anew */
    bool isFull;           /* all lines of the window have come: out is wanted */
    int32_t nRows;         /* of results: 1, or 2 from one line more, the second outStep bytes behind the first */
    ptrdiff_t outStep;
    uint8_t* scratch; /* the stage's own, aligned to 64 bytes, kept from row to row */
    const void* k;    /* the window's */
};

/* A row stage: one row of results from the lines of the window. rows[0] to rows[top + bottom] are the lines from top to
 * bottom, each from the pixel on that lies `left` pixels left of the first result. So the tap (column c, row r) of result
 * i, counted from the window's corner, is rows[r][i + c * step]. Rows come from top to bottom: rows[r] has been rows[r + 1]
 * at the call before, unless row.first is set. A 1-bit sample comes and goes as a byte: 0 or 1 in, above 0 for a 1 out. */
typedef void OwnWindowStage(void* out, const uint8_t* const* rows, const OwnWindowRow& row);

/* An operation on neighbourhoods whose tests have passed. */
struct OwnWindow {
    const VekImage *srcImage, *dstImage; /* of one depth; may be the same image */
    OwnChannels from, to;                /* equally many; alpha is left out wherever it stands, unless it is chosen */
    int32_t left, right, top, bottom;    /* pixels that the window reaches beyond its own */
    const int32_t* borderConst;          /* the source's border constants, or others in their place */
    OwnWindowStage* stage;
    const void* k;
    int64_t scratchBytes, scratchPerSample; /* the stage's scratch: so much, and so much for each of lineSamples */
    bool inTwos;                            /* two rows of results at once, as long as there are two */
    bool oneByOne; /* each line comes as it is read, as rows[0] alone, even before the window is full */
    bool asBits;   /* 1-bit lines and results stay bits, from the top bit of the first byte on */
};

enum OwnWindowEnd { OWN_WINDOW_DONE, OWN_WINDOW_NO_MEMORY, OWN_WINDOW_NO_TILE };

/* Takes the stage over the common rectangle of regions and masks: borders, channels, masks, tiles, in place. Nothing is
 * reported. OWN_WINDOW_NO_TILE: a tile of the destination was not delivered. OWN_WINDOW_NO_MEMORY: nothing is written. */
OwnWindowEnd ownWindow(const OwnWindow& window);

#endif
