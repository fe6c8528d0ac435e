// Looking upwards from the working folder.
#include "apps/lumoflash/ConfigChoice.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "apps/lumoflash/RawOptions.h"
#include "host/probe/ProbeSpec.h"

namespace flash::app {
namespace {

constexpr const char* kConfigName = "lumoflash.toml";

std::optional<std::filesystem::path> FindUpwards(const std::filesystem::path& start) {
    std::error_code unknown;
    for (std::filesystem::path folder = start; !folder.empty(); folder = folder.parent_path()) {
        if (std::filesystem::is_regular_file(folder / kConfigName, unknown)) {
            return folder / kConfigName;
        }
        if (folder == folder.root_path()) {
            break;
        }
    }
    return std::nullopt;
}

bool IsOurs(const std::filesystem::path& file) {
    constexpr uid_t kRoot = 0;
    struct stat found {};
    return stat(file.c_str(), &found) == 0 && (found.st_uid == geteuid() || found.st_uid == kRoot);
}

bool HoldsCommand(const std::string& probe) {
    const std::optional<host::ProbeSpec> spec = host::ParseProbeSpec(probe);
    return spec && spec->keys.contains("reset");
}

}  // namespace

std::optional<ConfigChoice> ChooseConfig(const std::string& named) {
    if (!named.empty()) {
        return ConfigChoice{named, true};
    }
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::current_path(error);
    const std::optional<std::filesystem::path> found = error ? std::nullopt : FindUpwards(folder);
    if (!found) {
        return std::nullopt;
    }
    if (!IsOurs(*found)) {
        Refuse(
            fmt::format("{}: this file was found, not named, and belongs to another user; name it with --config if "
                        "it is meant",
                        found->string()));
    }
    return ConfigChoice{*found, false};
}

void RequireNoCode(const ConfigEntry& entry, const std::filesystem::path& file) {
    const bool isCommand = entry.option == "probe" && std::ranges::any_of(entry.values, HoldsCommand);
    if (entry.option == "plugin" || isCommand) {
        Refuse(
            fmt::format("{}: {} chooses code to run, which a file that was found and not named may not; give {} on "
                        "the command line, or --config {}",
                        entry.place, entry.option, entry.option == "plugin" ? "--plugin" : "--probe", file.string()));
    }
}

}  // namespace flash::app
