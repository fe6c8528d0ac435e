#include "flashdevice/device/FormatText.h"

#include <gtest/gtest.h>

namespace flash::test {
namespace {

TEST(FormatText, FormatsAsPrintfDoes) {
    EXPECT_EQ(FormatText("plain"), "plain");
    EXPECT_EQ(FormatText("%d of 0x%04X: %s %%", -7, 0xABU, "100%n%s"), "-7 of 0x00AB: 100%n%s %");
}

TEST(FormatText, HasTheLengthOfWhatItFormats) {
    for (const std::size_t length : {0U, 1U, 15U, 16U, 511U, 512U, 513U, 5000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(FormatText("%s", text.c_str()), text);
    }
}

}  // namespace
}  // namespace flash::test
