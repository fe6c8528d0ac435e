// Program files by path: how a format is recognised, which files are refused before they are read, several at once.
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/host/files/FileTesting.h"
#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/files/TestElf.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Runs = std::vector<DataRun>;
using Format = std::optional<FileFormat>;
constexpr std::string_view kHexText = ":0300300002337A1E\n:00000001FF\n";
constexpr std::string_view kSRecordText = "S10510000102E7\nS9030000FC\n";

TEST(FileFormatName, IsWhatParsingTakes) {
    for (const char* name : {"hex", "srec", "bin", "elf"}) {
        ASSERT_TRUE(ParseFileFormat(name).has_value()) << name;
        EXPECT_EQ(FileFormatName(*ParseFileFormat(name)), name);
    }
    EXPECT_EQ(ParseFileFormat("HEX"), std::nullopt);
    EXPECT_EQ(ParseFileFormat(""), std::nullopt);
}

TEST(DetectFileFormat, GoesByContentThenByExtension) {
    struct Case {
        const char* name;
        std::string_view content;
        const char* fileName;
        Format format;
    };
    const std::string longestLine = ":" + std::string(2 * 260, '0');
    const std::string tooLongLine = ":" + std::string(2 * 261, '0');
    const Case cases[] = {
        {"HEX content", kHexText, "a.bin", FileFormat::IntelHex},
        {"HEX of one line without end", ":00000001FF", "a", FileFormat::IntelHex},
        {"HEX behind empty lines", "\r\n\n:00000001FF\r\n", "a", FileFormat::IntelHex},
        {"the longest HEX line", longestLine, "a", FileFormat::IntelHex},
        {"longer than any HEX line", tooLongLine, "a", std::nullopt},
        {"S-record content", kSRecordText, "a.hex", FileFormat::SRecord},
        {"ELF content",
         "\x7F"
         "ELF",
         "a.bin", FileFormat::Elf},
        {"ELF mark cut off",
         "\x7F"
         "EL",
         "a", std::nullopt},
        {"a colon is not enough", ":", "a", std::nullopt},
        {"prose behind a colon", ":hello\n", "a", std::nullopt},
        {"prose with S", "Sad\nstory\n", "a.txt", std::nullopt},
        {"unknown", "\x01\x02", "a", std::nullopt},
        {"nothing", "", "a.hex", FileFormat::IntelHex},
        {".hex", "junk", "a.hex", FileFormat::IntelHex},
        {".HEX", "junk", "a.HEX", FileFormat::IntelHex},
        {".ihex", "junk", "a.ihex", FileFormat::IntelHex},
        {".srec", "junk", "a.srec", FileFormat::SRecord},
        {".s19", "junk", "a.s19", FileFormat::SRecord},
        {".s28", "junk", "a.s28", FileFormat::SRecord},
        {".s37", "junk", "a.s37", FileFormat::SRecord},
        {".mot", "junk", "a.mot", FileFormat::SRecord},
        {".bin", "junk", "some/folder.hex/a.bin", FileFormat::Binary},
        {".img", "junk", "a.img", FileFormat::Binary},
        {".elf", "junk", "a.elf", FileFormat::Elf},
        {".axf", "junk", "a.axf", FileFormat::Elf},
        {".out", "junk", "a.out", FileFormat::Elf},
        {"a folder's extension does not count", "junk", "folder.hex/a", std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(DetectFileFormat(AsBytes(c.content), c.fileName), c.format);
    }
}

TEST(ReadProgram, ReadsEachFormat) {
    EXPECT_EQ(ReadProgram(AsBytes(kHexText), "a").Runs(), (Runs{{0x30, {0x02, 0x33, 0x7A}}}));
    EXPECT_EQ(ReadProgram(AsBytes(kSRecordText), "a").Runs(), (Runs{{0x1000, {1, 2}}}));
    EXPECT_EQ(ReadProgram(TestElf().Bytes(), "a").Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));
    EXPECT_EQ(ReadProgram(Bytes{1}, "a.bin", {.binaryBase = 0x2000}).Runs(), (Runs{{0x2000, {1}}}));
}

TEST(ReadProgram, TakesForRawWhatHasAnAddressAndNoOtherMark) {
    const auto countOf = [](std::span<const std::uint8_t> content, const char* name) {
        return ReadProgram(content, name, {.binaryBase = 0}).ByteCount();
    };
    EXPECT_EQ(countOf(Bytes{1}, "a.dat"), 1u);
    EXPECT_EQ(countOf(AsBytes(kHexText), "a.bin"), kHexText.size());
    EXPECT_EQ(countOf(AsBytes(kHexText), "a.dat"), 3u);
}

TEST(ReadProgram, AnExplicitFormatGoesBeforeDetection) {
    EXPECT_EQ(ReadProgram(AsBytes(kHexText), "a.hex", {FileFormat::Binary, 0}).ByteCount(), kHexText.size());
    EXPECT_EQ(ErrorOf([] { ReadProgram(AsBytes(kHexText), "a.hex", {.format = FileFormat::SRecord}); }),
              "a.hex, line 1: the line does not start with 'S'");
}

TEST(ReadProgram, RefusesWhatCannotBePlaced) {
    EXPECT_EQ(ErrorOf([] { ReadProgram(Bytes{1}, "a.bin"); }),
              "a.bin: a raw binary file says nothing about its address: give it with \"base address\" ADDRESS");
    EXPECT_EQ(
        ErrorOf([] { ReadProgram(Bytes{1}, "a.dat"); }),
        "a.dat: neither content nor extension tells the format: name it with \"file format\" hex, srec, bin or elf");
    EXPECT_EQ(ErrorOf([] { ReadProgram(AsBytes(":00000001FF\n"), "a.hex"); }),
              "a.hex: the file holds no byte to program");
}

TEST(LoadFile, GivesTheBytes) {
    const TemporaryFolder folder;

    EXPECT_EQ(LoadFile(folder.Write("a.bin", std::string_view("\0\n\r\xFF", 4))), (Bytes{0, '\n', '\r', 0xFF}));
}

TEST(LoadFile, RefusesWhatIsNoFileToRead) {
    const TemporaryFolder folder;
    const auto missing = folder / "missing.hex";
    const auto empty = folder.Write("empty.hex", "");
    const auto behindFile = empty / "a.hex";
    const auto pipe = folder / "pipe";
    const auto large = folder.Write("large.bin", "x");
    std::filesystem::resize_file(large, kMaxFileBytes + 1);  // sparse: takes no room
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);

    EXPECT_EQ(ErrorOf([&] { LoadFile(missing); }), missing.string() + ": the file does not exist");
    EXPECT_EQ(ErrorOf([&] { LoadFile(behindFile); }), behindFile.string() + ": the file does not exist");
    EXPECT_EQ(ErrorOf([&] { LoadFile(folder / ""); }), (folder / "").string() + ": this is a folder, expected a file");
    EXPECT_EQ(ErrorOf([&] { LoadFile(pipe); }),
              pipe.string() + ": this is a device or a pipe, expected a regular file");
    EXPECT_EQ(ErrorOf([&] { LoadFile(empty); }), empty.string() + ": the file is empty");
    EXPECT_EQ(ErrorOf([&] { LoadFile(large); }),
              large.string() + ": the file has 67108865 bytes, at most 67108864 are allowed");
}

// The user that runs a test may read everything; somebody else may not.
class AsSomebodyElse {
public:
    AsSomebodyElse() : wasRoot(geteuid() == 0) { EXPECT_TRUE(!wasRoot || seteuid(65534) == 0); }
    ~AsSomebodyElse() { EXPECT_TRUE(!wasRoot || seteuid(0) == 0); }

private:
    bool wasRoot;
};

TEST(LoadFile, SaysThatAFileMayNotBeRead) {
    const TemporaryFolder folder;
    const auto path = folder.Write("secret.hex", kHexText);
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    std::filesystem::permissions(path, std::filesystem::perms::none);

    std::string error;
    {
        const AsSomebodyElse somebody;
        error = ErrorOf([&] { LoadFile(path); });
    }

    EXPECT_EQ(error, path.string() + ": the file cannot be read: Permission denied");
}

TEST(ReadProgramFiles, MakesOneImageOfSeveralFormats) {
    const TemporaryFolder folder;
    const std::vector<ProgramSource> sources{{folder.Write("a.hex", kHexText)},
                                             {folder.Write("b.s19", kSRecordText)},
                                             {folder.Write("c.bin", "\x05\x06")},
                                             {folder.Write("d.bin", "\x07"), 0x1004}};

    const ProgramImage image = ReadProgramFiles(sources, {.binaryBase = 0x1002});

    EXPECT_EQ(image.Runs(), (Runs{{0x30, {0x02, 0x33, 0x7A}}, {0x1000, {1, 2, 5, 6, 7}}}));
}

TEST(ReadProgramFiles, RefusesAnAddressForWhatIsNotRaw) {
    const TemporaryFolder folder;
    const std::filesystem::path hex = folder.Write("a.hex", kHexText), bin = folder.Write("b.bin", "\x05");
    const std::string expected =
        hex.string() +
        ": only a raw binary file takes an address, and this one is none; with \"file format\" "
        "bin its bytes are taken as they are";
    const std::vector<ProgramSource> alone{{hex}}, own{{hex, 0x1000}}, others{{hex}, {bin, 0x1000}};

    EXPECT_EQ(ErrorOf([&] { ReadProgramFiles(alone, {.binaryBase = 0x1000}); }), expected);
    EXPECT_EQ(ErrorOf([&] { ReadProgramFiles(own, {}); }), expected);
    EXPECT_EQ(ErrorOf([&] { ReadProgramFiles(others, {.binaryBase = 0x2000}); }), expected);
    EXPECT_EQ(ReadProgramFiles(own, {.format = FileFormat::Binary}).ByteCount(), kHexText.size());
}

TEST(ReadProgramFiles, NamesBothFilesOfAnOverlap) {
    const TemporaryFolder folder;
    const std::filesystem::path first = folder.Write("a.s19", kSRecordText), second = folder.Write("b.bin", "\x02");
    const std::vector<ProgramSource> sources{{first}, {second}};

    EXPECT_EQ(ErrorOf([&] { ReadProgramFiles(sources, {.binaryBase = 0x1001}); }),
              second.string() + ": data at 0x00001001-0x00001001 overlaps that of " + first.string() +
                  ", line 1 at 0x00001000-0x00001001, first at 0x00001001");
}

TEST(ParseProgramSource, TakesANumberBehindTheLastAtForAnAddress) {
    struct Case {
        const char* text;
        ProgramSource source;
    };
    const Case cases[] = {
        {"a.bin", {"a.bin"}},
        {"a.bin@0x2000", {"a.bin", 0x2000}},
        {"a.bin@16", {"a.bin", 16}},
        {"-@0", {"-", 0}},
        {"a@2.hex", {"a@2.hex"}},
        {"a@1@2", {"a@1", 2}},
        {"a@2@", {"a@2"}},
        {"a@0x100000000", {"a@0x100000000"}},
        {"@5", {"@5"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ParseProgramSource(c.text), c.source) << c.text;
    }
    EXPECT_TRUE(ParseProgramSource("-@0").IsStandardInput());
    EXPECT_TRUE(ParseProgramSource("/dev/stdin@0").IsStandardInput());
    EXPECT_FALSE(ParseProgramSource("./-").IsStandardInput());
}

TEST(PrintProgram, IsReadBackByItsNameWhateverTheFormat) {
    ProgramImage image;
    image.Add(0x1FF8, std::vector<std::uint8_t>(40, 0x5A), {"a", ""});
    for (const auto& [name, format] : {std::pair{"a.HEX", FileFormat::IntelHex}, {"a.mot", FileFormat::SRecord}}) {
        EXPECT_EQ(FileFormatOfName(name), format);
        EXPECT_EQ(ReadProgram(PrintProgram(image, format), name).Runs(), image.Runs());
    }
    EXPECT_EQ(ReadProgram(PrintProgram(image, FileFormat::Binary), "a", {.binaryBase = 0x1FF8}).Runs(), image.Runs());
    EXPECT_THROW(PrintProgram(image, FileFormat::Elf), BadInput);
}

}  // namespace
}  // namespace flash::host
