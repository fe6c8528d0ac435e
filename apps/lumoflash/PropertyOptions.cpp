// See PropertyOptions.h.
#include "apps/lumoflash/PropertyOptions.h"

#include "host/settings/EraseSetting.h"

namespace flash::app {
namespace {

using Properties = std::map<std::string, std::string>;

// On when the property is exactly "1"; then the option has the value of another property, or is a flag.
struct Switch {
    const char* property;
    const char* option;
    const char* valueProperty;  // null for a flag
    const char* standard;       // when there is no such property
};

constexpr Switch kSwitches[] = {
    {"KeepCcfgSetting", "--keep-ccfg", nullptr, nullptr},
    {"FlashPageToggle", "--skip-pages", "FlashPages", ""},
    {"FlashPagesFilledWith", "--skip-fill", "FlashPagesFilledWithValue", "0xFF"},
    {"RetainBleSecondaryAddr", "--retain-ble", nullptr, nullptr},
    {"RetainIeeeSecondaryAddr", "--retain-ieee", nullptr, nullptr},
    {"OverrideBleSecondaryAddr", "--ble", "DeviceBleSecondary", ""},
    {"OverrideIeeeSecondaryAddr", "--ieee", "DeviceIeeeSecondary", ""},
    {"WriteProtectionToggle", "--protect", "WriteProtectionText", ""},
    {"DisableBootloader", "--disable-bootloader", nullptr, nullptr},
    {"DisableCpuDap", "--disable-debug", nullptr, nullptr},
    {"FlashVerboseMode", "--verbose", nullptr, nullptr},
};

std::string ValueOr(const Properties& properties, const char* key, const char* standard) {
    const auto found = properties.find(key);
    return found == properties.end() ? standard : found->second;
}

std::string EraseOption(const std::string& setting, const Properties& properties) {
    switch (host::ParseEraseSetting(setting)) {
        case host::EraseChoice::Retain:
            return "retain";
        case host::EraseChoice::All:
            return "all";
        case host::EraseChoice::Listed:
            return "sectors:" + ValueOr(properties, "ProgramLoadEraseSpecificText", "");
        case host::EraseChoice::None:
            return "none";
        default:
            return "necessary";
    }
}

}  // namespace

std::vector<OptionValue> OptionsOf(const Properties& properties) {
    std::vector<OptionValue> given;
    for (const Switch& known : kSwitches) {
        if (ValueOr(properties, known.property, "0") == "1") {
            given.push_back({known.option, known.valueProperty == nullptr
                                               ? "true"
                                               : ValueOr(properties, known.valueProperty, known.standard)});
        }
    }
    if (const auto erase = properties.find("FlashEraseSetting"); erase != properties.end()) {
        given.push_back({"--erase", EraseOption(erase->second, properties)});
    }
    if (const auto sectors = properties.find("StandaloneEraseSpecificText"); sectors != properties.end()) {
        given.push_back({"--sectors", sectors->second});
    }
    if (const auto crc = properties.find("CrcVerify"); crc != properties.end()) {
        given.push_back({"--verify", crc->second == "1" ? "crc" : "none"});
    }
    return given;
}

}  // namespace flash::app
