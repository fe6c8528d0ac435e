// One connection to one chip, from the choice of the part to a session: whoever works with a chip connects here.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/services/Observer.h"
#include "host/session/Equipment.h"
#include "host/session/Session.h"

namespace flash::host {

struct ConnectionRequest {
    std::string part;  // a name, or a clear abbreviation of one
    std::filesystem::path devicesFolder;
    std::filesystem::path dataFolder;
    std::filesystem::path plugin;
    std::map<std::string, std::string> properties;  // these go before the part's
    std::function<std::unique_ptr<Probe>(const DeviceDescription&)> openProbe;
    std::filesystem::path notesFolder = {};  // of loads that have not ended well; empty for none
};

class Connection {
public:
    // Finds the part, loads the plug-in, opens the probe and identifies the chip, in this order; throws Failure when
    // one of these cannot be done. Other descriptions that are wrong are
    // warnings. `observer` and `isInterrupted` must outlive the connection.
    Connection(const ConnectionRequest& request, Observer& observer, const std::atomic<bool>& isInterrupted);

    const DeviceDescription& Device() const { return equipment.device; }
    const std::string& PartName() const { return equipment.device.name; }
    const PluginModule& Plugin() const { return equipment.plugin; }
    Probe& GetProbe() const { return *equipment.probe; }
    Session& GetSession() { return session; }
    const Session& GetSession() const { return session; }

private:
    Equipment equipment;
    Session session;
};

}  // namespace flash::host
