/* vekrank: the largest, smallest, middle sample of the rectangle of nCols by nRows pixels around each pixel. The window of
 * pixel (x, y) begins at (x - anchorX, y - anchorY). The median of n samples is the one of rank n / 2 + 1 from below, of an
 * even number the upper one of the middle two. */
#include "ownbox.h"
#include "ownrank.h"

/* The arguments of a filter, as its caller gave them. */
struct OwnRankArgs {
    int32_t nCols, nRows, anchorX, anchorY;
    const OwnBox* boxes; /* of the extremum; null: the median */
};

static const char ownMissingTile[] = "Error get tile to write";

static void ownRunExtremum(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const OwnRankArgs& args,
                           const OwnMargins& reach)
{
    const OwnBoxes boxes = {srcImage, dstImage, reach, reach, {args.boxes, nullptr}, ownMissingTile, VEK_StatusFailed};
    OWN_FAIL_IF(ownRunBoxes(face, boxes) == OWN_OPENED_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
}

/* The fastest first. */
static OwnMedianWay* const ownMedianWays[] = {ownOnesStage,  ownNetworkStage, ownHistogramStage,
                                              ownOrderStage, ownSlidingStage, ownSearchStage};

static void ownRunMedian(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const OwnRankArgs& args,
                         const OwnMargins& reach)
{
    OwnWindow window = {};
    window.srcImage = srcImage;
    window.dstImage = dstImage;
    window.borderConst = srcImage->borderConst;
    window.from = ownChannels(srcImage);
    window.to = ownChannels(dstImage);
    window.left = reach.left;
    window.right = reach.right;
    window.top = reach.top;
    window.bottom = reach.bottom;

    const int64_t n = (int64_t)args.nCols * args.nRows;
    OwnRank rank = {args.nCols, args.nRows, (n >> 1) + 1, ownSlot(srcImage->depth)};
    window.k = &rank;
    for (OwnMedianWay* way : ownMedianWays)
        if (way(window, rank)) break;

    const OwnWindowEnd end = ownWindow(window);
    OWN_FAIL_IF(end == OWN_WINDOW_NO_MEMORY, VEK_StatusNoMemory, "Allocation failure");
    OWN_FAIL_IF(end == OWN_WINDOW_NO_TILE, VEK_StatusFailed, ownMissingTile);
}

static void ownRankFilter(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, const OwnRankArgs& args)
{
    const int32_t nCols = args.nCols, nRows = args.nRows, anchorX = args.anchorX, anchorY = args.anchorY;
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_IF((anchorX>=nCols)||(anchorX<0));
    OWN_REFUSE_IF((anchorY>=nRows)||(anchorY<0));
    OWN_REFUSE_IF((srcImage==dstImage));
    OWN_REFUSE_IF(srcImage->depth!=dstImage->depth);
    OWN_REFUSE_IF(srcImage->depth==32);
    OWN_REFUSE_IF(srcImage->nChannels!=dstImage->nChannels);
    OWN_REFUSE_IF(srcImage->alphaChannel!=dstImage->alphaChannel);
    OWN_REFUSE_IF((srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels));
    if (srcImage->depth != VEK_DEPTH_1U) OWN_REFUSE_IF(srcImage->dataOrder!=dstImage->dataOrder);

    /* Told, but it is the stored status that stops the filter: one that was negative before stops it too. */
    if (ownChannels(srcImage).count != ownChannels(dstImage).count)
        ownFail(face, VEK_StatusBadArg, "Number of interset channel input and output Image is not equal.", __LINE__);
    if (vekGetErrStatus() < 0) return;
    const OwnMargins reach = {anchorX, nCols - 1 - anchorX, anchorY, nRows - 1 - anchorY};
    (args.boxes ? ownRunExtremum : ownRunMedian)(face, srcImage, dstImage, args, reach);
}

void vekMaxFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                  int32_t anchorY)
{
    OWN_FACE("vekMaxFilter", "veknlf");
    ownRankFilter(face, srcImage, dstImage, {nCols, nRows, anchorX, anchorY, ownBoxMax});
}

void vekMinFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                  int32_t anchorY)
{
    OWN_FACE("vekMinFilter", "veknlf");
    ownRankFilter(face, srcImage, dstImage, {nCols, nRows, anchorX, anchorY, ownBoxMin});
}

void vekMedianFilter(const VekImage* srcImage, VekImage* dstImage, int32_t nCols, int32_t nRows, int32_t anchorX,
                     int32_t anchorY)
{
    OWN_FACE("vekMedianFilter", "veknlf");
    ownRankFilter(face, srcImage, dstImage, {nCols, nRows, anchorX, anchorY, nullptr});
}
