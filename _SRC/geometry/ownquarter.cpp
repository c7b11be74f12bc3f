/* ownquarter: translations and quarter turns, pixel by pixel the source's. */
#include "ownquarter.h"

#include "../frame/ownrow.h"
#include "ownwarp.h"

#include <math.h>

/* ---- Shifts -------------------------------------------------------------------------------------------------- */

/* A shift in whole pixels. False when it is beyond 32 bits, where no images meet. */
static bool ownWholeShift(double shift, int64_t* whole)
{
    const double low = floor(shift);
    if (!(fabs(low) <= 2147483648.0)) return false;
    *whole = (int64_t)low;
    return true;
}

/* A rectangle whose edges may lie anywhere. */
struct OwnWideRect {
    int64_t left, top, right, bottom;
};

static bool ownMeet(const OwnWideRect& a, const OwnRect& b, OwnRect* both)
{
    if (a.left > b.right || a.right < b.left || a.top > b.bottom || a.bottom < b.top) return false;
    *both = {(int32_t)std::max<int64_t>(a.left, b.left), (int32_t)std::max<int64_t>(a.top, b.top),
             (int32_t)std::min<int64_t>(a.right, b.right), (int32_t)std::min<int64_t>(a.bottom, b.bottom)};
    return true;
}

/* ---- Translation ----------------------------------------------------------------------------------------------- */

static int32_t ownCoi(const VekImage* image) { return image->roi ? image->roi->coi : 0; }

/* A copy of what source and destination regions share after the shift. A tile's callback has to see the caller's own
 * header, so there the regions change for the length of the copy; other images are copied by private headers. */
static void ownTranslate(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, double xShift,
                         double yShift)
{
    OwnRect src, dst, both;
    int64_t x, y;
    if (!ownRoiRect(srcImage, &src) || !ownRoiRect(dstImage, &dst)) return;
    if (!ownWholeShift(xShift, &x) || !ownWholeShift(yShift, &y)) return;
    if (!ownMeet({src.left + x, src.top + y, src.right + x, src.bottom + y}, dst, &both)) return;
    const int32_t width = both.right - both.left + 1, height = both.bottom - both.top + 1;
    VekROI srcRoi = {ownCoi(srcImage), (int32_t)(both.left - x), (int32_t)(both.top - y), width, height};
    VekROI dstRoi = {ownCoi(dstImage), both.left, both.top, width, height};
    VekImage srcAlone = *srcImage, dstAlone = *dstImage;
    VekImage* const from = srcImage->tileInfo ? const_cast<VekImage*>(srcImage) : &srcAlone;
    VekImage* const to = dstImage->tileInfo ? dstImage : &dstAlone;
    VekROI *const srcBefore = srcImage->roi, *const dstBefore = dstImage->roi;
    from->roi = &srcRoi;
    to->roi = &dstRoi;
    vekCopy(from, to);
    from->roi = srcBefore;
    to->roi = dstBefore;
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "");
}

/* ---- Which warps are exact --------------------------------------------------------------------------------------- */

static bool ownIsNear(double a, double b) { return fabs(a - b) <= 1e-7; }

bool ownWarpExactly(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const double c[6],
                    int32_t interpolate)
{
    const bool straight = ownIsNear(c[1], 0) && ownIsNear(c[3], 0), across = ownIsNear(c[0], 0) && ownIsNear(c[4], 0);
    if (straight && ownIsNear(c[0], 1) && ownIsNear(c[4], 1)) {
        ownTranslate(face, srcImage, dstImage, c[2], c[5]);
        return true;
    }
    if (srcImage->tileInfo || dstImage->tileInfo) return false;
    double angle;
    if (straight && ownIsNear(c[0], -1) && ownIsNear(c[4], -1)) angle = 180.0;
    else if (across && ownIsNear(c[1], 1) && ownIsNear(c[3], -1)) angle = 90.0;
    else if (across && ownIsNear(c[1], -1) && ownIsNear(c[3], 1)) angle = -90.0;
    else return false;
    vekRotate(srcImage, dstImage, angle, c[2], c[5], interpolate);
    OWN_FAIL_IF(vekGetErrStatus() < 0, VEK_StatusBacktrace, "", true);
    return true;
}

/* ---- Quarter turns: pixels ----------------------------------------------------------------------------------------- */

/* A copy whose source is walked in steps of its own: `across` bytes for a destination pixel to the right, `down` for one
 * below. */
struct OwnTurn {
    const uint8_t* data; /* the source pixel of the first destination pixel */
    ptrdiff_t across, down;
    uint8_t* out;
    ptrdiff_t outPixel, outRow;
    int32_t width, height;
};

/* Blocks of pixels whose source rows and destination rows fit the first-level cache together. */
enum { OWN_TURN_BLOCK = 64 };

template <int unit> static void ownTurnUnits(const OwnTurn& t)
{
    for (int32_t y0 = 0; y0 < t.height; y0 += OWN_TURN_BLOCK)
        for (int32_t x0 = 0; x0 < t.width; x0 += OWN_TURN_BLOCK) {
            const int32_t y1 = std::min(y0 + OWN_TURN_BLOCK, t.height), x1 = std::min(x0 + OWN_TURN_BLOCK, t.width);
            for (int32_t y = y0; y < y1; ++y) {
                const uint8_t* p = t.data + y * t.down + x0 * t.across;
                uint8_t* out = t.out + y * t.outRow + x0 * t.outPixel;
                for (int32_t x = x0; x < x1; ++x, p += t.across, out += t.outPixel) memcpy(out, p, unit);
            }
        }
}

/* ---- Quarter turns: bits ------------------------------------------------------------------------------------------- */

/* Bit places in place of bytes. */
struct OwnBitTurn {
    const uint8_t* data;
    ptrdiff_t rowStep;
    int64_t bit; /* in its row, of the source pixel of the first destination pixel */
    int xAcross, yAcross, xDown, yDown;
    uint8_t* out;
    ptrdiff_t outRow;
    int outBit;
    int32_t width, height;
};

static void ownTurnBitRows(const OwnBitTurn& t)
{
    for (int32_t y = 0; y < t.height; ++y) {
        uint8_t* out = t.out + y * t.outRow;
        for (int32_t x = 0; x < t.width;) {
            const int32_t at = t.outBit + x, n = std::min(8 - (at & 7), t.width - x), shift = 8 - (at & 7) - n;
            int bits = 0;
            for (int32_t k = 0; k < n; ++k, ++x) {
                const int64_t from = t.bit + (int64_t)t.xAcross * x + (int64_t)t.xDown * y;
                const ptrdiff_t row = (ptrdiff_t)t.yAcross * x + (ptrdiff_t)t.yDown * y;
                bits = bits << 1 | (t.data[row * t.rowStep + (from >> 3)] >> (7 - (from & 7)) & 1);
            }
            const int write = ((1 << n) - 1) << shift;
            out[at >> 3] = (uint8_t)((out[at >> 3] & ~write) | bits << shift);
        }
    }
}

/* ---- Quarter turns ------------------------------------------------------------------------------------------------- */

/* How a turn walks its source, in pixels. */
struct OwnTurnSteps {
    int xAcross, yAcross, xDown, yDown;
};
static OwnTurnSteps ownTurnSteps(int degrees)
{
    if (degrees == 90) return {0, 1, -1, 0};
    if (degrees == 180) return {-1, 0, 0, -1};
    return {0, -1, 1, 0};
}

/* Where the turned source lies in the destination: (x, y) goes to (xs + y, ys - x), (xs - x, ys - y), (xs - y, ys + x). */
static OwnWideRect ownTurned(const OwnRect& r, int degrees, int64_t xs, int64_t ys)
{
    if (degrees == 90) return {xs + r.top, ys - r.right, xs + r.bottom, ys - r.left};
    if (degrees == 180) return {xs - r.right, ys - r.bottom, xs - r.left, ys - r.top};
    return {xs - r.bottom, ys + r.left, xs - r.top, ys + r.right};
}

static void ownTurnAll(const VekImage* srcImage, const VekImage* dstImage, const OwnChannels channels[2],
                       const OwnRect& both, int64_t x, int64_t y, const OwnTurnSteps& steps)
{
    const OwnView src = ownWholeView(srcImage), dst = ownWholeView(dstImage);
    const int32_t width = both.right - both.left + 1, height = both.bottom - both.top + 1;
    if (src.sampleBits == 1) {
        const OwnBitTurn turn = {src.data + y * src.rowStep,
                                 src.rowStep,
                                 x,
                                 steps.xAcross,
                                 steps.yAcross,
                                 steps.xDown,
                                 steps.yDown,
                                 dst.data + both.top * dst.rowStep + (both.left >> 3),
                                 dst.rowStep,
                                 both.left & 7,
                                 width,
                                 height};
        ownTurnBitRows(turn);
        return;
    }
    const ptrdiff_t sampleBytes = src.sampleBits >> 3;
    const ptrdiff_t pixel = src.pixelStep * sampleBytes, outPixel = dst.pixelStep * sampleBytes;
    OwnTurn turn = {src.data + channels[0].first * src.channelStep + (ptrdiff_t)y * src.rowStep + (ptrdiff_t)x * pixel,
                    steps.xAcross * pixel + steps.yAcross * src.rowStep,
                    steps.xDown * pixel + steps.yDown * src.rowStep,
                    dst.data + channels[1].first * dst.channelStep + both.top * dst.rowStep + both.left * outPixel,
                    outPixel,
                    dst.rowStep,
                    width,
                    height};
    const int32_t count = channels[0].count;
    const bool together = src.channelStep == sampleBytes && dst.channelStep == sampleBytes;
    const ptrdiff_t unit = together ? count * sampleBytes : 0;
    if (turn.across == -outPixel && pixel == outPixel && (unit == pixel || count * sampleBytes == pixel)) {
        /* a half turn of whole pixels: rows in the opposite order */
        for (int32_t row = 0; row < height; ++row)
            ownTurnPixels(turn.out + row * turn.outRow, turn.data + row * turn.down - (width - 1) * pixel, (int)pixel,
                          width);
        return;
    }
    switch (unit) {
    case 3: return ownTurnUnits<3>(turn);
    case 4: return ownTurnUnits<4>(turn);
    case 6: return ownTurnUnits<6>(turn);
    case 8: return ownTurnUnits<8>(turn);
    default:
        for (int32_t c = 0; c < count; ++c, turn.data += src.channelStep, turn.out += dst.channelStep)
            if (sampleBytes == 1) ownTurnUnits<1>(turn);
            else ownTurnUnits<2>(turn);
    }
}

void ownQuarterTurn(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int degrees, double xShift,
                    double yShift)
{
    if (!ownSoundWarp(face, srcImage, dstImage, 0)) return;
    OwnRect src, dst, both;
    OwnChannels channels[2];
    if (!ownPixelRect(srcImage, &src) || !ownPixelRect(dstImage, &dst)) return;
    if (!ownWarpChannels(srcImage, &channels[0]) || !ownWarpChannels(dstImage, &channels[1])) return;
    OWN_FAIL_IF(channels[0].count != channels[1].count, VEK_StatusBadCoi, "srcImage COI != dstImage COI");

    int64_t xs, ys;
    if (!ownWholeShift(xShift, &xs) || !ownWholeShift(yShift, &ys)) return;
    if (!ownMeet(ownTurned(src, degrees, xs, ys), dst, &both)) return;
    const int64_t x = degrees == 90 ? ys - both.top : degrees == 180 ? xs - both.left : both.top - ys;
    const int64_t y = degrees == 90 ? both.left - xs : degrees == 180 ? ys - both.top : xs - both.left;
    ownTurnAll(srcImage, dstImage, channels, both, x, y, ownTurnSteps(degrees));
}
