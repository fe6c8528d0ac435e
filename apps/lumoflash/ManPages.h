// The manual's pages, one for the program and one for each command, in the macros that `man` reads.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "apps/lumoflash/Description.h"

namespace flash::app {

// The pages by their files' names, "lumoflash-mac-read.1". `date` is that of the version, "2026-11-22".
std::map<std::string, std::string> ManPages(const CommandText& program, const std::string& version,
                                            const std::string& date);

// Into the folder, which is made. The exit code of the program that does so; it has told what cannot be written.
int WriteManual(const std::filesystem::path& folder, const std::map<std::string, std::string>& pages);

}  // namespace flash::app
