// Runs a target over files and over the files of directories, for compilers without a fuzzer, and prints the sum of
// what was told.
#include "fuzz/input.h"

#include <cinttypes>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

static void ReplayFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> vecBytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // Of a size of its own, so that a look beyond the end is seen.
    const std::vector<uint8_t> vecInput(vecBytes.begin(), vecBytes.end());
    LLVMFuzzerTestOneInput(vecInput.data(), vecInput.size());
}

int main(int argc, char **argv) {
    int s32Files = 0;
    for (int i = 1; i < argc; i++) {
        if (!fs::is_directory(argv[i])) {
            ReplayFile(argv[i]);
            s32Files++;
            continue;
        }
        for (const auto &entry : fs::directory_iterator(argv[i])) {
            ReplayFile(entry.path());
            s32Files++;
        }
    }
    printf("%d inputs, told %016" PRIx64 "\n", s32Files, g_u64FuzzTold);
    return s32Files > 0 ? 0 : 1;
}
