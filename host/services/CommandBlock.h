// A command block of the flashloader's mailbox as a value: what is posted in it, what it is answered with, and both in
// words. docs/flashloader-guide.md has every byte.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "host/Field.h"

namespace flash::host {

inline constexpr std::uint32_t kPostedBytes = 20;  // what the plug-in writes; the rest of a block is reserved
inline constexpr std::uint32_t kStatusOffset = 16;

// Commands
inline constexpr std::uint32_t kCommandEraseAll = 1;  // all unprotected sectors
inline constexpr std::uint32_t kCommandProgram = 2;
inline constexpr std::uint32_t kCommandEraseAndProgram = 3;
inline constexpr std::uint32_t kCommandProgramRetaining = 4;  // what else its sectors hold
inline constexpr std::uint32_t kCommandEraseSectors = 5;      // the length is the distance to the last byte
inline constexpr std::uint32_t kCommandBlankCheck = 6;
inline constexpr std::uint32_t kCommandCrcFlag = 0x10;

// Status words
inline constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;  // written by the host, replaced by the target
inline constexpr std::uint32_t kStatusSuccess = 0;
// In bits 15..0; bits 23..16 are then the flash state machine's status, and bits 31..24 the sector that was not erased.
inline constexpr std::uint32_t kStatusEraseFailed = 0x102;
inline constexpr std::uint32_t kStatusProgramFailed = 0x103;
inline constexpr std::uint32_t kStatusInvalidArguments = 0x104;
inline constexpr std::uint32_t kStatusUnknownCommand = 0x105;
inline constexpr std::uint32_t kStatusVerification = 0x106;  // the address is the first byte that differs

struct CommandBlockView {
    std::uint32_t address;
    std::uint32_t lengthBytes;
    std::uint32_t command;
    std::uint32_t crc;
    std::uint32_t status;

    std::uint32_t PlainCommand() const { return command & ~kCommandCrcFlag; }
    bool HasCrc() const { return (command & kCommandCrcFlag) != 0; }
    bool IsProgram() const;
    bool IsErase() const { return command == kCommandEraseAll || command == kCommandEraseSectors; }
    bool IsVerificationFailure() const { return status != kStatusNotDone && StatusCode() == kStatusVerification; }
    std::uint32_t StatusCode() const { return status & 0xFFFF; }

    // Of flash, from the address on; 0 for a command that is about all of it.
    std::uint64_t RangeBytes() const { return lengthBytes + std::uint64_t{command == kCommandEraseSectors ? 1u : 0u}; }
};

// `bytes` are the 20 posted ones.
CommandBlockView DecodeBlock(std::span<const std::uint8_t> bytes);

// "command 3 (erase and program), 8192 bytes at 0x00002000", for messages.
std::string DescribeCommand(const CommandBlockView& block);

// What a status word says, in words, with what to do about it.
FieldText DescribeStatus(const CommandBlockView& block);

}  // namespace flash::host
