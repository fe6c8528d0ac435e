// Whole operations over a GDB server: the plug-in, the real flashloader on a virtual chip, and a server between them
// and us that is as odd as servers are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/gdb/GdbProbe.h"
#include "tests/host/gdb/FakeBoard.h"
#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"

namespace flash::host::gdb {
namespace {

using testing::AnyOf;
using testing::HasSubstr;

// One chip, reached over a server, and a second one that is reached directly.
class Boards {
public:
    explicit Boards(const std::string& part) : direct(part), server(direct.device) {
        options.identificationCode = VirtualChipSettings(direct.device).identificationCode;
    }

    Session& Connect() {
        connection.reset();
        server.quirks = quirks;
        const ConnectionRequest request{.part = direct.device.name,
                                        .devicesFolder = FLASH_DEVICES_FOLDER,
                                        .dataFolder = HOST_DATA_FOLDER,
                                        .plugin = REAL_PLUGIN_MODULE,
                                        .properties = {},
                                        .openProbe = [this](const DeviceDescription&) { return OpenProbe(); }};
        connection.emplace(request, observer, isInterrupted);
        return connection->GetSession();
    }
    void Leave() { connection.reset(); }
    Client& Server() { return *client; }

    std::vector<std::uint8_t> Flash() const {
        const auto flash = server.chip->Flash();
        return {flash.begin(), flash.end()};
    }
    std::vector<std::uint8_t> DirectFlash() { return direct.Flash(0, direct.device.FlashSizeBytes()); }

    Bench direct;
    FakeBoard server;
    std::set<Quirk> quirks;  // from the beginning
    GdbProbeOptions options;
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};

private:
    std::unique_ptr<Probe> OpenProbe() {
        auto opened = std::make_unique<GdbProbe>(server.Stream(), server.clock, "here", options);
        client = &opened->Server();
        return opened;
    }

    Client* client = nullptr;
    std::optional<Connection> connection;
};

class BothGenerations : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(OverAServer, BothGenerations, testing::Values("LumoD1F64", "LumoF2F352"));

// ---- Every operation

TEST_P(BothGenerations, EveryWayOfProgrammingLeavesWhatItLeavesDirectly) {
    struct Case {
        const char* name;
        EraseChoice erase;
        Verification verification;
        bool keepsCcfg, retainsBle;
    };
    const Case cases[] = {
        {"necessary, crc", EraseChoice::Necessary, Verification::Crc, false, false},
        {"retain, read back", EraseChoice::Retain, Verification::ReadBack, false, false},
        {"all, none", EraseChoice::All, Verification::None, false, false},
        {"listed", EraseChoice::Listed, Verification::Crc, false, false},
        {"none", EraseChoice::None, Verification::Crc, false, false},
        {"kept CCFG", EraseChoice::Necessary, Verification::Crc, true, false},
        {"retained address", EraseChoice::Necessary, Verification::Crc, false, true},
    };
    Boards boards(GetParam());
    const std::uint32_t end = boards.direct.device.FlashSizeBytes();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ProgramOptions options;
        options.erase = c.erase;
        options.erasedSectors = SectorsOf({0, 1, 2, 5});
        options.verification = c.verification;
        options.keepCcfg = c.keepsCcfg;
        options.closing.retainBle = c.retainsBle;
        options.write = WriteChoice::All;
        const bool needsErased = c.erase == EraseChoice::None;
        const ProgramImage image = needsErased ? ImageOf({{end / 2, Pattern(3000)}})
                                               : ImageOf({{0x104, Pattern(9000)}, {end - 0x58, GoodCcfg()}});

        const LoadResult expected = Program(boards.direct.Connect(), image, options);
        const LoadResult result = Program(boards.Connect(), image, options);

        EXPECT_EQ(result.fileBytes, expected.fileBytes);
        EXPECT_EQ(result.verifiedBytes, expected.verifiedBytes);
        EXPECT_EQ(boards.Flash(), boards.DirectFlash());
        EXPECT_EQ(boards.server.interrupts, 0);
        EXPECT_TRUE(boards.Server().UsesBinaryWrites());
    }
}

TEST_P(BothGenerations, EveryOtherOperationWorksToo) {
    Boards boards(GetParam());
    const std::uint32_t sector = boards.direct.device.sectorSizeBytes;
    const std::uint32_t end = boards.direct.device.FlashSizeBytes();
    const ProgramImage image = ImageOf({{0, Pattern(4 * sector)}, {end - 0x58, GoodCcfg()}});
    const auto operate = [&](Session& session) {
        session.BlankCheck();
        Program(session, image);
        EXPECT_EQ(session.Verify(image, VerifyBy::Target), image.ByteCount());
        EXPECT_EQ(session.Verify(image, VerifyBy::Link), image.ByteCount());
        EXPECT_EQ(session.Read(0, 4 * sector), Pattern(4 * sector));
        session.EraseSectors(SectorsOf({1, 3}));
        session.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:01"));
        EXPECT_EQ(session.ReadAddress(AddressKind::SecondaryBle), "C2:00:00:00:00:01");
        ClosingChanges changes;
        changes.protect = SectorsOf({2});
        session.ChangeCcfg(changes);
        EXPECT_NE(FailureOf(FailureKind::Difference, [&] { session.BlankCheck(); }), "");
    };

    operate(boards.direct.Connect());
    operate(boards.Connect());
    EXPECT_EQ(boards.Flash(), boards.DirectFlash());

    boards.server.chip->Reset();  // so that the protection that was set does not matter
    boards.Connect().EraseAll();
    boards.direct.Chip().Reset();
    boards.direct.Connect().EraseAll();
    EXPECT_EQ(boards.Flash(), boards.DirectFlash());
}

// ---- What it costs

// What every load takes, however short, is not counted.
TEST(ALoadOverAServer, TakesFewPacketsAndFewBytes) {
    struct Case {
        const char* name;
        std::set<Quirk> quirks;
        double mostBytesPerByte;
    };
    for (const Case& c : {Case{"binary", {}, 1.15}, Case{"digits", {Quirk::KnowsNoBinaryWrite}, 2.3}}) {
        SCOPED_TRACE(c.name);
        Boards boards("LumoF2F352");
        boards.quirks = c.quirks;
        const std::uint32_t chunk = boards.direct.device.sectorSizeBytes;
        const auto load = [&](std::uint32_t chunks) {
            ProgramOptions options;
            options.write = WriteChoice::All;
            Session& session = boards.Connect();
            const PlannedLoad planned = session.Plan(ImageOf({{0, Pattern(chunks * chunk)}}), options);
            const Traffic before = boards.Server().GetTraffic();
            session.Program(planned);
            const Traffic after = boards.Server().GetTraffic();
            return std::pair{
                static_cast<double>(after.packetsSent - before.packetsSent),
                static_cast<double>(after.bytesSent + after.bytesReceived - before.bytesSent - before.bytesReceived)};
        };
        const auto [fewPackets, fewBytes] = load(1);
        const auto [packets, bytes] = load(4);

        const double packetsPerChunk = (packets - fewPackets) / 3;
        const double bytesPerByte = (bytes - fewBytes) / (3 * chunk);
        RecordProperty(std::string(c.name) + "PacketsPerChunk", std::to_string(packetsPerChunk));
        RecordProperty(std::string(c.name) + "BytesPerByte", std::to_string(bytesPerByte));
        EXPECT_LE(packetsPerChunk, 12);
        EXPECT_LE(bytesPerByte, c.mostBytesPerByte);
    }
}

// ---- Odd servers

TEST(OddServers, DoNotMakeALoadWrong) {
    for (const std::set<Quirk>& quirks : std::initializer_list<std::set<Quirk>>{
             {Quirk::KnowsNoFeatures},
             {Quirk::KnowsNoDescription, Quirk::KnowsNoSingleRegister},
             {Quirk::KnowsNoActions, Quirk::KnowsNoBinaryWrite},
             {Quirk::KnowsNoHardwareBreakpoint},
             {Quirk::KnowsNoBreakpoint},
             {Quirk::LosesBinaryWrites, Quirk::StopsAtAnyByte},
             {Quirk::DelaysBinaryWrites},
             {Quirk::TalksAlways, Quirk::AsksForFiles, Quirk::AnswersInterruptTwice},
             {Quirk::HidesRegisters},
         }) {
        SCOPED_TRACE(static_cast<int>(*quirks.begin()));
        Boards boards("LumoD1F64");
        boards.quirks = quirks;
        const ProgramImage image = ImageOf({{0x10, Pattern(9000)}});

        Program(boards.Connect(), image);

        boards.Leave();
        const std::vector<std::uint8_t> flash = boards.Flash();
        EXPECT_EQ(std::vector<std::uint8_t>(flash.begin() + 0x10, flash.begin() + 0x10 + 9000), Pattern(9000));
        EXPECT_EQ(boards.server.Count("vFlash"), 0u) << "flash support of the server's own";
        EXPECT_TRUE(boards.server.breakpoints.empty());
    }
}

// ---- Servers that go bad in the middle

struct Turn {
    const char* name;
    Quirk quirk;
    const char* text;
    bool checksWrites = false;
};

class AServerThatGoesBad : public testing::TestWithParam<Turn> {};

TEST_P(AServerThatGoesBad, IsToldInWordsAndLeavesAChipThatTheNextRunPrograms) {
    Boards boards("LumoD1F64");
    boards.options.checksWrites = GetParam().checksWrites;
    const ProgramImage image = ImageOf({{0, Pattern(3 * 4096)}});
    const std::size_t before = boards.server.requests.size();
    Program(boards.Connect(), image);
    const std::size_t ofAGoodLoad = boards.server.requests.size() - before;
    for (const std::size_t percent : {20u, 55u}) {
        SCOPED_TRACE(percent);
        ProgramOptions options;
        options.write = WriteChoice::All;
        const ProgramImage other = ImageOf({{0, Pattern(3 * 4096, static_cast<std::uint8_t>(percent))}});

        boards.server.onset = {boards.server.requests.size() + ofAGoodLoad * percent / 100, GetParam().quirk};
        const std::string text = [&] {
            try {
                Program(boards.Connect(), other, options);
            } catch (const std::exception& error) {
                return std::string(error.what());
            }
            return std::string("no failure");
        }();
        boards.Leave();
        boards.server.onset.reset();
        Program(boards.Connect(), other, options);

        EXPECT_THAT(text, AnyOf(HasSubstr(GetParam().text), HasSubstr("the target does not stop")));
        const std::vector<std::uint8_t> flash = boards.Flash();
        EXPECT_TRUE(std::ranges::equal(std::span(flash).first(3 * 4096),
                                       Pattern(3 * 4096, static_cast<std::uint8_t>(percent))));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Each, AServerThatGoesBad,
    testing::Values(Turn{"closes", Quirk::ClosesConnection, "the other side closed the connection"},
                    Turn{"falls_silent", Quirk::NeverAnswers, "no answer within 5000 ms"},
                    Turn{"damages", Quirk::SendsDamagedPackets, "no undamaged answer within 5000 ms"},
                    Turn{"endless_packet", Quirk::NeverEndsItsPacket, "it sends a packet without an end"},
                    Turn{"endless_output", Quirk::NeverStopsTalking, "no answer within 5000 ms"},
                    Turn{"loses_writes", Quirk::LosesWrites, "does not write what it is given", true}),
    [](const auto& suite) { return std::string(suite.param.name); });

}  // namespace
}  // namespace flash::host::gdb
