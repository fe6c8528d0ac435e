// The distance of Damerau and Levenshtein, row by row: no letter takes part in two slips.
#include "host/Nearest.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace flash::host {
namespace {

constexpr std::size_t kLongestWord = 64;  // longer ones are no names of anything
constexpr std::size_t kLettersPerSlip = 3;

bool IsSame(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::size_t Slips(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
    for (std::size_t k = 0; k <= b.size(); ++k) {
        last[k] = k;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t k = 1; k <= b.size(); ++k) {
            const std::size_t wrong = IsSame(a[i - 1], b[k - 1]) ? 0 : 1;
            row[k] = std::min({last[k] + 1, row[k - 1] + 1, last[k - 1] + wrong});
            if (i > 1 && k > 1 && IsSame(a[i - 1], b[k - 2]) && IsSame(a[i - 2], b[k - 1])) {
                row[k] = std::min(row[k], beforeLast[k - 2] + 1);
            }
        }
        beforeLast = last;
        last = row;
    }
    return last.back();
}

}  // namespace

std::optional<std::string> Nearest(std::string_view word, std::span<const std::string> known) {
    std::optional<std::string> nearest;
    std::size_t least = std::max<std::size_t>(1, word.size() / kLettersPerSlip) + 1;
    for (const std::string& candidate : known) {
        const std::size_t slips =
            std::max(word.size(), candidate.size()) > kLongestWord ? least : Slips(word, candidate);
        if (slips < least) {
            least = slips;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string DidYouMean(std::string_view word, std::span<const std::string> known) {
    const std::optional<std::string> nearest = Nearest(word, known);
    return nearest ? " (did you mean " + *nearest + "?)" : "";
}

}  // namespace flash::host
