// ELF: whatever is accepted holds exactly what the program headers say, read a second time without the library, but for
// what lies in front of the first section of a segment that holds the ELF header. Symbols are those of the file.
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "host/files/ElfFile.h"
#include "tests/fuzz/files/ByteMap.h"

namespace flash::fuzz {
namespace {

constexpr const char* kFileName = "fuzz.elf";
using Content = std::span<const std::uint8_t>;

template <typename T>
T At(Content content, std::uint64_t offset) {
    FuzzRequire(offset <= content.size() && sizeof(T) <= content.size() - offset, "accepted tables lie in the file");
    T value;
    std::memcpy(&value, content.data() + offset, sizeof(T));
    return value;
}

// By index; the first stands for none, whatever it says.
std::vector<Elf32_Shdr> SectionsOf(Content content) {
    const auto header = At<Elf32_Ehdr>(content, 0);
    std::vector<Elf32_Shdr> sections(1);
    for (unsigned i = 1; i < header.e_shnum; ++i) {
        sections.push_back(At<Elf32_Shdr>(content, std::uint64_t{header.e_shoff} + i * sizeof(Elf32_Shdr)));
    }
    return sections;
}

// Where the program begins in a segment's bytes: behind the ELF header, if that is among them, at the first section.
std::uint64_t ProgramStart(Content content, const Elf32_Phdr& segment) {
    std::uint64_t start = std::uint64_t{segment.p_offset} + segment.p_filesz;
    const std::uint64_t end = start;
    for (const Elf32_Shdr& section : SectionsOf(content)) {
        const bool isProgram = (section.sh_flags & SHF_ALLOC) != 0 && section.sh_type != SHT_NOBITS;
        const bool isInside =
            section.sh_offset >= segment.p_offset && std::uint64_t{section.sh_offset} + section.sh_size <= end;
        if (isProgram && isInside && section.sh_size > 0) {
            start = std::min<std::uint64_t>(start, section.sh_offset);
        }
    }
    const bool hasElfHeader = segment.p_offset < At<Elf32_Ehdr>(content, 0).e_ehsize;
    return hasElfHeader && start < end ? start : segment.p_offset;
}

// The bytes of the image must be those of the segments, each once.
void CheckImage(Content content, ByteMap image) {
    const auto header = At<Elf32_Ehdr>(content, 0);
    FuzzRequire(image.entryPoint.value_or(0) == header.e_entry, "the entry point is the header's");
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const auto segment = At<Elf32_Phdr>(content, std::uint64_t{header.e_phoff} + i * sizeof(Elf32_Phdr));
        if (segment.p_type != PT_LOAD || segment.p_filesz == 0) {
            continue;
        }
        for (std::uint64_t j = ProgramStart(content, segment) - segment.p_offset; j < segment.p_filesz; ++j) {
            const auto found = image.bytes.find(static_cast<std::uint32_t>(segment.p_paddr + j));
            FuzzRequire(segment.p_paddr + j <= UINT32_MAX && found != image.bytes.end(),
                        "every byte of a segment is in the image");
            FuzzRequire(found->second == At<std::uint8_t>(content, segment.p_offset + j),
                        "the image has the file's byte");
            image.bytes.erase(found);
        }
    }
    FuzzRequire(image.bytes.empty(), "the image has nothing but the segments' bytes");
}

// The text at `offset` of a section of texts. Empty when it is not there as a whole.
std::string_view TextAt(Content content, const Elf32_Shdr& texts, std::uint64_t offset) {
    const bool isInFile = std::uint64_t{texts.sh_offset} + texts.sh_size <= content.size();
    if (texts.sh_type != SHT_STRTAB || !isInFile || offset >= texts.sh_size) {
        return {};
    }
    const char* start = reinterpret_cast<const char*>(content.data()) + texts.sh_offset + offset;
    const std::size_t length = strnlen(start, texts.sh_size - offset);
    return length < texts.sh_size - offset ? std::string_view(start, length) : std::string_view();
}

// Lower goes before higher.
int RankOf(const Elf32_Sym& symbol) {
    const unsigned binding = ELF32_ST_BIND(symbol.st_info);
    return binding == STB_GLOBAL ? 0 : binding == STB_WEAK ? 1 : 2;
}

bool IsPlaceInProgram(const Elf32_Sym& symbol) {
    const unsigned type = ELF32_ST_TYPE(symbol.st_info);
    return symbol.st_shndx != SHN_UNDEF && (type == STT_NOTYPE || type == STT_OBJECT || type == STT_FUNC);
}

// Every name has the value that the file's own table gives it, and there are no others.
void CheckSymbols(Content content, const host::SymbolTable& symbols) {
    const std::vector<Elf32_Shdr> sections = SectionsOf(content);
    std::map<std::string_view, Elf32_Sym> expected;
    std::size_t count = 0;
    for (const Elf32_Shdr& section : sections) {
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= sections.size()) {
            continue;
        }
        for (std::uint64_t at = 0; at < section.sh_size; at += sizeof(Elf32_Sym)) {
            const auto symbol = At<Elf32_Sym>(content, section.sh_offset + at);
            const std::string_view name = TextAt(content, sections[section.sh_link], symbol.st_name);
            if (!IsPlaceInProgram(symbol) || name.empty()) {
                continue;
            }
            ++count;
            const auto [known, isNew] = expected.try_emplace(name, symbol);
            if (!isNew && RankOf(symbol) < RankOf(known->second)) {
                known->second = symbol;
            }
        }
    }
    FuzzRequire(symbols.Size() == count, "every symbol of the file is there, and no other");
    for (const auto& [name, symbol] : expected) {
        FuzzRequire(symbols.Find(name) == symbol.st_value, "a symbol has the file's value");
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    const std::span content(data, size);
    const auto read =
        fuzz::MapOrRefusal(fuzz::kFileName, size, [&] { return host::ReadElf(content, fuzz::kFileName); });
    if (read) {
        fuzz::CheckImage(content, *read);
    }
    // A table of symbols may be bad where the segments are sound.
    host::SymbolTable symbols;
    if (fuzz::IsDone(fuzz::kFileName, size, [&] { symbols = host::ReadElfSymbols(content, fuzz::kFileName); })) {
        fuzz::CheckSymbols(content, symbols);
    }
    return 0;
}
