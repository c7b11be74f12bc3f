// Errors in your own hands: each thread installs a reporter, which gets the status, the function and the text of the test
// that failed. Status, mode and reporter belong to the thread, so threads don't hear of each other's failures.
#include <cstdio>
#include <string>
#include <thread>
#include <vector>
#include <vek.h>

static thread_local std::vector<std::string>* heard; // where the thread keeps what it hears

static VekStatus listen(VekStatus status, const char* function, const char* context, const char*, int32_t) noexcept
{
    heard->push_back(std::string(function ? function : "") + ": " + vekErrorStr(status) + ", " +
                     (context ? context : ""));
    return status;
}

// What a thread does: one call that fails, one that doesn't, and one that fails differently.
static std::string work(int32_t depth)
{
    uint8_t pixels[64] = {};
    VekImage* image = vekCreateImageHeader(1, 0, VEK_DEPTH_8U, "GRAY", "G\0\0", VEK_DATA_ORDER_PIXEL,
                                           VEK_ORIGIN_TOP_LEFT, 8, 8, 8, nullptr, nullptr, nullptr, nullptr);
    if (!image) return "out of memory\n";
    image->imageData = pixels;
    std::vector<std::string> failures;
    heard = &failures;
    vekRedirectError(listen);
    vekSetErrMode(VEK_ErrorModeParent);

    VekImage other = *image;
    other.depth = static_cast<uint32_t>(depth);
    vekAdd(image, image, &other); // fails unless the depths agree
    vekNot(image, image);
    image->nChannels = 0;
    vekNot(image, image); // always fails: the header is bad
    vekDeallocateHeader(image);

    std::string text = pixels[0] == 255 ? "inverted; " : "not inverted; ";
    text += std::to_string(failures.size()) + " failures\n";
    for (const std::string& line : failures) text += "  " + line + "\n";
    return text;
}

int main()
{
    const uint32_t depths[] = {VEK_DEPTH_8U, VEK_DEPTH_8S, 7};
    std::string texts[3];
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) threads.emplace_back([&, i] { texts[i] = work(static_cast<int32_t>(depths[i])); });
    for (std::thread& thread : threads) thread.join();
    for (const std::string& text : texts) std::fputs(text.c_str(), stdout);
}

/* Prints:
inverted; 1 failures
  vekXorS: Incorrect number of channels in the image, Incorrect Image
inverted; 2 failures
  vekAdd: Bad argument, (srcImageA->depth != dstImage->depth)
  vekXorS: Incorrect number of channels in the image, Incorrect Image
inverted; 2 failures
  vekAdd: Incorrect depth value in the image header, Incorrect Image
  vekXorS: Incorrect number of channels in the image, Incorrect Image
*/
