// The simplest model of memory: one entry per byte. Second readers build it, images are compared with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "host/files/ProgramImage.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/AllocationMeter.h"

namespace flash::fuzz {

struct ByteMap {
    std::map<std::uint32_t, std::uint8_t> bytes;
    std::optional<std::uint32_t> entryPoint;
    bool operator==(const ByteMap&) const = default;

    // False when the byte does not fit or is there already.
    bool Put(std::uint64_t address, std::uint8_t byte) {
        return address <= 0xFFFF'FFFF && bytes.emplace(static_cast<std::uint32_t>(address), byte).second;
    }
};

// Also checks what every image promises: ascending order, no empty segment, gaps between runs, an origin for each byte.
inline ByteMap MapOf(const host::ProgramImage& image) {
    ByteMap map;
    map.entryPoint = image.entryPoint;
    std::uint64_t freeFrom = 0;
    for (const auto& [address, segment] : image.Segments()) {
        FuzzRequire(!segment.bytes.empty() && address >= freeFrom, "segments are in order and not empty");
        freeFrom = std::uint64_t{address} + segment.bytes.size();
        FuzzRequire(freeFrom <= std::uint64_t{1} << 32, "segments lie in the address space");
    }
    std::uint64_t end = 0;
    bool isFirst = true;
    for (const host::DataRun& run : image.Runs()) {
        FuzzRequire(!run.bytes.empty() && (isFirst || run.address > end), "a gap lies between two runs");
        isFirst = false;
        end = run.address;
        for (const std::uint8_t byte : run.bytes) {
            FuzzRequire(image.OriginAt(static_cast<std::uint32_t>(end)) != nullptr, "each byte has an origin");
            map.Put(end++, byte);
        }
    }
    FuzzRequire(map.bytes.size() == image.ByteCount(), "all bytes are counted");
    return map;
}

// False when `work` on so many bytes refuses them, which it must do with a text that names the file. What it asks for
// grows with these bytes only: a segment of one byte takes most.
template <typename Work>
bool IsDone(std::string_view fileName, std::size_t size, Work work) {
    constexpr std::size_t kMemoryBytes = 16'384;
    constexpr std::size_t kMemoryPerByte = 160;
    const test::AllocationMeter meter;
    bool isDone = true;
    try {
        work();
    } catch (const host::ProgramFileError& error) {
        FuzzRequire(std::string_view(error.what()).starts_with(fileName), "a refusal names the file");
        isDone = false;
    }
    FuzzRequire(meter.Bytes() <= kMemoryBytes + kMemoryPerByte * size, "memory is bounded by the file's size");
    return isDone;
}

// What `read` makes of a file of so many bytes, null when it refuses.
template <typename Read>
std::optional<ByteMap> MapOrRefusal(std::string_view fileName, std::size_t size, Read read) {
    host::ProgramImage image;
    return IsDone(fileName, size, [&] { image = read(); }) ? std::optional(MapOf(image)) : std::nullopt;
}

}  // namespace flash::fuzz
