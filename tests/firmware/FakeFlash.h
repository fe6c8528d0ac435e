// A flash port for the workstation: flash that does what flash does and no more, refuses what a strict controller
// refuses, and fails on demand. One exists at a time, and the port's C functions reach it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "firmware/flash_port.h"

namespace flash {

class FakeFlash {
public:
    FakeFlash(std::uint32_t bytesPerSector, std::uint32_t sectors);
    ~FakeFlash();
    FakeFlash(const FakeFlash&) = delete;
    FakeFlash& operator=(const FakeFlash&) = delete;

    // The n-th operation from now, counted from 1, changes nothing and ends with this status.
    void FailOperation(int n, FsmStatus fsmStatus);

    FsmStatus EraseSector(std::uint32_t address);
    FsmStatus EraseBank();
    FsmStatus ProgramUnits(std::uint32_t address, const std::uint8_t* data, std::uint32_t count);

    std::uint32_t sectorBytes;
    std::uint32_t sectorCount;
    std::vector<std::uint8_t> bytes;
    std::set<std::uint32_t> protectedSectors;
    std::array<FlashLock, kMostLocks> locks;             // of the last sector and of the debug port, until changed
    FlashTraits traits{4, true, 1000, 2, locks.data()};  // a tick is a microsecond
    std::set<std::uint32_t> usedUnits;                   // where units are written once: those that were
    bool hasBankErase = true;
    std::uint32_t ticks = 0;              // of the clock
    std::uint32_t ticksPerOperation = 0;  // which each takes
    int idleCalls = 0;
    bool isClockRunning = false;
    bool hasBegun = false;                            // with a running clock, by which a port may wait
    bool onlySaysErased = false;                      // an erase changes nothing and ends with success
    std::map<std::uint32_t, std::uint8_t> stuckBits;  // by address: bits that stay 1 although the status says success
    std::function<void()> duringOperation;            // looks at, or spoils, the world while the controller works

    int operations = 0;
    int words = 0;            // units that were programmed
    int runs = 0;             // of units, each one call of the port
    std::vector<int> erases;  // per sector, those that succeeded

private:
    FsmStatus Begin();
    FsmStatus ProgramUnit(std::uint32_t address, const std::uint8_t* data);
    void Blank(std::uint32_t sectorIndex);

    int failingOperation = 0;
    FsmStatus failure = kFsmSuccess;
};

}  // namespace flash
