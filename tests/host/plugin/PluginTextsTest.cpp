// What a user reads of a plug-in's text, and what is only a detail, or nothing.
#include "host/plugin/PluginTexts.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

TEST(ReadPluginText, TextsOfTheInterfaceAreCauses) {
    for (const char* text : {"Timed out waiting for target flashloader to execute command.", "Address value is too big",
                             "Unknown property \"FlashPages\"", "Invalid range was given '5-3'.\n",
                             "Failed to write flashloader to device SRAM."}) {
        EXPECT_EQ(ReadPluginText(text), (PluginAnswer{text, text}));
    }
}

TEST(ReadPluginText, OtherTextsAreDetails) {
    for (const char* text : {"The fuse bits do not match", "FlashUtil::Convert(): Input string is empty",
                             "listed sectors are missing", "mapping failed", "invalid address"}) {
        EXPECT_EQ(ReadPluginText(text), (PluginAnswer{"the plug-in failed for a reason of its own", text}));
    }
}

TEST(ReadPluginText, TextsOfStandardLibrariesAreForNoUser) {
    for (const char* text :
         {"invalid vector<T> subscript", "invalid string position", "invalid stoi argument",
          "stoi argument out of range", "vector::_M_range_check: __n (which is 5) >= this->size() (which is 5)",
          "basic_string::substr: __pos", "stoi", "stoul: no conversion", "std::bad_alloc", "bad allocation",
          "bad_function_call", "map::at:  key not found", "vector", "string too long", "bad optional access",
          "std::exception"}) {
        EXPECT_EQ(ReadPluginText(text),
                  (PluginAnswer{"the plug-in cannot use the value of a property, or what the chip answered", ""}))
            << text;
    }
}

TEST(ReadPluginText, SilenceIsToldAsSuch) {
    EXPECT_EQ(ReadPluginText(""), (PluginAnswer{"the plug-in failed without saying why", ""}));
}

}  // namespace
}  // namespace flash::host
