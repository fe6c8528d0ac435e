// Fill values: a second reader finds the same byte or the same words of refusal; what is printed reads back.
#include <cstdio>

#include "flashdevice/programming/FillValue.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

namespace flash::fuzz {
namespace {

int SecondFillValue(const std::string& text) {
    const std::string hexadecimal = "0123456789abcdefABCDEF";
    bool hasX = false;
    bool hasLetter = false;
    for (const char character : text) {
        const bool isX = character == 'x' || character == 'X';
        hasX = hasX || isX;
        hasLetter = hasLetter || hexadecimal.find(character, 10) != std::string::npos;
        if (!isX && hexadecimal.find(character) == std::string::npos) {
            throw std::runtime_error("Option contains invalid characters: \"" + text + "\".\n");
        }
    }
    if (hasX && text.size() != 4) {
        throw std::runtime_error("Invalid option was given \"" + text + "\". Value must fit in one byte!\n");
    }
    if (!hasX && (hasLetter || CLibraryNumber(text, 10) > 1)) {
        throw std::runtime_error("Invalid option was given \"" + text + "\".\n");
    }
    return static_cast<int>(CLibraryNumber(text, hasX ? 16 : 10) & 0xFF);
}

void CheckPrinting(int value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(value));
    FuzzRequire(ParseFillValue(text) == value, "a printed value reads back");
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const std::string text(data, data + size);
    const auto first = ReadingOf<int>([&] { return int{flash::ParseFillValue(text)}; });
    const auto second = ReadingOf<int>([&] { return SecondFillValue(text); });
    FuzzRequire(first == second, "both readers find the same fill value");
    CheckPrinting(first.result);
    return 0;
}
