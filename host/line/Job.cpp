// Texts of a job with something to fill in.
#include "host/line/Job.h"

#include <fmt/format.h>

#include <stdexcept>

namespace flash::host::line {

std::string ProbeFor(const SlotPlan& slot, std::uint64_t number) {
    std::string probe = slot.probe;
    for (std::size_t at = probe.find(kRunningNumber); at != std::string::npos; at = probe.find(kRunningNumber, at)) {
        probe.replace(at, kRunningNumber.size(), std::to_string(number));
    }
    return probe;
}

std::vector<std::string> SplitWords(std::string_view text) {
    std::vector<std::string> words;
    bool isInWord = false;
    char quote = '\0';
    for (const char character : text) {
        const bool isBlank = quote == '\0' && (character == ' ' || character == '\t');
        if (!isBlank && !isInWord) {
            words.emplace_back();
        }
        isInWord = !isBlank;
        if (quote == '\0' && (character == '"' || character == '\'')) {
            quote = character;
        } else if (character == quote && quote != '\0') {
            quote = '\0';
        } else if (!isBlank) {
            words.back() += character;
        }
    }
    if (quote != '\0') {
        throw std::invalid_argument(fmt::format("a {} is not closed", quote));
    }
    return words;
}

std::string FillIn(std::string_view text, const std::map<std::string, std::string>& values) {
    std::string filled;
    while (!text.empty()) {
        const std::size_t open = text.find('{');
        filled += text.substr(0, open);
        if (open == std::string_view::npos) {
            break;
        }
        text.remove_prefix(open + 1);
        const std::size_t close = text.find('}');
        const auto value = values.find(std::string(text.substr(0, close)));
        if (close == std::string_view::npos || value == values.end()) {
            throw std::invalid_argument(fmt::format("there is nothing to fill in for {{{}", text.substr(0, close)) +
                                        (close == std::string_view::npos ? "" : "}"));
        }
        filled += value->second;
        text.remove_prefix(close + 1);
    }
    return filled;
}

}  // namespace flash::host::line
