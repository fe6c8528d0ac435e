// The texts of the property `FlashEraseSetting`, which says what a program load erases.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace flash::host {

enum class EraseChoice { Necessary, Retain, All, Listed, None };

const char* EraseSettingText(EraseChoice erase);

// All of them, and whether a text holds one.
std::vector<std::string> EraseSettingTexts();
bool IsEraseSetting(std::string_view text);

// As a plug-in reads it: a text may say more than the setting, such as "All Unprotected Sectors (Bank Erase)", and what
// is not known erases the necessary sectors.
EraseChoice ParseEraseSetting(std::string_view text);

}  // namespace flash::host
