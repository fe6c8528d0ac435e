// The protection words.
#include "flashdevice/operations/WriteProtection.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

std::vector<bool> AllBut(std::size_t pageCount, std::initializer_list<std::size_t> named) {
    std::vector<bool> pages(pageCount, true);
    for (const std::size_t page : named) {
        pages[page] = false;
    }
    return pages;
}

TEST(ProtectSectors, ClearsTheBitOfEachNamedPage) {
    struct Case {
        const char* name;
        std::vector<bool> pages;
        ProtectionWords words;
    };
    const Case cases[] = {
        {"none", AllBut(128, {}), {0xFFFF'FFFF, 0xFFFF'FFFF}},
        {"0 and 33", AllBut(44, {0, 33}), {0xFFFF'FFFE, 0xFFFF'FFFD}},
        {"31 and 32", AllBut(44, {31, 32}), {0x7FFF'FFFF, 0xFFFF'FFFE}},
        {"63", AllBut(64, {63}), {0xFFFF'FFFF, 0x7FFF'FFFF}},
        {"64 folds onto 32", AllBut(128, {64}), {0xFFFF'FFFF, 0xFFFF'FFFE}},
        {"127 folds onto 63", AllBut(128, {127}), {0xFFFF'FFFF, 0x7FFF'FFFF}},
        {"96 folds onto 32", AllBut(128, {96}), {0xFFFF'FFFF, 0xFFFF'FFFE}},
        {"all", std::vector<bool>(64, false), {0, 0}},
        {"no pages", {}, {0xFFFF'FFFF, 0xFFFF'FFFF}},
    };
    for (const Case& each : cases) {
        ProtectionWords words = {0xFFFF'FFFF, 0xFFFF'FFFF};
        ProtectSectors(words, each.pages);
        EXPECT_EQ(words, each.words) << each.name;
    }
}

TEST(ProtectionBytes, AreBothWordsLeastSignificantByteFirst) {
    EXPECT_EQ(ProtectionBytes({0x1122'3344, 0x5566'7788}),
              (std::vector<std::uint8_t>{0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55}));
}

TEST(UpdateWriteProtection, IsOffForAnyTextBut1) {
    OpenLumoD target;
    target.host.properties.erase("WriteProtectionText");
    for (const char* text : {"0", "true", "01", ""}) {
        target.host.properties["WriteProtectionToggle"] = text;
        EXPECT_FALSE(target.device.UpdateWriteProtection()) << text;
    }
}

TEST(UpdateWriteProtection, NeedsTheToggleAndTheList) {
    OpenLumoD target;
    target.host.properties.erase("WriteProtectionToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { target.device.UpdateWriteProtection(); }),
              "Unknown property \"WriteProtectionToggle\"");
    target.host.properties["WriteProtectionToggle"] = "1";
    target.host.properties.erase("WriteProtectionText");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { target.device.UpdateWriteProtection(); }),
              "Unknown property \"WriteProtectionText\"");
}

TEST(UpdateWriteProtection, NeverGivesABitBack) {
    OpenLumoF target;
    target.host.properties["WriteProtectionToggle"] = "1";
    target.host.properties["WriteProtectionText"] = "0,33";
    EXPECT_TRUE(target.device.UpdateWriteProtection());
    EXPECT_EQ(target.device.writeProtectWords, (ProtectionWords{0xFFFF'FFFE, 0xFFFF'FFFD}));

    for (const std::uint32_t phase : {0U, 1U, 2U}) {
        target.host.properties["WriteProtectionToggle"] = "0";
        target.device.OnFlashPhase(phase);
    }
    target.host.properties["WriteProtectionToggle"] = "1";
    target.host.properties["WriteProtectionText"] = "1";
    EXPECT_TRUE(target.device.UpdateWriteProtection());
    EXPECT_EQ(target.device.writeProtectWords, (ProtectionWords{0xFFFF'FFFC, 0xFFFF'FFFD}));
}

TEST(UpdateWriteProtection, ABadListChangesNothing) {
    OpenLumoD target;
    target.host.properties["WriteProtectionToggle"] = "1";
    target.host.properties["WriteProtectionText"] = "0,33";

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.UpdateWriteProtection(); }),
              "Given page is out of range: \"33\"\nNote that the number of available pages is 32\n");

    EXPECT_EQ(target.device.writeProtectWords, (ProtectionWords{0xFFFF'FFFF, 0xFFFF'FFFF}));
}

}  // namespace
}  // namespace flash::test
