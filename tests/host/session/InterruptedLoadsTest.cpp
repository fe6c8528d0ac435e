// The notes of loads that have not ended well.
#include "host/session/InterruptedLoads.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

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
    SectorSet Noted() const { return InterruptedLoads(folder).Sectors(kChip, 44); }

    TemporaryFolder temporary;
    const std::filesystem::path folder = temporary / "state/loads";
    InterruptedLoads loads{folder};
};

TEST_F(Notes, AreNoneForAChipThatNothingHappenedTo) {
    EXPECT_TRUE(loads.Sectors(kChip, 44).IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(Notes, LastUntilTheirSectorsAreRight) {
    loads.Begin(kChip, Sectors({1, 2, 3}));
    EXPECT_EQ(Noted(), Sectors({1, 2, 3}));

    loads.Begin(kChip, Sectors({3, 4}));
    EXPECT_EQ(Noted(), Sectors({1, 2, 3, 4}));

    loads.Finish(Sectors({3, 4}));
    EXPECT_EQ(Noted(), Sectors({1, 2}));

    loads.Begin(kChip, Sectors({0, 1, 2}));
    loads.Finish(Sectors({0, 1, 2}));
    EXPECT_TRUE(Noted().IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(Notes, OfLoadsThatFailedOneAfterTheOtherBecomeOne) {
    for (const std::uint32_t sector : {1u, 2u, 3u}) {
        InterruptedLoads(folder).Begin(kChip, Sectors({sector}));
    }

    EXPECT_EQ(Noted(), Sectors({1, 2, 3}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

// Two chips may bear one address, and one may be at two probes.
TEST_F(Notes, OfALoadThatRunsAreLeftAloneByAnother) {
    loads.Begin(kChip, Sectors({1, 2}));
    InterruptedLoads another{folder};
    another.Begin(kChip, Sectors({2, 3}));
    EXPECT_EQ(Noted(), Sectors({1, 2, 3}));

    another.Finish(Sectors({2, 3}));
    EXPECT_EQ(Noted(), Sectors({1, 2})) << "the first may be killed yet";

    loads.Finish(Sectors({1, 2}));
    EXPECT_TRUE(Noted().IsEmpty());
}

TEST_F(Notes, WithoutABeginningNothingIsFinished) {
    InterruptedLoads(folder).Begin(kChip, Sectors({1}));

    loads.Finish(Sectors({1}));

    EXPECT_EQ(Noted(), Sectors({1}));
}

TEST_F(Notes, OfOneChipAreNoneOfAnother) {
    loads.Begin(kChip, Sectors({1}));

    EXPECT_TRUE(loads.Sectors("08:07:06:05:04:03:02:03", 44).IsEmpty());
}

TEST_F(Notes, ThatCannotBeReadStandForAllSectors) {
    std::filesystem::create_directories(folder);
    for (const char* text : {"", "no list", "0-99"}) {
        SCOPED_TRACE(text);
        std::ofstream(folder / "08-07-06-05-04-03-02-02.4711-0") << text;

        EXPECT_EQ(Noted().Count(), 44u);
    }
}

TEST_F(Notes, ThatCannotBeOpenedBelongToNoLoadThatRuns) {
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink("nowhere", folder / "08-07-06-05-04-03-02-02.4711-0");
    SectorSet all(44);
    all.AddAll();
    EXPECT_EQ(Noted().Count(), 44u);

    loads.Begin(kChip, all);
    loads.Finish(all);

    EXPECT_TRUE(Noted().IsEmpty());
}

TEST_F(Notes, ThatCannotBeReadAreSettledLikeOthers) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "08-07-06-05-04-03-02-02") << "no list";
    SectorSet all(44);
    all.AddAll();

    loads.Begin(kChip, Sectors({1}));
    loads.Finish(Sectors({1}));
    EXPECT_EQ(Noted().Count(), 43u);

    loads.Begin(kChip, all);
    loads.Finish(all);
    EXPECT_TRUE(Noted().IsEmpty());
}

TEST_F(Notes, AreNoFilesThatWereNeverFinished) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "08-07-06-05-04-03-02-02.4711-0.4711-0.new") << "1";

    EXPECT_TRUE(Noted().IsEmpty());
}

TEST_F(Notes, ThatCannotBeRemovedAreAFailure) {
    std::filesystem::create_directories(folder / "08-07-06-05-04-03-02-02" / "something");

    loads.Begin(kChip, Sectors({1}));

    EXPECT_THROW(loads.Finish(Sectors({1})), Failure);
    EXPECT_EQ(Noted().Count(), 44u);
}

TEST_F(Notes, ThatCannotBeKeptAreAFailure) {
    std::ofstream(temporary / "state") << "a file where the folder should be";

    EXPECT_THROW(loads.Begin(kChip, Sectors({1})), Failure);
}

TEST(NoNotes, AreKeptWithoutAFolder) {
    InterruptedLoads loads{{}};

    loads.Begin(kChip, Sectors({1}));

    EXPECT_FALSE(loads.AreKept());
    EXPECT_TRUE(loads.Sectors(kChip, 44).IsEmpty());
}

}  // namespace
}  // namespace flash::host
