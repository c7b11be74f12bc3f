/* ownrow.h: what the traversal shares with its siblings in the frame and with the kernels that turn bits about: bits moved
 * to other places, write bits of whole pixels, strided samples. */
#ifndef OWNROW_H
#define OWNROW_H

#include "own.h"

/* A row is taken in chunks that fit the first-level cache. Pixels of more samples are taken channel by channel where some of
 * them are spared. */
enum { OWN_CHUNK_BYTES = 4096, OWN_WIDE_STEP = 8 };

/* Brings n bits that begin at bit `from` of src to bit `to` of out; 0 is the top bit of the first byte. The other bits of
 * out's first and last byte are undefined. Only bytes that hold some of the bits are read. */
void ownAlignBits(uint8_t* out, int to, const uint8_t* src, int from, ptrdiff_t n);

/* A run of bits: it begins with `bit` of a byte, 0 is the top one, and goes on with the lower bits and the bytes behind; a
 * turned one with the higher bits and the bytes before. */
struct OwnBitsAt {
    const uint8_t* byte;
    int bit;
    bool turned;
};

/* A function of the bits x of one source and y of another: none ^ (x & a) ^ (y & (b ^ (x & both))). Every function of two bits
 * is of this form. Each field is 0 or all ones. */
struct OwnBitRule {
    uint8_t none, a, b, both;
};

/* The rule of a run on 1-bit images, which it is asked for by the four cases of two bits. */
OwnBitRule ownBitRule(OwnRun* run, const void* k);

/* n bits of dst become what the rule says, where the mask (its byte null: none) has ones; all other bits keep their values. Of
 * one or two sources and the mask the first source alone may be turned. */
struct OwnBitRun {
    OwnBitsAt dst;
    ptrdiff_t n;
    OwnBitRule rule;
    int nSources;
    OwnBitsAt source[2], mask;
    ptrdiff_t step, sourceStep[2], maskStep; /* for rows: bytes from one to the next */
};

/* One run, and a rectangle of them. Only bytes are read that hold some of the bits, or lie between such bytes. */
void ownPutBits(const OwnBitRun& run);
void ownPutBitRows(const OwnBitRun& run, ptrdiff_t height);

/* The bits of a byte, and pixels of pixelBytes bytes, in the opposite order. out and src are apart. */
uint8_t ownTurnByte(uint8_t x);
void ownTurnPixels(uint8_t* out, const uint8_t* src, int pixelBytes, ptrdiff_t nPixels);

/* dst = write ? result : dst for n samples of `bytes` bytes side by side, a write bit each. */
void ownStoreSome(void* dst, const void* result, int bytes, const uint8_t* writeBits, ptrdiff_t n);

/* Whether all of n bits are 0 or all are 1; OWN_SOME otherwise. */
enum OwnShare { OWN_NONE, OWN_SOME, OWN_ALL };

OwnShare ownShareOf(const uint8_t* bits, ptrdiff_t n);

/* The write bits of whole pixels: `step` bits for each pixel, those of `channels` (the first channel is the top one of
 * the low `step` bits) where the pixel's bit is set. Four pixels at a time by a table of their sixteen cases. */
struct OwnSpread {
    int step; /* up to OWN_WIDE_STEP */
    uint32_t nibble[16];
};

OwnSpread ownMakeSpread(int step, const OwnChannels& channels);

/* Writes up to seven bytes beyond the last bit. */
void ownSpreadBits(uint8_t* out, const OwnSpread& spread, const uint8_t* pixelBits, ptrdiff_t nPixels);

/* n samples of 1, 2 or 4 bytes that lie stepBytes apart, side by side. */
void ownGather(void* out, const uint8_t* src, ptrdiff_t stepBytes, int bytes, ptrdiff_t n);

#endif
