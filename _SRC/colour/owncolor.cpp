/* owncolor: the frame of the colour conversions. Tests of the headers, which channel is red, and the way over the common
 * area of two images, or over the tiles of the destination. Regions and masks play no part. */
#include "owncolor.h"

#include <stdio.h>

/* ---- Tests ----------------------------------------------------------------------------------------------------- */

/* Whether a header's name begins with the three letters. */
static bool ownNamed(const char name[4], const char* letters) { return memcmp(name, letters, 3) == 0; }

/* Reports with a text into which the four bytes of names are put. */
static bool ownFailNamed(const OwnFace& face, const char* format, const char* first, const char* second = "")
{
    char text[96];
    snprintf(text, sizeof(text), format, first, second);
    ownFail(face, VEK_StatusBadArg, text, __LINE__);
    return true;
}

bool ownRefuseColourImages(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage)
{
    OWN_REFUSE_HEADER(srcImage, true);
    OWN_REFUSE_HEADER(dstImage, true);
    OWN_REFUSE_TEXT_IF(!srcImage || !dstImage, "null_image_pointer", true);
    OWN_REFUSE_TEXT_IF(!srcImage->imageData && !srcImage->tileInfo, "null_data_pointer", true);
    OWN_REFUSE_TEXT_IF(!dstImage->imageData && !dstImage->tileInfo, "null_data_pointer", true);
    return false;
}

bool ownRefuseNotRgb(const OwnFace& face, const VekImage* image)
{
    if (!ownNamed(image->colorModel, "RGB"))
        return ownFailNamed(face, "colorModel must be RGB instead of %.4s ", image->colorModel);
    if (!ownNamed(image->channelSeq, "RGB") && !ownNamed(image->channelSeq, "BGR"))
        return ownFailNamed(face, "channelSeq must be RGB or BGR instead of %.4s ", image->channelSeq);
    return false;
}

bool ownRefuseNotGray(const OwnFace& face, const VekImage* image)
{
    if (!ownNamed(image->colorModel, "GRAY") && !ownNamed(image->colorModel, "Gray"))
        return ownFailNamed(face, "colorModel must be GRAY instead of %.4s ", image->colorModel);
    if (image->channelSeq[0] != 'G')
        return ownFailNamed(face, "channelSeq must be G instead of %.4s ", image->channelSeq);
    return false;
}

static bool ownRefuseNotModel(const OwnFace& face, const char* name, const VekImage* image)
{
    if (!ownNamed(image->colorModel, name))
        return ownFailNamed(face, "src-> colorModel must be %.4s instead of %.4s", name, image->colorModel);
    if (!ownNamed(image->channelSeq, name))
        return ownFailNamed(face, "src-> channelSeq must be %.4s instead of %.4s", name, image->channelSeq);
    return false;
}

/* The common tests of two images of three channels. */
static bool ownRefuseShapes(const OwnFace& face, bool sameDepth, const VekImage* src, const VekImage* dst)
{
    OWN_REFUSE_TEXT_IF(src->roi || dst->roi, "src & dst roi must be NULL", true);
    const bool unlike = (src->nChannels < 3) || (dst->nChannels != 3) || (src->dataOrder != dst->dataOrder) ||
                        (src->origin != dst->origin);
    OWN_REFUSE_TEXT_IF(sameDepth && (unlike || (src->depth != dst->depth)),
                       "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "
                       "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)",
                       true);
    OWN_REFUSE_TEXT_IF(unlike,
                       "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || "
                       "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)",
                       true);
    return false;
}

/* ---- Channels -------------------------------------------------------------------------------------------------- */

/* Red, green and blue. The first letter tells which end is red; planes are named by their letters, if all three occur. */
OwnPlaneChannels ownRgbChannels(const VekImage* image)
{
    static const char letters[] = "RGB";
    const int32_t red = image->channelSeq[0] == 'R' ? 0 : 2;
    const OwnPlaneChannels byFirst = {3, {red, 1, 2 - red}};
    if (image->dataOrder == VEK_DATA_ORDER_PIXEL) return byFirst;

    OwnPlaneChannels named = {3, {-1, -1, -1}};
    for (int32_t i = 0; i < std::min(image->nChannels, 4); ++i)
        for (int c = 0; c < 3; ++c)
            if (image->channelSeq[i] == letters[c]) named.channel[c] = i;
    return named.channel[0] < 0 || named.channel[1] < 0 || named.channel[2] < 0 ? byFirst : named;
}

/* ---- The way over all pixels ------------------------------------------------------------------------------------ */

static void ownPassOver(const OwnColourPass& pass, const OwnView& src, const OwnView& dst, OwnPlaneRun* run)
{
    OwnPlanePass planes = {};
    planes.src.view = src;
    planes.src.nPlanes = pass.src.nPlanes;
    planes.dst.view = dst;
    planes.dst.nPlanes = pass.dst.nPlanes;
    for (int c = 0; c < 3; ++c) {
        planes.src.channel[c] = pass.src.channel[c];
        planes.dst.channel[c] = pass.dst.channel[c];
    }
    planes.width = std::min(src.width, dst.width);
    planes.height = std::min(src.height, dst.height);
    planes.run = run;
    planes.k = pass.k;
    ownPlanePass(planes);
}

static void ownPassOnce(const OwnColourPass& pass, const OwnView& src, const OwnView& dst)
{
    ownPassOver(pass, src, dst, pass.run);
    const int32_t width = std::min(src.width, dst.width);
    const auto lastColumn = [=](const OwnView& view) { return ownCrop(view, width - 1, 0, 1, view.height); };
    if (pass.lastRun && width % 2 != 0) ownPassOver(pass, lastColumn(src), lastColumn(dst), pass.lastRun);
}

/* One tile of the destination, or all of it: the source's pixels at the same place are brought into a block, unless they
 * are the tile's own. */
static void ownPassTile(const OwnFace& face, const OwnColourPass& pass, const VekImage& tile, int32_t x, int32_t y)
{
    OwnView dst = ownWholeView(&tile);
    dst.width = std::min(dst.width, pass.dstImage->width - x);
    dst.height = std::min(dst.height, pass.dstImage->height - y);
    if (pass.srcImage == pass.dstImage) return ownPassOnce(pass, dst, dst);

    int32_t rowBytes = 0;
    void* block = vekCopyRectBordered(pass.srcImage, x, y, dst.width, dst.height, &rowBytes);
    OWN_FAIL_IF(!block, VEK_StatusNoMemory, "Out of memory");
    const VekImage source = ownHeaderOn(pass.srcImage, block, dst.width, dst.height, rowBytes);
    ownPassOnce(pass, ownWholeView(&source), dst);
    vekFree(block);
}

/* The tiles of the destination, row by row. One that is not delivered ends its row, the first of a row ends the walk. */
static void ownPassTiles(const OwnFace& face, const OwnColourPass& pass)
{
    const VekImage* dst = pass.dstImage;
    const VekTileInfo& info = *dst->tileInfo;
    for (int32_t row = 0; row <= (dst->height - 1) / info.height; ++row)
        for (int32_t column = 0; column <= (dst->width - 1) / info.width; ++column) {
            info.callBack(dst, column, row, VEK_TILE_WRITE);
            if (!info.tileData && column == 0) return;
            if (!info.tileData) break;
            ownPassTile(face, pass, ownTileOf(dst), column * info.width, row * info.height);
            info.callBack(dst, column, row, VEK_TILE_RELEASE);
        }
}

void ownColourPass(const OwnFace& face, const OwnColourPass& pass)
{
    if (pass.dstImage->tileInfo) return ownPassTiles(face, pass);
    if (pass.srcImage->tileInfo) return ownPassTile(face, pass, *pass.dstImage, 0, 0);
    ownPassOnce(pass, ownWholeView(pass.srcImage), ownWholeView(pass.dstImage));
}

/* ---- Models ---------------------------------------------------------------------------------------------------- */

/* The run for the images' depths, or null after a report under the model's module. */
static OwnPlaneRun* ownModelRun(const OwnModel& model, const VekImage* srcImage, const VekImage* dstImage)
{
    const OwnFace face = {model.func, model.file};
    const bool equalSteps = srcImage->dataOrder != VEK_DATA_ORDER_PIXEL || srcImage->nChannels == dstImage->nChannels;
    const OwnPlaneRow* rows = equalSteps || !model.unequalRows ? model.rows : model.unequalRows;
    OwnPlaneRun* run = rows[ownSlot(srcImage->depth)].run;
    OWN_REFUSE_TEXT_IF(!run || ownSampleBits(srcImage->depth) != ownSampleBits(dstImage->depth), model.badDepth, nullptr);
    return run;
}

void ownRgbToModel(const OwnModel& model, const VekImage* srcImage, VekImage* dstImage)
{
    const OwnFace face = {model.func, "owncolor"};
    if (ownRefuseColourImages(face, srcImage, dstImage)) return;
    if (ownRefuseNotRgb(face, srcImage)) return;
    if (ownRefuseShapes(face, model.sameDepth, srcImage, dstImage)) return;

    const OwnPlaneChannels rgb = ownRgbChannels(srcImage); /* before dst, which may be src, gets another name */
    const char name[4] = {model.name[0], model.name[1], model.name[2], 0};
    memcpy(dstImage->colorModel, name, sizeof(name));
    memcpy(dstImage->channelSeq, name, sizeof(name));
    OwnPlaneRun* run = ownModelRun(model, srcImage, dstImage);
    if (!run) return;
    ownColourPass(face, {srcImage, dstImage, rgb, {3, {0, 1, 2}}, run, nullptr, nullptr});
}

void ownModelToRgb(const OwnModel& model, const VekImage* srcImage, VekImage* dstImage)
{
    const OwnFace face = {model.func, "owncolor"};
    if (ownRefuseColourImages(face, srcImage, dstImage)) return;
    if (ownRefuseNotModel(face, model.name, srcImage)) return;
    if (ownRefuseShapes(face, model.sameDepth, srcImage, dstImage)) return;

    OwnPlaneRun* run = ownModelRun(model, srcImage, dstImage);
    if (!run) return;
    ownColourPass(face, {srcImage, dstImage, {3, {0, 1, 2}}, ownRgbChannels(dstImage), run, nullptr, nullptr});
}
