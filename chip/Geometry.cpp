#include "chip/Geometry.h"

#include <array>
#include <bit>

#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

constexpr std::uint32_t kMostSectors = 255;  // the size register has 8 bits
constexpr std::uint32_t kMostRamBytes = 0x10'0000;
constexpr std::uint64_t kFastestClockHz = 1'000'000'000;
constexpr Nanoseconds kLongestTime = std::chrono::hours(1);

struct GenerationSizes {
    std::uint32_t sectorSize;
    std::uint32_t sectorCount;
    std::array<std::uint32_t, 4> ramBytes;  // by RAM size code
};
constexpr GenerationSizes kLumoDSizes = {4096, 32, {0x1000, 0x2800, 0x4000, 0x5000}};
constexpr GenerationSizes kLumoFSizes = {8192, 44, {0x8000, 0xC000, 0x1'0000, 0x1'4000}};

const GenerationSizes& SizesOf(Generation generation) {
    return generation == Generation::LumoF ? kLumoFSizes : kLumoDSizes;
}

void Require(bool holds, const char* text) {
    if (!holds) {
        throw ChipError(std::string("There is no such chip: ") + text + ".");
    }
}

void CheckTiming(const Timing& timing) {
    Require(timing.coreClockHz >= 1 && timing.coreClockHz <= kFastestClockHz, "the core clock is 1 Hz to 1 GHz");
    Require(timing.linkBytesPerSecond >= 1, "the debug link moves at least one byte a second");
    for (const Nanoseconds time : {timing.sectorErase, timing.wordProgram, timing.bankErase, timing.busyStall}) {
        Require(time > Nanoseconds::zero() && time <= kLongestTime, "the times of flash are above 0, up to an hour");
    }
    Require(timing.linkLatency >= Nanoseconds::zero() && timing.linkLatency <= kLongestTime,
            "the latency of the debug link is 0 to an hour");
}

void CheckController(const ControllerKind& kind, std::uint32_t sectorSize) {
    Require(kind.unitBytes >= 4 && kind.unitBytes <= 4 * kMostUnitWords && std::has_single_bit(kind.unitBytes),
            "a unit of flash has 4, 8, 16 or 32 bytes");
    Require(kind.pageBytes == 0 || (kind.pageBytes <= sectorSize && std::has_single_bit(kind.pageBytes) &&
                                    kind.pageBytes >= kind.unitBytes),
            "a page of flash is a whole part of a sector and has whole units");
    Require(kind.watchdog >= Nanoseconds::zero() && kind.watchdog <= kLongestTime, "a watchdog waits up to an hour");
}

}  // namespace

std::uint32_t SectorSizeOf(Generation generation) { return SizesOf(generation).sectorSize; }

Settings Completed(Settings settings) {
    Require(settings.generation == Generation::LumoD || settings.generation == Generation::LumoF,
            "the generation is unknown");
    const GenerationSizes& sizes = SizesOf(settings.generation);
    Require(settings.ramSizeCode < sizes.ramBytes.size(), "the RAM size code is 0 to 3");
    if (settings.sectorCount == 0) {
        settings.sectorCount = sizes.sectorCount;
    }
    if (settings.ramBytes == 0) {
        settings.ramBytes = sizes.ramBytes[settings.ramSizeCode];
    }
    Require(settings.sectorCount <= kMostSectors, "flash has 1 to 255 sectors");
    Require(settings.ramBytes % 4 == 0 && settings.ramBytes <= kMostRamBytes, "SRAM has whole words, up to 1 MiB");
    Require(settings.initialFlash.size() <= std::size_t{settings.sectorCount} * sizes.sectorSize,
            "the initial content is longer than flash");
    Require(settings.initiallyProgrammed.size() <= std::size_t{settings.sectorCount} * sizes.sectorSize / 4,
            "more words are programmed than flash has");
    CheckController(settings.controller, sizes.sectorSize);
    CheckTiming(settings.timing);
    return settings;
}

}  // namespace flash::chip
