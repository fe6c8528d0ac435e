// The host's properties, as the plug-in reads and writes them. Options belong to one operation: they are changed for a
// scope and put back at its end, however it ends.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace flash::host {

class Settings {
public:
    // Null when there is no such property. The text stays readable until the property is changed.
    const std::string* Find(const std::string& key) const;

    // The value, or "" when there is no such property.
    std::string Value(const std::string& key) const;

    void Set(const std::string& key, const std::string& value);
    void SetAll(const std::map<std::string, std::string>& properties);
    void Remove(const std::string& key);

    const std::map<std::string, std::string, std::less<>>& All() const { return values; }

private:
    std::map<std::string, std::string, std::less<>> values;
};

// Changes properties and puts the earlier values (or their absence) back when it ends.
class ScopedSettings {
public:
    using Change = std::pair<std::string, std::string>;

    explicit ScopedSettings(Settings& target) : settings(target) {}
    ScopedSettings(Settings& settings, const std::vector<Change>& changes);
    ~ScopedSettings();
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

    void Set(const std::string& key, const std::string& value);
    void SetAll(const std::vector<Change>& changes);
    void SwitchOff(const std::vector<std::string>& options);

private:
    Settings& settings;
    std::vector<std::pair<std::string, std::optional<std::string>>> earlier;  // in the order of the changes
};

}  // namespace flash::host
