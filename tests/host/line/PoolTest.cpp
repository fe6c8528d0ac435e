// What the pool decides, on each database.
#include "host/line/Pool.h"

#include <gmock/gmock.h>

#include "host/line/Schema.h"
#include "tests/host/line/Databases.h"

namespace flash::host::line {
namespace {

using namespace test;
using testing::HasSubstr;

const std::vector<PoolKind> kBoth{PoolKind::Ieee, PoolKind::Ble};

class PoolOnAnyDatabase : public AnyDatabase {
protected:
    PoolOnAnyDatabase() : pool(*database, clock.Function()) {
        const AddressRange ranges[] = {{PoolKind::Ieee, 0x0200'0000'0000'0001, 0x0200'0000'0000'0003},
                                       {PoolKind::Ble, 0xC200'0000'0001, 0xC200'0000'0003}};
        pool.Add(ranges);
    }

    Addresses Lease(const ChipFacts& chip, const std::string& station = "here") {
        return pool.Lease(chip, {"run", station, ""}, {kBoth});
    }

    std::string Confirm(const ChipFacts& chip, const Addresses& addresses) {
        Transaction transaction(*database);
        const auto complaint = pool.Confirm(chip.identity.Text(), {"run", "here", ""}, addresses);
        transaction.Commit();
        return complaint.value_or("");
    }

    std::vector<std::string> Reconcile(const ChipFacts& chip) {
        Transaction transaction(*database);
        const std::vector<std::string> changes = pool.ReconcileChip(chip, "here");
        transaction.Commit();
        return changes;
    }

    AddressState StateOf(std::uint64_t ieee) { return pool.Find(PoolKind::Ieee, Ieee(ieee))->state; }

    static ChipFacts Carrying(ChipFacts chip, const Addresses& addresses) {
        chip.ieee = addresses.at(PoolKind::Ieee);
        chip.ble = addresses.at(PoolKind::Ble);
        return chip;
    }

    FakeClock clock;
    Pool pool;
};

ON_EACH_DATABASE(PoolOnAnyDatabase);

TEST_P(PoolOnAnyDatabase, GivesTheLowestFreeAddressOfEachKind) {
    EXPECT_EQ(Lease(Chip(1)), (Addresses{{PoolKind::Ieee, Ieee(1)}, {PoolKind::Ble, Ble(1)}}));
    EXPECT_EQ(Lease(Chip(2)), (Addresses{{PoolKind::Ieee, Ieee(2)}, {PoolKind::Ble, Ble(2)}}));

    EXPECT_EQ(pool.Count().at(PoolKind::Ieee),
              (std::map<AddressState, std::uint64_t>{{AddressState::Free, 1}, {AddressState::Leased, 2}}));
}

TEST_P(PoolOnAnyDatabase, GivesTheSameChipTheSameAddressAgain) {
    const Addresses first = Lease(Chip(1));

    EXPECT_EQ(Lease(Chip(1)), first);
}

TEST_P(PoolOnAnyDatabase, GivesAKindThatWasNotAskedForToNobody) {
    const Addresses addresses = pool.Lease(Chip(1), {"run", "here", ""}, {{PoolKind::Ble}});

    EXPECT_EQ(addresses, (Addresses{{PoolKind::Ble, Ble(1)}}));
    EXPECT_EQ(StateOf(1), AddressState::Free);
}

TEST_P(PoolOnAnyDatabase, ConfirmsOnceAndAgain) {
    const Addresses addresses = Lease(Chip(1));

    EXPECT_EQ(Confirm(Chip(1), addresses), "");
    EXPECT_EQ(Confirm(Chip(1), addresses), "");

    EXPECT_EQ(StateOf(1), AddressState::Confirmed);
    EXPECT_EQ(pool.OfChip(Chip(1).identity.Text()).size(), 2);
}

TEST_P(PoolOnAnyDatabase, ConfirmsNothingForAnotherChip) {
    const Addresses addresses = Lease(Chip(1));

    EXPECT_THAT(Confirm(Chip(2), addresses), HasSubstr("02:00:00:00:00:00:00:01 is not the chip"));
    EXPECT_EQ(StateOf(1), AddressState::Leased);
}

TEST_P(PoolOnAnyDatabase, StopsAChipThatCarriesTheAddressOfAnother) {
    const Addresses addresses = Lease(Chip(1));

    EXPECT_THAT(TextOf([&] { Lease(Carrying(Chip(2), addresses)); }),
                HasSubstr("carries the ieee address 02:00:00:00:00:00:00:01, which is recorded for the chip "
                          "00:12:4B:00:00:00:00:01"));
    EXPECT_TRUE(pool.OfChip(Chip(2).identity.Text()).empty());
}

TEST_P(PoolOnAnyDatabase, TakesWhatAChipBringsAlongIfItIsNobodys) {
    ChipFacts chip = Chip(1);
    chip.ieee = Ieee(3);
    chip.ble = Ble(99);  // not the pool's

    EXPECT_EQ(Lease(chip), (Addresses{{PoolKind::Ieee, Ieee(3)}, {PoolKind::Ble, Ble(1)}}));
}

TEST_P(PoolOnAnyDatabase, BurnsAFreeAddressThatIsFoundOnAChipWithOneOfItsOwn) {
    Lease(Chip(1));
    ChipFacts chip = Chip(1);
    chip.ieee = Ieee(3);

    EXPECT_EQ(Lease(chip).at(PoolKind::Ieee), Ieee(1));
    EXPECT_EQ(StateOf(3), AddressState::Burned);
    EXPECT_EQ(pool.Find(PoolKind::Ieee, Ieee(3))->note, "found on 00:12:4B:00:00:00:00:01");
}

TEST_P(PoolOnAnyDatabase, RefusesWhenNoAddressIsLeftAndTakesNone) {
    Lease(Chip(1));
    Lease(Chip(2));
    pool.Lease(Chip(3), {"run", "here", ""}, {{PoolKind::Ble}});

    EXPECT_THAT(TextOf([&] { Lease(Chip(4)); }), HasSubstr("the pool has no free ble address left"));
    EXPECT_EQ(StateOf(3), AddressState::Free);
}

TEST_P(PoolOnAnyDatabase, RefusesAnIdentityThatIsNone) {
    for (const std::uint64_t none : {std::uint64_t{0}, ~std::uint64_t{0}}) {
        ChipFacts chip = Chip(1);
        chip.identity = AddressOf(PoolKind::Ieee, none);

        EXPECT_THAT(TextOf([&] { Lease(chip); }), HasSubstr("it has no identity"));
    }
}

TEST_P(PoolOnAnyDatabase, RefusesAnIdentityWithOtherFactoryData) {
    Lease(Chip(1));
    ChipFacts twin = Chip(1);
    twin.factory = "other";

    EXPECT_THAT(TextOf([&] { Lease(twin); }), HasSubstr("was seen on another chip"));
}

TEST_P(PoolOnAnyDatabase, RefusesAChipThatIsInWorkAtAnotherStationForABoundedTime) {
    const Addresses addresses = Lease(Chip(1), "there");

    EXPECT_THAT(TextOf([&] { Lease(Chip(1)); }),
                HasSubstr("is in work at the station there since 2001-09-09T01:46:40Z"));
    clock.now += kLongestWork;
    EXPECT_EQ(Lease(Chip(1)), addresses);
}

TEST_P(PoolOnAnyDatabase, TakesAChipThatAnotherStationIsDoneWith) {
    const Addresses addresses = Lease(Chip(1), "there");
    Confirm(Chip(1), addresses);

    EXPECT_EQ(Lease(Carrying(Chip(1), addresses)), addresses);
}

TEST_P(PoolOnAnyDatabase, TakesAChipThatLacksItsConfirmedAddressForAnotherOne) {
    Confirm(Chip(1), Lease(Chip(1)));

    EXPECT_THAT(TextOf([&] { Lease(Chip(1)); }), HasSubstr("another chip of the same identity, or it was erased"));
    EXPECT_EQ(pool.Lease(Chip(1), {"run", "here", ""}, {kBoth, true}).at(PoolKind::Ieee), Ieee(1));
}

TEST_P(PoolOnAnyDatabase, LetsAChipLackItsConfirmedAddressWhenItsLastWorkDidNotEndWell) {
    const Addresses addresses = Lease(Chip(1));
    Confirm(Chip(1), addresses);
    Lease(Carrying(Chip(1), addresses));

    EXPECT_EQ(Lease(Chip(1)), addresses);
}

TEST_P(PoolOnAnyDatabase, ReconcilesALeaseWithWhatTheChipCarries) {
    const Addresses addresses = Lease(Chip(1));
    ChipFacts chip = Chip(1);
    chip.ieee = addresses.at(PoolKind::Ieee);

    EXPECT_EQ(Reconcile(chip), (std::vector<std::string>{"ieee 02:00:00:00:00:00:00:01: confirmed, the chip carries it",
                                                         "ble C2:00:00:00:00:01: burned, the chip does not carry it"}));

    EXPECT_EQ(StateOf(1), AddressState::Confirmed);
    EXPECT_EQ(pool.Find(PoolKind::Ble, Ble(1))->state, AddressState::Burned);
    EXPECT_EQ(Reconcile(chip), std::vector<std::string>{});
}

TEST_P(PoolOnAnyDatabase, NeverGivesABurnedAddressAgain) {
    Lease(Chip(1));
    Reconcile(Chip(1));

    EXPECT_EQ(Lease(Chip(1)).at(PoolKind::Ieee), Ieee(2));
    EXPECT_EQ(StateOf(1), AddressState::Burned);
}

TEST_P(PoolOnAnyDatabase, BurnsOnlyWhatIsLeased) {
    Lease(Chip(1));

    pool.Burn(PoolKind::Ieee, Ieee(1), "here", "the chip is lost");

    EXPECT_EQ(pool.Find(PoolKind::Ieee, Ieee(1))->note, "leased to 00:12:4B:00:00:00:00:01: the chip is lost");
    EXPECT_THAT(TextOf([&] { pool.Burn(PoolKind::Ieee, Ieee(2), "here", ""); }), HasSubstr("is FREE; only a leased"));
    EXPECT_THAT(TextOf([&] { pool.Burn(PoolKind::Ieee, Ieee(9), "here", ""); }), HasSubstr("is not in the pool"));
}

TEST_P(PoolOnAnyDatabase, LetsNoAddressBecomeFreeAgain) {
    Lease(Chip(1));

    EXPECT_THAT(TextOf([&] { database->Run("UPDATE pool_address SET state = 'FREE', chip = NULL"); }),
                HasSubstr("an address that was given out is never free again"));
}

TEST_P(PoolOnAnyDatabase, RemembersWhatAnOlderCopyOfTheDatabaseHasForgotten) {
    const auto remember = [&](std::uint64_t chip, std::uint64_t address) {
        return pool.Remember(Chip(chip).identity.Text(), {"run", "here", ""}, {{PoolKind::Ieee, Ieee(address)}});
    };

    EXPECT_TRUE(remember(1, 2));
    EXPECT_TRUE(remember(1, 2));
    EXPECT_FALSE(remember(1, 3));
    EXPECT_FALSE(remember(2, 2));
    EXPECT_EQ(StateOf(2), AddressState::Leased);
}

TEST_P(PoolOnAnyDatabase, AddsAllOrNothing) {
    const AddressRange overlapping[] = {{PoolKind::Ieee, 0x0200'0000'0000'0000, 0x0200'0000'0000'0001}};
    const PoolAddress twins[] = {{PoolKind::Ble, Ble(7)}, {PoolKind::Ble, Ble(7)}};

    EXPECT_THAT(TextOf([&] { pool.Add(overlapping); }),
                HasSubstr("the ieee address 02:00:00:00:00:00:00:01 is in the pool already. Nothing was added"));
    EXPECT_THAT(TextOf([&] { pool.Add(twins); }), HasSubstr("ble address C2:00:00:00:00:07 is there twice"));
    EXPECT_EQ(pool.Count().at(PoolKind::Ieee).at(AddressState::Free), 3);
    EXPECT_EQ(pool.Count().at(PoolKind::Ble).at(AddressState::Free), 3);
}

TEST_P(PoolOnAnyDatabase, TellsAllOfItsAddressesInOrder) {
    Lease(Chip(1));
    std::vector<std::string> told;

    pool.ForEach([&](const PoolAddress& found) {
        told.push_back(found.address.Text() + " " + std::string(StateName(found.state)));
    });

    EXPECT_EQ(told, (std::vector<std::string>{"02:00:00:00:00:00:00:01 LEASED", "02:00:00:00:00:00:00:02 FREE",
                                              "02:00:00:00:00:00:00:03 FREE", "C2:00:00:00:00:01 LEASED",
                                              "C2:00:00:00:00:02 FREE", "C2:00:00:00:00:03 FREE"}));
}

TEST_P(PoolOnAnyDatabase, RefusesTablesOfALaterVersion) {
    database->Run("UPDATE line_schema SET version = '2'");

    EXPECT_THAT(TextOf([&] { Pool{*database}; }), HasSubstr("its tables are of version 2"));
    EXPECT_THAT(TextOf([&] { MigrateSchema(*database); }), HasSubstr("its tables are of version 2"));
}

TEST(ParseAddressRange, TakesFirstAndLast) {
    const AddressRange range = ParseAddressRange("C2:00:00:00:00:00-C2:00:00:00:00:FF", PoolKind::Ble);
    const AddressRange dashes = ParseAddressRange("c2-00-00-00-00-00-c2-00-00-00-00-00", PoolKind::Ble);

    EXPECT_EQ(range.first, 0xC200'0000'0000);
    EXPECT_EQ(range.Count(), 256);
    EXPECT_EQ(dashes.Count(), 1);
}

TEST(ParseAddressRange, RefusesWhatIsNone) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "is not FIRST-LAST"},
        {"C2:00:00:00:00:00", "is not FIRST-LAST"},
        {"C2:00:00:00:00:01-C2:00:00:00:00:00", "ends before it begins"},
        {"C2:00:00:00:00:00-C2:00:00:00:00:0G", "is not an address of 6 bytes"},
        {"C2:00:00:00:00:00-C3:00:00:00:00:00", "are more than 16777216 addresses"},
        {"00:00:00:00:00:00-00:00:00:00:00:01", "is no address that a chip can have"},
        {"FF:FF:FF:FF:FF:FE-FF:FF:FF:FF:FF:FF", "is no address that a chip can have"},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        EXPECT_THAT(TextOf([text = text] { ParseAddressRange(text, PoolKind::Ble); }), HasSubstr(expected));
    }
}

}  // namespace
}  // namespace flash::host::line
