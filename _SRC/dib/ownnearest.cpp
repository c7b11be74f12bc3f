/* ownnearest: the nearest entry of a colour table, exactly, by looking at few entries.
 *
 * The cube of colours is cut into cells of 8 x 8 x 8. An entry is hidden from a cell by another one that is nearer to each
 * of its colours. What is left of the table, a handful as a rule, is written down when the first pixel falls into the cell;
 * larger cells of 32 x 32 x 32 thin out the table for that.
 *
 * Of |e - p|^2 = |e|^2 - 2 e p + |p|^2 the last term is the same for all entries. So each entry has the 32-bit key
 * (|e|^2 - 2 e p) * 4096 + index, and the lowest key names the first of the nearest. */
#include "ownnearest.h"

#include "ownsimd.h"

enum {
    OWN_NEAR_MOST = 4096, /* entries that a key can tell apart */
    OWN_NEAR_COARSE = 8,  /* cells on an axis */
    OWN_NEAR_FINE = 32,
    OWN_NEAR_LANES = (int)OwnVec<int32_t>::lanes,
    OWN_NEAR_BLOCKS = 16384 * 8 / OWN_NEAR_LANES, /* room for the cells' entries */
    OWN_NEAR_BITS = 11,                           /* of a cell's count of blocks */
    OWN_NEAR_HIDING = 32,                         /* entries of a cell that are tried for hiding others */
    OWN_NEAR_CHUNK = 256
};
static_assert(OWN_NEAR_MOST / OWN_NEAR_LANES < 1 << OWN_NEAR_BITS);
static_assert(OWN_NEAR_BLOCKS <= 1 << (32 - OWN_NEAR_BITS));

/* Some entries of a cell: blue and green, red, each times 64; |e|^2 * 4096 + index. */
struct alignas(OWN_VEC_BYTES) OwnNearBlock {
    int16_t blueGreen[2 * OWN_NEAR_LANES], red[2 * OWN_NEAR_LANES];
    int32_t key[OWN_NEAR_LANES];
};

struct OwnNearestCells {
    const uint8_t* table;
    int count;
    uint32_t fine[OWN_NEAR_FINE * OWN_NEAR_FINE * OWN_NEAR_FINE]; /* first block and count of blocks; 0: not yet made */
    int coarse[OWN_NEAR_COARSE * OWN_NEAR_COARSE * OWN_NEAR_COARSE]; /* count of entries; 0: not yet made */
    int nBlocks;
    bool hasGrays;
    uint8_t grays[256];
    uint16_t* lists; /* `count` places for each coarse cell */
    uint16_t all[OWN_NEAR_MOST];
    OwnNearBlock blocks[OWN_NEAR_BLOCKS];
};

/* ---- The plain walk ---------------------------------------------------------------------------------------------- */

int64_t ownNearestEntry(const uint8_t* table, int64_t count, int blue, int green, int red)
{
    int64_t best = 0;
    int least = INT_MAX;
    for (int64_t i = 0; i < count && least; ++i) {
        const int b = table[4 * i] - blue, g = table[4 * i + 1] - green, r = table[4 * i + 2] - red;
        const int distance = b * b + g * g + r * r;
        if (distance < least) least = distance, best = i;
    }
    return best;
}

void ownNearestPlain(const OwnNearest& nearest, uint8_t* out, const uint8_t* blue, const uint8_t* green,
                     const uint8_t* red, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i)
        out[i] = (uint8_t)ownNearestEntry(nearest.table, nearest.count, blue[i], green[i], red[i]);
}

/* ---- Cells ------------------------------------------------------------------------------------------------------- */

void ownNearestOpen(OwnNearest* nearest, const uint8_t* table, int64_t count)
{
    *nearest = {table, count, nullptr};
    if (count < 1 || count > OWN_NEAR_MOST) return;
    const size_t nListed = (size_t)count * OWN_NEAR_COARSE * OWN_NEAR_COARSE * OWN_NEAR_COARSE;
    OwnNearestCells* cells = (OwnNearestCells*)ownAlloc(sizeof(OwnNearestCells) + nListed * sizeof(uint16_t));
    if (!cells) return;
    cells->table = table;
    cells->count = (int)count;
    cells->nBlocks = 0;
    cells->hasGrays = false;
    cells->lists = (uint16_t*)(cells + 1);
    for (int i = 0; i < cells->count; ++i) cells->all[i] = (uint16_t)i;
    memset(cells->fine, 0, sizeof(cells->fine));
    memset(cells->coarse, 0, sizeof(cells->coarse));
    nearest->cells = cells;
}

void ownNearestClose(OwnNearest* nearest)
{
    ownFree(nearest->cells);
    nearest->cells = nullptr;
}

/* Where the colours of a cell lie: from `low` on, `width` on each axis. */
struct OwnNearCell {
    int low[3], width;
};

/* Whether a colour of the cell is as near to entry e as to f: the largest |f - p|^2 - |e - p|^2, which is linear in p and so
 * is largest in a corner. */
static inline bool ownNearReaches(const uint8_t* e, const uint8_t* f, const OwnNearCell& cell)
{
    int most = 0;
    for (int i = 0; i < 3; ++i) {
        const int step = e[i] - f[i], p = cell.low[i] + (step > 0 ? cell.width - 1 : 0);
        most += step * (2 * p - e[i] - f[i]);
    }
    return most >= 0;
}

/* The entries among `in` that reach into the cell in spite of entry f; order is kept, and out may be in. */
static int ownNearKeep(const uint8_t* table, const uint16_t* in, int n, int f, const OwnNearCell& cell, uint16_t* out)
{
    int nKept = 0;
    for (int i = 0; i < n; ++i) {
        const bool isKept = ownNearReaches(table + 4 * in[i], table + 4 * f, cell);
        out[nKept] = in[i];
        nKept += isKept;
    }
    return nKept;
}

/* The entries among `in` that may be nearest to a colour of the cell: those that no other one hides. First the one nearest to
 * the middle hides most of them, then each of the others some. */
static int ownNearFilter(const uint8_t* table, const uint16_t* in, int n, const OwnNearCell& cell, uint16_t* out)
{
    int nearest = 0, least = INT_MAX;
    for (int i = 0; i < n; ++i) {
        int distance = 0;
        for (int c = 0; c < 3; ++c) {
            const int step = 2 * (table[4 * in[i] + c] - cell.low[c]) - (cell.width - 1);
            distance += step * step;
        }
        if (distance < least) least = distance, nearest = in[i];
    }
    int nKept = ownNearKeep(table, in, n, nearest, cell, out);
    for (int i = 0; i < std::min(nKept, (int)OWN_NEAR_HIDING) && nKept > OWN_NEAR_LANES; ++i)
        nKept = ownNearKeep(table, out, nKept, out[i], cell, out);
    return nKept;
}

static void ownNearPut(OwnNearBlock* block, int lane, const uint8_t* entry, int index)
{
    const int square = entry[0] * entry[0] + entry[1] * entry[1] + entry[2] * entry[2];
    block->blueGreen[2 * lane] = (int16_t)(entry[0] * 64);
    block->blueGreen[2 * lane + 1] = (int16_t)(entry[1] * 64);
    block->red[2 * lane] = (int16_t)(entry[2] * 64);
    block->key[lane] = square * OWN_NEAR_MOST + index;
}

/* Makes a cell: red, green, blue of it are five bits each. When there is no room all cells are made anew. */
static uint32_t ownNearMake(OwnNearestCells* cells, int cell)
{
    const int place[3] = {cell & 31, cell >> 5 & 31, cell >> 10};
    const int wide = place[0] >> 2 | place[1] >> 2 << 3 | place[2] >> 2 << 6;
    uint16_t* list = cells->lists + (ptrdiff_t)wide * cells->count;
    if (!cells->coarse[wide]) {
        const OwnNearCell around = {{place[0] / 4 * 32, place[1] / 4 * 32, place[2] / 4 * 32}, 32};
        cells->coarse[wide] = ownNearFilter(cells->table, cells->all, cells->count, around, list);
    }
    uint16_t kept[OWN_NEAR_MOST];
    const OwnNearCell here = {{place[0] * 8, place[1] * 8, place[2] * 8}, 8};
    const int n = ownNearFilter(cells->table, list, cells->coarse[wide], here, kept);
    const int nBlocks = (n + OWN_NEAR_LANES - 1) / OWN_NEAR_LANES;
    if (nBlocks > OWN_NEAR_BLOCKS - cells->nBlocks) {
        cells->nBlocks = 0;
        memset(cells->fine, 0, sizeof(cells->fine));
    }
    OwnNearBlock* block = cells->blocks + cells->nBlocks;
    memset((void*)block, 0, (size_t)nBlocks * sizeof(OwnNearBlock));
    for (int i = 0; i < nBlocks * OWN_NEAR_LANES; ++i) {
        OwnNearBlock* at = block + i / OWN_NEAR_LANES;
        if (i < n) ownNearPut(at, i % OWN_NEAR_LANES, cells->table + 4 * kept[i], kept[i]);
        else at->key[i % OWN_NEAR_LANES] = INT32_MAX;
    }
    cells->fine[cell] = (uint32_t)cells->nBlocks << OWN_NEAR_BITS | (uint32_t)nBlocks;
    cells->nBlocks += nBlocks;
    return cells->fine[cell];
}

/* ---- Runs -------------------------------------------------------------------------------------------------------- */

/* What a key needs of a pixel: blue and green, red, each times 128; and its cell. */
struct OwnNearPixels {
    int32_t blueGreen[OWN_NEAR_CHUNK], red[OWN_NEAR_CHUNK], cell[OWN_NEAR_CHUNK];
};

static inline OwnVec<int32_t> ownNearKeys(const OwnNearBlock& block, OwnVec<int16_t> blueGreen, OwnVec<int16_t> red)
{
    return ownLoad<int32_t>(block.key) - ownMulAdd(ownLoad<int16_t>(block.blueGreen), blueGreen) -
           ownMulAdd(ownLoad<int16_t>(block.red), red);
}

static void ownNearChunk(OwnNearestCells* cells, uint8_t* out, const OwnNearPixels& pixels, ptrdiff_t n)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        uint32_t cell = cells->fine[pixels.cell[i]];
        if (!cell) cell = ownNearMake(cells, pixels.cell[i]);
        const OwnNearBlock* block = cells->blocks + (cell >> OWN_NEAR_BITS);
        const OwnVec<int16_t> blueGreen = ownAs<int16_t>(ownSet<int32_t>(pixels.blueGreen[i])),
                              red = ownAs<int16_t>(ownSet<int32_t>(pixels.red[i]));
        OwnVec<int32_t> best = ownNearKeys(*block, blueGreen, red);
        for (uint32_t k = 1, nBlocks = cell & ((1u << OWN_NEAR_BITS) - 1); k < nBlocks; ++k)
            best = ownMin(best, ownNearKeys(block[k], blueGreen, red));
        out[i] = (uint8_t)ownLowest(best);
    }
}

/* Pixels whose colours are one plane: there are only 256 of them. */
static void ownNearGrays(const OwnNearest& nearest, uint8_t* out, const uint8_t* gray, ptrdiff_t n)
{
    OwnNearestCells* cells = nearest.cells;
    if (!cells->hasGrays)
        for (int i = 0; i < 256; ++i) cells->grays[i] = (uint8_t)ownNearestEntry(nearest.table, nearest.count, i, i, i);
    cells->hasGrays = true;
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = cells->grays[gray[i]];
}

void ownNearestRun(const OwnNearest& nearest, uint8_t* out, const uint8_t* blue, const uint8_t* green,
                   const uint8_t* red, ptrdiff_t n)
{
    if (!nearest.cells) return ownNearestPlain(nearest, out, blue, green, red, n);
    if (blue == green && green == red) return ownNearGrays(nearest, out, red, n);
    OwnNearPixels pixels;
    for (ptrdiff_t x = 0; x < n; x += OWN_NEAR_CHUNK) {
        const ptrdiff_t part = std::min<ptrdiff_t>(n - x, OWN_NEAR_CHUNK);
        for (ptrdiff_t i = 0; i < part; ++i) {
            const int b = blue[x + i], g = green[x + i], r = red[x + i];
            pixels.blueGreen[i] = b << 7 | g << 23;
            pixels.red[i] = r << 7;
            pixels.cell[i] = b >> 3 | (g >> 3) << 5 | (r >> 3) << 10;
        }
        ownNearChunk(nearest.cells, out + x, pixels, part);
    }
}
