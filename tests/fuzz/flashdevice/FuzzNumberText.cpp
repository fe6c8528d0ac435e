// Numbers out of texts: the C library's own conversions give the same, in both bases.
#include "flashdevice/device/NumberText.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

namespace flash::fuzz {
namespace {

enum class IntegerKind { Value, NoNumber, TooLarge };

struct Integer {
    IntegerKind kind = IntegerKind::Value;
    std::int32_t value = 0;
    bool operator==(const Integer&) const = default;
};

// By the exception's family only: every standard library has its own words.
template <typename Read>
Integer IntegerOf(Read read) {
    try {
        return {IntegerKind::Value, read()};
    } catch (const std::invalid_argument&) {
        return {IntegerKind::NoNumber, 0};
    } catch (const std::out_of_range&) {
        return {IntegerKind::TooLarge, 0};
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const std::string text(data, data + size);
    FuzzRequire(flash::ParseUnsigned(text, 10) == CLibraryNumber(text, 10),
                "decimal numbers as the C library reads them");
    FuzzRequire(flash::ParseUnsigned(text, 16) == CLibraryNumber(text, 16),
                "hexadecimal numbers as the C library reads them");
    FuzzRequire(IntegerOf([&] { return flash::ParseInteger(text); }) == IntegerOf([&] { return std::stoi(text); }),
                "integers as the C++ library reads them");
    const std::uint32_t value = flash::ParseUnsigned(text, 10);
    FuzzRequire(flash::ParseUnsigned(std::to_string(value), 10) == value, "a printed number reads back");
    return 0;
}
