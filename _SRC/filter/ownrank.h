/* ownrank.h: the row stages of the median, by depth and window. */
#ifndef OWNRANK_H
#define OWNRANK_H

#include "own.h"

/* The window of a filter and the rank of its result, counted from 1 in ascending order. */
struct OwnRank {
    int64_t nCols, nRows, rank;
    int slot;
    int32_t tileRows = 0; /* of ownOrderStage */
};

/* Windows of so few samples are searched faster than histograms or orders of them are kept. */
static inline bool ownHasFewSamples(const OwnRank& rank)
{
    return rank.nCols * rank.nRows <= (rank.slot == OWN_32S ? 64 : 100);
}

/* A way to the median: gives a window its stage, and the scratch that the stage needs, if it serves the depth and the window.
 * The search serves all depths but 1U. */
typedef bool OwnMedianWay(OwnWindow& window, OwnRank& rank);
OwnMedianWay ownOnesStage, ownNetworkStage, ownHistogramStage, ownOrderStage, ownSlidingStage, ownSearchStage;

#endif
