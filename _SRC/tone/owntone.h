/* owntone.h: histograms and maps, one table for each channel: what the operations on tone share. */
#ifndef OWNTONE_H
#define OWNTONE_H

#include "own.h"

/* Levels of a depth: 2, 256 or 65536. */
static inline int32_t ownLevels(const VekImage* image) { return image->depth == VEK_DEPTH_1U ? 2 : 1 << image->depth; }

/* A block of `each` items for every channel, all 0; null when memory is short. Freed by ownFree. */
template <class T> static inline T* ownTables(int32_t nChannels, int32_t each)
{
    const uint64_t bytes = (uint64_t)nChannels * (uint32_t)each * sizeof(T);
    T* tables = bytes > PTRDIFF_MAX ? nullptr : (T*)ownAlloc((size_t)bytes);
    if (tables) memset(tables, 0, (size_t)bytes);
    return tables;
}

/* Runs that count samples, by depth: their state is a table of counters, at 8 bits OWN_COUNT_TURNS tables that take turns.
 * So a table has samples of one channel alone, also where pixels of 2, 3, 4, 6 or 12 samples are taken whole. */
enum { OWN_COUNT_TURNS = 12 };
extern const OwnReduceRow ownCountRows[OWN_DEPTHS];

/* Adds the samples of the image's region to the channels' counters, whatever its mask. False when a tile did not come, which
 * has been reported. */
bool ownCountImage(const OwnFace& face, const VekImage* srcImage, const OwnChannels& channels, uint32_t* counters);

/* out[i] = map[a[i]]: k is the map, a table of ownLevels samples. By depth. */
extern const OwnRow ownMapRows[OWN_DEPTHS];

/* The same for pixels of several channels, whose maps lie side by side: k is an OwnPixelMaps. */
struct OwnPixelMaps {
    const void* maps;
    int32_t step, nMaps; /* samples of a pixel; those behind the last map stay as they are */
};
extern const OwnRow ownMapPixelRows[OWN_DEPTHS];

/* dst = map[src], with a map for each channel, side by side. False when it failed, which has been reported. */
bool ownMapImage(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, const void* maps);

#endif
