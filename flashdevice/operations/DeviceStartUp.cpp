// The device's construction, start-up and end.
#include <utility>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/operations/OperationNames.h"
#include "flashdevice/programming/CcfgData.h"

namespace flash {

FlashDeviceLumo::FlashDeviceLumo(std::string name, const std::string& /*secondText*/, const std::string& /*thirdText*/,
                                 IFlashHost* flashHost)
    : host(flashHost), deviceName(std::move(name)) {
    OnFlashPhase(0);
    flashUtil = std::make_shared<FlashUtil>(host);
    ccfgData = std::make_shared<CcfgData>();
    writeCommandProperties[kWriteSecBle] = kDeviceBleSecondary;
    writeCommandProperties[kWriteSecIeee] = kDeviceIeeeSecondary;
}

FlashDeviceLumo::~FlashDeviceLumo() = default;

void FlashDeviceLumo::Initialize() {
    if (IsVerbose()) {
        PrintFormatted("Flashloader: Verbose output enabled.");
    }
    // Identification comes first: the first generation's RAM size depends on the revision.
    IdentifyDevice();
    MeasureFlash();
    ReadRamSize();
    ramTopSector = ramSize - sectorSize;
    PublishDeviceInfo();
}

}  // namespace flash
