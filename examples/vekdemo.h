/* vekdemo: the program as a function, for its tests. Returns the exit code. */
#ifndef VEKDEMO_H
#define VEKDEMO_H

#include "vek.h"

#include <stdio.h>

#include <string>

/* Carries out all steps. The times of the operations are printed, or the name of the step that failed. */
bool runSteps(VekImage* image, const std::string& steps, FILE* out, FILE* err);

int vekdemo(int argc, const char* const* argv, FILE* out, FILE* err);

#endif
