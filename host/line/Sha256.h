// SHA-256, by which records name files and flash.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace flash::host::line {

// 64 hexadecimal digits in lower case.
std::string Sha256(std::span<const std::uint8_t> bytes);

inline std::string Sha256(const std::string& text) {
    return Sha256(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

}  // namespace flash::host::line
