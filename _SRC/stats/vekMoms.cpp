/* vekMoms: spatial moments up to order 3. The moment (m, n) is the sum of x^m y^n p over the pixels, x and y counted from the
 * image's corner; a central one is counted from the centroid, a normalized one divided by width^m height^n.
 *
 * Sums of p, px, pxx, pxxx run along a row in single precision, in four lanes: pixel i of the row goes to lane i % 4. At the
 * row's end the lanes are added, and the sums go with the powers of y to sums in double. */
#include "ownsimd.h"
#include "own.h"

#include <float.h>
#include <math.h>

/* ---- Samples ------------------------------------------------------------------------------------------------- */

/* Bits: the type stands for them as a name alone. */
struct OwnBit {};

static inline int ownFourBits(const void* a, ptrdiff_t i) { return ((const uint8_t*)a)[i >> 3] >> (4 - (i & 4)) & 15; }
static constexpr struct OwnBitFloats {
    alignas(16) float of[16][4];
    constexpr OwnBitFloats() : of()
    {
        for (int i = 0; i < 64; ++i) of[i / 4][i % 4] = (float)(i / 4 >> (3 - i % 4) & 1);
    }
} ownBitFloats;

/* Four pixels from pixel i on, i a multiple of four: of one row, and of two. */
template <class T> static inline OwnLane4 ownFourAt(const void* a, ptrdiff_t i)
{
    return ownLoadLanes((const T*)a + i);
}
template <> inline OwnLane4 ownFourAt<OwnBit>(const void* a, ptrdiff_t i)
{
    return ownLoadLanes(ownBitFloats.of[ownFourBits(a, i)]);
}
template <class T> static inline OwnLane8 ownFourAt(const void* a, const void* b, ptrdiff_t i)
{
    return ownLoadLanes((const T*)a + i, (const T*)b + i);
}
template <> inline OwnLane8 ownFourAt<OwnBit>(const void* a, const void* b, ptrdiff_t i)
{
    return ownLoadLanes(ownBitFloats.of[ownFourBits(a, i)], ownBitFloats.of[ownFourBits(b, i)]);
}

/* The last pixels of a row of n, which are fewer than four: those behind the end are 0. */
template <class T> struct OwnRest {
    T four[4] = {};
    OwnRest(const void* a, ptrdiff_t n) { memcpy(four, (const T*)a + (n & ~3), (size_t)(n & 3) * sizeof(T)); }
};
template <> struct OwnRest<OwnBit> {
    uint8_t four[1];
    OwnRest(const void* a, ptrdiff_t n) : four{(uint8_t)(ownFourBits(a, n & ~3) >> (4 - (n & 3)) << (8 - (n & 3)))} {}
};

/* One pixel. */
template <class T> static inline float ownSampleAt(const void* a, ptrdiff_t i)
{
    T sample;
    memcpy(&sample, (const char*)a + i * (ptrdiff_t)sizeof(T), sizeof(T));
    return (float)sample;
}
template <> inline float ownSampleAt<OwnBit>(const void* a, ptrdiff_t i)
{
    return (float)(((const uint8_t*)a)[i >> 3] >> (7 - (i & 7)) & 1);
}

/* ---- Rows ---------------------------------------------------------------------------------------------------- */

/* The current row, and the ten sums by powers of x and y. */
struct OwnMoments {
    float lane[4][4];          /* by the power of x */
    double sum[4][4];          /* [m][n] */
    int32_t x, y;              /* where the rectangle lies in the image */
    int32_t row;               /* of the rectangle; -1: none yet */
    int firstPower, lastPower; /* of x */
};

/* Adds the row's sums with the powers of y to the ten, and begins anew. */
static void ownEndRow(OwnMoments& moments)
{
    const double y = (double)moments.y + moments.row;
    const double power[4] = {1.0, y, y * y, y * y * y};
    for (int m = moments.firstPower; m <= moments.lastPower && moments.row >= 0; ++m) {
        const float* lane = moments.lane[m];
        const double sum = lane[0] + lane[1] + lane[2] + lane[3];
        for (int n = 0; m + n <= 3; ++n) moments.sum[m][n] += power[n] * sum;
    }
    memset(moments.lane, 0, sizeof(moments.lane));
    moments.row = -1;
}

static void ownToRow(OwnMoments& moments, int32_t y)
{
    if (y != moments.row) ownEndRow(moments);
    moments.row = y;
}

/* Pixels p of columns x: the powers that are wanted, p multiplied by x step by step. */
template <int first, int last, int n>
static inline void ownAddPowers(OwnRowLanes<n> lane[4], OwnRowLanes<n> p, OwnRowLanes<n> x)
{
    if constexpr (first == 0) lane[0] = lane[0] + p;
    if constexpr (last >= 1) p = p * x;
    if constexpr (first <= 1 && last >= 1) lane[1] = lane[1] + p;
    if constexpr (last >= 2) p = p * x;
    if constexpr (first <= 2 && last >= 2) lane[2] = lane[2] + p;
    if constexpr (last >= 3) lane[3] = lane[3] + p * x;
}

/* Part of a row. */
template <class T, int first, int last> static void ownMomentRow(OwnMoments& moments, const OwnSpan& span)
{
    OwnLane4 lane[4];
    memcpy(lane, moments.lane, sizeof(lane));
    const float x0 = (float)(moments.x + span.x), from[4] = {x0, x0 + 1, x0 + 2, x0 + 3}, four[4] = {4, 4, 4, 4};
    OwnLane4 x = ownLoadLanes(from);
    const OwnLane4 step = ownLoadLanes(four);
    for (ptrdiff_t i = 0; i + 4 <= span.n; i += 4, x = x + step)
        ownAddPowers<first, last>(lane, ownFourAt<T>(span.a, i), x);
    if (span.n & 3) ownAddPowers<first, last>(lane, ownFourAt<T>(OwnRest<T>(span.a, span.n).four, 0), x);
    memcpy(moments.lane, lane, sizeof(lane));
}

/* Four whole rows at once: the sums of each run in a chain, of which each step waits for the one before. */
template <class T, int first, int last>
static void ownMomentFourRows(OwnMoments& moments, const uint8_t* const row[4], ptrdiff_t n, int32_t y)
{
    OwnLane8 upper[4] = {}, lower[4] = {};
    const float x0 = (float)moments.x, from[4] = {x0, x0 + 1, x0 + 2, x0 + 3}, four[4] = {4, 4, 4, 4};
    OwnLane8 x = ownLoadLanes(from, from);
    const OwnLane8 step = ownLoadLanes(four, four);
    for (ptrdiff_t i = 0; i + 4 <= n; i += 4, x = x + step) {
        ownAddPowers<first, last>(upper, ownFourAt<T>(row[0], row[1], i), x);
        ownAddPowers<first, last>(lower, ownFourAt<T>(row[2], row[3], i), x);
    }
    if (n & 3) {
        const OwnRest<T> a(row[0], n), b(row[1], n), c(row[2], n), d(row[3], n);
        ownAddPowers<first, last>(upper, ownFourAt<T>(a.four, b.four, 0), x);
        ownAddPowers<first, last>(lower, ownFourAt<T>(c.four, d.four, 0), x);
    }
    for (int r = 0; r < 4; ++r) {
        ownToRow(moments, y + r);
        for (int m = first; m <= last; ++m)
            memcpy(moments.lane[m], (float*)&(r < 2 ? upper : lower)[m] + r % 2 * 4, 16);
    }
}

template <class T, int first, int last> static void ownMomentRun(void* state, const OwnSpan& span)
{
    OwnMoments& moments = *(OwnMoments*)state;
    int32_t y = 0;
    const auto rowAt = [&](int32_t i) { return (const uint8_t*)span.a + i * span.rowStep; };
    for (; y + 4 <= span.nRows; y += 4) {
        const uint8_t* const row[4] = {rowAt(y), rowAt(y + 1), rowAt(y + 2), rowAt(y + 3)};
        ownMomentFourRows<T, first, last>(moments, row, span.n, span.y + y);
    }
    for (; y < span.nRows; ++y) {
        OwnSpan one = span;
        one.a = rowAt(y);
        ownToRow(moments, span.y + y);
        ownMomentRow<T, first, last>(moments, one);
    }
}

/* The same, pixel by pixel. */
template <class T, int first, int last> static void ownMomentPlain(void* state, const OwnSpan& span)
{
    OwnMoments& moments = *(OwnMoments*)state;
    for (int32_t y = 0; y < span.nRows; ++y) {
        ownToRow(moments, span.y + y);
        for (ptrdiff_t i = 0; i < span.n; ++i) {
            float p = ownSampleAt<T>((const uint8_t*)span.a + y * span.rowStep, i);
            const float x = (float)(moments.x + span.x + (int32_t)i);
            for (int m = 0; m <= last; ++m, p *= x)
                if (m >= first) moments.lane[m][i % 4] += p;
        }
    }
}

template <class T, int first, int last>
static constexpr OwnReduceRow ownMomentRuns = {ownMomentRun<T, first, last>, ownMomentPlain<T, first, last>};

#define OWN_MOMENT_ROWS(first, last)                                                                                   \
    {                                                                                                                  \
        /*  1U */ ownMomentRuns<OwnBit, first, last>, /*  8U */ ownMomentRuns<uint8_t, first, last>,                   \
            /*  8S */ ownMomentRuns<int8_t, first, last>, /* 16U */ ownMomentRuns<uint16_t, first, last>,              \
            /* 16S */ ownMomentRuns<int16_t, first, last>, /* 32S */ ownMomentRuns<int32_t, first, last>,              \
            /* 32F */ ownMomentRuns<float, first, last>,                                                               \
    }

/* All powers of x; one of them alone. */
static const OwnReduceRow ownAllMomentRows[OWN_DEPTHS] = OWN_MOMENT_ROWS(0, 3);
static const OwnReduceRow ownOneMomentRows[4][OWN_DEPTHS] = {OWN_MOMENT_ROWS(0, 0), OWN_MOMENT_ROWS(1, 1),
                                                             OWN_MOMENT_ROWS(2, 2), OWN_MOMENT_ROWS(3, 3)};

/* ---- Images -------------------------------------------------------------------------------------------------- */

/* Part of the rectangle, whose mask lies at (x, y) in the mask's region. */
static void ownMomentPart(OwnReduction& reduction, const VekImage* part, const VekImage* mask, int32_t x, int32_t y,
                          int32_t width, int32_t height)
{
    VekImage maskPart;
    VekROI roi = {0, 0, 0, width, height};
    if (mask) {
        const VekROI region = ownRegion(mask);
        maskPart = *mask;
        roi.xOffset = region.xOffset + x;
        roi.yOffset = region.yOffset + y;
        maskPart.roi = &roi;
    }
    reduction.image[0] = part;
    reduction.mask = mask ? &maskPart : nullptr;
    ownReduce(reduction);
    ownEndRow(*(OwnMoments*)reduction.state);
}

/* The sums over the rectangle, tile by tile. False when a tile did not come, which has been reported. */
static bool ownSumMoments(const OwnFace& face, const VekImage* image, const VekROI& region, const OwnReduceRow* rows,
                          OwnMoments* moments)
{
    OwnReduction reduction = {};
    reduction.nImages = 1;
    reduction.channels[0] = {region.coi > 0 ? region.coi - 1 : 0, 1, true};
    reduction.byChannel = reduction.byRow = reduction.inBlocks = true;
    reduction.run = rows[ownSlot(image->depth)].run;
    reduction.state = moments;
    moments->row = -1;
    ownEndRow(*moments);

    OwnPieces walk = {};
    walk.face = &face;
    walk.nParts = 1;
    walk.part[0] = {image,
                    region.xOffset,
                    region.yOffset,
                    false,
                    VEK_TILE_READ,
                    VEK_StatusBadArg,
                    "(srcImage->tileInfo->tileData == ((void*)(0)))"};
    walk.width = region.width;
    walk.height = region.height;
    while (ownOpenPiece(walk)) {
        moments->x = region.xOffset + walk.x;
        moments->y = region.yOffset + walk.y;
        ownMomentPart(reduction, &walk.header[0], image->maskROI, walk.x, walk.y, walk.nColumns, walk.nRows);
        ownClosePiece(walk);
    }
    return !walk.failed;
}

/* Fills a state. False for an empty rectangle and after a failure, which leave it as it was. */
static bool ownFillState(const OwnFace& face, const VekImage* image, VekMomentState state)
{
    const VekROI region = ownMaskedRegion(image);
    if (region.width < 1 || region.height < 1) return false;
    OwnMoments moments = {};
    moments.lastPower = 3;
    if (!ownSumMoments(face, image, region, ownAllMomentRows, &moments)) return false;
    for (int m = 0; m < 4; ++m)
        for (int n = 0; m + n < 4; ++n) state[m][n].value = moments.sum[m][n];
    const double x = 1.0 / region.width, y = 1.0 / region.height;
    state[0][0].scale = 1.0;
    state[1][0].scale = x;
    state[0][1].scale = y;
    state[2][0].scale = x * x;
    state[1][1].scale = x * y;
    state[0][2].scale = y * y;
    state[3][0].scale = x * x * x;
    state[2][1].scale = x * x * y;
    state[1][2].scale = x * y * y;
    state[0][3].scale = y * y * y;
    return true;
}

/* One moment alone; 0 for an empty rectangle and after a failure. */
static double ownOneMoment(const OwnFace& face, const VekImage* image, int32_t m, int32_t n)
{
    const VekROI region = ownMaskedRegion(image);
    if (region.width < 1 || region.height < 1) return 0.0;
    OwnMoments moments = {};
    moments.firstPower = moments.lastPower = m;
    return ownSumMoments(face, image, region, ownOneMomentRows[m], &moments) ? moments.sum[m][n] : 0.0;
}

/* ---- From a state -------------------------------------------------------------------------------------------- */

static double ownCentral(VekMomentState state, int32_t m, int32_t n)
{
    const auto value = [=](int i, int k) { return state[i][k].value; };
    const double mass = value(0, 0);
    double u = 0.5 / state[1][0].scale, v = 0.5 / state[0][1].scale; /* of an empty image: the middle */
    if (fabs(mass) > DBL_MIN) {
        const double t = 1.0 / mass;
        u = value(1, 0) * t;
        v = value(0, 1) * t;
    }
    switch (10 * m + n) {
    case 0: return mass;
    case 2: return value(0, 2) - v * value(0, 1);
    case 11: return value(1, 1) - u * value(0, 1);
    case 20: return value(2, 0) - u * value(1, 0);
    case 3: return value(0, 3) - 3.0 * v * value(0, 2) + 2.0 * v * v * value(0, 1);
    case 12: return value(1, 2) - 2.0 * v * value(1, 1) - u * value(0, 2) + 2.0 * v * v * value(1, 0);
    case 21: return value(2, 1) - 2.0 * u * value(1, 1) - v * value(2, 0) + 2.0 * u * u * value(0, 1);
    case 30: return value(3, 0) - 3.0 * u * value(2, 0) + 2.0 * u * u * value(1, 0);
    }
    return 0.0; /* the first order vanishes at the centroid */
}

static bool ownIsOrder(int32_t m, int32_t n)
{
    return (uint32_t)m <= 3 && (uint32_t)n <= 3 && (uint32_t)m + (uint32_t)n <= 3;
}

/* width^m height^n. */
static double ownMomentUnit(const VekROI& region, int32_t m, int32_t n)
{
    double unit = 1.0;
    for (int i = 0; i < m; ++i) unit *= region.width;
    for (int i = 0; i < n; ++i) unit *= region.height;
    return unit;
}

/* ---- The functions ------------------------------------------------------------------------------------------- */

#define OWN_REFUSE_ORDER(m, n) OWN_REFUSE_TEXT_IF(!ownIsOrder(m, n), "Illegal order of moment", 0.0)
#define OWN_REFUSE_MOMENTS(image, ...)                                                                                 \
    do {                                                                                                               \
        OWN_REFUSE_HEADER(image, __VA_ARGS__);                                                                         \
        OWN_REFUSE_TEXT_IF(image->nChannels > 1 && (!image->roi || image->roi->coi == 0),                              \
                           "Only one channel can be proceed", __VA_ARGS__);                   \
    } while (0)

void vekMoments(const VekImage* image, VekMomentState state)
{
    OWN_FACE("vekMoments", "vekMoms");
    OWN_REFUSE_MOMENTS(image);
    (void)ownFillState(face, image, state);
}

double vekGetSpatialMoment(VekMomentState state, int32_t m, int32_t n)
{
    OWN_FACE("vekGetSpatialMoment", "vekMoms");
    OWN_REFUSE_ORDER(m, n);
    return state[m][n].value;
}

double vekGetNormalizedSpatialMoment(VekMomentState state, int32_t m, int32_t n)
{
    OWN_FACE("vekGetNormalizedSpatialMoment", "vekMoms");
    OWN_REFUSE_ORDER(m, n);
    return state[m][n].value * state[m][n].scale;
}

double vekGetCentralMoment(VekMomentState state, int32_t m, int32_t n)
{
    OWN_FACE("vekGetCentralMoment", "vekMoms");
    OWN_REFUSE_ORDER(m, n);
    return ownCentral(state, m, n);
}

double vekGetNormalizedCentralMoment(VekMomentState state, int32_t m, int32_t n)
{
    OWN_FACE("vekGetNormalizedCentralMoment", "vekMoms");
    OWN_REFUSE_ORDER(m, n);
    return ownCentral(state, m, n) * state[m][n].scale;
}

double vekSpatialMoment(const VekImage* image, int32_t m, int32_t n)
{
    OWN_FACE("vekSpatialMoment", "vekMoms");
    OWN_REFUSE_MOMENTS(image, 0.0);
    OWN_REFUSE_ORDER(m, n);
    return ownOneMoment(face, image, m, n);
}

double vekNormalizedSpatialMoment(const VekImage* image, int32_t m, int32_t n)
{
    OWN_FACE("vekNormalizedSpatialMoment", "vekMoms");
    OWN_REFUSE_MOMENTS(image, 0.0);
    OWN_REFUSE_ORDER(m, n);
    const VekROI region = ownMaskedRegion(image);
    if (region.width < 1 || region.height < 1) return 0.0;
    return ownOneMoment(face, image, m, n) / ownMomentUnit(region, m, n);
}

double vekCentralMoment(const VekImage* image, int32_t m, int32_t n)
{
    OWN_FACE("vekCentralMoment", "vekMoms");
    OWN_REFUSE_MOMENTS(image, 0.0);
    OWN_REFUSE_ORDER(m, n);
    VekMomentState state;
    return ownFillState(face, image, state) ? ownCentral(state, m, n) : 0.0;
}

double vekNormalizedCentralMoment(const VekImage* image, int32_t m, int32_t n)
{
    OWN_FACE("vekNormalizedCentralMoment", "vekMoms");
    OWN_REFUSE_MOMENTS(image, 0.0);
    OWN_REFUSE_ORDER(m, n);
    VekMomentState state;
    return ownFillState(face, image, state) ? ownCentral(state, m, n) * state[m][n].scale : 0.0;
}
