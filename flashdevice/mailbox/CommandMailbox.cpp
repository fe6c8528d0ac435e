// Giving the flashloader its work and waiting for the answer. Two command blocks are used in turn, so that the host
// fills one buffer while the target works from the other: a post turns `currentBlock`, and the wait behind it is for
// the block posted before.
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/FormatText.h"
#include "flashdevice/device/HostServices.h"
#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {
namespace {

constexpr std::uint32_t kPollIntervalMilliseconds = 5;
constexpr std::uint32_t kWaitBudgetMilliseconds = 2000;
constexpr char kPostFailed[] = "Failed to write configuration block to target.";

}  // namespace

// Into the buffer of the block that is posted next.
void FlashDeviceLumo::WriteToBuffer(const std::uint8_t* data, std::uint32_t length, const char* failure) {
    const std::uint32_t address = bufferAddress[currentBlock];
    const auto explain = [&] {
        return FormatText("  %s addr=0x%08X, writeLength=%d(0x%X), bufIdx=%d", failure, address,
                          static_cast<int>(length), length, static_cast<int>(currentBlock));
    };
    RunOrExplain(
        failure, [&] { WriteBytes(data, data + length, address); }, explain);
}

bool FlashDeviceLumo::PostCommand(const CommandBlock& block) {
    const CommandBlockBytes bytes = BuildCommandBlock(block.command, block.address, block.length, block.crc);
    const std::uint32_t address = commandBlockAddress[currentBlock];
    const auto explain = [&] {
        return FormatText("%s Block %d (addr=0x%08X)", kPostFailed, static_cast<int>(currentBlock), address);
    };
    RunOrExplain(
        kPostFailed, [&] { WriteBytes(bytes.data(), bytes.data() + bytes.size(), address); }, explain);
    // Turned with the post, also when the host fails behind it: the target looks for its next command there.
    currentBlock ^= 1;
    return true;
}

std::uint32_t FlashDeviceLumo::WaitForCommand() { return WaitForBlock(currentBlock); }

// For a command that must see its own answer before anything else is posted.
std::uint32_t FlashDeviceLumo::WaitForPostedCommand() { return WaitForBlock(currentBlock ^ 1); }

std::uint32_t FlashDeviceLumo::WaitForBlock(std::uint32_t block) {
    const std::uint32_t statusAddress = commandBlockAddress[block] + kStatusOffset;
    for (std::uint32_t budget = kWaitBudgetMilliseconds; budget != 0; budget -= kPollIntervalMilliseconds) {
        const std::uint32_t status = ReadWord(statusAddress);
        if (status != kStatusNotDone) {
            return status;
        }
        ThrowIfError(Host().WaitMilliseconds(kPollIntervalMilliseconds));
    }
    const std::uint32_t blockInWork = ReadWord(LookUpSymbol("g_currBuf"));
    PrintFormatted("Target timed out! (Block %d)", static_cast<int>(blockInWork));
    ReportStatus(kStatusNotDone);
    return kStatusNotDone;
}

// Decodes every status, although only time-outs come here: an answer in time goes to the caller as it is, on purpose.
void FlashDeviceLumo::ReportStatus(std::uint32_t status) {
    if (status == kStatusNotDone) {
        PrintFormatted("  Status 0x%08X: Target flashloader has not returned any status. Unknown error!", status);
        return;
    }
    const std::uint32_t code = status & 0xFFFF;
    const std::uint32_t fsmStatus = (status >> 16) & 0xFF;
    switch (code) {
        case kCodeEraseFailed:
            PrintFormatted(
                "  Status 0x%04X: Target flashloader failed to erase sector %d. Low level function returned status %d "
                "(%s).",
                code, static_cast<int>(status >> 24), static_cast<int>(fsmStatus), FsmStatusName(fsmStatus));
            break;
        case kCodeProgramFailed:
            PrintFormatted(
                "  Status 0x%04X: Target flashloader failed to program flash. Low level function returned status %d "
                "(%s).",
                code, static_cast<int>(fsmStatus), FsmStatusName(fsmStatus));
            break;
        case kCodeInvalidArguments:
            PrintFormatted("  Status 0x%04X: Invalid arguments passed to target flashloader", code);
            break;
        case kCodeUnknownCommand:
            PrintFormatted("  Status 0x%04X: Unknown command passed to target flashloader", code);
            break;
        case kCodeVerificationIssue:
            ReportVerificationIssue();
            break;
    }
}

void FlashDeviceLumo::ReportVerificationIssue() {
    const std::uint32_t block = commandBlockAddress[currentBlock];
    // A blank check that finds data is an answer and no issue.
    if (ReadWord(block + kCommandOffset) == static_cast<std::uint32_t>(Command::BlankCheck)) {
        return;
    }
    const std::uint32_t address = ReadWord(block + kAddressOffset);
    if (IsVerbose()) {
        PrintFormatted("  Status 0x%04X: Verification issue at address 0x%08X", kCodeVerificationIssue, address);
    }
}

// Names the block just posted, on purpose, although the answer is that of the block before.
void FlashDeviceLumo::PrintUnfinishedCommand(const CommandBlock& block) {
    PrintFormatted("  Command=%d -- addr=0x%08X -- length=0x%08X", static_cast<int>(block.command), block.address,
                   block.length);
}

// Any status but success ends here, on purpose, not only a time-out.
void FlashDeviceLumo::FailTimedOut() {
    Halt();
    throw std::runtime_error("Timed out waiting for target flashloader to execute command.");
}

}  // namespace flash
