// Radio addresses: six bytes for BLE, eight for IEEE. As text two hexadecimal digits per byte, ':' between bytes, most
// significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Field.h"

namespace flash::host {

inline constexpr std::size_t kBleAddressBytes = 6;
inline constexpr std::size_t kIeeeAddressBytes = 8;

class RadioAddress {
public:
    // As on the target: least significant byte first.
    explicit RadioAddress(std::vector<std::uint8_t> addressBytes) : bytes(std::move(addressBytes)) {}
    const std::vector<std::uint8_t>& Bytes() const { return bytes; }

    std::string Text() const;  // in upper case

    bool operator==(const RadioAddress&) const = default;

private:
    std::vector<std::uint8_t> bytes;
};

// Takes '-' for ':' and lower case; anything else throws BadInput of that field.
RadioAddress ParseRadioAddress(std::string_view text, std::size_t lengthBytes, Field field);

}  // namespace flash::host
