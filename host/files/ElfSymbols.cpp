// The symbols of an ELF file: those that the program defines.
#include <fmt/format.h>

#include <cstring>

#include "host/Words.h"
#include "host/files/ElfFile.h"
#include "host/files/ElfReader.h"

namespace flash::host {
namespace {

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
                      fmt::format("symbols of {} at offset 0x{:X} are cut off or no whole number of entries",
                                  Counted(table.header.sh_size, "byte"), table.header.sh_offset));
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
