// A program image as a debugger loads it: the bytes of its loadable segments and the values of its symbols.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace flash::test {

struct ElfSegment {
    std::uint32_t address;
    std::vector<std::uint8_t> bytes;  // those in the file
};

struct ElfImage {
    std::vector<ElfSegment> segments;
    std::map<std::string, std::uint32_t> symbols;
};

// Throws `std::runtime_error` for a file that cannot be read.
ElfImage ReadElf(const std::string& path);

}  // namespace flash::test
