/* ownthread: the record of a thread: its status, error mode and reporter, and the tables that transforms keep there, so
 * that they are built once a thread and need no lock. */
#include "ownthread.h"
#include "ownplat.h"

/* ---- Caches -------------------------------------------------------------------------------------------------- */

void ownFftRelease(VekThreadContext* context)
{
    for (auto& kind : context->fftCache.tables)
        for (void* table : kind) ownFree(table);
    context->fftCache = {};
}

/* Frees a counted array of tables with the tables. */
static void ownReleaseCounted(void**& tables, int32_t& count)
{
    for (int32_t i = 0; tables && i < count; ++i) ownFree(tables[i]);
    ownFree(tables);
    tables = nullptr;
    count = 0;
}

void ownDctReleaseBlocks(VekThreadContext* context) { ownReleaseCounted(context->dctBlocks, context->dctBlockCount); }

void ownDctReleaseTable(VekThreadContext* context)
{
    ownFree(context->dctTable);
    context->dctTable = nullptr;
    context->dctTableKey = 0;
}

void ownDctReleasePlans(VekThreadContext* context) { ownReleaseCounted(context->dctPlans, context->dctPlanCount); }

/* ---- The record ---------------------------------------------------------------------------------------------- */

VekThreadContext* ownThreadCreate()
{
    VekThreadContext* context = (VekThreadContext*)ownPlainAlloc(sizeof(VekThreadContext));
    if (!context) return nullptr;
    *context = {};
    context->reporter = vekGuiBoxReport;
    context->dctTableKey = -1;
    context->noise = 1;
    return context;
}

void ownThreadDestroy(VekThreadContext* context)
{
    if (!context) return;
    ownFftRelease(context);
    ownDctReleaseBlocks(context);
    ownDctReleaseTable(context);
    ownDctReleasePlans(context);
    ownPlainFree(context);
}

/* A thread that is older than the library's load has no record until its first call. */
VekThreadContext* vekGetThreadContext()
{
    if (VekThreadContext* kept = ownThreadGet()) return kept;
    VekThreadContext* context = ownThreadCreate();
    if (!context || !ownThreadKeep(context)) ownFatalExit("VEKlib. Problem to allocate memory for TLS VEK context.");
    return context;
}
