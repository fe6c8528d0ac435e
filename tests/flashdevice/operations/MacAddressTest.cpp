// Reading the chip's radio addresses and showing them.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(GetCcfgFieldLocation, MovesWithTheEndOfFlash) {
    OpenLumoD usual;
    EXPECT_EQ(usual.device.GetCcfgFieldLocation("DeviceBleSecondary"), (MemoryField{0x1'FFC8, 6}));
    OpenLumoD small(16);
    EXPECT_EQ(small.device.GetCcfgFieldLocation("DeviceBleSecondary"), (MemoryField{0xFFC8, 6}));
    OpenLumoD large(128);
    EXPECT_EQ(large.device.GetCcfgFieldLocation("DisableCpuDap"), (MemoryField{0x7'FFD7, 1}));
    OpenLumoF second;
    EXPECT_EQ(second.device.GetCcfgFieldLocation("DeviceIeeeSecondary"), (MemoryField{0x5'7FC0, 8}));
}

TEST(GetCcfgFieldLocation, WrapsIn32Bits) {
    OpenLumoD target(16);
    target.host.properties["FieldLoc"] = "0:FF";
    EXPECT_EQ(target.device.GetCcfgFieldLocation("Field"), (MemoryField{0xFFFF'0000, 0xFF}));
}

TEST(GetCcfgFieldLocation, OfAnEmptyTextIsNothingAtTheStartOfFlash) {
    OpenLumoD target;
    target.host.properties["FieldLoc"] = "";
    EXPECT_EQ(target.device.GetCcfgFieldLocation("Field"), (MemoryField{0, 0}));
    EXPECT_EQ(target.host.errors.size(), 1U);
}

TEST(GetCcfgFieldLocation, NeedsItsProperty) {
    OpenLumoD target;
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.GetCcfgFieldLocation("Field"); }),
              "Failed to read property 'FieldLoc'.");
}

TEST(DoReadMacAddress, ReadsThePlaceOfEachAddress) {
    struct Case {
        const char* command;
        const char* onUsual;
        const char* onSmall;  // half the flash: only secondary addresses move
    };
    const Case cases[] = {
        {"ReadPriBle", "ReadMemory 0x50001208 6*1", "ReadMemory 0x50001208 6*1"},
        {"ReadSecBle", "ReadMemory 0x0001FFC8 6*1", "ReadMemory 0x0000FFC8 6*1"},
        {"ReadPriIeee", "ReadMemory 0x50001200 8*1", "ReadMemory 0x50001200 8*1"},
        {"ReadSecIeee", "ReadMemory 0x0001FFC0 8*1", "ReadMemory 0x0000FFC0 8*1"},
    };
    for (const Case& each : cases) {
        OpenLumoD usual;
        usual.device.DoReadMacAddress(each.command);
        EXPECT_EQ(TextsOf(Only(usual.host.calls, {Slot::ReadMemory})), Texts{each.onUsual});
        OpenLumoD small(16);
        small.device.DoReadMacAddress(each.command);
        EXPECT_EQ(TextsOf(Only(small.host.calls, {Slot::ReadMemory})), Texts{each.onSmall});
    }
}

TEST(DoReadMacAddress, KeepsTheBytesInTargetOrder) {
    OpenLumoD target;
    target.device.DoReadMacAddress("ReadPriBle");
    EXPECT_EQ(target.device.macAddressCache,
              (std::map<std::string, Bytes>{{"ReadPriBle", {0x66, 0x55, 0x44, 0x33, 0x22, 0x11}}}));

    target.host.memory.SetBytes(0x5000'1208, {1});
    target.device.DoReadMacAddress("ReadPriBle");
    EXPECT_EQ(target.device.macAddressCache["ReadPriBle"], (Bytes{1, 0x55, 0x44, 0x33, 0x22, 0x11}));
}

TEST(DoReadMacAddress, ExplainsAFailingReadWithoutTheAddress) {
    OpenLumoD target;
    target.host.FailNth(Slot::ReadMemory, 1, "lost");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.DoReadMacAddress("ReadSecIeee"); }),
              "DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: lost");
}

TEST(DoReadMacAddress, PassesOtherFailuresThrough) {
    OpenLumoD target;
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.DoReadMacAddress("Erase"); }),
              "GetXmlPropertyNameFromCommand(): Unknown command 'Erase'");
    target.host.properties.erase("DeviceBlePrimaryLoc");
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.DoReadMacAddress("ReadPriBle"); }),
              "Failed to read property 'DeviceBlePrimaryLoc'.");
}

TEST(DoReadMacAddress, OfAFieldWithoutALengthReadsNothing) {
    OpenLumoD target;
    target.host.properties["DeviceBlePrimaryLoc"] = "0x50001208";

    target.device.DoReadMacAddress("ReadPriBle");

    EXPECT_EQ(target.host.errors, Texts{"Property 'DeviceBlePrimaryLoc' in Flash Properties XML does not contain 2 "
                                        "values delimited by ':'.\n"});
    EXPECT_EQ(target.host.CountOf(Slot::ReadMemory), 0U);
    EXPECT_TRUE(target.device.macAddressCache["ReadPriBle"].empty());
}

TEST(DoReadMacAddress, AFailingReadLeavesNothingToWriteBack) {
    OpenLumoD target;
    target.device.DoReadMacAddress("ReadSecBle");
    target.host.FailNth(Slot::ReadMemory, 1, kPlannedError);

    EXPECT_THROW(target.device.DoReadMacAddress("ReadSecBle"), std::runtime_error);

    EXPECT_TRUE(target.device.macAddressCache["ReadSecBle"].empty());
}

TEST(ShowMacAddress, StoresAndPrintsTheTextAndTurnsTheCacheAround) {
    OpenLumoD target;
    target.device.macAddressCache["ReadSecBle"] = {0x0F, 0xE0, 3};

    target.device.ShowMacAddress("ReadSecBle");

    EXPECT_EQ(TextsOf(target.host.calls),
              (Texts{"SetProperty DeviceBleSecondary=03:E0:0F", "PrintMessage ReadSecBle: 03:E0:0F"}));
    EXPECT_EQ(target.device.macAddressCache["ReadSecBle"], (Bytes{3, 0xE0, 0x0F}));
}

TEST(ShowMacAddress, OfNothingCachedShowsAnEmptyText) {
    OpenLumoD target;

    target.device.ShowMacAddress("ReadSecIeee");

    EXPECT_EQ(TextsOf(target.host.calls), (Texts{"SetProperty DeviceIeeeSecondary=", "PrintMessage ReadSecIeee: "}));
    EXPECT_EQ(target.device.macAddressCache.count("ReadSecIeee"), 1U);
}

TEST(ShowMacAddress, EndsWithTheHostsText) {
    for (const Slot slot : {Slot::SetProperty, Slot::PrintMessage}) {
        OpenLumoD target;
        target.host.FailNth(slot, 1, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ShowMacAddress("ReadSecBle"); }), kPlannedError);
    }
}

TEST(ParseMacAddressProperty, TakesTheLengthFromTheField) {
    OpenLumoD target;
    target.host.properties["DeviceBleSecondary"] = "11:22:33:44:55:66";
    EXPECT_EQ(target.device.ParseMacAddressProperty("DeviceBleSecondary"), (Bytes{0x66, 0x55, 0x44, 0x33, 0x22, 0x11}));

    target.host.properties["DeviceIeeeSecondary"] = "01:23:45";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ParseMacAddressProperty("DeviceIeeeSecondary"); }),
              "Error: Expected MAC address length of 8 bytes.\n");
    target.host.properties["DeviceIeeeSecondary"] = "01:23:4G";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ParseMacAddressProperty("DeviceIeeeSecondary"); }),
              "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n");
}

TEST(ParseMacAddressProperty, NeedsTheFieldBeforeTheText) {
    OpenLumoD target;
    target.host.properties.erase("DeviceBleSecondary");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { target.device.ParseMacAddressProperty("DeviceBleSecondary"); }),
              "Unknown property \"DeviceBleSecondary\"");
    target.host.properties.erase("DeviceBleSecondaryLoc");
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ParseMacAddressProperty("DeviceBleSecondary"); }),
              "Failed to read property 'DeviceBleSecondaryLoc'.");
}

TEST(MacAddressSweep, EndsWithTheHostsTextOrThatOfTheRead) {
    SweepHostErrors([](OpenLumoD&) {},
                    [](OpenLumoD& target) {
                        target.device.DoReadMacAddress("ReadPriIeee");
                        target.device.ShowMacAddress("ReadPriIeee");
                    },
                    [](Slot slot) {
                        const std::string error = kPlannedError;
                        return slot == Slot::ReadMemory
                                   ? "DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: " + error
                                   : error;
                    });
}

}  // namespace
}  // namespace flash::test
