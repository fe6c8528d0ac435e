#include "host/files/FileHash.h"

#include <fmt/format.h>
#include <sodium.h>

#include <array>

#include "host/files/FileContent.h"

namespace flash::host {

std::string FileHash(const std::filesystem::path& file) {
    const std::vector<std::uint8_t> content = LoadFile(file);
    std::array<std::uint8_t, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), content.data(), content.size());
    return fmt::format("{:02x}", fmt::join(hash, ""));
}

}  // namespace flash::host
