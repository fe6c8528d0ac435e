// The number is the project's, the commit that of the sources.
#include "apps/lumoflash/Version.h"

extern const char kLumoflashCommit[];  // generated with each build

namespace flash::app {

std::string VersionNumber() { return LUMOFLASH_VERSION; }

std::string VersionText() {
    const std::string commit = kLumoflashCommit;
    return "lumoflash " + VersionNumber() + (commit.empty() ? "" : " (" + commit + ")");
}

}  // namespace flash::app
