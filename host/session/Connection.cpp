// Each part of a connection needs those before it.
#include "host/session/Connection.h"

#include <algorithm>

#include "host/settings/OptionProperties.h"

namespace flash::host {
namespace {

Settings SettingsFor(const DeviceDescription& device, const std::map<std::string, std::string>& properties) {
    Settings settings = DefaultSettings();
    settings.SetAll(device.properties);
    settings.SetAll(properties);
    return settings;
}

DeviceDescription Choose(const ConnectionRequest& request, Observer& observer) {
    const DeviceDescriptions found = LoadDeviceDescriptions(request.devicesFolder);
    std::ranges::for_each(found.problems, [&](const FieldText& problem) { observer.Warning(problem); });
    return FindDevice(found.devices, request.part);
}

Equipment Equip(const ConnectionRequest& request, Observer& observer) {
    const DeviceDescription device = Choose(request, observer);
    return {
        .device = device,
        .settings = SettingsFor(device, request.properties),
        .dataFolder = request.dataFolder,
        .notesFolder = request.notesFolder,
        .plugin = PluginModule(request.plugin),
        .probe = request.openProbe(device),
    };
}

}  // namespace

Connection::Connection(const ConnectionRequest& request, Observer& observer, const std::atomic<bool>& isInterrupted)
    : equipment(Equip(request, observer)), session(equipment, observer, isInterrupted) {}

}  // namespace flash::host
