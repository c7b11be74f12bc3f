/* vekheap: the plain allocator. It stands alone, so that a program can link another in its place. */
#include "own.h"

#include <stdlib.h>

void* ownPlainAlloc(size_t bytes) { return malloc(bytes ? bytes : 1); }

void ownPlainFree(void* block) { free(block); }
