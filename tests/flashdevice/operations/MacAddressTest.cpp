// Reading the chip's radio addresses and showing them.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

// The memory that an operation reads.
Texts ReadsOf(InitializedChip& chip, const char* operation) {
    chip.host.ForgetCalls();
    EXPECT_EQ(chip.Execute(operation), "");
    return TextsOf(chip.host.CallsOf(Service::ReadMemory));
}

TEST(AddressRead, IsOfThePlaceThatMovesWithTheEndOfFlash) {
    struct Case {
        const char* operation;
        const char* onUsual;
        const char* onSmall;  // half the flash: only secondary addresses move
        const char* onSecond;
    };
    const Case cases[] = {
        {"ReadPriBle", "ReadMemory 0x50001208 6*1", "ReadMemory 0x50001208 6*1", "ReadMemory 0x50001208 6*1"},
        {"ReadSecBle", "ReadMemory 0x0001FFC8 6*1", "ReadMemory 0x0000FFC8 6*1", "ReadMemory 0x00057FC8 6*1"},
        {"ReadPriIeee", "ReadMemory 0x50001200 8*1", "ReadMemory 0x50001200 8*1", "ReadMemory 0x50001200 8*1"},
        {"ReadSecIeee", "ReadMemory 0x0001FFC0 8*1", "ReadMemory 0x0000FFC0 8*1", "ReadMemory 0x00057FC0 8*1"},
    };
    for (const Case& each : cases) {
        InitializedChip usual(kLumoD);
        InitializedChip small(kLumoD, 16);
        InitializedChip second(kLumoF);
        EXPECT_EQ(ReadsOf(usual, each.operation), Texts{each.onUsual});
        EXPECT_EQ(ReadsOf(small, each.operation), Texts{each.onSmall});
        EXPECT_EQ(ReadsOf(second, each.operation), Texts{each.onSecond});
    }
}

TEST(AddressRead, OfAPlaceBeforeFlashWraps) {
    InitializedChip chip(kLumoD, 16);
    chip.Property("DeviceBleSecondaryLoc") = "0:6";

    EXPECT_EQ(chip.Execute("ReadSecBle"),
              "DoReadMacAddress(): Failed to read 6 bytes from 0x.\nError: nothing to read at 0xFFFF0000");
}

TEST(AddressRead, StoresAndPrintsTheMostSignificantByteFirst) {
    struct Case {
        const char* operation;
        const char* property;
        const char* text;
    };
    const Case cases[] = {
        {"ReadPriBle", "DeviceBlePrimary", "B1:B2:B3:B4:B5:B6"},
        {"ReadSecBle", "DeviceBleSecondary", "11:22:33:44:55:66"},
        {"ReadPriIeee", "DeviceIeeePrimary", "A1:A2:A3:A4:A5:A6:A7:A8"},
        {"ReadSecIeee", "DeviceIeeeSecondary", "01:23:45:67:89:AB:CD:EF"},
    };
    for (const Case& each : cases) {
        InitializedChip chip(kLumoD);
        EXPECT_EQ(chip.Execute(each.operation), "");
        EXPECT_EQ(chip.Calls().at(1), std::string("SetProperty ") + each.property + "=" + each.text);
        EXPECT_EQ(chip.Calls().at(2), std::string("PrintMessage ") + each.operation + ": " + each.text);
    }
}

TEST(AddressRead, ExplainsItsFailureWithoutTheAddress) {
    InitializedChip chip(kLumoD);
    chip.host.failures.FailNth(Service::ReadMemory, 1, "lost");

    EXPECT_EQ(chip.Execute("ReadSecIeee"), "DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: lost");
}

TEST(AddressRead, NeedsTheFieldsPlace) {
    InitializedChip chip(kLumoD);
    chip.host.properties.erase("DeviceBlePrimaryLoc");
    EXPECT_EQ(chip.Execute("ReadPriBle"), "Failed to read property 'DeviceBlePrimaryLoc'.");
}

TEST(AddressRead, OfAFieldWithoutALengthReadsNothingAndShowsIt) {
    for (const char* place : {"0x50001208", ""}) {
        InitializedChip chip(kLumoD);
        chip.Property("DeviceBlePrimaryLoc") = place;

        EXPECT_EQ(chip.Execute("ReadPriBle"), "");

        EXPECT_EQ(chip.Calls(), (Texts{"ReportError Property 'DeviceBlePrimaryLoc' in Flash Properties XML does not "
                                       "contain 2 values delimited by ':'.\n",
                                       "SetProperty DeviceBlePrimary=", "PrintMessage ReadPriBle: "}));
    }
}

// What an option retains, once a phase or an operation has read it.
class RetainedAddress : public testing::Test {
protected:
    RetainedAddress() {
        chip.SwitchOn("RetainBleSecondaryAddr");
        chip.host.memory.SetBytes(kAddress, {1, 2, 3, 4, 5, 6});
    }
    Bytes WrittenBack() {
        chip.host.memory.Fill(kAddress, 0x77, 6);
        EXPECT_EQ(chip.Notify(2), "");
        return chip.FlashAt(kAddress, 6);
    }

    static constexpr std::uint32_t kAddress = 0x1'FFC8;
    InitializedChip chip{kLumoD};
};

TEST_F(RetainedAddress, IsReadWhenTheLoadStarts) {
    ASSERT_EQ(chip.Notify(1), "");
    EXPECT_EQ(WrittenBack(), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST_F(RetainedAddress, IsThatOfTheLastReading) {
    ASSERT_EQ(chip.Notify(1), "");
    chip.host.memory.SetBytes(kAddress, {9});
    ASSERT_EQ(chip.Notify(1), "");
    EXPECT_EQ(WrittenBack(), (Bytes{9, 2, 3, 4, 5, 6}));
}

TEST_F(RetainedAddress, IsTurnedAroundOnceItWasShown) {
    ASSERT_EQ(chip.Execute("ReadSecBle"), "");
    EXPECT_EQ(WrittenBack(), (Bytes{6, 5, 4, 3, 2, 1}));
}

TEST_F(RetainedAddress, IsNoneAfterAFailingRead) {
    ASSERT_EQ(chip.Notify(1), "");
    chip.host.failures.FailNth(Service::ReadMemory, 1, "lost");
    ASSERT_NE(chip.Notify(1), "");

    EXPECT_EQ(WrittenBack(), Bytes(6, 0x77));
}

TEST(AddressWrite, TakesTheLengthFromTheField) {
    InitializedChip chip(kLumoD);
    chip.Property("DeviceIeeeSecondary") = "01:23:45";
    EXPECT_EQ(chip.Execute("WriteSecIeee"), "Error: Expected MAC address length of 8 bytes.\n");
    chip.Property("DeviceIeeeSecondary") = "01:23:4G";
    EXPECT_EQ(chip.Execute("WriteSecIeee"), "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n");

    chip.Property("DeviceIeeeSecondaryLoc") = "1FFC0:3";
    chip.Property("DeviceIeeeSecondary") = "01:23:45";
    EXPECT_EQ(chip.Execute("WriteSecIeee"), "");
    EXPECT_EQ(chip.FlashAt(0x1'FFC0, 4), (Bytes{0x45, 0x23, 0x01, 0x89}));
}

TEST(AddressWrite, NeedsTheFieldBeforeTheText) {
    InitializedChip chip(kLumoD);
    EXPECT_EQ(chip.Execute("WriteSecBle"), "Unknown property \"DeviceBleSecondary\"");
    chip.host.properties.erase("DeviceBleSecondaryLoc");
    EXPECT_EQ(chip.Execute("WriteSecBle"), "Failed to read property 'DeviceBleSecondaryLoc'.");
}

}  // namespace
}  // namespace flash::test
