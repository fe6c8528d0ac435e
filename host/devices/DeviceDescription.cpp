// What a description says, and finding the one of a part.
#include "host/devices/DeviceDescription.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <system_error>

#include "host/Failure.h"
#include "host/Nearest.h"
#include "host/devices/DescriptionReader.h"

namespace flash::host {
namespace {

constexpr std::size_t kGenerationPosition = 5;

// In an order that is the same on every machine.
std::vector<std::filesystem::path> DescriptionsIn(const std::filesystem::path& folder) {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_iterator entry(folder, error); entry != end(entry); entry.increment(error)) {
        if (entry->path().extension() == ".xml") {
            files.push_back(entry->path());
        }
    }
    if (error) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("Cannot read the folder of device descriptions {}: {}; give it with ",
                                  folder.string(), error.message()) +
                          FieldText(Field::DevicesFolder));
    }
    std::ranges::sort(files);
    return files;
}

// Nobody knows which one is meant. `found.devices` are in the order of their names.
void DropThoseOfOnePart(DeviceDescriptions& found) {
    std::vector<DeviceDescription>& devices = found.devices;
    for (auto first = devices.begin(); first != devices.end();) {
        const auto last = std::find_if(first, devices.end(), [&](const auto& d) { return d.name != first->name; });
        if (last - first > 1) {
            found.problems.emplace_back(fmt::format("{} and {} both describe {}", first->file.string(),
                                                    std::next(first)->file.string(), first->name));
            first = devices.erase(first, last);
        } else {
            first = last;
        }
    }
}

bool StartsWith(std::string_view text, std::string_view start) {
    const auto isSame = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return text.size() >= start.size() && std::equal(start.begin(), start.end(), text.begin(), isSame);
}

}  // namespace

std::uint32_t IdentificationCode(const DeviceDescription& part) {
    constexpr std::uint32_t kFirstRevisionBit = 28;
    return part.revisionCode << kFirstRevisionBit | 1;
}

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

DeviceDescriptions LoadDeviceDescriptions(const std::filesystem::path& folder) {
    DeviceDescriptions found;
    for (const std::filesystem::path& file : DescriptionsIn(folder)) {
        try {
            found.devices.push_back(LoadDeviceDescription(file));
        } catch (const Failure& failure) {
            found.problems.push_back(failure.Text());
        }
    }
    std::ranges::sort(found.devices, {}, &DeviceDescription::name);
    DropThoseOfOnePart(found);
    if (found.devices.empty()) {
        throw Failure(
            FailureKind::BadInput,
            found.problems.empty()
                ? fmt::format("There is no device description (*.xml) in {}; give the folder with ", folder.string()) +
                      FieldText(Field::DevicesFolder)
                : found.problems.front());
    }
    return found;
}

const DeviceDescription& FindDevice(const std::vector<DeviceDescription>& devices, const std::string& partName) {
    std::vector<const DeviceDescription*> fitting;
    std::vector<std::string> known;
    for (const DeviceDescription& device : devices) {
        known.push_back(device.name);
        if (!StartsWith(device.name, partName)) {
            continue;
        }
        if (device.name.size() == partName.size()) {
            return device;
        }
        fitting.push_back(&device);
    }
    if (fitting.empty() || partName.empty()) {
        throw BadInput(Field::Device, fmt::format("there is no part \"{}\"{}; known are {}", partName,
                                                  DidYouMean(partName, known), fmt::join(known, ", ")));
    }
    if (fitting.size() > 1) {
        std::vector<std::string> names;
        std::ranges::transform(fitting, std::back_inserter(names), &DeviceDescription::name);
        throw BadInput(Field::Device,
                       fmt::format("\"{}\" is short for more than one part: {}", partName, fmt::join(names, ", ")));
    }
    return *fitting.front();
}

}  // namespace flash::host
