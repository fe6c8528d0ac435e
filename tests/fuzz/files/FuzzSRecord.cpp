// Motorola S-record: a second reader accepts and refuses the same files and finds the same bytes.
#include <array>
#include <span>
#include <string_view>
#include <vector>

#include "host/files/SRecord.h"
#include "tests/fuzz/files/ByteMap.h"
#include "tests/fuzz/files/ReadTwice.h"
#include "tests/fuzz/files/TextCursor.h"

namespace flash::fuzz {
namespace {

constexpr const char* kFileName = "fuzz.srec";

struct State {
    ByteMap map;
    std::uint32_t dataLines = 0;
    bool hasEnded = false;
};

// Bytes of address by type; 0 where there is no such type.
constexpr std::array<unsigned, 10> kAddressBytes{2, 2, 3, 4, 0, 2, 3, 4, 3, 2};

// What a sound line of `type` means. False when it must not stand here.
bool TakeRecord(std::size_t type, std::uint32_t address, std::span<const std::uint8_t> data, State& state) {
    if (type >= 1 && type <= 3) {
        ++state.dataLines;
        std::uint64_t at = address;
        for (const std::uint8_t byte : data) {
            if (!state.map.Put(at++, byte)) {
                return false;
            }
        }
        return true;
    }
    if (type == 0) {
        return true;
    }
    if (type >= 7) {
        state.hasEnded = true;
        state.map.entryPoint = address == 0 ? std::nullopt : std::optional(address);
        return data.empty();
    }
    return data.empty() && address == state.dataLines;
}

bool TakeLine(std::string_view line, State& state) {
    if (state.hasEnded || line.size() < 2 || line[0] != 'S' || line[1] < '0' || line[1] > '9') {
        return false;
    }
    const auto type = static_cast<std::size_t>(line[1] - '0');
    const unsigned addressBytes = kAddressBytes[type];
    TextCursor cursor(line.substr(2));
    const unsigned count = cursor.Byte();
    if (addressBytes == 0 || count < addressBytes + 1) {
        return false;
    }
    const std::uint32_t address = cursor.Bytes(addressBytes);
    std::vector<std::uint8_t> data;
    while (data.size() < count - addressBytes - 1) {
        data.push_back(cursor.Byte());
    }
    cursor.Byte();
    return cursor.IsGood() && cursor.IsAtEnd() && cursor.sum % 256 == 255 && TakeRecord(type, address, data, state);
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    fuzz::ReadTwice<fuzz::State>({data, size}, fuzz::kFileName, host::ReadSRecord, fuzz::TakeLine);
    return 0;
}
