// Properties, texts, the image and its symbols. Memory and the core are in WatchedTarget.cpp.
#include "validator/hostcheck/WatchedHost.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace flash::hostcheck {
namespace {

struct Mandatory {
    const char* name;
    Rule rule;
};

// They may be asked for by way of trial; an operation that needs one fails without it.
constexpr Mandatory kMandatory[] = {{"DeviceInfoRevisionTranslation", Rule::SettingsOfPart},
                                    {"DeviceFlashloaderFile", Rule::SettingsOfPart},
                                    {"FlashEraseSetting", Rule::SettingsOfLoad},
                                    {"FlashPageToggle", Rule::SettingsOfLoad},
                                    {"FlashPages", Rule::SettingsWhenOn},
                                    {"FlashPagesFilledWithValue", Rule::SettingsWhenOn},
                                    {"WriteProtectionToggle", Rule::SettingsWhenOn},
                                    {"WriteProtectionText", Rule::SettingsWhenOn},
                                    {"ProgramLoadEraseSpecificText", Rule::SettingsWhenOn},
                                    {"StandaloneEraseSpecificText", Rule::SettingsWhenOn}};

constexpr const char* kSwitches[] = {"CrcVerify",
                                     "KeepCcfgSetting",
                                     "FlashPageToggle",
                                     "FlashPagesFilledWith",
                                     "RetainBleSecondaryAddr",
                                     "RetainIeeeSecondaryAddr",
                                     "WriteProtectionToggle",
                                     "DisableBootloader",
                                     "DisableCpuDap",
                                     "FlashVerboseMode"};

constexpr const char* kEraseSettings[] = {
    "Necessary Sectors Only", "Necessary Sectors Only (Retain untouched content within sector)",
    "All Unprotected Sectors", "Specific Sectors", "Do not erase sectors (program load only)"};

template <typename Table>
bool Holds(const Table& table, const std::string& text) {
    return std::any_of(std::begin(table), std::end(table), [&](const char* entry) { return text == entry; });
}

std::string Told(const std::optional<std::string>& value) { return value ? "\"" + *value + "\"" : "nothing"; }

}  // namespace

WatchedHost::WatchedHost(IFlashHost* host, Findings& found, const simulation::ChipModel& model)
    : findings(found), calls(host, found), played(model) {}

void WatchedHost::BeginOperation() {
    seenProperties.clear();
    lastName.clear();
    hasTargetFailed = hasPosted = hasAnswered = false;
    waitsForAnswer = 0;
    openStatuses.clear();
    played.ForgetCalls();
}

// A failing service is no broken rule: a cable may be out. It is a hint that nobody is there.
const char* WatchedHost::TargetError(const char* error) {
    hasTargetFailed |= error != nullptr;
    lastName.clear();
    return error;
}

void WatchedHost::SeeProperty(const std::string& name, const std::optional<std::string>& value) {
    for (const Mandatory& mandatory : kMandatory) {
        if (value && name == mandatory.name) {
            findings.See(mandatory.rule, true, "");
        }
    }
    if (value && name == "FlashEraseSetting") {
        findings.See(Rule::SettingsEraseText, Holds(kEraseSettings, *value), "\"" + *value + "\"");
    }
    if (value && Holds(kSwitches, name)) {
        findings.See(Rule::SettingsSwitchText, value->empty() || *value == "0" || *value == "1",
                     "\"" + name + "\" is \"" + *value + "\"");
    }
}

void WatchedHost::EndOperation(const char* answer) {
    calls.EndOperation();
    for (const Mandatory& mandatory : kMandatory) {
        const std::string missing = "Unknown property \"" + std::string(mandatory.name) + "\"";
        if (answer != nullptr && std::string(answer).find(missing) != std::string::npos) {
            findings.See(mandatory.rule, false, answer);
        }
    }
}

const char* WatchedHost::GetProperty(const char* name) {
    const std::string asked = name;
    std::optional<std::string> value = calls.GetProperty(asked);
    const auto seen = seenProperties.find(asked);
    if (seen == seenProperties.end()) {
        SeeProperty(asked, value);
    } else {
        findings.See(lastName == asked ? Rule::PropertySameTwice : Rule::PropertySteady, seen->second == value,
                     "\"" + asked + "\" was " + Told(seen->second) + ", then " + Told(value));
    }
    seenProperties[asked] = value;
    lastName = asked;
    propertyText = value.value_or("");
    return value ? propertyText.c_str() : nullptr;
}

const char* WatchedHost::SetProperty(const char* name, const char* value) {
    std::string lentName = name;
    std::string lentValue = value;
    const char* error = calls.SetProperty(lentName, lentValue);
    lastName.clear();
    seenProperties.erase(name);
    if (error != nullptr) {
        return error;
    }
    const bool hasTaken = calls.GetProperty(name) == value;
    findings.See(Rule::PropertySetTakes, hasTaken, "\"" + std::string(name) + "\" does not read \"" + value + "\"");
    calls.ForgetText();
    if (hasTaken) {
        std::fill(lentName.begin(), lentName.end(), '?');
        std::fill(lentValue.begin(), lentValue.end(), '?');
        findings.See(Rule::PropertySetCopies, calls.GetProperty(name) == value,
                     "\"" + std::string(name) + "\" changed when the plug-in's text did");
        calls.ForgetText();
    }
    return nullptr;
}

const char* WatchedHost::LoadProgram(const char* fileName, const char* options, const char* directory) {
    const char* error = calls.LoadProgram(fileName, options, directory);
    findings.See(Rule::ImageFound, error == nullptr,
                 "\"" + std::string(fileName) + "\" in \"" + directory + "\": " + (error == nullptr ? "" : error));
    isImageLoaded = error == nullptr;
    symbols.clear();
    if (isImageLoaded) {
        SeeUnknownSymbol();
    }
    return isPlaying ? played.LoadProgram(fileName, options, directory) : TargetError(error);
}

void WatchedHost::SeeUnknownSymbol() {
    std::uint64_t value = kUntouched;
    const std::string name = "g_thereIsNoSuchSymbol";
    findings.See(Rule::SymbolUnknown, calls.LookUpSymbol(name, &value) != nullptr, "success for \"" + name + "\"");
}

void WatchedHost::SeeSymbol(const std::string& name, std::uint64_t value) {
    findings.See(Rule::SymbolValue, value != kUntouched, "success for \"" + name + "\", and no value");
    if (value == kUntouched) {
        return;
    }
    const bool isInSram = value >= 0x2000'0000 && value < 0x3000'0000;
    const bool isAlone = std::none_of(symbols.begin(), symbols.end(),
                                      [&](const auto& other) { return other.first != name && other.second == value; });
    findings.See(Rule::SymbolPlace, isInSram && isAlone,
                 "\"" + name + "\" at " + simulation::HexText(value) + (isAlone ? "" : ", where another one is"));
    symbols[name] = value;
}

const char* WatchedHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    if (isImageLoaded) {
        std::uint64_t found = kUntouched;
        const char* error = calls.LookUpSymbol(name, &found);
        findings.See(Rule::SymbolKnown, error == nullptr,
                     "\"" + std::string(name) + "\": " + (error == nullptr ? "" : error));
        if (error == nullptr) {
            SeeSymbol(name, found);
            *value = found;
        }
        if (!isPlaying) {
            return TargetError(error);
        }
    }
    return isPlaying ? played.LookUpSymbol(name, value) : TargetError(calls.LookUpSymbol(name, value));
}

const char* WatchedHost::ReportError(const char* text) {
    const char* error = calls.ReportError(text);
    lastName.clear();
    findings.See(Rule::MessageTaken, error == nullptr, "ReportError: " + std::string(error == nullptr ? "" : error));
    return error;
}

const char* WatchedHost::PrintMessage(const char* text) {
    const char* error = calls.PrintMessage(text);
    lastName.clear();
    findings.See(Rule::MessageTaken, error == nullptr, "PrintMessage: " + std::string(error == nullptr ? "" : error));
    return error;
}

const char* WatchedHost::GetDirectoryPath() {
    const std::optional<std::string> path = calls.GetDirectoryPath();
    lastName.clear();
    findings.See(Rule::DirectoryGiven, path.has_value(), "null");
    if (path) {
        findings.See(Rule::DirectoryEnds, !path->empty() && path->back() == '\\', "\"" + *path + "\"");
    }
    directoryText = path.value_or("");
    return directoryText.c_str();
}

const char* WatchedHost::WaitMilliseconds(std::uint32_t milliseconds) {
    const auto start = std::chrono::steady_clock::now();
    const char* error = calls.WaitMilliseconds(milliseconds);
    const bool isBounded = std::chrono::steady_clock::now() - start < std::chrono::seconds(1);
    findings.See(Rule::WaitBounded, isBounded, "a pause of 5 ms took more than a second");
    hasJustWaited = true;
    waitsForAnswer += hasPosted ? 1 : 0;
    return TargetError(error);
}

const char* WatchedHost::SelectCore(const char* name) {
    const char* error = calls.SelectCore(name);
    findings.See(Rule::RouteSelects, error == nullptr,
                 "\"" + std::string(name) + "\": " + (error == nullptr ? "" : error));
    return isPlaying ? played.SelectCore(name) : TargetError(error);
}

}  // namespace flash::hostcheck
