// The bytes of a posted command, and the words for a state machine's status.
#include "flashdevice/mailbox/CommandBlock.h"

#include <gtest/gtest.h>

namespace flash::test {
namespace {

TEST(BuildCommandBlock, PutsFiveWordsLeastSignificantByteFirst) {
    EXPECT_EQ(BuildCommandBlock(0x13, 0x1122'3344, 0x5566'7788, 0x99AA'BBCC),
              (CommandBlockBytes{0x44, 0x33, 0x22, 0x11,     // address
                                 0x88, 0x77, 0x66, 0x55,     // length
                                 0x13, 0x00, 0x00, 0x00,     // command
                                 0xCC, 0xBB, 0xAA, 0x99,     // crc
                                 0xFF, 0xFF, 0xFF, 0xFF}));  // status: not done
}

TEST(BuildCommandBlock, MarksAnEmptyCommandAsNotDone) {
    EXPECT_EQ(BuildCommandBlock(1, 0, 0, 0),
              (CommandBlockBytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(FsmStatusName, KnowsFiveValues) {
    EXPECT_STREQ(FsmStatusName(0), "Success");
    EXPECT_STREQ(FsmStatusName(1), "FSM is Busy");
    EXPECT_STREQ(FsmStatusName(2), "FSM is Ready");
    EXPECT_STREQ(FsmStatusName(3), "Incorrect parameter value");
    EXPECT_STREQ(FsmStatusName(4), "Operation failed");
    for (const std::uint32_t value : {5U, 255U, 0xFFFF'FFFFU}) {
        EXPECT_STREQ(FsmStatusName(value), "Unknown status code") << value;
    }
}

}  // namespace
}  // namespace flash::test
