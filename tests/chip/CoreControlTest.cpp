#include "chip/CoreControl.h"

#include <gtest/gtest.h>

#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

TEST(CoreControl, TimerCountsCyclesDownAndBeginsAnewAtTheReloadValue) {
    CoreControl control;
    control.Store(kTimerReloadRegister, 99, 5);
    control.Store(kTimerRegister, 12345, 10);
    control.Store(kTimerControlRegister, 5, 1000);

    EXPECT_EQ(control.Load(kTimerRegister, 1000), 0u) << "any write clears it";
    EXPECT_EQ(control.Load(kTimerRegister, 1001), 99u);
    EXPECT_EQ(control.Load(kTimerRegister, 1100), 0u);
    EXPECT_EQ(control.Load(kTimerRegister, 1101), 99u);
    EXPECT_EQ(control.Load(kTimerRegister, 1000 + 1'000'000 * 100 + 1), 99u);
}

TEST(CoreControl, TimerStandsUntilItIsEnabled) {
    CoreControl control;
    control.Store(kTimerReloadRegister, 0xFFFF'FFFF, 0);
    EXPECT_EQ(control.Load(kTimerRegister, 1000), 0u);
    EXPECT_EQ(control.Load(kTimerReloadRegister, 0), 0x00FF'FFFFu) << "24 bits";

    control.Store(kTimerControlRegister, 1, 1000);
    control.Store(kTimerControlRegister, 0, 1001);

    EXPECT_EQ(control.Load(kTimerRegister, 5000), 0x00FF'FFFFu);
}

TEST(CoreControl, KeepsWordsUntilAReset) {
    for (const std::uint32_t address :
         {kVectorTableRegister, kConfigurationControlRegister, kMemoryProtectionRegister}) {
        CoreControl control;
        EXPECT_TRUE(control.Store(address, 0x1234, 0));
        EXPECT_EQ(control.Load(address, 0), 0x1234u);

        control.Reset();

        EXPECT_EQ(control.Load(address, 0), 0u);
    }
}

TEST(CoreControl, KnowsNoOtherRegister) {
    CoreControl control;
    EXPECT_EQ(control.Load(kVectorTableRegister + 4, 0), std::nullopt);
    EXPECT_FALSE(control.Store(kVectorTableRegister + 4, 0, 0));
}

}  // namespace
}  // namespace flash::chip
