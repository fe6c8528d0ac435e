// The program of an ELF file: the sections that have bytes for memory, each at the address where its segment loads it.
#include "host/files/ElfFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "host/Words.h"
#include "host/files/ElfReader.h"

namespace flash::host {
namespace {

// Each section is looked for in all of them; a linker makes a handful.
constexpr std::size_t kMostSegments = 4096;

// Of one byte or of several.
const char* End(std::uint64_t count) { return count == 1 ? "ends" : "end"; }

std::string NameOfSegment(std::size_t index) { return fmt::format("program header {}", index); }

// Linkers that know nothing of load addresses leave all of them at 0, which of several segments cannot be meant.
bool HasLoadAddresses(const std::vector<Elf32_Phdr>& segments) {
    const auto isInMemory = [](const Elf32_Phdr& segment) { return segment.p_type == PT_LOAD && segment.p_memsz != 0; };
    return std::ranges::any_of(segments, [](const Elf32_Phdr& segment) { return segment.p_paddr != 0; }) ||
           std::ranges::count_if(segments, isInMemory) <= 1;
}

// The segments that load bytes of the file, and where.
class LoadMap {
public:
    explicit LoadMap(const ElfReader& elfReader);

    // A section that no segment loads stands where it runs.
    std::uint64_t AddressOf(const Section& section) const;

    void AddWholeSegmentsTo(ProgramImage& image) const;

private:
    const Elf32_Phdr& Segment(std::size_t index) const { return reader.ProgramHeaders()[index]; }
    std::uint64_t AddressOf(const Elf32_Phdr& segment) const {
        return hasLoadAddresses ? segment.p_paddr : segment.p_vaddr;
    }
    std::uint64_t AddressIn(std::size_t index, const Elf32_Shdr& section) const;
    bool Holds(std::size_t index, const Elf32_Shdr& section) const;
    bool HasSizeBelowZero(std::size_t index) const;
    void RequireSound(std::size_t index) const;
    void RequireNoByteTwice();

    const ElfReader& reader;
    std::vector<std::size_t> indices;  // of the program headers
    bool hasLoadAddresses;
};

LoadMap::LoadMap(const ElfReader& elfReader)
    : reader(elfReader), hasLoadAddresses(HasLoadAddresses(reader.ProgramHeaders())) {
    for (std::size_t i = 0; i < reader.ProgramHeaders().size(); ++i) {
        if (Segment(i).p_type == PT_LOAD && Segment(i).p_filesz > 0) {
            RequireSound(i);
            indices.push_back(i);
        }
    }
    if (reader.Sections().empty()) {
        RequireNoByteTwice();
    } else if (indices.size() > kMostSegments) {
        throw ErrorAt(reader.OriginOf(NameOfSegment(indices[kMostSegments])),
                      fmt::format("{} load something, and at most {} are read",
                                  Counted(indices.size(), "program header"), kMostSegments));
    }
}

// As lld leaves it where sections of one kind descend in memory. The sections in it are right all the same.
bool LoadMap::HasSizeBelowZero(std::size_t index) const {
    const Elf32_Phdr& segment = Segment(index);
    return !reader.Sections().empty() && static_cast<std::int32_t>(segment.p_filesz) < 0 &&
           segment.p_filesz == segment.p_memsz && reader.BytesAt(segment.p_offset, 0);
}

void LoadMap::RequireSound(std::size_t index) const {
    const Elf32_Phdr& segment = Segment(index);
    const Origin origin = reader.OriginOf(NameOfSegment(index));
    if (!reader.BytesAt(segment.p_offset, segment.p_filesz) && !HasSizeBelowZero(index)) {
        throw ErrorAt(
            origin,
            fmt::format("{} at offset 0x{:X} for address 0x{:08X} {} outside the file: it is truncated",
                        Counted(segment.p_filesz, "byte"), segment.p_offset, segment.p_paddr, End(segment.p_filesz)));
    }
    if (segment.p_filesz > segment.p_memsz) {
        throw ErrorAt(origin,
                      fmt::format("{} of file for {} of memory at address 0x{:08X}", Counted(segment.p_filesz, "byte"),
                                  Counted(segment.p_memsz, "byte"), segment.p_paddr));
    }
}

// Each byte of the file is loaded once, as every linker has it. So no image is larger than its file, whatever thousands
// of program headers say.
void LoadMap::RequireNoByteTwice() {
    std::ranges::stable_sort(indices, {}, [&](std::size_t index) { return Segment(index).p_offset; });
    const auto shared = std::ranges::adjacent_find(
        indices, [&](std::size_t a, std::size_t b) { return Segment(b).p_offset < EndOf(Segment(a)); });
    if (shared != indices.end()) {
        const std::size_t second = *std::next(shared);
        throw ErrorAt(reader.OriginOf(NameOfSegment(second)),
                      fmt::format("the byte at offset 0x{:X} is loaded by program header {}, too",
                                  Segment(second).p_offset, *shared));
    }
}

std::uint64_t LoadMap::AddressIn(std::size_t index, const Elf32_Shdr& section) const {
    return std::uint64_t{Segment(index).p_paddr} + section.sh_offset - Segment(index).p_offset;
}

bool LoadMap::Holds(std::size_t index, const Elf32_Shdr& section) const {
    const Elf32_Phdr& segment = Segment(index);
    const bool hasBytes =
        section.sh_offset >= segment.p_offset && std::uint64_t{section.sh_offset} + section.sh_size <= EndOf(segment);
    const bool hasMemory = section.sh_addr >= segment.p_vaddr && std::uint64_t{section.sh_addr} + section.sh_size <=
                                                                     std::uint64_t{segment.p_vaddr} + segment.p_memsz;
    const bool isInStep = section.sh_offset - segment.p_offset == section.sh_addr - segment.p_vaddr;
    return hasBytes && hasMemory && (isInStep || !HasSizeBelowZero(index));
}

// Segments may share bytes of the file, but not disagree about where they go.
std::uint64_t LoadMap::AddressOf(const Section& section) const {
    std::optional<std::size_t> first;
    for (const std::size_t index : indices) {
        if (!hasLoadAddresses || !Holds(index, section.header)) {
            continue;
        }
        if (first && AddressIn(*first, section.header) != AddressIn(index, section.header)) {
            throw ErrorAt(reader.OriginOf(reader.NameOf(section)),
                          fmt::format("program header {} loads it at 0x{:08X}, {} at 0x{:08X}", *first,
                                      AddressIn(*first, section.header), index, AddressIn(index, section.header)));
        }
        first = first.value_or(index);
    }
    return first ? AddressIn(*first, section.header) : section.header.sh_addr;
}

void AddBytes(ProgramImage& image, std::uint64_t address, std::span<const std::uint8_t> bytes, const Origin& origin) {
    if (address > UINT32_MAX) {
        throw ErrorAt(origin, fmt::format("address 0x{:X} is outside the 32-bit address space", address));
    }
    image.Add(static_cast<std::uint32_t>(address), bytes, origin);
}

void LoadMap::AddWholeSegmentsTo(ProgramImage& image) const {
    for (const std::size_t index : indices) {
        const Elf32_Phdr& segment = Segment(index);
        AddBytes(image, AddressOf(segment), *reader.BytesAt(segment.p_offset, segment.p_filesz),
                 reader.OriginOf(NameOfSegment(index)));
    }
}

// Of sections, too, each byte of the file is one's own: the image stays as small as the file.
void RequireNoByteTwice(const ElfReader& reader) {
    const std::vector<const Section*>& sections = reader.ProgramSections();
    const auto shared = std::ranges::adjacent_find(
        sections, [](const Section* a, const Section* b) { return b->header.sh_offset < a->End(); });
    if (shared != sections.end()) {
        const Section& second = **std::next(shared);
        throw ErrorAt(reader.OriginOf(reader.NameOf(second)),
                      fmt::format("the byte at offset 0x{:X} belongs to {}, too", second.header.sh_offset,
                                  reader.NameOf(**shared)));
    }
}

void AddSectionsTo(ProgramImage& image, const ElfReader& reader, const LoadMap& loaded) {
    RequireNoByteTwice(reader);
    for (const Section* section : reader.ProgramSections()) {
        const Origin origin = reader.OriginOf(reader.NameOf(*section));
        const auto bytes = reader.BytesAt(section->header.sh_offset, section->header.sh_size);
        if (!bytes) {
            throw ErrorAt(origin, fmt::format("{} at offset 0x{:X} {} outside the file: it is truncated",
                                              Counted(section->header.sh_size, "byte"), section->header.sh_offset,
                                              End(section->header.sh_size)));
        }
        AddBytes(image, loaded.AddressOf(*section), *bytes, origin);
    }
}

}  // namespace

ProgramImage ReadElf(std::span<const std::uint8_t> content, const std::string& fileName) {
    const ElfReader reader(content, fileName);
    const LoadMap loaded(reader);
    ProgramImage image;
    if (reader.Header().e_shnum == 0) {
        loaded.AddWholeSegmentsTo(image);
    } else {
        AddSectionsTo(image, reader, loaded);
    }
    if (reader.Header().e_entry != 0) {
        image.entryPoint = reader.Header().e_entry;
    }
    return image;
}

}  // namespace flash::host
