// Radio addresses as text: two hexadecimal digits per byte, ':' between bytes, most significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host {

inline constexpr std::size_t kBleAddressBytes = 6;
inline constexpr std::size_t kIeeeAddressBytes = 8;

// Upper case with colons. Takes '-' for ':' and lower case; anything else throws Failure (BadInput) naming `option`.
std::string ParseMacAddress(std::string_view text, std::size_t lengthBytes, std::string_view option);

// `bytes` as on the target: least significant byte first.
std::string PrintMacAddress(std::span<const std::uint8_t> bytes);

// The bytes of a printed address, as on the target.
std::vector<std::uint8_t> MacAddressBytes(std::string_view printed);

}  // namespace flash::host
