// What program files hold: bytes at 32-bit addresses, each run knowing the line or section that it came from, so that
// an overlap or an address outside flash can be told to the user in terms of the files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/Failure.h"

namespace flash::host {

// Far more than any program with its debug information; a larger file is a mistake, refused before it is read or
// written.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} * 1024 * 1024;

// Whatever is wrong with a program file. The text names the file, the place in it, what was found and what is expected.
class ProgramFileError : public Failure {
public:
    explicit ProgramFileError(const FieldText& why) : Failure(FailureKind::BadInput, why) {}
};

// Where bytes come from.
struct Origin {
    std::string file;
    std::string place;  // "line 12", "section .text", "program header 2"; empty for the whole file
    bool operator==(const Origin&) const = default;
};

// "app.hex, line 12", or only "app.bin".
std::string Describe(const Origin& origin);

// A `ProgramFileError` with the text "app.hex, line 12: problem".
ProgramFileError ErrorAt(const Origin& origin, const FieldText& problem);

// Bytes of one origin: one record of a text file, one section of an ELF file, one whole binary file.
struct Segment {
    std::vector<std::uint8_t> bytes;  // never empty
    Origin origin;
    bool operator==(const Segment&) const = default;
};

// Bytes without a gap, whatever their origins.
struct DataRun {
    std::uint32_t address;
    std::vector<std::uint8_t> bytes;  // never empty
    bool operator==(const DataRun&) const = default;
};

// Segments that never overlap, in ascending order. Every failing call leaves the image as it was.
class ProgramImage {
public:
    // Adds bytes; an empty run adds nothing. Throws `ProgramFileError` when they run past the end of the 32-bit address
    // space or overlap what is there, even with equal bytes: two files that claim one address are a mistake in the
    // build.
    void Add(std::uint32_t address, std::span<const std::uint8_t> bytes, const Origin& origin);

    // Adds all of `other`, with the same rules. The entry point is that of the first image that has one.
    void Merge(const ProgramImage& other);

    // What of it lies in [first, first + length).
    ProgramImage Within(std::uint32_t first, std::uint32_t length) const;

    // By address of their first byte.
    const std::map<std::uint32_t, Segment>& Segments() const { return segments; }

    // The same bytes with adjacent segments joined: ascending, with at least one missing byte between two runs.
    std::vector<DataRun> Runs() const;

    // The segment's origin that holds `address`, null when none does.
    const Origin* OriginAt(std::uint32_t address) const;

    bool IsEmpty() const { return segments.empty(); }
    std::size_t ByteCount() const;

    std::optional<std::uint32_t> entryPoint;

private:
    void RequireFree(std::uint32_t address, std::size_t length, const Origin& origin) const;

    std::map<std::uint32_t, Segment> segments;
};

// Throws `ProgramFileError` for the lowest byte outside [first, first + length), with its origin and address. `memory`
// names the region in the text: "flash".
void RequireInside(const ProgramImage& image, std::uint32_t first, std::uint32_t length, std::string_view memory);

}  // namespace flash::host
