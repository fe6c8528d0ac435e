// What a load would leave in each sector, and the plan without the sectors that hold it, over a flash of eight sectors
// of 16 bytes.
#include "host/plan/Unchanged.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

constexpr FlashGeometry kSmallFlash{16, 8};

DataRun Filled(std::uint32_t address, std::size_t length, std::uint8_t value) {
    return {address, std::vector<std::uint8_t>(length, value)};
}

SectorSet Sectors(std::initializer_list<std::uint32_t> members) {
    SectorSet set(8);
    for (const std::uint32_t sector : members) {
        set.Add(sector);
    }
    return set;
}

// Data in sectors 0 to 2, half of sector 4, and all of the last one.
const std::vector<DataRun> kData = {Filled(0, 48, 0x11), Filled(64, 8, 0x22), Filled(112, 16, 0x33)};

WritePlan Plan(EraseChoice erase, std::initializer_list<std::uint32_t> erased = {},
               std::optional<std::uint32_t> keptCcfg = std::nullopt) {
    const PlanRequest request{kSmallFlash, erase, Sectors(erased), SectorSet(8), std::nullopt, keptCcfg};
    return MakeWritePlan(kData, request,
                         [](std::uint32_t, std::uint32_t length) { return std::vector<std::uint8_t>(length, 0xC0); });
}

DataRun HalfSector(std::uint8_t rest) {
    DataRun run = Filled(64, 16, rest);
    std::fill_n(run.bytes.begin(), 8, std::uint8_t{0x22});
    return run;
}

TEST(ContentsAfter, AreWholeSectorsWithTheirGaps) {
    const std::vector<SectorContent> contents = ContentsAfter(Plan(EraseChoice::Necessary), std::nullopt);

    ASSERT_EQ(contents.size(), 5u);
    EXPECT_EQ(contents[2].sector, 2u);
    EXPECT_EQ(contents[2].content, Filled(32, 16, 0x11));
    EXPECT_EQ(contents[3].content, HalfSector(0xFF));
    EXPECT_EQ(contents[4].content, Filled(112, 16, 0x33));
}

TEST(ContentsAfter, HaveWhatTheChipKeepsInAGap) {
    EXPECT_EQ(ContentsAfter(Plan(EraseChoice::Retain), std::nullopt)[3].content, HalfSector(0xC0));
}

TEST(ContentsAfter, OfSectorsThatAreOnlyErasedAreErased) {
    const std::vector<SectorContent> contents = ContentsAfter(Plan(EraseChoice::Listed, {1, 3}), std::nullopt);

    ASSERT_EQ(contents.size(), 6u);
    EXPECT_EQ(contents[3].sector, 3u);
    EXPECT_EQ(contents[3].content, Filled(48, 16, 0xFF));
}

TEST(ContentsAfter, EndBeforeAKeptCcfg) {
    EXPECT_EQ(ContentsAfter(Plan(EraseChoice::Necessary, {}, 122), 122)[4].content, Filled(112, 10, 0x33));
}

TEST(LeaveOut, DropsTheSectorsFromWhatIsWritten) {
    const WritePlan plan = LeaveOut(Plan(EraseChoice::Necessary), Sectors({1, 4}));

    EXPECT_EQ(plan.writes, (std::vector<DataRun>{Filled(0, 16, 0x11), Filled(32, 16, 0x11), Filled(112, 16, 0x33)}));
    EXPECT_EQ(plan.expected, plan.writes);
    EXPECT_EQ(plan.alreadyRight, (std::vector<DataRun>{Filled(16, 16, 0x11), Filled(64, 8, 0x22)}));
    EXPECT_EQ(plan.AlreadyRightBytes(), 24u);
    EXPECT_EQ(plan.Sectors(&SectorPlan::isWritten), Sectors({0, 2, 7}));
    EXPECT_EQ(plan.Sectors(&SectorPlan::isErased), Sectors({0, 2, 7}));
    EXPECT_EQ(plan.Sectors(&SectorPlan::isUnchanged), Sectors({1, 4}));
}

TEST(LeaveOut, OfNothingIsThePlanItself) {
    const WritePlan plan = LeaveOut(Plan(EraseChoice::Retain), Sectors({}));

    EXPECT_EQ(plan.writes, Plan(EraseChoice::Retain).writes);
    EXPECT_EQ(plan.expected, kData);
    EXPECT_TRUE(plan.alreadyRight.empty());
    EXPECT_EQ(plan.Sectors(&SectorPlan::keepsRest), Sectors({4}));
}

TEST(LeaveOut, OfEverythingLeavesNothingToDo) {
    const WritePlan plan = LeaveOut(Plan(EraseChoice::Listed, {1, 3}), Sectors({0, 1, 2, 3, 4, 7}));

    EXPECT_TRUE(plan.writes.empty());
    EXPECT_TRUE(plan.expected.empty());
    EXPECT_TRUE(plan.Sectors(&SectorPlan::isErased).IsEmpty());
}

// The plug-in erases listed sectors when something is written.
TEST(LeaveOut, KeepsAWriteForSectorsThatAreOnlyErased) {
    struct Case {
        const char* name;
        std::initializer_list<std::uint32_t> unchanged;
        SectorSet written;
    };
    const Case cases[] = {
        {"all data is right", {0, 1, 2, 4, 7}, Sectors({0})},
        {"other data is written anyway", {0, 1, 2, 4}, Sectors({7})},
        {"the sector to erase is erased", {0, 1, 2, 3, 4, 7}, Sectors({})},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(LeaveOut(Plan(EraseChoice::Listed, {3}), Sectors(c.unchanged)).Sectors(&SectorPlan::isWritten),
                  c.written);
    }
}

TEST(FlashMap, ShowsAndExplainsSectorsThatAreAlreadyRight) {
    const std::string map = DrawFlashMap(LeaveOut(Plan(EraseChoice::Necessary), Sectors({1, 4})));

    EXPECT_EQ(map,
              "0x00000000 |#=#.=..#| 0x0000007F\n"
              "# erased and written, + written with the rest kept, w written, e erased, s skipped, . untouched, "
              "= already right\n");
}

}  // namespace
}  // namespace flash::host
