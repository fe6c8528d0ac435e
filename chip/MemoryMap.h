// Where the chip's memories and registers lie, and what the flash controller's registers mean.
#pragma once

#include <array>
#include <cstdint>

namespace flash::chip {

inline constexpr std::uint32_t kFlashBase = 0;
inline constexpr std::uint32_t kSramBase = 0x2000'0000;
inline constexpr std::uint32_t kCcfgWindowBase = 0x5000'3000;  // the last flash sector once more

inline constexpr std::uint32_t kThumbBit = 1;  // of an address to jump to

// Factory data, in a page of read-only memory.
inline constexpr std::uint32_t kFactoryBase = 0x5000'1000;
inline constexpr std::uint32_t kFactoryBytes = 0x1000;
inline constexpr std::uint32_t kPrimaryIeeeAddress = 0x5000'1200;  // 8 bytes
inline constexpr std::uint32_t kPrimaryBleAddress = 0x5000'1208;   // 6 bytes

// Pages that hold registers.
inline constexpr std::uint32_t kRegisterPageBytes = 0x1000;
inline constexpr std::uint32_t kControllerPage = 0x4003'0000;
inline constexpr std::uint32_t kSystemPage = 0x4008'2000;
inline constexpr std::uint32_t kCorePage = 0xE000'E000;                 // the core's own registers
inline constexpr std::array kRegisterPages = {kSystemPage, kCorePage};  // besides the controller's

// Registers, 32 bits each.
inline constexpr std::uint32_t kSizeRegister = 0x4003'002C;       // R   bits 7..0: number of sectors
inline constexpr std::uint32_t kCommandRegister = 0x4003'0100;    // W   key and code: starts an operation
inline constexpr std::uint32_t kAddressRegister = 0x4003'0104;    // RW
inline constexpr std::uint32_t kDataRegister = 0x4003'0108;       // RW
inline constexpr std::uint32_t kStatusRegister = 0x4003'010C;     // R   bits 7..0: `Status`
inline constexpr std::uint32_t kProtect0Register = 0x4003'0110;   // R   bit n clear: sector n is protected
inline constexpr std::uint32_t kProtect1Register = 0x4003'0114;   // R   the same from sector 32 on, folded from 64 on
inline constexpr std::uint32_t kMoreDataRegisters = 0x4003'0118;  // RW  DATA1 to DATA7: the rest of a longer unit
inline constexpr std::uint32_t kBlankRegister = 0x4003'0134;      // R   1: the unit at ADDRESS was not programmed yet
inline constexpr std::uint32_t kFeedRegister = 0x4003'0138;       // W   anything feeds the watchdog
inline constexpr std::uint32_t kMostUnitWords = 8;
inline constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;       // R   bits 1..0: RAM size code
inline constexpr std::uint32_t kTimerControlRegister = 0xE000'E010;  // RW  bit 0: the core's timer counts
inline constexpr std::uint32_t kTimerReloadRegister = 0xE000'E014;   // RW  24 bits
inline constexpr std::uint32_t kTimerRegister = 0xE000'E018;         // RW  counts cycles down; a write clears it
inline constexpr std::uint32_t kTimerMask = 0x00FF'FFFF;
// Kept, and without effect: no exceptions, no protection of memory, and unaligned accesses are never trapped.
inline constexpr std::uint32_t kVectorTableRegister = 0xE000'ED08;           // RW
inline constexpr std::uint32_t kConfigurationControlRegister = 0xE000'ED14;  // RW
inline constexpr std::uint32_t kMemoryProtectionRegister = 0xE000'ED94;      // RW

inline constexpr std::uint32_t kCommandKey = 0xF1A5'0000;
inline constexpr std::uint32_t kEraseSectorCode = 1;  // the sector, or page, that holds ADDRESS
inline constexpr std::uint32_t kProgramWordCode = 2;  // the unit DATA at ADDRESS
inline constexpr std::uint32_t kEraseBankCode = 3;    // all unprotected sectors

enum class Status : std::uint32_t {
    Success = 0,  // the last operation ended well
    Busy = 1,
    Ready = 2,  // nothing done since reset
    IncorrectParameter = 3,
    OperationFailed = 4,
};

// CCFG fields that the hardware itself looks at, in bytes before the end of flash.
inline constexpr std::uint32_t kDisableCpuDapBeforeEnd = 0x29;  // 0x00 disables the debug port at power-up
inline constexpr std::uint32_t kProtect0BeforeEnd = 0x20;
inline constexpr std::uint32_t kProtect1BeforeEnd = 0x1C;

}  // namespace flash::chip
