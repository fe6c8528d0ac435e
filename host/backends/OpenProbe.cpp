// One row for each kind of probe.
#include "host/backends/OpenProbe.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "host/Failure.h"
#include "host/backends/BackEnd.h"
#include "host/files/FileContent.h"
#include "host/gdb/OpenGdbProbe.h"
#include "host/gdb/Socket.h"

namespace flash::host {
namespace {

std::unique_ptr<Probe> OpenServer(const ProbeSpec& spec, const DeviceDescription& part) {
    try {
        return gdb::OpenGdbProbe(spec, IdentificationCode(part));
    } catch (const ProbeError& error) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("Cannot reach the GDB server at {}: {}", spec.place, error.what()));
    }
}

const BackEnd kBackEnds[] = {
    VirtualChipBackEnd(),
    {"gdb", false, [](const ProbeSpec& spec) { gdb::ReadGdbProbe(spec); },
     [](const ProbeSpec& spec) { return gdb::PlacesOf(gdb::ReadGdbProbe(spec).endpoint); }, &OpenServer},
};

const BackEnd* BackEndOf(const ProbeSpec& spec) {
    const auto* found = std::find_if(std::begin(kBackEnds), std::end(kBackEnds),
                                     [&](const auto& known) { return known.kind == spec.kind; });
    return found == std::end(kBackEnds) ? nullptr : found;
}

// Found out before there is any work whose result could not be kept.
void RequireUsable(const ProbeSpec& spec, ChipUse use) {
    const auto file = FileOf(spec);
    std::error_code unknown;
    const auto type = file ? std::filesystem::status(*file, unknown).type() : std::filesystem::file_type::unknown;
    if (use == ChipUse::Look && type == std::filesystem::file_type::not_found) {
        throw Failure(
            FailureKind::Unreachable,
            fmt::format("There is no virtual chip in {}: only what changes a chip makes a new one", file->string()));
    }
    if (use == ChipUse::Change && file && IsReadOnly(*file)) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("The virtual chip in {} cannot be changed: the file is read-only", file->string()));
    }
}

}  // namespace

ProbeSpec ParseProbe(std::string_view text) {
    std::optional<ProbeSpec> spec = ParseProbeSpec(text);
    const BackEnd* backEnd = spec ? BackEndOf(*spec) : nullptr;
    if (backEnd == nullptr) {
        throw BadInput(Field::Probe, fmt::format("\"{}\" is none of virtual, virtual:FILE and gdb:HOST:PORT", text));
    }
    try {
        backEnd->check(*spec);
    } catch (const std::invalid_argument& error) {
        throw BadInput(Field::Probe, fmt::format("\"{}\": {}", text, error.what()));
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

std::set<std::string> PlacesOf(const ProbeSpec& spec) {
    std::set<std::string> places;
    for (const std::string& place : BackEndOf(spec)->places(spec)) {
        places.insert(spec.kind + ":" + place);
    }
    return places;
}

std::unique_ptr<Probe> OpenProbe(const ProbeSpec& spec, const DeviceDescription& part, ChipUse use) {
    RequireUsable(spec, use);
    return BackEndOf(spec)->open(spec, part);
}

void ArmFaults(Probe& probe, const std::vector<std::string>& faults) {
    FaultService* const service = probe.Faults();
    if (!faults.empty() && service == nullptr) {
        throw BadInput(Field::Fault, "only a virtual chip breaks on demand");
    }
    std::ranges::for_each(faults, [&](const std::string& fault) { service->Arm(fault); });
}

}  // namespace flash::host
