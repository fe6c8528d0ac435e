// From the program's own path, and from the environment.
#include "apps/lumoflash/Locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "host/Failure.h"

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

std::filesystem::path InStateFolder(const char* name) {
    const std::filesystem::path inIt = std::filesystem::path("lumo-flash") / name;
    // A relative path counts for none.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return state / inIt;
    }
    const std::filesystem::path home = HomeFolder();
    return home.empty() ? home : home / ".local/state" / inIt;
}

}  // namespace

Locations FindLocations() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path prefix = program.parent_path().parent_path();
    return {prefix / LUMOFLASH_PLUGIN_FOLDER / "libflashdevice.so", prefix / LUMOFLASH_DATA_FOLDER};
}

std::filesystem::path FindNotesFolder() { return InStateFolder("loads"); }

std::filesystem::path JournalFolder() {
    const std::filesystem::path folder = InStateFolder("line");
    if (folder.empty()) {
        throw host::Failure(host::FailureKind::BadInput,
                            "There is no place for the journal: neither XDG_STATE_HOME nor HOME names a folder");
    }
    return folder;
}

}  // namespace flash::app
