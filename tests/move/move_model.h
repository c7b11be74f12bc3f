/* move_model: what the operations that move samples must leave, sample by sample, and random images for them. */
#ifndef TESTS_MOVE_MODEL_H
#define TESTS_MOVE_MODEL_H

#include "support/model.h"
#include "support/parts.h"

#include <functional>

/* Where an image's samples are: its pixels, and whether the call gets them by tiles. */
struct Moved {
    TestImage* pixels;
    bool isTiled;
};

/* The rectangle that the regions of images and of their masks share: width and height. */
std::pair<int32_t, int32_t> sharedSize(const std::vector<Moved>& images);

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

#endif
