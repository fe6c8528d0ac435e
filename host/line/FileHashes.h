// SHA-256 of files, by which a line knows them again.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace flash::host::line {

// Each as `Sha256` gives it.
using FileHashes = std::map<std::filesystem::path, std::string>;

// Throws ProgramFileError for a file that cannot be read.
FileHashes HashFiles(const std::vector<std::filesystem::path>& paths);

// Throws Failure (BadInput) for the first file that is another one than expected; `reason` says what was expected of
// it.
void RequireSame(const FileHashes& expected, const FileHashes& found, const std::string& reason);

}  // namespace flash::host::line
