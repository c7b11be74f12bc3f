/* colour_model: what each conversion gives for one pixel, written from the formulas, one sample at a time. */
#ifndef TESTS_COLOUR_MODEL_H
#define TESTS_COLOUR_MODEL_H

#include "support/support.h"

/* Three samples: integers as they are, floats by their value. RGB is red, green, blue; other models in stored order. */
struct Triple {
    double v[3];
};

/* One conversion at one depth of the source. */
struct Conversion {
    const char* name;
    void (*call)(const VekImage* srcImage, VekImage* dstImage);
    const char* model; /* the name of the other model */
    bool toRgb;
    uint32_t srcDepth, dstDepth;
    Triple (*formula)(Triple in, bool equalSteps);
    int ulps; /* of a float that the result may be off */
};

extern const Conversion conversions[];
extern const int nConversions;

/* A sample of an image as a number, and a number as a sample's bits. */
double sampleValue(uint32_t depth, int64_t bits);
int64_t sampleBitsOf(uint32_t depth, double value);

/* ---- Headers --------------------------------------------------------------------------------------------------- */

/* Names as headers hold them: four bytes, of three letters and a zero. */
std::string four(const char* name);
void nameImage(VekImage& image, const char* model, const char* sequence);

/* All pixels of three 8-bit samples, or every EVERY_NTH of them, in rows of 4096. */
struct EveryPixel {
    enum { WIDTH = 4096, HEIGHT = 4096 / EVERY_NTH };
    EveryPixel();
    size_t size() const { return samples.size() / 3; }
    std::vector<uint8_t> samples;
};

/* A header on samples in pixel order, of the size of EveryPixel. */
VekImage headerOn(std::vector<uint8_t>& samples, uint32_t depth, int32_t nChannels, const char* model);

#endif
