// Addresses that a station has leased ahead, on each database.
#include "host/line/Stock.h"

#include <gmock/gmock.h>

#include "host/line/Assignment.h"
#include "host/line/RecordStore.h"
#include "host/line/Schema.h"
#include "host/line/Upload.h"
#include "tests/host/line/Databases.h"

namespace flash::host::line {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

const std::vector<PoolKind> kIeee{PoolKind::Ieee};
const DatabaseLost kLost{std::string("the shared database is lost")};

class AStock : public AnyDatabase {
protected:
    AStock() {
        const AddressRange range[] = {{PoolKind::Ieee, 0x0200'0000'0000'0001, 0x0200'0000'0000'000A}};
        pool.Add(range);
    }

    AddressState StateOf(std::uint64_t number) { return pool.Find(PoolKind::Ieee, Ieee(number))->state; }

    // What a run of the program does, with the shared database or without it. The chip carries what it was given.
    std::string Run(ChipFacts& chip, bool isLost, bool endsWell = true) {
        const std::string run = DrawRunName();
        Assignment assignment(*database, journal, {run, "here", ""}, clock.Function());
        assignment.LeaseAhead(4);
        if (isLost) {
            assignment.GoOnWithout(kLost);
        } else {
            complaints = assignment.CatchUp();
        }
        return TextOf([&] {
            const Addresses given = assignment.Lease(chip, {kIeee});
            chip.ieee = given.at(PoolKind::Ieee);
            if (endsWell) {
                assignment.Finish({.run = run, .chip = chip.identity.Text(), .station = "here", .isGood = true}, given);
            }
        });
    }

    FakeClock clock;
    Pool pool{*database, clock.Function()};
    Journal journal{folder / "journal"};
    std::vector<std::string> complaints;
};

ON_EACH_DATABASE(AStock);

TEST_P(AStock, LetsAStationGoOnWithoutTheDatabaseAndTellsItLater) {
    ChipFacts first = Chip(1), second = Chip(2);
    EXPECT_EQ(Run(first, false), "");
    EXPECT_EQ(pool.Count().at(PoolKind::Ieee).at(AddressState::Leased), 4u)
        << "ahead, beside the one that is confirmed";

    EXPECT_EQ(Run(second, true), "");
    EXPECT_EQ(second.ieee, Ieee(2)) << "the lowest one of the stock";
    EXPECT_THAT(*pool.Find(PoolKind::Ieee, Ieee(2))->chip, HasSubstr("ahead:"));

    ChipFacts third = Chip(3);
    EXPECT_EQ(Run(third, false), "");
    EXPECT_EQ(complaints, std::vector<std::string>{});
    EXPECT_EQ(pool.Find(PoolKind::Ieee, Ieee(2))->chip, second.identity.Text());
    EXPECT_EQ(StateOf(2), AddressState::Confirmed);
    EXPECT_EQ(RecordStore(*database).OfChip(second.identity.Text()).size(), 1u);
}

TEST_P(AStock, GivesTheSameChipTheSameAddressAgainWithAndWithoutTheDatabase) {
    ChipFacts first = Chip(1), chip = Chip(2);
    Run(first, false);
    Run(chip, true, false);

    EXPECT_EQ(Run(chip, true), "");
    EXPECT_EQ(chip.ieee, Ieee(2));
    EXPECT_EQ(Run(chip, false), "");
    EXPECT_EQ(chip.ieee, Ieee(2));
    chip.ieee.reset();
    EXPECT_THAT(Run(chip, true), HasSubstr("another chip of the same identity"));
}

TEST_P(AStock, CannotHelpWhenItIsEmptyOrOnlyTheDatabaseKnows) {
    ChipFacts chip = Chip(1);
    EXPECT_EQ(Run(chip, true), kLost.what()) << "nothing is leased ahead";
    EXPECT_EQ(Run(chip, false), "");
    EXPECT_EQ(Run(chip, true), kLost.what()) << "the database gave it what it carries";
    for (std::uint64_t number = 2; number <= 5; ++number) {
        ChipFacts other = Chip(number);
        EXPECT_EQ(Run(other, true), "");
    }
    ChipFacts last = Chip(6);
    EXPECT_EQ(Run(last, true), kLost.what());
}

TEST_P(AStock, IsRefusedToOtherStations) {
    ChipFacts first = Chip(1), chip = Chip(2);
    Run(first, false);
    Run(chip, true);

    EXPECT_THAT(TextOf([&] {
                    pool.Lease(chip, {"run", "there", ""}, {kIeee});
                }),
                HasSubstr("which the station here has leased ahead"));
    EXPECT_EQ(pool.Lease(Chip(3), {"run", "there", ""}, {kIeee}).at(PoolKind::Ieee), Ieee(6));
}

TEST_P(AStock, LeavesAChipThatHadAnAddressElsewhereWithOne) {
    ChipFacts first = Chip(1), finished = Chip(2), torn = Chip(3);
    Run(first, false);
    pool.Lease(finished, {"run", "there", ""}, {kIeee});
    pool.Lease(torn, {"run", "there", ""}, {kIeee});

    Run(finished, true);
    Run(torn, true, false);
    CatchUp(*database, clock.Function(), journal);

    EXPECT_THAT(pool.OfChip(finished.identity.Text()), testing::SizeIs(1));
    EXPECT_EQ(pool.OfChip(finished.identity.Text())[0].address, Ieee(2)) << "it was read back";
    EXPECT_EQ(StateOf(6), AddressState::Burned);
    EXPECT_THAT(pool.OfChip(torn.identity.Text()), testing::SizeIs(1));
    EXPECT_EQ(pool.OfChip(torn.identity.Text())[0].address, Ieee(7)) << "nobody knows whether it got the other one";
    EXPECT_EQ(StateOf(3), AddressState::Burned);
    EXPECT_EQ(RecordStore(*database).OfChip(finished.identity.Text()).size(), 1u);
}

TEST_P(AStock, FindsWhatAProcessThatDiedHadTaken) {
    ChipFacts chip = Chip(1);
    Stock stock(journal, clock.Function());
    const auto own = OpenDatabase("sqlite:" + (folder / "journal.stock").string());
    own->Run("UPDATE stock SET state = 'FILLING'");
    {
        Transaction transaction(*database);
        pool.LeaseAhead(PoolKind::Ieee, 3, *own->Run("SELECT holder FROM stock")[0][0], "here");
        transaction.Commit();
    }

    stock.Fill(*database, kIeee, 4, "here");

    EXPECT_EQ(Pool(*own).Count().at(PoolKind::Ieee).at(AddressState::Free), 4u);
    EXPECT_EQ(pool.Count().at(PoolKind::Ieee).at(AddressState::Leased), 4u);
}

TEST_P(AStock, IsHeldAgainInAnOlderCopyOfTheDatabase) {
    ChipFacts first = Chip(1), second = Chip(2);
    Run(first, false);
    Run(second, true);
    const auto older = OpenDatabase("sqlite:" + (folder / "older.db").string(), IfMissing::Create);
    MigrateSchema(*older);
    const AddressRange range[] = {{PoolKind::Ieee, 0x0200'0000'0000'0001, 0x0200'0000'0000'000A}};
    Pool copy(*older, clock.Function());
    copy.Add(range);
    copy.Lease(Chip(7), {"run", "there", ""}, {kIeee});
    copy.Lease(Chip(8), {"run", "there", ""}, {kIeee});
    copy.Lease(Chip(9), {"run", "there", ""}, {kIeee});  // which the stock has, too

    const ReplayReport report = ReplayJournal(*older, clock.Function(), journal);

    EXPECT_EQ(copy.Find(PoolKind::Ieee, Ieee(4))->state, AddressState::Leased) << "still in the stock";
    EXPECT_FALSE(report.complaints.empty());
    const auto own = OpenDatabase("sqlite:" + (folder / "journal.stock").string());
    EXPECT_EQ(Pool(*own).Find(PoolKind::Ieee, Ieee(3))->state, AddressState::Burned) << "never given to a second chip";
}

}  // namespace
}  // namespace flash::host::line
