// Keeping the customer configuration area (CCFG) across programming: saved before, kept out of the data, written back.
#include <utility>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/mailbox/CommandBlock.h"
#include "flashdevice/programming/CcfgData.h"

namespace flash {
namespace {

constexpr std::uint32_t kCcfgSizeShift = 16;  // bits 31 to 16 of the size register
constexpr char kRestoringFailed[] =
    "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.";

}  // namespace

bool FlashDeviceLumo::KeepCcfgActive() { return IsOptionOn("KeepCcfgSetting"); }

void FlashDeviceLumo::HoldCcfg() {
    if (KeepCcfgActive() && ccfgData->data.empty()) {
        ReadCcfg();
    }
}

void FlashDeviceLumo::ReadCcfg() {
    ccfgData->lastSectorAddress = flashSize - sectorSize;
    const std::uint32_t size = ReadWord(GetRegisterAddress(kCcfgSizeRegisterName)) >> kCcfgSizeShift;
    if (size == 0 || size > sectorSize) {
        if (IsVerbose()) {
            PrintFormatted("Keep CCFG: Device CCFG size is invalid, ignoring option.");
        }
        ccfgData->data.clear();
        return;
    }
    ccfgData->address = ccfgData->lastSectorAddress + sectorSize - size;
    if (IsVerbose()) {
        PrintFormatted("Keep CCFG: Reading CCFG from target (addr = 0x%08X, length = %d)", ccfgData->address,
                       static_cast<int>(size));
    }
    // Kept only once it is read whole.
    std::vector<std::uint8_t> bytes(size);
    ReadBytes(bytes.data(), bytes.data() + bytes.size(), ccfgData->address);
    ccfgData->data = std::move(bytes);
}

std::uint32_t FlashDeviceLumo::TrimForCcfg(std::uint32_t address, std::uint32_t length) {
    const std::uint32_t ccfgAddress = ccfgData->address;
    // Also for a range that lies beyond, on purpose.
    if (address >= ccfgAddress) {
        if (IsVerbose()) {
            PrintFormatted("Keep CCFG: Range addr=0x%08X, length=%d is overlapping stored CCFG. Length reduced to 0.\n",
                           address, static_cast<int>(length));
        }
        return 0;
    }
    if (address + length > ccfgAddress) {
        const std::uint32_t trimmed = ccfgAddress - address;
        if (IsVerbose()) {
            PrintFormatted(
                "Keep CCFG: Range addr=0x%08X, length=%d is overlapping stored CCFG. Length reduced to %d bytes.\n",
                address, static_cast<int>(length), static_cast<int>(trimmed));
        }
        return trimmed;
    }
    return length;
}

void FlashDeviceLumo::RestoreCcfg() {
    const auto length = static_cast<std::uint32_t>(ccfgData->data.size());
    if (length == 0 || length > sectorSize) {
        return;
    }
    if (!LoadFlashloader()) {
        if (IsVerbose()) {
            PrintFormatted("Restore CCFG: Failed to write flashloader to target.");
        }
        return;
    }
    if (IsVerbose()) {
        PrintFormatted("Keep CCFG: Programming CCFG back to target (addr=0x%08X, length=%d|0x%x).", ccfgData->address,
                       static_cast<int>(length), length);
    }
    WriteToBuffer(ccfgData->data.data(), length, kRestoringFailed);
    const CommandBlock block{static_cast<std::uint32_t>(Command::ProgramRetain), ccfgData->address, length, 0};
    // Not waited for: the next command's wait covers it.
    if (!PostCommand(block)) {
        if (IsVerbose()) {
            PrintFormatted("Restore CCFG: Failed to write configuration block to target.");
        }
    }
}

}  // namespace flash
