// The flashloader's mailbox as the host sees it from outside: two command blocks of 24 bytes behind the symbol g_cfg.
// The plug-in owns the protocol; the host only watches what is posted and answered, and reads it after a failure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/probe/Probe.h"

namespace flash::host {

inline constexpr std::uint32_t kBlockCount = 2;
inline constexpr std::uint32_t kBlockBytes = 24;
inline constexpr std::uint32_t kPostedBytes = 20;  // what the plug-in writes; the rest of a block is reserved
inline constexpr std::uint32_t kStatusOffset = 16;
inline constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;
inline constexpr std::uint32_t kStatusVerification = 0x106;
inline constexpr std::uint32_t kCommandBlankCheck = 6;
inline constexpr std::uint32_t kCommandCrcFlag = 0x10;

struct CommandBlockView {
    std::uint32_t address;
    std::uint32_t lengthBytes;
    std::uint32_t command;
    std::uint32_t crc;
    std::uint32_t status;

    std::uint32_t PlainCommand() const { return command & ~kCommandCrcFlag; }
    bool IsProgram() const { return PlainCommand() >= 2 && PlainCommand() <= 4; }
    bool IsErase() const { return command == 1 || command == 5; }
    std::uint32_t StatusCode() const { return status & 0xFFFF; }
};

// `bytes` are the 20 posted ones, little-endian.
CommandBlockView DecodeBlock(std::span<const std::uint8_t> bytes);

// "erase and program 8192 bytes at 0x00002000", for messages.
std::string DescribeCommand(const CommandBlockView& block);

// What a status word says, in words, with what to do about it.
std::string DescribeStatus(const CommandBlockView& block);

// What the flashloader answered, after something went wrong.
struct MailboxReport {
    std::string text;
    bool isVerification = false;  // the flash differs from what was sent
    bool isFailure = false;       // some block holds a failure or was never answered
};

struct MailboxSymbols {
    std::uint32_t blocks;                  // g_cfg
    std::array<std::uint32_t, 2> buffers;  // g_buf1, g_buf2
    std::optional<std::uint32_t> current;  // g_currBuf

    std::uint32_t StatusAddress(std::uint32_t block) const { return blocks + block * kBlockBytes + kStatusOffset; }
};

CommandBlockView ReadBlock(Probe& probe, const MailboxSymbols& symbols, std::uint32_t block);

// Never throws: a probe that fails is part of the answer. `beforeHalt` is how the core was found when it was stopped.
MailboxReport ReadMailbox(Probe& probe, const MailboxSymbols& symbols, const std::optional<CoreState>& beforeHalt);

}  // namespace flash::host
