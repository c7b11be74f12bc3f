/* vekfft2d: between a real image and its packed spectrum.
 *
 *   vekRealFft2D  X[u, v] = s * sum over x, y of f[x, y] exp(-+2 pi i (u x / W + v y / H)), f real, X stored packed
 *   vekCcsFft2D   f[x, y] = s * sum over u, v of X[u, v] exp(-+2 pi i (u x / W + v y / H)), X read packed, f real
 *
 * with the exponent's minus sign for forward and plus for inverse; s is 1 / (W H) for a scaled inverse, otherwise 1. */
#include "ownspectrum.h"

#include "../frame/ownthread.h"

/* ---- Tests ----------------------------------------------------------------------------------------------------- */

/* Images of which nothing is left to transform, without a report. */
static bool ownHasAlphaOnly(const VekImage* image)
{
    if (image->alphaChannel <= 0) return false;
    return image->nChannels == 1 || (image->roi && image->roi->coi == image->alphaChannel);
}

/* The tests of both transforms; true when there is something to transform. */
static bool ownSpectrumTests(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, int32_t flags)
{
    OWN_REFUSE_IF((flags & 1) == 0 && (flags & 2 ) == 0, false);
    OWN_REFUSE_IF((flags & 1) != 0 && (flags & 2 ) != 0, false);
    OWN_REFUSE_IF((flags & 32) != 0 && (flags & 16 ) != 0, false);

    OWN_REFUSE_IF(srcImage==0, false);
    OWN_REFUSE_HEADER(srcImage, false);
    OWN_REFUSE_IF(srcImage->alphaChannel > 0 && srcImage->alphaChannel != srcImage->nChannels, false);
    OWN_REFUSE_IF(srcImage->depth == 1, false);
    OWN_REFUSE_IF(srcImage->imageData == ((void*)(0)), false);
    OWN_REFUSE_IF(dstImage==0, false);
    OWN_REFUSE_HEADER(dstImage, false);
    OWN_REFUSE_IF(dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels, false);
    OWN_REFUSE_IF(dstImage->depth == 1, false);
    OWN_REFUSE_IF(dstImage->imageData == ((void*)(0)), false);
    if (ownHasAlphaOnly(srcImage) || ownHasAlphaOnly(dstImage)) return false;

    if (dstImage->roi) {
        OWN_REFUSE_IF(dstImage->roi->coi > 0 && srcImage->roi == 0, false);
        OWN_REFUSE_IF(dstImage->roi->coi > 0 && srcImage->roi->coi == 0, false);
    }
    if (srcImage->roi) {
        OWN_REFUSE_IF(srcImage->roi->coi > 0 && dstImage->roi == 0, false);
        OWN_REFUSE_IF(srcImage->roi->coi > 0 && dstImage->roi->coi == 0, false);
    }
    if (!ownChannels(srcImage).single)
        OWN_REFUSE_IF((srcImage->nChannels - (srcImage->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0)), false);
    return true;
}

/* ---- The two paths --------------------------------------------------------------------------------------------- */

/* Whether 64 bits hold every sum of products: a sample with its fraction, times a 16-bit table, as many times as there
 * are pixels, and a little more. */
static bool ownWholesFit(const VekImage* image, int64_t area)
{
    return ownSampleBits(image->depth) + 6 + 14 + std::bit_width((uint64_t)area) + 2 < 63;
}

/* The integer path is for small images, unless the caller asks for one of the two. */
static bool ownTakesWholes(const VekImage* srcImage, const VekImage* dstImage, int64_t area, int32_t flags)
{
    if (srcImage->depth == VEK_DEPTH_32F || dstImage->depth == VEK_DEPTH_32F) return false;
    if (!ownWholesFit(srcImage, area)) return false;
    if (flags & VEK_FFT_INTEGER) return true;
    if ((flags & VEK_FFT_FLOAT) || srcImage->depth == VEK_DEPTH_32S) return false;
    return area <= 128;
}

/* All channels by one of the paths. Nothing is written unless all that is needed could be had. */
template <class Path>
static bool ownTransformChannels(const OwnSpectrum& spectrum, const VekImage* srcImage, const VekImage* dstImage)
{
    Path path = {};
    if (!ownSpectrumPrepare(spectrum, &path)) return false;
    const OwnView src = ownView(srcImage), dst = ownView(dstImage);
    const OwnChannels srcChannels = ownChannels(srcImage), dstChannels = ownChannels(dstImage);
    for (int32_t i = 0; i < srcChannels.count; ++i)
        ownSpectrumRun(spectrum, path, ownPlane(srcImage, src, srcChannels.first + i),
                       ownPlane(dstImage, dst, dstChannels.first + i));
    return true;
}

static void ownTransform(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, int32_t flags,
                         bool toPacked)
{
    VekThreadContext* context = vekGetThreadContext();
    if (flags & VEK_FFT_RELEASE) return ownFftRelease(context);
    if (!ownSpectrumTests(face, srcImage, dstImage, flags)) return;
    OWN_REFUSE_TEXT_IF(ownChannels(srcImage).count != ownChannels(dstImage).count, "Error in input data");

    const OwnView src = ownView(srcImage), dst = ownView(dstImage);
    const int32_t width = std::min(src.width, dst.width), height = std::min(src.height, dst.height);
    if (width == 0 || height == 0) return;
    const bool isForward = flags & VEK_FFT_FORWARD;
    const OwnSpectrum spectrum = {
        width, height, toPacked, isForward, !isForward && !(flags & VEK_FFT_UNSCALED), &context->fftCache};
    const bool takesWholes = ownTakesWholes(srcImage, dstImage, (int64_t)width * height, flags);
    const auto transform = takesWholes ? ownTransformChannels<OwnSpectrumWholes>
                                       : ownTransformChannels<OwnSpectrumReals>;
    if (transform(spectrum, srcImage, dstImage)) return;
    ownFftRelease(context); /* tables of other lengths may be what stands in the way */
    if (transform(spectrum, srcImage, dstImage)) return;
    ownFail(face, VEK_StatusNoMemory, "No working memory", __LINE__);
}

/* ---- Faces ----------------------------------------------------------------------------------------------------- */

void vekRealFft2D(const VekImage* srcImage, VekImage* dstImage, int32_t flags)
{
    OWN_FACE("vekRealFft2D", "vekfft2d");
    ownTransform(face, srcImage, dstImage, flags, true);
}

void vekCcsFft2D(const VekImage* srcImage, VekImage* dstImage, int32_t flags)
{
    OWN_FACE("vekCcsFft2D", "vekfft2d");
    ownTransform(face, srcImage, dstImage, flags, false);
}
