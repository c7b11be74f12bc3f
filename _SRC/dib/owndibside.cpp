/* owndibside: forms of pixels from headers, and fields from masks. */
#include "owndibside.h"

/* ---- Fields ------------------------------------------------------------------------------------------------------ */

static OwnField ownFieldOf(uint32_t mask)
{
    const int shift = std::countr_zero(mask);
    return {mask, shift, std::countr_one(mask >> shift)};
}

/* What lies above the highest of three fields; all of the pixel where nothing does. */
static uint32_t ownAlphaMask(const OwnField field[3])
{
    const OwnField* highest = field[1].shift > field[0].shift ? &field[1] : &field[0];
    if (field[2].shift > highest->shift) highest = &field[2];
    const int top = (highest->shift + highest->width) & 31;
    return UINT32_MAX >> top << top;
}

static const uint32_t ownMasks555[3] = {0x7C00, 0x03E0, 0x001F};

/* The masks of red, green, blue; of 16-bit pixels the low halves. */
static void ownReadMasks(const OwnDib& dib, uint32_t masks[3])
{
    if (dib.info.biCompression == OWN_DIB_PLAIN) return (void)memcpy(masks, ownMasks555, sizeof(ownMasks555));
    memcpy(masks, dib.table, 3 * sizeof(uint32_t));
    for (int i = 0; i < 3; ++i)
        if (dib.info.biBitCount == 16) masks[i] &= 0xFFFF;
}

const char* const ownNoMaskText = "(red == 0 || green == 0 || blue == 0)";

static OwnSideEnd ownSetFields(const OwnDib& dib, OwnPixels* side)
{
    const bool wide = dib.info.biBitCount == 32;
    side->form = wide ? OWN_FORM_SPARE8 : OWN_FORM_FIELDS16;
    if (wide && dib.info.biCompression == OWN_DIB_PLAIN) return OWN_SIDE_SET;
    uint32_t masks[3];
    ownReadMasks(dib, masks);
    if (!masks[0] || !masks[1] || !masks[2]) return OWN_SIDE_NO_MASK;
    for (int c = 0; c < 3; ++c) side->field[c] = ownFieldOf(masks[2 - c]);
    if (!wide) return OWN_SIDE_SET;
    side->field[3] = ownFieldOf(ownAlphaMask(side->field));
    const bool isBytes = masks[0] == 0xFF0000 && masks[1] == 0xFF00 && masks[2] == 0xFF;
    side->form = isBytes ? OWN_FORM_FOUR8 : OWN_FORM_FIELDS32;
    return OWN_SIDE_SET;
}

/* ---- Sides ------------------------------------------------------------------------------------------------------- */

static OwnSideEnd ownSetForm(const OwnDib& dib, OwnPixels* side)
{
    switch (dib.info.biBitCount) {
    case 1: side->form = OWN_FORM_INDEX1; break;
    case 4: side->form = OWN_FORM_INDEX4; break;
    case 8: side->form = OWN_FORM_INDEX8; break;
    case 24: side->form = OWN_FORM_THREE8; break;
    case 16:
    case 32: return ownSetFields(dib, side);
    default: return OWN_SIDE_NO_FORM;
    }
    return OWN_SIDE_SET;
}

OwnSideEnd ownDibSide(const OwnDib& dib, uint8_t* pixels, OwnPixels* side)
{
    const int bitCount = dib.info.biBitCount;
    side->nPlanes = 0;
    side->view = {};
    side->view.data = pixels;
    side->view.sampleBits = bitCount;
    side->view.width = std::max<int32_t>(dib.info.biWidth, 0);
    side->view.height = std::max(ownDibHeight(dib.info), 0);
    side->view.pixelStep = 1;
    side->view.rowStep = (ptrdiff_t)ownDibRowBytes(dib.info.biWidth, bitCount);
    if (dib.info.biHeight > 0) side->view = ownReversed(side->view);
    return ownSetForm(dib, side);
}

/* The form of some channels of some bits, all known pairs. */
static bool ownImageForm(const VekImage* image, OwnPixels* side)
{
    const int32_t nChannels = image->nChannels;
    const bool narrow = image->depth == VEK_DEPTH_8U;
    side->nPlanes = nChannels;
    side->form = OWN_FORM_BITS;
    if (nChannels == 1 && image->depth == VEK_DEPTH_1U) return true;
    if (!narrow && image->depth != VEK_DEPTH_16U) return false;
    if (nChannels != 1 && nChannels != 3 && nChannels != 4) return false;
    if (nChannels == 1 || image->dataOrder == VEK_DATA_ORDER_PLANE_WISE)
        side->form = narrow ? OWN_FORM_PLANES8 : OWN_FORM_PLANES16;
    else if (nChannels == 3) side->form = narrow ? OWN_FORM_THREE8 : OWN_FORM_THREE16;
    else side->form = narrow ? OWN_FORM_FOUR8 : OWN_FORM_FOUR16;
    return true;
}

bool ownImageSide(const VekImage* image, int32_t height, OwnPixels* side)
{
    if (!ownImageForm(image, side)) return false;
    const bool isPlanes = image->dataOrder == VEK_DATA_ORDER_PLANE_WISE;
    OwnView& view = side->view;
    view = {};
    view.data = image->imageData;
    view.sampleBits = ownSampleBits(image->depth);
    view.width = image->width;
    view.height = height;
    view.pixelStep = isPlanes ? 1 : image->nChannels;
    view.rowStep = (ptrdiff_t)ownRowBytes(image, image->width);
    view.channelStep = isPlanes ? image->height * view.rowStep : view.sampleBits >> 3;
    if (image->origin == VEK_ORIGIN_BOTTOM_LEFT) view = ownReversed(view);
    return true;
}
