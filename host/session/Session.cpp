// Connecting, and the operations that are no program load.
#include "host/session/Session.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "host/Failure.h"
#include "host/session/MacAddress.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kReadPieceBytes = 4096;
constexpr std::uint32_t kProtectionWords = 2;
constexpr std::uint32_t kBitsPerWord = 32;

struct AddressNames {
    const char* readOperation;
    const char* writeOperation;  // null for factory data
    const char* property;
    std::size_t lengthBytes;
};

const AddressNames& NamesOf(AddressKind kind) {
    static constexpr std::array<AddressNames, 4> kNames = {{
        {"ReadPriBle", nullptr, "DeviceBlePrimary", kBleAddressBytes},
        {"ReadSecBle", "WriteSecBle", "DeviceBleSecondary", kBleAddressBytes},
        {"ReadPriIeee", nullptr, "DeviceIeeePrimary", kIeeeAddressBytes},
        {"ReadSecIeee", "WriteSecIeee", "DeviceIeeeSecondary", kIeeeAddressBytes},
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
    const std::size_t begin = end == std::string::npos ? 0 : text.find_last_not_of("0123456789", end - 1) + 1;
    std::uint32_t number = 0;
    if (end != std::string::npos) {
        std::from_chars(text.data() + begin, text.data() + end, number);
    }
    return number;
}

}  // namespace

bool ClosingChanges::IsAny() const {
    return retainBle || retainIeee || ble || ieee || protectedSectors || disableBootloader || disableDebug;
}

Session::Session(Equipment& equipment, Observer& hostObserver, const std::atomic<bool>& interruptFlag)
    : probe(*equipment.probe),
      settings(equipment.settings),
      device(equipment.device),
      observer(hostObserver),
      isInterrupted(interruptFlag),
      services(probe, settings, observer, equipment.dataFolder, device.sectorSizeBytes, interruptFlag),
      plugin(equipment.plugin, equipment.partName, services) {
    try {
        info.operations = plugin.Initialize();
    } catch (const PluginError& error) {
        throw Failure(FailureKind::Unreachable, fmt::format("Cannot identify the chip ({}): {}. Is it powered, and its "
                                                            "debug port enabled?",
                                                            probe.Describe(), error.what()));
    }
    info.flashText = settings.Value("DeviceInfoFlashSize");
    info.ramText = settings.Value("DeviceInfoRAMSize");
    info.revisionText = settings.Value("DeviceInfoRevision");
    info.geometry = MeasuredGeometry();
    if (info.geometry.sectorCount != device.sectorCount) {
        observer.Warning(fmt::format("{} has {} sectors, the chip {}; the chip counts", device.name, device.sectorCount,
                                     info.geometry.sectorCount));
    }
}

FlashGeometry Session::MeasuredGeometry() const {
    const std::uint32_t kibibytes = NumberBefore(info.flashText, " KB");
    const std::uint32_t sectors = NumberBefore(info.flashText, " sectors");
    if (sectors == 0 || kibibytes * 1024 != sectors * device.sectorSizeBytes) {
        throw Failure(
            FailureKind::Unreachable,
            fmt::format(
                "The plug-in measured a flash of \"{}\", which does not go with the {}-byte sectors of {}: does ",
                info.flashText, device.sectorSizeBytes, device.name) +
                FieldText(Field::Device) + " fit the chip?");
    }
    return {device.sectorSizeBytes, sectors};
}

// ---- Running the plug-in

void Session::Operate(const std::string& attempt, Stage stage, std::uint64_t bytes, const std::function<void()>& work) {
    services.BeginOperation(stage, bytes);
    try {
        work();
        if (services.IsFlashloaderRunning()) {
            services.Settle();
        }
    } catch (const PluginError& error) {
        services.EndOperation();
        FailOperation(attempt, error.what());
    } catch (const ProbeError& error) {
        services.EndOperation();
        FailOperation(attempt, error.what());
    }
    services.EndOperation();
    RequireNoComplaints(attempt);
}

void Session::FailOperation(const std::string& attempt, const std::string& pluginText) {
    if (services.WasInterrupted()) {
        throw Failure(FailureKind::Interrupted,
                      fmt::format("{}: interrupted; the same command again starts anew", attempt));
    }
    std::string text = fmt::format("{}: {}", attempt, pluginText);
    FailureKind kind = FailureKind::Operation;
    if (const std::optional<MailboxReport> report = services.ExplainMailbox()) {
        text += "\n" + report->text;
        kind = report->isVerification || services.SawVerificationFailure() ? FailureKind::Difference : kind;
    }
    throw Failure(kind, text);
}

void Session::RequireNoComplaints(const std::string& attempt) {
    if (services.Complaints().empty()) {
        return;
    }
    std::string text = fmt::format("{}: reported as done, but not without errors", attempt);
    for (const std::string& complaint : services.Complaints()) {
        text += "\n" + complaint;
    }
    if (const auto report = services.ExplainMailbox(); report && report->isFailure) {
        text += "\n" + report->text;
    }
    throw Failure(FailureKind::Operation, text);
}

void Session::RequireNotInterrupted() const {
    if (isInterrupted) {
        throw Failure(FailureKind::Interrupted, "Interrupted; the same command again starts anew");
    }
}

// ---- Reading

void Session::ReadPieces(Stage stage, const std::vector<DataRun>& where,
                         const std::function<void(std::uint32_t, std::span<const std::uint8_t>)>& take) {
    std::uint64_t total = 0;
    std::for_each(where.begin(), where.end(), [&](const DataRun& run) { total += run.bytes.size(); });
    const auto start = probe.Now();
    std::uint64_t done = 0;
    observer.StageStarted(stage, total);
    for (const DataRun& run : where) {
        for (std::uint32_t offset = 0; offset < run.bytes.size(); offset += kReadPieceBytes) {
            RequireNotInterrupted();
            const auto length = std::min(kReadPieceBytes, static_cast<std::uint32_t>(run.bytes.size()) - offset);
            take(run.address + offset, ReadMemory(run.address + offset, length));
            done += length;
            observer.StageAdvanced(stage, done, probe.Now() - start);
        }
    }
    observer.StageFinished(stage, done, probe.Now() - start);
}

std::vector<std::uint8_t> Session::ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) {
    std::vector<std::uint8_t> bytes(lengthBytes);
    try {
        probe.ReadMemory(address, bytes, address % 4 == 0 && lengthBytes % 4 == 0 ? 4 : 1);
    } catch (const ProbeError& error) {
        throw Failure(FailureKind::Operation, error.what());
    }
    return bytes;
}

std::vector<std::uint8_t> Session::Read(std::uint32_t address, std::uint32_t lengthBytes) {
    const std::uint64_t end = std::uint64_t{address} + lengthBytes;
    if (lengthBytes == 0 || end > info.geometry.SizeBytes()) {
        throw Failure(FailureKind::BadInput, fmt::format("{} bytes at 0x{:08X} are not inside the flash of {} bytes",
                                                         lengthBytes, address, info.geometry.SizeBytes()));
    }
    std::vector<std::uint8_t> content;
    ReadPieces(Stage::Read, {DataRun{address, std::vector<std::uint8_t>(lengthBytes)}},
               [&](std::uint32_t, std::span<const std::uint8_t> bytes) {
                   content.insert(content.end(), bytes.begin(), bytes.end());
               });
    return content;
}

CcfgInfo Session::ReadCcfg() {
    const std::uint32_t flashSize = info.geometry.SizeBytes();
    const std::vector<std::uint8_t> word = ReadMemory(device.ccfgSizeRegister, 4);
    const auto size = static_cast<std::uint32_t>(word[2] | word[3] << 8);
    const bool isValid = size != 0 && size <= info.geometry.sectorSizeBytes;
    const auto byteAt = [&](const char* field) { return ReadMemory(device.Location(field, flashSize).address, 1)[0]; };
    CcfgInfo ccfg{isValid ? size : 0, flashSize - (isValid ? size : 0), byteAt("DisableBootloader") == 0,
                  byteAt("DisableCpuDap") == 0, SectorSet(info.geometry.sectorCount)};
    const std::vector<std::uint8_t> words =
        ReadMemory(device.Location("CCFG_PROT_31_0", flashSize).address, kProtectionWords * 4);
    for (std::uint32_t sector = 0; sector < info.geometry.sectorCount; ++sector) {
        // The second word stands for all pages from 32 on.
        const std::uint32_t bit = sector < kBitsPerWord ? sector : kBitsPerWord + sector % kBitsPerWord;
        if ((words[bit / 8] >> bit % 8 & 1) == 0) {
            ccfg.protectedSectors.Add(sector);
        }
    }
    return ccfg;
}

std::string Session::ReadAddressField(const std::string& key) {
    const FieldLocation location = device.Location(key, info.geometry.SizeBytes());
    return PrintMacAddress(ReadMemory(location.address, location.lengthBytes));
}

std::size_t Session::Verify(const ProgramImage& image) {
    RequireInside(image, 0, info.geometry.SizeBytes(), "flash");
    return Compare(image.Runs());
}

std::size_t Session::Compare(const std::vector<DataRun>& expected) {
    std::size_t compared = 0, different = 0;
    std::string firstDifference;
    auto run = expected.begin();
    ReadPieces(Stage::Verify, expected, [&](std::uint32_t address, std::span<const std::uint8_t> present) {
        while (address >= run->address + run->bytes.size()) {
            ++run;
        }
        for (std::size_t i = 0; i < present.size(); ++i) {
            const std::uint8_t wanted = run->bytes[address - run->address + i];
            if (wanted != present[i] && different++ == 0) {
                firstDifference = fmt::format("first at 0x{:08X}, where the file has 0x{:02X} and flash 0x{:02X}",
                                              address + i, wanted, present[i]);
            }
        }
        compared += present.size();
    });
    if (different != 0) {
        throw Failure(FailureKind::Difference,
                      fmt::format("Verifying: {} of {} bytes differ, {}", different, compared, firstDifference));
    }
    return compared;
}

// ---- Named operations

void Session::EraseAll(bool keepCcfg) {
    ProgramOptions options;
    options.keepCcfg = keepCcfg && ReadCcfgToKeep().sizeBytes != 0;
    const Kept kept = Remember(options);
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("KeepCcfgSetting", options.keepCcfg ? "1" : "0");
    RequireNotInterrupted();
    OrPutBack(kept, scope, [&] {
        Operate("Erasing flash", Stage::Close, kept.ccfg.size(), [this] { plugin.Execute("Erase"); });
        RequireKeptCcfg("Erasing flash", kept);
    });
}

void Session::EraseSectors(const std::string& sectors) {
    const SectorSet set = ParseSectorList(sectors, info.geometry.sectorCount, "--sectors");
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("StandaloneEraseSpecificText", set.Text());
    RequireNotInterrupted();
    Operate(fmt::format("Erasing sectors {}", set.Text()), Stage::Close, 0, [this] { plugin.Execute("EraseSectors"); });
}

void Session::BlankCheck() {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    RequireNotInterrupted();
    Operate("Checking for blank flash", Stage::Verify, 0, [this] { plugin.Execute("BlankCheck"); });
    const auto says = [this](const char* text) {
        return std::find(services.Messages().begin(), services.Messages().end(), text) != services.Messages().end();
    };
    if (says("Blank Check: Device flash is blank")) {
        return;
    }
    // The plug-in says "programmed" whatever the flashloader answers, and when it does not answer, too.
    const std::optional<MailboxReport> report = services.ExplainMailbox();
    const bool isProgrammed = says("Blank Check: Device flash is programmed") && report && report->isVerification;
    throw Failure(isProgrammed ? FailureKind::Difference : FailureKind::Operation,
                  fmt::format("Checking for blank flash: {}{}",
                              isProgrammed ? "flash is programmed" : "no answer that can be trusted",
                              report ? "\n" + report->text : ""));
}

std::string Session::ReadAddress(AddressKind kind) {
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    const AddressNames& names = NamesOf(kind);
    scope.Set(names.property, "");  // the plug-in puts the answer here
    std::string address;
    Operate(fmt::format("{}", names.readOperation), Stage::Read, 0, [&] {
        plugin.Execute(names.readOperation);
        address = settings.Value(names.property);
    });
    return address;
}

void Session::WriteAddress(AddressKind kind, const std::string& address) {
    const AddressNames& names = NamesOf(kind);
    if (names.writeOperation == nullptr) {
        throw Failure(FailureKind::BadInput, "A primary address is factory data and cannot be written");
    }
    const std::string wanted = ParseMacAddress(address, names.lengthBytes, "The address");
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("CrcVerify", "1");
    scope.Set(names.property, wanted);
    Kept kept;
    KeepLastSector(kept);
    RequireNotInterrupted();
    OrPutBack(kept, scope, [&] {
        Operate(fmt::format("Writing the address {}", wanted), Stage::Close, info.geometry.sectorSizeBytes,
                [&] { plugin.Execute(names.writeOperation); });
        const std::string written = ReadAddressField(names.property);
        if (written != wanted) {
            throw Failure(FailureKind::Difference,
                          fmt::format("Writing the address {}: the chip now has {}", wanted, written));
        }
    });
}

void Session::ChangeCcfg(const ClosingChanges& changes) {
    ProgramOptions options;
    options.closing = changes;
    RefuseContradictions(MakeRequest(options), options);
    ScopedSettings scope(settings);
    SwitchOptionsOff(scope);
    scope.Set("CrcVerify", "1");
    SetClosing(scope, changes);
    Kept kept;
    KeepLastSector(kept);
    RequireNotInterrupted();
    OrPutBack(kept, scope, [&] {
        Close(changes, scope);
        CheckClosed(changes, kept);
    });
}

}  // namespace flash::host
