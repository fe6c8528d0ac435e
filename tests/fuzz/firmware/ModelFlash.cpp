#include "tests/fuzz/firmware/ModelFlash.h"

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
    if (present.effect == Fault::Effect::All) {
        usedUnits.erase(usedUnits.lower_bound(sector * sectorBytes), usedUnits.lower_bound((sector + 1) * sectorBytes));
    }
    return present.fsmStatus;
}

FsmStatus ModelFlash::EraseSector(std::uint32_t address) {
    Begin({Operation::Kind::EraseSector, address, {}});
    const std::uint32_t sector = address / sectorBytes;
    return protectedSectors.contains(sector) ? FsmStatus{kFsmFailed} : Blank(sector);
}

FsmStatus ModelFlash::EraseBank() {
    Begin({Operation::Kind::EraseBank, 0, {}});
    for (std::uint32_t sector = 0; sector < sectorCount; ++sector) {
        if (!protectedSectors.contains(sector)) {
            Blank(sector);
        }
    }
    return present.fsmStatus;
}

FsmStatus ModelFlash::ProgramUnit(std::uint32_t address, const std::uint8_t* unit) {
    Begin({Operation::Kind::ProgramUnit, address, Bytes(unit, unit + units.bytes)});
    if (protectedSectors.contains(address / sectorBytes)) {
        return kFsmFailed;
    }
    bool setsABit = false;
    for (std::uint32_t i = 0; i < units.bytes; ++i) {
        setsABit = setsABit || (unit[i] & ~bytes[address + i]) != 0;
    }
    if (setsABit || usedUnits.contains(address)) {
        return kFsmFailed;
    }
    const std::uint32_t count = present.effect == Fault::Effect::All    ? units.bytes
                                : present.effect == Fault::Effect::Half ? (units.bytes + 1) / 2
                                                                        : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto stuck = stuckBits.find(address + i);
        const int kept = stuck == stuckBits.end() ? 0 : stuck->second;
        bytes[address + i] &= static_cast<std::uint8_t>(unit[i] | kept);
    }
    if (count > 0 && !units.areRewritable) {
        usedUnits.insert(address);
    }
    return present.fsmStatus;
}

}  // namespace flash::fuzz
