// The words for a flash controller.
#include "host/virtual_chip/ControllerText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace flash::host {
namespace {

TEST(ReadController, NoWordsAreTheUsualOne) {
    EXPECT_EQ(ReadController(""), chip::ControllerKind{});
    EXPECT_EQ(ReadController("  "), chip::ControllerKind{});
}

TEST(ReadController, TakesEachWordInAnyOrder) {
    const chip::ControllerKind kind =
        ReadController("watchdog=100 protects-with-ones  no-bank-erase page=2048 written-once unit=8");

    EXPECT_EQ(kind, (chip::ControllerKind{.unitBytes = 8,
                                          .isWrittenOnce = true,
                                          .pageBytes = 2048,
                                          .hasBankErase = false,
                                          .protectsWithOnes = true,
                                          .watchdog = std::chrono::milliseconds(100)}));
}

TEST(ReadController, RefusesWhatIsNoWord) {
    for (const std::string text :
         {"unit", "unit=", "unit=0", "unit=x", "page=-1", "watchdog=3600001", "once", "unit=8,page=2048", "Unit=8"}) {
        EXPECT_THROW(ReadController(text), std::invalid_argument) << text;
    }
}

}  // namespace
}  // namespace flash::host
