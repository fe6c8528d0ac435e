// The chip, the plug-in and how much is said.
#include "apps/lumoflash/GlobalOptions.h"

#include <CLI/CLI.hpp>

#include "apps/lumoflash/OptionKinds.h"

namespace flash::app {

void AddGlobalOptions(CLI::App& app, Options& options, RawOptions& raw) {
    app.add_option("--device,-d", options.device,
                   "Part, for example LumoF2F352, or a clear abbreviation; see `lumoflash devices` (required for "
                   "what works with a chip)")
        ->envname("LUMOFLASH_DEVICE");
    app.add_option(
           "--probe", raw.probe,
           "virtual, virtual:FILE to keep the chip's state in FILE, virtual:FILE,identity=ADDRESS to choose a new "
           "chip's primary IEEE address, or gdb:HOST:PORT")
        ->envname("LUMOFLASH_PROBE");
    AddFlag(app, "--check-writes", options.checksWrites, "Read back whatever a GDB server writes into RAM");
    app.add_option("--plugin", options.plugin, "The flash plug-in's module, instead of the installed one");
    app.add_option("--devices", options.devicesFolder, "Folder of device descriptions");
    app.add_option("--data", options.dataFolder, "Folder whose `arm` holds the flashloader images");
    TakeOneAtATime(*app.add_option("--set", raw.properties.checked, "KEY=VALUE, a host property"));
    TakeOneAtATime(*app.add_option("--property", raw.properties.unchecked,
                                   "KEY=VALUE, any host property, unchecked, for plug-ins that know others"));
    app.add_option("--config", raw.config, "TOML file with defaults, instead of the lumoflash.toml found here or above")
        ->envname("LUMOFLASH_CONFIG");
    TakeOneAtATime(*app.add_option("--fault", options.faults,
                                   "KIND@N, break the virtual chip at its n-th flash operation or transfer"));
    app.add_option("--trace", options.traceFile, "Write the timeline of the virtual chip here, for Perfetto");
    AddFlag(app, "--verbose,-v", options.isVerbose, "Let the plug-in tell what it does");
    AddFlag(app, "--quiet,-q", options.isQuiet, "Only errors, and the warnings that come with them");
    AddFlag(app, "--json", options.isJson, "One JSON object per event on standard output");
    AddFlag(app, "--no-color", options.isColorOff, "No colors, as with NO_COLOR");
    AddFlag(app, "--yes,-y", options.isAgreed, "Agree to what cannot be taken back");
}

}  // namespace flash::app
