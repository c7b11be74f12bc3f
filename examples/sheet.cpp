/* sheet: pictures that show all operations, on one sheet or in a file each. */
#include "sheet.h"

#include "bmp.h"
#include "operations.h"
#include "scene.h"
#include "vekdemo.h"

#include <ctype.h>

#include <vector>

enum { cellWidth = 256, cellHeight = 192, gap = 8, labelHeight = 24, nColumns = 6 };

struct Sample {
    std::string steps, text;
};

/* Each picture by its steps: regions, channels and masks, then every row of the table. */
static std::vector<Sample> samples()
{
    std::vector<Sample> all = {
        {"roi:64:48:128:96,invert", "a region"},
        {"coi:3,invert", "a channel of interest"},
        {"mask:circle,invert", "a mask"},
        {"mask:checker,subs:80", "another mask"},
        {"roi:64:48:128:96,mask:circle,xor", "region and mask"},
        {"coi:1,mask:circle,adds:120", "channel and mask"},
    };
    for (int i = 0; i < nOperations; ++i) all.push_back({operations[i].sample, operations[i].formula});
    return all;
}

static std::string inFolder(const std::string& folder, const std::string& name)
{
    const bool ends = folder.empty() || folder.back() == '/' || folder.back() == '\\';
    return folder + (ends ? "" : "/") + name + ".bmp";
}

static int writePicture(const std::string& path, const VekImage* picture, FILE* err)
{
    const std::string fault = bmpWrite(path, picture);
    if (!fault.empty()) return fprintf(err, "vekdemo: %s %s\n", path.c_str(), fault.c_str()), 1;
    return 0;
}

static int tellNoMemory(FILE* err) { return fprintf(err, "vekdemo: needs more memory than there is\n"), 1; }

/* ---- The sheet ----------------------------------------------------------------------------------------------- */

int runSheet(const std::string& folder, FILE* out, FILE* err)
{
    const std::vector<Sample> all = samples();
    const int32_t nCells = (int32_t)all.size() + 2, nRows = (nCells + nColumns - 1) / nColumns;
    const Image scene = drawScene(cellWidth, cellHeight), rings = drawRings(3, cellWidth, cellHeight);
    const Image sheet = makeImage(3, VEK_DEPTH_8U, gap + nColumns * (cellWidth + gap),
                                  gap + nRows * (cellHeight + labelHeight + gap));
    if (!scene || !rings || !sheet) return tellNoMemory(err);
    vekAddS(sheet.get(), sheet.get(), 40);

    int32_t nPlaced = 0;
    const auto place = [&](const VekImage* picture, const std::string& label) {
        const int32_t x = gap + nPlaced % nColumns * (cellWidth + gap);
        const int32_t y = gap + nPlaced / nColumns * (cellHeight + labelHeight + gap);
        pastePicture(picture, sheet.get(), x, y);
        drawText(sheet.get(), label, x, y + cellHeight + 5, cellWidth);
        ++nPlaced;
    };
    place(scene.get(), "picture");
    place(rings.get(), "second picture");
    for (const Sample& sample : all) {
        const Image picture = drawScene(cellWidth, cellHeight);
        if (!picture) return tellNoMemory(err);
        if (!runSteps(picture.get(), sample.steps, out, err)) return 1;
        place(picture.get(), sample.steps);
    }

    const std::string path = inFolder(folder, "contact-sheet");
    if (writePicture(path, sheet.get(), err)) return 1;
    fprintf(out, "%s: %d pictures, %d x %d\n", path.c_str(), (int)nCells, (int)sheet->width, (int)sheet->height);
    return 0;
}

/* ---- The gallery --------------------------------------------------------------------------------------------- */

/* Letters and digits of the steps, as a file's name. */
static std::string fileName(const std::string& steps)
{
    std::string name;
    for (const char letter : steps) name += isalnum((unsigned char)letter) ? letter : '-';
    return name;
}

static int writePair(const std::string& folder, const std::string& name, const std::string& steps, FILE* err)
{
    const Image scene = drawScene(cellWidth, cellHeight), rings = drawRings(3, cellWidth, cellHeight);
    const Image pair = makeImage(3, VEK_DEPTH_8U, 2 * cellWidth + gap, cellHeight);
    if (!scene || !rings || !pair) return tellNoMemory(err);
    vekSet(pair.get(), 255);
    int32_t x = 0;
    for (VekImage* picture : {scene.get(), rings.get()}) {
        if (!steps.empty() && !runSteps(picture, steps, nullptr, err)) return 1;
        pastePicture(picture, pair.get(), x, 0);
        x += cellWidth + gap;
    }
    return writePicture(inFolder(folder, name), pair.get(), err);
}

int runGallery(const std::string& folder, FILE* out, FILE* err)
{
    if (writePair(folder, "pictures", "", err)) return 1;
    for (const Sample& sample : samples()) {
        const std::string name = fileName(sample.steps);
        if (writePair(folder, name, sample.steps, err)) return 1;
        fprintf(out, "%s\t%s\t%s\n", name.c_str(), sample.steps.c_str(), sample.text.c_str());
    }
    return 0;
}
