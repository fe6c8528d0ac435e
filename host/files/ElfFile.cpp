// See ElfFile.h. The file is untrusted: every offset and count is checked against the file before it is used.
#include "host/files/ElfFile.h"

#include <fmt/format.h>
#include <libelf.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace flash::host {
namespace {

struct ElfCloser {
    void operator()(Elf* elf) const { elf_end(elf); }
};

struct Section {
    std::string name;
    Elf32_Shdr header;
};

// A 32-bit little-endian ARM file, opened and checked. Keeps a copy of the content: libelf wants to own its memory.
class ElfReader {
public:
    ElfReader(std::span<const std::uint8_t> fileContent, const std::string& name);

    const Elf32_Ehdr& Header() const { return *header; }
    const std::vector<Elf32_Phdr>& ProgramHeaders() const { return programHeaders; }
    const std::vector<Section>& Sections() const { return sections; }

    // The bytes of the file at `offset`, null when they are not all there.
    std::optional<std::span<const std::uint8_t>> BytesAt(std::uint64_t offset, std::uint64_t length) const;

    // The text at `offset` of a string table. Empty when the table or the text does not exist.
    std::string_view TextAt(std::size_t tableIndex, std::size_t offset) const;

    Origin OriginOf(const std::string& place) const { return {fileName, place}; }
    ProgramFileError Error(std::string_view problem) const { return ErrorAt({fileName, ""}, problem); }

private:
    void CheckIdentification() const;
    void CheckTable(std::string_view what, std::uint64_t offset, std::uint64_t count, std::size_t entrySize,
                    std::size_t expectedSize) const;
    void ReadProgramHeaders();
    void ReadSections();

    std::string fileName;
    std::vector<std::uint8_t> content;
    std::unique_ptr<Elf, ElfCloser> elf;
    const Elf32_Ehdr* header = nullptr;
    std::vector<Elf32_Phdr> programHeaders;
    std::vector<Section> sections;
};

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
}

void ElfReader::CheckIdentification() const {
    constexpr std::string_view kMark(ELFMAG, SELFMAG);
    if (content.size() < SELFMAG || !std::equal(kMark.begin(), kMark.end(), content.begin())) {
        throw Error("the file does not start with the ELF mark (7F 45 4C 46)");
    }
    if (content.size() < sizeof(Elf32_Ehdr)) {
        throw Error(fmt::format("the file has {} bytes, the ELF header alone {}: it is truncated", content.size(),
                                sizeof(Elf32_Ehdr)));
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
        throw Error(fmt::format("{}s of {} bytes, expected {}", what, entrySize, expectedSize));
    }
    if (!BytesAt(offset, count * entrySize)) {
        throw Error(fmt::format("{} {}s at offset 0x{:X} end outside the file of {} bytes: it is truncated", count,
                                what, offset, content.size()));
    }
}

std::optional<std::span<const std::uint8_t>> ElfReader::BytesAt(std::uint64_t offset, std::uint64_t length) const {
    if (offset > content.size() || length > content.size() - offset) {
        return std::nullopt;
    }
    return std::span<const std::uint8_t>(content).subspan(offset, length);
}

std::string_view ElfReader::TextAt(std::size_t tableIndex, std::size_t offset) const {
    const char* text = elf_strptr(elf.get(), tableIndex, offset);
    return text == nullptr ? std::string_view() : std::string_view(text);
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
        Section section;
        std::memcpy(&section.header, found, sizeof(section.header));
        const std::string_view name = TextAt(header->e_shstrndx, section.header.sh_name);
        section.name = name.empty() ? fmt::format("number {}", i) : std::string(name);
        sections.push_back(section);
    }
}

// One loadable segment, to be cut into the parts that sections name.
class SegmentCutter {
public:
    SegmentCutter(const ElfReader& reader, std::size_t index);
    void AddTo(ProgramImage& image) const;

private:
    std::uint64_t ProgramStart() const;
    void AddPart(ProgramImage& image, std::uint64_t from, std::uint64_t to, const std::string& place) const;

    const ElfReader& reader;
    const Elf32_Phdr& segment;
    std::uint64_t end;  // all in offsets of the file
    std::string name;
    std::span<const std::uint8_t> bytes;
    std::vector<Section> sections;  // those with bytes in this segment, ascending
};

SegmentCutter::SegmentCutter(const ElfReader& elfReader, std::size_t index)
    : reader(elfReader),
      segment(elfReader.ProgramHeaders()[index]),
      end(std::uint64_t{segment.p_offset} + segment.p_filesz),
      name(fmt::format("program header {}", index)) {
    const auto found = reader.BytesAt(segment.p_offset, segment.p_filesz);
    if (!found) {
        throw ErrorAt(
            reader.OriginOf(name),
            fmt::format("{} bytes at offset 0x{:X} for address 0x{:08X} end outside the file: it is truncated",
                        segment.p_filesz, segment.p_offset, segment.p_paddr));
    }
    if (segment.p_filesz > segment.p_memsz) {
        throw ErrorAt(reader.OriginOf(name), fmt::format("{} bytes of file for {} bytes of memory at address 0x{:08X}",
                                                         segment.p_filesz, segment.p_memsz, segment.p_paddr));
    }
    bytes = *found;
    for (const Section& section : reader.Sections()) {
        const Elf32_Shdr& header = section.header;
        const bool hasBytes = (header.sh_flags & SHF_ALLOC) != 0 && header.sh_type != SHT_NOBITS && header.sh_size > 0;
        if (hasBytes && header.sh_offset >= segment.p_offset &&
            std::uint64_t{header.sh_offset} + header.sh_size <= end) {
            sections.push_back(section);
        }
    }
    std::stable_sort(sections.begin(), sections.end(),
                     [](const Section& a, const Section& b) { return a.header.sh_offset < b.header.sh_offset; });
}

// A segment that holds the ELF header is program from its first section on only. Without sections nothing tells where
// the header's padding ends, so that all of it counts.
std::uint64_t SegmentCutter::ProgramStart() const {
    const bool holdsElfHeader = segment.p_offset < reader.Header().e_ehsize;
    return holdsElfHeader && !sections.empty() ? sections.front().header.sh_offset : segment.p_offset;
}

void SegmentCutter::AddPart(ProgramImage& image, std::uint64_t from, std::uint64_t to, const std::string& place) const {
    if (from >= to) {
        return;
    }
    const std::uint64_t offset = from - segment.p_offset;
    const std::uint64_t address = segment.p_paddr + offset;
    const Origin origin = reader.OriginOf(place);
    if (address > UINT32_MAX) {
        throw ErrorAt(origin, fmt::format("address 0x{:X} is outside the 32-bit address space", address));
    }
    image.Add(static_cast<std::uint32_t>(address), bytes.subspan(offset, to - from), origin);
}

void SegmentCutter::AddTo(ProgramImage& image) const {
    std::uint64_t done = ProgramStart();
    for (const Section& section : sections) {
        const std::uint64_t start = std::max<std::uint64_t>(done, section.header.sh_offset);
        const std::uint64_t sectionEnd = std::uint64_t{section.header.sh_offset} + section.header.sh_size;
        AddPart(image, done, start, name);
        AddPart(image, start, sectionEnd, "section " + section.name);
        done = std::max(start, sectionEnd);
    }
    AddPart(image, done, end, name);
}

bool IsDefinedProgramSymbol(const Elf32_Sym& symbol) {
    const unsigned type = ELF32_ST_TYPE(symbol.st_info);
    return symbol.st_shndx != SHN_UNDEF && (type == STT_NOTYPE || type == STT_OBJECT || type == STT_FUNC);
}

SymbolTable::Binding BindingOf(const Elf32_Sym& symbol) {
    switch (ELF32_ST_BIND(symbol.st_info)) {
        case STB_GLOBAL:
            return SymbolTable::Binding::Global;
        case STB_WEAK:
            return SymbolTable::Binding::Weak;
        default:
            return SymbolTable::Binding::Local;
    }
}

void AddSymbols(SymbolTable& symbols, const ElfReader& reader, const Section& table) {
    const auto bytes = reader.BytesAt(table.header.sh_offset, table.header.sh_size);
    if (!bytes || table.header.sh_size % sizeof(Elf32_Sym) != 0) {
        throw ErrorAt(reader.OriginOf("section " + table.name),
                      fmt::format("{} bytes of symbols at offset 0x{:X} are cut off or no whole number of entries",
                                  table.header.sh_size, table.header.sh_offset));
    }
    for (std::size_t offset = 0; offset < bytes->size(); offset += sizeof(Elf32_Sym)) {
        Elf32_Sym symbol{};
        std::memcpy(&symbol, bytes->data() + offset, sizeof(symbol));
        const std::string_view name = reader.TextAt(table.header.sh_link, symbol.st_name);
        if (IsDefinedProgramSymbol(symbol) && !name.empty()) {
            symbols.Add(std::string(name), symbol.st_value, BindingOf(symbol));
        }
    }
}

}  // namespace

ProgramImage ReadElf(std::span<const std::uint8_t> content, const std::string& fileName) {
    const ElfReader reader(content, fileName);
    ProgramImage image;
    for (std::size_t i = 0; i < reader.ProgramHeaders().size(); ++i) {
        const Elf32_Phdr& segment = reader.ProgramHeaders()[i];
        if (segment.p_type == PT_LOAD && segment.p_filesz > 0) {
            SegmentCutter(reader, i).AddTo(image);
        }
    }
    if (reader.Header().e_entry != 0) {
        image.entryPoint = reader.Header().e_entry;
    }
    return image;
}

void SymbolTable::Add(const std::string& name, std::uint32_t address, Binding binding) {
    const auto [entry, isNew] = entries.try_emplace(name, Entry{address, binding});
    if (!isNew && binding < entry->second.binding) {
        entry->second = {address, binding};
    }
}

std::optional<std::uint32_t> SymbolTable::Find(std::string_view name) const {
    const auto found = entries.find(name);
    return found == entries.end() ? std::nullopt : std::optional(found->second.address);
}

SymbolTable ReadElfSymbols(std::span<const std::uint8_t> content, const std::string& fileName) {
    const ElfReader reader(content, fileName);
    SymbolTable symbols;
    for (const Section& section : reader.Sections()) {
        if (section.header.sh_type == SHT_SYMTAB) {
            AddSymbols(symbols, reader, section);
        }
    }
    return symbols;
}

}  // namespace flash::host
