// One table, and a check for each kind of value.
#include "host/settings/KnownProperties.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "host/Failure.h"
#include "host/Nearest.h"
#include "host/Numbers.h"
#include "host/ccfg/RadioAddress.h"
#include "host/devices/SectorSet.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {
namespace {

using Check = std::string (*)(const std::string& value);  // the value, or a Failure without the key

[[noreturn]] void Refuse(const std::string& complaint) { throw Failure(FailureKind::BadInput, complaint); }

std::string Switch(const std::string& value) {
    for (const std::string_view on : {"1", "true", "on"}) {
        if (value == on) {
            return "1";
        }
    }
    for (const std::string_view off : {"0", "false", "off"}) {
        if (value == off) {
            return "0";
        }
    }
    Refuse(fmt::format("\"{}\" is none of true, false, on, off, 1, 0", value));
}

std::string EraseText(const std::string& value) {
    if (!IsEraseSetting(value)) {
        Refuse(fmt::format("\"{}\" is none of {}", value, fmt::join(EraseSettingTexts(), "; ")));
    }
    return value;
}

std::string Byte(const std::string& value) {
    constexpr std::uint32_t kMost = 0xFF;
    const std::optional<std::uint32_t> number = ParseNumber(value);
    if (!number || *number > kMost) {
        Refuse(fmt::format("\"{}\" is not a number from 0 to {}", value, kMost));
    }
    return value;
}

// How many pages there are is only known with the chip.
std::string Sectors(const std::string& value) {
    constexpr std::uint32_t kMostSectors = 1 << 16;
    if (!value.empty()) {
        ParseSectorList(value, kMostSectors, Field::Sectors);
    }
    return value;
}

std::string Ble(const std::string& value) { return ParseRadioAddress(value, kBleAddressBytes, Field::Ble).Text(); }
std::string Ieee(const std::string& value) { return ParseRadioAddress(value, kIeeeAddressBytes, Field::Ieee).Text(); }

std::string Location(const std::string& value) {
    const std::size_t colon = value.find(':');
    if (colon == std::string::npos || !ParseNumber(value.substr(0, colon)) || !ParseNumber(value.substr(colon + 1))) {
        Refuse(fmt::format("\"{}\" is not ADDRESS:LENGTH", value));
    }
    return value;
}

std::string Text(const std::string& value) {
    if (value.empty()) {
        Refuse("there is no value");
    }
    return value;
}

struct KnownProperty {
    const char* key;
    Check check;
};

constexpr KnownProperty kKnown[] = {
    {"FlashEraseSetting", EraseText},
    {"ProgramLoadEraseSpecificText", Sectors},
    {"StandaloneEraseSpecificText", Sectors},
    {"FlashVerboseMode", Switch},
    {"CrcVerify", Switch},
    {"KeepCcfgSetting", Switch},
    {"FlashPageToggle", Switch},
    {"FlashPages", Sectors},
    {"FlashPagesFilledWith", Switch},
    {"FlashPagesFilledWithValue", Byte},
    {"RetainBleSecondaryAddr", Switch},
    {"RetainIeeeSecondaryAddr", Switch},
    {"OverrideBleSecondaryAddr", Switch},
    {"OverrideIeeeSecondaryAddr", Switch},
    {"DeviceBleSecondary", Ble},
    {"DeviceIeeeSecondary", Ieee},
    {"WriteProtectionToggle", Switch},
    {"WriteProtectionText", Sectors},
    {"DisableBootloader", Switch},
    {"DisableCpuDap", Switch},
    {"DeviceFlashloaderFile", Text},
    {"DeviceInfoRevisionTranslation", Text},
    {"DeviceBlePrimaryLoc", Location},
    {"DeviceBleSecondaryLoc", Location},
    {"DeviceIeeePrimaryLoc", Location},
    {"DeviceIeeeSecondaryLoc", Location},
    {"DisableBootloaderLoc", Location},
    {"DisableCpuDapLoc", Location},
    {"CCFG_PROT_31_0Loc", Location},
};

[[noreturn]] void RefuseKey(const std::string& key) {
    Refuse(fmt::format("there is no property {}{}", key, DidYouMean(key, KnownPropertyKeys())));
}

}  // namespace

std::string CheckedProperty(const std::string& key, const std::string& value) {
    const auto* known = std::ranges::find_if(kKnown, [&](const KnownProperty& each) { return each.key == key; });
    if (known == std::end(kKnown)) {
        RefuseKey(key);
    }
    try {
        return known->check(value);
    } catch (const BadInput& wrong) {  // its text begins with the field
        Refuse(wrong.Text().With([&](Field) { return key; }));
    } catch (const Failure& wrong) {
        Refuse(key + ": " + wrong.what());
    }
}

std::vector<std::string> KnownPropertyKeys() {
    std::vector<std::string> keys;
    std::ranges::transform(kKnown, std::back_inserter(keys), &KnownProperty::key);
    return keys;
}

}  // namespace flash::host
