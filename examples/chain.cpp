#include "chain.h"

#include "bmp.h"
#include "operations.h"

#include <stddef.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>

/* ---- Words --------------------------------------------------------------------------------------------------- */

static std::vector<std::string> splitAtColons(const std::string& step)
{
    std::vector<std::string> words = {""};
    for (const char letter : step) {
        if (letter == ':') words.emplace_back();
        else words.back() += letter;
    }
    return words;
}

/* The words after the first as numbers of 32 bits, signed or not. */
static bool parseNumbers(const std::vector<std::string>& words, size_t nWanted, Numbers* numbers)
{
    if (words.size() != nWanted + 1) return false;
    for (size_t i = 1; i < words.size(); ++i) {
        char* end = nullptr;
        const double value = strtod(words[i].c_str(), &end);
        if (words[i].empty() || *end || !(value >= INT32_MIN && value <= UINT32_MAX)) return false;
        numbers->values.push_back(value);
    }
    return true;
}

/* ---- Settings ------------------------------------------------------------------------------------------------ */

static std::string setRegion(Chain* chain, const std::vector<std::string>& words)
{
    Numbers n;
    if (words.size() == 2 && words[1] == "all") return chain->roi = {}, "";
    if (!parseNumbers(words, 4, &n)) return "is to be roi:x:y:width:height, or roi:all";
    const VekImage* image = chain->image;
    const auto isWithin = [](double value, double low, double high) { return value >= low && value <= high; };
    if (!isWithin(n.values[0], 0, image->width - 1) || !isWithin(n.values[1], 0, image->height - 1) ||
        !isWithin(n.values[2], 1, INT32_MAX) || !isWithin(n.values[3], 1, INT32_MAX))
        return "is outside the picture";
    chain->roi = {0, (int32_t)n.values[0], (int32_t)n.values[1], (int32_t)n.values[2], (int32_t)n.values[3]};
    return "";
}

static std::string setChannel(Chain* chain, const std::vector<std::string>& words)
{
    Numbers n;
    if (!parseNumbers(words, 1, &n) || n.values[0] < 0 || n.values[0] > chain->image->nChannels)
        return "is to be coi:n, n from 1 to the number of channels, or 0 for all";
    chain->coi = (int32_t)n.values[0];
    return "";
}

static std::string setMask(Chain* chain, const std::vector<std::string>& words)
{
    const std::string kind = words.size() == 2 ? words[1] : "";
    if (kind == "none") chain->mask = Chain::NO_MASK;
    else if (kind == "circle") chain->mask = Chain::ELLIPSE;
    else if (kind == "checker") chain->mask = Chain::CHECKER;
    else return "is to be mask:circle, mask:checker or mask:none";
    return "";
}

/* ---- Operations ---------------------------------------------------------------------------------------------- */

/* The last failure on this thread, in words. */
static thread_local std::string failure;

static VekStatus keepFailure(VekStatus status, const char* funcName, const char* context, const char*, int32_t)
{
    failure = std::string(funcName ? funcName : "the library") + ": " + vekErrorStr(status);
    if (context) failure += std::string(", ") + context;
    return status;
}

/* The settings as the headers have them: a region with its channel, and a mask of the region's size. */
struct Frame {
    VekROI roi;
    Image mask;
};

static Frame makeFrame(const Chain& chain)
{
    const VekImage* image = chain.image;
    Frame frame;
    frame.roi = chain.roi.width ? chain.roi : VekROI{0, 0, 0, image->width, image->height};
    frame.roi.width = std::min(frame.roi.width, image->width - frame.roi.xOffset);
    frame.roi.height = std::min(frame.roi.height, image->height - frame.roi.yOffset);
    frame.roi.coi = chain.coi;
    if (chain.mask == Chain::ELLIPSE) frame.mask = drawEllipse(frame.roi.width, frame.roi.height);
    if (chain.mask == Chain::CHECKER) frame.mask = drawChecker(frame.roi.width, frame.roi.height);
    if (frame.mask) frame.mask->origin = image->origin;
    return frame;
}

/* Runs an operation on an image, with its clock. */
static void runTimed(const Operation& operation, VekImage* image, Frame* frame, const VekImage* second,
                     const Numbers& numbers, StepTime* time)
{
    typedef std::chrono::steady_clock Clock;
    image->roi = &frame->roi;
    image->maskROI = frame->mask.get();
    const Clock::time_point start = Clock::now();
    operation.run(image, second, image, numbers);
    time->seconds = std::chrono::duration<double>(Clock::now() - start).count();
    time->nSamples = (double)frame->roi.width * frame->roi.height * (frame->roi.coi ? 1 : image->nChannels);
    image->roi = nullptr;
    image->maskROI = nullptr;
}

/* The same on a copy in floating point, which is then stored back: 0 .. 255, chopped. */
static std::string runAsFloat(const Operation& operation, VekImage* image, Frame* frame, const Numbers& numbers,
                              StepTime* time)
{
    const Image copy = makeImage(image->nChannels, VEK_DEPTH_32F, image->width, image->height);
    if (!copy) return "needs more memory than there is";
    const ptrdiff_t nSamples = (ptrdiff_t)image->width * image->nChannels;
    const auto eachSample = [&](auto visit) {
        for (ptrdiff_t y = 0; y < image->height; ++y) {
            uint8_t* bytes = image->imageData + y * image->widthStep;
            float* floats = (float*)(copy->imageData + y * copy->widthStep);
            for (ptrdiff_t i = 0; i < nSamples; ++i) visit(bytes[i], floats[i]);
        }
    };
    eachSample([](const uint8_t& byte, float& real) { real = byte; });
    runTimed(operation, copy.get(), frame, nullptr, numbers, time);
    eachSample([](uint8_t& byte, const float& real) { byte = (uint8_t)std::fmin(255, std::fmax(0, real)); });
    return "";
}

/* With a second picture: the file with that name, or the rings where there is no name. */
static std::string runOnTwo(const Operation& operation, VekImage* image, Frame* frame, const std::string& path,
                            const Numbers& numbers, StepTime* time)
{
    BmpFile file;
    Image second;
    if (path.empty()) {
        second = drawRings(image->nChannels, image->width, image->height);
        if (second) second->origin = image->origin;
    } else {
        const std::string fault = bmpRead(path, &file);
        if (!fault.empty()) return path + " " + fault;
        second = bmpImage(&file);
    }
    if (!second) return "needs more memory than there is";
    VekROI roi = frame->roi;
    if (second->nChannels == 1) roi.coi = 0;
    second->roi = &roi;
    runTimed(operation, image, frame, second.get(), numbers, time);
    return "";
}

/* Takes the path from between an operation's name and its numbers. A path may have colons in it. */
static std::string takePath(std::string* rest, int nNumbers)
{
    size_t end = rest->size();
    for (int i = 0; i < nNumbers && end != std::string::npos; ++i) end = rest->rfind(':', end - 1);
    if (end == std::string::npos || end == 0) return "";
    const std::string path = rest->substr(1, end - 1);
    rest->erase(0, end);
    return path;
}

static std::string runOperation(Chain* chain, const Operation& operation, const std::string& step, StepTime* time)
{
    const bool isOnTwo = operation.shape == TWO_PICTURES;
    Numbers numbers;
    std::string path, rest = step.substr(std::string(operation.name).size());
    if (isOnTwo) path = takePath(&rest, operation.nNumbers);
    if (!parseNumbers(splitAtColons(rest), (size_t)operation.nNumbers, &numbers))
        return operation.nNumbers > 1
                   ? "takes " + std::to_string(operation.nNumbers) + " numbers of 32 bits, each after a colon"
               : operation.nNumbers ? "takes one number of 32 bits after a colon"
                                    : "takes nothing after its name";
    Frame frame = makeFrame(*chain);
    if (chain->mask != Chain::NO_MASK && !frame.mask) return "needs more memory than there is";
    VekImage* image = chain->image;
    if (isOnTwo) return runOnTwo(operation, image, &frame, path, numbers, time);
    if (operation.shape == AS_FLOAT) return runAsFloat(operation, image, &frame, numbers, time);
    if (operation.shape == AS_SIGNED) image->depth = VEK_DEPTH_8S;
    runTimed(operation, image, &frame, nullptr, numbers, time);
    image->depth = VEK_DEPTH_8U;
    return "";
}

std::string chainStep(Chain* chain, const std::string& step, StepTime* time)
{
    *time = {};
    const std::vector<std::string> words = splitAtColons(step);
    if (words[0] == "roi") return setRegion(chain, words);
    if (words[0] == "coi") return setChannel(chain, words);
    if (words[0] == "mask") return setMask(chain, words);
    const Operation* operation = findOperation(step); /* a name may have a colon in it */
    if (!operation) operation = findOperation(words[0]);
    if (!operation) return "is not known";

    failure.clear();
    vekSetErrStatus(VEK_StatusOk); /* a negative one, left by an earlier step, would stop a copy */
    const VekReporter before = vekRedirectError(keepFailure);
    const std::string fault = runOperation(chain, *operation, step, time);
    vekRedirectError(before);
    return !fault.empty() ? fault : failure;
}
