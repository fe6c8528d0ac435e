// The texts of `FlashEraseSetting`, both ways.
#include "host/settings/EraseSetting.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

TEST(EraseSetting, EachTextIsReadBackAsItsChoice) {
    for (const EraseChoice erase :
         {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All, EraseChoice::Listed, EraseChoice::None}) {
        EXPECT_EQ(ParseEraseSetting(EraseSettingText(erase)), erase) << EraseSettingText(erase);
    }
}

TEST(EraseSetting, ATextMaySayMoreThanTheSetting) {
    EXPECT_EQ(ParseEraseSetting("All Unprotected Sectors (Bank Erase)"), EraseChoice::All);
}

TEST(EraseSetting, WhatIsNotKnownErasesTheNecessarySectors) {
    for (const char* text : {"", "all", "all unprotected sectors", "Necessary"}) {
        EXPECT_EQ(ParseEraseSetting(text), EraseChoice::Necessary) << text;
    }
}

}  // namespace
}  // namespace flash::host
