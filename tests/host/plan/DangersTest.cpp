// What cannot be taken back is found in options and in files.
#include "host/plan/Dangers.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

constexpr std::uint32_t kFlashSize = 0x10000;  // half of what the locations are written for
constexpr std::uint32_t kDebugSwitch = kFlashSize - 0x29;
constexpr std::uint32_t kProtection = kFlashSize - 0x20;

class Dangers : public testing::Test {
protected:
    std::vector<std::string> Find(const DangerousChanges& changes) const {
        return FindDangers(changes, device, kFlashSize);
    }

    const DeviceDescription device = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER), "LumoD1F64");
};

TEST_F(Dangers, AnOrdinaryLoadHasNone) {
    EXPECT_TRUE(Find({}).empty());
    EXPECT_TRUE(Find({false, SectorSet(16), {{0, std::vector<std::uint8_t>(kFlashSize, 0xFF)}}}).empty());
    EXPECT_TRUE(Find({false, SectorSet(16), {{0, std::vector<std::uint8_t>(0x100, 0x00)}}}).empty());
}

TEST_F(Dangers, DisablingTheDebugPortIsOneByOptionAndByFile) {
    EXPECT_NE(Find({true, SectorSet(16), {}}).at(0).find("debug port will be disabled"), std::string::npos);
    EXPECT_NE(Find({false, SectorSet(16), {{kDebugSwitch, {0x00}}}}).at(0).find("file disables the debug port"),
              std::string::npos);
    EXPECT_TRUE(Find({false, SectorSet(16), {{kDebugSwitch, {0xC5}}}}).empty());
    EXPECT_TRUE(Find({false, SectorSet(16), {{kDebugSwitch + 1, {0x00}}}}).empty());
}

TEST_F(Dangers, ProtectingPagesIsOneByOptionAndByFileInEitherWord) {
    SectorSet sectors(16);
    sectors.Add(3);
    EXPECT_EQ(Find({false, sectors, {}}).at(0), "Pages 3 will be write-protected from the next power-up on");
    sectors.Add(15);
    EXPECT_NE(Find({false, sectors, {}}).at(0).find("cannot be taken back"), std::string::npos);
    for (const std::uint32_t offset : {0u, 7u}) {
        EXPECT_NE(Find({false, SectorSet(16), {{kProtection + offset, {0x7F}}}}).at(0).find("file write-protects"),
                  std::string::npos);
    }
    EXPECT_TRUE(Find({false, SectorSet(16), {{kProtection + 8, {0x7F}}}}).empty());
}

TEST_F(Dangers, BothLocksInOneStepAreOneMore) {
    SectorSet sectors(16);
    sectors.Add(3);
    EXPECT_EQ(Find({true, sectors, {}}).size(), 2U);
    sectors.Add(15);

    EXPECT_NE(Find({true, sectors, {}}).at(2).find("loses power in between"), std::string::npos);
}

}  // namespace
}  // namespace flash::host
