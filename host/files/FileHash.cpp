#include "host/files/FileHash.h"

#include <fmt/format.h>
#include <sodium.h>

#include <array>

#include "host/files/FileContent.h"

namespace flash::host {

std::string HashOf(std::span<const std::uint8_t> content) {
    std::array<std::uint8_t, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), content.data(), content.size());
    return fmt::format("{:02x}", fmt::join(hash, ""));
}

std::string FileHash(const std::filesystem::path& file) { return HashOf(LoadFile(file)); }

}  // namespace flash::host
