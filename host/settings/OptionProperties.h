// The one list of what options of a user and properties of the host stand for each other.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Field.h"
#include "host/settings/ProgramOptions.h"
#include "host/settings/Settings.h"

namespace flash::host {

// Every property that exists before an operation chooses its own: all options off, so that the plug-in finds each key.
Settings DefaultSettings();

// The options that rewrite the last sector when an operation ends.
std::vector<std::string> ClosingOptions();

// The options by which a write programs something else than the bytes given.
std::vector<std::string> WriteOptions();

// What a load with these options sets, its closing phase included.
std::vector<ScopedSettings::Change> PropertiesOf(const ProgramOptions& options);

// What the closing phase alone sets.
std::vector<ScopedSettings::Change> PropertiesOf(const ClosingChanges& changes);

struct GivenField {
    Field field;
    std::optional<std::string>
        value;  // as the property has it; missing for what is only switched on, "false" for what is only switched off

    bool operator==(const GivenField&) const = default;
};

// What these properties ask for, of whatever operation, as a user's options would.
std::vector<GivenField> FieldsOf(const std::map<std::string, std::string>& properties);

}  // namespace flash::host
