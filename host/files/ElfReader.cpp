// Checking the headers, and reading them with libelf.
#include "host/files/ElfReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/Words.h"

namespace flash::host {
namespace {
constexpr std::size_t kMostSectionNameBytes = 100;  // of a longer one, the rest is left out of messages
}  // namespace

ElfReader::ElfReader(std::span<const std::uint8_t> fileContent, const std::string& name)
    : fileName(name), content(fileContent.begin(), fileContent.end()) {
    CheckIdentification();
    elf_version(EV_CURRENT);
    elf.reset(elf_memory(reinterpret_cast<char*>(content.data()), content.size()));
    header = elf ? elf32_getehdr(elf.get()) : nullptr;
    if (header == nullptr) {
        throw Error(fmt::format("the ELF header cannot be read: {}", elf_errmsg(-1)));
    }
    if (header->e_machine != EM_ARM) {
        throw Error(fmt::format("ELF for machine {}, expected {} (ARM)", header->e_machine, EM_ARM));
    }
    if (header->e_type != ET_EXEC) {
        throw Error(fmt::format("ELF of type {}, expected {} (a linked executable)", header->e_type, ET_EXEC));
    }
    CheckTable("program header", header->e_phoff, header->e_phnum, header->e_phentsize, sizeof(Elf32_Phdr));
    CheckTable("section header", header->e_shoff, header->e_shnum, header->e_shentsize, sizeof(Elf32_Shdr));
    ReadProgramHeaders();
    ReadSections();
    SortProgramSections();
    sectionNames = TextsOf(header->e_shstrndx);
}

void ElfReader::CheckIdentification() const {
    constexpr std::string_view kMark(ELFMAG, SELFMAG);
    if (content.size() < SELFMAG || !std::equal(kMark.begin(), kMark.end(), content.begin())) {
        throw Error("the file does not start with the ELF mark (7F 45 4C 46)");
    }
    if (content.size() < sizeof(Elf32_Ehdr)) {
        throw Error(fmt::format("the file has {}, the ELF header alone {}: it is truncated",
                                Counted(content.size(), "byte"), sizeof(Elf32_Ehdr)));
    }
    if (content[EI_CLASS] != ELFCLASS32) {
        throw Error(fmt::format("ELF of class {}, expected {} (32-bit)", content[EI_CLASS], ELFCLASS32));
    }
    if (content[EI_DATA] != ELFDATA2LSB) {
        throw Error(fmt::format("ELF of data encoding {}, expected {} (little-endian)", content[EI_DATA], ELFDATA2LSB));
    }
    if (content[EI_VERSION] != EV_CURRENT) {
        throw Error(fmt::format("ELF of version {}, expected {}", content[EI_VERSION], EV_CURRENT));
    }
}

void ElfReader::CheckTable(std::string_view what, std::uint64_t offset, std::uint64_t count, std::size_t entrySize,
                           std::size_t expectedSize) const {
    if (count == 0) {
        return;
    }
    if (entrySize != expectedSize) {
        throw Error(fmt::format("{}s of {}, expected {}", what, Counted(entrySize, "byte"), expectedSize));
    }
    if (!BytesAt(offset, count * entrySize)) {
        throw Error(fmt::format("{} at offset 0x{:X} {} outside the file of {} bytes: it is truncated",
                                Counted(count, what), offset, count == 1 ? "ends" : "end", content.size()));
    }
}

std::optional<std::span<const std::uint8_t>> ElfReader::BytesAt(std::uint64_t offset, std::uint64_t length) const {
    if (offset > content.size() || length > content.size() - offset) {
        return std::nullopt;
    }
    return std::span<const std::uint8_t>(content).subspan(offset, length);
}

std::string_view ElfReader::TextsOf(std::size_t tableIndex) const {
    if (tableIndex == SHN_UNDEF || tableIndex > sections.size()) {
        return {};
    }
    const Elf32_Shdr& table = sections[tableIndex - 1].header;
    const auto bytes = BytesAt(table.sh_offset, table.sh_size);
    if (table.sh_type != SHT_STRTAB || !bytes) {
        return {};
    }
    const std::string_view texts(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    return texts.substr(0, texts.rfind('\0') + 1);  // `npos` + 1 is 0: without an end there is no text
}

// Looks at no more of a name than it gives, because many sections may have one long name.
std::string ElfReader::NameOf(const Section& section) const {
    const std::size_t offset = std::min<std::size_t>(section.header.sh_name, sectionNames.size());
    const std::string_view start = sectionNames.substr(offset, kMostSectionNameBytes);
    const std::string_view name = start.substr(0, start.find('\0'));
    return name.empty() ? fmt::format("section number {}", section.index) : fmt::format("section {}", name);
}

// Copied byte by byte, here and for sections: what libelf returns may lie unaligned in the content.
void ElfReader::ReadProgramHeaders() {
    if (header->e_phnum == 0) {
        return;
    }
    const void* first = elf32_getphdr(elf.get());
    if (first == nullptr || header->e_phnum == PN_XNUM) {
        throw Error(fmt::format("{} program headers cannot be read: {}", header->e_phnum, elf_errmsg(-1)));
    }
    programHeaders.resize(header->e_phnum);
    std::memcpy(programHeaders.data(), first, header->e_phnum * sizeof(Elf32_Phdr));
}

void ElfReader::ReadSections() {
    for (std::size_t i = 1; i < header->e_shnum; ++i) {
        const void* found = elf32_getshdr(elf_getscn(elf.get(), i));
        if (found == nullptr) {
            throw Error(fmt::format("section header {} cannot be read: {}", i, elf_errmsg(-1)));
        }
        Section section{i, {}};
        std::memcpy(&section.header, found, sizeof(section.header));
        sections.push_back(section);
    }
}

void ElfReader::SortProgramSections() {
    for (const Section& section : sections) {
        if (section.IsProgram()) {
            programSections.push_back(&section);
        }
    }
    std::ranges::stable_sort(programSections, {}, [](const Section* s) { return s->header.sh_offset; });
}

}  // namespace flash::host
