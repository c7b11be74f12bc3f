/* vekDIBSp: a bitmap whose header and pixels are in separate blocks, into an image. */
#include "owndib.h"

/* The tests of the image; each returns the status that a header's test would give. */
static VekStatus ownSepImageFault(const OwnFace& face, const VekImage* image)
{
    OWN_REFUSE_IF(( image->alphaChannel < 0 ), VEK_StatusBadAlpha);
    OWN_REFUSE_IF(( image->nChannels < image->alphaChannel ), VEK_StatusBadAlpha);
    OWN_REFUSE_IF(( (image->dataOrder != 0) && (image->dataOrder != 1) ), VEK_StatusBadDataOrder);
    OWN_REFUSE_IF(( (image->origin != 0) && (image->origin != 1) ), VEK_StatusBadOrigin);
    OWN_REFUSE_IF(( (image->align != 4) && (image->align != 8) ), VEK_StatusBadAlign);
    OWN_REFUSE_IF((image->height <= 0), VEK_StatusBadImageSize);
    OWN_REFUSE_IF((image->width <= 0), VEK_StatusBadImageSize);
    OWN_REFUSE_IF((image->imageSize <= 0), VEK_StatusBadImageSize);
    OWN_REFUSE_IF((image->widthStep <= 0), VEK_StatusBadWidthStep);
    return VEK_StatusOk;
}

static bool ownSepHeaderPasses(const OwnFace& face, const BITMAPINFOHEADER* dibHeader)
{
    OWN_REFUSE_IF((dibHeader->biSize != sizeof(BITMAPINFOHEADER)), false);
    OWN_REFUSE_IF((dibHeader->biPlanes != 1), false);
    OWN_REFUSE_IF(( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( dibHeader->biCompression != 2 ) && ( dibHeader->biCompression != 3 ) ), false);
    OWN_REFUSE_IF((dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1), false);
    OWN_REFUSE_IF((dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2), false);
    OWN_REFUSE_IF((dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == 2) ), false);
    return true;
}

VekStatus vekConvertFromDIBSep(const BITMAPINFOHEADER* dibHeader, const void* dibData, VekImage* image)
{
    OWN_FACE("vekConvertFromDIBSep", "vekDIBSp");
    OWN_REFUSE_TEXT_IF(!dibHeader, "( ((void *)0) == dibHeader )", VEK_StatusBadArg);
    OWN_REFUSE_TEXT_IF(!dibData, "( ((void *)0) == dibData )", VEK_StatusBadArg);
    OWN_REFUSE_TEXT_IF(!image, "( ((void *)0) == image )", VEK_StatusNullHeader);
    if (const VekStatus fault = ownSepImageFault(face, image)) return fault;
    OwnDib dib = ownOpenDib(dibHeader);
    if (!ownSepHeaderPasses(face, &dib.info)) return VEK_StatusBadArg;
    dib.pixels = (uint8_t*)const_cast<void*>(dibData);
    return ownReadDib(face, dib, image);
}
