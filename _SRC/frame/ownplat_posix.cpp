/* ownplat_posix: slot and module events by POSIX threads and the loader's constructor and destructor; message boxes as
 * questions on the controlling terminal. */
#include "ownplat.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

/* ---- The slot ------------------------------------------------------------------------------------------------ */

/* The slot of the threads' records, made at load. The one thing here that is not a thread's own. */
static struct {
    pthread_key_t key;
    enum { NONE, OPEN, CLOSED } state;
} ownKeep;

VekThreadContext* ownThreadGet()
{
    return ownKeep.state == ownKeep.OPEN ? (VekThreadContext*)pthread_getspecific(ownKeep.key) : nullptr;
}

/* Once the module is closed a call can only come from a thread that outlives the end of main: the process is about to
 * end, and the record needs no keeping. */
bool ownThreadKeep(VekThreadContext* context)
{
    if (ownKeep.state == ownKeep.CLOSED) return true;
    return ownKeep.state == ownKeep.OPEN && pthread_setspecific(ownKeep.key, context) == 0;
}

static void ownThreadEnd(void* context) { ownThreadDestroy((VekThreadContext*)context); }

/* ---- Load and unload ----------------------------------------------------------------------------------------- */

/* Ahead of all other constructors, since those may call the library. A load can't be refused from here: without a slot,
 * or without memory for the record, the first call ends the process. */
__attribute__((constructor(101))) static void ownLoad()
{
    if (!ownProcessorFits()) abort();
    if (pthread_key_create(&ownKeep.key, ownThreadEnd) != 0) return;
    ownKeep.state = ownKeep.OPEN;
    VekThreadContext* context = ownThreadCreate();
    if (context && !ownThreadKeep(context)) ownThreadDestroy(context);
}

/* The key goes with the module, or it would call ownThreadEnd at the end of each thread that is still alive. */
__attribute__((destructor(101))) static void ownUnload()
{
    if (ownKeep.state != ownKeep.OPEN) return;
    VekThreadContext* context = ownThreadGet();
    ownKeep.state = ownKeep.CLOSED;
    pthread_key_delete(ownKeep.key);
    ownThreadDestroy(context);
}

void ownFatalExit(const char* text)
{
    fprintf(stderr, "%s\n", text);
    abort();
}

/* ---- Message boxes ------------------------------------------------------------------------------------------- */

/* The controlling terminal, when there is one and the process is in its foreground; otherwise -1. */
static int ownTerminal()
{
    const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0 && tcgetpgrp(terminal) == getpgrp()) return terminal;
    if (terminal >= 0) close(terminal);
    return -1;
}

static bool ownWrite(int file, const char* text)
{
    for (size_t rest = strlen(text); rest > 0;) {
        const ssize_t written = write(file, text, rest);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text += written;
        rest -= (size_t)written;
    }
    return true;
}

/* Reads a line and returns its first letter in lower case, '\n' for an empty line, 0 at the end of input. */
static char ownReadLetter(int file)
{
    char first = 0, next = 0;
    while (next != '\n') {
        const ssize_t nRead = read(file, &next, 1);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead <= 0) return 0;
        if (!first) first = next >= 'A' && next <= 'Z' ? (char)(next - 'A' + 'a') : next;
    }
    return first;
}

/* Asks until a line begins with one of the two letters; an empty line or the end of input keeps the answer by which the
 * application goes on. */
static bool ownAskTerminal(int terminal, char yes, char no, const char* prompt, bool goOn)
{
    while (ownWrite(terminal, prompt)) {
        const char letter = ownReadLetter(terminal);
        if (letter == yes) return true;
        if (letter == no) return false;
        if (letter == 0 || letter == '\n') return goOn;
    }
    return goOn;
}

static void ownShow(int file, const char* text, const char* caption)
{
    (void)(ownWrite(file, "\n") && ownWrite(file, caption) && ownWrite(file, "\n") && ownWrite(file, text) &&
           ownWrite(file, "\n"));
}

bool ownAsk(OwnBoxStyle box, const char* text, const char* caption)
{
    const int terminal = ownTerminal();
    bool answer = box != OWN_BOX_YES_NO;
    ownShow(terminal >= 0 ? terminal : STDERR_FILENO, text, caption);
    if (terminal >= 0) {
        if (box == OWN_BOX_OK_CANCEL) answer = ownAskTerminal(terminal, 'o', 'c', "[OK / Cancel] ", answer);
        if (box == OWN_BOX_YES_NO) answer = ownAskTerminal(terminal, 'y', 'n', "[Yes / No] ", answer);
        close(terminal);
    }
    return answer;
}
