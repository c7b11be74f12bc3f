/* vektwist: a linear map of three channels with an offset,
 *
 *   out[r] = m[r][0] c0 + m[r][1] c1 + m[r][2] c2 + m[r][3], with m = data / 2^scalingValue, and then + offset
 *
 * in integers where all factors and sums are small enough for them, and in double elsewhere. */
#include "owncolor.h"

#include <stdlib.h>

/* ---- The record ------------------------------------------------------------------------------------------------ */

VekColorTwist* vekCreateColorTwist(const int32_t* data, int32_t scalingValue)
{
    OWN_FACE("vekCreateColorTwist", "vektwist");
    OWN_REFUSE_IF((data == 0), nullptr);
    OWN_REFUSE_IF((scalingValue < 0), nullptr);
    OWN_REFUSE_IF((scalingValue > 31), nullptr);
    VekColorTwist* cTwist = (VekColorTwist*)vekMalloc((int32_t)sizeof(VekColorTwist));
    OWN_FAIL_IF(!cTwist, VEK_StatusNoMemory, "Out of memory", nullptr);
    vekSetColorTwist(cTwist, data, scalingValue);
    return cTwist;
}

void vekSetColorTwist(VekColorTwist* cTwist, const int32_t* data, int32_t scalingValue)
{
    OWN_FACE("vekSetColorTwist", "vektwist");
    OWN_REFUSE_IF(cTwist==0);
    OWN_REFUSE_IF((data == 0));
    OWN_REFUSE_IF((scalingValue < 0));
    OWN_REFUSE_IF((scalingValue > 31));
    memcpy(cTwist->data, data, sizeof(cTwist->data));
    cTwist->scalingValue = scalingValue;
}

void vekDeleteColorTwist(VekColorTwist* cTwist) { vekFree(cTwist); }

/* ---- In integers ----------------------------------------------------------------------------------------------- */

/* What the runs are given. */
struct OwnTwist {
    int32_t data[12]; /* rows 0 to 2 */
    int32_t shift;
    int32_t offset;
    double m[12]; /* in double: the map, the limits of a sum, and what is added then */
    double low, high;
    int32_t addend;
};

/* 8 bits: (sum >> shift) held to a signed 16-bit value, plus offset, held to the range. */
static void ownTwistBytePlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    ownEachPixel<uint8_t, uint8_t>(out, in, n, [&](int32_t a, int32_t b, int32_t c) {
        const auto row = [&](const int32_t* m) {
            const int32_t sum = m[0] * a + m[1] * b + m[2] * c + m[3];
            return ownClamp<uint8_t>(ownClamp<int16_t>(sum >> twist.shift) + twist.offset);
        };
        return OwnPixel<uint8_t>{row(twist.data), row(twist.data + 4), row(twist.data + 8)};
    });
}

/* A row's offset with that of all samples before the shift, which is the same unless the sum is held; then the result is an
 * end of the range both ways. */
static int32_t ownWholeOffset(const OwnTwist& twist, int r)
{
    return twist.data[4 * r + 3] + twist.offset * (1 << twist.shift);
}

/* Shifts by the lanes of n, which are alike. */
static inline OwnVec<int32_t> ownShiftRightBy(OwnVec<int32_t> a, OwnVec<int32_t> n)
{
    return OWN_VEC_BYTES >= 32 ? OwnVec<int32_t>{a.v >> n.v} : ownShiftRight(a, n.v[0]);
}

/* With isLate, offset is added after the shift: where the two together pass 16 bits. */
template <bool isLate>
static void ownTwistBytes(void* const out[], const void* const in[], ptrdiff_t n, const OwnTwist& twist)
{
    typedef OwnVec<uint8_t> V;
    const OwnVec<int16_t> offset = ownSet((int16_t)twist.offset);
    const OwnVec<int32_t> shift = ownSet(twist.shift);
    OwnVec<int16_t> first[3], second[3];
    for (int r = 0; r < 3; ++r) {
        const int32_t* m = twist.data + 4 * r;
        first[r] = ownTwoFactors(m[0], m[1]);
        second[r] = ownTwoFactors(m[2], isLate ? m[3] : ownWholeOffset(twist, r));
    }
    ownMapPixels<uint8_t>(out, in, n, [&](V a, V b, V c) {
        const OwnPair<uint8_t> ab = ownZip(a, b), c1 = ownZip(c, ownSet<uint8_t>(1));
        const OwnPair<uint16_t> x[2] = {ownUnpack(ab.lo), ownUnpack(ab.hi)},
                                y[2] = {ownUnpack(c1.lo), ownUnpack(c1.hi)};
        const auto row = [&](int r) {
            const auto sum = [&](OwnVec<uint16_t> p, OwnVec<uint16_t> q) {
                return ownShiftRightBy(ownMulAdd(ownAs<int16_t>(p), first[r]) + ownMulAdd(ownAs<int16_t>(q), second[r]),
                                       shift);
            };
            const auto lo = ownPack<int16_t>(sum(x[0].lo, y[0].lo), sum(x[0].hi, y[0].hi));
            const auto hi = ownPack<int16_t>(sum(x[1].lo, y[1].lo), sum(x[1].hi, y[1].hi));
            return isLate ? ownPack<uint8_t>(ownAddSat(lo, offset), ownAddSat(hi, offset)) : ownPack<uint8_t>(lo, hi);
        };
        return OwnTriple<uint8_t>{row(0), row(1), row(2)};
    });
}
static void ownTwistByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    bool isLate = false;
    for (int r = 0; r < 3; ++r) {
        const int32_t offset = ownWholeOffset(twist, r);
        isLate = isLate || offset != (int16_t)offset;
    }
    isLate ? ownTwistBytes<true>(out, in, n, twist) : ownTwistBytes<false>(out, in, n, twist);
}

/* The same where no sum passes 16 bits, offset's part of it included. Factors are bytes. */
static bool ownHasByteFactors(const OwnTwist& twist)
{
    for (int r = 0; r < 3; ++r) {
        const int32_t* m = twist.data + 4 * r;
        if (std::max({m[0], m[1], m[2]}) > INT8_MAX) return false;
        if (255 * (abs(m[0]) + abs(m[1]) + abs(m[2])) + abs(ownWholeOffset(twist, r)) > INT16_MAX) return false;
    }
    return true;
}
static void ownTwistShortSumRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    OwnVec<int8_t> first[3], second[3];
    OwnVec<int16_t> more[3];
    for (int r = 0; r < 3; ++r) {
        const int32_t* m = twist.data + 4 * r;
        first[r] = ownTwoByteFactors(m[0], m[1]);
        second[r] = ownTwoByteFactors(m[2], 0);
        more[r] = ownSet((int16_t)ownWholeOffset(twist, r));
    }
    const int shift = twist.shift;
    ownMapPixels<uint8_t>(out, in, n, [&](OwnVec<uint8_t> a, OwnVec<uint8_t> b, OwnVec<uint8_t> c) {
        const OwnPair<uint8_t> ab = ownZip(a, b), c0 = ownZip(c, OwnVec<uint8_t>{});
        const auto row = [&](int r) {
            const auto lo = ownMulAddSat(ab.lo, first[r]) + ownMulAddSat(c0.lo, second[r]) + more[r];
            const auto hi = ownMulAddSat(ab.hi, first[r]) + ownMulAddSat(c0.hi, second[r]) + more[r];
            return ownPack<uint8_t>(ownShiftRight(lo, shift), ownShiftRight(hi, shift));
        };
        return OwnTriple<uint8_t>{row(0), row(1), row(2)};
    });
}

/* 16 bits: (sum >> shift) held to the range, plus offset, held to it again. */
static void ownTwistShortPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    ownEachPixel<uint16_t, uint16_t>(out, in, n, [&](int64_t a, int64_t b, int64_t c) {
        const auto row = [&](const int32_t* m) {
            const int64_t sum = m[0] * a + m[1] * b + m[2] * c + m[3];
            return ownClamp<uint16_t>(ownClamp<uint16_t>(sum >> twist.shift) + twist.offset);
        };
        return OwnPixel<uint16_t>{row(twist.data), row(twist.data + 4), row(twist.data + 8)};
    });
}

/* Samples and results are taken less 32768, which makes them signed: the sums lose 32768 times the factors' sum, and get it
 * back with the row's offset. */
static void ownTwistShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    const OwnVec<int16_t> offset = ownSet((int16_t)twist.offset), bias = ownSet<int16_t>(INT16_MIN);
    OwnVec<int16_t> first[3], second[3];
    OwnVec<int32_t> more[3];
    for (int r = 0; r < 3; ++r) {
        const int32_t* m = twist.data + 4 * r;
        first[r] = ownTwoFactors(m[0], m[1]);
        second[r] = ownTwoFactors(m[2], 0);
        more[r] = ownSet(32768 * (m[0] + m[1] + m[2]) + m[3]);
    }
    const int shift = twist.shift;
    const OwnVec<int32_t> middle = ownSet(32768);
    ownMapPixels<int16_t>(out, in, n, [&](OwnVec<int16_t> a, OwnVec<int16_t> b, OwnVec<int16_t> c) {
        const OwnPair<int16_t> ab = ownZip(a ^ bias, b ^ bias), c0 = ownZip(c ^ bias, c ^ bias);
        const auto row = [&](int r) {
            const auto lo = ownShiftRight(ownMulAdd(ab.lo, first[r]) + ownMulAdd(c0.lo, second[r]) + more[r], shift);
            const auto hi = ownShiftRight(ownMulAdd(ab.hi, first[r]) + ownMulAdd(c0.hi, second[r]) + more[r], shift);
            return ownAddSat(ownPack<int16_t>(lo - middle, hi - middle), offset) ^ bias;
        };
        return OwnTriple<int16_t>{row(0), row(1), row(2)};
    });
}

/* ---- In double -------------------------------------------------------------------------------------------------- */

/* The sum held to the limits, chopped, and the addend. */
template <class T> static void ownTwistRealPlain(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnTwist& twist = *(const OwnTwist*)k;
    ownEachPixel<T, T>(out, in, n, [&](double a, double b, double c) {
        const auto row = [&](const double* m) {
            const double sum = m[0] * a + m[1] * b + m[2] * c + m[3];
            return (T)((int32_t)std::min(std::max(sum, twist.low), twist.high) + twist.addend);
        };
        return OwnPixel<T>{row(twist.m), row(twist.m + 4), row(twist.m + 8)};
    });
}

/* Three vectors of 32-bit lanes. */
struct OwnRealTwist {
    OwnVec<double> m[12], low, high;
    OwnVec<int32_t> addend;

    explicit OwnRealTwist(const OwnTwist& twist)
    {
        for (int i = 0; i < 12; ++i) m[i] = ownSet(twist.m[i]);
        low = ownSet(twist.low);
        high = ownSet(twist.high);
        addend = ownSet(twist.addend);
    }
    OwnVec<double> sum(int r, OwnVec<double> a, OwnVec<double> b, OwnVec<double> c) const
    {
        return ownMin(ownMax(m[4 * r] * a + m[4 * r + 1] * b + m[4 * r + 2] * c + m[4 * r + 3], low), high);
    }
    OwnVec<int32_t> row(int r, OwnPair<double> a, OwnPair<double> b, OwnPair<double> c) const
    {
        return ownChop(OwnPair<double>{sum(r, a.lo, b.lo, c.lo), sum(r, a.hi, b.hi, c.hi)}) + addend;
    }
    OwnTriple<int32_t> operator()(OwnVec<uint32_t> a, OwnVec<uint32_t> b, OwnVec<uint32_t> c) const
    {
        const auto x = ownToDouble(ownAs<int32_t>(a)), y = ownToDouble(ownAs<int32_t>(b)),
                   z = ownToDouble(ownAs<int32_t>(c));
        return {row(0, x, y, z), row(1, x, y, z), row(2, x, y, z)};
    }
};

/* The same of 16-bit lanes, packed to T, which is as wide. */
template <class T>
static inline OwnTriple<T> ownRealTwist16(const OwnRealTwist& twist, OwnVec<uint16_t> a, OwnVec<uint16_t> b,
                                          OwnVec<uint16_t> c)
{
    const auto x = ownUnpack(a), y = ownUnpack(b), z = ownUnpack(c);
    const auto lo = twist(x.lo, y.lo, z.lo), hi = twist(x.hi, y.hi, z.hi);
    return {ownPack<T>(lo.a, hi.a), ownPack<T>(lo.b, hi.b), ownPack<T>(lo.c, hi.c)};
}
static void ownTwistRealByteRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnRealTwist twist(*(const OwnTwist*)k);
    typedef OwnVec<int16_t> V;
    ownMapBytes<uint8_t, uint8_t>(out, in, n, [&](V a, V b, V c) {
        return ownRealTwist16<int16_t>(twist, ownAs<uint16_t>(a), ownAs<uint16_t>(b), ownAs<uint16_t>(c));
    });
}
static void ownTwistRealShortRun(void* const out[], const void* const in[], ptrdiff_t n, const void* k)
{
    const OwnRealTwist twist(*(const OwnTwist*)k);
    typedef OwnVec<uint16_t> V;
    ownMapPixels<uint16_t>(out, in, n, [&](V a, V b, V c) { return ownRealTwist16<uint16_t>(twist, a, b, c); });
}

OWN_PLANE_TABLE(ownTwistRows) = {
    /*  1U */ {},
    /*  8U */ {ownTwistByteRun, ownTwistBytePlain},
    /*  8S */ {},
    /* 16U */ {ownTwistShortRun, ownTwistShortPlain},
};
OWN_PLANE_TABLE(ownTwistRealRows) = {
    /*  1U */ {},
    /*  8U */ {ownTwistRealByteRun, ownTwistRealPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownTwistRealShortRun, ownTwistRealPlain<uint16_t>},
};

/* ---- Which of them ---------------------------------------------------------------------------------------------- */

/* Whether factors, offsets and sums are small enough for integers. At 8 bits every row's offset is measured against the
 * factors of row 0. */
static bool ownSmallTwist(const VekImage* srcImage, const VekImage* dstImage, const VekColorTwist& twist,
                          int32_t offset)
{
    const bool bytes = srcImage->depth == VEK_DEPTH_8U;
    const int32_t half = bytes ? 128 : 32768, scale = twist.scalingValue;
    if (srcImage->nChannels != dstImage->nChannels || srcImage->nChannels > 4) return false;
    if (scale > 15 || offset < -half || offset > half - 1) return false;
    for (int i = 0; i < 12; ++i)
        if (twist.data[i] < -32768 || twist.data[i] > 32767) return false;
    for (int r = 0; r < 3; ++r) {
        const int32_t* m = twist.data + (bytes ? 0 : 4 * r);
        const int32_t factors = abs(m[0]) + abs(m[1]) + abs(m[2]);
        const int32_t sum = abs(twist.data[4 * r + 3] / (bytes ? 256 : 65536)) + factors;
        if (sum >= (bytes ? 0x7FFFFF : scale < 2 ? 32766 : 32767 - (1 << (scale - 1)))) return false;
    }
    return true;
}

static OwnTwist ownTwistOf(const VekColorTwist& twist, uint32_t depth, int32_t offset)
{
    const int32_t most = depth == VEK_DEPTH_8U ? 255 : 65535;
    OwnTwist k = {};
    memcpy(k.data, twist.data, sizeof(k.data));
    k.shift = std::clamp(twist.scalingValue, 0, 31);
    k.offset = offset;
    const double unit = k.shift == 31 ? 4.656612873e-10 : 1.0 / (1u << k.shift);
    for (int i = 0; i < 12; ++i) k.m[i] = twist.data[i] * unit;
    k.low = offset <= -most ? 0 : offset < 0 ? -offset : offset < most ? 0 : most;
    k.high = offset <= -most ? 0 : offset < 0 ? most : offset < most ? most - offset : most;
    k.addend = offset <= -most || offset >= most ? 0 : offset;
    return k;
}

/* ---- The operation ---------------------------------------------------------------------------------------------- */

/* What a piece of the images is done with: the run and its constant, in the point's k. */
struct OwnTwistPiece {
    OwnPlaneRun* run;
    OwnTwist twist;
};

static void ownTwistPiece(const OwnPoint& point, const VekImage* const image[], const VekImage* mask)
{
    const OwnTwistPiece& piece = *(const OwnTwistPiece*)point.k;
    OwnPlanePass pass = {};
    pass.src = {ownView(image[0]), 3, {0, 1, 2}};
    pass.dst = {ownView(image[1]), 3, {0, 1, 2}};
    pass.width = std::min(pass.src.view.width, pass.dst.view.width);
    pass.height = std::min(pass.src.view.height, pass.dst.view.height);
    OwnView maskView;
    if (mask) {
        maskView = ownView(mask);
        pass.width = std::min(pass.width, maskView.width);
        pass.height = std::min(pass.height, maskView.height);
        pass.mask = &maskView;
    }
    pass.run = piece.run;
    pass.k = &piece.twist;
    ownPlanePass(pass);
}

static const char* const ownTwistMissing[2] = {"(srcImage->tileInfo->tileData == ((void *)0))",
                                               "(dstImage->tileInfo->tileData == ((void *)0))"};

void vekApplyColorTwist(const VekImage* srcImage, VekImage* dstImage, const VekColorTwist* cTwist, int32_t offset)
{
    OWN_FACE("vekApplyColorTwist", "vektwist");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF(cTwist==0);
    OWN_REFUSE_IF((srcImage->nChannels < 3));
    OWN_REFUSE_IF(((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4)));
    OWN_REFUSE_IF(((srcImage->alphaChannel != 0) && (srcImage->alphaChannel < srcImage->nChannels)));
    OWN_REFUSE_IF((dstImage->nChannels < 3));
    OWN_REFUSE_IF(((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4)));
    OWN_REFUSE_IF(((dstImage->alphaChannel != 0) && (dstImage->alphaChannel < dstImage->nChannels)));
    OWN_REFUSE_IF((srcImage->depth != dstImage->depth));
    OWN_REFUSE_IF(((srcImage->depth != 8) && (srcImage->depth != 16)));
    OWN_REFUSE_IF((srcImage->dataOrder != dstImage->dataOrder));
    OWN_REFUSE_IF((srcImage->origin != dstImage->origin));
    if (srcImage->maskROI) OWN_REFUSE_IF((srcImage->origin != srcImage->maskROI->origin));
    if (dstImage->maskROI) OWN_REFUSE_IF((dstImage->origin != dstImage->maskROI->origin));

    const OwnPlaneRow* rows = ownSmallTwist(srcImage, dstImage, *cTwist, offset) ? ownTwistRows : ownTwistRealRows;
    const OwnSlot slot = srcImage->depth == VEK_DEPTH_8U ? OWN_8U : OWN_16U;
    OwnTwistPiece piece = {rows[slot].run, ownTwistOf(*cTwist, srcImage->depth, offset)};
    if (piece.run == ownTwistByteRun && ownHasByteFactors(piece.twist)) piece.run = ownTwistShortSumRun;
    OwnPoint point = {};
    point.face = &face;
    point.nImages = 2;
    point.image[0] = srcImage;
    point.image[1] = dstImage;
    point.k = &piece;
    point.piece = ownTwistPiece;
    point.missing = ownTwistMissing;

    OwnMask mask;
    const OwnMerge merge = ownMergeMasks(point.image, point.nImages, &mask);
    if (merge == OWN_MERGE_EMPTY) return;
    OWN_REFUSE_TEXT_IF(merge == OWN_MERGE_NO_MEMORY, "(msk == ((void *)0))");
    if (srcImage->tileInfo || dstImage->tileInfo) ownTileWalk(point, mask.image);
    else ownTwistPiece(point, point.image, mask.image);
    ownReleaseMask(&mask);
}
