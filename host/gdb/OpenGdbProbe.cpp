// One reader for each key.
#include "host/gdb/OpenGdbProbe.h"

#include <fmt/format.h>

#include <map>
#include <stdexcept>

#include "host/Numbers.h"
#include "host/gdb/Hex.h"
#include "host/gdb/Socket.h"

namespace flash::host::gdb {
namespace {

constexpr std::uint32_t kMostSeconds = 3600;

bool ReadSwitch(const std::string& key, const std::string& value) {
    if (value != "yes" && value != "no") {
        throw std::invalid_argument(fmt::format("{}= is yes or no, not \"{}\"", key, value));
    }
    return value == "yes";
}

std::uint32_t ReadCode(const std::string& value) {
    const auto code = value.starts_with("0x") ? NumberOf(std::string_view(value).substr(2)) : std::nullopt;
    if (!code || *code > 0xFFFF'FFFF) {
        throw std::invalid_argument(
            fmt::format("id-code= is a number of 32 bits such as 0x10000001, not \"{}\"", value));
    }
    return static_cast<std::uint32_t>(*code);
}

std::chrono::seconds ReadTimeout(const std::string& value) {
    const std::optional<std::uint32_t> seconds = ParseDecimal(value);
    if (!seconds || *seconds == 0 || *seconds > kMostSeconds) {
        throw std::invalid_argument(
            fmt::format("timeout= is a number of seconds from 1 to {}, not \"{}\"", kMostSeconds, value));
    }
    return std::chrono::seconds(*seconds);
}

void ReadKey(const std::string& key, const std::string& value, GdbProbeOptions& options) {
    if (key == "reset" && !value.empty()) {
        options.resetCommand = value;
    } else if (key == "id-code") {
        options.identificationCode = ReadCode(value);
    } else if (key == "timeout") {
        options.timeout = ReadTimeout(value);
    } else if (key == "background-access") {
        options.hasBackgroundAccess = ReadSwitch(key, value);
    } else if (key == "check-writes") {
        options.checksWrites = ReadSwitch(key, value);
    } else {
        throw std::invalid_argument(fmt::format(
            "behind gdb:HOST:PORT come reset=COMMAND, id-code=NUMBER, timeout=SECONDS, background-access=yes "
            "and check-writes=yes, not \"{}={}\"",
            key, value));
    }
}

SteadyClock& TheClock() {
    static SteadyClock clock;
    return clock;
}

}  // namespace

GdbProbeRequest ReadGdbProbe(const ProbeSpec& spec) {
    GdbProbeRequest request{ParseEndpoint(spec.place), {}};
    for (const auto& [key, value] : spec.keys) {
        ReadKey(key, value, request.options);
    }
    return request;
}

std::unique_ptr<Probe> OpenGdbProbe(const ProbeSpec& spec, std::uint32_t assumedIdentificationCode) {
    GdbProbeRequest request = ReadGdbProbe(spec);
    request.options.assumedIdentificationCode = assumedIdentificationCode;
    const std::string place = TextOf(request.endpoint);
    try {
        return std::make_unique<GdbProbe>(Connect(request.endpoint, request.options.timeout), TheClock(), place,
                                          std::move(request.options));
    } catch (const StreamError& error) {
        throw ProbeError(error.what());
    }
}

}  // namespace flash::host::gdb
