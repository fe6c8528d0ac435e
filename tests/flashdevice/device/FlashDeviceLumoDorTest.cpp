// The constants and rules of the first generation.
#include "flashdevice/device/FlashDeviceLumoDor.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/FakeHost.h"
#include "tests/support/OpenDevice.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

struct FirstGeneration : testing::Test {
    FakeHost host;
    OpenDor device{"LumoD1K128", &host};
};

TEST_F(FirstGeneration, HasItsConstants) {
    EXPECT_EQ(device.sectorSize, 4096U);
    EXPECT_EQ(device.referenceFlashSize, 0x2'0000U);
    EXPECT_EQ(device.erasedFlashChecksums,
              (std::map<std::uint32_t, std::uint32_t>{
                  {0x8000, 0x2E85'ACA1}, {0x1'0000, 0xEB6D'3852}, {0x2'0000, 0x208E'45D0}}));
}

TEST_F(FirstGeneration, SplitsAddressesAtItsSectors) {
    struct Case {
        std::uint32_t address, start, offset;
    };
    const Case cases[] = {
        {0, 0, 0}, {0x1234, 0x1000, 0x234}, {0x0FFF, 0, 0xFFF}, {0x1000, 0x1000, 0}, {0xFFFF'FFFF, 0xFFFF'F000, 0xFFF},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(device.GetSectorStart(each.address), each.start) << each.address;
        EXPECT_EQ(device.GetSectorOffset(each.address), each.offset) << each.address;
    }
}

TEST_F(FirstGeneration, KnowsOneRegisterByItsExactName) {
    EXPECT_EQ(device.GetRegisterAddress("CCFG_SIZE_AND_DIS_FLAGS"), 0x5000'3FB0U);
    for (const std::string name : {"", "CCFG_SIZE", "CCFG_SIZE_AND_DIS_FLAGS ", "ccfg_size_and_dis_flags",
                                   " CCFG_SIZE_AND_DIS_FLAGS", "it's 100%s"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.GetRegisterAddress(name); }),
                  "GetRegisterAddress(): Error: Address of register '" + name + "' is unknown for LumoD devices.");
    }
}

TEST_F(FirstGeneration, KnowsTheChecksumsOfItsErasedSizesOnly) {
    EXPECT_EQ(device.GetErasedFlashChecksum(0x2'0000), 0x208E'45D0U);
    EXPECT_EQ(device.GetErasedFlashChecksum(0x1'0000), 0xEB6D'3852U);
    EXPECT_EQ(device.GetErasedFlashChecksum(0x8000), 0x2E85'ACA1U);
    for (const std::uint32_t size : {0U, 0x7FFFU, 0x8001U, 0x5'8000U}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.GetErasedFlashChecksum(size); }),
                  "Cannot perform Blank Check. Unknown Flash size!")
            << size;
    }
    EXPECT_EQ(device.erasedFlashChecksums.size(), 3U);  // a failed look-up adds nothing
}

TEST(RamSizeOfTheFirstGeneration, DependsOnNameAndRevision) {
    struct Case {
        const char* deviceName;
        std::uint32_t revisionMajor;
        std::uint32_t sizes[5];  // by size code
    };
    const std::uint32_t kCodes[] = {0, 1, 2, 3, 0xFFFF'FFFF};
    const Case cases[] = {
        {"LumoD1K128", 1, {2048, 4096, 8192, 16384, 16384}},   {"LumoD1K128R2", 1, {4096, 10240, 16384, 20480, 20480}},
        {"R2LumoD1", 1, {4096, 10240, 16384, 20480, 20480}},   {"LumoD1R12", 1, {2048, 4096, 8192, 16384, 16384}},
        {"LumoD1r2", 1, {2048, 4096, 8192, 16384, 16384}},     {"LumoD1K128", 0, {4096, 10240, 16384, 20480, 20480}},
        {"LumoD1K128", 2, {4096, 10240, 16384, 20480, 20480}}, {"LumoD1K128R2", 2, {4096, 10240, 16384, 20480, 20480}},
    };
    for (const Case& each : cases) {
        OpenDor device(each.deviceName, nullptr);
        device.revisionMajor = each.revisionMajor;
        for (std::size_t i = 0; i < std::size(kCodes); ++i) {
            EXPECT_EQ(device.GetRamSize(kCodes[i]), each.sizes[i]) << each.deviceName << " code " << kCodes[i];
        }
    }
}

}  // namespace
}  // namespace flash::test
