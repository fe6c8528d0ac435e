#include "apps/lumoflash/ChiplessCommands.h"

#include <algorithm>

#include "apps/lumoflash/LineCommand.h"
#include "apps/lumoflash/PoolCommands.h"
#include "apps/lumoflash/PoolOptions.h"
#include "apps/lumoflash/Validation.h"
#include "host/Words.h"
#include "host/devices/DeviceDescription.h"

namespace flash::app {
namespace {

Outcome ListDevices(const Options& options, View& view) {
    const host::DeviceDescriptions found = host::LoadDeviceDescriptions(DevicesFolderFor(options, FindLocations()));
    std::ranges::for_each(found.problems, [&](const host::FieldText& text) { view.Warning(text); });
    view.ShowDevices(found.devices);
    return {0, host::Counted(found.devices.size(), "part"), 0, {}};
}

}  // namespace

bool IsChipless(const Options& options) {
    return options.command == Command::ValidatePlugin || options.command == Command::Devices ||
           IsOfLine(options.command) || (IsOfPool(options.command) && options.pool.isJournalAlone);
}

Outcome RunChipless(const Options& options, View& view, const std::atomic<bool>& isInterrupted) {
    if (options.command == Command::Devices) {
        return ListDevices(options, view);
    }
    if (options.command == Command::ValidatePlugin) {
        return Validate(options.validation, view, isInterrupted);
    }
    if (IsOfLine(options.command)) {
        return RunLine(options, isInterrupted);
    }
    return RunPool(options.pool, options.command, view);
}

std::filesystem::path DevicesFolderFor(const Options& options, const Locations& locations) {
    return OrDefault(options.devicesFolder, locations.dataFolder / "devices");
}

}  // namespace flash::app
