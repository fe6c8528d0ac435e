// Each operation that `Execute` knows, on both generations: its result on the target, in the host's properties and on
// the screen.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

class NamedOperation : public testing::TestWithParam<const ChipModel*> {
protected:
    InitializedChip chip{*GetParam()};
    SimulatedHost& host = chip.host;
    std::uint32_t sector = chip.geometry.sectorSize;
    std::uint32_t flashEnd = chip.FlashEnd();
    std::uint32_t lastSector = chip.geometry.LastSector();
    Bytes flash = Pattern(flashEnd, 3);

    void SetUp() override {
        host.memory.SetBytes(0, flash);
        host.memory.SetWord(flashEnd - kCcfgSizeWordFromEnd, 0x0058'0001);
        host.memory.SetBytes(flashEnd - kIeeeSecondaryFromEnd, {8, 7, 6, 5, 4, 3, 2, 1});
        host.memory.SetBytes(flashEnd - kBleSecondaryFromEnd, {0x0F, 0x0E, 0x0D, 0x0C, 0x0B, 0x0A});
        flash = chip.Flash();
    }
};

TEST_P(NamedOperation, EraseErasesTheWholeFlash) {
    for (const char* name : {"Erase", "MassErase()"}) {
        SCOPED_TRACE(name);
        SetUp();
        ASSERT_EQ(chip.Execute(name), "");
        EXPECT_EQ(chip.Flash(), Bytes(flashEnd, 0xFF));
        EXPECT_TRUE(host.messages.empty());
    }
}

TEST_P(NamedOperation, EraseKeepsCcfgWhenAsked) {
    chip.Property("KeepCcfgSetting") = "1";

    ASSERT_EQ(chip.Execute("Erase"), "");

    Bytes expected(flashEnd, 0xFF);
    std::copy(flash.end() - kCcfgSize, flash.end(), expected.end() - kCcfgSize);
    EXPECT_EQ(chip.Flash(), expected);
}

TEST_P(NamedOperation, EraseSectorsErasesTheListedOnes) {
    chip.Property("StandaloneEraseSpecificText") = " 4-5 ,1";

    ASSERT_EQ(chip.Execute("EraseSectors"), "");

    Bytes expected = flash;
    for (const std::ptrdiff_t page : {1, 4, 5}) {
        std::fill_n(expected.begin() + page * sector, sector, 0xFF);
    }
    EXPECT_EQ(chip.Flash(), expected);
}

TEST_P(NamedOperation, EraseSectorsOfAnEmptyListTouchesNothing) {
    ASSERT_EQ(chip.Execute("EraseSectors"), "");

    EXPECT_EQ(chip.Flash(), flash);
    EXPECT_EQ(chip.host.flashloader.loads, 0U);
}

TEST_P(NamedOperation, EraseSectorsRefusesWhatIsNoPageList) {
    const std::string count = std::to_string(chip.geometry.sectorCount);
    const std::pair<const char*, std::string> cases[] = {
        {"1;2", "Invalid option was given \"1;2\".\n"},
        {"5-3", "Invalid range was given \"5-3\".\n"},
        {"-3", "Invalid range was given \"-3\".\n"},
        {"3-", "Invalid range was given \"3-\".\n"},
        {"1, 9 9", "Given page is out of range: \"99\"\nNote that the number of available pages is " + count + "\n"},
        {"0-99", "Given page is out of range: \"0-99\"\nNote that the number of available pages is " + count + "\n"},
        {"99999999999",
         "Given page is out of range: \"99999999999\"\nNote that the number of available pages is " + count + "\n"},
    };
    for (const auto& [list, error] : cases) {
        SCOPED_TRACE(list);
        chip.Property("StandaloneEraseSpecificText") = list;
        EXPECT_EQ(chip.Execute("EraseSectors"), error);
    }
    EXPECT_EQ(chip.Flash(), flash);
}

TEST_P(NamedOperation, ReadsShowAndStoreTheAddresses) {
    struct Case {
        const char* name;
        const char* property;
        const char* text;
    };
    const Case cases[] = {
        {"ReadPriBle", "DeviceBlePrimary", "B1:B2:B3:B4:B5:B6"},
        {"ReadSecBle", "DeviceBleSecondary", "0A:0B:0C:0D:0E:0F"},
        {"ReadPriIeee", "DeviceIeeePrimary", "A1:A2:A3:A4:A5:A6:A7:A8"},
        {"ReadSecIeee", "DeviceIeeeSecondary", "01:02:03:04:05:06:07:08"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        chip.host.ForgetCalls();
        ASSERT_EQ(chip.Execute(c.name), "");
        EXPECT_EQ(chip.Property(c.property), c.text);
        EXPECT_EQ(host.messages, Texts{std::string(c.name) + ": " + c.text});
        EXPECT_EQ(host.CountOf(Service::HaltTarget), 0U) << "no phase follows a read";
    }
}

TEST_P(NamedOperation, WritesPutTheAddressIntoCcfg) {
    chip.Property("DeviceIeeeSecondary") = "A1:A2:A3:A4:A5:A6:A7:A8";
    chip.Property("DeviceBleSecondary") = "B1:B2:B3:B4:B5:B6";
    Bytes expected = flash;

    ASSERT_EQ(chip.Execute("WriteSecIeee"), "");
    const Bytes ieee = {0xA8, 0xA7, 0xA6, 0xA5, 0xA4, 0xA3, 0xA2, 0xA1};
    std::copy(ieee.begin(), ieee.end(), expected.end() - kIeeeSecondaryFromEnd);
    EXPECT_EQ(chip.Flash(), expected);

    ASSERT_EQ(chip.Execute("WriteSecBle"), "");
    const Bytes ble = {0xB6, 0xB5, 0xB4, 0xB3, 0xB2, 0xB1};
    std::copy(ble.begin(), ble.end(), expected.end() - kBleSecondaryFromEnd);
    EXPECT_EQ(chip.Flash(), expected);
}

TEST_P(NamedOperation, WritesRefuseWhatIsNoAddress) {
    const std::pair<const char*, const char*> cases[] = {
        {"01:23:45", "Error: Expected MAC address length of 8 bytes.\n"},
        {"", "Error: Expected MAC address length of 8 bytes.\n"},
        {"01:23:4G", "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n"},
        {"1:2:3:4:5:6:7:100", "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n"},
        {"1:2:3:4:5:6:7:-1", "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n"},
    };
    for (const auto& [text, error] : cases) {
        SCOPED_TRACE(text);
        chip.Property("DeviceIeeeSecondary") = text;
        EXPECT_EQ(chip.Execute("WriteSecIeee"), error);
    }
    EXPECT_EQ(chip.Flash(), flash);
}

TEST_P(NamedOperation, SecondaryAddressesMoveWithTheEndOfFlash) {
    InitializedChip small(*GetParam(), 8);
    const std::uint32_t end = small.FlashEnd();
    small.host.memory.SetBytes(end - kBleSecondaryFromEnd, {6, 5, 4, 3, 2, 1});

    ASSERT_EQ(small.Execute("ReadSecBle"), "");
    EXPECT_EQ(small.Property("DeviceBleSecondary"), "01:02:03:04:05:06");
    ASSERT_EQ(small.Execute("ReadPriBle"), "");
    EXPECT_EQ(small.Property("DeviceBlePrimary"), "B1:B2:B3:B4:B5:B6") << "factory data stays where it is";

    small.Property("DeviceBleSecondary") = "61:62:63:64:65:66";
    ASSERT_EQ(small.Execute("WriteSecBle"), "");
    EXPECT_EQ(small.FlashAt(end - kBleSecondaryFromEnd, 6), (Bytes{0x66, 0x65, 0x64, 0x63, 0x62, 0x61}));
}

TEST_P(NamedOperation, BlankCheckTellsWhetherFlashIsErased) {
    ASSERT_EQ(chip.Execute("BlankCheck"), "");
    EXPECT_EQ(host.messages, Texts{"Blank Check: Device flash is programmed"});

    chip.host.ForgetCalls();
    host.memory.Fill(0, 0xFF, flashEnd);
    ASSERT_EQ(chip.Execute("BlankCheck"), "");
    EXPECT_EQ(host.messages, Texts{"Blank Check: Device flash is blank"});
    const bool isFirstGeneration = GetParam() == &kLumoD;
    EXPECT_EQ(TextsOf(chip.host.flashloader.commands),
              Texts{isFirstGeneration ? "command=6 addr=0x00000000 length=131072 crc=0x208E45D0 block=0"
                                      : "command=6 addr=0x00000000 length=360448 crc=0x9DF984D5 block=0"});
}

TEST_P(NamedOperation, BlankCheckOfAnUnknownSizePostsNothing) {
    InitializedChip small(*GetParam(), 9);

    EXPECT_EQ(small.Execute("BlankCheck"), "Cannot perform Blank Check. Unknown Flash size!");

    EXPECT_EQ(small.host.flashloader.loads, 1U);
    EXPECT_TRUE(small.host.flashloader.commands.empty());
}

TEST_P(NamedOperation, AnUnknownNameDropsTheStateOfTheLoadAndNothingMore) {
    ASSERT_EQ(chip.Write({0, Pattern(4, 1)}), "");
    chip.host.ForgetCalls();
    for (const char* name : {"erase", "Erase ", "MassErase", "", "100%s%n"}) {
        EXPECT_EQ(chip.Execute(name), std::string("Unsupported Operation Code: '") + name + "'");
    }
    EXPECT_TRUE(host.calls.empty());

    ASSERT_EQ(chip.Write({0, Pattern(4, 1)}), "");
    EXPECT_EQ(chip.host.flashloader.loads, 2U) << "the flashloader counts as not loaded";
}

INSTANTIATE_TEST_SUITE_P(Generations, NamedOperation, testing::Values(&kLumoD, &kLumoF),
                         [](const auto& model) { return GenerationName(*model.param); });

}  // namespace
}  // namespace flash::test
