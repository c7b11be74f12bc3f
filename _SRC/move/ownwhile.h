/* ownwhile.h: a header that says another depth while something is done. */
#ifndef OWNWHILE_H
#define OWNWHILE_H

#include "vek.h"

#ifdef __cplusplus
extern "C" {
#endif

/* work(image, k), while image->depth is `depth`. */
typedef void OwnDepthWork(VekImage* image, const void* k);
void ownWithDepth(VekImage* image, uint32_t depth, OwnDepthWork* work, const void* k);

#ifdef __cplusplus
}
#endif
#endif
