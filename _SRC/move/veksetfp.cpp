/* veksetfp: one float for every sample of a region. It is the fill with the float's bits: for its length the caller's header
 * says 32S. */
#include "own.h"

/* Lends the header another depth, and takes it back on every way out. A reporter of the caller's may leave by an exception, so
 * this file alone is compiled to let one pass. */
struct OwnLentDepth {
    VekImage* image;

    explicit OwnLentDepth(VekImage* of) : image(of) { image->depth = VEK_DEPTH_32S; }
    ~OwnLentDepth() { image->depth = VEK_DEPTH_32F; }
    OwnLentDepth(const OwnLentDepth&) = delete;
};

void vekSetFP(VekImage* dstImage, float fillValue)
{
    OWN_FACE("vekSetFP", "vekSCE");
    OWN_REFUSE_IF(dstImage==0);
    OWN_FAIL_IF(dstImage->depth != VEK_DEPTH_32F, VEK_StatusBadDepth, "You should use vekSet for this image");
    const OwnLentDepth lent(dstImage);
    vekSet(dstImage, std::bit_cast<int32_t>(fillValue));
    if (vekGetErrStatus() < 0) ownFail(face, VEK_StatusBacktrace, "", __LINE__);
}
