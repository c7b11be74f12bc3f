/* ownwhile: a header that says another depth while something is done. In C, and compiled so that an exception on its way
 * through puts the header right too: C++ would bring its whole runtime for that. */
#include "ownwhile.h"

struct OwnDepthBefore {
    VekImage* image;
    uint32_t depth;
};

static void ownPutBack(struct OwnDepthBefore* before) { before->image->depth = before->depth; }

void ownWithDepth(VekImage* image, uint32_t depth, OwnDepthWork* work, const void* k)
{
    __attribute__((cleanup(ownPutBack))) struct OwnDepthBefore before = {image, image->depth};
    image->depth = depth;
    work(before.image, k);
}
