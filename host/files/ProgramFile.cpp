// Which format it is, and the reader for it.
#include "host/files/ProgramFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
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

FileFormat FormatOf(std::span<const std::uint8_t> content, const std::string& fileName, const ReadOptions& options) {
    const std::optional<FileFormat> format = options.format ? options.format : DetectFileFormat(content, fileName);
    if (!format) {
        throw ErrorAt({fileName, ""}, "neither content nor extension tells the format: name it with " +
                                          FieldText(Field::FileFormat) + " hex, srec, bin or elf");
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
