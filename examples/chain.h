/* chain: operations named in words, applied to a picture one after the other. */
#ifndef CHAIN_H
#define CHAIN_H

#include "scene.h"

#include <string>

/* A picture, and the settings for the operations to come. */
struct Chain {
    VekImage* image; /* changed in place; not owned */
    VekROI roi = {}; /* width 0: the whole picture */
    int32_t coi = 0;
    enum { NO_MASK, ELLIPSE, CHECKER } mask = NO_MASK;
};

/* What a step did. */
struct StepTime {
    double seconds;  /* in the library's call; 0 for a setting */
    double nSamples; /* that the call had to visit */
};

/* Carries out one step: "adds:40", "roi:100:50:200:150", "mask:circle". Returns the empty text, or what was wrong. */
std::string chainStep(Chain* chain, const std::string& step, StepTime* time);

#endif
