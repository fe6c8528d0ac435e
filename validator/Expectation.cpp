#include "validator/Expectation.h"

#include <algorithm>
#include <cstdio>

namespace flash::validator {
namespace {

constexpr std::size_t kShownBytes = 16;

std::string Joined(const std::vector<std::string>& texts) {
    std::string result = "[";
    for (const std::string& text : texts) {
        result += (result.size() == 1 ? "" : ", ") + Quoted(text);
    }
    return result + "]";
}

}  // namespace

void Fail(const std::string& expected, const std::string& found) { throw UnmetExpectation{expected, found}; }

std::string Quoted(const char* text) { return text == nullptr ? "no text" : Quoted(std::string(text)); }

std::string Quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        result += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return result + "\"";
}

std::string Hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string Counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string HexBytes(std::span<const std::uint8_t> bytes) {
    std::string result;
    for (std::size_t i = 0; i < std::min(bytes.size(), kShownBytes); ++i) {
        char text[4];
        std::snprintf(text, sizeof text, "%s%02X", i == 0 ? "" : " ", static_cast<unsigned>(bytes[i]));
        result += text;
    }
    return result + (bytes.size() > kShownBytes ? " …" : "");
}

void Expect(bool isMet, const std::string& expected, const std::string& found) {
    if (!isMet) {
        Fail(expected, found);
    }
}

void ExpectTrue(const std::string& what, bool value) { Expect(value, what + ": true", "false"); }

void ExpectFalse(const std::string& what, bool value) { Expect(!value, what + ": false", "true"); }

void ExpectText(const std::string& what, const std::string& expected, const char* found) {
    Expect(found != nullptr && expected == found, what + ": " + Quoted(expected), Quoted(found));
}

void ExpectText(const std::string& what, const std::string& expected, const std::string& found) {
    ExpectText(what, expected, found.c_str());
}

void ExpectTexts(const std::string& what, const std::vector<std::string>& expected,
                 const std::vector<std::string>& found) {
    Expect(expected == found, what + ": " + Joined(expected), Joined(found));
}

void ExpectNumber(const std::string& what, std::uint64_t expected, std::uint64_t found) {
    Expect(expected == found, what + ": " + std::to_string(expected) + " (" + Hex(expected) + ")",
           std::to_string(found) + " (" + Hex(found) + ")");
}

void ExpectBytes(const std::string& what, std::span<const std::uint8_t> expected, std::span<const std::uint8_t> found) {
    const std::size_t common = std::min(expected.size(), found.size());
    const auto difference =
        std::mismatch(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(common), found.begin());
    const auto index = static_cast<std::size_t>(difference.first - expected.begin());
    const bool isSame = expected.size() == found.size() && index == common;
    Expect(
        isSame,
        what + ": " + Counted(expected.size(), "byte") + ", from byte " + std::to_string(index) + " " +
            HexBytes(expected.subspan(index)),
        Counted(found.size(), "byte") + ", from byte " + std::to_string(index) + " " + HexBytes(found.subspan(index)));
}

}  // namespace flash::validator
