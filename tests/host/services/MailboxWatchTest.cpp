// What a watch over the mailbox makes of posts, of statuses and of waiting.
#include "host/services/MailboxWatch.h"

#include <gtest/gtest.h>

#include <ostream>

namespace flash::host {

void PrintTo(const MailboxEvent& event, std::ostream* out) {
    *out << static_cast<int>(event.kind) << " with " << event.bytes << " bytes" << (event.isChecked ? ", checked" : "");
}

namespace {

using Kind = MailboxEvent::Kind;
using std::chrono::microseconds;
using Event = std::optional<MailboxEvent>;

constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;

CommandBlockView Command(std::uint32_t command, std::uint32_t lengthBytes = 0x100) {
    return {0x2000, lengthBytes, command, 0, kNotDone};
}

TEST(MailboxWatch, TellsWhatStartsAndWhatIsDone) {
    struct Case {
        const char* name;
        CommandBlockView command;
        Event started, done;
    };
    const Case cases[] = {
        {"no command", Command(0), {}, {}},
        {"erase all", Command(1, 0), MailboxEvent{Kind::EraseStarted, 0}, MailboxEvent{Kind::Erased, 0}},
        {"erase all, with a length", Command(1), MailboxEvent{Kind::EraseStarted, 0}, MailboxEvent{Kind::Erased, 0}},
        {"erase sectors", Command(5, 0xFFF), MailboxEvent{Kind::EraseStarted, 0x1000},
         MailboxEvent{Kind::Erased, 0x1000}},
        {"program", Command(2), MailboxEvent{Kind::ProgramStarted, 0x100}, MailboxEvent{Kind::Programmed, 0x100}},
        {"erase and program", Command(3), MailboxEvent{Kind::ProgramStarted, 0x100},
         MailboxEvent{Kind::Programmed, 0x100}},
        {"program retaining, with CRC", Command(0x14), MailboxEvent{Kind::ProgramStarted, 0x100},
         MailboxEvent{Kind::Programmed, 0x100, true}},
        {"blank check", Command(6), {}, {}},
        {"unknown", Command(0x11), {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        MailboxWatch watch;

        EXPECT_EQ(watch.OnPost(1, c.command), c.started);
        EXPECT_TRUE(watch.IsPending(1));
        EXPECT_FALSE(watch.IsPending(0));
        EXPECT_EQ(watch.OnStatus(1, 0), c.done);
        EXPECT_FALSE(watch.IsPending(1));
    }
}

TEST(MailboxWatch, AStatusEndsACommandOnce) {
    MailboxWatch watch;
    watch.OnPost(0, Command(3));

    EXPECT_EQ(watch.OnStatus(1, 0), std::nullopt);
    EXPECT_EQ(watch.OnStatus(0, kNotDone), std::nullopt);
    EXPECT_TRUE(watch.IsPending(0));
    EXPECT_EQ(watch.OnStatus(0, 0), (MailboxEvent{Kind::Programmed, 0x100}));
    EXPECT_EQ(watch.OnStatus(0, 0), std::nullopt);
}

TEST(MailboxWatch, AFailureEndsACommandThatIsNotDone) {
    for (const std::uint32_t status : {0x102u, 0x0004'0103u, 0x1'0000u}) {
        MailboxWatch watch;
        watch.OnPost(0, Command(3));

        EXPECT_EQ(watch.OnStatus(0, status), std::nullopt);
        EXPECT_FALSE(watch.IsPending(0));
        EXPECT_EQ(watch.OnStatus(0, 0), std::nullopt);
    }
}

TEST(MailboxWatch, AFailedVerificationIsToldWhoeverPostedIt) {
    MailboxWatch watch;
    watch.OnPost(0, Command(0x13));

    EXPECT_EQ(watch.OnStatus(0, 0x106), (MailboxEvent{Kind::VerificationFailed, 0}));
    EXPECT_FALSE(watch.IsPending(0));
    EXPECT_EQ(watch.OnStatus(1, 0x0004'0106), (MailboxEvent{Kind::VerificationFailed, 0}));
}

TEST(MailboxWatch, ALateStatusEndsACommandAndTellsOnlyOfSuccess) {
    MailboxWatch watch;
    watch.OnPost(0, Command(3));
    watch.OnPost(1, Command(3));

    EXPECT_EQ(watch.OnSettled(0, 0), (MailboxEvent{Kind::Programmed, 0x100}));
    EXPECT_EQ(watch.OnSettled(1, 0x106), std::nullopt);
    EXPECT_FALSE(watch.IsPending(0));
    EXPECT_FALSE(watch.IsPending(1));
    EXPECT_EQ(watch.OnSettled(0, 0), std::nullopt);
}

TEST(MailboxWatch, APostTakesThePlaceOfTheOneBefore) {
    MailboxWatch watch;
    watch.OnPost(0, Command(3, 0x10));
    watch.OnPost(0, Command(2, 0x20));

    EXPECT_EQ(watch.OnStatus(0, 0), (MailboxEvent{Kind::Programmed, 0x20}));
}

TEST(MailboxWatch, KnowsForWhichBlockThePluginWaitsAndHowLong) {
    MailboxWatch watch;
    EXPECT_EQ(watch.PolledBlock(), std::nullopt);

    watch.OnStatus(1, kNotDone);
    EXPECT_EQ(watch.PolledBlock(), 1u);
    EXPECT_EQ(watch.WaitedFor(1), microseconds(0));
    watch.OnWait(microseconds(5));
    watch.OnStatus(1, kNotDone);
    watch.OnWait(microseconds(6));
    EXPECT_EQ(watch.WaitedFor(1), microseconds(11));
    EXPECT_EQ(watch.WaitedFor(0), microseconds(0));

    watch.OnStatus(0, kNotDone);
    EXPECT_EQ(watch.PolledBlock(), 0u);
    EXPECT_EQ(watch.WaitedFor(0), microseconds(0)) << "another block is waited for anew";
    watch.OnWait(microseconds(7));
    watch.OnStatus(1, 0);
    EXPECT_EQ(watch.PolledBlock(), std::nullopt);
    EXPECT_EQ(watch.WaitedFor(0), microseconds(0));
}

TEST(MailboxWatch, ABlockThatIsPolledAgainAfterItsAnswerIsWaitedForAnew) {
    MailboxWatch watch;
    watch.OnStatus(0, kNotDone);
    watch.OnWait(microseconds(5));
    watch.OnStatus(0, 0);

    watch.OnStatus(0, kNotDone);

    EXPECT_EQ(watch.WaitedFor(0), microseconds(0));
}

}  // namespace
}  // namespace flash::host
