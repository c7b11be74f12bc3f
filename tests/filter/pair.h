/* pair: a source and a destination for operations on neighbourhoods, and what has to hold after each of them. */
#ifndef TESTS_PAIR_H
#define TESTS_PAIR_H

#include "filter/rank_model.h"
#include "support/parts.h"

/* The two may be the same image, and each may have tiles over it. */
struct FilterPair {
    std::unique_ptr<TestImage> src, other;
    std::unique_ptr<TiledImage> srcTiles, dstTiles;
    std::vector<uint8_t> srcBytes, expected;

    TestImage& dst() { return other ? *other : *src; }
    const VekImage* srcHeader() const { return srcTiles ? &srcTiles->image : &src->image; }
    VekImage* dstHeader();
    std::string text();

    /* Puts tiles over some of them, and takes down what the images hold. */
    void drawTiles(Random& random, bool srcToo);

    /* Calls the operation, which must succeed without a trace, leave what is expected, of floats up to so many units of the
     * last place, and open each tile of the destination once. */
    void check(const std::function<void()>& call, int64_t mostApart = 0);

private:
    void checkBytes(int64_t mostApart);
};

#endif
