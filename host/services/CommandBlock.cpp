// Decoding a block and putting it into words.
#include "host/services/CommandBlock.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/Numbers.h"
#include "host/Words.h"

namespace flash::host {
namespace {

struct CommandName {
    std::uint32_t command;
    const char* name;
};

constexpr CommandName kCommandNames[] = {
    {0, "no command"},
    {kCommandEraseAll, "erase all unprotected sectors"},
    {kCommandProgram, "program"},
    {kCommandEraseAndProgram, "erase and program"},
    {kCommandProgramRetaining, "program keeping the rest of the sectors"},
    {kCommandEraseSectors, "erase sectors"},
    {kCommandBlankCheck, "blank check"},
};

constexpr const char* kTryAgain = "Power the chip off and on and try again";

// What the flash controller's state machine says for itself.
struct MachineStatus {
    std::uint32_t value;
    const char* text;
    FieldText advice;
};

const MachineStatus& StatusOf(std::uint32_t value) {
    static const MachineStatus kUnknown{0, "unknown", kTryAgain};
    static const MachineStatus kStatuses[] = {
        {0, "success", kTryAgain},
        {1, "busy", "The flash controller hangs: power the chip off and on"},
        {2, "ready", kTryAgain},
        {3, "incorrect parameter",
         FieldText("The flash controller did not accept the address: does ") + Field::Device + " fit the chip?"},
        {4, "operation failed", "The sector may be write-protected, which CCFG tells, or worn out"},
    };
    const auto* found = std::ranges::find(kStatuses, value, &MachineStatus::value);
    return found == std::end(kStatuses) ? kUnknown : *found;
}

const char* NameOf(std::uint32_t command) {
    const auto* found = std::find_if(std::begin(kCommandNames), std::end(kCommandNames),
                                     [&](const CommandName& known) { return known.command == command; });
    return found == std::end(kCommandNames) ? "unknown command" : found->name;
}

FieldText FlashFailure(const CommandBlockView& block, const std::string& what) {
    const std::uint32_t value = block.status >> 16 & 0xFF;
    const MachineStatus& machine = StatusOf(value);
    return fmt::format("{}; the flash state machine's status is {} ({}). ", what, value, machine.text) + machine.advice;
}

}  // namespace

bool CommandBlockView::IsProgram() const {
    const std::uint32_t plain = PlainCommand();
    return plain == kCommandProgram || plain == kCommandEraseAndProgram || plain == kCommandProgramRetaining;
}

CommandBlockView DecodeBlock(std::span<const std::uint8_t> bytes) {
    return {LittleEndian(bytes.subspan(0, 4)), LittleEndian(bytes.subspan(4, 4)), LittleEndian(bytes.subspan(8, 4)),
            LittleEndian(bytes.subspan(12, 4)), LittleEndian(bytes.subspan(kStatusOffset, 4))};
}

std::string DescribeCommand(const CommandBlockView& block) {
    std::string text = fmt::format("command {} ({}{})", block.command, NameOf(block.PlainCommand()),
                                   block.HasCrc() ? " with CRC" : "");
    // After a verification the address is the one that differs.
    const bool hasRange = block.RangeBytes() != 0 && !block.IsVerificationFailure();
    return hasRange ? text + fmt::format(", {} at 0x{:08X}", Counted(block.RangeBytes(), "byte"), block.address) : text;
}

FieldText DescribeStatus(const CommandBlockView& block) {
    if (block.status == kStatusNotDone) {
        return "the flashloader never answered";
    }
    switch (block.StatusCode()) {
        case kStatusSuccess:
            return "done";
        case kStatusEraseFailed:
            return FlashFailure(block, fmt::format("erasing sector {} failed", block.status >> 24));
        case kStatusProgramFailed:
            return FlashFailure(block, "programming failed");
        case kStatusInvalidArguments:
            return FieldText("the flashloader refused the arguments: outside flash, or longer than its buffer. Does ") +
                   Field::Device + " fit the chip?";
        case kStatusUnknownCommand:
            return "the flashloader does not know this command: it does not belong to this plug-in";
        case kStatusVerification:
            return block.command == kCommandBlankCheck
                       ? fmt::format("flash is not blank, first at 0x{:08X}", block.address)
                       : fmt::format("what flash holds differs from what was sent, first at 0x{:08X}", block.address);
        default:
            return fmt::format("the flashloader answered with the unknown status 0x{:08X}", block.status);
    }
}

}  // namespace flash::host
