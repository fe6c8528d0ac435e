#include "host/gdb/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/gdb/Hex.h"
#include "host/gdb/ServerDocuments.h"
#include "tests/host/gdb/FakeChip.h"
#include "tests/host/gdb/MemoryStream.h"

namespace flash::host::gdb {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Packets = std::vector<std::string>;

class AServerOverAChip : public testing::Test {
protected:
    // What a client receives that sends these packets, without acknowledgements, and leaves.
    Packets Converse(const Packets& packets) {
        std::string bytes = "$QStartNoAckMode#b0";
        for (const std::string& packet : packets) {
            bytes += EncodePacket(packet);
        }
        Packets replies = Receive(bytes);
        EXPECT_EQ(replies.front(), "OK");
        replies.erase(replies.begin());
        return replies;
    }

    Packets Receive(const std::string& bytes) {
        MemoryStream stream(clock);
        current = &stream;
        stream.readable = bytes;
        stream.isClosed = false;
        stream.onSilence = [this, &stream] {  // the client has said all, and leaves unless it waits for something
            stream.isClosed = stream.isClosed || (!chip.isRunning && !isLoading && !staysSilent);
            return "";
        };
        ServerOptions options;
        options.packetBytes = packetBytes;
        options.say = [this](const std::string& text) { said.push_back(text); };
        options.onIdle = onIdle;
        Server server(chip, clock, options, isInterrupted, mustEnd);
        server.Serve(stream);
        written = stream.Written();
        FrameDecoder decoder(1 << 20, RunLength::Expand);
        Packets replies;
        for (const char byte : written) {
            if (const auto frame = decoder.Take(byte); frame && frame->kind == FrameKind::Packet) {
                replies.push_back(frame->payload);
            }
        }
        return replies;
    }

    static std::string Text(const std::string& output) {
        const auto bytes = BytesOf(std::string_view(output).substr(1)).value();
        return {bytes.begin(), bytes.end()};
    }

    FakeClock clock;
    FakeChip chip;
    std::atomic<bool> isInterrupted{false}, mustEnd{false};
    std::uint32_t packetBytes = 0x1000;
    Packets said;
    std::function<void()> onIdle = [] {};
    std::string written;
    MemoryStream* current = nullptr;
    bool isLoading = false;
    bool staysSilent = false;
    const std::vector<std::uint8_t> untouched = std::vector<std::uint8_t>(FakeChip::kFlashBytes, 0x55);
};

TEST_F(AServerOverAChip, AnswersWhatADebuggerAsksFirst) {
    EXPECT_THAT(Converse({"qSupported:hwbreak+", "vMustReplyEmpty", "!", "Hg0", "qTStatus", "?", "qfThreadInfo",
                          "qsThreadInfo", "Hc-1", "qC", "qAttached", "qOffsets", "T1", "vCont?"}),
                ElementsAre(HasSubstr("PacketSize=1000;QStartNoAckMode+;qXfer:memory-map:read+"), "", "OK", "OK", "",
                            "T02thread:1;", "m1", "l", "OK", "QC1", "1", "", "OK", "vCont;c;C;s;S"));
}

TEST_F(AServerOverAChip, AcknowledgesUntilBothAgreeOtherwise) {
    Receive("+$!#21$QStartNoAckMode#b0+$!#21");

    EXPECT_EQ(written, "+$OK#9a+$OK#9a$OK#9a");
}

TEST_F(AServerOverAChip, GivesItsDocumentsInPieces) {
    packetBytes = 0x80;
    std::string map;
    for (int offset = 0; offset < 2000; offset += 0x30) {
        const std::string piece = Converse({"qXfer:memory-map:read::" +
                                            HexOf(std::vector<std::uint8_t>{static_cast<std::uint8_t>(offset >> 8),
                                                                            static_cast<std::uint8_t>(offset)}) +
                                            ",30"})
                                      .front();
        map += piece.substr(1);
        if (piece.front() == 'l') {
            break;
        }
    }

    EXPECT_EQ(map, MemoryMapDocument(chip.MemoryMap()));
    packetBytes = 0x4000;
    EXPECT_EQ(Converse({"qXfer:features:read:target.xml:0,3000"}).front(),
              "l" + TargetDocument({"msp", "psp", "control"}));
    EXPECT_EQ(Converse({"qXfer:features:read:other.xml:0,3000"}).front(), "E00");
    EXPECT_EQ(Converse({"qXfer:memory-map:read::ffffffff,ffffffff"}).front(), "l");
}

TEST_F(AServerOverAChip, GivesAndTakesRegisters) {
    EXPECT_THAT(Converse({"Pf=04030201", "pf", "P19=00000001", "p19", "p10", "Pf=00", "P1c=02000000", "p1c", "p1d"}),
                ElementsAre("OK", "04030201", "OK", "00000001", "E01", "E01", "OK", "02000000", "E01"));
    EXPECT_EQ(chip.registers[19], 2u);
    EXPECT_EQ(chip.registers[15], 0x0102'0304u);
    EXPECT_EQ(chip.registers[16], 0x0100'0000u);
    std::string all = Converse({"g"}).front();
    EXPECT_EQ(all.size(), 20u * 8);
    EXPECT_EQ(all.substr(15 * 8), "0403020100000001000000000000000002000000");

    all.replace(0, 8, "78563412");
    EXPECT_EQ(Converse({"G" + all, "G00"}), (Packets{"OK", "E01"}));
    EXPECT_EQ(chip.registers[0], 0x1234'5678u);
}

TEST_F(AServerOverAChip, GivesAndTakesMemory) {
    EXPECT_EQ(Converse({"M20000010,2:abcd", "X20000012,2:}\x03z", "m20000010,4", "X20000000,0:", "m20000000,0"}),
              (Packets{"OK", "OK", "abcd237a", "OK", ""}));
    EXPECT_EQ(Converse({"m20000ffe,4", "m80000000,1", "mffffffff,ffffffff"}), (Packets{"E01", "E01", "E01"}));
}

TEST_F(AServerOverAChip, NeverWritesFlashLikeRam) {
    EXPECT_EQ(Converse({"M0,1:00", "X1fff,1:a", "X2000,1:a"}), (Packets{"E01", "E01", "E01"}));
    EXPECT_THAT(Text(Converse({"M10,1:00", "qRcmd,776879"}).at(1)),
                HasSubstr("Flash at 0x00000010 is programmed by \"load\""));
    EXPECT_EQ(chip.flash, untouched);
}

TEST_F(AServerOverAChip, AnswersErrorsInWordsWhereTheyAreUnderstood) {
    EXPECT_EQ(Converse({"qSupported:error-message+", "m80000000,1"}).at(1), "E.There is no such memory");
}

TEST_F(AServerOverAChip, GivesTheChecksumThatDebuggersCompare) {
    const std::string digits = "313233343536373839";
    EXPECT_EQ(Converse({"M20000000,9:" + digits, "qCRC:20000000,9", "qCRC:1ffff,2"}),
              (Packets{"OK", "C0376e6e7", "E01"}));
}

// ---- Load

TEST_F(AServerOverAChip, ProgramsWhenTheLoadIsDone) {
    const Packets replies = Converse({"vFlashErase:00000400,00000400", "vFlashWrite:410:abc", "vFlashDone"});

    EXPECT_EQ(replies, (Packets{"OK", "OK", "OK"}));
    EXPECT_EQ(chip.loads, 1);
    EXPECT_EQ(chip.flash[0x3FF], 0x55);
    EXPECT_EQ(chip.flash[0x400], 0xFF);
    EXPECT_EQ(chip.flash[0x410], 'a');
    EXPECT_EQ(chip.flash[0x413], 0xFF);
    EXPECT_EQ(chip.flash[0x800], 0x55);
    EXPECT_THAT(said, ElementsAre("Programmed", HasSubstr("The client is gone")));
}

TEST_F(AServerOverAChip, KeepsTheRestOfABlockThatTheDebuggerForgotToErase) {
    Converse({"vFlashErase:0,400", "vFlashWrite:3ff:ab", "vFlashDone"});

    EXPECT_EQ(chip.flash[0x3FE], 0xFF);
    EXPECT_EQ(chip.flash[0x3FF], 'a');
    EXPECT_EQ(chip.flash[0x400], 'b');
    EXPECT_EQ(chip.flash[0x401], 0x55);
}

TEST_F(AServerOverAChip, ErasesWithoutAWrite) {
    Converse({"vFlashErase:0,2000", "vFlashDone"});

    EXPECT_EQ(chip.flash, std::vector<std::uint8_t>(FakeChip::kFlashBytes, 0xFF));
}

TEST_F(AServerOverAChip, LeavesFlashAloneWhenALoadIsGivenUp) {
    const Packets ends[] = {{},    {"m0,4", "vFlashDone"}, {"qRcmd,696e666f", "vFlashDone"}, {"D"},
                            {"?"}, {"vFlashErase:0"}};
    for (const Packets& end : ends) {
        SCOPED_TRACE(end.empty() ? "the client is gone" : end.front());
        Packets packets = {"vFlashErase:0,400", "vFlashWrite:0:abc"};
        packets.insert(packets.end(), end.begin(), end.end());

        Converse(packets);

        EXPECT_EQ(chip.flash, untouched);
        EXPECT_EQ(chip.loads, 0);
    }
    EXPECT_THAT(said, testing::Contains(HasSubstr("The load was given up")));
}

TEST_F(AServerOverAChip, RefusesALoadOutsideFlash) {
    EXPECT_EQ(Converse({"vFlashErase:2000,400", "vFlashErase:1c00,800", "vFlashWrite:1fff:ab", "vFlashErase:ffffffff,2",
                        "vFlashDone"}),
              (Packets{"E01", "E01", "E01", "E01", "E01"}));
    EXPECT_EQ(chip.flash, untouched);
}

TEST_F(AServerOverAChip, NeverSaysThatALoadIsDoneOfWhichSomethingIsMissing) {
    const Packets loads[] = {{"vFlashErase:0,400", "vFlashWrite:1fff:ab", "vFlashWrite:0:abc", "vFlashDone"},
                             {"vFlashErase:2000,400", "vFlashErase:0,400", "vFlashWrite:0:abc", "vFlashDone"},
                             {"vFlashErase:0,400", "vFlashWrite:0:abc", "m0,4", "vFlashWrite:3:def", "vFlashDone"},
                             {"vFlashErase:0,400", "vFlashWrite:0:abc", "g", "vFlashDone"}};
    for (const Packets& load : loads) {
        EXPECT_EQ(Converse(load).back(), "E01");
        EXPECT_EQ(chip.flash, untouched);
    }

    EXPECT_EQ(Converse({"vFlashErase:0,400", "g", "vFlashErase:0,400", "vFlashDone"}).back(), "OK");
    EXPECT_EQ(chip.loads, 1);
}

TEST_F(AServerOverAChip, TakesItsClientsBreakpointsAwayWhileItPrograms) {
    chip.onLoad = [this](Attention&) {
        EXPECT_TRUE(chip.breakpoints.empty());
        isLoading = true;
    };
    onIdle = [this] {
        EXPECT_EQ(chip.breakpoints, std::set<std::uint32_t>{0x2000'0100});
        isLoading = false;
    };

    Converse({"Z0,20000100,2", "vFlashErase:0,400", "vFlashDone"});

    EXPECT_EQ(chip.loads, 1);
    EXPECT_TRUE(chip.breakpoints.empty());
}

TEST_F(AServerOverAChip, KeepsTheWordsOfAFailedLoad) {
    chip.onLoad = [](Attention&) { throw std::runtime_error("Verifying: 3 bytes differ"); };

    const Packets replies = Converse({"vFlashErase:0,400", "vFlashDone", "qRcmd,776879"});

    EXPECT_EQ(replies[1], "E01");
    EXPECT_EQ(Text(replies[2]), "Verifying: 3 bytes differ\n");
    EXPECT_EQ(replies[3], "OK");
    EXPECT_THAT(said, testing::Contains("error: Verifying: 3 bytes differ"));
}

TEST_F(AServerOverAChip, ShowsSignsOfLifeAndListensDuringALoad) {
    chip.onLoad = [this](Attention& attention) {
        isLoading = true;
        clock.now += std::chrono::seconds(1);
        attention.Look();
        attention.Look();
        current->readable += "\x03";
        attention.Look();
        EXPECT_TRUE(isInterrupted);
        isLoading = false;
    };

    Converse({"vFlashErase:0,400", "vFlashDone"});

    EXPECT_EQ(chip.loads, 1);
    EXPECT_THAT(written, HasSubstr("%Working#"));
    EXPECT_EQ(written.find("%Working#"), written.rfind("%Working#"));
}

TEST_F(AServerOverAChip, CancelsALoadWhoseClientIsGone) {
    chip.onLoad = [this](Attention& attention) {
        current->isClosed = true;
        attention.Look();
        ADD_FAILURE() << "nobody waits for this load";
    };

    Receive(EncodePacket("QStartNoAckMode") + EncodePacket("vFlashErase:0,400") + EncodePacket("vFlashDone"));

    EXPECT_EQ(chip.flash, untouched);
}

// ---- Running

TEST_F(AServerOverAChip, TellsItsClientsBreakpointsFromOthers) {
    chip.registers[15] = 0x100;
    EXPECT_EQ(Converse({"qSupported:hwbreak+;swbreak+", "Z1,100,2", "vCont;c"}).back(), "T05hwbreak:;thread:1;");
    EXPECT_EQ(Converse({"qSupported:hwbreak+;swbreak+", "Z1,104,2", "c"}).back(), "T05thread:1;");
    EXPECT_EQ(Converse({"Z1,100,2", "c"}).back(), "T05thread:1;");
    chip.registers[15] = 0x2000'0100;
    EXPECT_EQ(Converse({"qSupported:hwbreak+;swbreak+", "Z0,20000100,2", "c"}).back(), "T05swbreak:;thread:1;");
    EXPECT_TRUE(chip.breakpoints.empty());  // gone with their client
}

TEST_F(AServerOverAChip, SetsAndClearsBreakpoints) {
    EXPECT_EQ(
        Converse({"Z1,0,2", "Z1,0,2", "Z1,2,2", "Z1,4,2", "Z0,20000006,2", "Z1,8,2", "z1,4,2", "Z1,8,2", "Z2,0,4"}),
        (Packets{"OK", "OK", "OK", "OK", "OK", "E01", "OK", "OK", ""}));
}

TEST_F(AServerOverAChip, PutsNoBreakpointInstructionIntoFlash) {
    EXPECT_EQ(Converse({"Z0,100,2"}).back(), "E01");
    EXPECT_TRUE(chip.breakpoints.empty());
}

TEST_F(AServerOverAChip, LetsTheTargetRunWhenItsClientDetaches) {
    Converse({"Z1,100,2", "D"});

    EXPECT_TRUE(chip.isRunning);
    EXPECT_TRUE(chip.breakpoints.empty());
}

TEST_F(AServerOverAChip, LooksAroundWheneverTheClientIsSilent) {
    int looks = 0;
    onIdle = [&looks] { ++looks; };
    chip.onAwaitStop = [&]() -> std::optional<CoreStop> {
        current->isClosed = looks == 2;
        return std::nullopt;
    };

    Receive(EncodePacket("c"));

    EXPECT_EQ(looks, 2);
}

TEST_F(AServerOverAChip, EndsALoadWhenItMustEndItself) {
    chip.onLoad = [this](Attention& attention) {
        isLoading = true;
        mustEnd = true;
        attention.Look();
        isLoading = false;
    };

    Converse({"vFlashErase:0,400", "vFlashDone"});

    EXPECT_TRUE(isInterrupted);
}

TEST_F(AServerOverAChip, StepsAndTakesAnAddressToGoOnFrom) {
    EXPECT_EQ(Converse({"s200", "vCont;s:1"}), (Packets{"T05thread:1;", "T05thread:1;"}));
    EXPECT_EQ(chip.registers[15], 0x204u);
}

TEST_F(AServerOverAChip, StopsARunningTargetForItsClient) {
    int waits = 0;
    chip.onAwaitStop = [&]() -> std::optional<CoreStop> {
        if (++waits == 3) {
            current->readable += "\x03";
        }
        return std::nullopt;
    };

    EXPECT_EQ(Converse({"vCont;c"}).back(), "T02thread:1;");
    EXPECT_EQ(waits, 3);
    EXPECT_FALSE(chip.isRunning);
}

TEST_F(AServerOverAChip, StopsTheTargetWhenItsClientIsGone) {
    chip.onAwaitStop = [&]() -> std::optional<CoreStop> {
        current->isClosed = true;
        return std::nullopt;
    };

    Receive(EncodePacket("c"));

    EXPECT_FALSE(chip.isRunning);
}

TEST_F(AServerOverAChip, TellsAFaultInWords) {
    chip.onAwaitStop = [] { return CoreStop{CoreStop::Reason::Fault, "left memory for 0x10000000"}; };

    const Packets replies = Converse({"c", "?", "qRcmd,776879"});

    EXPECT_EQ(replies[0], "T0bthread:1;");
    EXPECT_EQ(replies[1], "T0bthread:1;");
    EXPECT_EQ(Text(replies[2]), "left memory for 0x10000000\n");
}

TEST_F(AServerOverAChip, RunsAndRestartsFromTheReset) {
    EXPECT_EQ(Converse({"vKill;1", "vRun;", "R00", "pf", "D", "?"}), (Packets{"OK", "T05thread:1;", "00020000", "OK"}));
    EXPECT_EQ(chip.resets, 2);
    EXPECT_EQ(Converse({"k", "?"}), Packets{});
}

// ---- Words, and strangers

TEST_F(AServerOverAChip, AnswersCommandsWithOutput) {
    const Packets replies = Converse({"qRcmd,696e666f", "qRcmd,6e6f6e65", "qRcmd,zz"});

    EXPECT_EQ(Text(replies[0]), "a fake chip\n");
    EXPECT_EQ(replies[1], "OK");
    EXPECT_EQ(Text(replies[2]), "There is no command \"none\"\n");
    EXPECT_EQ(replies[3], "E01");
    EXPECT_EQ(replies[4], "E01");
}

TEST_F(AServerOverAChip, TurnsStrangersAwayBeforeTheyReachAPacket) {
    const std::string load = EncodePacket("vFlashErase:0,2000") + EncodePacket("vFlashDone");
    const struct {
        const char* name;
        std::string bytes;
    } strangers[] = {
        {"a web page", "POST / HTTP/1.1\r\n\r\n" + load},
        {"text behind a packet", EncodePacket("?") + "GET" + load},
        {"a notification", EncodeNotification("Hello") + load},
        {"a packet that is too long", "$" + std::string(0x2000, 'x') + load},
    };
    for (const auto& stranger : strangers) {
        SCOPED_TRACE(stranger.name);
        Receive(stranger.bytes);
        EXPECT_EQ(chip.flash, untouched);
        EXPECT_THAT(said.back(), HasSubstr("Turned a client away"));
    }
}

TEST_F(AServerOverAChip, TurnsAClientAwayThatSaysNothing) {
    staysSilent = true;

    Receive("");

    EXPECT_THAT(said, ElementsAre("Turned a client away that says nothing"));
    EXPECT_EQ(clock.now, std::chrono::seconds(10));
}

TEST_F(AServerOverAChip, EndsWhenItMust) {
    mustEnd = true;

    EXPECT_EQ(Receive(EncodePacket("?")), Packets{});
}

}  // namespace
}  // namespace flash::host::gdb
