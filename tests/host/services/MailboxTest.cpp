// What the mailbox says, in words: blocks are written by hand, byte by byte.
#include "host/services/Mailbox.h"

#include <gtest/gtest.h>

#include "tests/host/support/FakeProbe.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kBlocks = 0x20001000;
const MailboxSymbols kSymbols{kBlocks, {0x20002000, 0x20004000}, std::nullopt};

CommandBlockView Block(std::uint32_t command, std::uint32_t status) { return {0x2000, 0x1000, command, 0, status}; }

void StoreBlock(FakeProbe& probe, std::uint32_t index, const CommandBlockView& block) {
    const std::uint32_t words[] = {block.address, block.lengthBytes, block.command, block.crc, block.status};
    for (std::uint32_t i = 0; i < 5; ++i) {
        probe.StoreWord(kBlocks + index * 24 + i * 4, words[i]);
    }
}

TEST(DecodeBlock, TakesTheFiveWordsLeastSignificantByteFirst) {
    const std::uint8_t bytes[] = {0x00, 0x20, 0,    0,    0,    0x10, 0,    0,    0x13, 0,
                                  0,    0,    0x26, 0x39, 0xF4, 0xCB, 0x03, 0x01, 0x04, 0};

    const CommandBlockView block = DecodeBlock(bytes);

    EXPECT_EQ(block.address, 0x2000u);
    EXPECT_EQ(block.lengthBytes, 0x1000u);
    EXPECT_EQ(block.PlainCommand(), 3u);
    EXPECT_EQ(block.crc, 0xCBF43926u);
    EXPECT_EQ(block.StatusCode(), 0x103u);
    EXPECT_TRUE(block.IsProgram());
}

TEST(DescribeCommand, NamesEachCommandWithItsRange) {
    struct Case {
        CommandBlockView block;
        const char* expected;
    };
    const Case cases[] = {
        {{0, 0, 1, 0, 0}, "command 1 (erase all unprotected sectors)"},
        {Block(2, 0), "command 2 (program), 4096 bytes at 0x00002000"},
        {Block(0x13, 0), "command 19 (erase and program with CRC), 4096 bytes at 0x00002000"},
        {Block(4, 0), "command 4 (program keeping the rest of the sectors), 4096 bytes at 0x00002000"},
        {{0x2000, 0xFFF, 5, 0, 0}, "command 5 (erase sectors), 4096 bytes at 0x00002000"},
        {Block(6, 0x106), "command 6 (blank check)"},
        {Block(9, 0), "command 9 (unknown command), 4096 bytes at 0x00002000"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(DescribeCommand(c.block), c.expected);
    }
}

TEST(DescribeStatus, PutsEachStatusIntoWords) {
    struct Case {
        std::uint32_t command, status;
        const char* expected;
    };
    const Case cases[] = {
        {3, 0, "done"},
        {3, 0xFFFFFFFF, "the flashloader never answered"},
        {3, 0x07040102,
         "erasing sector 7 failed; the flash state machine's status is 4 (operation failed). The sector may be "
         "write-protected"},
        {3, 0x00030103,
         "programming failed; the flash state machine's status is 3 (incorrect parameter). The flash controller did "
         "not"},
        {3, 0x00010103, "status is 1 (busy). The flash controller hangs"},
        {3, 0x00090103, "status is 9 (unknown)."},
        {3, 0x104, "the flashloader refused the arguments"},
        {3, 0x105, "the flashloader does not know this command"},
        {0x12, 0x106, "what flash holds differs from what was sent, first at 0x00002000"},
        {6, 0x106, "flash is not blank, first at 0x00002000"},
        {3, 0x777, "unknown status 0x00000777"},
    };
    for (const Case& c : cases) {
        const std::string text = DescribeStatus(Block(c.command, c.status));
        EXPECT_NE(text.find(c.expected), std::string::npos) << text;
    }
}

TEST(ReadMailbox, NamesOnlyTheBlocksThatFailed) {
    FakeProbe probe;
    StoreBlock(probe, 0, Block(3, 0));
    StoreBlock(probe, 1, Block(3, 0x00040103));

    const MailboxReport report = ReadMailbox(probe, kSymbols, std::nullopt);

    EXPECT_TRUE(report.isFailure);
    EXPECT_FALSE(report.isVerification);
    EXPECT_EQ(report.text.find("Block 1, command 3 (erase and program), 4096 bytes at 0x00002000: programming failed"),
              0u)
        << report.text;
}

TEST(ReadMailbox, ASilentFlashloaderComesWithTheCoreBeforeAndAfterItWasHalted) {
    FakeProbe probe;
    StoreBlock(probe, 0, Block(3, 0xFFFFFFFF));
    StoreBlock(probe, 1, Block(3, 0));

    const MailboxReport report = ReadMailbox(probe, kSymbols, CoreState{false, std::nullopt, "locked up"});

    EXPECT_NE(report.text.find(
                  "never answered; the core stands at 0x20000100; before it was halted the core stands (locked up)"),
              std::string::npos)
        << report.text;
}

TEST(ReadMailbox, SuccessAndAVerificationAreTold) {
    FakeProbe probe;
    StoreBlock(probe, 0, Block(3, 0));
    StoreBlock(probe, 1, Block(3, 0));
    EXPECT_FALSE(ReadMailbox(probe, kSymbols, std::nullopt).isFailure);

    StoreBlock(probe, 1, Block(0x13, 0x106));
    EXPECT_TRUE(ReadMailbox(probe, kSymbols, std::nullopt).isVerification);
}

TEST(ReadMailbox, AFailingProbeIsPartOfTheAnswer) {
    FakeProbe probe;
    probe.failingCall = "read";

    const MailboxReport report = ReadMailbox(probe, kSymbols, std::nullopt);

    EXPECT_EQ(report.text, "The flashloader's mailbox cannot be read: read refused by the fake");
}

}  // namespace
}  // namespace flash::host
