/* vekdemo: the program as a function, for its tests. Returns the exit code. */
#ifndef VEKDEMO_H
#define VEKDEMO_H

#include <stdio.h>

int vekdemo(int argc, const char* const* argv, FILE* out, FILE* err);

#endif
