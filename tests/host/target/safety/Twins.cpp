#include "tests/host/target/safety/Twins.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace flash::host {
namespace {

Bytes Random(std::mt19937& random, std::size_t lengthBytes) {
    Bytes bytes(lengthBytes);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

// A record that ends in its own CRC: all of one length have one CRC.
Bytes RecordWithCrc(std::mt19937& random, std::size_t lengthBytes, std::uint32_t polynomial) {
    Bytes bytes = Random(random, lengthBytes - 4);
    const std::uint32_t crc = ReflectedCrc32(bytes, polynomial);
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(crc >> shift));
    }
    return bytes;
}

Pair CrcTwins(std::mt19937& random, std::size_t lengthBytes, const char* name, std::uint32_t polynomial) {
    return {std::string("records with their own CRC-32 of ") + name, RecordWithCrc(random, lengthBytes, polynomial),
            RecordWithCrc(random, lengthBytes, polynomial)};
}

Pair OneBit(std::mt19937& random, std::size_t lengthBytes) {
    Pair pair{"one bit", Random(random, lengthBytes), {}};
    pair.wanted = pair.present;
    pair.wanted[random() % lengthBytes] ^= static_cast<std::uint8_t>(1u << random() % 8);
    return pair;
}

Pair OneBitOfErased(std::mt19937& random, std::size_t lengthBytes) {
    Pair pair{"one bit of erased flash", Bytes(lengthBytes, 0xFF), Bytes(lengthBytes, 0xFF)};
    Bytes& changed = random() % 2 == 0 ? pair.present : pair.wanted;
    changed[random() % lengthBytes] ^= static_cast<std::uint8_t>(1u << random() % 8);
    return pair;
}

Pair TwoWordsSwapped(std::mt19937& random, std::size_t lengthBytes) {
    Pair pair{"two words swapped", Random(random, lengthBytes), {}};
    pair.wanted = pair.present;
    const std::size_t words = lengthBytes / 4;
    const std::size_t first = random() % (words - 1);
    const std::size_t second = first + 1 + random() % (words - 1 - first);
    std::swap_ranges(pair.wanted.begin() + static_cast<std::ptrdiff_t>(4 * first),
                     pair.wanted.begin() + static_cast<std::ptrdiff_t>(4 * first + 4),
                     pair.wanted.begin() + static_cast<std::ptrdiff_t>(4 * second));
    return pair;
}

Pair Moved(std::mt19937& random, std::size_t lengthBytes) {
    Pair pair{"moved by four bytes", Random(random, lengthBytes), {}};
    pair.wanted = pair.present;
    std::rotate(pair.wanted.begin(), pair.wanted.end() - 4, pair.wanted.end());
    return pair;
}

Pair Equal(std::mt19937& random, std::size_t lengthBytes) {
    const Bytes bytes = random() % 8 == 0 ? Bytes(lengthBytes, 0xFF) : Random(random, lengthBytes);
    return {"equal", bytes, bytes};
}

Pair AllZeroAndErased(std::mt19937& random, std::size_t lengthBytes) {
    Pair pair{"all 0x00 and all 0xFF", Bytes(lengthBytes, 0x00), Bytes(lengthBytes, 0xFF)};
    if (random() % 2 == 0) {
        std::swap(pair.present, pair.wanted);
    }
    return pair;
}

}  // namespace

std::uint32_t ReflectedCrc32(const Bytes& bytes, std::uint32_t polynomial) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? polynomial : 0);
        }
    }
    return ~crc;
}

Pair DrawPair(std::mt19937& random, std::size_t lengthBytes) {
    switch (random() % 10) {
        case 0:
            return OneBit(random, lengthBytes);
        case 1:
            return OneBitOfErased(random, lengthBytes);
        case 2:
            return TwoWordsSwapped(random, lengthBytes);
        case 3:
            return Moved(random, lengthBytes);
        case 4:
            return AllZeroAndErased(random, lengthBytes);
        case 5:
            return CrcTwins(random, lengthBytes, "IEEE 802.3", 0xEDB8'8320);
        case 6:
            return CrcTwins(random, lengthBytes, "Castagnoli", 0x82F6'3B78);
        case 7:
            return CrcTwins(random, lengthBytes, "Koopman", 0xEB31'D82E);
        case 8:
            return {"random", Random(random, lengthBytes), Random(random, lengthBytes)};
        default:
            return Equal(random, lengthBytes);
    }
}

}  // namespace flash::host
