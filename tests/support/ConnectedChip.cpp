#include "tests/support/ConnectedChip.h"

#include <stdexcept>

namespace flash::test {

const Texts kLoadCalls = {"HaltTarget",
                          "GetDirectoryPath",
                          "LoadProgram flashloader.out||C:\\tools\\bin\\debug\\..\\..\\arm\\",
                          "LookUpSymbol ResetISR",
                          "WriteRegister 527=0x20000101",
                          "RunTarget",
                          "LookUpSymbol g_buf1",
                          "LookUpSymbol g_buf2",
                          "LookUpSymbol g_cfg"};

ChipInMemory::ChipInMemory(const ChipModel& chipModel, std::uint32_t sectorCount)
    : model(chipModel), geometry{chipModel.reference.sectorSize, sectorCount}, host(Simulated(chipModel, sectorCount)) {
    host.flashloader.isStrict = true;
}

ConnectedChip::ConnectedChip(const ChipModel& chipModel, std::uint32_t sectorCount, const DeviceMaker& makeDevice)
    : ChipInMemory(chipModel, sectorCount), TestDevice(makeDevice(chipModel.deviceName, &host)) {}

void ConnectedChip::SkipSectors(const std::string& list) {
    SwitchOn("FlashPageToggle");
    Property("FlashPages") = list;
}

InitializedChip::InitializedChip(const ChipModel& chipModel, std::uint32_t sectorCount)
    : ConnectedChip(chipModel, sectorCount) {
    const std::string error = Initialize();
    if (!error.empty()) {
        throw std::runtime_error(error);
    }
    host.ForgetCalls();
}

void InitializedChip::StartVerbosely() {
    SwitchOn("FlashVerboseMode");
    Notify(1);
    host.ForgetCalls();
}

void InitializedChip::LoadFlashloader() {
    Write({0, {}});
    host.ForgetCalls();
}

}  // namespace flash::test
