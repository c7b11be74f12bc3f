/* vekClone: a copy of an image, with its region and its pixels, without its mask, its tiles and its id. */
#include "own.h"

static VekImage* ownCloneFail(VekStatus status, const char* text, int line)
{
    (void)vekError(status, "vekCloneImage", text, "vekClone", line);
    return nullptr;
}

/* A header with the source's fields, borders included, and nothing of what the source points at. */
static VekImage* ownCloneHeader(const VekImage* image)
{
    VekImage* clone = vekCreateImageHeader(image->nChannels, image->alphaChannel, image->depth, image->colorModel,
                                           image->channelSeq, image->dataOrder, image->origin, image->align,
                                           image->width, image->height, nullptr, nullptr, nullptr, nullptr);
    if (!clone) return nullptr;
    memcpy(clone->borderMode, image->borderMode, sizeof(clone->borderMode));
    memcpy(clone->borderConst, image->borderConst, sizeof(clone->borderConst));
    return clone;
}

/* The rows of all planes. Rows of one length are one run. */
static void ownCloneRows(const VekImage* image, const VekImage* clone)
{
    if (image->widthStep == clone->widthStep) {
        memcpy(clone->imageData, image->imageData, (size_t)clone->imageSize);
        return;
    }
    const size_t rowBytes = (size_t)std::min(image->widthStep, clone->widthStep);
    for (int64_t row = 0; row < ownRowCount(clone, clone->height); ++row)
        memcpy(clone->imageData + row * clone->widthStep, image->imageData + row * image->widthStep, rowBytes);
}

VekImage* vekCloneImage(const VekImage* image)
{
    if (const VekStatus fault = vekCheckImageHeader(image)) return ownCloneFail(fault, "Incorrect Image", 37);
    VekImage* clone = ownCloneHeader(image);
    if (!clone) return ownCloneFail(VEK_StatusNoMemory, "Not enough memory to allocate header for clone image", 57);
    if (const VekROI* roi = image->roi) {
        clone->roi = vekCreateROI(roi->coi, roi->xOffset, roi->yOffset, roi->width, roi->height);
        if (!clone->roi) {
            vekDeallocate(clone, VEK_IMAGE_HEADER);
            return ownCloneFail(VEK_StatusNoMemory, "Not enough memory to allocate roi for clone image", 75);
        }
    }
    if (image->depth == VEK_DEPTH_32F) vekAllocateImageFP(clone, 0, 0);
    else vekAllocateImage(clone, 0, 0);
    if (!clone->imageData) {
        vekDeallocate(clone, VEK_IMAGE_HEADER | VEK_IMAGE_ROI);
        return ownCloneFail(VEK_StatusNoMemory, "Not enough memory to allocate imageData for clone image", 88);
    }
    if (!image->tileInfo) ownCloneRows(image, clone);
    return clone;
}
