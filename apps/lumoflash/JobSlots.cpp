// Each slot by itself, then against the others.
#include "apps/lumoflash/JobSlots.h"

#include <fmt/format.h>

#include <set>
#include <system_error>

#include "apps/lumoflash/RawOptions.h"
#include "host/backends/OpenProbe.h"

namespace flash::app {
namespace {

using host::line::SlotPlan;

constexpr std::size_t kMostSlots = 64;

std::string ReadProbe(const toml::node& node, const TomlFile& file, const JobValues& values) {
    try {
        const host::ProbeSpec spec = host::ParseProbe(values.Text(node, "probe"));
        return PrintProbeSpec(MeantFrom(file.AbsoluteFolder(), spec));
    } catch (const host::BadInput& failure) {
        values.Complain(node, failure.what());
    }
}

SlotPlan ReadSlot(const toml::table& table, const TomlFile& file, const JobValues& values) {
    SlotPlan slot;
    values.ReadTable(table,
                     {{"name", [&](const toml::node& node) { slot.name = values.Text(node, "name"); }},
                      {"probe", [&](const toml::node& node) { slot.probe = ReadProbe(node, file, values); }}},
                     "a slot");
    if (slot.name.empty() || slot.probe.empty()) {
        values.Complain(table, "a slot has a name and a probe");
    }
    return slot;
}

// "" for a chip of its own each time: then two slots may have the same text.
std::string WhereIs(const std::string& probe) {
    const host::ProbeSpec spec = host::ParseProbe(probe);
    if (spec.place.empty() || spec.place.find(host::line::kRunningNumber) != std::string::npos) {
        return "";
    }
    const auto chipFile = host::FileOf(spec);
    std::error_code unknown;
    const std::string place = chipFile ? std::filesystem::weakly_canonical(*chipFile, unknown).string() : "";
    return spec.kind + ":" + (place.empty() ? spec.place : place);
}

}  // namespace

// Two slots with one chip would each work over what the other has done.
std::vector<SlotPlan> ReadSlots(const toml::node& node, const TomlFile& file, const JobValues& values) {
    if (!node.is_array_of_tables() || node.as_array()->size() > kMostSlots) {
        values.Complain(node, fmt::format("slot is a list of 1 to {} tables: [[slot]]", kMostSlots));
    }
    std::vector<SlotPlan> slots;
    std::set<std::string> names, places;
    for (const toml::node& element : *node.as_array()) {
        const SlotPlan slot = ReadSlot(*element.as_table(), file, values);
        if (!names.insert(slot.name).second) {
            values.Complain(element, fmt::format("there are two slots {}", slot.name));
        }
        const std::string place = WhereIs(slot.probe);
        if (!place.empty() && !places.insert(place).second) {
            values.Complain(element, fmt::format("slot {} has the probe of another slot: {}", slot.name, slot.probe));
        }
        slots.push_back(slot);
    }
    return slots;
}

}  // namespace flash::app
