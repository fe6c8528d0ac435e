// Flash behind a controller that can fail, tear and lie, and that keeps a record of what it was asked for. Two of them
// that are treated alike behave alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "firmware/flash_port.h"

namespace flash::fuzz {

using Bytes = std::vector<std::uint8_t>;

struct Operation {
    enum class Kind : std::uint8_t { EraseSector, EraseBank, ProgramUnit };
    Kind kind;
    std::uint32_t address;  // 0 for the bank
    Bytes unit;             // none for an erase
    bool operator==(const Operation&) const = default;
};

// What the controller does instead of one operation: all, half or nothing of it, and then gives that status.
struct Fault {
    enum class Effect : std::uint8_t { Nothing, Half, All };
    Effect effect = Effect::Nothing;
    FsmStatus fsmStatus = kFsmFailed;
};

struct Units {
    std::uint32_t bytes = 4;
    bool areRewritable = true;
};

class ModelFlash {
public:
    ModelFlash(std::uint32_t bytesPerSector, std::uint32_t sectors, Units kindOfUnits)
        : sectorBytes(bytesPerSector),
          sectorCount(sectors),
          units(kindOfUnits),
          bytes(std::size_t{bytesPerSector} * sectors, 0xFF) {}

    // Addresses must lie in flash, of units at multiples of their size, of sectors at their start.
    FsmStatus EraseSector(std::uint32_t address);
    FsmStatus EraseBank();
    FsmStatus ProgramUnit(std::uint32_t address, const std::uint8_t* unit);

    // Counted from 1, from now on.
    void PlanFault(std::uint32_t operation, const Fault& fault) { faults[operations.size() + operation] = fault; }

    std::uint32_t sectorBytes;
    std::uint32_t sectorCount;
    Units units;
    Bytes bytes;
    std::set<std::uint32_t> usedUnits;  // where they are written once: those that were since their erase
    std::set<std::uint32_t> protectedSectors;
    std::map<std::uint32_t, std::uint8_t> stuckBits;  // by address: never cleared, and no unit fails for it
    std::vector<Operation> operations;

private:
    void Begin(const Operation& operation);
    FsmStatus Blank(std::uint32_t sector);

    std::map<std::size_t, Fault> faults;  // by the number of the operation
    Fault present;                        // of the operation in work
};

}  // namespace flash::fuzz
