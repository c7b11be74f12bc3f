/* An image that is larger than the memory one cares to spend: 40,000 by 40,000 pixels, 1.6 gigabytes, in a file. The
 * library asks for one tile at a time, and the callback maps just that one. POSIX. */
#define _POSIX_C_SOURCE 200809L
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vek.h>

/* The file holds ten by ten tiles, one after the other; the last ones of a row and a column reach beyond the image. */
enum { SIDE = 40000, TILE = 4096, TILES = (SIDE + TILE - 1) / TILE, TILE_BYTES = TILE * TILE };

/* A tile is mapped when it is wanted and unmapped when it is given back; what was written lands in the file. */
static void mapTile(const VekImage* image, int32_t column, int32_t row, int32_t mode)
{
    const int file = *(const int*)image->tileInfo->tileId;
    VekTileInfo* tiles = image->tileInfo;
    if (mode == VEK_TILE_RELEASE) {
        if (tiles->tileData) munmap(tiles->tileData, TILE_BYTES);
        tiles->tileData = NULL;
    } else {
        void* pixels = mmap(NULL, TILE_BYTES, PROT_READ | (mode == VEK_TILE_WRITE ? PROT_WRITE : 0), MAP_SHARED, file,
                            ((off_t)row * TILES + column) * TILE_BYTES);
        tiles->tileData = pixels == MAP_FAILED ? NULL : pixels; /* null: the operation ends, and reports it */
    }
}

int main(int argc, char** argv)
{
    const struct rlimit few = {300 << 20, 300 << 20}; /* bytes of address space: the image would not fit */
    char name[] = "/tmp/vek-tiles-XXXXXX";
    int32_t key[] = {0, 1, 100, 256}, count[3], i; /* the bins: black, dark, bright */
    VekLUT bins = {4, key, count, NULL, 0}, *lut = &bins;
    VekROI square = {0, 0, 0, 1000, 1000};
    struct rusage use;
    int file = argc > 1 ? open(argv[1], O_RDWR | O_CREAT, 0600) : mkstemp(name);
    VekTileInfo* tiles = vekCreateTileInfo(mapTile, &file, TILE, TILE);
    VekImage* image = vekCreateImageHeader(1, 0, VEK_DEPTH_8U, "GRAY", "G\0\0\0", VEK_DATA_ORDER_PIXEL,
                                           VEK_ORIGIN_TOP_LEFT, 4, SIDE, SIDE, NULL, NULL, NULL, tiles);
    if (argc < 2) unlink(name);
    if (file < 0 || ftruncate(file, (off_t)TILES * TILES * TILE_BYTES) || setrlimit(RLIMIT_AS, &few) || !image)
        return 1;
    vekRedirectError(vekStdErrReport);
    vekSetErrMode(VEK_ErrorModeParent);

    /* Nine squares along the diagonal, each across the corner of four tiles. */
    image->roi = &square;
    for (i = 1; i < 10; ++i) {
        square.xOffset = square.yOffset = i * TILE - 500;
        vekSet(image, 20 * i);
    }
    image->roi = NULL;
    vekComputeHisto(image, &lut); /* all 1,600 million pixels */
    getrusage(RUSAGE_SELF, &use);
    if (vekGetErrStatus() < 0) return 1;

    printf("black %d, dark %d, bright %d\n", count[0], count[1], count[2]);
    printf("%s\n", use.ru_maxrss < 100 << 10 ? "in less than 100 MB" : "too much memory");
    vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_TILE);
    return 0;
}

/* Prints:
black 1591000000, dark 4000000, bright 5000000
in less than 100 MB
*/
