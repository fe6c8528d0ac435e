// One row for each kind of probe.
#include "host/backends/OpenProbe.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/Failure.h"
#include "host/virtual_chip/VirtualChipProbe.h"

namespace flash::host {
namespace {

struct BackEnd {
    std::string_view kind;
    bool keepsFile;  // the place is a file
    bool (*takes)(const ProbeSpec& spec);
    std::unique_ptr<Probe> (*open)(const ProbeSpec& spec, const DeviceDescription& part);
};

constexpr BackEnd kBackEnds[] = {
    {"virtual", true, [](const ProbeSpec& spec) { return spec.keys.empty(); },
     [](const ProbeSpec& spec, const DeviceDescription& part) -> std::unique_ptr<Probe> {
         return VirtualChipProbe::Open(part, FileOf(spec));
     }},
};

const BackEnd* BackEndOf(const ProbeSpec& spec) {
    const auto* found = std::find_if(std::begin(kBackEnds), std::end(kBackEnds),
                                     [&](const auto& known) { return known.kind == spec.kind; });
    return found == std::end(kBackEnds) || !found->takes(spec) ? nullptr : found;
}

}  // namespace

ProbeSpec ParseProbe(std::string_view text) {
    std::optional<ProbeSpec> spec = ParseProbeSpec(text);
    if (!spec || BackEndOf(*spec) == nullptr) {
        throw BadInput(Field::Probe, fmt::format("\"{}\" is neither virtual nor virtual:FILE", text));
    }
    return *std::move(spec);
}

std::optional<std::filesystem::path> FileOf(const ProbeSpec& spec) {
    const BackEnd* backEnd = BackEndOf(spec);
    return backEnd != nullptr && backEnd->keepsFile && !spec.place.empty()
               ? std::optional<std::filesystem::path>(spec.place)
               : std::nullopt;
}

ProbeSpec MeantFrom(const std::filesystem::path& folder, ProbeSpec spec) {
    if (const auto file = FileOf(spec)) {
        spec.place = (folder / *file).string();
    }
    return spec;
}

std::unique_ptr<Probe> OpenProbe(const ProbeSpec& spec, const DeviceDescription& part) {
    return BackEndOf(spec)->open(spec, part);
}

}  // namespace flash::host
