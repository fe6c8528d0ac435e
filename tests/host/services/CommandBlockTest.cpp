// Command blocks: bytes written by hand, and the words that a user reads.
#include "host/services/CommandBlock.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

CommandBlockView Block(std::uint32_t command, std::uint32_t status) { return {0x2000, 0x1000, command, 0, status}; }

TEST(DecodeBlock, TakesTheFiveWordsLeastSignificantByteFirst) {
    const std::uint8_t bytes[] = {0x01, 0x20, 0x03, 0x04, 0x05, 0x16, 0x07, 0x08, 0x13, 0x0A,
                                  0x0B, 0x0C, 0x26, 0x39, 0xF4, 0xCB, 0x03, 0x01, 0x04, 0xA0};

    const CommandBlockView block = DecodeBlock(bytes);

    EXPECT_EQ(block.address, 0x0403'2001u);
    EXPECT_EQ(block.lengthBytes, 0x0807'1605u);
    EXPECT_EQ(block.command, 0x0C0B'0A13u);
    EXPECT_EQ(block.crc, 0xCBF4'3926u);
    EXPECT_EQ(block.status, 0xA004'0103u);
    EXPECT_EQ(block.StatusCode(), 0x103u);
}

TEST(CommandBlockView, TellsErasesProgramsAndChecksApart) {
    struct Case {
        std::uint32_t command;
        bool isErase, isProgram, hasCrc;
        std::uint64_t rangeBytes;
    };
    const Case cases[] = {
        {0, false, false, false, 0x1000},    {1, true, false, false, 0x1000},    {2, false, true, false, 0x1000},
        {3, false, true, false, 0x1000},     {4, false, true, false, 0x1000},    {5, true, false, false, 0x1001},
        {6, false, false, false, 0x1000},    {0x11, false, false, true, 0x1000}, {0x12, false, true, true, 0x1000},
        {0x13, false, true, true, 0x1000},   {0x14, false, true, true, 0x1000},  {0x15, false, false, true, 0x1000},
        {0x22, false, false, false, 0x1000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command);
        const CommandBlockView block = Block(c.command, 0);
        EXPECT_EQ(block.IsErase(), c.isErase);
        EXPECT_EQ(block.IsProgram(), c.isProgram);
        EXPECT_EQ(block.HasCrc(), c.hasCrc);
        EXPECT_EQ(block.RangeBytes(), c.rangeBytes);
    }
}

TEST(CommandBlockView, AnEraseUpToTheLastByteOfAllMemoryHasItsRange) {
    const CommandBlockView block{0, 0xFFFF'FFFF, kCommandEraseSectors, 0, 0};

    EXPECT_EQ(block.RangeBytes(), 0x1'0000'0000u);
}

TEST(CommandBlockView, AVerificationFailsByTheLowerHalfOfAnAnswer) {
    struct Case {
        std::uint32_t status;
        bool expected;
    };
    for (const Case& c : {Case{0x106, true}, {0xABCD'0106, true}, {0, false}, {0x105, false}, {0xFFFF'FFFF, false}}) {
        EXPECT_EQ(Block(3, c.status).IsVerificationFailure(), c.expected) << c.status;
    }
}

TEST(DescribeCommand, NamesEachCommandWithItsRange) {
    struct Case {
        CommandBlockView block;
        const char* expected;
    };
    const Case cases[] = {
        {{0, 0, 0, 0, 0}, "command 0 (no command)"},
        {{0, 0, 1, 0, 0}, "command 1 (erase all unprotected sectors)"},
        {Block(2, 0), "command 2 (program), 4096 bytes at 0x00002000"},
        {Block(3, 0xFFFF'FFFF), "command 3 (erase and program), 4096 bytes at 0x00002000"},
        {Block(0x13, 0), "command 19 (erase and program with CRC), 4096 bytes at 0x00002000"},
        {Block(4, 0x103), "command 4 (program keeping the rest of the sectors), 4096 bytes at 0x00002000"},
        {{0x2000, 0xFFF, 5, 0, 0}, "command 5 (erase sectors), 4096 bytes at 0x00002000"},
        {{0x2000, 0, 5, 0, 0}, "command 5 (erase sectors), 1 byte at 0x00002000"},
        {Block(6, 0x106), "command 6 (blank check)"},
        {Block(7, 0), "command 7 (unknown command), 4096 bytes at 0x00002000"},
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
        {3, 0xFFFF'FFFF, "the flashloader never answered"},
        {3, 0x07040102,
         "erasing sector 7 failed; the flash state machine's status is 4 (operation failed). The sector may be "
         "write-protected, which CCFG tells, or worn out"},
        {3, 0x00030103,
         "programming failed; the flash state machine's status is 3 (incorrect parameter). The flash controller did "
         "not accept the address: does \"device\" fit the chip?"},
        {3, 0xFF020103,
         "programming failed; the flash state machine's status is 2 (ready). Power the chip off and on and try again"},
        {3, 0x00010103,
         "programming failed; the flash state machine's status is 1 (busy). The flash controller hangs: power the "
         "chip off and on"},
        {3, 0x00000103,
         "programming failed; the flash state machine's status is 0 (success). Power the chip off and on and try "
         "again"},
        {3, 0x00050102,
         "erasing sector 0 failed; the flash state machine's status is 5 (unknown). Power the chip off and on and try "
         "again"},
        {3, 0x104,
         "the flashloader refused the arguments: outside flash, or longer than its buffer. Does \"device\" fit the "
         "chip?"},
        {3, 0x105, "the flashloader does not know this command: it does not belong to this plug-in"},
        {0x12, 0x106, "what flash holds differs from what was sent, first at 0x00002000"},
        {6, 0x106, "flash is not blank, first at 0x00002000"},
        {3, 0x0777, "the flashloader answered with the unknown status 0x00000777"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(DescribeStatus(Block(c.command, c.status)).Plain(), c.expected);
    }
}

}  // namespace
}  // namespace flash::host
