// Values only: nothing here reads or writes a chip.
#include "host/ccfg/Kept.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace flash::host {
namespace {

std::vector<std::uint8_t> CcfgOf(const LastSector& sector, std::uint32_t sizeBytes) {
    return {sector.bytes.end() - sizeBytes, sector.bytes.end()};
}

void Place(std::vector<std::uint8_t>& lastSector, std::uint32_t offset, const std::vector<std::uint8_t>& bytes) {
    std::copy(bytes.begin(), bytes.end(), lastSector.begin() + offset);
}

// A chip that has what `wanted` has may protect more.
bool ProtectsAll(const SectorSet& wanted, const SectorSet& found) {
    for (std::uint32_t sector = 0; sector < wanted.SectorCount(); ++sector) {
        if (wanted.Contains(sector) && !found.Contains(sector)) {
            return false;
        }
    }
    return true;
}

bool IsRestAsItWas(const ClosingChanges& changes, const Kept& kept, const LastSector& after, const CcfgLayout& layout) {
    std::vector<std::uint8_t> expected = kept.lastSector;
    const std::pair<bool, const FieldLocation*> fields[] = {
        {changes.ble || changes.retainBle, &layout.ble},   {changes.ieee || changes.retainIeee, &layout.ieee},
        {changes.protect.has_value(), &layout.protection}, {changes.disableBootloader, &layout.bootloader},
        {changes.disableDebug, &layout.debugPort},
    };
    for (const auto& [isChanged, field] : fields) {
        if (isChanged) {
            const std::span<const std::uint8_t> present = BytesOf(*field, after.bytes, layout);
            Place(expected, field->address - layout.geometry.LastSectorAddress(), {present.begin(), present.end()});
        }
    }
    return after.bytes == expected;
}

std::optional<RadioAddress> Wanted(const std::optional<RadioAddress>& changed, bool isRetained,
                                   const std::optional<RadioAddress>& kept) {
    return changed || !isRetained ? changed : kept;
}

}  // namespace

Kept KeptByLoad(const LastSector& before, const CcfgLayout& layout, bool keepCcfg, const ClosingChanges& closing) {
    const CcfgInfo ccfg = DecodeCcfg(before, layout);
    Kept kept;
    if (keepCcfg) {
        kept.ccfg = CcfgOf(before, ccfg.sizeBytes);
    }
    if (closing.retainBle) {
        kept.ble = ccfg.ble;
    }
    if (closing.retainIeee) {
        kept.ieee = ccfg.ieee;
    }
    return kept;
}

void KeepLastSector(Kept& kept, const LastSector& before, const CcfgLayout& layout) {
    const CcfgInfo ccfg = DecodeCcfg(before, layout);
    if (kept.ccfg.empty()) {
        kept.ccfg = CcfgOf(before, ccfg.sizeBytes);
    }
    kept.ble = kept.ble.value_or(ccfg.ble);
    kept.ieee = kept.ieee.value_or(ccfg.ieee);
    kept.lastSector = before.bytes;
}

std::vector<std::uint8_t> LastSectorWith(const Kept& kept, std::vector<std::uint8_t> present,
                                         const CcfgLayout& layout) {
    const std::uint32_t start = layout.geometry.LastSectorAddress();
    std::vector<std::uint8_t> sector = kept.lastSector.empty() ? std::move(present) : kept.lastSector;
    std::copy(kept.ccfg.rbegin(), kept.ccfg.rend(), sector.rbegin());
    if (kept.ble) {
        Place(sector, layout.ble.address - start, kept.ble->Bytes());
    }
    if (kept.ieee) {
        Place(sector, layout.ieee.address - start, kept.ieee->Bytes());
    }
    return sector;
}

std::string LossOf(const Kept& kept, const CcfgLayout& layout) {
    std::string text = "What was to stay is not back in flash";
    if (!kept.ccfg.empty()) {
        text += fmt::format("; the {} bytes of CCFG from 0x{:08X} on were {:02X}", kept.ccfg.size(),
                            layout.geometry.SizeBytes() - kept.ccfg.size(), fmt::join(kept.ccfg, ""));
    }
    for (const auto& [name, address] : {std::pair{"BLE", &kept.ble}, {"IEEE", &kept.ieee}}) {
        if (*address) {
            text += fmt::format("; the secondary {} address was {}", name, (*address)->Text());
        }
    }
    return text + (kept.lastSector.empty()
                       ? ""
                       : fmt::format("; all from 0x{:08X} on may be lost, too", layout.geometry.LastSectorAddress()));
}

const char* FindUndone(const ClosingChanges& changes, const Kept& kept, const LastSector& after,
                       const CcfgLayout& layout) {
    const CcfgInfo ccfg = DecodeCcfg(after, layout);
    const std::optional<RadioAddress> ble = Wanted(changes.ble, changes.retainBle, kept.ble);
    const std::optional<RadioAddress> ieee = Wanted(changes.ieee, changes.retainIeee, kept.ieee);
    const std::pair<bool, const char*> demands[] = {
        {!ble || ccfg.ble == *ble, "the secondary BLE address"},
        {!ieee || ccfg.ieee == *ieee, "the secondary IEEE address"},
        {!changes.disableBootloader || ccfg.isBootloaderDisabled, "the boot loader switch"},
        {!changes.disableDebug || ccfg.isDebugDisabled, "the debug port switch"},
        {!changes.protect || ProtectsAll(*changes.protect, ccfg.protectedSectors), "the write protection"},
        {IsRestAsItWas(changes, kept, after, layout), "the rest of the last sector"},
    };
    const auto* undone = std::ranges::find(demands, false, &std::pair<bool, const char*>::first);
    return undone == std::end(demands) ? nullptr : undone->second;
}

}  // namespace flash::host
