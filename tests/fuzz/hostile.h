/* hostile: arguments that nobody would pass, made of an input's bytes. Headers say truly where their pixels are; everything
 * else is as it comes. Whatever an argument points to lies beside a protected page. */
#ifndef TESTS_FUZZ_HOSTILE_H
#define TESTS_FUZZ_HOSTILE_H

#include "fuzz_dib.h"
#include "support/support.h"

/* The pixels of one image or of several. What nobody was allowed to write must stay. */
struct HostilePixels {
    GuardedBlock block;
    FuzzBytes before;
    bool isWritten = false;

    HostilePixels(size_t bytes, bool atEnd, uint32_t seed);
    bool isSame() const { return std::equal(before.begin(), before.end(), block.data); }
};

/* An image and what hangs on it. Its tiles come as blocks of their own, for some time; each is taken back before the next. */
struct HostileImage {
    VekImage image = {}, before = {};
    VekROI roi = {};
    VekTileInfo tile = {};
    std::shared_ptr<HostilePixels> pixels;
    bool isWritten = false;

    std::unique_ptr<HostilePixels> open;
    int32_t column = 0, row = 0, mode = 0;
    int nOpened = 0, failsAt = 0, nCalls = 0;
    bool keepsPointer = false, spoilsStatus = false, failed = false;

    static void callBack(const VekImage* image, int32_t column, int32_t row, int32_t mode);
    void take();
    void release();
};

/* What a call that does something would have. */
struct HostileHints {
    int nIn = 0, nOut = 0;                    /* items of the arrays that it reads and writes */
    const char *from = "RGB ", *to = "RGB ";  /* the first image's colours, and the others' */
    bool isWhole = false, otherDepth = false; /* no regions; depths that differ */
    int32_t nChannels = 0;                    /* 0: any */
    uint32_t depth = 0;
    bool isBare = false; /* without pixels */
};

class Hostile {
public:
    Hostile(FuzzReader input, const HostileHints& of) : in(input), hints(of) { isCalm = in.byte() & 1; }

    FuzzReader in;
    HostileHints hints;
    bool isCalm = false;   /* nothing strange: most calls should do something */
    bool isPacked = false; /* rows lie as far apart as the widths say, whatever widthStep says */

    int32_t number();
    double real();
    bool oneIn(int n) { return in.byte() % n == n - 1; }
    bool strange(int n) { return !isCalm && oneIn(n); }

    template <class T> T* place(int64_t count)
    {
        blocks.push_back(std::make_unique<GuardedBlock>((size_t)count * sizeof(T)));
        return (T*)blocks.back()->data;
    }
    template <class T> T* placed(const T& value) { return &(*place<T>(1) = value); }
    template <class T> T* placeNumbers(int64_t count)
    {
        T* items = place<T>(count);
        for (int64_t i = 0; i < count; ++i) items[i] = (T)(count > 50 ? i * 37 : number());
        return items;
    }

    VekImage* image(bool isWritten);
    VekROI region(int32_t width, int32_t height);
    VekLUT** tables();
    template <class K, class T> K* kernel();
    double* reals(int count);
    uint8_t* bitmap(BITMAPINFOHEADER info, size_t* pixelsAt, size_t* nBytes);

    /* Nothing was written that may not be, and no tile is open. */
    void check();

private:
    std::vector<std::unique_ptr<GuardedBlock>> blocks;
    std::vector<std::unique_ptr<HostileImage>> images;

    void drawFields(VekImage& image);
    void drawFault(VekImage& image);
    void drawPixels(HostileImage& made);
    void drawTiles(HostileImage& made);
    VekImage* drawMask();
};

/* A kernel's fields, with as many coefficients as it says. */
template <class K, class T> K* Hostile::kernel()
{
    if (strange(40)) return nullptr;
    K kernel = {};
    kernel.nCols = number() | isCalm;
    kernel.nRows = number() | isCalm;
    kernel.anchorX = strange(4) ? number() : in.byte() % std::clamp(kernel.nCols, 1, 256);
    kernel.anchorY = strange(4) ? number() : in.byte() % std::clamp(kernel.nRows, 1, 256);
    const int64_t count = (int64_t)std::max(kernel.nCols, 1) * std::max(kernel.nRows, 1);
    if (count <= 1 << 16 && !strange(40)) kernel.values = placeNumbers<T>(count);
    if constexpr (std::is_same_v<K, VekConvKernel>) kernel.nShiftR = number();
    return placed(kernel);
}

#endif
