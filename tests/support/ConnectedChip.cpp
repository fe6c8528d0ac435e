#include "tests/support/ConnectedChip.h"

#include <stdexcept>

namespace flash::test {

ChipInMemory::ChipInMemory(const ChipModel& chipModel, std::uint32_t sectorCount)
    : model(chipModel), geometry{chipModel.reference.sectorSize, sectorCount}, host(Simulated(chipModel, sectorCount)) {
    host.flashloader.isStrict = true;
}

ConnectedChip::ConnectedChip(const ChipModel& chipModel, std::uint32_t sectorCount, const DeviceMaker& makeDevice)
    : ChipInMemory(chipModel, sectorCount), TestDevice(makeDevice(chipModel.deviceName, &host)) {}

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
