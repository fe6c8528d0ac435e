// Brackets and dots count where they are neither in a text nor in a comment.
#include "apps/lumoflash/TomlDepth.h"

#include <algorithm>

namespace flash::app {
namespace {

constexpr std::size_t kMostLevels = 16;
constexpr std::size_t kMostDots = 64;  // in one line, also those between digits
constexpr std::string_view kLongTexts[] = {"\"\"\"", "'''"};

class Counter {
public:
    explicit Counter(std::string_view wholeText) : text(wholeText) {}

    std::optional<std::size_t> Find() {
        while (at < text.size()) {
            const char character = text[at];
            if (character == '"' || character == '\'') {
                SkipText(character);
                continue;
            }
            if (character == '#') {
                at = std::min(text.find('\n', at), text.size());
                continue;
            }
            Count(character);
            if (levels > kMostLevels || dots > kMostDots) {
                return line;
            }
            ++at;
        }
        return std::nullopt;
    }

private:
    void Count(char character) {
        switch (character) {
            case '[':
            case '{':
                ++levels;
                break;
            case ']':
            case '}':
                levels -= levels == 0 ? 0 : 1;
                break;
            case '.':
                ++dots;
                break;
            case '\n':
                ++line;
                dots = 0;
                break;
            default:
                break;
        }
    }

    void SkipText(char quote) {
        for (const std::string_view mark : kLongTexts) {
            if (text.substr(at).starts_with(mark)) {
                at += mark.size();
                SkipTo(mark, quote == '"');
                SkipMarksBefore(quote);
                return;
            }
        }
        ++at;
        SkipTo(std::string_view(&quote, 1), quote == '"');
    }

    // A long text may end with two marks of its own in front of the three, of which the first three have been taken.
    void SkipMarksBefore(char quote) {
        for (int i = 0; i < 2 && at < text.size() && text[at] == quote; ++i) {
            ++at;
        }
    }

    // Behind the mark. A text in single marks ends with its line at the latest.
    void SkipTo(std::string_view mark, bool hasEscapes) {
        while (at < text.size() && !text.substr(at).starts_with(mark)) {
            if (text[at] == '\n') {
                if (mark.size() == 1) {
                    return;
                }
                ++line;
            }
            const bool isEscaped = hasEscapes && text[at] == '\\' && at + 1 < text.size() && text[at + 1] != '\n';
            at += std::size_t{1} + (isEscaped ? std::size_t{1} : std::size_t{0});
        }
        at += at < text.size() ? mark.size() : 0;
    }

    std::string_view text;
    std::size_t at = 0, line = 1, levels = 0, dots = 0;
};

}  // namespace

std::optional<std::size_t> LineNestedTooDeeply(std::string_view text) { return Counter(text).Find(); }

}  // namespace flash::app
