// A small seeded generator (SplitMix64): the same numbers on every machine, for what torn operations leave behind.
#pragma once

#include <cstdint>

namespace flash::chip {

class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t Next() {
        state += 0x9E37'79B9'7F4A'7C15;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58'476D'1CE4'E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D0'49BB'1331'11EB;
        return mixed ^ (mixed >> 31);
    }
    std::uint8_t NextByte() { return static_cast<std::uint8_t>(Next() >> 56); }

private:
    std::uint64_t state;
};

}  // namespace flash::chip
