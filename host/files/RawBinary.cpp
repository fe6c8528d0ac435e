// Bytes as they are.
#include "host/files/RawBinary.h"

#include <fmt/format.h>

#include <algorithm>

namespace flash::host {

ProgramImage ReadRawBinary(std::span<const std::uint8_t> content, std::uint32_t base, const std::string& fileName) {
    ProgramImage image;
    image.Add(base, content, {fileName, ""});
    return image;
}

std::vector<std::uint8_t> PrintRawBinary(const ProgramImage& image, std::uint8_t fill) {
    const std::vector<DataRun> runs = image.Runs();
    if (runs.empty()) {
        return {};
    }
    const std::uint32_t first = runs.front().address;
    const std::size_t length = runs.back().address - first + runs.back().bytes.size();
    if (length > kMaxFileBytes) {
        throw ProgramFileError(
            fmt::format("a binary file from 0x{:08X} on would have {} bytes, at most {} are allowed: choose Intel HEX, "
                        "which has gaps",
                        first, length, kMaxFileBytes));
    }
    std::vector<std::uint8_t> content(length, fill);
    for (const DataRun& run : runs) {
        std::copy(run.bytes.begin(), run.bytes.end(), content.begin() + (run.address - first));
    }
    return content;
}

}  // namespace flash::host
