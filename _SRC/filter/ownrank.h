/* ownrank.h: the row stages of the rank filters, by kind and depth. */
#ifndef OWNRANK_H
#define OWNRANK_H

#include "own.h"

/* The window of a filter and the rank of its result, counted from 1 in ascending order. */
struct OwnRank {
    int64_t nCols, nRows, rank;
    int slot;
    bool largest; /* of the extrema */
};

/* Gives a window its stage, and the scratch that the stage needs. */
void ownExtremeStage(OwnWindow& window, const OwnRank& rank);
void ownMedianStage(OwnWindow& window, const OwnRank& rank);
void ownHistogramStage(OwnWindow& window, const OwnRank& rank);

/* Whether histograms are the better way to a median. */
bool ownHistogramPays(const OwnRank& rank);

#endif
