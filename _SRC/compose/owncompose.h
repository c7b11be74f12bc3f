/* owncompose.h: what the modules of the family share: the kernels of a composition, and the way from tested arguments to
 * the group that is walked. */
#ifndef OWNCOMPOSE_H
#define OWNCOMPOSE_H

#include "own.h"

/* ---- Kernels ------------------------------------------------------------------------------------------------- */

/* A kernel and the plain loop that it must equal, bit for bit. */
struct OwnBlendKernel {
    OwnBlendRun *run, *plain;
};

/* The two depths that are served. */
enum { OWN_BLEND_8U, OWN_BLEND_16U, OWN_BLEND_DEPTHS };
static inline int ownBlendSlot(const VekImage* image)
{
    return image->depth == VEK_DEPTH_8U ? OWN_BLEND_8U : OWN_BLEND_16U;
}

enum { OWN_COMPOSITES = COMPOSITE_PLUS + 1 };

/* By operator, by premulAlpha, by depth: in whole numbers, and with the division by the result's alpha. */
extern const OwnBlendKernel ownCompositeKernels[OWN_COMPOSITES][2][OWN_BLEND_DEPTHS];
extern const OwnBlendKernel ownDivideKernels[OWN_COMPOSITES][2][OWN_BLEND_DEPTHS];

/* The scaled multiply: of a and b; of a and its alpha. */
extern const OwnBlendKernel ownScaleKernels[OWN_BLEND_DEPTHS];
extern const OwnBlendKernel ownScaleAlphaKernels[OWN_BLEND_DEPTHS];

/* The alphas that the kernels of an operator read. */
bool ownUsesAlphaA(int32_t compositeType, int32_t premulAlpha, int32_t divideMode);
bool ownUsesAlphaB(int32_t compositeType, int32_t premulAlpha, int32_t divideMode);

/* ---- Tests --------------------------------------------------------------------------------------------------- */

/* An image's own tests. */
#define OWN_REFUSE_IMAGE(image)                                                                                        \
    do {                                                                                                               \
        OWN_REFUSE_IF(image==0);                                                                                       \
        OWN_REFUSE_HEADER(image);                                                                                      \
        OWN_REFUSE_IF(image->alphaChannel > 0 && image->alphaChannel != image->nChannels);                             \
    } while (0)

/* Whether only the alpha channel takes part: then a call does nothing. */
static inline bool ownOnlyAlpha(const VekImage* image)
{
    if (image->alphaChannel < 1) return false;
    return image->nChannels == 1 || (image->roi && image->roi->coi == image->alphaChannel);
}

/* A channel of interest on one side needs one on the other. */
#define OWN_REFUSE_COI(srcImage, dstImage)                                                                             \
    do {                                                                                                               \
        if (dstImage->roi) OWN_REFUSE_IF(dstImage->roi->coi > 0 && srcImage->roi == 0);                                \
        if (dstImage->roi) OWN_REFUSE_IF(dstImage->roi->coi > 0 && srcImage->roi->coi == 0);                           \
        if (srcImage->roi) OWN_REFUSE_IF(srcImage->roi->coi > 0 && dstImage->roi == 0);                                \
        if (srcImage->roi) OWN_REFUSE_IF(srcImage->roi->coi > 0 && dstImage->roi->coi == 0);                           \
    } while (0)

#define OWN_REFUSE_COUNT(srcImage, dstImage)                                                                           \
    do {                                                                                                               \
        if (dstImage->roi && dstImage->roi->coi > 0) break;                                                            \
        OWN_REFUSE_IF((srcImage->nChannels - (srcImage->alphaChannel != 0)) !=                                         \
                      (dstImage->nChannels - (dstImage->alphaChannel != 0)));                                         \
    } while (0)

/* An image whose alpha is to be read must have it. */
#define OWN_REFUSE_NO_ALPHA(image)                                                                                     \
    do {                                                                                                               \
        OWN_REFUSE_IF(image->alphaChannel < 1);                                                                        \
        OWN_REFUSE_IF(image->alphaChannel > image->nChannels);                                                         \
    } while (0)

/* ---- From arguments to pixels -------------------------------------------------------------------------------- */

/* A constant alpha, held to the depth's range; the alpha channel of an image, or its first one if it has none. */
OwnAlpha ownConstantAlpha(const VekImage* dstImage, int32_t value);
OwnAlpha ownImageAlpha(OwnGroup* group, const VekImage* image);

/* Merges the masks of the group's images and takes the composition over the rectangle, with tiles or without. Reports under
 * the face's name. */
void ownCompose(const OwnFace& face, OwnGroup* group, OwnBlend* blend);

#endif
