/* vekcolor: the conversions between RGB and other colour models. What each of them computes stands in the model's module,
 * what they test and how they find pixels in the family's frame. */
#include "owncolor.h"

#define OWN_DEPTHS_OF_HUES "Error input depth. 32S,16U,8U are valid now"
#define OWN_DEPTHS_OF_SUMS "Error input depth. 32F, 32S ,16U,8U are valid now"
#define OWN_DEPTHS_OF_YUV "Error input depth. 32F, 32S ,16S,8S are valid now"
#define OWN_DEPTHS_OF_LUV "Error input depth. 32F is valid now"
#define OWN_DEPTHS_OF_YCC "Error input depth. 8U is valid now"

/* clang-format off */
static const OwnModel
    ownRgbToHsv = {"vekRGB2HSV",   "ownhsv",   "HSV", ownRgbToHsvRows, nullptr,                OWN_DEPTHS_OF_HUES, true},
    ownHsvToRgb = {"vekHSV2RGB",   "ownhsv",   "HSV", ownHsvToRgbRows, nullptr,                OWN_DEPTHS_OF_HUES, true},
    ownRgbToHls = {"vekRGB2HLS",   "ownhls",   "HLS", ownRgbToHlsRows, nullptr,                OWN_DEPTHS_OF_HUES, true},
    ownHlsToRgb = {"vekHLS2RGB",   "ownhls",   "HLS", ownHlsToRgbRows, nullptr,                OWN_DEPTHS_OF_HUES, true},
    ownRgbToXyz = {"vekRGB2XYZ",   "ownxyz",   "XYZ", ownRgbToXyzRows, nullptr,                OWN_DEPTHS_OF_SUMS, true},
    ownXyzToRgb = {"vekXYZ2RGB",   "ownxyz",   "XYZ", ownXyzToRgbRows, nullptr,                OWN_DEPTHS_OF_SUMS, true},
    ownRgbToYuv = {"vekRGB2YUV",   "ownyuv",   "YUV", ownRgbToYuvRows, nullptr,                OWN_DEPTHS_OF_YUV,  false},
    ownYuvToRgb = {"vekYUV2RGB",   "ownyuv",   "YUV", ownYuvToRgbRows, ownYuvToRgbUnequalRows, OWN_DEPTHS_OF_YUV,  false},
    ownRgbToYCr = {"vekRGB2YCrCb", "ownycrcb", "YCr", ownRgbToYCrRows, nullptr,                OWN_DEPTHS_OF_SUMS, true},
    ownYCrToRgb = {"vekYCrCb2RGB", "ownycrcb", "YCr", ownYCrToRgbRows, nullptr,                OWN_DEPTHS_OF_SUMS, true},
    ownYccToRgb = {"vekYCC2RGB",   "ownycc",   "YCC", ownYccToRgbRows, nullptr,                OWN_DEPTHS_OF_YCC,  true},
    ownRgbToLuv = {"vekRGB2LUV",   "ownluv",   "LUV", ownRgbToLuvRows, nullptr,                OWN_DEPTHS_OF_LUV,  true},
    ownLuvToRgb = {"vekLUV2RGB",   "ownluv",   "LUV", ownLuvToRgbRows, nullptr,                OWN_DEPTHS_OF_LUV,  true};

void vekRGB2HSV(const VekImage* srcImage, VekImage* dstImage)   { ownRgbToModel(ownRgbToHsv, srcImage, dstImage); }
void vekHSV2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownHsvToRgb, srcImage, dstImage); }
void vekRGB2HLS(const VekImage* srcImage, VekImage* dstImage)   { ownRgbToModel(ownRgbToHls, srcImage, dstImage); }
void vekHLS2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownHlsToRgb, srcImage, dstImage); }
void vekRGB2XYZ(const VekImage* srcImage, VekImage* dstImage)   { ownRgbToModel(ownRgbToXyz, srcImage, dstImage); }
void vekXYZ2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownXyzToRgb, srcImage, dstImage); }
void vekRGB2YUV(const VekImage* srcImage, VekImage* dstImage)   { ownRgbToModel(ownRgbToYuv, srcImage, dstImage); }
void vekYUV2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownYuvToRgb, srcImage, dstImage); }
void vekRGB2YCrCb(const VekImage* srcImage, VekImage* dstImage) { ownRgbToModel(ownRgbToYCr, srcImage, dstImage); }
void vekYCrCb2RGB(const VekImage* srcImage, VekImage* dstImage) { ownModelToRgb(ownYCrToRgb, srcImage, dstImage); }
void vekYCC2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownYccToRgb, srcImage, dstImage); }
void vekRGB2LUV(const VekImage* srcImage, VekImage* dstImage)   { ownRgbToModel(ownRgbToLuv, srcImage, dstImage); }
void vekLUV2RGB(const VekImage* srcImage, VekImage* dstImage)   { ownModelToRgb(ownLuvToRgb, srcImage, dstImage); }
/* clang-format on */

/* ---- Gray ------------------------------------------------------------------------------------------------------ */

/* The run of the gray pair's tables for planes of 16-bit colours as 8-bit gray has an order of samples of its own. */
void vekColorToGray(const VekImage* srcImage, VekImage* dstImage)
{
    OwnFace face = {"vekColorToGray", "owncolor"};
    if (ownRefuseColourImages(face, srcImage, dstImage)) return;
    if (ownRefuseNotRgb(face, srcImage)) return;
    if (ownRefuseNotGray(face, dstImage)) return;
    OWN_REFUSE_TEXT_IF((dstImage->dataOrder == VEK_DATA_ORDER_PIXEL) && (dstImage->nChannels != 1),
                       "(dst-> dataOrder == VEK_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)");
    OWN_REFUSE_TEXT_IF(srcImage->origin != dstImage->origin, "src->origin != dst->origin");
    OWN_REFUSE_TEXT_IF(srcImage->nChannels < 3, "src->nChannels < 3");

    face.file = "Ownctog";
    const OwnPlaneRow& row = ownColorToGrayRows[ownSlot(srcImage->depth)][ownSlot(dstImage->depth)];
    OWN_REFUSE_TEXT_IF(!row.run, "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now");
    OwnColourPass pass = {srcImage, dstImage, ownRgbChannels(srcImage), {1, {0, 0, 0}}, row.run, nullptr, nullptr};
    const bool planes = srcImage->dataOrder != VEK_DATA_ORDER_PIXEL;
    if (planes && srcImage->depth == VEK_DEPTH_16U && dstImage->depth == VEK_DEPTH_8U) {
        pass.run = ownColorToGrayPlaneRow.run;
        pass.lastRun = ownColorToGrayLastRow.run;
    }
    if (!planes && srcImage->depth == VEK_DEPTH_32S && dstImage->depth == VEK_DEPTH_1U)
        pass.src = {3, {0, 1, 2}}; /* the first channel has the weight of red, whatever its letter */
    face.file = "owncolor";
    ownColourPass(face, pass);
}

/* scale * fraction, chopped to 32 bits. */
static int32_t ownWeight(double scale, float fraction)
{
    const double value = scale * fraction;
    return value > -9e18 && value < 9e18 ? (int32_t)(int64_t)value : 0;
}

/* The weights of red, green and blue for a depth of the colour image; fractions that come to nothing give those of the
 * inverse conversion. */
static OwnGrayWeights ownGrayWeights(uint32_t depth, float red, float green, float blue)
{
    const bool large = depth == VEK_DEPTH_32S || depth == VEK_DEPTH_16U;
    const double scale = large ? 32768 : 256;
    OwnGrayWeights k = {{ownWeight(scale, red), ownWeight(scale, green), ownWeight(scale, blue)}, large ? 15 : 8};
    const bool none = !((k.of[0] | k.of[1] | k.of[2]) & 0xFFFF);
    if (none && depth == VEK_DEPTH_32S) return {{6968, 23434, 2364}, 15};
    if (none && depth == VEK_DEPTH_16U) return {{109, 366, 37}, 9};
    if (none) return {{54, 183, 18}, 8};
    if (depth != VEK_DEPTH_32S)
        for (int32_t& weight : k.of) weight &= 0xFFFF;
    return k;
}

void vekGrayToColor(const VekImage* srcImage, VekImage* dstImage, float FractR, float FractG, float FractB)
{
    OwnFace face = {"vekGrayToColor", "owncolor"};
    if (ownRefuseColourImages(face, srcImage, dstImage)) return;
    if (ownRefuseNotRgb(face, dstImage)) return;
    if (ownRefuseNotGray(face, srcImage)) return;
    OWN_REFUSE_TEXT_IF(srcImage->depth != dstImage->depth && srcImage->depth != VEK_DEPTH_1U,
                       "src-> depth != dst-> depth && src-> depth != 1U");
    OWN_REFUSE_TEXT_IF(srcImage->depth != dstImage->depth && dstImage->depth != VEK_DEPTH_8U,
                       "src-> depth == dst-> depth && dst-> depth != 8U");
    OWN_REFUSE_TEXT_IF((srcImage->dataOrder == VEK_DATA_ORDER_PIXEL) && (srcImage->nChannels != 1),
                       "(src-> dataOrder == VEK_DATA_ORDER_PIXEL) && (src-> nChannels != 1)");
    OWN_REFUSE_TEXT_IF(srcImage->origin != dstImage->origin, "(src->origin != dst->origin)");
    OWN_REFUSE_TEXT_IF(dstImage->nChannels < 3, "dst->nChannels < 3");

    face.file = "Owngtoc";
    OwnPlaneRun* run = ownGrayToColorRows[ownSlot(srcImage->depth)].run;
    OWN_REFUSE_TEXT_IF(!run, "Error input depth. 32S,16U,8U are valid now");
    const OwnGrayWeights k = ownGrayWeights(dstImage->depth, FractR, FractG, FractB);
    face.file = "owncolor";
    ownColourPass(face, {srcImage, dstImage, {1, {0, 0, 0}}, ownRgbChannels(dstImage), run, nullptr, &k});
}
