// ELF: whatever is accepted holds exactly what the program headers say, read a second time without the library, but for
// what lies in front of the first section of a segment that holds the ELF header. Symbols have values of the file.
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <span>
#include <string_view>

#include "fuzz/files/ByteMap.h"
#include "host/files/ElfFile.h"

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

// The bytes of the image must all come from here; those that it leaves out must be the ELF header's.
void CheckImage(Content content, ByteMap image) {
    const auto header = At<Elf32_Ehdr>(content, 0);
    FuzzRequire(image.entryPoint.value_or(0) == header.e_entry, "the entry point is the header's");
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const auto segment = At<Elf32_Phdr>(content, std::uint64_t{header.e_phoff} + i * sizeof(Elf32_Phdr));
        if (segment.p_type != PT_LOAD) {
            continue;
        }
        bool hasStarted = segment.p_offset >= header.e_ehsize;
        for (std::uint64_t j = 0; j < segment.p_filesz; ++j) {
            const auto byte = At<std::uint8_t>(content, segment.p_offset + j);
            const auto found = image.bytes.find(static_cast<std::uint32_t>(segment.p_paddr + j));
            const bool isThere = segment.p_paddr + j <= UINT32_MAX && found != image.bytes.end();
            FuzzRequire(isThere || !hasStarted, "every byte of a segment is in the image");
            hasStarted = isThere;
            if (isThere) {
                FuzzRequire(found->second == byte, "the image has the file's byte");
                image.bytes.erase(found);
            }
        }
    }
    FuzzRequire(image.bytes.empty(), "the image has nothing but the segments' bytes");
}

// Names and values that look like symbols anywhere in the file's symbol tables.
void CheckSymbols(Content content, const host::SymbolTable& symbols) {
    const auto header = At<Elf32_Ehdr>(content, 0);
    std::set<std::string_view> names;
    for (unsigned i = 1; i < header.e_shnum; ++i) {
        const auto section = At<Elf32_Shdr>(content, std::uint64_t{header.e_shoff} + i * sizeof(Elf32_Shdr));
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= header.e_shnum) {
            continue;
        }
        const auto texts =
            At<Elf32_Shdr>(content, std::uint64_t{header.e_shoff} + section.sh_link * sizeof(Elf32_Shdr));
        for (std::uint64_t at = 0; at + sizeof(Elf32_Sym) <= section.sh_size; at += sizeof(Elf32_Sym)) {
            const auto symbol = At<Elf32_Sym>(content, section.sh_offset + at);
            const std::uint64_t nameAt = std::uint64_t{texts.sh_offset} + symbol.st_name;
            if (texts.sh_type == SHT_STRTAB && symbol.st_name < texts.sh_size && nameAt < content.size()) {
                const char* name = reinterpret_cast<const char*>(content.data() + nameAt);
                names.insert({name, strnlen(name, content.size() - nameAt)});
            }
        }
    }
    const auto found =
        std::ranges::count_if(names, [&](std::string_view name) { return symbols.Find(name).has_value(); });
    FuzzRequire(static_cast<std::size_t>(found) == symbols.Size(), "every symbol stands in a table of the file");
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    const std::span content(data, size);
    const auto read = fuzz::MapOrRefusal(fuzz::kFileName, [&] { return host::ReadElf(content, fuzz::kFileName); });
    if (read) {
        fuzz::CheckImage(content, *read);
    }
    try {
        fuzz::CheckSymbols(content, host::ReadElfSymbols(content, fuzz::kFileName));
    } catch (const host::ProgramFileError&) {
        // Refused: a table of symbols may be bad where the segments are sound.
    }
    return 0;
}
