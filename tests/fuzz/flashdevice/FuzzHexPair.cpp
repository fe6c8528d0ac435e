// "first:second" in hexadecimal: a second reader finds the same two numbers, and a text of another form is reported.
#include "flashdevice/device/FlashUtil.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/PropertyHost.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    constexpr std::uint32_t kUntouched = 0xA5A5'5A5A;
    // A property's text ends at its first zero byte.
    const std::string text = std::string(data, data + size).c_str();
    PropertyHost host(text);
    flash::IFlashHost* access = &host;
    std::uint32_t first = kUntouched;
    std::uint32_t second = kUntouched;
    flash::FlashUtil(access).ReadHexPair("FieldLoc", &first, &second);

    const std::vector<std::string> pieces = SecondSplit(text, ':');
    FuzzRequire(first == (pieces.empty() ? kUntouched : CLibraryNumber(pieces[0], 16)), "the first number");
    FuzzRequire(second == (pieces.size() < 2 ? kUntouched : CLibraryNumber(pieces[1], 16)), "the second number");
    const std::vector<std::string> complaint = {
        "Property 'FieldLoc' in Flash Properties XML does not contain 2 values delimited by ':'.\n"};
    FuzzRequire(host.errors == (pieces.size() == 2 ? std::vector<std::string>{} : complaint),
                "a text of another form, and no other, is reported");
    return 0;
}
