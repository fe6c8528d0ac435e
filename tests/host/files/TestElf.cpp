// Written against the format, not with the library that the product reads it with.
#include "tests/host/files/TestElf.h"

#include <cstring>
#include <map>

namespace flash::host {
namespace {

template <typename T>
void Append(std::vector<std::uint8_t>& bytes, const T& value) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof(value));
}

void AppendAll(std::vector<std::uint8_t>& bytes, const std::vector<Elf32_Phdr>& segments) {
    for (const Elf32_Phdr& segment : segments) {
        Append(bytes, segment);
    }
}

// Texts one behind the other, each ended by 0; the first is empty. Of a long text there is one for all who have it.
class StringTable {
public:
    std::uint32_t Add(const std::string& text) {
        constexpr std::size_t kLongBytes = 100;
        const auto offset = static_cast<std::uint32_t>(bytes.size());
        if (text.size() >= kLongBytes) {
            const auto [known, isNew] = longTexts.try_emplace(text, offset);
            if (!isNew) {
                return known->second;
            }
        }
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
        return offset;
    }
    std::vector<std::uint8_t> bytes{0};

private:
    std::map<std::string, std::uint32_t> longTexts;
};

void AppendSymbols(std::vector<std::uint8_t>& file, const std::vector<TestSymbol>& symbols, StringTable& names) {
    Append(file, Elf32_Sym{});
    for (const TestSymbol& symbol : symbols) {
        Elf32_Sym entry{};
        entry.st_name = names.Add(symbol.name);
        entry.st_value = symbol.value;
        entry.st_info = static_cast<unsigned char>(ELF32_ST_INFO(symbol.binding, symbol.type));
        entry.st_shndx = symbol.section;
        Append(file, entry);
    }
}

template <typename T>
void SetUnlessGiven(T& field, std::size_t value) {
    if (field == 0) {
        field = static_cast<T>(value);
    }
}

std::uint32_t RunAddressOf(const Elf32_Shdr& section, const std::vector<Elf32_Phdr>& segments) {
    for (const Elf32_Phdr& segment : segments) {
        if (section.sh_offset >= segment.p_offset && section.sh_offset - segment.p_offset < segment.p_memsz) {
            return segment.p_vaddr + (section.sh_offset - segment.p_offset);
        }
    }
    return 0;
}

}  // namespace

TestSection MakeSection(const std::string& name, std::uint32_t type, std::uint32_t flags, std::uint32_t offset,
                        std::uint32_t size) {
    TestSection section{name, {}};
    section.header.sh_type = type;
    section.header.sh_flags = flags;
    section.header.sh_offset = offset;
    section.header.sh_size = size;
    return section;
}

Elf32_Phdr MakeSegment(std::uint32_t offset, std::uint32_t address, std::uint32_t fileBytes) {
    return {PT_LOAD, offset, address, address, fileBytes, fileBytes, PF_R | PF_X, 4};
}

TestElf::TestElf() {
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS32;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_EXEC;
    header.e_machine = EM_ARM;
    header.e_version = EV_CURRENT;
    header.e_entry = 0x1001;
    header.e_ehsize = sizeof(Elf32_Ehdr);
    header.e_phentsize = sizeof(Elf32_Phdr);
    header.e_shentsize = sizeof(Elf32_Shdr);
    segments.push_back(MakeSegment(kTestDataOffset, 0x1000, 8));
    segments[0].p_vaddr = 0x2000'0000;
    segments[0].p_memsz = 16;
    sections.push_back(MakeSection(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, kTestDataOffset, 4));
    sections.push_back(MakeSection(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, kTestDataOffset + 4, 4));
    sections.push_back(MakeSection(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, kTestDataOffset + 8, 8));
    symbols.push_back({"ResetISR", 0x1001, STB_GLOBAL, STT_FUNC, 1});
}

std::vector<std::uint8_t> TestElf::Bytes() const {
    const bool fitsInFront = sizeof(Elf32_Ehdr) + segments.size() * sizeof(Elf32_Phdr) <= kTestDataOffset;
    std::vector<std::uint8_t> file(sizeof(Elf32_Ehdr));
    if (fitsInFront) {
        AppendAll(file, segments);
    }
    file.resize(kTestDataOffset);
    file.insert(file.end(), data.begin(), data.end());

    StringTable names;
    std::vector<TestSection> all{{"", {}}};
    all.insert(all.end(), sections.begin(), sections.end());
    all.push_back(MakeSection(".symtab", SHT_SYMTAB, 0, static_cast<std::uint32_t>(file.size()), 0));
    AppendSymbols(file, symbols, names);
    all.back().header.sh_size = static_cast<std::uint32_t>(file.size()) - all.back().header.sh_offset;
    all.back().header.sh_entsize = sizeof(Elf32_Sym);
    all.back().header.sh_link = static_cast<std::uint32_t>(all.size());
    all.push_back(MakeSection(".strtab", SHT_STRTAB, 0, static_cast<std::uint32_t>(file.size()), 0));
    for (TestSection& section : all) {
        section.header.sh_name = names.Add(section.name);
        if ((section.header.sh_flags & SHF_ALLOC) != 0) {
            SetUnlessGiven(section.header.sh_addr, RunAddressOf(section.header, segments));
        }
    }
    all.back().header.sh_size = static_cast<std::uint32_t>(names.bytes.size());
    file.insert(file.end(), names.bytes.begin(), names.bytes.end());

    Elf32_Ehdr written = header;
    SetUnlessGiven(written.e_phoff, segments.empty() ? 0 : fitsInFront ? sizeof(Elf32_Ehdr) : file.size());
    if (!fitsInFront) {
        AppendAll(file, segments);
    }
    SetUnlessGiven(written.e_phnum, segments.size());
    if (hasSectionHeaders) {
        SetUnlessGiven(written.e_shoff, file.size());
        SetUnlessGiven(written.e_shnum, all.size());
        SetUnlessGiven(written.e_shstrndx, all.size() - 1);
        for (const TestSection& section : all) {
            Append(file, section.header);
        }
    }
    std::memcpy(file.data(), &written, sizeof(written));
    return file;
}

}  // namespace flash::host
