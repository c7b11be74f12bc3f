/* vekerror: the calling thread's status, error mode and reporter; the texts of statuses; the version.
 *
 * A failure is stored first and reported then, so that a reporter already reads its status. */
#include "own.h"

/* ---- The thread's settings --------------------------------------------------------------------------------- */

VekStatus vekGetErrStatus(void) { return vekGetThreadContext()->status; }

void vekSetErrStatus(VekStatus status) { vekGetThreadContext()->status = status; }

int32_t vekGetErrMode(void) { return vekGetThreadContext()->mode; }

void vekSetErrMode(int32_t mode) { vekGetThreadContext()->mode = mode; }

VekReporter vekRedirectError(VekReporter reporter)
{
    VekThreadContext* context = vekGetThreadContext();
    const VekReporter previous = context->reporter;
    context->reporter = reporter ? reporter : vekGuiBoxReport;
    return previous;
}

/* A backtrace or a trace call leaves the status of the real failure in place. */
VekStatus vekError(VekStatus status, const char* funcName, const char* context, const char* file, int32_t line)
{
    VekThreadContext* thread = vekGetThreadContext();
    if (status != VEK_StatusBacktrace && status != VEK_StatusAutotrace) thread->status = status;
    return status == VEK_StatusOk ? VEK_StatusOk : thread->reporter(status, funcName, context, file, line);
}

/* ---- Texts --------------------------------------------------------------------------------------------------- */

/* One stored text. What can be wrong with a mask too is stored as the mask's text, and the image's is its tail. */
struct OwnText {
    VekStatus status;
    bool hasTail; /* the status itself reads the text without "Mask. " */
    bool hasMask; /* the status minus 100 reads the whole of it */
    const char* text;
};

static constexpr int OWN_TAIL = 6, OWN_MASK = 100, OWN_TEXTS = 126;
static constexpr const char* ownUnknown = "Unknown error or status code";

/* -2 has no text of its own. -109, -116, -122 and -123 are not told apart from unknown ones. */
static constexpr OwnText ownTextList[] = {
    {VEK_StatusOk, false, false, "No Error"},
    {VEK_StatusBacktrace, false, false, "Backtrace"},
    {VEK_StatusInternal, false, false, "Internal error (bad state)"},
    {VEK_StatusNoMemory, false, false, "Out of memory"},
    {VEK_StatusBadArg, false, false, "Bad argument"},
    {VEK_StatusUnsupported, false, false, "Unsupported function"},
    {VEK_StatusNoConvergence, false, false, "Iteration convergence failed"},
    {VEK_StatusAutotrace, false, false, "Autotrace call"},
    {VEK_StatusNullHeader, true, false, "Mask. Null pointer to an image header"},
    {VEK_StatusBadImageSize, true, true, "Mask. Incorrect image size"},
    {VEK_StatusBadRoiOffset, true, true, "Mask. Incorrect offset of ROI of the image"},
    {VEK_StatusBadDataPointers, true, true,
     "Mask. One from two pointers should be null, and other should be not null, imageData or tileInfo "},
    {VEK_StatusBadWidthStep, true, true, "Mask. Incorrect widthStep of the image"},
    {VEK_StatusBadColorModel, true, true, "Mask. Incorrect Color model or channel sequence of the image"},
    {VEK_StatusBadChannels, true, true, "Mask. Incorrect number of channels in the image"},
    {VEK_StatusBad1uChannels, true, false, "Mask. Number of channels for 1U depth image must be one"},
    {VEK_StatusBadDepth, true, true, "Mask. Incorrect depth value in the image header"},
    {VEK_StatusBadAlpha, true, true, "Mask. Incorrect alpha channel number in the image header"},
    {VEK_StatusBadDataOrder, true, true, "Mask. Incorrect data order value in the image header"},
    {VEK_StatusBadOrigin, true, true, "Mask. Incorrect data origin value in the image header"},
    {VEK_StatusBadAlign, true, true, "Mask. Incorrect data alignment value in the image header"},
    {VEK_StatusNullCallback, false, false, "Null pointer to callback function"},
    {VEK_StatusBadTileSize, false, false, "Incorrect size of the tile"},
    {VEK_StatusBadCoi, true, true, "Mask. Incorrect COI of the image"},
    {VEK_StatusBadRoiSize, true, true, "Mask. Incorrect size of ROI in the image header"},
    {VEK_StatusTiledMask, false, false, "Mask image is taled"},
};

/* The text of each status from 0 down to -125. */
struct OwnTextTable {
    const char* at[OWN_TEXTS];
};

static constexpr OwnTextTable ownTextTable = [] {
    OwnTextTable table = {};
    for (const char*& text : table.at) text = ownUnknown;
    for (const OwnText& entry : ownTextList) {
        table.at[-entry.status] = entry.text + (entry.hasTail ? OWN_TAIL : 0);
        if (entry.hasMask) table.at[-entry.status + OWN_MASK] = entry.text;
    }
    return table;
}();

const char* vekErrorStr(VekStatus status)
{
    return status > 0 || status <= -OWN_TEXTS ? ownUnknown : ownTextTable.at[-status];
}

/* ---- The version --------------------------------------------------------------------------------------------- */

static constexpr VekLibVersion ownLibVersion = {
    2, 0, 10, "vekA6.dll", "v2.0 Beta 2", "[2.0.10, 06/01/98]", "Jun  1 1998", "DLL"};

const VekLibVersion* vekGetLibVersion(void) { return &ownLibVersion; }
