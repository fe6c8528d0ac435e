// What cannot be taken back is found in options and in files.
#include "host/plan/Dangers.h"

#include <gtest/gtest.h>

#include "tests/host/support/SectorSets.h"

namespace flash::host {
namespace {

using Texts = std::vector<std::string>;

constexpr std::uint32_t kFlashSize = 0x10000;
constexpr std::uint32_t kDebugSwitch = kFlashSize - 0x29;
constexpr std::uint32_t kProtection = kFlashSize - 0x20;
constexpr CcfgLayout kLayout{{0x1000, 16},           0x5000'3FB0,       {kFlashSize - 0x38, 6}, {kFlashSize - 0x40, 8},
                             {kFlashSize - 0x2D, 1}, {kDebugSwitch, 1}, {kProtection, 8}};

const char* const kDebugPort =
    "The debug port will be disabled from the next power-up on: no debugger, this program included, will reach the "
    "chip "
    "again";
const char* const kDebugPortInFile =
    "The CCFG in the file disables the debug port from the next power-up on: no debugger, this program included, will "
    "reach the chip again";
const char* const kProtectionInFile = "The CCFG in the file write-protects pages from the next power-up on";

ClosingChanges Changes(bool disableDebug, std::initializer_list<std::uint32_t> protect) {
    ClosingChanges changes;
    changes.disableDebug = disableDebug;
    if (protect.size() != 0) {
        changes.protect = SectorsOf(protect);
    }
    return changes;
}

Texts InFile(std::uint32_t address, std::vector<std::uint8_t> bytes) {
    return FindDangers({}, {{address, std::move(bytes)}}, kLayout);
}

TEST(Dangers, AnOrdinaryLoadHasNone) {
    EXPECT_EQ(FindDangers({}, {}, kLayout), Texts{});
    EXPECT_EQ(InFile(0, std::vector<std::uint8_t>(kFlashSize, 0xFF)), Texts{});
    EXPECT_EQ(InFile(0, std::vector<std::uint8_t>(0x100, 0x00)), Texts{});
}

TEST(Dangers, DisablingTheDebugPortIsOneByOptionAndByFile) {
    EXPECT_EQ(FindDangers(Changes(true, {}), {}, kLayout), Texts{kDebugPort});
    EXPECT_EQ(InFile(kDebugSwitch, {0x00}), Texts{kDebugPortInFile});
    EXPECT_EQ(InFile(kDebugSwitch - 1, {0x00, 0x00, 0x00}), Texts{kDebugPortInFile});
    EXPECT_EQ(InFile(kDebugSwitch, {0xC5}), Texts{});
    EXPECT_EQ(InFile(kDebugSwitch + 1, {0x00}), Texts{});
    EXPECT_EQ(InFile(kDebugSwitch - 1, {0x00}), Texts{});
}

TEST(Dangers, ProtectingSectorsIsOneByOptionAndByFileInEitherWord) {
    EXPECT_EQ(FindDangers(Changes(false, {3}), {}, kLayout),
              Texts{"Page 3 will be write-protected from the next power-up on"});
    EXPECT_EQ(FindDangers(Changes(false, {3, 15}), {}, kLayout),
              Texts{"Pages 3,15 will be write-protected from the next power-up on, and with the last page all of CCFG: "
                    "this cannot be taken back"});
    for (const std::uint32_t offset : {0u, 7u}) {
        EXPECT_EQ(InFile(kProtection + offset, {0x7F}), Texts{kProtectionInFile}) << offset;
    }
    EXPECT_EQ(InFile(kProtection + 8, {0x7F}), Texts{});
    EXPECT_EQ(InFile(kProtection - 1, {0x7F}), Texts{});
}

TEST(Dangers, BothLocksInOneStepAreOneMore) {
    EXPECT_EQ(FindDangers(Changes(true, {3}), {}, kLayout),
              (Texts{kDebugPort, "Page 3 will be write-protected from the next power-up on"}));
    EXPECT_EQ(FindDangers(Changes(true, {15}), {}, kLayout).at(2),
              "The last page is protected before the debug port is disabled: a chip that loses power in between can "
              "never be changed to have both");
}

}  // namespace
}  // namespace flash::host
