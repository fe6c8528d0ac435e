// One command for the target's flashloader, and the status word that answers it. Two blocks of 24 bytes lie at the
// flashloader's symbol `g_cfg`; the host writes the first 20 bytes of a block in one piece, the status included, so
// that posting a command also marks it as not done. All fields are 32-bit little-endian.
//
//   offset  0  address  of the first flash byte; after status 0x106, of the byte that failed verification
//   offset  4  length   in bytes
//   offset  8  command  a `Command`, perhaps with `kVerifyCrcFlag`
//   offset 12  crc      CRC-32 of the data when the flag is set
//   offset 16  status   0xFFFFFFFF until the flashloader answers
#pragma once

#include <array>
#include <cstdint>

namespace flash {

enum class Command : std::uint32_t {
    BankErase = 1,      // all unprotected flash
    Program = 2,        // no erase
    ProgramErase = 3,   // erases the sectors that the chunk touches
    ProgramRetain = 4,  // keeps what the touched sectors hold elsewhere
    EraseSectors = 5,   // length = last byte address - first byte address
    BlankCheck = 6,     // length = flash size, crc = reference value of that size
};

// Added to a program command: the flashloader compares what it programmed with the CRC.
inline constexpr std::uint32_t kVerifyCrcFlag = 0x10;

inline constexpr std::uint32_t kStatusSuccess = 0;
inline constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;  // written by the host, replaced by the target

// Status codes, bits 0 to 15. Bits 16 to 23 hold the flash state machine's status, bits 24 to 31 the sector that could
// not be erased.
inline constexpr std::uint32_t kCodeEraseFailed = 0x102;
inline constexpr std::uint32_t kCodeProgramFailed = 0x103;
inline constexpr std::uint32_t kCodeInvalidArguments = 0x104;
inline constexpr std::uint32_t kCodeUnknownCommand = 0x105;
inline constexpr std::uint32_t kCodeVerificationIssue = 0x106;

inline constexpr std::uint32_t kCommandBlockStride = 24;  // bytes from the first block to the second
inline constexpr std::uint32_t kAddressOffset = 0;
inline constexpr std::uint32_t kCommandOffset = 8;
inline constexpr std::uint32_t kStatusOffset = 16;

using CommandBlockBytes = std::array<std::uint8_t, 20>;

struct CommandBlock {
    std::uint32_t command;  // a `Command` with its flag
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t crc;
};

// The bytes that post the command.
CommandBlockBytes BuildCommandBlock(std::uint32_t command, std::uint32_t address, std::uint32_t length,
                                    std::uint32_t crc);

// What the flash state machine says, in words.
const char* FsmStatusName(std::uint32_t value);

}  // namespace flash
