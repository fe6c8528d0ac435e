// Radio addresses as the user writes them: a second reader finds the same bytes or the same words of refusal; what is
// printed reads back.
#include <regex>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/operations/MacAddressText.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

namespace flash::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

bool IsPart(const std::string& piece) {
    static const std::regex hexadecimal("\\s*([+-]?[0-9a-fA-F]+)?\\s*", std::regex::optimize);
    return piece.size() <= 2 && std::regex_match(piece, hexadecimal) && CLibraryNumber(piece, 16) <= 0xFF;
}

Bytes SecondAddress(const std::string& text, std::uint32_t length) {
    const std::string expected = std::to_string(length);
    Bytes bytes;
    for (const std::string& piece : SecondSplit(text, ':')) {
        if (!IsPart(piece)) {
            throw std::runtime_error("Syntax error in MAC address. Expecting " + expected +
                                     " HEX values separated by ':'.\n");
        }
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(CLibraryNumber(piece, 16)));
    }
    if (bytes.size() != length) {
        throw std::runtime_error("Error: Expected MAC address length of " + expected + " bytes.\n");
    }
    return bytes;
}

}  // namespace
}  // namespace flash::fuzz

// The first byte is the address's length, the rest the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const NumberAndText input(data, size);
    const std::uint32_t length = input.number % 17U;
    const auto first =
        SameReading<Bytes>([&] { return flash::ParseMacAddress(input.text, length); },
                           [&] { return SecondAddress(input.text, length); }, "both readers find the same address");
    Bytes shown = first.result;
    flash::FlashUtil::ReverseBytes(shown);
    const auto count = static_cast<std::uint32_t>(shown.size());
    FuzzRequire(flash::ParseMacAddress(flash::FlashUtil::ConvertByteVectorToString(shown), count) == first.result,
                "a printed address reads back");
    return 0;
}
