// The constants and rules of the second generation.
#include "flashdevice/device/FlashDeviceLumoFen.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/FakeHost.h"
#include "tests/support/OpenDevice.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

struct SecondGeneration : testing::Test {
    FakeHost host;
    OpenFen device{"LumoF2K352", &host};
};

TEST_F(SecondGeneration, HasItsConstants) {
    EXPECT_EQ(device.sectorSize, 8192U);
    EXPECT_EQ(device.referenceFlashSize, 0x5'8000U);
    EXPECT_EQ(device.erasedFlashChecksums, (std::map<std::uint32_t, std::uint32_t>{{0x5'8000, 0x9DF9'84D5}}));
}

TEST_F(SecondGeneration, SplitsAddressesAtItsSectors) {
    struct Case {
        std::uint32_t address, start, offset;
    };
    const Case cases[] = {
        {0, 0, 0}, {0x1234, 0, 0x1234}, {0x1FFF, 0, 0x1FFF}, {0x2000, 0x2000, 0}, {0xFFFF'FFFF, 0xFFFF'E000, 0x1FFF},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(device.GetSectorStart(each.address), each.start) << each.address;
        EXPECT_EQ(device.GetSectorOffset(each.address), each.offset) << each.address;
    }
}

TEST_F(SecondGeneration, KnowsOneRegisterByItsExactName) {
    EXPECT_EQ(device.GetRegisterAddress("CCFG_SIZE_AND_DIS_FLAGS"), 0x5000'4FB0U);
    for (const std::string name : {"", "CCFG_SIZE", "CCFG_SIZE_AND_DIS_FLAGS ", "Ccfg_Size_And_Dis_Flags"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.GetRegisterAddress(name); }),
                  "GetRegisterAddress(): Error: Address of register '" + name + "' is unknown for LumoF devices.");
    }
}

TEST_F(SecondGeneration, KnowsTheChecksumOfItsErasedSizeOnly) {
    EXPECT_EQ(device.GetErasedFlashChecksum(0x5'8000), 0x9DF9'84D5U);
    for (const std::uint32_t size : {0U, 0x8000U, 0x1'0000U, 0x2'0000U, 0x5'7FFFU}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.GetErasedFlashChecksum(size); }),
                  "Cannot perform Blank Check. Unknown Flash size!")
            << size;
    }
}

TEST_F(SecondGeneration, HasOneTableOfRamSizes) {
    for (const std::uint32_t revisionMajor : {0U, 1U, 2U}) {
        device.revisionMajor = revisionMajor;
        EXPECT_EQ(device.GetRamSize(0), 32768U);
        EXPECT_EQ(device.GetRamSize(1), 49152U);
        EXPECT_EQ(device.GetRamSize(2), 65536U);
        EXPECT_EQ(device.GetRamSize(3), 81920U);
        EXPECT_EQ(device.GetRamSize(4), 81920U);
        EXPECT_EQ(device.GetRamSize(0xFFFF'FFFF), 81920U);
    }
}

}  // namespace
}  // namespace flash::test
