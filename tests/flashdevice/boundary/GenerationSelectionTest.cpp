// The generation behind a device name, and the failures of names that have none.
#include "flashdevice/boundary/GenerationSelection.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

TEST(IsSecondGeneration, HoldsForTheSixthCharacters2And4Only) {
    for (char digit = '0'; digit <= '9'; ++digit) {
        const std::string name = std::string("LumoX") + digit + "K128";
        EXPECT_EQ(IsSecondGeneration(name), digit == '2' || digit == '4') << name;
    }
}

TEST(IsSecondGeneration, LooksAtNoOtherCharacter) {
    EXPECT_FALSE(IsSecondGeneration("222221222"));
    EXPECT_TRUE(IsSecondGeneration("LumoF2"));
    EXPECT_TRUE(IsSecondGeneration("     4"));
}

TEST(IsSecondGeneration, FailsLikeTheStandardLibraryForNamesWithoutADigit) {
    for (const char* name : {"", "L", "Lumo"}) {
        EXPECT_EQ(ThrownText<std::out_of_range>([&] { IsSecondGeneration(name); }), "invalid string position") << name;
    }
    for (const char* name : {"LumoD", "LumoDx2", "LumoD ", "LumoD+4", "LumoD-2", "LumoD\t2", "LumoD.2"}) {
        EXPECT_EQ(ThrownText<std::invalid_argument>([&] { IsSecondGeneration(name); }), "invalid stoi argument")
            << name;
    }
}

}  // namespace
}  // namespace flash::test
