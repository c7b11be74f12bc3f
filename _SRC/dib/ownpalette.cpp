/* ownpalette: the fixed colour tables of 2, 16 and 256 entries. */
#include "owndib.h"

/* The sixteen colours of displays that switch each gun off, half on, and on. */
static const uint32_t ownColours16[16] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                          0x008080, 0x808080, 0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00,
                                          0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

/* A cube: three bits of red, three of green, two of blue. */
static uint32_t ownCubeColour(uint32_t i)
{
    static const uint8_t eight[8] = {0, 32, 64, 96, 128, 160, 192, 255}, four[4] = {0, 64, 128, 255};
    return (uint32_t)(eight[i >> 5] << 16 | eight[i >> 2 & 7] << 8 | four[i & 3]);
}

static uint32_t ownFixedColour(int64_t count, bool isGray, uint32_t i)
{
    if (count == 2 || isGray) return i * 255 / (uint32_t)(count - 1) * 0x010101;
    return count == 16 ? ownColours16[i] : ownCubeColour(i);
}

void ownFixedTable(const OwnDib& dib, bool isGray)
{
    if (dib.count != 2 && dib.count != 16 && dib.count != 256) return;
    for (uint32_t i = 0; i < dib.count; ++i) {
        const uint32_t colour = ownFixedColour(dib.count, isGray, i);
        memcpy(dib.table + 4 * i, &colour, 4); /* blue is its low byte */
    }
}
