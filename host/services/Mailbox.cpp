// Decoding the mailbox and putting its answers into words.
#include "host/services/Mailbox.h"

#include <fmt/format.h>

namespace flash::host {
namespace {

std::uint32_t ReadLittleEndian(std::span<const std::uint8_t> bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

const char* CommandName(std::uint32_t command) {
    static constexpr std::array kNames = {
        "no command",        "erase all unprotected sectors",           "program",
        "erase and program", "program keeping the rest of the sectors", "erase sectors",
        "blank check"};
    return command < kNames.size() ? kNames[command] : "unknown command";
}

const char* StateMachineStatus(std::uint32_t value) {
    static constexpr std::array kTexts = {"success", "busy", "ready", "incorrect parameter", "operation failed"};
    return value < kTexts.size() ? kTexts[value] : "unknown";
}

std::string FlashFailure(const CommandBlockView& block, const std::string& what) {
    const std::uint32_t machine = block.status >> 16 & 0xFF;
    const char* advice = machine == 4   ? "The sector may be write-protected (see `lumoflash ccfg`) or worn out"
                         : machine == 3 ? "The flash controller did not accept the address: does --device fit the chip?"
                         : machine == 1 ? "The flash controller hangs: power the chip off and on"
                                        : "Power the chip off and on and try again";
    return fmt::format("{}; the flash state machine's status is {} ({}). {}", what, machine,
                       StateMachineStatus(machine), advice);
}

std::string DescribeCore(const CoreState& core) {
    const std::string place = core.programCounter ? fmt::format(" at 0x{:08X}", *core.programCounter) : "";
    const std::string note = core.note.empty() ? "" : fmt::format(" ({})", core.note);
    return fmt::format("the core {}{}{}", core.isRunning ? "is running" : "stands", place, note);
}

std::string DescribeCore(Probe& probe, const std::optional<CoreState>& beforeHalt) {
    try {
        const std::string now = DescribeCore(probe.ReadCoreState());
        return beforeHalt ? fmt::format("{}; before it was halted {}", now, DescribeCore(*beforeHalt)) : now;
    } catch (const std::exception& error) {
        return fmt::format("the core's state cannot be read: {}", error.what());
    }
}

}  // namespace

CommandBlockView DecodeBlock(std::span<const std::uint8_t> bytes) {
    return {ReadLittleEndian(bytes.subspan(0, 4)), ReadLittleEndian(bytes.subspan(4, 4)),
            ReadLittleEndian(bytes.subspan(8, 4)), ReadLittleEndian(bytes.subspan(12, 4)),
            ReadLittleEndian(bytes.subspan(16, 4))};
}

std::string DescribeCommand(const CommandBlockView& block) {
    const char* crc = (block.command & kCommandCrcFlag) != 0 ? " with CRC" : "";
    std::string text = fmt::format("command {} ({}{})", block.command, CommandName(block.PlainCommand()), crc);
    // A sector erase is posted with the distance to its last byte.
    const std::uint64_t length = std::uint64_t{block.lengthBytes} + (block.command == 5 ? 1 : 0);
    // After a verification the address is the one that differs.
    const bool hasStart = block.status == kStatusNotDone || block.StatusCode() != kStatusVerification;
    return length == 0 || !hasStart ? text : text + fmt::format(", {} bytes at 0x{:08X}", length, block.address);
}

std::string DescribeStatus(const CommandBlockView& block) {
    if (block.status == kStatusNotDone) {
        return "the flashloader never answered";
    }
    switch (block.StatusCode()) {
        case 0:
            return "done";
        case 0x102:
            return FlashFailure(block, fmt::format("erasing sector {} failed", block.status >> 24));
        case 0x103:
            return FlashFailure(block, "programming failed");
        case 0x104:
            return "the flashloader refused the arguments: outside flash, or longer than its buffer. Does --device fit "
                   "the chip?";
        case 0x105:
            return "the flashloader does not know this command: it does not belong to this plug-in";
        case kStatusVerification:
            return block.command == kCommandBlankCheck
                       ? fmt::format("flash is not blank, first at 0x{:08X}", block.address)
                       : fmt::format("what flash holds differs from what was sent, first at 0x{:08X}", block.address);
        default:
            return fmt::format("the flashloader answered with the unknown status 0x{:08X}", block.status);
    }
}

CommandBlockView ReadBlock(Probe& probe, const MailboxSymbols& symbols, std::uint32_t block) {
    std::array<std::uint8_t, kPostedBytes> bytes{};
    probe.ReadMemory(symbols.blocks + block * kBlockBytes, bytes, 4);
    return DecodeBlock(bytes);
}

MailboxReport ReadMailbox(Probe& probe, const MailboxSymbols& symbols, const std::optional<CoreState>& beforeHalt) {
    MailboxReport report;
    try {
        for (std::uint32_t index = 0; index < kBlockCount; ++index) {
            const CommandBlockView block = ReadBlock(probe, symbols, index);
            if (block.status == 0) {
                continue;
            }
            report.isFailure = true;
            report.isVerification |= block.status != kStatusNotDone && block.StatusCode() == kStatusVerification;
            report.text += fmt::format("{}Block {}, {}: {}", report.text.empty() ? "" : "\n", index,
                                       DescribeCommand(block), DescribeStatus(block));
            if (block.status == kStatusNotDone) {
                report.text += "; " + DescribeCore(probe, beforeHalt);
            }
        }
        if (!report.isFailure) {
            report.text = "The flashloader has answered every command with success";
        }
    } catch (const std::exception& error) {
        report.text += fmt::format("{}The flashloader's mailbox cannot be read: {}", report.text.empty() ? "" : "\n",
                                   error.what());
    }
    return report;
}

}  // namespace flash::host
