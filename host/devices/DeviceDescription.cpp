// What a description says, and finding the one of a part.
#include "host/devices/DeviceDescription.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <system_error>

#include "host/Failure.h"
#include "host/devices/DescriptionReader.h"

namespace flash::host {
namespace {
constexpr std::size_t kGenerationPosition = 5;
}  // namespace

bool SelectsGeneration(const std::string& partName) {
    return partName.size() > kGenerationPosition && partName[kGenerationPosition] >= '0' &&
           partName[kGenerationPosition] <= '9';
}

bool DeviceDescription::IsSecondGeneration() const {
    return name[kGenerationPosition] == '2' || name[kGenerationPosition] == '4';
}

FieldLocation DeviceDescription::Location(const std::string& key) const {
    const auto property = properties.find(key + "Loc");
    if (property == properties.end()) {
        throw Failure(FailureKind::BadInput, fmt::format("{} has no property {}Loc", file.string(), key));
    }
    return ParseLocation(property->second).value();
}

FieldLocation DeviceDescription::Location(const std::string& key, std::uint32_t flashSizeBytes) const {
    FieldLocation location = Location(key);
    if (location.address < referenceFlashSizeBytes) {
        location.address += flashSizeBytes - referenceFlashSizeBytes;
    }
    return location;
}

DeviceDescription LoadDeviceDescription(const std::filesystem::path& file) { return ReadDescription(file); }

std::vector<DeviceDescription> LoadDeviceDescriptions(const std::filesystem::path& folder) {
    std::error_code error;
    std::vector<DeviceDescription> devices;
    for (std::filesystem::directory_iterator entry(folder, error); entry != end(entry); entry.increment(error)) {
        if (entry->path().extension() == ".xml") {
            devices.push_back(LoadDeviceDescription(entry->path()));
        }
    }
    if (error) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("Cannot read the folder of device descriptions {}: {}; give it with ",
                                  folder.string(), error.message()) +
                          FieldText(Field::DevicesFolder));
    }
    if (devices.empty()) {
        throw Failure(
            FailureKind::BadInput,
            fmt::format("There is no device description (*.xml) in {}; give the folder with ", folder.string()) +
                FieldText(Field::DevicesFolder));
    }
    std::sort(devices.begin(), devices.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    const auto twice = std::adjacent_find(devices.begin(), devices.end(),
                                          [](const auto& a, const auto& b) { return a.name == b.name; });
    if (twice != devices.end()) {
        throw Failure(FailureKind::BadInput, fmt::format("{} and {} both describe {}", twice->file.string(),
                                                         std::next(twice)->file.string(), twice->name));
    }
    return devices;
}

const DeviceDescription& FindDevice(const std::vector<DeviceDescription>& devices, const std::string& partName) {
    const DeviceDescription* best = nullptr;
    std::vector<const DeviceDescription*> longer;
    std::string known;
    for (const DeviceDescription& device : devices) {
        known += known.empty() ? "" : ", ";
        known += device.name;
        if (partName.starts_with(device.name) && (best == nullptr || device.name.size() > best->name.size())) {
            best = &device;
        }
        if (SelectsGeneration(partName) && device.name.starts_with(partName)) {
            longer.push_back(&device);
        }
    }
    if (best == nullptr && longer.size() == 1) {
        best = longer.front();
    }
    if (best == nullptr) {
        throw Failure(FailureKind::BadInput, fmt::format("{} description fits the device \"{}\"; known are {}",
                                                         longer.empty() ? "No" : "More than one", partName, known));
    }
    return *best;
}

}  // namespace flash::host
