// Which format it is, and the reader for it.
#include "host/files/ProgramFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "host/Numbers.h"
#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/IntelHex.h"
#include "host/files/RawBinary.h"
#include "host/files/SRecord.h"
#include "host/files/StandardInput.h"
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

// What has an address is raw unless it shows to be something else; the bytes of a raw file may look like anything.
FileFormat FormatOf(std::span<const std::uint8_t> content, const std::string& fileName, const ReadOptions& options) {
    if (options.format) {
        return *options.format;
    }
    const bool isRawByName = FileFormatOfName(fileName) == FileFormat::Binary;
    const std::optional<FileFormat> detected = DetectFileFormat(content, fileName);
    if (options.binaryBase && (isRawByName || !detected)) {
        return FileFormat::Binary;
    }
    if (!detected) {
        throw ErrorAt({fileName, ""}, "neither content nor extension tells the format: name it with " +
                                          FieldText(Field::FileFormat) + " hex, srec, bin or elf");
    }
    return *detected;
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

[[noreturn]] void RefuseAddress(const std::string& fileName) {
    throw ErrorAt({fileName, ""}, "only a raw binary file takes an address, and this one is none; with " +
                                      FieldText(Field::FileFormat) + " bin its bytes are taken as they are");
}

std::vector<std::uint8_t> BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace

bool ProgramSource::IsStandardInput() const { return path == kStandardInput || path == kStandardInputFile; }

ProgramSource ParseProgramSource(const std::string& text) {
    const std::size_t at = text.rfind('@');
    if (at == std::string::npos || at == 0) {
        return {text};
    }
    const std::string behind = text.substr(at + 1);
    const std::optional<std::uint32_t> address = ParseNumber(behind);
    return address || behind.empty() ? ProgramSource{text.substr(0, at), address} : ProgramSource{text};
}

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
    return FileFormatOfName(fileName);
}

std::optional<FileFormat> FileFormatOfName(std::string_view fileName) {
    return Lookup(kExtensions, LowerCase(std::filesystem::path(fileName).extension().string()));
}

std::vector<std::string> ProgramFileEndings() {
    std::vector<std::string> endings;
    for (const FormatName& known : kExtensions) {
        endings.emplace_back(known.name.substr(1));
    }
    return endings;
}

std::vector<std::uint8_t> PrintProgram(const ProgramImage& image, FileFormat format) {
    switch (format) {
        case FileFormat::IntelHex:
            return BytesOf(PrintIntelHex(image));
        case FileFormat::SRecord:
            return BytesOf(PrintSRecord(image));
        case FileFormat::Binary:
            return PrintRawBinary(image);
        case FileFormat::Elf:
            break;
    }
    throw BadInput(Field::FileFormat, "an ELF file can be read, not written");
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

ProgramImage ReadProgramFiles(std::span<const ProgramSource> sources, const ReadOptions& options) {
    ProgramImage image;
    bool hasBinary = false;
    for (const ProgramSource& source : sources) {
        const std::string name = source.IsStandardInput() ? std::string(kStandardInputName) : source.path.string();
        const std::vector<std::uint8_t> content =
            source.IsStandardInput() ? LoadStandardInput() : LoadFile(source.path);
        if (options.onContent) {
            options.onContent(name, content);
        }
        ReadOptions own = options;
        own.binaryBase = source.address ? source.address : options.binaryBase;
        const bool isBinary = FormatOf(content, name, own) == FileFormat::Binary;
        if (source.address && !isBinary) {
            RefuseAddress(name);
        }
        hasBinary = hasBinary || (isBinary && !source.address);
        image.Merge(ReadProgram(content, name, own));
    }
    if (options.binaryBase && !hasBinary && !sources.empty()) {
        RefuseAddress(sources.front().path.string());
    }
    return image;
}

}  // namespace flash::host
