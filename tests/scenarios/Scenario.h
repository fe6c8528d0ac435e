// A catalogue of what hosts do with the plug-in, from start-up to the last closing option: each entry prepares a chip
// and runs one piece of a host's work on it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/scenarios/ConnectedChip.h"

namespace flash::test {

using Settings = std::map<std::string, std::string>;

struct Scenario {
    std::string name;
    const ChipModel* model;
    std::uint32_t sectorCount;
    Settings settings;                                 // added to the usual ones
    std::function<std::string(ConnectedChip&)> run;    // ends at the first error, with its text
    std::function<void(ConnectedChip&)> prepare = {};  // the chip's flash and the flashloader's speed; may be empty
    std::function<void(ScriptedFlashloader&)> upset =
        {};                        // makes the target misbehave during the next run; may be empty
    std::string upsetResult = "";  // of a run with an upset target
    bool startsUninitialized = false;

    bool KeepsCcfg() const { return settings.contains("KeepCcfgSetting"); }
};

// Flash with an old program in sectors 1 and 2, a CCFG that is nowhere erased, and the scenario's settings; initialized
// unless the scenario does that itself. Nothing recorded.
std::unique_ptr<ConnectedChip> Prepare(const Scenario& scenario);

const std::vector<Scenario>& AllScenarios();

}  // namespace flash::test
