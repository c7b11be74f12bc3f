/* parts: what of an image takes part in an operation, and random regions and masks. */
#ifndef TESTS_PARTS_H
#define TESTS_PARTS_H

#include "support/support.h"

/* The depth of each slot of a table. */
extern const uint32_t slotDepths[OWN_DEPTHS];

/* A value held to the range of an integer depth. */
int64_t heldToDepth(uint32_t depth, int64_t value);

/* An image's region, clipped to the image and no wider than a row of widthStep bytes; of an image with tiles, than a row of
 * its width. Empty when it lies outside. */
struct Area {
    int64_t x, y, width, height;
};
Area areaOf(const VekImage& image, bool isTiled = false);

/* The channels that take part, from 0. */
std::vector<int32_t> channelsOf(const VekImage& image);

/* A sample of a pixel of the region. */
int64_t regionSample(const TestImage& image, int64_t x, int64_t y, int32_t channel);

/* Whether the image's mask lets pixel (x, y) of its region through. */
bool isThrough(const TestImage& image, int64_t x, int64_t y);

/* One line that says all of a header. */
std::string headerText(const VekImage& image);

/* ---- At random --------------------------------------------------------------------------------------------------- */

/* Mostly below 40, now and then some vectors long, and often whole bytes of bits. */
int32_t drawLength(Random& random);

/* A region that may reach beyond the image, and now and then lies outside it, unless it is to begin inside. */
void drawRegion(TestImage& image, Random& random, int32_t coi, bool beginsInside = false);

/* A mask of about the image's size: all ones, long runs, or half of the bits, with a region as above or without. */
std::unique_ptr<TestImage> drawMask(const VekImage& image, Random& random, bool beginsInside = false);

#endif
