/* ownbits.h: the stages of bit reduction. Each works on whole pixels of untiled images: lower depth, noise, dither. */
#ifndef OWNBITS_H
#define OWNBITS_H

#include "owncolor.h"

/* ---- Lower depth ----------------------------------------------------------------------------------------------- */

/* Rows by the depth of the destination, for each source. */
extern const OwnRow ownReduceRows8U[OWN_DEPTHS], ownReduceRows16U[OWN_DEPTHS], ownReduceRows32S[OWN_DEPTHS];

/* The run between two depths; null where there is none, which ownRefuseDepths reports, and returns false. */
OwnRun* ownReduceRun(uint32_t srcDepth, uint32_t dstDepth);
bool ownRefuseDepths(const OwnFace& face, uint32_t srcDepth);

/* ---- Noise ------------------------------------------------------------------------------------------------------- */

/* Two tables of 1024 numbers from 0 to 1023, new ones for each call. */
struct OwnNoise {
    uint16_t number[1024], offset[1024];
    int amplitude; /* 1 to 8 */
};

/* Fills the tables from the calling thread's generator. */
void ownMakeNoise(OwnNoise* noise, int amplitude);

/* The k of a run that adds noise: the row's number counts. */
struct OwnNoiseRow {
    const OwnNoise* noise;
    int64_t y;
};

/* out = a with noise, both of the source's depth, for samples that become those of dstDepth. */
OwnRun* ownNoiseRun(uint32_t srcDepth, uint32_t dstDepth);

/* ---- Dither ------------------------------------------------------------------------------------------------------ */

/* The channels that are dithered: the first of a gray image, three of a colour image; none: a model that is neither. */
int ownDitheredChannels(const VekImage* image);

/* The bits that a dither clears or sets: the lowest of `bits`, below the `levels` high ones; one at least. */
static inline uint32_t ownDroppedBits(int bits, int32_t levels) { return std::max(((1u << bits) - 1) >> levels, 1u); }

/* The first nChannels channels by a matrix of thresholds; x and y are the matrix' place at the view's corner. False when
 * memory is short. */
bool ownDitherOrdered(const OwnView& view, int nChannels, int32_t levels, int64_t x, int64_t y);
extern const OwnRow ownOrderedRows[OWN_DEPTHS];

/* Where errors go: shares of 16 fractional bits, by where the error comes from: two rows above and one row above, from two
 * columns to the left to two columns to the right; the same row, two columns and one column to the left. */
struct OwnShares {
    int16_t above2[5], above[5], same[2];
};
enum { OWN_REACH = 2 }; /* columns to either side */

/* Of ditherType 2, 4 and 8. */
const OwnShares* ownSharesOf(int32_t ditherType);

/* Some rows of one channel, and the errors of the two rows above them by column, with OWN_REACH zeros on either side: those
 * of errors[0] are two rows above. When the band is done they are the errors of its last two rows. errors[2] is scratch. */
struct OwnBand {
    uint8_t* samples;
    ptrdiff_t rowStep, stepBytes; /* bytes to the next row, to the next sample */
    int nRows;                    /* up to OWN_BAND_ROWS */
    ptrdiff_t n;
    int16_t* errors[3];
    uint32_t dropped;
    const OwnShares* shares;
};
enum { OWN_BAND_ROWS = OwnVec<int16_t>::lanes };
typedef void OwnBandRun(OwnBand& band);
struct OwnBandRow {
    OwnBandRun *run, *plain;
};

/* By depth, for shares that come from the row above and its three nearest columns alone, and for others. */
extern const OwnBandRow ownNearRows[OWN_DEPTHS], ownWideRows[OWN_DEPTHS];

/* Error diffusion of a picture from its first row to the last; what is left for the rows below is kept between calls. Opened
 * by ownOpenDiffusion, null when memory is short; freed by ownFree. */
struct OwnDiffusion;
OwnDiffusion* ownOpenDiffusion(int32_t ditherType, int nChannels, int32_t width, uint32_t dropped);

/* The picture's next rows, all of its columns. */
void ownDiffuse(OwnDiffusion* diffusion, const OwnView& view);

#endif
