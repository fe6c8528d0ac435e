// Loading and calling a routine over a fake probe: the calls that it takes, the end that does not come, and every call
// that fails.
#include "host/target/Routine.h"

#include <gtest/gtest.h>

#include "tests/host/support/FakeProbe.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kDone = 0x2000'0040;
constexpr std::chrono::milliseconds kBound{20};
const std::vector<std::uint8_t> kArguments = {0, 0, 0, 0, 5, 6};

struct OnAFakeProbe : testing::Test {
    OnAFakeProbe() {
        SymbolTable symbols{std::string_view("Start\0", 6)};
        symbols.Add(0, 0x2000'0001, SymbolTable::Binding::Global);
        routine = {"test.elf", {{0x2000'0000, {1, 2, 3}}, {0x2000'0020, {4}}}, symbols};
    }

    void Call() { CallRoutine(probe, routine, {routine.Find("Start"), kDone, kArguments, kDone, kBound}); }
    void LoadAndCall() {
        LoadRoutine(probe, routine);
        Call();
    }
    void LetItEnd() {
        probe.onPause = [this] { probe.StoreWord(kDone, 1); };
    }

    FakeProbe probe;
    Routine routine;
};

TEST_F(OnAFakeProbe, LoadingHaltsTheCoreAndWritesEachRun) {
    LoadRoutine(probe, routine);

    EXPECT_EQ(probe.calls, (std::vector<std::string>{"route Cortex", "halt", "write", "write"}));
    EXPECT_EQ(probe.ByteAt(0x2000'0002), 3);
    EXPECT_EQ(probe.ByteAt(0x2000'0020), 4);
}

TEST_F(OnAFakeProbe, ACallStartsAtTheEntryAndEndsHalted) {
    LetItEnd();

    Call();

    EXPECT_EQ(probe.registerValue, 0x2000'0000u);
    EXPECT_EQ(probe.ByteAt(kDone + 4), 5);
    EXPECT_FALSE(probe.isRunning);
    EXPECT_EQ(probe.calls,
              (std::vector<std::string>{"write", "write register 527", "run", "read", "pause", "read", "halt"}));
}

TEST_F(OnAFakeProbe, ARoutineThatDoesNotEndIsHaltedAndToldOf) {
    try {
        LoadAndCall();
        FAIL() << "it ended";
    } catch (const RoutineError& error) {
        EXPECT_STREQ(error.what(), "test.elf did not end within 20 ms: the core is running");
    }
    EXPECT_FALSE(probe.isRunning);
    EXPECT_GE(probe.now, kBound);
}

TEST_F(OnAFakeProbe, ARoutineThatStoppedElsewhereIsToldWithThePlace) {
    probe.onPause = [this] { probe.isRunning = false; };

    try {
        LoadAndCall();
        FAIL() << "it ended";
    } catch (const RoutineError& error) {
        EXPECT_STREQ(error.what(), "test.elf did not end within 20 ms: the core is at 0x20000100");
    }
}

TEST_F(OnAFakeProbe, EachCallThatFailsEndsTheAttempt) {
    for (const char* call : {"route Cortex", "halt", "write", "write register 527", "run", "read", "pause"}) {
        SCOPED_TRACE(call);
        LetItEnd();
        probe.memory.clear();
        probe.failingCall = call;

        EXPECT_THROW(LoadAndCall(), ProbeError);
    }
    probe.onPause = nullptr;
    probe.memory.clear();
    probe.failingCall = "state";
    EXPECT_THROW(LoadAndCall(), ProbeError);
}

TEST_F(OnAFakeProbe, AMissingSymbolIsNamed) {
    try {
        routine.Find("End");
        FAIL() << "it was found";
    } catch (const RoutineError& error) {
        EXPECT_STREQ(error.what(), "test.elf has no symbol \"End\"");
    }
}

TEST(ReadRoutine, TellsOfAFileThatIsMissingOrNoProgram) {
    EXPECT_THROW(ReadRoutine("/nowhere/digest.elf"), RoutineError);
    EXPECT_THROW(ReadRoutine("/dev/null"), RoutineError);
}

TEST(ReadRoutine, HasTheImagesBytesAndSymbols) {
    const Routine routine = ReadRoutine(DIGEST_IMAGE);

    EXPECT_EQ(routine.name, "digest.elf");
    ASSERT_EQ(routine.runs.size(), 1u);
    EXPECT_EQ(routine.runs[0].address, 0x2000'0000u);
    EXPECT_EQ(routine.Find("DigestISR") & 1, 1u) << "Thumb code";
}

}  // namespace
}  // namespace flash::host
