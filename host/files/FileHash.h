// What names a file's content, for records of what was programmed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace flash::host {

// SHA-256 in hexadecimal digits.
std::string HashOf(std::span<const std::uint8_t> content);

// Of what the file holds now. Throws Failure when the file cannot be read.
std::string FileHash(const std::filesystem::path& file);

}  // namespace flash::host
