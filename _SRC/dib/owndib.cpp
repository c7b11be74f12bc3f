/* owndib: where the parts of a bitmap are, and the tests of its header. */
#include "owndib.h"

static int64_t ownTableCount(const BITMAPINFOHEADER& info)
{
    switch (info.biBitCount) {
    case 1:
    case 4:
    case 8: return info.biClrUsed ? info.biClrUsed : 1 << info.biBitCount;
    case 16:
    case 32:
        if (info.biCompression == OWN_DIB_PLAIN) return 0;
        return info.biCompression == OWN_DIB_FIELDS ? 3 : (int64_t)info.biClrUsed;
    case 24: return 0;
    }
    return info.biClrUsed;
}

OwnDib ownOpenDib(const BITMAPINFOHEADER* dib)
{
    OwnDib parts;
    memcpy(&parts.info, (const void*)dib, sizeof(parts.info));
    parts.table = (uint8_t*)const_cast<BITMAPINFOHEADER*>(dib) + sizeof(parts.info);
    parts.count = ownTableCount(parts.info);
    parts.pixels = parts.table;
    if (parts.count <= OWN_DIB_MOST_ENTRIES) parts.pixels += 4 * (ptrdiff_t)parts.count;
    return parts;
}

bool ownDibPasses(const OwnFace& face, const BITMAPINFOHEADER* dib)
{
    OWN_REFUSE_IF((dib->biPlanes != 1), false);
    OWN_REFUSE_IF((dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3), false);
    OWN_REFUSE_IF((dib->biBitCount != 8) && (dib->biCompression == 1), false);
    OWN_REFUSE_IF((dib->biBitCount != 4) && (dib->biCompression == 2), false);
    OWN_REFUSE_IF((dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) ), false);
    return true;
}

bool ownSizedDibPasses(const OwnFace& face, const BITMAPINFOHEADER* dib)
{
    OWN_REFUSE_IF((dib->biSize != sizeof(BITMAPINFOHEADER)), false);
    return ownDibPasses(face, dib);
}

bool ownDibIsGray(const OwnDib& dib)
{
    if (dib.count < 2) return false;
    for (int64_t i = 0; i < dib.count; ++i) {
        const uint8_t gray = (uint8_t)(i * 255 / (dib.count - 1)), *entry = dib.table + 4 * i;
        if (entry[0] != gray || entry[1] != gray || entry[2] != gray) return false;
    }
    return true;
}

void ownDibEnd(const OwnFace& face)
{
    if (vekGetErrStatus() >= 0) ownFail(face, VEK_StatusInternal, "", __LINE__);
}

OwnSequence ownSequence(const VekImage* image)
{
    static const struct {
        char text[5];
        OwnSequence sequence;
    } known[] = {{"G\0\0\0", OWN_SEQ_GRAY}, {"GRAY", OWN_SEQ_GRAY}, {"BGR\0", OWN_SEQ_BGR},
                 {"BGRA", OWN_SEQ_BGR},     {"RGB\0", OWN_SEQ_RGB}, {"RGBA", OWN_SEQ_RGB}};
    for (const auto& row : known)
        if (!memcmp(image->channelSeq, row.text, 4)) return row.sequence;
    return OWN_SEQ_OTHER;
}
