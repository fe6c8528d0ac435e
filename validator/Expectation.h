// How a check says what it demands: the first unmet expectation ends it, with what was expected and what came back.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace flash::validator {

// Ends a check.
struct UnmetExpectation {
    std::string expected;
    std::string found;
};

// Ends a check, too: this system does not offer what it takes.
struct NotPossible {
    std::string reason;
};

[[noreturn]] void Fail(const std::string& expected, const std::string& found);

std::string Quoted(const char* text);  // "no text" for null
std::string Quoted(const std::string& text);
std::string Hex(std::uint64_t value);
std::string HexBytes(std::span<const std::uint8_t> bytes);
std::string Counted(std::uint64_t count, const std::string& noun);  // "1 byte", "2 bytes"

void Expect(bool isMet, const std::string& expected, const std::string& found);
void ExpectTrue(const std::string& what, bool value);
void ExpectFalse(const std::string& what, bool value);
void ExpectText(const std::string& what, const std::string& expected, const char* found);
void ExpectText(const std::string& what, const std::string& expected, const std::string& found);
void ExpectTexts(const std::string& what, const std::vector<std::string>& expected,
                 const std::vector<std::string>& found);
void ExpectNumber(const std::string& what, std::uint64_t expected, std::uint64_t found);
void ExpectBytes(const std::string& what, std::span<const std::uint8_t> expected, std::span<const std::uint8_t> found);

}  // namespace flash::validator
