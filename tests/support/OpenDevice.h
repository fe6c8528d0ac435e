// A device whose protected members tests may use: for the functions that no operation of the interface reaches alone.
#pragma once

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "flashdevice/mailbox/CommandBlock.h"
#include "flashdevice/operations/MemoryField.h"
#include "flashdevice/programming/CcfgData.h"
#include "flashdevice/programming/EraseMode.h"

namespace flash::test {

template <typename Generation>
class OpenDevice : public Generation {
public:
    OpenDevice(const std::string& name, IFlashHost* flashHost) : Generation(name, "", "", flashHost) {}

    using Generation::ApplyCcfgChanges;
    using Generation::bankEraseDone;
    using Generation::BlankCheck;
    using Generation::bufferAddress;
    using Generation::ccfgData;
    using Generation::commandBlockAddress;
    using Generation::currentBlock;
    using Generation::deviceName;
    using Generation::DirectoryPath;
    using Generation::DoReadMacAddress;
    using Generation::erasedFlashChecksums;
    using Generation::EraseSectorRanges;
    using Generation::FillSkipActive;
    using Generation::fillValue;
    using Generation::flashloaderLoaded;
    using Generation::flashSize;
    using Generation::flashUtil;
    using Generation::GetCcfgFieldLocation;
    using Generation::GetEraseMode;
    using Generation::Halt;
    using Generation::host;
    using Generation::IdentifyDevice;
    using Generation::IsOptionOn;
    using Generation::IsRequiredOptionOn;
    using Generation::IsVerbose;
    using Generation::KeepCcfgActive;
    using Generation::LoadFlashloader;
    using Generation::LookUpSymbol;
    using Generation::macAddressCache;
    using Generation::MassErase;
    using Generation::MeasureFlash;
    using Generation::PageListToRanges;
    using Generation::PageSkipActive;
    using Generation::ParseMacAddressProperty;
    using Generation::ParsePageList;
    using Generation::PatchCcfgField;
    using Generation::PostCommand;
    using Generation::PrintFormatted;
    using Generation::ProgramChunks;
    using Generation::ProgramRange;
    using Generation::PublishDeviceInfo;
    using Generation::ramSize;
    using Generation::ramTopSector;
    using Generation::ReadBytes;
    using Generation::ReadCcfg;
    using Generation::ReadIdCode;
    using Generation::ReadProperty;
    using Generation::ReadRamSize;
    using Generation::ReadWord;
    using Generation::referenceFlashSize;
    using Generation::ReportErrorText;
    using Generation::ReportStatus;
    using Generation::RestoreCcfg;
    using Generation::revisionMajor;
    using Generation::revisionMinor;
    using Generation::revisionName;
    using Generation::revisionTranslation;
    using Generation::Run;
    using Generation::sectorCount;
    using Generation::sectorRanges;
    using Generation::sectorSize;
    using Generation::ShowMacAddress;
    using Generation::TrimForCcfg;
    using Generation::UpdateWriteProtection;
    using Generation::verboseState;
    using Generation::WaitForCommand;
    using Generation::WaitForPostedCommand;
    using Generation::WriteBytes;
    using Generation::writeCommandProperties;
    using Generation::WriteProperty;
    using Generation::writeProtectWords;
};

using OpenDor = OpenDevice<FlashDeviceLumoDor>;
using OpenFen = OpenDevice<FlashDeviceLumoFen>;

}  // namespace flash::test
