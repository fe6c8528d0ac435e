// What a session works with: the part, its properties, the plug-in that programs it and the probe that reaches it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/devices/DeviceDescription.h"
#include "host/plugin/PluginModule.h"
#include "host/probe/Probe.h"
#include "host/settings/Settings.h"

namespace flash::host {

struct Equipment {
    DeviceDescription device;
    Settings settings;                  // what the plug-in reads and writes
    std::filesystem::path dataFolder;   // its `arm` holds the flashloader images
    std::filesystem::path notesFolder;  // of loads that have not ended well; empty for none
    PluginModule plugin;
    std::unique_ptr<Probe> probe;
};

}  // namespace flash::host
