// The second, simpler way to what the plug-in reads out of texts: the C++ library's streams and the C library's
// numbers.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzTarget.h"

namespace flash::fuzz {

inline std::vector<std::string> SecondSplit(const std::string& text, char delimiter) {
    std::istringstream stream(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(stream, piece, delimiter);) {
        pieces.push_back(piece);
    }
    return pieces;
}

// The C library counts in 64 bits here: what does not fit 32 is the largest number, a sign works in 32.
inline std::uint32_t CLibraryNumber(const std::string& text, int base) {
    const char* start = text.c_str();
    while (*start == ' ' || (*start >= '\t' && *start <= '\r')) {
        ++start;
    }
    const bool isNegative = *start == '-';
    if (*start == '-' || *start == '+') {
        ++start;
    }
    if (*start == '-' || *start == '+' || *start == ' ' || (*start >= '\t' && *start <= '\r')) {
        return 0;  // the C library would accept a second sign
    }
    errno = 0;
    const unsigned long long magnitude = std::strtoull(start, nullptr, base);
    if (errno == ERANGE || magnitude > 0xFFFF'FFFF) {
        return 0xFFFF'FFFF;
    }
    const auto value = static_cast<std::uint32_t>(magnitude);
    return isNegative ? 0U - value : value;
}

// What a reader makes of a text: a result, or the text of its failure.
template <typename Result>
struct Reading {
    Result result{};
    std::string error;
    bool operator==(const Reading&) const = default;
};

template <typename Result>
Reading<Result> ReadingOf(const std::function<Result()>& read) {
    try {
        return {read(), ""};
    } catch (const std::runtime_error& error) {
        return {Result{}, error.what()};
    }
}

// An input of a number, its first byte, and a text. What is used up counts as 0 and "".
struct NumberAndText {
    NumberAndText(const std::uint8_t* data, std::size_t size)
        : number(size == 0 ? std::uint8_t{0} : data[0]), text(data + (size == 0 ? 0 : 1), data + size) {}

    std::uint8_t number;
    std::string text;
};

// The first reader's reading, which must be the second's, too.
template <typename Result>
Reading<Result> SameReading(const std::function<Result()>& first, const std::function<Result()>& second,
                            const char* promise) {
    Reading<Result> reading = ReadingOf<Result>(first);
    FuzzRequire(reading == ReadingOf<Result>(second), promise);
    return reading;
}

}  // namespace flash::fuzz
