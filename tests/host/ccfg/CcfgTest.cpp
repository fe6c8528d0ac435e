// The fields of CCFG, from bytes written by hand.
#include "host/ccfg/Ccfg.h"

#include <gtest/gtest.h>

#include "tests/host/ccfg/LastSectors.h"

namespace flash::host {
namespace {

TEST(LayoutOf, MovesTheFieldsWithTheEndOfFlash) {
    const DeviceDescription device = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, "LumoD1F64");

    const CcfgLayout layout = LayoutOf(device, {4096, 8});

    EXPECT_EQ(layout.geometry, (FlashGeometry{4096, 8}));
    EXPECT_EQ(layout.sizeRegister, device.ccfgSizeRegister);
    EXPECT_EQ(layout.ieee.address, 0x8000u - 0x40);
    EXPECT_EQ(layout.ble.address, 0x8000u - 0x38);
    EXPECT_EQ(layout.bootloader.address, 0x8000u - 0x2D);
    EXPECT_EQ(layout.debugPort.address, 0x8000u - 0x29);
    EXPECT_EQ(layout.protection.address, 0x8000u - 0x20);
    EXPECT_EQ(layout.protection.lengthBytes, 8u);
}

TEST(DecodeCcfg, FindsEachFieldInItsPlace) {
    const CcfgInfo ccfg = DecodeCcfg(Counted(), kTinyLayout);

    EXPECT_EQ(ccfg.sizeBytes, 0x58u);
    EXPECT_EQ(ccfg.address, 0x400u - 0x58);
    EXPECT_EQ(ccfg.ble.Text(), "CD:CC:CB:CA:C9:C8");
    EXPECT_EQ(ccfg.ieee.Text(), "C7:C6:C5:C4:C3:C2:C1:C0");
    EXPECT_FALSE(ccfg.isBootloaderDisabled);
    EXPECT_FALSE(ccfg.isDebugDisabled);
    EXPECT_EQ(ccfg.protectedSectors.Text(), "0-3") << "0xE0 in the first byte of the words";
}

TEST(DecodeCcfg, NeedsNoMoreThanWhatTheFieldsTakeUp) {
    LastSector fields = Counted();
    fields.bytes.erase(fields.bytes.begin(), fields.bytes.end() - 0x40);

    EXPECT_EQ(DecodeCcfg(fields, kTinyLayout).ble.Text(), "CD:CC:CB:CA:C9:C8");
    EXPECT_EQ(DecodeCcfg(fields, kTinyLayout).protectedSectors.Text(), "0-3");
}

TEST(StartOfFields, IsThatOfCcfgOrOfTheFirstField) {
    EXPECT_EQ(StartOfFields(0x58'0000, kTinyLayout), 0x400u - 0x58);
    EXPECT_EQ(StartOfFields(0x10'0000, kTinyLayout), 0x400u - 0x40) << "the secondary IEEE address";
    EXPECT_EQ(StartOfFields(0x101'0000, kTinyLayout), 0x400u - 0x40) << "the size cannot be true";
    EXPECT_EQ(StartOfFields(0x100'0000, kTinyLayout), 0x300u);
}

TEST(DecodeCcfg, ASizeThatNoAreaCanHaveIsNone) {
    for (const std::uint32_t size : {0u, 0x101u, 0xFFFFu}) {
        const CcfgInfo ccfg = DecodeCcfg(Counted(size), kTinyLayout);

        EXPECT_EQ(ccfg.sizeBytes, 0u) << size;
        EXPECT_EQ(ccfg.address, 0x400u) << size;
    }
    EXPECT_EQ(DecodeCcfg(Counted(0x100), kTinyLayout).address, 0x300u);
    EXPECT_EQ(DecodeCcfg(Counted(1), kTinyLayout).sizeBytes, 1u);
}

TEST(DecodeCcfg, OnlyAZeroDisables) {
    for (const auto value : std::vector<std::uint8_t>{0x00, 0x01, 0x80, 0xC5, 0xFF}) {
        LastSector bootloader = Erased(), debugPort = Erased();
        Put(bootloader, kTinyLayout.bootloader, {value});
        Put(debugPort, kTinyLayout.debugPort, {value});

        EXPECT_EQ(DecodeCcfg(bootloader, kTinyLayout).isBootloaderDisabled, value == 0);
        EXPECT_EQ(DecodeCcfg(debugPort, kTinyLayout).isDebugDisabled, value == 0);
        EXPECT_FALSE(DecodeCcfg(bootloader, kTinyLayout).isDebugDisabled);
        EXPECT_FALSE(DecodeCcfg(debugPort, kTinyLayout).isBootloaderDisabled);
    }
}

// On a flash of 100 sectors: the first word has a bit for each of the first 32, the second stands for all others.
TEST(DecodeCcfg, ProtectionHasABitForEachSectorAndLaterOnForSeveral) {
    CcfgLayout layout = kTinyLayout;
    layout.geometry.sectorCount = 100;
    for (FieldLocation* field :
         {&layout.ble, &layout.ieee, &layout.bootloader, &layout.debugPort, &layout.protection}) {
        field->address += 96 * 0x100;
    }
    struct Case {
        std::vector<std::uint8_t> words;
        const char* expected;
    };
    const Case cases[] = {
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, ""},
        {{0xFE, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF}, "0,31"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF}, "32,64,96"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, "63,95"},
        {{0xFF, 0xFD, 0xFF, 0xFF, 0xFF, 0xFB, 0xFF, 0xFF}, "9,42,74"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        LastSector sector = Erased();
        std::copy(c.words.begin(), c.words.end(), sector.bytes.begin() + 0xE0);

        EXPECT_EQ(DecodeCcfg(sector, layout).protectedSectors.Text(), c.expected);
    }
}

}  // namespace
}  // namespace flash::host
