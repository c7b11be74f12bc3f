/* ownblend: the traversal of a composition. It takes one kernel over the pixels of a group's block, and brings to it the
 * samples of two sources, the alphas that go with them, and which samples are written.
 *
 * Pixels that lie alike in both sources and the destination are taken whole: the kernel works straight from row to row,
 * and each alpha is repeated for all samples of its pixel. Otherwise channels are taken one after the other, gathered
 * where they don't lie side by side. What has to be gathered, repeated or merged for that goes through scratch, in chunks
 * of a row that fit the first-level cache; where nothing has to, runs are as long as the headers allow. An alpha is read
 * once for all channels of its pixel, before the first of them is written. */
#include "ownrow.h"
#include "ownsimd.h"

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

/* Each of n samples, stepBytes apart, `times` times in a row; a template argument of 0 leaves `times` open. */
template <class T, int fixed>
static void ownRepeatRun(T* out, const uint8_t* src, ptrdiff_t stepBytes, int times, ptrdiff_t n)
{
    const int count = fixed ? fixed : times;
    for (ptrdiff_t i = 0; i < n; ++i) {
        T sample;
        memcpy(&sample, src + i * stepBytes, sizeof(T));
        for (int k = 0; k < count; ++k) out[i * count + k] = sample;
    }
}

template <class T> static void ownRepeat(T* out, const uint8_t* src, ptrdiff_t stepBytes, int times, ptrdiff_t n)
{
    if (times == 1 && stepBytes == (ptrdiff_t)sizeof(T)) memcpy(out, src, (size_t)n * sizeof(T));
    else if (times == 1) ownRepeatRun<T, 1>(out, src, stepBytes, 1, n);
    else if (times == 3) ownRepeatRun<T, 3>(out, src, stepBytes, 3, n);
    else if (times == 4) ownRepeatRun<T, 4>(out, src, stepBytes, 4, n);
    else ownRepeatRun<T, 0>(out, src, stepBytes, times, n);
}

/* The last sample of each pixel of four in all of its four places. */
template <class T> static void ownRepeatLast(T* out, const uint8_t* last, ptrdiff_t nPixels)
{
    ownMap<T>(out, last - 3 * sizeof(T), 4 * nPixels, [](OwnVec<T> a) { return ownLastOfFour(a); });
}

template <class T> static void ownScatterRun(uint8_t* dst, ptrdiff_t stepBytes, const T* result, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) memcpy(dst + i * stepBytes, result + i, sizeof(T));
}

/* ---- A block ------------------------------------------------------------------------------------------------- */

/* Bytes of a chunk in scratch; and of a plane where alphas of that many pixels are read again for each channel. */
enum { OWN_BLEND_BYTES = 2048, OWN_BLEND_REACH = 1 << 16 };

/* One channel of a view: sample (x, y) lies at row + y * rowStep + x * stepBytes. */
struct OwnPlace {
    uint8_t* row; /* null: not there */
    ptrdiff_t stepBytes, rowStep;

    uint8_t* at(ptrdiff_t x, ptrdiff_t y) const { return row + y * rowStep + x * stepBytes; }
};

static OwnPlace ownPlace(const OwnView& view, int32_t channel)
{
    return {view.data + channel * view.channelStep, view.pixelStep * (ptrdiff_t)(view.sampleBits >> 3), view.rowStep};
}

/* An alpha, and its runs in the current chunk: by pixel, and by sample of whole pixels. A constant is a vector of each. */
template <class T> struct OwnAlphaRuns {
    T pixels[OWN_BLEND_BYTES / sizeof(T)], samples[OWN_BLEND_BYTES / sizeof(T)];
    OwnPlace place;  /* not there: a constant, or not used, or the complement of the other */
    bool isConstant; /* or not used */
    bool isFourth;   /* constant, or the last channel of pixels of four */
};

/* What the chunks of a block share. Lanes of ones and zeros say what is written. */
template <class T> struct alignas(64) OwnBlendPass {
    enum { SAMPLES = OWN_BLEND_BYTES / sizeof(T) };
    T in[2][SAMPLES], out[SAMPLES];
    T spared[OWN_VEC_BYTES / sizeof(T)]; /* whole pixels: ones in the samples that take part; repeats */
    T fourth[OWN_VEC_BYTES / sizeof(T)]; /* ones in the last of each four; repeats */
    T maskPixels[SAMPLES], maskSamples[SAMPLES];
    OwnAlphaRuns<T> alphaA, alphaB;
    uint8_t maskBits[SAMPLES / 8 + OWN_VEC_BYTES];

    const OwnBlend* blend;
    OwnView dst, a, b, mask;
    OwnChannels to, fromA, fromB;
    OwnPlace alphaDst;
    bool hasB, hasMask;
    bool isAlphaDstFourth;     /* the last channel of pixels of four */
    bool isWhole;              /* pixels are taken whole, */
    int step;                  /* of so many samples; 1 otherwise */
    bool isSpared;             /* not all of these take part */
    bool isFourth;             /* whole pixels of four, of which each alpha is the last, or constant */
    bool isStraight;           /* nothing goes through scratch */
    ptrdiff_t nAtOnce;         /* pixels of a run, at most */
    ptrdiff_t nColumns, nRows; /* the block, or one row of all of its pixels */
};

template <class T> static void ownBeginAlpha(const OwnGroup& group, const OwnAlpha& alpha, OwnAlphaRuns<T>& runs)
{
    runs.place = {};
    runs.isConstant = runs.isFourth = true;
    if (!alpha.isUsed) return;
    if (!alpha.member) return (void)std::fill_n(runs.pixels, OWN_VEC_BYTES / sizeof(T), (T)alpha.constant);
    const OwnView view = ownView(ownGroupView(group, alpha.member));
    runs.place = ownPlace(view, alpha.channel);
    runs.isConstant = false;
    runs.isFourth = view.pixelStep == 4 && alpha.channel == 3;
}

/* Whether pixels can be taken whole: all of their samples lie side by side and play the same part in each image, and those
 * that play none form a pattern that vectors keep in step with. */
template <class T> static bool ownIsWhole(const OwnBlendPass<T>& pass)
{
    const int step = pass.dst.pixelStep;
    const auto isAlike = [&](const OwnView& view, const OwnChannels& from) {
        return view.pixelStep == step && from.first == pass.to.first && from.count == pass.to.count;
    };
    if (step < 2 || step > 8 || !isAlike(pass.a, pass.fromA) || (pass.hasB && !isAlike(pass.b, pass.fromB)))
        return false;
    return pass.to.count == step || step == 2 || step == 4;
}

/* Whether a plane of alphas can be read while channels of the destination are written. */
template <class T> static bool ownIsApart(const OwnBlendPass<T>& pass, const OwnAlphaRuns<T>& alpha)
{
    if (!alpha.place.row) return true;
    if (alpha.place.stepBytes != (ptrdiff_t)sizeof(T)) return false;
    const auto begin = [](const OwnPlace& place) { return (uintptr_t)place.row; };
    const auto end = [&](const OwnPlace& place) { return (uintptr_t)place.at(pass.dst.width, pass.dst.height - 1); };
    for (int32_t c = 0; c < pass.to.count; ++c) {
        const OwnPlace to = ownPlace(pass.dst, pass.to.first + c);
        if (begin(alpha.place) < end(to) && begin(to) < end(alpha.place)) return false;
    }
    return true;
}

template <class T> static bool ownIsStraight(const OwnBlendPass<T>& pass)
{
    if (pass.hasMask || pass.blend->complementB) return false;
    if (pass.blend->alphaDst && !(pass.isFourth && pass.isAlphaDstFourth && !pass.spared[3])) return false;
    if (pass.isWhole) return pass.isFourth || (pass.alphaA.isConstant && pass.alphaB.isConstant);
    return pass.dst.pixelStep == 1 && pass.a.pixelStep == 1 && (!pass.hasB || pass.b.pixelStep == 1) &&
           ownIsApart(pass, pass.alphaA) && ownIsApart(pass, pass.alphaB);
}

/* Whether each row begins where the one before has ended, in everything that is read and written. */
template <class T> static bool ownIsOneRow(const OwnBlendPass<T>& pass)
{
    const auto abuts = [&](const OwnPlace& place) {
        return !place.row || place.rowStep == pass.dst.width * place.stepBytes;
    };
    return abuts(ownPlace(pass.dst, 0)) && abuts(ownPlace(pass.a, 0)) && (!pass.hasB || abuts(ownPlace(pass.b, 0))) &&
           abuts(pass.alphaA.place) && abuts(pass.alphaB.place) && abuts(pass.alphaDst);
}

/* How the block is taken. */
template <class T> static void ownPlanPass(OwnBlendPass<T>& pass)
{
    pass.isWhole = ownIsWhole(pass);
    pass.step = pass.isWhole ? pass.dst.pixelStep : 1;
    pass.isSpared = pass.isWhole && pass.to.count < pass.step;
    pass.isFourth = pass.isWhole && pass.step == 4 && pass.alphaA.isFourth && pass.alphaB.isFourth &&
                    !(pass.alphaA.isConstant && pass.alphaB.isConstant);
    for (int i = 0; i < (int)(OWN_VEC_BYTES / sizeof(T)) && pass.isWhole; ++i) {
        const int channel = i % pass.step - pass.to.first;
        pass.spared[i] = channel >= 0 && channel < pass.to.count ? (T)~0 : (T)0;
        pass.fourth[i] = i % 4 == 3 ? (T)~0 : (T)0;
    }
    pass.isStraight = ownIsStraight(pass);
    pass.nColumns = pass.dst.width;
    pass.nRows = pass.dst.height;
    if (pass.isStraight && ownIsOneRow(pass)) pass.nColumns *= pass.nRows, pass.nRows = 1;
    /* Alphas that are read again, for the next channel or for the result's alpha, are still in the cache then. */
    const bool rereads = pass.alphaA.place.row || pass.alphaB.place.row;
    if (!pass.isStraight) pass.nAtOnce = pass.SAMPLES / pass.step;
    else if (rereads && (!pass.isWhole || pass.blend->alphaDst))
        pass.nAtOnce = OWN_BLEND_REACH / (ptrdiff_t)sizeof(T) / pass.step;
    else pass.nAtOnce = pass.nColumns;
}

template <class T> static void ownBeginPass(OwnBlendPass<T>& pass, const OwnGroup& group, const OwnBlend& blend)
{
    const VekImage *dst = ownGroupView(group, blend.dst), *a = ownGroupView(group, blend.a),
                   *b = ownGroupView(group, blend.b), *mask = ownGroupView(group, blend.mask);
    pass.blend = &blend;
    pass.hasB = b;
    pass.hasMask = mask;
    pass.dst = ownView(dst);
    pass.a = ownView(a);
    pass.to = ownChannels(dst);
    pass.fromA = ownChannels(a);
    if (b) pass.b = ownView(b);
    if (b) pass.fromB = ownChannels(b);
    if (mask) pass.mask = ownView(mask);
    pass.alphaDst = {};
    if (blend.alphaDst) {
        const OwnView view = ownView(ownGroupView(group, blend.alphaDst));
        pass.alphaDst = ownPlace(view, blend.alphaDstChannel);
        pass.isAlphaDstFourth = view.pixelStep == 4 && blend.alphaDstChannel == 3;
    }
    ownBeginAlpha(group, blend.alphaA, pass.alphaA);
    ownBeginAlpha(group, blend.alphaB, pass.alphaB);
    if (blend.complementB) pass.alphaB.isConstant = pass.alphaB.isFourth = false;
    ownPlanPass(pass);
}

/* ---- A chunk: n pixels of row y from x on ------------------------------------------------------------------------ */

template <class T> static void ownFetchMask(OwnBlendPass<T>& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    const ptrdiff_t at = pass.mask.bit + x;
    ownAlignBits(pass.maskBits, 0, pass.mask.data + y * pass.mask.rowStep + (at >> 3), (int)(at & 7), n);
    for (ptrdiff_t i = 0; i < n; i += OwnVec<T>::lanes)
        ownStore(pass.maskPixels + i, ownBitLanes<T>(pass.maskBits + (i >> 3)));
    if (!pass.isWhole) return;
    const OwnVec<T> spared = ownLoad<T>(pass.spared);
    ownRepeat(pass.maskSamples, (const uint8_t*)pass.maskPixels, (ptrdiff_t)sizeof(T), pass.step, n);
    if (pass.isSpared)
        ownMap<T>(pass.maskSamples, pass.maskSamples, n * pass.step, [=](OwnVec<T> m) { return m & spared; });
}

/* The alpha by pixel where channels go one by one or the alphas themselves are combined, by sample for whole pixels. */
template <class T>
static void ownFetchAlpha(const OwnBlendPass<T>& pass, OwnAlphaRuns<T>& runs, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    if (!runs.place.row) return;
    const uint8_t* src = runs.place.at(x, y);
    if (!pass.isWhole || pass.blend->alphaDst) ownRepeat(runs.pixels, src, runs.place.stepBytes, 1, n);
    if (!pass.isWhole || pass.isFourth) return;
    if (pass.step == 4 && runs.isFourth) ownRepeatLast(runs.samples, src, n);
    else ownRepeat(runs.samples, src, runs.place.stepBytes, pass.step, n);
}

template <class T> static void ownComplementRun(T* out, const T* a, ptrdiff_t n)
{
    ownMap<T>(out, a, n, [](OwnVec<T> x) { return ~x; });
}

template <class T> static void ownComplement(OwnBlendPass<T>& pass, ptrdiff_t n)
{
    if (!pass.isWhole || pass.blend->alphaDst) ownComplementRun(pass.alphaB.pixels, pass.alphaA.pixels, n);
    if (pass.isWhole) ownComplementRun(pass.alphaB.samples, pass.alphaA.samples, n * pass.step);
}

/* What the kernel is given as an alpha. */
template <class T>
static const void* ownAlphaAt(const OwnBlendPass<T>& pass, const OwnAlphaRuns<T>& runs, ptrdiff_t x, ptrdiff_t y)
{
    if (runs.isConstant) return runs.pixels;
    if (pass.isFourth) return runs.place.at(x, y) - 3 * sizeof(T);
    if (pass.isStraight) return runs.place.at(x, y);
    return pass.isWhole ? runs.samples : runs.pixels;
}

template <class T> static void ownBlendPixels(OwnBlendPass<T>& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    const auto at = [=](const OwnView& view) { return ownPlace(view, 0).at(x, y); };
    const bool isSpared = !pass.hasMask && (pass.isSpared || pass.isFourth);
    pass.blend->run({at(pass.dst), at(pass.a), pass.hasB ? at(pass.b) : nullptr, ownAlphaAt(pass, pass.alphaA, x, y),
                     ownAlphaAt(pass, pass.alphaB, x, y),
                     isSpared       ? pass.spared
                     : pass.hasMask ? pass.maskSamples
                                    : nullptr,
                     n * pass.step, pass.alphaA.isConstant, pass.alphaB.isConstant, isSpared, pass.isFourth});
}

/* Samples of one channel: where they lie side by side, themselves, and otherwise gathered. */
template <class T> static void* ownSide(const OwnPlace& place, T* gathered, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    uint8_t* src = place.at(x, y);
    if (place.stepBytes == (ptrdiff_t)sizeof(T)) return src;
    ownRepeat(gathered, src, place.stepBytes, 1, n);
    return gathered;
}

template <class T> static void ownBlendChannels(OwnBlendPass<T>& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    for (int32_t c = 0; c < pass.to.count; ++c) {
        const OwnPlace to = ownPlace(pass.dst, pass.to.first + c);
        const void* a = ownSide(ownPlace(pass.a, pass.fromA.first + c), pass.in[0], x, y, n);
        const void* b = pass.hasB ? ownSide(ownPlace(pass.b, pass.fromB.first + c), pass.in[1], x, y, n) : nullptr;
        void* out = ownSide(to, pass.out, x, y, n);
        pass.blend->run({out, a, b, ownAlphaAt(pass, pass.alphaA, x, y), ownAlphaAt(pass, pass.alphaB, x, y),
                         pass.hasMask ? pass.maskPixels : nullptr, n, pass.alphaA.isConstant, pass.alphaB.isConstant});
        if (out == pass.out) ownScatterRun(to.at(x, y), to.stepBytes, pass.out, n);
    }
}

/* The result's alpha: the alphas, as the colours that they go with. In pixels of four all samples are computed and the last
 * is kept. */
template <class T> static void ownBlendAlphas(OwnBlendPass<T>& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n)
{
    if (pass.isStraight) {
        const void *fourA = ownAlphaAt(pass, pass.alphaA, x, y), *fourB = ownAlphaAt(pass, pass.alphaB, x, y);
        return pass.blend->alphaRun({pass.alphaDst.at(x, y) - 3 * sizeof(T), fourA, fourB, fourA, fourB, pass.fourth,
                                     4 * n, false, false, true, true});
    }
    const T *a = pass.alphaA.pixels, *b = pass.alphaB.pixels;
    void* out = ownSide(pass.alphaDst, pass.out, x, y, n);
    pass.blend->alphaRun({out, a, b, a, b, pass.hasMask ? pass.maskPixels : nullptr, n});
    if (out == pass.out) ownScatterRun(pass.alphaDst.at(x, y), pass.alphaDst.stepBytes, pass.out, n);
}

template <class T> static void ownBlendOf(const OwnGroup& group, const OwnBlend& blend)
{
    OwnBlendPass<T> pass;
    ownBeginPass(pass, group, blend);
    for (ptrdiff_t y = 0; y < pass.nRows; ++y)
        for (ptrdiff_t x = 0, n; x < pass.nColumns; x += n) {
            n = std::min(pass.nAtOnce, pass.nColumns - x);
            if (pass.hasMask) ownFetchMask(pass, x, y, n);
            if (!pass.isStraight) {
                ownFetchAlpha(pass, pass.alphaA, x, y, n);
                ownFetchAlpha(pass, pass.alphaB, x, y, n);
            }
            if (blend.complementB) ownComplement(pass, n);
            if (pass.isWhole) ownBlendPixels(pass, x, y, n);
            else ownBlendChannels(pass, x, y, n);
            if (blend.alphaDst) ownBlendAlphas(pass, x, y, n);
        }
}

void ownBlendBlock(const OwnGroup& group, const void* k)
{
    const OwnBlend& blend = *(const OwnBlend*)k;
    if (ownGroupView(group, blend.dst)->depth == VEK_DEPTH_8U) ownBlendOf<uint8_t>(group, blend);
    else ownBlendOf<uint16_t>(group, blend);
}
