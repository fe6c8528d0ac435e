// Loads that leave out what the chip holds already, and comparisons that the target makes, through the real plug-in on
// the virtual chip: what is touched, what stands in flash afterwards, and what is believed after a failure.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

class ChangedSectors : public testing::TestWithParam<const char*> {
protected:
    // The first six sectors hold `image`.
    ChangedSectors() {
        bench.Chip().PlaceInFlash(0, bytes);
        bench.Connect();
        Mark();
    }

    ProgramImage Image() const { return ImageOf({{0, bytes}}); }
    std::uint32_t SectorSize() const { return bench.device.sectorSizeBytes; }
    std::uint32_t FlashEnd() const { return bench.device.FlashSizeBytes(); }

    // What comes from here on counts.
    void Mark() { before = bench.Chip().GetCounters(); }
    std::uint64_t Operations() const { return bench.chip->GetCounters().flashOperations - before.flashOperations; }
    std::string ErasedSectors() const {
        SectorSet erased(bench.device.sectorCount);
        for (std::uint32_t i = 0; i < bench.device.sectorCount; ++i) {
            if (bench.chip->GetCounters().sectorErases[i] != before.sectorErases[i]) {
                erased.Add(i);
            }
        }
        return erased.Text();
    }
    std::uint64_t BytesOnTheLink() const {
        const chip::Counters& now = bench.chip->GetCounters();
        return now.bytesRead + now.bytesWritten - before.bytesRead - before.bytesWritten;
    }

    Bench bench{GetParam()};
    std::vector<std::uint8_t> bytes = Pattern(6 * bench.device.sectorSizeBytes - 100, 5);
    chip::Counters before;
};
INSTANTIATE_TEST_SUITE_P(Session, ChangedSectors, testing::Values("LumoD1F64", "LumoF2F352"));

TEST_P(ChangedSectors, TheSameImageAgainTouchesNothing) {
    const PlannedLoad load = bench.session->Plan(Image(), {});
    const WritePlan& plan = load.plan;
    const LoadResult result = bench.session->Program(load);

    EXPECT_TRUE(plan.writes.empty());
    EXPECT_EQ(Operations(), 0u);
    EXPECT_EQ(result.programmedBytes, 0u);
    EXPECT_EQ(result.verifiedBytes, bytes.size());
    EXPECT_EQ(result.writtenSectors, 0u);
    EXPECT_EQ(result.unchangedSectors, 6u);
    EXPECT_LT(BytesOnTheLink(), 1400u) << "not even the flashloader is loaded";
    EXPECT_EQ(bench.Chip().ViolationTotal(), 0u);
}

TEST_P(ChangedSectors, ExactlyTheSectorThatChangedIsErasedAndWritten) {
    bytes[2 * SectorSize() + 77] ^= 1;

    const LoadResult result = Program(*bench.session, Image());

    EXPECT_EQ(ErasedSectors(), "2");
    EXPECT_EQ(result.programmedBytes, SectorSize());
    EXPECT_EQ(result.writtenSectors, 1u);
    EXPECT_EQ(result.unchangedSectors, 5u);
    EXPECT_EQ(bench.Flash(0, bytes.size()), bytes);
}

// Bytes that the file does not have count, too, where the load would erase them.
TEST_P(ChangedSectors, WhatStandsInAGapOfTheFileIsADifference) {
    const std::uint8_t foreign[] = {0x12};
    bench.Chip().PlaceInFlash(6 * SectorSize() - 1, foreign);

    Program(*bench.session, Image());

    EXPECT_EQ(ErasedSectors(), "5");
    EXPECT_EQ(bench.Flash(6 * SectorSize() - 1, 1), std::vector<std::uint8_t>(1, 0xFF));
}

TEST_P(ChangedSectors, WhatStandsInAGapIsNoneWhenItIsToBeKept) {
    const std::uint8_t foreign[] = {0x12};
    bench.Chip().PlaceInFlash(6 * SectorSize() - 1, foreign);
    ProgramOptions options;
    options.erase = EraseChoice::Retain;

    const LoadResult result = Program(*bench.session, Image(), options);

    EXPECT_EQ(result.unchangedSectors, 6u);
    EXPECT_EQ(Operations(), 0u);
}

TEST_P(ChangedSectors, AllAreWrittenWhenTheUserWantsThat) {
    ProgramOptions writeAll;
    writeAll.write = WriteChoice::All;
    ProgramOptions eraseAll;
    eraseAll.erase = EraseChoice::All;
    for (const ProgramOptions& options : {writeAll, eraseAll}) {
        const LoadResult result = Program(*bench.session, Image(), options);

        EXPECT_EQ(result.writtenSectors, 6u);
        EXPECT_EQ(result.unchangedSectors, 0u);
        EXPECT_EQ(result.programmedBytes, 6u * SectorSize());
    }
}

TEST_P(ChangedSectors, OfAListOnlyWhatIsNotErasedYetIsErased) {
    ProgramOptions options;
    options.erase = EraseChoice::Listed;
    options.erasedSectors = ParseSectorList("0-7", bench.device.sectorCount, Field::ErasedSectors);
    const auto foreign = Pattern(16);
    bench.Chip().PlaceInFlash(7 * SectorSize(), foreign);

    const PlannedLoad load = bench.session->Plan(Image(), options);
    const WritePlan& plan = load.plan;
    bench.session->Program(load);

    EXPECT_EQ(plan.Sectors(&SectorPlan::isErased).Text(), "0,7") << "the plug-in erases when it writes";
    EXPECT_EQ(bench.Flash(7 * SectorSize(), 16), std::vector<std::uint8_t>(16, 0xFF));
    EXPECT_EQ(bench.Flash(0, bytes.size()), bytes);
    Mark();
    EXPECT_TRUE(bench.session->Plan(Image(), options).plan.writes.empty());
    EXPECT_EQ(Program(*bench.session, Image(), options).unchangedSectors, 8u);
    EXPECT_EQ(Operations(), 0u);
}

TEST_P(ChangedSectors, SkippedAndFilledSectorsAreNeitherWrittenNorCompared) {
    bytes[SectorSize()] ^= 1;
    ProgramOptions options;
    options.skippedSectors = ParseSectorList("1", bench.device.sectorCount, Field::SkippedSectors);

    const LoadResult result = Program(*bench.session, Image(), options);

    EXPECT_EQ(result.unchangedSectors, 5u);
    EXPECT_EQ(Operations(), 0u);
}

TEST_P(ChangedSectors, AKeptCcfgIsNoPartOfTheComparison) {
    bench.Chip().PlaceInFlash(FlashEnd() - 0x58, GoodCcfg());
    const ProgramImage lastSector = ImageOf({{FlashEnd() - SectorSize(), Pattern(SectorSize(), 8)}});
    ProgramOptions options;
    options.keepCcfg = true;
    Program(*bench.session, lastSector, options);
    Mark();

    const LoadResult result = Program(*bench.session, lastSector, options);

    EXPECT_EQ(result.unchangedSectors, 1u);
    EXPECT_EQ(Operations(), 0u);
    EXPECT_EQ(bench.Flash(FlashEnd() - 0x58, 0x58), GoodCcfg());
}

TEST_P(ChangedSectors, ProtectedSectorsThatAreRightNeedNoWrite) {
    std::vector<std::uint8_t> ccfg = GoodCcfg();
    ccfg[0x58 - 0x20] = 0xFC;  // sectors 0 and 1
    bench.Chip().PlaceInFlash(FlashEnd() - 0x58, ccfg);
    bench.Chip().PowerCycle();
    Session& session = bench.Connect();
    bytes[2 * SectorSize()] ^= 1;

    const LoadResult result = Program(session, Image());

    EXPECT_EQ(result.unchangedSectors, 5u);
    EXPECT_TRUE(bench.observer.warnings.empty());
    EXPECT_EQ(bench.Chip().ViolationTotal(), 0u);
}

// The sector holds what the closing phase made of the file, which is no difference.
TEST_P(ChangedSectors, ClosingChangesStillHappenAndAreNoDifferenceTheNextTime) {
    ProgramImage image = Image();
    image.Add(FlashEnd() - 0x58, GoodCcfg(), {"ccfg.bin", ""});
    ProgramOptions options;
    options.closing.ble = Ble("C2:00:00:00:00:07");
    options.closing.disableBootloader = true;
    Program(*bench.session, image);

    Program(*bench.session, image, options);
    EXPECT_EQ(bench.session->ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:07");
    EXPECT_TRUE(bench.session->ReadCcfg().isBootloaderDisabled);
    Mark();
    const LoadResult again = Program(*bench.session, image, options);

    EXPECT_EQ(again.unchangedSectors, 7u);
    EXPECT_EQ(Operations(), 0u);
    options.closing = {};
    EXPECT_EQ(Program(*bench.session, image, options).writtenSectors, 1u) << "without the changes it differs";
    EXPECT_EQ(bench.Flash(FlashEnd() - 0x58, 0x58), GoodCcfg());
}

TEST_P(ChangedSectors, ARetainedAddressIsNoDifference) {
    ProgramImage image = Image();
    image.Add(FlashEnd() - 0x58, GoodCcfg(), {"ccfg.bin", ""});
    Program(*bench.session, image);
    bench.session->WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:07"));
    ProgramOptions options;
    options.closing.retainBle = true;
    Mark();

    const LoadResult result = Program(*bench.session, image, options);

    EXPECT_EQ(result.unchangedSectors, 7u);
    EXPECT_EQ(Operations(), 0u);
    EXPECT_EQ(bench.session->ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:07");
}

TEST_P(ChangedSectors, APlanAloneChangesNoFlash) {
    bytes[0] ^= 1;

    const WritePlan plan = bench.session->Plan(Image(), {}).plan;

    EXPECT_EQ(plan.Sectors(&SectorPlan::isWritten).Text(), "0");
    EXPECT_EQ(Operations(), 0u);
    EXPECT_EQ(ReasonFor(plan, 0), "differs");
    EXPECT_EQ(ReasonFor(plan, 1), "already right");
    EXPECT_EQ(ReasonFor(plan, 6), "not in the file");
}

TEST_P(ChangedSectors, WithoutAnAnswerOfTheTargetFlashIsRead) {
    TemporaryFolder empty;
    bench.dataFolder = empty / "";
    Session& session = bench.Connect();
    bytes[SectorSize()] ^= 1;

    const WritePlan plan = session.Plan(Image(), {}).plan;

    EXPECT_EQ(plan.Sectors(&SectorPlan::isWritten).Text(), "1");
    ASSERT_FALSE(bench.observer.notes.empty());
    EXPECT_EQ(bench.observer.notes.back().rfind("The target cannot say what flash holds, so it is read: ", 0), 0u);
}

// ---- Comparing

TEST_P(ChangedSectors, TheTargetVerifiesForFewBytes) {
    EXPECT_EQ(bench.session->Verify(Image()), bytes.size());

    EXPECT_LT(BytesOnTheLink(), 1400u);
    EXPECT_TRUE(bench.observer.notes.empty());
}

TEST_P(ChangedSectors, ADifferenceIsToldInTheSameWordsByTargetAndByLink) {
    const std::uint32_t address = 3 * SectorSize() + 5;
    const std::uint8_t wanted = bytes[address];
    bytes[address] ^= 0x0F;
    bytes[5 * SectorSize()] ^= 1;

    for (const VerifyBy by : {VerifyBy::Target, VerifyBy::Link}) {
        EXPECT_EQ(
            FailureOf(FailureKind::Difference, [&] { bench.session->Verify(Image(), by); }),
            fmt::format("Verifying: 2 of {} bytes differ, first at 0x{:08X}, where the file has 0x{:02X} and flash "
                        "0x{:02X}",
                        bytes.size(), address, bytes[address], wanted));
    }
}

TEST_P(ChangedSectors, VerifyingWithoutAnAnswerOfTheTargetReadsAll) {
    TemporaryFolder empty;
    bench.dataFolder = empty / "";
    Session& session = bench.Connect();
    Mark();

    EXPECT_EQ(session.Verify(Image()), bytes.size());

    EXPECT_GE(BytesOnTheLink(), bytes.size());
    EXPECT_EQ(bench.observer.notes.size(), 1u);
}

// ---- After a failure

class AfterAFailedLoad : public ChangedSectors {
protected:
    // A load of other content in sectors 1 to 3 that fails.
    AfterAFailedLoad() {
        bench.notesFolder = state / "loads";
        std::vector<std::uint8_t> other = bytes;
        for (const std::uint32_t sector : {1u, 2u, 3u}) {
            other[sector * SectorSize()] ^= 1;
        }
        Session& session = bench.Connect();
        bench.Chip().Arm(chip::Fault::OperationFails, 3);
        FailureOf(FailureKind::Operation, [&] { Program(session, ImageOf({{0, other}})); });
        bench.Chip().DisarmAll();
        // All reads right again, by whatever chance.
        bench.Chip().PlaceInFlash(0, bytes);
        Mark();
    }

    TemporaryFolder state;
};
INSTANTIATE_TEST_SUITE_P(Session, AfterAFailedLoad, testing::Values("LumoD1F64", "LumoF2F352"));

TEST_P(AfterAFailedLoad, WhatItWasToTouchIsWrittenThoughItReadsRight) {
    const PlannedLoad load = bench.Connect().Plan(Image(), {});
    const WritePlan& plan = load.plan;
    EXPECT_EQ(plan.Sectors(&SectorPlan::isWritten).Text(), "1-3");
    EXPECT_EQ(ReasonFor(plan, 2), "touched by a load that did not end well");

    bench.session->Program(load);

    EXPECT_EQ(bench.session->Plan(Image(), {}).plan.Sectors(&SectorPlan::isUnchanged).Count(), 6u)
        << "now it is believed";
}

TEST_P(AfterAFailedLoad, ASmallerLoadSettlesOnlyItsOwnSectors) {
    const std::vector<std::uint8_t> oneSector(bytes.begin() + SectorSize(), bytes.begin() + 2 * SectorSize());
    Program(bench.Connect(), ImageOf({{SectorSize(), oneSector}}));

    EXPECT_EQ(bench.session->Plan(Image(), {}).plan.Sectors(&SectorPlan::isWritten).Text(), "2-3");
}

TEST_P(AfterAFailedLoad, AnotherFailureAddsToTheNote) {
    bytes[4 * SectorSize()] ^= 1;
    Session& session = bench.Connect();
    bench.Chip().Arm(chip::Fault::OperationFails, 1);
    FailureOf(FailureKind::Operation, [&] { Program(session, Image()); });
    bench.Chip().DisarmAll();
    bench.Chip().PlaceInFlash(0, bytes);

    EXPECT_EQ(bench.Connect().Plan(Image(), {}).plan.Sectors(&SectorPlan::isWritten).Text(), "1-4");
}

TEST_P(ChangedSectors, ANoteThatCannotBeKeptIsAWarning) {
    TemporaryFolder state;
    std::ofstream(state / "file") << "no folder";
    bench.notesFolder = state / "file/loads";
    bytes[0] ^= 1;

    Program(bench.Connect(), Image());

    ASSERT_FALSE(bench.observer.warnings.empty());
    EXPECT_EQ(bench.observer.warnings[0].rfind("Should this load fail, the next one will not know of it", 0), 0u);
    EXPECT_EQ(bench.Flash(0, bytes.size()), bytes);
}

}  // namespace
}  // namespace flash::host
