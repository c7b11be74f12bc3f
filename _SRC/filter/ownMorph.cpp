/* ownMorph: erosion, dilation, opening and closing by a square of 2 N + 1 pixels a side.
 *
 * erode: the smallest, dilate: the largest sample of the square around a pixel. Of the pixels around the rectangle only
 * the ring next to it is seen, repeated outward; a repeated sample changes no extremum that it is in already, so a window
 * is cut at the ring. open: erode, then dilate; close: the other way round. What lies outside the rectangle enters the
 * second pass as the source has it. */
#include "ownbox.h"

static int32_t ownCountOf(const VekImage* image) { return ownChannels(image).count; }
static int32_t ownCoiOf(const VekImage* image) { return image->roi ? image->roi->coi : 0; }

static void ownMorphology(const OwnFace& face, const VekImage* srcImage, VekImage* dstImage, int32_t nIterations,
                          const OwnBox* first, const OwnBox* second)
{
    vekSetErrStatus(VEK_StatusOk);
    OWN_REFUSE_HEADER(srcImage);
    OWN_REFUSE_HEADER(dstImage);
    OWN_REFUSE_TEXT_IF(nIterations <= 0, "Illegal number of of iterations");
    const int slot = ownSlot(srcImage->depth);
    OWN_REFUSE_TEXT_IF(slot != OWN_1U && slot != OWN_8U && slot != OWN_16U, "Illegal image depth");
    OWN_REFUSE_TEXT_IF(srcImage->depth != dstImage->depth, "SRC and DST depth are different");
    OWN_REFUSE_TEXT_IF(srcImage->dataOrder != dstImage->dataOrder, "SRC and DST order are different");
    OWN_REFUSE_TEXT_IF(srcImage->origin != dstImage->origin, "SRC and DST orign are different");
    OWN_REFUSE_TEXT_IF(ownCountOf(srcImage) != ownCountOf(dstImage), "SRC and DST number of channels are different");
    OWN_REFUSE_TEXT_IF(ownCoiOf(srcImage) != ownCoiOf(dstImage), "SRC and DST COI are different");

    const int32_t n = nIterations;
    const OwnBoxes boxes = {srcImage, dstImage, {n, n, n, n}, {1, 1, 1, 1}, {first, second}, nullptr, VEK_StatusBadArg};
    if (ownRunBoxes(face, boxes) == OWN_OPENED_NO_MEMORY) vekSetErrStatus(VEK_StatusNoMemory);
}

void vekErode(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekErode", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMin, nullptr);
}

void vekDilate(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekDilate", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMax, nullptr);
}

void vekOpen(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekOpen", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMin, ownBoxMax);
}

void vekClose(const VekImage* srcImage, VekImage* dstImage, int32_t nIterations)
{
    OWN_FACE("vekClose", "ownMorph");
    ownMorphology(face, srcImage, dstImage, nIterations, ownBoxMax, ownBoxMin);
}
