// From bytes to what they mean.
#include "host/services/MailboxWatch.h"

#include <utility>

namespace flash::host {
namespace {

using Kind = MailboxEvent::Kind;

std::optional<MailboxEvent> Started(const CommandBlockView& command) {
    if (command.IsErase()) {
        return MailboxEvent{Kind::EraseStarted, command.command == kCommandEraseSectors ? command.RangeBytes() : 0};
    }
    return command.IsProgram() ? std::optional(MailboxEvent{Kind::ProgramStarted, command.lengthBytes}) : std::nullopt;
}

std::optional<MailboxEvent> Done(const CommandBlockView& command) {
    std::optional<MailboxEvent> event = Started(command);
    if (event) {
        event->kind = command.IsErase() ? Kind::Erased : Kind::Programmed;
        event->isChecked = command.IsProgram() && command.HasCrc();
    }
    return event;
}

}  // namespace

std::optional<MailboxEvent> MailboxWatch::OnPost(std::uint32_t block, const CommandBlockView& command) {
    pending[block] = command;
    return Started(command);
}

std::optional<MailboxEvent> MailboxWatch::OnStatus(std::uint32_t block, std::uint32_t status) {
    if (status == kStatusNotDone) {
        waited = WaitedFor(block);
        polledBlock = block;
        return std::nullopt;
    }
    polledBlock.reset();
    const std::optional<MailboxEvent> event = OnSettled(block, status);
    const bool isVerification = (status & 0xFFFF) == kStatusVerification;
    return isVerification ? MailboxEvent{Kind::VerificationFailed, 0} : event;
}

std::optional<MailboxEvent> MailboxWatch::OnSettled(std::uint32_t block, std::uint32_t status) {
    const std::optional<CommandBlockView> command = std::exchange(pending[block], std::nullopt);
    return command && status == kStatusSuccess ? Done(*command) : std::nullopt;
}

void MailboxWatch::OnWait(std::chrono::microseconds duration) { waited += duration; }

std::chrono::microseconds MailboxWatch::WaitedFor(std::uint32_t block) const {
    return polledBlock == block ? waited : std::chrono::microseconds::zero();
}

}  // namespace flash::host
