// Any file of any name: the first byte chooses the extension. A second way to the format finds the same, and detection
// and the explicit format give the same result.
#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/files/ProgramFile.h"
#include "tests/fuzz/files/ByteMap.h"
#include "tests/fuzz/files/TextCursor.h"

namespace flash::fuzz {
namespace {

using host::FileFormat;

// By the first line that is not empty, else by the name's extension.
std::optional<FileFormat> SecondFormat(std::string_view content, std::string_view name) {
    if (content.starts_with("\x7F"
                            "ELF")) {
        return FileFormat::Elf;
    }
    const auto lines = LinesOf(content);
    const auto first = std::ranges::find_if(lines, [](std::string_view line) { return !line.empty(); });
    if (first != lines.end() && first->size() >= 2 && first->size() <= 521) {
        const std::string_view digits = first->substr(1);
        const bool isRecord = std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c) != 0; });
        if (isRecord && first->front() == ':') {
            return FileFormat::IntelHex;
        }
        if (isRecord && first->front() == 'S' && std::isdigit(static_cast<unsigned char>(digits[0])) != 0) {
            return FileFormat::SRecord;
        }
    }
    return name.ends_with(".hex")   ? std::optional(FileFormat::IntelHex)
           : name.ends_with(".s19") ? std::optional(FileFormat::SRecord)
           : name.ends_with(".bin") ? std::optional(FileFormat::Binary)
           : name.ends_with(".elf") ? std::optional(FileFormat::Elf)
                                    : std::nullopt;
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    constexpr std::array<const char*, 6> kNames{"fuzz", "fuzz.hex", "fuzz.s19", "fuzz.bin", "fuzz.elf", "fuzz.txt"};
    if (size == 0) {
        return 0;
    }
    const std::string name = kNames[data[0] % kNames.size()];
    const std::span content(data + 1, size - 1);
    const auto format = fuzz::SecondFormat({reinterpret_cast<const char*>(content.data()), content.size()}, name);
    const auto readAs = [&](const host::ReadOptions& options) {
        return fuzz::MapOrRefusal(name, size, [&] { return host::ReadProgram(content, name, options); });
    };

    fuzz::FuzzRequire(host::DetectFileFormat(content, name) == format, "both ways find the same format");
    const bool isRawWithBase = !format || name.ends_with(".bin");
    const auto detected = readAs({std::nullopt, 0x1000});

    fuzz::FuzzRequire(detected == readAs({isRawWithBase ? host::FileFormat::Binary : format, 0x1000}),
                      "detection is only a choice");
    fuzz::FuzzRequire(!detected || !detected->bytes.empty(), "an accepted file has bytes");
    fuzz::FuzzRequire(format != host::FileFormat::Binary || !readAs({}), "a binary file needs a base");
    return 0;
}
