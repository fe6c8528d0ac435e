// The way back: what a failed operation was to leave as it is and may have erased is programmed again, or told.
#include <fmt/format.h>

#include <algorithm>

#include "host/Failure.h"
#include "host/session/MacAddress.h"
#include "host/session/Session.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {

void Session::OrPutBack(const Kept& kept, ScopedSettings& scope, const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure&) {
        PutBack(kept, scope);
        throw;
    }
}

// Every change of CCFG erases the last sector and programs it again.
void Session::KeepLastSector(Kept& kept) {
    std::vector<std::uint8_t> sector = ReadMemory(info.geometry.LastSectorAddress(), info.geometry.sectorSizeBytes);
    if (const CcfgInfo ccfg = ReadCcfg(); kept.ccfg.empty() && ccfg.sizeBytes != 0) {
        kept.ccfgAddress = ccfg.address;
        kept.ccfg.assign(sector.end() - ccfg.sizeBytes, sector.end());
    }
    if (kept.ble.empty()) {
        kept.ble = ReadAddressField("DeviceBleSecondary");
    }
    if (kept.ieee.empty()) {
        kept.ieee = ReadAddressField("DeviceIeeeSecondary");
    }
    kept.lastSector = std::move(sector);
}

// Never throws a Failure: another one is about to be told. The plug-in's own copies are gone by now, and its options
// would change what is programmed.
void Session::PutBack(const Kept& kept, ScopedSettings& scope) {
    const auto work = [&] {
        const std::vector<std::uint8_t> wanted = LastSectorWith(kept);
        const std::uint32_t address = info.geometry.LastSectorAddress();
        const std::uint32_t length = info.geometry.sectorSizeBytes;
        if (ReadMemory(address, length) == wanted) {
            return;
        }
        scope.Set("CrcVerify", "1");
        scope.Set("FlashEraseSetting", EraseSettingText(EraseChoice::Retain));
        Operate("Putting the last sector back", Stage::Close, length, [&] {
            plugin.NotifyPhase(kPhaseLoadStarts);
            plugin.Write(address, wanted.data(), length);
            plugin.NotifyPhase(kPhaseLoadFinished);
        });
        if (ReadMemory(address, length) != wanted) {
            throw Failure(FailureKind::Difference, "Putting the last sector back: flash is not as it was");
        }
    };
    scope.SwitchOff(ClosingOptions());
    scope.SwitchOff(WriteOptions());
    if (kept.IsAnything()) {
        WarnIfFails(LossOf(kept), work);
    }
}

std::vector<std::uint8_t> Session::LastSectorWith(const Kept& kept) {
    const std::uint32_t start = info.geometry.LastSectorAddress();
    std::vector<std::uint8_t> sector =
        kept.lastSector.empty() ? ReadMemory(start, info.geometry.sectorSizeBytes) : kept.lastSector;
    const auto place = [&](std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
        std::copy(bytes.begin(), bytes.end(), sector.begin() + (address - start));
    };
    if (!kept.ccfg.empty()) {
        place(kept.ccfgAddress, kept.ccfg);
    }
    for (const auto& [key, text] : {std::pair{"DeviceBleSecondary", &kept.ble}, {"DeviceIeeeSecondary", &kept.ieee}}) {
        if (!text->empty()) {
            place(device.Location(key, info.geometry.SizeBytes()).address, MacAddressBytes(*text));
        }
    }
    return sector;
}

// The only copy, should there be no way back.
std::string Session::LossOf(const Kept& kept) const {
    std::string text = "What was to stay is not back in flash";
    if (!kept.ccfg.empty()) {
        text += fmt::format("; the {} bytes of CCFG from 0x{:08X} on were {:02X}", kept.ccfg.size(), kept.ccfgAddress,
                            fmt::join(kept.ccfg, ""));
    }
    for (const auto& [name, address] : {std::pair{"BLE", &kept.ble}, {"IEEE", &kept.ieee}}) {
        if (!address->empty()) {
            text += fmt::format("; the secondary {} address was {}", name, *address);
        }
    }
    return text + (kept.lastSector.empty()
                       ? ""
                       : fmt::format("; all from 0x{:08X} on may be lost, too", info.geometry.LastSectorAddress()));
}

void Session::WarnIfFails(const std::string& consequence, const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        observer.Warning(fmt::format("{}: {}", consequence, failure.what()));
    }
}

}  // namespace flash::host
