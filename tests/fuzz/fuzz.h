/* fuzz: what a target consists of. With clang and VEK_FUZZ a target is a fuzzer; everywhere a test replays its seeds, and what
 * a short, always equal row of mutations makes of them (replay.cpp). */
#ifndef TESTS_FUZZ_H
#define TESTS_FUZZ_H

#include "own.h"

#include <vector>

typedef std::vector<uint8_t> FuzzBytes;

/* One input. Ends the process when what must hold does not. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/* Small inputs of every kind. */
std::vector<FuzzBytes> fuzzSeeds();

/* Ends the process, with the text. */
#define FUZZ_EXPECT(test)                                                                                              \
    do {                                                                                                               \
        if (!(test)) fuzzFail(#test, __FILE__, __LINE__);                                                              \
    } while (0)
[[noreturn]] void fuzzFail(const char* test, const char* file, int line);

/* Takes numbers from an input; zeros behind its end. */
struct FuzzReader {
    const uint8_t* data;
    size_t size;

    int byte()
    {
        if (size == 0) return 0;
        --size;
        return *data++;
    }
    int word()
    {
        const int low = byte();
        return low | byte() << 8;
    }
};

#endif
