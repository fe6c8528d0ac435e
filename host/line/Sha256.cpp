#include "host/line/Sha256.h"

#include <fmt/format.h>
#include <sodium.h>

#include <array>

namespace flash::host::line {

std::string Sha256(std::span<const std::uint8_t> bytes) {
    std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), bytes.data(), bytes.size());
    std::string digits;
    for (const unsigned char byte : hash) {
        digits += fmt::format("{:02x}", byte);
    }
    return digits;
}

}  // namespace flash::host::line
