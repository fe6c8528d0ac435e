#include "host/picture/Markup.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Words.h"

namespace flash::host {
namespace {

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

}  // namespace

std::string XmlText(std::string_view text) {
    std::string result;
    for (const char character : Escaped(text)) {
        switch (character) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += character;
        }
    }
    return result;
}

std::string Coordinate(double value) {
    std::string text = fmt::format("{:.2f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

std::string Shortened(std::string_view text, std::size_t mostCharacters) {
    if (static_cast<std::size_t>(std::ranges::count_if(text, BeginsCharacter)) <= mostCharacters) {
        return std::string(text);
    }
    std::size_t end = 0;
    for (std::size_t characters = 0; end < text.size(); ++end) {
        characters += BeginsCharacter(text[end]) ? 1U : 0U;
        if (characters == mostCharacters) {
            break;
        }
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string SvgRectangle(double x, double y, double width, double height, std::string_view rest) {
    return fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" {}/>", Coordinate(x), Coordinate(y),
                       Coordinate(width), Coordinate(height), rest);
}

std::string SvgText(double x, double y, std::string_view classes, std::string_view text) {
    return fmt::format("<text x=\"{}\" y=\"{}\" class=\"{}\">{}</text>", Coordinate(x), Coordinate(y), classes,
                       XmlText(text));
}

std::string SvgTitle(std::string_view text) { return fmt::format("<title>{}</title>", XmlText(text)); }

}  // namespace flash::host
