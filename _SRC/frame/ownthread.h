/* ownthread.h: the caches of a thread's record, each with its release. A released cache is empty and can be filled
 * again. */
#ifndef OWN_THREAD_H
#define OWN_THREAD_H

#include "own.h"

/* The tables of the Fourier transform, and what is noted about them. */
void ownFftRelease(VekThreadContext* context);

/* The tables of the cosine transform. */
void ownDctReleaseBlocks(VekThreadContext* context);
void ownDctReleaseTable(VekThreadContext* context);
void ownDctReleasePlans(VekThreadContext* context);

#endif
