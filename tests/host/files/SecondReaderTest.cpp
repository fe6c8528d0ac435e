// Our readers and writers against other people's: random images go through srec_cat and objcopy.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/files/FileContent.h"
#include "host/files/IntelHex.h"
#include "host/files/ProgramFile.h"
#include "host/files/RawBinary.h"
#include "host/files/SRecord.h"
#include "tests/host/files/FileTesting.h"
#include "tests/host/files/OtherTools.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Runs = std::vector<DataRun>;
constexpr int kImagesPerTest = 5;

class SecondReader : public OtherTools {};

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

}  // namespace
}  // namespace flash::host
