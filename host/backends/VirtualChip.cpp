// The virtual chip among the kinds of probes.
#include <fmt/format.h>

#include <optional>
#include <stdexcept>

#include "host/backends/BackEnd.h"
#include "host/backends/OpenProbe.h"
#include "host/ccfg/RadioAddress.h"
#include "host/virtual_chip/VirtualChipProbe.h"

namespace flash::host {
namespace {

constexpr const char* kIdentity = "identity";

// Of a new virtual chip, if the user gives it one.
std::optional<RadioAddress> IdentityIn(const ProbeSpec& spec) {
    const auto given = spec.keys.find(kIdentity);
    return given == spec.keys.end() ? std::nullopt
                                    : std::optional(ParseRadioAddress(given->second, kIeeeAddressBytes, Field::Probe));
}

void Check(const ProbeSpec& spec) {
    for (const auto& [key, value] : spec.keys) {
        if (key != kIdentity) {
            throw std::invalid_argument(
                fmt::format("behind virtual:FILE comes identity=ADDRESS, not \"{}={}\"", key, value));
        }
    }
    IdentityIn(spec);
}

std::unique_ptr<Probe> Open(const ProbeSpec& spec, const DeviceDescription& part) {
    return VirtualChipProbe::Open(part, FileOf(spec), IdentityIn(spec));
}

}  // namespace

BackEnd VirtualChipBackEnd() { return {"virtual", true, &Check, &Open}; }

}  // namespace flash::host
