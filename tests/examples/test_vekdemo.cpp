/* The example program on files that are made here: good ones, whose every sample is known, and hostile ones. */
#include "vekdemo.h"

#include "bmp.h"
#include "operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Result {
    int exitCode;
    std::string out, err;
};

std::string readStream(FILE* stream)
{
    std::string text;
    rewind(stream);
    for (int letter; (letter = fgetc(stream)) != EOF;) text += (char)letter;
    fclose(stream);
    return text;
}

Result run(std::vector<const char*> words)
{
    words.insert(words.begin(), "vekdemo");
    FILE *out = tmpfile(), *err = tmpfile();
    const int exitCode = vekdemo((int)words.size(), words.data(), out, err);
    return {exitCode, readStream(out), readStream(err)};
}

typedef std::vector<uint8_t> Bytes;

void put(Bytes* bytes, size_t at, int64_t value, int nBytes)
{
    for (int i = 0; i < nBytes; ++i) (*bytes)[at + (size_t)i] = (uint8_t)((uint64_t)value >> 8 * i);
}

enum { INFO_BYTES = 14, WIDTH = 18, HEIGHT = 22, BITS = 28, COMPRESSION = 30, PIXELS_AT = 10 };

/* A file of 5 x 4 pixels: sample i of file row y is 10 y + i, padding is 0xEE. */
Bytes makeFile(int nChannels)
{
    const size_t palette = nChannels == 1 ? 1024 : 0, step = nChannels == 1 ? 8 : 16, pixelsAt = 54 + palette;
    Bytes bytes(pixelsAt + 4 * step, 0xEE);
    std::fill(bytes.begin(), bytes.begin() + 54, 0);
    bytes[0] = 'B', bytes[1] = 'M';
    put(&bytes, 2, (int64_t)bytes.size(), 4);
    put(&bytes, PIXELS_AT, (int64_t)pixelsAt, 4);
    put(&bytes, INFO_BYTES, 40, 4);
    put(&bytes, WIDTH, 5, 4);
    put(&bytes, HEIGHT, 4, 4);
    put(&bytes, 26, 1, 2);
    put(&bytes, BITS, 8 * nChannels, 2);
    for (size_t i = 0; i < palette / 4; ++i) put(&bytes, 54 + 4 * i, (int64_t)i * 0x010101, 4);
    for (size_t y = 0; y < 4; ++y)
        for (size_t i = 0; i < 5 * (size_t)nChannels; ++i) bytes[pixelsAt + y * step + i] = (uint8_t)(10 * y + i);
    return bytes;
}

std::string pathOf(const char* name) { return testing::TempDir() + "vekdemo_" + name; }

std::string writeFile(const char* name, const Bytes& bytes)
{
    const std::string path = pathOf(name);
    FILE* stream = fopen(path.c_str(), "wb");
    EXPECT_TRUE(stream);
    if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), stream);
    fclose(stream);
    return path;
}

/* The samples of a file that was written, rows as in the file, without padding. */
Bytes samplesOf(const std::string& path)
{
    BmpFile file;
    EXPECT_EQ(bmpRead(path, &file), "");
    Bytes samples;
    const size_t rowBytes = (size_t)(file.width * file.bitCount / 8), step = (rowBytes + 3) / 4 * 4;
    for (size_t y = 0; y < (size_t)file.height; ++y)
        for (size_t i = 0; i < rowBytes; ++i) samples.push_back(file.dib[file.pixelsAt + y * step + i]);
    return samples;
}

/* What a function of a sample, its pixel and its channel makes of the file above. */
template <class F> Bytes expected(int nChannels, F f)
{
    Bytes samples;
    for (int y = 0; y < 4; ++y)
        for (int i = 0; i < 5 * nChannels; ++i) {
            const int value = f(10 * y + i, i / nChannels, y, i % nChannels + 1);
            samples.push_back((uint8_t)std::clamp(value, 0, 255));
        }
    return samples;
}

/* Of a pixel of the file: blue, and one and two more. */
int grayOf(int blue) { return (18 * blue + 183 * (blue + 1) + 54 * (blue + 2)) >> 8; }
int mulScaled(int a, int b) { return (a * b + (a * b >> 8) + 1) >> 8; }

typedef int Sample(int value, int x, int y, int channel);

TEST(Vekdemo, ComputesWhatTheChainSays)
{
    const std::string second = writeFile("second.bmp", makeFile(3));
    const struct {
        std::string steps;
        Sample* sample;
    } rows[] = {
        {"invert", [](int v, int, int, int) { return 255 - v; }},
        {"adds:240", [](int v, int, int, int) { return v + 240; }},
        {"rsubs:30,muls:2", [](int v, int, int, int) { return std::max(30 - v, 0) * 2; }},
        {"roi:1:2:3:9,adds:100", [](int v, int x, int y, int) { return x >= 1 && x < 4 && y >= 2 ? v + 100 : v; }},
        {"coi:2,invert,coi:0,adds:1", [](int v, int, int, int c) { return (c == 2 ? 255 - v : v) + 1; }},
        {"mask:checker,invert,mask:none,ors:1",
         [](int v, int x, int y, int) { return ((x + y) % 2 ? 255 - v : v) | 1; }},
        {"mulsfp:5,abs", [](int v, int, int, int) { return v * 5 < 128 ? v * 5 : 256 - v * 5; }},
        {"subsfp:10.5", [](int v, int, int, int) { return v > 10 ? (2 * v - 21) / 2 : 0; }},
        {"flip:h", [](int v, int x, int, int) { return v + 3 * (4 - 2 * x); }},
        {"flip:v,flip:hv,flip:h", [](int v, int, int, int) { return v; }},
        {"roi:1:1:3:9,flip:v",
         [](int v, int x, int y, int) { return x >= 1 && x < 4 && y >= 1 ? v + 10 * (4 - 2 * y) : v; }},
        {"coi:3,set:7", [](int v, int, int, int c) { return c == 3 ? 7 : v; }},
        {"threshold:20", [](int v, int, int, int) { return v >= 20 ? 255 : 0; }},
        {"roi:2:0:2:4,tobits", [](int v, int x, int, int) { return x < 2 || x > 3 ? v
                                                                   : v > 0        ? 255
                                                                                  : 0; }},
        {"coi:1,mask:checker,togray1:22",
         [](int v, int x, int y, int c) { return c > 1 || (x + y) % 2 == 0 ? v
                                                 : v >= 22                 ? 192
                                                                           : 64; }},
        {"invert,roi:0:0:2:4,copy:" + second, [](int v, int x, int, int) { return x < 2 ? v : 255 - v; }},
        {"add:" + second, [](int v, int, int, int) { return 2 * v; }},
        {"invert,over:" + second + ":64",
         [](int v, int, int, int) { return mulScaled(v, 64) + (255 - v) - mulScaled(255 - v, 64); }},
        {"stretch:10:30", [](int v, int, int, int) { return (v - 10) * 255 / 20; }},
        {"mask:checker,coi:1,stretch:30:20",
         [](int v, int x, int y, int c) { return (x + y) % 2 == 0 || c > 1 ? v
                                                 : v > 30                  ? 255
                                                                           : 0; }},
        {"threshold:20,equalize", [](int v, int, int, int c) { return v >= 20  ? 255
                                                                      : c == 1 ? 114
                                                                               : 102; }},
        {"set:153,histogram", [](int, int x, int, int) { return x == 3 ? 255 : 0; }},
        {"set:0,moments", [](int, int, int, int) { return 0; }},
        {"roi:0:0:4:4,set:9,roi:0:0:1:1,moments",
         [](int v, int x, int y, int) { return x + y == 0 ? 255
                                               : x < 4    ? 9
                                                          : v; }},
        {"xor:" + second, [](int, int, int, int) { return 0; }},
        {"gray", [](int v, int, int, int c) { return grayOf(v - c + 1); }},
        {"mask:checker,gray", [](int v, int x, int y, int c) { return (x + y) % 2 ? grayOf(v - c + 1) : v; }},
        {"coi:2,hsv:30:0", [](int v, int, int, int c) { return c == 2 ? v + 1 : v; }},
        {"roi:1:1:2:2,ycrcb",
         [](int v, int x, int y, int c) {
             return x < 1 || x > 2 || y < 1 || y > 2 ? v : c == 1 ? v + 1 : c == 2 ? 127 : 128;
         }},
        {"roi:2:0:9:9,twist:0:1:0:2:1:0:0:0:0:0:0.5:-1",
         [](int v, int x, int, int c) {
             return x < 2 ? v : c == 1 ? v + 3 : c == 2 ? v - 1 : v / 2 - 1;
         }},
    };
    for (const auto& row : rows) {
        const std::string in = writeFile("in.bmp", makeFile(3)), out = pathOf("out.bmp");
        const Result result = run({in.c_str(), out.c_str(), row.steps.c_str()});
        ASSERT_EQ(result.exitCode, 0) << row.steps << ": " << result.err;
        EXPECT_EQ(samplesOf(out), expected(3, row.sample)) << row.steps;
        EXPECT_NE(result.out.find("Msamples/s"), std::string::npos) << result.out;
    }
}

TEST(Vekdemo, Compares)
{
    const std::string a = writeFile("in.bmp", makeFile(3)), b = pathOf("out.bmp");
    ASSERT_EQ(run({a.c_str(), b.c_str(), "coi:1,adds:4"}).exitCode, 0);
    const Result differs = run({"compare", a.c_str(), b.c_str()});
    EXPECT_EQ(differs.exitCode, 0) << differs.err;
    for (const char* line : {"largest difference           4\n", "sum of differences           80\n",
                             "root of the sum of squares   17.8885\n", "largest, relative to B       0.0869565\n"})
        EXPECT_NE(differs.out.find(line), std::string::npos) << differs.out;
    ASSERT_EQ(run({a.c_str(), b.c_str(), "set:0"}).exitCode, 0);
    EXPECT_NE(run({"compare", a.c_str(), b.c_str()}).out.find("sum, relative to B           none, B is black\n"),
              std::string::npos);
    const std::string grey = writeFile("grey.bmp", makeFile(1));
    EXPECT_EQ(run({"compare", a.c_str(), grey.c_str()}).err,
              "vekdemo: the pictures differ in size, channels or order of rows\n");
}

TEST(Vekdemo, ReadsGreyAndTopRowFirst)
{
    for (const int nChannels : {1, 3})
        for (const int height : {4, -4}) {
            Bytes bytes = makeFile(nChannels);
            put(&bytes, HEIGHT, height, 4);
            const std::string in = writeFile("in.bmp", bytes), out = pathOf("out.bmp");
            ASSERT_EQ(run({in.c_str(), out.c_str(), "adds:7"}).exitCode, 0);
            EXPECT_EQ(samplesOf(out), expected(nChannels, [](int v, int, int, int) { return v + 7; }));
            BmpFile file;
            ASSERT_EQ(bmpRead(out, &file), "");
            EXPECT_EQ(file.isBottomUp, height > 0);
        }
}

TEST(Vekdemo, PixelsAreNotCopied)
{
    BmpFile file;
    ASSERT_EQ(bmpRead(writeFile("in.bmp", makeFile(3)), &file), "");
    const Image image = bmpImage(&file);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->imageData, file.dib.data() + 40);
    EXPECT_EQ(image->widthStep, 16);
    EXPECT_EQ(image->origin, (int32_t)VEK_ORIGIN_BOTTOM_LEFT);
}

TEST(Vekdemo, RefusesFilesThatLie)
{
    const struct {
        const char* what;
        int nChannels;
        size_t at;
        int64_t value;
        int nBytes;
        const char* text;
    } rows[] = {
        {"no mark", 3, 0, 'X', 1, "is not a bitmap file"},
        {"pixels far outside", 3, PIXELS_AT, 0xFFFFFFFF, 4, "is shorter than its width and height say"},
        {"pixels just outside", 3, PIXELS_AT, 55, 4, "is shorter than its width and height say"},
        {"pixels in the header", 3, PIXELS_AT, 53, 4, "has a header of a wrong size"},
        {"header too short", 3, INFO_BYTES, 12, 4, "has a header of a wrong size"},
        {"header too long", 3, INFO_BYTES, 0xFFFFFFF8, 4, "has a header of a wrong size"},
        {"no width", 3, WIDTH, 0, 4, "has a width or height that can't be"},
        {"negative width", 3, WIDTH, -5, 4, "has a width or height that can't be"},
        {"no height", 3, HEIGHT, 0, 4, "has a width or height that can't be"},
        {"height without opposite", 3, HEIGHT, INT32_MIN, 4, "has a width or height that can't be"},
        {"wide", 3, WIDTH, INT32_MAX, 4, "is shorter than its width and height say"},
        {"a product of 2^32", 3, HEIGHT, 0x10000000, 4, "is shorter than its width and height say"},
        {"high, top row first", 3, HEIGHT, -INT32_MAX, 4, "is shorter than its width and height say"},
        {"one row too many", 3, HEIGHT, 5, 4, "is shorter than its width and height say"},
        {"a stream that is none", 1, COMPRESSION, 1, 4, "can't be decoded"},
        {"coded otherwise", 3, COMPRESSION, 1, 4, "is coded in a way that does not go with its bits"},
        {"pictures within", 3, COMPRESSION, 4, 4, "is coded in a way that does not go with its bits"},
        {"5 bits", 3, BITS, 5, 2, "has 5 bits a pixel"},
        {"palette too long", 1, 46, 0x7FFFFFFF, 4, "has a palette that is cut short"},
        {"palette cut short", 1, PIXELS_AT, 54, 4, "has a palette that is cut short"},
    };
    for (const auto& row : rows) {
        Bytes bytes = makeFile(row.nChannels);
        put(&bytes, row.at, row.value, row.nBytes);
        const std::string in = writeFile("hostile.bmp", bytes), out = pathOf("none.bmp");
        remove(out.c_str());
        const Result result = run({in.c_str(), out.c_str(), "invert"});
        EXPECT_EQ(result.exitCode, 1) << row.what;
        EXPECT_EQ(result.err, "vekdemo: " + in + " " + row.text + "\n") << row.what;
        FILE* written = fopen(out.c_str(), "rb");
        EXPECT_FALSE(written) << row.what;
        if (written) fclose(written);
    }
}

/* Every beginning of a good file is refused, but the whole. */
TEST(Vekdemo, RefusesFilesCutShort)
{
    for (const int nChannels : {1, 3}) {
        const Bytes whole = makeFile(nChannels);
        for (size_t n = 0; n < whole.size(); ++n) {
            BmpFile file;
            EXPECT_NE(bmpRead(writeFile("cut.bmp", Bytes(whole.begin(), whole.begin() + (ptrdiff_t)n)), &file), "")
                << n;
        }
    }
}

TEST(Vekdemo, NamesWhatIsWrongWithAStep)
{
    const std::string in = writeFile("in.bmp", makeFile(3)), grey = writeFile("grey.bmp", makeFile(1));
    const std::string add = "add:" + grey, lost = pathOf("lost.bmp"), addLost = "add:" + lost;
    const struct {
        std::string step, text;
    } rows[] = {
        {"", "is not known"},
        {"blurr", "is not known"},
        {"adds", "takes one number of 32 bits after a colon"},
        {"adds:", "takes one number of 32 bits after a colon"},
        {"adds:1x", "takes one number of 32 bits after a colon"},
        {"adds:5000000000", "takes one number of 32 bits after a colon"},
        {"adds:nan", "takes one number of 32 bits after a colon"},
        {"invert:1", "takes nothing after its name"},
        {"over", "takes one number of 32 bits after a colon"},
        {"over:" + lost, "takes one number of 32 bits after a colon"},
        {"roi:0:0:5", "is to be roi:x:y:width:height, or roi:all"},
        {"roi:5:0:1:1", "is outside the picture"},
        {"roi:0:-1:1:1", "is outside the picture"},
        {"roi:0:0:0:1", "is outside the picture"},
        {"coi:4", "is to be coi:n, n from 1 to the number of channels, or 0 for all"},
        {"mask:star", "is to be mask:circle, mask:checker or mask:none"},
        {add, "vekAdd: Bad argument, (nChSrcB != nChDst)"},
        {addLost, lost + " can't be read"},
    };
    for (const auto& row : rows) {
        const Result result = run({in.c_str(), pathOf("none.bmp").c_str(), row.step.c_str()});
        EXPECT_EQ(result.exitCode, 1) << row.step;
        EXPECT_EQ(result.err, "vekdemo: step \"" + row.step + "\" " + row.text + "\n");
    }
    EXPECT_EQ(run({}).exitCode, 2);
    EXPECT_EQ(run({lost.c_str(), "x", "invert"}).err, "vekdemo: " + lost + " can't be read\n");
}

/* A picture goes out and comes back as every kind of file: exactly, or as near as the kind allows. */
TEST(Vekdemo, WritesAndReadsEveryKind)
{
    const struct {
        const char* kind;
        int bitCount, nearness; /* the largest difference of a sample */
    } rows[] = {{"24", 24, 0},  {"32", 32, 0}, {"565", 16, 7}, {"8", 8, 5},
                {"rle8", 8, 5}, {"4", 4, 60},  {"rle4", 4, 60}};
    const std::string in = writeFile("in.bmp", makeFile(3)), there = pathOf("there.bmp"), back = pathOf("back.bmp");
    for (const auto& row : rows) {
        ASSERT_EQ(run({"--as", row.kind, in.c_str(), there.c_str()}).exitCode, 0) << row.kind;
        const Result info = run({"info", there.c_str()});
        EXPECT_NE(info.out.find("5 x 4, " + std::to_string(row.bitCount) + " bits, bottom row first"),
                  std::string::npos)
            << info.out << info.err;
        ASSERT_EQ(run({"--as", "24", there.c_str(), back.c_str(), "adds:0"}).exitCode, 0) << row.kind;
        const Bytes before = samplesOf(in), after = samplesOf(back);
        ASSERT_EQ(before.size(), after.size());
        for (size_t i = 0; i < before.size(); ++i)
            EXPECT_NEAR(before[i], after[i], row.nearness) << row.kind << " " << i;
    }
    ASSERT_EQ(run({"--as", "8gray", in.c_str(), there.c_str(), "set:200"}).exitCode, 0);
    EXPECT_EQ(samplesOf(there), Bytes(20, 200));
    ASSERT_EQ(run({"--as", "1", in.c_str(), there.c_str(), "set:85"}).exitCode, 0);
    ASSERT_EQ(run({"--as", "8gray", there.c_str(), back.c_str()}).exitCode, 0);
    const Bytes dithered = samplesOf(back);
    EXPECT_EQ(std::count(dithered.begin(), dithered.end(), 0) + std::count(dithered.begin(), dithered.end(), 255), 20);
    EXPECT_NEAR((double)std::count(dithered.begin(), dithered.end(), 255), 20 / 3.0, 2.5);
    EXPECT_EQ(run({"--as", "7", in.c_str(), there.c_str()}).err, "vekdemo: " + there + " can't be written as \"7\"\n");
}

/* Streams that code 5 pixels a row, and those of other programs, that code the 8 of the padded row. */
TEST(Vekdemo, ReadsStreamsWithPadding)
{
    for (const uint8_t coded : {5, 8}) {
        Bytes bytes = makeFile(1);
        bytes.resize(54 + 1024);
        put(&bytes, COMPRESSION, 1, 4);
        for (uint8_t y = 0; y < 4; ++y) bytes.insert(bytes.end(), {coded, (uint8_t)(10 * y), 0, (uint8_t)(y == 3)});
        const std::string in = writeFile("in.bmp", bytes), out = pathOf("out.bmp");
        ASSERT_EQ(run({"--as", "8gray", in.c_str(), out.c_str()}).exitCode, 0) << (int)coded;
        EXPECT_EQ(samplesOf(out), expected(1, [](int v, int, int, int) { return v / 10 * 10; })) << (int)coded;
    }
}

/* The last of some steps. */
std::string lastStep(const std::string& steps) { return steps.substr(steps.rfind(',') + 1); }

/* The sheet has a picture for each row of the table, and no two of its pictures are the same. */
TEST(Vekdemo, DrawsTheSheet)
{
    const Result result = run({"--sheet", testing::TempDir().c_str()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    for (int i = 0; i < nOperations; ++i)
        EXPECT_NE(result.out.find("\n" + lastStep(operations[i].sample) + " "), std::string::npos);

    BmpFile sheet;
    ASSERT_EQ(bmpRead(testing::TempDir() + "contact-sheet.bmp", &sheet), "");
    EXPECT_FALSE(sheet.isBottomUp);
    const int nCells = nOperations + 8;
    ASSERT_EQ(sheet.width, 8 + 6 * 264);
    ASSERT_GE(sheet.height, 8 + (nCells + 5) / 6 * 224);
    std::set<std::string> cells;
    for (int i = 0; i < nCells; ++i) {
        std::string cell;
        for (int y = 0; y < 192; ++y) {
            const ptrdiff_t row = 8 + i / 6 * 224 + y, x = 8 + i % 6 * 264;
            const auto at = sheet.dib.begin() + (ptrdiff_t)sheet.pixelsAt + row * ((sheet.width * 3 + 3) / 4 * 4) +
                            3 * x;
            cell.insert(cell.end(), at, at + 3 * 256);
        }
        EXPECT_TRUE(cells.insert(cell).second) << "picture " << i;
    }
}

/* The gallery has a file for each picture of the sheet, with the scene and the rings side by side. */
TEST(Vekdemo, DrawsTheGallery)
{
    const Result result = run({"--gallery", testing::TempDir().c_str()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::istringstream lines(result.out);
    std::set<Bytes> pictures;
    for (std::string line; std::getline(lines, line);) {
        BmpFile file;
        ASSERT_EQ(bmpRead(testing::TempDir() + line.substr(0, line.find('\t')) + ".bmp", &file), "") << line;
        EXPECT_EQ(file.width, 2 * 256 + 8);
        EXPECT_TRUE(pictures.insert(Bytes(file.dib.begin(), file.dib.end())).second) << line;
    }
    EXPECT_EQ((int)pictures.size(), nOperations + 6);
}

} // namespace
