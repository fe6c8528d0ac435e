// What is kept of a last sector, laid over another, told as lost, and compared with what was asked for.
#include "host/ccfg/Kept.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/host/ccfg/LastSectors.h"
#include "tests/host/support/SectorSets.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

const RadioAddress kBle({1, 2, 3, 4, 5, 6});
const RadioAddress kIeee({11, 12, 13, 14, 15, 16, 17, 18});

ClosingChanges Retaining(bool ble, bool ieee) {
    ClosingChanges changes;
    changes.retainBle = ble;
    changes.retainIeee = ieee;
    return changes;
}

TEST(KeptByLoad, IsWhatTheOptionsName) {
    EXPECT_FALSE(KeptByLoad(Counted(), kTinyLayout, false, {}).IsAnything());

    const Kept ccfg = KeptByLoad(Counted(), kTinyLayout, true, {});
    const Bytes counted = CountedBytes();
    EXPECT_EQ(ccfg.ccfg, Bytes(counted.end() - 0x58, counted.end()));
    EXPECT_TRUE(ccfg.IsAnything());
    EXPECT_FALSE(ccfg.ble || ccfg.ieee);

    const Kept ble = KeptByLoad(Counted(), kTinyLayout, false, Retaining(true, false));
    EXPECT_EQ(ble.ble.value().Text(), "CD:CC:CB:CA:C9:C8");
    EXPECT_TRUE(ble.IsAnything());
    EXPECT_TRUE(ble.ccfg.empty() && ble.lastSector.empty() && !ble.ieee);

    const Kept ieee = KeptByLoad(Counted(), kTinyLayout, false, Retaining(false, true));
    EXPECT_EQ(ieee.ieee.value().Text(), "C7:C6:C5:C4:C3:C2:C1:C0");
    EXPECT_TRUE(ieee.IsAnything());
    EXPECT_FALSE(ieee.ble);
}

TEST(KeptByLoad, ACcfgThatIsNotValidIsNotKept) {
    EXPECT_FALSE(KeptByLoad(Counted(0), kTinyLayout, true, {}).IsAnything());
}

TEST(KeepLastSector, AddsAllOfItAndLeavesWhatIsKeptAlready) {
    Kept kept;
    KeepLastSector(kept, Counted(), kTinyLayout);
    EXPECT_EQ(kept.lastSector, CountedBytes());
    EXPECT_EQ(kept.ccfg.size(), 0x58u);
    EXPECT_EQ(kept.ble.value().Text(), "CD:CC:CB:CA:C9:C8");
    EXPECT_EQ(kept.ieee.value().Text(), "C7:C6:C5:C4:C3:C2:C1:C0");

    Kept earlier;
    earlier.ccfg = Bytes(4, 0xAA);
    earlier.ble = kBle;
    earlier.ieee = kIeee;
    KeepLastSector(earlier, Counted(), kTinyLayout);
    EXPECT_EQ(earlier.ccfg, Bytes(4, 0xAA));
    EXPECT_EQ(earlier.ble, kBle);
    EXPECT_EQ(earlier.ieee, kIeee);
}

TEST(LastSectorWith, LaysWhatIsKeptOverWhatIsThere) {
    const Bytes present(0x100, 0x77);
    EXPECT_EQ(LastSectorWith({}, present, kTinyLayout), present);

    Kept kept;
    kept.ccfg = Bytes(0x58, 0xCC);
    kept.ble = kBle;
    kept.ieee = kIeee;
    Bytes expected = present;
    std::fill(expected.end() - 0x58, expected.end(), std::uint8_t{0xCC});
    std::copy(kIeee.Bytes().begin(), kIeee.Bytes().end(), expected.begin() + 0xC0);
    std::copy(kBle.Bytes().begin(), kBle.Bytes().end(), expected.begin() + 0xC8);
    EXPECT_EQ(LastSectorWith(kept, present, kTinyLayout), expected);

    Kept whole;
    whole.lastSector = CountedBytes();
    EXPECT_EQ(LastSectorWith(whole, present, kTinyLayout), CountedBytes());
}

TEST(LossOf, GivesTheOnlyCopy) {
    Kept kept;
    kept.ble = kBle;
    EXPECT_EQ(LossOf(kept, kTinyLayout),
              "What was to stay is not back in flash; the secondary BLE address was 06:05:04:03:02:01");

    kept.ieee = kIeee;
    kept.ccfg = {0xDE, 0xAD, 0x00, 0x01};
    kept.lastSector = CountedBytes();
    EXPECT_EQ(
        LossOf(kept, kTinyLayout),
        "What was to stay is not back in flash; the 4 bytes of CCFG from 0x000003FC on were DEAD0001; the secondary "
        "BLE address was 06:05:04:03:02:01; the secondary IEEE address was 12:11:10:0F:0E:0D:0C:0B; all from "
        "0x00000300 on may be lost, too");
}

// A change, what it makes of an erased sector, and what is told of one that was left as it is.
struct Change {
    const char* name;
    std::function<void(ClosingChanges&)> ask;
    FieldLocation field;
    Bytes made;
    const char* undone;
};

const std::vector<Change>& Changes() {
    static const std::vector<Change> kChanges{
        {"BLE address", [](ClosingChanges& c) { c.ble = kBle; }, kTinyLayout.ble, kBle.Bytes(),
         "the secondary BLE address"},
        {"IEEE address", [](ClosingChanges& c) { c.ieee = kIeee; }, kTinyLayout.ieee, kIeee.Bytes(),
         "the secondary IEEE address"},
        {"boot loader",
         [](ClosingChanges& c) { c.disableBootloader = true; },
         kTinyLayout.bootloader,
         {0x00},
         "the boot loader switch"},
        {"debug port",
         [](ClosingChanges& c) { c.disableDebug = true; },
         kTinyLayout.debugPort,
         {0x00},
         "the debug port switch"},
        {"protection",
         [](ClosingChanges& c) {
             c.protect = SectorsOf({0, 2}, 4);
         },
         kTinyLayout.protection,
         {0xFA, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
         "the write protection"},
    };
    return kChanges;
}

TEST(FindUndone, KnowsEachChangeThatWasMadeOrNot) {
    Kept kept;
    kept.lastSector = Erased().bytes;
    for (const Change& change : Changes()) {
        SCOPED_TRACE(change.name);
        ClosingChanges changes;
        change.ask(changes);
        LastSector after = Erased();
        EXPECT_STREQ(FindUndone(changes, kept, after, kTinyLayout), change.undone);

        Put(after, change.field, change.made);
        EXPECT_EQ(FindUndone(changes, kept, after, kTinyLayout), nullptr);
        EXPECT_STREQ(FindUndone({}, kept, after, kTinyLayout), "the rest of the last sector");
    }
}

TEST(FindUndone, ARetainedAddressIsTheKeptOne) {
    Kept kept;
    kept.lastSector = Erased().bytes;
    kept.ble = kBle;
    kept.ieee = kIeee;
    EXPECT_EQ(FindUndone({}, kept, Erased(), kTinyLayout), nullptr) << "nothing was asked for";
    EXPECT_STREQ(FindUndone(Retaining(true, false), kept, Erased(), kTinyLayout), "the secondary BLE address");
    EXPECT_STREQ(FindUndone(Retaining(false, true), kept, Erased(), kTinyLayout), "the secondary IEEE address");
    LastSector after = Erased();
    Put(after, kTinyLayout.ble, kBle.Bytes());
    Put(after, kTinyLayout.ieee, kIeee.Bytes());
    EXPECT_EQ(FindUndone(Retaining(true, true), kept, after, kTinyLayout), nullptr);
}

TEST(FindUndone, MoreProtectionThanAskedForIsFine) {
    Kept kept;
    kept.lastSector = Erased().bytes;
    ClosingChanges changes;
    changes.protect = SectorsOf({2}, 4);
    LastSector after = Erased();
    Put(after, kTinyLayout.protection, {0xF0});

    EXPECT_EQ(FindUndone(changes, kept, after, kTinyLayout), nullptr);
}

TEST(FindUndone, AnyOtherByteOfTheSectorMustBeAsItWas) {
    Kept kept;
    kept.lastSector = Erased().bytes;
    ClosingChanges changes;
    changes.disableBootloader = true;
    for (const std::size_t offset : {0x00u, 0xD2u, 0xD4u, 0xFFu}) {
        LastSector after = Erased();
        Put(after, kTinyLayout.bootloader, {0x00});
        after.bytes[offset] = 0x7F;

        EXPECT_STREQ(FindUndone(changes, kept, after, kTinyLayout), "the rest of the last sector") << offset;
    }
}

}  // namespace
}  // namespace flash::host
