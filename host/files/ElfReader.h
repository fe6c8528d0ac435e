// A 32-bit little-endian ARM file, opened and checked: its headers, and what they say. The file is untrusted, so every
// offset and count is checked against the file before it is used.
#pragma once

#include <libelf.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

struct Section {
    std::size_t index;
    Elf32_Shdr header;

    std::uint64_t End() const { return std::uint64_t{header.sh_offset} + header.sh_size; }
    // Some are not for memory, others have no bytes in the file.
    bool IsProgram() const {
        return (header.sh_flags & SHF_ALLOC) != 0 && header.sh_type != SHT_NOBITS && header.sh_size > 0;
    }
};

// One past the last byte of the segment in the file.
inline std::uint64_t EndOf(const Elf32_Phdr& segment) { return std::uint64_t{segment.p_offset} + segment.p_filesz; }

// Keeps a copy of the content: libelf wants to own its memory.
class ElfReader {
public:
    ElfReader(std::span<const std::uint8_t> fileContent, const std::string& name);

    const Elf32_Ehdr& Header() const { return *header; }
    const std::vector<Elf32_Phdr>& ProgramHeaders() const { return programHeaders; }
    const std::vector<Section>& Sections() const { return sections; }

    // Ascending by offset.
    const std::vector<const Section*>& ProgramSections() const { return programSections; }

    // "section .text", "section number 3".
    std::string NameOf(const Section& section) const;

    // The bytes of the file at `offset`, null when they are not all there.
    std::optional<std::span<const std::uint8_t>> BytesAt(std::uint64_t offset, std::uint64_t length) const;

    // The texts of a string table, each ended by a zero byte. Empty when the file has no such table.
    std::string_view TextsOf(std::size_t tableIndex) const;

    Origin OriginOf(const std::string& place) const { return {fileName, place}; }
    ProgramFileError Error(const FieldText& problem) const { return ErrorAt({fileName, ""}, problem); }

private:
    void CheckIdentification() const;
    void CheckTable(std::string_view what, std::uint64_t offset, std::uint64_t count, std::size_t entrySize,
                    std::size_t expectedSize) const;
    void ReadProgramHeaders();
    void ReadSections();
    void SortProgramSections();

    struct ElfCloser {
        void operator()(Elf* opened) const { elf_end(opened); }
    };

    std::string fileName;
    std::vector<std::uint8_t> content;
    std::unique_ptr<Elf, ElfCloser> elf;
    const Elf32_Ehdr* header = nullptr;
    std::vector<Elf32_Phdr> programHeaders;
    std::vector<Section> sections;
    std::vector<const Section*> programSections;  // ascending by offset
    std::string_view sectionNames;                // all of them, each ended by a zero byte
};

}  // namespace flash::host
