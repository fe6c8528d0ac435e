// Erasing and checking for blankness as operations of their own, and what protection does to them.
#include <gmock/gmock.h>

#include <algorithm>

#include "ChipOnBench.h"

namespace flash::test {
namespace {

using testing::ElementsAre;

class Erase : public BothGenerations {};
FOR_BOTH_GENERATIONS(Erase);

chip::Settings WithProtectedSector(const ChipModel& model, std::uint32_t sector) {
    chip::Settings settings = FactorySettings(model);
    std::uint8_t& byte = settings.initialFlash[settings.initialFlash.size() - kProtectionFromEnd + sector / 8];
    byte = static_cast<std::uint8_t>(byte & ~(1U << (sector % 8)));
    return settings;
}

TEST_P(Erase, TheBankErasesToBlank) {
    ChipOnBench bench(Model());
    bench.chip.PlaceInFlash(0, Pattern(bench.chip.FlashBytes(), 1));

    EXPECT_EQ(bench.Execute("Erase"), "");

    EXPECT_TRUE(std::ranges::all_of(bench.chip.Flash(), [](std::uint8_t byte) { return byte == 0xFF; }));
    EXPECT_EQ(bench.chip.GetCounters().bankErases, 1U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Erase, ListedSectorsAreErasedTheLastOneIncluded) {
    ChipOnBench bench(Model());
    const std::uint32_t size = bench.chip.SectorSize();
    const Bytes old = Pattern(8 * size, 1);
    bench.chip.PlaceInFlash(0, old);
    bench.Property("StandaloneEraseSpecificText") = "1, 3-4, 7";

    EXPECT_EQ(bench.Execute("EraseSectors"), "");

    Bytes expected = old;
    for (const std::uint32_t sector : {1U, 3U, 4U, 7U}) {
        std::fill_n(expected.begin() + sector * size, size, std::uint8_t{0xFF});
    }
    EXPECT_EQ(bench.FlashAt(0, old.size()), expected);
    EXPECT_EQ(bench.SectorErases(), 4U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

// The last range is posted and not waited for: this is why a careful host lets the flashloader finish.
TEST_P(Erase, ACarelessHostLosesTheLastRange) {
    ChipOnBench bench(Model());
    const Bytes old = Pattern(2 * bench.chip.SectorSize(), 1);
    bench.chip.PlaceInFlash(0, old);
    bench.Property("StandaloneEraseSpecificText") = "0-1";
    bench.host.isCareful = false;

    EXPECT_EQ(bench.Execute("EraseSectors"), "");

    EXPECT_NE(bench.FlashAt(bench.chip.SectorSize(), 4), Bytes(4, 0xFF));
}

TEST_P(Erase, BlankFlashIsBlank) {
    chip::Settings settings = FactorySettings(Model());
    settings.initialFlash.clear();
    ChipOnBench bench(Model(), settings);

    EXPECT_EQ(bench.Execute("BlankCheck"), "");

    EXPECT_THAT(bench.host.messages, ElementsAre("Blank Check: Device flash is blank"));
    EXPECT_EQ(bench.chip.GetCounters().flashOperations, 0U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Erase, OneProgrammedBitIsEnoughNotToBeBlank) {
    for (const bool isLastByte : {false, true}) {
        SCOPED_TRACE(isLastByte);
        chip::Settings settings = FactorySettings(Model());
        settings.initialFlash.clear();
        ChipOnBench bench(Model(), settings);
        const std::uint32_t address = isLastByte ? bench.chip.FlashBytes() - 1 : 0;
        bench.chip.PlaceInFlash(address, Bytes{0xFE});

        EXPECT_EQ(bench.Execute("BlankCheck"), "");

        EXPECT_THAT(bench.host.messages, ElementsAre("Blank Check: Device flash is programmed"));
        EXPECT_EQ(bench.host.BlockStatus(0), 0x106U);
        EXPECT_EQ(bench.host.BlockAddressField(0), address);
    }
}

TEST_P(Erase, BlankCheckFollowsAnErase) {
    ChipOnBench bench(Model());
    bench.chip.PlaceInFlash(0, Pattern(bench.chip.FlashBytes(), 1));

    EXPECT_EQ(bench.Execute("BlankCheck"), "");
    EXPECT_EQ(bench.Execute("Erase"), "");
    EXPECT_EQ(bench.Execute("BlankCheck"), "");

    EXPECT_THAT(bench.host.messages,
                ElementsAre("Blank Check: Device flash is programmed", "Blank Check: Device flash is blank"));
}

TEST_P(Erase, AProtectedSectorIsRefusedWithItsNumber) {
    ChipOnBench bench(Model(), WithProtectedSector(Model(), 5));
    const std::uint32_t size = bench.chip.SectorSize();
    bench.chip.PlaceInFlash(5 * size, Pattern(size, 1));

    EXPECT_EQ(bench.Load({{4 * size, Pattern(2 * size, 2)}}),
              "Timed out waiting for target flashloader to execute command.");

    EXPECT_EQ(bench.host.BlockStatus(0), 0U);
    EXPECT_EQ(bench.host.BlockStatus(1), 0x0504'0102U);  // sector 5, operation failed
    EXPECT_EQ(bench.FlashAt(4 * size, size), Pattern(size, 2));
    EXPECT_EQ(bench.FlashAt(5 * size, size), Pattern(size, 1));
    EXPECT_EQ(bench.chip.Count(chip::Violation::OperationOnProtected), 1U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 1U);
}

TEST_P(Erase, AProtectedSectorIsNotErasedByAListEither) {
    ChipOnBench bench(Model(), WithProtectedSector(Model(), 5));
    const Bytes old = Pattern(16, 1);
    bench.chip.PlaceInFlash(bench.SectorAddress(5), old);
    bench.Property("StandaloneEraseSpecificText") = "5,7";

    EXPECT_EQ(bench.Execute("EraseSectors"), "Timed out waiting for target flashloader to execute command.");

    EXPECT_EQ(bench.host.BlockStatus(0), 0x0504'0102U);
    EXPECT_EQ(bench.FlashAt(bench.SectorAddress(5), old.size()), old);
}

TEST_P(Erase, ABankErasePassesOverAProtectedSector) {
    ChipOnBench bench(Model(), WithProtectedSector(Model(), 5));
    const std::uint32_t size = bench.chip.SectorSize();
    const Bytes old = Pattern(8 * size, 1);
    bench.chip.PlaceInFlash(0, old);

    EXPECT_EQ(bench.Execute("Erase"), "");

    EXPECT_EQ(bench.FlashAt(5 * size, size), Bytes(old.begin() + 5 * size, old.begin() + 6 * size));
    EXPECT_EQ(bench.FlashAt(4 * size, size), Bytes(size, 0xFF));
    EXPECT_EQ(bench.FlashAt(6 * size, size), Bytes(size, 0xFF));
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

}  // namespace
}  // namespace flash::test
