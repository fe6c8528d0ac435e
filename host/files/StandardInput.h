// A program that comes through a pipe.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

// How a user names it in the place of a file, and how it is called in messages.
inline constexpr std::string_view kStandardInput = "-";
inline constexpr std::string_view kStandardInputFile = "/dev/stdin";
inline constexpr std::string_view kStandardInputName = "standard input";

// Everything up to its end, once. Refuses what cannot be read, nothing at all, and more than `mostBytes`.
std::vector<std::uint8_t> LoadStandardInput(std::size_t mostBytes = kMaxFileBytes);

}  // namespace flash::host
