#include "host/target/FlashDigest.h"

#include <sodium.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "host/Numbers.h"
#include "host/target/Routine.h"

namespace flash::host {
namespace {

constexpr std::uint8_t kErasedByte = 0xFF;

static_assert(std::tuple_size_v<FlashDigest> == crypto_onetimeauth_BYTES);

class Hash {
public:
    explicit Hash(const std::array<std::uint8_t, crypto_onetimeauth_KEYBYTES>& key) {
        crypto_onetimeauth_init(&state, key.data());
    }
    void Add(std::span<const std::uint8_t> bytes) { crypto_onetimeauth_update(&state, bytes.data(), bytes.size()); }
    void AddWord(std::uint32_t word) { Add(LittleEndianBytes(word)); }
    FlashDigest End() {
        FlashDigest digest{};
        crypto_onetimeauth_final(&state, digest.data());
        return digest;
    }

private:
    crypto_onetimeauth_state state{};
};

}  // namespace

DigestKeys DrawDigestKeys() {
    DigestKeys keys{};
    for (auto* key : {&keys.ranges, &keys.summary}) {
        if (getentropy(key->data(), key->size()) != 0) {
            throw RoutineError("The operating system gives no random numbers: " +
                               std::generic_category().message(errno));
        }
    }
    return keys;
}

FlashDigest DigestOf(const DigestKeys& keys, std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const bool isErased =
        std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == kErasedByte; });
    Hash hash(keys.ranges);
    for (const std::uint32_t word : {address, static_cast<std::uint32_t>(bytes.size()), isErased ? 1u : 0u, 0u}) {
        hash.AddWord(word);
    }
    if (!isErased) {
        hash.Add(bytes);
    }
    return hash.End();
}

FlashDigest SummaryOf(const DigestKeys& keys, std::span<const FlashDigest> digests) {
    Hash hash(keys.summary);
    for (const FlashDigest& digest : digests) {
        hash.Add(digest);
    }
    return hash.End();
}

}  // namespace flash::host
