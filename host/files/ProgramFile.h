// Program files by path: loading, recognising the format, reading. Everything that is wrong is a `ProgramFileError`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

enum class FileFormat { IntelHex, SRecord, Binary, Elf };

// A program file as a user names it: FILE, or FILE@ADDRESS for raw bytes; "-" is standard input.
struct ProgramSource {
    std::filesystem::path path;
    std::optional<std::uint32_t> address = std::nullopt;

    bool IsStandardInput() const;
    bool operator==(const ProgramSource&) const = default;
};

// What stands behind the last "@" is an address when it is a number, decimal or hexadecimal after 0x; a name that
// itself ends so gets another "@" behind it.
ProgramSource ParseProgramSource(const std::string& text);

// "hex", "srec", "bin", "elf": the names for a user's explicit choice.
std::optional<FileFormat> ParseFileFormat(std::string_view name);
std::string_view FileFormatName(FileFormat format);

// By content (the ELF mark; a first line of ":" or "S" and only digits of that format), else by the extension of the
// file's name. Null when neither tells.
std::optional<FileFormat> DetectFileFormat(std::span<const std::uint8_t> content, std::string_view fileName);

// By the extension alone, without regard to case.
std::optional<FileFormat> FileFormatOfName(std::string_view fileName);

// Without their dots: "hex", "elf", ….
std::vector<std::string> ProgramFileEndings();

// The image as a file of that format; raw binary runs from its first byte to its last. ELF cannot be written.
std::vector<std::uint8_t> PrintProgram(const ProgramImage& image, FileFormat format);

struct ReadOptions {
    std::optional<FileFormat> format = std::nullopt;  // instead of detection
    // Required by the binary format, refused for what shows to be another one. What shows nothing is raw with it.
    std::optional<std::uint32_t> binaryBase = std::nullopt;
    // Sees each file's bytes as they are read, under the name that texts use.
    std::function<void(const std::string& name, std::span<const std::uint8_t> content)> onContent = {};
};

// The image of a file's content. A file without a single byte to program is refused.
ProgramImage ReadProgram(std::span<const std::uint8_t> content, const std::string& fileName,
                         const ReadOptions& options = {});
ProgramImage ReadProgramFile(const std::filesystem::path& path, const ReadOptions& options = {});

// All files as one image; overlapping data is refused with both origins, and so is a base address when none of the
// files takes it. A file's own address goes before it.
ProgramImage ReadProgramFiles(std::span<const ProgramSource> sources, const ReadOptions& options = {});

}  // namespace flash::host
