// Choices out of a fuzz input, in order. When the input is used up every further choice is 0.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace flash::fuzz {

class ByteSource {
public:
    ByteSource(const std::uint8_t* data, std::size_t size) : rest(data, size) {}

    bool IsEmpty() const { return rest.empty(); }

    std::uint8_t Byte() {
        if (rest.empty()) {
            return 0;
        }
        const std::uint8_t byte = rest.front();
        rest = rest.subspan(1);
        return byte;
    }

    std::uint32_t Below(std::uint32_t limit) { return Byte() % limit; }
    bool Chance(std::uint32_t oneIn) { return Below(oneIn) == oneIn - 1; }

    std::uint32_t Word() {
        std::uint32_t word = 0;
        for (int i = 0; i < 4; ++i) {
            word = word << 8 | Byte();
        }
        return word;
    }

    std::string Text(std::size_t most) {
        std::string text;
        for (std::size_t length = Byte() % (most + 1); length != 0; --length) {
            if (const auto character = static_cast<char>(Byte()); character != '\0') {
                text += character;
            }
        }
        return text;
    }

private:
    std::span<const std::uint8_t> rest;
};

}  // namespace flash::fuzz
