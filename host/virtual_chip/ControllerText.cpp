// Words between spaces, in any order; the chip itself judges the numbers.
#include "host/virtual_chip/ControllerText.h"

#include <fmt/format.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "host/Numbers.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kMostMilliseconds = 3'600'000;

std::uint32_t NumberOf(const std::string& word, std::size_t start) {
    const std::optional<std::uint32_t> number = ParseDecimal(word.substr(start));
    if (!number || *number == 0 || *number > kMostMilliseconds) {
        throw std::invalid_argument(fmt::format("\"{}\" wants a number above 0", word));
    }
    return *number;
}

void ReadWord(const std::string& word, chip::ControllerKind& kind) {
    if (word == "written-once") {
        kind.isWrittenOnce = true;
    } else if (word == "no-bank-erase") {
        kind.hasBankErase = false;
    } else if (word == "protects-with-ones") {
        kind.protectsWithOnes = true;
    } else if (word.starts_with("unit=")) {
        kind.unitBytes = NumberOf(word, 5);
    } else if (word.starts_with("page=")) {
        kind.pageBytes = NumberOf(word, 5);
    } else if (word.starts_with("watchdog=")) {
        kind.watchdog = std::chrono::milliseconds(NumberOf(word, 9));
    } else {
        throw std::invalid_argument(
            fmt::format("\"{}\" is none of unit=BYTES, written-once, page=BYTES, no-bank-erase, protects-with-ones and "
                        "watchdog=MILLISECONDS",
                        word));
    }
}

}  // namespace

chip::ControllerKind ReadController(std::string_view text) {
    chip::ControllerKind kind;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word;) {
        ReadWord(word, kind);
    }
    return kind;
}

}  // namespace flash::host
