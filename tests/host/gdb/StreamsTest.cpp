// The streams over what the operating system has. Every wait ends by bytes that are there, or by a bound of nothing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "host/gdb/FileStream.h"
#include "host/gdb/Socket.h"

namespace flash::host::gdb {
namespace {

constexpr std::chrono::seconds kLong{20};  // only ever reached when something is wrong
constexpr std::chrono::nanoseconds kNow{0};

std::string ReadText(ByteStream& stream, std::size_t length) {
    std::string text;
    std::array<char, 64> buffer;
    while (text.size() < length) {
        const std::size_t count =
            stream.Read(std::span(buffer).first(std::min(buffer.size(), length - text.size())), kLong);
        if (count == 0) {
            break;
        }
        text.append(buffer.data(), count);
    }
    return text;
}

TEST(PlacesOf, IsOneForAllAddressesOfThisMachine) {
    const std::set<std::string> here{"localhost:3333"};
    for (const char* const host : {"127.0.0.1", "localhost", "::1", "0:0:0:0:0:0:0:1", "::", "::ffff:127.0.0.1"}) {
        EXPECT_EQ(PlacesOf({host, 3333}), here) << host;
    }
}

TEST(PlacesOf, TellsOtherMachinesApart) {
    EXPECT_EQ(PlacesOf({"192.0.2.7", 1}), (std::set<std::string>{"192.0.2.7:1"}));
    EXPECT_EQ(PlacesOf({"2001:DB8:0::7", 1}), (std::set<std::string>{"[2001:db8::7]:1"}));
    const std::string tooLong(64, 'N');  // which no server of names is asked for
    EXPECT_EQ(PlacesOf({tooLong, 1}), (std::set<std::string>{std::string(64, 'n') + ":1"}));
}

class Loopback : public testing::TestWithParam<const char*> {};

TEST_P(Loopback, CarriesBytesBothWays) {
    Listener listener({GetParam(), 0});
    const auto client = Connect(listener.Local(), kLong);
    const auto server = listener.Accept(kLong);
    ASSERT_TRUE(server);

    client->Write("question");
    EXPECT_EQ(ReadText(*server, 8), "question");
    server->Write("answer");
    EXPECT_EQ(ReadText(*client, 6), "answer");
}

INSTANTIATE_TEST_SUITE_P(BothVersions, Loopback, testing::Values("127.0.0.1", "::1"));

TEST(Socket, GivesNothingWhenNothingCameInTime) {
    Listener listener({"127.0.0.1", 0});
    const auto client = Connect(listener.Local(), kLong);
    std::array<char, 8> buffer;

    EXPECT_EQ(client->Read(buffer, kNow), 0u);
    EXPECT_EQ(client->Read(buffer, std::chrono::milliseconds(1)), 0u);
}

TEST(Socket, LosesNothingThatComesBehindABoundThatRanOut) {
    Listener listener({"127.0.0.1", 0});
    const auto client = Connect(listener.Local(), kLong);
    const auto server = listener.Accept(kLong);
    std::array<char, 8> buffer;
    EXPECT_EQ(server->Read(buffer, kNow), 0u);

    client->Write("late");

    EXPECT_EQ(ReadText(*server, 4), "late");
}

TEST(Socket, SaysWhenTheOtherSideIsGone) {
    Listener listener({"127.0.0.1", 0});
    auto client = Connect(listener.Local(), kLong);
    const auto server = listener.Accept(kLong);
    client.reset();

    EXPECT_THROW(ReadText(*server, 1), StreamError);
}

TEST(Socket, IsNotKeptByAnOtherSideThatTakesNothing) {
    Listener listener({"127.0.0.1", 0});
    const auto client = Connect(listener.Local(), kLong, std::chrono::milliseconds(1));
    const auto server = listener.Accept(kLong);
    const std::string much(std::size_t{1} << 20, 'x');

    EXPECT_THROW(
        for (int i = 0; i < 100; ++i) { client->Write(much); }, StreamError);
}

TEST(Socket, SaysWhenNobodyListens) {
    Endpoint endpoint;
    {
        const Listener listener({"127.0.0.1", 0});
        endpoint = listener.Local();
    }
    try {
        Connect(endpoint, kLong);
        ADD_FAILURE() << "somebody listened";
    } catch (const StreamError& error) {
        EXPECT_STREQ(error.what(), "connection refused");
    }
}

TEST(Socket, SaysWhenThereIsNoSuchHost) { EXPECT_THROW(Connect({"no host has blanks", 1}, kLong), StreamError); }

TEST(Listener, HasNoClientWhenNobodyCame) {
    Listener listener({"127.0.0.1", 0});

    EXPECT_EQ(listener.Accept(kNow), nullptr);
}

TEST(Listener, RefusesAPortThatIsTaken) {
    const Listener first({"127.0.0.1", 0});

    EXPECT_THROW(Listener(first.Local()), StreamError);
}

// Two pipes, from the far side's point of view.
class Pipes : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(pipe2(toStream.data(), O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(fromStream.data(), O_CLOEXEC), 0);
        stream = std::make_unique<FileStream>(toStream[0], fromStream[1]);
    }
    void TearDown() override {
        for (const int file : {toStream[0], fromStream[0], fromStream[1]}) {
            close(file);
        }
        CloseInput();
    }
    void CloseInput() {
        if (toStream[1] >= 0) {
            close(toStream[1]);
            toStream[1] = -1;
        }
    }

    std::array<int, 2> toStream{}, fromStream{};
    std::unique_ptr<FileStream> stream;
};

TEST_F(Pipes, CarryBytesBothWays) {
    ASSERT_EQ(write(toStream[1], "question", 8), 8);
    EXPECT_EQ(ReadText(*stream, 8), "question");

    stream->Write("answer");

    std::array<char, 6> buffer;
    ASSERT_EQ(read(fromStream[0], buffer.data(), buffer.size()), 6);
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), "answer");
}

TEST_F(Pipes, GiveNothingWhenNothingCameInTime) {
    std::array<char, 8> buffer;

    EXPECT_EQ(stream->Read(buffer, kNow), 0u);
}

TEST_F(Pipes, SayWhenTheOtherSideIsGone) {
    CloseInput();

    EXPECT_THROW(ReadText(*stream, 1), StreamError);
}

TEST(FileStream, SaysWhenAFileCannotBeUsed) {
    FileStream stream(-1, -1);

    EXPECT_THROW(stream.Write("x"), StreamError);
    std::array<char, 8> buffer;
    EXPECT_THROW(FileStream(open("/", O_RDONLY | O_CLOEXEC), -1).Read(buffer, kLong), StreamError);
}

}  // namespace
}  // namespace flash::host::gdb
