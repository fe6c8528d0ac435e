// What somebody may have meant who mistyped a word.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace flash::host {

// The known word that is the fewest slips away (a letter too many, missing, wrong, or two swapped; case is none), the
// first of several. Nothing when that is more than a third of the word: then it is no slip.
std::optional<std::string> Nearest(std::string_view word, std::span<const std::string> known);

// " (did you mean program?)", or "" when nothing is near.
std::string DidYouMean(std::string_view word, std::span<const std::string> known);

}  // namespace flash::host
