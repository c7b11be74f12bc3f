/* ownturn: pixels in the opposite order, and the bits of a byte. */
#include "ownrow.h"
#include "ownsimd.h"

uint8_t ownTurnByte(uint8_t x)
{
    x = (uint8_t)((x & 0x55) << 1 | (x >> 1 & 0x55));
    x = (uint8_t)((x & 0x33) << 2 | (x >> 2 & 0x33));
    return (uint8_t)(x << 4 | x >> 4);
}

/* Bytes alone, a vector at a time. */
static void ownTurnBytes(uint8_t* out, const uint8_t* src, ptrdiff_t nBytes)
{
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const auto turn = [=](ptrdiff_t i) { ownStore(out + i, ownTurn(ownLoad<uint8_t>(src + nBytes - i - step))); };
    if (nBytes < step) {
        for (ptrdiff_t i = 0; i < nBytes; ++i) out[i] = src[nBytes - 1 - i];
        return;
    }
    ptrdiff_t i = 0;
    for (; i < nBytes - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) turn(j);
    for (; i < nBytes - step; i += step) turn(i);
    turn(nBytes - step);
}

/* Sixteen bytes at a time, of which whole pixels are used; what a store leaves beyond them the next one covers. */
void ownTurnPixels(uint8_t* out, const uint8_t* src, int pixelBytes, ptrdiff_t nPixels)
{
    if (pixelBytes == 1) return ownTurnBytes(out, src, nPixels);
    const ptrdiff_t nBytes = nPixels * pixelBytes;
    ptrdiff_t i = 0;
    if (pixelBytes <= 16) {
        const int nTogether = 16 / pixelBytes, used = nTogether * pixelBytes;
        uint8_t place[16] = {};
        for (int j = 0; j < used; ++j) place[j] = (uint8_t)(16 - (j / pixelBytes + 1) * pixelBytes + j % pixelBytes);
        for (; i <= nBytes - 16; i += used) ownPlaceBytes(out + i, src + nBytes - i - 16, place);
    }
    for (; i < nBytes; i += pixelBytes) memcpy(out + i, src + nBytes - i - pixelBytes, (size_t)pixelBytes);
}
