// Changes to the customer configuration area (CCFG): the last sector is read, patched and programmed back whole.
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/operations/MemoryField.h"
#include "flashdevice/operations/OperationNames.h"
#include "flashdevice/operations/Options.h"
#include "flashdevice/operations/WriteProtection.h"
#include "flashdevice/programming/EraseMode.h"

namespace flash {

// What belongs to one secondary radio address. Retaining wins over overriding.
struct SecondaryAddressOptions {
    const char* retain;        // option: keep the address that was read when the load started
    const char* readCommand;   // its place in the cache
    const char* override;      // option: write the address of the property below
    const char* writeCommand;  // leads to the property
    const char* field;         // of CCFG
};

namespace {

constexpr char kProtectionField[] = "CCFG_PROT_31_0";  // the word behind it holds sectors 32 to 63

constexpr SecondaryAddressOptions kSecondaryAddresses[] = {
    {kRetainIeeeSecondary, kReadSecIeee, kOverrideIeeeSecondary, kWriteSecIeee, kDeviceIeeeSecondary},
    {kRetainBleSecondary, kReadSecBle, kOverrideBleSecondary, kWriteSecBle, kDeviceBleSecondary},
};

}  // namespace

bool FlashDeviceLumo::ApplyCcfgChanges(const std::string& command) {
    std::vector<std::uint8_t> image(sectorSize);
    ReadBytes(image.data(), image.data() + image.size(), flashSize - sectorSize);
    const bool isForAll = command.find(kAllCcfgChanges) != std::string::npos;
    if (!(isForAll ? PatchForOptions(image) : PatchForCommand(image, command))) {
        return false;
    }
    ProgramLastSector(image);
    return true;
}

bool FlashDeviceLumo::PatchForCommand(std::vector<std::uint8_t>& image, const std::string& command) {
    GetXmlPropertyNameFromCommand(command);  // throws for an unknown command
    const std::string property = writeCommandProperties[command];
    const std::vector<std::uint8_t> bytes = ParseMacAddressProperty(property);
    if (bytes.empty()) {
        return false;
    }
    PatchCcfgField(image, bytes, property);
    return true;
}

// False: a change was abandoned, and nothing is programmed.
bool FlashDeviceLumo::PatchForOptions(std::vector<std::uint8_t>& image) {
    for (const SecondaryAddressOptions& options : kSecondaryAddresses) {
        if (!PatchSecondaryAddress(image, options)) {
            return false;
        }
    }
    if (UpdateWriteProtection()) {
        PatchCcfgField(image, ProtectionBytes(writeProtectWords), kProtectionField);
    }
    for (const char* option : {kDisableBootloader, kDisableCpuDap}) {
        if (IsOptionOn(option)) {
            PatchCcfgField(image, {0x00}, option);
        }
    }
    return true;
}

bool FlashDeviceLumo::PatchSecondaryAddress(std::vector<std::uint8_t>& image, const SecondaryAddressOptions& options) {
    if (IsOptionOn(options.retain)) {
        PatchCcfgField(image, macAddressCache[options.readCommand], options.field);
    } else if (IsOptionOn(options.override)) {
        const std::vector<std::uint8_t> bytes = ParseMacAddressProperty(writeCommandProperties[options.writeCommand]);
        if (bytes.empty()) {
            return false;
        }
        PatchCcfgField(image, bytes, options.field);
    }
    return true;
}

void FlashDeviceLumo::ProgramLastSector(const std::vector<std::uint8_t>& image) {
    const std::string setting = ReadProperty(kEraseSettingKey);
    WriteProperty(kEraseSettingKey, kEraseNecessary);
    // When this fails the host's setting stays changed, on purpose.
    ProgramData(image.data(), flashSize - sectorSize, sectorSize);
    WriteProperty(kEraseSettingKey, setting);
}

bool FlashDeviceLumo::UpdateWriteProtection() {
    if (!IsRequiredOptionOn(kWriteProtectionToggle)) {
        return false;
    }
    ProtectSectors(writeProtectWords, ParsePageList(kWriteProtectionText));
    return true;
}

void FlashDeviceLumo::PatchCcfgField(std::vector<std::uint8_t>& image, const std::vector<std::uint8_t>& bytes,
                                     const std::string& name) {
    // The field's length does not limit what is written, on purpose; the sector's end does.
    std::size_t index = GetSectorOffset(GetCcfgFieldLocation(name).address);
    for (const std::uint8_t byte : bytes) {
        if (index >= image.size()) {
            throw std::out_of_range("invalid vector<T> subscript");
        }
        image[index++] = byte;
    }
}

}  // namespace flash
