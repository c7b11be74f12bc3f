/* owntranspose: rows become columns.
 *
 * Pixels of up to eight bytes go by square blocks that change places in registers: sixteen bytes of a row hold n pixels,
 * 3 and 6 bytes being spread to 4 and 8, and log2(n) rounds of interleaving n such rows turn them into columns. What the
 * blocks leave goes pixel by pixel, and so do channels that don't lie side by side. */
#include "owntranspose.h"

#include "ownsimd.h"

/* A rectangle of units of bytes: unit x of row y of the result is unit y of row x of the source. */
struct OwnUnits {
    const uint8_t* src;
    ptrdiff_t srcRow, srcUnit; /* bytes from row to row, from unit to unit */
    uint8_t* out;
    ptrdiff_t outRow, outUnit;
    int32_t width, height; /* of the result */
};

/* ---- Unit by unit ---------------------------------------------------------------------------------------------- */

/* In squares whose source rows and destination rows fit the first-level cache together. */
template <int unit> static void ownTransposePlain(const OwnUnits& t, int32_t x0, int32_t y0, int32_t x1, int32_t y1)
{
    constexpr int32_t side = 64;
    for (int32_t top = y0; top < y1; top += side)
        for (int32_t left = x0; left < x1; left += side)
            for (int32_t y = top; y < std::min(top + side, y1); ++y)
                for (int32_t x = left; x < std::min(left + side, x1); ++x)
                    memcpy(t.out + y * t.outRow + x * t.outUnit, t.src + x * t.srcRow + y * t.srcUnit, unit);
}

/* ---- Blocks ---------------------------------------------------------------------------------------------------- */

/* Rows of a block as its columns: row i of part k is row 16 k / sizeof(U) + i. */
template <class U, int n> static inline void ownTransposeRows(OwnVec<uint8_t> v[n])
{
    for (int round = 1; round < n; round *= 2) {
        OwnVec<uint8_t> turned[n];
        for (int i = 0; i < n / 2; ++i) {
            const OwnVec<U> a = ownAs<U>(v[i]), b = ownAs<U>(v[i + n / 2]);
            turned[2 * i] = ownAs<uint8_t>(ownZipLow(a, b));
            turned[2 * i + 1] = ownAs<uint8_t>(ownZipHigh(a, b));
        }
        for (int i = 0; i < n; ++i) v[i] = turned[i];
    }
}

/* The shape of a block: n units of 16 bytes by as many in every part of a vector. */
template <int unit> struct OwnBlockShape {
    static constexpr int padded = unit == 3 ? 4 : unit == 6 ? 8 : unit;
    static constexpr int n = 16 / padded, width = n * (OWN_VEC_BYTES / 16);
    /* units beyond the block that a row's load and store touch */
    static constexpr int beyond = unit == padded ? 0 : (16 - n * unit + unit - 1) / unit;
};

/* Where the bytes of spread units stand among packed ones, and the other way. */
template <int unit> static inline OwnVec<uint8_t> ownSpreadOrder(bool isBack)
{
    uint8_t place[OWN_VEC_BYTES];
    constexpr int padded = OwnBlockShape<unit>::padded, n = OwnBlockShape<unit>::n;
    for (int i = 0; i < OWN_VEC_BYTES; ++i) {
        const int at = i % 16, size = isBack ? unit : padded, other = isBack ? padded : unit;
        place[i] = at / size < n && at % size < unit ? (uint8_t)(at / size * other + at % size) : 0x80;
    }
    return ownLoad<uint8_t>(place);
}

/* One block: reads `width` rows, writes n. */
template <int unit>
[[gnu::always_inline]] static inline void ownTransposeBlock(const OwnUnits& t, int32_t x, int32_t y,
                                                            OwnVec<uint8_t> spread, OwnVec<uint8_t> back)
{
    typedef OwnBlockShape<unit> Shape;
    typedef std::conditional_t<Shape::padded == 8, uint64_t, OwnUnsigned<Shape::padded>> U;
    const uint8_t* src = t.src + x * t.srcRow + y * (ptrdiff_t)unit;
    uint8_t* out = t.out + y * t.outRow + x * (ptrdiff_t)unit;
    OwnVec<uint8_t> v[Shape::n];
    for (int i = 0; i < Shape::n; ++i) {
        v[i] = ownLoadParts(src + i * t.srcRow, Shape::n * t.srcRow);
        if constexpr (unit != Shape::padded) v[i] = ownPickBytes(v[i], spread);
    }
    ownTransposeRows<U, Shape::n>(v);
    for (int i = 0; i < Shape::n; ++i) {
        if constexpr (unit != Shape::padded)
            ownStoreParts(out + i * t.outRow, Shape::n * unit, ownPickBytes(v[i], back));
        else ownStore(out + i * t.outRow, v[i]);
    }
}

/* Strips of rows as high as a line of the source's cache is wide; blocks from left to right, so that what a store leaves
 * beyond its block is covered by the next one. */
template <int unit> [[gnu::flatten]] static void ownTransposeUnits(const OwnUnits& t)
{
    typedef OwnBlockShape<unit> Shape;
    constexpr int32_t strip = 64 / 16 * Shape::n, band = 512;
    const OwnVec<uint8_t> spread = ownSpreadOrder<unit>(false), back = ownSpreadOrder<unit>(true);
    const int32_t width = std::max(t.width - Shape::beyond, 0) / Shape::width * Shape::width;
    const int32_t height = std::max(t.height - Shape::beyond, 0) / Shape::n * Shape::n;
    for (int32_t left = 0; left < width; left += band)
        for (int32_t top = 0; top < height; top += strip)
            for (int32_t x = left; x < std::min(left + band, width); x += Shape::width)
                for (int32_t y = top; y < std::min(top + strip, height); y += Shape::n)
                    ownTransposeBlock<unit>(t, x, y, spread, back);
    ownTransposePlain<unit>(t, width, 0, t.width, height);
    ownTransposePlain<unit>(t, 0, height, t.width, t.height);
}

/* ---- Bits ------------------------------------------------------------------------------------------------------ */

/* Bits go through two blocks of their own, where rows begin with a byte: the traversal moves bits to other places. */
enum { OWN_BIT_ROWS = 256, OWN_BIT_COLUMNS = 512 };

/* Bytes of sixteen columns become rows of bytes, and of each the top bits, one after the other, rows of bits. */
[[gnu::flatten]] static void ownTransposeBitBlock(uint8_t* out, const uint8_t* src)
{
    constexpr ptrdiff_t srcRow = OWN_BIT_COLUMNS / 8, outRow = OWN_BIT_ROWS / 8;
    for (ptrdiff_t column = 0; column < srcRow; column += 16)
        for (ptrdiff_t row = 0; row < OWN_BIT_ROWS; row += OWN_VEC_BYTES) {
            OwnVec<uint8_t> v[16];
            for (int i = 0; i < 16; ++i) v[i] = ownLoadParts(src + (row + i) * srcRow + column, 16 * srcRow);
            ownTransposeRows<uint8_t, 16>(v);
            for (int i = 0; i < 16; ++i)
                for (int bit = 0; bit < 8; ++bit, v[i] = v[i] + v[i])
                    ownStoreSigns(out + ((column + i) * 8 + bit) * outRow + row / 8, v[i]);
        }
}

static OwnView ownBitBlock(uint8_t* data, int32_t width, int32_t height, ptrdiff_t rowStep)
{
    return {data, 0, 1, width, height, 1, rowStep, 0};
}

static void ownTransposeBits(const OwnView& src, const OwnView& dst)
{
    alignas(64) uint8_t from[OWN_BIT_ROWS * OWN_BIT_COLUMNS / 8] = {}, to[OWN_BIT_ROWS * OWN_BIT_COLUMNS / 8];
    for (int32_t y = 0; y < dst.height; y += OWN_BIT_COLUMNS)
        for (int32_t x = 0; x < dst.width; x += OWN_BIT_ROWS) {
            const int32_t width = std::min<int32_t>(OWN_BIT_ROWS, dst.width - x);
            const int32_t height = std::min<int32_t>(OWN_BIT_COLUMNS, dst.height - y);
            ownCopyView(ownCrop(src, y, x, height, width), ownBitBlock(from, height, width, OWN_BIT_COLUMNS / 8), 1);
            ownTransposeBitBlock(to, from);
            ownCopyView(ownBitBlock(to, width, height, OWN_BIT_ROWS / 8), ownCrop(dst, x, y, width, height), 1);
        }
}

/* ---- The choice ------------------------------------------------------------------------------------------------ */

void ownTranspose(const OwnView& src, const OwnView& dst, const OwnChannels channels[2])
{
    if (dst.sampleBits == 1) return ownTransposeBits(src, dst);
    const ptrdiff_t sampleBytes = dst.sampleBits >> 3, srcPixel = src.pixelStep * sampleBytes,
                    outPixel = dst.pixelStep * sampleBytes;
    OwnUnits units = {src.data + channels[0].first * src.channelStep,
                      src.rowStep,
                      srcPixel,
                      dst.data + channels[1].first * dst.channelStep,
                      dst.rowStep,
                      outPixel,
                      dst.width,
                      dst.height};
    const int32_t count = channels[0].count;
    const bool together = srcPixel == outPixel && srcPixel == count * sampleBytes &&
                          (count == 1 || src.channelStep == sampleBytes);
    switch (together ? srcPixel : 0) {
    case 1: return ownTransposeUnits<1>(units);
    case 2: return ownTransposeUnits<2>(units);
    case 3: return ownTransposeUnits<3>(units);
    case 4: return ownTransposeUnits<4>(units);
    case 6: return ownTransposeUnits<6>(units);
    case 8: return ownTransposeUnits<8>(units);
    default:
        for (int32_t c = 0; c < count; ++c, units.src += src.channelStep, units.out += dst.channelStep) {
            if (sampleBytes == 1 && srcPixel == 1 && outPixel == 1) ownTransposeUnits<1>(units);
            else if (sampleBytes == 2 && srcPixel == 2 && outPixel == 2) ownTransposeUnits<2>(units);
            else if (sampleBytes == 1) ownTransposePlain<1>(units, 0, 0, dst.width, dst.height);
            else ownTransposePlain<2>(units, 0, 0, dst.width, dst.height);
        }
    }
}
