// A small executable to be changed by a test and laid out as a file: the smallest one that has everything.
#pragma once

#include <elf.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace flash::host {

struct TestSection {
    std::string name;
    Elf32_Shdr header;
};

struct TestSymbol {
    std::string name;
    std::uint32_t value;
    unsigned char binding;
    unsigned char type;
    std::uint16_t section;
};

// Content of the file from `kTestDataOffset` on; before it are the ELF header and, when there are few, the program
// headers.
inline constexpr std::uint32_t kTestDataOffset = 0x100;

struct TestElf {
    TestElf();

    // One loadable segment: .text (4 bytes) and .data (4 bytes) at 0x1000, run at 0x20000000, with 8 bytes of .bss
    // behind.
    Elf32_Ehdr header{};
    std::vector<Elf32_Phdr> segments;
    std::vector<TestSection> sections;  // without the null section and the tables, which `Bytes` adds behind
    std::vector<TestSymbol> symbols;
    std::vector<std::uint8_t> data{1, 2, 3, 4, 5, 6, 7, 8};
    bool hasSectionHeaders = true;

    // The file. Offsets and counts in `header` that are not 0 stay as they are. A section without an address runs where
    // its segment does.
    std::vector<std::uint8_t> Bytes() const;
};

TestSection MakeSection(const std::string& name, std::uint32_t type, std::uint32_t flags, std::uint32_t offset,
                        std::uint32_t size);
Elf32_Phdr MakeSegment(std::uint32_t offset, std::uint32_t address, std::uint32_t fileBytes);

}  // namespace flash::host
