// The virtual chip among the kinds of probes.
#include <fmt/format.h>
#include <sys/stat.h>

#include <optional>
#include <stdexcept>
#include <system_error>

#include "host/backends/BackEnd.h"
#include "host/backends/OpenProbe.h"
#include "host/ccfg/RadioAddress.h"
#include "host/files/FileContent.h"
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

// A link may lead to a file that is not there yet; one that leads nowhere is told when it is opened.
std::filesystem::path Followed(const std::filesystem::path& file) {
    try {
        return std::filesystem::absolute(FollowLinks(file));
    } catch (const std::system_error&) {
        return std::filesystem::absolute(file);
    }
}

// By its name, links followed, and as a file that may have a second name.
std::set<std::string> Places(const ProbeSpec& spec) {
    const auto file = FileOf(spec);
    if (!file) {
        return {};
    }
    std::error_code unknown;
    const std::filesystem::path known = std::filesystem::weakly_canonical(Followed(*file), unknown);
    std::set<std::string> places{(unknown ? *file : known).string()};
    struct stat found {};
    if (stat(file->c_str(), &found) == 0) {
        places.insert(fmt::format("file {} of {}", found.st_ino, found.st_dev));
    }
    return places;
}

std::unique_ptr<Probe> Open(const ProbeSpec& spec, const DeviceDescription& part) {
    return VirtualChipProbe::Open(part, FileOf(spec), IdentityIn(spec));
}

}  // namespace

BackEnd VirtualChipBackEnd() { return {"virtual", true, &Check, &Places, &Open}; }

}  // namespace flash::host
