/* support: the reports of failures are silent in all targets. */
#include "fuzz.h"

#include <stdio.h>
#include <stdlib.h>

void fuzzFail(const char* test, const char* file, int line)
{
    fprintf(stderr, "%s:%d: not %s\n", file, line, test);
    abort();
}

static const bool isSilent = [] {
    vekRedirectError(vekNulDevReport);
    vekSetErrMode(VEK_ErrorModeNoReport);
    return true;
}();
