/* vekalpha: two images combined by the operators of alpha compositing, with constant alphas, those of the sources, or those
 * of alpha images. The operators stand in ownoperators. */
#include "owncompose.h"

/* What both functions test of the three images, until there is nothing to do. */
#define OWN_REFUSE_SOURCES(srcImageA, srcImageB, dstImage)                                                             \
    do {                                                                                                               \
        OWN_REFUSE_IMAGE(dstImage);                                                                                    \
        OWN_REFUSE_IMAGE(srcImageA);                                                                                   \
        OWN_REFUSE_IMAGE(srcImageB);                                                                                   \
        if (ownOnlyAlpha(dstImage) || ownOnlyAlpha(srcImageA) || ownOnlyAlpha(srcImageB)) return;                      \
        OWN_REFUSE_IF(dstImage->depth != 8 && dstImage->depth != 16);                                                  \
        OWN_REFUSE_IF(srcImageA->depth != dstImage->depth);                                                            \
        OWN_REFUSE_IF(srcImageB->depth != dstImage->depth);                                                            \
        OWN_REFUSE_COI(srcImageA, dstImage);                                                                           \
        OWN_REFUSE_COI(srcImageB, dstImage);                                                                           \
        OWN_REFUSE_COUNT(srcImageA, dstImage);                                                                         \
        OWN_REFUSE_COUNT(srcImageB, dstImage);                                                                         \
    } while (0)

#define OWN_REFUSE_MODES(compositeType, premulAlpha, divideMode)                                                       \
    do {                                                                                                               \
        OWN_REFUSE_IF(compositeType != 0 && compositeType != 1 && compositeType != 2 &&           \
                      compositeType != 3 && compositeType != 4 && compositeType != 5);                                                       \
        OWN_REFUSE_IF(premulAlpha != 0 && premulAlpha != 1);                                                           \
        OWN_REFUSE_IF(divideMode != 0 && divideMode != 1);                                                             \
    } while (0)

/* The tests of an alpha image that is given. */
#define OWN_REFUSE_ALPHA_IMAGE(alphaImage, dstImage)                                                                   \
    do {                                                                                                               \
        OWN_REFUSE_HEADER(alphaImage);                                                                                 \
        OWN_REFUSE_IF(alphaImage->alphaChannel > 0 && alphaImage->alphaChannel != alphaImage->nChannels);              \
        OWN_REFUSE_IF(alphaImage->depth != dstImage->depth);                                                           \
    } while (0)

/* The composition of three images, without alphas. */
static OwnBlend ownCompositeBlend(OwnGroup* group, const VekImage* srcImageA, const VekImage* srcImageB,
                                  const VekImage* dstImage, const OwnBlendKernel (*kernels)[2][OWN_BLEND_DEPTHS],
                                  int32_t compositeType, int32_t premulAlpha)
{
    OwnBlend blend = {};
    ownGroupBegin(group);
    blend.dst = ownGroupAdd(group, dstImage, VEK_TILE_WRITE);
    blend.a = ownGroupAdd(group, srcImageA, VEK_TILE_READ);
    blend.b = ownGroupAdd(group, srcImageB, VEK_TILE_READ);
    blend.run = kernels[compositeType][premulAlpha][ownBlendSlot(dstImage)].run;
    return blend;
}

void vekAlphaCompositeC(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage, int32_t compositeType,
                        int32_t aA, int32_t aB, int32_t premulAlpha, int32_t divideMode)
{
    OWN_FACE("vekAlphaCompositeC", "vekalpha");
    OWN_REFUSE_SOURCES(srcImageA, srcImageB, dstImage);
    if (aA < 0) OWN_REFUSE_NO_ALPHA(srcImageA);
    if (aB < 0) OWN_REFUSE_NO_ALPHA(srcImageB);
    OWN_REFUSE_MODES(compositeType, premulAlpha, divideMode);

    OwnGroup group;
    OwnBlend blend = ownCompositeBlend(&group, srcImageA, srcImageB, dstImage,
                                       divideMode ? ownDivideKernels : ownCompositeKernels, compositeType, premulAlpha);
    blend.alphaA = aA < 0 ? ownImageAlpha(&group, srcImageA) : ownConstantAlpha(dstImage, aA);
    blend.alphaB = aB < 0 ? ownImageAlpha(&group, srcImageB) : ownConstantAlpha(dstImage, aB);
    blend.alphaA.isUsed = ownUsesAlphaA(compositeType, premulAlpha, divideMode);
    blend.alphaB.isUsed = ownUsesAlphaB(compositeType, premulAlpha, divideMode);
    ownCompose(face, &group, &blend);
}

void vekAlphaComposite(const VekImage* srcImageA, const VekImage* srcImageB, VekImage* dstImage, int32_t compositeType,
                       const VekImage* alphaImageA, const VekImage* alphaImageB, VekImage* alphaImageDst,
                       int32_t premulAlpha, int32_t divideMode)
{
    OWN_FACE("vekAlphaComposite", "vekalpha");
    OWN_REFUSE_SOURCES(srcImageA, srcImageB, dstImage);
    if (alphaImageA) OWN_REFUSE_ALPHA_IMAGE(alphaImageA, dstImage);
    else OWN_REFUSE_NO_ALPHA(srcImageA);
    if (alphaImageB) OWN_REFUSE_ALPHA_IMAGE(alphaImageB, dstImage);
    if (alphaImageDst) {
        OWN_REFUSE_ALPHA_IMAGE(alphaImageDst, dstImage);
        OWN_REFUSE_NO_ALPHA(alphaImageDst);
    }
    OWN_REFUSE_MODES(compositeType, premulAlpha, divideMode);

    OwnGroup group;
    OwnBlend blend = ownCompositeBlend(&group, srcImageA, srcImageB, dstImage,
                                       divideMode ? ownDivideKernels : ownCompositeKernels, compositeType, premulAlpha);
    blend.alphaA = ownImageAlpha(&group, alphaImageA ? alphaImageA : srcImageA);
    if (alphaImageB) blend.alphaB = ownImageAlpha(&group, alphaImageB);
    blend.alphaDst = ownGroupAdd(&group, alphaImageDst, VEK_TILE_WRITE);
    if (alphaImageDst) {
        blend.alphaDstChannel = alphaImageDst->alphaChannel - 1;
        blend.alphaRun = ownCompositeKernels[compositeType][1][ownBlendSlot(dstImage)].run;
    }
    const bool usesB = alphaImageDst || ownUsesAlphaB(compositeType, premulAlpha, divideMode);
    blend.complementB = !alphaImageB && usesB;
    blend.alphaB.isUsed = alphaImageB && usesB;
    blend.alphaA.isUsed = alphaImageDst || blend.complementB || ownUsesAlphaA(compositeType, premulAlpha, divideMode);
    ownCompose(face, &group, &blend);
}
