// Connecting, and the operations that are no program load.
#include "host/session/Session.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/Failure.h"
#include "host/Numbers.h"
#include "host/Words.h"
#include "host/plan/Contradictions.h"
#include "host/session/Operate.h"
#include "host/settings/OptionProperties.h"

namespace flash::host {
namespace {

struct AddressNames {
    const char* readOperation;
    const char* writeOperation;  // null for factory data
    const char* property;
};

const AddressNames& NamesOf(AddressKind kind) {
    static constexpr std::array<AddressNames, 4> kNames = {{
        {"ReadPriBle", nullptr, "DeviceBlePrimary"},
        {"ReadSecBle", "WriteSecBle", "DeviceBleSecondary"},
        {"ReadPriIeee", nullptr, "DeviceIeeePrimary"},
        {"ReadSecIeee", "WriteSecIeee", "DeviceIeeeSecondary"},
    }};
    return kNames[static_cast<std::size_t>(kind)];
}

// Everything that would make a named operation do more than its name says.
void SwitchOptionsOff(ScopedSettings& scope) {
    scope.SwitchOff(ClosingOptions());
    scope.SwitchOff(WriteOptions());
    scope.Set("CrcVerify", "0");
}

// The number in front of `unit` in "352 KB (44 sectors)".
std::uint32_t NumberBefore(const std::string& text, const std::string& unit) {
    const std::size_t end = text.find(unit);
    if (end == std::string::npos) {
        return 0;
    }
    const std::size_t begin = text.find_last_not_of("0123456789", end - 1) + 1;
    return ParseDecimal(text.substr(begin, end - begin)).value_or(0);
}

FlashGeometry MeasuredGeometry(const std::string& flashText, const DeviceDescription& device) {
    const std::uint32_t kibibytes = NumberBefore(flashText, " KB");
    const std::uint32_t sectors = NumberBefore(flashText, " sectors");
    if (sectors == 0 || kibibytes * 1024 != sectors * device.sectorSizeBytes) {
        throw Failure(
            FailureKind::Unreachable,
            fmt::format(
                "The plug-in measured a flash of \"{}\", which does not go with the {}-byte sectors of {}: does ",
                flashText, device.sectorSizeBytes, device.name) +
                FieldText(Field::Device) + " fit the chip?");
    }
    return {device.sectorSizeBytes, sectors};
}

}  // namespace

Session::Session(Equipment& equipment, Observer& hostObserver, const std::atomic<bool>& interruptFlag)
    : probe(*equipment.probe),
      settings(equipment.settings),
      device(equipment.device),
      observer(hostObserver),
      isInterrupted(interruptFlag),
      reader(probe, observer, interruptFlag),
      dataFolder(equipment.dataFolder),
      interruptedLoads(equipment.notesFolder),
      services({probe, settings, equipment.dataFolder, device.sectorSizeBytes}, observer, interruptFlag),
      plugin(equipment.plugin, equipment.device.name, services) {
    try {
        info.operations = plugin.Initialize();
    } catch (const PluginError& error) {
        const PluginAnswer& answer = error.Answer();
        const FieldText cause = services.Record().Refusal().value_or(FieldText(answer.cause));
        const bool saysMore = !answer.said.empty() && cause.Plain() != answer.said;
        throw Failure(FailureKind::Unreachable, fmt::format("Cannot identify the chip ({}): ", probe.Describe()) +
                                                    cause + ". Is it powered, and its debug port enabled?" +
                                                    (saysMore ? "\nThe plug-in said: " + answer.said : ""));
    }
    info.flashText = settings.Value("DeviceInfoFlashSize");
    info.ramText = settings.Value("DeviceInfoRAMSize");
    info.revisionText = settings.Value("DeviceInfoRevision");
    info.geometry = MeasuredGeometry(info.flashText, device);
    layout = LayoutOf(device, info.geometry);
    if (info.geometry.sectorCount != device.sectorCount) {
        observer.Warning(fmt::format("{} has {}, the chip {}; the chip counts", device.name,
                                     Counted(device.sectorCount, "sector"), info.geometry.sectorCount));
    }
}

CcfgInfo Session::ReadCcfg() { return DecodeCcfg(reader.ReadFields(layout), layout); }

void Session::RequireInFlash(std::uint32_t address, std::uint32_t lengthBytes) const {
    const std::uint64_t end = std::uint64_t{address} + lengthBytes;
    if (lengthBytes == 0 || end > info.geometry.SizeBytes()) {
        throw BadInput(Field::Range, fmt::format("{} at 0x{:08X} {} not inside the flash of {}",
                                                 Counted(lengthBytes, "byte"), address, lengthBytes == 1 ? "is" : "are",
                                                 Counted(info.geometry.SizeBytes(), "byte")));
    }
}

std::vector<std::uint8_t> Session::Read(std::uint32_t address, std::uint32_t lengthBytes) {
    RequireInFlash(address, lengthBytes);
    return reader.Read(address, lengthBytes);
}

// ---- Named operations

void Session::EraseAll() { EraseAllBut({}); }

void Session::EraseAllButCcfg() {
    const LastSector before = reader.ReadLastSector(layout);
    WarnUnlessThereIsCcfg(DecodeCcfg(before, layout));
    EraseAllBut(KeptByLoad(before, layout, true, {}));
}

void Session::EraseAllBut(const Kept& kept) {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("KeepCcfgSetting", kept.ccfg.empty() ? "0" : "1");
    RequireNotInterrupted(isInterrupted);
    OrPutBack(kept, scope, [&] {
        Operate(services, "Erasing flash", Stage::Close, kept.ccfg.size(), [this] { plugin.Execute("Erase"); });
        RequireKeptCcfg("Erasing flash", kept);
    });
}

void Session::EraseSectors(const SectorSet& sectors) {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("StandaloneEraseSpecificText", sectors.Text());
    RequireNotInterrupted(isInterrupted);
    Operate(services, "Erasing " + Listed("sector", sectors.Text()), Stage::Close, 0,
            [this] { plugin.Execute("EraseSectors"); });
}

WritePlan Session::PlanErase(const std::optional<SectorSet>& sectors, bool keepCcfg) {
    const CcfgInfo ccfg = ReadCcfg();
    WritePlan plan;
    plan.geometry = info.geometry;
    plan.erase = sectors ? EraseChoice::Listed : EraseChoice::All;
    plan.sectors.resize(info.geometry.sectorCount);
    for (std::uint32_t index = 0; index < info.geometry.sectorCount; ++index) {
        plan.sectors[index].isErased = sectors ? sectors->Contains(index) : !ccfg.protectedSectors.Contains(index);
    }
    plan.keepsCcfg = keepCcfg && ccfg.sizeBytes != 0;
    plan.sectors.back().keepsRest = plan.keepsCcfg;
    return plan;
}

void Session::BlankCheck(std::uint32_t address, std::uint32_t lengthBytes) {
    const std::vector<std::uint8_t> bytes = Read(address, lengthBytes);
    const auto programmed = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != kErasedByte; });
    if (programmed != bytes.end()) {
        throw Failure(FailureKind::Difference,
                      fmt::format("Flash is not blank, first at 0x{:08X}, where it has 0x{:02X}",
                                  address + (programmed - bytes.begin()), *programmed));
    }
}

void Session::BlankCheck() {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    RequireNotInterrupted(isInterrupted);
    Operate(services, "Checking for blank flash", Stage::Verify, 0, [this] { plugin.Execute("BlankCheck"); });
    const std::vector<std::string>& messages = services.Record().Messages();
    const auto says = [&](const char* text) {
        return std::find(messages.begin(), messages.end(), text) != messages.end();
    };
    if (says("Blank Check: Device flash is blank")) {
        return;
    }
    // The plug-in says "programmed" whatever the flashloader answers, and when it does not answer, too.
    const std::optional<MailboxReport> report = services.ExplainMailbox();
    const bool isProgrammed = says("Blank Check: Device flash is programmed") && report && report->isVerification;
    if (isProgrammed) {
        throw Failure(FailureKind::Difference, "Checking for blank flash: " + report->cause);
    }
    throw Failure(FailureKind::Operation, FieldText("Checking for blank flash: no answer that can be trusted") +
                                              (report ? "\n" + report->text : ""));
}

std::string Session::ReadAddress(AddressKind kind) {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    const AddressNames& names = NamesOf(kind);
    scope.Set(names.property, "");  // the plug-in puts the answer here
    std::string address;
    Operate(services, names.readOperation, Stage::Read, 0, [&] {
        plugin.Execute(names.readOperation);
        address = settings.Value(names.property);
    });
    return address;
}

RadioAddress Session::PrimaryAddress(AddressKind kind) {
    const FieldLocation address = device.Location(NamesOf(kind).property, info.geometry.SizeBytes());
    return RadioAddress(reader.Bytes(address.address, address.lengthBytes));
}

void Session::WriteAddress(AddressKind kind, const RadioAddress& address) {
    const AddressNames& names = NamesOf(kind);
    if (names.writeOperation == nullptr) {
        throw Failure(FailureKind::BadInput, "A primary address is factory data and cannot be written");
    }
    const std::string attempt = fmt::format("Writing the address {}", address.Text());
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("CrcVerify", "1");
    scope.Set(names.property, address.Text());
    Kept kept;
    KeepLastSector(kept, reader.ReadLastSector(layout), layout);
    RequireNotInterrupted(isInterrupted);
    OrPutBack(kept, scope, [&] {
        Operate(services, attempt, Stage::Close, info.geometry.sectorSizeBytes,
                [&] { plugin.Execute(names.writeOperation); });
        const CcfgInfo ccfg = ReadCcfg();
        const RadioAddress& written = kind == AddressKind::SecondaryBle ? ccfg.ble : ccfg.ieee;
        if (written != address) {
            throw Failure(FailureKind::Difference, fmt::format("{}: the chip now has {}", attempt, written.Text()));
        }
    });
}

void Session::ChangeCcfg(const ClosingChanges& changes) {
    RefuseContradictions(changes, info.geometry);
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("CrcVerify", "1");
    Kept kept;
    PrepareClosing(changes, kept, scope);
    RequireNotInterrupted(isInterrupted);
    OrPutBack(kept, scope, [&] {
        EndLoad("Changing CCFG", scope);
        RequireChanged(changes, kept);
    });
}

}  // namespace flash::host
