/* vekscale: the scaled multiply, in which the highest value of the depth stands for 1: of two images, of an image and a
 * constant, and of an image's colours and their alpha.
 *
 * m(a, b) = (x + (x >> n) + 1) >> n, with x = a * b and n = 8 or 16. */
#include "owncompose.h"

/* A composition of the destination, a and b (or null), without alphas. */
static OwnBlend ownScaleBlend(OwnGroup* group, const VekImage* a, const VekImage* b, const VekImage* dstImage,
                              const OwnBlendKernel* kernels)
{
    OwnBlend blend = {};
    ownGroupBegin(group);
    blend.dst = ownGroupAdd(group, dstImage, VEK_TILE_WRITE);
    blend.a = ownGroupAdd(group, a, VEK_TILE_READ);
    blend.b = ownGroupAdd(group, b, VEK_TILE_READ);
    blend.run = kernels[ownBlendSlot(dstImage)].run;
    return blend;
}

void vekMultiplyScale(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage)
{
    OWN_FACE("vekMultiplyScale", "vekalpha");
    OWN_REFUSE_IMAGE(dstImage);
    OWN_REFUSE_IMAGE(srcImageA);
    OWN_REFUSE_IMAGE(srcImageB);
    if (ownOnlyAlpha(dstImage) || ownOnlyAlpha(srcImageA) || ownOnlyAlpha(srcImageB)) return;
    OWN_REFUSE_IF(dstImage->depth != 8 && dstImage->depth != 16);
    OWN_REFUSE_IF(srcImageA->depth != dstImage->depth);
    OWN_REFUSE_IF(srcImageB->depth != dstImage->depth);
    OWN_REFUSE_COI(srcImageA, dstImage);
    OWN_REFUSE_COI(srcImageB, dstImage);
    OWN_REFUSE_COUNT(srcImageA, dstImage);
    OWN_REFUSE_COUNT(srcImageB, dstImage);
    OwnGroup group;
    OwnBlend blend = ownScaleBlend(&group, srcImageA, srcImageB, dstImage, ownScaleKernels);
    ownCompose(face, &group, &blend);
}

void vekMultiplySScale(const VekImage* srcImage, VekImage* dstImage, int32_t value)
{
    OWN_FACE("vekMultiplySScale", "vekalpha");
    OWN_REFUSE_IMAGE(dstImage);
    OWN_REFUSE_IMAGE(srcImage);
    if (ownOnlyAlpha(dstImage) || ownOnlyAlpha(srcImage)) return;
    OWN_REFUSE_IF(dstImage->depth != 8 && dstImage->depth != 16);
    OWN_REFUSE_IF(srcImage->depth != dstImage->depth);
    OWN_REFUSE_COI(srcImage, dstImage);
    OWN_REFUSE_COUNT(srcImage, dstImage);
    OwnGroup group;
    OwnBlend blend = ownScaleBlend(&group, srcImage, nullptr, dstImage, ownScaleAlphaKernels);
    blend.alphaA = ownConstantAlpha(dstImage, value);
    ownCompose(face, &group, &blend);
}

void vekPreMultiplyAlpha(VekImage* image, int32_t alphaValue)
{
    OWN_FACE("vekPreMultiplyAlpha", "vekalpha");
    OWN_REFUSE_IMAGE(image);
    if (ownOnlyAlpha(image)) return;
    OWN_REFUSE_IF(image->depth != 8 && image->depth != 16);
    if (alphaValue < 0) OWN_REFUSE_NO_ALPHA(image);
    OwnGroup group;
    OwnBlend blend = ownScaleBlend(&group, image, nullptr, image, ownScaleAlphaKernels);
    blend.alphaA = alphaValue < 0 ? ownImageAlpha(&group, image) : ownConstantAlpha(image, alphaValue);
    ownCompose(face, &group, &blend);
}
