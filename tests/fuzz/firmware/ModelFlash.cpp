#include "tests/fuzz/firmware/ModelFlash.h"

#include <cstring>

namespace flash::fuzz {

void ModelFlash::Begin(const Operation& operation) {
    operations.push_back(operation);
    const auto planned = faults.find(operations.size());
    present = planned == faults.end() ? Fault{Fault::Effect::All, kFsmSuccess} : planned->second;
}

FsmStatus ModelFlash::Blank(std::uint32_t sector) {
    const std::uint32_t step = present.effect == Fault::Effect::Half ? 2 : 1;
    for (std::uint32_t i = 0; present.effect != Fault::Effect::Nothing && i < sectorBytes; i += step) {
        bytes[sector * sectorBytes + i] = 0xFF;
    }
    return present.fsmStatus;
}

FsmStatus ModelFlash::EraseSector(std::uint32_t address) {
    Begin({Operation::Kind::EraseSector, address, 0});
    const std::uint32_t sector = address / sectorBytes;
    return protectedSectors.contains(sector) ? FsmStatus{kFsmFailed} : Blank(sector);
}

FsmStatus ModelFlash::EraseBank() {
    Begin({Operation::Kind::EraseBank, 0, 0});
    for (std::uint32_t sector = 0; sector < sectorCount; ++sector) {
        if (!protectedSectors.contains(sector)) {
            Blank(sector);
        }
    }
    return present.fsmStatus;
}

FsmStatus ModelFlash::ProgramWord(std::uint32_t address, const std::uint8_t* word) {
    std::uint32_t asked = 0;
    std::memcpy(&asked, word, sizeof asked);
    Begin({Operation::Kind::ProgramWord, address, asked});
    if (protectedSectors.contains(address / sectorBytes)) {
        return kFsmFailed;
    }
    bool setsABit = false;
    for (std::uint32_t i = 0; i < 4; ++i) {
        setsABit = setsABit || (word[i] & ~bytes[address + i]) != 0;
    }
    if (setsABit) {
        return kFsmFailed;
    }
    const std::uint32_t count = present.effect == Fault::Effect::All    ? 4
                                : present.effect == Fault::Effect::Half ? 2
                                                                        : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto stuck = stuckBits.find(address + i);
        const int kept = stuck == stuckBits.end() ? 0 : stuck->second;
        bytes[address + i] &= static_cast<std::uint8_t>(word[i] | kept);
    }
    return present.fsmStatus;
}

}  // namespace flash::fuzz
