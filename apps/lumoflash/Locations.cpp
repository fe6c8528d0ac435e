// From the program's own path, and from the environment.
#include "apps/lumoflash/Locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace flash::app {
namespace {

// "" when the user has none.
std::filesystem::path HomeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return home;
    }
    const passwd* user = getpwuid(geteuid());
    return user != nullptr && *user->pw_dir == '/' ? user->pw_dir : "";
}

}  // namespace

Locations FindLocations() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path prefix = program.parent_path().parent_path();
    return {prefix / LUMOFLASH_PLUGIN_FOLDER / "libflashdevice.so", prefix / LUMOFLASH_DATA_FOLDER};
}

std::filesystem::path FindNotesFolder() {
    const std::filesystem::path notes = std::filesystem::path("lumo-flash") / "loads";
    // A relative path counts for none.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return state / notes;
    }
    const std::filesystem::path home = HomeFolder();
    return home.empty() ? home : home / ".local/state" / notes;
}

}  // namespace flash::app
