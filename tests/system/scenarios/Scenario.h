// A catalogue of what hosts do with the plug-in, from start-up to the last closing option: each entry prepares a chip
// and runs one piece of a host's work on it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/ConnectedChip.h"

namespace flash::test {

using Settings = std::map<std::string, std::string>;

struct Scenario {
    std::string name;
    const ChipModel* model;
    std::uint32_t sectorCount;
    Settings settings;                                 // added to the usual ones
    std::function<std::string(ConnectedChip&)> run;    // ends at the first error, with its text
    std::function<void(ConnectedChip&)> prepare = {};  // the chip's flash and the flashloader's speed; may be empty
    std::function<void(SimulatedFlashloader&)> upset =
        {};                        // makes the target misbehave during the next run; may be empty
    std::string upsetResult = {};  // of a run with an upset target
    bool startsUninitialized = false;

    bool KeepsCcfg() const { return settings.contains("KeepCcfgSetting"); }
};

// Flash with an old program in sectors 1 and 2, a CCFG that is nowhere erased, and the scenario's settings; initialized
// unless the scenario does that itself. Nothing recorded.
std::unique_ptr<ConnectedChip> Prepare(const Scenario& scenario, const DeviceMaker& makeDevice = MakeDevice);

// CCFG was dropped with the copy that a failed run held: a careful host has its own. Changes settings.
std::string PutBackCcfg(ConnectedChip& chip, const Bytes& ccfg);

// What is left of a run.
struct EndState {
    Bytes flash;
    Settings settings;
    bool operator==(const EndState&) const = default;
};

EndState StateOf(const ConnectedChip& chip);

// GoogleTest prints parameters by this.
void PrintTo(const Scenario& scenario, std::ostream* out);

const std::vector<Scenario>& AllScenarios();

}  // namespace flash::test
