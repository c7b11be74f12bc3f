/* The module found while the program runs: no import at link time, and a plain sentence where it is missing. The
 * argument is the module's path; without one the system looks for it by name. */
#include <stdio.h>
#define VEK_STATIC /* the prototypes are wanted for their types alone */
#include <vek.h>

#ifdef _WIN32
#include <windows.h>
#define MODULE "vekA6.dll"
typedef HMODULE Module;
static Module load(const char* name) { return LoadLibraryA(name); }
static void* symbol(Module module, const char* name) { return (void*)(uintptr_t)GetProcAddress(module, name); }
static void unload(Module module) { FreeLibrary(module); }
#else
#include <dlfcn.h>
#define MODULE "libvekA6.so.6"
typedef void* Module;
static Module load(const char* name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }
static void* symbol(Module module, const char* name) { return dlsym(module, name); }
static void unload(Module module) { dlclose(module); }
#endif

/* The functions that this program calls. */
static struct {
    VekImage* (*createJaehne)(int32_t, int32_t, int32_t);
    void (*threshold)(const VekImage*, VekImage*, int32_t);
    void (*deallocate)(VekImage*, int32_t);
} vek;

static int find(Module module, const char* name, void* function)
{
    void* const found = symbol(module, name);
    *(void**)function = found; /* as POSIX has it: a pointer to a function fits where one to an object does */
    return found != NULL;
}

int main(int argc, char** argv)
{
    Module module = load(argc > 1 ? argv[1] : MODULE);
    VekImage* rings;
    int x, y;
    if (!module || !find(module, "vekCreateImageJaehne", &vek.createJaehne) ||
        !find(module, "vekThreshold", &vek.threshold) || !find(module, "vekDeallocate", &vek.deallocate)) {
        fprintf(stderr, "There is no usable %s.\n", argc > 1 ? argv[1] : MODULE);
        return 1;
    }
    rings = vek.createJaehne(VEK_DEPTH_8U, 32, 16);
    if (!rings) return 1;
    vek.threshold(rings, rings, 128);
    for (y = 0; y < 16; ++y) {
        for (x = 0; x < 32; ++x) putchar(rings->imageData[y * rings->widthStep + x] ? '#' : '.');
        putchar('\n');
    }
    vek.deallocate(rings, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    unload(module);
    return 0;
}

/* Prints:
..#.#..#...#####.#####...#..#.#.
.#.##.##..###.......###..##.##.#
.#.#.##..##...........##..##.#.#
#.##.#..##....#####....##..#.##.
#.#..#..##...#######...##..#..#.
#.#.##.##...#########...##.##.#.
#.#.#..##..###########..##..#.#.
#.#.#..##..###########..##..#.#.
..#.#..#...#####.#####...#..#.#.
#.#.#..##..###########..##..#.#.
#.#.#..##..###########..##..#.#.
#.#.##.##...#########...##.##.#.
#.#..#..##...#######...##..#..#.
#.##.#..##....#####....##..#.##.
.#.#.##..##...........##..##.#.#
.#.##.##..###.......###..##.##.#
*/
