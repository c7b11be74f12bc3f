/* ownresample.h: separable resampling. A table for each axis tells which source samples a destination sample takes and how;
 * a horizontal pass brings source rows to the destination's columns, a vertical one combines such rows. */
#ifndef OWNRESAMPLE_H
#define OWNRESAMPLE_H

#include "owngrid.h"

/* ---- Tables -------------------------------------------------------------------------------------------------- */

/* How the samples of the taps are combined. */
enum OwnMix {
    OWN_BLEND_NEAREST, /* the sample */
    OWN_BLEND_LINEAR,  /* two, weights of 14 bits, chopped twice */
    OWN_BLEND_HALF_UP, /* two, weights of 8 bits, rounded half up once */
    OWN_BLEND_SUPER,   /* the mean of a box of samples; in a row, of two with small weights */
    OWN_BLEND_CUBIC    /* four, Newton's polynomial in floats, chopped */
};

/* Where a destination column (or row) takes its samples, in columns of the source region. */
struct OwnAxisTap {
    int32_t first;  /* of cubic, the first of the four */
    int32_t second; /* linear: the other one */
    int32_t weight; /* linear: of the second */
    float t;        /* cubic: the place between the second and the third */
};

/* What a table covers on one axis. */
struct OwnAxisSpan {
    int32_t n;         /* destination samples */
    int32_t size;      /* source samples of the region */
    int32_t offset;    /* the region's first sample in the image */
    int32_t imageSize; /* source samples of the image: cubic windows may reach beyond the region */
};

/* Positions j * ratio. */
void ownTabulate(OwnAxisTap* taps, OwnMix blend, const OwnAxisSpan& span, double ratio);
/* Positions j * step in 1/256. */
void ownTabulateFixed(OwnAxisTap* taps, OwnMix blend, const OwnAxisSpan& span, int64_t step);

/* ---- A resolved resampling ----------------------------------------------------------------------------------- */

struct OwnResampling {
    const VekImage *srcImage, *dstImage;
    OwnChannels srcChannels, dstChannels;
    OwnRect srcRect; /* the source's region */
    OwnRect dstRect; /* the pixels to write */
    const VekImage* mask;
    OwnMix blend;
    const OwnAxisTap *xTaps, *yTaps; /* for the columns and rows of dstRect */
};

/* Runs it, tiles and all. False when a failure has been reported. */
bool ownRunResampling(const OwnFace& face, const OwnTileTexts& texts, const OwnResampling& job);

/* ---- What the runs over parts share -------------------------------------------------------------------------- */

/* Where the samples of a row of pixels go. A row that lacks no channel and no pixel is computed in its place. */
struct OwnTarget {
    uint8_t* data; /* the part's first pixel, first channel */
    ptrdiff_t rowStep, pixelBytes, unitBytes;
    int32_t width;
    const uint8_t* maskData;
    ptrdiff_t maskStep;
    int64_t maskBit; /* of the part's first pixel in its row */
    bool direct;
};

/* A part of a resampling: its columns and rows counted from the first pixel to write, and the pixels it lies on. */
struct OwnPartRun {
    const OwnResampling* job;
    const OwnFetched* window;
    const OwnGrid* grid;
    const OwnAxisTap *xTaps, *yTaps;
    int32_t width, height;
};

/* Of one plane, or of all interleaved channels. */
OwnTarget ownTargetOf(const OwnPartRun& run, int32_t plane);

/* A row of pixels that lie side by side, to the places of a destination's row whose mask has a 1. */
void ownPutRow(const OwnTarget& target, const uint8_t* row, int32_t y);

/* The same for a row of bits, from the top bit of the first byte on. */
void ownPutBits(const OwnPartRun& run, uint8_t* bits, int32_t y);

/* ---- Rows ---------------------------------------------------------------------------------------------------- */

/* What the horizontal pass over one part needs to know, made once for all its rows. `lanes` outputs are computed, `n` of
 * them asked for; they lie in the order in which the vertical pass packs them. */
struct OwnRowPlan {
    OwnMix blend;
    int sampleBytes, one;
    ptrdiff_t n, lanes;
    int32_t* at;         /* byte offsets of the first tap, lane by lane; nearest: of the byte */
    int32_t* next;       /* of the second; cubic: of the third */
    int32_t farther;     /* cubic: bytes from a tap to the next */
    int16_t* weights;    /* linear: pairs, lane by lane */
    float *c1, *c2, *c3; /* cubic: factors of the differences */
    bool packed, wide;   /* the taps of sixteen bytes of lanes lie within 16, within 32 bytes of source */
    int32_t *base, *base2;
    uint8_t *places, *places2;
    ptrdiff_t halfBytes; /* cubic: from the picks of the first two taps to those of the others */
    void* block;
};

/* For columns taps[0 .. nColumns) of `count` samples each. `rowBytes` of a source row from `rowStart` on may be read,
 * offsets being counted from the window's first column, which is column xFirst of the taps. False without memory. */
struct OwnRowShape {
    int32_t nColumns, count, xFirst;
    int sampleBytes, one;               /* one: sum of a super-sampling tap's weights */
    ptrdiff_t pixelBytes, channelBytes; /* in the source row */
    ptrdiff_t rowStart, rowEnd;         /* bytes that may be read, from the window's first pixel */
};
OwnRowShape ownShapeOf(const OwnPartRun& run);
bool ownMakeRowPlan(OwnRowPlan* plan, OwnMix blend, const OwnAxisTap* taps, const OwnRowShape& shape);
void ownFreeRowPlan(OwnRowPlan* plan);

/* Bytes of a row of lanes between the passes. */
ptrdiff_t ownLaneRowBytes(const OwnRowPlan& plan);

/* The passes. Nearest has only the first, which writes n bytes; the second writes n samples. */
void ownRowAcross(void* out, const uint8_t* row, const OwnRowPlan& plan);
void ownRowDown(void* out, const void* const rows[4], const OwnAxisTap& tap, const OwnRowPlan& plan);

/* The mean of up to four rows with weights, whose sum times plan.one is `area`. */
void ownRowMean(void* out, const void* const rows[4], const int32_t weights[4], int32_t area, const OwnRowPlan& plan);

/* ---- Super-sampling ------------------------------------------------------------------------------------------ */

/* Columns and rows of xStep and yStep / 256 source samples, from the region's first one on. job.blend and the taps play no
 * part. False when a failure has been reported. */
bool ownRunSuper(const OwnFace& face, const OwnTileTexts& texts, const OwnResampling& job, int64_t xStep,
                 int64_t yStep);

#endif
