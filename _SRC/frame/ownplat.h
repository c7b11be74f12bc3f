/* ownplat.h: what differs between platforms. Each has one file for it, ownplat_posix.cpp or ownplat_win32.cpp, which
 * also takes the events of the module: load, unload, end of a thread.
 *
 * These files are compiled for the base processor and not for the build's variant: they run before it is known whether
 * the processor has the variant. */
#ifndef OWN_PLAT_H
#define OWN_PLAT_H

#include "own.h"

/* The calling thread's record as it was kept; null when there is none yet. */
VekThreadContext* ownThreadGet();

/* Keeps a record for the calling thread, to be released when the thread ends. False when it can't be kept. */
bool ownThreadKeep(VekThreadContext* context);

/* Ends the process with a text. */
[[noreturn]] void ownFatalExit(const char* text);

/* The message boxes, by their style value. */
enum OwnBoxStyle { OWN_BOX_OK_CANCEL = 0x2011, OWN_BOX_YES_NO = 0x2014, OWN_BOX_NOTICE = 0x2040 };

/* Shows a box and waits for its answer: true for OK and Yes. A box that can't be shown is answered so that the
 * application goes on: OK, and No. */
bool ownAsk(OwnBoxStyle box, const char* text, const char* caption);

/* ---- The processor ------------------------------------------------------------------------------------------- */

/* An instruction set by the place of its bit: the register (0 to 3 for eax, ebx, ecx, edx) of a CPUID leaf, and the
 * register state that the operating system must have enabled for it (bits of XCR0, or 0). */
struct OwnNeed {
    const char* name; /* null ends a list */
    uint32_t leaf;
    int8_t reg, bit;
    uint8_t osState;
};

/* What the rest of the library was compiled for. */
extern const OwnNeed ownVariant[];

/* The name of the first entry of a list that the processor lacks, null when it lacks none. */
const char* ownProcessorLacks(const OwnNeed* need);

/* The check at load. False, and a sentence on the standard error stream, when the processor lacks the variant. */
bool ownProcessorFits();

#endif
