// ELF: whatever is accepted holds exactly what the sections say (without a table of them, the segments), read a second
// time without the library. Symbols are those of the file.
#include <elf.h>

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

std::vector<Elf32_Phdr> SegmentsOf(Content content) {
    const auto header = At<Elf32_Ehdr>(content, 0);
    std::vector<Elf32_Phdr> segments;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        segments.push_back(At<Elf32_Phdr>(content, std::uint64_t{header.e_phoff} + i * sizeof(Elf32_Phdr)));
    }
    return segments;
}

// Load addresses that are 0 in all of several segments are none.
bool HasLoadAddresses(const std::vector<Elf32_Phdr>& segments) {
    std::size_t count = 0;
    for (const Elf32_Phdr& segment : segments) {
        if (segment.p_paddr != 0) {
            return true;
        }
        count += segment.p_type == PT_LOAD && segment.p_memsz != 0 ? 1 : 0;
    }
    return count < 2;
}

// A part of the file and where it goes in memory.
struct Load {
    std::uint64_t address, offset, length;
};

// Sizes below zero say nothing; then a section belongs to the segment when it is as far in its memory as in the file.
bool IsOutOfStep(const Elf32_Shdr& section, const Elf32_Phdr& segment) {
    return segment.p_filesz == segment.p_memsz && segment.p_filesz > INT32_MAX &&
           section.sh_offset - segment.p_offset != section.sh_addr - segment.p_vaddr;
}

bool IsInside(std::uint64_t start, std::uint64_t length, std::uint64_t outerStart, std::uint64_t outerLength) {
    return start >= outerStart && start + length <= outerStart + outerLength;
}

std::vector<Load> LoadsOf(Content content) {
    const std::vector<Elf32_Phdr> segments = SegmentsOf(content);
    std::vector<Load> loads;
    if (At<Elf32_Ehdr>(content, 0).e_shnum == 0) {
        for (const Elf32_Phdr& segment : segments) {
            if (segment.p_type == PT_LOAD && segment.p_filesz > 0) {
                loads.push_back({HasLoadAddresses(segments) ? segment.p_paddr : segment.p_vaddr, segment.p_offset,
                                 segment.p_filesz});
            }
        }
        return loads;
    }
    for (const Elf32_Shdr& section : SectionsOf(content)) {
        if ((section.sh_flags & SHF_ALLOC) == 0 || section.sh_type == SHT_NOBITS || section.sh_size == 0) {
            continue;
        }
        loads.push_back({section.sh_addr, section.sh_offset, section.sh_size});
        for (const Elf32_Phdr& segment : segments) {
            if (segment.p_type == PT_LOAD && HasLoadAddresses(segments) && !IsOutOfStep(section, segment) &&
                IsInside(section.sh_offset, section.sh_size, segment.p_offset, segment.p_filesz) &&
                IsInside(section.sh_addr, section.sh_size, segment.p_vaddr, segment.p_memsz)) {
                loads.back().address = std::uint64_t{segment.p_paddr} + section.sh_offset - segment.p_offset;
            }
        }
    }
    return loads;
}

// The bytes of the image must be those of the sections, each once.
void CheckImage(Content content, ByteMap image) {
    FuzzRequire(image.entryPoint.value_or(0) == At<Elf32_Ehdr>(content, 0).e_entry, "the entry point is the header's");
    for (const Load& load : LoadsOf(content)) {
        for (std::uint64_t i = 0; i < load.length; ++i) {
            const auto found = image.bytes.find(static_cast<std::uint32_t>(load.address + i));
            FuzzRequire(load.address + i <= UINT32_MAX && found != image.bytes.end(),
                        "every byte of a section is in the image");
            FuzzRequire(found->second == At<std::uint8_t>(content, load.offset + i), "the image has the file's byte");
            image.bytes.erase(found);
        }
    }
    FuzzRequire(image.bytes.empty(), "the image has nothing but the sections' bytes");
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
    // A table of symbols may be bad where the program is sound.
    host::SymbolTable symbols;
    if (fuzz::IsDone(fuzz::kFileName, size, [&] { symbols = host::ReadElfSymbols(content, fuzz::kFileName); })) {
        fuzz::CheckSymbols(content, symbols);
    }
    return 0;
}
