#include "host/gdb/Replies.h"

#include <gtest/gtest.h>

namespace flash::host::gdb {
namespace {

TEST(ParseStopReply, ReadsSignalRegistersAndReasons) {
    const auto reply = ParseStopReply("T05hwbreak:;thread:1;0f:04010020;");

    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->kind, StopReply::Kind::Stopped);
    EXPECT_EQ(reply->signal, kSignalTrap);
    EXPECT_EQ(reply->registers.at(15), (std::vector<std::uint8_t>{4, 1, 0, 0x20}));
    EXPECT_TRUE(reply->reasons.contains("hwbreak"));
    EXPECT_EQ(reply->reasons.at("thread"), "1");
}

TEST(ParseStopReply, ReadsTheShortForms) {
    EXPECT_EQ(ParseStopReply("S02")->signal, kSignalInterrupt);
    EXPECT_EQ(ParseStopReply("W00")->kind, StopReply::Kind::Gone);
    EXPECT_EQ(ParseStopReply("X0b")->kind, StopReply::Kind::Gone);
}

TEST(ParseStopReply, IsNullForAnythingElse) {
    for (const char* const payload : {"", "T", "T0", "Tzz", "OK", "E01", "O48"}) {
        SCOPED_TRACE(payload);
        EXPECT_FALSE(ParseStopReply(payload));
    }
}

TEST(ParseFeatures, KeepsWhatTheServerHas) {
    const auto features = ParseFeatures("PacketSize=1000;qXfer:features:read+;vContSupported+;QNonStop-;hwbreak?");

    EXPECT_EQ(features, (std::map<std::string, std::string>{
                            {"PacketSize", "1000"}, {"qXfer:features:read", "+"}, {"vContSupported", "+"}}));
}

TEST(ErrorOf, ReadsBothForms) {
    EXPECT_EQ(ErrorOf("E01"), "error 01");
    EXPECT_EQ(ErrorOf("E.no such memory"), "no such memory");
    EXPECT_EQ(ErrorOf("E012"), std::nullopt);
    EXPECT_EQ(ErrorOf("Ezz"), std::nullopt);
    EXPECT_EQ(ErrorOf(""), std::nullopt);
    EXPECT_EQ(ErrorOf("OK"), std::nullopt);
}

}  // namespace
}  // namespace flash::host::gdb
