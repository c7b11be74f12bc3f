/* veknorm: the norm of an image, or of the difference of two, over all samples that take part. */
#include "own.h"
#include "ownsimd.h"

#include <float.h>
#include <math.h>

/* ---- Kernels ------------------------------------------------------------------------------------------------- */

/* What has been found so far, exact: the largest |d|; the sum of |d| or of its square, as low + 2^32 high. */
struct OwnNorm {
    uint64_t most, low, high;
};

/* |d| for d = a - b, without sign, so that it fits the width of the sample; with one image b is 0. */
template <class T> using OwnPlus = std::make_unsigned_t<T>;
template <class T> static inline OwnVec<OwnPlus<T>> ownDistance(OwnVec<T> a, OwnVec<T> b)
{
    return ownAs<OwnPlus<T>>(ownMax(a, b)) - ownAs<OwnPlus<T>>(ownMin(a, b));
}
template <class T> static inline OwnVec<OwnPlus<T>> ownDistance(OwnVec<T> a)
{
    if constexpr (std::is_signed_v<T>) return ownAs<OwnPlus<T>>(ownAbsWrap(a));
    else return a;
}

/* f takes |d| of every sample of a span, one at a time; a vector at a time, lanes beyond the last sample being 0. */
template <class T, class F> static inline void ownEachDistance(const OwnSpan& span, F f)
{
    for (ptrdiff_t i = 0; i < span.n; ++i) {
        T a, b = 0;
        memcpy(&a, (const char*)span.a + i * (ptrdiff_t)sizeof(T), sizeof(T));
        if (span.b) memcpy(&b, (const char*)span.b + i * (ptrdiff_t)sizeof(T), sizeof(T));
        f((uint64_t)(a < b ? (int64_t)b - a : (int64_t)a - b));
    }
}
template <class T, bool two, class F>
[[gnu::flatten]] static inline void ownMapDistance(const char* a, const char* b, ptrdiff_t n, F f)
{
    constexpr ptrdiff_t step = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const auto distance = [=](OwnVec<T> x, auto loadB) {
        if constexpr (two) return ownDistance(x, loadB());
        else return ownDistance(x);
    };
    ptrdiff_t i = 0;
    for (; i <= n - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step)
            f(distance(ownLoad<T>(a + j * size), [=] { return ownLoad<T>(b + j * size); }));
    for (; i <= n - step; i += step) f(distance(ownLoad<T>(a + i * size), [=] { return ownLoad<T>(b + i * size); }));
    if (i < n) f(distance(ownLoadPart<T>(a + i * size, n - i), [=] { return ownLoadPart<T>(b + i * size, n - i); }));
}
template <class T, class F> static inline void ownMapSpan(const OwnSpan& span, ptrdiff_t from, ptrdiff_t n, F f)
{
    const char *a = (const char*)span.a + from * (ptrdiff_t)sizeof(T), *b = (const char*)span.b;
    if (b) ownMapDistance<T, true>(a, b + from * (ptrdiff_t)sizeof(T), n, f);
    else ownMapDistance<T, false>(a, nullptr, n, f);
}

template <class T> static inline uint64_t ownSumLanes(OwnVec<T> a)
{
    uint64_t sum = 0;
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) sum += a.v[i];
    return sum;
}

/* The lanes of a summed up two by two in the wider type. */
static inline OwnVec<uint32_t> ownPairSums(OwnVec<uint16_t> a)
{
    const OwnVec<uint32_t> wide = ownAs<uint32_t>(a);
    return (wide & ownSet<uint32_t>(0xFFFF)) + ownShiftRight(wide, 16);
}
static inline OwnVec<uint64_t> ownPairSums(OwnVec<uint32_t> a)
{
    const OwnVec<uint64_t> wide = ownAs<uint64_t>(a);
    return (wide & ownSet<uint64_t>(0xFFFFFFFFu)) + ownShiftRight(wide, 32);
}

/* The largest |d|. */
template <class T> static void ownMostPlain(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    ownEachDistance<T>(span, [&](uint64_t d) { norm.most = std::max(norm.most, d); });
}
template <class T> static void ownMostRun(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    OwnVec<OwnPlus<T>> most = {};
    ownMapSpan<T>(span, 0, span.n, [&](OwnVec<OwnPlus<T>> d) { most = ownMax(most, d); });
    for (ptrdiff_t i = 0; i < OwnVec<T>::lanes; ++i) norm.most = std::max<uint64_t>(norm.most, most.v[i]);
}

/* The sum of |d|. */
template <class T> static void ownSumPlain(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    ownEachDistance<T>(span, [&](uint64_t d) { norm.low += d; });
}
template <class T> static void ownSumRun(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    OwnVec<uint64_t> sum = {};
    ownMapSpan<T>(span, 0, span.n, [&](OwnVec<OwnPlus<T>> d) {
        if constexpr (sizeof(T) == 1) sum = ownAddBytes(sum, d);
        else if constexpr (sizeof(T) == 2) sum = sum + ownPairSums(ownPairSums(d));
        else sum = sum + ownPairSums(d);
    });
    norm.low += ownSumLanes(sum);
}

/* The sum of d squared. The square of a 32-bit difference takes 64 bits, so its halves are summed apart. */
template <class T> static void ownSquaresPlain(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    ownEachDistance<T>(span, [&](uint64_t d) {
        norm.low += (uint32_t)(d * d);
        norm.high += d * d >> 32;
    });
}

/* 8 bits: a lane takes four squares of at most 255^2 at a time, so that it holds 16512 steps. */
template <class T> static void ownSquaresRun8(void* state, const OwnSpan& span)
{
    constexpr ptrdiff_t most = 16384 * OwnVec<T>::lanes;
    OwnNorm& norm = *(OwnNorm*)state;
    for (ptrdiff_t from = 0; from < span.n; from += most) {
        OwnVec<uint32_t> sum = {};
        ownMapSpan<T>(span, from, std::min(most, span.n - from), [&](OwnVec<uint8_t> d) {
            const OwnVec<uint16_t> both = ownAs<uint16_t>(d);
            const OwnVec<int16_t> even = ownAs<int16_t>(both & ownSet<uint16_t>(0xFF)),
                                  odd = ownAs<int16_t>(ownShiftRight(both, 8));
            sum = sum + ownAs<uint32_t>(ownMulAdd(even, even)) + ownAs<uint32_t>(ownMulAdd(odd, odd));
        });
        norm.low += ownSumLanes(sum);
    }
}

/* 16 bits: a square fits 32 bits, two of them a lane of 64. */
template <class T> static void ownSquaresRun16(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    OwnVec<uint64_t> sum = {};
    ownMapSpan<T>(span, 0, span.n, [&](OwnVec<uint16_t> d) {
        const OwnVec<uint32_t> both = ownAs<uint32_t>(d), even = both & ownSet<uint32_t>(0xFFFF),
                               odd = ownShiftRight(both, 16);
        sum = sum + ownPairSums(even * even) + ownPairSums(odd * odd);
    });
    norm.low += ownSumLanes(sum);
}

/* 32 bits: the halves of each square are summed apart. */
template <class T> static void ownSquaresRun32(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    OwnVec<uint64_t> low = {}, high = {};
    ownMapSpan<T>(span, 0, span.n, [&](OwnVec<uint32_t> d) {
        const OwnVec<uint32_t> odd = ownAs<uint32_t>(ownShiftRight(ownAs<uint64_t>(d), 32));
        for (const OwnVec<uint64_t> square : {ownMulEven(d, d), ownMulEven(odd, odd)}) {
            low = low + (square & ownSet<uint64_t>(0xFFFFFFFFu));
            high = high + ownShiftRight(square, 32);
        }
    });
    norm.low += ownSumLanes(low);
    norm.high += ownSumLanes(high);
}

/* Bits: d is the exclusive or, so a span's sum is a count of ones. */
static void ownBitsRun(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    const uint8_t *a = (const uint8_t*)span.a, *b = (const uint8_t*)span.b;
    const ptrdiff_t bytes = (span.n + 7) >> 3;
    ptrdiff_t i = 0;
    for (; i <= bytes - 8; i += 8) {
        uint64_t x, y = 0;
        memcpy(&x, a + i, 8);
        if (b) memcpy(&y, b + i, 8);
        norm.low += (uint64_t)std::popcount(x ^ y);
    }
    for (; i < bytes; ++i) norm.low += (uint64_t)std::popcount((uint8_t)(a[i] ^ (b ? b[i] : 0)));
    norm.most = norm.low > 0;
}
static void ownBitsPlain(void* state, const OwnSpan& span)
{
    OwnNorm& norm = *(OwnNorm*)state;
    const auto bit = [](const void* bits, ptrdiff_t i) { return ((const uint8_t*)bits)[i >> 3] >> (7 - (i & 7)) & 1; };
    for (ptrdiff_t i = 0; i < span.n; ++i)
        if (bit(span.a, i) != (span.b ? bit(span.b, i) : 0)) {
            ++norm.low;
            norm.most = 1;
        }
}

/* ---- Tables -------------------------------------------------------------------------------------------------- */

#define OWN_REDUCE_TABLE(name)                                                                                         \
    extern const OwnReduceRow name[OWN_DEPTHS];                                                                        \
    const OwnReduceRow name[OWN_DEPTHS]

template <class T> static constexpr OwnReduceRow ownMostRow = {ownMostRun<T>, ownMostPlain<T>};
template <class T> static constexpr OwnReduceRow ownSumRow = {ownSumRun<T>, ownSumPlain<T>};
template <class T> static constexpr OwnReduceRow ownSquaresRow8 = {ownSquaresRun8<T>, ownSquaresPlain<T>};
template <class T> static constexpr OwnReduceRow ownSquaresRow16 = {ownSquaresRun16<T>, ownSquaresPlain<T>};

OWN_REDUCE_TABLE(ownMostRows) = {
    /*  1U */ {ownBitsRun, ownBitsPlain},
    /*  8U */ ownMostRow<uint8_t>,
    /*  8S */ ownMostRow<int8_t>,
    /* 16U */ ownMostRow<uint16_t>,
    /* 16S */ ownMostRow<int16_t>,
    /* 32S */ ownMostRow<int32_t>,
    /* 32F */ {},
};
OWN_REDUCE_TABLE(ownSumRows) = {
    /*  1U */ {ownBitsRun, ownBitsPlain},
    /*  8U */ ownSumRow<uint8_t>,
    /*  8S */ ownSumRow<int8_t>,
    /* 16U */ ownSumRow<uint16_t>,
    /* 16S */ ownSumRow<int16_t>,
    /* 32S */ ownSumRow<int32_t>,
    /* 32F */ {},
};
OWN_REDUCE_TABLE(ownSquaresRows) = {
    /*  1U */ {ownBitsRun, ownBitsPlain},
    /*  8U */ ownSquaresRow8<uint8_t>,
    /*  8S */ ownSquaresRow8<int8_t>,
    /* 16U */ ownSquaresRow16<uint16_t>,
    /* 16S */ ownSquaresRow16<int16_t>,
    /* 32S */ {ownSquaresRun32<int32_t>, ownSquaresPlain<int32_t>},
    /* 32F */ {},
};

/* ---- The images ---------------------------------------------------------------------------------------------- */

/* A tiled image as one block: its region alone. */
struct OwnNormImage {
    VekImage header;
    VekROI roi;
    VekImage* staged; /* owned, or null */
};

static bool ownNormImage(const OwnFace& face, const VekImage* image, OwnNormImage* own)
{
    own->header = *image;
    own->staged = nullptr;
    if (!image->tileInfo) return true;
    const VekROI region = ownRegion(image);
    const OwnPart part = {image, region.xOffset, region.yOffset, false, VEK_TILE_READ, VEK_StatusOk, nullptr};
    const OwnStaged staged = ownStage(part, face, region.width, region.height, &own->staged);
    OWN_FAIL_IF(staged == OWN_STAGE_NO_HEADER, VEK_StatusNullHeader, " ", false);
    OWN_FAIL_IF(staged != OWN_STAGED, VEK_StatusBadDataPointers, " ", false);
    own->header = *own->staged;
    own->roi = {region.coi, 0, 0, region.width, region.height};
    own->header.roi = &own->roi;
    return true;
}

/* ---- The function -------------------------------------------------------------------------------------------- */

enum { OWN_REL = 8 };

/* The norm of A, or of A - B, over the samples that the mask selects. */
static double ownNormOf(const VekImage* imageA, const VekImage* imageB, const OwnChannels channels[2],
                        const VekImage* mask, int32_t kind)
{
    OwnNorm norm = {};
    const OwnReduceRow* rows = kind == NORM_MAX ? ownMostRows : kind == NORM_SUM ? ownSumRows : ownSquaresRows;
    const OwnReduction reduction = {imageB ? 2 : 1,
                                    {imageA, imageB},
                                    {channels[0], channels[1]},
                                    mask,
                                    false,
                                    false,
                                    rows[ownSlot(imageA->depth)].run,
                                    &norm};
    ownReduce(reduction);
    if (kind == NORM_MAX) return (double)norm.most;
    const double sum = (double)norm.high * 4294967296.0 + (double)norm.low;
    return kind == NORM_SUM ? sum : sqrt(sum);
}

/* The same relative to the norm of B, with A's place for B. */
static double ownMeasure(const OwnFace& face, const VekImage* imageA, const VekImage* imageB,
                         const OwnChannels channels[2], const VekImage* mask, int32_t normType)
{
    const int32_t kind = normType & ~OWN_REL;
    const double norm = ownNormOf(imageA, imageB, channels, mask, kind);
    if (!(normType & OWN_REL)) return norm;
    /* B alone, over the rectangle of both. */
    const VekROI a = ownRegion(imageA), b = ownRegion(imageB);
    VekImage alone = *imageB;
    VekROI roi = {b.coi, b.xOffset, b.yOffset, std::min(a.width, b.width), std::min(a.height, b.height)};
    alone.roi = &roi;
    const OwnChannels channelsOfB[2] = {channels[1], {}};
    const double whole = ownNormOf(&alone, nullptr, channelsOfB, mask, kind);
    OWN_REFUSE_TEXT_IF(whole <= DBL_MIN, "Zero divided", 0.0);
    return norm / whole;
}

double vekNorm(const VekImage* srcImageA, const VekImage* srcImageB, int32_t normType)
{
    OWN_FACE("vekNorm", "veknorm");
    OWN_REFUSE_HEADER(srcImageA, 0.0);
    OWN_FAIL_IF(srcImageA->depth == VEK_DEPTH_32F || (srcImageB && srcImageB->depth == VEK_DEPTH_32F),
                VEK_StatusBadDepth, "srcImageA->depth=32F", 0.0);
    OWN_FAIL_IF(srcImageB && srcImageA->dataOrder != srcImageB->dataOrder, VEK_StatusBadDataOrder,
                "srcImageA->dataOrder!=srcImageB->dataOrder", 0.0);
    const bool isPlain = normType == NORM_MAX || normType == NORM_SUM || normType == NORM_ROOT_SQUARES;
    const bool isRelative = normType == NORM_REL_MAX || normType == NORM_REL_SUM || normType == NORM_REL_ROOT_SQUARES;
    if (srcImageB) {
        OWN_REFUSE_HEADER(srcImageB, 0.0);
        OWN_REFUSE_TEXT_IF(srcImageA->depth != srcImageB->depth, "(srcImageA->depth!=srcImageB->depth)", 0.0);
    }
    OWN_REFUSE_TEXT_IF(!isPlain && !(srcImageB && isRelative), "normType unknown", 0.0);

    /* What follows for alphaChannel and coi, the header's own test has seen to. */
    const OwnChannels channels[2] = {ownChannels(srcImageA), srcImageB ? ownChannels(srcImageB) : OwnChannels{}};
    OWN_FAIL_IF(srcImageB && channels[0].count != channels[1].count, VEK_StatusBadChannels, "", 0.0);

    const VekImage* images[2] = {srcImageA, srcImageB};
    OwnMask mask;
    const OwnMerge merge = ownMergeMasks(images, srcImageB ? 2 : 1, &mask);
    OWN_FAIL_IF(merge == OWN_MERGE_NO_MEMORY, VEK_StatusNullHeader, "Null pointer for mask", 0.0);
    const bool isEmpty = ownRegion(srcImageA).width == 0 || (srcImageB && ownRegion(srcImageB).width == 0);
    if (merge == OWN_MERGE_EMPTY || isEmpty) {
        ownReleaseMask(&mask);
        OWN_REFUSE_TEXT_IF(isRelative, "Zero divided", 0.0);
        return 0.0;
    }
    double norm = 0.0;
    OwnNormImage a, b = {};
    if (ownNormImage(face, srcImageA, &a)) {
        if (!srcImageB) norm = ownMeasure(face, &a.header, nullptr, channels, mask.image, normType);
        else if (ownNormImage(face, srcImageB, &b))
            norm = ownMeasure(face, &a.header, &b.header, channels, mask.image, normType);
        ownReleaseStaged(b.staged);
        ownReleaseStaged(a.staged);
    }
    ownReleaseMask(&mask);
    return norm;
}
