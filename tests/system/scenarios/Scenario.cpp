#include "tests/system/scenarios/Scenario.h"

#include <stdexcept>

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";
constexpr char kBankEraseFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";

const Settings kVerbose = {{"FlashVerboseMode", "1"}};

Settings Verbose(Settings settings) {
    settings.insert(kVerbose.begin(), kVerbose.end());
    return settings;
}

std::string StartUp(ConnectedChip& chip) { return chip.Initialize(); }

std::string AskForAddress(ConnectedChip& chip) {
    bool isInside = false;
    const char* error = chip.device->IsAddressInFlash(0, &isInside);
    return error == nullptr ? "" : error;
}

std::string AskForRange(ConnectedChip& chip) {
    bool isInside = false;
    const char* error = chip.device->IsRangeInFlash(0, 4, &isInside);
    return error == nullptr ? "" : error;
}

std::string AskForVerification(ConnectedChip& chip) {
    bool handles = false;
    const char* error = chip.device->HandlesVerification(0, &handles);
    return error == nullptr ? "" : error;
}

// Two writes, the second of two chunks that are not aligned.
std::string LoadProgram(ConnectedChip& chip) {
    const std::uint32_t sector = chip.geometry.sectorSize;
    return chip.Load({{0, Pattern(40, 1)}, {sector + 24, Pattern(sector + 8, 2)}});
}

// Writes up to the end of flash.
std::string LoadToTheEnd(ConnectedChip& chip) {
    const std::uint32_t sector = chip.geometry.sectorSize;
    const std::uint32_t last = chip.geometry.LastSector();
    return chip.Load({{0, Pattern(40, 1)}, {last, Pattern(sector, 2)}});
}

// Sectors 0 to 2, of which the middle one holds nothing but 0xFF.
std::string LoadWithAGap(ConnectedChip& chip) {
    const std::uint32_t sector = chip.geometry.sectorSize;
    Bytes data = Pattern(3 * sector, 4);
    std::fill_n(data.begin() + sector, sector, 0xFF);
    return chip.Load({{0, data}});
}

std::string LoadNothing(ConnectedChip& chip) { return chip.Load({}); }

auto Named(const std::string& operation) {
    return [operation](ConnectedChip& chip) { return chip.Execute(operation); };
}

void AnswerSlowly(ConnectedChip& chip) { chip.host.flashloader.AnswerAll(AnswerAfterPolls(2)); }

void EraseAll(ConnectedChip& chip) { chip.host.memory.Fill(0, 0xFF, chip.FlashEnd()); }

void UseUnknownRevision(ConnectedChip& chip) { chip.host.idCode = 0x7000'0001; }

void NeverAnswer(SimulatedFlashloader& flashloader) { flashloader.AnswerNth(1, kAnswerNever); }

void FailToProgram(SimulatedFlashloader& flashloader) { flashloader.AnswerNth(2, AnswerWithStatus(0x0004'0103)); }

using Scenarios = std::vector<Scenario>;

Scenarios OfStartUp(const ChipModel& chip, std::uint32_t sectors) {
    Scenarios all = {
        {"StartUp", &chip, sectors, {}, StartUp},
        {"StartUpVerbose", &chip, sectors, kVerbose, StartUp},
        {"StartUpUnknownRevision", &chip, sectors, {}, StartUp, UseUnknownRevision},
        {"AddressFirst", &chip, sectors, {}, AskForAddress},
        {"RangeFirst", &chip, sectors, {}, AskForRange},
    };
    for (Scenario& scenario : all) {
        scenario.startsUninitialized = true;
    }
    return all;
}

Scenarios OfLoads(const ChipModel& chip, std::uint32_t sectors) {
    const auto erase = [](const char* setting) { return Settings{{"FlashEraseSetting", setting}}; };
    return {
        {"Load", &chip, sectors, {}, LoadProgram},
        {"LoadVerboseWithCrc", &chip, sectors, Verbose({{"CrcVerify", "1"}}), LoadProgram, AnswerSlowly},
        {"LoadRetain", &chip, sectors, erase(kRetain), LoadProgram},
        {"LoadNoErase", &chip, sectors, erase(kNoErase), LoadProgram},
        {"LoadBank", &chip, sectors, Verbose(erase(kBank)), LoadProgram, AnswerSlowly},
        {"LoadSpecific", &chip, sectors,
         Verbose({{"FlashEraseSetting", kSpecific}, {"ProgramLoadEraseSpecificText", "0,2-3"}}), LoadProgram,
         AnswerSlowly},
        {"LoadKeepingCcfg", &chip, sectors, Verbose({{"KeepCcfgSetting", "1"}}), LoadToTheEnd, AnswerSlowly},
        {"LoadBankKeepingCcfg", &chip, sectors, Verbose({{"KeepCcfgSetting", "1"}, {"FlashEraseSetting", kBank}}),
         LoadToTheEnd},
        {"LoadSkippingPages", &chip, sectors,
         Verbose({{"FlashPageToggle", "1"}, {"FlashPages", "1,3"}, {"FlashEraseSetting", kBank}}), LoadProgram},
        {"LoadSkippingFill",
         &chip,
         sectors,
         {{"FlashPagesFilledWith", "1"}, {"FlashPagesFilledWithValue", "0xFF"}},
         LoadWithAGap},
        {"AskForVerification", &chip, sectors, Verbose({{"CrcVerify", "1"}}), AskForVerification},
        {"AskForVerificationOfPages", &chip, sectors, Verbose({{"FlashPageToggle", "1"}, {"FlashPages", "1"}}),
         AskForVerification},
    };
}

Scenarios OfClosingOptions(const ChipModel& chip, std::uint32_t sectors) {
    const auto on = [](const char* option, Settings more = {}) {
        more[option] = "1";
        return more;
    };
    return {
        {"RetainIeee", &chip, sectors, on("RetainIeeeSecondaryAddr"), LoadNothing},
        {"RetainBle", &chip, sectors, on("RetainBleSecondaryAddr"), LoadNothing},
        {"OverrideBle", &chip, sectors, on("OverrideBleSecondaryAddr", {{"DeviceBleSecondary", "1:2:3:4:5:6"}}),
         LoadNothing},
        {"OverrideIeee", &chip, sectors, on("OverrideIeeeSecondaryAddr", {{"DeviceIeeeSecondary", "1:2:3:4:5:6:7:8"}}),
         LoadNothing},
        {"WriteProtection", &chip, sectors, on("WriteProtectionToggle", {{"WriteProtectionText", "0,2-3"}}),
         LoadNothing},
        {"DisableBootloader", &chip, sectors, on("DisableBootloader"), LoadNothing},
        {"DisableCpuDap", &chip, sectors, on("DisableCpuDap"), LoadNothing},
        {"LoadWithEveryClosingOption", &chip, sectors,
         Verbose({{"RetainIeeeSecondaryAddr", "1"},
                  {"OverrideBleSecondaryAddr", "1"},
                  {"DeviceBleSecondary", "1:2:3:4:5:6"},
                  {"WriteProtectionToggle", "1"},
                  {"WriteProtectionText", "1"},
                  {"DisableBootloader", "1"},
                  {"DisableCpuDap", "1"},
                  {"FlashEraseSetting", kRetain}}),
         LoadProgram, AnswerSlowly},
    };
}

Scenarios OfOperations(const ChipModel& chip, std::uint32_t sectors) {
    return {
        {"Erase", &chip, sectors, kVerbose, Named("Erase"), AnswerSlowly},
        {"EraseKeepingCcfg", &chip, sectors, Verbose({{"KeepCcfgSetting", "1"}}), Named("MassErase()")},
        {"EraseSectors", &chip, sectors, {{"StandaloneEraseSpecificText", "0-1,3"}}, Named("EraseSectors")},
        {"ReadPriBle", &chip, sectors, {}, Named("ReadPriBle")},
        {"ReadSecBle", &chip, sectors, {}, Named("ReadSecBle")},
        {"ReadPriIeee", &chip, sectors, {}, Named("ReadPriIeee")},
        {"ReadPriIeeeComplaining", &chip, sectors, {{"DeviceIeeePrimaryLoc", "0x50001200:8:0"}}, Named("ReadPriIeee")},
        {"ReadSecIeee", &chip, sectors, {}, Named("ReadSecIeee")},
        {"WriteSecBle", &chip, sectors, {{"DeviceBleSecondary", "1:2:3:4:5:6"}}, Named("WriteSecBle")},
        {"WriteSecIeee", &chip, sectors, {{"DeviceIeeeSecondary", "1:2:3:4:5:6:7:8"}}, Named("WriteSecIeee")},
    };
}

Scenarios OfBlankCheck(const ChipModel& chip) {
    const std::uint32_t sectors = chip.reference.sectorCount;  // the check knows only a few sizes
    return {
        {"BlankCheckProgrammed", &chip, sectors, kVerbose, Named("BlankCheck"), AnswerSlowly},
        {"BlankCheckBlank", &chip, sectors, {}, Named("BlankCheck"), EraseAll},
    };
}

Scenarios OfUpsetTargets(const ChipModel& chip, std::uint32_t sectors) {
    return {{"LoadFailsToProgram", &chip, sectors, {}, LoadProgram, {}, FailToProgram, kTimedOut}};
}

// A full time-out is hundreds of host calls, so one generation must do.
Scenario OfTimeOut() {
    return {"EraseNeverEnds", &kLumoD, 4, kVerbose, Named("Erase"), {}, NeverAnswer, kBankEraseFailed};
}

Scenarios Catalogue(const ChipModel& chip, std::uint32_t sectors) {
    Scenarios all;
    for (const Scenarios& some : {OfStartUp(chip, sectors), OfLoads(chip, sectors), OfClosingOptions(chip, sectors),
                                  OfOperations(chip, sectors), OfBlankCheck(chip), OfUpsetTargets(chip, sectors)}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    for (Scenario& scenario : all) {
        scenario.name += "On" + GenerationName(chip);
    }
    return all;
}

Scenarios CatalogueOfBoth() {
    Scenarios all = Catalogue(kLumoD, 8);
    const Scenarios second = Catalogue(kLumoF, 5);
    all.insert(all.end(), second.begin(), second.end());
    all.push_back(OfTimeOut());
    return all;
}

}  // namespace

std::unique_ptr<ConnectedChip> Prepare(const Scenario& scenario, const DeviceMaker& makeDevice) {
    auto chip = std::make_unique<ConnectedChip>(*scenario.model, scenario.sectorCount, makeDevice);
    const std::uint32_t sector = chip->geometry.sectorSize;
    const std::uint32_t flashEnd = chip->FlashEnd();
    ChipMemory& memory = chip->host.memory;
    memory.SetBytes(sector, Pattern(2 * sector, 77));
    memory.SetBytes(flashEnd - kCcfgSize, Pattern(kCcfgSize, 5));
    memory.SetWord(flashEnd - kCcfgSizeWordFromEnd, 0x0058'0001);
    for (const auto& [name, value] : scenario.settings) {
        chip->Property(name) = value;
    }
    if (scenario.prepare) {
        scenario.prepare(*chip);
    }
    if (!scenario.startsUninitialized && !chip->Initialize().empty()) {
        throw std::runtime_error("cannot prepare " + scenario.name);
    }
    chip->host.ForgetCalls();
    return chip;
}

std::string PutBackCcfg(ConnectedChip& chip, const Bytes& ccfg) {
    Settings& settings = chip.host.properties;
    settings["KeepCcfgSetting"] = "0";
    settings["FlashEraseSetting"] = kRetain;
    return chip.Load({{chip.FlashEnd() - kCcfgSize, ccfg}});
}

EndState StateOf(const ConnectedChip& chip) { return {chip.Flash(), chip.host.properties}; }

void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

const std::vector<Scenario>& AllScenarios() {
    static const std::vector<Scenario> all = CatalogueOfBoth();
    return all;
}

}  // namespace flash::test
