/* ownreaddib: the pixels of a bitmap, plain or run-length coded, into an image. */
#include "owndibside.h"
#include "ownrle.h"

/* What vekConvertFromDIBSep returns where it has no status of its own. */
static VekStatus ownReadFails(const OwnFace& face, VekStatus status, const char* text)
{
    if (status) ownFail(face, status, text, __LINE__);
    ownDibEnd(face);
    return VEK_StatusInternal;
}

/* From plain pixels. */
static void ownReadPixels(const OwnDib& dib, OwnPixels* from, const OwnPixels& to, OwnSequence sequence)
{
    const OwnColourStep step = sequence == OWN_SEQ_GRAY  ? OWN_STEP_GRAY
                               : sequence == OWN_SEQ_RGB ? OWN_STEP_SWAP
                                                         : OWN_STEP_NONE;
    if (ownDibHasIndices(dib)) {
        from->nPlanes = to.nPlanes;
        ownLookUp(from, dib.table, dib.count, step);
    }
    ownMovePixels(*from, to, ownDibHasIndices(dib) ? OWN_STEP_NONE : step);
}

VekStatus ownReadDib(const OwnFace& face, const OwnDib& dib, VekImage* image)
{
    const int32_t height = ownDibHeight(dib.info);
    if (image->width < dib.info.biWidth || image->height < height)
        return ownReadFails(face, VEK_StatusBadImageSize, "Image size is too small");

    OwnPixels from, to;
    if (ownDibHasIndices(dib) && dib.count > OWN_DIB_MOST_ENTRIES)
        return ownReadFails(face, VEK_StatusBadArg, "(dib->biClrUsed > 65536)");
    const OwnSideEnd end = ownDibSide(dib, dib.pixels, &from);
    if (end == OWN_SIDE_NO_FORM) return ownReadFails(face, VEK_StatusOk, "");
    if (end == OWN_SIDE_NO_MASK) return ownReadFails(face, VEK_StatusBadArg, ownNoMaskText);
    const OwnSequence sequence = ownSequence(image);
    if (sequence == OWN_SEQ_OTHER) return ownReadFails(face, VEK_StatusBadColorModel, "image->channelSeq unsupport");
    if (!ownImageSide(image, 0, &to)) return ownReadFails(face, VEK_StatusOk, "");
    if (dib.info.biWidth <= 0 || height < 0) return VEK_StatusOk;
    if (!image->imageData) vekAllocateImage(image, 1, 0);
    OWN_FAIL_IF(!image->imageData, VEK_StatusNoMemory, "Not enough memory to allocate data for destination image",
                VEK_StatusNoMemory);
    if (height == 0) return VEK_StatusOk;

    (void)ownImageSide(image, height, &to);
    uint8_t* plain = nullptr;
    if (dib.info.biCompression == OWN_DIB_RLE8 || dib.info.biCompression == OWN_DIB_RLE4) {
        plain = ownDecompressDib(face, &dib.info, dib.pixels);
        OWN_FAIL_IF(!plain, VEK_StatusInternal, "Impossible to decompress RLE DIB", VEK_StatusInternal);
        (void)ownDibSide(dib, plain, &from);
    }
    ownReadPixels(dib, &from, to, sequence);
    vekFree(plain);
    return VEK_StatusOk;
}
