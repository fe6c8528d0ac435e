// Bringing the flashloader into the target's SRAM, once between two resets, and finding its mailbox.
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/HostServices.h"
#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {
namespace {

constexpr char kFlashloaderFile[] = "DeviceFlashloaderFile";
constexpr char kImageFolder[] = "..\\..\\arm\\";  // from the host's directory, which ends in a backslash
constexpr char kLoadFailed[] = "Failed to write flashloader to device SRAM.";
constexpr std::uint32_t kProgramCounterRegister = 0x20F;  // in the host's register numbering

}  // namespace

bool FlashDeviceLumo::LoadFlashloader() {
    if (flashloaderLoaded) {
        return true;
    }
    Halt();
    LoadFlashloaderImage(ReadProperty(kFlashloaderFile));
    ThrowIfError(Host().WriteRegister(kProgramCounterRegister, LookUpSymbol("ResetISR")));
    Run();
    // Set before the symbols are known, on purpose: the image runs, and is not loaded again when a look-up fails.
    flashloaderLoaded = true;
    bufferAddress[0] = LookUpSymbol("g_buf1");
    bufferAddress[1] = LookUpSymbol("g_buf2");
    commandBlockAddress[0] = LookUpSymbol("g_cfg");
    commandBlockAddress[1] = commandBlockAddress[0] + kCommandBlockStride;
    return true;
}

void FlashDeviceLumo::LoadFlashloaderImage(const std::string& fileName) {
    const std::string directory = DirectoryPath() + kImageFolder;
    if (IsVerbose()) {
        PrintFormatted("Loading flashloader to target: %s\n", fileName.c_str());
    }
    RunOrExplain(
        kLoadFailed, [&] { ThrowIfError(Host().LoadProgram(fileName.c_str(), "", directory.c_str())); },
        [] { return std::string(kLoadFailed); });
}

}  // namespace flash
