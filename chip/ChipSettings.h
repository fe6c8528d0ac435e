// What a virtual chip is made of: its generation, its memories, its flash controller, and how long each thing takes.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <vector>

namespace flash::chip {

using Nanoseconds = std::chrono::nanoseconds;

enum class Generation : std::uint8_t { LumoD, LumoF };

struct Timing {
    std::uint64_t coreClockHz = 48'000'000;  // the core executes one instruction per cycle
    Nanoseconds sectorErase = std::chrono::milliseconds(8);
    Nanoseconds wordProgram = std::chrono::microseconds(8);
    Nanoseconds bankErase = std::chrono::milliseconds(20);
    Nanoseconds busyStall{250};  // what one read of STATUS takes while the controller is busy
    std::uint64_t linkBytesPerSecond = 1'000'000;
    Nanoseconds linkLatency = std::chrono::microseconds(100);  // per transfer
    bool operator==(const Timing&) const = default;
};

// What the flash controller is like. As it stands: words that may be programmed again, and no watchdog.
struct ControllerKind {
    std::uint32_t unitBytes = 4;    // what one program operation writes: 4, 8, 16 or 32
    bool isWrittenOnce = false;     // a unit is programmed once between two erases
    std::uint32_t pageBytes = 0;    // what a sector erase erases, a whole part of a sector; 0 for a sector
    bool hasBankErase = true;       // without one its code is unknown
    bool protectsWithOnes = false;  // what PROT0 and PROT1 read as; in CCFG a bit that is clear protects
    Nanoseconds watchdog{0};        // a running core must feed it within that time; 0 for none
    bool operator==(const ControllerKind&) const = default;
};

struct Settings {
    Generation generation = Generation::LumoD;
    std::uint32_t sectorCount = 0;  // 1 to 255; 0 stands for the generation's reference flash (32 or 44 sectors)
    std::uint8_t ramSizeCode = 3;   // 0 to 3: LumoD 4, 10, 16, 20 KiB; LumoF 32, 48, 64, 80 KiB
    std::uint32_t ramBytes = 0;     // another size of SRAM than the code tells; 0 for none
    std::uint32_t identificationCode = 0x1000'0001;       // of the debug router; bits 31..28: revision
    std::array<std::uint8_t, 8> primaryIeeeAddress = {};  // least significant byte first, as in factory data
    std::array<std::uint8_t, 6> primaryBleAddress = {};   // likewise
    std::vector<std::uint8_t> initialFlash;               // from address 0 on; what it does not reach is erased
    std::vector<bool> initiallyProgrammed;                // by word, those of flash that read as ones; may be shorter
    ControllerKind controller;
    Timing timing;
    std::uint64_t seed = 1;  // decides what torn operations leave behind
    bool operator==(const Settings&) const = default;
};

}  // namespace flash::chip
