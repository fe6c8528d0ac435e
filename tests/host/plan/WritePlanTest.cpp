// The write plan over a flash of eight sectors of 16 bytes, in which the chip holds 0xC0 + sector in every byte.
#include "host/plan/WritePlan.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

constexpr FlashGeometry kSmallFlash{16, 8};

PlanRequest Request(EraseChoice erase) {
    return {kSmallFlash, erase, SectorSet(8), SectorSet(8), std::nullopt, std::nullopt};
}

DataRun Filled(std::uint32_t address, std::size_t length, std::uint8_t value) {
    return {address, std::vector<std::uint8_t>(length, value)};
}

std::vector<std::uint8_t> ReadFake(std::uint32_t address, std::uint32_t length) {
    return std::vector<std::uint8_t>(length, static_cast<std::uint8_t>(0xC0 + address / 16));
}

std::vector<std::uint8_t> NeverRead(std::uint32_t, std::uint32_t) {
    ADD_FAILURE() << "the chip was read although nothing is kept";
    return {};
}

std::vector<std::uint8_t> Bytes(std::initializer_list<std::pair<std::size_t, std::uint8_t>> runs) {
    std::vector<std::uint8_t> bytes;
    for (const auto& [count, value] : runs) {
        bytes.insert(bytes.end(), count, value);
    }
    return bytes;
}

TEST(WritePlan, WholeSectorsWithErasedGapsMergedAndAscending) {
    const std::vector<DataRun> data{Filled(4, 2, 0x11), Filled(10, 10, 0x22), Filled(100, 4, 0x33)};

    const WritePlan plan = MakeWritePlan(data, Request(EraseChoice::Necessary), NeverRead);

    ASSERT_EQ(plan.writes.size(), 2u);
    EXPECT_EQ(plan.writes[0], (DataRun{0, Bytes({{4, 0xFF}, {2, 0x11}, {4, 0xFF}, {10, 0x22}, {12, 0xFF}})}));
    EXPECT_EQ(plan.writes[1], (DataRun{96, Bytes({{4, 0xFF}, {4, 0x33}, {8, 0xFF}})}));
    EXPECT_EQ(plan.expected, data);
    EXPECT_EQ(plan.Sectors(&SectorPlan::isErased).Text(), "0-1,6");
    EXPECT_EQ(plan.Sectors(&SectorPlan::isWritten).Text(), "0-1,6");
    EXPECT_TRUE(plan.Sectors(&SectorPlan::keepsRest).IsEmpty());
}

TEST(WritePlan, GapsKeepWhatTheChipHoldsWhenItIsToBeKept) {
    for (const EraseChoice erase : {EraseChoice::Retain, EraseChoice::None}) {
        const WritePlan plan = MakeWritePlan({Filled(20, 8, 0x11)}, Request(erase), ReadFake);

        ASSERT_EQ(plan.writes.size(), 1u);
        EXPECT_EQ(plan.writes[0], (DataRun{16, Bytes({{4, 0xC1}, {8, 0x11}, {4, 0xC1}})}));
        EXPECT_EQ(plan.Sectors(&SectorPlan::keepsRest).Text(), "1");
        EXPECT_TRUE(plan.Sectors(&SectorPlan::isErased).IsEmpty());
    }
}

TEST(WritePlan, ASectorThatTheFileFillsIsNotReadFromTheChip) {
    const WritePlan plan = MakeWritePlan({Filled(16, 16, 0x11)}, Request(EraseChoice::Retain), NeverRead);

    EXPECT_EQ(plan.writes, (std::vector<DataRun>{Filled(16, 16, 0x11)}));
}

TEST(WritePlan, ListedSectorsAreErasedAndTheOthersKeepTheirRest) {
    PlanRequest request = Request(EraseChoice::Listed);
    request.erasedSectors.Add(1);
    request.erasedSectors.Add(5);

    const WritePlan plan = MakeWritePlan({Filled(30, 4, 0x11)}, request, ReadFake);

    ASSERT_EQ(plan.writes.size(), 1u);
    EXPECT_EQ(plan.writes[0].bytes, Bytes({{14, 0xFF}, {4, 0x11}, {14, 0xC2}}));
    EXPECT_EQ(plan.Sectors(&SectorPlan::isErased).Text(), "1,5");
    EXPECT_EQ(DrawFlashMap(plan).substr(0, 34), "0x00000000 |.#+..e..| 0x0000007F\n#");
}

TEST(WritePlan, EverythingIsErasedWithAllUnlessPagesAreSkipped) {
    PlanRequest request = Request(EraseChoice::All);
    EXPECT_EQ(MakeWritePlan({Filled(0, 4, 1)}, request, NeverRead).Sectors(&SectorPlan::isErased).Text(), "0-7");

    request.skippedSectors.Add(3);
    const WritePlan plan = MakeWritePlan({Filled(0, 4, 1)}, request, NeverRead);

    EXPECT_EQ(plan.erase, EraseChoice::Necessary);
    EXPECT_EQ(plan.Sectors(&SectorPlan::isErased).Text(), "0");
}

TEST(WritePlan, NamesEverySectorUnderItsReason) {
    PlanRequest request = Request(EraseChoice::Necessary);
    request.skippedSectors.Add(1);
    request.skippedSectors.Add(3);
    WritePlan plan = MakeWritePlan({Filled(8, 72, 0x11)}, request, NeverRead);
    const auto named = [&plan] {
        std::string text;
        for (const auto& [reason, sectors] : SectorsByReason(plan)) {
            text += std::string(reason) + ": " + sectors.Text() + "\n";
        }
        return text;
    };
    EXPECT_EQ(named(), "all is written: 0,2,4\nskipped: 1,3\nnot in the file: 5-7\n");

    plan.isCompared = true;
    plan.sectors[2].isDoubtful = true;
    plan.sectors[4].carriesErasing = true;
    plan.sectors[6].isOnlyFill = true;
    plan.sectors[7].isUnchanged = true;
    EXPECT_EQ(named(),
              "differs: 0\nskipped: 1,3\ntouched by a load that did not end well: 2\n"
              "written so that others are erased: 4\nnot in the file: 5\nonly fill: 6\nalready right: 7\n");
}

TEST(WritePlan, WritesAreSplitAtSkippedPagesAndNothingIsExpectedThere) {
    PlanRequest request = Request(EraseChoice::Necessary);
    request.skippedSectors.Add(1);
    request.skippedSectors.Add(3);

    const WritePlan plan = MakeWritePlan({Filled(8, 72, 0x11)}, request, NeverRead);

    ASSERT_EQ(plan.writes.size(), 3u);
    EXPECT_EQ(plan.writes[0], (DataRun{0, Bytes({{8, 0xFF}, {8, 0x11}})}));
    EXPECT_EQ(plan.writes[1], Filled(32, 16, 0x11));
    EXPECT_EQ(plan.writes[2], Filled(64, 16, 0x11));
    EXPECT_EQ(plan.expected, (std::vector<DataRun>{Filled(8, 8, 0x11), Filled(32, 16, 0x11), Filled(64, 16, 0x11)}));
    EXPECT_EQ(DrawFlashMap(plan).substr(0, 20), "0x00000000 |#s#s#...");
}

TEST(WritePlan, SectorsOfOnlyTheFillValueAreLeftOut) {
    PlanRequest request = Request(EraseChoice::Necessary);
    request.skippedFill = 0xFF;

    const WritePlan plan =
        MakeWritePlan({Filled(0, 16, 0x11), Filled(16, 10, 0xFF), Filled(32, 1, 0x22)}, request, NeverRead);

    ASSERT_EQ(plan.writes.size(), 2u);
    EXPECT_EQ(plan.writes[1].address, 32u);
    EXPECT_TRUE(plan.sectors[1].isOnlyFill);
    EXPECT_FALSE(plan.sectors[1].isErased);
    EXPECT_EQ(plan.ExpectedBytes(), 17u);
}

TEST(WritePlan, AKeptCcfgIsNotExpectedButTheLastSectorIsWrittenToItsEnd) {
    PlanRequest request = Request(EraseChoice::Necessary);
    request.keptCcfgAddress = 120;

    const WritePlan plan = MakeWritePlan({Filled(112, 16, 0x11)}, request, NeverRead);

    EXPECT_EQ(plan.writes, (std::vector<DataRun>{Filled(112, 16, 0x11)}));
    EXPECT_EQ(plan.expected, (std::vector<DataRun>{Filled(112, 8, 0x11)}));
}

TEST(WritePlan, AKeptCcfgWhoseSectorIsOnlyListedForErasingIsWrittenSoThatItIsPutBack) {
    PlanRequest request = Request(EraseChoice::Listed);
    request.erasedSectors.Add(7);
    request.keptCcfgAddress = 120;

    const WritePlan plan = MakeWritePlan({Filled(0, 16, 0x11)}, request, NeverRead);

    ASSERT_EQ(plan.writes.size(), 2u);
    EXPECT_EQ(plan.writes[1], Filled(112, 16, 0xFF));
}

TEST(WritePlan, EverythingSkippedLeavesNoWrite) {
    PlanRequest request = Request(EraseChoice::Necessary);
    request.skippedSectors.AddAll();

    EXPECT_TRUE(MakeWritePlan({Filled(0, 16, 0x11)}, request, NeverRead).writes.empty());
}

}  // namespace
}  // namespace flash::host
