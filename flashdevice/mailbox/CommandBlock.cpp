#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {
namespace {

void PutWord(CommandBlockBytes& bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

constexpr const char* kFsmStatusNames[] = {
    "Success",                    // 0
    "FSM is Busy",                // 1
    "FSM is Ready",               // 2
    "Incorrect parameter value",  // 3
    "Operation failed",           // 4
};

}  // namespace

CommandBlockBytes BuildCommandBlock(std::uint32_t command, std::uint32_t address, std::uint32_t length,
                                    std::uint32_t crc) {
    CommandBlockBytes bytes{};
    PutWord(bytes, kAddressOffset, address);
    PutWord(bytes, 4, length);
    PutWord(bytes, kCommandOffset, command);
    PutWord(bytes, 12, crc);
    PutWord(bytes, kStatusOffset, kStatusNotDone);
    return bytes;
}

const char* FsmStatusName(std::uint32_t value) {
    return value < std::size(kFsmStatusNames) ? kFsmStatusNames[value] : "Unknown status code";
}

}  // namespace flash
