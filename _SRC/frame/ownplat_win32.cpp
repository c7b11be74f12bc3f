/* ownplat_win32: slot, module events and message boxes by the calls of the Windows interface.
 *
 * The events come as a callback of the image's thread-local storage, which the loader runs for a DLL and for a program
 * that has the library linked in. It can't refuse a load; DllMain, which runs after it, can. */
#include "ownplat.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>

/* ---- The slot ------------------------------------------------------------------------------------------------ */

/* The slot of the threads' records, made at load. The one thing here that is not a thread's own. */
static DWORD ownKeep = TLS_OUT_OF_INDEXES;

/* A caller may read GetLastError after a call, which TlsGetValue sets. */
VekThreadContext* ownThreadGet()
{
    if (ownKeep == TLS_OUT_OF_INDEXES) return nullptr;
    const DWORD lastError = GetLastError();
    VekThreadContext* context = (VekThreadContext*)TlsGetValue(ownKeep);
    SetLastError(lastError);
    return context;
}

bool ownThreadKeep(VekThreadContext* context) { return ownKeep != TLS_OUT_OF_INDEXES && TlsSetValue(ownKeep, context); }

/* ---- Load, unload and threads ---------------------------------------------------------------------------------- */

static bool ownAttachThread()
{
    if (ownThreadGet()) return true;
    VekThreadContext* context = ownThreadCreate();
    if (context && ownThreadKeep(context)) return true;
    ownThreadDestroy(context);
    return false;
}

static void ownDetachThread()
{
    VekThreadContext* context = ownThreadGet();
    if (context && ownThreadKeep(nullptr)) ownThreadDestroy(context);
}

/* Without the variant a DLL is left without a slot, and refused; a program with the library in it can only end. */
static void ownLoad(void* module)
{
    if (!ownProcessorFits()) {
        if (module == GetModuleHandleA(nullptr)) abort();
        return;
    }
    ownKeep = TlsAlloc();
    ownAttachThread();
}

static void ownUnload()
{
    if (ownKeep == TLS_OUT_OF_INDEXES) return;
    ownDetachThread();
    TlsFree(ownKeep);
    ownKeep = TLS_OUT_OF_INDEXES;
}

/* `ending` is not null at the end of the process: its other threads were ended wherever they stood, its memory goes
 * with it, and whatever is unloaded later may still call the library. */
static void NTAPI ownModuleEvent(void* module, DWORD event, void* ending)
{
    if (event == DLL_PROCESS_ATTACH) ownLoad(module);
    else if (event == DLL_THREAD_ATTACH) ownAttachThread();
    else if (event == DLL_THREAD_DETACH) ownDetachThread();
    else if (event == DLL_PROCESS_DETACH && !ending) ownUnload();
}

/* The linker sorts these sections by name into the list of callbacks; the C runtime's own stand before and after. */
extern "C" __attribute__((section(".CRT$XLF"), used)) const PIMAGE_TLS_CALLBACK ownModuleEvents = ownModuleEvent;

/* Refuses the load without the processor, the slot, or the record. */
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD event, LPVOID)
{
    return event == DLL_PROCESS_ATTACH || event == DLL_THREAD_ATTACH ? ownThreadGet() != nullptr : TRUE;
}

void ownFatalExit(const char* text)
{
    fprintf(stderr, "%s\n", text);
    fflush(stderr);
    FatalAppExitA(0, text);
    abort();
}

/* ---- Message boxes ------------------------------------------------------------------------------------------- */

bool ownAsk(OwnBoxStyle box, const char* text, const char* caption)
{
    const int answer = MessageBoxA(nullptr, text, caption, (UINT)box);
    return box == OWN_BOX_YES_NO ? answer == IDYES : answer != IDCANCEL;
}
