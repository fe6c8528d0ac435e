// Reading the mailbox and putting its answers into words.
#include "host/services/Mailbox.h"

#include <fmt/format.h>

namespace flash::host {
namespace {

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

std::optional<std::uint32_t> MailboxPlace::BlockAt(std::uint32_t address) const {
    for (std::uint32_t block = 0; block < kBlockCount; ++block) {
        if (address == BlockAddress(block)) {
            return block;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> MailboxPlace::BlockOfStatusAt(std::uint32_t address) const {
    return BlockAt(address - kStatusOffset);
}

CommandBlockView ReadBlock(Probe& probe, const MailboxPlace& place, std::uint32_t block) {
    std::array<std::uint8_t, kPostedBytes> bytes{};
    probe.ReadMemory(place.BlockAddress(block), bytes, 4);
    return DecodeBlock(bytes);
}

MailboxReport ReadMailbox(Probe& probe, const MailboxPlace& place, const std::optional<CoreState>& beforeHalt) {
    MailboxReport report;
    const auto startLine = [&] { report.text += report.isFailure ? "\n" : ""; };
    try {
        for (std::uint32_t index = 0; index < kBlockCount; ++index) {
            const CommandBlockView block = ReadBlock(probe, place, index);
            if (block.status == kStatusSuccess) {
                continue;
            }
            startLine();
            const bool isAnswer = block.status != kStatusNotDone;
            const FieldText status =
                DescribeStatus(block) + (isAnswer ? FieldText("") : "; " + DescribeCore(probe, beforeHalt));
            report.text += fmt::format("Block {}, {}: ", index, DescribeCommand(block)) + status;
            if (!report.isFailure || (isAnswer && !report.isAnswer)) {
                report.cause = status;
            }
            report.isFailure = true;
            report.isAnswer |= isAnswer;
            report.isVerification |= block.IsVerificationFailure();
        }
        if (!report.isFailure) {
            report.text = "The flashloader has answered every command with success";
        }
    } catch (const std::exception& error) {
        startLine();
        report.text += fmt::format("The flashloader's mailbox cannot be read: {}", error.what());
    }
    return report;
}

}  // namespace flash::host
