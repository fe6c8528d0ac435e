// CCFG: kept through erases, changed at the end of a load, and what the hardware makes of it at the next power-up.
#include <gmock/gmock.h>

#include <algorithm>

#include "ChipOnBench.h"

namespace flash::test {
namespace {

using testing::HasSubstr;

constexpr char kAllSectors[] = "All Unprotected Sectors (Bank Erase)";

class Ccfg : public BothGenerations {
protected:
    // CCFG with a content of its own; protection, boot loader and debug port as they were.
    static Bytes PlaceCcfg(ChipOnBench& bench) {
        const std::uint32_t start = bench.chip.FlashBytes() - kCcfgSize;
        bench.chip.PlaceInFlash(start, Pattern(8, 1));
        bench.chip.PlaceInFlash(bench.chip.FlashBytes() - kIeeeSecondaryFromEnd, Pattern(14, 2));
        return bench.FlashAt(start, kCcfgSize);
    }
    static Bytes FoundCcfg(const ChipOnBench& bench) {
        return bench.FlashAt(bench.chip.FlashBytes() - kCcfgSize, kCcfgSize);
    }
};
FOR_BOTH_GENERATIONS(Ccfg);

TEST_P(Ccfg, IsKeptThroughALoadWithABankErase) {
    ChipOnBench bench(Model());
    const Bytes ccfg = PlaceCcfg(bench);
    const Bytes data = Pattern(bench.chip.FlashBytes(), 3);
    bench.Property("FlashEraseSetting") = kAllSectors;
    bench.Property("KeepCcfgSetting") = "1";
    bench.Property("CrcVerify") = "1";

    EXPECT_EQ(bench.Load({{0, data}}), "");

    EXPECT_EQ(FoundCcfg(bench), ccfg);
    const std::size_t rest = data.size() - kCcfgSize;
    EXPECT_EQ(bench.FlashAt(0, rest), Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(rest)));
    EXPECT_EQ(bench.chip.GetCounters().bankErases, 1U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Ccfg, IsKeptThroughABankErase) {
    ChipOnBench bench(Model());
    const Bytes ccfg = PlaceCcfg(bench);
    bench.chip.PlaceInFlash(0, Pattern(0x4000, 1));
    bench.Property("KeepCcfgSetting") = "1";

    EXPECT_EQ(bench.Execute("Erase"), "");

    EXPECT_EQ(FoundCcfg(bench), ccfg);
    EXPECT_TRUE(std::ranges::all_of(bench.chip.Flash().first(bench.chip.FlashBytes() - kCcfgSize),
                                    [](std::uint8_t byte) { return byte == 0xFF; }));
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Ccfg, IsKeptWhenTheLastSectorIsLoadedToItsEnd) {
    ChipOnBench bench(Model());
    const Bytes ccfg = PlaceCcfg(bench);
    const std::uint32_t size = bench.chip.SectorSize();
    const std::uint32_t last = bench.chip.FlashBytes() - size;
    const Bytes data = Pattern(size, 5);
    bench.Property("KeepCcfgSetting") = "1";

    EXPECT_EQ(bench.Load({{last, data}}), "");

    EXPECT_EQ(FoundCcfg(bench), ccfg);
    EXPECT_EQ(bench.FlashAt(last, size - kCcfgSize), Bytes(data.begin(), data.end() - kCcfgSize));
    EXPECT_EQ(bench.chip.GetCounters().sectorErases.back(), 1U);  // the restore programs in place
}

TEST_P(Ccfg, GoesWithABankEraseWhenNobodyKeepsIt) {
    ChipOnBench bench(Model());
    PlaceCcfg(bench);

    EXPECT_EQ(bench.Execute("Erase"), "");

    EXPECT_EQ(FoundCcfg(bench), Bytes(kCcfgSize, 0xFF));
}

TEST_P(Ccfg, ShowsItsSecondaryAddresses) {
    ChipOnBench bench(Model());
    bench.Property("DeviceIeeeSecondary") = "01:02:03:04:05:06:07:08";
    bench.Property("DeviceBleSecondary") = "A1:A2:A3:A4:A5:A6";

    EXPECT_EQ(bench.Execute("WriteSecIeee"), "");
    EXPECT_EQ(bench.Execute("WriteSecBle"), "");
    bench.Property("DeviceIeeeSecondary") = "";
    bench.Property("DeviceBleSecondary") = "";
    for (const char* operation : {"ReadPriIeee", "ReadPriBle", "ReadSecIeee", "ReadSecBle"}) {
        EXPECT_EQ(bench.Execute(operation), "");
    }

    EXPECT_EQ(bench.Property("DeviceIeeePrimary"), "01:23:45:67:89:AB:CD:EF");
    EXPECT_EQ(bench.Property("DeviceBlePrimary"), "11:22:33:44:55:66");
    EXPECT_EQ(bench.Property("DeviceIeeeSecondary"), "01:02:03:04:05:06:07:08");
    EXPECT_EQ(bench.Property("DeviceBleSecondary"), "A1:A2:A3:A4:A5:A6");
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Ccfg, ProtectionThatALoadWritesHoldsFromTheNextPowerUp) {
    ChipOnBench bench(Model());
    const Bytes data = Pattern(64, 1);
    bench.Property("WriteProtectionToggle") = "1";
    bench.Property("WriteProtectionText") = "2";
    EXPECT_EQ(bench.Load({{bench.SectorAddress(2), data}}), "");
    bench.Property("WriteProtectionToggle") = "0";

    bench.chip.PowerCycle();

    EXPECT_NE(bench.Load({{bench.SectorAddress(2), Pattern(64, 2)}}), "");
    EXPECT_EQ(bench.host.BlockStatus(0), 0x0204'0102U);
    EXPECT_EQ(bench.FlashAt(bench.SectorAddress(2), data.size()), data);
}

TEST_P(Ccfg, ADisabledDebugPortIsGoneAfterThePowerCycle) {
    ChipOnBench bench(Model());
    bench.Property("DisableCpuDap") = "1";
    EXPECT_EQ(bench.Load({{0, Pattern(64, 1)}}), "");
    EXPECT_EQ(bench.Initialize(), "");

    bench.chip.PowerCycle();

    EXPECT_THAT(bench.Initialize(), HasSubstr("the debug port is disabled"));
}

}  // namespace
}  // namespace flash::test
