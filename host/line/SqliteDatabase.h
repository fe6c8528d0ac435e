// SQLite in a file, for the processes of one machine.
#pragma once

#include <filesystem>
#include <memory>

#include "host/line/Database.h"

namespace flash::host::line {

std::unique_ptr<Database> OpenSqlite(const std::filesystem::path& file, IfMissing ifMissing);

}  // namespace flash::host::line
