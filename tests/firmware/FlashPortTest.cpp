// The numbers of the port, as they travel in the status word.
#include "firmware/flash_port.h"

#include <gtest/gtest.h>

#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {
namespace {

TEST(FsmStatus, IsWhatTheHostPutsIntoWords) {
    EXPECT_STREQ(FsmStatusName(kFsmSuccess), "Success");
    EXPECT_STREQ(FsmStatusName(kFsmBusy), "FSM is Busy");
    EXPECT_STREQ(FsmStatusName(kFsmReady), "FSM is Ready");
    EXPECT_STREQ(FsmStatusName(kFsmIncorrectParameter), "Incorrect parameter value");
    EXPECT_STREQ(FsmStatusName(kFsmFailed), "Operation failed");
}

}  // namespace
}  // namespace flash
