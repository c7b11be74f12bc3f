/* replay: runs a target without a fuzzer.
 *
 *     TARGET                          the seeds, and mutations of them
 *     TARGET --mutations COUNT FIRST  that many mutations, of a row of their own
 *     TARGET FILE ...                 these inputs
 *     TARGET --seeds FOLDER           writes the seeds, for a fuzzer to begin with
 *
 * An input that ends the process is left in the file "failed-input". */
#include "fuzz.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <random>
#include <string>

enum { MUTATIONS = 3000 };

static int writeSeeds(const std::string& folder)
{
    int number = 0;
    for (const FuzzBytes& seed : fuzzSeeds()) {
        std::ofstream file(folder + "/seed-" + std::to_string(number++), std::ios::binary);
        file.write((const char*)seed.data(), (std::streamsize)seed.size());
        if (!file) return 1;
    }
    return 0;
}

/* Some bytes changed, left out, doubled, or of another seed. */
static FuzzBytes mutated(const std::vector<FuzzBytes>& seeds, std::mt19937& random)
{
    FuzzBytes bytes = seeds[random() % seeds.size()];
    for (uint32_t n = 1 + random() % 4; n > 0 && !bytes.empty(); --n) {
        const auto at = bytes.begin() + (ptrdiff_t)(random() % bytes.size());
        const auto end = at + (ptrdiff_t)(random() % std::min<size_t>(9, (size_t)(bytes.end() - at) + 1));
        const FuzzBytes part(at, end);
        switch (random() % 5) {
        case 0: *at = (uint8_t)random(); break;
        case 1: *at = (uint8_t)(random() % 2 ? 0 : 255); break;
        case 2: bytes.erase(at, end); break;
        case 3: bytes.insert(at, part.begin(), part.end()); break;
        default: {
            const FuzzBytes& other = seeds[random() % seeds.size()];
            bytes.insert(at, other.begin() + (ptrdiff_t)(other.size() / 2), other.end());
        }
        }
    }
    return bytes;
}

/* ---- Inputs -------------------------------------------------------------------------------------------------------- */

static const FuzzBytes* now = nullptr;

static void keepInput(int signal)
{
    if (FILE* file = now ? fopen("failed-input", "wb") : nullptr) {
        fwrite(now->data(), 1, now->size(), file);
        fclose(file);
    }
    ::signal(signal, SIG_DFL);
    raise(signal);
}

static void run(const FuzzBytes& bytes)
{
    now = &bytes;
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    now = nullptr;
}

static void runMutations(const std::vector<FuzzBytes>& seeds, int count, uint32_t first)
{
    std::mt19937 random(first);
    for (int i = 0; i < count; ++i) run(mutated(seeds, random));
    printf("%d seeds, %d mutations\n", (int)seeds.size(), count);
}

int main(int argc, char** argv)
{
    if (argc == 3 && argv[1] == std::string("--seeds")) return writeSeeds(argv[2]);
    for (const int fatal : {SIGABRT, SIGSEGV, SIGFPE, SIGILL}) signal(fatal, keepInput);
    const std::vector<FuzzBytes> seeds = fuzzSeeds();
    if (argc == 4 && argv[1] == std::string("--mutations"))
        return runMutations(seeds, atoi(argv[2]), (uint32_t)atoi(argv[3])), 0;
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const FuzzBytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        if (!file) return fprintf(stderr, "%s: can't be read\n", argv[i]), 1;
        run(bytes);
    }
    if (argc > 1) return 0;
    for (const FuzzBytes& seed : seeds) run(seed);
    runMutations(seeds, MUTATIONS, 1);
    return 0;
}
