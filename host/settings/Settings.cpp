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

ScopedSettings::ScopedSettings(Settings& target, const std::vector<Change>& changes) : settings(target) {
    SetAll(changes);
}

void ScopedSettings::Set(const std::string& key, const std::string& value) {
    const std::string* present = settings.Find(key);
    earlier.emplace_back(key, present == nullptr ? std::nullopt : std::optional<std::string>(*present));
    settings.Set(key, value);
}

void ScopedSettings::SetAll(const std::vector<Change>& changes) {
    for (const auto& [key, value] : changes) {
        Set(key, value);
    }
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

}  // namespace flash::host
