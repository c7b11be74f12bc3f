/* ownmedcut: a colour table by median cut. The pixels are counted in cells of a cube of colours (of 64 x 64 x 64, red
 * fastest, or of 256 x 1 x 1 grays). One box holds all of them; passes over the boxes cut each at the median of its longest
 * axis, until there are as many as the table has entries. An entry is the mean of its box. */
#include "owndib.h"

enum { OWN_AXES = 3, OWN_AXIS_MOST = 256 };

struct OwnCube {
    uint32_t* cells;
    uint32_t step[OWN_AXES]; /* cells from a slice of an axis to the next */
    uint32_t nCells;
    bool isGray; /* a cell is a gray; otherwise four steps of each colour */
};
static const OwnCube ownGrayCube = {nullptr, {1, 256, 256}, 256, true};
static const OwnCube ownColourCube = {nullptr, {1, 64, 4096}, 1 << 18, false};

struct OwnCutBox {
    uint32_t lo[OWN_AXES], hi[OWN_AXES]; /* both within the box */
    uint32_t count;                      /* of pixels */
    uint32_t isClosed;                   /* not to be cut any more */
};
static_assert(sizeof(OwnCutBox) == 32);

/* ---- Counting ---------------------------------------------------------------------------------------------------- */

/* Counts a run of pixels whose channels, red first, begin at `at`, `step` bytes from pixel to pixel. */
static void ownCountRow(const OwnCube& cube, const uint8_t* const at[OWN_AXES], ptrdiff_t step, int32_t n)
{
    uint32_t* const cells = cube.cells;
    const uint8_t *red = at[0], *green = at[1], *blue = at[2];
    if (cube.isGray)
        for (ptrdiff_t i = 0; i < n; ++i) ++cells[red[i * step]];
    else
        for (ptrdiff_t i = 0; i < n; ++i)
            ++cells[red[i * step] >> 2 | green[i * step] >> 2 << 6 | blue[i * step] >> 2 << 12];
}

/* The high bytes of all samples; a fourth channel is left out. */
static void ownCountPixels(const OwnCube& cube, const VekImage* image, bool redFirst)
{
    const OwnView view = ownWholeView(image);
    const ptrdiff_t sampleBytes = view.sampleBits >> 3;
    for (ptrdiff_t y = 0; y < view.height; ++y) {
        const uint8_t* first = view.data + y * view.rowStep + (view.sampleBits >> 4);
        const uint8_t* third = first + (cube.isGray ? 0 : 2 * view.channelStep);
        const uint8_t* at[OWN_AXES] = {redFirst ? first : third, first + (cube.isGray ? 0 : view.channelStep),
                                       redFirst ? third : first};
        ownCountRow(cube, at, view.pixelStep * sampleBytes, view.width);
    }
}

/* ---- Boxes ------------------------------------------------------------------------------------------------------- */

/* The pixels of each slice of a box, on each axis. */
struct OwnSlices {
    uint32_t of[OWN_AXES][OWN_AXIS_MOST];
};

static void ownSliceSums(const OwnCube& cube, const OwnCutBox& box, OwnSlices* sums)
{
    for (int axis = 0; axis < OWN_AXES; ++axis)
        std::fill(sums->of[axis] + box.lo[axis], sums->of[axis] + box.hi[axis] + 1, 0u);
    const uint32_t n = box.hi[0] - box.lo[0] + 1;
    for (uint32_t z = box.lo[2]; z <= box.hi[2]; ++z)
        for (uint32_t y = box.lo[1]; y <= box.hi[1]; ++y) {
            const uint32_t* row = cube.cells + z * cube.step[2] + y * cube.step[1] + box.lo[0];
            uint32_t *out = sums->of[0] + box.lo[0], sum = 0;
            for (uint32_t x = 0; x < n; ++x) {
                out[x] += row[x];
                sum += row[x];
            }
            sums->of[1][y] += sum;
            sums->of[2][z] += sum;
        }
}

/* Draws the bounds in to the outermost slices with pixels. */
static void ownShrink(const OwnCube& cube, OwnCutBox* box, OwnSlices* sums)
{
    ownSliceSums(cube, *box, sums);
    for (int axis = 0; axis < OWN_AXES; ++axis) {
        const uint32_t* slices = sums->of[axis];
        while (box->lo[axis] < box->hi[axis] && !slices[box->lo[axis]]) ++box->lo[axis];
        while (box->hi[axis] > box->lo[axis] && !slices[box->hi[axis]]) --box->hi[axis];
    }
}

static bool ownIsCell(const OwnCutBox& box)
{
    return box.lo[0] == box.hi[0] && box.lo[1] == box.hi[1] && box.lo[2] == box.hi[2];
}

static int ownLongestAxis(const OwnCutBox& box)
{
    const uint32_t x = box.hi[0] - box.lo[0], y = box.hi[1] - box.lo[1], z = box.hi[2] - box.lo[2];
    return x >= y && x >= z ? 0 : y >= z ? 1 : 2;
}

/* Cuts a box whose outermost slices have pixels, on at least one axis two different ones, after the slice at which the sum
 * comes nearest to the half; each part gets pixels. */
static void ownCut(const OwnCube& cube, OwnCutBox* box, OwnCutBox* upper, OwnSlices* sums)
{
    const int axis = ownLongestAxis(*box);
    const uint32_t* slices = sums->of[axis];
    ownSliceSums(cube, *box, sums);
    const uint32_t half = box->count >> 1;
    uint32_t last = box->lo[axis], sum = slices[last];
    while (sum <= half) sum += slices[++last];
    if (sum - half > half - (sum - slices[last])) sum -= slices[last--];

    *upper = *box;
    upper->lo[axis] = last + 1;
    upper->count = box->count - sum;
    box->hi[axis] = last;
    box->count = sum;
    ownShrink(cube, upper, sums);
    ownShrink(cube, box, sums);
    /* A box of several colours beside one of a single colour is closed with it; of grays it is not. */
    box->isClosed = ownIsCell(*box);
    upper->isClosed = ownIsCell(*upper) || (box->isClosed && !cube.isGray);
}

/* Cuts until there are `wanted` boxes, or none is left to be cut; returns how many there are. */
static uint32_t ownCutAll(const OwnCube& cube, OwnCutBox* boxes, uint32_t wanted, uint32_t nPixels)
{
    OwnSlices sums;
    OwnCutBox& first = boxes[0];
    first = {};
    for (int axis = 0; axis < OWN_AXES; ++axis)
        first.hi[axis] = (axis + 1 < OWN_AXES ? cube.step[axis + 1] : cube.nCells) / cube.step[axis] - 1;
    first.count = nPixels;
    ownShrink(cube, &first, &sums);
    uint32_t count = 1;
    for (uint32_t before = 0; count < wanted && count != before;) {
        before = count;
        for (uint32_t i = 0; i < before && count < wanted; ++i)
            if (!boxes[i].isClosed) ownCut(cube, &boxes[i], &boxes[count++], &sums);
    }
    return count;
}

/* ---- The table --------------------------------------------------------------------------------------------------- */

static void ownSetEntry(const OwnCube& cube, uint8_t* entry, const uint32_t place[OWN_AXES])
{
    for (int i = 0; i < 3; ++i) entry[i] = (uint8_t)place[cube.isGray ? 0 : 2 - i];
    entry[3] = 0;
}

/* The mean of a box: sum of count * value, over the box's count, chopped. A colour's value is that of its cell's low end. */
static void ownMeanEntry(const OwnCube& cube, const OwnCutBox& box, OwnSlices* sums, uint8_t* entry)
{
    ownSliceSums(cube, box, sums);
    uint32_t mean[OWN_AXES] = {};
    for (int axis = 0; axis < OWN_AXES; ++axis) {
        uint64_t sum = 0;
        for (uint32_t i = box.lo[axis]; i <= box.hi[axis]; ++i) sum += (uint64_t)sums->of[axis][i] * i;
        mean[axis] = (uint32_t)((cube.isGray ? sum : 4 * sum) / box.count);
    }
    ownSetEntry(cube, entry, mean);
}

/* One entry for each cell that has pixels, in their order. */
static void ownCellTable(const OwnCube& cube, uint8_t* table)
{
    const uint32_t scale = cube.isGray ? 1 : 4, low = cube.isGray ? 255 : 63;
    for (uint32_t i = 0; i < cube.nCells; ++i) {
        if (!cube.cells[i]) continue;
        const uint32_t place[OWN_AXES] = {(i & low) * scale, (i >> 6 & 63) * scale, (i >> 12) * scale};
        ownSetEntry(cube, table, place);
        table += 4;
    }
}

/* The table from the filled cells; how many entries it has, 0 without memory. */
static uint32_t ownCubeTable(const OwnCube& cube, uint32_t wanted, uint8_t* table)
{
    uint32_t nFilled = 0, nPixels = 0;
    for (uint32_t i = 0; i < cube.nCells; ++i) {
        nFilled += cube.cells[i] != 0;
        nPixels += cube.cells[i];
    }
    if (nFilled <= wanted) return ownCellTable(cube, table), nFilled;
    OwnCutBox* boxes = (OwnCutBox*)vekMalloc((int32_t)(sizeof(OwnCutBox) * wanted));
    if (!boxes) return 0;
    const uint32_t count = ownCutAll(cube, boxes, wanted, nPixels);
    OwnSlices sums;
    for (uint32_t i = 0; i < count; ++i) ownMeanEntry(cube, boxes[i], &sums, table + 4 * i);
    vekFree(boxes);
    return count;
}

static uint32_t ownImageTable(const VekImage* image, uint32_t wanted, uint8_t* table)
{
    OwnCube cube = image->nChannels == 1 ? ownGrayCube : ownColourCube;
    const OwnSequence sequence = ownSequence(image);
    if (!cube.isGray) {
        if (image->nChannels != 3 && image->nChannels != 4) return 0;
        if (sequence != OWN_SEQ_BGR && sequence != OWN_SEQ_RGB) return 0;
    }
    const int32_t bytes = (int32_t)(sizeof(uint32_t) * cube.nCells);
    cube.cells = (uint32_t*)vekMalloc(bytes);
    if (!cube.cells) return 0;
    memset(cube.cells, 0, (size_t)bytes);
    ownCountPixels(cube, image, sequence == OWN_SEQ_RGB);
    const uint32_t count = ownCubeTable(cube, wanted, table);
    vekFree(cube.cells);
    return count;
}

bool ownMedianCut(BITMAPINFOHEADER* dib, const VekImage* image)
{
    OwnDib parts = ownOpenDib(dib);
    if (parts.info.biBitCount > 8) return false;
    if (!ownDibHasIndices(parts)) return true; /* has room for no table; its count of bits is refused with the pixels */
    uint32_t count = 2;
    if (image->depth == VEK_DEPTH_1U) memcpy(parts.table, "\0\0\0\0\377\377\377", 8);
    else count = ownImageTable(image, 1u << parts.info.biBitCount, parts.table);
    if (!count) return false;
    parts.info.biClrUsed = count;
    memcpy((void*)dib, &parts.info, sizeof(parts.info));
    return true;
}
