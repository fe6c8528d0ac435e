// Which generation of chips a device name means.
#pragma once

#include <string_view>

namespace flash {

// By the sixth character: '2' and '4' are the second generation, other digits the first. Throws `std::out_of_range`
// "invalid string position" and `std::invalid_argument` "invalid stoi argument" for names without a digit there.
bool IsSecondGeneration(std::string_view deviceName);

}  // namespace flash
