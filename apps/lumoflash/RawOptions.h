// The options' values as they are typed, where they need more than a type to become what they mean.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/lumoflash/Options.h"
#include "host/Failure.h"

namespace flash::app {

// Each KEY=VALUE.
struct PropertyTexts {
    std::vector<std::string> checked, unchecked;
};

struct RawOptions {
    PropertyTexts properties, configProperties;  // of the command line, of the configuration file
    std::vector<std::string> files, kinds, onlyChips;
    std::string probe = "virtual", config, base, format, erase = "necessary", verify = "crc", write = "changed",
                by = "target", skipPages, skipFill, ble, ieee, protect;
    bool keepCcfg = false, replaceCcfg = false;  // of a load
    std::string assign, assignFrom, leaseAhead, record, run, station;
    std::string poolIeee, poolBle;
    std::string outFormat, range, sectors, macKind, newAddress, timeLimit = "10", packetSize = "16384";
};

// Whether the command was given the option, by its name or by a default of the project.
using IsGiven = std::function<bool(Command command, const std::string& option)>;

// Turns the values into options. Throws Failure (BadInput) for whatever is wrong.
void FinishOptions(const RawOptions& raw, const IsGiven& isGiven, Options& options);

[[noreturn]] inline void Refuse(const std::string& text) { throw host::Failure(host::FailureKind::BadInput, text); }

}  // namespace flash::app
