#include "host/gdb/Framing.h"

#include <gtest/gtest.h>

namespace flash::host::gdb {
namespace {

std::vector<Frame> Decode(std::string_view bytes, RunLength runs = RunLength::Expand, std::size_t maxBytes = 100) {
    FrameDecoder decoder(maxBytes, runs);
    std::vector<Frame> frames;
    for (const char byte : bytes) {
        if (auto frame = decoder.Take(byte)) {
            frames.push_back(std::move(*frame));
        }
    }
    return frames;
}

std::string Repeated(char character, std::size_t count) { return std::string(count, character); }

TEST(FrameDecoder, FindsEachKindOfFrame) {
    const Frame damaged{FrameKind::Damaged, ""};
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<Frame> expected;
    };
    const Case cases[] = {
        {"empty packet", "$#00", {{FrameKind::Packet, ""}}},
        {"packet", "$OK#9a", {{FrameKind::Packet, "OK"}}},
        {"checksum in capitals", "$OK#9A", {{FrameKind::Packet, "OK"}}},
        {"notification", "%Stop:T05#99", {{FrameKind::Notification, "Stop:T05"}}},
        {"acknowledgements", "+-", {{FrameKind::Ack, ""}, {FrameKind::Nack, ""}}},
        {"interrupt", "\x03", {{FrameKind::Interrupt, ""}}},
        {"interrupt's byte inside a packet", "$\x03#03", {{FrameKind::Packet, "\x03"}}},
        {"stray byte", "P$OK#9a", {{FrameKind::Stray, "P"}, {FrameKind::Packet, "OK"}}},
        {"wrong checksum", "$OK#9b", {damaged}},
        {"checksum that is none", "$OK#9z", {damaged}},
        {"next packet in the midst of one", "$O$OK#9a", {{FrameKind::Packet, "OK"}}},
        {"packet behind a damaged one", "$OK#00$OK#9a", {damaged, {FrameKind::Packet, "OK"}}},
        {"unfinished packet", "$OK#9", {}},
        {"escapes stay", "$}\x03#80", {{FrameKind::Packet, "}\x03"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Decode(c.bytes), c.expected);
    }
}

TEST(FrameDecoder, ExpandsRuns) {
    struct Case {
        const char* name;
        std::string bytes;
        Frame expected;
    };
    const Case cases[] = {
        {"shortest run", "$0* #7a", {FrameKind::Packet, "0000"}},
        {"longest run", "$0*~#d8", {FrameKind::Packet, Repeated('0', 98)}},
        {"two runs", "$0* 1*!#f6", {FrameKind::Packet, "000011111"}},
        {"nothing to repeat", "$* #4a", {FrameKind::Damaged, ""}},
        {"no count", "$0*#5a", {FrameKind::Damaged, ""}},
        {"count below the first", "$0*\x1f#79", {FrameKind::Damaged, ""}},
        {"count above the last", "$0*\x7f#d9", {FrameKind::Damaged, ""}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Decode(c.bytes), std::vector{c.expected});
    }
}

TEST(FrameDecoder, PacketThatStartsWhereACountIsMissingIsFound) {
    EXPECT_EQ(Decode("$0*$OK#9a"), (std::vector{Frame{FrameKind::Packet, "OK"}}));
}

TEST(FrameDecoder, TakesAStarForItselfWhereNoRunsAreSent) {
    EXPECT_EQ(Decode("$0* #7a", RunLength::Keep), (std::vector{Frame{FrameKind::Packet, "0* "}}));
}

TEST(FrameDecoder, GivesUpAtOnceWhenAPacketIsTooLong) {
    const std::vector<Frame> tooLong = {{FrameKind::TooLong, ""}};

    EXPECT_EQ(Decode("$1234", RunLength::Keep, 4), (std::vector<Frame>{}));
    EXPECT_EQ(Decode("$12345", RunLength::Keep, 4), tooLong);
    EXPECT_EQ(Decode("$0* ", RunLength::Expand, 3), tooLong);
    EXPECT_EQ(Decode("$12345$OK#9a", RunLength::Keep, 4).back(), (Frame{FrameKind::Packet, "OK"}));
}

TEST(EncodePacket, WritesStartPayloadAndChecksum) {
    EXPECT_EQ(EncodePacket(""), "$#00");
    EXPECT_EQ(EncodePacket("OK"), "$OK#9a");
    EXPECT_EQ(EncodePacket("m0,4"), "$m0,4#fd");
    EXPECT_EQ(EncodeNotification("Stop:T05"), "%Stop:T05#99");
}

TEST(Escapes, CoverTheCharactersThatFramesAreMadeOf) {
    const std::vector<std::uint8_t> bytes = {'#', '$', '}', '*', 0x00, 0x03, 0xFF, 'A'};
    std::string payload = "X0,8:";

    AppendEscaped(payload, bytes);

    EXPECT_EQ(payload, std::string("X0,8:}\x03}\x04}]}\n\0\x03\xff"
                                   "A",
                                   17));
    EXPECT_EQ(Unescape(payload.substr(5)), bytes);
}

TEST(Unescape, RefusesATextThatEndsInsideAnEscape) { EXPECT_EQ(Unescape("ab}"), std::nullopt); }

TEST(ShortenRuns, ShortensWhatIsWorthIt) {
    struct Case {
        const char* name;
        std::string payload, expected;
    };
    const Case cases[] = {
        {"nothing", "", ""},
        {"no run", "0123", "0123"},
        {"three alike", "000", "000"},
        {"four alike", "0000", "0* "},
        {"between others", "a0000b", "a0* b"},
        {"count that would end the packet", Repeated('0', 7), "0*\"0"},
        {"count that would start one", Repeated('0', 8), "0*\"00"},
        {"count that would start a notification", Repeated('0', 9), "0*\"000"},
        {"count that would be an acknowledgement", Repeated('0', 15), "0**0"},
        {"count that would be a refusal", Repeated('0', 17), "0*,0"},
        {"the longest run", Repeated('0', 98), "0*~"},
        {"one more", Repeated('0', 99), "0*~0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ShortenRuns(c.payload), c.expected);
        EXPECT_EQ(Decode(EncodePacket(ShortenRuns(c.payload))), (std::vector{Frame{FrameKind::Packet, c.payload}}));
    }
}

}  // namespace
}  // namespace flash::host::gdb
