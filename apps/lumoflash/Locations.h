// Where the installed parts are: beside the program, as the installation and the build tree both lay them out.
#pragma once

#include <filesystem>

namespace flash::app {

struct Locations {
    std::filesystem::path plugin;      // the module
    std::filesystem::path dataFolder;  // holds `arm` (flashloader images) and `devices`
};

Locations FindLocations();

inline std::filesystem::path OrDefault(const std::filesystem::path& given, const std::filesystem::path& standard) {
    return given.empty() ? standard : given;
}

// In the user's folder for state that lasts, as the XDG base directories have it; empty when there is no such folder.
std::filesystem::path FindNotesFolder();  // of loads that have not ended well
std::filesystem::path JournalFolder();    // of the line; throws Failure instead

}  // namespace flash::app
