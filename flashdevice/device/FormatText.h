// Formatting as `printf` does, into a text of any length.
#pragma once

#include <cstdarg>
#include <string>

namespace flash {

std::string FormatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

// For functions that take such arguments themselves.
std::string FormatTextWith(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace flash
