// Any file of any name: the first byte chooses the extension. Detection and the explicit format give the same result.
#include <array>
#include <span>
#include <string>

#include "fuzz/files/ByteMap.h"
#include "host/files/ProgramFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    constexpr std::array<const char*, 6> kNames{"fuzz", "fuzz.hex", "fuzz.s19", "fuzz.bin", "fuzz.elf", "fuzz.txt"};
    if (size == 0) {
        return 0;
    }
    const std::string name = kNames[data[0] % kNames.size()];
    const std::span content(data + 1, size - 1);
    const auto format = host::DetectFileFormat(content, name);
    const auto readAs = [&](const host::ReadOptions& options) {
        return fuzz::MapOrRefusal(name, size, [&] { return host::ReadProgram(content, name, options); });
    };

    const auto detected = readAs({std::nullopt, 0x1000});

    fuzz::FuzzRequire(detected == (format ? readAs({format, 0x1000}) : std::nullopt), "detection is only a choice");
    fuzz::FuzzRequire(!detected || !detected->bytes.empty(), "an accepted file has bytes");
    fuzz::FuzzRequire(format != host::FileFormat::Binary || !readAs({}), "a binary file needs a base");
    return 0;
}
