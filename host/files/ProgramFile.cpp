// See ProgramFile.h.
#include "host/files/ProgramFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#include "host/files/ElfFile.h"
#include "host/files/IntelHex.h"
#include "host/files/RawBinary.h"
#include "host/files/SRecord.h"
#include "host/files/TextRecords.h"

namespace flash::host {
namespace {

struct FormatName {
    std::string_view name;
    FileFormat format;
};

constexpr FormatName kFormatNames[] = {
    {"hex", FileFormat::IntelHex},
    {"srec", FileFormat::SRecord},
    {"bin", FileFormat::Binary},
    {"elf", FileFormat::Elf},
};

constexpr FormatName kExtensions[] = {
    {".hex", FileFormat::IntelHex}, {".ihex", FileFormat::IntelHex}, {".ihx", FileFormat::IntelHex},
    {".srec", FileFormat::SRecord}, {".s19", FileFormat::SRecord},   {".s28", FileFormat::SRecord},
    {".s37", FileFormat::SRecord},  {".mot", FileFormat::SRecord},   {".bin", FileFormat::Binary},
    {".img", FileFormat::Binary},   {".elf", FileFormat::Elf},       {".axf", FileFormat::Elf},
    {".out", FileFormat::Elf},
};

template <std::size_t kCount>
std::optional<FileFormat> Lookup(const FormatName (&table)[kCount], std::string_view name) {
    const auto* found =
        std::find_if(std::begin(table), std::end(table), [&](const FormatName& f) { return f.name == name; });
    return found == std::end(table) ? std::nullopt : std::optional(found->format);
}

std::optional<FileFormat> FormatOfContent(std::span<const std::uint8_t> content) {
    constexpr std::array<std::uint8_t, 4> kElfMark{0x7F, 'E', 'L', 'F'};
    constexpr std::size_t kLongestLine = 1 + 2 * 260;  // Intel HEX: the mark and 255 data bytes in their frame
    if (content.size() >= kElfMark.size() && std::equal(kElfMark.begin(), kElfMark.end(), content.begin())) {
        return FileFormat::Elf;
    }
    const std::optional<TextLine> first = LineSplitter(content).Next();
    const std::string_view line = first ? first->text : std::string_view();
    if (line.size() < 2 || line.size() > kLongestLine || !std::all_of(line.begin() + 1, line.end(), IsHexDigit)) {
        return std::nullopt;
    }
    if (line[0] == ':') {
        return FileFormat::IntelHex;
    }
    const bool isSRecord = line[0] == 'S' && line[1] >= '0' && line[1] <= '9';
    return isSRecord ? std::optional(FileFormat::SRecord) : std::nullopt;
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Before anything is opened: what is no regular file may block, or have no end.
std::uintmax_t SizeOfUsableFile(const std::filesystem::path& path, std::size_t mostBytes) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    const Origin origin{path.string(), ""};
    if (status.type() == std::filesystem::file_type::not_found) {
        throw ErrorAt(origin, "the file does not exist");
    }
    if (error) {
        throw ErrorAt(origin, fmt::format("the file cannot be examined: {}", error.message()));
    }
    if (std::filesystem::is_directory(status)) {
        throw ErrorAt(origin, "this is a folder, expected a file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw ErrorAt(origin, "this is a device or a pipe, expected a regular file");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw ErrorAt(origin, fmt::format("the file cannot be examined: {}", error.message()));
    }
    if (size == 0) {
        throw ErrorAt(origin, "the file is empty");
    }
    if (size > mostBytes) {
        throw ErrorAt(origin, fmt::format("the file has {} bytes, at most {} are allowed", size, mostBytes));
    }
    return size;
}

FileFormat FormatOf(std::span<const std::uint8_t> content, const std::string& fileName, const ReadOptions& options) {
    const std::optional<FileFormat> format = options.format ? options.format : DetectFileFormat(content, fileName);
    if (!format) {
        throw ErrorAt({fileName, ""},
                      "neither content nor extension tells the format: name it (hex, srec, bin or elf)");
    }
    return *format;
}

ProgramImage ReadAs(FileFormat format, std::span<const std::uint8_t> content, const std::string& fileName,
                    const ReadOptions& options) {
    switch (format) {
        case FileFormat::IntelHex:
            return ReadIntelHex(content, fileName);
        case FileFormat::SRecord:
            return ReadSRecord(content, fileName);
        case FileFormat::Elf:
            return ReadElf(content, fileName);
        case FileFormat::Binary:
            break;
    }
    if (!options.binaryBase) {
        throw ErrorAt({fileName, ""}, "a raw binary file says nothing about its address: give it with " +
                                          FieldText(Field::BaseAddress) + " ADDRESS");
    }
    return ReadRawBinary(content, *options.binaryBase, fileName);
}

}  // namespace

std::optional<FileFormat> ParseFileFormat(std::string_view name) { return Lookup(kFormatNames, name); }

std::string_view FileFormatName(FileFormat format) {
    return std::find_if(std::begin(kFormatNames), std::end(kFormatNames),
                        [&](const FormatName& f) { return f.format == format; })
        ->name;
}

std::optional<FileFormat> DetectFileFormat(std::span<const std::uint8_t> content, std::string_view fileName) {
    if (const std::optional<FileFormat> format = FormatOfContent(content)) {
        return format;
    }
    return Lookup(kExtensions, LowerCase(std::filesystem::path(fileName).extension().string()));
}

std::vector<std::uint8_t> LoadFile(const std::filesystem::path& path, std::size_t mostBytes) {
    const std::uintmax_t size = SizeOfUsableFile(path, mostBytes);
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw ErrorAt({path.string(), ""}, fmt::format("the file cannot be read: {}", std::strerror(errno)));
    }
    std::vector<std::uint8_t> content(size);
    if (!stream.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(size))) {
        throw ErrorAt({path.string(), ""}, fmt::format("only {} of {} bytes can be read", stream.gcount(), size));
    }
    return content;
}

ProgramImage ReadProgram(std::span<const std::uint8_t> content, const std::string& fileName,
                         const ReadOptions& options) {
    ProgramImage image = ReadAs(FormatOf(content, fileName, options), content, fileName, options);
    if (image.IsEmpty()) {
        throw ErrorAt({fileName, ""}, "the file holds no byte to program");
    }
    return image;
}

ProgramImage ReadProgramFile(const std::filesystem::path& path, const ReadOptions& options) {
    return ReadProgram(LoadFile(path), path.string(), options);
}

ProgramImage ReadProgramFiles(std::span<const std::filesystem::path> paths, const ReadOptions& options) {
    ProgramImage image;
    bool hasBinary = false;
    for (const std::filesystem::path& path : paths) {
        const std::vector<std::uint8_t> content = LoadFile(path);
        hasBinary = hasBinary || FormatOf(content, path.string(), options) == FileFormat::Binary;
        image.Merge(ReadProgram(content, path.string(), options));
    }
    if (options.binaryBase && !hasBinary && !paths.empty()) {
        throw ErrorAt({paths.front().string(), ""},
                      "only a raw binary file takes an address (" + FieldText(Field::BaseAddress) + ")");
    }
    return image;
}

}  // namespace flash::host
