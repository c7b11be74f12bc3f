#include "spectra.h"

#include "scene.h"

#include <algorithm>
#include <cmath>
#include <vector>

/* A packed spectrum of one channel, with a region, since transforms of one channel want one on both sides. */
struct Spectrum {
    Image image;
    VekROI roi;

    Spectrum(int32_t width, int32_t height)
        : image(makeImage(1, VEK_DEPTH_32F, width, height)), roi{1, 0, 0, width, height}
    {
        if (image) image->roi = &roi;
    }
    float& at(int32_t x, int32_t y) { return ((float*)(image->imageData + y * (ptrdiff_t)image->widthStep))[x]; }
};

/* Where the real and the imaginary part of X[u, v] stand, for 0 <= u <= W / 2: the same place twice for a number that
 * is real. The second half of a real column is the first half's conjugate. */
struct Places {
    int32_t xRe, yRe, xIm, yIm;
};
static Places placesOf(int32_t u, int32_t v, int32_t width, int32_t height)
{
    if (u > 0 && 2 * u < width) return {2 * u - 1, v, 2 * u, v};
    const int32_t x = u == 0 ? 0 : width - 1, k = std::min(v, height - v);
    if (k == 0 || 2 * k == height) return {x, k ? height - 1 : 0, x, k ? height - 1 : 0};
    return {x, 2 * k - 1, x, 2 * k};
}

/* Calls visit(spectrum, channel) for each channel of the image's region, with a header whose region names it. */
template <class F> static void eachChannel(VekImage* image, F visit)
{
    VekImage view = *image;
    VekROI roi = image->roi ? *image->roi : VekROI{0, 0, 0, image->width, image->height};
    view.roi = &roi;
    Spectrum spectrum(roi.width, roi.height);
    if (!spectrum.image) return (void)vekError(VEK_StatusNoMemory, "spectrum", "no room for it", "vekdemo", 0);
    const int32_t only = roi.coi;
    for (roi.coi = only ? only : 1; roi.coi <= (only ? only : image->nChannels); ++roi.coi) {
        vekRealFft2D(&view, spectrum.image.get(), VEK_FFT_FORWARD);
        visit(spectrum, view);
    }
}

void drawSpectrum(VekImage* image)
{
    eachChannel(image, [](Spectrum& spectrum, VekImage& view) {
        const VekROI& roi = *view.roi;
        const int32_t w = roi.width, h = roi.height;
        const auto place = [&](int32_t x, int32_t y) -> float& {
            float* row = (float*)(view.imageData + (roi.yOffset + y) * (ptrdiff_t)view.widthStep);
            return row[(roi.xOffset + x) * view.nChannels + roi.coi - 1];
        };
        float most = 1e-6f;
        for (int32_t v = 0; v < h; ++v)
            for (int32_t u = 0; u <= w / 2; ++u) {
                const Places at = placesOf(u, v, w, h);
                const float re = spectrum.at(at.xRe, at.yRe);
                const float im = at.xRe == at.xIm && at.yRe == at.yIm ? 0.0f : spectrum.at(at.xIm, at.yIm);
                const float value = std::log1p(std::hypot(re, im));
                most = std::max(most, value);
                place((u + w / 2) % w, (v + h / 2) % h) = value;
                place((w - u + w / 2) % w, (2 * h - v + h / 2) % h) = value; /* the conjugate */
            }
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x) place(x, y) *= 255 / most;
    });
}

void keepLowFrequencies(VekImage* image, float r)
{
    eachChannel(image, [=](Spectrum& spectrum, VekImage& view) {
        const int32_t w = spectrum.roi.width, h = spectrum.roi.height;
        Spectrum filter(w, h); /* its own spectrum is real */
        if (!filter.image) return (void)vekError(VEK_StatusNoMemory, "lowpass", "no room for it", "vekdemo", 0);
        for (int32_t v = 0; v < h; ++v)
            for (int32_t u = 0; u <= w / 2; ++u) {
                const Places at = placesOf(u, v, w, h);
                const float y = (float)std::min(v, h - v), f2 = (float)u * (float)u + y * y;
                filter.at(at.xRe, at.yRe) = std::exp(-f2 / std::max(2 * r * r, 1e-6f));
            }
        vekMpyRCPack2D(spectrum.image.get(), filter.image.get(), spectrum.image.get());
        vekCcsFft2D(spectrum.image.get(), &view, VEK_FFT_INVERSE);
    });
}
