/* vekalloc: aligned memory; the making, checking and release of image records and their pixels. */
#include "own.h"

/* ---- Aligned memory ------------------------------------------------------------------------------------------ */

/* A block of the plain allocator moved up to a multiple of `alignBytes`, with the plain pointer kept just below it.
 * `moreBytes` are asked for beyond the caller's, the pointer's room among them. */
static void* ownAligned(size_t bytes, size_t alignBytes, size_t moreBytes)
{
    if (bytes > SIZE_MAX - moreBytes) return nullptr;
    void* plain = ownPlainAlloc(bytes + moreBytes);
    if (!plain) return nullptr;
    const uintptr_t mask = alignBytes - 1;
    uint8_t* block = (uint8_t*)(((uintptr_t)plain + sizeof(void*) + mask) & ~mask);
    memcpy(block - sizeof(void*), &plain, sizeof(void*));
    return block;
}

static void ownFreeAligned(void* block)
{
    if (!block) return;
    void* plain;
    memcpy(&plain, (uint8_t*)block - sizeof(void*), sizeof(void*));
    ownPlainFree(plain);
}

void* ownAlloc(size_t bytes) { return ownAligned(bytes, 64, 63 + sizeof(void*)); }

void ownFree(void* block) { ownFreeAligned(block); }

/* The block moves up by at most 31 bytes and a pointer, so at least 33 of the 64 follow the items. */
static void* ownItems(int32_t count, size_t itemBytes)
{
    const size_t moreBytes = 64 + sizeof(void*);
    if (count < 0 || (size_t)count > (SIZE_MAX - moreBytes) / itemBytes) return nullptr;
    return ownAligned((size_t)count * itemBytes, 32, moreBytes);
}

void* vekMalloc(int32_t length) { return ownItems(length, 1); }
int16_t* vekwMalloc(int32_t count) { return (int16_t*)ownItems(count, sizeof(int16_t)); }
int32_t* vekiMalloc(int32_t count) { return (int32_t*)ownItems(count, sizeof(int32_t)); }
float* veksMalloc(int32_t count) { return (float*)ownItems(count, sizeof(float)); }
double* vekdMalloc(int32_t count) { return (double*)ownItems(count, sizeof(double)); }

void vekFree(void* block) { ownFreeAligned(block); }

/* ---- The test of a header ------------------------------------------------------------------------------------ */

static constexpr int OWN_MASK_LEVELS = 16;
static constexpr VekStatus OWN_MASK_STATUS = -100;

static VekStatus ownHeaderFault(const VekImage* image, int levels);

/* A failure of the mask's own header is told apart by 100. Masks of masks are followed for some levels only, since they
 * may form a ring. */
static VekStatus ownMaskFault(const VekImage* mask, int levels)
{
    if (!mask || levels == 0) return VEK_StatusOk;
    if (mask->depth != VEK_DEPTH_1U) return OWN_MASK_STATUS + VEK_StatusBadDepth;
    if (mask->tileInfo) return VEK_StatusTiledMask;
    const VekStatus fault = ownHeaderFault(mask, levels - 1);
    return fault ? OWN_MASK_STATUS + fault : VEK_StatusOk;
}

/* What a header says of its pixels, whether it has them yet or not. `named`: the names of colours and channels are
 * there, which are arguments of the header's maker and part of every header. */
static VekStatus ownFieldsFault(const VekImage* image, bool named, int levels)
{
    if (image->height < 1 || image->width < 1) return VEK_StatusBadImageSize;
    if (image->nChannels < 1) return VEK_StatusBadChannels;
    if (image->nChannels != 1 && image->depth == VEK_DEPTH_1U) return VEK_StatusBad1uChannels;
    if (!named) return VEK_StatusBadColorModel;
    if (ownSlot(image->depth) < 0) return VEK_StatusBadDepth;
    if (image->alphaChannel != 0 && image->alphaChannel != image->nChannels) return VEK_StatusBadAlpha;
    if ((uint32_t)image->dataOrder > VEK_DATA_ORDER_PLANE_WISE) return VEK_StatusBadDataOrder;
    if ((uint32_t)image->origin > VEK_ORIGIN_BOTTOM_LEFT) return VEK_StatusBadOrigin;
    if (image->align != 4 && image->align != 8) return VEK_StatusBadAlign;
    return ownMaskFault(image->maskROI, levels);
}

static VekStatus ownTileFault(const VekTileInfo* tile)
{
    if (!tile->callBack) return VEK_StatusNullCallback;
    if (tile->width < 1 || tile->height < 1) return VEK_StatusBadTileSize;
    return tile->width % 8 || tile->height % 8 ? VEK_StatusBadTileSize : VEK_StatusOk;
}

static VekStatus ownRoiFault(const VekROI* roi, int32_t nChannels)
{
    if (roi->coi < 0 || roi->coi > nChannels) return VEK_StatusBadCoi;
    if (roi->height < 1 || roi->width < 1) return VEK_StatusBadRoiSize;
    return roi->xOffset < 0 || roi->yOffset < 0 ? VEK_StatusBadRoiOffset : VEK_StatusOk;
}

static VekStatus ownHeaderFault(const VekImage* image, int levels)
{
    if (!image) return VEK_StatusNullHeader;
    if (!image->imageData == !image->tileInfo) return VEK_StatusBadDataPointers;
    if (image->imageSize < 1 && !image->tileInfo) return VEK_StatusBadImageSize;
    if (image->widthStep < 1 && !image->tileInfo) return VEK_StatusBadWidthStep;
    if (const VekStatus fault = ownFieldsFault(image, true, levels)) return fault;
    if (image->tileInfo)
        if (const VekStatus fault = ownTileFault(image->tileInfo)) return fault;
    return image->roi ? ownRoiFault(image->roi, image->nChannels) : VEK_StatusOk;
}

VekStatus vekCheckImageHeader(const VekImage* image)
{
    const VekStatus fault = ownHeaderFault(image, OWN_MASK_LEVELS);
    if (fault) vekSetErrStatus(fault);
    return fault;
}

/* ---- Sizes ----------------------------------------------------------------------------------------------------- */

/* Bytes of a row `width` pixels wide, of an image whose fields are sound; 0 when a header can't hold them. */
static int32_t ownHeldRowBytes(const VekImage* image, int32_t width)
{
    const int64_t rowBytes = ownRowBytes(image, width);
    return rowBytes > INT32_MAX ? 0 : (int32_t)rowBytes;
}

/* Computes widthStep and imageSize. False, and the image unchanged, when a header can't hold them. */
static bool ownSetSizes(VekImage* image)
{
    const int32_t rowBytes = ownHeldRowBytes(image, image->width);
    const int64_t nRows = ownRowCount(image, image->height);
    if (rowBytes == 0 || nRows > INT32_MAX / rowBytes) return false;
    image->widthStep = rowBytes;
    image->imageSize = (int32_t)(nRows * rowBytes);
    return true;
}

int32_t ownTileRowBytes(const VekImage* image)
{
    if (ownHeaderFault(image, OWN_MASK_LEVELS) || !image->tileInfo) return 0;
    return ownHeldRowBytes(image, image->tileInfo->width);
}

/* ---- Headers ------------------------------------------------------------------------------------------------- */

static const char* const ownBadFields = "Incorrect data-ins";

VekImage* vekCreateImageHeader(int32_t nChannels, int32_t alphaChannel, uint32_t depth, const char* colorModel,
                               const char* channelSeq, int32_t dataOrder, int32_t origin, int32_t align, int32_t width,
                               int32_t height, VekROI* roi, VekImage* maskROI, void* imageId, VekTileInfo* tileInfo)
{
    VekImage fields = {};
    fields.headerSize = sizeof(VekImage);
    fields.nChannels = nChannels;
    fields.alphaChannel = alphaChannel;
    fields.depth = depth;
    fields.dataOrder = dataOrder;
    fields.origin = origin;
    fields.align = align;
    fields.width = width;
    fields.height = height;
    fields.roi = roi;
    fields.maskROI = maskROI;
    fields.imageId = imageId;
    fields.tileInfo = tileInfo;

    VekStatus fault = ownFieldsFault(&fields, colorModel && channelSeq, OWN_MASK_LEVELS);
    if (!fault && !ownSetSizes(&fields)) fault = VEK_StatusBadImageSize;
    if (fault) {
        (void)vekError(fault, "vekCreateImageHeader", ownBadFields, "vekalloc", 148);
        return nullptr;
    }
    memcpy(fields.colorModel, colorModel, sizeof(fields.colorModel));
    memcpy(fields.channelSeq, channelSeq, sizeof(fields.channelSeq));
    VekImage* image = (VekImage*)vekMalloc(sizeof(VekImage));
    if (image) *image = fields;
    return image;
}

void vekDeallocateHeader(VekImage* image) { vekDeallocate(image, VEK_IMAGE_HEADER); }

/* The parts of a mask that go with its image: all but the mask's own mask. */
enum { OWN_MASK_PARTS = VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI | VEK_IMAGE_TILE };

void vekDeallocate(VekImage* image, int32_t flags)
{
    if (!image) return;
    if (flags & VEK_IMAGE_ROI) {
        vekFree(image->roi);
        image->roi = nullptr;
    }
    if (flags & VEK_IMAGE_MASK) {
        vekDeallocate(image->maskROI, OWN_MASK_PARTS);
        image->maskROI = nullptr;
    }
    if (flags & VEK_IMAGE_TILE) {
        vekFree(image->tileInfo);
        image->tileInfo = nullptr;
    }
    if (flags & VEK_IMAGE_DATA && image->rawImageData) vekDeallocateImage(image);
    if (flags & VEK_IMAGE_HEADER) vekFree(image);
}

/* ---- Pixels -------------------------------------------------------------------------------------------------- */

/* A sample's low bits repeated to fill a word. */
static uint32_t ownFillWord(int sampleBits, uint32_t value)
{
    switch (sampleBits) {
    case 1: return value & 1 ? 0xffffffffu : 0;
    case 8: return (value & 0xff) * 0x01010101u;
    case 16: return (value & 0xffff) * 0x00010001u;
    }
    return value;
}

static void ownFillBlock(uint8_t* data, int32_t bytes, uint32_t word)
{
    for (ptrdiff_t i = 0; i < bytes; i += (ptrdiff_t)sizeof(word)) memcpy(data + i, &word, sizeof(word));
}

/* Gives an image whose pixels are not there yet a block for them. `line` is what a refusal reports. Without memory the
 * image stays as it is, silently. */
static void ownAllocatePixels(VekImage* image, const char* func, int line, bool doFill, uint32_t fillBits)
{
    VekImage sized = *image;
    VekStatus fault = ownFieldsFault(image, true, OWN_MASK_LEVELS);
    if (!fault && !ownSetSizes(&sized)) fault = VEK_StatusBadImageSize;
    if (fault) {
        (void)vekError(fault, func, ownBadFields, "vekalloc", line);
        return;
    }
    const uintptr_t mask = (uintptr_t)image->align - 1;
    sized.rawImageData = (uint8_t*)ownPlainAlloc((size_t)sized.imageSize + mask);
    if (!sized.rawImageData) return;
    sized.imageData = (uint8_t*)(((uintptr_t)sized.rawImageData + mask) & ~mask);
    if (doFill) ownFillBlock(sized.imageData, sized.imageSize, ownFillWord(ownSampleBits(image->depth), fillBits));
    *image = sized;
}

static void ownRefuse(const char* func, const char* test, int line)
{
    (void)vekError(VEK_StatusBadArg, func, test, "vekalloc", line);
}

void vekAllocateImage(VekImage* image, int32_t doFill, int32_t fillValue)
{
    static constexpr const char* func = "vekAllocateImage";
    if (!image) return ownRefuse(func, "( image == ((void *)0) )", 256);
    if (image->imageData) return ownRefuse(func, "( image->imageData != ((void *)0) )", 257);
    if (image->tileInfo) return ownRefuse(func, "( image->tileInfo != ((void *)0) )", 258);
    if (image->depth == VEK_DEPTH_32F) return ownRefuse(func, "( image->depth == 32 )", 259);
    ownAllocatePixels(image, func, 269, doFill != 0, (uint32_t)fillValue);
}

void vekAllocateImageFP(VekImage* image, int32_t doFill, float fillValue)
{
    static constexpr const char* func = "vekAllocateImageFP";
    if (!image) return ownRefuse(func, "( image == ((void *)0) )", 321);
    if (image->imageData) return ownRefuse(func, "( image->imageData != ((void *)0) )", 322);
    if (image->tileInfo) return ownRefuse(func, "( image->tileInfo != ((void *)0) )", 323);
    if (image->depth != VEK_DEPTH_32F) return ownRefuse(func, "( image->depth != 32 )", 324);
    ownAllocatePixels(image, func, 334, doFill != 0, std::bit_cast<uint32_t>(fillValue));
}

void vekDeallocateImage(VekImage* image)
{
    if (!image) return;
    ownPlainFree(image->rawImageData);
    image->rawImageData = nullptr;
    image->imageData = nullptr;
}

/* ---- Regions, tiles, borders --------------------------------------------------------------------------------- */

VekROI* vekCreateROI(int32_t coi, int32_t xOffset, int32_t yOffset, int32_t width, int32_t height)
{
    VekROI* roi = (VekROI*)vekMalloc(sizeof(VekROI));
    vekSetROI(roi, coi, xOffset, yOffset, width, height);
    return roi;
}

void vekSetROI(VekROI* roi, int32_t coi, int32_t xOffset, int32_t yOffset, int32_t width, int32_t height)
{
    if (roi) *roi = {coi, xOffset, yOffset, width, height};
}

void vekDeleteROI(VekROI* roi) { vekFree(roi); }

VekTileInfo* vekCreateTileInfo(VekTileFunc callBack, void* tileId, int32_t width, int32_t height)
{
    VekTileInfo* tileInfo = (VekTileInfo*)vekMalloc(sizeof(VekTileInfo));
    vekSetTileInfo(tileInfo, callBack, tileId, width, height);
    return tileInfo;
}

void vekSetTileInfo(VekTileInfo* tileInfo, VekTileFunc callBack, void* tileId, int32_t width, int32_t height)
{
    if (tileInfo) *tileInfo = {callBack, tileId, nullptr, width, height};
}

void vekDeleteTileInfo(VekTileInfo* tileInfo) { vekFree(tileInfo); }

void vekSetBorderMode(VekImage* image, int32_t mode, int32_t sides, int32_t constant)
{
    if (!image) return;
    for (int side = 0; side < 4; ++side) {
        if (!(sides >> side & 1)) continue;
        image->borderMode[side] = mode;
        image->borderConst[side] = constant;
    }
}
