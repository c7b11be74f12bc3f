/* vekreport: the three reporters that an application can choose from: silent, standard error stream, message box. */
#include "own.h"
#include "ownplat.h"

#include <stdio.h>
#include <stdlib.h>

static bool ownIsTrace(VekStatus status) { return status == VEK_StatusBacktrace || status == VEK_StatusAutotrace; }

VekStatus vekNulDevReport(VekStatus status, const char*, const char*, const char*, int32_t)
{
    if (vekGetErrMode() == VEK_ErrorModeLeaf) exit(1);
    return status;
}

VekStatus vekStdErrReport(VekStatus status, const char* funcName, const char* context, const char* file, int32_t line)
{
    const int32_t mode = vekGetErrMode();
    if (mode == VEK_ErrorModeNoReport) return status;
    if (ownIsTrace(status)) fputs("\tcalled from", stderr);
    else fprintf(stderr, "\nVEK Library Error: %s \n\tin function", vekErrorStr(status));
    if (line > 0 || file) fprintf(stderr, " [%s:%d]", file ? file : "", (int)line);
    fprintf(stderr, ":%s", funcName ? funcName : "<unknown>");
    if (context) fprintf(stderr, status == VEK_StatusAutotrace ? "(%s)" : "(): %s", context);
    fputs("\n", stderr);
    fflush(stderr);
    if (mode == VEK_ErrorModeLeaf) {
        fputs("VEK Library Error\nErrMode=VEK_ErrModeLeaf\nterminating the application", stderr);
        fflush(stderr);
        exit(1);
    }
    return status;
}

/* ---- The message box ----------------------------------------------------------------------------------------- */

/* What the box says. As snprintf: returns the length, and writes it when there is a buffer. */
static int ownBoxText(char* text, size_t textBytes, VekStatus status, const char* funcName, const char* context,
                      const char* file, int32_t line, const char* suffix)
{
    return snprintf(text, textBytes, "%s %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s",
                    ownIsTrace(status) ? "Called from" : "In function", funcName ? funcName : "<unknown>",
                    file ? file : "", (int)(line < 0 ? 0 : line), context ? context : "", vekErrorStr(status),
                    (int)status, suffix);
}

/* Shows the box of an error mode. Returns whether the application is to end. */
static bool ownBoxEnds(int32_t mode, const char* text)
{
    char caption[64];
    snprintf(caption, sizeof(caption), "VEK %s", vekGetLibVersion()->versionText);
    return mode == VEK_ErrorModeParent ? !ownAsk(OWN_BOX_OK_CANCEL, text, caption)
                                       : ownAsk(OWN_BOX_YES_NO, text, caption);
}

/* The message is measured before it is written, so no name or context is too long for it. Without memory for it
 * nothing is shown. */
VekStatus vekGuiBoxReport(VekStatus status, const char* funcName, const char* context, const char* file, int32_t line)
{
    const int32_t mode = vekGetErrMode();
    if (mode != VEK_ErrorModeLeaf && mode != VEK_ErrorModeParent) return status;
    const char* suffix = mode == VEK_ErrorModeLeaf ? "\n\nErrMode=VEK_ErrorModeLeaf\n\nTerminate the application?"
                                                   : "\n\nErrMode=VEK_ErrorModeParent\n\nContinue?";
    const int length = ownBoxText(nullptr, 0, status, funcName, context, file, line, suffix);
    char* text = length < 0 ? nullptr : (char*)ownPlainAlloc((size_t)length + 1);
    if (!text) return status;
    ownBoxText(text, (size_t)length + 1, status, funcName, context, file, line, suffix);
    const bool ends = ownBoxEnds(mode, text);
    if (ends) ownAsk(OWN_BOX_NOTICE, "VEK Library: terminating the application", "Win32: Application exit");
    ownPlainFree(text);
    if (ends) exit(1);
    return status;
}
