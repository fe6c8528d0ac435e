// Where the installed parts are: beside the program, as the installation and the build tree both lay them out.
#pragma once

#include <filesystem>

namespace flash::app {

struct Locations {
    std::filesystem::path plugin;      // the module
    std::filesystem::path dataFolder;  // holds `arm` (flashloader images) and `devices`
};

Locations FindLocations();

}  // namespace flash::app
