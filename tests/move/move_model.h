/* move_model: what the operations that move samples must leave, sample by sample, and random images for them. */
#ifndef TESTS_MOVE_MODEL_H
#define TESTS_MOVE_MODEL_H

#include "support/model.h"

#include <functional>

/* Where an image's samples are: its pixels, and whether the call gets them by tiles. */
struct Moved {
    TestImage* pixels;
    bool isTiled;
};

/* The rectangle that the regions of images and of their masks share: width and height. */
std::pair<int32_t, int32_t> sharedSize(const std::vector<Moved>& images);

/* The channels that take part, from 0. */
std::vector<int32_t> channelsOf(const VekImage& image);

/* Whether the image's mask lets pixel (x, y) of its region through. */
bool isThrough(const TestImage& image, int32_t x, int32_t y);

/* The sample of a pixel of an image's region. */
int64_t regionSample(const TestImage& image, int32_t x, int32_t y, int32_t channel);

struct MoveRule {
    int flipAxis = 2;        /* as vekMirror; 2: pixels stay where they are */
    bool maskClears = false; /* a masked pixel becomes 0 */
    std::function<int64_t(int64_t)> sample = [](int64_t a) { return a; };
};

/* The destination's bytes after src has moved to dst. */
std::vector<uint8_t> naiveMove(const Moved& src, const Moved& dst, const MoveRule& rule);

/* The same for whole images of one size: all channels from the same one, or from `channel` alone; rows reversed where the
 * origins differ. */
std::vector<uint8_t> naiveWhole(const TestImage& src, const TestImage& dst, int32_t channel,
                                const std::function<int64_t(int64_t)>& sample);

/* ---- Random images ----------------------------------------------------------------------------------------------- */

struct DrawSpec {
    int slot;
    int32_t nColours;              /* channels that take part */
    int32_t dataOrder;             /* -1: any */
    int32_t width = 0, height = 0; /* 0: any */
    bool picksAlpha = false;       /* a coi may name the alpha channel */
    bool isPlain = false;          /* no region, no mask */
};
std::unique_ptr<TestImage> drawMoved(const DrawSpec& spec, Random& random);
int32_t drawLength(Random& random);

/* One line that says all of an image. */
std::string headerText(const VekImage& image);

extern const uint32_t moveDepths[OWN_DEPTHS];
int64_t heldToDepth(uint32_t depth, int64_t value);

#endif
