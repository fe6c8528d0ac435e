// What a failed operation was to leave as it is stands in flash afterwards, wherever it failed, or is told.
#include <gtest/gtest.h>

#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"
#include "tests/support/LongForm.h"

namespace flash::host {
namespace {

class BothGenerations : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(PutBack, BothGenerations, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(BothGenerations, AFailedLoadPutsRetainedAddressesBackAndTheNextOneSucceeds) {
    Bench bench(GetParam());
    Session& session = bench.Connect();
    session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:02"));
    ProgramOptions options;
    options.erase = EraseChoice::All;
    options.closing.retainBle = true;
    options.closing.disableBootloader = true;
    const PlannedLoad plan = session.Plan(ImageOf({{0, Pattern(4096)}}), options);
    bench.Chip().Arm(chip::Fault::OperationFails, 5);  // the bank erase is the first, then words

    const std::string text = FailureOf(FailureKind::Operation, [&] { session.Program(plan); });

    EXPECT_NE(text.find("Timed out waiting for target flashloader"), std::string::npos) << text;
    EXPECT_NE(text.find("programming failed; the flash state machine's status is 4"), std::string::npos) << text;
    EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:02");
    EXPECT_FALSE(session.ReadCcfg().isBootloaderDisabled) << "an abandoned load changes nothing else";
    session.Program(plan);
    EXPECT_EQ(bench.Flash(0, 4096), Pattern(4096));
}

// A load of one word into the last sector: the sector's erase, the word, then the words of the kept CCFG.
struct LoadThatKeepsCcfg {
    explicit LoadThatKeepsCcfg(const char* name) : bench(name), end(bench.device.FlashSizeBytes()) {
        bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
        options.keepCcfg = true;
        const std::uint32_t last = end - bench.device.sectorSizeBytes;
        plan = bench.Connect().Plan(ImageOf({{last, std::vector<std::uint8_t>(4, 0x00)}}), options);
    }

    std::vector<std::uint8_t> Ccfg() { return bench.Flash(end - 0x58, 0x58); }

    Bench bench;
    std::uint32_t end;
    ProgramOptions options;
    PlannedLoad plan;
};

TEST_P(BothGenerations, AFailedLoadPutsAKeptCcfgBackWhereverItFails) {
    LoadThatKeepsCcfg clean(GetParam());
    clean.bench.session->Program(clean.plan);
    const std::uint64_t operations = clean.bench.Chip().GetCounters().flashOperations;
    ASSERT_GE(operations, 4U);
    for (std::uint64_t n = 1; n <= operations; ++n) {
        SCOPED_TRACE(n);
        LoadThatKeepsCcfg load(GetParam());
        load.bench.Chip().Arm(chip::Fault::OperationFails, n);

        FailureOf(FailureKind::Operation, [&] { load.bench.session->Program(load.plan); });

        EXPECT_EQ(load.Ccfg(), GoodCcfg());
        load.bench.session->Program(load.plan);
        EXPECT_EQ(load.Ccfg(), GoodCcfg());
    }
}

TEST_P(BothGenerations, AKeptCcfgThatCannotBePutBackIsTold) {
    LoadThatKeepsCcfg load(GetParam());
    load.bench.Chip().Arm(chip::Fault::PowerLossAfterOperation, 2);

    FailureOf(FailureKind::Operation, [&] { load.bench.session->Program(load.plan); });

    const std::string& warning = load.bench.observer.warnings.front();
    EXPECT_EQ(warning.find("What was to stay is not back in flash; the 88 bytes of CCFG from 0x"), 0U) << warning;
    EXPECT_NE(warning.find(" were 5AFFFFFFFFFFFFFF01005800FFFF"), std::string::npos) << warning;
}

TEST_P(BothGenerations, AFailedEraseOfAllPutsAKeptCcfgBack) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    Session& session = bench.Connect();
    bench.Chip().Arm(chip::Fault::OperationFails, 3);  // the bank erase, then the second word of the kept CCFG

    FailureOf(FailureKind::Operation, [&] { session.EraseAllButCcfg(); });

    EXPECT_EQ(bench.Flash(end - 0x58, 0x58), GoodCcfg());
}

TEST_P(BothGenerations, AnInterruptionAfterABankErasePutsRetainedAddressesAndAKeptCcfgBack) {
    Bench bench(GetParam());
    const std::uint32_t end = bench.device.FlashSizeBytes();
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    Session& session = bench.Connect();
    session.WriteAddress(AddressKind::SecondaryIeee, Ieee("02:00:00:00:00:00:00:03"));
    ProgramOptions options;
    options.erase = EraseChoice::All;
    options.closing.retainIeee = true;
    const PlannedLoad plan = session.Plan(ImageOf({{0, Pattern(4096)}}), options);
    bench.observer.onStageStart = [&](Stage stage) {
        bench.isInterrupted = bench.isInterrupted || stage == Stage::Erase;
    };

    FailureOf(FailureKind::Interrupted, [&] { session.Program(plan); });

    EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryIeee), "02:00:00:00:00:00:00:03");
    bench.isInterrupted = false;
    bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
    options.closing.retainIeee = false;
    options.keepCcfg = true;
    const PlannedLoad keeping = session.Plan(ImageOf({{0, Pattern(4096)}}), options);
    FailureOf(FailureKind::Interrupted, [&] { session.Program(keeping); });
    EXPECT_EQ(bench.Flash(end - 0x58, 0x58), GoodCcfg());
}

// A chip with application data, CCFG and both secondary addresses in its last sector, and one operation on it.
struct FullLastSector {
    explicit FullLastSector(const char* name)
        : bench(name), start(bench.device.FlashSizeBytes() - bench.device.sectorSizeBytes) {
        const std::uint32_t end = bench.device.FlashSizeBytes();
        const std::vector<std::uint8_t> ble{1, 0, 0, 0, 0, 0xC2}, ieee{3, 0, 0, 0, 0, 0, 0, 2};
        bench.Chip().PlaceInFlash(start, Pattern(4));
        bench.Chip().PlaceInFlash(end - 0x58, GoodCcfg());
        bench.Chip().PlaceInFlash(bench.device.Location("DeviceBleSecondary", end).address, ble);
        bench.Chip().PlaceInFlash(bench.device.Location("DeviceIeeeSecondary", end).address, ieee);
        bench.Connect();
        before = Sector();
    }

    std::vector<std::uint8_t> Sector() { return bench.Flash(start, bench.device.sectorSizeBytes); }

    Bench bench;
    std::uint32_t start;
    std::vector<std::uint8_t> before;
};

struct Job {
    const char* name;
    std::function<void(Session&)> work;
    std::uint64_t eraseOfTheLastSector = 1;  // counted in operations of flash
    bool isTriedOnLargeFlash = false;        // the way back is the same for all
};

const Job kLoad{"load",
                [](Session& session) {
                    ProgramOptions options;
                    options.keepCcfg = true;
                    options.closing.disableBootloader = true;
                    Program(session, ImageOf({{0, Pattern(4)}}), options);
                },
                3};  // an erase and a word come first
const Job kChangeOfCcfg{"change of CCFG",
                        [](Session& session) {
                            ClosingChanges changes;
                            changes.disableBootloader = true;
                            session.ChangeCcfg(changes);
                        },
                        1, true};
const Job kAddress{
    "address", [](Session& session) { session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:07")); }, 1};
const Job* const kJobsThatChangeTheLastSector[] = {&kLoad, &kChangeOfCcfg, &kAddress};

constexpr char kSmallFlash[] = "LumoD1F32";

// A sample of the operations, a smaller one on the large flash, which takes its time; in the long form each.
std::uint64_t StrideOn(std::string_view device) {
    if (test::IsLongForm()) {
        return 1;
    }
    return device == kSmallFlash ? 3 : 7;
}

std::uint64_t OperationsOf(const char* device, const Job& job) {
    FullLastSector chip(device);
    job.work(*chip.bench.session);
    EXPECT_NE(chip.Sector(), chip.before);
    return chip.bench.Chip().GetCounters().flashOperations;
}

TEST_P(BothGenerations, AFailingChangeOfTheLastSectorPutsAllOfItBackWhereverItFails) {
    for (const Job* const each : kJobsThatChangeTheLastSector) {
        const Job& job = *each;
        if (!job.isTriedOnLargeFlash && GetParam() != std::string(kSmallFlash)) {
            continue;
        }
        SCOPED_TRACE(job.name);
        const std::uint64_t operations = OperationsOf(GetParam(), job);
        ASSERT_GE(operations, 8U);
        for (std::uint64_t n = 1; n <= operations; n += StrideOn(GetParam())) {
            SCOPED_TRACE(n);
            FullLastSector chip(GetParam());
            chip.bench.Chip().Arm(chip::Fault::OperationFails, n);

            FailureOf(FailureKind::Operation, [&] { job.work(*chip.bench.session); });

            EXPECT_EQ(chip.Sector(), chip.before);
            EXPECT_EQ(chip.bench.observer.warnings, std::vector<std::string>{});
            if (n == 1) {
                job.work(*chip.bench.session);
                EXPECT_NE(chip.Sector(), chip.before);
            }
        }
    }
}

// The controller does nothing at an operation of the job, from `first` on, and says that it did.
void ExpectEachLieToBeFoundAndMadeGood(const Job& job, std::uint64_t first) {
    const std::uint64_t operations = OperationsOf(kSmallFlash, job);
    ASSERT_GE(operations, first);
    for (std::uint64_t n = first; n <= operations; n += StrideOn(kSmallFlash)) {
        SCOPED_TRACE(n);
        FullLastSector chip(kSmallFlash);
        chip.bench.Chip().Arm(chip::Fault::OperationDoesNothing, n);

        EXPECT_THROW(job.work(*chip.bench.session), Failure);

        EXPECT_EQ(chip.Sector(), chip.before);
    }
}

TEST(PutBack, ALieDuringAChangeOfTheLastSectorNeverCostsWhatIsInIt) {
    ExpectEachLieToBeFoundAndMadeGood(kChangeOfCcfg, 1);
}

TEST(PutBack, ALieDuringTheClosingPhaseIsFoundByReadingBack) {
    const Job job{"load", [](Session& session) {
                      ProgramOptions options;
                      options.verification = Verification::ReadBack;
                      options.closing.disableBootloader = true;
                      Program(session, ImageOf({{0, Pattern(4)}}), options);
                  }};
    constexpr std::uint64_t kFirstOfTheClosingPhase = 3;  // an erase and a word come first
    ExpectEachLieToBeFoundAndMadeGood(job, kFirstOfTheClosingPhase);
}

TEST_P(BothGenerations, ARetainedAddressSurvivesABankEraseAndALoadThatFailsAnywhere) {
    const Job job{"load", [](Session& session) {
                      ProgramOptions options;
                      options.erase = EraseChoice::All;
                      options.closing.retainBle = true;
                      Program(session, ImageOf({{0, Pattern(4)}}), options);
                  }};
    const std::uint64_t operations = OperationsOf(GetParam(), job);
    ASSERT_GE(operations, 4U);
    for (std::uint64_t n = 1; n <= operations; n += StrideOn(GetParam())) {
        SCOPED_TRACE(n);
        FullLastSector chip(GetParam());
        chip.bench.Chip().Arm(chip::Fault::OperationFails, n);

        FailureOf(FailureKind::Operation, [&] { job.work(*chip.bench.session); });

        EXPECT_EQ(chip.bench.session->ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:01");
    }
}

TEST_P(BothGenerations, WhatCannotBePutBackIsToldWithItsBytes) {
    for (const Job* const each : kJobsThatChangeTheLastSector) {
        const Job& job = *each;
        SCOPED_TRACE(job.name);
        FullLastSector chip(GetParam());
        chip.bench.Chip().Arm(chip::Fault::PowerLossAfterOperation, job.eraseOfTheLastSector);

        FailureOf(FailureKind::Operation, [&] { job.work(*chip.bench.session); });

        ASSERT_FALSE(chip.bench.observer.warnings.empty());
        const std::string& warning = chip.bench.observer.warnings.front();
        for (const char* expected : {"What was to stay is not back in flash; the 88 bytes of CCFG from 0x",
                                     " were 5AFFFFFFFFFFFFFF01005800FFFF", "BLE address was C2:00:00:00:00:01",
                                     "IEEE address was 02:00:00:00:00:00:00:03", "may be lost, too: "}) {
            EXPECT_NE(warning.find(expected), std::string::npos) << warning;
        }
    }
}

TEST_P(BothGenerations, AProtectedLastSectorIsLeftAloneAndNothingIsCalledLost) {
    FullLastSector chip(GetParam());
    ClosingChanges changes;
    changes.protect = SectorsOf({chip.bench.device.sectorCount - 1}, chip.bench.device.sectorCount);
    chip.bench.session->ChangeCcfg(changes);
    chip.bench.Chip().PowerCycle();
    const auto before = chip.Sector();
    Session& session = chip.bench.Connect();

    FailureOf(FailureKind::Operation,
              [&] { session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:07")); });

    EXPECT_EQ(chip.Sector(), before);
    EXPECT_EQ(chip.bench.observer.warnings, std::vector<std::string>{});
}

TEST_P(BothGenerations, AnEraseOfAllThatLosesAKeptCcfgByALiePutsItBack) {
    for (std::uint64_t n = 2; n <= 5; ++n) {
        SCOPED_TRACE(n);
        Bench bench(GetParam());
        const std::uint32_t end = bench.device.FlashSizeBytes();
        auto ccfg = GoodCcfg();
        std::fill_n(ccfg.begin() + 0x10, 8, 0x11);
        bench.Chip().PlaceInFlash(end - 0x58, ccfg);
        Session& session = bench.Connect();
        bench.Chip().Arm(chip::Fault::OperationDoesNothing, n);

        EXPECT_THROW(session.EraseAllButCcfg(), Failure);

        EXPECT_EQ(bench.Flash(end - 0x58, 0x58), ccfg);
    }
}

TEST_P(BothGenerations, AnEraseThatIsToKeepACcfgWarnsWhenThereIsNone) {
    Bench bench(GetParam());

    bench.Connect().EraseAllButCcfg();

    EXPECT_EQ(bench.observer.warnings,
              std::vector<std::string>{"The chip holds no valid CCFG, so there is none to keep"});
}

}  // namespace
}  // namespace flash::host
