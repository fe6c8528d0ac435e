// The property map and its scoped changes.
#include "host/settings/Settings.h"

namespace flash::host {

const std::string* Settings::Find(const std::string& key) const {
    const auto found = values.find(key);
    return found == values.end() ? nullptr : &found->second;
}

std::string Settings::Value(const std::string& key) const {
    const std::string* found = Find(key);
    return found == nullptr ? std::string() : *found;
}

void Settings::Set(const std::string& key, const std::string& value) { values[key] = value; }

void Settings::SetAll(const std::map<std::string, std::string>& properties) {
    for (const auto& [key, value] : properties) {
        Set(key, value);
    }
}

void Settings::Remove(const std::string& key) { values.erase(key); }

ScopedSettings::ScopedSettings(Settings& target, std::initializer_list<Change> changes) : settings(target) {
    for (const Change& change : changes) {
        Set(change.first, change.second);
    }
}

void ScopedSettings::Set(const std::string& key, const std::string& value) {
    const std::string* present = settings.Find(key);
    earlier.emplace_back(key, present == nullptr ? std::nullopt : std::optional<std::string>(*present));
    settings.Set(key, value);
}

void ScopedSettings::SwitchOff(const std::vector<std::string>& options) {
    for (const std::string& option : options) {
        Set(option, "0");
    }
}

ScopedSettings::~ScopedSettings() {
    // Backwards, so that a key that was changed twice gets its first value.
    for (auto change = earlier.rbegin(); change != earlier.rend(); ++change) {
        if (change->second) {
            settings.Set(change->first, *change->second);
        } else {
            settings.Remove(change->first);
        }
    }
}

const std::vector<std::string>& ClosingOptions() {
    static const std::vector<std::string> options{"RetainIeeeSecondaryAddr",
                                                  "RetainBleSecondaryAddr",
                                                  "OverrideBleSecondaryAddr",
                                                  "OverrideIeeeSecondaryAddr",
                                                  "WriteProtectionToggle",
                                                  "DisableBootloader",
                                                  "DisableCpuDap"};
    return options;
}

const std::vector<std::string>& WriteOptions() {
    static const std::vector<std::string> options{"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith"};
    return options;
}

Settings DefaultSettings() {
    Settings settings;
    // Some of these are read without a test for existence, so all of them always exist.
    for (const auto& options : {ClosingOptions(), WriteOptions(), {"CrcVerify", "FlashVerboseMode"}}) {
        for (const std::string& option : options) {
            settings.Set(option, "0");
        }
    }
    for (const char* text :
         {"FlashPages", "WriteProtectionText", "ProgramLoadEraseSpecificText", "StandaloneEraseSpecificText"}) {
        settings.Set(text, "");
    }
    settings.Set("FlashPagesFilledWithValue", "0xFF");
    settings.Set("FlashEraseSetting", "Necessary Sectors Only");
    return settings;
}

}  // namespace flash::host
