#include "tests/firmware/FakeFlash.h"

#include <algorithm>
#include <cassert>

namespace flash {
namespace {

FakeFlash* current = nullptr;

}  // namespace

FakeFlash::FakeFlash(std::uint32_t bytesPerSector, std::uint32_t sectors)
    : sectorBytes(bytesPerSector), sectorCount(sectors), bytes(bytesPerSector * sectors, 0xFF), erases(sectors, 0) {
    assert(current == nullptr);
    current = this;
}

FakeFlash::~FakeFlash() { current = nullptr; }

void FakeFlash::FailOperation(int n, FsmStatus fsmStatus) {
    failingOperation = operations + n;
    failure = fsmStatus;
}

FsmStatus FakeFlash::Begin() {
    ++operations;
    if (duringOperation) {
        duringOperation();
    }
    return operations == failingOperation ? failure : FsmStatus{kFsmSuccess};
}

void FakeFlash::Blank(std::uint32_t sectorIndex) {
    if (!onlySaysErased) {
        std::fill_n(bytes.begin() + sectorIndex * sectorBytes, sectorBytes, std::uint8_t{0xFF});
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

FsmStatus FakeFlash::ProgramWords(std::uint32_t address, const std::uint8_t* data, std::uint32_t count) {
    ++runs;
    FsmStatus fsmStatus = kFsmSuccess;
    for (; count > 0 && fsmStatus == kFsmSuccess; --count, address += 4, data += 4) {
        const bool isAllOnes = std::all_of(data, data + 4, [](std::uint8_t byte) { return byte == 0xFF; });
        fsmStatus = isAllOnes ? FsmStatus{kFsmSuccess} : ProgramWord(address, data);
    }
    return fsmStatus;
}

FsmStatus FakeFlash::ProgramWord(std::uint32_t address, const std::uint8_t* data) {
    if (const FsmStatus demanded = Begin(); demanded != kFsmSuccess) {
        return demanded;
    }
    if (address % 4 != 0 || address >= bytes.size()) {
        return kFsmIncorrectParameter;
    }
    if (protectedSectors.contains(address / sectorBytes)) {
        return kFsmFailed;
    }
    for (std::uint32_t i = 0; i < 4; ++i) {
        if ((data[i] & ~bytes[address + i]) != 0) {
            return kFsmFailed;
        }
    }
    for (std::uint32_t i = 0; i < 4; ++i) {
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
const std::uint8_t* FlashPortBytes() { return current->bytes.data(); }
std::uint32_t FlashPortSectorCount() { return current->sectorCount; }
bool FlashPortIsProtected(std::uint32_t sectorIndex) { return current->protectedSectors.contains(sectorIndex); }
FsmStatus FlashPortEraseSector(std::uint32_t sectorAddress) { return current->EraseSector(sectorAddress); }
FsmStatus FlashPortEraseBank() { return current->EraseBank(); }
FsmStatus FlashPortProgramWords(std::uint32_t wordAddress, const std::uint8_t* bytes, std::uint32_t wordCount) {
    return current->ProgramWords(wordAddress, bytes, wordCount);
}
}
