// The flashloader's mailbox as the host sees it from outside: two command blocks and two buffers, found by their
// symbols. The plug-in owns the protocol; the host only watches what is posted and answered, and reads it after a
// failure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "host/probe/Probe.h"
#include "host/services/CommandBlock.h"

namespace flash::host {

inline constexpr std::uint32_t kBlockCount = 2;
inline constexpr std::uint32_t kBlockBytes = 24;

// Where it lies in the target's memory.
struct MailboxPlace {
    std::uint32_t blocks;                  // g_cfg
    std::array<std::uint32_t, 2> buffers;  // g_buf1, g_buf2

    std::uint32_t BlockAddress(std::uint32_t block) const { return blocks + block * kBlockBytes; }
    std::uint32_t StatusAddress(std::uint32_t block) const { return BlockAddress(block) + kStatusOffset; }

    // The block that begins there, or whose status is there; nothing for any other address.
    std::optional<std::uint32_t> BlockAt(std::uint32_t address) const;
    std::optional<std::uint32_t> BlockOfStatusAt(std::uint32_t address) const;
    bool IsBuffer(std::uint32_t address) const { return address == buffers[0] || address == buffers[1]; }
};

CommandBlockView ReadBlock(Probe& probe, const MailboxPlace& place, std::uint32_t block);

// What the flashloader answered, after something went wrong.
struct MailboxReport {
    FieldText text = "";
    FieldText cause = "";         // of these, the first failure that is an answer, else the first silence
    bool isAnswer = false;        // the cause is what the flashloader answered
    bool isVerification = false;  // the flash differs from what was sent
    bool isFailure = false;       // some block holds a failure or was never answered
};

// Never throws: a probe that fails is part of the answer. `beforeHalt` is how the core was found when it was stopped.
MailboxReport ReadMailbox(Probe& probe, const MailboxPlace& place, const std::optional<CoreState>& beforeHalt);

}  // namespace flash::host
