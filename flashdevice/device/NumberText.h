// Numbers out of texts, by the C library's rules with results of 32 bits: the same on every compiler, whatever the
// width of `long` and whatever the locale.
#pragma once

#include <cstdint>
#include <string_view>

namespace flash {

// White space of the C locale: blank, tab, line feed, vertical tab, form feed, carriage return.
bool IsWhiteSpace(char character);

// The value of a digit of any base up to 16; 16 for a character that is none.
std::uint32_t DigitValue(char character);

// The leading number of `text`, like `strtoul` with a 32-bit result: white space is skipped, a sign is accepted ("-1"
// is 0xFFFFFFFF), base 16 also accepts "0x"; conversion stops at the first other character. No digit gives 0, a value
// that does not fit gives 0xFFFFFFFF. `base` is 10 or 16. Never an error.
std::uint32_t ParseUnsigned(std::string_view text, std::uint32_t base);

// The leading decimal number of `text`, like `std::stoi`. Throws `std::invalid_argument` "invalid stoi argument"
// without a digit and `std::out_of_range` "stoi argument out of range" for a value that does not fit.
std::int32_t ParseInteger(std::string_view text);

}  // namespace flash
