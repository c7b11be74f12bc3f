/* ownwarp: the two engines: the pixels of a quadrangle in the destination, and all pixels of the destination's region. */
#include "ownwarp.h"

#include "ownscan.h"

bool ownWarpChannels(const VekImage* image, OwnChannels* channels)
{
    *channels = ownChannels(image);
    const int32_t coi = image->roi ? image->roi->coi : 0;
    if (image->alphaChannel == 0) return true;
    return !(coi == image->nChannels || (!image->roi && image->nChannels == 1));
}

/* ---- A run over parts ------------------------------------------------------------------------------------------ */

/* What an engine has made out before the first pixel. */
struct OwnWarpJob {
    const OwnFace* face;
    const VekImage *srcImage, *dstImage;
    OwnChannels srcChannels, dstChannels;
    OwnRect srcRect, dstRect; /* regions in their images */
    int32_t interpolate;
    OwnWarpRun run;
    int32_t xSrc, ySrc; /* the source pixel that positions are counted from */
    OwnSpans spans;     /* the pixels to write; null tables: all of the rows */
};

static const OwnTileTexts ownWarpTexts = {VEK_StatusBadArg, "(srcImage->tileInfo->tileData == ((void*)(0)))",
                                          VEK_StatusFailed, "Error get tile to write"};

/* Columns of a row that lie in the part. False when there are none. */
static bool ownSpanIn(const OwnWarpJob& job, const OwnRect& part, int32_t y, int32_t* left, int32_t* right)
{
    *left = part.left;
    *right = part.right;
    if (job.spans.left) {
        *left = std::max(*left, job.spans.left[y - job.spans.yMin]);
        *right = std::min(*right, job.spans.right[y - job.spans.yMin]);
    }
    return *left <= *right;
}

/* The indices that a part's pixels come from; of a source without tiles only whether there are any. False when there are
 * none: nothing of the part is written. */
static bool ownReachOfPart(const OwnWarpJob& job, const OwnRect& part, OwnRect* box)
{
    *box = {INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
    int32_t left, right;
    for (int32_t y = part.top; y <= part.bottom && (job.srcImage->tileInfo || box->left > box->right); ++y)
        if (ownSpanIn(job, part, y, &left, &right)) ownReachOfRow(job.run, job.srcImage->depth, y, left, right, box);
    return box->left <= box->right;
}

/* The source pixels that a part needs, clipped to the image. False when it needs none. A window has at least the four
 * columns and rows of a cubic neighbourhood, if the image has. */
static bool ownWindowOf(const OwnWarpJob& job, const OwnRect& part, OwnRect* need)
{
    const OwnRect all = {0, 0, job.srcImage->width - 1, job.srcImage->height - 1};
    const bool hasTiles = job.srcImage->tileInfo || job.dstImage->tileInfo;
    OwnRect box;
    if (hasTiles && !ownReachOfPart(job, part, &box)) return false;
    if (!job.srcImage->tileInfo) {
        *need = {0, 0, ownWholeView(job.srcImage).width - 1, all.bottom};
        return true;
    }
    const auto hold = [](int64_t v, int32_t high) { return (int32_t)std::clamp<int64_t>(v, 0, high); };
    const int32_t reach = 4; /* of a cubic window, and of an index before its first pixel */
    *need = {hold((int64_t)box.left + job.xSrc - reach, all.right),
             hold((int64_t)box.top + job.ySrc - reach, all.bottom),
             hold((int64_t)box.right + job.xSrc + reach, all.right),
             hold((int64_t)box.bottom + job.ySrc + reach, all.bottom)};
    need->left = std::max(0, std::min(need->left, need->right - 3));
    need->top = std::max(0, std::min(need->top, need->bottom - 3));
    need->right = std::min(all.right, std::max(need->right, need->left + 3));
    need->bottom = std::min(all.bottom, std::max(need->bottom, need->top + 3));
    return true;
}

/* Places the run on a window and an open part. */
static void ownPlaceRun(OwnWarpJob& job, const OwnFetched& window, const OwnGrid& grid)
{
    OwnWarpRun& run = job.run;
    const OwnView &src = window.view, &dst = grid.view;
    const ptrdiff_t sampleBytes = src.sampleBits >> 3;
    run.data = src.data + job.srcChannels.first * src.channelStep;
    run.bit = src.bit;
    run.rowStep = src.rowStep;
    run.pixelStep = src.pixelStep * sampleBytes;
    run.channelStep = src.channelStep;
    run.xLow = window.rect.left - job.xSrc;
    run.xHigh = window.rect.right - job.xSrc;
    run.yLow = window.rect.top - job.ySrc;
    run.yHigh = window.rect.bottom - job.ySrc;
    run.out = dst.data + job.dstChannels.first * dst.channelStep;
    run.outBit = dst.bit;
    run.outRowStep = dst.rowStep;
    run.outPixelStep = dst.pixelStep * sampleBytes;
    run.outChannelStep = dst.channelStep;
    run.xOut = grid.part.left;
    run.yOut = grid.part.top;
}

/* Channel by channel in plane order, which goes through memory once. */
static void ownRunRows(const OwnWarpJob& job, const OwnRect& part, bool byPlanes)
{
    OwnWarpRow* const row = ownChooseWarpRow(job.run, job.srcImage->depth, byPlanes, job.interpolate);
    OwnWarpRun run = job.run;
    const int32_t nPlanes = byPlanes ? job.srcChannels.count : 1;
    run.count = byPlanes ? 1 : job.srcChannels.count;
    for (int32_t plane = 0; plane < nPlanes; ++plane) {
        int32_t left, right;
        for (int32_t y = part.top; y <= part.bottom; ++y)
            if (ownSpanIn(job, part, y, &left, &right)) row(run, y, left, right);
        run.data += run.channelStep;
        run.out += run.outChannelStep;
    }
}

static void ownRunWarp(OwnWarpJob& job, const OwnRect& rect)
{
    OwnGrid grid = ownGrid(job.dstImage, rect, job.srcImage->tileInfo != nullptr);
    while (ownNextPart(&grid)) {
        OwnFetched window;
        OwnRect need;
        if (!ownWindowOf(job, grid.part, &need)) continue;
        if (!ownOpenBoth(*job.face, ownWarpTexts, job.srcImage, need, &window, &grid)) return;
        ownPlaceRun(job, window, grid);
        ownRunRows(job, grid.part, ownGoesByPlanes(job.srcImage, job.dstImage));
        ownCloseBoth(&window, &grid);
    }
}

/* Interpolation needs pixels between which to interpolate. */
static int32_t ownReducedInterpolation(const VekImage* image, int32_t interpolate)
{
    const int32_t least = std::min(image->width, image->height);
    if (image->depth == VEK_DEPTH_1U || least == 1) return VEK_INTER_NN;
    return interpolate == VEK_INTER_CUBIC && least < 4 ? (int32_t)VEK_INTER_LINEAR : interpolate;
}

/* The images' views. False when the call ends, with a report or without. */
static bool ownStartWarp(const OwnFace& face, OwnWarpJob* job, const VekImage* srcImage, const VekImage* dstImage,
                         int32_t interpolate)
{
    job->face = &face;
    job->srcImage = srcImage;
    job->dstImage = dstImage;
    job->interpolate = ownReducedInterpolation(srcImage, interpolate);
    if (!ownWarpChannels(srcImage, &job->srcChannels) || !ownWarpChannels(dstImage, &job->dstChannels)) return false;
    OWN_FAIL_IF(job->srcChannels.count != job->dstChannels.count, VEK_StatusBadCoi, "srcImage COI != dstImage COI", false);
    return true;
}

/* The rectangle as far as rows reach. */
static bool ownHoldToRows(const VekImage* image, OwnRect* rect)
{
    if (!image->tileInfo) rect->right = std::min(rect->right, ownWholeView(image).width - 1);
    return rect->left <= rect->right;
}

/* ---- A quadrangle in the destination ----------------------------------------------------------------------------- */

void ownWarpToQuad(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const double quad[8],
                   int32_t interpolate, OwnWarpKind kind)
{
    OwnWarpJob job = {};
    VekImage held;
    srcImage = ownHeldToRows(srcImage, &held);
    if (!srcImage) return;
    if (!ownRoiRect(srcImage, &job.srcRect)) return;
    const OwnRect region = {0, 0, job.srcRect.right - job.srcRect.left, job.srcRect.bottom - job.srcRect.top};
    OWN_REFUSE_TEXT_IF(region.right < 1 || region.bottom < 1, "srcImage Rectangle ROI is degenerate to length or point");
    if (!ownRoiRect(dstImage, &job.dstRect)) return;
    if (!ownStartWarp(face, &job, srcImage, dstImage, interpolate)) return;

    OwnWarpRun& run = job.run;
    int orientation = 0;
    run.kind = kind;
    if (kind == OWN_WARP_AFFINE) orientation = ownAffineFromQuad(region, quad, OWN_INVERSE, run.c);
    else if (kind == OWN_WARP_BILINEAR)
        orientation = ownInvertBilinear(region.right, region.bottom, quad, &run.inverse);
    else orientation = ownPerspectiveFromQuad(region, quad, OWN_INVERSE, run.c);
    job.xSrc = job.srcRect.left;
    job.ySrc = job.srcRect.top;
    run.xLimit = srcImage->width - 1 - job.xSrc;
    run.yLimit = srcImage->height - 1 - job.ySrc;

    if (!ownHoldToRows(dstImage, &job.dstRect)) return;
    OWN_FAIL_IF(!ownScanQuad(quad, orientation, job.dstRect, &job.spans), VEK_StatusBacktrace, "");
    run.yFirst = job.spans.yMin;
    if (job.spans.yMin <= job.spans.yMax) {
        const OwnRect rows = {job.dstRect.left, job.spans.yMin, job.dstRect.right, job.spans.yMax};
        const int32_t nRows = rows.bottom - rows.top + 1;
        float* starts = (float*)ownAlloc(2 * (size_t)nRows * sizeof(float));
        run.rowStarts = starts;
        if (starts) {
            ownStartFloatRows(run, starts, nRows);
            ownRunWarp(job, rows);
        } else ownFail(face, VEK_StatusBacktrace, "", __LINE__);
        ownFree(starts);
    }
    ownFreeSpans(&job.spans);
}

/* ---- A quadrangle in the source ---------------------------------------------------------------------------------- */

/* All corners in the rectangle. */
static bool ownHolds(const OwnRect& rect, const double quad[8])
{
    for (int i = 0; i < 8; i += 2)
        if (!(quad[i] >= rect.left && quad[i] <= rect.right && quad[i + 1] >= rect.top && quad[i + 1] <= rect.bottom))
            return false;
    return true;
}

void ownWarpFromQuad(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const double quad[8],
                     int32_t interpolate, OwnWarpKind kind)
{
    OwnWarpJob job = {};
    VekImage held;
    srcImage = ownHeldToRows(srcImage, &held);
    if (!srcImage) return;
    if (!ownRoiRect(dstImage, &job.dstRect)) return;
    const OwnRect region = {0, 0, job.dstRect.right - job.dstRect.left, job.dstRect.bottom - job.dstRect.top};
    OWN_REFUSE_TEXT_IF(region.right < 1 || region.bottom < 1, "dstImage Rectangle ROI is degenerate to length or point");
    if (!ownRoiRect(srcImage, &job.srcRect)) return;
    if (!ownStartWarp(face, &job, srcImage, dstImage, interpolate)) return;

    OwnWarpRun& run = job.run;
    run.kind = kind;
    run.forward = true;
    if (kind == OWN_WARP_BILINEAR) ownBilinearFromQuad(region, quad, run.c);
    else ownPerspectiveFromQuad(region, quad, OWN_FORWARD, run.c);
    run.xOrigin = job.dstRect.left;
    run.yOrigin = job.dstRect.top;
    run.xLimit = srcImage->width - 1;
    run.yLimit = srcImage->height - 1;
    run.inside = job.srcRect;
    run.tests = kind == OWN_WARP_BILINEAR || !ownHolds(job.srcRect, quad);
    if (!ownHoldToRows(dstImage, &job.dstRect)) return;
    ownRunWarp(job, job.dstRect);
}
