/* ownplanes: a run over whole pixels, taken over images in pixel order and in plane order alike.
 *
 * A row is done in chunks whose planes fit the first-level cache. Pixels are taken apart into planes, the run works on
 * these, and its planes are put together again. Where a plane lies in memory as the run wants it, it is used in place. */
#include "ownrow.h"
#include "ownsimd.h"

enum {
    OWN_PLANE_BYTES = 512,
    OWN_PLANE_STEP = OWN_PLANE_BYTES + 64 /* planes that lie a power of two apart would share few lines of the cache */
};

/* Planes of one chunk, on the stack. */
struct alignas(64) OwnPlanes {
    uint8_t of[3][OWN_PLANE_STEP];
};

struct OwnPlaneScratch {
    OwnPlanes in, out, old;
    uint8_t writeBits[OWN_PLANE_BYTES / 8 + 8];
};

/* ---- Pixels of three and four samples -------------------------------------------------------------------------- */

/* Their planes: o[i] is channel i of n pixels. The last vector may overlap the one before. */
template <class T> static void ownSplit3(void* const o[], const uint8_t* pixels, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    char *a = (char*)o[0], *b = (char*)o[1], *c = (char*)o[2];
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        if (i + lanes > n) i = n - lanes;
        ownPrefetch<3 * OWN_VEC_BYTES>(pixels + i * 3 * size);
        const OwnTriple<T> x = ownLoad3<T>(pixels + i * 3 * size);
        ownStore(a + i * size, x.a);
        ownStore(b + i * size, x.b);
        ownStore(c + i * size, x.c);
    }
}
template <class T> static void ownSplit4(void* const o[], const uint8_t* pixels, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    char *a = (char*)o[0], *b = (char*)o[1], *c = (char*)o[2];
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        if (i + lanes > n) i = n - lanes;
        ownPrefetch<4 * OWN_VEC_BYTES>(pixels + i * 4 * size);
        const OwnQuad<T> x = ownLoad4<T>(pixels + i * 4 * size);
        ownStore(a + i * size, x.a);
        ownStore(b + i * size, x.b);
        ownStore(c + i * size, x.c);
    }
}

/* And back; the fourth sample stays. */
template <class T> static void ownJoin3(uint8_t* pixels, const void* const p[], ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char *a = (const char*)p[0], *b = (const char*)p[1], *c = (const char*)p[2];
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        if (i + lanes > n) i = n - lanes;
        ownPrefetch<3 * OWN_VEC_BYTES>(pixels + i * 3 * size);
        ownStore3(pixels + i * 3 * size, ownLoad<T>(a + i * size), ownLoad<T>(b + i * size), ownLoad<T>(c + i * size));
    }
}
template <class T> static void ownJoin4(uint8_t* pixels, const void* const p[], ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes, size = (ptrdiff_t)sizeof(T);
    const char *a = (const char*)p[0], *b = (const char*)p[1], *c = (const char*)p[2];
    for (ptrdiff_t i = 0; i < n; i += lanes) {
        if (i + lanes > n) i = n - lanes;
        uint8_t* out = pixels + i * 4 * size;
        ownPrefetch<4 * OWN_VEC_BYTES>(out);
        ownStore4(out, ownLoad<T>(a + i * size), ownLoad<T>(b + i * size), ownLoad<T>(c + i * size),
                  ownLoad4<T>(out).d);
    }
}

/* Samples that lie `step` samples apart. */
template <class T> static void ownPick(void* out, const uint8_t* src, ptrdiff_t step, ptrdiff_t n)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T);
    for (ptrdiff_t i = 0; i < n; ++i) memcpy((char*)out + i * size, src + i * step * size, sizeof(T));
}
template <class T> static void ownPlace(uint8_t* dst, ptrdiff_t step, const void* in, ptrdiff_t n)
{
    constexpr ptrdiff_t size = (ptrdiff_t)sizeof(T);
    for (ptrdiff_t i = 0; i < n; ++i) memcpy(dst + i * step * size, (const char*)in + i * size, sizeof(T));
}

/* Whether the three planes are the three first channels, in some order, so that pixels are taken apart in one go. */
static bool ownFirstThree(const OwnPlaneSide& side)
{
    return side.nPlanes == 3 && side.channel[0] + side.channel[1] + side.channel[2] == 3;
}

/* Planes of n pixels from `pixels` on, and pixels from planes. Fewer pixels than lanes go through a block of their own. */
template <class T>
static void ownTakeApart(const OwnPlaneSide& side, void* const plane[], const uint8_t* pixels, ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    const ptrdiff_t step = side.view.pixelStep;
    if (ownFirstThree(side) && (step == 3 || step == 4)) {
        void* byChannel[3];
        for (int c = 0; c < 3; ++c) byChannel[side.channel[c]] = plane[c];
        uint8_t few[4 * OWN_VEC_BYTES] = {};
        if (n < lanes) pixels = (const uint8_t*)memcpy(few, pixels, (size_t)(n * step) * sizeof(T));
        n = std::max(n, lanes);
        return step == 3 ? ownSplit3<T>(byChannel, pixels, n) : ownSplit4<T>(byChannel, pixels, n);
    }
    for (int c = 0; c < side.nPlanes; ++c)
        ownPick<T>(plane[c], pixels + side.channel[c] * side.view.channelStep, step, n);
}
template <class T>
static void ownPutTogether(const OwnPlaneSide& side, uint8_t* pixels, const void* const plane[], ptrdiff_t n)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    const ptrdiff_t step = side.view.pixelStep;
    if (ownFirstThree(side) && (step == 3 || step == 4)) {
        const void* byChannel[3];
        for (int c = 0; c < 3; ++c) byChannel[side.channel[c]] = plane[c];
        uint8_t few[4 * OWN_VEC_BYTES] = {};
        const size_t nBytes = (size_t)(n * step) * sizeof(T);
        uint8_t* to = n < lanes ? (uint8_t*)memcpy(few, pixels, nBytes) : pixels; /* a fourth sample stays */
        if (step == 3) ownJoin3<T>(to, byChannel, std::max(n, lanes));
        else ownJoin4<T>(to, byChannel, std::max(n, lanes));
        if (n < lanes) memcpy(pixels, few, nBytes);
        return;
    }
    for (int c = 0; c < side.nPlanes; ++c)
        ownPlace<T>(pixels + side.channel[c] * side.view.channelStep, step, plane[c], n);
}

/* ---- Chunks ----------------------------------------------------------------------------------------------------- */

/* Bytes of n samples side by side. */
static size_t ownBytes(const OwnView& view, ptrdiff_t n) { return (size_t)((n * view.sampleBits + 7) >> 3); }

/* Pixel x of row y, channel 0; of 1-bit images, x a multiple of 8. */
static uint8_t* ownAt(const OwnView& view, ptrdiff_t x, ptrdiff_t y)
{
    return view.data + y * view.rowStep + (x * view.pixelStep * view.sampleBits >> 3);
}

/* n pixels of an image as planes; with `whole`, planes that lie so in the image may be used there. */
static void ownFetchPlanes(const OwnPlaneSide& side, const uint8_t* pixels, ptrdiff_t n, bool whole, OwnPlanes& scratch,
                           const void* plane[])
{
    const OwnView& view = side.view;
    for (int c = 0; c < side.nPlanes; ++c) plane[c] = scratch.of[c];
    if (view.pixelStep == 1) {
        for (int c = 0; c < side.nPlanes; ++c) {
            const uint8_t* samples = pixels + side.channel[c] * view.channelStep;
            if (whole) plane[c] = samples;
            else memcpy(scratch.of[c], samples, ownBytes(view, n));
        }
        return;
    }
    void* const out[3] = {scratch.of[0], scratch.of[1], scratch.of[2]};
    if (view.sampleBits == 8) ownTakeApart<uint8_t>(side, out, pixels, n);
    else if (view.sampleBits == 16) ownTakeApart<uint16_t>(side, out, pixels, n);
    else ownTakeApart<uint32_t>(side, out, pixels, n);
}

/* The bits of n pixels, the spare ones of the last byte kept. */
static void ownStoreBitPlane(uint8_t* dst, const uint8_t* bits, ptrdiff_t n)
{
    const ptrdiff_t bytes = n >> 3;
    memcpy(dst, bits, (size_t)bytes);
    if (n & 7) {
        const uint8_t spare = (uint8_t)(0xFF >> (n & 7));
        dst[bytes] = (uint8_t)((dst[bytes] & spare) | (bits[bytes] & ~spare));
    }
}

static void ownStorePlanes(const OwnPlaneSide& side, uint8_t* pixels, ptrdiff_t n, const void* const plane[])
{
    const OwnView& view = side.view;
    if (view.pixelStep == 1) {
        for (int c = 0; c < side.nPlanes; ++c) {
            uint8_t* samples = pixels + side.channel[c] * view.channelStep;
            if (samples == plane[c]) continue; /* the run has been there */
            if (view.sampleBits == 1) ownStoreBitPlane(samples, (const uint8_t*)plane[c], n);
            else memcpy(samples, plane[c], ownBytes(view, n));
        }
        return;
    }
    if (view.sampleBits == 8) ownPutTogether<uint8_t>(side, pixels, plane, n);
    else if (view.sampleBits == 16) ownPutTogether<uint16_t>(side, pixels, plane, n);
    else ownPutTogether<uint32_t>(side, pixels, plane, n);
}

/* Lets the planes of the result have the old samples where the mask has a 0. */
static void ownKeepSome(const OwnPlanePass& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n, OwnPlaneScratch& s,
                        const void* plane[])
{
    const ptrdiff_t at = pass.mask->bit + x;
    ownAlignBits(s.writeBits, 0, pass.mask->data + y * pass.mask->rowStep + (at >> 3), (int)(at & 7), n);
    const void* result[3] = {plane[0], plane[1], plane[2]};
    ownFetchPlanes(pass.dst, ownAt(pass.dst.view, x, y), n, false, s.old, plane);
    for (int c = 0; c < pass.dst.nPlanes; ++c)
        ownStoreSome(s.old.of[c], result[c], pass.dst.view.sampleBits >> 3, s.writeBits, n);
}

static void ownRunPlanes(const OwnPlanePass& pass, ptrdiff_t x, ptrdiff_t y, ptrdiff_t n, bool apart,
                         OwnPlaneScratch& s)
{
    const ptrdiff_t nRun = (n + OWN_VEC_BYTES - 1) / OWN_VEC_BYTES * OWN_VEC_BYTES;
    uint8_t* dst = ownAt(pass.dst.view, x, y);
    const void* in[3];
    ownFetchPlanes(pass.src, ownAt(pass.src.view, x, y), n, n == nRun, s.in, in);

    const bool straight = pass.dst.view.pixelStep == 1 && n == nRun && apart && !pass.mask;
    void* out[3] = {};
    for (int c = 0; c < pass.dst.nPlanes; ++c)
        out[c] = straight ? dst + pass.dst.channel[c] * pass.dst.view.channelStep : s.out.of[c];
    pass.run(out, in, nRun, pass.k);

    const void* plane[3] = {out[0], out[1], out[2]};
    if (pass.mask) ownKeepSome(pass, x, y, n, s, plane);
    ownStorePlanes(pass.dst, dst, n, plane);
}

/* Whether rows of `width` pixels follow each other without a gap. */
static bool ownRowsJoin(const OwnView& view, int32_t width)
{
    return view.rowStep * 8 == (ptrdiff_t)width * view.pixelStep * view.sampleBits;
}

void ownPlanePass(const OwnPlanePass& pass)
{
    OwnPlaneScratch scratch;
    memset(&scratch.in, 0, sizeof(scratch.in)); /* what lies beyond the pixels is computed with them */
    const int sampleBits = std::max({pass.src.view.sampleBits, pass.dst.view.sampleBits, 8});
    const ptrdiff_t chunk = OWN_PLANE_BYTES * 8 / sampleBits;
    const bool apart = pass.src.view.data != pass.dst.view.data;
    const bool join = !pass.mask && ownRowsJoin(pass.src.view, pass.width) && ownRowsJoin(pass.dst.view, pass.width);
    const ptrdiff_t width = join ? (ptrdiff_t)pass.width * pass.height : pass.width, height = join ? 1 : pass.height;
    for (ptrdiff_t y = 0; y < height; ++y)
        for (ptrdiff_t x = 0; x < width; x += chunk)
            ownRunPlanes(pass, x, y, std::min<ptrdiff_t>(chunk, width - x), apart, scratch);
}
