// Defaults of a project from a TOML file: keys are the long names of options, at the top for every command, in a table
// named like a command for that command; the tables `set` and `property` hold host properties.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace flash::app {

struct ConfigEntry {
    std::string command;  // "" for every command
    std::string option;   // without the dashes
    std::vector<std::string> values;
    std::string place;  // "FILE:LINE"
};

// Throws Failure (BadInput) naming file and line. Host properties are entries of the option "set" or "property" as
// KEY=VALUE.
std::vector<ConfigEntry> ReadConfig(const std::filesystem::path& file);

// What the option is told when it stands in a file of that folder: paths, and files in names of probes and databases,
// are meant from there, wherever the program is called.
std::string MeantFrom(const std::filesystem::path& folder, const std::string& option, const std::string& text);

}  // namespace flash::app
