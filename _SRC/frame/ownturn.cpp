/* ownturn: pixels in the opposite order, and the bits of a byte. */
#include "ownrow.h"
#include "ownsimd.h"

uint8_t ownTurnByte(uint8_t x)
{
    x = (uint8_t)((x & 0x55) << 1 | (x >> 1 & 0x55));
    x = (uint8_t)((x & 0x33) << 2 | (x >> 2 & 0x33));
    return (uint8_t)(x << 4 | x >> 4);
}

/* The order in which `used` of sixteen bytes, from the first on, become pixels in the opposite order at the end of sixteen. */
static void ownTurnedPlaces(uint8_t* place, int pixelBytes, int used)
{
    memset(place, 0, 16);
    for (int i = 0; i < used; ++i)
        place[16 - used + i] = (uint8_t)(used - (i / pixelBytes + 1) * pixelBytes + i % pixelBytes);
}

/* All bytes turned, a vector and more of them, each vector as `finish` leaves it. */
template <class F> static inline void ownTurnVectors(uint8_t* out, const uint8_t* src, ptrdiff_t nBytes, F finish)
{
    constexpr ptrdiff_t step = OWN_VEC_BYTES;
    const auto turn = [=](ptrdiff_t i) {
        ownStore(out + i, finish(ownTurn(ownLoad<uint8_t>(src + nBytes - i - step))));
    };
    ptrdiff_t i = 0;
    for (; i < nBytes - 4 * step; i += 4 * step)
        for (ptrdiff_t j = i; j < i + 4 * step; j += step) turn(j);
    for (; i < nBytes - step; i += step) turn(i);
    turn(nBytes - step);
}

/* Pixels of which a vector holds whole ones: the bytes of each pixel are turned back. */
static void ownTurnWholePixels(uint8_t* out, const uint8_t* src, int pixelBytes, ptrdiff_t nBytes)
{
    if (pixelBytes == 1) return ownTurnVectors(out, src, nBytes, [](OwnVec<uint8_t> bytes) { return bytes; });
    uint8_t back[16];
    for (int i = 0; i < 16; ++i) back[i] = (uint8_t)(i / pixelBytes * pixelBytes + pixelBytes - 1 - i % pixelBytes);
    const OwnVec<uint8_t> order = ownRepeat16(back);
    ownTurnVectors(out, src, nBytes, [=](OwnVec<uint8_t> bytes) { return ownPickBytes(bytes, order); });
}

/* Of other pixels sixteen bytes are read at a time, of which whole pixels are used; what a store leaves before them the next one
 * covers. Here it is faster to read forward and to write backward. */
void ownTurnPixels(uint8_t* out, const uint8_t* src, int pixelBytes, ptrdiff_t nPixels)
{
    const ptrdiff_t nBytes = nPixels * pixelBytes;
    if (pixelBytes <= 16 && 16 % pixelBytes == 0 && nBytes >= OWN_VEC_BYTES)
        return ownTurnWholePixels(out, src, pixelBytes, nBytes);
    ptrdiff_t i = 0;
    if (pixelBytes <= 16) {
        uint8_t place[16];
        const int used = 16 / pixelBytes * pixelBytes;
        ownTurnedPlaces(place, pixelBytes, used);
        for (; i <= nBytes - 16; i += used) ownPlaceBytes(out + nBytes - i - 16, src + i, place);
    }
    for (; i < nBytes; i += pixelBytes) memcpy(out + nBytes - i - pixelBytes, src + i, (size_t)pixelBytes);
}
