// What passes through the mailbox, judged from what the plug-in writes and reads there: which commands are under way,
// and what has become of them. Values only: whoever watches tells what was seen, and is told what it means.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "host/services/CommandBlock.h"
#include "host/services/Mailbox.h"

namespace flash::host {

struct MailboxEvent {
    enum class Kind { EraseStarted, ProgramStarted, Erased, Programmed, VerificationFailed };

    Kind kind;
    std::uint64_t bytes;     // 0 for an erase of all of flash
    bool isChecked = false;  // programmed with a CRC

    bool operator==(const MailboxEvent&) const = default;
};

class MailboxWatch {
public:
    // The plug-in has posted a command.
    std::optional<MailboxEvent> OnPost(std::uint32_t block, const CommandBlockView& command);

    // The plug-in has read the status of a block.
    std::optional<MailboxEvent> OnStatus(std::uint32_t block, std::uint32_t status);

    // The host has read the status of a block for which the plug-in waits no longer.
    std::optional<MailboxEvent> OnSettled(std::uint32_t block, std::uint32_t status);

    // The plug-in has waited that long since it last read a status.
    void OnWait(std::chrono::microseconds duration);

    // Posted, and not seen done.
    bool IsPending(std::uint32_t block) const { return pending[block].has_value(); }

    // The block whose status was read last and not done, and how long the plug-in has waited for it.
    std::optional<std::uint32_t> PolledBlock() const { return polledBlock; }
    std::chrono::microseconds WaitedFor(std::uint32_t block) const;

private:
    std::array<std::optional<CommandBlockView>, kBlockCount> pending;
    std::optional<std::uint32_t> polledBlock;
    std::chrono::microseconds waited{};  // for that block
};

}  // namespace flash::host
