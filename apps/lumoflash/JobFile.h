// A job from a TOML file; docs/line.md tells what may be in it.
#pragma once

#include <filesystem>
#include <functional>

#include "apps/lumoflash/Config.h"
#include "host/line/Job.h"

namespace flash::app {

// Throws Failure (BadInput) for an entry that is no option of its command, or has a wrong value.
using EntryCheck = std::function<void(const ConfigEntry& entry)>;

// Files, probes and databases are meant from the file's folder. Throws Failure (BadInput) naming file and line.
host::line::Job ReadJob(const std::filesystem::path& file, const EntryCheck& checkEntry);

}  // namespace flash::app
