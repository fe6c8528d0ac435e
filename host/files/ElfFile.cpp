// The program of an ELF file: loadable segments, cut into the parts that sections name.
#include "host/files/ElfFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "host/files/ElfReader.h"

namespace flash::host {
namespace {

std::string NameOfSegment(std::size_t index) { return fmt::format("program header {}", index); }

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

}  // namespace flash::host
