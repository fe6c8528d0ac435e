// Whole operations through the real plug-in and the real flashloader on the virtual chip, both generations: what a
// careful host promises, seen in flash.
#include "host/session/Session.h"

#include <gtest/gtest.h>

#include "host/settings/OptionProperties.h"
#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

class BothGenerations : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Session, BothGenerations, testing::Values("LumoD1F64", "LumoF2F352"));

TEST_P(BothGenerations, InfoIsWhatThePluginMeasured) {
    Bench bench(GetParam());

    const ChipInfo info = bench.Connect().Info();

    EXPECT_EQ(info.geometry, (FlashGeometry{bench.device.sectorSizeBytes, bench.device.sectorCount}));
    EXPECT_NE(info.operations.find("BlankCheck"), std::string::npos);
    EXPECT_EQ(bench.Chip().GetCounters().flashOperations, 0u);
}

TEST_P(BothGenerations, EveryEraseChoiceAndVerificationLeavesTheFileInFlash) {
    for (const EraseChoice erase :
         {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All, EraseChoice::Listed, EraseChoice::None}) {
        for (const Verification verification : {Verification::Crc, Verification::ReadBack, Verification::None}) {
            if (verification != Verification::Crc && erase != EraseChoice::Necessary && erase != EraseChoice::None) {
                continue;  // the ways of erasing differ in what is sent, not in how it is compared
            }
            SCOPED_TRACE(static_cast<int>(erase) * 10 + static_cast<int>(verification));
            Bench bench(GetParam());
            ProgramOptions options;
            options.erase = erase;
            options.erasedSectors = SectorsOf({0, 1, 2, 5});
            options.verification = verification;
            const auto bytes = Pattern(9000);

            const LoadResult result = Program(bench.Connect(), ImageOf({{0x104, bytes}}), options);

            EXPECT_EQ(bench.Flash(0x104, bytes.size()), bytes);
            EXPECT_EQ(result.fileBytes, bytes.size());
            EXPECT_EQ(result.verifiedBytes, verification == Verification::None ? 0 : bytes.size());
            EXPECT_EQ(bench.Chip().ViolationTotal(), 0u);
        }
    }
}

TEST_P(BothGenerations, TwoPiecesOfOneSectorBothSurviveAndEachSectorIsErasedOnce) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    Program(session, ImageOf({{0, Pattern(3 * bench.device.sectorSizeBytes, 9)}}));
    const auto before = bench.Chip().GetCounters().sectorErases;

    Program(session, ImageOf({{0x10, Pattern(100)}, {0x800, Pattern(100)}}));

    EXPECT_EQ(bench.Flash(0x10, 100), Pattern(100));
    EXPECT_EQ(bench.Flash(0x800, 100), Pattern(100));
    EXPECT_EQ(bench.Flash(0x400, 4), std::vector<std::uint8_t>(4, 0xFF));
    EXPECT_EQ(bench.Chip().GetCounters().sectorErases[0] - before[0], 1u);
    EXPECT_EQ(bench.Chip().GetCounters().sectorErases[1], before[1]);
}

TEST_P(BothGenerations, RetainingKeepsTheRestOfASector) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const auto old = Pattern(bench.device.sectorSizeBytes, 9);
    Program(session, ImageOf({{0, old}}));
    ProgramOptions options;
    options.erase = EraseChoice::Retain;

    Program(session, ImageOf({{0x100, Pattern(64)}}), options);

    auto expected = old;
    std::copy_n(Pattern(64).begin(), 64, expected.begin() + 0x100);
    EXPECT_EQ(bench.Flash(0, expected.size()), expected);
}

TEST_P(BothGenerations, ListedSectorsAreErasedOnceBeforeTheFirstWriteOnly) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const std::uint32_t sector = bench.device.sectorSizeBytes;
    Program(session, ImageOf({{0, Pattern(8 * sector, 9)}}));
    ProgramOptions options;
    options.erase = EraseChoice::Listed;
    options.erasedSectors = SectorsOf({0, 1, 2, 3, 4, 5, 6});

    Program(session, ImageOf({{0, Pattern(16)}, {4 * sector, Pattern(16)}}), options);

    EXPECT_EQ(bench.Flash(0, 16), Pattern(16));
    EXPECT_EQ(bench.Flash(4 * sector, 16), Pattern(16));
    EXPECT_EQ(bench.Flash(2 * sector, 16), std::vector<std::uint8_t>(16, 0xFF));
    EXPECT_NE(bench.Flash(7 * sector, 16), std::vector<std::uint8_t>(16, 0xFF));
}

TEST_P(BothGenerations, SkippedSectorsStayAndTheirNeighboursAreWholeToTheLastByte) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const std::uint32_t sector = bench.device.sectorSizeBytes;
    ProgramOptions options;
    options.skippedSectors = SectorsOf({1, 3});
    const auto bytes = Pattern(5 * sector);

    Program(session, ImageOf({{0, bytes}}), options);

    for (const std::uint32_t index : {0u, 2u, 4u}) {
        EXPECT_EQ(bench.Flash(index * sector, sector),
                  std::vector<std::uint8_t>(bytes.begin() + index * sector, bytes.begin() + (index + 1) * sector));
    }
    EXPECT_EQ(bench.Flash(sector, sector), std::vector<std::uint8_t>(sector, 0xFF));
    EXPECT_EQ(bench.Chip().GetCounters().sectorErases[3], 0u);
}

TEST_P(BothGenerations, EraseAllWithSkippedSectorsLeavesThemAndTheSettingIsPutBack) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const std::uint32_t sector = bench.device.sectorSizeBytes;
    Program(session, ImageOf({{sector, Pattern(sector, 9)}}));
    ProgramOptions options;
    options.erase = EraseChoice::All;
    options.skippedSectors = SectorsOf({1});

    Program(session, ImageOf({{0, Pattern(16)}}), options);
    EXPECT_EQ(bench.Flash(sector, sector), Pattern(sector, 9));
    options.skippedSectors = {};
    Program(session, ImageOf({{0, Pattern(16)}}), options);

    EXPECT_EQ(bench.Flash(sector, sector), std::vector<std::uint8_t>(sector, 0xFF))
        << "the plug-in's override was not undone";
}

TEST_P(BothGenerations, AKeptCcfgSurvivesEveryEraseChoice) {
    for (const EraseChoice erase :
         {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All, EraseChoice::Listed}) {
        SCOPED_TRACE(static_cast<int>(erase));
        Bench bench(GetParam());
        const std::uint32_t end = bench.device.FlashSizeBytes();
        bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
        ProgramOptions options;
        options.keepCcfg = true;
        options.erase = erase;
        options.erasedSectors = SectorSet(bench.device.sectorCount);
        options.erasedSectors.AddAll();
        // Data that ends below CCFG in the last sector, and a file that has bytes for CCFG.
        const std::uint32_t last = end - bench.device.sectorSizeBytes;

        Session& session = bench.Connect();
        Program(session, ImageOf({{last, Pattern(64)}}), options);
        EXPECT_EQ(bench.Flash(end - 0x58, 0x58), GoodCcfg());
        Program(session, ImageOf({{last, Pattern(bench.device.sectorSizeBytes, 3)}}), options);

        EXPECT_EQ(bench.Flash(end - 0x58, 0x58), GoodCcfg());
        EXPECT_EQ(bench.Flash(last, 64), Pattern(64, 3));
    }
}

TEST_P(BothGenerations, CcfgIsLostOnlyOnPurposeOrForAnotherOne) {
    for (const std::optional<bool> keepCcfg : {std::optional<bool>(), std::optional(false)}) {
        for (const EraseChoice erase : {EraseChoice::Necessary, EraseChoice::All}) {
            SCOPED_TRACE(static_cast<int>(erase) * 10 + keepCcfg.has_value());
            Bench bench(GetParam());
            const std::uint32_t end = bench.device.FlashSizeBytes();
            bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
            ProgramOptions options;
            options.keepCcfg = keepCcfg;
            options.erase = erase;
            const std::uint32_t address = erase == EraseChoice::All ? 0 : end - bench.device.sectorSizeBytes;

            Program(bench.Connect(), ImageOf({{address, Pattern(64)}}), options);

            EXPECT_EQ(bench.Flash(address, 64), Pattern(64));
            EXPECT_EQ(bench.Flash(end - 0x58, 0x58), keepCcfg ? std::vector<std::uint8_t>(0x58, 0xFF) : GoodCcfg());
            EXPECT_EQ(bench.observer.warnings.size(), keepCcfg ? 0U : 1U);
        }
    }
}

TEST_P(BothGenerations, ALoadThatBringsCcfgReplacesTheChips) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    std::vector<std::uint8_t> other = GoodCcfg();
    other[0] = 0x77;
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());

    Program(bench.Connect(), ImageOf({{end - 0x58, other}}));

    EXPECT_EQ(bench.Flash(end - 0x58, 0x58), other);
    EXPECT_TRUE(bench.observer.warnings.empty());
}

TEST_P(BothGenerations, WithoutErasingWhatCannotBeProgrammedIsRefusedBeforeAnythingIsTouched) {
    Bench bench(GetParam());
    bench.Chip().PlaceInFlash(0x100, std::vector<std::uint8_t>{0x0F, 0, 0, 0});
    ProgramOptions options;
    options.erase = EraseChoice::None;

    const std::string text = FailureOf(FailureKind::BadInput, [&] {
        Program(bench.Connect(), ImageOf({{0x100, {0x1F, 0, 0, 0}}}), options);
    });

    EXPECT_EQ(text,
              "\"erase\": the word at 0x00000100 is 0x0000000F and cannot become 0x0000001F without being erased");
    EXPECT_EQ(bench.Chip().GetCounters().flashOperations, 0U);
}

TEST_P(BothGenerations, KeepingAndChangingCcfgInOneLoadDoBoth) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    ProgramOptions options;
    options.keepCcfg = true;
    options.closing.ble = Ble("C2:00:00:00:00:01");
    options.closing.disableBootloader = true;

    Session& session = bench.Connect();
    Program(session, ImageOf({{end - bench.device.sectorSizeBytes, Pattern(64)}}), options);

    EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:01");
    EXPECT_TRUE(session.ReadCcfg().isBootloaderDisabled);
    EXPECT_EQ(bench.Flash(end - 0x58, 1)[0], 0x5A);
}

TEST_P(BothGenerations, RetainedAddressesSurviveABankErase) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:02"));
    session.WriteAddress(AddressKind::SecondaryIeee, Ieee("02:00:00:00:00:00:00:03"));
    session.ReadAddress(AddressKind::SecondaryBle);  // turns the plug-in's cached copy round
    ProgramOptions options;
    options.erase = EraseChoice::All;
    options.closing.retainBle = true;
    options.closing.retainIeee = true;

    Program(session, ImageOf({{0, Pattern(64)}}), options);

    EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:02");
    EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryIeee), "02:00:00:00:00:00:00:03");
}

TEST_P(BothGenerations, ASilentCoreIsExplained) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const PlannedLoad plan = session.Plan(ImageOf({{0, Pattern(4096)}}), {});
    bench.Chip().Arm(chip::Fault::CoreStopsAtOperation, 3);

    const std::string text = FailureOf(FailureKind::Operation, [&] { session.Program(plan); });

    EXPECT_NE(text.find("the flashloader never answered"), std::string::npos) << text;
    EXPECT_NE(text.find("locked up"), std::string::npos) << text;
}

TEST_P(BothGenerations, ALyingFlashIsFoundByCrcAndByReadingBack) {
    for (const Verification verification : {Verification::Crc, Verification::ReadBack}) {
        Bench bench(GetParam());
        Session& session = bench.Connect();
        ProgramOptions options;
        options.verification = verification;
        const PlannedLoad plan = session.Plan(ImageOf({{0, Pattern(4096)}}), options);
        bench.Chip().Arm(chip::Fault::OperationDoesNothing, 20);  // one of the first words

        const std::string text = FailureOf(FailureKind::Difference, [&] { session.Program(plan); });

        EXPECT_NE(text.find("first at 0x000000"), std::string::npos) << text;
    }
}

TEST_P(BothGenerations, AnUnawaitedRestoreThatFailsFailsTheLoad) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    ProgramOptions options;
    options.keepCcfg = true;
    options.verification = Verification::None;
    Session& session = bench.Connect();
    const PlannedLoad plan =
        session.Plan(ImageOf({{end - bench.device.sectorSizeBytes, std::vector<std::uint8_t>(4, 0x00)}}), options);
    bench.Chip().Arm(chip::Fault::OperationFails, 3);  // the erase, the file's word, then the first word of the restore

    const std::string text = FailureOf(FailureKind::Operation, [&] { session.Program(plan); });

    EXPECT_NE(text.find("not waited for by the plug-in: command 4"), std::string::npos) << text;
}

TEST_P(BothGenerations, AnInterruptionStopsBetweenSectorsAndTheSameLoadSucceedsAfterwards) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const std::uint32_t sector = bench.device.sectorSizeBytes;
    const ProgramImage image = ImageOf({{0, Pattern(6 * sector)}});
    const PlannedLoad plan = session.Plan(image, {});
    bench.observer.onStageStart = [&](Stage stage) { bench.isInterrupted = stage == Stage::Program; };

    FailureOf(FailureKind::Interrupted, [&] { session.Program(plan); });

    EXPECT_EQ(bench.Flash(0, sector), Pattern(sector)) << "the sector in work is finished";
    EXPECT_EQ(bench.Flash(sector, sector), std::vector<std::uint8_t>(sector, 0xFF));
    EXPECT_EQ(bench.Chip().State(), chip::CoreState::Halted);
    bench.observer.onStageStart = nullptr;
    bench.isInterrupted = false;
    session.Program(plan);
    EXPECT_EQ(session.Verify(image), image.ByteCount());
}

TEST(Session, AnInterruptionBeforeAnOperationIsHonouredAndNothingIsTouched) {
    struct Case {
        const char* name;
        std::function<void(Session&)> work;
    };
    ClosingChanges changes;
    changes.disableBootloader = true;
    const Case cases[] = {
        {"erase", [](Session& session) { session.EraseAll(); }},
        {"erase --keep-ccfg", [](Session& session) { session.EraseAllButCcfg(); }},
        {"erase --sectors", [](Session& session) { session.EraseSectors(SectorsOf({0})); }},
        {"blank-check", [](Session& session) { session.BlankCheck(); }},
        {"mac write",
         [](Session& session) { session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:01")); }},
        {"ccfg", [&](Session& session) { session.ChangeCcfg(changes); }},
        {"program",
         [](Session& session) {
             Program(session, ImageOf({{0, Pattern(4)}}));
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bench bench("LumoD1F32");
        bench.Chip().PlaceInFlash(0, Pattern(16));
        Session& session = bench.Connect();
        bench.isInterrupted = true;

        FailureOf(FailureKind::Interrupted, [&] { c.work(session); });

        EXPECT_EQ(bench.Chip().GetCounters().flashOperations, 0U);
        EXPECT_EQ(bench.Chip().GetCounters().bytesWritten, 0U);
    }
}

std::size_t ResetsOf(const chip::VirtualChip& chip) {
    return static_cast<std::size_t>(std::ranges::count(chip.Timeline(), chip::EventKind::Reset, &chip::Event::kind));
}

// What an application has set up in the core is seen in its registers: unaligned accesses trapped, memory protected.
TEST(Session, ACoreThatSomethingElseUsedIsResetOnceBeforeOurFirstProgramOnIt) {
    for (const WriteChoice write : {WriteChoice::Changed, WriteChoice::All}) {
        SCOPED_TRACE(static_cast<int>(write));
        Bench bench("LumoF2F352");
        bench.Chip().WriteWord(0xE000'ED14, 0x18);
        bench.Chip().WriteWord(0xE000'ED94, 1);
        ProgramOptions options;
        options.write = write;
        Session& session = bench.Connect();

        Program(session, ImageOf({{0x104, Pattern(9000)}}), options);
        session.Verify(ImageOf({{0x104, Pattern(9000)}}));
        Program(session, ImageOf({{0x104, Pattern(9000, 2)}}), options);

        EXPECT_EQ(ResetsOf(bench.Chip()), 1U);
        EXPECT_EQ(bench.Chip().ReadWord(0xE000'ED14), 0U);
        EXPECT_EQ(bench.Chip().ReadWord(0xE000'ED94), 0U);
        EXPECT_EQ(bench.Flash(0x104, 9000), Pattern(9000, 2));
    }
}

TEST(Session, LookingAtAChipLeavesItsCoreAlone) {
    Bench bench("LumoD1F64");

    Session& session = bench.Connect();
    session.Read(0, 64);
    session.ReadCcfg();

    EXPECT_EQ(ResetsOf(bench.Chip()), 0U);
}

TEST_P(BothGenerations, EraseAndBlankCheckAndSectors) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    const std::uint32_t sector = bench.device.sectorSizeBytes;
    session.BlankCheck();
    Program(session, ImageOf({{0x100, Pattern(4 * sector)}}));

    const std::string text = FailureOf(FailureKind::Difference, [&] { session.BlankCheck(); });
    EXPECT_NE(text.find("first at 0x00000100"), std::string::npos) << text;
    session.EraseSectors(SectorsOf({1, 2}));
    EXPECT_EQ(bench.Flash(sector, 2 * sector), std::vector<std::uint8_t>(2 * sector, 0xFF));
    EXPECT_NE(bench.Flash(3 * sector, 16), std::vector<std::uint8_t>(16, 0xFF));
    session.EraseAll();
    session.BlankCheck();
}

// Whether a blank check of blank flash succeeds when the core stops at that transfer; it must not be called programmed.
bool IsBlankCheckSuccessful(std::uint64_t transferOfStop) {
    SCOPED_TRACE(transferOfStop);
    Bench bench("LumoD1F32");
    Session& session = bench.Connect();
    bench.Chip().Arm(chip::Fault::CoreStopsAtTransfer, transferOfStop);
    try {
        session.BlankCheck();
        return true;
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Kind(), FailureKind::Operation) << failure.what();
        EXPECT_NE(std::string(failure.what()).find("no answer that can be trusted"), std::string::npos)
            << failure.what();
        return false;
    }
}

TEST(Session, ABlankCheckOfBlankFlashIsNeverCalledProgrammedWhereverTheCoreStops) {
    std::string results;  // of each transfer
    for (std::uint64_t transfer = 1; transfer <= 24; ++transfer) {
        results += IsBlankCheckSuccessful(transfer) ? '+' : '-';
    }

    // Each stop between the start of the core and its answer fails the check, and no other one.
    const std::size_t first = results.find('-');
    const std::size_t count = results.rfind('-') - first + 1;
    EXPECT_GE(count, 2u) << results;
    EXPECT_EQ(results, std::string(first, '+') + std::string(count, '-') + std::string(24 - first - count, '+'));
}

TEST_P(BothGenerations, AFailingLastEraseThatThePluginDoesNotWaitForIsFound) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    Program(session, ImageOf({{0, Pattern(64)}}));
    bench.Chip().Arm(chip::Fault::OperationFails, 1);

    const std::string text = FailureOf(FailureKind::Operation, [&] { session.EraseSectors(SectorsOf({0})); });

    EXPECT_NE(text.find("erasing sector 0 failed"), std::string::npos) << text;
}

TEST_P(BothGenerations, ABankEraseKeepsCcfgWhenAsked) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    bench.Chip().PlaceInFlash(0, Pattern(64));

    bench.Connect().EraseAllButCcfg();

    EXPECT_EQ(bench.Flash(end - 0x58, 0x58), GoodCcfg());
    EXPECT_EQ(bench.Flash(0, 64), std::vector<std::uint8_t>(64, 0xFF));
}

TEST_P(BothGenerations, ProtectionIsAddedToWhatIsProtected) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    ClosingChanges changes;
    changes.protect = SectorsOf({0, 2});
    session.ChangeCcfg(changes);
    changes.protect = SectorsOf({5});

    session.ChangeCcfg(changes);

    EXPECT_EQ(session.ReadCcfg().protectedSectors.Text(), "0,2,5");
}

TEST_P(BothGenerations, ANamedOperationLeavesCcfgAloneWhateverTheSettingsSay) {
    Bench bench(GetParam());
    for (const std::string& option : ClosingOptions()) {
        bench.properties[option] = "1";
    }
    Session& session = bench.Connect();

    session.BlankCheck();
    session.EraseSectors(SectorsOf({0}));

    EXPECT_FALSE(session.ReadCcfg().isDebugDisabled);
    EXPECT_FALSE(session.ReadCcfg().isBootloaderDisabled);
    session.BlankCheck();
}

TEST_P(BothGenerations, WhatCannotWorkIsRefusedBeforeAnythingIsTouched) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    ProgramOptions skipping, contradicting;
    skipping.skippedSectors = SectorsOf({0});
    contradicting.closing.retainBle = true;
    contradicting.closing.ble = Ble("C2:00:00:00:00:01");

    EXPECT_EQ(FailureOf(FailureKind::BadInput,
                        [&] {
                            session.Plan(ImageOf({{0, Pattern(16)}}), skipping);
                        }),
              "Nothing is left to program: everything in the file is skipped");
    EXPECT_EQ(FailureOf(FailureKind::BadInput,
                        [&] {
                            session.Plan(ImageOf({{0, Pattern(16)}}), contradicting);
                        }),
              "An address can be retained or replaced, not both");
    EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { session.ChangeCcfg(contradicting.closing); }),
              "An address can be retained or replaced, not both");
    EXPECT_THROW(session.Plan(ImageOf({{bench.device.FlashSizeBytes() - 1, Pattern(2)}}), {}), ProgramFileError);
    EXPECT_EQ(bench.Chip().GetCounters().flashOperations, 0u);
    EXPECT_EQ(bench.Chip().GetCounters().bytesWritten, 0u);
}

TEST(Session, AFlashThatDoesNotGoWithTheDescriptionIsRefused) {
    Bench bench("LumoD1F64", FAKE_PLUGIN_MODULE, "odd size");

    EXPECT_NE(FailureOf(FailureKind::Unreachable, [&] { bench.Connect(); }).find("does \"device\" fit the chip?"),
              std::string::npos);
}

TEST(Session, AChipThatCannotBeIdentifiedIsNotReachable) {
    Bench bench("LumoD1F64", FAKE_PLUGIN_MODULE, "Initialize fails");

    const std::string text = FailureOf(FailureKind::Unreachable, [&] { bench.Connect(); });

    EXPECT_TRUE(
        text.ends_with("): the plug-in failed for a reason of its own. Is it powered, and its debug port enabled?\n"
                       "The plug-in said: no chip answers"))
        << text;
}

TEST(Session, WhatThePluginOnlyReportsFailsTheOperation) {
    Bench bench("LumoD1F128", FAKE_PLUGIN_MODULE, "reports an error");

    const std::string text = FailureOf(FailureKind::Operation, [&] { bench.Connect().EraseAll(); });

    EXPECT_NE(text.find("Flash Programmer: Error erasing flash."), std::string::npos) << text;
}

TEST(Session, DataThatThePluginSilentlyDropsIsNoticed) {
    Bench bench("LumoD1F128", FAKE_PLUGIN_MODULE, "");
    Session& session = bench.Connect();

    const std::string text = FailureOf(FailureKind::Operation, [&] { Program(session, ImageOf({{0, Pattern(16)}})); });

    EXPECT_NE(text.find("programmed 0 of 4096 bytes"), std::string::npos) << text;
}

TEST(Session, AProgrammedAnswerWithoutAMailboxIsNotTrusted) {
    for (const char* behaviour : {"programmed", "says nothing"}) {
        Bench bench("LumoD1F128", FAKE_PLUGIN_MODULE, behaviour);
        FailureOf(FailureKind::Operation, [&] { bench.Connect().BlankCheck(); });
    }
}

TEST(Session, ADisabledDebugPortMakesTheChipUnreachable) {
    Bench bench("LumoF2F352");
    ClosingChanges changes;
    changes.disableDebug = true;
    bench.Connect().ChangeCcfg(changes);
    bench.Chip().PowerCycle();

    FailureOf(FailureKind::Unreachable, [&] { bench.Connect(); });
}

TEST(Session, PrimaryAddressesAreReadAndNeverWritten) {
    Bench bench("LumoF2F352");
    Session& session = bench.Connect();

    EXPECT_EQ(session.ReadAddress(AddressKind::PrimaryBle), "C2:02:03:04:05:06");
    EXPECT_EQ(session.ReadAddress(AddressKind::PrimaryIeee), "02:02:03:04:05:06:07:08");
    FailureOf(FailureKind::BadInput, [&] { session.WriteAddress(AddressKind::PrimaryBle, Ble("C2:00:00:00:00:01")); });
}

TEST(Session, ReadingIsForFlashOnlyAndExact) {
    Bench bench("LumoD1F64");
    bench.Chip().PlaceInFlash(0x101, Pattern(5001));
    Session& session = bench.Connect();

    EXPECT_EQ(session.Read(0x101, 5001), Pattern(5001));
    struct Case {
        std::uint32_t address, length;
    };
    for (const Case& c : {Case{0, 0}, {0xFFFF, 2}, {0x10000, 1}, {0xFFFFFFFF, 0xFFFFFFFF}}) {
        FailureOf(FailureKind::BadInput, [&] { session.Read(c.address, c.length); });
    }
}

TEST(Session, VerifyingTellsTheFirstDifferenceWithBothBytesAndTheCount) {
    Bench bench("LumoD1F64");
    auto flash = Pattern(6000);
    flash[5000] ^= 0x01;
    flash[5001] ^= 0xFF;
    bench.Chip().PlaceInFlash(0x100, flash);

    const std::string text = FailureOf(FailureKind::Difference, [&] {
        bench.Connect().Verify(ImageOf({{0x100, Pattern(6000)}}));
    });

    EXPECT_EQ(text, "Verifying: 2 of 6000 bytes differ, first at 0x00001488, where the file has 0xB0 and flash 0xB1");
}

}  // namespace
}  // namespace flash::host
