/* vekdemo: a bitmap file through a chain of operations. */
#include "vekdemo.h"

#include "bmp.h"
#include "chain.h"
#include "operations.h"
#include "sheet.h"

#include <algorithm>

static const char usage[] =
    "usage: vekdemo [--as KIND] IN.bmp OUT.bmp [STEP,STEP,...]   the steps, one after the other, on a picture\n"
    "       vekdemo info FILE.bmp                  what the file's header says\n"
    "       vekdemo compare A.bmp B.bmp            the norms of the difference of two pictures\n"
    "       vekdemo --sheet FOLDER/                all operations on one sheet, FOLDER/contact-sheet.bmp\n"
    "       vekdemo --gallery FOLDER/              a file for each of them, on a scene and on rings, and a list\n"
    "\n"
    "KIND is 24, 32, 565, 8, 8gray, rle8, 4, rle4 or 1. A step is a setting for the steps after it:\n"
    "  roi:x:y:w:h  roi:all               only this rectangle; rows are counted as they lie in the file\n"
    "  coi:n                              only channel n (1 blue, 2 green, 3 red), 0 for all\n"
    "  mask:circle mask:checker mask:none only these pixels of the rectangle\n"
    "or an operation (second: a bitmap file, or without a name rings):\n";

static void printUsage(FILE* stream)
{
    fputs(usage, stream);
    for (int i = 0; i < nOperations; ++i) {
        const Operation& operation = operations[i];
        const std::string call = std::string(operation.name) + (operation.shape == TWO_PICTURES ? "[:second]" : "") +
                                 (operation.nNumbers > 1 ? ":n:n..."
                                  : operation.nNumbers   ? ":n"
                                                         : "");
        fprintf(stream, "  %-16s  %s\n", call.c_str(), operation.formula);
    }
}

static void printTime(FILE* out, const std::string& name, const StepTime& time)
{
    if (out && time.nSamples > 0)
        fprintf(out, "%-24s %9.3f ms %9.1f Msamples/s\n", name.c_str(), time.seconds * 1e3,
                time.nSamples / std::max(time.seconds, 1e-9) / 1e6);
}

static std::vector<std::string> splitAtCommas(const std::string& steps)
{
    std::vector<std::string> parts = {""};
    for (const char letter : steps) {
        if (letter == ',') parts.emplace_back();
        else parts.back() += letter;
    }
    return parts;
}

bool runSteps(VekImage* image, const std::string& steps, FILE* out, FILE* err)
{
    Chain chain = {image};
    for (const std::string& step : splitAtCommas(steps)) {
        StepTime time;
        const std::string fault = chainStep(&chain, step, &time);
        if (!fault.empty()) {
            fprintf(err, "vekdemo: step \"%s\" %s\n", step.c_str(), fault.c_str());
            return false;
        }
        printTime(out, step, time);
    }
    return true;
}

/* Reads a picture; without one, what is wrong has been told. */
static Image readPicture(const std::string& path, BmpFile* file, FILE* err)
{
    const std::string fault = bmpRead(path, file);
    if (!fault.empty()) return fprintf(err, "vekdemo: %s %s\n", path.c_str(), fault.c_str()), nullptr;
    Image image = bmpImage(file);
    if (!image) fprintf(err, "vekdemo: %s can't be decoded\n", path.c_str());
    return image;
}

static void printHeader(const std::string& path, const BmpFile& file, FILE* out)
{
    fprintf(out, "%s: %d x %d, %d bits, %s\n", path.c_str(), (int)file.width, (int)file.height, file.bitCount,
            file.isBottomUp ? "bottom row first" : "top row first");
}

static int runInfo(const std::string& path, FILE* out, FILE* err)
{
    static const char* const codings[] = {"none", "run lengths of bytes", "run lengths of 4-bit pixels", "masks"};
    BmpFile file;
    const Image image = readPicture(path, &file, err);
    if (!image) return 1;
    printHeader(path, file, out);
    fprintf(out, "coding   %s\nentries  %u\nchannels %d\nbytes    %zu\n", codings[file.compression],
            (unsigned)file.nEntries, (int)image->nChannels, file.dib.size());
    return 0;
}

struct FileTask {
    std::string inPath, outPath, kind;
    const char* steps; /* or null */
};

static int runFile(const FileTask& task, FILE* out, FILE* err)
{
    BmpFile file;
    const Image image = readPicture(task.inPath, &file, err);
    if (!image) return 1;
    printHeader(task.inPath, file, out);
    if (task.steps && !runSteps(image.get(), task.steps, out, err)) return 1;
    const std::string fault = bmpWrite(task.outPath, image.get(), task.kind);
    if (!fault.empty()) return fprintf(err, "vekdemo: %s %s\n", task.outPath.c_str(), fault.c_str()), 1;
    return 0;
}

/* ---- Comparing ----------------------------------------------------------------------------------------------- */

static const struct {
    int32_t type;
    const char* text;
} norms[] = {
    {NORM_MAX, "largest difference"},
    {NORM_SUM, "sum of differences"},
    {NORM_ROOT_SQUARES, "root of the sum of squares"},
    {NORM_REL_MAX, "largest, relative to B"},
    {NORM_REL_SUM, "sum, relative to B"},
    {NORM_REL_ROOT_SQUARES, "root, relative to B"},
};

static int runCompare(const std::string& pathA, const std::string& pathB, FILE* out, FILE* err)
{
    BmpFile files[2];
    const std::string* const paths[2] = {&pathA, &pathB};
    Image images[2];
    for (int i = 0; i < 2; ++i) {
        images[i] = readPicture(*paths[i], &files[i], err);
        if (!images[i]) return 1;
    }
    if (files[0].width != files[1].width || files[0].height != files[1].height ||
        images[0]->nChannels != images[1]->nChannels || files[0].isBottomUp != files[1].isBottomUp)
        return fprintf(err, "vekdemo: the pictures differ in size, channels or order of rows\n"), 1;

    /* A norm relative to a black picture is refused; it is not a fault of the command. */
    const int32_t before = vekGetErrMode();
    vekSetErrMode(VEK_ErrorModeNoReport);
    for (const auto& norm : norms) {
        vekSetErrStatus(VEK_StatusOk);
        const double value = vekNorm(images[0].get(), images[1].get(), norm.type);
        if (vekGetErrStatus() == VEK_StatusOk) fprintf(out, "%-28s %.6g\n", norm.text, value);
        else fprintf(out, "%-28s none, B is black\n", norm.text);
    }
    vekSetErrMode(before);
    return 0;
}

int vekdemo(int argc, const char* const* argv, FILE* out, FILE* err)
{
    if (argc == 3 && argv[1] == std::string("--sheet")) return runSheet(argv[2], out, err);
    if (argc == 3 && argv[1] == std::string("--gallery")) return runGallery(argv[2], out, err);
    if (argc == 2 && argv[1] == std::string("--help")) return printUsage(out), 0;
    if (argc == 3 && argv[1] == std::string("info")) return runInfo(argv[2], out, err);
    if (argc == 4 && argv[1] == std::string("compare")) return runCompare(argv[2], argv[3], out, err);
    const bool hasKind = argc > 2 && argv[1] == std::string("--as");
    const int nWords = argc - (hasKind ? 3 : 1);
    const char* const* words = argv + argc - nWords;
    if (nWords != 3 && !(nWords == 2 && hasKind)) return printUsage(err), 2;
    return runFile({words[0], words[1], hasKind ? argv[2] : "", nWords == 3 ? words[2] : nullptr}, out, err);
}
