// The notes of loads that have not ended well.
#include "host/session/InterruptedLoads.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/Failure.h"
#include "tests/host/files/TemporaryFolder.h"

namespace flash::host {
namespace {

constexpr char kChip[] = "08:07:06:05:04:03:02:02";

SectorSet Sectors(std::initializer_list<std::uint32_t> members) {
    SectorSet set(44);
    for (const std::uint32_t sector : members) {
        set.Add(sector);
    }
    return set;
}

struct Notes : testing::Test {
    TemporaryFolder temporary;
    const std::filesystem::path folder = temporary / "state/loads";
    const InterruptedLoads loads{folder};
};

TEST_F(Notes, AreNoneForAChipThatNothingHappenedTo) {
    EXPECT_TRUE(loads.Sectors(kChip, 44).IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(Notes, LastUntilTheirSectorsAreRight) {
    loads.Begin(kChip, Sectors({1, 2, 3}));
    EXPECT_EQ(InterruptedLoads(folder).Sectors(kChip, 44), Sectors({1, 2, 3}));

    loads.Begin(kChip, Sectors({3, 4}));
    EXPECT_EQ(loads.Sectors(kChip, 44), Sectors({1, 2, 3, 4}));

    loads.Finish(kChip, Sectors({3, 4}));
    EXPECT_EQ(loads.Sectors(kChip, 44), Sectors({1, 2}));

    loads.Finish(kChip, Sectors({0, 1, 2}));
    EXPECT_TRUE(loads.Sectors(kChip, 44).IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(Notes, OfOneChipAreNoneOfAnother) {
    loads.Begin(kChip, Sectors({1}));

    EXPECT_TRUE(loads.Sectors("08:07:06:05:04:03:02:03", 44).IsEmpty());
}

TEST_F(Notes, ThatCannotBeReadStandForAllSectors) {
    for (const char* text : {"", "no list", "0-99"}) {
        SCOPED_TRACE(text);
        loads.Begin(kChip, Sectors({1}));
        std::ofstream(folder / "08-07-06-05-04-03-02-02") << text;

        EXPECT_EQ(loads.Sectors(kChip, 44).Count(), 44u);
    }
}

TEST_F(Notes, ThatCannotBeKeptAreAFailure) {
    std::ofstream(temporary / "state") << "a file where the folder should be";

    EXPECT_THROW(loads.Begin(kChip, Sectors({1})), Failure);
}

TEST(NoNotes, AreKeptWithoutAFolder) {
    const InterruptedLoads loads{{}};

    loads.Begin(kChip, Sectors({1}));

    EXPECT_FALSE(loads.AreKept());
    EXPECT_TRUE(loads.Sectors(kChip, 44).IsEmpty());
}

}  // namespace
}  // namespace flash::host
