// Intel HEX: a second reader accepts and refuses the same files and finds the same bytes; what is printed reads back.
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "host/files/IntelHex.h"
#include "tests/fuzz/files/ByteMap.h"
#include "tests/fuzz/files/ReadTwice.h"
#include "tests/fuzz/files/TextCursor.h"

namespace flash::fuzz {
namespace {

constexpr const char* kFileName = "fuzz.hex";

struct State {
    ByteMap map;
    std::uint32_t base = 0;
    bool isLinear = false;
    bool hasEntry = false;
    bool hasEnded = false;
};

// False for a line that is not sound.
bool TakeLine(std::string_view line, State& state) {
    if (state.hasEnded || !line.starts_with(':')) {
        return false;
    }
    TextCursor cursor(line.substr(1));
    const unsigned count = cursor.Byte();
    const std::uint32_t offset = cursor.Bytes(2);
    const unsigned type = cursor.Byte();
    std::array<std::uint8_t, 256> data{};
    for (unsigned i = 0; i < count; ++i) {
        data[i] = cursor.Byte();
    }
    cursor.Byte();
    if (!cursor.IsGood() || !cursor.IsAtEnd() || cursor.sum % 256 != 0) {
        return false;
    }
    if (type == 0) {
        for (unsigned i = 0; i < count; ++i) {
            const bool wraps = !state.isLinear && offset + i > 0xFFFF;
            if (wraps || !state.map.Put(std::uint64_t{state.base} + offset + i, data[i])) {
                return false;
            }
        }
        return true;
    }
    constexpr unsigned kCounts[] = {0, 0, 2, 4, 2, 4};
    if (type > 5 || count != kCounts[type] || offset != 0) {
        return false;
    }
    const std::uint32_t high = data[0] * 256u + data[1];
    const std::uint32_t low = data[2] * 256u + data[3];
    state.hasEnded = type == 1;
    if (type == 2 || type == 4) {
        state.base = high * (type == 2 ? 0x10 : 0x1'0000);
        state.isLinear = type == 4;
    }
    if (type == 3 || type == 5) {
        state.map.entryPoint = high * (type == 3 ? 0x10 : 0x1'0000) + low;
        return !std::exchange(state.hasEntry, true);
    }
    return true;
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    const auto read = fuzz::ReadTwice<fuzz::State>({data, size}, fuzz::kFileName, host::ReadIntelHex, fuzz::TakeLine);
    if (read) {
        const std::string printed = host::PrintIntelHex(host::ReadIntelHex({data, size}, fuzz::kFileName));
        const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(printed.data()),
                                                  printed.size());
        fuzz::FuzzRequire(fuzz::MapOf(host::ReadIntelHex(bytes, "printed")) == *read, "what is printed reads back");
    }
    return 0;
}
