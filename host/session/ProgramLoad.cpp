// A program load from plan to closing phase.
#include <fmt/format.h>

#include <algorithm>

#include "host/Failure.h"
#include "host/session/MacAddress.h"
#include "host/session/Session.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kProtectableSectors = 64;

[[noreturn]] void Refuse(const std::string& text) { throw Failure(FailureKind::BadInput, text); }

const char* OnOff(bool isOn) { return isOn ? "1" : "0"; }

}  // namespace

// ---- The plan

CcfgInfo Session::ReadCcfgToKeep() {
    CcfgInfo ccfg = ReadCcfg();
    if (ccfg.sizeBytes == 0) {
        observer.Warning("The chip holds no valid CCFG, so there is none to keep");
    }
    return ccfg;
}

PlanRequest Session::MakeRequest(const ProgramOptions& options) {
    const std::uint32_t sectorCount = info.geometry.sectorCount;
    PlanRequest request{info.geometry,          options.erase,       SectorSet(sectorCount),
                        SectorSet(sectorCount), options.skippedFill, std::nullopt};
    if (options.erase == EraseChoice::Listed) {
        request.erasedSectors = ParseSectorList(options.erasedSectors, sectorCount, "--erase sectors:");
    }
    if (options.skippedSectors) {
        request.skippedSectors = ParseSectorList(*options.skippedSectors, sectorCount, "--skip-pages");
    }
    if (options.keepCcfg) {
        if (const CcfgInfo ccfg = ReadCcfgToKeep(); ccfg.sizeBytes != 0) {
            request.keptCcfgAddress = ccfg.address;
        }
    }
    return request;
}

void Session::RefuseContradictions(const PlanRequest& request, const ProgramOptions& options) const {
    const ClosingChanges& closing = options.closing;
    for (std::uint32_t sector = 0; sector < info.geometry.sectorCount; ++sector) {
        if (request.skippedSectors.Contains(sector) && request.erasedSectors.Contains(sector)) {
            Refuse(fmt::format("Page {} is to be erased and to be skipped", sector));
        }
    }
    if (closing.IsAny() && request.skippedSectors.Contains(info.geometry.sectorCount - 1)) {
        Refuse("CCFG lies in the last page; it cannot be changed while that page is skipped");
    }
    if ((closing.retainBle && closing.ble) || (closing.retainIeee && closing.ieee)) {
        Refuse("An address can be retained or replaced, not both");
    }
    if (closing.ble) {
        ParseMacAddress(*closing.ble, kBleAddressBytes, "--ble");
    }
    if (closing.ieee) {
        ParseMacAddress(*closing.ieee, kIeeeAddressBytes, "--ieee");
    }
    if (closing.protectedSectors) {
        const SectorSet sectors = ParseSectorList(*closing.protectedSectors, info.geometry.sectorCount, "--protect");
        for (std::uint32_t sector = kProtectableSectors; sector < sectors.SectorCount(); ++sector) {
            if (sectors.Contains(sector)) {
                Refuse(fmt::format(
                    "--protect: page {} shares its protection bit with another; only 0 to {} can be protected", sector,
                    kProtectableSectors - 1));
            }
        }
    }
}

WritePlan Session::Plan(const ProgramImage& image, const ProgramOptions& options) {
    RequireInside(image, 0, info.geometry.SizeBytes(), "flash");
    const PlanRequest request = MakeRequest(options);
    RefuseContradictions(request, options);
    if (request.erase == EraseChoice::All && !request.skippedSectors.IsEmpty()) {
        observer.Warning("Pages are skipped, so only the sectors that are written get erased, not all");
    }
    WritePlan plan = MakeWritePlan(image.Runs(), request, [this](std::uint32_t address, std::uint32_t length) {
        return ReadMemory(address, length);
    });
    if (plan.writes.empty()) {
        Refuse("Nothing is left to program: everything in the file is skipped");
    }
    if (plan.keepsCcfg && plan.ExpectedBytes() < image.ByteCount() &&
        image.Segments().rbegin()->first + image.Segments().rbegin()->second.bytes.size() > *request.keptCcfgAddress) {
        observer.Warning("The file has data for CCFG, which is not programmed because the chip's own is kept");
    }
    WarnAboutProtection(plan);
    return plan;
}

void Session::WarnAboutProtection(const WritePlan& plan) {
    const SectorSet isProtected = ReadCcfg().protectedSectors;
    SectorSet touched(info.geometry.sectorCount);
    for (std::uint32_t index = 0; index < info.geometry.sectorCount; ++index) {
        const SectorPlan& sector = plan.sectors[index];
        if (isProtected.Contains(index) && (sector.isWritten || (sector.isErased && plan.erase != EraseChoice::All))) {
            touched.Add(index);
        }
    }
    if (!touched.IsEmpty()) {
        observer.Warning(fmt::format("The chip protects pages {}, which the load touches", touched.Text()));
    }
}

// ---- Settings of a load

void Session::SetProgramOptions(ScopedSettings& scope, const ProgramOptions& options, const WritePlan& plan) {
    const SectorSet skipped = plan.Sectors(&SectorPlan::isSkipped);
    scope.Set("FlashEraseSetting", EraseSettingText(options.erase));
    scope.Set("ProgramLoadEraseSpecificText",
              options.erase == EraseChoice::Listed
                  ? ParseSectorList(options.erasedSectors, info.geometry.sectorCount, "--erase").Text()
                  : "");
    scope.Set("KeepCcfgSetting", OnOff(options.keepCcfg));
    scope.Set("FlashPageToggle", OnOff(!skipped.IsEmpty()));
    scope.Set("FlashPages", skipped.Text());
    scope.Set("FlashPagesFilledWith", OnOff(options.skippedFill.has_value()));
    // The only form in which every byte value is understood.
    scope.Set("FlashPagesFilledWithValue", fmt::format("0x{:02X}", options.skippedFill.value_or(0xFF)));
    scope.Set("CrcVerify", OnOff(options.verification == Verification::Crc));
    SetClosing(scope, options.closing);
}

void Session::SetClosing(ScopedSettings& scope, const ClosingChanges& changes) {
    scope.Set("RetainBleSecondaryAddr", OnOff(changes.retainBle));
    scope.Set("RetainIeeeSecondaryAddr", OnOff(changes.retainIeee));
    scope.Set("OverrideBleSecondaryAddr", OnOff(changes.ble.has_value()));
    scope.Set("OverrideIeeeSecondaryAddr", OnOff(changes.ieee.has_value()));
    scope.Set("WriteProtectionToggle", OnOff(changes.protectedSectors.has_value()));
    scope.Set("DisableBootloader", OnOff(changes.disableBootloader));
    scope.Set("DisableCpuDap", OnOff(changes.disableDebug));
    if (changes.ble) {
        scope.Set("DeviceBleSecondary", ParseMacAddress(*changes.ble, kBleAddressBytes, "--ble"));
    }
    if (changes.ieee) {
        scope.Set("DeviceIeeeSecondary", ParseMacAddress(*changes.ieee, kIeeeAddressBytes, "--ieee"));
    }
}

Session::Kept Session::Remember(const ProgramOptions& options) {
    Kept kept;
    if (const CcfgInfo ccfg = ReadCcfg(); options.keepCcfg && ccfg.sizeBytes != 0) {
        kept.ccfgAddress = ccfg.address;
        kept.ccfg = ReadMemory(ccfg.address, ccfg.sizeBytes);
    }
    if (options.closing.retainBle) {
        kept.ble = ReadAddressField("DeviceBleSecondary");
        observer.Note(fmt::format("Retaining the BLE address {}", kept.ble));
    }
    if (options.closing.retainIeee) {
        kept.ieee = ReadAddressField("DeviceIeeeSecondary");
        observer.Note(fmt::format("Retaining the IEEE address {}", kept.ieee));
    }
    return kept;
}

// ---- The load

LoadResult Session::Program(const WritePlan& plan, const ProgramOptions& options) {
    Kept kept = Remember(options);
    RequireNotInterrupted();
    const auto start = probe.Now();
    const bool isVerified = options.verification != Verification::None;
    ScopedSettings scope(settings);
    SetProgramOptions(scope, options, plan);
    Operate("Starting the load", Stage::Program, 0, [this] { plugin.NotifyPhase(kPhaseLoadStarts); });
    try {
        Load(plan, options, scope);
        RequireAllProgrammed(plan, options, kept);
        VerifyLoad(plan, options, kept);
        if (options.closing.IsAny()) {
            KeepLastSector(kept);
        }
        Close(options.closing, scope);
        if (isVerified) {
            CheckClosed(options.closing, kept);
        }
    } catch (const Failure&) {
        AbandonLoad(kept, scope);
        throw;
    }
    return {plan.WrittenBytes(), plan.ExpectedBytes(), isVerified ? plan.ExpectedBytes() : 0, probe.Now() - start};
}

void Session::Load(const WritePlan& plan, const ProgramOptions& options, ScopedSettings& scope) {
    Operate("Programming", Stage::Program, plan.WrittenBytes(), [&] {
        for (const DataRun& run : plan.writes) {
            plugin.Write(run.address, run.bytes.data(), static_cast<std::uint32_t>(run.bytes.size()));
            if (plan.erase == EraseChoice::Listed) {
                // Each write would erase the listed sectors again, and with them what the last one programmed.
                scope.Set("FlashEraseSetting", EraseSettingText(EraseChoice::None));
            }
        }
        if (options.verification == Verification::ReadBack && plugin.HandlesVerification(plan.writes.front().address)) {
            observer.Note("The plug-in decides what is programmed or checks it; only what was sent is compared");
        }
    });
}

// A bank erase that cannot start makes the plug-in drop the data and report success.
void Session::RequireAllProgrammed(const WritePlan& plan, const ProgramOptions& options, const Kept& kept) const {
    if (services.ProgrammedBytes() < plan.WrittenBytes()) {
        throw Failure(FailureKind::Operation,
                      fmt::format("Programming: reported as done, but the flashloader programmed {} of {} bytes",
                                  services.ProgrammedBytes(), plan.WrittenBytes()));
    }
    const std::size_t unchecked = plan.sectors.back().isWritten ? kept.ccfg.size() : 0;
    if (options.verification == Verification::Crc && services.CheckedBytes() + unchecked < plan.WrittenBytes()) {
        throw Failure(FailureKind::Operation, fmt::format("Programming: only {} of {} bytes were checked by CRC; try ",
                                                          services.CheckedBytes(), plan.WrittenBytes()) +
                                                  FieldText(Field::Verification) + " readback");
    }
}

void Session::VerifyLoad(const WritePlan& plan, const ProgramOptions& options, const Kept& kept) {
    if (options.verification == Verification::ReadBack) {
        Compare(plan.expected);
    }
    if (options.verification != Verification::None) {
        RequireKeptCcfg("Programming", kept);
    }
}

void Session::RequireKeptCcfg(const std::string& attempt, const Kept& kept) {
    if (!kept.ccfg.empty() && ReadMemory(kept.ccfgAddress, static_cast<std::uint32_t>(kept.ccfg.size())) != kept.ccfg) {
        throw Failure(FailureKind::Difference, attempt + ": the kept CCFG was not put back as it was");
    }
}

// The load is over without its end, and no other change is made.
void Session::AbandonLoad(const Kept& kept, ScopedSettings& scope) {
    PutBack(kept, scope);
    WarnIfFails("Ending the load after the failure below", [&] { Close({}, scope); });
}

void Session::Close(const ClosingChanges& changes, ScopedSettings& scope) {
    scope.SwitchOff(WriteOptions());  // the kept CCFG would be put back over the changed one
    if (changes.protectedSectors) {
        // The plug-in replaces the protection; pages that are protected stay so.
        SectorSet sectors = ReadCcfg().protectedSectors;
        const SectorSet added = ParseSectorList(*changes.protectedSectors, info.geometry.sectorCount, "--protect");
        for (std::uint32_t sector = 0; sector < std::min(kProtectableSectors, added.SectorCount()); ++sector) {
            if (added.Contains(sector)) {
                sectors.Add(sector);
            }
        }
        scope.Set("WriteProtectionText", sectors.Text());
    }
    Operate(changes.IsAny() ? "Changing CCFG" : "Ending the load", Stage::Close, info.geometry.sectorSizeBytes,
            [this] { plugin.NotifyPhase(kPhaseLoadFinished); });
}

void Session::CheckClosed(const ClosingChanges& changes, const Kept& kept) {
    if (!changes.IsAny()) {
        return;
    }
    const auto demand = [](bool isAsWanted, const char* what) {
        if (!isAsWanted) {
            throw Failure(FailureKind::Difference, fmt::format("Changing CCFG: {} is not what was asked for", what));
        }
    };
    const std::string ble = changes.ble         ? ParseMacAddress(*changes.ble, kBleAddressBytes, "--ble")
                            : changes.retainBle ? kept.ble
                                                : "";
    const std::string ieee = changes.ieee         ? ParseMacAddress(*changes.ieee, kIeeeAddressBytes, "--ieee")
                             : changes.retainIeee ? kept.ieee
                                                  : "";
    const CcfgInfo ccfg = ReadCcfg();
    demand(ble.empty() || ReadAddressField("DeviceBleSecondary") == ble, "the secondary BLE address");
    demand(ieee.empty() || ReadAddressField("DeviceIeeeSecondary") == ieee, "the secondary IEEE address");
    demand(!changes.disableBootloader || ccfg.isBootloaderDisabled, "the boot loader switch");
    demand(!changes.disableDebug || ccfg.isDebugDisabled, "the debug port switch");
    if (changes.protectedSectors) {
        const SectorSet wanted = ParseSectorList(*changes.protectedSectors, info.geometry.sectorCount, "--protect");
        for (std::uint32_t sector = 0; sector < wanted.SectorCount(); ++sector) {
            demand(!wanted.Contains(sector) || ccfg.protectedSectors.Contains(sector), "the write protection");
        }
    }
    demand(IsRestOfLastSectorAsItWas(changes, kept), "the rest of the last sector");
}

bool Session::IsRestOfLastSectorAsItWas(const ClosingChanges& changes, const Kept& kept) {
    const std::uint32_t start = info.geometry.LastSectorAddress();
    const std::vector<std::uint8_t> present = ReadMemory(start, info.geometry.sectorSizeBytes);
    std::vector<std::uint8_t> expected = kept.lastSector;
    const std::pair<bool, const char*> fields[] = {
        {changes.ble || changes.retainBle, "DeviceBleSecondary"},
        {changes.ieee || changes.retainIeee, "DeviceIeeeSecondary"},
        {changes.protectedSectors.has_value(), "CCFG_PROT_31_0"},
        {changes.disableBootloader, "DisableBootloader"},
        {changes.disableDebug, "DisableCpuDap"},
    };
    for (const auto& [isChanged, key] : fields) {
        const FieldLocation field = device.Location(key, info.geometry.SizeBytes());
        if (isChanged) {
            std::copy_n(present.begin() + (field.address - start), field.lengthBytes,
                        expected.begin() + (field.address - start));
        }
    }
    return present == expected;
}

}  // namespace flash::host
