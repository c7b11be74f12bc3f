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

/* 8 bits: the table as sixteen rows of sixteen bytes, of which a shuffle picks by the low four bits of x - 16 row, and gives
 * 0 where that is negative. Each row holds what it differs in from the one before, so that the rows up to the sample's own
 * add up, by exclusive or, to the sample's row. Levels from 128 on are negative as signed bytes and do the same with
 * their top bit turned over. */
static void ownMapRun8(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    enum { ROWS = 8 };
    const uint8_t* map = (const uint8_t*)k;
    if (n < 4 * OWN_VEC_BYTES) return ownMapPlain<uint8_t>(out, a, nullptr, n, k);
    OwnVec<uint8_t> low[ROWS], high[ROWS];
    for (int row = 0; row < ROWS; ++row) {
        low[row] = ownRepeat16(map + 16 * row);
        high[row] = ownRepeat16(map + 128 + 16 * row);
    }
    for (int row = ROWS - 1; row > 0; --row) {
        low[row] = low[row] ^ low[row - 1];
        high[row] = high[row] ^ high[row - 1];
    }
    const OwnVec<int8_t> sixteen = ownSet<int8_t>(16);
    const OwnVec<uint8_t> top = ownSet<uint8_t>(0x80);
    ownMap<uint8_t>(out, a, n, [&](OwnVec<uint8_t> x) {
        OwnVec<int8_t> place = ownAs<int8_t>(x), placeHigh = ownAs<int8_t>(x ^ top);
        OwnVec<uint8_t> r = ownPick16(low[0], place) ^ ownPick16(high[0], placeHigh);
        for (int row = 1; row < ROWS; ++row) {
            place = ownSubSat(place, sixteen);
            placeHigh = ownSubSat(placeHigh, sixteen);
            r = r ^ ownPick16(low[row], place) ^ ownPick16(high[row], placeHigh);
        }
        return r;
    });
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
template <class T> static void ownMapPixelRun(void* out, const void* a, const void*, ptrdiff_t n, const void* k)
{
    const OwnPixelMaps& maps = *(const OwnPixelMaps*)k;
    if (maps.step == 3 && maps.nMaps == 3) ownMapPixels<T, 3>((T*)out, (const T*)a, n, {maps.maps, 3, 3});
    else ownMapPixels<T, 0>((T*)out, (const T*)a, n, maps);
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
    /*  8U */ {ownMapPixelRun<uint8_t>, ownMapPixelPlain<uint8_t>},
    /*  8S */ {},
    /* 16U */ {ownMapPixelRun<uint16_t>, ownMapPixelPlain<uint16_t>},
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
