/* ownmap: samples through a table, one for each channel. */
#include "../frame/ownrow.h"
#include "ownsimd.h"
#include "owntone.h"

/* ---- Runs ---------------------------------------------------------------------------------------------------- */

template <class T> static void ownMapPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const T* map = (const T*)k;
    ownEach<T, T>(out, a, n, [=](T x) { return map[x]; });
}

/* 8 bits: the table as sixteen rows of sixteen bytes, of which a shuffle picks by the low four bits of a place, and gives 0
 * where that is negative. Rows stand in quarters of four. Within its quarter each holds what it differs in from the one
 * before, so that the rows up to the sample's own add up, by exclusive or, to that; the quarter is chosen in the end. */
struct OwnRowsOf16 {
    enum { ROWS = 16, QUARTER = 4 };
    OwnVec<uint8_t> row[ROWS];

    explicit OwnRowsOf16(const uint8_t* map)
    {
        for (int r = ROWS - 1; r >= 0; --r) {
            row[r] = ownRepeat16(map + 16 * r);
            if (r % QUARTER) row[r] = row[r] ^ ownRepeat16(map + 16 * (r - 1));
        }
    }
};

/* The sample of the quarter for each x, as if all x were in it; place[r] is what picks from its row r. */
static inline OwnVec<uint8_t> ownLookUpQuarter(const OwnVec<uint8_t>* row, const OwnVec<uint8_t>* place)
{
    OwnVec<uint8_t> y = ownPickBytes(row[0], place[0]);
    for (int r = 1; r < OwnRowsOf16::QUARTER; ++r) y = y ^ ownPickBytes(row[r], place[r]);
    return y;
}

/* map[x]. */
static inline OwnVec<uint8_t> ownLookUp(const OwnRowsOf16& rows, OwnVec<uint8_t> x)
{
    enum { QUARTER = OwnRowsOf16::QUARTER };
    OwnVec<uint8_t> place[QUARTER] = {x & ownSet<uint8_t>(63)};
    for (int r = 1; r < QUARTER; ++r) place[r] = place[r - 1] - ownSet<uint8_t>(16);
    const OwnVec<uint8_t>* row = rows.row;
    const OwnVec<uint8_t> odd = x + x; /* the second highest bit comes to the top, and chooses in the half */
    const OwnVec<uint8_t> low = ownSelectTop(odd, ownLookUpQuarter(row + QUARTER, place), ownLookUpQuarter(row, place)),
                          high = ownSelectTop(odd, ownLookUpQuarter(row + 3 * QUARTER, place),
                                              ownLookUpQuarter(row + 2 * QUARTER, place));
    return ownSelectTop(x, high, low);
}

static void ownMapRun8(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const uint8_t *map = (const uint8_t*)k, *src = (const uint8_t*)a;
    uint8_t* dst = (uint8_t*)out;
    if (n < 4 * OWN_VEC_BYTES) return ownMapPlain<uint8_t>(out, a, nullptr, n, k);
    const OwnRowsOf16 rows(map);
    ptrdiff_t i = 0;
    for (; i + OWN_VEC_BYTES <= n; i += OWN_VEC_BYTES) ownStore(dst + i, ownLookUp(rows, ownLoad<uint8_t>(src + i)));
    ownMapPlain<uint8_t>(dst + i, src + i, nullptr, n - i, k);
}

/* Pixels of `fixed` samples, or (0) of as many as the maps say. */
template <class T, int fixed> static void ownMapPixels(T* out, const T* a, ptrdiff_t n, const OwnPixelMaps& k)
{
    constexpr ptrdiff_t levels = (ptrdiff_t)1 << 8 * sizeof(T);
    const T* maps = (const T*)k.maps;
    const int step = fixed ? fixed : k.step;
    for (ptrdiff_t i = 0; i < n; i += step)
        for (int c = 0; c < step; ++c) {
            T level;
            memcpy(&level, a + i + c, sizeof(T));
            if (c < k.nMaps) level = maps[c * levels + level];
            memcpy(out + i + c, &level, sizeof(T));
        }
}
template <class T> static void ownMapPixelPlain(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    ownMapPixels<T, 0>((T*)out, (const T*)a, n, *(const OwnPixelMaps*)k);
}
static void ownMapPixelRun16(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnPixelMaps& maps = *(const OwnPixelMaps*)k;
    if (maps.step == 3 && maps.nMaps == 3) ownMapPixels<uint16_t, 3>((uint16_t*)out, (const uint16_t*)a, n, maps);
    else ownMapPixels<uint16_t, 0>((uint16_t*)out, (const uint16_t*)a, n, maps);
}

/* 8-bit pixels of three samples, or of four of which the last may stay as it is. */
template <int step> static void ownMapPlanes(uint8_t* out, const uint8_t* a, ptrdiff_t n, const OwnPixelMaps& k)
{
    constexpr ptrdiff_t block = step * OWN_VEC_BYTES;
    const uint8_t* map = (const uint8_t*)k.maps;
    const OwnRowsOf16 rows[4] = {OwnRowsOf16(map), OwnRowsOf16(map + 256), OwnRowsOf16(map + 512),
                                 OwnRowsOf16(map + (k.nMaps == 4 ? 768 : 0))};
    ptrdiff_t i = 0;
    for (; i + block <= n; i += block)
        if constexpr (step == 3) {
            const OwnTriple<uint8_t> x = ownLoad3<uint8_t>(a + i);
            ownStore3(out + i, ownLookUp(rows[0], x.a), ownLookUp(rows[1], x.b), ownLookUp(rows[2], x.c));
        } else {
            const OwnQuad<uint8_t> x = ownLoad4<uint8_t>(a + i);
            ownStore4(out + i, ownLookUp(rows[0], x.a), ownLookUp(rows[1], x.b), ownLookUp(rows[2], x.c),
                      k.nMaps == 4 ? ownLookUp(rows[3], x.d) : x.d);
        }
    ownMapPixels<uint8_t, 0>(out + i, a + i, n - i, k);
}
static void ownMapPixelRun8(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnPixelMaps& maps = *(const OwnPixelMaps*)k;
    const bool isLong = n >= 4 * maps.step * OWN_VEC_BYTES;
    if (isLong && maps.step == 3 && maps.nMaps == 3) ownMapPlanes<3>((uint8_t*)out, (const uint8_t*)a, n, maps);
    else if (isLong && maps.step == 4 && maps.nMaps >= 3) ownMapPlanes<4>((uint8_t*)out, (const uint8_t*)a, n, maps);
    else ownMapPixels<uint8_t, 0>((uint8_t*)out, (const uint8_t*)a, n, maps);
}

OWN_TABLE(ownMapRows) = {
    /*  1U */ {},
    /*  8U */ {ownMapRun8, ownMapPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownMapPlain<uint16_t>, ownMapPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {},
    /* 32F */ {},
};
OWN_TABLE(ownMapPixelRows) = {
    /*  1U */ {},
    /*  8U */ {ownMapPixelRun8, ownMapPixelPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownMapPixelRun16, ownMapPixelPlain<uint16_t>},
    /* 16S */ {},
    /* 32S */ {},
    /* 32F */ {},
};

/* ---- Images -------------------------------------------------------------------------------------------------- */

/* Whether the traversal takes the images' pixels whole. */
static bool ownMapsPixels(const VekImage* const image[])
{
    for (int i = 0; i < 2; ++i)
        if (image[i]->dataOrder != VEK_DATA_ORDER_PIXEL || ownChannels(image[i]).single) return false;
    return image[0]->nChannels == image[1]->nChannels && image[0]->nChannels > 1 &&
           image[0]->nChannels <= OWN_WIDE_STEP;
}

/* Whole pixels, or one channel after the other, each through its own map. */
static void ownMapPiece(const OwnPoint& point, const VekImage* const image[], const VekImage* mask)
{
    OwnPoint channel = point;
    const int slot = ownSlot(image[1]->depth);
    if (ownMapsPixels(image)) {
        const OwnPixelMaps maps = {point.k, image[1]->nChannels, point.channels[1].count};
        channel.run = ownMapPixelRows[slot].run;
        channel.k = &maps;
        return ownTraverse(channel, image, mask);
    }
    const ptrdiff_t mapBytes = ownLevels(image[1]) * (ptrdiff_t)(ownSampleBits(image[1]->depth) >> 3);
    channel.run = ownMapRows[slot].run;
    for (int32_t c = 0; c < point.channels[1].count; ++c) {
        for (int i = 0; i < 2; ++i) channel.channels[i] = {point.channels[i].first + c, 1, point.channels[i].single};
        channel.k = (const char*)point.k + c * mapBytes;
        ownTraverse(channel, image, mask);
    }
}

bool ownMapImage(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const void* maps)
{
    static constexpr const char* missing[2] = {"Error get tile to read", "Error get tile to write"};
    OwnPoint point = {};
    point.face = &face;
    point.nImages = 2;
    point.image[0] = srcImage;
    point.image[1] = dstImage;
    point.channels[0] = ownChannels(srcImage);
    point.channels[1] = ownChannels(dstImage);
    point.k = maps;
    point.paddingKept = true;
    point.piece = ownMapPiece;
    point.missing = missing;
    point.missingStatus = VEK_StatusFailed;

    OwnMask mask;
    const OwnMerge merge = ownMergeMasks(point.image, 2, &mask);
    if (merge == OWN_MERGE_EMPTY) return true;
    OWN_FAIL_IF(merge == OWN_MERGE_NO_MEMORY, VEK_StatusBacktrace, "", false);
    bool isDone = true;
    if (srcImage->tileInfo || dstImage->tileInfo) isDone = ownTileWalk(point, mask.image);
    else ownMapPiece(point, point.image, mask.image);
    ownReleaseMask(&mask);
    return isDone;
}
