// What the host knows about a part: the flash properties that the plug-in reads, from one XML file per part
// (docs/device-descriptions.md). Everything is checked when the file is loaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/Field.h"

namespace flash::host {

// Where a value lies on the chip; flash addresses are written for the generation's reference flash size.
struct FieldLocation {
    std::uint32_t address;
    std::uint32_t lengthBytes;
};

struct DeviceDescription {
    std::string name;
    std::string summary;
    std::filesystem::path file;
    std::uint32_t sectorSizeBytes;
    std::uint32_t sectorCount;              // of this part
    std::uint32_t referenceFlashSizeBytes;  // that the locations are written for
    std::uint32_t ramSizeCode;              // 0 to 3, as the chip reports it
    std::uint32_t revisionCode;             // 0 to 15, of a new virtual chip
    std::uint32_t ccfgSizeRegister;         // its upper half is the size of CCFG in bytes
    std::string controller;                 // in words, of a virtual chip; empty for the usual one
    std::map<std::string, std::string> properties;

    std::uint32_t FlashSizeBytes() const { return sectorSizeBytes * sectorCount; }
    bool IsSecondGeneration() const;

    // The location property `key` + "Loc", as written.
    FieldLocation Location(const std::string& key) const;

    // The same on a chip of that flash size: a location in flash moves with the end of flash.
    FieldLocation Location(const std::string& key, std::uint32_t flashSizeBytes) const;
};

// Throws Failure (BadInput), the text naming file and line.
DeviceDescription LoadDeviceDescription(const std::filesystem::path& file);

struct DeviceDescriptions {
    std::vector<DeviceDescription> devices;  // by name
    std::vector<FieldText> problems;         // what is wrong with the others, naming file and line
};

// The descriptions of a folder. One that is wrong, or two of one part, leave the others usable; a folder without any
// that is right is a failure.
DeviceDescriptions LoadDeviceDescriptions(const std::filesystem::path& folder);

// The description of that name, or of the only one that it abbreviates, without regard to case.
const DeviceDescription& FindDevice(const std::vector<DeviceDescription>& devices, const std::string& partName);

// What the debug router of a chip of this part gives.
std::uint32_t IdentificationCode(const DeviceDescription& part);

// Whether the plug-in can choose a generation from this name: its sixth character is a digit.
bool SelectsGeneration(const std::string& partName);

}  // namespace flash::host
