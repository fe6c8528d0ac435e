// Our readers and writers against other people's: random images go through srec_cat and objcopy, random executables
// through the cross toolchain. FLASH_TEST_SEED in the environment chooses another run than the usual one.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/IntelHex.h"
#include "host/files/ProgramFile.h"
#include "host/files/RawBinary.h"
#include "host/files/SRecord.h"
#include "tests/host/files/FileTesting.h"
#include "tests/host/files/TemporaryFolder.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Runs = std::vector<DataRun>;
constexpr int kImagesPerTest = 5;

// Draws from the generator by remainder: the same numbers on every machine, which distributions do not promise.
class SecondReader : public ::testing::Test {
protected:
    void SetUp() override {
        const char* given = std::getenv("FLASH_TEST_SEED");
        const std::uint64_t seed = given == nullptr ? 20240607 : std::strtoull(given, nullptr, 0);
        std::cout << "FLASH_TEST_SEED=" << seed << '\n';
        random.seed(seed);
    }

    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }

    Bytes RandomBytes(std::uint32_t count) {
        Bytes bytes(count);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        return bytes;
    }

    // Up to six runs with gaps between them, in [base, base + 6 * 0x20000).
    ProgramImage RandomImage(std::uint32_t base) {
        ProgramImage image;
        for (std::uint32_t i = 0, count = 1 + Below(6); i < count; ++i) {
            image.Add(base + i * 0x2'0000 + Below(0x1'C000), RandomBytes(1 + Below(0x3FFE)), {"random", ""});
        }
        return image;
    }

    std::uint32_t RandomBase() {
        constexpr std::uint32_t kBases[] = {0, 0x5'0000, 0x2000'0000, 0xFFF0'0000};
        return kBases[Below(4)];
    }

    // Runs a tool in the temporary folder and requires that it succeeds.
    void RunTool(const std::string& command) const {
        const std::string line = fmt::format("cd '{}' && {} >log 2>&1", (folder / "").string(), command);
        if (std::system(line.c_str()) != 0) {
            throw std::runtime_error(command + '\n' + Text("log"));
        }
    }

    Bytes Load(std::string_view name) const { return LoadFile(folder / name); }
    std::string Text(std::string_view name) const {
        const Bytes bytes = Load(name);
        return {bytes.begin(), bytes.end()};
    }
    void Save(std::string_view name, std::string_view text) const { folder.Write(name, text); }

    TemporaryFolder folder;
    std::mt19937_64 random;
};

// srec_cat writes the end record of an S-record file only together with an entry point; 0 stands for none.
TEST_F(SecondReader, OthersReadOurIntelHex) {
    for (int i = 0; i < kImagesPerTest; ++i) {
        const std::uint32_t base = RandomBase();
        const ProgramImage image = RandomImage(base);
        Save("ours.hex", PrintIntelHex(image));

        RunTool("srec_cat ours.hex -intel -execution-start-address 0 -o theirs.srec -motorola");
        const std::uint32_t first = image.Runs().front().address;
        RunTool(fmt::format("srec_cat ours.hex -intel -offset -{} -fill 0xFF 0 {} -o theirs.bin -binary", first,
                            PrintRawBinary(image).size()));
        RunTool("objcopy -I ihex -O srec ours.hex objcopy.srec");
        RunTool("objcopy -I ihex -O binary --gap-fill 0xFF ours.hex objcopy.bin");

        EXPECT_EQ(ReadSRecord(Load("theirs.srec"), "theirs.srec").Runs(), image.Runs());
        EXPECT_EQ(ReadSRecord(Load("objcopy.srec"), "objcopy.srec").Runs(), image.Runs());
        EXPECT_EQ(Load("theirs.bin"), PrintRawBinary(image));
        EXPECT_EQ(Load("objcopy.bin"), PrintRawBinary(image));
        EXPECT_EQ(ReadIntelHex(Load("ours.hex"), "ours.hex").Runs(), image.Runs());
    }
}

TEST_F(SecondReader, WeReadWhatOthersMakeOfABinary) {
    for (int i = 0; i < kImagesPerTest; ++i) {
        const std::uint32_t base = RandomBase() + Below(0x1'0000);
        const Bytes bytes = RandomBytes(1 + Below(0x8000));
        const Runs expected{{base, bytes}};
        SaveFile(folder / "a.bin", bytes);

        RunTool(fmt::format("srec_cat a.bin -binary -offset 0x{:X} -o a.hex -intel", base));
        RunTool(fmt::format(
            "srec_cat a.bin -binary -offset 0x{:X} -execution-start-address 0 -o a.srec -motorola -line-length={}",
            base, 30 + Below(200)));
        RunTool(fmt::format("objcopy -I binary -O ihex --change-addresses 0x{:X} a.bin objcopy.hex", base));
        RunTool(fmt::format("objcopy -I binary -O srec --srec-len {} --change-addresses 0x{:X} a.bin objcopy.srec",
                            1 + Below(200), base));

        EXPECT_EQ(ReadIntelHex(Load("a.hex"), "a.hex").Runs(), expected);
        EXPECT_EQ(ReadSRecord(Load("a.srec"), "a.srec").Runs(), expected);
        EXPECT_EQ(ReadIntelHex(Load("objcopy.hex"), "objcopy.hex").Runs(), expected);
        EXPECT_EQ(ReadSRecord(Load("objcopy.srec"), "objcopy.srec").Runs(), expected);
    }
}

TEST_F(SecondReader, WeReadSegmentBasesAndEntryPointsOfOthers) {
    for (int i = 0; i < kImagesPerTest; ++i) {
        const std::uint32_t base = Below(0xF'0000);
        const Bytes bytes = RandomBytes(1 + Below(0x8000));
        const std::uint32_t entry = base + 1;
        SaveFile(folder / "a.bin", bytes);
        const std::string from =
            fmt::format("srec_cat a.bin -binary -offset {} -execution-start-address {}", base, entry);

        RunTool(from + " -o segments.hex -intel -address-length=3");
        RunTool(from + " -o linear.hex -intel");
        RunTool(from + " -o a.srec -motorola");

        for (const char* name : {"segments.hex", "linear.hex", "a.srec"}) {
            SCOPED_TRACE(name);
            const ProgramImage image = ReadProgramFile(folder / name);
            EXPECT_EQ(image.Runs(), (Runs{{base, bytes}}));
            // srec_cat splits an entry point into two halves also where they are CS and IP, which count differently.
            if (std::string_view(name) != "segments.hex") {
                EXPECT_EQ(image.entryPoint, entry);
            }
        }
    }
}

// One section of a generated program: its bytes stand in a file of its name with ".bin".
struct RandomSection {
    std::string name;
    std::uint32_t runAddress;
    std::uint32_t loadAddress;
};

std::string Assembly(const std::vector<RandomSection>& sections) {
    std::ostringstream text;
    text << ".syntax unified\n.thumb\n";
    for (const RandomSection& s : sections) {
        text << fmt::format(".section .{0},\"ax\"\n.global at_{0}\n.type at_{0},%function\n.thumb_func\nat_{0}:\n",
                            s.name)
             << fmt::format(".incbin \"{}.bin\"\n", s.name);
    }
    text << ".bss\n.global g_zero\ng_zero: .space 64\n";
    return text.str();
}

std::string LinkerScript(const std::vector<RandomSection>& sections) {
    std::ostringstream text;
    text << "ENTRY(at_s0)\nSECTIONS {\n";
    for (const RandomSection& s : sections) {
        text << fmt::format("  .{0} 0x{1:X} : AT(0x{2:X}) {{ *(.{0}) }}\n", s.name, s.runAddress, s.loadAddress);
    }
    text << "  .bss 0x20030000 (NOLOAD) : { *(.bss) }\n}\n";
    return text.str();
}

// What sections hold, and what only segments hold: the linker's padding between two sections, which objcopy leaves out.
struct SplitImage {
    ProgramImage ofSections;
    ProgramImage padding;
};

SplitImage Split(const ProgramImage& image) {
    SplitImage split;
    for (const auto& [address, segment] : image.Segments()) {
        const bool isSection = segment.origin.place.starts_with("section ");
        (isSection ? split.ofSections : split.padding).Add(address, segment.bytes, segment.origin);
    }
    return split;
}

bool IsZero(const ProgramImage& image) {
    for (const DataRun& run : image.Runs()) {
        if (run.bytes != Bytes(run.bytes.size())) {
            return false;
        }
    }
    return true;
}

TEST_F(SecondReader, WeLoadFromExecutablesWhatObjcopyTakesOutOfThem) {
    for (int i = 0; i < kImagesPerTest; ++i) {
        std::vector<RandomSection> sections;
        ProgramImage expected;
        for (std::uint32_t s = 0, count = 1 + Below(4); s < count; ++s) {
            // At 0x400 or above, the linker has room for the ELF header in front of the first section, and uses it.
            const std::uint32_t loadAddress = 0x400 + s * 0x4000 + 4 * Below(0x800);
            const bool runsInRam = s > 0 && Below(2) == 0;
            sections.push_back({fmt::format("s{}", s), loadAddress + (runsInRam ? 0x2000'0000 : 0), loadAddress});
            const Bytes bytes = RandomBytes(4 * (1 + Below(0x700)));
            SaveFile(folder / (sections.back().name + ".bin"), bytes);
            expected.Add(loadAddress, bytes, {"", ""});
        }
        Save("a.s", Assembly(sections));
        Save("a.ld", LinkerScript(sections));
        const char* const pages = Below(2) == 0 ? "-n" : "-z max-page-size=0x10000";

        RunTool("arm-none-eabi-as -mcpu=cortex-m3 a.s -o a.o");
        RunTool(fmt::format("arm-none-eabi-ld {} -T a.ld a.o -o a.elf", pages));
        RunTool("arm-none-eabi-objcopy -O ihex a.elf a.hex");
        RunTool("arm-none-eabi-objcopy -O srec a.elf a.srec");

        const ProgramImage image = ReadElf(Load("a.elf"), "a.elf");
        const SplitImage split = Split(image);
        EXPECT_EQ(split.ofSections.Runs(), expected.Runs());
        EXPECT_EQ(split.ofSections.Runs(), ReadIntelHex(Load("a.hex"), "a.hex").Runs());
        EXPECT_EQ(split.ofSections.Runs(), ReadSRecord(Load("a.srec"), "a.srec").Runs());
        EXPECT_TRUE(IsZero(split.padding));
        EXPECT_EQ(image.Runs().front().address, sections[0].loadAddress);
        EXPECT_EQ(image.OriginAt(sections[0].loadAddress)->place, "section .s0");
        const SymbolTable symbols = ReadElfSymbols(Load("a.elf"), "a.elf");
        EXPECT_EQ(symbols.Find("at_s0"), sections[0].runAddress | 1) << "a Thumb function";
        EXPECT_EQ(symbols.Find("g_zero"), 0x2003'0000u);
        EXPECT_EQ(image.entryPoint, symbols.Find("at_s0"));
    }
}

}  // namespace
}  // namespace flash::host
