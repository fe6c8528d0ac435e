#include "host/gdb/Channel.h"

#include <gtest/gtest.h>

#include "tests/host/gdb/MemoryStream.h"

namespace flash::host::gdb {
namespace {

using std::chrono::seconds;

class AChannel : public testing::Test {
protected:
    FakeClock clock;
    MemoryStream stream{clock};
    Channel channel{stream, clock, 100, RunLength::Expand};
};

TEST_F(AChannel, GivesOnePacketAfterTheOther) {
    stream.readable = "+$OK#9a$E01#a6";

    EXPECT_EQ(channel.Receive(seconds(1))->payload, "OK");
    EXPECT_EQ(channel.Receive(seconds(1))->payload, "E01");
    EXPECT_EQ(channel.GetTraffic().packetsReceived, 2u);
}

TEST_F(AChannel, FindsAPacketThatArrivesByteByByte) {
    stream.readable = "$OK#9a";
    stream.longestRead = 1;

    EXPECT_EQ(channel.Receive(seconds(1))->payload, "OK");
}

TEST_F(AChannel, AcknowledgesWithTheNextPacketInOneWrite) {
    stream.readable = "$OK#9a";
    channel.Receive(seconds(1));

    channel.Send("?");

    EXPECT_EQ(stream.writes, (std::vector<std::string>{"+$?#3f"}));
}

TEST_F(AChannel, AcknowledgesBeforeItWaitsForMore) {
    stream.readable = "$OK#9a";
    channel.Receive(seconds(1));

    EXPECT_EQ(channel.Receive(seconds(1)), std::nullopt);

    EXPECT_EQ(stream.writes, (std::vector<std::string>{"+"}));
}

TEST_F(AChannel, AcknowledgesNothingOnceBothAgreed) {
    stream.readable = "$OK#9a$OK#9a";
    channel.Receive(seconds(1));
    channel.StopAcknowledging();
    channel.Receive(seconds(1));

    channel.Send("?");

    EXPECT_EQ(stream.writes, (std::vector<std::string>{"$?#3f"}));
}

TEST_F(AChannel, SendsAgainWhatWasRefused) {
    channel.Send("g");
    stream.readable = "-+$OK#9a";

    EXPECT_EQ(channel.Receive(seconds(1))->payload, "OK");
    EXPECT_EQ(stream.writes, (std::vector<std::string>{"$g#67", "$g#67"}));
}

TEST_F(AChannel, IgnoresARefusalWithoutAcknowledgements) {
    channel.StopAcknowledging();
    channel.Send("g");
    stream.readable = "-";

    EXPECT_EQ(channel.Receive(seconds(1)), std::nullopt);
    EXPECT_EQ(stream.writes.size(), 1u);
}

TEST_F(AChannel, AsksAgainForAPacketThatArrivedDamaged) {
    stream.readable = "$OK#00";
    stream.onWrite = [](std::string_view written) { return written == "-" ? "$OK#9a" : ""; };

    EXPECT_EQ(channel.Receive(seconds(1))->payload, "OK");
}

TEST_F(AChannel, GivesUpOnALineThatDamagesEveryPacket) {
    stream.readable = "$OK#00";
    stream.onWrite = [](std::string_view) { return "$OK#00"; };

    EXPECT_THROW(channel.Receive(seconds(1)), StreamError);
}

TEST_F(AChannel, GivesUpOnAPeerThatRefusesEveryPacket) {
    stream.onWrite = [](std::string_view) { return "-"; };
    channel.Send("g");

    EXPECT_THROW(channel.Receive(seconds(1)), StreamError);
}

TEST_F(AChannel, WaitsNoLongerThanTheBound) {
    EXPECT_EQ(channel.Receive(seconds(3)), std::nullopt);
    EXPECT_EQ(clock.now, seconds(3));
}

TEST_F(AChannel, IsNotKeptByAPeerThatNeverStopsSendingNothing) {
    stream.onSilence = [this] {
        clock.now += seconds(1);
        return "+";
    };

    EXPECT_EQ(channel.Receive(seconds(3)), std::nullopt);
    EXPECT_EQ(clock.now, seconds(3));
}

TEST_F(AChannel, TellsTheEndOfTheStream) {
    stream.readable = "$OK#9a";
    stream.isClosed = true;

    EXPECT_EQ(channel.Receive(seconds(1))->payload, "OK");
    channel.StopAcknowledging();
    EXPECT_THROW(channel.Receive(seconds(1)), StreamError);
}

TEST_F(AChannel, HandsOnWhatOnlyAServerOrAClientUnderstands) {
    stream.readable = "\x03%Stop:T05#99P";

    EXPECT_EQ(channel.Receive(seconds(1)), (Frame{FrameKind::Interrupt, ""}));
    EXPECT_EQ(channel.Receive(seconds(1)), (Frame{FrameKind::Notification, "Stop:T05"}));
    EXPECT_EQ(channel.Receive(seconds(1)), (Frame{FrameKind::Stray, "P"}));
}

TEST_F(AChannel, CountsWhatPasses) {
    stream.onWrite = [](std::string_view) { return "$OK#9a"; };
    channel.Send("g");
    channel.Receive(seconds(1));
    channel.Notify("alive");
    channel.SendInterrupt();

    EXPECT_EQ(channel.GetTraffic().packetsSent, 1u);
    EXPECT_EQ(channel.GetTraffic().bytesSent, stream.Written().size());
    EXPECT_EQ(channel.GetTraffic().bytesReceived, 6u);
    EXPECT_EQ(stream.Written(), "$g#67+%alive#11\x03");
}

}  // namespace
}  // namespace flash::host::gdb
