/* Statuses, texts, reporters, the record of a thread, the check of the processor. */
#include "support/support.h"

#include "frame/ownplat.h"
#include "frame/ownthread.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

/* ---- Texts --------------------------------------------------------------------------------------------------- */

static const std::map<VekStatus, const char*> knownTexts = {
    {0, "No Error"},
    {-1, "Backtrace"},
    {-3, "Internal error (bad state)"},
    {-4, "Out of memory"},
    {-5, "Bad argument"},
    {-6, "Unsupported function"},
    {-7, "Iteration convergence failed"},
    {-8, "Autotrace call"},
    {-9, "Null pointer to an image header"},
    {-10, "Incorrect image size"},
    {-11, "Incorrect offset of ROI of the image"},
    {-12, "One from two pointers should be null, and other should be not null, imageData or tileInfo "},
    {-13, "Incorrect widthStep of the image"},
    {-14, "Incorrect Color model or channel sequence of the image"},
    {-15, "Incorrect number of channels in the image"},
    {-16, "Number of channels for 1U depth image must be one"},
    {-17, "Incorrect depth value in the image header"},
    {-18, "Incorrect alpha channel number in the image header"},
    {-19, "Incorrect data order value in the image header"},
    {-20, "Incorrect data origin value in the image header"},
    {-21, "Incorrect data alignment value in the image header"},
    {-22, "Null pointer to callback function"},
    {-23, "Incorrect size of the tile"},
    {-24, "Incorrect COI of the image"},
    {-25, "Incorrect size of ROI in the image header"},
    {-26, "Mask image is taled"},
};

/* The statuses of masks that have a text: the image's, with "Mask. " before it, in the same storage. */
static const std::vector<VekStatus> maskTexts = {-110, -111, -112, -113, -114, -115, -117,
                                                 -118, -119, -120, -121, -124, -125};

TEST(ErrorText, isTheStatussOwn)
{
    for (const auto& [status, text] : knownTexts) EXPECT_STREQ(vekErrorStr(status), text) << status;
    for (const VekStatus status : maskTexts) {
        EXPECT_EQ(vekErrorStr(status), std::string("Mask. ") + knownTexts.at(status + 100)) << status;
        EXPECT_EQ(vekErrorStr(status) + 6, vekErrorStr(status + 100)) << status << " is not stored once";
    }
}

TEST(ErrorText, isUnknownForAllOthers)
{
    int nUnknown = 0;
    const auto expectUnknown = [&](VekStatus status) {
        EXPECT_STREQ(vekErrorStr(status), "Unknown error or status code") << status;
        ++nUnknown;
    };
    for (VekStatus status = -1000; status <= 1000; ++status)
        if (!knownTexts.count(status) && !std::count(maskTexts.begin(), maskTexts.end(), status)) expectUnknown(status);
    for (const VekStatus status : {INT32_MIN, INT32_MIN + 1, INT32_MAX}) expectUnknown(status);
    EXPECT_EQ(nUnknown, 2001 - 26 - 13 + 3);
    EXPECT_STREQ(vekErrorStr(-16) - 6, "Mask. Number of channels for 1U depth image must be one");
}

/* ---- Raising ------------------------------------------------------------------------------------------------- */

struct Call {
    VekStatus status;
    const char *func, *context, *file;
    int32_t line;
    VekStatus storedThen;
};
static thread_local std::vector<Call> calls;

static VekStatus recordCall(VekStatus status, const char* func, const char* context, const char* file, int32_t line)
{
    calls.push_back({status, func, context, file, line, vekGetErrStatus()});
    return 1234;
}

TEST(Error, storesThenReports)
{
    const struct {
        VekStatus before, raised, after;
        bool reported;
    } table[] = {
        {-5, 0, 0, false}, {0, 0, 0, false},   {-5, -1, -5, true}, {-5, -8, -5, true},
        {0, -4, -4, true}, {-7, -2, -2, true}, {0, 17, 17, true},  {0, INT32_MIN, INT32_MIN, true},
        {0, -9, -9, true}, {0, -1, 0, true},   {33, -8, 33, true}, {-3, -125, -125, true},
    };
    const char *func = "f", *context = "c", *file = "m";
    const VekReporter before = vekRedirectError(recordCall);
    for (const auto& row : table) {
        calls.clear();
        vekSetErrStatus(row.before);
        EXPECT_EQ(vekError(row.raised, func, context, file, 42), row.reported ? 1234 : 0) << row.raised;
        EXPECT_EQ(vekGetErrStatus(), row.after) << row.raised;
        ASSERT_EQ(calls.size(), row.reported ? 1u : 0u) << row.raised;
        if (!row.reported) continue;
        EXPECT_EQ(calls[0].status, row.raised);
        EXPECT_EQ(calls[0].storedThen, row.after) << "the reporter reads the new status";
        EXPECT_TRUE(calls[0].func == func && calls[0].context == context && calls[0].file == file) << "not unchanged";
        EXPECT_EQ(calls[0].line, 42);
    }
    vekError(-5, nullptr, nullptr, nullptr, -3);
    EXPECT_TRUE(!calls.back().func && !calls.back().context && !calls.back().file && calls.back().line == -3);
    vekSetErrStatus(0);
    EXPECT_EQ(vekRedirectError(before), recordCall);
}

TEST(Error, redirectReturnsThePrevious)
{
    const VekReporter before = vekRedirectError(nullptr);
    EXPECT_EQ(vekRedirectError(vekStdErrReport), vekGuiBoxReport);
    EXPECT_EQ(vekRedirectError(nullptr), vekStdErrReport);
    EXPECT_EQ(vekRedirectError(before), vekGuiBoxReport);
}

TEST(Error, belongsToTheThread)
{
    const VekReporter before = vekRedirectError(vekNulDevReport);
    vekSetErrMode(VEK_ErrorModeNoReport);
    vekSetErrStatus(-77);
    std::thread([] {
        EXPECT_EQ(vekGetErrStatus(), 0);
        EXPECT_EQ(vekGetErrMode(), VEK_ErrorModeLeaf);
        EXPECT_EQ(vekRedirectError(recordCall), vekGuiBoxReport);
        vekSetErrMode(7);
        vekError(-5, "f", "c", "m", 1);
        EXPECT_EQ(calls.size(), 1u);
        EXPECT_EQ(vekGetErrMode(), 7);
    }).join();
    EXPECT_EQ(vekGetErrStatus(), -77);
    EXPECT_EQ(vekGetErrMode(), VEK_ErrorModeNoReport);
    EXPECT_EQ(vekRedirectError(before), vekNulDevReport);
    vekSetErrMode(VEK_ErrorModeLeaf);
    vekSetErrStatus(0);
}

TEST(Version, isConstant)
{
    const VekLibVersion* version = vekGetLibVersion();
    ASSERT_EQ(version, vekGetLibVersion());
    EXPECT_EQ(version->majorVersion, 2);
    EXPECT_EQ(version->minorVersion, 0);
    EXPECT_EQ(version->buildNumber, 10);
    EXPECT_STREQ(version->moduleName, "vekA6.dll");
    EXPECT_STREQ(version->versionText, "v2.0 Beta 2");
    EXPECT_STREQ(version->buildTag, "[2.0.10, 06/01/98]");
    EXPECT_STREQ(version->buildDate, "Jun  1 1998");
    EXPECT_STREQ(version->moduleKind, "DLL");
}

/* ---- The silent reporter and the one on the error stream ------------------------------------------------------- */

struct Failure {
    int32_t mode;
    VekStatus status;
    const char *func, *context, *file;
    int32_t line;
    std::string text;
};

static VekStatus report(VekReporter reporter, const Failure& failure)
{
    vekSetErrMode(failure.mode);
    const VekStatus result = reporter(failure.status, failure.func, failure.context, failure.file, failure.line);
    vekSetErrMode(VEK_ErrorModeLeaf);
    return result;
}

static const char* const leafText = "VEK Library Error\nErrMode=VEK_ErrModeLeaf\nterminating the application";

TEST(StdErrReport, writesTheFailure)
{
    const Failure table[] = {
        {1, -5, "f", "c", nullptr, 0, "\nVEK Library Error: Bad argument \n\tin function:f(): c\n"},
        {1, -5, "f", "c", "m", 0, "\nVEK Library Error: Bad argument \n\tin function [m:0]:f(): c\n"},
        {1, -5, "f", "c", nullptr, 7, "\nVEK Library Error: Bad argument \n\tin function [:7]:f(): c\n"},
        {1, -5, "f", "c", "m", -7, "\nVEK Library Error: Bad argument \n\tin function [m:-7]:f(): c\n"},
        {1, -5, "f", "c", nullptr, -7, "\nVEK Library Error: Bad argument \n\tin function:f(): c\n"},
        {1, -4, nullptr, nullptr, "m", 9, "\nVEK Library Error: Out of memory \n\tin function [m:9]:<unknown>\n"},
        {1, -1, "f", "c", "m", 9, "\tcalled from [m:9]:f(): c\n"},
        {1, -8, "f", "c", "m", 9, "\tcalled from [m:9]:f(c)\n"},
        {1, -8, "f", nullptr, nullptr, 0, "\tcalled from:f\n"},
        {1, -8, "%s", "%n%s", "%d", 1, "\tcalled from [%d:1]:%s(%n%s)\n"},
        {7, -2, "f", "c", nullptr, 0, "\nVEK Library Error: Unknown error or status code \n\tin function:f(): c\n"},
        {-1, 0, "f", "c", nullptr, 0, "\nVEK Library Error: No Error \n\tin function:f(): c\n"},
        {2, -5, "f", "c", "m", 1, ""},
    };
    for (const Failure& failure : table) {
        testing::internal::CaptureStderr();
        const VekStatus result = report(vekStdErrReport, failure);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), failure.text) << failure.status << " mode " << failure.mode;
        EXPECT_EQ(result, failure.status);
    }
}

/* Statements that end the process run in a second one. */
using ErrorDeathTest = testing::Test;

TEST_F(ErrorDeathTest, stdErrReportEndsInLeafMode)
{
    const Failure failure = {0, -5, "f", "c", nullptr, 0, ""};
    const std::string text = "\nVEK Library Error: Bad argument \n\tin function:f(): c\n" + std::string(leafText);
    EXPECT_EXIT(report(vekStdErrReport, failure), testing::ExitedWithCode(1), testing::Eq(text));
}

TEST_F(ErrorDeathTest, nulDevReportEndsInLeafModeOnly)
{
    EXPECT_EXIT(report(vekNulDevReport, {0, -5, "f", "c", "m", 1, ""}), testing::ExitedWithCode(1), testing::Eq(""));
    for (const int32_t mode : {1, 2, 7, -1}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(report(vekNulDevReport, {mode, -6, nullptr, nullptr, nullptr, 0, ""}), -6);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

/* ---- The box ------------------------------------------------------------------------------------------------- */

TEST(GuiBoxReport, isSilentInOtherModes)
{
    for (const int32_t mode : {2, 7, -1}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(report(vekGuiBoxReport, {mode, -5, nullptr, nullptr, nullptr, 0, ""}), -5);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

#ifndef _WIN32
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

/* Where the reporter's process runs: in the foreground of a terminal of its own, in its background, or without one. */
enum Place { TERMINAL, BACKGROUND, NOWHERE };

static constexpr int RETURNED = 42;

/* Runs the reporter in a process of its own. Returns how it ended, and what was shown without carriage returns. */
static int runBox(Place place, const char* keys, const Failure& failure, std::string* shown)
{
    int out = -1, pipeEnds[2] = {-1, -1};
    fflush(nullptr);
    if (place == NOWHERE && pipe(pipeEnds) != 0) return -1;
    const pid_t child = place == NOWHERE ? fork() : forkpty(&out, nullptr, nullptr, nullptr);
    if (child == 0) {
        if (place == NOWHERE) {
            setsid();
            dup2(pipeEnds[1], STDERR_FILENO);
            close(pipeEnds[0]);
            close(pipeEnds[1]);
        }
        int code = 0;
        const pid_t inner = place == BACKGROUND ? fork() : 0;
        if (inner == 0) {
            if (place == BACKGROUND) setpgid(0, 0);
            const int live = heapLive();
            const VekStatus result = report(vekGuiBoxReport, failure);
            _exit(result == failure.status && heapLive() == live ? RETURNED : 99);
        }
        waitpid(inner, &code, 0);
        _exit(WEXITSTATUS(code));
    }
    if (place == NOWHERE) {
        close(pipeEnds[1]);
        out = pipeEnds[0];
    } else if (write(out, keys, strlen(keys)) != (ssize_t)strlen(keys)) {
        return -1;
    }
    char buffer[4096];
    for (ssize_t nRead; (nRead = read(out, buffer, sizeof(buffer))) > 0;) shown->append(buffer, (size_t)nRead);
    close(out);
    shown->erase(std::remove(shown->begin(), shown->end(), '\r'), shown->end());
    int code = 0;
    waitpid(child, &code, 0);
    return WIFEXITED(code) ? WEXITSTATUS(code) : 1000 + WTERMSIG(code);
}

static size_t countOf(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++n;
    return n;
}

static const char* const endText = "Win32: Application exit\nVEK Library: terminating the application\n";

TEST(GuiBoxReport, asksOnTheTerminal)
{
    const struct {
        Place place;
        int32_t mode;
        const char* keys;
        int code;
        size_t nAsked;
    } table[] = {
        {TERMINAL, 0, "y\n", 1, 1},        {TERMINAL, 0, "n\n", RETURNED, 1},   {TERMINAL, 0, "Yes\n", 1, 1},
        {TERMINAL, 0, "\n", RETURNED, 1},  {TERMINAL, 0, "x\ny\n", 1, 2},       {TERMINAL, 0, "\x04", RETURNED, 1},
        {TERMINAL, 1, "o\n", RETURNED, 1}, {TERMINAL, 1, "c\n", 1, 1},          {TERMINAL, 1, "CANCEL\n", 1, 1},
        {TERMINAL, 1, "\n", RETURNED, 1},  {TERMINAL, 1, "y\nc\n", 1, 2},       {TERMINAL, 1, "\x04", RETURNED, 1},
        {TERMINAL, 2, "y\n", RETURNED, 0}, {BACKGROUND, 0, "y\n", RETURNED, 0}, {BACKGROUND, 1, "c\n", RETURNED, 0},
        {NOWHERE, 0, "", RETURNED, 0},     {NOWHERE, 1, "", RETURNED, 0},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(testing::Message() << "place " << row.place << " mode " << row.mode << " keys " << row.keys);
        std::string shown;
        EXPECT_EQ(runBox(row.place, row.keys, {row.mode, -5, "f", "c", nullptr, -3, ""}, &shown), row.code);
        EXPECT_EQ(countOf(shown, row.mode == 0 ? "[Yes / No] " : "[OK / Cancel] "), row.nAsked) << shown;
        EXPECT_EQ(countOf(shown, endText), row.code == 1 ? 1u : 0u) << shown;
        const std::string text = "VEK v2.0 Beta 2\nIn function f(): [file , line 0]\nc\n\nBad argument\n(status: -5)"
                                 "\n\nErrMode=VEK_ErrorMode";
        const char* suffix = row.mode == 0 ? "Leaf\n\nTerminate the application?\n" : "Parent\n\nContinue?\n";
        EXPECT_EQ(countOf(shown, text + suffix), row.mode < 2 ? 1u : 0u) << shown;
    }
}

TEST(GuiBoxReport, holdsAnyMessage)
{
    const std::string longText(100000, 'x');
    std::string shown;
    EXPECT_EQ(runBox(NOWHERE, "", {1, -8, longText.c_str(), longText.c_str(), "m", 5, ""}, &shown), RETURNED);
    EXPECT_EQ(countOf(shown, "Called from " + longText + "(): [file m, line 5]\n" + longText + "\n\nAutotrace call\n"),
              1u);
    shown.clear();
    EXPECT_EQ(runBox(NOWHERE, "", {0, -1, nullptr, nullptr, "m", 5, ""}, &shown), RETURNED);
    EXPECT_EQ(countOf(shown, "Called from <unknown>(): [file m, line 5]\n\n\nBacktrace\n(status: -1)\n"), 1u) << shown;
}

TEST(GuiBoxReport, returnsWithoutMemory)
{
    const int32_t mode = vekGetErrMode();
    heapFailAfter(0);
    testing::internal::CaptureStderr();
    const VekStatus result = report(vekGuiBoxReport, {0, -5, "f", "c", "m", 1, ""});
    heapFailAfter(-1);
    EXPECT_EQ(result, -5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    vekSetErrMode(mode);
}

/* A thread's record is made at its first call. */
TEST_F(ErrorDeathTest, endsWithoutMemoryForTheRecord)
{
    EXPECT_EXIT(std::thread([] {
                    heapFailAfter(0);
                    vekGetErrStatus();
                }).join(),
                testing::KilledBySignal(SIGABRT), "VEKlib\\. Problem to allocate memory for TLS VEK context\\.");
}
#endif

/* ---- The record ---------------------------------------------------------------------------------------------- */

TEST(Thread, recordStartsEmptyAndReleasesItsCaches)
{
    const int before = heapLive();
    VekThreadContext* context = ownThreadCreate();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->status, 0);
    EXPECT_EQ(context->mode, VEK_ErrorModeLeaf);
    EXPECT_EQ(context->reporter, vekGuiBoxReport);
    EXPECT_EQ(context->dctTableKey, -1);
    EXPECT_TRUE(!context->dctTable && !context->dctPlans && !context->dctBlocks);
    for (const auto& kind : context->fftCache.tables)
        for (const void* table : kind) EXPECT_EQ(table, nullptr);

    for (auto& kind : context->fftCache.tables) kind[0] = ownAlloc(8), kind[31] = ownAlloc(8);
    context->dctTable = ownAlloc(8);
    context->dctPlanCount = context->dctBlockCount = 3;
    context->dctPlans = (void**)ownAlloc(3 * sizeof(void*));
    context->dctBlocks = (void**)ownAlloc(3 * sizeof(void*));
    for (int i = 0; i < 3; ++i) {
        context->dctPlans[i] = ownAlloc(8);
        context->dctBlocks[i] = i == 1 ? nullptr : ownAlloc(8);
    }
    EXPECT_EQ(heapLive(), before + 1 + 8 + 1 + 4 + 3);
    ownFftRelease(context);
    EXPECT_EQ(heapLive(), before + 1 + 1 + 4 + 3);
    EXPECT_TRUE(!context->fftCache.tables[0][0] && !context->fftCache.tables[3][31]);
    ownDctReleaseTable(context);
    EXPECT_EQ(context->dctTableKey, 0);
    EXPECT_EQ(heapLive(), before + 1 + 4 + 3);
    ownThreadDestroy(context);
    EXPECT_EQ(heapLive(), before);
}

TEST(Thread, recordGoesWithItsThread)
{
    const int before = heapLive();
    for (int i = 0; i < 100; ++i) std::thread([] { vekSetErrStatus(-5); }).join();
    EXPECT_EQ(heapLive(), before);
    heapFailAfter(0);
    EXPECT_EQ(ownThreadCreate(), nullptr);
    heapFailAfter(-1);
}

/* ---- The processor ------------------------------------------------------------------------------------------- */

#if defined(__x86_64__) || defined(__i386__)
TEST(Processor, lacksTheFirstThatIsNotThere)
{
    const OwnNeed none[] = {{nullptr, 0, 0, 0, 0}};
    EXPECT_EQ(ownProcessorLacks(none), nullptr);
    const OwnNeed noBit[] = {{"sse2", 1, 3, 26, 0}, {"reserved", 1, 2, 16, 0}, {"later", 1, 2, 16, 0}, {}};
    EXPECT_STREQ(ownProcessorLacks(noBit), "reserved");
    const OwnNeed noLeaf[] = {{"beyond", 0x7ffffff0, 0, 0, 0}, {}};
    EXPECT_STREQ(ownProcessorLacks(noLeaf), "beyond");
}

/* The library is built with the flags of this test, so its list must name what this compiler may use. */
TEST(Processor, variantIsNamedAndThere)
{
    EXPECT_EQ(ownProcessorLacks(ownVariant), nullptr);
    EXPECT_TRUE(ownProcessorFits());
    std::string names;
    for (const OwnNeed* need = ownVariant; need->name; ++need) names += std::string(" ") + need->name;
    names += " ";
    const bool avx2 = names.find(" AVX2 ") != names.npos, zmm = names.find(" AVX-512F ") != names.npos;
#ifdef __AVX2__
    EXPECT_TRUE(avx2) << names;
#else
    EXPECT_FALSE(avx2) << names;
#endif
#ifdef __AVX512F__
    EXPECT_TRUE(zmm) << names;
#else
    EXPECT_FALSE(zmm) << names;
#endif
}
#endif

} // namespace
