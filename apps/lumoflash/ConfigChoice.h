// Which configuration file counts, and what one that nobody named may not do.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "apps/lumoflash/Config.h"

namespace flash::app {

struct ConfigChoice {
    std::filesystem::path file;
    bool isNamed;  // by the user, not only found
};

// The one that is named, else `lumoflash.toml` in the working folder or the nearest folder above it; nothing without
// either. Throws Failure (BadInput) for one that was found and belongs to another user: whoever may write to a folder
// above must not decide about this user's files.
std::optional<ConfigChoice> ChooseConfig(const std::string& named);

// Who calls the program in a folder need not know what lies in it: a file that was only found chooses no code to run,
// neither a plug-in nor commands for a debug server. Throws Failure (BadInput) with the remedy.
void RequireNoCode(const ConfigEntry& entry, const std::filesystem::path& file);

}  // namespace flash::app
