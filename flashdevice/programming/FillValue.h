// The user's fill value: the byte whose sectors need not be programmed.
#pragma once

#include <cstdint>
#include <string>

namespace flash {

// "0", "1", or four characters such as "0xA5". Throws with the text that the user is to see.
std::uint8_t ParseFillValue(const std::string& text);

}  // namespace flash
