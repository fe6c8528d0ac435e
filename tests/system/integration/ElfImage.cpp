#include "ElfImage.h"

#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

namespace flash::test {
namespace {

class ElfFile {
public:
    explicit ElfFile(const std::string& path) : descriptor(open(path.c_str(), O_RDONLY)) {
        elf_version(EV_CURRENT);
        elf = descriptor < 0 ? nullptr : elf_begin(descriptor, ELF_C_READ, nullptr);
        if (elf == nullptr || elf_kind(elf) != ELF_K_ELF) {
            throw std::runtime_error("Cannot read the program image " + path);
        }
    }
    ~ElfFile() {
        elf_end(elf);
        close(descriptor);
    }
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    Elf* elf;

private:
    int descriptor;
};

std::vector<ElfSegment> ReadSegments(Elf* elf) {
    std::vector<ElfSegment> segments;
    std::size_t count = 0;
    std::size_t fileBytes = 0;
    elf_getphdrnum(elf, &count);
    const auto* file = reinterpret_cast<const std::uint8_t*>(elf_rawfile(elf, &fileBytes));
    for (int i = 0; i < static_cast<int>(count); ++i) {
        GElf_Phdr header;
        gelf_getphdr(elf, i, &header);
        if (header.p_type == PT_LOAD && header.p_filesz > 0) {
            const std::uint8_t* start = file + header.p_offset;
            segments.push_back({static_cast<std::uint32_t>(header.p_paddr), {start, start + header.p_filesz}});
        }
    }
    return segments;
}

void AddSymbols(Elf* elf, Elf_Scn* section, const GElf_Shdr& header, ElfImage& image) {
    Elf_Data* data = elf_getdata(section, nullptr);
    for (int i = 0; i < static_cast<int>(header.sh_size / header.sh_entsize); ++i) {
        GElf_Sym symbol;
        gelf_getsym(data, i, &symbol);
        const char* name = elf_strptr(elf, header.sh_link, symbol.st_name);
        image.symbols[name] = static_cast<std::uint32_t>(symbol.st_value);
    }
}

}  // namespace

ElfImage ReadElf(const std::string& path) {
    const ElfFile file(path);
    ElfImage image;
    image.segments = ReadSegments(file.elf);
    for (Elf_Scn* section = elf_nextscn(file.elf, nullptr); section != nullptr;
         section = elf_nextscn(file.elf, section)) {
        GElf_Shdr header;
        gelf_getshdr(section, &header);
        if (header.sh_type == SHT_SYMTAB) {
            AddSymbols(file.elf, section, header, image);
        }
    }
    return image;
}

}  // namespace flash::test
