/* vekdib: bitmaps in memory as images, into images, and from images. */
#include "owndibside.h"
#include "ownrle.h"

/* ---- A bitmap as an image ---------------------------------------------------------------------------------------- */

/* What an image of a bitmap is made of. */
struct OwnTranslation {
    int32_t nChannels, alphaChannel;
    uint32_t depth;
    const char *colorModel, *channelSeq; /* padded with zeros */
    bool isClone;
};

static OwnTranslation ownTranslation(const OwnDib& dib)
{
    const int bitCount = dib.info.biBitCount;
    const uint32_t compression = dib.info.biCompression;
    if (bitCount == 24) return {3, 0, VEK_DEPTH_8U, "RGB\0", "BGR\0", false};
    if (bitCount == 32) return {4, 4, VEK_DEPTH_8U, "RGBA", "BGRA", compression == OWN_DIB_FIELDS};
    if (!ownDibHasIndices(dib) || !ownDibIsGray(dib)) return {3, 0, VEK_DEPTH_8U, "RGB\0", "BGR\0", true};
    if (bitCount == 1) return {1, 0, VEK_DEPTH_1U, "GRAY", "G\0\0\0", false};
    return {1, 0, VEK_DEPTH_8U, "GRAY", "G\0\0\0", bitCount == 4 || compression == OWN_DIB_RLE8};
}

VekImage* vekTranslateDIB(BITMAPINFOHEADER* dib, int32_t* cloneData)
{
    OWN_FACE("vekTranslateDIB", "vekdib");
    OWN_REFUSE_TEXT_IF(!dib, "( dib == ((void *)0) )", nullptr);
    OWN_REFUSE_TEXT_IF(!cloneData, "( cloneData == ((void *)0) )", nullptr);
    const OwnDib parts = ownOpenDib(dib);
    const int bitCount = parts.info.biBitCount;
    OWN_REFUSE_TEXT_IF(parts.info.biSize != sizeof(parts.info), "( dib->biSize != sizeof(BITMAPINFOHEADER) )", nullptr);
    if (!ownDibPasses(face, &parts.info)) return nullptr;
    OWN_REFUSE_TEXT_IF(!ownDibHasIndices(parts) && bitCount != 16 && bitCount != 24 && bitCount != 32,
                       "dib->biBitCount is bad", nullptr);
    OWN_REFUSE_TEXT_IF(ownDibHasIndices(parts) && parts.count > OWN_DIB_MOST_ENTRIES, "(dib->biClrUsed > 65536)",
                       nullptr);

    const OwnTranslation made = ownTranslation(parts);
    *cloneData = made.isClone;
    const int64_t rowBytes = ownDibRowBytes(parts.info.biWidth, bitCount);
    const bool isAligned = rowBytes % 8 == 0 && ((uintptr_t)dib + 4 * (uintptr_t)parts.count) % 8 == 0;
    VekImage* image = vekCreateImageHeader(
        made.nChannels, made.alphaChannel, made.depth, made.colorModel, made.channelSeq,
        made.isClone ? VEK_DATA_ORDER_PLANE_WISE : VEK_DATA_ORDER_PIXEL,
        parts.info.biHeight >= 0 ? VEK_ORIGIN_BOTTOM_LEFT : VEK_ORIGIN_TOP_LEFT, made.isClone || isAligned ? 8 : 4,
        parts.info.biWidth, ownDibHeight(parts.info), nullptr, nullptr, nullptr, nullptr);
    OWN_FAIL_IF(!image, VEK_StatusNoMemory, "Not enough memory to allocate header for destination image", nullptr);
    if (!made.isClone) {
        image->imageData = parts.pixels; /* rows of the header's own size, which is that of the bitmap */
        return image;
    }
    vekAllocateImage(image, 1, 0);
    if (!image->imageData) {
        vekDeallocate(image, VEK_IMAGE_HEADER);
        ownFail(face, VEK_StatusNoMemory, "Not enough memory to allocate data for destination image", __LINE__);
        return nullptr;
    }
    vekConvertFromDIB(dib, image);
    return image;
}

/* ---- A bitmap into an image -------------------------------------------------------------------------------------- */

static bool ownDibImagePasses(const OwnFace& face, const VekImage* image)
{
    OWN_REFUSE_IF(( image->alphaChannel < 0 ), false);
    OWN_REFUSE_IF(( image->nChannels < image->alphaChannel ), false);
    OWN_REFUSE_IF(( (image->dataOrder != 0) && (image->dataOrder != 1) ), false);
    OWN_REFUSE_IF(( (image->origin != 0 ) && (image->origin != 1 ) ), false);
    OWN_REFUSE_IF(( (image->align != 4 ) && (image->align != 8 ) ), false);
    OWN_REFUSE_IF((image->height <= 0), false);
    OWN_REFUSE_IF((image->width <= 0), false);
    OWN_REFUSE_IF((image->imageSize <= 0), false);
    OWN_REFUSE_IF((image->widthStep <= 0), false);
    return true;
}

void vekConvertFromDIB(const BITMAPINFOHEADER* dib, VekImage* image)
{
    OWN_FACE("vekConvertFromDIB", "vekdib");
    OWN_REFUSE_IF(dib==0);
    OWN_REPORT_IF(image==0);
    if (!image || vekGetErrStatus() < 0) return;
    if (!ownDibImagePasses(face, image)) return;
    const OwnDib parts = ownOpenDib(dib);
    if (ownSizedDibPasses(face, &parts.info)) (void)ownReadDib(face, parts, image);
}

/* ---- An image into a bitmap -------------------------------------------------------------------------------------- */

static bool ownToDibPasses(const OwnFace& face, const VekImage* image, const BITMAPINFOHEADER* dib)
{
    OWN_REFUSE_IF((image->nChannels <= 0 || image->nChannels > 4), false);
    OWN_REFUSE_IF((image->depth & 0x80000000), false);
    OWN_REFUSE_IF((image->alphaChannel != 0 && image->alphaChannel != 4), false);
    if (image->alphaChannel) OWN_REFUSE_IF((image->nChannels != 4), false);
    else OWN_REFUSE_IF((image->nChannels != 3 && image->nChannels != 1), false);
    OWN_REFUSE_TEXT_IF(image->width != dib->biWidth || image->height != ownDibHeight(*dib),
                       "(image->width != dib->biWidth || image->height != abs(dib->biHeight))", false);
    return ownSizedDibPasses(face, dib);
}

/* A report-less end is told by the caller. */
static bool ownWriteDib(const OwnFace& face, const VekImage* image, const OwnDib& dib)
{
    OwnPixels from, to;
    if (!ownImageSide(image, image->height, &from)) return false;
    const OwnSequence sequence = ownSequence(image);
    OWN_FAIL_IF(sequence == OWN_SEQ_OTHER, VEK_StatusBadColorModel, "image->channelSeq unsupport", false);
    const OwnSideEnd end = ownDibSide(dib, dib.pixels, &to);
    OWN_REFUSE_TEXT_IF(end == OWN_SIDE_NO_FORM, "dib->biBitCount is bad", false);
    OWN_REFUSE_TEXT_IF(end == OWN_SIDE_NO_MASK, ownNoMaskText, false);
    const OwnColourStep step = sequence == OWN_SEQ_GRAY  ? OWN_STEP_LEVEL
                               : sequence == OWN_SEQ_RGB ? OWN_STEP_SWAP
                                                         : OWN_STEP_NONE;
    ownNearestOpen(&to.nearest, dib.table, ownDibHasIndices(dib) ? dib.count : 0);
    ownMovePixels(from, to, step);
    ownNearestClose(&to.nearest);
    return true;
}

/* A picture of 16-bit samples as one of bytes, by error diffusion; null after a report, or when a status is stored. */
static VekImage* ownReduced(const OwnFace& face, const VekImage* image, int32_t dither)
{
    VekImage* reduced = vekCreateImageHeader(image->nChannels, image->alphaChannel, VEK_DEPTH_8U, image->colorModel,
                                             image->channelSeq, image->dataOrder, image->origin, image->align,
                                             image->width, image->height, nullptr, nullptr, nullptr, nullptr);
    OWN_FAIL_IF(!reduced, VEK_StatusNoMemory, "Not enough memory to allocate header for temporal image", nullptr);
    vekAllocateImage(reduced, 0, 0);
    vekReduceBits(image, reduced, 0, dither, 1);
    if (vekGetErrStatus() == VEK_StatusOk) return reduced;
    vekDeallocate(reduced, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    return nullptr;
}

void vekConvertToDIB(const VekImage* image, BITMAPINFOHEADER* dib, int32_t dither, int32_t paletteConversion)
{
    OWN_FACE("vekConvertToDIB", "vekdib");
    OWN_REFUSE_HEADER(image);
    OWN_REFUSE_IF(dib==0);
    OwnDib parts = ownOpenDib(dib);
    if (!ownToDibPasses(face, image, &parts.info)) return;
    OWN_REFUSE_IF((dither != 8 && dither != 1 ));
    OWN_REFUSE_IF((paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 ));
    if (image->tileInfo) return ownDibEnd(face);
    OWN_REFUSE_TEXT_IF(ownDibHasIndices(parts) && parts.count > OWN_DIB_MOST_ENTRIES, "(dib->biClrUsed > 65536)");

    if (parts.info.biBitCount < 16 && paletteConversion == 1) ownFixedTable(parts, image->nChannels == 1);
    if (parts.info.biBitCount < 16 && paletteConversion == 2) {
        OWN_FAIL_IF(!ownMedianCut(dib, image), VEK_StatusInternal, "Error of creating medcut palette");
        parts = ownOpenDib(dib);
    }
    const bool reduces = ownSampleBits(image->depth) > 8 && dither == 8;
    VekImage* reduced = reduces ? ownReduced(face, image, dither) : nullptr;
    if (reduces && !reduced) return;
    const bool isWritten = ownWriteDib(face, reduces ? reduced : image, parts);
    vekDeallocate(reduced, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    if (!isWritten) return ownDibEnd(face);
    if (parts.info.biCompression == OWN_DIB_RLE8 || parts.info.biCompression == OWN_DIB_RLE4)
        (void)ownCompressDib(face, dib);
}
