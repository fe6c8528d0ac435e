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
    enum class Kind : std::uint8_t { EraseSector, EraseBank, ProgramWord };
    Kind kind;
    std::uint32_t address;  // 0 for the bank
    std::uint32_t word;     // 0 for an erase
    bool operator==(const Operation&) const = default;
};

// What the controller does instead of one operation: all, half or nothing of it, and then gives that status.
struct Fault {
    enum class Effect : std::uint8_t { Nothing, Half, All };
    Effect effect = Effect::Nothing;
    FsmStatus fsmStatus = kFsmFailed;
};

class ModelFlash {
public:
    ModelFlash(std::uint32_t bytesPerSector, std::uint32_t sectors)
        : sectorBytes(bytesPerSector), sectorCount(sectors), bytes(std::size_t{bytesPerSector} * sectors, 0xFF) {}

    // Addresses must lie in flash, of words at multiples of 4, of sectors at their start.
    FsmStatus EraseSector(std::uint32_t address);
    FsmStatus EraseBank();
    FsmStatus ProgramWord(std::uint32_t address, const std::uint8_t* word);

    // Counted from 1, from now on.
    void PlanFault(std::uint32_t operation, const Fault& fault) { faults[operations.size() + operation] = fault; }

    std::uint32_t sectorBytes;
    std::uint32_t sectorCount;
    Bytes bytes;
    std::set<std::uint32_t> protectedSectors;
    std::map<std::uint32_t, std::uint8_t> stuckBits;  // by address: never cleared, and no word fails for it
    std::vector<Operation> operations;

private:
    void Begin(const Operation& operation);
    FsmStatus Blank(std::uint32_t sector);

    std::map<std::size_t, Fault> faults;  // by the number of the operation
    Fault present;                        // of the operation in work
};

}  // namespace flash::fuzz
