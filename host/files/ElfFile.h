// ELF executables for 32-bit little-endian ARM: what they load, and where their symbols are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

// The bytes of the sections that memory is to hold, each where its segment loads it: exactly what the program is,
// because linkers also put padding and the ELF header itself into segments, and what they would overwrite in flash may
// be a user's data. A file without a table of sections loads its segments whole. Bytes that memory has but the file has
// not
// (.bss) are none of the image. Throws `ProgramFileError` for anything but a whole, sound executable, and when one byte
// of the file is claimed twice. Memory and time grow with the file's size, whatever stands in it; very long names of
// sections are cut.
ProgramImage ReadElf(std::span<const std::uint8_t> content, const std::string& fileName);

// Addresses by name. Of several symbols with one name a global one goes before a weak one, before a local one, and
// the first of the file before the others.
class SymbolTable {
public:
    enum class Binding { Global, Weak, Local };

    SymbolTable() = default;
    // `texts` are all names, each ended by a zero byte.
    explicit SymbolTable(std::string_view texts) : names(texts) {}

    // Adds the symbol whose name begins at `nameOffset` of the texts; one without a name is left out.
    void Add(std::size_t nameOffset, std::uint32_t address, Binding binding);

    // The value as it stands in the file: bit 0 of a Thumb function's address is set (`ResetISR` at 0x20000101 starts
    // at 0x20000100). Whoever writes it to a program counter clears that bit, as a branch would.
    std::optional<std::uint32_t> Find(std::string_view name) const;

    // Several of one name count each.
    std::size_t Size() const { return entries.size(); }

private:
    struct Entry {
        std::size_t nameOffset;
        std::uint32_t address;
        Binding binding;
    };
    std::string names;
    std::vector<Entry> entries;
};

// Defined symbols of functions, data and labels. Empty when the file is stripped. Throws like `ReadElf`.
SymbolTable ReadElfSymbols(std::span<const std::uint8_t> content, const std::string& fileName);

}  // namespace flash::host
