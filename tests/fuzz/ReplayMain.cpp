// Feeds the files named, and all files of the folders named, to a fuzz target: the corpus as an ordinary test. The
// input that breaks a promise is the one that was named last.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

#include "tests/fuzz/FuzzTarget.h"

namespace {

std::vector<std::filesystem::path> FilesOf(std::span<char*> arguments) {
    std::vector<std::filesystem::path> files;
    for (const char* argument : arguments) {
        if (!std::filesystem::is_directory(argument)) {
            files.emplace_back(argument);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argument)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Exactly as long as the file, so that a sanitizer sees a read behind its end.
std::vector<std::uint8_t> Load(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::vector<std::uint8_t> content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    content.shrink_to_fit();
    if (stream.bad() || !stream.is_open()) {
        std::fprintf(stderr, "Cannot read %s\n", path.string().c_str());
        std::exit(2);
    }
    return content;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::filesystem::path> files =
        FilesOf(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    for (const std::filesystem::path& file : files) {
        std::printf("%s\n", file.filename().string().c_str());
        std::fflush(stdout);
        const std::vector<std::uint8_t> content = Load(file);
        LLVMFuzzerTestOneInput(content.data(), content.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
