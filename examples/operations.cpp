/* operations: the table. A new operation of the library is one more row. */
#include "operations.h"

#include "colours.h"
#include "spectra.h"
#include "tones.h"
#include "warps.h"

#include "scene.h"

#include <string.h>

typedef const VekImage* In;
typedef VekImage* Out;
typedef const Numbers& N;

/* A filter that can't work in place, on a copy of its picture. */
typedef void (*RankFilter)(const VekImage*, VekImage*, int32_t, int32_t, int32_t, int32_t);
static void runRank(RankFilter filter, Out picture, N n)
{
    VekImage* copy = vekCloneImage(picture);
    if (!copy) return;
    const int32_t side = n.whole();
    filter(copy, picture, side, side, side / 2, side / 2);
    vekDeallocate(copy, VEK_IMAGE_HEADER | VEK_IMAGE_DATA | VEK_IMAGE_ROI);
}

/* Each channel as bits and back as two greys. The bits are of the whole picture; the settings say what of it is kept. */
template <class ToBits> static void throughBits(In src, Out dst, int32_t zero, int32_t one, ToBits toBits)
{
    const Image bits = makeImage(1, VEK_DEPTH_1U, src->width, src->height);
    const Image grey = makeImage(1, VEK_DEPTH_8U, src->width, src->height);
    if (!bits || !grey) return;
    bits->origin = grey->origin = src->origin;
    VekROI part = *dst->roi, where = part;
    part.coi = 0;
    VekImage from = *src;
    VekROI whole = {0, 0, 0, src->width, src->height};
    from.roi = &whole;
    from.maskROI = nullptr;
    const int32_t first = where.coi ? where.coi : 1, last = where.coi ? where.coi : src->nChannels;
    grey->roi = &part;
    for (int32_t channel = first; channel <= last; ++channel) {
        whole.coi = channel;
        toBits(&from, bits.get());
        vekBitonalToGray(bits.get(), grey.get(), zero, one);
        VekImage to = *dst;
        where.coi = channel;
        to.roi = &where;
        vekCopy(grey.get(), &to);
    }
}

/* One 3 by 3 kernel, its sums shifted; two of them, and the length of what they give. */
static void convolve(Out picture, const int32_t values[9], int32_t shift)
{
    VekConvKernel* kernel = vekCreateConvKernel(3, 3, 1, 1, values, shift);
    if (!kernel) return;
    vekConvolve2D(picture, picture, &kernel, 1, COMBINE_ADD);
    vekDeleteConvKernel(kernel);
}
static void sharpen(In, In, Out picture, N)
{
    const int32_t values[9] = {-1, -1, -1, -1, 16, -1, -1, -1, -1};
    convolve(picture, values, 3);
}
static void convolveGiven(In, In, Out picture, N n)
{
    int32_t values[9];
    for (int i = 0; i < 9; ++i) values[i] = (int32_t)n.values[(size_t)i];
    convolve(picture, values, 0);
}
static void findEdges(In, In, Out picture, N)
{
    const int32_t across[9] = {1, 0, -1, 2, 0, -2, 1, 0, -1}, down[9] = {1, 2, 1, 0, 0, 0, -1, -2, -1};
    VekConvKernel* kernel[2] = {vekCreateConvKernel(3, 3, 1, 1, across, 0), vekCreateConvKernel(3, 3, 1, 1, down, 0)};
    if (kernel[0] && kernel[1]) vekConvolve2D(picture, picture, kernel, 2, COMBINE_ROOT_OF_SQUARES);
    for (VekConvKernel* made : kernel)
        if (made) vekDeleteConvKernel(made);
}

/* Fewer bits: the picture in 16 bits, and from there with noise and a dither to fewer levels of 8. */
static void reduceBits(Out picture, int32_t jitterType, int32_t ditherType, int32_t levels)
{
    const VekROI part = *picture->roi;
    const Image wide = makeImage(picture->nChannels, VEK_DEPTH_16U, picture->width, picture->height);
    const Image reduced = makeImage(picture->nChannels, VEK_DEPTH_8U, picture->width, picture->height);
    if (!wide || !reduced) return;
    for (const Image* image : {&wide, &reduced}) {
        (*image)->origin = picture->origin;
        memcpy((*image)->colorModel, picture->colorModel, sizeof(picture->colorModel));
        memcpy((*image)->channelSeq, picture->channelSeq, sizeof(picture->channelSeq));
    }
    VekImage all = *picture;
    all.roi = nullptr;
    all.maskROI = nullptr;
    vekConvert(&all, wide.get());
    vekMultiplyS(wide.get(), wide.get(), 257);
    vekReduceBits(wide.get(), reduced.get(), jitterType, ditherType, levels);
    VekROI where = part;
    reduced->roi = &where;
    vekCopy(reduced.get(), picture);
}

/* clang-format off */
const Operation operations[] = {
    {"invert",   ONE_PICTURE,  0, "NOT src",           "invert",        [](In a, In, Out d, N) { vekNot(a, d); }},
    {"square",   ONE_PICTURE,  0, "src * src",         "square",        [](In a, In, Out d, N) { vekSquare(a, d); }},
    {"abs",      AS_SIGNED,    0, "|src|, src signed", "abs",           [](In a, In, Out d, N) { vekAbs(a, d); }},
    {"adds",     ONE_PICTURE,  1, "src + n",           "adds:60",       [](In a, In, Out d, N n) { vekAddS(a, d, n.whole()); }},
    {"subs",     ONE_PICTURE,  1, "src - n",           "subs:60",       [](In a, In, Out d, N n) { vekSubtractS(a, d, n.whole(), 0); }},
    {"rsubs",    ONE_PICTURE,  1, "n - src",           "rsubs:200",     [](In a, In, Out d, N n) { vekSubtractS(a, d, n.whole(), 1); }},
    {"muls",     ONE_PICTURE,  1, "src * n",           "muls:2",        [](In a, In, Out d, N n) { vekMultiplyS(a, d, n.whole()); }},
    {"ands",     ONE_PICTURE,  1, "src AND n",         "ands:0xC0",     [](In a, In, Out d, N n) { vekAndS(a, d, n.bits()); }},
    {"ors",      ONE_PICTURE,  1, "src OR n",          "ors:0x70",      [](In a, In, Out d, N n) { vekOrS(a, d, n.bits()); }},
    {"xors",     ONE_PICTURE,  1, "src XOR n",         "xors:0x80",     [](In a, In, Out d, N n) { vekXorS(a, d, n.bits()); }},
    {"lshifts",  ONE_PICTURE,  1, "src << n",          "lshifts:2",     [](In a, In, Out d, N n) { vekLShiftS(a, d, n.bits()); }},
    {"rshifts",  ONE_PICTURE,  1, "src >> n",          "rshifts:1",     [](In a, In, Out d, N n) { vekRShiftS(a, d, n.bits()); }},
    {"addsfp",   AS_FLOAT,     1, "src + n, in 32F",   "addsfp:-40.5",  [](In a, In, Out d, N n) { vekAddSFP(a, d, n.real()); }},
    {"subsfp",   AS_FLOAT,     1, "src - n, in 32F",   "subsfp:-40.5",  [](In a, In, Out d, N n) { vekSubtractSFP(a, d, n.real(), 0); }},
    {"rsubsfp",  AS_FLOAT,     1, "n - src, in 32F",   "rsubsfp:220.5", [](In a, In, Out d, N n) { vekSubtractSFP(a, d, n.real(), 1); }},
    {"mulsfp",   AS_FLOAT,     1, "src * n, in 32F",   "mulsfp:1.4",    [](In a, In, Out d, N n) { vekMultiplySFP(a, d, n.real()); }},
    {"flip:h",   ONE_PICTURE,  0, "columns reversed",  "flip:h",        [](In a, In, Out d, N) { vekMirror(a, d, 1); }},
    {"flip:v",   ONE_PICTURE,  0, "rows reversed",     "flip:v",        [](In a, In, Out d, N) { vekMirror(a, d, 0); }},
    {"flip:hv",  ONE_PICTURE,  0, "both reversed",     "flip:hv",       [](In a, In, Out d, N) { vekMirror(a, d, -1); }},
    {"set",      ONE_PICTURE,  1, "n",                 "coi:2,set:0",   [](In, In, Out d, N n) { vekSet(d, n.whole()); }},
    {"threshold",ONE_PICTURE,  1, "src >= n: 255 or 0","threshold:128", [](In a, In, Out d, N n) { vekThreshold(a, d, n.whole()); }},
    {"tobits",   ONE_PICTURE,  0, "src > 0: white",    "subs:60,tobits",[](In a, In, Out d, N) { throughBits(a, d, 0, 255, vekConvert); }},
    {"togray1",  ONE_PICTURE,  1, "src >= n as 1 bit: light or dark grey", "togray1:100",
                                                                        [](In a, In, Out d, N n) { throughBits(a, d, 64, 192, [&](In s, Out b) { vekThreshold(s, b, n.whole()); }); }},
    {"equalize", ONE_PICTURE,  0, "levels spread",     "subs:90,equalize", [](In, In, Out d, N) { equalizePicture(d); }},
    {"stretch",  ONE_PICTURE,  2, "lo..hi to 0..255",  "stretch:60:160", [](In, In, Out d, N n) { stretchPicture(d, n.whole(), (int32_t)n.values[1]); }},
    {"histogram",ONE_PICTURE,  0, "counts of levels",  "histogram",     [](In, In, Out d, N) { drawHistogram(d); }},
    {"moments",  ONE_PICTURE,  0, "centre and spread", "subs:200,moments", [](In, In, Out d, N) { drawMoments(d); }},
    {"copy",     TWO_PICTURES, 0, "second",            "roi:64:48:128:96,copy", [](In, In b, Out d, N) { vekCopy(b, d); }},
    {"add",      TWO_PICTURES, 0, "src + second",      "add",           [](In a, In b, Out d, N) { vekAdd(a, b, d); }},
    {"sub",      TWO_PICTURES, 0, "src - second",      "sub",           [](In a, In b, Out d, N) { vekSubtract(a, b, d); }},
    {"mul",      TWO_PICTURES, 0, "src * second",      "mul",           [](In a, In b, Out d, N) { vekMultiply(a, b, d); }},
    {"and",      TWO_PICTURES, 0, "src AND second",    "and",           [](In a, In b, Out d, N) { vekAnd(a, b, d); }},
    {"or",       TWO_PICTURES, 0, "src OR second",     "or",            [](In a, In b, Out d, N) { vekOr(a, b, d); }},
    {"xor",      TWO_PICTURES, 0, "src XOR second",    "xor",           [](In a, In b, Out d, N) { vekXor(a, b, d); }},
    {"over",     TWO_PICTURES, 1, "second, alpha n, over src", "over:96", [](In a, In b, Out d, N n) { vekAlphaCompositeC(b, a, d, COMPOSITE_OVER, n.whole(), 255, 0, 0); }},
    {"spectrum", AS_FLOAT,     0, "log |spectrum|",    "spectrum",      [](In, In, Out d, N) { drawSpectrum(d); }},
    {"lowpass",  AS_FLOAT,     1, "below n waves",     "lowpass:12",    [](In, In, Out d, N n) { keepLowFrequencies(d, n.real()); }},
    {"max",      ONE_PICTURE,  1, "max of n x n",      "max:5",         [](In, In, Out d, N n) { runRank(vekMaxFilter, d, n); }},
    {"min",      ONE_PICTURE,  1, "min of n x n",      "min:5",         [](In, In, Out d, N n) { runRank(vekMinFilter, d, n); }},
    {"median",   ONE_PICTURE,  1, "median of n x n",   "median:7",      [](In, In, Out d, N n) { runRank(vekMedianFilter, d, n); }},
    {"erode",    ONE_PICTURE,  1, "min, side 2n + 1",  "erode:4",       [](In a, In, Out d, N n) { vekErode(a, d, n.whole()); }},
    {"dilate",   ONE_PICTURE,  1, "max, side 2n + 1",  "dilate:4",      [](In a, In, Out d, N n) { vekDilate(a, d, n.whole()); }},
    {"open",     ONE_PICTURE,  1, "erode, dilate",     "open:3",        [](In a, In, Out d, N n) { vekOpen(a, d, n.whole()); }},
    {"close",    ONE_PICTURE,  1, "dilate, erode",     "close:3",       [](In a, In, Out d, N n) { vekClose(a, d, n.whole()); }},
    {"blur",     ONE_PICTURE,  1, "mean of n x n",     "blur:9",        [](In a, In, Out d, N n) { vekBlur(a, d, n.whole(), n.whole(), n.whole() / 2, n.whole() / 2); }},
    {"sharpen",  ONE_PICTURE,  0, "16 amid -1s, / 8",  "sharpen",       sharpen},
    {"edges",    ONE_PICTURE,  0, "length of gradient", "edges",        findEdges},
    {"conv",     ONE_PICTURE,  9, "3 x 3 kernel",      "conv:2:1:0:1:1:-1:0:-1:-2", convolveGiven},
    {"dither",   ONE_PICTURE,  2, "n high bits by dither k", "dither:1:2", [](In, In, Out d, N n) { reduceBits(d, 0, (int32_t)n.values[1], n.whole()); }},
    {"noise",    ONE_PICTURE,  2, "n high bits, noise k", "noise:2:6", [](In, In, Out d, N n) { reduceBits(d, (int32_t)n.values[1], 16, n.whole()); }},
    {"rotate",   ONE_PICTURE,  1, "turned n degrees",  "rotate:30",     [](In, In, Out d, N n) { turnPicture(d, n.values[0]); }},
    {"warp",     ONE_PICTURE,  6, "affine, c0 .. c5",  "warp:0.9:0.3:-20:-0.2:0.8:45", [](In, In, Out d, N n) { warpPicture(d, n.values); }},
    {"quad",     ONE_PICTURE,  8, "onto x0:y0 .. x3:y3", "quad:40:20:200:5:215:150:10:120", [](In, In, Out d, N n) { bendPicture(d, n.values); }},
    {"resize",   ONE_PICTURE,  3, "to w x h by mode",  "resize:90:60:3", [](In, In, Out d, N n) { resizePicture(d, n.whole(), (int32_t)n.values[1], (int32_t)n.values[2]); }},
    {"hsv",      ONE_PICTURE,  2, "hue + n degrees, saturation * n", "hsv:120:1.5", [](In, In, Out d, N n) { turnHues(d, n.values[0], n.values[1]); }},
    {"gray",     ONE_PICTURE,  0, "weighted sum",      "gray",          [](In, In, Out d, N) { takeColourOut(d); }},
    {"ycrcb",    ONE_PICTURE,  0, "Y, Cb, Cr",         "ycrcb",         [](In, In, Out d, N) { showLumaAndChroma(d); }},
    {"twist",    ONE_PICTURE,  12, "3 rows of 3 factors and an offset", "twist:.13:.53:.27:0:.17:.69:.35:0:.19:.77:.39:0", [](In, In, Out d, N n) { twistColours(d, n.values); }},
};
/* clang-format on */

const int nOperations = (int)(sizeof(operations) / sizeof(operations[0]));

const Operation* findOperation(const std::string& name)
{
    for (const Operation& operation : operations)
        if (name == operation.name) return &operation;
    return nullptr;
}
