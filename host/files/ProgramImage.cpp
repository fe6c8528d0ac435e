// Segments lie in a map by address, so that an overlap shows at the neighbours.
#include "host/files/ProgramImage.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/Words.h"

namespace flash::host {
namespace {

constexpr std::uint64_t kAddressSpaceBytes = std::uint64_t{1} << 32;

// One past the last address of a segment.
std::uint64_t EndOf(std::uint32_t address, std::size_t length) { return std::uint64_t{address} + length; }

std::string Range(std::uint32_t address, std::size_t length) {
    return fmt::format("0x{:08X}-0x{:08X}", address, EndOf(address, length) - 1);
}

}  // namespace

std::string Describe(const Origin& origin) {
    return Escaped(origin.place.empty() ? origin.file : origin.file + ", " + origin.place);
}

ProgramFileError ErrorAt(const Origin& origin, const FieldText& problem) {
    return ProgramFileError(Describe(origin) + ": " + problem);
}

// Throws when [address, address + length) runs past the address space or into a segment.
void ProgramImage::RequireFree(std::uint32_t address, std::size_t length, const Origin& origin) const {
    if (length > kAddressSpaceBytes - address) {
        throw ErrorAt(origin, fmt::format("{} at 0x{:08X} {} past the end of the 32-bit address space",
                                          Counted(length, "byte"), address, length == 1 ? "runs" : "run"));
    }
    auto other = segments.lower_bound(address);
    if (other != segments.begin()) {
        const auto before = std::prev(other);
        if (EndOf(before->first, before->second.bytes.size()) > address) {
            other = before;
        }
    }
    if (other != segments.end() && other->first < EndOf(address, length)) {
        throw ErrorAt(origin,
                      fmt::format("data at {} overlaps that of {} at {}, first at 0x{:08X}", Range(address, length),
                                  Describe(other->second.origin), Range(other->first, other->second.bytes.size()),
                                  std::max(address, other->first)));
    }
}

void ProgramImage::Add(std::uint32_t address, std::span<const std::uint8_t> bytes, const Origin& origin) {
    if (bytes.empty()) {
        return;
    }
    RequireFree(address, bytes.size(), origin);
    segments.emplace(address, Segment{{bytes.begin(), bytes.end()}, origin});
}

void ProgramImage::Merge(const ProgramImage& other) {
    for (const auto& [address, segment] : other.segments) {
        RequireFree(address, segment.bytes.size(), segment.origin);
    }
    segments.insert(other.segments.begin(), other.segments.end());
    if (!entryPoint) {
        entryPoint = other.entryPoint;
    }
}

ProgramImage ProgramImage::Within(std::uint32_t first, std::uint32_t length) const {
    ProgramImage part;
    part.entryPoint = entryPoint;
    for (const auto& [address, segment] : segments) {
        const std::uint64_t begin = std::max<std::uint64_t>(address, first);
        const std::uint64_t end = std::min(EndOf(address, segment.bytes.size()), EndOf(first, length));
        if (begin < end) {
            part.Add(static_cast<std::uint32_t>(begin), std::span(segment.bytes).subspan(begin - address, end - begin),
                     segment.origin);
        }
    }
    return part;
}

std::vector<DataRun> ProgramImage::Runs() const {
    std::vector<DataRun> runs;
    for (const auto& [address, segment] : segments) {
        if (runs.empty() || EndOf(runs.back().address, runs.back().bytes.size()) != address) {
            runs.push_back({address, {}});
        }
        runs.back().bytes.insert(runs.back().bytes.end(), segment.bytes.begin(), segment.bytes.end());
    }
    return runs;
}

const Origin* ProgramImage::OriginAt(std::uint32_t address) const {
    const auto next = segments.upper_bound(address);
    if (next == segments.begin()) {
        return nullptr;
    }
    const auto& [start, segment] = *std::prev(next);
    return address - start < segment.bytes.size() ? &segment.origin : nullptr;
}

std::size_t ProgramImage::ByteCount() const {
    std::size_t count = 0;
    for (const auto& [address, segment] : segments) {
        count += segment.bytes.size();
    }
    return count;
}

void RequireInside(const ProgramImage& image, std::uint32_t first, std::uint32_t length, std::string_view memory) {
    const std::uint64_t end = EndOf(first, length);
    for (const auto& [address, segment] : image.Segments()) {
        if (address >= first && EndOf(address, segment.bytes.size()) <= end) {
            continue;
        }
        const std::uint64_t outside = address < first ? address : std::max<std::uint64_t>(address, end);
        throw ErrorAt(segment.origin,
                      fmt::format("data at {} is outside {} ({}), first at 0x{:08X}",
                                  Range(address, segment.bytes.size()), memory, Range(first, length), outside));
    }
}

}  // namespace flash::host
