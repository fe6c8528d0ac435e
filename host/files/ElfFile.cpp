// See ElfFile.h. The file is untrusted: every offset and count is checked against the file before it is used.
#include "host/files/ElfFile.h"

#include <fmt/format.h>
#include <libelf.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

namespace flash::host {
namespace {

struct ElfCloser {
    void operator()(Elf* elf) const { elf_end(elf); }
};

constexpr std::size_t kMostSectionNameBytes = 100;  // of a longer one, the rest is left out of messages

struct Section {
    std::size_t index;
    Elf32_Shdr header;

    std::uint64_t End() const { return std::uint64_t{header.sh_offset} + header.sh_size; }
    // Some are not for memory, others have no bytes in the file.
    bool IsProgram() const {
        return (header.sh_flags & SHF_ALLOC) != 0 && header.sh_type != SHT_NOBITS && header.sh_size > 0;
    }
};

std::uint64_t EndOf(const Elf32_Phdr& segment) { return std::uint64_t{segment.p_offset} + segment.p_filesz; }

std::string NameOfSegment(std::size_t index) { return fmt::format("program header {}", index); }

// A 32-bit little-endian ARM file, opened and checked. Keeps a copy of the content: libelf wants to own its memory.
class ElfReader {
public:
    ElfReader(std::span<const std::uint8_t> fileContent, const std::string& name);

    const Elf32_Ehdr& Header() const { return *header; }
    const std::vector<Elf32_Phdr>& ProgramHeaders() const { return programHeaders; }
    const std::vector<Section>& Sections() const { return sections; }

    // Those of the program that begin in the segment, ascending by offset.
    std::span<const Section* const> SectionsFrom(const Elf32_Phdr& segment) const;

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

    std::string fileName;
    std::vector<std::uint8_t> content;
    std::unique_ptr<Elf, ElfCloser> elf;
    const Elf32_Ehdr* header = nullptr;
    std::vector<Elf32_Phdr> programHeaders;
    std::vector<Section> sections;
    std::vector<const Section*> programSections;  // ascending by offset
    std::string_view sectionNames;                // all of them, each ended by a zero byte
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
    SortProgramSections();
    sectionNames = TextsOf(header->e_shstrndx);
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

std::span<const Section* const> ElfReader::SectionsFrom(const Elf32_Phdr& segment) const {
    const auto offset = [](const Section* section) -> std::uint64_t { return section->header.sh_offset; };
    const auto first = std::ranges::lower_bound(programSections, std::uint64_t{segment.p_offset}, {}, offset);
    const auto last = std::ranges::lower_bound(first, programSections.end(), EndOf(segment), {}, offset);
    return {first, last};
}

// One loadable segment, to be cut into the parts that sections name.
class SegmentCutter {
public:
    SegmentCutter(const ElfReader& reader, std::size_t index);
    void AddTo(ProgramImage& image) const;

private:
    std::uint64_t ProgramStart() const;
    // Of `section`, or of the segment alone when that is null.
    void AddPart(ProgramImage& image, std::uint64_t from, std::uint64_t to, const Section* section) const;

    const ElfReader& reader;
    const Elf32_Phdr& segment;
    std::uint64_t end;  // all in offsets of the file
    std::string name;
    std::span<const std::uint8_t> bytes;
    std::vector<const Section*> sections;  // those that lie in this segment, ascending by offset
};

SegmentCutter::SegmentCutter(const ElfReader& elfReader, std::size_t index)
    : reader(elfReader), segment(elfReader.ProgramHeaders()[index]), end(EndOf(segment)), name(NameOfSegment(index)) {
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
    std::ranges::copy_if(reader.SectionsFrom(segment), std::back_inserter(sections),
                         [&](const Section* section) { return section->End() <= end; });
}

// A segment that holds the ELF header is program from its first section on only. Without sections nothing tells where
// the header's padding ends, so that all of it counts.
std::uint64_t SegmentCutter::ProgramStart() const {
    const bool holdsElfHeader = segment.p_offset < reader.Header().e_ehsize;
    return holdsElfHeader && !sections.empty() ? sections.front()->header.sh_offset : segment.p_offset;
}

void SegmentCutter::AddPart(ProgramImage& image, std::uint64_t from, std::uint64_t to, const Section* section) const {
    if (from >= to) {
        return;
    }
    const std::uint64_t offset = from - segment.p_offset;
    const std::uint64_t address = segment.p_paddr + offset;
    const Origin origin = reader.OriginOf(section == nullptr ? name : reader.NameOf(*section));
    if (address > UINT32_MAX) {
        throw ErrorAt(origin, fmt::format("address 0x{:X} is outside the 32-bit address space", address));
    }
    image.Add(static_cast<std::uint32_t>(address), bytes.subspan(offset, to - from), origin);
}

void SegmentCutter::AddTo(ProgramImage& image) const {
    std::uint64_t done = ProgramStart();
    for (const Section* section : sections) {
        const std::uint64_t start = std::max<std::uint64_t>(done, section->header.sh_offset);
        AddPart(image, done, start, nullptr);
        AddPart(image, start, section->End(), section);
        done = std::max(start, section->End());
    }
    AddPart(image, done, end, nullptr);
}

// The indices of the program headers whose bytes are loaded.
std::vector<std::size_t> LoadedSegments(const ElfReader& reader) {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < reader.ProgramHeaders().size(); ++i) {
        const Elf32_Phdr& segment = reader.ProgramHeaders()[i];
        if (segment.p_type == PT_LOAD && segment.p_filesz > 0) {
            indices.push_back(i);
        }
    }
    return indices;
}

// Each byte of the file is loaded once, as every linker has it. So no image is larger than its file, and no section is
// cut more than once, whatever thousands of program headers say.
void RequireNoByteTwice(const ElfReader& reader, std::vector<std::size_t> loaded) {
    const auto segment = [&](std::size_t index) -> const Elf32_Phdr& { return reader.ProgramHeaders()[index]; };
    std::ranges::stable_sort(loaded, {}, [&](std::size_t index) { return segment(index).p_offset; });
    const auto shared = std::ranges::adjacent_find(
        loaded, [&](std::size_t a, std::size_t b) { return segment(b).p_offset < EndOf(segment(a)); });
    if (shared != loaded.end()) {
        const std::size_t second = *std::next(shared);
        throw ErrorAt(reader.OriginOf(NameOfSegment(second)),
                      fmt::format("the byte at offset 0x{:X} is loaded by program header {}, too",
                                  segment(second).p_offset, *shared));
    }
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

SymbolTable SymbolsOf(const ElfReader& reader, const Section& table) {
    const auto bytes = reader.BytesAt(table.header.sh_offset, table.header.sh_size);
    if (!bytes || table.header.sh_size % sizeof(Elf32_Sym) != 0) {
        throw ErrorAt(reader.OriginOf(reader.NameOf(table)),
                      fmt::format("{} bytes of symbols at offset 0x{:X} are cut off or no whole number of entries",
                                  table.header.sh_size, table.header.sh_offset));
    }
    SymbolTable symbols(reader.TextsOf(table.header.sh_link));
    for (std::size_t offset = 0; offset < bytes->size(); offset += sizeof(Elf32_Sym)) {
        Elf32_Sym symbol{};
        std::memcpy(&symbol, bytes->data() + offset, sizeof(symbol));
        if (IsDefinedProgramSymbol(symbol)) {
            symbols.Add(symbol.st_name, symbol.st_value, BindingOf(symbol));
        }
    }
    return symbols;
}

}  // namespace

ProgramImage ReadElf(std::span<const std::uint8_t> content, const std::string& fileName) {
    const ElfReader reader(content, fileName);
    ProgramImage image;
    const std::vector<std::size_t> loaded = LoadedSegments(reader);
    RequireNoByteTwice(reader, loaded);
    for (const std::size_t index : loaded) {
        SegmentCutter(reader, index).AddTo(image);
    }
    if (reader.Header().e_entry != 0) {
        image.entryPoint = reader.Header().e_entry;
    }
    return image;
}

void SymbolTable::Add(std::size_t nameOffset, std::uint32_t address, Binding binding) {
    if (nameOffset < names.size() && names[nameOffset] != '\0') {
        entries.push_back({nameOffset, address, binding});
    }
}

// From one end to the other: few names are looked up, and an index would have to compare long names with each other.
std::optional<std::uint32_t> SymbolTable::Find(std::string_view name) const {
    const std::string endedName = std::string(name) + '\0';
    const Entry* best = nullptr;
    for (const Entry& entry : entries) {
        const bool isNamed = names.compare(entry.nameOffset, endedName.size(), endedName) == 0;
        if (isNamed && (best == nullptr || entry.binding < best->binding)) {
            best = &entry;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(best->address);
}

SymbolTable ReadElfSymbols(std::span<const std::uint8_t> content, const std::string& fileName) {
    const ElfReader reader(content, fileName);
    std::optional<SymbolTable> symbols;
    for (const Section& section : reader.Sections()) {
        if (section.header.sh_type != SHT_SYMTAB) {
            continue;
        }
        if (symbols) {
            throw ErrorAt(reader.OriginOf(reader.NameOf(section)),
                          "this is a second symbol table, expected at most one");
        }
        symbols = SymbolsOf(reader, section);
    }
    return symbols.value_or(SymbolTable());
}

}  // namespace flash::host
