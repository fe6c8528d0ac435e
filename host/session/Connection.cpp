// Each part of a connection needs those before it.
#include "host/session/Connection.h"

#include "host/settings/OptionProperties.h"

namespace flash::host {
namespace {

Settings SettingsFor(const DeviceDescription& device, const std::map<std::string, std::string>& properties) {
    Settings settings = DefaultSettings();
    settings.SetAll(device.properties);
    settings.SetAll(properties);
    return settings;
}

Equipment Equip(const ConnectionRequest& request) {
    const DeviceDescription device = FindDevice(LoadDeviceDescriptions(request.devicesFolder), request.part);
    return {
        .device = device,
        .partName = request.part.size() < device.name.size() ? device.name : request.part,
        .settings = SettingsFor(device, request.properties),
        .dataFolder = request.dataFolder,
        .notesFolder = request.notesFolder,
        .plugin = PluginModule(request.plugin),
        .probe = request.openProbe(device),
    };
}

}  // namespace

Connection::Connection(const ConnectionRequest& request, Observer& observer, const std::atomic<bool>& isInterrupted)
    : equipment(Equip(request)), session(equipment, observer, isInterrupted) {}

}  // namespace flash::host
