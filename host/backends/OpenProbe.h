// The probes that there are: the one place that knows them all. Whoever works with a chip asks here for a probe and
// knows only what `Probe` promises.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/devices/DeviceDescription.h"
#include "host/probe/Probe.h"
#include "host/probe/ProbeSpec.h"

namespace flash::host {

// Throws Failure (BadInput) for a text that names none of them. Nothing is opened yet.
ProbeSpec ParseProbe(std::string_view text);

// The file that a probe of this name keeps a chip in, if it does.
std::optional<std::filesystem::path> FileOf(const ProbeSpec& spec);

// The same, its file meant from `folder`.
ProbeSpec MeantFrom(const std::filesystem::path& folder, ProbeSpec spec);

// Which chips it may reach, one text each: two probes that share one must not be used at once. None for a chip that
// nobody else can reach.
std::set<std::string> PlacesOf(const ProbeSpec& spec);

// What the chip is wanted for. Who only looks makes no new one; a plan may be made for one that is not there yet.
enum class ChipUse { Look, Plan, Change };

// Reaches for a chip of this part. Throws Failure (Unreachable).
std::unique_ptr<Probe> OpenProbe(const ProbeSpec& spec, const DeviceDescription& part, ChipUse use = ChipUse::Change);

// Lets the probe's chip break as the texts say. Throws BadInput when it does not do so on demand.
void ArmFaults(Probe& probe, const std::vector<std::string>& faults);

}  // namespace flash::host
