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

/* The samples of the quarter, as if all x were in it; place[r] is what picks from its row r. */
template <int n>
static inline void ownLookUpQuarter(const OwnVec<uint8_t>* row, const OwnVec<int8_t> (&place)[OwnRowsOf16::QUARTER][n],
                                    OwnVec<uint8_t> (&y)[n])
{
    for (int i = 0; i < n; ++i) y[i] = ownPick16(row[0], place[0][i]);
    for (int r = 1; r < OwnRowsOf16::QUARTER; ++r)
        for (int i = 0; i < n; ++i) y[i] = y[i] ^ ownPick16(row[r], place[r][i]);
}

/* x[i] = map[x[i]], for several vectors at once, since they share the rows. */
template <int n> static inline void ownLookUp(const OwnRowsOf16& rows, OwnVec<uint8_t> (&x)[n])
{
    enum { QUARTER = OwnRowsOf16::QUARTER };
    OwnVec<int8_t> place[QUARTER][n];
    for (int i = 0; i < n; ++i) place[0][i] = ownAs<int8_t>(x[i]) & ownSet<int8_t>(63);
    for (int r = 1; r < QUARTER; ++r)
        for (int i = 0; i < n; ++i) place[r][i] = place[r - 1][i] - ownSet<int8_t>(16);
    OwnVec<uint8_t> half[2][n], upper[n];
    for (int h = 0; h < 2; ++h) {
        ownLookUpQuarter(rows.row + 2 * h * QUARTER, place, half[h]);
        ownLookUpQuarter(rows.row + (2 * h + 1) * QUARTER, place, upper);
        /* The second highest bit, brought to the top, chooses in the half. */
        for (int i = 0; i < n; ++i) half[h][i] = ownSelectTop(x[i] + x[i], upper[i], half[h][i]);
    }
    for (int i = 0; i < n; ++i) x[i] = ownSelectTop(x[i], half[1][i], half[0][i]);
}

static void ownMapRun8(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const uint8_t *map = (const uint8_t*)k, *src = (const uint8_t*)a;
    uint8_t* dst = (uint8_t*)out;
    if (n < 4 * OWN_VEC_BYTES) return ownMapPlain<uint8_t>(out, a, nullptr, n, k);
    const OwnRowsOf16 rows(map);
    ptrdiff_t i = 0;
    for (; i + 2 * OWN_VEC_BYTES <= n; i += 2 * OWN_VEC_BYTES) {
        OwnVec<uint8_t> x[2] = {ownLoad<uint8_t>(src + i), ownLoad<uint8_t>(src + i + OWN_VEC_BYTES)};
        ownLookUp(rows, x);
        ownStore(dst + i, x[0]);
        ownStore(dst + i + OWN_VEC_BYTES, x[1]);
    }
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
    const OwnRowsOf16 rows[3] = {OwnRowsOf16(map), OwnRowsOf16(map + 256), OwnRowsOf16(map + 512)};
    ptrdiff_t i = 0;
    for (; i + block <= n; i += block)
        if constexpr (step == 3) {
            const OwnTriple<uint8_t> x = ownLoad3<uint8_t>(a + i);
            OwnVec<uint8_t> y[3][1] = {{x.a}, {x.b}, {x.c}};
            for (int c = 0; c < 3; ++c) ownLookUp(rows[c], y[c]);
            ownStore3(out + i, y[0][0], y[1][0], y[2][0]);
        } else {
            const OwnQuad<uint8_t> x = ownLoad4<uint8_t>(a + i);
            OwnVec<uint8_t> y[3][1] = {{x.a}, {x.b}, {x.c}}, last[1] = {x.d};
            for (int c = 0; c < 3; ++c) ownLookUp(rows[c], y[c]);
            if (k.nMaps == 4) ownLookUp(OwnRowsOf16(map + 768), last);
            ownStore4(out + i, y[0][0], y[1][0], y[2][0], last[0]);
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
