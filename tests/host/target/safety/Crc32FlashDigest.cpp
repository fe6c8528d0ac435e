// The host's side of that CRC-32: what the real one computes, with another hash.
#include "host/target/FlashDigest.h"

#include <algorithm>

#include "tests/host/target/safety/Twins.h"

namespace flash::host {
namespace {

void AppendWord(Bytes& bytes, std::uint32_t word) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
}

FlashDigest Crc32AsDigest(const Bytes& message) {
    const std::uint32_t crc = ReflectedCrc32(message, 0xEDB8'8320);
    FlashDigest digest{};
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(crc >> 8 * (i % 4));
    }
    return digest;
}

}  // namespace

DigestKeys DrawDigestKeys() { return {}; }

FlashDigest DigestOf(const DigestKeys&, std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const bool isErased = std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0xFF; });
    Bytes message;
    for (const std::uint32_t word : {address, static_cast<std::uint32_t>(bytes.size()), isErased ? 1u : 0u, 0u}) {
        AppendWord(message, word);
    }
    message.insert(message.end(), bytes.begin(), isErased ? bytes.begin() : bytes.end());
    return Crc32AsDigest(message);
}

FlashDigest SummaryOf(const DigestKeys&, std::span<const FlashDigest> digests) {
    Bytes message;
    for (const FlashDigest& digest : digests) {
        message.insert(message.end(), digest.begin(), digest.end());
    }
    return Crc32AsDigest(message);
}

}  // namespace flash::host
