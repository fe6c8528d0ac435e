// Each slot by itself, then against the others.
#include "apps/lumoflash/JobSlots.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>

#include "apps/lumoflash/RawOptions.h"
#include "host/Numbers.h"
#include "host/backends/OpenProbe.h"

namespace flash::app {
namespace {

using host::line::SlotPlan;

constexpr std::size_t kMostSlots = 64;
constexpr std::size_t kMostDigits = 9;  // of a running number

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

// A slot's probe as what it reaches, so that the same probe is known under another name.
struct ReachedChips {
    std::string probe;
    std::set<std::string> places;  // none while the running number is not filled in

    bool HasNumber() const { return probe.find(host::line::kRunningNumber) != std::string::npos; }
};

ReachedChips ReachedBy(const std::string& probe) {
    ReachedChips reached{probe, {}};
    if (!reached.HasNumber()) {
        reached.places = host::PlacesOf(host::ParseProbe(probe));
    }
    return reached;
}

// Each number that could have been filled in to make this text.
std::set<std::uint64_t> NumbersIn(const std::string& text) {
    std::set<std::uint64_t> numbers;
    for (std::size_t begin = 0; begin < text.size(); ++begin) {
        for (std::size_t length = 1; begin + length <= text.size() && length <= kMostDigits; ++length) {
            const auto number = text[begin] == '0' ? std::nullopt : host::ParseDecimal(text.substr(begin, length));
            if (!number) {
                break;
            }
            numbers.insert(*number);
        }
    }
    return numbers;
}

bool Share(const std::set<std::string>& left, const std::set<std::string>& right) {
    return std::ranges::any_of(left, [&](const std::string& place) { return right.contains(place); });
}

// Two slots that both have the running number never have the same one.
bool MayMeet(const ReachedChips& left, const ReachedChips& right) {
    if (left.HasNumber() == right.HasNumber()) {
        return Share(left.places, right.places);
    }
    const ReachedChips& numbered = left.HasNumber() ? left : right;
    const ReachedChips& fixed = left.HasNumber() ? right : left;
    return std::ranges::any_of(fixed.places, [&](const std::string& place) {
        return std::ranges::any_of(NumbersIn(place), [&](std::uint64_t number) {
            return ReachedBy(host::line::ProbeFor({"", numbered.probe}, number)).places.contains(place);
        });
    });
}

}  // namespace

// Two slots with one chip would each work over what the other has done.
std::vector<SlotPlan> ReadSlots(const toml::node& node, const TomlFile& file, const JobValues& values) {
    if (!node.is_array_of_tables() || node.as_array()->size() > kMostSlots) {
        values.Complain(node, fmt::format("slot is a list of 1 to {} tables: [[slot]]", kMostSlots));
    }
    std::vector<SlotPlan> slots;
    std::set<std::string> names;
    std::vector<ReachedChips> reached;
    for (const toml::node& element : *node.as_array()) {
        const SlotPlan slot = ReadSlot(*element.as_table(), file, values);
        if (!names.insert(slot.name).second) {
            values.Complain(element, fmt::format("there are two slots {}", slot.name));
        }
        reached.push_back(ReachedBy(slot.probe));
        for (std::size_t other = 0; other < slots.size(); ++other) {
            if (MayMeet(reached[other], reached.back())) {
                values.Complain(element, fmt::format("slot {} has the probe of slot {}: {}", slot.name,
                                                     slots[other].name, slot.probe));
            }
        }
        slots.push_back(slot);
    }
    return slots;
}

}  // namespace flash::app
