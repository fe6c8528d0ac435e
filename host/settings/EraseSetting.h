// The texts of the property `FlashEraseSetting`, which says what a program load erases.
#pragma once

#include <string_view>

namespace flash::host {

enum class EraseChoice { Necessary, Retain, All, Listed, None };

const char* EraseSettingText(EraseChoice erase);

// As a plug-in reads it: a text may say more than the setting, such as "All Unprotected Sectors (Bank Erase)", and what
// is not known erases the necessary sectors.
EraseChoice ParseEraseSetting(std::string_view text);

}  // namespace flash::host
