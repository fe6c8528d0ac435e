#include "tests/firmware/FakeFlash.h"

#include <algorithm>
#include <cassert>

#include "firmware/clock.h"

namespace flash {
namespace {

FakeFlash* current = nullptr;

}  // namespace

FakeFlash::FakeFlash(std::uint32_t bytesPerSector, std::uint32_t sectors)
    : sectorBytes(bytesPerSector), sectorCount(sectors), bytes(bytesPerSector * sectors, 0xFF), erases(sectors, 0) {
    assert(current == nullptr);
    current = this;
    const std::uint32_t last = sectors - 1;
    const std::uint32_t end = sectors * bytesPerSector;
    locks[0] = {end - (last < 32 ? 0x20 : 0x1C) + last % 32 / 8, static_cast<std::uint8_t>(1U << last % 8)};
    locks[1] = {end - 0x29, 0xFF};
}

FakeFlash::~FakeFlash() { current = nullptr; }

void FakeFlash::FailOperation(int n, FsmStatus fsmStatus) {
    failingOperation = operations + n;
    failure = fsmStatus;
}

FsmStatus FakeFlash::Begin() {
    ++operations;
    ticks += ticksPerOperation;
    if (duringOperation) {
        duringOperation();
    }
    return operations == failingOperation ? failure : FsmStatus{kFsmSuccess};
}

void FakeFlash::Blank(std::uint32_t sectorIndex) {
    const std::uint32_t address = sectorIndex * sectorBytes;
    if (!onlySaysErased) {
        std::fill_n(bytes.begin() + address, sectorBytes, std::uint8_t{0xFF});
        usedUnits.erase(usedUnits.lower_bound(address), usedUnits.lower_bound(address + sectorBytes));
    }
    ++erases[sectorIndex];
}

FsmStatus FakeFlash::EraseSector(std::uint32_t address) {
    if (const FsmStatus demanded = Begin(); demanded != kFsmSuccess) {
        return demanded;
    }
    const std::uint32_t sectorIndex = address / sectorBytes;
    if (address % sectorBytes != 0 || sectorIndex >= sectorCount) {
        return kFsmIncorrectParameter;
    }
    if (protectedSectors.contains(sectorIndex)) {
        return kFsmFailed;
    }
    Blank(sectorIndex);
    return kFsmSuccess;
}

FsmStatus FakeFlash::EraseBank() {
    if (!hasBankErase) {
        return kFsmNotSupported;
    }
    if (const FsmStatus demanded = Begin(); demanded != kFsmSuccess) {
        return demanded;
    }
    for (std::uint32_t i = 0; i < sectorCount; ++i) {
        if (!protectedSectors.contains(i)) {
            Blank(i);
        }
    }
    return kFsmSuccess;
}

FsmStatus FakeFlash::ProgramUnits(std::uint32_t address, const std::uint8_t* data, std::uint32_t count) {
    ++runs;
    FsmStatus fsmStatus = kFsmSuccess;
    const std::uint32_t unit = traits.unitBytes;
    for (; count > 0 && fsmStatus == kFsmSuccess; --count, address += unit, data += unit) {
        const bool isAllOnes = std::all_of(data, data + unit, [](std::uint8_t byte) { return byte == 0xFF; });
        fsmStatus = isAllOnes ? FsmStatus{kFsmSuccess} : ProgramUnit(address, data);
    }
    return fsmStatus;
}

FsmStatus FakeFlash::ProgramUnit(std::uint32_t address, const std::uint8_t* data) {
    if (const FsmStatus demanded = Begin(); demanded != kFsmSuccess) {
        return demanded;
    }
    if (address % traits.unitBytes != 0 || address >= bytes.size()) {
        return kFsmIncorrectParameter;
    }
    if (protectedSectors.contains(address / sectorBytes)) {
        return kFsmFailed;
    }
    for (std::uint32_t i = 0; i < traits.unitBytes; ++i) {
        if ((data[i] & ~bytes[address + i]) != 0) {
            return kFsmFailed;
        }
    }
    if (!traits.isRewritable && !usedUnits.insert(address).second) {
        return kFsmFailed;
    }
    for (std::uint32_t i = 0; i < traits.unitBytes; ++i) {
        const auto stuck = stuckBits.find(address + i);
        const int kept = stuck == stuckBits.end() ? 0 : stuck->second;
        bytes[address + i] &= static_cast<std::uint8_t>(data[i] | kept);
    }
    ++words;
    return kFsmSuccess;
}

}  // namespace flash

using flash::current;

extern "C" {
void ClockStart() { current->isClockRunning = true; }
std::uint32_t ClockTicks() { return current->ticks & kClockMask; }
void FlashPortBegin() { current->hasBegun = current->isClockRunning; }
const FlashTraits* FlashPortTraits() { return &current->traits; }
void FlashPortIdle() { ++current->idleCalls; }
const std::uint8_t* FlashPortBytes() { return current->bytes.data(); }
std::uint32_t FlashPortSectorCount() { return current->sectorCount; }
bool FlashPortIsProtected(std::uint32_t sectorIndex) { return current->protectedSectors.contains(sectorIndex); }
// Wrong where units are rewritable: nobody asks there.
bool FlashPortIsBlank(std::uint32_t unitAddress) {
    return !current->traits.isRewritable && !current->usedUnits.contains(unitAddress);
}
FsmStatus FlashPortEraseSector(std::uint32_t sectorAddress) { return current->EraseSector(sectorAddress); }
FsmStatus FlashPortEraseBank() { return current->EraseBank(); }
FsmStatus FlashPortProgramUnits(std::uint32_t unitAddress, const std::uint8_t* bytes, std::uint32_t unitCount) {
    return current->ProgramUnits(unitAddress, bytes, unitCount);
}
}
