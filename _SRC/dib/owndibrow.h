/* owndibrow.h: rows of pixels from one form into another. A row is taken in chunks: fetched as four planes of bytes (blue,
 * green, red, alpha), changed in colour, which is for the most part a change of pointers, and stored. */
#ifndef OWNDIBROW_H
#define OWNDIBROW_H

#include "ownnearest.h"
#include "own.h"

/* How pixels lie in a row. */
enum OwnForm {
    OWN_FORM_INDEX1,   /* a place in a table: of one bit, the first in the top bit */
    OWN_FORM_INDEX4,   /* four bits, the first in the high ones */
    OWN_FORM_INDEX8,   /* a byte */
    OWN_FORM_FIELDS16, /* fields by masks: of 16 bits */
    OWN_FORM_FIELDS32, /* 32 bits */
    OWN_FORM_BITS,     /* a picture of bits: white where they are set */
    OWN_FORM_PLANES8,  /* one channel, or planes of them: bytes */
    OWN_FORM_PLANES16, /* 16-bit samples */
    OWN_FORM_THREE8,   /* blue, green, red side by side: bytes */
    OWN_FORM_THREE16,  /* 16-bit samples */
    OWN_FORM_FOUR8,    /* the same with alpha */
    OWN_FORM_FOUR16,
    OWN_FORM_SPARE8, /* blue, green, red and a byte that is not read, and written as 0 */
    OWN_FORMS
};

struct OwnField {
    uint32_t mask;
    int shift, width; /* its lowest bit, and how many follow each other from there */
};

/* The pixels of one side, and what its form needs to be told. Channel 0 is at the view's first sample. */
struct OwnPixels {
    OwnForm form;
    OwnView view;
    int nPlanes; /* OWN_FORM_PLANES: 1 (it is red), 3, 4; OWN_FORM_INDEX: 1 when blue and green aren't asked for */
    OwnField field[4];       /* OWN_FORM_FIELDS: blue, green, red, alpha */
    uint8_t look[4][256];    /* OWN_FORM_INDEX, fetched: blue, green, red, alpha of the entries */
    uint8_t entries[256][4]; /* the same, together */
    bool looksSelf;          /* red of each entry is its index */
    OwnNearest nearest;      /* OWN_FORM_INDEX, stored */
};

/* A run of n pixels to planes; those that the form does not tell keep what they hold. Pixels begin at a whole byte. */
typedef void OwnFetchRun(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k);

/* A run of n pixels from planes. Planes may be the same. */
typedef void OwnStoreRun(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k);

/* Each with the plain loop that it must equal, byte for byte. */
struct OwnFetchRow {
    OwnFetchRun *run, *plain;
};
struct OwnStoreRow {
    OwnStoreRun *run, *plain;
};
extern const OwnFetchRow ownFetchRows[OWN_FORMS];
extern const OwnStoreRow ownStoreRows[OWN_FORMS];

/* What happens to the colours on the way. */
enum OwnColourStep {
    OWN_STEP_NONE,
    OWN_STEP_SWAP, /* blue and red change places */
    OWN_STEP_GRAY, /* red becomes (blue * 28 + green * 151 + red * 77) >> 8 */
    OWN_STEP_LEVEL /* blue and green become red, alpha 0 */
};

/* Of an indexed side, the entries after the step, so that its pixels need none. */
void ownLookUp(OwnPixels* side, const uint8_t* table, int64_t count, OwnColourStep step);

/* All pixels of the smaller view. */
void ownMovePixels(const OwnPixels& from, const OwnPixels& to, OwnColourStep step);

#endif
