// Runs a target on the files of its corpus, once each, in builds without libFuzzer.
//   replay_TARGET FOLDER|FILE...

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace {

namespace fs = std::filesystem;

// In order of their names, so that every run is the same.
std::vector<fs::path> filesOf(const fs::path& place) {
    if (!fs::is_directory(place)) {
        return {fs::absolute(place)};
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
        files.push_back(fs::absolute(entry.path()));
    }
    std::sort(files.begin(), files.end());
    return files;
}

// A copy of exactly the input's size: the sanitizers see one byte too far.
std::vector<std::uint8_t> contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    require(stream.good(), "the input can be read");
    return {std::istreambuf_iterator<char>(stream), {}};
}

int run(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::vector<fs::path> more = filesOf(argv[i]);
        files.insert(files.end(), more.begin(), more.end());
    }
    if (files.empty()) {
        ::dprintf(STDERR_FILENO, "%s: no inputs\n", argv[0]);
        return 2;
    }
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (const fs::path& file : files) {
        const std::vector<std::uint8_t> input = contentOf(file);
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    ::dprintf(STDERR_FILENO, "%zu inputs\n", files.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        ::dprintf(STDERR_FILENO, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
}
