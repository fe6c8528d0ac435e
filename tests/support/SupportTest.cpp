// What other tests rely on without looking.
#include <gtest/gtest.h>

#include "tests/support/AllocationMeter.h"
#include "tests/support/ConnectedChip.h"
#include "tests/support/StubHost.h"

namespace flash::test {
namespace {

TEST(CallTexts, NameEachCallWithItsArguments) {
    SimulatedHost host;
    std::uint32_t word = 0;
    host.SetProperty("Name", "value");
    host.LoadProgram("file", "", "folder");
    host.ReadMemory(&word, 1, 0x4003'002C, 1, 4);
    host.ReadMemory(&word, 4, 0x1000, 2, 1);
    host.WriteRegister(527, 0x2000'0101);
    host.WaitMilliseconds(5);
    host.RunTarget();

    EXPECT_EQ(TextsOf(host.calls), (Texts{"SetProperty Name=value", "LoadProgram file||folder",
                                          "ReadMemory 0x4003002C 1*4", "ReadMemory 0x00001000 4*1 page=2",
                                          "WriteRegister 527=0x20000101", "WaitMilliseconds 5", "RunTarget"}));
    EXPECT_EQ(TextsOf(Only(host.calls, {Service::RunTarget, Service::WaitMilliseconds})),
              (Texts{"WaitMilliseconds 5", "RunTarget"}));
    EXPECT_EQ(Without(host.calls, {Service::ReadMemory}).size(), 5U);
}

TEST(CallTexts, NameEachCommandWithItsFields) {
    EXPECT_EQ(Posted(3, 0x1000, 4096, 1, 0xCBF4'3926), "command=3 addr=0x00001000 length=4096 crc=0xCBF43926 block=1");
}

TEST(StubHostDeathTest, AReservedSlotEndsTheProgram) {
    StubHost host;
    EXPECT_DEATH(host.Reserved12(), "reserved host slot 12");
}

TEST(ConnectedChip, DrivesTheBuiltModuleThroughItsTables) {
    InitializedChip chip(kLumoD);
    const Bytes data(5000, 0x5A);

    ASSERT_STREQ(CallSlot(chip.device.get(), 4, data.data(), std::uint64_t{0x1000}, std::uint32_t{5000}), nullptr);

    EXPECT_EQ(chip.FlashAt(0x1000, 5000), data);
    EXPECT_EQ(chip.Property("DeviceInfoFlashSize"), "128 KB (32 sectors)");
}

TEST(AllocationMeter, CountsWhatIsAskedForFromItsStartOn) {
    if (!AllocationMeter::kIsCounting) {
        GTEST_SKIP() << "only the address sanitizer counts";
    }
    const Bytes before(5000);
    const AllocationMeter meter;
    EXPECT_EQ(meter.Bytes(), 0U);

    const Bytes asked(1000);

    EXPECT_EQ(meter.Bytes(), asked.size());
}

TEST(Pattern, HoldsNoErasedByteAndNoTwoNeighboursAlike) {
    const Bytes bytes = Pattern(0x2000, 7);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        ASSERT_NE(bytes[i], 0xFF) << i;
        ASSERT_TRUE(i == 0 || bytes[i] != bytes[i - 1]) << i;
    }
    EXPECT_NE(bytes, Pattern(0x2000, 8));
}

}  // namespace
}  // namespace flash::test
