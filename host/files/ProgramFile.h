// Program files by path: loading, recognising the format, reading. Everything that is wrong is a `ProgramFileError`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

enum class FileFormat { IntelHex, SRecord, Binary, Elf };

// "hex", "srec", "bin", "elf": the names for a user's explicit choice.
std::optional<FileFormat> ParseFileFormat(std::string_view name);
std::string_view FileFormatName(FileFormat format);

// By content (the ELF mark; a first line of ":" or "S" and only digits of that format), else by the extension of the
// file's name. Null when neither tells.
std::optional<FileFormat> DetectFileFormat(std::span<const std::uint8_t> content, std::string_view fileName);

struct ReadOptions {
    std::optional<FileFormat> format = std::nullopt;         // instead of detection
    std::optional<std::uint32_t> binaryBase = std::nullopt;  // required by the binary format, no use to others
};

// The image of a file's content. A file without a single byte to program is refused.
ProgramImage ReadProgram(std::span<const std::uint8_t> content, const std::string& fileName,
                         const ReadOptions& options = {});
ProgramImage ReadProgramFile(const std::filesystem::path& path, const ReadOptions& options = {});

// All files as one image; overlapping data is refused with both origins, and so is a base address when none of the
// files is raw binary.
ProgramImage ReadProgramFiles(std::span<const std::filesystem::path> paths, const ReadOptions& options = {});

}  // namespace flash::host
