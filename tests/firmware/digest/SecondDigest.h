// The digest of a range once more, by a library's Poly1305.
#pragma once

#include <sodium.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace flash {

using Bytes16 = std::array<std::uint8_t, 16>;

inline Bytes16 SecondTag(const std::uint8_t* key, std::span<const std::uint8_t> message) {
    Bytes16 tag{};
    crypto_onetimeauth(tag.data(), message.data(), message.size(), key);
    return tag;
}

inline Bytes16 SecondDigest(const std::uint8_t* key, std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const bool isErased = std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0xFF; });
    std::vector<std::uint8_t> message;
    for (const std::uint32_t word : {address, static_cast<std::uint32_t>(bytes.size()), isErased ? 1u : 0u, 0u}) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            message.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    if (!isErased) {
        message.insert(message.end(), bytes.begin(), bytes.end());
    }
    return SecondTag(key, message);
}

}  // namespace flash
