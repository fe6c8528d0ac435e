// By dlopen; the names are read from the tables of the ELF file as the loader has mapped it.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <bit>
#include <cstdint>

#include "validator/Expectation.h"
#include "validator/ModuleFile.h"

namespace flash::validator {
namespace {

// The table that an entry of the module's dynamic section names; the loader has put its address there.
template <typename T>
const T* FindTable(const ElfW(Dyn) * entries, ElfW(Sxword) tag) {
    for (; entries->d_tag != DT_NULL; ++entries) {
        if (entries->d_tag == tag) {
            return std::bit_cast<const T*>(entries->d_un.d_ptr);
        }
    }
    Fail("a GNU symbol table", "none");
}

// The GNU hash table has no count of symbols: the last one ends the highest bucket's chain.
std::uint32_t CountSymbols(const std::uint32_t* table) {
    const std::uint32_t bucketCount = table[0];
    const std::uint32_t firstHashed = table[1];
    const std::uint32_t* buckets = table + 4 + table[2] * (sizeof(ElfW(Addr)) / sizeof(std::uint32_t));
    const std::uint32_t* chains = buckets + bucketCount;
    std::uint32_t last = 0;
    for (std::uint32_t i = 0; i < bucketCount; ++i) {
        last = buckets[i] > last ? buckets[i] : last;
    }
    while (last >= firstHashed && last != 0 && (chains[last - firstHashed] & 1) == 0) {
        ++last;
    }
    return last < firstHashed ? firstHashed : last + 1;
}

}  // namespace

ModuleFile::ModuleFile(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw NotLoadable{reason == nullptr ? "unknown reason" : reason};
    }
}

void* ModuleFile::Find(const char* name) const { return dlsym(handle, name); }

std::vector<std::string> ModuleFile::ExportedNames() const {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) {
        return {};
    }
    const auto* symbols = FindTable<ElfW(Sym)>(map->l_ld, DT_SYMTAB);
    const auto* text = FindTable<char>(map->l_ld, DT_STRTAB);
    const std::uint32_t count = CountSymbols(FindTable<std::uint32_t>(map->l_ld, DT_GNU_HASH));
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < count; ++i) {
        const ElfW(Sym)& symbol = symbols[i];
        const bool isLocal = ELF64_ST_BIND(symbol.st_info) == STB_LOCAL;
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS && !isLocal) {
            names.emplace_back(text + symbol.st_name);
        }
    }
    return names;
}

std::string ModuleFile::Unload() const { return dlclose(handle) == 0 ? "" : dlerror(); }

}  // namespace flash::validator
