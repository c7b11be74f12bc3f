/* heap: the tests' plain allocator, in place of the library's. Its counters are constant-initialised: the library
 * allocates before other constructors run. */
#include "support/support.h"

#include <atomic>
#include <stdlib.h>

static std::atomic<int> nLeft{-1}, nLive{0};
static std::atomic<size_t> mostBytes{SIZE_MAX};

void heapFailAfter(int n) { nLeft = n; }

void heapFailAbove(size_t bytes) { mostBytes = bytes; }

int heapLive() { return nLive; }

void* ownPlainAlloc(size_t bytes)
{
    if (nLeft == 0 || bytes > mostBytes) return nullptr;
    if (nLeft > 0) --nLeft;
    void* block = malloc(bytes ? bytes : 1);
    if (block) ++nLive;
    return block;
}

void ownPlainFree(void* block)
{
    if (block) --nLive;
    free(block);
}
