#include "host/gdb/GdbProbe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/host/gdb/FakeServer.h"

namespace flash::host::gdb {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr std::uint32_t kRam = 0x2000'0000;
constexpr std::uint32_t kBlock = 0x2000'0400;
constexpr std::uint32_t kStatus = kBlock + 16;
constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;
constexpr std::uint32_t kAnswered = 0x2000'0100;  // where the flashloader comes by when it has answered

std::vector<std::uint8_t> Counting(std::size_t length) {
    std::vector<std::uint8_t> bytes(length);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

template <typename Work>
std::string ErrorText(Work work) {
    try {
        work();
    } catch (const ProbeError& error) {
        return error.what();
    }
    return "no error";
}

class AServer : public testing::Test {
protected:
    AServer() {
        for (std::uint32_t address = kRam; address < kRam + 0x2800; address += 4) {
            server.StoreWord(address, 0xA5A5'A5A5);
        }
        server.StoreWord(0, 0x2000'1000);
        server.StoreWord(4, 0x0000'0201);
        server.StoreWord(kAnswered, 0x4770'BF00);  // nop, and back
    }

    GdbProbe& Probe() {
        if (!probe) {
            probe = std::make_unique<GdbProbe>(server.Stream(), server.clock, "here", options);
        }
        return *probe;
    }

    std::uint32_t ReadWord(std::uint32_t address) {
        std::array<std::uint8_t, 4> bytes{};
        Probe().ReadMemory(address, bytes, 4);
        return static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8 | bytes[2] << 16) | std::uint32_t{bytes[3]} << 24;
    }

    void Post() {
        const std::vector<std::uint8_t> block = {0, 0, 0, 0, 0, 1, 0,    0,    2,    0,
                                                 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
        Probe().WriteMemory(kBlock, block, 1);
    }

    // A flashloader that has answered when it comes by its breakpoint.
    void AnswerWhenResumed() {
        server.onResume = [](FakeServer& target) {
            target.StoreWord(kStatus, 0);
            target.registers[15] = kAnswered;
            return "T05hwbreak:;";
        };
    }

    FakeServer server;
    GdbProbeOptions options;
    std::unique_ptr<GdbProbe> probe;
};

using EveryServer = AServer;

// ---- What servers have and have not

TEST_F(EveryServer, IsGreetedOnceAndLetGoInTheEnd) {
    Probe();
    EXPECT_EQ(server.requests.front().substr(0, 10), "qSupported");
    EXPECT_EQ(server.Count("QStartNoAckMode"), 1u);

    probe.reset();

    EXPECT_TRUE(server.isDetached);
    EXPECT_EQ(server.Count("k"), 0u);
}

TEST_F(EveryServer, HasItsTargetStandingAndWithoutOurBreakpointWhenItIsLetGo) {
    for (const bool isRunning : {true, false}) {
        SCOPED_TRACE(isRunning);
        probe.reset();
        Probe().Answers()->StopWhereAnswered(kAnswered);
        Probe().Run();
        Probe().Pause(milliseconds(1));
        if (!isRunning) {
            Probe().Halt();
        }

        probe.reset();

        EXPECT_FALSE(server.isRunning);
        EXPECT_TRUE(server.breakpoints.empty());
        EXPECT_EQ(server.requests.back(), "D");  // whether it runs on is the server's matter
    }
}

TEST_F(EveryServer, GivesAndTakesMemoryInPiecesThatFitItsPackets) {
    for (const std::size_t packetBytes : {std::size_t{0x40}, std::size_t{0x400}, std::size_t{0x4000}}) {
        SCOPED_TRACE(packetBytes);
        server.packetBytes = packetBytes;
        probe.reset();
        const std::vector<std::uint8_t> bytes = Counting(5000);

        Probe().WriteMemory(kRam, bytes, 1);
        std::vector<std::uint8_t> readBack(bytes.size());
        Probe().ReadMemory(kRam, readBack, 1);

        EXPECT_EQ(server.Stored(kRam, bytes.size()), bytes);
        EXPECT_EQ(readBack, bytes);
        for (const std::string& request : server.requests) {
            EXPECT_LE(request.size() + 4, std::max<std::size_t>(packetBytes, 90)) << request.substr(0, 20);
        }
        server.requests.clear();
    }
}

TEST_F(EveryServer, IsFollowedInWhatItDoesNotKnow) {
    for (const Quirk quirk :
         {Quirk::KnowsNoFeatures, Quirk::KnowsNoDescription, Quirk::KnowsNoActions, Quirk::KnowsNoSingleRegister,
          Quirk::KnowsNoHardwareBreakpoint, Quirk::KnowsNoBreakpoint, Quirk::KnowsNoBinaryWrite,
          Quirk::LosesBinaryWrites, Quirk::TalksAlways, Quirk::AsksForFiles, Quirk::StopsForNoReason,
          Quirk::StopsAtAnyByte, Quirk::AnswersInterruptTwice}) {
        SCOPED_TRACE(static_cast<int>(quirk));
        probe.reset();
        server.quirks = {quirk};
        server.registers = {{0, 0}, {13, 0}, {14, 0}, {15, 0}, {25, 0}};
        AnswerWhenResumed();
        const std::vector<std::uint8_t> bytes = Counting(600);

        Probe().WriteMemory(kRam + 0x1000, bytes, 1);
        Probe().Answers()->StopWhereAnswered(kAnswered);
        Post();
        Probe().WriteRegister(kProgramCounterRegister, kRam);
        EXPECT_EQ(server.registers[15], kRam);
        Probe().Run();
        const bool hasAnswered = Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(50));

        EXPECT_TRUE(hasAnswered);
        EXPECT_EQ(ReadWord(kStatus), 0u);
        EXPECT_EQ(server.Stored(kRam + 0x1000, bytes.size()), bytes);
        Probe().Halt();
        EXPECT_EQ(Probe().ReadRegister(kProgramCounterRegister), kAnswered);
    }
}

TEST_F(AServer, IsGivenBinaryDataOnceItHasShownThatItWritesThem) {
    Probe().WriteMemory(kRam, Counting(1000), 1);

    EXPECT_TRUE(Probe().Server().UsesBinaryWrites());
    EXPECT_EQ(server.Count("M"), 0u);
}

TEST_F(AServer, ThatLosesBinaryDataIsGivenDigits) {
    server.quirks = {Quirk::LosesBinaryWrites};

    Probe().WriteMemory(kRam, Counting(1000), 1);

    EXPECT_FALSE(Probe().Server().UsesBinaryWrites());
    EXPECT_EQ(server.Count("X"), 1u);
    EXPECT_EQ(server.Stored(kRam, 1000), Counting(1000));
}

TEST_F(AServer, ThatLosesEveryWriteIsFoundOutWhenWritesAreChecked) {
    server.quirks = {Quirk::LosesWrites, Quirk::KnowsNoBinaryWrite};
    options.checksWrites = true;

    EXPECT_EQ(ErrorText([&] { Probe().WriteMemory(kRam, Counting(16), 1); }),
              "The server does not write what it is given: at 0x20000000 0x01 was sent and 0xA5 is read back");
}

TEST_F(AServer, ThatRefusesAnAddressIsQuoted) {
    EXPECT_EQ(ErrorText([&] { ReadWord(0x8000'0000); }),
              "Cannot read 4 bytes at 0x80000000: the server says \"error 01\"");
}

TEST_F(AServer, ThatReadsZerosInsteadOfFailingIsFoundOutBeforeAZeroMeansSuccess) {
    Post();
    server.quirks = {Quirk::ReadsZeros};

    EXPECT_THAT(ErrorText([&] { ReadWord(kStatus); }),
                HasSubstr("the server answers with zeros, where 0x01 was written"));
}

TEST_F(AServer, MayAnswerWithAStatusOfZero) {
    Post();
    server.StoreWord(kStatus, 0);

    EXPECT_EQ(ReadWord(kStatus), 0u);
}

TEST_F(AServer, IsAskedForNoRegisterBeyondItsDescription) {
    EXPECT_EQ(ErrorText([&] { Probe().ReadRegister(kFirstCoreRegister + 5); }),
              "The server's target has no register \"r5\" of at most 32 bits");
    EXPECT_EQ(server.Count("p"), 0u);
}

TEST_F(AServer, HasItsCorePutIntoTheStateInWhichItRunsCode) {
    server.registers[25] = 0x4000'0000;

    Probe().WriteRegister(kProgramCounterRegister, kRam);

    EXPECT_EQ(server.registers[25], 0x4100'0000u);
}

TEST_F(AServer, TellsItsSystemRegistersInItsDescription) {
    server.systemFeature =
        "<feature name=\"org.gnu.gdb.arm.m-system\"><reg name=\"msp\" bitsize=\"32\"/><reg name=\"psp\" "
        "bitsize=\"32\"/><reg name=\"primask\" bitsize=\"1\"/><reg name=\"other\" bitsize=\"64\"/></feature>";
    server.registers[26] = 0x2000'1000;
    server.registers[27] = 0x2000'0800;
    server.registers[28] = 0;
    server.registers[29] = 0;
    server.registerBytes = {{28, 1}, {29, 8}};
    for (const bool hasSingle : {true, false}) {
        SCOPED_TRACE(hasSingle);
        probe.reset();
        server.quirks = hasSingle ? std::set<Quirk>{} : std::set{Quirk::KnowsNoSingleRegister};
        DebugService& core = *Probe().Debugging();

        EXPECT_THAT(core.SystemRegisters(), testing::ElementsAre("msp", "psp", "primask"));
        EXPECT_EQ(core.ReadCoreRegister(18), 0x2000'0800u);
        core.WriteCoreRegister(19, 1);

        EXPECT_EQ(core.ReadCoreRegister(19), 1u);
        EXPECT_EQ(server.registers[28], 1u);
        EXPECT_EQ(server.registers[26], 0x2000'1000u);
        server.registers[28] = 0;
    }
}

// ---- Running

TEST_F(AServer, ThatLetsItsTargetRunHasItStoppedToBeLookedAtAndGoOn) {
    for (const char* const answer : {"", "OK", "S00", "T00thread:1;"}) {
        SCOPED_TRACE(answer);
        probe.reset();
        server.letsTargetRun = true;
        server.whyStopped = answer;
        server.interrupts = 0;
        server.requests.clear();

        EXPECT_EQ(ReadWord(kRam + 4), 0xA5A5'A5A5u);
        EXPECT_EQ(server.interrupts, 1);
        EXPECT_TRUE(Probe().ReadCoreState().isRunning);
        EXPECT_EQ(server.Count("vCont;c"), 0u);
        Probe().Pause(milliseconds(1));

        EXPECT_EQ(server.Count("vCont;c"), 1u);
        EXPECT_TRUE(server.isRunning);
    }
}

TEST_F(AServer, WhoseTargetStandsForNoReasonIsNotTakenForOneThatRuns) {
    for (const char* const answer : {"", "S00"}) {
        SCOPED_TRACE(answer);
        probe.reset();
        server.whyStopped = answer;

        EXPECT_EQ(ReadWord(kRam + 4), 0xA5A5'A5A5u);

        EXPECT_FALSE(Probe().ReadCoreState().isRunning);
    }
}

TEST_F(AServer, KeepsItsTargetStandingUntilTimeMustPass) {
    Probe().Run();
    EXPECT_TRUE(Probe().ReadCoreState().isRunning);
    ReadWord(kRam);
    EXPECT_EQ(server.Count("vCont;c"), 0u);

    Probe().Pause(milliseconds(1));

    EXPECT_EQ(server.Count("vCont;c"), 1u);
    EXPECT_TRUE(server.isRunning);
}

TEST_F(AServer, HasARunningTargetStoppedToBeLookedAtAndLeftStanding) {
    Probe().Run();
    Probe().Pause(milliseconds(1));

    EXPECT_EQ(ReadWord(kRam + 4), 0xA5A5'A5A5u);

    EXPECT_EQ(server.interrupts, 1);
    EXPECT_FALSE(server.isRunning);
    EXPECT_TRUE(Probe().ReadCoreState().isRunning);
}

TEST_F(AServer, IsNotInterruptedWhereTheTargetStopsByItself) {
    AnswerWhenResumed();
    Probe().Answers()->StopWhereAnswered(kAnswered);
    Probe().Run();
    for (int i = 0; i < 5; ++i) {
        Post();
        EXPECT_EQ(ReadWord(kStatus), kNotDone);
        EXPECT_TRUE(Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(5)));
        EXPECT_EQ(ReadWord(kStatus), 0u);
    }

    EXPECT_EQ(server.interrupts, 0);
    // The block, its status before and after, past the breakpoint, on, and where it stopped.
    EXPECT_EQ(server.Count("M"), 5u);
    EXPECT_EQ(server.Count("vCont;c"), 5u);
    EXPECT_EQ(server.Count("Pf="), 4u);
}

TEST_F(AServer, IsNotInterruptedByAStatusThatWasNotAnsweredYet) {
    Probe().Answers()->StopWhereAnswered(kAnswered);
    Probe().Run();
    Post();

    EXPECT_FALSE(Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(5)));

    EXPECT_EQ(ReadWord(kStatus), kNotDone);
    EXPECT_FALSE(Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(5)));
    EXPECT_EQ(server.interrupts, 0);
    EXPECT_EQ(server.clock.now, milliseconds(10));
}

TEST_F(AServer, HasItsTargetSteppedOffACodeThatCannotBeLeftOut) {
    server.StoreWord(kAnswered, 0x4770'4770);
    AnswerWhenResumed();
    Probe().Answers()->StopWhereAnswered(kAnswered);
    Probe().Run();
    Post();
    Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(5));
    Post();

    EXPECT_TRUE(Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(5)));

    EXPECT_EQ(server.Count("vCont;s"), 1u);
    EXPECT_TRUE(server.breakpoints.contains("1,20000100"));
}

TEST_F(AServer, IsPolledWhereNobodyTellsThePlaceOfTheAnswer) {
    int interruptions = 0;
    server.onInterrupt = [&](FakeServer& target) {
        if (++interruptions == 3) {
            target.StoreWord(kStatus, 0);
        }
    };
    Probe().Run();
    Post();

    EXPECT_TRUE(Probe().PauseWhileWordIs(kStatus, kNotDone, milliseconds(50)));

    EXPECT_EQ(interruptions, 3);
    EXPECT_EQ(server.clock.now, milliseconds(1 + 2 + 4));
}

TEST_F(AServer, LosesItsBreakpointWhenItIsWrittenOverAndWhenItIsLeft) {
    Probe().Answers()->StopWhereAnswered(kAnswered);
    EXPECT_EQ(server.breakpoints.size(), 1u);
    Probe().WriteMemory(kAnswered - 16, Counting(32), 1);
    EXPECT_TRUE(server.breakpoints.empty());

    Probe().Answers()->StopWhereAnswered(kAnswered);
    probe.reset();

    EXPECT_TRUE(server.breakpoints.empty());
}

TEST_F(AServer, HasARunningTargetStoppedBeforeItsBreakpointIsCleared) {
    Probe().Answers()->StopWhereAnswered(kAnswered);
    Probe().Run();
    Probe().Pause(milliseconds(1));

    Probe().Debugging()->Resume();

    EXPECT_EQ(server.interrupts, 1);
    EXPECT_TRUE(server.breakpoints.empty());
    EXPECT_TRUE(server.isRunning);
}

TEST_F(AServer, WithBackgroundAccessIsNotStopped) {
    options.hasBackgroundAccess = true;
    Probe().Run();
    Probe().Pause(milliseconds(1));

    ReadWord(kRam);

    EXPECT_EQ(server.interrupts, 0);
    EXPECT_TRUE(server.isRunning);
}

TEST_F(AServer, WithBackgroundAccessThatTellsAStopInTheMidstIsHeard) {
    options.hasBackgroundAccess = true;
    server.quirks = {Quirk::StopsWhileItIsRead};
    Probe().Run();
    Probe().Pause(milliseconds(1));

    EXPECT_EQ(ReadWord(kRam), 0xA5A5'A5A5u);

    EXPECT_EQ(Probe().ReadCoreState().note, "stopped by signal 11 at 0x00000100");
    Probe().Halt();
    EXPECT_EQ(server.interrupts, 0);
}

TEST_F(AServer, WhoseTargetLocksUpIsTold) {
    server.quirks = {Quirk::LocksUp};
    Probe().Run();
    Probe().Pause(milliseconds(1));

    const CoreState state = Probe().ReadCoreState();

    EXPECT_FALSE(state.isRunning);
    EXPECT_EQ(state.note, "locked up");
}

TEST_F(AServer, WhoseTargetFaultsIsTold) {
    server.onResume = [](FakeServer& target) {
        target.registers[15] = 0x1234;
        return "T0b";
    };
    Probe().Run();
    EXPECT_FALSE(Probe().PauseWhileWordIs(kRam, 0xA5A5'A5A5, milliseconds(5)));

    EXPECT_EQ(Probe().ReadCoreState().note, "stopped by signal 11 at 0x00001234");
    EXPECT_EQ(Probe().ReadCoreState().programCounter, 0x1234u);
}

// ---- Bad servers

struct BadServer {
    const char* name;
    Quirk quirk;
    const char* text;
};

class ABadServer : public testing::TestWithParam<BadServer> {};

TEST_P(ABadServer, IsToldInWordsWithinTheBound) {
    FakeServer server;
    server.quirks = {GetParam().quirk};
    server.StoreWord(kRam, 1);

    const std::string text = ErrorText([&] {
        GdbProbe probe(server.Stream(), server.clock, "here", {});
        probe.WriteRegister(kProgramCounterRegister, kRam);
        probe.Run();
        probe.Pause(milliseconds(1));
        probe.Halt();
    });

    EXPECT_THAT(text, HasSubstr(GetParam().text));
    EXPECT_LE(server.clock.now, std::chrono::seconds(12));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ABadServer,
    testing::Values(BadServer{"silent", Quirk::NeverAnswers,
                              "no answer within 5000 ms, in the attempt to greet the server"},
                    BadServer{"damaged", Quirk::SendsDamagedPackets, "packets keep arriving damaged"},
                    BadServer{"endless_packet", Quirk::NeverEndsItsPacket, "it sends a packet without an end"},
                    BadServer{"endless_output", Quirk::NeverStopsTalking, "no answer within 5000 ms"},
                    BadServer{"closes", Quirk::ClosesWhenRegistersAreAsked, "the other side closed the connection"},
                    BadServer{"no_target", Quirk::HasNoTarget, "The server has no target"},
                    BadServer{"unstoppable", Quirk::NeverStopsItsTarget, "the target does not stop"}),
    [](const auto& suite) { return std::string(suite.param.name); });

TEST_F(AServer, ThatWasLostIsNotWaitedForTwice) {
    Probe();
    server.quirks = {Quirk::NeverAnswers};
    ErrorText([&] { ReadWord(kRam); });
    const auto before = server.clock.now;

    EXPECT_THAT(ErrorText([&] { ReadWord(kRam); }), HasSubstr("There is no connection to the server any more"));
    EXPECT_EQ(server.clock.now, before);
}

TEST_F(AServer, IsWaitedForAsLongAsIsWanted) {
    options.timeout = std::chrono::seconds(60);
    Probe();
    server.quirks = {Quirk::NeverAnswers};

    ErrorText([&] { ReadWord(kRam); });

    EXPECT_EQ(server.clock.now, std::chrono::seconds(60));
}

// ---- Reset, and what the debug router says

TEST_F(AServer, IsResetByTheCommandThatItKnows) {
    for (const char* const command : {"reset halt", "system_reset", "reset"}) {
        for (const bool explains : {false, true}) {
            SCOPED_TRACE(command);
            probe.reset();
            server.quirks.clear();
            if (explains) {
                server.quirks = {Quirk::ExplainsUnknownCommands};
            }
            server.resetCommand = command;

            Probe().Debugging()->Reset();

            EXPECT_EQ(server.registers[15], 0x200u);
            EXPECT_FALSE(Probe().ReadCoreState().isRunning);
        }
    }
}

TEST_F(AServer, IsResetByTheCommandThatTheUserGave) {
    options.resetCommand = "reset my way";
    server.resetCommand = "reset my way";

    Probe().Debugging()->Reset();

    EXPECT_EQ(server.Count("qRcmd,"), 1u);
    EXPECT_EQ(server.registers[15], 0x200u);
}

TEST_F(AServer, ThatKnowsNoResetIsTold) {
    server.resetCommand = "restart";
    EXPECT_THAT(ErrorText([&] { Probe().Debugging()->Reset(); }), HasSubstr("None of the commands"));

    options.resetCommand = "nonsense";
    probe.reset();
    EXPECT_THAT(ErrorText([&] { Probe().Debugging()->Reset(); }), HasSubstr("refuses the command \"nonsense\""));
}

TEST_F(AServer, HasNoDebugRouterSoThatTheCodeComesFromOurSide) {
    options.assumedIdentificationCode = 0x2000'0001;
    Probe().SelectRoute("Sluice");
    EXPECT_EQ(Probe().ReadRegister(1), 0x2000'0001u);
    EXPECT_THAT(Probe().Describe(), HasSubstr("revision assumed"));
    EXPECT_EQ(ErrorText([&] { Probe().ReadRegister(2); }), "The debug router has no register 2");

    options.identificationCode = 0x3000'0001;
    probe.reset();
    Probe().SelectRoute("Sluice");
    EXPECT_EQ(Probe().ReadRegister(1), 0x3000'0001u);
    EXPECT_EQ(Probe().Describe(), "the GDB server at here");
    EXPECT_EQ(ErrorText([&] { Probe().SelectRoute("Elsewhere"); }), "There is no debug route \"Elsewhere\"");
}

}  // namespace
}  // namespace flash::host::gdb
