// Runs a fuzz target once over every file of the folders (or the files) it is given, without
// libFuzzer, so that an ordinary build and `ctest` keep the targets compiling and their seeds
// passing. A run that finds no input at all fails: a missing corpus must not pass silently.

#include "fuzz/FuzzChecks.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<std::filesystem::path> inputsOf(const std::filesystem::path& argument) {
    if (!std::filesystem::is_directory(argument)) {
        return {argument};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argument)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    return files;
}

void runOnce(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    if (!in.eof() && in.fail()) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        std::exit(1);
    }
    std::printf("%s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& file : inputsOf(argv[i])) {
            runOnce(file);
            ++count;
        }
    }
    std::printf("%zu inputs passed\n", count);
    return count > 0 ? 0 : 1;
}
