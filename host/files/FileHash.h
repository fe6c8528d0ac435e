// What names a file's content, for records of what was programmed.
#pragma once

#include <filesystem>
#include <string>

namespace flash::host {

// SHA-256 in hexadecimal digits. Throws Failure when the file cannot be read.
std::string FileHash(const std::filesystem::path& file);

}  // namespace flash::host
