// The list, read in both directions.
#include "host/settings/OptionProperties.h"

#include <fmt/format.h>

namespace flash::host {
namespace {

using Value = std::optional<std::string>;
using Change = ScopedSettings::Change;

// When the option counts: while a program load writes, when it ends, or in other work.
enum class Part { Load, Closing, Other };

struct OptionProperty {
    Field field;
    Part part;
    const char* toggle;                            // "1" when the option is on; null when its value alone tells
    const char* value;                             // null when it is only switched on
    const char* standard;                          // the value before any option; null for none
    Value (*valueOf)(const ProgramOptions& load);  // missing when it is off; null for what is no option of a load
};

Value When(bool isOn) { return isOn ? Value("") : std::nullopt; }

Value TextOf(const std::optional<RadioAddress>& address) { return address ? Value(address->Text()) : std::nullopt; }

// The only form in which every byte value is understood.
std::string ByteText(std::uint8_t byte) { return fmt::format("0x{:02X}", byte); }

constexpr OptionProperty kOptionProperties[] = {
    {Field::KeptCcfg, Part::Load, "KeepCcfgSetting", nullptr, nullptr,
     [](const ProgramOptions& load) { return When(load.keepCcfg.value_or(false)); }},
    {Field::SkippedSectors, Part::Load, "FlashPageToggle", "FlashPages", "",
     [](const ProgramOptions& load) {
         return load.skippedSectors.IsEmpty() ? std::nullopt : Value(load.skippedSectors.Text());
     }},
    {Field::SkippedFill, Part::Load, "FlashPagesFilledWith", "FlashPagesFilledWithValue", "0xFF",
     [](const ProgramOptions& load) { return load.skippedFill ? Value(ByteText(*load.skippedFill)) : std::nullopt; }},
    {Field::RetainedBle, Part::Closing, "RetainBleSecondaryAddr", nullptr, nullptr,
     [](const ProgramOptions& load) { return When(load.closing.retainBle); }},
    {Field::RetainedIeee, Part::Closing, "RetainIeeeSecondaryAddr", nullptr, nullptr,
     [](const ProgramOptions& load) { return When(load.closing.retainIeee); }},
    {Field::Ble, Part::Closing, "OverrideBleSecondaryAddr", "DeviceBleSecondary", nullptr,
     [](const ProgramOptions& load) { return TextOf(load.closing.ble); }},
    {Field::Ieee, Part::Closing, "OverrideIeeeSecondaryAddr", "DeviceIeeeSecondary", nullptr,
     [](const ProgramOptions& load) { return TextOf(load.closing.ieee); }},
    {Field::Protect, Part::Closing, "WriteProtectionToggle", "WriteProtectionText", "",
     [](const ProgramOptions& load) {
         return load.closing.protect ? Value(load.closing.protect->Text()) : std::nullopt;
     }},
    {Field::Bootloader, Part::Closing, "DisableBootloader", nullptr, nullptr,
     [](const ProgramOptions& load) { return When(load.closing.disableBootloader); }},
    {Field::DebugPort, Part::Closing, "DisableCpuDap", nullptr, nullptr,
     [](const ProgramOptions& load) { return When(load.closing.disableDebug); }},
    {Field::Verbose, Part::Other, "FlashVerboseMode", nullptr, nullptr, nullptr},
    {Field::Erase, Part::Load, nullptr, "FlashEraseSetting", "Necessary Sectors Only",
     [](const ProgramOptions& load) { return Value(EraseSettingText(load.erase)); }},
    {Field::ErasedSectors, Part::Load, nullptr, "ProgramLoadEraseSpecificText", "",
     [](const ProgramOptions& load) {
         return Value(load.erase == EraseChoice::Listed ? load.erasedSectors.Text() : "");
     }},
    {Field::Sectors, Part::Other, nullptr, "StandaloneEraseSpecificText", "", nullptr},
    {Field::Verification, Part::Load, nullptr, "CrcVerify", "0",
     [](const ProgramOptions& load) { return Value(load.verification == Verification::Crc ? "1" : "0"); }},
};

void AddProperties(std::vector<Change>& changes, const OptionProperty& option, const ProgramOptions& load) {
    const Value value = option.valueOf(load);
    if (option.toggle != nullptr) {
        changes.emplace_back(option.toggle, value ? "1" : "0");
    }
    if (option.value != nullptr && (value || option.standard != nullptr)) {
        changes.emplace_back(option.value, value ? *value : option.standard);
    }
}

std::vector<std::string> TogglesOf(Part part) {
    std::vector<std::string> toggles;
    for (const OptionProperty& option : kOptionProperties) {
        if (option.part == part && option.toggle != nullptr) {
            toggles.emplace_back(option.toggle);
        }
    }
    return toggles;
}

}  // namespace

Settings DefaultSettings() {
    Settings settings;
    // Some of these are read without a test for existence, so all of them always exist.
    for (const OptionProperty& option : kOptionProperties) {
        if (option.toggle != nullptr) {
            settings.Set(option.toggle, "0");
        }
        if (option.standard != nullptr) {
            settings.Set(option.value, option.standard);
        }
    }
    return settings;
}

std::vector<std::string> ClosingOptions() { return TogglesOf(Part::Closing); }

std::vector<std::string> WriteOptions() { return TogglesOf(Part::Load); }

std::vector<Change> PropertiesOf(const ProgramOptions& options) {
    std::vector<Change> changes;
    for (const OptionProperty& option : kOptionProperties) {
        if (option.valueOf != nullptr) {
            AddProperties(changes, option, options);
        }
    }
    return changes;
}

std::vector<Change> PropertiesOf(const ClosingChanges& closing) {
    ProgramOptions load;
    load.closing = closing;
    std::vector<Change> changes;
    for (const OptionProperty& option : kOptionProperties) {
        if (option.part == Part::Closing) {
            AddProperties(changes, option, load);
        }
    }
    return changes;
}

std::vector<GivenField> FieldsOf(const std::map<std::string, std::string>& properties) {
    const auto find = [&](const char* key) {
        const auto found = properties.find(key);
        return found == properties.end() ? Value() : Value(found->second);
    };
    std::vector<GivenField> given;
    for (const OptionProperty& option : kOptionProperties) {
        const Value value = option.value == nullptr ? std::nullopt : find(option.value);
        if (option.toggle == nullptr && value) {
            given.push_back({option.field, value});
        } else if (option.value == nullptr && find(option.toggle) == "0") {
            given.push_back({option.field, "false"});
        } else if (option.toggle != nullptr && find(option.toggle) == "1") {
            const char* standard = option.standard == nullptr ? "" : option.standard;
            given.push_back({option.field, option.value == nullptr ? std::nullopt : Value(value.value_or(standard))});
        }
    }
    return given;
}

}  // namespace flash::host
