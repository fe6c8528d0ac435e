// Texts of modules, which may hold any bytes, made fit for a page.
#pragma once

#include <string>
#include <string_view>

namespace flash::validator {

// Valid UTF-8: each byte that is no part of a character becomes U+FFFD.
std::string AsUtf8(std::string_view bytes);

// In one line: what is no character, or one for terminals, as \x1B.
std::string InOneLine(std::string_view bytes);

std::string JsonText(std::string_view bytes);  // with its quotes
std::string XmlText(std::string_view bytes);   // for content, and for what stands between double quotes

}  // namespace flash::validator
