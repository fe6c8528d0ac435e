// The hash by which host and target compare what flash holds; docs/flash-digest.md has the format.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace flash::host {

using FlashDigest = std::array<std::uint8_t, 16>;

struct DigestKeys {
    std::array<std::uint8_t, 32> ranges;
    std::array<std::uint8_t, 32> summary;
};

// From the operating system, or a RoutineError. Never used for two questions.
DigestKeys DrawDigestKeys();

FlashDigest DigestOf(const DigestKeys& keys, std::uint32_t address, std::span<const std::uint8_t> bytes);

FlashDigest SummaryOf(const DigestKeys& keys, std::span<const FlashDigest> digests);

}  // namespace flash::host
